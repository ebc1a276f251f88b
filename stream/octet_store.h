// octet_store.h - the store steps of the octet writers: the backward (BER)
// writer's, shared by the raw octet writers and the tag, length and value
// writers that assemble their octets in a stack array first, and the
// forward writer's path across block ends, shared by OER and JSON.
//
// `pos` points at the octet last written, `rem` counts the free octets below
// it.  A writer that has run out of room takes a fresh 1024-octet block and
// goes on at its top; in a caller's buffer _kel_enc_getmem reports message 1.
#pragma once

#include <cstdint>
#include <cstring>

#include "internal.h"
#include "kelvarn_prim.h"

namespace kel {

// Stores `n` octets that don't fit below `*pos`: the end of `src` fills what
// is left of the current block, the rest goes to fresh blocks.
void put_below_across(KelGlobal *world, unsigned char **pos, int32_t *rem,
                      const unsigned char *src, uint32_t n);

// Appends `n` octets that don't fit in the room left at the world's outPos:
// what fits, then fresh 1024-octet blocks (in a caller's buffer,
// _kel_enc_getmem reports message 1).
void put_after_across(KelGlobal *world, const unsigned char *src, uint32_t n);

// Stores `src[0..n)` immediately below `*pos`, in that order.
inline void put_below(KelGlobal *world, unsigned char **pos, int32_t *rem,
                      const unsigned char *src, uint32_t n) {
    if (*rem >= static_cast<int32_t>(n)) [[likely]] {
        *pos -= n;
        std::memcpy(*pos, src, n);
        *rem -= static_cast<int32_t>(n);
    } else {
        put_below_across(world, pos, rem, src, n);
    }
}

// What every backward writer ends with: store the assembled octets, or in
// count mode only count them.  Returns `n`.
inline int emit_below(KelGlobal *world, unsigned char **pos, int32_t *rem,
                      const unsigned char *src, uint32_t n) {
    if (counting(world))
        world->encLength += n;
    else
        put_below(world, pos, rem, src, n);
    return static_cast<int>(n);
}

// A stack array that is filled from its end towards its start, so that the
// octets nearest to the value are assembled first; `data()` and `size()`
// describe the assembled octets in wire order.
template <uint32_t Capacity> struct BackwardOctets {
    unsigned char buf[Capacity];
    unsigned char *head = buf + Capacity;
    void push(uint32_t octet) { *--head = static_cast<unsigned char>(octet); }
    const unsigned char *data() const { return head; }
    uint32_t size() const { return static_cast<uint32_t>(buf + Capacity - head); }
};

} // namespace kel
