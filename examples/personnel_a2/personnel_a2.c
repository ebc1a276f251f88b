/*
 * personnel_a2.c - the code file of the module PersonnelRecordA2, in the
 * shape a compiler emits it: per type a straight line of PER primitive calls
 * for the encoder and the decoder, the permitted alphabets and string
 * descriptors, a free function, the control table.  The code file serves
 * aligned and unaligned PER through one path.
 *
 * The components of a SET go in the canonical order of their tags (name and
 * number before [0] to [3]); children (DEFAULT {}) has the only preamble bit
 * and is left out when empty.  NameString's 54 characters take 6 bits as
 * alphabet indexes in unaligned PER, their own 8-bit codes in aligned PER;
 * its length 1..64 is a 6-bit field.  Initial has a fixed size of one and no
 * length.  Date's ten digits take 4 bits as indexes, eight of them with no
 * length.  The title keeps VisibleString's own codes behind an unconstrained
 * length.  The OER and COER encoders and decoders are in personnel_a2_oer.c.
 */
#include <string.h>

#include "kelvarn_oer.h"
#include "kelvarn_per.h"
#include "personnel_a2.h"
#include "personnel_a2_oer.h"

/* A fragment of a length determinant covers a multiple of 16K items. */
#define FRAGMENT_UNIT 16384u

enum { MSG_PDU_RANGE = 3 };

static const KelPduNames recordNames = { "PersonnelRecord", "PersonnelRecord" };

/* FROM ("a".."z" | "A".."Z" | "-."): the characters in code order, their
 * position being the index on the wire; the inverse table. */
static const unsigned char nameIndexes[128] = {
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 0, 1, 255,
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
    255, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16,
    17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 255, 255, 255, 255, 255,
    255, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42,
    43, 44, 45, 46, 47, 48, 49, 50, 51, 52, 53, 255, 255, 255, 255, 255,
};
static const KelPerAlphabet nameAlphabet = {
    54, (const unsigned char *)"-.ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", nameIndexes
};

/* FROM ("0".."9") */
static const unsigned char digitIndexes[128] = {
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
    0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 255, 255, 255, 255, 255, 255,
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
    255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255,
};
static const KelPerAlphabet digitAlphabet = { 10, (const unsigned char *)"0123456789", digitIndexes };

static const KelPerString nameString = { &nameAlphabet, 1, 64, 64, KEL_PER_STRING_FLAGS(8, 1, 6, 0) };
static const KelPerString initialString = { &nameAlphabet, 1, 1, 1, KEL_PER_STRING_FLAGS(8, 1, 6, 0) };
static const KelPerString dateString = { &digitAlphabet, 8, 8, 8, KEL_PER_STRING_FLAGS(4, 0, 4, 0) };
static const KelPerString visibleString = { NULL, 1, 0, 0, KEL_PER_STRING_FLAGS(8, 1, 7, 1) };

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

/* A string in an array of `room` octets: up to its NUL, or the whole array
 * when there is none (which the size check then refuses). */
static void encode_bounded(KelGlobal *w, const char *text, uint32_t room, const KelPerString *desc)
{
    const char *end = memchr(text, 0, room);
    const uint32_t length = end ? (uint32_t)(end - text) : room;
    _kel_penc_kmstr(w, (const unsigned char *)text, length, desc, 0);
}

static void encode_Name(KelGlobal *w, const A2Name *v)
{
    encode_bounded(w, v->givenName, sizeof v->givenName, &nameString);
    encode_bounded(w, v->initial, sizeof v->initial, &initialString);
    encode_bounded(w, v->familyName, sizeof v->familyName, &nameString);
}

static void encode_ChildInformation(KelGlobal *w, const A2ChildInformation *v)
{
    encode_Name(w, &v->name);
    encode_bounded(w, v->dateOfBirth, sizeof v->dateOfBirth, &dateString);
}

