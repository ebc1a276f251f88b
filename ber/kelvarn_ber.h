/*
 * kelvarn_ber.h - primitives of the BER family (BER, CER, DER).
 *
 * Writers store backward: `pos` points at the octet last written, `rem`
 * counts the octets free below it; each writer moves `pos` down and returns
 * the octets it added (in DETERMINE_ENC_LENGTH mode it only counts).
 * Readers move `pos` up over the input and lower `rem`.
 *
 * Tags come in three forms:
 *  - header form (writers' `tag`): identifier octets as one number, last
 *    octet in the low byte, constructed bit included;
 *  - match form (_kel_dec_tag_length's `tag`): first identifier octet in the
 *    low byte, 0 for "no tag expected";
 *  - class and number form (_kel_dec_tag, _kel_encd_tag): class in the two
 *    high bits of 16, number in the low 14.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KELVARN_BER_H
#define KELVARN_BER_H

#include "kelvarn_stream.h"

#ifdef __cplusplus
extern "C" {
#endif

#define KEL_CLASS_UNIVERSAL 0x0000u
#define KEL_CLASS_APPLICATION 0x4000u
#define KEL_CLASS_CONTEXT 0x8000u
#define KEL_CLASS_PRIVATE 0xC000u

/* Writers. */
KEL_API int _kel_encd_tag(KelGlobal *world, unsigned char **pos, int32_t *rem, uint16_t tag,
                          uint8_t constructed);
KEL_API int _kel_encd_length(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t length);
KEL_API int _kel_encd_tag_length(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 uint32_t length, uint32_t tag);
KEL_API int _kel_encd_tag_length2(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                  uint32_t length, uint32_t innerTag, uint32_t outerTag);
KEL_API int _kel_encd_bool(KelGlobal *world, unsigned char **pos, int32_t *rem, uint8_t value);
KEL_API int _kel_encd_bool_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t tag,
                              int8_t value);
KEL_API int _kel_encd_int(KelGlobal *world, unsigned char **pos, int32_t *rem, int64_t value);
KEL_API int _kel_encd_uint(KelGlobal *world, unsigned char **pos, int32_t *rem, uint64_t value);
KEL_API int _kel_encd_int_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t value,
                             uint32_t tag);
KEL_API int _kel_encd_uint_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t value,
                              uint32_t tag);
KEL_API int _kel_encd_llint_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, int64_t value,
                               uint32_t tag);
KEL_API int _kel_encd_ullint_tl(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                uint64_t value, uint32_t tag);

/* Readers. */
KEL_API uint16_t _kel_dec_tag(KelGlobal *world, unsigned char **pos, int32_t *rem);
KEL_API int32_t _kel_dec_length(KelGlobal *world, unsigned char **pos, int32_t *rem);
KEL_API int32_t _kel_dec_tag_length(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                    uint32_t tag);
KEL_API int _kel_dec_bool(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length);
KEL_API int16_t _kel_dec_sint(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length);
KEL_API int32_t _kel_dec_iint(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length);
KEL_API int32_t _kel_dec_lint(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length);
KEL_API int64_t _kel_dec_llint(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length);
KEL_API uint16_t _kel_dec_usint(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                int32_t length);
KEL_API uint32_t _kel_dec_uiint(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                int32_t length);
KEL_API uint32_t _kel_dec_ulint(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                int32_t length);
KEL_API uint64_t _kel_dec_ullint(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 int32_t length);

/* Raw octet readers. */
KEL_API uint8_t _kel_get_byte(KelGlobal *world, unsigned char **pos, int32_t *rem);
KEL_API void _kel_get_bytes(KelGlobal *world, unsigned char **pos, int32_t *rem, void *dest,
                            int32_t n);
KEL_API uint8_t _kel_preview_byte(KelGlobal *world, unsigned char **pos, int32_t *rem);

/* ------------------------------------------------------------------------ */
/* Strings: OCTET STRING, BIT STRING and the character strings               */
/* ------------------------------------------------------------------------ */
/* Encoders write the contents octets and return their count (a negative
 * count from the BIT STRING writers: segments, so the tag is constructed).
 * Decoders take `length` from the string's header (negative: indefinite)
 * and find a constructed tag in bitOffset.  A positive `limit` is a bound,
 * zero none, a negative one a cut or a hard bound as each form says. */
