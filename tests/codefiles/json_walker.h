/*
 * json_walker.h - what the two halves of the JSON walker share: the simple
 * types' writers and readers and the name tables built from the type
 * descriptions (json_walker.c), used by the walk over structures
 * (json_walker_struct.c).
 */
#ifndef KEL_JSON_WALKER_H
#define KEL_JSON_WALKER_H

#include "codefiles.h"
#include "kelvarn_json.h"

/* What the member table answers for a name an extensible type doesn't know;
 * above every member index. */
#define KEL_JSON_UNKNOWN_MEMBER 0x10000

/* The names of a type, built on first use and kept for the process: the
 * members of a SEQUENCE, SET or CHOICE (row value: the component's index),
 * or the enumerators of an ENUMERATED (row value: the enumerator's value). */
const KelNameTable *kel_json_names(KelGlobal *world, const KelTypeDesc *type);

/* Whether the walker knows how to code a type that isn't structured. */
int kel_json_knows_simple(const KelTypeDesc *type);

void kel_json_encode_simple(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field);
/* The cursor stands on the value's first token. */
void kel_json_decode_simple(KelJsonCursor *cursor, const KelTypeDesc *type, unsigned char *field);

/* The current token must be one of `mask`, else message 312 listing
 * `expected`. */
void kel_json_expect(KelJsonCursor *cursor, uint32_t mask, const char *expected);

#endif /* KEL_JSON_WALKER_H */
