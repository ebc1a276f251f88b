/*
 * kelvarn_prim.h - primitives of the runtime frame for generated code.
 *
 * Holds what every rule family shares: the memory forms of values, the
 * failure entry points (which leave through the recovery point of the running
 * driver and never return), the re-entry primitives for nested encodings,
 * the encoder/decoder memory chain, the temporary stack and the text helpers.
 * The family primitives are in the headers of ber/, per/, oer/ and so on.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KELVARN_PRIM_H
#define KELVARN_PRIM_H

#include "kelvarn.h"

#ifdef __cplusplus
extern "C" {
#endif

#define KEL_NORETURN __attribute__((noreturn))

/* Encoder memory blocks have this many octets; every writer knows it. */
#define KEL_ENC_BLOCK 1024

/* ------------------------------------------------------------------------ */
/* Memory forms of values                                                    */
/* ------------------------------------------------------------------------ */

typedef struct KelUnboundedString {
    uint32_t length;
    unsigned char *value;
} KelUnboundedString;

typedef struct KelUnboundedBits {
    uint32_t length; /* bits */
    unsigned char *value;
} KelUnboundedBits;

typedef struct KelBmpString {
    uint32_t length; /* characters */
    uint16_t *value;
} KelBmpString;

typedef struct KelUniversalString {
    uint32_t length; /* characters */
    uint32_t *value;
} KelUniversalString;

typedef struct KelOidLink {
    struct KelOidLink *next;
    uint32_t value;
} KelOidLink;

typedef struct KelOidUnbounded {
    uint16_t count;
    uint32_t *value;
} KelOidUnbounded;

typedef struct KelOidEncoded {
    uint32_t length;
    unsigned char *value;
} KelOidEncoded;

typedef struct KelOpenType {
    int32_t pduNum;
    uint32_t length;
    void *encoded;
    void *decoded;
    uint32_t userField;
} KelOpenType;

typedef KelOpenType KelDeferred;

typedef struct KelHugeInt {
    uint32_t length;
    unsigned char *value; /* big-endian two's complement */
} KelHugeInt;

typedef char *KelCharReal;

typedef struct KelMixedReal {
    int32_t kind; /* 0 double, 1 character */
    union {
        double value;
        KelCharReal text;
    } u __attribute__((aligned(8)));
} KelMixedReal;

typedef struct KelTimeStruct {
    int16_t year;
    int16_t month;
    int16_t day;
    int16_t hour;
    int16_t minute;
    int16_t second;
    int16_t millisec;
    int16_t mindiff;
    uint8_t utc;
} KelTimeStruct;

/* Decoders' scratch forms for string segments. */
typedef struct KelFragment {
    uint32_t length;
    unsigned char *value;
} KelFragment;

typedef struct KelFragmentList {
    KelFragment *fragments;
    int32_t capacity;
    int32_t count;
    uint16_t flags;     /* bit 0: array lives in temporary memory */
    uint8_t unusedBits;
} KelFragmentList;

/* ------------------------------------------------------------------------ */
/* Failure entry points                                                      */
/* ------------------------------------------------------------------------ */

KEL_API KEL_NORETURN void _kel_enc_error(KelGlobal *world, int message, uint32_t value);
KEL_API KEL_NORETURN void _kel_enc_llerror(KelGlobal *world, int message, uint64_t value);
KEL_API KEL_NORETURN void _kel_varn_error(KelGlobal *world, int message, const void *value);
KEL_API KEL_NORETURN void _kel_varn_real_error(KelGlobal *world, int message, double value);
KEL_API KEL_NORETURN void _kel_unbnd_error(KelGlobal *world, int message, const unsigned char *bytes,
                                           uint32_t length);
KEL_API KEL_NORETURN void _kel_con_error(KelGlobal *world, int message, uint32_t value);
KEL_API int _kel_varn_api_error(KelGlobal *world, int message, uint32_t value);
KEL_API void free_ext_errMsg(KelGlobal *world, uint32_t unused);
KEL_API void _kel_hdl_signal(int signal);

/* ------------------------------------------------------------------------ */
/* Re-entry for nested encodings                                             */
/* ------------------------------------------------------------------------ */

KEL_API KelGlobal *_kel_push_global(KelGlobal *world);
KEL_API KelGlobal *_kel_epop_global(KelGlobal *pushed);
KEL_API void _kel_freeGlobals(KelGlobal *world, int freeItems);
KEL_API void _kel_fast_push_global(KelGlobal *world);
KEL_API void _kel_fast_pop_global(KelGlobal *world);
KEL_API void _kel_begin_otype_or_ext(KelGlobal *world, KelPushFrame *frame);
KEL_API void _kel_end_otype_or_ext(KelGlobal *world, KelPushFrame *frame);

/* Entry `index` of the control table's alphabet data. */
KEL_API const void *_kel_get_char_data(KelGlobal *world, int index);

/* ------------------------------------------------------------------------ */
/* Encoder and decoder memory                                                */
/* ------------------------------------------------------------------------ */

KEL_API unsigned char *_kel_enc_getmem(KelGlobal *world);
KEL_API void *_kel_dec_getmem(KelGlobal *world, int32_t size);
KEL_API void *_kel_dec_getmem_internal(KelGlobal *world, uint32_t size);
KEL_API void *_kel_dec_getfixmem(KelGlobal *world, int32_t size);
KEL_API void _kel_dec_free(KelGlobal *world, void *p);
KEL_API void _kel_freeMem(KelGlobal *world, KelFreeMem release);
KEL_API void _kel_releaseMem(KelGlobal *world);
KEL_API void *_kel_get_memory_status(KelGlobal *world, uint32_t *mark);
KEL_API void _kel_restore_memory(KelGlobal *world, void *block, uint32_t mark);
KEL_API void _kel_tell_dec_outmem(KelGlobal *world, uintptr_t mark[3]);
KEL_API void _kel_free_dec_outmem(KelGlobal *world, uintptr_t mark[3]);
KEL_API void _kel_set_outmem_d(KelGlobal *world, uint32_t freeInLast, uint32_t *length,
                               unsigned char **value);
