/*
 * check_walker.c - the checkConstraints entry of the table-driven code
 * files: a decoded value tested against the subtype constraints that its
 * type descriptions record, as a generated checker tests it.  Value ranges,
 * single values, sizes and the key of a table constraint are compared here
 * and raised through _kel_con_error; permitted alphabets, enumerations,
 * UTF-8 and the pointers of the pointer forms go to the library's checks.
 * A constraint with an extension marker admits every value and is not
 * tested.
 *
 * The walk recurses in the nesting of the type only: the elements of a
 * list are a loop.
 */
#include <stddef.h>

#include "service_walker.h"
#include "kelvarn_ber.h"
#include "kelvarn_services.h"

/* Messages of the broken constraints.  64-bit values go out as text. */
enum {
    MSG_SINGLE_SIGNED = 15,
    MSG_SINGLE_UNSIGNED = 16,
    MSG_SINGLE_TEXT = 19,
    MSG_RANGE_SIGNED = 22,
    MSG_RANGE_UNSIGNED = 23,
    MSG_RANGE_TEXT = 25,
    MSG_SIZE = 27,
    MSG_COUNT = 28,
    MSG_TABLE = 34
};

static void check_value(KelGlobal *world, const KelTypeDesc *type, const KelTypeDesc *parent,
                        unsigned char *record, unsigned char *field);

/* A value's text as the argument word: the text's address, which is whole
 * on the 32-bit target.  No message is made of it while the checker runs. */
static uint32_t text_argument(const char *text)
{
    return (uint32_t)(uintptr_t)text;
}

static void check_integer(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const int is_signed = (type->flags & KEL_DESC_SIGNED) != 0;
    const int bounded = (type->flags & (KEL_DESC_LOWER | KEL_DESC_UPPER)) == (KEL_DESC_LOWER | KEL_DESC_UPPER);
    const int single = bounded && type->lower == type->upper;
    int64_t s;
    uint64_t u;
    int message;

    if ((type->flags & KEL_DESC_EXTENSIBLE) || type->form == KEL_FORM_HUGE)
        return;
    s = kel_load_signed(field, type->width);
    u = kel_load_unsigned(field, type->width);
    if (!((type->flags & KEL_DESC_LOWER) && (is_signed ? s < type->lower : u < (uint64_t)type->lower)) &&
        !((type->flags & KEL_DESC_UPPER) && (is_signed ? s > type->upper : u > (uint64_t)type->upper)))
        return;
    if (type->width == 8)
        _kel_con_error(world, single ? MSG_SINGLE_TEXT : MSG_RANGE_TEXT,
                       text_argument(is_signed ? _kel_getdisp_int(world, s) : _kel_getdisp_uint(world, u)));
    if (single)
        message = is_signed ? MSG_SINGLE_SIGNED : MSG_SINGLE_UNSIGNED;
    else
        message = is_signed ? MSG_RANGE_SIGNED : MSG_RANGE_UNSIGNED;
    _kel_con_error(world, message, (uint32_t)u);
}

static void check_enumerated(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelPerEnumTable *root = type->per ? type->per->root : NULL;
    KelEnumList members;
    if (!root || (type->flags & KEL_DESC_EXTENSIBLE))
        return;
    members.count = root->count;
    members.values = root->values;
    if (type->flags & KEL_DESC_SIGNED)
        _kel_chk_enum(world, (int32_t)kel_load_signed(field, type->width), &members);
    else
        _kel_chk_uenum(world, (uint32_t)kel_load_unsigned(field, type->width), &members);
}

/* The size constraint of a string or list type, where it has one without
 * an extension marker; PER's facts record it. */
static const KelPerString *size_constraint(const KelTypeDesc *type)
{
    const KelPerString *size = type->per ? type->per->size : NULL;
    return size && size->ub && size->lb <= size->ub && !(size->flags & KEL_PER_SIZE_EXTENSIBLE) ? size : NULL;
}

static int held_by_pointer(const KelTypeDesc *type)
{
    return type->form == KEL_FORM_VARYING_PTR || type->form == KEL_FORM_NULLTERM_PTR ||
           type->form == KEL_FORM_TIME_TEXT;
}

/* Characters of UTF-8 text: the octets that no sequence continues. */
static uint32_t utf8_characters(const unsigned char *text, uint32_t octets)
{
    uint32_t i, count = 0;
    for (i = 0; i < octets; i++)
        count += (text[i] & 0xC0) != 0x80;
    return count;
}

