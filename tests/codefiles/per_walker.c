/*
 * per_walker.c - the PER walker's simple types (BOOLEAN, NULL, INTEGER,
 * ENUMERATED, bit, octet and character strings, OBJECT IDENTIFIER,
 * RELATIVE-OID, REAL and the useful times) in aligned and unaligned PER,
 * both directions, each through the primitive a compiler picks for its
 * constraint and memory form.  per_walker_struct.c walks the structures.
 *
 * Integers: a constrained range is a whole number in the range's bits (or
 * an octet, two octets, or the indefinite-length form in aligned PER); a
 * lower bound alone the semi-constrained form; none the unconstrained form;
 * an extensible constraint an extension bit first.  Decoding goes through
 * the limited primitives, which hold the value inside its memory form.
 *
 * Strings: known-multiplier types through the descriptor of their alphabet
 * (the code file's, or the one of their universal type), UTF8String as
 * octets, BMPString and UniversalString as 16- and 32-bit characters.  Bit
 * and octet strings with an extensible size constraint take their extension
 * bit here; character strings leave it to the primitive.
 *
 * Object identifiers are kept encoded or as 32-bit arcs, REAL as a double
 * or a KelMixedReal.  A time held as text is a VisibleString of no size
 * constraint, flagged as a time string; a KelTimeStruct has primitives of
 * its own.
 */
#include <string.h>

#include "per_alphabets.h"
#include "per_walker.h"
#include "walker_common.h"

/* Messages raised here. */
enum {
    MSG_VALUE_TOO_LONG = 10,
    MSG_RANGE = 22,
    MSG_SIZE = 27,
    MSG_NOT_ENUMERATED = 36,
    MSG_NOT_IMPLEMENTED = 2
};

static unsigned bit_length(uint64_t n)
{
    unsigned bits = 0;
    for (; n; n >>= 1)
        bits++;
    return bits;
}

static unsigned octet_length(uint64_t n)
{
    return n ? (bit_length(n) + 7) / 8 : 1;
}

/* ------------------------------------------------------------------------ */
/* Constrained whole numbers and size constraints                            */
/* ------------------------------------------------------------------------ */

void kel_per_encode_constrained(KelGlobal *world, uint64_t offset, uint64_t span)
{
    if (span == 0)
        return;
    if (span < 255)
        _kel_penc_nonneg_int(world, offset, (int)bit_length(span));
    else if (span == 255)
        _kel_append_8bit_aligned(world, (uint8_t)offset);
    else if (!world->aligned)
        _kel_penc_nonneg_int(world, offset, (int)bit_length(span));
    else if (span < 65536)
        _kel_penc_int16_aligned(world, (uint32_t)offset);
    else
        _kel_penc_indeflen_int(world, offset, octet_length(span));
}

uint64_t kel_per_decode_constrained(KelGlobal *world, uint64_t span)
{
    uint64_t offset;
    if (span == 0)
        return 0;
    if (span == 255)
        return _kel_get_octet(world, 1);
    if (span < 255 || !world->aligned)
        return _kel_pdec_nonneg_limited_int(world, bit_length(span), 0, span);
    if (span < 65536)
        offset = _kel_pdec_int16_aligned(world);
    else
        return (uint64_t)_kel_pdec_indeflen_limited_int(world, octet_length(span), 0, 0, (int64_t)span);
    if (offset > span)
        _kel_enc_llerror(world, MSG_VALUE_TOO_LONG + 1, offset);
    return offset;
}

/* Descriptors of the unconstrained known-multiplier universal types. */
static const KelPerString numericString = { &kel_alphabet_numeric, 1, 0, 0, KEL_ALPHABET_NUMERIC_FLAGS };
static const KelPerString sevenBitString = { NULL, 1, 0, 0, KEL_PER_STRING_FLAGS(8, 1, 7, 1) };
static const KelPerString bmpString = { NULL, 1, 0, 0, KEL_PER_STRING_FLAGS(16, 1, 16, 1) };
static const KelPerString universalString = { NULL, 1, 0, 0, KEL_PER_STRING_FLAGS(32, 1, 32, 1) };

