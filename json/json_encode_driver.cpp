// json_encode_driver.cpp - the JSON encode driver, the preparation of a
// pushed world for a nested encoding, the encoder's link function, and the
// two conversions that re-encode a message between JSON and another rule.
//
// A negative indent step asks for compact output: for the span of one call
// the step becomes 0 and JSON_COMPACT_ENCODING joins the flags, and both
// are put back on every exit.  A caller's buffer is filled with blanks
// first, so that what stands behind the text is white space.
#include <cstring>

#include "driver.h"
#include "json_out.h"

namespace {

struct JsonFamily {
    static const KelXApiTable *table(const KelGlobal *world) { return world->ext->xapi; }
    static KelEncodeFn encoder(KelGlobal *world) { return table(world) ? table(world)->jsonEncode : nullptr; }
    static KelDecodeFn decoder(KelGlobal *world) { return table(world) ? table(world)->jsonDecode : nullptr; }
    static int check_version(KelGlobal *world) {
        if (table(world)->jsonVersion == 0)
            return 0;
        _kel_varn_api_error(world, kel::kMsgIncompatible, 0);
        return 7;
    }
    static void finish_encoding(KelGlobal *world, KelBuf *output) {
        _kelSetOutMemQueue(world, &output->length, &output->value, world->encodingFlags);
    }
    static void finish_decoding(KelGlobal *, KelBuf *) {}
};

// Compact output for a negative step; answers whether anything changed.
bool prepare_layout(KelWorldExt *ext) {
    ext->jsonCurrentIndent = 0;
    if (ext->jsonIndent >= 0)
        return false;
    ext->jsonIndent = 0;
    ext->jsonFlags |= JSON_COMPACT_ENCODING;
    return true;
}

// The decode, the encode and the release of one conversion.
int convert(KelGlobal *world, int pdu, int decodeRules, int encodeRules, KelBuf *input, KelBuf *output) {
    if (!world)
        return 6;
    const uint32_t savedRules = world->encRules;
    const int32_t savedLength = world->decodingLength;
    void *value = nullptr;
    world->decodingLength = 0;
    // The drivers' dispatch refuses rules that are unknown or not linked.
    world->encRules = static_cast<uint32_t>(decodeRules);
    int code = kelDecode(world, &pdu, input, &value);
    if (code == 0) {
        world->encRules = static_cast<uint32_t>(encodeRules);
        code = kelEncode(world, pdu, value, output);
    }
    if (value) {
        if (const int freed = kelFreePDU(world, pdu, value))
            code = freed;
    }
    world->encRules = savedRules;
    world->decodingLength = savedLength;
    return code;
}

} // namespace

extern "C" {

int kelJsonEncode(KelGlobal *world, int pdu, void *value, KelBuf *output, unsigned flags) {
    KelWorldExt *ext = world->ext;
    const uint32_t savedFlags = ext->jsonFlags;
    const int32_t savedIndent = ext->jsonIndent;
    const bool restore = prepare_layout(ext);
    if (output->value && output->length && !((flags | world->encodingFlags) & DETERMINE_ENC_LENGTH))
        std::memset(output->value, ' ', output->length);
    // Text has no octet in progress, whatever a bit-stream rule left.
    world->bitOffset = 0;
    const int code = kel::run_encoder<JsonFamily>(world, pdu, value, output, flags);
    if (restore) {
        ext->jsonFlags = savedFlags;
        ext->jsonIndent = savedIndent;
    }
    return code;
}

void _kel_jenc_init_env(KelGlobal *world) { prepare_layout(world->ext); }

KelGlobal *kelLinkJsonE(KelGlobal *world) {
    if (world) {
        kelJsonEncodeFp = kelJsonEncode;
        if (world->ext)
            world->ext->jsonIndent = 2;
    }
    return world;
}

int kelBinary2JSON(KelGlobal *world, int pdu, int sourceRules, KelBuf *input, KelBuf *output) {
    return convert(world, pdu, sourceRules, KEL_JSON, input, output);
}

int kelJSON2Binary(KelGlobal *world, int pdu, int targetRules, KelBuf *input, KelBuf *output) {
    return convert(world, pdu, KEL_JSON, targetRules, input, output);
}

} // extern "C"
