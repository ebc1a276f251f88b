/*
 * per_walker_struct.c - the PER walker over structures (SEQUENCE, SET, their
 * OF forms, CHOICE, open types) and the generated PER entries of every
 * table-driven code file.
 *
 * SEQUENCE and SET: an extension bit when the type is extensible, a preamble
 * bit for each OPTIONAL or DEFAULT root component, the root components (a
 * SET's in canonical tag order), then the extension additions: a normally
 * small count, their presence bits, and each present addition (a lone one,
 * or a version bracket as a SEQUENCE of its own) wrapped in a length as an
 * open type.  A DEFAULT component equal to its default is left out.
 * CHOICE: an index among the root alternatives in canonical tag order, or an
 * extension bit and a normally small index among the additions, whose value
 * is wrapped like an addition.  SEQUENCE OF and SET OF: a length (fragmented
 * when long) and the elements.  An open type: the value of the row its key
 * selects, wrapped; an unknown key keeps the encoding.  Unknown additions
 * and alternatives are skipped.  Each structure entered counts against the
 * world's nesting limit.
 */
#include <string.h>

#include "per_walker.h"
#include "walker_common.h"

/* Messages raised here. */
enum { MSG_SIZE_OF = 28 };

/* The most components or alternatives a table has. */
#define MAX_MEMBERS 64

static int is_optional(const KelComponent *c)
{
    return (c->flags & (KEL_COMP_OPTIONAL | KEL_COMP_DEFAULT | KEL_COMP_POINTER)) != 0;
}

/* The root members of a SEQUENCE, SET or CHOICE in the order PER puts them:
 * declared order for a SEQUENCE, canonical tag order for a SET and for the
 * alternatives of a CHOICE (root and additions apart). */
static uint32_t ordered(const KelTypeDesc *type, int additions, const KelComponent **out)
{
    const int sorted = type->kind != KEL_KIND_SEQUENCE;
    uint32_t n = 0, i, j;
    for (i = 0; i < type->componentCount; i++) {
        const KelComponent *c = &type->components[i];
        if (kel_is_addition(c) != additions)
            continue;
        for (j = n; sorted && j > 0 && kel_canonical_tag(out[j - 1]) > kel_canonical_tag(c); j--)
            out[j] = out[j - 1];
        out[j] = c;
        n++;
    }
    return n;
}

static uint32_t addition_count(const KelTypeDesc *type)
{
    uint32_t n = 0, i = kel_next_addition(type, 0);
    for (; i < type->componentCount; i = kel_next_addition(type, kel_addition_end(type, i)))
        n++;
    return n;
}

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

static void encode_value(Walk *w, const KelTypeDesc *type, unsigned char *field, const KelTypeDesc *parent,
                         unsigned char *record);

static int omitted(const KelComponent *c, unsigned char *record)
{
    if (!kel_is_present(c, record))
        return 1;
    return (c->flags & KEL_COMP_DEFAULT) && memcmp(record + c->offset, c->defaultValue, c->type->size) == 0;
}

static void encode_component(Walk *w, const KelComponent *c, unsigned char *record, const KelTypeDesc *parent)
{
    encode_value(w, c->type, kel_value_of(c, record), parent, record);
}

/* A preamble bit for each optional member, then the members present. */
static void encode_members(Walk *w, const KelComponent *const *members, uint32_t n, unsigned char *record,
                           const KelTypeDesc *parent)
{
    uint32_t i;
    for (i = 0; i < n; i++)
        if (is_optional(members[i]))
            _kel_penc_nonneg_1int(w->world, (uint32_t)!omitted(members[i], record));
    for (i = 0; i < n; i++)
        if (!omitted(members[i], record))
            encode_component(w, members[i], record, parent);
}

static int addition_present(const KelTypeDesc *type, uint32_t first, unsigned char *record)
{
    uint32_t i, end = kel_addition_end(type, first);
    for (i = first; i < end; i++)
        if (!omitted(&type->components[i], record))
            return 1;
    return 0;
}

