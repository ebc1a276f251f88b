// Tests of the OER bit strings and character strings: the wire form with
// its unused-bit octet, named bits trimmed or refused by rule, every memory
// form of the decoders, blank padding, the wide and UTF-8 strings and their
// failures.
#include <algorithm>
#include <cstring>
#include <string>

#include "oer_fixture.h"

namespace {

using kel_test::Octets;
using kel_test::OerBody;

using OerStrings = kel_test::OerFixture;

TEST_F(OerStrings, BitStringEncoders) {
    static const unsigned char ones[128] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    static const unsigned char value[] = {0xA5, 0x80, 0x00, 0x00};
    struct Row {
        OerBody encode;
        Octets octets;
    };
    const Row rows[] = {
        {[](KelGlobal *w) { _kel_oenc_bit_unbounded(w, nullptr, 0); }, {0x01, 0x00}},
        {[](KelGlobal *w) { _kel_oenc_bit_padded(w, ones, 9); }, {0x03, 0x07, 0xFF, 0x80}},
        // Named bits: trailing zeros dropped down to the bound, a short
        // value filled up to it.
        {[](KelGlobal *w) { _kel_oenc_nbit_constr(w, value, 32, 4); }, {0x03, 0x07, 0xA5, 0x80}},
        {[](KelGlobal *w) { _kel_oenc_nbit_constr(w, value, 32, 12); }, {0x03, 0x04, 0xA5, 0x80}},
        {[](KelGlobal *w) { _kel_oenc_nbit_constr(w, ones, 3, 20); }, {0x04, 0x04, 0xE0, 0x00, 0x00}},
        {[](KelGlobal *w) { _kel_oenc_bit_unbounded_fixed(w, ones, 5, 24); }, {0xF8, 0x00, 0x00}},
    };
    for (const Row &row : rows)
        EXPECT_EQ(encoded(row.encode), row.octets);

    // 127 content octets take a long determinant; zero fill runs past 32.
    Octets longer = encoded([](KelGlobal *w) { _kel_oenc_bit_unbounded(w, ones, 1016); });
    ASSERT_EQ(longer.size(), 130u);
    EXPECT_EQ(Octets(longer.begin(), longer.begin() + 4), (Octets{0x81, 0x80, 0x00, 0xFF}));
    longer = encoded([](KelGlobal *w) { _kel_oenc_nbit_constr(w, ones, 1, 800); });
    ASSERT_EQ(longer.size(), 102u);
    EXPECT_EQ(longer[2], 0x80);
    EXPECT_EQ(std::count(longer.begin() + 3, longer.end(), 0), 99);
}

TEST_F(OerStrings, BitStringFirstOctetAndPadding) {
    const auto padded = [](KelGlobal *w) { _kel_odec_bit_padded(w, 32); };
    struct Row {
        Octets input;
        uint32_t flags;
        const char *outcome;
    };
    const Row rows[] = {
        {{0x01, 0x03}, 0, "0035E"},
        {{0x02, 0x08, 0xFF}, 0, "0035E"},
        {{0x00}, 0, "0037E"},
        {{0x02, 0x01, 0xFF}, 0, ""},
        {{0x02, 0x01, 0xFF}, STRICT_ENCODING_DECODING_RULES, "0263E"},
        {{0x02, 0x01, 0xFE}, STRICT_ENCODING_DECODING_RULES, ""},
        {{0x03, 0x07, 0xFF}, 0, "0081S"},
    };
    for (const Row &row : rows)
        for (uint32_t rules : {KEL_OER, KEL_COER})
            EXPECT_EQ(outcome(row.input, rules, padded, row.flags), row.outcome) << testing::PrintToString(row.input);
}

TEST_F(OerStrings, BitStringMemoryForms) {
    const Octets nine{0x03, 0x07, 0xA5, 0x80}, twelve{0x03, 0x04, 0xAA, 0xF0}, none{0x01, 0x00};
    uint32_t v = 1;
    const auto padded = [&](uint32_t capacity) { return [&v, capacity](KelGlobal *w) { v = _kel_odec_bit_padded(w, capacity); }; };
    ASSERT_EQ(decoded(none, KEL_OER, padded(8)), 0);
    EXPECT_EQ(v, 0u);
    // Left-justified in 8, 16 or 32 bits by capacity.
    ASSERT_EQ(decoded(twelve, KEL_OER, padded(12)), 0);
    EXPECT_EQ(v, 0xAAF0u);
    ASSERT_EQ(decoded(twelve, KEL_OER, padded(24)), 0);
    EXPECT_EQ(v, 0xAAF00000u);
    ASSERT_EQ(decoded(nine, KEL_OER, padded(10)), 0);
    EXPECT_EQ(v, 0xA580u);
    EXPECT_EQ(outcome(twelve, KEL_OER, padded(8)), "0063S");

    unsigned char big[5];
    std::memset(big, 0x55, sizeof big);
    ASSERT_EQ(decoded(nine, KEL_OER, [&](KelGlobal *w) { _kel_odec_bit_big_padded(w, big, 40); }), 0);
    EXPECT_EQ(Octets(big, big + 5), (Octets{0xA5, 0x80, 0, 0, 0}));

    unsigned char *bits = big;
    ASSERT_EQ(decoded(none, KEL_OER, [&](KelGlobal *w) { v = _kel_odec_bit_unbounded(w, &bits); }), 0);
    EXPECT_EQ(v, 0u);
    EXPECT_EQ(bits, nullptr);
    ASSERT_EQ(decoded(nine, KEL_OER, [&](KelGlobal *w) { v = _kel_odec_bit_unbounded(w, &bits); }), 0);
    ASSERT_EQ(v, 9u);
    EXPECT_EQ(Octets(bits, bits + 2), (Octets{0xA5, 0x80}));

    void *block = nullptr;
    ASSERT_EQ(decoded(nine, KEL_OER, [&](KelGlobal *w) { v = _kel_odec_named_bit_varying_ptr(w, &block, 4, 16); }), 0);
    ASSERT_EQ(v, 9u);
    const auto *octets = static_cast<const uint8_t *>(block);
    EXPECT_EQ(Octets(octets, octets + 6), (Octets{0, 0, 0, 0, 0xA5, 0x80}));

    const Octets known{0x07, 0xA5, 0x80};
    ASSERT_EQ(decoded(known, KEL_OER, [&](KelGlobal *w) { v = _kel_odec_bits_by_len(w, big, 3); }), 0);
    EXPECT_EQ(v, 9u);
    EXPECT_EQ(consumed(known), 3);
}

TEST_F(OerStrings, NamedBitsTooLongAreCutByOerRefusedByCoer) {
    // Nine bits for a room of eight: the ninth bit zero, then set.
    const Octets zeroNinth{0x03, 0x07, 0xA5, 0x00}, setNinth{0x03, 0x07, 0xA5, 0x80}, empty{0x01, 0x00};
    uint32_t v = 0;
    unsigned char out[2] = {};
    unsigned char *field = nullptr;
    struct Row {
        const char *name;
        OerBody decode;
        const char *excess; // failure when a 1 lies in the excess
    };
    const Row rows[] = {
        {"padded", [&](KelGlobal *w) { v = _kel_odec_named_bit_padded(w, 8); }, "0063S"},
        {"big padded", [&](KelGlobal *w) { _kel_odec_named_bit_big_padded(w, out, 8), v = 8; }, "0063S"},
        {"unbounded", [&](KelGlobal *w) { v = _kel_odec_named_bit_unbounded(w, &field, 8); }, "0063S"},
        {"varying", [&](KelGlobal *w) { v = _kel_odec_named_bit_varying(w, out, 8); }, "0080E"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(outcome(zeroNinth, KEL_OER, row.decode), "");
        EXPECT_TRUE(v == 8 || v == 0xA5) << v;
        EXPECT_EQ(outcome(zeroNinth, KEL_COER, row.decode), "0063S");
        EXPECT_EQ(outcome(setNinth, KEL_OER, row.decode), row.excess);
    }
    // NOCONSTRAIN keeps the whole value of the unbounded form.
    EXPECT_EQ(outcome(setNinth, KEL_COER, rows[2].decode, NOCONSTRAIN), "");
    EXPECT_EQ(v, 9u);
    // No bits at all: zero in OER, a size failure in COER for the padded forms.
    EXPECT_EQ(outcome(empty, KEL_OER, rows[0].decode), "");
    EXPECT_EQ(v, 0u);
    EXPECT_EQ(outcome(empty, KEL_COER, rows[0].decode), "0063S");
    EXPECT_EQ(outcome(empty, KEL_COER, rows[1].decode), "0063S");
    EXPECT_EQ(outcome(empty, KEL_COER, rows[3].decode), "");
}

TEST_F(OerStrings, PaddedAndUnboundedOctetStrings) {
    char padded[4] = "???";
    const auto into3 = [&](KelGlobal *w) { _kel_odec_string_padded(w, reinterpret_cast<unsigned char *>(padded), 3); };
    struct Row {
        Octets input;
        const char *outcome;
        const char *text;
    };
    const Row rows[] = {
        {{0x04, 'a', 'b', ' ', ' '}, "", "ab "},
        {{0x01, 'x'}, "", "x  "},
        {{0x00}, "", "   "},
        {{0x04, 'a', 'b', 'c', 'd'}, "0016S", nullptr},
        {{0x04, 'a', 'b'}, "0081S", nullptr},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(outcome(row.input, KEL_COER, into3), row.outcome);
        if (row.text) {
            EXPECT_STREQ(padded, row.text);
        }
    }
    unsigned char *text = nullptr;
    uint32_t n = 9;
    const Octets abc{0x03, 'a', 'b', 'c'}, none{0x00};
    ASSERT_EQ(decoded(abc, KEL_OER, [&](KelGlobal *w) { n = _kel_odec_string_unbounded(w, &text); }), 0);
    ASSERT_EQ(n, 3u);
    EXPECT_EQ(std::memcmp(text, "abc", 3), 0);
    ASSERT_EQ(decoded(none, KEL_OER, [&](KelGlobal *w) { n = _kel_odec_string_unbounded(w, &text); }), 0);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(text, nullptr);
}

TEST_F(OerStrings, WideStrings) {
    static const uint16_t bmp[] = {0x0041, 0x20AC};
    static const uint32_t uni[] = {0x0001F600, 0x41};
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_bmpstr(w, bmp, 2); }), (Octets{0x00, 0x41, 0x20, 0xAC}));
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_unistr(w, uni, 2); }), (Octets{0, 1, 0xF6, 0, 0, 0, 0, 0x41}));

    uint16_t *chars16 = nullptr;
    uint32_t *chars32 = nullptr;
    uint32_t n = 0;
    const Octets bmpInput{0x04, 0x00, 0x41, 0x20, 0xAC}, uniInput{0x08, 0, 1, 0xF6, 0, 0, 0, 0, 0x41};
    ASSERT_EQ(decoded(bmpInput, KEL_OER, [&](KelGlobal *w) { n = _kel_odec_bmp_string(w, &chars16); }), 0);
    ASSERT_EQ(n, 2u);
    EXPECT_EQ(chars16[1], 0x20AC);
    ASSERT_EQ(decoded(uniInput, KEL_OER, [&](KelGlobal *w) { n = _kel_odec_universal_string(w, &chars32); }), 0);
    ASSERT_EQ(n, 2u);
    EXPECT_EQ(chars32[0], 0x1F600u);
    EXPECT_EQ(outcome({0x03, 0x00, 0x41, 0x20}, KEL_OER, [&](KelGlobal *w) { _kel_odec_bmp_string(w, &chars16); }), "0136E");
    EXPECT_EQ(outcome({0x06, 0, 0, 0, 0x41, 0, 0}, KEL_OER, [&](KelGlobal *w) { _kel_odec_universal_string(w, &chars32); }), "0136E");

    uint16_t fixed[2] = {};
    const Octets fixedInput{0x00, 0x41, 0x20, 0xAC};
    ASSERT_EQ(decoded(fixedInput, KEL_OER, [&](KelGlobal *w) { _kel_odec_fixed_bmp_string(w, fixed, 2); }), 0);
    EXPECT_EQ(fixed[1], 0x20AC);
    EXPECT_EQ(world->inRemaining, 0);
}