/* Bit, octet and character strings: the size in units, the characters of
 * one-octet strings against the permitted alphabet, UTF-8 well formed. */
static void check_string(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    const KelPerString *facts = type->per ? type->per->size : NULL;
    const KelPerString *size = size_constraint(type);
    uint32_t count;
    const unsigned char *units = kel_string_units(type, field, 1, &count);

    if (type->form == KEL_FORM_UTF8) {
        _kel_checkUtf8String(world, units, count);
        count = utf8_characters(units, count);
    }
    if (size && (count < size->lb || count > size->ub))
        _kel_con_error(world, MSG_SIZE, count);
    if (facts && facts->alphabet && type->kind == KEL_KIND_CHAR_STRING && type->form != KEL_FORM_UTF8 &&
        kel_unit_size(type) == 1) {
        const KelPerAlphabet *a = (const KelPerAlphabet *)facts->alphabet;
        const KelByteAlphabet alphabet = { a->count, a->chars, a->indexes };
        _kel_chk_pac(world, units, count, &alphabet);
    }
}

/* Simple values: one in a pointer form must be there, and strings meet
 * their constraints. */
static void check_simple(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    if (held_by_pointer(type))
        _kel_check_ptr(world, (void **)(void *)field);
    if (type->kind == KEL_KIND_BIT_STRING || type->kind == KEL_KIND_OCTET_STRING ||
        type->kind == KEL_KIND_CHAR_STRING)
        check_string(world, type, field);
}

static void check_record(KelGlobal *world, const KelTypeDesc *type, unsigned char *record)
{
    uint32_t i;
    for (i = 0; i < type->componentCount; i++) {
        const KelComponent *c = &type->components[i];
        if (kel_is_present(c, record))
            check_value(world, c->type, type, record, kel_value_of(c, record));
    }
}

static void check_list(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    const KelSequenceOf *list = (const KelSequenceOf *)(const void *)field;
    const KelPerString *size = size_constraint(type);
    const KelTypeDesc *element = type->components[0].type;
    uint32_t i;
    if (size && (list->count < size->lb || list->count > size->ub))
        _kel_con_error(world, MSG_COUNT, list->count);
    for (i = 0; i < list->count; i++)
        check_value(world, element, NULL, NULL, (unsigned char *)list->elements + (size_t)i * element->size);
}

static void check_choice(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    const uint32_t selector = *(const uint32_t *)(const void *)field;
    const KelComponent *c;
    if (selector < 1 || selector > type->componentCount)
        return;
    c = &type->components[selector - 1];
    check_value(world, c->type, type, field, field + c->offset);
}

/* The key of a table without an extension marker must be in a row; a
 * decoded value is checked as one of its row's type. */
static void check_open(KelGlobal *world, const KelTypeDesc *type, const KelTypeDesc *parent,
                       const unsigned char *record, unsigned char *field)
{
    const KelOpenType *open = (const KelOpenType *)(const void *)field;
    const KelTypeDesc *row = kel_open_row_type(type, open);
    if (parent && !(type->flags & KEL_DESC_EXTENSIBLE) && kel_open_row(type, parent, record) < 0)
        _kel_con_error(world, MSG_TABLE, 0);
    if (row)
        check_value(world, row, NULL, NULL, (unsigned char *)open->decoded);
}

/* `field` is the value; `record` the record of `parent` that holds it. */
static void check_value(KelGlobal *world, const KelTypeDesc *type, const KelTypeDesc *parent,
                        unsigned char *record, unsigned char *field)
{
    switch (type->kind) {
    case KEL_KIND_INTEGER: check_integer(world, type, field); return;
    case KEL_KIND_ENUMERATED: check_enumerated(world, type, field); return;
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET: check_record(world, type, field); return;
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF: check_list(world, type, field); return;
    case KEL_KIND_CHOICE: check_choice(world, type, field); return;
    case KEL_KIND_OPEN_TYPE: check_open(world, type, parent, record, field); return;
    default: check_simple(world, type, field); return;
    }
}

int kel_check_constraints(KelGlobal *world, int pdu, void *value)
{
    Walk w;
    const KelTypeDesc *type = kel_walk_pdu(world, pdu, &w);
    check_value(world, type, NULL, NULL, (unsigned char *)value + type->offset);
    return 0;
}
