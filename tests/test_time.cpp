// test_time.cpp - the time library: TIME texts parsed and rewritten, the
// integer and GeneralizedTime/UTCTime families, calendar seconds, and the
// day arithmetic against std::chrono.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>

#include "counting_alloc.h"
#include "harness.h"
#include "kelvarn.h"
#include "time_internal.h"

namespace {

using kel_test::BriefWorld;
using kel_test::CountingAllocator;

// A heap copy of exactly strlen + 1 octets, so that a read past the
// terminator shows under the address sanitizer.
struct ExactText {
    char *p;
    explicit ExactText(const char *s) : p(static_cast<char *>(std::malloc(std::strlen(s) + 1))) {
        std::memcpy(p, s, std::strlen(s) + 1);
    }
    ~ExactText() { std::free(p); }
};

// Runs a raising primitive in the checker phase, where the frame hands back
// the message number itself.
template <class Body> int message_of(KelGlobal *world, Body body) {
    return kel_test::in_frame(world, 6, body);
}

TEST(TimeValueParse, MessagesOfEveryForm) {
    struct Case {
        const char *text;
        int message;
    } const cases[] = {
        {"2020-02-29T24:00:00", 0}, {"24:00:01", 77}, {"24:01", 76}, {"12:30:60.25Z", 0}, {"23:59+15", 0},
        {"15:00+15:30", 76}, {"15:00-16", 75}, {"12:00.", 72}, {"24:00:00.0", 0}, {"24:00:00.5", 72},
        {"2000-02-29", 0}, {"1900-02-29", 74}, {"2020-13", 73}, {"2020-01-32", 74}, {"2020-1", 73},
        {"2020-W53-7", 0}, {"2020-W54", 278}, {"2020-W01-8", 74}, {"2020-366", 0}, {"2021-366", 74},
        {"2021-100-01", 72}, {"2020-01T12:00", 72}, {"2020T12", 72}, {"19C", 0}, {"-05C", 0}, {"012C", 279},
        {"9C", 279}, {"-12", 280}, {"01000", 280}, {"+12345-01-01", 0}, {"R/P1Y", 0}, {"R0/P1Y", 72},
        {"R12/2020-01-01/2020-02-01", 0}, {"R/2020-01-01", 72}, {"R5P1Y", 72}, {"P1Y2W", 72}, {"P2W", 0},
        {"P1Y2M3DT4H5M6.75S", 0}, {"PT", 72}, {"P", 72}, {"P1DT", 72}, {"P01Y", 72}, {"P1M1Y", 72},
        {"PT1H1.5M2S", 72}, {"P1.Y", 72}, {"P99999999999Y", 148}, {"P1Y/P1M", 72},
        {"2020-01-01/P1D", 0}, {"P1D/2020-01-01", 0}, {"2020-01-02/2020-01-01", 72},
        {"2020-01-01T10:00/2020-01-01T09:00", 72}, {"2020/2020-01", 72}, {"12:00Z/12:00Z", 0}, {"12:00x", 72},
    };
    BriefWorld w;
    for (const Case &c : cases) {
        ExactText text(c.text);
        KelTimeValue v;
        EXPECT_EQ(message_of(w.get(), [&] { _kelGetDateTimeValue(w.get(), text.p, &v); }), c.message) << c.text;
    }
}

TEST(TimeValueParse, FieldsOfRecurrenceDateAndDuration) {
    BriefWorld w;
    KelTimeValue v;
    ASSERT_EQ(message_of(w.get(), [&] { _kelGetDateTimeValue(w.get(), "R/P1Y", &v); }), 0);
    EXPECT_EQ(v.flags, KEL_TV_RECURRING | KEL_TV_DURATION_FIRST);
    EXPECT_EQ(v.recurrenceDigits, 0);
    EXPECT_EQ(v.recurrences, 0xFFFFFFFFu);
    ASSERT_EQ(message_of(w.get(), [&] { _kelGetDateTimeValue(w.get(), "1581-W02-3T07:05:09,125-03:30", &v); }), 0);
    const KelPointPart &p = v.first.point;
    EXPECT_EQ(p.date.flags, KEL_DATE_YEAR | KEL_DATE_WEEK | KEL_DATE_DAY | KEL_DATE_PROLEPTIC);
    EXPECT_EQ(p.date.year, 1581);
    EXPECT_EQ(p.date.week, 2);
    EXPECT_EQ(p.time.fraction, 125u);
    EXPECT_EQ(p.time.fractionDigits, 3u);
    EXPECT_EQ(p.time.diffFlags, KEL_DIFF_NEGATIVE | KEL_DIFF_MINUTES);
    EXPECT_EQ(p.time.diffMinutes, 30);
    // The primitive drops zero components but keeps the last designator.
    KelDurationPart d;
    const char *end = nullptr;
    ASSERT_EQ(message_of(w.get(), [&] { end = _kelDTDurationParse(w.get(), "P0Y3MT0S/x", &d); }), 0);
    EXPECT_STREQ(end, "/x");
    EXPECT_EQ(d.flags, KEL_DUR_MONTHS | KEL_DUR_SECONDS);
    EXPECT_EQ(d.lastDesignator, KEL_DUR_SECONDS);
    KelDuration pd;
    ASSERT_NE(_kel_parse_duration("P0Y3MT0S", &pd, 0), nullptr);
    EXPECT_EQ(pd.flags, KEL_D_YEARS | KEL_D_MONTHS | KEL_D_SECONDS);
    EXPECT_EQ(_kel_parse_duration("P1Y2W", &pd, 0), nullptr);
}

TEST(TimeConversions, KindAndCanonicalRoundTrip) {
    struct Case {
        const char *text;
        int kind;
        const char *canonical; // null: refused with 12
    } const cases[] = {
        {"2020-01-01T10:00:00.500+01:00", 0, "2020-01-01T10:00:00.500+01"},
        {"+12345-W05", 0, "+12345-W05"}, {"-0044-03-15", 0, "-0044-03-15"}, {"-05C", 0, "-05C"},
        {"2020-060", 0, "2020-060"}, {"12:00Z", 0, "12:00Z"}, {"P1Y0M2DT0H", 1, "P1Y2D"}, {"PT0S", 1, "PT0S"},
        {"P0Y", 1, "P0Y"}, {"PT0.5S", 1, "PT0.5S"}, {"P3W", 1, "P3W"},
        {"2020-01-01T00:00+01:00/2020-01-02T00:00", 2, "2020-01-01T00:00+01/2020-01-02T00:00"},
        {"2020-01-01T00:00/2020-01-02T00:00+01:00", 2, nullptr}, {"2020-01-01/2020-01-02T00:00", 2, nullptr},
        {"2020-01-01/P1D", 3, "2020-01-01/P1D"}, {"P1D/2020-01-01", 4, "P1D/2020-01-01"},
        {"R/P1Y", 5, "R/P1Y"}, {"R3/2020-01/2020-02", 6, "R3/2020-01/2020-02"},
        {"R3/2020-01/P1M", 7, "R3/2020-01/P1M"}, {"R12/P1M/2020-01", 8, "R12/P1M/2020-01"},
        {"X", 9, nullptr}, {"R/x", 6, nullptr}, {"24:00:01", 0, nullptr},
    };
    BriefWorld w;
    w->encRules = KEL_DER;
    for (const Case &c : cases) {
        ExactText text(c.text);
        EXPECT_EQ(kelGetTimeKind(w.get(), text.p), c.kind) << c.text;
        char out[64];
        int code = _kel_format_new_time(w.get(), text.p, out);
        if (!c.canonical) {
            EXPECT_EQ(code, 12) << c.text;
            continue;
        }
        ASSERT_EQ(code, 0) << c.text;
        EXPECT_STREQ(out, c.canonical) << c.text;
    }
    EXPECT_EQ(kelGetTimeKind(nullptr, "P1Y"), 9);
}

TEST(TimeConversions, PublicRecordsAndAllocation) {
    BriefWorld w;
    KelTimePoint start, end;
    KelDuration d;
    int32_t rec = 0;
    ASSERT_EQ(kelStringToStartPointDurationRecInterval(w.get(), "R7/2021-12-31T23:59:60Z/PT1.25S", &start, &d, &rec), 0);
    EXPECT_EQ(rec, 7);
    EXPECT_EQ(start.flags, KEL_TP_YEAR | KEL_TP_MONTH | KEL_TP_DAY | KEL_TP_HOURS | KEL_TP_MINUTES | KEL_TP_SECONDS |
                               KEL_TP_UTC);
    EXPECT_EQ(d.flags, KEL_D_SECONDS | KEL_D_FRACTION);
    EXPECT_EQ(kelStringToTimePoint(w.get(), "P1Y", &start), 12); // wrong kind
    EXPECT_EQ(kelStringToStartPointEndPointInterval(w.get(), "2020-W01/2020-W02", &start, &end), 0);

    KelTimePoint32 p32;
    EXPECT_EQ(kel32StringToTimePoint(w.get(), "12:00:00.123456789012", &p32), 12); // fraction over 32 bits
    ASSERT_EQ(kel32StringToTimePoint(w.get(), "12:00:00.5", &p32), 0);
    char buffer[32], *text = buffer;
    ASSERT_EQ(kel32TimePointToString(w.get(), &p32, &text), 0);
    EXPECT_STREQ(buffer, "12:00:00.5");

    // Invalid records are refused in the measuring pass, before any memory.
    KelTimePoint bad{};
    bad.flags = KEL_TP_YEAR | KEL_TP_MONTH;
    bad.year = 2020;
    bad.month = 13;
    CountingAllocator::install(w.get());
    CountingAllocator::reset();
    text = nullptr;
    EXPECT_EQ(kelTimePointToString(w.get(), &bad, &text), 12);
    EXPECT_EQ(CountingAllocator::live, 0);
    bad.month = 12;
    ASSERT_EQ(kelTimePointToString(w.get(), &bad, &text), 0);
    EXPECT_STREQ(text, "2020-12");
    kelFree(w.get(), text);
    CountingAllocator::reset(1);
    text = nullptr;
    EXPECT_EQ(kelDurationRecIntervalToString(w.get(), &d, -1, &text), 8);
    EXPECT_EQ(CountingAllocator::live, 0);
}

TEST(TimeInts, WritersAndReaders) {
    BriefWorld w;
    char buffer[64];
    auto out = [&](int code) { return code ? std::to_string(code) : std::string(buffer); };
    char *t = buffer;
    EXPECT_EQ(out(kelIntsToDuration(w.get(), 0, 0, 0, 0, 0, 0, 0, nullptr, 0, &(t = buffer))), "PT0S");
    EXPECT_EQ(out(kelIntsToDuration(w.get(), 0, 0, 0, 0, 0, 0, 0, "5", 1, &(t = buffer))), "PT0.5S");
    EXPECT_EQ(out(kelIntsToDuration(w.get(), 1, 1, 0, 3, 0, 4, 0, nullptr, 0, &(t = buffer))), "-P1Y3DT4M");
    EXPECT_EQ(out(kelIntsToTime(w.get(), 24, 0, 0, nullptr, 0, KEL_ZONE_NONE, &(t = buffer))), "24:00:00");
    EXPECT_EQ(out(kelIntsToTime(w.get(), 24, 0, 1, nullptr, 0, KEL_ZONE_NONE, &(t = buffer))), "12");
    EXPECT_EQ(out(kelIntsToTime(w.get(), 1, 2, 3, "25", 2, -330, &(t = buffer))), "01:02:03.25-05:30");
    EXPECT_EQ(out(kelIntsToTime(w.get(), 1, 2, 3, nullptr, 0, 841, &(t = buffer))), "12");
    EXPECT_EQ(out(kelIntsToDateTime(w.get(), -44, 3, 15, 12, 0, 0, nullptr, 0, KEL_ZONE_Z, &(t = buffer))),
              "-0044-03-15T12:00:00Z");
    EXPECT_EQ(out(kelIntsToDate(w.get(), 0, 1, 1, KEL_ZONE_NONE, &(t = buffer))), "12");
    EXPECT_EQ(out(kelIntsToGYearMonth(w.get(), 2020, 13, KEL_ZONE_NONE, &(t = buffer))), "12");
    EXPECT_EQ(out(kelIntsToGMonthDay(w.get(), 2, 29, 60, &(t = buffer))), "--02-29+01:00");
    EXPECT_EQ(out(kelIntsToGDay(w.get(), 7, KEL_ZONE_NONE, &(t = buffer))), "---07");
    EXPECT_EQ(out(kelIntsToGMonth(w.get(), 7, KEL_ZONE_NONE, &(t = buffer))), "--07");
    EXPECT_EQ(out(kelIntsToGYear(w.get(), 12345, KEL_ZONE_NONE, &(t = buffer))), "12345");

    int neg;
    uint32_t y, mo, d, h, mi, s, n;
    int32_t year, zone;
    const char *f;
    ASSERT_EQ(kelDurationToInts(w.get(), "-P1YT2.50S", &neg, &y, &mo, &d, &h, &mi, &s, &f, &n), 0);
    EXPECT_EQ(neg, 1);
    EXPECT_EQ(y, 1u);
    EXPECT_EQ(s, 2u);
    EXPECT_EQ(std::string(f, n), "50");
    EXPECT_EQ(kelDurationToInts(w.get(), "P", &neg, &y, &mo, &d, &h, &mi, &s, &f, &n), 12);
    EXPECT_EQ(kelDurationToInts(w.get(), "PT1H2H", &neg, &y, &mo, &d, &h, &mi, &s, &f, &n), 12);
    ASSERT_EQ(kelDateTimeToInts(w.get(), "-0044-03-15T12:00:00.5-01:30", &year, &mo, &d, &h, &mi, &s, &f, &n, &zone), 0);
    EXPECT_EQ(year, -44);
    EXPECT_EQ(zone, -90);
    const char *badDates[] = {"2020-1-01", "2020-01-01Z+", "2020-13-01", "0000-01-01", "2020-01-01+15:00"};
    for (const char *bad : badDates)
        EXPECT_EQ(kelDateToInts(w.get(), bad, &year, &mo, &d, &zone), 12) << bad;
    ASSERT_EQ(kelGMonthDayToInts(w.get(), "--12-31Z", &mo, &d, &zone), 0);
    EXPECT_EQ(zone, KEL_ZONE_Z);
    EXPECT_EQ(kelTimeToInts(w.get(), "24:00:00.1", &h, &mi, &s, &f, &n, &zone), 12);
}

TEST(LegacyTime, TranslateAndCheck) {
    struct Translate {
        const char *text;
        int utc;
        int result;
        KelTimeStruct expect;
    } const translate[] = {
        {"2017071112.5Z", 0, 0, {2017, 7, 11, 12, 30, 0, 0, 0, 1}},
        {"201707111230.0105+0130", 0, 0, {2017, 7, 11, 12, 30, 0, 630, 90, 0}},
        {"20170711123059.99999", 0, 0, {2017, 7, 11, 12, 30, 59, 999, 0, 0}},
        {"1707111230-05", 1, 0, {17, 7, 11, 12, 30, 0, 0, -300, 0}},
        {"17071112Z", 1, 1, {}}, {"2017071112.Z", 0, 1, {}}, {"1707111230.5Z", 1, 1, {}}, {"20170711Z", 0, 1, {}},
        {"2017071112Zx", 0, 1, {}},
    };
    for (const Translate &c : translate) {
        ExactText text(c.text);
        KelTimeStruct t{};
        ASSERT_EQ(_kel_translate_time(text.p, &t, c.utc), c.result) << c.text;
        if (c.result == 0) {
            EXPECT_EQ(std::memcmp(&t, &c.expect, offsetof(KelTimeStruct, utc) + 1), 0) << c.text;
        }
    }

    struct Check {
        const char *text;
        int utc;
        uint32_t rules;
        int message;
    } const checks[] = {
        {"20170711123000Z", 0, KEL_DER, 0}, {"201707111230Z", 0, KEL_DER, 8}, {"201707111230Z", 0, KEL_BER, 0},
        {"20170711123000.0Z", 0, KEL_DER, 8}, {"20170711123000,5Z", 0, KEL_DER, 8},
        {"20170711123000.Z", 0, KEL_BER, 72}, {"20171311123000Z", 0, KEL_BER, 73}, {"20170732Z", 0, KEL_BER, 74},
        {"2017071124Z", 0, KEL_BER, 75}, {"201707112360Z", 0, KEL_BER, 76}, {"20170711235960", 0, KEL_BER, 77},
        {"1707111230+0100", 1, KEL_BER, 0}, {"1707111230+0100", 1, KEL_DER, 8}, {"1707111230+01", 1, KEL_BER, 72},
        {"1707111230", 1, KEL_BER, 72}, {"170711Z", 1, KEL_BER, 72}, {"20170711123000Zx", 0, KEL_BER, 72},
    };
    BriefWorld w;
    for (const Check &c : checks) {
        ExactText text(c.text);
        w->encRules = c.rules;
        EXPECT_EQ(message_of(w.get(), [&] { _kel_check_nullterm_time(w.get(), text.p, c.utc); }), c.message)
            << c.text;
    }
}

TEST(LegacyTime, IntsAndCalendarSeconds) {
    BriefWorld w;
    char buffer[32], *t;
    auto out = [&](int code) { return code ? std::to_string(code) : std::string(buffer); };
    EXPECT_EQ(out(kelIntsToGeneralizedTime(w.get(), 2017, 7, 11, 12, 30, 0, 0, 0, 1, &(t = buffer))), "201707111230Z");
    EXPECT_EQ(out(kelIntsToGeneralizedTime(w.get(), 2017, 7, 11, 12, 30, 5, 120, 3, -90, &(t = buffer))),
              "20170711123005.12-0130");
    EXPECT_EQ(out(kelIntsToGeneralizedTime(w.get(), 2017, 7, 11, 12, 30, 5, 0, 0, 1441, &(t = buffer))), "12");
    EXPECT_EQ(out(kelIntsToUTCTime(w.get(), 2017, 7, 11, 12, 30, 0, 0, &(t = buffer))), "1707111230Z");
    w->encRules = KEL_DER;
    EXPECT_EQ(out(kelIntsToGeneralizedTime(w.get(), 2017, 7, 11, 12, 30, 0, 0, 0, 1, &(t = buffer))),
              "20170711123000Z");
    EXPECT_EQ(out(kelIntsToGeneralizedTime(w.get(), 2017, 7, 11, 12, 30, 0, 0, 0, 0, &(t = buffer))), "12");
    EXPECT_EQ(out(kelIntsToUTCTime(w.get(), 2017, 7, 11, 12, 30, 0, 60, &(t = buffer))), "12");

    uint16_t ys, mos, ds, hs, mis, ss;
    uint32_t fraction, digits;
    int32_t diff;
    EXPECT_EQ(kelGeneralizedTimeToShorts(w.get(), "20170711123000,5Z", &ys, &mos, &ds, &hs, &mis, &ss, &fraction,
                                         &digits, &diff), 12); // comma under DER
    w->encRules = KEL_BER;
    ASSERT_EQ(kelGeneralizedTimeToShorts(w.get(), "2017071112.25+0100", &ys, &mos, &ds, &hs, &mis, &ss, &fraction,
                                         &digits, &diff), 0);
    EXPECT_EQ(mis, 15);
    EXPECT_EQ(diff, 60);

    int32_t seconds;
    char *s = nullptr;
    ASSERT_EQ(kelCalTimeToGenTimeString(w.get(), 0, 0, &s), 0);
    EXPECT_STREQ(s, "19700101000000Z");
    kelFreeMemory(w.get(), s);
    EXPECT_EQ(kelGenTimeStringToCalTime(w.get(), "19691231235959Z", &seconds), 12);
    EXPECT_EQ(kelGenTimeStringToCalTime(w.get(), "20380119031407Z", &seconds), 0);
    EXPECT_EQ(seconds, INT32_MAX);
    EXPECT_EQ(kelGenTimeStringToCalTime(w.get(), "20380119031408Z", &seconds), 12);
    EXPECT_EQ(kelUTCTimeStringToCalTime(w.get(), "700101010000+0100", &seconds), 0);
    EXPECT_EQ(seconds, 0);
    EXPECT_EQ(kelGenTimeStringToCalTime(nullptr, "19700101000000Z", &seconds), 6);
    KelTimeStruct ts{}, *tp = &ts;
    EXPECT_EQ(kelCalTimeToUTCTimeStruct(w.get(), 86400 * 365, -60, &tp), 0);
    EXPECT_EQ(ts.year, 70);
    EXPECT_EQ(ts.hour, 23);
    EXPECT_EQ(kelUTCTimeStructToCalTime(w.get(), &ts, &seconds), 0);
    EXPECT_EQ(seconds, 86400 * 365);
    EXPECT_EQ(kelCalTimeToGenTimeString(w.get(), 0, 1440, &s), 12);
}

// Every day of 1583..2400 against std::chrono: day numbers, leap years, month
// lengths, the ordinal-day test of the parser, and calendar seconds where
// they exist.
TEST(TimeCalendar, DayArithmeticMatchesChrono) {
    using namespace std::chrono;
    using namespace kel::time;
    BriefWorld w;
    for (sys_days day = sys_days{year{1583} / January / 1}; day <= sys_days{year{2400} / December / 31}; day += days{1}) {
        const year_month_day ymd{day};
        const int y = static_cast<int>(ymd.year());
        const unsigned m = static_cast<unsigned>(ymd.month()), d = static_cast<unsigned>(ymd.day());
        const int64_t n = day.time_since_epoch().count();
        ASSERT_EQ(days_from_civil(y, m, d), n);
        const CivilDate back = civil_from_days(n);
        ASSERT_TRUE(back.year == y && back.month == m && back.day == d) << n;
        ASSERT_EQ(days_in_month(y, m), static_cast<unsigned>((year_month_day_last{ymd.year(), month_day_last{ymd.month()}}).day()));
        if (m == 12 && d == 31) {
            ASSERT_EQ(is_leap(y), ymd.year().is_leap());
            char text[16];
            std::snprintf(text, sizeof text, "%04d-366", y);
            KelTimeValue v;
            ASSERT_EQ(message_of(w.get(), [&] { _kelGetDateTimeValue(w.get(), text, &v); }), is_leap(y) ? 0 : 74) << text;
        }
        if (y >= 1970 && y < 2038 && d == 1) {
            char text[20];
            std::snprintf(text, sizeof text, "%04d%02u%02u000000Z", y, m, d);
            int32_t seconds;
            ASSERT_EQ(kelGenTimeStringToCalTime(w.get(), text, &seconds), 0) << text;
            ASSERT_EQ(seconds, n * 86400) << text;
        }
    }
}

} // namespace
