/*
 * json_walker_struct.c - the JSON walker over structures (SEQUENCE, SET,
 * their OF forms, CHOICE, open types) and the generated JSON entries of
 * every table-driven code file.
 *
 * SEQUENCE and SET: an object of the members present in declared order,
 * extension additions and the members of version brackets like root
 * members; a DEFAULT member equal to its default is left out unless
 * JSON_ENC_DEFAULT_VALUES is set, and an absent one is written as null
 * under JSON_ENC_ABSENT_COMPONENTS.  The decoder takes members in any
 * order: a member given twice is refused, one the type doesn't know is
 * refused unless the type is extensible, where it is stepped over, and
 * missing mandatory members are refused.  CHOICE: an object of one member,
 * the alternative; an unknown one of an extensible CHOICE leaves the
 * selector 0.  SEQUENCE OF and SET OF: arrays.  An open type: the value of
 * the row its key selects, or the JSON text kept as it stands when the key
 * is in no row.  JSON_WRAPPED_ENCODING puts the value in an object whose
 * one member is named after the PDU.  Each structure entered counts against
 * the world's nesting limit.
 */
#include <string.h>

#include "json_walker.h"
#include "walker_common.h"

/* Messages raised here. */
enum { MSG_GROUP_MEMBER_ABSENT = 86, MSG_FIELD_OMITTED = 117, MSG_INVALID_ENCODING = 315 };

/* The most components a table has. */
#define MAX_MEMBERS 64

static int is_optional(const KelComponent *c)
{
    return kel_is_addition(c) || (c->flags & (KEL_COMP_OPTIONAL | KEL_COMP_DEFAULT | KEL_COMP_POINTER)) != 0;
}

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

static void encode_value(Walk *w, const KelTypeDesc *type, unsigned char *field, const KelTypeDesc *parent,
                         unsigned char *record);

static int equals_default(const KelComponent *c, const unsigned char *record, uint32_t flags)
{
    return (c->flags & KEL_COMP_DEFAULT) && !(flags & JSON_ENC_DEFAULT_VALUES) &&
           memcmp(record + c->offset, c->defaultValue, c->type->size) == 0;
}

static void encode_structure(Walk *w, const KelTypeDesc *type, unsigned char *record)
{
    KelGlobal *world = w->world;
    const uint32_t flags = (uint32_t)kelGetJsonFlags(world);
    uint32_t i, written = 0;

    _kel_jenc_begin_object(world);
    for (i = 0; i < type->componentCount; i++) {
        const KelComponent *c = &type->components[i];
        const int present = kel_is_present(c, record);
        if (present ? equals_default(c, record, flags) : !(flags & JSON_ENC_ABSENT_COMPONENTS))
            continue;
        _kel_jenc_element(world, c->name, written++ > 0);
        if (present)
            encode_value(w, c->type, kel_value_of(c, record), type, record);
        else
            _kel_jenc_append(world, "null", 4);
    }
    _kel_jenc_end_object(world, written > 0);
}

static void encode_elements(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    const KelSequenceOf *list = (const KelSequenceOf *)(const void *)field;
    const KelTypeDesc *element = type->components[0].type;
    unsigned char *elements = (unsigned char *)list->elements;
    uint32_t i;

    _kel_jenc_begin_array(w->world);
    for (i = 0; i < list->count; i++, elements += element->size) {
        if (i)
            _kel_jenc_append_char(w->world, ',');
        _kel_jenc_indent(w->world);
        encode_value(w, element, elements, NULL, NULL);
    }
    _kel_jenc_end_array(w->world, list->count > 0);
}

static void encode_choice(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    const uint32_t selector = *(const uint32_t *)(const void *)field;
    const KelComponent *chosen;

    if (selector < 1 || selector > type->componentCount)
        _kel_enc_error(w->world, KEL_MSG_CHOICE_SELECTOR, selector);
    chosen = &type->components[selector - 1];
    _kel_jenc_begin_object(w->world);
    _kel_jenc_element(w->world, chosen->name, 0);
    encode_value(w, chosen->type, kel_value_of(chosen, field), type, field);
    _kel_jenc_end_object(w->world, 1);
}

