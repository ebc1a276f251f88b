/*
 * kelvarn_xer.h - primitives of the XML rules (XER, CXER): the writers of
 * the generated encoders, and the name tables, which the other text rules
 * share, through which a decoder turns a component identifier into a field
 * index, or an ENUMERATED identifier into its value.
 *
 * A table is generated per SEQUENCE, SET, CHOICE and ENUMERATED.  Small
 * tables hold their rows sorted by name and are searched by bisection; large
 * ones carry the CRC-24 hash of each name (computed at generation time with
 * _kel_make_crc24) in an ascending array beside the rows, in the rows' order.
 * Lookups work on a span of the input: the name needs no terminator.
 *
 * The writers (_kel_tex_*) append UTF-8 text at the world's output for the
 * generated encoder of XER and CXER, one call per tag and value; in
 * DETERMINE_ENC_LENGTH mode they only count.  They run inside kelXerEncode,
 * which hangs the layout state (indent, column, last tag) on the world, and
 * fail through _kel_enc_error.  Flat output (COMPACT_XER_ENCODING, or the
 * canonical bit KEL_MODE_CANONICAL of modeBits) has no line breaks and no
 * indentation; pretty output breaks lines after tags and folds values that
 * would cross the right margin.  Names that end in N take a name and its
 * length, the others a NUL-terminated name.
 *
 * The readers (_kel_tdx_*) take the generated decoder of XER and CXER
 * through the document inside kelXerDecode: a small scanner delivers tags
 * and single characters, and each value reader scans the raw octets behind
 * its tag.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KELVARN_XER_H
#define KELVARN_XER_H

#include "kelvarn_prim.h"

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

/* ------------------------------------------------------------------------ */
/* Output core and tags                                                      */
/* ------------------------------------------------------------------------ */

/* Appends `length` octets at the output; answers `length`.  The column is
 * the caller's to keep. */
KEL_API uint32_t _kel_tex_append(KelGlobal *world, const void *bytes, uint32_t length);
/* A position in the output whose differences measure what was written
 * between two calls (the running total in count mode). */
KEL_API uint32_t _kel_tex_curr_enclen(KelGlobal *world);
/* Pretty output only: moves the indent by `delta`, then a line break and the
 * indent's blanks. */
KEL_API void _kel_tex_indent(KelGlobal *world);
KEL_API void _kel_tex_indent_dlt(KelGlobal *world, int32_t delta);
/* The document head: XML declaration (unless _XML_DECLARATION), document
 * type declaration and stylesheet as kelSetXmlDTD and kelSetXmlStylesheet
 * set them. */
KEL_API void _kel_tex_prolog(KelGlobal *world);
/* <name>, </name>, <name/>; format_tag breaks the line first in pretty
 * output when <name/> would cross the margin. */
KEL_API void _kel_tex_open_tag(KelGlobal *world, const char *name);
KEL_API void _kel_tex_open_tagN(KelGlobal *world, const char *name, uint32_t length);
KEL_API void _kel_tex_close_tag(KelGlobal *world, const char *name);
KEL_API void _kel_tex_close_tagN(KelGlobal *world, const char *name, uint32_t length);
KEL_API void _kel_tex_empty_or_id_tag(KelGlobal *world, const char *name);
KEL_API void _kel_tex_empty_or_id_tagN(KelGlobal *world, const char *name, uint32_t length);
KEL_API void _kel_tex_format_tag(KelGlobal *world, const char *name);
KEL_API void _kel_tex_format_tagN(KelGlobal *world, const char *name, uint32_t length);

/* ------------------------------------------------------------------------ */
/* Values                                                                    */
/* ------------------------------------------------------------------------ */

/* Decimal text of `value` ending before *end: *end moves to its first
 * character, the result is its length. */
KEL_API uint32_t _kel_ltoa(uint32_t value, char **end, int isSigned);
KEL_API uint32_t _kel_lltoa(uint64_t value, char **end, int isSigned);
/* Digits, folded onto a line of their own when they would cross the margin. */
KEL_API void _kel_print_intstr(KelGlobal *world, const char *text, uint32_t length);
KEL_API void _kel_tex_lint(KelGlobal *world, int32_t value);
KEL_API void _kel_tex_ulint(KelGlobal *world, uint32_t value);
KEL_API void _kel_tex_llint(KelGlobal *world, int64_t value);
KEL_API void _kel_tex_ullint(KelGlobal *world, uint64_t value);
/* Big-endian two's complement; a negative length: an unsigned magnitude of
 * -length octets. */
