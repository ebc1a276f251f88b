/*
 * cert_trim.c - the code file of the module CertTrim, in the shape a
 * compiler emits it: per type a straight line of BER primitive calls for the
 * encoder and the decoder, the free function, the control table.  The OER
 * and COER encoders and decoders are in cert_trim_oer.c.
 *
 * The encoder writes backward, last component first.  Under DER the
 * attributes of a RelativeDistinguishedName (SET OF) go through the block
 * frames, which sort their encodings; under CER constructed values take the
 * indefinite length and long strings are cut into segments of 1000 octets.
 * The version DEFAULT v1 and the critical flag DEFAULT FALSE are left out
 * when they hold their default.  Object identifiers, ANY values and times
 * pass as octets; the decoder allocates one piece per string and one array
 * per list.
 */
#include <string.h>

#include "cert_trim.h"
#include "cert_trim_oer.h"
#include "cert_trim_services.h"
#include "kelvarn_ber.h"
#include "kelvarn_oer.h"

/* Identifier octets, header form (the constructed bit included). */
enum {
    TAG_BOOLEAN = 0x01,
    TAG_INTEGER = 0x02,
    TAG_BIT_STRING = 0x03,
    TAG_OCTET_STRING = 0x04,
    TAG_OID = 0x06,
    TAG_UTC_TIME = 0x17,
    TAG_GENERALIZED_TIME = 0x18,
    TAG_SEQUENCE = 0x30,
    TAG_SET = 0x31,
    TAG_VERSION = 0xA0,          /* [0] EXPLICIT */
    TAG_ISSUER_UID = 0x81,       /* [1] IMPLICIT BIT STRING */
    TAG_SUBJECT_UID = 0x82,      /* [2] IMPLICIT BIT STRING */
    TAG_EXTENSIONS = 0xA3        /* [3] EXPLICIT */
};

/* Messages raised by the generated code. */
enum {
    MSG_PDU_RANGE = 3,
    MSG_CHOICE_RANGE = 7,
    MSG_COUNT_RANGE = 28,
    MSG_END_OF_INPUT = 45,
    MSG_INT_NEEDLESSLY_LONG = 95,
    MSG_BAD_EOC = 100,
    MSG_INCONSISTENT = 102,
    MSG_MISENCODED = 106,
    MSG_UNKNOWN_TAG = 115,
    MSG_OMITTED = 117,
    MSG_EXPECTED_EOC = 118,
    MSG_EXPECTED_PRIMITIVE = 121,
    MSG_INDEFINITE_DER = 134
};

enum { CER_SEGMENT = 1000, BIT_SEGMENT = CER_SEGMENT - 1 };

static const KelPduNames certificateNames = { "Certificate", "Certificate" };

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

static int32_t open_constructed(KelGlobal *w, unsigned char **pos, int32_t *rem)
{
    return w->encRules == KEL_CER ? _kel_write_bytes_d(w, pos, rem, "\0\0", 2) : 0;
}

static int32_t close_constructed(KelGlobal *w, unsigned char **pos, int32_t *rem, int32_t n,
                                 uint32_t tag)
{
    if (w->encRules != KEL_CER)
        return n + _kel_encd_tag_length(w, pos, rem, (uint32_t)n, tag);
    n += _kel_write_byte_d(w, pos, rem, 0x80);
    return n + _kel_write_byte_d(w, pos, rem, (uint8_t)tag);
}

/* An OCTET STRING; under CER one of more than 1000 octets is constructed,
 * in segments of 1000 with the rest in the last one. */
static int32_t encode_octets(KelGlobal *w, unsigned char **pos, int32_t *rem,
                             const unsigned char *octets, uint32_t length, uint32_t tag)
{
    int32_t n;
    if (w->encRules == KEL_CER && length > CER_SEGMENT) {
        uint32_t end = length, segment = (length - 1) % CER_SEGMENT + 1;
        n = _kel_write_bytes_d(w, pos, rem, "\0\0", 2);
        while (end > 0) {
            int32_t s = _kel_write_bytes_d(w, pos, rem, octets + end - segment, (int32_t)segment);
            n += s + _kel_encd_tag_length(w, pos, rem, (uint32_t)s, TAG_OCTET_STRING);
            end -= segment;
            segment = CER_SEGMENT;
        }
        return close_constructed(w, pos, rem, n, tag | 0x20);
    }
    n = _kel_write_bytes_d(w, pos, rem, octets, (int32_t)length);
    return n + _kel_encd_tag_length(w, pos, rem, (uint32_t)n, tag);
}

