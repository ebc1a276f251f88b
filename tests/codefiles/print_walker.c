/*
 * print_walker.c - the printPdu entry of the table-driven code files: a
 * decoded value in ASN.1 value notation, composed as generated code does
 * from kelPrint, _kel_indent and the _kel_prt_* primitives.
 *
 *   value PersonnelRecord ::= {
 *     name {
 *       givenName "John",
 *     ...
 *   }
 *
 * Components stand one to a line under their names; the elements of the OF
 * types likewise without names; a CHOICE is "alternative : value", a
 * decoded open type "Type : value".  The walk recurses in the nesting of
 * the type only: the elements of a list are a loop.
 */
#include "service_walker.h"
#include "kelvarn_services.h"

static void print_value(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field);

/* Octets that hold the largest arc an encoding of up to KEL_OID_PRINTED
 * octets can carry (7 bits an octet); longer encodings print as octets. */
#define KEL_ARC_OCTETS 128u
#define KEL_OID_PRINTED (KEL_ARC_OCTETS * 8 / 7)

/* The opening of the next member of a braced list: a line of its own, the
 * first one level deeper (_kel_indent raises the level only after the line
 * it starts, so the level goes up first). */
static void open_member(KelGlobal *world, int first)
{
    if (first) {
        world->printIndent++;
        _kel_indent(world, 0);
    } else {
        kelPrint(world, ",");
        _kel_indent(world, 0);
    }
}

static void close_list(KelGlobal *world, int empty)
{
    if (!empty)
        _kel_indent(world, -1);
    kelPrint(world, "}");
}

/* A huge INTEGER in decimal: the magnitude of its two's complement
 * octets through huge2a, in a scratch piece taken and given back here. */
static void print_huge(KelGlobal *world, const KelHugeInt *huge)
{
    const int negative = huge->length && (huge->value[0] & 0x80);
    const uint32_t room = huge->length * 3 + 2;
    unsigned char *magnitude = (unsigned char *)kelGetMemory(world, huge->length + room + 1);
    char *digits = (char *)magnitude + huge->length + 1;
    uint32_t i, carry = 1, length;
    if (!magnitude) {
        _kel_prt_hex(world, "'", huge->value, huge->length, "'H");
        return;
    }
    for (i = huge->length; i-- > 0;) {
        const uint32_t octet = negative ? (uint32_t)(uint8_t)~huge->value[i] + carry : huge->value[i];
        magnitude[i] = (unsigned char)octet;
        carry = negative ? octet >> 8 : 0;
    }
    if (huge2a(magnitude, huge->length, digits, room, &length) == 0)
        kelPrint(world, "%s%s", negative ? "-" : "", digits);
    kelFreeMemory(world, magnitude);
}

static void print_integer(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    if (type->form == KEL_FORM_HUGE)
        print_huge(world, (const KelHugeInt *)(const void *)field);
    else if (type->flags & KEL_DESC_SIGNED)
        kelPrint(world, "%lld", (long long)kel_load_signed(field, type->width));
    else
        kelPrint(world, "%llu", (unsigned long long)kel_load_unsigned(field, type->width));
}

/* ENUMERATED through the library's name table form. */
static void print_enumerated(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    enum { kMostNames = 64 };
    KelEnumName names[kMostNames];
    const uint64_t value = type->flags & KEL_DESC_SIGNED ? (uint64_t)kel_load_signed(field, type->width)
                                                         : kel_load_unsigned(field, type->width);
    uint32_t i, count = type->nameCount < kMostNames ? type->nameCount : kMostNames;
    for (i = 0; i < count; i++) {
        names[i].value = (uint64_t)type->names[i].value;
        names[i].name = type->names[i].name;
    }
    _kel_prt_enum(world, value, names, count);
}

static void print_string(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    uint32_t count;
    const unsigned char *units;

    if (type->kind == KEL_KIND_BIT_STRING && type->form == KEL_FORM_PADDED) {
        _kel_prt_pbit(world, field, (int)type->size, (uint32_t)type->upper);
        return;
    }
    units = kel_string_units(type, field, 0, &count);
    if (type->kind == KEL_KIND_BIT_STRING)
        _kel_prt_bit(world, units, count);
    else if (type->kind == KEL_KIND_OCTET_STRING)
        _kel_prt_oct(world, units, count);
    else if (type->form == KEL_FORM_NULLTERM || type->form == KEL_FORM_NULLTERM_PTR)
        _kel_prt_nchar(world, (const char *)units);
    else if (type->form == KEL_FORM_UTF8 || type->form == KEL_FORM_BMP || type->form == KEL_FORM_UNIVERSAL)
        _kel_prt_mbchar(world, units, count, type->form == KEL_FORM_UTF8 ? 1 : (int)kel_unit_size(type));
    else
        _kel_prt_char(world, (const char *)units, count);
}

/* One arc in decimal from its octets, big-endian, of any length. */
static void print_arc(KelGlobal *world, const unsigned char *arc, uint32_t size)
{
    char digits[2 * KEL_ARC_OCTETS + 2];
    uint32_t length;
    if (huge2a(arc, size, digits, sizeof digits, &length) == 0)
        kelPrint(world, " %s", digits);
}

/* Subtracts `n` from a big-endian number known to be at least `n`. */
static void subtract(unsigned char *number, uint32_t size, unsigned n)
{
    uint32_t i = size;
    while (n && i-- > 0) {
        const unsigned borrow = number[i] < (n & 0xFF) + 0u;
        number[i] = (unsigned char)(number[i] - n);
        n = (n >> 8) + borrow;
    }
}

/* An encoded object identifier as { 1 2 3 }: each subidentifier gathered
 * into a big-endian number, so that arcs beyond 64 bits print too; the
 * first subidentifier of an absolute identifier holds two arcs. */
