// Tests of the shared text helpers: the UTF-8 reader and writer, the
// decimal REAL parser, composer and number reader, and the special values
// of float and double.
#include <cfloat>
#include <cmath>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"

namespace {

using kel_test::BriefWorld;

// Writes `value` with _kel_itoUTF8Char; the octets written.
std::string write_utf8(uint32_t value) {
    unsigned char buffer[8];
    unsigned char *end = buffer + sizeof buffer;
    unsigned char *first = _kel_itoUTF8Char(end, value);
    return std::string(reinterpret_cast<char *>(first), end - first);
}

int32_t read_utf8(KelGlobal *world, const std::string &octets, uint32_t *value, uint16_t *consumed) {
    return UTF8CharToInt(world, value, reinterpret_cast<const unsigned char *>(octets.data()),
                         static_cast<int32_t>(octets.size()), 4, consumed);
}

TEST(Utf8, EveryCodePointRoundTrips) {
    BriefWorld world;
    for (uint32_t cp = 0; cp <= 0x10FFFF; ++cp) {
        const std::string octets = write_utf8(cp);
        const bool surrogate = cp >= 0xD800 && cp <= 0xDFFF;
        if (cp < 0x80) {
            ASSERT_EQ(octets.size(), 1u) << cp;
        } else if (!surrogate && cp != 0xFFFE && cp != 0xFFFF) {
            ASSERT_EQ(static_cast<int32_t>(octets.size()), _kel_countUTF8Char(cp)) << cp;
        }
        uint32_t value = ~0u;
        uint16_t consumed = 0;
        ASSERT_EQ(read_utf8(world.get(), octets, &value, &consumed), 1) << cp;
        ASSERT_EQ(consumed, octets.size()) << cp;
        ASSERT_EQ(value, cp);
    }
}

// Beyond U+10FFFF the long forms up to 31 bits are written and read back.
TEST(Utf8, WriterProducesStandardSequences) {
    BriefWorld world;
    const std::pair<uint32_t, const char *> cases[] = {
        {0x41, "A"}, {0xE9, "\xC3\xA9"}, {0x7FF, "\xDF\xBF"}, {0x20AC, "\xE2\x82\xAC"}, {0x1F600, "\xF0\x9F\x98\x80"},
        {0x1FFFFF, "\xF7\xBF\xBF\xBF"}, {0x200000, "\xF8\x88\x80\x80\x80"}, {0x3FFFFFF, "\xFB\xBF\xBF\xBF\xBF"},
        {0x4000000, "\xFC\x84\x80\x80\x80\x80"}, {0x7FFFFFFF, "\xFD\xBF\xBF\xBF\xBF\xBF"}, {0x80000000, ""}};
    for (const auto &[value, octets] : cases) {
        EXPECT_EQ(write_utf8(value), octets) << value;
        uint32_t back = 0;
        uint16_t consumed = 0;
        if (*octets) {
            EXPECT_EQ(read_utf8(world.get(), octets, &back, &consumed), 1) << value;
            EXPECT_EQ(back, value);
            EXPECT_EQ(consumed, std::strlen(octets));
        }
    }
}

TEST(Utf8, CountFollowsTheWriterAndRefusesNonCharacters) {
    const struct {
        int32_t value;
        int32_t octets;
    } cases[] = {{-1, 0},         {0, 2},          {0x7F, 2},       {0x7FF, 2},
                 {0x800, 3},      {0xD7FF, 3},     {0xD800, 0},     {0xDFFF, 0},
                 {0xFFFD, 3},     {0xFFFE, 0},     {0xFFFF, 0},     {0x10000, 4},
                 {0x1FFFFF, 4},   {0x200000, 5},   {0x3FFFFFF, 5},  {0x4000000, 6},
                 {0x7FFFFFFF, 6}, {INT32_MIN, 0}};
    for (const auto &c : cases)
        EXPECT_EQ(_kel_countUTF8Char(c.value), c.octets) << c.value;
}

// One reader table: refused sequences (value untouched), measuring without a
// target, overlong forms and surrogates taken as they are, and narrow targets
// that store or fail with message 27 (too wide) or 30 (bad width).
TEST(Utf8, ReaderRefusesMeasuresAndNarrows) {
    BriefWorld world;
    const struct {
        const char *octets;
        int32_t available; // -1: the whole text
        uint8_t width;     // 0: measure only
        int32_t result;
        int code;
        uint16_t consumed; // checked when code is 0
        uint32_t value;
    } cases[] = {
        {"\x80", -1, 4, 0, 0, 0, 0x55}, {"\xBF\x80", -1, 4, 0, 0, 0, 0x55}, // continuation octet as lead
        {"\xFE\x80", -1, 4, 0, 0, 0, 0x55}, {"\xFF", -1, 4, 0, 0, 0, 0x55},  // seven and eight leading ones
        {"\xE2\x28\xAC", -1, 4, 0, 0, 3, 0x55},     // second octet not a continuation
        {"\xF0\x9F\x98\x41", -1, 4, 0, 0, 4, 0x55}, // last octet not a continuation
        {"\xE2\x82", -1, 4, 0, 0, 3, 0x55},         // truncated: more than is available
        {"\xE2\x82\xAC", -1, 0, 0, 0, 3, 0x55}, {"\xE2\x82\xAC", 1, 0, 0, 0, 3, 0x55}, // truncated still measures
        {"\xC0\x80", 2, 4, 1, 0, 2, 0}, {"\xED\xA0\x80", -1, 4, 1, 0, 3, 0xD800},
        {"\xC3\xBF", -1, 1, 1, 0, 2, 0xFF}, {"\xEF\xBF\xBD", -1, 2, 1, 0, 3, 0xFFFD},
        {"\xF0\x9F\x98\x80", -1, 2, 0, 10, 0, 0x55}, {"\xC4\x80", -1, 1, 0, 10, 0, 0x55},
        {"\xC3\xBF", -1, 3, 0, 15, 0, 0x55},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::string(c.octets)) + " width " + std::to_string(c.width));
        uint32_t value = 0x55;
        uint16_t consumed = 0xFFFF;
        int32_t result = -1;
        const auto *octets = reinterpret_cast<const unsigned char *>(c.octets);
        const int32_t available = c.available < 0 ? static_cast<int32_t>(std::strlen(c.octets)) : c.available;
        const int code = kel_test::in_frame(world.get(), kel::kPhaseDecoder, [&] {
            result = UTF8CharToInt(world.get(), c.width ? &value : nullptr, octets, available, c.width ? c.width : 2,
                                   &consumed);
        });
        EXPECT_EQ(code, c.code);
        EXPECT_EQ(value, c.value);
        if (c.code) {
            EXPECT_NE(std::strstr(world->errMsg, c.code == 10 ? "0027S" : "0030S"), nullptr) << world->errMsg;
            continue;
        }
        EXPECT_EQ(result, c.result);
        EXPECT_EQ(consumed, c.consumed);
    }
}

