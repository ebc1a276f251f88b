// legacy_ints.cpp - GeneralizedTime and UTCTime text between numbers and
// text, under the fraction and zone rules of the encoding rules in force.
#include <initializer_list>

#include "internal.h"
#include "time_internal.h"

using namespace kel::time;

namespace {

constexpr int32_t kDiffLocal = 0;
constexpr int32_t kDiffZ = 1;
constexpr int32_t kMaxDiff = 1440;

bool canonical_rules(const KelGlobal *world) {
    return world->encRules == KEL_DER || world->encRules == KEL_CER || world->encRules == KEL_COER;
}

void write_difference(TextOut &w, int32_t difference) {
    uint32_t minutes = difference < 0 ? static_cast<uint32_t>(-difference) : static_cast<uint32_t>(difference);
    w.put(difference < 0 ? '-' : '+');
    w.number(minutes / 60, 2);
    w.number(minutes % 60, 2);
}

bool fits(uint32_t value, unsigned digits) {
    uint64_t limit = 1;
    for (unsigned i = 0; i < digits; ++i)
        limit *= 10;
    return value < limit;
}

struct LegacyFields {
    uint32_t year, month, day, hour, minute, second;
    uint32_t fraction, digits;
    int32_t difference;
};

// Reads a GeneralizedTime (yearDigits 4) or UTCTime (2) text; false on
// a malformed or out-of-range text, or one that the canonical rules refuse.
bool read_legacy(const KelGlobal *world, const char *text, unsigned yearDigits, LegacyFields &f) {
    if (!text)
        return false;
    const bool strict = canonical_rules(world);
    const char *p = text;
    f = LegacyFields{};
    uint32_t *fields[5] = {&f.month, &f.day, &f.hour, &f.minute, &f.second};
    if (!fixed_digits(p, static_cast<int>(yearDigits), f.year))
        return false;
    int count = 0;
    while (count < 5 && fixed_digits(p, 2, *fields[count]))
        ++count;
    // UTCTime needs the minutes; the canonical rules need the seconds.
    if (count < (yearDigits == 2 ? 4 : 3) || (strict && count < 5))
        return false;
    if (f.month < 1 || f.month > 12 || f.day < 1 || f.day > 31 || f.hour > 23 || f.minute > 59 || f.second > 60)
        return false;
    if (yearDigits == 4 && (*p == '.' || *p == ',')) {
        if (strict && *p == ',')
            return false;
        int n = digit_run(++p);
        if (n == 0 || (strict && p[n - 1] == '0'))
            return false;
        uint64_t value = 0, power = 1;
        for (int i = 0; i < n && i < 9; ++i, power *= 10)
            value = value * 10 + static_cast<uint64_t>(p[i] - '0');
        p += n;
        if (count < 5) {
            // A fraction of the hour or minute becomes minutes, seconds and
            // a fraction of the second.
            uint32_t *target = count == 3 ? &f.minute : &f.second;
            value *= 60;
            *target = static_cast<uint32_t>(value / power);
            value %= power;
            if (count == 3) {
                value *= 60;
                f.second = static_cast<uint32_t>(value / power);
                value %= power;
            }
        }
        unsigned digits = 0;
        for (uint64_t pw = power; pw > 1; pw /= 10)
            ++digits;
        while (value && value % 10 == 0) {
            value /= 10;
            --digits;
        }
        f.fraction = static_cast<uint32_t>(value);
        f.digits = value ? digits : 0;
    }
    f.difference = kDiffLocal;
    if (*p == 'Z' || *p == 'z') {
        ++p;
        f.difference = kDiffZ;
    } else if (*p == '+' || *p == '-') {
        int32_t sign = *p++ == '-' ? -1 : 1;
        uint32_t h, m = 0;
        if (!fixed_digits(p, 2, h) || h > 23)
            return false;
        if ((yearDigits == 2 || *p) && (!fixed_digits(p, 2, m) || m > 59))
            return false;
        f.difference = sign * static_cast<int32_t>(h * 60 + m);
    } else if (yearDigits == 2) {
        return false;
    }
    return !*p && (!strict || f.difference == kDiffZ);
}

template <class Y, class T>
int legacy_to_ints(KelGlobal *world, const char *text, unsigned yearDigits, Y *year, T *month, T *day, T *hour,
                   T *minute, T *second, uint32_t *fraction, uint32_t *digits, int32_t *difference) {
    LegacyFields f;
    if (!world || !read_legacy(world, text, yearDigits, f))
        return kBadValue;
    const struct {
        T *out;
        uint32_t value;
    } kOut[] = {{month, f.month}, {day, f.day}, {hour, f.hour}, {minute, f.minute}, {second, f.second}};
    if (year)
        *year = static_cast<Y>(f.year);
    for (auto o : kOut)
        if (o.out)
            *o.out = static_cast<T>(o.value);
    if (fraction)
        *fraction = f.fraction;
    if (digits)
        *digits = f.digits;
    if (difference)
        *difference = f.difference;
    return 0;
}

} // namespace