static void print_encoded_oid(KelGlobal *world, const KelOidEncoded *oid, int relative)
{
    unsigned char arc[KEL_ARC_OCTETS];
    uint32_t i = 0, k, first = !relative;
    if (oid->length > KEL_OID_PRINTED) {
        _kel_prt_oct(world, oid->value, oid->length);
        return;
    }
    kelPrint(world, "{");
    while (i < oid->length) {
        memset(arc, 0, sizeof arc);
        do { /* arc = arc * 128 + group */
            unsigned carry = oid->value[i] & 0x7Fu;
            for (k = sizeof arc; k-- > 0;) {
                carry += (unsigned)arc[k] << 7;
                arc[k] = (unsigned char)carry;
                carry >>= 8;
            }
        } while (oid->value[i++] & 0x80 && i < oid->length);
        if (first) {
            /* 0 and 1 take second arcs below 40; 2 takes the rest */
            unsigned root = 2;
            for (k = 0; k + 1 < sizeof arc && !arc[k];)
                k++;
            if (k + 1 == sizeof arc && arc[k] < 80)
                root = arc[k] / 40;
            kelPrint(world, " %u", root);
            subtract(arc, sizeof arc, 40 * root);
            first = 0;
        }
        print_arc(world, arc, sizeof arc);
    }
    kelPrint(world, " }");
}

static void print_oid(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    if (type->form == KEL_FORM_OID_ARCS) {
        const KelOidUnbounded *arcs = (const KelOidUnbounded *)(const void *)field;
        uint32_t i;
        kelPrint(world, "{");
        for (i = 0; i < arcs->count; i++)
            kelPrint(world, " %u", arcs->value[i]);
        kelPrint(world, " }");
    } else {
        print_encoded_oid(world, (const KelOidEncoded *)(const void *)field, type->kind == KEL_KIND_RELATIVE_OID);
    }
}

static void print_real(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelMixedReal *mixed = (const KelMixedReal *)(const void *)field;
    if (type->form != KEL_FORM_REAL_MIXED)
        _kel_prt_dreal(world, *(const double *)(const void *)field);
    else if (mixed->kind)
        _kel_prt_creal(world, mixed->u.text);
    else
        _kel_prt_dreal(world, mixed->u.value);
}

static void print_time(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelTimeStruct *time = (const KelTimeStruct *)(const void *)field;
    if (type->form == KEL_FORM_TIME_TEXT)
        kelPrint(world, "\"%s\"", *(const char *const *)(const void *)field);
    else if (type->kind == KEL_KIND_UTC_TIME)
        _kel_prt_utctime(world, time);
    else
        _kel_prt_gentime(world, time);
}

static void print_record(KelGlobal *world, const KelTypeDesc *type, const unsigned char *record)
{
    int first = 1;
    uint32_t i;
    kelPrint(world, "{");
    for (i = 0; i < type->componentCount; i++) {
        const KelComponent *c = &type->components[i];
        if (!kel_is_present(c, record))
            continue;
        open_member(world, first);
        first = 0;
        kelPrint(world, "%s ", c->name);
        print_value(world, c->type, kel_value_of(c, (unsigned char *)record));
    }
    close_list(world, first);
}

static void print_list(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelSequenceOf *list = (const KelSequenceOf *)(const void *)field;
    const KelTypeDesc *element = type->components[0].type;
    uint32_t i;
    kelPrint(world, "{");
    for (i = 0; i < list->count; i++) {
        open_member(world, i == 0);
        print_value(world, element, (const unsigned char *)list->elements + (size_t)i * element->size);
    }
    close_list(world, list->count == 0);
}

static void print_choice(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const uint32_t selector = *(const uint32_t *)(const void *)field;
    const KelComponent *c;
    if (selector < 1 || selector > type->componentCount) {
        kelPrint(world, "<unknown>");
        return;
    }
    c = &type->components[selector - 1];
    kelPrint(world, "%s : ", c->name);
    print_value(world, c->type, field + c->offset);
}

static void print_open(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelOpenType *open = (const KelOpenType *)(const void *)field;
    const KelTypeDesc *row = kel_open_row_type(type, open);
    if (!row) {
        _kel_prt_opentype(world, open);
        return;
    }
    kelPrint(world, "%s : ", row->name);
    print_value(world, row, (const unsigned char *)open->decoded);
}

static void print_value(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    switch (type->kind) {
    case KEL_KIND_BOOLEAN: kelPrint(world, *field ? "TRUE" : "FALSE"); return;
    case KEL_KIND_NULL: kelPrint(world, "NULL"); return;
    case KEL_KIND_INTEGER: print_integer(world, type, field); return;
    case KEL_KIND_ENUMERATED: print_enumerated(world, type, field); return;
    case KEL_KIND_OID:
    case KEL_KIND_RELATIVE_OID: print_oid(world, type, field); return;
    case KEL_KIND_REAL: print_real(world, type, field); return;
    case KEL_KIND_UTC_TIME:
    case KEL_KIND_GENERALIZED_TIME: print_time(world, type, field); return;
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET: print_record(world, type, field); return;
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF: print_list(world, type, field); return;
    case KEL_KIND_CHOICE: print_choice(world, type, field); return;
    case KEL_KIND_OPEN_TYPE: print_open(world, type, field); return;
    default: print_string(world, type, field); return;
    }
}

int kel_print_pdu(KelGlobal *world, int pdu, void *value)
{
    Walk w;
    const KelTypeDesc *type = kel_walk_pdu(world, pdu, &w);
    kelPrint(world, "value %s ::= ", world->pduEntry->typeName);
    print_value(world, type, (const unsigned char *)value + type->offset);
    kelPrint(world, "\n");
    return 0;
}
