// Tests of the JSON encoders: exact text in compact and indented layout,
// count mode against the real length, writes across block ends, escapes and
// Unicode checks, REAL canonical text and special values, object
// identifiers, times, and the encode driver with its layout restoring.
#include <cfloat>
#include <cmath>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_json.h"
#include "kelvarn_oer.h"

namespace {

using kel_test::BriefWorld;
using kel_test::in_frame;
using Body = std::function<void(KelGlobal *)>;

struct JsonEnc : ::testing::Test {
    BriefWorld brief;
    KelGlobal *world = brief.get();

    void TearDown() override {
        _kel_freetempMem(world);
        _kel_freeMem(world, world->freeMem);
    }

    // Layout as the driver sets it: a negative step is compact output.
    void layout(int32_t indent, uint32_t flags = 0) {
        world->ext->jsonIndent = indent;
        world->ext->jsonFlags = flags;
        _kel_jenc_init_env(world);
    }

    // The text `body` writes in library memory.  The count mode agrees with
    // its length, or exceeds it by no more than the slack of the line breaks
    // that compact output leaves out.  A failure leaves its code in *rc.
    std::string text(const Body &body, int *rc = nullptr) {
        const KelWorldExt saved = *world->ext;
        const uint32_t flags = world->encodingFlags & ~DETERMINE_ENC_LENGTH;
        world->encodingFlags = flags | DETERMINE_ENC_LENGTH;
        world->encLength = 0;
        const int counted = in_frame(world, kel::kPhaseEncoder, [&] { body(world); });
        const uint32_t count = world->encLength;
        world->ext->jsonCurrentIndent = saved.jsonCurrentIndent;
        world->encodingFlags = flags;
        world->userBuffer = 0, world->outPos = nullptr, world->outRemaining = 0;
        world->outQueueTail = &world->outQueue;
        const int code = in_frame(world, kel::kPhaseEncoder, [&] { body(world); });
        world->ext->jsonCurrentIndent = saved.jsonCurrentIndent;
        EXPECT_EQ(counted, code);
        if (rc)
            *rc = code;
        else
            EXPECT_EQ(code, 0) << kelGetErrMsg(world);
        if (code) {
            _kel_freeMem(world, world->freeMem);
            return {};
        }
        uint32_t length = 0;
        unsigned char *value = nullptr;
        _kel_set_outmem_p(world, &length, &value);
        std::string out(reinterpret_cast<char *>(value), length);
        world->freeMem(world, value);
        if (world->ext->jsonFlags & JSON_COMPACT_ENCODING)
            EXPECT_GE(count, length);
        else
            EXPECT_EQ(count, length);
        return out;
    }

