/*
 * ber_walker.c - the BER family (BER, DER, CER) walker's simple types: the
 * whole TLV of a value under its own tag, in both directions, and the
 * pieces a decoded value holds.  ber_walker_struct.c walks the structures
 * and the tags around them.
 *
 * The encoder writes backward with the BER writers: contents first, then
 * the header, so that the length is known when it is written; most simple
 * types cost one `_tl` call.  The decoder reads forward with
 * _kel_dec_tag_length and the value readers on the world's inPos and
 * inRemaining.  Failures leave through _kel_enc_error.
 *
 * OBJECT IDENTIFIER and RELATIVE-OID are kept encoded or as 32-bit arcs,
 * REAL as a double or a KelMixedReal, the times as text or KelTimeStruct,
 * a huge INTEGER as its two's complement octets.
 *
 * Strings call the primitive of their memory form.  Under CER an OCTET
 * STRING or character string of more than 1000 octets goes out in
 * 1000-octet segments inside an indefinite-length constructed encoding, as
 * generated code does it; BIT STRING segments come from the bit writer.
 */
#include <string.h>

#include "ber_walker.h"
#include "walker_common.h"
#include "kelvarn_ber.h"

/* Messages raised here. */
enum {
    MSG_VALUE_TOO_LONG = 10,
    MSG_NOT_ENUMERATED = 36,
    MSG_MISENCODED = 106,
    MSG_INDEFINITE_PRIMITIVE = 119,
    MSG_EXPECTED_PRIMITIVE = 121,
    MSG_INDEFINITE_DER = 134
};

/* Generated code checks enumerations against its own table; an extensible
 * enumeration takes any number. */
static void check_enumerated(KelGlobal *world, const KelTypeDesc *type, int64_t value)
{
    uint32_t i;
    if (type->flags & KEL_DESC_EXTENSIBLE)
        return;
    for (i = 0; i < type->nameCount; i++)
        if (type->names[i].value == value)
            return;
    _kel_enc_error(world, MSG_NOT_ENUMERATED, (uint32_t)value);
}

static int is_string(const KelTypeDesc *type)
{
    return type->kind >= KEL_KIND_BIT_STRING && type->kind <= KEL_KIND_CHAR_STRING;
}

static uint32_t *varying_length(unsigned char *record)
{
    return (uint32_t *)(void *)record;
}

/* Room of a string form: the bound, in octets for bit strings. */
static uint32_t room_of(const KelTypeDesc *type)
{
    return type->kind == KEL_KIND_BIT_STRING ? (uint32_t)(type->upper + 7) / 8 : (uint32_t)type->upper;
}

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

/* The units of a string value that isn't a bit string: octets, or the u16
 * or u32 characters of BMP and Universal forms. */
typedef struct StringUnits {
    const unsigned char *data;
    uint32_t count;
    uint32_t unitSize;
} StringUnits;

static StringUnits string_units(const KelTypeDesc *type, const unsigned char *field)
{
    StringUnits units;
    units.data = kel_string_units(type, field, 0, &units.count);
    units.unitSize = type->form == KEL_FORM_BMP ? 2 : type->form == KEL_FORM_UNIVERSAL ? 4 : 1;
    return units;
}

/* The contents of a string that isn't a bit string, by its memory form. */
static int32_t encode_string_contents(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                      const KelTypeDesc *type, unsigned char *field)
{
    const int octets = type->kind == KEL_KIND_OCTET_STRING;
    const int32_t limit = (int32_t)type->upper;
    StringUnits units = string_units(type, field);
    void *data = (void *)units.data;

    switch (type->form) {
    case KEL_FORM_UNBOUNDED:
        return octets ? _kel_encd_uoct_ia(world, pos, rem, data, (int32_t)units.count, limit)
                      : _kel_encd_ustr_ia(world, pos, rem, data, (int32_t)units.count, limit);
    case KEL_FORM_VARYING:
    case KEL_FORM_VARYING_PTR:
    case KEL_FORM_FIXED:
        return octets ? _kel_encd_voct_ia(world, pos, rem, data, (int32_t)units.count, limit)
                      : _kel_encd_vstr_ia(world, pos, rem, data, (int32_t)units.count, limit);
    case KEL_FORM_PADDED: return _kel_encd_pstr(world, pos, rem, field, limit);
    case KEL_FORM_NULLTERM:
    case KEL_FORM_NULLTERM_PTR: return _kel_encd_nstr(world, pos, rem, (const char *)data, limit);
    case KEL_FORM_BMP:
        return _kel_encd_bmpstr_ia(world, pos, rem, (const uint16_t *)data, (int32_t)units.count, limit);
    case KEL_FORM_UNIVERSAL:
        return _kel_encd_unistr_ia(world, pos, rem, (const uint32_t *)data, units.count, limit);
    default: /* KEL_FORM_UTF8 */
        return _kel_encd_utf8unbound_ia(world, pos, rem, data, units.count, limit);
    }
}

