/*
 * typeszoo.c - code file of the module TypesZoo (AUTOMATIC TAGS): its
 * BOOLEAN, NULL, INTEGER and ENUMERATED types, described for the walkers.
 *
 * Memory forms are what a compiler picks from the constraints: the narrowest
 * integer that holds the range, 64 bits where the range is open, ENUMERATED
 * as a 32-bit int.
 */
#include "codefiles.h"

/* Index of each type in the table, named as the type. */
enum {
    Bool, Null, Int, IntU8, IntSmall, IntRange, IntU32, IntSemi, IntExt, IntConst, IntNamed,
    Enum, EnumNum, EnumExt
};

#define SIMPLE(id, k, tag, bytes) \
    [id] = { .name = #id, .kind = k, .tagCount = 1, .tags = { tag }, .size = bytes }
#define INTEGER(id, w, f, lo, hi)                                                          \
    [id] = { .name = #id, .kind = KEL_KIND_INTEGER, .tagCount = 1, .tags = { KEL_TAG_INTEGER }, \
      .width = w, .flags = (f), .size = w, .lower = lo, .upper = hi }
#define NAMED(id, k, tag, f, table)                                                         \
    [id] = { .name = #id, .kind = k, .tagCount = 1, .tags = { tag }, .width = 4,             \
      .flags = KEL_DESC_SIGNED | (f), .size = 4, .names = table,                           \
      .nameCount = sizeof table / sizeof table[0] }

enum { S = KEL_DESC_SIGNED, LO = KEL_DESC_LOWER, HI = KEL_DESC_UPPER, EXT = KEL_DESC_EXTENSIBLE };

static const KelNamedNumber intNamedNames[] = { { "minusOne", -1 }, { "zero", 0 }, { "one", 1 } };
static const KelNamedNumber enumNames[] = { { "red", 0 }, { "green", 1 }, { "blue", 2 } };
static const KelNamedNumber enumNumNames[] = { { "high", 100 }, { "low", 3 }, { "mid", 10 } };
static const KelNamedNumber enumExtNames[] = {
    { "alpha", 0 }, { "beta", 1 }, { "gamma", 2 }, { "delta", 10 }
};

static const KelTypeDesc types[] = {
    SIMPLE(Bool, KEL_KIND_BOOLEAN, KEL_TAG_BOOLEAN, 1),
    SIMPLE(Null, KEL_KIND_NULL, KEL_TAG_NULL, 1),
    INTEGER(Int, 8, S, 0, 0),
    INTEGER(IntU8, 1, LO | HI, 0, 255),
    INTEGER(IntSmall, 1, S | LO | HI, -5, 5),
    INTEGER(IntRange, 4, LO | HI, 1000, 1065535),
    INTEGER(IntU32, 4, LO | HI, 0, INT64_C(4294967295)),
    INTEGER(IntSemi, 8, S | LO, -1, 0),
    INTEGER(IntExt, 2, S | LO | HI | EXT, 0, 10),
    INTEGER(IntConst, 2, LO | HI, 42, 42),
    NAMED(IntNamed, KEL_KIND_INTEGER, KEL_TAG_INTEGER, 0, intNamedNames),
    NAMED(Enum, KEL_KIND_ENUMERATED, KEL_TAG_ENUMERATED, 0, enumNames),
    NAMED(EnumNum, KEL_KIND_ENUMERATED, KEL_TAG_ENUMERATED, 0, enumNumNames),
    NAMED(EnumExt, KEL_KIND_ENUMERATED, KEL_TAG_ENUMERATED, EXT, enumExtNames),
};

/* PDU numbers follow the module's order, from 1. */
#define PDU(id) { { #id, #id }, &types[id] }
static const KelPduDesc pdus[] = {
    PDU(Bool), PDU(Null), PDU(Int), PDU(IntU8), PDU(IntSmall), PDU(IntRange), PDU(IntU32),
    PDU(IntSemi), PDU(IntExt), PDU(IntConst), PDU(IntNamed), PDU(Enum), PDU(EnumNum), PDU(EnumExt),
};

const KelCodeFile kel_typeszoo_codefile = {
    .control = { .init = kel_ber_init, .berEncode = kel_ber_encode, .berDecode = kel_ber_decode,
                 .freePdu = kel_codefile_free, .version = 17, .perVersion = 16 },
    .module = "TypesZoo",
    .pduCount = sizeof pdus / sizeof pdus[0],
    .pdus = pdus,
};
