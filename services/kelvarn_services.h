/*
 * kelvarn_services.h - primitives of the value services (printing,
 * comparing, copying, constraint checking) that generated code and the rule
 * families call, and the kel__ family that builds values of basic types for
 * applications.  The public operations (kelPrintPDU, kelCmpValue,
 * kelCpyValue and kin) are declared in kelvarn.h.
 *
 * A range-list alphabet is a binary search tree by character code laid out
 * in one array of 32-bit words.  An entry is an index word (the index of its
 * first character in the sorted alphabet), a control word and its codes:
 *
 *   control bits 31-30  kind: 0 one character, 1 a range, 2 a short list
 *   control bits 28-26  list entries: S, the entry holds S - 1 codes
 *   control bit  25     the left branch (smaller codes) follows the entry
 *   control bits 15-0   words from this entry to its right branch, 0: none
 *
 * Kind 0 has one code, kind 1 the first and last code of the range, kind 2
 * its codes in ascending order.  A first word of all ones marks a list
 * without index words: the root's control word still stands at word 1, and
 * every entry is one word shorter.  Only kelCharIsPermitted serves such a
 * list; the index walkers report it as holding nothing.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KELVARN_SERVICES_H
#define KELVARN_SERVICES_H

#include "kelvarn.h"
#include "kelvarn_prim.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------ */
/* Printing: one value of one kind through kelPrint                          */
/* ------------------------------------------------------------------------ */

/* A new line indented to the level after adding `delta`: a negative delta
 * is added before the line, a positive one after it. */
KEL_API void _kel_indent(KelGlobal *world, int delta);
/* `bits` bits as 0 and 1, a blank after every eight. */
KEL_API void _kel_prt_bin(KelGlobal *world, const char *prefix, const unsigned char *bytes, uint32_t bits,
                          const char *suffix);
/* '0101 1100'B from bytes, or from a padded field (a u8, u16 or u32 of
 * `size` octets whose high bit is the first bit). */
KEL_API void _kel_prt_bit(KelGlobal *world, const unsigned char *bytes, uint32_t bits);
KEL_API void _kel_prt_pbit(KelGlobal *world, const void *field, int size, uint32_t bits);
/* Octets as upper-case hexadecimal between `prefix` and `suffix`. */
KEL_API void _kel_prt_hex(KelGlobal *world, const char *prefix, const unsigned char *bytes, uint32_t length,
                          const char *suffix);
/* '0AFF'H */
KEL_API void _kel_prt_oct(KelGlobal *world, const unsigned char *bytes, uint32_t length);
/* Character strings: quoted runs, {column, row} pairs for other octets;
 * _kel_prt_nchar takes NUL-terminated text.  _kel_prt_mbchar reads
 * characters of `width` octets (1 means UTF-8; 2 and 4 big-endian units as
 * the memory forms hold them, in the host's order). */
KEL_API void _kel_prt_char(KelGlobal *world, const char *text, uint32_t length);
KEL_API void _kel_prt_nchar(KelGlobal *world, const char *text);
KEL_API void _kel_prt_mbchar(KelGlobal *world, const void *text, uint32_t length, int width);
/* REAL held as float (limit of float) or double, and as decimal text. */
KEL_API void _kel_prt_real(KelGlobal *world, double value);
KEL_API void _kel_prt_dreal(KelGlobal *world, double value);
KEL_API void _kel_prt_creal(KelGlobal *world, const char *text);
/* The output of _kel_prt_creal's decimal form: `text` of `length` in NR3
 * through kelPrint; `mode` 1 writes *10^ for E. */
