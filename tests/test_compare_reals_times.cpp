// test_compare_reals_times.cpp - order of decimal REAL texts (kelFcmp,
// compare_char_real) and equality and order of TIME values, as texts and
// as parsed values.
#include <gtest/gtest.h>

#include <string>

#include "harness.h"
#include "kelvarn_services.h"

namespace {

struct TextCase {
    const char *first;
    const char *second;
    int result;
};

// Each text in a buffer of its own, so that no two rows share a pointer.
struct TextPair {
    std::string first, second;
    explicit TextPair(const TextCase &c) : first(c.first), second(c.second) {}
};

TEST(CompareReals, FcmpStepsInTheirOrder) {
    const TextCase cases[] = {
        {"1.50", "1.5", 0},
        {"0.0E3", "0", 0},
        {"0.00", "0.0", 0},
        {"5", "0", 1},
        {"-5", "0", -1},
        {"0", "5", -1},
        {"0", "-5", 1},
        {"-0", "0", -1}, // a zero on both sides: the signs decide
        {"MINUS_INFINITY", "0", -1},
        {"PLUS_INFINITY", "0", 1},
        {"MINUS_INFINITY", "-1E99", -1},
        {"PLUS_INFINITY", "1E99", 1},
        {"PLUS_INFINITY", "MINUS_INFINITY", 1},
        {"MINUS_INFINITY", "MINUS_INFINITY", 0},
        {"PLUS_INFINITY", "PLUS_INFINITY", 0},
        {"-1", "1", -1},
        {"12.5", "1.25E1", 0},
        {"1E+2", "100", 0},
        {"99", "100", -1},
        {"-99", "-100", 1},
        {"0.05", "0.5", -1},
        {"0001", "2", -1},
        {"1E3", "999", 1},
        {"1.0001", "1.0002", -1},
        {"-1.0001", "-1.0002", 1},
        {"1.5E123456789012", "2E123456789012", -1},
    };
    for (const TextCase &c : cases) {
        const TextPair texts(c);
        EXPECT_EQ(kelFcmp(texts.first.c_str(), texts.second.c_str()), c.result) << c.first << " vs " << c.second;
    }
    const char *same = "7.5";
    EXPECT_EQ(kelFcmp(same, same), 0);
}

TEST(CompareReals, CharRealOrdersNumbersAndSpecialValues) {
    const TextCase cases[] = {
        {"1.5", "1.50", 0},
        {"1.5", " +1.5E0 ", 0},
        {"12,5", "12.5", 0},
        {"NOT_A_NUMBER", "NOT_A_NUMBER", 0},
        {"NOT_A_NUMBER", "PLUS_INFINITY", 3},
        {"PLUS_INFINITY", "NOT_A_NUMBER", 2},
        {"PLUS_INFINITY", "MINUS_INFINITY", 3},
        {"NOT_A_NUMBER", "1E300", 3},
        {"PLUS_INFINITY", "1E300", 3},
        {"MINUS_INFINITY", "-1E300", 2},
        {"-0", "0", 2},
        {"-0", "-0.0", 0},
        {"0", "5", 2},
        {"0", "-5", 3},
        {"-0", "-5", 3},
        {"-1", "1", 2},
        {"12.5", "12.6", 2},
        {"-12.5", "-12.6", 3},
        {"1.25", "1.2", 3},
        {"-1.25", "-1.2", 2},
        {"1E5", "99999", 3},
        {"0.001", "0.01", 2},
        {"abc", "1", 4},
        {"1", "INFINITY", 4},
        {"1E", "1", 4},
        {"", "1", 4},
    };
    for (const TextCase &c : cases) {
        const TextPair texts(c);
        EXPECT_EQ(compare_char_real(nullptr, texts.first.c_str(), texts.second.c_str()), c.result)
            << c.first << " vs " << c.second;
    }
    EXPECT_EQ(compare_char_real(nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(compare_char_real(nullptr, "1", nullptr), 4);
    EXPECT_EQ(compare_char_real(nullptr, nullptr, "1"), 4);
}

TEST(CompareTimes, TextsEqualInEveryWrittenComponent) {
    const TextCase cases[] = {
        {"12:00", "12:00", 0},
        {"12:00", "12:00:00", 1},
        {"12:00:00.5", "12:00:00.50", 1},
        {"12:00Z", "12:00", 1},
        {"12:00+00:00", "12:00-00:00", 0},
        {"12:00+01:00", "12:00-01:00", 1},
        {"12:00+01", "12:00+01:00", 1},
        {"2020-01-01", "2020-01-02", 1},
        {"20C", "20C", 0},
        {"19C", "20C", 1},
        {"2020-W01-1", "2020-W01-2", 1},
        {"P1Y", "P1Y", 0},
        {"P1Y", "P2Y", 1},
        {"P1Y", "P1Y0M", 0}, // a written zero component is still zero
        {"P1W", "P7D", 1},
        {"PT1.5S", "PT1.50S", 1},
        {"2020-01-01T00:00+01:00/2020-01-02T00:00", "2020-01-01T00:00+01:00/2020-01-02T00:00+01:00", 0},
        {"2020-01-01T00:00+01:00/2020-01-02T00:00", "2020-01-01T00:00+01:00/2020-01-02T00:00+02:00", 1},
        {"2020-01-01/P1D", "2020-01-01/P1D", 0},
        {"2020-01-01/P1D", "2020-01-01/P2D", 1},
        {"P1D/2020-01-02", "P1D/2020-01-03", 1},
        {"R/P1Y", "R/P1Y", 0},
        {"R2/P1Y", "R3/P1Y", 1},
        {"R2/2020-01-01T00:00+01:00/2020-01-02T00:00", "R2/2020-01-01T00:00+01:00/2020-01-02T00:00+01:00", 0},
        {"R2/2020-01-01/P1D", "R2/2020-01-01/P2D", 1},
        {"P1Y", "2020", 1},
        {"abc", "abc", 0},
        {"abc", "abd", 1},
        {"25:00", "25:00:00", 1},
    };
    kel_test::BriefWorld world;
    for (const TextCase &c : cases) {
        const TextPair texts(c);
        EXPECT_EQ(_kel_cmp_date_time(world.get(), texts.first.c_str(), texts.second.c_str()), c.result)
            << c.first << " vs " << c.second;
    }
    EXPECT_EQ(_kel_cmp_date_time(world.get(), nullptr, "12:00"), 1);
}

// Both texts parsed into values, the parser's failure kept as -100.
struct ParsedPair {
    KelTimeValue first, second;
    int failure;
};

ParsedPair parsed(KelGlobal *world, const char *first, const char *second) {
    ParsedPair p{};
    p.failure = kel_test::in_frame(world, 5, [&] {
        _kelGetDateTimeValue(world, first, &p.first);
        _kelGetDateTimeValue(world, second, &p.second);
    });
    return p;
}

TEST(CompareTimes, RelationsOfParsedValues) {
    const TextCase cases[] = {
        {"2020-01-01", "2020-01-02", -1},
        {"2020-01-01", "2020-01-01", 0},
        {"2020-01-01T10:00", "2020-01-02T09:00", -1},
        {"12:00", "12:00:00", -2},
        {"12:00+01:00", "13:00+02:00", -2},
        {"12:00+00:00", "11:00-00:00", 1},
        {"20C", "21C", -1},
        {"P1Y", "P2Y", -1},
        {"P1Y2M", "P1Y1M", 1},
        {"P1Y", "P12M", -2},
        {"P2W", "P1W", 1},
        {"PT1.5S", "PT1.50S", -2},
        {"PT1.5S", "PT1.6S", -1},
        {"2020-01-01/P1D", "2020-01-01/P1D", -2},
        {"P1Y", "2020", -2},
    };
    kel_test::BriefWorld world;
    for (const TextCase &c : cases) {
        const ParsedPair p = parsed(world.get(), c.first, c.second);
        ASSERT_EQ(p.failure, 0) << c.first << " " << c.second;
        EXPECT_EQ(_kelDTIntervalsRelation(&p.first, &p.second), c.result) << c.first << " vs " << c.second;
    }
}

TEST(CompareTimes, IntervalsOfParsedValues) {
    const TextCase cases[] = {
        {"2020-01-01T00:00+01:00/2020-01-02T00:00", "2020-01-01T00:00+01:00/2020-01-02T00:00+01:00", 0},
        {"2020-01-01T00:00+01:00/2020-01-02T00:00+01:00", "2020-01-01T00:00+01:00/2020-01-02T00:00", 0},
        {"2020-01-01T00:00+01:00/2020-01-02T00:00", "2020-01-01T00:00+01:00/2020-01-02T00:00+02:00", 1},
        {"2020-01-01T00:00+01:00/2020-01-02T00:00", "2020-01-01T00:00+01:00/2020-01-03T00:00+01:00", 1},
        {"R2/P1Y", "R3/P1Y", 1},
        {"R2/P1Y", "R2/P1Y", 0},
        {"2020-01-01/P1D", "2020-01-01/P1D", 0},
        {"2020-01-01/P1D", "2020-01-01/P2D", 1},
        {"P1D/2020-01-02", "P2D/2020-01-02", 1},
        {"12:00", "12:00:00", 1},
        {"12:00", "2020-01-01/P1D", 1},
    };
    kel_test::BriefWorld world;
    for (const TextCase &c : cases) {
        const ParsedPair p = parsed(world.get(), c.first, c.second);
        ASSERT_EQ(p.failure, 0) << c.first << " " << c.second;
        EXPECT_EQ(_kelCmpDTIntervals(&p.first, &p.second), c.result) << c.first << " vs " << c.second;
    }
}

TEST(CompareTimes, ComparableTimesShareFormAndZone) {
    KelTimeOfDayPart a{};
    a.flags = KEL_TOD_HOURS | KEL_TOD_MINUTES | KEL_TOD_DIFF;
    a.diffHours = 1;
    KelTimeOfDayPart b = a;
    EXPECT_EQ(_kelComparableDTTimes(&a, &b), 1);
    b.diffFlags = KEL_DIFF_NEGATIVE;
    EXPECT_EQ(_kelComparableDTTimes(&a, &b), 0) << "-01 is another zone than +01";
    a.diffHours = b.diffHours = 0;
    EXPECT_EQ(_kelComparableDTTimes(&a, &b), 1) << "a zero difference has no sign";
    b.diffMinutes = 30;
    EXPECT_EQ(_kelComparableDTTimes(&a, &b), 0);
    b = a;
    b.fractionDigits = 2;
    EXPECT_EQ(_kelComparableDTTimes(&a, &b), 0);
    b = a;
    b.flags |= KEL_TOD_SECONDS;
    EXPECT_EQ(_kelComparableDTTimes(&a, &b), 0);
}

} // namespace
