/*
 * oer_walker_struct.c - the OER walker over structures (SEQUENCE, SET, their
 * OF forms, CHOICE, open types) and the generated OER entries of every
 * table-driven code file.
 *
 * SEQUENCE and SET: a preamble of an extension bit when the type is
 * extensible and one bit for each OPTIONAL or DEFAULT root component,
 * filled up to whole octets with zero bits and left out when there is no
 * bit; then the root components present (a SET's in canonical tag order); a
 * DEFAULT component equal to its default is left out.  With the extension
 * bit set, a presence bitmap of one bit per addition (a version bracket
 * counts once, as a SEQUENCE of its own) as a bit string, and each present
 * addition wrapped in a length.  CHOICE: the outermost tag of the chosen
 * alternative (class in the top two bits of the first octet, the number in
 * its six low bits, or 63 there and the number in base 128 behind), then the
 * alternative's value, wrapped in a length when it is an addition; an
 * untagged CHOICE alternative goes out under the tag of its own chosen
 * alternative, and writes that tag again itself.  SEQUENCE OF and SET OF:
 * the count as a length and the fewest octets, then the elements, a SET
 * OF's sorted by their encodings under COER.  An open type: the value of the
 * row its key selects, wrapped; an unknown key keeps the encoding.  Unknown
 * additions and alternatives of extensible types are stepped over.  Each
 * structure entered counts against the world's nesting limit.
 */
#include <string.h>

#include "kelvarn_ber.h"
#include "oer_walker.h"
#include "walker_common.h"

/* Messages raised here. */
enum { MSG_END_OF_INPUT = 45 };

/* The most components or alternatives a table has. */
#define MAX_MEMBERS 64

static int is_optional(const KelComponent *c)
{
    return (c->flags & (KEL_COMP_OPTIONAL | KEL_COMP_DEFAULT | KEL_COMP_POINTER)) != 0;
}

static int is_extensible(const KelTypeDesc *type)
{
    return (type->flags & KEL_DESC_EXTENSIBLE) != 0;
}

/* The root members of a SEQUENCE in declared order, of a SET in canonical
 * tag order. */
static uint32_t ordered_root(const KelTypeDesc *type, const KelComponent **out)
{
    const int sorted = type->kind == KEL_KIND_SET;
    uint32_t n = 0, i, j;
    for (i = 0; i < type->componentCount; i++) {
        const KelComponent *c = &type->components[i];
        if (kel_is_addition(c))
            continue;
        for (j = n; sorted && j > 0 && kel_canonical_tag(out[j - 1]) > kel_canonical_tag(c); j--)
            out[j] = out[j - 1];
        out[j] = c;
        n++;
    }
    return n;
}

#define FOR_EACH_ADDITION(type, i) \
    for (i = kel_next_addition(type, 0); i < (type)->componentCount; \
         i = kel_next_addition(type, kel_addition_end(type, i)))

