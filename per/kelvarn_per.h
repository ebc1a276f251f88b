/*
 * kelvarn_per.h - primitives of the PER family (aligned and unaligned PER).
 *
 * Every primitive works on the forward bit stream of the world: writers
 * append at outPos (bitOffset bits of that octet used), readers take from
 * inPos (bitOffset bits of that octet consumed, inRemaining octets left,
 * the partly read one included).  One code path serves both variants: the
 * world's `aligned` byte, set by the driver from the rules, decides wherever
 * the two differ.  In DETERMINE_ENC_LENGTH mode writers only count.
 *
 * Widths: a plain name takes 64-bit values, lengths and bounds; `_l` the
 * 32-bit twin.  A size upper bound of 0 means no upper bound.  Bounds are
 * inclusive.  Decoders fail through _kel_enc_error and never return a
 * failure.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KELVARN_PER_H
#define KELVARN_PER_H

#include "kelvarn_services.h"
#include "kelvarn_stream.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------ */
/* Records that generated code emits                                         */
/* ------------------------------------------------------------------------ */

/* An enumeration: the values of the root (or of the additions) in declared
 * order. */
typedef struct KelPerEnumTable {
    uint32_t count;
    const int32_t *values;
} KelPerEnumTable;

/* Permitted alphabet of a known-multiplier string. */
typedef struct KelPerAlphabet {
    uint32_t count;
    const unsigned char *chars;   /* index -> character, `count` octets */
    const unsigned char *indexes; /* character (0..127) -> index; 255: not permitted */
} KelPerAlphabet;

/* Permitted alphabet of a BMP or universal string.  Without
 * KEL_PER_RANGE_LIST the tables cover the 256 codes from `base` on: a
 * character is its `chars` octet plus `base`.  With KEL_PER_RANGE_LIST,
 * `chars` is the range list (const uint32_t *) that kelCharIsPermitted,
 * kelIndexByChar and kelCharByIndex walk, and the other fields are unused. */
typedef struct KelPerWideAlphabet {
    uint32_t count;
    const void *chars;
    const unsigned char *indexes; /* code - base -> index; 255: not permitted */
    uint32_t base;
} KelPerWideAlphabet;

/* String descriptor of a constrained character string type.  `lb` above
 * `ub`, or `ub` 0, means no size constraint.  `capacity` is the room of a
 * NUL-terminated fixed buffer, the terminator not counted. */
typedef struct KelPerString {
    const void *alphabet; /* KelPerAlphabet, KelPerWideAlphabet, or null */
    uint32_t lb;
    uint32_t ub;
    uint32_t capacity;
    uint32_t flags; /* KEL_PER_* below */
} KelPerString;

#define KEL_PER_BITS_ALIGNED(flags) ((flags) & 0x7Fu)
#define KEL_PER_OWN_CODE_ALIGNED 0x80u
#define KEL_PER_BITS_UNALIGNED(flags) (((flags) >> 8) & 0x7Fu)
#define KEL_PER_OWN_CODE_UNALIGNED 0x8000u
#define KEL_PER_TIME_STRING 0x10000u    /* GeneralizedTime, UTCTime: never fragments */
#define KEL_PER_SIZE_EXTENSIBLE 0x20000u /* an extension bit precedes the string */
#define KEL_PER_RANGE_LIST 0x40000u     /* wide strings: the alphabet is a range list */

/* Descriptor flags from the bits a character in aligned and unaligned PER,
 * with the own-code flags. */
#define KEL_PER_STRING_FLAGS(alignedBits, alignedOwn, unalignedBits, unalignedOwn)       \
    ((uint32_t)(alignedBits) | ((alignedOwn) ? KEL_PER_OWN_CODE_ALIGNED : 0u) |            \
     (uint32_t)(unalignedBits) << 8 | ((unalignedOwn) ? KEL_PER_OWN_CODE_UNALIGNED : 0u))

/* The huge constraint word of _kel_penc_limited_huge and its kin. */
#define KEL_PER_HUGE_WIDTH(word) ((word) & 0xFFFFu) /* 256: a range of 256 values */
#define KEL_PER_HUGE_SIGNED 0x10000u
#define KEL_PER_HUGE_SEMI 0x20000u     /* lower bound without upper bound */
#define KEL_PER_HUGE_EXTENSIBLE 0x40000u
#define KEL_PER_HUGE_IN_ROOT 0x80000u  /* encoder: the value lies in the root */

/* Bit length of r - 1, for r from 0 to 256 (entries 0 and 1 are 0). */
extern KEL_API const uint8_t _kel_log2table[257];

/* ------------------------------------------------------------------------ */
/* Length determinants and fragmentation                                     */
/* ------------------------------------------------------------------------ */