/* CER: the units in primitive segments of 1000 octets, the last segment
 * (the short one) written first. */
static int32_t encode_segments(KelGlobal *world, unsigned char **pos, int32_t *rem,
                               const StringUnits *units)
{
    const uint32_t perSegment = 1000 / units->unitSize;
    uint32_t left = units->count, n = left % perSegment ? left % perSegment : perSegment;
    int32_t total = 0, octets;

    for (; left; left -= n, n = perSegment) {
        const void *from = units->data + (left - n) * units->unitSize;
        switch (units->unitSize) {
        case 2:
            octets = _kel_encd_bmpstr_ia(world, pos, rem, (const uint16_t *)from, (int32_t)n, 0);
            break;
        case 4:
            octets = _kel_encd_unistr_ia(world, pos, rem, (const uint32_t *)from, n, 0);
            break;
        default:
            octets = _kel_encd_uoct_ia(world, pos, rem, (void *)from, (int32_t)n, 0);
            break;
        }
        total += octets + _kel_encd_tag_length(world, pos, rem, (uint32_t)octets, 0x04);
    }
    return total;
}

/* Bits of a bit string value, and the contents by its memory form; a
 * negative result is a segmented (constructed) encoding. */
static uint32_t bit_count(const KelTypeDesc *type, const unsigned char *field)
{
    switch (type->form) {
    case KEL_FORM_UNBOUNDED: return ((const KelUnboundedBits *)(const void *)field)->length;
    case KEL_FORM_VARYING: return *(const uint32_t *)(const void *)field;
    case KEL_FORM_VARYING_PTR: return **(const uint32_t *const *)(const void *)field;
    default: return (uint32_t)type->upper;
    }
}

static int32_t encode_bits_contents(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                    const KelTypeDesc *type, unsigned char *field)
{
    const uint8_t named = (type->flags & KEL_DESC_NAMED_BITS) != 0;
    const uint32_t count = bit_count(type, field);

    switch (type->form) {
    case KEL_FORM_UNBOUNDED:
        return _kel_encd_dubit_ia(world, pos, rem, ((KelUnboundedBits *)(void *)field)->value,
                                  (int32_t)count, (int32_t)type->upper, named);
    case KEL_FORM_VARYING:
        return _kel_encd_vbit_ia(world, pos, rem, field + KEL_VARYING_HEADER, count, room_of(type));
    case KEL_FORM_VARYING_PTR:
        return _kel_encd_dvbit_ia(world, pos, rem, *(unsigned char **)(void *)field + KEL_VARYING_HEADER,
                                  count, room_of(type), named);
    default: /* KEL_FORM_PADDED */
        if (!named)
            return _kel_encb_pbit(world, pos, rem, (const uint16_t *)(void *)field, count);
        return world->encRules == KEL_BER ? _kel_encd9_pbit(world, pos, rem, field, (int32_t)count)
                                          : _kel_encd_pbit(world, pos, rem, field, count);
    }
}

