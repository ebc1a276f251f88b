// debug_hooks.cpp - the traces around one encode or decode that debugFlags
// turns on: the value going in and the encoding coming out, the input of a
// decoder and the value it made, and the message of a failure.  Generated
// code calls the pre hooks and the post hooks after success; the failure path
// calls the post hooks through the world's encPostHook and decPostHook.
//
// Values and encodings are printed through the world's debugPrinters; a
// printer that isn't there is skipped with its heading.
#include <cstring>

#include "ber.h"
#include "kelvarn_ber.h"

namespace {

// debugFlags
constexpr uint32_t kTraceDecoderOutput = 0x4;
constexpr uint32_t kTraceDecoderInput = 0x8;
constexpr uint32_t kTraceEncoderOutput = 0x10;
constexpr uint32_t kTraceEncoderInput = 0x20;
constexpr uint32_t kTraceMessages = 0x40;
constexpr uint32_t kHexColumns = 0x80;
// decodingFlags: XML and JSON encodings are printed as octets too.
constexpr uint32_t kTextAsOctets = 0x40000000;

using HexPrinter = void (*)(KelGlobal *world, const unsigned char *bytes, uint32_t length);
using TextPrinter = void (*)(KelGlobal *world, const unsigned char *text, uint32_t length, int pretty);
enum PrinterSlot { kSlotPdu, kSlotHex, kSlotXml, kSlotJson };

constexpr char kHexHeading[] = "#   Offset    Stream of Octets Written in Hexadecimal    Character Format\n";

// What a pre hook leaves for the post hook of the same call, in the last
// words of the extension's per-call state.
struct TraceState {
    unsigned char *buffer; // the caller's output buffer, or the decoder's input
    uint32_t length;
    uint32_t printed; // headings that follow start with a blank line
};
constexpr size_t kTraceWord = sizeof(KelWorldExt::familyState) / sizeof(uint32_t) - 4;
static_assert(sizeof(TraceState) <= 4 * sizeof(uint32_t));

TraceState load_state(const KelWorldExt *ext) {
    TraceState state;
    std::memcpy(&state, ext->familyState + kTraceWord, sizeof state);
    return state;
}

void store_state(KelWorldExt *ext, const TraceState &state) {
    std::memcpy(ext->familyState + kTraceWord, &state, sizeof state);
}

const char *blank_line(const TraceState &state) { return state.printed ? "\n" : ""; }

// The value printer of debugPrinters (kelPrintPDU, which gives the code
// file's printer a frame of its own), when the code file has a printer.
KelPrintFn pdu_printer(const KelGlobal *world) {
    const auto *table = static_cast<const KelControlTable *>(world->ctlTbl);
    if (!table || !table->printPdu)
        return nullptr;
    return reinterpret_cast<KelPrintFn>(world->ext->debugPrinters[kSlotPdu]);
}

bool text_rule(uint32_t rule) { return rule == KEL_XER || rule == KEL_CXER || rule == KEL_EXER || rule == KEL_JSON; }

// Prints `heading` and the encoding through the printer that suits the
// rule; nothing without that printer.
void print_encoding(KelGlobal *world, const char *prefix, const char *heading, const unsigned char *data,
                    uint32_t length) {
    KelWorldExt *ext = world->ext;
    if (text_rule(world->encRules) && !(world->decodingFlags & kTextAsOctets)) {
        void *slot = ext->debugPrinters[world->encRules == KEL_JSON ? kSlotJson : kSlotXml];
        if (!slot)
            return;
        kelPrint(world, "%s%s:\n\n", prefix, heading);
        reinterpret_cast<TextPrinter>(slot)(world, data, length, 1);
        return;
    }
    void *slot = ext->debugPrinters[kSlotHex];
    if (!slot)
        return;
    kelPrint(world, "%s%s:\n\n", prefix, heading);
    if (ext->debugFlags & kHexColumns) {
        char rule[sizeof kHexHeading];
        std::memset(rule, '=', sizeof rule - 2);
        rule[sizeof rule - 2] = '\n';
        rule[sizeof rule - 1] = 0;
        kelPrint(world, "%s%s", kHexHeading, rule);
    }
    reinterpret_cast<HexPrinter>(slot)(world, data, length);
}

// A forward writer's blocks joined into one scratch buffer, or null when
// nothing was written or no memory was had.
unsigned char *join_forward(KelGlobal *world, uint32_t *length) {
    uint64_t octets = 0;
    for (const KelOutBlock *b = &world->outQueue; b; b = b->next)
        octets += static_cast<uint32_t>(b->count) * uint64_t{KEL_ENC_BLOCK};
    const int64_t total = static_cast<int64_t>(octets) - world->outRemaining + (world->bitOffset ? 1 : 0);
    *length = 0;
    if (octets == 0 || total <= 0 || total > INT32_MAX)
        return nullptr;
    auto *joined = static_cast<unsigned char *>(world->getMem(world, static_cast<size_t>(total)));
    if (!joined)
        return nullptr;
    unsigned char *p = joined;
    uint32_t left = static_cast<uint32_t>(total);
    for (const KelOutBlock *b = &world->outQueue; b && left; b = b->next)
        for (int i = 0; i < b->count && left; ++i) {
            const uint32_t n = left < KEL_ENC_BLOCK ? left : KEL_ENC_BLOCK;
            std::memcpy(p, b->items[i], n);
            p += n;
            left -= n;
        }
    *length = static_cast<uint32_t>(total);
    return joined;
}

void print_message(KelGlobal *world, const TraceState &state, const char *heading) {
    const char *message = kelGetErrMsg(world);
    if (message && *message)
        kelPrint(world, "%s%s:\n\n%s", blank_line(state), heading, message);
}

} // namespace

