/*
 * proto_message.c - the code file of the module ProtoMessage, in the shape a
 * compiler emits it: per type a straight line of BER primitive calls for the
 * encoder and the decoder, the free function, the control table.  The PER
 * encoders and decoders are in proto_message_per.c, the OER and COER ones in
 * proto_message_oer.c, the JSON ones in proto_message_json.c.
 *
 * Every component carries its automatic context tag [n]; a CHOICE is tagged
 * explicitly, so Body's tag encloses the alternative's own.  The encoder
 * writes backward, last component first; under CER constructed values take
 * the indefinite length (no string here reaches the 1000-octet segment
 * size).  The decoder reads components in order, peeking at the next tag for
 * OPTIONAL ones, checks each integer against its range before it narrows it,
 * and steps over extension additions it doesn't know.
 */
#include "kelvarn_ber.h"
#include "kelvarn_oer.h"
#include "proto_message.h"
#include "proto_message_oer.h"
#include "proto_message_services.h"
#include "proto_message_json.h"
#include "proto_message_per.h"

/* Identifier octets, header form: context [n] primitive or constructed. */
#define CTX(n) (0x80u | (n))
#define CTX_C(n) (0xA0u | (n))
enum { TAG_SEQUENCE = 0x30 };

/* Messages raised by the generated code. */
enum {
    MSG_PDU_RANGE = 3,
    MSG_CHOICE_RANGE = 7,
    MSG_SIGNED_RANGE = 22,
    MSG_UNSIGNED_RANGE = 23,
    MSG_COUNT_RANGE = 28,
    MSG_NOT_ENUMERATED = 36,
    MSG_BAD_EOC = 100,
    MSG_INCONSISTENT = 102,
    MSG_UNKNOWN_TAG = 115,
    MSG_EXPECTED_EOC = 118,
    MSG_END_OF_INPUT = 45,
    MSG_INDEFINITE_DER = 134
};

static const KelPduNames messageNames = { "Message", "Message" };

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

static int32_t encode_octets(KelGlobal *w, unsigned char **pos, int32_t *rem,
                             const unsigned char *octets, int32_t size, uint32_t tag)
{
    int32_t n = _kel_write_bytes_d(w, pos, rem, octets, size);
    return n + _kel_encd_tag_length(w, pos, rem, (uint32_t)n, tag);
}

static int32_t encode_text(KelGlobal *w, unsigned char **pos, int32_t *rem, const char *text,
                           int32_t limit, uint32_t tag)
{
    int32_t n = _kel_encd_nstr(w, pos, rem, text, limit);
    return n + _kel_encd_tag_length(w, pos, rem, (uint32_t)n, tag);
}

static int32_t encode_NodeAddress(KelGlobal *w, unsigned char **pos, int32_t *rem,
                                  const NodeAddress *v, uint32_t tag)
{
    int32_t n = open_constructed(w, pos, rem);
    if (v->bit_mask & nodeName_present)
        n += encode_text(w, pos, rem, v->nodeName, 32, CTX(2));
    n += _kel_encd_uint_tl(w, pos, rem, v->nodeNumber, CTX(1));
    n += encode_octets(w, pos, rem, v->plmnId, 3, CTX(0));
    return close_constructed(w, pos, rem, n, tag);
}

static int32_t encode_Header(KelGlobal *w, unsigned char **pos, int32_t *rem, const Header *v)
{
    int32_t n = open_constructed(w, pos, rem);
    if (v->bit_mask & hopCount_present)
        n += _kel_encd_uint_tl(w, pos, rem, v->hopCount, CTX(8));
    if (v->bit_mask & correlationId_present)
        n += _kel_encd_uint_tl(w, pos, rem, v->correlationId, CTX(7));
    if (v->bit_mask & destination_present)
        n += encode_NodeAddress(w, pos, rem, &v->destination, CTX_C(6));
    n += encode_NodeAddress(w, pos, rem, &v->source, CTX_C(5));
    n += _kel_encb_pbit_tl(w, pos, rem, v->flags, 32, CTX(4));
    n += _kel_encd_uint_tl(w, pos, rem, (uint32_t)v->priority, CTX(3));
    n += _kel_encd_uint_tl(w, pos, rem, v->timestamp, CTX(2));
    n += _kel_encd_uint_tl(w, pos, rem, v->messageId, CTX(1));
    n += _kel_encd_uint_tl(w, pos, rem, v->protocolVersion, CTX(0));
    return close_constructed(w, pos, rem, n, CTX_C(0));
}

