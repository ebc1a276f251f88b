/*
 * cert_trim_services.c - the printer, comparer and copier of the CertTrim
 * code file, in the shape a compiler emits them: per type a straight line
 * of service primitive calls.
 *
 * The printer writes value notation, a component to a line, two blanks a
 * level: object identifiers as "{ 1 2 840 113549 1 1 11 }", the serial
 * number in decimal, the ANY values as their encodings '..'H, times as their
 * text, BIT STRINGs in binary.  Absent OPTIONAL and DEFAULT components are
 * left out.
 *
 * The comparer answers 0 for equal values.  An absent version equals v1 and
 * an absent critical flag FALSE; other absent components equal only absent
 * ones.  The attributes of a RelativeDistinguishedName (SET OF) are equal in
 * any order.  The copier takes every piece from the decoder's getters, one
 * piece per string and one array per list as the decoder does, so that
 * cert_free releases the copy and the frame releases it all on failure.
 */
#include <stddef.h>
#include <string.h>

#include "cert_trim.h"
#include "cert_trim_services.h"
#include "kelvarn_services.h"
#include "../value_notation.h"

/* Messages raised by the generated code. */
enum { MSG_PDU_RANGE = 3, MSG_CHOICE_RANGE = 7 };

/* Where the pointer stands in the records of a length and a pointer
 * (object identifiers, ANY values, strings, huge integers). */
#define POINTER_DISPLACEMENT ((int)offsetof(KelBuf, value))

static void check_pdu(KelGlobal *w, int pdu)
{
    if (pdu != Certificate_PDU)
        _kel_enc_error(w, MSG_PDU_RANGE, (uint32_t)pdu);
}

/* The one alternative of Name. */
static const RDNSequence *rdn_sequence(KelGlobal *w, const Name *v)
{
    if (v->choice != rdnSequence_chosen)
        _kel_enc_error(w, MSG_CHOICE_RANGE, v->choice);
    return &v->u.rdnSequence;
}

/* The text of either alternative of Time. */
static const char *time_text(KelGlobal *w, const Time *v)
{
    switch (v->choice) {
    case utcTime_chosen:
        return v->u.utcTime;
    case generalTime_chosen:
        return v->u.generalTime;
    default:
        _kel_enc_error(w, MSG_CHOICE_RANGE, v->choice);
    }
}

static Version version_of(const TBSCertificate *v)
{
    return v->bit_mask & version_present ? v->version : v1;
}

static uint8_t critical_of(const Extension *v)
{
    return v->bit_mask & critical_present ? v->critical : 0;
}

/* ------------------------------------------------------------------------ */
/* Printer                                                                   */
/* ------------------------------------------------------------------------ */

/* Before element `i` of a list that the caller opened with "{". */
static void list_item(KelGlobal *w, uint32_t i)
{
    if (i)
        next_line(w);
    else
        first_line(w);
}

/* The end of a list of `count` elements; an empty one prints "{}". */
static void list_end(KelGlobal *w, uint32_t count)
{
    if (count)
        _kel_indent(w, -1);
    kelPrint(w, "}");
}

/* "{ 1 2 840 }"; an encoding that has no such text prints as octets. */
static void print_oid(KelGlobal *w, const KelOidEncoded *v)
{
    KelBuf encoded, text = { 0, NULL };
    encoded.length = v->length;
    encoded.value = v->value;
    if (kelEncodedOidToAsnVal(w, &encoded, &text) == 0) {
        kelPrint(w, "%s", (const char *)text.value);
        kelFree(w, text.value);
    } else {
        _kel_prt_oct(w, v->value, v->length);
    }
}

/* A huge INTEGER in decimal: the magnitude (negated when the sign bit is
 * set) goes through huge2a in temporary memory, 3 digits an octet. */
