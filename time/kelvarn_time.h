/*
 * kelvarn_time.h - ASN.1 time values: the parsed forms of the ISO 8601 texts
 * in which TIME, DATE, TIME-OF-DAY, DATE-TIME and DURATION values are held,
 * their parsers and settings checks, and the public conversions between
 * text, numbers and calendar forms.
 *
 * Included by kelvarn.h.  This header compiles as C99 and as C++.
 */
#ifndef KELVARN_TIME_H
#define KELVARN_TIME_H

#include "kelvarn.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Declared in kelvarn_prim.h; named here by its tag so that either header
 * may come first. */
struct KelTimeStruct;

/* ------------------------------------------------------------------------ */
/* Parsed form of a TIME value (internal to the library's families)          */
/* ------------------------------------------------------------------------ */

/* KelDatePart.flags */
#define KEL_DATE_CENTURY 0x80u
#define KEL_DATE_YEAR 0x40u
#define KEL_DATE_WEEK 0x20u
#define KEL_DATE_MONTH 0x10u
#define KEL_DATE_DAY 0x08u
#define KEL_DATE_BASIC 0x04u     /* 1582..9999, century 15..99 */
#define KEL_DATE_PROLEPTIC 0x02u /* 0..1581, century 0..14 */
#define KEL_DATE_NEGATIVE 0x01u  /* -9999..-1, century -99..-1 */

typedef struct KelDatePart {
    uint8_t flags;
    uint16_t digits; /* digits of the year or century as written */
    int32_t year;    /* year, or century */
    uint16_t week;
    uint16_t month;
    uint16_t day; /* day of month, of year or of week */
} KelDatePart;

/* KelTimeOfDayPart.flags */
#define KEL_TOD_HOURS 0x80u
#define KEL_TOD_MINUTES 0x40u
#define KEL_TOD_SECONDS 0x20u
#define KEL_TOD_FRACTION 0x10u
#define KEL_TOD_UTC 0x08u
#define KEL_TOD_DIFF 0x04u
/* KelTimeOfDayPart.diffFlags */
#define KEL_DIFF_NEGATIVE 0x80u
#define KEL_DIFF_MINUTES 0x40u

typedef struct KelTimeOfDayPart {
    uint8_t flags;
    uint16_t hours;
    uint16_t minutes;
    uint16_t seconds;
    uint32_t fractionDigits;
    uint64_t fraction __attribute__((aligned(8)));
    uint8_t diffFlags;
    uint16_t diffHours;
    uint16_t diffMinutes;
} KelTimeOfDayPart;

/* KelDurationPart.flags and lastDesignator */
#define KEL_DUR_YEARS 0x80u
#define KEL_DUR_MONTHS 0x40u
#define KEL_DUR_WEEKS 0x20u
#define KEL_DUR_DAYS 0x10u
#define KEL_DUR_HOURS 0x08u
#define KEL_DUR_MINUTES 0x04u
#define KEL_DUR_SECONDS 0x02u
#define KEL_DUR_FRACTION 0x01u

typedef struct KelDurationPart {
    uint8_t flags;
    uint8_t lastDesignator;
    uint32_t years, months, weeks, days, hours, minutes, seconds;
    uint32_t fractionDigits;
    uint64_t fraction __attribute__((aligned(8)));
} KelDurationPart;

typedef struct KelPointPart {
    KelDatePart date;
    KelTimeOfDayPart time;
} KelPointPart;

/* Each half of a value is 48 bytes on every target. */
typedef union KelTimePart {
    KelPointPart point;
    KelDurationPart duration;
} KelTimePart;

/* KelTimeValue.flags */
#define KEL_TV_RECURRING 0x80u
#define KEL_TV_START 0x40u
#define KEL_TV_END 0x20u
#define KEL_TV_DURATION_FIRST 0x10u
#define KEL_TV_DURATION_SECOND 0x08u

typedef struct KelTimeValue {
    uint8_t flags;
    uint16_t recurrenceDigits; /* 0: unlimited */
    uint32_t recurrences;      /* all ones: unlimited */
    KelTimePart first;
    KelTimePart second;
} KelTimeValue;