KEL_API void _kel_set_outmem_p(KelGlobal *world, uint32_t *length, unsigned char **value);
KEL_API void _kel_set_outmem_pb(KelGlobal *world, uint32_t *length, unsigned char **value,
                                uint32_t flags);
KEL_API void _kelSetOutMemQueue(KelGlobal *world, uint32_t *length, unsigned char **value,
                                uint32_t flags);
KEL_API void _kelFreeEncMemory(KelGlobal *world);

/* ------------------------------------------------------------------------ */
/* Temporary stack and the encoder's item stack                              */
/* ------------------------------------------------------------------------ */

KEL_API void *_kel_dec_gettempmem(KelGlobal *world, uint32_t size);
KEL_API void _kel_dec_freetempmem(KelGlobal *world, void *p);
KEL_API void *_kel_dec_realloctempmem(KelGlobal *world, void *p, uint32_t oldSize, uint32_t newSize);
KEL_API void _kel_freetempMem(KelGlobal *world);
KEL_API void *_kel_tstk_alloc(KelGlobal *world, uint32_t size);
KEL_API void _kel_tstk_free(KelGlobal *world, void *p);
KEL_API void _kel_tstk_add_block(KelGlobal *world, uint32_t size);
KEL_API void _kel_tstk_free_blocks(KelGlobal *world, void *p);
KEL_API void *_kel_tstk_consolidate(KelGlobal *world, uint32_t extra);
KEL_API void _kel_tstk_consolidate_outmem(KelGlobal *world, unsigned char *dest, void *base,
                                          uint32_t total);
KEL_API unsigned char *_kel_tstk_get_altdecmem(KelGlobal *world, uint32_t size);
KEL_API void _kel_tstk_consolidate_altdecmem(KelGlobal *world, unsigned char *dest, uint32_t total,
                                             uint32_t chunk);
KEL_API void _kel_tstk_free_altdecmem(KelGlobal *world, unsigned char *p);

KEL_API void _kel_enc_push(KelGlobal *world, void *item);
KEL_API void *_kel_enc_pop(KelGlobal *world);
KEL_API void **_kel_increment_enc_stack(KelGlobal *world);
KEL_API void **_kel_decrement_enc_stack(KelGlobal *world);
KEL_API void **_kel_load_enc_stack(KelGlobal *world, uint32_t *count);
KEL_API void _kel_save_enc_stack(KelGlobal *world, uint32_t count);

/* ------------------------------------------------------------------------ */
/* Text helpers shared by the families                                       */
/* ------------------------------------------------------------------------ */

KEL_API int32_t UTF8CharToInt(KelGlobal *world, void *target, const unsigned char *source,
                              int32_t available, int16_t width, uint16_t *consumed);
KEL_API unsigned char *_kel_itoUTF8Char(unsigned char *end, uint32_t value);
KEL_API int32_t _kel_countUTF8Char(int32_t value);

/* A decimal real taken apart: sign, significant digits, exponent. */
#define KEL_CREAL_PLAIN 0x2u        /* compose: plain decimal form */
#define KEL_CREAL_ZERO_NEGATIVE 0x4u
#define KEL_CREAL_ZERO 0x8u
#define KEL_CREAL_DIGITS_FIRST 0x80u /* compose: all digits before the point */
typedef struct KelCreal {
    uint8_t negative;
    const char *firstDigit; /* null for zero */
    const char *lastDigit;
    int32_t exponent;       /* of the value firstDigit.rest */
    uint32_t flags;
} KelCreal;

/* Splits `text`; the record points into it.  Answers 0, or 1 empty text, 2
 * exponent without mantissa digits, 3 exponent without digits, 4 characters
 * that don't belong, 5 exponent out of range. */
KEL_API int _kel_ex_parse_creal_X693(const char *text, KelCreal *record);
/* Writes the canonical text and its NUL into `out`, at most `size` octets;
 * returns the length without the NUL, or -1 (and an empty `out`) when the
 * text doesn't fit. */
KEL_API int _kel_ex_compose_creal_X693(const KelCreal *record, char *out, uint32_t size);
/* Special values of a float (size 4) or double (size 8).  Infinity has no
 * form of its own in memory: the largest finite value of the type stands
 * for it. */
#define KEL_FLOAT_ORDINARY (-1)
#define KEL_FLOAT_ZERO 0
#define KEL_FLOAT_PLUS_INFINITY 64
#define KEL_FLOAT_MINUS_INFINITY 65
#define KEL_FLOAT_NOT_A_NUMBER 66
#define KEL_FLOAT_MINUS_ZERO 67
/* The kind of the value at `value`, one of the KEL_FLOAT_ numbers. */
KEL_API int kel_get_float_special_value_kind(const void *value, int size);
/* Stores the value of a kind from 64 to 67 (or 0) at `dest`; answers 1, or
 * 0 when the kind or the size has no such value. */
KEL_API int kel_set_float_special_value(void *dest, int size, int kind);

/* Reads a signed decimal number; answers the index behind its digits, or -3
 * no digits before the end, -4 no digits, -5 beyond 32 bits. */
KEL_API int32_t _kel_atol(const unsigned char *text, uint32_t *value);

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_PRIM_H */
