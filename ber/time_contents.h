// time_contents.h - UTCTime and GeneralizedTime text from a KelTimeStruct, as
// the BER and PER families both compose it, and the range tests of the
// record's fields that both apply before writing and after reading.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "internal.h"
#include "kelvarn_stream.h"

namespace kel::useful_time {

// "0012S: Out-of-range value in time type. Month = " and the rows after it:
// day, hour, minute, second, millisecond.
constexpr int kMsgMonthRange = 73;

// The field ranges, tested in this order.
inline void check_ranges(KelGlobal *world, const KelTimeStruct *t, int16_t maxMillisec) {
    struct Range {
        int16_t value, low, high;
    };
    const Range ranges[] = {{t->month, 1, 12},  {t->day, 1, 31},    {t->hour, 0, 23},
                            {t->minute, 0, 59}, {t->second, 0, 59}, {t->millisec, 0, maxMillisec}};
    for (int i = 0; i < 6; ++i)
        if (ranges[i].value < ranges[i].low || ranges[i].value > ranges[i].high)
            _kel_enc_error(world, kMsgMonthRange + i, static_cast<uint32_t>(ranges[i].value));
}

// Text of a time being built; `_kel_shtos` refuses a value too wide for its
// digits ("0012S: Out-of-range value in time type").
struct TimeText {
    unsigned char text[40];
    uint32_t n = 0;

    void digits(KelGlobal *world, int16_t value, int16_t count) {
        _kel_shtos(world, text + n, static_cast<uint16_t>(value), count);
        n += static_cast<uint32_t>(count);
    }
    void put(char c) { text[n++] = static_cast<unsigned char>(c); }
    // Month to second, two digits each.
    void fields(KelGlobal *world, const KelTimeStruct *t) {
        for (int16_t field : {t->month, t->day, t->hour, t->minute, t->second})
            digits(world, field, 2);
    }
    // GeneralizedTime up to the zone: YYYYMMDDhhmmss and the milliseconds
    // as a fraction without trailing zeros, none for 0.
    void generalized(KelGlobal *world, const KelTimeStruct *t) {
        digits(world, t->year, 4);
        fields(world, t);
        put('.');
        digits(world, t->millisec, 3);
        while (text[n - 1] == '0')
            --n;
        if (text[n - 1] == '.')
            --n;
    }
    // UTCTime up to the zone: YYMMDDhhmmss.
    void utc(KelGlobal *world, const KelTimeStruct *t) {
        digits(world, static_cast<int16_t>(t->year % 100), 2);
        fields(world, t);
    }
    bool ends_in_00() const { return n >= 2 && text[n - 1] == '0' && text[n - 2] == '0'; }
    // The difference from UTC as a sign and hhmm.
    void offset(KelGlobal *world, const KelTimeStruct *t) {
        const int minutes = t->mindiff < 0 ? -t->mindiff : t->mindiff;
        put(t->mindiff < 0 ? '-' : '+');
        digits(world, static_cast<int16_t>(minutes / 60), 2);
        digits(world, static_cast<int16_t>(minutes % 60), 2);
    }
    // 'Z' for UTC or no difference, else the difference.
    void zone(KelGlobal *world, const KelTimeStruct *t) {
        if (t->utc || t->mindiff == 0)
            put('Z');
        else
            offset(world, t);
    }
};

} // namespace kel::useful_time