/* Writers return how many items the determinant covers. */
KEL_API uint32_t _kel_penc_length(KelGlobal *world, uint64_t length, uint64_t lb, uint64_t ub,
                                  uint8_t extended);
KEL_API uint32_t _kel_penc_length_l(KelGlobal *world, uint32_t length, uint32_t lb, uint32_t ub,
                                    uint8_t extended);
KEL_API uint32_t _kel_penc_lfrag(KelGlobal *world, uint32_t length);
KEL_API uint64_t _kel_penc_lfrag_ll(KelGlobal *world, uint64_t length);
KEL_API void _kel_penc_lrang(KelGlobal *world, uint32_t length, uint32_t lb, uint32_t ub);
KEL_API uint64_t _kel_penc_small_len(KelGlobal *world, uint64_t n);
KEL_API uint32_t _kel_penc_small_len_l(KelGlobal *world, uint32_t n);

/* Readers; *last becomes 1 when no fragment follows, 0 when one does. */
KEL_API uint32_t _kel_pdec_length(KelGlobal *world, uint32_t lb, uint32_t ub, uint8_t *last);
KEL_API uint32_t _kel_pdec_small_len(KelGlobal *world);

/* SEQUENCE OF and SET OF in their three list forms: linked (the caller
 * links, the primitive counts), fixed array, unbounded array.  With
 * `extended` the unconstrained form is read (the caller read the bit). */
KEL_API uint32_t _kel_pdec_lsof(KelGlobal *world, uint32_t *counter, uint64_t lb, uint64_t ub,
                                uint8_t extended, uint8_t *last);
KEL_API uint32_t _kel_pdec_lsof_l(KelGlobal *world, uint32_t *counter, uint32_t lb, uint32_t ub,
                                  uint8_t extended, uint8_t *last);
KEL_API void _kel_pdec_asof(KelGlobal *world, void *countField, uint32_t countWidth,
                            uint32_t elementSize, uint64_t lb, uint64_t ub, uint8_t extended,
                            uint8_t *last);
KEL_API uint32_t _kel_pdec_asof_ptr_ia(KelGlobal *world, void **block, uint32_t countWidth,
                                       uint32_t elementSize, uint32_t headerBytes, uint8_t *last);
KEL_API void _kel_pdec_usof(KelGlobal *world, void *countField, void **elements,
                            uint32_t countWidth, uint32_t elementSize, uint64_t lb, uint64_t ub,
                            uint8_t extended, uint8_t *last);
KEL_API void _kel_pdec_array_frg(KelGlobal *world, void **elements, uint32_t newSize,
                                 uint32_t oldSize, uint32_t headerBytes, uint8_t last);
KEL_API void _kel_pdec_unbnd_frg(KelGlobal *world, void **elements, uint32_t newSize,
                                 uint32_t oldSize, uint8_t last);

/* Skips one length-prefixed item; narrows the input to the content of an
 * open type or extension addition, and restores it. */
KEL_API void _kel_pdec_sot(KelGlobal *world);
KEL_API void _kel_pdec_push(KelGlobal *world);
KEL_API void _kel_pdec_pop(KelGlobal *world);

/* ------------------------------------------------------------------------ */
/* Integers and enumerations                                                 */
/* ------------------------------------------------------------------------ */

KEL_API void _kel_penc_nonneg_int(KelGlobal *world, uint64_t value, int width);
KEL_API void _kel_penc_nonneg_int_l(KelGlobal *world, uint32_t value, uint32_t width);
KEL_API void _kel_penc_nonneg_1int(KelGlobal *world, uint32_t value);
KEL_API void _kel_penc_nonneg_2int(KelGlobal *world, uint32_t value);
KEL_API void _kel_penc_nonneg_3int(KelGlobal *world, uint32_t value);
KEL_API void _kel_penc_nonneg_4int(KelGlobal *world, uint32_t value);
KEL_API void _kel_penc_nonneg_5int(KelGlobal *world, uint32_t value);
KEL_API void _kel_penc_nonneg_6int(KelGlobal *world, uint32_t value);
KEL_API void _kel_penc_nonneg_7int(KelGlobal *world, uint32_t value);
KEL_API void _kel_penc_nonneg_8int(KelGlobal *world, uint32_t value);
KEL_API void _kel_penc_int16_aligned(KelGlobal *world, uint32_t value);
KEL_API void _kel_penc_semicon_int(KelGlobal *world, int64_t value, int64_t lb);
KEL_API void _kel_penc_semicon_int_l(KelGlobal *world, int32_t value, int32_t lb);
KEL_API void _kel_penc_semicon_uint(KelGlobal *world, uint64_t value, uint64_t lb);
KEL_API void _kel_penc_semicon_uint_l(KelGlobal *world, uint32_t value, uint32_t lb);
KEL_API void _kel_penc_unconstr_int(KelGlobal *world, int64_t value);
KEL_API void _kel_penc_unconstr_int_l(KelGlobal *world, int32_t value);
KEL_API void _kel_penc_indeflen_int(KelGlobal *world, uint64_t offset, uint64_t maxOctets);
KEL_API void _kel_penc_indeflen_int_l(KelGlobal *world, uint32_t offset, uint32_t maxOctets);
KEL_API void _kel_penc_small_int(KelGlobal *world, uint64_t value);
KEL_API void _kel_penc_small_int_l(KelGlobal *world, uint32_t value);
KEL_API void _kel_penc_enum(KelGlobal *world, int32_t value, const KelPerEnumTable *root,
                            const KelPerEnumTable *extension);
