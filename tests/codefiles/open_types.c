/*
 * open_types.c - code file of the module OpenTypes (AUTOMATIC TAGS): open
 * types selected by a table constraint, keyed by an INTEGER (Envelope) and
 * by an OBJECT IDENTIFIER (Attribute).  A body whose key the table knows is
 * decoded to the row's type; any other is kept as its encoding.
 */
#include <stddef.h>

#include "codefiles.h"
#include "kelvarn_ber.h"

enum {
    Envelope, Attribute, AttributeList,
    /* types of components and rows only */
    Int, Ia5, Inner, Bits, Bool, Octets, Utf8, Printable, Oid, EnvelopeBody, AttributeValue, TypeCount
};

typedef struct InnerValue {
    uint32_t present;
    uint8_t flag;
    KelUnboundedString data;
} InnerValue;
typedef struct EnvelopeValue {
    uint32_t present;
    int64_t id;
    KelOpenType body;
} EnvelopeValue;
typedef struct AttributeRecord {
    uint32_t present;
    KelOidEncoded type;
    KelOpenType value;
} AttributeRecord;

static const KelTypeDesc types[TypeCount];

#define CTX(cons, n) KEL_TAG(KEL_CLASS_CONTEXT, cons, n)
#define COMP(rec, field, t, tagging, tag) { #field, &types[t], offsetof(rec, field), 0, 0, tagging, tag, NULL }
#define ROW(t, key) { #t, &types[t], 0, 0, 0, KEL_TAGGING_NONE, { 0, 0, 0, 0 }, key }
enum { E = KEL_TAGGING_EXPLICIT, I = KEL_TAGGING_IMPLICIT };

/* Keys of the rows, in the memory form of the key component. */
static const int64_t id1 = 1, id2 = 2, id3 = 3, id4 = 4;
static unsigned char commonName[] = { 0x55, 0x04, 0x03 };
static unsigned char countryName[] = { 0x55, 0x04, 0x06 };
static unsigned char pkcs9Private[] = { 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x63 };
static const KelOidEncoded cnKey = { sizeof commonName, commonName };
static const KelOidEncoded countryKey = { sizeof countryName, countryName };
static const KelOidEncoded pkcs9Key = { sizeof pkcs9Private, pkcs9Private };

static const KelComponent messages[] = { ROW(Int, &id1), ROW(Ia5, &id2), ROW(Inner, &id3), ROW(Bits, &id4) };
static const KelComponent attributes[] = {
    ROW(Utf8, &cnKey), ROW(Printable, &countryKey), ROW(Int, &pkcs9Key),
};
static const KelComponent inner[] = {
    COMP(InnerValue, flag, Bool, I, CTX(0, 0)),
    COMP(InnerValue, data, Octets, I, CTX(0, 1)),
};
static const KelComponent envelope[] = {
    COMP(EnvelopeValue, id, Int, I, CTX(0, 0)),
    COMP(EnvelopeValue, body, EnvelopeBody, E, CTX(1, 1)),
};
static const KelComponent attribute[] = {
    COMP(AttributeRecord, type, Oid, I, CTX(0, 0)),
    COMP(AttributeRecord, value, AttributeValue, E, CTX(1, 1)),
};
static const KelComponent attributeElement[] = {
    { "element", &types[Attribute], 0, 0, 0, KEL_TAGGING_NONE, { 0, 0, 0, 0 }, NULL },
};

#define LIST(list) .components = list, .componentCount = sizeof list / sizeof list[0]
#define UNBOUNDED(k, f, tag) .kind = k, .tagCount = 1, .tags = { tag }, .form = f, .size = sizeof(KelUnboundedString)

static const KelTypeDesc types[TypeCount] = {
    [Envelope] = { .name = "Envelope", .kind = KEL_KIND_SEQUENCE, .tagCount = 1, .tags = { KEL_TAG(0, 1, 16) },
                   .size = sizeof(EnvelopeValue), LIST(envelope) },
    [Attribute] = { .name = "Attribute", .kind = KEL_KIND_SEQUENCE, .tagCount = 1,
                    .tags = { KEL_TAG(0, 1, 16) }, .size = sizeof(AttributeRecord), LIST(attribute) },
    [AttributeList] = { .name = "AttributeList", .kind = KEL_KIND_SEQUENCE_OF, .tagCount = 1,
                        .tags = { KEL_TAG(0, 1, 16) }, .size = sizeof(KelSequenceOf), LIST(attributeElement) },
    [Int] = { .name = "Int", .kind = KEL_KIND_INTEGER, .tagCount = 1, .tags = { KEL_TAG_INTEGER }, .width = 8,
              .flags = KEL_DESC_SIGNED, .size = 8 },
    [Ia5] = { .name = "Ia5", UNBOUNDED(KEL_KIND_CHAR_STRING, KEL_FORM_UNBOUNDED, KEL_TAG_IA5_STRING) },
    [Inner] = { .name = "Inner", .kind = KEL_KIND_SEQUENCE, .tagCount = 1, .tags = { KEL_TAG(0, 1, 16) },
                .size = sizeof(InnerValue), LIST(inner) },
    [Bits] = { .name = "Bits", UNBOUNDED(KEL_KIND_BIT_STRING, KEL_FORM_UNBOUNDED, KEL_TAG_BIT_STRING) },
    [Bool] = { .name = "Bool", .kind = KEL_KIND_BOOLEAN, .tagCount = 1, .tags = { KEL_TAG_BOOLEAN }, .size = 1 },
    [Octets] = { .name = "Octets", UNBOUNDED(KEL_KIND_OCTET_STRING, KEL_FORM_UNBOUNDED, KEL_TAG_OCTET_STRING) },
    [Utf8] = { .name = "Utf8", UNBOUNDED(KEL_KIND_CHAR_STRING, KEL_FORM_UTF8, KEL_TAG_UTF8_STRING) },
    [Printable] = { .name = "Printable", .kind = KEL_KIND_CHAR_STRING, .tagCount = 1,
                    .tags = { KEL_TAG_PRINTABLE_STRING }, .form = KEL_FORM_NULLTERM_PTR, .size = sizeof(char *) },
    [Oid] = { .name = "Oid", .kind = KEL_KIND_OID, .tagCount = 1, .tags = { KEL_TAG(0, 0, 6) },
              .form = KEL_FORM_OID_ENCODED, .size = sizeof(KelOidEncoded) },
    /* the key is component 0 of the enclosing record */
    [EnvelopeBody] = { .name = "EnvelopeBody", .kind = KEL_KIND_OPEN_TYPE, .flags = KEL_DESC_EXTENSIBLE,
                       .size = sizeof(KelOpenType), .lower = 0, LIST(messages) },
    [AttributeValue] = { .name = "AttributeValue", .kind = KEL_KIND_OPEN_TYPE, .size = sizeof(KelOpenType),
                         .lower = 0, LIST(attributes) },
};

#define PDU(id) { { #id, #id }, &types[id] }
static const KelPduDesc pdus[] = { PDU(Envelope), PDU(Attribute), PDU(AttributeList) };

const KelCodeFile kel_open_types_codefile = {
    .control = KEL_CODEFILE_CONTROL,
    .module = "OpenTypes",
    .pduCount = sizeof pdus / sizeof pdus[0],
    .pdus = pdus,
};
