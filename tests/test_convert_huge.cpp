// test_convert_huge.cpp - huge integers: canonical forms, edge sums and
// differences, short and shared result buffers, and random operands checked
// against native integers.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "kelvarn.h"

namespace {

using Bytes = std::vector<uint8_t>;
using HugeOp = unsigned char *(*)(uint32_t, const unsigned char *, uint32_t, const unsigned char *, uint32_t *,
                                  unsigned char *, uint32_t);

TEST(ConvertHuge, Canonical) {
    struct Case {
        Bytes in;
        int isUnsigned;
        Bytes out;
    };
    const Case cases[] = {
        {{0x00, 0x00, 0x80}, 0, {0x00, 0x80}}, {{0x00, 0x00, 0x80}, 1, {0x80}},
        {{0xFF, 0xFF, 0x80}, 0, {0x80}},       {{0xFF, 0x7F}, 0, {0xFF, 0x7F}},
        {{0x00, 0x00}, 0, {0x00}},             {{0x00, 0x00}, 1, {0x00}},
        {{0x80, 0x00}, 1, {0x80, 0x00}},       {{0xFF, 0xFF}, 1, {0xFF, 0xFF}},
    };
    for (const Case &c : cases) {
        Bytes moved = c.in, kept = c.in;
        moved.resize(kelHugeIntToCanonical(moved.data(), uint32_t(moved.size()), c.isUnsigned));
        EXPECT_EQ(moved, c.out);
        uint32_t length = uint32_t(kept.size());
        unsigned char *value = kept.data();
        EXPECT_EQ(kelToCanonicalHugeInt(&length, &value, c.isUnsigned), &length);
        EXPECT_EQ(Bytes(value, value + length), c.out);
        EXPECT_EQ(value + length, kept.data() + kept.size());
        EXPECT_EQ(kept, c.in);
    }
}

TEST(ConvertHuge, EdgeSumsAndDifferences) {
    struct Case {
        HugeOp op;
        Bytes a, b;
        uint32_t flags;
        Bytes out;
    };
    const Case cases[] = {
        {kelAddHugeInt, {0x7F}, {0x01}, 0, {0x00, 0x80}}, {kelAddHugeInt, {0xFF}, {0x01}, 0, {0x00}},
        {kelAddHugeInt, {0xFF}, {0x01}, 1, {0x01, 0x00}}, {kelAddHugeInt, {0x80}, {0x80}, 0, {0xFF, 0x00}},
        {kelAddHugeInt, {0x01}, {0xFF, 0xFF, 0xFF}, 0, {0x00}}, {kelAddHugeInt, {}, {0x05}, 0, {0x05}},
        {kelSubHugeInt, {0x7F}, {0xFF}, 0, {0x00, 0x80}}, {kelSubHugeInt, {0x00}, {0x80}, 0, {0x00, 0x80}},
        {kelSubHugeInt, {0x80}, {0x01}, 0, {0xFF, 0x7F}}, {kelSubHugeInt, {0x01, 0x00}, {0x01}, 1, {0xFF}},
        {kelSubHugeInt, {0x03}, {0x05}, 1, {0xFE}}, // below zero: modulo 256
        {kelSubHugeInt, {0x05}, {0x00, 0x00, 0x05}, 0, {0x00}},
    };
    for (const Case &c : cases) {
        uint8_t buffer[8];
        uint32_t length = sizeof buffer;
        const uint8_t *r = c.op(uint32_t(c.a.size()), c.a.data(), uint32_t(c.b.size()), c.b.data(), &length,
                                buffer, c.flags);
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(Bytes(r, r + length), c.out);
        EXPECT_EQ(r + length, buffer + sizeof buffer);
    }
}

// A buffer of the longer length serves when no octet is added; when one is,
// the call fails with the size needed and writes nothing outside the buffer.
// The result may overwrite an operand that ends where the buffer ends.
TEST(ConvertHuge, ShortAndSharedBuffers) {
    uint8_t guarded[4] = {0xEE, 0, 0, 0xEE};
    const uint8_t a[2] = {0x7F, 0xFF}, one[1] = {0x01};
    uint32_t length = 2;
    EXPECT_EQ(kelAddHugeInt(2, a, 1, one, &length, guarded + 1, 0), nullptr);
    EXPECT_EQ(length, 3u);
    EXPECT_EQ(guarded[0], 0xEE);
    EXPECT_EQ(guarded[3], 0xEE);
    length = 2;
    const uint8_t *r = kelSubHugeInt(2, a, 1, one, &length, guarded + 1, 0);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(Bytes(r, r + length), Bytes({0x7F, 0xFE}));
    length = 1;
    EXPECT_EQ(kelAddHugeInt(2, a, 1, one, &length, guarded + 1, 0), nullptr);
    EXPECT_EQ(length, 3u);

    uint8_t shared[3] = {0x00, 0xFF, 0xFF}; // a spare octet, then the operand
    length = sizeof shared;
    r = kelAddHugeInt(2, shared + 1, 1, one, &length, shared, 1);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(Bytes(r, r + length), Bytes({0x01, 0x00, 0x00}));
    EXPECT_EQ(kelAddHugeInt(1, one, 1, nullptr, &length, shared, 0), nullptr);
}

#ifdef __SIZEOF_INT128__
using Signed = __int128;
using Unsigned = unsigned __int128;
#else
using Signed = int64_t;
using Unsigned = uint64_t;
#endif
// Operands short enough that sums and differences stay exact in Signed.
constexpr uint32_t kMaxOperand = sizeof(Signed) - 1;

Unsigned value_of(const uint8_t *p, uint32_t length, bool isUnsigned) {
    Unsigned v = !isUnsigned && length && (p[0] & 0x80) ? ~Unsigned(0) : 0;
    for (uint32_t i = 0; i < length; ++i)
        v = v << 8 | p[i];
    return v;
}

uint32_t bit_count(Unsigned v) {
    uint32_t bits = 0;
    for (; v; v >>= 1)
        ++bits;
    return bits;
}

// Octets of the shortest form: signed needs a sign bit, unsigned does not.
uint32_t minimal_length(Unsigned v, bool isUnsigned) {
    const uint32_t bits = isUnsigned ? bit_count(v) : 1 + bit_count(Signed(v) < 0 ? ~v : v);
    return bits ? (bits + 7) / 8 : 1;
}

TEST(ConvertHuge, RandomAgainstNativeIntegers) {
    std::mt19937_64 rng(7);
    for (int round = 0; round < 20000; ++round) {
        const bool isUnsigned = round % 2;
        const bool subtract = round % 4 >= 2;
        Bytes a(1 + rng() % kMaxOperand), b(1 + rng() % kMaxOperand);
        for (uint8_t &octet : a)
            octet = uint8_t(rng() >> (rng() % 2 ? 56 : 0)); // many 0x00 and 0xFF prefixes too
        for (uint8_t &octet : b)
            octet = uint8_t(rng());
        Unsigned x = value_of(a.data(), uint32_t(a.size()), isUnsigned);
        Unsigned y = value_of(b.data(), uint32_t(b.size()), isUnsigned);
        if (isUnsigned && subtract && x < y) {
            std::swap(a, b);
            std::swap(x, y);
        }
        const Unsigned expected = Unsigned(subtract ? Signed(x) - Signed(y) : Signed(x) + Signed(y));
        uint8_t buffer[sizeof(Signed) + 1];
        uint32_t length = sizeof buffer;
        const uint8_t *r = (subtract ? kelSubHugeInt : kelAddHugeInt)(
            uint32_t(a.size()), a.data(), uint32_t(b.size()), b.data(), &length, buffer, isUnsigned);
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(r + length, buffer + sizeof buffer);
        ASSERT_EQ(length, minimal_length(expected, isUnsigned)) << "round " << round;
        EXPECT_TRUE(value_of(r, length, isUnsigned) == expected) << "round " << round;
    }
}

} // namespace
