/*
 * xer_walker.c - the XER walker's encoder for the table-driven code files:
 * every type through the primitive a compiler picks for its memory form,
 * and the generated XER entry.
 *
 * A value is an element named after its component (or its PDU, or for the
 * element of a SEQUENCE OF or SET OF after its type: the type reference of
 * a structured type, the XML name of a built-in one).  BOOLEAN and
 * ENUMERATED are empty elements inside it, and stand alone as the elements
 * of a list.  SEQUENCE and SET: the components present, each on a line of
 * its own two columns in, a DEFAULT component equal to its default left
 * out; under CXER the components of a SET in the canonical order of their
 * tags and the elements of a SET OF in the order of their encodings.
 * CHOICE: the alternative's element.  An open type: the value of the row
 * its key selects, as an element named after the row's type.  The
 * generated code sets the canonical bit of modeBits under CXER.
 */
#include <string.h>

#include "kelvarn_xer.h"
#include "walker_common.h"
#include "xer_walker.h"

/* Messages raised here. */
enum { MSG_NOT_IMPLEMENTED = 2 };

/* The most components a table has. */
#define MAX_MEMBERS 64

static int is_canonical(const KelGlobal *world)
{
    return world->encRules == KEL_CXER;
}

/* ------------------------------------------------------------------------ */
/* Enumerations                                                              */
/* ------------------------------------------------------------------------ */

/* Name tables by value, built once per type as a compiler would emit them;
 * static storage. */
#define ENUM_TYPES 64
#define ENUM_ROWS 1024

static struct {
    const KelTypeDesc *type;
    const KelXerEnumRow *rows;
} enumTypes[ENUM_TYPES];
static KelXerEnumRow enumRows[ENUM_ROWS];
static uint32_t enumTypesUsed, enumRowsUsed;

static const KelXerEnumRow *enum_table(KelGlobal *world, const KelTypeDesc *type)
{
    KelXerEnumRow *rows = &enumRows[enumRowsUsed];
    uint32_t i, j;
    for (i = 0; i < enumTypesUsed; i++)
        if (enumTypes[i].type == type)
            return enumTypes[i].rows;
    if (enumTypesUsed == ENUM_TYPES || type->nameCount + 1 > ENUM_ROWS - enumRowsUsed)
        _kel_enc_error(world, MSG_NOT_IMPLEMENTED, 0);
    rows[0].value = (int32_t)type->nameCount;
    rows[0].name = NULL;
    for (i = 0; i < type->nameCount; i++) {
        const int32_t value = (int32_t)type->names[i].value;
        for (j = i + 1; j > 1 && rows[j - 1].value > value; j--)
            rows[j] = rows[j - 1];
        rows[j].value = value;
        rows[j].name = type->names[i].name;
    }
    enumRowsUsed += type->nameCount + 1;
    enumTypes[enumTypesUsed].rows = rows;
    enumTypes[enumTypesUsed++].type = type;
    return rows;
}

/* ------------------------------------------------------------------------ */
/* Simple types                                                              */
/* ------------------------------------------------------------------------ */

static void encode_integer(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    if (type->form == KEL_FORM_HUGE) {
        const KelHugeInt *huge = (const KelHugeInt *)(const void *)field;
        _kel_tex_hint(world, huge->value, (int32_t)huge->length);
    } else if (type->width == 8) {
        if (type->flags & KEL_DESC_SIGNED)
            _kel_tex_llint(world, kel_load_signed(field, 8));
        else
            _kel_tex_ullint(world, kel_load_unsigned(field, 8));
    } else if (type->flags & KEL_DESC_SIGNED) {
        _kel_tex_lint(world, (int32_t)kel_load_signed(field, type->width));
    } else {
        _kel_tex_ulint(world, (uint32_t)kel_load_unsigned(field, type->width));
    }
}

static void encode_bits(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const int named = (type->flags & KEL_DESC_NAMED_BITS) != 0;
    const unsigned char *bits;
    uint32_t n;
    if (type->form == KEL_FORM_PADDED) {
        const uint32_t upper = (uint32_t)type->upper;
        const unsigned width = upper <= 8 ? 1 : upper <= 16 ? 2 : 4;
        _kel_tex_format_pbit(world, (uint32_t)kel_load_unsigned(field, width), upper | (named ? 0x80u : 0));
        return;
    }
    bits = kel_string_units(type, field, 1, &n);
    _kel_tex_format_bit(world, bits, named ? _kel_tex_count_bits(bits, n) : n);
}

