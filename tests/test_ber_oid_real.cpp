// Tests of BER OBJECT IDENTIFIER and REAL: every memory form against known
// octets, the arc and REAL rules that refuse values, decoding of every base
// and decimal form, and that failed decodes leave no memory behind.
#include <cfloat>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "counting_alloc.h"
#include "harness.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

using kel_test::CountingAllocator;
using Octets = std::vector<uint8_t>;
using Arcs = std::vector<uint32_t>;

struct BerValues : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    unsigned char *pos = nullptr, *in = nullptr;
    int32_t rem = 0, inRem = 0;
    int rc = 0;
    long liveAtStart = 0;

    void SetUp() override {
        CountingAllocator::install(world);
        CountingAllocator::reset();
        liveAtStart = CountingAllocator::live;
    }
    void TearDown() override { release(); }
    long live() const { return CountingAllocator::live - liveAtStart; }
    void release() {
        _kel_freeMem(world, world->freeMem);
        _kel_freetempMem(world);
    }
    // Runs writers into library memory: the joined octets, or none with the
    // return code in rc.
    template <class Body> Octets encoded(Body body) {
        release();
        world->ext->encStackFirst = {};
        world->ext->encStackFirst.count = 1;
        world->ext->encStack = &world->ext->encStackFirst;
        pos = nullptr;
        rem = 0;
        uint32_t length = 0;
        unsigned char *value = nullptr;
        if ((rc = kel_test::in_frame(world, kel::kPhaseEncoder, body)) == 0)
            _kel_set_outmem_d(world, static_cast<uint32_t>(rem), &length, &value);
        Octets out(value, value + length);
        kelFreeBuf(world, value);
        return out;
    }
    // Runs a decoder on all of `input`, which is exactly sized so that an
    // overread shows under the sanitizer.  Decoded items stay until release().
    template <class Body> int decode(const Octets &input, Body body) {
        world->outQueueTail = &world->outQueue;
        in = const_cast<uint8_t *>(input.data());
        inRem = static_cast<int32_t>(input.size());
        return rc = kel_test::in_frame(world, kel::kPhaseDecoder, [&] { body(static_cast<int32_t>(input.size())); });
    }
    bool message_is(const char *number) const { return std::strncmp(world->errMsg + 1, number, 5) == 0; }
};

// ---------------------------------------------------------------------------
// Object identifiers

struct NodeAt { NodeAt *next; uint64_t other; uint32_t value; };

// Encodes arcs through one memory form (up to 16 arcs).
using OidWriter = int (*)(KelGlobal *, unsigned char **, int32_t *, const Arcs &, int32_t limit);
template <class Node, class Write> int linked(const Arcs &a, Write write) {
    Node nodes[16] = {};
    for (size_t i = 0; i < a.size(); ++i) {
        nodes[i].next = i + 1 < a.size() ? &nodes[i + 1] : nullptr;
        nodes[i].value = static_cast<decltype(nodes[i].value)>(a[i]);
    }
    return write(a.empty() ? nullptr : nodes);
}
const OidWriter kOidWriters[] = {
    [](KelGlobal *w, unsigned char **p, int32_t *r, const Arcs &a, int32_t limit) {
        alignas(4) uint16_t record[2 + 2 * 16] = {static_cast<uint16_t>(a.size())};
        std::memcpy(record + 2, a.data(), a.size() * 4);
        return _kel_encd_aiobjid(w, p, r, record, static_cast<int16_t>(limit));
    },
    [](KelGlobal *w, unsigned char **p, int32_t *r, const Arcs &a, int32_t limit) {
        int16_t record[17] = {static_cast<int16_t>(a.size())};
        for (size_t i = 0; i < a.size(); ++i)
            record[i + 1] = static_cast<int16_t>(a[i]);
        return _kel_encd_asobjid(w, p, r, record, static_cast<int16_t>(limit));
    },
    [](KelGlobal *w, unsigned char **p, int32_t *r, const Arcs &a, int32_t limit) {
        return linked<KelOidLink>(a, [&](void *first) { return _kel_encd_liobjid(w, p, r, first, limit); });
    },
    [](KelGlobal *w, unsigned char **p, int32_t *r, const Arcs &a, int32_t limit) {
        return linked<NodeAt>(a, [&](void *first) { return _kel_encd_llobjid_ia(w, p, r, first, limit, offsetof(NodeAt, value)); });
    },
};

