/*
 * json_walker.c - the JSON walker's simple types (BOOLEAN, NULL, INTEGER,
 * ENUMERATED, REAL, object identifiers, bit, octet and character strings,
 * times held as text or as a record), both directions, each through the
 * primitive a compiler picks for its memory form, and the name tables that
 * a compiler would generate per type, built here from the descriptions.
 * json_walker_struct.c walks the structures.
 *
 * Forms: INTEGER a number, ENUMERATED its name, BIT STRING a bare
 * hexadecimal string when the type fixes its size and otherwise the object
 * {"value": hex, "length": bits} (named-bit strings lose their trailing
 * zero bits), OCTET STRING a hexadecimal string, character strings and times
 * strings, object identifiers dotted strings, REAL a plain number with the
 * special values as objects.
 */
#include <string.h>

#include "json_walker.h"
#include "per_walker.h"
#include "walker_common.h"

/* Messages raised here. */
enum { MSG_NOT_IMPLEMENTED = 2, MSG_UNEXPECTED_TOKEN = 312 };

/* REAL: a plain number, the special values as objects; the decoder's form
 * flags to match. */
enum { REAL_PLAIN_NUMBER = 6, REAL_FORM_PLAIN = 2 };

void kel_json_expect(KelJsonCursor *cursor, uint32_t mask, const char *expected)
{
    if (!(cursor->token & mask))
        _kel_varn_error(cursor->world, MSG_UNEXPECTED_TOKEN, expected);
}

/* ------------------------------------------------------------------------ */
/* Name tables                                                               */
/* ------------------------------------------------------------------------ */

/* Types with names and rows of all of them; static storage, filled once. */
#define NAMED_TYPES 256 /* a power of two */
#define NAME_ROWS 4096

typedef struct NamedType {
    const KelTypeDesc *type; /* set last: the entry is complete */
    KelNameTable names;
    KelJsonEnumTable values; /* ENUMERATED: the rows sorted by value */
} NamedType;

static NamedType namedTypes[NAMED_TYPES];
static KelNameRow nameRows[NAME_ROWS];
static KelJsonEnumRow valueRows[NAME_ROWS];
static uint32_t rowsUsed;

/* Rows sorted by name for bisection; enumerators also by value. */
static void build_names(KelGlobal *world, const KelTypeDesc *type, NamedType *entry)
{
    const int enumerated = type->kind == KEL_KIND_ENUMERATED;
    const uint32_t count = enumerated ? type->nameCount : type->componentCount;
    KelNameRow *rows = &nameRows[rowsUsed];
    KelJsonEnumRow *values = &valueRows[rowsUsed];
    uint32_t i, j;

    if (count > NAME_ROWS - rowsUsed)
        _kel_enc_error(world, MSG_NOT_IMPLEMENTED, 0);
    for (i = 0; i < count; i++) {
        const char *name = enumerated ? type->names[i].name : type->components[i].name;
        const int32_t value = enumerated ? (int32_t)type->names[i].value : (int32_t)i;
        for (j = i; j > 0 && strcmp(rows[j - 1].name, name) > 0; j--)
            rows[j] = rows[j - 1];
        rows[j].name = name;
        rows[j].length = (uint32_t)strlen(name);
        rows[j].kinds = 0;
        rows[j].value = (uint32_t)value;
        for (j = i; j > 0 && values[j - 1].value > value; j--)
            values[j] = values[j - 1];
        values[j].value = value;
        values[j].name = name;
    }
    rowsUsed += count;
    entry->names.count = count;
    entry->names.unknown = !enumerated && (type->flags & KEL_DESC_EXTENSIBLE) ? KEL_JSON_UNKNOWN_MEMBER : 0;
    entry->names.rows = rows;
    entry->names.hashes = NULL;
    entry->values.count = enumerated ? count : 0;
    entry->values.defaultName = NULL;
    entry->values.rows = values;
    entry->type = type;
}

static const NamedType *named_type(KelGlobal *world, const KelTypeDesc *type)
{
    uint32_t slot = (uint32_t)((uintptr_t)type >> 3) * 2654435761u & (NAMED_TYPES - 1), probes;
    for (probes = 0; probes < NAMED_TYPES; probes++, slot = (slot + 1) & (NAMED_TYPES - 1)) {
        NamedType *entry = &namedTypes[slot];
        if (entry->type == type)
            return entry;
        if (!entry->type) {
            build_names(world, type, entry);
            return entry;
        }
    }
    _kel_enc_error(world, MSG_NOT_IMPLEMENTED, 0);
}