TEST_F(OerStrings, Utf8Strings) {
    static const uint16_t bmp[] = {0x41, 0xE9, 0x20AC};
    static const uint32_t uni[] = {0x1F600, 0xD800};
    const Octets bmpWire{0x06, 0x41, 0xC3, 0xA9, 0xE2, 0x82, 0xAC};
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_utf8_string_bmp(w, bmp, 3); }), bmpWire);
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_utf8_string_universal(w, uni, 1); }), (Octets{0x04, 0xF0, 0x9F, 0x98, 0x80}));
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_utf8_string_bmp(w, nullptr, 0); }), (Octets{0x00}));
    int rc = 0;
    encoded([](KelGlobal *w) { _kel_oenc_utf8_string_universal(w, uni, 2); }, &rc);
    EXPECT_TRUE(failed_with(rc, "0119S"));
    EXPECT_NE(std::strstr(kelGetErrMsg(world), "position 1"), nullptr) << kelGetErrMsg(world);

    uint16_t *chars = nullptr;
    int32_t n = 0;
    const auto utf8bmp = [&](KelGlobal *w) { n = _kel_odec_utf8_string_bmp(w, &chars); };
    ASSERT_EQ(decoded(bmpWire, KEL_COER, utf8bmp), 0);
    ASSERT_EQ(n, 3);
    EXPECT_EQ(std::vector<uint16_t>(chars, chars + 3), std::vector<uint16_t>(bmp, bmp + 3));
    ASSERT_EQ(decoded({0x00}, KEL_OER, utf8bmp), 0);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(chars, nullptr);
    // Bad sequences, a last character cut short among them.
    for (const Octets &bad : {Octets{0x02, 0xC3, 0x41}, Octets{0x01, 0xC3}, Octets{0x01, 0x80}, Octets{0x01, 0xFF},
                              Octets{0x03, 0xE2, 0x82, 0x2C}})
        EXPECT_EQ(outcome(bad, KEL_OER, utf8bmp), "0120S") << testing::PrintToString(bad);
    // A character beyond 16 bits can't be held as u16.
    EXPECT_NE(decoded({0x04, 0xF0, 0x9F, 0x98, 0x80}, KEL_OER, utf8bmp), 0);

    // Long enough for a long determinant and for the writer to change block.
    std::vector<uint32_t> many(700, 0xE9);
    many.push_back(0x1F600);
    const Octets wire = encoded([&](KelGlobal *w) { _kel_oenc_utf8_string_universal(w, many.data(), static_cast<uint32_t>(many.size())); });
    ASSERT_EQ(wire.size(), 3u + 1404u);
    EXPECT_EQ(Octets(wire.begin(), wire.begin() + 3), (Octets{0x82, 0x05, 0x7C}));
    uint32_t *back = nullptr;
    ASSERT_EQ(decoded(wire, KEL_OER, [&](KelGlobal *w) { n = _kel_odec_utf8_string_universal(w, &back); }), 0);
    ASSERT_EQ(n, 701);
    EXPECT_EQ(std::vector<uint32_t>(back, back + n), many);
}

} // namespace
