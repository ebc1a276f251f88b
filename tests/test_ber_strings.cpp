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

#include "codefiles.h"
#include "counting_alloc.h"
#include "fail_each.h"
#include "harness.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

using kel_test::in_frame;
using Octets = std::vector<uint8_t>;
using Decoder = std::function<int32_t(KelGlobal *, unsigned char **, int32_t *, int32_t)>;

auto ustr_bound(int32_t limit) {
    return [limit](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l, unsigned char **v) {
        return _kel_dec_ustr_ia(w, p, r, l, v, limit);
    };
}

Octets cat(std::initializer_list<Octets> parts) {
    Octets out;
    for (const Octets &part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

// `levels` constructed OCTET STRINGs of indefinite length around "a".
Octets nested(int levels) {
    Octets out;
    for (int i = 0; i < levels; ++i)
        out.insert(out.end(), {0x24, 0x80});
    out.insert(out.end(), {0x04, 0x01, 'a'});
    for (int i = 0; i < levels; ++i)
        out.insert(out.end(), {0x00, 0x00});
    return out;
}

struct BerStrings : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    unsigned char *pos = nullptr;
    int32_t rem = 0;
    uint64_t area[512]; // caller's area for decoded pieces

    template <class Body> Octets encoded(Body body) {
        world->outQueueTail = &world->outQueue;
        pos = nullptr;
        rem = 0;
        EXPECT_EQ(in_frame(world, kel::kPhaseEncoder, body), 0) << world->errMsg;
        uint32_t length = 0;
        unsigned char *value = nullptr;
        in_frame(world, kel::kPhaseEncoder, [&] { _kel_set_outmem_d(world, static_cast<uint32_t>(rem), &length, &value); });
        Octets out(value, value + length);
        kelFreeBuf(world, value);
        return out;
    }
    // The return code of one writer call, with the chain released.
    template <class Body> int encode_fails(Body body) {
        world->outQueueTail = &world->outQueue;
        pos = nullptr;
        rem = 0;
        const int rc = in_frame(world, kel::kPhaseEncoder, body);
        _kel_freeMem(world, world->freeMem);
        return rc;
    }

    // Reads the header of the TLV `input`, hands its length to `body` and
    // returns the failure's message number (0 for success).  Pieces come
    // from library memory or, with `caller`, from the caller's area.
    int decode(const Octets &input, const Decoder &body, int32_t *result = nullptr, bool caller = false) {
        Octets in(input);
        unsigned char *p = in.data();
        int32_t left = static_cast<int32_t>(in.size());
        world->userBuffer = caller;
        world->outPos = reinterpret_cast<unsigned char *>(area);
        world->outRemaining = sizeof area;
        world->ext->constructedDepth = 0;
        int32_t value = 0;
        lastPiece = nullptr;
        lastLength = 0;
        const int rc = in_frame(world, kel::kPhaseDecoder, [&] {
            const int32_t length = _kel_dec_tag_length(world, &p, &left, in[0] & 0xDF);
            value = body(world, &p, &left, length);
            EXPECT_EQ(left, 0) << "all input taken";
        });
        if (result)
            *result = value;
        tempHeld = world->tempList != nullptr;
        snapshot.clear();
        if (lastPiece && rc == 0)
            snapshot.assign(reinterpret_cast<const char *>(lastPiece), static_cast<size_t>(lastLength));
        _kel_freetempMem(world);
        if (!caller)
            _kel_freeMem(world, world->freeMem);
        world->userBuffer = 0;
        return rc ? message() : 0;
    }
    int message() const { return std::atoi(world->errMsg + 1); }

    // What the last decode stored, copied before the pieces are released.
    unsigned char *lastPiece = nullptr;
    int32_t lastLength = 0;
    std::string snapshot;
    bool tempHeld = false; // temporary memory still held after the last decode
    Decoder into_piece(std::function<int32_t(KelGlobal *, unsigned char **, int32_t *, int32_t, unsigned char **)> f,
                       int32_t unit = 1) {
        return [this, f, unit](KelGlobal *w, unsigned char **p, int32_t *r, int32_t length) {
            lastPiece = nullptr;
            const int32_t n = f(w, p, r, length, &lastPiece);
            lastLength = n * unit;
            return n;
        };
    }
};

// Printed message numbers, as the table rows give them.
constexpr int kFirstOctetNotZero = 36, kSizeViolated = 63, kBitsTooLong = 80, kSizeExceeded = 16,
              kBadUnit = 119, kLengthTooLong = 26, kInconsistent = 31, kTagMismatch = 33,
              kUnusedRange = 35, kIndefinitePrimitive = 51, kBadUtf8 = 120, kWidth = 136,
              kNesting = 184, kEndOfInput = 81, kSizeTooLong = 27;

TEST_F(BerStrings, OctetStringsPrimitiveAndConstructed) {
    unsigned char array[16];
    auto voct = [&](int32_t limit) {
        return Decoder([&array, limit](KelGlobal *w, unsigned char **p, int32_t *r, int32_t length) {
            return _kel_dec_voct_ia(w, p, r, length, array, limit);
        });
    };
    const Octets threeSegments = {0x24, 0x80, 0x04, 0x01, 'a', 0x04, 0x01, 'b', 0x04, 0x01, 'c', 0, 0};
    struct Case {
        Octets input;
        int32_t limit;
        int message;
        std::string value;
    } cases[] = {
        {{0x04, 0x03, 'a', 'b', 'c'}, 0, 0, "abc"}, {threeSegments, 0, 0, "abc"},
        {{0x24, 0x09, 0x24, 0x80, 0x04, 0x01, 'a', 0, 0, 0x04, 0x00}, 0, 0, "a"},
        {{0x24, 0x05, 0x04, 0x01, 'a', 0x04, 0x00}, 0, 0, "a"}, {threeSegments, 3, 0, "abc"},
        {threeSegments, 2, kSizeViolated, ""}, {threeSegments, -2, 0, "ab"},
        {{0x04, 0x03, 'a', 'b', 'c'}, -1, 0, "a"}, {{0x24, 0x80, 0x03, 0x01, 0x00, 0, 0}, 0, kTagMismatch, ""},
        {{0x24, 0x80, 0x44, 0x01, 'a', 0, 0}, 0, kTagMismatch, ""},
        {{0x24, 0x03, 0x04, 0x02, 'a', 'b'}, 0, kInconsistent, ""},
        {{0x24, 0x80, 0x04, 0x05, 'a'}, 0, kEndOfInput, ""}, {{0x24, 0x80, 0x04, 0x01, 'a'}, 0, kEndOfInput, ""},
        {{0x24, 0x80, 0x04, 0x80, 0, 0}, 0, kIndefinitePrimitive, ""},
        {{0x04, 0x80, 0, 0}, 0, kIndefinitePrimitive, ""},
        {{0x24, 0x80, 0x04, 0x85, 0x01, 0, 0, 0, 0}, 0, kLengthTooLong, ""},
        {{0x24, 0x80, 0x1F, 0x81, 0x80, 0x01}, 0, 19, ""},
    };
    for (const Case &c : cases) {
        int32_t n = -1;
        std::memset(array, 0, sizeof array);
        EXPECT_EQ(decode(c.input, voct(c.limit), &n), c.message) << world->errMsg;
        if (c.message == 0) {
            EXPECT_EQ(std::string(reinterpret_cast<char *>(array), n), c.value);
        }
    }
}

TEST_F(BerStrings, NestingLimitAndFragmentGrowth) {
    auto ustr = into_piece(ustr_bound(0));
    kelSetConstructedNestingLimit(world, 10); // kelinit's default
    EXPECT_EQ(decode(nested(10), ustr), 0);
    EXPECT_EQ(decode(nested(11), ustr), kNesting);
    EXPECT_EQ(world->errorCode, 108);
    kelSetConstructedNestingLimit(world, 0);
    EXPECT_EQ(decode(nested(40), ustr), 0);
    EXPECT_EQ(snapshot, "a");

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
        EXPECT_EQ(decode(many, ustr, nullptr, caller), 0);
        EXPECT_EQ(snapshot, expected);
        EXPECT_FALSE(tempHeld) << "fragment array given back";
    }
}

