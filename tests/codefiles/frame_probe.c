/*
 * frame_probe.c - the scripted stand-in code file of the frame tests.  Its
 * encoder writes backward as generated BER encoders do and hands the result
 * over through outPos/outRemaining or _kel_set_outmem_d; its decoder reads
 * the world's inPos/inRemaining and allocates with _kel_dec_getmem.
 */
#include <signal.h>
#include <string.h>

#include "frame_probe.h"
#include "kelvarn_ber.h"

KelProbeScript kel_probe;

static void take_items(KelGlobal *world, int encoder) {
    int32_t i;
    for (i = 0; i < kel_probe.items; ++i) {
        if (encoder)
            _kel_enc_getmem(world);
        else if (kel_probe.takenCount < 64)
            kel_probe.taken[kel_probe.takenCount++] = _kel_dec_getmem(world, kel_probe.itemSize);
        else
            _kel_dec_getmem(world, kel_probe.itemSize);
    }
}

static void act(KelGlobal *world, int encoder) {
    kel_probe.takenCount = 0;
    take_items(world, encoder);
    if (kel_probe.action == KEL_PROBE_FAIL)
        _kel_enc_error(world, kel_probe.message, kel_probe.value);
    if (kel_probe.action == KEL_PROBE_SIGNAL)
        raise(SIGSEGV);
}

static int probe_encode(KelGlobal *world, int pdu, void *value) {
    unsigned char *pos = world->userBuffer ? world->outPos + world->outRemaining : NULL;
    int32_t rem = world->userBuffer ? world->outRemaining : 0;
    int32_t total;
    (void)value;
    world->pduNumber = pdu;
    act(world, 1);
    total = _kel_write_bytes_d(world, &pos, &rem, kel_probe.bytes, kel_probe.length);
    if (world->userBuffer) {
        world->outPos = pos;
        world->outRemaining = total;
    } else {
        uint32_t length = 0;
        unsigned char *encoding = NULL;
        _kel_set_outmem_d(world, (uint32_t)rem, &length, &encoding);
        world->outPos = encoding;
        world->outRemaining = (int32_t)length;
    }
    return 0;
}

static int probe_decode(KelGlobal *world, int *pdu, void **value) {
    unsigned char *item;
    world->pduNumber = *pdu;
    act(world, 0);
    item = (unsigned char *)_kel_dec_getmem(world, kel_probe.length + 8);
    _kel_get_bytes(world, &world->inPos, &world->inRemaining, item, kel_probe.length);
    *value = item;
    return 0;
}

static int probe_free(KelGlobal *world, int pdu, void *value) {
    (void)pdu;
    while (kel_probe.takenCount > 0)
        kelFreeMemory(world, kel_probe.taken[--kel_probe.takenCount]);
    kelFreeMemory(world, value);
    return 0;
}

static void probe_init(KelGlobal *world) {
    static int rootContext;
    ++kel_probe.initCalls;
    kelLinkBer(world);
    world->modeBits |= KEL_MODE_DER_SUPPORT;
    if (kel_probe.withRootContext)
        kelInitRootContext(world, &rootContext);
}

KelControlTable kel_probe_table = {probe_init, probe_encode, probe_decode, probe_free, 17, NULL, NULL, 16,
                                   0, NULL, NULL};
