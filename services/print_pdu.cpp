// print_pdu.cpp - the frames around the code file's printer: kelPrintPDU
// (recovery point, signal trap, the world's call state borrowed and given
// back, since a print also runs inside an encoder's debug hook and inside
// another print for an open type) and kelPrintPDUToBuffer, which points the
// output channel at a counter or a buffer for the time of the print.
#include <csetjmp>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "driver.h"
#include "memory.h"
#include "printing.h"

namespace {

constexpr int kBadArgument = 6;
constexpr int kIncompatible = 7;
constexpr int kOutOfMemory = 8;
constexpr int kBadPdu = 3;
constexpr int kNoControlTable = 20;
constexpr int kCleanupFailed = 18;
constexpr int kBufferTooSmall = 1;

// pushFlags, bit 0: a nested print, which may pass a PDU number below 1.
constexpr uint32_t kNestedPrint = 0x1;
// dupWord, bit 0: the world serves the C++ interface.
constexpr uint32_t kCppInterface = 0x1;

constexpr char kNoPrinter[] =
    "\n\n\nRemove -nodebug ASN.1 compiler option and/or\nspecify -DKELPRINT when compiling the generated code "
    "file in order\nto have %s produce output, and/or\nspecify -DKELDEBUG=2 to have %s return an error "
    "message.\n\n\n";

// The world's fields that a print takes over for its time.
struct CallState {
    void *recoveryPoint;
    int32_t phase;
    char *errMsgPtr;
    void *oldSegvHandler;
    void *oldBusHandler;
    KelGlobal *trappedWorld;
    int32_t printIndent;
    unsigned char *tempList;
    unsigned char *tempCursor;
    unsigned char *tempLow;
    unsigned char *tempHigh;
};

CallState borrow(const KelGlobal *world) {
    return {world->recoveryPoint, world->phase,      world->errMsgPtr, world->oldSegvHandler,
            world->oldBusHandler, sigworld,          world->printIndent, world->tempList,
            world->tempCursor,    world->tempLow,    world->tempHigh};
}

// Gives back the temporary memory taken since `saved` and the fields.
void give_back(KelGlobal *world, const CallState &saved) {
    if (!kel_in_temp_buffer(world) && world->tempList != saved.tempList)
        _kel_tstk_free_blocks(world, saved.tempLow);
    world->tempList = saved.tempList;
    world->tempCursor = saved.tempCursor;
    world->tempLow = saved.tempLow;
    world->tempHigh = saved.tempHigh;
    world->recoveryPoint = saved.recoveryPoint;
    world->phase = saved.phase;
    world->errMsgPtr = saved.errMsgPtr;
    world->oldSegvHandler = saved.oldSegvHandler;
    world->oldBusHandler = saved.oldBusHandler;
    world->printIndent = saved.printIndent;
    sigworld = saved.trappedWorld;
}

int run_printer(KelGlobal *world, KelPrintFn printer, int pdu, void *value) {
    const CallState saved = borrow(world);
    const bool trap = (world->encodingFlags & KEL_TRAP_SIGNALS) != 0;
    jmp_buf recovery;
    volatile int guard = 0;
    world->recoveryPoint = &recovery;
    world->phase = kel::kPhaseDecoder;
    world->errMsgPtr = world->errMsg;
    if (!(world->pushFlags & kNestedPrint))
        world->printIndent = 0;
    if (int code = setjmp(recovery)) {
        if (guard == 0)
            guard = code;
        else
            code = 0; // the clean-up itself failed
        if (trap)
            kel::remove_trap(world);
        give_back(world, saved);
        return code ? guard : kCleanupFailed;
    }
    if (trap) {
        sigworld = world;
        kel::install_trap(world);
    }
    printer(world, pdu, value);
    if (trap)
        kel::remove_trap(world);
    give_back(world, saved);
    return 0;
}

// Where kelStrPrint puts the text while kelPrintPDUToBuffer runs; the output
// channel's stream points here.
struct TextTarget {
    char *position; // null: the pass only counts
    uint64_t room;
    uint64_t count;
    bool overflow;
    char *scratch; // for a C library whose vsnprintf can't measure
};

constexpr size_t kScratchSize = 4096;

int measure(const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int n = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    return n;
}

// The output channel of kelPrintPDUToBuffer: counts, or writes as much as
// the buffer holds and then a NUL in its last byte.
int kelStrPrint(FILE *stream, const char *format, va_list args) {
    auto *target = reinterpret_cast<TextTarget *>(stream);
    if (target->overflow)
        return 0;
    int n;
    if (target->scratch) {
        n = std::vsprintf(target->scratch, format, args);
        if (n > 0 && target->position) {
            const uint64_t fits = static_cast<uint64_t>(n) < target->room ? n : target->room - 1;
            std::memcpy(target->position, target->scratch, fits);
            target->position[fits] = 0;
        }
    } else {
        n = std::vsnprintf(target->position, target->position ? target->room : 0, format, args);
    }
    if (n < 0)
        return n;
    target->count += static_cast<uint64_t>(n);
    if (!target->position)
        return n;
    if (static_cast<uint64_t>(n) >= target->room) {
        target->overflow = true;
        target->position += target->room - 1;
        target->room = 1;
    } else {
        target->position += n;
        target->room -= static_cast<uint64_t>(n);
    }
    return n;
}

// One print into `target` with the output channel pointed at it.
int print_into(KelGlobal *world, int pdu, void *value, TextTarget *target) {
    KelWorldExt *ext = world->ext;
    FILE *const savedStream = world->asn1out;
    const KelUserVprint savedVprint = ext->userVprint;
    world->asn1out = reinterpret_cast<FILE *>(target);
    ext->userVprint = kelStrPrint;
    const int code = kelPrintPDU(world, pdu, value);
    world->asn1out = savedStream;
    ext->userVprint = savedVprint;
    return code;
}

int print_to_buffer(KelGlobal *world, int pdu, void *value, KelBuf *buffer, char *scratch) {
    TextTarget target{nullptr, 0, 0, false, scratch};
    if (buffer->length && buffer->value) {
        target.position = reinterpret_cast<char *>(buffer->value);
        target.room = buffer->length;
        const int code = print_into(world, pdu, value, &target);
        if (code || !target.overflow)
            return code;
        world->errorCode = kBufferTooSmall;
        return kBufferTooSmall;
    }
    if (int code = print_into(world, pdu, value, &target))
        return code;
    const uint64_t size = target.count + 1;
    if (size > UINT32_MAX)
        return kOutOfMemory;
    if (buffer->length == 1) {
        buffer->length = static_cast<uint32_t>(size);
        return 0;
    }
    auto *text = static_cast<unsigned char *>(kelGetMemory(world, size));
    if (!text)
        return kOutOfMemory;
    text[0] = 0; // a printer that prints nothing leaves an empty text
    buffer->value = text;
    buffer->length = static_cast<uint32_t>(size);
    target = TextTarget{reinterpret_cast<char *>(text), size, 0, false, scratch};
    const int code = print_into(world, pdu, value, &target);
    if (code) {
        kelFreeMemory(world, text);
        *buffer = KelBuf{0, nullptr};
    }
    return code;
}

} // namespace

