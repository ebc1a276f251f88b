/*
 * compare_walker.c - the cmpValue entry of the table-driven code files: two
 * decoded values of a PDU compared as generated code does, the simple
 * types through _kelCmpPrimitiveValue and the _kel_cmp_* primitives by
 * their memory forms.  The answer is 0 for equal, 1 for different.  Values
 * compare as abstract values: an absent DEFAULT component equals its
 * default, a SET OF its elements in any order.
 *
 * The walk recurses in the nesting of the type only: the elements of a
 * list are a loop.
 */
#include <float.h>
#include <math.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include "service_walker.h"
#include "kelvarn_services.h"

static int values_equal(KelGlobal *world, const KelTypeDesc *type, const unsigned char *a,
                        const unsigned char *b);

/* _kelCmpPrimitiveValue's extra argument carries a bit count or a flag. */
#define EXTRA(n) ((const void *)(uintptr_t)(n))

static int same(KelGlobal *world, const void *a, const void *b, uint32_t size, const void *extra, int kind)
{
    return _kelCmpPrimitiveValue(world, a, b, size, extra, kind);
}

/* Both pointers null, or both set and the records behind them equal by
 * `kind`. */
static int same_behind(KelGlobal *world, const unsigned char *a, const unsigned char *b, uint32_t size,
                       int kind)
{
    return same(world, *(const void *const *)(const void *)a, *(const void *const *)(const void *)b, size,
                NULL, kind);
}

static int strings_equal(KelGlobal *world, const KelTypeDesc *type, const unsigned char *a,
                         const unsigned char *b)
{
    const int bits = type->kind == KEL_KIND_BIT_STRING;
    switch (type->form) {
    case KEL_FORM_UNBOUNDED:
        return bits ? _kel_cmp_unbnd_octet_ia(a, b, 4, -1, offsetof(KelUnboundedBits, value)) == 0
                    : same(world, a, b, 4, NULL, KEL_CMPK_UNBOUNDED);
    case KEL_FORM_UTF8: return same(world, a, b, 4, NULL, KEL_CMPK_UNBOUNDED);
    case KEL_FORM_BMP: return same(world, a, b, 4, NULL, KEL_CMPK_UNITS2);
    case KEL_FORM_UNIVERSAL: return same(world, a, b, 4, NULL, KEL_CMPK_UNITS4);
    case KEL_FORM_VARYING: return same(world, a, b, 4, NULL, bits ? KEL_CMPK_VARYING_BITS : KEL_CMPK_VARYING);
    case KEL_FORM_VARYING_PTR:
        return same_behind(world, a, b, 4, bits ? KEL_CMPK_VARYING_BITS : KEL_CMPK_VARYING);
    case KEL_FORM_NULLTERM: return same(world, a, b, 0, NULL, KEL_CMPK_NULLTERM);
    case KEL_FORM_NULLTERM_PTR: return same_behind(world, a, b, 0, KEL_CMPK_NULLTERM);
    case KEL_FORM_PADDED:
        if (bits)
            return same(world, a, b, type->size, EXTRA(type->upper), KEL_CMPK_PADDED_BITS);
        return same(world, a, b, type->size, NULL, KEL_CMPK_FIXED);
    default: /* FIXED */
        return same(world, a, b, type->size, NULL, KEL_CMPK_FIXED);
    }
}

/* A REAL of either mixed form as a number: the special names as the values
 * they stand for, and the largest double as infinity, which is how the
 * decoders hold it. */
static double real_number(const KelMixedReal *r)
{
    double v = r->u.value;
    if (r->kind)
        v = strcmp(r->u.text, "PLUS_INFINITY") == 0    ? HUGE_VAL
            : strcmp(r->u.text, "MINUS_INFINITY") == 0 ? -HUGE_VAL
            : strcmp(r->u.text, "NOT_A_NUMBER") == 0   ? NAN
                                                      : strtod(r->u.text, NULL);
    return v >= DBL_MAX ? HUGE_VAL : v <= -DBL_MAX ? -HUGE_VAL : v;
}