const KelPerString *kel_per_size_of(const KelTypeDesc *type)
{
    if (type->per && type->per->size)
        return type->per->size;
    if (type->kind != KEL_KIND_CHAR_STRING)
        return NULL;
    if (type->form == KEL_FORM_BMP)
        return &bmpString;
    if (type->form == KEL_FORM_UNIVERSAL)
        return &universalString;
    switch (kel_universal_number(type)) {
    case 18: return &numericString;
    case 19:
    case 22:
    case 26: return &sevenBitString;
    default: return NULL;
    }
}

/* Whether a character string has a known multiplier (and so a descriptor). */
static int known_multiplier(const KelTypeDesc *type)
{
    return type->form != KEL_FORM_UTF8 && kel_per_size_of(type) != NULL;
}

static int has_bounds(const KelPerString *size)
{
    return size && size->lb <= size->ub && size->ub != 0;
}

int kel_per_size_extended(const KelPerString *size, uint64_t n)
{
    return size && (size->flags & KEL_PER_SIZE_EXTENSIBLE) && (n < size->lb || n > size->ub);
}

int kel_per_put_size_bit(KelGlobal *world, const KelPerString *size, uint64_t n)
{
    const int extended = kel_per_size_extended(size, n);
    if (size && (size->flags & KEL_PER_SIZE_EXTENSIBLE))
        _kel_penc_nonneg_1int(world, (uint32_t)extended);
    else if (has_bounds(size) && (n < size->lb || n > size->ub))
        _kel_enc_error(world, MSG_SIZE, (uint32_t)n);
    return extended;
}

int kel_per_get_size_bit(KelGlobal *world, const KelPerString *size)
{
    return size && (size->flags & KEL_PER_SIZE_EXTENSIBLE) ? (int)_kel_pdec_nonneg_1int(world) : 0;
}

int kel_per_knows_simple(const KelTypeDesc *type)
{
    switch (type->kind) {
    case KEL_KIND_BOOLEAN:
    case KEL_KIND_NULL:
    case KEL_KIND_BIT_STRING:
    case KEL_KIND_OCTET_STRING: return 1;
    case KEL_KIND_INTEGER: return 1;
    case KEL_KIND_ENUMERATED: return type->per && type->per->root;
    case KEL_KIND_CHAR_STRING: return type->form == KEL_FORM_UTF8 || kel_per_size_of(type) != NULL ||
                                      kel_universal_number(type) == 12;
    case KEL_KIND_OID:
    case KEL_KIND_RELATIVE_OID:
    case KEL_KIND_REAL:
    case KEL_KIND_UTC_TIME:
    case KEL_KIND_GENERALIZED_TIME: return 1;
    default: return 0;
    }
}

/* ------------------------------------------------------------------------ */
/* INTEGER and ENUMERATED                                                    */
/* ------------------------------------------------------------------------ */

static int bounded(const KelTypeDesc *type)
{
    return (type->flags & (KEL_DESC_LOWER | KEL_DESC_UPPER)) == (KEL_DESC_LOWER | KEL_DESC_UPPER);
}

static int in_root(const KelTypeDesc *type, int64_t value)
{
    if ((type->flags & KEL_DESC_LOWER) && value < type->lower)
        return 0;
    return !((type->flags & KEL_DESC_UPPER) && value > type->upper);
}

static void encode_integer(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const int isSigned = (type->flags & KEL_DESC_SIGNED) != 0;
    const int64_t value = isSigned ? kel_load_signed(field, type->width) : (int64_t)kel_load_unsigned(field, type->width);

    if (type->form == KEL_FORM_HUGE) {
        const KelHugeInt *huge = (const KelHugeInt *)(const void *)field;
        _kel_penc_unconstr_huge_ia(world, huge->value, huge->length);
        return;
    }
    if (type->flags & KEL_DESC_EXTENSIBLE) {
        const int root = in_root(type, value);
        _kel_penc_nonneg_1int(world, (uint32_t)!root);
        if (!root) {
            _kel_penc_unconstr_int(world, value);
            return;
        }
    } else if (!in_root(type, value)) {
        _kel_enc_llerror(world, MSG_RANGE + 1, (uint64_t)value);
    }
    if (bounded(type))
        kel_per_encode_constrained(world, (uint64_t)(value - type->lower), (uint64_t)(type->upper - type->lower));
    else if (type->flags & KEL_DESC_LOWER)
        _kel_penc_semicon_int(world, value, type->lower);
    else if (!isSigned && type->width == 8)
        _kel_penc_semicon_uint(world, (uint64_t)value, 0);
    else
        _kel_penc_unconstr_int(world, value);
}

