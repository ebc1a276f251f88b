// Tests of the BER bottom layer: the backward octet writer (block ends, the
// caller's buffer, BIT STRING segments), tag and length writers and readers,
// BOOLEAN and INTEGER, and a randomised round trip of every integer form.
#include <cstring>
#include <iterator>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "bench_files.h"
#include "harness.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

using kel_test::in_frame;
using Octets = std::vector<uint8_t>;
using kel_test::from_hex;
using Result = std::pair<int, int64_t>; // return code, value read

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
        world->outQueueTail = &world->outQueue; // as a driver starts a call
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
    // The octets of one writer call.
    template <class Writer, class... Args> Octets one(Writer writer, Args... args) {
        return encoded([&] { writer(world, &pos, &rem, args...); });
    }
    // `input` must stay alive and exactly sized, so that a read past its end
    // shows under the address sanitizer.
    void read_from(const Octets &input) {
        in = const_cast<uint8_t *>(input.data());
        inRem = static_cast<int32_t>(input.size());
    }
    template <class Body> int decode(Body body, int phase = kel::kPhaseDecoder) {
        return in_frame(world, phase, body);
    }
    // One reader call on `input`.
    template <class Reader, class... Args> Result read(const Octets &input, Reader reader, Args... args) {
        read_from(input);
        int64_t value = 0;
        const int rc = decode([&] { value = static_cast<int64_t>(reader(world, &in, &inRem, args...)); });
        return {rc, value};
    }
    // The message's printed number follows the 'E' or 'D' of the phase.
    bool message_is(const char *number) const { return std::strncmp(world->errMsg + 1, number, 5) == 0; }
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

TEST_F(BerPrims, Writers) {
    EXPECT_EQ(one(_kel_encd_int_tl, 0, 0x02), from_hex("020100"));
    EXPECT_EQ(one(_kel_encd_int_tl, -1, 0x02), from_hex("0201FF"));
    EXPECT_EQ(one(_kel_encd_int_tl, 128, 0x02), from_hex("02020080"));
    EXPECT_EQ(one(_kel_encd_int_tl, -129, 0x02), from_hex("0202FF7F"));
    EXPECT_EQ(one(_kel_encd_uint_tl, 0x80000000u, 0x02), from_hex("02050080000000"));
    EXPECT_EQ(one(_kel_encd_llint_tl, INT64_MIN, 0x9F8148), from_hex("9F8148088000000000000000"));
    EXPECT_EQ(one(_kel_encd_bool_tl, 0x81, 1), from_hex("8101FF"));
    EXPECT_EQ(one(_kel_encd_bool, 0), from_hex("00"));

    EXPECT_EQ(one(_kel_encd_tag, KEL_CLASS_CONTEXT | 5, 1), from_hex("A5"));
    EXPECT_EQ(one(_kel_encd_tag, KEL_CLASS_APPLICATION | 31, 0), from_hex("5F1F"));
    EXPECT_EQ(one(_kel_encd_tag, KEL_CLASS_PRIVATE | 200, 1), from_hex("FF8148"));
    EXPECT_EQ(one(_kel_encd_length, 127), from_hex("7F"));
    EXPECT_EQ(one(_kel_encd_length, 0x10000), from_hex("83010000"));
    EXPECT_EQ(one(_kel_encd_tag_length, 0x100, 0x30), from_hex("30820100"));
    EXPECT_EQ(one(_kel_encd_tag_length, -128, 0x30), from_hex("3080")) << "the indefinite form";
    EXPECT_EQ(one(_kel_encd_tag_length2, 126, 0x04, 0xBF8148), from_hex("BF81488180047E"));

    EXPECT_EQ(one(_kel_write_int_d, 10, -2), from_hex("FFFFFFFFFFFFFFFFFFFE"));
    EXPECT_EQ(one(_kel_write_uint_d, 2, 0xAB1234), from_hex("1234"));
    EXPECT_EQ(one(_kel_write_subid_d, 0), from_hex("00"));
    EXPECT_EQ(one(_kel_write_subid_d, 0xFFFFFFFF), from_hex("8FFFFFFF7F"));

    // Count mode: the same counts, nothing stored.
    world->encodingFlags = DETERMINE_ENC_LENGTH;
    unsigned char *const start = pos;
    int n = 0;
    ASSERT_EQ(in_frame(world, kel::kPhaseEncoder, [&] {
                  n = _kel_encd_tag_length(world, &pos, &rem, 0x10000, 0x9F8148);
                  n += _kel_encd_int_tl(world, &pos, &rem, -129, 0x02);
                  n += _kel_write_bytes_d(world, &pos, &rem, "abc", 3);
              }),
              0);
    EXPECT_EQ(n, 7 + 4 + 3);
    EXPECT_EQ(world->encLength, 14u);
    EXPECT_EQ(pos, start);
}

