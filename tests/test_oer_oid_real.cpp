// Tests of the OER object identifiers and REAL: the contents in every memory
// form, the checks on the first arcs, overlong subidentifiers, the binary,
// special and canonical decimal forms of REAL with what COER refuses, and
// the IEEE forms with their text names.
#include <cfloat>
#include <cmath>
#include <cstring>
#include <string>

#include "oer_fixture.h"

namespace {

using kel_test::Octets;
using kel_test::OerBody;

using OerOidReal = kel_test::OerFixture;

const Octets kRsa{0x06, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D}; // 1.2.840.113549

TEST_F(OerOidReal, ObjectIdentifiersInEveryForm) {
    static const uint32_t rsa[] = {1, 2, 840, 113549};
    static const unsigned long rsaLong[] = {1, 2, 840, 113549};
    static const uint16_t small[] = {2, 999, 5};
    struct Node {
        Node *next;
        uint32_t arc;
    };
    static Node nodes[4] = {{&nodes[1], 1}, {&nodes[2], 2}, {&nodes[3], 840}, {nullptr, 113549}};
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_oid_array_i(w, rsa, 4); }), kRsa);
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_oid_unbounded_l(w, rsaLong, 4); }), kRsa);
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_oid_linked_i(w, nodes, offsetof(Node, arc)); }), kRsa);
    const Octets small3{0x03, 0x88, 0x37, 0x05};
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_oid_array_s(w, small, 3); }), small3);
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_oid_array_s(w, small, 2); }), (Octets{0x02, 0x88, 0x37}));
    uint32_t first = 0;
    EXPECT_EQ(_kel_oenc_subid_size(0, 2, &first), 0);
    EXPECT_EQ(_kel_oenc_subid_size(1, 999, &first), 2);
    EXPECT_EQ(_kel_oenc_subid_size(2, 128, &first), 2);

    uint32_t arcs[6];
    std::memset(arcs, 0xEE, sizeof arcs);
    uint32_t count = 0;
    ASSERT_EQ(decoded(kRsa, KEL_COER, [&](KelGlobal *w) { count = _kel_odec_oid_array_i(w, arcs, 6); }), 0);
    ASSERT_EQ(count, 4u);
    EXPECT_EQ(std::vector<uint32_t>(arcs, arcs + 6), (std::vector<uint32_t>{1, 2, 840, 113549, 0, 0}));

    unsigned long *longArcs = nullptr;
    ASSERT_EQ(decoded(kRsa, KEL_OER, [&](KelGlobal *w) { count = _kel_odec_oid_unbounded_l(w, &longArcs); }), 0);
    ASSERT_EQ(count, 4u);
    EXPECT_EQ(longArcs[3], 113549ul);

    void *block = nullptr;
    ASSERT_EQ(decoded(small3, KEL_OER, [&](KelGlobal *w) { block = _kel_odec_oid_array_s_ptr(w, 4); }), 0);
    uint16_t head[5];
    std::memcpy(head, block, sizeof head);
    EXPECT_EQ(head[0], 3);
    EXPECT_EQ(std::vector<uint16_t>(head + 2, head + 5), (std::vector<uint16_t>{2, 999, 5}));

    void *list = nullptr;
    ASSERT_EQ(decoded(kRsa, KEL_OER, [&](KelGlobal *w) { _kel_odec_oid_linked_i(w, &list, 0); }), 0);
    std::vector<uint32_t> walked;
    for (const auto *node = static_cast<const Node *>(list); node; node = node->next)
        walked.push_back(node->arc);
    EXPECT_EQ(walked, (std::vector<uint32_t>{1, 2, 840, 113549}));

    unsigned char copy[8], *held = nullptr;
    ASSERT_EQ(decoded(kRsa, KEL_OER, [&](KelGlobal *w) { count = _kel_odec_oid_encoded(w, copy, 8); }), 0);
    EXPECT_EQ(Octets(copy, copy + count), Octets(kRsa.begin() + 1, kRsa.end()));
    ASSERT_EQ(decoded(kRsa, KEL_OER, [&](KelGlobal *w) { count = _kel_odec_oid_encoded(w, &held, 0); }), 0);
    EXPECT_EQ(Octets(held, held + count), Octets(kRsa.begin() + 1, kRsa.end()));
}