/* The whole TLV of a string under its own (innermost) tag. */
static int32_t encode_string_tlv(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 const KelTypeDesc *type, unsigned char *field, const KelTag *tag)
{
    const int cer = world->encRules == KEL_CER;
    int32_t n, endOfContents = 0;

    if (type->kind == KEL_KIND_BIT_STRING) {
        if (cer && (bit_count(type, field) + 7) / 8 >= 1000)
            endOfContents = _kel_write_bytes_d(world, pos, rem, "\0\0", 2);
        n = encode_bits_contents(world, pos, rem, type, field);
        if (n >= 0)
            return n + _kel_encd_tag_length(world, pos, rem, (uint32_t)n, tag->header);
        n = -n;
    } else {
        StringUnits units = string_units(type, field);
        if (!cer || units.count * units.unitSize <= 1000) {
            n = encode_string_contents(world, pos, rem, type, field);
            return n + _kel_encd_tag_length(world, pos, rem, (uint32_t)n, tag->header);
        }
        endOfContents = _kel_write_bytes_d(world, pos, rem, "\0\0", 2);
        n = encode_segments(world, pos, rem, &units);
    }
    if (cer)
        n += _kel_write_byte_d(world, pos, rem, 0x80);
    else
        n += _kel_encd_length(world, pos, rem, (uint32_t)n);
    return endOfContents + n + _kel_encd_tag(world, pos, rem, tag->classNumber, 1);
}

/* The whole TLV of a type with one tag, in one call. */
static int32_t encode_tlv(KelGlobal *world, unsigned char **pos, int32_t *rem,
                          const KelTypeDesc *type, const unsigned char *field, uint32_t tag)
{
    switch (type->kind) {
    case KEL_KIND_BOOLEAN: return _kel_encd_bool_tl(world, pos, rem, tag, (int8_t)(*field != 0));
    case KEL_KIND_NULL: return _kel_encd_tag_length(world, pos, rem, 0, tag);
    default:
        if (type->flags & KEL_DESC_SIGNED) {
            int64_t value = kel_load_signed(field, type->width);
            return type->width == 8 ? _kel_encd_llint_tl(world, pos, rem, value, tag)
                                    : _kel_encd_int_tl(world, pos, rem, (int32_t)value, tag);
        } else {
            uint64_t value = kel_load_unsigned(field, type->width);
            return type->width == 8 ? _kel_encd_ullint_tl(world, pos, rem, value, tag)
                                    : _kel_encd_uint_tl(world, pos, rem, (uint32_t)value, tag);
        }
    }
}

/* OBJECT IDENTIFIER, RELATIVE-OID, REAL and the times: contents octets. */
static int32_t encode_other_contents(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                     const KelTypeDesc *type, unsigned char *field)
{
    const KelOidEncoded *encoded = (const KelOidEncoded *)(const void *)field;
    const KelOidUnbounded *arcs = (const KelOidUnbounded *)(const void *)field;
    KelMixedReal *mixed = (KelMixedReal *)(void *)field;
    const int utc = type->kind == KEL_KIND_UTC_TIME;

    switch (type->kind) {
    case KEL_KIND_OID:
        if (type->form == KEL_FORM_OID_ARCS)
            return _kel_encd_uiobjid_ia(world, pos, rem, arcs->value, arcs->count, 0);
        return _kel_encd_eobjid_ia(world, pos, rem, encoded->value, encoded->length, -1);
    case KEL_KIND_RELATIVE_OID:
        return _kel_encd_ereloid_ia(world, pos, rem, encoded->value, encoded->length, -1);
    case KEL_KIND_REAL:
        if (type->form == KEL_FORM_REAL_MIXED)
            return _kel_encd_mreal_ia(world, pos, rem, mixed->kind, &mixed->u);
        return _kel_encd_real(world, pos, rem, *(const double *)(const void *)field);
    default: /* the times */
        if (type->form == KEL_FORM_TIME_TEXT)
            return _kel_encd_untime(world, pos, rem, *(const char *const *)(const void *)field, 0,
                                    (int16_t)utc);
        return utc ? _kel_encd_utime(world, pos, rem, (const KelTimeStruct *)(const void *)field)
                   : _kel_encd_gtime(world, pos, rem, (const KelTimeStruct *)(const void *)field);
    }
}

