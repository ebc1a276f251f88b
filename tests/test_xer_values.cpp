// Tests of the XER value writers, one table of rows: integers of every
// size, enumerators, bit and octet strings with their folding, escapes and
// wide characters, object identifiers and the arc rules, REAL texts and
// binary values, times and open types, in pretty, compact and canonical
// output.  A row's expected text that starts with '!' is the number of the
// message that the row fails with.
#include <cfloat>
#include <cmath>

#include "test_xer_world.h"

namespace {

using namespace xer_test;

struct Row {
    const char *what;
    Mode mode;
    Body body;
    std::string expected;
};

std::string repeat(const std::string &piece, int times, const std::string &separator) {
    std::string out;
    for (int i = 0; i < times; ++i)
        out += (i ? separator : "") + piece;
    return out;
}

Body hint(std::vector<unsigned char> octets, bool isUnsigned = false) {
    return [octets, isUnsigned](KelGlobal *w) {
        const auto n = static_cast<int32_t>(octets.size());
        _kel_tex_hint(w, octets.data(), isUnsigned ? -n : n);
    };
}

std::vector<unsigned char> power_of_two_bytes(unsigned char top, size_t zeros, unsigned char last = 0) {
    std::vector<unsigned char> octets(zeros + 1, 0);
    octets[0] = top;
    octets.back() |= last;
    return octets;
}

constexpr KelXerEnumRow kEnum[] = {{3, "unknown"}, {-1, "minus"}, {0, "zero"}, {5, "five"}};
constexpr KelXerEnumRow kEnumNoDefault[] = {{1, nullptr}, {0, "zero"}};

struct Link32 {
    const Link32 *next;
    uint32_t value;
};
struct Link16 {
    const Link16 *next;
    uint16_t value;
};
const Link32 kArc3{nullptr, 6}, kArc2{&kArc3, 3}, kArc1{&kArc2, 1};
const Link16 kShort2{nullptr, 5}, kShort1{&kShort2, 2};

const std::vector<unsigned char> kOnes(17, 0xFF);
const std::vector<unsigned char> kAbs(40, 0xAB);
const std::string kLongDecimal = "0." + std::string(70, '0') + "12300";

KelTimeStruct time_of(int16_t year, int16_t ms, int16_t mindiff, uint8_t utc, int16_t month = 11) {
    return KelTimeStruct{year, month, 6, 21, 6, 27, ms, mindiff, utc};
}

Body gtime(KelTimeStruct t, int utcForm = 0) {
    return [t, utcForm](KelGlobal *w) { _kel_tex_time(w, &t, utcForm); };
}

Body text_of(const char *s, uint32_t length = 0) {
    return [s, length](KelGlobal *w) { _kel_tex_format_char(w, bytes(s), length); };
}

template <class Unit> Body wide(std::vector<Unit> chars) {
    return [chars](KelGlobal *w) {
        if constexpr (sizeof(Unit) == 2)
            _kel_tex_2byte_char(w, chars.data(), static_cast<uint32_t>(chars.size()));
        else
            _kel_tex_4byte_char(w, chars.data(), static_cast<uint32_t>(chars.size()));
    };
}

const std::vector<Row> &rows() {
    static const std::vector<Row> table = {
        // Integers
        {"int32 min", kPretty, [](KelGlobal *w) { _kel_tex_lint(w, INT32_MIN); }, "-2147483648"},
        {"uint32 max", kPretty, [](KelGlobal *w) { _kel_tex_ulint(w, UINT32_MAX); }, "4294967295"},
        {"int64 min", kCanonical, [](KelGlobal *w) { _kel_tex_llint(w, INT64_MIN); }, "-9223372036854775808"},
        {"uint64 max", kPretty, [](KelGlobal *w) { _kel_tex_ullint(w, UINT64_MAX); }, "18446744073709551615"},
        {"huge 128", kPretty, hint({0x00, 0x80}), "128"},
        {"huge -129", kPretty, hint({0xFF, 0xFF, 0x7F}), "-129"},
        {"huge -1", kPretty, hint({0xFF, 0xFF}), "-1"},
        {"huge 0", kPretty, hint({0x00, 0x00}), "0"},
        {"huge unsigned", kPretty, hint({0x00, 0x80}, true), "128"},
        {"huge 2^100", kPretty, hint(power_of_two_bytes(0x10, 12)), "1267650600228229401496703205376"},
        {"huge -2^100", kPretty, hint(power_of_two_bytes(0xF0, 12)), "-1267650600228229401496703205376"},
        {"huge 2^232", kPretty, hint(power_of_two_bytes(0x01, 29)),
         "6901746346790563787434755862277025452451108972170386555162524223799296"},
        {"huge -2^232+5", kCompact, hint(power_of_two_bytes(0xFF, 29, 5)),
         "-6901746346790563787434755862277025452451108972170386555162524223799291"},
        {"huge empty", kPretty, hint({}), "!0037E"},
        {"huge too long", kPretty, hint(power_of_two_bytes(0x01, 4096)), "!0026S"},
        // Enumerations
        {"enum found", kPretty, [](KelGlobal *w) { _kel_tex_enum(w, kEnum, 0, 0); }, "<zero/>"},
        {"enum first", kCanonical, [](KelGlobal *w) { _kel_tex_enum(w, kEnum, -1, 0); }, "<minus/>"},
        {"enum unknown", kPretty, [](KelGlobal *w) { _kel_tex_enum(w, kEnum, 3, 1); }, "<unknown/>"},
        {"enum below", kPretty, [](KelGlobal *w) { _kel_tex_enum(w, kEnum, -7, 1); }, "<unknown/>"},
        {"enum above", kPretty, [](KelGlobal *w) { _kel_tex_enum(w, kEnum, 6, 0); }, "!0071S"},
        {"enum no default", kPretty, [](KelGlobal *w) { _kel_tex_enum(w, kEnumNoDefault, -1, 0); }, "!0071S"},
        // BIT STRING
        {"bits 1", kPretty, [](KelGlobal *w) { _kel_tex_format_bit(w, bytes("\x80"), 1); }, "1"},
        {"bits 9", kPretty, [](KelGlobal *w) { _kel_tex_format_bit(w, bytes("\xB3\x80"), 9); }, "10110011 1"},
        {"bits 9 flat", kCompact, [](KelGlobal *w) { _kel_tex_format_bit(w, bytes("\xB3\x80"), 9); }, "101100111"},
        {"bits 16", kPretty, [](KelGlobal *w) { _kel_tex_format_bit(w, bytes("\xB3\x0F"), 16); }, "10110011 00001111"},
        {"bits 0", kPretty, [](KelGlobal *w) { _kel_tex_format_bit(w, nullptr, 0); }, ""},
        {"bits folded", kPretty,
         [](KelGlobal *w) { _kel_tex_format_bit(w, kOnes.data(), 17 * 8 - 3); },
         "\n  " + repeat("11111111", 8, " ") + "\n  " + repeat("11111111", 8, " ") + "\n  11111\n"},
        {"pbit 8", kPretty, [](KelGlobal *w) { _kel_tex_format_pbit(w, 0xA5, 8); }, "10100101"},
        {"pbit 3 of 8", kPretty, [](KelGlobal *w) { _kel_tex_format_pbit(w, 0xA5, 3); }, "101"},
        {"pbit 16", kPretty, [](KelGlobal *w) { _kel_tex_format_pbit(w, 0x12348001, 16); }, "10000000 00000001"},
        {"pbit 20", kPretty, [](KelGlobal *w) { _kel_tex_format_pbit(w, 0xABCDE0FF, 20); }, "10101011 11001101 1110"},
        {"pbit 32", kCompact, [](KelGlobal *w) { _kel_tex_format_pbit(w, 0x12345678, 32); },
         "00010010001101000101011001111000"},
        {"pbit named", kPretty, [](KelGlobal *w) { _kel_tex_format_pbit(w, 0xA000, 0x80 | 16); }, "101"},
        {"pbit named empty", kCanonical, [](KelGlobal *w) { _kel_tex_format_pbit(w, 0, 0x80 | 8); }, ""},
        // OCTET STRING
        {"octets 5", kPretty, [](KelGlobal *w) { _kel_tex_format_octet(w, bytes("\x03\x0A\x11\x18\x1F"), 5); },
         "030A1118 1F"},
        {"octets 5 flat", kCanonical, [](KelGlobal *w) { _kel_tex_format_octet(w, bytes("\x03\x0A\x11\x18\x1F"), 5); },
         "030A11181F"},
        {"octets 4", kPretty, [](KelGlobal *w) { _kel_tex_format_octet(w, bytes("\xDE\xAD\xBE\xEF"), 4); }, "DEADBEEF"},
        {"octets 0", kPretty, [](KelGlobal *w) { _kel_tex_format_octet(w, nullptr, 0); }, ""},
        {"octets folded", kPretty,
         [](KelGlobal *w) { _kel_tex_format_octet(w, kAbs.data(), 40); },
         "\n  " + repeat("ABABABAB", 8, " ") + "\n  " + repeat("ABABABAB", 2, " ") + "\n"},
        // Character strings
        {"markup", kCanonical, text_of("a<b>&c"), "a&lt;b&gt;&amp;c"},
        {"controls", kCanonical, text_of("\t\x01\n\r\x1c\x1f"), "\t<soh/>\n\r<is4/><is1/>"},
        {"nul by length", kPretty, text_of("a\0b", 3), "a<nul/>b"},
        {"DEL and UTF-8 stay", kPretty, text_of("x\x7f\xC3\xA9\xF0\x9F\x98\x80"), "x\x7f\xC3\xA9\xF0\x9F\x98\x80"},
        {"stray continuation", kPretty, text_of("a\x80"), "!0175E"},
        {"cut sequence", kPretty, text_of("a\xE6\x97"), "!0175E"},
        {"one octet a character", kPretty,
         [](KelGlobal *w) { _kel_tex_format_char_t(w, bytes("<\xE9\x7F"), 0); }, "&lt;&#xE9;\x7F"},
        {"one octet flat", kCompact, [](KelGlobal *w) { _kel_tex_format_char_t(w, bytes("\xE9"), 0); }, "\xC3\xA9"},
        {"bmp", kPretty, wide<uint16_t>({'H', 0x7F, 0x3A9, '&', 0, 9}), "H&#x7F;&#x03A9;&amp;<nul/>\t"},
        {"bmp flat", kCanonical, wide<uint16_t>({'H', 0x7F, 0x3A9}), "H\x7F\xCE\xA9"},
        {"bmp FFFF", kPretty, wide<uint16_t>({'a', 0xFFFF}), "!0175E"},
        {"bmp surrogate", kCompact, wide<uint16_t>({0xD800}), "!0175E"},
        {"universal", kPretty, wide<uint32_t>({0x10FFFF, 0x10000, 0x20AC}), "&#x10FFFF;&#x010000;&#x20AC;"},
        {"universal flat", kCanonical, wide<uint32_t>({0x1F600, 'x'}), "\xF0\x9F\x98\x80x"},
        {"universal too big", kPretty, wide<uint32_t>({0x110000}), "!0175E"},
        {"universal long run", kPretty, wide<uint32_t>(std::vector<uint32_t>(150, 'q')), std::string(150, 'q')},
        // OBJECT IDENTIFIER
        {"oid array", kPretty, [](KelGlobal *w) { const uint32_t a[] = {1, 2, 840, 113549}; _kel_tex_aobjidi(w, a, 4, 0); },
         "1.2.840.113549"},
        {"oid 0.0.27", kPretty, [](KelGlobal *w) { const uint32_t a[] = {0, 0, 27}; _kel_tex_aobjidl(w, a, 3, 0); }, "!0010S"},
        {"oid 0.0.26", kPretty, [](KelGlobal *w) { const uint32_t a[] = {0, 0, 26}; _kel_tex_aobjidl(w, a, 3, 0); }, "0.0.26"},
        {"oid 0.39.1", kPretty, [](KelGlobal *w) { const uint16_t a[] = {0, 39, 1}; _kel_tex_aobjids(w, a, 3, 0); }, "0.39.1"},
        {"oid 0.40.1", kPretty, [](KelGlobal *w) { const uint16_t a[] = {0, 40, 1}; _kel_tex_aobjids(w, a, 3, 0); }, "!0010S"},
        {"oid 2.999", kPretty, [](KelGlobal *w) { const uint32_t a[] = {2, 999}; _kel_tex_aobjidi(w, a, 2, 0); }, "2.999"},
        {"oid 3.1", kPretty, [](KelGlobal *w) { const uint32_t a[] = {3, 1}; _kel_tex_aobjidi(w, a, 2, 0); }, "!0010S"},
        {"oid one arc", kPretty, [](KelGlobal *w) { const uint32_t a[] = {1}; _kel_tex_aobjidi(w, a, 1, 0); }, "!0010S"},
        {"oid over limit", kPretty, [](KelGlobal *w) { const uint32_t a[] = {1, 2, 3}; _kel_tex_aobjidi(w, a, 3, 2); }, "!0016S"},
        {"oid linked", kPretty, [](KelGlobal *w) { _kel_tex_lobjidi(w, &kArc1, 3); }, "1.3.6"},
        {"oid linked short", kPretty, [](KelGlobal *w) { _kel_tex_lobjids(w, &kShort1, 0); }, "2.5"},
        {"oid encoded", kPretty, [](KelGlobal *w) { _kel_tex_eobjid(w, bytes("\x2A\x86\x48"), 3, 0, 0); }, "1.2.840"},
        {"reloid encoded", kCanonical, [](KelGlobal *w) { _kel_tex_eobjid(w, bytes("\xC2\x7B\x03\x02"), 4, 0, 1); },
         "8571.3.2"},
        {"reloid one arc", kPretty, [](KelGlobal *w) { _kel_tex_eobjid(w, bytes("\x00"), 1, 0, 1); }, "0"},
        {"reloid empty", kPretty, [](KelGlobal *w) { _kel_tex_eobjid(w, nullptr, 0, 0, 1); }, "!0010S"},
        {"oid encoded over limit", kPretty, [](KelGlobal *w) { _kel_tex_eobjid(w, bytes("\x2A\x03"), 2, 2, 0); }, "!0016S"},
        // REAL
        {"creal 000", kPretty, [](KelGlobal *w) { _kel_tex_creal(w, "000"); }, "0"},
        {"creal -0.0", kPretty, [](KelGlobal *w) { _kel_tex_creal(w, "-0.0"); }, "-0"},
        {"creal as it stands", kPretty, [](KelGlobal *w) { _kel_tex_creal(w, "1.50"); }, "1.50"},
        {"creal canonical", kCanonical, [](KelGlobal *w) { _kel_tex_creal(w, "1.50"); }, "1.5E0"},
        {"creal exponent", kCompact, [](KelGlobal *w) { _kel_tex_creal(w, "1e5"); }, "1.0E5"},
        {"creal comma", kPretty, [](KelGlobal *w) { _kel_tex_creal(w, " -0,0250 "); }, "-2.5E-2"},
        {"creal 1.", kPretty, [](KelGlobal *w) { _kel_tex_creal(w, "1."); }, "1.0E0"},
        {"creal infinity", kCanonical, [](KelGlobal *w) { _kel_tex_creal(w, "MINUS_INFINITY"); }, "<MINUS-INFINITY/>"},
        {"creal nan", kPretty, [](KelGlobal *w) { _kel_tex_creal(w, "NOT_A_NUMBER"); }, "<NOT-A-NUMBER/>"},
        {"creal bad", kPretty, [](KelGlobal *w) { _kel_tex_creal(w, "abc"); }, "!0091E"},
        {"creal no exponent digits", kPretty, [](KelGlobal *w) { _kel_tex_creal(w, "1E"); }, "!0039E"},
        {"creal no mantissa", kPretty, [](KelGlobal *w) { _kel_tex_creal(w, "E5"); }, "!0038E"},
        {"creal long", kCanonical,
         [](KelGlobal *w) { _kel_tex_format_creal(w, kLongDecimal.c_str()); }, "1.23E-71"},
        {"double max", kPretty, [](KelGlobal *w) { _kel_tex_dreal(w, DBL_MAX); }, "<PLUS-INFINITY/>"},
        {"double -max", kPretty, [](KelGlobal *w) { _kel_tex_dreal(w, -DBL_MAX); }, "<MINUS-INFINITY/>"},
        {"double nan", kCanonical, [](KelGlobal *w) { _kel_tex_dreal(w, NAN); }, "<NOT-A-NUMBER/>"},
        {"double -0", kPretty, [](KelGlobal *w) { _kel_tex_dreal(w, -0.0); }, "-0"},
        {"double 0", kPretty, [](KelGlobal *w) { _kel_tex_dreal(w, 0.0); }, "0"},
        {"double 0.1", kPretty, [](KelGlobal *w) { _kel_tex_dreal(w, 0.1); }, "1.0E-1"},
        {"double -2.25", kPretty, [](KelGlobal *w) { _kel_tex_dreal(w, -2.25); }, "-2.25E0"},
        {"double 1e300", kCanonical, [](KelGlobal *w) { _kel_tex_dreal(w, 1e300); }, "1.0E300"},
        {"float max", kPretty, [](KelGlobal *w) { _kel_tex_freal(w, FLT_MAX); }, "<PLUS-INFINITY/>"},
        {"float 3.25", kPretty, [](KelGlobal *w) { _kel_tex_freal(w, 3.25f); }, "3.25E0"},
        // Times
        {"gtime fraction", kCanonical, gtime(time_of(1985, 300, 0, 1)), "19851106210627.3Z"},
        {"gtime offset", kPretty, gtime(time_of(1985, 0, -300, 0)), "19851106210627-0500"},
        {"gtime local", kPretty, gtime(time_of(1985, 25, 0, 0)), "19851106210627.025"},
        {"utime", kPretty, gtime(time_of(1991, 0, 0, 0), 1), "911106210627Z"},
        {"utime offset", kPretty, gtime(time_of(91, 0, 90, 0), 1), "911106210627+0130"},
        {"utime negative year", kPretty, gtime(time_of(-1, 0, 0, 1), 1), "991106210627Z"},
        {"utime milliseconds", kPretty, gtime(time_of(91, 1, 0, 1), 1), "!0012S"},
        {"gtime month", kPretty, gtime(time_of(1985, 0, 0, 1, 13)), "!0012S"},
        {"cxer local time", kCanonical, gtime(time_of(1985, 0, 0, 0)), "!0013S"},
        {"gtime year too wide", kPretty, gtime(time_of(12345, 0, 0, 1)), "!0012S"},
        {"ntime", kPretty, [](KelGlobal *w) { _kel_tex_ntime(w, "19851106210627.30Z", 0, 0); }, "19851106210627.3Z"},
        {"ntime word", kPretty, [](KelGlobal *w) { _kel_tex_ntime(w, "19851106210627Z", 1, 0); }, "!0012S"},
        {"ntime bad", kPretty, [](KelGlobal *w) { _kel_tex_ntime(w, "1985x", 0, 0); }, "!0012S"},
        {"date as it stands", kCanonical, [](KelGlobal *w) { _kel_tex_date_time(w, "2024-02-29", 31); }, "2024-02-29"},
        {"time as it stands", kPretty,
         [](KelGlobal *w) { _kel_tex_date_time(w, "2020-01-01T10:00:00.500+01:00", 14); },
         "2020-01-01T10:00:00.500+01:00"},
        {"time canonical", kCanonical,
         [](KelGlobal *w) { _kel_tex_date_time(w, "2020-01-01T10:00:00.500+01:00", 14); },
         "2020-01-01T10:00:00.500+01"},
        {"time kind outside", kPretty, [](KelGlobal *w) { _kel_tex_date_time(w, "12:00", 35); }, "!0012S"},
        {"time kind without form", kPretty, [](KelGlobal *w) { _kel_tex_date_time(w, "12:00", 20); }, "!0012S"},
        // Open types
        {"open type", kPretty,
         [](KelGlobal *w) {
             KelOpenType ot{0, 4, const_cast<char *>("<a/>"), nullptr, 0};
             _kel_tex_opentype(w, &ot);
         },
         "<a/>"},
        {"open type empty", kPretty,
         [](KelGlobal *w) {
             KelOpenType ot{0, 0, const_cast<char *>("<a/>"), nullptr, 0};
             _kel_tex_opentype(w, &ot);
         },
         "!0090E"},
        {"any", kCanonical, [](KelGlobal *w) { _kel_tex_anyopentype(w, bytes("<x>1</x>"), 8); }, "<x>1</x>"},
    };
    return table;
}

TEST_F(XerWorld, ValueTexts) {
    for (const Row &row : rows()) {
        layout(row.mode);
        // A mark behind the value shows that nothing trails it (and keeps a
        // document of an empty value from being empty).
        const Body marked = [&row](KelGlobal *w) {
            row.body(w);
            _kel_tex_append(w, "|", 1);
        };
        if (row.expected[0] == '!')
            EXPECT_EQ(failure(marked), row.expected.substr(1)) << row.what;
        else
            EXPECT_EQ(text(marked), row.expected + "|") << row.what;
    }
}

TEST_F(XerWorld, FailuresNameTheValue) {
    layout(kPretty);
    failure(gtime(time_of(91, 1, 0, 1), 1));
    EXPECT_NE(std::strstr(world.errMsg, "Millisecond = 1"), nullptr) << world.errMsg;
    // Without the range tests a month that fits two digits is written.
    layout(kPretty, _XML_DECLARATION | NOCONSTRAIN);
    EXPECT_EQ(text(gtime(time_of(1985, 0, 0, 1, 13))), "19851306210627Z");
}

TEST(XerHelpers, DigitsCountsAndNames) {
    char buffer[24];
    char *end = buffer + sizeof buffer;
    EXPECT_EQ(_kel_ltoa(static_cast<uint32_t>(-305), &end, 1), 4u);
    EXPECT_EQ(std::string(end, 4), "-305");
    end = buffer + sizeof buffer;
    EXPECT_EQ(_kel_lltoa(UINT64_MAX, &end, 0), 20u);
    EXPECT_EQ(_kel_tex_count_bits(bytes("\xA0\x00"), 16), 3u);
    EXPECT_EQ(_kel_tex_count_bits(bytes("\x00"), 8), 0u);
    EXPECT_EQ(_kel_tex_count_chars(bytes("ab  \0\0"), 6), 2u);
    EXPECT_EQ(_kel_tex_count_chars(bytes(" "), 1), 0u);
    EXPECT_STREQ(kel_xml_cstr_ctrl[28].name, "is4");
    EXPECT_EQ(kel_xml_cstr_ctrl[9].length, 0u);
}

} // namespace
