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

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_TIME_H */