extern "C" {

int kelIntsToGeneralizedTime(KelGlobal *world, uint32_t year, uint32_t month, uint32_t day, uint32_t hour,
                             uint32_t minute, uint32_t second, uint32_t fraction, uint32_t digits,
                             int32_t difference, char **output) {
    return emit_text(world, output, [&](TextOut &w) {
        const bool canonical = canonical_rules(world);
        if (!fits(year, 4) || !fits(month, 2) || !fits(day, 2) || !fits(hour, 2) || !fits(minute, 2) ||
            !fits(second, 2) || digits > 10 || (digits && !fits(fraction, digits)))
            return false;
        if (difference != kDiffZ && canonical)
            return false;
        if (difference > kMaxDiff || difference < -kMaxDiff)
            return false;
        char body[32];
        TextOut b{body};
        b.number(year, 4);
        for (uint32_t v : {month, day, hour, minute, second})
            b.number(v, 2);
        if (digits) {
            b.put('.');
            b.number(fraction, digits);
            while (body[b.length - 1] == '0')
                --b.length;
            if (body[b.length - 1] == '.')
                --b.length;
        }
        if (world->encRules == KEL_BER && b.length == 14 && body[12] == '0' && body[13] == '0')
            b.length -= 2; // zero seconds are left out
        w.put(body, b.length);
        if (difference == kDiffZ)
            w.put('Z');
        else if (difference != kDiffLocal)
            write_difference(w, difference);
        return true;
    });
}

int kelIntsToUTCTime(KelGlobal *world, uint32_t year, uint32_t month, uint32_t day, uint32_t hour, uint32_t minute,
                     uint32_t second, int32_t difference, char **output) {
    return emit_text(world, output, [&](TextOut &w) {
        const bool zulu = difference == kDiffLocal || difference == kDiffZ;
        if (!fits(month, 2) || !fits(day, 2) || !fits(hour, 2) || !fits(minute, 2) || !fits(second, 2))
            return false;
        if ((!zulu && canonical_rules(world)) || difference > kMaxDiff || difference < -kMaxDiff)
            return false;
        w.number(year % 100, 2);
        for (uint32_t v : {month, day, hour, minute})
            w.number(v, 2);
        if (second || world->encRules != KEL_BER)
            w.number(second, 2);
        if (zulu)
            w.put('Z');
        else
            write_difference(w, difference);
        return true;
    });
}

int kelGeneralizedTimeToInts(KelGlobal *world, const char *text, uint32_t *year, uint32_t *month, uint32_t *day,
                             uint32_t *hour, uint32_t *minute, uint32_t *second, uint32_t *fraction,
                             uint32_t *digits, int32_t *difference) {
    return legacy_to_ints(world, text, 4, year, month, day, hour, minute, second, fraction, digits, difference);
}

int kelGeneralizedTimeToShorts(KelGlobal *world, const char *text, uint16_t *year, uint16_t *month, uint16_t *day,
                               uint16_t *hour, uint16_t *minute, uint16_t *second, uint32_t *fraction,
                               uint32_t *digits, int32_t *difference) {
    return legacy_to_ints(world, text, 4, year, month, day, hour, minute, second, fraction, digits, difference);
}

int kelUTCTimeToInts(KelGlobal *world, const char *text, uint32_t *year, uint32_t *month, uint32_t *day,
                     uint32_t *hour, uint32_t *minute, uint32_t *second, int32_t *difference) {
    return legacy_to_ints(world, text, 2, year, month, day, hour, minute, second, nullptr, nullptr, difference);
}

int kelUTCTimeToShorts(KelGlobal *world, const char *text, uint16_t *year, uint16_t *month, uint16_t *day,
                       uint16_t *hour, uint16_t *minute, uint16_t *second, int32_t *difference) {
    return legacy_to_ints(world, text, 2, year, month, day, hour, minute, second, nullptr, nullptr, difference);
}

} // extern "C"
