// bit_fields.cpp - the slow half of the family's bit-field reader: fields
// wider than one load holds at every offset, and fields in the last eight
// octets of the input, which must not be loaded a word at a time.  The fast
// half is get_bits in per.h.

#include "per.h"

namespace kel::per {

uint64_t get_bits_slow(KelGlobal *world, uint32_t n) {
    if (n == 0)
        return 0;
    need_bits(world, n);
    const uint32_t offset = static_cast<uint32_t>(world->bitOffset);
    const unsigned char *p = world->inPos;
    // Nine octets hold 64 bits at any offset; only those the field reaches
    // are read.
    const uint32_t end = offset + n;
    const uint32_t touched = (end + 7) >> 3;
    unsigned char octets[9] = {};
    std::memcpy(octets, p, touched);
    uint64_t word = bits::load_be64(octets) << offset;
    if (offset)
        word |= static_cast<uint64_t>(octets[8]) >> (8 - offset);
    world->inPos += end >> 3;
    world->inRemaining -= static_cast<int32_t>(end >> 3);
    world->bitOffset = static_cast<int32_t>(end & 7);
    return n == 64 ? word : word >> (64 - n);
}

} // namespace kel::per