/* An open type: the value of the row it selects, or the text kept. */
static void encode_open(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    const KelOpenType *open = (const KelOpenType *)(const void *)field;
    if (!open->decoded || open->pduNum < 1 || (uint32_t)open->pduNum > type->componentCount)
        _kel_jenc_append(w->world, open->encoded, open->length);
    else
        encode_value(w, type->components[open->pduNum - 1].type, (unsigned char *)open->decoded, NULL, NULL);
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
    default: kel_json_encode_simple(w->world, type, field); return;
    }
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

/* State of one decode call: the walk and the driver's cursor. */
typedef struct JsonIn {
    Walk walk;
    KelJsonCursor *cursor;
} JsonIn;

/* Where the reader stands, to come back to. */
typedef struct InputMark {
    unsigned char *pos;
    int32_t remaining;
} InputMark;

static InputMark input_mark(const KelGlobal *world)
{
    InputMark mark;
    mark.pos = world->inPos;
    mark.remaining = world->inRemaining;
    return mark;
}

static void input_return(KelGlobal *world, InputMark mark)
{
    world->inPos = mark.pos;
    world->inRemaining = mark.remaining;
}

static void decode_value(JsonIn *in, const KelTypeDesc *type, unsigned char *field, const KelTypeDesc *parent,
                         unsigned char *record);

static void decode_component(JsonIn *in, const KelComponent *c, unsigned char *record, const KelTypeDesc *parent)
{
    unsigned char *field = kel_walk_place(in->walk.world, c, record);
    decode_value(in, c->type, field, parent, record);
}

/* Members not given: their defaults; a mandatory one, or a mandatory
 * member of a version bracket of which others were given, is refused. */
static void complete_members(KelGlobal *world, const KelTypeDesc *type, unsigned char *record,
                             const unsigned char *given)
{
    uint32_t i, j, end;
    for (i = 0; i < type->componentCount; i++) {
        const KelComponent *c = &type->components[i];
        if (given[i])
            continue;
        if (c->flags & KEL_COMP_DEFAULT)
            memcpy(record + c->offset, c->defaultValue, c->type->size);
        else if (!is_optional(c))
            _kel_enc_error(world, MSG_FIELD_OMITTED, 0);
    }
    for (i = kel_next_addition(type, 0); i < type->componentCount; i = kel_next_addition(type, end)) {
        int any = 0;
        end = kel_addition_end(type, i);
        for (j = i; j < end; j++)
            any |= given[j];
        for (j = i; any && type->components[i].group && j < end; j++)
            if (!given[j] && !(type->components[j].flags & (KEL_COMP_OPTIONAL | KEL_COMP_DEFAULT | KEL_COMP_POINTER)))
                _kel_enc_error(world, MSG_GROUP_MEMBER_ABSENT, j);
    }
}

/* An open type member read before the member that holds its key waits
 * until the object is read; `at` is where its value starts. */
static void decode_later(JsonIn *in, const KelComponent *c, unsigned char *record, const KelTypeDesc *type,
                         InputMark at)
{
    KelGlobal *world = in->walk.world;
    const InputMark end = input_mark(world);
    input_return(world, at);
    _kel_json_token(in->cursor, KEL_JTOK_ANY_VALUE);
    decode_component(in, c, record, type);
    input_return(world, end);
}