TEST_F(BerPrims, BlockAndBufferEnds) {
    // A header straddling two blocks: its last octet stays in the old block.
    const Octets body = pattern(1023);
    EXPECT_EQ(encoded([&] {
                  _kel_write_bytes_d(world, &pos, &rem, body.data(), 1023);
                  ASSERT_EQ(rem, 1);
                  EXPECT_EQ(_kel_encd_tag_length(world, &pos, &rem, 200, 0x04), 3);
              }),
              cat({0x04, 0x81, 0xC8}, body));

    // Runs of octets over several blocks, in front of a short one.
    const Octets big = pattern(3000);
    EXPECT_EQ(encoded([&] {
                  _kel_write_bytes_d(world, &pos, &rem, "tail", 4);
                  _kel_write_bytes_d(world, &pos, &rem, big.data(), 3000);
                  _kel_write_byte_d(world, &pos, &rem, 0x55);
              }),
              cat(cat({0x55}, big), {'t', 'a', 'i', 'l'}));

    // In the caller's buffer the same header fails, and nothing goes below it.
    uint8_t area[16 + 8];
    std::memset(area, 0xAA, sizeof area);
    world->userBuffer = 1;
    world->memTotal = 8;
    pos = area + 16 + 8;
    rem = 8;
    EXPECT_EQ(in_frame(world, kel::kPhaseEncoder, [&] {
                  _kel_write_bytes_d(world, &pos, &rem, "1234567", 7);
                  _kel_encd_tag_length(world, &pos, &rem, 200, 0x04);
              }),
              1);
    EXPECT_TRUE(message_is("0001S")) << world->errMsg;
    EXPECT_EQ(Octets(area, area + 16), Octets(16, 0xAA));
}

TEST_F(BerPrims, BitStringContentsPrimitiveAndSegmented) {
    const Octets bits = pattern(1001);
    int result = 0;
    auto contents = [&](int32_t count) {
        return encoded([&] { result = _kel_write_bit_d(world, &pos, &rem, bits.data(), count); });
    };
    EXPECT_EQ(contents(12), (Octets{0x04, bits[0], static_cast<uint8_t>(bits[1] & 0xF0)}));
    EXPECT_EQ(result, 3);
    EXPECT_EQ(contents(0), from_hex("00"));
    const Octets full(bits.begin(), bits.begin() + 999);
    EXPECT_EQ(contents(7992), cat({0x00}, full));
    EXPECT_EQ(result, 1000);

    // 1 + 999 octets: a full segment, then one holding only the last octet.
    EXPECT_EQ(contents(8000), cat(cat({0x03, 0x82, 0x03, 0xE8, 0x00}, full), {0x03, 0x02, 0x00, bits[999]}));
    EXPECT_EQ(result, -1008);
    EXPECT_EQ(contents(8001), cat(cat({0x03, 0x82, 0x03, 0xE8, 0x00}, full),
                                  {0x03, 0x03, 0x07, bits[999], static_cast<uint8_t>(bits[1000] & 0x80)}));
    EXPECT_EQ(result, -1009);

    world->encRules = KEL_DER;
    EXPECT_EQ(contents(8000).size(), 1001u);
    EXPECT_EQ(result, 1001) << "DER never segments";
}

// Every reader, given an argument: a tag to match or a contents length.
using Reader = int64_t (*)(KelGlobal *, unsigned char **, int32_t *, uint32_t arg);
const Reader kTag = [](KelGlobal *w, unsigned char **p, int32_t *r, uint32_t) -> int64_t { return _kel_dec_tag(w, p, r); };
const Reader kLength = [](KelGlobal *w, unsigned char **p, int32_t *r, uint32_t) -> int64_t { return _kel_dec_length(w, p, r); };
const Reader kHeader = [](KelGlobal *w, unsigned char **p, int32_t *r, uint32_t tag) -> int64_t {
    return _kel_dec_tag_length(w, p, r, tag);
};
template <class T, T (*Decode)(KelGlobal *, unsigned char **, int32_t *, int32_t)>
int64_t contents(KelGlobal *w, unsigned char **p, int32_t *r, uint32_t length) {
    return Decode(w, p, r, static_cast<int32_t>(length));
}
const Reader kBool = contents<int, _kel_dec_bool>, kSint = contents<int16_t, _kel_dec_sint>,
             kIint = contents<int32_t, _kel_dec_iint>, kUiint = contents<uint32_t, _kel_dec_uiint>;
enum Mode { kStrict, kRelaxed, kRelaxedDer };

