// legacy_text.cpp - GeneralizedTime and UTCTime held as text: the reader into
// a KelTimeStruct and the examiner behind the string memory form.
#include <cstring>

#include "internal.h"
#include "time_internal.h"

using namespace kel::time;

namespace {

constexpr uint32_t kCompatNoStrictTime = 0x8000;

// Milliseconds in one unit of the field that a fraction belongs to (hours,
// minutes, seconds) and the digits of the fraction that count for it.
struct FractionScale {
    uint64_t unitMs;
    int keptDigits;
    uint64_t maxMs;
};
constexpr FractionScale kFractionScale[3] = {
    {3600000, 7, 3599999}, // of the hour
    {60000, 6, 59999},     // of the minute
    {1000, 4, 999},        // of the second
};

// Converts the digits at `p` (a fraction of `scale`) to milliseconds, rounding
// half up on the kept digits.  Returns the position behind all the digits.
const char *fraction_ms(const char *p, const FractionScale &scale, uint64_t &ms) {
    uint64_t kept = 0;
    uint64_t power = 1;
    int n = 0;
    for (; is_digit(*p); ++p, ++n) {
        if (n < scale.keptDigits) {
            kept = kept * 10 + static_cast<uint64_t>(*p - '0');
            power *= 10;
        }
    }
    ms = (kept * scale.unitMs + power / 2) / power;
    if (ms > scale.maxMs)
        ms = scale.maxMs;
    return p;
}

bool strict_time_rules(KelGlobal *world) {
    switch (world->encRules) {
    case KEL_DER:
    case KEL_CXER:
    case KEL_CER:
    case KEL_COER:
        return !(world->ext && (world->ext->compatFlags & kCompatNoStrictTime));
    default:
        return false;
    }
}

} // namespace

extern "C" {

int _kel_translate_time(const char *text, KelTimeStruct *out, int isUTC) {
    if (!text || !out)
        return 1;
    const char *p = text;
    uint32_t year, fields[5] = {0, 0, 0, 0, 0};
    if (!fixed_digits(p, isUTC ? 2 : 4, year))
        return 1;
    int count = 0; // fields read after the year: month, day, hour, minute, second
    while (count < 5 && fixed_digits(p, 2, fields[count]))
        ++count;
    if (count < (isUTC ? 4 : 3))
        return 1;
    uint64_t ms = 0;
    if (!isUTC && (*p == '.' || *p == ',') && count >= 3) {
        ++p;
        if (!is_digit(*p))
            return 1;
        p = fraction_ms(p, kFractionScale[count - 3], ms);
        if (count == 3) {
            fields[3] = static_cast<uint32_t>(ms / 60000);
            ms %= 60000;
        }
        if (count <= 4) {
            fields[4] = static_cast<uint32_t>(ms / 1000);
            ms %= 1000;
        }
    }
    int mindiff = 0;
    uint8_t utc = 0;
    if (*p == 'Z' || *p == 'z') {
        utc = 1;
        ++p;
    } else if (*p == '+' || *p == '-') {
        int sign = *p++ == '-' ? -1 : 1;
        uint32_t hours, minutes = 0;
        if (!fixed_digits(p, 2, hours))
            return 1;
        if (*p && !fixed_digits(p, 2, minutes))
            return 1;
        mindiff = sign * static_cast<int>(hours * 60 + minutes);
    }
    if (*p)
        return 1;
    out->year = static_cast<int16_t>(year);
    out->month = static_cast<int16_t>(fields[0]);
    out->day = static_cast<int16_t>(fields[1]);
    out->hour = static_cast<int16_t>(fields[2]);
    out->minute = static_cast<int16_t>(fields[3]);
    out->second = static_cast<int16_t>(fields[4]);
    out->millisec = static_cast<int16_t>(ms);
    out->mindiff = static_cast<int16_t>(mindiff);
    out->utc = utc;
    return 0;
}

void _kel_check_nullterm_time(KelGlobal *world, const char *text, int isUTC) {
    const bool strict = strict_time_rules(world);
    const char *p = text;
    uint32_t value;
    if (!fixed_digits(p, isUTC ? 2 : 4, value))
        raise(world, kMsgTimeRange);
    // Month, day and hour are required; minute and second may be missing
    // outside the canonical rules.
    static constexpr struct {
        int message;
        uint32_t low, high;
    } kFields[5] = {{kMsgMonth, 1, 12}, {kMsgDay, 1, 31}, {kMsgHour, 0, 23}, {kMsgMinute, 0, 59}, {kMsgSecond, 0, 59}};
    for (int i = 0; i < 5; ++i) {
        if (!fixed_digits(p, 2, value)) {
            if (i < 3)
                raise(world, kMsgTimeRange);
            if (strict)
                raise(world, kMsgNotUtc);
            break;
        }
        if (value < kFields[i].low || value > kFields[i].high)
            raise(world, kFields[i].message, value);
    }
    if (!isUTC && (*p == '.' || *p == ',')) {
        if (strict && *p == ',')
            raise(world, kMsgNotUtc);
        int n = digit_run(++p);
        if (n == 0)
            raise(world, strict ? kMsgNotUtc : kMsgTimeRange);
        if (strict && p[n - 1] == '0')
            raise(world, kMsgNotUtc); // zero fractions end in 0 as well
        p += n;
    }
    if (*p == 'Z' || (!isUTC && *p == 'z')) {
        ++p;
    } else {
        if (isUTC && strict)
            raise(world, kMsgNotUtc);
        if (*p == '+' || *p == '-') {
            ++p;
            uint32_t hours, minutes;
            if (!fixed_digits(p, 2, hours) || hours > 23)
                raise(world, kMsgTimeRange);
            if ((isUTC || *p) && (!fixed_digits(p, 2, minutes) || minutes > 59))
                raise(world, kMsgTimeRange);
        } else if (isUTC) {
            raise(world, kMsgTimeRange);
        }
    }
    if (*p)
        raise(world, kMsgTimeRange);
}

} // extern "C"
