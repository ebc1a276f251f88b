/*
 * kelvarn_oer.h - primitives of the OER family (OER and its canonical form
 * COER).
 *
 * Everything is octet-aligned: writers append at outPos (outRemaining octets
 * of room in the current block, fresh 1024-octet blocks when it runs out),
 * readers take from inPos (inRemaining octets left).  The world's encRules
 * tells the two rules apart: 9 OER, 10 COER.  Writers never look at it, since
 * they always write the canonical form; decoders reject under COER what is
 * not canonical.  In DETERMINE_ENC_LENGTH mode writers only add to
 * encLength.  Decoders fail through _kel_enc_error and never return a
 * failure.
 *
 * Integer names tell memory and wire form: no suffix a 32-bit value behind a
 * count octet, `_ll` 64-bit, `_s` 16-bit (decoders); `_h` a huge integer
 * (octets and count) behind a length determinant or in a fixed number of
 * octets; `_Nbyte` N octets big-endian with no count.  The three-octet form
 * holds its value in bits 31 to 8 of a u32.
 *
 * Length determinants: up to 127 one octet, above it 0x80 | k and k octets.
 * A decoder's determinant promises that the content is present in the input;
 * the read pointer stands on the content and the caller consumes it.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KELVARN_OER_H
#define KELVARN_OER_H

#include "kelvarn_prim.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The generated decoder entry of the OER family: the decoded value is the
 * result.  It stands in KelXApiTable::oerDecode. */
typedef void *(*KelOerDecodeFn)(KelGlobal *world, int pdu);

/* ------------------------------------------------------------------------ */
/* Octet moves                                                               */
/* ------------------------------------------------------------------------ */

KEL_API void _kel_oenc_append_byte(KelGlobal *world, uint32_t value);
KEL_API void _kel_oenc_append_2bytes(KelGlobal *world, uint32_t first, uint32_t second);
KEL_API void _kel_oenc_append_3bytes(KelGlobal *world, uint32_t first, uint32_t second,
                                     uint32_t third);
KEL_API void _kel_oenc_append_bytes(KelGlobal *world, const unsigned char *bytes, uint32_t n);
KEL_API void _kel_odec_read_octets(KelGlobal *world, unsigned char *out, uint32_t n);

/* Called after an inner value of known length that did not consume it all:
 * the cursors jump to start + length.  Under STRICT_ENCODING_DECODING_RULES
 * the call always fails (0037E). */
KEL_API void _kel_odec_check_bytes(KelGlobal *world, const unsigned char *start, uint32_t length);

/* Measuring an item in the generated code: remember the position, then
 * count the octets written since.  With the frame's bitOffset word set
 * (content must not be empty), an empty item becomes the octet 0 and the
 * count 1. */
KEL_API void _kel_oenc_store_encpos(KelGlobal *world, KelPushFrame *frame);
KEL_API uint32_t _kel_oenc_calc_enclen(KelGlobal *world, KelPushFrame *frame);

/* ------------------------------------------------------------------------ */
/* Lengths and tags                                                          */
/* ------------------------------------------------------------------------ */

KEL_API void _kel_oenc_octet_length(KelGlobal *world, uint32_t n);
/* The long form of n into `out` (room for 5); returns its size.  n 0 gives
 * the single octet 0x80. */
KEL_API uint32_t _kel_oenc_enc_length(uint32_t n, unsigned char *out);
KEL_API int32_t _kel_odec_length(KelGlobal *world);
/* The tag octets as they stand, first octet highest, one to three octets. */
KEL_API uint32_t _kel_odec_tag(KelGlobal *world);

/* ------------------------------------------------------------------------ */
/* Integers, enumerations, BOOLEAN                                           */
/* ------------------------------------------------------------------------ */