/* ------------------------------------------------------------------------ */
/* Public time records                                                       */
/* ------------------------------------------------------------------------ */

/* KelTimePoint.flags */
#define KEL_TP_CENTURY 0x8000u
#define KEL_TP_YEAR 0x4000u
#define KEL_TP_WEEK 0x2000u
#define KEL_TP_MONTH 0x1000u
#define KEL_TP_DAY 0x0800u
#define KEL_TP_HOURS 0x0400u
#define KEL_TP_MINUTES 0x0200u
#define KEL_TP_SECONDS 0x0100u
#define KEL_TP_UTC 0x0080u
#define KEL_TP_FRACTION 0x0040u
#define KEL_TP_DIFF 0x0020u
/* KelTimePoint.flags2 */
#define KEL_TP_DIFF_MINUTES 0x80u

typedef struct KelTimePoint {
    uint16_t flags;
    int32_t century;
    int32_t year;
    uint16_t week, month, day, hours, minutes, seconds;
    uint32_t fractionDigits;
    uint64_t fraction;
    uint8_t flags2;
    uint16_t diffHours;
    uint16_t diffMinutes;
    uint8_t diffNegative;
} KelTimePoint;

typedef struct KelTimePoint32 {
    uint16_t flags;
    int32_t century;
    int32_t year;
    uint16_t week, month, day, hours, minutes, seconds;
    uint32_t fractionDigits;
    uint32_t fraction;
    uint8_t flags2;
    uint16_t diffHours;
    uint16_t diffMinutes;
    uint8_t diffNegative;
} KelTimePoint32;

/* KelDuration.flags */
#define KEL_D_YEARS 0x80000000u
#define KEL_D_MONTHS 0x40000000u
#define KEL_D_WEEKS 0x20000000u
#define KEL_D_DAYS 0x10000000u
#define KEL_D_HOURS 0x08000000u
#define KEL_D_MINUTES 0x04000000u
#define KEL_D_SECONDS 0x02000000u
#define KEL_D_FRACTION 0x01000000u

typedef struct KelDuration {
    uint32_t flags;
    uint32_t years, months, weeks, days, hours, minutes, seconds;
    uint32_t fractionDigits;
    uint64_t fraction;
} KelDuration;

typedef struct KelDuration32 {
    uint32_t flags;
    uint32_t years, months, weeks, days, hours, minutes, seconds;
    uint32_t fractionDigits;
    uint32_t fraction;
} KelDuration32;

/* kelGetTimeKind results */
enum {
    KEL_TIME_POINT = 0,
    KEL_TIME_DURATION = 1,
    KEL_TIME_START_END = 2,
    KEL_TIME_START_DURATION = 3,
    KEL_TIME_DURATION_END = 4,
    KEL_TIME_REC_DURATION = 5,
    KEL_TIME_REC_START_END = 6,
    KEL_TIME_REC_START_DURATION = 7,
    KEL_TIME_REC_DURATION_END = 8,
    KEL_TIME_NONE = 9
};

/* Zone arguments of the integer family. */
#define KEL_ZONE_NONE 0x7FFFFFFE
#define KEL_ZONE_Z 0x7FFFFFFF

/* ------------------------------------------------------------------------ */
/* Primitives that the rule families and value services call                 */
/* ------------------------------------------------------------------------ */

/* GeneralizedTime (isUTC 0) or UTCTime text, NUL-terminated, into a time
 * record; 0 on success, 1 on a malformed text.  Never raises. */
KEL_API int _kel_translate_time(const char *text, struct KelTimeStruct *out, int isUTC);
/* Examines a GeneralizedTime or UTCTime text; raises messages 8 and 72..77. */
KEL_API void _kel_check_nullterm_time(KelGlobal *world, const char *text, int isUTC);