TEST_F(BerStrings, SizeRulesOfTheForms) {
    const Octets abc = {0x04, 0x03, 'a', 'b', 'c'};
    unsigned char array[8];
    struct Case {
        const char *what;
        Decoder decoder;
        int message;
    } cases[] = {
        {"ustr bound", into_piece(ustr_bound(2)), kSizeExceeded},
        {"ustr hard bound", into_piece(ustr_bound(-2)), kLengthTooLong},
        {"vstr_ptr bound", into_piece([](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l, unsigned char **v) {
             return _kel_dec_vstr_ptr_ia(w, p, r, l, v, 4, 2);
         }), kSizeViolated},
        {"fixed size", [&](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l) {
             return _kel_dec_fixed_oct(w, p, r, l, array, 4);
         }, kSizeViolated},
        {"nstr room", [&](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l) {
             return _kel_dec_nstr(w, p, r, l, array, 2);
         }, kSizeViolated},
        {"pstr room", [&](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l) {
             return _kel_dec_pstr(w, p, r, l, array, 2);
         }, kSizeExceeded},
        {"bmp bound", into_piece([](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l, unsigned char **v) {
             return _kel_dec_bmpstr_ia(w, p, r, l, reinterpret_cast<uint16_t **>(v), 1);
         }), kWidth},
    };
    for (const Case &c : cases)
        EXPECT_EQ(decode(abc, c.decoder), c.message) << c.what;

    world->decodingFlags = NOCONSTRAIN;
    EXPECT_EQ(decode(abc, into_piece(ustr_bound(2))), 0);
    EXPECT_EQ(snapshot, "abc");
    world->decodingFlags = 0;

    int32_t n = 0;
    EXPECT_EQ(decode({0x04, 0x02, 'a', 'b'}, [&](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l) {
                  return _kel_dec_pstr(w, p, r, l, array, 4);
              }, &n), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(array), 4), "ab  ");
    EXPECT_EQ(decode(abc, [&](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l) {
                  return _kel_dec_nstr(w, p, r, l, array, 3);
              }), 0);
    EXPECT_STREQ(reinterpret_cast<char *>(array), "abc");
    // The pointer form sizes its piece by the bound, the header first.
    EXPECT_EQ(decode(abc, into_piece([](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l, unsigned char **v) {
                  const int32_t got = _kel_dec_voct_ptr_ia(w, p, r, l, v, 4, 6);
                  *v += 4;
                  return got;
              }), &n, true), 0);
    EXPECT_EQ(snapshot, "abc");
    EXPECT_EQ(world->outPos, reinterpret_cast<unsigned char *>(area) + 16) << "4 + 6 octets, rounded to 8";
    EXPECT_EQ(decode({0x04, 0x00}, into_piece(ustr_bound(0))), 0);
    EXPECT_EQ(lastPiece, nullptr) << "an empty value takes no memory";
}

