// bit_writer.cpp - the forward bit writer of PER and OER: appends bits at
// the world's outPos, high bit first, `bitOffset` bits of that octet used.
//
// The writer tests for room at the start of an append or when it steps onto
// a new octet, so an octet may end exactly on the end of a block: the next
// store takes a fresh 1024-octet block.  Unused low bits of the partial octet
// are garbage until a later store; every store into it keeps only its used
// high bits.

#include "bitcopy.h"
#include "internal.h"
#include "kelvarn_stream.h"

namespace {

using kel::bits::top_mask;

void take_block(KelGlobal *world) {
    world->outPos = _kel_enc_getmem(world);
    world->outRemaining = KEL_ENC_BLOCK;
}

// Pads to the next octet boundary under aligned rules.
inline void pad(KelGlobal *world) {
    if (!world->aligned || world->bitOffset == 0)
        return;
    if (kel::counting(world)) {
        world->encLength += 1;
    } else {
        *world->outPos &= top_mask(static_cast<uint32_t>(world->bitOffset));
        ++world->outPos;
        --world->outRemaining;
    }
    world->bitOffset = 0;
}

// Appends the top `n` (1..8) bits of `value`: one merged store inside the
// octet, or a merged store and a whole second store across its end.
[[gnu::always_inline]] inline void append_small(KelGlobal *world, uint8_t value, uint32_t n) {
    const uint32_t offset = static_cast<uint32_t>(world->bitOffset);
    const uint32_t end = offset + n;
    if (kel::counting(world)) {
        world->encLength += end >> 3;
        world->bitOffset = static_cast<int32_t>(end & 7);
        return;
    }
    if (world->outRemaining == 0)
        take_block(world);
    const uint8_t v = value & top_mask(n);
    unsigned char *p = world->outPos;
    *p = static_cast<uint8_t>((*p & top_mask(offset)) | v >> offset);
    if (end < 8) {
        world->bitOffset = static_cast<int32_t>(end);
        return;
    }
    ++world->outPos;
    --world->outRemaining;
    world->bitOffset = static_cast<int32_t>(end - 8);
    if (end == 8)
        return;
    if (world->outRemaining == 0)
        take_block(world);
    *world->outPos = static_cast<uint8_t>(v << (8 - offset));
}

template <uint32_t N> void append_nbit(KelGlobal *world, uint8_t value) {
    static_assert(N >= 1 && N <= 8);
    append_small(world, value, N);
}

// Bits that fit into the current block, more than 8 of them.
void append_in_block(KelGlobal *world, const uint8_t *bits, uint32_t count) {
    const uint32_t offset = static_cast<uint32_t>(world->bitOffset);
    if (offset == 0)
        kel::bits::copy_aligned(world->outPos, bits, count);
    else
        kel::bits::copy_shift_right(world->outPos, offset, bits, count);
    const uint32_t end = offset + count;
    world->outPos += end >> 3;
    world->outRemaining -= static_cast<int32_t>(end >> 3);
    world->bitOffset = static_cast<int32_t>(end & 7);
}

// Bits that don't fit: fill the rest of the block, then fresh blocks.  After
// the first fill the source stands `shift` bits into an octet and every
// destination block starts on an octet boundary.
void append_across(KelGlobal *world, const uint8_t *bits, uint32_t count) {
    uint32_t shift = 0;
    if (world->outRemaining > 0) {
        const uint32_t offset = static_cast<uint32_t>(world->bitOffset);
        const uint32_t room = static_cast<uint32_t>(world->outRemaining) * 8 - offset;
        if (offset == 0)
            kel::bits::copy_aligned(world->outPos, bits, room);
        else
            kel::bits::copy_shift_right(world->outPos, offset, bits, room);
        bits += room >> 3;
        shift = room & 7;
        count -= room;
    }
    constexpr uint32_t kBlockBits = KEL_ENC_BLOCK * 8;
    for (;;) {
        take_block(world);
        world->bitOffset = 0;
        const uint32_t chunk = count < kBlockBits ? count : kBlockBits;
        if (shift == 0)
            kel::bits::copy_aligned(world->outPos, bits, chunk);
        else
            kel::bits::copy_shift_left(world->outPos, bits, shift, chunk);
        world->outPos += chunk >> 3;
        world->outRemaining -= static_cast<int32_t>(chunk >> 3);
        world->bitOffset = static_cast<int32_t>(chunk & 7);
        count -= chunk;
        if (count == 0)
            return;
        bits += KEL_ENC_BLOCK;
    }
}

} // namespace

extern "C" {

void _kel_append(KelGlobal *world, const unsigned char *bits, uint32_t count, int32_t align) {
    if (count == 0)
        return;
    if (align)
        pad(world);
    if (count <= 8) {
        append_small(world, bits[0], count);
        return;
    }
    if (kel::counting(world)) {
        const uint64_t end = static_cast<uint64_t>(world->bitOffset) + count;
        world->encLength += static_cast<uint32_t>(end >> 3);
        world->bitOffset = static_cast<int32_t>(end & 7);
        return;
    }
    const int64_t room = static_cast<int64_t>(world->outRemaining) * 8 - world->bitOffset;
    if (room >= count) [[likely]]
        append_in_block(world, bits, count);
    else
        append_across(world, bits, count);
}

void _kel_append_1bit_unaligned(KelGlobal *world, uint8_t value) { append_nbit<1>(world, value); }
void _kel_append_2bit_unaligned(KelGlobal *world, uint8_t value) { append_nbit<2>(world, value); }
void _kel_append_3bit_unaligned(KelGlobal *world, uint8_t value) { append_nbit<3>(world, value); }
void _kel_append_4bit_unaligned(KelGlobal *world, uint8_t value) { append_nbit<4>(world, value); }
void _kel_append_5bit_unaligned(KelGlobal *world, uint8_t value) { append_nbit<5>(world, value); }
void _kel_append_6bit_unaligned(KelGlobal *world, uint8_t value) { append_nbit<6>(world, value); }
void _kel_append_7bit_unaligned(KelGlobal *world, uint8_t value) { append_nbit<7>(world, value); }
void _kel_append_8bit_unaligned(KelGlobal *world, uint8_t value) { append_nbit<8>(world, value); }

void _kel_append_8bit_aligned(KelGlobal *world, uint8_t value) {
    pad(world);
    append_nbit<8>(world, value);
}

} // extern "C"
