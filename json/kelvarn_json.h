/*
 * kelvarn_json.h - primitives of the JSON family (JSON encoding rules).
 *
 * Decoders read through a cursor that the decode driver keeps on its stack
 * and hands to the generated decoder entry: the tokeniser reads one token at
 * a time on demand, the caller saying in a mask which kinds it accepts, and
 * fails at once on any other.  The input is the world's inPos and
 * inRemaining.  Encoders append text at the world's output (1024-octet
 * blocks in library memory, or the caller's buffer); in
 * DETERMINE_ENC_LENGTH mode they only count.  Every primitive fails through
 * _kel_enc_error and never returns a failure.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KELVARN_JSON_H
#define KELVARN_JSON_H

#include "kelvarn_prim.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The decoder's cursor. */
typedef struct KelJsonCursor {
    KelGlobal *world;
    unsigned char *start;  /* the input at entry */
    unsigned char *buffer; /* 256 octets of scratch: names, numbers, OID nodes */
    uint32_t length;       /* octets held in the scratch */
    uint32_t token;        /* kind of the token read last, one KEL_JTOK_ bit */
} KelJsonCursor;

/* Token kinds, one bit each so that a set of them is a mask. */
enum {
    KEL_JTOK_UNKNOWN = 1,
    KEL_JTOK_OPEN_OBJECT = 2,
    KEL_JTOK_CLOSE_OBJECT = 4,
    KEL_JTOK_OPEN_ARRAY = 8,
    KEL_JTOK_CLOSE_ARRAY = 16,
    KEL_JTOK_COMMA = 32,
    KEL_JTOK_COLON = 64,
    KEL_JTOK_STRING = 128, /* the reader stands behind the opening quote */
    KEL_JTOK_NUMBER = 256, /* the reader stands on the number's first character */
    KEL_JTOK_TRUE = 512,
    KEL_JTOK_FALSE = 1024,
    KEL_JTOK_NULL = 2048,
    KEL_JTOK_END = 4096,
    KEL_JTOK_ANY_VALUE = 3978 /* object, array, string, number, true, false, null */
};

/* The generated decoder entry: the value is the result.  It stands in
 * KelXApiTable::jsonDecode by a cast; the driver has read the value's first
 * token into the cursor. */
typedef void *(*KelJsonDecodeFn)(KelGlobal *world, KelJsonCursor *cursor, int pdu);

/* ------------------------------------------------------------------------ */
/* Drivers and conversions                                                   */
/* ------------------------------------------------------------------------ */

KEL_API int kelJsonEncode(KelGlobal *world, int pdu, void *value, KelBuf *output, unsigned flags);
KEL_API int kelJsonDecode(KelGlobal *world, int *pdu, KelBuf *input, void **output, unsigned flags);
KEL_API int kelBinary2JSON(KelGlobal *world, int pdu, int sourceRules, KelBuf *input, KelBuf *output);
KEL_API int kelJSON2Binary(KelGlobal *world, int pdu, int targetRules, KelBuf *input, KelBuf *output);

/* Sections of the tokeniser, the value decoders and the encoders follow. */

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_JSON_H */