// Parses `text` and composes it with `flags` added to the record's own.
struct Composed {
    int status;
    std::string text;
};
Composed parse_and_compose(const char *text, uint32_t flags = 0) {
    KelCreal record;
    const int status = _kel_ex_parse_creal_X693(text, &record);
    if (status)
        return {status, ""};
    record.flags |= flags;
    char out[64];
    const int length = _kel_ex_compose_creal_X693(&record, out, sizeof out);
    EXPECT_EQ(length, static_cast<int>(std::strlen(out)));
    return {0, out};
}

// The canonical form (a fixed point of parse and compose), and the
// digits-first and plain forms asked for by flag.
TEST(Creal, ComposedForms) {
    constexpr uint32_t First = KEL_CREAL_DIGITS_FIRST, Plain = KEL_CREAL_PLAIN;
    const struct {
        const char *text;
        uint32_t flags;
        const char *composed;
    } cases[] = {
        {"123.456E7", 0, "1.23456E9"}, {"-0", 0, "-0"}, {"0", 0, "0"}, {"0.000120", 0, "1.2E-4"}, {"1,5", 0, "1.5E0"},
        {" 12e-3 ", 0, "1.2E-2"}, {"5", 0, "5.0E0"}, {"-1200", 0, "-1.2E3"}, {"+.5", 0, "5.0E-1"},
        {"007.0", 0, "7.0E0"}, {"1.", 0, "1.0E0"}, {"-0.00E5", 0, "-0"}, {"1e+ 3", 0, "1.0E3"},
        {"\t9.99E-1", 0, "9.99E-1"}, {"1E2147483647", 0, "1.0E2147483647"},
        {"123.456E7", First, "123456.E4"}, {"1", First, "1.E+0"}, {"-0.0012", First, "-12.E-4"},
        {"1200", First, "12.E2"}, {"-0", First, "-0"}, {"1.23E5", Plain, "123000"}, {"1.23E-3", Plain, "0.00123"},
        {"12.50", Plain, "12.5"}, {"-1.5E1", Plain, "-15"}, {"5", Plain, "5"}, {".5", Plain, "0.5"},
        {"0", Plain, "0"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        const Composed got = parse_and_compose(c.text, c.flags);
        EXPECT_EQ(got.status, 0);
        EXPECT_EQ(got.text, c.composed);
        if (!c.flags) {
            EXPECT_EQ(parse_and_compose(c.composed).text, c.composed);
        }
    }
}

TEST(Creal, ZeroIsFlaggedWithItsSign) {
    KelCreal record;
    ASSERT_EQ(_kel_ex_parse_creal_X693("-0.0", &record), 0);
    EXPECT_EQ(record.firstDigit, nullptr);
    EXPECT_EQ(record.flags, KEL_CREAL_ZERO_NEGATIVE);
    ASSERT_EQ(_kel_ex_parse_creal_X693("000e7", &record), 0);
    EXPECT_EQ(record.firstDigit, nullptr);
    EXPECT_EQ(record.flags, KEL_CREAL_ZERO);
}

TEST(Creal, MalformedTextIsRefused) {
    const struct {
        const char *text;
        int status;
    } cases[] = {
        {"", 1},      {"   ", 1},          {"E5", 2},           {"-.e1", 2},
        {"abc", 4},   {"1.2.3", 4},        {"12 x", 4},         {"-", 4},
        {".", 4},     {"1 E5", 4},         {"1E", 3},           {"1E+", 3},
        {"1Ex", 4},   {"1E99999999999", 5}, {"10E2147483647", 5}, {"0.1E-2147483648", 5},
    };
    for (const auto &c : cases)
        EXPECT_EQ(parse_and_compose(c.text).status, c.status) << '"' << c.text << '"';
    KelCreal record;
    EXPECT_EQ(_kel_ex_parse_creal_X693(nullptr, &record), 1);
}

TEST(Creal, ComposerNeverWritesPastItsRoom) {
    KelCreal record;
    ASSERT_EQ(_kel_ex_parse_creal_X693("-1.25E-10", &record), 0);
    char out[16];
    std::memset(out, 'x', sizeof out);
    EXPECT_EQ(_kel_ex_compose_creal_X693(&record, out, 9), -1); // "-1.25E-10" needs 10
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(out[1], 'x');
    EXPECT_EQ(_kel_ex_compose_creal_X693(&record, out, 10), 9);
    EXPECT_STREQ(out, "-1.25E-10");

    // A plain form of a huge exponent is refused up front, not written.
    ASSERT_EQ(_kel_ex_parse_creal_X693("1E2000000000", &record), 0);
    record.flags |= KEL_CREAL_PLAIN;
    EXPECT_EQ(_kel_ex_compose_creal_X693(&record, out, sizeof out), -1);
}

TEST(Creal, NumberReader) {
    const struct {
        const char *text;
        int32_t result;
        uint32_t value;
    } cases[] = {
        {"  -12x", 5, 0u - 12u}, {"+ 7", 3, 7},      {"4294967295", 10, 0xFFFFFFFFu},
        {"0009 ", 4, 9},         {"", -3, 0},        {"-  ", -3, 0},
        {"x", -4, 0},            {"- x", -4, 0},     {"4294967296", -5, 0}, {"5000000000", -5, 0},
    };
    for (const auto &c : cases) {
        uint32_t value = 0;
        EXPECT_EQ(_kel_atol(reinterpret_cast<const unsigned char *>(c.text), &value), c.result)
            << c.text;
        if (c.result >= 0) {
            EXPECT_EQ(value, c.value) << c.text;
        }
    }
}

// Every special kind set in both widths reads back as itself; the largest
// finite values and anything beyond them read as infinity.
TEST(FloatSpecial, KindsRoundTripInBothWidths) {
    for (int kind : {KEL_FLOAT_ZERO, KEL_FLOAT_PLUS_INFINITY, KEL_FLOAT_MINUS_INFINITY, KEL_FLOAT_NOT_A_NUMBER,
                     KEL_FLOAT_MINUS_ZERO}) {
        float f = 1;
        double d = 1;
        ASSERT_EQ(kel_set_float_special_value(&f, 4, kind), 1) << kind;
        ASSERT_EQ(kel_set_float_special_value(&d, 8, kind), 1) << kind;
        EXPECT_EQ(kel_get_float_special_value_kind(&f, 4), kind);
        EXPECT_EQ(kel_get_float_special_value_kind(&d, 8), kind);
    }
    const double inf = HUGE_VAL, dmax = DBL_MAX, ordinary = -2.5;
    const float fmax = FLT_MAX, fbelow = std::nextafter(FLT_MAX, 0.0f);
    EXPECT_EQ(kel_get_float_special_value_kind(&inf, 8), KEL_FLOAT_PLUS_INFINITY);
    EXPECT_EQ(kel_get_float_special_value_kind(&dmax, 8), KEL_FLOAT_PLUS_INFINITY);
    EXPECT_EQ(kel_get_float_special_value_kind(&fmax, 4), KEL_FLOAT_PLUS_INFINITY);
    EXPECT_EQ(kel_get_float_special_value_kind(&fbelow, 4), KEL_FLOAT_ORDINARY);
    EXPECT_EQ(kel_get_float_special_value_kind(&ordinary, 8), KEL_FLOAT_ORDINARY);

    double untouched = 7;
    EXPECT_EQ(kel_set_float_special_value(&untouched, 8, 68), 0);
    EXPECT_EQ(kel_set_float_special_value(&untouched, 8, KEL_FLOAT_ORDINARY), 0);
    EXPECT_EQ(kel_set_float_special_value(&untouched, 2, KEL_FLOAT_NOT_A_NUMBER), 0);
    EXPECT_EQ(untouched, 7);
}

} // namespace
