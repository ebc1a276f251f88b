/*
 * kelvarn_convert.h - conversions and service surfaces: object identifiers
 * between encoded, dotted and value-notation forms; huge integers; octet
 * forms (BCD, TBCD, IP addresses, time stamps, hexadecimal and Base64);
 * run-time information object sets; the compression surface; the file and
 * socket surface with its message-length helpers.
 *
 * Included by kelvarn.h.  This header compiles as C99 and as C++.
 */
#ifndef KELVARN_CONVERT_H
#define KELVARN_CONVERT_H

#include "kelvarn.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Object identifiers and huge integers ------------------------------ */

/* ---- Octet forms: BCD, TBCD, IP addresses, time stamps, kelConvertData -- */

/* ---- Information object sets, compression, files and sockets ----------- */

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_CONVERT_H */
