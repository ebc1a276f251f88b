// ber_driver.cpp - the encode and decode drivers of the BER family (BER, CER,
// DER).  The generated BER encoder writes backward and leaves the start of
// its encoding in outPos and the length in outRemaining.
#include "ber.h"
#include "driver.h"

namespace {

// "0059E: The value is not an encoding of a single ASN.1 type".
constexpr int kMsgNotOneValue = 127;

struct BerFamily {
    static KelControlTable *table(KelGlobal *world) { return static_cast<KelControlTable *>(world->ctlTbl); }
    static KelEncodeFn encoder(KelGlobal *world) { return table(world)->berEncode; }
    static KelDecodeFn decoder(KelGlobal *world) { return table(world)->berDecode; }
    static int check_version(KelGlobal *world) {
        if (table(world)->version == kel::kVersion)
            return 0;
        _kel_varn_api_error(world, kel::kMsgIncompatible, kel::kVersion);
        return 7;
    }
    static void finish_encoding(KelGlobal *world, KelBuf *output) {
        output->value = world->outPos;
        output->length = static_cast<uint32_t>(world->outRemaining);
    }
    // Strict CER and DER decoding takes the input for one value: octets
    // behind it are refused, unless the caller reads a stream of values
    // (bit 0 of presetDecFlags) or a part of one.
    static void finish_decoding(KelGlobal *world, KelBuf *) {
        if (world->inRemaining && kel::ber::strict_canonical(world) && !(world->presetDecFlags & 1) &&
            !world->partialMode)
            _kel_enc_error(world, kMsgNotOneValue, 0);
    }
};

} // namespace

int kelBerEncode(KelGlobal *world, int pdu, void *value, KelBuf *output, unsigned flags) {
    return kel::run_encoder<BerFamily>(world, pdu, value, output, flags);
}

int kelBerDecode(KelGlobal *world, int *pdu, KelBuf *input, void **output, unsigned flags) {
    return kel::run_decoder<BerFamily>(world, pdu, input, output, flags);
}
