// piece_cache.cpp - the default memory functions of a world, with a cache of
// small freed blocks in front of the C library's allocator.
//
// A value decoded into library memory is many small pieces, each taken and
// given back on its own; the C library's own paths cost some hundred
// instructions a piece.  While the world's raw slots are the C library's
// malloc and free, freeMem therefore keeps small blocks in per-class free
// lists threaded through the blocks themselves, and getMem hands them out
// again: a take or a give-back is a few loads and stores, with no search.
// The only count is of the octets given to the lists; when it passes the
// budget the lists are emptied into the C library and it starts again.
// The blocks stay ordinary malloc blocks, whatever their size and whichever
// world took them: freeing one with free(), or through another world,
// remains correct, because a block's class comes from its usable size.  The
// blocks go back to the C library when the world closes.  The bodies of the
// two functions are inline in memory.h, so that the library's own callers
// skip the call through the world's slot.
#include <cstdlib>

#include "memory.h"

void *kel_default_getmem(KelGlobal *world, size_t size) { return kel_take_piece(world, size); }

void kel_default_freemem(KelGlobal *world, void *p) { kel_give_piece(world, p); }

// Works only when the application stored a raw reallocator in the world.
void *kel_default_reallocmem(KelGlobal *world, void *p, size_t size) {
    return world->reallocp ? world->reallocp(p, size) : nullptr;
}

void kel_open_piece_cache(KelGlobal *world) {
    KelWorldExt *ext = world->ext;
    if (world->mallocp != std::malloc || world->freep != std::free || ext->pieceCache)
        return;
    // Without memory for the lists the world works uncached.
    if (auto *cache = static_cast<KelPieceCache *>(std::calloc(1, sizeof(KelPieceCache))))
        ext->pieceCache = cache;
}

void kel_empty_piece_cache(KelPieceCache *cache) {
    for (void *&head : cache->heads)
        while (void *p = head) {
            head = *static_cast<void **>(p);
            std::free(p);
        }
    cache->given = 0;
}

void kel_close_piece_cache(KelWorldExt *ext) {
    if (KelPieceCache *cache = ext->pieceCache) {
        kel_empty_piece_cache(cache);
        std::free(cache);
        ext->pieceCache = nullptr;
    }
}
