// skip.cpp - stepping over PER fields without decoding them: unknown
// extension additions, fields that a partial decode does not want, removed
// fields.  Each primitive reads the bits that its decoder reads, in the same
// order and with the same alignments, so that it leaves the reader where the
// decoder would; it stores nothing, allocates nothing and tests no range,
// alphabet or size.  The only failure is the end of the input.
#include "int_fields.h"
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

// A value in fragments: determinants with bounds lb, ub until the last, each
// followed by its items of `itemBits` bits.  An empty determinant has no
// content and does not align.
void skip_fragments(KelGlobal *world, uint32_t lb, uint32_t ub, uint64_t itemBits, bool align) {
    uint8_t last = 0;
    do {
        const uint32_t n = _kel_pdec_length(world, lb, ub, &last);
        if (n == 0)
            continue;
        if (align)
            align_reader(world);
        skip_field(world, n * itemBits, false);
    } while (!last);
}

inline bool compat(const KelGlobal *world, uint32_t bit) {
    return world->ext && (world->ext->compatFlags & bit) != 0;
}

// The character strings of every kind: the extension bit, then a fixed run
// or a run in fragments.  `extendedBits` is the width a character takes when
// the extension bit is set and the compatibility bit asks for own codes; a
// time string outside an extensible constraint may be asked for in octets.
void skip_string(KelGlobal *world, const KelPerString *desc, uint32_t extendedBits, bool timeInOctets) {
    const uint32_t flags = desc->flags;
    uint32_t bits = world->aligned ? KEL_PER_BITS_ALIGNED(flags) : KEL_PER_BITS_UNALIGNED(flags);
    bool extended = false;
    if (flags & KEL_PER_SIZE_EXTENSIBLE) {
        extended = get_bits(world, 1) != 0;
        if (extended && compat(world, kCompatExtendedOwnCode))
            bits = extendedBits;
    } else if (timeInOctets && (flags & KEL_PER_TIME_STRING) && compat(world, kCompatTimeOctets)) {
        bits = 8;
    }
    // ub 0, or lb above ub, is no size constraint; an extended value has
    // none either.
    const uint32_t lb = desc->lb, ub = desc->ub;
    const bool bounded = !extended && ub != 0 && lb <= ub;
    if (bounded && lb == ub && ub < kFragmentMax) {
        const uint64_t total = static_cast<uint64_t>(bits) * ub;
        skip_field(world, total, total > 16);
        return;
    }
    // Characters follow their determinant aligned from 16 bits of the
    // longest value on, and whenever no bound holds.
    const bool align = !bounded || static_cast<uint64_t>(bits) * ub >= 16;
    skip_fragments(world, bounded ? lb : 0, bounded ? ub : 0, bits, align);
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
        get_constrained(world, root->count - 1);
}

void _kel_pskip_limited_huge(KelGlobal *world, const unsigned char *lower, uint32_t constraint) {
    uint32_t width = KEL_PER_HUGE_WIDTH(constraint);
    if ((constraint & KEL_PER_HUGE_EXTENSIBLE) && get_bits(world, 1))
        width = 0; // outside the root: length and octets
    else if (width == 0 && lower && !(constraint & KEL_PER_HUGE_SEMI))
        return; // a single permitted value takes no bits
    if (width == 0) {
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
    // Above 16 bits: a constrained count of octets, 1 to the most the
    // width can take, and the octets.
    const uint32_t octets = get_constrained(world, ((width + 7) >> 3) - 1) + 1;
    skip_field(world, static_cast<uint64_t>(octets) * 8, true);
}

void _kel_pskip_ckmstr(KelGlobal *world, const KelPerString *desc) {
    skip_string(world, desc, 8, true);
}

void _kel_pskip_unistr(KelGlobal *world, const KelPerString *desc) {
    // An extended string under the compatibility bit counts 16 bits a
    // character, also a universal one.
    skip_string(world, desc, 16, false);
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
