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
#include "kelvarn_xer.h" /* KelNameTable */

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

/* ------------------------------------------------------------------------ */
/* Tokeniser, structure and integer decoders                                 */
/* ------------------------------------------------------------------------ */

/* One unknown extension member kept as its raw text by _kel_jdec_rsf_ext. */
typedef struct KelJsonExtNode {
    uint32_t length;
    unsigned char *bytes;
    struct KelJsonExtNode *next;
} KelJsonExtNode;

/* Reads one token; its kind is stored whether or not `mask` accepts it. */
KEL_API void _kel_json_token(KelJsonCursor *cursor, uint32_t mask);
/* The next byte must be the closing quote of a string. */
KEL_API void _kel_json_chk_eos(KelJsonCursor *cursor);
/* Behind an opening quote: the string into the scratch, NUL-terminated.
 * 0, or the room needed when it does not fit. */
KEL_API uint32_t _kel_jget_string(KelJsonCursor *cursor);
/* Behind a backslash: the character it stands for. */
KEL_API uint32_t _kel_jhandle_escape(KelJsonCursor *cursor);
/* Validates a raw UTF-8 sequence that starts with `lead`; 0, or the room
 * needed. */
KEL_API uint32_t _kel_jread_utf8(KelJsonCursor *cursor, int lead);
/* Appends `code` as UTF-8 to the scratch; 0, or the room needed. */
KEL_API uint32_t _kel_jint2utf8(KelJsonCursor *cursor, uint32_t code);
/* 0 to 15, or -1 for a byte that is no hexadecimal digit. */
KEL_API int _kel_jhex_digit(int c);
/* Skips the value whose first token is the current one. */
KEL_API void _kel_jskip_encoding(KelJsonCursor *cursor);
/* One node of an object identifier string; `state` 0 first arc, 1 second
 * under 0, 2 second under 1, 3 third under 0.0, 4 any other.  The scratch's
 * first byte holds the terminator afterwards: '.' when more nodes follow. */
KEL_API uint64_t _kel_jget_subid(KelJsonCursor *cursor, int state);
/* Behind an opening quote: the nodes of an object identifier string, the
 * input left where it was. */
KEL_API uint32_t _kel_jdec_obj_length(KelJsonCursor *cursor);

KEL_API int32_t _kel_jdec_lint(KelJsonCursor *cursor, int32_t low, int32_t high);
KEL_API uint32_t _kel_jdec_ulint(KelJsonCursor *cursor, uint32_t high);
KEL_API int64_t _kel_jdec_llint(KelJsonCursor *cursor);
KEL_API uint64_t _kel_jdec_ullint(KelJsonCursor *cursor);
/* A huge integer as big-endian bytes in decoder memory; flags bit 0:
 * unsigned.  The result is the byte count. */
KEL_API uint32_t _kel_jdec_hint(KelJsonCursor *cursor, unsigned char **bytes, uint32_t flags);

/* The value beside an enumerator's name. */
KEL_API int32_t _kel_jdec_enum(KelJsonCursor *cursor, const KelNameTable *table);
/* The field index (low 16 bits of the row's value) of a member name. */
KEL_API int32_t _kel_jdec_fidx(KelJsonCursor *cursor, const KelNameTable *table);
/* The wrapper object {"Name": value}: 1 when one was read (the cursor then
 * stands on the value's first token), 0 with nothing consumed. */
KEL_API int _kel_jdec_wrapped(KelJsonCursor *cursor, const char *expected);
/* The same for the PDU names `names[0..count)`: the index plus one, 0
 * without a wrapper. */
KEL_API int _kel_jdec_get_pdunum(KelJsonCursor *cursor, const char *const *names, uint32_t count);
/* The raw JSON text of the current value in decoder memory; its length. */
KEL_API uint32_t _kel_jdec_opentype(KelJsonCursor *cursor, unsigned char **bytes);
/* Keeps an unknown extension member: its text from `start` (null: the
 * current value's start) to the end of the value goes to a node in
 * temporary memory, linked in at **tail; *tail then is the new node's link
 * slot and *count grows by one. */
KEL_API void _kel_jdec_rsf_ext(KelJsonCursor *cursor, const unsigned char *start, KelJsonExtNode ***tail,
                               uint32_t *count);

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_JSON_H */