KEL_API void _kel_penc_uenum(KelGlobal *world, uint32_t value, const KelPerEnumTable *root,
                             const KelPerEnumTable *extension);
KEL_API void _kel_penc_semicon_huge_ia(KelGlobal *world, const unsigned char *bytes, uint32_t count);
KEL_API void _kel_penc_unconstr_huge_ia(KelGlobal *world, const unsigned char *bytes,
                                        uint32_t count);
KEL_API void _kel_penc_limited_huge(KelGlobal *world, const unsigned char *bytes, uint32_t count,
                                    const unsigned char *lower, uint32_t lowerCount,
                                    uint32_t constraint);

/* Decoders.  The limited forms also hold the value inside [low, high] and
 * reject non-minimal forms; low 0 compares unsigned against high alone. */
KEL_API uint64_t _kel_pdec_nonneg_int(KelGlobal *world, uint64_t width);
KEL_API uint32_t _kel_pdec_nonneg_int_l(KelGlobal *world, uint32_t width);
KEL_API uint64_t _kel_pdec_nonneg_limited_int(KelGlobal *world, uint64_t width, uint64_t low,
                                              uint64_t high);
KEL_API uint32_t _kel_pdec_nonneg_limited_int_l(KelGlobal *world, uint32_t width, uint32_t low,
                                                uint32_t high);
KEL_API uint32_t _kel_pdec_nonneg_1int(KelGlobal *world);
KEL_API uint32_t _kel_pdec_nonneg_2int(KelGlobal *world);
KEL_API uint32_t _kel_pdec_nonneg_3int(KelGlobal *world);
KEL_API uint32_t _kel_pdec_nonneg_4int(KelGlobal *world);
KEL_API uint32_t _kel_pdec_nonneg_5int(KelGlobal *world);
KEL_API uint32_t _kel_pdec_nonneg_6int(KelGlobal *world);
KEL_API uint32_t _kel_pdec_nonneg_7int(KelGlobal *world);
KEL_API uint32_t _kel_pdec_nonneg_8int(KelGlobal *world);
/* Mirror of _kel_penc_int16_aligned: 16 bits, aligned in aligned PER. */
KEL_API uint32_t _kel_pdec_int16_aligned(KelGlobal *world);
KEL_API int64_t _kel_pdec_semicon_int(KelGlobal *world, int64_t lb);
KEL_API int32_t _kel_pdec_semicon_int_l(KelGlobal *world, int32_t lb);
KEL_API uint64_t _kel_pdec_semicon_uint(KelGlobal *world, uint64_t lb);
KEL_API uint32_t _kel_pdec_semicon_uint_l(KelGlobal *world, uint32_t lb);
KEL_API int64_t _kel_pdec_semicon_limited_int(KelGlobal *world, int64_t lb, int64_t low,
                                              int64_t high);
KEL_API int32_t _kel_pdec_semicon_limited_int_l(KelGlobal *world, int32_t lb, int32_t low,
                                                int32_t high);
KEL_API int64_t _kel_pdec_unconstr_int(KelGlobal *world);
KEL_API int32_t _kel_pdec_unconstr_int_l(KelGlobal *world);
KEL_API int64_t _kel_pdec_unconstr_limited_int(KelGlobal *world, int64_t low, int64_t high);
KEL_API int32_t _kel_pdec_unconstr_limited_int_l(KelGlobal *world, int32_t low, int32_t high);
KEL_API uint64_t _kel_pdec_indeflen_int(KelGlobal *world, uint64_t maxOctets);
KEL_API uint32_t _kel_pdec_indeflen_int_l(KelGlobal *world, uint32_t maxOctets);
KEL_API int64_t _kel_pdec_indeflen_limited_int(KelGlobal *world, uint64_t maxOctets, int64_t lb,
                                               int64_t low, int64_t high);