/* The values a memory form holds. */
static void representation(const KelTypeDesc *type, int64_t *low, int64_t *high)
{
    const unsigned bits = type->width * 8u;
    if (type->flags & KEL_DESC_SIGNED) {
        *high = bits == 64 ? INT64_MAX : (int64_t)((UINT64_C(1) << (bits - 1)) - 1);
        *low = -*high - 1;
    } else {
        *low = 0; /* unsigned comparison against high alone */
        *high = bits == 64 ? -1 : (int64_t)((UINT64_C(1) << bits) - 1);
    }
}

static void decode_integer(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    int64_t low, high, value;

    if (type->form == KEL_FORM_HUGE) {
        KelHugeInt *huge = (KelHugeInt *)(void *)field;
        huge->length = _kel_pdec_unconstr_huge_ia(world, &huge->value);
        return;
    }
    representation(type, &low, &high);
    if ((type->flags & KEL_DESC_EXTENSIBLE) && _kel_pdec_nonneg_1int(world))
        value = _kel_pdec_unconstr_limited_int(world, low, high);
    else if (bounded(type))
        value = type->lower + (int64_t)kel_per_decode_constrained(world, (uint64_t)(type->upper - type->lower));
    else if (type->flags & KEL_DESC_LOWER)
        value = _kel_pdec_semicon_limited_int(world, type->lower, low, high);
    else if (!(type->flags & KEL_DESC_SIGNED) && type->width == 8)
        value = (int64_t)_kel_pdec_semicon_uint(world, 0);
    else
        value = _kel_pdec_unconstr_limited_int(world, low, high);
    kel_store(field, type->width, (uint64_t)value);
}

static void encode_enumerated(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const int32_t value = (int32_t)kel_load_signed(field, type->width);
    _kel_penc_enum(world, value, type->per->root, type->per->additions);
}

static void decode_enumerated(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    kel_store(field, type->width, (uint64_t)(int64_t)_kel_pdec_enum(world, type->per->root, type->per->additions));
}

/* ------------------------------------------------------------------------ */
/* Character strings                                                         */
/* ------------------------------------------------------------------------ */

static void encode_chars(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelPerString *desc = kel_per_size_of(type);
    uint32_t count;
    const unsigned char *chars = kel_string_units(type, field, desc && desc->lb == desc->ub, &count);
    const uint8_t extension = kel_per_size_extended(desc, count) ? 0x80 : 0;

    if (type->form == KEL_FORM_BMP)
        _kel_penc_bmpstr(world, (const uint16_t *)(const void *)chars, count, desc, extension);
    else if (type->form == KEL_FORM_UNIVERSAL)
        _kel_penc_unistr(world, (const uint32_t *)(const void *)chars, count, desc, extension);
    else if (known_multiplier(type))
        _kel_penc_kmstr(world, chars, count, desc, extension);
    else
        _kel_penc_nkmstr_l(world, chars, count);
}

