// oer_driver.cpp - the encode and decode drivers of OER and COER, and the
// family's two link functions.  The generated entries stand in the world's
// extension table; the decoder entry hands the value back as its result.
// Nothing is ever padded: an empty encoding stays empty, and the octets read
// are the distance the read pointer moved.
#include "driver.h"
#include "kelvarn_oer.h"

namespace {

struct OerFamily {
    static const KelXApiTable *table(const KelGlobal *world) { return world->ext->xapi; }
    static KelEncodeFn encoder(KelGlobal *world) { return table(world) ? table(world)->oerEncode : nullptr; }
    static KelDecodeFn decoder(KelGlobal *world) { return table(world) ? table(world)->oerDecode : nullptr; }
    static int check_version(KelGlobal *world) {
        if (table(world)->oerVersion == 0)
            return 0;
        _kel_varn_api_error(world, kel::kMsgIncompatible, 0);
        return 7;
    }

    static void call_decoder(KelGlobal *world, int *pdu, void **result) {
        // The entry is stored in the table's common decoder slot; its own
        // shape takes the PDU number and answers the value.
        auto entry = reinterpret_cast<KelOerDecodeFn>(reinterpret_cast<void (*)()>(table(world)->oerDecode));
        *result = entry(world, *pdu);
    }

    static uint32_t bytes_read(const KelGlobal *world, const KelBuf *input) {
        return static_cast<uint32_t>(world->inPos - input->value);
    }

    static void finish_encoding(KelGlobal *world, KelBuf *output) {
        _kelSetOutMemQueue(world, &output->length, &output->value, world->encodingFlags);
    }

    static void finish_decoding(KelGlobal *, KelBuf *) {}
};

void begin_call(KelGlobal *world) {
    world->aligned = 0;
    world->bitOffset = 0;
}

} // namespace

int kelOerEncode(KelGlobal *world, int pdu, void *value, KelBuf *output, unsigned flags) {
    begin_call(world);
    return kel::run_encoder<OerFamily>(world, pdu, value, output, flags);
}

int kelOerDecode(KelGlobal *world, int *pdu, KelBuf *input, void **output, unsigned flags) {
    begin_call(world);
    return kel::run_decoder<OerFamily>(world, pdu, input, output, flags);
}

KelGlobal *kelLinkOerE(KelGlobal *world) {
    if (world)
        kelOerEncodeFp = kelOerEncode;
    return world;
}

KelGlobal *kelLinkOerD(KelGlobal *world) {
    if (world)
        kelOerDecodeFp = kelOerDecode;
    return world;
}