KEL_API int32_t _kel_pdec_indeflen_limited_int_l(KelGlobal *world, uint32_t maxOctets, int32_t lb,
                                                 int32_t low, int32_t high);
KEL_API int64_t _kel_pdec_small_int(KelGlobal *world);
KEL_API uint32_t _kel_pdec_small_int_l(KelGlobal *world);
KEL_API int32_t _kel_pdec_enum(KelGlobal *world, const KelPerEnumTable *root,
                               const KelPerEnumTable *extension);
KEL_API uint32_t _kel_pdec_uenum(KelGlobal *world, const KelPerEnumTable *root,
                                 const KelPerEnumTable *extension);
KEL_API uint32_t _kel_pdec_semicon_huge_ia(KelGlobal *world, unsigned char **out);
KEL_API uint32_t _kel_pdec_unconstr_huge_ia(KelGlobal *world, unsigned char **out);
KEL_API int32_t _kel_pdec_limited_huge(KelGlobal *world, unsigned char **out,
                                       const unsigned char *lower, uint32_t lowerCount,
                                       uint32_t constraint);

/* ------------------------------------------------------------------------ */
/* Character strings                                                         */
/* ------------------------------------------------------------------------ */

/* Bit 0x80 of `extension`: the value lies outside the extensible size
 * constraint. */
KEL_API void _kel_penc_kmstr(KelGlobal *world, const unsigned char *chars, uint32_t length,
                             const KelPerString *desc, uint8_t extension);
KEL_API void _kel_penc_nkmstr(KelGlobal *world, const unsigned char *chars, uint64_t length);
KEL_API void _kel_penc_nkmstr_l(KelGlobal *world, const unsigned char *chars, uint32_t length);
KEL_API void _kel_penc_bmpstr(KelGlobal *world, const uint16_t *chars, uint32_t length,
                              const KelPerString *desc, uint8_t extension);
KEL_API void _kel_penc_unistr(KelGlobal *world, const uint32_t *chars, uint32_t length,
                              const KelPerString *desc, uint8_t extension);
KEL_API void _kel_penc_utf8bmpstr_l(KelGlobal *world, const uint16_t *chars, uint32_t length);
KEL_API void _kel_penc_utf8unistr_l(KelGlobal *world, const uint32_t *chars, uint32_t length);

/* Known-multiplier decoders, by memory form: padded fixed buffer, fixed
 * buffer with a count, allocated with a header in front, unbounded pointer
 * and count, NUL-terminated in a fixed buffer, NUL-terminated allocated. */
KEL_API void _kel_pdec_pad_kmstr(KelGlobal *world, unsigned char *out, const KelPerString *desc);
KEL_API uint32_t _kel_pdec_va_kmstr(KelGlobal *world, unsigned char *out, const KelPerString *desc);
KEL_API int32_t _kel_pdec_vap_kmstr(KelGlobal *world, void **field, uint32_t headerBytes,
                                    const KelPerString *desc);
KEL_API int32_t _kel_pdec_ub_kmstr(KelGlobal *world, unsigned char **field, const KelPerString *desc);
KEL_API void _kel_pdec_nt_kmstr(KelGlobal *world, unsigned char *out, const KelPerString *desc);
KEL_API void _kel_pdec_ntp_kmstr(KelGlobal *world, unsigned char **field, const KelPerString *desc);

/* Not-known-multiplier decoders, the same forms without a descriptor. */
KEL_API void _kel_pdec_pad_nkmstr(KelGlobal *world, unsigned char *out, uint32_t capacity);
KEL_API uint32_t _kel_pdec_va_nkmstr_ia(KelGlobal *world, unsigned char *out, uint32_t capacity);
KEL_API int32_t _kel_pdec_vap_nkmstr_ia(KelGlobal *world, void **field, uint32_t headerBytes);
KEL_API int32_t _kel_pdec_ub_nkmstr_ia(KelGlobal *world, unsigned char **field);
KEL_API void _kel_pdec_nt_nkmstr(KelGlobal *world, unsigned char *out, uint32_t capacity);
KEL_API void _kel_pdec_ntp_nkmstr(KelGlobal *world, unsigned char **field);

/* Inner unpackers: `count` characters of `bits` bits, as their own code or
 * as alphabet indexes. */
KEL_API void _kel_pdec_kmstr(KelGlobal *world, unsigned char *out, uint32_t count, uint32_t bits);
KEL_API void _kel_pdec_kmstr_pa(KelGlobal *world, unsigned char *out, uint32_t count, uint32_t bits,
                                const KelPerAlphabet *alphabet);