TEST_F(BerPrims, ReadersOfHeadersAndValues) {
    const char *five = "850000000005 0102030405", *needless = "1F05", *redundant = "9F803F00";
    struct Case { const char *input; Reader reader; uint32_t arg; Mode mode; int code; int64_t value; const char *message; } cases[] = {
        {"9F81", kTag, 0, kStrict, 4, 0, ""}, {"1F818001", kTag, 0, kStrict, 10, 0, "0019E"},
        {needless, kTag, 0, kStrict, 5, 0, "0018E"}, {needless, kTag, 0, kRelaxed, 0, 5, ""},
        {needless, kTag, 0, kRelaxedDer, 5, 0, ""},
        // The test for too many length octets stands ahead of each octet.
        {"8401000000", kLength, 0, kStrict, 4, 0, "0081S"}, {"84010000", kLength, 0, kStrict, 4, 0, ""},
        {"80", kLength, 0, kStrict, 0, -1, ""}, {"820002AABB", kLength, 0, kStrict, 0, 2, ""},
        {"04850000000005 0102030405", kHeader, 0x04, kStrict, 0, 5, ""},
        {"048480000000", kHeader, 0x04, kStrict, 10, 0, "0026S"}, {"048201", kHeader, 0x04, kStrict, 4, 0, ""},
        {"04", kHeader, 0x04, kStrict, 4, 0, ""},
        // Multi-octet tags, the constructed bit, the indefinite form; another
        // encoding of the expected tag passes only relaxed, never in DER, and
        // is refused for its padding octets.
        {"9F814900", kHeader, 0x48819F, kStrict, 5, 0, "0033E"},
        {"8400", kHeader, 0x85, kStrict, 5, 0, "expected tag"}, {redundant, kHeader, 0x3F9F, kStrict, 10, 0, "0055E"},
        {redundant, kHeader, 0x3F9F, kRelaxed, 0, 0, ""}, {redundant, kHeader, 0x3F9F, kRelaxedDer, 10, 0, "0055E"},
        // BOOLEAN and INTEGER contents; relaxed takes redundant leading octets.
        {"01", kBool, 1, kStrict, 0, 1, ""}, {"0101", kBool, 2, kStrict, 5, 0, "0037E"},
        {"000001", kIint, 3, kStrict, 5, 0, "0022E"}, {"FFFF", kUiint, 2, kStrict, 2, 0, "0076S"},
        {"007F", kUiint, 2, kStrict, 5, 0, ""}, {"000080", kUiint, 3, kStrict, 5, 0, ""},
        {"0000", kUiint, 2, kStrict, 5, 0, ""}, {"010000", kSint, 3, kStrict, 10, 0, "0144E"},
        {"0100000000", kIint, 5, kStrict, 10, 0, ""}, {"01", kIint, 0, kStrict, 5, 0, ""}, {"01", kIint, 2, kStrict, 4, 0, ""},
        {"000001", kIint, 3, kRelaxed, 0, 1, ""}, {"FFFFFFFFFF80", kIint, 6, kRelaxed, 0, -128, ""},
        {"FFFF", kUiint, 2, kRelaxed, 0, 65535, ""}, {"0000", kUiint, 2, kRelaxed, 0, 0, ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.input);
        world->modeBits = c.mode == kStrict ? world->modeBits & ~KEL_MODE_RELAXED : world->modeBits | KEL_MODE_RELAXED;
        world->encRules = c.mode == kRelaxedDer ? KEL_DER : KEL_BER;
        EXPECT_EQ(read(from_hex(c.input), c.reader, c.arg), Result(c.code, c.value));
        EXPECT_NE(std::strstr(world->errMsg, c.message), nullptr) << world->errMsg;
    }
    world->modeBits &= ~KEL_MODE_RELAXED;
    world->encRules = KEL_BER;

    // What readers leave behind: the constructed bit, the input's limit, the
    // input after the header; an encoder reads a length past its input.
    const Octets constructed = {0xA5}, fiveOctets = from_hex(five), four = from_hex("8401000000");
    EXPECT_EQ(read(constructed, kTag, 0), Result(0, KEL_CLASS_CONTEXT | 5));
    EXPECT_EQ(world->bitOffset, 0x20);
    EXPECT_EQ(world->inLimit, constructed.data());
    EXPECT_EQ(read(from_hex("DF8148"), kTag, 0), Result(0, KEL_CLASS_PRIVATE | 200));
    EXPECT_EQ(world->bitOffset, 0);
    EXPECT_EQ(read(fiveOctets, kHeader, 0), Result(0, 5)) << "leading zeros are passed";
    EXPECT_EQ(inRem, 5);
    EXPECT_EQ(read(from_hex("BF814880"), kHeader, 0x48819F), Result(0, -128));
    EXPECT_EQ(world->bitOffset, 0x20);
    read_from(four);
    EXPECT_EQ(decode([&] { EXPECT_EQ(_kel_dec_length(world, &in, &inRem), 0x01000000); }, kel::kPhaseEncoder), 0);
}

