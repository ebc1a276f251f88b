// Tests of the BER string primitives: the segment walk of constructed
// strings and its failures, the size rules of the memory forms, BIT STRING
// unused bits and named bits, the wide and UTF-8 character forms, and that
// a failed decode through a code file leaves nothing allocated.
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bench_files.h"
#include "codefiles.h"
#include "counting_alloc.h"
#include "harness.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

using kel_test::in_frame;
using Octets = std::vector<uint8_t>;
using Decoder = std::function<int32_t(int32_t length)>;
const auto hex = kel_test::from_hex;

// `levels` constructed OCTET STRINGs of indefinite length around "a".
Octets nested(int levels) {
    Octets out;
    for (int i = 0; i < levels; ++i)
        out.insert(out.end(), {0x24, 0x80});
    out.insert(out.end(), {0x04, 0x01, 'a'});
    out.insert(out.end(), 2 * levels, 0x00);
    return out;
}

struct BerStrings : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    unsigned char *pos = nullptr, *in = nullptr, *piece = nullptr;
    int32_t rem = 0, inRem = 0;
    int rc = 0;
    std::string kept;      // the decoded piece, copied before it is released
    bool tempHeld = false; // temporary memory still held after the last decode
    uint64_t area[512];    // caller's area for decoded pieces

    // The joined output of writers, or none with the return code in rc.
    template <class Body> Octets encoded(Body body) {
        _kel_freeMem(world, world->freeMem); // what a failed call left
        world->outQueueTail = &world->outQueue;
        pos = nullptr;
        rem = 0;
        uint32_t length = 0;
        unsigned char *value = nullptr;
        if ((rc = in_frame(world, kel::kPhaseEncoder, body)) == 0)
            _kel_set_outmem_d(world, static_cast<uint32_t>(rem), &length, &value);
        Octets out(value, value + length);
        kelFreeBuf(world, value);
        return out;
    }
    template <class Body> int code(Body body) { return encoded(body), rc; }
    // Reads the header of the TLV `input` and hands its length to `body`;
    // answers the failure's message number, 0 for success.  Pieces come from
    // library memory or, with `caller`, from the caller's area.
    int decode(const Octets &input, const Decoder &body, int32_t *result = nullptr, bool caller = false) {
        Octets copy(input);
        in = copy.data();
        inRem = static_cast<int32_t>(copy.size());
        world->userBuffer = caller;
        world->outPos = reinterpret_cast<unsigned char *>(area);
        world->outRemaining = sizeof area;
        world->ext->constructedDepth = 0;
        piece = nullptr;
        kept.clear();
        int32_t value = 0;
        const int code = in_frame(world, kel::kPhaseDecoder, [&] {
            value = body(_kel_dec_tag_length(world, &in, &inRem, copy[0] & 0xDF));
            EXPECT_EQ(inRem, 0) << "all input taken";
        });
        if (result)
            *result = value;
        tempHeld = world->tempList != nullptr;
        _kel_freetempMem(world);
        if (!caller)
            _kel_freeMem(world, world->freeMem);
        world->userBuffer = 0;
        return code ? std::atoi(world->errMsg + 1) : 0;
    }
    int decode(const char *input, const Decoder &body, int32_t *result = nullptr, bool caller = false) {
        return decode(hex(input), body, result, caller);
    }
    // Keeps the `n` units of `width` octets at `piece`; answers n.
    int32_t keep(int32_t n, int width = 1) {
        if (piece)
            kept.assign(reinterpret_cast<const char *>(piece), static_cast<size_t>(n * width));
        return n;
    }
    Decoder ustr(int32_t limit) {
        return [this, limit](int32_t l) { return keep(_kel_dec_ustr_ia(world, &in, &inRem, l, &piece, limit)); };
    }
};

// Printed message numbers, as the table rows give them.
constexpr int kFirstOctetNotZero = 36, kSizeViolated = 63, kBitsTooLong = 80, kSizeExceeded = 16,
              kBadUnit = 119, kLengthTooLong = 26, kInconsistent = 31, kTagMismatch = 33, kUnusedRange = 35,
              kIndefinitePrimitive = 51, kWidth = 136, kNesting = 184, kEndOfInput = 81, kMisencoded = 37;