static void encode_children(KelGlobal *w, const A2PersonnelRecord *v)
{
    const A2ChildInformation *child = v->children.value;
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

static void encode_PersonnelRecord(KelGlobal *w, const A2PersonnelRecord *v)
{
    const int children = (v->bit_mask & A2_children_present) && v->children.count > 0;
    _kel_penc_nonneg_1int(w, (uint32_t)children);
    encode_Name(w, &v->name);
    _kel_penc_unconstr_int_l(w, v->number);
    _kel_penc_kmstr(w, (const unsigned char *)v->title, (uint32_t)strlen(v->title), &visibleString, 0);
    encode_bounded(w, v->dateOfHire, sizeof v->dateOfHire, &dateString);
    encode_Name(w, &v->nameOfSpouse);
    if (children)
        encode_children(w, v);
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

static void decode_Name(KelGlobal *w, A2Name *v)
{
    _kel_pdec_nt_kmstr(w, (unsigned char *)v->givenName, &nameString);
    _kel_pdec_nt_kmstr(w, (unsigned char *)v->initial, &initialString);
    _kel_pdec_nt_kmstr(w, (unsigned char *)v->familyName, &nameString);
}

static void decode_ChildInformation(KelGlobal *w, A2ChildInformation *v)
{
    decode_Name(w, &v->name);
    _kel_pdec_nt_kmstr(w, (unsigned char *)v->dateOfBirth, &dateString);
}

/* Each determinant grows the array; its elements follow it. */
static void decode_children(KelGlobal *w, A2PersonnelRecord *v)
{
    uint32_t i = 0;
    uint8_t last = 0;
    while (!last) {
        _kel_pdec_usof(w, &v->children.count, (void **)&v->children.value, 4, sizeof(A2ChildInformation),
                       0, 0, 0, &last);
        for (; i < v->children.count; i++)
            decode_ChildInformation(w, &v->children.value[i]);
    }
    v->bit_mask |= A2_children_present;
}

static void decode_PersonnelRecord(KelGlobal *w, A2PersonnelRecord *v)
{
    const uint32_t children = _kel_pdec_nonneg_1int(w);
    v->bit_mask = 0;
    v->title = NULL;
    v->children.count = 0;
    v->children.value = NULL;
    decode_Name(w, &v->name);
    v->number = _kel_pdec_unconstr_int_l(w);
    _kel_pdec_ntp_kmstr(w, (unsigned char **)&v->title, &visibleString);
    _kel_pdec_nt_kmstr(w, (unsigned char *)v->dateOfHire, &dateString);
    decode_Name(w, &v->nameOfSpouse);
    if (children)
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

static int personnel_a2_encode(KelGlobal *w, int pdu, void *value)
{
    enter_pdu(w, pdu);
    encode_PersonnelRecord(w, value);
    return 0;
}

static int personnel_a2_decode(KelGlobal *w, int *pdu, void **value)
{
    A2PersonnelRecord *record;
    enter_pdu(w, *pdu);
    record = _kel_dec_getmem(w, sizeof *record);
    decode_PersonnelRecord(w, record);
    *value = record;
    return 0;
}

/* The record, its title and its list of children: three pieces at most. */
static int personnel_a2_free(KelGlobal *w, int pdu, void *value)
{
    A2PersonnelRecord *v = value;
    if (pdu != A2PersonnelRecord_PDU)
        return MSG_PDU_RANGE;
    kelFreeMemory(w, v->title);
    kelFreeMemory(w, v->children.value);
    kelFreeMemory(w, v);
    return 0;
}

/* The code file serves aligned (1) and unaligned (2) PER, OER (12) and
 * COER (13). */
static unsigned char ruleMap[] = { 0x02 | 0x04, 0x10 | 0x20 };

static KelXApiTable xapi = {
    .oerVersion = 0,
    .oerEncode = personnel_a2_oer_encode,
    /* the OER decoder entry answers the value; it stands in the common slot */
    .oerDecode = (KelDecodeFn)(void (*)(void))personnel_a2_oer_decode,
};

/* BER is not served here, so a new world starts in aligned PER. */
static void personnel_a2_init(KelGlobal *w)
{
    kelLinkPer(w);
    kelLinkOerE(w);
    kelLinkOerD(w);
    kelPrivateSetMoreFlags(w, 16, ruleMap);
    kelInitXAPIentries(w, &xapi);
    w->encRules = KEL_PER_ALIGNED;
}

KelControlTable personnel_a2_control = {
    .init = personnel_a2_init,
    .perEncode = personnel_a2_encode,
    .perDecode = personnel_a2_decode,
    .freePdu = personnel_a2_free,
    .version = 17,
    .perVersion = 16,
};
