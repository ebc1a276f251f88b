// conversions.cpp - the public ISO 8601 conversions: text to KelTimePoint and
// KelDuration records for every kind of TIME value and back, their twins on
// the 32-bit-fraction records, and the canonical rewrite of a TIME text.
#include <cstring>

#include "internal.h"
#include "time_internal.h"

using namespace kel::time;

namespace {

// One value of any kind in public records.
struct Records {
    int kind;
    KelTimePoint start, end;
    KelDuration duration;
    int32_t recurrence;
};

int kind_of(uint8_t flags) {
    switch (flags) {
    case KEL_TV_START: return KEL_TIME_POINT;
    case KEL_TV_DURATION_FIRST: return KEL_TIME_DURATION;
    case KEL_TV_START | KEL_TV_END: return KEL_TIME_START_END;
    case KEL_TV_START | KEL_TV_DURATION_SECOND: return KEL_TIME_START_DURATION;
    case KEL_TV_DURATION_FIRST | KEL_TV_END: return KEL_TIME_DURATION_END;
    default: break;
    }
    int kind = kind_of(flags & ~KEL_TV_RECURRING);
    return kind >= KEL_TIME_DURATION && kind <= KEL_TIME_DURATION_END ? kind + 4 : KEL_TIME_NONE;
}

bool has_start(int kind) {
    return kind == KEL_TIME_POINT || kind == KEL_TIME_START_END || kind == KEL_TIME_START_DURATION ||
           kind == KEL_TIME_REC_START_END || kind == KEL_TIME_REC_START_DURATION;
}
bool has_end(int kind) {
    return kind == KEL_TIME_START_END || kind == KEL_TIME_DURATION_END || kind == KEL_TIME_REC_START_END ||
           kind == KEL_TIME_REC_DURATION_END;
}
bool has_duration(int kind) { return !has_start(kind) || kind == KEL_TIME_START_DURATION || kind == KEL_TIME_REC_START_DURATION; }
bool is_recurring(int kind) { return kind >= KEL_TIME_REC_DURATION; }

KelTimePoint to_public(const KelPointPart &part) {
    KelTimePoint p{};
    const KelDatePart &d = part.date;
    const KelTimeOfDayPart &t = part.time;
    if (d.flags & KEL_DATE_CENTURY) {
        p.flags |= KEL_TP_CENTURY;
        p.century = d.year;
    }
    if (d.flags & KEL_DATE_YEAR) {
        p.flags |= KEL_TP_YEAR;
        p.year = d.year;
    }
    static constexpr struct {
        uint8_t from;
        uint16_t to;
    } kDate[] = {{KEL_DATE_WEEK, KEL_TP_WEEK}, {KEL_DATE_MONTH, KEL_TP_MONTH}, {KEL_DATE_DAY, KEL_TP_DAY}},
      kTime[] = {{KEL_TOD_HOURS, KEL_TP_HOURS},     {KEL_TOD_MINUTES, KEL_TP_MINUTES}, {KEL_TOD_SECONDS, KEL_TP_SECONDS},
                 {KEL_TOD_FRACTION, KEL_TP_FRACTION}, {KEL_TOD_UTC, KEL_TP_UTC},         {KEL_TOD_DIFF, KEL_TP_DIFF}};
    for (auto m : kDate)
        if (d.flags & m.from)
            p.flags |= m.to;
    for (auto m : kTime)
        if (t.flags & m.from)
            p.flags |= m.to;
    p.week = d.week;
    p.month = d.month;
    p.day = d.day;
    p.hours = t.hours;
    p.minutes = t.minutes;
    p.seconds = t.seconds;
    p.fractionDigits = t.fractionDigits;
    p.fraction = t.fraction;
    p.flags2 = t.diffFlags & KEL_DIFF_MINUTES ? KEL_TP_DIFF_MINUTES : 0;
    p.diffHours = t.diffHours;
    p.diffMinutes = t.diffMinutes;
    p.diffNegative = t.diffFlags & KEL_DIFF_NEGATIVE ? 1 : 0;
    return p;
}

KelDuration to_public(const KelDurationPart &d) {
    return KelDuration{static_cast<uint32_t>(d.flags) << 24, d.years, d.months, d.weeks, d.days, d.hours,
                       d.minutes, d.seconds, d.fractionDigits, d.fraction};
}

// Parses `text`, which must be of `kind`; 0 or 12.
int parse_records(const char *text, int kind, Records &r) {
    if (!text)
        return kBadValue;
    KelTimeValue v;
    Scan s{text};
    if (!parse_value(s, v, Rules::Public) || kind_of(v.flags) != kind)
        return kBadValue;
    r.kind = kind;
    r.recurrence = static_cast<int32_t>(v.recurrences);
    const KelTimePart &first = v.first, &second = v.second;
    if (has_start(kind))
        r.start = to_public(first.point);
    if (has_duration(kind))
        r.duration = to_public(has_start(kind) ? second.duration : first.duration);
    if (has_end(kind))
        r.end = to_public(second.point);
    if (has_start(kind) && has_end(kind)) {
        // The end inherits the zone of the start; otherwise both have one form.
        uint16_t diff = r.start.flags ^ r.end.flags;
        if (diff && diff != KEL_TP_DIFF)
            return kBadValue;
        if (diff && (r.end.flags & KEL_TP_DIFF))
            return kBadValue;
    }
    return 0;
}

unsigned digits_of(uint64_t v) {
    unsigned n = 1;
    while (v >= 10) {
        v /= 10;
        ++n;
    }
    return n;
}

void signed_number(TextOut &w, int32_t value, unsigned minDigits) {
    uint32_t magnitude = value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
    if (value < 0)
        w.put('-');
    else if (digits_of(magnitude) > minDigits)
        w.put('+');
    w.number(magnitude, minDigits);
}

// Writes a point; false when its fields do not form a valid point.
bool write_point(TextOut &w, const KelTimePoint &p) {
    const uint16_t f = p.flags;
    const uint16_t date = f & (KEL_TP_CENTURY | KEL_TP_YEAR | KEL_TP_WEEK | KEL_TP_MONTH | KEL_TP_DAY);
    const uint16_t time = f & (KEL_TP_HOURS | KEL_TP_MINUTES | KEL_TP_SECONDS | KEL_TP_UTC | KEL_TP_FRACTION | KEL_TP_DIFF);
    if (!date && !time)
        return false;
    if (date & KEL_TP_CENTURY) {
        if (date != KEL_TP_CENTURY || time)
            return false;
        signed_number(w, p.century, 2);
        w.put('C');
        return true;
    }
    if (date) {
        if (!(date & KEL_TP_YEAR) || (f & KEL_TP_WEEK && f & KEL_TP_MONTH))
            return false;
        signed_number(w, p.year, 4);
        if (f & KEL_TP_WEEK) {
            if (p.week < 1 || p.week > 53 || (f & KEL_TP_DAY && (p.day < 1 || p.day > 7)))
                return false;
            w.text("-W");
            w.number(p.week, 2);
            if (f & KEL_TP_DAY) {
                w.put('-');
                w.number(p.day, 1);
            }
        } else if (f & KEL_TP_MONTH) {
            if (p.month < 1 || p.month > 12 || (f & KEL_TP_DAY && (p.day < 1 || p.day > 31)))
                return false;
            w.put('-');
            w.number(p.month, 2);
            if (f & KEL_TP_DAY) {
                w.put('-');
                w.number(p.day, 2);
            }
        } else if (f & KEL_TP_DAY) {
            if (p.day < 1 || p.day > 366)
                return false;
            w.put('-');
            w.number(p.day, 3);
        }
        if (!time)
            return true;
        if (!(f & KEL_TP_DAY))
            return false;
        w.put('T');
    }
    if (!(f & KEL_TP_HOURS) || p.hours > 24 || (f & KEL_TP_UTC && f & KEL_TP_DIFF) ||
        (f & KEL_TP_SECONDS && !(f & KEL_TP_MINUTES)))
        return false;
    w.number(p.hours, 2);
    if (f & KEL_TP_MINUTES) {
        if (p.minutes > 59)
            return false;
        w.put(':');
        w.number(p.minutes, 2);
    }
    if (f & KEL_TP_SECONDS) {
        if (p.seconds > 60)
            return false;
        w.put(':');
        w.number(p.seconds, 2);
    }
    if (f & KEL_TP_FRACTION) {
        if (p.fractionDigits < digits_of(p.fraction))
            return false;
        w.put('.');
        w.number(p.fraction, p.fractionDigits);
    }
    if (f & KEL_TP_UTC)
        w.put('Z');
    if (f & KEL_TP_DIFF) {
        uint32_t hours = p.diffHours + p.diffMinutes / 60u, minutes = p.diffMinutes % 60u;
        w.put(p.diffNegative ? '-' : '+');
        w.number(hours, 2);
        if (minutes) {
            w.put(':');
            w.number(minutes, 2);
        }
    }
    return true;
}

bool canonical_rules(const KelGlobal *world) {
    return world->encRules == KEL_DER || world->encRules == KEL_CER || world->encRules == KEL_COER;
}

bool write_duration(TextOut &w, const KelDuration &d, bool canonical) {
    struct Component {
        uint32_t flag;
        uint32_t KelDuration::*field;
        char letter;
        bool afterT;
    };
    static constexpr Component kComponents[] = {
        {KEL_D_YEARS, &KelDuration::years, 'Y', false},    {KEL_D_MONTHS, &KelDuration::months, 'M', false},
        {KEL_D_WEEKS, &KelDuration::weeks, 'W', false},    {KEL_D_DAYS, &KelDuration::days, 'D', false},
        {KEL_D_HOURS, &KelDuration::hours, 'H', true},     {KEL_D_MINUTES, &KelDuration::minutes, 'M', true},
        {KEL_D_SECONDS, &KelDuration::seconds, 'S', true},
    };
    const uint32_t flagged = d.flags & 0xFE000000u;
    if (!flagged || (flagged & KEL_D_WEEKS && flagged != KEL_D_WEEKS))
        return false;
    const bool fraction = d.flags & KEL_D_FRACTION;
    if (fraction && d.fractionDigits < digits_of(d.fraction))
        return false;
    uint32_t last = flagged & (0u - flagged); // lowest set bit: the last designator
    uint32_t shown = flagged;
    if (canonical) {
        uint32_t nonzero = 0;
        for (const Component &c : kComponents)
            if (flagged & c.flag && (d.*c.field || (c.flag == last && fraction && d.fraction)))
                nonzero |= c.flag;
        shown = nonzero ? nonzero : last;
    }
    w.put('P');
    bool inTime = false;
    for (const Component &c : kComponents) {
        if (!(shown & c.flag))
            continue;
        if (c.afterT && !inTime) {
            w.put('T');
            inTime = true;
        }
        w.number(d.*c.field);
        if (c.flag == last && fraction) {
            w.put('.');
            w.number(d.fraction, d.fractionDigits);
        }
        w.put(c.letter);
    }
    return true;
}

bool write_records(TextOut &w, const KelGlobal *world, const Records &r) {
    if (is_recurring(r.kind)) {
        w.put('R');
        if (r.recurrence != -1)
            w.number(static_cast<uint32_t>(r.recurrence));
        w.put('/');
    }
    bool canonical = canonical_rules(world);
    bool ok = true;
    if (has_start(r.kind))
        ok = write_point(w, r.start);
    if (ok && has_duration(r.kind)) {
        if (has_start(r.kind))
            w.put('/');
        ok = write_duration(w, r.duration, canonical);
    }
    if (ok && has_end(r.kind)) {
        if (has_start(r.kind)) {
            uint16_t diff = r.start.flags ^ r.end.flags;
            if (diff && (diff != KEL_TP_DIFF || (r.end.flags & KEL_TP_DIFF)))
                return false;
        }
        w.put('/');
        ok = write_point(w, r.end);
    }
    return ok;
}

int records_to_text(KelGlobal *world, const Records &r, char **text) {
    return emit_text(world, text, [&](TextOut &w) { return write_records(w, world, r); });
}

// Public entries: the records a kind uses are handed in, the others are null.
int string_to(const char *text, int kind, KelTimePoint *start, KelDuration *duration, KelTimePoint *end,
              int32_t *recurrence) {
    Records r;
    if (int code = parse_records(text, kind, r))
        return code;
    if ((start && !has_start(kind)) || (end && !has_end(kind)))
        return kBadValue;
    if (start)
        *start = r.start;
    if (duration)
        *duration = r.duration;
    if (end)
        *end = r.end;
    if (recurrence)
        *recurrence = r.recurrence;
    return 0;
}

int to_string(KelGlobal *world, int kind, const KelTimePoint *start, const KelDuration *duration,
              const KelTimePoint *end, int32_t recurrence, char **text) {
    Records r{};
    r.kind = kind;
    r.recurrence = recurrence;
    if ((has_start(kind) && !start) || (has_end(kind) && !end) || (has_duration(kind) && !duration))
        return kBadValue;
    if (start)
        r.start = *start;
    if (end)
        r.end = *end;
    if (duration)
        r.duration = *duration;
    return records_to_text(world, r, text);
}

// The 32-bit-fraction twins go through a local full record.
bool narrow(const KelTimePoint &p, KelTimePoint32 *out) {
    if (!out)
        return true;
    if (p.fraction > 0xFFFFFFFFu)
        return false;
    *out = KelTimePoint32{p.flags,   p.century, p.year,           p.week,     p.month,
                          p.day,     p.hours,   p.minutes,        p.seconds,  p.fractionDigits,
                          static_cast<uint32_t>(p.fraction), p.flags2, p.diffHours, p.diffMinutes, p.diffNegative};
    return true;
}
bool narrow(const KelDuration &d, KelDuration32 *out) {
    if (!out)
        return true;
    if (d.fraction > 0xFFFFFFFFu)
        return false;
    *out = KelDuration32{d.flags,   d.years,   d.months,  d.weeks,          d.days,
                         d.hours,   d.minutes, d.seconds, d.fractionDigits, static_cast<uint32_t>(d.fraction)};
    return true;
}
KelTimePoint widen(const KelTimePoint32 *p) {
    if (!p)
        return KelTimePoint{};
    return KelTimePoint{p->flags,   p->century, p->year,          p->week,        p->month,
                        p->day,     p->hours,   p->minutes,       p->seconds,     p->fractionDigits,
                        p->fraction, p->flags2, p->diffHours,     p->diffMinutes, p->diffNegative};
}
KelDuration widen(const KelDuration32 *d) {
    if (!d)
        return KelDuration{};
    return KelDuration{d->flags, d->years,   d->months,  d->weeks,          d->days,
                       d->hours, d->minutes, d->seconds, d->fractionDigits, d->fraction};
}

int string_to32(const char *text, int kind, KelTimePoint32 *start, KelDuration32 *duration, KelTimePoint32 *end,
                int32_t *recurrence) {
    KelTimePoint s{}, e{};
    KelDuration d{};
    int code = string_to(text, kind, start ? &s : nullptr, duration ? &d : nullptr, end ? &e : nullptr, recurrence);
    if (code)
        return code;
    return narrow(s, start) && narrow(d, duration) && narrow(e, end) ? 0 : kBadValue;
}

int to_string32(KelGlobal *world, int kind, const KelTimePoint32 *start, const KelDuration32 *duration,
                const KelTimePoint32 *end, int32_t recurrence, char **text) {
    KelTimePoint s = widen(start), e = widen(end);
    KelDuration d = widen(duration);
    return to_string(world, kind, start ? &s : nullptr, duration ? &d : nullptr, end ? &e : nullptr, recurrence,
                     text);
}

} // namespace