const KelNameTable *kel_json_names(KelGlobal *world, const KelTypeDesc *type)
{
    return &named_type(world, type)->names;
}

int kel_json_knows_simple(const KelTypeDesc *type)
{
    switch (type->kind) {
    case KEL_KIND_BOOLEAN:
    case KEL_KIND_NULL:
    case KEL_KIND_INTEGER:
    case KEL_KIND_ENUMERATED:
    case KEL_KIND_BIT_STRING:
    case KEL_KIND_OCTET_STRING:
    case KEL_KIND_CHAR_STRING:
    case KEL_KIND_OID:
    case KEL_KIND_RELATIVE_OID:
    case KEL_KIND_REAL: return 1;
    case KEL_KIND_UTC_TIME:
    case KEL_KIND_GENERALIZED_TIME: return type->form == KEL_FORM_TIME_TEXT || type->form == KEL_FORM_TIME_STRUCT;
    default: return 0;
    }
}

/* The size of every value of a string type, or 0 when sizes vary. */
static uint32_t fixed_size(const KelTypeDesc *type)
{
    const KelPerString *size = kel_per_size_of(type);
    if (!size || (size->flags & KEL_PER_SIZE_EXTENSIBLE) || size->lb != size->ub)
        return 0;
    return size->ub;
}

static int is_utf8(const KelTypeDesc *type)
{
    return type->form == KEL_FORM_UTF8 || kel_universal_number(type) == 12;
}

/* ------------------------------------------------------------------------ */
/* INTEGER and ENUMERATED                                                    */
/* ------------------------------------------------------------------------ */

static void encode_integer(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const int wide = type->width == 8;
    if (type->form == KEL_FORM_HUGE) {
        const KelHugeInt *huge = (const KelHugeInt *)(const void *)field;
        _kel_jenc_hint(world, huge->value, (int32_t)huge->length);
    } else if (type->flags & KEL_DESC_SIGNED) {
        const int64_t value = kel_load_signed(field, type->width);
        wide ? _kel_jenc_llint(world, value) : _kel_jenc_lint(world, (int32_t)value);
    } else {
        const uint64_t value = kel_load_unsigned(field, type->width);
        wide ? _kel_jenc_ullint(world, value) : _kel_jenc_ulint(world, (uint32_t)value);
    }
}

/* Any value the memory form holds; the constraint is not the decoder's. */
static void decode_integer(KelJsonCursor *cursor, const KelTypeDesc *type, unsigned char *field)
{
    const unsigned bits = type->width * 8u;
    uint64_t value;
    if (type->form == KEL_FORM_HUGE) {
        KelHugeInt *huge = (KelHugeInt *)(void *)field;
        huge->length = _kel_jdec_hint(cursor, &huge->value, 0);
        return;
    }
    if (bits == 64)
        value = type->flags & KEL_DESC_SIGNED ? (uint64_t)_kel_jdec_llint(cursor) : _kel_jdec_ullint(cursor);
    else if (type->flags & KEL_DESC_SIGNED)
        value = (uint64_t)(int64_t)_kel_jdec_lint(cursor, (int32_t)-(INT64_C(1) << (bits - 1)),
                                                  (int32_t)((INT64_C(1) << (bits - 1)) - 1));
    else
        value = _kel_jdec_ulint(cursor, (uint32_t)((UINT64_C(1) << bits) - 1));
    kel_store(field, type->width, value);
}

/* ------------------------------------------------------------------------ */
/* Bit strings                                                               */
/* ------------------------------------------------------------------------ */

/* Octets of a padded bit field: 1, 2 or 4 for up to 32 bits. */
static uint32_t padded_octets(uint32_t bits)
{
    return bits <= 8 ? 1 : bits <= 16 ? 2 : 4;
}

