// push.cpp - PER input narrowing for open types and extension additions:
// push reads the content's length, saves the outer cursors in a push frame
// and points the reader at the content; pop checks that the inner value used
// its content and restores the outer cursors.  Also the skipping of one whole
// length-prefixed item.
//
// Content of one determinant is read in place, at the outer bit offset.
// Fragmented content is assembled into one block of the temporary stack,
// which the frame owns until pop: a first pass walks the determinants to
// check the input and add up the size, a second copies the fragments
// straight into the block, so nothing else sits on the stack above it.

#include "per.h"

namespace {

using namespace kel::per;

// Flags above the saved bit offset in KelPushFrame::bitOffset.
constexpr uint32_t kOffsetMask = 0xFF;
constexpr uint32_t kContentOfOne = 0x4000; // one octet may stand for an empty value
constexpr uint32_t kExtraOctet = 0x8000;   // content starts inside an octet: n + 1 touched

// Joins the fragments of a content whose first determinant announced `first`
// octets (the reader stands at them).  Leaves the reader behind the content
// and returns the block; its size goes to *total.
unsigned char *assemble(KelGlobal *world, uint32_t first, uint32_t *total) {
    const ReadMark content = read_mark(world);
    uint32_t size = first;
    uint32_t previous = 0; // the first fragment is no previous one here
    uint8_t last = 0;
    skip_octets_in_place(world, first);
    do {
        const uint32_t n = _kel_pdec_length(world, 0, 0, &last);
        if (n == 0)
            break;
        check_grouping(world, previous, n, last);
        skip_octets_in_place(world, n);
        size += n;
        previous = n;
    } while (!last);
    const ReadMark behind = read_mark(world);

    auto *block = static_cast<unsigned char *>(_kel_dec_gettempmem(world, size));
    rewind(world, content);
    _kel_get_bits(world, block, first * 8, 0);
    for (uint32_t done = first; done < size;) {
        const uint32_t n = _kel_pdec_length(world, 0, 0, &last);
        _kel_get_bits(world, block + done, n * 8, 0);
        done += n;
    }
    rewind(world, behind);
    *total = size;
    return block;
}

// The next free push frame: inline while the first block has room, then in
// blocks of the temporary stack linked above it.
KelPushFrame *take_frame(KelGlobal *world) {
    KelWorldExt *ext = world->ext;
    KelPushBlock *block = ext->pushInline.link;
    if (block == &ext->pushInline) {
        if (ext->pushInline.count < 4)
            return &ext->pushInline.frames[ext->pushInline.count++];
    } else if (block->count < 4) {
        return &block->frames[block->count++];
    }
    auto *fresh = static_cast<KelPushBlock *>(_kel_dec_gettempmem(world, sizeof(KelPushBlock)));
    fresh->link = block;
    fresh->count = 1;
    ext->pushInline.link = fresh;
    return &fresh->frames[0];
}

} // namespace

extern "C" {

void _kel_pdec_sot(KelGlobal *world) {
    uint32_t previous = 0;
    uint8_t last;
    do {
        const uint32_t n = _kel_pdec_length(world, 0, 0, &last);
        if (strict(world)) {
            if (n == 0 && previous == 0)
                fail(world, kMsgMisencoded);
            check_grouping(world, previous, n, last);
        }
        skip_octets_in_place(world, n);
        previous = n;
    } while (!last);
}

void _kel_pdec_push(KelGlobal *world) {
    // Set by the caller for an open type, where empty content is an error.
    const bool openType = (world->pushFlags & 1u) != 0;
    world->pushFlags &= ~1u;

    uint8_t last;
    uint32_t n = _kel_pdec_length(world, 1, 0, &last);
    uint32_t flags = n == 1 ? kContentOfOne : 0;
    unsigned char *start = world->inPos;
    unsigned char *owned = nullptr;
    if (n == 0) {
        if (openType)
            fail(world, kMsgOpenTypeEmpty);
        if (strict(world))
            fail(world, kMsgMisencoded);
        start = nullptr;
    } else if (last) {
        int64_t remaining = static_cast<int64_t>(world->inRemaining) - n;
        int64_t step = n;
        if (world->bitOffset) {
            if (world->aligned) {
                world->bitOffset = 0;
                ++step;
                --remaining;
            } else {
                // The outer reader goes on inside the content's last octet.
                if (remaining < 1)
                    end_of_input(world);
                ++n;
                flags |= kExtraOctet;
            }
        }
        if (remaining < 0)
            end_of_input(world);
        world->inPos += step;
        world->inRemaining = static_cast<int32_t>(remaining);
    } else {
        if (static_cast<int64_t>(world->inRemaining) < n)
            end_of_input(world);
        owned = assemble(world, n, &n);
        start = owned;
    }

    KelPushFrame *frame = take_frame(world);
    frame->position = world->inPos;
    frame->room = static_cast<uint32_t>(world->inRemaining);
    frame->block = nullptr;
    frame->blockIndex = reinterpret_cast<uintptr_t>(owned);
    frame->bitOffset = static_cast<uint32_t>(world->bitOffset) | flags;
    frame->spare = 0;
    if (owned)
        world->bitOffset = 0;
    world->inPos = start;
    world->inRemaining = static_cast<int32_t>(n);
}

void _kel_pdec_pop(KelGlobal *world) {
    KelWorldExt *ext = world->ext;
    KelPushBlock *block = ext->pushInline.link;
    KelPushBlock *emptied = nullptr;
    KelPushFrame *frame;
    if (block == &ext->pushInline) {
        frame = &ext->pushInline.frames[--ext->pushInline.count];
    } else {
        frame = &block->frames[--block->count];
        if (block->count == 0) {
            ext->pushInline.link = block->link;
            emptied = block;
        }
    }
    const uint32_t flags = frame->bitOffset;
    const int32_t outerOffset = static_cast<int32_t>(flags & kOffsetMask);

    if (!relaxed(world)) {
        int64_t remaining = world->inRemaining;
        if (flags & kExtraOctet) {
            --remaining;
            // The inner value ran into the outer bits: past the shared last
            // octet's split, or into the octets behind it.
            if (remaining < 0 || (remaining == 0 && world->bitOffset > outerOffset))
                end_of_input(world);
        }
        // At most the padding of the last octet may be left; a content of one
        // octet may hold an empty value.
        if (remaining * 8 - world->bitOffset > 7 && !(flags & kContentOfOne))
            fail(world, kMsgMisencoded);
    }

    world->inPos = frame->position;
    world->inRemaining = static_cast<int32_t>(frame->room);
    world->bitOffset = outerOffset;
    auto *owned = reinterpret_cast<void *>(frame->blockIndex);
    // The frame block was taken after the owned content: it goes first.
    if (emptied)
        _kel_dec_freetempmem(world, emptied);
    if (owned)
        _kel_dec_freetempmem(world, owned);
}

} // extern "C"
