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

/* Frees the pieces that a decoded simple value holds apart from its field. */
void kel_ber_free_simple(KelGlobal *world, const KelTypeDesc *type, unsigned char *field);

#endif /* KEL_BER_WALKER_H */
