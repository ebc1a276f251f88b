/*
 * proto_message_services.c - the printer, comparer and copier of the
 * ProtoMessage code file, in the shape a compiler emits them: per type a
 * straight line of service primitive calls.
 *
 * The printer writes value notation, a component to a line, two blanks a
 * level:
 *
 *   value Message ::= {
 *     header {
 *       protocolVersion 3,
 *       ...
 *     body measurementReport : {
 *
 * Absent OPTIONAL components are left out; a Body whose alternative a later
 * version added (selector 0, as the decoder leaves it) prints as <unknown>.
 * The comparer answers 0 for equal values: an absent component equals only
 * an absent one.  The whole value is one piece of memory, so the copier
 * takes one piece from the decoder's getter and copies the record into it;
 * proto_free releases it as it releases a decoded value.
 */
#include <string.h>

#include "kelvarn_services.h"
#include "../value_notation.h"
#include "proto_message.h"
#include "proto_message_services.h"

/* Messages raised by the generated code. */
enum { MSG_PDU_RANGE = 3, MSG_CHOICE_RANGE = 7, MSG_COUNT_RANGE = 28 };

enum { MAX_CELL_REPORTS = 32 };

static void check_pdu(KelGlobal *w, int pdu)
{
    if (pdu != Message_PDU)
        _kel_enc_error(w, MSG_PDU_RANGE, (uint32_t)pdu);
}

/* The count of the bounded list, which indexes an array of its bound. */
static uint32_t cell_report_count(KelGlobal *w, const Message *v)
{
    if (v->cellReports.count > MAX_CELL_REPORTS)
        _kel_enc_error(w, MSG_COUNT_RANGE, v->cellReports.count);
    return v->cellReports.count;
}

/* ------------------------------------------------------------------------ */
/* Printer                                                                   */
/* ------------------------------------------------------------------------ */

static const KelEnumName priorityNames[] = {
    { background, "background" }, { low, "low" }, { normal, "normal" }, { high, "high" },
    { emergency, "emergency" }
};
static const KelEnumName triggerNames[] = {
    { periodic, "periodic" }, { eventA1, "eventA1" }, { eventA2, "eventA2" },
    { eventA3, "eventA3" }, { eventA5, "eventA5" }
};
static const KelEnumName algorithmNames[] = {
    { nea0, "nea0" }, { nea1, "nea1" }, { nea2, "nea2" }, { nea3, "nea3" }
};

#define COUNT_OF(table) ((uint32_t)(sizeof(table) / sizeof((table)[0])))

static void print_NodeAddress(KelGlobal *w, const NodeAddress *v)
{
    open_braces(w);
    kelPrint(w, "plmnId ");
    _kel_prt_oct(w, v->plmnId, sizeof v->plmnId);
    next_line(w);
    kelPrint(w, "nodeNumber %u", v->nodeNumber);
    if (v->bit_mask & nodeName_present) {
        next_line(w);
        kelPrint(w, "nodeName ");
        _kel_prt_nchar(w, v->nodeName);
    }
    close_braces(w);
}

static void print_Header(KelGlobal *w, const Header *v)
{
    open_braces(w);
    kelPrint(w, "protocolVersion %d", v->protocolVersion);
    next_line(w);
    kelPrint(w, "messageId %u", v->messageId);
    next_line(w);
    kelPrint(w, "timestamp %u", v->timestamp);
    next_line(w);
    kelPrint(w, "priority ");
    _kel_prt_enum(w, (uint64_t)v->priority, priorityNames, COUNT_OF(priorityNames));
    next_line(w);
    kelPrint(w, "flags ");
    _kel_prt_pbit(w, &v->flags, sizeof v->flags, 32);
    next_line(w);
    kelPrint(w, "source ");
    print_NodeAddress(w, &v->source);
    if (v->bit_mask & destination_present) {
        next_line(w);
        kelPrint(w, "destination ");
        print_NodeAddress(w, &v->destination);
    }
    if (v->bit_mask & correlationId_present) {
        next_line(w);
        kelPrint(w, "correlationId %d", v->correlationId);
    }
    if (v->bit_mask & hopCount_present) {
        next_line(w);
        kelPrint(w, "hopCount %d", v->hopCount);
    }
    close_braces(w);
}

static void print_CellIdentity(KelGlobal *w, const CellIdentity *v)
{
    open_braces(w);
    kelPrint(w, "mcc %d", v->mcc);
    next_line(w);
    kelPrint(w, "mnc %d", v->mnc);
    next_line(w);
    kelPrint(w, "cellId %u", v->cellId);
    close_braces(w);
}

