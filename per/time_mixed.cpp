// time_mixed.cpp - the mixed form of PER TIME: a value whose settings the
// schema leaves open goes as a 6-bit index of 53 alternatives and the
// pieces of that alternative.
//
//   0..13   a date: century, year, year-month, date, year-day, year-week,
//           year-week-day; each odd index the signed (any) form
//   14..22  a time: hours, hours-minutes, hours-minutes-seconds, each local,
//           'Z' or with a difference
//   23..31  the same with a fraction; its digit count follows the index
//   32      date 'T' time
//   33..35  date/date, time/time, date-time/date-time
//   36      duration
//   37..39  date, time, date-time, then '/' duration
//   40..42  duration '/' then date, time, date-time
//   43..52  33..42 behind a recurrence
//
// From 32 on a date part states its form as a 4-bit date index and a time
// part as a fraction bit, the digit count with the bit, and a 5-bit time
// index; each in front of the part's pieces.  The second point of an
// interval has the form of the first and states nothing.
//
// One walk over this layout serves the encoder, the decoder and the skip;
// each brings the policy of its side.  The encoder classifies the text
// first, so the walk writes the forms it found.

#include <array>
#include <cstring>

#include "time_fields.h"

namespace {

using namespace kel::per;
using namespace kel::per::time;

constexpr uint32_t kAlternatives = 53;
constexpr uint32_t kFirstTime = 14;
constexpr uint32_t kFirstFractionTime = 23;
constexpr uint32_t kDateTime = 32;
constexpr uint32_t kFirstInterval = 33;
constexpr uint32_t kDuration = 36;
constexpr uint32_t kRecurrenceShift = 10;
constexpr uint32_t kDateForms = 14;
constexpr uint32_t kTimeForms = 9; // and 9 more with a fraction
constexpr uint32_t kFractionDigitsMax = 20;

// Kinds of a part; a date-time is both bits.
enum Kind : uint8_t { kNone = 0, kDatePart = 1, kTimePart = 2, kDateTimePart = 3, kDurationPart = 4 };

struct Alternative {
    Kind first, second;
};

// Alternatives 32 to 42.
constexpr Alternative kComposite[] = {
    {kDateTimePart, kNone},         {kDatePart, kDatePart},         {kTimePart, kTimePart},
    {kDateTimePart, kDateTimePart}, {kDurationPart, kNone},         {kDatePart, kDurationPart},
    {kTimePart, kDurationPart},     {kDateTimePart, kDurationPart}, {kDurationPart, kDatePart},
    {kDurationPart, kTimePart},     {kDurationPart, kDateTimePart},
};

struct Pieces {
    uint8_t count;
    Piece pieces[5];
};

using P = Piece;
constexpr Pieces kDatePieces[kDateForms] = {
    {1, {P::Century}},
    {1, {P::AnyCentury}},
    {1, {P::Year}},
    {1, {P::AnyYear}},
    {2, {P::Year, P::Month}},
    {2, {P::AnyYear, P::Month}},
    {3, {P::Year, P::Month, P::DayOfMonth}},
    {3, {P::AnyYear, P::Month, P::DayOfMonth}},
    {2, {P::Year, P::DayOfYear}},
    {2, {P::AnyYear, P::DayOfYear}},
    {2, {P::Year, P::Week}},
    {2, {P::AnyYear, P::Week}},
    {3, {P::Year, P::Week, P::DayOfWeek}},
    {3, {P::AnyYear, P::Week, P::DayOfWeek}},
};

// Time form t: t % 9 / 3 the fields after the hours, t % 3 the zone (local,
// 'Z', difference), t >= 9 a fraction behind the last field.
constexpr Pieces time_pieces(uint32_t t) {
    Pieces list{};
    list.pieces[list.count++] = P::Hours;
    const uint32_t fields = t % kTimeForms / 3;
    if (fields >= 1)
        list.pieces[list.count++] = P::Minutes;
    if (fields >= 2)
        list.pieces[list.count++] = P::Seconds;
    if (t >= kTimeForms)
        list.pieces[list.count++] = P::Fraction;
    if (t % 3 == 1)
        list.pieces[list.count++] = P::Zulu;
    if (t % 3 == 2)
        list.pieces[list.count++] = P::Difference;
    return list;
}

constexpr auto kTimePieces = [] {
    std::array<Pieces, 2 * kTimeForms> table{};
    for (uint32_t t = 0; t < table.size(); ++t)
        table[t] = time_pieces(t);
    return table;
}();

// The form of a point: date index, time index, digits of the fraction.
struct Shape {
    uint32_t date = 0;
    uint32_t time = 0;
    uint32_t digits = 0;
};

// The layout, for any side.  The policy `io` offers:
//   index()                the alternative index
//   recurrence()           the recurrence
//   digit_count(shape)     the fraction's digit count
//   date_form(shape)       the 4-bit date index
//   time_form(shape)       the fraction bit, digit count and 5-bit time index
//   pieces(list, digits)   the pieces of a form
//   duration()             a duration
//   separator(c)           a separator that has no bits
template <class Io> void walk_point(Io &io, Kind kind, Shape &shape, bool stateForm) {
    if (kind & kDatePart) {
        if (stateForm)
            io.date_form(shape);
        io.pieces(kDatePieces[shape.date], 0);
    }
    if (kind == kDateTimePart)
        io.separator('T');
    if (kind & kTimePart) {
        if (stateForm)
            io.time_form(shape);
        io.pieces(kTimePieces[shape.time], shape.digits);
    }
}

template <class Io> void walk_part(Io &io, Kind kind, Shape &shape, bool stateForm) {
    if (kind == kDurationPart)
        io.duration();
    else
        walk_point(io, kind, shape, stateForm);
}

template <class Io> void walk(Io &io, Shape &shape) {
    uint32_t index = io.index();
    if (index >= kFirstInterval + kRecurrenceShift) {
        io.recurrence();
        index -= kRecurrenceShift;
    }
    if (index < kFirstTime) {
        shape.date = index;
        io.pieces(kDatePieces[index], 0);
    } else if (index < kDateTime) {
        shape.time = index - kFirstTime;
        if (index >= kFirstFractionTime)
            io.digit_count(shape);
        io.pieces(kTimePieces[shape.time], shape.digits);
    } else {
        const Alternative alternative = kComposite[index - kDateTime];
        walk_part(io, alternative.first, shape, true);
        if (alternative.second != kNone) {
            io.separator('/');
            walk_part(io, alternative.second, shape, alternative.first == kDurationPart);
        }
    }
}

// ---------------------------------------------------------------------------
// Reading: the decoder and the skip read the same forms
// ---------------------------------------------------------------------------

struct FormReader {
    KelGlobal *world;

