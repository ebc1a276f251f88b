/*
 * proto_message_oer.c - the OER and COER encoders and decoders of the
 * ProtoMessage code file, in the shape a compiler emits them: per type a
 * straight line of stores and loads of its fields, one path for both rules.
 *
 * Every constrained INTEGER here has its octets fixed by its range (1, 2 or
 * 4, big-endian, signed when the range goes below 0), fixed-size strings
 * carry no length, and a SEQUENCE starts with its preamble: the extension
 * bit of an extensible type, then one bit per OPTIONAL component.  So most
 * of a message is runs of fixed fields: the encoder tests the room for the
 * longest a run can be once and stores the fields straight into the block
 * (or, at a block end, into a local area that the appender carries over),
 * and the decoder tests the input once per run.  Lengths, ENUMERATED values
 * and quantities have their one-octet form inline and the primitives behind
 * it for the longer forms, which only OER accepts for small values.
 *
 * The encoders always write the canonical form.  Header's one extension
 * addition, hopCount, goes out as a presence bitmap and an open type; the
 * decoders step over additions and alternatives of later versions by their
 * lengths.  Decoded values are held to their constraints.
 */
#include <string.h>

#include "kelvarn_oer.h"
#include "proto_message.h"
#include "proto_message_oer.h"
#include "proto_message_per.h"

/* Messages raised by the generated code. */
enum {
    MSG_CHOICE_RANGE = 7,
    MSG_SIGNED_RANGE = 22,
    MSG_UNSIGNED_RANGE = 23,
    MSG_SIZE_RANGE = 27,
    MSG_COUNT_RANGE = 28,
    MSG_BAD_CHARACTER = 29,
    MSG_NOT_ENUMERATED = 36,
    MSG_END_OF_INPUT = 45,
    MSG_FIRST_OCTET = 105,
    MSG_MISENCODED = 106,
    MSG_EMBEDDED_NUL = 114
};

/* The most octets that the runs of the encoder can take. */
enum {
    ENUM_MAX = 5,                              /* 0x84 and four octets */
    NODE_MAX = 1 + 3 + 4 + 1 + 32,             /* preamble, plmnId, nodeNumber, nodeName */
    CELL_MAX = 1 + 2 + 2 + 1 + 1,              /* preamble, pci, rsrp, rsrq, sinr */
    MEASUREMENT_MAX = 1 + 2 + 1 + 8 + 16 + 1 + 64 + 8,
    /* Message's preamble and Header's root. */
    HEAD_RUN = 1 + 1 + 1 + 4 + 4 + ENUM_MAX + 4 + 2 * NODE_MAX + 2,
    /* Body, the cell reports, security and trailer. */
    TAIL_RUN = 1 + MEASUREMENT_MAX + 2 + 32 * CELL_MAX + 1 + 1 + 4 + 2 + 4
};

/* ------------------------------------------------------------------------ */
/* Constraints                                                               */
/* ------------------------------------------------------------------------ */

static uint32_t in_range(KelGlobal *w, uint32_t value, uint32_t low, uint32_t high)
{
    if (value < low || value > high)
        _kel_enc_error(w, MSG_UNSIGNED_RANGE, value);
    return value;
}

static int32_t in_signed_range(KelGlobal *w, int32_t value, int32_t low, int32_t high)
{
    if (value < low || value > high)
        _kel_enc_error(w, MSG_SIGNED_RANGE, (uint32_t)value);
    return value;
}

/* An ENUMERATED value: a root of `count` values from 0; an extensible type
 * also has whatever non-negative value a later version may have added. */
static uint32_t enumerated(KelGlobal *w, int32_t value, uint32_t count, int extensible)
{
    if (value < 0 || (!extensible && (uint32_t)value >= count))
        _kel_enc_error(w, MSG_NOT_ENUMERATED, (uint32_t)value);
    return (uint32_t)value;
}

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

/* Where a run of at most `n` octets goes: straight to the write position
 * when the block has the room, else to `local`, from where close_run hands
 * it to the appender (which also does the counting of length-only mode). */
static unsigned char *open_run(KelGlobal *w, unsigned char *local, uint32_t n)
{
    if (w->outRemaining >= (int32_t)n && !(w->encodingFlags & DETERMINE_ENC_LENGTH))
        return w->outPos;
    return local;
}