static void encode_string(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    uint32_t count;
    const unsigned char *units = kel_string_units(type, field, 0, &count);
    if (type->kind == KEL_KIND_OCTET_STRING)
        _kel_tex_format_octet(world, units, count);
    else if (!count) /* a length of 0 would read a terminator */
        return;
    else if (type->form == KEL_FORM_BMP)
        _kel_tex_2byte_char(world, (const uint16_t *)(const void *)units, count);
    else if (type->form == KEL_FORM_UNIVERSAL)
        _kel_tex_4byte_char(world, (const uint32_t *)(const void *)units, count);
    else if (type->form == KEL_FORM_UTF8 || kel_universal_number(type) == 12)
        _kel_tex_format_char(world, units, count);
    else
        _kel_tex_format_char_t(world, units, count);
}

static void encode_simple(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelOidUnbounded *arcs = (const KelOidUnbounded *)(const void *)field;
    const KelOidEncoded *encoded = (const KelOidEncoded *)(const void *)field;
    const KelMixedReal *mixed = (const KelMixedReal *)(const void *)field;
    switch (type->kind) {
    case KEL_KIND_BOOLEAN: _kel_tex_format_tag(world, *field ? "true" : "false"); return;
    case KEL_KIND_NULL: return;
    case KEL_KIND_INTEGER: encode_integer(world, type, field); return;
    case KEL_KIND_ENUMERATED:
        _kel_tex_enum(world, enum_table(world, type), (int32_t)kel_load_signed(field, type->width), 1);
        return;
    case KEL_KIND_BIT_STRING: encode_bits(world, type, field); return;
    case KEL_KIND_OCTET_STRING:
    case KEL_KIND_CHAR_STRING: encode_string(world, type, field); return;
    case KEL_KIND_OID:
    case KEL_KIND_RELATIVE_OID:
        if (type->form == KEL_FORM_OID_ARCS)
            _kel_tex_aobjidi(world, arcs->value, arcs->count, 0);
        else
            _kel_tex_eobjid(world, encoded->value, encoded->length, 0, type->kind == KEL_KIND_RELATIVE_OID);
        return;
    case KEL_KIND_REAL:
        if (type->form != KEL_FORM_REAL_MIXED)
            _kel_tex_dreal(world, *(const double *)(const void *)field);
        else if (mixed->kind == 0)
            _kel_tex_dreal(world, mixed->u.value);
        else
            _kel_tex_creal(world, mixed->u.text);
        return;
    case KEL_KIND_UTC_TIME:
    case KEL_KIND_GENERALIZED_TIME:
        if (type->form == KEL_FORM_TIME_TEXT)
            _kel_tex_ntime(world, *(char *const *)(const void *)field, 0, type->kind == KEL_KIND_UTC_TIME);
        else
            _kel_tex_time(world, (const KelTimeStruct *)(const void *)field, type->kind == KEL_KIND_UTC_TIME);
        return;
    default: _kel_enc_error(world, MSG_NOT_IMPLEMENTED, 0);
    }
}

static int knows_simple(const KelTypeDesc *type)
{
    return type->kind < KEL_KIND_SEQUENCE &&
           (type->kind < KEL_KIND_UTC_TIME || type->form == KEL_FORM_TIME_TEXT || type->form == KEL_FORM_TIME_STRUCT);
}

/* The XML name of a list's element of a built-in type. */
static const char *element_name(const KelTypeDesc *type)
{
    static const char *const kinds[] = {
        [KEL_KIND_BOOLEAN] = "BOOLEAN",           [KEL_KIND_NULL] = "NULL",
        [KEL_KIND_INTEGER] = "INTEGER",           [KEL_KIND_ENUMERATED] = "ENUMERATED",
        [KEL_KIND_BIT_STRING] = "BIT_STRING",     [KEL_KIND_OCTET_STRING] = "OCTET_STRING",
        [KEL_KIND_OID] = "OBJECT_IDENTIFIER",     [KEL_KIND_RELATIVE_OID] = "RELATIVE_OID",
        [KEL_KIND_REAL] = "REAL",                 [KEL_KIND_UTC_TIME] = "UTCTime",
        [KEL_KIND_GENERALIZED_TIME] = "GeneralizedTime",
    };
    static const char *const strings[31] = {
        [12] = "UTF8String",    [18] = "NumericString", [19] = "PrintableString", [20] = "T61String",
        [21] = "VideotexString", [22] = "IA5String",    [25] = "GraphicString",   [26] = "VisibleString",
        [27] = "GeneralString", [28] = "UniversalString", [30] = "BMPString",
    };
    const unsigned number = kel_universal_number(type);
    if (type->kind >= KEL_KIND_SEQUENCE)
        return type->name;
    if (type->kind == KEL_KIND_CHAR_STRING)
        return number < 31 && strings[number] ? strings[number] : type->name;
    return kinds[type->kind];
}