/* A BIT STRING; the writer cuts a long one into segments itself (negative
 * count), and the header is then that of a constructed value. */
static int32_t encode_bits(KelGlobal *w, unsigned char **pos, int32_t *rem,
                           const KelUnboundedBits *v, uint32_t tag)
{
    int segmented = w->encRules != KEL_DER && (v->length + 7) / 8 > BIT_SEGMENT;
    int32_t eoc = segmented ? open_constructed(w, pos, rem) : 0;
    int32_t n = _kel_encd_ubit_ia(w, pos, rem, v->value, (int32_t)v->length, 0);
    if (n >= 0)
        return n + _kel_encd_tag_length(w, pos, rem, (uint32_t)n, tag);
    return close_constructed(w, pos, rem, eoc - n, tag | 0x20);
}

static int32_t encode_oid(KelGlobal *w, unsigned char **pos, int32_t *rem, const KelOidEncoded *v)
{
    int32_t n = _kel_encd_eobjid_ia(w, pos, rem, v->value, v->length, -1);
    return n + _kel_encd_tag_length(w, pos, rem, (uint32_t)n, TAG_OID);
}

static int32_t encode_AlgorithmIdentifier(KelGlobal *w, unsigned char **pos, int32_t *rem,
                                          const AlgorithmIdentifier *v)
{
    int32_t n = open_constructed(w, pos, rem);
    if (v->bit_mask & parameters_present)
        n += _kel_encd_uany(w, pos, rem, v->parameters.value, (int32_t)v->parameters.length);
    n += encode_oid(w, pos, rem, &v->algorithm);
    return close_constructed(w, pos, rem, n, TAG_SEQUENCE);
}

static int32_t encode_AttributeTypeAndValue(KelGlobal *w, unsigned char **pos, int32_t *rem,
                                            const AttributeTypeAndValue *v)
{
    int32_t n = open_constructed(w, pos, rem);
    n += _kel_encd_uany(w, pos, rem, v->value.value, (int32_t)v->value.length);
    n += encode_oid(w, pos, rem, &v->type);
    return close_constructed(w, pos, rem, n, TAG_SEQUENCE);
}

/* SET OF: under DER the block frames put the elements in the order of their
 * encodings. */
static int32_t encode_RelativeDistinguishedName(KelGlobal *w, unsigned char **pos, int32_t *rem,
                                                const RelativeDistinguishedName *v)
{
    int32_t n = open_constructed(w, pos, rem);
    uint32_t i = v->count;
    _kel_beginBlock(w, v->count, pos, rem);
    while (i-- > 0) {
        _kel_nextItem(w, rem);
        n += encode_AttributeTypeAndValue(w, pos, rem, &v->value[i]);
    }
    _kel_endBlock(w, pos, rem, 0);
    return close_constructed(w, pos, rem, n, TAG_SET);
}

static int32_t encode_Name(KelGlobal *w, unsigned char **pos, int32_t *rem, const Name *v)
{
    int32_t n;
    uint32_t i;
    if (v->choice != rdnSequence_chosen)
        _kel_enc_error(w, MSG_CHOICE_RANGE, v->choice);
    n = open_constructed(w, pos, rem);
    for (i = v->u.rdnSequence.count; i-- > 0;)
        n += encode_RelativeDistinguishedName(w, pos, rem, &v->u.rdnSequence.value[i]);
    return close_constructed(w, pos, rem, n, TAG_SEQUENCE);
}

static int32_t encode_Time(KelGlobal *w, unsigned char **pos, int32_t *rem, const Time *v)
{
    int32_t n;
    switch (v->choice) {
    case utcTime_chosen:
        n = _kel_encd_untime(w, pos, rem, v->u.utcTime, 0, 1);
        return n + _kel_encd_tag_length(w, pos, rem, (uint32_t)n, TAG_UTC_TIME);
    case generalTime_chosen:
        n = _kel_encd_untime(w, pos, rem, v->u.generalTime, 0, 0);
        return n + _kel_encd_tag_length(w, pos, rem, (uint32_t)n, TAG_GENERALIZED_TIME);
    default:
        _kel_enc_error(w, MSG_CHOICE_RANGE, v->choice);
    }
}

