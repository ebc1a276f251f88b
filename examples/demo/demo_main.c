/*
 * demo_main.c - kelvarn-demo: opens a world on the PersonnelRecordA1 code
 * file, encodes the sample record of X.690 Annex A under every rule the code
 * file serves (BER, CER, DER, aligned and unaligned PER, OER, COER and
 * JSON), decodes each encoding back, checks that it gives the same octets
 * again, and prints the encodings (the JSON one as its text) and, through
 * kelPrintPDU, the record.  A round trip that changes the octets fails the
 * run.
 */
#include <stdio.h>
#include <string.h>

#include "personnel.h"

static ChildInformation sampleChildren[] = {
    { { "Ralph", "T", "Smith" }, "19571111" },
    { { "Susan", "B", "Jones" }, "19590717" },
};

static PersonnelRecord sample = {
    children_present,
    { "John", "P", "Smith" },
    "Director",
    51,
    "19710917",
    { "Mary", "T", "Smith" },
    { 2, sampleChildren },
};

static void print_octets(const KelBuf *encoding)
{
    uint32_t i;
    for (i = 0; i < encoding->length; i++)
        printf("%02x%s", encoding->value[i], (i + 1) % 32 == 0 ? "\n  " : "");
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
    static const struct { int rule; const char *name; } rules[] = {
        { KEL_BER, "BER" }, { KEL_CER, "CER" }, { KEL_DER, "DER" },
        { KEL_PER_ALIGNED, "PER (aligned)" }, { KEL_PER_UNALIGNED, "PER (unaligned)" },
        { KEL_OER, "OER" }, { KEL_COER, "COER" }, { KEL_JSON, "JSON" },
    };
    KelGlobal world;
    unsigned char area[1024];
    size_t r;
    int code, differences = 0;

    memset(&world, 0, sizeof world);
    if ((code = kelinit(&world, &personnel_control)) != 0) {
        fprintf(stderr, "kelinit failed with code %d\n", code);
        return 1;
    }

    for (r = 0; r < sizeof rules / sizeof rules[0]; r++) {
        KelBuf encoding = { 0, NULL }, input, again = { sizeof area, area };
        void *value = NULL;
        int pdu = PersonnelRecord_PDU;

        kelSetEncodingRules(&world, rules[r].rule);
        /* Encode into library memory (released with kelFreeBuf). */
        if ((code = kelEncode(&world, PersonnelRecord_PDU, &sample, &encoding)) != 0)
            return fail(&world, rules[r].name, code);
        printf("%s, %u octets:\n", rules[r].name, (unsigned)encoding.length);
        if (rules[r].rule == KEL_JSON) {
            fwrite(encoding.value, 1, encoding.length, stdout);
            printf("\n");
        } else {
            printf("  ");
            print_octets(&encoding);
        }

        /* Decode into library memory (released with kelFreePDU); the decoder
         * moves the input record past what it read, so it gets a copy. */
        input = encoding;
        if ((code = kelDecode(&world, &pdu, &input, &value)) != 0)
            return fail(&world, "decode", code);

        /* Encode the decoded record again, into the application's buffer. */
        if ((code = kelEncode(&world, PersonnelRecord_PDU, value, &again)) != 0)
            return fail(&world, "re-encode", code);
        if (again.length != encoding.length ||
            memcmp(again.value, encoding.value, encoding.length) != 0)
            differences++;
        printf("  decoded and encoded again: %s\n",
               again.length == encoding.length &&
                       memcmp(again.value, encoding.value, encoding.length) == 0
                   ? "same octets"
                   : "DIFFERENT OCTETS");
        /* The record the DER decoder made, in value notation; the world's
         * chop limit would cut long texts short. */
        if (rules[r].rule == KEL_DER) {
            world.asn1chop = 0;
            if ((code = kelPrintPDU(&world, pdu, value)) != 0)
                return fail(&world, "print", code);
        }
        kelFreePDU(&world, pdu, value);
        kelFreeBuf(&world, encoding.value);
    }
    kelterm(&world);
    return differences ? 1 : 0;
}