KEL_API void _kel_oenc_int(KelGlobal *world, int32_t value);
KEL_API void _kel_oenc_int_ll(KelGlobal *world, int64_t value);
KEL_API void _kel_oenc_uint(KelGlobal *world, uint32_t value);
KEL_API void _kel_oenc_uint_ll(KelGlobal *world, uint64_t value);
KEL_API void _kel_oenc_int_h(KelGlobal *world, const unsigned char *bytes, uint32_t n);
KEL_API void _kel_oenc_uint_h(KelGlobal *world, const unsigned char *bytes, uint32_t n);
/* Fixed forms; the one and two octet forms test the range (0062S). */
KEL_API void _kel_oenc_int_1byte(KelGlobal *world, int32_t value);
KEL_API void _kel_oenc_int_2byte(KelGlobal *world, int32_t value);
KEL_API void _kel_oenc_int_4byte(KelGlobal *world, int32_t value);
KEL_API void _kel_oenc_int_8byte(KelGlobal *world, int64_t value);
KEL_API void _kel_oenc_uint_1byte(KelGlobal *world, uint32_t value);
KEL_API void _kel_oenc_uint_2byte(KelGlobal *world, uint32_t value);
KEL_API void _kel_oenc_uint_3byte(KelGlobal *world, uint32_t value); /* bits 31..8 */
KEL_API void _kel_oenc_uint_4byte(KelGlobal *world, uint32_t value);
KEL_API void _kel_oenc_uint_8byte(KelGlobal *world, uint64_t value);
KEL_API void _kel_oenc_enum(KelGlobal *world, int32_t value);
KEL_API void _kel_oenc_uenum(KelGlobal *world, uint32_t value);

KEL_API int32_t _kel_odec_int(KelGlobal *world);
KEL_API int32_t _kel_odec_int_s(KelGlobal *world);
KEL_API int64_t _kel_odec_int_ll(KelGlobal *world);
KEL_API uint32_t _kel_odec_uint(KelGlobal *world);
KEL_API uint32_t _kel_odec_uint_s(KelGlobal *world);
KEL_API uint64_t _kel_odec_uint_ll(KelGlobal *world);
/* Huge integers: `fixed` octets, or with 0 a length determinant.  The value
 * without redundant leading octets goes to final memory, its pointer to
 * *out; the result is its octet count. */
KEL_API int32_t _kel_odec_int_h(KelGlobal *world, unsigned char **out, uint32_t fixed);
KEL_API int32_t _kel_odec_uint_h(KelGlobal *world, unsigned char **out, uint32_t fixed);
KEL_API int32_t _kel_odec_int_1byte(KelGlobal *world);
KEL_API int32_t _kel_odec_int_2byte(KelGlobal *world);
KEL_API int32_t _kel_odec_int_4byte(KelGlobal *world);
KEL_API int64_t _kel_odec_int_8byte(KelGlobal *world);
KEL_API uint32_t _kel_odec_uint_1byte(KelGlobal *world);
KEL_API uint32_t _kel_odec_uint_2byte(KelGlobal *world);
KEL_API uint32_t _kel_odec_uint_3byte(KelGlobal *world); /* bits 31..8 */
KEL_API uint32_t _kel_odec_uint_4byte(KelGlobal *world);
KEL_API uint64_t _kel_odec_uint_8byte(KelGlobal *world);
KEL_API int32_t _kel_odec_enum(KelGlobal *world);
KEL_API uint32_t _kel_odec_uenum(KelGlobal *world);
KEL_API uint32_t _kel_odec_bool(KelGlobal *world);

/* ------------------------------------------------------------------------ */
/* Bit strings                                                               */
/* ------------------------------------------------------------------------ */

/* Sizes in bits.  The variable forms write a determinant of the content
 * octets + 1, the count of unused bits, and the content with the unused bits
 * cleared. */
KEL_API void _kel_oenc_bit_padded(KelGlobal *world, const unsigned char *bytes, uint32_t n);
KEL_API void _kel_oenc_bit_unbounded(KelGlobal *world, const unsigned char *bytes, uint32_t n);
/* Fixed size: the value's octets and zero octets up to `fixed` bits, no
 * length and no initial octet. */
KEL_API void _kel_oenc_bit_unbounded_fixed(KelGlobal *world, const unsigned char *bytes, uint32_t n,
                                           uint32_t fixed);