static int32_t encode_MeasurementReport(KelGlobal *w, unsigned char **pos, int32_t *rem,
                                        const MeasurementReport *v, uint32_t tag)
{
    int32_t n = open_constructed(w, pos, rem);
    if (v->bit_mask & validity_present) {
        int32_t validity = open_constructed(w, pos, rem);
        validity += _kel_encd_uint_tl(w, pos, rem, v->validity.durationMs, CTX(1));
        validity += _kel_encd_uint_tl(w, pos, rem, v->validity.startTime, CTX(0));
        n += close_constructed(w, pos, rem, validity, CTX_C(5));
    }
    n += encode_text(w, pos, rem, v->description, 64, CTX(4));
    n += encode_octets(w, pos, rem, v->sessionKey, 16, CTX(3));
    {
        int32_t cell = open_constructed(w, pos, rem);
        cell += _kel_encd_uint_tl(w, pos, rem, v->servingCell.cellId, CTX(2));
        cell += _kel_encd_uint_tl(w, pos, rem, v->servingCell.mnc, CTX(1));
        cell += _kel_encd_uint_tl(w, pos, rem, v->servingCell.mcc, CTX(0));
        n += close_constructed(w, pos, rem, cell, CTX_C(2));
    }
    n += _kel_encd_uint_tl(w, pos, rem, (uint32_t)v->trigger, CTX(1));
    n += _kel_encd_uint_tl(w, pos, rem, v->reportId, CTX(0));
    return close_constructed(w, pos, rem, n, tag);
}

static int32_t encode_Body(KelGlobal *w, unsigned char **pos, int32_t *rem, const Body *v)
{
    int32_t n = open_constructed(w, pos, rem);
    switch (v->choice) {
    case attachRequest_chosen: {
        int32_t attach = open_constructed(w, pos, rem);
        attach += _kel_encb_pbit_tl(w, pos, rem, v->u.attachRequest.capabilities, 32, CTX(1));
        attach += encode_octets(w, pos, rem, v->u.attachRequest.imsi, 8, CTX(0));
        n += close_constructed(w, pos, rem, attach, CTX_C(0));
        break;
    }
    case measurementReport_chosen:
        n += encode_MeasurementReport(w, pos, rem, &v->u.measurementReport, CTX_C(1));
        break;
    case releaseIndication_chosen: {
        int32_t release = open_constructed(w, pos, rem);
        release += _kel_encd_uint_tl(w, pos, rem, v->u.releaseIndication.cause, CTX(0));
        n += close_constructed(w, pos, rem, release, CTX_C(2));
        break;
    }
    default:
        _kel_enc_error(w, MSG_CHOICE_RANGE, v->choice);
    }
    return close_constructed(w, pos, rem, n, CTX_C(1));
}

static int32_t encode_CellReport(KelGlobal *w, unsigned char **pos, int32_t *rem,
                                 const CellReport *v)
{
    int32_t n = open_constructed(w, pos, rem);
    if (v->bit_mask & sinr_present)
        n += _kel_encd_int_tl(w, pos, rem, v->sinr, CTX(3));
    n += _kel_encd_int_tl(w, pos, rem, v->rsrq, CTX(2));
    n += _kel_encd_int_tl(w, pos, rem, v->rsrp, CTX(1));
    n += _kel_encd_uint_tl(w, pos, rem, v->pci, CTX(0));
    return close_constructed(w, pos, rem, n, TAG_SEQUENCE);
}

