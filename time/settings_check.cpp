// settings_check.cpp - the checks behind the property-settings constraint
// of the TIME family: each gives 0, or 1 and the text of the first rule the
// value breaks.
#include "time_internal.h"

using namespace kel::time;

namespace {

int violates(const char **message, const char *text) {
    if (message)
        *message = text;
    return 1;
}

const KelDatePart &start_date(const KelTimeValue &v) { return v.first.point.date; }
const KelTimeOfDayPart &start_time(const KelTimeValue &v) { return v.first.point.time; }

struct YearRange {
    uint32_t setting;
    uint8_t rangeClass;
    const char *year, *century;
};
constexpr YearRange kYearRanges[] = {
    {0x1000, KEL_DATE_BASIC, "the year identification shall be a non-proleptic year in the range 1582 to 9999",
     "the century identification shall be a non-proleptic century in the range 15 to 99"},
    {0x2000, KEL_DATE_PROLEPTIC,
     "the year identification shall be a year in the proleptic Gregorian Calendar in the range 0 to 1581",
     "the century identification shall be a century in the proleptic Gregorian Calendar in the range 0 to 14"},
    {0x4000, KEL_DATE_NEGATIVE, "the year identification shall be a negative year in the range -9999 to -1",
     "the century identification shall be a negative century in the range -99 to -1"},
};

// A component that a setting bit requires when set and forbids when clear.
struct Component {
    uint32_t setting;
    uint8_t flag;
    const char *required, *forbidden;
};

} // namespace

