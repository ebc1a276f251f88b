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
 * the visible repertoires, padded bits for named bits.
 */

#include "codefiles.h"
#include "kelvarn_prim.h"

/* Index of each type in the table, named as the type. */
enum {
    Bool, Null, Int, IntU8, IntSmall, IntRange, IntU32, IntSemi, IntExt, IntConst, IntNamed,
    Enum, EnumNum, EnumExt,
    Bits, Bits16, Bits0to20, Bits1to8Ext, NamedBits, Octets, Octets4, Octets0to10,
    Ia5, Ia5Size, Ia5SizeExt, Ia5Alpha, Ia5Both, Visible, VisibleFixed, VisibleAlpha, VisibleBoth,
    Numeric, NumericFixed, NumericAlpha, NumericBoth, Printable, PrintableSize, PrintableAlpha,
    PrintableBoth, Utf8, Bmp, Universal
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

/* A string type: kind, memory form, bound, record size, then its universal
 * tag (last, since a tag record holds commas). */
#define STRING(id, k, f, bound, bytes, ...)                                                   \
    [id] = { .name = #id, .kind = k, .tagCount = 1, .tags = { __VA_ARGS__ }, .form = f,       \
      .flags = (bound) ? KEL_DESC_UPPER : 0, .upper = bound, .size = bytes }
#define BITS(id, f, bound, bytes) STRING(id, KEL_KIND_BIT_STRING, f, bound, bytes, KEL_TAG_BIT_STRING)
#define OCTETS(id, f, bound, bytes) \
    STRING(id, KEL_KIND_OCTET_STRING, f, bound, bytes, KEL_TAG_OCTET_STRING)
#define CHARS(id, tag, f, bound, bytes) STRING(id, KEL_KIND_CHAR_STRING, f, bound, bytes, tag)

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
    BITS(Bits, KEL_FORM_UNBOUNDED, 0, UNBOUNDED_SIZE),
    BITS(Bits16, KEL_FORM_PADDED, 16, 2),
    BITS(Bits0to20, KEL_FORM_VARYING, 20, VARYING_SIZE(3)),
    BITS(Bits1to8Ext, KEL_FORM_VARYING_PTR, 0, POINTER_SIZE),
    [NamedBits] = { .name = "NamedBits", .kind = KEL_KIND_BIT_STRING, .tagCount = 1,
                    .tags = { KEL_TAG_BIT_STRING }, .form = KEL_FORM_PADDED,
                    .flags = KEL_DESC_NAMED_BITS, .upper = 10, .size = 2 },
    OCTETS(Octets, KEL_FORM_UNBOUNDED, 0, UNBOUNDED_SIZE),
    OCTETS(Octets4, KEL_FORM_FIXED, 4, 4),
    OCTETS(Octets0to10, KEL_FORM_VARYING, 10, VARYING_SIZE(10)),
    CHARS(Ia5, KEL_TAG_IA5_STRING, KEL_FORM_UNBOUNDED, 0, UNBOUNDED_SIZE),
    CHARS(Ia5Size, KEL_TAG_IA5_STRING, KEL_FORM_VARYING_PTR, 8, POINTER_SIZE),
    CHARS(Ia5SizeExt, KEL_TAG_IA5_STRING, KEL_FORM_NULLTERM_PTR, 0, POINTER_SIZE),
    CHARS(Ia5Alpha, KEL_TAG_IA5_STRING, KEL_FORM_NULLTERM_PTR, 0, POINTER_SIZE),
    CHARS(Ia5Both, KEL_TAG_IA5_STRING, KEL_FORM_NULLTERM, 12, 13),
    CHARS(Visible, KEL_TAG_VISIBLE_STRING, KEL_FORM_NULLTERM_PTR, 0, POINTER_SIZE),
    CHARS(VisibleFixed, KEL_TAG_VISIBLE_STRING, KEL_FORM_FIXED, 4, 4),
    CHARS(VisibleAlpha, KEL_TAG_VISIBLE_STRING, KEL_FORM_UNBOUNDED, 0, UNBOUNDED_SIZE),
    CHARS(VisibleBoth, KEL_TAG_VISIBLE_STRING, KEL_FORM_VARYING, 6, VARYING_SIZE(6)),
    CHARS(Numeric, KEL_TAG_NUMERIC_STRING, KEL_FORM_UNBOUNDED, 0, UNBOUNDED_SIZE),
    CHARS(NumericFixed, KEL_TAG_NUMERIC_STRING, KEL_FORM_PADDED, 3, 3),
    CHARS(NumericAlpha, KEL_TAG_NUMERIC_STRING, KEL_FORM_NULLTERM_PTR, 0, POINTER_SIZE),
    CHARS(NumericBoth, KEL_TAG_NUMERIC_STRING, KEL_FORM_VARYING, 16, VARYING_SIZE(16)),
    CHARS(Printable, KEL_TAG_PRINTABLE_STRING, KEL_FORM_NULLTERM_PTR, 0, POINTER_SIZE),
    CHARS(PrintableSize, KEL_TAG_PRINTABLE_STRING, KEL_FORM_NULLTERM, 20, 21),
    CHARS(PrintableAlpha, KEL_TAG_PRINTABLE_STRING, KEL_FORM_UNBOUNDED, 0, UNBOUNDED_SIZE),
    CHARS(PrintableBoth, KEL_TAG_PRINTABLE_STRING, KEL_FORM_VARYING_PTR, 8, POINTER_SIZE),
    CHARS(Utf8, KEL_TAG_UTF8_STRING, KEL_FORM_UTF8, 0, UNBOUNDED_SIZE),
    CHARS(Bmp, KEL_TAG_BMP_STRING, KEL_FORM_BMP, 0, sizeof(KelBmpString)),
    CHARS(Universal, KEL_TAG_UNIVERSAL_STRING, KEL_FORM_UNIVERSAL, 0, sizeof(KelUniversalString)),
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
    PDU(PrintableAlpha), PDU(PrintableBoth), PDU(Utf8), PDU(Bmp), PDU(Universal),
};

const KelCodeFile kel_typeszoo_codefile = {
    .control = { .init = kel_ber_init, .berEncode = kel_ber_encode, .berDecode = kel_ber_decode,
                 .freePdu = kel_codefile_free, .version = 17, .perVersion = 16 },
    .module = "TypesZoo",
    .pduCount = sizeof pdus / sizeof pdus[0],
    .pdus = pdus,
};
