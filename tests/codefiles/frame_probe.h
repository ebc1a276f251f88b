/*
 * frame_probe.h - a stand-in code file whose generated entries do what the
 * test scripts: write octets, take memory, fail with a message, raise a
 * signal.  It exercises the frame (drivers, recovery, memory clean-up)
 * without any schema.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KEL_FRAME_PROBE_H
#define KEL_FRAME_PROBE_H

#include "kelvarn.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum KelProbeAction {
    KEL_PROBE_WRITE = 0, /* encoder writes `bytes`; decoder reads `length` octets into an item */
    KEL_PROBE_FAIL,      /* after taking `items` pieces of memory, fail with `message` */
    KEL_PROBE_SIGNAL     /* raise SIGSEGV */
} KelProbeAction;

typedef struct KelProbeScript {
    KelProbeAction action;
    const unsigned char *bytes;
    int32_t length;
    int32_t items;    /* pieces of memory taken before the action */
    int32_t itemSize;
    int message;
    uint32_t value;
    void *taken[64];  /* decoder pieces, released with the value */
    int32_t takenCount;
    int initCalls;    /* how often the init function ran */
    int withRootContext;
} KelProbeScript;

extern KelProbeScript kel_probe;
extern KelControlTable kel_probe_table;

#ifdef __cplusplus
}
#endif

#endif /* KEL_FRAME_PROBE_H */