KEL_API int kelGetTimeKind(KelGlobal *world, const char *text);
/* Parses any TIME text; raises messages 72..77, 148, 278..280. */
KEL_API void _kelGetDateTimeValue(KelGlobal *world, const char *text, KelTimeValue *value);
/* `text` at the 'P'; returns the position behind the duration; raises. */
KEL_API const char *_kelDTDurationParse(KelGlobal *world, const char *text, KelDurationPart *out);
/* `text` at the 'P'; position behind it, null on failure.  A non-zero
 * dropZeros leaves the bit of a zero component clear. */
KEL_API const char *_kel_parse_duration(const char *text, KelDuration *out, int dropZeros);
/* Order of two points: -1 first earlier, 0 equal, 1 later, -2 not
 * comparable (different forms, or times in different zones). */
KEL_API int _kelDTPointsRelation(const KelPointPart *one, const KelPointPart *two);
/* Canonical form of any TIME text into `output`, which has room for
 * strlen(text) + 1 octets; 0 or 12. */
KEL_API int _kel_format_new_time(KelGlobal *world, const char *text, char *output);

/* Digit readers and writers.  Readers return the position behind the digits;
 * writers the position behind the written text. */
KEL_API const char *_kelStrToUintSafe(KelGlobal *world, const char *text, int minDigits, uint32_t *value);
KEL_API const char *_kelStrToUint64Safe(KelGlobal *world, const char *text, int minDigits, uint64_t *value);
KEL_API const char *_kelStrToUintLimited(const char *text, int digits, uint32_t *value);
KEL_API const char *_kelStrToUint64Limited(const char *text, int digits, uint64_t *value);
KEL_API const char *_kelStrToUintUnlimited(const char *text, uint32_t *value);
KEL_API const char *_kelStrToUint64Unlimited(const char *text, uint64_t *value);
KEL_API char *_kelUintToStrLimited(char *out, int digits, uint32_t value);
KEL_API char *_kelUint64ToStrLimited(char *out, int digits, uint64_t value);
KEL_API char *_kelUintToStrUnlimited(char *out, int minDigits, uint32_t value);
KEL_API char *_kelUint64ToStrUnlimited(char *out, int minDigits, uint64_t value);
KEL_API char *_kelUintToStr(char *out, int digits, uint32_t value);
KEL_API char *_kelUint64ToStr(char *out, int digits, uint64_t value);
KEL_API char *_kelRangeUintToStr(char *out, int minDigits, int maxDigits, uint32_t value);

/* Settings checks behind the property-settings constraint: 0 passes, 1 fails
 * with the violated rule's text in *message. */
KEL_API int _kelCheckDateSettings(uint32_t settings, const KelDatePart *date, uint32_t digits, const char **message);
KEL_API int _kelCheckTimeSettings(uint32_t settings, const KelTimeOfDayPart *time, uint32_t fractionDigits,
                                  const char **message);
KEL_API int _kelCheckMidnightSettings(uint32_t settings, const KelTimeOfDayPart *time, const char **message);
KEL_API int _kelCheckIntervalSettings(uint32_t settings, const KelTimeValue *value, uint32_t recurrenceDigits,
                                      const char **message);
KEL_API int _kelChkDateSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits, const char **message);
KEL_API int _kelChkTimeSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits, const char **message);
KEL_API int _kelChkDateTimeSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits,
                                    const char **message);
KEL_API int _kelChkIntervalSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits,
                                    const char **message);
KEL_API int _kelChkRecIntervalSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits,
                                       const char **message);
KEL_API int _kelChkNoBasicDateSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits,
                                       const char **message);
KEL_API int _kelChkNoBasicTimeSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits,
                                       const char **message);
KEL_API int _kelChkNoBasicIntervalSettings(const KelTimeValue *value, uint32_t settings, uint32_t digits,
                                           const char **message);
KEL_API int _kelChkRecurrenceRange(const KelTimeValue *value, uint32_t low, uint32_t high, const char **message);
/* 0, 285 (forbidden component present) or 286 (required one missing). */
KEL_API int _kelChkDurationComponents(const KelTimeValue *value, uint32_t required, uint32_t forbidden,
                                      const char **name);

/* ------------------------------------------------------------------------ */
/* Public conversions: 0 or 12                                               */
/* ------------------------------------------------------------------------ */

