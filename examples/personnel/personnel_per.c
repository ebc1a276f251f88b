/*
 * personnel_per.c - the PER encoders and decoders of the PersonnelRecordA1
 * code file, in the shape a compiler emits them: per type a straight line of
 * PER primitive calls.  One path serves aligned and unaligned PER; the
 * primitives look at the world's variant where the two differ.
 *
 * The components of a SET go in the canonical order of their tags: the
 * application tags (name, number) before the context tags [0] to [3].  The
 * one component that may be absent, children (DEFAULT {}), has the only
 * preamble bit, and an empty list is left out.  VisibleString has no
 * constraint: a known-multiplier string of its own codes (8 bits aligned, 7
 * unaligned) behind an unconstrained length.  EmployeeNumber is an
 * unconstrained integer.  The list of children takes a fragmented length
 * from 16K elements on.
 */
#include <string.h>

#include "kelvarn_per.h"
#include "personnel.h"
#include "personnel_per.h"

/* A fragment of a length determinant covers a multiple of 16K items. */
#define FRAGMENT_UNIT 16384u

static const KelPerString visibleString = { NULL, 1, 0, 0, KEL_PER_STRING_FLAGS(8, 1, 7, 1) };

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

static void encode_visible(KelGlobal *w, const char *text)
{
    _kel_penc_kmstr(w, (const unsigned char *)text, (uint32_t)strlen(text), &visibleString, 0);
}

static void encode_Name(KelGlobal *w, const Name *v)
{
    encode_visible(w, v->givenName);
    encode_visible(w, v->initial);
    encode_visible(w, v->familyName);
}

static void encode_ChildInformation(KelGlobal *w, const ChildInformation *v)
{
    encode_Name(w, &v->name);
    encode_visible(w, v->dateOfBirth);
}

static void encode_children(KelGlobal *w, const PersonnelRecord *v)
{
    const ChildInformation *child = v->children.value;
    uint32_t left = v->children.count, covered, i;
    do {
        covered = _kel_penc_length_l(w, left, 0, 0, 0);
        for (i = 0; i < covered; i++)
            encode_ChildInformation(w, child++);
        left -= covered;
    } while (left);
    /* A list that ends with a whole fragment closes with an empty one. */
    if (covered % FRAGMENT_UNIT == 0)
        _kel_append_8bit_aligned(w, 0);
}

static void encode_PersonnelRecord(KelGlobal *w, const PersonnelRecord *v)
{
    const int children = (v->bit_mask & children_present) && v->children.count > 0;
    _kel_penc_nonneg_1int(w, (uint32_t)children);
    encode_Name(w, &v->name);
    _kel_penc_unconstr_int_l(w, v->number);
    encode_visible(w, v->title);
    encode_visible(w, v->dateOfHire);
    encode_Name(w, &v->nameOfSpouse);
    if (children)
        encode_children(w, v);
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

static void decode_visible(KelGlobal *w, char **field)
{
    _kel_pdec_ntp_kmstr(w, (unsigned char **)field, &visibleString);
}

static void decode_Name(KelGlobal *w, Name *v)
{
    decode_visible(w, &v->givenName);
    decode_visible(w, &v->initial);
    decode_visible(w, &v->familyName);
}

static void decode_ChildInformation(KelGlobal *w, ChildInformation *v)
{
    decode_Name(w, &v->name);
    decode_visible(w, &v->dateOfBirth);
}

/* Each determinant grows the array; its elements follow it. */
static void decode_children(KelGlobal *w, PersonnelRecord *v)
{
    uint32_t i = 0;
    uint8_t last = 0;
    while (!last) {
        _kel_pdec_usof(w, &v->children.count, (void **)&v->children.value, 4, sizeof(ChildInformation), 0,
                       0, 0, &last);
        for (; i < v->children.count; i++)
            decode_ChildInformation(w, &v->children.value[i]);
    }
    v->bit_mask |= children_present;
}

static void decode_PersonnelRecord(KelGlobal *w, PersonnelRecord *v)
{
    const uint32_t children = _kel_pdec_nonneg_1int(w);
    v->bit_mask = 0;
    v->children.count = 0;
    v->children.value = NULL;
    decode_Name(w, &v->name);
    v->number = _kel_pdec_unconstr_int_l(w);
    decode_visible(w, &v->title);
    decode_visible(w, &v->dateOfHire);
    decode_Name(w, &v->nameOfSpouse);
    if (children)
        decode_children(w, v);
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

int personnel_per_encode(KelGlobal *w, int pdu, void *value)
{
    personnel_enter_pdu(w, pdu);
    encode_PersonnelRecord(w, value);
    return 0;
}

int personnel_per_decode(KelGlobal *w, int *pdu, void **value)
{
    PersonnelRecord *record;
    personnel_enter_pdu(w, *pdu);
    record = _kel_dec_getmem(w, sizeof *record);
    decode_PersonnelRecord(w, record);
    *value = record;
    return 0;
}
