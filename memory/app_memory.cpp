// app_memory.cpp - the memory operations of the public interface: the world's
// memory slots, kelFreeBuf for encodings,
// kelFreePDU for decoded values, and stubs kept for other runtime forms.
#include <csetjmp>
#include <cstdlib>
#include <cstring>

#include "driver.h"
#include "memory.h"

extern "C" {

// The default memory functions are inlined here: code files free every
// piece of a decoded value through these entries.
void *kelGetMemory(KelGlobal *world, size_t size) {
    return world && world->getMem ? kel_get_mem(world, size) : nullptr;
}

void *kelGetInitializedMemory(KelGlobal *world, size_t size) {
    void *p = kelGetMemory(world, size);
    if (p)
        std::memset(p, 0, size);
    return p;
}

void kelFreeMemory(KelGlobal *world, void *p) {
    if (!world)
        return;
    KelFreeMem freeMem = world->freeMem;
    if (freeMem == kel_default_freemem)
        kel_give_piece(world, p);
    else if (freeMem)
        freeMem(world, p);
}

void *kelMalloc(KelGlobal *world, size_t size) {
    return world && world->getMem ? kel_get_mem(world, size) : nullptr;
}

void kelFree(KelGlobal *world, void *p) {
    if (world && world->freeMem)
        kel_free_mem(world, p);
}

void *kelRealloc(KelGlobal *world, void *p, size_t size) {
    KelReallocMem reallocMem = world ? world->reallocMem : nullptr;
    return reallocMem ? reallocMem(world, p, size) : nullptr;
}

void kelFreeBuf(KelGlobal *world, void *p) {
    if (world && world->freeMem)
        kel_free_mem(world, p);
    else
        std::free(p);
}

void freeBUF(KelGlobal *world, void *p) { kelFreeBuf(world, p); }

int kelFreePDU(KelGlobal *world, int pdu, void *value) {
    if (!world)
        return 6;
    world->outQueueTail = &world->outQueue;
    if (world->ext)
        world->ext->encStack = &world->ext->encStackFirst;
    auto *ctl = static_cast<KelControlTable *>(world->ctlTbl);
    if (!ctl)
        return 20;
    if (!ctl->freePdu)
        return 21;
    const bool trap = ((world->encodingFlags | world->decodingFlags) & TRAPPING) == 0;

    jmp_buf recovery;
    volatile int guard = 0;
    world->recoveryPoint = &recovery;
    if (int code = setjmp(recovery); code != 0) {
        // Nothing to clean up: a second landing means the first one failed.
        if (guard == 0)
            guard = code;
        else
            code = 0;
        if (trap)
            kel::remove_trap(world);
        return code != 0 ? guard : 18;
    }
    if (trap) {
        sigworld = world;
        kel::install_trap(world);
    }
    int result = ctl->freePdu(world, pdu, value);
    if (trap)
        kel::remove_trap(world);
    return result;
}

int freePDU(KelGlobal *world, int pdu, void *value, void *) { return kelFreePDU(world, pdu, value); }

void _kelSetUserMallocFreeRealloc(KelGlobal *world, KelGetMem getMem, KelFreeMem freeMem,
                                  KelReallocMem reallocMem) {
    world->getMem = getMem;
    world->freeMem = freeMem;
    world->reallocMem = reallocMem;
}

void _kelGetUserMallocFreeRealloc(KelGlobal *world, KelGetMem *getMem, KelFreeMem *freeMem,
                                  KelReallocMem *reallocMem) {
    if (getMem)
        *getMem = world->getMem;
    if (freeMem)
        *freeMem = world->freeMem;
    if (reallocMem)
        *reallocMem = world->reallocMem;
}

void kelSetUserMallocFreeRealloc(KelGlobal *world, KelGetMem getMem, KelFreeMem freeMem,
                                 KelReallocMem reallocMem) {
    if (world)
        _kelSetUserMallocFreeRealloc(world, getMem, freeMem, reallocMem);
}

void kelGetUserMallocFreeRealloc(KelGlobal *world, KelGetMem *getMem, KelFreeMem *freeMem,
                                 KelReallocMem *reallocMem) {
    if (world)
        _kelGetUserMallocFreeRealloc(world, getMem, freeMem, reallocMem);
}

long kelFreeObjectStack(long x) { return x; }

int kelGetBuffer(KelGlobal *, KelBuf *) { return 48; }

int kelSetBuffer(KelGlobal *, KelBuf *) { return 47; }

} // extern "C"