KEL_API void kel_print_NR3(KelGlobal *world, const char *text, uint32_t length, int mode);
typedef struct KelEnumName {
    uint64_t value;
    const char *name;
} KelEnumName;
KEL_API void _kel_prt_enum(KelGlobal *world, uint64_t value, const KelEnumName *names, uint32_t count);
KEL_API void _kel_prt_gentime(KelGlobal *world, const KelTimeStruct *time);
KEL_API void _kel_prt_utctime(KelGlobal *world, const KelTimeStruct *time);
KEL_API void _kel_prt_opentype(KelGlobal *world, const KelOpenType *value);
KEL_API void _kel_prt_new_opentype(KelGlobal *world, int pdu, const void *decoded, const KelBuf *encoded);

/* The same texts as strings in temporary memory, never chopped, for the
 * messages of the constraint checker.  Released by _kel_free_disp. */
KEL_API char *_kel_getdisp_int(KelGlobal *world, int64_t value);
KEL_API char *_kel_getdisp_uint(KelGlobal *world, uint64_t value);
KEL_API char *_kel_getdisp_real(KelGlobal *world, double value);
KEL_API char *_kel_getdisp_dreal(KelGlobal *world, double value);
KEL_API char *_kel_getdisp_creal(KelGlobal *world, const char *text);
KEL_API char *_kel_getdisp_char(KelGlobal *world, const char *text, uint32_t length);
KEL_API char *_kel_getdisp_nchar(KelGlobal *world, const char *text);
KEL_API char *_kel_getdisp_mbchar(KelGlobal *world, const void *text, uint32_t length, int width);
KEL_API char *_kel_getdisp_bit(KelGlobal *world, const unsigned char *bytes, uint32_t bits);
KEL_API char *_kel_getdisp_oct(KelGlobal *world, const unsigned char *bytes, uint32_t length);
KEL_API char *_kel_getdisp_gentime(KelGlobal *world, const KelTimeStruct *time);
KEL_API char *_kel_getdisp_utctime(KelGlobal *world, const KelTimeStruct *time);
KEL_API void _kel_free_disp(KelGlobal *world, char *text);
/* Disposable blocks for worlds without a temporary block of their own. */
KEL_API void *_kel_getdispmem(KelGlobal *world, uint32_t size);
KEL_API void _kel_freedispmem(KelGlobal *world, void *p);

/* ------------------------------------------------------------------------ */
/* Comparing                                                                 */
/* ------------------------------------------------------------------------ */

/* Type kinds of _kelCmpPrimitiveValue (the compiler's numbering). */
enum {
    KEL_CMPK_FIXED = 0,          /* also 5, 6, 7, 29, 30, 55, 58 */
    KEL_CMPK_PADDED_BITS = 1,
    KEL_CMPK_BIT_ARRAY = 2,
    KEL_CMPK_UNBOUNDED_BITS = 3,
    KEL_CMPK_VARYING_BITS = 4,
    KEL_CMPK_VARYING = 9,        /* also 21, 23 */
    KEL_CMPK_UNBOUNDED = 10,     /* also 20, 25 */
    KEL_CMPK_BOOLEAN = 8,
    KEL_CMPK_NULLTERM = 24,      /* also 59 */
    KEL_CMPK_VARYING_UNITS2 = 26,
    KEL_CMPK_LINKED = 27,
    KEL_CMPK_UNBOUNDED_UNITS2 = 28,
    KEL_CMPK_UNITS2 = 53,
    KEL_CMPK_UNITS4 = 54,
    KEL_CMPK_HUGE = 62,
    KEL_CMPK_OID_ENCODED = 63,   /* also 74 */
    KEL_CMPK_MEMORY = 22         /* also 50: memory compare, no rule check */
};

/* 1 equal, 0 different. */
KEL_API int _kelCmpPrimitiveValue(KelGlobal *world, const void *first, const void *second, uint32_t size,
                                  const void *extra, int kind);
/* 0 equal. */
KEL_API int _kel_cmp_membits(const unsigned char *first, const unsigned char *second, uint32_t bits);
KEL_API int _kel_cmp_arrbits(const unsigned char *first, const unsigned char *second, uint32_t firstBits,
                             uint32_t secondBits);