static void decode_chars(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    const KelPerString *desc = kel_per_size_of(type);
    KelPerString withRoom;
    KelUnboundedString *unbounded = (KelUnboundedString *)(void *)field;
    void **pointer = (void **)(void *)field;
    const int km = known_multiplier(type);

    switch (type->form) {
    case KEL_FORM_BMP:
        unbounded->length = (uint32_t)_kel_pdec_bmpstr(world, (uint16_t **)(void *)&unbounded->value, desc);
        return;
    case KEL_FORM_UNIVERSAL:
        unbounded->length = (uint32_t)_kel_pdec_unistr(world, (uint32_t **)(void *)&unbounded->value, desc);
        return;
    case KEL_FORM_VARYING:
        *(uint32_t *)(void *)field = km ? _kel_pdec_va_kmstr(world, field + KEL_VARYING_HEADER, desc)
                                        : _kel_pdec_va_nkmstr_ia(world, field + KEL_VARYING_HEADER, (uint32_t)type->upper);
        return;
    case KEL_FORM_VARYING_PTR: {
        const int32_t n = km ? _kel_pdec_vap_kmstr(world, pointer, KEL_VARYING_HEADER, desc)
                             : _kel_pdec_vap_nkmstr_ia(world, pointer, KEL_VARYING_HEADER);
        *(uint32_t *)*pointer = (uint32_t)n;
        return;
    }
    case KEL_FORM_FIXED:
    case KEL_FORM_PADDED:
        if (km)
            _kel_pdec_pad_kmstr(world, field, desc);
        else
            _kel_pdec_pad_nkmstr(world, field, (uint32_t)type->upper);
        return;
    case KEL_FORM_NULLTERM:
        /* The buffer's room is the form's, whatever the constraint says. */
        if (km && desc->capacity != (uint32_t)type->upper) {
            withRoom = *desc;
            withRoom.capacity = (uint32_t)type->upper;
            desc = &withRoom;
        }
        if (km)
            _kel_pdec_nt_kmstr(world, field, desc);
        else
            _kel_pdec_nt_nkmstr(world, field, (uint32_t)type->upper);
        return;
    case KEL_FORM_NULLTERM_PTR:
        if (km)
            _kel_pdec_ntp_kmstr(world, (unsigned char **)pointer, desc);
        else
            _kel_pdec_ntp_nkmstr(world, (unsigned char **)pointer);
        return;
    default: /* KEL_FORM_UNBOUNDED, KEL_FORM_UTF8 */
        unbounded->length = (uint32_t)(km ? _kel_pdec_ub_kmstr(world, &unbounded->value, desc)
                                          : _kel_pdec_ub_nkmstr_ia(world, &unbounded->value));
        return;
    }
}

/* ------------------------------------------------------------------------ */
/* Bit and octet strings                                                     */
/* ------------------------------------------------------------------------ */

/* Octets of a padded bit field: 1, 2 or 4 for up to 32 bits. */
static uint32_t padded_octets(uint32_t bits)
{
    return bits <= 8 ? 1 : bits <= 16 ? 2 : bits <= 32 ? 4 : (bits + 7) / 8;
}

static uint32_t padded_value(const unsigned char *field, uint32_t octets)
{
    return octets == 1 ? *field : octets == 2 ? *(const uint16_t *)(const void *)field
                                              : *(const uint32_t *)(const void *)field;
}

