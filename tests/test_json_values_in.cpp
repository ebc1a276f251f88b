// Tests of the JSON value decoders: strings with escapes, surrogates and raw
// UTF-8 in every memory form and capacity, hexadecimal data, BIT STRING in
// both forms and member orders, REAL forms and special values, object
// identifiers by number and name, and times with their range checks.
#include <cfloat>
#include <cmath>

#include "json_in_fixture.h"

namespace {

using kel_test::JsonInFixture;
using JsonValuesIn = JsonInFixture;

// Reads the value's first token, then decodes, as the generated code does.
template <class F> auto value(F decode) {
    return [decode](KelJsonCursor *c) {
        _kel_json_token(c, KEL_JTOK_ANY_VALUE);
        decode(c);
    };
}

struct Row {
    std::string text;
    std::string expected; // the value, or the message number ("0364S")
};

// Runs each row through `decode`, which gives the value as a string.
template <class F> void check(JsonValuesIn &t, const std::vector<Row> &rows, F decode, uint32_t flags = 0) {
    for (const Row &r : rows) {
        t.world->decodingFlags = flags;
        std::string got;
        const int code = t.run(r.text, value([&](KelJsonCursor *c) { got = decode(c); }));
        if (code)
            got = t.message().substr(1, 5);
        EXPECT_EQ(got, r.expected) << r.text << ": " << t.message();
    }
}

std::string hex(const unsigned char *p, uint32_t n) {
    static const char digits[] = "0123456789ABCDEF";
    std::string s;
    for (uint32_t i = 0; i < n; ++i)
        s += digits[p[i] >> 4], s += digits[p[i] & 15];
    return s;
}

const std::string kLong(300, 'x');

TEST_F(JsonValuesIn, Utf8StringsKeepTextAndResolveEscapes) {
    auto utf8 = [](KelJsonCursor *c) {
        unsigned char *v = nullptr;
        const uint32_t n = _kel_jdec_string8_unbounded(c, &v);
        return std::string(reinterpret_cast<char *>(v), n);
    };
    check(*this,
          {{"\"abc\"", "abc"},
           {"\"\"", ""},
           {"\"a\\\"b\\\\c\\/d\\n\"", "a\"b\\c/d\n"},
           {"\"\\u00e9\"", "\xC3\xA9"},
           {"\"\\uD83D\\uDE00!\"", "\xF0\x9F\x98\x80!"},
           {"\"caf\xC3\xA9 \xE2\x82\xAC\"", "caf\xC3\xA9 \xE2\x82\xAC"},
           {"\"" + kLong + "\\t" + kLong + "\"", kLong + "\t" + kLong},
           {"\"" + kLong + "\"", kLong},
           {"\"\\uD83Dx\"", "0366S"},
           {"\"\xC3\x41\"", "0120S"},
           {"\"\xFF\"", "0120S"},
           {"\"abc", "0081S"},
           {"\"ab\xE2\x82", "0081S"},
           {"12", "0361S"}},
          utf8);
}

TEST_F(JsonValuesIn, Latin1StringsTakeOneOctetPerCharacter) {
    auto latin1 = [](KelJsonCursor *c) {
        unsigned char *v = nullptr;
        const uint32_t n = _kel_jdec_string_unbounded(c, &v);
        return std::string(reinterpret_cast<char *>(v), n);
    };
    check(*this,
          {{"\"\\u00e9t\xC3\xA9\"", "\xE9t\xE9"},
           {"\"\\u0100\"", "0261E"},
           {"\"\xC4\x80\"", "0261E"},
           {"\"\xE2\x82\xAC\"", "0261E"}},
          latin1);
}

TEST_F(JsonValuesIn, ArraysWithExactAndMaximumCapacities) {
    struct Case {
        const char *text;
        int32_t capacity;
        bool utf8;
        const char *expected;
    };
    const Case cases[] = {
        {"\"abc\"", 3, false, "abc"},       {"\"ab\"", 3, false, "0063S"},
        {"\"abcd\"", 3, false, "0361S"},    {"\"ab\"", -4, false, "ab"},
        {"\"abc\"", -3, false, "abc"},      {"\"abcd\"", -3, false, "0361S"},
        {"\"a\\u00e9\"", 2, false, "a\xE9"}, {"\"a\\u00e9\"", -2, true, "0063S"},
        {"\"a\\u00e9\"", -3, true, "a\xC3\xA9"}, {"\"\"", 0, true, ""},
    };
    for (const Case &k : cases) {
        unsigned char out[8];
        std::string got;
        const int code = run(k.text, value([&](KelJsonCursor *c) {
                                 const uint32_t n = k.utf8 ? _kel_jdec_string8(c, out, k.capacity)
                                                           : _kel_jdec_string(c, out, k.capacity);
                                 got.assign(reinterpret_cast<char *>(out), n);
                             }));
        if (code)
            got = message().substr(1, 5);
        EXPECT_EQ(got, k.expected) << k.text << " " << k.capacity;
    }
}

TEST_F(JsonValuesIn, NullTerminatedVaryingAndCounting) {
    char *text = nullptr;
    ASSERT_EQ(run("\"a\\u0000b\"", value([&](KelJsonCursor *c) { EXPECT_EQ(_kel_jdec_string8_nullterm(c, &text), 3u); })), 0);
    EXPECT_EQ(std::memcmp(text, "a\0b", 4), 0);
    world->decodingFlags = STRICT_ENCODING_DECODING_RULES;
    EXPECT_NE(run("\"a\\u0000b\"", value([&](KelJsonCursor *c) { _kel_jdec_string_nullterm(c, &text); })), 0);
    EXPECT_EQ(message().substr(1, 5), "0046E");
    world->decodingFlags = 0;

    void *record = nullptr;
    ASSERT_EQ(run("\"hello\"", value([&](KelJsonCursor *c) { EXPECT_EQ(_kel_jdec_string_varying(c, &record, 4, 8), 5u); })), 0);
    EXPECT_EQ(std::string(static_cast<char *>(record) + 4, 5), "hello");
    EXPECT_NE(run("\"hello\"", value([&](KelJsonCursor *c) { _kel_jdec_string8_varying(c, &record, 4, 3); })), 0);
    EXPECT_EQ(message().substr(1, 5), "0063S");

    // The first pass leaves the input where it was.
    uint32_t plain = 9;
    ASSERT_EQ(run("\"a\\u00e9\"", value([&](KelJsonCursor *c) { EXPECT_EQ(_kel_jdec_str8_length(c, &plain), 3u); })), 0);
    EXPECT_EQ(plain, 0u);
    EXPECT_EQ(rest(), "a\\u00e9\"");
}

TEST_F(JsonValuesIn, WideStringsCountSurrogatePairsOnce) {
    auto bmp = [](KelJsonCursor *c) {
        uint16_t *v = nullptr;
        const uint32_t n = _kel_jdec_bmp_string(c, &v);
        std::string s;
        for (uint32_t i = 0; i < n; ++i)
            s += std::to_string(v[i]) + ",";
        return s;
    };
    auto universal = [](KelJsonCursor *c) {
        uint32_t *v = nullptr;
        const uint32_t n = _kel_jdec_universal_string(c, &v);
        std::string s;
        for (uint32_t i = 0; i < n; ++i)
            s += std::to_string(v[i]) + ",";
        return s;
    };
    check(*this, {{"\"a\xC3\xA9\\u20AC\"", "97,233,8364,"}, {"\"\\uD83D\\uDE00\"", "0261E"}, {"\"\xF0\x9F\x98\x80\"", "0261E"}},
          bmp);
    check(*this, {{"\"a\\uD83D\\uDE00\xF0\x9F\x98\x80\"", "97,128512,128512,"}, {"\"\"", ""}, {"\"\x80\"", "0120S"}},
          universal);
}

TEST_F(JsonValuesIn, HexadecimalData) {
    auto octets = [](int32_t capacity, bool bits) {
        return [=](KelJsonCursor *c) {
            unsigned char out[8];
            const uint32_t n = bits ? _kel_jdec_bits(c, out, capacity) : _kel_jdec_octets(c, out, capacity);
            return hex(out, n);
        };
    };
    check(*this,
          {{"\"0aFF\"", "0AFF"},
           {"\"\\u0030A\"", "0A"},
           {"\"\"", ""},
           {"\"0\"", "0364S"},
           {"\"0g\"", "0364S"},
           {"\"0102030405\"", "0361S"}},
          octets(-4, false));
    check(*this, {{"\"0102\"", "0063S"}, {"\"010203\"", "010203"}}, octets(3, false));
    unsigned char out[4];
    EXPECT_NE(run("\"0102\"", value([&](KelJsonCursor *c) { _kel_jdec_bits(c, out, 3); })), 0);
    EXPECT_NE(message().find("16"), std::string::npos) << message();

    check(*this, {{"\"DEADBEEF\"", "DEADBEEF"}, {"\"\"", ""}}, [](KelJsonCursor *c) {
        unsigned char *v = nullptr;
        const uint32_t n = _kel_jdec_hstring_unbounded(c, &v);
        return hex(v, n);
    });
    check(*this, {{"\"ABCD\"", "ABCD"}, {"\"ABCDEF\"", "0063S"}}, [](KelJsonCursor *c) {
        void *v = nullptr;
        const uint32_t n = _kel_jdec_hstring_varying(c, &v, 2, 2);
        return hex(static_cast<unsigned char *>(v) + 2, n);
    });
}

TEST_F(JsonValuesIn, BitStringObjects) {
    auto unbounded = [](KelJsonCursor *c) {
        unsigned char *v = nullptr;
        const uint32_t n = _kel_jdec_bit_unbounded(c, &v);
        return std::to_string(n) + ":" + hex(v, (n + 7) / 8);
    };
    const std::vector<Row> rows = {
        {"{\"length\":4,\"value\":\"A0\"}", "4:A0"},
        {"{\"value\":\"A0\",\"length\":4}", "4:A0"},
        {"{ \"value\" : \"\" , \"length\" : 0 }", "0:"},
        {"{\"value\":\"A1\",\"length\":4}", "4:A1"},
        {"{\"value\":\"A0\"}", "0364S"},
        {"{\"length\":4}", "0364S"},
        {"{}", "0364S"},
        {"{\"value\":\"A0\",\"value\":\"A0\",\"length\":4}", "0364S"},
        {"{\"length\":4,\"length\":4}", "0364S"},
        {"{\"value\":\"A0\",\"length\":12}", "0364S"},
        {"{\"value\":\"A0B0\",\"length\":4}", "0364S"},
        {"{\"valu\":\"A0\",\"length\":4}", "0362S"},
        {"{\"value\":\"A0\",\"length\":-4}", "0023E"},
        {"\"A0\"", "0361S"},
    };
    check(*this, rows, unbounded);
    check(*this, {{"{\"value\":\"A1\",\"length\":4}", "0263E"}, {"{\"value\":\"A0\",\"length\":4}", "4:A0"}}, unbounded,
          STRICT_ENCODING_DECODING_RULES);
}

TEST_F(JsonValuesIn, BitStringMemoryForms) {
    auto padded = [](int32_t size, bool named) {
        return [=](KelJsonCursor *c) {
            const uint32_t v = named ? _kel_jdec_named_bit_padded(c, size) : _kel_jdec_bit_padded(c, size);
            char text[16];
            std::snprintf(text, sizeof text, "%X", v);
            return std::string(text);
        };
    };
    check(*this, {{"{\"value\":\"A0\",\"length\":4}", "A0"}, {"{\"value\":\"A0A0\",\"length\":12}", "0063S"}}, padded(-4, false));
    check(*this, {{"\"ABC0\"", "ABC0"}, {"\"AB\"", "0063S"}, {"\"ABC0DE\"", "0361S"}}, padded(12, false));
    check(*this, {{"\"ABCDEF\"", "ABCDEF00"}}, padded(24, false));
    check(*this, {{"\"ABC1\"", "0263E"}}, padded(12, false), STRICT_ENCODING_DECODING_RULES);
    // Named bits: trailing zero bits beyond the size are cut, others refused.
    check(*this,
          {{"{\"value\":\"A00000\",\"length\":20}", "A0"},
           {"{\"value\":\"A00001\",\"length\":24}", "0063S"},
           {"{\"value\":\"A8\",\"length\":5}", "0063S"}},
          padded(-4, true));

    auto varying = [](uint32_t capacity, bool named) {
        return [=](KelJsonCursor *c) {
            unsigned char out[2] = {0, 0};
            const uint32_t n = named ? _kel_jdec_named_bit_varying(c, out, capacity) : _kel_jdec_bit_varying(c, out, capacity);
            return std::to_string(n) + ":" + hex(out, 2);
        };
    };
    check(*this, {{"{\"value\":\"FFF0\",\"length\":12}", "12:FFF0"}, {"{\"value\":\"FFFF00\",\"length\":24}", "0063S"}},
          varying(16, false));
    check(*this, {{"{\"value\":\"FF00\",\"length\":16}", "0063S"}}, varying(12, false));
    check(*this, {{"{\"length\":32,\"value\":\"FFF00000\"}", "12:FFF0"}}, varying(12, true));

    void *field = nullptr;
    ASSERT_EQ(run("{\"value\":\"C0\",\"length\":2}", value([&](KelJsonCursor *c) {
                      EXPECT_EQ(_kel_jdec_bit_varying_ptr(c, &field, 4, 16), 2u);
                  })),
              0);
    EXPECT_EQ(static_cast<unsigned char *>(field)[4], 0xC0);
}

TEST_F(JsonValuesIn, RealForms) {
    auto dbl = [](uint32_t flags) {
        return [=](KelJsonCursor *c) {
            const double v = _kel_jdec_real_double(c, flags);
            char text[40];
            std::snprintf(text, sizeof text, "%.17g", v);
            return std::string(std::signbit(v) ? "s" : "") + text;
        };
    };
    const std::vector<Row> rows = {
        {"1.5", "1.5"},
        {"-0", "0"},
        {"-0.25e-1", "s-0.025000000000000001"},
        {"{\"base\":10,\"value\":1.5E2}", "150"},
        {"{\"value\":2,\"base\":2}", "2"},
        {"{\"value\":2}", "2"},
        {"{\"specialValue\":\"INF\"}", "1.7976931348623157e+308"},
        {"{\"specialValue\":\"-INF\"}", "s-1.7976931348623157e+308"},
        {"{\"specialValue\":\"NaN\"}", "nan"},
        {"{\"specialValue\":\"-0\"}", "s-0"},
        {"{}", "0364S"},
        {"{\"base\":10}", "0364S"},
        {"{\"specialValue\":\"inf\"}", "0364S"},
        {"{\"value\":1,\"specialValue\":\"INF\"}", "0364S"},
        {"{\"value\":1,\"value\":2}", "0364S"},
        {"{\"base\":3,\"value\":1}", "0364S"},
        {"{\"vale\":1}", "0362S"},
        {"00", "0364S"},
        {"01", "0364S"},
        {"1.", "0364S"},
        {"1e", "0364S"},
        {"-", "0364S"},
        {"1e400", "0099E"},
        {"\"1\"", "0364S"},
        {std::string(300, '1'), "0363S"},
        // Exponents of 10,000 digits: refused when the scratch is full,
        // not read on to the end.
        {"1e" + std::string(10000, '9'), "0363S"},
        {"1E-" + std::string(10000, '0') + "1", "0363S"},
    };
    check(*this, rows, dbl(0));
    check(*this, {{"-0", "0126S"}, {"{\"value\":1}", "0126S"}, {"1", "1"}}, dbl(2), STRICT_ENCODING_DECODING_RULES);
    check(*this, {{"{\"value\":1}", "1"}, {"1", "0126S"}}, dbl(1), STRICT_ENCODING_DECODING_RULES);

    auto flt = [](KelJsonCursor *c) {
        const float v = _kel_jdec_real_float(c, 0);
        return std::to_string(static_cast<double>(v) == 3.4028234663852886e38) + (std::isnan(v) ? "n" : "");
    };
    check(*this, {{"{\"specialValue\":\"INF\"}", "1"}, {"{\"specialValue\":\"NaN\"}", "0n"}, {"1e39", "0099E"}}, flt);

    auto decimal = [](uint32_t flags) {
        return [=](KelJsonCursor *c) {
            double slot[2] = {0, 0};
            const uint32_t kind = _kel_jdec_real_mixed(c, slot, flags);
            if (kind == 0)
                return "d" + std::to_string(slot[0]);
            char *text;
            std::memcpy(&text, slot, sizeof text);
            return "t" + std::string(text);
        };
    };
    check(*this,
          {{"1.5E2", "t1.5E2"},
           {"{\"specialValue\":\"INF\"}", "tPLUS_INFINITY"},
           {"{\"specialValue\":\"-0\"}", "t-0"},
           {"{\"base\":2,\"value\":0.5}", "d0.500000"},
           {"{\"base\":10,\"value\":0.5}", "t0.5"}},
          decimal(4));
    check(*this, {{"1.5E2", "d150.000000"}}, decimal(0));
}

TEST_F(JsonValuesIn, ObjectIdentifiers) {
    auto arcs = [](KelJsonCursor *c) {
        uint32_t *v = nullptr;
        const uint32_t n = _kel_jdec_oid_unbounded_i(c, &v);
        std::string s;
        for (uint32_t i = 0; i < n; ++i)
            s += std::to_string(v[i]) + ".";
        return s;
    };
    check(*this,
          {{"\"1.2.840\"", "1.2.840."},
           {"\"iso.member-body.840\"", "1.2.840."},
           {"\"iso(1).member-body(2).us(840)\"", "1.2.840."},
           {"\"joint-iso-itu-t.999.3\"", "2.999.3."},
           {"\"0.0.e\"", "0.0.5."},
           {"\"1.2.4294967295\"", "1.2.4294967295."},
           {"\"1.2.4294967296\"", "0025E"},
           {"\"1\"", "0010S"},
           {"\"\"", "0010S"},
           {"\"3.1\"", "0010S"},
           {"\"1.40\"", "0010S"},
           {"1", "0361S"}},
          arcs);

    auto shorts = [](KelJsonCursor *c) {
        uint16_t out[3];
        const uint32_t n = _kel_jdec_oid_array_s(c, out, 3);
        return std::to_string(n) + ":" + std::to_string(out[n - 1]);
    };
    check(*this, {{"\"1.3.65535\"", "3:65535"}, {"\"1.3.65536\"", "0025E"}, {"\"1.3.6.1\"", "0063S"}}, shorts);

    void *head = nullptr;
    ASSERT_EQ(run("\"2.5.4.3\"", value([&](KelJsonCursor *c) { _kel_jdec_oid_linked_i(c, &head, 0); })), 0);
    std::string linked;
    for (auto *n = static_cast<KelOidLink *>(head); n; n = n->next)
        linked += std::to_string(n->value) + ".";
    EXPECT_EQ(linked, "2.5.4.3.");

    void *block = nullptr;
    ASSERT_EQ(run("\"1.2.3\"", value([&](KelJsonCursor *c) { block = _kel_jdec_oid_array_l_ptr(c, 8); })), 0);
    uint16_t count;
    std::memcpy(&count, block, 2);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(reinterpret_cast<unsigned long *>(static_cast<char *>(block) + 8)[2], 3ul);

    auto encoded = [](uint32_t capacity) {
        return [=](KelJsonCursor *c) {
            unsigned char fixed[8];
            unsigned char *allocated = nullptr;
            const bool allocate = (capacity & 0x7FFFFFFF) == 0 || capacity == ~0u;
            const uint32_t n = _kel_jdec_oid_encoded(c, allocate ? static_cast<void *>(&allocated) : fixed, capacity);
            return hex(allocate ? allocated : fixed, n);
        };
    };
    check(*this, {{"\"1.2.840.113549\"", "2A864886F70D"}, {"\"2.999\"", "8837"}, {"\"1.2.840.113549.1\"", "2A864886F70D01"}}, encoded(0));
    check(*this, {{"\"1.2.840.113549\"", "0063S"}, {"\"1.2.840\"", "2A8648"}}, encoded(4));
    check(*this, {{"\"840.1\"", "864801"}, {"\"\"", ""}, {"\"5\"", "05"}}, encoded(~0u));
    check(*this, {{"\"840.1.2.3.4.5.6.7\"", "0063S"}}, encoded(~4u));
}

TEST_F(JsonValuesIn, TimesAndTheirRanges) {
    auto gtime = [](KelJsonCursor *c) {
        KelTimeStruct t{};
        _kel_jdec_gtime(c, &t);
        char text[64];
        std::snprintf(text, sizeof text, "%d-%d-%d %d:%d:%d.%d %d%s", t.year, t.month, t.day, t.hour, t.minute,
                      t.second, t.millisec, t.mindiff, t.utc ? "Z" : "");
        return std::string(text);
    };
    check(*this,
          {{"\"20240229123456.789Z\"", "2024-2-29 12:34:56.789 0Z"},
           {"\"20240229123456+0130\"", "2024-2-29 12:34:56.0 90"},
           {"\"20240229x\"", "0364S"},
           {"\"" + kLong + "\"", "0363S"},
           {"1", "0361S"}},
          gtime);
    auto utime = [](KelJsonCursor *c) {
        KelTimeStruct t{};
        _kel_jdec_utime(c, &t);
        return std::to_string(t.year) + "/" + std::to_string(t.utc);
    };
    check(*this, {{"\"240229123456Z\"", "24/1"}, {"\"2402291234Zx\"", "0364S"}}, utime);
    // Out-of-range fields: refused unless NOCONSTRAIN.
    const std::string bad = "\"20241332000000Z\"";
    std::string got;
    const int code = run(bad, value([&](KelJsonCursor *c) { got = gtime(c); }));
    ASSERT_NE(code, 0) << got;
    EXPECT_EQ(message().substr(1, 5), std::string(kelErrMsgs[73].text, 5)) << message();
    world->decodingFlags = NOCONSTRAIN;
    EXPECT_EQ(run(bad, value([&](KelJsonCursor *c) { got = gtime(c); })), 0) << message();
    EXPECT_EQ(got.substr(0, 8), "2024-13-");
}

} // namespace
