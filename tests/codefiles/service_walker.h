/*
 * service_walker.h - the value services of the table-driven code files:
 * the generated entries printPdu (value notation through the _kel_prt_*
 * primitives), cmpValue and cpyValue, each one walker over the type
 * descriptions, and what the three share about the memory forms.
 */
#ifndef KEL_SERVICE_WALKER_H
#define KEL_SERVICE_WALKER_H

#include "codefiles.h"
#include "walker_common.h"

/* Octets of one unit of a string form: bits count as units of one octet
 * in the caller's arithmetic (see kel_string_bytes), BMP characters are 2,
 * Universal 4, the rest 1. */
static inline uint32_t kel_unit_size(const KelTypeDesc *type)
{
    return type->form == KEL_FORM_BMP ? 2u : type->form == KEL_FORM_UNIVERSAL ? 4u : 1u;
}

/* Octets that `count` units of a string hold: bits round up to octets. */
static inline uint32_t kel_string_bytes(const KelTypeDesc *type, uint32_t count)
{
    return type->kind == KEL_KIND_BIT_STRING ? (count + 7) / 8 : count * kel_unit_size(type);
}

/* Octets of a VARYING record of a string type: the count and the room. */
static inline uint32_t kel_varying_size(const KelTypeDesc *type)
{
    return KEL_VARYING_HEADER + kel_string_bytes(type, (uint32_t)type->upper);
}

/* The value of an open type's decoded row, from its record. */
static inline const KelTypeDesc *kel_open_row_type(const KelTypeDesc *type, const KelOpenType *open)
{
    return open->decoded && open->pduNum >= 1 && (uint32_t)open->pduNum <= type->componentCount
               ? type->components[open->pduNum - 1].type
               : NULL;
}

#endif /* KEL_SERVICE_WALKER_H */