TEST_F(BerStrings, BitStrings) {
    unsigned char *bits = nullptr;
    auto ubit = [&](int32_t limit, int32_t flags) {
        return Decoder([&bits, limit, flags](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l) {
            return _kel_dec_ubit_ia(w, p, r, l, &bits, limit, flags);
        });
    };
    struct Case {
        Octets input;
        int32_t limit, flags;
        int message;
        int32_t count;
        Octets value;
    } cases[] = {
        {{0x03, 0x01, 0x00}, 0, 0, 0, 0, {}}, {{0x03, 0x01, 0x05}, 0, 0, kFirstOctetNotZero, 0, {}},
        {{0x03, 0x02, 0x08, 0xFF}, 0, 0, kUnusedRange, 0, {}}, {{0x03, 0x00}, 0, 0, kIndefinitePrimitive, 0, {}},
        {{0x03, 0x02, 0x04, 0xFF}, 0, 0, 0, 4, {0xF0}},
        {{0x23, 0x80, 0x03, 0x02, 0x00, 0xAA, 0x03, 0x00, 0x03, 0x02, 0x04, 0xF0, 0, 0}, 0, 0, 0, 12, {0xAA, 0xF0}},
        {{0x23, 0x80, 0x03, 0x02, 0x04, 0xA0, 0x03, 0x02, 0x00, 0xF0, 0, 0}, 0, 0, kFirstOctetNotZero, 0, {}},
        {{0x23, 0x80, 0x04, 0x02, 0x00, 0xAA, 0, 0}, 0, 0, kTagMismatch, 0, {}},
        {{0x03, 0x03, 0x06, 0xA0, 0x00}, 3, KEL_BITS_NAMED, 0, 3, {0xA0}},
        {{0x03, 0x03, 0x06, 0xA0, 0x00}, 3, 0, kSizeViolated, 0, {}},
        {{0x03, 0x03, 0x06, 0xA0, 0x40}, 3, KEL_BITS_NAMED, kSizeViolated, 0, {}},
        {{0x03, 0x03, 0x06, 0xA0, 0x40}, -9, 0, kLengthTooLong, 0, {}},
    };
    for (const Case &c : cases) {
        int32_t n = -1;
        EXPECT_EQ(decode(c.input, ubit(c.limit, c.flags), &n, true), c.message) << world->errMsg;
        if (c.message == 0) {
            EXPECT_EQ(n, c.count);
            EXPECT_EQ(Octets(bits, bits + (n + 7) / 8), c.value);
        }
    }

    // Padded field of 10 bits with named bits: surplus zero octets pass.
    uint16_t field = 0;
    auto pbit = [&](int8_t named) {
        return Decoder([&field, named](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l) {
            _kel_dec_pbit(w, p, r, l, &field, 10, named);
            return 0;
        });
    };
    EXPECT_EQ(decode({0x03, 0x04, 0x00, 0xA0, 0x00, 0x00}, pbit(1)), 0);
    EXPECT_EQ(field, 0xA000);
    EXPECT_EQ(decode({0x03, 0x04, 0x00, 0xA0, 0x00, 0x01}, pbit(1)), kBitsTooLong);
    EXPECT_EQ(decode({0x03, 0x04, 0x00, 0xA0, 0x00, 0x00}, pbit(0)), kSizeExceeded);
    EXPECT_EQ(decode({0x03, 0x02, 0x05, 0xE0}, pbit(0)), 0);
    EXPECT_EQ(field, 0xE000);

    // Varying bit strings count their room in octets; the _nz form cuts.
    unsigned char room[2];
    EXPECT_EQ(decode({0x03, 0x04, 0x00, 0xFF, 0xFF, 0x80}, [&](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l) {
                  return _kel_dec_vbit_ia(w, p, r, l, room, 2);
              }), kSizeExceeded);
    int32_t n = 0;
    EXPECT_EQ(decode({0x03, 0x04, 0x00, 0xFF, 0xFF, 0x80}, [&](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l) {
                  return _kel_dec_vbit_nz(w, p, r, l, room, -2, 0);
              }, &n), 0);
    EXPECT_EQ(n, 16);
}

