// test_compare_frame.cpp - kelCmpValue around a stand-in generated comparer:
// refusals, results, failures raised inside with their memory given back,
// trapped signals; and open types compared decoded, encoded and by the
// application's user-field function.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "compare_probe.h"
#include "counting_alloc.h"
#include "frame_probe.h"
#include "internal.h"
#include "kelvarn_services.h"

using kel_test::CountingAllocator;

namespace {

struct CompareFrame : ::testing::Test {
    KelGlobal world;
    void SetUp() override {
        kel_cmp_probe = KelCmpProbeScript{};
        ASSERT_EQ(kelinit(&world, &kel_cmp_probe_table), 0);
        CountingAllocator::install(&world);
        CountingAllocator::reset();
    }
    void TearDown() override { kelterm(&world); }
    std::string message() const { return world.errMsg; }
};

TEST_F(CompareFrame, RefusesMissingArgumentsAndEntries) {
    int32_t a = 1, b = 1;
    EXPECT_EQ(kelCmpValue(nullptr, 1, &a, &b), 6);
    EXPECT_EQ(kelCmpValue(&world, 1, nullptr, &b), 6);
    EXPECT_EQ(kelCmpValue(&world, 1, &a, nullptr), 6);

    KelXApiTable empty{};
    KelXApiTable *registered = world.ext->xapi;
    kelInitXAPIentries(&world, &empty);
    EXPECT_EQ(kelCmpValue(&world, 1, &a, &b), 25) << "no comparer in the table";
    kelInitXAPIentries(&world, nullptr);
    EXPECT_EQ(kelCmpValue(&world, 1, &a, &b), 25) << "no table";
    kelInitXAPIentries(&world, registered);
    EXPECT_EQ(kel_cmp_probe.calls, 0);

    KelGlobal bare;
    ASSERT_EQ(kelinit(&bare, &kel_probe_table), 0);
    EXPECT_EQ(kelCmpValue(&bare, 1, &a, &b), 25) << "a code file without the newer entries";
    kelterm(&bare);
}

TEST_F(CompareFrame, HandsBackTheComparersAnswer) {
    int32_t a = 7, b = 7, c = 8;
    EXPECT_EQ(kelCmpValue(&world, KEL_CMP_PROBE_INTEGER, &a, &b), 0);
    EXPECT_NE(kelCmpValue(&world, KEL_CMP_PROBE_INTEGER, &a, &c), 0);
    EXPECT_EQ(kel_cmp_probe.calls, 2);
    EXPECT_EQ(CountingAllocator::calls, 0) << "comparing takes no memory";
}

TEST_F(CompareFrame, RaisedFailureReturnsItsCodeAndFreesTemporaryMemory) {
    int32_t a = 7, b = 7;
    kel_cmp_probe.action = KEL_CMP_PROBE_FAIL;
    kel_cmp_probe.tempItems = 200;
    kel_cmp_probe.message = 45; // "0081S: End of input ...", code 4
    EXPECT_EQ(kelCmpValue(&world, KEL_CMP_PROBE_INTEGER, &a, &b), 4);
    EXPECT_NE(message().find("0081S"), std::string::npos) << message();
    EXPECT_GT(CountingAllocator::calls, 0);
    EXPECT_EQ(CountingAllocator::live, 0);

    // After a checker's run the world is in its phase; a failure here is
    // still formatted and returned as its code.
    world.phase = kel::kPhaseChecker;
    kel_cmp_probe.tempItems = 0;
    EXPECT_EQ(kelCmpValue(&world, KEL_CMP_PROBE_INTEGER, &a, &b), 4);
    EXPECT_NE(message().find("0081S"), std::string::npos) << message();

    kel_cmp_probe.action = KEL_CMP_PROBE_COMPARE;
    EXPECT_EQ(kelCmpValue(&world, KEL_CMP_PROBE_INTEGER, &a, &b), 0) << "the next call runs clean";
}

TEST_F(CompareFrame, TrapsSignalsOnlyWhenAsked) {
    int32_t a = 7, b = 7;
    kel_cmp_probe.action = KEL_CMP_PROBE_SIGNAL;
    auto before = std::signal(SIGSEGV, SIG_DFL);
    std::signal(SIGSEGV, before);
    // The no-trapping bit must be clear in both words.
    kelSetEncodingFlags(&world, KEL_TRAP_SIGNALS);
    kelSetDecodingFlags(&world, KEL_TRAP_SIGNALS);
    EXPECT_EQ(kelCmpValue(&world, KEL_CMP_PROBE_INTEGER, &a, &b), 14);
    EXPECT_NE(message().find("signal 11"), std::string::npos) << message();
    auto after = std::signal(SIGSEGV, SIG_DFL);
    std::signal(SIGSEGV, after);
    EXPECT_EQ(after, before) << "the caller's handler is back";

    kel_cmp_probe.action = KEL_CMP_PROBE_COMPARE;
    EXPECT_EQ(kelCmpValue(&world, KEL_CMP_PROBE_INTEGER, &a, &b), 0);
    after = std::signal(SIGSEGV, SIG_DFL);
    std::signal(SIGSEGV, after);
    EXPECT_EQ(after, before) << "a clean run puts the handler back too";
}

// ---------------------------------------------------------------------------
// Open types
// ---------------------------------------------------------------------------

int32_t gSeven = 7, gSevenToo = 7, gEight = 8;
unsigned char gOctets[3] = {1, 2, 3}, gOctetsToo[3] = {1, 2, 3}, gOther[3] = {1, 2, 4};
int gUserCalls;

int user_field_differs(KelGlobal *, void *, void *) { return ++gUserCalls, 1; }
int user_field_agrees(KelGlobal *, void *, void *) { return ++gUserCalls, 0; }

KelOpenType decoded(int32_t *value, int pdu = KEL_CMP_PROBE_INTEGER) { return {pdu, 0, nullptr, value, 0}; }
KelOpenType encoded(unsigned char *octets, uint32_t length = 3) { return {0, length, octets, nullptr, 0}; }

struct OpenCase {
    const char *what;
    KelOpenType first, second;
    uint32_t flags;
    int result;
};

TEST_F(CompareFrame, OpenTypesDecodedThenEncoded) {
    const KelOpenType both7 = {1, 3, gOctets, &gSeven, 0}, both8 = {1, 3, gOctetsToo, &gEight, 0};
    const KelOpenType seven7Other = {1, 3, gOther, &gSevenToo, 0};
    const OpenCase cases[] = {
        {"decoded equal", decoded(&gSeven), decoded(&gSevenToo), 0, 0},
        {"decoded differ", decoded(&gSeven), decoded(&gEight), 0, 1},
        {"PDU numbers differ", decoded(&gSeven), decoded(&gSevenToo, 3), 0, 1},
        {"PDU number 0", decoded(&gSeven, 0), decoded(&gSevenToo, 0), 0, 1},
        {"one decoded", decoded(&gSeven), encoded(gOctets), 0, 1},
        {"decoded decide, encodings aside", both7, seven7Other, 0, 0},
        {"decoded not compared", both7, both8, DONT_DO_DECODED, 0},
        {"decoded not compared, encodings differ", both7, seven7Other, DONT_DO_DECODED, 1},
        {"encoded equal", encoded(gOctets), encoded(gOctetsToo), 0, 0},
        {"encoded differ", encoded(gOctets), encoded(gOther), 0, 1},
        {"encoded lengths differ", encoded(gOctets), encoded(gOctetsToo, 2), 0, 1},
        {"one encoded", encoded(gOctets), KelOpenType{}, 0, 1},
        {"encoded not compared", encoded(gOctets), encoded(gOther), DONT_DO_ENCODED, 0},
        {"neither compared", both7, both8, DONT_DO_DECODED | DONT_DO_ENCODED, 0},
        {"two empty records", KelOpenType{}, KelOpenType{}, 0, 0},
    };
    for (const OpenCase &c : cases) {
        world.decodingFlags = c.flags;
        EXPECT_EQ(_kel_cmp_open_type(&world, &c.first, &c.second), c.result) << c.what;
    }
}

TEST_F(CompareFrame, UserFieldFunctionHasTheLastWord) {
    KelOpenType a = encoded(gOctets), b = encoded(gOctetsToo), c = encoded(gOther);
    gUserCalls = 0;
    kelSetUserFieldCpyCmp(&world, nullptr, user_field_agrees);
    EXPECT_EQ(kelCmpValue(&world, KEL_CMP_PROBE_OPEN_TYPE, &a, &b), 0);
    EXPECT_EQ(gUserCalls, 1);
    EXPECT_NE(kelCmpValue(&world, KEL_CMP_PROBE_OPEN_TYPE, &a, &c), 0);
    EXPECT_EQ(gUserCalls, 1) << "a difference found before it isn't asked";

    kelSetUserFieldCpyCmp(&world, nullptr, user_field_differs);
    EXPECT_EQ(kelCmpValue(&world, KEL_CMP_PROBE_OPEN_TYPE, &a, &b), 40);
    EXPECT_NE(message().find("0079S"), std::string::npos) << message();

    // An open type holding a decoded open type: the comparer recurses
    // through the code file.
    kelSetUserFieldCpyCmp(&world, nullptr, nullptr);
    KelOpenType innerA = decoded(&gSeven), innerB = decoded(&gSevenToo), innerC = decoded(&gEight);
    KelOpenType outerA = {KEL_CMP_PROBE_OPEN_TYPE, 0, nullptr, &innerA, 0};
    KelOpenType outerB = {KEL_CMP_PROBE_OPEN_TYPE, 0, nullptr, &innerB, 0};
    KelOpenType outerC = {KEL_CMP_PROBE_OPEN_TYPE, 0, nullptr, &innerC, 0};
    EXPECT_EQ(kelCmpValue(&world, KEL_CMP_PROBE_OPEN_TYPE, &outerA, &outerB), 0);
    EXPECT_NE(kelCmpValue(&world, KEL_CMP_PROBE_OPEN_TYPE, &outerA, &outerC), 0);
}

} // namespace