static void encode_bits(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const uint32_t fixed = fixed_size(type);
    const KelPerString *size = kel_per_size_of(type);
    unsigned char octets[4];
    const unsigned char *bits;
    uint32_t n;

    if (type->form == KEL_FORM_PADDED) {
        /* The field holds the bits left-justified: their octets big-endian. */
        const uint32_t width = padded_octets((uint32_t)type->upper);
        const uint32_t value = (uint32_t)kel_load_unsigned(field, width) << (32 - 8 * width);
        octets[0] = (unsigned char)(value >> 24), octets[1] = (unsigned char)(value >> 16);
        octets[2] = (unsigned char)(value >> 8), octets[3] = (unsigned char)value;
        bits = octets;
        n = (uint32_t)type->upper;
    } else {
        bits = kel_string_units(type, field, 1, &n);
    }
    if (fixed)
        _kel_jenc_bit_unbounded_fixed(world, bits, n, fixed);
    else if (type->flags & KEL_DESC_NAMED_BITS)
        _kel_jenc_nbit_constr(world, bits, n, size && size->ub ? size->lb : 0);
    else
        _kel_jenc_bit_unbounded(world, bits, n);
}

/* A fixed size: the bare hexadecimal string into the form's octets. */
static void decode_fixed_bits(KelJsonCursor *cursor, const KelTypeDesc *type, unsigned char *field, uint32_t fixed)
{
    KelUnboundedBits *unbounded = (KelUnboundedBits *)(void *)field;
    unsigned char *record = field;
    if (type->form == KEL_FORM_UNBOUNDED) {
        unbounded->length = fixed;
        unbounded->value = (unsigned char *)_kel_dec_getmem(cursor->world, (int32_t)((fixed + 7) / 8));
        _kel_jdec_bit_big_padded(cursor, unbounded->value, (int32_t)fixed);
        return;
    }
    if (type->form == KEL_FORM_VARYING_PTR) {
        record = (unsigned char *)_kel_dec_getmem(cursor->world, (int32_t)(KEL_VARYING_HEADER + (fixed + 7) / 8));
        *(unsigned char **)(void *)field = record;
    }
    *(uint32_t *)(void *)record = fixed;
    _kel_jdec_bit_big_padded(cursor, record + KEL_VARYING_HEADER, (int32_t)fixed);
}

static void decode_bits(KelJsonCursor *cursor, const KelTypeDesc *type, unsigned char *field)
{
    const uint32_t fixed = fixed_size(type), upper = (uint32_t)type->upper;
    const int named = (type->flags & KEL_DESC_NAMED_BITS) != 0;
    KelUnboundedBits *unbounded = (KelUnboundedBits *)(void *)field;
    void **pointer = (void **)(void *)field;

    if (type->form == KEL_FORM_PADDED) {
        const int32_t size = fixed ? (int32_t)fixed : -(int32_t)upper;
        kel_store(field, padded_octets(upper),
                  named ? _kel_jdec_named_bit_padded(cursor, size) : _kel_jdec_bit_padded(cursor, size));
        return;
    }
    if (fixed) {
        decode_fixed_bits(cursor, type, field, fixed);
        return;
    }
    switch (type->form) {
    case KEL_FORM_VARYING:
        *(uint32_t *)(void *)field = named ? _kel_jdec_named_bit_varying(cursor, field + KEL_VARYING_HEADER, upper)
                                           : _kel_jdec_bit_varying(cursor, field + KEL_VARYING_HEADER, upper);
        return;
    case KEL_FORM_VARYING_PTR: {
        const uint32_t n = named ? _kel_jdec_named_bit_varying_ptr(cursor, pointer, KEL_VARYING_HEADER, upper)
                                 : _kel_jdec_bit_varying_ptr(cursor, pointer, KEL_VARYING_HEADER, upper);
        *(uint32_t *)*pointer = n;
        return;
    }
    default:
        unbounded->length = named ? _kel_jdec_named_bit_unbounded(cursor, &unbounded->value, upper)
                                  : _kel_jdec_bit_unbounded(cursor, &unbounded->value);
        return;
    }
}

/* ------------------------------------------------------------------------ */
/* Character and octet strings                                               */
/* ------------------------------------------------------------------------ */

static void encode_string(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    uint32_t count;
    const unsigned char *units = kel_string_units(type, field, fixed_size(type) != 0, &count);
    if (type->kind == KEL_KIND_OCTET_STRING) {
        _kel_jenc_append_char(world, '"');
        _kel_jenc_append_hexs(world, units, count);
        _kel_jenc_append_char(world, '"');
    } else if (type->form == KEL_FORM_BMP) {
        _kel_jenc_2byte_char(world, (const uint16_t *)(const void *)units, count);
    } else if (type->form == KEL_FORM_UNIVERSAL) {
        _kel_jenc_4byte_char(world, (const uint32_t *)(const void *)units, count);
    } else {
        _kel_jenc_pad_char(world, units, count, is_utf8(type));
    }
}

