// point_parse.cpp - parsers of the ISO 8601 texts of the TIME family into
// KelTimeValue: dates (century, year, month, week and ordinal forms), times
// of day with fractions and zones, durations, intervals and recurrences.
#include <cstring>

#include "time_internal.h"

using namespace kel::time;

namespace kel::time {

namespace {

// Reads a run of digits into T; false with message 148 on overflow.
template <class T> bool scan_number(Scan &s, T &value, int &count) {
    T v = 0;
    const char *start = s.p;
    for (; is_digit(*s.p); ++s.p) {
        T digit = static_cast<T>(*s.p - '0');
        if (v > (static_cast<T>(~T(0)) - digit) / 10)
            return s.fail(kMsgDigitsOverflow, static_cast<uint32_t>(digit_run(start)));
        v = static_cast<T>(v * 10 + digit);
    }
    value = v;
    count = static_cast<int>(s.p - start);
    return true;
}

bool two_digits(Scan &s, uint32_t &value) { return fixed_digits(s.p, 2, value) || s.fail(kMsgTimeRange); }

uint8_t year_class(int64_t year) {
    if (year >= 1582 && year <= 9999)
        return KEL_DATE_BASIC;
    if (year >= 0 && year <= 1581)
        return KEL_DATE_PROLEPTIC;
    if (year >= -9999 && year <= -1)
        return KEL_DATE_NEGATIVE;
    return 0;
}

uint8_t century_class(int64_t century) {
    if (century >= 15 && century <= 99)
        return KEL_DATE_BASIC;
    if (century >= 0 && century <= 14)
        return KEL_DATE_PROLEPTIC;
    if (century >= -99 && century <= -1)
        return KEL_DATE_NEGATIVE;
    return 0;
}

// Date; leaves `out` empty and the position unchanged when the text starts
// with a time of day instead.
bool parse_date(Scan &s, KelDatePart &out, Rules rules) {
    out = KelDatePart{};
    const char *start = s.p;
    bool negative = *s.p == '-';
    bool signed_ = negative || *s.p == '+';
    if (signed_)
        ++s.p;
    uint32_t magnitude;
    int n;
    if (!scan_number(s, magnitude, n))
        return false;
    if (magnitude > 0x7FFFFFFFu)
        return s.fail(kMsgDigitsOverflow, static_cast<uint32_t>(n));
    int32_t number = negative ? -static_cast<int32_t>(magnitude) : static_cast<int32_t>(magnitude);
    out.digits = static_cast<uint16_t>(n);
    if (*s.p == 'C') {
        if (n < 2 || (n > 2 && start[signed_] == '0'))
            return s.fail(kMsgCentury, magnitude);
        ++s.p;
        out.flags = KEL_DATE_CENTURY | century_class(number);
        out.year = number;
        return true;
    }
    if (n < 4) {
        if (signed_)
            return s.fail(kMsgYear, magnitude);
        s.p = start; // a time of day
        return true;
    }
    if (n > 4 && start[signed_] == '0')
        return s.fail(kMsgYear, magnitude);
    out.flags = KEL_DATE_YEAR | year_class(number);
    out.year = number;
    if (*s.p != '-')
        return true;
    uint32_t value = 0;
    if (s.p[1] == 'W') {
        s.p += 2;
        if (!two_digits(s, value))
            return false;
        if (value < 1 || value > 53)
            return s.fail(kMsgWeek, value);
        out.flags |= KEL_DATE_WEEK;
        out.week = static_cast<uint16_t>(value);
        if (*s.p == '-') {
            ++s.p;
            if (!fixed_digits(s.p, 1, value) || value < 1 || value > 7)
                return s.fail(kMsgDay, value);
            out.flags |= KEL_DATE_DAY;
            out.day = static_cast<uint16_t>(value);
        }
        return true;
    }
    ++s.p;
    switch (digit_run(s.p)) {
    case 3: {
        fixed_digits(s.p, 3, value);
        unsigned last = rules == Rules::Public || is_leap(number) ? 366 : 365;
        if (value < 1 || value > last)
            return s.fail(kMsgDay, value);
        out.flags |= KEL_DATE_DAY;
        out.day = static_cast<uint16_t>(value);
        return *s.p != '-' || s.fail(kMsgTimeRange);
    }
    case 2:
        fixed_digits(s.p, 2, value);
        if (value < 1 || value > 12)
            return s.fail(kMsgMonth, value);
        out.flags |= KEL_DATE_MONTH;
        out.month = static_cast<uint16_t>(value);
        if (*s.p == '-') {
            ++s.p;
            if (!two_digits(s, value))
                return false;
            if (value < 1 || value > days_in_month(number, out.month))
                return s.fail(kMsgDay, value);
            out.flags |= KEL_DATE_DAY;
            out.day = static_cast<uint16_t>(value);
        }
        return true;
    default:
        return s.fail(kMsgMonth);
    }
}

bool parse_time_of_day(Scan &s, KelTimeOfDayPart &out) {
    out = KelTimeOfDayPart{};
    uint32_t value;
    if (!two_digits(s, value))
        return false;
    if (value > 24)
        return s.fail(kMsgHour, value);
    out.flags = KEL_TOD_HOURS;
    out.hours = static_cast<uint16_t>(value);
    const bool midnight = value == 24;
    static constexpr struct {
        uint8_t flag;
        uint16_t max;
        int message;
    } kLower[2] = {{KEL_TOD_MINUTES, 59, kMsgMinute}, {KEL_TOD_SECONDS, 60, kMsgSecond}};
    uint16_t *field[2] = {&out.minutes, &out.seconds};
    for (int i = 0; i < 2 && *s.p == ':'; ++i) {
        ++s.p;
        if (!two_digits(s, value))
            return false;
        if (value > kLower[i].max || (midnight && value))
            return s.fail(kLower[i].message, value);
        out.flags |= kLower[i].flag;
        *field[i] = static_cast<uint16_t>(value);
    }
    if (*s.p == '.' || *s.p == ',') {
        ++s.p;
        int n;
        if (!scan_number(s, out.fraction, n))
            return false;
        if (n == 0 || (midnight && out.fraction))
            return s.fail(kMsgTimeRange);
        out.flags |= KEL_TOD_FRACTION;
        out.fractionDigits = static_cast<uint32_t>(n);
    }
    if (*s.p == 'Z') {
        ++s.p;
        out.flags |= KEL_TOD_UTC;
    } else if (*s.p == '+' || *s.p == '-') {
        out.diffFlags = *s.p++ == '-' ? KEL_DIFF_NEGATIVE : 0;
        if (!two_digits(s, value))
            return false;
        if (value > 15)
            return s.fail(kMsgHour, value);
        out.flags |= KEL_TOD_DIFF;
        out.diffHours = static_cast<uint16_t>(value);
        if (*s.p == ':') {
            ++s.p;
            if (!two_digits(s, value))
                return false;
            if (value > 59 || (out.diffHours == 15 && value))
                return s.fail(kMsgMinute, value);
            out.diffFlags |= KEL_DIFF_MINUTES;
            out.diffMinutes = static_cast<uint16_t>(value);
        }
    }
    return true;
}

// The designators of a duration in their order, with the bit each sets.
struct Designator {
    char letter;
    bool afterT;
    uint8_t bit;
    uint32_t KelDurationPart::*field;
};
constexpr Designator kDesignators[] = {
    {'Y', false, KEL_DUR_YEARS, &KelDurationPart::years},     {'M', false, KEL_DUR_MONTHS, &KelDurationPart::months},
    {'D', false, KEL_DUR_DAYS, &KelDurationPart::days},       {'H', true, KEL_DUR_HOURS, &KelDurationPart::hours},
    {'M', true, KEL_DUR_MINUTES, &KelDurationPart::minutes},  {'S', true, KEL_DUR_SECONDS, &KelDurationPart::seconds},
};
constexpr int kDesignatorCount = sizeof kDesignators / sizeof kDesignators[0];

} // namespace

bool parse_point(Scan &s, KelPointPart &out, Rules rules) {
    if (!parse_date(s, out.date, rules))
        return false;
    out.time = KelTimeOfDayPart{};
    if (out.date.flags) {
        if (*s.p != 'T')
            return true;
        if (!(out.date.flags & KEL_DATE_DAY))
            return s.fail(kMsgTimeRange);
        ++s.p;
    }
    return parse_time_of_day(s, out.time);
}

bool parse_duration(Scan &s, KelDurationPart &out, bool dropZeros) {
    out = KelDurationPart{};
    if (*s.p != 'P')
        return s.fail(kMsgTimeRange);
    ++s.p;
    bool inTime = false;
    int next = 0; // first designator still allowed
    for (;;) {
        if (*s.p == 'T') {
            if (inTime)
                return s.fail(kMsgTimeRange);
            inTime = true;
            next = 3;
            ++s.p;
        }
        if (!is_digit(*s.p))
            break;
        if (s.p[0] == '0' && is_digit(s.p[1]))
            return s.fail(kMsgTimeRange);
        uint32_t value;
        int n;
        if (!scan_number(s, value, n))
            return false;
        uint64_t fraction = 0;
        int fractionDigits = 0;
        if (*s.p == '.' || *s.p == ',') {
            ++s.p;
            if (!scan_number(s, fraction, fractionDigits))
                return false;
            if (fractionDigits == 0)
                return s.fail(kMsgTimeRange);
        }
        uint8_t bit;
        if (*s.p == 'W') {
            if (out.lastDesignator || inTime)
                return s.fail(kMsgTimeRange);
            out.weeks = value;
            bit = KEL_DUR_WEEKS;
            next = kDesignatorCount;
        } else {
            int i = next;
            while (i < kDesignatorCount && (kDesignators[i].letter != *s.p || kDesignators[i].afterT != inTime))
                ++i;
            if (i == kDesignatorCount)
                return s.fail(kMsgTimeRange);
            out.*kDesignators[i].field = value;
            bit = kDesignators[i].bit;
            next = i + 1;
        }
        ++s.p;
        out.lastDesignator = bit;
        if (value || !dropZeros)
            out.flags |= bit;
        if (fractionDigits) {
            out.flags |= bit | KEL_DUR_FRACTION;
            out.fraction = fraction;
            out.fractionDigits = static_cast<uint32_t>(fractionDigits);
            break;
        }
        if (next == kDesignatorCount)
            break;
    }
    if (!out.lastDesignator || (inTime && out.lastDesignator > KEL_DUR_HOURS))
        return s.fail(kMsgTimeRange); // "P", "PT" or "P1DT"
    out.flags |= out.lastDesignator;
    return true;
}

bool parse_value(Scan &s, KelTimeValue &out, Rules rules) {
    std::memset(&out, 0, sizeof out);
    if (*s.p == 'R') {
        ++s.p;
        if (*s.p == '0')
            return s.fail(kMsgTimeRange);
        int n;
        if (!scan_number(s, out.recurrences, n))
            return false;
        if (*s.p != '/')
            return s.fail(kMsgTimeRange);
        ++s.p;
        out.flags = KEL_TV_RECURRING;
        out.recurrenceDigits = static_cast<uint16_t>(n);
        if (n == 0)
            out.recurrences = 0xFFFFFFFFu;
    }
    bool firstIsDuration = *s.p == 'P';
    if (firstIsDuration ? !parse_duration(s, out.first.duration, false) : !parse_point(s, out.first.point, rules))
        return false;
    out.flags |= firstIsDuration ? KEL_TV_DURATION_FIRST : KEL_TV_START;
    if (*s.p == '/') {
        ++s.p;
        if (*s.p == 'P') {
            if (firstIsDuration)
                return s.fail(kMsgTimeRange);
            if (!parse_duration(s, out.second.duration, false))
                return false;
            out.flags |= KEL_TV_DURATION_SECOND;
        } else {
            if (!parse_point(s, out.second.point, rules))
                return false;
            out.flags |= KEL_TV_END;
        }
    } else if ((out.flags & (KEL_TV_RECURRING | KEL_TV_START)) == (KEL_TV_RECURRING | KEL_TV_START)) {
        return s.fail(kMsgTimeRange);
    }
    return *s.p == 0 || s.fail(kMsgTimeRange);
}

} // namespace kel::time

