/*
 * personnel_codefile.c - the code file of the module PersonnelRecordA1, in
 * the shape a compiler emits it: per type a straight line of BER primitive
 * calls for the encoder and the decoder, a free function, the control table.
 * The PER encoders and decoders are in personnel_per.c, the OER and COER
 * ones in personnel_oer.c, the JSON ones in personnel_json.c.
 *
 * The encoder writes backward, the last component first.  DER and CER put
 * the components of a SET in the order of their tags (APPLICATION 2 before
 * [0]); BER keeps the textual order.  Under CER every constructed value has
 * the indefinite length: its end-of-contents octets go out before its
 * contents, its header after them, and strings above 1000 octets are split
 * into segments.  The decoder takes the components of a SET in any order;
 * strict CER and DER decoding demands the order of their tags and refuses
 * an empty list of children, which is the DEFAULT; strict decoding holds
 * each component's constructed bit to its type.
 */
#include <string.h>

#include "kelvarn_ber.h"
#include "kelvarn_oer.h"
#include "personnel.h"
#include "personnel_oer.h"
#include "personnel_services.h"
#include "personnel_json.h"
#include "personnel_per.h"

/* Identifier octets, header form (the constructed bit included). */
enum {
    TAG_VISIBLE = 0x1A,
    TAG_SET = 0x31,
    TAG_RECORD = 0x60,   /* [APPLICATION 0] SET */
    TAG_NAME = 0x61,     /* [APPLICATION 1] SEQUENCE */
    TAG_NUMBER = 0x42,   /* [APPLICATION 2] INTEGER */
    TAG_DATE = 0x43,     /* [APPLICATION 3] VisibleString */
    TAG_CONTEXT0 = 0xA0, /* [n] explicit or constructed: 0xA0 | n */
    TAG_OCTETS = 0x04
};

/* Tags of the SET components, class and number form. */
enum {
    CN_NAME = KEL_CLASS_APPLICATION | 1,
    CN_NUMBER = KEL_CLASS_APPLICATION | 2,
    CN_CONTEXT0 = KEL_CLASS_CONTEXT
};

/* Messages raised by the generated code. */
enum {
    MSG_PDU_RANGE = 3,
    MSG_BAD_EOC = 100,
    MSG_INCONSISTENT = 102,
    MSG_UNKNOWN_TAG = 115,
    MSG_REPEATED = 116,
    MSG_OMITTED = 117,
    MSG_EXPECTED_EOC = 118,
    MSG_EXPECTED_CONSTRUCTED = 120,
    MSG_EXPECTED_PRIMITIVE = 121,
    MSG_END_OF_INPUT = 45,
    MSG_INDEFINITE_DER = 134
};

enum { CER_SEGMENT = 1000 };

static const KelPduNames recordNames = { "PersonnelRecord", "PersonnelRecord" };

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

static int32_t open_constructed(KelGlobal *w, unsigned char **pos, int32_t *rem)
{
    return w->encRules == KEL_CER ? _kel_write_bytes_d(w, pos, rem, "\0\0", 2) : 0;
}

static int32_t close_constructed(KelGlobal *w, unsigned char **pos, int32_t *rem, int32_t n,
                                 uint32_t tag)
{
    if (w->encRules != KEL_CER)
        return n + _kel_encd_tag_length(w, pos, rem, (uint32_t)n, tag);
    n += _kel_write_byte_d(w, pos, rem, 0x80);
    return n + _kel_write_byte_d(w, pos, rem, (uint8_t)tag);
}

/* A CER string of more than 1000 octets: constructed, in segments of 1000
 * with the rest in the last one. */