static void decode_structure(JsonIn *in, const KelTypeDesc *type, unsigned char *record)
{
    KelJsonCursor *cursor = in->cursor;
    KelGlobal *world = cursor->world;
    const KelNameTable *names = kel_json_names(world, type);
    unsigned char given[MAX_MEMBERS] = { 0 };
    InputMark waiting[MAX_MEMBERS];
    uint32_t i;

    kel_json_expect(cursor, KEL_JTOK_OPEN_OBJECT, "'{'");
    memset(record, 0, type->size);
    _kel_json_token(cursor, KEL_JTOK_STRING | KEL_JTOK_CLOSE_OBJECT);
    while (cursor->token == KEL_JTOK_STRING) {
        const uint32_t index = (uint32_t)_kel_jdec_fidx(cursor, names);
        const KelComponent *c = index < type->componentCount ? &type->components[index] : NULL;
        InputMark at;
        _kel_json_token(cursor, KEL_JTOK_COLON);
        at = input_mark(world);
        _kel_json_token(cursor, KEL_JTOK_ANY_VALUE);
        if (c && given[index])
            _kel_varn_error(world, MSG_INVALID_ENCODING, c->name);
        if (c)
            given[index] = 1;
        if (!c) { /* an extensible type's member it doesn't know */
            _kel_jskip_encoding(cursor);
        } else if (cursor->token == KEL_JTOK_NULL && is_optional(c) && c->type->kind != KEL_KIND_NULL &&
                   c->type->kind != KEL_KIND_OPEN_TYPE) {
            given[index] = 0; /* absent, written as null */
        } else if (c->type->kind == KEL_KIND_OPEN_TYPE && !given[c->type->lower]) {
            given[index] = 2;
            waiting[index] = at;
            _kel_jskip_encoding(cursor);
        } else {
            decode_component(in, c, record, type);
        }
        _kel_json_token(cursor, KEL_JTOK_COMMA | KEL_JTOK_CLOSE_OBJECT);
        if (cursor->token == KEL_JTOK_COMMA)
            _kel_json_token(cursor, KEL_JTOK_STRING);
    }
    for (i = 0; i < type->componentCount; i++)
        if (given[i] == 2)
            decode_later(in, &type->components[i], record, type, waiting[i]);
    complete_members(world, type, record, given);
}

/* Elements of the array whose '[' was read, the input left where it was. */
static uint32_t count_elements(KelJsonCursor *cursor)
{
    const InputMark start = input_mark(cursor->world);
    uint32_t n = 0;
    _kel_json_token(cursor, KEL_JTOK_ANY_VALUE | KEL_JTOK_CLOSE_ARRAY);
    while (cursor->token != KEL_JTOK_CLOSE_ARRAY) {
        _kel_jskip_encoding(cursor);
        n++;
        _kel_json_token(cursor, KEL_JTOK_COMMA | KEL_JTOK_CLOSE_ARRAY);
        if (cursor->token == KEL_JTOK_COMMA)
            _kel_json_token(cursor, KEL_JTOK_ANY_VALUE);
    }
    input_return(cursor->world, start);
    return n;
}

static void decode_elements(JsonIn *in, const KelTypeDesc *type, unsigned char *field)
{
    KelJsonCursor *cursor = in->cursor;
    KelSequenceOf *list = (KelSequenceOf *)(void *)field;
    const KelComponent *element = &type->components[0];
    const uint32_t size = element->type->size;
    unsigned char *elements;
    uint32_t count, i;

    kel_json_expect(cursor, KEL_JTOK_OPEN_ARRAY, "'['");
    count = count_elements(cursor);
    elements = count ? (unsigned char *)_kel_dec_getmem(cursor->world, (int32_t)((uint64_t)count * size)) : NULL;
    if (count)
        memset(elements, 0, (size_t)count * size);
    list->count = count;
    list->elements = elements;
    for (i = 0; i < count; i++) {
        _kel_json_token(cursor, KEL_JTOK_ANY_VALUE);
        decode_component(in, element, elements + (size_t)i * size, NULL);
        _kel_json_token(cursor, i + 1 < count ? KEL_JTOK_COMMA : KEL_JTOK_CLOSE_ARRAY);
    }
    if (!count)
        _kel_json_token(cursor, KEL_JTOK_CLOSE_ARRAY);
}

