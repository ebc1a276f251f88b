/*
 * oer_walker_struct.c - the OER walker over structures (SEQUENCE, SET, their
 * OF forms, CHOICE) and the generated OER entries of every table-driven code
 * file.
 *
 * SEQUENCE and SET: a preamble of one bit for each OPTIONAL or DEFAULT
 * component, filled up to whole octets with zero bits and left out when
 * there is no bit, then the components present (a SET's in canonical tag
 * order); a DEFAULT component equal to its default is left out.  CHOICE:
 * the outermost tag of the chosen alternative (class in the top two bits of
 * the first octet, the number in its six low bits, or 63 there and the
 * number in base 128 behind), then the alternative's value; an untagged
 * CHOICE alternative goes out under the tag of its own chosen alternative,
 * and writes that tag again itself.  SEQUENCE OF and SET OF: the count as a
 * length and the fewest octets, then the elements, a SET OF's sorted by
 * their encodings under COER.  Each structure entered
 * counts against the world's nesting limit.  Extensible types and open
 * types are not walked in OER yet.
 */
#include <string.h>

#include "kelvarn_ber.h"
#include "oer_walker.h"
#include "walker_common.h"

/* Messages raised here. */
enum { MSG_END_OF_INPUT = 45, MSG_NOT_IMPLEMENTED = 2 };

/* The most components or alternatives a table has. */
#define MAX_MEMBERS 64

static int is_optional(const KelComponent *c)
{
    return (c->flags & (KEL_COMP_OPTIONAL | KEL_COMP_DEFAULT | KEL_COMP_POINTER)) != 0;
}

/* The members of a SEQUENCE in declared order, of a SET in canonical tag
 * order. */
static uint32_t ordered(const KelTypeDesc *type, const KelComponent **out)
{
    const int sorted = type->kind == KEL_KIND_SET;
    uint32_t n = 0, i, j;
    for (i = 0; i < type->componentCount; i++) {
        const KelComponent *c = &type->components[i];
        for (j = n; sorted && j > 0 && kel_canonical_tag(out[j - 1]) > kel_canonical_tag(c); j--)
            out[j] = out[j - 1];
        out[j] = c;
        n++;
    }
    return n;
}

/* A tag as it stands on the wire, first octet highest. */
static uint32_t wire_tag(uint16_t classNumber)
{
    const uint32_t first = (uint32_t)(classNumber >> 8) & 0xC0u, number = classNumber & 0x3FFFu;
    if (number < 63)
        return first | number;
    if (number < 128)
        return (first | 63u) << 8 | number;
    return (first | 63u) << 16 | (0x80u | number >> 7) << 8 | (number & 0x7Fu);
}

static void put_tag(KelGlobal *world, uint32_t tag)
{
    if (tag > 0xFFFF)
        _kel_oenc_append_3bytes(world, tag >> 16, (tag >> 8) & 0xFF, tag & 0xFF);
    else if (tag > 0xFF)
        _kel_oenc_append_2bytes(world, tag >> 8, tag & 0xFF);
    else
        _kel_oenc_append_byte(world, tag);
}

/* Whether a value of alternative `c` may go out under `tag`: its outermost
 * tag, or for an untagged CHOICE the tag of any of its alternatives. */
static int answers_to(const KelComponent *c, uint32_t tag)
{
    const Tags t = kel_tags_of(c);
    uint32_t i;
    if (t.count)
        return wire_tag(t.tag[0].classNumber) == tag;
    for (i = 0; i < c->type->componentCount; i++)
        if (answers_to(&c->type->components[i], tag))
            return 1;
    return 0;
}

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

static void encode_value(Walk *w, const KelTypeDesc *type, unsigned char *field);

static int omitted(const KelComponent *c, unsigned char *record)
{
    if (!kel_is_present(c, record))
        return 1;
    return (c->flags & KEL_COMP_DEFAULT) && memcmp(record + c->offset, c->defaultValue, c->type->size) == 0;
}

static void encode_structure(Walk *w, const KelTypeDesc *type, unsigned char *record)
{
    const KelComponent *members[MAX_MEMBERS];
    const uint32_t n = ordered(type, members);
    unsigned char preamble[MAX_MEMBERS / 8] = { 0 };
    uint32_t bits = 0, i;

    for (i = 0; i < n; i++) {
        if (!is_optional(members[i]))
            continue;
        if (!omitted(members[i], record))
            preamble[bits >> 3] |= (unsigned char)(0x80u >> (bits & 7));
        bits++;
    }
    if (bits)
        _kel_oenc_append_bytes(w->world, preamble, (bits + 7) / 8);
    for (i = 0; i < n; i++)
        if (!omitted(members[i], record))
            encode_value(w, members[i]->type, kel_value_of(members[i], record));
}

static void encode_elements(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    const KelSequenceOf *list = (const KelSequenceOf *)(const void *)field;
    const KelTypeDesc *element = type->components[0].type;
    unsigned char *elements = (unsigned char *)list->elements;
    uint32_t i;

    const int sorted = type->kind == KEL_KIND_SET_OF;
    KelGlobal *world = w->world;

    kel_oer_encode_quantity(world, list->count);
    if (sorted) /* COER orders the elements by their encodings */
        _kel_beginBlock(world, list->count, &world->outPos, &world->outRemaining);
    for (i = 0; i < list->count; i++, elements += element->size) {
        if (sorted)
            _kel_nextItem(world, &world->outRemaining);
        encode_value(w, element, elements);
    }
    if (sorted)
        _kel_endBlock(world, &world->outPos, &world->outRemaining, 0);
}

