/*
 * personnel_a2_oer.c - the OER and COER encoders and decoders of the
 * PersonnelRecordA2 code file, in the shape a compiler emits them: per type
 * a straight line of OER primitive calls.  One path serves both rules: the
 * encoder always writes the canonical form, the decoder leaves the rejections
 * of non-canonical forms to the primitives and adds the two that belong to
 * the record itself.
 *
 * Only the size constraints are seen by OER; the permitted alphabets are
 * not, so characters go out as their own octets and are not tested here.
 * NameString (SIZE(1..64)) has a one-octet length in front; initial
 * (SIZE(1)) and Date (SIZE(8)) have a fixed size and no length at all.  The
 * unconstrained title and EmployeeNumber are coded as in PersonnelRecordA1:
 * a length and the octets, a count octet and the fewest octets of two's
 * complement.  The record opens with a preamble octet whose top bit tells
 * whether children (DEFAULT {}) is present; an empty list is left out, so
 * COER refuses one that is present.  The components of a SET go in the
 * canonical order of their tags (name and number before [0] to [3]); the
 * list of children starts with its quantity, a count octet and the fewest
 * unsigned octets.
 */
#include <string.h>

#include "kelvarn_oer.h"
#include "personnel_a2.h"
#include "personnel_a2_oer.h"

/* Messages raised by the generated code. */
enum {
    MSG_PDU_RANGE = 3,
    MSG_OUT_OF_MEMORY = 6,
    MSG_SIZE_VIOLATED = 27,
    MSG_END_OF_INPUT = 45,
    MSG_SIZE_EXCEEDED = 79,
    MSG_MISENCODED = 106
};

/* SIZE(1..64) of NameString and SIZE(8) of Date. */
#define NAME_MAX_CHARS 64u
#define DATE_CHARS 8u

/* The preamble's bit for children; the other seven bits are padding. */
#define PREAMBLE_CHILDREN 0x80u

/* The fewest octets a ChildInformation takes: two names of one character
 * with their lengths, the initial and the date. */
#define CHILD_MIN_OCTETS (2u + 1u + 2u + DATE_CHARS)
/* The most children an array of decoder memory can hold. */
#define CHILDREN_MAX (0x7FFFFFF8u / (uint32_t)sizeof(A2ChildInformation))

static const KelPduNames recordNames = { "PersonnelRecord", "PersonnelRecord" };

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

/* A string in an array of `room` octets: up to its NUL, or the whole array
 * when there is none (which the size check then refuses). */
static uint32_t held_length(const char *text, uint32_t room)
{
    const char *end = memchr(text, 0, room);
    return end ? (uint32_t)(end - text) : room;
}

/* Whether `n` octets go straight into the current block: room for them,
 * and not count mode.  Otherwise the primitives write them. */
static int has_room(const KelGlobal *w, uint32_t n)
{
    return (int32_t)n <= w->outRemaining && !(w->encodingFlags & DETERMINE_ENC_LENGTH);
}

static uint32_t NameString_length(KelGlobal *w, const char *text)
{
    const uint32_t n = held_length(text, NAME_MAX_CHARS + 1);
    if (n - 1 >= NAME_MAX_CHARS)
        _kel_enc_error(w, MSG_SIZE_VIOLATED, n);
    return n;
}

/* A Name takes 131 octets at most: with room for all of it, one test. */
static void encode_Name(KelGlobal *w, const A2Name *v)
{
    const uint32_t given = NameString_length(w, v->givenName);
    const uint32_t family = NameString_length(w, v->familyName);
    if (v->initial[0] == 0 || v->initial[1] != 0)
        _kel_enc_error(w, MSG_SIZE_VIOLATED, held_length(v->initial, sizeof v->initial));
    if (has_room(w, given + family + 3)) {
        unsigned char *out = w->outPos;
        out[0] = (unsigned char)given;
        memcpy(out + 1, v->givenName, given);
        out += given + 1;
        out[0] = (unsigned char)v->initial[0];
        out[1] = (unsigned char)family;
        memcpy(out + 2, v->familyName, family);
        w->outPos = out + family + 2;
        w->outRemaining -= (int32_t)(given + family + 3);
        return;
    }
    _kel_oenc_append_byte(w, given);
    _kel_oenc_append_bytes(w, (const unsigned char *)v->givenName, given);
    _kel_oenc_append_2bytes(w, (unsigned char)v->initial[0], family);
    _kel_oenc_append_bytes(w, (const unsigned char *)v->familyName, family);
}

static void encode_Date(KelGlobal *w, const char *date)
{
    const uint32_t n = held_length(date, DATE_CHARS + 1);
    if (n != DATE_CHARS)
        _kel_enc_error(w, MSG_SIZE_VIOLATED, n);
    if (has_room(w, DATE_CHARS)) {
        memcpy(w->outPos, date, DATE_CHARS);
        w->outPos += DATE_CHARS;
        w->outRemaining -= DATE_CHARS;
        return;
    }
    _kel_oenc_append_bytes(w, (const unsigned char *)date, DATE_CHARS);
}

static void encode_ChildInformation(KelGlobal *w, const A2ChildInformation *v)
{
    encode_Name(w, &v->name);
    encode_Date(w, v->dateOfBirth);
}