static int32_t encode_Message(KelGlobal *w, unsigned char **pos, int32_t *rem, const Message *v)
{
    int32_t n = open_constructed(w, pos, rem);
    if (v->bit_mask & trailer_present) {
        int32_t trailer = open_constructed(w, pos, rem);
        trailer += _kel_encd_uint_tl(w, pos, rem, v->trailer.checksum, CTX(1));
        trailer += _kel_encd_uint_tl(w, pos, rem, v->trailer.sequenceNumber, CTX(0));
        n += close_constructed(w, pos, rem, trailer, CTX_C(4));
    }
    if (v->bit_mask & security_present) {
        int32_t security = open_constructed(w, pos, rem);
        security += encode_octets(w, pos, rem, v->security.mac, 4, CTX(2));
        security += _kel_encd_uint_tl(w, pos, rem, v->security.keySetId, CTX(1));
        security += _kel_encd_uint_tl(w, pos, rem, (uint32_t)v->security.algorithm, CTX(0));
        n += close_constructed(w, pos, rem, security, CTX_C(3));
    }
    {
        int32_t list = open_constructed(w, pos, rem);
        uint32_t i = v->cellReports.count;
        if (i < 1 || i > 32)
            _kel_enc_error(w, MSG_COUNT_RANGE, i);
        while (i-- > 0)
            list += encode_CellReport(w, pos, rem, &v->cellReports.value[i]);
        n += close_constructed(w, pos, rem, list, CTX_C(2));
    }
    n += encode_Body(w, pos, rem, &v->body);
    n += encode_Header(w, pos, rem, &v->header);
    return close_constructed(w, pos, rem, n, TAG_SEQUENCE);
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

/* Whether the next component before `end` starts with the identifier octet
 * `tag` (constructed bit ignored); an end-of-contents never does. */
static int next_is(KelGlobal *w, int32_t end, uint32_t tag)
{
    return w->inRemaining > (end > 0 ? end : 0) && (w->inPos[0] & 0xDF) == (tag & 0xDF);
}

/* Steps over the extension additions that this code file doesn't know: any
 * further component must be a context tag from `firstUnknown` on.  Then the
 * end of the value. */
static void skip_extensions(KelGlobal *w, int32_t end, uint16_t firstUnknown)
{
    while (more_components(w, end)) {
        uint16_t tag = _kel_dec_tag(w, &w->inPos, &w->inRemaining);
        if ((tag & 0xC000) != KEL_CLASS_CONTEXT || (tag & 0x3FFF) < firstUnknown)
            _kel_enc_error(w, MSG_UNKNOWN_TAG, tag);
        _kel_skip_past_item(w, &w->inPos, &w->inRemaining,
                            _kel_dec_length(w, &w->inPos, &w->inRemaining));
    }
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

static int32_t open_value(KelGlobal *w, uint32_t tag)
{
    return end_of(w, _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, tag));
}

static uint32_t decode_unsigned(KelGlobal *w, uint32_t tag, uint32_t low, uint32_t high)
{
    int32_t length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, tag);
    uint32_t value = _kel_dec_uiint(w, &w->inPos, &w->inRemaining, length);
    if (value < low || value > high)
        _kel_enc_error(w, MSG_UNSIGNED_RANGE, value);
    return value;
}

static int32_t decode_signed(KelGlobal *w, uint32_t tag, int32_t low, int32_t high)
{
    int32_t length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, tag);
    int32_t value = _kel_dec_iint(w, &w->inPos, &w->inRemaining, length);
    if (value < low || value > high)
        _kel_enc_error(w, MSG_SIGNED_RANGE, (uint32_t)value);
    return value;
}

/* ENUMERATED: a root of `count` values; an extensible type keeps any value
 * that a later version may have added. */
static uint32_t decode_enumerated(KelGlobal *w, uint32_t tag, uint32_t count, int extensible)
{
    int32_t length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, tag);
    int32_t value = _kel_dec_iint(w, &w->inPos, &w->inRemaining, length);
    if (value < 0 || (!extensible && (uint32_t)value >= count))
        _kel_enc_error(w, MSG_NOT_ENUMERATED, (uint32_t)value);
    return (uint32_t)value;
}

static void decode_octets(KelGlobal *w, uint32_t tag, unsigned char *array, uint32_t size)
{
    int32_t length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, tag);
    _kel_dec_fixed_oct(w, &w->inPos, &w->inRemaining, length, array, size);
}

static void decode_text(KelGlobal *w, uint32_t tag, char *array, int32_t limit)
{
    int32_t length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, tag);
    _kel_dec_nstr(w, &w->inPos, &w->inRemaining, length, (unsigned char *)array, limit);
}

static uint32_t decode_bits32(KelGlobal *w, uint32_t tag)
{
    uint32_t bits;
    int32_t length = _kel_dec_tag_length(w, &w->inPos, &w->inRemaining, tag);
    _kel_dec_pbit(w, &w->inPos, &w->inRemaining, length, &bits, 32, 0);
    return bits;
}

static void decode_NodeAddress(KelGlobal *w, NodeAddress *v, uint32_t tag)
{
    int32_t end = open_value(w, tag);
    v->bit_mask = 0;
    decode_octets(w, CTX(0), v->plmnId, 3);
    v->nodeNumber = decode_unsigned(w, CTX(1), 0, 1048575);
    if (next_is(w, end, CTX(2))) {
        v->bit_mask |= nodeName_present;
        decode_text(w, CTX(2), v->nodeName, 32);
    } else {
        v->nodeName[0] = 0;
    }
    close_value(w, end);
}

