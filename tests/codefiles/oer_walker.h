/*
 * oer_walker.h - what the two halves of the OER walker share: the simple
 * types' writers and readers (oer_walker.c), used by the walk over
 * structures (oer_walker_struct.c).
 */
#ifndef KEL_OER_WALKER_H
#define KEL_OER_WALKER_H

#include "codefiles.h"
#include "kelvarn_oer.h"

/* Whether the walker knows how to encode a type that isn't structured. */
int kel_oer_knows_simple(const KelTypeDesc *type);

void kel_oer_encode_simple(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field);
void kel_oer_decode_simple(KelGlobal *world, const KelTypeDesc *type, unsigned char *field);

/* The count of a SEQUENCE OF or SET OF: a length and the count's octets. */
void kel_oer_encode_quantity(KelGlobal *world, uint32_t count);
uint32_t kel_oer_decode_quantity(KelGlobal *world);

#endif /* KEL_OER_WALKER_H */
