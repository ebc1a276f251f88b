// copy_frame.cpp - kelCpyValue, the frame around the code file's generated
// copy function.  The copy is made in the caller's area when *destination
// points at one (the world's decodingLength is its size), else as items in
// library memory that the caller later frees with kelFreePDU.  Failures come
// back through the recovery point set here, with all memory taken released.
#include <csetjmp>

#include "driver.h"

int kelCpyValue(KelGlobal *world, int pdu, void *source, void **destination) {
    if (!world || !source || !destination)
        return 6;
    const KelXApiTable *xapi = world->ext ? world->ext->xapi : nullptr;
    KelCopyFn copy = xapi ? xapi->cpyValue : nullptr;
    if (!copy)
        return 25;
    auto *area = static_cast<unsigned char *>(*destination);
    if (area && world->decodingLength <= 0)
        return 6;

    KelWorldExt *ext = world->ext;
    const unsigned flags = world->decodingFlags;
    const bool trap = (flags & KEL_TRAP_SIGNALS) != 0;
    if (trap)
        sigworld = world;
    world->phase = kel::kPhaseDecoder;
    world->errMsg[0] = 0;
    world->errMsgPtr = world->errMsg;

    jmp_buf recovery;
    world->recoveryPoint = &recovery;
    kel::reset_call_state(world);

    volatile int guard = 0;
    const uint32_t effective = kel::effective_flags(flags);
    if (int code = setjmp(recovery)) {
        if (guard == 0) {
            guard = code;
            if (world->childWorld)
                _kel_freeGlobals(world, 1);
            if (!ext->tempBufSize)
                _kel_freetempMem(world);
            if (!world->userBuffer)
                _kel_freeMem(world, world->freeMem);
            *destination = nullptr;
            world->errMsgPtr = nullptr;
        } else {
            code = 0; // the clean-up itself failed
        }
        if (!(effective & TRAPPING))
            kel::remove_trap(world);
        return code ? guard : 18;
    }
    if (trap)
        kel::install_trap(world);

    if (area) {
        // Pieces are cut from the caller's area from its first multiple of 8
        // on; an area too small for them fails with the buffer's size.
        const auto skip = static_cast<int32_t>(-reinterpret_cast<uintptr_t>(area) & 7u);
        world->userBuffer = 1;
        world->outPos = area + skip;
        world->outRemaining = world->decodingLength - skip;
        world->memTotal = static_cast<uint32_t>(world->decodingLength);
    } else {
        world->userBuffer = 0;
        world->outPos = nullptr;
        world->outRemaining = 0;
        world->memTotal = 0;
    }
    *destination = nullptr;

    copy(world, pdu, source, destination);
    if (!world->userBuffer)
        _kel_releaseMem(world);
    if (trap)
        kel::remove_trap(world);
    return 0;
}