static void encode_additions(Walk *w, const KelTypeDesc *type, unsigned char *record)
{
    KelGlobal *world = w->world;
    uint32_t i, j;
    _kel_penc_small_len_l(world, addition_count(type));
    for (i = kel_next_addition(type, 0); i < type->componentCount; i = kel_next_addition(type, kel_addition_end(type, i)))
        _kel_penc_nonneg_1int(world, (uint32_t)addition_present(type, i, record));
    for (i = kel_next_addition(type, 0); i < type->componentCount; i = kel_next_addition(type, kel_addition_end(type, i))) {
        const KelComponent *group[MAX_MEMBERS];
        const uint32_t end = kel_addition_end(type, i);
        if (!addition_present(type, i, record))
            continue;
        _kel_fast_push_global(world);
        if (type->components[i].group) {
            for (j = i; j < end; j++)
                group[j - i] = &type->components[j];
            encode_members(w, group, end - i, record, type);
        } else {
            encode_component(w, &type->components[i], record, type);
        }
        _kel_fast_pop_global(world);
    }
}

static void encode_structure(Walk *w, const KelTypeDesc *type, unsigned char *record)
{
    const KelComponent *root[MAX_MEMBERS];
    const uint32_t n = ordered(type, 0, root);
    const int extensible = (type->flags & KEL_DESC_EXTENSIBLE) != 0;
    int extended = 0;
    uint32_t i;

    if (extensible) {
        for (i = kel_next_addition(type, 0); i < type->componentCount; i = kel_next_addition(type, kel_addition_end(type, i)))
            extended |= addition_present(type, i, record);
        _kel_penc_nonneg_1int(w->world, (uint32_t)extended);
    }
    encode_members(w, root, n, record, type);
    if (extended)
        encode_additions(w, type, record);
}

static void encode_elements(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    KelGlobal *world = w->world;
    const KelSequenceOf *list = (const KelSequenceOf *)(const void *)field;
    const KelComponent *element = &type->components[0];
    const KelPerString *size = kel_per_size_of(type);
    const int extended = kel_per_put_size_bit(world, size, list->count);
    const uint32_t lb = size && !extended ? size->lb : 0, ub = size && !extended ? size->ub : 0;
    unsigned char *elements = (unsigned char *)list->elements;
    uint32_t left = list->count, covered, i;

    do {
        covered = _kel_penc_length_l(world, left, lb, ub, (uint8_t)extended);
        for (i = 0; i < covered; i++, elements += element->type->size)
            encode_component(w, element, elements, NULL);
        left -= covered;
    } while (left);
    if (list->count >= 16384 && (covered & 0x3FFF) == 0 && (ub == 0 || ub > 65535 || extended))
        _kel_append_8bit_aligned(world, 0);
}

static void encode_choice(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    KelGlobal *world = w->world;
    const uint32_t selector = *(const uint32_t *)(const void *)field;
    const KelComponent *members[MAX_MEMBERS], *chosen;
    const int extensible = (type->flags & KEL_DESC_EXTENSIBLE) != 0;
    uint32_t n, i;

    if (selector < 1 || selector > type->componentCount)
        _kel_enc_error(world, KEL_MSG_CHOICE_SELECTOR, selector);
    chosen = &type->components[selector - 1];
    n = ordered(type, kel_is_addition(chosen), members);
    for (i = 0; members[i] != chosen; i++)
        ;
    if (extensible)
        _kel_penc_nonneg_1int(world, (uint32_t)kel_is_addition(chosen));
    if (!kel_is_addition(chosen)) {
        kel_per_encode_constrained(world, i, n - 1);
        encode_component(w, chosen, field, type);
        return;
    }
    _kel_penc_small_int_l(world, i);
    _kel_fast_push_global(world);
    encode_component(w, chosen, field, type);
    _kel_fast_pop_global(world);
}

/* An open type: the value of the row it selects, or the encoding kept. */
static void encode_open(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    const KelOpenType *open = (const KelOpenType *)(const void *)field;
    const KelTypeDesc *row;
    if (!open->decoded || open->pduNum < 1 || (uint32_t)open->pduNum > type->componentCount) {
        _kel_penc_opentype(w->world, open);
        return;
    }
    row = type->components[open->pduNum - 1].type;
    _kel_fast_push_global(w->world);
    encode_value(w, row, (unsigned char *)open->decoded, NULL, NULL);
    _kel_fast_pop_global(w->world);
}

