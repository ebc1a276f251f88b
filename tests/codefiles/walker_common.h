/*
 * walker_common.h - what the rule families' walkers share about structured
 * values: a component's tags in its place, its presence and value in a
 * record, the canonical tag by which SET components and CHOICE alternatives
 * are ordered, the key match of an open type's table, and the nesting count.
 */
#ifndef KEL_WALKER_COMMON_H
#define KEL_WALKER_COMMON_H

#include <string.h>

#include "kel_types.h"

/* Messages that every walker raises. */
enum { KEL_MSG_PDU_RANGE = 3, KEL_MSG_CHOICE_SELECTOR = 7, KEL_MSG_NESTING = 182 };

/* State of one encode or decode call. */
typedef struct Walk {
    KelGlobal *world;
    uint32_t limit; /* structures that may nest; 0 for no limit */
    uint32_t depth;
} Walk;

/* The tags of a value in its place, outermost first. */
typedef struct Tags {
    KelTag tag[KEL_MAX_TAGS];
    int count;
} Tags;

/* Integers in their memory forms of 1, 2, 4 or 8 octets. */
static inline int64_t kel_load_signed(const unsigned char *field, unsigned width)
{
    switch (width) {
    case 1: return *(const int8_t *)field;
    case 2: return *(const int16_t *)(const void *)field;
    case 4: return *(const int32_t *)(const void *)field;
    default: return *(const int64_t *)(const void *)field;
    }
}

static inline uint64_t kel_load_unsigned(const unsigned char *field, unsigned width)
{
    switch (width) {
    case 1: return *field;
    case 2: return *(const uint16_t *)(const void *)field;
    case 4: return *(const uint32_t *)(const void *)field;
    default: return *(const uint64_t *)(const void *)field;
    }
}

static inline void kel_store(unsigned char *field, unsigned width, uint64_t value)
{
    switch (width) {
    case 1: *field = (unsigned char)value; break;
    case 2: *(uint16_t *)(void *)field = (uint16_t)value; break;
    case 4: *(uint32_t *)(void *)field = (uint32_t)value; break;
    default: *(uint64_t *)(void *)field = value; break;
    }
}

/* The universal number of a type's own tag, 0 when it isn't universal. */
static inline unsigned kel_universal_number(const KelTypeDesc *type)
{
    const KelTag *own = &type->tags[type->tagCount ? type->tagCount - 1 : 0];
    return type->tagCount && (own->classNumber & 0xC000u) == 0 ? own->classNumber & 0x3FFFu : 0;
}

/* Octets in front of the value in the VARYING memory forms: the count. */
#define KEL_VARYING_HEADER 4u

/* The units of a string value (octets, bits, or 16- or 32-bit characters)
 * and their count, by memory form.  A padded value loses its trailing
 * blanks unless its size is fixed (`keepBlanks`). */
static inline const unsigned char *kel_string_units(const KelTypeDesc *type, const unsigned char *field,
                                                    int keepBlanks, uint32_t *count)
{
    const KelUnboundedString *unbounded = (const KelUnboundedString *)(const void *)field;
    const unsigned char *record;

    switch (type->form) {
    case KEL_FORM_VARYING:
        *count = *(const uint32_t *)(const void *)field;
        return field + KEL_VARYING_HEADER;
    case KEL_FORM_VARYING_PTR:
        record = *(unsigned char *const *)(const void *)field;
        *count = *(const uint32_t *)(const void *)record;
        return record + KEL_VARYING_HEADER;
    case KEL_FORM_FIXED:
        *count = (uint32_t)type->upper;
        return field;
    case KEL_FORM_PADDED:
        *count = (uint32_t)type->upper;
        if (!keepBlanks)
            while (*count && (field[*count - 1] == ' ' || field[*count - 1] == 0))
                --*count;
        return field;
    case KEL_FORM_NULLTERM:
        *count = (uint32_t)strlen((const char *)field);
        return field;
    case KEL_FORM_NULLTERM_PTR:
    case KEL_FORM_TIME_TEXT:
        record = *(unsigned char *const *)(const void *)field;
        *count = (uint32_t)strlen((const char *)record);
        return record;
    default: /* UNBOUNDED, UTF8, BMP, UNIVERSAL, OID_ENCODED */
        *count = unbounded->length;
        return unbounded->value;
    }
}

static inline int kel_has_own_tag(const KelTypeDesc *type)
{
    return type->kind != KEL_KIND_CHOICE && type->kind != KEL_KIND_OPEN_TYPE;
}

/* Whether a family's walker knows every type `type` is built of, given
 * what it knows of the simple types. */
static inline int kel_walker_knows(const KelTypeDesc *type, int (*knows_simple)(const KelTypeDesc *))
{
    uint32_t i;
    if (kel_has_own_tag(type) && type->kind < KEL_KIND_SEQUENCE)
        return knows_simple(type);
    for (i = 0; i < type->componentCount; i++)
        if (type->components[i].type != type && !kel_walker_knows(type->components[i].type, knows_simple))
            return 0;
    return 1;
}

static inline Tags kel_tags_of(const KelComponent *c)
{
    Tags t;
    int i = 0;
    t.count = 0;
    if (c->tagging != KEL_TAGGING_NONE) {
        t.tag[t.count++] = c->tag;
        i = c->tagging == KEL_TAGGING_IMPLICIT;
    }
    for (; i < c->type->tagCount; i++)
        t.tag[t.count++] = c->type->tags[i];
    return t;
}

