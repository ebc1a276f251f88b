/*
 * proto_message_per.c - the PER encoders and decoders of the ProtoMessage
 * code file, in the shape a compiler emits them: per type a straight line of
 * PER primitive calls, one path for aligned and unaligned PER.
 *
 * The two variants part only at constrained whole numbers of more than 256
 * values: aligned PER puts a range up to 64K in two aligned octets and a
 * wider one as a 2-bit octet count and the octets aligned, unaligned PER
 * puts the bits of the range.  Neighbouring bit fields (an extension bit,
 * presence bits, small ranges) go out and come in as one field.  The
 * encoders hold each value inside its range before they write it; the
 * decoders hold what they read inside the range.  Header's one extension
 * addition travels wrapped in a length; additions and alternatives that this
 * code file doesn't know are stepped over.
 */
#include <string.h>

#include "kelvarn_per.h"
#include "proto_message.h"
#include "proto_message_per.h"

/* Messages raised by the generated code. */
enum {
    MSG_CHOICE_RANGE = 7,
    MSG_VALUE_TOO_LONG = 10,
    MSG_SIGNED_RANGE = 22,
    MSG_UNSIGNED_RANGE = 23,
    MSG_COUNT_RANGE = 28
};

/* The octets an aligned range above 64K values may take; 0 picks the two
 * aligned octets of a range up to 64K. */
enum { TWO_OCTETS = 0 };

static const int32_t fiveValues[] = { 0, 1, 2, 3, 4 };
static const KelPerEnumTable priorityRoot = { 5, fiveValues };
static const KelPerEnumTable noAdditions = { 0, NULL };
static const KelPerEnumTable triggerRoot = { 5, fiveValues };
static const KelPerEnumTable algorithmRoot = { 4, fiveValues };

/* IA5String (SIZE(1..32)) and (SIZE(0..64)): own codes, 8 bits aligned, 7
 * unaligned. */
static const KelPerString nodeNameString = { NULL, 1, 32, 32, KEL_PER_STRING_FLAGS(8, 1, 7, 1) };
static const KelPerString descriptionString = { NULL, 0, 64, 64, KEL_PER_STRING_FLAGS(8, 1, 7, 1) };

/* ------------------------------------------------------------------------ */
/* Constrained whole numbers                                                 */
/* ------------------------------------------------------------------------ */

static uint32_t unsigned_offset(KelGlobal *w, uint32_t value, uint32_t low, uint32_t high)
{
    if (value < low || value > high)
        _kel_enc_error(w, MSG_UNSIGNED_RANGE, value);
    return value - low;
}

static uint32_t signed_offset(KelGlobal *w, int32_t value, int32_t low, int32_t high)
{
    if (value < low || value > high)
        _kel_enc_error(w, MSG_SIGNED_RANGE, (uint32_t)value);
    return (uint32_t)(value - low);
}

/* The offset of a value in a range of more than 256 values: `bits` bits in
 * unaligned PER; in aligned PER two aligned octets, or up to `octets`
 * octets behind their count. */
static void put_wide(KelGlobal *w, uint32_t offset, uint32_t bits, uint32_t octets)
{
    if (!w->aligned)
        _kel_penc_nonneg_int_l(w, offset, bits);
    else if (octets == TWO_OCTETS)
        _kel_penc_int16_aligned(w, offset);
    else
        _kel_penc_indeflen_int_l(w, offset, octets);
}

/* The mirror of put_wide; the offset must not pass `span`. */
static uint32_t get_wide(KelGlobal *w, uint32_t span, uint32_t bits, uint32_t octets)
{
    uint32_t offset;
    if (!w->aligned)
        return _kel_pdec_nonneg_limited_int_l(w, bits, 0, span);
    if (octets != TWO_OCTETS)
        return (uint32_t)_kel_pdec_indeflen_limited_int_l(w, octets, 0, 0, (int32_t)span);
    offset = _kel_pdec_int16_aligned(w);
    if (offset > span)
        _kel_enc_error(w, MSG_VALUE_TOO_LONG, offset);
    return offset;
}

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

/* A string in an array of `room` octets, up to its NUL or the array's end. */
static void encode_text(KelGlobal *w, const char *text, uint32_t room, const KelPerString *desc)
{
    const char *end = memchr(text, 0, room);
    _kel_penc_kmstr(w, (const unsigned char *)text, end ? (uint32_t)(end - text) : room, desc, 0);
}