KEL_API int kelStringToTimePoint(KelGlobal *world, const char *text, KelTimePoint *point);
KEL_API int kelStringToDurationInterval(KelGlobal *world, const char *text, KelDuration *duration);
KEL_API int kelStringToStartPointEndPointInterval(KelGlobal *world, const char *text, KelTimePoint *start,
                                                  KelTimePoint *end);
KEL_API int kelStringToStartPointDurationInterval(KelGlobal *world, const char *text, KelTimePoint *start,
                                                  KelDuration *duration);
KEL_API int kelStringToDurationEndPointInterval(KelGlobal *world, const char *text, KelDuration *duration,
                                                KelTimePoint *end);
KEL_API int kelStringToDurationRecInterval(KelGlobal *world, const char *text, KelDuration *duration,
                                           int32_t *recurrence);
KEL_API int kelStringToStartPointEndPointRecInterval(KelGlobal *world, const char *text, KelTimePoint *start,
                                                     KelTimePoint *end, int32_t *recurrence);
KEL_API int kelStringToStartPointDurationRecInterval(KelGlobal *world, const char *text, KelTimePoint *start,
                                                     KelDuration *duration, int32_t *recurrence);
KEL_API int kelStringToDurationEndPointRecInterval(KelGlobal *world, const char *text, KelDuration *duration,
                                                   KelTimePoint *end, int32_t *recurrence);

/* A null *text gets memory from kelMalloc; otherwise *text is the caller's
 * buffer, which must hold the whole text. */
KEL_API int kelTimePointToString(KelGlobal *world, const KelTimePoint *point, char **text);
KEL_API int kelDurationIntervalToString(KelGlobal *world, const KelDuration *duration, char **text);
KEL_API int kelStartPointEndPointIntervalToString(KelGlobal *world, const KelTimePoint *start,
                                                  const KelTimePoint *end, char **text);
KEL_API int kelStartPointDurationIntervalToString(KelGlobal *world, const KelTimePoint *start,
                                                  const KelDuration *duration, char **text);
KEL_API int kelDurationEndPointIntervalToString(KelGlobal *world, const KelDuration *duration,
                                                const KelTimePoint *end, char **text);
KEL_API int kelDurationRecIntervalToString(KelGlobal *world, const KelDuration *duration, int32_t recurrence,
                                           char **text);
KEL_API int kelStartPointEndPointRecIntervalToString(KelGlobal *world, const KelTimePoint *start,
                                                     const KelTimePoint *end, int32_t recurrence, char **text);
KEL_API int kelStartPointDurationRecIntervalToString(KelGlobal *world, const KelTimePoint *start,
                                                     const KelDuration *duration, int32_t recurrence, char **text);
KEL_API int kelDurationEndPointRecIntervalToString(KelGlobal *world, const KelDuration *duration,
                                                   const KelTimePoint *end, int32_t recurrence, char **text);

KEL_API int kel32StringToTimePoint(KelGlobal *world, const char *text, KelTimePoint32 *point);
KEL_API int kel32StringToDurationInterval(KelGlobal *world, const char *text, KelDuration32 *duration);
KEL_API int kel32StringToStartPointEndPointInterval(KelGlobal *world, const char *text, KelTimePoint32 *start,
                                                    KelTimePoint32 *end);
KEL_API int kel32StringToStartPointDurationInterval(KelGlobal *world, const char *text, KelTimePoint32 *start,
                                                    KelDuration32 *duration);
KEL_API int kel32StringToDurationEndPointInterval(KelGlobal *world, const char *text, KelDuration32 *duration,
                                                  KelTimePoint32 *end);
KEL_API int kel32StringToDurationRecInterval(KelGlobal *world, const char *text, KelDuration32 *duration,
                                             int32_t *recurrence);
KEL_API int kel32StringToStartPointEndPointRecInterval(KelGlobal *world, const char *text, KelTimePoint32 *start,
                                                       KelTimePoint32 *end, int32_t *recurrence);