KEL_API void _kel_tex_hint(KelGlobal *world, const unsigned char *bytes, int32_t length);

/* ENUMERATED: row 0 holds the count n of rows (value) and the name for a
 * value not among them (name, null for none); rows 1 to n are sorted by
 * value.  inLine 0: the name stands alone between a value's tags, and a fold
 * puts it on a line of its own. */
typedef struct KelXerEnumRow {
    int32_t value;
    const char *name;
} KelXerEnumRow;
KEL_API void _kel_tex_enum(KelGlobal *world, const KelXerEnumRow *table, int32_t value, int inLine);
KEL_API void _kel_tex_format_enum(KelGlobal *world, const char *name, int inLine);

/* BIT STRING as ones and zeros, groups of eight bits apart in pretty output.
 * pbit: the low 7 bits of `flags` are the bit count (up to 32), 0x80 marks a
 * named-bit list whose trailing zero bits are left out; up to 8 bits lie in
 * bits 7-0 of `word`, up to 16 in bits 15-0, up to 24 in bits 31-8, up to 32
 * in all, the first bit highest. */
KEL_API void _kel_tex_format_bit(KelGlobal *world, const unsigned char *bytes, uint32_t bits);
KEL_API void _kel_tex_format_pbit(KelGlobal *world, uint32_t word, uint32_t flags);
/* The bit count less trailing zero bits. */
KEL_API uint32_t _kel_tex_count_bits(const unsigned char *bytes, uint32_t bits);
/* OCTET STRING as upper-case hexadecimal, four octets a group in pretty
 * output. */
KEL_API void _kel_tex_format_octet(KelGlobal *world, const unsigned char *bytes, uint32_t length);

/* Character strings, escaped: & < > as entities, the control characters but
 * TAB, LF and CR as <name/>.  Length 0: NUL-terminated.  format_char reads
 * UTF-8; format_char_t one character an octet. */
KEL_API void _kel_tex_format_char(KelGlobal *world, const unsigned char *text, uint32_t length);
KEL_API void _kel_tex_format_char_t(KelGlobal *world, const unsigned char *text, uint32_t length);
/* BMPString and UniversalString: characters above 126 as &#x..; in pretty
 * output, as UTF-8 in flat output. */
KEL_API void _kel_tex_2byte_char(KelGlobal *world, const uint16_t *chars, uint32_t count);
KEL_API void _kel_tex_4byte_char(KelGlobal *world, const uint32_t *chars, uint32_t count);
/* The length less trailing NUL and blank octets. */
KEL_API uint32_t _kel_tex_count_chars(const unsigned char *bytes, uint32_t length);
/* The names of the control characters 0 to 31 (empty for 9, 10, 13). */
typedef struct KelXmlCtrlName {
    char name[4];
    uint32_t length;
} KelXmlCtrlName;
extern KEL_API const KelXmlCtrlName _kel_xmlcstr_ctrl[32];
extern KEL_API const KelXmlCtrlName *const kel_xml_cstr_ctrl;

/* OBJECT IDENTIFIER in dotted decimal.  `limit` is the most arcs allowed, 0
 * none.  Arrays of 32-bit (i, l) or 16-bit (s) arcs; linked lists of nodes
 * {next, arc}; the contents octets of an OBJECT IDENTIFIER or, `relative`
 * non-zero, of a RELATIVE-OID. */
