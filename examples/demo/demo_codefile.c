/*
 * demo_codefile.c - the code file of the module Demo, in the shape a
 * compiler emits it: one encoder and one decoder function per type, each a
 * straight line of BER primitive calls, and the control table.
 *
 * The encoder writes backward: the last component first, then the SEQUENCE
 * header, whose length is by then the sum of what the components wrote.
 */
#include "demo.h"
#include "kelvarn_ber.h"

static const KelPduNames demoRecordNames = { "DemoRecord", "DemoRecord" };

static int32_t encode_DemoRecord(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                 const DemoRecord *value)
{
    int32_t n = _kel_encd_llint_tl(world, pos, rem, value->delta, 0x02);
    n += _kel_encd_uint_tl(world, pos, rem, value->count, 0x02);
    n += _kel_encd_bool_tl(world, pos, rem, 0x01, (int8_t)(value->urgent != 0));
    n += _kel_encd_int_tl(world, pos, rem, value->id, 0x02);
    return n + _kel_encd_tag_length(world, pos, rem, (uint32_t)n, 0x30);
}

static void decode_DemoRecord(KelGlobal *world, DemoRecord *value)
{
    unsigned char **pos = &world->inPos;
    int32_t *rem = &world->inRemaining;
    int32_t length = _kel_dec_tag_length(world, pos, rem, 0x30);
    int32_t end = length < 0 ? -1 : *rem - length;

    value->id = _kel_dec_iint(world, pos, rem, _kel_dec_tag_length(world, pos, rem, 0x02));
    value->urgent = (uint8_t)_kel_dec_bool(world, pos, rem, _kel_dec_tag_length(world, pos, rem, 0x01));
    value->count = _kel_dec_usint(world, pos, rem, _kel_dec_tag_length(world, pos, rem, 0x02));
    value->delta = _kel_dec_llint(world, pos, rem, _kel_dec_tag_length(world, pos, rem, 0x02));

    /* The components must fill the SEQUENCE exactly, or end at 00 00. */
    if (end >= 0 ? *rem != end
                 : _kel_get_byte(world, pos, rem) != 0 || _kel_get_byte(world, pos, rem) != 0)
        _kel_enc_error(world, 106, 0);
}

static void demo_init(KelGlobal *world)
{
    kelLinkBer(world);
    world->modeBits |= KEL_MODE_DER_SUPPORT;
}

static void enter_pdu(KelGlobal *world, int pdu)
{
    if (pdu != DemoRecord_PDU)
        _kel_enc_error(world, 3, (uint32_t)pdu);
    world->pduNumber = pdu;
    world->pduEntry = &demoRecordNames;
}

static int demo_encode(KelGlobal *world, int pdu, void *value)
{
    unsigned char *pos = world->userBuffer ? world->outPos + world->outRemaining : NULL;
    int32_t rem = world->userBuffer ? world->outRemaining : 0;
    int32_t total;

    enter_pdu(world, pdu);
    total = encode_DemoRecord(world, &pos, &rem, value);
    if (world->userBuffer) {
        world->outPos = pos;
        world->outRemaining = total;
    } else {
        uint32_t length;
        _kel_set_outmem_d(world, (uint32_t)rem, &length, &world->outPos);
        world->outRemaining = (int32_t)length;
    }
    return 0;
}

static int demo_decode(KelGlobal *world, int *pdu, void **value)
{
    DemoRecord *record;
    enter_pdu(world, *pdu);
    record = _kel_dec_getmem(world, sizeof *record);
    decode_DemoRecord(world, record);
    *value = record;
    return 0;
}

static int demo_free(KelGlobal *world, int pdu, void *value)
{
    if (pdu != DemoRecord_PDU)
        return 3;
    kelFreeMemory(world, value);
    return 0;
}

KelControlTable demo_control = {
    .init = demo_init,
    .berEncode = demo_encode,
    .berDecode = demo_decode,
    .freePdu = demo_free,
    .version = 17,
    .perVersion = 16,
};
