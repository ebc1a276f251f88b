/*
 * typeszoo.c - code file of the module TypesZoo (AUTOMATIC TAGS): its
 * BOOLEAN, NULL, INTEGER, ENUMERATED and string types, described for the
 * walkers.
 *
 * Memory forms are what a compiler picks from the constraints: the narrowest
 * integer that holds the range, 64 bits where the range is open, ENUMERATED
 * as a 32-bit int.  Strings are spread over the memory forms so that each
 * family of primitives is used: unbounded where the size is open (IA5String
 * too, whose values may hold NUL), varying inline or behind a pointer for a
 * size range, fixed or padded arrays for a fixed size, NUL-terminated for
 * the visible repertoires, padded bits for named bits.  OIDs are kept
 * encoded (their arcs may pass 64 bits), REAL as a KelMixedReal (values may
 * be decimal), UTCTime as text and GeneralizedTime as a KelTimeStruct.
 *
 * Structured values are the records below; components are tagged
 * automatically (context tags from 0, implicit, explicit for a CHOICE).
 */

#include <stddef.h>

#include "codefiles.h"
#include "kelvarn_ber.h"
#include "per_alphabets.h"

/* Index of each type in the table, named as the type. */
enum {
    Bool, Null, Int, IntU8, IntSmall, IntRange, IntU32, IntSemi, IntExt, IntConst, IntNamed,
    Enum, EnumNum, EnumExt,
    Bits, Bits16, Bits0to20, Bits1to8Ext, NamedBits, Octets, Octets4, Octets0to10,
    Ia5, Ia5Size, Ia5SizeExt, Ia5Alpha, Ia5Both, Visible, VisibleFixed, VisibleAlpha, VisibleBoth,
    Numeric, NumericFixed, NumericAlpha, NumericBoth, Printable, PrintableSize, PrintableAlpha,
    PrintableBoth, Utf8, Bmp, Universal,
    Oid, RelOid, Real, Utc, Gen,
    SeqOpt, SeqEmpty, SeqExt, SeqExtGroup, SetMany, SetOrder, SeqOfInt, SetOfInt, SetOfOctets,
    SeqOfSize, SeqOfSizeExt, SeqOfFixed, SeqOfSeq, Choice, ChoiceExt, Nest,
    /* types of components that no PDU of the module has */
    U16, U0to15, U0to7, TypeCount
};