/* Wide strings. */
KEL_API int32_t _kel_pdec_bmpstr(KelGlobal *world, uint16_t **field, const KelPerString *desc);
KEL_API int32_t _kel_pdec_unistr(KelGlobal *world, uint32_t **field, const KelPerString *desc);
KEL_API void kel_pdec_bmpstr_pa(KelGlobal *world, uint16_t *out, uint32_t count, uint32_t bits,
                                const KelPerWideAlphabet *alphabet);
KEL_API void kel_pdec_unistr_pa(KelGlobal *world, uint32_t *out, uint32_t count, uint32_t bits,
                                const KelPerWideAlphabet *alphabet);
KEL_API int32_t _kel_pdec_utf8bmpstr_ia(KelGlobal *world, uint16_t **field);
KEL_API int32_t _kel_pdec_utf8unistr_ia(KelGlobal *world, uint32_t **field);

/* ------------------------------------------------------------------------ */
/* Bit strings and octet strings                                             */
/* ------------------------------------------------------------------------ */

/* Encoders; sizes in bits for bit strings, in octets for octet strings. */
KEL_API void _kel_penc_fix_bit(KelGlobal *world, const unsigned char *bytes, uint32_t n);
KEL_API void _kel_penc_constr_bit_l(KelGlobal *world, const unsigned char *bytes, uint32_t n,
                                    uint32_t lb, uint32_t ub, uint8_t fit, uint32_t target);
KEL_API void _kel_penc_constr_bpbit(KelGlobal *world, const unsigned char *bytes, uint64_t lb,
                                    uint64_t ub, uint8_t chop, uint8_t extensionBit);
KEL_API void _kel_penc_constr_bpbit_l(KelGlobal *world, const unsigned char *bytes, uint32_t lb,
                                      uint32_t ub, uint8_t chop, uint8_t extensionBit);
KEL_API void _kel_penc_constr_pbit(KelGlobal *world, uint32_t value, uint32_t byteCount,
                                   uint64_t lb, uint64_t ub, uint8_t chop, uint8_t extensionBit);
KEL_API void _kel_penc_constr_pbit_l(KelGlobal *world, uint32_t value, uint32_t byteCount,
                                     uint32_t lb, uint32_t ub, uint8_t chop, uint8_t extensionBit);
KEL_API void _kel_penc_constr_oct(KelGlobal *world, const unsigned char *bytes, uint64_t n,
                                  uint64_t lb, uint64_t ub);
KEL_API void _kel_penc_constr_oct_l(KelGlobal *world, const unsigned char *bytes, uint32_t n,
                                    uint32_t lb, uint32_t ub);
KEL_API void _kel_penc_unconstr_oct(KelGlobal *world, const unsigned char *bytes, uint64_t n);
KEL_API void _kel_penc_uncon_oct_ll(KelGlobal *world, const unsigned char *bytes, uint64_t n);
KEL_API void _kel_penc_unconstr_oct_l(KelGlobal *world, const unsigned char *bytes, uint32_t n);
KEL_API void _kel_penc_uncon_oct(KelGlobal *world, const unsigned char *bytes, uint32_t n);
KEL_API void _kel_penc_unconstr_bit(KelGlobal *world, const unsigned char *bytes, uint64_t n,
                                    uint8_t chop);
KEL_API void _kel_penc_unconstr_bit_l(KelGlobal *world, const unsigned char *bytes, uint32_t n,
                                      uint8_t chop);
KEL_API void _kel_penc_uncon_bit_ll(KelGlobal *world, const unsigned char *bytes, uint64_t n);
KEL_API void _kel_penc_uncon_bit(KelGlobal *world, const unsigned char *bytes, uint32_t n);
KEL_API void _kel_penc_unconstr_pbit_l(KelGlobal *world, uint32_t value, uint32_t byteCount,
                                       uint32_t n, uint8_t chop);

/* Named bits: the bit count without trailing zero bits, never below
 * `floor` (n must not be 0); whether a value can be trimmed into bounds. */
KEL_API uint32_t _kel_chop_zero_bits(const unsigned char *bytes, uint32_t n, uint32_t floor);
KEL_API uint64_t _kel_chop_zero_bits_ll(const unsigned char *bytes, uint64_t n, uint64_t floor);
KEL_API uint8_t _kel_nmbit_lfit(const unsigned char *bytes, uint32_t *n, uint32_t lb, uint32_t ub);
KEL_API uint8_t _kel_nmbit_lfit_ll(const unsigned char *bytes, uint64_t *n, uint64_t lb,
                                   uint64_t ub);

/* Decoders; they return the size (octets or bits) unless void. */
KEL_API void _kel_pdec_fixed_oct(KelGlobal *world, unsigned char *out, uint32_t n);
KEL_API uint32_t _kel_pdec_constr_voct_ia(KelGlobal *world, unsigned char *out, uint32_t lb,
                                          uint32_t ub);