/* The readers of one kind of string text, by memory form. */
typedef struct StringReaders {
    uint32_t (*into)(KelJsonCursor *, unsigned char *, int32_t);
    uint32_t (*nullterm)(KelJsonCursor *, char **);
    uint32_t (*unbounded)(KelJsonCursor *, unsigned char **);
    uint32_t (*varying)(KelJsonCursor *, void **, uint32_t, int32_t);
} StringReaders;

static const StringReaders latin1Text = { _kel_jdec_string, _kel_jdec_string_nullterm, _kel_jdec_string_unbounded,
                                          _kel_jdec_string_varying };
static const StringReaders utf8Text = { _kel_jdec_string8, _kel_jdec_string8_nullterm, _kel_jdec_string8_unbounded,
                                        _kel_jdec_string8_varying };
static const StringReaders hexText = { _kel_jdec_octets, NULL, _kel_jdec_hstring_unbounded, _kel_jdec_hstring_varying };

static void decode_string(KelJsonCursor *cursor, const KelTypeDesc *type, unsigned char *field)
{
    const StringReaders *read = type->kind == KEL_KIND_OCTET_STRING ? &hexText : is_utf8(type) ? &utf8Text : &latin1Text;
    const int32_t room = (int32_t)type->upper;
    KelUnboundedString *unbounded = (KelUnboundedString *)(void *)field;
    void **pointer = (void **)(void *)field;
    uint32_t n;

    switch (type->form) {
    case KEL_FORM_BMP: unbounded->length = _kel_jdec_bmp_string(cursor, (uint16_t **)(void *)&unbounded->value); return;
    case KEL_FORM_UNIVERSAL:
        unbounded->length = _kel_jdec_universal_string(cursor, (uint32_t **)(void *)&unbounded->value);
        return;
    case KEL_FORM_FIXED: read->into(cursor, field, room); return;
    case KEL_FORM_PADDED: /* blank-padded unless the size is fixed */
        n = read->into(cursor, field, fixed_size(type) ? room : -room);
        memset(field + n, ' ', (size_t)room - n);
        return;
    case KEL_FORM_NULLTERM:
        n = read->into(cursor, field, -room);
        field[n] = 0;
        return;
    case KEL_FORM_NULLTERM_PTR:
    case KEL_FORM_TIME_TEXT: read->nullterm(cursor, (char **)(void *)field); return;
    case KEL_FORM_VARYING: *(uint32_t *)(void *)field = read->into(cursor, field + KEL_VARYING_HEADER, -room); return;
    case KEL_FORM_VARYING_PTR:
        n = read->varying(cursor, pointer, KEL_VARYING_HEADER, room);
        *(uint32_t *)*pointer = n;
        return;
    default: unbounded->length = read->unbounded(cursor, &unbounded->value); return;
    }
}

/* ------------------------------------------------------------------------ */
/* Object identifiers, REAL and times                                        */
/* ------------------------------------------------------------------------ */

static void encode_oid(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelOidUnbounded *arcs = (const KelOidUnbounded *)(const void *)field;
    const KelOidEncoded *encoded = (const KelOidEncoded *)(const void *)field;
    if (type->form == KEL_FORM_OID_ARCS)
        _kel_jenc_oid_unbounded_i(world, arcs->value, arcs->count, 0);
    else
        _kel_jenc_oid_encoded(world, encoded->value, encoded->length, 0, type->kind == KEL_KIND_RELATIVE_OID);
}

static void decode_oid(KelJsonCursor *cursor, const KelTypeDesc *type, unsigned char *field)
{
    KelOidUnbounded *arcs = (KelOidUnbounded *)(void *)field;
    KelOidEncoded *encoded = (KelOidEncoded *)(void *)field;
    if (type->form == KEL_FORM_OID_ARCS) {
        arcs->count = (uint16_t)_kel_jdec_oid_unbounded_i(cursor, &arcs->value);
        return;
    }
    /* capacity 0 allocates; its complement marks a RELATIVE-OID */
    encoded->length = _kel_jdec_oid_encoded(cursor, &encoded->value, type->kind == KEL_KIND_RELATIVE_OID ? ~0u : 0u);
}

