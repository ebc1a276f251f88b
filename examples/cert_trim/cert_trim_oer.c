/*
 * cert_trim_oer.c - the OER and COER encoders and decoders of the CertTrim
 * code file, in the shape a compiler emits them: per type a straight line
 * of OER primitive calls, one path for both rules.
 *
 * No tags travel but those of the CHOICEs Name and Time, one octet each
 * (universal class, the number).  A SEQUENCE with OPTIONAL or DEFAULT
 * components starts with a preamble of their presence bits; a DEFAULT
 * holding its default (version v1, critical FALSE) is left out.  Object
 * identifiers, times and the ANY values pass as a length and octets, each
 * ANY holding the value's DER as the BER code file keeps it; lists are a
 * quantity and their elements.  The short fields go straight into the block
 * when they fit, with the primitives behind them for the rest.
 *
 * The decoder takes the memory of the BER code file, so that the free
 * function serves both: one piece per string and one array per list, the
 * array taken once the quantity is known to fit in the input.
 */
#include <string.h>

#include "cert_trim.h"
#include "cert_trim_oer.h"
#include "kelvarn_oer.h"

/* The tags of CHOICE alternatives, as they stand on the wire. */
enum { TAG_SEQUENCE = 0x10, TAG_UTC_TIME = 0x17, TAG_GENERALIZED_TIME = 0x18 };

/* Messages raised by the generated code. */
enum {
    MSG_CHOICE_RANGE = 7,
    MSG_COUNT_RANGE = 28,
    MSG_END_OF_INPUT = 45,
    MSG_NULL_INPUT = 71,
    MSG_EMBEDDED_NUL = 114,
    MSG_UNKNOWN_TAG = 115
};

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

/* `lead` (a preamble or a tag; negative for none), then a length and `n`
 * octets. */
static void put_field(KelGlobal *w, int32_t lead, const unsigned char *octets, uint32_t n)
{
    const uint32_t head = lead >= 0;
    if (n < 128 && w->outRemaining > (int32_t)(n + head) && !(w->encodingFlags & DETERMINE_ENC_LENGTH)) {
        unsigned char *p = w->outPos;
        if (head)
            *p++ = (unsigned char)lead;
        *p++ = (unsigned char)n;
        if (n)
            memcpy(p, octets, n);
        w->outPos = p + n;
        w->outRemaining -= (int32_t)(n + 1 + head);
        return;
    }
    if (head)
        _kel_oenc_append_byte(w, (uint32_t)lead);
    _kel_oenc_octet_length(w, n);
    _kel_oenc_append_bytes(w, octets, n);
}

/* The quantity of a list of `minimum` elements or more. */
static void put_quantity(KelGlobal *w, uint32_t count, uint32_t minimum)
{
    if (count < minimum)
        _kel_enc_error(w, MSG_COUNT_RANGE, count);
    _kel_oenc_uint(w, count);
}

static void encode_AlgorithmIdentifier(KelGlobal *w, const AlgorithmIdentifier *v)
{
    const int parameters = (v->bit_mask & parameters_present) != 0;
    put_field(w, parameters ? 0x80 : 0, v->algorithm.value, v->algorithm.length);
    if (parameters)
        put_field(w, -1, v->parameters.value, v->parameters.length);
}

static void encode_Name(KelGlobal *w, const Name *v)
{
    const RDNSequence *rdns = &v->u.rdnSequence;
    uint32_t i, j;
    if (v->choice != rdnSequence_chosen)
        _kel_enc_error(w, MSG_CHOICE_RANGE, v->choice);
    _kel_oenc_append_byte(w, TAG_SEQUENCE);
    put_quantity(w, rdns->count, 0);
    for (i = 0; i < rdns->count; i++) {
        const RelativeDistinguishedName *rdn = &rdns->value[i];
        put_quantity(w, rdn->count, 1);
        for (j = 0; j < rdn->count; j++) {
            put_field(w, -1, rdn->value[j].type.value, rdn->value[j].type.length);
            put_field(w, -1, rdn->value[j].value.value, rdn->value[j].value.length);
        }
    }
}

static void encode_Time(KelGlobal *w, const Time *v)
{
    const char *text = v->u.utcTime;
    uint32_t tag;
    switch (v->choice) {
    case utcTime_chosen:
        tag = TAG_UTC_TIME;
        break;
    case generalTime_chosen:
        tag = TAG_GENERALIZED_TIME;
        break;
    default:
        _kel_enc_error(w, MSG_CHOICE_RANGE, v->choice);
    }
    if (!text)
        _kel_enc_error(w, MSG_NULL_INPUT, 0);
    put_field(w, (int32_t)tag, (const unsigned char *)text, (uint32_t)strlen(text));
}