namespace kel::ber {

int encoder_post_hook(KelGlobal *world, int message, void *position, void *length) {
    _kel_db_e_post(world, message, static_cast<unsigned char *>(position),
                   static_cast<uint32_t>(reinterpret_cast<uintptr_t>(length)));
    return 0;
}

int decoder_post_hook(KelGlobal *world, int message, void *pdu, void *value) {
    _kel_db_d_post(world, message, static_cast<int>(reinterpret_cast<intptr_t>(pdu)), static_cast<void **>(value));
    return 0;
}

} // namespace kel::ber

extern "C" {

void _kel_db_e_pre(KelGlobal *world, int pdu, void *value, void *, unsigned char *buffer, uint32_t length) {
    KelWorldExt *ext = world->ext;
    if (kel::counting(world) || !ext)
        return;
    TraceState state{buffer, length, 0};
    KelPrintFn print = pdu_printer(world);
    if ((ext->debugFlags & kTraceEncoderInput) && print) {
        kelPrint(world, "The input to the encoder:\n\n");
        print(world, pdu, value);
        state.printed = 1;
    }
    store_state(ext, state);
}

void _kel_db_e_post(KelGlobal *world, int code, unsigned char *position, uint32_t length) {
    KelWorldExt *ext = world->ext;
    if (kel::counting(world) || !ext)
        return;
    const TraceState state = load_state(ext);
    store_state(ext, TraceState{});
    if (code) {
        if (ext->debugFlags & kTraceMessages)
            print_message(world, state, "The encoder error message");
        return;
    }
    if (!(ext->debugFlags & kTraceEncoderOutput))
        return;
    const unsigned char *data = position ? position : state.buffer;
    uint32_t size = position ? length : state.length;
    unsigned char *joined = nullptr;
    const bool per = world->encRules == KEL_PER_ALIGNED || world->encRules == KEL_PER_UNALIGNED;
    if (per && !world->userBuffer) {
        joined = join_forward(world, &size);
        data = joined;
    }
    if (data || size == 0)
        print_encoding(world, blank_line(state), "The encoder output", data, size);
    if (joined)
        world->freeMem(world, joined);
}

void _kel_db_d_pre(KelGlobal *world, const unsigned char *input, uint32_t length, void *) {
    KelWorldExt *ext = world->ext;
    if (!ext)
        return;
    TraceState state{const_cast<unsigned char *>(input), length, 0};
    if (ext->debugFlags & kTraceDecoderInput) {
        print_encoding(world, "", "The input to the decoder", input, length);
        state.printed = 1;
    }
    store_state(ext, state);
}

void _kel_db_d_post(KelGlobal *world, int code, int pdu, void **value) {
    KelWorldExt *ext = world->ext;
    if (!ext)
        return;
    const TraceState state = load_state(ext);
    store_state(ext, TraceState{});
    if (code) {
        print_message(world, state, "The decoder error message");
        return;
    }
    if (!(ext->debugFlags & kTraceDecoderOutput))
        return;
    if (world->partialMode) {
        kelPrint(world, "%sNo decoder output (partial decoder)\n\n", blank_line(state));
        return;
    }
    KelPrintFn print = pdu_printer(world);
    if (!print)
        return;
    kelPrint(world, "%sThe decoder output:\n\n", blank_line(state));
    print(world, pdu, value ? *value : nullptr);
}

} // extern "C"
