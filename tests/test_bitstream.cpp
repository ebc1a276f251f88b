// Tests of the forward bit writer and reader of PER and OER (octet
// boundaries, block endings, the caller's buffer, count mode, padding, a
// randomised round trip at every bit offset) and of the integer helpers.
#include <cstring>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_stream.h"

namespace {

using kel_test::in_frame;
using Octets = std::vector<uint8_t>;

using AppendFn = void (*)(KelGlobal *, uint8_t);
using GetFn = uint8_t (*)(KelGlobal *);
using SkipFn = void (*)(KelGlobal *);
constexpr AppendFn kAppend[] = {nullptr,
                                _kel_append_1bit_unaligned,
                                _kel_append_2bit_unaligned,
                                _kel_append_3bit_unaligned,
                                _kel_append_4bit_unaligned,
                                _kel_append_5bit_unaligned,
                                _kel_append_6bit_unaligned,
                                _kel_append_7bit_unaligned,
                                _kel_append_8bit_unaligned};
constexpr GetFn kGet[] = {nullptr,
                          _kel_get_1bit_unaligned,
                          _kel_get_2bit_unaligned,
                          _kel_get_3bit_unaligned,
                          _kel_get_4bit_unaligned,
                          _kel_get_5bit_unaligned,
                          _kel_get_6bit_unaligned,
                          _kel_get_7bit_unaligned,
                          _kel_get_8bit_unaligned};
constexpr SkipFn kSkip[] = {nullptr,
                            _kel_skip_1bit_unaligned,
                            _kel_skip_2bit_unaligned,
                            _kel_skip_3bit_unaligned,
                            _kel_skip_4bit_unaligned,
                            _kel_skip_5bit_unaligned,
                            _kel_skip_6bit_unaligned,
                            _kel_skip_7bit_unaligned,
                            _kel_skip_8bit_unaligned};

// The expected stream: bits appended one at a time.
struct BitModel {
    Octets octets;
    uint64_t bits = 0;
    void add(const uint8_t *src, uint32_t count) {
        for (uint32_t i = 0; i < count; ++i, ++bits) {
            if ((bits & 7) == 0)
                octets.push_back(0);
            if (src[i >> 3] & (0x80 >> (i & 7)))
                octets.back() |= static_cast<uint8_t>(0x80 >> (bits & 7));
        }
    }
};

// `count` bits of `octets` with the bits behind the end cleared.
Octets leading_bits(Octets octets, uint32_t count) {
    octets.resize((count + 7) / 8);
    if (count & 7)
        octets.back() &= static_cast<uint8_t>(0xFF00 >> (count & 7));
    return octets;
}

Octets random_octets(std::mt19937 &rng, size_t n) {
    Octets v(n);
    for (auto &o : v)
        o = static_cast<uint8_t>(rng());
    return v;
}

struct BitStream : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();

    void write_to_library() {
        world->userBuffer = 0;
        world->outPos = nullptr;
        world->outRemaining = 0;
        world->bitOffset = 0;
    }
    void write_to(uint8_t *buffer, int32_t size) {
        world->userBuffer = 1;
        world->outPos = buffer;
        world->outRemaining = size;
        world->memTotal = static_cast<uint32_t>(size);
        world->bitOffset = 0;
    }
    // Joins the library blocks of a forward writer into one buffer.
    Octets join() {
        uint32_t length = 0;
        unsigned char *value = nullptr;
        EXPECT_EQ(in_frame(world, kel::kPhaseEncoder,
                           [&] { _kel_set_outmem_p(world, &length, &value); }),
                  0);
        Octets out(value, value + length);
        kelFreeBuf(world, value);
        return out;
    }
    // `input` must stay alive and exactly sized, so that a read past its end
    // shows under the address sanitizer.
    void read_from(const Octets &input) {
        world->inPos = const_cast<uint8_t *>(input.data());
        world->inRemaining = static_cast<int32_t>(input.size());
        world->bitOffset = 0;
    }
};

