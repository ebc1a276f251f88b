// per_driver.cpp - the encode and decode drivers of aligned and unaligned
// PER, and the family's link function.  The generated code writes and reads
// forward from bit 0; the drivers set the aligned flag from the rules, close
// the last partial octet and report the padding bits of the last octet.
#include "driver.h"
#include "kelvarn_per.h"

namespace {

struct PerFamily {
    static KelControlTable *table(KelGlobal *world) { return static_cast<KelControlTable *>(world->ctlTbl); }
    static KelEncodeFn encoder(KelGlobal *world) { return table(world)->perEncode; }
    static KelDecodeFn decoder(KelGlobal *world) { return table(world)->perDecode; }
    static int check_version(KelGlobal *world) {
        if (table(world)->perVersion == kel::kPerVersion)
            return 0;
        _kel_varn_api_error(world, kel::kMsgIncompatible, kel::kPerVersion);
        return 7;
    }

    // Nothing written: no octet in the caller's buffer, no block otherwise.
    static bool nothing_written(const KelGlobal *world, const KelBuf *output) {
        if (world->bitOffset)
            return false;
        if (kel::counting(world))
            return world->encLength == 0;
        if (world->userBuffer)
            return static_cast<uint32_t>(world->outRemaining) == output->length;
        return world->outQueue.count == 0 && world->outRemaining == 0;
    }

    static void finish_encoding(KelGlobal *world, KelBuf *output) {
        KelWorldExt *ext = world->ext;
        if (world->bitOffset)
            ext->paddingBits = world->aligned ? 0 : static_cast<uint8_t>(8 - world->bitOffset);
        else
            ext->paddingBits = nothing_written(world, output) ? 8 : 0;
        _kelSetOutMemQueue(world, &output->length, &output->value, world->encodingFlags);
    }

    // The last partial octet counts as read; a PDU of no bits still has its
    // one octet, counted without being looked at.
    static void finish_decoding(KelGlobal *world, KelBuf *input) {
        KelWorldExt *ext = world->ext;
        if (world->bitOffset) {
            ++world->inPos;
            --world->inRemaining;
            ext->paddingBits = static_cast<uint8_t>(8 - world->bitOffset);
            world->bitOffset = 0;
        }
        ext->bytesRead = input->length - static_cast<uint32_t>(world->inRemaining);
        if (ext->bytesRead == 0) {
            ext->bytesRead = 1;
            ext->paddingBits = 8;
            ++world->inPos;
        }
    }
};

void begin_call(KelGlobal *world) {
    world->aligned = world->encRules == KEL_PER_ALIGNED;
    world->bitOffset = 0;
}

} // namespace

int kelPerEncode(KelGlobal *world, int pdu, void *value, KelBuf *output, unsigned flags) {
    begin_call(world);
    world->ext->timeInterval = 0;
    return kel::run_encoder<PerFamily>(world, pdu, value, output, flags);
}

int kelPerDecode(KelGlobal *world, int *pdu, KelBuf *input, void **output, unsigned flags) {
    begin_call(world);
    return kel::run_decoder<PerFamily>(world, pdu, input, output, flags);
}

KelGlobal *kelLinkPer(KelGlobal *world) {
    if (world) {
        kelPerEncodeFp = kelPerEncode;
        kelPerDecodeFp = kelPerDecode;
    }
    return world;
}