TEST_F(BerStrings, OctetStringsPrimitiveAndConstructed) {
    const char *abc3 = "2480 040161 040162 040163 0000";
    struct Case { const char *input; int32_t limit; int message; std::string value; } cases[] = {
        {"0403616263", 0, 0, "abc"}, {abc3, 0, 0, "abc"}, {"2409 2480 040161 0000 0400", 0, 0, "a"},
        {"2405 040161 0400", 0, 0, "a"}, {abc3, 3, 0, "abc"}, {abc3, 2, kSizeViolated, ""}, {abc3, -2, 0, "ab"},
        {"0403616263", -1, 0, "a"}, {"2480 030100 0000", 0, kTagMismatch, ""}, {"2480 440161 0000", 0, kTagMismatch, ""},
        {"2403 04026162", 0, kInconsistent, ""}, {"2480 040561", 0, kEndOfInput, ""}, {"2480 040161", 0, kEndOfInput, ""},
        {"2480 0480 0000", 0, kIndefinitePrimitive, ""}, {"0480 0000", 0, kIndefinitePrimitive, ""},
        {"2480 04850100000000", 0, kLengthTooLong, ""}, {"2480 1F818001", 0, 19, ""},
    };
    for (const Case &c : cases) {
        unsigned char array[16] = {};
        int32_t n = -1;
        EXPECT_EQ(decode(c.input, [&](int32_t l) { return _kel_dec_voct_ia(world, &in, &inRem, l, array, c.limit); }, &n),
                  c.message) << world->errMsg;
        if (c.message == 0) {
            EXPECT_EQ(std::string(reinterpret_cast<char *>(array), n), c.value);
        }
    }
}

TEST_F(BerStrings, NestingLimitAndFragmentGrowth) {
    kelSetConstructedNestingLimit(world, 10); // kelinit's default
    EXPECT_EQ(decode(nested(10), ustr(0)), 0);
    EXPECT_EQ(decode(nested(11), ustr(0)), kNesting);
    EXPECT_EQ(world->errorCode, 108);
    kelSetConstructedNestingLimit(world, 0);
    EXPECT_EQ(decode(nested(40), ustr(0)), 0);
    EXPECT_EQ(kept, "a");

    // Twenty segments: the fragment array moves to temporary memory twice
    // and the value still comes back in one piece, in both memory modes.
    Octets many = {0x24, 0x80};
    std::string expected;
    for (int i = 0; i < 20; ++i) {
        many.insert(many.end(), {0x04, 0x02, uint8_t('a' + i), uint8_t('A' + i)});
        expected += {char('a' + i), char('A' + i)};
    }
    many.insert(many.end(), {0, 0});
    for (bool caller : {false, true}) {
        EXPECT_EQ(decode(many, ustr(0), nullptr, caller), 0);
        EXPECT_EQ(kept, expected);
        EXPECT_FALSE(tempHeld) << "fragment array given back";
    }
}

TEST_F(BerStrings, SizeRulesOfTheForms) {
    const char *abc = "0403616263";
    unsigned char array[8];
    struct Case { const char *what; Decoder decoder; int message; } cases[] = {
        {"ustr bound", ustr(2), kSizeExceeded},
        {"ustr hard bound", ustr(-2), kLengthTooLong},
        {"vstr_ptr bound", [&](int32_t l) { return _kel_dec_vstr_ptr_ia(world, &in, &inRem, l, &piece, 4, 2); }, kSizeViolated},
        {"fixed size", [&](int32_t l) { return _kel_dec_fixed_oct(world, &in, &inRem, l, array, 4); }, kSizeViolated},
        {"nstr room", [&](int32_t l) { return _kel_dec_nstr(world, &in, &inRem, l, array, 2); }, kSizeViolated},
        {"pstr room", [&](int32_t l) { return _kel_dec_pstr(world, &in, &inRem, l, array, 2); }, kSizeExceeded},
        {"bmp bound", [&](int32_t l) { return _kel_dec_bmpstr_ia(world, &in, &inRem, l, reinterpret_cast<uint16_t **>(&piece), 1); },
         kWidth},
    };
    for (const Case &c : cases)
        EXPECT_EQ(decode(abc, c.decoder), c.message) << c.what;

    world->decodingFlags = NOCONSTRAIN;
    EXPECT_EQ(decode(abc, ustr(2)), 0);
    EXPECT_EQ(kept, "abc");
    world->decodingFlags = 0;

    EXPECT_EQ(decode("04026162", [&](int32_t l) { return _kel_dec_pstr(world, &in, &inRem, l, array, 4); }), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(array), 4), "ab  ");
    EXPECT_EQ(decode(abc, [&](int32_t l) { return _kel_dec_nstr(world, &in, &inRem, l, array, 3); }), 0);
    EXPECT_STREQ(reinterpret_cast<char *>(array), "abc");
    // The pointer form sizes its piece by the bound, the header first.
    EXPECT_EQ(decode(abc, [&](int32_t l) {
                  const int32_t got = _kel_dec_voct_ptr_ia(world, &in, &inRem, l, &piece, 4, 6);
                  piece += 4;
                  return keep(got);
              }, nullptr, true), 0);
    EXPECT_EQ(kept, "abc");
    EXPECT_EQ(world->outPos, reinterpret_cast<unsigned char *>(area) + 16) << "4 + 6 octets, rounded to 8";
    EXPECT_EQ(decode("0400", ustr(0)), 0);
    EXPECT_EQ(piece, nullptr) << "an empty value takes no memory";
}