KEL_API int _kel_cmp_link_obj(const void *firstHead, const void *secondHead, uint32_t elementSize);
KEL_API int _kel_cmp_link_objid(const void *firstHead, const void *secondHead, uint32_t elementSize);
KEL_API int _kel_cmp_open_type(KelGlobal *world, const KelOpenType *first, const KelOpenType *second);
/* A record holding a length of `lengthWidth` octets and, `displacement`
 * octets from its start, a pointer to the units (`unit` octets, negative:
 * bits). */
KEL_API int _kel_cmp_unbnd_octet_ia(const void *first, const void *second, int lengthWidth, int unit,
                                    int displacement);
/* Negative, 0, positive. */
KEL_API int _kel_cmp_huge_int_ia(const void *first, const void *second, int lengthWidth, int isSigned,
                                 int displacement);
/* Time texts of the TIME types: 0 equal, 1 different. */
KEL_API int _kel_cmp_date_time(KelGlobal *world, const char *first, const char *second);
KEL_API int _kelCmpDTIntervals(const KelTimeValue *first, const KelTimeValue *second);
/* -1, 0, 1, or -2 when the two can't be compared. */
KEL_API int _kelDTPointsRelation(const KelPointPart *first, const KelPointPart *second);
KEL_API int _kelDTIntervalsRelation(const KelTimeValue *first, const KelTimeValue *second);
KEL_API int _kelComparableDTTimes(const KelTimeOfDayPart *first, const KelTimeOfDayPart *second);
/* Decimal texts: -1, 0, 1. */
KEL_API int kelFcmp(const char *first, const char *second);
/* 0 equal, 2 less, 3 greater, 4 failure. */
KEL_API int compare_char_real(KelGlobal *world, const char *first, const char *second);

/* ------------------------------------------------------------------------ */
/* Copying                                                                   */
/* ------------------------------------------------------------------------ */

/* Lists whose nodes start with the next pointer (and, doubly linked, the
 * previous one).  `destination` null: a new head is taken.  Each returns
 * the destination. */
KEL_API void *_kel_cpy_link_obj(KelGlobal *world, const void *sourceHead, void *destination,
                                uint32_t elementSize);
KEL_API void *_kel_cpy_dlink_obj(KelGlobal *world, const void *sourceHead, void *destination,
                                 uint32_t elementSize);
/* A head record of first, last and count. */
KEL_API void *_kel_cpy_dlink_plus(KelGlobal *world, const void *sourceHead, void *destination,
                                  uint32_t elementSize);
KEL_API char *_kel_cpy_char_real(KelGlobal *world, const char *text);
KEL_API KelOpenType *_kel_cpy_open_type(KelGlobal *world, const KelOpenType *source, KelOpenType *destination);
KEL_API void *_kel_cpy_unbnd_octet_ia(KelGlobal *world, const void *source, void *destination,
                                      int lengthWidth, int unit, int displacement);

/* ------------------------------------------------------------------------ */
/* Values of basic types for applications, from kelGetMemory: null when    */
/* memory is refused, nothing left taken                                     */
/* ------------------------------------------------------------------------ */

