// compare_times.cpp - equality and order of values of the TIME types.
// _kel_cmp_date_time compares two texts through the public records of the
// string conversions; the others work on parsed KelTimeValue records.  The
// order of two points (_kelDTPointsRelation) belongs to the time library.
#include <cstring>
#include <iterator>

#include "internal.h"
#include "kelvarn_services.h"

namespace {

template <class T> int order(T a, T b) { return (a > b) - (a < b); }

// ---------------------------------------------------------------------------
// Texts, through the public records
// ---------------------------------------------------------------------------

// One TIME value of any kind; the parts its kind lacks stay zero.
struct TimeRecords {
    KelTimePoint start;
    KelTimePoint end;
    KelDuration duration;
    int32_t recurrence;
};

using RecordsReader = int (*)(KelGlobal *, const char *, TimeRecords &);

// The string conversion of each kind of kelGetTimeKind.
constexpr RecordsReader kReaders[] = {
    [](KelGlobal *w, const char *t, TimeRecords &r) { return kelStringToTimePoint(w, t, &r.start); },
    [](KelGlobal *w, const char *t, TimeRecords &r) { return kelStringToDurationInterval(w, t, &r.duration); },
    [](KelGlobal *w, const char *t, TimeRecords &r) {
        return kelStringToStartPointEndPointInterval(w, t, &r.start, &r.end);
    },
    [](KelGlobal *w, const char *t, TimeRecords &r) {
        return kelStringToStartPointDurationInterval(w, t, &r.start, &r.duration);
    },
    [](KelGlobal *w, const char *t, TimeRecords &r) {
        return kelStringToDurationEndPointInterval(w, t, &r.duration, &r.end);
    },
    [](KelGlobal *w, const char *t, TimeRecords &r) {
        return kelStringToDurationRecInterval(w, t, &r.duration, &r.recurrence);
    },
    [](KelGlobal *w, const char *t, TimeRecords &r) {
        return kelStringToStartPointEndPointRecInterval(w, t, &r.start, &r.end, &r.recurrence);
    },
    [](KelGlobal *w, const char *t, TimeRecords &r) {
        return kelStringToStartPointDurationRecInterval(w, t, &r.start, &r.duration, &r.recurrence);
    },
    [](KelGlobal *w, const char *t, TimeRecords &r) {
        return kelStringToDurationEndPointRecInterval(w, t, &r.duration, &r.end, &r.recurrence);
    },
};
static_assert(std::size(kReaders) == KEL_TIME_NONE);

// An end point written without a time difference has the one of its start.
void lend_difference(const KelTimePoint &start, KelTimePoint &end) {
    if (!(start.flags & KEL_TP_DIFF) || (end.flags & KEL_TP_DIFF))
        return;
    end.flags |= KEL_TP_DIFF;
    end.flags2 = start.flags2;
    end.diffHours = start.diffHours;
    end.diffMinutes = start.diffMinutes;
    end.diffNegative = start.diffNegative;
}

// Every component written counts: "12:00" is not "12:00:00".  A zero time
// difference is the same with either sign.
bool same_point(const KelTimePoint &a, const KelTimePoint &b) {
    if (a.flags != b.flags || a.flags2 != b.flags2 || a.diffHours != b.diffHours || a.diffMinutes != b.diffMinutes)
        return false;
    if (a.diffNegative != b.diffNegative && (a.diffHours || a.diffMinutes))
        return false;
    return a.century == b.century && a.year == b.year && a.month == b.month && a.week == b.week &&
           a.day == b.day && a.hours == b.hours && a.minutes == b.minutes && a.seconds == b.seconds &&
           a.fractionDigits == b.fractionDigits && a.fraction == b.fraction;
}

// The seven components and the fraction; of the flags only the fraction's.
bool same_duration(const KelDuration &a, const KelDuration &b) {
    return a.years == b.years && a.months == b.months && a.weeks == b.weeks && a.days == b.days &&
           a.hours == b.hours && a.minutes == b.minutes && a.seconds == b.seconds &&
           (a.flags & KEL_D_FRACTION) == (b.flags & KEL_D_FRACTION) && a.fractionDigits == b.fractionDigits &&
           a.fraction == b.fraction;
}

// ---------------------------------------------------------------------------
// Parsed values
// ---------------------------------------------------------------------------

// Durations in the same form: the same last designator and fraction digits.
// Weeks stand alone; other forms go from years down to seconds.
int duration_relation(const KelDurationPart &a, const KelDurationPart &b) {
    if (a.lastDesignator != b.lastDesignator || a.fractionDigits != b.fractionDigits)
        return -2;
    static constexpr uint32_t KelDurationPart::*kCalendar[] = {
        &KelDurationPart::years, &KelDurationPart::months,  &KelDurationPart::days,
        &KelDurationPart::hours, &KelDurationPart::minutes, &KelDurationPart::seconds};
    if (a.lastDesignator == KEL_DUR_WEEKS) {
        if (int r = order(a.weeks, b.weeks))
            return r;
    } else {
        for (auto component : kCalendar)
            if (int r = order(a.*component, b.*component))
                return r;
    }
    return order(a.fraction, b.fraction);
}

bool has_difference(const KelPointPart &p) { return (p.time.flags & KEL_TOD_DIFF) != 0; }

// The end points of two intervals whose starts both carry a time
// difference, where only one end does: the other end borrows its start's.
bool same_end(const KelTimeValue &a, const KelTimeValue &b) {
    KelPointPart x = a.second.point, y = b.second.point;
    const bool lend = (a.flags & KEL_TV_START) && has_difference(a.first.point) && has_difference(b.first.point) &&
                      has_difference(x) != has_difference(y);
    if (lend) {
        KelPointPart &bare = has_difference(x) ? y : x;
        const KelTimeOfDayPart &from = (&bare == &x ? a : b).first.point.time;
        bare.time.flags |= KEL_TOD_DIFF;
        bare.time.diffFlags = from.diffFlags;
        bare.time.diffHours = from.diffHours;
        bare.time.diffMinutes = from.diffMinutes;
    }
    return _kelDTPointsRelation(&x, &y) == 0;
}

} // namespace