static void encode_bits(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelPerString *size = kel_per_size_of(type);
    const uint8_t named = (type->flags & KEL_DESC_NAMED_BITS) != 0;
    const KelUnboundedBits *unbounded = (const KelUnboundedBits *)(const void *)field;
    const unsigned char *bits;
    uint32_t n;

    if (type->form == KEL_FORM_PADDED) {
        const uint32_t octets = padded_octets((uint32_t)type->upper);
        if (octets <= 4 && has_bounds(size))
            _kel_penc_constr_pbit_l(world, padded_value(field, octets), octets, size->lb, size->ub, named, 0);
        else if (octets <= 4)
            _kel_penc_unconstr_pbit_l(world, padded_value(field, octets), octets, (uint32_t)type->upper, named);
        else if (has_bounds(size))
            _kel_penc_constr_bpbit_l(world, field, size->lb, size->ub, named, 0);
        else
            _kel_penc_unconstr_bit_l(world, field, (uint32_t)type->upper, named);
        return;
    }
    if (type->form == KEL_FORM_VARYING) {
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
    if (named && n)
        n = _kel_chop_zero_bits(bits, n, has_bounds(size) ? size->lb : 0);
    if (kel_per_put_size_bit(world, size, n) || !has_bounds(size))
        _kel_penc_unconstr_bit_l(world, bits, n, 0);
    else
        _kel_penc_constr_bit_l(world, bits, n, size->lb, size->ub, 0, 0);
}

static void decode_bits(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    const KelPerString *size = kel_per_size_of(type);
    KelUnboundedBits *unbounded = (KelUnboundedBits *)(void *)field;
    void **pointer = (void **)(void *)field;
    const int constrained = !kel_per_get_size_bit(world, size) && has_bounds(size);

    switch (type->form) {
    case KEL_FORM_PADDED: {
        const uint32_t octets = padded_octets((uint32_t)type->upper);
        if (octets <= 4)
            constrained ? _kel_pdec_constr_pbit_l(world, field, octets, size->lb, size->ub)
                        : _kel_pdec_unconstr_pbit(world, field, octets);
        else
            constrained ? _kel_pdec_constr_bpbit_l(world, field, octets, size->lb, size->ub)
                        : _kel_pdec_unconstr_bpbit(world, field, octets);
        return;
    }
    case KEL_FORM_VARYING:
        *(uint32_t *)(void *)field =
            constrained ? _kel_pdec_constr_vbit_ia(world, field + KEL_VARYING_HEADER, size->lb, size->ub)
                        : _kel_pdec_unconstr_vbit_ia(world, field + KEL_VARYING_HEADER, (uint32_t)(type->upper + 7) / 8);
        return;
    case KEL_FORM_VARYING_PTR: {
        const uint32_t n = constrained ? _kel_pdec_constr_vbit_ptr_ia(world, pointer, KEL_VARYING_HEADER, size->lb, size->ub)
                                       : _kel_pdec_unconstr_vbit_ptr_ia(world, pointer, KEL_VARYING_HEADER);
        *(uint32_t *)*pointer = n;
        return;
    }
    default:
        unbounded->length = constrained ? _kel_pdec_constr_ubit_ia(world, &unbounded->value, size->lb, size->ub)
                                        : _kel_pdec_unconstr_ubit_ia(world, &unbounded->value);
        return;
    }
}

static void encode_octets(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelPerString *size = kel_per_size_of(type);
    uint32_t n;
    const unsigned char *octets = kel_string_units(type, field, size && size->lb == size->ub, &n);

    if (kel_per_put_size_bit(world, size, n) || !has_bounds(size))
        _kel_penc_unconstr_oct_l(world, octets, n);
    else
        _kel_penc_constr_oct_l(world, octets, n, size->lb, size->ub);
}

static void decode_octets(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    const KelPerString *size = kel_per_size_of(type);
    KelUnboundedString *unbounded = (KelUnboundedString *)(void *)field;
    void **pointer = (void **)(void *)field;
    const int constrained = !kel_per_get_size_bit(world, size) && has_bounds(size);

    switch (type->form) {
    case KEL_FORM_FIXED:
        if (!constrained)
            _kel_enc_error(world, MSG_NOT_IMPLEMENTED, 0);
        _kel_pdec_fixed_oct(world, field, size->ub);
        return;
    case KEL_FORM_VARYING:
        *(uint32_t *)(void *)field =
            constrained ? _kel_pdec_constr_voct_ia(world, field + KEL_VARYING_HEADER, size->lb, size->ub)
                        : _kel_pdec_unconstr_voct_ia(world, field + KEL_VARYING_HEADER, (uint32_t)type->upper);
        return;
    case KEL_FORM_VARYING_PTR: {
        const uint32_t n = constrained ? _kel_pdec_constr_voct_ptr_ia(world, pointer, KEL_VARYING_HEADER, size->lb, size->ub)
                                       : _kel_pdec_unconstr_voct_ptr_ia(world, pointer, KEL_VARYING_HEADER);
        *(uint32_t *)*pointer = n;
        return;
    }
    default:
        unbounded->length = constrained ? _kel_pdec_constr_uoct_ia(world, &unbounded->value, size->lb, size->ub)
                                        : _kel_pdec_unconstr_uoct_ia(world, &unbounded->value);
        return;
    }
}

/* ------------------------------------------------------------------------ */
/* Object identifiers, REAL and the useful times                             */
/* ------------------------------------------------------------------------ */

/* GeneralizedTime and UTCTime held as text. */
static const KelPerString timeString = { NULL, 1, 0, 0, KEL_PER_STRING_FLAGS(8, 1, 7, 1) | KEL_PER_TIME_STRING };

static void encode_other(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    const KelOidEncoded *encoded = (const KelOidEncoded *)(const void *)field;
    const KelOidUnbounded *arcs = (const KelOidUnbounded *)(const void *)field;
    const KelMixedReal *mixed = (const KelMixedReal *)(const void *)field;
    const unsigned char *const *text = (const unsigned char *const *)(const void *)field;

    switch (type->kind) {
    case KEL_KIND_OID:
        if (type->form == KEL_FORM_OID_ARCS)
            _kel_penc_objidi(world, arcs->value, arcs->count);
        else
            _kel_penc_eobjid_ia(world, encoded->value, encoded->length, 0);
        return;
    case KEL_KIND_RELATIVE_OID: _kel_penc_ereloid_ia(world, encoded->value, encoded->length, 0); return;
    case KEL_KIND_REAL:
        if (type->form == KEL_FORM_REAL_MIXED)
            _kel_penc_mreal_ia(world, mixed->kind, &mixed->u);
        else
            _kel_penc_real(world, *(const double *)(const void *)field);
        return;
    default: /* the times */
        if (type->form == KEL_FORM_TIME_TEXT)
            _kel_penc_kmstr(world, *text, (uint32_t)strlen((const char *)*text), &timeString, 0);
        else if (type->kind == KEL_KIND_UTC_TIME)
            _kel_penc_utime(world, (const KelTimeStruct *)(const void *)field);
        else
            _kel_penc_gtime(world, (const KelTimeStruct *)(const void *)field);
        return;
    }
}

static void decode_other(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    KelOidEncoded *encoded = (KelOidEncoded *)(void *)field;
    KelOidUnbounded *arcs = (KelOidUnbounded *)(void *)field;
    KelMixedReal *mixed = (KelMixedReal *)(void *)field;

    switch (type->kind) {
    case KEL_KIND_OID:
        if (type->form == KEL_FORM_OID_ARCS)
            _kel_pdec_uobjidi(world, &arcs->value, &arcs->count);
        else
            encoded->length = _kel_pdec_eobjid_ia(world, &encoded->value, -1);
        return;
    case KEL_KIND_RELATIVE_OID: encoded->length = _kel_pdec_ereloid_ia(world, &encoded->value, -1); return;
    case KEL_KIND_REAL:
        if (type->form == KEL_FORM_REAL_MIXED)
            mixed->kind = (int32_t)_kel_pdec_mreal_ia(world, &mixed->u);
        else
            *(double *)(void *)field = _kel_pdec_real(world);
        return;
    default: /* the times */
        if (type->form == KEL_FORM_TIME_TEXT)
            _kel_pdec_ntp_kmstr(world, (unsigned char **)(void *)field, &timeString);
        else if (type->kind == KEL_KIND_UTC_TIME)
            _kel_pdec_utime(world, (KelTimeStruct *)(void *)field);
        else
            _kel_pdec_gtime(world, (KelTimeStruct *)(void *)field);
        return;
    }
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

void kel_per_encode_simple(KelGlobal *world, const KelTypeDesc *type, const unsigned char *field)
{
    switch (type->kind) {
    case KEL_KIND_BOOLEAN: _kel_penc_nonneg_1int(world, *field != 0); return;
    case KEL_KIND_NULL: return;
    case KEL_KIND_INTEGER: encode_integer(world, type, field); return;
    case KEL_KIND_ENUMERATED: encode_enumerated(world, type, field); return;
    case KEL_KIND_BIT_STRING: encode_bits(world, type, field); return;
    case KEL_KIND_OCTET_STRING: encode_octets(world, type, field); return;
    case KEL_KIND_CHAR_STRING: encode_chars(world, type, field); return;
    case KEL_KIND_OID:
    case KEL_KIND_RELATIVE_OID:
    case KEL_KIND_REAL:
    case KEL_KIND_UTC_TIME:
    case KEL_KIND_GENERALIZED_TIME: encode_other(world, type, field); return;
    default: _kel_enc_error(world, MSG_NOT_IMPLEMENTED, 0);
    }
}

void kel_per_decode_simple(KelGlobal *world, const KelTypeDesc *type, unsigned char *field)
{
    switch (type->kind) {
    case KEL_KIND_BOOLEAN: *field = (unsigned char)_kel_pdec_nonneg_1int(world); return;
    case KEL_KIND_NULL: return;
    case KEL_KIND_INTEGER: decode_integer(world, type, field); return;
    case KEL_KIND_ENUMERATED: decode_enumerated(world, type, field); return;
    case KEL_KIND_BIT_STRING: decode_bits(world, type, field); return;
    case KEL_KIND_OCTET_STRING: decode_octets(world, type, field); return;
    case KEL_KIND_CHAR_STRING: decode_chars(world, type, field); return;
    case KEL_KIND_OID:
    case KEL_KIND_RELATIVE_OID:
    case KEL_KIND_REAL:
    case KEL_KIND_UTC_TIME:
    case KEL_KIND_GENERALIZED_TIME: decode_other(world, type, field); return;
    default: _kel_enc_error(world, MSG_NOT_IMPLEMENTED, 0);
    }
}
