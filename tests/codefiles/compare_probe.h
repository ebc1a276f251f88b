/*
 * compare_probe.h - a stand-in code file whose generated comparer does what
 * the test scripts: compare two 32-bit integers (PDU 1) or two open type
 * records through _kel_cmp_open_type (PDU 2), fail with a message after
 * taking temporary memory, or raise a signal.  Its init registers the
 * comparer in a KelXApiTable.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KEL_COMPARE_PROBE_H
#define KEL_COMPARE_PROBE_H

#include "kelvarn.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { KEL_CMP_PROBE_INTEGER = 1, KEL_CMP_PROBE_OPEN_TYPE = 2 };

typedef enum KelCmpProbeAction {
    KEL_CMP_PROBE_COMPARE = 0, /* compare the values of the PDU */
    KEL_CMP_PROBE_FAIL,        /* after taking `tempItems` pieces of temporary memory, fail with `message` */
    KEL_CMP_PROBE_SIGNAL       /* raise SIGSEGV */
} KelCmpProbeAction;

typedef struct KelCmpProbeScript {
    KelCmpProbeAction action;
    int32_t tempItems;
    int message;
    uint32_t value;
    int calls; /* how often the comparer ran */
} KelCmpProbeScript;

extern KelCmpProbeScript kel_cmp_probe;
extern KelControlTable kel_cmp_probe_table;

#ifdef __cplusplus
}
#endif

#endif /* KEL_COMPARE_PROBE_H */