static int32_t encode_Extension(KelGlobal *w, unsigned char **pos, int32_t *rem,
                                const Extension *v)
{
    int32_t n = open_constructed(w, pos, rem);
    n += encode_octets(w, pos, rem, v->extnValue.value, v->extnValue.length, TAG_OCTET_STRING);
    if ((v->bit_mask & critical_present) && v->critical)
        n += _kel_encd_bool_tl(w, pos, rem, TAG_BOOLEAN, 1);
    n += encode_oid(w, pos, rem, &v->extnID);
    return close_constructed(w, pos, rem, n, TAG_SEQUENCE);
}

static int32_t encode_TBSCertificate(KelGlobal *w, unsigned char **pos, int32_t *rem,
                                     const TBSCertificate *v)
{
    int32_t n = open_constructed(w, pos, rem);
    if (v->bit_mask & extensions_present) {
        int32_t outer = open_constructed(w, pos, rem), list = open_constructed(w, pos, rem);
        uint32_t i = v->extensions.count;
        while (i-- > 0)
            list += encode_Extension(w, pos, rem, &v->extensions.value[i]);
        outer += close_constructed(w, pos, rem, list, TAG_SEQUENCE);
        n += close_constructed(w, pos, rem, outer, TAG_EXTENSIONS);
    }
    if (v->bit_mask & subjectUniqueID_present)
        n += encode_bits(w, pos, rem, &v->subjectUniqueID, TAG_SUBJECT_UID);
    if (v->bit_mask & issuerUniqueID_present)
        n += encode_bits(w, pos, rem, &v->issuerUniqueID, TAG_ISSUER_UID);
    {
        int32_t key = open_constructed(w, pos, rem);
        key += encode_bits(w, pos, rem, &v->subjectPublicKeyInfo.subjectPublicKey, TAG_BIT_STRING);
        key += encode_AlgorithmIdentifier(w, pos, rem, &v->subjectPublicKeyInfo.algorithm);
        n += close_constructed(w, pos, rem, key, TAG_SEQUENCE);
    }
    n += encode_Name(w, pos, rem, &v->subject);
    {
        int32_t validity = open_constructed(w, pos, rem);
        validity += encode_Time(w, pos, rem, &v->validity.notAfter);
        validity += encode_Time(w, pos, rem, &v->validity.notBefore);
        n += close_constructed(w, pos, rem, validity, TAG_SEQUENCE);
    }
    n += encode_Name(w, pos, rem, &v->issuer);
    n += encode_AlgorithmIdentifier(w, pos, rem, &v->signature);
    {
        int32_t serial = _kel_write_bytes_d(w, pos, rem, v->serialNumber.value,
                                            (int32_t)v->serialNumber.length);
        n += serial + _kel_encd_tag_length(w, pos, rem, (uint32_t)serial, TAG_INTEGER);
    }
    if ((v->bit_mask & version_present) && v->version != v1) {
        int32_t version = open_constructed(w, pos, rem);
        version += _kel_encd_int_tl(w, pos, rem, v->version, TAG_INTEGER);
        n += close_constructed(w, pos, rem, version, TAG_VERSION);
    }
    return close_constructed(w, pos, rem, n, TAG_SEQUENCE);
}

static int32_t encode_Certificate(KelGlobal *w, unsigned char **pos, int32_t *rem,
                                  const Certificate *v)
{
    int32_t n = open_constructed(w, pos, rem);
    n += encode_bits(w, pos, rem, &v->signature, TAG_BIT_STRING);
    n += encode_AlgorithmIdentifier(w, pos, rem, &v->signatureAlgorithm);
    n += encode_TBSCertificate(w, pos, rem, &v->tbsCertificate);
    return close_constructed(w, pos, rem, n, TAG_SEQUENCE);
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

/* inRemaining at the end of a constructed value of `length`, which must lie
 * within the input; -1 for the indefinite length, which DER refuses. */
static int32_t end_of(KelGlobal *w, int32_t length)
{
    if (length > w->inRemaining)
        _kel_enc_error(w, MSG_END_OF_INPUT, 0);
    if (length >= 0)
        return w->inRemaining - length;
    if (w->encRules == KEL_DER)
        _kel_enc_error(w, MSG_INDEFINITE_DER, 0);
    return -1;
}

static int32_t open_value(KelGlobal *w, uint32_t tag)
{
    return end_of(w, _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, tag));
}

