/*
 * kel_types.h - type descriptions of the stand-in code files.
 *
 * The tests drive the library the way generated code does, but instead of
 * one function per type they describe each type in a table record and let
 * one walker per rule family turn a description into primitive calls.  A new
 * schema is then a table, not code.
 *
 * A description holds what the compiler knows about a type: its kind, its
 * tags (each in the three forms that the BER primitives take), the memory
 * form of its value (width and signedness of integers, size of the value,
 * offset of the value inside its parent record) and constraint bounds.
 *
 * A code file is a KelCodeFile: its first member is the control table that
 * kelinit is opened on, so a walker reaches its code file through the
 * world's ctlTbl.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KEL_TYPES_H
#define KEL_TYPES_H

#include "kelvarn.h"
#include "kelvarn_per.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum KelTypeKind {
    KEL_KIND_BOOLEAN = 1,
    KEL_KIND_NULL,
    KEL_KIND_INTEGER,
    KEL_KIND_ENUMERATED,
    KEL_KIND_BIT_STRING,
    KEL_KIND_OCTET_STRING,
    KEL_KIND_CHAR_STRING, /* any character string; its tag tells which */
    KEL_KIND_OID,
    KEL_KIND_RELATIVE_OID,
    KEL_KIND_REAL,
    KEL_KIND_UTC_TIME,
    KEL_KIND_GENERALIZED_TIME,
    KEL_KIND_SEQUENCE,
    KEL_KIND_SET,
    KEL_KIND_SEQUENCE_OF,
    KEL_KIND_SET_OF,
    KEL_KIND_CHOICE,    /* no tag of its own: its tags are all explicit */
    KEL_KIND_OPEN_TYPE  /* likewise; selected by a table constraint */
} KelTypeKind;

/* Memory forms, as a compiler picks them.  Strings: `upper` is the size
 * bound in characters, octets or bits, 0 for none.  `room` below is `upper`,
 * or for bits the octets that hold `upper` bits.
 *   UNBOUNDED     KelUnboundedString, KelUnboundedBits
 *   VARYING       struct { uint32_t length; unsigned char value[room]; }
 *   VARYING_PTR   pointer to that struct, allocated by the decoder
 *   FIXED         unsigned char value[upper]
 *   PADDED        char value[upper], blank-padded; bits: a field of `upper`
 *                 bits (u8, u16, u32 up to 32 bits)
 *   NULLTERM      char value[upper + 1]
 *   NULLTERM_PTR  char *
 *   BMP           KelBmpString
 *   UNIVERSAL     KelUniversalString
 *   UTF8          KelUnboundedString holding UTF-8 octets */
typedef enum KelStringForm {
    KEL_FORM_UNBOUNDED = 1,
    KEL_FORM_VARYING,
    KEL_FORM_VARYING_PTR,
    KEL_FORM_FIXED,
    KEL_FORM_PADDED,
    KEL_FORM_NULLTERM,
    KEL_FORM_NULLTERM_PTR,
    KEL_FORM_BMP,
    KEL_FORM_UNIVERSAL,
    KEL_FORM_UTF8,
    /* forms of the other types */
    KEL_FORM_OID_ENCODED, /* KelOidEncoded */
    KEL_FORM_OID_ARCS,    /* KelOidUnbounded */
    KEL_FORM_TIME_TEXT,   /* char *, the time as written */
    KEL_FORM_TIME_STRUCT, /* KelTimeStruct */
    KEL_FORM_REAL_MIXED,  /* KelMixedReal; REAL without a form is a double */
    KEL_FORM_HUGE         /* INTEGER as a KelHugeInt */
} KelStringForm;

/* One tag in the three forms of the BER primitives. */
typedef struct KelTag {
    uint32_t header;      /* encoder header form, constructed bit included */
    uint32_t match;       /* decoder match form */
    uint16_t classNumber; /* class in the two high bits, number in the low 14 */
    uint8_t constructed;
} KelTag;

