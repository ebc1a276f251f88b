/*
 * oer_walker.c - the OER walker's simple types (BOOLEAN, NULL, INTEGER,
 * ENUMERATED, REAL, object identifiers, bit, octet and character strings,
 * times held as text or as a record), both directions, each through the primitive a
 * compiler picks for its constraint and memory form.  oer_walker_struct.c
 * walks the structures.
 *
 * Integers: a range that fits 1, 2, 4 or 8 octets goes in that many octets,
 * unsigned when the lower bound is not negative; any other integer is a
 * length and the fewest octets, unsigned when a lower bound of 0 or more
 * exists.  An extensible constraint is not seen by OER.  Strings: a fixed
 * size (no ellipsis) has no length; bit strings carry the count of unused
 * bits, named-bit strings lose their trailing zero bits.  Sizes of
 * character strings count only for the known-multiplier types.
 */
#include <string.h>

#include "oer_walker.h"
#include "walker_common.h"
#include "per_walker.h"

/* Messages raised here. */
enum {
    MSG_RANGE = 22,
    MSG_NOT_ENUMERATED = 36,
    MSG_END_OF_INPUT = 45,
    MSG_SIZE_EXCEEDED = 79,
    MSG_SIZE = 27,
    MSG_NOT_IMPLEMENTED = 2
};

/* The size of every value of a string type, or 0 when sizes vary. */
static uint32_t fixed_size(const KelTypeDesc *type)
{
    const KelPerString *size = kel_per_size_of(type);
    if (!size || (size->flags & KEL_PER_SIZE_EXTENSIBLE) || size->lb != size->ub || size->ub == 0)
        return 0;
    if (type->kind == KEL_KIND_CHAR_STRING && (type->form == KEL_FORM_UTF8 || kel_universal_number(type) == 12))
        return 0; /* UTF8String has no known multiplier */
    return size->ub;
}

/* Content of a fixed size: the input must hold it, since no length says so. */
static void need_input(KelGlobal *world, uint32_t n)
{
    if ((uint32_t)world->inRemaining < n)
        _kel_enc_error(world, MSG_END_OF_INPUT, 0);
}

/* `n` octets into a fresh piece of decoder memory, with room for a
 * terminator and `header` octets in front. */
static unsigned char *read_piece(KelGlobal *world, uint32_t n, uint32_t header, int terminate)
{
    unsigned char *piece = (unsigned char *)_kel_dec_getmem(world, (int32_t)(header + n + (terminate ? 1 : 0)));
    _kel_odec_read_octets(world, piece + header, n);
    if (terminate)
        piece[header + n] = 0;
    return piece;
}

int kel_oer_knows_simple(const KelTypeDesc *type)
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

/* ------------------------------------------------------------------------ */
/* INTEGER and ENUMERATED                                                    */
/* ------------------------------------------------------------------------ */

/* The wire form of an integer type: 1, 2, 4 or 8 fixed octets (negative
 * for signed ones), or 0 for a length and the fewest octets. */
static int fixed_octets(const KelTypeDesc *type, int *isUnsigned)
{
    const int bounded = (type->flags & (KEL_DESC_LOWER | KEL_DESC_UPPER | KEL_DESC_EXTENSIBLE)) ==
                        (KEL_DESC_LOWER | KEL_DESC_UPPER);
    const int64_t lo = type->lower, hi = type->upper;
    *isUnsigned = (type->flags & KEL_DESC_LOWER) && !(type->flags & KEL_DESC_EXTENSIBLE) && lo >= 0;
    if (!bounded)
        return 0;
    if (lo >= 0)
        return hi <= 0xFF ? 1 : hi <= 0xFFFF ? 2 : hi <= INT64_C(0xFFFFFFFF) ? 4 : 8;
    if (lo >= -128 && hi <= 127)
        return 1;
    if (lo >= -32768 && hi <= 32767)
        return 2;
    return lo >= INT32_MIN && hi <= INT32_MAX ? 4 : 8;
}

