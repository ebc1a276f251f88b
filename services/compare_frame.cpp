// compare_frame.cpp - kelCmpValue: the frame around the code file's generated
// comparer.  It sets the recovery point that primitives fail to, traps
// SIGSEGV and SIGBUS when the world asks for it, and gives back the
// temporary memory of a call that failed.
#include <csetjmp>

#include "driver.h"
#include "kelvarn_services.h"

namespace {

// The memory state a call starts from: no pushed worlds, an empty chain
// and the temporary stack over the caller's buffer, if one was given.
void reset_memory_bookkeeping(KelGlobal *world) {
    KelWorldExt *ext = world->ext;
    world->trail = nullptr;
    world->parentWorld = nullptr;
    world->childWorld = nullptr;
    world->outQueueTail = &world->outQueue;
    ext->encStack = &ext->encStackFirst;
    if (ext->tempBufSize) {
        world->tempLow = ext->tempBufAddr;
        world->tempHigh = ext->tempBufAddr + ext->tempBufSize;
    } else {
        world->tempLow = world->tempHigh = nullptr;
    }
}

void release_call_memory(KelGlobal *world) {
    if (world->childWorld)
        _kel_freeGlobals(world, 1);
    if (!world->ext->tempBufSize)
        _kel_freetempMem(world);
}

} // namespace

extern "C" int kelCmpValue(KelGlobal *world, int pdu, void *first, void *second) {
    if (!world || !first || !second)
        return 6;
    const KelXApiTable *table = world->ext ? world->ext->xapi : nullptr;
    if (!table || !table->cmpValue)
        return 25;
    const KelCompareFn compare = table->cmpValue;
    const bool trap = ((world->encodingFlags | world->decodingFlags) & TRAPPING) == 0;

    reset_memory_bookkeeping(world);
    world->phase = kel::kPhaseEncoder; // failures read as 'E' messages, never as the checker's
    world->errMsg[0] = 0;
    world->errMsgPtr = world->errMsg;

    jmp_buf recovery;
    volatile int guard = 0;
    world->recoveryPoint = &recovery;
    if (int code = setjmp(recovery); code != 0) {
        if (guard == 0) {
            guard = code;
            release_call_memory(world);
            world->errMsgPtr = nullptr;
        } else {
            code = 0; // the clean-up itself failed
        }
        if (trap)
            kel::remove_trap(world);
        return code ? guard : 18;
    }
    if (trap) {
        sigworld = world;
        kel::install_trap(world);
    }
    const int result = compare(world, pdu, first, second);
    if (trap)
        kel::remove_trap(world);
    return result;
}