TEST_F(BerStrings, WideAndUtf8Characters) {
    auto bmp = into_piece([](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l, unsigned char **v) {
        return _kel_dec_bmpstr_ia(w, p, r, l, reinterpret_cast<uint16_t **>(v), 0);
    }, 2);
    auto utf8bmp = into_piece([](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l, unsigned char **v) {
        return _kel_dec_utf8bmpstr_ia(w, p, r, l, reinterpret_cast<void **>(v), 0);
    }, 2);
    auto utf8uni = into_piece([](KelGlobal *w, unsigned char **p, int32_t *r, int32_t l, unsigned char **v) {
        return _kel_dec_utf8unistr_ia(w, p, r, l, reinterpret_cast<void **>(v), 2);
    }, 4);
    auto host = [](std::initializer_list<uint32_t> units, size_t width) {
        std::string out;
        for (uint32_t u : units)
            out.append(reinterpret_cast<const char *>(&u), width); // little-endian hosts
        return out;
    };
    EXPECT_EQ(decode({0x1E, 0x04, 0x00, 0x48, 0x03, 0xA9}, bmp), 0);
    EXPECT_EQ(snapshot, host({0x48, 0x3A9}, 2));
    EXPECT_EQ(decode({0x3E, 0x80, 0x04, 0x01, 0x00, 0x04, 0x03, 0x48, 0x03, 0xA9, 0, 0}, bmp), 0)
        << "a unit split over two segments";
    EXPECT_EQ(snapshot, host({0x48, 0x3A9}, 2));
    EXPECT_EQ(decode({0x1E, 0x03, 0x00, 0x48, 0x00}, bmp), kWidth);
    EXPECT_EQ(decode({0x0C, 0x02, 0xC0, 0x80}, utf8bmp), 0) << "overlong forms pass";
    EXPECT_EQ(snapshot, host({0}, 2));
    EXPECT_EQ(decode({0x0C, 0x01, 0xFF}, utf8bmp), kBadUtf8);
    EXPECT_EQ(decode({0x0C, 0x02, 0xC3, 0x41}, utf8bmp), kBadUtf8);
    EXPECT_EQ(decode({0x0C, 0x04, 0xF0, 0x9F, 0x98, 0x80}, utf8bmp), kSizeTooLong) << "beyond 16 bits";
    EXPECT_EQ(decode({0x2C, 0x80, 0x04, 0x02, 0xF0, 0x9F, 0x04, 0x03, 0x98, 0x80, 'x', 0, 0}, utf8uni), 0);
    EXPECT_EQ(snapshot, host({0x1F600, 'x'}, 4));
    EXPECT_EQ(decode({0x0C, 0x03, 'a', 'b', 'c'}, utf8uni), kSizeExceeded);

    // Encoders: big-endian units, UTF-8 from units, last unit first.
    const uint16_t bmpText[] = {0x48, 0x3A9};
    const uint32_t uniText[] = {0x1F600};
    const uint16_t latin[] = {'h', 0xE9, 0x65E5};
    const uint16_t surrogate[] = {'a', 0xD800};
    EXPECT_EQ(encoded([&] { _kel_encd_bmpstr_ia(world, &pos, &rem, bmpText, 2, 0); }), (Octets{0, 0x48, 0x03, 0xA9}));
    EXPECT_EQ(encoded([&] { _kel_encd_unistr_ia(world, &pos, &rem, uniText, 1, 0); }), (Octets{0, 1, 0xF6, 0}));
    EXPECT_EQ(encoded([&] { _kel_encd_utf8bmpstr_ia(world, &pos, &rem, latin, 3, 0); }),
              (Octets{'h', 0xC3, 0xA9, 0xE6, 0x97, 0xA5}));
    EXPECT_EQ(encode_fails([&] { _kel_encd_utf8bmpstr_ia(world, &pos, &rem, surrogate, 2, 0); }), 5);
    EXPECT_EQ(std::atoi(world->errMsg + 1), kBadUnit);
    const unsigned char accents[] = {0xC3, 0xA9, 0xC3, 0xA9, 0xC3, 0xA9};
    EXPECT_EQ(encoded([&] { _kel_encd_utf8unbound_ia(world, &pos, &rem, accents, 6, 3); }).size(), 6u);
    EXPECT_NE(encode_fails([&] { _kel_encd_utf8unbound_ia(world, &pos, &rem, accents, 6, 2); }), 0);

    // A long BMP text over block ends that split units comes out whole.
    std::vector<uint16_t> longText(1500);
    Octets expected;
    for (size_t i = 0; i < longText.size(); ++i) {
        longText[i] = static_cast<uint16_t>(0x100 + i);
        expected.insert(expected.end(), {uint8_t(longText[i] >> 8), uint8_t(longText[i])});
    }
    EXPECT_EQ(encoded([&] {
                  _kel_write_byte_d(world, &pos, &rem, 0x55);
                  _kel_encd_bmpstr_ia(world, &pos, &rem, longText.data(), 1500, 0);
              }),
              cat({expected, {0x55}}));
}