static void print_MeasurementReport(KelGlobal *w, const MeasurementReport *v)
{
    open_braces(w);
    kelPrint(w, "reportId %d", v->reportId);
    next_line(w);
    kelPrint(w, "trigger ");
    _kel_prt_enum(w, (uint64_t)v->trigger, triggerNames, COUNT_OF(triggerNames));
    next_line(w);
    kelPrint(w, "servingCell ");
    print_CellIdentity(w, &v->servingCell);
    next_line(w);
    kelPrint(w, "sessionKey ");
    _kel_prt_oct(w, v->sessionKey, sizeof v->sessionKey);
    next_line(w);
    kelPrint(w, "description ");
    _kel_prt_nchar(w, v->description);
    if (v->bit_mask & validity_present) {
        next_line(w);
        kelPrint(w, "validity ");
        open_braces(w);
        kelPrint(w, "startTime %u", v->validity.startTime);
        next_line(w);
        kelPrint(w, "durationMs %u", v->validity.durationMs);
        close_braces(w);
    }
    close_braces(w);
}

static void print_Body(KelGlobal *w, const Body *v)
{
    switch (v->choice) {
    case attachRequest_chosen:
        kelPrint(w, "attachRequest : ");
        open_braces(w);
        kelPrint(w, "imsi ");
        _kel_prt_oct(w, v->u.attachRequest.imsi, sizeof v->u.attachRequest.imsi);
        next_line(w);
        kelPrint(w, "capabilities ");
        _kel_prt_pbit(w, &v->u.attachRequest.capabilities, sizeof v->u.attachRequest.capabilities, 32);
        close_braces(w);
        break;
    case measurementReport_chosen:
        kelPrint(w, "measurementReport : ");
        print_MeasurementReport(w, &v->u.measurementReport);
        break;
    case releaseIndication_chosen:
        kelPrint(w, "releaseIndication : ");
        open_braces(w);
        kelPrint(w, "cause %d", v->u.releaseIndication.cause);
        close_braces(w);
        break;
    case 0:
        kelPrint(w, "<unknown>");
        break;
    default:
        _kel_enc_error(w, MSG_CHOICE_RANGE, v->choice);
    }
}

static void print_CellReport(KelGlobal *w, const CellReport *v)
{
    open_braces(w);
    kelPrint(w, "pci %d", v->pci);
    next_line(w);
    kelPrint(w, "rsrp %d", v->rsrp);
    next_line(w);
    kelPrint(w, "rsrq %d", v->rsrq);
    if (v->bit_mask & sinr_present) {
        next_line(w);
        kelPrint(w, "sinr %d", v->sinr);
    }
    close_braces(w);
}

int proto_print(KelGlobal *w, int pdu, void *value)
{
    const Message *v = (const Message *)value;
    uint32_t i, count;
    check_pdu(w, pdu);
    count = cell_report_count(w, v);
    kelPrint(w, "value Message ::= ");
    open_braces(w);
    kelPrint(w, "header ");
    print_Header(w, &v->header);
    next_line(w);
    kelPrint(w, "body ");
    print_Body(w, &v->body);
    next_line(w);
    kelPrint(w, "cellReports {");
    for (i = 0; i < count; i++) {
        if (i)
            next_line(w);
        else
            first_line(w);
        print_CellReport(w, &v->cellReports.value[i]);
    }
    if (count)
        _kel_indent(w, -1);
    kelPrint(w, "}");
    if (v->bit_mask & security_present) {
        next_line(w);
        kelPrint(w, "security ");
        open_braces(w);
        kelPrint(w, "algorithm ");
        _kel_prt_enum(w, (uint64_t)v->security.algorithm, algorithmNames, COUNT_OF(algorithmNames));
        next_line(w);
        kelPrint(w, "keySetId %d", v->security.keySetId);
        next_line(w);
        kelPrint(w, "mac ");
        _kel_prt_oct(w, v->security.mac, sizeof v->security.mac);
        close_braces(w);
    }
    if (v->bit_mask & trailer_present) {
        next_line(w);
        kelPrint(w, "trailer ");
        open_braces(w);
        kelPrint(w, "sequenceNumber %d", v->trailer.sequenceNumber);
        next_line(w);
        kelPrint(w, "checksum %u", v->trailer.checksum);
        close_braces(w);
    }
    close_braces(w);
    kelPrint(w, "\n");
    return 0;
}

/* ------------------------------------------------------------------------ */
/* Comparer                                                                  */
/* ------------------------------------------------------------------------ */

/* 1 when equal, as _kelCmpPrimitiveValue answers. */
static int same_octets(KelGlobal *w, const unsigned char *a, const unsigned char *b, uint32_t size)
{
    return _kelCmpPrimitiveValue(w, a, b, size, NULL, KEL_CMPK_FIXED);
}

static int same_text(KelGlobal *w, const char *a, const char *b)
{
    return _kelCmpPrimitiveValue(w, a, b, 0, NULL, KEL_CMPK_NULLTERM);
}

/* BIT STRING (SIZE(32)) in a u32 whose high bit is the first bit. */
static int same_bits32(KelGlobal *w, const uint32_t *a, const uint32_t *b)
{
    return _kelCmpPrimitiveValue(w, a, b, sizeof *a, (const void *)(intptr_t)32, KEL_CMPK_PADDED_BITS);
}