TEST_F(OerOidReal, ObjectIdentifierFailures) {
    struct EncodeRow {
        std::vector<uint32_t> arcs;
        const char *position; // printed behind the message
    };
    const EncodeRow bad[] = {{{1}, "1"}, {{3, 1}, "0"}, {{1, 40}, "1"}, {{0, 0, 27}, "2"}, {{0, 0, 0}, "2"}};
    for (const EncodeRow &row : bad) {
        int rc = 0;
        encoded([&](KelGlobal *w) { _kel_oenc_oid_array_i(w, row.arcs.data(), static_cast<uint32_t>(row.arcs.size())); }, &rc);
        EXPECT_TRUE(failed_with(rc, "0010S")) << kelGetErrMsg(world);
        EXPECT_NE(std::string(kelGetErrMsg(world)).find(std::string("IDENTIFIER: ") + row.position + "."), std::string::npos)
            << kelGetErrMsg(world);
    }
    static const uint32_t series[] = {0, 0, 26};
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_oid_array_i(w, series, 3); }), (Octets{0x02, 0x00, 0x1A}));

    uint32_t arcs[3];
    uint16_t shorts[3];
    void *list = nullptr;
    const auto into3 = [&](KelGlobal *w) { _kel_odec_oid_array_i(w, arcs, 3); };
    struct DecodeRow {
        Octets input;
        OerBody decode;
        const char *outcome;
    };
    const DecodeRow rows[] = {
        {{0x00}, into3, "0037E"},
        {{0x02, 0x2A, 0x86}, into3, "0037E"},
        {{0x04, 0x2A, 0x01, 0x02, 0x03}, into3, "0016S"},
        {{0x04, 0x2A, 0x01, 0x02, 0x03}, [&](KelGlobal *w) { _kel_odec_oid_linked_i(w, &list, 3); }, "0016S"},
        {{0x06, 0x2A, 0x90, 0x80, 0x80, 0x80, 0x00}, into3, "0025E"},
        {{0x04, 0x2A, 0x84, 0xA2, 0x70}, [&](KelGlobal *w) { _kel_odec_oid_array_s(w, shorts, 3); }, "0025E"},
        {{0x03, 0x2A, 0x80, 0x01}, into3, ""}, // a leading 0x80 passes
        {{0x03, 0x2A, 0x05}, into3, "0081S"},
    };
    for (const DecodeRow &row : rows)
        EXPECT_EQ(outcome(row.input, KEL_OER, row.decode), row.outcome) << testing::PrintToString(row.input);
    // Relaxed, empty contents are an empty value.
    std::memset(arcs, 0xEE, sizeof arcs);
    uint32_t count = 9;
    ASSERT_EQ(decoded({0x00}, KEL_OER, [&](KelGlobal *w) { count = _kel_odec_oid_array_i(w, arcs, 3); }, KEL_RELAXED), 0);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(arcs[2], 0u);
}

