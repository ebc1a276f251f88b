/*
 * kelvarn_stream.h - bit and octet stream primitives for generated code.
 *
 * The forward bit writer and reader serve the compact rules (PER, OER): they
 * append to and read from the world's outPos/inPos at bit position bitOffset.
 * The backward octet writer serves BER: it stores below a position that the
 * caller keeps (`pos` points at the octet last written, `rem` counts the
 * octets free below it) and returns the number of octets it added.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KELVARN_STREAM_H
#define KELVARN_STREAM_H

#include "kelvarn_prim.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Forward writer. */
KEL_API void _kel_append(KelGlobal *world, const unsigned char *bits, uint32_t count, int32_t align);
KEL_API void _kel_append_1bit_unaligned(KelGlobal *world, uint8_t value);
KEL_API void _kel_append_2bit_unaligned(KelGlobal *world, uint8_t value);
KEL_API void _kel_append_3bit_unaligned(KelGlobal *world, uint8_t value);
KEL_API void _kel_append_4bit_unaligned(KelGlobal *world, uint8_t value);
KEL_API void _kel_append_5bit_unaligned(KelGlobal *world, uint8_t value);
KEL_API void _kel_append_6bit_unaligned(KelGlobal *world, uint8_t value);
KEL_API void _kel_append_7bit_unaligned(KelGlobal *world, uint8_t value);
KEL_API void _kel_append_8bit_unaligned(KelGlobal *world, uint8_t value);
KEL_API void _kel_append_8bit_aligned(KelGlobal *world, uint8_t value);

/* Forward reader; every reader raises message 45 at the end of input. */
KEL_API void _kel_get_bits(KelGlobal *world, void *dest, uint32_t count, int32_t align);
KEL_API uint8_t _kel_get_bit(KelGlobal *world, int32_t align);
KEL_API uint8_t _kel_get_octet(KelGlobal *world, int32_t align);
KEL_API uint8_t _kel_get_1bit_unaligned(KelGlobal *world);
KEL_API uint8_t _kel_get_2bit_unaligned(KelGlobal *world);
KEL_API uint8_t _kel_get_3bit_unaligned(KelGlobal *world);
KEL_API uint8_t _kel_get_4bit_unaligned(KelGlobal *world);
KEL_API uint8_t _kel_get_5bit_unaligned(KelGlobal *world);
KEL_API uint8_t _kel_get_6bit_unaligned(KelGlobal *world);
KEL_API uint8_t _kel_get_7bit_unaligned(KelGlobal *world);
KEL_API uint8_t _kel_get_8bit_unaligned(KelGlobal *world);
KEL_API void _kel_skip_bits(KelGlobal *world, uint32_t count, int32_t align);
KEL_API void _kel_skip_bit(KelGlobal *world, int32_t align);
KEL_API void _kel_skip_octet(KelGlobal *world, int32_t align);
KEL_API void _kel_skip_octets(KelGlobal *world, uint32_t count, int32_t align);
KEL_API void _kel_skip_1bit_unaligned(KelGlobal *world);
KEL_API void _kel_skip_2bit_unaligned(KelGlobal *world);
KEL_API void _kel_skip_3bit_unaligned(KelGlobal *world);
KEL_API void _kel_skip_4bit_unaligned(KelGlobal *world);
KEL_API void _kel_skip_5bit_unaligned(KelGlobal *world);
KEL_API void _kel_skip_6bit_unaligned(KelGlobal *world);
KEL_API void _kel_skip_7bit_unaligned(KelGlobal *world);
KEL_API void _kel_skip_8bit_unaligned(KelGlobal *world);

/* Backward octet writer. */
KEL_API int _kel_write_byte_d(KelGlobal *world, unsigned char **pos, int32_t *rem, uint8_t value);
KEL_API int _kel_write_bytes_d(KelGlobal *world, unsigned char **pos, int32_t *rem, const void *src,
                               int32_t n);
KEL_API int _kel_write_int_d(KelGlobal *world, unsigned char **pos, int32_t *rem, uint8_t n,
                             int64_t value);
KEL_API int _kel_write_uint_d(KelGlobal *world, unsigned char **pos, int32_t *rem, uint8_t n,
                              uint64_t value);
KEL_API int _kel_write_subid_d(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t arc);
KEL_API int _kel_write_bit_d(KelGlobal *world, unsigned char **pos, int32_t *rem,
                             const unsigned char *bits, int32_t count);

/* Integer helpers. */
KEL_API int _kel_intbytes(int64_t value);
KEL_API int _kel_uintbytes(uint64_t value);
KEL_API int _kel_numbytes(int32_t value);
KEL_API int _kel_numbits(uint32_t value);
KEL_API uint64_t _kel_get_uint(const void *p, uint32_t size);
KEL_API void _kel_set_uint(void *p, uint32_t size, uint64_t value);
KEL_API void _kel_set_int(void *p, uint32_t size, int64_t value);
KEL_API int64_t twos_comp_int(const unsigned char *p, int32_t n);
KEL_API int64_t twos_comp_int_l(const unsigned char *p, int32_t n);
KEL_API void _kel_shtos(KelGlobal *world, unsigned char *dest, uint16_t value, int16_t digits);
KEL_API uint32_t _kel_strtos(KelGlobal *world, unsigned char **pos, int32_t *rem, uint8_t digits);

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_STREAM_H */