extern "C" {

int _kelCheckDateSettings(uint32_t settings, const KelDatePart *date, uint32_t digits, const char **message) {
    const bool century = date->flags & KEL_DATE_CENTURY;
    if (settings & 0x800) {
        if (!century)
            return violates(message, "the date shall represent only a century");
    } else if (settings & 0x80) {
        if (!(date->flags & KEL_DATE_YEAR))
            return violates(message, "the date shall have a year component");
        static constexpr Component kParts[] = {
            {0x100, KEL_DATE_MONTH, "the date shall have a month component", "the date shall not have a month component"},
            {0x400, KEL_DATE_WEEK, "the date shall have a week component", "the date shall not have a week component"},
            {0x200, KEL_DATE_DAY, "the date shall have a day component", "the date shall not have a day component"},
        };
        for (const Component &c : kParts)
            if (!(settings & c.setting) != !(date->flags & c.flag))
                return violates(message, settings & c.setting ? c.required : c.forbidden);
    }
    for (const YearRange &r : kYearRanges)
        if (settings & r.setting) {
            if (!(date->flags & r.rangeClass))
                return violates(message, century ? r.century : r.year);
            break; // the range bits are exclusive
        }
    if (settings & 0x8000 && date->digits != (century ? digits - 2 : digits))
        return violates(message, century ? "the large century identification has incorrect number of digits"
                                         : "the large year identification has an incorrect number of digits");
    return 0;
}

int _kelCheckMidnightSettings(uint32_t settings, const KelTimeOfDayPart *time, const char **message) {
    const bool startOfDay = !time->hours && !time->minutes && !time->seconds && !time->fraction;
    const bool endOfDay = time->hours == 24;
    if (settings & 0x4000 && !startOfDay) {
        if (settings & 0x10000)
            return violates(message, "");
        return violates(message, "the time-of-day shall represent midnight at the start of a day");
    }
    if (settings & 0x8000 && !endOfDay) {
        if (settings & 0x10000)
            return violates(message, "");
        return violates(message, "the time-of-day shall represent midnight at the end of a day");
    }
    return 0;
}

int _kelCheckTimeSettings(uint32_t settings, const KelTimeOfDayPart *time, uint32_t fractionDigits,
                          const char **message) {
    if (settings & 0x10000 && !(settings & 0x1FC0))
        return violates(message, ""); // only the midnight alternative: the caller decides
    if (settings & 0xC000 && !(settings & 0x10000))
        if (_kelCheckMidnightSettings(settings, time, message))
            return 1;
    if (settings & 0x80) {
        if (!(time->flags & KEL_TOD_HOURS))
            return violates(message, "the time-of-day shall have an hours component");
        if (settings & 0x100) {
            if (!(time->flags & KEL_TOD_MINUTES))
                return violates(message, "the time-of-day shall have a minutes component");
            if (settings & 0x200) {
                if (!(time->flags & KEL_TOD_SECONDS))
                    return violates(message, "the time-of-day shall have a seconds component");
            } else if (time->flags & KEL_TOD_SECONDS) {
                return violates(message, "the time-of-day shall not have a seconds component");
            }
        } else if (time->flags & KEL_TOD_MINUTES) {
            return violates(message, "the time-of-day shall not have a minutes component");
        }
        if (settings & 0x40) {
            if (!(time->flags & KEL_TOD_FRACTION))
                return violates(message, "the time-of-day shall have a decimal fraction component");
            if (time->fractionDigits != fractionDigits)
                return violates(message, "the decimal fraction component has incorrect number of digits");
        } else if (time->flags & KEL_TOD_FRACTION) {
            return violates(message, "the time-of-day shall not have a decimal fraction component");
        }
    }
    const uint8_t zone = time->flags & (KEL_TOD_UTC | KEL_TOD_DIFF);
    if (settings & 0x400) {
        if (zone)
            return violates(message, "the time-of-day shall specify a local time only");
    } else if (settings & 0x800) {
        if (zone != KEL_TOD_UTC)
            return violates(message, "the time-of-day shall specify a UTC time only");
    } else if (settings & 0x1000 && zone != KEL_TOD_DIFF) {
        return violates(message, "the time-of-day shall specify a local time and a time difference component");
    }
    return 0;
}

int _kelCheckIntervalSettings(uint32_t settings, const KelTimeValue *value, uint32_t recurrenceDigits,
                              const char **message) {
    static constexpr struct {
        uint32_t setting;
        uint8_t form;
        const char *text;
    } kForms[] = {
        {0x40 | 0x80, KEL_TV_START | KEL_TV_END, "the interval should be specified using a start point and an end point"},
        {0x40 | 0x100, KEL_TV_START | KEL_TV_DURATION_SECOND,
         "the interval should be specified using a start point and a duration"},
        {0x80, KEL_TV_DURATION_FIRST | KEL_TV_END, "the interval should be specified using a duration and an end point"},
        {0x100, KEL_TV_DURATION_FIRST, "the interval should be specified using only a duration"},
    };
    const uint8_t form = value->flags & 0x78;
    for (const auto &f : kForms)
        if ((settings & 0x1C0) == f.setting) {
            if (form != f.form)
                return violates(message, f.text);
            break;
        }
    if (value->flags & (KEL_TV_START | KEL_TV_END)) {
        const KelDatePart &date = value->flags & KEL_TV_START ? value->first.point.date : value->second.point.date;
        const KelTimeOfDayPart &time = value->flags & KEL_TV_START ? value->first.point.time : value->second.point.time;
        const bool hasDate = date.flags, hasTime = time.flags;
        if (settings & 0x800 && !(hasDate && hasTime))
            return violates(message,
                            "both start and end points of the interval shall be specified using a date and a time-of-day");
        if (settings & 0x200 && !(hasDate && !hasTime))
            return violates(message, "both start and end points of the interval shall be specified using a date only");
        if (settings & 0x400 && !(!hasDate && hasTime))
            return violates(message,
                            "both start and end points of the interval shall be specified using a time-of-day only");
    }
    if (settings & 0x1000 && value->flags & KEL_TV_RECURRING) {
        if (recurrenceDigits == 0 && value->recurrenceDigits)
            return violates(message, "the recurring interval shall not contain recurrence digits because the "
                                     "\"Recurrence\" property setting is \"Unlimited\"");
        if (value->recurrenceDigits != recurrenceDigits)
            return violates(message, "the recurring interval has an incorrect number of recurrence digits");
    }
    return 0;
}

int _kelChkDateSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits, const char **message) {
    if (value->flags != KEL_TV_START || !start_date(*value).flags || start_time(*value).flags)
        return violates(message, "the value shall be a date only");
    return _kelCheckDateSettings(settings, &start_date(*value), digits, message);
}

