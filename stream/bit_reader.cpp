// bit_reader.cpp - the forward bit reader of PER and OER: takes bits from the
// world's inPos, high bit first, `bitOffset` bits of that octet consumed;
// `inRemaining` counts the octets left, the partly read one included.
//
// No reader looks past inPos + inRemaining: running out of input is
// message 45.

#include "bitcopy.h"
#include "internal.h"
#include "kelvarn_stream.h"

namespace {

using kel::bits::top_mask;

[[noreturn]] void end_of_input(KelGlobal *world) {
    _kel_enc_error(world, kel::kMsgEndOfInput, 0);
}

// Steps over the rest of a partly read octet under aligned rules.
inline void pad(KelGlobal *world, int32_t align) {
    if (align && world->aligned && world->bitOffset) {
        ++world->inPos;
        --world->inRemaining;
        world->bitOffset = 0;
    }
}

// Moves the reader `count` bits on, after testing that they are there.
inline void advance_bits(KelGlobal *world, uint64_t count) {
    const uint64_t end = static_cast<uint64_t>(world->bitOffset) + count;
    if (world->inRemaining < 0 || static_cast<uint64_t>(world->inRemaining) * 8 < end)
        end_of_input(world);
    world->inPos += end >> 3;
    world->inRemaining -= static_cast<int32_t>(end >> 3);
    world->bitOffset = static_cast<int32_t>(end & 7);
}

// The next `n` (1..8) bits in the high end of the result: a shift inside the
// octet, a step at its end, a step and a merge with the next octet across.
[[gnu::always_inline]] inline uint8_t take_small(KelGlobal *world, uint32_t n) {
    if (world->inRemaining <= 0)
        end_of_input(world);
    const uint32_t offset = static_cast<uint32_t>(world->bitOffset);
    const uint32_t end = offset + n;
    const unsigned char *p = world->inPos;
    uint8_t v = static_cast<uint8_t>(p[0] << offset);
    if (end < 8) {
        world->bitOffset = static_cast<int32_t>(end);
        return v & top_mask(n);
    }
    ++world->inPos;
    --world->inRemaining;
    world->bitOffset = static_cast<int32_t>(end - 8);
    if (end == 8)
        return v & top_mask(n);
    if (world->inRemaining == 0)
        end_of_input(world);
    v = static_cast<uint8_t>(v | p[1] >> (8 - offset));
    return v & top_mask(n);
}

template <uint32_t N> uint8_t get_nbit(KelGlobal *world) {
    static_assert(N >= 1 && N <= 8);
    return take_small(world, N);
}

template <uint32_t N> void skip_nbit(KelGlobal *world) {
    static_assert(N >= 1 && N <= 8);
    advance_bits(world, N);
}

} // namespace

extern "C" {

void _kel_get_bits(KelGlobal *world, void *dest, uint32_t count, int32_t align) {
    if (count == 0)
        return;
    pad(world, align);
    const uint32_t offset = static_cast<uint32_t>(world->bitOffset);
    const unsigned char *src = world->inPos;
    advance_bits(world, count);
    if (offset == 0)
        kel::bits::copy_aligned(static_cast<uint8_t *>(dest), src, count);
    else
        kel::bits::copy_shift_left(static_cast<uint8_t *>(dest), src, offset, count);
}

uint8_t _kel_get_bit(KelGlobal *world, int32_t align) {
    pad(world, align);
    return get_nbit<1>(world);
}

uint8_t _kel_get_octet(KelGlobal *world, int32_t align) {
    pad(world, align);
    return get_nbit<8>(world);
}

uint8_t _kel_get_1bit_unaligned(KelGlobal *world) { return get_nbit<1>(world); }
uint8_t _kel_get_2bit_unaligned(KelGlobal *world) { return get_nbit<2>(world); }
uint8_t _kel_get_3bit_unaligned(KelGlobal *world) { return get_nbit<3>(world); }
uint8_t _kel_get_4bit_unaligned(KelGlobal *world) { return get_nbit<4>(world); }
uint8_t _kel_get_5bit_unaligned(KelGlobal *world) { return get_nbit<5>(world); }
uint8_t _kel_get_6bit_unaligned(KelGlobal *world) { return get_nbit<6>(world); }
uint8_t _kel_get_7bit_unaligned(KelGlobal *world) { return get_nbit<7>(world); }
uint8_t _kel_get_8bit_unaligned(KelGlobal *world) { return get_nbit<8>(world); }

void _kel_skip_bits(KelGlobal *world, uint32_t count, int32_t align) {
    if (count == 0)
        return;
    pad(world, align);
    advance_bits(world, count);
}

void _kel_skip_bit(KelGlobal *world, int32_t align) {
    pad(world, align);
    skip_nbit<1>(world);
}

void _kel_skip_octet(KelGlobal *world, int32_t align) {
    pad(world, align);
    skip_nbit<8>(world);
}

void _kel_skip_octets(KelGlobal *world, uint32_t count, int32_t align) {
    if (count == 0)
        return;
    pad(world, align);
    advance_bits(world, static_cast<uint64_t>(count) * 8);
}

void _kel_skip_1bit_unaligned(KelGlobal *world) { skip_nbit<1>(world); }
void _kel_skip_2bit_unaligned(KelGlobal *world) { skip_nbit<2>(world); }
void _kel_skip_3bit_unaligned(KelGlobal *world) { skip_nbit<3>(world); }
void _kel_skip_4bit_unaligned(KelGlobal *world) { skip_nbit<4>(world); }
void _kel_skip_5bit_unaligned(KelGlobal *world) { skip_nbit<5>(world); }
void _kel_skip_6bit_unaligned(KelGlobal *world) { skip_nbit<6>(world); }
void _kel_skip_7bit_unaligned(KelGlobal *world) { skip_nbit<7>(world); }
void _kel_skip_8bit_unaligned(KelGlobal *world) { skip_nbit<8>(world); }

} // extern "C"