KEL_API uint32_t _kel_pdec_constr_voct_ptr_ia(KelGlobal *world, void **field, uint32_t headerBytes,
                                              uint32_t lb, uint32_t ub);
KEL_API uint32_t _kel_pdec_constr_uoct_ia(KelGlobal *world, unsigned char **field, uint32_t lb,
                                          uint32_t ub);
KEL_API uint32_t _kel_pdec_unconstr_voct_ia(KelGlobal *world, unsigned char *out, uint32_t capacity);
KEL_API uint32_t _kel_pdec_unconstr_voct_ptr_ia(KelGlobal *world, void **field, uint32_t headerBytes);
KEL_API uint32_t _kel_pdec_unconstr_uoct_ia(KelGlobal *world, unsigned char **field);
KEL_API uint32_t _kel_pdec_constr_vbit_ia(KelGlobal *world, unsigned char *out, uint32_t lb,
                                          uint32_t ub);
KEL_API uint32_t _kel_pdec_constr_vbit_ptr_ia(KelGlobal *world, void **field, uint32_t headerBytes,
                                              uint32_t lb, uint32_t ub);
KEL_API uint32_t _kel_pdec_constr_ubit_ia(KelGlobal *world, unsigned char **field, uint32_t lb,
                                          uint32_t ub);
KEL_API uint64_t _kel_pdec_constr_bpbit(KelGlobal *world, unsigned char *out, uint32_t storageBytes,
                                        uint64_t lb, uint64_t ub);
KEL_API uint32_t _kel_pdec_constr_bpbit_l(KelGlobal *world, unsigned char *out,
                                          uint32_t storageBytes, uint32_t lb, uint32_t ub);
KEL_API uint32_t _kel_pdec_constr_pbit_l(KelGlobal *world, void *field, uint32_t fieldBytes,
                                         uint32_t lb, uint32_t ub);
KEL_API uint32_t _kel_pdec_unconstr_vbit_ia(KelGlobal *world, unsigned char *out,
                                            uint32_t capacityBytes);
KEL_API uint32_t _kel_pdec_unconstr_vbit_ptr_ia(KelGlobal *world, void **field, uint32_t headerBytes);
KEL_API uint32_t _kel_pdec_unconstr_ubit_ia(KelGlobal *world, unsigned char **field);
KEL_API uint32_t _kel_pdec_unconstr_bpbit(KelGlobal *world, unsigned char *out,
                                          uint32_t storageBytes);
KEL_API uint32_t _kel_pdec_unconstr_pbit(KelGlobal *world, void *field, uint32_t fieldBytes);

/* ------------------------------------------------------------------------ */
/* Extensions, open types and skipping                                       */
/* ------------------------------------------------------------------------ */

/* The presence bits of the extension additions, in temporary memory that
 * _kel_pdec_eas frees after skipping the additions from `first` on. */
KEL_API uint32_t _kel_pdec_eap(KelGlobal *world, unsigned char **bits);
KEL_API void _kel_pdec_eas(KelGlobal *world, unsigned char *bits, uint32_t count, uint32_t first);
KEL_API void _kel_pdec_opentype(KelGlobal *world, KelOpenType *value);
KEL_API void _kel_penc_opentype(KelGlobal *world, const KelOpenType *value);

KEL_API void _kel_pskip_int(KelGlobal *world);
KEL_API void _kel_pskip_enum(KelGlobal *world, const KelPerEnumTable *root,
                             const KelPerEnumTable *extension);
KEL_API void _kel_pskip_limited_huge(KelGlobal *world, const unsigned char *lower,
                                     uint32_t constraint);
KEL_API void _kel_pskip_ckmstr(KelGlobal *world, const KelPerString *desc);
KEL_API void _kel_pskip_unistr(KelGlobal *world, const KelPerString *desc);
KEL_API void _kel_pskip_fixed_oct(KelGlobal *world, uint32_t n);
KEL_API void _kel_pskip_constr_oct(KelGlobal *world, uint32_t lb, uint32_t ub);
KEL_API void _kel_pskip_constr_bit(KelGlobal *world, uint32_t lb, uint32_t ub);

/* ------------------------------------------------------------------------ */
/* Drivers                                                                   */
/* ------------------------------------------------------------------------ */

KEL_API int kelPerEncode(KelGlobal *world, int pdu, void *value, KelBuf *output, unsigned flags);
KEL_API int kelPerDecode(KelGlobal *world, int *pdu, KelBuf *input, void **output, unsigned flags);

/* ------------------------------------------------------------------------ */
/* TIME types: DATE, TIME-OF-DAY, DATE-TIME, DURATION, intervals             */
/* ------------------------------------------------------------------------ */

