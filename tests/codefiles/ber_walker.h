/*
 * ber_walker.h - what the two halves of the BER family walker share: the
 * simple types' TLV readers and writers (ber_walker.c), used by the walk
 * over structures and tags (ber_walker_struct.c).
 */
#ifndef KEL_BER_WALKER_H
#define KEL_BER_WALKER_H

#include "codefiles.h"
#include "kelvarn_ber.h"

/* The whole TLV of a value of a type that isn't structured, under `tag`
 * (its own tag, or the implicit tag that replaces it). */
int32_t kel_ber_encode_simple(KelGlobal *world, unsigned char **pos, int32_t *rem,
                              const KelTypeDesc *type, const KelTag *tag, const unsigned char *field);
void kel_ber_decode_simple(KelGlobal *world, const KelTypeDesc *type, const KelTag *tag,
                           unsigned char *field);

/* A value as octets, for comparing it with its DEFAULT: the units of a
 * string wherever its memory form keeps them (a bit string's octets with
 * its count of bits in `bits`), the contents of an encoded object
 * identifier, the text of a time held as text; the record of any other
 * form. */
typedef struct KelValueOctets {
    const unsigned char *data;
    uint32_t length;
    uint32_t bits;
} KelValueOctets;
KelValueOctets kel_ber_value_octets(const KelTypeDesc *type, const unsigned char *field);

/* Frees the pieces that a decoded simple value holds apart from its field. */
void kel_ber_free_simple(KelGlobal *world, const KelTypeDesc *type, unsigned char *field);

#endif /* KEL_BER_WALKER_H */
