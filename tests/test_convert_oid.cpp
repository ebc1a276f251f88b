// test_convert_oid.cpp - object identifier conversions and arc helpers:
// exact texts and octets, arc limits, short buffers, allocation, and random
// round trips with arcs up to 39 digits.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "counting_alloc.h"
#include "harness.h"
#include "kelvarn.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Convert = int (*)(KelGlobal *, const KelBuf *, KelBuf *);
using kel_test::CountingAllocator;

// Indexed by Form below.
constexpr Convert kToText[] = {kelEncodedOidToAsnVal, kelEncodedRelOidToAsnVal, kelEncodedOidToDotVal,
                               kelEncodedRelOidToDotVal};
constexpr Convert kToEncoded[] = {kelAsnValToEncodedOid, kelAsnValToEncodedRelOid, kelDotValToEncodedOid,
                                  kelDotValToEncodedRelOid};
enum Form { kAsn, kRelAsn, kDot, kRelDot };

KelBuf record(const Bytes &octets) { return {uint32_t(octets.size()), const_cast<uint8_t *>(octets.data())}; }
KelBuf record(const std::string &text) {
    return {uint32_t(text.size()), reinterpret_cast<uint8_t *>(const_cast<char *>(text.data()))};
}

const Bytes kMax64 = {0x81, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}; // 2^64 - 1
const Bytes kTwoMax64 = {0x82, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x4F}; // 2^64 + 79
const char *const kMax64Text = "18446744073709551615";

Bytes cat(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
Bytes zero_groups(size_t n, uint8_t last) {
    Bytes b(n, 0x80);
    b.push_back(last);
    return b;
}

TEST(ConvertOid, EncodedToText) {
    struct Case {
        Bytes in;
        Form form;
        const char *text;
        int code;
    };
    const Case cases[] = {
        {{0x2A, 0x03}, kAsn, "{ 1 2 3 }", 0}, {{0x2A, 0x03}, kDot, "1.2.3", 0}, {{0x88, 0x37}, kDot, "2.999", 0},
        {{0x03, 0x04}, kRelAsn, "{ 3 4 }", 0}, {{0x05}, kRelDot, "5", 0}, {{0x27, 0x28}, kDot, "0.39.40", 0},
        {{0x4F}, kAsn, "{ 1 39 }", 0}, {{0x50}, kDot, "2.0", 0},
        {cat({0x2A}, kMax64), kDot, "1.2.18446744073709551615", 0}, {kTwoMax64, kDot, "2.18446744073709551615", 0},
        {cat({0x2A}, zero_groups(10, 1)), kDot, "1.2.1", 0}, // 11 groups, leading zeros
        {{0x82, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x50}, kDot, "", 33},
        {cat({0x2A, 0x82}, zero_groups(8, 0)), kDot, "", 33}, // 2^64
        {cat({0x2A}, zero_groups(11, 1)), kAsn, "", 33}, {{}, kRelAsn, "", 5}, {{0x2A, 0x83}, kDot, "", 5},
    };
    kel_test::BriefWorld world;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        char out[64];
        KelBuf in = record(c.in), text{sizeof out, reinterpret_cast<uint8_t *>(out)};
        ASSERT_EQ(kToText[c.form](world.get(), &in, &text), c.code);
        EXPECT_EQ(text.length, std::strlen(c.text));
        if (c.code == 0) {
            EXPECT_STREQ(out, c.text);
        }
    }
}

