/*
 * print_probe.c - the printer stand-in: value notation of four PDUs, laid
 * out one component to a line.  A nested print (an open type) comes with the
 * negated PDU number and ends without a line break.
 *
 *   value Record ::=
 *   {
 *     number 5,
 *     name "abc",
 *     flags '101'B,
 *     inner 42
 *   }
 */
#include "print_probe.h"
#include "kelvarn_ber.h"
#include "kelvarn_services.h"

int kel_print_probe_message = 45;

/* A level opens on the line of its brace; the members follow one to a line. */
static void print_record(KelGlobal *world, const KelPrintProbeRecord *record)
{
    _kel_indent(world, 1);
    kelPrint(world, "{");
    _kel_indent(world, 0);
    kelPrint(world, "number %d,", (int)record->number);
    _kel_indent(world, 0);
    kelPrint(world, "name ");
    _kel_prt_char(world, (const char *)record->name.value, record->name.length);
    kelPrint(world, ",");
    _kel_indent(world, 0);
    kelPrint(world, "flags ");
    _kel_prt_bit(world, record->flags.value, record->flags.length);
    kelPrint(world, ",");
    _kel_indent(world, 0);
    kelPrint(world, "inner ");
    _kel_prt_opentype(world, &record->inner);
    _kel_indent(world, -1);
    kelPrint(world, "}");
}

static void print_list(KelGlobal *world, const KelPrintProbeList *list)
{
    uint32_t i;
    _kel_indent(world, 1);
    kelPrint(world, "{");
    for (i = 0; i < list->count; ++i) {
        if (i)
            kelPrint(world, ",");
        _kel_indent(world, 0);
        kelPrint(world, "%d", (int)list->values[i]);
    }
    _kel_indent(world, -1);
    kelPrint(world, "}");
}

static const char *const type_names[] = {"", "Number", "Record", "List", "Failing"};

static int probe_print(KelGlobal *world, int pdu, void *value)
{
    const int nested = pdu < 0;
    if (nested)
        pdu = -pdu;
    if (!nested)
        kelPrint(world, "value %s ::= ", type_names[pdu]);
    switch (pdu) {
    case KEL_PRINT_PROBE_NUMBER: kelPrint(world, "%d", (int)*(const int32_t *)value); break;
    case KEL_PRINT_PROBE_RECORD: print_record(world, (const KelPrintProbeRecord *)value); break;
    case KEL_PRINT_PROBE_LIST: print_list(world, (const KelPrintProbeList *)value); break;
    default:
        kelPrint(world, "{ ");
        _kel_enc_error(world, kel_print_probe_message, 0);
    }
    if (!nested)
        kelPrint(world, "\n");
    return 0;
}

/* INTEGER of one octet, with the debug hooks around it. */
static int probe_encode(KelGlobal *world, int pdu, void *value)
{
    const int32_t number = *(const int32_t *)value;
    unsigned char octets[3];
    unsigned char *pos = NULL;
    int32_t rem = 0;
    uint32_t length = 0;
    unsigned char *encoding = NULL;
    _kel_db_e_pre(world, pdu, value, NULL, NULL, 0);
    if (number < 0)
        _kel_enc_error(world, kel_print_probe_message, 0);
    octets[0] = 2;
    octets[1] = 1;
    octets[2] = (unsigned char)number;
    _kel_write_bytes_d(world, &pos, &rem, octets, 3);
    _kel_set_outmem_d(world, (uint32_t)rem, &length, &encoding);
    world->outPos = encoding;
    world->outRemaining = (int32_t)length;
    _kel_db_e_post(world, 0, encoding, length);
    return 0;
}

static void probe_init(KelGlobal *world)
{
    kelLinkBer(world);
}

KelControlTable kel_print_probe_table = {probe_init, probe_encode, NULL, NULL, 17, NULL, NULL, 16,
                                         0, NULL, probe_print};