    // The printed number of the message that `body` fails with.
    std::string failure(const Body &body) {
        int rc = 0;
        text(body, &rc);
        EXPECT_NE(rc, 0);
        const std::string message = kelGetErrMsg(world);
        const size_t at = message.find_first_of("0123456789");
        return at == std::string::npos ? message : message.substr(at, 5);
    }
};

const unsigned char *bytes(const char *s) { return reinterpret_cast<const unsigned char *>(s); }

// ---------------------------------------------------------------------------
// Layout
// ---------------------------------------------------------------------------

void one_member_object(KelGlobal *w) {
    _kel_jenc_begin_object(w);
    _kel_jenc_element(w, "a", 0);
    _kel_jenc_lint(w, 1);
    _kel_jenc_element(w, "b", 1);
    _kel_jenc_begin_array(w);
    _kel_jenc_end_array(w, 0);
    _kel_jenc_end_object(w, 1);
}

TEST_F(JsonEnc, LayoutByIndentStep) {
    const struct {
        int32_t indent;
        const char *expected;
    } rows[] = {
        {-1, "{\"a\":1,\"b\":[]}"},
        {0, "{\n\"a\":1,\n\"b\":[]\n}"},
        {2, "{\n  \"a\":1,\n  \"b\":[]\n}"},
    };
    for (const auto &row : rows) {
        layout(row.indent);
        EXPECT_EQ(text(one_member_object), row.expected) << row.indent;
    }
}

TEST_F(JsonEnc, WritesAcrossBlockEnds) {
    // Odd offsets put hexadecimal pairs and indents across block ends.
    layout(40);
    std::string data(700, '\0');
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<char>(i * 7);
    const std::string out = text([&](KelGlobal *w) {
        _kel_jenc_append(w, "x", 1);
        for (int i = 0; i < 3; ++i)
            _kel_jenc_append_hexs(w, bytes(data.data()), 700);
        for (int i = 0; i < 60; ++i) {
            _kel_jenc_begin_object(w);
            _kel_jenc_indent(w);
        }
    });
    // 'x', 2100 pairs, then per level a brace, a line feed and 40 blanks a level.
    ASSERT_EQ(out.size(), 1 + 4200u + 60 * 2 + 40 * (60 * 61 / 2));
    static const char hex[] = "0123456789ABCDEF";
    for (size_t i = 0; i < 2100; ++i) {
        const auto octet = static_cast<unsigned char>(data[i % 700]);
        ASSERT_EQ(out[1 + 2 * i], hex[octet >> 4]) << i;
        ASSERT_EQ(out[2 + 2 * i], hex[octet & 15]) << i;
    }
}

TEST_F(JsonEnc, CallersBufferTooSmall) {
    unsigned char area[5];
    world->userBuffer = 1, world->outPos = area, world->outRemaining = 5, world->memTotal = 5;
    EXPECT_EQ(in_frame(world, kel::kPhaseEncoder, [&] { _kel_jenc_append(world, "123456", 6); }), 1);
}

// ---------------------------------------------------------------------------
// Integers and enumerations
// ---------------------------------------------------------------------------

TEST_F(JsonEnc, Integers) {
    EXPECT_EQ(text([](KelGlobal *w) { _kel_jenc_lint(w, INT32_MIN); }), "-2147483648");
    EXPECT_EQ(text([](KelGlobal *w) { _kel_jenc_ulint(w, UINT32_MAX); }), "4294967295");
    EXPECT_EQ(text([](KelGlobal *w) { _kel_jenc_llint(w, INT64_MIN); }), "-9223372036854775808");
    EXPECT_EQ(text([](KelGlobal *w) { _kel_jenc_ullint(w, UINT64_MAX); }), "18446744073709551615");
    EXPECT_EQ(text([](KelGlobal *w) { _kel_jenc_lint(w, 0); }), "0");
    char buffer[24];
    char *end = buffer + sizeof buffer;
    EXPECT_EQ(_kel_jenc_ltoa(static_cast<uint32_t>(-905), &end, 1), 4u);
    EXPECT_EQ(std::string(end, 4), "-905");
}

TEST_F(JsonEnc, HugeIntegers) {
    const struct {
        std::string octets;
        bool isUnsigned;
        const char *expected;
    } rows[] = {
        {std::string("\x00\x00\x7F", 3), false, "127"},
        {std::string("\xFF\xFF\x80", 3), false, "-128"},
        {std::string("\xFF", 1), true, "255"},
        {std::string("\x00", 1), false, "0"},
        {std::string("\x01\x00\x00\x00\x00\x00\x00\x00\x00", 9), false, "18446744073709551616"},
        {std::string("\x80\x00\x00\x00\x00\x00\x00\x00", 8), false, "-9223372036854775808"},
    };
    for (const auto &row : rows) {
        const auto n = static_cast<int32_t>(row.octets.size());
        EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_hint(w, bytes(row.octets.data()), row.isUnsigned ? -n : n); }),
                  row.expected);
    }
    // 2^320 - 1 through the temporary work area, beyond 64 octets of room.
    std::string big(40, '\xFF');
    const std::string out = text([&](KelGlobal *w) { _kel_jenc_hint(w, bytes(big.data()), -40); });
    EXPECT_EQ(out.size(), 97u);
    EXPECT_EQ(out.substr(0, 6), "213598");
    EXPECT_EQ(failure([](KelGlobal *w) { _kel_jenc_hint(w, nullptr, 4); }), "0037E");
}

TEST_F(JsonEnc, Enumerations) {
    static const KelJsonEnumRow rows[] = {{-5, "minus"}, {0, "zero"}, {7, "seven"}};
    const KelJsonEnumTable table{3, nullptr, rows};
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_enum(w, &table, -5); }), "\"minus\"");
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_enum(w, &table, 7); }), "\"seven\"");
    EXPECT_EQ(failure([&](KelGlobal *w) { _kel_jenc_enum(w, &table, 3); }), "0071S");
    const KelJsonEnumTable extensible{3, "other", rows};
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_enum(w, &extensible, 3); }), "\"other\"");
}

// ---------------------------------------------------------------------------
// Strings
// ---------------------------------------------------------------------------

