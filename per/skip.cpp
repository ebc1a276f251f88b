// skip.cpp - stepping over PER fields without decoding them: unknown
// extension additions, fields that a partial decode does not want, removed
// fields.  Each primitive reads the bits that its decoder reads, in the same
// order and with the same alignments, so that it leaves the reader where the
// decoder would; it stores nothing, allocates nothing and tests no range,
// alphabet or size.  The only failure is the end of the input.
#include "per.h"

namespace {

using namespace kel::per;

// Steps over `count` bits, first to an octet boundary in aligned PER when
// `align` is set.  An empty field moves nothing and does not align, as with
// the stream's readers.
inline void skip_field(KelGlobal *world, uint64_t count, bool align) {
    if (count == 0)
        return;
    if (align)
        align_reader(world);
    need_bits(world, count);
    const uint64_t end = static_cast<uint64_t>(world->bitOffset) + count;
    world->inPos += end >> 3;
    world->inRemaining -= static_cast<int32_t>(end >> 3);
    world->bitOffset = static_cast<int32_t>(end & 7);
}

// A whole number in 0..span, read as the length and index readers do: a
// bit-field up to span 254 (and in unaligned PER always), else one or two
// aligned octets.
inline void skip_constrained(KelGlobal *world, uint32_t span) {
    if (span < 255 || !world->aligned) {
        skip_field(world, static_cast<uint32_t>(std::bit_width(span)), false);
        return;
    }
    align_reader(world);
    skip_field(world, span == 255 ? 8 : 16, false);
}

// A value in fragments: determinants with bounds lb, ub until the last, each
// followed by its items of `itemBits` bits.  Bounds with lb above ub mean no
// size constraint, read as the unconstrained form.
void skip_fragments(KelGlobal *world, uint32_t lb, uint32_t ub, uint64_t itemBits, bool align) {
    if (lb > ub)
        lb = ub = 0;
    uint8_t last = 0;
    do {
        const uint32_t n = _kel_pdec_length(world, lb, ub, &last);
        skip_field(world, n * itemBits, align);
    } while (!last);
}

// The character strings of both kinds: the extension bit, then a fixed run
// or a run in fragments.  `extendedBits` is the width a character takes when
// the extension bit is set and the compatibility bit asks for own codes.
void skip_string(KelGlobal *world, const KelPerString *desc, uint32_t bits, uint32_t extendedBits) {
    const uint32_t flags = desc->flags;
    const uint32_t compat = world->ext ? world->ext->compatFlags : 0;
    bool extended = false;
    if (flags & KEL_PER_SIZE_EXTENSIBLE) {
        extended = get_bits(world, 1) != 0;
        if (extended && (compat & kCompatExtendedOwnCode))
            bits = extendedBits;
    }
    const uint32_t lb = desc->lb, ub = desc->ub;
    if (!extended && lb == ub && ub < kFragmentMax) {
        const uint64_t total = static_cast<uint64_t>(bits) * ub;
        skip_field(world, total, total >= 17);
        return;
    }
    // Characters follow their determinant aligned from 16 bits of the
    // longest value on, and always in an extended value.
    const bool align = extended || static_cast<uint64_t>(bits) * ub >= 16;
    skip_fragments(world, lb, extended ? 0 : ub, bits, align);
}

} // namespace

extern "C" {

void _kel_pskip_int(KelGlobal *world) {
    align_reader(world);
    const uint32_t count = static_cast<uint32_t>(get_bits(world, 8));
    skip_field(world, static_cast<uint64_t>(count) * 8, true);
}

void _kel_pskip_enum(KelGlobal *world, const KelPerEnumTable *root, const KelPerEnumTable *extension) {
    if (extension && get_bits(world, 1)) {
        // An addition's index: a normally small number.
        if (get_bits(world, 1))
            _kel_pskip_int(world);
        else
            skip_field(world, 6, false);
        return;
    }
    if (root->count > 1)
        skip_constrained(world, root->count - 1);
}

void _kel_pskip_limited_huge(KelGlobal *world, const unsigned char *lower, uint32_t constraint) {
    uint32_t width = KEL_PER_HUGE_WIDTH(constraint);
    if ((constraint & KEL_PER_HUGE_EXTENSIBLE) && get_bits(world, 1))
        width = 0; // outside the root: length and octets
    else if (width == 0 && lower && !(constraint & KEL_PER_HUGE_SEMI))
        return; // a single permitted value takes no bits
    if (width == 0 || !lower) {
        // A huge value never fragments: the first determinant is all.
        uint8_t last = 0;
        const uint32_t n = _kel_pdec_length(world, 0, 0, &last);
        skip_field(world, static_cast<uint64_t>(n) * 8, true);
        return;
    }
    if (width == 256) {
        skip_field(world, 8, true);
        return;
    }
    if (!world->aligned || width <= 8) {
        skip_field(world, width, false);
        return;
    }
    if (width <= 16) {
        skip_field(world, 16, true);
        return;
    }
    uint8_t last = 0;
    const uint32_t octets = _kel_pdec_length(world, 1, (width + 7) >> 3, &last);
    skip_field(world, static_cast<uint64_t>(octets) * 8, true);
}

void _kel_pskip_ckmstr(KelGlobal *world, const KelPerString *desc) {
    const uint32_t flags = desc->flags;
    uint32_t bits = world->aligned ? KEL_PER_BITS_ALIGNED(flags) : KEL_PER_BITS_UNALIGNED(flags);
    if ((flags & KEL_PER_TIME_STRING) && world->ext && (world->ext->compatFlags & kCompatTimeOctets))
        bits = 8;
    skip_string(world, desc, bits, 8);
}

void _kel_pskip_unistr(KelGlobal *world, const KelPerString *desc) {
    const uint32_t flags = desc->flags;
    const uint32_t bits = world->aligned ? KEL_PER_BITS_ALIGNED(flags) : KEL_PER_BITS_UNALIGNED(flags);
    // An extended string under the compatibility bit counts 16 bits a
    // character, also a universal one.
    skip_string(world, desc, bits, 16);
}

void _kel_pskip_fixed_oct(KelGlobal *world, uint32_t n) {
    if (n < kFragmentMax)
        skip_field(world, static_cast<uint64_t>(n) * 8, n >= 3);
    else
        skip_fragments(world, n, n, 8, true);
}

void _kel_pskip_constr_oct(KelGlobal *world, uint32_t lb, uint32_t ub) {
    if (ub == 0)
        return;
    if (lb == ub && ub < kFragmentMax)
        _kel_pskip_fixed_oct(world, ub);
    else
        skip_fragments(world, lb, ub, 8, true);
}

void _kel_pskip_constr_bit(KelGlobal *world, uint32_t lb, uint32_t ub) {
    if (ub == 0)
        return;
    if (lb == ub && ub < kFragmentMax)
        skip_field(world, ub, ub >= 17);
    else
        skip_fragments(world, lb, ub, 1, true);
}

} // extern "C"
