/*
 * demo_main.c - kelvarn-demo: opens a world on the Demo code file, encodes a
 * DemoRecord under BER into a buffer of its own and into library memory,
 * decodes it back, and shows the DER encoding too.
 */
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include "demo.h"

static void print_encoding(const char *title, const KelBuf *encoding)
{
    uint32_t i;
    printf("%-32s", title);
    for (i = 0; i < encoding->length; i++)
        printf(" %02x", encoding->value[i]);
    printf("\n");
}

static int fail(KelGlobal *world, const char *what, int code)
{
    fprintf(stderr, "%s failed with code %d: %s\n", what, code, kelGetErrMsg(world));
    kelterm(world);
    return 1;
}

int main(void)
{
    KelGlobal world;
    DemoRecord record = { 4711, 1, 65535, -1234567890123LL };
    DemoRecord *decoded;
    unsigned char area[64];
    KelBuf encoding, input;
    void *value = NULL;
    int pdu = DemoRecord_PDU;
    int code;

    memset(&world, 0, sizeof world);
    if ((code = kelinit(&world, &demo_control)) != 0) {
        fprintf(stderr, "kelinit failed with code %d\n", code);
        return 1;
    }

    /* BER into the application's own buffer: the encoding ends at its top. */
    encoding.length = sizeof area;
    encoding.value = area;
    if ((code = kelEncode(&world, DemoRecord_PDU, &record, &encoding)) != 0)
        return fail(&world, "BER encode (own buffer)", code);
    print_encoding("BER, own buffer:", &encoding);

    /* BER into library memory, released with kelFreeBuf. */
    encoding.length = 0;
    encoding.value = NULL;
    if ((code = kelEncode(&world, DemoRecord_PDU, &record, &encoding)) != 0)
        return fail(&world, "BER encode (library memory)", code);
    print_encoding("BER, library memory:", &encoding);

    /* Back to a value in library memory, released with kelFreePDU.  The
     * decoder advances the input record past what it read, so it gets a copy. */
    input = encoding;
    if ((code = kelDecode(&world, &pdu, &input, &value)) != 0)
        return fail(&world, "BER decode", code);
    decoded = value;
    printf("decoded: id %" PRId32 ", urgent %s, count %" PRIu16 ", delta %" PRId64 "\n", decoded->id,
           decoded->urgent ? "TRUE" : "FALSE", decoded->count, decoded->delta);
    kelFreePDU(&world, pdu, value);
    kelFreeBuf(&world, encoding.value);

    /* DER: the code file declared that it supports it. */
    kelSetEncodingRules(&world, KEL_DER);
    encoding.length = 0;
    encoding.value = NULL;
    if ((code = kelEncode(&world, DemoRecord_PDU, &record, &encoding)) != 0)
        return fail(&world, "DER encode", code);
    print_encoding("DER, library memory:", &encoding);
    kelFreeBuf(&world, encoding.value);

    kelterm(&world);
    return 0;
}