TEST_F(JsonEnc, EscapesAndUnicode) {
    const struct {
        std::string in;
        int utf8;
        uint32_t flags;
        const char *expected;
    } rows[] = {
        {"plain text that is long enough for words", 1, 0, "\"plain text that is long enough for words\""},
        {std::string("q\"b\\s/\b\t\n\f\r\x01\x1F\x7F", 14), 1, 0, "\"q\\\"b\\\\s/\\b\\t\\n\\f\\r\\u0001\\u001F\x7F\""},
        {std::string("\0", 1), 0, 0, "\"\\u0000\""},
        {"caf\xE9", 0, 0, "\"caf\xC3\xA9\""},
        {"caf\xE9", 0, JSON_USE_UNICODE_ESCAPE_SEQUENCE, "\"caf\\u00E9\""},
        {"abcdefgh\xC3\xA9ijklmnop\xF0\x9F\x98\x80", 1, 0, "\"abcdefgh\xC3\xA9ijklmnop\xF0\x9F\x98\x80\""},
        {"\xF0\x9F\x98\x80-\xC3\xA9", 1, JSON_USE_UNICODE_ESCAPE_SEQUENCE, "\"\\uD83D\\uDE00-\\u00E9\""},
    };
    for (const auto &row : rows) {
        layout(2, row.flags);
        EXPECT_EQ(text([&](KelGlobal *w) {
                      _kel_jenc_pad_char(w, bytes(row.in.data()), static_cast<uint32_t>(row.in.size()), row.utf8);
                  }),
                  row.expected)
            << row.in;
    }
}

TEST_F(JsonEnc, BadUtf8) {
    const struct {
        std::string in;
        const char *message;
    } rows[] = {
        {"\xED\xA0\x80", "0367S"},         // lone surrogate
        {"\xEF\xBF\xBF", "0367S"},         // U+FFFF
        {"\xF4\x90\x80\x80", "0367S"},     // beyond U+10FFFF
        {"ab\x80", "0120S"},               // continuation in lead place
        {"\xC3", "0120S"},                 // cut short
        {"\xC3(", "0120S"},                // bad continuation
        {"\xFE\x80\x80\x80\x80\x80", "0120S"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(failure([&](KelGlobal *w) {
                      _kel_jenc_pad_char(w, bytes(row.in.data()), static_cast<uint32_t>(row.in.size()), 1);
                  }),
                  row.message)
            << row.in;
}

TEST_F(JsonEnc, WideCharacters) {
    static const uint32_t wide[] = {'a', '"', 10, 0x7F, 0xE9, 0x1F600};
    static const uint16_t bmp[] = {'x', 0x20AC};
    EXPECT_EQ(text([](KelGlobal *w) { _kel_jenc_4byte_char(w, wide, 6); }),
              "\"a\\\"\\n\x7F\xC3\xA9\xF0\x9F\x98\x80\"");
    EXPECT_EQ(text([](KelGlobal *w) { _kel_jenc_2byte_char(w, bmp, 2); }), "\"x\xE2\x82\xAC\"");
    layout(2, JSON_USE_UNICODE_ESCAPE_SEQUENCE);
    EXPECT_EQ(text([](KelGlobal *w) { _kel_jenc_4byte_char(w, wide, 6); }),
              "\"a\\\"\\n\\u007F\\u00E9\\uD83D\\uDE00\"");
    static const uint16_t surrogate[] = {0xD800};
    EXPECT_EQ(failure([](KelGlobal *w) { _kel_jenc_2byte_char(w, surrogate, 1); }), "0367S");
    // More than the local gathering buffer holds.
    std::u32string many(500, U'\u00E9');
    const std::string out = text([&](KelGlobal *w) {
        _kel_jenc_4byte_char(w, reinterpret_cast<const uint32_t *>(many.data()), 500);
    });
    EXPECT_EQ(out.size(), 2 + 500 * 6u);
}

// ---------------------------------------------------------------------------
// Bit strings
// ---------------------------------------------------------------------------

TEST_F(JsonEnc, BitStrings) {
    layout(-1);
    const unsigned char value[] = {0xA5, 0xFF};
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_bit_padded(w, value, 12, 1); }), "\"A5F0\"");
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_bit_padded(w, value, 12, 0); }), "{\"value\":\"A5F0\",\"length\":12}");
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_bit_unbounded(w, value, 0); }), "{\"value\":\"\",\"length\":0}");
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_pad_bit(w, 0xA000, 12, 1); }), "\"A000\"");
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_pad_bit(w, 0xC0, 3, 1); }), "\"C0\"");
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_bit_unbounded_fixed(w, value, 8, 24); }), "\"A50000\"");
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_bit_unbounded_fixed(w, value, 0, 0); }), "\"\"");
    const unsigned char named[] = {0x80, 0x00, 0x00};
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_nbit_constr(w, named, 24, 4); }), "{\"value\":\"80\",\"length\":4}");
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_nbit_constr(w, named, 1, 300); }).size(),
              std::string("{\"value\":\"\",\"length\":300}").size() + 76);
    layout(2);
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_bit_unbounded(w, value, 16); }),
              "{\n  \"value\":\"A5FF\",\n  \"length\":16\n}");
}

