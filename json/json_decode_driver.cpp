// json_decode_driver.cpp - the decode driver of the JSON rules and its link
// function.  The generated entry stands in the world's extension table; it
// takes the cursor, which lives in this driver's frame with its scratch,
// finds the value's first token already read, and hands the value back as
// its result.
#include "driver.h"
#include "json.h"

using namespace kel::json;

namespace {

struct JsonDecodeFamily {
    static const KelXApiTable *table(const KelGlobal *world) { return world->ext->xapi; }
    static KelEncodeFn encoder(KelGlobal *world) { return table(world) ? table(world)->jsonEncode : nullptr; }
    static KelDecodeFn decoder(KelGlobal *world) { return table(world) ? table(world)->jsonDecode : nullptr; }
    static int check_version(KelGlobal *world) {
        if (table(world)->jsonVersion == 0)
            return 0;
        _kel_varn_api_error(world, kel::kMsgIncompatible, 0);
        return 7;
    }

    static void call_decoder(KelGlobal *world, int *pdu, void **result) {
        unsigned char scratch[kScratchSize];
        KelJsonCursor cursor;
        cursor.world = world;
        cursor.start = world->inPos;
        cursor.buffer = scratch;
        cursor.length = 0;
        cursor.token = 0;
        if (strict(world) && world->inRemaining <= 0)
            end_of_input(&cursor);
        _kel_json_token(&cursor, KEL_JTOK_ANY_VALUE);

        // The generated code may find the PDU by its wrapper name; it leaves
        // the number found, negated, in the world's PDU slot.
        world->pduNumber = *pdu;
        auto entry = reinterpret_cast<KelJsonDecodeFn>(reinterpret_cast<void (*)()>(table(world)->jsonDecode));
        *result = entry(world, &cursor, *pdu);
        if (world->pduNumber < 0)
            *pdu = -world->pduNumber;
    }

    static void finish_encoding(KelGlobal *, KelBuf *) {}
    static void finish_decoding(KelGlobal *, KelBuf *) {}
};

} // namespace

extern "C" {

int kelJsonDecode(KelGlobal *world, int *pdu, KelBuf *input, void **output, unsigned flags) {
    return kel::run_decoder<JsonDecodeFamily>(world, pdu, input, output, flags);
}

KelGlobal *kelLinkJsonD(KelGlobal *world) {
    if (world)
        kelJsonDecodeFp = kelJsonDecode;
    return world;
}

} // extern "C"