static void encode_integer(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    int isUnsigned;
    const int octets = fixed_octets(type, &isUnsigned);
    const int wide = type->width == 8;
    const int64_t value = (type->flags & KEL_DESC_SIGNED) ? kel_load_signed(field, type->width)
                                                          : (int64_t)kel_load_unsigned(field, type->width);

    if (type->form == KEL_FORM_HUGE) {
        const KelHugeInt *huge = (const KelHugeInt *)(const void *)field;
        _kel_oenc_int_h(world, huge->value, huge->length);
        return;
    }
    if (!(type->flags & KEL_DESC_EXTENSIBLE) && (((type->flags & KEL_DESC_LOWER) && value < type->lower) ||
                                                 ((type->flags & KEL_DESC_UPPER) && value > type->upper)))
        _kel_enc_llerror(world, MSG_RANGE + 1, (uint64_t)value);
    switch (octets) {
    case 1: isUnsigned ? _kel_oenc_uint_1byte(world, (uint32_t)value) : _kel_oenc_int_1byte(world, (int32_t)value); return;
    case 2: isUnsigned ? _kel_oenc_uint_2byte(world, (uint32_t)value) : _kel_oenc_int_2byte(world, (int32_t)value); return;
    case 4: isUnsigned ? _kel_oenc_uint_4byte(world, (uint32_t)value) : _kel_oenc_int_4byte(world, (int32_t)value); return;
    case 8: isUnsigned ? _kel_oenc_uint_8byte(world, (uint64_t)value) : _kel_oenc_int_8byte(world, value); return;
    default:
        if (isUnsigned)
            wide ? _kel_oenc_uint_ll(world, (uint64_t)value) : _kel_oenc_uint(world, (uint32_t)value);
        else
            wide ? _kel_oenc_int_ll(world, value) : _kel_oenc_int(world, (int32_t)value);
    }
}

/* Whether the memory form holds a decoded value. */
static int fits(int64_t value, unsigned width, int isSigned)
{
    const unsigned bits = width * 8u;
    if (bits >= 64)
        return 1;
    if (isSigned)
        return value >= -(INT64_C(1) << (bits - 1)) && value < (INT64_C(1) << (bits - 1));
    return ((uint64_t)value >> bits) == 0;
}

static int64_t decode_counted(KelGlobal *world, int isUnsigned, unsigned width)
{
    if (isUnsigned)
        return width == 8 ? (int64_t)_kel_odec_uint_ll(world)
                          : (int64_t)(width == 2 ? _kel_odec_uint_s(world) : _kel_odec_uint(world));
    return width == 8 ? _kel_odec_int_ll(world) : width == 2 ? _kel_odec_int_s(world) : _kel_odec_int(world);
}

static void decode_integer(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    int isUnsigned;
    int64_t value;

    if (type->form == KEL_FORM_HUGE) {
        KelHugeInt *huge = (KelHugeInt *)(void *)field;
        huge->length = (uint32_t)_kel_odec_int_h(world, &huge->value, 0);
        return;
    }
    switch (fixed_octets(type, &isUnsigned)) {
    case 1: value = isUnsigned ? (int64_t)_kel_odec_uint_1byte(world) : _kel_odec_int_1byte(world); break;
    case 2: value = isUnsigned ? (int64_t)_kel_odec_uint_2byte(world) : _kel_odec_int_2byte(world); break;
    case 4: value = isUnsigned ? (int64_t)_kel_odec_uint_4byte(world) : _kel_odec_int_4byte(world); break;
    case 8: value = isUnsigned ? (int64_t)_kel_odec_uint_8byte(world) : _kel_odec_int_8byte(world); break;
    default: value = decode_counted(world, isUnsigned, type->width);
    }
    if (!fits(value, type->width, (type->flags & KEL_DESC_SIGNED) != 0))
        _kel_enc_llerror(world, MSG_RANGE + 1, (uint64_t)value);
    kel_store(field, type->width, (uint64_t)value);
}

static void decode_enumerated(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    const int32_t value = _kel_odec_enum(world);
    uint32_t i;
    for (i = 0; i < type->nameCount && type->names[i].value != value; i++)
        ;
    if (i == type->nameCount && !(type->flags & KEL_DESC_EXTENSIBLE))
        _kel_enc_error(world, MSG_NOT_ENUMERATED, (uint32_t)value);
    kel_store(field, type->width, (uint64_t)(int64_t)value);
}

/* ------------------------------------------------------------------------ */
/* Character and octet strings                                               */
/* ------------------------------------------------------------------------ */

