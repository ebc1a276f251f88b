// reentry.cpp - nested encodings inside one call.  A pushed world is a second
// world in temporary memory for an item that needs its own state; a push
// frame reserves one octet for the length of a PER/OER open type or extension
// addition and, once the content is written, inserts the length there, in
// the fragmented form when the content is long.
#include <cstring>

#include "internal.h"
#include "kelvarn_stream.h"

namespace {

// Fields of the temporary stack, which move with whichever world is current.
void copy_temp_stack(KelGlobal *to, const KelGlobal *from) {
    to->tempList = from->tempList;
    to->tempCursor = from->tempCursor;
    to->tempLow = from->tempLow;
    to->tempHigh = from->tempHigh;
    to->altList = from->altList;
}

} // namespace

KelGlobal *_kel_push_global(KelGlobal *world) {
    auto *pushed = static_cast<KelGlobal *>(_kel_dec_gettempmem(world, kel::kWorldClearedSize));
    std::memset(static_cast<void *>(pushed), 0, kel::kWorldClearedSize);
    auto *ext = static_cast<KelWorldExt *>(_kel_dec_gettempmem(world, sizeof(KelWorldExt)));
    std::memset(ext, 0, sizeof *ext);
    const KelWorldExt *parentExt = world->ext;

    ext->userVprint = parentExt->userVprint;
    ext->tempBufSize = parentExt->tempBufSize;
    ext->tempBufAddr = parentExt->tempBufAddr;
    ext->xobjSetTable = parentExt->xobjSetTable;
    ext->xapi = parentExt->xapi;
    ext->ruleMapBits = parentExt->ruleMapBits;
    std::memcpy(ext->exerData, parentExt->exerData, sizeof ext->exerData);
    ext->jsonIndent = parentExt->jsonIndent;
    ext->jsonFlags = parentExt->jsonFlags;
    ext->extMalloc = parentExt->extMalloc;
    ext->extFree = parentExt->extFree;
    ext->pieceCache = parentExt->pieceCache; // the top world owns it
    ext->constructedLimit = parentExt->constructedLimit;
    ext->seqSetLimit = parentExt->seqSetLimit;
    ext->encStackFirst.count = 1;
    ext->encStack = &ext->encStackFirst;
    ext->pushInline.link = &ext->pushInline;

    pushed->mallocp = world->mallocp;
    pushed->freep = world->freep;
    pushed->asn1chop = world->asn1chop;
    pushed->modeBits = world->modeBits & 7;
    pushed->asn1out = world->asn1out;
    pushed->asn1prnt = world->asn1prnt;
    pushed->ctlTbl = world->ctlTbl;
    pushed->encRules = world->encRules;
    pushed->encodingFlags = world->encodingFlags;
    pushed->dupWord = world->dupWord;
    pushed->recoveryPoint = world->recoveryPoint;
    pushed->oldSegvHandler = world->oldSegvHandler;
    pushed->oldBusHandler = world->oldBusHandler;
    copy_temp_stack(pushed, world);
    pushed->errMsgPtr = world->errMsgPtr;
    pushed->trail = world->trail;
    pushed->pduNumber = world->pduNumber;
    pushed->pduEntry = world->pduEntry;
    pushed->phase = world->phase;
    pushed->aligned = world->aligned;
    pushed->getMem = world->getMem;
    pushed->freeMem = world->freeMem;
    pushed->reallocMem = world->reallocMem;
    pushed->outQueueTail = &pushed->outQueue;
    pushed->ext = ext;

    pushed->parentWorld = world;
    world->childWorld = pushed;
    return pushed;
}

KelGlobal *_kel_epop_global(KelGlobal *pushed) {
    KelGlobal *parent = pushed->parentWorld;
    parent->childWorld = nullptr;
    copy_temp_stack(parent, pushed);
    // The world was taken before its extension: giving it back frees both.
    _kel_dec_freetempmem(parent, pushed);
    return parent;
}

void _kel_freeGlobals(KelGlobal *world, int freeItems) {
    KelGlobal *innermost = world;
    while (innermost->childWorld)
        innermost = innermost->childWorld;
    copy_temp_stack(world, innermost);
    for (KelGlobal *w = innermost; w && w != world; w = w->parentWorld) {
        if (w->pendingBlock) {
            kelFree(w, w->pendingBlock);
            w->pendingBlock = nullptr;
        }
        if (w->userBuffer)
            continue;
        if (freeItems || !w->ext->tempBufSize)
            _kel_freeMem(w, w->freeMem);
    }
    world->childWorld = nullptr;
}

// ---------------------------------------------------------------------------
// Push frames
// ---------------------------------------------------------------------------