/* Named bits with a lower size bound: trailing zero bits dropped down to
 * `lb`, a shorter value zero-filled up to it. */
KEL_API void _kel_oenc_nbit_constr(KelGlobal *world, const unsigned char *bytes, uint32_t n,
                                   uint32_t lb);

/* `length` is the determinant the caller has read (initial octet included);
 * the content goes to `out`, the bits are the result. */
KEL_API uint32_t _kel_odec_bits_by_len(KelGlobal *world, unsigned char *out, uint32_t length);
/* Up to 32 bits left-justified in a value of 8, 16 or 32 bits by capacity. */
KEL_API uint32_t _kel_odec_bit_padded(KelGlobal *world, uint32_t capacity);
KEL_API uint32_t _kel_odec_named_bit_padded(KelGlobal *world, uint32_t capacity);
/* An octet array of capacity bits, cleared behind the value. */
KEL_API void _kel_odec_bit_big_padded(KelGlobal *world, unsigned char *out, uint32_t capacity);
KEL_API void _kel_odec_named_bit_big_padded(KelGlobal *world, unsigned char *out,
                                            uint32_t capacity);
KEL_API uint32_t _kel_odec_bit_unbounded(KelGlobal *world, unsigned char **field);
/* capacity 0: no limit; NOCONSTRAIN keeps the full value. */
KEL_API uint32_t _kel_odec_named_bit_unbounded(KelGlobal *world, unsigned char **field,
                                               uint32_t capacity);
KEL_API uint32_t _kel_odec_named_bit_varying(KelGlobal *world, unsigned char *out,
                                             uint32_t capacity);
KEL_API uint32_t _kel_odec_named_bit_varying_ptr(KelGlobal *world, void **field,
                                                 uint32_t headerBytes, uint32_t capacity);

/* ------------------------------------------------------------------------ */
/* Character strings                                                         */
/* ------------------------------------------------------------------------ */

/* The characters only, big-endian, 2 or 4 octets each. */
KEL_API void _kel_oenc_bmpstr(KelGlobal *world, const uint16_t *chars, uint32_t count);
KEL_API void _kel_oenc_unistr(KelGlobal *world, const uint32_t *chars, uint32_t count);
/* UTF-8 with its determinant. */
KEL_API void _kel_oenc_utf8_string_bmp(KelGlobal *world, const uint16_t *chars, uint32_t count);
KEL_API void _kel_oenc_utf8_string_universal(KelGlobal *world, const uint32_t *chars,
                                             uint32_t count);

/* A blank-padded buffer of `capacity` octets. */
KEL_API void _kel_odec_string_padded(KelGlobal *world, unsigned char *out, uint32_t capacity);
KEL_API uint32_t _kel_odec_string_unbounded(KelGlobal *world, unsigned char **field);
KEL_API uint32_t _kel_odec_bmp_string(KelGlobal *world, uint16_t **field);
KEL_API uint32_t _kel_odec_universal_string(KelGlobal *world, uint32_t **field);
/* `count` characters with no length; the caller has checked the input. */
KEL_API void _kel_odec_fixed_bmp_string(KelGlobal *world, uint16_t *out, uint32_t count);
KEL_API void _kel_odec_fixed_universal_string(KelGlobal *world, uint32_t *out, uint32_t count);
KEL_API int32_t _kel_odec_utf8_string_bmp(KelGlobal *world, uint16_t **field);
KEL_API int32_t _kel_odec_utf8_string_universal(KelGlobal *world, uint32_t **field);

/* ------------------------------------------------------------------------ */
/* Object identifiers                                                        */
/* ------------------------------------------------------------------------ */

