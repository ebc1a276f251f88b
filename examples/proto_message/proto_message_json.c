/*
 * proto_message_json.c - the JSON encoder and decoder of the ProtoMessage
 * code file, in the shape a compiler emits them: per type a straight line of
 * JSON primitive calls.
 *
 * A SEQUENCE is an object of its components, a CHOICE an object of one
 * member named after the alternative, the SEQUENCE OF an array.  INTEGERs
 * are numbers held to their ranges, ENUMERATED values their identifiers,
 * the fixed-size OCTET STRINGs and the BIT STRING (SIZE(32)) bare
 * hexadecimal strings, IA5Strings strings.  The decoder takes members in
 * any order through each type's table of names, refuses one given twice and
 * requires the mandatory ones; the extensible types (Message, Header,
 * MeasurementReport, Body) step over members and alternatives a later
 * version added, the others refuse names they don't know.  Header's
 * extension addition hopCount is a member like any other.  An OPTIONAL
 * component is left out when absent, or written as null when the world asks
 * for absent components; the decoder takes null as absent.  The value is one
 * zeroed piece, so what is absent stays 0.
 */
#include <string.h>

#include "../json_members.h"
#include "proto_message.h"
#include "proto_message_json.h"
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
    MSG_EMBEDDED_NUL = 114
};

/* Positions of the components in their types. */
enum { MESSAGE_HEADER, MESSAGE_BODY, MESSAGE_CELLS, MESSAGE_SECURITY, MESSAGE_TRAILER };
enum {
    HEADER_VERSION, HEADER_ID, HEADER_TIME, HEADER_PRIORITY, HEADER_FLAGS, HEADER_SOURCE,
    HEADER_DESTINATION, HEADER_CORRELATION, HEADER_HOPS
};
enum { NODE_PLMN, NODE_NUMBER, NODE_NAME };
enum { BODY_ATTACH, BODY_MEASUREMENT, BODY_RELEASE };
enum { ATTACH_IMSI, ATTACH_CAPABILITIES };
enum { REPORT_ID, REPORT_TRIGGER, REPORT_CELL, REPORT_KEY, REPORT_TEXT, REPORT_VALIDITY };
enum { VALIDITY_START, VALIDITY_DURATION };
enum { CELL_MCC, CELL_MNC, CELL_ID };
enum { REPORT_PCI, REPORT_RSRP, REPORT_RSRQ, REPORT_SINR };
enum { SECURITY_ALGORITHM, SECURITY_KEY_SET, SECURITY_MAC };
enum { TRAILER_SEQUENCE, TRAILER_CHECKSUM };

/* Member tables, sorted by name. */
static const KelNameRow messageRows[] = {
    JSON_NAME("body", MESSAGE_BODY), JSON_NAME("cellReports", MESSAGE_CELLS), JSON_NAME("header", MESSAGE_HEADER),
    JSON_NAME("security", MESSAGE_SECURITY), JSON_NAME("trailer", MESSAGE_TRAILER)};
static const uint8_t messageOrder[] = {2, 0, 1, 3, 4};
static const JsonMembers messageFields = {{5, JSON_UNKNOWN_MEMBER, messageRows, NULL}, messageOrder};

static const KelNameRow headerRows[] = {
    JSON_NAME("correlationId", HEADER_CORRELATION), JSON_NAME("destination", HEADER_DESTINATION),
    JSON_NAME("flags", HEADER_FLAGS),               JSON_NAME("hopCount", HEADER_HOPS),
    JSON_NAME("messageId", HEADER_ID),              JSON_NAME("priority", HEADER_PRIORITY),
    JSON_NAME("protocolVersion", HEADER_VERSION),   JSON_NAME("source", HEADER_SOURCE),
    JSON_NAME("timestamp", HEADER_TIME)};
static const uint8_t headerOrder[] = {6, 4, 8, 5, 2, 7, 1, 0, 3};
static const JsonMembers headerFields = {{9, JSON_UNKNOWN_MEMBER, headerRows, NULL}, headerOrder};

static const KelNameRow nodeRows[] = {
    JSON_NAME("nodeName", NODE_NAME), JSON_NAME("nodeNumber", NODE_NUMBER), JSON_NAME("plmnId", NODE_PLMN)};
