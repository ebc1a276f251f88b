/*
 * ber_walker_struct.c - the BER family walker over structures (SEQUENCE,
 * SET, SEQUENCE OF, SET OF, CHOICE, open types) and over the tags around
 * any type; and the generated entries (encode, decode, free) of every
 * table-driven code file.
 *
 * A value's tags are its component's tag applied to its type's tags: an
 * implicit tag replaces the outermost one, an explicit tag stands before
 * them.  All tags but the innermost are explicit wrappers; a CHOICE or an
 * open type has no tag of its own, so all of its tags are wrappers.  Under
 * CER every constructed header has the indefinite length.
 *
 * SET components go out in canonical tag order under DER and CER, in the
 * order of the type under BER; SET OF elements are sorted by their
 * encodings through the library's blocks.  A DEFAULT component equal to its
 * default is left out under DER and CER.  Decoding takes SET components in
 * any order, skips unknown extensions of extensible types, and fills absent
 * DEFAULT components with their default.  Strict CER and DER decoding
 * refuses SET components out of tag order and DEFAULT components present
 * with their default value.  Each structure entered counts
 * against the world's nesting limit.
 */
#include <string.h>

#include "ber_walker.h"
#include "walker_common.h"

/* Messages raised here. */
enum {
    MSG_OUT_OF_MEMORY = 6,
    MSG_END_OF_INPUT = 45,
    MSG_BAD_EOC = 100,
    MSG_INCONSISTENT = 102,
    MSG_UNKNOWN_TAG = 115,
    MSG_REPEATED = 116,
    MSG_OMITTED = 117,
    MSG_EXPECTED_EOC = 118,
    MSG_EOC_FOR_TAG = 126,
    MSG_INDEFINITE_DER = 134
};

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

static int32_t encode_value(Walk *w, unsigned char **pos, int32_t *rem, const KelTypeDesc *type,
                            const KelTag *tags, int count, unsigned char *field);

static int32_t encode_component(Walk *w, unsigned char **pos, int32_t *rem, const KelComponent *c,
                                unsigned char *record)
{
    Tags t = kel_tags_of(c);
    return encode_value(w, pos, rem, c->type, t.tag, t.count, kel_value_of(c, record));
}

/* Whether a component's value equals its DEFAULT, by value: strings are
 * compared wherever their memory forms keep them. */
static int equals_default(const KelComponent *c, const unsigned char *record)
{
    const KelValueOctets value = kel_ber_value_octets(c->type, record + c->offset);
    const KelValueOctets preset = kel_ber_value_octets(c->type, (const unsigned char *)c->defaultValue);
    return value.bits == preset.bits && value.length == preset.length &&
           (value.length == 0 || memcmp(value.data, preset.data, value.length) == 0);
}

/* Under DER and CER a component equal to its DEFAULT is left out. */
static int omitted(const Walk *w, const KelComponent *c, unsigned char *record)
{
    if (!kel_is_present(c, record))
        return 1;
    return (c->flags & KEL_COMP_DEFAULT) && w->world->encRules != KEL_BER && equals_default(c, record);
}

/* Strict CER and DER decoding refuses a component present with its DEFAULT
 * value; the library compares the two as octets. */
static void check_default_present(KelGlobal *world, const KelComponent *c, const unsigned char *record)
{
    const KelValueOctets value = kel_ber_value_octets(c->type, record + c->offset);
    const KelValueOctets preset = kel_ber_value_octets(c->type, (const unsigned char *)c->defaultValue);
    if (value.bits == preset.bits)
        _kel_dec_dflt_present(world, value.data, value.length, preset.data, preset.length);
}

/* SET components go out under DER and CER in the order of their tags:
 * written backward, the one with the greatest tag below the last written
 * first.  CER ranks an untagged CHOICE by the smallest tag it may have,
 * DER by the tag of the alternative chosen. */
