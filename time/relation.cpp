// relation.cpp - order of two time points of the same form.
#include "time_internal.h"

namespace {

template <class T> int order(T a, T b) { return a < b ? -1 : a > b ? 1 : 0; }

int date_relation(const KelDatePart &a, const KelDatePart &b) {
    if (int r = order(a.year, b.year))
        return r;
    if (a.flags & KEL_DATE_CENTURY)
        return 0;
    if (int r = order(a.week, b.week))
        return r;
    if (int r = order(a.month, b.month))
        return r;
    return order(a.day, b.day);
}

// Times compare only in the same form and the same zone; a zero difference
// is the same zone whatever its sign.
bool comparable(const KelTimeOfDayPart &a, const KelTimeOfDayPart &b) {
    if (a.flags != b.flags || a.fractionDigits != b.fractionDigits)
        return false;
    if (!(a.flags & KEL_TOD_DIFF))
        return true;
    if (a.diffHours != b.diffHours || a.diffMinutes != b.diffMinutes)
        return false;
    bool zero = a.diffHours == 0 && a.diffMinutes == 0;
    return zero || (a.diffFlags & KEL_DIFF_NEGATIVE) == (b.diffFlags & KEL_DIFF_NEGATIVE);
}

int time_relation(const KelTimeOfDayPart &a, const KelTimeOfDayPart &b) {
    if (int r = order(a.hours, b.hours))
        return r;
    if (int r = order(a.minutes, b.minutes))
        return r;
    if (int r = order(a.seconds, b.seconds))
        return r;
    return order(a.fraction, b.fraction);
}

constexpr uint8_t kDateForm = 0xF8; // component bits, without the range class

} // namespace

extern "C" int _kelDTPointsRelation(const KelPointPart *one, const KelPointPart *two) {
    if ((one->date.flags & kDateForm) != (two->date.flags & kDateForm))
        return -2;
    int date = date_relation(one->date, two->date);
    bool timesComparable = comparable(one->time, two->time);
    if (date && timesComparable)
        return date;
    return timesComparable ? time_relation(one->time, two->time) : -2;
}