int32_t kel_ber_encode_simple(KelGlobal *world, unsigned char **pos, int32_t *rem,
                              const KelTypeDesc *type, const KelTag *tag, const unsigned char *field)
{
    int32_t n;
    if (type->kind == KEL_KIND_ENUMERATED)
        check_enumerated(world, type, kel_load_signed(field, type->width));
    if (is_string(type))
        return encode_string_tlv(world, pos, rem, type, (unsigned char *)field, tag);
    if (type->form == KEL_FORM_HUGE) {
        const KelHugeInt *huge = (const KelHugeInt *)(const void *)field;
        n = _kel_encd_uoct_ia(world, pos, rem, huge->value, (int32_t)huge->length, 0);
        return n + _kel_encd_tag_length(world, pos, rem, (uint32_t)n, tag->header);
    }
    if (type->kind < KEL_KIND_OID)
        return encode_tlv(world, pos, rem, type, field, tag->header);
    n = encode_other_contents(world, pos, rem, type, (unsigned char *)field);
    return n + _kel_encd_tag_length(world, pos, rem, (uint32_t)n, tag->header);
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

static void decode_contents(KelGlobal *world, unsigned char **pos, int32_t *rem,
                            const KelTypeDesc *type, unsigned char *field, int32_t length)
{
    const int isSigned = (type->flags & KEL_DESC_SIGNED) != 0;
    int64_t value = 0;

    switch (type->kind) {
    case KEL_KIND_BOOLEAN:
        *field = (unsigned char)_kel_dec_bool(world, pos, rem, length);
        return;
    case KEL_KIND_NULL:
        if (length != 0)
            _kel_enc_error(world, MSG_MISENCODED, 0);
        return;
    default:
        break;
    }

    switch (type->width) {
    case 1:
        value = isSigned ? _kel_dec_sint(world, pos, rem, length) : _kel_dec_usint(world, pos, rem, length);
        if (isSigned ? value < INT8_MIN || value > INT8_MAX : value > UINT8_MAX)
            _kel_enc_error(world, MSG_VALUE_TOO_LONG, (uint32_t)value);
        *field = (unsigned char)value;
        break;
    case 2:
        if (isSigned)
            value = *(int16_t *)field = _kel_dec_sint(world, pos, rem, length);
        else
            value = *(uint16_t *)field = _kel_dec_usint(world, pos, rem, length);
        break;
    case 4:
        if (isSigned)
            value = *(int32_t *)field = _kel_dec_iint(world, pos, rem, length);
        else
            value = *(uint32_t *)field = _kel_dec_uiint(world, pos, rem, length);
        break;
    default:
        if (isSigned)
            value = *(int64_t *)field = _kel_dec_llint(world, pos, rem, length);
        else
            *(uint64_t *)field = _kel_dec_ullint(world, pos, rem, length);
        break;
    }
    if (type->kind == KEL_KIND_ENUMERATED)
        check_enumerated(world, type, value);
}

/* A string's contents into its memory form. */
static void decode_string(KelGlobal *world, unsigned char **pos, int32_t *rem,
                          const KelTypeDesc *type, unsigned char *field, int32_t length)
{
    const int octets = type->kind == KEL_KIND_OCTET_STRING;
    const int32_t limit = (int32_t)type->upper;
    const int named = (type->flags & KEL_DESC_NAMED_BITS) != 0;
    KelUnboundedString *unbounded = (KelUnboundedString *)(void *)field;
    unsigned char **record = (unsigned char **)(void *)field;
    uint32_t n;

    if (type->kind == KEL_KIND_BIT_STRING) {
        switch (type->form) {
        case KEL_FORM_UNBOUNDED:
            unbounded->length = (uint32_t)_kel_dec_ubit_ia(world, pos, rem, length, &unbounded->value,
                                                           limit, named ? KEL_BITS_NAMED : 0);
            return;
        case KEL_FORM_VARYING:
            *varying_length(field) = (uint32_t)_kel_dec_vbit_ia(world, pos, rem, length,
                                                                field + KEL_VARYING_HEADER, (int32_t)room_of(type));
            return;
        case KEL_FORM_VARYING_PTR:
            n = (uint32_t)_kel_dec_vbit_ptr_nz(world, pos, rem, length, record, KEL_VARYING_HEADER,
                                               room_of(type), named ? KEL_BITS_NAMED : 0);
            *varying_length(*record) = n;
            return;
        default: /* KEL_FORM_PADDED */
            _kel_dec_pbit(world, pos, rem, length, field, limit, (int8_t)named);
            return;
        }
    }

    switch (type->form) {
    case KEL_FORM_UNBOUNDED:
        unbounded->length = (uint32_t)(octets ? _kel_dec_uoct_ia(world, pos, rem, length, &unbounded->value, limit)
                                              : _kel_dec_ustr_ia(world, pos, rem, length, &unbounded->value, limit));
        return;
    case KEL_FORM_VARYING:
        *varying_length(field) = (uint32_t)(
            octets ? _kel_dec_voct_ia(world, pos, rem, length, field + KEL_VARYING_HEADER, limit)
                   : _kel_dec_vstr_ia(world, pos, rem, length, field + KEL_VARYING_HEADER, limit));
        return;
    case KEL_FORM_VARYING_PTR:
        n = (uint32_t)(octets ? _kel_dec_voct_ptr_ia(world, pos, rem, length, record, KEL_VARYING_HEADER, limit)
                              : _kel_dec_vstr_ptr_ia(world, pos, rem, length, record, KEL_VARYING_HEADER, limit));
        *varying_length(*record) = n;
        return;
    case KEL_FORM_FIXED:
        _kel_dec_fixed_oct(world, pos, rem, length, field, (uint32_t)limit);
        return;
    case KEL_FORM_PADDED:
        _kel_dec_pstr(world, pos, rem, length, field, limit);
        return;
    case KEL_FORM_NULLTERM:
        _kel_dec_nstr(world, pos, rem, length, field, limit);
        return;
    case KEL_FORM_NULLTERM_PTR:
        _kel_dec_nstr_ptr(world, pos, rem, length, record, limit);
        return;
    case KEL_FORM_BMP:
        unbounded->length = (uint32_t)_kel_dec_bmpstr_ia(world, pos, rem, length,
                                                         (uint16_t **)(void *)&unbounded->value, (uint32_t)limit);
        return;
    case KEL_FORM_UNIVERSAL:
        unbounded->length = (uint32_t)_kel_dec_unistr_ia(world, pos, rem, length,
                                                         (uint32_t **)(void *)&unbounded->value, (uint32_t)limit);
        return;
    default: /* KEL_FORM_UTF8 */
        unbounded->length = (uint32_t)_kel_dec_utf8unbound_ia(world, pos, rem, length,
                                                              (void **)(void *)&unbounded->value, limit);
        return;
    }
}

/* The indefinite length on a type that is always primitive: the tag read
 * last says whether the encoding is constructed or misses its length. */
static void refuse_indefinite(KelGlobal *world)
{
    _kel_enc_error(world, world->bitOffset ? MSG_EXPECTED_PRIMITIVE : MSG_INDEFINITE_PRIMITIVE, 0);
}

static void decode_other(KelGlobal *world, unsigned char **pos, int32_t *rem,
                         const KelTypeDesc *type, unsigned char *field, int32_t length)
{
    KelOidEncoded *encoded = (KelOidEncoded *)(void *)field;
    KelOidUnbounded *arcs = (KelOidUnbounded *)(void *)field;
    const int utc = type->kind == KEL_KIND_UTC_TIME;

    if (length < 0)
        refuse_indefinite(world);
    switch (type->kind) {
    case KEL_KIND_OID:
        if (type->form == KEL_FORM_OID_ARCS)
            arcs->count = (uint16_t)_kel_dec_uiobjid_ia(world, pos, rem, length,
                                                        (void **)(void *)&arcs->value, 0);
        else
            encoded->length = (uint32_t)_kel_dec_eobjid_ia(world, pos, rem, length, &encoded->value, -1);
        return;
    case KEL_KIND_RELATIVE_OID:
        encoded->length = (uint32_t)_kel_dec_ereloid_ia(world, pos, rem, length, &encoded->value, -1);
        return;
    case KEL_KIND_REAL:
        if (type->form == KEL_FORM_REAL_MIXED)
            _kel_dec_mreal_ia(world, pos, rem, length, field);
        else
            _kel_dec_real(world, pos, rem, length, (double *)(void *)field);
        return;
    default: /* the times */
        if (type->form == KEL_FORM_TIME_TEXT)
            _kel_dec_untime(world, pos, rem, length, (unsigned char **)(void *)field, 0, (int16_t)utc);
        else if (utc)
            _kel_dec_utime(world, pos, rem, length, (KelTimeStruct *)(void *)field);
        else
            _kel_dec_gtime(world, pos, rem, length, (KelTimeStruct *)(void *)field);
        return;
    }
}

void kel_ber_decode_simple(KelGlobal *world, const KelTypeDesc *type, const KelTag *tag,
                           unsigned char *field)
{
    unsigned char **pos = &world->inPos;
    int32_t *rem = &world->inRemaining;
    int32_t length = _kel_dec_tag_length(world, pos, rem, tag->match);

    if (is_string(type)) {
        /* A constructed string may have the indefinite form, but not in DER. */
        if (length < 0 && world->encRules == KEL_DER)
            _kel_enc_error(world, MSG_INDEFINITE_DER, 0);
        decode_string(world, pos, rem, type, field, length);
    } else if (type->kind >= KEL_KIND_OID) {
        decode_other(world, pos, rem, type, field, length);
    } else if (type->form == KEL_FORM_HUGE) {
        /* The contents octets are the two's complement value. */
        KelHugeInt *huge = (KelHugeInt *)(void *)field;
        if (length < 0)
            refuse_indefinite(world);
        if (length == 0)
            _kel_enc_error(world, MSG_MISENCODED, 0);
        huge->length = (uint32_t)_kel_dec_uoct_ia(world, pos, rem, length, &huge->value, 0);
    } else {
        if (length < 0)
            refuse_indefinite(world);
        decode_contents(world, pos, rem, type, field, length);
    }
}

/* ------------------------------------------------------------------------ */
/* Values as octets                                                          */
/* ------------------------------------------------------------------------ */

KelValueOctets kel_ber_value_octets(const KelTypeDesc *type, const unsigned char *field)
{
    KelValueOctets octets = { field, type->size, 0 };
    const unsigned char *record;

    if (type->kind == KEL_KIND_BIT_STRING) {
        if (type->form == KEL_FORM_PADDED)
            return octets;
        octets.bits = bit_count(type, field);
        octets.length = (octets.bits + 7) / 8;
        switch (type->form) {
        case KEL_FORM_UNBOUNDED: octets.data = ((const KelUnboundedBits *)(const void *)field)->value; break;
        case KEL_FORM_VARYING: octets.data = field + KEL_VARYING_HEADER; break;
        default: /* KEL_FORM_VARYING_PTR */
            record = *(unsigned char *const *)(const void *)field;
            octets.data = record + KEL_VARYING_HEADER;
            break;
        }
    } else if (is_string(type) || type->form == KEL_FORM_OID_ENCODED || type->form == KEL_FORM_TIME_TEXT) {
        const StringUnits units = string_units(type, field);
        octets.data = units.data;
        octets.length = units.count * units.unitSize;
    }
    return octets;
}

/* ------------------------------------------------------------------------ */
/* Free                                                                      */
/* ------------------------------------------------------------------------ */

/* The pieces that a decoded value of a simple type holds apart from its
 * record. */
void kel_ber_free_simple(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    void *piece;
    switch (type->form) {
    case KEL_FORM_UNBOUNDED:
    case KEL_FORM_UTF8:
    case KEL_FORM_BMP:
    case KEL_FORM_UNIVERSAL: piece = ((KelUnboundedString *)(void *)field)->value; break;
    case KEL_FORM_HUGE: piece = ((KelHugeInt *)(void *)field)->value; break;
    case KEL_FORM_OID_ENCODED: piece = ((KelOidEncoded *)(void *)field)->value; break;
    case KEL_FORM_OID_ARCS: piece = ((KelOidUnbounded *)(void *)field)->value; break;
    case KEL_FORM_REAL_MIXED:
        piece = ((KelMixedReal *)(void *)field)->kind ? ((KelMixedReal *)(void *)field)->u.text : NULL;
        break;
    case KEL_FORM_VARYING_PTR:
    case KEL_FORM_NULLTERM_PTR:
    case KEL_FORM_TIME_TEXT: piece = *(void **)(void *)field; break;
    default: return;
    }
    if (piece)
        kelFreeMemory(world, piece);
}