/* Whether a component follows before `end`, with nothing consumed. */
static int component_follows(KelGlobal *w, int32_t end)
{
    if (end >= 0) {
        if (w->inRemaining < end)
            _kel_enc_error(w, MSG_INCONSISTENT, 0);
        return w->inRemaining > end;
    }
    return _kel_preview_byte(w, &w->inPos, &w->inRemaining) != 0;
}

/* Whether the next component before `end` starts with the identifier octet
 * `tag` (constructed bit ignored); an end-of-contents never does. */
static int next_is(KelGlobal *w, int32_t end, uint32_t tag)
{
    return w->inRemaining > (end > 0 ? end : 0) && (w->inPos[0] & 0xDF) == (tag & 0xDF);
}

/* The end of a value with a fixed list of components. */
static void close_value(KelGlobal *w, int32_t end)
{
    if (end >= 0) {
        if (w->inRemaining != end)
            _kel_enc_error(w, MSG_INCONSISTENT, 0);
    } else if (_kel_get_byte(w, &w->inPos, &w->inRemaining) != 0 ||
               _kel_get_byte(w, &w->inPos, &w->inRemaining) != 0) {
        _kel_enc_error(w, MSG_EXPECTED_EOC, 0);
    }
}

/* Contents octets left before `end`, negative in an indefinite value: the
 * length that the ANY primitive expects. */
static int32_t contents_left(KelGlobal *w, int32_t end)
{
    return end < 0 ? -1 : w->inRemaining - end;
}

static void decode_oid(KelGlobal *w, KelOidEncoded *v)
{
    void *octets;
    int32_t length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, TAG_OID);
    v->length = (uint32_t)_kel_dec_eobjid_ia(w, &w->inPos, &w->inRemaining, length, &octets, -1);
    v->value = octets;
}

static void decode_any(KelGlobal *w, CertAny *v, int32_t end)
{
    void *encoding;
    v->length = (uint32_t)_kel_dec_uany(w, &w->inPos, &w->inRemaining, contents_left(w, end),
                                        &encoding);
    v->value = encoding;
}

static void decode_bits(KelGlobal *w, KelUnboundedBits *v, uint32_t tag)
{
    unsigned char *bits;
    int32_t length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, tag);
    v->length = (uint32_t)_kel_dec_ubit_ia(w, &w->inPos, &w->inRemaining, length, &bits, 0, 0);
    v->value = bits;
}

/* The serial number: the INTEGER's contents, minimal unless relaxed. */
static void decode_huge(KelGlobal *w, KelHugeInt *v)
{
    int32_t length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, TAG_INTEGER);
    if (length < 1 || w->bitOffset)
        _kel_enc_error(w, MSG_MISENCODED, 0);
    if (length > w->inRemaining)
        _kel_enc_error(w, MSG_END_OF_INPUT, 0);
    if (length > 1 && !(w->modeBits & 1)) {
        unsigned lead = (unsigned)w->inPos[0] << 1 | w->inPos[1] >> 7;
        if (lead == 0 || lead == 0x1FF)
            _kel_enc_error(w, MSG_INT_NEEDLESSLY_LONG, 0);
    }
    v->value = _kel_dec_getmem(w, length);
    v->length = (uint32_t)length;
    _kel_get_bytes(w, &w->inPos, &w->inRemaining, v->value, length);
}

/* Room on the stack for the elements of a short list. */
enum { LIST_ROOM = 256 };

/* A list of `size`-octet elements in contents of `length`, decoded in one
 * pass: the elements go to an array on the stack and, past its room, to
 * one on the temporary stack that grows by doubling; they move to decoder
 * memory after the last one, when the count is known.  A SET OF hands each
 * element's encoding with the previous one to the library's order test of
 * strict CER and DER. */
