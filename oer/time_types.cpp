// time_types.cpp - TIME values whose properties the schema fixes, in OER:
// a year as an integer behind its count octet, month, day, hours, minutes
// and seconds one octet each, a fraction as an unsigned integer behind its
// count, a time difference as signed minutes in two octets, and a duration
// as a mask of its components followed by each present one as an unsigned
// integer behind its count.  Any other TIME value goes as its canonical
// text behind a length.
//
// In memory every value is text.  Encoders take it from a pointer and
// answer the pointer behind what they consumed; decoders write it at a
// pointer, without a terminator, and answer the pointer behind it.  The
// date and time forms are one template over a description of the form: its
// year, its run of fixed fields, its fraction and its difference.  An
// encoder composes the whole value before one write; a decoder takes the
// run of fixed octets in one step.  Decoders print what they read without a
// range test, which is the constraint checker's affair: only a number too
// wide for its digits fails.

#include <cstring>
#include <iterator>

#include "oer.h"
#include "time_text.h"

namespace {

using namespace kel::oer;
using kel::time_text::DurationText;
using kel::time_text::kDurationComponents;
using kel::time_text::magnitude_of;
using kel::time_text::out_of_range;

constexpr int kMsgDurationMisencoded = 308; // 0356S

// ---------------------------------------------------------------------------
// Wire forms
// ---------------------------------------------------------------------------

// An encoding composed in place and written at once.
template <uint32_t Size> struct Wire {
    unsigned char octets[Size];
    uint32_t n = 0;

    void octet(uint32_t value) { octets[n++] = static_cast<unsigned char>(value); }
    // A count octet and the minimal octets of `value`.
    template <class T> void counted(T value) {
        const uint32_t k = std::is_signed_v<T> ? signed_octets(value) : unsigned_octets(value);
        octets[n] = static_cast<unsigned char>(k);
        store_be(octets + n + 1, value, k);
        n += k + 1;
    }
    void two(int32_t value) {
        store_be(octets + n, value, 2);
        n += 2;
    }
    void write(KelGlobal *world) const { put(world, octets, n); }
};

// Steps over a count octet (1 to 127) and its number, and `after` octets
// behind it, with one test of the input.
void skip_counted(KelGlobal *world, uint32_t after = 0) {
    need(world, 1);
    const uint32_t count = world->inPos[0];
    if (count < 1 || count > 127)
        fail(world, kMsgMisencoded);
    take(world, count + 1 + after);
}

// ---------------------------------------------------------------------------
// Fixed fields
// ---------------------------------------------------------------------------

// A field of two digits behind its separator in the text, one octet on the
// wire.
struct Field {
    char separator; // 0: none
    uint8_t low;
    uint8_t high;
};

enum FieldIndex : uint8_t { kMonth, kDay, kHours, kMinutes, kSeconds };

constexpr Field kFields[] = {{'-', 1, 12}, {'-', 1, 31}, {0, 0, 24}, {':', 0, 59}, {':', 0, 60}};

// The time difference: a sign, hours 0 to 15, and optionally ':' and
// minutes 0 to 59.
constexpr uint32_t kDiffHoursMax = 15, kDiffMinutesMax = 59;

template <uint32_t Size> const char *put_field(KelGlobal *world, const char *text, const Field &f, Wire<Size> &wire) {
    if (f.separator && *text++ != f.separator) [[unlikely]]
        out_of_range(world);
    uint32_t value;
    text = _kelStrToUintLimited(text, 2, &value);
    if (!text || value < f.low || value > f.high) [[unlikely]]
        out_of_range(world);
    wire.octet(value);
    return text;
}

inline char *print_field(KelGlobal *world, char *out, const Field &f, uint32_t value) {
    if (f.separator)
        *out++ = f.separator;
    out = _kelUintToStr(out, 2, value);
    if (!out) [[unlikely]]
        out_of_range(world);
    return out;
}

template <uint32_t Size> const char *put_difference(KelGlobal *world, const char *text, Wire<Size> &wire) {
    if (*text != '+' && *text != '-') [[unlikely]]
        out_of_range(world);
    const int32_t sign = *text == '-' ? -1 : 1;
    uint32_t hours, minutes = 0;
    text = _kelStrToUintLimited(text + 1, 2, &hours);
    if (text && *text == ':')
        text = _kelStrToUintLimited(text + 1, 2, &minutes);
    if (!text || hours > kDiffHoursMax || minutes > kDiffMinutesMax) [[unlikely]]
        out_of_range(world);
    wire.two(sign * static_cast<int32_t>(60 * hours + minutes));
    return text;
}

// Signed minutes as a sign, two digits of hours, and ':' and the minutes
// when there are any.
char *print_difference(KelGlobal *world, char *out, int16_t value) {
    *out++ = value < 0 ? '-' : '+';
    const uint32_t minutes = magnitude_of(value);
    out = _kelUintToStr(out, 2, minutes / 60);
    if (!out) [[unlikely]]
        out_of_range(world);
    if (minutes % 60) {
        *out++ = ':';
        out = _kelUintToStr(out, 2, minutes % 60);
    }
    return out;
}

// ---------------------------------------------------------------------------
// Date and time forms
// ---------------------------------------------------------------------------

enum class Year : uint8_t { None, Plain, Any };
// A fraction's number is 64 bits when written; the decoder of a time with a
// difference reads it in 32 bits, the other in 64.
enum class Fraction : uint8_t { None, Wide, Narrow };

struct Form {
    Year year;
    uint8_t first; // FieldIndex of the first fixed field
    uint8_t fields;
    Fraction fraction;
    bool difference;
};

constexpr Form kYear{Year::Plain, kMonth, 0, Fraction::None, false};
constexpr Form kAnyYear{Year::Any, kMonth, 0, Fraction::None, false};
constexpr Form kYearMonth{Year::Plain, kMonth, 1, Fraction::None, false};
constexpr Form kAnyYearMonth{Year::Any, kMonth, 1, Fraction::None, false};
constexpr Form kDate{Year::Plain, kMonth, 2, Fraction::None, false};
constexpr Form kAnyDate{Year::Any, kMonth, 2, Fraction::None, false};
constexpr Form kHoursForm{Year::None, kHours, 1, Fraction::None, false};
constexpr Form kMinutesForm{Year::None, kHours, 2, Fraction::None, false};
constexpr Form kDaytime{Year::None, kHours, 3, Fraction::None, false};
constexpr Form kDaytimeFraction{Year::None, kHours, 3, Fraction::Wide, false};
constexpr Form kHoursDiff{Year::None, kHours, 1, Fraction::None, true};
constexpr Form kMinutesDiff{Year::None, kHours, 2, Fraction::None, true};
constexpr Form kDaytimeDiff{Year::None, kHours, 3, Fraction::None, true};
constexpr Form kDaytimeDiffFraction{Year::None, kHours, 3, Fraction::Narrow, true};

// Longest encoding of a form: a year of 5 octets, 3 fields, a fraction of
// 9 octets, a difference of 2.
constexpr uint32_t kFormMax = 5 + 3 + 9 + 2;

// A year of at least four digits, with '-' negated and '+' stepped over, the
// fixed fields, exactly `digits` digits of fraction behind '.' or ',', and
// the difference.
template <Form F> const char *encode(KelGlobal *world, const char *text, uint32_t digits = 0) {
    Wire<kFormMax> wire;
    if constexpr (F.year != Year::None) {
        int32_t year;
        text = kel::time_text::read_signed(world, text, 4, year);
        wire.counted(year);
    }
    if constexpr (F.fields != 0)
        for (uint32_t i = 0; i < F.fields; ++i)
            text = put_field(world, text, kFields[F.first + i], wire);
    if constexpr (F.fraction != Fraction::None) {
        if (*text != '.' && *text != ',') [[unlikely]]
            out_of_range(world);
        ++text;
        uint64_t value;
        const char *end = _kelStrToUint64Safe(world, text, static_cast<int>(digits), &value);
        if (static_cast<uint32_t>(end - text) != digits) [[unlikely]]
            out_of_range(world);
        text = end;
        wire.counted(value);
    }
    if constexpr (F.difference)
        text = put_difference(world, text, wire);
    wire.write(world);
    return text;
}

// `arg` is the digit limit of an `any` year, or the digit count of a
// fraction; no form has both.
template <Form F> char *decode(KelGlobal *world, char *out, uint32_t arg = 0) {
    if constexpr (F.year == Year::Plain) {
        const int32_t year = _kel_odec_int(world);
        if (year < 0)
            *out++ = '-';
        out = _kelUintToStrUnlimited(out, 4, magnitude_of(year));
    } else if constexpr (F.year == Year::Any) {
        out = kel::time_text::write_signed(world, out, 4, arg, _kel_odec_int(world));
    }
    // The fixed fields, and a difference that follows them directly.
    constexpr bool kDiffInGroup = F.difference && F.fraction == Fraction::None;
    constexpr uint32_t kGroup = F.fields + (kDiffInGroup ? 2 : 0);
    if constexpr (kGroup != 0) {
        const unsigned char *p = take(world, kGroup);
        for (uint32_t i = 0; i < F.fields; ++i)
            out = print_field(world, out, kFields[F.first + i], p[i]);
        if constexpr (kDiffInGroup)
            out = print_difference(world, out, load_be<int16_t>(p + F.fields));
    }
    if constexpr (F.fraction != Fraction::None) {
        const uint64_t value = F.fraction == Fraction::Wide ? _kel_odec_uint_ll(world) : _kel_odec_uint(world);
        *out++ = '.';
        out = _kelUint64ToStr(out, static_cast<int>(arg), value);
        if (!out) [[unlikely]]
            out_of_range(world);
        if constexpr (F.difference)
            out = print_difference(world, out, load_be<int16_t>(take(world, 2)));
    }
    return out;
}

// A skip: `before` fixed octets, a counted number if `counted`, then
// `after` fixed octets.
template <uint32_t Before, bool Counted, uint32_t After> void skip(KelGlobal *world) {
    if constexpr (!Counted) {
        take(world, Before + After);
    } else {
        if constexpr (Before != 0)
            take(world, Before);
        skip_counted(world, After);
    }
}

// ---------------------------------------------------------------------------
// Durations
// ---------------------------------------------------------------------------

// The mask, up to six components of 5 octets, a digit count and a 64-bit
// fraction.
constexpr uint32_t kDurationMax = 1 + 6 * 5 + 5 + 9;

} // namespace