/* The members of the addition starting at `first`. */
static uint32_t addition_members(const KelTypeDesc *type, uint32_t first, const KelComponent **out)
{
    const uint32_t end = kel_addition_end(type, first);
    uint32_t j;
    for (j = first; j < end; j++)
        out[j - first] = &type->components[j];
    return end - first;
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

static void set_bit(unsigned char *bits, uint32_t i)
{
    bits[i >> 3] |= (unsigned char)(0x80u >> (i & 7));
}

static int bit_at(const unsigned char *bits, uint32_t i)
{
    return bits[i >> 3] >> (7 - (i & 7)) & 1;
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

/* The preamble (`extended` is the extension bit, or -1 for none), then
 * the members present. */
static void encode_members(Walk *w, const KelComponent *const *members, uint32_t n, unsigned char *record,
                           const KelTypeDesc *parent, int extended)
{
    unsigned char preamble[(MAX_MEMBERS + 1 + 7) / 8] = { 0 };
    uint32_t bits = 0, i;
    if (extended >= 0 && extended)
        set_bit(preamble, 0);
    bits = extended >= 0;
    for (i = 0; i < n; i++) {
        if (!is_optional(members[i]))
            continue;
        if (!omitted(members[i], record))
            set_bit(preamble, bits);
        bits++;
    }
    if (bits)
        _kel_oenc_append_bytes(w->world, preamble, (bits + 7) / 8);
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

/* The presence bitmap, then each present addition wrapped in a length. */
static void encode_additions(Walk *w, const KelTypeDesc *type, unsigned char *record)
{
    KelGlobal *world = w->world;
    unsigned char bitmap[MAX_MEMBERS / 8] = { 0 };
    uint32_t count = 0, i;

    FOR_EACH_ADDITION(type, i) {
        if (addition_present(type, i, record))
            set_bit(bitmap, count);
        count++;
    }
    _kel_oenc_rsf_ext_bitmask(world, bitmap, count, NULL, 0);
    FOR_EACH_ADDITION(type, i) {
        const KelComponent *group[MAX_MEMBERS];
        KelPushFrame frame;
        if (!addition_present(type, i, record))
            continue;
        _kel_oenc_begin_ext(world, &frame);
        if (type->components[i].group)
            encode_members(w, group, addition_members(type, i, group), record, type, -1);
        else
            encode_component(w, &type->components[i], record, type);
        _kel_oenc_end_ext(world, &frame);
    }
}

static void encode_structure(Walk *w, const KelTypeDesc *type, unsigned char *record)
{
    const KelComponent *root[MAX_MEMBERS];
    const uint32_t n = ordered_root(type, root);
    int extended = -1;
    uint32_t i;

    if (is_extensible(type)) {
        extended = 0;
        FOR_EACH_ADDITION(type, i) {
            extended |= addition_present(type, i, record);
        }
    }
    encode_members(w, root, n, record, type, extended);
    if (extended > 0)
        encode_additions(w, type, record);
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
        encode_value(w, element, elements, NULL, NULL);
    }
    if (sorted)
        _kel_endBlock(world, &world->outPos, &world->outRemaining, 0);
}

static void encode_choice(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    const uint32_t selector = *(const uint32_t *)(const void *)field;
    const KelComponent *chosen;
    KelPushFrame frame;

    if (selector < 1 || selector > type->componentCount)
        _kel_enc_error(w->world, KEL_MSG_CHOICE_SELECTOR, selector);
    chosen = &type->components[selector - 1];
    put_tag(w->world, wire_tag(kel_value_tag(chosen, field)));
    if (!kel_is_addition(chosen)) {
        encode_component(w, chosen, field, type);
        return;
    }
    _kel_oenc_begin_ext(w->world, &frame);
    encode_component(w, chosen, field, type);
    _kel_oenc_end_ext(w->world, &frame);
}

/* An open type: the value of the row it selects, or the encoding kept. */
static void encode_open(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    const KelOpenType *open = (const KelOpenType *)(const void *)field;
    KelPushFrame frame;
    if (!open->decoded || open->pduNum < 1 || (uint32_t)open->pduNum > type->componentCount) {
        _kel_oenc_octet_length(w->world, open->length);
        _kel_oenc_append_bytes(w->world, (const unsigned char *)open->encoded, open->length);
        return;
    }
    _kel_oenc_begin_ext(w->world, &frame);
    encode_value(w, type->components[open->pduNum - 1].type, (unsigned char *)open->decoded, NULL, NULL);
    _kel_oenc_end_ext(w->world, &frame);
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
    default: kel_oer_encode_simple(w->world, type, field); return;
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

/* The preamble, then the members it marks present.  Answers the extension
 * bit when `extensible`. */
static int decode_members(Walk *w, const KelComponent *const *members, uint32_t n, unsigned char *record,
                          const KelTypeDesc *parent, int extensible)
{
    KelGlobal *world = w->world;
    unsigned char preamble[(MAX_MEMBERS + 1 + 7) / 8];
    uint32_t bits = (uint32_t)extensible, i;

    for (i = 0; i < n; i++)
        bits += (uint32_t)is_optional(members[i]);
    if (bits) {
        if ((uint32_t)world->inRemaining < (bits + 7) / 8)
            _kel_enc_error(world, MSG_END_OF_INPUT, 0);
        _kel_odec_read_octets(world, preamble, (bits + 7) / 8);
    }
    for (i = 0, bits = (uint32_t)extensible; i < n; i++) {
        const KelComponent *c = members[i];
        const int present = !is_optional(c) || bit_at(preamble, bits);
        bits += (uint32_t)is_optional(c);
        if (present)
            decode_component(w, c, record, parent);
        else
            absent(c, record);
    }
    return extensible && bit_at(preamble, 0);
}

/* A length whose content is in the input: four length octets with the top
 * bit set read as negative, and no input holds that much. */
static uint32_t present_length(KelGlobal *world)
{
    const int32_t n = _kel_odec_length(world);
    if (n < 0)
        _kel_enc_error(world, MSG_END_OF_INPUT, 0);
    return (uint32_t)n;
}

/* The content of one length: the reader is held inside it, and content
 * the value left unread is stepped over. */
static const unsigned char *open_content(KelGlobal *world, uint32_t *length, int32_t *outside)
{
    const uint32_t n = present_length(world);
    *length = n;
    *outside = world->inRemaining - (int32_t)n;
    world->inRemaining = (int32_t)n;
    return world->inPos;
}

static void close_content(KelGlobal *world, const unsigned char *start, uint32_t length, int32_t outside)
{
    if (world->inPos != start + length)
        _kel_odec_check_bytes(world, start, length);
    world->inRemaining = outside;
}

static void decode_additions(Walk *w, const KelTypeDesc *type, unsigned char *record)
{
    KelGlobal *world = w->world;
    unsigned char local[16], *bits = local;
    const uint32_t length = present_length(world);
    uint32_t count, i, j, k = 0;

    if (length > sizeof local)
        bits = (unsigned char *)_kel_dec_gettempmem(world, length);
    count = _kel_odec_bits_by_len(world, bits, length);
    _kel_odec_check_eapb(world, bits, count);
    FOR_EACH_ADDITION(type, i) {
        const KelComponent *group[MAX_MEMBERS];
        const uint32_t end = kel_addition_end(type, i);
        const unsigned char *start;
        uint32_t size;
        int32_t outside;
        if (k >= count || !bit_at(bits, k++)) {
            for (j = i; j < end; j++)
                absent(&type->components[j], record);
            continue;
        }
        start = open_content(world, &size, &outside);
        if (type->components[i].group)
            decode_members(w, group, addition_members(type, i, group), record, type, 0);
        else
            decode_component(w, &type->components[i], record, type);
        close_content(world, start, size, outside);
    }
    if (count > k)
        _kel_odec_skip_unknown(world, bits, k, count);
    if (bits != local)
        _kel_dec_freetempmem(world, bits);
}

static void decode_structure(Walk *w, const KelTypeDesc *type, unsigned char *record)
{
    const KelComponent *root[MAX_MEMBERS];
    const uint32_t n = ordered_root(type, root);
    uint32_t i;

    memset(record, 0, type->size);
    if (decode_members(w, root, n, record, type, is_extensible(type)))
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
        decode_component(w, element, (unsigned char *)list->elements + (size_t)i * element->type->size, NULL);
}

static void decode_choice(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    static const unsigned char one = 0x80;
    KelGlobal *world = w->world;
    const uint32_t tag = _kel_odec_tag(world);
    const unsigned char *start;
    uint32_t i, size;
    int32_t outside;

    memset(field, 0, type->size);
    for (i = 0; i < type->componentCount && !answers_to(&type->components[i], tag); i++)
        ;
    if (i == type->componentCount) {
        if (!is_extensible(type))
            _kel_enc_error(world, KEL_MSG_CHOICE_SELECTOR, tag);
        _kel_odec_skip_unknown(world, &one, 0, 1); /* an alternative this table doesn't know */
        return;
    }
    *(uint32_t *)(void *)field = i + 1;
    if (!kel_is_addition(&type->components[i])) {
        decode_component(w, &type->components[i], field, type);
        return;
    }
    start = open_content(world, &size, &outside);
    decode_component(w, &type->components[i], field, type);
    close_content(world, start, size, outside);
}

/* An open type: the type its key selects, or kept as its encoding when the
 * key is not in the table. */
static void decode_open(Walk *w, const KelTypeDesc *type, unsigned char *field, const KelTypeDesc *parent,
                        const unsigned char *record)
{
    KelGlobal *world = w->world;
    KelOpenType *open = (KelOpenType *)(void *)field;
    const int row = kel_open_row(type, parent, record);
    const unsigned char *start;
    uint32_t size;
    int32_t outside;

    memset(open, 0, sizeof *open);
    if (row < 0) {
        open->length = present_length(world);
        open->encoded = open->length ? _kel_dec_getmem(world, (int32_t)open->length) : NULL;
        _kel_odec_read_octets(world, (unsigned char *)open->encoded, open->length);
        return;
    }
    open->pduNum = row + 1;
    open->decoded = kel_walk_new_value(world, type->components[row].type);
    start = open_content(world, &size, &outside);
    decode_value(w, type->components[row].type, (unsigned char *)open->decoded, NULL, NULL);
    close_content(world, start, size, outside);
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
    default: kel_oer_decode_simple(w->world, type, field); return;
    }
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

int kel_oer_knows(const KelTypeDesc *type)
{
    return kel_walker_knows(type, kel_oer_knows_simple);
}

int kel_oer_encode(KelGlobal *world, int pdu, void *value)
{
    Walk w;
    const KelTypeDesc *type = kel_walk_pdu(world, pdu, &w);
    encode_value(&w, type, (unsigned char *)value + type->offset, NULL, NULL);
    return 0;
}

void *kel_oer_decode(KelGlobal *world, int pdu)
{
    Walk w;
    const KelTypeDesc *type = kel_walk_pdu(world, pdu, &w);
    unsigned char *record = kel_walk_new_value(world, type);
    decode_value(&w, type, record + type->offset, NULL, NULL);
    return record;
}
