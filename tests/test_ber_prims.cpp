// Tests of the BER bottom layer: the backward octet writer (block ends, the
// caller's buffer, BIT STRING segments), tag and length writers and readers,
// BOOLEAN and INTEGER, and a randomised round trip of every integer form.
#include <cstring>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

using kel_test::in_frame;
using Octets = std::vector<uint8_t>;

struct BerPrims : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    // Writer position, as generated code keeps it.
    unsigned char *pos = nullptr;
    int32_t rem = 0;
    // Reader position.
    unsigned char *in = nullptr;
    int32_t inRem = 0;

    // Runs backward writers into fresh library memory and joins the blocks.
    template <class Body> Octets encoded(Body body) {
        world->userBuffer = 0;
        pos = nullptr;
        rem = 0;
        EXPECT_EQ(in_frame(world, kel::kPhaseEncoder, body), 0) << world->errMsg;
        uint32_t length = 0;
        unsigned char *value = nullptr;
        EXPECT_EQ(in_frame(world, kel::kPhaseEncoder,
                           [&] { _kel_set_outmem_d(world, static_cast<uint32_t>(rem), &length, &value); }),
                  0);
        Octets out(value, value + length);
        kelFreeBuf(world, value);
        return out;
    }
    // `input` must stay alive and exactly sized, so that a read past its end
    // shows under the address sanitizer.
    void read_from(const Octets &input) {
        in = const_cast<uint8_t *>(input.data());
        inRem = static_cast<int32_t>(input.size());
    }
    template <class Body> int decode(Body body) { return in_frame(world, kel::kPhaseDecoder, body); }
    bool message_is(const char *number) const { return std::strncmp(world->errMsg, number, 5) == 0; }
};