static void decode_choice(JsonIn *in, const KelTypeDesc *type, unsigned char *field)
{
    KelJsonCursor *cursor = in->cursor;
    uint32_t index;

    kel_json_expect(cursor, KEL_JTOK_OPEN_OBJECT, "'{'");
    memset(field, 0, type->size);
    _kel_json_token(cursor, KEL_JTOK_STRING);
    index = (uint32_t)_kel_jdec_fidx(cursor, kel_json_names(cursor->world, type));
    _kel_json_token(cursor, KEL_JTOK_COLON);
    _kel_json_token(cursor, KEL_JTOK_ANY_VALUE);
    if (index < type->componentCount) {
        *(uint32_t *)(void *)field = index + 1;
        decode_component(in, &type->components[index], field, type);
    } else { /* an alternative this table doesn't know: selector 0 */
        _kel_jskip_encoding(cursor);
    }
    _kel_json_token(cursor, KEL_JTOK_CLOSE_OBJECT);
}

/* An open type: the type its key selects, or kept as its JSON text when the
 * key is in no row. */
static void decode_open(JsonIn *in, const KelTypeDesc *type, unsigned char *field, const KelTypeDesc *parent,
                        const unsigned char *record)
{
    KelOpenType *open = (KelOpenType *)(void *)field;
    const int row = kel_open_row(type, parent, record);

    memset(open, 0, sizeof *open);
    if (row < 0) {
        open->length = _kel_jdec_opentype(in->cursor, (unsigned char **)&open->encoded);
        return;
    }
    open->pduNum = row + 1;
    open->decoded = kel_walk_new_value(in->walk.world, type->components[row].type);
    decode_value(in, type->components[row].type, (unsigned char *)open->decoded, NULL, NULL);
}

static void decode_value(JsonIn *in, const KelTypeDesc *type, unsigned char *field, const KelTypeDesc *parent,
                         unsigned char *record)
{
    switch (type->kind) {
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET:
        kel_walk_enter(&in->walk);
        decode_structure(in, type, field);
        in->walk.depth--;
        return;
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF:
        kel_walk_enter(&in->walk);
        decode_elements(in, type, field);
        in->walk.depth--;
        return;
    case KEL_KIND_CHOICE:
        kel_walk_enter(&in->walk);
        decode_choice(in, type, field);
        in->walk.depth--;
        return;
    case KEL_KIND_OPEN_TYPE: decode_open(in, type, field, parent, record); return;
    default: kel_json_decode_simple(in->cursor, type, field); return;
    }
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

int kel_json_knows(const KelTypeDesc *type)
{
    return kel_walker_knows(type, kel_json_knows_simple);
}

int kel_json_encode(KelGlobal *world, int pdu, void *value)
{
    Walk w;
    const KelTypeDesc *type = kel_walk_pdu(world, pdu, &w);
    const int wrapped = (kelGetJsonFlags(world) & JSON_WRAPPED_ENCODING) != 0;
    if (wrapped) {
        _kel_jenc_begin_object(world);
        _kel_jenc_element(world, world->pduEntry->name, 0);
    }
    encode_value(&w, type, (unsigned char *)value + type->offset, NULL, NULL);
    if (wrapped)
        _kel_jenc_end_object(world, 1);
    return 0;
}

void *kel_json_decode(KelGlobal *world, KelJsonCursor *cursor, int pdu)
{
    JsonIn in;
    const KelTypeDesc *type = kel_walk_pdu(world, pdu, &in.walk);
    unsigned char *record = kel_walk_new_value(world, type);
    const int wrapped = _kel_jdec_wrapped(cursor, world->pduEntry->name);
    in.cursor = cursor;
    decode_value(&in, type, record + type->offset, NULL, NULL);
    if (wrapped)
        _kel_json_token(cursor, KEL_JTOK_CLOSE_OBJECT);
    return record;
}
