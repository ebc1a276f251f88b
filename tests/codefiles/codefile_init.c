/*
 * codefile_init.c - the init entry that every table-driven code file shares:
 * it links the rule families the walkers speak, declares the rules the code
 * file was generated for, and registers the entries of the newer families.
 */
#include "codefiles.h"
#include "kelvarn_json.h"
#include "kelvarn_oer.h"

/* Rule kinds the code file was generated for, one bit each: BER (0),
 * aligned (1) and unaligned (2) PER, DER (3), CER (7), OER (12), COER (13),
 * JSON (14). */
static unsigned char ruleMap[] = { 0x01 | 0x02 | 0x04 | 0x08 | 0x80, 0x10 | 0x20 | 0x40 };

static KelXApiTable xapi = {
    .cpyValue = kel_cpy_value,
    .cmpValue = kel_cmp_value,
    .checkConstraints = kel_check_constraints,
    .oerVersion = 0,
    .oerEncode = kel_oer_encode,
    /* the OER decoder entry answers the value; it stands in the common slot */
    .oerDecode = (KelDecodeFn)(void (*)(void))kel_oer_decode,
    .jsonVersion = 0,
    .jsonEncode = kel_json_encode,
    /* so does the JSON decoder entry, which takes the driver's cursor */
    .jsonDecode = (KelDecodeFn)(void (*)(void))kel_json_decode,
};

void kel_codefile_init(KelGlobal *world)
{
    kelLinkBer(world);
    kelLinkPer(world);
    kelLinkOerE(world);
    kelLinkOerD(world);
    kelLinkJsonE(world);
    kelLinkJsonD(world);
    kelPrivateSetMoreFlags(world, 16, ruleMap);
    kelInitXAPIentries(world, &xapi);
    world->modeBits |= KEL_MODE_DER_SUPPORT;
}
