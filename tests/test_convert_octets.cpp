// test_convert_octets.cpp - octet conversions: ASCII, BCD, TBCD, IP
// addresses and time stamps each way, and kelConvertData between binary,
// hexadecimal and Base64, with caller's buffers and allocation failures.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench_files.h"
#include "counting_alloc.h"
#include "harness.h"

namespace {

using Bytes = std::vector<unsigned char>;
using kel_test::CountingAllocator;

const auto hex = kel_test::from_hex;

using ToOctets = int (*)(KelGlobal *, const char *, long, unsigned char **, long *);
using ToText = int (*)(KelGlobal *, const unsigned char *, long, char **);

struct Octets : ::testing::Test {
    kel_test::BriefWorld world;
    long liveAtStart = 0;
    void SetUp() override {
        CountingAllocator::install(world.get());
        CountingAllocator::reset();
        liveAtStart = CountingAllocator::live;
    }
    void TearDown() override { EXPECT_EQ(CountingAllocator::live, liveAtStart) << "a conversion leaked"; }
};

TEST_F(Octets, TextToOctets) {
    struct Case { ToOctets op; const char *text; int code; const char *octets; } cases[] = {
        {kelConvertASCIIToOctet, "hi", 0, "6869"}, {kelConvertBCDStringToOctet, "123", 0, "123F"},
        {kelConvertBCDStringToOctet, "12a", 5, ""}, {kelConvertTBCDStringToOctet, "123", 0, "21F3"},
        {kelConvertTBCDStringToOctet, "*#abc", 0, "BADCFE"}, {kelConvertTBCDStringToOctet, "12A", 5, ""},
        {kelConvertIPAddressToOctet, "1.2.3.4", 0, "01020304"}, {kelConvertIPAddressToOctet, "10.0.255", 0, "0A00FF"},
        {kelConvertIPAddressToOctet, "256.1", 5, ""}, {kelConvertIPAddressToOctet, "1..2", 5, ""},
        {kelConvertIPAddressToOctet, "1.2.", 5, ""},
        {kelConvertIPAddressToOctet, "::1", 0, "00000000000000000000000000000001"},
        {kelConvertIPAddressToOctet, "1::", 0, "00010000000000000000000000000000"},
        {kelConvertIPAddressToOctet, "2001:DB8::ff00:42:8329", 0, "20010DB8000000000000FF0000428329"},
        {kelConvertIPAddressToOctet, "1:2:3:4:5:6:7:8", 0, "00010002000300040005000600070008"},
        {kelConvertIPAddressToOctet, "1:2:3:4:5:6:7::8", 0, "00010002000300040005000600070008"},
        {kelConvertIPAddressToOctet, "1:2", 0, "00010002000000000000000000000000"},
        {kelConvertIPAddressToOctet, "1::2::3", 5, ""}, {kelConvertIPAddressToOctet, "1:2:", 5, ""},
        {kelConvertIPAddressToOctet, ":::1", 5, ""}, {kelConvertIPAddressToOctet, "12345::", 5, ""},
        {kelConvertIPAddressToOctet, "1:2:3:4:5:6:7:8:9", 5, ""},
        {kelConvertIPAddressToOctet, "1::2:3:4:5:6:7:8:9", 5, ""}, {kelConvertIPAddressToOctet, "fe80::1%", 5, ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        unsigned char *out = nullptr;
        long length = -1;
        ASSERT_EQ(c.op(world.get(), c.text, static_cast<long>(std::strlen(c.text)), &out, &length), c.code);
        if (c.code == 0) {
            EXPECT_EQ(Bytes(out, out + length), hex(c.octets));
            kelFreeMemory(world.get(), out);
        } else {
            EXPECT_EQ(out, nullptr);
        }
    }
}

TEST_F(Octets, OctetsToText) {
    struct Case { ToText op; const char *octets; int code; const char *text; } cases[] = {
        {kelConvertOctetToASCII, "41007F7E", 0, "A??~"}, {kelConvertOctetToBCDString, "123F", 0, "123"},
        {kelConvertOctetToBCDString, "1A", 5, ""}, {kelConvertOctetToBCDString, "F1", 5, ""},
        {kelConvertOctetToBCDString, "3F12", 5, ""}, {kelConvertOctetToTBCDString, "21F3", 0, "123"},
        {kelConvertOctetToTBCDString, "BADCFE", 0, "*#abc"}, {kelConvertOctetToTBCDString, "1F", 5, ""},
        {kelConvertOctetToTBCDString, "F121", 5, ""},
        {kelConvertOctetToIPAddress, "00000000000000000000000000000001", 0, "::1"},
        {kelConvertOctetToIPAddress, "00010000000000000000000000000000", 0, "1::"},
        {kelConvertOctetToIPAddress, "20010DB8000000000001000000000001", 0, "2001:db8::1:0:0:1"},
        {kelConvertOctetToIPAddress, "00010000000200000003000000040000", 0, "1:0:2:0:3:0:4:0"},
        {kelConvertOctetToIPAddress, "FFFF0000000000000000ABCD00000000", 0, "ffff::abcd:0:0"},
        {kelConvertOctetToIPAddress, "01020304", 0, "1.2.3.4"}, {kelConvertOctetToIPAddress, "00640A", 0, "0.100.10"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.octets);
        Bytes in = hex(c.octets);
        char *out = nullptr;
        ASSERT_EQ(c.op(world.get(), in.data(), static_cast<long>(in.size()), &out), c.code);
        if (c.code == 0) {
            EXPECT_STREQ(out, c.text);
            kelFreeMemory(world.get(), out);
        } else {
            EXPECT_EQ(out, nullptr);
        }
    }
}

// A caller's buffer: too small gives 1 and stays untouched; a bad text
// leaves it cleared; null arguments give 6; no memory gives 8; zero lengths
// give nothing, save the IP address text.
TEST_F(Octets, BuffersArgumentsAndMemory) {
    KelGlobal *w = world.get();
    unsigned char area[4] = {0xEE, 0xEE, 0xEE, 0xEE};
    unsigned char *out = area;
    long length = 1;
    EXPECT_EQ(kelConvertIPAddressToOctet(w, "1.2.3.4", 7, &out, &length), 1);
    EXPECT_EQ(area[0], 0xEE);
    length = 4;
    EXPECT_EQ(kelConvertIPAddressToOctet(w, "1.2.3.4", 7, &out, &length), 0);
    EXPECT_EQ(length, 4);

    char text[8] = "xxxxxxx";
    char *textOut = text;
    EXPECT_EQ(kelConvertOctetToBCDString(w, hex("12A4").data(), 2, &textOut), 5);
    EXPECT_STREQ(text, "");

    out = nullptr;
    EXPECT_EQ(kelConvertBCDStringToOctet(nullptr, "1", 1, &out, &length), 6);
    EXPECT_EQ(kelConvertBCDStringToOctet(w, nullptr, 1, &out, &length), 6);
    EXPECT_EQ(kelConvertOctetToBCDString(w, area, 1, nullptr), 6);

    EXPECT_EQ(kelConvertBCDStringToOctet(w, "", 0, &out, &length), 0);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(kelConvertIPAddressToOctet(w, "", 0, &out, &length), 5);
    textOut = nullptr;
    EXPECT_EQ(kelConvertOctetToTBCDString(w, area, 0, &textOut), 0);
    EXPECT_EQ(textOut, nullptr);

    CountingAllocator::reset(1);
    EXPECT_EQ(kelConvertTBCDStringToOctet(w, "12", 2, &out, &length), 8);
    CountingAllocator::reset(1);
    EXPECT_EQ(kelConvertOctetToIPAddress(w, area, 4, &textOut), 8);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(textOut, nullptr);
}

// Each text is read, and the octets are written back in the form of the
// text; forms without a difference are local time and come back as UTC.
TEST_F(Octets, TimeStamps) {
    struct Case { const char *text; int code; const char *octets, *back; } cases[] = {
        {"20201231235959+0130", 0, "2012312359592B0130", "20201231235959+0130"},
        {"19991231235959-0500", 0, "991231235959" "2D0500", "19991231235959-0500"},
        {"20200102030405Z", 0, "200102030405" "2B0000", "20200102030405+0000"},
        {"2021-06-30 12:00:00", 0, "210630120000" "2B0000", "2021-06-30 12:00:00"},
        {"21/06/30 12:00:00", 0, "210630120000" "2B0000", "21/06/30 12:00:00"}, {"2021-02-30 12:00:00", 12, "", ""},
        {"2021-06-30 12:00", 12, "", ""}, {"2020123123595", 12, "", ""}, {"20201231235959*0130", 12, "", ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        unsigned char *out = nullptr;
        long length = 0;
        ASSERT_EQ(kelConvertTimeStampToOctet(world.get(), c.text, static_cast<long>(std::strlen(c.text)), &out,
                                             &length),
                  c.code);
        if (c.code)
            continue;
        EXPECT_EQ(Bytes(out, out + length), hex(c.octets));
        char *text = nullptr;
        EXPECT_EQ(kelConvertOctetToTimeStamp(world.get(), out, length, &text), 0);
        EXPECT_STREQ(text, c.back);
        kelFreeMemory(world.get(), out);
        kelFreeMemory(world.get(), text);
    }
    // The last form read was the second: octets with a difference come back
    // as UTC in that form.
    struct Back { const char *octets; int code; const char *text; } backs[] = {
        {"210630120000" "2B0130", 0, "21/06/30 10:30:00"}, {"211231210000" "2D0500", 0, "22/01/01 02:00:00"},
        {"211331120000" "2B0000", 12, ""}, {"2106301200A0" "2B0000", 12, ""}, {"210630120000" "200000", 12, ""},
        {"210630120000" "2B00", 12, ""},
    };
    for (const Back &b : backs) {
        SCOPED_TRACE(b.octets);
        Bytes in = hex(b.octets);
        char text[18];
        char *out = text;
        EXPECT_EQ(kelConvertOctetToTimeStamp(world.get(), in.data(), static_cast<long>(in.size()), &out), b.code);
        EXPECT_STREQ(text, b.text);
    }
}

TEST_F(Octets, ConvertData) {
    struct Case { int from, to; const char *input; int code; const char *output; /* or message */ } cases[] = {
        {1, 2, "\x01\xAB", 0, "01AB"}, {2, 1, "4d 61\n6E", 0, "Man"}, {2, 1, "4", 0, "@"},
        {2, 1, "4x", 5, "Invalid sequence of octets in the input buffer.  Input position 1.\n"},
        {1, 4, "Man", 0, "TWFu"}, {1, 4, "Ma", 0, "TWE="}, {1, 4, "M", 0, "TQ=="},
        {4, 1, "TW Fu\r\nTWE=", 0, "ManMa"}, {4, 1, "TWE", 0, "Ma"}, {4, 1, "TQ", 0, "M"},
        {4, 1, "TQ==TQ==", 5, "Invalid sequence of octets in the input buffer.  Input position 4.\n"},
        {4, 1, "TQ===", 5, "Invalid sequence of octets in the input buffer.  Input position 4.\n"},
        {4, 1, "T===", 5, "Invalid sequence of octets in the input buffer.  Input position 1.\n"},
        {4, 1, "TW,u", 5, "Invalid sequence of octets in the input buffer.  Input position 2.\n"},
        {4, 1, "TWFuT", 5, "Invalid sequence of octets in the input buffer.  Input position 5.\n"},
        {2, 4, "4D616E", 0, "TWFu"}, {4, 2, "TWE=", 0, "4D61"}, {2, 2, "zz", 0, "zz"}, {4, 4, "!", 0, "!"},
        {1, 3, "M", 25, "Unknown data format was requested.\n"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.input);
        KelBuf in = {static_cast<uint32_t>(std::strlen(c.input)),
                     reinterpret_cast<unsigned char *>(const_cast<char *>(c.input))};
        KelBuf out = {0, nullptr};
        ASSERT_EQ(kelConvertData(world.get(), &in, c.from, &out, c.to), c.code);
        if (c.code == 0) {
            EXPECT_EQ(std::string(reinterpret_cast<char *>(out.value), out.length), c.output);
            world->freep(out.value);
        } else {
            EXPECT_STREQ(world->errMsg, c.output);
            EXPECT_EQ(out.value, nullptr);
        }
    }
}

TEST_F(Octets, ConvertDataBuffersAndMemory) {
    KelGlobal *w = world.get();
    unsigned char area[8];
    std::memset(area, 0xEE, sizeof area);
    unsigned char man[] = "Man";
    KelBuf in = {3, man};
    KelBuf out = {3, area};
    EXPECT_EQ(kelConvertData(w, &in, KEL_DATA_BINARY, &out, KEL_DATA_BASE64), 1);
    EXPECT_STREQ(w->errMsg, "Output buffer too small.  Input position 0.\n");
    EXPECT_EQ(area[0], 0xEE);
    out.length = 4;
    EXPECT_EQ(kelConvertData(w, &in, KEL_DATA_BINARY, &out, KEL_DATA_BASE64), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(area), 4), "TWFu");
    EXPECT_EQ(area[4], 0xEE);

    in.length = 0;
    EXPECT_EQ(kelConvertData(w, &in, KEL_DATA_HEX, &out, KEL_DATA_BINARY), 0);
    EXPECT_EQ(out.length, 0u);
    EXPECT_EQ(kelConvertData(w, nullptr, KEL_DATA_HEX, &out, KEL_DATA_BINARY), 6);

    // Hexadecimal to Base64 passes through a scratch buffer: either
    // allocation may fail, and neither leaves anything behind.
    unsigned char digits[] = "4D616E";
    in = {6, digits};
    for (long failAt : {1L, 2L}) {
        CountingAllocator::reset(failAt);
        out = {0, nullptr};
        EXPECT_EQ(kelConvertData(w, &in, KEL_DATA_HEX, &out, KEL_DATA_BASE64), 8);
        EXPECT_STREQ(w->errMsg, "Out of memory.  Input position 0.\n");
    }
}

TEST_F(Octets, ConvertDataRoundTripsRandomData) {
    std::mt19937 random(20261121);
    KelGlobal *w = world.get();
    auto convert = [&](const Bytes &data, int from, int to) {
        KelBuf in = {static_cast<uint32_t>(data.size()), const_cast<unsigned char *>(data.data())};
        KelBuf out = {0, nullptr};
        EXPECT_EQ(kelConvertData(w, &in, from, &out, to), 0);
        Bytes result(out.value, out.value + out.length);
        w->freep(out.value);
        return result;
    };
    for (int round = 0; round < 200; ++round) {
        Bytes data(random() % 700 + 1);
        for (auto &b : data)
            b = static_cast<unsigned char>(random());
        Bytes hexText = convert(data, KEL_DATA_BINARY, KEL_DATA_HEX);
        Bytes base64 = convert(data, KEL_DATA_BINARY, KEL_DATA_BASE64);
        ASSERT_EQ(hexText.size(), 2 * data.size());
        ASSERT_EQ(base64.size(), (data.size() + 2) / 3 * 4);
        EXPECT_EQ(convert(hexText, KEL_DATA_HEX, KEL_DATA_BINARY), data);
        EXPECT_EQ(convert(base64, KEL_DATA_BASE64, KEL_DATA_BINARY), data);
        EXPECT_EQ(convert(hexText, KEL_DATA_HEX, KEL_DATA_BASE64), base64);
        EXPECT_EQ(convert(base64, KEL_DATA_BASE64, KEL_DATA_HEX), hexText);
    }
}

} // namespace