static void decode_Header(KelGlobal *w, Header *v)
{
    int32_t end = open_value(w, CTX_C(0));
    v->bit_mask = 0;
    v->protocolVersion = (uint8_t)decode_unsigned(w, CTX(0), 1, 15);
    v->messageId = decode_unsigned(w, CTX(1), 0, 0xFFFFFFFFu);
    v->timestamp = decode_unsigned(w, CTX(2), 0, 0xFFFFFFFFu);
    v->priority = (Priority)decode_enumerated(w, CTX(3), 5, 1);
    v->flags = decode_bits32(w, CTX(4));
    decode_NodeAddress(w, &v->source, CTX_C(5));
    if (next_is(w, end, CTX_C(6))) {
        v->bit_mask |= destination_present;
        decode_NodeAddress(w, &v->destination, CTX_C(6));
    }
    if (next_is(w, end, CTX(7))) {
        v->bit_mask |= correlationId_present;
        v->correlationId = (uint16_t)decode_unsigned(w, CTX(7), 0, 65535);
    }
    if (next_is(w, end, CTX(8))) {
        v->bit_mask |= hopCount_present;
        v->hopCount = (uint8_t)decode_unsigned(w, CTX(8), 0, 255);
    }
    skip_extensions(w, end, 9);
}

static void decode_MeasurementReport(KelGlobal *w, MeasurementReport *v, int32_t end)
{
    v->bit_mask = 0;
    v->reportId = (uint16_t)decode_unsigned(w, CTX(0), 0, 65535);
    v->trigger = (MeasurementReport_trigger)decode_enumerated(w, CTX(1), 5, 0);
    {
        int32_t cellEnd = open_value(w, CTX_C(2));
        v->servingCell.mcc = (uint16_t)decode_unsigned(w, CTX(0), 0, 999);
        v->servingCell.mnc = (uint16_t)decode_unsigned(w, CTX(1), 0, 999);
        v->servingCell.cellId = decode_unsigned(w, CTX(2), 0, 268435455);
        close_value(w, cellEnd);
    }
    decode_octets(w, CTX(3), v->sessionKey, 16);
    decode_text(w, CTX(4), v->description, 64);
    if (next_is(w, end, CTX_C(5))) {
        int32_t validityEnd = open_value(w, CTX_C(5));
        v->bit_mask |= validity_present;
        v->validity.startTime = decode_unsigned(w, CTX(0), 0, 0xFFFFFFFFu);
        v->validity.durationMs = decode_unsigned(w, CTX(1), 1, 86400000);
        close_value(w, validityEnd);
    }
    skip_extensions(w, end, 6);
}

/* Body: the explicit tag, then the alternative by its tag.  An alternative
 * added by a later version is stepped over and leaves the selector 0. */
static void decode_Body(KelGlobal *w, Body *v)
{
    unsigned char **pos = &w->inPos;
    int32_t *rem = &w->inRemaining;
    int32_t end = open_value(w, CTX_C(1));
    uint16_t tag = _kel_dec_tag(w, pos, rem);
    int32_t inner = end_of(w, _kel_dec_length(w, pos, rem));

    switch (tag) {
    case KEL_CLASS_CONTEXT | 0:
        v->choice = attachRequest_chosen;
        decode_octets(w, CTX(0), v->u.attachRequest.imsi, 8);
        v->u.attachRequest.capabilities = decode_bits32(w, CTX(1));
        close_value(w, inner);
        break;
    case KEL_CLASS_CONTEXT | 1:
        v->choice = measurementReport_chosen;
        decode_MeasurementReport(w, &v->u.measurementReport, inner);
        break;
    case KEL_CLASS_CONTEXT | 2:
        v->choice = releaseIndication_chosen;
        v->u.releaseIndication.cause = (uint8_t)decode_unsigned(w, CTX(0), 0, 255);
        close_value(w, inner);
        break;
    default:
        if ((tag & 0xC000) != KEL_CLASS_CONTEXT)
            _kel_enc_error(w, MSG_UNKNOWN_TAG, tag);
        v->choice = 0;
        _kel_skip_past_item(w, pos, rem, inner < 0 ? -1 : w->inRemaining - inner);
    }
    close_value(w, end);
}

