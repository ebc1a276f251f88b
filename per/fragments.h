// fragments.h - what bit strings and octet strings share: fixed fields,
// the fragment loop of the writer, the reader into a buffer of known
// capacity, and the two walks of the allocating readers (size the value
// first, take one block, read again).
//
// A unit is one bit or one octet; `Unit` is its width in bits, so a
// fragment of k units is k * Unit bits on the wire.  Every fragment but the
// last is a multiple of 16K units, so a following fragment always starts on
// an octet of the output.
#pragma once

#include <cstdint>
#include <cstring>

#include "per.h"

namespace kel::per {

// Octets that hold `units` units.
template <uint32_t Unit> constexpr uint64_t unit_octets(uint64_t units) { return (units * Unit + 7) >> 3; }

// Octet of the output at which the unit `units` begins.
template <uint32_t Unit> constexpr uint64_t unit_index(uint64_t units) { return (units * Unit) >> 3; }

// ---------------------------------------------------------------------------
// Fixed fields: no length, up to 16 bits where they stand, more aligned.
// ---------------------------------------------------------------------------

// Writes the first `bits` bits of `bytes`.  Up to 16 bits are one bit field
// at the current offset; up to 8191 bits are copied inline when the block
// holds them; longer runs and block ends go through the stream's writer.
// The bits behind the last valid one never reach the output.
inline void put_field(KelGlobal *world, const unsigned char *bytes, uint32_t bits) {
    if (bits <= 16) {
        if (bits == 0)
            return;
        uint32_t word = static_cast<uint32_t>(bytes[0]) << 8;
        if (bits > 8)
            word |= bytes[1];
        put_bits(world, word >> (16 - bits), bits);
        return;
    }
    if (bits >= 8192 || counting(world)) {
        _kel_append(world, bytes, bits, 1);
        return;
    }
    align_writer(world);
    const uint32_t offset = static_cast<uint32_t>(world->bitOffset);
    if (static_cast<int64_t>(world->outRemaining) * 8 - offset < bits) {
        _kel_append(world, bytes, bits, 0);
        return;
    }
    unsigned char *p = world->outPos;
    if (offset == 0)
        bits::copy_aligned(p, bytes, bits);
    else
        bits::copy_shift_right(p, offset, bytes, bits);
    const uint32_t end = offset + bits;
    world->outPos = p + (end >> 3);
    world->outRemaining -= static_cast<int32_t>(end >> 3);
    world->bitOffset = static_cast<int32_t>(end & 7);
}

// Reads a fixed field of `bits` bits into `out`, mirroring put_field.  The
// unused low bits of the last octet come out zero.
inline void get_field(KelGlobal *world, unsigned char *out, uint32_t bits) {
    if (bits <= 16) {
        if (bits == 0)
            return;
        const uint32_t word = static_cast<uint32_t>(get_bits(world, bits)) << (16 - bits);
        out[0] = static_cast<unsigned char>(word >> 8);
        if (bits > 8)
            out[1] = static_cast<unsigned char>(word);
        return;
    }
    align_reader(world);
    read_bits(world, out, bits);
}

// ---------------------------------------------------------------------------
// Writing fragments
// ---------------------------------------------------------------------------

// Writes `n` units as unconstrained determinants and their content: each
// determinant covers what it can, and a value of 16K units or more whose
// last determinant covered a multiple of 16K gets the closing empty one.
template <uint32_t Unit, class Count>
void put_fragments(KelGlobal *world, const unsigned char *bytes, Count n) {
    Count left = n;
    for (;;) {
        Count covered;
        if constexpr (sizeof(Count) == 8)
            covered = _kel_penc_lfrag_ll(world, left);
        else
            covered = _kel_penc_lfrag(world, left);
        _kel_append(world, bytes, static_cast<uint32_t>(covered) * Unit, 1);
        if (covered == left)
            break;
        left -= covered;
        bytes += unit_index<Unit>(covered);
    }
    if (n >= kFragmentUnit && (left & (kFragmentUnit - 1)) == 0)
        _kel_append_8bit_aligned(world, 0);
}

// ---------------------------------------------------------------------------
// Reading into a buffer of known capacity
// ---------------------------------------------------------------------------

// How a reader tells the fragment before for the grouping check.
enum class Grouping : uint8_t {
    kPrevious, // the determinant just before
    kFirst,    // always the first determinant
};

// Reads determinants with the bounds lb, ub and their content into `out`
// until the last.  The running total is tested against `capacity` before
// each read; exceeding it raises `message` with the total it would reach.
template <uint32_t Unit, Grouping grouping = Grouping::kPrevious>
uint32_t get_into(KelGlobal *world, unsigned char *out, uint32_t lb, uint32_t ub, uint64_t capacity,
                  int message) {
    uint64_t total = 0;
    uint32_t previous = 0;
    uint8_t last = 0;
    for (;;) {
        const uint32_t length = read_length(world, lb, ub, &last);
        check_grouping(world, previous, length, last);
        if (total + length > capacity)
            fail(world, message, static_cast<uint32_t>(total + length));
        _kel_get_bits(world, out + unit_index<Unit>(total), length * Unit, 1);
        total += length;
        if (last)
            return static_cast<uint32_t>(total);
        if (grouping == Grouping::kPrevious || previous == 0)
            previous = length;
    }
}

// A constrained value into a buffer: SIZE(0) reads nothing, a fixed size
// below 64K is a field without length, anything else goes by determinants.
template <uint32_t Unit>
uint32_t get_bounded(KelGlobal *world, unsigned char *out, uint32_t lb, uint32_t ub, uint64_t capacity,
                     int message) {
    if (ub == 0)
        return 0;
    if (lb == ub && ub < kFragmentMax) {
        if (ub > capacity)
            fail(world, message, ub);
        get_field(world, out, ub * Unit);
        return ub;
    }
    return get_into<Unit>(world, out, lb, ub, capacity, message);
}

// ---------------------------------------------------------------------------
// The allocating readers
// ---------------------------------------------------------------------------

// First walk over a fragmented value whose first determinant, of `first`
// units and not the last, has just been read: steps over its content and
// over every later determinant with its content, with the grouping check,
// and answers the total.  The reader then stands behind the value.
template <uint32_t Unit> uint32_t measure(KelGlobal *world, uint32_t first) {
    _kel_skip_bits(world, first * Unit, 1);
    uint64_t total = first;
    uint32_t previous = first;
    uint8_t last = 0;
    do {
        const uint32_t length = read_length(world, 1, 0, &last);
        check_grouping(world, previous, length, last);
        _kel_skip_bits(world, length * Unit, 1);
        total += length;
        previous = length;
    } while (!last);
    if (total > UINT32_MAX)
        fail(world, kMsgSizeExceeded, UINT32_MAX);
    return static_cast<uint32_t>(total);
}

// Reads the content of one determinant of `length` units into `out`,
// keeping at most `keep` units and stepping over the rest; answers the
// units kept.
template <uint32_t Unit>
uint32_t read_kept(KelGlobal *world, unsigned char *out, uint32_t length, uint32_t keep) {
    const uint32_t take = length < keep ? length : keep;
    _kel_get_bits(world, out, take * Unit, 1);
    if (take < length)
        _kel_skip_bits(world, (length - take) * Unit, take == 0);
    return take;
}

// Second walk: from `mark` again, every determinant read with the bounds
// lb, ub and its content stored behind what came before, up to `keep`
// units.  The grouping check was made by the first walk.
template <uint32_t Unit>
void reread(KelGlobal *world, const ReadMark &mark, unsigned char *out, uint32_t lb, uint32_t ub,
            uint32_t keep) {
    rewind(world, mark);
    uint32_t done = 0;
    uint8_t last = 0;
    do {
        const uint32_t length = read_length(world, lb, ub, &last);
        done += read_kept<Unit>(world, out + unit_index<Unit>(done), length, keep - done);
    } while (!last);
}

// What an allocating reader takes and where.
struct FetchPlan {
    uint32_t lb, ub;      // bounds of the first determinant; ub 0: unconstrained
    uint32_t header;      // octets in front of the content, cleared
    uint32_t limit;       // most units allowed (or kept, when cutting)
    int message;          // raised with the total when it exceeds limit
    bool cut;             // keep `limit` units and step over the rest
    bool roomForLimit;    // fixed size or one determinant: room for `limit` units
    bool temporary;       // the block comes from temporary memory
};

struct Fetched {
    unsigned char *block; // null when nothing was allocated
    uint32_t units;
};

inline unsigned char *take_block(KelGlobal *world, uint64_t size, bool temporary) {
    if (size > UINT32_MAX)
        fail(world, kMsgOutOfMemory, UINT32_MAX);
    void *p = temporary ? _kel_dec_gettempmem(world, static_cast<uint32_t>(size))
                        : _kel_dec_getmem_internal(world, static_cast<uint32_t>(size));
    return static_cast<unsigned char *>(p);
}

// The block of an empty value behind a header: the header alone, cleared.
inline unsigned char *header_only(KelGlobal *world, uint32_t header) {
    unsigned char *block = take_block(world, header, false);
    if (header)
        std::memset(block, 0, header);
    return block;
}

// Reads a value into one block of its exact size (or of the plan's room).
// A single determinant is read at once; a fragmented value is walked twice,
// the first time to size it.  An empty value without header gives no block;
// no block is taken for content that the input doesn't hold.
template <uint32_t Unit> Fetched fetch(KelGlobal *world, const FetchPlan &plan) {
    uint32_t total, kept, room;
    if (plan.ub && plan.lb == plan.ub && plan.ub < kFragmentMax) {
        total = kept = room = plan.ub;
        need_bits(world, uint64_t{total} * Unit); // before taking memory for it
        unsigned char *block = take_block(world, plan.header + unit_octets<Unit>(room), plan.temporary);
        std::memset(block, 0, plan.header);
        get_field(world, block + plan.header, total * Unit);
        return {block, total};
    }
    const ReadMark mark = read_mark(world);
    uint8_t last = 0;
    total = read_length(world, plan.lb, plan.ub, &last);
    const bool single = last != 0;
    if (!single)
        total = measure<Unit>(world, total);
    if (total > plan.limit && !plan.cut)
        fail(world, plan.message, total);
    if (single)
        need_bits(world, uint64_t{total} * Unit); // the walk tested a fragmented one
    kept = total < plan.limit ? total : plan.limit;
    room = single && plan.roomForLimit ? plan.limit : kept;
    const uint64_t size = plan.header + unit_octets<Unit>(room);
    if (size == 0)
        return {nullptr, 0};
    unsigned char *block = take_block(world, size, plan.temporary);
    std::memset(block, 0, plan.header);
    if (single)
        read_kept<Unit>(world, block + plan.header, total, kept);
    else
        reread<Unit>(world, mark, block + plan.header, plan.lb, plan.ub, kept);
    return {block, kept};
}

} // namespace kel::per