void _kel_fast_push_global(KelGlobal *world) {
    KelWorldExt *ext = world->ext;
    KelPushBlock *block = ext->pushInline.link;
    KelPushFrame *frame;
    if (block == &ext->pushInline) {
        if (ext->pushInline.count < 4) {
            frame = &ext->pushInline.frames[ext->pushInline.count++];
            _kel_begin_otype_or_ext(world, frame);
            return;
        }
    } else if (block->count < 4) {
        frame = &block->frames[block->count++];
        _kel_begin_otype_or_ext(world, frame);
        return;
    }
    auto *fresh = static_cast<KelPushBlock *>(_kel_dec_gettempmem(world, sizeof(KelPushBlock)));
    fresh->link = block;
    fresh->count = 1;
    ext->pushInline.link = fresh;
    _kel_begin_otype_or_ext(world, &fresh->frames[0]);
}

void _kel_fast_pop_global(KelGlobal *world) {
    KelWorldExt *ext = world->ext;
    KelPushBlock *block = ext->pushInline.link;
    if (block == &ext->pushInline) {
        _kel_end_otype_or_ext(world, &ext->pushInline.frames[--ext->pushInline.count]);
        return;
    }
    KelPushFrame *frame = &block->frames[--block->count];
    if (block->count == 0) {
        ext->pushInline.link = block->link;
        _kel_end_otype_or_ext(world, frame);
        _kel_dec_freetempmem(world, block);
    } else {
        _kel_end_otype_or_ext(world, frame);
    }
}

namespace {

// The extra length octets beyond the reserved one for a content of n octets
// in the fragmented form: a header per 64K, one for the rest of 16K
// multiples, and a second octet when the last part needs two.
constexpr uint32_t extra_length_octets(uint32_t n) {
    return (n >> 16) + ((n & 0xFFFF) > 16383) + ((n & 0x3FFF) >= 128);
}
static_assert(extra_length_octets(127) == 0 && extra_length_octets(128) == 1);
static_assert(extra_length_octets(16384) == 1 && extra_length_octets(65536) == 1);
static_assert(extra_length_octets(65536 + 16384 + 200) == 3);

// A position in the output, in the caller's buffer or along the block chain.
// Stepping is lazy: the next block is fetched only when the octet under the
// cursor is touched, and past the end of the chain that takes a new block;
// past the caller's buffer it is message 1.
struct OutCursor {
    KelGlobal *world;
    KelOutBlock *block; // null in the caller's buffer
    int index;
    unsigned char *pos;
    int32_t left; // octets from pos to the end of the area, pos included

    void step() {
        ++pos;
        --left;
    }
    unsigned char &octet() {
        if (left > 0)
            return *pos;
        if (!block) {
            _kel_enc_getmem(world); // reports that the caller's buffer is full
        } else if (++index == KEL_OUTBLOCK_ITEMS) {
            if (!block->next)
                _kel_enc_getmem(world);
            block = block->next;
            index = 0;
        } else if (index == block->count) {
            _kel_enc_getmem(world);
        }
        pos = static_cast<unsigned char *>(block->items[index]);
        left = KEL_ENC_BLOCK;
        return *pos;
    }
};

OutCursor cursor_at_frame(KelGlobal *world, const KelPushFrame *frame) {
    if (world->userBuffer)
        return {world, nullptr, 0, frame->position,
                static_cast<int32_t>(world->outPos + world->outRemaining - frame->position)};
    int index = static_cast<int>(frame->blockIndex) - 1;
    return {world, frame->block, index, frame->position, static_cast<int32_t>(frame->room)};
}

// Octets of content written since the frame opened, the reserved one included.
uint32_t octets_since(KelGlobal *world, const KelPushFrame *frame) {
    const uint32_t tail = frame->room - static_cast<uint32_t>(world->outRemaining);
    if (world->userBuffer)
        return tail;
    const KelOutBlock *current = world->outQueueTail;
    if (frame->block == current)
        return ((static_cast<uint32_t>(current->count) - frame->blockIndex) << 10) + tail;
    uint32_t items = KEL_OUTBLOCK_ITEMS - frame->blockIndex;
    for (const KelOutBlock *b = frame->block->next; b != current; b = b->next)
        items += KEL_OUTBLOCK_ITEMS;
    items += static_cast<uint32_t>(current->count);
    return (items << 10) + tail;
}

// Writes `octets` at the cursor, each starting `shift` bits into its octet,
// keeping the bits ahead of the first one.  Leaves the cursor where the next
// octet would start.
void put_octets(OutCursor &at, unsigned shift, const unsigned char *octets, uint32_t count) {
    const unsigned keep = 0xFF00u >> shift & 0xFF;
    for (uint32_t i = 0; i < count; ++i) {
        if (shift == 0) {
            at.octet() = octets[i];
            at.step();
            continue;
        }
        unsigned char &first = at.octet();
        first = static_cast<unsigned char>((first & keep) | (octets[i] >> shift));
        at.step();
        at.octet() = static_cast<unsigned char>(octets[i] << (8 - shift));
    }
}

// Reads `count` octets that start `shift` bits into the cursor's octet.
void get_octets(OutCursor &at, unsigned shift, unsigned char *octets, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        const unsigned char high = at.octet();
        at.step();
        octets[i] = shift ? static_cast<unsigned char>(high << shift | at.octet() >> (8 - shift)) : high;
    }
}