TEST_F(BerStrings, BitStrings) {
    struct Case { const char *input; int32_t limit, flags; int message; int32_t count; Octets value; } cases[] = {
        {"030100", 0, 0, 0, 0, {}}, {"030105", 0, 0, kFirstOctetNotZero, 0, {}}, {"030208FF", 0, 0, kUnusedRange, 0, {}},
        {"0300", 0, 0, kMisencoded, 0, {}}, {"030204FF", 0, 0, 0, 4, {0xF0}},
        {"2380 030200AA 0300 030204F0 0000", 0, 0, 0, 12, {0xAA, 0xF0}},
        {"2380 030204A0 030200F0 0000", 0, 0, kFirstOctetNotZero, 0, {}}, {"2380 040200AA 0000", 0, 0, kTagMismatch, 0, {}},
        {"030306A000", 3, KEL_BITS_NAMED, 0, 3, {0xA0}}, {"030306A000", 3, 0, kSizeViolated, 0, {}},
        {"030306A040", 3, KEL_BITS_NAMED, kSizeViolated, 0, {}}, {"030306A040", -9, 0, kLengthTooLong, 0, {}},
    };
    for (const Case &c : cases) {
        int32_t n = -1;
        auto ubit = [&](int32_t l) { return _kel_dec_ubit_ia(world, &in, &inRem, l, &piece, c.limit, c.flags); };
        EXPECT_EQ(decode(c.input, ubit, &n, true), c.message) << world->errMsg;
        if (c.message == 0) {
            EXPECT_EQ(n, c.count);
            EXPECT_EQ(Octets(piece, piece + (n + 7) / 8), c.value);
        }
    }

    // A padded field of 10 bits: with named bits surplus zero octets pass.
    uint16_t field = 0;
    struct Padded { const char *input; int8_t named; int message; uint16_t field; } padded[] = {
        {"030400A00000", 1, 0, 0xA000}, {"030400A00001", 1, kBitsTooLong, 0},
        {"030400A00000", 0, kSizeExceeded, 0}, {"030205E0", 0, 0, 0xE000},
    };
    for (const Padded &c : padded) {
        EXPECT_EQ(decode(c.input, [&](int32_t l) { _kel_dec_pbit(world, &in, &inRem, l, &field, 10, c.named); return 0; }),
                  c.message);
        if (c.message == 0) {
            EXPECT_EQ(field, c.field);
        }
    }

    // Varying bit strings count their room in octets; the _nz form cuts.
    unsigned char room[2];
    const char *seventeen = "030400FFFF80";
    EXPECT_EQ(decode(seventeen, [&](int32_t l) { return _kel_dec_vbit_ia(world, &in, &inRem, l, room, 2); }), kSizeExceeded);
    int32_t n = 0;
    EXPECT_EQ(decode(seventeen, [&](int32_t l) { return _kel_dec_vbit_nz(world, &in, &inRem, l, room, -2, 0); }, &n), 0);
    EXPECT_EQ(n, 16);
}

// Units as a little-endian host holds them.
std::string host(std::initializer_list<uint32_t> units, size_t width) {
    std::string out;
    for (uint32_t u : units)
        out.append(reinterpret_cast<const char *>(&u), width);
    return out;
}

