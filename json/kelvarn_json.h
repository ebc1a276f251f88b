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

/* ------------------------------------------------------------------------ */
/* Encoders                                                                  */
/* ------------------------------------------------------------------------ */

/* JSON flags (kelSetJsonFlags).  The primitives read only the compact and
 * escape bits; the others steer the generated code. */
#define JSON_ENC_ABSENT_COMPONENTS 0x01u
#define JSON_ENC_DEFAULT_VALUES 0x02u
#define JSON_USE_UNICODE_ESCAPE_SEQUENCE 0x04u
#define JSON_COMPACT_ENCODING 0x08u
#define JSON_WRAPPED_ENCODING 0x10u

/* Prepares a pushed world for a nested encoding as the driver prepares a
 * call (indent 0; a negative indent step becomes compact output). */
KEL_API void _kel_jenc_init_env(KelGlobal *world);

/* Output: appends at the world's output; in DETERMINE_ENC_LENGTH mode only
 * counts.  append_2chars takes the first character in the low byte. */
KEL_API void _kel_jenc_append(KelGlobal *world, const void *bytes, uint32_t count);
KEL_API void _kel_jenc_append_char(KelGlobal *world, uint32_t character);
KEL_API void _kel_jenc_append_2chars(KelGlobal *world, uint32_t chars);
KEL_API void _kel_jenc_append_hexb(KelGlobal *world, uint32_t byte);
KEL_API void _kel_jenc_append_hexs(KelGlobal *world, const unsigned char *bytes, uint32_t count);

/* Layout: brackets move the indent by the step; element writes ',' when
 * `comma` is non-zero, a line break and "name": (no blank behind the colon).
 * indent writes a line feed and the current indent unless compact; in count
 * mode it always counts 1 + the indent, an upper bound. */
KEL_API void _kel_jenc_begin_object(KelGlobal *world);
KEL_API void _kel_jenc_begin_array(KelGlobal *world);
KEL_API void _kel_jenc_end_object(KelGlobal *world, int nonEmpty);
KEL_API void _kel_jenc_end_array(KelGlobal *world, int nonEmpty);
KEL_API void _kel_jenc_element(KelGlobal *world, const char *name, int comma);
KEL_API void _kel_jenc_indent(KelGlobal *world);

/* Integers.  The ltoa forms write the decimal text so that it ends before
 * *end, move *end to its first character and return its length. */
KEL_API uint32_t _kel_jenc_ltoa(uint32_t value, char **end, int isSigned);
KEL_API uint32_t _kel_jenc_lltoa(uint64_t value, char **end, int isSigned);
KEL_API void _kel_jenc_lint(KelGlobal *world, int32_t value);
KEL_API void _kel_jenc_ulint(KelGlobal *world, uint32_t value);
KEL_API void _kel_jenc_llint(KelGlobal *world, int64_t value);
KEL_API void _kel_jenc_ullint(KelGlobal *world, uint64_t value);
/* Big-endian two's complement; a negative length means unsigned octets. */
KEL_API void _kel_jenc_hint(KelGlobal *world, const unsigned char *bytes, int32_t length);

/* Enumerations: rows sorted by value; defaultName (or null) stands for a
 * value not among them. */
typedef struct KelJsonEnumRow {
    int32_t value;
    const char *name;
} KelJsonEnumRow;
typedef struct KelJsonEnumTable {
    uint32_t count;
    const char *defaultName;
    const KelJsonEnumRow *rows;
} KelJsonEnumTable;
KEL_API void _kel_jenc_enum(KelGlobal *world, const KelJsonEnumTable *table, int32_t value);

/* Character strings.  `utf8` non-zero: the octets are UTF-8 and are checked;
 * zero: each octet is one character (Latin-1). */
typedef struct KelJsonEscape {
    char text[7];
    uint8_t length;
} KelJsonEscape;
extern KEL_API const KelJsonEscape _jsonEscapeCodes[32];
/* Writes \uXXXX (upper-case digits) at `out`; returns the position behind. */
KEL_API unsigned char *_kel_itoUnicode(unsigned char *out, uint32_t value);
KEL_API void _kel_jenc_pad_char(KelGlobal *world, const unsigned char *text, uint32_t length, int utf8);
KEL_API void _kel_jenc_format_char(KelGlobal *world, const unsigned char *text, uint32_t length, int utf8);
KEL_API void _kel_jenc_2byte_char(KelGlobal *world, const uint16_t *chars, uint32_t count);
KEL_API void _kel_jenc_4byte_char(KelGlobal *world, const uint32_t *chars, uint32_t count);
KEL_API void _kel_jenc_wide_char_str(KelGlobal *world, const void *chars, uint32_t count, int width);

