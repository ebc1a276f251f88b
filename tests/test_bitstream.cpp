// Tests of the forward bit writer and reader of PER and OER (octet
// boundaries, block endings, the caller's buffer, count mode, padding, a
// randomised round trip) and of the integer helpers.
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_stream.h"

namespace {

using Octets = std::vector<uint8_t>;

// The fixed-width functions, indexed by their width.
constexpr void (*kAppend[])(KelGlobal *, uint8_t) = {nullptr, _kel_append_1bit_unaligned,
    _kel_append_2bit_unaligned, _kel_append_3bit_unaligned, _kel_append_4bit_unaligned, _kel_append_5bit_unaligned,
    _kel_append_6bit_unaligned, _kel_append_7bit_unaligned, _kel_append_8bit_unaligned};
constexpr uint8_t (*kGet[])(KelGlobal *) = {nullptr, _kel_get_1bit_unaligned, _kel_get_2bit_unaligned,
    _kel_get_3bit_unaligned, _kel_get_4bit_unaligned, _kel_get_5bit_unaligned, _kel_get_6bit_unaligned,
    _kel_get_7bit_unaligned, _kel_get_8bit_unaligned};
constexpr void (*kSkip[])(KelGlobal *) = {nullptr, _kel_skip_1bit_unaligned, _kel_skip_2bit_unaligned,
    _kel_skip_3bit_unaligned, _kel_skip_4bit_unaligned, _kel_skip_5bit_unaligned, _kel_skip_6bit_unaligned,
    _kel_skip_7bit_unaligned, _kel_skip_8bit_unaligned};

struct BitStream : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();

    template <class Body> int encode(Body body) { return kel_test::in_frame(world, kel::kPhaseEncoder, body); }
    template <class Body> int decode(Body body) { return kel_test::in_frame(world, kel::kPhaseDecoder, body); }
    void write_to_library() {
        world->outQueueTail = &world->outQueue; // as a driver starts a call
        world->userBuffer = 0;
        world->outPos = nullptr;
        world->outRemaining = 0;
    }
    void write_to(uint8_t *buffer, int32_t size) {
        world->userBuffer = 1;
        world->outPos = buffer;
        world->outRemaining = size;
        world->memTotal = static_cast<uint32_t>(size);
    }
    // Joins the library blocks of a forward writer into one buffer.
    Octets join() {
        uint32_t length = 0;
        unsigned char *value = nullptr;
        EXPECT_EQ(encode([&] { _kel_set_outmem_p(world, &length, &value); }), 0);
        Octets out(value, value + length);
        kelFreeBuf(world, value);
        return out;
    }
    // `input` must stay alive and exactly sized, so that a read past its end
    // shows under the address sanitizer.
    void read_from(const Octets &input, int32_t offset = 0) {
        world->inPos = const_cast<uint8_t *>(input.data());
        world->inRemaining = static_cast<int32_t>(input.size());
        world->bitOffset = offset;
    }
};