KEL_API int _kel_encd_uoct_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, void *value,
                              int32_t length, int32_t limit);
KEL_API int _kel_encd_ustr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, void *value,
                              int32_t length, int32_t limit);
KEL_API int _kel_encd_voct_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, void *value,
                              int32_t length, int32_t limit);
KEL_API int _kel_encd_vstr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, void *value,
                              int32_t length, int32_t limit);
KEL_API int _kel_encd_nstr(KelGlobal *world, unsigned char **pos, int32_t *rem, const char *value,
                           int32_t limit);
KEL_API int _kel_encd_pstr(KelGlobal *world, unsigned char **pos, int32_t *rem,
                           const unsigned char *value, int32_t size);
KEL_API int _kel_encd_bmpstr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                const uint16_t *value, int32_t count, int32_t limit);
KEL_API int _kel_encd_unistr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                const uint32_t *value, uint32_t count, int32_t limit);
KEL_API int _kel_encd_utf8unbound_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                     const unsigned char *value, uint32_t length, int32_t limit);
KEL_API int _kel_encd_utf8bmpstr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                    const uint16_t *value, uint32_t count, int32_t limit);
KEL_API int _kel_encd_utf8unistr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                    const uint32_t *value, uint32_t count, int32_t limit);
KEL_API int _kel_encd_ubit_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                              const unsigned char *bits, int32_t count, int32_t limit);
KEL_API int _kel_encd_vbit_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                              const unsigned char *bits, uint32_t count, uint32_t limit);
KEL_API int _kel_encd_dubit_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                               const unsigned char *bits, int32_t count, int32_t limit,
                               uint8_t named);
KEL_API int _kel_encd_dvbit_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                               const unsigned char *bits, uint32_t count, uint32_t limit,
                               uint8_t named);
/* Padded bit strings: `count` is the size of the field in bits; fields of
 * up to 32 bits are a u8, u16 or u32 whose high bit is the first bit. */
KEL_API int _kel_encd_pbit(KelGlobal *world, unsigned char **pos, int32_t *rem, const void *bits,
                           uint32_t count);
KEL_API int _kel_encd9_pbit(KelGlobal *world, unsigned char **pos, int32_t *rem, const void *bits,
                            int32_t count);
KEL_API int _kel_encb_pbit(KelGlobal *world, unsigned char **pos, int32_t *rem,
                           const uint16_t *bits, uint32_t count);
KEL_API int _kel_encd_pbit_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t bits,
                              uint32_t count, uint32_t tag);
KEL_API int _kel_encd9_pbit_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t bits,
                               uint32_t count, uint32_t tag);
KEL_API int _kel_encb_pbit_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t bits,
                              uint32_t count, uint32_t tag);

KEL_API int32_t _kel_dec_uoct_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 int32_t length, unsigned char **value, int32_t limit);
KEL_API int32_t _kel_dec_ustr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 int32_t length, unsigned char **value, int32_t limit);
KEL_API int32_t _kel_dec_voct_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 int32_t length, unsigned char *array, int32_t limit);
KEL_API int32_t _kel_dec_vstr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 int32_t length, unsigned char *array, int32_t limit);
KEL_API int32_t _kel_dec_voct_ptr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                     int32_t length, unsigned char **value, uint32_t header,
                                     int32_t limit);
KEL_API int32_t _kel_dec_vstr_ptr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                     int32_t length, unsigned char **value, uint32_t header,
                                     int32_t limit);
