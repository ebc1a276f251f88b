// per.h - what the PER family's sources share: bit fields of up to 64 bits
// written and read word at a time, alignment of both cursors, the decoding
// modes (relaxed, strict), the fragment node of collecting decoders, the
// grouping check of fragments and the message numbers by their own names.
//
// Writers keep the invariant of the stream's writer: outPos is the current
// octet, bitOffset bits of it used, outRemaining the octets left in the block
// counting the current one; the unused low bits of the current octet are
// garbage until a store merges into it.  Readers test the input before they
// touch it: inRemaining counts the octets left, the partly read one included.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "bitcopy.h"
#include "internal.h"
#include "kelvarn_per.h"

namespace kel::per {

// Message numbers (rows of kelErrMsgs) raised by the family.
enum : int {
    kMsgOutOfMemory = 6,           // 0008S, bytes requested
    kMsgIntTooLong = 10,           // 0023E, 32-bit value
    kMsgIntTooLongLl = 11,         // 0023E, 64-bit value
    kMsgRangeViolatedHex = 25,     // 0062S, huge value in hexadecimal
    kMsgSizeViolated = 27,         // 0063S
    kMsgBadCharacter = 29,         // 0064S
    kMsgNotEnumerated = 36,        // 0071S
    kMsgEndOfInput = 45,           // 0081S
    kMsgSizeExceeded = 79,         // 0016S
    kMsgOpenTypeEmpty = 82,        // 0090E
    kMsgUtf8Convert = 87,          // 0119S, position
    kMsgIntNeedlesslyLong = 95,    // 0022E
    kMsgMisencoded = 106,          // 0037E
    kMsgUtf8Sequence = 135,        // 0120S
    kMsgIntLengthTooLong = 148,    // 0144E, length
    kMsgNotGrouped = 255,          // 0258E
    kMsgTimeFragments = 259,       // 0262S
};

// Compatibility bits of KelWorldExt::compatFlags that the family honours.
constexpr uint32_t kCompatExtendedOwnCode = 0x1000; // extended strings: 8/16/32 bits, own code
constexpr uint32_t kCompatTimeOctets = 0x2000;      // time strings: 8 bits a character

// The largest fragment and the unit of fragments, in items.
constexpr uint32_t kFragmentUnit = 16384;
constexpr uint32_t kFragmentMax = 65536;

inline bool relaxed(const KelGlobal *world) { return (world->modeBits & KEL_MODE_RELAXED) != 0; }
inline bool strict(const KelGlobal *world) {
    return (world->decodingFlags & STRICT_ENCODING_DECODING_RULES) != 0;
}

[[noreturn]] inline void fail(KelGlobal *world, int message, uint32_t value = 0) {
    _kel_enc_error(world, message, value);
}
[[noreturn]] inline void end_of_input(KelGlobal *world) { fail(world, kMsgEndOfInput); }

// ---------------------------------------------------------------------------
// Writing
// ---------------------------------------------------------------------------

// Pads the writer to an octet boundary in aligned PER; padding is zero.
inline void align_writer(KelGlobal *world) {
    if (!world->aligned || world->bitOffset == 0)
        return;
    if (counting(world)) {
        world->encLength += 1;
    } else {
        *world->outPos &= bits::top_mask(static_cast<uint32_t>(world->bitOffset));
        ++world->outPos;
        --world->outRemaining;
    }
    world->bitOffset = 0;
}

// Appends the low `n` (0..64) bits of `value`, high bit first.  Inside a
// block with eight octets of room this is one shift and one store.
inline void put_bits(KelGlobal *world, uint64_t value, uint32_t n) {
    if (n == 0)
        return;
    const uint32_t offset = static_cast<uint32_t>(world->bitOffset);
    const uint32_t end = offset + n;
    if (counting(world)) {
        world->encLength += end >> 3;
        world->bitOffset = static_cast<int32_t>(end & 7);
        return;
    }
    const uint64_t field = n == 64 ? value : value << (64 - n); // left-justified
    if (end <= 64 && world->outRemaining >= 8) [[likely]] {
        unsigned char *p = world->outPos;
        const uint64_t kept = static_cast<uint64_t>(p[0] & bits::top_mask(offset)) << 56;
        bits::store_be64(p, kept | field >> offset);
        world->outPos = p + (end >> 3);
        world->outRemaining -= static_cast<int32_t>(end >> 3);
        world->bitOffset = static_cast<int32_t>(end & 7);
        return;
    }
    unsigned char octets[8];
    bits::store_be64(octets, field);
    _kel_append(world, octets, n, 0);
}

// ---------------------------------------------------------------------------
// Reading
// ---------------------------------------------------------------------------

// Steps the reader to an octet boundary in aligned PER, without looking at
// the skipped bits.
inline void align_reader(KelGlobal *world) {
    if (world->aligned && world->bitOffset) {
        ++world->inPos;
        --world->inRemaining;
        world->bitOffset = 0;
    }
}

// Fails unless `n` more bits are in the input.  A negative inRemaining
// (nothing left) fails too: the product is signed.
inline void need_bits(KelGlobal *world, uint64_t n) {
    const int64_t have = static_cast<int64_t>(world->inRemaining) * 8 - world->bitOffset;
    if (have < 0 || static_cast<uint64_t>(have) < n)
        end_of_input(world);
}

// get_bits for fields beyond one 64-bit load or near the end of the input.
uint64_t get_bits_slow(KelGlobal *world, uint32_t n);

// Takes the next `n` (0..64) bits as a number.  A field of up to 57 bits with
// eight octets of input left is one load and two shifts: the load holds the
// field at any offset, and eight octets are more than the field needs, so the
// input test is the test for the load.
[[gnu::always_inline]] inline uint64_t get_bits(KelGlobal *world, uint32_t n) {
    if (n <= 57 && world->inRemaining >= 8) [[likely]] {
        const uint32_t offset = static_cast<uint32_t>(world->bitOffset);
        const uint64_t word = bits::load_be64(world->inPos) << offset;
        const uint32_t end = offset + n;
        world->inPos += end >> 3;
        world->inRemaining -= static_cast<int32_t>(end >> 3);
        world->bitOffset = static_cast<int32_t>(end & 7);
        return word >> (63 - n) >> 1; // n 0 gives 0
    }
    return get_bits_slow(world, n);
}

// Reads `count` bits into `dest`, high bit first, after testing that they
// are there; the unused low bits of the last octet come out zero.  The
// stream's _kel_get_bits without the call and the padding.  Short fields
// (the fixed octet strings, most strings) off an octet boundary move seven
// octets a load; aligned ones are a block copy.
inline void read_bits(KelGlobal *world, unsigned char *dest, uint32_t count) {
    if (count == 0)
        return;
    need_bits(world, count);
    const uint32_t offset = static_cast<uint32_t>(world->bitOffset);
    const unsigned char *src = world->inPos;
    const unsigned char *const end = src + world->inRemaining;
    const uint64_t stop = uint64_t{offset} + count;
    world->inPos += stop >> 3;
    world->inRemaining -= static_cast<int32_t>(stop >> 3);
    world->bitOffset = static_cast<int32_t>(stop & 7);
    if (offset == 0) {
        bits::copy_aligned(dest, src, count);
        return;
    }
    if (count <= 256) {
        // Eight octets from src hold 57 bits at any offset.
        while (end - src >= 8) {
            uint64_t word = bits::load_be64(src) << offset;
            if (count < 56) {
                word &= ~uint64_t{0} << (64 - count);
                for (uint32_t j = 0; j < (count + 7) >> 3; ++j, word <<= 8)
                    dest[j] = static_cast<unsigned char>(word >> 56);
                return;
            }
            for (uint32_t j = 0; j < 7; ++j, word <<= 8)
                dest[j] = static_cast<unsigned char>(word >> 56);
            src += 7;
            dest += 7;
            count -= 56;
            if (count == 0)
                return;
        }
    }
    bits::copy_shift_left(dest, src, offset, count);
}

// The rest of an unconstrained length determinant whose first octet `b` has
// its high bit set: the second octet of a length up to 16383, or the count of
// a fragment octet.
uint32_t read_long_length(KelGlobal *world, uint32_t b, uint8_t *last);

// Reads a length determinant with the bounds lb, ub: the unconstrained form
// (aligned in aligned PER) when ub is 0 or 64K and more, else the
// constrained field of the range, which needs no bits for lb = ub.  *last
// goes to 0 when a further determinant follows the items.
[[gnu::always_inline]] inline uint32_t read_length(KelGlobal *world, uint32_t lb, uint32_t ub, uint8_t *last) {
    if (ub == 0 || ub >= 65536) {
        align_reader(world);
        const uint32_t b = static_cast<uint32_t>(get_bits(world, 8));
        if (b < 128) [[likely]] {
            *last = 1;
            return b;
        }
        return read_long_length(world, b, last);
    }
    const uint32_t span = ub - lb;
    *last = 1;
    if (span == 0)
        return lb;
    uint32_t width;
    if (span < 255) {
        width = static_cast<uint32_t>(std::bit_width(span));
    } else if (span == 255) {
        align_reader(world);
        width = 8;
    } else if (world->aligned) {
        align_reader(world);
        width = 16;
    } else {
        // lb above ub makes a wide span; the field never has more than 16 bits.
        width = std::min<uint32_t>(static_cast<uint32_t>(std::bit_width(span)), 16);
    }
    return static_cast<uint32_t>(get_bits(world, width)) + lb;
}

// The reader's three cursors, to walk the same determinants twice or to come
// back behind a value.
struct ReadMark {
    unsigned char *pos;
    int32_t remaining;
    int32_t offset;
};

inline ReadMark read_mark(const KelGlobal *world) {
    return {world->inPos, world->inRemaining, world->bitOffset};
}

inline void rewind(KelGlobal *world, const ReadMark &mark) {
    world->inPos = mark.pos;
    world->inRemaining = mark.remaining;
    world->bitOffset = mark.offset;
}

// Steps over `octets` whole octets from the read pointer, leaving the bit
// offset as it is.
inline void skip_octets_in_place(KelGlobal *world, uint32_t octets) {
    if (world->inRemaining < 0 || static_cast<uint32_t>(world->inRemaining) < octets ||
        (world->bitOffset && static_cast<uint32_t>(world->inRemaining) == octets && octets))
        end_of_input(world);
    world->inPos += octets;
    world->inRemaining -= static_cast<int32_t>(octets);
}

// ---------------------------------------------------------------------------
// Fragments
// ---------------------------------------------------------------------------

// A fragment collected by a decoder, node and data both in temporary memory.
struct FragmentNode {
    FragmentNode *next;
    FragmentNode *previous;
    uint32_t size;
    unsigned char *data;
};

// Under STRICT_ENCODING_DECODING_RULES a non-final fragment may follow only a
// fragment of 64K items: fragments run from the largest down.  `previous` is
// the size of the fragment before, 0 when there was none.
inline void check_grouping(KelGlobal *world, uint32_t previous, uint32_t length, uint8_t last) {
    if (strict(world) && length && !last && previous && previous < kFragmentMax)
        fail(world, kMsgNotGrouped);
}

} // namespace kel::per