static void print_huge(KelGlobal *w, const KelHugeInt *v)
{
    uint32_t n = v->length, i, digits, carry = 1;
    int negative = n && v->value[0] >= 0x80;
    unsigned char *magnitude;
    char *text;
    if (!n) {
        kelPrint(w, "0");
        return;
    }
    magnitude = (unsigned char *)_kel_dec_gettempmem(w, 4 * n + 2);
    text = (char *)magnitude + n;
    memcpy(magnitude, v->value, n);
    for (i = n; negative && i-- > 0; carry >>= 8) {
        carry += (unsigned char)~magnitude[i];
        magnitude[i] = (unsigned char)carry;
    }
    huge2a(magnitude, n, text, 3 * n + 2, &digits);
    kelPrint(w, "%s%s", negative ? "-" : "", text);
    _kel_dec_freetempmem(w, magnitude);
}

static void print_AlgorithmIdentifier(KelGlobal *w, const AlgorithmIdentifier *v)
{
    open_braces(w);
    kelPrint(w, "algorithm ");
    print_oid(w, &v->algorithm);
    if (v->bit_mask & parameters_present) {
        next_line(w);
        kelPrint(w, "parameters ");
        _kel_prt_new_opentype(w, 0, NULL, &v->parameters);
    }
    close_braces(w);
}

static void print_AttributeTypeAndValue(KelGlobal *w, const AttributeTypeAndValue *v)
{
    open_braces(w);
    kelPrint(w, "type ");
    print_oid(w, &v->type);
    next_line(w);
    kelPrint(w, "value ");
    _kel_prt_new_opentype(w, 0, NULL, &v->value);
    close_braces(w);
}

static void print_Name(KelGlobal *w, const Name *v)
{
    const RDNSequence *rdns = rdn_sequence(w, v);
    uint32_t i, j;
    kelPrint(w, "rdnSequence : {");
    for (i = 0; i < rdns->count; i++) {
        const RelativeDistinguishedName *rdn = &rdns->value[i];
        list_item(w, i);
        kelPrint(w, "{");
        for (j = 0; j < rdn->count; j++) {
            list_item(w, j);
            print_AttributeTypeAndValue(w, &rdn->value[j]);
        }
        list_end(w, rdn->count);
    }
    list_end(w, rdns->count);
}

static void print_Time(KelGlobal *w, const Time *v)
{
    const char *text = time_text(w, v);
    kelPrint(w, v->choice == utcTime_chosen ? "utcTime : " : "generalTime : ");
    _kel_prt_nchar(w, text);
}

static void print_Extension(KelGlobal *w, const Extension *v)
{
    open_braces(w);
    kelPrint(w, "extnID ");
    print_oid(w, &v->extnID);
    if (v->bit_mask & critical_present) {
        next_line(w);
        kelPrint(w, "critical %s", v->critical ? "TRUE" : "FALSE");
    }
    next_line(w);
    kelPrint(w, "extnValue ");
    _kel_prt_oct(w, v->extnValue.value, v->extnValue.length);
    close_braces(w);
}

static void print_TBSCertificate(KelGlobal *w, const TBSCertificate *v)
{
    uint32_t i;
    open_braces(w);
    if (v->bit_mask & version_present) {
        kelPrint(w, "version %d", (int)v->version);
        next_line(w);
    }
    kelPrint(w, "serialNumber ");
    print_huge(w, &v->serialNumber);
    next_line(w);
    kelPrint(w, "signature ");
    print_AlgorithmIdentifier(w, &v->signature);
    next_line(w);
    kelPrint(w, "issuer ");
    print_Name(w, &v->issuer);
    next_line(w);
    kelPrint(w, "validity ");
    open_braces(w);
    kelPrint(w, "notBefore ");
    print_Time(w, &v->validity.notBefore);
    next_line(w);
    kelPrint(w, "notAfter ");
    print_Time(w, &v->validity.notAfter);
    close_braces(w);
    next_line(w);
    kelPrint(w, "subject ");
    print_Name(w, &v->subject);
    next_line(w);
    kelPrint(w, "subjectPublicKeyInfo ");
    open_braces(w);
    kelPrint(w, "algorithm ");
    print_AlgorithmIdentifier(w, &v->subjectPublicKeyInfo.algorithm);
    next_line(w);
    kelPrint(w, "subjectPublicKey ");
    _kel_prt_bit(w, v->subjectPublicKeyInfo.subjectPublicKey.value,
                 v->subjectPublicKeyInfo.subjectPublicKey.length);
    close_braces(w);
    if (v->bit_mask & issuerUniqueID_present) {
        next_line(w);
        kelPrint(w, "issuerUniqueID ");
        _kel_prt_bit(w, v->issuerUniqueID.value, v->issuerUniqueID.length);
    }
    if (v->bit_mask & subjectUniqueID_present) {
        next_line(w);
        kelPrint(w, "subjectUniqueID ");
        _kel_prt_bit(w, v->subjectUniqueID.value, v->subjectUniqueID.length);
    }
    if (v->bit_mask & extensions_present) {
        next_line(w);
        kelPrint(w, "extensions {");
        for (i = 0; i < v->extensions.count; i++) {
            list_item(w, i);
            print_Extension(w, &v->extensions.value[i]);
        }
        list_end(w, v->extensions.count);
    }
    close_braces(w);
}

