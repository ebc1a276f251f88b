// piece_cache.cpp - the default memory functions of a world, with a cache of
// small freed blocks in front of the C library's allocator.
//
// A value decoded into library memory is many small pieces, each taken and
// given back on its own; the C library keeps only a few freed blocks per size
// for quick reuse, so a record of a dozen strings spills into its slower
// paths on every decode.  While the world's raw slots are the C library's
// malloc and free, freeMem therefore keeps small blocks in per-size stacks
// and getMem hands them out again.  The blocks stay ordinary malloc blocks:
// freeing one with free(), or through another world, remains correct.  The
// blocks go back to the C library when the world closes.
#include <malloc.h>

#include <cstdlib>

#include "memory.h"

namespace {

// Class c holds blocks with room for at least capacity(c) octets: steps of 8
// up to 256 (decoded pieces), then steps of 64 up to 2048 (encoder blocks
// and the frames of sorted SET OF values).  The allocator's own sizes are
// coarser than the classes (glibc's usable sizes step by 16), so a request
// looks in its own class and the next kProbes - 1 above it.
constexpr size_t kFineStep = 8;
constexpr size_t kFineLimit = 256;
constexpr size_t kCoarseStep = 64;
constexpr size_t kLargestCached = 2048;
constexpr size_t kFineClasses = kFineLimit / kFineStep;
constexpr size_t kClasses = kFineClasses + (kLargestCached - kFineLimit) / kCoarseStep;
constexpr size_t kProbes = 3;
// Blocks kept per class: enough for the pieces of a large record, small
// enough that a world never holds more than some tens of kilobytes.
constexpr uint32_t kDepth = 32;

// The smallest class whose blocks hold `size` octets (1 to kLargestCached).
constexpr size_t class_for_request(size_t size) {
    return size <= kFineLimit ? (size + kFineStep - 1) / kFineStep
                              : kFineClasses + (size - kFineLimit + kCoarseStep - 1) / kCoarseStep;
}

// The octets that every block of class c holds.
constexpr size_t capacity(size_t c) {
    return c <= kFineClasses ? c * kFineStep : kFineLimit + (c - kFineClasses) * kCoarseStep;
}

// The largest class that a block of `usable` octets can serve.
constexpr size_t class_of_block(size_t usable) {
    return usable <= kFineLimit ? usable / kFineStep
                                : kFineClasses + (usable - kFineLimit) / kCoarseStep;
}

static_assert(class_for_request(kLargestCached) == kClasses);
static_assert(class_of_block(capacity(class_for_request(300))) == class_for_request(300));
static_assert(class_of_block(319) < class_for_request(320));

} // namespace

// Each class is a stack of block addresses: reuse touches no freed block.
struct KelPieceCache {
    uint32_t count[kClasses + kProbes];
    void *blocks[kClasses + kProbes][kDepth];
};

namespace {

bool over_c_allocator(const KelGlobal *world) {
    return world->mallocp == std::malloc && world->freep == std::free;
}

KelPieceCache *cache_of(const KelGlobal *world) {
    return world->ext && over_c_allocator(world) ? world->ext->pieceCache : nullptr;
}

} // namespace

void *kel_default_getmem(KelGlobal *world, size_t size) {
    if (size - 1 < kLargestCached) {
        if (KelPieceCache *cache = cache_of(world)) {
            const size_t first = class_for_request(size);
            for (size_t c = first; c < first + kProbes; ++c)
                if (cache->count[c])
                    return cache->blocks[c][--cache->count[c]];
            // A new block gets the whole capacity of its class, so that it
            // serves this size again once it has been freed.
            return world->mallocp(capacity(first));
        }
    }
    return world->mallocp(size);
}

void kel_default_freemem(KelGlobal *world, void *p) {
    if (p) {
        if (KelPieceCache *cache = cache_of(world)) {
            const size_t c = class_of_block(malloc_usable_size(p));
            if (c - 1 < kClasses + kProbes - 1 && cache->count[c] < kDepth) {
                cache->blocks[c][cache->count[c]++] = p;
                return;
            }
        }
    }
    world->freep(p);
}

// Works only when the application stored a raw reallocator in the world.
void *kel_default_reallocmem(KelGlobal *world, void *p, size_t size) {
    return world->reallocp ? world->reallocp(p, size) : nullptr;
}

void kel_open_piece_cache(KelGlobal *world) {
    KelWorldExt *ext = world->ext;
    if (!over_c_allocator(world) || ext->pieceCache)
        return;
    // Without memory for the lists the world works uncached.
    if (auto *cache = static_cast<KelPieceCache *>(std::calloc(1, sizeof(KelPieceCache))))
        ext->pieceCache = cache;
}

void kel_close_piece_cache(KelWorldExt *ext) {
    KelPieceCache *cache = ext->pieceCache;
    if (!cache)
        return;
    for (size_t c = 0; c < kClasses + kProbes; ++c)
        for (uint32_t i = 0; i < cache->count[c]; ++i)
            std::free(cache->blocks[c][i]);
    std::free(cache);
    ext->pieceCache = nullptr;
}