/* Arcs in three widths: `_i` unsigned int, `_l` unsigned long, `_s` u16. */
KEL_API void _kel_oenc_oid_array_i(KelGlobal *world, const uint32_t *arcs, uint32_t count);
KEL_API void _kel_oenc_oid_array_l(KelGlobal *world, const unsigned long *arcs, uint32_t count);
KEL_API void _kel_oenc_oid_array_s(KelGlobal *world, const uint16_t *arcs, uint32_t count);
KEL_API void _kel_oenc_oid_unbounded_i(KelGlobal *world, const uint32_t *arcs, uint32_t count);
KEL_API void _kel_oenc_oid_unbounded_l(KelGlobal *world, const unsigned long *arcs,
                                       uint32_t count);
KEL_API void _kel_oenc_oid_unbounded_s(KelGlobal *world, const uint16_t *arcs, uint32_t count);
/* A list of nodes whose first word is the next pointer; the arc stands
 * `offset` octets into a node. */
KEL_API void _kel_oenc_oid_linked_i(KelGlobal *world, const void *first, uint32_t offset);
KEL_API void _kel_oenc_oid_linked_l(KelGlobal *world, const void *first, uint32_t offset);
KEL_API void _kel_oenc_oid_linked_s(KelGlobal *world, const void *first, uint32_t offset);
KEL_API void _kel_oenc_write_subid(KelGlobal *world, uint32_t value);
/* Octets of the arc at `position`; position 0 counts nothing and keeps the
 * arc in *first, position 1 counts the joined first subidentifier. */
KEL_API int32_t _kel_oenc_subid_size(int32_t position, uint32_t value, uint32_t *first);

KEL_API uint32_t _kel_odec_oid_array_i(KelGlobal *world, uint32_t *out, uint32_t capacity);
KEL_API uint32_t _kel_odec_oid_array_l(KelGlobal *world, unsigned long *out, uint32_t capacity);
KEL_API uint32_t _kel_odec_oid_array_s(KelGlobal *world, uint16_t *out, uint32_t capacity);
/* A block of header + arcs; its first two octets hold the count. */
KEL_API void *_kel_odec_oid_array_i_ptr(KelGlobal *world, uint32_t headerBytes);
KEL_API void *_kel_odec_oid_array_l_ptr(KelGlobal *world, uint32_t headerBytes);
KEL_API void *_kel_odec_oid_array_s_ptr(KelGlobal *world, uint32_t headerBytes);
KEL_API uint32_t _kel_odec_oid_unbounded_i(KelGlobal *world, uint32_t **field);
KEL_API uint32_t _kel_odec_oid_unbounded_l(KelGlobal *world, unsigned long **field);
KEL_API uint32_t _kel_odec_oid_unbounded_s(KelGlobal *world, uint16_t **field);
KEL_API void _kel_odec_oid_linked_i(KelGlobal *world, void **head, uint32_t maxArcs);
KEL_API void _kel_odec_oid_linked_l(KelGlobal *world, void **head, uint32_t maxArcs);
KEL_API void _kel_odec_oid_linked_s(KelGlobal *world, void **head, uint32_t maxArcs);
/* The contents octets: into `out` with a capacity, else a fresh block whose
 * pointer is stored through `out`. */
KEL_API uint32_t _kel_odec_oid_encoded(KelGlobal *world, void *out, uint32_t capacity);
KEL_API int32_t _kel_odec_count_subid(KelGlobal *world, uint32_t length);
KEL_API uint32_t _kel_odec_isubid(KelGlobal *world, int32_t *left);
KEL_API uint32_t _kel_odec_lsubid(KelGlobal *world, int32_t *left);
KEL_API uint32_t _kel_odec_ssubid(KelGlobal *world, int32_t *left);

/* ------------------------------------------------------------------------ */
/* REAL                                                                      */
/* ------------------------------------------------------------------------ */