static void encode_string(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const uint32_t fixed = fixed_size(type);
    const uint32_t width = type->form == KEL_FORM_BMP ? 2 : type->form == KEL_FORM_UNIVERSAL ? 4 : 1;
    uint32_t count;
    const unsigned char *units = kel_string_units(type, field, fixed_size(type) != 0, &count);

    if (fixed && count != fixed)
        _kel_enc_error(world, MSG_SIZE, count);
    if (!fixed)
        _kel_oenc_octet_length(world, count * width);
    if (width == 2)
        _kel_oenc_bmpstr(world, (const uint16_t *)(const void *)units, count);
    else if (width == 4)
        _kel_oenc_unistr(world, (const uint32_t *)(const void *)units, count);
    else
        _kel_oenc_append_bytes(world, units, count);
}

/* The octet count of a value: its determinant, or the fixed size.  A
 * determinant of four octets with the top bit set comes back negative: no
 * input holds that much. */
static uint32_t octet_count(KelGlobal *world, uint32_t fixed)
{
    if (!fixed) {
        const int32_t n = _kel_odec_length(world);
        if (n < 0)
            _kel_enc_error(world, MSG_END_OF_INPUT, 0);
        return (uint32_t)n;
    }
    need_input(world, fixed);
    return fixed;
}

static void decode_wide(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    const uint32_t fixed = fixed_size(type);
    KelUnboundedString *unbounded = (KelUnboundedString *)(void *)field;
    const uint32_t width = type->form == KEL_FORM_BMP ? 2 : 4;

    unbounded->length = fixed;
    if (!fixed) {
        unbounded->length = width == 2 ? _kel_odec_bmp_string(world, (uint16_t **)(void *)&unbounded->value)
                                       : _kel_odec_universal_string(world, (uint32_t **)(void *)&unbounded->value);
        return;
    }
    need_input(world, fixed * width);
    unbounded->value = (unsigned char *)_kel_dec_getmem(world, (int32_t)(fixed * width));
    if (width == 2)
        _kel_odec_fixed_bmp_string(world, (uint16_t *)(void *)unbounded->value, fixed);
    else
        _kel_odec_fixed_universal_string(world, (uint32_t *)(void *)unbounded->value, fixed);
}

static void decode_string(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    const uint32_t fixed = fixed_size(type);
    const uint32_t room = (uint32_t)type->upper;
    KelUnboundedString *unbounded = (KelUnboundedString *)(void *)field;
    unsigned char **pointer = (unsigned char **)(void *)field;
    uint32_t n;

    switch (type->form) {
    case KEL_FORM_BMP:
    case KEL_FORM_UNIVERSAL: decode_wide(world, type, field); return;
    case KEL_FORM_PADDED:
        if (!fixed) {
            _kel_odec_string_padded(world, field, room);
            return;
        }
        /* a fixed size fills the buffer */
        /* fall through */
    case KEL_FORM_FIXED:
        if ((n = octet_count(world, fixed)) != room)
            _kel_enc_error(world, MSG_SIZE_EXCEEDED, n);
        _kel_odec_read_octets(world, field, n);
        return;
    case KEL_FORM_NULLTERM:
        if ((n = octet_count(world, fixed)) > room)
            _kel_enc_error(world, MSG_SIZE_EXCEEDED, n);
        _kel_odec_read_octets(world, field, n);
        field[n] = 0;
        return;
    case KEL_FORM_NULLTERM_PTR:
    case KEL_FORM_TIME_TEXT:
        n = octet_count(world, fixed);
        *pointer = read_piece(world, n, 0, 1);
        return;
    case KEL_FORM_VARYING:
        if ((n = octet_count(world, fixed)) > room)
            _kel_enc_error(world, MSG_SIZE_EXCEEDED, n);
        *(uint32_t *)(void *)field = n;
        _kel_odec_read_octets(world, field + KEL_VARYING_HEADER, n);
        return;
    case KEL_FORM_VARYING_PTR:
        n = octet_count(world, fixed);
        *pointer = read_piece(world, n, KEL_VARYING_HEADER, 0);
        *(uint32_t *)(void *)*pointer = n;
        return;
    default: /* KEL_FORM_UNBOUNDED, KEL_FORM_UTF8 */
        if (!fixed) {
            unbounded->length = _kel_odec_string_unbounded(world, &unbounded->value);
            return;
        }
        need_input(world, fixed);
        unbounded->length = fixed;
        unbounded->value = read_piece(world, fixed, 0, 0);
        return;
    }
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
    const KelUnboundedBits *unbounded = (const KelUnboundedBits *)(const void *)field;
    unsigned char octets[4];
    const unsigned char *bits;
    uint32_t n;

    if (type->form == KEL_FORM_PADDED) {
        /* The field holds the bits left-justified: write them out big-endian. */
        const uint32_t width = padded_octets((uint32_t)type->upper);
        const uint32_t value = (uint32_t)kel_load_unsigned(field, width) << (32 - 8 * width);
        octets[0] = (unsigned char)(value >> 24), octets[1] = (unsigned char)(value >> 16);
        octets[2] = (unsigned char)(value >> 8), octets[3] = (unsigned char)value;
        bits = octets;
        n = (uint32_t)type->upper;
    } else if (type->form == KEL_FORM_VARYING) {
        n = *(const uint32_t *)(const void *)field;
        bits = field + KEL_VARYING_HEADER;
    } else if (type->form == KEL_FORM_VARYING_PTR) {
        const unsigned char *record = *(unsigned char *const *)(const void *)field;
        n = *(const uint32_t *)(const void *)record;
        bits = record + KEL_VARYING_HEADER;
    } else {
        n = unbounded->length;
        bits = unbounded->value;
    }
    if (fixed)
        _kel_oenc_bit_unbounded_fixed(world, bits, n, fixed);
    else if (type->flags & KEL_DESC_NAMED_BITS)
        _kel_oenc_nbit_constr(world, bits, n, size && size->ub ? size->lb : 0);
    else
        _kel_oenc_bit_unbounded(world, bits, n);
}