extern "C" {

int kelGetTimeKind(KelGlobal *world, const char *text) {
    if (!world || !text)
        return KEL_TIME_NONE;
    if (*text == 'R') {
        const char *p = text + 1 + digit_run(text + 1);
        if (*p != '/')
            return KEL_TIME_NONE;
        ++p;
        if (*p != 'P')
            return std::strchr(p, 'P') ? KEL_TIME_REC_START_DURATION : KEL_TIME_REC_START_END;
        return std::strchr(p, '/') ? KEL_TIME_REC_DURATION_END : KEL_TIME_REC_DURATION;
    }
    if (std::strchr(text, '/')) {
        if (*text == 'P')
            return KEL_TIME_DURATION_END;
        return std::strchr(text, 'P') ? KEL_TIME_START_DURATION : KEL_TIME_START_END;
    }
    if (*text == 'P')
        return KEL_TIME_DURATION;
    return is_digit(*text) || *text == '+' || *text == '-' ? KEL_TIME_POINT : KEL_TIME_NONE;
}

void _kelGetDateTimeValue(KelGlobal *world, const char *text, KelTimeValue *value) {
    Scan s{text};
    if (!parse_value(s, *value, Rules::Primitive))
        raise(world, s.message, s.value);
    if ((value->flags & (KEL_TV_START | KEL_TV_END)) == (KEL_TV_START | KEL_TV_END)) {
        // An interval's end may not lie before its start; the zones take no
        // part in the comparison.
        KelPointPart start = value->first.point, end = value->second.point;
        start.time.flags &= static_cast<uint8_t>(~KEL_TOD_DIFF);
        end.time.flags &= static_cast<uint8_t>(~KEL_TOD_DIFF);
        int relation = _kelDTPointsRelation(&start, &end);
        if (relation != -1 && relation != 0)
            raise(world, kMsgTimeRange);
    }
}

const char *_kelDTDurationParse(KelGlobal *world, const char *text, KelDurationPart *out) {
    Scan s{text};
    if (!parse_duration(s, *out, true))
        raise(world, s.message, s.value);
    return s.p;
}

const char *_kel_parse_duration(const char *text, KelDuration *out, int dropZeros) {
    Scan s{text};
    KelDurationPart part;
    if (!parse_duration(s, part, dropZeros != 0))
        return nullptr;
    *out = KelDuration{static_cast<uint32_t>(part.flags) << 24, part.years, part.months, part.weeks, part.days,
                       part.hours, part.minutes, part.seconds, part.fractionDigits, part.fraction};
    return s.p;
}

} // extern "C"