KEL_API int32_t _kel_dec_fixed_oct(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                   int32_t length, unsigned char *array, uint32_t size);
KEL_API int32_t _kel_dec_nstr(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                              unsigned char *array, int32_t limit);
KEL_API int32_t _kel_dec_nstr_ptr(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                  int32_t length, unsigned char **value, int32_t limit);
KEL_API int32_t _kel_dec_pstr(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                              unsigned char *array, int32_t size);
KEL_API int32_t _kel_dec_bmpstr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                   int32_t length, uint16_t **value, uint32_t limit);
KEL_API int32_t _kel_dec_unistr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                   int32_t length, uint32_t **value, uint32_t limit);
KEL_API int32_t _kel_dec_utf8unbound_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                        int32_t length, void **value, int32_t limit);
KEL_API int32_t _kel_dec_utf8bmpstr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                       int32_t length, void **value, int32_t limit);
KEL_API int32_t _kel_dec_utf8unistr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                       int32_t length, void **value, int32_t limit);
KEL_API int32_t _kel_dec_ubit_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 int32_t length, unsigned char **value, int32_t limit,
                                 int32_t flags);
KEL_API int32_t _kel_dec_vbit_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 int32_t length, void *array, int32_t limit);
KEL_API int32_t _kel_dec_vbit_ptr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                     int32_t length, unsigned char **value, uint32_t header,
                                     uint32_t limit);
KEL_API int32_t _kel_dec_vbit_nz(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 int32_t length, void *array, int32_t limit, uint32_t flags);
KEL_API int32_t _kel_dec_vbit_ptr_nz(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                     int32_t length, unsigned char **value, uint32_t header,
                                     uint32_t limit, uint32_t flags);
KEL_API void _kel_dec_pbit(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                           void *array, int32_t bits, int8_t named);

/* `flags` of the bit string decoders: the type has named bits. */
#define KEL_BITS_NAMED 0x80u

/* The walk over a constructed string's segments, from `*pos` on; `end` is
 * the end of the enclosing item, all ones for the indefinite form, and the
 * world's inLimit the end of the input.  Notes each primitive segment in
 * `list` and returns the contents octets (without BIT STRING unused-bits
 * octets, whose last count is in list->unusedBits). */
KEL_API uint32_t _kel_get_strlen(KelGlobal *world, KelFragmentList *list, unsigned char **pos,
                                 unsigned char *end);
KEL_API uint32_t _kel_get_bitlen(KelGlobal *world, KelFragmentList *list, unsigned char **pos,
                                 unsigned char *end);
KEL_API void _kel_reallocate_fragment_array(KelGlobal *world, KelFragmentList *list);

/* The length of a bit string with named bits before it is encoded, for the
 * rule families that trim trailing zero bits; flag bits: 1 the size has an
 * upper bound, 2 `low` counts one more, 4 `high` counts one less, 8 no
 * lower-bound step, 16 no trimming.  Answers 0 when the trimmed length lies
 * above `high` (and `*length` stays), else 1. */
KEL_API int _kel_lnchk(const unsigned char *bits, uint64_t *length, uint32_t flags, uint64_t low,
                       uint64_t high);

/* Object identifiers, REAL and times.
 * OID `limit`s bound the number of arcs (0 none); the array forms hold a u16
 * count followed by the arcs (u16 arcs directly behind it, 32-bit arcs at
 * the next 4-byte boundary).  Encoded OIDs hold the contents octets. */
KEL_API int _kel_encd_aiobjid(KelGlobal *world, unsigned char **pos, int32_t *rem,
                              const uint16_t *value, int16_t limit);
KEL_API int _kel_encd_alobjid(KelGlobal *world, unsigned char **pos, int32_t *rem,
                              const uint16_t *value, int16_t limit);
KEL_API int _kel_encd_asobjid(KelGlobal *world, unsigned char **pos, int32_t *rem,
                              const int16_t *value, int16_t limit);
KEL_API int _kel_encd_uiobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 const uint32_t *arcs, uint32_t count, int32_t limit);
KEL_API int _kel_encd_ulobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 const uint32_t *arcs, uint32_t count, int32_t limit);
KEL_API int _kel_encd_usobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 const uint16_t *arcs, uint32_t count, int32_t limit);
KEL_API int _kel_encd_liobjid(KelGlobal *world, unsigned char **pos, int32_t *rem, void *first,
                              int32_t limit);
KEL_API int _kel_encd_lsobjid(KelGlobal *world, unsigned char **pos, int32_t *rem, void *first,
                              int32_t limit);