KEL_API char *kel__Char_copy(KelGlobal *world, char value);
KEL_API unsigned char *kel__UChar_copy(KelGlobal *world, unsigned char value);
KEL_API unsigned char *kel__Bool_copy(KelGlobal *world, unsigned char value);
KEL_API int16_t *kel__Short_copy(KelGlobal *world, int16_t value);
KEL_API uint16_t *kel__UShort_copy(KelGlobal *world, uint16_t value);
KEL_API int32_t *kel__Int_copy(KelGlobal *world, int32_t value);
KEL_API uint32_t *kel__UInt_copy(KelGlobal *world, uint32_t value);
KEL_API int32_t *kel__Long_copy(KelGlobal *world, int32_t value);
KEL_API uint32_t *kel__ULong_copy(KelGlobal *world, uint32_t value);
KEL_API uint32_t *kel__Ptr_copy(KelGlobal *world, uint32_t value);
KEL_API int64_t *kel__LongLong_copy(KelGlobal *world, int64_t value);
KEL_API uint64_t *kel__ULongLong_copy(KelGlobal *world, uint64_t value);
KEL_API float *kel__Float_copy(KelGlobal *world, float value);
KEL_API double *kel__Double_copy(KelGlobal *world, double value);
KEL_API char *kel__CharStr_new(KelGlobal *world, uint32_t length);
KEL_API char *kel__CharStr_copy(KelGlobal *world, const char *text);
KEL_API KelUnboundedString *kel__UnbCharString_copy(KelGlobal *world, const char *text, uint32_t length);
KEL_API KelUnboundedString *kel__UnbCharString_copy_nullterm(KelGlobal *world, const char *text);
KEL_API KelBmpString *kel__BmpString_copy(KelGlobal *world, const uint16_t *characters, uint32_t count);
KEL_API KelUniversalString *kel__UnivString_copy(KelGlobal *world, const uint32_t *characters, uint32_t count);
KEL_API KelUnboundedBits *kel__UnbBitStr_copy(KelGlobal *world, const unsigned char *bytes, uint32_t bits);
KEL_API KelTimeStruct *kel__GeneralizedTime_setv_nullterm(KelGlobal *world, KelTimeStruct *time, const char *text);
KEL_API KelTimeStruct *kel__UTCTime_setv_nullterm(KelGlobal *world, KelTimeStruct *time, const char *text);
KEL_API KelTimeStruct *kel__GeneralizedTime_copy_nullterm(KelGlobal *world, const char *text);
KEL_API KelTimeStruct *kel__UTCTime_copy_nullterm(KelGlobal *world, const char *text);
typedef struct KelUnbSeqOf {
    uint32_t count;
    void *value;
} KelUnbSeqOf;
KEL_API KelUnbSeqOf *kel__UnbSeqOf_new(KelGlobal *world, uint32_t count, uint32_t elementSize, int zero);
KEL_API KelUnbSeqOf *kel__UnbSeqOf_copy(KelGlobal *world, const void *source, uint32_t count,
                                        uint32_t elementSize);
KEL_API void *kel__OpenType_copy_encoded(KelGlobal *world, const void *bytes, uint32_t length,
                                         uint32_t recordSize);
/* The contained-value record of BIT STRING and OCTET STRING CONTAINING. */
typedef struct KelContained {
    uint32_t length;
    unsigned char *encoded;
    void *decoded;
} KelContained;
KEL_API KelContained *kel__BitStrCC_copy_encoded(KelGlobal *world, const unsigned char *bytes, uint32_t bits);
KEL_API KelContained *kel__OctStrCC_copy_encoded(KelGlobal *world, const unsigned char *bytes, uint32_t length);
KEL_API void *kel__OpenType_copy_decoded(KelGlobal *world, void *value, int pdu, uint32_t recordSize);
KEL_API KelContained *kel__CC_copy_decoded(KelGlobal *world, void *value, int pdu);
KEL_API void *kel__NewOpenType_copy_encoded(KelGlobal *world, const void *bytes, uint32_t length,
                                            uint32_t recordSize, uint32_t displacement);
KEL_API void *kel__NewOpenType_copy_decoded(KelGlobal *world, void *value, int pdu, uint32_t recordSize,
                                            int pduWidth, uint32_t displacement);

/* ------------------------------------------------------------------------ */
/* Permitted alphabets                                                       */
/* ------------------------------------------------------------------------ */

/* 1 when `character` belongs to the alphabet, else 0. */
KEL_API int kelCharIsPermitted(const uint32_t *tree, uint32_t character);
/* The index of `character` in the sorted alphabet, -1 when it is absent. */
KEL_API int32_t kelIndexByChar(const uint32_t *tree, uint32_t character);
/* The character at `index`; 0x10FFFD (a noncharacter) when none is there. */
KEL_API uint32_t kelCharByIndex(const uint32_t *tree, uint32_t index);