KEL_API void _kel_tex_aobjidi(KelGlobal *world, const uint32_t *arcs, uint32_t count, uint32_t limit);
KEL_API void _kel_tex_aobjidl(KelGlobal *world, const uint32_t *arcs, uint32_t count, uint32_t limit);
KEL_API void _kel_tex_aobjids(KelGlobal *world, const uint16_t *arcs, uint32_t count, uint32_t limit);
KEL_API void _kel_tex_lobjidi(KelGlobal *world, const void *first, uint32_t limit);
KEL_API void _kel_tex_lobjidl(KelGlobal *world, const void *first, uint32_t limit);
KEL_API void _kel_tex_lobjids(KelGlobal *world, const void *first, uint32_t limit);
KEL_API void _kel_tex_eobjid(KelGlobal *world, const unsigned char *bytes, uint32_t length, uint32_t limit,
                             int relative);

/* REAL: decimal text (or "PLUS_INFINITY", "MINUS_INFINITY",
 * "NOT_A_NUMBER"), double, float.  format_creal writes the canonical form
 * of a decimal text. */
KEL_API void _kel_tex_creal(KelGlobal *world, const char *text);
KEL_API void _kel_tex_dreal(KelGlobal *world, double value);
KEL_API void _kel_tex_freal(KelGlobal *world, float value);
KEL_API void _kel_tex_format_creal(KelGlobal *world, const char *text);

/* GeneralizedTime (utcForm 0) or UTCTime.  format_time writes the text and
 * a NUL into `out` (32 octets) and answers the length; ntime takes the time
 * as text, `mustBeZero` must be 0.  date_time writes DATE, TIME-OF-DAY and
 * the other TIME types (kinds 14 and 31 to 34) held as text. */
KEL_API void _kel_tex_time(KelGlobal *world, const KelTimeStruct *time, int utcForm);
KEL_API void _kel_tex_ntime(KelGlobal *world, const char *text, uint32_t mustBeZero, int utcForm);
KEL_API uint32_t _kel_tex_format_time(KelGlobal *world, const KelTimeStruct *time, int utcForm, char *out);
KEL_API void _kel_tex_date_time(KelGlobal *world, const char *text, int kind);

/* Open types and ANY: the encoded octets are XML already. */
KEL_API void _kel_tex_opentype(KelGlobal *world, const KelOpenType *value);
KEL_API void _kel_tex_anyopentype(KelGlobal *world, const unsigned char *bytes, uint32_t length);

/* ------------------------------------------------------------------------ */
/* Input                                                                     */
/* ------------------------------------------------------------------------ */

/* The lexeme record of one decode, on the stack of kelXerDecode, which hangs
 * its address in the first words of the world's familyState for the span of
 * the call; the generated decoder hands it to every _kel_tdx_* primitive.
 * kind: 0 a character (in `character`), 1 open tag, 2 empty-element tag,
 * 4 close tag; 0x80 added: pushed back, the next _kel_get_lex delivers the
 * same lexeme.  `text` and `textLength` give a tag's name, or the span a raw
 * reader marked; both point into the input.  The scanners move only the
 * world's inPos and inRemaining; under KEL_MODE_CANONICAL they refuse what
 * CXER forbids with message 173 and a text of _cxer_diag_msgs. */
typedef struct XerInputState {
    KelGlobal *world;
    const unsigned char *inputStart;
    uint8_t character;
    uint8_t kind;
    const unsigned char *text;
    uint32_t textLength;
} XerInputState;

KEL_API int kelXerDecode(KelGlobal *world, int *pdu, KelBuf *input, void **output, unsigned flags);

/* Byte classes.  ChrFlags: 0x80 digit or UTF-8 lead, 0x40 hex digit or UTF-8
 * continuation, 0x20 name start, 0x10 name character, low nibble the digit's
 * value or the sequence length; exactly 2 white space, exactly 1 control.
 * CharKind inside strings: 'E' illegal, 'A' plain, '&', '<', 'U' non-ASCII.
 * AllwHexB: 1 hex digit, 255 white space; AllwHexC: 1 for 0-9 A-F only.
 * HexL, HexU: a digit's value, and that shifted left by 4.  AllwOidB: 241
 * digit, 242 letter, @ and `, 243 '-', the byte itself for . ( ); AllwOidC:
 * 1 for digits and '.'.  UTF8Header: payload mask of a lead byte by length. */
