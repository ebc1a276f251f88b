// tempstack.cpp - scratch memory that lives for one call: the temporary
// stack (on heap blocks, or inside the caller's temporary buffer), its second
// list of equal chunks for values that grow, the disposable allocator over
// the top of the caller's buffer, and the encoder's item stack.
//
// Heap blocks are linked newest first.  Each header saves tempHigh and tempLow
// as they stood before the block, so popping a block restores the stack below.
#include <algorithm>
#include <cstring>

#include "memory.h"

namespace {

using kel::kMsgOutOfMemory;
using kel::kMsgTempBufferTooSmall;

struct TempBlock {
    TempBlock *next; // the block below
    unsigned char *savedHigh;
    unsigned char *savedLow;
    uintptr_t spare;
};
constexpr uint32_t kTempHeader = sizeof(TempBlock);
constexpr uint32_t kMinStackBlock = 4096;

// Header of a chunk of the second list.
struct AltChunk {
    AltChunk *next;
    uintptr_t spare;
};
constexpr uint32_t kAltHeader = sizeof(AltChunk);

// Size header of a disposable piece.
constexpr uint32_t kDisposableHeader = 8;

#if defined(__i386__)
static_assert(kTempHeader == 16 && kAltHeader == 8);
#endif
static_assert(kTempHeader % 8 == 0 && kAltHeader % 8 == 0);

inline uintptr_t addr(const void *p) { return reinterpret_cast<uintptr_t>(p); }
inline TempBlock *top_block(const KelGlobal *world) { return reinterpret_cast<TempBlock *>(world->tempList); }
inline unsigned char *area(TempBlock *block) { return reinterpret_cast<unsigned char *>(block) + kTempHeader; }

// True when `p` lies in the used part of `block`, whose use ends at `usedEnd`.
inline bool holds(const TempBlock *block, const void *p, const unsigned char *usedEnd) {
    return addr(p) > addr(block) && addr(p) <= addr(usedEnd);
}

inline bool has_room(const KelGlobal *world, uint64_t need) {
    ptrdiff_t room = world->tempHigh - world->tempLow;
    return room >= 0 && static_cast<uint64_t>(room) >= need;
}

[[noreturn]] void temp_buffer_full(KelGlobal *world, uint64_t need) {
    _kel_enc_error(world, kMsgTempBufferTooSmall, static_cast<uint32_t>(need));
}

uint32_t rounded(KelGlobal *world, uint64_t size) {
    uint64_t n = (size + 7u) & ~uint64_t{7};
    if (n > UINT32_MAX - kTempHeader) [[unlikely]]
        _kel_enc_error(world, kMsgOutOfMemory, static_cast<uint32_t>(size));
    return static_cast<uint32_t>(n);
}

// A heap block with `areaSize` octets behind its header, not yet linked.
TempBlock *new_block(KelGlobal *world, uint32_t areaSize) {
    uint32_t size = areaSize + kTempHeader;
    auto *block = static_cast<TempBlock *>(world->getMem(world, size));
    if (!block)
        _kel_enc_error(world, kMsgOutOfMemory, size);
    block->spare = 0;
    return block;
}

// Links a new block on top of the stack, saving the stack's state in it.
TempBlock *push_block(KelGlobal *world, uint32_t areaSize) {
    TempBlock *block = new_block(world, areaSize);
    block->next = top_block(world);
    block->savedHigh = world->tempHigh;
    block->savedLow = world->tempLow;
    world->tempList = reinterpret_cast<unsigned char *>(block);
    return block;
}

// Releases the top block and restores the state saved in it.
void pop_block(KelGlobal *world) {
    TempBlock *block = top_block(world);
    world->tempList = reinterpret_cast<unsigned char *>(block->next);
    world->tempHigh = block->savedHigh;
    world->tempLow = block->savedLow;
    world->freeMem(world, block);
}

// Releases `first` and the blocks below it, down to `keep`, excluded.
void release_down_to(KelGlobal *world, TempBlock *first, TempBlock *keep) {
    while (first != keep) {
        TempBlock *next = first->next;
        world->freeMem(world, first);
        first = next;
    }
}

// Visits, newest first, the parts of a growing array that starts at `start`:
// the used part of each block from `block` (whose use ends at `usedEnd` and
// which ends at `high`) down to the block that holds `start`.  Returns false
// when no block holds `start`.
template <class Visit>
bool for_each_part(TempBlock *block, unsigned char *usedEnd, unsigned char *high, unsigned char *start,
                   Visit visit) {
    for (; block; block = block->next) {
        bool holder = holds(block, start, usedEnd);
        visit(block, holder ? start : area(block), usedEnd, high);
        if (holder)
            return true;
        usedEnd = block->savedLow;
        high = block->savedHigh;
    }
    return false;
}

// Copies the parts of the array from `block` down to its start so that they
// end at `destEnd`.
void gather(TempBlock *block, unsigned char *usedEnd, unsigned char *high, unsigned char *start,
            unsigned char *destEnd) {
    for_each_part(block, usedEnd, high, start, [&](TempBlock *, unsigned char *from, unsigned char *end, unsigned char *) {
        size_t length = static_cast<size_t>(end - from);
        destEnd -= length;
        std::memcpy(destEnd, from, length);
    });
}

// The second list: the newest chunk, and giving it back.
unsigned char *alt_newest(KelGlobal *world) {
    if (kel_in_temp_buffer(world)) {
        unsigned char *top = world->ext->tempBufAddr + world->ext->tempBufSize;
        return world->tempHigh < top ? world->tempHigh + kDisposableHeader : nullptr;
    }
    return world->altList ? world->altList + kAltHeader : nullptr;
}

void alt_release_newest(KelGlobal *world) {
    if (kel_in_temp_buffer(world)) {
        kel_disposable_free(world, nullptr);
        return;
    }
    auto *chunk = reinterpret_cast<AltChunk *>(world->altList);
    world->altList = reinterpret_cast<unsigned char *>(chunk->next);
    world->freeMem(world, chunk);
}

KelOutBlock *push_enc_block(KelGlobal *world) {
    auto *block = static_cast<KelOutBlock *>(world->getMem(world, sizeof(KelOutBlock)));
    if (!block)
        _kel_enc_error(world, kMsgOutOfMemory, sizeof(KelOutBlock));
    block->count = 0;
    block->next = world->ext->encStack;
    world->ext->encStack = block;
    return block;
}

} // namespace

