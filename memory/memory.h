// memory.h - what the working-memory sources share with the rest of the
// library and never show to applications: the default memory functions that
// kelMinit installs, the disposable allocator of the caller's temporary
// buffer, and the release helpers that the drivers' clean-up paths call.
#pragma once

#include <malloc.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "internal.h"

// Default getMem, freeMem and reallocMem of a world: they call the world's
// raw slots mallocp, freep and reallocp.  Over the C library's malloc and
// free, small freed blocks wait in the world's piece cache for reuse.
void *kel_default_getmem(KelGlobal *world, size_t size);
void kel_default_freemem(KelGlobal *world, void *p);
void *kel_default_reallocmem(KelGlobal *world, void *p, size_t size);

// Gives a world whose raw slots are the C library's its piece cache (none
// when that memory is lacking); closing gives back the cache and its blocks.
void kel_open_piece_cache(KelGlobal *world);
void kel_close_piece_cache(KelWorldExt *ext);

namespace kel::pieces {

// Class c keeps freed blocks with room for capacity(c) octets, a free list
// threaded through the blocks' first words.  The steps of 16 with 8 over
// match the C library's usable sizes on 64-bit hosts (24, 40, 56, ...), so
// a block that the cache allocated for class c comes back to class c.
constexpr size_t kClasses = 128;
constexpr size_t capacity(size_t c) { return c * 16 + 8; }
constexpr size_t kLargest = capacity(kClasses);
// Octets that the lists may receive before they are emptied back into the C
// library; they never hold more.
constexpr size_t kBudget = 256 * 1024;

// The class that serves a request of 1 to kLargest octets.  It depends only
// on the request rounded up to 8, so rounded and unrounded sizes agree.
constexpr size_t class_for_request(size_t size) {
    size_t c = (size + 7) >> 4;
    return c + (c == 0);
}

// The largest class that a block of `usable` octets can serve: 0 or beyond
// kClasses for blocks that the lists don't keep.
constexpr size_t class_of_block(size_t usable) { return (usable - 8) >> 4; }

static_assert(capacity(class_for_request(kLargest)) == kLargest);
static_assert(class_for_request(17) == class_for_request(24) && class_for_request(25) == 2);
static_assert(class_of_block(capacity(7)) == 7 && class_of_block(capacity(7) + 15) == 7);
static_assert(capacity(1) >= sizeof(void *));

} // namespace kel::pieces

struct KelPieceCache {
    void *heads[kel::pieces::kClasses + 1]; // heads[0] is never used
    // Octets given to the lists since they were last emptied, an upper bound
    // of what they hold: a take leaves it alone, so that the hot paths keep
    // no count but this one.
    size_t given;
};

// Gives every block of the lists back to the C library.
void kel_empty_piece_cache(KelPieceCache *cache);

// The world's piece cache, if it has one.
inline KelPieceCache *kel_piece_cache(const KelGlobal *world) {
    const KelWorldExt *ext = world->ext;
    return ext ? ext->pieceCache : nullptr;
}

// The head of class c's list, unlinked, or null.
[[gnu::always_inline]] inline void *kel_pop_piece(KelPieceCache *cache, size_t c) {
    void *p = cache->heads[c];
    if (p)
        cache->heads[c] = *static_cast<void **>(p);
    return p;
}

// The body of the default getMem: the head of the class's list or of one of
// the next two (the C library may hand out a block a little larger than
// asked, which then comes back to a class above), else a new block of the
// class's whole capacity.  Cached blocks are malloc blocks, so they stand in
// for mallocp only while that is still the C library's malloc.
[[gnu::always_inline]] inline void *kel_take_piece(KelGlobal *world, size_t size) {
    using namespace kel::pieces;
    if (world->mallocp == std::malloc && size - 1 < kLargest) {
        if (KelPieceCache *cache = kel_piece_cache(world)) {
            const size_t c = class_for_request(size);
            const size_t last = c + 2 < kClasses ? c + 2 : kClasses;
            for (size_t k = c; k <= last; ++k)
                if (void *p = kel_pop_piece(cache, k))
                    return p;
            return std::malloc(capacity(c));
        }
    }
    return world->mallocp(size);
}

// The body of the default freeMem: while freep is the C library's free, the
// block joins the list of the largest class that it can serve, as its usable
// size tells, whichever world or cache allocated it; blocks beyond the
// classes go to free.  When the lists have received a budget's worth since
// they were last emptied, they are emptied into the C library.
[[gnu::always_inline]] inline void kel_give_piece(KelGlobal *world, void *p) {
    using namespace kel::pieces;
    if (world->freep != std::free) {
        world->freep(p);
        return;
    }
    // malloc_usable_size(nullptr) is 0: a null pointer goes to free.
    KelPieceCache *cache = kel_piece_cache(world);
    if (!cache)
        return std::free(p);
    const size_t usable = malloc_usable_size(p);
    const size_t c = class_of_block(usable);
    if (c - 1 >= kClasses)
        return std::free(p);
    *static_cast<void **>(p) = cache->heads[c];
    cache->heads[c] = p;
    if ((cache->given += usable) > kBudget) [[unlikely]]
        kel_empty_piece_cache(cache);
}

// getMem and freeMem of a world, with the default functions inlined.
[[gnu::always_inline]] inline void *kel_get_mem(KelGlobal *world, size_t size) {
    KelGetMem getMem = world->getMem;
    return getMem == kel_default_getmem ? kel_take_piece(world, size) : getMem(world, size);
}

[[gnu::always_inline]] inline void kel_free_mem(KelGlobal *world, void *p) {
    KelFreeMem freeMem = world->freeMem;
    if (freeMem == kel_default_freemem)
        kel_give_piece(world, p);
    else
        freeMem(world, p);
}

// Allocator over the top of the caller's temporary buffer: pieces are taken
// downward from tempHigh, each behind an 8-octet size header, and must be
// given back in reverse order.  kel_disposable_free ignores its argument and
// gives back the piece at tempHigh.
void *kel_disposable_alloc(KelGlobal *world, size_t size);
void kel_disposable_free(KelGlobal *world, void *p);

// True while the caller's temporary buffer replaces heap memory.
inline bool kel_in_temp_buffer(const KelGlobal *world) {
    return world->ext && world->ext->tempBufSize != 0;
}

// The release function for encoder output blocks: the disposable release in
// the caller's temporary buffer, else the world's freeMem.
inline KelFreeMem kel_output_release(const KelGlobal *world) {
    return kel_in_temp_buffer(world) ? kel_disposable_free : world->freeMem;
}

// Gives back the blocks of the encoder's item stack above the inline one.
void kel_release_enc_stack(KelGlobal *world);

// Forgets the block chain without releasing anything: for output blocks that
// lie in the caller's temporary buffer, which the next driver reclaims whole.
void kel_forget_chain(KelGlobal *world);

// Undoes the BER block frames that a failed encode left open.
void kel_undo_block_frames(KelGlobal *world);