int cert_print(KelGlobal *w, int pdu, void *value)
{
    const Certificate *v = (const Certificate *)value;
    check_pdu(w, pdu);
    kelPrint(w, "value Certificate ::= ");
    open_braces(w);
    kelPrint(w, "tbsCertificate ");
    print_TBSCertificate(w, &v->tbsCertificate);
    next_line(w);
    kelPrint(w, "signatureAlgorithm ");
    print_AlgorithmIdentifier(w, &v->signatureAlgorithm);
    next_line(w);
    kelPrint(w, "signature ");
    _kel_prt_bit(w, v->signature.value, v->signature.length);
    close_braces(w);
    kelPrint(w, "\n");
    return 0;
}

/* ------------------------------------------------------------------------ */
/* Comparer                                                                  */
/* ------------------------------------------------------------------------ */

/* Records of a length and a pointer to units of `unit` octets (negative:
 * the length counts bits): 1 when equal. */
static int same_counted(const void *a, const void *b, int unit)
{
    return _kel_cmp_unbnd_octet_ia(a, b, 4, unit, POINTER_DISPLACEMENT) == 0;
}

static int same_AlgorithmIdentifier(const AlgorithmIdentifier *a, const AlgorithmIdentifier *b)
{
    if (!same_counted(&a->algorithm, &b->algorithm, 1) || (a->bit_mask ^ b->bit_mask) & parameters_present)
        return 0;
    return !(a->bit_mask & parameters_present) || same_counted(&a->parameters, &b->parameters, 1);
}

static int same_AttributeTypeAndValue(const AttributeTypeAndValue *a, const AttributeTypeAndValue *b)
{
    return same_counted(&a->type, &b->type, 1) && same_counted(&a->value, &b->value, 1);
}

/* How often `item` occurs in `set`. */
static uint32_t occurrences(const RelativeDistinguishedName *set, const AttributeTypeAndValue *item)
{
    uint32_t i, n = 0;
    for (i = 0; i < set->count; i++)
        n += (uint32_t)same_AttributeTypeAndValue(&set->value[i], item);
    return n;
}

/* SET OF: the same elements as often in each, in any order. */
static int same_RelativeDistinguishedName(const RelativeDistinguishedName *a,
                                          const RelativeDistinguishedName *b)
{
    uint32_t i;
    if (a->count != b->count)
        return 0;
    for (i = 0; i < a->count; i++)
        if (occurrences(a, &a->value[i]) != occurrences(b, &a->value[i]))
            return 0;
    return 1;
}

static int same_Name(KelGlobal *w, const Name *a, const Name *b)
{
    const RDNSequence *x, *y;
    uint32_t i;
    if (a->choice != b->choice)
        return 0;
    x = rdn_sequence(w, a);
    y = rdn_sequence(w, b);
    if (x->count != y->count)
        return 0;
    for (i = 0; i < x->count; i++)
        if (!same_RelativeDistinguishedName(&x->value[i], &y->value[i]))
            return 0;
    return 1;
}

static int same_Time(KelGlobal *w, const Time *a, const Time *b)
{
    return a->choice == b->choice &&
           _kelCmpPrimitiveValue(w, time_text(w, a), time_text(w, b), 0, NULL, KEL_CMPK_NULLTERM);
}