/* ------------------------------------------------------------------------ */
/* Constraint checking: the checks that generated checkers call, each one  */
/* raising its message through the running frame (kelCheckConstraints, or  */
/* a decoder's driver)                                                       */
/* ------------------------------------------------------------------------ */

/* The members of an ENUMERATED type, in any order. */
typedef struct KelEnumList {
    uint32_t count;
    const int32_t *values;
} KelEnumList;

/* Message 36 unless `value` is a member.  _kel_chk_uenum serves the
 * unsigned memory forms: no negative member matches. */
KEL_API void _kel_chk_enum(KelGlobal *world, int32_t value, const KelEnumList *members);
KEL_API void _kel_chk_uenum(KelGlobal *world, uint32_t value, const KelEnumList *members);

/* Permitted alphabet of a string of one octet a character: `indexes` maps
 * a character to its index, 255 where the character is not permitted.
 * Only characters below 0x80 are looked up, so a table of 128 entries
 * serves as well as one of 256. */
typedef struct KelByteAlphabet {
    uint32_t count;
    const unsigned char *chars;   /* index -> character */
    const unsigned char *indexes; /* character -> index; 255: not permitted */
} KelByteAlphabet;

/* Permitted alphabet of a string of 2 or 4 octets a character.  With
 * `count` all ones, `members` is a range-list tree (kelCharIsPermitted).
 * Otherwise `indexes` covers the 256 characters from `base` on, entry 255
 * forbidding the character unless the alphabet has 256 members or more. */
typedef struct KelWideAlphabet {
    uint32_t count;
    const void *members;
    const unsigned char *indexes;
    uint32_t base;
} KelWideAlphabet;
#define KEL_ALPHABET_TREE 0xFFFFFFFFu

/* Message 29 with the first character outside the alphabet. */
KEL_API void _kel_chk_pac(KelGlobal *world, const unsigned char *chars, uint32_t count,
                          const KelByteAlphabet *alphabet);
KEL_API void _kel_chk_pac2(KelGlobal *world, const uint16_t *chars, uint32_t count,
                           const KelWideAlphabet *alphabet);
KEL_API void _kel_chk_pac4(KelGlobal *world, const uint32_t *chars, uint32_t count,
                           const KelWideAlphabet *alphabet);

/* Message 135 unless the octets are well-formed UTF-8 sequences of 1 to 6
 * octets (overlong forms and surrogates are let through).  The second form
 * reads up to a NUL. */
KEL_API void _kel_checkUtf8String(KelGlobal *world, const unsigned char *text, uint32_t length);
KEL_API void _kel_checkUtf8String_nlltrm(KelGlobal *world, const char *text);

/* An OID internationalized resource identifier: `flags` 1 for the absolute
 * form ("/ISO/..."), else the relative one.  Message 287 for a malformed
 * value or an empty arc, 288 for a bad arc, with the text around the fault.
 * Returns 0. */
#define KEL_OID_IRI_ABSOLUTE 1
KEL_API int _kel_check_oid_iri(KelGlobal *world, const char *text, uint32_t length, int flags);

/* A range-list tree written out in the order of its codes: a single code
 * as itself, a range as first, '.', '.', last, a list as its first and
 * last code.  `*index` is the word at which the walk starts (0: the whole
 * tree) and is left past the last word of the walked subtree.  The first
 * form adds the number of codes it would write to `*length`; the second
 * writes them at `*output` and advances it. */
KEL_API void kelMultiPlaneAlphabetLength(const uint32_t *tree, uint32_t *index, uint32_t *length);
KEL_API void kelMultiPlaneAlphabet(const uint32_t *tree, uint32_t *index, uint32_t **output);

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_SERVICES_H */