static void close_run(KelGlobal *w, const unsigned char *local, unsigned char *start, unsigned char *end)
{
    const uint32_t n = (uint32_t)(end - start);
    if (start == local) {
        _kel_oenc_append_bytes(w, local, n);
    } else {
        w->outPos = end;
        w->outRemaining -= (int32_t)n;
    }
}

static unsigned char *put16(unsigned char *p, uint32_t value)
{
    p[0] = (unsigned char)(value >> 8);
    p[1] = (unsigned char)value;
    return p + 2;
}

static unsigned char *put32(unsigned char *p, uint32_t value)
{
    p[0] = (unsigned char)(value >> 24);
    p[1] = (unsigned char)(value >> 16);
    p[2] = (unsigned char)(value >> 8);
    p[3] = (unsigned char)value;
    return p + 4;
}

/* ENUMERATED: up to 127 the value's octet, above 0x80 | n and the n octets
 * of its two's complement form. */
static unsigned char *put_enum(unsigned char *p, uint32_t value)
{
    uint32_t n;
    if (value < 128) {
        *p = (unsigned char)value;
        return p + 1;
    }
    n = value > 0x7FFFFF ? 4 : value > 0x7FFF ? 3 : 2;
    *p++ = (unsigned char)(0x80 | n);
    while (n-- > 0)
        *p++ = (unsigned char)(value >> (8 * n));
    return p;
}

/* An IA5String of `low` to `high` (at most 127) characters, held up to its
 * NUL in an array of `room` octets: its length octet and its characters. */
static unsigned char *put_text(KelGlobal *w, unsigned char *p, const char *text, uint32_t room,
                               uint32_t low, uint32_t high)
{
    const char *end = memchr(text, 0, room);
    const uint32_t n = end ? (uint32_t)(end - text) : room;
    if (n < low || n > high)
        _kel_enc_error(w, MSG_SIZE_RANGE, n);
    *p = (unsigned char)n;
    memcpy(p + 1, text, n);
    return p + 1 + n;
}

static unsigned char *put_NodeAddress(KelGlobal *w, unsigned char *p, const NodeAddress *v)
{
    const int named = (v->bit_mask & nodeName_present) != 0;
    p[0] = named ? 0x80 : 0;
    memcpy(p + 1, v->plmnId, 3);
    p = put32(p + 4, in_range(w, v->nodeNumber, 0, 1048575));
    return named ? put_text(w, p, v->nodeName, sizeof v->nodeName, 1, 32) : p;
}

/* Header's root components; its addition follows the rest of the run. */
static unsigned char *put_Header(KelGlobal *w, unsigned char *p, const Header *v)
{
    const uint32_t m = v->bit_mask;
    /* Extension bit (set by hopCount, the one addition), destination,
     * correlationId. */
    p[0] = (unsigned char)((m & hopCount_present) << 2 | (m & (destination_present | correlationId_present)) >> 1);
    p[1] = (unsigned char)in_range(w, v->protocolVersion, 1, 15);
    p = put32(p + 2, v->messageId);
    p = put32(p, v->timestamp);
    p = put_enum(p, enumerated(w, (int32_t)v->priority, 5, 1));
    p = put32(p, v->flags);
    p = put_NodeAddress(w, p, &v->source);
    if (m & destination_present)
        p = put_NodeAddress(w, p, &v->destination);
    if (m & correlationId_present)
        p = put16(p, v->correlationId);
    return p;
}

/* hopCount: a presence bitmap of the one known addition, then its value as
 * an open type. */
static void encode_Header_additions(KelGlobal *w, const Header *v)
{
    static const unsigned char hopCountOnly = 0x80;
    KelPushFrame frame;
    _kel_oenc_rsf_ext_bitmask(w, &hopCountOnly, 1, NULL, 0);
    _kel_oenc_begin_ext(w, &frame);
    _kel_oenc_uint_1byte(w, v->hopCount);
    _kel_oenc_end_ext(w, &frame);
}

static unsigned char *put_MeasurementReport(KelGlobal *w, unsigned char *p, const MeasurementReport *v)
{
    const int validity = (v->bit_mask & validity_present) != 0;
    p[0] = validity ? 0x40 : 0; /* extension bit 0, validity */
    p = put16(p + 1, v->reportId);
    p = put_enum(p, enumerated(w, (int32_t)v->trigger, 5, 0));
    p = put16(p, in_range(w, v->servingCell.mcc, 0, 999));
    p = put16(p, in_range(w, v->servingCell.mnc, 0, 999));
    p = put32(p, in_range(w, v->servingCell.cellId, 0, 268435455));
    memcpy(p, v->sessionKey, 16);
    p = put_text(w, p + 16, v->description, sizeof v->description, 0, 64);
    if (validity) {
        p = put32(p, v->validity.startTime);
        p = put32(p, in_range(w, v->validity.durationMs, 1, 86400000));
    }
    return p;
}

