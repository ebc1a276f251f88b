/*
 * personnel_oer.c - the OER and COER encoders and decoders of the
 * PersonnelRecordA1 code file, in the shape a compiler emits them: per type
 * a straight line of OER primitive calls.  One path serves both rules: the
 * encoder always writes the canonical form, the decoder leaves the rejections
 * of non-canonical forms to the primitives and adds the two that belong to
 * the record itself.
 *
 * The record opens with a preamble octet whose top bit tells whether
 * children (DEFAULT {}) is present; an empty list is left out, so COER
 * refuses one that is present.  The components of a SET go in the canonical
 * order of their tags: the application tags (name, number) before the
 * context tags [0] to [3].  VisibleString has no constraint: a length
 * determinant and the octets.  EmployeeNumber is an unconstrained integer:
 * a count octet and the fewest octets of two's complement.  The list of
 * children starts with its quantity, a count octet and the fewest unsigned
 * octets.  Decoded strings are NUL-terminated copies, each its own piece, as
 * the code file's free function expects.
 */
#include <string.h>

#include "kelvarn_oer.h"
#include "personnel.h"
#include "personnel_oer.h"
#include "personnel_per.h"

/* Messages raised by the generated code. */
enum { MSG_OUT_OF_MEMORY = 6, MSG_END_OF_INPUT = 45, MSG_MISENCODED = 106 };

/* The preamble's bit for children; the other seven bits are padding. */
#define PREAMBLE_CHILDREN 0x80u

/* The fewest octets a ChildInformation takes: four empty strings. */
#define CHILD_MIN_OCTETS 4u
/* The most children an array of decoder memory can hold. */
#define CHILDREN_MAX (0x7FFFFFF8u / (uint32_t)sizeof(ChildInformation))

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

/* A short string with room for it in the current block goes straight in:
 * its one-octet length and its octets.  Anything else (a long length, the
 * end of a block, no block yet, count mode) goes through the primitives. */
static void encode_visible(KelGlobal *w, const char *text)
{
    const uint32_t n = (uint32_t)strlen(text);
    if (n < 128 && (int32_t)n < w->outRemaining && !(w->encodingFlags & DETERMINE_ENC_LENGTH)) {
        unsigned char *out = w->outPos;
        out[0] = (unsigned char)n;
        memcpy(out + 1, text, n);
        w->outPos = out + n + 1;
        w->outRemaining -= (int32_t)n + 1;
        return;
    }
    _kel_oenc_octet_length(w, n);
    _kel_oenc_append_bytes(w, (const unsigned char *)text, n);
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

static void encode_PersonnelRecord(KelGlobal *w, const PersonnelRecord *v)
{
    const int children = (v->bit_mask & children_present) && v->children.count > 0;
    _kel_oenc_append_byte(w, children ? PREAMBLE_CHILDREN : 0);
    encode_Name(w, &v->name);
    _kel_oenc_int(w, v->number);
    encode_visible(w, v->title);
    encode_visible(w, v->dateOfHire);
    encode_Name(w, &v->nameOfSpouse);
    if (children) {
        const ChildInformation *child = v->children.value, *end = child + v->children.count;
        _kel_oenc_uint(w, v->children.count);
        for (; child < end; child++)
            encode_ChildInformation(w, child);
    }
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

/* The content is copied straight out of the input into its NUL-terminated
 * piece.  A one-octet length whose content is present is read here; every
 * other case goes through the determinant's reader, which promises the
 * content or fails. */
static char *decode_visible(KelGlobal *w)
{
    const unsigned char *in = w->inPos;
    int32_t n;
    char *text;
    if (w->inRemaining > 0 && in[0] < 128 && in[0] < w->inRemaining) {
        n = in[0];
        w->inPos++;
        w->inRemaining--;
    } else {
        n = _kel_odec_length(w);
        if (n < 0)
            _kel_enc_error(w, MSG_END_OF_INPUT, 0);
    }
    text = _kel_dec_getmem_internal(w, (uint32_t)n + 1);
    memcpy(text, w->inPos, (size_t)n);
    text[n] = 0;
    w->inPos += n;
    w->inRemaining -= n;
    return text;
}

static void decode_Name(KelGlobal *w, Name *v)
{
    v->givenName = decode_visible(w);
    v->initial = decode_visible(w);
    v->familyName = decode_visible(w);
}

static void decode_ChildInformation(KelGlobal *w, ChildInformation *v)
{
    decode_Name(w, &v->name);
    v->dateOfBirth = decode_visible(w);
}

/* A quantity that the rest of the input cannot hold is a lie, not a list to
 * make room for. */
static void decode_children(KelGlobal *w, PersonnelRecord *v)
{
    const uint32_t count = _kel_odec_uint(w);
    ChildInformation *child, *end;
    v->bit_mask |= children_present;
    if (count == 0) {
        if (w->encRules == KEL_COER)
            _kel_enc_error(w, MSG_MISENCODED, 0);
        return;
    }
    if (count > (uint32_t)w->inRemaining / CHILD_MIN_OCTETS)
        _kel_enc_error(w, MSG_END_OF_INPUT, 0);
    if (count > CHILDREN_MAX)
        _kel_enc_error(w, MSG_OUT_OF_MEMORY, count);
    child = _kel_dec_getmem_internal(w, count * (uint32_t)sizeof(ChildInformation));
    v->children.count = count;
    v->children.value = child;
    for (end = child + count; child < end; child++)
        decode_ChildInformation(w, child);
}

/* `v` comes cleared: no children until the preamble says so. */
static void decode_PersonnelRecord(KelGlobal *w, PersonnelRecord *v)
{
    const uint32_t preamble = _kel_odec_uint_1byte(w);
    if ((preamble & ~PREAMBLE_CHILDREN) && w->encRules == KEL_COER)
        _kel_enc_error(w, MSG_MISENCODED, 0);
    decode_Name(w, &v->name);
    v->number = _kel_odec_int(w);
    v->title = decode_visible(w);
    v->dateOfHire = decode_visible(w);
    decode_Name(w, &v->nameOfSpouse);
    if (preamble & PREAMBLE_CHILDREN)
        decode_children(w, v);
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

int personnel_oer_encode(KelGlobal *w, int pdu, void *value)
{
    personnel_enter_pdu(w, pdu);
    encode_PersonnelRecord(w, value);
    return 0;
}

void *personnel_oer_decode(KelGlobal *w, int pdu)
{
    PersonnelRecord *record;
    personnel_enter_pdu(w, pdu);
    record = _kel_dec_getmem(w, sizeof *record);
    decode_PersonnelRecord(w, record);
    return record;
}