KEL_API void _kel_oenc_real(KelGlobal *world, double value);
KEL_API void _kel_oenc_real_4byte(KelGlobal *world, float value);
KEL_API void _kel_oenc_real_8byte(KelGlobal *world, double value);
KEL_API void _kel_oenc_real_decimal(KelGlobal *world, const char *text);
KEL_API void _kel_oenc_real_4decimal(KelGlobal *world, const char *text);
KEL_API void _kel_oenc_real_8decimal(KelGlobal *world, const char *text);
KEL_API double _kel_odec_real_double(KelGlobal *world);
KEL_API float _kel_odec_real_float(KelGlobal *world);
KEL_API float _kel_odec_real_4byte(KelGlobal *world);
KEL_API double _kel_odec_real_8byte(KelGlobal *world);
KEL_API char *_kel_odec_real_decimal(KelGlobal *world);
KEL_API char *_kel_odec_real_4decimal(KelGlobal *world);
KEL_API char *_kel_odec_real_8decimal(KelGlobal *world);
/* Fills the value area of a KelMixedReal; answers 0 double, 1 text. */
KEL_API uint32_t _kel_odec_real_mixed(KelGlobal *world, void *value);

/* ------------------------------------------------------------------------ */
/* Extensions, open types and skipping                                       */
/* ------------------------------------------------------------------------ */

/* Frames an extension addition, an alternative beyond the root or an open
 * type: begin reserves one octet for the length, end writes the length
 * (moving the content up when the length needs more octets) and returns the
 * content's size.  After begin the generated code may set the frame's
 * bitOffset word (the content must not be empty: an empty one becomes the
 * octet 0) and its last word (copies of the repeat tag to write ahead of the
 * length). */
KEL_API void _kel_oenc_begin_ext(KelGlobal *world, KelPushFrame *frame);
KEL_API int32_t _kel_oenc_end_ext(KelGlobal *world, KelPushFrame *frame);
/* The tag that end_ext repeats: one to three octets, first octet highest. */
KEL_API void _kel_oenc_repeat_tag(KelGlobal *world, uint32_t tag);
/* A kept alternative or addition written back: its tag, its length and its
 * octets as they were decoded. */
KEL_API void _kel_oenc_rsf_ext(KelGlobal *world, uint32_t tag, uint32_t length, const unsigned char *bytes);
/* The extension additions presence bitmap: the known bits, then the bits of
 * kept unknown additions. */
KEL_API void _kel_oenc_rsf_ext_bitmask(KelGlobal *world, const unsigned char *known, uint32_t knownCount,
                                       const unsigned char *unknown, uint32_t unknownCount);
KEL_API KEL_NORETURN void _kel_oenc_not_supported(KelGlobal *world, uintptr_t unused, const char *typeName);
KEL_API KEL_NORETURN void _kel_odec_not_supported(KelGlobal *world, void *field, const char *typeName);
/* A decoded presence bitmap: not empty, padding clear, some bit set. */
KEL_API void _kel_odec_check_eapb(KelGlobal *world, const unsigned char *bits, uint32_t count);
/* Steps over the additions whose bits are set from `first` to end - 1;
 * answers 1 if it stepped over any. */
KEL_API uint32_t _kel_odec_skip_unknown(KelGlobal *world, const unsigned char *bits, uint32_t first,
                                        uint32_t end);

/* ------------------------------------------------------------------------ */
/* TIME types and the useful times                                           */
/* ------------------------------------------------------------------------ */

/* Encoders take the text of a time value and answer the pointer behind what
 * they consumed; decoders write text at `out` and answer the pointer behind
 * what they wrote; skips step over a value.  `any` years carry a sign and
 * may have more than four digits; their decoders take a digit limit. */
