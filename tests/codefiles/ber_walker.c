/*
 * ber_walker.c - the generated entries of the BER family (BER, DER, CER) for
 * every table-driven code file.
 *
 * The encoder walks a type description and writes backward with the BER
 * writers: contents first, then the headers from the innermost tag out, so
 * that each length is known when its header is written.  A type with one tag
 * costs one `_tl` call.  Under CER the explicit tags get indefinite lengths.
 * The decoder reads forward with _kel_dec_tag_length and the value readers on
 * the world's inPos and inRemaining.  Failures leave through _kel_enc_error.
 */
#include "codefiles.h"
#include "kelvarn_ber.h"

/* Messages raised here. */
enum {
    MSG_PDU_RANGE = 3,
    MSG_VALUE_TOO_LONG = 10,
    MSG_NOT_ENUMERATED = 36,
    MSG_MISENCODED = 106,
    MSG_INDEFINITE_PRIMITIVE = 119,
    MSG_INDEFINITE_DER = 134
};

static int64_t load_signed(const unsigned char *field, unsigned width)
{
    switch (width) {
    case 1: return *(const int8_t *)field;
    case 2: return *(const int16_t *)field;
    case 4: return *(const int32_t *)field;
    default: return *(const int64_t *)field;
    }
}

static uint64_t load_unsigned(const unsigned char *field, unsigned width)
{
    switch (width) {
    case 1: return *field;
    case 2: return *(const uint16_t *)field;
    case 4: return *(const uint32_t *)field;
    default: return *(const uint64_t *)field;
    }
}

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

static const KelTypeDesc *enter_pdu(KelGlobal *world, int pdu)
{
    const KelCodeFile *file = kel_world_codefile(world);
    if (pdu < 1 || pdu > file->pduCount)
        _kel_enc_error(world, MSG_PDU_RANGE, (uint32_t)pdu);
    world->pduNumber = pdu;
    world->pduEntry = &file->pdus[pdu - 1].names;
    return file->pdus[pdu - 1].type;
}

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

/* Contents octets alone, for a type whose header is written separately. */
static int32_t encode_contents(KelGlobal *world, unsigned char **pos, int32_t *rem,
                               const KelTypeDesc *type, const unsigned char *field)
{
    switch (type->kind) {
    case KEL_KIND_BOOLEAN: return _kel_encd_bool(world, pos, rem, *field);
    case KEL_KIND_NULL: return 0;
    default:
        if (type->flags & KEL_DESC_SIGNED)
            return _kel_encd_int(world, pos, rem, load_signed(field, type->width));
        return _kel_encd_uint(world, pos, rem, load_unsigned(field, type->width));
    }
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
            int64_t value = load_signed(field, type->width);
            return type->width == 8 ? _kel_encd_llint_tl(world, pos, rem, value, tag)
                                    : _kel_encd_int_tl(world, pos, rem, (int32_t)value, tag);
        } else {
            uint64_t value = load_unsigned(field, type->width);
            return type->width == 8 ? _kel_encd_ullint_tl(world, pos, rem, value, tag)
                                    : _kel_encd_uint_tl(world, pos, rem, (uint32_t)value, tag);
        }
    }
}

static int32_t encode_type(KelGlobal *world, unsigned char **pos, int32_t *rem,
                           const KelTypeDesc *type, const void *record)
{
    const unsigned char *field = (const unsigned char *)record + type->offset;
    const int outer = type->tagCount - 1;
    const int indefinite = world->encRules == KEL_CER;
    int32_t endOfContents = 0, n;
    int i;

    if (type->kind == KEL_KIND_ENUMERATED)
        check_enumerated(world, type, load_signed(field, type->width));
    if (outer == 0)
        return encode_tlv(world, pos, rem, type, field, type->tags[0].header);

    /* Explicit tags: under CER the end-of-contents octets go out first. */
    if (indefinite)
        for (i = 0; i < outer; i++)
            endOfContents += _kel_write_bytes_d(world, pos, rem, "\0\0", 2);
    n = encode_contents(world, pos, rem, type, field);
    n += _kel_encd_tag_length(world, pos, rem, (uint32_t)n, type->tags[outer].header);
    for (i = outer - 1; i >= 0; i--) {
        if (indefinite) {
            n += _kel_write_byte_d(world, pos, rem, 0x80);
            n += _kel_encd_tag(world, pos, rem, type->tags[i].classNumber, 1);
        } else {
            n += _kel_encd_tag_length(world, pos, rem, (uint32_t)n, type->tags[i].header);
        }
    }
    return endOfContents + n;
}

int kel_ber_encode(KelGlobal *world, int pdu, void *value)
{
    const KelTypeDesc *type = enter_pdu(world, pdu);
    unsigned char *pos = world->userBuffer ? world->outPos + world->outRemaining : NULL;
    int32_t rem = world->userBuffer ? world->outRemaining : 0;
    int32_t total = encode_type(world, &pos, &rem, type, value);

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

static void decode_type(KelGlobal *world, const KelTypeDesc *type, void *record)
{
    unsigned char **pos = &world->inPos;
    int32_t *rem = &world->inRemaining;
    const int outer = type->tagCount - 1;
    int32_t end[KEL_MAX_TAGS]; /* inRemaining at the end of each explicit tag; -1 indefinite */
    int32_t length;
    int i;

    for (i = 0; i < outer; i++) {
        length = _kel_dec_tag_length(world, pos, rem, type->tags[i].match);
        if (length < 0 && world->encRules == KEL_DER)
            _kel_enc_error(world, MSG_INDEFINITE_DER, 0);
        end[i] = length < 0 ? -1 : *rem - length;
    }
    length = _kel_dec_tag_length(world, pos, rem, type->tags[outer].match);
    if (length < 0)
        _kel_enc_error(world, MSG_INDEFINITE_PRIMITIVE, 0);
    decode_contents(world, pos, rem, type, (unsigned char *)record + type->offset, length);

    for (i = outer - 1; i >= 0; i--) {
        if (end[i] >= 0 ? *rem != end[i]
                        : _kel_get_byte(world, pos, rem) != 0 || _kel_get_byte(world, pos, rem) != 0)
            _kel_enc_error(world, MSG_MISENCODED, 0);
    }
}

int kel_ber_decode(KelGlobal *world, int *pdu, void **value)
{
    const KelTypeDesc *type = enter_pdu(world, *pdu);
    void *record = _kel_dec_getmem(world, (int32_t)type->size);
    decode_type(world, type, record);
    *value = record;
    return 0;
}

/* ------------------------------------------------------------------------ */
/* Init and free                                                             */
/* ------------------------------------------------------------------------ */

/* Rule kinds the code file was generated for: BER (0), DER (3), CER (7). */
static unsigned char berRuleMap[] = { 0x01 | 0x08 | 0x80 };

void kel_ber_init(KelGlobal *world)
{
    kelLinkBer(world);
    kelPrivateSetMoreFlags(world, 8, berRuleMap);
    world->modeBits |= KEL_MODE_DER_SUPPORT;
}

int kel_codefile_free(KelGlobal *world, int pdu, void *value)
{
    const KelCodeFile *file = kel_world_codefile(world);
    if (pdu < 1 || pdu > file->pduCount)
        return 3;
    kelFreeMemory(world, value);
    return 0;
}
