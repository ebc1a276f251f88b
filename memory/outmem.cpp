// outmem.cpp - the block chain that records all memory of a running call.
//
// Every item an encoder or decoder takes is stored in a KelOutBlock (60 item
// slots); the first block lies inline in the world, further ones are linked
// behind it.  A failure releases the chain, last item first, without any
// unwinding.  With a caller's output buffer no item is taken: pieces are cut
// off the front of the buffer instead.
#include <cstring>

#include "memory.h"

namespace {

using kel::kMsgBufferTooSmall;
using kel::kMsgOutOfMemory;

// Links a successor block behind the full tail and makes it the tail.
[[gnu::noinline]] KelOutBlock *grow_chain(KelGlobal *world, KelGetMem alloc) {
    auto *block = static_cast<KelOutBlock *>(alloc(world, sizeof(KelOutBlock)));
    if (!block)
        _kel_enc_error(world, kMsgOutOfMemory, sizeof(KelOutBlock));
    block->count = 0;
    block->next = nullptr;
    world->outQueueTail->next = block;
    world->outQueueTail = block;
    return block;
}

// Stores a new item of `size` octets from `alloc` in the next slot of the
// tail.  A full tail gets a successor block from the same allocator.  The
// item is counted even when it is null: the caller tests it.
void *chain_add(KelGlobal *world, KelGetMem alloc, size_t size) {
    KelOutBlock *tail = world->outQueueTail;
    if (tail->count >= KEL_OUTBLOCK_ITEMS) [[unlikely]]
        tail = grow_chain(world, alloc);
    void *item = alloc(world, size);
    tail->items[tail->count++] = item;
    return item;
}

// Releases the items of `block` from its last one down to slot `from`,
// skipping null slots.
void release_items(KelGlobal *world, KelOutBlock *block, int from, KelFreeMem release) {
    for (int i = block->count - 1; i >= from; --i)
        if (block->items[i])
            release(world, block->items[i]);
}

// Releases, newest first, every item from slot `from` of `block` on and all
// blocks behind it; `block` becomes the tail with `from` items.  The blocks
// behind are reversed in place first, so the walk backward needs no back
// pointers and stays linear.
void release_from(KelGlobal *world, KelOutBlock *block, int from, KelFreeMem release) {
    KelOutBlock *reversed = nullptr;
    for (KelOutBlock *b = block->next; b;) {
        KelOutBlock *next = b->next;
        b->next = reversed;
        reversed = b;
        b = next;
    }
    while (reversed) {
        KelOutBlock *older = reversed->next;
        release_items(world, reversed, 0, release);
        release(world, reversed);
        reversed = older;
    }
    release_items(world, block, from, release);
    for (int i = from; i < block->count; ++i)
        block->items[i] = nullptr;
    block->count = static_cast<int16_t>(from);
    block->next = nullptr;
    world->outQueueTail = block;
}

uint32_t rounded_size(KelGlobal *world, uint32_t size) {
    uint32_t n = kel::round8(size);
    if (n < size) [[unlikely]]
        _kel_enc_error(world, kMsgOutOfMemory, size);
    return n;
}

// Decoder pieces in library memory, the general way: a new item from the
// world's getMem in the next slot of the chain, of `size` octets rounded up
// to 8 when `Round`.  Zero octets are a null pointer without an item.
template <bool Round> [[gnu::noinline]] void *take_library_piece(KelGlobal *world, uint32_t size) {
    const uint32_t n = Round ? rounded_size(world, size) : size;
    if (n == 0)
        return nullptr;
    world->memTotal += n;
    KelOutBlock *tail = world->outQueueTail;
    if (tail->count >= KEL_OUTBLOCK_ITEMS) [[unlikely]]
        tail = grow_chain(world, world->getMem);
    void *p = kel_get_mem(world, n);
    tail->items[tail->count++] = p;
    if (!p) [[unlikely]]
        _kel_enc_error(world, kMsgOutOfMemory, n);
    return p;
}

// A piece that the caller's area can't hold: a size that overflows in the
// rounding is out of memory, as in library memory; else the area is short.
// It doesn't return; being no noreturn function, it is reached by a jump,
// so the fast paths need no frame of their own.
[[gnu::noinline]] void *area_too_small(KelGlobal *world, uint32_t size, bool round) {
    if (round)
        rounded_size(world, size);
    _kel_enc_error(world, kMsgBufferTooSmall, world->memTotal);
}

// Decoder pieces of `size` octets, rounded up to 8 when `Round`: cut off the
// caller's area, or an item in library memory.  The common case of the
// latter, the default getMem over malloc with a block of the class in the
// world's cache and room in the chain's tail, is a pop and a store here,
// with no call; everything else goes the general way.
template <bool Round> [[gnu::always_inline]] inline void *take_piece(KelGlobal *world, uint32_t size) {
    using namespace kel::pieces;
    if (world->userBuffer) {
        // In 64 bits the rounding can't overflow and a negative room is short.
        const uint64_t n = Round ? (uint64_t{size} + 7) & ~uint64_t{7} : size;
        if (int64_t{world->outRemaining} < static_cast<int64_t>(n)) [[unlikely]]
            return area_too_small(world, size, Round);
        unsigned char *p = world->outPos;
        world->outRemaining -= static_cast<int32_t>(n);
        world->outPos = p + n;
        return p;
    }
    // A size of 1 to kLargest can't overflow in the rounding.
    if (size - 1 < kLargest && world->getMem == kel_default_getmem && world->mallocp == std::malloc)
        if (KelPieceCache *cache = kel_piece_cache(world)) {
            KelOutBlock *tail = world->outQueueTail;
            void **slot = &cache->heads[class_for_request(size)];
            if (void *p = *slot; p && tail->count < KEL_OUTBLOCK_ITEMS) {
                *slot = *static_cast<void **>(p);
                world->memTotal += Round ? kel::round8(size) : size;
                tail->items[tail->count++] = p;
                return p;
            }
        }
    return take_library_piece<Round>(world, size);
}

// Clears a piece of `n` octets, a multiple of 8: up to 32 octets with two
// overlapping stores of constant width, which need no call.
[[gnu::always_inline]] inline void clear_piece(unsigned char *p, uint32_t n) {
    if (n - 1 < 16) {
        std::memset(p, 0, 8);
        std::memset(p + n - 8, 0, 8);
    } else if (n - 1 < 32) {
        std::memset(p, 0, 16);
        std::memset(p + n - 16, 0, 16);
    } else if (n) {
        std::memset(p, 0, n);
    }
}

} // namespace