/* Each value is text.  An encoder takes the text at one piece (one field on
 * the wire) and returns the text behind it; a decoder appends the piece at
 * `out` and returns the position behind it, without a terminator.  A bad
 * piece is message 0012S.  `limit` bounds the digits that a decoder prints;
 * `digits` is the fixed digit count of a fraction. */
KEL_API const char *_kel_pe_t_century(KelGlobal *world, const char *text);
KEL_API const char *_kel_pe_t_any_century(KelGlobal *world, const char *text);
KEL_API const char *_kel_pe_t_year(KelGlobal *world, const char *text);
KEL_API const char *_kel_pe_t_any_year(KelGlobal *world, const char *text);
KEL_API const char *_kel_pe_t_month(KelGlobal *world, const char *text);
KEL_API const char *_kel_pe_t_day_of_month(KelGlobal *world, const char *text);
KEL_API const char *_kel_pe_t_day_of_year(KelGlobal *world, const char *text);
KEL_API const char *_kel_pe_t_week(KelGlobal *world, const char *text);
KEL_API const char *_kel_pe_t_day_of_week(KelGlobal *world, const char *text);
KEL_API const char *_kel_pe_t_hours(KelGlobal *world, const char *text);
KEL_API const char *_kel_pe_t_mins_or_secs(KelGlobal *world, const char *text, uint32_t maximum);
KEL_API const char *_kel_pe_t_time_fraction(KelGlobal *world, const char *text, uint32_t digits);
KEL_API const char *_kel_pe_t_time_diff(KelGlobal *world, const char *text);
KEL_API const char *_kel_pe_t_recurrence(KelGlobal *world, const char *text);
KEL_API const char *_kel_pe_t_duration_interval(KelGlobal *world, const char *text);
KEL_API const char *_kel_pe_t_mixed(KelGlobal *world, const char *text);

KEL_API char *_kel_pd_t_century(KelGlobal *world, char *out);
KEL_API char *_kel_pd_t_any_century(KelGlobal *world, char *out, uint32_t limit);
KEL_API char *_kel_pd_t_year(KelGlobal *world, char *out);
KEL_API char *_kel_pd_t_any_year(KelGlobal *world, char *out, uint32_t limit);
KEL_API char *_kel_pd_t_month(KelGlobal *world, char *out);
KEL_API char *_kel_pd_t_day_of_month(KelGlobal *world, char *out);
KEL_API char *_kel_pd_t_day_of_year(KelGlobal *world, char *out);
KEL_API char *_kel_pd_t_week(KelGlobal *world, char *out);
KEL_API char *_kel_pd_t_day_of_week(KelGlobal *world, char *out);
KEL_API char *_kel_pd_t_hours(KelGlobal *world, char *out);
KEL_API char *_kel_pd_t_mins_or_secs(KelGlobal *world, char *out);
KEL_API char *_kel_pd_t_time_fraction(KelGlobal *world, char *out, uint32_t digits);
KEL_API char *_kel_pd_t_time_diff(KelGlobal *world, char *out);
KEL_API char *_kel_pd_t_recurrence(KelGlobal *world, char *out, uint32_t limit);
KEL_API char *_kel_pd_t_duration_interval(KelGlobal *world, char *out);
KEL_API char *_kel_pd_t_mixed(KelGlobal *world, char *out);

/* Skips of the pieces that are more than a plain bit field. */
KEL_API void _kel_ps_t_year(KelGlobal *world);
KEL_API void _kel_ps_t_time_diff(KelGlobal *world);
KEL_API void _kel_ps_t_duration_interval(KelGlobal *world);
KEL_API void _kel_ps_t_mixed(KelGlobal *world);

/* ------------------------------------------------------------------------ */
/* REAL, object identifiers, GeneralizedTime and UTCTime                     */
/* ------------------------------------------------------------------------ */

/* REAL: the contents of BER behind an unconstrained length.  Text is
 * normalised to NR3 unless bit 0x400 of compatFlags keeps it as written;
 * a mixed real has kind 0 (double) or 1 (text), `value` its value slot. */
KEL_API void _kel_penc_real(KelGlobal *world, double value);
KEL_API void _kel_penc_creal(KelGlobal *world, const char *text);
KEL_API void _kel_penc_mreal_ia(KelGlobal *world, int32_t kind, const void *value);
KEL_API double _kel_pdec_real(KelGlobal *world);
KEL_API float _kel_pdec_freal(KelGlobal *world);
/* Text in decoder memory: "0", the special names, decimal text as it
 * stands, or the binary form printed with "%lg". */