TEST_F(OerOidReal, BinaryAndSpecialReals) {
    struct Row {
        double value;
        Octets octets;
    };
    const Row rows[] = {
        {1.0, {0x03, 0x80, 0x00, 0x01}},  {-1.0, {0x03, 0xC0, 0x00, 0x01}}, {0.5, {0x03, 0x80, 0xFF, 0x01}},
        {0.0, {0x00}},                     {-0.0, {0x01, 0x43}},             {NAN, {0x01, 0x42}},
        {INFINITY, {0x01, 0x40}},          {-DBL_MAX, {0x01, 0x41}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.value);
        EXPECT_EQ(encoded([&](KelGlobal *w) { _kel_oenc_real(w, row.value); }), row.octets);
        double back = 7;
        ASSERT_EQ(decoded(row.octets, KEL_COER, [&](KelGlobal *w) { back = _kel_odec_real_double(w); }), 0) << kelGetErrMsg(world);
        if (std::isnan(row.value)) {
            EXPECT_TRUE(std::isnan(back));
        } else {
            EXPECT_EQ(back, std::isinf(row.value) ? DBL_MAX : row.value);
            EXPECT_EQ(std::signbit(back), std::signbit(row.value));
        }
    }
    const auto real = [](KelGlobal *w) { _kel_odec_real_double(w); };
    struct Bad {
        Octets input;
        const char *outcome;
    };
    const Bad bad[] = {
        {{0x03, 0x80, 0x00, 0x02}, "0037E"}, // mantissa not odd
        {{0x04, 0x80, 0x00, 0x00, 0x01}, "0037E"},
        {{0x03, 0x90, 0x00, 0x01}, "0037E"}, // base 8
        {{0x04, 0x81, 0x00, 0x01, 0x01}, "0020E"},
        {{0x02, 0x83, 0x05}, "0037E"},
        {{0x09, 0x83, 0x05, 1, 2, 3, 4, 5, 6, 7}, "0021E"},
        {{0x04, 0x81, 0x7F, 0xFF, 0x01}, "0099E"},
        {{0x02, 0x40, 0x00}, "0044E"},
        {{0x01, 0x44}, "0044E"},
        {{0x03, 0x80, 0x00}, "0081S"},
    };
    for (const Bad &row : bad)
        EXPECT_EQ(outcome(row.input, KEL_OER, real), row.outcome) << testing::PrintToString(row.input);
    double value = 0;
    ASSERT_EQ(decoded({0x03, 0x80, 0x00, 0x02}, KEL_OER, [&](KelGlobal *w) { value = _kel_odec_real_double(w); }, KEL_RELAXED), 0);
    EXPECT_EQ(value, 2.0);
    float narrow = 0;
    ASSERT_EQ(decoded({0x01, 0x40}, KEL_OER, [&](KelGlobal *w) { narrow = _kel_odec_real_float(w); }), 0);
    EXPECT_EQ(narrow, FLT_MAX);
    EXPECT_EQ(outcome({0x04, 0x81, 0x00, 0x80, 0x01}, KEL_OER, [](KelGlobal *w) { _kel_odec_real_float(w); }), "0099E");
}

TEST_F(OerOidReal, DecimalReals) {
    // Text goes out in the canonical form, and reads back in OER only.
    const Octets oneAndHalf = encoded([](KelGlobal *w) { _kel_oenc_real_decimal(w, " 1.50"); });
    ASSERT_GE(oneAndHalf.size(), 2u);
    EXPECT_EQ(oneAndHalf[1], 3);
    EXPECT_EQ(std::string(oneAndHalf.begin() + 2, oneAndHalf.end()), "15.E-1");
    double value = 0;
    ASSERT_EQ(decoded(oneAndHalf, KEL_OER, [&](KelGlobal *w) { value = _kel_odec_real_double(w); }), 0);
    EXPECT_EQ(value, 1.5);
    EXPECT_EQ(outcome(oneAndHalf, KEL_COER, [](KelGlobal *w) { _kel_odec_real_double(w); }), "0037E");

    struct Encode {
        const char *text;
        const char *outcome;
        Octets octets;
    };
    const Encode encodes[] = {
        {"PLUS_INFINITY", "", {0x01, 0x40}}, {"NOT_A_NUMBER", "", {0x01, 0x42}}, {"-0", "", {0x01, 0x43}},
        {"0.000", "", {0x00}},               {"Maybe", "0091E", {}},            {"E5", "0038E", {}},
        {"1.5x", "0091E", {}},
    };
    for (const Encode &row : encodes) {
        int rc = 0;
        const Octets out = encoded([&](KelGlobal *w) { _kel_oenc_real_decimal(w, row.text); }, &rc);
        EXPECT_EQ(rc ? std::string(kelGetErrMsg(world) + 1, 5) : std::string(), row.outcome) << row.text;
        EXPECT_EQ(out, row.octets) << row.text;
    }

    // Only the canonical shape is read.
    const auto text = [](const char *s) {
        Octets input{static_cast<uint8_t>(std::strlen(s) + 1), 3};
        input.insert(input.end(), s, s + std::strlen(s));
        return input;
    };
    const auto real = [](KelGlobal *w) { _kel_odec_real_double(w); };
    for (const char *good : {"1.E+0", "-25.E-3", "7.E12"})
        EXPECT_EQ(outcome(text(good), KEL_OER, real), "") << good;
    for (const char *bad : {"10.E1", "01.E1", "1.E", "1.E-0", "1.E01", "+1.E1", "1.5E1", "1E1", "1.E1 "})
        EXPECT_EQ(outcome(text(bad), KEL_OER, real), "0037E") << bad;
    EXPECT_EQ(outcome({0x03, 0x02, '1', '.'}, KEL_OER, real), "0044E");

    char *decimal = nullptr;
    const auto as_text = [&](KelGlobal *w) { decimal = _kel_odec_real_decimal(w); };
    ASSERT_EQ(decoded(text("-25.E-3"), KEL_OER, as_text), 0);
    EXPECT_STREQ(decimal, "-25.E-3");
    ASSERT_EQ(decoded({0x03, 0x80, 0x00, 0x01}, KEL_OER, as_text), 0);
    EXPECT_STREQ(decimal, "1");
    EXPECT_EQ(outcome({0x03, 0x80, 0x00, 0x01}, KEL_COER, as_text), "0037E");
    ASSERT_EQ(decoded({0x01, 0x42}, KEL_COER, as_text), 0);
    EXPECT_STREQ(decimal, "NOT_A_NUMBER");
    ASSERT_EQ(decoded({0x00}, KEL_COER, as_text), 0);
    EXPECT_STREQ(decimal, "0");

    // The mixed form: text for decimal and special contents, else a double.
    alignas(8) unsigned char area[8];
    uint32_t kind = 9;
    const auto mixed = [&](KelGlobal *w) { kind = _kel_odec_real_mixed(w, area); };
    ASSERT_EQ(decoded(text("7.E12"), KEL_OER, mixed), 0);
    EXPECT_EQ(kind, 1u);
    std::memcpy(&decimal, area, sizeof decimal);
    EXPECT_STREQ(decimal, "7.E12");
    ASSERT_EQ(decoded({0x03, 0xC0, 0x00, 0x01}, KEL_OER, mixed), 0);
    EXPECT_EQ(kind, 0u);
    std::memcpy(&value, area, sizeof value);
    EXPECT_EQ(value, -1.0);
}