TEST_F(BerValues, OidEncodersOfEveryForm) {
    struct Case { Arcs arcs; int32_t limit; Octets contents; int code; const char *message; }; // contents {}: refused
    const Case kCases[] = {
        {{2, 999, 3}, 3, {0x88, 0x37, 0x03}, 0, ""}, {{1, 2, 840, 10045}, 0, {0x2A, 0x86, 0x48, 0xCE, 0x3D}, 0, ""},
        {{0, 0, 26}, 0, {0x00, 0x1A}, 0, ""}, {{1, 40}, 0, {}, 10, "Bad OBJECT IDENTIFIER: 1"},
        {{3, 1}, 0, {}, 10, "Bad OBJECT IDENTIFIER: 0"}, {{0, 0, 27}, 0, {}, 10, "Bad OBJECT IDENTIFIER: 2"},
        {{1}, 0, {}, 10, "Bad OBJECT IDENTIFIER: 1"}, {{1, 2, 3}, 2, {}, 16, "length of value = 3"},
    };
    for (const Case &c : kCases)
        for (OidWriter writer : kOidWriters) {
            EXPECT_EQ(encoded([&] { EXPECT_EQ(writer(world, &pos, &rem, c.arcs, c.limit), static_cast<int>(c.contents.size())); }),
                      c.contents);
            EXPECT_EQ(rc, c.code);
            EXPECT_NE(std::strstr(world->errMsg, c.message), nullptr) << world->errMsg;
        }

    // 32-bit arcs over several stores of the writer's stack array.
    Arcs wide = {2, 0xFFFFFFAF};
    Octets wideOctets = {0x8F, 0xFF, 0xFF, 0xFF, 0x7F};
    for (int i = 0; i < 100; ++i) {
        wide.push_back(0xFFFFFFFF);
        wideOctets.insert(wideOctets.end(), {0x8F, 0xFF, 0xFF, 0xFF, 0x7F});
    }
    EXPECT_EQ(encoded([&] { _kel_encd_uiobjid_ia(world, &pos, &rem, wide.data(), static_cast<uint32_t>(wide.size()), 0); }), wideOctets);
    wide[1] = 0xFFFFFFB0;
    encoded([&] { _kel_encd_uiobjid_ia(world, &pos, &rem, wide.data(), 2, 0); });
    EXPECT_NE(std::strstr(world->errMsg, "Bad OBJECT IDENTIFIER: 3"), nullptr) << world->errMsg;
    encoded([&] { _kel_encd_liobjid(world, &pos, &rem, nullptr, 0); });
    EXPECT_EQ(rc, 11);
    EXPECT_EQ(encoded([&] { _kel_encd_ereloid_ia(world, &pos, &rem, "\x88\x37", 2, -1); }), (Octets{0x88, 0x37}));
    encoded([&] { _kel_encd_eobjid_ia(world, &pos, &rem, "abc", 3, 2); });
    EXPECT_EQ(rc, 16);
}

