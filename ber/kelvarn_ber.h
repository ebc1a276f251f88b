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

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_BER_H */