Octets cat(Octets a, const Octets &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Octets pattern(size_t n) {
    Octets v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = static_cast<uint8_t>(i * 7 + 1);
    return v;
}

TEST_F(BerPrims, IntegerAndBooleanTlvs) {
    auto tlv = [&](int32_t v) { return encoded([&] { _kel_encd_int_tl(world, &pos, &rem, v, 0x02); }); };
    EXPECT_EQ(tlv(0), (Octets{0x02, 0x01, 0x00}));
    EXPECT_EQ(tlv(-1), (Octets{0x02, 0x01, 0xFF}));
    EXPECT_EQ(tlv(128), (Octets{0x02, 0x02, 0x00, 0x80}));
    EXPECT_EQ(tlv(-129), (Octets{0x02, 0x02, 0xFF, 0x7F}));
    EXPECT_EQ(encoded([&] { _kel_encd_uint_tl(world, &pos, &rem, 0x80000000u, 0x02); }),
              (Octets{0x02, 0x05, 0x00, 0x80, 0x00, 0x00, 0x00}));
    EXPECT_EQ(encoded([&] { _kel_encd_ullint_tl(world, &pos, &rem, UINT64_MAX, 0x02); }),
              (Octets{0x02, 0x09, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(encoded([&] { _kel_encd_llint_tl(world, &pos, &rem, INT64_MIN, 0x9F8148); }),
              (Octets{0x9F, 0x81, 0x48, 0x08, 0x80, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(encoded([&] { _kel_encd_bool_tl(world, &pos, &rem, 0x81, 1); }),
              (Octets{0x81, 0x01, 0xFF}));
    EXPECT_EQ(encoded([&] {
                  _kel_encd_bool(world, &pos, &rem, 0);
                  _kel_encd_tag_length(world, &pos, &rem, 1, 0x01);
              }),
              (Octets{0x01, 0x01, 0x00}));
}

TEST_F(BerPrims, TagAndLengthWriters) {
    EXPECT_EQ(encoded([&] { _kel_encd_tag(world, &pos, &rem, KEL_CLASS_CONTEXT | 5, 1); }),
              (Octets{0xA5}));
    EXPECT_EQ(encoded([&] { _kel_encd_tag(world, &pos, &rem, KEL_CLASS_APPLICATION | 31, 0); }),
              (Octets{0x5F, 0x1F}));
    EXPECT_EQ(encoded([&] { _kel_encd_tag(world, &pos, &rem, KEL_CLASS_PRIVATE | 200, 1); }),
              (Octets{0xFF, 0x81, 0x48}));
    EXPECT_EQ(encoded([&] { _kel_encd_length(world, &pos, &rem, 127); }), (Octets{0x7F}));
    EXPECT_EQ(encoded([&] { _kel_encd_length(world, &pos, &rem, 128); }), (Octets{0x81, 0x80}));
    EXPECT_EQ(encoded([&] { _kel_encd_length(world, &pos, &rem, 0x10000); }),
              (Octets{0x83, 0x01, 0x00, 0x00}));
    EXPECT_EQ(encoded([&] { _kel_encd_tag_length(world, &pos, &rem, 0x100, 0x30); }),
              (Octets{0x30, 0x82, 0x01, 0x00}));
    EXPECT_EQ(encoded([&] { _kel_encd_tag_length(world, &pos, &rem, static_cast<uint32_t>(-128), 0x30); }),
              (Octets{0x30, 0x80}))
        << "the indefinite form";
    EXPECT_EQ(encoded([&] { _kel_encd_tag_length2(world, &pos, &rem, 3, 0x04, 0xA1); }),
              (Octets{0xA1, 0x05, 0x04, 0x03}));
    EXPECT_EQ(encoded([&] { _kel_encd_tag_length2(world, &pos, &rem, 126, 0x04, 0xBF8148); }),
              (Octets{0xBF, 0x81, 0x48, 0x81, 0x80, 0x04, 0x7E}));

    // Count mode: the same counts, nothing stored.
    world->encodingFlags = DETERMINE_ENC_LENGTH;
    world->encLength = 0;
    pos = nullptr;
    rem = 0;
    int n = 0;
    ASSERT_EQ(in_frame(world, kel::kPhaseEncoder, [&] {
                  n = _kel_encd_tag_length(world, &pos, &rem, 0x10000, 0x9F8148);
                  n += _kel_encd_int_tl(world, &pos, &rem, -129, 0x02);
                  n += _kel_write_bytes_d(world, &pos, &rem, "abc", 3);
              }),
              0);
    EXPECT_EQ(n, 7 + 4 + 3);
    EXPECT_EQ(world->encLength, 14u);
    EXPECT_EQ(pos, nullptr);
}

TEST_F(BerPrims, HeaderStraddlingTwoBlocksJoinsWhole) {
    const Octets body = pattern(1023);
    const Octets out = encoded([&] {
        _kel_write_bytes_d(world, &pos, &rem, body.data(), 1023);
        ASSERT_EQ(rem, 1);
        EXPECT_EQ(_kel_encd_tag_length(world, &pos, &rem, 200, 0x04), 3);
    });
    EXPECT_EQ(out, cat({0x04, 0x81, 0xC8}, body));

    // Runs of octets over several blocks, in front of a short one.
    const Octets big = pattern(3000);
    EXPECT_EQ(encoded([&] {
                  _kel_write_bytes_d(world, &pos, &rem, "tail", 4);
                  _kel_write_bytes_d(world, &pos, &rem, big.data(), 3000);
                  _kel_write_byte_d(world, &pos, &rem, 0x55);
              }),
              cat(cat({0x55}, big), {'t', 'a', 'i', 'l'}));
}

TEST_F(BerPrims, CallersBufferTooSmallWritesNothingBelowItsStart) {
    uint8_t area[16 + 8];
    std::memset(area, 0xAA, sizeof area);
    uint8_t *buffer = area + 16;
    world->userBuffer = 1;
    world->memTotal = 8;
    pos = buffer + 8;
    rem = 8;
    const int rc = in_frame(world, kel::kPhaseEncoder, [&] {
        _kel_write_bytes_d(world, &pos, &rem, "1234567", 7);
        _kel_encd_tag_length(world, &pos, &rem, 200, 0x04);
    });
    EXPECT_EQ(rc, 1);
    EXPECT_TRUE(message_is("0001S")) << world->errMsg;
    for (int i = 0; i < 16; ++i)
        ASSERT_EQ(area[i], 0xAA) << i;
}

TEST_F(BerPrims, RawIntegerAndArcWriters) {
    EXPECT_EQ(encoded([&] { _kel_write_int_d(world, &pos, &rem, 3, -2); }), (Octets{0xFF, 0xFF, 0xFE}));
    EXPECT_EQ(encoded([&] { _kel_write_int_d(world, &pos, &rem, 10, -2); }),
              (Octets{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}));
    EXPECT_EQ(encoded([&] { _kel_write_uint_d(world, &pos, &rem, 2, 0xAB1234); }), (Octets{0x12, 0x34}));
    EXPECT_EQ(encoded([&] { _kel_write_subid_d(world, &pos, &rem, 0); }), (Octets{0x00}));
    EXPECT_EQ(encoded([&] { _kel_write_subid_d(world, &pos, &rem, 128); }), (Octets{0x81, 0x00}));
    EXPECT_EQ(encoded([&] { _kel_write_subid_d(world, &pos, &rem, 0xFFFFFFFF); }),
              (Octets{0x8F, 0xFF, 0xFF, 0xFF, 0x7F}));
}

TEST_F(BerPrims, BitStringContentsPrimitiveAndSegmented) {
    const Octets bits = pattern(1001);
    int result = 0;
    auto contents = [&](int32_t count) {
        return encoded([&] { result = _kel_write_bit_d(world, &pos, &rem, bits.data(), count); });
    };
    EXPECT_EQ(contents(12), (Octets{0x04, bits[0], static_cast<uint8_t>(bits[1] & 0xF0)}));
    EXPECT_EQ(result, 3);
    EXPECT_EQ(contents(0), (Octets{0x00}));
    EXPECT_EQ(result, 1);

    const Octets primitive = contents(7992);
    EXPECT_EQ(result, 1000);
    EXPECT_EQ(primitive, cat({0x00}, Octets(bits.begin(), bits.begin() + 999)));

    // 1 + 999 octets: a full segment, then one holding only the last octet.
    const Octets full(bits.begin(), bits.begin() + 999);
    const Octets segmented = contents(8000);
    EXPECT_EQ(result, -1008);
    EXPECT_EQ(segmented, cat(cat({0x03, 0x82, 0x03, 0xE8, 0x00}, full), {0x03, 0x02, 0x00, bits[999]}));

    const Octets odd = contents(8001);
    EXPECT_EQ(result, -1009);
    EXPECT_EQ(odd, cat(cat({0x03, 0x82, 0x03, 0xE8, 0x00}, full),
                       {0x03, 0x03, 0x07, bits[999], static_cast<uint8_t>(bits[1000] & 0x80)}));

    world->encRules = KEL_DER;
    EXPECT_EQ(contents(8000).size(), 1001u);
    EXPECT_EQ(result, 1001) << "DER never segments";
}

TEST_F(BerPrims, TagReader) {
    uint16_t tag = 0;
    const Octets constructed = {0xA5};
    read_from(constructed);
    EXPECT_EQ(decode([&] { tag = _kel_dec_tag(world, &in, &inRem); }), 0);
    EXPECT_EQ(tag, KEL_CLASS_CONTEXT | 5);
    EXPECT_EQ(world->bitOffset, 0x20);
    EXPECT_EQ(world->inLimit, constructed.data());

    const Octets big = {0xDF, 0x81, 0x48};
    read_from(big);
    EXPECT_EQ(decode([&] { tag = _kel_dec_tag(world, &in, &inRem); }), 0);
    EXPECT_EQ(tag, KEL_CLASS_PRIVATE | 200);
    EXPECT_EQ(world->bitOffset, 0);

    const Octets tooLong = {0x1F, 0x81, 0x80, 0x01};
    read_from(tooLong);
    EXPECT_EQ(decode([&] { _kel_dec_tag(world, &in, &inRem); }), 10);
    EXPECT_TRUE(message_is("0019E")) << world->errMsg;

    const Octets needless = {0x1F, 0x05};
    read_from(needless);
    EXPECT_EQ(decode([&] { _kel_dec_tag(world, &in, &inRem); }), 5);
    EXPECT_TRUE(message_is("0018E")) << world->errMsg;
    world->modeBits |= KEL_MODE_RELAXED;
    read_from(needless);
    EXPECT_EQ(decode([&] { tag = _kel_dec_tag(world, &in, &inRem); }), 0);
    EXPECT_EQ(tag, 5);
    world->encRules = KEL_DER;
    read_from(needless);
    EXPECT_EQ(decode([&] { _kel_dec_tag(world, &in, &inRem); }), 5);

    const Octets cut = {0x9F, 0x81};
    read_from(cut);
    EXPECT_EQ(decode([&] { _kel_dec_tag(world, &in, &inRem); }), 4);
}

TEST_F(BerPrims, LengthReader) {
    int32_t length = 0;
    auto run = [&](const Octets &input, int phase) {
        read_from(input);
        return in_frame(world, phase, [&] { length = _kel_dec_length(world, &in, &inRem); });
    };
    // The test for too many octets stands ahead of each octet.
    EXPECT_EQ(run({0x84, 0x01, 0x00, 0x00, 0x00}, kel::kPhaseEncoder), 0);
    EXPECT_EQ(length, 0x01000000);
    EXPECT_EQ(run({0x84, 0x01, 0x00, 0x00, 0x00}, kel::kPhaseDecoder), 4) << "longer than the input";
    EXPECT_EQ(run({0x85, 0x01, 0x00, 0x00, 0x00, 0x00}, kel::kPhaseEncoder), 10);
    EXPECT_TRUE(message_is("0026S")) << world->errMsg;
    EXPECT_EQ(run({0x84, 0x01, 0x00, 0x00}, kel::kPhaseEncoder), 4);
    EXPECT_EQ(run({0x80}, kel::kPhaseDecoder), 0);
    EXPECT_EQ(length, -1);
    EXPECT_EQ(run({0x82, 0x00, 0x02, 0xAA, 0xBB}, kel::kPhaseDecoder), 0);
    EXPECT_EQ(length, 2);
}

TEST_F(BerPrims, TagLengthReader) {
    int32_t length = 0;
    auto run = [&](const Octets &input, uint32_t tag) {
        read_from(input);
        return decode([&] { length = _kel_dec_tag_length(world, &in, &inRem, tag); });
    };
    const Octets five = {0x85, 0x00, 0x00, 0x00, 0x00, 0x05, 1, 2, 3, 4, 5};
    EXPECT_EQ(run(five, 0), 0);
    EXPECT_EQ(length, 5) << "leading zeros of an over-long length are passed";
    EXPECT_EQ(inRem, 5);
    EXPECT_EQ(run(cat({0x04}, five), 0x04), 0);
    EXPECT_EQ(length, 5);
    EXPECT_EQ(run({0x04, 0x84, 0x80, 0x00, 0x00, 0x00}, 0x04), 10);
    EXPECT_EQ(run({0x04, 0x82, 0x01}, 0x04), 4);
    EXPECT_EQ(run({0x04, 0x02, 0x01, 0x02}, 0x04), 0);
    EXPECT_EQ(length, 2);
    EXPECT_EQ(run({0x04}, 0x04), 4);

    // Multi-octet tags, the constructed bit, the indefinite form.
    EXPECT_EQ(run({0xBF, 0x81, 0x48, 0x80}, 0x48819F), 0);
    EXPECT_LT(length, 0);
    EXPECT_EQ(world->bitOffset, 0x20);
    EXPECT_EQ(run({0x9F, 0x81, 0x49, 0x00}, 0x48819F), 5);
    EXPECT_TRUE(message_is("0033E")) << world->errMsg;
    EXPECT_EQ(run({0x84, 0x00}, 0x85), 5);
    EXPECT_NE(std::strstr(world->errMsg, "expected tag"), nullptr) << world->errMsg;

    // Another encoding of the expected tag passes only relaxed, never in DER.
    const Octets redundant = {0x9F, 0x80, 0x3F, 0x00};
    EXPECT_EQ(run(redundant, 0x3F9F), 5);
    world->modeBits |= KEL_MODE_RELAXED;
    EXPECT_EQ(run(redundant, 0x3F9F), 0);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(inRem, 0);
    world->encRules = KEL_DER;
    EXPECT_EQ(run(redundant, 0x3F9F), 5);
}

TEST_F(BerPrims, BooleanAndIntegerDecoders) {
    int64_t value = 0;
    auto run = [&](const Octets &input, auto decoder) {
        read_from(input);
        return decode([&] { value = decoder(world, &in, &inRem, static_cast<int32_t>(input.size())); });
    };
    EXPECT_EQ(run({0x01}, _kel_dec_bool), 0);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(run({0x00}, _kel_dec_bool), 0);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(run({0x01, 0x01}, _kel_dec_bool), 5);
    EXPECT_TRUE(message_is("0037E")) << world->errMsg;

    EXPECT_EQ(run({0x00, 0x00, 0x01}, _kel_dec_iint), 5);
    EXPECT_TRUE(message_is("0022E")) << world->errMsg;
    EXPECT_EQ(run({0xFF, 0xFF}, _kel_dec_uiint), 2);
    EXPECT_TRUE(message_is("0076S")) << world->errMsg;
    EXPECT_EQ(run({0x00, 0x00, 0x80}, _kel_dec_uiint), 5);
    EXPECT_EQ(run({0x00, 0x00}, _kel_dec_uiint), 5);
    EXPECT_EQ(run({0x00, 0x80, 0x00, 0x00, 0x00}, _kel_dec_uiint), 0);
    EXPECT_EQ(value, 0x80000000);
    EXPECT_EQ(run({0xFF, 0x7F}, _kel_dec_sint), 0);
    EXPECT_EQ(value, -129);
    EXPECT_EQ(run({0x01, 0x00, 0x00}, _kel_dec_sint), 10);
    EXPECT_TRUE(message_is("0144E")) << world->errMsg;
    EXPECT_EQ(run({0x01, 0x00, 0x00, 0x00, 0x00}, _kel_dec_iint), 10);
    EXPECT_EQ(run({0x01, 0x00, 0x00, 0x00, 0x00}, _kel_dec_llint), 0);
    EXPECT_EQ(value, 0x100000000);
    EXPECT_EQ(run({}, _kel_dec_iint), 5) << "zero length";
    read_from({0x01});
    EXPECT_EQ(decode([&] { _kel_dec_iint(world, &in, &inRem, 2); }), 4);

    world->modeBits |= KEL_MODE_RELAXED;
    EXPECT_EQ(run({0x00, 0x00, 0x01}, _kel_dec_iint), 0);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(run({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x80}, _kel_dec_iint), 0);
    EXPECT_EQ(value, -128);
    EXPECT_EQ(run({0xFF, 0xFF}, _kel_dec_uiint), 0);
    EXPECT_EQ(value, 65535);
    EXPECT_EQ(run({0x00, 0x00}, _kel_dec_uiint), 0);
    EXPECT_EQ(value, 0);
}

// Random values of every width and magnitude, written last first as whole
// TLVs (and as content plus header) into one multi-block encoding, then read
// back in order with the decoder of each memory form.
TEST_F(BerPrims, IntegersRoundTripThroughEveryForm) {
    enum Form { kInt, kUint, kLlint, kUllint, kFormCount };
    struct Tag {
        uint32_t header, match;
    };
    constexpr Tag kTags[] = {{0x02, 0x02}, {0x85, 0x85}, {0x9F8148, 0x48819F}};
    struct Item {
        Form form;
        Tag tag;
        uint64_t bits;
        bool split; // content and header written separately
    };
    std::mt19937_64 rng(7);
    std::vector<Item> items;
    for (int i = 0; i < 4000; ++i) {
        const uint32_t width = static_cast<uint32_t>(rng() % 65);
        const uint64_t magnitude = width == 64 ? rng() : rng() & ((1ull << width) - 1);
        items.push_back({static_cast<Form>(rng() % kFormCount), kTags[rng() % 3],
                         rng() % 2 ? magnitude : ~magnitude, rng() % 4 == 0});
    }
    const Octets out = encoded([&] {
        for (auto it = items.rbegin(); it != items.rend(); ++it) {
            const Item &item = *it;
            const uint32_t header = item.tag.header;
            const int64_t s = static_cast<int64_t>(item.bits);
            int n = 0;
            if (item.split) {
                n = item.form == kInt || item.form == kLlint
                        ? _kel_encd_int(world, &pos, &rem, item.form == kInt ? static_cast<int32_t>(s) : s)
                        : _kel_encd_uint(world, &pos, &rem,
                                         item.form == kUint ? static_cast<uint32_t>(item.bits) : item.bits);
                _kel_encd_tag_length(world, &pos, &rem, static_cast<uint32_t>(n), header);
                continue;
            }
            switch (item.form) {
            case kInt: n = _kel_encd_int_tl(world, &pos, &rem, static_cast<int32_t>(s), header); break;
            case kUint: n = _kel_encd_uint_tl(world, &pos, &rem, static_cast<uint32_t>(item.bits), header); break;
            case kLlint: n = _kel_encd_llint_tl(world, &pos, &rem, s, header); break;
            default: n = _kel_encd_ullint_tl(world, &pos, &rem, item.bits, header); break;
            }
            const int content = item.form == kInt     ? _kel_intbytes(static_cast<int32_t>(s))
                                : item.form == kUint  ? _kel_uintbytes(static_cast<uint32_t>(item.bits))
                                : item.form == kLlint ? _kel_intbytes(s)
                                                      : _kel_uintbytes(item.bits);
            ASSERT_EQ(n, content + 1 + (header > 0xFF ? 3 : 1));
        }
    });
    ASSERT_GT(out.size(), 2u * KEL_ENC_BLOCK);

    read_from(out);
    for (size_t i = 0; i < items.size(); ++i) {
        const Item &item = items[i];
        uint64_t got = 0, expected = item.bits;
        ASSERT_EQ(decode([&] {
                      const int32_t length = _kel_dec_tag_length(world, &in, &inRem, item.tag.match);
                      switch (item.form) {
                      case kInt: got = static_cast<uint64_t>(_kel_dec_iint(world, &in, &inRem, length)); break;
                      case kUint: got = _kel_dec_ulint(world, &in, &inRem, length); break;
                      case kLlint: got = static_cast<uint64_t>(_kel_dec_llint(world, &in, &inRem, length)); break;
                      default: got = _kel_dec_ullint(world, &in, &inRem, length); break;
                      }
                  }),
                  0)
            << "item " << i << ": " << world->errMsg;
        if (item.form == kInt)
            expected = static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(item.bits)));
        else if (item.form == kUint)
            expected = static_cast<uint32_t>(item.bits);
        ASSERT_EQ(got, expected) << "item " << i;
    }
    EXPECT_EQ(inRem, 0);

    // The 16-bit forms on values that fit them.
    for (int32_t v : {0, 1, -1, 127, 128, -128, -129, 32767, -32768}) {
        const Octets tlv = encoded([&] { _kel_encd_int_tl(world, &pos, &rem, v, 0x02); });
        read_from(tlv);
        int16_t got = 0;
        ASSERT_EQ(decode([&] { got = _kel_dec_sint(world, &in, &inRem, _kel_dec_tag_length(world, &in, &inRem, 2)); }), 0);
        EXPECT_EQ(got, v);
    }
    for (uint32_t v : {0u, 127u, 128u, 255u, 256u, 65535u}) {
        const Octets tlv = encoded([&] { _kel_encd_uint_tl(world, &pos, &rem, v, 0x02); });
        read_from(tlv);
        uint16_t got = 0;
        ASSERT_EQ(decode([&] { got = _kel_dec_usint(world, &in, &inRem, _kel_dec_tag_length(world, &in, &inRem, 2)); }), 0);
        EXPECT_EQ(got, v);
    }
}

} // namespace