KEL_API int kel32StringToStartPointDurationRecInterval(KelGlobal *world, const char *text, KelTimePoint32 *start,
                                                       KelDuration32 *duration, int32_t *recurrence);
KEL_API int kel32StringToDurationEndPointRecInterval(KelGlobal *world, const char *text, KelDuration32 *duration,
                                                     KelTimePoint32 *end, int32_t *recurrence);
KEL_API int kel32TimePointToString(KelGlobal *world, const KelTimePoint32 *point, char **text);
KEL_API int kel32DurationIntervalToString(KelGlobal *world, const KelDuration32 *duration, char **text);
KEL_API int kel32StartPointEndPointIntervalToString(KelGlobal *world, const KelTimePoint32 *start,
                                                    const KelTimePoint32 *end, char **text);
KEL_API int kel32StartPointDurationIntervalToString(KelGlobal *world, const KelTimePoint32 *start,
                                                    const KelDuration32 *duration, char **text);
KEL_API int kel32DurationEndPointIntervalToString(KelGlobal *world, const KelDuration32 *duration,
                                                  const KelTimePoint32 *end, char **text);
KEL_API int kel32DurationRecIntervalToString(KelGlobal *world, const KelDuration32 *duration, int32_t recurrence,
                                             char **text);
KEL_API int kel32StartPointEndPointRecIntervalToString(KelGlobal *world, const KelTimePoint32 *start,
                                                       const KelTimePoint32 *end, int32_t recurrence, char **text);
KEL_API int kel32StartPointDurationRecIntervalToString(KelGlobal *world, const KelTimePoint32 *start,
                                                       const KelDuration32 *duration, int32_t recurrence,
                                                       char **text);
KEL_API int kel32DurationEndPointRecIntervalToString(KelGlobal *world, const KelDuration32 *duration,
                                                     const KelTimePoint32 *end, int32_t recurrence, char **text);

/* Integer family.  `zone`: minutes east of UTC, KEL_ZONE_NONE or KEL_ZONE_Z.
 * A null *text gets memory from kelMalloc. */
KEL_API int kelIntsToDuration(KelGlobal *world, int negative, uint32_t years, uint32_t months, uint32_t days,
                              uint32_t hours, uint32_t minutes, uint32_t seconds, const char *fraction,
                              uint32_t fractionLength, char **text);
KEL_API int kelIntsToDateTime(KelGlobal *world, int32_t year, uint32_t month, uint32_t day, uint32_t hour,
                              uint32_t minute, uint32_t second, const char *fraction, uint32_t fractionLength,
                              int32_t zone, char **text);
KEL_API int kelIntsToTime(KelGlobal *world, uint32_t hour, uint32_t minute, uint32_t second, const char *fraction,
                          uint32_t fractionLength, int32_t zone, char **text);
KEL_API int kelIntsToDate(KelGlobal *world, int32_t year, uint32_t month, uint32_t day, int32_t zone, char **text);
KEL_API int kelIntsToGYearMonth(KelGlobal *world, int32_t year, uint32_t month, int32_t zone, char **text);
KEL_API int kelIntsToGYear(KelGlobal *world, int32_t year, int32_t zone, char **text);
KEL_API int kelIntsToGMonthDay(KelGlobal *world, uint32_t month, uint32_t day, int32_t zone, char **text);
KEL_API int kelIntsToGDay(KelGlobal *world, uint32_t day, int32_t zone, char **text);
KEL_API int kelIntsToGMonth(KelGlobal *world, uint32_t month, int32_t zone, char **text);

KEL_API int kelDurationToInts(KelGlobal *world, const char *text, int *negative, uint32_t *years, uint32_t *months,
                              uint32_t *days, uint32_t *hours, uint32_t *minutes, uint32_t *seconds,
                              const char **fraction, uint32_t *fractionLength);
KEL_API int kelDateTimeToInts(KelGlobal *world, const char *text, int32_t *year, uint32_t *month, uint32_t *day,
                              uint32_t *hour, uint32_t *minute, uint32_t *second, const char **fraction,
                              uint32_t *fractionLength, int32_t *zone);