static void encode_Extension(KelGlobal *w, const Extension *v)
{
    const int critical = (v->bit_mask & critical_present) && v->critical;
    put_field(w, critical ? 0x80 : 0, v->extnID.value, v->extnID.length);
    if (critical)
        _kel_oenc_append_byte(w, 0xFF);
    put_field(w, -1, v->extnValue.value, v->extnValue.length);
}

static void encode_TBSCertificate(KelGlobal *w, const TBSCertificate *v)
{
    const int versioned = (v->bit_mask & version_present) && v->version != v1;
    uint32_t i;
    /* The preamble's bits stand in the order of bit_mask's. */
    _kel_oenc_append_byte(w, (versioned ? 0x80u : 0u) |
                                 (v->bit_mask & (issuerUniqueID_present | subjectUniqueID_present |
                                                 extensions_present)));
    if (versioned)
        _kel_oenc_int(w, v->version);
    _kel_oenc_int_h(w, v->serialNumber.value, v->serialNumber.length);
    encode_AlgorithmIdentifier(w, &v->signature);
    encode_Name(w, &v->issuer);
    encode_Time(w, &v->validity.notBefore);
    encode_Time(w, &v->validity.notAfter);
    encode_Name(w, &v->subject);
    encode_AlgorithmIdentifier(w, &v->subjectPublicKeyInfo.algorithm);
    _kel_oenc_bit_unbounded(w, v->subjectPublicKeyInfo.subjectPublicKey.value,
                            v->subjectPublicKeyInfo.subjectPublicKey.length);
    if (v->bit_mask & issuerUniqueID_present)
        _kel_oenc_bit_unbounded(w, v->issuerUniqueID.value, v->issuerUniqueID.length);
    if (v->bit_mask & subjectUniqueID_present)
        _kel_oenc_bit_unbounded(w, v->subjectUniqueID.value, v->subjectUniqueID.length);
    if (v->bit_mask & extensions_present) {
        put_quantity(w, v->extensions.count, 1);
        for (i = 0; i < v->extensions.count; i++)
            encode_Extension(w, &v->extensions.value[i]);
    }
}

