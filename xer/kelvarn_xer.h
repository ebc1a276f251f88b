/*
 * kelvarn_xer.h - primitives of the XML rules (XER, CXER) that the other
 * text rules share: the name tables through which a decoder turns a
 * component identifier into a field index, or an ENUMERATED identifier into
 * its value.
 *
 * A table is generated per SEQUENCE, SET, CHOICE and ENUMERATED.  Small
 * tables hold their rows sorted by name and are searched by bisection; large
 * ones carry the CRC-24 hash of each name (computed at generation time with
 * _kel_make_crc24) in an ascending array beside the rows, in the rows' order.
 * Lookups work on a span of the input: the name needs no terminator.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KELVARN_XER_H
#define KELVARN_XER_H

#include "kelvarn.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KelNameRow {
    const char *name;
    uint32_t length;   /* octets of the name, no terminator */
    uint8_t kinds;     /* the kinds of item the name may stand for */
    uint32_t value;    /* field tables use the low 16 bits as field index */
} KelNameRow;

typedef struct KelNameTable {
    uint32_t count;
    uint32_t unknown;          /* delivered for a name not found; 0: an error */
    const KelNameRow *rows;
    const uint32_t *hashes;    /* ascending, one per row; null: rows sorted by name */
} KelNameTable;

/* The 24-bit hash of a name. */
KEL_API uint32_t _kel_make_crc24(const uint8_t *bytes, uint32_t length);

/* Index of the row named by the `length` octets at `name`, or -1. */
KEL_API int32_t _kel_find_string(const KelNameTable *table, const uint8_t *name, uint32_t length);

#ifdef __cplusplus
}
#endif

#endif