static inline int kel_is_present(const KelComponent *c, const unsigned char *record)
{
    if (c->flags & KEL_COMP_POINTER)
        return *(void *const *)(const void *)(record + c->offset) != NULL;
    return !c->presenceBit || (*(const uint32_t *)(const void *)record >> (c->presenceBit - 1) & 1u);
}

static inline unsigned char *kel_value_of(const KelComponent *c, unsigned char *record)
{
    unsigned char *field = record + c->offset;
    return c->flags & KEL_COMP_POINTER ? *(unsigned char **)(void *)field : field;
}

/* Extension additions of a SEQUENCE, SET or CHOICE: a lone addition, or
 * the run of components of one version bracket. */
static inline int kel_is_addition(const KelComponent *c)
{
    return (c->flags & KEL_COMP_EXTENSION) != 0;
}

static inline uint32_t kel_addition_end(const KelTypeDesc *type, uint32_t first)
{
    const uint8_t group = type->components[first].group;
    uint32_t end = first + 1;
    while (group && end < type->componentCount && type->components[end].group == group)
        end++;
    return end;
}

static inline uint32_t kel_next_addition(const KelTypeDesc *type, uint32_t from)
{
    while (from < type->componentCount && !kel_is_addition(&type->components[from]))
        from++;
    return from;
}

/* The tag by which a component is ordered: its outermost, or for an
 * untagged CHOICE the smallest of its alternatives'. */
static inline uint16_t kel_canonical_tag(const KelComponent *c)
{
    Tags t = kel_tags_of(c);
    uint16_t least = 0xFFFF, tag;
    uint32_t i;
    if (t.count)
        return t.tag[0].classNumber;
    for (i = 0; i < c->type->componentCount; i++)
        if ((tag = kel_canonical_tag(&c->type->components[i])) < least)
            least = tag;
    return least;
}

/* The tag a component's value goes out with: its outermost, or for an
 * untagged CHOICE the tag of the alternative chosen (the canonical tag when
 * the value is absent or has no alternative). */
static inline uint16_t kel_value_tag(const KelComponent *c, unsigned char *record)
{
    const Tags t = kel_tags_of(c);
    unsigned char *value;
    uint32_t selector;
    if (t.count || c->type->kind != KEL_KIND_CHOICE || !kel_is_present(c, record))
        return kel_canonical_tag(c);
    value = kel_value_of(c, record);
    selector = *(const uint32_t *)(const void *)value;
    if (selector < 1 || selector > c->type->componentCount)
        return kel_canonical_tag(c);
    return kel_value_tag(&c->type->components[selector - 1], value);
}

/* Whether the key component's value equals a row's key. */
static inline int kel_key_equals(const KelTypeDesc *keyType, const unsigned char *key, const void *rowKey)
{
    if (keyType->kind == KEL_KIND_OID) {
        const KelOidEncoded *a = (const KelOidEncoded *)(const void *)key;
        const KelOidEncoded *b = (const KelOidEncoded *)rowKey;
        return a->length == b->length && memcmp(a->value, b->value, a->length) == 0;
    }
    return memcmp(key, rowKey, keyType->size) == 0;
}

/* The row of an open type's table that the key component of the enclosing
 * record selects, from 0; -1 when the key is in no row. */
static inline int kel_open_row(const KelTypeDesc *type, const KelTypeDesc *parent, const unsigned char *record)
{
    const KelComponent *key = parent ? &parent->components[type->lower] : NULL;
    uint32_t i;
    for (i = 0; key && i < type->componentCount; i++)
        if (kel_key_equals(key->type, record + key->offset, type->components[i].defaultValue))
            return (int)i;
    return -1;
}

/* A cleared piece of decoder memory for a value of `type`. */
static inline unsigned char *kel_walk_new_value(KelGlobal *world, const KelTypeDesc *type)
{
    unsigned char *value = (unsigned char *)_kel_dec_getmem(world, (int32_t)type->size);
    memset(value, 0, type->size);
    return value;
}

/* The place a component's decoded value goes: its field in the record, or
 * a fresh piece the field points to; the component is marked present. */
static inline unsigned char *kel_walk_place(KelGlobal *world, const KelComponent *c, unsigned char *record)
{
    unsigned char *field = record + c->offset;
    if (c->flags & KEL_COMP_POINTER) {
        field = kel_walk_new_value(world, c->type);
        *(void **)(void *)(record + c->offset) = field;
    }
    if (c->presenceBit)
        *(uint32_t *)(void *)record |= 1u << (c->presenceBit - 1);
    return field;
}

static inline void kel_walk_enter(Walk *w)
{
    if (++w->depth > w->limit && w->limit)
        _kel_enc_error(w->world, KEL_MSG_NESTING, 0);
}

/* The type of a PDU, after recording it in the world for the messages;
 * the walk starts with the world's nesting limit. */
static inline const KelTypeDesc *kel_walk_pdu(KelGlobal *world, int pdu, Walk *w)
{
    const KelCodeFile *file = kel_world_codefile(world);
    if (pdu < 1 || pdu > file->pduCount)
        _kel_enc_error(world, KEL_MSG_PDU_RANGE, (uint32_t)pdu);
    world->pduNumber = pdu;
    world->pduEntry = &file->pdus[pdu - 1].names;
    w->world = world;
    w->limit = (uint32_t)kelGetSeqSetNestingLimit(world);
    w->depth = 0;
    return file->pdus[pdu - 1].type;
}

#endif /* KEL_WALKER_COMMON_H */