TEST_F(OerOidReal, IeeeForms) {
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_real_4byte(w, 1.0f); }), (Octets{0x3F, 0x80, 0, 0}));
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_real_8byte(w, -2.0); }), (Octets{0xC0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_real_4decimal(w, " -1,5"); }), (Octets{0xBF, 0xC0, 0, 0}));
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_real_4decimal(w, "PLUS_INFINITY"); }), (Octets{0x7F, 0x7F, 0xFF, 0xFF}));
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_real_8decimal(w, "1e3"); }), (Octets{0x40, 0x8F, 0x40, 0, 0, 0, 0, 0}));
    for (const auto &[text, failure] : {std::pair{"1.5x", "0091E"}, {"E5", "0038E"}, {"e5", "0091E"}, {"1e", "0039E"}, {"Nothing", "0091E"}}) {
        int rc = 0;
        encoded([&](KelGlobal *w) { _kel_oenc_real_8decimal(w, text); }, &rc);
        EXPECT_TRUE(failed_with(rc, failure)) << text << ": " << kelGetErrMsg(world);
    }

    float f = 0;
    ASSERT_EQ(decoded({0x3F, 0x80, 0, 0}, KEL_COER, [&](KelGlobal *w) { f = _kel_odec_real_4byte(w); }), 0);
    EXPECT_EQ(f, 1.0f);
    EXPECT_EQ(outcome({0x3F, 0x80, 0}, KEL_OER, [](KelGlobal *w) { _kel_odec_real_4byte(w); }), "0081S");
    struct Row {
        Octets octets;
        const char *text;
    };
    const Row rows[] = {
        {{0x7F, 0x7F, 0xFF, 0xFF}, "PLUS_INFINITY"}, {{0xFF, 0x80, 0, 0}, "MINUS_INFINITY"},
        {{0x7F, 0xC0, 0, 0}, "NOT_A_NUMBER"},        {{0x80, 0, 0, 0}, "-0"},
        {{0, 0, 0, 0}, "0"},                         {{0x3F, 0xC0, 0, 0}, "1.5"},
    };
    char *text = nullptr;
    for (const Row &row : rows) {
        ASSERT_EQ(decoded(row.octets, KEL_OER, [&](KelGlobal *w) { text = _kel_odec_real_4decimal(w); }), 0);
        EXPECT_STREQ(text, row.text);
    }
    ASSERT_EQ(decoded({0x40, 0x8F, 0x40, 0, 0, 0, 0, 0}, KEL_OER, [&](KelGlobal *w) { text = _kel_odec_real_8decimal(w); }), 0);
    EXPECT_STREQ(text, "1000");
}

} // namespace