static int same_NodeAddress(KelGlobal *w, const NodeAddress *a, const NodeAddress *b)
{
    if (!same_octets(w, a->plmnId, b->plmnId, sizeof a->plmnId) || a->nodeNumber != b->nodeNumber ||
        (a->bit_mask ^ b->bit_mask) & nodeName_present)
        return 0;
    return !(a->bit_mask & nodeName_present) || same_text(w, a->nodeName, b->nodeName);
}

static int same_Header(KelGlobal *w, const Header *a, const Header *b)
{
    if (a->protocolVersion != b->protocolVersion || a->messageId != b->messageId ||
        a->timestamp != b->timestamp || a->priority != b->priority ||
        !same_bits32(w, &a->flags, &b->flags) || !same_NodeAddress(w, &a->source, &b->source) ||
        (a->bit_mask ^ b->bit_mask) & (destination_present | correlationId_present | hopCount_present))
        return 0;
    return (!(a->bit_mask & destination_present) || same_NodeAddress(w, &a->destination, &b->destination)) &&
           (!(a->bit_mask & correlationId_present) || a->correlationId == b->correlationId) &&
           (!(a->bit_mask & hopCount_present) || a->hopCount == b->hopCount);
}

static int same_MeasurementReport(KelGlobal *w, const MeasurementReport *a, const MeasurementReport *b)
{
    if (a->reportId != b->reportId || a->trigger != b->trigger ||
        a->servingCell.mcc != b->servingCell.mcc || a->servingCell.mnc != b->servingCell.mnc ||
        a->servingCell.cellId != b->servingCell.cellId ||
        !same_octets(w, a->sessionKey, b->sessionKey, sizeof a->sessionKey) ||
        !same_text(w, a->description, b->description) || (a->bit_mask ^ b->bit_mask) & validity_present)
        return 0;
    return !(a->bit_mask & validity_present) || (a->validity.startTime == b->validity.startTime &&
                                                 a->validity.durationMs == b->validity.durationMs);
}

static int same_Body(KelGlobal *w, const Body *a, const Body *b)
{
    if (a->choice != b->choice)
        return 0;
    switch (a->choice) {
    case attachRequest_chosen:
        return same_octets(w, a->u.attachRequest.imsi, b->u.attachRequest.imsi,
                           sizeof a->u.attachRequest.imsi) &&
               same_bits32(w, &a->u.attachRequest.capabilities, &b->u.attachRequest.capabilities);
    case measurementReport_chosen:
        return same_MeasurementReport(w, &a->u.measurementReport, &b->u.measurementReport);
    case releaseIndication_chosen:
        return a->u.releaseIndication.cause == b->u.releaseIndication.cause;
    case 0: /* an alternative of a later version: nothing of it is kept */
        return 1;
    default:
        _kel_enc_error(w, MSG_CHOICE_RANGE, a->choice);
    }
}

static int same_CellReport(const CellReport *a, const CellReport *b)
{
    if (a->pci != b->pci || a->rsrp != b->rsrp || a->rsrq != b->rsrq ||
        (a->bit_mask ^ b->bit_mask) & sinr_present)
        return 0;
    return !(a->bit_mask & sinr_present) || a->sinr == b->sinr;
}

int proto_compare(KelGlobal *w, int pdu, void *first, void *second)
{
    const Message *a = (const Message *)first, *b = (const Message *)second;
    uint32_t i, count;
    check_pdu(w, pdu);
    count = cell_report_count(w, a);
    if (!same_Header(w, &a->header, &b->header) || !same_Body(w, &a->body, &b->body) ||
        count != cell_report_count(w, b) || (a->bit_mask ^ b->bit_mask) & (security_present | trailer_present))
        return 1;
    for (i = 0; i < count; i++)
        if (!same_CellReport(&a->cellReports.value[i], &b->cellReports.value[i]))
            return 1;
    if ((a->bit_mask & security_present) &&
        (a->security.algorithm != b->security.algorithm || a->security.keySetId != b->security.keySetId ||
         !same_octets(w, a->security.mac, b->security.mac, sizeof a->security.mac)))
        return 1;
    if ((a->bit_mask & trailer_present) && (a->trailer.sequenceNumber != b->trailer.sequenceNumber ||
                                          a->trailer.checksum != b->trailer.checksum))
        return 1;
    return 0;
}

/* ------------------------------------------------------------------------ */
/* Copier                                                                    */
/* ------------------------------------------------------------------------ */

int proto_copy(KelGlobal *w, int pdu, void *source, void **destination)
{
    Message *to;
    check_pdu(w, pdu);
    to = (Message *)_kel_dec_getmem(w, sizeof *to);
    memcpy(to, source, sizeof *to);
    *destination = to;
    return 0;
}