static const uint8_t nodeOrder[] = {2, 1, 0};
static const JsonMembers nodeFields = {{3, 0, nodeRows, NULL}, nodeOrder};

static const KelNameRow bodyRows[] = {JSON_NAME("attachRequest", BODY_ATTACH),
                                      JSON_NAME("measurementReport", BODY_MEASUREMENT),
                                      JSON_NAME("releaseIndication", BODY_RELEASE)};
static const uint8_t bodyOrder[] = {0, 1, 2};
static const JsonMembers bodyAlternatives = {{3, JSON_UNKNOWN_MEMBER, bodyRows, NULL}, bodyOrder};

static const KelNameRow attachRows[] = {JSON_NAME("capabilities", ATTACH_CAPABILITIES),
                                        JSON_NAME("imsi", ATTACH_IMSI)};
static const uint8_t attachOrder[] = {1, 0};
static const JsonMembers attachFields = {{2, 0, attachRows, NULL}, attachOrder};

static const KelNameRow releaseRows[] = {JSON_NAME("cause", 0)};
static const uint8_t releaseOrder[] = {0};
static const JsonMembers releaseFields = {{1, 0, releaseRows, NULL}, releaseOrder};

static const KelNameRow reportRows[] = {
    JSON_NAME("description", REPORT_TEXT), JSON_NAME("reportId", REPORT_ID),
    JSON_NAME("servingCell", REPORT_CELL), JSON_NAME("sessionKey", REPORT_KEY),
    JSON_NAME("trigger", REPORT_TRIGGER),  JSON_NAME("validity", REPORT_VALIDITY)};
static const uint8_t reportOrder[] = {1, 4, 2, 3, 0, 5};
static const JsonMembers reportFields = {{6, JSON_UNKNOWN_MEMBER, reportRows, NULL}, reportOrder};

static const KelNameRow validityRows[] = {JSON_NAME("durationMs", VALIDITY_DURATION),
                                          JSON_NAME("startTime", VALIDITY_START)};
static const uint8_t validityOrder[] = {1, 0};
static const JsonMembers validityFields = {{2, 0, validityRows, NULL}, validityOrder};

static const KelNameRow cellRows[] = {JSON_NAME("cellId", CELL_ID), JSON_NAME("mcc", CELL_MCC),
                                      JSON_NAME("mnc", CELL_MNC)};
static const uint8_t cellOrder[] = {1, 2, 0};
static const JsonMembers cellFields = {{3, 0, cellRows, NULL}, cellOrder};

static const KelNameRow cellReportRows[] = {JSON_NAME("pci", REPORT_PCI), JSON_NAME("rsrp", REPORT_RSRP),
                                            JSON_NAME("rsrq", REPORT_RSRQ), JSON_NAME("sinr", REPORT_SINR)};
static const uint8_t cellReportOrder[] = {0, 1, 2, 3};
static const JsonMembers cellReportFields = {{4, 0, cellReportRows, NULL}, cellReportOrder};

static const KelNameRow securityRows[] = {JSON_NAME("algorithm", SECURITY_ALGORITHM),
                                          JSON_NAME("keySetId", SECURITY_KEY_SET), JSON_NAME("mac", SECURITY_MAC)};
static const uint8_t securityOrder[] = {0, 1, 2};
static const JsonMembers securityFields = {{3, 0, securityRows, NULL}, securityOrder};

static const KelNameRow trailerRows[] = {JSON_NAME("checksum", TRAILER_CHECKSUM),
                                         JSON_NAME("sequenceNumber", TRAILER_SEQUENCE)};
static const uint8_t trailerOrder[] = {1, 0};
static const JsonMembers trailerFields = {{2, 0, trailerRows, NULL}, trailerOrder};

/* Enumerators: by name for the decoder, by value for the encoder.  An
 * identifier that Priority gains in a later version has no value here, so
 * it is refused like any unknown one. */
static const KelNameRow priorityNames[] = {JSON_NAME("background", background), JSON_NAME("emergency", emergency),
                                           JSON_NAME("high", high), JSON_NAME("low", low),
                                           JSON_NAME("normal", normal)};
