// Tests of the shared text helpers: the UTF-8 reader and writer and the
// decimal REAL parser, composer and number reader.
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
    for (uint32_t cp : {0x1FFFFFu, 0x200000u, 0x3FFFFFFu, 0x4000000u, 0x7FFFFFFFu}) { // long forms
        uint32_t value = 0;
        uint16_t consumed = 0;
        EXPECT_EQ(read_utf8(world.get(), write_utf8(cp), &value, &consumed), 1);
        EXPECT_EQ(value, cp);
        EXPECT_EQ(consumed, write_utf8(cp).size());
    }
}

TEST(Utf8, WriterProducesStandardSequences) {
    const std::pair<uint32_t, const char *> cases[] = {
        {0x41, "A"}, {0xE9, "\xC3\xA9"}, {0x7FF, "\xDF\xBF"}, {0x20AC, "\xE2\x82\xAC"},
        {0x1F600, "\xF0\x9F\x98\x80"}, {0x200000, "\xF8\x88\x80\x80\x80"},
        {0x7FFFFFFF, "\xFD\xBF\xBF\xBF\xBF\xBF"}, {0x80000000, ""}};
    for (const auto &[value, octets] : cases)
        EXPECT_EQ(write_utf8(value), octets) << value;
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

TEST(Utf8, BadSequencesAreRefused) {
    BriefWorld world;
    const struct {
        const char *octets;
        uint16_t consumed;
    } cases[] = {
        {"\x80", 0}, {"\xBF\x80", 0}, // continuation octet as lead
        {"\xFE\x80", 0}, {"\xFF", 0}, // seven and eight leading ones
        {"\xE2\x28\xAC", 3},     // second octet not a continuation
        {"\xF0\x9F\x98\x41", 4}, // last octet not a continuation
        {"\xE2\x82", 3},         // truncated: more than is available
    };
    for (const auto &c : cases) {
        uint32_t value = 0x55;
        uint16_t consumed = 0xFFFF;
        EXPECT_EQ(read_utf8(world.get(), c.octets, &value, &consumed), 0) << c.octets;
        EXPECT_EQ(consumed, c.consumed) << c.octets;
        EXPECT_EQ(value, 0x55u);
    }
}

TEST(Utf8, MeasuringOverlongFormsAndSurrogates) {
    BriefWorld world;
    const unsigned char euro[] = {0xE2, 0x82, 0xAC};
    uint16_t consumed = 0;
    EXPECT_EQ(UTF8CharToInt(world.get(), nullptr, euro, 3, 2, &consumed), 0);
    EXPECT_EQ(consumed, 3);
    EXPECT_EQ(UTF8CharToInt(world.get(), nullptr, euro, 1, 2, &consumed), 0) << "truncated still measures";
    EXPECT_EQ(consumed, 3);
    uint32_t value = 1;
    EXPECT_EQ(read_utf8(world.get(), std::string("\xC0\x80", 2), &value, &consumed), 1);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(read_utf8(world.get(), "\xED\xA0\x80", &value, &consumed), 1);
    EXPECT_EQ(value, 0xD800u);
}

TEST(Utf8, NarrowTargetsStoreOrFail) {
    BriefWorld world;
    uint16_t unit16 = 0;
    uint8_t unit8 = 0;
    uint16_t consumed = 0;
    const unsigned char latin[] = {0xC3, 0xBF};             // U+00FF
    const unsigned char bmpMax[] = {0xEF, 0xBF, 0xBD};      // U+FFFD
    const unsigned char astral[] = {0xF0, 0x9F, 0x98, 0x80}; // U+1F600
    const unsigned char over8[] = {0xC4, 0x80};             // U+0100

    EXPECT_EQ(UTF8CharToInt(world.get(), &unit8, latin, 2, 1, &consumed), 1);
    EXPECT_EQ(unit8, 0xFF);
    EXPECT_EQ(UTF8CharToInt(world.get(), &unit16, bmpMax, 3, 2, &consumed), 1);
    EXPECT_EQ(unit16, 0xFFFD);

    int32_t result = -1;
    EXPECT_EQ(kel_test::in_frame(world.get(), kel::kPhaseDecoder, [&] {
                  result = UTF8CharToInt(world.get(), &unit16, astral, 4, 2, &consumed);
              }),
              10);
    EXPECT_EQ(result, -1);
    EXPECT_NE(std::strstr(world->errMsg, "0027S"), nullptr) << world->errMsg;
    EXPECT_EQ(kel_test::in_frame(world.get(), kel::kPhaseDecoder,
                                 [&] { UTF8CharToInt(world.get(), &unit8, over8, 2, 1, &consumed); }),
              10);
    EXPECT_EQ(kel_test::in_frame(world.get(), kel::kPhaseDecoder,
                                 [&] { UTF8CharToInt(world.get(), &unit16, latin, 2, 3, &consumed); }),
              15);
    EXPECT_NE(std::strstr(world->errMsg, "0030S"), nullptr) << world->errMsg;
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

TEST(Creal, CanonicalFormsRoundTrip) {
    const struct {
        const char *text;
        const char *canonical;
    } cases[] = {
        {"123.456E7", "1.23456E9"}, {"-0", "-0"},        {"0", "0"},
        {"0.000120", "1.2E-4"},     {"1,5", "1.5E0"},    {" 12e-3 ", "1.2E-2"},
        {"5", "5.0E0"},             {"-1200", "-1.2E3"}, {"+.5", "5.0E-1"},
        {"007.0", "7.0E0"},         {"1.", "1.0E0"},     {"-0.00E5", "-0"},
        {"1e+ 3", "1.0E3"},         {"\t9.99E-1", "9.99E-1"},
    };
    for (const auto &c : cases) {
        const Composed got = parse_and_compose(c.text);
        EXPECT_EQ(got.status, 0) << c.text;
        EXPECT_EQ(got.text, c.canonical) << c.text;
        // The canonical text is a fixed point.
        EXPECT_EQ(parse_and_compose(c.canonical).text, c.canonical) << c.text;
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
    EXPECT_EQ(parse_and_compose("1E2147483647").text, "1.0E2147483647");
}

TEST(Creal, DigitsFirstAndPlainForms) {
    const struct {
        const char *text;
        uint32_t flags;
        const char *composed;
    } cases[] = {
        {"123.456E7", KEL_CREAL_DIGITS_FIRST, "123456.E4"}, {"1", KEL_CREAL_DIGITS_FIRST, "1.E+0"},
        {"-0.0012", KEL_CREAL_DIGITS_FIRST, "-12.E-4"}, {"1200", KEL_CREAL_DIGITS_FIRST, "12.E2"},
        {"-0", KEL_CREAL_DIGITS_FIRST, "-0"}, {"1.23E5", KEL_CREAL_PLAIN, "123000"},
        {"1.23E-3", KEL_CREAL_PLAIN, "0.00123"}, {"12.50", KEL_CREAL_PLAIN, "12.5"},
        {"-1.5E1", KEL_CREAL_PLAIN, "-15"}, {"5", KEL_CREAL_PLAIN, "5"}, {".5", KEL_CREAL_PLAIN, "0.5"},
        {"0", KEL_CREAL_PLAIN, "0"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(parse_and_compose(c.text, c.flags).text, c.composed) << c.text;
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

} // namespace