int _kelChkTimeSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits, const char **message) {
    if (value->flags != KEL_TV_START || start_date(*value).flags || !start_time(*value).flags)
        return violates(message, "the value shall be a time-of-day only");
    return _kelCheckTimeSettings(settings, &start_time(*value), digits, message);
}

int _kelChkDateTimeSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits, const char **message) {
    if (value->flags != KEL_TV_START || !start_date(*value).flags || !start_time(*value).flags)
        return violates(message, "the value shall be a date and a time-of-day");
    return _kelCheckDateSettings(settings, &start_date(*value), digits, message);
}

int _kelChkIntervalSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits, const char **message) {
    if (!(value->flags & 0x38) || value->flags & KEL_TV_RECURRING)
        return violates(message, "the value shall be a time interval");
    return _kelCheckIntervalSettings(settings, value, digits, message);
}

int _kelChkRecIntervalSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits, const char **message) {
    if (!(value->flags & KEL_TV_RECURRING))
        return violates(message, "the value shall be a recurring time interval");
    return _kelCheckIntervalSettings(settings, value, digits, message);
}

int _kelChkRecurrenceRange(const KelTimeValue *value, uint32_t low, uint32_t high, const char **message) {
    if (!(value->flags & KEL_TV_RECURRING))
        return violates(message, ": expected a recurring time interval");
    const uint32_t digits = value->recurrenceDigits;
    if (digits == 0 ? high != 0xFFFF : digits < low || digits > high)
        return violates(message, ": expected a recurring time interval");
    return 0;
}

int _kelChkNoBasicDateSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits, const char **message) {
    if (value->flags & KEL_TV_START && value->first.point.date.flags)
        return _kelCheckDateSettings(settings, &value->first.point.date, digits, message);
    if (value->flags & KEL_TV_END)
        return _kelCheckDateSettings(settings, &value->second.point.date, digits, message);
    return 0;
}

int _kelChkNoBasicIntervalSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits,
                                   const char **message) {
    return value->flags & 0x38 ? _kelCheckIntervalSettings(settings, value, digits, message) : 0;
}

int _kelChkNoBasicTimeSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits, const char **message) {
    const bool alternative = settings & 0x10000;
    const bool hasEnd = value->flags & KEL_TV_END;
    const KelTimeOfDayPart &end = value->second.point.time;
    if (!(value->flags & KEL_TV_START)) {
        if (hasEnd && end.flags)
            return _kelCheckTimeSettings(settings, &end, digits, message);
        return 0;
    }
    const KelTimeOfDayPart &start = start_time(*value);
    if (!start.flags)
        return alternative ? violates(message, "the time-of-day shall have an hours component") : 0;
    int result = _kelCheckTimeSettings(settings, &start, digits, message);
    if (!alternative)
        return result ? result : hasEnd ? _kelCheckMidnightSettings(settings, &end, message) : 0;
    if (result == 0)
        return 0;
    if (settings & 0xC000 && hasEnd)
        return _kelCheckMidnightSettings(settings, &end, message);
    return result;
}

int _kelChkDurationComponents(const KelTimeValue *value, uint32_t required, uint32_t forbidden, const char **name) {
    static constexpr const char *kNames[8] = {"fractional-part", "seconds", "minutes", "hours",
                                              "days",            "weeks",   "months",  "years"};
    const KelDurationPart &d = value->flags & KEL_TV_DURATION_SECOND ? value->second.duration : value->first.duration;
    const uint32_t missing = required & ~d.flags & 0xFF, present = forbidden & d.flags & 0xFF;
    const uint32_t bad = missing ? missing : present;
    if (!bad)
        return 0;
    if (name)
        *name = kNames[31 - __builtin_clz(bad)];
    return missing ? kMsgPresence : kMsgAbsence;
}

} // extern "C"
