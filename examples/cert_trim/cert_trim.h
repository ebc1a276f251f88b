/*
 * cert_trim.h - C types of the module CertTrim (EXPLICIT TAGS), an X.509 v3
 * certificate of the benchmarks, as a compiler lays them out for speed:
 * object identifiers in their encoded form, the serial number as a huge
 * integer (its contents octets), the ANY values kept as their whole
 * encodings (tag, length and contents), times as their text, BIT STRINGs
 * and the OCTET STRING of an extension as a length and a pointer, each
 * SEQUENCE OF and SET OF as a count and an array.  OPTIONAL and DEFAULT
 * components have bits in `bit_mask`.
 */
#ifndef CERT_TRIM_H
#define CERT_TRIM_H

#include "kelvarn_prim.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ANY DEFINED BY: the value's whole encoding. */
typedef KelBuf CertAny;

typedef struct AlgorithmIdentifier {
    uint8_t bit_mask;
#define parameters_present 0x80
    KelOidEncoded algorithm;
    CertAny parameters;
} AlgorithmIdentifier;

typedef struct AttributeTypeAndValue {
    KelOidEncoded type;
    CertAny value;
} AttributeTypeAndValue;

typedef struct RelativeDistinguishedName {
    uint32_t count;
    AttributeTypeAndValue *value;
} RelativeDistinguishedName;

typedef struct RDNSequence {
    uint32_t count;
    RelativeDistinguishedName *value;
} RDNSequence;

typedef struct Name {
    uint16_t choice;
#define rdnSequence_chosen 1
    union {
        RDNSequence rdnSequence;
    } u;
} Name;

typedef struct Time {
    uint16_t choice;
#define utcTime_chosen 1
#define generalTime_chosen 2
    union {
        char *utcTime;
        char *generalTime;
    } u;
} Time;

typedef struct Validity {
    Time notBefore;
    Time notAfter;
} Validity;

typedef int32_t Version;
#define v1 0
#define v2 1
#define v3 2

typedef KelHugeInt CertificateSerialNumber;
typedef KelUnboundedBits UniqueIdentifier;

typedef struct SubjectPublicKeyInfo {
    AlgorithmIdentifier algorithm;
    KelUnboundedBits subjectPublicKey;
} SubjectPublicKeyInfo;

typedef struct Extension {
    uint8_t bit_mask;
#define critical_present 0x80
    KelOidEncoded extnID;
    uint8_t critical; /* DEFAULT FALSE */
    KelUnboundedString extnValue;
} Extension;

typedef struct Extensions {
    uint32_t count; /* SIZE(1..MAX) */
    Extension *value;
} Extensions;

typedef struct TBSCertificate {
    uint8_t bit_mask;
#define version_present 0x80
#define issuerUniqueID_present 0x40
#define subjectUniqueID_present 0x20
#define extensions_present 0x10
    Version version; /* DEFAULT v1 */
    CertificateSerialNumber serialNumber;
    AlgorithmIdentifier signature;
    Name issuer;
    Validity validity;
    Name subject;
    SubjectPublicKeyInfo subjectPublicKeyInfo;
    UniqueIdentifier issuerUniqueID;
    UniqueIdentifier subjectUniqueID;
    Extensions extensions;
} TBSCertificate;

typedef struct Certificate {
    TBSCertificate tbsCertificate;
    AlgorithmIdentifier signatureAlgorithm;
    KelUnboundedBits signature;
} Certificate;

#define Certificate_PDU 1

extern KelControlTable cert_trim_control;

#ifdef __cplusplus
}
#endif

#endif /* CERT_TRIM_H */
