// blocks.cpp - SET OF ordering under DER, CXER and COER.  The elements of a
// block are written one by one into scratch memory and kept as items; at the
// end of the block the items are sorted by their encodings and written out in
// that order.  Under other rules and in count mode the block calls do
// nothing: the length of unsorted elements is the same.
//
// Also the decoder's test of that order under strict rules, and the undo of
// block frames that a failed encode left open.
#include <algorithm>
#include <cstring>

#include "ber.h"
#include "kelvarn_ber.h"
#include "memory.h"

namespace {

// The state of one open block, chained from the world's blockFrames.
struct BlockFrame {
    BlockFrame *previous;
    uint32_t savedMemTotal; // the spare word: memTotal, which joining items resets
    int32_t itemCount;
    KelBuf *items; // as many as the caller announced
    KelOutBlock savedQueue;
    KelOutBlock *savedTail; // null once endBlock has put the saved state back
    unsigned char *savedPos;
    int32_t savedRem;
    uint32_t savedUserBuffer;
    uint32_t savedEncLength;
    uint32_t forward; // 1 when the writer runs forward (CXER, COER)
};
#if defined(__i386__)
static_assert(sizeof(BlockFrame) == 288);
#endif

// itemCount of a block of at most one element, which is written in place.
constexpr int32_t kPassThrough = -1;

// Fewer octets than this are copied by a byte loop.
constexpr uint32_t kByteLoopLimit = 11;

bool blocks_apply(const KelGlobal *world) {
    if (kel::counting(world))
        return false;
    return world->encRules == KEL_DER || world->encRules == KEL_CXER || world->encRules == KEL_COER;
}

BlockFrame *open_frame(const KelGlobal *world) {
    return blocks_apply(world) ? static_cast<BlockFrame *>(world->blockFrames) : nullptr;
}

void *allocate(KelGlobal *world, uint64_t size) {
    void *p = size <= UINT32_MAX ? world->getMem(world, static_cast<size_t>(size)) : nullptr;
    if (!p)
        _kel_enc_error(world, kel::kMsgOutOfMemory, static_cast<uint32_t>(size));
    std::memset(p, 0, static_cast<size_t>(size));
    return p;
}

// The element now in the queue becomes item `itemCount - 1`; the queue is
// left empty.
void take_item(KelGlobal *world, BlockFrame *frame, int32_t rem) {
    KelBuf &item = frame->items[frame->itemCount - 1];
    if (frame->forward) {
        world->pushFlags |= 1u; // an empty element stays empty
        _kel_set_outmem_p(world, &item.length, &item.value);
    } else {
        _kel_set_outmem_d(world, static_cast<uint32_t>(rem), &item.length, &item.value);
    }
}

// Canonical order of encodings (X.690 11.6): octet strings compared with the
// shorter one padded with zero octets at its end.  No complete encoding is a
// proper prefix of another, so on a common prefix the shorter one goes first:
// a memcmp of the common length then the lengths decide.  Length first would
// not be this order.  The first octets are ORed with `padding` (CXER).
//
// The comparison is cheap for the keys sets are usually made of: the first
// octets (the tags) decide most pairs inline; keys of equal length, the
// common case for elements of one type, need one memcmp and no more.
inline bool precedes(const KelBuf &a, const KelBuf &b, uint8_t padding) {
    const uint32_t common = a.length < b.length ? a.length : b.length;
    if (common == 0)
        return a.length < b.length;
    const uint8_t x = a.value[0] | padding, y = b.value[0] | padding;
    if (x != y)
        return x < y;
    const int c = common > 1 ? std::memcmp(a.value + 1, b.value + 1, common - 1) : 0;
    return c < 0 || (c == 0 && a.length < b.length);
}

// Sorts the items in place in O(n log n) comparisons whatever the input:
// std::sort is an introsort, falling back to heap sort where quicksort would
// go quadratic.  Items that are in order already, or in reverse order (the
// walkers hand the elements of a decoded, hence sorted, set last first) are
// recognised in one linear pass, which stops at the first pair out of place.
// Equal neighbours are identical encodings, so neither pass needs stability.
void sort_items(KelBuf *items, uint32_t n, uint8_t padding) {
    const auto before = [padding](const KelBuf &a, const KelBuf &b) { return precedes(a, b, padding); };
    const auto after = [padding](const KelBuf &a, const KelBuf &b) { return precedes(b, a, padding); };
    if (std::is_sorted(items, items + n, before))
        return;
    if (std::is_sorted(items, items + n, after)) {
        std::reverse(items, items + n);
        return;
    }
    std::sort(items, items + n, before);
}

// Appends `n` octets at the forward writer's position.
void put_forward(KelGlobal *world, unsigned char **pos, int32_t *rem, const unsigned char *src,
                 uint32_t n) {
    while (n) {
        if (*rem <= 0) {
            *pos = _kel_enc_getmem(world);
            *rem = KEL_ENC_BLOCK;
        }
        const uint32_t chunk = n < static_cast<uint32_t>(*rem) ? n : static_cast<uint32_t>(*rem);
        unsigned char *dst = *pos;
        if (chunk < kByteLoopLimit) {
            for (uint32_t i = 0; i < chunk; ++i)
                dst[i] = src[i];
        } else {
            std::memcpy(dst, src, chunk);
        }
        *pos += chunk;
        *rem -= static_cast<int32_t>(chunk);
        src += chunk;
        n -= chunk;
    }
}

// Copies the used part of an output block: its count, items and link.
void copy_queue(KelOutBlock &to, const KelOutBlock &from) {
    to.count = from.count;
    std::memcpy(to.items, from.items, static_cast<size_t>(from.count) * sizeof from.items[0]);
    to.next = from.next;
}

void restore_saved_state(KelGlobal *world, BlockFrame *frame) {
    copy_queue(world->outQueue, frame->savedQueue);
    world->outQueueTail = frame->savedTail;
    world->memTotal = frame->savedMemTotal;
    world->userBuffer = static_cast<uint8_t>(frame->savedUserBuffer);
    frame->savedTail = nullptr;
}

void release_item(KelGlobal *world, KelBuf &item) {
    if (item.value)
        world->freeMem(world, item.value);
    item.value = nullptr;
}

void release_frame(KelGlobal *world, BlockFrame *frame) {
    if (frame->items) {
        for (int32_t i = frame->itemCount - 1; i >= 0; --i)
            release_item(world, frame->items[i]);
        world->freeMem(world, frame->items);
    }
    world->blockFrames = frame->previous;
    world->freeMem(world, frame);
}

} // namespace

