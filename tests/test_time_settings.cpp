// test_time_settings.cpp - the property-settings checks of the TIME family run
// on parsed texts (the rule each setting bit enforces, and which rule wins when
// several break), and the decimal digit readers and writers at their limits.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "harness.h"
#include "kelvarn.h"

namespace {

using kel_test::BriefWorld;
using Check = int (*)(const KelTimeValue *, uint32_t, uint32_t, const char **);

constexpr Check Date = _kelChkDateSettings, DateTime = _kelChkDateTimeSettings, Tod = _kelChkTimeSettings,
                Iv = _kelChkIntervalSettings, RecIv = _kelChkRecIntervalSettings, NbDate = _kelChkNoBasicDateSettings,
                NbTod = _kelChkNoBasicTimeSettings, NbIv = _kelChkNoBasicIntervalSettings;
// Checks of other shapes, adapted to run on a parsed value.
constexpr Check Midnight = [](const KelTimeValue *v, uint32_t s, uint32_t, const char **m) {
    return _kelCheckMidnightSettings(s, &v->first.point.time, m);
};
constexpr Check Range = [](const KelTimeValue *v, uint32_t low, uint32_t high, const char **m) {
    return _kelChkRecurrenceRange(v, low, high, m);
};
// Common heads of the rule texts.
#define TOD "the time-of-day "
#define DATE "the date shall "
#define FORM "the interval should be specified using "
#define POINTS "both start and end points of the interval shall be specified using "

// Setting bits of a date, a time of day and an interval.
enum : uint32_t { Yr = 0x80, Mon = 0x100, Day = 0x200, Wk = 0x400, Cent = 0x800, Basic = 0x1000,
                  Prol = 0x2000, Neg = 0x4000, Large = 0x8000 };
enum : uint32_t { Hr = 0x80, Min = 0x100, Sec = 0x200, Frac = 0x40, Local = 0x400, Utc = 0x800, Diff = 0x1000,
                  MidStart = 0x4000, MidEnd = 0x8000, Alt = 0x10000 };
enum : uint32_t { IvStart = 0x40, IvEnd = 0x80, IvDur = 0x100, IvDate = 0x200, IvTime = 0x400, IvDT = 0x800,
                  IvRec = 0x1000 };

// Marks a failure whose wording is left to the check.
constexpr const char kAnyText[] = "(any text)";

void parse(KelGlobal *world, const char *text, KelTimeValue *value) {
    ASSERT_EQ(kel_test::in_frame(world, 6, [&] { _kelGetDateTimeValue(world, text, value); }), 0) << text;
}

TEST(TimeSettings, EachRuleAndItsOrder) {
    struct Case {
        Check check;
        const char *text;
        uint32_t settings, digits;
        const char *message; // null: passes; else the failure's text
    } const cases[] = {
        {Date, "2020-01-01T10:00", 0, 0, "the value shall be a date only"}, {Date, "20C", Cent, 0, nullptr},
        {Date, "2020", Cent, 0, DATE "represent only a century"}, {Date, "20C", Yr, 0, DATE "have a year component"},
        {Date, "2020", Yr | Mon, 0, DATE "have a month component"},
        {Date, "2020-05", Yr, 0, DATE "not have a month component"},
        {Date, "2020-05-03", Yr | Wk | Day, 0, DATE "not have a month component"},
        {Date, "2020-W05-3", Yr | Wk, 0, DATE "not have a day component"}, {Date, "2020-123", Yr | Day, 0, nullptr},
        {Date, "2020", Yr | Wk, 0, DATE "have a week component"},
        {Date, "2020-05", Yr | Mon | Day, 0, DATE "have a day component"}, {Date, "1582", Basic, 0, nullptr},
        {Date, "1581", Basic, 0, "the year identification shall be a non-proleptic year in the range 1582 to 9999"},
        {Date, "14C", Basic, 0, "the century identification shall be a non-proleptic century in the range 15 to 99"},
        {Date, "1582", Prol, 0,
         "the year identification shall be a year in the proleptic Gregorian Calendar in the range 0 to 1581"},
        {Date, "15C", Prol, 0,
         "the century identification shall be a century in the proleptic Gregorian Calendar in the range 0 to 14"},
        {Date, "0000", Prol, 0, nullptr}, {Date, "-0001", Neg, 0, nullptr}, {Date, "+123C", Large, 5, nullptr},
        {Date, "0000", Neg, 0, "the year identification shall be a negative year in the range -9999 to -1"},
        {Date, "00C", Neg, 0, "the century identification shall be a negative century in the range -99 to -1"},
        {Date, "1582", Basic | Prol, 0, nullptr}, {Date, "+12345", Large, 5, nullptr}, // first range bit only
        {Date, "+12345", Basic, 0, "the year identification shall be a non-proleptic year in the range 1582 to 9999"},
        {Date, "+12345", Large, 6, "the large year identification has an incorrect number of digits"},
        {Date, "+123C", Large, 4, "the large century identification has incorrect number of digits"},
        {DateTime, "2020-01-01T10:00", Yr | Mon | Day, 0, nullptr},
        {DateTime, "2020-01-01", 0, 0, "the value shall be a date and a time-of-day"},
        {DateTime, "2020-01-01T10:00", Yr | Wk, 0, DATE "not have a month component"},
        {Tod, "2020-01-01", 0, 0, "the value shall be a time-of-day only"},
        {Tod, "10:30", Hr, 0, TOD "shall not have a minutes component"},
        {Tod, "10", Hr | Min, 0, TOD "shall have a minutes component"},
        {Tod, "10:30:15", Hr | Min, 0, TOD "shall not have a seconds component"},
        {Tod, "10:30", Hr | Min | Sec, 0, TOD "shall have a seconds component"},
        {Tod, "10:30:15,25", Hr | Min | Sec | Frac, 2, nullptr}, {Tod, "10.5", Hr | Frac, 1, nullptr},
        {Tod, "10:30:15.25", Hr | Min | Sec | Frac, 3, "the decimal fraction component has incorrect number of digits"},
        {Tod, "10:30:15", Hr | Min | Sec | Frac, 0, TOD "shall have a decimal fraction component"},
        {Tod, "10:30:15.25", Hr | Min | Sec, 0, TOD "shall not have a decimal fraction component"},
        {Tod, "10:30", Local, 0, nullptr}, {Tod, "10:30Z", Local, 0, TOD "shall specify a local time only"},
        {Tod, "10:30Z", Utc, 0, nullptr}, {Tod, "10:30+01", Utc, 0, TOD "shall specify a UTC time only"},
        {Tod, "10:30-01:30", Diff, 0, nullptr},
        {Tod, "10:30Z", Diff, 0, TOD "shall specify a local time and a time difference component"},
        {Tod, "10:30", Hr | Min | Utc, 0, TOD "shall specify a UTC time only"},
        {Tod, "00:00:01", MidStart | Hr, 0, TOD "shall represent midnight at the start of a day"},
        {Tod, "00:00", MidEnd, 0, TOD "shall represent midnight at the end of a day"},
        {Tod, "24:00", MidEnd | Hr | Min, 0, nullptr},
        {Tod, "12:00", MidStart | Alt, 0, ""}, {Tod, "00:00", MidStart | Alt | Hr | Min, 0, nullptr},
        {Tod, "00:00:00", MidStart | Alt | Hr | Min, 0, TOD "shall not have a seconds component"},
        {Midnight, "00:00:00,5", MidStart, 0, TOD "shall represent midnight at the start of a day"},
        {Midnight, "12:00", MidEnd | Alt, 0, ""}, {Midnight, "24:00:00", MidEnd | Alt, 0, nullptr},
        {Iv, "2020-01-01", 0, 0, "the value shall be a time interval"},
        {Iv, "R2/P1Y", 0, 0, "the value shall be a time interval"}, {Iv, "P1Y", IvDur, 0, nullptr},
        {Iv, "2020-01-01/2020-02-01", IvStart | IvEnd, 0, nullptr},
        {Iv, "2020-01-01/P1M", IvStart | IvEnd, 0, FORM "a start point and an end point"},
        {Iv, "2020-01-01/P1M", IvStart | IvDur, 0, nullptr},
        {Iv, "P1M/2020-01-01", IvStart | IvDur, 0, FORM "a start point and a duration"},
        {Iv, "2020-01-01/2020-02-01", IvEnd, 0, FORM "a duration and an end point"},
        {Iv, "2020-01-01/P1M", IvDur, 0, FORM "only a duration"}, {Iv, "2020-01-01/P1M", IvDate, 0, nullptr},
        {Iv, "2020-01-01T10:00/P1M", IvDate, 0, POINTS "a date only"},
        {Iv, "2020-01-01/P1M", IvDT, 0, POINTS "a date and a time-of-day"},
        {Iv, "P1D/10:00", IvDate, 0, POINTS "a date only"},
        {Iv, "P1D/2020-01-01T10:00", IvStart | IvEnd | IvTime, 0, FORM "a start point and an end point"},
        {Iv, "2020-01-01/P1D", IvRec, 3, nullptr}, // recurrence digits only on recurring values
        {RecIv, "2020-01-01/P1D", 0, 0, "the value shall be a recurring time interval"},
        {RecIv, "R12/P1D", IvRec, 2, nullptr},
        {RecIv, "R12/P1D", IvRec, 3, "the recurring interval has an incorrect number of recurrence digits"},
        {RecIv, "R/P1D", IvRec, 2, "the recurring interval has an incorrect number of recurrence digits"},
        {RecIv, "R/P1D", IvRec, 0, nullptr},
        {RecIv, "R5/P1D", IvRec, 0,
         "the recurring interval shall not contain recurrence digits because the \"Recurrence\" property setting "
         "is \"Unlimited\""},
        {RecIv, "R5/2020-01-01/P1D", IvStart | IvDur, 0, nullptr},
        {RecIv, "R5/2020-01-01/P1D", IvStart | IvEnd, 0, FORM "a start point and an end point"},
        {Range, "P1D", 0, 0xFFFF, ": expected a recurring time interval"}, {Range, "R12/P1D", 1, 2, nullptr},
        {Range, "R/P1D", 1, 0xFFFF, nullptr}, {Range, "R12/P1D", 3, 5, kAnyText},
        {Range, "R/P1D", 1, 5, kAnyText},
        {NbTod, "2020-01-01", Alt | MidStart | Hr, 0, kAnyText}, {NbDate, "P1D/2020-01-01", Yr | Mon | Day, 0, nullptr},
        {NbDate, "P1D/2020-01-01", Yr | Wk, 0, DATE "not have a month component"},
        {NbDate, "2020-05/2020-06", Yr | Mon, 0, nullptr}, // the start decides
        {NbIv, "2020-01-01", IvStart | IvEnd, 0, nullptr},
        {NbIv, "2020-01-01/P1D", IvStart | IvEnd, 0, FORM "a start point and an end point"},
        {NbTod, "2020-01-01", Hr, 0, nullptr}, {NbTod, "10:00/11:00", Hr, 0, TOD "shall not have a minutes component"},
        {NbTod, "00:00/00:00", MidStart, 0, nullptr},
        {NbTod, "00:00/24:00", MidStart, 0, TOD "shall represent midnight at the start of a day"},
        {NbTod, "10:00", Alt | Hr | Min, 0, nullptr}, {NbTod, "10:00:00/24:00:00", Alt | MidEnd | Hr | Min, 0, nullptr},
        {NbTod, "P1D/10:00:00", Hr | Min, 0, TOD "shall not have a seconds component"},
        {NbTod, "P1D/2020-01-01", Hr, 0, nullptr},
    };
    BriefWorld w;
    for (const Case &c : cases) {
        KelTimeValue v;
        parse(w.get(), c.text, &v);
        const char *message = nullptr;
        const int result = c.check(&v, c.settings, c.digits, &message);
        SCOPED_TRACE(std::string(c.text) + " settings " + std::to_string(c.settings));
        EXPECT_EQ(result, c.message ? 1 : 0);
        if (c.message && c.message != kAnyText) {
            EXPECT_STREQ(message ? message : "(none)", c.message);
        }
    }
}

TEST(TimeSettings, DurationComponents) {
    struct Case {
        const char *text;
        uint32_t required, forbidden;
        int code;
        const char *name;
    } const cases[] = {
        {"P1Y2M", KEL_DUR_YEARS | KEL_DUR_MONTHS, KEL_DUR_DAYS, 0, nullptr}, {"P1Y", KEL_DUR_MONTHS, 0, 286, "months"},
        {"P1Y2M", 0, KEL_DUR_MONTHS, 285, "months"},
        {"P1M0D", KEL_DUR_DAYS, 0, 0, nullptr}, // the last designator is always there
        {"PT1.5S", KEL_DUR_FRACTION, 0, 0, nullptr}, {"PT1.5S", 0, KEL_DUR_FRACTION, 285, "fractional-part"},
        {"PT3H", KEL_DUR_SECONDS | KEL_DUR_MINUTES, 0, 286, "minutes"},
        {"P1D", KEL_DUR_HOURS, KEL_DUR_DAYS, 286, "hours"},
        {"2020-01-01/PT5M", KEL_DUR_MINUTES, KEL_DUR_HOURS, 0, nullptr},
        {"PT5M/2020-01-01T10:00", 0, KEL_DUR_MINUTES, 285, "minutes"},
    };
    BriefWorld w;
    for (const Case &c : cases) {
        KelTimeValue v;
        parse(w.get(), c.text, &v);
        const char *name = nullptr;
        EXPECT_EQ(_kelChkDurationComponents(&v, c.required, c.forbidden, &name), c.code) << c.text;
        EXPECT_STREQ(c.code ? name : nullptr, c.name) << c.text;
    }
}

TEST(TimeSettings, DigitReaders) {
    enum Reader { Limited32, Limited64, Unlimited32, Unlimited64, Safe32, Safe64 };
    struct Case {
        Reader reader;
        const char *text;
        int digits;    // digit count, or the minimum for the raising readers
        int consumed;  // -1: no position
        uint64_t value;
        int message;   // of the raising readers
    } const cases[] = {
        {Limited32, "1234x", 4, 4, 1234, 0},       {Limited32, "123456", 3, 3, 123, 0},
        {Limited32, "12x4", 4, -1, 0, 0},          {Limited32, "4294967295", 10, 10, 4294967295u, 0},
        {Limited64, "18446744073709551615", 20, 20, UINT64_MAX, 0}, {Limited64, "0000000000007", 13, 13, 7, 0},
        {Unlimited32, "4294967295/", 0, 10, 4294967295u, 0}, {Unlimited32, "4294967296", 0, -1, 0, 0},
        {Unlimited32, "x", 0, 0, 0, 0},            {Unlimited32, "00000000000000000042", 0, 20, 42, 0},
        {Unlimited64, "18446744073709551615", 0, 20, UINT64_MAX, 0}, {Unlimited64, "18446744073709551616", 0, -1, 0, 0},
        {Safe32, "12:", 2, 2, 12, 0},              {Safe32, "1:", 2, -1, 0, 72},
        {Safe32, "4294967296", 1, -1, 0, 148},     {Safe64, "18446744073709551615", 20, 20, UINT64_MAX, 0},
        {Safe64, "99999999999999999999", 1, -1, 0, 148},
    };
    BriefWorld w;
    for (const Case &c : cases) {
        uint32_t v32 = 0;
        uint64_t v64 = 0;
        const char *end = nullptr;
        int message = 0;
        switch (c.reader) {
        case Limited32: end = _kelStrToUintLimited(c.text, c.digits, &v32); break;
        case Limited64: end = _kelStrToUint64Limited(c.text, c.digits, &v64); break;
        case Unlimited32: end = _kelStrToUintUnlimited(c.text, &v32); break;
        case Unlimited64: end = _kelStrToUint64Unlimited(c.text, &v64); break;
        case Safe32:
            message = kel_test::in_frame(w.get(), 6, [&] {
                end = _kelStrToUintSafe(w.get(), c.text, c.digits, &v32);
            });
            break;
        case Safe64:
            message = kel_test::in_frame(w.get(), 6, [&] {
                end = _kelStrToUint64Safe(w.get(), c.text, c.digits, &v64);
            });
            break;
        }
        EXPECT_EQ(message, c.message) << c.text;
        EXPECT_EQ(end ? end - c.text : -1, c.consumed) << c.text;
        EXPECT_EQ(c.consumed >= 0 ? v32 | v64 : 0, c.value) << c.text;
    }
}

TEST(TimeSettings, DigitWriters) {
    enum Writer { Limited32, Limited64, Unlimited32, Unlimited64, Exact32, Exact64, Ranged };
    struct Case {
        Writer writer;
        int digits, maxDigits; // digits: exact count, or the minimum
        uint64_t value;
        const char *text;      // null: nothing written, no position
    } const cases[] = {
        {Limited32, 4, 0, 7, "0007"},          {Limited32, 2, 0, 1234, "34"},
        {Limited32, 10, 0, UINT32_MAX, "4294967295"}, {Limited64, 3, 0, 12345, "345"},
        {Limited64, 20, 0, UINT64_MAX, "18446744073709551615"},
        {Unlimited32, 2, 0, 5, "05"},          {Unlimited32, 1, 0, UINT32_MAX, "4294967295"},
        {Unlimited32, 0, 0, 0, "0"},           {Unlimited64, 1, 0, UINT64_MAX, "18446744073709551615"},
        {Unlimited64, 20, 0, 1, "00000000000000000001"},
        {Exact32, 3, 0, 999, "999"},           {Exact32, 3, 0, 1000, nullptr},
        {Exact32, 2, 0, 5, "05"},              {Exact64, 19, 0, 10000000000000000000u, nullptr},
        {Exact64, 20, 0, UINT64_MAX, "18446744073709551615"},
        {Ranged, 2, 4, 5, "05"},                {Ranged, 2, 4, 1234, "1234"},
        {Ranged, 2, 4, 12345, nullptr},         {Ranged, 1, 10, UINT32_MAX, "4294967295"},
    };
    for (const Case &c : cases) {
        char out[32];
        std::memset(out, '#', sizeof out);
        const auto v32 = static_cast<uint32_t>(c.value);
        char *end = nullptr;
        switch (c.writer) {
        case Limited32: end = _kelUintToStrLimited(out, c.digits, v32); break;
        case Limited64: end = _kelUint64ToStrLimited(out, c.digits, c.value); break;
        case Unlimited32: end = _kelUintToStrUnlimited(out, c.digits, v32); break;
        case Unlimited64: end = _kelUint64ToStrUnlimited(out, c.digits, c.value); break;
        case Exact32: end = _kelUintToStr(out, c.digits, v32); break;
        case Exact64: end = _kelUint64ToStr(out, c.digits, c.value); break;
        case Ranged: end = _kelRangeUintToStr(out, c.digits, c.maxDigits, v32); break;
        }
        const size_t written = c.text ? std::strlen(c.text) : 0;
        EXPECT_EQ(end, c.text ? out + written : nullptr) << c.value;
        EXPECT_EQ(std::string(out, written), c.text ? c.text : "") << c.value;
        EXPECT_EQ(out[written], '#') << c.value; // nothing beyond the digits
    }
}

} // namespace
