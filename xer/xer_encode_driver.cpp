// xer_encode_driver.cpp - the XER and CXER encode driver: the checks of the
// code file's XER entry, the layout state hung on the world for the span of
// the call, a caller's buffer blanked ahead of pretty output, and the line
// end that internal flag 0x200 asks for behind a pretty document.
#include "driver.h"
#include "xer_out.h"

namespace {

using namespace kel::xer;

// Code files whose XER record is older than this format write what this
// driver can't serve.
constexpr uint16_t kLowestFormatLevel = 8;
// internalFlags: a line end behind a pretty document.
constexpr uint32_t kTrailingLineEnd = 0x200;

struct XerFamily {
    static KelEncodeFn encoder(KelGlobal *world) { return world->ext->xapi->xerEncode; }
    static int check_version(KelGlobal *) { return 0; }
    static void finish_encoding(KelGlobal *world, KelBuf *output) {
        if ((world->internalFlags & kTrailingLineEnd) && !flat(world))
            put(world, "\n", 1);
        _kelSetOutMemQueue(world, &output->length, &output->value, world->encodingFlags);
    }
};

} // namespace

extern "C" {

int kelXerEncode(KelGlobal *world, int pdu, void *value, KelBuf *output, unsigned flags) {
    world->phase = kel::kPhaseEncoder;
    const KelXApiTable *table = world->ext->xapi;
    if (!table) {
        _kel_varn_api_error(world, kel::kMsgNullEntry, 0);
        return 25;
    }
    if (table->compilerVersion < kLowestFormatLevel)
        return 25;
    if (!table->xerEncode) {
        _kel_varn_api_error(world, kel::kMsgNullEntry, 0);
        return 25;
    }
    XerOutputState state{0, world, 0, 0, 0, 0};
    hang_state(world, &state);
    // Pretty output skips over the blanks of the caller's buffer.
    if (output->value && world->encRules != KEL_CXER && !kel::counting(world))
        std::memset(output->value, ' ', output->length);
    world->bitOffset = 0;
    const int code = kel::run_encoder<XerFamily>(world, pdu, value, output, flags);
    hang_state(world, nullptr);
    return code;
}

} // extern "C"