/* ------------------------------------------------------------------------ */
/* Structures                                                                */
/* ------------------------------------------------------------------------ */

static void encode_value(Walk *w, const KelTypeDesc *type, unsigned char *field, const char *name);

/* Opens the line of a nested element: two columns in for the first. */
static void next_line(KelGlobal *world, uint32_t written)
{
    _kel_tex_indent_dlt(world, written ? 0 : 2);
}

static void close_lines(KelGlobal *world, uint32_t written)
{
    if (written)
        _kel_tex_indent_dlt(world, -2);
}

/* Components in the order they are written: declared, or for a SET under
 * CXER by canonical tag. */
static uint32_t component_order(const KelTypeDesc *type, int canonical, uint32_t *order)
{
    uint32_t i, j, n = type->componentCount;
    if (n > MAX_MEMBERS)
        n = MAX_MEMBERS;
    for (i = 0; i < n; i++) {
        const uint16_t tag = kel_canonical_tag(&type->components[i]);
        for (j = i; canonical && j > 0 && kel_canonical_tag(&type->components[order[j - 1]]) > tag; j--)
            order[j] = order[j - 1];
        order[j] = i;
    }
    return n;
}

static void encode_structure(Walk *w, const KelTypeDesc *type, unsigned char *record)
{
    KelGlobal *world = w->world;
    uint32_t order[MAX_MEMBERS], n, i, written = 0;
    n = component_order(type, type->kind == KEL_KIND_SET && is_canonical(world), order);
    for (i = 0; i < n; i++) {
        const KelComponent *c = &type->components[order[i]];
        if (!kel_is_present(c, record) ||
            ((c->flags & KEL_COMP_DEFAULT) && memcmp(record + c->offset, c->defaultValue, c->type->size) == 0))
            continue;
        next_line(world, written++);
        encode_value(w, c->type, kel_value_of(c, record), c->name);
    }
    close_lines(world, written);
}

/* Whether the elements of a list stand alone, without element tags. */
static int stands_alone(const KelTypeDesc *element)
{
    return element->kind == KEL_KIND_BOOLEAN || element->kind == KEL_KIND_ENUMERATED;
}

/* The elements of a SET OF under CXER, in the order of their encodings:
 * each is encoded into temporary memory, then the pieces are appended in
 * order.  The output's cursor is saved around the detour. */
static void encode_sorted_elements(Walk *w, const KelTypeDesc *element, const char *name, unsigned char *elements,
                                   uint32_t count)
{
    KelGlobal *world = w->world;
    unsigned char *const savedPos = world->outPos;
    const int32_t savedRemaining = world->outRemaining;
    const uint8_t savedUser = world->userBuffer;
    const uint32_t savedFlags = world->encodingFlags, savedLength = world->encLength;
    uint32_t *lengths = (uint32_t *)_kel_dec_gettempmem(world, 2 * count * sizeof(uint32_t));
    uint32_t *order = lengths + count;
    unsigned char *text, *p;
    uint32_t total = 0, i, j;

    world->encodingFlags |= DETERMINE_ENC_LENGTH;
    for (i = 0; i < count; i++) {
        world->encLength = 0;
        encode_value(w, element, elements + (size_t)i * element->size, name);
        total += lengths[i] = world->encLength;
    }
    world->encodingFlags = savedFlags;
    text = (unsigned char *)_kel_dec_gettempmem(world, total ? total : 1);
    world->userBuffer = 1;
    world->outPos = text;
    world->outRemaining = (int32_t)total;
    for (i = 0; i < count; i++)
        encode_value(w, element, elements + (size_t)i * element->size, name);
    world->userBuffer = savedUser;
    world->outPos = savedPos;
    world->outRemaining = savedRemaining;
    world->encLength = savedLength;

    for (i = 0, p = text; i < count; p += lengths[i++])
        order[i] = (uint32_t)(p - text);
    for (i = 1; i < count; i++) { /* insertion sort of (offset, length) pairs */
        const uint32_t at = order[i], n = lengths[i];
        for (j = i; j > 0; j--) {
            const uint32_t m = lengths[j - 1] < n ? lengths[j - 1] : n;
            const int cmp = memcmp(text + order[j - 1], text + at, m);
            if (cmp < 0 || (cmp == 0 && lengths[j - 1] <= n))
                break;
            order[j] = order[j - 1];
            lengths[j] = lengths[j - 1];
        }
        order[j] = at;
        lengths[j] = n;
    }
    for (i = 0; i < count; i++)
        _kel_tex_append(world, text + order[i], lengths[i]);
    _kel_dec_freetempmem(world, text);
    _kel_dec_freetempmem(world, lengths);
}