static void decode_bits(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    const uint32_t fixed = fixed_size(type);
    const int named = (type->flags & KEL_DESC_NAMED_BITS) != 0;
    KelUnboundedBits *unbounded = (KelUnboundedBits *)(void *)field;
    const uint32_t upper = (uint32_t)type->upper;

    if (fixed) {
        const uint32_t octets = (fixed + 7) / 8;
        need_input(world, octets);
        if (type->form == KEL_FORM_PADDED) {
            unsigned char bytes[4] = { 0, 0, 0, 0 };
            const uint32_t width = padded_octets(upper);
            _kel_odec_read_octets(world, bytes, octets);
            kel_store(field, width, (((uint32_t)bytes[0] << 24 | (uint32_t)bytes[1] << 16 | (uint32_t)bytes[2] << 8 | bytes[3])
                                 >> (32 - 8 * width)));
            return;
        }
        unbounded->length = fixed;
        unbounded->value = read_piece(world, octets, 0, 0);
        return;
    }
    switch (type->form) {
    case KEL_FORM_PADDED:
        kel_store(field, padded_octets(upper),
              named ? _kel_odec_named_bit_padded(world, upper) : _kel_odec_bit_padded(world, upper));
        return;
    case KEL_FORM_VARYING:
        *(uint32_t *)(void *)field = _kel_odec_named_bit_varying(world, field + KEL_VARYING_HEADER, upper);
        return;
    case KEL_FORM_VARYING_PTR: {
        void **pointer = (void **)(void *)field;
        const uint32_t n = _kel_odec_named_bit_varying_ptr(world, pointer, KEL_VARYING_HEADER, upper ? upper : UINT32_MAX);
        *(uint32_t *)*pointer = n;
        return;
    }
    default:
        unbounded->length = named ? _kel_odec_named_bit_unbounded(world, &unbounded->value, upper)
                                  : _kel_odec_bit_unbounded(world, &unbounded->value);
        return;
    }
}

/* ------------------------------------------------------------------------ */
/* Object identifiers and REAL                                               */
/* ------------------------------------------------------------------------ */

static void encode_oid(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelOidUnbounded *arcs = (const KelOidUnbounded *)(const void *)field;
    const KelOidEncoded *encoded = (const KelOidEncoded *)(const void *)field;
    if (type->form == KEL_FORM_OID_ARCS) {
        _kel_oenc_oid_unbounded_i(world, arcs->value, arcs->count);
        return;
    }
    _kel_oenc_octet_length(world, encoded->length);
    _kel_oenc_append_bytes(world, encoded->value, encoded->length);
}