KEL_API const char *_kel_oenc_t_year(KelGlobal *world, const char *text);
KEL_API const char *_kel_oenc_t_any_year(KelGlobal *world, const char *text);
KEL_API const char *_kel_oenc_t_year_month(KelGlobal *world, const char *text);
KEL_API const char *_kel_oenc_t_any_year_month(KelGlobal *world, const char *text);
KEL_API const char *_kel_oenc_t_date(KelGlobal *world, const char *text);
KEL_API const char *_kel_oenc_t_any_date(KelGlobal *world, const char *text);
KEL_API const char *_kel_oenc_t_hours(KelGlobal *world, const char *text);
KEL_API const char *_kel_oenc_t_minutes(KelGlobal *world, const char *text);
KEL_API const char *_kel_oenc_t_daytime(KelGlobal *world, const char *text);
KEL_API const char *_kel_oenc_t_daytime_fraction(KelGlobal *world, const char *text, uint32_t digits);
KEL_API const char *_kel_oenc_t_hours_diff(KelGlobal *world, const char *text);
KEL_API const char *_kel_oenc_t_minutes_diff(KelGlobal *world, const char *text);
KEL_API const char *_kel_oenc_t_daytime_diff(KelGlobal *world, const char *text);
KEL_API const char *_kel_oenc_t_daytime_diff_fraction(KelGlobal *world, const char *text, uint32_t digits);
KEL_API const char *_kel_oenc_t_duration_interval(KelGlobal *world, const char *text);
/* Any date-time text in its canonical form behind a length. */
KEL_API void _kel_oenc_nlltrm_date_time(KelGlobal *world, const char *text);

KEL_API char *_kel_odec_t_year(KelGlobal *world, char *out);
KEL_API char *_kel_odec_t_any_year(KelGlobal *world, char *out, uint32_t digitLimit);
KEL_API char *_kel_odec_t_year_month(KelGlobal *world, char *out);
KEL_API char *_kel_odec_t_any_year_month(KelGlobal *world, char *out, uint32_t digitLimit);
KEL_API char *_kel_odec_t_date(KelGlobal *world, char *out);
KEL_API char *_kel_odec_t_any_date(KelGlobal *world, char *out, uint32_t digitLimit);
KEL_API char *_kel_odec_t_hours(KelGlobal *world, char *out);
KEL_API char *_kel_odec_t_minutes(KelGlobal *world, char *out);
KEL_API char *_kel_odec_t_daytime(KelGlobal *world, char *out);
KEL_API char *_kel_odec_t_daytime_fraction(KelGlobal *world, char *out, uint32_t digits);
KEL_API char *_kel_odec_t_hours_diff(KelGlobal *world, char *out);
KEL_API char *_kel_odec_t_minutes_diff(KelGlobal *world, char *out);
KEL_API char *_kel_odec_t_daytime_diff(KelGlobal *world, char *out);
KEL_API char *_kel_odec_t_daytime_diff_fraction(KelGlobal *world, char *out, uint32_t digits);
KEL_API char *_kel_odec_t_duration_interval(KelGlobal *world, char *out);

KEL_API void _kel_oskip_t_year(KelGlobal *world);
KEL_API void _kel_oskip_t_date(KelGlobal *world);
KEL_API void _kel_oskip_t_any_date(KelGlobal *world);
KEL_API void _kel_oskip_t_hours(KelGlobal *world);
KEL_API void _kel_oskip_t_minutes(KelGlobal *world);
KEL_API void _kel_oskip_t_daytime(KelGlobal *world);
KEL_API void _kel_oskip_t_daytime_fraction(KelGlobal *world);
KEL_API void _kel_oskip_t_minutes_diff(KelGlobal *world);
KEL_API void _kel_oskip_t_daytime_diff(KelGlobal *world);
KEL_API void _kel_oskip_t_daytime_diff_fraction(KelGlobal *world);
KEL_API void _kel_oskip_t_duration_interval(KelGlobal *world);

/* GeneralizedTime and UTCTime: the text behind a length. */
KEL_API void _kel_oenc_gtime(KelGlobal *world, const KelTimeStruct *value);
KEL_API void _kel_oenc_utime(KelGlobal *world, const KelTimeStruct *value);
KEL_API void _kel_odec_gtime(KelGlobal *world, KelTimeStruct *value);
KEL_API void _kel_odec_utime(KelGlobal *world, KelTimeStruct *value);

/* ------------------------------------------------------------------------ */
/* Drivers                                                                   */
/* ------------------------------------------------------------------------ */

KEL_API int kelOerEncode(KelGlobal *world, int pdu, void *value, KelBuf *output, unsigned flags);
KEL_API int kelOerDecode(KelGlobal *world, int *pdu, KelBuf *input, void **output, unsigned flags);

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_OER_H */