// ---------------------------------------------------------------------------
// REAL
// ---------------------------------------------------------------------------

TEST_F(JsonEnc, RealText) {
    layout(-1);
    const struct {
        int mode;
        double value;
        const char *expected;
    } rows[] = {
        {2, 1.0, "1.0E0"},
        {2, -0.1, "-1.0E-1"},
        {2, 123456.75, "1.2345675E5"},
        {2, 0.0, "0"},
        {6, 1e300, "1.0E300"},
        {0, 2.5, "{\"base\":2,\"value\":2.5E0}"},
        {1, 2.5, "{\"value\":2.5E0}"},
        {5, 0.0, "{\"value\":0}"},
        {0, DBL_MAX, "{\"specialValue\":\"INF\"}"},
        {1, -DBL_MAX, "{\"specialValue\":\"-INF\"}"},
        {0, NAN, "{\"specialValue\":\"NaN\"}"},
        {0, -0.0, "{\"specialValue\":\"-0\"}"},
        {6, -0.0, "{\"specialValue\":\"-0\"}"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_real_double(w, row.mode, row.value); }), row.expected)
            << row.value;
    EXPECT_EQ(failure([](KelGlobal *w) { _kel_jenc_real_double(w, 2, -0.0); }), "0126S");
    EXPECT_EQ(failure([](KelGlobal *w) { _kel_jenc_real_double(w, 2, NAN); }), "0126S");
    EXPECT_EQ(text([](KelGlobal *w) { _kel_jenc_real_float(w, 2, 0.5f); }), "5.0E-1");
    EXPECT_EQ(text([](KelGlobal *w) { _kel_jenc_real_float(w, 0, FLT_MAX); }), "{\"specialValue\":\"INF\"}");
}

TEST_F(JsonEnc, DecimalReal) {
    layout(-1);
    const struct {
        const char *in;
        int mode;
        const char *expected;
    } rows[] = {
        {"0012.500", 2, "1.25E1"},
        {"-0.00034e2", 2, "-3.4E-2"},
        {"0.0", 2, "0"},
        {"7", 0, "{\"base\":10,\"value\":7.0E0}"},
        {"PLUS_INFINITY", 1, "{\"specialValue\":\"INF\"}"},
        {"NOT_A_NUMBER", 0, "{\"specialValue\":\"NaN\"}"},
        {"-0", 0, "{\"specialValue\":\"-0\"}"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_real_decimal(w, row.in, row.mode); }), row.expected) << row.in;
    const struct {
        const char *in;
        const char *message;
    } bad[] = {{"PLUS", "0091E"}, {"1.5x", "0091E"}, {"E5", "0038E"}, {"1E", "0039E"}, {"-0.0", "0126S"}};
    for (const auto &row : bad)
        EXPECT_EQ(failure([&](KelGlobal *w) { _kel_jenc_real_decimal(w, row.in, 2); }), row.message) << row.in;
}

// ---------------------------------------------------------------------------
// Object identifiers
// ---------------------------------------------------------------------------