extern KEL_API const uint8_t _kelChrFlags[256];
extern KEL_API const char _kelCharKind[256];
extern KEL_API const uint8_t _kelAllwHexB[256];
extern KEL_API const uint8_t _kelAllwHexC[256];
extern KEL_API const uint8_t _kelHexL[256];
extern KEL_API const uint8_t _kelHexU[256];
extern KEL_API const uint8_t _kelAllwOidB[256];
extern KEL_API const uint8_t _kelAllwOidC[256];
extern KEL_API const uint8_t _kelUTF8Header[7];
/* The control characters by their empty-element names (<soh/> is 1). */
extern KEL_API const KelNameTable _essd;
/* The texts of message 173, by index. */
extern KEL_API const char *const _cxer_diag_msgs[25];

/* The next lexeme: white space before it skipped, text one character at a
 * time. */
KEL_API void _kel_get_lex(XerInputState *ctx);
/* What comes next, consuming only leading white space: 1 open tag, 4 close
 * tag, 16 a hex digit, 0 anything else. */
KEL_API int _kel_tdx_lexem_lookahead(XerInputState *ctx);
/* After an open tag: on to behind its close tag. */
KEL_API void _kel_tdx_skip_block(XerInputState *ctx);
/* Demand a tag of that kind and name; open_or_empty answers 1 for an open
 * tag. */
KEL_API void _kel_tdx_open_tag(XerInputState *ctx, const char *name);
KEL_API void _kel_tdx_empty_tag(XerInputState *ctx, const char *name);
KEL_API void _kel_tdx_close_tag(XerInputState *ctx, const char *name);
KEL_API int _kel_tdx_open_or_empty_tag(XerInputState *ctx, const char *name);
/* A component's tag looked up in `table`: 1 for an open tag, 0 for an empty
 * one; at the parent's close tag (pushed back) 0 with index 65535. */
KEL_API int _kel_tdx_open_field(XerInputState *ctx, const KelNameTable *table, uint16_t *index);
/* Passes over the XML declaration and document type declaration. */
KEL_API void _kel_tdx_prolog(XerInputState *ctx);
KEL_API void _kel_advance_input_buffer(XerInputState *ctx, uint32_t bytes);

/* Values behind the current open tag. */
KEL_API int _kel_tdx_bool(XerInputState *ctx);
KEL_API int32_t _kel_tdx_enum(XerInputState *ctx, const KelNameTable *table);
KEL_API int32_t _kel_tdx_lint(XerInputState *ctx, int32_t lower, int32_t upper);
KEL_API int64_t _kel_tdx_llint(XerInputState *ctx, int64_t lower, int64_t upper);
KEL_API uint32_t _kel_tdx_ulint(XerInputState *ctx, uint32_t upper);
KEL_API uint64_t _kel_tdx_ullint(XerInputState *ctx, uint64_t upper);
/* A huge INTEGER into decoder memory, big-endian two's complement (flags
 * bit 1: unsigned magnitude); answers its octets. */
KEL_API uint32_t _kel_tdx_hint(XerInputState *ctx, unsigned char **value, uint32_t flags);

/* Raw readers mark the value's span in `text`, `textLength` and leave the
 * cursor at its start.  Trimmed: white space before it passed over, the span
 * up to '<' or white space; answers its length. */
KEL_API uint32_t _kel_get_raw_trimmed_string(XerInputState *ctx);

/* Size-testing flags of the string readers: 1 a bound applies, 2 it is the
 * local representation's (message 98, not 27), 4 oversize values are cut to
 * it (and to 65535 behind a header), 8 bit strings with named bits.  After
 * an empty-element tag (kind 2) a value is empty and nothing is scanned. */

/* BIT STRING.  The raw scan answers the count of bits.  Readers: up to
 * `size` octets of bits in an integer, the first bit at its top; an inline
 * array (flags bit 16: cleared to the bound first); a block of `header`
 * octets and then the bits (as large as the bound when only flag 1 is set);
 * the bits alone, null when empty.  They answer the count of bits. */
KEL_API uint32_t _kel_get_raw_bit_string(XerInputState *ctx, uint32_t flags);
KEL_API uint32_t _kel_tdx_bits_padded(XerInputState *ctx, uint32_t size, uint32_t flags);
KEL_API uint32_t _kel_tdx_bits_varying(XerInputState *ctx, unsigned char *out, uint32_t bound, uint32_t flags);
KEL_API uint32_t _kel_tdx_bits_pvarying(XerInputState *ctx, void **out, uint32_t header, uint32_t bound,
                                        uint32_t flags);