TEST(ConvertOid, TextToEncoded) {
    struct Case {
        std::string text;
        Form form;
        Bytes out;
        int code;
    };
    const Case cases[] = {
        {"{ 1 2 3 }", kAsn, {0x2A, 0x03}, 0},
        {" {1 2.3}\n", kDot, {0x2A, 0x03}, 0}, // separators are not told apart
        {"1..2", kDot, {0x2A}, 0},             // a run of separators is one
        {"2.999", kAsn, {0x88, 0x37}, 0}, {"2.40", kDot, {0x78}, 0}, {"002.5", kDot, {0x55}, 0},
        {"0.0.26", kDot, {0x00, 0x1A}, 0}, {"0.1.0", kDot, {0x01, 0x00}, 0}, {"{ 3 4 }", kRelDot, {0x03, 0x04}, 0},
        {"0", kRelAsn, {0x00}, 0}, {std::string("2.") + kMax64Text, kDot, kTwoMax64, 0}, {"1.40", kDot, {}, 33},
        {"0.0.27", kDot, {}, 33}, {"0.0.0", kAsn, {}, 33}, {"3.1", kDot, {}, 33}, {"12.1", kDot, {}, 33},
        {"2.18446744073709551616", kDot, {}, 33}, {"3.4.18446744073709551616", kRelDot, {}, 33},
        {"+1.2", kDot, {}, 10}, {"1.-2", kDot, {}, 10}, {"1.2.99999999999999999999x", kAsn, {}, 10},
        {"1", kDot, {}, 10}, {"", kDot, {}, 10}, {"{ }", kRelAsn, {}, 10},
    };
    kel_test::BriefWorld world;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        uint8_t out[32];
        KelBuf in = record(c.text), encoded{sizeof out, out};
        ASSERT_EQ(kToEncoded[c.form](world.get(), &in, &encoded), c.code);
        EXPECT_EQ(Bytes(out, out + encoded.length), c.out);
    }
}

// Every buffer short of the need: result 1, the need reported, nothing
// written past the buffer, and a text cut short still ends in a NUL.
TEST(ConvertOid, ShortBuffers) {
    kel_test::BriefWorld world;
    const std::string dotted = std::string("2.") + kMax64Text + ".3.127.128";
    KelBuf in = record(dotted);
    uint8_t full[32];
    KelBuf encoded{sizeof full, full};
    ASSERT_EQ(kelDotValToEncodedOid(world.get(), &in, &encoded), 0);
    const uint32_t need = encoded.length;
    for (uint32_t size = 1; size < need; ++size) {
        Bytes out(size + 4, 0xEE);
        KelBuf shortBuf{size, out.data()};
        ASSERT_EQ(kelDotValToEncodedOid(world.get(), &in, &shortBuf), 1);
        EXPECT_EQ(shortBuf.length, need);
        EXPECT_EQ(Bytes(out.begin() + size, out.end()), Bytes(4, 0xEE));
    }
    for (uint32_t size = 1; size <= dotted.size(); ++size) {
        std::string out(size + 4, '~');
        KelBuf text{size, reinterpret_cast<uint8_t *>(out.data())};
        ASSERT_EQ(kelEncodedOidToDotVal(world.get(), &encoded, &text), 1);
        EXPECT_EQ(text.length, dotted.size() + 1);
        EXPECT_EQ(out.c_str(), dotted.substr(0, size - 1));
        EXPECT_EQ(out.substr(size), "~~~~");
    }
    KelBuf empty{0, full};
    EXPECT_EQ(kelEncodedOidToDotVal(world.get(), &encoded, &empty), 11);
    EXPECT_EQ(kelDotValToEncodedOid(world.get(), &in, &empty), 11);
    EXPECT_EQ(kelDotValToEncodedOid(nullptr, &in, &encoded), 6);
    EXPECT_EQ(kelEncodedOidToDotVal(world.get(), nullptr, &encoded), 6);
}