static void encode_elements(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    KelGlobal *world = w->world;
    const KelSequenceOf *list = (const KelSequenceOf *)(const void *)field;
    const KelTypeDesc *element = type->components[0].type;
    const char *name = stands_alone(element) ? NULL : element_name(element);
    unsigned char *elements = (unsigned char *)list->elements;
    uint32_t i;

    if (type->kind == KEL_KIND_SET_OF && is_canonical(world) && list->count > 1 &&
        !(world->encodingFlags & DETERMINE_ENC_LENGTH)) {
        encode_sorted_elements(w, element, name, elements, list->count);
        return;
    }
    for (i = 0; i < list->count; i++, elements += element->size) {
        if (name)
            next_line(world, i);
        encode_value(w, element, elements, name);
    }
    if (name)
        close_lines(world, list->count);
}

static void encode_choice(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    const uint32_t selector = *(const uint32_t *)(const void *)field;
    const KelComponent *chosen;
    if (selector < 1 || selector > type->componentCount)
        _kel_enc_error(w->world, KEL_MSG_CHOICE_SELECTOR, selector);
    chosen = &type->components[selector - 1];
    next_line(w->world, 0);
    encode_value(w, chosen->type, kel_value_of(chosen, field), chosen->name);
    close_lines(w->world, 1);
}

/* An open type: the value of the row its key selects; one kept as an
 * encoding holds no XML. */
static void encode_open(Walk *w, const KelTypeDesc *type, unsigned char *field)
{
    const KelOpenType *open = (const KelOpenType *)(const void *)field;
    const KelTypeDesc *row;
    if (!open->decoded || open->pduNum < 1 || (uint32_t)open->pduNum > type->componentCount)
        _kel_enc_error(w->world, MSG_NOT_IMPLEMENTED, 0);
    row = type->components[open->pduNum - 1].type;
    next_line(w->world, 0);
    encode_value(w, row, (unsigned char *)open->decoded, element_name(row));
    close_lines(w->world, 1);
}

static void encode_value(Walk *w, const KelTypeDesc *type, unsigned char *field, const char *name)
{
    KelGlobal *world = w->world;
    if (name)
        _kel_tex_open_tag(world, name);
    switch (type->kind) {
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET:
        kel_walk_enter(w);
        encode_structure(w, type, field);
        w->depth--;
        break;
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF:
        kel_walk_enter(w);
        encode_elements(w, type, field);
        w->depth--;
        break;
    case KEL_KIND_CHOICE:
        kel_walk_enter(w);
        encode_choice(w, type, field);
        w->depth--;
        break;
    case KEL_KIND_OPEN_TYPE: encode_open(w, type, field); break;
    default: encode_simple(world, type, field); break;
    }
    if (name)
        _kel_tex_close_tag(world, name);
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

int kel_xer_knows(const KelTypeDesc *type)
{
    return kel_walker_knows(type, knows_simple);
}

int kel_xer_encode(KelGlobal *world, int pdu, void *value)
{
    Walk w;
    const KelTypeDesc *type = kel_walk_pdu(world, pdu, &w);
    if (is_canonical(world))
        world->modeBits |= KEL_MODE_CANONICAL;
    else
        world->modeBits &= (uint8_t)~KEL_MODE_CANONICAL;
    _kel_tex_prolog(world);
    encode_value(&w, type, (unsigned char *)value + type->offset, world->pduEntry->name);
    return 0;
}