/* Bit strings; sizes in bits.  flags bit 0: the plain hexadecimal string,
 * else the object {"value":..,"length":..}.  pad_bit takes the bits
 * left-justified in a value of 8, 16 or 32 bits as `bits` needs. */
KEL_API void _kel_jenc_bit_padded(KelGlobal *world, const unsigned char *bytes, uint32_t bits, uint32_t flags);
KEL_API void _kel_jenc_pad_bit(KelGlobal *world, uint32_t value, uint32_t bits, uint32_t flags);
KEL_API void _kel_jenc_bit_unbounded(KelGlobal *world, const unsigned char *bytes, uint32_t bits);
KEL_API void _kel_jenc_bit_unbounded_fixed(KelGlobal *world, const unsigned char *bytes, uint32_t bits,
                                           uint32_t size);
KEL_API void _kel_jenc_nbit_constr(KelGlobal *world, const unsigned char *bytes, uint32_t bits, uint32_t size);

/* REAL.  Modes: 0 object with "base", 1 and 5 object without it, 2 and 6 a
 * plain number (2 refuses the special values, 6 writes them as objects).
 * format_creal writes the canonical text of `text` into `out` (`size`
 * octets) and returns its length, or -1 for a negative zero. */
KEL_API void _kel_jenc_real_double(KelGlobal *world, int mode, double value);
KEL_API void _kel_jenc_real_float(KelGlobal *world, int mode, float value);
KEL_API void _kel_jenc_real_decimal(KelGlobal *world, const char *text, int mode);
KEL_API int32_t _kel_jenc_format_creal(KelGlobal *world, const char *text, char *out, uint32_t size);
KEL_API void _kel_jenc_object_real(KelGlobal *world, const char *text, uint32_t length, int base);
/* kind 64 INF, 65 -INF, 66 NaN, 67 -0. */
KEL_API void _kel_jenc_spec_real(KelGlobal *world, int kind);

/* Object identifiers, as a dotted string.  limit 0: none.  The linked forms
 * walk the list when `count` is 0.  Arcs: i and l 32 bits, s 16 bits. */
KEL_API void _kel_jenc_oid_encoded(KelGlobal *world, const unsigned char *bytes, uint32_t length,
                                   uint32_t limit, int relative);
KEL_API void _kel_jenc_oid_linked_i(KelGlobal *world, const void *head, uint32_t count, uint32_t limit);
KEL_API void _kel_jenc_oid_linked_l(KelGlobal *world, const void *head, uint32_t count, uint32_t limit);
KEL_API void _kel_jenc_oid_linked_s(KelGlobal *world, const void *head, uint32_t count, uint32_t limit);
KEL_API void _kel_jenc_oid_unbounded_i(KelGlobal *world, const uint32_t *arcs, uint32_t count, uint32_t limit);
KEL_API void _kel_jenc_oid_unbounded_l(KelGlobal *world, const uint32_t *arcs, uint32_t count, uint32_t limit);
KEL_API void _kel_jenc_oid_unbounded_s(KelGlobal *world, const uint16_t *arcs, uint32_t count, uint32_t limit);

/* Times.  format_time writes the text (no quotes) into `out`, 32 octets,
 * and returns its length; `isUTC` selects UTCTime. */
KEL_API uint32_t _kel_jenc_format_time(KelGlobal *world, const KelTimeStruct *time, int isUTC, char *out);
KEL_API void _kel_jenc_gtime(KelGlobal *world, const KelTimeStruct *time);
KEL_API void _kel_jenc_utime(KelGlobal *world, const KelTimeStruct *time);
KEL_API void _kel_jenc_nlltrm_date_time(KelGlobal *world, const char *text);

/* ------------------------------------------------------------------------ */
/* Value decoders: strings, hexadecimal data, bit strings, REAL, object      */
/* identifiers and times                                                     */
/* ------------------------------------------------------------------------ */

/* The current token must be the value's first: '"' for strings, hex data,
 * object identifiers and times; '"' or '{' as the forms below say. */

/* First pass over a string, the input left where it was: the units the
 * value needs (Latin-1 octets, or UTF-8 octets for the `8` form); *plain is
 * 1 when the string holds no escape and no byte above 127. */