TEST_F(BerValues, OidDecoders) {
    const Octets input = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x88, 0x37};
    const Arcs arcs = {1, 2, 840, 113549, 1079};
    uint32_t a32[300] = {};
    void *p = nullptr;
    EXPECT_EQ(decode(input, [&](int32_t n) { EXPECT_EQ(_kel_dec_aiobjid_ia(world, &in, &inRem, n, a32, 5), 5); }), 0);
    EXPECT_EQ(Arcs(a32, a32 + 5), arcs);
    EXPECT_EQ(inRem, 0);
    EXPECT_EQ(decode(input, [&](int32_t n) { p = _kel_dec_alobjid_ptr_ia(world, &in, &inRem, n, 0, 8); }), 0);
    EXPECT_EQ(*reinterpret_cast<uint16_t *>(static_cast<char *>(p) + 8), 5);
    EXPECT_EQ(std::memcmp(static_cast<char *>(p) + 12, arcs.data(), 20), 0);
    EXPECT_EQ(decode(input, [&](int32_t n) { EXPECT_EQ(_kel_dec_liobjid(world, &in, &inRem, n, &p, 0), 5); }), 0);
    Arcs got;
    for (auto *node = static_cast<KelOidLink *>(p); node; node = node->next)
        got.push_back(node->value);
    EXPECT_EQ(got, arcs);
    EXPECT_EQ(decode(input, [&](int32_t n) { p = _kel_dec_llobjid_ia(world, &in, &inRem, n, sizeof(NodeAt), offsetof(NodeAt, value)); }), 0);
    EXPECT_EQ(static_cast<NodeAt *>(p)->next->next->value, 840u);
    EXPECT_EQ(decode(input, [&](int32_t n) { _kel_dec_asobjid_ia(world, &in, &inRem, n, a32, 0); }), 10) << "113549 needs 17 bits";
    EXPECT_EQ(decode({0x2A, 0x86, 0x48, 0x83, 0xFF, 0x7F}, [&](int32_t n) { _kel_dec_usobjid_ia(world, &in, &inRem, n, &p, 0); }), 0);
    EXPECT_EQ(static_cast<uint16_t *>(p)[3], 0xFFFF);

    // Encoded form: a bounded copy, an allocation.
    EXPECT_EQ(decode(input, [&](int32_t n) { EXPECT_EQ(_kel_dec_eobjid_ia(world, &in, &inRem, n, a32, 8), 8); }), 0);
    EXPECT_EQ(std::memcmp(a32, input.data(), 8), 0);
    EXPECT_EQ(decode(input, [&](int32_t n) { _kel_dec_ereloid_ia(world, &in, &inRem, n, &p, -1); }), 0);
    EXPECT_EQ(std::memcmp(p, input.data(), 8), 0);
    release();
    EXPECT_EQ(live(), 0);

    struct Bad { Octets contents; int16_t limit; int code; const char *message; };
    const Bad kBad[] = {
        // Too many arcs, none, an arc over 32 bits, over the limit; a leading
        // 0x80 octet is tolerated.
        {Octets(226, 0x01), 0, 10, "0015E"}, {{}, 0, 5, "0037E"}, {{0x2A, 0x90, 0x80, 0x80, 0x80, 0x00}, 0, 10, "0025E"},
        {{0x2A, 0x01, 0x02}, 3, 16, "0016S"}, {{0x80, 0x2A}, 0, 0, ""}, {Octets(225, 0x01), 0, 0, ""},
    };
    for (const Bad &b : kBad) {
        EXPECT_EQ(decode(b.contents, [&](int32_t n) { _kel_dec_aiobjid_ia(world, &in, &inRem, n, a32, b.limit); }), b.code);
        EXPECT_TRUE(b.code == 0 || message_is(b.message)) << world->errMsg;
    }
    const Octets one = {0x2A};
    EXPECT_EQ(decode(one, [&](int32_t) { _kel_dec_aiobjid_ia(world, &in, &inRem, 2, a32, 0); }), 4);
    EXPECT_EQ(decode(one, [&](int32_t) { _kel_dec_eobjid_ia(world, &in, &inRem, -1, a32, 0); }), 5);
    EXPECT_EQ(decode(input, [&](int32_t n) { _kel_dec_eobjid_ia(world, &in, &inRem, n, a32, 7); }), 16);
    EXPECT_EQ(decode({0x86, 0x48}, [&](int32_t) { EXPECT_EQ(_kel_get_isubid(world, &in, &inRem), 840u); }), 0);
    EXPECT_EQ(decode({0x86}, [&](int32_t) { _kel_get_ssubid(world, &in, &inRem); }), 4);

    // Linked nodes of 71 arcs overflow a caller's area of 64 octets.
    Octets many = {0x2A};
    for (int i = 0; i < 70; ++i)
        many.push_back(static_cast<uint8_t>(i));
    alignas(8) unsigned char area[64];
    world->userBuffer = 1;
    world->outPos = area;
    world->outRemaining = sizeof area;
    EXPECT_EQ(decode(many, [&](int32_t n) { _kel_dec_liobjid(world, &in, &inRem, n, &p, 0); }), 1);
    world->userBuffer = 0;
}