TEST_F(BitStream, NbitAppendEndsOnOrCrossesOctetBoundary) {
    uint8_t buffer[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    write_to(buffer, 4);
    ASSERT_EQ(in_frame(world, kel::kPhaseEncoder, [&] {
                  _kel_append_5bit_unaligned(world, 0xF8);
                  _kel_append_3bit_unaligned(world, 0xBF); // 101, low bits ignored
              }),
              0);
    EXPECT_EQ(buffer[0], 0xFD);
    EXPECT_EQ(world->outPos, buffer + 1);
    EXPECT_EQ(world->outRemaining, 3);
    EXPECT_EQ(world->bitOffset, 0);

    // Nine bits at offset 7: one in this octet, eight in the next.
    ASSERT_EQ(in_frame(world, kel::kPhaseEncoder, [&] {
                  _kel_append_7bit_unaligned(world, 0x00);
                  const uint8_t nine[] = {0x80, 0x80};
                  _kel_append(world, nine, 9, 0);
              }),
              0);
    EXPECT_EQ(buffer[1], 0x01);
    EXPECT_EQ(buffer[2], 0x01);
    EXPECT_EQ(buffer[3], 0xFF) << "no store behind the end";
    EXPECT_EQ(world->outPos, buffer + 3);
    EXPECT_EQ(world->bitOffset, 0);
}

TEST_F(BitStream, CrossingTheLastOctetOfABlockTakesANewBlock) {
    write_to_library();
    const Octets zeros(1023, 0);
    ASSERT_EQ(in_frame(world, kel::kPhaseEncoder, [&] {
                  _kel_append(world, zeros.data(), 1023 * 8, 0);
                  _kel_append_6bit_unaligned(world, 0xFC);
                  EXPECT_EQ(world->outRemaining, 1);
                  _kel_append_3bit_unaligned(world, 0xE0);
              }),
              0);
    EXPECT_EQ(world->outRemaining, KEL_ENC_BLOCK) << "the partial octet counts as free";
    EXPECT_EQ(world->bitOffset, 1);
    const Octets out = join();
    ASSERT_EQ(out.size(), 1025u);
    EXPECT_EQ(out[1023], 0xFF);
    EXPECT_EQ(out[1024], 0x80);
}

TEST_F(BitStream, CrossingTheEndOfTheCallersBufferFails) {
    uint8_t buffer[1] = {0};
    write_to(buffer, 1);
    const int rc = in_frame(world, kel::kPhaseEncoder, [&] {
        _kel_append_7bit_unaligned(world, 0xFE);
        _kel_append_3bit_unaligned(world, 0xE0);
    });
    EXPECT_EQ(rc, 1);
    EXPECT_NE(std::strstr(world->errMsg, "0001S"), nullptr) << world->errMsg;
}

TEST_F(BitStream, ReadersStopAtTheEndOfInput) {
    const Octets one = {0x01};
    read_from(one);
    EXPECT_EQ(in_frame(world, kel::kPhaseDecoder, [&] { _kel_skip_7bit_unaligned(world); }), 0);
    EXPECT_EQ(in_frame(world, kel::kPhaseDecoder, [&] { _kel_get_2bit_unaligned(world); }), 4)
        << "one bit is left, two are asked for";
    EXPECT_NE(std::strstr(world->errMsg, "0081S"), nullptr) << world->errMsg;

    const Octets two = {0x01, 0xFF};
    read_from(two);
    world->bitOffset = 7;
    uint8_t dest[2] = {0, 0};
    EXPECT_EQ(in_frame(world, kel::kPhaseDecoder, [&] { _kel_get_bits(world, dest, 10, 0); }), 4);
    EXPECT_EQ(in_frame(world, kel::kPhaseDecoder, [&] { _kel_get_octet(world, 0); }), 0);
    EXPECT_EQ(world->inRemaining, 1);
    EXPECT_EQ(in_frame(world, kel::kPhaseDecoder, [&] { _kel_get_octet(world, 0); }), 4)
        << "an octet at offset 7 needs the octet behind the input";
    read_from(two);
    world->bitOffset = 7;
    EXPECT_EQ(in_frame(world, kel::kPhaseDecoder, [&] { _kel_get_bits(world, dest, 9, 0); }), 0);
    EXPECT_EQ(dest[0], 0xFF);
    EXPECT_EQ(dest[1], 0x80);
    EXPECT_EQ(world->inRemaining, 0);
    EXPECT_EQ(world->bitOffset, 0);
}

TEST_F(BitStream, AlignedRulesPadBeforeAlignedItems) {
    uint8_t buffer[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    write_to(buffer, 4);
    world->aligned = 1;
    ASSERT_EQ(in_frame(world, kel::kPhaseEncoder, [&] {
                  _kel_append_3bit_unaligned(world, 0xE0);
                  _kel_append_8bit_aligned(world, 0x5A);
                  _kel_append_1bit_unaligned(world, 0x80);
                  const uint8_t octet = 0x3C;
                  _kel_append(world, &octet, 8, 1);
              }),
              0);
    EXPECT_EQ(buffer[0], 0xE0);
    EXPECT_EQ(buffer[1], 0x5A);
    EXPECT_EQ(buffer[2], 0x80);
    EXPECT_EQ(buffer[3], 0x3C);
    EXPECT_EQ(world->outRemaining, 0);

    const Octets input = {0xE0, 0x5A, 0x80, 0x3C};
    read_from(input);
    uint8_t bit = 0, octet = 0, last = 0;
    ASSERT_EQ(in_frame(world, kel::kPhaseDecoder, [&] {
                  _kel_skip_bits(world, 3, 0);
                  octet = _kel_get_octet(world, 1);
                  bit = _kel_get_bit(world, 0);
                  _kel_get_bits(world, &last, 8, 1);
              }),
              0);
    EXPECT_EQ(octet, 0x5A);
    EXPECT_EQ(bit, 0x80);
    EXPECT_EQ(last, 0x3C);
    EXPECT_EQ(world->inRemaining, 0);
}

TEST_F(BitStream, CountModeCountsWithoutStoring) {
    world->encodingFlags = DETERMINE_ENC_LENGTH;
    world->aligned = 1;
    world->outPos = nullptr;
    world->outRemaining = 0;
    const Octets data(300, 0xAB);
    ASSERT_EQ(in_frame(world, kel::kPhaseEncoder, [&] {
                  _kel_append_3bit_unaligned(world, 0xE0);
                  _kel_append_8bit_aligned(world, 0x5A); // pads: 2 octets so far
                  _kel_append_5bit_unaligned(world, 0xF8);
                  _kel_append(world, data.data(), 2000, 0); // 2005 bits
                  _kel_append(world, data.data(), 1, 1);    // pads, then 1 bit
              }),
              0);
    EXPECT_EQ(world->encLength, 2u + 250u + 1u);
    EXPECT_EQ(world->bitOffset, 1);
    EXPECT_EQ(world->outPos, nullptr);
}

// Runs of every length class at every starting offset, across block ends,
// through the library's blocks and back through the reader.
TEST_F(BitStream, RunsRoundTripAtEveryOffset) {
    std::mt19937 rng(1234);
    for (uint32_t offset = 0; offset < 8; ++offset) {
        for (uint32_t count : {1u, 7u, 8u, 9u, 15u, 17u, 63u, 64u, 65u, 72u, 130u, 8191u, 8192u,
                               8193u, 20000u}) {
            write_to_library();
            const Octets prefix = random_octets(rng, 1);
            const Octets run = random_octets(rng, (count + 7) / 8);
            ASSERT_EQ(in_frame(world, kel::kPhaseEncoder, [&] {
                          _kel_append(world, prefix.data(), offset, 0);
                          _kel_append(world, run.data(), count, 0);
                      }),
                      0);
            BitModel model;
            model.add(prefix.data(), offset);
            model.add(run.data(), count);
            const Octets out = join();
            ASSERT_EQ(out, model.octets) << "offset " << offset << " count " << count;

            read_from(out);
            Octets back(run.size() + 1, 0xEE);
            ASSERT_EQ(in_frame(world, kel::kPhaseDecoder, [&] {
                          _kel_skip_bits(world, offset, 0);
                          _kel_get_bits(world, back.data(), count, 0);
                      }),
                      0);
            EXPECT_EQ(back.back(), 0xEE) << "no store behind the bits";
            back.pop_back();
            ASSERT_EQ(back, leading_bits(run, count)) << "offset " << offset << " count " << count;
            EXPECT_EQ(world->inRemaining, world->bitOffset ? 1 : 0);
        }
    }
}

// A random mix of the fixed-width appends and runs, read back by the
// matching readers or skipped.
TEST_F(BitStream, MixedWritesReadBackInOrder) {
    struct Item {
        uint32_t bits;
        bool fixed; // through the fixed-width function of its width
        Octets data;
    };
    std::mt19937 rng(99);
    std::vector<Item> items;
    for (int i = 0; i < 3000; ++i) {
        const uint32_t bits = (rng() % 4) ? 1 + rng() % 8 : 1 + rng() % 200;
        items.push_back({bits, bits <= 8 && rng() % 2, random_octets(rng, (bits + 7) / 8)});
    }
    write_to_library();
    BitModel model;
    ASSERT_EQ(in_frame(world, kel::kPhaseEncoder, [&] {
                  for (const Item &item : items) {
                      if (item.fixed)
                          kAppend[item.bits](world, item.data[0]);
                      else
                          _kel_append(world, item.data.data(), item.bits, 0);
                  }
              }),
              0);
    for (const Item &item : items)
        model.add(item.data.data(), item.bits);
    const Octets out = join();
    ASSERT_GT(out.size(), 2u * KEL_ENC_BLOCK);
    ASSERT_EQ(out, model.octets);

    read_from(out);
    for (size_t i = 0; i < items.size(); ++i) {
        const Item &item = items[i];
        const bool skip = i % 5 == 0;
        Octets back(item.data.size(), 0);
        ASSERT_EQ(in_frame(world, kel::kPhaseDecoder, [&] {
                      if (item.fixed && skip)
                          kSkip[item.bits](world);
                      else if (item.fixed)
                          back[0] = kGet[item.bits](world);
                      else if (skip)
                          _kel_skip_bits(world, item.bits, 0);
                      else
                          _kel_get_bits(world, back.data(), item.bits, 0);
                  }),
                  0);
        if (!skip)
            ASSERT_EQ(back, leading_bits(item.data, item.bits)) << "item " << i;
    }
    EXPECT_EQ(world->inRemaining, world->bitOffset ? 1 : 0);
}

TEST(IntHelpers, OctetAndBitCounts) {
    EXPECT_EQ(_kel_intbytes(0), 1);
    EXPECT_EQ(_kel_intbytes(127), 1);
    EXPECT_EQ(_kel_intbytes(128), 2);
    EXPECT_EQ(_kel_intbytes(-128), 1);
    EXPECT_EQ(_kel_intbytes(-129), 2);
    EXPECT_EQ(_kel_intbytes(INT64_MIN), 8);
    EXPECT_EQ(_kel_intbytes(INT64_MAX), 8);
    EXPECT_EQ(_kel_uintbytes(0x7F), 1);
    EXPECT_EQ(_kel_uintbytes(0x80), 2);
    EXPECT_EQ(_kel_uintbytes(UINT64_MAX), 9);
    EXPECT_EQ(_kel_numbytes(0), 1);
    EXPECT_EQ(_kel_numbytes(255), 1);
    EXPECT_EQ(_kel_numbytes(256), 2);
    EXPECT_EQ(_kel_numbytes(-255), 1);
    EXPECT_EQ(_kel_numbytes(INT32_MIN), 4);
    EXPECT_EQ(_kel_numbits(0), 0);
    EXPECT_EQ(_kel_numbits(1), 1);
    EXPECT_EQ(_kel_numbits(0x80000000u), 32);
}

TEST(IntHelpers, HostOrderIntegersOfEveryWidth) {
    alignas(8) uint8_t cell[8];
    for (uint32_t size : {1u, 2u, 3u, 4u, 8u}) {
        std::memset(cell, 0xCC, sizeof cell);
        _kel_set_int(cell, size, -2);
        const uint32_t width = size <= 1 ? 1 : size <= 2 ? 2 : size <= 4 ? 4 : 8;
        const uint64_t expected = width == 8 ? ~1ull : (1ull << (8 * width)) - 2;
        EXPECT_EQ(_kel_get_uint(cell, size), expected) << size;
        if (width < 8)
            EXPECT_EQ(cell[width], 0xCC) << "no store beyond the width";
    }
}

TEST(IntHelpers, TwosComplement) {
    const uint8_t octets[] = {0xFF, 0x7F, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07};
    EXPECT_EQ(twos_comp_int(octets, 0), 0);
    EXPECT_EQ(twos_comp_int(octets, 1), -1);
    EXPECT_EQ(twos_comp_int(octets, 2), -129);
    EXPECT_EQ(twos_comp_int(octets + 1, 1), 127);
    EXPECT_EQ(twos_comp_int_l(octets + 1, 8), 0x7F01020304050607);
    EXPECT_EQ(twos_comp_int(octets, 9), 0x7F01020304050607) << "the low 64 bits are kept";
}

TEST(IntHelpers, DecimalDigits) {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    unsigned char text[6] = "?????";
    EXPECT_EQ(in_frame(world, kel::kPhaseEncoder, [&] { _kel_shtos(world, text, 7, 3); }), 0);
    EXPECT_EQ(std::memcmp(text, "007??", 5), 0);
    EXPECT_EQ(in_frame(world, kel::kPhaseEncoder, [&] { _kel_shtos(world, text, 65535, 5); }), 0);
    EXPECT_EQ(std::memcmp(text, "65535", 5), 0);
    EXPECT_EQ(in_frame(world, kel::kPhaseEncoder, [&] { _kel_shtos(world, text, 1000, 3); }), 12);
    EXPECT_NE(std::strstr(world->errMsg, "0012S"), nullptr) << world->errMsg;

    unsigned char input[] = {'2', '0', '2', '4', 'x', '1'};
    unsigned char *pos = input;
    int32_t rem = 6;
    uint32_t value = 0;
    EXPECT_EQ(in_frame(world, kel::kPhaseDecoder,
                       [&] { value = _kel_strtos(world, &pos, &rem, 4); }),
              0);
    EXPECT_EQ(value, 2024u);
    EXPECT_EQ(pos, input + 4);
    EXPECT_EQ(rem, 2);
    EXPECT_EQ(in_frame(world, kel::kPhaseDecoder, [&] { _kel_strtos(world, &pos, &rem, 2); }), 5)
        << "a non-digit";
    pos = input;
    rem = 3;
    EXPECT_EQ(in_frame(world, kel::kPhaseDecoder, [&] { _kel_strtos(world, &pos, &rem, 4); }), 4);
}

} // namespace
