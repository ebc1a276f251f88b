/*
 * dynlib_codefile.c - a code file built as a shared library, for opening a
 * world with kelUinit: it exports kelGetHeader, which returns the control
 * table.  One PDU, Flag ::= BOOLEAN, held in one octet.
 */
#include "kelvarn_ber.h"

#define Flag_PDU 1

static const KelPduNames flagNames = { "Flag", "Flag" };

static void enter_pdu(KelGlobal *world, int pdu)
{
    if (pdu != Flag_PDU)
        _kel_enc_error(world, 3, (uint32_t)pdu);
    world->pduNumber = pdu;
    world->pduEntry = &flagNames;
}

static void flag_init(KelGlobal *world)
{
    kelLinkBer(world);
    world->modeBits |= KEL_MODE_DER_SUPPORT;
}

static int flag_encode(KelGlobal *world, int pdu, void *value)
{
    unsigned char *pos = world->userBuffer ? world->outPos + world->outRemaining : NULL;
    int32_t rem = world->userBuffer ? world->outRemaining : 0;
    int32_t total;

    enter_pdu(world, pdu);
    total = _kel_encd_bool_tl(world, &pos, &rem, 0x01, (int8_t)(*(uint8_t *)value != 0));
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

static int flag_decode(KelGlobal *world, int *pdu, void **value)
{
    uint8_t *flag;
    enter_pdu(world, *pdu);
    flag = _kel_dec_getmem(world, 1);
    *flag = (uint8_t)_kel_dec_bool(world, &world->inPos, &world->inRemaining,
                                   _kel_dec_tag_length(world, &world->inPos, &world->inRemaining, 0x01));
    *value = flag;
    return 0;
}

static int flag_free(KelGlobal *world, int pdu, void *value)
{
    if (pdu != Flag_PDU)
        return 3;
    kelFreeMemory(world, value);
    return 0;
}

static KelControlTable control = {
    .init = flag_init,
    .berEncode = flag_encode,
    .berDecode = flag_decode,
    .freePdu = flag_free,
    .version = 17,
    .perVersion = 16,
};

KEL_API void *kelGetHeader(void)
{
    return &control;
}
