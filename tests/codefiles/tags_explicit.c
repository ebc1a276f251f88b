/*
 * tags_explicit.c - code file of the module TagsExplicit (EXPLICIT TAGS):
 * explicit, implicit, stacked and long tags, a tagged CHOICE, SET order,
 * and an untagged CHOICE in a SET.  GeneralizedTime is kept as text here.
 *
 * LongTag ::= [1000000] IMPLICIT OCTET STRING is left out: the BER
 * primitives' tag forms hold numbers up to 16383.
 */
#include <stddef.h>

#include "codefiles.h"
#include "kelvarn_ber.h"

enum {
    ExpInt, ImpInt, AppInt, PrivLong, Stacked, AppSeq, TaggedChoice, SeqTagged, SetUniv,
    SetChoice,
    /* types of components only */
    Int, Bool, Ia5, Octets, Gen, AppSeqD, SetChoiceC, TypeCount
};

typedef struct AppSeqDValue {
    uint32_t present;
    int64_t x, y;
} AppSeqDValue;
typedef struct AppSeqValue {
    uint32_t present;
    int64_t a;
    uint8_t b;
    KelUnboundedString c;
    AppSeqDValue d;
} AppSeqValue;
typedef struct TaggedChoiceValue {
    uint32_t choice;
    union {
        int64_t a;
        uint8_t b;
        KelUnboundedString c;
    } u;
} TaggedChoiceValue;
typedef struct SeqTaggedValue {
    uint32_t present;
    int64_t a, b, c;
    TaggedChoiceValue d;
} SeqTaggedValue;
typedef struct SetUnivValue {
    uint32_t present;
    KelUnboundedString name, data;
    int64_t age;
    uint8_t flag;
    char *when;
} SetUnivValue;
typedef struct SetChoiceCValue {
    uint32_t choice;
    union {
        int64_t i;
        KelUnboundedString s;
    } u;
} SetChoiceCValue;
typedef struct SetChoiceValue {
    uint32_t present;
    SetChoiceCValue c;
    uint8_t b;
    KelUnboundedString o;
} SetChoiceValue;

static const KelTypeDesc types[TypeCount];