static int32_t encode_segmented(KelGlobal *w, unsigned char **pos, int32_t *rem,
                                const char *text, uint32_t length, uint32_t tag)
{
    int32_t n = _kel_write_bytes_d(w, pos, rem, "\0\0", 2);
    uint32_t end = length, segment = (length - 1) % CER_SEGMENT + 1;
    while (end > 0) {
        int32_t s = _kel_write_bytes_d(w, pos, rem, text + end - segment, segment);
        n += s + _kel_encd_tag_length(w, pos, rem, (uint32_t)s, TAG_OCTETS);
        end -= segment;
        segment = CER_SEGMENT;
    }
    return close_constructed(w, pos, rem, n, tag | 0x20);
}

static int32_t encode_visible(KelGlobal *w, unsigned char **pos, int32_t *rem, const char *text,
                              uint32_t tag)
{
    int32_t n;
    if (w->encRules == KEL_CER) {
        size_t length = strlen(text);
        if (length > CER_SEGMENT)
            return encode_segmented(w, pos, rem, text, (uint32_t)length, tag);
    }
    n = _kel_encd_nstr(w, pos, rem, text, 0);
    return n + _kel_encd_tag_length(w, pos, rem, (uint32_t)n, tag);
}

/* [n] VisibleString or Date under an explicit context tag. */
static int32_t encode_tagged_visible(KelGlobal *w, unsigned char **pos, int32_t *rem,
                                     const char *text, uint32_t tag, uint32_t context)
{
    int32_t n = open_constructed(w, pos, rem);
    n += encode_visible(w, pos, rem, text, tag);
    return close_constructed(w, pos, rem, n, TAG_CONTEXT0 | context);
}

static int32_t encode_Name(KelGlobal *w, unsigned char **pos, int32_t *rem, const Name *v)
{
    int32_t n = open_constructed(w, pos, rem);
    n += encode_visible(w, pos, rem, v->familyName, TAG_VISIBLE);
    n += encode_visible(w, pos, rem, v->initial, TAG_VISIBLE);
    n += encode_visible(w, pos, rem, v->givenName, TAG_VISIBLE);
    return close_constructed(w, pos, rem, n, TAG_NAME);
}

static int32_t encode_ChildInformation(KelGlobal *w, unsigned char **pos, int32_t *rem,
                                       const ChildInformation *v)
{
    int32_t n = open_constructed(w, pos, rem);
    n += encode_tagged_visible(w, pos, rem, v->dateOfBirth, TAG_DATE, 0);
    n += encode_Name(w, pos, rem, &v->name);
    return close_constructed(w, pos, rem, n, TAG_SET);
}