static const KelNameTable priorityTable = {5, 0, priorityNames, NULL};
static const KelJsonEnumRow priorityValues[] = {
    {background, "background"}, {low, "low"}, {normal, "normal"}, {high, "high"}, {emergency, "emergency"}};
static const KelJsonEnumTable priorityIdentifiers = {5, NULL, priorityValues};

static const KelNameRow triggerNames[] = {JSON_NAME("eventA1", eventA1), JSON_NAME("eventA2", eventA2),
                                          JSON_NAME("eventA3", eventA3), JSON_NAME("eventA5", eventA5),
                                          JSON_NAME("periodic", periodic)};
static const KelNameTable triggerTable = {5, 0, triggerNames, NULL};
static const KelJsonEnumRow triggerValues[] = {
    {periodic, "periodic"}, {eventA1, "eventA1"}, {eventA2, "eventA2"}, {eventA3, "eventA3"}, {eventA5, "eventA5"}};
static const KelJsonEnumTable triggerIdentifiers = {5, NULL, triggerValues};

static const KelNameRow algorithmNames[] = {JSON_NAME("nea0", nea0), JSON_NAME("nea1", nea1),
                                            JSON_NAME("nea2", nea2), JSON_NAME("nea3", nea3)};
static const KelNameTable algorithmTable = {4, 0, algorithmNames, NULL};
static const KelJsonEnumRow algorithmValues[] = {{nea0, "nea0"}, {nea1, "nea1"}, {nea2, "nea2"}, {nea3, "nea3"}};
static const KelJsonEnumTable algorithmIdentifiers = {4, NULL, algorithmValues};

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
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

/* A member holding an unsigned or a signed number; never the first. */
static void put_uint(KelGlobal *w, const char *name, uint32_t value)
{
    _kel_jenc_element(w, name, 1);
    _kel_jenc_ulint(w, value);
}

static void put_int(KelGlobal *w, const char *name, int32_t value)
{
    _kel_jenc_element(w, name, 1);
    _kel_jenc_lint(w, value);
}

/* A fixed-size OCTET STRING: its octets as a hexadecimal string. */
static void put_hex(KelGlobal *w, const unsigned char *octets, uint32_t n)
{
    _kel_jenc_append_char(w, '"');
    _kel_jenc_append_hexs(w, octets, n);
    _kel_jenc_append_char(w, '"');
}

/* An IA5String of `low` to `high` characters held up to its NUL in an
 * array of `room` octets. */
static void put_text(KelGlobal *w, const char *text, uint32_t room, uint32_t low, uint32_t high)
{
    const char *end = memchr(text, 0, room);
    const uint32_t n = end ? (uint32_t)(end - text) : room;
    if (n < low || n > high)
        _kel_enc_error(w, MSG_SIZE_RANGE, n);
    _kel_jenc_pad_char(w, (const unsigned char *)text, n, 0);
}

/* An OPTIONAL component that is absent: null when the world asks for it. */
static void put_absent(KelGlobal *w, const char *name, uint32_t flags)
{
    if (!(flags & JSON_ENC_ABSENT_COMPONENTS))
        return;
    _kel_jenc_element(w, name, 1);
    _kel_jenc_append(w, "null", 4);
}

static void encode_NodeAddress(KelGlobal *w, const NodeAddress *v, uint32_t flags)
{
    _kel_jenc_begin_object(w);
    _kel_jenc_element(w, "plmnId", 0);
    put_hex(w, v->plmnId, 3);
    put_uint(w, "nodeNumber", in_range(w, v->nodeNumber, 0, 1048575));
    if (v->bit_mask & nodeName_present) {
        _kel_jenc_element(w, "nodeName", 1);
        put_text(w, v->nodeName, sizeof v->nodeName, 1, 32);
    } else {
        put_absent(w, "nodeName", flags);
    }
    _kel_jenc_end_object(w, 1);
}

