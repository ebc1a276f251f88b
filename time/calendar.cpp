// calendar.cpp - GeneralizedTime and UTCTime values as calendar seconds
// counted from 1970-01-01T00:00:00Z, in both directions.
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "time_internal.h"

using namespace kel::time;

namespace {

constexpr int64_t kSecondsPerDay = 86400;
constexpr int32_t kMaxDifference = 1439;

struct CalFields {
    int64_t year;
    uint32_t month, day, hour, minute, second;
    int32_t difference; // minutes east of UTC
};

// Seconds since 1970 of a valid date and time; 12 when the fields are out
// of range or the result leaves the non-negative 32-bit range.
int to_seconds(const CalFields &f, int32_t *seconds) {
    if (f.year < 1970 || f.month < 1 || f.month > 12 || f.day < 1 || f.day > days_in_month(f.year, f.month) ||
        f.hour > 23 || f.minute > 59 || f.second > 60)
        return kBadValue;
    int64_t total = days_from_civil(f.year, f.month, f.day) * kSecondsPerDay + f.hour * 3600 + f.minute * 60 +
                    f.second - int64_t{f.difference} * 60;
    if (total < 0 || total > INT32_MAX)
        return kBadValue;
    *seconds = static_cast<int32_t>(total);
    return 0;
}

// The local date and time of `seconds` in the zone `difference`.
int from_seconds(int32_t seconds, int32_t difference, CalFields &f) {
    if (seconds < 0 || difference < -kMaxDifference || difference > kMaxDifference)
        return kBadValue;
    int64_t local = int64_t{seconds} + int64_t{difference} * 60;
    int64_t days = local / kSecondsPerDay, rest = local % kSecondsPerDay;
    if (rest < 0) {
        rest += kSecondsPerDay;
        --days;
    }
    CivilDate date = civil_from_days(days);
    f = CalFields{date.year,
                  date.month,
                  date.day,
                  static_cast<uint32_t>(rest / 3600),
                  static_cast<uint32_t>(rest / 60 % 60),
                  static_cast<uint32_t>(rest % 60),
                  difference};
    return 0;
}

int struct_to_seconds(KelGlobal *world, const KelTimeStruct *value, int32_t *seconds, bool utcTime) {
    if (!world || !value || !seconds)
        return kNullArgument;
    int64_t year = value->year;
    if (utcTime)
        year += year >= 50 ? 1900 : 2000;
    if (value->month < 0 || value->day < 0 || value->hour < 0 || value->minute < 0 || value->second < 0)
        return kBadValue;
    CalFields f{year,
                static_cast<uint32_t>(value->month),
                static_cast<uint32_t>(value->day),
                static_cast<uint32_t>(value->hour),
                static_cast<uint32_t>(value->minute),
                static_cast<uint32_t>(value->second),
                value->utc ? 0 : value->mindiff};
    return to_seconds(f, seconds);
}

int string_to_seconds(KelGlobal *world, const char *value, int32_t *seconds, bool utcTime) {
    if (!world || !value || !seconds)
        return kNullArgument;
    uint32_t year, month, day, hour, minute, second;
    int32_t difference;
    // The texts are read under the plain rules, whatever the world encodes.
    const uint32_t rules = world->encRules;
    world->encRules = KEL_BER;
    int code = utcTime ? kelUTCTimeToInts(world, value, &year, &month, &day, &hour, &minute, &second, &difference)
                       : kelGeneralizedTimeToInts(world, value, &year, &month, &day, &hour, &minute, &second,
                                                  nullptr, nullptr, &difference);
    world->encRules = rules;
    if (code)
        return code;
    int64_t fullYear = utcTime ? year + (year >= 50 ? 1900 : 2000) : year;
    return to_seconds(CalFields{fullYear, month, day, hour, minute, second, difference == 1 ? 0 : difference},
                      seconds);
}

int seconds_to_struct(KelGlobal *world, int32_t seconds, int32_t difference, KelTimeStruct **output, bool utcTime) {
    if (!world || !output)
        return kNullArgument;
    CalFields f;
    if (int code = from_seconds(seconds, difference, f))
        return code;
    if (utcTime && (f.year < 1950 || f.year > 2049))
        return kBadValue;
    KelTimeStruct *out = *output;
    if (!out && !(out = static_cast<KelTimeStruct *>(kelGetMemory(world, sizeof(KelTimeStruct)))))
        return kNoMemory;
    std::memset(out, 0, sizeof *out);
    out->year = static_cast<int16_t>(utcTime ? f.year % 100 : f.year);
    out->month = static_cast<int16_t>(f.month);
    out->day = static_cast<int16_t>(f.day);
    out->hour = static_cast<int16_t>(f.hour);
    out->minute = static_cast<int16_t>(f.minute);
    out->second = static_cast<int16_t>(f.second);
    out->mindiff = static_cast<int16_t>(difference);
    out->utc = difference == 0;
    *output = out;
    return 0;
}

constexpr size_t kCalStringSize = 20; // "YYYYMMDDhhmmss+hhmm" and NUL

int seconds_to_string(KelGlobal *world, int32_t seconds, int32_t difference, char **output, bool utcTime) {
    if (!world || !output)
        return kNullArgument;
    CalFields f;
    if (int code = from_seconds(seconds, difference, f))
        return code;
    if (utcTime && (f.year < 1950 || f.year > 2049))
        return kBadValue;
    char *out = *output;
    if (!out && !(out = static_cast<char *>(kelGetMemory(world, kCalStringSize))))
        return kNoMemory;
    TextOut w{out};
    w.number(static_cast<uint64_t>(utcTime ? f.year % 100 : f.year), utcTime ? 2 : 4);
    for (uint32_t v : {f.month, f.day, f.hour, f.minute, f.second})
        w.number(v, 2);
    if (difference == 0) {
        w.put('Z');
    } else {
        uint32_t minutes = difference < 0 ? static_cast<uint32_t>(-difference) : static_cast<uint32_t>(difference);
        w.put(difference < 0 ? '-' : '+');
        w.number(minutes / 60, 2);
        w.number(minutes % 60, 2);
    }
    out[w.length] = 0;
    *output = out;
    return 0;
}

} // namespace

extern "C" {

int kelUTCTimeStructToCalTime(KelGlobal *world, const KelTimeStruct *value, int32_t *seconds) {
    return struct_to_seconds(world, value, seconds, true);
}
int kelGenTimeStructToCalTime(KelGlobal *world, const KelTimeStruct *value, int32_t *seconds) {
    return struct_to_seconds(world, value, seconds, false);
}
int kelUTCTimeStringToCalTime(KelGlobal *world, const char *value, int32_t *seconds) {
    return string_to_seconds(world, value, seconds, true);
}
int kelGenTimeStringToCalTime(KelGlobal *world, const char *value, int32_t *seconds) {
    return string_to_seconds(world, value, seconds, false);
}
int kelCalTimeToUTCTimeStruct(KelGlobal *world, int32_t seconds, int32_t difference, KelTimeStruct **output) {
    return seconds_to_struct(world, seconds, difference, output, true);
}
int kelCalTimeToGenTimeStruct(KelGlobal *world, int32_t seconds, int32_t difference, KelTimeStruct **output) {
    return seconds_to_struct(world, seconds, difference, output, false);
}
int kelCalTimeToUTCTimeString(KelGlobal *world, int32_t seconds, int32_t difference, char **output) {
    return seconds_to_string(world, seconds, difference, output, true);
}
int kelCalTimeToGenTimeString(KelGlobal *world, int32_t seconds, int32_t difference, char **output) {
    return seconds_to_string(world, seconds, difference, output, false);
}

} // extern "C"