// ---------------------------------------------------------------------------
// REAL

TEST_F(BerValues, RealEncoder) {
    struct Case { double value; Octets contents; };
    const Case kCases[] = {
        {1.0, {0x80, 0x00, 0x01}}, {0.0, {}}, {-0.0, {0x43}}, {NAN, {0x42}}, {INFINITY, {0x40}}, {-DBL_MAX, {0x41}},
        {-2.5, {0xC0, 0xFF, 0x05}}, {std::ldexp(3.0, 40), {0x80, 0x28, 0x03}},
        {std::ldexp(1.0, 200), {0x81, 0x00, 0xC8, 0x01}}, {DBL_MIN / 4, {0x81, 0xFC, 0x00, 0x01}},
    };
    for (const Case &c : kCases)
        EXPECT_EQ(encoded([&] { _kel_encd_real(world, &pos, &rem, c.value); }), c.contents) << c.value;

    std::mt19937_64 rng(11); // any finite double comes back unchanged
    for (int i = 0; i < 2000; ++i) {
        const uint64_t bits = rng();
        double v, back = 1;
        std::memcpy(&v, &bits, sizeof v);
        if (!std::isfinite(v))
            continue;
        const Octets out = encoded([&] { _kel_encd_real(world, &pos, &rem, v); });
        ASSERT_EQ(decode(out, [&](int32_t n) { _kel_dec_real(world, &in, &inRem, n, &back); }), 0) << world->errMsg;
        ASSERT_EQ(std::memcmp(&back, &v, sizeof v), 0) << v;
    }
}

Octets text_form(uint8_t form, const char *text) {
    const std::string s = static_cast<char>(form) + std::string(text);
    return Octets(s.begin(), s.end());
}

TEST_F(BerValues, RealDecoder) {
    struct Case { Octets contents; double value; int code; const char *message; };
    const Case kCases[] = {
        // Base 8, base 16 with scale factor 1, an exponent count octet.
        {{0x90, 0x01, 0x01}, 8.0, 0, ""}, {{0xA4, 0xFF, 0x03}, 3.0 / 8, 0, ""}, {{0x83, 0x01, 0x02, 0x01}, 4.0, 0, ""},
        {text_form(1, " -12"), -12, 0, ""}, {text_form(2, "1,5"), 1.5, 0, ""}, {text_form(3, "+.5e-1"), 0.05, 0, ""},
        // A redundant exponent octet, 2^1025, no such special value.
        {{0xC1, 0x00, 0x01, 0x03}, 0, 5, "0022E"}, {{0x81, 0x04, 0x01, 0x01}, 0, 5, "0099E"}, {{0x44}, 0, 5, "0044E"},
        {text_form(1, "1.5"), 0, 5, "0040E"}, {text_form(2, "1E5"), 0, 5, "0041E"}, {text_form(3, "15"), 0, 5, "0042E"},
        {text_form(3, "1E"), 0, 5, "0039E"}, {text_form(3, "1E309"), 0, 5, "0099E"},
    };
    for (const Case &c : kCases) {
        double v = 0;
        EXPECT_EQ(decode(c.contents, [&](int32_t n) { _kel_dec_real(world, &in, &inRem, n, &v); }), c.code);
        EXPECT_TRUE(c.code ? message_is(c.message) : v == c.value) << world->errMsg << " " << v;
    }
    world->modeBits |= KEL_MODE_RELAXED;
    double v = 0;
    EXPECT_EQ(decode({0xC1, 0x00, 0x01, 0x03}, [&](int32_t n) { _kel_dec_real(world, &in, &inRem, n, &v); }), 0);
    EXPECT_EQ(v, -6.0);

    // The float target narrows, and refuses what it can't hold.
    float f = 0;
    auto freal = [&](int32_t n) { _kel_dec_freal(world, &in, &inRem, n, &f); };
    EXPECT_EQ(decode({0x81, 0x00, 0x80, 0x01}, freal), 5);
    EXPECT_TRUE(message_is("0099E")) << world->errMsg;
    EXPECT_EQ(decode(text_form(3, "1E39"), freal), 5);
    EXPECT_EQ(decode({0x80, 0x7F, 0x01}, freal), 0);
    EXPECT_EQ(f, std::ldexp(1.0f, 127));
    EXPECT_EQ(decode({0x40}, freal), 0);
    EXPECT_EQ(f, FLT_MAX);
}