/* Identifier octets of a tag, for numbers up to 16383: the first octet, and
 * the one or two octets of a number above 30. */
#define KEL_TAG_FIRST_(cls, cons, n) \
    ((((cls) >> 8) & 0xC0u) | ((cons) ? 0x20u : 0u) | ((n) <= 30 ? (uint32_t)(n) : 0x1Fu))
#define KEL_TAG_HEADER_(cls, cons, n)                                                        \
    ((n) <= 30    ? KEL_TAG_FIRST_(cls, cons, n)                                             \
     : (n) < 128 ? (KEL_TAG_FIRST_(cls, cons, n) << 8 | (uint32_t)(n))                      \
                 : (KEL_TAG_FIRST_(cls, cons, n) << 16 | (0x80u | (uint32_t)(n) >> 7) << 8 | \
                    ((uint32_t)(n) & 0x7Fu)))
#define KEL_TAG_MATCH_(cls, cons, n)                                                         \
    ((n) <= 30    ? KEL_TAG_FIRST_(cls, cons, n)                                             \
     : (n) < 128 ? (KEL_TAG_FIRST_(cls, cons, n) | (uint32_t)(n) << 8)                      \
                 : (KEL_TAG_FIRST_(cls, cons, n) | (0x80u | (uint32_t)(n) >> 7) << 8 |       \
                    ((uint32_t)(n) & 0x7Fu) << 16))

/* A tag record from class (KEL_CLASS_*), constructed flag and number. */
#define KEL_TAG(cls, cons, n) \
    { KEL_TAG_HEADER_(cls, cons, n), KEL_TAG_MATCH_(cls, cons, n), (uint16_t)((cls) | (n)), (cons) }

/* Universal tags of the simple types. */
#define KEL_TAG_BOOLEAN KEL_TAG(0x0000u, 0, 1)
#define KEL_TAG_INTEGER KEL_TAG(0x0000u, 0, 2)
#define KEL_TAG_NULL KEL_TAG(0x0000u, 0, 5)
#define KEL_TAG_ENUMERATED KEL_TAG(0x0000u, 0, 10)
#define KEL_TAG_BIT_STRING KEL_TAG(0x0000u, 0, 3)
#define KEL_TAG_OCTET_STRING KEL_TAG(0x0000u, 0, 4)
#define KEL_TAG_UTF8_STRING KEL_TAG(0x0000u, 0, 12)
#define KEL_TAG_NUMERIC_STRING KEL_TAG(0x0000u, 0, 18)
#define KEL_TAG_PRINTABLE_STRING KEL_TAG(0x0000u, 0, 19)
#define KEL_TAG_IA5_STRING KEL_TAG(0x0000u, 0, 22)
#define KEL_TAG_VISIBLE_STRING KEL_TAG(0x0000u, 0, 26)
#define KEL_TAG_UNIVERSAL_STRING KEL_TAG(0x0000u, 0, 28)
#define KEL_TAG_BMP_STRING KEL_TAG(0x0000u, 0, 30)

/* Tags of one type, outermost first; explicit tags stand before the
 * type's own.  A count of 0 is an untagged type (a CHOICE). */
#define KEL_MAX_TAGS 4

/* A name of an ENUMERATED or INTEGER type with its number. */
typedef struct KelNamedNumber {
    const char *name;
    int64_t value;
} KelNamedNumber;

typedef struct KelTypeDesc KelTypeDesc;

/* How a component's tag stands to its type's tags. */
enum { KEL_TAGGING_NONE, KEL_TAGGING_IMPLICIT, KEL_TAGGING_EXPLICIT };

/* Flags of a component. */
#define KEL_COMP_OPTIONAL 0x1u  /* may be absent */
#define KEL_COMP_DEFAULT 0x2u   /* absent means `defaultValue` */
#define KEL_COMP_EXTENSION 0x4u /* an extension addition, in a group or not */
#define KEL_COMP_POINTER 0x8u   /* the field points to the value; null is absent */