TEST_F(BerStrings, WideAndUtf8Characters) {
    auto bmp = [&](int32_t l) { return keep(_kel_dec_bmpstr_ia(world, &in, &inRem, l, reinterpret_cast<uint16_t **>(&piece), 0), 2); };
    auto utf8uni = [&](int32_t l) {
        return keep(_kel_dec_utf8unistr_ia(world, &in, &inRem, l, reinterpret_cast<void **>(&piece), 2), 4);
    };
    EXPECT_EQ(decode("1E04004803A9", bmp), 0);
    EXPECT_EQ(kept, host({0x48, 0x3A9}, 2));
    EXPECT_EQ(decode("3E80 040100 04034803A9 0000", bmp), 0) << "a unit split over segments";
    EXPECT_EQ(kept, host({0x48, 0x3A9}, 2));
    EXPECT_EQ(decode("1E03004800", bmp), kWidth);
    EXPECT_EQ(decode("2C80 0402F09F 04039880 78 0000", utf8uni), 0);
    EXPECT_EQ(kept, host({0x1F600, 'x'}, 4));
    EXPECT_EQ(decode("0C03616263", utf8uni), kSizeExceeded);

    // Encoders: big-endian units, UTF-8 from units, last unit first.
    const uint16_t bmpText[] = {0x48, 0x3A9}, latin[] = {'h', 0xE9, 0x65E5}, surrogate[] = {'a', 0xD800};
    const uint32_t uniText[] = {0x1F600};
    EXPECT_EQ(encoded([&] { _kel_encd_bmpstr_ia(world, &pos, &rem, bmpText, 2, 0); }), (Octets{0, 0x48, 0x03, 0xA9}));
    EXPECT_EQ(encoded([&] { _kel_encd_unistr_ia(world, &pos, &rem, uniText, 1, 0); }), (Octets{0, 1, 0xF6, 0}));
    EXPECT_EQ(encoded([&] { _kel_encd_utf8bmpstr_ia(world, &pos, &rem, latin, 3, 0); }),
              (Octets{'h', 0xC3, 0xA9, 0xE6, 0x97, 0xA5}));
    EXPECT_EQ(code([&] { _kel_encd_utf8bmpstr_ia(world, &pos, &rem, surrogate, 2, 0); }), 5);
    EXPECT_EQ(std::atoi(world->errMsg + 1), kBadUnit);
    const unsigned char accents[] = {0xC3, 0xA9, 0xC3, 0xA9, 0xC3, 0xA9};
    EXPECT_EQ(encoded([&] { _kel_encd_utf8unbound_ia(world, &pos, &rem, accents, 6, 3); }).size(), 6u);
    EXPECT_NE(code([&] { _kel_encd_utf8unbound_ia(world, &pos, &rem, accents, 6, 2); }), 0);

    // A long BMP text over block ends that split units comes out whole.
    std::vector<uint16_t> longText(1500);
    Octets expected;
    for (size_t i = 0; i < longText.size(); ++i) {
        longText[i] = static_cast<uint16_t>(0x100 + i);
        expected.insert(expected.end(), {uint8_t(longText[i] >> 8), uint8_t(longText[i])});
    }
    expected.push_back(0x55);
    EXPECT_EQ(encoded([&] {
                  _kel_write_byte_d(world, &pos, &rem, 0x55);
                  _kel_encd_bmpstr_ia(world, &pos, &rem, longText.data(), 1500, 0);
              }),
              expected);
}

TEST_F(BerStrings, StringAndBitEncoders) {
    const unsigned char padded[] = {'a', 'b', ' ', ' '}, bits[] = {0xA0, 0x00};
    const uint16_t field = 0xA000; // 10-bit field: bits 0 and 2 set
    EXPECT_EQ(encoded([&] { _kel_encd_pstr(world, &pos, &rem, padded, 4); }), (Octets{'a', 'b'}));
    EXPECT_EQ(encoded([&] { _kel_encd_pbit(world, &pos, &rem, &field, 10); }), (Octets{0x05, 0xA0}));
    EXPECT_EQ(encoded([&] { _kel_encd9_pbit(world, &pos, &rem, &field, 10); }), (Octets{0x00, 0xA0}));
    EXPECT_EQ(encoded([&] { _kel_encb_pbit(world, &pos, &rem, &field, 10); }), (Octets{0x06, 0xA0, 0x00}));
    EXPECT_EQ(encoded([&] { _kel_encd_pbit_tl(world, &pos, &rem, 0xA000, 10, 0x83); }), (Octets{0x83, 0x02, 0x05, 0xA0}));
    EXPECT_EQ(encoded([&] { _kel_encb_pbit_tl(world, &pos, &rem, 0x01, 8, 0x03); }), (Octets{0x03, 0x02, 0x00, 0x01}));
    EXPECT_EQ(encoded([&] { _kel_encd_pbit_tl(world, &pos, &rem, 0, 8, 0x03); }), (Octets{0x03, 0x01, 0x00}));
    EXPECT_EQ(encoded([&] { _kel_encd_dubit_ia(world, &pos, &rem, bits, 10, 0, 1); }), (Octets{0x06, 0xA0, 0x00}))
        << "BER keeps the trailing zeros";
    world->encRules = KEL_DER;
    EXPECT_EQ(encoded([&] { _kel_encd_dubit_ia(world, &pos, &rem, bits, 10, 0, 1); }), (Octets{0x05, 0xA0}));
    world->encRules = KEL_BER;

    // Bounds: unbounded forms yield to NOCONSTRAIN, inline forms never.
    EXPECT_EQ(code([&] { _kel_encd_ubit_ia(world, &pos, &rem, bits, 10, 8); }), 16);
    EXPECT_EQ(code([&] { _kel_encd_vbit_ia(world, &pos, &rem, bits, 10, 1); }), 16);
    EXPECT_EQ(code([&] { _kel_encd_nstr(world, &pos, &rem, "abc", 2); }), 16);
    world->encodingFlags = NOCONSTRAIN;
    EXPECT_EQ(code([&] { _kel_encd_uoct_ia(world, &pos, &rem, (void *)"abc", 3, 2); }), 0);
    EXPECT_EQ(code([&] { _kel_encd_voct_ia(world, &pos, &rem, (void *)"abc", 3, 2); }), 16);
    world->encodingFlags = 0;

    // A caller's buffer too small for the string: message 1, nothing below it.
    unsigned char buffer[8] = {};
    world->userBuffer = 1;
    pos = buffer + 4;
    rem = 4;
    EXPECT_EQ(in_frame(world, kel::kPhaseEncoder, [&] { _kel_encd_uoct_ia(world, &pos, &rem, (void *)"abcdef", 6, 0); }), 1);
    world->userBuffer = 0;
}

