// char_string_forms.h - what the character string sources of the PER family
// share: the descriptor's reading for the world's variant, the run-based
// packer and unpacker of fixed-width character codes, the length loop of the
// encoders and the two collecting loops of the decoders (into a buffer the
// caller owns, or into one block of decoder memory).
//
// Nothing here owns memory beyond the world's lists: fragments of collecting
// decoders are FragmentNodes on the temporary stack.
#pragma once

#include <cstdint>
#include <cstring>

#include "per.h"

namespace kel::per::strings {

constexpr uint32_t kExtensionState = 0x80;   // bit of the encoders' extension byte
constexpr uint32_t kQuestionMark = 63;       // reported for an index outside the alphabet
constexpr uint32_t kNoCharacter = 0x10FFFD; // what kelCharByIndex gives for a bad index

// Bits a character and whether characters go out as their own code.
struct CharForm {
    uint32_t bits;
    bool own;
};

[[gnu::always_inline]] inline CharForm char_form(const KelGlobal *world, uint32_t flags) {
    if (world->aligned)
        return {KEL_PER_BITS_ALIGNED(flags), (flags & KEL_PER_OWN_CODE_ALIGNED) != 0};
    return {KEL_PER_BITS_UNALIGNED(flags), (flags & KEL_PER_OWN_CODE_UNALIGNED) != 0};
}

inline bool compat(const KelGlobal *world, uint32_t bit) {
    return world->ext && (world->ext->compatFlags & bit) != 0;
}

// A usable size constraint: ub 0, or lb above ub, means none.
inline bool size_bounded(const KelPerString *desc) { return desc->ub != 0 && desc->lb <= desc->ub; }

// Fixed size without a length: lb = ub below 64K, value inside the root.
inline bool fixed_size(const KelPerString *desc, bool extended) {
    return !extended && size_bounded(desc) && desc->lb == desc->ub && desc->ub < kFragmentMax;
}

// Characters behind a length determinant start on an octet in aligned PER
// when the largest string takes 16 bits or more (X.691 leaves shorter ones
// unaligned), when the string is extended, and when no size bound exists.
inline bool align_after_length(const KelPerString *desc, uint32_t bits, bool extended) {
    return extended || !size_bounded(desc) || static_cast<uint64_t>(bits) * desc->ub >= 16;
}

// ---------------------------------------------------------------------------
// Packing
// ---------------------------------------------------------------------------

// Writes `count` codes of `bits` (1..32) bits, code(i) giving the i-th.  Codes
// go out in groups that fill up to 56 bits, one 64-bit store a group; the
// number of groups that fit into the block is worked out once per block, and
// only the last few codes of a block (or of the string) go through put_bits,
// which also changes blocks under a code that straddles the block end.
template <class Code> void pack_codes(KelGlobal *world, uint32_t count, uint32_t bits, Code code) {
    if (count == 0 || bits == 0)
        return;
    if (counting(world)) {
        const uint64_t end = static_cast<uint64_t>(world->bitOffset) + static_cast<uint64_t>(count) * bits;
        world->encLength += static_cast<uint32_t>(end >> 3);
        world->bitOffset = static_cast<int32_t>(end & 7);
        return;
    }
    const uint64_t mask = (uint64_t{1} << bits) - 1;
    const uint32_t perGroup = 56 / bits;
    const uint32_t groupBits = perGroup * bits;
    uint32_t i = 0;
    while (i < count) {
        const int32_t room = world->outRemaining;
        if (room >= 8 && count - i >= perGroup) {
            unsigned char *p = world->outPos;
            uint32_t offset = static_cast<uint32_t>(world->bitOffset);
            // The store of group j starts (offset + j * groupBits) / 8 octets
            // on and needs eight octets of the block.
            const uint64_t fit = ((static_cast<uint64_t>(room) - 8) * 8 + 7 - offset) / groupBits + 1;
            const uint64_t wanted = (count - i) / perGroup;
            const uint32_t groups = static_cast<uint32_t>(fit < wanted ? fit : wanted);
            for (uint32_t g = 0; g < groups; ++g) {
                uint64_t word = 0;
                for (uint32_t k = 0; k < perGroup; ++k)
                    word = word << bits | (code(i + k) & mask);
                i += perGroup;
                const uint64_t kept = static_cast<uint64_t>(p[0] & bits::top_mask(offset)) << 56;
                bits::store_be64(p, kept | (word << (64 - groupBits)) >> offset);
                const uint32_t end = offset + groupBits;
                p += end >> 3;
                offset = end & 7;
            }
            world->outRemaining -= static_cast<int32_t>(p - world->outPos);
            world->outPos = p;
            world->bitOffset = static_cast<int32_t>(offset);
        }
        if (i < count) {
            put_bits(world, code(i) & mask, bits);
            ++i;
        }
    }
}

// Reads `count` codes of `Bits` bits (`bits` when Bits is 0; 1..32) and
// hands each to sink(i, code).  The input is tested once for the whole run.
// Every round takes one 64-bit load and as many codes as fill 56 bits of it
// (eight 7-bit characters); within the last eight octets of the input the
// load comes from a copy of what is left, so nothing past the input is read.
template <uint32_t Bits, class Sink>
[[gnu::always_inline]] inline void unpack_run(KelGlobal *world, uint32_t count, uint32_t bits, Sink sink) {
    if constexpr (Bits != 0)
        bits = Bits;
    need_bits(world, static_cast<uint64_t>(count) * bits);
    unsigned char *const start = world->inPos;
    const unsigned char *const end = start + world->inRemaining;
    unsigned char *p = start;
    uint32_t offset = static_cast<uint32_t>(world->bitOffset);
    const uint32_t perRound = 56 / bits;
    uint32_t i = 0;
    while (i < count) {
        uint64_t word;
        if (end - p >= 8) [[likely]] {
            word = bits::load_be64(p);
        } else {
            unsigned char tail[8] = {};
            std::memcpy(tail, p, static_cast<size_t>(end - p));
            word = bits::load_be64(tail);
        }
        word <<= offset;
        const uint32_t take = count - i < perRound ? count - i : perRound;
        if (take == perRound) [[likely]] {
#pragma GCC unroll 8
            for (uint32_t k = 0; k < perRound; ++k, word <<= bits)
                sink(i + k, static_cast<uint32_t>(word >> (64 - bits)));
        } else {
            for (uint32_t k = 0; k < take; ++k, word <<= bits)
                sink(i + k, static_cast<uint32_t>(word >> (64 - bits)));
        }
        i += take;
        const uint32_t stop = offset + take * bits;
        p += stop >> 3;
        offset = stop & 7;
    }
    world->inRemaining -= static_cast<int32_t>(p - start);
    world->inPos = p;
    world->bitOffset = static_cast<int32_t>(offset);
}

// unpack_run for any width, with the 7 bits of the unaligned known-multiplier
// strings unrolled.
template <class Sink> void unpack_codes(KelGlobal *world, uint32_t count, uint32_t bits, Sink sink) {
    if (count == 0 || bits == 0)
        return;
    if (bits == 7)
        unpack_run<7>(world, count, bits, sink);
    else
        unpack_run<0>(world, count, bits, sink);
}

// ---------------------------------------------------------------------------
// Encoding
// ---------------------------------------------------------------------------

// Writes the size part of a known-multiplier, BMP or universal string and
// its characters through write(first, count): no length for a fixed size,
// else the determinants, fragmenting a long string into 64K, 48K, 32K or 16K
// pieces that end with an empty determinant when the last piece was one.
template <class Write>
void encode_sized(KelGlobal *world, uint32_t length, const KelPerString *desc, bool extended,
                  uint32_t bits, Write write) {
    if (fixed_size(desc, extended)) {
        if (static_cast<uint64_t>(bits) * desc->ub > 16)
            align_writer(world);
        write(0, length);
        return;
    }
    const bool bounded = size_bounded(desc);
    const uint32_t lb = bounded ? desc->lb : 0;
    const uint32_t ub = bounded ? desc->ub : 0;
    const uint8_t unconstrained = extended || !bounded;
    if (length == 0) {
        _kel_penc_length_l(world, 0, lb, ub, unconstrained);
        return;
    }
    const bool align = align_after_length(desc, bits, extended);
    uint32_t done = 0;
    uint32_t covered = 0;
    while (done < length) {
        covered = _kel_penc_length_l(world, length - done, lb, ub, unconstrained);
        if (align)
            align_writer(world);
        write(done, covered);
        done += covered;
    }
    // Only a fragment determinant covers 16K or more.
    if (covered >= kFragmentUnit)
        _kel_append_8bit_aligned(world, 0);
}

// ---------------------------------------------------------------------------
// Decoding
// ---------------------------------------------------------------------------

// Bounds for the decoders' determinants: none once the extension bit was 1
// or when the type has no size constraint.
struct LengthBounds {
    uint32_t lb;
    uint32_t ub;
};

inline LengthBounds loop_bounds(const KelPerString *desc, bool extended) {
    if (extended || !size_bounded(desc))
        return {0, 0};
    return {desc->lb, desc->ub};
}

// Reads the determinants and characters of a string into `out`, a buffer of
// `limit` characters; read(dest, n) reads n characters.  A total above the
// limit fails with `overMessage`; a time string must come in one piece.
template <class Unit, class Read>
uint32_t collect_in_place(KelGlobal *world, Unit *out, LengthBounds bounds, uint32_t limit,
                          int overMessage, bool timeString, Read read) {
    uint8_t last = 0;
    uint32_t total = 0;
    uint32_t previous = 0;
    do {
        const uint32_t n = read_length(world, bounds.lb, bounds.ub, &last);
        if (n == 0)
            continue;
        check_grouping(world, previous, n, last);
        if (timeString && !last)
            fail(world, kMsgTimeFragments);
        if (n > limit - total)
            fail(world, overMessage, total + n);
        read(out + total, n);
        total += n;
        previous = n;
    } while (!last);
    return total;
}

// Block of decoder memory of `header` octets and `units` characters, with
// the sizes tested against overflow.
template <class Unit>
unsigned char *final_block(KelGlobal *world, uint32_t header, uint64_t units) {
    const uint64_t bytes = header + units * sizeof(Unit);
    if (bytes > 0xFFFFFFF0u)
        fail(world, kMsgOutOfMemory, 0xFFFFFFFFu);
    return static_cast<unsigned char *>(_kel_dec_getmem_internal(world, static_cast<uint32_t>(bytes)));
}

// Reads the determinants and characters of a string into one block of
// decoder memory: `header` octets, the characters, `extra` more characters
// of room.  The block is taken when the last determinant arrives and that
// piece is read straight into its place; earlier pieces wait in fragment
// nodes on the temporary stack and are copied in front of it.  A total of 0
// takes no block unless `alwaysBlock`.  No piece is taken before the input
// holds the `unitBits` bits a character of what it announces.  Returns the
// block, or null.  `n` and `last` are the first determinant, already read.
template <class Unit, class Read>
unsigned char *collect_fragments(KelGlobal *world, LengthBounds bounds, uint32_t header, uint32_t extra,
                                 bool alwaysBlock, bool timeString, uint32_t unitBits, uint32_t *count,
                                 uint32_t n, uint8_t last, Read read) {
    FragmentNode *first = nullptr;
    FragmentNode *tail = nullptr;
    uint32_t total = 0;
    for (;;) {
        check_grouping(world, tail ? tail->size : 0, n, last);
        if (n > 0xFFFFFFFFu - total)
            fail(world, kMsgOutOfMemory, 0xFFFFFFFFu);
        need_bits(world, uint64_t{n} * unitBits);
        if (last) {
            const uint32_t all = total + n;
            unsigned char *block = nullptr;
            if (all || alwaysBlock) {
                block = final_block<Unit>(world, header, static_cast<uint64_t>(all) + extra);
                Unit *chars = reinterpret_cast<Unit *>(block + header);
                for (FragmentNode *node = first; node; node = node->next) {
                    std::memcpy(chars, node->data, node->size * sizeof(Unit));
                    chars += node->size;
                }
                read(chars, n);
            }
            if (first)
                _kel_dec_freetempmem(world, first); // frees every node after it too
            *count = all;
            return block;
        }
        if (n != 0) {
            if (timeString)
                fail(world, kMsgTimeFragments);
            auto *node = static_cast<FragmentNode *>(_kel_dec_gettempmem(world, sizeof(FragmentNode)));
            node->next = nullptr;
            node->previous = tail;
            node->size = n;
            node->data = static_cast<unsigned char *>(_kel_dec_gettempmem(world, n * sizeof(Unit)));
            if (tail)
                tail->next = node;
            else
                first = node;
            tail = node;
            read(reinterpret_cast<Unit *>(node->data), n);
            total += n;
        }
        n = read_length(world, bounds.lb, bounds.ub, &last);
    }
}

// collect_fragments with the usual case in line: a single determinant, whose
// characters go straight into the block.
template <class Unit, class Read>
[[gnu::always_inline]] inline unsigned char *
collect_allocated(KelGlobal *world, LengthBounds bounds, uint32_t header, uint32_t extra, bool alwaysBlock,
                  bool timeString, uint32_t unitBits, uint32_t *count, Read read) {
    uint8_t last = 0;
    const uint32_t n = read_length(world, bounds.lb, bounds.ub, &last);
    if (!last) [[unlikely]]
        return collect_fragments<Unit>(world, bounds, header, extra, alwaysBlock, timeString, unitBits, count, n,
                                       last, read);
    need_bits(world, uint64_t{n} * unitBits);
    *count = n;
    if (n == 0 && !alwaysBlock)
        return nullptr;
    unsigned char *block = final_block<Unit>(world, header, uint64_t{n} + extra);
    read(reinterpret_cast<Unit *>(block + header), n);
    return block;
}

} // namespace kel::per::strings
