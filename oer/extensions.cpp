// extensions.cpp - the OER frame around an extension addition, an
// alternative beyond the root or an open type (one octet reserved for the
// length, the content moved up when the length needs more), the relay of
// kept additions and of the presence bitmap, and the decoder's side: the
// bitmap checks and the skipping of additions that the schema doesn't know.
//
// A frame's bitOffset word asks for a content that is never empty (an empty
// one becomes the octet 0); its last word asks for copies of the world's
// repeat tag ahead of the length.  Both are the generated code's to set,
// after begin.

#include <utility>

#include "oer.h"

namespace {

using namespace kel::oer;

constexpr int kMsgNotImplemented = 2; // 0002S
constexpr int kMsgNotSupported = 290; // 0338S, the type's name

// Octets of a tag on the wire: one below 256, two below 65536, else three.
constexpr uint32_t tag_octets(uint32_t tag) { return tag < 0x100 ? 1 : tag < 0x10000 ? 2 : 3; }

// The prefix of a content of n octets: `copies` tags of `size` octets each,
// then the length.  Returns its size.
uint32_t build_prefix(unsigned char *out, uint32_t tag, uint32_t copies, uint32_t size, uint32_t n) {
    unsigned char *p = out;
    for (uint32_t i = 0; i < copies; ++i, p += size)
        store_be(p, tag, size);
    return static_cast<uint32_t>(p - out) + length_form(n, p);
}

// The output from a frame's reserved octet to the end, as a run of areas:
// the caller's buffer is one area, the block chain one per block.
struct OutputAreas {
    KelGlobal *world;
    KelOutBlock *block; // null in the caller's buffer
    int index;
    unsigned char *start;
    uint32_t size;

    OutputAreas(KelGlobal *w, const KelPushFrame *frame) : world(w) {
        start = frame->position;
        if (w->userBuffer) {
            block = nullptr;
            size = static_cast<uint32_t>(w->outPos - start);
            return;
        }
        block = frame->block;
        index = static_cast<int>(frame->blockIndex) - 1;
        size = last() ? static_cast<uint32_t>(w->outPos - start) : frame->room;
    }
    bool last() const { return !block || (block == world->outQueueTail && index == block->count - 1); }
    bool next() {
        if (last())
            return false;
        if (++index == KEL_OUTBLOCK_ITEMS) {
            block = block->next;
            index = 0;
        }
        start = static_cast<unsigned char *>(block->items[index]);
        size = last() ? static_cast<uint32_t>(world->outPos - start) : KEL_ENC_BLOCK;
        return true;
    }
};

// Replaces the reserved octet with `prefix` (k + 1 octets) and moves the
// content up by k, into the k octets appended behind it.  The octets that a
// step overwrites travel on in a carry of k octets.
void insert_prefix(KelGlobal *world, const KelPushFrame *frame, const unsigned char *prefix, uint32_t k) {
    OutputAreas area(world, frame);
    if (!area.block) {
        std::memmove(area.start + 1 + k, area.start + 1, area.size - 1 - k);
        std::memcpy(area.start, prefix, k + 1);
        return;
    }
    unsigned char local[3 * 32];
    unsigned char *carry = k <= 32 ? local : static_cast<unsigned char *>(_kel_dec_gettempmem(world, 3 * k));
    unsigned char *spare = carry + k, *held = spare + k;
    area.start[0] = prefix[0];
    std::memcpy(carry, prefix + 1, k);
    unsigned char *p = area.start + 1;
    uint32_t size = area.size - 1;
    for (;;) {
        if (size >= k) {
            std::memcpy(spare, p + size - k, k);
            std::memmove(p + k, p, size - k);
            std::memcpy(p, carry, k);
            std::swap(carry, spare);
        } else if (size) {
            std::memcpy(held, p, size);
            std::memcpy(p, carry, size);
            std::memmove(carry, carry + size, k - size);
            std::memcpy(carry + k - size, held, size);
        }
        if (!area.next())
            break;
        p = area.start;
        size = area.size;
    }
    if (k > 32)
        _kel_dec_freetempmem(world, carry < spare ? carry : spare);
}

} // namespace

