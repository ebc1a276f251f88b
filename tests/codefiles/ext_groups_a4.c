/*
 * ext_groups_a4.c - code file of the module ExtGroupsA4 (AUTOMATIC TAGS):
 * version brackets in a SEQUENCE and in a CHOICE, and root components
 * after the second ellipsis.  Automatic tags number the root components
 * first, then the additions; the encoding keeps the order of the type.
 * The components of a version bracket are additions that may be absent.
 */
#include <stddef.h>

#include "codefiles.h"
#include "kelvarn_ber.h"
#include "per_alphabets.h"

enum { Ax, Int, IntA, Bool, Ia5, Digits3, Bmp, Printable, AxC, TypeCount };

typedef struct AxCValue {
    uint32_t choice;
    union {
        int64_t d;
        uint8_t e;
        KelUnboundedString f;
    } u;
} AxCValue;
typedef struct AxValue {
    uint32_t present;
    uint8_t a, b, h;
    AxCValue c;
    char g[3];
    KelBmpString i;
    char *j;
} AxValue;

static const KelTypeDesc types[TypeCount];

/* NumericString (SIZE(3)) */
static const KelPerString digits3 = { &kel_alphabet_numeric, 3, 3, 0, KEL_ALPHABET_NUMERIC_FLAGS };
static const KelPerFacts digits3Per = { &digits3, NULL, NULL };

#define CTX(cons, n) KEL_TAG(KEL_CLASS_CONTEXT, cons, n)
#define COMP(field, t, n, fl, bit, group) \
    { #field, &types[t], offsetof(AxValue, field), fl, bit, KEL_TAGGING_IMPLICIT, CTX(0, n), NULL, group }
#define ALT(name, t, n, fl, group) \
    { #name, &types[t], offsetof(AxCValue, u.name), fl, 0, KEL_TAGGING_IMPLICIT, CTX(0, n), NULL, group }
enum { OPT = KEL_COMP_OPTIONAL, ADD = KEL_COMP_EXTENSION };

static const KelComponent ax[] = {
    COMP(a, IntA, 0, 0, 0, 0),
    COMP(b, Bool, 1, 0, 0, 0),
    { "c", &types[AxC], offsetof(AxValue, c), 0, 0, KEL_TAGGING_EXPLICIT, CTX(1, 2), NULL },
    COMP(g, Digits3, 5, ADD, 1, 1), /* the version bracket [[ g, h ]] */
    COMP(h, Bool, 6, OPT | ADD, 2, 1),
    COMP(i, Bmp, 3, OPT, 3, 0),
    COMP(j, Printable, 4, OPT, 4, 0),
};
static const KelComponent axC[] = { ALT(d, Int, 0, 0, 0), ALT(e, Bool, 1, ADD, 1), ALT(f, Ia5, 2, ADD, 1) };

#define LIST(list) .components = list, .componentCount = sizeof list / sizeof list[0]

static const KelTypeDesc types[TypeCount] = {
    [Ax] = { .name = "Ax", .kind = KEL_KIND_SEQUENCE, .tagCount = 1, .tags = { KEL_TAG(0, 1, 16) },
             .flags = KEL_DESC_EXTENSIBLE, .size = sizeof(AxValue), LIST(ax) },
    [Int] = { .name = "Int", .kind = KEL_KIND_INTEGER, .tagCount = 1, .tags = { KEL_TAG_INTEGER }, .width = 8,
              .flags = KEL_DESC_SIGNED, .size = 8 },
    [IntA] = { .name = "IntA", .kind = KEL_KIND_INTEGER, .tagCount = 1, .tags = { KEL_TAG_INTEGER }, .width = 1,
               .flags = KEL_DESC_LOWER | KEL_DESC_UPPER, .lower = 250, .upper = 253, .size = 1 },
    [Bool] = { .name = "Bool", .kind = KEL_KIND_BOOLEAN, .tagCount = 1, .tags = { KEL_TAG_BOOLEAN }, .size = 1 },
    [Ia5] = { .name = "Ia5", .kind = KEL_KIND_CHAR_STRING, .tagCount = 1, .tags = { KEL_TAG_IA5_STRING },
              .form = KEL_FORM_UNBOUNDED, .size = sizeof(KelUnboundedString) },
    [Digits3] = { .name = "Digits3", .kind = KEL_KIND_CHAR_STRING, .tagCount = 1,
                  .tags = { KEL_TAG_NUMERIC_STRING }, .form = KEL_FORM_FIXED, .flags = KEL_DESC_UPPER,
                  .upper = 3, .size = 3, .per = &digits3Per },
    [Bmp] = { .name = "Bmp", .kind = KEL_KIND_CHAR_STRING, .tagCount = 1, .tags = { KEL_TAG_BMP_STRING },
              .form = KEL_FORM_BMP, .size = sizeof(KelBmpString) },
    [Printable] = { .name = "Printable", .kind = KEL_KIND_CHAR_STRING, .tagCount = 1,
                    .tags = { KEL_TAG_PRINTABLE_STRING }, .form = KEL_FORM_NULLTERM_PTR, .size = sizeof(char *) },
    [AxC] = { .name = "AxC", .kind = KEL_KIND_CHOICE, .flags = KEL_DESC_EXTENSIBLE, .size = sizeof(AxCValue),
              LIST(axC) },
};

static const KelPduDesc pdus[] = { { { "Ax", "Ax" }, &types[Ax] } };

const KelCodeFile kel_ext_groups_a4_codefile = {
    .control = KEL_CODEFILE_CONTROL,
    .module = "ExtGroupsA4",
    .pduCount = sizeof pdus / sizeof pdus[0],
    .pdus = pdus,
};