KEL_API int _kel_encd_llobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, void *first,
                                 int32_t limit, int32_t valueOffset);
KEL_API int _kel_encd_eobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                const void *value, uint32_t length, int32_t limit);
KEL_API int _kel_encd_ereloid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 const void *value, uint32_t length, int32_t limit);

/* Array decoders fill `array` (the arcs) and return the count; the _ptr
 * forms allocate `header` octets followed by the array record and return
 * the allocation. */
KEL_API int32_t _kel_dec_aiobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                    int32_t length, void *array, int16_t limit);
KEL_API int32_t _kel_dec_alobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                    int32_t length, void *array, int16_t limit);
KEL_API int32_t _kel_dec_asobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                    int32_t length, void *array, int16_t limit);
KEL_API void *_kel_dec_aiobjid_ptr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                      int32_t length, int16_t limit, uint32_t header);
KEL_API void *_kel_dec_alobjid_ptr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                      int32_t length, int16_t limit, uint32_t header);
KEL_API void *_kel_dec_asobjid_ptr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                      int32_t length, int16_t limit, uint32_t header);
KEL_API int32_t _kel_dec_uiobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                    int32_t length, void **arcs, int16_t limit);
KEL_API int32_t _kel_dec_ulobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                    int32_t length, void **arcs, int16_t limit);
KEL_API int32_t _kel_dec_usobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                    int32_t length, void **arcs, int16_t limit);
KEL_API int32_t _kel_dec_liobjid(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 int32_t length, void **first, int32_t limit);
KEL_API int32_t _kel_dec_lsobjid(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 int32_t length, void **first, int32_t limit);
KEL_API void *_kel_dec_llobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                  int32_t length, int32_t nodeSize, uint32_t valueOffset);
KEL_API int32_t _kel_dec_eobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                   int32_t length, void *destination, int32_t limit);
KEL_API int32_t _kel_dec_ereloid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                    int32_t length, void *destination, int32_t limit);
KEL_API int32_t _kel_count_subid(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 int32_t length);
KEL_API uint32_t _kel_get_isubid(KelGlobal *world, unsigned char **pos, int32_t *rem);
KEL_API uint32_t _kel_get_lsubid(KelGlobal *world, unsigned char **pos, int32_t *rem);
KEL_API uint16_t _kel_get_ssubid(KelGlobal *world, unsigned char **pos, int32_t *rem);

/* REAL.  `_kel_encd_mreal_ia` takes the KelMixedReal's kind and a pointer to
 * its value slot; `_kel_dec_mreal_ia` fills a whole KelMixedReal. */
KEL_API int _kel_encd_real(KelGlobal *world, unsigned char **pos, int32_t *rem, double value);
KEL_API int _kel_encd_creal(KelGlobal *world, unsigned char **pos, int32_t *rem, char *text);
KEL_API int _kel_encd_mreal_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t kind,
                               void *value);
KEL_API void _kel_dec_real(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                           double *value);
KEL_API void _kel_dec_freal(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                            float *value);
KEL_API void _kel_dec_creal(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                            char **text);
KEL_API void _kel_dec_mreal_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                               int32_t length, void *value);
/* Splits a nonzero finite |value| into an odd mantissa of 1 to 8 octets,
 * big-endian in `mantissa`, and a base 2 exponent with the binary point
 * behind the mantissa; returns the octet count. */
KEL_API int _kel_get_mantissa(KelGlobal *world, double value, unsigned char mantissa[8],
                              int32_t *exponent);

/* UTCTime and GeneralizedTime; the TIME family held as text (`kind` 14
 * TIME, 31 DATE, 32 TIME-OF-DAY, 33 DATE-TIME, 34 DURATION). */
KEL_API int _kel_encd_gtime(KelGlobal *world, unsigned char **pos, int32_t *rem,
                            const KelTimeStruct *value);
KEL_API int _kel_encd_utime(KelGlobal *world, unsigned char **pos, int32_t *rem,
                            const KelTimeStruct *value);