static void encode_Header(KelGlobal *w, const Header *v, uint32_t flags)
{
    const uint32_t m = v->bit_mask;
    _kel_jenc_begin_object(w);
    _kel_jenc_element(w, "protocolVersion", 0);
    _kel_jenc_ulint(w, in_range(w, v->protocolVersion, 1, 15));
    put_uint(w, "messageId", v->messageId);
    put_uint(w, "timestamp", v->timestamp);
    _kel_jenc_element(w, "priority", 1);
    _kel_jenc_enum(w, &priorityIdentifiers, (int32_t)v->priority);
    _kel_jenc_element(w, "flags", 1);
    _kel_jenc_pad_bit(w, v->flags, 32, 1);
    _kel_jenc_element(w, "source", 1);
    encode_NodeAddress(w, &v->source, flags);
    if (m & destination_present) {
        _kel_jenc_element(w, "destination", 1);
        encode_NodeAddress(w, &v->destination, flags);
    } else {
        put_absent(w, "destination", flags);
    }
    if (m & correlationId_present)
        put_uint(w, "correlationId", v->correlationId);
    else
        put_absent(w, "correlationId", flags);
    if (m & hopCount_present)
        put_uint(w, "hopCount", v->hopCount);
    else
        put_absent(w, "hopCount", flags);
    _kel_jenc_end_object(w, 1);
}

static void encode_MeasurementReport(KelGlobal *w, const MeasurementReport *v, uint32_t flags)
{
    _kel_jenc_begin_object(w);
    _kel_jenc_element(w, "reportId", 0);
    _kel_jenc_ulint(w, v->reportId);
    _kel_jenc_element(w, "trigger", 1);
    _kel_jenc_enum(w, &triggerIdentifiers, (int32_t)v->trigger);
    _kel_jenc_element(w, "servingCell", 1);
    _kel_jenc_begin_object(w);
    _kel_jenc_element(w, "mcc", 0);
    _kel_jenc_ulint(w, in_range(w, v->servingCell.mcc, 0, 999));
    put_uint(w, "mnc", in_range(w, v->servingCell.mnc, 0, 999));
    put_uint(w, "cellId", in_range(w, v->servingCell.cellId, 0, 268435455));
    _kel_jenc_end_object(w, 1);
    _kel_jenc_element(w, "sessionKey", 1);
    put_hex(w, v->sessionKey, 16);
    _kel_jenc_element(w, "description", 1);
    put_text(w, v->description, sizeof v->description, 0, 64);
    if (v->bit_mask & validity_present) {
        _kel_jenc_element(w, "validity", 1);
        _kel_jenc_begin_object(w);
        _kel_jenc_element(w, "startTime", 0);
        _kel_jenc_ulint(w, v->validity.startTime);
        put_uint(w, "durationMs", in_range(w, v->validity.durationMs, 1, 86400000));
        _kel_jenc_end_object(w, 1);
    } else {
        put_absent(w, "validity", flags);
    }
    _kel_jenc_end_object(w, 1);
}

static void encode_Body(KelGlobal *w, const Body *v, uint32_t flags)
{
    _kel_jenc_begin_object(w);
    switch (v->choice) {
    case attachRequest_chosen:
        _kel_jenc_element(w, "attachRequest", 0);
        _kel_jenc_begin_object(w);
        _kel_jenc_element(w, "imsi", 0);
        put_hex(w, v->u.attachRequest.imsi, 8);
        _kel_jenc_element(w, "capabilities", 1);
        _kel_jenc_pad_bit(w, v->u.attachRequest.capabilities, 32, 1);
        _kel_jenc_end_object(w, 1);
        break;
    case measurementReport_chosen:
        _kel_jenc_element(w, "measurementReport", 0);
        encode_MeasurementReport(w, &v->u.measurementReport, flags);
        break;
    case releaseIndication_chosen:
        _kel_jenc_element(w, "releaseIndication", 0);
        _kel_jenc_begin_object(w);
        _kel_jenc_element(w, "cause", 0);
        _kel_jenc_ulint(w, v->u.releaseIndication.cause);
        _kel_jenc_end_object(w, 1);
        break;
    default:
        _kel_enc_error(w, MSG_CHOICE_RANGE, v->choice);
    }
    _kel_jenc_end_object(w, 1);
}

static void encode_CellReport(KelGlobal *w, const CellReport *v, uint32_t flags)
{
    _kel_jenc_begin_object(w);
    _kel_jenc_element(w, "pci", 0);
    _kel_jenc_ulint(w, in_range(w, v->pci, 0, 1007));
    put_int(w, "rsrp", in_signed_range(w, v->rsrp, -156, -44));
    put_int(w, "rsrq", in_signed_range(w, v->rsrq, -43, 20));
    if (v->bit_mask & sinr_present)
        put_int(w, "sinr", in_signed_range(w, v->sinr, -23, 40));
    else
        put_absent(w, "sinr", flags);
    _kel_jenc_end_object(w, 1);
}