static int reals_equal(KelGlobal *world, const KelTypeDesc *type, const unsigned char *a, const unsigned char *b)
{
    const KelMixedReal *x = (const KelMixedReal *)(const void *)a, *y = (const KelMixedReal *)(const void *)b;
    if (type->form != KEL_FORM_REAL_MIXED)
        return same(world, a, b, sizeof(double), NULL, KEL_CMPK_FIXED);
    /* A rule may hand back the other form: a decimal text read from JSON
     * as a double, an infinity read from PER as its name. */
    if (x->kind != y->kind) {
        const double u = real_number(x), v = real_number(y);
        return (isnan(u) && isnan(v)) || (u == v && signbit(u) == signbit(v));
    }
    return x->kind ? compare_char_real(world, x->u.text, y->u.text) == 0
                   : same(world, &x->u.value, &y->u.value, sizeof(double), NULL, KEL_CMPK_FIXED);
}

static int times_equal(KelGlobal *world, const KelTypeDesc *type, const unsigned char *a, const unsigned char *b)
{
    const KelTimeStruct *x = (const KelTimeStruct *)(const void *)a, *y = (const KelTimeStruct *)(const void *)b;
    if (type->form == KEL_FORM_TIME_TEXT)
        return same_behind(world, a, b, 0, KEL_CMPK_NULLTERM);
    /* the fields, not the padding octet behind the last one */
    return same(world, x, y, offsetof(KelTimeStruct, utc), NULL, KEL_CMPK_FIXED) && x->utc == y->utc;
}

static int simple_equal(KelGlobal *world, const KelTypeDesc *type, const unsigned char *a, const unsigned char *b)
{
    switch (type->kind) {
    case KEL_KIND_BOOLEAN: return same(world, a, b, 1, NULL, KEL_CMPK_BOOLEAN);
    case KEL_KIND_NULL: return 1;
    case KEL_KIND_INTEGER:
        if (type->form == KEL_FORM_HUGE)
            return _kel_cmp_huge_int_ia(a, b, 4, (type->flags & KEL_DESC_SIGNED) != 0,
                                        offsetof(KelHugeInt, value)) == 0;
        return same(world, a, b, type->width, NULL, KEL_CMPK_FIXED);
    case KEL_KIND_ENUMERATED: return same(world, a, b, type->width, NULL, KEL_CMPK_FIXED);
    case KEL_KIND_OID:
    case KEL_KIND_RELATIVE_OID:
        if (type->form == KEL_FORM_OID_ARCS)
            return same(world, a, b, 2, NULL, KEL_CMPK_UNITS4);
        return same(world, a, b, 4, EXTRA(-1), KEL_CMPK_OID_ENCODED);
    case KEL_KIND_REAL: return reals_equal(world, type, a, b);
    case KEL_KIND_UTC_TIME:
    case KEL_KIND_GENERALIZED_TIME: return times_equal(world, type, a, b);
    default: return strings_equal(world, type, a, b);
    }
}

static int records_equal(KelGlobal *world, const KelTypeDesc *type, const unsigned char *a,
                         const unsigned char *b)
{
    uint32_t i;
    for (i = 0; i < type->componentCount; i++) {
        const KelComponent *c = &type->components[i];
        const int present = kel_is_present(c, a);
        /* An absent DEFAULT component has the default value. */
        if (present != kel_is_present(c, b)) {
            const unsigned char *given = kel_value_of(c, (unsigned char *)(present ? a : b));
            if (!(c->flags & KEL_COMP_DEFAULT) ||
                !values_equal(world, c->type, given, (const unsigned char *)c->defaultValue))
                return 0;
            continue;
        }
        if (present && !values_equal(world, c->type, kel_value_of(c, (unsigned char *)a),
                                     kel_value_of(c, (unsigned char *)b)))
            return 0;
    }
    return 1;
}