    uint32_t index() {
        const uint32_t index = static_cast<uint32_t>(get_bits(world, 6));
        if (index >= kAlternatives) [[unlikely]]
            out_of_range(world);
        return index;
    }
    void digit_count(Shape &shape) {
        shape.digits = _kel_pdec_semicon_uint_l(world, 1);
        if (shape.digits == 0 || shape.digits > kFractionDigitsMax) [[unlikely]]
            out_of_range(world);
    }
    void date_form(Shape &shape) {
        shape.date = static_cast<uint32_t>(get_bits(world, 4));
        if (shape.date >= kDateForms) [[unlikely]]
            out_of_range(world);
    }
    void time_form(Shape &shape) {
        const bool fraction = get_bits(world, 1);
        if (fraction)
            digit_count(shape);
        shape.time = static_cast<uint32_t>(get_bits(world, 5));
        if (shape.time / kTimeForms != (fraction ? 1u : 0u)) [[unlikely]]
            out_of_range(world);
    }
};

struct Decoder : FormReader {
    char *out;

    void recurrence() { out = _kel_pd_t_recurrence(world, out, kMixedDigitLimit); }
    void pieces(const Pieces &list, uint32_t digits) {
        for (uint32_t i = 0; i < list.count; ++i)
            out = decode_piece(world, out, list.pieces[i], digits);
    }
    void duration() { out = _kel_pd_t_duration_interval(world, out); }
    void separator(char c) { *out++ = c; }
};

struct Skipper : FormReader {
    void recurrence() { skip_recurrence(world); }
    void pieces(const Pieces &list, uint32_t) {
        for (uint32_t i = 0; i < list.count; ++i)
            skip_piece(world, list.pieces[i]);
    }
    void duration() { _kel_ps_t_duration_interval(world); }
    void separator(char) {}
};

// ---------------------------------------------------------------------------
// Writing: classify, then walk with the forms found
// ---------------------------------------------------------------------------

// Kind of the part [p, end).  A 'T' makes a date-time; ':', '.', ',', a '+'
// after the first character or a '-' in the second or third makes a time
// (a date's hyphens come later, and a leading '-' is a year's sign); else
// a 'C' at the end or four characters or more make a date.
Kind part_kind(const char *p, const char *end) {
    if (*p == 'P')
        return kDurationPart;
    for (const char *q = p; q < end; ++q) {
        switch (*q) {
        case 'T':
            return kDateTimePart;
        case ':':
        case '.':
        case ',':
            return kTimePart;
        case '+':
            if (q > p)
                return kTimePart;
            break;
        case '-':
            if (q > p && q - p < 3)
                return kTimePart;
            break;
        default:
            break;
        }
    }
    return end > p && (end[-1] == 'C' || end - p >= 4) ? kDatePart : kTimePart;
}

uint32_t count_of(const char *p, const char *end, char c) {
    uint32_t n = 0;
    for (; p < end; ++p)
        n += *p == c;
    return n;
}

inline uint32_t digit_run(const char *p) {
    uint32_t n = 0;
    while (p[n] >= '0' && p[n] <= '9')
        ++n;
    return n;
}

// Date index of [p, end): its form by the hyphens and a 'W', plus 1 for the
// signed form (a minus sign, or more digits than four, two in a century).
uint32_t date_form(const char *p, const char *end) {
    bool negative = false;
    if (*p == '+' || *p == '-')
        negative = *p++ == '-';
    const uint32_t digits = digit_run(p);
    p += digits;
    if (*p == 'C')
        return negative || digits > 2 ? 1 : 0;
    const uint32_t any = negative || digits > 4 ? 1 : 0;
    const uint32_t hyphens = count_of(p, end, '-');
    uint32_t form;
    if (hyphens == 0)
        form = 2;
    else if (count_of(p, end, 'W'))
        form = hyphens == 1 ? 10 : 12;
    else if (hyphens == 2)
        form = 6;
    else
        form = digit_run(p + 1) == 3 ? 8 : 4;
    return form + any;
}

// Time index and fraction digits of [p, end): the colons before the zone,
// a fraction, and the zone.
void time_form(KelGlobal *world, const char *p, const char *end, Shape &shape) {
    uint32_t colons = 0, zone = 0;
    bool fraction = false;
    for (; p < end; ++p) {
        const char c = *p;
        if (c == 'Z') {
            zone = 1;
            break;
        }
        if ((c == '+' || c == '-')) {
            zone = 2;
            break;
        }
        if (c == ':') {
            ++colons;
        } else if (c == '.' || c == ',') {
            fraction = true;
            shape.digits = digit_run(p + 1);
        }
    }
    if (colons > 2 || (fraction && (shape.digits == 0 || shape.digits > kFractionDigitsMax))) [[unlikely]]
        out_of_range(world);
    shape.time = 3 * colons + zone + (fraction ? kTimeForms : 0);
}

void point_form(KelGlobal *world, Kind kind, const char *p, const char *end, Shape &shape) {
    if (kind == kDateTimePart) {
        const char *t = static_cast<const char *>(std::memchr(p, 'T', static_cast<size_t>(end - p)));
        shape.date = date_form(p, t);
        time_form(world, t + 1, end, shape);
    } else if (kind == kDatePart) {
        shape.date = date_form(p, end);
    } else {
        time_form(world, p, end, shape);
    }
}

inline const char *part_end(const char *p) {
    const char *slash = std::strchr(p, '/');
    return slash ? slash : p + std::strlen(p);
}

struct Plan {
    uint32_t index;
    Shape shape;
};

Plan classify(KelGlobal *world, const char *text) {
    Plan plan{};
    const bool recurring = *text == 'R';
    const char *first = text;
    if (recurring) {
        const char *slash = std::strchr(text, '/');
        if (!slash) [[unlikely]]
            out_of_range(world);
        first = slash + 1;
    }
    const char *firstEnd = part_end(first);
    const Kind firstKind = part_kind(first, firstEnd);
    if (*firstEnd == '/') {
        const char *second = firstEnd + 1;
        const char *secondEnd = part_end(second);
        if (firstKind != kDurationPart) {
            point_form(world, firstKind, first, firstEnd, plan.shape);
            plan.index = (*second == 'P' ? kDuration : kDateTime) + firstKind;
        } else {
            const Kind secondKind = part_kind(second, secondEnd);
            if (secondKind == kDurationPart) [[unlikely]]
                out_of_range(world);
            point_form(world, secondKind, second, secondEnd, plan.shape);
            plan.index = kDuration + 3 + secondKind;
        }
    } else if (firstKind == kDurationPart) {
        plan.index = kDuration;
    } else {
        point_form(world, firstKind, first, firstEnd, plan.shape);
        plan.index = firstKind == kDateTimePart ? kDateTime
                     : firstKind == kDatePart   ? plan.shape.date
                                                : kFirstTime + plan.shape.time;
    }
    if (recurring) {
        // Only intervals and durations recur.
        if (plan.index < kFirstInterval) [[unlikely]]
            out_of_range(world);
        plan.index += kRecurrenceShift;
    }
    return plan;
}

struct Encoder {
    KelGlobal *world;
    const char *text;
    uint32_t planned;

