// times.cpp - times in XER: GeneralizedTime and UTCTime from the time
// record (fields checked unless NOCONSTRAIN; CXER asks for UTC) or from
// their text by way of the record, and the TIME types held as text, made
// canonical under CXER where the kind has a canonical form.
#include "kelvarn_time.h"
#include "xer_out.h"

namespace {

using namespace kel::xer;

// Room of a time record's text: 14 digits, fraction, zone, NUL.
constexpr uint32_t kTimeRoom = 32;
// TIME texts up to this length are made canonical on the stack.
constexpr uint32_t kLocalTime = 127;

// Kinds of the TIME types held as text.
constexpr int kFirstTimeKind = 14;
constexpr int kLastTimeKind = 34;

// `digits` decimal digits of `value`, which must fit them.
char *put_field(KelGlobal *world, char *p, int32_t value, int digits) {
    static constexpr int32_t kLimits[] = {1, 10, 100, 1000, 10000};
    if (value < 0 || value >= kLimits[digits])
        fail(world, kMsgTimeRange);
    for (int i = digits; i-- > 0; value /= 10)
        p[i] = static_cast<char>('0' + value % 10);
    return p + digits;
}

void check_fields(KelGlobal *world, const KelTimeStruct *time, bool utcForm) {
    struct Field {
        int16_t value;
        int16_t low;
        int16_t high;
    };
    const Field fields[] = {{time->month, 1, 12},  {time->day, 1, 31},    {time->hour, 0, 23},
                            {time->minute, 0, 59}, {time->second, 0, 59}, {time->millisec, 0, int16_t(utcForm ? 0 : 999)}};
    for (int i = 0; i < 6; ++i)
        if (fields[i].value < fields[i].low || fields[i].value > fields[i].high)
            fail(world, kMsgMonth + i, static_cast<uint32_t>(static_cast<int32_t>(fields[i].value)));
}

void put_time(KelGlobal *world, const KelTimeStruct *time, int utcForm) {
    char text[kTimeRoom];
    const uint32_t length = _kel_tex_format_time(world, time, utcForm, text);
    put_text(world, out_state(world), text, length);
}

} // namespace

extern "C" {

uint32_t _kel_tex_format_time(KelGlobal *world, const KelTimeStruct *time, int utcForm, char *out) {
    if (cxer(world) && !time->utc)
        fail(world, kMsgNotUtc);
    if (!(world->encodingFlags & NOCONSTRAIN))
        check_fields(world, time, utcForm != 0);
    char *p = out;
    if (utcForm) {
        int32_t year = time->year % 100;
        p = put_field(world, p, year < 0 ? year + 100 : year, 2);
    } else {
        p = put_field(world, p, time->year, 4);
    }
    p = put_field(world, p, time->month, 2);
    p = put_field(world, p, time->day, 2);
    p = put_field(world, p, time->hour, 2);
    p = put_field(world, p, time->minute, 2);
    p = put_field(world, p, time->second, 2);
    if (!utcForm && time->millisec) {
        *p++ = '.';
        int32_t ms = time->millisec;
        int digits = 3;
        for (; ms % 10 == 0; ms /= 10)
            --digits;
        p = put_field(world, p, ms, digits);
    }
    if (time->utc) {
        *p++ = 'Z';
    } else if (time->mindiff) {
        const int32_t diff = time->mindiff;
        *p++ = diff < 0 ? '-' : '+';
        const int32_t magnitude = diff < 0 ? -diff : diff;
        p = put_field(world, p, magnitude / 60, 2);
        p = put_field(world, p, magnitude % 60, 2);
    } else if (utcForm) {
        *p++ = 'Z';
    }
    *p = 0;
    return static_cast<uint32_t>(p - out);
}

void _kel_tex_time(KelGlobal *world, const KelTimeStruct *time, int utcForm) { put_time(world, time, utcForm); }

void _kel_tex_ntime(KelGlobal *world, const char *text, uint32_t mustBeZero, int utcForm) {
    KelTimeStruct time;
    if (mustBeZero || _kel_translate_time(text, &time, utcForm) != 0)
        fail(world, kMsgTimeRange);
    put_time(world, &time, utcForm);
}

void _kel_tex_date_time(KelGlobal *world, const char *text, int kind) {
    if (kind < kFirstTimeKind || kind > kLastTimeKind)
        fail(world, kMsgTimeRange);
    XerOutputState *state = out_state(world);
    const auto length = static_cast<uint32_t>(std::strlen(text));
    if (kind >= 31 && kind <= 33)
        return put_text(world, state, text, length);
    if (kind != kFirstTimeKind && kind != kLastTimeKind)
        fail(world, kMsgTimeRange);
    if (!cxer(world))
        return put_text(world, state, text, length);
    char local[kLocalTime + 1];
    char *out = length <= kLocalTime ? local : static_cast<char *>(_kel_dec_gettempmem(world, length + 1));
    if (_kel_format_new_time(world, text, out) != 0)
        fail(world, kMsgTimeRange);
    put_text(world, state, out, static_cast<uint32_t>(std::strlen(out)));
    if (out != local)
        _kel_dec_freetempmem(world, out);
}

} // extern "C"