extern "C" {

void _kel_oenc_repeat_tag(KelGlobal *world, uint32_t tag) { world->ext->oerRepeatTag = tag; }

void _kel_oenc_begin_ext(KelGlobal *world, KelPushFrame *frame) {
    frame->bitOffset = 0;
    frame->spare = 0;
    if (kel::counting(world)) {
        frame->room = world->encLength;
        return;
    }
    if (world->outRemaining <= 0) {
        world->outPos = _kel_enc_getmem(world);
        world->outRemaining = KEL_ENC_BLOCK;
    }
    frame->position = world->outPos;
    frame->room = static_cast<uint32_t>(world->outRemaining);
    frame->block = world->outQueueTail;
    frame->blockIndex = static_cast<uint32_t>(world->outQueueTail->count);
    if (world->outRemaining == 1 && !world->userBuffer) {
        world->outPos = _kel_enc_getmem(world);
        world->outRemaining = KEL_ENC_BLOCK;
    } else {
        ++world->outPos;
        --world->outRemaining;
    }
}

int32_t _kel_oenc_end_ext(KelGlobal *world, KelPushFrame *frame) {
    const uint32_t copies = frame->spare;
    const bool nonEmpty = frame->bitOffset != 0;
    const uint32_t tag = world->ext->oerRepeatTag;
    const uint32_t tagSize = tag_octets(tag);
    if (kel::counting(world)) {
        const uint32_t n = world->encLength - frame->room;
        uint32_t prefix = n == 0 && nonEmpty ? 2 : 1;
        if (n >= 128)
            prefix += unsigned_octets(n);
        world->encLength += prefix + copies * tagSize;
        return static_cast<int32_t>(n);
    }
    uint32_t n = _kel_oenc_calc_enclen(world, frame) - 1;
    if (n == 0 && nonEmpty) {
        _kel_oenc_append_byte(world, 0);
        n = 1;
    }
    if (n <= 127 && copies == 0) {
        *frame->position = static_cast<unsigned char>(n);
        return static_cast<int32_t>(n);
    }
    unsigned char local[16 + 5];
    const uint32_t tagBytes = copies * tagSize;
    unsigned char *prefix =
        tagBytes > 16 ? static_cast<unsigned char *>(_kel_dec_gettempmem(world, tagBytes + 10)) : local;
    const uint32_t size = build_prefix(prefix, tag, copies, tagSize, n);
    const uint32_t extra = size - 1;
    if (world->outRemaining >= static_cast<int32_t>(extra)) {
        world->outPos += extra;
        world->outRemaining -= static_cast<int32_t>(extra);
    } else {
        _kel_oenc_append_bytes(world, prefix, extra);
    }
    insert_prefix(world, frame, prefix, extra);
    if (prefix != local)
        _kel_dec_freetempmem(world, prefix);
    return static_cast<int32_t>(n);
}

void _kel_oenc_rsf_ext(KelGlobal *world, uint32_t tag, uint32_t length, const unsigned char *bytes) {
    unsigned char head[3 + 5];
    const uint32_t size = tag_octets(tag);
    store_be(head, tag, size);
    put(world, head, size + length_form(length, head + size));
    put(world, bytes, length);
}

void _kel_oenc_rsf_ext_bitmask(KelGlobal *world, const unsigned char *known, uint32_t knownCount,
                               const unsigned char *unknown, uint32_t unknownCount) {
    const uint32_t total = knownCount + unknownCount;
    const uint32_t octets = (total + 7) / 8;
    const uint32_t unused = -total & 7;
    if (octets >= 128) {
        put_length(world, octets + 1);
        _kel_oenc_append_byte(world, unused);
    } else {
        _kel_oenc_append_2bytes(world, octets + 1, unused);
    }
    const uint32_t whole = knownCount / 8, knownTail = knownCount & 7;
    put(world, known, whole);
    const unsigned char lastMask = static_cast<unsigned char>(0xFF00u >> (8 - unused) & 0xFF);
    if (knownTail == 0) {
        // The unknown bits start on an octet of their own.
        const uint32_t rest = (unknownCount + 7) / 8;
        if (rest == 0)
            return;
        put(world, unknown, rest - 1);
        _kel_oenc_append_byte(world, unknown[rest - 1] & lastMask);
        return;
    }
    // The unknown bits are shifted in behind the last known ones.
    const uint32_t shift = knownTail;
    uint32_t octet = known[whole] & (0xFF00u >> shift & 0xFF);
    const uint32_t spanned = (unknownCount + 7) / 8;
    uint32_t left = octets - whole;
    for (uint32_t i = 0; left; --left) {
        const uint32_t next = i < spanned ? unknown[i++] : 0;
        octet |= next >> shift;
        _kel_oenc_append_byte(world, left == 1 ? octet & lastMask : octet);
        octet = next << (8 - shift) & 0xFF;
    }
}

void _kel_oenc_not_supported(KelGlobal *world, uintptr_t, const char *typeName) {
    if (typeName && *typeName)
        _kel_varn_error(world, kMsgNotSupported, typeName);
    fail(world, kMsgNotImplemented);
}

void _kel_odec_not_supported(KelGlobal *world, void *, const char *typeName) {
    if (typeName && *typeName)
        _kel_varn_error(world, kMsgNotSupported, typeName);
    fail(world, kMsgNotImplemented);
}

void _kel_odec_check_eapb(KelGlobal *world, const unsigned char *bits, uint32_t count) {
    if (count == 0)
        fail(world, kMsgMisencoded);
    const uint32_t octets = (count + 7) / 8;
    const unsigned padding = -count & 7;
    if (bits[octets - 1] & ((1u << padding) - 1))
        fail(world, kMsgPaddingBits);
    for (uint32_t i = 0; i < octets; ++i)
        if (bits[i])
            return;
    fail(world, kMsgMisencoded);
}

uint32_t _kel_odec_skip_unknown(KelGlobal *world, const unsigned char *bits, uint32_t first, uint32_t end) {
    uint32_t skipped = 0;
    for (uint32_t i = first; i < end; ++i) {
        if (!(bits[i >> 3] >> (7 - (i & 7)) & 1u))
            continue;
        advance(world, content_length(world));
        skipped = 1;
    }
    return skipped;
}

} // extern "C"