static void encode_NodeAddress(KelGlobal *w, const NodeAddress *v)
{
    const uint32_t name = (v->bit_mask & nodeName_present) != 0;
    _kel_penc_nonneg_1int(w, name);
    _kel_penc_constr_oct_l(w, v->plmnId, 3, 3, 3);
    put_wide(w, unsigned_offset(w, v->nodeNumber, 0, 1048575), 20, 3);
    if (name)
        encode_text(w, v->nodeName, sizeof v->nodeName, &nodeNameString);
}

static void encode_Header(KelGlobal *w, const Header *v)
{
    const uint32_t extended = (v->bit_mask & hopCount_present) != 0;
    const uint32_t destination = (v->bit_mask & destination_present) != 0;
    const uint32_t correlation = (v->bit_mask & correlationId_present) != 0;
    /* Extension bit, two presence bits, protocolVersion (1..15). */
    _kel_penc_nonneg_int_l(w,
                           extended << 6 | destination << 5 | correlation << 4 |
                               unsigned_offset(w, v->protocolVersion, 1, 15),
                           7);
    put_wide(w, v->messageId, 32, 4);
    put_wide(w, v->timestamp, 32, 4);
    _kel_penc_enum(w, (int32_t)v->priority, &priorityRoot, &noAdditions);
    _kel_penc_constr_pbit_l(w, v->flags, 4, 32, 32, 0, 0);
    encode_NodeAddress(w, &v->source);
    if (destination)
        encode_NodeAddress(w, &v->destination);
    if (correlation)
        put_wide(w, v->correlationId, 16, TWO_OCTETS);
    if (extended) {
        /* One addition known, and present: hopCount (0..255), wrapped. */
        _kel_penc_small_len_l(w, 1);
        _kel_penc_nonneg_1int(w, 1);
        _kel_fast_push_global(w);
        _kel_append_8bit_aligned(w, v->hopCount);
        _kel_fast_pop_global(w);
    }
}

static void encode_MeasurementReport(KelGlobal *w, const MeasurementReport *v)
{
    const uint32_t validity = (v->bit_mask & validity_present) != 0;
    _kel_penc_nonneg_int_l(w, validity, 2); /* extension bit 0, presence */
    put_wide(w, v->reportId, 16, TWO_OCTETS);
    _kel_penc_enum(w, (int32_t)v->trigger, &triggerRoot, NULL);
    put_wide(w, unsigned_offset(w, v->servingCell.mcc, 0, 999), 10, TWO_OCTETS);
    put_wide(w, unsigned_offset(w, v->servingCell.mnc, 0, 999), 10, TWO_OCTETS);
    put_wide(w, unsigned_offset(w, v->servingCell.cellId, 0, 268435455), 28, 4);
    _kel_penc_constr_oct_l(w, v->sessionKey, 16, 16, 16);
    encode_text(w, v->description, sizeof v->description, &descriptionString);
    if (validity) {
        put_wide(w, v->validity.startTime, 32, 4);
        put_wide(w, unsigned_offset(w, v->validity.durationMs, 1, 86400000), 27, 4);
    }
}

static void encode_Body(KelGlobal *w, const Body *v)
{
    if (v->choice < attachRequest_chosen || v->choice > releaseIndication_chosen)
        _kel_enc_error(w, MSG_CHOICE_RANGE, v->choice);
    /* Extension bit 0 and the index among the three root alternatives. */
    _kel_penc_nonneg_int_l(w, v->choice - 1u, 3);
    switch (v->choice) {
    case attachRequest_chosen:
        _kel_penc_constr_oct_l(w, v->u.attachRequest.imsi, 8, 8, 8);
        _kel_penc_constr_pbit_l(w, v->u.attachRequest.capabilities, 4, 32, 32, 0, 0);
        break;
    case measurementReport_chosen:
        encode_MeasurementReport(w, &v->u.measurementReport);
        break;
    default:
        _kel_append_8bit_aligned(w, v->u.releaseIndication.cause);
        break;
    }
}

static void encode_CellReport(KelGlobal *w, const CellReport *v)
{
    const uint32_t sinr = (v->bit_mask & sinr_present) != 0;
    /* rsrp (7 bits) and rsrq (6 bits), then sinr (6 bits), as one field. */
    const uint32_t fields =
        signed_offset(w, v->rsrp, -156, -44) << 6 | signed_offset(w, v->rsrq, -43, 20);
    _kel_penc_nonneg_1int(w, sinr);
    put_wide(w, unsigned_offset(w, v->pci, 0, 1007), 10, TWO_OCTETS);
    if (sinr)
        _kel_penc_nonneg_int_l(w, fields << 6 | signed_offset(w, v->sinr, -23, 40), 19);
    else
        _kel_penc_nonneg_int_l(w, fields, 13);
}

