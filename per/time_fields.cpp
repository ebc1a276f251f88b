// time_fields.cpp - the fields of PER TIME values: century, year, month,
// day of month, of year and of week, week, hours, minutes and seconds, the
// fraction of a time, the time difference and the recurrence count; and the
// piece dispatch through which the mixed form reaches them.
//
// Fixed fields are a few digits of text behind a fixed lead ("-", "-W",
// ":") and a constrained number on the wire; one table row describes each.
// Years go by a 2-bit selector between three ranges near the present and
// an unconstrained remainder.

#include <climits>

#include "int_fields.h"
#include "time_fields.h"
#include "time_text.h"

namespace kel::per::time {
namespace {

// A field of fixed digits: lead text, digits, the range of the text's
// number, and the wire form, value - low as a constrained number of
// span + 1 values.  A century carries its 'C' behind the digits.
struct Field {
    char lead[3];
    uint8_t leadLength;
    uint8_t digits;
    uint8_t low;
    uint16_t high;
    uint16_t span;
    char trail;
};

constexpr Field kCentury{"", 0, 2, 0, 99, 99, 'C'};       // 7 bits
constexpr Field kMonth{"-", 1, 2, 1, 12, 11, 0};          // 4 bits
constexpr Field kDayOfMonth{"-", 1, 2, 1, 31, 30, 0};     // 5 bits
constexpr Field kDayOfYear{"-", 1, 3, 1, 366, 365, 0};    // 9 bits, 16 aligned
constexpr Field kWeek{"-W", 2, 2, 1, 53, 52, 0};          // 6 bits
constexpr Field kDayOfWeek{"-", 1, 1, 1, 7, 6, 0};        // 3 bits
constexpr Field kHours{"", 0, 2, 0, 24, 24, 0};           // 5 bits
constexpr Field kMinsOrSecs{":", 1, 2, 0, 60, 63, 0};     // 6 bits; high from the caller

inline const char *put_field(KelGlobal *world, const char *text, const Field &f, uint32_t high) {
    for (uint32_t i = 0; i < f.leadLength; ++i)
        if (text[i] != f.lead[i]) [[unlikely]]
            out_of_range(world);
    uint32_t value;
    const char *p = _kelStrToUintLimited(text + f.leadLength, f.digits, &value);
    if (!p || value < f.low || value > high) [[unlikely]]
        out_of_range(world);
    if (f.trail) {
        if (*p != f.trail) [[unlikely]]
            out_of_range(world);
        ++p;
    }
    put_constrained<uint32_t>(world, value - f.low, f.span);
    return p;
}

inline char *get_field(KelGlobal *world, char *out, const Field &f, uint32_t high) {
    const uint32_t value = get_constrained(world, f.span) + f.low;
    if (value > high) [[unlikely]]
        out_of_range(world);
    for (uint32_t i = 0; i < f.leadLength; ++i)
        *out++ = f.lead[i];
    out = _kelUintToStr(out, f.digits, value);
    if (!out) [[unlikely]]
        out_of_range(world);
    if (f.trail)
        *out++ = f.trail;
    return out;
}

inline void skip_field(KelGlobal *world, const Field &f) { get_constrained(world, f.span); }

using kel::time_text::magnitude_of;
using kel::time_text::read_signed;
using kel::time_text::write_signed;

inline int32_t get_any_int(KelGlobal *world) {
    return _kel_pdec_unconstr_limited_int_l(world, INT32_MIN, INT32_MAX);
}

// Year selectors 0 to 2: the first year of each range and its span; the
// ranges are tried in this order, and anything else is selector 3.
struct YearRange {
    int32_t first;
    uint32_t span;
};
constexpr YearRange kYearRanges[3] = {{2005, 15}, {2021, 255}, {1749, 255}};
constexpr uint32_t kYearRemainder = 3;

void put_year(KelGlobal *world, int32_t year) {
    for (uint32_t selector = 0; selector < kYearRemainder; ++selector) {
        const YearRange &range = kYearRanges[selector];
        const uint32_t offset = static_cast<uint32_t>(year) - static_cast<uint32_t>(range.first);
        if (year >= range.first && offset <= range.span) {
            put_bits(world, selector, 2);
            put_constrained(world, offset, range.span);
            return;
        }
    }
    put_bits(world, kYearRemainder, 2);
    _kel_penc_unconstr_int_l(world, year);
}

int32_t get_year(KelGlobal *world) {
    const uint32_t selector = static_cast<uint32_t>(get_bits(world, 2));
    if (selector == kYearRemainder)
        return get_any_int(world);
    const YearRange &range = kYearRanges[selector];
    return range.first + static_cast<int32_t>(get_constrained(world, range.span));
}

// Time difference on the wire: a bit for minutes that follow, the sign (the
// 1-bit index of the enumeration plus, minus), 4 bits of hours, and 6 bits
// of minutes - 1 when there are minutes; one store for all of them.
void put_difference(KelGlobal *world, uint32_t negative, uint32_t hours, uint32_t minutes) {
    const uint32_t head = (minutes ? 0x20u : 0u) | negative << 4 | hours;
    if (minutes)
        put_bits(world, head << 6 | (minutes - 1), 12);
    else
        put_bits(world, head, 6);
}

inline char *write_two(char *out, uint32_t value) {
    out[0] = static_cast<char>('0' + value / 10);
    out[1] = static_cast<char>('0' + value % 10);
    return out + 2;
}

} // namespace

void put_fraction_value(KelGlobal *world, uint64_t value, uint32_t offset) {
    if (value >= offset && value <= kShortFractionSpan) {
        put_bits(world, 0, 1);
        put_constrained<uint32_t>(world, static_cast<uint32_t>(value) - offset, kShortFractionSpan);
        return;
    }
    if (value > static_cast<uint64_t>(INT64_MAX)) [[unlikely]]
        out_of_range(world);
    put_bits(world, 1, 1);
    _kel_penc_unconstr_int(world, static_cast<int64_t>(value));
}

uint64_t get_fraction_value(KelGlobal *world, uint32_t offset) {
    if (get_bits(world, 1) == 0) {
        const uint32_t value = get_constrained(world, kShortFractionSpan) + offset;
        if (value > kShortFractionSpan) [[unlikely]]
            out_of_range(world);
        return value;
    }
    const int64_t value = _kel_pdec_unconstr_int(world);
    if (value < 0) [[unlikely]]
        out_of_range(world);
    return static_cast<uint64_t>(value);
}

void skip_fraction_value(KelGlobal *world) {
    if (get_bits(world, 1) == 0)
        get_constrained(world, kShortFractionSpan);
    else
        _kel_pskip_int(world);
}

void skip_recurrence(KelGlobal *world) {
    if (get_bits(world, 1))
        _kel_pskip_int(world);
}

// The fixed field a piece of the mixed form is, with its highest value
// there (minutes 59, seconds 60); no field for the other pieces.
struct FixedPiece {
    const Field *field;
    uint32_t high;
};

constexpr FixedPiece fixed_piece(Piece piece) {
    switch (piece) {
    case Piece::Century: return {&kCentury, kCentury.high};
    case Piece::Month: return {&kMonth, kMonth.high};
    case Piece::DayOfMonth: return {&kDayOfMonth, kDayOfMonth.high};
    case Piece::DayOfYear: return {&kDayOfYear, kDayOfYear.high};
    case Piece::Week: return {&kWeek, kWeek.high};
    case Piece::DayOfWeek: return {&kDayOfWeek, kDayOfWeek.high};
    case Piece::Hours: return {&kHours, kHours.high};
    case Piece::Minutes: return {&kMinsOrSecs, 59};
    case Piece::Seconds: return {&kMinsOrSecs, 60};
    default: return {nullptr, 0};
    }
}

const char *encode_piece(KelGlobal *world, const char *text, Piece piece, uint32_t digits) {
    if (const FixedPiece f = fixed_piece(piece); f.field)
        return put_field(world, text, *f.field, f.high);
    switch (piece) {
    case Piece::AnyCentury:
        return _kel_pe_t_any_century(world, text);
    case Piece::Year:
        return _kel_pe_t_year(world, text);
    case Piece::AnyYear:
        return _kel_pe_t_any_year(world, text);
    case Piece::Fraction:
        return _kel_pe_t_time_fraction(world, text, digits);
    case Piece::Zulu:
        if (*text != 'Z')
            out_of_range(world);
        return text + 1;
    case Piece::Difference:
        return _kel_pe_t_time_diff(world, text);
    default:
        break;
    }
    out_of_range(world);
}

char *decode_piece(KelGlobal *world, char *out, Piece piece, uint32_t digits) {
    if (const FixedPiece f = fixed_piece(piece); f.field)
        return get_field(world, out, *f.field, f.high);
    switch (piece) {
    case Piece::AnyCentury:
        return _kel_pd_t_any_century(world, out, kMixedDigitLimit);
    case Piece::Year:
        return _kel_pd_t_year(world, out);
    case Piece::AnyYear:
        return _kel_pd_t_any_year(world, out, kMixedDigitLimit);
    case Piece::Fraction:
        return _kel_pd_t_time_fraction(world, out, digits);
    case Piece::Zulu:
        *out = 'Z';
        return out + 1;
    case Piece::Difference:
        return _kel_pd_t_time_diff(world, out);
    default:
        break;
    }
    out_of_range(world);
}

void skip_piece(KelGlobal *world, Piece piece) {
    if (const FixedPiece f = fixed_piece(piece); f.field)
        return skip_field(world, *f.field);
    switch (piece) {
    case Piece::AnyCentury:
    case Piece::AnyYear:
        return _kel_pskip_int(world);
    case Piece::Year:
        return _kel_ps_t_year(world);
    case Piece::Fraction:
        return skip_fraction_value(world);
    case Piece::Zulu:
        return;
    case Piece::Difference:
        return _kel_ps_t_time_diff(world);
    default: /* the fixed fields, above */
        return;
    }
}

} // namespace kel::per::time

