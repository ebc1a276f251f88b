// enc_times.cpp - GeneralizedTime, UTCTime and the TIME types in JSON: the
// time record written as its text in quotes (checked field by field unless
// NOCONSTRAIN), and TIME text in its canonical form.
#include "json_out.h"
#include "kelvarn_time.h"

namespace {

using namespace kel::json;

// Room of the text of a time record: 14 digits, fraction, zone, NUL.
constexpr uint32_t kTimeRoom = 32;

// `digits` decimal digits of `value`, which must fit them.
char *put_field(KelGlobal *world, char *p, int32_t value, int digits) {
    static constexpr int32_t kLimits[] = {1, 10, 100, 1000, 10000};
    if (value < 0 || value >= kLimits[digits])
        fail(world, kMsgTimeRange);
    for (int i = digits; i-- > 0; value /= 10)
        p[i] = static_cast<char>('0' + value % 10);
    return p + digits;
}

void check_fields(KelGlobal *world, const KelTimeStruct *time, bool utc) {
    struct Field {
        int16_t value;
        int16_t low;
        int16_t high;
    };
    const Field fields[] = {{time->month, 1, 12}, {time->day, 1, 31}, {time->hour, 0, 23},
                            {time->minute, 0, 59}, {time->second, 0, 59}};
    for (int i = 0; i < 5; ++i)
        if (fields[i].value < fields[i].low || fields[i].value > fields[i].high)
            fail(world, kMsgMonth + i, static_cast<uint32_t>(static_cast<int32_t>(fields[i].value)));
    if (!utc && (time->millisec < 0 || time->millisec >= 1000))
        fail(world, kMsgMonth + 5, static_cast<uint32_t>(static_cast<int32_t>(time->millisec)));
}

void put_time(KelGlobal *world, const KelTimeStruct *time, int isUTC) {
    char text[kTimeRoom + 2];
    text[0] = '"';
    const uint32_t n = _kel_jenc_format_time(world, time, isUTC, text + 1);
    text[n + 1] = '"';
    put(world, text, n + 2);
}

} // namespace

extern "C" {

uint32_t _kel_jenc_format_time(KelGlobal *world, const KelTimeStruct *time, int isUTC, char *out) {
    if (!(world->encodingFlags & NOCONSTRAIN))
        check_fields(world, time, isUTC != 0);
    if (world->encRules == KEL_CXER && !time->utc)
        fail(world, kMsgNotUtc);
    char *p = out;
    p = isUTC ? put_field(world, p, time->year % 100, 2) : put_field(world, p, time->year, 4);
    p = put_field(world, p, time->month, 2);
    p = put_field(world, p, time->day, 2);
    p = put_field(world, p, time->hour, 2);
    p = put_field(world, p, time->minute, 2);
    p = put_field(world, p, time->second, 2);
    if (!isUTC && time->millisec) {
        *p++ = '.';
        int32_t ms = time->millisec;
        int digits = 3;
        for (; ms % 10 == 0; ms /= 10)
            --digits;
        p = put_field(world, p, ms, digits);
    }
    if (time->utc || (isUTC && time->mindiff == 0)) {
        *p++ = 'Z';
    } else if (time->mindiff) {
        const int32_t diff = time->mindiff;
        *p++ = diff < 0 ? '-' : '+';
        const int32_t magnitude = diff < 0 ? -diff : diff;
        p = put_field(world, p, magnitude / 60, 2);
        p = put_field(world, p, magnitude % 60, 2);
    }
    *p = 0;
    return static_cast<uint32_t>(p - out);
}

void _kel_jenc_gtime(KelGlobal *world, const KelTimeStruct *time) { put_time(world, time, 0); }

void _kel_jenc_utime(KelGlobal *world, const KelTimeStruct *time) { put_time(world, time, 1); }

void _kel_jenc_nlltrm_date_time(KelGlobal *world, const char *text) {
    const auto size = static_cast<uint32_t>(std::strlen(text)) + 1;
    char local[64];
    char *out = size <= sizeof local ? local : static_cast<char *>(_kel_dec_gettempmem(world, size));
    if (_kel_format_new_time(world, text, out) != 0)
        fail(world, kMsgTimeRange);
    put_char(world, '"');
    put(world, out, static_cast<uint32_t>(std::strlen(out)));
    put_char(world, '"');
    if (out != local)
        _kel_dec_freetempmem(world, out);
}

} // extern "C"