KEL_API void _kel_dec_gtime(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                            KelTimeStruct *value);
KEL_API void _kel_dec_utime(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                            KelTimeStruct *value);
KEL_API int _kel_encd_untime(KelGlobal *world, unsigned char **pos, int32_t *rem, const char *text,
                             int32_t limit, int16_t kind);
KEL_API int32_t _kel_dec_untime(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                int32_t length, unsigned char **value, int32_t limit, int16_t kind);
KEL_API int _kel_encd_date_time(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                const char *text, int32_t kind);
KEL_API int32_t _kel_dec_date_time(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                   int32_t length, char **text, int32_t kind);

/* ------------------------------------------------------------------------ */
/* Blocks, items, open types and debug hooks                                 */
/* ------------------------------------------------------------------------ */
/* SET OF order under DER, CXER and COER.  Generated code opens a block for at
 * most `count` elements, calls _kel_nextItem ahead of each element and
 * _kel_endBlock after the last; the elements are then sorted by their
 * encodings (`padding` ORed into each first octet for the comparison) and
 * written out.  Under other rules and in DETERMINE_ENC_LENGTH mode these
 * calls do nothing.  Under CXER and COER `pos` and `rem` are the world's
 * outPos and outRemaining. */
KEL_API void _kel_beginBlock(KelGlobal *world, uint32_t count, unsigned char **pos, int32_t *rem);
KEL_API void _kel_nextItem(KelGlobal *world, int32_t *rem);
KEL_API void _kel_endBlock(KelGlobal *world, unsigned char **pos, int32_t *rem, uint8_t padding);
/* Decoding a SET OF under DER or CER with STRICT_ENCODING_DECODING_RULES:
 * fails with "0037E" when the element just read, `current`, sorts before the
 * one read ahead of it, `previous` (whole encodings, tag and length
 * included).  Equal neighbours pass.  Does nothing under other rules and
 * without the flag. */
KEL_API void _kel_check_setof_order(KelGlobal *world, const unsigned char *previous,
                                    uint32_t previousLength, const unsigned char *current,
                                    uint32_t currentLength);

/* Steps over `length` octets, or with a negative length up to and over the
 * matching end-of-contents. */
KEL_API void _kel_skip_past_item(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 int32_t length);
/* The number of elements in contents of `length` octets (negative: up to the
 * end-of-contents); the position doesn't move. */
KEL_API int32_t _kel_count_setof_items(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                       int32_t length);

/* ANY and open types hold a whole TLV.  `length` is that of the enclosing
 * contents: 0 when they are exhausted, negative when indefinite, where an
 * end-of-contents means the item is absent.  Results are the TLV's size. */
KEL_API int32_t _kel_dec_uany(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                              void **value);
KEL_API int32_t _kel_dec_opentype(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                  int32_t length, KelOpenType *value);
KEL_API int32_t _kel_dec_new_opentype(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                      int32_t length, KelBuf *value);
KEL_API int _kel_encd_uany(KelGlobal *world, unsigned char **pos, int32_t *rem, const void *value,
                           int32_t length);
KEL_API int _kel_encd_opentype(KelGlobal *world, unsigned char **pos, int32_t *rem,
                               const KelOpenType *value);

/* A deferred field kept as its encoding.  With `tag` nonzero the field's
 * header was read already (`length` from it) and is re-created in front of
 * the contents, followed by 00 00 when the length is indefinite; the input
 * keeps that end-of-contents.  With `tag` 0 the next whole TLV is taken.
 * The encoder writes the record without the trailing 00 00. */
KEL_API int32_t _kel_dec_defer(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                               KelDeferred *value, uint16_t tag, uint8_t constructed);
KEL_API int _kel_encd_defer(KelGlobal *world, unsigned char **pos, int32_t *rem,
                            const KelDeferred *value);

/* Unknown extension additions kept as ANY records in temporary memory.  The
 * caller supplies the first record; each call fills the record at `*cursor`
 * from *savedPos, *savedRem, links a fresh empty record behind it, makes that
 * `*cursor` and counts.  The new position goes to both position pairs.
 * _kel_free_rsf_ext gives back every record behind `first`. */