    uint32_t index() {
        put_bits(world, planned, 6);
        const uint32_t base = planned >= kFirstInterval + kRecurrenceShift ? planned - kRecurrenceShift : planned;
        // Two times or date-times: the second may inherit the difference.
        if (base == kFirstInterval + 1 || base == kFirstInterval + 2)
            interval_state(world) = kRemember;
        return planned;
    }
    void recurrence() { text = _kel_pe_t_recurrence(world, text); }
    void digit_count(Shape &shape) { _kel_penc_semicon_uint_l(world, shape.digits, 1); }
    void date_form(Shape &shape) { put_bits(world, shape.date, 4); }
    void time_form(Shape &shape) {
        if (shape.time >= kTimeForms) {
            put_bits(world, 1, 1);
            digit_count(shape);
            put_bits(world, shape.time, 5);
        } else {
            put_bits(world, shape.time, 6);
        }
    }
    void pieces(const Pieces &list, uint32_t digits) {
        // A '+' in front of a plain year or century decides nothing.
        if (*text == '+' && (list.pieces[0] == P::Century || list.pieces[0] == P::Year))
            ++text;
        for (uint32_t i = 0; i < list.count; ++i)
            text = encode_piece(world, text, list.pieces[i], digits);
    }
    void duration() { text = _kel_pe_t_duration_interval(world, text); }
    void separator(char c) {
        if (*text != c) [[unlikely]]
            out_of_range(world);
        ++text;
    }
};

} // namespace

extern "C" {

const char *_kel_pe_t_mixed(KelGlobal *world, const char *text) {
    Plan plan = classify(world, text);
    Encoder io{world, text, plan.index};
    walk(io, plan.shape);
    if (*io.text) [[unlikely]]
        out_of_range(world);
    interval_state(world) = kIdle;
    return io.text;
}

char *_kel_pd_t_mixed(KelGlobal *world, char *out) {
    Decoder io{{world}, out};
    Shape shape;
    walk(io, shape);
    return io.out;
}

void _kel_ps_t_mixed(KelGlobal *world) {
    Skipper io{{world}};
    Shape shape;
    walk(io, shape);
}

} // extern "C"