static void encode_value(Walk *w, const KelTypeDesc *type, unsigned char *field, const KelTypeDesc *parent,
                         unsigned char *record)
{
    (void)parent;
    (void)record;
    switch (type->kind) {
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET:
        kel_walk_enter(w);
        encode_structure(w, type, field);
        w->depth--;
        return;
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF:
        kel_walk_enter(w);
        encode_elements(w, type, field);
        w->depth--;
        return;
    case KEL_KIND_CHOICE:
        kel_walk_enter(w);
        encode_choice(w, type, field);
        w->depth--;
        return;
    case KEL_KIND_OPEN_TYPE: encode_open(w, type, field); return;
    default: kel_per_encode_simple(w->world, type, field); return;
    }
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

static void decode_value(Walk *w, const KelTypeDesc *type, unsigned char *field, const KelTypeDesc *parent,
                         unsigned char *record);

static void decode_component(Walk *w, const KelComponent *c, unsigned char *record, const KelTypeDesc *parent)
{
    unsigned char *field = kel_walk_place(w->world, c, record);
    decode_value(w, c->type, field, parent, record);
}

/* An absent member: its default, or nothing. */
static void absent(const KelComponent *c, unsigned char *record)
{
    if (c->flags & KEL_COMP_DEFAULT)
        memcpy(record + c->offset, c->defaultValue, c->type->size);
}

static void decode_members(Walk *w, const KelComponent *const *members, uint32_t n, unsigned char *record,
                           const KelTypeDesc *parent)
{
    uint64_t present = 0;
    uint32_t i;
    for (i = 0; i < n; i++)
        if (!is_optional(members[i]) || _kel_pdec_nonneg_1int(w->world))
            present |= (uint64_t)1 << i;
    for (i = 0; i < n; i++) {
        if (present >> i & 1u)
            decode_component(w, members[i], record, parent);
        else
            absent(members[i], record);
    }
}

static void decode_additions(Walk *w, const KelTypeDesc *type, unsigned char *record)
{
    KelGlobal *world = w->world;
    unsigned char *bits;
    const uint32_t count = _kel_pdec_eap(world, &bits);
    uint32_t i, j, k = 0;

    for (i = kel_next_addition(type, 0); i < type->componentCount; i = kel_next_addition(type, kel_addition_end(type, i)), k++) {
        const KelComponent *group[MAX_MEMBERS];
        const uint32_t end = kel_addition_end(type, i);
        if (k >= count || !(bits[k >> 3] >> (7 - (k & 7)) & 1u)) {
            for (j = i; j < end; j++)
                absent(&type->components[j], record);
            continue;
        }
        _kel_pdec_push(world);
        if (type->components[i].group) {
            for (j = i; j < end; j++)
                group[j - i] = &type->components[j];
            decode_members(w, group, end - i, record, type);
        } else {
            decode_component(w, &type->components[i], record, type);
        }
        _kel_pdec_pop(world);
    }
    _kel_pdec_eas(world, bits, count, k);
}

static void decode_structure(Walk *w, const KelTypeDesc *type, unsigned char *record)
{
    const KelComponent *root[MAX_MEMBERS];
    const uint32_t n = ordered(type, 0, root);
    const int extended = (type->flags & KEL_DESC_EXTENSIBLE) && _kel_pdec_nonneg_1int(w->world);
    uint32_t i;

    memset(record, 0, type->size);
    decode_members(w, root, n, record, type);
    if (extended)
        decode_additions(w, type, record);
    else
        for (i = 0; i < type->componentCount; i++)
            if (kel_is_addition(&type->components[i]))
                absent(&type->components[i], record);
}

static void decode_elements(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    KelGlobal *world = w->world;
    KelSequenceOf *list = (KelSequenceOf *)(void *)field;
    const KelComponent *element = &type->components[0];
    const uint32_t size = element->type->size;
    const KelPerString *bounds = kel_per_size_of(type);
    const int extended = kel_per_get_size_bit(world, bounds);
    const uint32_t lb = bounds && !extended ? bounds->lb : 0, ub = bounds && !extended ? bounds->ub : 0;
    uint8_t last = 0;

    list->count = 0;
    list->elements = NULL;
    while (!last) {
        const uint32_t old = list->count;
        uint32_t i;
        _kel_pdec_usof(world, &list->count, &list->elements, 4, size, lb, ub, (uint8_t)extended, &last);
        if (list->count > old)
            memset((unsigned char *)list->elements + (size_t)old * size, 0, (size_t)(list->count - old) * size);
        for (i = old; i < list->count; i++)
            decode_component(w, element, (unsigned char *)list->elements + (size_t)i * size, NULL);
    }
    if (ub && !extended && (list->count < lb || list->count > ub))
        _kel_enc_error(world, MSG_SIZE_OF, list->count);
}

static void decode_choice(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    KelGlobal *world = w->world;
    const KelComponent *members[MAX_MEMBERS];
    const int extended = (type->flags & KEL_DESC_EXTENSIBLE) && _kel_pdec_nonneg_1int(world);
    const uint32_t n = ordered(type, extended, members);
    uint32_t index;

    memset(field, 0, type->size);
    if (!extended) {
        index = (uint32_t)kel_per_decode_constrained(world, n - 1);
        if (index >= n)
            _kel_enc_error(world, KEL_MSG_CHOICE_SELECTOR, index);
        *(uint32_t *)(void *)field = (uint32_t)(members[index] - type->components) + 1;
        decode_component(w, members[index], field, type);
        return;
    }
    index = _kel_pdec_small_int_l(world);
    if (index >= n) {
        _kel_pdec_sot(world); /* an alternative this table doesn't know */
        return;
    }
    *(uint32_t *)(void *)field = (uint32_t)(members[index] - type->components) + 1;
    _kel_pdec_push(world);
    decode_component(w, members[index], field, type);
    _kel_pdec_pop(world);
}

/* An open type: the type its key selects, or kept as its encoding when the
 * key is not in the table. */
static void decode_open(Walk *w, const KelTypeDesc *type, unsigned char *field, const KelTypeDesc *parent,
                        const unsigned char *record)
{
    KelGlobal *world = w->world;
    KelOpenType *open = (KelOpenType *)(void *)field;
    const int row = kel_open_row(type, parent, record);

    memset(open, 0, sizeof *open);
    if (row < 0) {
        _kel_pdec_opentype(world, open);
        return;
    }
    open->pduNum = row + 1;
    open->decoded = kel_walk_new_value(world, type->components[row].type);
    world->pushFlags |= 1u; /* an open type is never empty */
    _kel_pdec_push(world);
    decode_value(w, type->components[row].type, (unsigned char *)open->decoded, NULL, NULL);
    _kel_pdec_pop(world);
}

static void decode_value(Walk *w, const KelTypeDesc *type, unsigned char *field, const KelTypeDesc *parent,
                         unsigned char *record)
{
    switch (type->kind) {
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET:
        kel_walk_enter(w);
        decode_structure(w, type, field);
        w->depth--;
        return;
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF:
        kel_walk_enter(w);
        decode_elements(w, type, field);
        w->depth--;
        return;
    case KEL_KIND_CHOICE:
        kel_walk_enter(w);
        decode_choice(w, type, field);
        w->depth--;
        return;
    case KEL_KIND_OPEN_TYPE: decode_open(w, type, field, parent, record); return;
    default: kel_per_decode_simple(w->world, type, field); return;
    }
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

int kel_per_knows(const KelTypeDesc *type)
{
    return kel_walker_knows(type, kel_per_knows_simple);
}

int kel_per_encode(KelGlobal *world, int pdu, void *value)
{
    Walk w;
    const KelTypeDesc *type = kel_walk_pdu(world, pdu, &w);
    encode_value(&w, type, (unsigned char *)value + type->offset, NULL, NULL);
    return 0;
}

int kel_per_decode(KelGlobal *world, int *pdu, void **value)
{
    Walk w;
    const KelTypeDesc *type = kel_walk_pdu(world, *pdu, &w);
    unsigned char *record = kel_walk_new_value(world, type);
    decode_value(&w, type, record + type->offset, NULL, NULL);
    *value = record;
    return 0;
}