static void encode_Message(KelGlobal *w, const Message *v)
{
    const uint32_t security = (v->bit_mask & security_present) != 0;
    const uint32_t trailer = (v->bit_mask & trailer_present) != 0;
    const uint32_t count = v->cellReports.count;
    uint32_t i;

    _kel_penc_nonneg_int_l(w, security << 1 | trailer, 3); /* extension bit 0 */
    encode_Header(w, &v->header);
    encode_Body(w, &v->body);
    if (count < 1 || count > 32)
        _kel_enc_error(w, MSG_COUNT_RANGE, count);
    _kel_penc_length_l(w, count, 1, 32, 0);
    for (i = 0; i < count; i++)
        encode_CellReport(w, &v->cellReports.value[i]);
    if (security) {
        _kel_penc_enum(w, (int32_t)v->security.algorithm, &algorithmRoot, NULL);
        _kel_penc_nonneg_int_l(w, unsigned_offset(w, v->security.keySetId, 0, 7), 3);
        _kel_penc_constr_oct_l(w, v->security.mac, 4, 4, 4);
    }
    if (trailer) {
        put_wide(w, v->trailer.sequenceNumber, 16, TWO_OCTETS);
        put_wide(w, v->trailer.checksum, 32, 4);
    }
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

/* Steps over extension additions that this code file doesn't know. */
static void skip_additions(KelGlobal *w)
{
    unsigned char *present;
    const uint32_t count = _kel_pdec_eap(w, &present);
    _kel_pdec_eas(w, present, count, 0);
}

static void decode_NodeAddress(KelGlobal *w, NodeAddress *v)
{
    const uint32_t name = _kel_pdec_nonneg_1int(w);
    v->bit_mask = name ? nodeName_present : 0;
    _kel_pdec_fixed_oct(w, v->plmnId, 3);
    v->nodeNumber = get_wide(w, 1048575, 20, 3);
    if (name)
        _kel_pdec_nt_kmstr(w, (unsigned char *)v->nodeName, &nodeNameString);
    else
        v->nodeName[0] = 0;
}

/* Header's additions: hopCount first, any later ones stepped over. */
static void decode_Header_additions(KelGlobal *w, Header *v)
{
    unsigned char *present;
    const uint32_t count = _kel_pdec_eap(w, &present);
    if (count > 0 && (present[0] & 0x80)) {
        v->bit_mask |= hopCount_present;
        _kel_pdec_push(w);
        v->hopCount = _kel_get_octet(w, 1);
        _kel_pdec_pop(w);
    }
    _kel_pdec_eas(w, present, count, 1);
}

static void decode_Header(KelGlobal *w, Header *v)
{
    const uint32_t head = _kel_pdec_nonneg_int_l(w, 7);
    if ((head & 15) > 14)
        _kel_enc_error(w, MSG_VALUE_TOO_LONG, head & 15);
    v->bit_mask = (uint8_t)((head & 0x20 ? destination_present : 0) | (head & 0x10 ? correlationId_present : 0));
    v->protocolVersion = (uint8_t)((head & 15) + 1);
    v->messageId = get_wide(w, 0xFFFFFFFFu, 32, 4);
    v->timestamp = get_wide(w, 0xFFFFFFFFu, 32, 4);
    v->priority = (Priority)_kel_pdec_enum(w, &priorityRoot, &noAdditions);
    _kel_pdec_constr_pbit_l(w, &v->flags, 4, 32, 32);
    decode_NodeAddress(w, &v->source);
    if (head & 0x20)
        decode_NodeAddress(w, &v->destination);
    if (head & 0x10)
        v->correlationId = (uint16_t)get_wide(w, 65535, 16, TWO_OCTETS);
    if (head & 0x40)
        decode_Header_additions(w, v);
}

static void decode_MeasurementReport(KelGlobal *w, MeasurementReport *v)
{
    const uint32_t head = _kel_pdec_nonneg_int_l(w, 2);
    v->bit_mask = head & 1 ? validity_present : 0;
    v->reportId = (uint16_t)get_wide(w, 65535, 16, TWO_OCTETS);
    v->trigger = (MeasurementReport_trigger)_kel_pdec_enum(w, &triggerRoot, NULL);
    v->servingCell.mcc = (uint16_t)get_wide(w, 999, 10, TWO_OCTETS);
    v->servingCell.mnc = (uint16_t)get_wide(w, 999, 10, TWO_OCTETS);
    v->servingCell.cellId = get_wide(w, 268435455, 28, 4);
    _kel_pdec_fixed_oct(w, v->sessionKey, 16);
    _kel_pdec_nt_kmstr(w, (unsigned char *)v->description, &descriptionString);
    if (head & 1) {
        v->validity.startTime = get_wide(w, 0xFFFFFFFFu, 32, 4);
        v->validity.durationMs = get_wide(w, 86399999, 27, 4) + 1;
    }
    if (head & 2)
        skip_additions(w);
}

/* An alternative added by a later version is stepped over and leaves the
 * selector 0. */
static void decode_Body(KelGlobal *w, Body *v)
{
    const uint32_t head = _kel_pdec_nonneg_int_l(w, 3);
    if (head & 4) {
        _kel_pdec_small_int_l(w);
        _kel_pdec_sot(w);
        v->choice = 0;
        return;
    }
    if (head > 2)
        _kel_enc_error(w, MSG_CHOICE_RANGE, head + 1);
    v->choice = (uint16_t)(head + 1);
    switch (v->choice) {
    case attachRequest_chosen:
        _kel_pdec_fixed_oct(w, v->u.attachRequest.imsi, 8);
        _kel_pdec_constr_pbit_l(w, &v->u.attachRequest.capabilities, 4, 32, 32);
        break;
    case measurementReport_chosen:
        decode_MeasurementReport(w, &v->u.measurementReport);
        break;
    default:
        v->u.releaseIndication.cause = _kel_get_octet(w, 1);
        break;
    }
}

static void decode_CellReport(KelGlobal *w, CellReport *v)
{
    const uint32_t sinr = _kel_pdec_nonneg_1int(w);
    uint32_t fields;
    v->bit_mask = sinr ? sinr_present : 0;
    v->pci = (uint16_t)get_wide(w, 1007, 10, TWO_OCTETS);
    if (sinr) {
        fields = _kel_pdec_nonneg_int_l(w, 19);
        v->sinr = (int8_t)((int32_t)(fields & 63) - 23);
        fields >>= 6;
    } else {
        fields = _kel_pdec_nonneg_int_l(w, 13);
    }
    if ((fields >> 6) > 112)
        _kel_enc_error(w, MSG_VALUE_TOO_LONG, fields >> 6);
    v->rsrp = (int16_t)((int32_t)(fields >> 6) - 156);
    v->rsrq = (int8_t)((int32_t)(fields & 63) - 43);
}

static void decode_Message(KelGlobal *w, Message *v)
{
    const uint32_t head = _kel_pdec_nonneg_int_l(w, 3);
    uint8_t last;
    uint32_t i;

    v->bit_mask = (uint8_t)((head & 2 ? security_present : 0) | (head & 1 ? trailer_present : 0));
    decode_Header(w, &v->header);
    decode_Body(w, &v->body);
    v->cellReports.count = 0;
    _kel_pdec_asof(w, &v->cellReports.count, 4, sizeof(CellReport), 1, 32, 0, &last);
    for (i = 0; i < v->cellReports.count; i++)
        decode_CellReport(w, &v->cellReports.value[i]);
    if (head & 2) {
        v->security.algorithm = (SecurityContext_algorithm)_kel_pdec_enum(w, &algorithmRoot, NULL);
        v->security.keySetId = (uint8_t)_kel_pdec_nonneg_int_l(w, 3);
        _kel_pdec_fixed_oct(w, v->security.mac, 4);
    }
    if (head & 1) {
        v->trailer.sequenceNumber = (uint16_t)get_wide(w, 65535, 16, TWO_OCTETS);
        v->trailer.checksum = get_wide(w, 0xFFFFFFFFu, 32, 4);
    }
    if (head & 4)
        skip_additions(w);
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

int proto_per_encode(KelGlobal *w, int pdu, void *value)
{
    proto_enter_pdu(w, pdu);
    encode_Message(w, value);
    return 0;
}

int proto_per_decode(KelGlobal *w, int *pdu, void **value)
{
    Message *message;
    proto_enter_pdu(w, *pdu);
    message = _kel_dec_getmem(w, sizeof *message);
    decode_Message(w, message);
    *value = message;
    return 0;
}
