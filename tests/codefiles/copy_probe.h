/*
 * copy_probe.h - a stand-in code file whose generated copy function copies a
 * small record (a string, a linked list, a decimal REAL and an optional open
 * type) by the copier's primitives, as a compiler's output would.  PDU 2,
 * a note, is what the open types of the tests hold.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KEL_COPY_PROBE_H
#define KEL_COPY_PROBE_H

#include "kelvarn.h"
#include "kelvarn_prim.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { KEL_COPY_PROBE_RECORD = 1, KEL_COPY_PROBE_NOTE = 2 };

/* SEQUENCE OF INTEGER in its linked form. */
typedef struct KelCopyProbeItem {
    struct KelCopyProbeItem *next;
    int32_t number;
} KelCopyProbeItem;

/* SEQUENCE { id INTEGER, name UTF8String, items SEQUENCE OF INTEGER,
 * ratio REAL (decimal text), extra open type OPTIONAL } */
typedef struct KelCopyProbeRecord {
    int32_t id;
    KelUnboundedString name;
    KelCopyProbeItem *items;
    KelCharReal ratio;
    KelOpenType *extra;
} KelCopyProbeRecord;

/* PDU 2: UTF8String in its unbounded form. */
typedef KelUnboundedString KelCopyProbeNote;

/* The table of the copy function, and the control table whose init
 * registers it. */
extern KelXApiTable kel_copy_probe_api;
extern KelControlTable kel_copy_probe_table;

#ifdef __cplusplus
}
#endif

#endif /* KEL_COPY_PROBE_H */