void kel_undo_block_frames(KelGlobal *world) {
    while (auto *frame = static_cast<BlockFrame *>(world->blockFrames)) {
        if (frame->savedTail) {
            // The element in progress goes first; then the queue of the
            // enclosing value comes back.
            if (kel_in_temp_buffer(world))
                kel_forget_chain(world);
            else
                _kel_freeMem(world, world->freeMem);
            restore_saved_state(world, frame);
        }
        release_frame(world, frame);
    }
}

extern "C" {

void _kel_beginBlock(KelGlobal *world, uint32_t count, unsigned char **pos, int32_t *rem) {
    if (!blocks_apply(world))
        return;
    auto *frame = static_cast<BlockFrame *>(allocate(world, sizeof(BlockFrame)));
    frame->previous = static_cast<BlockFrame *>(world->blockFrames);
    world->blockFrames = frame;
    if (count <= 1) {
        // Nothing to sort: the element goes straight to the output, as under
        // the other rules; the frame only keeps nested blocks apart.
        frame->itemCount = kPassThrough;
        return;
    }
    frame->forward = world->encRules != KEL_DER;
    if (count)
        frame->items = static_cast<KelBuf *>(allocate(world, uint64_t{count} * sizeof(KelBuf)));
    copy_queue(frame->savedQueue, world->outQueue);
    frame->savedTail = world->outQueueTail;
    frame->savedPos = *pos;
    frame->savedRem = *rem;
    frame->savedUserBuffer = world->userBuffer;
    frame->savedEncLength = world->encLength;
    frame->savedMemTotal = world->memTotal;
    // The elements go to scratch blocks, even when the caller gave the
    // output buffer.
    world->outQueue.count = 0;
    world->outQueue.next = nullptr;
    world->outQueueTail = &world->outQueue;
    world->userBuffer = 0;
    *rem = 0;
}

void _kel_nextItem(KelGlobal *world, int32_t *rem) {
    BlockFrame *frame = open_frame(world);
    if (!frame || frame->itemCount == kPassThrough)
        return;
    // Called ahead of every element: the first call finds none finished.
    if (frame->itemCount > 0)
        take_item(world, frame, *rem);
    ++frame->itemCount;
    *rem = 0;
}

void _kel_endBlock(KelGlobal *world, unsigned char **pos, int32_t *rem, uint8_t padding) {
    BlockFrame *frame = open_frame(world);
    if (!frame)
        return;
    if (frame->itemCount == kPassThrough) {
        release_frame(world, frame);
        return;
    }
    const uint32_t n = static_cast<uint32_t>(frame->itemCount);
    if (n) {
        take_item(world, frame, *rem);
        sort_items(frame->items, n, padding);
    }
    *pos = frame->savedPos;
    *rem = frame->savedRem;
    world->encLength = frame->savedEncLength;
    restore_saved_state(world, frame);
    // Each item is released as soon as it is out, so that a failure while
    // writing releases only the rest.
    KelBuf *items = frame->items;
    if (frame->forward) {
        for (uint32_t i = 0; i < n; ++i) {
            put_forward(world, pos, rem, items[i].value, items[i].length);
            world->encLength += items[i].length;
            release_item(world, items[i]);
        }
    } else {
        for (uint32_t i = n; i-- > 0;) {
            if (items[i].length)
                _kel_write_bytes_d(world, pos, rem, items[i].value, static_cast<int32_t>(items[i].length));
            release_item(world, items[i]);
        }
    }
    release_frame(world, frame);
}

void _kel_check_setof_order(KelGlobal *world, const unsigned char *previous, uint32_t previousLength,
                            const unsigned char *current, uint32_t currentLength) {
    if (!kel::ber::strict_canonical(world))
        return;
    const KelBuf before{previousLength, const_cast<unsigned char *>(previous)};
    const KelBuf now{currentLength, const_cast<unsigned char *>(current)};
    if (precedes(now, before, 0))
        _kel_enc_error(world, kel::kMsgMisencoded, currentLength);
}

} // extern "C"