KEL_API uint32_t _kel_tdx_bits_unbounded(XerInputState *ctx, unsigned char **out, uint32_t bound,
                                         uint32_t flags);

/* Character strings.  The raw scan (read kind 3 ASCII, 4 UTF-8, 5 wide)
 * answers the octets the 8-bit form needs, or the characters for kind 5;
 * *flags comes back 0 when the span may be copied as it stands, else 1;
 * *count gets the characters; *limit, when given, comes back as the offset
 * in the span at which its value in characters (in octets with flags 0x120)
 * was reached.  The copy routines convert a span and answer the octets or
 * units written.  Flags besides the size-testing ones: 32 the type admits
 * UTF-8, 64 one octet a character, 0x100 with 32 the bound counts octets.
 * Readers answer the octets or units stored; empty values are null. */
KEL_API uint32_t _kel_get_raw_text_string(XerInputState *ctx, int readKind, uint32_t *flags, uint32_t *count,
                                          uint32_t *limit);
KEL_API uint32_t _kel_copy_string1(XerInputState *ctx, unsigned char *out, const unsigned char *span,
                                   uint32_t length, int nulForbidden, int oneByte);
KEL_API uint32_t _kel_copy_string2(XerInputState *ctx, uint16_t *out, const unsigned char *span, uint32_t length);
KEL_API uint32_t _kel_copy_string4(XerInputState *ctx, uint32_t *out, const unsigned char *span, uint32_t length);
/* nullterm: into `size` octets, NUL-terminated, or with flags bit 16 padded
 * with blanks (a UTF-8 type counted in characters holds size / 6 of them);
 * flags bit 8: `out` is a pointer to set to a block allocated for it. */
KEL_API void _kel_tdx_char1_nullterm(XerInputState *ctx, void *out, uint32_t size, uint32_t flags);
KEL_API uint32_t _kel_tdx_char1_pvarying(XerInputState *ctx, void **out, uint32_t header, uint32_t bound,
                                         uint32_t flags);
KEL_API uint32_t _kel_tdx_char1_varying(XerInputState *ctx, unsigned char *out, uint32_t bound, uint32_t flags);
KEL_API uint32_t _kel_tdx_char1_unbounded(XerInputState *ctx, unsigned char **out, uint32_t bound,
                                          uint32_t flags);
KEL_API uint32_t _kel_tdx_char2(XerInputState *ctx, uint16_t **out, uint32_t bound, uint32_t flags);
KEL_API uint32_t _kel_tdx_char4(XerInputState *ctx, uint32_t **out, uint32_t bound, uint32_t flags);

/* OCTET STRING.  The raw scan answers the count of hex digits.  Readers:
 * exactly `size` octets; an inline array; a block of `header` octets and
 * then the octets (as large as the bound when only flag 1 is set), stored
 * through *out; the octets alone, null when empty.  They answer the count
 * of octets. */
KEL_API uint32_t _kel_get_raw_octet_string(XerInputState *ctx);
KEL_API void _kel_tdx_octets_fixed(XerInputState *ctx, unsigned char *out, uint32_t size);
KEL_API uint32_t _kel_tdx_octets_varying(XerInputState *ctx, unsigned char *out, uint32_t bound, uint32_t flags);
KEL_API uint32_t _kel_tdx_octets_pvarying(XerInputState *ctx, void **out, uint32_t header, uint32_t bound,
                                          uint32_t flags);
KEL_API uint32_t _kel_tdx_octets_unbounded(XerInputState *ctx, unsigned char **out, uint32_t bound,
                                           uint32_t flags);

/* The canonical form of GeneralizedTime and UTCTime text of `length`
 * octets: 0, or the index in _cxer_diag_msgs of what it breaks. */
KEL_API int _kel_cxerCheckGtime(const char *text, uint32_t length);
KEL_API int _kel_cxerCheckUtime(const char *text, uint32_t length);

#ifdef __cplusplus
}
#endif

#endif