TEST_F(JsonEnc, ObjectIdentifiers) {
    static const uint32_t arcs[] = {1, 2, 840, 113549, 4294967295u};
    EXPECT_EQ(text([](KelGlobal *w) { _kel_jenc_oid_unbounded_i(w, arcs, 5, 0); }), "\"1.2.840.113549.4294967295\"");
    static const uint16_t shorts[] = {2, 999, 65535};
    EXPECT_EQ(text([](KelGlobal *w) { _kel_jenc_oid_unbounded_s(w, shorts, 3, 3); }), "\"2.999.65535\"");
    struct ShortLink {
        const ShortLink *next;
        uint16_t value;
    };
    const ShortLink third{nullptr, 5}, second{&third, 3}, first{&second, 0};
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_oid_linked_s(w, &first, 0, 0); }), "\"0.3.5\"");
    const unsigned char encoded[] = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D};
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_oid_encoded(w, encoded, 6, 0, 0); }), "\"1.2.840.113549\"");
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_oid_encoded(w, encoded + 1, 5, 0, 1); }), "\"840.113549\"");

    const struct {
        std::vector<uint32_t> arcs;
        uint32_t limit;
        const char *message;
    } bad[] = {
        {{1}, 0, "0010S"},          {{3, 1}, 0, "0010S"}, {{1, 40}, 0, "0010S"}, {{0, 0, 27}, 0, "0010S"},
        {{0, 0, 0}, 0, "0010S"},    {{1, 2, 3}, 2, "0016S"},
    };
    for (const auto &row : bad)
        EXPECT_EQ(failure([&](KelGlobal *w) {
                      _kel_jenc_oid_unbounded_l(w, row.arcs.data(), static_cast<uint32_t>(row.arcs.size()), row.limit);
                  }),
                  row.message);
    EXPECT_EQ(failure([&](KelGlobal *w) { _kel_jenc_oid_encoded(w, encoded, 0, 0, 0); }), "0010S") << "no arc";
    EXPECT_EQ(failure([&](KelGlobal *w) { _kel_jenc_oid_encoded(w, encoded, 6, 3, 0); }), "0016S");
}

// ---------------------------------------------------------------------------
// Times
// ---------------------------------------------------------------------------

TEST_F(JsonEnc, Times) {
    KelTimeStruct t{2024, 2, 29, 23, 59, 58, 120, 0, 1};
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_gtime(w, &t); }), "\"20240229235958.12Z\"");
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_utime(w, &t); }), "\"240229235958Z\"");
    t.utc = 0, t.mindiff = -330, t.millisec = 0;
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_gtime(w, &t); }), "\"20240229235958-0530\"");
    t.mindiff = 0;
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_gtime(w, &t); }), "\"20240229235958\"");
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_utime(w, &t); }), "\"240229235958Z\"");

    const struct {
        KelTimeStruct time;
        const char *message;
    } bad[] = {
        {{2024, 13, 1, 0, 0, 0, 0, 0, 1}, "0012S: Out-of-range value in time type. Month = 13"},
        {{2024, 1, 0, 0, 0, 0, 0, 0, 1}, "0012S: Out-of-range value in time type. Day = 0"},
        {{2024, 1, 1, 24, 0, 0, 0, 0, 1}, "0012S: Out-of-range value in time type. Hour = 24"},
        {{2024, 1, 1, 0, 60, 0, 0, 0, 1}, "0012S: Out-of-range value in time type. Minute = 60"},
        {{2024, 1, 1, 0, 0, 60, 0, 0, 1}, "0012S: Out-of-range value in time type. Second = 60"},
        {{2024, 1, 1, 0, 0, 0, 1000, 0, 1}, "0012S: Out-of-range value in time type. Millisecond = 1000"},
        {{12024, 1, 1, 0, 0, 0, 0, 0, 1}, "0012S: Out-of-range value in time type"},
    };
    for (const auto &row : bad) {
        int rc = 0;
        text([&](KelGlobal *w) { _kel_jenc_gtime(w, &row.time); }, &rc);
        EXPECT_EQ(rc, 12);
        EXPECT_NE(std::string(kelGetErrMsg(world)).find(row.message), std::string::npos) << kelGetErrMsg(world);
    }
    world->encodingFlags = NOCONSTRAIN;
    KelTimeStruct month13{2024, 13, 1, 0, 0, 0, 0, 0, 1};
    world->encRules = KEL_CXER;
    month13.utc = 0;
    EXPECT_EQ(failure([&](KelGlobal *w) { _kel_jenc_gtime(w, &month13); }), "0013S");
    world->encRules = KEL_JSON;
    EXPECT_EQ(text([&](KelGlobal *w) { _kel_jenc_gtime(w, &month13); }), "\"20241301000000\"");
    world->encodingFlags = 0;
    EXPECT_EQ(text([](KelGlobal *w) { _kel_jenc_nlltrm_date_time(w, "2024-02-29T10:00:00Z"); }),
              "\"2024-02-29T10:00:00Z\"");
}

// ---------------------------------------------------------------------------
// The driver
// ---------------------------------------------------------------------------

