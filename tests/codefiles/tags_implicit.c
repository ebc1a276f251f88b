/*
 * tags_implicit.c - code file of the module TagsImplicit (IMPLICIT TAGS):
 * implicit tags on components, on SEQUENCE OF elements and on a whole
 * SEQUENCE, an explicit one among them, and a tagged CHOICE (whose tag is
 * explicit all the same).
 */
#include <stddef.h>

#include "codefiles.h"
#include "kelvarn_ber.h"

enum {
    Tagged, Wrapped, ImpSetOf,
    /* types of components only */
    Int, Bool, Null, Ia5, Octets, Ia5List, TaggedD, TypeCount
};

typedef struct TaggedDValue {
    uint32_t choice;
    union {
        uint8_t x, y;
    } u;
} TaggedDValue;
typedef struct TaggedValue {
    uint32_t present;
    int64_t a, b;
    KelSequenceOf c;
    TaggedDValue d;
    KelUnboundedString e;
} TaggedValue;

static const KelTypeDesc types[TypeCount];

#define CTX(cons, n) KEL_TAG(KEL_CLASS_CONTEXT, cons, n)
#define COMP(rec, field, t, tagging, tag, fl, bit) \
    { #field, &types[t], offsetof(rec, field), fl, bit, tagging, tag, NULL }
enum { E = KEL_TAGGING_EXPLICIT, I = KEL_TAGGING_IMPLICIT };

static const KelComponent tagged[] = {
    COMP(TaggedValue, a, Int, I, CTX(0, 0), 0, 0),
    COMP(TaggedValue, b, Int, E, CTX(1, 1), 0, 0),
    COMP(TaggedValue, c, Ia5List, I, CTX(1, 2), 0, 0),
    COMP(TaggedValue, d, TaggedD, E, CTX(1, 4), 0, 0),
    COMP(TaggedValue, e, Octets, I, KEL_TAG(KEL_CLASS_APPLICATION, 0, 7), KEL_COMP_OPTIONAL, 1),
};
static const KelComponent taggedD[] = {
    { "x", &types[Bool], offsetof(TaggedDValue, u.x), 0, 0, I, CTX(0, 0), NULL },
    { "y", &types[Null], offsetof(TaggedDValue, u.y), 0, 0, I, CTX(0, 1), NULL },
};
static const KelComponent ia5Element[] = { { "element", &types[Ia5], 0, 0, 0, I, CTX(0, 3), NULL } };
static const KelComponent intElement[] = { { "element", &types[Int], 0, 0, 0, I, CTX(0, 0), NULL } };

#define LIST(list) .components = list, .componentCount = sizeof list / sizeof list[0]

static const KelTypeDesc types[TypeCount] = {
    [Tagged] = { .name = "Tagged", .kind = KEL_KIND_SEQUENCE, .tagCount = 1, .tags = { KEL_TAG(0, 1, 16) },
                 .size = sizeof(TaggedValue), LIST(tagged) },
    [Wrapped] = { .name = "Wrapped", .kind = KEL_KIND_SEQUENCE, .tagCount = 1,
                  .tags = { KEL_TAG(KEL_CLASS_APPLICATION, 1, 1) }, .size = sizeof(TaggedValue),
                  LIST(tagged) },
    [ImpSetOf] = { .name = "ImpSetOf", .kind = KEL_KIND_SET_OF, .tagCount = 1,
                   .tags = { KEL_TAG(KEL_CLASS_PRIVATE, 1, 9) }, .size = sizeof(KelSequenceOf),
                   LIST(intElement) },
    [Int] = { .name = "Int", .kind = KEL_KIND_INTEGER, .tagCount = 1, .tags = { KEL_TAG_INTEGER },
              .width = 8, .flags = KEL_DESC_SIGNED, .size = 8 },
    [Bool] = { .name = "Bool", .kind = KEL_KIND_BOOLEAN, .tagCount = 1, .tags = { KEL_TAG_BOOLEAN },
               .size = 1 },
    [Null] = { .name = "Null", .kind = KEL_KIND_NULL, .tagCount = 1, .tags = { KEL_TAG_NULL }, .size = 1 },
    [Ia5] = { .name = "Ia5", .kind = KEL_KIND_CHAR_STRING, .tagCount = 1, .tags = { KEL_TAG_IA5_STRING },
              .form = KEL_FORM_UNBOUNDED, .size = sizeof(KelUnboundedString) },
    [Octets] = { .name = "Octets", .kind = KEL_KIND_OCTET_STRING, .tagCount = 1,
                 .tags = { KEL_TAG_OCTET_STRING }, .form = KEL_FORM_UNBOUNDED,
                 .size = sizeof(KelUnboundedString) },
    [Ia5List] = { .name = "Ia5List", .kind = KEL_KIND_SEQUENCE_OF, .tagCount = 1,
                  .tags = { KEL_TAG(0, 1, 16) }, .size = sizeof(KelSequenceOf), LIST(ia5Element) },
    [TaggedD] = { .name = "TaggedD", .kind = KEL_KIND_CHOICE, .size = sizeof(TaggedDValue), LIST(taggedD) },
};

#define PDU(id) { { #id, #id }, &types[id] }
static const KelPduDesc pdus[] = { PDU(Tagged), PDU(Wrapped), PDU(ImpSetOf) };

const KelCodeFile kel_tags_implicit_codefile = {
    .control = KEL_CODEFILE_CONTROL,
    .module = "TagsImplicit",
    .pduCount = sizeof pdus / sizeof pdus[0],
    .pdus = pdus,
};