TEST_F(BerStrings, StringAndBitEncoders) {
    const unsigned char padded[] = {'a', 'b', ' ', ' '};
    const unsigned char bits[] = {0xA0, 0x00};
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
    EXPECT_EQ(encode_fails([&] { _kel_encd_ubit_ia(world, &pos, &rem, bits, 10, 8); }), 16);
    EXPECT_EQ(encode_fails([&] { _kel_encd_vbit_ia(world, &pos, &rem, bits, 10, 1); }), 16);
    EXPECT_EQ(encode_fails([&] { _kel_encd_nstr(world, &pos, &rem, "abc", 2); }), 16);
    world->encodingFlags = NOCONSTRAIN;
    EXPECT_EQ(encode_fails([&] { _kel_encd_uoct_ia(world, &pos, &rem, (void *)"abc", 3, 2); }), 0);
    EXPECT_EQ(encode_fails([&] { _kel_encd_voct_ia(world, &pos, &rem, (void *)"abc", 3, 2); }), 16);
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
    struct Case {
        uint64_t length;
        uint32_t flags;
        uint64_t low, high;
        int answer;
        uint64_t result;
    } cases[] = {
        {16, 1, 0, 16, 1, 3},     // trimmed to the last one bit
        {16, 1, 5, 16, 1, 5},     // not below the lower bound
        {2, 1, 5, 16, 1, 5},      // a short value grows to the lower bound
        {16, 1 | 2, 5, 16, 1, 6}, // low counts one more
        {16, 16 | 1, 0, 16, 1, 16},
        {16, 0, 2, 0, 0, 16}, // no upper bound: high becomes low, trimmed 3 > 2
        {16, 8, 0, 2, 0, 16},
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
    Octets many = {0x24, 0x80};
    for (int i = 0; i < 12; ++i)
        many.insert(many.end(), {0x04, 0x01, uint8_t('a' + i)});
    const Octets bad[] = {
        cat({many, {0x03, 0x01, 0x00, 0x00, 0x00}}), // wrong segment tag after the array moved
        cat({many, {0x04, 0x05, 'x'}}),              // segment beyond the input
        many,                                        // no end-of-contents
        nested(11),
    };
    const struct {
        const char *type;
        uint8_t tag; // constructed identifier octet
    } types[] = {{"Octets", 0x24}, {"Utf8", 0x2C}, {"Bmp", 0x3E}, {"Ia5Size", 0x36}};
    for (const auto &[type, tag] : types) {
        for (const Octets &input : bad) {
            Octets in(input);
            in[0] = tag;
            KelBuf buf{static_cast<uint32_t>(in.size()), in.data()};
            int pdu = kel_codefile_pdu(&kel_typeszoo_codefile, type);
            void *value = nullptr;
            EXPECT_NE(kelDecode(&world, &pdu, &buf, &value), 0) << type;
            EXPECT_EQ(kel_test::CountingAllocator::live, baseline) << type << ": " << world.errMsg;
        }
    }
    // Without a limit, levels beyond the walk's inline room go to temporary
    // chunks; an unclosed tree gives them back too.
    kelSetConstructedNestingLimit(&world, 0);
    Octets deep = nested(3000);
    for (size_t cut : {size_t{0}, size_t{3000 * 2}}) {
        Octets in(deep.begin(), deep.end() - static_cast<long>(cut));
        KelBuf buf{static_cast<uint32_t>(in.size()), in.data()};
        int pdu = kel_codefile_pdu(&kel_typeszoo_codefile, "Octets");
        void *value = nullptr;
        const int code = kelDecode(&world, &pdu, &buf, &value);
        EXPECT_EQ(code, cut ? 4 : 0) << world.errMsg;
        if (code == 0)
            kelFreePDU(&world, pdu, value);
        EXPECT_EQ(kel_test::CountingAllocator::live, baseline);
    }
    kelSetConstructedNestingLimit(&world, 10);

    // Every allocation failing in turn, on a value that moves its array.
    Octets good = cat({many, {0x00, 0x00}});
    kel_test::fail_each_allocation(&world, [&] {
        KelBuf buf{static_cast<uint32_t>(good.size()), good.data()};
        int pdu = kel_codefile_pdu(&kel_typeszoo_codefile, "Octets");
        void *value = nullptr;
        const int code = kelDecode(&world, &pdu, &buf, &value);
        if (code == 0)
            kelFreePDU(&world, pdu, value);
        return code;
    });
    kelterm(&world);
}

} // namespace