static void encode_PersonnelRecord(KelGlobal *w, const A2PersonnelRecord *v)
{
    const int children = (v->bit_mask & A2_children_present) && v->children.count > 0;
    const uint32_t title = (uint32_t)strlen(v->title);
    _kel_oenc_append_byte(w, children ? PREAMBLE_CHILDREN : 0);
    encode_Name(w, &v->name);
    _kel_oenc_int(w, v->number);
    _kel_oenc_octet_length(w, title);
    _kel_oenc_append_bytes(w, (const unsigned char *)v->title, title);
    encode_Date(w, v->dateOfHire);
    encode_Name(w, &v->nameOfSpouse);
    if (children) {
        const A2ChildInformation *child = v->children.value, *end = child + v->children.count;
        _kel_oenc_uint(w, v->children.count);
        for (; child < end; child++)
            encode_ChildInformation(w, child);
    }
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

/* A length determinant: a one-octet form whose content is present is read
 * here; every other goes through the primitive, which promises the content
 * or fails. */
static int32_t content_length(KelGlobal *w)
{
    const unsigned char *in = w->inPos;
    if (w->inRemaining > 0 && in[0] < 128 && in[0] < w->inRemaining) {
        w->inPos++;
        w->inRemaining--;
        return in[0];
    }
    return _kel_odec_length(w);
}

/* The content is copied straight into the array.  A length beyond the
 * bound (a negative one included) can't be held; none at all breaks the
 * lower bound. */
static void decode_NameString(KelGlobal *w, char *out)
{
    const int32_t n = content_length(w);
    if ((uint32_t)n - 1 >= NAME_MAX_CHARS)
        _kel_enc_error(w, n == 0 ? MSG_SIZE_VIOLATED : MSG_SIZE_EXCEEDED, (uint32_t)n);
    memcpy(out, w->inPos, (size_t)n);
    out[n] = 0;
    w->inPos += n;
    w->inRemaining -= n;
}

/* The fixed fields are read here when present; the primitives report the
 * end of the input. */
static void decode_Name(KelGlobal *w, A2Name *v)
{
    decode_NameString(w, v->givenName);
    if (w->inRemaining > 0) {
        v->initial[0] = (char)*w->inPos++;
        w->inRemaining--;
    } else {
        v->initial[0] = (char)_kel_odec_uint_1byte(w);
    }
    v->initial[1] = 0;
    decode_NameString(w, v->familyName);
}

static void decode_Date(KelGlobal *w, char *out)
{
    if (w->inRemaining >= (int32_t)DATE_CHARS) {
        memcpy(out, w->inPos, DATE_CHARS);
        w->inPos += DATE_CHARS;
        w->inRemaining -= DATE_CHARS;
    } else {
        _kel_odec_read_octets(w, (unsigned char *)out, DATE_CHARS);
    }
    out[DATE_CHARS] = 0;
}

static void decode_ChildInformation(KelGlobal *w, A2ChildInformation *v)
{
    decode_Name(w, &v->name);
    decode_Date(w, v->dateOfBirth);
}

/* A quantity that the rest of the input cannot hold is a lie, not a list to
 * make room for. */
static void decode_children(KelGlobal *w, A2PersonnelRecord *v)
{
    const uint32_t count = _kel_odec_uint(w);
    A2ChildInformation *child, *end;
    v->bit_mask |= A2_children_present;
    if (count == 0) {
        if (w->encRules == KEL_COER)
            _kel_enc_error(w, MSG_MISENCODED, 0);
        return;
    }
    if (count > (uint32_t)w->inRemaining / CHILD_MIN_OCTETS)
        _kel_enc_error(w, MSG_END_OF_INPUT, 0);
    if (count > CHILDREN_MAX)
        _kel_enc_error(w, MSG_OUT_OF_MEMORY, count);
    child = _kel_dec_getmem(w, (int32_t)(count * (uint32_t)sizeof(A2ChildInformation)));
    v->children.count = count;
    v->children.value = child;
    for (end = child + count; child < end; child++)
        decode_ChildInformation(w, child);
}

/* `v` comes cleared: no children until the preamble says so. */
static void decode_PersonnelRecord(KelGlobal *w, A2PersonnelRecord *v)
{
    const uint32_t preamble = _kel_odec_uint_1byte(w);
    int32_t title;
    if ((preamble & ~PREAMBLE_CHILDREN) && w->encRules == KEL_COER)
        _kel_enc_error(w, MSG_MISENCODED, 0);
    decode_Name(w, &v->name);
    v->number = _kel_odec_int(w);
    title = content_length(w);
    if (title < 0)
        _kel_enc_error(w, MSG_END_OF_INPUT, 0);
    v->title = _kel_dec_getmem_internal(w, (uint32_t)title + 1);
    memcpy(v->title, w->inPos, (size_t)title);
    v->title[title] = 0;
    w->inPos += title;
    w->inRemaining -= title;
    decode_Date(w, v->dateOfHire);
    decode_Name(w, &v->nameOfSpouse);
    if (preamble & PREAMBLE_CHILDREN)
        decode_children(w, v);
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

static void enter_pdu(KelGlobal *w, int pdu)
{
    if (pdu != A2PersonnelRecord_PDU)
        _kel_enc_error(w, MSG_PDU_RANGE, (uint32_t)pdu);
    w->pduNumber = pdu;
    w->pduEntry = &recordNames;
}

int personnel_a2_oer_encode(KelGlobal *w, int pdu, void *value)
{
    enter_pdu(w, pdu);
    encode_PersonnelRecord(w, value);
    return 0;
}

void *personnel_a2_oer_decode(KelGlobal *w, int pdu)
{
    A2PersonnelRecord *record;
    enter_pdu(w, pdu);
    record = _kel_dec_getmem(w, sizeof *record);
    decode_PersonnelRecord(w, record);
    return record;
}