KEL_API uint32_t _kel_jdec_str_length(KelJsonCursor *cursor, uint32_t *plain);
KEL_API uint32_t _kel_jdec_str8_length(KelJsonCursor *cursor, uint32_t *plain);
/* Into an array: `capacity` positive demands exactly so many octets,
 * negative is a maximum.  `string` keeps one octet per character (Latin-1),
 * `string8` keeps UTF-8.  The result is the length. */
KEL_API uint32_t _kel_jdec_string(KelJsonCursor *cursor, unsigned char *out, int32_t capacity);
KEL_API uint32_t _kel_jdec_string8(KelJsonCursor *cursor, unsigned char *out, int32_t capacity);
KEL_API uint32_t _kel_jdec_string_nullterm(KelJsonCursor *cursor, char **field);
KEL_API uint32_t _kel_jdec_string8_nullterm(KelJsonCursor *cursor, char **field);
KEL_API uint32_t _kel_jdec_string_unbounded(KelJsonCursor *cursor, unsigned char **field);
KEL_API uint32_t _kel_jdec_string8_unbounded(KelJsonCursor *cursor, unsigned char **field);
/* A record of `displacement` octets and the data behind them; capacity
 * below 1: the length found. */
KEL_API uint32_t _kel_jdec_string_varying(KelJsonCursor *cursor, void **field, uint32_t displacement,
                                          int32_t capacity);
KEL_API uint32_t _kel_jdec_string8_varying(KelJsonCursor *cursor, void **field, uint32_t displacement,
                                           int32_t capacity);
/* Characters in u16 or u32 units; the result is their count. */
KEL_API uint32_t _kel_jdec_bmp_string(KelJsonCursor *cursor, uint16_t **field);
KEL_API uint32_t _kel_jdec_universal_string(KelJsonCursor *cursor, uint32_t **field);

/* Hexadecimal strings; capacities in octets as for strings. */
KEL_API uint32_t _kel_jdec_octets(KelJsonCursor *cursor, unsigned char *out, int32_t capacity);
KEL_API uint32_t _kel_jdec_bits(KelJsonCursor *cursor, unsigned char *out, int32_t capacity);
/* Octets of a hexadecimal string, the input left where it was. */
KEL_API uint32_t _kel_jdec_hstring_length(KelJsonCursor *cursor);
KEL_API uint32_t _kel_jdec_hstring_unbounded(KelJsonCursor *cursor, unsigned char **field);
KEL_API uint32_t _kel_jdec_hstring_varying(KelJsonCursor *cursor, void **field, uint32_t displacement,
                                           int32_t capacity);

/* BIT STRING.  `size` in bits: positive for a type of fixed size, whose
 * value is a bare hexadecimal string; negative for the object form
 * {"value": hex, "length": bits}.  Other forms take the object only, with
 * a capacity in bits (0: none).  Padded forms answer the bits in an
 * integer: up to 8 in the low octet, 16 in the low u16, else all 32, the
 * string's first bit the top bit of that width; the others answer the
 * count of bits.  Named-bit forms cut trailing zero bits beyond the
 * capacity and then answer the capacity. */
KEL_API uint32_t _kel_jdec_bit_padded(KelJsonCursor *cursor, int32_t size);
KEL_API uint32_t _kel_jdec_named_bit_padded(KelJsonCursor *cursor, int32_t size);
/* An octet array of |size| bits, cleared behind the value. */
KEL_API uint32_t _kel_jdec_bit_big_padded(KelJsonCursor *cursor, unsigned char *out, int32_t size);
KEL_API uint32_t _kel_jdec_named_bit_big_padded(KelJsonCursor *cursor, unsigned char *out, int32_t size);
KEL_API uint32_t _kel_jdec_bit_unbounded(KelJsonCursor *cursor, unsigned char **field);
KEL_API uint32_t _kel_jdec_named_bit_unbounded(KelJsonCursor *cursor, unsigned char **field,
                                               uint32_t capacity);
KEL_API uint32_t _kel_jdec_bit_varying(KelJsonCursor *cursor, unsigned char *out, uint32_t capacity);
KEL_API uint32_t _kel_jdec_named_bit_varying(KelJsonCursor *cursor, unsigned char *out, uint32_t capacity);
/* A zeroed block of headerBytes + the octets of `capacity` bits (or of the
 * value when capacity is 0), the bits behind the header. */
KEL_API uint32_t _kel_jdec_bit_varying_ptr(KelJsonCursor *cursor, void **field, uint32_t headerBytes,
                                           uint32_t capacity);
KEL_API uint32_t _kel_jdec_named_bit_varying_ptr(KelJsonCursor *cursor, void **field, uint32_t headerBytes,
                                                 uint32_t capacity);