#define CTX(cons, n) KEL_TAG(KEL_CLASS_CONTEXT, cons, n)
#define COMP(rec, field, t, tagging, tag, fl, bit) \
    { #field, &types[t], offsetof(rec, field), fl, bit, tagging, tag, NULL }
#define ALT(rec, name, t, tagging, tag) \
    { #name, &types[t], offsetof(rec, u.name), 0, 0, tagging, tag, NULL }
enum { E = KEL_TAGGING_EXPLICIT, I = KEL_TAGGING_IMPLICIT, N = KEL_TAGGING_NONE, OPT = KEL_COMP_OPTIONAL };
#define NO_TAG { 0, 0, 0, 0 }

static const KelComponent appSeqD[] = {
    COMP(AppSeqDValue, x, Int, N, NO_TAG, 0, 0),
    COMP(AppSeqDValue, y, Int, E, CTX(1, 0), OPT, 1),
};
static const KelComponent appSeq[] = {
    COMP(AppSeqValue, a, Int, E, CTX(1, 0), 0, 0),
    COMP(AppSeqValue, b, Bool, I, CTX(0, 1), 0, 0),
    COMP(AppSeqValue, c, Ia5, E, KEL_TAG(KEL_CLASS_PRIVATE, 1, 3), 0, 0),
    COMP(AppSeqValue, d, AppSeqD, I, CTX(1, 2), OPT, 1),
};
static const KelComponent taggedChoice[] = {
    ALT(TaggedChoiceValue, a, Int, E, CTX(1, 0)),
    ALT(TaggedChoiceValue, b, Bool, E, CTX(1, 1)),
    ALT(TaggedChoiceValue, c, Ia5, N, NO_TAG),
};
static const KelComponent seqTagged[] = {
    COMP(SeqTaggedValue, a, Int, E, CTX(1, 0), OPT, 1),
    COMP(SeqTaggedValue, b, Int, E, CTX(1, 1), OPT, 2),
    COMP(SeqTaggedValue, c, Int, N, NO_TAG, 0, 0),
    COMP(SeqTaggedValue, d, TaggedChoice, E, CTX(1, 2), OPT, 3),
};
static const KelComponent setUniv[] = {
    COMP(SetUnivValue, name, Ia5, N, NO_TAG, 0, 0),
    COMP(SetUnivValue, age, Int, N, NO_TAG, 0, 0),
    COMP(SetUnivValue, flag, Bool, N, NO_TAG, 0, 0),
    COMP(SetUnivValue, data, Octets, N, NO_TAG, OPT, 1),
    COMP(SetUnivValue, when, Gen, N, NO_TAG, OPT, 2),
};
static const KelComponent setChoiceC[] = {
    ALT(SetChoiceCValue, i, Int, N, NO_TAG),
    ALT(SetChoiceCValue, s, Ia5, N, NO_TAG),
};
static const KelComponent setChoice[] = {
    COMP(SetChoiceValue, c, SetChoiceC, N, NO_TAG, 0, 0),
    COMP(SetChoiceValue, b, Bool, N, NO_TAG, 0, 0),
    COMP(SetChoiceValue, o, Octets, N, NO_TAG, 0, 0),
};

#define LIST(list) .components = list, .componentCount = sizeof list / sizeof list[0]
#define INT64(id, ...) \
    [id] = { .name = #id, .kind = KEL_KIND_INTEGER, .tags = { __VA_ARGS__ }, .width = 8, \
             .flags = KEL_DESC_SIGNED, .size = 8,
#define UNBOUNDED(id, k, ...) \
    [id] = { .name = #id, .kind = k, .tags = { __VA_ARGS__ }, .form = KEL_FORM_UNBOUNDED, \
             .size = sizeof(KelUnboundedString),

static const KelTypeDesc types[TypeCount] = {
    INT64(ExpInt, CTX(1, 5), KEL_TAG_INTEGER) .tagCount = 2 },
    INT64(ImpInt, CTX(0, 5)) .tagCount = 1 },
    INT64(AppInt, KEL_TAG(KEL_CLASS_APPLICATION, 1, 30), KEL_TAG_INTEGER) .tagCount = 2 },
    [PrivLong] = { .name = "PrivLong", .kind = KEL_KIND_BOOLEAN, .tagCount = 2,
                   .tags = { KEL_TAG(KEL_CLASS_PRIVATE, 1, 200), KEL_TAG_BOOLEAN }, .size = 1 },
    INT64(Stacked, CTX(1, 1), CTX(1, 2), KEL_TAG_INTEGER) .tagCount = 3 },
    [AppSeq] = { .name = "AppSeq", .kind = KEL_KIND_SEQUENCE, .tagCount = 2,
                 .tags = { KEL_TAG(KEL_CLASS_APPLICATION, 1, 10), KEL_TAG(0, 1, 16) },
                 .size = sizeof(AppSeqValue), LIST(appSeq) },
    [TaggedChoice] = { .name = "TaggedChoice", .kind = KEL_KIND_CHOICE, .tagCount = 1,
                       .tags = { CTX(1, 4) }, .size = sizeof(TaggedChoiceValue), LIST(taggedChoice) },
    [SeqTagged] = { .name = "SeqTagged", .kind = KEL_KIND_SEQUENCE, .tagCount = 1,
                    .tags = { KEL_TAG(0, 1, 16) }, .size = sizeof(SeqTaggedValue), LIST(seqTagged) },
    [SetUniv] = { .name = "SetUniv", .kind = KEL_KIND_SET, .tagCount = 1, .tags = { KEL_TAG(0, 1, 17) },
                  .size = sizeof(SetUnivValue), LIST(setUniv) },
    [SetChoice] = { .name = "SetChoice", .kind = KEL_KIND_SET, .tagCount = 1,
                    .tags = { KEL_TAG(0, 1, 17) }, .size = sizeof(SetChoiceValue), LIST(setChoice) },
    INT64(Int, KEL_TAG_INTEGER) .tagCount = 1 },
    [Bool] = { .name = "Bool", .kind = KEL_KIND_BOOLEAN, .tagCount = 1, .tags = { KEL_TAG_BOOLEAN },
               .size = 1 },
    UNBOUNDED(Ia5, KEL_KIND_CHAR_STRING, KEL_TAG_IA5_STRING) .tagCount = 1 },
    UNBOUNDED(Octets, KEL_KIND_OCTET_STRING, KEL_TAG_OCTET_STRING) .tagCount = 1 },
    [Gen] = { .name = "Gen", .kind = KEL_KIND_GENERALIZED_TIME, .tagCount = 1,
              .tags = { KEL_TAG(0, 0, 24) }, .form = KEL_FORM_TIME_TEXT, .size = sizeof(char *) },
    [AppSeqD] = { .name = "AppSeqD", .kind = KEL_KIND_SEQUENCE, .tagCount = 1,
                  .tags = { KEL_TAG(0, 1, 16) }, .size = sizeof(AppSeqDValue), LIST(appSeqD) },
    [SetChoiceC] = { .name = "SetChoiceC", .kind = KEL_KIND_CHOICE, .size = sizeof(SetChoiceCValue),
                     LIST(setChoiceC) },
};

#define PDU(id) { { #id, #id }, &types[id] }
static const KelPduDesc pdus[] = {
    PDU(ExpInt), PDU(ImpInt), PDU(AppInt), PDU(PrivLong), PDU(Stacked),
    PDU(AppSeq), PDU(TaggedChoice), PDU(SeqTagged), PDU(SetUniv), PDU(SetChoice),
};

const KelCodeFile kel_tags_explicit_codefile = {
    .control = KEL_CODEFILE_CONTROL,
    .module = "TagsExplicit",
    .pduCount = sizeof pdus / sizeof pdus[0],
    .pdus = pdus,
};