static void *decode_list(KelGlobal *w, int32_t length, uint32_t size, void (*decode)(KelGlobal *, void *),
                         int setOf, uint32_t *count)
{
    int32_t end = end_of(w, length);
    uint64_t local[LIST_ROOM / sizeof(uint64_t)]; /* aligned for any element */
    unsigned char *array = (unsigned char *)local, *list = NULL, *previous = NULL;
    uint32_t n = 0, capacity = LIST_ROOM / size, previousLength = 0;

    while (component_follows(w, end)) {
        unsigned char *start = w->inPos;
        if (n == capacity) {
            const uint32_t grown = capacity ? 2 * capacity : 4;
            if (array == (unsigned char *)local) {
                array = _kel_dec_gettempmem(w, grown * size);
                memcpy(array, local, (size_t)n * size);
            } else {
                array = _kel_dec_realloctempmem(w, array, capacity * size, grown * size);
            }
            capacity = grown;
        }
        decode(w, array + (size_t)n * size);
        if (setOf && previous)
            _kel_check_setof_order(w, previous, previousLength, start, (uint32_t)(w->inPos - start));
        previous = start;
        previousLength = (uint32_t)(w->inPos - start);
        n++;
    }
    close_value(w, end);
    *count = n;
    if (n) {
        list = _kel_dec_getmem(w, (int32_t)(n * size));
        memcpy(list, array, (size_t)n * size);
    }
    if (array != (unsigned char *)local)
        _kel_dec_freetempmem(w, array);
    return list;
}

static void decode_AlgorithmIdentifier(KelGlobal *w, AlgorithmIdentifier *v)
{
    int32_t end = open_value(w, TAG_SEQUENCE);
    decode_oid(w, &v->algorithm);
    v->bit_mask = 0;
    if (component_follows(w, end)) {
        v->bit_mask = parameters_present;
        decode_any(w, &v->parameters, end);
    }
    close_value(w, end);
}

static void decode_AttributeTypeAndValue(KelGlobal *w, void *element)
{
    AttributeTypeAndValue *v = element;
    int32_t end = open_value(w, TAG_SEQUENCE);
    decode_oid(w, &v->type);
    decode_any(w, &v->value, end);
    if (v->value.length == 0)
        _kel_enc_error(w, MSG_OMITTED, 0);
    close_value(w, end);
}

static void decode_RelativeDistinguishedName(KelGlobal *w, void *element)
{
    RelativeDistinguishedName *v = element;
    int32_t length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, TAG_SET);
    v->value = decode_list(w, length, sizeof *v->value, decode_AttributeTypeAndValue, 1, &v->count);
    if (v->count == 0)
        _kel_enc_error(w, MSG_COUNT_RANGE, 0);
}

static void decode_Name(KelGlobal *w, Name *v)
{
    int32_t length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, TAG_SEQUENCE);
    RDNSequence *rdns = &v->u.rdnSequence;
    v->choice = rdnSequence_chosen;
    rdns->value = decode_list(w, length, sizeof *rdns->value, decode_RelativeDistinguishedName, 0, &rdns->count);
}

static void decode_Time(KelGlobal *w, Time *v)
{
    unsigned char *text;
    uint16_t tag = _kel_dec_tag(w, &w->inPos, &w->inRemaining);
    int32_t length;
    /* Read by class and number, so strict decoding checks the constructed
     * bit here: a time is read as one primitive string, the form that CER
     * and DER give it. */
    if (w->bitOffset && (w->decodingFlags & STRICT_ENCODING_DECODING_RULES))
        _kel_enc_error(w, MSG_EXPECTED_PRIMITIVE, 0);
    length = _kel_dec_length(w, &w->inPos, &w->inRemaining);
    switch (tag) {
    case TAG_UTC_TIME:
        v->choice = utcTime_chosen;
        _kel_dec_untime(w, &w->inPos, &w->inRemaining, length, &text, 0, 1);
        v->u.utcTime = (char *)text;
        break;
    case TAG_GENERALIZED_TIME:
        v->choice = generalTime_chosen;
        _kel_dec_untime(w, &w->inPos, &w->inRemaining, length, &text, 0, 0);
        v->u.generalTime = (char *)text;
        break;
    default:
        _kel_enc_error(w, MSG_UNKNOWN_TAG, tag);
    }
}

/* The DEFAULT values, which strict CER and DER decoding refuse to find in
 * the encoding. */
static const uint8_t notCritical = 0;
static const Version firstVersion = v1;