// PDU 1 is the fixed object; PDU 2 a number, read from OER for the
// conversion.
int driver_encode(KelGlobal *world, int pdu, void *value) {
    if (pdu == 2)
        _kel_jenc_ulint(world, *static_cast<uint32_t *>(value));
    else
        one_member_object(world);
    return 0;
}

void *driver_oer_decode(KelGlobal *world, int) {
    auto *value = static_cast<uint32_t *>(_kel_dec_getmem(world, 8));
    *value = _kel_odec_uint(world);
    return value;
}

int driver_free(KelGlobal *world, int, void *value) {
    kelFreeBuf(world, value);
    return 0;
}

KelXApiTable driver_api;

void driver_init(KelGlobal *world) {
    kelLinkJsonE(world);
    kelLinkOerD(world);
    driver_api.jsonEncode = driver_encode;
    driver_api.oerDecode = reinterpret_cast<KelDecodeFn>(reinterpret_cast<void (*)()>(driver_oer_decode));
    kelInitXAPIentries(world, &driver_api);
}

KelControlTable driver_table = {driver_init, nullptr, nullptr, driver_free, 17, nullptr, nullptr, 0, 0, nullptr, nullptr};

struct JsonDriver : ::testing::Test {
    KelGlobal world;
    void SetUp() override {
        driver_api = KelXApiTable{};
        ASSERT_EQ(kelinit(&world, &driver_table), 0);
        world.encRules = KEL_JSON;
    }
    void TearDown() override { kelterm(&world); }
};

TEST_F(JsonDriver, CompactRestoredAndBufferBlanked) {
    EXPECT_EQ(kelGetJsonIndentSize(&world), 2);
    KelBuf out = {0, nullptr};
    ASSERT_EQ(kelEncode(&world, 1, &world, &out), 0) << world.errMsg;
    EXPECT_EQ(std::string(reinterpret_cast<char *>(out.value), out.length), "{\n  \"a\":1,\n  \"b\":[]\n}");
    kelFreeBuf(&world, out.value);

    kelSetJsonIndentSize(&world, -1);
    kelSetJsonFlags(&world, JSON_USE_UNICODE_ESCAPE_SEQUENCE);
    char area[24];
    std::memset(area, 'z', sizeof area);
    KelBuf user = {sizeof area, reinterpret_cast<unsigned char *>(area)};
    ASSERT_EQ(kelEncode(&world, 1, &world, &user), 0) << world.errMsg;
    EXPECT_EQ(std::string(area, sizeof area), "{\"a\":1,\"b\":[]}          ");
    EXPECT_EQ(kelGetJsonIndentSize(&world), -1);
    EXPECT_EQ(kelGetJsonFlags(&world), JSON_USE_UNICODE_ESCAPE_SEQUENCE);

    // A failure restores the layout as well.
    KelBuf tiny = {4, reinterpret_cast<unsigned char *>(area)};
    EXPECT_EQ(kelEncode(&world, 1, &world, &tiny), 1);
    EXPECT_EQ(kelGetJsonIndentSize(&world), -1);
    EXPECT_EQ(kelGetJsonFlags(&world), JSON_USE_UNICODE_ESCAPE_SEQUENCE);

    driver_api.jsonVersion = 1;
    out = {0, nullptr};
    EXPECT_EQ(kelEncode(&world, 1, &world, &out), 7);
    EXPECT_EQ(kelBinary2JSON(nullptr, 1, KEL_BER, &out, &out), 6);
}

TEST_F(JsonDriver, ConvertsFromOer) {
    unsigned char oer[] = {0x02, 0x01, 0x2C};
    KelBuf input = {sizeof oer, oer};
    KelBuf out = {0, nullptr};
    world.decodingLength = 77;
    ASSERT_EQ(kelBinary2JSON(&world, 2, KEL_OER, &input, &out), 0) << world.errMsg;
    EXPECT_EQ(std::string(reinterpret_cast<char *>(out.value), out.length), "300");
    EXPECT_EQ(world.encRules, static_cast<uint32_t>(KEL_JSON));
    EXPECT_EQ(world.decodingLength, 77);
    kelFreeBuf(&world, out.value);
    // A failing decode is the answer, and the rules are back.
    KelBuf cut = {2, oer};
    out = {0, nullptr};
    EXPECT_EQ(kelBinary2JSON(&world, 2, KEL_OER, &cut, &out), 4);
    EXPECT_EQ(world.encRules, static_cast<uint32_t>(KEL_JSON));
}

} // namespace
