// driver.h - the skeleton that every family's encode and decode driver runs:
// reset the per-call state, set the recovery point, trap signals when asked,
// call the generated function through the control table, hand the result to
// the caller, and on failure free everything the call took.
//
// A family supplies a policy with:
//   static KelEncodeFn encoder(KelGlobal *)  / KelDecodeFn decoder(KelGlobal *)
//   static int check_version(KelGlobal *)    0, or the code after reporting
//   static void finish_encoding(KelGlobal *, KelBuf *output)
//   static void finish_decoding(KelGlobal *, KelBuf *input)  after the call
//                                   and the count of octets read
// and optionally:
//   static void call_decoder(KelGlobal *, int *pdu, void **result)
//                                   a generated decoder of another shape
//   static uint32_t bytes_read(const KelGlobal *, const KelBuf *input)
//                                   another count of octets read
#pragma once

#include <csetjmp>
#include <csignal>

#include "internal.h"

namespace kel {

// Signal trap of SIGSEGV and SIGBUS for the span of one call.
inline void install_trap(KelGlobal *world) {
    world->oldSegvHandler = reinterpret_cast<void *>(std::signal(SIGSEGV, _kel_hdl_signal));
    world->oldBusHandler = reinterpret_cast<void *>(std::signal(SIGBUS, _kel_hdl_signal));
}

inline void remove_trap(KelGlobal *world) {
    std::signal(SIGSEGV, reinterpret_cast<void (*)(int)>(world->oldSegvHandler));
    std::signal(SIGBUS, reinterpret_cast<void (*)(int)>(world->oldBusHandler));
}

// Trapping is in force when the stored word lacks the no-trapping bit.
inline uint32_t effective_flags(uint32_t flags) {
    return (flags & KEL_TRAP_SIGNALS) ? flags & ~TRAPPING : flags | TRAPPING;
}

// Per-call state shared by encoders and decoders.
inline void reset_call_state(KelGlobal *world) {
    KelWorldExt *ext = world->ext;
    world->trail = nullptr;
    world->parentWorld = nullptr;
    world->childWorld = nullptr;
    world->outQueueTail = &world->outQueue;
    if (ext->tempBufSize) {
        world->tempLow = ext->tempBufAddr;
        world->tempHigh = ext->tempBufAddr + ext->tempBufSize;
    } else {
        world->tempLow = world->tempHigh = nullptr;
    }
    ext->bytesRead = 0;
    ext->paddingBits = 0;
    ext->constructedDepth = 0;
    ext->seqSetDepth = 0;
    ext->pushFlag = 0;
    ext->pushInline.count = 0;
    ext->pushInline.link = &ext->pushInline;
}

template <class Family> uint32_t bytes_read(const KelGlobal *world, const KelBuf *input) {
    if constexpr (requires { Family::bytes_read(world, input); })
        return Family::bytes_read(world, input);
    else
        return input->length - static_cast<uint32_t>(world->inRemaining);
}

template <class Family>
int run_encoder(KelGlobal *world, int pdu, void *value, KelBuf *output, unsigned flags) {
    KelWorldExt *ext = world->ext;
    const bool trap = (flags & KEL_TRAP_SIGNALS) != 0;
    if (trap)
        sigworld = world;
    world->phase = kPhaseEncoder;
    KelEncodeFn encoder = Family::encoder(world);
    if (!encoder) {
        _kel_varn_api_error(world, kMsgNullEntry, 0);
        return 21;
    }
    if (int code = Family::check_version(world))
        return code;

    jmp_buf recovery;
    world->recoveryPoint = &recovery;
    world->encLength = 0;
    reset_call_state(world);
    ext->encStackFirst.count = 1;
    ext->encStackFirst.next = nullptr;
    ext->encStack = &ext->encStackFirst;

    volatile int guard = 0;
    const uint32_t savedRules = world->encRules;
    const uint32_t effective = effective_flags(flags);
    if (int code = setjmp(recovery)) {
        if (guard == 0) {
            guard = code;
            _kelFreeEncMemory(world);
            world->errMsgPtr = nullptr;
            world->encRules = savedRules;
        } else {
            code = 0; // the clean-up itself failed
        }
        if (!(effective & TRAPPING))
            remove_trap(world);
        return code ? guard : 18;
    }
    if (trap)
        install_trap(world);

    if (output->value) {
        world->userBuffer = 1;
        world->outRemaining = static_cast<int32_t>(output->length);
        world->memTotal = output->length;
    } else {
        world->userBuffer = 0;
        world->outRemaining = 0;
    }
    world->outPos = output->value;

    encoder(world, pdu, value);
    Family::finish_encoding(world, output);
    if (world->encodingFlags & DETERMINE_ENC_LENGTH)
        output->length = world->encLength;
    if (trap)
        remove_trap(world);
    return 0;
}

template <class Family>
int run_decoder(KelGlobal *world, int *pdu, KelBuf *input, void **output, unsigned flags) {
    KelWorldExt *ext = world->ext;
    const bool trap = (flags & KEL_TRAP_SIGNALS) != 0;
    if (trap)
        sigworld = world;
    world->phase = kPhaseDecoder;
    KelDecodeFn decoder = Family::decoder(world);
    if (!decoder) {
        _kel_varn_api_error(world, kMsgNullEntry, 0);
        return 21;
    }
    if (int code = Family::check_version(world))
        return code;

    jmp_buf recovery;
    world->recoveryPoint = &recovery;
    reset_call_state(world);
    world->modeBits = static_cast<uint8_t>((world->modeBits & ~KEL_MODE_RELAXED) |
                                           ((flags & KEL_RELAXED) ? KEL_MODE_RELAXED : 0));

    volatile int guard = 0;
    const uint32_t savedRules = world->encRules;
    const uint32_t effective = effective_flags(flags);
    if (int code = setjmp(recovery)) {
        if (guard == 0) {
            guard = code;
            if (world->childWorld)
                _kel_freeGlobals(world, 1);
            if (!ext->tempBufSize)
                _kel_freetempMem(world);
            if (!world->userBuffer) {
                _kel_freeMem(world, world->freeMem);
                *output = nullptr;
            }
            world->errMsgPtr = nullptr;
            world->decodingLength = 0;
            world->encRules = savedRules;
            ext->bytesRead = bytes_read<Family>(world, input);
        } else {
            code = 0;
        }
        if (!(effective & TRAPPING))
            remove_trap(world);
        return code ? guard : 18;
    }
    if (trap)
        install_trap(world);

    if (*output) {
        world->userBuffer = 1;
        world->outRemaining = world->decodingLength;
    } else {
        world->userBuffer = 0;
        world->outRemaining = 0;
    }
    world->memTotal = static_cast<uint32_t>(world->outRemaining);
    world->outPos = static_cast<unsigned char *>(*output);
    world->inPos = input->value;
    world->inRemaining = static_cast<int32_t>(input->length);

    void *result = nullptr;
    if constexpr (requires { Family::call_decoder(world, pdu, &result); })
        Family::call_decoder(world, pdu, &result);
    else
        decoder(world, pdu, &result);
    ext->bytesRead = bytes_read<Family>(world, input);
    Family::finish_decoding(world, input);

    if (world->partialMode == 0) {
        *output = result;
        if (world->userBuffer) {
            world->decodingLength -= world->outRemaining;
        } else {
            world->decodingLength = static_cast<int32_t>(world->memTotal);
            _kel_releaseMem(world);
        }
    } else if (!world->userBuffer) {
        _kel_freeMem(world, world->freeMem);
        *output = nullptr;
    }
    if (world->presetDecFlags & 1) {
        input->value = world->inPos;
        input->length = static_cast<uint32_t>(world->inRemaining);
    }
    if (trap)
        remove_trap(world);
    return 0;
}

} // namespace kel