// One memory form of INTEGER: its whole-TLV writer and its decoder, with the
// value narrowed to the form's width.
struct IntForm {
    bool isSigned;
    int (*encode)(KelGlobal *, unsigned char **, int32_t *, uint64_t value, uint32_t tag);
    uint64_t (*decode)(KelGlobal *, unsigned char **, int32_t *, int32_t length);
    uint64_t (*narrow)(uint64_t value);
};

template <class T, class V, int (*Encode)(KelGlobal *, unsigned char **, int32_t *, V, uint32_t),
          T (*Decode)(KelGlobal *, unsigned char **, int32_t *, int32_t)>
constexpr IntForm int_form() {
    return {std::is_signed_v<T>,
            [](KelGlobal *w, unsigned char **p, int32_t *r, uint64_t v, uint32_t tag) {
                return Encode(w, p, r, static_cast<V>(static_cast<T>(v)), tag);
            },
            [](KelGlobal *w, unsigned char **p, int32_t *r, int32_t n) { return static_cast<uint64_t>(Decode(w, p, r, n)); },
            [](uint64_t v) { return static_cast<uint64_t>(static_cast<T>(v)); }};
}

constexpr IntForm kIntForms[] = {
    int_form<int16_t, int32_t, _kel_encd_int_tl, _kel_dec_sint>(),
    int_form<int32_t, int32_t, _kel_encd_int_tl, _kel_dec_iint>(),
    int_form<int32_t, int32_t, _kel_encd_int_tl, _kel_dec_lint>(),
    int_form<int64_t, int64_t, _kel_encd_llint_tl, _kel_dec_llint>(),
    int_form<uint16_t, uint32_t, _kel_encd_uint_tl, _kel_dec_usint>(),
    int_form<uint32_t, uint32_t, _kel_encd_uint_tl, _kel_dec_uiint>(),
    int_form<uint32_t, uint32_t, _kel_encd_uint_tl, _kel_dec_ulint>(),
    int_form<uint64_t, uint64_t, _kel_encd_ullint_tl, _kel_dec_ullint>(),
};

// Random values of every width and magnitude in every form, written last
// first as whole TLVs or as content plus header into one encoding of many
// blocks, then read back in order.
TEST_F(BerPrims, IntegersRoundTripThroughEveryForm) {
    struct Tag {
        uint32_t header, match;
    };
    constexpr Tag kTags[] = {{0x02, 0x02}, {0x85, 0x85}, {0x9F8148, 0x48819F}};
    struct Item {
        const IntForm *form;
        Tag tag;
        uint64_t value; // narrowed to the form
        bool split;     // content and header written separately
    };
    std::mt19937_64 rng(7);
    std::vector<Item> items;
    for (int i = 0; i < 4000; ++i) {
        const uint32_t width = static_cast<uint32_t>(rng() % 65);
        const uint64_t magnitude = width == 64 ? rng() : rng() & ((1ull << width) - 1);
        const IntForm &form = kIntForms[rng() % std::size(kIntForms)];
        items.push_back({&form, kTags[rng() % 3], form.narrow(rng() % 2 ? magnitude : ~magnitude),
                         rng() % 4 == 0});
    }
    const Octets out = encoded([&] {
        for (auto it = items.rbegin(); it != items.rend(); ++it) {
            const uint64_t v = it->value;
            const int content = it->form->isSigned ? _kel_intbytes(static_cast<int64_t>(v)) : _kel_uintbytes(v);
            if (it->split) {
                const int n = it->form->isSigned ? _kel_encd_int(world, &pos, &rem, static_cast<int64_t>(v))
                                                 : _kel_encd_uint(world, &pos, &rem, v);
                ASSERT_EQ(n, content);
                _kel_encd_tag_length(world, &pos, &rem, static_cast<uint32_t>(n), it->tag.header);
            } else {
                ASSERT_EQ(it->form->encode(world, &pos, &rem, v, it->tag.header),
                          content + 1 + (it->tag.header > 0xFF ? 3 : 1));
            }
        }
    });
    ASSERT_GT(out.size(), 2u * KEL_ENC_BLOCK);

    read_from(out);
    for (size_t i = 0; i < items.size(); ++i) {
        uint64_t got = 0;
        ASSERT_EQ(decode([&] {
                      const int32_t length = _kel_dec_tag_length(world, &in, &inRem, items[i].tag.match);
                      got = items[i].form->decode(world, &in, &inRem, length);
                  }),
                  0)
            << "item " << i << ": " << world->errMsg;
        ASSERT_EQ(got, items[i].value) << "item " << i;
    }
    EXPECT_EQ(inRem, 0);
}

} // namespace