static void decode_Extension(KelGlobal *w, void *element)
{
    Extension *v = element;
    unsigned char *octets;
    int32_t end = open_value(w, TAG_SEQUENCE), length;
    decode_oid(w, &v->extnID);
    v->bit_mask = 0;
    v->critical = 0;
    if (next_is(w, end, TAG_BOOLEAN)) {
        length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, TAG_BOOLEAN);
        v->bit_mask = critical_present;
        v->critical = (uint8_t)_kel_dec_bool(w, &w->inPos, &w->inRemaining, length);
        _kel_dec_dflt_present(w, &v->critical, sizeof v->critical, &notCritical, sizeof notCritical);
    }
    length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, TAG_OCTET_STRING);
    v->extnValue.length =
        (uint32_t)_kel_dec_uoct_ia(w, &w->inPos, &w->inRemaining, length, &octets, 0);
    v->extnValue.value = octets;
    close_value(w, end);
}

static void decode_Extensions(KelGlobal *w, Extensions *v)
{
    int32_t outer = open_value(w, TAG_EXTENSIONS);
    int32_t length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, TAG_SEQUENCE);
    v->value = decode_list(w, length, sizeof *v->value, decode_Extension, 0, &v->count);
    if (v->count == 0)
        _kel_enc_error(w, MSG_COUNT_RANGE, 0);
    close_value(w, outer);
}

static void decode_TBSCertificate(KelGlobal *w, TBSCertificate *v)
{
    int32_t end = open_value(w, TAG_SEQUENCE);
    v->bit_mask = 0;
    v->version = v1;
    if (next_is(w, end, TAG_VERSION)) {
        int32_t versionEnd = open_value(w, TAG_VERSION);
        int32_t length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, TAG_INTEGER);
        v->bit_mask |= version_present;
        v->version = _kel_dec_iint(w, &w->inPos, &w->inRemaining, length);
        _kel_dec_dflt_present(w, &v->version, sizeof v->version, &firstVersion, sizeof firstVersion);
        close_value(w, versionEnd);
    }
    decode_huge(w, &v->serialNumber);
    decode_AlgorithmIdentifier(w, &v->signature);
    decode_Name(w, &v->issuer);
    {
        int32_t validityEnd = open_value(w, TAG_SEQUENCE);
        decode_Time(w, &v->validity.notBefore);
        decode_Time(w, &v->validity.notAfter);
        close_value(w, validityEnd);
    }
    decode_Name(w, &v->subject);
    {
        int32_t keyEnd = open_value(w, TAG_SEQUENCE);
        decode_AlgorithmIdentifier(w, &v->subjectPublicKeyInfo.algorithm);
        decode_bits(w, &v->subjectPublicKeyInfo.subjectPublicKey, TAG_BIT_STRING);
        close_value(w, keyEnd);
    }
    if (next_is(w, end, TAG_ISSUER_UID)) {
        v->bit_mask |= issuerUniqueID_present;
        decode_bits(w, &v->issuerUniqueID, TAG_ISSUER_UID);
    }
    if (next_is(w, end, TAG_SUBJECT_UID)) {
        v->bit_mask |= subjectUniqueID_present;
        decode_bits(w, &v->subjectUniqueID, TAG_SUBJECT_UID);
    }
    if (next_is(w, end, TAG_EXTENSIONS)) {
        v->bit_mask |= extensions_present;
        decode_Extensions(w, &v->extensions);
    }
    close_value(w, end);
}

static void decode_Certificate(KelGlobal *w, Certificate *v)
{
    int32_t end = open_value(w, TAG_SEQUENCE);
    decode_TBSCertificate(w, &v->tbsCertificate);
    decode_AlgorithmIdentifier(w, &v->signatureAlgorithm);
    decode_bits(w, &v->signature, TAG_BIT_STRING);
    close_value(w, end);
}

/* ------------------------------------------------------------------------ */
/* Free                                                                      */
/* ------------------------------------------------------------------------ */

static void free_AlgorithmIdentifier(KelGlobal *w, AlgorithmIdentifier *v)
{
    kelFreeMemory(w, v->algorithm.value);
    if (v->bit_mask & parameters_present)
        kelFreeMemory(w, v->parameters.value);
}

static void free_Name(KelGlobal *w, Name *v)
{
    RDNSequence *rdns = &v->u.rdnSequence;
    uint32_t i, j;
    for (i = 0; i < rdns->count; i++) {
        RelativeDistinguishedName *rdn = &rdns->value[i];
        for (j = 0; j < rdn->count; j++) {
            kelFreeMemory(w, rdn->value[j].type.value);
            kelFreeMemory(w, rdn->value[j].value.value);
        }
        kelFreeMemory(w, rdn->value);
    }
    kelFreeMemory(w, rdns->value);
}

