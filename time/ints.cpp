// ints.cpp - the integer family: durations, dates, times and the partial
// date forms (gYearMonth, gYear, gMonthDay, gDay, gMonth) between numbers
// and their XML-Schema-like text.
#include <cstring>

#include "time_internal.h"

using namespace kel::time;

namespace {

constexpr int32_t kMaxZone = 840;

bool zone_ok(int32_t zone) {
    return zone == KEL_ZONE_NONE || zone == KEL_ZONE_Z || (zone >= -kMaxZone && zone <= kMaxZone);
}

void write_zone(TextOut &w, int32_t zone) {
    if (zone == KEL_ZONE_NONE)
        return;
    if (zone == KEL_ZONE_Z)
        return w.put('Z');
    uint32_t minutes = zone < 0 ? static_cast<uint32_t>(-zone) : static_cast<uint32_t>(zone);
    w.put(zone < 0 ? '-' : '+');
    w.number(minutes / 60, 2);
    w.put(':');
    w.number(minutes % 60, 2);
}

bool fraction_ok(const char *fraction, uint32_t length) {
    if (length && !fraction)
        return false;
    for (uint32_t i = 0; i < length; ++i)
        if (!is_digit(fraction[i]))
            return false;
    return true;
}

void write_year(TextOut &w, int32_t year) {
    if (year < 0)
        w.put('-');
    w.number(year < 0 ? 0u - static_cast<uint32_t>(year) : static_cast<uint32_t>(year), 4);
}

bool month_ok(uint32_t m) { return m >= 1 && m <= 12; }
bool day_ok(uint32_t d) { return d >= 1 && d <= 31; }

bool time_ok(uint32_t h, uint32_t m, uint32_t s, const char *fraction, uint32_t length) {
    if (!fraction_ok(fraction, length) || m > 59 || s > 60 || h > 24)
        return false;
    if (h < 24)
        return true;
    for (uint32_t i = 0; i < length; ++i)
        if (fraction[i] != '0')
            return false;
    return m == 0 && s == 0;
}

void write_time(TextOut &w, uint32_t h, uint32_t m, uint32_t s, const char *fraction, uint32_t length) {
    w.number(h, 2);
    w.put(':');
    w.number(m, 2);
    w.put(':');
    w.number(s, 2);
    if (length) {
        w.put('.');
        w.put(fraction, length);
    }
}

// Reading side: exactly the forms written above.
struct Reader {
    const char *p;
    bool two(uint32_t &v) { return fixed_digits(p, 2, v); }
    bool lit(char c) { return *p == c ? (++p, true) : false; }
    bool year(int32_t &v) {
        bool negative = lit('-');
        int n = digit_run(p);
        if (n < 4 || n > 9)
            return false;
        uint32_t magnitude = 0;
        fixed_digits(p, n, magnitude);
        v = negative ? -static_cast<int32_t>(magnitude) : static_cast<int32_t>(magnitude);
        return magnitude != 0;
    }
    // The zone, which must end the text.
    bool zone(int32_t *out) {
        int32_t z = KEL_ZONE_NONE;
        if (lit('Z')) {
            z = KEL_ZONE_Z;
        } else if (*p == '+' || *p == '-') {
            bool negative = *p++ == '-';
            uint32_t h, m;
            if (!two(h) || !lit(':') || !two(m) || m > 59 || h * 60 + m > static_cast<uint32_t>(kMaxZone))
                return false;
            z = static_cast<int32_t>(h * 60 + m) * (negative ? -1 : 1);
        }
        if (*p)
            return false;
        if (out)
            *out = z;
        return true;
    }
    bool time(uint32_t &h, uint32_t &m, uint32_t &s, const char *&fraction, uint32_t &length) {
        if (!two(h) || !lit(':') || !two(m) || !lit(':') || !two(s))
            return false;
        fraction = nullptr;
        length = 0;
        if (lit('.')) {
            length = static_cast<uint32_t>(digit_run(p));
            if (!length)
                return false;
            fraction = p;
            p += length;
        }
        return time_ok(h, m, s, fraction, length);
    }
};

template <class T> void store(T *out, T value) {
    if (out)
        *out = value;
}

} // namespace