void kel_forget_chain(KelGlobal *world) {
    world->outQueue.count = 0;
    world->outQueue.next = nullptr;
    world->outQueueTail = &world->outQueue;
    world->memTotal = 0;
}

extern "C" {

unsigned char *_kel_enc_getmem(KelGlobal *world) {
    if (world->userBuffer)
        _kel_enc_error(world, kMsgBufferTooSmall, world->memTotal);
    world->memTotal += KEL_ENC_BLOCK;
    KelGetMem alloc = kel_in_temp_buffer(world) ? kel_disposable_alloc : world->getMem;
    void *block = chain_add(world, alloc, KEL_ENC_BLOCK);
    if (!block)
        _kel_enc_error(world, kMsgOutOfMemory, KEL_ENC_BLOCK);
    return static_cast<unsigned char *>(block);
}

void *_kel_dec_getmem(KelGlobal *world, int32_t size) {
    void *p = take_piece<true>(world, static_cast<uint32_t>(size));
    if (p)
        clear_piece(static_cast<unsigned char *>(p), kel::round8(static_cast<uint32_t>(size)));
    return p;
}

void *_kel_dec_getmem_internal(KelGlobal *world, uint32_t size) { return take_piece<true>(world, size); }

void *_kel_dec_getfixmem(KelGlobal *world, int32_t size) {
    return take_piece<false>(world, static_cast<uint32_t>(size));
}

void _kel_dec_free(KelGlobal *world, void *p) {
    if (p && world && world->freeMem)
        kel_free_mem(world, p);
}

void _kel_freeMem(KelGlobal *world, KelFreeMem release) {
    release_from(world, &world->outQueue, 0, release);
    world->memTotal = 0;
}

void _kel_releaseMem(KelGlobal *world) {
    world->memTotal = 0;
    world->outQueue.count = 0;
    for (KelOutBlock *b = world->outQueue.next; b;) {
        KelOutBlock *next = b->next;
        world->freeMem(world, b);
        b = next;
    }
    world->outQueue.next = nullptr;
}

void *_kel_get_memory_status(KelGlobal *world, uint32_t *mark) {
    if (world->userBuffer) {
        *mark = static_cast<uint32_t>(world->outRemaining);
        return world->outPos;
    }
    *mark = static_cast<uint32_t>(world->outQueueTail->count);
    return world->outQueueTail;
}

void _kel_restore_memory(KelGlobal *world, void *block, uint32_t mark) {
    if (world->userBuffer) {
        world->outRemaining = static_cast<int32_t>(mark);
        world->outPos = static_cast<unsigned char *>(block);
        return;
    }
    auto *b = static_cast<KelOutBlock *>(block);
    int from = static_cast<int>(mark) < b->count ? static_cast<int>(mark) : b->count;
    release_from(world, b, from, world->freeMem);
}

void _kel_tell_dec_outmem(KelGlobal *world, uintptr_t mark[3]) {
    if (world->userBuffer) {
        mark[0] = reinterpret_cast<uintptr_t>(world->outPos);
    } else {
        KelOutBlock *tail = world->outQueueTail;
        mark[0] = reinterpret_cast<uintptr_t>(&tail->items[tail->count]);
    }
    mark[1] = reinterpret_cast<uintptr_t>(world->tempLow);
    mark[2] = world->memTotal;
}

void _kel_free_dec_outmem(KelGlobal *world, uintptr_t mark[3]) {
    if (world->userBuffer) {
        auto *p = reinterpret_cast<unsigned char *>(mark[0]);
        world->outRemaining += static_cast<int32_t>(world->outPos - p);
        world->outPos = p;
    } else {
        KelOutBlock *previous = nullptr;
        for (KelOutBlock *b = &world->outQueue; b; previous = b, b = b->next) {
            uintptr_t first = reinterpret_cast<uintptr_t>(&b->items[0]);
            if (mark[0] < first || mark[0] > reinterpret_cast<uintptr_t>(&b->items[KEL_OUTBLOCK_ITEMS]))
                continue;
            int slot = static_cast<int>((mark[0] - first) / sizeof(void *));
            release_from(world, b, slot < b->count ? slot : b->count, world->freeMem);
            // A block that keeps no item goes too, unless it is the inline one.
            if (b->count == 0 && previous) {
                world->freeMem(world, b);
                previous->next = nullptr;
                world->outQueueTail = previous;
            }
            break;
        }
    }
    world->memTotal = static_cast<uint32_t>(mark[2]);
    auto *low = reinterpret_cast<unsigned char *>(mark[1]);
    if (reinterpret_cast<uintptr_t>(low) > reinterpret_cast<uintptr_t>(world->tempList) &&
        reinterpret_cast<uintptr_t>(low) <= reinterpret_cast<uintptr_t>(world->tempLow))
        world->tempLow = low;
    else
        _kel_tstk_free_blocks(world, low);
}

} // extern "C"