static int32_t encode_PersonnelRecord(KelGlobal *w, unsigned char **pos, int32_t *rem,
                                      const PersonnelRecord *v)
{
    int32_t n = open_constructed(w, pos, rem);
    /* children: DEFAULT {}, so an empty list is left out. */
    if ((v->bit_mask & children_present) && v->children.count > 0) {
        int32_t list = open_constructed(w, pos, rem);
        uint32_t i = v->children.count;
        while (i-- > 0)
            list += encode_ChildInformation(w, pos, rem, &v->children.value[i]);
        n += close_constructed(w, pos, rem, list, TAG_CONTEXT0 | 3);
    }
    {
        int32_t spouse = open_constructed(w, pos, rem);
        spouse += encode_Name(w, pos, rem, &v->nameOfSpouse);
        n += close_constructed(w, pos, rem, spouse, TAG_CONTEXT0 | 2);
    }
    n += encode_tagged_visible(w, pos, rem, v->dateOfHire, TAG_DATE, 1);
    if (w->encRules == KEL_BER) {
        n += _kel_encd_int_tl(w, pos, rem, v->number, TAG_NUMBER);
        n += encode_tagged_visible(w, pos, rem, v->title, TAG_VISIBLE, 0);
    } else {
        n += encode_tagged_visible(w, pos, rem, v->title, TAG_VISIBLE, 0);
        n += _kel_encd_int_tl(w, pos, rem, v->number, TAG_NUMBER);
    }
    n += encode_Name(w, pos, rem, &v->name);
    return close_constructed(w, pos, rem, n, TAG_RECORD);
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

/* inRemaining at the end of a constructed value of `length`, which must lie
 * within the input; -1 for the indefinite length, which DER refuses. */
static int32_t end_of(KelGlobal *w, int32_t length)
{
    if (length > w->inRemaining)
        _kel_enc_error(w, MSG_END_OF_INPUT, 0);
    if (length >= 0)
        return w->inRemaining - length;
    if (w->encRules == KEL_DER)
        _kel_enc_error(w, MSG_INDEFINITE_DER, 0);
    return -1;
}

/* Whether another component follows before `end`; the end-of-contents
 * octets of an indefinite value are consumed here. */
static int more_components(KelGlobal *w, int32_t end)
{
    if (end >= 0) {
        if (w->inRemaining < end)
            _kel_enc_error(w, MSG_INCONSISTENT, 0);
        return w->inRemaining > end;
    }
    if (_kel_preview_byte(w, &w->inPos, &w->inRemaining) != 0)
        return 1;
    _kel_get_byte(w, &w->inPos, &w->inRemaining);
    if (_kel_get_byte(w, &w->inPos, &w->inRemaining) != 0)
        _kel_enc_error(w, MSG_BAD_EOC, 0);
    return 0;
}

/* The end of a value with a fixed list of components. */
static void close_value(KelGlobal *w, int32_t end)
{
    if (end >= 0) {
        if (w->inRemaining != end)
            _kel_enc_error(w, MSG_INCONSISTENT, 0);
    } else if (_kel_get_byte(w, &w->inPos, &w->inRemaining) != 0 ||
               _kel_get_byte(w, &w->inPos, &w->inRemaining) != 0) {
        _kel_enc_error(w, MSG_EXPECTED_EOC, 0);
    }
}

/* The header of a SET component, read by _kel_dec_tag and _kel_dec_length:
 * strict decoding holds its constructed bit, left in bitOffset, to the
 * component's type (X.690 8.1.2.5), which the tag match of the other
 * components does in the library. */
static int32_t component_length(KelGlobal *w, int primitive)
{
    if ((w->decodingFlags & STRICT_ENCODING_DECODING_RULES) && (w->bitOffset == 0) != (primitive != 0))
        _kel_enc_error(w, primitive ? MSG_EXPECTED_PRIMITIVE : MSG_EXPECTED_CONSTRUCTED, 0);
    return _kel_dec_length(w, &w->inPos, &w->inRemaining);
}

static void mark_seen(KelGlobal *w, unsigned *seen, unsigned bit)
{
    if (*seen & bit)
        _kel_enc_error(w, MSG_REPEATED, 0);
    *seen |= bit;
}

static char *decode_visible(KelGlobal *w, uint32_t tag)
{
    unsigned char *text;
    int32_t length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, tag);
    _kel_dec_nstr_ptr(w, &w->inPos, &w->inRemaining, length, &text, 0);
    return (char *)text;
}

/* The contents of an explicit tag of `length` holding a string. */
static char *decode_tagged_visible(KelGlobal *w, int32_t length, uint32_t tag)
{
    int32_t end = end_of(w, length);
    char *text = decode_visible(w, tag);
    close_value(w, end);
    return text;
}

static void decode_Name(KelGlobal *w, Name *v, int32_t length)
{
    int32_t end = end_of(w, length);
    v->givenName = decode_visible(w, TAG_VISIBLE);
    v->initial = decode_visible(w, TAG_VISIBLE);
    v->familyName = decode_visible(w, TAG_VISIBLE);
    close_value(w, end);
}