static int cert_free(KelGlobal *w, int pdu, void *value)
{
    Certificate *v = value;
    TBSCertificate *tbs = &v->tbsCertificate;
    uint32_t i;
    if (pdu != Certificate_PDU)
        return MSG_PDU_RANGE;
    kelFreeMemory(w, tbs->serialNumber.value);
    free_AlgorithmIdentifier(w, &tbs->signature);
    free_Name(w, &tbs->issuer);
    kelFreeMemory(w, tbs->validity.notBefore.u.utcTime);
    kelFreeMemory(w, tbs->validity.notAfter.u.utcTime);
    free_Name(w, &tbs->subject);
    free_AlgorithmIdentifier(w, &tbs->subjectPublicKeyInfo.algorithm);
    kelFreeMemory(w, tbs->subjectPublicKeyInfo.subjectPublicKey.value);
    if (tbs->bit_mask & issuerUniqueID_present)
        kelFreeMemory(w, tbs->issuerUniqueID.value);
    if (tbs->bit_mask & subjectUniqueID_present)
        kelFreeMemory(w, tbs->subjectUniqueID.value);
    if (tbs->bit_mask & extensions_present) {
        for (i = 0; i < tbs->extensions.count; i++) {
            kelFreeMemory(w, tbs->extensions.value[i].extnID.value);
            kelFreeMemory(w, tbs->extensions.value[i].extnValue.value);
        }
        kelFreeMemory(w, tbs->extensions.value);
    }
    free_AlgorithmIdentifier(w, &v->signatureAlgorithm);
    kelFreeMemory(w, v->signature.value);
    kelFreeMemory(w, v);
    return 0;
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

void cert_enter_pdu(KelGlobal *w, int pdu)
{
    if (pdu != Certificate_PDU)
        _kel_enc_error(w, MSG_PDU_RANGE, (uint32_t)pdu);
    w->pduNumber = pdu;
    w->pduEntry = &certificateNames;
}

static int cert_encode(KelGlobal *w, int pdu, void *value)
{
    unsigned char *pos = w->userBuffer ? w->outPos + w->outRemaining : NULL;
    int32_t rem = w->userBuffer ? w->outRemaining : 0;
    int32_t total;

    cert_enter_pdu(w, pdu);
    total = encode_Certificate(w, &pos, &rem, value);
    if (w->userBuffer) {
        w->outPos = pos;
        w->outRemaining = total;
    } else {
        uint32_t length;
        _kel_set_outmem_d(w, (uint32_t)rem, &length, &w->outPos);
        w->outRemaining = (int32_t)length;
    }
    return 0;
}

static int cert_decode(KelGlobal *w, int *pdu, void **value)
{
    Certificate *certificate;
    cert_enter_pdu(w, *pdu);
    certificate = _kel_dec_getmem(w, sizeof *certificate);
    decode_Certificate(w, certificate);
    *value = certificate;
    return 0;
}

/* The code file serves BER (0), DER (3), CER (7), OER (12) and COER (13). */
static unsigned char ruleMap[] = { 0x01 | 0x08 | 0x80, 0x10 | 0x20 };

static KelXApiTable xapi = {
    .cpyValue = cert_copy,
    .cmpValue = cert_compare,
    .checkConstraints = cert_check,
    .oerVersion = 0,
    .oerEncode = cert_oer_encode,
    /* the OER decoder entry answers the value; it stands in the common slot */
    .oerDecode = (KelDecodeFn)(void (*)(void))cert_oer_decode,
};

static void cert_init(KelGlobal *w)
{
    kelLinkBer(w);
    kelLinkOerE(w);
    kelLinkOerD(w);
    kelPrivateSetMoreFlags(w, 16, ruleMap);
    kelInitXAPIentries(w, &xapi);
    w->modeBits |= KEL_MODE_DER_SUPPORT;
}

KelControlTable cert_trim_control = {
    .init = cert_init,
    .berEncode = cert_encode,
    .berDecode = cert_decode,
    .freePdu = cert_free,
    .version = 17,
    .perVersion = 16,
    .printPdu = cert_print,
};
