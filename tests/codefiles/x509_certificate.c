/*
 * x509_certificate.c - code file of the module X509Certificate (EXPLICIT
 * TAGS): the certificate structure of RFC 5280.  Serial numbers are huge
 * integers, object identifiers arrays of 32-bit arcs; UTCTime is kept as
 * text, GeneralizedTime as a KelTimeStruct.
 */
#include <stddef.h>

#include "codefiles.h"
#include "kelvarn_ber.h"

enum {
    Certificate,
    /* types of components only */
    TBSCertificate, Version, SerialNumber, Validity, Time, Utc, Gen, SubjectPublicKeyInfo, Extensions,
    Extension, AlgorithmIdentifier, AlgorithmParameters, Name, RDNSequence, RelativeDistinguishedName,
    AttributeTypeAndValue, AttributeValue, Oid, Bits, Octets, Bool, Null, Teletex, Printable, Universal,
    Utf8, Bmp, Ia5, Visible, Numeric, TypeCount
};

typedef struct TimeValue {
    uint32_t choice;
    union {
        char *utcTime;
        KelTimeStruct generalTime;
    } u;
} TimeValue;
typedef struct AlgorithmParametersValue {
    uint32_t choice;
    union {
        uint8_t null;
        KelOidUnbounded namedCurve;
    } u;
} AlgorithmParametersValue;
typedef struct AlgorithmIdentifierValue {
    uint32_t present;
    KelOidUnbounded algorithm;
    AlgorithmParametersValue parameters;
} AlgorithmIdentifierValue;
typedef struct AttributeValueValue {
    uint32_t choice;
    union {
        KelUnboundedString teletexString, universalString, utf8String, bmpString, ia5String;
        char *printableString, *visibleString, *numericString;
    } u;
} AttributeValueValue;
typedef struct AttributeTypeAndValueValue {
    uint32_t present;
    KelOidUnbounded type;
    AttributeValueValue value;
} AttributeTypeAndValueValue;
typedef struct NameValue {
    uint32_t choice;
    union {
        KelSequenceOf rdnSequence;
    } u;
} NameValue;
typedef struct ValidityValue {
    uint32_t present;
    TimeValue notBefore, notAfter;
} ValidityValue;
typedef struct SubjectPublicKeyInfoValue {
    uint32_t present;
    AlgorithmIdentifierValue algorithm;
    KelUnboundedBits subjectPublicKey;
} SubjectPublicKeyInfoValue;
typedef struct ExtensionValue {
    uint32_t present;
    KelOidUnbounded extnID;
    uint8_t critical;
    KelUnboundedString extnValue;
} ExtensionValue;
typedef struct TBSCertificateValue {
    uint32_t present;
    int64_t version;
    KelHugeInt serialNumber;
    AlgorithmIdentifierValue signature;
    NameValue issuer;
    ValidityValue validity;
    NameValue subject;
    SubjectPublicKeyInfoValue subjectPublicKeyInfo;
    KelUnboundedBits issuerUniqueID, subjectUniqueID;
    KelSequenceOf extensions;
} TBSCertificateValue;
typedef struct CertificateValue {
    uint32_t present;
    TBSCertificateValue tbsCertificate;
    AlgorithmIdentifierValue signatureAlgorithm;
    KelUnboundedBits signature;
} CertificateValue;

static const KelTypeDesc types[TypeCount];