extern "C" {

int _kel_cmp_date_time(KelGlobal *world, const char *first, const char *second) {
    if (first == second || (first && second && std::strcmp(first, second) == 0))
        return 0;
    if (!first || !second)
        return 1;
    const int kind = kelGetTimeKind(world, first);
    if (kind == KEL_TIME_NONE || kind != kelGetTimeKind(world, second))
        return 1;
    TimeRecords a{}, b{};
    if (kReaders[kind](world, first, a) != 0 || kReaders[kind](world, second, b) != 0)
        return 1;
    if (kind == KEL_TIME_START_END || kind == KEL_TIME_REC_START_END) {
        lend_difference(a.start, a.end);
        lend_difference(b.start, b.end);
    }
    const bool equal = a.recurrence == b.recurrence && same_point(a.start, b.start) &&
                       same_point(a.end, b.end) && same_duration(a.duration, b.duration);
    return equal ? 0 : 1;
}

int _kelCmpDTIntervals(const KelTimeValue *first, const KelTimeValue *second) {
    const KelTimeValue &a = *first, &b = *second;
    if (a.flags != b.flags || ((a.flags & KEL_TV_RECURRING) && a.recurrences != b.recurrences))
        return 1;
    const bool firstSame = (a.flags & KEL_TV_START)
                               ? _kelDTPointsRelation(&a.first.point, &b.first.point) == 0
                               : duration_relation(a.first.duration, b.first.duration) == 0;
    if (!firstSame)
        return 1;
    if (a.flags & KEL_TV_END)
        return same_end(a, b) ? 0 : 1;
    if (a.flags & KEL_TV_DURATION_SECOND)
        return duration_relation(a.second.duration, b.second.duration) == 0 ? 0 : 1;
    return 0;
}

int _kelDTIntervalsRelation(const KelTimeValue *first, const KelTimeValue *second) {
    if (first->flags != second->flags)
        return -2;
    if (first->flags == KEL_TV_START)
        return _kelDTPointsRelation(&first->first.point, &second->first.point);
    if (first->flags == KEL_TV_DURATION_FIRST)
        return duration_relation(first->first.duration, second->first.duration);
    return -2;
}

int _kelComparableDTTimes(const KelTimeOfDayPart *first, const KelTimeOfDayPart *second) {
    const KelTimeOfDayPart &a = *first, &b = *second;
    if (a.flags != b.flags || a.fractionDigits != b.fractionDigits)
        return 0;
    if (!(a.flags & KEL_TOD_DIFF))
        return 1;
    if (a.diffHours != b.diffHours || a.diffMinutes != b.diffMinutes)
        return 0;
    const bool zero = a.diffHours == 0 && a.diffMinutes == 0;
    return zero || (a.diffFlags & KEL_DIFF_NEGATIVE) == (b.diffFlags & KEL_DIFF_NEGATIVE);
}

} // extern "C"