/* A component of a SEQUENCE or SET, an alternative of a CHOICE, the element
 * of a SEQUENCE OF or SET OF, or a row of an open type's table (then
 * `defaultValue` is the row's key in the key component's memory form and
 * `type` the type the row selects).
 *
 * Records of SEQUENCE and SET start with a 32-bit presence word: bit
 * `presenceBit - 1` is set when an OPTIONAL or DEFAULT component is present.
 * A CHOICE record starts with the 32-bit number of its alternative, from 1;
 * 0 is an unknown extension.  Values of the OF types are KelSequenceOf. */
typedef struct KelComponent {
    const char *name;
    const KelTypeDesc *type;
    uint16_t offset;     /* of the value in the record */
    uint8_t flags;       /* KEL_COMP_* */
    uint8_t presenceBit; /* from 1; 0 for none */
    uint8_t tagging;     /* KEL_TAGGING_*: what `tag` does to the type's tags */
    KelTag tag;
    const void *defaultValue;
    uint8_t group;       /* extension additions: the version bracket, from 1; 0 alone */
} KelComponent;

typedef struct KelSequenceOf {
    uint32_t count;
    void *elements; /* count values of the element type's size */
} KelSequenceOf;

/* Flags of a description. */
#define KEL_DESC_SIGNED 0x1u     /* integers: signed memory form */
#define KEL_DESC_LOWER 0x2u      /* `lower` is a bound */
#define KEL_DESC_UPPER 0x4u      /* `upper` is a bound */
#define KEL_DESC_EXTENSIBLE 0x8u /* constraint or enumeration has an ellipsis */
#define KEL_DESC_NAMED_BITS 0x10u /* BIT STRING with a named bit list */

/* What PER sees beyond the memory form, as a compiler emits it.  Strings
 * and lists: the size constraint, and for character strings the permitted
 * alphabet and bits a character (of bit and octet strings and the OF types
 * only the bounds and the extension flag count); null for an unconstrained
 * string of a universal type, whose descriptor the walker knows.
 * ENUMERATED: the values of the root in ascending order (the indexes of
 * PER), and of the additions in declared order. */
typedef struct KelPerFacts {
    const KelPerString *size;
    const KelPerEnumTable *root;
    const KelPerEnumTable *additions;
} KelPerFacts;

struct KelTypeDesc {
    const char *name;
    uint8_t kind;     /* KelTypeKind */
    uint8_t tagCount;
    KelTag tags[KEL_MAX_TAGS];
    uint8_t width;    /* integers: octets of the memory form, 1, 2, 4 or 8 */
    uint8_t flags;    /* KEL_DESC_* */
    uint8_t form;     /* strings: KelStringForm */
    uint16_t offset;  /* of the value in the parent record; 0 for a PDU */
    uint32_t size;    /* octets of the value in memory */
    int64_t lower, upper;
    const KelNamedNumber *names; /* ENUMERATED: the enumeration; INTEGER: named numbers */
    uint32_t nameCount;
    /* Structured types: the components (OF types: the element); open
     * types: the table's rows, and in `lower` the index of the key among
     * the enclosing record's components. */
    const KelComponent *components;
    uint32_t componentCount;
    const KelPerFacts *per; /* PER facts; null where PER needs none */
};

/* One PDU: the names that world->pduEntry points at, and the type. */
typedef struct KelPduDesc {
    KelPduNames names;
    const KelTypeDesc *type;
} KelPduDesc;

/* A code file.  PDU numbers count from 1: PDU n is pdus[n - 1]. */
typedef struct KelCodeFile {
    KelControlTable control; /* first, so that world->ctlTbl leads here */
    const char *module;
    int32_t pduCount;
    const KelPduDesc *pdus;
} KelCodeFile;

/* The code file a world was opened on. */
static inline const KelCodeFile *kel_world_codefile(const KelGlobal *world)
{
    return (const KelCodeFile *)world->ctlTbl;
}

#ifdef __cplusplus
}
#endif

#endif /* KEL_TYPES_H */