typedef struct KelRsfRecord {
    uint32_t length;
    unsigned char *value;
    struct KelRsfRecord *next;
    struct KelRsfRecord *previous;
} KelRsfRecord;
KEL_API void _kel_dec_rsf_ext(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                              void **cursor, unsigned char **savedPos, int32_t *savedRem,
                              uint32_t *count);
KEL_API void _kel_free_rsf_ext(KelGlobal *world, void *first);

/* The bits of an extension preamble past the `known` ones go to a zeroed
 * array at `*extra`, their number to the `fieldSize`-octet `countField`;
 * answers how many of them are set. */
KEL_API uint32_t _kel_copy_preamble(KelGlobal *world, const unsigned char *bits, uint32_t total,
                                    uint32_t known, void *countField, unsigned char **extra,
                                    uint32_t fieldSize);

/* Kinds of _kel_not_dflt_ia: how a value and the DEFAULT of its component
 * are compared, by the value's memory form. */
enum {
    KEL_DFLT_OCTETS = 0,         /* `size` octets; so are kinds 5, 6, 7, 29, 30, 55, 58 */
    KEL_DFLT_SIGNED = 1,         /* integers: the value of `size` octets, the default of `extra` */
    KEL_DFLT_UNSIGNED = 2,       /* the same, unsigned */
    KEL_DFLT_UNBOUNDED = 3,      /* {u32 count, pointer}: units of `extra` octets (0 counts as 1) */
    KEL_DFLT_BITS = 4,           /* {u32 bits, pointer}: bits behind the length don't count */
    KEL_DFLT_TEXT = 8,           /* char * to NUL-terminated text; null is "" */
    KEL_DFLT_VARYING = 9,        /* inline: length of `size` octets, octets at offset `extra2` */
    KEL_DFLT_OID_UNBOUNDED = 11  /* {u16 count, pointer}: arcs of `extra` octets */
};
/* Nonzero when `value` differs from `defaultValue`; always 1 under rules
 * that encode default values (all but PER, DER and COER). */
KEL_API int32_t _kel_not_dflt_ia(KelGlobal *world, const void *value, const void *defaultValue,
                                 uint32_t size, int32_t extra, int32_t extra2, int32_t kind);
/* `*p`; a null pointer is message 71. */
KEL_API void *_kel_check_ptr(KelGlobal *world, void **p);
/* Strict CER and DER decoding (STRICT_ENCODING_DECODING_RULES): a SET's
 * components come in the order of their tags (X.690 9.3, 10.3).  Called
 * with each component's tag in class and number form (under CER an untagged
 * CHOICE ranks by its smallest tag); `*next` starts at 0.  A tag below the
 * previous one or equal to it is message 106.  Otherwise, and under other
 * rules, nothing. */
KEL_API void _kel_dec_set_order(KelGlobal *world, uint32_t *next, uint16_t tag);
/* Strict CER and DER decoding: a component present with its DEFAULT value
 * (X.690 11.5) is message 106.  The value and the default are compared as
 * octets: the decoded value and the default in memory, or the encoding
 * found in the input and the encoding of the default. */
KEL_API void _kel_dec_dflt_present(KelGlobal *world, const void *value, uint32_t size,
                                   const void *defaultValue, uint32_t defaultSize);

/* Debug hooks around one encode or decode (debugFlags: 0x20 print the value
 * to encode, 0x10 the encoding, 0x8 the input of a decoder, 0x4 its output,
 * 0x40 the messages, 0x80 the offset columns of hexadecimal dumps).  The
 * post hooks also run on the failure path with a nonzero `code`. */
KEL_API void _kel_db_e_pre(KelGlobal *world, int pdu, void *value, void *unused,
                           unsigned char *buffer, uint32_t length);
KEL_API void _kel_db_e_post(KelGlobal *world, int code, unsigned char *position, uint32_t length);
KEL_API void _kel_db_d_pre(KelGlobal *world, const unsigned char *input, uint32_t length,
                           void *unused);
KEL_API void _kel_db_d_post(KelGlobal *world, int code, int pdu, void **value);

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_BER_H */
