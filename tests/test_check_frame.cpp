// test_check_frame.cpp - kelCheckConstraints around a scripted checker: the
// refusals, the code files without a checker, the return code of every
// message, the temporary memory of a failed check given back, and the
// signal trap.
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>

#include "counting_alloc.h"
#include "frame_probe.h"
#include "internal.h"
#include "kelvarn_services.h"

using kel_test::CountingAllocator;

namespace {

// What the checker does: take a value text, fault, and raise a message.
struct Script {
    bool display;
    bool fault;
    int message;
    void (*seenHandler)(int); // the SIGSEGV handler while it ran
} gScript;

int scripted_checker(KelGlobal *world, int, void *) {
    struct sigaction now;
    sigaction(SIGSEGV, nullptr, &now);
    gScript.seenHandler = now.sa_handler;
    if (gScript.display)
        _kel_getdisp_int(world, -1234567890123LL);
    if (gScript.fault)
        std::raise(SIGSEGV);
    if (gScript.message)
        _kel_con_error(world, gScript.message, 0);
    return 0;
}

KelXApiTable gChecking = [] {
    KelXApiTable table{};
    table.checkConstraints = scripted_checker;
    return table;
}();

struct CheckFrame : ::testing::Test {
    KelGlobal world;
    int32_t value = 0;
    void SetUp() override {
        gScript = Script{};
        ASSERT_EQ(kelinit(&world, &kel_probe_table), 0);
        CountingAllocator::install(&world);
        CountingAllocator::reset();
        kelInitXAPIentries(&world, &gChecking);
    }
    void TearDown() override { kelterm(&world); }
    int check() { return kelCheckConstraints(&world, 1, &value); }
};

TEST_F(CheckFrame, RefusalsAndCodeFilesWithoutAChecker) {
    EXPECT_EQ(kelCheckConstraints(nullptr, 1, &value), 6);
    EXPECT_EQ(kelCheckConstraints(&world, 1, nullptr), 6);
    gScript.message = 36; // never reached below
    KelXApiTable noChecker{};
    kelInitXAPIentries(&world, &noChecker);
    EXPECT_EQ(check(), 0);
    kelInitXAPIentries(&world, nullptr);
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(world.phase, kel::kPhaseChecker);
}

TEST_F(CheckFrame, EveryMessageHasItsReturnCode) {
    const struct {
        int message;
        int code;
    } rows[] = {
        {9, 14},   {13, 19},  {14, 83},  {15, 82},  {16, 81},  {17, 80},  {19, 79},   {20, 123},  {21, 78},
        {22, 77},  {23, 76},  {24, 75},  {27, 74},  {28, 73},  {29, 72},  {30, 71},   {285, 71},  {31, 70},
        {286, 70}, {34, 69},  {35, 68},  {284, 68}, {36, 67},  {41, 66},  {71, 11},   {151, 100}, {152, 101},
        {287, 122}, {288, 122}, {18, 17}, {25, 17}, {26, 17}, {135, 17}, {6, 17}, {319, 17}, {400, 17},
    };
    std::strcpy(world.errMsg, "earlier");
    for (const auto &r : rows) {
        SCOPED_TRACE(r.message);
        gScript.message = r.message;
        EXPECT_EQ(check(), r.code);
    }
    EXPECT_STREQ(world.errMsg, "earlier") << "the checker makes no text";
    gScript.message = 0;
    EXPECT_EQ(check(), 0);
}

TEST_F(CheckFrame, FailedCheckGivesBackItsValueTexts) {
    gScript.display = true;
    gScript.message = 25;
    EXPECT_EQ(check(), 17);
    EXPECT_GT(CountingAllocator::calls, 0);
    EXPECT_EQ(CountingAllocator::live, 0);
}

TEST_F(CheckFrame, TrapsSignalsUnlessEitherWordRefuses) {
    const auto before = std::signal(SIGSEGV, SIG_DFL);
    std::signal(SIGSEGV, before);
    const struct {
        bool encoderTraps, decoderTraps;
    } rows[] = {{true, true}, {true, false}, {false, true}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.encoderTraps * 2 + r.decoderTraps);
        kelSetEncodingFlags(&world, r.encoderTraps ? KEL_TRAP_SIGNALS : 0);
        kelSetDecodingFlags(&world, r.decoderTraps ? KEL_TRAP_SIGNALS : 0);
        const bool trapped = r.encoderTraps && r.decoderTraps;
        gScript.fault = false;
        EXPECT_EQ(check(), 0);
        EXPECT_EQ(gScript.seenHandler != before, trapped);
        EXPECT_EQ(std::signal(SIGSEGV, before), before) << "the caller's handler is back";
    }
    kelSetEncodingFlags(&world, KEL_TRAP_SIGNALS);
    kelSetDecodingFlags(&world, KEL_TRAP_SIGNALS);
    gScript.fault = true;
    EXPECT_EQ(check(), 14);
    EXPECT_EQ(wydworld, &world);
    EXPECT_EQ(check(), 14) << "the signal is unblocked again after the jump";
    EXPECT_EQ(std::signal(SIGSEGV, before), before);
}

} // namespace