#define CTX(cons, n) KEL_TAG(KEL_CLASS_CONTEXT, cons, n)
#define NO_TAG { 0, 0, 0, 0 }
#define COMP(rec, field, t, fl, bit) { #field, &types[t], offsetof(rec, field), fl, bit, KEL_TAGGING_NONE, NO_TAG, NULL }
#define TAGGED(rec, field, t, tagging, tag, fl, bit) \
    { #field, &types[t], offsetof(rec, field), fl, bit, tagging, tag, NULL }
#define ALT(rec, name, t) { #name, &types[t], offsetof(rec, u.name), 0, 0, KEL_TAGGING_NONE, NO_TAG, NULL }
#define ELEMENT(t) { "element", &types[t], 0, 0, 0, KEL_TAGGING_NONE, NO_TAG, NULL }
enum { OPT = KEL_COMP_OPTIONAL, E = KEL_TAGGING_EXPLICIT, I = KEL_TAGGING_IMPLICIT };

static const int64_t v1 = 0;
static const uint8_t notCritical = 0;

static const KelComponent certificate[] = {
    COMP(CertificateValue, tbsCertificate, TBSCertificate, 0, 0),
    COMP(CertificateValue, signatureAlgorithm, AlgorithmIdentifier, 0, 0),
    COMP(CertificateValue, signature, Bits, 0, 0),
};
static const KelComponent tbsCertificate[] = {
    { "version", &types[Version], offsetof(TBSCertificateValue, version), KEL_COMP_DEFAULT, 1, E, CTX(1, 0), &v1 },
    COMP(TBSCertificateValue, serialNumber, SerialNumber, 0, 0),
    COMP(TBSCertificateValue, signature, AlgorithmIdentifier, 0, 0),
    COMP(TBSCertificateValue, issuer, Name, 0, 0),
    COMP(TBSCertificateValue, validity, Validity, 0, 0),
    COMP(TBSCertificateValue, subject, Name, 0, 0),
    COMP(TBSCertificateValue, subjectPublicKeyInfo, SubjectPublicKeyInfo, 0, 0),
    TAGGED(TBSCertificateValue, issuerUniqueID, Bits, I, CTX(0, 1), OPT, 2),
    TAGGED(TBSCertificateValue, subjectUniqueID, Bits, I, CTX(0, 2), OPT, 3),
    TAGGED(TBSCertificateValue, extensions, Extensions, E, CTX(1, 3), OPT, 4),
};
static const KelComponent validity[] = {
    COMP(ValidityValue, notBefore, Time, 0, 0),
    COMP(ValidityValue, notAfter, Time, 0, 0),
};
static const KelComponent time[] = { ALT(TimeValue, utcTime, Utc), ALT(TimeValue, generalTime, Gen) };
static const KelComponent subjectPublicKeyInfo[] = {
    COMP(SubjectPublicKeyInfoValue, algorithm, AlgorithmIdentifier, 0, 0),
    COMP(SubjectPublicKeyInfoValue, subjectPublicKey, Bits, 0, 0),
};
static const KelComponent extensionElement[] = { ELEMENT(Extension) };
static const KelComponent extension[] = {
    COMP(ExtensionValue, extnID, Oid, 0, 0),
    { "critical", &types[Bool], offsetof(ExtensionValue, critical), KEL_COMP_DEFAULT, 1, KEL_TAGGING_NONE, NO_TAG,
      &notCritical },
    COMP(ExtensionValue, extnValue, Octets, 0, 0),
};
static const KelComponent algorithmIdentifier[] = {
    COMP(AlgorithmIdentifierValue, algorithm, Oid, 0, 0),
    COMP(AlgorithmIdentifierValue, parameters, AlgorithmParameters, OPT, 1),
};
static const KelComponent algorithmParameters[] = {
    ALT(AlgorithmParametersValue, null, Null),
    ALT(AlgorithmParametersValue, namedCurve, Oid),
};
static const KelComponent name[] = { ALT(NameValue, rdnSequence, RDNSequence) };
static const KelComponent rdnElement[] = { ELEMENT(RelativeDistinguishedName) };
static const KelComponent atvElement[] = { ELEMENT(AttributeTypeAndValue) };
static const KelComponent attributeTypeAndValue[] = {
    COMP(AttributeTypeAndValueValue, type, Oid, 0, 0),
    COMP(AttributeTypeAndValueValue, value, AttributeValue, 0, 0),
};
static const KelComponent attributeValue[] = {
    ALT(AttributeValueValue, teletexString, Teletex),
    ALT(AttributeValueValue, printableString, Printable),
    ALT(AttributeValueValue, universalString, Universal),
    ALT(AttributeValueValue, utf8String, Utf8),
    ALT(AttributeValueValue, bmpString, Bmp),
    ALT(AttributeValueValue, ia5String, Ia5),
    ALT(AttributeValueValue, visibleString, Visible),
    ALT(AttributeValueValue, numericString, Numeric),
};
static const KelNamedNumber versions[] = { { "v1", 0 }, { "v2", 1 }, { "v3", 2 } };

#define LIST(list) .components = list, .componentCount = sizeof list / sizeof list[0]
#define STRUCTURED(id, k, n, rec, list) \
    [id] = { .name = #id, .kind = k, .tagCount = 1, .tags = { KEL_TAG(0, 1, n) }, .size = sizeof(rec), LIST(list) }
#define SEQUENCE(id, rec, list) STRUCTURED(id, KEL_KIND_SEQUENCE, 16, rec, list)
#define CHOICE(id, rec, list) [id] = { .name = #id, .kind = KEL_KIND_CHOICE, .size = sizeof(rec), LIST(list) }
#define PRIMITIVE(id, k, n, f, bytes) \
    [id] = { .name = #id, .kind = k, .tagCount = 1, .tags = { KEL_TAG(0, 0, n) }, .form = f, .size = bytes }
#define UNBOUNDED_SIZE sizeof(KelUnboundedString)

static const KelTypeDesc types[TypeCount] = {
    SEQUENCE(Certificate, CertificateValue, certificate),
    SEQUENCE(TBSCertificate, TBSCertificateValue, tbsCertificate),
    [Version] = { .name = "Version", .kind = KEL_KIND_INTEGER, .tagCount = 1, .tags = { KEL_TAG_INTEGER },
                  .width = 8, .flags = KEL_DESC_SIGNED, .size = 8, .names = versions, .nameCount = 3 },
    PRIMITIVE(SerialNumber, KEL_KIND_INTEGER, 2, KEL_FORM_HUGE, sizeof(KelHugeInt)),
    SEQUENCE(Validity, ValidityValue, validity),
    CHOICE(Time, TimeValue, time),
    PRIMITIVE(Utc, KEL_KIND_UTC_TIME, 23, KEL_FORM_TIME_TEXT, sizeof(char *)),
    PRIMITIVE(Gen, KEL_KIND_GENERALIZED_TIME, 24, KEL_FORM_TIME_STRUCT, sizeof(KelTimeStruct)),
    SEQUENCE(SubjectPublicKeyInfo, SubjectPublicKeyInfoValue, subjectPublicKeyInfo),
    STRUCTURED(Extensions, KEL_KIND_SEQUENCE_OF, 16, KelSequenceOf, extensionElement),
    SEQUENCE(Extension, ExtensionValue, extension),
    SEQUENCE(AlgorithmIdentifier, AlgorithmIdentifierValue, algorithmIdentifier),
    CHOICE(AlgorithmParameters, AlgorithmParametersValue, algorithmParameters),
    CHOICE(Name, NameValue, name),
    STRUCTURED(RDNSequence, KEL_KIND_SEQUENCE_OF, 16, KelSequenceOf, rdnElement),
    STRUCTURED(RelativeDistinguishedName, KEL_KIND_SET_OF, 17, KelSequenceOf, atvElement),
    SEQUENCE(AttributeTypeAndValue, AttributeTypeAndValueValue, attributeTypeAndValue),
    CHOICE(AttributeValue, AttributeValueValue, attributeValue),
    PRIMITIVE(Oid, KEL_KIND_OID, 6, KEL_FORM_OID_ARCS, sizeof(KelOidUnbounded)),
    PRIMITIVE(Bits, KEL_KIND_BIT_STRING, 3, KEL_FORM_UNBOUNDED, sizeof(KelUnboundedBits)),
    PRIMITIVE(Octets, KEL_KIND_OCTET_STRING, 4, KEL_FORM_UNBOUNDED, UNBOUNDED_SIZE),
    PRIMITIVE(Bool, KEL_KIND_BOOLEAN, 1, 0, 1),
    PRIMITIVE(Null, KEL_KIND_NULL, 5, 0, 1),
    PRIMITIVE(Teletex, KEL_KIND_CHAR_STRING, 20, KEL_FORM_UNBOUNDED, UNBOUNDED_SIZE),
    PRIMITIVE(Printable, KEL_KIND_CHAR_STRING, 19, KEL_FORM_NULLTERM_PTR, sizeof(char *)),
    PRIMITIVE(Universal, KEL_KIND_CHAR_STRING, 28, KEL_FORM_UNIVERSAL, sizeof(KelUniversalString)),
    PRIMITIVE(Utf8, KEL_KIND_CHAR_STRING, 12, KEL_FORM_UTF8, UNBOUNDED_SIZE),
    PRIMITIVE(Bmp, KEL_KIND_CHAR_STRING, 30, KEL_FORM_BMP, sizeof(KelBmpString)),
    PRIMITIVE(Ia5, KEL_KIND_CHAR_STRING, 22, KEL_FORM_UNBOUNDED, UNBOUNDED_SIZE),
    PRIMITIVE(Visible, KEL_KIND_CHAR_STRING, 26, KEL_FORM_NULLTERM_PTR, sizeof(char *)),
    PRIMITIVE(Numeric, KEL_KIND_CHAR_STRING, 18, KEL_FORM_NULLTERM_PTR, sizeof(char *)),
};

static const KelPduDesc pdus[] = { { { "Certificate", "Certificate" }, &types[Certificate] } };

const KelCodeFile kel_x509_certificate_codefile = {
    .control = KEL_CODEFILE_CONTROL,
    .module = "X509Certificate",
    .pduCount = sizeof pdus / sizeof pdus[0],
    .pdus = pdus,
};