static void decode_ChildInformation(KelGlobal *w, ChildInformation *v, int32_t length)
{
    unsigned char **pos = &w->inPos;
    int32_t *rem = &w->inRemaining;
    int32_t end = end_of(w, length);
    unsigned seen = 0;
    uint32_t nextTag = 0;
    while (more_components(w, end)) {
        uint16_t tag = _kel_dec_tag(w, pos, rem);
        int32_t inner = component_length(w, 0); /* every component is constructed */
        _kel_dec_set_order(w, &nextTag, tag);
        switch (tag) {
        case CN_NAME:
            mark_seen(w, &seen, 1);
            decode_Name(w, &v->name, inner);
            break;
        case CN_CONTEXT0:
            mark_seen(w, &seen, 2);
            v->dateOfBirth = decode_tagged_visible(w, inner, TAG_DATE);
            break;
        default:
            _kel_enc_error(w, MSG_UNKNOWN_TAG, tag);
        }
    }
    if (seen != 3)
        _kel_enc_error(w, MSG_OMITTED, 0);
}

/* The children in one pass: they go to an array on the stack and, past
 * its room, to one on the temporary stack that grows by doubling; they move
 * to decoder memory after the last one, when the count is known. */
static void decode_children(KelGlobal *w, PersonnelRecord *v, int32_t length)
{
    static const uint32_t noChildren = 0; /* DEFAULT {} */
    int32_t end = end_of(w, length);
    ChildInformation local[4], *children = local;
    uint32_t count = 0, capacity = sizeof local / sizeof local[0];

    while (more_components(w, end)) {
        if (count == capacity) {
            const uint32_t grown = 2 * capacity;
            if (children == local) {
                children = _kel_dec_gettempmem(w, grown * sizeof *children);
                memcpy(children, local, sizeof local);
            } else {
                children = _kel_dec_realloctempmem(w, children, capacity * sizeof *children,
                                                   grown * sizeof *children);
            }
            capacity = grown;
        }
        decode_ChildInformation(w, &children[count++],
                                _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, TAG_SET));
    }
    _kel_dec_dflt_present(w, &count, sizeof count, &noChildren, sizeof noChildren);
    v->bit_mask |= children_present;
    v->children.count = count;
    v->children.value = NULL;
    if (count) {
        v->children.value = _kel_dec_getmem(w, (int32_t)(count * sizeof *children));
        memcpy(v->children.value, children, count * sizeof *children);
    }
    if (children != local)
        _kel_dec_freetempmem(w, children);
}

