/*
 * proto_message_check.c - the constraint checker of the ProtoMessage code
 * file, as a compiler emits it: per type a straight line of tests of its
 * constrained fields, each broken constraint raised with its value.
 *
 * Fields whose C type holds exactly the constraint's range need no test:
 * the INTEGERs of 0..255, 0..65535 and 0..4294967295, the BIT STRINGs of
 * SIZE(32) held as a u32 and the OCTET STRINGs of a fixed size held as
 * arrays of it.  Priority is extensible: a value of a later version passes.
 */
#include <string.h>

#include "kelvarn_services.h"
#include "proto_message.h"
#include "proto_message_services.h"

/* Messages of the broken constraints, and of a PDU number out of range. */
enum { MSG_PDU_RANGE = 3, MSG_RANGE_SIGNED = 22, MSG_RANGE_UNSIGNED = 23, MSG_SIZE = 27, MSG_COUNT = 28 };

static void in_range(KelGlobal *w, uint32_t value, uint32_t lower, uint32_t upper)
{
    if (value < lower || value > upper)
        _kel_con_error(w, MSG_RANGE_UNSIGNED, value);
}

static void in_signed_range(KelGlobal *w, int32_t value, int32_t lower, int32_t upper)
{
    if (value < lower || value > upper)
        _kel_con_error(w, MSG_RANGE_SIGNED, (uint32_t)value);
}

/* The characters before the NUL of a bounded string held in `room` octets. */
static void text_size(KelGlobal *w, const char *text, size_t room, uint32_t lower, uint32_t upper)
{
    const char *end = memchr(text, 0, room);
    const uint32_t length = end ? (uint32_t)(end - text) : (uint32_t)room;
    if (length < lower || length > upper)
        _kel_con_error(w, MSG_SIZE, length);
}

static const int32_t triggerValues[] = { periodic, eventA1, eventA2, eventA3, eventA5 };
static const KelEnumList triggerMembers = { 5, triggerValues };
static const int32_t algorithmValues[] = { nea0, nea1, nea2, nea3 };
static const KelEnumList algorithmMembers = { 4, algorithmValues };

static void check_node(KelGlobal *w, const NodeAddress *v)
{
    in_range(w, v->nodeNumber, 0, 1048575);
    if (v->bit_mask & nodeName_present)
        text_size(w, v->nodeName, sizeof v->nodeName, 1, 32);
}

static void check_header(KelGlobal *w, const Header *v)
{
    in_range(w, v->protocolVersion, 1, 15);
    check_node(w, &v->source);
    if (v->bit_mask & destination_present)
        check_node(w, &v->destination);
}

static void check_measurement(KelGlobal *w, const MeasurementReport *v)
{
    _kel_chk_enum(w, (int32_t)v->trigger, &triggerMembers);
    in_range(w, v->servingCell.mcc, 0, 999);
    in_range(w, v->servingCell.mnc, 0, 999);
    in_range(w, v->servingCell.cellId, 0, 268435455);
    text_size(w, v->description, sizeof v->description, 0, 64);
    if (v->bit_mask & validity_present)
        in_range(w, v->validity.durationMs, 1, 86400000);
}

static void check_body(KelGlobal *w, const Body *v)
{
    /* AttachRequest and ReleaseIndication have no field to test; selector
     * 0 is an alternative of a later version. */
    if (v->choice == measurementReport_chosen)
        check_measurement(w, &v->u.measurementReport);
}

static void check_cell_report(KelGlobal *w, const CellReport *v)
{
    in_range(w, v->pci, 0, 1007);
    in_signed_range(w, v->rsrp, -156, -44);
    in_signed_range(w, v->rsrq, -43, 20);
    if (v->bit_mask & sinr_present)
        in_signed_range(w, v->sinr, -23, 40);
}

int proto_check(KelGlobal *w, int pdu, void *value)
{
    const Message *v = value;
    uint32_t i;
    if (pdu != Message_PDU)
        _kel_enc_error(w, MSG_PDU_RANGE, (uint32_t)pdu);
    check_header(w, &v->header);
    check_body(w, &v->body);
    if (v->cellReports.count < 1 || v->cellReports.count > 32)
        _kel_con_error(w, MSG_COUNT, v->cellReports.count);
    for (i = 0; i < v->cellReports.count; i++)
        check_cell_report(w, &v->cellReports.value[i]);
    if (v->bit_mask & security_present) {
        _kel_chk_enum(w, (int32_t)v->security.algorithm, &algorithmMembers);
        in_range(w, v->security.keySetId, 0, 7);
    }
    return 0;
}