// Rewrites the content behind the reserved octet with the fragmented length
// form of a long content inserted: headers 0xC0|m ahead of each run of m 16K
// parts, then a one- or two-octet length of the rest.
void insert_fragmented_length(KelGlobal *world, const KelPushFrame *frame, uint32_t n) {
    const unsigned shift = frame->bitOffset;
    auto *copy = static_cast<unsigned char *>(_kel_dec_gettempmem(world, n));
    OutCursor read = cursor_at_frame(world, frame);
    read.step(); // past the reserved octet: the content starts `shift` bits into the next
    get_octets(read, shift, copy, n);
    OutCursor write = cursor_at_frame(world, frame);
    const unsigned char *src = copy;
    uint32_t rest = n;
    while (rest >= 16384) {
        const uint32_t parts = rest >> 14 > 4 ? 4 : rest >> 14;
        const unsigned char header = static_cast<unsigned char>(0xC0 | parts);
        put_octets(write, shift, &header, 1);
        put_octets(write, shift, src, parts << 14);
        src += parts << 14;
        rest -= parts << 14;
    }
    unsigned char length[2] = {static_cast<unsigned char>(0x80 | rest >> 8), static_cast<unsigned char>(rest)};
    if (rest >= 128)
        put_octets(write, shift, length, 2);
    else
        put_octets(write, shift, &length[1], 1);
    put_octets(write, shift, src, rest);
    world->outPos = write.pos;
    world->outRemaining = write.left;
    _kel_dec_freetempmem(world, copy);
}

} // namespace

void _kel_begin_otype_or_ext(KelGlobal *world, KelPushFrame *frame) {
    if (kel::counting(world)) {
        if (world->aligned && world->bitOffset) {
            world->bitOffset = 0;
            world->encLength += 1;
        }
        frame->room = world->encLength;
        frame->bitOffset = static_cast<uint32_t>(world->bitOffset);
        return;
    }
    unsigned char *p = world->outPos;
    int32_t room = world->outRemaining;
    if (world->aligned && world->bitOffset) {
        *p &= static_cast<unsigned char>(0xFF << (8 - world->bitOffset));
        ++p;
        --room;
        world->bitOffset = 0;
    }
    if (room <= 0) {
        p = _kel_enc_getmem(world);
        room = KEL_ENC_BLOCK;
    }
    frame->position = p;
    frame->room = static_cast<uint32_t>(room);
    frame->bitOffset = static_cast<uint32_t>(world->bitOffset);
    frame->block = world->outQueueTail;
    frame->blockIndex = static_cast<uint32_t>(world->outQueueTail->count);
    if (room == 1 && !world->userBuffer) {
        p = _kel_enc_getmem(world);
        room = KEL_ENC_BLOCK;
    } else {
        ++p;
        --room;
    }
    world->outPos = p;
    world->outRemaining = room;
    if (room > 0)
        *p = 0;
}

void _kel_end_otype_or_ext(KelGlobal *world, KelPushFrame *frame) {
    const int32_t frameOffset = static_cast<int32_t>(frame->bitOffset);
    if (kel::counting(world)) {
        if (world->bitOffset > frameOffset)
            world->encLength += 1;
        world->bitOffset = frameOffset;
        const uint32_t n = world->encLength - frame->room;
        world->encLength += extra_length_octets(n) + (n ? 1 : 2);
        return;
    }
    uint32_t n = octets_since(world, frame);
    const int32_t contentOffset = world->bitOffset;
    if (contentOffset && world->outRemaining > 0) // zero the padding behind the content
        *world->outPos &= static_cast<unsigned char>(0xFF00u >> contentOffset);
    if (contentOffset <= frameOffset) {
        // The content ends at or before the frame's bit position: the octet
        // under outPos is padding up to it.
        if (contentOffset == 0 && frameOffset && world->outRemaining > 0)
            *world->outPos = 0;
        --n;
    } else if (frameOffset && world->outRemaining < 2 && !world->userBuffer) {
        // The last content octet is partial: step past it onto a cleared one.
        world->outPos = _kel_enc_getmem(world);
        world->outRemaining = KEL_ENC_BLOCK;
        *world->outPos = 0;
    } else {
        ++world->outPos;
        --world->outRemaining;
        if (frameOffset && world->outRemaining > 0)
            *world->outPos = 0;
    }
    world->bitOffset = frameOffset;

    if (n > 127) {
        insert_fragmented_length(world, frame, n);
        return;
    }
    const unsigned char length = static_cast<unsigned char>(n ? n : 1);
    OutCursor at = cursor_at_frame(world, frame);
    if (frameOffset == 0) {
        at.octet() = length;
    } else {
        // Split across the reserved octet and the next one, keeping the
        // bits around it.
        const unsigned shift = static_cast<unsigned>(frameOffset);
        unsigned char &first = at.octet();
        first = static_cast<unsigned char>((first & (0xFF00u >> shift)) | (length >> shift));
        at.step();
        unsigned char &second = at.octet();
        second = static_cast<unsigned char>((second & (0xFFu >> shift)) | (length << (8 - shift)));
    }
    if (n == 0)
        _kel_append_8bit_unaligned(world, 0); // an open type is never empty
}