TEST_F(BitStream, NbitAppendEndsOnOrCrossesOctetBoundary) {
    uint8_t buffer[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    write_to(buffer, 4);
    ASSERT_EQ(encode([&] {
        _kel_append_5bit_unaligned(world, 0xF8);
        _kel_append_3bit_unaligned(world, 0xBF); // 101, low bits ignored
    }), 0);
    EXPECT_EQ(buffer[0], 0xFD);
    EXPECT_EQ(world->outPos, buffer + 1);
    EXPECT_EQ(world->outRemaining, 3);
    EXPECT_EQ(world->bitOffset, 0);

    // Nine bits at offset 7: one in this octet, eight in the next.
    const uint8_t nine[] = {0x80, 0x80};
    ASSERT_EQ(encode([&] { _kel_append_7bit_unaligned(world, 0x00), _kel_append(world, nine, 9, 0); }), 0);
    EXPECT_EQ(Octets(buffer + 1, buffer + 4), (Octets{0x01, 0x01, 0xFF})) << "no store behind the end";
    EXPECT_EQ(world->outPos, buffer + 3);
}

TEST_F(BitStream, BlockAndBufferEnds) {
    // Crossing the last octet of a block takes a new block for the second store.
    write_to_library();
    const Octets zeros(1023, 0);
    ASSERT_EQ(encode([&] {
        _kel_append(world, zeros.data(), 1023 * 8, 0);
        _kel_append_6bit_unaligned(world, 0xFC);
        EXPECT_EQ(world->outRemaining, 1);
        _kel_append_3bit_unaligned(world, 0xE0);
    }), 0);
    EXPECT_EQ(world->outRemaining, KEL_ENC_BLOCK) << "the partial octet counts as free";
    EXPECT_EQ(world->bitOffset, 1);
    const Octets out = join();
    ASSERT_EQ(out.size(), 1025u);
    EXPECT_EQ(out[1023], 0xFF);
    EXPECT_EQ(out[1024], 0x80);

    // In the caller's buffer the same crossing is message 1.
    uint8_t buffer[1] = {0};
    write_to(buffer, 1);
    world->bitOffset = 0;
    EXPECT_EQ(encode([&] { _kel_append_7bit_unaligned(world, 0xFE), _kel_append_3bit_unaligned(world, 0xE0); }), 1);
    EXPECT_NE(std::strstr(world->errMsg, "0001S"), nullptr) << world->errMsg;
}

TEST_F(BitStream, ReadersStopAtTheEndOfInput) {
    const Octets one = {0x01}, two = {0x01, 0xFF};
    read_from(one, 7);
    EXPECT_EQ(decode([&] { _kel_get_2bit_unaligned(world); }), 4) << "one bit is left, two are asked for";
    EXPECT_NE(std::strstr(world->errMsg, "0081S"), nullptr) << world->errMsg;

    uint8_t dest[2] = {0, 0};
    read_from(two, 7);
    EXPECT_EQ(decode([&] { _kel_get_bits(world, dest, 10, 0); }), 4);
    EXPECT_EQ(decode([&] { _kel_get_bits(world, dest, 9, 0); }), 0);
    EXPECT_EQ(Octets(dest, dest + 2), (Octets{0xFF, 0x80}));
    EXPECT_EQ(world->inRemaining, 0);
    read_from(two, 7);
    EXPECT_EQ(decode([&] { _kel_get_octet(world, 0); }), 0);
    EXPECT_EQ(decode([&] { _kel_get_octet(world, 0); }), 4) << "needs the octet behind the input";
}

TEST_F(BitStream, AlignedRulesPadBeforeAlignedItems) {
    uint8_t buffer[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    write_to(buffer, 4);
    world->aligned = 1;
    const uint8_t octet = 0x3C;
    ASSERT_EQ(encode([&] {
        _kel_append_3bit_unaligned(world, 0xE0);
        _kel_append_8bit_aligned(world, 0x5A);
        _kel_append_1bit_unaligned(world, 0x80);
        _kel_append(world, &octet, 8, 1);
    }), 0);
    const Octets input(buffer, buffer + 4);
    EXPECT_EQ(input, (Octets{0xE0, 0x5A, 0x80, 0x3C}));

    read_from(input);
    uint8_t got[3] = {};
    ASSERT_EQ(decode([&] {
        _kel_skip_bits(world, 3, 0);
        got[0] = _kel_get_octet(world, 1);
        got[1] = _kel_get_bit(world, 0);
        _kel_get_bits(world, &got[2], 8, 1);
    }), 0);
    EXPECT_EQ(Octets(got, got + 3), (Octets{0x5A, 0x80, 0x3C}));
    EXPECT_EQ(world->inRemaining, 0);
}

TEST_F(BitStream, CountModeCountsWithoutStoring) {
    world->encodingFlags = DETERMINE_ENC_LENGTH;
    world->aligned = 1;
    const Octets data(300, 0xAB);
    ASSERT_EQ(encode([&] {
        _kel_append_3bit_unaligned(world, 0xE0);
        _kel_append_8bit_aligned(world, 0x5A);    // pads: 2 octets so far
        _kel_append_5bit_unaligned(world, 0xF8);
        _kel_append(world, data.data(), 2000, 0); // 2005 bits
        _kel_append(world, data.data(), 1, 1);    // pads, then 1 bit
    }), 0);
    EXPECT_EQ(world->encLength, 2u + 250u + 1u);
    EXPECT_EQ(world->bitOffset, 1);
    EXPECT_EQ(world->outPos, nullptr);
}

// A random mix of fixed-width appends and runs of up to several blocks, at
// whatever offsets they fall, read back by the matching readers or skipped.
TEST_F(BitStream, RandomBitsRoundTrip) {
    struct Item {
        uint32_t bits;
        bool fixed; // through the function of its width
        Octets data;
    };
    std::mt19937 rng(99);
    std::vector<Item> items;
    Octets expected;
    uint64_t total = 0;
    for (int i = 0; i < 3000; ++i) {
        const uint32_t bits = rng() % 4 ? 1 + rng() % 8 : rng() % 40 ? 1 + rng() % 200 : 1 + rng() % 20000;
        Item item{bits, bits <= 8 && rng() % 2, Octets((bits + 7) / 8)};
        for (auto &o : item.data)
            o = static_cast<uint8_t>(rng());
        for (uint32_t b = 0; b < bits; ++b, ++total) {
            if ((total & 7) == 0)
                expected.push_back(0);
            if (item.data[b >> 3] & (0x80 >> (b & 7)))
                expected.back() |= static_cast<uint8_t>(0x80 >> (total & 7));
        }
        items.push_back(std::move(item));
    }
    write_to_library();
    ASSERT_EQ(encode([&] {
        for (const Item &item : items)
            item.fixed ? kAppend[item.bits](world, item.data[0]) : _kel_append(world, item.data.data(), item.bits, 0);
    }), 0);
    const Octets out = join();
    ASSERT_GT(out.size(), 4u * KEL_ENC_BLOCK);
    ASSERT_EQ(out, expected);

    read_from(out);
    for (size_t i = 0; i < items.size(); ++i) {
        const Item &item = items[i];
        const bool skip = i % 5 == 0;
        Octets back(item.data.size() + 1, 0xEE);
        ASSERT_EQ(decode([&] {
            if (item.fixed && skip)
                kSkip[item.bits](world);
            else if (item.fixed)
                back[0] = kGet[item.bits](world);
            else if (skip)
                _kel_skip_bits(world, item.bits, 0);
            else
                _kel_get_bits(world, back.data(), item.bits, 0);
        }), 0);
        EXPECT_EQ(back.back(), 0xEE) << "no store behind the bits";
        back.pop_back();
        Octets want = item.data; // with the bits behind the end cleared
        want.back() &= static_cast<uint8_t>(0xFF00 >> ((item.bits - 1) % 8 + 1));
        if (!skip) {
            ASSERT_EQ(back, want) << "item " << i;
        }
    }
    EXPECT_EQ(world->inRemaining, world->bitOffset ? 1 : 0);
}

TEST(IntHelpers, Counts) {
    const struct {
        const char *what;
        int64_t value;
        int got, expected;
    } rows[] = {
        {"intbytes", 0, _kel_intbytes(0), 1}, {"intbytes", 127, _kel_intbytes(127), 1},
        {"intbytes", 128, _kel_intbytes(128), 2}, {"intbytes", -128, _kel_intbytes(-128), 1},
        {"intbytes", -129, _kel_intbytes(-129), 2}, {"intbytes", INT64_MIN, _kel_intbytes(INT64_MIN), 8},
        {"intbytes", INT64_MAX, _kel_intbytes(INT64_MAX), 8}, {"uintbytes", 0x80, _kel_uintbytes(0x80), 2},
        {"uintbytes", -1, _kel_uintbytes(UINT64_MAX), 9}, {"numbytes", 0, _kel_numbytes(0), 1},
        {"numbytes", 256, _kel_numbytes(256), 2}, {"numbytes", INT32_MIN, _kel_numbytes(INT32_MIN), 4},
        {"numbits", 0, _kel_numbits(0), 0}, {"numbits", 0x80000000, _kel_numbits(0x80000000u), 32},
    };
    for (const auto &r : rows)
        EXPECT_EQ(r.got, r.expected) << r.what << " " << r.value;
}

TEST(IntHelpers, IntegersInMemory) {
    alignas(8) uint8_t cell[8];
    for (uint32_t size : {1u, 2u, 3u, 4u, 8u}) {
        std::memset(cell, 0xCC, sizeof cell);
        _kel_set_int(cell, size, -2);
        const uint32_t width = size <= 1 ? 1 : size <= 2 ? 2 : size <= 4 ? 4 : 8;
        EXPECT_EQ(_kel_get_uint(cell, size), width == 8 ? ~1ull : (1ull << (8 * width)) - 2) << size;
        if (width < 8) {
            EXPECT_EQ(cell[width], 0xCC) << "no store beyond the width";
        }
    }
    const uint8_t octets[] = {0xFF, 0x7F, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07};
    EXPECT_EQ(twos_comp_int(octets, 0), 0);
    EXPECT_EQ(twos_comp_int(octets, 2), -129);
    EXPECT_EQ(twos_comp_int_l(octets, 9), 0x7F01020304050607) << "the low 64 bits are kept";
}

TEST(IntHelpers, DecimalDigits) {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    auto run = [&](auto body) { return kel_test::in_frame(world, kel::kPhaseDecoder, body); };
    unsigned char text[6] = "?????";
    EXPECT_EQ(run([&] { _kel_shtos(world, text, 7, 3); }), 0);
    EXPECT_EQ(std::memcmp(text, "007??", 5), 0);
    EXPECT_EQ(run([&] { _kel_shtos(world, text, 1000, 3); }), 12);
    EXPECT_NE(std::strstr(world->errMsg, "0012S"), nullptr) << world->errMsg;

    unsigned char input[] = {'2', '0', '2', '4', 'x', '1'};
    unsigned char *pos = input;
    int32_t rem = 6;
    uint32_t value = 0;
    EXPECT_EQ(run([&] { value = _kel_strtos(world, &pos, &rem, 4); }), 0);
    EXPECT_EQ(value, 2024u);
    EXPECT_EQ(rem, 2);
    EXPECT_EQ(run([&] { _kel_strtos(world, &pos, &rem, 2); }), 5) << "a non-digit";
    rem = 1;
    EXPECT_EQ(run([&] { _kel_strtos(world, &pos, &rem, 2); }), 4);
}

} // namespace