/* The elements of a SET OF in any order: each element of `x` matched with
 * an equal one of `y` not matched before. */
static int same_elements(KelGlobal *world, const KelTypeDesc *element, const KelSequenceOf *x,
                         const KelSequenceOf *y)
{
    unsigned char *matched = calloc(y->count ? y->count : 1, 1);
    uint32_t i, j;
    int equal = matched != NULL;
    for (i = 0; equal && i < x->count; i++) {
        const unsigned char *e = (const unsigned char *)x->elements + (size_t)i * element->size;
        for (j = 0; j < y->count; j++)
            if (!matched[j] && values_equal(world, element, e, (const unsigned char *)y->elements +
                                                                   (size_t)j * element->size))
                break;
        equal = j < y->count;
        if (equal)
            matched[j] = 1;
    }
    free(matched);
    return equal;
}

static int lists_equal(KelGlobal *world, const KelTypeDesc *type, const unsigned char *a, const unsigned char *b)
{
    const KelSequenceOf *x = (const KelSequenceOf *)(const void *)a, *y = (const KelSequenceOf *)(const void *)b;
    const KelTypeDesc *element = type->components[0].type;
    uint32_t i;
    if (x->count != y->count)
        return 0;
    for (i = 0; i < x->count; i++) {
        const size_t at = (size_t)i * element->size;
        if (!values_equal(world, element, (const unsigned char *)x->elements + at,
                          (const unsigned char *)y->elements + at))
            /* A SET OF is the same value in any order, as a canonical
             * encoder sorts it. */
            return type->kind == KEL_KIND_SET_OF && same_elements(world, element, x, y);
    }
    return 1;
}

static int choices_equal(KelGlobal *world, const KelTypeDesc *type, const unsigned char *a,
                         const unsigned char *b)
{
    const uint32_t selector = *(const uint32_t *)(const void *)a;
    const KelComponent *c;
    if (selector != *(const uint32_t *)(const void *)b)
        return 0;
    if (selector < 1 || selector > type->componentCount)
        return 1;
    c = &type->components[selector - 1];
    return values_equal(world, c->type, a + c->offset, b + c->offset);
}

/* A decoded row compares as a value of the row's type; a value kept
 * encoded by its octets. */
static int opens_equal(KelGlobal *world, const KelTypeDesc *type, const unsigned char *a, const unsigned char *b)
{
    const KelOpenType *x = (const KelOpenType *)(const void *)a, *y = (const KelOpenType *)(const void *)b;
    const KelTypeDesc *row = kel_open_row_type(type, x);
    if (x->pduNum != y->pduNum || row != kel_open_row_type(type, y))
        return 0;
    if (row)
        return values_equal(world, row, (const unsigned char *)x->decoded, (const unsigned char *)y->decoded);
    return _kel_cmp_unbnd_octet_ia(&x->length, &y->length, 4, 1,
                                   offsetof(KelOpenType, encoded) - offsetof(KelOpenType, length)) == 0;
}

static int values_equal(KelGlobal *world, const KelTypeDesc *type, const unsigned char *a,
                        const unsigned char *b)
{
    switch (type->kind) {
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET: return records_equal(world, type, a, b);
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF: return lists_equal(world, type, a, b);
    case KEL_KIND_CHOICE: return choices_equal(world, type, a, b);
    case KEL_KIND_OPEN_TYPE: return opens_equal(world, type, a, b);
    default: return simple_equal(world, type, a, b);
    }
}

int kel_cmp_value(KelGlobal *world, int pdu, void *first, void *second)
{
    Walk w;
    const KelTypeDesc *type = kel_walk_pdu(world, pdu, &w);
    return !values_equal(world, type, (const unsigned char *)first + type->offset,
                         (const unsigned char *)second + type->offset);
}