static void encode_choice(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    const uint32_t selector = *(const uint32_t *)(const void *)field;
    const KelComponent *chosen;

    if (selector < 1 || selector > type->componentCount)
        _kel_enc_error(w->world, KEL_MSG_CHOICE_SELECTOR, selector);
    chosen = &type->components[selector - 1];
    put_tag(w->world, wire_tag(kel_value_tag(chosen, field)));
    encode_value(w, chosen->type, kel_value_of(chosen, field));
}

static void encode_value(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
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
    case KEL_KIND_OPEN_TYPE: _kel_enc_error(w->world, MSG_NOT_IMPLEMENTED, 0); return;
    default: kel_oer_encode_simple(w->world, type, field); return;
    }
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

static void decode_value(Walk *w, const KelTypeDesc *type, unsigned char *field);

static void decode_component(Walk *w, const KelComponent *c, unsigned char *record)
{
    unsigned char *field = kel_walk_place(w->world, c, record);
    decode_value(w, c->type, field);
}

static void decode_structure(Walk *w, const KelTypeDesc *type, unsigned char *record)
{
    KelGlobal *world = w->world;
    const KelComponent *members[MAX_MEMBERS];
    const uint32_t n = ordered(type, members);
    unsigned char preamble[MAX_MEMBERS / 8];
    uint32_t bits = 0, i;

    for (i = 0; i < n; i++)
        bits += (uint32_t)is_optional(members[i]);
    if (bits) {
        if ((uint32_t)world->inRemaining < (bits + 7) / 8)
            _kel_enc_error(world, MSG_END_OF_INPUT, 0);
        _kel_odec_read_octets(world, preamble, (bits + 7) / 8);
    }
    memset(record, 0, type->size);
    for (i = 0, bits = 0; i < n; i++) {
        const KelComponent *c = members[i];
        const int present = !is_optional(c) || (preamble[bits >> 3] >> (7 - (bits & 7)) & 1u);
        bits += (uint32_t)is_optional(c);
        if (present)
            decode_component(w, c, record);
        else if (c->flags & KEL_COMP_DEFAULT)
            memcpy(record + c->offset, c->defaultValue, c->type->size);
    }
}

static void decode_elements(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    KelGlobal *world = w->world;
    KelSequenceOf *list = (KelSequenceOf *)(void *)field;
    const KelComponent *element = &type->components[0];
    const uint32_t count = kel_oer_decode_quantity(world);
    uint32_t i;

    /* Elements take an octet at least unless their type is empty: a count
     * far beyond the input is a lie, not a list to make room for. */
    if (count > (uint32_t)world->inRemaining && count > 65536)
        _kel_enc_error(world, MSG_END_OF_INPUT, 0);
    list->count = count;
    list->elements = count ? _kel_dec_getmem(world, (int32_t)((uint64_t)count * element->type->size)) : NULL;
    if (count)
        memset(list->elements, 0, (size_t)count * element->type->size);
    for (i = 0; i < count; i++)
        decode_component(w, element, (unsigned char *)list->elements + (size_t)i * element->type->size);
}

static void decode_choice(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    const uint32_t tag = _kel_odec_tag(w->world);
    uint32_t i;

    memset(field, 0, type->size);
    for (i = 0; i < type->componentCount && !answers_to(&type->components[i], tag); i++)
        ;
    if (i == type->componentCount)
        _kel_enc_error(w->world, KEL_MSG_CHOICE_SELECTOR, tag);
    *(uint32_t *)(void *)field = i + 1;
    decode_component(w, &type->components[i], field);
}

static void decode_value(Walk *w, const KelTypeDesc *type, unsigned char *field)
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
    case KEL_KIND_OPEN_TYPE: _kel_enc_error(w->world, MSG_NOT_IMPLEMENTED, 0); return;
    default: kel_oer_decode_simple(w->world, type, field); return;
    }
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

int kel_oer_knows(const KelTypeDesc *type)
{
    uint32_t i;
    if (type->kind == KEL_KIND_OPEN_TYPE)
        return 0;
    if (kel_has_own_tag(type) && type->kind < KEL_KIND_SEQUENCE)
        return kel_oer_knows_simple(type);
    if (type->kind != KEL_KIND_SEQUENCE_OF && type->kind != KEL_KIND_SET_OF && (type->flags & KEL_DESC_EXTENSIBLE))
        return 0;
    for (i = 0; i < type->componentCount; i++)
        if ((type->components[i].flags & KEL_COMP_EXTENSION) ||
            (type->components[i].type != type && !kel_oer_knows(type->components[i].type)))
            return 0;
    return 1;
}

int kel_oer_encode(KelGlobal *world, int pdu, void *value)
{
    Walk w;
    const KelTypeDesc *type = kel_walk_pdu(world, pdu, &w);
    encode_value(&w, type, (unsigned char *)value + type->offset);
    return 0;
}

void *kel_oer_decode(KelGlobal *world, int pdu)
{
    Walk w;
    const KelTypeDesc *type = kel_walk_pdu(world, pdu, &w);
    unsigned char *record = kel_walk_new_value(world, type);
    decode_value(&w, type, record + type->offset);
    return record;
}
