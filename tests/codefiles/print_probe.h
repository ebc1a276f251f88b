/*
 * print_probe.h - a stand-in code file for the value printer: its printPdu
 * composes value notation from kelPrint, _kel_indent and the _kel_prt_*
 * primitives as a compiler's printer does, and its BER encoder runs the
 * debug hooks around a one-octet INTEGER.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KEL_PRINT_PROBE_H
#define KEL_PRINT_PROBE_H

#include "kelvarn.h"
#include "kelvarn_prim.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
    KEL_PRINT_PROBE_NUMBER = 1, /* int32_t */
    KEL_PRINT_PROBE_RECORD,     /* KelPrintProbeRecord */
    KEL_PRINT_PROBE_LIST,       /* KelPrintProbeList */
    KEL_PRINT_PROBE_FAILING     /* prints "{ " and fails with kel_print_probe_message */
};

typedef struct KelPrintProbeRecord {
    int32_t number;
    KelUnboundedString name;
    KelUnboundedBits flags;
    KelOpenType inner;
} KelPrintProbeRecord;

typedef struct KelPrintProbeList {
    uint32_t count;
    int32_t *values;
} KelPrintProbeList;

/* The message of the failing PDU, and of the encoder for a negative number. */
extern int kel_print_probe_message;
extern KelControlTable kel_print_probe_table;

#ifdef __cplusplus
}
#endif

#endif /* KEL_PRINT_PROBE_H */
