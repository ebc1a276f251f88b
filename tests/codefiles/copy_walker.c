/*
 * copy_walker.c - the cpyValue entry of the table-driven code files: a deep
 * copy of a decoded value, as generated code makes it.  The record is
 * copied whole, then every piece it points to is copied in its turn, the
 * strings and open types through the _kel_cpy_* primitives.  All memory
 * comes from the decoder's getters, so the copy lands in library memory or
 * in the caller's area as the frame set up, and is released on failure.
 *
 * The walk recurses in the nesting of the type only: the elements of a
 * list are a loop.
 */
#include <stddef.h>

#include "service_walker.h"
#include "kelvarn_services.h"

static void copy_pieces(KelGlobal *world, const KelTypeDesc *type, const unsigned char *source,
                        unsigned char *copy);

/* A piece of `size` octets holding the first `used` octets of `source`. */
static void *duplicate(KelGlobal *world, const void *source, uint32_t size, uint32_t used)
{
    void *piece = _kel_dec_getmem(world, (int32_t)size);
    memcpy(piece, source, used);
    return piece;
}

/* A value of `type` behind a pointer of its own. */
static void *copy_behind(KelGlobal *world, const KelTypeDesc *type, const unsigned char *source)
{
    unsigned char *copy = (unsigned char *)duplicate(world, source, type->size, type->size);
    copy_pieces(world, type, source, copy);
    return copy;
}

static void copy_simple(KelGlobal *world, const KelTypeDesc *type, const unsigned char *source,
                        unsigned char *copy)
{
    /* read only by the forms that hold a pointer: other fields may lie on
     * any boundary */
    const unsigned char *piece;
    void **pointer = (void **)(void *)copy;
    const KelMixedReal *real = (const KelMixedReal *)(const void *)source;

    switch (type->form) {
    case KEL_FORM_UNBOUNDED:
    case KEL_FORM_UTF8:
    case KEL_FORM_BMP:
    case KEL_FORM_UNIVERSAL:
        _kel_cpy_unbnd_octet_ia(world, source, copy, 4,
                                type->kind == KEL_KIND_BIT_STRING ? -1 : (int)kel_unit_size(type),
                                offsetof(KelUnboundedString, value));
        return;
    case KEL_FORM_HUGE:
    case KEL_FORM_OID_ENCODED:
        _kel_cpy_unbnd_octet_ia(world, source, copy, 4, 1, offsetof(KelOidEncoded, value));
        return;
    case KEL_FORM_OID_ARCS:
        _kel_cpy_unbnd_octet_ia(world, source, copy, 2, 4, offsetof(KelOidUnbounded, value));
        return;
    case KEL_FORM_VARYING_PTR:
        piece = *(const unsigned char *const *)(const void *)source;
        if (piece)
            *pointer = duplicate(world, piece, kel_varying_size(type),
                                 KEL_VARYING_HEADER + kel_string_bytes(type, *(const uint32_t *)(const void *)piece));
        return;
    case KEL_FORM_NULLTERM_PTR:
    case KEL_FORM_TIME_TEXT:
        piece = *(const unsigned char *const *)(const void *)source;
        if (piece)
            *pointer = _kel_cpy_char_real(world, (const char *)piece);
        return;
    case KEL_FORM_REAL_MIXED:
        if (real->kind && real->u.text)
            ((KelMixedReal *)(void *)copy)->u.text = _kel_cpy_char_real(world, real->u.text);
        return;
    default: /* held in the record itself */
        return;
    }
}

static void copy_record(KelGlobal *world, const KelTypeDesc *type, const unsigned char *source,
                        unsigned char *copy)
{
    uint32_t i;
    for (i = 0; i < type->componentCount; i++) {
        const KelComponent *c = &type->components[i];
        if (!kel_is_present(c, source))
            continue;
        if (c->flags & KEL_COMP_POINTER)
            *(void **)(void *)(copy + c->offset) = copy_behind(world, c->type, kel_value_of(c, (unsigned char *)source));
        else
            copy_pieces(world, c->type, source + c->offset, copy + c->offset);
    }
}

static void copy_list(KelGlobal *world, const KelTypeDesc *type, const unsigned char *source, unsigned char *copy)
{
    const KelSequenceOf *from = (const KelSequenceOf *)(const void *)source;
    KelSequenceOf *to = (KelSequenceOf *)(void *)copy;
    const KelTypeDesc *element = type->components[0].type;
    const uint32_t bytes = from->count * element->size;
    uint32_t i;
    to->elements = bytes ? duplicate(world, from->elements, bytes, bytes) : NULL;
    for (i = 0; i < from->count; i++) {
        const size_t at = (size_t)i * element->size;
        copy_pieces(world, element, (const unsigned char *)from->elements + at, (unsigned char *)to->elements + at);
    }
}

static void copy_choice(KelGlobal *world, const KelTypeDesc *type, const unsigned char *source,
                        unsigned char *copy)
{
    const uint32_t selector = *(const uint32_t *)(const void *)source;
    const KelComponent *c;
    if (selector < 1 || selector > type->componentCount)
        return;
    c = &type->components[selector - 1];
    copy_pieces(world, c->type, source + c->offset, copy + c->offset);
}

/* The encoding an open type keeps, and its decoded row. */
static void copy_open(KelGlobal *world, const KelTypeDesc *type, const unsigned char *source, unsigned char *copy)
{
    const KelOpenType *from = (const KelOpenType *)(const void *)source;
    KelOpenType *to = (KelOpenType *)(void *)copy;
    const KelTypeDesc *row = kel_open_row_type(type, from);
    to->encoded = from->encoded && from->length ? duplicate(world, from->encoded, from->length, from->length) : NULL;
    to->decoded = row ? copy_behind(world, row, (const unsigned char *)from->decoded) : NULL;
}

static void copy_pieces(KelGlobal *world, const KelTypeDesc *type, const unsigned char *source,
                        unsigned char *copy)
{
    switch (type->kind) {
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET: copy_record(world, type, source, copy); return;
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF: copy_list(world, type, source, copy); return;
    case KEL_KIND_CHOICE: copy_choice(world, type, source, copy); return;
    case KEL_KIND_OPEN_TYPE: copy_open(world, type, source, copy); return;
    default: copy_simple(world, type, source, copy); return;
    }
}

int kel_cpy_value(KelGlobal *world, int pdu, void *source, void **destination)
{
    Walk w;
    const KelTypeDesc *type = kel_walk_pdu(world, pdu, &w);
    *destination = copy_behind(world, type, (const unsigned char *)source);
    return 0;
}
