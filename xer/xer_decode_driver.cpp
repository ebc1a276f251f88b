// xer_decode_driver.cpp - the XER and CXER decode driver: the checks of the
// code file's XER entry, and the lexeme record hung on the world for the
// span of the call, where the generated decoder finds it.
#include "driver.h"
#include "xer_in.h"

namespace {

// The record's address sits in the first words of the world's per-call
// family state, where the encoder keeps its layout state.
void hang_input(KelGlobal *world, XerInputState *state) {
    std::memcpy(world->familyState, &state, sizeof state);
}

struct XerDecodeFamily {
    static KelDecodeFn decoder(KelGlobal *world) { return world->ext->xapi->xerDecode; }
    static int check_version(KelGlobal *) { return 0; }
    static void call_decoder(KelGlobal *world, int *pdu, void **result) {
        XerInputState state{};
        state.world = world;
        state.inputStart = world->inPos;
        hang_input(world, &state);
        world->ext->xapi->xerDecode(world, pdu, result);
        hang_input(world, nullptr);
    }
    static void finish_encoding(KelGlobal *, KelBuf *) {}
    static void finish_decoding(KelGlobal *, KelBuf *) {}
};

} // namespace

extern "C" {

int kelXerDecode(KelGlobal *world, int *pdu, KelBuf *input, void **output, unsigned flags) {
    world->phase = kel::kPhaseDecoder;
    const KelXApiTable *table = world->ext->xapi;
    if (!table || !table->xerDecode) {
        _kel_varn_api_error(world, kel::kMsgNullEntry, 0);
        return 25;
    }
    if (table->xerVersion != kel::kXerVersion) {
        _kel_varn_api_error(world, kel::kMsgIncompatible, kel::kXerVersion);
        return 7;
    }
    const int code = kel::run_decoder<XerDecodeFamily>(world, pdu, input, output, flags);
    hang_input(world, nullptr);
    return code;
}

} // extern "C"