static void encode_Message(KelGlobal *w, const Message *v, uint32_t flags)
{
    const uint32_t count = v->cellReports.count;
    uint32_t i;
    if (count < 1 || count > 32)
        _kel_enc_error(w, MSG_COUNT_RANGE, count);
    _kel_jenc_begin_object(w);
    _kel_jenc_element(w, "header", 0);
    encode_Header(w, &v->header, flags);
    _kel_jenc_element(w, "body", 1);
    encode_Body(w, &v->body, flags);
    _kel_jenc_element(w, "cellReports", 1);
    _kel_jenc_begin_array(w);
    for (i = 0; i < count; i++) {
        if (i)
            _kel_jenc_append_char(w, ',');
        _kel_jenc_indent(w);
        encode_CellReport(w, &v->cellReports.value[i], flags);
    }
    _kel_jenc_end_array(w, 1);
    if (v->bit_mask & security_present) {
        _kel_jenc_element(w, "security", 1);
        _kel_jenc_begin_object(w);
        _kel_jenc_element(w, "algorithm", 0);
        _kel_jenc_enum(w, &algorithmIdentifiers, (int32_t)v->security.algorithm);
        put_uint(w, "keySetId", in_range(w, v->security.keySetId, 0, 7));
        _kel_jenc_element(w, "mac", 1);
        put_hex(w, v->security.mac, 4);
        _kel_jenc_end_object(w, 1);
    } else {
        put_absent(w, "security", flags);
    }
    if (v->bit_mask & trailer_present) {
        _kel_jenc_element(w, "trailer", 1);
        _kel_jenc_begin_object(w);
        _kel_jenc_element(w, "sequenceNumber", 0);
        _kel_jenc_ulint(w, v->trailer.sequenceNumber);
        put_uint(w, "checksum", v->trailer.checksum);
        _kel_jenc_end_object(w, 1);
    } else {
        put_absent(w, "trailer", flags);
    }
    _kel_jenc_end_object(w, 1);
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

/* Each decoder of a structure finds its '{' read; `room` is the levels of
 * structure it may still enter.  The readers of simple values read their
 * value's token themselves; those of OPTIONAL ones are called once
 * json_present has read it. */

static uint32_t get_uint(KelJsonCursor *c, uint32_t high)
{
    json_number(c);
    return _kel_jdec_ulint(c, high);
}

static int32_t get_int(KelJsonCursor *c, int32_t low, int32_t high)
{
    json_number(c);
    return _kel_jdec_lint(c, low, high);
}

static int32_t get_enum(KelJsonCursor *c, const KelNameTable *table)
{
    json_string(c);
    return _kel_jdec_enum(c, table);
}

static void get_hex(KelJsonCursor *c, unsigned char *out, int32_t n)
{
    json_string(c);
    _kel_jdec_octets(c, out, n);
}

static uint32_t get_bits32(KelJsonCursor *c)
{
    json_string(c);
    return _kel_jdec_bit_padded(c, 32);
}

/* An IA5String of `low` to `high` characters into its array, NUL behind;
 * its opening quote has been read. */
static void get_text(KelJsonCursor *c, char *out, uint32_t low, int32_t high)
{
    const unsigned char *p = (const unsigned char *)out;
    const uint32_t n = _kel_jdec_string(c, (unsigned char *)out, -high);
    uint32_t i, bad = 0;
    if (n < low)
        _kel_enc_error(c->world, MSG_SIZE_RANGE, n);
    for (i = 0; i < n; i++) /* NUL, or beyond the 128 characters */
        bad |= (unsigned char)(p[i] - 1) >= 127;
    if (bad) {
        for (i = 0; p[i] && p[i] < 128; i++)
            ;
        if (p[i] == 0)
            _kel_enc_error(c->world, MSG_EMBEDDED_NUL, 0);
        _kel_enc_error(c->world, MSG_BAD_CHARACTER, p[i]);
    }
    out[n] = 0;
}

static void decode_NodeAddress(KelJsonCursor *c, NodeAddress *v, uint32_t room)
{
    uint32_t seen = 0;
    int32_t field;
    json_enter(c, room);
    for (field = json_member(c, &nodeFields, -1); field >= 0; field = json_member(c, &nodeFields, field)) {
        seen = json_once(c, seen, field, "NodeAddress");
        switch (field) {
        case NODE_PLMN:
            get_hex(c, v->plmnId, 3);
            break;
        case NODE_NUMBER:
            v->nodeNumber = get_uint(c, 1048575);
            break;
        default:
            if (json_present(c, KEL_JTOK_STRING)) {
                v->bit_mask |= nodeName_present;
                get_text(c, v->nodeName, 1, 32);
            }
            break;
        }
    }
    json_require(c, seen, 1u << NODE_PLMN | 1u << NODE_NUMBER);
}

static void decode_Header(KelJsonCursor *c, Header *v, uint32_t room)
{
    uint32_t seen = 0;
    int32_t field;
    json_enter(c, room);
    for (field = json_member(c, &headerFields, -1); field >= 0; field = json_member(c, &headerFields, field)) {
        seen = json_once(c, seen, field, "Header");
        switch (field) {
        case HEADER_VERSION:
            v->protocolVersion = (uint8_t)get_int(c, 1, 15);
            break;
        case HEADER_ID:
            v->messageId = get_uint(c, 0xFFFFFFFFu);
            break;
        case HEADER_TIME:
            v->timestamp = get_uint(c, 0xFFFFFFFFu);
            break;
        case HEADER_PRIORITY:
            v->priority = (Priority)get_enum(c, &priorityTable);
            break;
        case HEADER_FLAGS:
            v->flags = get_bits32(c);
            break;
        case HEADER_SOURCE:
            json_object(c);
            decode_NodeAddress(c, &v->source, room - 1);
            break;
        case HEADER_DESTINATION:
            if (json_present(c, KEL_JTOK_OPEN_OBJECT)) {
                v->bit_mask |= destination_present;
                decode_NodeAddress(c, &v->destination, room - 1);
            }
            break;
        case HEADER_CORRELATION:
            if (json_present(c, KEL_JTOK_NUMBER)) {
                v->bit_mask |= correlationId_present;
                v->correlationId = (uint16_t)_kel_jdec_ulint(c, 65535);
            }
            break;
        case HEADER_HOPS:
            if (json_present(c, KEL_JTOK_NUMBER)) {
                v->bit_mask |= hopCount_present;
                v->hopCount = (uint8_t)_kel_jdec_ulint(c, 255);
            }
            break;
        default:
            json_skip_value(c);
            break;
        }
    }
    json_require(c, seen, (1u << HEADER_DESTINATION) - 1);
}

static void decode_CellIdentity(KelJsonCursor *c, CellIdentity *v, uint32_t room)
{
    uint32_t seen = 0;
    int32_t field;
    json_enter(c, room);
    for (field = json_member(c, &cellFields, -1); field >= 0; field = json_member(c, &cellFields, field)) {
        seen = json_once(c, seen, field, "CellIdentity");
        switch (field) {
        case CELL_MCC:
            v->mcc = (uint16_t)get_uint(c, 999);
            break;
        case CELL_MNC:
            v->mnc = (uint16_t)get_uint(c, 999);
            break;
        default:
            v->cellId = get_uint(c, 268435455);
            break;
        }
    }
    json_require(c, seen, 7);
}

static void decode_validity(KelJsonCursor *c, struct MeasurementReport_validity *v, uint32_t room)
{
    uint32_t seen = 0;
    int32_t field;
    json_enter(c, room);
    for (field = json_member(c, &validityFields, -1); field >= 0; field = json_member(c, &validityFields, field)) {
        seen = json_once(c, seen, field, "validity");
        if (field == VALIDITY_START)
            v->startTime = get_uint(c, 0xFFFFFFFFu);
        else
            v->durationMs = (uint32_t)get_int(c, 1, 86400000);
    }
    json_require(c, seen, 3);
}

static void decode_MeasurementReport(KelJsonCursor *c, MeasurementReport *v, uint32_t room)
{
    uint32_t seen = 0;
    int32_t field;
    json_enter(c, room);
    for (field = json_member(c, &reportFields, -1); field >= 0; field = json_member(c, &reportFields, field)) {
        seen = json_once(c, seen, field, "MeasurementReport");
        switch (field) {
        case REPORT_ID:
            v->reportId = (uint16_t)get_uint(c, 65535);
            break;
        case REPORT_TRIGGER:
            v->trigger = (MeasurementReport_trigger)get_enum(c, &triggerTable);
            break;
        case REPORT_CELL:
            json_object(c);
            decode_CellIdentity(c, &v->servingCell, room - 1);
            break;
        case REPORT_KEY:
            get_hex(c, v->sessionKey, 16);
            break;
        case REPORT_TEXT:
            json_string(c);
            get_text(c, v->description, 0, 64);
            break;
        case REPORT_VALIDITY:
            if (json_present(c, KEL_JTOK_OPEN_OBJECT)) {
                v->bit_mask |= validity_present;
                decode_validity(c, &v->validity, room - 1);
            }
            break;
        default:
            json_skip_value(c);
            break;
        }
    }
    json_require(c, seen, (1u << REPORT_VALIDITY) - 1);
}

static void decode_AttachRequest(KelJsonCursor *c, AttachRequest *v, uint32_t room)
{
    uint32_t seen = 0;
    int32_t field;
    json_enter(c, room);
    for (field = json_member(c, &attachFields, -1); field >= 0; field = json_member(c, &attachFields, field)) {
        seen = json_once(c, seen, field, "AttachRequest");
        if (field == ATTACH_IMSI)
            get_hex(c, v->imsi, 8);
        else
            v->capabilities = get_bits32(c);
    }
    json_require(c, seen, 3);
}

static void decode_ReleaseIndication(KelJsonCursor *c, ReleaseIndication *v, uint32_t room)
{
    uint32_t seen = 0;
    int32_t field;
    json_enter(c, room);
    for (field = json_member(c, &releaseFields, -1); field >= 0; field = json_member(c, &releaseFields, field)) {
        seen = json_once(c, seen, field, "ReleaseIndication");
        v->cause = (uint8_t)get_uint(c, 255);
    }
    json_require(c, seen, 1);
}

/* One member, the alternative; one added by a later version is stepped
 * over and leaves the selector 0. */
static void decode_Body(KelJsonCursor *c, Body *v, uint32_t room)
{
    int32_t field;
    json_enter(c, room);
    field = json_member(c, &bodyAlternatives, -1);
    switch (field) {
    case BODY_ATTACH:
        json_object(c);
        decode_AttachRequest(c, &v->u.attachRequest, room - 1);
        break;
    case BODY_MEASUREMENT:
        json_object(c);
        decode_MeasurementReport(c, &v->u.measurementReport, room - 1);
        break;
    case BODY_RELEASE:
        json_object(c);
        decode_ReleaseIndication(c, &v->u.releaseIndication, room - 1);
        break;
    case JSON_UNKNOWN_MEMBER:
        json_skip_value(c);
        break;
    default: /* {} chooses nothing */
        _kel_varn_error(c->world, JSON_MSG_INVALID_ENCODING, "Body");
    }
    v->choice = field == JSON_UNKNOWN_MEMBER ? 0 : (uint16_t)(field + 1);
    json_token(c, '}', KEL_JTOK_CLOSE_OBJECT, KEL_JTOK_CLOSE_OBJECT);
}

static void decode_CellReport(KelJsonCursor *c, CellReport *v, uint32_t room)
{
    uint32_t seen = 0;
    int32_t field;
    json_enter(c, room);
    for (field = json_member(c, &cellReportFields, -1); field >= 0; field = json_member(c, &cellReportFields, field)) {
        seen = json_once(c, seen, field, "CellReport");
        switch (field) {
        case REPORT_PCI:
            v->pci = (uint16_t)get_uint(c, 1007);
            break;
        case REPORT_RSRP:
            v->rsrp = (int16_t)get_int(c, -156, -44);
            break;
        case REPORT_RSRQ:
            v->rsrq = (int8_t)get_int(c, -43, 20);
            break;
        default:
            if (json_present(c, KEL_JTOK_NUMBER)) {
                v->bit_mask |= sinr_present;
                v->sinr = (int8_t)_kel_jdec_lint(c, -23, 40);
            }
            break;
        }
    }
    json_require(c, seen, 7);
}

/* Into the array of the type's upper bound, counted as they come. */
static void decode_cellReports(KelJsonCursor *c, struct Message_cellReports *v, uint32_t room)
{
    uint32_t count = 0;
    int first;
    json_enter(c, room);
    for (first = 1; json_element(c, first); first = 0) {
        if (count == 32)
            _kel_enc_error(c->world, MSG_COUNT_RANGE, count + 1);
        decode_CellReport(c, &v->value[count++], room - 1);
    }
    if (count == 0)
        _kel_enc_error(c->world, MSG_COUNT_RANGE, 0);
    v->count = count;
}

static void decode_SecurityContext(KelJsonCursor *c, SecurityContext *v, uint32_t room)
{
    uint32_t seen = 0;
    int32_t field;
    json_enter(c, room);
    for (field = json_member(c, &securityFields, -1); field >= 0; field = json_member(c, &securityFields, field)) {
        seen = json_once(c, seen, field, "SecurityContext");
        switch (field) {
        case SECURITY_ALGORITHM:
            v->algorithm = (SecurityContext_algorithm)get_enum(c, &algorithmTable);
            break;
        case SECURITY_KEY_SET:
            v->keySetId = (uint8_t)get_uint(c, 7);
            break;
        default:
            get_hex(c, v->mac, 4);
            break;
        }
    }
    json_require(c, seen, 7);
}

static void decode_Trailer(KelJsonCursor *c, Trailer *v, uint32_t room)
{
    uint32_t seen = 0;
    int32_t field;
    json_enter(c, room);
    for (field = json_member(c, &trailerFields, -1); field >= 0; field = json_member(c, &trailerFields, field)) {
        seen = json_once(c, seen, field, "Trailer");
        if (field == TRAILER_SEQUENCE)
            v->sequenceNumber = (uint16_t)get_uint(c, 65535);
        else
            v->checksum = get_uint(c, 0xFFFFFFFFu);
    }
    json_require(c, seen, 3);
}

static void decode_Message(KelJsonCursor *c, Message *v, uint32_t room)
{
    uint32_t seen = 0;
    int32_t field;
    json_enter(c, room);
    for (field = json_member(c, &messageFields, -1); field >= 0; field = json_member(c, &messageFields, field)) {
        seen = json_once(c, seen, field, "Message");
        switch (field) {
        case MESSAGE_HEADER:
            json_object(c);
            decode_Header(c, &v->header, room - 1);
            break;
        case MESSAGE_BODY:
            json_object(c);
            decode_Body(c, &v->body, room - 1);
            break;
        case MESSAGE_CELLS:
            json_array(c);
            decode_cellReports(c, &v->cellReports, room - 1);
            break;
        case MESSAGE_SECURITY:
            if (json_present(c, KEL_JTOK_OPEN_OBJECT)) {
                v->bit_mask |= security_present;
                decode_SecurityContext(c, &v->security, room - 1);
            }
            break;
        case MESSAGE_TRAILER:
            if (json_present(c, KEL_JTOK_OPEN_OBJECT)) {
                v->bit_mask |= trailer_present;
                decode_Trailer(c, &v->trailer, room - 1);
            }
            break;
        default:
            json_skip_value(c);
            break;
        }
    }
    json_require(c, seen, 7);
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

int proto_json_encode(KelGlobal *w, int pdu, void *value)
{
    const uint32_t flags = (uint32_t)kelGetJsonFlags(w);
    const int wrapped = json_wrap(w, flags, "Message");
    proto_enter_pdu(w, pdu);
    encode_Message(w, value, flags);
    json_end_wrap(w, wrapped);
    return 0;
}

void *proto_json_decode(KelGlobal *w, KelJsonCursor *c, int pdu)
{
    Message *message;
    int wrapped;
    proto_enter_pdu(w, pdu);
    wrapped = json_unwrap(c, "Message");
    json_need_object(c);
    message = _kel_dec_getmem(w, sizeof *message);
    decode_Message(c, message, json_nesting_room(w));
    json_close_wrapper(c, wrapped);
    return message;
}
