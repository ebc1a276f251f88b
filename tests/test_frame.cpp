// test_frame.cpp - the path of one call: rule dispatch, the BER drivers in
// both memory modes, recovery from failures with everything freed, signal
// trapping, partial decoding and the legacy calling forms.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>

#include "counting_alloc.h"
#include "fail_each.h"
#include "frame_probe.h"
#include "internal.h"

using kel_test::CountingAllocator;

namespace {

const unsigned char kOctets[] = {0x30, 0x06, 0x02, 0x01, 0x05, 0x01, 0x01, 0xFF};

struct Frame : ::testing::Test {
    KelGlobal world;
    void SetUp() override {
        kel_probe = KelProbeScript{};
        kel_probe.bytes = kOctets;
        kel_probe.length = sizeof kOctets;
        ASSERT_EQ(kelinit(&world, &kel_probe_table), 0);
        CountingAllocator::install(&world);
        CountingAllocator::reset();
    }
    void TearDown() override { kelterm(&world); }
    std::string message() const { return world.errMsg; }
};

TEST_F(Frame, DispatchRefusesUnknownAndUnlinkedRules) {
    KelBuf out = {0, nullptr};
    EXPECT_EQ(kelEncode(nullptr, 1, &world, &out), 6);
    EXPECT_EQ(kelEncode(&world, 1, nullptr, &out), 6);
    EXPECT_EQ(message().rfind("E0006S", 0), 0u) << message();

    world.encRules = KEL_ECN;
    EXPECT_EQ(kelEncode(&world, 1, &world, &out), 22);
    EXPECT_NE(message().find("0100S"), std::string::npos);
    world.encRules = 12;
    EXPECT_EQ(kelEncode(&world, 1, &world, &out), 22);

    world.encRules = KEL_XER;
    EXPECT_EQ(kelEncode(&world, 1, &world, &out), 23);
    EXPECT_NE(message().find("not linked: 'XER'"), std::string::npos) << message();

    world.encRules = KEL_DER;
    world.modeBits &= ~KEL_MODE_DER_SUPPORT;
    EXPECT_EQ(kelEncode(&world, 1, &world, &out), 23);
    EXPECT_NE(message().find("0118S"), std::string::npos);

    // Canonical XER into a caller's buffer: blanks first, then the refusal.
    unsigned char area[6] = {1, 2, 3, 4, 5, 6};
    KelBuf provided = {sizeof area, area};
    world.encRules = KEL_CXER;
    EXPECT_EQ(kelEncode(&world, 1, &world, &provided), 23);
    EXPECT_EQ(std::memcmp(area, "      ", 6), 0);
}

TEST_F(Frame, EncodesIntoBothMemoryModesAndCounts) {
    for (uint32_t rule : {KEL_BER, KEL_DER, KEL_CER}) {
        world.encRules = rule;
        KelBuf out = {0, nullptr};
        ASSERT_EQ(kelEncode(&world, 1, &world, &out), 0);
        ASSERT_EQ(out.length, sizeof kOctets);
        EXPECT_EQ(std::memcmp(out.value, kOctets, sizeof kOctets), 0);
        kelFreeBuf(&world, out.value);
    }
    EXPECT_EQ(CountingAllocator::live, 0);

    unsigned char area[32];
    KelBuf provided = {sizeof area, area};
    CountingAllocator::reset();
    ASSERT_EQ(kelEncode(&world, 1, &world, &provided), 0);
    EXPECT_EQ(provided.value, area + sizeof area - sizeof kOctets) << "BER fills the buffer from its end";
    EXPECT_EQ(provided.length, sizeof kOctets);
    EXPECT_EQ(CountingAllocator::calls, 0) << "a caller's buffer needs no allocation";

    KelBuf small = {4, area};
    EXPECT_EQ(kelEncode(&world, 1, &world, &small), 1);
    EXPECT_NE(message().find("total buffer size: 4"), std::string::npos) << message();

    world.encodingFlags |= DETERMINE_ENC_LENGTH;
    KelBuf counted = {0, nullptr};
    ASSERT_EQ(kelEncode(&world, 1, &world, &counted), 0);
    EXPECT_EQ(counted.length, sizeof kOctets);
    EXPECT_EQ(counted.value, nullptr);
    EXPECT_EQ(CountingAllocator::live, 0);

    // A failure with more than one block of the chain frees them all.
    world.encodingFlags &= ~DETERMINE_ENC_LENGTH;
    kel_probe.action = KEL_PROBE_FAIL;
    kel_probe.items = 70;
    kel_probe.message = 45;
    KelBuf out = {0, nullptr};
    EXPECT_EQ(kelEncode(&world, 1, &world, &out), 4);
    EXPECT_EQ(out.value, nullptr) << "the caller's record is left as it was";
    EXPECT_EQ(CountingAllocator::live, 0);
    EXPECT_EQ(message().rfind("E0081S", 0), 0u) << message();
}

TEST_F(Frame, DecodesInBothMemoryModes) {
    int pdu = 1;
    KelBuf input = {sizeof kOctets, const_cast<unsigned char *>(kOctets)};
    void *value = nullptr;
    ASSERT_EQ(kelDecode(&world, &pdu, &input, &value), 0);
    EXPECT_EQ(std::memcmp(value, kOctets, sizeof kOctets), 0);
    EXPECT_EQ(kelGetBytesReadByDecoder(&world), static_cast<long>(sizeof kOctets));
    EXPECT_EQ(input.value, kOctets + sizeof kOctets) << "without a root context the input advances";
    EXPECT_EQ(kelFreePDU(&world, 1, value), 0);
    EXPECT_EQ(CountingAllocator::live, 0);

    alignas(8) unsigned char area[64];
    input = {sizeof kOctets, const_cast<unsigned char *>(kOctets)};
    void *inArea = area;
    world.decodingLength = sizeof area;
    ASSERT_EQ(kelDecode(&world, &pdu, &input, &inArea), 0);
    EXPECT_EQ(inArea, static_cast<void *>(area));
    EXPECT_EQ(world.decodingLength, 16) << "the value took 16 octets of the area";

    // An unaligned area is refused before it is moved.
    input = {sizeof kOctets, const_cast<unsigned char *>(kOctets)};
    void *at = area + 3;
    world.decodingLength = 5;
    EXPECT_EQ(kelDecode(&world, &pdu, &input, &at), 1);
    EXPECT_EQ(at, static_cast<void *>(area + 3));
    EXPECT_NE(message().find("total buffer size: 5"), std::string::npos) << message();
}

TEST_F(Frame, FailedDecodeFreesItemsOrKeepsCallersArea) {
    kel_probe.action = KEL_PROBE_FAIL;
    kel_probe.items = 61; // the 61st item needs a second block
    kel_probe.itemSize = 24;
    kel_probe.message = 106;
    int pdu = 1;
    KelBuf input = {sizeof kOctets, const_cast<unsigned char *>(kOctets)};
    void *value = nullptr;
    EXPECT_EQ(kelDecode(&world, &pdu, &input, &value), 5);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(CountingAllocator::live, 0);
    EXPECT_EQ(message().rfind("D0037E", 0), 0u) << message();

    alignas(8) static unsigned char area[61 * 24 + 64];
    void *inArea = area;
    world.decodingLength = sizeof area;
    EXPECT_EQ(kelDecode(&world, &pdu, &input, &inArea), 5);
    EXPECT_EQ(inArea, static_cast<void *>(area));
}

TEST_F(Frame, EveryAllocationFailureIsReportedAndFreed) {
    kel_probe.items = 3;
    kel_probe.itemSize = 40;
    kel_test::fail_each_allocation(&world, [&] {
        int pdu = 1;
        KelBuf input = {sizeof kOctets, const_cast<unsigned char *>(kOctets)};
        void *value = nullptr;
        const int code = kelDecode(&world, &pdu, &input, &value);
        if (code == 0)
            kelFreePDU(&world, 1, value);
        return code;
    });
}

TEST_F(Frame, PartialDecodeKeepsNoValue) {
    int pdu = 1;
    KelBuf input = {sizeof kOctets, const_cast<unsigned char *>(kOctets)};
    void *value = nullptr;
    ASSERT_EQ(kelPartialDecode(&world, &pdu, &input, &value), 0);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(world.partialMode, 0);
    EXPECT_EQ(CountingAllocator::live, 0);
    world.encRules = KEL_XER;
    EXPECT_EQ(kelPartialDecode(&world, &pdu, &input, &value), 23);
}

TEST_F(Frame, TrappedSignalBecomesReturnCode14) {
    kel_probe.action = KEL_PROBE_SIGNAL;
    auto before = std::signal(SIGSEGV, SIG_DFL);
    std::signal(SIGSEGV, before);
    kelSetEncodingFlags(&world, KEL_TRAP_SIGNALS);
    KelBuf out = {0, nullptr};
    EXPECT_EQ(kelEncode(&world, 1, &world, &out), 14);
    EXPECT_NE(message().find("signal 11"), std::string::npos) << message();
    auto after = std::signal(SIGSEGV, SIG_DFL);
    std::signal(SIGSEGV, after);
    EXPECT_EQ(after, before) << "the caller's handler is back";
    EXPECT_EQ(CountingAllocator::live, 0);
}

TEST_F(Frame, VersionAndEntryChecksOfTheDriver) {
    KelControlTable table = kel_probe_table;
    world.ctlTbl = &table;
    table.berEncode = nullptr;
    KelBuf out = {0, nullptr};
    EXPECT_EQ(kelEncode(&world, 1, &world, &out), 21);
    table.berEncode = kel_probe_table.berEncode;
    table.version = 18;
    EXPECT_EQ(kelEncode(&world, 1, &world, &out), 7);
    EXPECT_NE(message().find("0007S"), std::string::npos) << message();
    world.ctlTbl = &kel_probe_table;
}

TEST(Legacy, EncodeAndDecodeOnAStackWorld) {
    kel_probe = KelProbeScript{};
    kel_probe.bytes = kOctets;
    kel_probe.length = sizeof kOctets;
    unsigned char *encoded = nullptr;
    long length = 0;
    char text[512] = "untouched";
    ASSERT_EQ(encode(nullptr, 1, &kel_probe, &encoded, &length, &kel_probe_table, 0, text), 0);
    ASSERT_EQ(length, static_cast<long>(sizeof kOctets));
    EXPECT_STREQ(text, "");

    int pdu = 1;
    unsigned char *cursor = encoded;
    long remaining = length;
    void *value = nullptr;
    long valueLength = 0;
    ASSERT_EQ(decode(nullptr, &pdu, &cursor, &remaining, &value, &valueLength, &kel_probe_table, 0, text), 0);
    EXPECT_EQ(std::memcmp(value, kOctets, sizeof kOctets), 0);
    EXPECT_EQ(remaining, 0);
    std::free(value);
    std::free(encoded);

    EXPECT_EQ(encode(nullptr, 1, &kel_probe, nullptr, &length, &kel_probe_table, 0, text), 6);
    EXPECT_EQ(std::string(text).rfind("E0006S", 0), 0u) << text;
}

} // namespace