static void encode_Certificate(KelGlobal *w, const Certificate *v)
{
    encode_TBSCertificate(w, &v->tbsCertificate);
    encode_AlgorithmIdentifier(w, &v->signatureAlgorithm);
    _kel_oenc_bit_unbounded(w, v->signature.value, v->signature.length);
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

/* Tests for and takes `n` octets of input. */
static const unsigned char *take(KelGlobal *w, uint32_t n)
{
    const unsigned char *p = w->inPos;
    if (w->inRemaining < (int32_t)n)
        _kel_enc_error(w, MSG_END_OF_INPUT, 0);
    w->inPos += n;
    w->inRemaining -= (int32_t)n;
    return p;
}

/* A length determinant whose content is in the input; the read pointer
 * stands on the content. */
static uint32_t get_length(KelGlobal *w)
{
    int32_t n;
    if (w->inRemaining > 0 && w->inPos[0] < 0x80) {
        n = w->inPos[0];
        if (w->inRemaining <= n)
            _kel_enc_error(w, MSG_END_OF_INPUT, 0);
        w->inPos++;
        w->inRemaining--;
        return (uint32_t)n;
    }
    n = _kel_odec_length(w);
    if (n < 0) /* four octets with the top bit set: never present */
        _kel_enc_error(w, MSG_END_OF_INPUT, 0);
    return (uint32_t)n;
}

/* The octets behind a length, in a piece of their own; none for 0. */
static unsigned char *get_octets(KelGlobal *w, uint32_t *length)
{
    const uint32_t n = get_length(w);
    unsigned char *piece;
    *length = n;
    if (n == 0)
        return NULL;
    piece = _kel_dec_getmem_internal(w, n);
    memcpy(piece, take(w, n), n);
    return piece;
}

/* The quantity of a list of `minimum` elements or more and the array of
 * its elements of `size` octets.  Each element takes `least` octets of
 * input or more, so a quantity that the input can't hold is the end of the
 * input before any memory is taken. */
static void *get_list(KelGlobal *w, uint32_t *count, uint32_t size, uint32_t least, uint32_t minimum)
{
    uint32_t n;
    if (w->inRemaining >= 2 && w->inPos[0] == 1)
        n = take(w, 2)[1];
    else
        n = _kel_odec_uint(w);
    if (n < minimum)
        _kel_enc_error(w, MSG_COUNT_RANGE, n);
    if (n > (uint32_t)w->inRemaining / least || n > 0x7FFFFFFFu / size)
        _kel_enc_error(w, MSG_END_OF_INPUT, 0);
    *count = n;
    return n ? _kel_dec_getmem(w, (int32_t)(n * size)) : NULL;
}

/* A preamble, or the tag of a CHOICE alternative (all known ones take one
 * octet). */
static uint32_t get_octet(KelGlobal *w)
{
    return *take(w, 1);
}

static void get_oid(KelGlobal *w, KelOidEncoded *v)
{
    v->length = _kel_odec_oid_encoded(w, &v->value, 0);
}

static void get_AlgorithmIdentifier(KelGlobal *w, AlgorithmIdentifier *v)
{
    v->bit_mask = get_octet(w) & parameters_present;
    get_oid(w, &v->algorithm);
    if (v->bit_mask)
        v->parameters.value = get_octets(w, &v->parameters.length);
}

static void get_Name(KelGlobal *w, Name *v)
{
    RDNSequence *rdns = &v->u.rdnSequence;
    const uint32_t tag = get_octet(w);
    uint32_t i, j;
    if (tag != TAG_SEQUENCE)
        _kel_enc_error(w, MSG_UNKNOWN_TAG, tag);
    v->choice = rdnSequence_chosen;
    rdns->value = get_list(w, &rdns->count, sizeof *rdns->value, 2, 0);
    for (i = 0; i < rdns->count; i++) {
        RelativeDistinguishedName *rdn = &rdns->value[i];
        rdn->value = get_list(w, &rdn->count, sizeof *rdn->value, 2, 1);
        for (j = 0; j < rdn->count; j++) {
            get_oid(w, &rdn->value[j].type);
            rdn->value[j].value.value = get_octets(w, &rdn->value[j].value.length);
        }
    }
}

/* The time's text, NUL-terminated in a piece of its own. */
static void get_Time(KelGlobal *w, Time *v)
{
    const uint32_t tag = get_octet(w);
    const unsigned char *p;
    char *text;
    uint32_t n;
    if (tag == TAG_UTC_TIME)
        v->choice = utcTime_chosen;
    else if (tag == TAG_GENERALIZED_TIME)
        v->choice = generalTime_chosen;
    else
        _kel_enc_error(w, MSG_UNKNOWN_TAG, tag);
    n = get_length(w);
    p = take(w, n);
    if (memchr(p, 0, n))
        _kel_enc_error(w, MSG_EMBEDDED_NUL, 0);
    text = _kel_dec_getmem_internal(w, n + 1);
    memcpy(text, p, n);
    text[n] = 0;
    v->u.utcTime = text;
}

static void get_Extension(KelGlobal *w, Extension *v)
{
    v->bit_mask = get_octet(w) & critical_present;
    get_oid(w, &v->extnID);
    if (v->bit_mask)
        v->critical = (uint8_t)_kel_odec_bool(w);
    v->extnValue.length = _kel_odec_string_unbounded(w, &v->extnValue.value);
}

static void get_TBSCertificate(KelGlobal *w, TBSCertificate *v)
{
    const uint32_t head = get_octet(w);
    uint32_t i;
    v->bit_mask = (uint8_t)(head & (version_present | issuerUniqueID_present | subjectUniqueID_present |
                                    extensions_present));
    if (head & version_present)
        v->version = _kel_odec_int(w);
    v->serialNumber.length = (uint32_t)_kel_odec_int_h(w, &v->serialNumber.value, 0);
    get_AlgorithmIdentifier(w, &v->signature);
    get_Name(w, &v->issuer);
    get_Time(w, &v->validity.notBefore);
    get_Time(w, &v->validity.notAfter);
    get_Name(w, &v->subject);
    get_AlgorithmIdentifier(w, &v->subjectPublicKeyInfo.algorithm);
    v->subjectPublicKeyInfo.subjectPublicKey.length =
        _kel_odec_bit_unbounded(w, &v->subjectPublicKeyInfo.subjectPublicKey.value);
    if (head & issuerUniqueID_present)
        v->issuerUniqueID.length = _kel_odec_bit_unbounded(w, &v->issuerUniqueID.value);
    if (head & subjectUniqueID_present)
        v->subjectUniqueID.length = _kel_odec_bit_unbounded(w, &v->subjectUniqueID.value);
    if (head & extensions_present) {
        v->extensions.value = get_list(w, &v->extensions.count, sizeof *v->extensions.value, 3, 1);
        for (i = 0; i < v->extensions.count; i++)
            get_Extension(w, &v->extensions.value[i]);
    }
}

/* The value and its arrays are fresh zeroed pieces: what is absent stays 0
 * (version v1, critical FALSE). */
static void get_Certificate(KelGlobal *w, Certificate *v)
{
    get_TBSCertificate(w, &v->tbsCertificate);
    get_AlgorithmIdentifier(w, &v->signatureAlgorithm);
    v->signature.length = _kel_odec_bit_unbounded(w, &v->signature.value);
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

int cert_oer_encode(KelGlobal *w, int pdu, void *value)
{
    cert_enter_pdu(w, pdu);
    encode_Certificate(w, value);
    return 0;
}

void *cert_oer_decode(KelGlobal *w, int pdu)
{
    Certificate *certificate;
    cert_enter_pdu(w, pdu);
    certificate = _kel_dec_getmem(w, sizeof *certificate);
    get_Certificate(w, certificate);
    return certificate;
}