extern "C" {

int kelIntsToDuration(KelGlobal *world, int negative, uint32_t years, uint32_t months, uint32_t days, uint32_t hours,
                      uint32_t minutes, uint32_t seconds, const char *fraction, uint32_t length, char **text) {
    return emit_text(world, text, [&](TextOut &w) {
        if (!fraction_ok(fraction, length))
            return false;
        if (negative)
            w.put('-');
        w.put('P');
        const bool anyDate = years || months || days;
        const bool anyTime = hours || minutes || seconds || length;
        if (!anyDate && !anyTime) {
            w.text("T0S");
            return true;
        }
        const struct {
            uint32_t value;
            char letter;
        } kDate[] = {{years, 'Y'}, {months, 'M'}, {days, 'D'}}, kTime[] = {{hours, 'H'}, {minutes, 'M'}};
        for (auto c : kDate)
            if (c.value) {
                w.number(c.value);
                w.put(c.letter);
            }
        if (anyTime)
            w.put('T');
        for (auto c : kTime)
            if (c.value) {
                w.number(c.value);
                w.put(c.letter);
            }
        if (seconds || length) {
            w.number(seconds);
            if (length) {
                w.put('.');
                w.put(fraction, length);
            }
            w.put('S');
        }
        return true;
    });
}

int kelIntsToDateTime(KelGlobal *world, int32_t year, uint32_t month, uint32_t day, uint32_t hour, uint32_t minute,
                      uint32_t second, const char *fraction, uint32_t length, int32_t zone, char **text) {
    return emit_text(world, text, [&](TextOut &w) {
        if (!year || !month_ok(month) || !day_ok(day) || !time_ok(hour, minute, second, fraction, length) ||
            !zone_ok(zone))
            return false;
        write_year(w, year);
        w.put('-');
        w.number(month, 2);
        w.put('-');
        w.number(day, 2);
        w.put('T');
        write_time(w, hour, minute, second, fraction, length);
        write_zone(w, zone);
        return true;
    });
}

int kelIntsToTime(KelGlobal *world, uint32_t hour, uint32_t minute, uint32_t second, const char *fraction,
                  uint32_t length, int32_t zone, char **text) {
    return emit_text(world, text, [&](TextOut &w) {
        if (!time_ok(hour, minute, second, fraction, length) || !zone_ok(zone))
            return false;
        write_time(w, hour, minute, second, fraction, length);
        write_zone(w, zone);
        return true;
    });
}

// The partial date forms: which of year, month and day they hold, and the
// prefix before a form without a year.
struct DateForm {
    bool year, month, day;
    const char *prefix;
};
static constexpr DateForm kDate{true, true, true, ""}, kYearMonth{true, true, false, ""},
    kYear{true, false, false, ""}, kMonthDay{false, true, true, "--"}, kDay{false, false, true, "---"},
    kMonth{false, true, false, "--"};

static int date_to_text(KelGlobal *world, const DateForm &form, int32_t year, uint32_t month, uint32_t day,
                        int32_t zone, char **text) {
    return emit_text(world, text, [&](TextOut &w) {
        if ((form.year && !year) || (form.month && !month_ok(month)) || (form.day && !day_ok(day)) || !zone_ok(zone))
            return false;
        w.text(form.prefix);
        if (form.year)
            write_year(w, year);
        if (form.month) {
            if (form.year)
                w.put('-');
            w.number(month, 2);
        }
        if (form.day) {
            if (form.year || form.month)
                w.put('-');
            w.number(day, 2);
        }
        write_zone(w, zone);
        return true;
    });
}

static int text_to_date(const DateForm &form, const char *text, int32_t *year, uint32_t *month, uint32_t *day,
                        int32_t *zone) {
    if (!text)
        return kBadValue;
    Reader r{text};
    int32_t y = 0;
    uint32_t m = 0, d = 0;
    for (const char *c = form.prefix; *c; ++c)
        if (!r.lit(*c))
            return kBadValue;
    if (form.year && !r.year(y))
        return kBadValue;
    if (form.month && ((form.year && !r.lit('-')) || !r.two(m) || !month_ok(m)))
        return kBadValue;
    if (form.day && (((form.year || form.month) && !r.lit('-')) || !r.two(d) || !day_ok(d)))
        return kBadValue;
    if (!r.zone(zone))
        return kBadValue;
    store(year, y);
    store(month, m);
    store(day, d);
    return 0;
}

int kelIntsToDate(KelGlobal *world, int32_t year, uint32_t month, uint32_t day, int32_t zone, char **text) {
    return date_to_text(world, kDate, year, month, day, zone, text);
}
int kelIntsToGYearMonth(KelGlobal *world, int32_t year, uint32_t month, int32_t zone, char **text) {
    return date_to_text(world, kYearMonth, year, month, 0, zone, text);
}
int kelIntsToGYear(KelGlobal *world, int32_t year, int32_t zone, char **text) {
    return date_to_text(world, kYear, year, 0, 0, zone, text);
}
int kelIntsToGMonthDay(KelGlobal *world, uint32_t month, uint32_t day, int32_t zone, char **text) {
    return date_to_text(world, kMonthDay, 0, month, day, zone, text);
}
int kelIntsToGDay(KelGlobal *world, uint32_t day, int32_t zone, char **text) {
    return date_to_text(world, kDay, 0, 0, day, zone, text);
}
int kelIntsToGMonth(KelGlobal *world, uint32_t month, int32_t zone, char **text) {
    return date_to_text(world, kMonth, 0, month, 0, zone, text);
}

int kelDateToInts(KelGlobal *, const char *text, int32_t *year, uint32_t *month, uint32_t *day, int32_t *zone) {
    return text_to_date(kDate, text, year, month, day, zone);
}
int kelGYearMonthToInts(KelGlobal *, const char *text, int32_t *year, uint32_t *month, int32_t *zone) {
    return text_to_date(kYearMonth, text, year, month, nullptr, zone);
}
int kelGYearToInts(KelGlobal *, const char *text, int32_t *year, int32_t *zone) {
    return text_to_date(kYear, text, year, nullptr, nullptr, zone);
}
int kelGMonthDayToInts(KelGlobal *, const char *text, uint32_t *month, uint32_t *day, int32_t *zone) {
    return text_to_date(kMonthDay, text, nullptr, month, day, zone);
}
int kelGDayToInts(KelGlobal *, const char *text, uint32_t *day, int32_t *zone) {
    return text_to_date(kDay, text, nullptr, nullptr, day, zone);
}
int kelGMonthToInts(KelGlobal *, const char *text, uint32_t *month, int32_t *zone) {
    return text_to_date(kMonth, text, nullptr, month, nullptr, zone);
}

int kelTimeToInts(KelGlobal *, const char *text, uint32_t *hour, uint32_t *minute, uint32_t *second,
                  const char **fraction, uint32_t *length, int32_t *zone) {
    if (!text)
        return kBadValue;
    Reader r{text};
    uint32_t h, m, s, n;
    const char *f;
    if (!r.time(h, m, s, f, n) || !r.zone(zone))
        return kBadValue;
    store(hour, h);
    store(minute, m);
    store(second, s);
    store(fraction, f);
    store(length, n);
    return 0;
}

int kelDateTimeToInts(KelGlobal *, const char *text, int32_t *year, uint32_t *month, uint32_t *day, uint32_t *hour,
                      uint32_t *minute, uint32_t *second, const char **fraction, uint32_t *length, int32_t *zone) {
    if (!text)
        return kBadValue;
    Reader r{text};
    int32_t y;
    uint32_t mo, d, h, mi, s, n;
    const char *f;
    if (!r.year(y) || !r.lit('-') || !r.two(mo) || !month_ok(mo) || !r.lit('-') || !r.two(d) || !day_ok(d) ||
        !r.lit('T') || !r.time(h, mi, s, f, n) || !r.zone(zone))
        return kBadValue;
    store(year, y);
    store(month, mo);
    store(day, d);
    store(hour, h);
    store(minute, mi);
    store(second, s);
    store(fraction, f);
    store(length, n);
    return 0;
}

int kelDurationToInts(KelGlobal *, const char *text, int *negative, uint32_t *years, uint32_t *months, uint32_t *days,
                      uint32_t *hours, uint32_t *minutes, uint32_t *seconds, const char **fraction,
                      uint32_t *length) {
    if (!text)
        return kBadValue;
    Reader r{text};
    int neg = r.lit('-');
    if (!r.lit('P') || !(is_digit(*r.p) || *r.p == 'T'))
        return kBadValue;
    uint32_t values[6] = {0, 0, 0, 0, 0, 0};
    const char *f = nullptr;
    uint32_t n = 0;
    static constexpr char kLetters[6] = {'Y', 'M', 'D', 'H', 'M', 'S'};
    int next = 0;
    bool inTime = false;
    while (*r.p) {
        if (r.lit('T')) {
            if (inTime || !*r.p)
                return kBadValue;
            inTime = true;
            next = 3;
        }
        uint32_t value;
        const char *after = is_digit(*r.p) ? _kelStrToUintUnlimited(r.p, &value) : nullptr;
        if (!after)
            return kBadValue;
        r.p = after;
        if (inTime && r.lit('.')) {
            n = static_cast<uint32_t>(digit_run(r.p));
            if (!n || r.p[n] != 'S')
                return kBadValue;
            f = r.p;
            r.p += n;
        }
        int i = next;
        while (i < (inTime ? 6 : 3) && kLetters[i] != *r.p)
            ++i;
        if (i == (inTime ? 6 : 3))
            return kBadValue;
        ++r.p;
        values[i] = value;
        next = i + 1;
    }
    store(negative, neg);
    store(years, values[0]);
    store(months, values[1]);
    store(days, values[2]);
    store(hours, values[3]);
    store(minutes, values[4]);
    store(seconds, values[5]);
    store(fraction, f);
    store(length, n);
    return 0;
}

} // extern "C"