KEL_API int kelTimeToInts(KelGlobal *world, const char *text, uint32_t *hour, uint32_t *minute, uint32_t *second,
                          const char **fraction, uint32_t *fractionLength, int32_t *zone);
KEL_API int kelDateToInts(KelGlobal *world, const char *text, int32_t *year, uint32_t *month, uint32_t *day,
                          int32_t *zone);
KEL_API int kelGYearMonthToInts(KelGlobal *world, const char *text, int32_t *year, uint32_t *month, int32_t *zone);
KEL_API int kelGYearToInts(KelGlobal *world, const char *text, int32_t *year, int32_t *zone);
KEL_API int kelGMonthDayToInts(KelGlobal *world, const char *text, uint32_t *month, uint32_t *day, int32_t *zone);
KEL_API int kelGDayToInts(KelGlobal *world, const char *text, uint32_t *day, int32_t *zone);
KEL_API int kelGMonthToInts(KelGlobal *world, const char *text, uint32_t *month, int32_t *zone);

/* GeneralizedTime and UTCTime text.  `difference`: 0 local time, 1 'Z',
 * otherwise signed minutes.  `*output` null: memory from kelMalloc. */
KEL_API int kelIntsToGeneralizedTime(KelGlobal *world, uint32_t year, uint32_t month, uint32_t day, uint32_t hour,
                                     uint32_t minute, uint32_t second, uint32_t fraction, uint32_t digits,
                                     int32_t difference, char **output);
KEL_API int kelGeneralizedTimeToInts(KelGlobal *world, const char *text, uint32_t *year, uint32_t *month,
                                     uint32_t *day, uint32_t *hour, uint32_t *minute, uint32_t *second,
                                     uint32_t *fraction, uint32_t *digits, int32_t *difference);
KEL_API int kelGeneralizedTimeToShorts(KelGlobal *world, const char *text, uint16_t *year, uint16_t *month,
                                       uint16_t *day, uint16_t *hour, uint16_t *minute, uint16_t *second,
                                       uint32_t *fraction, uint32_t *digits, int32_t *difference);
KEL_API int kelIntsToUTCTime(KelGlobal *world, uint32_t year, uint32_t month, uint32_t day, uint32_t hour,
                             uint32_t minute, uint32_t second, int32_t difference, char **output);
KEL_API int kelUTCTimeToInts(KelGlobal *world, const char *text, uint32_t *year, uint32_t *month, uint32_t *day,
                             uint32_t *hour, uint32_t *minute, uint32_t *second, int32_t *difference);
KEL_API int kelUTCTimeToShorts(KelGlobal *world, const char *text, uint16_t *year, uint16_t *month, uint16_t *day,
                               uint16_t *hour, uint16_t *minute, uint16_t *second, int32_t *difference);

/* Calendar seconds since 1970-01-01T00:00Z; 0, 6 (null argument), 8 (no
 * memory) or 12. */
KEL_API int kelUTCTimeStructToCalTime(KelGlobal *world, const struct KelTimeStruct *value, int32_t *seconds);
KEL_API int kelUTCTimeStringToCalTime(KelGlobal *world, const char *value, int32_t *seconds);
KEL_API int kelGenTimeStructToCalTime(KelGlobal *world, const struct KelTimeStruct *value, int32_t *seconds);
KEL_API int kelGenTimeStringToCalTime(KelGlobal *world, const char *value, int32_t *seconds);
KEL_API int kelCalTimeToUTCTimeStruct(KelGlobal *world, int32_t seconds, int32_t difference,
                                      struct KelTimeStruct **output);
KEL_API int kelCalTimeToUTCTimeString(KelGlobal *world, int32_t seconds, int32_t difference, char **output);
KEL_API int kelCalTimeToGenTimeStruct(KelGlobal *world, int32_t seconds, int32_t difference,
                                      struct KelTimeStruct **output);
KEL_API int kelCalTimeToGenTimeString(KelGlobal *world, int32_t seconds, int32_t difference, char **output);

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_TIME_H */
