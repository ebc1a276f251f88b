// Tests of the JSON tokeniser: token kinds and the expected-token messages,
// strings into the scratch with escapes and UTF-8, skipping values, and the
// nodes of object identifier strings.
#include "json_in_fixture.h"

namespace {

using kel_test::JsonInFixture;
using JsonTokeniser = JsonInFixture;

constexpr uint32_t kAll = 0x1FFF;

TEST_F(JsonTokeniser, KindsAndPositionAfterToken) {
    struct Row {
        const char *text;
        uint32_t kind;
        const char *rest;
    } rows[] = {
        {" \t\r\n{x", KEL_JTOK_OPEN_OBJECT, "x"}, {"}", KEL_JTOK_CLOSE_OBJECT, ""},
        {"[", KEL_JTOK_OPEN_ARRAY, ""},          {"]", KEL_JTOK_CLOSE_ARRAY, ""},
        {",", KEL_JTOK_COMMA, ""},               {":", KEL_JTOK_COLON, ""},
        {"\"ab\"", KEL_JTOK_STRING, "ab\""},     {"-12", KEL_JTOK_NUMBER, "-12"},
        {"7,", KEL_JTOK_NUMBER, "7,"},           {"trueX", KEL_JTOK_TRUE, "X"},
        {"false", KEL_JTOK_FALSE, ""},           {"null]", KEL_JTOK_NULL, "]"},
        {"nuLl", KEL_JTOK_UNKNOWN, "l"},         {"x", KEL_JTOK_UNKNOWN, ""},
        {"tru", KEL_JTOK_UNKNOWN, ""},
    };
    for (const Row &r : rows) {
        ASSERT_EQ(run(r.text, [](KelJsonCursor *c) { _kel_json_token(c, kAll); }), 0) << r.text;
        EXPECT_EQ(cursor.token, r.kind) << r.text;
        EXPECT_EQ(rest(), r.rest) << r.text;
    }
}

TEST_F(JsonTokeniser, MismatchListsExpectedTokensInFixedOrder) {
    struct Row {
        uint32_t mask;
        const char *text;
        int code;
        const char *message;
    } rows[] = {
        {KEL_JTOK_COMMA | KEL_JTOK_CLOSE_OBJECT, "]", 5, "0361S: Unknown token found, expecting '}' or ','"},
        {KEL_JTOK_NULL | KEL_JTOK_FALSE | KEL_JTOK_NUMBER | KEL_JTOK_STRING, "{", 5,
         "0361S: Unknown token found, expecting '\"' or Number or true/false or null"},
        {KEL_JTOK_COLON | KEL_JTOK_OPEN_OBJECT | KEL_JTOK_CLOSE_ARRAY | KEL_JTOK_OPEN_ARRAY, "1", 5,
         "0361S: Unknown token found, expecting '{' or '[' or ']' or ':'"},
        {KEL_JTOK_ANY_VALUE, "}", 5, "0366S: Unknown token"},
        {KEL_JTOK_ANY_VALUE, "tru", 5, "0366S: Unknown token"}, // the missing letter fails first
        {KEL_JTOK_ANY_VALUE, " \n ", 4, "0081S"},
        {KEL_JTOK_ANY_VALUE, "", 4, "0081S"},
    };
    for (const Row &r : rows) {
        EXPECT_EQ(run(r.text, [&](KelJsonCursor *c) { _kel_json_token(c, r.mask); }), r.code) << r.text;
        EXPECT_NE(message().find(r.message), std::string::npos) << message();
    }
    EXPECT_EQ(run("]", [](KelJsonCursor *c) { _kel_json_token(c, KEL_JTOK_COMMA); }), 5);
    EXPECT_EQ(cursor.token, uint32_t(KEL_JTOK_CLOSE_ARRAY)); // stored even on mismatch
}

TEST_F(JsonTokeniser, StringFillsScratchUpTo255Octets) {
    uint32_t r = 1;
    ASSERT_EQ(run(std::string(255, 'a') + "\"", [&](KelJsonCursor *c) { r = _kel_jget_string(c); }), 0);
    EXPECT_EQ(r, 0u);
    EXPECT_EQ(cursor.length, 255u);
    EXPECT_EQ(rest(), "");
    ASSERT_EQ(run(std::string(256, 'a') + "\"", [&](KelJsonCursor *c) { r = _kel_jget_string(c); }), 0);
    EXPECT_EQ(r, 256u);
    // An escape that no longer fits reports the room it needs.
    ASSERT_EQ(run(std::string(254, 'a') + "\\u00e9\"", [&](KelJsonCursor *c) { r = _kel_jget_string(c); }), 0);
    EXPECT_EQ(r, 256u);
}

TEST_F(JsonTokeniser, StringEscapesAndUtf8) {
    struct Row {
        std::string text;
        std::string value;
    } rows[] = {
        {"a\\\"\\\\\\/\\b\\f\\n\\r\\tz\"", "a\"\\/\b\f\n\r\tz"},
        {"\\u0041\\u00e9\"", "A\xC3\xA9"},
        {"\\uD83D\\uDE00\"", "\xF0\x9F\x98\x80"},
        {"\\uDE00\"", "\xED\xB8\x80"}, // a lone low surrogate passes
        {"x\x01y\"", "x\x01y"},       // control characters are not refused
        {"a\xC3\xA9z\"", "az"},        // raw sequences are checked, not kept
        {"\"", ""},
    };
    for (const Row &r : rows) {
        uint32_t res = 1;
        ASSERT_EQ(run(r.text, [&](KelJsonCursor *c) { res = _kel_jget_string(c); }), 0) << message();
        EXPECT_EQ(res, 0u);
        EXPECT_EQ(scratch_text(), r.value) << r.text;
        EXPECT_EQ(scratch[cursor.length], 0);
    }
}

TEST_F(JsonTokeniser, StringFailures) {
    struct Row {
        std::string text;
        int code;
        const char *message;
    } rows[] = {
        {"\\uD83Dx\"", 5, "Illegal surrogate pair"},
        {"\\uD83D\\u0041\"", 5, "Illegal surrogate pair"},
        {"\\uD83D", 4, "0081S"},
        {"\\q\"", 5, "Illegal escape sequence"},
        {"\\u12G4\"", 5, "Illegal escape sequence"},
        {"\xFF\"", 5, "0120S"},
        {"\x80\"", 5, "0120S"},
        {"\xC3(\"", 5, "0120S"},
        {"\xE2\x82", 4, "0081S"},
        {"abc", 4, "0081S"},
    };
    for (const Row &r : rows) {
        EXPECT_EQ(run(r.text, [](KelJsonCursor *c) { _kel_jget_string(c); }), r.code) << r.text;
        EXPECT_NE(message().find(r.message), std::string::npos) << r.text << ": " << message();
    }
    EXPECT_EQ(run("x", [](KelJsonCursor *c) { _kel_json_chk_eos(c); }), 5);
    EXPECT_NE(message().find("expecting '\"'"), std::string::npos);
}

TEST_F(JsonTokeniser, Utf8OfWideCodePoints) {
    struct Row {
        uint32_t code;
        std::string bytes;
    } rows[] = {{0x7FF, "\xDF\xBF"}, {0xFFFF, "\xEF\xBF\xBF"}, {0x10FFFF, "\xF4\x8F\xBF\xBF"},
                {0x3FFFFFF, "\xFB\xBF\xBF\xBF\xBF"}, {0x7FFFFFFF, "\xFD\xBF\xBF\xBF\xBF\xBF"}};
    for (const Row &r : rows) {
        ASSERT_EQ(run("", [&](KelJsonCursor *c) { EXPECT_EQ(_kel_jint2utf8(c, r.code), 0u); }), 0);
        EXPECT_EQ(scratch_text(), r.bytes);
    }
}

TEST_F(JsonTokeniser, HexDigits) {
    EXPECT_EQ(_kel_jhex_digit('0'), 0);
    EXPECT_EQ(_kel_jhex_digit('9'), 9);
    EXPECT_EQ(_kel_jhex_digit('a'), 10);
    EXPECT_EQ(_kel_jhex_digit('F'), 15);
    EXPECT_EQ(_kel_jhex_digit(0x100 + 'F'), 15); // only the low eight bits count
    for (int c : {int('g'), int('G'), int('/'), int(':'), int('@'), int('`'), -1})
        EXPECT_EQ(_kel_jhex_digit(c), -1) << c;
}

TEST_F(JsonTokeniser, SkipsWholeValues) {
    const std::string deep = std::string(100000, '[') + std::string(100000, ']') + ",";
    struct Row {
        std::string text;
        std::string rest;
    } rows[] = {
        {deep, ","},
        {"{\"a\":\"x\\\"}\",\"b\":{\"c\":[1,{}]}} ,", " ,"},
        {"[\"]\\\\\",[]] ]", " ]"},
        {"\"a\\\"b\",", ","},
        {"-1.5e+3]", "]"},
        {"true,", ","},
    };
    for (const Row &r : rows) {
        ASSERT_EQ(run(r.text, [](KelJsonCursor *c) {
            _kel_json_token(c, KEL_JTOK_ANY_VALUE);
            _kel_jskip_encoding(c);
        }),
                  0)
            << message();
        EXPECT_EQ(rest(), r.rest);
    }
    for (const char *bad : {"[[]", "{\"}", "\"abc\\", "[\"x"}) {
        EXPECT_EQ(run(bad, [](KelJsonCursor *c) {
            _kel_json_token(c, KEL_JTOK_ANY_VALUE);
            _kel_jskip_encoding(c);
        }),
                  4)
            << bad;
    }
    EXPECT_EQ(run("?", [](KelJsonCursor *c) {
        _kel_json_token(c, kAll);
        _kel_jskip_encoding(c);
    }),
              5);
}

TEST_F(JsonTokeniser, CountsObjectIdentifierNodesWithoutConsuming) {
    struct Row {
        const char *text;
        uint32_t count;
    } rows[] = {{"1.2.840\"", 3}, {"\"", 0}, {"2\"", 1}, {"1\\.2\"", 2}};
    for (const Row &r : rows) {
        uint32_t n = 99;
        ASSERT_EQ(run(r.text, [&](KelJsonCursor *c) { n = _kel_jdec_obj_length(c); }), 0);
        EXPECT_EQ(n, r.count) << r.text;
        EXPECT_EQ(rest(), r.text);
    }
    EXPECT_EQ(run("1.2", [](KelJsonCursor *c) { _kel_jdec_obj_length(c); }), 4);
}

// Reads the nodes of an identifier with the state transitions the decoders
// use into `arcs`, which the caller owns: a failure jumps out of the walk.
void walk(KelJsonCursor *c, std::vector<uint64_t> &arcs) {
    int state = 0;
    for (;;) {
        uint64_t v = _kel_jget_subid(c, state);
        arcs.push_back(v);
        state = state == 0 ? (v < 2 ? int(v) + 1 : 4) : state == 1 && v == 0 ? 3 : 4;
        if (c->buffer[0] != '.')
            return;
    }
}

TEST_F(JsonTokeniser, ObjectIdentifierNodes) {
    struct Row {
        const char *text;
        std::vector<uint64_t> arcs;
    } rows[] = {
        {"2.999\"", {2, 999}},
        {"1.2.840.113549\"", {1, 2, 840, 113549}},
        {"iso.member-body.f(5)\"", {1, 2, 5}},
        {"joint-iso-ccitt.x9(40).ab-3C(7)\"", {2, 40, 7}},
        {"itu-t.data.9\"", {0, 9, 9}},
        {"ccitt.recommendation.z.1\"", {0, 0, 26, 1}},
        {"0.0.a\"", {0, 0, 1}},
        {"1.2.18446744073709551615\"", {1, 2, UINT64_MAX}},
    };
    for (const Row &r : rows) {
        std::vector<uint64_t> arcs;
        ASSERT_EQ(run(r.text, [&](KelJsonCursor *c) { walk(c, arcs); }), 0) << r.text << message();
        EXPECT_EQ(arcs, r.arcs) << r.text;
        EXPECT_EQ(rest(), "\"");
    }
}

TEST_F(JsonTokeniser, ObjectIdentifierNodeFailures) {
    struct Row {
        const char *text;
        int code;
        const char *message;
    } rows[] = {
        {"3.1\"", 103, "0010S"},          {"1.40\"", 103, "0010S"},
        {"0.0.27\"", 103, "0010S"},       {"0.0.0\"", 103, "0010S"},
        {"isoo.1\"", 103, "0010S"},       {"12x.1\"", 103, "0010S"},
        {"1.bogus\"", 5, "0364S"},        {"0.0.ab\"", 5, "0364S"},
        {"1.2.a\"", 5, "0364S"},          {"1.2.a(1\"", 5, "0364S"},
        {"1.2.a()\"", 5, "0364S"},        {"1..2\"", 5, "0364S"},
        {"1.2.18446744073709551616\"", 10, "0023E"},
        {"1.2", 4, "0081S"},
    };
    std::vector<uint64_t> arcs;
    for (const Row &r : rows) {
        EXPECT_EQ(run(r.text, [&](KelJsonCursor *c) { walk(c, arcs); }), r.code) << r.text;
        EXPECT_NE(message().find(r.message), std::string::npos) << r.text << ": " << message();
    }
    EXPECT_EQ(run("1.2." + std::string(300, '1') + "\"", [&](KelJsonCursor *c) { walk(c, arcs); }), 10);
    EXPECT_NE(message().find("0363S"), std::string::npos);
}

} // namespace