static void decode_CellReport(KelGlobal *w, CellReport *v)
{
    int32_t end = open_value(w, TAG_SEQUENCE);
    v->bit_mask = 0;
    v->pci = (uint16_t)decode_unsigned(w, CTX(0), 0, 1007);
    v->rsrp = (int16_t)decode_signed(w, CTX(1), -156, -44);
    v->rsrq = (int8_t)decode_signed(w, CTX(2), -43, 20);
    if (next_is(w, end, CTX(3))) {
        v->bit_mask |= sinr_present;
        v->sinr = (int8_t)decode_signed(w, CTX(3), -23, 40);
    }
    close_value(w, end);
}

static void decode_Message(KelGlobal *w, Message *v)
{
    int32_t end = open_value(w, TAG_SEQUENCE);
    v->bit_mask = 0;
    decode_Header(w, &v->header);
    decode_Body(w, &v->body);
    {
        int32_t listEnd = open_value(w, CTX_C(2));
        uint32_t count = 0;
        while (more_components(w, listEnd)) {
            if (count == 32)
                _kel_enc_error(w, MSG_COUNT_RANGE, count + 1);
            decode_CellReport(w, &v->cellReports.value[count++]);
        }
        if (count == 0)
            _kel_enc_error(w, MSG_COUNT_RANGE, 0);
        v->cellReports.count = count;
    }
    if (next_is(w, end, CTX_C(3))) {
        int32_t securityEnd = open_value(w, CTX_C(3));
        v->bit_mask |= security_present;
        v->security.algorithm = (SecurityContext_algorithm)decode_enumerated(w, CTX(0), 4, 0);
        v->security.keySetId = (uint8_t)decode_unsigned(w, CTX(1), 0, 7);
        decode_octets(w, CTX(2), v->security.mac, 4);
        close_value(w, securityEnd);
    }
    if (next_is(w, end, CTX_C(4))) {
        int32_t trailerEnd = open_value(w, CTX_C(4));
        v->bit_mask |= trailer_present;
        v->trailer.sequenceNumber = (uint16_t)decode_unsigned(w, CTX(0), 0, 65535);
        v->trailer.checksum = decode_unsigned(w, CTX(1), 0, 0xFFFFFFFFu);
        close_value(w, trailerEnd);
    }
    skip_extensions(w, end, 5);
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

void proto_enter_pdu(KelGlobal *w, int pdu)
{
    if (pdu != Message_PDU)
        _kel_enc_error(w, MSG_PDU_RANGE, (uint32_t)pdu);
    w->pduNumber = pdu;
    w->pduEntry = &messageNames;
}

static int proto_encode(KelGlobal *w, int pdu, void *value)
{
    unsigned char *pos = w->userBuffer ? w->outPos + w->outRemaining : NULL;
    int32_t rem = w->userBuffer ? w->outRemaining : 0;
    int32_t total;

    proto_enter_pdu(w, pdu);
    total = encode_Message(w, &pos, &rem, value);
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

static int proto_decode(KelGlobal *w, int *pdu, void **value)
{
    Message *message;
    proto_enter_pdu(w, *pdu);
    message = _kel_dec_getmem(w, sizeof *message);
    decode_Message(w, message);
    *value = message;
    return 0;
}

/* The value is one piece. */
static int proto_free(KelGlobal *w, int pdu, void *value)
{
    if (pdu != Message_PDU)
        return MSG_PDU_RANGE;
    kelFreeMemory(w, value);
    return 0;
}

/* The code file serves BER (0), aligned (1) and unaligned (2) PER, DER (3),
 * CER (7), OER (12), COER (13) and JSON (14). */
static unsigned char ruleMap[] = { 0x01 | 0x02 | 0x04 | 0x08 | 0x80, 0x10 | 0x20 | 0x40 };

static KelXApiTable xapi = {
    .cpyValue = proto_copy,
    .cmpValue = proto_compare,
    .checkConstraints = proto_check,
    .oerVersion = 0,
    .oerEncode = proto_oer_encode,
    /* the OER decoder entry answers the value; it stands in the common slot */
    .oerDecode = (KelDecodeFn)(void (*)(void))proto_oer_decode,
    .jsonVersion = 0,
    .jsonEncode = proto_json_encode,
    /* so does the JSON one, which also takes the decoder's cursor */
    .jsonDecode = (KelDecodeFn)(void (*)(void))proto_json_decode,
};

static void proto_init(KelGlobal *w)
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

KelControlTable proto_message_control = {
    .init = proto_init,
    .berEncode = proto_encode,
    .berDecode = proto_decode,
    .perEncode = proto_per_encode,
    .perDecode = proto_per_decode,
    .freePdu = proto_free,
    .version = 17,
    .perVersion = 16,
    .printPdu = proto_print,
};