static void decode_oid(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    KelOidUnbounded *arcs = (KelOidUnbounded *)(void *)field;
    KelOidEncoded *encoded = (KelOidEncoded *)(void *)field;
    if (type->form == KEL_FORM_OID_ARCS)
        arcs->count = (uint16_t)_kel_odec_oid_unbounded_i(world, &arcs->value);
    else if (type->kind == KEL_KIND_OID)
        encoded->length = _kel_odec_oid_encoded(world, &encoded->value, 0);
    else /* RELATIVE-OID: its contents octets as they stand */
        encoded->length = _kel_odec_string_unbounded(world, &encoded->value);
}

static void encode_real(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelMixedReal *mixed = (const KelMixedReal *)(const void *)field;
    if (type->form != KEL_FORM_REAL_MIXED)
        _kel_oenc_real(world, *(const double *)(const void *)field);
    else if (mixed->kind == 0)
        _kel_oenc_real(world, mixed->u.value);
    else
        _kel_oenc_real_decimal(world, mixed->u.text);
}

static void decode_real(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    KelMixedReal *mixed = (KelMixedReal *)(void *)field;
    if (type->form == KEL_FORM_REAL_MIXED)
        mixed->kind = (int32_t)_kel_odec_real_mixed(world, &mixed->u);
    else
        *(double *)(void *)field = _kel_odec_real_double(world);
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

/* A time held as a record goes out as its text behind a length. */
static void encode_time(KelGlobal *world, const KelTypeDesc *type, const KelTimeStruct *value)
{
    if (type->kind == KEL_KIND_UTC_TIME)
        _kel_oenc_utime(world, value);
    else
        _kel_oenc_gtime(world, value);
}

static void decode_time(KelGlobal *world, const KelTypeDesc *type, KelTimeStruct *value)
{
    if (type->kind == KEL_KIND_UTC_TIME)
        _kel_odec_utime(world, value);
    else
        _kel_odec_gtime(world, value);
}

void kel_oer_encode_quantity(KelGlobal *world, uint32_t count)
{
    _kel_oenc_uint(world, count);
}

uint32_t kel_oer_decode_quantity(KelGlobal *world)
{
    return _kel_odec_uint(world);
}

void kel_oer_encode_simple(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    switch (type->kind) {
    case KEL_KIND_BOOLEAN: _kel_oenc_append_byte(world, *field ? 0xFF : 0); return;
    case KEL_KIND_NULL: return;
    case KEL_KIND_INTEGER: encode_integer(world, type, field); return;
    case KEL_KIND_ENUMERATED: _kel_oenc_enum(world, (int32_t)kel_load_signed(field, type->width)); return;
    case KEL_KIND_BIT_STRING: encode_bits(world, type, field); return;
    case KEL_KIND_UTC_TIME:
    case KEL_KIND_GENERALIZED_TIME:
        if (type->form == KEL_FORM_TIME_STRUCT)
            encode_time(world, type, (const KelTimeStruct *)(const void *)field);
        else
            encode_string(world, type, field);
        return;
    case KEL_KIND_OCTET_STRING:
    case KEL_KIND_CHAR_STRING: encode_string(world, type, field); return;
    case KEL_KIND_OID:
    case KEL_KIND_RELATIVE_OID: encode_oid(world, type, field); return;
    case KEL_KIND_REAL: encode_real(world, type, field); return;
    default: _kel_enc_error(world, MSG_NOT_IMPLEMENTED, 0);
    }
}

void kel_oer_decode_simple(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    switch (type->kind) {
    case KEL_KIND_BOOLEAN: *field = (unsigned char)_kel_odec_bool(world); return;
    case KEL_KIND_NULL: return;
    case KEL_KIND_INTEGER: decode_integer(world, type, field); return;
    case KEL_KIND_ENUMERATED: decode_enumerated(world, type, field); return;
    case KEL_KIND_BIT_STRING: decode_bits(world, type, field); return;
    case KEL_KIND_UTC_TIME:
    case KEL_KIND_GENERALIZED_TIME:
        if (type->form == KEL_FORM_TIME_STRUCT)
            decode_time(world, type, (KelTimeStruct *)(void *)field);
        else
            decode_string(world, type, field);
        return;
    case KEL_KIND_OCTET_STRING:
    case KEL_KIND_CHAR_STRING: decode_string(world, type, field); return;
    case KEL_KIND_OID:
    case KEL_KIND_RELATIVE_OID: decode_oid(world, type, field); return;
    case KEL_KIND_REAL: decode_real(world, type, field); return;
    default: _kel_enc_error(world, MSG_NOT_IMPLEMENTED, 0);
    }
}