static int32_t encode_members(Walk *w, unsigned char **pos, int32_t *rem, const KelTypeDesc *type,
                              unsigned char *record)
{
    const uint32_t count = type->componentCount;
    int32_t n = 0;
    uint32_t i, below = 0x10000;

    if (type->kind == KEL_KIND_SET && w->world->encRules != KEL_BER) {
        for (;;) {
            const KelComponent *next = NULL;
            uint32_t greatest = 0, tag;
            for (i = 0; i < count; i++) {
                tag = w->world->encRules == KEL_DER ? kel_value_tag(&type->components[i], record)
                                                    : kel_canonical_tag(&type->components[i]);
                if (tag < below && (!next || tag > greatest)) {
                    next = &type->components[i];
                    greatest = tag;
                }
            }
            if (!next)
                return n;
            if (!omitted(w, next, record))
                n += encode_component(w, pos, rem, next, record);
            below = greatest;
        }
    }
    for (i = count; i-- > 0;)
        if (!omitted(w, &type->components[i], record))
            n += encode_component(w, pos, rem, &type->components[i], record);
    return n;
}

/* The library sorts blocks under DER; CER sorts SET OF elements by their
 * encodings as well, so its blocks run with the rule set to DER. */
enum { BLOCK_BEGIN, BLOCK_NEXT, BLOCK_END };

static void block(KelGlobal *world, int step, uint32_t count, unsigned char **pos, int32_t *rem)
{
    const int32_t rules = world->encRules;
    world->encRules = KEL_DER;
    if (step == BLOCK_BEGIN)
        _kel_beginBlock(world, count, pos, rem);
    else if (step == BLOCK_NEXT)
        _kel_nextItem(world, rem);
    else
        _kel_endBlock(world, pos, rem, 0);
    world->encRules = rules;
}

static int32_t encode_elements(Walk *w, unsigned char **pos, int32_t *rem, const KelTypeDesc *type,
                               unsigned char *field)
{
    const KelSequenceOf *list = (const KelSequenceOf *)(const void *)field;
    const KelComponent *element = &type->components[0];
    const int sorted = type->kind == KEL_KIND_SET_OF && w->world->encRules != KEL_BER;
    unsigned char *elements = (unsigned char *)list->elements;
    int32_t n = 0;
    uint32_t i;

    if (sorted)
        block(w->world, BLOCK_BEGIN, list->count, pos, rem);
    for (i = list->count; i-- > 0;) {
        if (sorted)
            block(w->world, BLOCK_NEXT, 0, pos, rem);
        n += encode_component(w, pos, rem, element, elements + i * element->type->size);
    }
    if (sorted)
        block(w->world, BLOCK_END, 0, pos, rem);
    return n;
}

static int32_t encode_choice(Walk *w, unsigned char **pos, int32_t *rem, const KelTypeDesc *type,
                             unsigned char *field)
{
    const uint32_t selector = *(const uint32_t *)(const void *)field;
    if (selector < 1 || selector > type->componentCount)
        _kel_enc_error(w->world, KEL_MSG_CHOICE_SELECTOR, selector);
    return encode_component(w, pos, rem, &type->components[selector - 1], field);
}

/* An open type: the value of the row it selects, or the encoding kept. */
static int32_t encode_open(Walk *w, unsigned char **pos, int32_t *rem, const KelTypeDesc *type,
                           unsigned char *field)
{
    const KelOpenType *open = (const KelOpenType *)(const void *)field;
    const KelTypeDesc *row;
    if (!open->decoded || open->pduNum < 1 || (uint32_t)open->pduNum > type->componentCount)
        return _kel_encd_opentype(w->world, pos, rem, open);
    row = type->components[open->pduNum - 1].type;
    return encode_value(w, pos, rem, row, row->tags, row->tagCount, (unsigned char *)open->decoded);
}

/* The header of constructed contents of `n` octets. */
static int32_t close_constructed(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t n,
                                 const KelTag *tag)
{
    if (world->encRules == KEL_CER)
        return _kel_write_byte_d(world, pos, rem, 0x80) + _kel_encd_tag(world, pos, rem, tag->classNumber, 1);
    return _kel_encd_tag_length(world, pos, rem, (uint32_t)n, tag->header);
}