/* Body: the tag of the alternative (context class, its number), then its
 * value. */
static unsigned char *put_Body(KelGlobal *w, unsigned char *p, const Body *v)
{
    switch (v->choice) {
    case attachRequest_chosen:
        p[0] = 0x80;
        memcpy(p + 1, v->u.attachRequest.imsi, 8);
        return put32(p + 9, v->u.attachRequest.capabilities);
    case measurementReport_chosen:
        p[0] = 0x81;
        return put_MeasurementReport(w, p + 1, &v->u.measurementReport);
    case releaseIndication_chosen:
        p[0] = 0x82;
        p[1] = v->u.releaseIndication.cause;
        return p + 2;
    default:
        _kel_enc_error(w, MSG_CHOICE_RANGE, v->choice);
    }
}

static unsigned char *put_CellReport(KelGlobal *w, unsigned char *p, const CellReport *v)
{
    const int sinr = (v->bit_mask & sinr_present) != 0;
    p[0] = sinr ? 0x80 : 0;
    put16(p + 1, in_range(w, v->pci, 0, 1007));
    put16(p + 3, (uint32_t)in_signed_range(w, v->rsrp, -156, -44));
    p[5] = (unsigned char)in_signed_range(w, v->rsrq, -43, 20);
    if (!sinr)
        return p + 6;
    p[6] = (unsigned char)in_signed_range(w, v->sinr, -23, 40);
    return p + 7;
}