/* Optional UniqueIdentifiers: both absent, or both present and equal. */
static int same_unique_id(const TBSCertificate *a, const TBSCertificate *b, uint8_t present,
                          const UniqueIdentifier *x, const UniqueIdentifier *y)
{
    if ((a->bit_mask ^ b->bit_mask) & present)
        return 0;
    return !(a->bit_mask & present) || same_counted(x, y, -1);
}

static int same_Extension(KelGlobal *w, const Extension *a, const Extension *b)
{
    uint8_t x = critical_of(a), y = critical_of(b);
    return same_counted(&a->extnID, &b->extnID, 1) &&
           _kelCmpPrimitiveValue(w, &x, &y, sizeof x, NULL, KEL_CMPK_BOOLEAN) &&
           same_counted(&a->extnValue, &b->extnValue, 1);
}

static int same_Extensions(KelGlobal *w, const TBSCertificate *a, const TBSCertificate *b)
{
    uint32_t i;
    if ((a->bit_mask ^ b->bit_mask) & extensions_present)
        return 0;
    if (!(a->bit_mask & extensions_present))
        return 1;
    if (a->extensions.count != b->extensions.count)
        return 0;
    for (i = 0; i < a->extensions.count; i++)
        if (!same_Extension(w, &a->extensions.value[i], &b->extensions.value[i]))
            return 0;
    return 1;
}

static int same_TBSCertificate(KelGlobal *w, const TBSCertificate *a, const TBSCertificate *b)
{
    return version_of(a) == version_of(b) &&
           _kel_cmp_huge_int_ia(&a->serialNumber, &b->serialNumber, 4, 1, POINTER_DISPLACEMENT) == 0 &&
           same_AlgorithmIdentifier(&a->signature, &b->signature) && same_Name(w, &a->issuer, &b->issuer) &&
           same_Time(w, &a->validity.notBefore, &b->validity.notBefore) &&
           same_Time(w, &a->validity.notAfter, &b->validity.notAfter) &&
           same_Name(w, &a->subject, &b->subject) &&
           same_AlgorithmIdentifier(&a->subjectPublicKeyInfo.algorithm, &b->subjectPublicKeyInfo.algorithm) &&
           same_counted(&a->subjectPublicKeyInfo.subjectPublicKey, &b->subjectPublicKeyInfo.subjectPublicKey,
                        -1) &&
           same_unique_id(a, b, issuerUniqueID_present, &a->issuerUniqueID, &b->issuerUniqueID) &&
           same_unique_id(a, b, subjectUniqueID_present, &a->subjectUniqueID, &b->subjectUniqueID) &&
           same_Extensions(w, a, b);
}

int cert_compare(KelGlobal *w, int pdu, void *first, void *second)
{
    const Certificate *a = (const Certificate *)first, *b = (const Certificate *)second;
    check_pdu(w, pdu);
    return !(same_TBSCertificate(w, &a->tbsCertificate, &b->tbsCertificate) &&
             same_AlgorithmIdentifier(&a->signatureAlgorithm, &b->signatureAlgorithm) &&
             same_counted(&a->signature, &b->signature, -1));
}

/* ------------------------------------------------------------------------ */
/* Copier                                                                    */
/* ------------------------------------------------------------------------ */

/* A record of a length and a pointer, with a copy of its units. */
static void copy_counted(KelGlobal *w, const void *from, void *to, int unit)
{
    _kel_cpy_unbnd_octet_ia(w, from, to, 4, unit, POINTER_DISPLACEMENT);
}

/* The array of a list; none for an empty one, as the decoder leaves it. */
static void *new_array(KelGlobal *w, uint32_t count, size_t size)
{
    return count ? _kel_dec_getmem(w, (int32_t)(count * size)) : NULL;
}

static void copy_AlgorithmIdentifier(KelGlobal *w, const AlgorithmIdentifier *from, AlgorithmIdentifier *to)
{
    to->bit_mask = from->bit_mask;
    copy_counted(w, &from->algorithm, &to->algorithm, 1);
    if (from->bit_mask & parameters_present)
        copy_counted(w, &from->parameters, &to->parameters, 1);
    else
        memset(&to->parameters, 0, sizeof to->parameters);
}