#define SIMPLE(id, k, tag, bytes) \
    [id] = { .name = #id, .kind = k, .tagCount = 1, .tags = { tag }, .size = bytes }
#define INTEGER(id, w, f, lo, hi)                                                          \
    [id] = { .name = #id, .kind = KEL_KIND_INTEGER, .tagCount = 1, .tags = { KEL_TAG_INTEGER }, \
      .width = w, .flags = (f), .size = w, .lower = lo, .upper = hi }
#define NAMED(id, k, tag, f, table, facts)                                                  \
    [id] = { .name = #id, .kind = k, .tagCount = 1, .tags = { tag }, .width = 4,             \
      .flags = KEL_DESC_SIGNED | (f), .size = 4, .names = table,                           \
      .nameCount = sizeof table / sizeof table[0], .per = facts }

/* A string type: kind, memory form, bound, record size, then its universal
 * tag (last, since a tag record holds commas). */
#define STRING(id, k, f, bound, bytes, facts, ...)                                            \
    [id] = { .name = #id, .kind = k, .tagCount = 1, .tags = { __VA_ARGS__ }, .form = f,       \
      .flags = (bound) ? KEL_DESC_UPPER : 0, .upper = bound, .size = bytes, .per = facts }
#define BITS(id, f, bound, bytes, facts) \
    STRING(id, KEL_KIND_BIT_STRING, f, bound, bytes, facts, KEL_TAG_BIT_STRING)
#define OCTETS(id, f, bound, bytes, facts) \
    STRING(id, KEL_KIND_OCTET_STRING, f, bound, bytes, facts, KEL_TAG_OCTET_STRING)
#define CHARS(id, tag, f, bound, bytes, facts) STRING(id, KEL_KIND_CHAR_STRING, f, bound, bytes, facts, tag)

/* Record sizes of the forms. */
#define UNBOUNDED_SIZE sizeof(KelUnboundedString)
#define VARYING_SIZE(room) (4 + (room))
#define POINTER_SIZE sizeof(void *)

enum { S = KEL_DESC_SIGNED, LO = KEL_DESC_LOWER, HI = KEL_DESC_UPPER, EXT = KEL_DESC_EXTENSIBLE };

static const KelNamedNumber intNamedNames[] = { { "minusOne", -1 }, { "zero", 0 }, { "one", 1 } };
static const KelNamedNumber enumNames[] = { { "red", 0 }, { "green", 1 }, { "blue", 2 } };
static const KelNamedNumber enumNumNames[] = { { "high", 100 }, { "low", 3 }, { "mid", 10 } };
static const KelNamedNumber enumExtNames[] = {
    { "alpha", 0 }, { "beta", 1 }, { "gamma", 2 }, { "delta", 10 }
};

/* What PER sees of the constraints: sizes and alphabets of strings and
 * lists, the indexes of enumerations. */
#define PER_SIZE(name, alphabet, lb, ub, capacity, flags)                                       \
    static const KelPerString name##Size = { alphabet, lb, ub, capacity, flags };             \
    static const KelPerFacts name = { &name##Size, NULL, NULL }
#define SEVEN_BIT KEL_PER_STRING_FLAGS(8, 1, 7, 1)
#define EXTENSIBLE KEL_PER_SIZE_EXTENSIBLE
PER_SIZE(size16, NULL, 16, 16, 0, 0);
PER_SIZE(size0to20, NULL, 0, 20, 0, 0);
PER_SIZE(size1to8Ext, NULL, 1, 8, 0, EXTENSIBLE);
PER_SIZE(size4, NULL, 4, 4, 0, 0);
PER_SIZE(size0to10, NULL, 0, 10, 0, 0);
PER_SIZE(size2to5, NULL, 2, 5, 0, 0);
PER_SIZE(size1to3Ext, NULL, 1, 3, 0, EXTENSIBLE);
PER_SIZE(size3, NULL, 3, 3, 0, 0);
PER_SIZE(ia5SizePer, NULL, 0, 8, 0, SEVEN_BIT);
PER_SIZE(ia5SizeExtPer, NULL, 1, 4, 0, SEVEN_BIT | EXTENSIBLE);
PER_SIZE(ia5AlphaPer, &kel_alphabet_lower, 1, 0, 0, KEL_ALPHABET_LOWER_FLAGS);
PER_SIZE(ia5BothPer, &kel_alphabet_digits_hash_star, 1, 12, 12, KEL_ALPHABET_DIGITS_HASH_STAR_FLAGS);
PER_SIZE(visibleFixedPer, NULL, 4, 4, 0, SEVEN_BIT);
PER_SIZE(visibleAlphaPer, &kel_alphabet_upper_space, 1, 0, 0, KEL_ALPHABET_UPPER_SPACE_FLAGS);
PER_SIZE(visibleBothPer, &kel_alphabet_upper, 3, 6, 0, KEL_ALPHABET_UPPER_FLAGS);
PER_SIZE(numericFixedPer, &kel_alphabet_numeric, 3, 3, 0, KEL_ALPHABET_NUMERIC_FLAGS);
PER_SIZE(numericAlphaPer, &kel_alphabet_octal, 1, 0, 0, KEL_ALPHABET_OCTAL_FLAGS);
PER_SIZE(numericBothPer, &kel_alphabet_quaternary_space, 0, 16, 0, KEL_ALPHABET_QUATERNARY_SPACE_FLAGS);
PER_SIZE(printableSizePer, NULL, 1, 20, 20, SEVEN_BIT);
PER_SIZE(printableAlphaPer, &kel_alphabet_hex_upper, 1, 0, 0, KEL_ALPHABET_HEX_UPPER_FLAGS);
PER_SIZE(printableBothPer, &kel_alphabet_lower_punct, 2, 8, 0, KEL_ALPHABET_LOWER_PUNCT_FLAGS);

#define ENUMERATION(name, ...) static const int32_t name##Values[] = { __VA_ARGS__ }; \
    static const KelPerEnumTable name = { sizeof name##Values / sizeof name##Values[0], name##Values }
ENUMERATION(enumRoot, 0, 1, 2);
ENUMERATION(enumNumRoot, 3, 10, 100);
ENUMERATION(enumExtRoot, 0, 1);
/* The additions end with the base of the values a decoder synthesises for
 * additions it doesn't know: index k past the known ones is base - k. */
ENUMERATION(enumExtAdditions, 2, 10, -1);
static const KelPerFacts enumPer = { NULL, &enumRoot, NULL };
static const KelPerFacts enumNumPer = { NULL, &enumNumRoot, NULL };
static const KelPerFacts enumExtPer = { NULL, &enumExtRoot, &enumExtAdditions };

/* Records of the structured types. */
typedef struct SeqOptValue {
    uint32_t present;
    int64_t a;
    uint8_t b;
    KelUnboundedString c;
    int64_t d;
    int32_t e;
} SeqOptValue;
typedef struct SeqEmptyValue {
    uint32_t present;
} SeqEmptyValue;
typedef struct SeqExtValue {
    uint32_t present;
    uint8_t a, b;
    KelUnboundedString c;
} SeqExtValue;
typedef struct SeqExtGroupValue {
    uint32_t present;
    int64_t a;
    uint8_t b, d;
    KelUnboundedString c, e;
} SeqExtGroupValue;
typedef struct SetManyValue {
    uint32_t present;
    int64_t a;
    uint8_t b, e;
    KelUnboundedString c, d;
} SetManyValue;
typedef struct SetOrderValue {
    uint32_t present;
    int64_t z;
    uint8_t y, w;
    KelUnboundedString x, v;
} SetOrderValue;
typedef struct ChoiceValue {
    uint32_t choice;
    union {
        int64_t i;
        KelUnboundedString s;
        uint8_t b, n;
    } u;
} ChoiceValue;
typedef struct ChoiceExtValue {
    uint32_t choice;
    union {
        uint16_t i;
        KelUnboundedString s, o;
        int32_t e;
    } u;
} ChoiceExtValue;
typedef struct NestValue {
    uint32_t present;
    int64_t depth;
    struct NestValue *inner;
} NestValue;

static const KelTypeDesc types[TypeCount];

/* A component with its automatic tag; `cons` for a constructed type. */
#define AUTO(rec, field, t, n, cons, fl, bit)                                               \
    { #field, &types[t], offsetof(rec, field), fl, bit, KEL_TAGGING_IMPLICIT,                 \
      KEL_TAG(KEL_CLASS_CONTEXT, cons, n), NULL }
#define TAGGED(rec, field, t, cls, n, fl, bit)                                              \
    { #field, &types[t], offsetof(rec, field), fl, bit, KEL_TAGGING_IMPLICIT,                 \
      KEL_TAG(cls, 0, n), NULL }
#define ALT(rec, name, t, n, fl) \
    { #name, &types[t], offsetof(rec, u.name), fl, 0, KEL_TAGGING_IMPLICIT, KEL_TAG(KEL_CLASS_CONTEXT, 0, n), NULL }
#define ELEMENT(t) { "element", &types[t], 0, 0, 0, KEL_TAGGING_NONE, { 0, 0, 0, 0 }, NULL }

enum { OPT = KEL_COMP_OPTIONAL, DEF = KEL_COMP_DEFAULT, ADD = KEL_COMP_EXTENSION };

static const int64_t seven = 7;
static const int32_t green = 1;

static const KelComponent seqOpt[] = {
    AUTO(SeqOptValue, a, Int, 0, 0, 0, 0),
    AUTO(SeqOptValue, b, Bool, 1, 0, OPT, 1),
    AUTO(SeqOptValue, c, Ia5, 2, 0, OPT, 2),
    { "d", &types[Int], offsetof(SeqOptValue, d), DEF, 3, KEL_TAGGING_IMPLICIT,
      KEL_TAG(KEL_CLASS_CONTEXT, 0, 3), &seven },
    { "e", &types[Enum], offsetof(SeqOptValue, e), DEF, 4, KEL_TAGGING_IMPLICIT,
      KEL_TAG(KEL_CLASS_CONTEXT, 0, 4), &green },
};
static const KelComponent seqExt[] = {
    AUTO(SeqExtValue, a, IntU8, 0, 0, 0, 0),
    AUTO(SeqExtValue, b, Bool, 1, 0, OPT, 1),
    AUTO(SeqExtValue, c, Ia5, 2, 0, OPT | ADD, 2),
};
static const KelComponent seqExtGroup[] = {
    AUTO(SeqExtGroupValue, a, Int, 0, 0, 0, 0),
    AUTO(SeqExtGroupValue, b, Bool, 1, 0, ADD, 1),
    /* the version bracket [[ c, d ]] */
    { "c", &types[Ia5], offsetof(SeqExtGroupValue, c), ADD, 2, KEL_TAGGING_IMPLICIT,
      KEL_TAG(KEL_CLASS_CONTEXT, 0, 2), NULL, 1 },
    { "d", &types[U0to7], offsetof(SeqExtGroupValue, d), OPT | ADD, 3, KEL_TAGGING_IMPLICIT,
      KEL_TAG(KEL_CLASS_CONTEXT, 0, 3), NULL, 1 },
    AUTO(SeqExtGroupValue, e, Octets, 4, 0, OPT | ADD, 4),
};
static const KelComponent setMany[] = {
    AUTO(SetManyValue, a, Int, 0, 0, 0, 0),
    AUTO(SetManyValue, b, Bool, 1, 0, 0, 0),
    AUTO(SetManyValue, c, Ia5, 2, 0, 0, 0),
    AUTO(SetManyValue, d, Octets, 3, 0, OPT, 1),
    AUTO(SetManyValue, e, Null, 4, 0, OPT, 2),
};
static const KelComponent setOrder[] = {
    TAGGED(SetOrderValue, z, Int, KEL_CLASS_CONTEXT, 2, 0, 0),
    TAGGED(SetOrderValue, y, Bool, KEL_CLASS_APPLICATION, 5, 0, 0),
    TAGGED(SetOrderValue, x, Ia5, KEL_CLASS_CONTEXT, 0, 0, 0),
    TAGGED(SetOrderValue, w, Null, KEL_CLASS_PRIVATE, 1, OPT, 1),
    TAGGED(SetOrderValue, v, Octets, KEL_CLASS_CONTEXT, 1, OPT, 2),
};
static const KelComponent intElement[] = { ELEMENT(Int) };
static const KelComponent octetsElement[] = { ELEMENT(Octets) };
static const KelComponent ia5Element[] = { ELEMENT(Ia5) };
static const KelComponent boolElement[] = { ELEMENT(Bool) };
static const KelComponent u4Element[] = { ELEMENT(U0to15) };
static const KelComponent seqOptElement[] = { ELEMENT(SeqOpt) };
static const KelComponent choice[] = {
    ALT(ChoiceValue, i, Int, 0, 0),
    ALT(ChoiceValue, s, Ia5, 1, 0),
    ALT(ChoiceValue, b, Bool, 2, 0),
    ALT(ChoiceValue, n, Null, 3, 0),
};
static const KelComponent choiceExt[] = {
    ALT(ChoiceExtValue, i, U16, 0, 0),
    ALT(ChoiceExtValue, s, Ia5, 1, 0),
    ALT(ChoiceExtValue, o, Octets, 2, ADD),
    ALT(ChoiceExtValue, e, Enum, 3, ADD),
};
static const KelComponent nest[] = {
    AUTO(NestValue, depth, Int, 0, 0, 0, 0),
    AUTO(NestValue, inner, Nest, 1, 1, KEL_COMP_POINTER, 0),
};

#define UNIVERSAL_CONSTRUCTED(n) KEL_TAG(KEL_CLASS_UNIVERSAL, 1, n)
#define STRUCTURED(id, k, n, rec, list, f, facts)                                            \
    [id] = { .name = #id, .kind = k, .tagCount = 1, .tags = { UNIVERSAL_CONSTRUCTED(n) },     \
             .size = sizeof(rec), .flags = (f), .components = list,                          \
             .componentCount = sizeof list / sizeof list[0], .per = facts }
#define SEQUENCE(id, rec, list, f) STRUCTURED(id, KEL_KIND_SEQUENCE, 16, rec, list, f, NULL)
#define SET(id, rec, list) STRUCTURED(id, KEL_KIND_SET, 17, rec, list, 0, NULL)
#define SEQUENCE_OF(id, list, facts) STRUCTURED(id, KEL_KIND_SEQUENCE_OF, 16, KelSequenceOf, list, 0, facts)
#define SET_OF(id, list) STRUCTURED(id, KEL_KIND_SET_OF, 17, KelSequenceOf, list, 0, NULL)
#define CHOICE(id, rec, list, f)                                                             \
    [id] = { .name = #id, .kind = KEL_KIND_CHOICE, .size = sizeof(rec), .flags = (f),         \
             .components = list, .componentCount = sizeof list / sizeof list[0] }

static const KelTypeDesc types[TypeCount] = {
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
    NAMED(IntNamed, KEL_KIND_INTEGER, KEL_TAG_INTEGER, 0, intNamedNames, NULL),
    NAMED(Enum, KEL_KIND_ENUMERATED, KEL_TAG_ENUMERATED, 0, enumNames, &enumPer),
    NAMED(EnumNum, KEL_KIND_ENUMERATED, KEL_TAG_ENUMERATED, 0, enumNumNames, &enumNumPer),
    NAMED(EnumExt, KEL_KIND_ENUMERATED, KEL_TAG_ENUMERATED, EXT, enumExtNames, &enumExtPer),
    BITS(Bits, KEL_FORM_UNBOUNDED, 0, UNBOUNDED_SIZE, NULL),
    BITS(Bits16, KEL_FORM_PADDED, 16, 2, &size16),
    BITS(Bits0to20, KEL_FORM_VARYING, 20, VARYING_SIZE(3), &size0to20),
    BITS(Bits1to8Ext, KEL_FORM_VARYING_PTR, 0, POINTER_SIZE, &size1to8Ext),
    [NamedBits] = { .name = "NamedBits", .kind = KEL_KIND_BIT_STRING, .tagCount = 1,
                    .tags = { KEL_TAG_BIT_STRING }, .form = KEL_FORM_PADDED,
                    .flags = KEL_DESC_NAMED_BITS, .upper = 10, .size = 2 },
    OCTETS(Octets, KEL_FORM_UNBOUNDED, 0, UNBOUNDED_SIZE, NULL),
    OCTETS(Octets4, KEL_FORM_FIXED, 4, 4, &size4),
    OCTETS(Octets0to10, KEL_FORM_VARYING, 10, VARYING_SIZE(10), &size0to10),
    CHARS(Ia5, KEL_TAG_IA5_STRING, KEL_FORM_UNBOUNDED, 0, UNBOUNDED_SIZE, NULL),
    CHARS(Ia5Size, KEL_TAG_IA5_STRING, KEL_FORM_VARYING_PTR, 8, POINTER_SIZE, &ia5SizePer),
    CHARS(Ia5SizeExt, KEL_TAG_IA5_STRING, KEL_FORM_NULLTERM_PTR, 0, POINTER_SIZE, &ia5SizeExtPer),
    CHARS(Ia5Alpha, KEL_TAG_IA5_STRING, KEL_FORM_NULLTERM_PTR, 0, POINTER_SIZE, &ia5AlphaPer),
    CHARS(Ia5Both, KEL_TAG_IA5_STRING, KEL_FORM_NULLTERM, 12, 13, &ia5BothPer),
    CHARS(Visible, KEL_TAG_VISIBLE_STRING, KEL_FORM_NULLTERM_PTR, 0, POINTER_SIZE, NULL),
    CHARS(VisibleFixed, KEL_TAG_VISIBLE_STRING, KEL_FORM_FIXED, 4, 4, &visibleFixedPer),
    CHARS(VisibleAlpha, KEL_TAG_VISIBLE_STRING, KEL_FORM_UNBOUNDED, 0, UNBOUNDED_SIZE, &visibleAlphaPer),
    CHARS(VisibleBoth, KEL_TAG_VISIBLE_STRING, KEL_FORM_VARYING, 6, VARYING_SIZE(6), &visibleBothPer),
    CHARS(Numeric, KEL_TAG_NUMERIC_STRING, KEL_FORM_UNBOUNDED, 0, UNBOUNDED_SIZE, NULL),
    CHARS(NumericFixed, KEL_TAG_NUMERIC_STRING, KEL_FORM_PADDED, 3, 3, &numericFixedPer),
    CHARS(NumericAlpha, KEL_TAG_NUMERIC_STRING, KEL_FORM_NULLTERM_PTR, 0, POINTER_SIZE, &numericAlphaPer),
    CHARS(NumericBoth, KEL_TAG_NUMERIC_STRING, KEL_FORM_VARYING, 16, VARYING_SIZE(16), &numericBothPer),
    CHARS(Printable, KEL_TAG_PRINTABLE_STRING, KEL_FORM_NULLTERM_PTR, 0, POINTER_SIZE, NULL),
    CHARS(PrintableSize, KEL_TAG_PRINTABLE_STRING, KEL_FORM_NULLTERM, 20, 21, &printableSizePer),
    CHARS(PrintableAlpha, KEL_TAG_PRINTABLE_STRING, KEL_FORM_UNBOUNDED, 0, UNBOUNDED_SIZE, &printableAlphaPer),
    CHARS(PrintableBoth, KEL_TAG_PRINTABLE_STRING, KEL_FORM_VARYING_PTR, 8, POINTER_SIZE, &printableBothPer),
    CHARS(Utf8, KEL_TAG_UTF8_STRING, KEL_FORM_UTF8, 0, UNBOUNDED_SIZE, NULL),
    CHARS(Bmp, KEL_TAG_BMP_STRING, KEL_FORM_BMP, 0, sizeof(KelBmpString), NULL),
    CHARS(Universal, KEL_TAG_UNIVERSAL_STRING, KEL_FORM_UNIVERSAL, 0, sizeof(KelUniversalString), NULL),
    [Oid] = { .name = "Oid", .kind = KEL_KIND_OID, .tagCount = 1, .tags = { KEL_TAG(0, 0, 6) },
              .form = KEL_FORM_OID_ENCODED, .size = sizeof(KelOidEncoded) },
    [RelOid] = { .name = "RelOid", .kind = KEL_KIND_RELATIVE_OID, .tagCount = 1,
                 .tags = { KEL_TAG(0, 0, 13) }, .form = KEL_FORM_OID_ENCODED,
                 .size = sizeof(KelOidEncoded) },
    [Real] = { .name = "Real", .kind = KEL_KIND_REAL, .tagCount = 1, .tags = { KEL_TAG(0, 0, 9) },
               .form = KEL_FORM_REAL_MIXED, .size = sizeof(KelMixedReal) },
    [Utc] = { .name = "Utc", .kind = KEL_KIND_UTC_TIME, .tagCount = 1, .tags = { KEL_TAG(0, 0, 23) },
              .form = KEL_FORM_TIME_TEXT, .size = sizeof(char *) },
    [Gen] = { .name = "Gen", .kind = KEL_KIND_GENERALIZED_TIME, .tagCount = 1,
              .tags = { KEL_TAG(0, 0, 24) }, .form = KEL_FORM_TIME_STRUCT,
              .size = sizeof(KelTimeStruct) },
    SEQUENCE(SeqOpt, SeqOptValue, seqOpt, 0),
    [SeqEmpty] = { .name = "SeqEmpty", .kind = KEL_KIND_SEQUENCE, .tagCount = 1,
                   .tags = { UNIVERSAL_CONSTRUCTED(16) }, .size = sizeof(SeqEmptyValue) },
    SEQUENCE(SeqExt, SeqExtValue, seqExt, EXT),
    SEQUENCE(SeqExtGroup, SeqExtGroupValue, seqExtGroup, EXT),
    SET(SetMany, SetManyValue, setMany),
    SET(SetOrder, SetOrderValue, setOrder),
    SEQUENCE_OF(SeqOfInt, intElement, NULL),
    SET_OF(SetOfInt, intElement),
    SET_OF(SetOfOctets, octetsElement),
    SEQUENCE_OF(SeqOfSize, ia5Element, &size2to5),
    SEQUENCE_OF(SeqOfSizeExt, boolElement, &size1to3Ext),
    SEQUENCE_OF(SeqOfFixed, u4Element, &size3),
    SEQUENCE_OF(SeqOfSeq, seqOptElement, NULL),
    CHOICE(Choice, ChoiceValue, choice, 0),
    CHOICE(ChoiceExt, ChoiceExtValue, choiceExt, EXT),
    SEQUENCE(Nest, NestValue, nest, 0),
    INTEGER(U16, 2, LO | HI, 0, 65535),
    INTEGER(U0to15, 1, LO | HI, 0, 15),
    INTEGER(U0to7, 1, LO | HI, 0, 7),
};

/* PDU numbers follow the module's order, from 1. */
#define PDU(id) { { #id, #id }, &types[id] }
static const KelPduDesc pdus[] = {
    PDU(Bool), PDU(Null), PDU(Int), PDU(IntU8), PDU(IntSmall), PDU(IntRange), PDU(IntU32),
    PDU(IntSemi), PDU(IntExt), PDU(IntConst), PDU(IntNamed), PDU(Enum), PDU(EnumNum), PDU(EnumExt),
    PDU(Bits), PDU(Bits16), PDU(Bits0to20), PDU(Bits1to8Ext), PDU(NamedBits), PDU(Octets),
    PDU(Octets4), PDU(Octets0to10), PDU(Ia5), PDU(Ia5Size), PDU(Ia5SizeExt), PDU(Ia5Alpha),
    PDU(Ia5Both), PDU(Visible), PDU(VisibleFixed), PDU(VisibleAlpha), PDU(VisibleBoth), PDU(Numeric),
    PDU(NumericFixed), PDU(NumericAlpha), PDU(NumericBoth), PDU(Printable), PDU(PrintableSize),
    PDU(PrintableAlpha), PDU(PrintableBoth), PDU(Utf8), PDU(Bmp), PDU(Universal), PDU(Oid),
    PDU(RelOid), PDU(Real), PDU(Utc), PDU(Gen), PDU(SeqOpt), PDU(SeqEmpty), PDU(SeqExt),
    PDU(SeqExtGroup), PDU(SetMany), PDU(SetOrder), PDU(SeqOfInt), PDU(SetOfInt), PDU(SetOfOctets),
    PDU(SeqOfSize), PDU(SeqOfSizeExt), PDU(SeqOfFixed), PDU(SeqOfSeq), PDU(Choice), PDU(ChoiceExt),
    PDU(Nest),
};

const KelCodeFile kel_typeszoo_codefile = {
    .control = KEL_CODEFILE_CONTROL,
    .module = "TypesZoo",
    .pduCount = sizeof pdus / sizeof pdus[0],
    .pdus = pdus,
};