void *kel_disposable_alloc(KelGlobal *world, size_t size) {
    uint64_t n = (static_cast<uint64_t>(size) + 7u) & ~uint64_t{7};
    if (!has_room(world, n + kDisposableHeader))
        temp_buffer_full(world, n + kDisposableHeader);
    world->tempHigh -= n + kDisposableHeader;
    *reinterpret_cast<uint32_t *>(world->tempHigh) = static_cast<uint32_t>(n);
    return world->tempHigh + kDisposableHeader;
}

void kel_disposable_free(KelGlobal *world, void *) {
    world->tempHigh += *reinterpret_cast<uint32_t *>(world->tempHigh) + kDisposableHeader;
}

void kel_release_enc_stack(KelGlobal *world) {
    KelWorldExt *ext = world->ext;
    if (!ext || !ext->encStack)
        return;
    while (ext->encStack != &ext->encStackFirst) {
        KelOutBlock *next = ext->encStack->next;
        world->freeMem(world, ext->encStack);
        ext->encStack = next;
    }
}

extern "C" {

void *_kel_dec_gettempmem(KelGlobal *world, uint32_t size) {
    uint32_t n = rounded(world, size);
    if (kel_in_temp_buffer(world)) {
        if (!has_room(world, n))
            temp_buffer_full(world, n);
        unsigned char *p = world->tempLow;
        world->tempLow += n;
        return p;
    }
    // One piece per heap block.
    TempBlock *block = push_block(world, n);
    world->tempLow = world->tempHigh = area(block) + n;
    return area(block);
}

void _kel_dec_freetempmem(KelGlobal *world, void *p) {
    auto *piece = static_cast<unsigned char *>(p);
    if (kel_in_temp_buffer(world)) {
        world->tempLow = piece;
        return;
    }
    if (!piece)
        return;
    while (world->tempList && !holds(top_block(world), piece, world->tempLow))
        pop_block(world);
    if (!world->tempList)
        return;
    if (piece == area(top_block(world)))
        pop_block(world);
    else
        world->tempLow = piece;
}

void *_kel_dec_realloctempmem(KelGlobal *world, void *p, uint32_t oldSize, uint32_t newSize) {
    if (!p)
        return _kel_dec_gettempmem(world, newSize);
    auto *piece = static_cast<unsigned char *>(p);
    uint32_t n = rounded(world, newSize);
    if (addr(piece) <= addr(world->tempHigh) && addr(world->tempHigh) - addr(piece) >= n) {
        world->tempLow = piece + n;
        return piece;
    }
    if (kel_in_temp_buffer(world))
        temp_buffer_full(world, n);
    // The piece is alone in the top block: move it to a larger one.
    TempBlock *old = top_block(world);
    TempBlock *block = new_block(world, n);
    std::memcpy(area(block), piece, oldSize);
    *block = *old;
    world->tempList = reinterpret_cast<unsigned char *>(block);
    world->freeMem(world, old);
    world->tempLow = world->tempHigh = area(block) + n;
    return area(block);
}

void _kel_freetempMem(KelGlobal *world) {
    for (TempBlock *block = top_block(world); block;) {
        TempBlock *next = block->next;
        world->freeMem(world, block);
        block = next;
    }
    for (auto *chunk = reinterpret_cast<AltChunk *>(world->altList); chunk;) {
        AltChunk *next = chunk->next;
        world->freeMem(world, chunk);
        chunk = next;
    }
    world->tempList = nullptr;
    world->altList = nullptr;
    if (!kel_in_temp_buffer(world))
        world->tempLow = world->tempHigh = world->tempCursor = nullptr;
}

void _kel_tstk_add_block(KelGlobal *world, uint32_t size) {
    if (kel_in_temp_buffer(world))
        temp_buffer_full(world, size);
    uint32_t areaSize = std::max(rounded(world, size), kMinStackBlock);
    TempBlock *block = push_block(world, areaSize);
    world->tempLow = area(block);
    world->tempHigh = area(block) + areaSize;
}

void *_kel_tstk_alloc(KelGlobal *world, uint32_t size) {
    uint32_t n = rounded(world, size);
    if (!has_room(world, n))
        _kel_tstk_add_block(world, n);
    unsigned char *p = world->tempLow;
    world->tempLow += n;
    return p;
}

void _kel_tstk_free(KelGlobal *world, void *p) {
    if (addr(p) > addr(world->tempList) && addr(p) <= addr(world->tempLow))
        world->tempLow = static_cast<unsigned char *>(p);
    else
        _kel_tstk_free_blocks(world, p);
}

void _kel_tstk_free_blocks(KelGlobal *world, void *p) {
    while (TempBlock *block = top_block(world)) {
        TempBlock *below = block->next;
        unsigned char *belowHigh = block->savedHigh;
        pop_block(world);
        if (below && holds(below, p, belowHigh)) {
            world->tempLow = static_cast<unsigned char *>(p);
            return;
        }
    }
}

void *_kel_tstk_consolidate(KelGlobal *world, uint32_t extra) {
    if (kel_in_temp_buffer(world))
        temp_buffer_full(world, extra);
    unsigned char *cursor = world->tempCursor;
    TempBlock *top = top_block(world);
    uint64_t total = 0;
    TempBlock *holder = nullptr;
    unsigned char *holderHigh = nullptr;
    bool found = cursor && for_each_part(top, world->tempLow, world->tempHigh, cursor,
                                         [&](TempBlock *block, unsigned char *from, unsigned char *end,
                                             unsigned char *high) {
                                             total += static_cast<size_t>(end - from);
                                             holder = block;
                                             holderHigh = high;
                                         });
    if (!found) // no array yet: it is just the extra room
        return _kel_tstk_alloc(world, extra);

    uint32_t need = rounded(world, total + extra);
    if (holder == top) {
        if (addr(world->tempHigh) - addr(cursor) >= need) {
            world->tempLow = cursor + need;
            return cursor;
        }
    } else if (addr(world->tempHigh) - addr(area(top)) >= need) {
        // The top block's part moves up behind the older parts, which are
        // copied to the start of the top block; the blocks between go.
        unsigned char *start = area(top);
        size_t topPart = static_cast<size_t>(world->tempLow - start);
        unsigned char *olderEnd = start + (total - topPart);
        std::memmove(olderEnd, start, topPart);
        gather(top->next, top->savedLow, top->savedHigh, cursor, olderEnd);
        release_down_to(world, top->next, holder);
        top->next = holder;
        top->savedLow = cursor;
        top->savedHigh = holderHigh;
        world->tempLow = start + need;
        return start;
    }
    uint32_t areaSize = std::max(need, kMinStackBlock);
    TempBlock *block = new_block(world, areaSize);
    gather(top, world->tempLow, world->tempHigh, cursor, area(block) + total);
    release_down_to(world, top, holder);
    // Popping the new block gives back the array and the extra room at once.
    block->next = holder;
    block->savedLow = cursor;
    block->savedHigh = holderHigh;
    world->tempList = reinterpret_cast<unsigned char *>(block);
    world->tempLow = area(block) + need;
    world->tempHigh = area(block) + areaSize;
    return area(block);
}

void _kel_tstk_consolidate_outmem(KelGlobal *world, unsigned char *dest, void *base, uint32_t total) {
    auto *start = static_cast<unsigned char *>(base);
    if (kel_in_temp_buffer(world) || holds(top_block(world), start, world->tempLow)) {
        std::memcpy(dest, start, total);
    } else {
        // Parts come newest first: find where the array ends, then place each
        // part that falls within the first `total` octets.
        TempBlock *top = top_block(world);
        uint64_t offset = 0;
        for_each_part(top, world->tempLow, world->tempHigh, start,
                      [&](TempBlock *, unsigned char *from, unsigned char *end, unsigned char *) {
                          offset += static_cast<size_t>(end - from);
                      });
        for_each_part(top, world->tempLow, world->tempHigh, start,
                      [&](TempBlock *, unsigned char *from, unsigned char *end, unsigned char *) {
                          size_t length = static_cast<size_t>(end - from);
                          offset -= length;
                          if (offset < total)
                              std::memcpy(dest + offset, from, std::min<uint64_t>(length, total - offset));
                      });
    }
    _kel_tstk_free(world, start);
}

unsigned char *_kel_tstk_get_altdecmem(KelGlobal *world, uint32_t size) {
    if (kel_in_temp_buffer(world))
        return static_cast<unsigned char *>(kel_disposable_alloc(world, size));
    uint64_t bytes = uint64_t{size} + kAltHeader;
    auto *chunk = bytes <= UINT32_MAX ? static_cast<AltChunk *>(world->getMem(world, bytes)) : nullptr;
    if (!chunk)
        _kel_enc_error(world, kMsgOutOfMemory, static_cast<uint32_t>(bytes));
    chunk->next = reinterpret_cast<AltChunk *>(world->altList);
    chunk->spare = 0;
    world->altList = reinterpret_cast<unsigned char *>(chunk);
    return reinterpret_cast<unsigned char *>(chunk) + kAltHeader;
}

void _kel_tstk_consolidate_altdecmem(KelGlobal *world, unsigned char *dest, uint32_t total, uint32_t chunk) {
    if (total == 0)
        return;
    if (chunk == 0)
        chunk = total;
    uint32_t length = total % chunk ? total % chunk : chunk; // the newest chunk
    unsigned char *end = dest + total;
    for (uint32_t left = total; left != 0; left -= length, length = chunk) {
        unsigned char *piece = alt_newest(world);
        if (!piece)
            break;
        end -= length;
        std::memcpy(end, piece, length);
        alt_release_newest(world);
    }
}

void _kel_tstk_free_altdecmem(KelGlobal *world, unsigned char *p) {
    while (unsigned char *piece = alt_newest(world)) {
        alt_release_newest(world);
        if (piece == p)
            break;
    }
}

void _kel_enc_push(KelGlobal *world, void *item) {
    KelOutBlock *block = world->ext->encStack;
    if (block->count >= KEL_OUTBLOCK_ITEMS) [[unlikely]]
        block = push_enc_block(world);
    block->items[block->count++] = item;
}

void *_kel_enc_pop(KelGlobal *world) {
    KelWorldExt *ext = world->ext;
    KelOutBlock *block = ext->encStack;
    void *item = block->items[--block->count];
    if (block->count == 0 && block != &ext->encStackFirst) [[unlikely]] {
        ext->encStack = block->next;
        world->freeMem(world, block);
    }
    return item;
}

void **_kel_increment_enc_stack(KelGlobal *world) { return push_enc_block(world)->items; }

void **_kel_decrement_enc_stack(KelGlobal *world) {
    KelWorldExt *ext = world->ext;
    KelOutBlock *block = ext->encStack;
    if (block != &ext->encStackFirst) {
        ext->encStack = block->next;
        world->freeMem(world, block);
    }
    return ext->encStack->items;
}

void **_kel_load_enc_stack(KelGlobal *world, uint32_t *count) {
    KelOutBlock *block = world->ext->encStack;
    *count = static_cast<uint32_t>(block->count);
    return block->items;
}

void _kel_save_enc_stack(KelGlobal *world, uint32_t count) {
    world->ext->encStack->count = static_cast<int16_t>(count);
}

int kelSetTemporaryBuffer(KelGlobal *world, KelBuf *buffer) {
    if (!world || !world->ext)
        return 6;
    KelWorldExt *ext = world->ext;
    if (!buffer) {
        ext->tempBufSize = 0;
        ext->tempBufAddr = nullptr;
        return 0;
    }
    if (!buffer->value)
        return 1;
    // Start on a multiple of 8; use a multiple of 16 octets.
    uint32_t skip = static_cast<uint32_t>(-addr(buffer->value) & 7u);
    if (buffer->length <= skip)
        return 1;
    uint32_t size = (buffer->length - skip) & ~15u;
    if (size < 8)
        return 1;
    ext->tempBufSize = size;
    ext->tempBufAddr = buffer->value + skip;
    return 0;
}

int kelSetUserStack(KelGlobal *world, KelBuf *) { return world ? 25 : 6; }

} // extern "C"
