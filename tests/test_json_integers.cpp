// Tests of the JSON integer and name decoders: number syntax, the overflow
// limit of each width, bounds, huge integers, enumerators, member names,
// wrapper objects and raw text of open types and unknown extensions.
#include "json_in_fixture.h"
#include "kelvarn_xer.h"

namespace {

using kel_test::JsonInFixture;
using JsonIntegers = JsonInFixture;

// The number token is read first, as the generated code does.
template <class F> auto number(F decode) {
    return [decode](KelJsonCursor *c) {
        _kel_json_token(c, KEL_JTOK_ANY_VALUE);
        decode(c);
    };
}

struct Row {
    const char *text;
    int code;             // 0: success
    const char *expected; // the value as text, or a piece of the message
};

template <class T, class F> void check_rows(JsonIntegers &t, const std::vector<Row> &rows, F decode) {
    for (const Row &r : rows) {
        T v{};
        int code = t.run(r.text, number([&](KelJsonCursor *c) { v = decode(c); }));
        EXPECT_EQ(code, r.code) << r.text << ": " << t.message();
        if (code == 0)
            EXPECT_EQ(std::to_string(v), r.expected) << r.text;
        else
            EXPECT_NE(t.message().find(r.expected), std::string::npos) << r.text << ": " << t.message();
    }
}

TEST_F(JsonIntegers, SyntaxAndLimitsOfEachWidth) {
    check_rows<int32_t>(*this,
                        {{"0", 0, "0"},
                         {"-0", 0, "0"},
                         {"10", 0, "10"},
                         {"2147483647", 0, "2147483647"},
                         {"-2147483648", 0, "-2147483648"},
                         {"2147483648", 10, "0023E"},
                         {"-2147483649", 10, "0023E"},
                         {"99999999999", 10, "0023E"},
                         {"00", 5, "0364S: Invalid encoding of JSON number"},
                         {"01", 5, "JSON number"},
                         {"-", 5, "JSON number"},
                         {"-x", 5, "JSON number"},
                         {"\"1\"", 5, "expecting Number"}},
                        [](KelJsonCursor *c) { return _kel_jdec_lint(c, INT32_MIN, INT32_MAX); });
    check_rows<uint32_t>(*this,
                         {{"4294967295", 0, "4294967295"},
                          {"4294967296", 10, "0023E"},
                          {"42949672950", 10, "0023E"},
                          {"-1", 2, "0076S"},
                          {"-0", 2, "0076S"}},
                         [](KelJsonCursor *c) { return _kel_jdec_ulint(c, UINT32_MAX); });
    check_rows<int64_t>(*this,
                        {{"9223372036854775807", 0, "9223372036854775807"},
                         {"-9223372036854775808", 0, "-9223372036854775808"},
                         {"9223372036854775808", 10, "0023E"},
                         {"-9223372036854775809", 10, "0023E"}},
                        [](KelJsonCursor *c) { return _kel_jdec_llint(c); });
    check_rows<uint64_t>(*this,
                         {{"18446744073709551615", 0, "18446744073709551615"},
                          {"18446744073709551616", 10, "0023E"},
                          {"-5", 2, "0076S"}},
                         [](KelJsonCursor *c) { return _kel_jdec_ullint(c); });
}

TEST_F(JsonIntegers, BoundsAndWhatStopsANumber) {
    check_rows<int32_t>(*this, {{"-5", 0, "-5"}, {"-6", 10, "0023E: Integer or enumerated value too long: -6"},
                                {"11", 10, "11"}},
                        [](KelJsonCursor *c) { return _kel_jdec_lint(c, -5, 10); });
    check_rows<uint32_t>(*this, {{"7", 0, "7"}, {"8", 10, "8"}},
                         [](KelJsonCursor *c) { return _kel_jdec_ulint(c, 7); });
    const std::pair<const char *, const char *> stops[] = {
        {"1.5", ".5"}, {"1e3", "e3"}, {"0.5", ".5"}, {"12,", ","}, {"-7}", "}"}};
    for (auto [text, after] : stops) {
        ASSERT_EQ(run(text, number([](KelJsonCursor *c) { _kel_jdec_lint(c, INT32_MIN, INT32_MAX); })), 0);
        EXPECT_EQ(rest(), after) << text;
    }
    // The fraction is left to the next token, which rejects it.
    EXPECT_EQ(run("1.5", number([](KelJsonCursor *c) {
        _kel_jdec_lint(c, INT32_MIN, INT32_MAX);
        _kel_json_token(c, KEL_JTOK_COMMA | KEL_JTOK_CLOSE_OBJECT);
    })),
              5);
}

std::vector<unsigned char> hint_bytes(unsigned char *p, uint32_t n) { return {p, p + n}; }

TEST_F(JsonIntegers, HugeIntegers) {
    using B = std::vector<unsigned char>;
    struct HRow {
        const char *text;
        uint32_t flags;
        B bytes;
    } rows[] = {
        {"0", 0, {0}},
        {"-0", 0, {0}},
        {"127", 0, {0x7F}},
        {"128", 0, {0x00, 0x80}},
        {"128", 1, {0x80}},
        {"-128", 0, {0x80}},
        {"-129", 0, {0xFF, 0x7F}},
        {"-32768", 0, {0x80, 0x00}},
        {"65535", 1, {0xFF, 0xFF}},
        {"18446744073709551616", 0, {1, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"-18446744073709551616", 0, {0xFF, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"1000000000000", 0, {0x00, 0xE8, 0xD4, 0xA5, 0x10, 0x00}},
    };
    for (const HRow &r : rows) {
        B got;
        ASSERT_EQ(run(r.text, number([&](KelJsonCursor *c) {
            unsigned char *p = nullptr;
            uint32_t n = _kel_jdec_hint(c, &p, r.flags);
            got = hint_bytes(p, n);
        })),
                  0)
            << r.text << message();
        EXPECT_EQ(got, r.bytes) << r.text;
    }
    // 9,000 digits fit in the 4096-octet block; 10,000 do not.
    uint32_t n = 0;
    ASSERT_EQ(run("9" + std::string(8999, '0'), number([&](KelJsonCursor *c) {
        unsigned char *p = nullptr;
        n = _kel_jdec_hint(c, &p, 1);
    })),
              0);
    EXPECT_EQ(n, 3738u); // octets of 9e8999
    EXPECT_EQ(run(std::string(10000, '9'), number([](KelJsonCursor *c) {
        unsigned char *p = nullptr;
        _kel_jdec_hint(c, &p, 0);
    })),
              10);
    EXPECT_NE(message().find("0027S"), std::string::npos);
    EXPECT_EQ(run("-1", number([](KelJsonCursor *c) {
        unsigned char *p = nullptr;
        _kel_jdec_hint(c, &p, 1);
    })),
              2);
    EXPECT_EQ(run("007", number([](KelJsonCursor *c) {
        unsigned char *p = nullptr;
        _kel_jdec_hint(c, &p, 0);
    })),
              5);
}

// Rows sorted by name, as a table without hashes is searched.
const KelNameRow kColours[] = {{"blue", 4, 0, 7}, {"green", 5, 0, 2}, {"red", 3, 0, 0x10005}};

TEST_F(JsonIntegers, EnumeratorsAndMemberNames) {
    const KelNameTable closed{3, 0, kColours, nullptr};
    const KelNameTable open{3, 99, kColours, nullptr};
    int32_t v = -1;
    auto enumerated = [&](const KelNameTable *t) {
        return [&v, t](KelJsonCursor *c) {
            _kel_json_token(c, KEL_JTOK_ANY_VALUE);
            v = _kel_jdec_enum(c, t);
        };
    };
    ASSERT_EQ(run("\"green\"", enumerated(&closed)), 0);
    EXPECT_EQ(v, 2);
    ASSERT_EQ(run("\"pink\"", enumerated(&open)), 0);
    EXPECT_EQ(v, 99);
    EXPECT_EQ(run("\"pink\"", enumerated(&closed)), 5);
    EXPECT_NE(message().find("0365S: Invalid ENUMERATED identifier: 'pink'"), std::string::npos) << message();
    EXPECT_EQ(run("\"" + std::string(256, 'r') + "\"", enumerated(&closed)), 10);
    EXPECT_NE(message().find("ENUMERATED name"), std::string::npos);
    EXPECT_EQ(run("3", enumerated(&closed)), 5);

    auto member = [&](KelJsonCursor *c) {
        _kel_json_token(c, KEL_JTOK_ANY_VALUE);
        v = _kel_jdec_fidx(c, &closed);
    };
    ASSERT_EQ(run("\"red\"", member), 0);
    EXPECT_EQ(v, 5); // the field index is the low half
    EXPECT_EQ(run("\"blu\\u0065x\"", member), 5);
    EXPECT_NE(message().find("0362S: Unknown member name: 'bluex'"), std::string::npos) << message();
}

TEST_F(JsonIntegers, WrapperObjects) {
    const char *const pdus[] = {"Alpha", "Beta"};
    int found = -1;
    auto pdunum = [&](KelJsonCursor *c) {
        _kel_json_token(c, KEL_JTOK_ANY_VALUE);
        found = _kel_jdec_get_pdunum(c, pdus, 2);
    };
    ASSERT_EQ(run("{ \"Beta\" : [1]}", pdunum), 0);
    EXPECT_EQ(found, 2);
    EXPECT_EQ(cursor.token, uint32_t(KEL_JTOK_OPEN_ARRAY));
    EXPECT_EQ(rest(), "1]}");
    for (const char *plain : {"{\"beta\":1}", "{}", "[1]"}) {
        ASSERT_EQ(run(plain, pdunum), 0);
        EXPECT_EQ(found, 0) << plain;
        EXPECT_EQ(rest(), std::string(plain).substr(1));
    }
    EXPECT_EQ(run("{\"Gamma\":1}", pdunum), 5);
    EXPECT_NE(message().find("'Gamma'"), std::string::npos);

    auto wrapped = [&](KelJsonCursor *c) {
        _kel_json_token(c, KEL_JTOK_ANY_VALUE);
        found = _kel_jdec_wrapped(c, "Alpha");
    };
    ASSERT_EQ(run("{\"_Other\":true}", wrapped), 0);
    EXPECT_EQ(found, 1);
    world->decodingFlags = STRICT_ENCODING_DECODING_RULES;
    EXPECT_EQ(run("{\"_Other\":true}", wrapped), 5);
    ASSERT_EQ(run("{\"Alpha\":null}", wrapped), 0);
    EXPECT_EQ(cursor.token, uint32_t(KEL_JTOK_NULL));
}

TEST_F(JsonIntegers, OpenTypesAndUnknownExtensionsKeepRawText) {
    for (std::string value : {"{\"a\": [1, \"]\"]}", "[]", "\"x\\\"y\"", "-1.5e3", "true", "false", "null"}) {
        std::string got;
        ASSERT_EQ(run(" " + value + " ,", [&](KelJsonCursor *c) {
            _kel_json_token(c, KEL_JTOK_ANY_VALUE);
            unsigned char *p = nullptr;
            uint32_t n = _kel_jdec_opentype(c, &p);
            got.assign(reinterpret_cast<char *>(p), n);
        }),
                  0)
            << value;
        EXPECT_EQ(got, value);
    }
    EXPECT_EQ(run(",", [](KelJsonCursor *c) {
        _kel_json_token(c, KEL_JTOK_COMMA);
        unsigned char *p = nullptr;
        _kel_jdec_opentype(c, &p);
    }),
              5);

    KelJsonExtNode *head = nullptr, **slot = &head;
    uint32_t count = 0;
    ASSERT_EQ(run("\"x\":[1],\"y\":2}", [&](KelJsonCursor *c) {
        const unsigned char *member = c->world->inPos;
        _kel_json_token(c, KEL_JTOK_STRING);
        _kel_jget_string(c);
        _kel_json_token(c, KEL_JTOK_COLON);
        _kel_json_token(c, KEL_JTOK_ANY_VALUE);
        _kel_jdec_rsf_ext(c, member, &slot, &count);
        _kel_json_token(c, KEL_JTOK_COMMA);
        _kel_json_token(c, KEL_JTOK_STRING);
        _kel_jget_string(c);
        _kel_json_token(c, KEL_JTOK_COLON);
        _kel_json_token(c, KEL_JTOK_ANY_VALUE);
        _kel_jdec_rsf_ext(c, nullptr, &slot, &count);
    }),
              0);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(head->bytes), head->length), "\"x\":[1]");
    EXPECT_EQ(std::string(reinterpret_cast<char *>(head->next->bytes), head->next->length), "2");
    EXPECT_EQ(head->next->next, nullptr);
    EXPECT_EQ(slot, &head->next->next);
}

} // namespace