TEST_F(BerValues, DecimalAndMixedReal) {
    struct Case { uint32_t rules; const char *text; Octets contents; int code; };
    const Case kCases[] = {
        {KEL_BER, "1.5", text_form(2, "1.5"), 0}, {KEL_BER, "1e5", text_form(3, "1e5"), 0}, {KEL_BER, "0.0", {}, 0},
        {KEL_BER, "-0", {0x43}, 0}, {KEL_BER, "1x", {}, 5}, {KEL_DER, "1.5", text_form(3, "15.E-1"), 0},
        {KEL_DER, "1", text_form(3, "1.E+0"), 0}, {KEL_DER, "-0.0e7", {0x43}, 0}, {KEL_DER, "0.000", {}, 0},
        {KEL_DER, "E5", {}, 5},
    };
    for (const Case &c : kCases) {
        world->encRules = c.rules;
        EXPECT_EQ(encoded([&] { _kel_encd_creal(world, &pos, &rem, const_cast<char *>(c.text)); }), c.contents) << c.text;
        EXPECT_EQ(rc, c.code) << c.text;
    }
    world->ext->compatFlags = 0x400;
    EXPECT_EQ(encoded([&] { _kel_encd_creal(world, &pos, &rem, const_cast<char *>("1.50")); }), text_form(2, "1.50"));
    encoded([&] { _kel_encd_creal(world, &pos, &rem, nullptr); });
    EXPECT_TRUE(message_is("0091E")) << world->errMsg;
    double one = 1.0;
    encoded([&] { _kel_encd_mreal_ia(world, &pos, &rem, 2, &one); });
    EXPECT_TRUE(message_is("0092E")) << world->errMsg;

    struct Back { Octets contents; const char *text; }; // null: refused
    const Back kBack[] = {{{}, "0"}, {{0x80, 0xFF, 0x03}, "1.5"}, {{0x80, 0x00, 0x00}, nullptr},
                          {text_form(3, "15.E-1"), "15.E-1"}, {text_form(3, "15.-1"), nullptr}};
    for (const Back &b : kBack) {
        char *text = nullptr;
        EXPECT_EQ(decode(b.contents, [&](int32_t n) { _kel_dec_creal(world, &in, &inRem, n, &text); }), b.text ? 0 : 5);
        EXPECT_STREQ(text, b.text);
    }
    KelMixedReal mixed{};
    auto mreal = [&](int32_t n) { _kel_dec_mreal_ia(world, &in, &inRem, n, &mixed); };
    EXPECT_EQ(decode(text_form(2, "2.5"), mreal), 0);
    EXPECT_EQ(mixed.kind, 1);
    EXPECT_STREQ(mixed.u.text, "2.5");
    EXPECT_EQ(decode({0x80, 0xFF, 0x05}, mreal), 0);
    EXPECT_EQ(mixed.kind, 0);
    EXPECT_EQ(mixed.u.value, 2.5);
    release();
    EXPECT_EQ(live(), 0);
}

} // namespace