extern "C" {

const char *_kel_oenc_t_year(KelGlobal *world, const char *text) { return encode<kYear>(world, text); }
const char *_kel_oenc_t_any_year(KelGlobal *world, const char *text) { return encode<kAnyYear>(world, text); }
const char *_kel_oenc_t_year_month(KelGlobal *world, const char *text) { return encode<kYearMonth>(world, text); }
const char *_kel_oenc_t_any_year_month(KelGlobal *world, const char *text) {
    return encode<kAnyYearMonth>(world, text);
}
const char *_kel_oenc_t_date(KelGlobal *world, const char *text) { return encode<kDate>(world, text); }
const char *_kel_oenc_t_any_date(KelGlobal *world, const char *text) { return encode<kAnyDate>(world, text); }
const char *_kel_oenc_t_hours(KelGlobal *world, const char *text) { return encode<kHoursForm>(world, text); }
const char *_kel_oenc_t_minutes(KelGlobal *world, const char *text) { return encode<kMinutesForm>(world, text); }
const char *_kel_oenc_t_daytime(KelGlobal *world, const char *text) { return encode<kDaytime>(world, text); }
const char *_kel_oenc_t_daytime_fraction(KelGlobal *world, const char *text, uint32_t digits) {
    return encode<kDaytimeFraction>(world, text, digits);
}
const char *_kel_oenc_t_hours_diff(KelGlobal *world, const char *text) { return encode<kHoursDiff>(world, text); }
const char *_kel_oenc_t_minutes_diff(KelGlobal *world, const char *text) {
    return encode<kMinutesDiff>(world, text);
}
const char *_kel_oenc_t_daytime_diff(KelGlobal *world, const char *text) {
    return encode<kDaytimeDiff>(world, text);
}
const char *_kel_oenc_t_daytime_diff_fraction(KelGlobal *world, const char *text, uint32_t digits) {
    return encode<kDaytimeDiffFraction>(world, text, digits);
}

char *_kel_odec_t_year(KelGlobal *world, char *out) { return decode<kYear>(world, out); }
char *_kel_odec_t_any_year(KelGlobal *world, char *out, uint32_t digitLimit) {
    return decode<kAnyYear>(world, out, digitLimit);
}
char *_kel_odec_t_year_month(KelGlobal *world, char *out) { return decode<kYearMonth>(world, out); }
char *_kel_odec_t_any_year_month(KelGlobal *world, char *out, uint32_t digitLimit) {
    return decode<kAnyYearMonth>(world, out, digitLimit);
}
char *_kel_odec_t_date(KelGlobal *world, char *out) { return decode<kDate>(world, out); }
char *_kel_odec_t_any_date(KelGlobal *world, char *out, uint32_t digitLimit) {
    return decode<kAnyDate>(world, out, digitLimit);
}
char *_kel_odec_t_hours(KelGlobal *world, char *out) { return decode<kHoursForm>(world, out); }
char *_kel_odec_t_minutes(KelGlobal *world, char *out) { return decode<kMinutesForm>(world, out); }
char *_kel_odec_t_daytime(KelGlobal *world, char *out) { return decode<kDaytime>(world, out); }
char *_kel_odec_t_daytime_fraction(KelGlobal *world, char *out, uint32_t digits) {
    return decode<kDaytimeFraction>(world, out, digits);
}
char *_kel_odec_t_hours_diff(KelGlobal *world, char *out) { return decode<kHoursDiff>(world, out); }
char *_kel_odec_t_minutes_diff(KelGlobal *world, char *out) { return decode<kMinutesDiff>(world, out); }
char *_kel_odec_t_daytime_diff(KelGlobal *world, char *out) { return decode<kDaytimeDiff>(world, out); }
char *_kel_odec_t_daytime_diff_fraction(KelGlobal *world, char *out, uint32_t digits) {
    return decode<kDaytimeDiffFraction>(world, out, digits);
}

void _kel_oskip_t_year(KelGlobal *world) { skip<0, true, 0>(world); }
void _kel_oskip_t_date(KelGlobal *world) { skip<0, true, 2>(world); }
void _kel_oskip_t_any_date(KelGlobal *world) { skip<0, true, 2>(world); }
void _kel_oskip_t_hours(KelGlobal *world) { skip<1, false, 0>(world); }
void _kel_oskip_t_minutes(KelGlobal *world) { skip<2, false, 0>(world); }
void _kel_oskip_t_daytime(KelGlobal *world) { skip<3, false, 0>(world); }
void _kel_oskip_t_daytime_fraction(KelGlobal *world) { skip<3, true, 0>(world); }
void _kel_oskip_t_minutes_diff(KelGlobal *world) { skip<2, false, 2>(world); }
void _kel_oskip_t_daytime_diff(KelGlobal *world) { skip<3, false, 2>(world); }
void _kel_oskip_t_daytime_diff_fraction(KelGlobal *world) { skip<3, true, 2>(world); }

// The mask, then the weeks alone or the other components present, each as
// an unsigned number, then the fraction's digit count and value.
const char *_kel_oenc_t_duration_interval(KelGlobal *world, const char *text) {
    if (*text != 'P') [[unlikely]]
        out_of_range(world);
    KelDurationPart duration;
    const char *end = _kelDTDurationParse(world, text, &duration);
    const uint32_t mask = duration.flags;
    const uint32_t sent = mask & KEL_DUR_WEEKS ? KEL_DUR_WEEKS : mask;
    Wire<kDurationMax> wire;
    wire.octet(mask);
    for (const auto &c : kDurationComponents)
        if (sent & c.bit)
            wire.counted(duration.*c.field);
    if (mask & KEL_DUR_FRACTION) {
        wire.counted(duration.fractionDigits);
        wire.counted(duration.fraction);
    }
    wire.write(world);
    return end;
}

// A zero component with a later one behind it is refused as soon as it is
// read.
char *_kel_odec_t_duration_interval(KelGlobal *world, char *out) {
    const uint32_t mask = _kel_odec_uint_1byte(world);
    const uint32_t components = mask & ~KEL_DUR_FRACTION;
    if (components == 0 || ((mask & KEL_DUR_WEEKS) && components != KEL_DUR_WEEKS)) [[unlikely]]
        fail(world, kMsgDurationMisencoded);
    DurationText text(out, mask);
    for (const auto &c : kDurationComponents) {
        if (!(mask & c.bit))
            continue;
        const uint32_t value = _kel_odec_uint(world);
        if (value == 0 && c.bit != text.last) [[unlikely]]
            fail(world, kMsgDurationMisencoded);
        text.component(c, value);
    }
    if (text.hasFraction) {
        const uint32_t digits = _kel_odec_uint(world);
        if (digits == 0 || digits > kel::time_text::kDurationFractionDigits) [[unlikely]]
            out_of_range(world);
        text.fraction(world, digits, _kel_odec_uint_ll(world));
    }
    return text.out;
}

void _kel_oskip_t_duration_interval(KelGlobal *world) {
    const uint32_t mask = *take(world, 1);
    for (const auto &c : kDurationComponents)
        if (mask & c.bit)
            skip_counted(world);
    if (mask & KEL_DUR_FRACTION) {
        skip_counted(world);
        skip_counted(world);
    }
}

// Any TIME text, in its canonical form, behind a length.  The canonical
// form is no longer than the text.
void _kel_oenc_nlltrm_date_time(KelGlobal *world, const char *text) {
    constexpr uint32_t kLocal = 128;
    char local[kLocal];
    const auto n = static_cast<uint32_t>(std::strlen(text));
    char *form = n < kLocal ? local : static_cast<char *>(_kel_dec_gettempmem(world, n + 1));
    if (_kel_format_new_time(world, text, form) != 0)
        out_of_range(world);
    const auto length = static_cast<uint32_t>(std::strlen(form));
    put_length(world, length);
    put(world, reinterpret_cast<const unsigned char *>(form), length);
    if (form != local)
        _kel_dec_freetempmem(world, form);
}

} // extern "C"