using namespace kel::per;
using namespace kel::per::time;

extern "C" {

// Centuries and years --------------------------------------------------------

const char *_kel_pe_t_century(KelGlobal *world, const char *text) {
    return put_field(world, text, kCentury, kCentury.high);
}
char *_kel_pd_t_century(KelGlobal *world, char *out) { return get_field(world, out, kCentury, kCentury.high); }

const char *_kel_pe_t_any_century(KelGlobal *world, const char *text) {
    int32_t century;
    const char *p = read_signed(world, text, 2, century);
    if (*p != 'C') [[unlikely]]
        out_of_range(world);
    _kel_penc_unconstr_int_l(world, century);
    return p + 1;
}
char *_kel_pd_t_any_century(KelGlobal *world, char *out, uint32_t limit) {
    out = write_signed(world, out, 2, limit, get_any_int(world));
    *out = 'C';
    return out + 1;
}

const char *_kel_pe_t_year(KelGlobal *world, const char *text) {
    int32_t year;
    const char *p = read_signed(world, text, 4, year);
    put_year(world, year);
    return p;
}
char *_kel_pd_t_year(KelGlobal *world, char *out) {
    const int32_t year = get_year(world);
    if (year < 0)
        *out++ = '-';
    return _kelUintToStrUnlimited(out, 4, magnitude_of(year));
}
void _kel_ps_t_year(KelGlobal *world) {
    const uint32_t selector = static_cast<uint32_t>(get_bits(world, 2));
    if (selector == kYearRemainder)
        _kel_pskip_int(world);
    else
        get_constrained(world, kYearRanges[selector].span);
}

const char *_kel_pe_t_any_year(KelGlobal *world, const char *text) {
    int32_t year;
    const char *p = read_signed(world, text, 4, year);
    _kel_penc_unconstr_int_l(world, year);
    return p;
}
char *_kel_pd_t_any_year(KelGlobal *world, char *out, uint32_t limit) {
    return write_signed(world, out, 4, limit, get_any_int(world));
}

// Months, weeks and days -----------------------------------------------------

const char *_kel_pe_t_month(KelGlobal *world, const char *text) {
    return put_field(world, text, kMonth, kMonth.high);
}
char *_kel_pd_t_month(KelGlobal *world, char *out) { return get_field(world, out, kMonth, kMonth.high); }

const char *_kel_pe_t_day_of_month(KelGlobal *world, const char *text) {
    return put_field(world, text, kDayOfMonth, kDayOfMonth.high);
}
char *_kel_pd_t_day_of_month(KelGlobal *world, char *out) {
    return get_field(world, out, kDayOfMonth, kDayOfMonth.high);
}

const char *_kel_pe_t_day_of_year(KelGlobal *world, const char *text) {
    return put_field(world, text, kDayOfYear, kDayOfYear.high);
}
char *_kel_pd_t_day_of_year(KelGlobal *world, char *out) {
    return get_field(world, out, kDayOfYear, kDayOfYear.high);
}

const char *_kel_pe_t_week(KelGlobal *world, const char *text) { return put_field(world, text, kWeek, kWeek.high); }
char *_kel_pd_t_week(KelGlobal *world, char *out) { return get_field(world, out, kWeek, kWeek.high); }

const char *_kel_pe_t_day_of_week(KelGlobal *world, const char *text) {
    return put_field(world, text, kDayOfWeek, kDayOfWeek.high);
}
char *_kel_pd_t_day_of_week(KelGlobal *world, char *out) {
    return get_field(world, out, kDayOfWeek, kDayOfWeek.high);
}

// Time of day ------------------------------------------------------------------

const char *_kel_pe_t_hours(KelGlobal *world, const char *text) {
    return put_field(world, text, kHours, kHours.high);
}
char *_kel_pd_t_hours(KelGlobal *world, char *out) { return get_field(world, out, kHours, kHours.high); }

// The decoder does not know whether it reads minutes or seconds, so it
// admits the larger maximum.
const char *_kel_pe_t_mins_or_secs(KelGlobal *world, const char *text, uint32_t maximum) {
    return put_field(world, text, kMinsOrSecs, maximum);
}
char *_kel_pd_t_mins_or_secs(KelGlobal *world, char *out) {
    return get_field(world, out, kMinsOrSecs, kMinsOrSecs.high);
}

// Exactly `digits` digits behind '.' or ','.
const char *_kel_pe_t_time_fraction(KelGlobal *world, const char *text, uint32_t digits) {
    if (*text != '.' && *text != ',') [[unlikely]]
        out_of_range(world);
    ++text;
    uint64_t value;
    const char *p = _kelStrToUint64Safe(world, text, static_cast<int>(digits), &value);
    if (static_cast<uint32_t>(p - text) != digits) [[unlikely]]
        out_of_range(world);
    put_fraction_value(world, value, 0);
    return p;
}
char *_kel_pd_t_time_fraction(KelGlobal *world, char *out, uint32_t digits) {
    const uint64_t value = get_fraction_value(world, 0);
    *out++ = '.';
    out = _kelUint64ToStr(out, static_cast<int>(digits), value);
    if (!out) [[unlikely]]
        out_of_range(world);
    return out;
}

// A difference stated in the text is written, and remembered when the
// interval state asks for it; text without a sign takes the remembered one,
// which leaves the text where it is.
const char *_kel_pe_t_time_diff(KelGlobal *world, const char *text) {
    uint16_t &state = interval_state(world);
    uint32_t negative, hours, minutes = 0;
    if (*text == '+' || *text == '-') {
        negative = *text == '-';
        text = _kelStrToUintLimited(text + 1, 2, &hours);
        if (text && *text == ':')
            text = _kelStrToUintLimited(text + 1, 2, &minutes);
        if (!text || hours > 15 || minutes > 59) [[unlikely]]
            out_of_range(world);
        if ((state & kStateMask) == kRemember)
            state = static_cast<uint16_t>(kRemembered | negative << 2 | hours << 3 | minutes << 7);
    } else {
        if ((state & kStateMask) != kRemembered) [[unlikely]]
            out_of_range(world);
        negative = state >> 2 & 1;
        hours = state >> 3 & 15;
        minutes = state >> 7 & 63;
        state = kIdle;
    }
    put_difference(world, negative, hours, minutes);
    return text;
}
char *_kel_pd_t_time_diff(KelGlobal *world, char *out) {
    const uint32_t head = static_cast<uint32_t>(get_bits(world, 6));
    *out++ = head & 0x10 ? '-' : '+';
    out = write_two(out, head & 15);
    if (head & 0x20) {
        const uint32_t minutes = static_cast<uint32_t>(get_bits(world, 6)) + 1;
        if (minutes > 59) [[unlikely]]
            out_of_range(world);
        *out++ = ':';
        out = write_two(out, minutes);
    }
    return out;
}
void _kel_ps_t_time_diff(KelGlobal *world) {
    if (get_bits(world, 6) & 0x20)
        get_bits(world, 6);
}

// Recurrence ------------------------------------------------------------------

// 'R', the count (none: unlimited), '/'.
const char *_kel_pe_t_recurrence(KelGlobal *world, const char *text) {
    if (text[0] != 'R' || text[1] == '0') [[unlikely]]
        out_of_range(world);
    uint32_t count;
    const char *p = _kelStrToUintSafe(world, text + 1, 0, &count);
    if (*p != '/') [[unlikely]]
        out_of_range(world);
    if (p == text + 1) {
        put_bits(world, 0, 1);
    } else {
        put_bits(world, 1, 1);
        _kel_penc_unconstr_int(world, count);
    }
    return p + 1;
}
char *_kel_pd_t_recurrence(KelGlobal *world, char *out, uint32_t limit) {
    *out++ = 'R';
    if (get_bits(world, 1)) {
        const int64_t count = _kel_pdec_unconstr_limited_int(world, 1, UINT32_MAX);
        out = _kelRangeUintToStr(out, 1, static_cast<int>(limit), static_cast<uint32_t>(count));
        if (!out) [[unlikely]]
            out_of_range(world);
    }
    *out++ = '/';
    return out;
}

} // extern "C"