extern "C" {

#define KEL_TIME_CONVERSIONS(P, D, STR_TO, TO_STR, PFX)                                                                \
    int PFX##StringToTimePoint(KelGlobal *, const char *t, P *s) {                                                    \
        return STR_TO(t, KEL_TIME_POINT, s, nullptr, nullptr, nullptr);                                               \
    }                                                                                                                  \
    int PFX##StringToDurationInterval(KelGlobal *, const char *t, D *d) {                                             \
        return STR_TO(t, KEL_TIME_DURATION, nullptr, d, nullptr, nullptr);                                            \
    }                                                                                                                  \
    int PFX##StringToStartPointEndPointInterval(KelGlobal *, const char *t, P *s, P *e) {                             \
        return STR_TO(t, KEL_TIME_START_END, s, nullptr, e, nullptr);                                                 \
    }                                                                                                                  \
    int PFX##StringToStartPointDurationInterval(KelGlobal *, const char *t, P *s, D *d) {                             \
        return STR_TO(t, KEL_TIME_START_DURATION, s, d, nullptr, nullptr);                                            \
    }                                                                                                                  \
    int PFX##StringToDurationEndPointInterval(KelGlobal *, const char *t, D *d, P *e) {                               \
        return STR_TO(t, KEL_TIME_DURATION_END, nullptr, d, e, nullptr);                                              \
    }                                                                                                                  \
    int PFX##StringToDurationRecInterval(KelGlobal *, const char *t, D *d, int32_t *r) {                              \
        return STR_TO(t, KEL_TIME_REC_DURATION, nullptr, d, nullptr, r);                                              \
    }                                                                                                                  \
    int PFX##StringToStartPointEndPointRecInterval(KelGlobal *, const char *t, P *s, P *e, int32_t *r) {              \
        return STR_TO(t, KEL_TIME_REC_START_END, s, nullptr, e, r);                                                   \
    }                                                                                                                  \
    int PFX##StringToStartPointDurationRecInterval(KelGlobal *, const char *t, P *s, D *d, int32_t *r) {              \
        return STR_TO(t, KEL_TIME_REC_START_DURATION, s, d, nullptr, r);                                              \
    }                                                                                                                  \
    int PFX##StringToDurationEndPointRecInterval(KelGlobal *, const char *t, D *d, P *e, int32_t *r) {                \
        return STR_TO(t, KEL_TIME_REC_DURATION_END, nullptr, d, e, r);                                                \
    }                                                                                                                  \
    int PFX##TimePointToString(KelGlobal *w, const P *s, char **t) {                                                  \
        return TO_STR(w, KEL_TIME_POINT, s, nullptr, nullptr, 0, t);                                                  \
    }                                                                                                                  \
    int PFX##DurationIntervalToString(KelGlobal *w, const D *d, char **t) {                                           \
        return TO_STR(w, KEL_TIME_DURATION, nullptr, d, nullptr, 0, t);                                               \
    }                                                                                                                  \
    int PFX##StartPointEndPointIntervalToString(KelGlobal *w, const P *s, const P *e, char **t) {                     \
        return TO_STR(w, KEL_TIME_START_END, s, nullptr, e, 0, t);                                                    \
    }                                                                                                                  \
    int PFX##StartPointDurationIntervalToString(KelGlobal *w, const P *s, const D *d, char **t) {                     \
        return TO_STR(w, KEL_TIME_START_DURATION, s, d, nullptr, 0, t);                                               \
    }                                                                                                                  \
    int PFX##DurationEndPointIntervalToString(KelGlobal *w, const D *d, const P *e, char **t) {                       \
        return TO_STR(w, KEL_TIME_DURATION_END, nullptr, d, e, 0, t);                                                 \
    }                                                                                                                  \
    int PFX##DurationRecIntervalToString(KelGlobal *w, const D *d, int32_t r, char **t) {                             \
        return TO_STR(w, KEL_TIME_REC_DURATION, nullptr, d, nullptr, r, t);                                           \
    }                                                                                                                  \
    int PFX##StartPointEndPointRecIntervalToString(KelGlobal *w, const P *s, const P *e, int32_t r, char **t) {       \
        return TO_STR(w, KEL_TIME_REC_START_END, s, nullptr, e, r, t);                                                \
    }                                                                                                                  \
    int PFX##StartPointDurationRecIntervalToString(KelGlobal *w, const P *s, const D *d, int32_t r, char **t) {       \
        return TO_STR(w, KEL_TIME_REC_START_DURATION, s, d, nullptr, r, t);                                           \
    }                                                                                                                  \
    int PFX##DurationEndPointRecIntervalToString(KelGlobal *w, const D *d, const P *e, int32_t r, char **t) {         \
        return TO_STR(w, KEL_TIME_REC_DURATION_END, nullptr, d, e, r, t);                                             \
    }

KEL_TIME_CONVERSIONS(KelTimePoint, KelDuration, string_to, to_string, kel)
KEL_TIME_CONVERSIONS(KelTimePoint32, KelDuration32, string_to32, to_string32, kel32)

int _kel_format_new_time(KelGlobal *world, const char *text, char *output) {
    if (!world || !text || !output)
        return kBadValue;
    Records r;
    int kind = kelGetTimeKind(world, text);
    if (kind == KEL_TIME_NONE || parse_records(text, kind, r))
        return kBadValue;
    TextOut measure;
    if (!write_records(measure, world, r) || measure.length > std::strlen(text))
        return kBadValue;
    TextOut w{output};
    write_records(w, world, r);
    output[w.length] = 0;
    return 0;
}

} // extern "C"