/* Behind a member name's opening quote: the name and its colon; 1 "value",
 * 2 "length", searched from behind `previous` (0 none yet). */
KEL_API int _kel_jdec_bits_member(KelJsonCursor *cursor, int previous);
/* Octets of a hexadecimal string whose octets beyond `capacity` octets
 * must be zero, the input left where it was. */
KEL_API uint32_t _kel_jdec_named_bits_length(KelJsonCursor *cursor, uint32_t capacity);
/* The same, `capacity` octets kept in `out`, the rest consumed. */
KEL_API uint32_t _kel_jdec_named_bits(KelJsonCursor *cursor, unsigned char *out, uint32_t capacity);

/* REAL.  _kel_jget_real answers the form: 0 object with "base", 1 object
 * without, 2 plain number, 3 "specialValue"; *length is the text's length.
 * `flags` low two bits say the form the type allows (0 object with base, 1
 * object, other plain) and are checked under strict rules; bit 4 of the
 * mixed form asks for decimal text. */
KEL_API int _kel_jget_real(KelJsonCursor *cursor, uint32_t *length, uint32_t flags);
KEL_API double _kel_jdec_real_double(KelJsonCursor *cursor, uint32_t flags);
KEL_API float _kel_jdec_real_float(KelJsonCursor *cursor, uint32_t flags);
KEL_API char *_kel_jdec_real_decimal(KelJsonCursor *cursor, uint32_t flags);
/* Fills the value area of a KelMixedReal; answers 0 double, 1 text. */
KEL_API uint32_t _kel_jdec_real_mixed(KelJsonCursor *cursor, void *value, uint32_t flags);
/* The text _kel_jget_real read as a double (size 8) or float (size 4). */
KEL_API void _kel_jdec_binary(KelJsonCursor *cursor, void *dest, uint32_t size, uint32_t length, int form);
/* The text _kel_jget_real read as decimal text in decoder memory. */
KEL_API char *_kel_jdec_decimal(KelJsonCursor *cursor, uint32_t length, int form);
/* The largest finite value of the type, which stands for infinity. */
KEL_API void _kel_jdec_set_infinity_value(void *dest, uint32_t size, int negative);

/* Object identifiers: `_i` u32, `_l` unsigned long, `_s` u16 arcs. */
KEL_API uint32_t _kel_jdec_oid_array_i(KelJsonCursor *cursor, uint32_t *out, uint32_t capacity);
KEL_API uint32_t _kel_jdec_oid_array_l(KelJsonCursor *cursor, unsigned long *out, uint32_t capacity);
KEL_API uint32_t _kel_jdec_oid_array_s(KelJsonCursor *cursor, uint16_t *out, uint32_t capacity);
/* A block of header + arcs; its first two octets hold the count. */
KEL_API void *_kel_jdec_oid_array_i_ptr(KelJsonCursor *cursor, uint32_t headerBytes);
KEL_API void *_kel_jdec_oid_array_l_ptr(KelJsonCursor *cursor, uint32_t headerBytes);
KEL_API void *_kel_jdec_oid_array_s_ptr(KelJsonCursor *cursor, uint32_t headerBytes);
KEL_API uint32_t _kel_jdec_oid_unbounded_i(KelJsonCursor *cursor, uint32_t **field);
KEL_API uint32_t _kel_jdec_oid_unbounded_l(KelJsonCursor *cursor, unsigned long **field);
KEL_API uint32_t _kel_jdec_oid_unbounded_s(KelJsonCursor *cursor, uint16_t **field);
/* Nodes of a next pointer and the arc; maxArcs 0: no limit. */
KEL_API void _kel_jdec_oid_linked_i(KelJsonCursor *cursor, void **head, uint32_t maxArcs);
KEL_API void _kel_jdec_oid_linked_l(KelJsonCursor *cursor, void **head, uint32_t maxArcs);
KEL_API void _kel_jdec_oid_linked_s(KelJsonCursor *cursor, void **head, uint32_t maxArcs);
/* The contents octets: into `out` with a capacity, else a fresh block
 * whose pointer is stored through `out`.  A capacity with the top bit set
 * is the one's complement of the capacity of a RELATIVE-OID. */
KEL_API uint32_t _kel_jdec_oid_encoded(KelJsonCursor *cursor, void *out, uint32_t capacity);

KEL_API void _kel_jdec_gtime(KelJsonCursor *cursor, KelTimeStruct *value);
KEL_API void _kel_jdec_utime(KelJsonCursor *cursor, KelTimeStruct *value);

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_JSON_H */