static void decode_PersonnelRecord(KelGlobal *w, PersonnelRecord *v)
{
    unsigned char **pos = &w->inPos;
    int32_t *rem = &w->inRemaining;
    int32_t end = end_of(w, _kel_dec_tag_length(w, pos, rem, TAG_RECORD));
    unsigned seen = 0;
    uint32_t nextTag = 0;

    v->bit_mask = 0;
    v->children.count = 0;
    v->children.value = NULL;
    while (more_components(w, end)) {
        uint16_t tag = _kel_dec_tag(w, pos, rem);
        int32_t length = component_length(w, tag == CN_NUMBER);
        _kel_dec_set_order(w, &nextTag, tag);
        switch (tag) {
        case CN_NAME:
            mark_seen(w, &seen, 1);
            decode_Name(w, &v->name, length);
            break;
        case CN_CONTEXT0:
            mark_seen(w, &seen, 2);
            v->title = decode_tagged_visible(w, length, TAG_VISIBLE);
            break;
        case CN_NUMBER:
            mark_seen(w, &seen, 4);
            v->number = _kel_dec_iint(w, pos, rem, length);
            break;
        case CN_CONTEXT0 | 1:
            mark_seen(w, &seen, 8);
            v->dateOfHire = decode_tagged_visible(w, length, TAG_DATE);
            break;
        case CN_CONTEXT0 | 2: {
            int32_t spouseEnd = end_of(w, length);
            mark_seen(w, &seen, 16);
            decode_Name(w, &v->nameOfSpouse, _kel_dec_tag_length(w, pos, rem, TAG_NAME));
            close_value(w, spouseEnd);
            break;
        }
        case CN_CONTEXT0 | 3:
            mark_seen(w, &seen, 32);
            decode_children(w, v, length);
            break;
        default:
            _kel_enc_error(w, MSG_UNKNOWN_TAG, tag);
        }
    }
    if ((seen & 31) != 31)
        _kel_enc_error(w, MSG_OMITTED, 0);
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

void personnel_enter_pdu(KelGlobal *w, int pdu)
{
    if (pdu != PersonnelRecord_PDU)
        _kel_enc_error(w, MSG_PDU_RANGE, (uint32_t)pdu);
    w->pduNumber = pdu;
    w->pduEntry = &recordNames;
}

static int personnel_encode(KelGlobal *w, int pdu, void *value)
{
    unsigned char *pos = w->userBuffer ? w->outPos + w->outRemaining : NULL;
    int32_t rem = w->userBuffer ? w->outRemaining : 0;
    int32_t total;

    personnel_enter_pdu(w, pdu);
    total = encode_PersonnelRecord(w, &pos, &rem, value);
    if (w->userBuffer) {
        w->outPos = pos;
        w->outRemaining = total;
    } else {
        uint32_t length;
        _kel_set_outmem_d(w, (uint32_t)rem, &length, &w->outPos);
        w->outRemaining = (int32_t)length;
    }
    return 0;
}

static int personnel_decode(KelGlobal *w, int *pdu, void **value)
{
    PersonnelRecord *record;
    personnel_enter_pdu(w, *pdu);
    record = _kel_dec_getmem(w, sizeof *record);
    decode_PersonnelRecord(w, record);
    *value = record;
    return 0;
}

static void free_Name(KelGlobal *w, Name *v)
{
    kelFreeMemory(w, v->givenName);
    kelFreeMemory(w, v->initial);
    kelFreeMemory(w, v->familyName);
}

static int personnel_free(KelGlobal *w, int pdu, void *value)
{
    PersonnelRecord *v = value;
    uint32_t i;
    if (pdu != PersonnelRecord_PDU)
        return MSG_PDU_RANGE;
    free_Name(w, &v->name);
    kelFreeMemory(w, v->title);
    kelFreeMemory(w, v->dateOfHire);
    free_Name(w, &v->nameOfSpouse);
    for (i = 0; i < v->children.count; i++) {
        free_Name(w, &v->children.value[i].name);
        kelFreeMemory(w, v->children.value[i].dateOfBirth);
    }
    kelFreeMemory(w, v->children.value);
    kelFreeMemory(w, v);
    return 0;
}

/* The code file serves BER (0), aligned (1) and unaligned (2) PER, DER (3),
 * CER (7), OER (12), COER (13) and JSON (14). */
static unsigned char ruleMap[] = { 0x01 | 0x02 | 0x04 | 0x08 | 0x80, 0x10 | 0x20 | 0x40 };

static KelXApiTable xapi = {
    .cpyValue = personnel_copy,
    .cmpValue = personnel_compare,
    .checkConstraints = personnel_check,
    .oerVersion = 0,
    .oerEncode = personnel_oer_encode,
    /* the OER decoder entry answers the value; it stands in the common slot */
    .oerDecode = (KelDecodeFn)(void (*)(void))personnel_oer_decode,
    .jsonVersion = 0,
    .jsonEncode = personnel_json_encode,
    /* so does the JSON one, which also takes the decoder's cursor */
    .jsonDecode = (KelDecodeFn)(void (*)(void))personnel_json_decode,
};

static void personnel_init(KelGlobal *w)
{
    kelLinkBer(w);
    kelLinkPer(w);
    kelLinkOerE(w);
    kelLinkOerD(w);
    kelLinkJsonE(w);
    kelLinkJsonD(w);
    kelPrivateSetMoreFlags(w, 16, ruleMap);
    kelInitXAPIentries(w, &xapi);
    w->modeBits |= KEL_MODE_DER_SUPPORT;
}

KelControlTable personnel_control = {
    .init = personnel_init,
    .berEncode = personnel_encode,
    .berDecode = personnel_decode,
    .perEncode = personnel_per_encode,
    .perDecode = personnel_per_decode,
    .freePdu = personnel_free,
    .version = 17,
    .perVersion = 16,
    .printPdu = personnel_print,
};
