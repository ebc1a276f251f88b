/*
 * compare_probe.c - the scripted stand-in code file of the comparer tests:
 * a generated comparer reached through the KelXApiTable, as kelCmpValue and
 * _kel_cmp_open_type call it.
 */
#include <signal.h>

#include "compare_probe.h"
#include "kelvarn_services.h"

KelCmpProbeScript kel_cmp_probe;

static int probe_compare(KelGlobal *world, int pdu, void *first, void *second)
{
    int32_t i;
    ++kel_cmp_probe.calls;
    if (kel_cmp_probe.action == KEL_CMP_PROBE_FAIL) {
        for (i = 0; i < kel_cmp_probe.tempItems; ++i)
            _kel_dec_gettempmem(world, 48);
        _kel_enc_error(world, kel_cmp_probe.message, kel_cmp_probe.value);
    }
    if (kel_cmp_probe.action == KEL_CMP_PROBE_SIGNAL)
        raise(SIGSEGV);
    if (pdu == KEL_CMP_PROBE_OPEN_TYPE)
        return _kel_cmp_open_type(world, (const KelOpenType *)first, (const KelOpenType *)second);
    return *(const int32_t *)first != *(const int32_t *)second;
}

static KelXApiTable xapi = {.cmpValue = probe_compare};

static void probe_init(KelGlobal *world)
{
    kelInitXAPIentries(world, &xapi);
}

KelControlTable kel_cmp_probe_table = {.init = probe_init, .version = 17};