static void copy_Name(KelGlobal *w, const Name *from, Name *to)
{
    const RDNSequence *rdns = rdn_sequence(w, from);
    RDNSequence *copy = &to->u.rdnSequence;
    uint32_t i, j;
    to->choice = from->choice;
    copy->count = rdns->count;
    copy->value = (RelativeDistinguishedName *)new_array(w, rdns->count, sizeof *copy->value);
    for (i = 0; i < rdns->count; i++) {
        const RelativeDistinguishedName *rdn = &rdns->value[i];
        RelativeDistinguishedName *out = &copy->value[i];
        out->count = rdn->count;
        out->value = (AttributeTypeAndValue *)new_array(w, rdn->count, sizeof *out->value);
        for (j = 0; j < rdn->count; j++) {
            copy_counted(w, &rdn->value[j].type, &out->value[j].type, 1);
            copy_counted(w, &rdn->value[j].value, &out->value[j].value, 1);
        }
    }
}

static void copy_Time(KelGlobal *w, const Time *from, Time *to)
{
    to->choice = from->choice;
    to->u.utcTime = _kel_cpy_char_real(w, time_text(w, from));
}

/* An optional UniqueIdentifier: absent ones keep no pointer. */
static void copy_unique_id(KelGlobal *w, uint8_t present, const UniqueIdentifier *from, UniqueIdentifier *to)
{
    if (present)
        copy_counted(w, from, to, -1);
    else
        memset(to, 0, sizeof *to);
}

static void copy_Extensions(KelGlobal *w, const Extensions *from, Extensions *to)
{
    uint32_t i;
    to->count = from->count;
    to->value = (Extension *)new_array(w, from->count, sizeof *to->value);
    for (i = 0; i < from->count; i++) {
        to->value[i] = from->value[i];
        copy_counted(w, &from->value[i].extnID, &to->value[i].extnID, 1);
        copy_counted(w, &from->value[i].extnValue, &to->value[i].extnValue, 1);
    }
}

static void copy_TBSCertificate(KelGlobal *w, const TBSCertificate *from, TBSCertificate *to)
{
    to->bit_mask = from->bit_mask;
    to->version = from->version;
    copy_counted(w, &from->serialNumber, &to->serialNumber, 1);
    copy_AlgorithmIdentifier(w, &from->signature, &to->signature);
    copy_Name(w, &from->issuer, &to->issuer);
    copy_Time(w, &from->validity.notBefore, &to->validity.notBefore);
    copy_Time(w, &from->validity.notAfter, &to->validity.notAfter);
    copy_Name(w, &from->subject, &to->subject);
    copy_AlgorithmIdentifier(w, &from->subjectPublicKeyInfo.algorithm, &to->subjectPublicKeyInfo.algorithm);
    copy_counted(w, &from->subjectPublicKeyInfo.subjectPublicKey, &to->subjectPublicKeyInfo.subjectPublicKey, -1);
    copy_unique_id(w, from->bit_mask & issuerUniqueID_present, &from->issuerUniqueID, &to->issuerUniqueID);
    copy_unique_id(w, from->bit_mask & subjectUniqueID_present, &from->subjectUniqueID, &to->subjectUniqueID);
    if (from->bit_mask & extensions_present)
        copy_Extensions(w, &from->extensions, &to->extensions);
    else
        memset(&to->extensions, 0, sizeof to->extensions);
}

int cert_copy(KelGlobal *w, int pdu, void *source, void **destination)
{
    const Certificate *from = (const Certificate *)source;
    Certificate *to;
    check_pdu(w, pdu);
    to = (Certificate *)_kel_dec_getmem(w, sizeof *to);
    copy_TBSCertificate(w, &from->tbsCertificate, &to->tbsCertificate);
    copy_AlgorithmIdentifier(w, &from->signatureAlgorithm, &to->signatureAlgorithm);
    copy_counted(w, &from->signature, &to->signature, -1);
    *destination = to;
    return 0;
}
