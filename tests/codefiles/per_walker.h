/*
 * per_walker.h - what the two halves of the PER walker share: the simple
 * types' writers and readers (per_walker.c), used by the walk over
 * structures (per_walker_struct.c), and the pieces of PER that both need:
 * constrained whole numbers and size constraints.
 */
#ifndef KEL_PER_WALKER_H
#define KEL_PER_WALKER_H

#include "codefiles.h"
#include "kelvarn_per.h"

/* Whether the walker knows how to encode a type that isn't structured. */
int kel_per_knows_simple(const KelTypeDesc *type);

void kel_per_encode_simple(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field);
void kel_per_decode_simple(KelGlobal *world, const KelTypeDesc *type, unsigned char *field);

/* A constrained whole number `offset` in 0..span: a bit-field, an octet, two
 * octets or the indefinite-length form, as aligned or unaligned PER asks. */
void kel_per_encode_constrained(KelGlobal *world, uint64_t offset, uint64_t span);
uint64_t kel_per_decode_constrained(KelGlobal *world, uint64_t span);

/* The size constraint of a string or list type, or null. */
const KelPerString *kel_per_size_of(const KelTypeDesc *type);

/* Size constraints with an ellipsis: whether `n` lies outside the root, and
 * the extension bit that says so (written, or read). */
int kel_per_size_extended(const KelPerString *size, uint64_t n);
int kel_per_put_size_bit(KelGlobal *world, const KelPerString *size, uint64_t n);
int kel_per_get_size_bit(KelGlobal *world, const KelPerString *size);

#endif /* KEL_PER_WALKER_H */