static void encode_real(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelMixedReal *mixed = (const KelMixedReal *)(const void *)field;
    if (type->form != KEL_FORM_REAL_MIXED)
        _kel_jenc_real_double(world, REAL_PLAIN_NUMBER, *(const double *)(const void *)field);
    else if (mixed->kind == 0)
        _kel_jenc_real_double(world, REAL_PLAIN_NUMBER, mixed->u.value);
    else
        _kel_jenc_real_decimal(world, mixed->u.text, REAL_PLAIN_NUMBER);
}

static void decode_real(KelJsonCursor *cursor, const KelTypeDesc *type, unsigned char *field)
{
    KelMixedReal *mixed = (KelMixedReal *)(void *)field;
    if (type->form == KEL_FORM_REAL_MIXED)
        mixed->kind = (int32_t)_kel_jdec_real_mixed(cursor, &mixed->u, REAL_FORM_PLAIN);
    else
        *(double *)(void *)field = _kel_jdec_real_double(cursor, REAL_FORM_PLAIN);
}

static void encode_time(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelTimeStruct *time = (const KelTimeStruct *)(const void *)field;
    if (type->form == KEL_FORM_TIME_TEXT)
        encode_string(world, type, field);
    else if (type->kind == KEL_KIND_UTC_TIME)
        _kel_jenc_utime(world, time);
    else
        _kel_jenc_gtime(world, time);
}

static void decode_time(KelJsonCursor *cursor, const KelTypeDesc *type, unsigned char *field)
{
    KelTimeStruct *time = (KelTimeStruct *)(void *)field;
    if (type->form == KEL_FORM_TIME_TEXT)
        decode_string(cursor, type, field);
    else if (type->kind == KEL_KIND_UTC_TIME)
        _kel_jdec_utime(cursor, time);
    else
        _kel_jdec_gtime(cursor, time);
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

void kel_json_encode_simple(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    switch (type->kind) {
    case KEL_KIND_BOOLEAN:
        *field ? _kel_jenc_append(world, "true", 4) : _kel_jenc_append(world, "false", 5);
        return;
    case KEL_KIND_NULL: _kel_jenc_append(world, "null", 4); return;
    case KEL_KIND_INTEGER: encode_integer(world, type, field); return;
    case KEL_KIND_ENUMERATED:
        _kel_jenc_enum(world, &named_type(world, type)->values, (int32_t)kel_load_signed(field, type->width));
        return;
    case KEL_KIND_BIT_STRING: encode_bits(world, type, field); return;
    case KEL_KIND_OCTET_STRING:
    case KEL_KIND_CHAR_STRING: encode_string(world, type, field); return;
    case KEL_KIND_OID:
    case KEL_KIND_RELATIVE_OID: encode_oid(world, type, field); return;
    case KEL_KIND_REAL: encode_real(world, type, field); return;
    case KEL_KIND_UTC_TIME:
    case KEL_KIND_GENERALIZED_TIME: encode_time(world, type, field); return;
    default: _kel_enc_error(world, MSG_NOT_IMPLEMENTED, 0);
    }
}

void kel_json_decode_simple(KelJsonCursor *cursor, const KelTypeDesc *type, unsigned char *field)
{
    switch (type->kind) {
    case KEL_KIND_BOOLEAN:
        kel_json_expect(cursor, KEL_JTOK_TRUE | KEL_JTOK_FALSE, "true/false");
        *field = cursor->token == KEL_JTOK_TRUE;
        return;
    case KEL_KIND_NULL: kel_json_expect(cursor, KEL_JTOK_NULL, "null"); return;
    case KEL_KIND_INTEGER: decode_integer(cursor, type, field); return;
    case KEL_KIND_ENUMERATED:
        kel_store(field, type->width, (uint64_t)(int64_t)_kel_jdec_enum(cursor, kel_json_names(cursor->world, type)));
        return;
    case KEL_KIND_BIT_STRING: decode_bits(cursor, type, field); return;
    case KEL_KIND_OCTET_STRING:
    case KEL_KIND_CHAR_STRING: decode_string(cursor, type, field); return;
    case KEL_KIND_OID:
    case KEL_KIND_RELATIVE_OID: decode_oid(cursor, type, field); return;
    case KEL_KIND_REAL: decode_real(cursor, type, field); return;
    case KEL_KIND_UTC_TIME:
    case KEL_KIND_GENERALIZED_TIME: decode_time(cursor, type, field); return;
    default: _kel_enc_error(cursor->world, MSG_NOT_IMPLEMENTED, 0);
    }
}