// Allocated output has the exact size; failures, including a failed
// allocation, leave nothing allocated.
TEST(ConvertOid, AllocatedOutput) {
    kel_test::BriefWorld world;
    CountingAllocator::install(world.get());
    const long before = CountingAllocator::live;
    const std::string dotted = "1.3.6.1.4.1", bad = "1.40.2";
    const Bytes badOctets = {0x2A, 0x83};
    KelBuf in = record(dotted), encoded{0, nullptr}, text{0, nullptr};
    ASSERT_EQ(kelDotValToEncodedOid(world.get(), &in, &encoded), 0);
    ASSERT_EQ(kelEncodedOidToAsnVal(world.get(), &encoded, &text), 0);
    EXPECT_EQ(Bytes(encoded.value, encoded.value + encoded.length), Bytes({0x2B, 6, 1, 4, 1}));
    EXPECT_EQ(std::string(reinterpret_cast<char *>(text.value)), "{ 1 3 6 1 4 1 }");
    EXPECT_EQ(CountingAllocator::live, before + 2);
    kelFree(world.get(), text.value);

    KelBuf badIn = record(bad), badEncoded = record(badOctets), out{0, nullptr};
    EXPECT_EQ(kelDotValToEncodedOid(world.get(), &badIn, &out), 33);
    EXPECT_EQ(kelEncodedOidToDotVal(world.get(), &badEncoded, &out), 5);
    CountingAllocator::reset(1);
    EXPECT_EQ(kelDotValToEncodedOid(world.get(), &in, &out), 8);
    CountingAllocator::reset(1);
    EXPECT_EQ(kelEncodedRelOidToDotVal(world.get(), &encoded, &out), 8);
    EXPECT_EQ(out.value, nullptr);
    CountingAllocator::reset();
    kelFree(world.get(), encoded.value);
    EXPECT_EQ(CountingAllocator::live, before);
}

std::string random_arc(std::mt19937_64 &rng) {
    const size_t digits = 1 + rng() % 39; // up to 2^128 and a little beyond
    std::string arc(1, char('0' + (digits == 1 ? rng() % 10 : 1 + rng() % 9)));
    while (arc.size() < digits)
        arc += char('0' + rng() % 10);
    return arc;
}

bool fits64(const std::string &arc) { return arc.size() < 20 || (arc.size() == 20 && arc <= kMax64Text); }

// Dotted and value-notation texts to octets and back (arcs above 64 bits
// refused), and every arc through the sub-identifier helpers of any size and
// of 8 bytes, which must agree.
TEST(ConvertOid, RandomRoundTrips) {
    kel_test::BriefWorld world;
    std::mt19937_64 rng(20240611);
    for (int round = 0; round < 400; ++round) {
        const bool underTwo = rng() % 2;
        std::vector<std::string> arcs = {underTwo ? "1" : "2", underTwo ? std::to_string(rng() % 40) : random_arc(rng)};
        for (size_t n = rng() % 5; n; --n)
            arcs.push_back(random_arc(rng));
        std::string dotted = arcs[0], braces = "{ " + arcs[0];
        bool fits = true;
        for (size_t i = 1; i < arcs.size(); ++i) {
            dotted += "." + arcs[i];
            braces += " " + arcs[i];
            fits = fits && fits64(arcs[i]);
        }
        braces += " }";
        SCOPED_TRACE(dotted);
        uint8_t octets[256];
        char back[1024];
        KelBuf in = record(dotted), encoded{sizeof octets, octets}, text{sizeof back, reinterpret_cast<uint8_t *>(back)};
        ASSERT_EQ(kelDotValToEncodedOid(world.get(), &in, &encoded), fits ? 0 : 33);
        if (fits) {
            ASSERT_EQ(kelEncodedOidToDotVal(world.get(), &encoded, &text), 0);
            EXPECT_EQ(std::string(back, text.length), dotted);
            text.length = sizeof back;
            ASSERT_EQ(kelEncodedOidToAsnVal(world.get(), &encoded, &text), 0);
            EXPECT_EQ(std::string(back, text.length), braces);
        }
        for (size_t i = 2; i < arcs.size(); ++i) {
            const std::string &arc = arcs[i];
            uint8_t groups[32], wide[17], arc8[8], again[8], sub[16];
            uint32_t count = 0, used = 0, digits = 0;
            ASSERT_EQ(encodeStrSubID(arc.data(), uint32_t(arc.size()), groups, sizeof groups, &count), 0);
            ASSERT_EQ(decodeStrSubID(groups, count, back, sizeof back, &used, &digits), 0);
            EXPECT_EQ(std::string(back, digits), arc);
            ASSERT_EQ(a2huge(arc.data(), uint32_t(arc.size()), wide, sizeof wide), 0);
            ASSERT_EQ(huge2a(wide, sizeof wide, back, sizeof back, &digits), 0);
            EXPECT_EQ(std::string(back), arc);
            ASSERT_EQ(a2huge(arc.data(), uint32_t(arc.size()), arc8, 8), fits64(arc) ? 0 : 1);
            if (fits64(arc)) {
                ASSERT_EQ(encodeSubID(arc8, sub, sizeof sub, &used), 0);
                EXPECT_EQ(Bytes(sub, sub + used), Bytes(groups, groups + count));
                ASSERT_EQ(decodeSubID(groups, count, again, &used), 0);
                EXPECT_EQ(Bytes(again, again + 8), Bytes(arc8, arc8 + 8));
            }
        }
    }
}

