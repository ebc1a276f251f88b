// time_internal.h - internal helpers of the time library: digit scanning over
// NUL-terminated text, the Gregorian calendar rules, the message numbers
// that the time parsers raise.
#pragma once

#include <cstdint>

#include "kelvarn.h"
#include "kelvarn_prim.h"

namespace kel::time {

enum TimeMessage : int {
    kMsgNotUtc = 8,
    kMsgTimeRange = 72,
    kMsgMonth = 73,
    kMsgDay = 74,
    kMsgHour = 75,
    kMsgMinute = 76,
    kMsgSecond = 77,
    kMsgDigitsOverflow = 148,
    kMsgWeek = 278,
    kMsgCentury = 279,
    kMsgYear = 280,
    kMsgAbsence = 285,
    kMsgPresence = 286,
};

constexpr int kBadValue = 12; // return code of every failed conversion
constexpr int kNullArgument = 6;
constexpr int kNoMemory = 8;

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Number of consecutive digits at `p`; stops at the terminator.
inline int digit_run(const char *p) {
    int n = 0;
    while (is_digit(p[n]))
        ++n;
    return n;
}

// Reads exactly `n` digits; false (and nothing read past the first
// non-digit) when fewer stand there.
inline bool fixed_digits(const char *&p, int n, uint32_t &value) {
    uint32_t v = 0;
    for (int i = 0; i < n; ++i) {
        if (!is_digit(p[i]))
            return false;
        v = v * 10 + static_cast<uint32_t>(p[i] - '0');
    }
    p += n;
    value = v;
    return true;
}

constexpr bool is_leap(int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

constexpr uint8_t kMonthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

constexpr unsigned days_in_month(int64_t year, unsigned month) {
    return month == 2 && is_leap(year) ? 29u : kMonthDays[month - 1];
}

// Days from 1970-01-01 to the given proleptic Gregorian date.
constexpr int64_t days_from_civil(int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

struct CivilDate {
    int64_t year;
    unsigned month, day;
};

// The proleptic Gregorian date of a day counted from 1970-01-01.
constexpr CivilDate civil_from_days(int64_t days) {
    days += 719468;
    const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const int64_t doe = days - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    const unsigned day = static_cast<unsigned>(doy - (153 * mp + 2) / 5 + 1);
    const unsigned month = static_cast<unsigned>(mp < 10 ? mp + 3 : mp - 9);
    return {yoe + era * 400 + (month <= 2), month, day};
}

// Raises `message` with `value`: never returns.
[[noreturn]] inline void raise(KelGlobal *world, int message, uint32_t value = 0) {
    _kel_enc_error(world, message, value);
}

} // namespace kel::time

namespace kel::time {

// A failed parse: the message to raise and its value.  Parsers that must
// not raise report through it instead.
struct Scan {
    const char *p;
    int message = 0;
    uint32_t value = 0;
    bool fail(int m, uint32_t v = 0) {
        message = m;
        value = v;
        return false;
    }
};

// Grammar variants: the parsers behind the primitives check the day of
// year against the leap rule; the public conversions let it reach 366.
enum class Rules { Primitive, Public };

bool parse_point(Scan &s, KelPointPart &out, Rules rules);
bool parse_duration(Scan &s, KelDurationPart &out, bool dropZeros);
// Whole value: recurrence, first part, '/', second part, end of text.
bool parse_value(Scan &s, KelTimeValue &out, Rules rules);

} // namespace kel::time

namespace kel::time {

// Text output in two passes: measuring (no buffer) and writing.
struct TextOut {
    char *out = nullptr; // null while measuring
    size_t length = 0;
    void put(char c) {
        if (out)
            out[length] = c;
        ++length;
    }
    void put(const char *s, size_t n) {
        if (out)
            for (size_t i = 0; i < n; ++i)
                out[length + i] = s[i];
        length += n;
    }
    // `value` in at least `minDigits` digits, zero-padded.
    void number(uint64_t value, unsigned minDigits = 1) {
        char digits[20];
        unsigned n = 0;
        do {
            digits[sizeof digits - 1 - n++] = static_cast<char>('0' + value % 10);
            value /= 10;
        } while (value);
        for (unsigned pad = n; pad < minDigits; ++pad)
            put('0');
        put(digits + sizeof digits - n, n);
    }
    void text(const char *s) {
        while (*s)
            put(*s++);
    }
};

} // namespace kel::time

namespace kel::time {

// Runs `write` (a callable taking TextOut& and returning false for a value
// it refuses) once to measure and once into *text, which is allocated with
// kelMalloc when null.  0, 8 or 12.
template <class Write> int emit_text(KelGlobal *world, char **text, Write write) {
    if (!world || !text)
        return kBadValue;
    TextOut measure;
    if (!write(measure))
        return kBadValue;
    char *out = *text;
    if (!out && !(out = static_cast<char *>(kelMalloc(world, measure.length + 1))))
        return kNoMemory;
    TextOut w{out};
    write(w);
    out[w.length] = 0;
    *text = out;
    return 0;
}

} // namespace kel::time