int kel::print::nested_pdu(KelGlobal *world, int pdu, void *value) {
    const uint32_t saved = world->pushFlags;
    world->pushFlags |= kNestedPrint;
    const int code = kelPrintPDU(world, -pdu, value);
    world->pushFlags = saved;
    return code;
}

extern "C" {

int kelPrintPDU(KelGlobal *world, int pdu, void *value) {
    if (!world || !value)
        return kBadArgument;
    const auto *table = static_cast<const KelControlTable *>(world->ctlTbl);
    if (!table) {
        world->errorCode = kNoControlTable;
        return kNoControlTable;
    }
    if (table->version != kel::kVersion)
        return kIncompatible;
    if (!table->printPdu) {
        const char *caller = (world->dupWord & kCppInterface) ? "ASN1Handle::print()" : "kelPrintPDU()";
        kelPrint(world, kNoPrinter, caller, caller);
        return 0;
    }
    if (pdu < 1 && !(world->pushFlags & kNestedPrint))
        return kBadPdu;
    return run_printer(world, table->printPdu, pdu, value);
}

int printPDU(KelGlobal *world, int pdu, void *value, void *) { return kelPrintPDU(world, pdu, value); }

int kelPrintPDUToBuffer(KelGlobal *world, int pdu, void *value, KelBuf *buffer) {
    if (!world || !buffer || !value || pdu < 1)
        return kBadArgument;
    if (!world->ctlTbl || !world->ext) {
        world->errorCode = kNoControlTable;
        return kNoControlTable;
    }
    char *scratch = nullptr;
    if (measure("%s", "123456") != 6 && !(scratch = static_cast<char *>(kelGetMemory(world, kScratchSize))))
        return kOutOfMemory;
    const int code = print_to_buffer(world, pdu, value, buffer, scratch);
    if (scratch)
        kelFreeMemory(world, scratch);
    return code;
}

long kelDeterminePDUBufferLength(KelGlobal *world, int pdu, void *value) {
    KelBuf size{1, nullptr};
    return kelPrintPDUToBuffer(world, pdu, value, &size) ? 0 : static_cast<long>(size.length);
}

} // extern "C"