TEST(ConvertOid, ArcHelperLimits) {
    const uint8_t zero8[8] = {}, forty[8] = {0, 0, 0, 0, 0, 0, 0, 40};
    const uint8_t *const ones8 = kMax64.data() + 1; // 2^64 - 1 as an 8-byte arc
    const Bytes over = {0x82, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x50};
    uint8_t out[32], arc[8];
    char *text = reinterpret_cast<char *>(out);
    uint32_t count = 0, first = 9, digits = 0;
    EXPECT_EQ(encodeSubIDs(0, forty, out, sizeof out, &count), 1);
    EXPECT_EQ(encodeSubIDs(3, zero8, out, sizeof out, &count), 1);
    ASSERT_EQ(encodeSubIDs(2, forty, out, sizeof out, &count), 0);
    EXPECT_EQ(Bytes(out, out + count), Bytes({0x78}));
    EXPECT_EQ(encodeSubID(ones8, out, 9, &count), 3);
    EXPECT_EQ(count, 10u);
    ASSERT_EQ(decodeSubIDs(kTwoMax64.data(), 10, &first, arc, &count), 0);
    EXPECT_EQ(first, 2u);
    EXPECT_EQ(Bytes(arc, arc + 8), Bytes(ones8, ones8 + 8));
    EXPECT_EQ(decodeSubIDs(over.data(), 10, &first, arc, &count), 3);
    EXPECT_EQ(decodeSubID(over.data(), 10, arc, &count), 3);               // above 64 bits
    EXPECT_EQ(decodeSubID(zero_groups(11, 1).data(), 12, arc, &count), 3); // 12 groups
    EXPECT_EQ(decodeSubID(kMax64.data(), 9, arc, &count), 3);              // no last group
    EXPECT_EQ(decodeStrSubID(kMax64.data(), 9, text, 32, &count, &digits), 3);
    EXPECT_EQ(decodeStrSubID(kMax64.data(), 10, text, 20, &count, &digits), 1);
    EXPECT_EQ(huge2a(ones8, 8, text, 20, &digits), 3);
    EXPECT_EQ(encodeStrSubID("128", 3, out, 1, &count), 3);
    EXPECT_EQ(encodeStrSubID("12x", 3, out, sizeof out, &count), 2);
    EXPECT_EQ(a2huge("", 0, arc, 8), 2);
    uint64_t firstArc = 0;
    EXPECT_EQ(_kel_subid_size(0, 2, &firstArc), 0);
    EXPECT_EQ(_kel_subid_size(1, 47, &firstArc), 1);
    EXPECT_EQ(_kel_subid_size(1, 48, &firstArc), 2);
    EXPECT_EQ(_kel_subid_size(1, UINT64_MAX, &firstArc), 10);
    EXPECT_EQ(_kel_objid_size(0), 1);
    EXPECT_EQ(_kel_objid_size(UINT64_MAX), 10);
}

} // namespace