KEL_API char *_kel_pdec_creal(KelGlobal *world);
/* Returns the kind stored in `value`: specials and decimal text as text. */
KEL_API uint32_t _kel_pdec_mreal_ia(KelGlobal *world, void *value);
/* Inner steps: the `left` octets behind a first octet already read. */
KEL_API double _kel_pdec_binreal(KelGlobal *world, uint8_t first, uint32_t left);
KEL_API void _kel_pdec_chrreal(KelGlobal *world, uint8_t first, uint32_t left, double *result,
                               char *copy);

/* OBJECT IDENTIFIER and RELATIVE-OID: the contents of BER behind an
 * unconstrained length.  Arcs of 32 bits (i, l) or 16 bits (s); linked
 * nodes are KelOidLink, a 16-bit arc in the low half of the value. */
KEL_API void _kel_penc_objidi(KelGlobal *world, const uint32_t *arcs, uint32_t count);
KEL_API void _kel_penc_objidl(KelGlobal *world, const uint32_t *arcs, uint32_t count);
KEL_API void _kel_penc_objids(KelGlobal *world, const uint16_t *arcs, uint32_t count);
KEL_API void _kel_penc_link_objidi(KelGlobal *world, const void *first);
KEL_API void _kel_penc_link_objidl_ia(KelGlobal *world, const void *first);
KEL_API void _kel_penc_link_objids(KelGlobal *world, const void *first);
/* Writes arc `position` behind a length the caller wrote; *firstArcs keeps
 * the first arc, then the subidentifier of the first two. */
KEL_API void _kel_penc_subid(KelGlobal *world, uint32_t position, uint32_t value, uint32_t *firstArcs);
/* Encoded contents as they stand; a capacity above 0 bounds the length. */
KEL_API void _kel_penc_eobjid_ia(KelGlobal *world, const unsigned char *contents, uint32_t length,
                                 uint32_t capacity);
KEL_API void _kel_penc_ereloid_ia(KelGlobal *world, const unsigned char *contents, uint32_t length,
                                  uint32_t capacity);

/* Fixed arrays of `capacity` arcs; empty contents leave the count alone. */
KEL_API void _kel_pdec_aobjidi(KelGlobal *world, uint32_t *arcs, uint16_t *count, uint32_t capacity);
KEL_API void _kel_pdec_aobjidl(KelGlobal *world, uint32_t *arcs, uint16_t *count, uint32_t capacity);
KEL_API void _kel_pdec_aobjids(KelGlobal *world, uint16_t *arcs, uint16_t *count, uint32_t capacity);
/* A block of `headerBytes`, a 16-bit count and up to 50 arcs (32-bit arcs
 * from the next 4-octet boundary). */
KEL_API void _kel_pdec_aobjidi_ptr_ia(KelGlobal *world, void **field, uint32_t headerBytes);
KEL_API void _kel_pdec_aobjidl_ptr_ia(KelGlobal *world, void **field, uint32_t headerBytes);
KEL_API void _kel_pdec_aobjids_ptr_ia(KelGlobal *world, void **field, uint32_t headerBytes);
KEL_API void _kel_pdec_uobjidi(KelGlobal *world, uint32_t **field, uint16_t *count);
KEL_API void _kel_pdec_uobjidl(KelGlobal *world, uint32_t **field, uint16_t *count);
KEL_API void _kel_pdec_uobjids(KelGlobal *world, uint16_t **field, uint16_t *count);
KEL_API void _kel_pdec_link_objidi(KelGlobal *world, void **head);
KEL_API void _kel_pdec_link_objidl_ia(KelGlobal *world, void **head);
KEL_API void _kel_pdec_link_objids(KelGlobal *world, void **head);
/* Encoded contents: into `target` of `capacity` octets, or with a negative
 * capacity into decoder memory whose pointer goes to *(void **)target. */
KEL_API uint32_t _kel_pdec_eobjid_ia(KelGlobal *world, void *target, int32_t capacity);
KEL_API uint32_t _kel_pdec_ereloid_ia(KelGlobal *world, void *target, int32_t capacity);
/* One step of reading arcs: position 0 reads the first subidentifier and
 * gives the first arc, keeping the second in *second; position 1 gives it
 * back without reading.  Returns the octets read, at most `left`. */
KEL_API int32_t _kel_pdec_subid(KelGlobal *world, uint32_t position, uint32_t left, uint32_t *value,
                                uint32_t *second);

/* GeneralizedTime and UTCTime from and to a KelTimeStruct. */
KEL_API void _kel_penc_gtime(KelGlobal *world, const KelTimeStruct *value);
KEL_API void _kel_penc_utime(KelGlobal *world, const KelTimeStruct *value);
KEL_API void _kel_pdec_gtime(KelGlobal *world, KelTimeStruct *value);
KEL_API void _kel_pdec_utime(KelGlobal *world, KelTimeStruct *value);

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_PER_H */