static void encode_Message(KelGlobal *w, const Message *v)
{
    unsigned char local[TAIL_RUN > HEAD_RUN ? TAIL_RUN : HEAD_RUN];
    const uint32_t count = v->cellReports.count;
    unsigned char *start, *p;
    uint32_t i;

    start = p = open_run(w, local, HEAD_RUN);
    /* Extension bit 0, security, trailer. */
    *p++ = (unsigned char)((v->bit_mask & (security_present | trailer_present)) >> 1);
    p = put_Header(w, p, &v->header);
    close_run(w, local, start, p);
    if (v->header.bit_mask & hopCount_present)
        encode_Header_additions(w, &v->header);

    if (count < 1 || count > 32)
        _kel_enc_error(w, MSG_COUNT_RANGE, count);
    start = p = open_run(w, local, TAIL_RUN);
    p = put_Body(w, p, &v->body);
    /* The quantity: one octet behind its length. */
    p[0] = 1;
    p[1] = (unsigned char)count;
    p += 2;
    for (i = 0; i < count; i++)
        p = put_CellReport(w, p, &v->cellReports.value[i]);
    if (v->bit_mask & security_present) {
        p = put_enum(p, enumerated(w, (int32_t)v->security.algorithm, 4, 0));
        *p = (unsigned char)in_range(w, v->security.keySetId, 0, 7);
        memcpy(p + 1, v->security.mac, 4);
        p += 5;
    }
    if (v->bit_mask & trailer_present) {
        p = put16(p, v->trailer.sequenceNumber);
        p = put32(p, v->trailer.checksum);
    }
    close_run(w, local, start, p);
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

/* Tests for and takes `n` octets of input. */
static const unsigned char *take(KelGlobal *w, uint32_t n)
{
    const unsigned char *p = w->inPos;
    if (w->inRemaining < (int32_t)n)
        _kel_enc_error(w, MSG_END_OF_INPUT, 0);
    w->inPos += n;
    w->inRemaining -= (int32_t)n;
    return p;
}

static uint32_t get16(const unsigned char *p)
{
    return (uint32_t)p[0] << 8 | p[1];
}

static uint32_t get32(const unsigned char *p)
{
    return (uint32_t)p[0] << 24 | (uint32_t)p[1] << 16 | (uint32_t)p[2] << 8 | p[3];
}

/* A length determinant whose content is in the input; the read pointer
 * stands on the content. */
static uint32_t get_length(KelGlobal *w)
{
    int32_t n;
    if (w->inRemaining > 0 && w->inPos[0] < 0x80) {
        n = w->inPos[0];
        if (w->inRemaining <= n)
            _kel_enc_error(w, MSG_END_OF_INPUT, 0);
        w->inPos++;
        w->inRemaining--;
        return (uint32_t)n;
    }
    n = _kel_odec_length(w);
    if (n < 0) /* four octets with the top bit set: never present */
        _kel_enc_error(w, MSG_END_OF_INPUT, 0);
    return (uint32_t)n;
}

static uint32_t get_enum(KelGlobal *w, uint32_t count, int extensible)
{
    int32_t value;
    if (w->inRemaining > 0 && w->inPos[0] < 0x80)
        value = *take(w, 1);
    else
        value = _kel_odec_enum(w);
    return enumerated(w, value, count, extensible);
}

/* An IA5String of `low` to `high` characters into its array, NUL behind. */
static void get_text(KelGlobal *w, char *out, uint32_t low, uint32_t high)
{
    const uint32_t n = get_length(w);
    const unsigned char *p = take(w, n);
    uint32_t i, bad = 0;
    if (n < low || n > high)
        _kel_enc_error(w, MSG_SIZE_RANGE, n);
    for (i = 0; i < n; i++) /* NUL, or beyond the 128 characters */
        bad |= (unsigned char)(p[i] - 1) >= 127;
    if (bad) {
        for (i = 0; p[i] && p[i] < 128; i++)
            ;
        if (p[i] == 0)
            _kel_enc_error(w, MSG_EMBEDDED_NUL, 0);
        _kel_enc_error(w, MSG_BAD_CHARACTER, p[i]);
    }
    memcpy(out, p, n);
    out[n] = 0;
}

/* The presence bitmap of extension additions, read where it stands in the
 * input: the pointer to its bits, their count in *count. */
static const unsigned char *get_bitmap(KelGlobal *w, uint32_t *count)
{
    const uint32_t n = get_length(w);
    const unsigned char *p = take(w, n);
    if (n == 0)
        _kel_enc_error(w, MSG_MISENCODED, 0);
    if (p[0] > 7 || (n == 1 && p[0] != 0))
        _kel_enc_error(w, MSG_FIRST_OCTET, 0);
    *count = (n - 1) * 8 - p[0];
    _kel_odec_check_eapb(w, p + 1, *count);
    return p + 1;
}

/* Additions of a type whose root is all that this code file knows. */
static void skip_additions(KelGlobal *w)
{
    uint32_t count;
    const unsigned char *bits = get_bitmap(w, &count);
    _kel_odec_skip_unknown(w, bits, 0, count);
}

static void get_NodeAddress(KelGlobal *w, NodeAddress *v)
{
    const unsigned char *p = take(w, 8);
    v->bit_mask = p[0] & 0x80 ? nodeName_present : 0;
    memcpy(v->plmnId, p + 1, 3);
    v->nodeNumber = in_range(w, get32(p + 4), 0, 1048575);
    if (p[0] & 0x80)
        get_text(w, v->nodeName, 1, 32);
}

/* hopCount, the first addition, in its open type; later ones stepped over. */
static void get_Header_additions(KelGlobal *w, Header *v)
{
    uint32_t count;
    const unsigned char *bits = get_bitmap(w, &count);
    if (bits[0] & 0x80) {
        const uint32_t n = get_length(w);
        const unsigned char *start = w->inPos;
        v->bit_mask |= hopCount_present;
        v->hopCount = (uint8_t)_kel_odec_uint_1byte(w);
        if (w->inPos != start + n)
            _kel_odec_check_bytes(w, start, n);
    }
    _kel_odec_skip_unknown(w, bits, 1, count);
}

/* Header from its root's first run at `p`: preamble, protocolVersion,
 * messageId, timestamp. */
static void get_Header(KelGlobal *w, Header *v, const unsigned char *p)
{
    const uint32_t head = p[0];
    v->bit_mask = (uint8_t)((head & 0x60) << 1); /* destination, correlationId */
    v->protocolVersion = (uint8_t)in_range(w, p[1], 1, 15);
    v->messageId = get32(p + 2);
    v->timestamp = get32(p + 6);
    v->priority = (Priority)get_enum(w, 5, 1);
    v->flags = get32(take(w, 4));
    get_NodeAddress(w, &v->source);
    if (head & 0x40)
        get_NodeAddress(w, &v->destination);
    if (head & 0x20)
        v->correlationId = (uint16_t)get16(take(w, 2));
    if (head & 0x80)
        get_Header_additions(w, v);
}

static void get_MeasurementReport(KelGlobal *w, MeasurementReport *v)
{
    const unsigned char *p = take(w, 3);
    const uint32_t head = p[0];
    v->bit_mask = head & 0x40 ? validity_present : 0;
    v->reportId = (uint16_t)get16(p + 1);
    v->trigger = (MeasurementReport_trigger)get_enum(w, 5, 0);
    p = take(w, 24);
    v->servingCell.mcc = (uint16_t)in_range(w, get16(p), 0, 999);
    v->servingCell.mnc = (uint16_t)in_range(w, get16(p + 2), 0, 999);
    v->servingCell.cellId = in_range(w, get32(p + 4), 0, 268435455);
    memcpy(v->sessionKey, p + 8, 16);
    get_text(w, v->description, 0, 64);
    if (head & 0x40) {
        p = take(w, 8);
        v->validity.startTime = get32(p);
        v->validity.durationMs = in_range(w, get32(p + 4), 1, 86400000);
    }
    if (head & 0x80)
        skip_additions(w);
}

/* An alternative added by a later version is stepped over and leaves the
 * selector 0. */
static void get_Body(KelGlobal *w, Body *v)
{
    const unsigned char *p;
    const uint32_t tag = w->inRemaining > 0 && (w->inPos[0] & 0x3F) != 0x3F ? *take(w, 1) : _kel_odec_tag(w);
    switch (tag) {
    case 0x80:
        v->choice = attachRequest_chosen;
        p = take(w, 12);
        memcpy(v->u.attachRequest.imsi, p, 8);
        v->u.attachRequest.capabilities = get32(p + 8);
        break;
    case 0x81:
        v->choice = measurementReport_chosen;
        get_MeasurementReport(w, &v->u.measurementReport);
        break;
    case 0x82:
        v->choice = releaseIndication_chosen;
        v->u.releaseIndication.cause = *take(w, 1);
        break;
    default:
        v->choice = 0;
        take(w, get_length(w));
        break;
    }
}

static void get_CellReport(KelGlobal *w, CellReport *v)
{
    const unsigned char *p;
    if (w->inRemaining < 1)
        _kel_enc_error(w, MSG_END_OF_INPUT, 0);
    p = take(w, w->inPos[0] & 0x80 ? 7 : 6);
    v->bit_mask = p[0] & 0x80 ? sinr_present : 0;
    v->pci = (uint16_t)in_range(w, get16(p + 1), 0, 1007);
    v->rsrp = (int16_t)in_signed_range(w, (int16_t)get16(p + 3), -156, -44);
    v->rsrq = (int8_t)in_signed_range(w, (int8_t)p[5], -43, 20);
    if (p[0] & 0x80)
        v->sinr = (int8_t)in_signed_range(w, (int8_t)p[6], -23, 40);
}

/* The value is a fresh zeroed piece: what is absent stays 0. */
static void get_Message(KelGlobal *w, Message *v)
{
    const unsigned char *p = take(w, 11);
    const uint32_t head = p[0];
    uint32_t count, i;

    v->bit_mask = (uint8_t)((head & 0x60) << 1); /* security, trailer */
    get_Header(w, &v->header, p + 1);
    get_Body(w, &v->body);
    if (w->inRemaining >= 2 && w->inPos[0] == 1)
        count = take(w, 2)[1];
    else
        count = _kel_odec_uint(w);
    if (count < 1 || count > 32)
        _kel_enc_error(w, MSG_COUNT_RANGE, count);
    v->cellReports.count = count;
    for (i = 0; i < count; i++)
        get_CellReport(w, &v->cellReports.value[i]);
    if (head & 0x40) {
        v->security.algorithm = (SecurityContext_algorithm)get_enum(w, 4, 0);
        p = take(w, 5);
        v->security.keySetId = (uint8_t)in_range(w, p[0], 0, 7);
        memcpy(v->security.mac, p + 1, 4);
    }
    if (head & 0x20) {
        p = take(w, 6);
        v->trailer.sequenceNumber = (uint16_t)get16(p);
        v->trailer.checksum = get32(p + 2);
    }
    if (head & 0x80)
        skip_additions(w);
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

int proto_oer_encode(KelGlobal *w, int pdu, void *value)
{
    proto_enter_pdu(w, pdu);
    encode_Message(w, value);
    return 0;
}

void *proto_oer_decode(KelGlobal *w, int pdu)
{
    Message *message;
    proto_enter_pdu(w, pdu);
    message = _kel_dec_getmem(w, sizeof *message);
    get_Message(w, message);
    return message;
}