TEST(BerStringsLnchk, TrimsTrailingZerosWithinTheBounds) {
    const unsigned char bits[] = {0xA0, 0x00}; // bits 0 and 2 set
    // Trimmed to the last one bit, not below the lower bound, a short value
    // grown to it, flag 2 counting low one more; with no upper bound high
    // becomes low, and the trimmed 3 exceeds 2.
    struct Case { uint64_t length; uint32_t flags; uint64_t low, high; int answer; uint64_t result; } cases[] = {
        {16, 1, 0, 16, 1, 3}, {16, 1, 5, 16, 1, 5}, {2, 1, 5, 16, 1, 5}, {16, 1 | 2, 5, 16, 1, 6},
        {16, 16 | 1, 0, 16, 1, 16}, {16, 0, 2, 0, 0, 16}, {16, 8, 0, 2, 0, 16},
    };
    for (const Case &c : cases) {
        uint64_t length = c.length;
        EXPECT_EQ(_kel_lnchk(bits, &length, c.flags, c.low, c.high), c.answer);
        EXPECT_EQ(length, c.result);
    }
}

// Failed decodes through a code file, with a counting allocator: every piece
// and every temporary block is given back, whatever the failure.
TEST(BerStringsCodefile, FailuresLeaveNothingAllocated) {
    KelGlobal world{};
    kel_test::CountingAllocator::install(&world);
    ASSERT_EQ(kelinit(&world, const_cast<KelControlTable *>(&kel_typeszoo_codefile.control)), 0);
    const long baseline = kel_test::CountingAllocator::live;
    auto decode = [&](const char *type, Octets in) {
        KelBuf buf{static_cast<uint32_t>(in.size()), in.data()};
        int pdu = kel_codefile_pdu(&kel_typeszoo_codefile, type);
        void *value = nullptr;
        const int code = kelDecode(&world, &pdu, &buf, &value);
        if (code == 0)
            kelFreePDU(&world, pdu, value);
        EXPECT_EQ(kel_test::CountingAllocator::live, baseline) << type << ": " << world.errMsg;
        return code;
    };
    // Twelve segments move the fragment array before each failure.
    Octets many = {0x24, 0x80};
    for (int i = 0; i < 12; ++i)
        many.insert(many.end(), {0x04, 0x01, uint8_t('a' + i)});
    const struct { const char *type; uint8_t tag; /* constructed identifier */ } types[] = {{"Octets", 0x24}, {"Utf8", 0x2C}, {"Bmp", 0x3E}, {"Ia5Size", 0x36}};
    for (const auto &[type, tag] : types)
        for (const char *tail : {"0301000000", "040578", ""}) { // wrong tag, beyond the input, no end
            Octets input(many);
            const Octets rest = hex(tail);
            input.insert(input.end(), rest.begin(), rest.end());
            input[0] = tag;
            EXPECT_NE(decode(type, input), 0) << type << " " << tail;
        }
    // Without a limit, levels beyond the walk's inline room go to temporary
    // chunks; an unclosed tree gives them back too.
    kelSetConstructedNestingLimit(&world, 0);
    const Octets deep = nested(3000);
    EXPECT_EQ(decode("Octets", deep), 0) << world.errMsg;
    EXPECT_EQ(decode("Octets", Octets(deep.begin(), deep.end() - 6000)), 4) << world.errMsg;
    kelterm(&world);
}

} // namespace