/* The value's TLV under its own tag (none for CHOICE and open types). */
static int32_t encode_inner(Walk *w, unsigned char **pos, int32_t *rem, const KelTypeDesc *type,
                            const KelTag *tag, unsigned char *field)
{
    KelGlobal *world = w->world;
    int32_t n, endOfContents = 0;

    switch (type->kind) {
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET:
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF:
        kel_walk_enter(w);
        if (world->encRules == KEL_CER)
            endOfContents = _kel_write_bytes_d(world, pos, rem, "\0\0", 2);
        n = type->kind <= KEL_KIND_SET ? encode_members(w, pos, rem, type, field)
                                       : encode_elements(w, pos, rem, type, field);
        w->depth--;
        return endOfContents + n + close_constructed(world, pos, rem, n, tag);
    case KEL_KIND_CHOICE:
        kel_walk_enter(w);
        n = encode_choice(w, pos, rem, type, field);
        w->depth--;
        return n;
    case KEL_KIND_OPEN_TYPE: return encode_open(w, pos, rem, type, field);
    default: return kel_ber_encode_simple(world, pos, rem, type, tag, field);
    }
}

static int32_t encode_value(Walk *w, unsigned char **pos, int32_t *rem, const KelTypeDesc *type,
                            const KelTag *tags, int count, unsigned char *field)
{
    const int wrappers = count - kel_has_own_tag(type);
    int32_t endOfContents = 0, n;
    int i;

    if (w->world->encRules == KEL_CER)
        for (i = 0; i < wrappers; i++)
            endOfContents += _kel_write_bytes_d(w->world, pos, rem, "\0\0", 2);
    n = encode_inner(w, pos, rem, type, &tags[wrappers < 0 ? 0 : wrappers], field);
    for (i = wrappers - 1; i >= 0; i--)
        n += close_constructed(w->world, pos, rem, n, &tags[i]);
    return endOfContents + n;
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

/* inRemaining at the end of constructed contents of `length`; -1 for the
 * indefinite length, which DER refuses. */
static int32_t end_of(KelGlobal *world, int32_t length)
{
    if (length > world->inRemaining)
        _kel_enc_error(world, MSG_END_OF_INPUT, 0);
    if (length >= 0)
        return world->inRemaining - length;
    if (world->encRules == KEL_DER)
        _kel_enc_error(world, MSG_INDEFINITE_DER, 0);
    return -1;
}

/* Whether more contents follow before `end`; the end-of-contents octets of
 * an indefinite value are consumed here. */
static int more_contents(KelGlobal *world, int32_t end)
{
    if (end >= 0) {
        if (world->inRemaining < end)
            _kel_enc_error(world, MSG_INCONSISTENT, 0);
        return world->inRemaining > end;
    }
    if (_kel_preview_byte(world, &world->inPos, &world->inRemaining) != 0)
        return 1;
    _kel_get_byte(world, &world->inPos, &world->inRemaining);
    if (_kel_get_byte(world, &world->inPos, &world->inRemaining) != 0)
        _kel_enc_error(world, MSG_BAD_EOC, 0);
    return 0;
}

static void close_contents(KelGlobal *world, int32_t end)
{
    if (end >= 0) {
        if (world->inRemaining != end)
            _kel_enc_error(world, MSG_INCONSISTENT, 0);
    } else if (_kel_get_byte(world, &world->inPos, &world->inRemaining) != 0 ||
               _kel_get_byte(world, &world->inPos, &world->inRemaining) != 0) {
        _kel_enc_error(world, MSG_EXPECTED_EOC, 0);
    }
}

/* The class and number of the next tag; the position stays. */
static uint16_t next_tag(KelGlobal *world)
{
    unsigned char *pos = world->inPos;
    int32_t rem = world->inRemaining;
    return _kel_dec_tag(world, &pos, &rem);
}

/* Steps over the next TLV: an unknown extension.  Tag [UNIVERSAL 0] marks
 * an end-of-contents and tags no value: strict decoding refuses it here,
 * where the contents go on. */
static void skip_item(KelGlobal *world)
{
    if (_kel_dec_tag(world, &world->inPos, &world->inRemaining) == 0 &&
        (world->decodingFlags & STRICT_ENCODING_DECODING_RULES))
        _kel_enc_error(world, MSG_EOC_FOR_TAG, 0);
    _kel_skip_past_item(world, &world->inPos, &world->inRemaining,
                        _kel_dec_length(world, &world->inPos, &world->inRemaining));
}

static int matches(const KelComponent *c, uint16_t tag)
{
    Tags t = kel_tags_of(c);
    uint32_t i;
    if (t.count)
        return t.tag[0].classNumber == tag;
    for (i = 0; i < c->type->componentCount; i++)
        if (matches(&c->type->components[i], tag))
            return 1;
    return 0;
}

static void decode_value(Walk *w, const KelTypeDesc *type, const KelTag *tags, int count,
                         unsigned char *field, const KelTypeDesc *parent, const unsigned char *record);

static void decode_component(Walk *w, const KelComponent *c, unsigned char *record,
                             const KelTypeDesc *parent)
{
    Tags t = kel_tags_of(c);
    unsigned char *field = kel_walk_place(w->world, c, record);
    decode_value(w, c->type, t.tag, t.count, field, parent, record);
}

/* The component of an incoming tag: in a SEQUENCE the next one that
 * matches, passing over components that may be absent; in a SET any. */
static int find_component(const KelTypeDesc *type, uint16_t tag, uint32_t from)
{
    uint32_t i;
    for (i = from; i < type->componentCount; i++) {
        const KelComponent *c = &type->components[i];
        if (matches(c, tag))
            return (int)i;
        if (type->kind == KEL_KIND_SEQUENCE &&
            !(c->flags & (KEL_COMP_OPTIONAL | KEL_COMP_DEFAULT | KEL_COMP_EXTENSION | KEL_COMP_POINTER)))
            return -1;
    }
    return -1;
}

/* An absent DEFAULT component takes its default; a value kept behind a
 * pointer gets a copy of its own in decoder memory, which the value's free
 * function gives back like any decoded piece. */
static void fill_default(KelGlobal *world, const KelComponent *c, unsigned char *record)
{
    const unsigned char *preset = (const unsigned char *)c->defaultValue;
    const KelValueOctets octets = kel_ber_value_octets(c->type, preset);
    unsigned char *field = record + c->offset, *copy = NULL;

    memcpy(field, preset, c->type->size);
    if (octets.data >= preset && octets.data < preset + c->type->size)
        return; /* held in the record itself */
    switch (c->type->form) {
    case KEL_FORM_VARYING_PTR:
        copy = (unsigned char *)_kel_dec_getmem(world, (int32_t)(KEL_VARYING_HEADER + octets.length));
        memcpy(copy, octets.data - KEL_VARYING_HEADER, KEL_VARYING_HEADER + octets.length);
        *(unsigned char **)(void *)field = copy;
        return;
    case KEL_FORM_NULLTERM_PTR:
    case KEL_FORM_TIME_TEXT:
        copy = (unsigned char *)_kel_dec_getmem(world, (int32_t)octets.length + 1);
        memcpy(copy, octets.data, octets.length);
        copy[octets.length] = 0;
        *(unsigned char **)(void *)field = copy;
        return;
    default: /* {length, pointer} records */
        if (octets.length) {
            copy = (unsigned char *)_kel_dec_getmem(world, (int32_t)octets.length);
            memcpy(copy, octets.data, octets.length);
        }
        ((KelUnboundedString *)(void *)field)->value = copy;
        return;
    }
}

static void decode_members(Walk *w, const KelTypeDesc *type, unsigned char *record, int32_t end)
{
    KelGlobal *world = w->world;
    uint64_t seen = 0; /* by component index; a table has at most 64 */
    uint32_t next = 0, nextTag = 0, i;
    const KelComponent *c;

    memset(record, 0, type->size);
    while (more_contents(world, end)) {
        const uint16_t tag = next_tag(world);
        const int found = find_component(type, tag, type->kind == KEL_KIND_SEQUENCE ? next : 0);
        if (found < 0) {
            if (!(type->flags & KEL_DESC_EXTENSIBLE))
                _kel_enc_error(world, MSG_UNKNOWN_TAG, tag);
            skip_item(world);
            continue;
        }
        if (seen >> found & 1u)
            _kel_enc_error(world, MSG_REPEATED, 0);
        seen |= (uint64_t)1 << found;
        c = &type->components[found];
        if (type->kind == KEL_KIND_SET)
            _kel_dec_set_order(world, &nextTag, world->encRules == KEL_CER ? kel_canonical_tag(c) : tag);
        decode_component(w, c, record, type);
        if (c->flags & KEL_COMP_DEFAULT)
            check_default_present(world, c, record);
        next = (uint32_t)found + 1;
    }
    for (i = 0; i < type->componentCount; i++) {
        c = &type->components[i];
        if (seen >> i & 1u)
            continue;
        if (c->flags & KEL_COMP_DEFAULT)
            fill_default(world, c, record);
        else if (!(c->flags & (KEL_COMP_OPTIONAL | KEL_COMP_EXTENSION | KEL_COMP_POINTER)))
            _kel_enc_error(world, MSG_OMITTED, 0);
    }
}

/* The elements go into an array that grows by doubling on the temporary
 * stack and moves to decoder memory after the last one: the count is known
 * only then, so a list refused at an early element costs what was read, not
 * a walk over the rest.  Elements give back what they take from the
 * temporary stack, so between elements the array is its newest piece and
 * grows in place or by one move.  A SET OF under DER and CER hands each
 * element's encoding with the previous one to the library's order test. */
static void decode_elements(Walk *w, const KelTypeDesc *type, unsigned char *field, int32_t end)
{
    KelGlobal *world = w->world;
    KelSequenceOf *list = (KelSequenceOf *)(void *)field;
    const KelComponent *element = &type->components[0];
    const uint32_t size = element->type->size;
    const int ordered = type->kind == KEL_KIND_SET_OF && world->encRules != KEL_BER;
    unsigned char *array = NULL, *previous = NULL;
    uint32_t count = 0, capacity = 0, previousLength = 0;

    while (more_contents(world, end)) {
        unsigned char *start = world->inPos;
        if (count == capacity) {
            const uint32_t grown = capacity ? 2 * capacity : 8;
            if ((uint64_t)grown * size > INT32_MAX)
                _kel_enc_error(world, MSG_OUT_OF_MEMORY, UINT32_MAX);
            array = _kel_dec_realloctempmem(world, array, capacity * size, grown * size);
            capacity = grown;
        }
        memset(array + (size_t)count * size, 0, size);
        decode_component(w, element, array + (size_t)count * size, NULL);
        if (ordered && previous)
            _kel_check_setof_order(world, previous, previousLength, start, (uint32_t)(world->inPos - start));
        previous = start;
        previousLength = (uint32_t)(world->inPos - start);
        count++;
    }
    list->count = count;
    list->elements = NULL;
    if (count) {
        list->elements = _kel_dec_getmem_internal(world, count * size);
        memcpy(list->elements, array, (size_t)count * size);
    }
    if (array)
        _kel_dec_freetempmem(world, array);
}

static void decode_choice(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    const uint16_t tag = next_tag(w->world);
    uint32_t i;
    memset(field, 0, type->size);
    for (i = 0; i < type->componentCount; i++) {
        if (matches(&type->components[i], tag)) {
            *(uint32_t *)(void *)field = i + 1;
            decode_component(w, &type->components[i], field, type);
            return;
        }
    }
    if (!(type->flags & KEL_DESC_EXTENSIBLE))
        _kel_enc_error(w->world, MSG_UNKNOWN_TAG, tag);
    skip_item(w->world);
}

/* An open type: the type its key selects, or kept as its encoding when the
 * key is not in the table. */
static void decode_open(Walk *w, const KelTypeDesc *type, unsigned char *field,
                        const KelTypeDesc *parent, const unsigned char *record)
{
    KelGlobal *world = w->world;
    KelOpenType *open = (KelOpenType *)(void *)field;
    const int row = kel_open_row(type, parent, record);

    memset(open, 0, sizeof *open);
    if (row < 0) {
        _kel_dec_opentype(world, &world->inPos, &world->inRemaining, world->inRemaining, open);
        return;
    }
    open->pduNum = row + 1;
    open->decoded = kel_walk_new_value(world, type->components[row].type);
    decode_value(w, type->components[row].type, type->components[row].type->tags,
                 type->components[row].type->tagCount, (unsigned char *)open->decoded, NULL, NULL);
}

static void decode_inner(Walk *w, const KelTypeDesc *type, const KelTag *tag, unsigned char *field,
                         const KelTypeDesc *parent, const unsigned char *record)
{
    KelGlobal *world = w->world;
    int32_t length;

    switch (type->kind) {
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET:
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF:
        kel_walk_enter(w);
        length = _kel_dec_tag_length(world, &world->inPos, &world->inRemaining, tag->match);
        if (type->kind <= KEL_KIND_SET)
            decode_members(w, type, field, end_of(world, length));
        else
            decode_elements(w, type, field, end_of(world, length));
        w->depth--;
        return;
    case KEL_KIND_CHOICE:
        kel_walk_enter(w);
        decode_choice(w, type, field);
        w->depth--;
        return;
    case KEL_KIND_OPEN_TYPE: decode_open(w, type, field, parent, record); return;
    default: kel_ber_decode_simple(world, type, tag, field); return;
    }
}

static void decode_value(Walk *w, const KelTypeDesc *type, const KelTag *tags, int count,
                         unsigned char *field, const KelTypeDesc *parent, const unsigned char *record)
{
    KelGlobal *world = w->world;
    const int wrappers = count - kel_has_own_tag(type);
    int32_t end[KEL_MAX_TAGS];
    int i;

    for (i = 0; i < wrappers; i++)
        end[i] = end_of(world, _kel_dec_tag_length(world, &world->inPos, &world->inRemaining, tags[i].match));
    decode_inner(w, type, &tags[wrappers < 0 ? 0 : wrappers], field, parent, record);
    for (i = wrappers - 1; i >= 0; i--)
        close_contents(world, end[i]);
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

int kel_ber_encode(KelGlobal *world, int pdu, void *value)
{
    Walk w;
    const KelTypeDesc *type = kel_walk_pdu(world, pdu, &w);
    unsigned char *pos = world->userBuffer ? world->outPos + world->outRemaining : NULL;
    int32_t rem = world->userBuffer ? world->outRemaining : 0;
    int32_t total = encode_value(&w, &pos, &rem, type, type->tags, type->tagCount,
                                 (unsigned char *)value + type->offset);

    if (world->userBuffer) {
        world->outPos = pos;
        world->outRemaining = total;
    } else {
        uint32_t length;
        unsigned char *joined;
        _kel_set_outmem_d(world, (uint32_t)rem, &length, &joined);
        world->outPos = joined;
        world->outRemaining = (int32_t)length;
    }
    return 0;
}

int kel_ber_decode(KelGlobal *world, int *pdu, void **value)
{
    Walk w;
    const KelTypeDesc *type = kel_walk_pdu(world, *pdu, &w);
    unsigned char *record = kel_walk_new_value(world, type);
    decode_value(&w, type, type->tags, type->tagCount, record + type->offset, NULL, NULL);
    *value = record;
    return 0;
}

/* The pieces of a decoded value, the field itself excepted. */
static void free_value(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    uint32_t i;
    switch (type->kind) {
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET:
        for (i = 0; i < type->componentCount; i++) {
            const KelComponent *c = &type->components[i];
            unsigned char *value = kel_value_of(c, field);
            if (!value)
                continue;
            free_value(world, c->type, value);
            if (c->flags & KEL_COMP_POINTER)
                kelFreeMemory(world, value);
        }
        return;
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF: {
        KelSequenceOf *list = (KelSequenceOf *)(void *)field;
        const KelTypeDesc *element = type->components[0].type;
        for (i = 0; i < list->count; i++)
            free_value(world, element, (unsigned char *)list->elements + (size_t)i * element->size);
        if (list->elements)
            kelFreeMemory(world, list->elements);
        return;
    }
    case KEL_KIND_CHOICE:
        i = *(uint32_t *)(void *)field;
        if (i >= 1 && i <= type->componentCount)
            free_value(world, type->components[i - 1].type, field + type->components[i - 1].offset);
        return;
    case KEL_KIND_OPEN_TYPE: {
        KelOpenType *open = (KelOpenType *)(void *)field;
        if (open->decoded) {
            free_value(world, type->components[open->pduNum - 1].type, (unsigned char *)open->decoded);
            kelFreeMemory(world, open->decoded);
        }
        if (open->encoded)
            kelFreeMemory(world, open->encoded);
        return;
    }
    default: kel_ber_free_simple(world, type, field); return;
    }
}

int kel_codefile_free(KelGlobal *world, int pdu, void *value)
{
    const KelCodeFile *file = kel_world_codefile(world);
    const KelTypeDesc *type;
    if (pdu < 1 || pdu > file->pduCount)
        return 3;
    type = file->pdus[pdu - 1].type;
    free_value(world, type, (unsigned char *)value + type->offset);
    kelFreeMemory(world, value);
    return 0;
}
