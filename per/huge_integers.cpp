// huge_integers.cpp - PER INTEGER values beyond 64 bits, held as big-endian
// octet arrays: unconstrained and semi-constrained values behind an
// unconstrained length, and constrained ones steered by the huge constraint
// word (range width, signedness, extensibility, root membership).  A value
// has at most 4096 octets either way and never fragments.

#include <algorithm>
#include <bit>
#include <cstring>

#include "int_fields.h"
#include "kelvarn_convert.h"
#include "per.h"

namespace {

using namespace kel::per;

constexpr uint32_t kHugeMax = 4096;

// Room for the arithmetic of short values without the temporary stack.
constexpr uint32_t kLocalRoom = 24;

// Leading octets that say nothing: 00 before an octet below 0x80 and, when
// `negativeToo`, FF before an octet from 0x80.  One octet always stays.
uint32_t redundant_octets(const unsigned char *bytes, uint32_t count, bool negativeToo) {
    uint32_t i = 0;
    if (!(bytes[0] & 0x80)) {
        while (i + 1 < count && bytes[i] == 0x00 && !(bytes[i + 1] & 0x80))
            ++i;
    } else if (negativeToo) {
        while (i + 1 < count && bytes[i] == 0xFF && (bytes[i + 1] & 0x80))
            ++i;
    }
    return i;
}

// An unconstrained length, then the octets aligned.
void put_length_and_octets(KelGlobal *world, const unsigned char *bytes, uint32_t count) {
    _kel_penc_length_l(world, count, 0, 0, 0);
    _kel_append(world, bytes, count * 8, 1);
}

void encode_huge(KelGlobal *world, const unsigned char *bytes, uint32_t count, bool negativeToo) {
    if (count == 0 || count > kHugeMax)
        fail(world, kMsgMisencoded);
    const uint32_t drop = redundant_octets(bytes, count, negativeToo);
    put_length_and_octets(world, bytes + drop, count - drop);
}

// Reads an unconstrained length of 1 to 4096 (0037E below, `tooLong` above)
// and that many octets into final decoder memory.
uint32_t read_huge(KelGlobal *world, unsigned char **out, int tooLong) {
    uint8_t last;
    const uint32_t count = _kel_pdec_length(world, 0, 0, &last);
    if (count == 0)
        fail(world, kMsgMisencoded);
    if (count > kHugeMax)
        fail(world, tooLong, count);
    need_bits(world, uint64_t{count} * 8);
    auto *bytes = static_cast<unsigned char *>(_kel_dec_getmem_internal(world, count));
    _kel_get_bits(world, bytes, count * 8, 1);
    *out = bytes;
    return count;
}

// Bits that the unsigned number in `bytes` (no redundant zeros) takes.
uint32_t bit_length(const unsigned char *bytes, uint32_t count) {
    return (count - 1) * 8 + static_cast<uint32_t>(std::bit_width(bytes[0]));
}

// The unsigned number in `bytes` as exactly `width` bits; it fits.
void put_width_bits(KelGlobal *world, const unsigned char *bytes, uint32_t count, uint32_t width) {
    if (width <= 64) {
        uint64_t value = 0;
        for (uint32_t i = 0; i < count; ++i)
            value = value << 8 | bytes[i];
        put_bits(world, value, width);
        return;
    }
    const uint32_t valueBits = count * 8;
    if (width >= valueBits) {
        for (uint32_t zeros = width - valueBits; zeros; ) {
            const uint32_t n = std::min(zeros, 64u);
            put_bits(world, 0, n);
            zeros -= n;
        }
        _kel_append(world, bytes, valueBits, 0);
    } else {
        put_bits(world, bytes[0], width - (valueBits - 8));
        _kel_append(world, bytes + 1, valueBits - 8, 0);
    }
}

// The offset from the lower bound in its constrained form (the range has
// `width` bits, 256 for a range of 256 values).
void put_constrained_huge(KelGlobal *world, const unsigned char *bytes, uint32_t count, uint32_t width) {
    if (!world->aligned) {
        put_width_bits(world, bytes, count, width == 256 ? 8 : width);
    } else if (width <= 8) {
        put_bits(world, bytes[0], width);
    } else if (width == 256) {
        align_writer(world);
        put_bits(world, bytes[0], 8);
    } else if (width <= 16) {
        align_writer(world);
        put_bits(world, count == 2 ? uint32_t{bytes[0]} << 8 | bytes[1] : bytes[0], 16);
    } else {
        const uint32_t ub = (width + 7) / 8;
        put_constrained(world, count - 1, ub - 1);
        _kel_append(world, bytes, count * 8, 1);
    }
}

// Reads the constrained form into `dest`, which has room for ceiling(width /
// 8) octets; returns the octets read.
uint32_t get_constrained_huge(KelGlobal *world, unsigned char *dest, uint32_t width) {
    if (!world->aligned) {
        if (width == 256)
            width = 8;
        const uint32_t count = (width + 7) / 8;
        const uint32_t lead = width - (count - 1) * 8;
        dest[0] = static_cast<unsigned char>(get_bits(world, lead));
        _kel_get_bits(world, dest + 1, (count - 1) * 8, 0);
        return count;
    }
    if (width <= 8 || width == 256) {
        if (width == 256) {
            align_reader(world);
            width = 8;
        }
        dest[0] = static_cast<unsigned char>(get_bits(world, width));
        return 1;
    }
    if (width <= 16) {
        align_reader(world);
        const uint32_t value = static_cast<uint32_t>(get_bits(world, 16));
        dest[0] = static_cast<unsigned char>(value >> 8);
        dest[1] = static_cast<unsigned char>(value);
        return 2;
    }
    const uint32_t ub = (width + 7) / 8;
    const uint32_t count = get_constrained(world, ub - 1) + 1;
    if (count > ub)
        fail(world, kMsgMisencoded);
    _kel_get_bits(world, dest, count * 8, 1);
    return count;
}

// Octets that the constrained form of `width` bits reads at most.
uint32_t constrained_room(uint32_t width) { return width == 256 ? 1 : (width + 7) / 8; }

// A scratch area: the local one when it is big enough, else the temporary
// stack (freed by the caller in order).
unsigned char *scratch(KelGlobal *world, unsigned char *local, uint32_t size) {
    return size <= kLocalRoom ? local : static_cast<unsigned char *>(_kel_dec_gettempmem(world, size));
}

void release(KelGlobal *world, unsigned char *local, unsigned char *area) {
    if (area != local)
        _kel_dec_freetempmem(world, area);
}

} // namespace

extern "C" {

void _kel_penc_unconstr_huge_ia(KelGlobal *world, const unsigned char *bytes, uint32_t count) {
    encode_huge(world, bytes, count, true);
}

// The array is read as two's complement: a 00 before an octet from 0x80
// stays.
void _kel_penc_semicon_huge_ia(KelGlobal *world, const unsigned char *bytes, uint32_t count) {
    encode_huge(world, bytes, count, false);
}

uint32_t _kel_pdec_unconstr_huge_ia(KelGlobal *world, unsigned char **out) {
    uint32_t count = read_huge(world, out, kMsgMisencoded);
    if (redundant_octets(*out, count, true)) {
        if (!relaxed(world))
            fail(world, kMsgIntNeedlesslyLong);
        count = kelHugeIntToCanonical(*out, count, 0);
    }
    return count;
}

uint32_t _kel_pdec_semicon_huge_ia(KelGlobal *world, unsigned char **out) {
    uint8_t last;
    const uint32_t count = _kel_pdec_length(world, 0, 0, &last);
    if (count == 0) {
        *out = nullptr;
        return 0;
    }
    need_bits(world, uint64_t{count} * 8);
    auto *bytes = static_cast<unsigned char *>(_kel_dec_getmem_internal(world, count));
    _kel_get_bits(world, bytes, count * 8, 1);
    *out = bytes;
    return bytes[0] == 0 ? kelHugeIntToCanonical(bytes, count, 1) : count;
}

void _kel_penc_limited_huge(KelGlobal *world, const unsigned char *bytes, uint32_t count,
                            const unsigned char *lower, uint32_t lowerCount, uint32_t constraint) {
    if (count == 0)
        fail(world, kMsgMisencoded);
    const bool isSigned = (constraint & KEL_PER_HUGE_SIGNED) != 0;
    const bool extensible = (constraint & KEL_PER_HUGE_EXTENSIBLE) != 0;
    auto *value = const_cast<unsigned char *>(bytes);
    kelToCanonicalHugeInt(&count, &value, !isSigned);
    if (count > kHugeMax)
        fail(world, kMsgIntLengthTooLong, count);
    uint32_t width = KEL_PER_HUGE_WIDTH(constraint);
    if (constraint & KEL_PER_HUGE_IN_ROOT) {
        if (extensible)
            put_bits(world, 0, 1);
        if (width == 0 && !(constraint & KEL_PER_HUGE_SEMI) && lower)
            return; // a single permitted value
    } else {
        if (!extensible)
            _kel_unbnd_error(world, kMsgRangeViolatedHex, value, count);
        put_bits(world, 1, 1);
        width = 0;
        lower = nullptr;
    }

    unsigned char local[kLocalRoom];
    unsigned char *area = local;
    unsigned char *offset = value;
    uint32_t offsetCount = count;
    if (lower) {
        const uint32_t size = std::max(count, lowerCount) + 2;
        area = scratch(world, local, size);
        offsetCount = size;
        auto *difference = kelSubHugeInt(count, value, lowerCount, lower, &offsetCount, area, isSigned ? 0 : 1);
        if (isSigned && (difference[0] & 0x80))
            _kel_unbnd_error(world, kMsgRangeViolatedHex, value, count); // below the lower bound
        kelToCanonicalHugeInt(&offsetCount, &difference, 1);
        offset = difference;
    }

    if (width == 0) {
        // Unconstrained, or semi-constrained from the lower bound.  An
        // unsigned value from 0x80 on gets the zero octet that two's
        // complement needs.
        const uint32_t pad = !isSigned && !lower && (offset[0] & 0x80) ? 1 : 0;
        _kel_penc_length(world, offsetCount + pad, 1, 0, 0);
        if (pad) {
            align_writer(world);
            put_bits(world, 0, 8);
        }
        _kel_append(world, offset, offsetCount * 8, 1);
    } else {
        kelToCanonicalHugeInt(&offsetCount, &offset, 1);
        if (bit_length(offset, offsetCount) > (width == 256 ? 8 : width))
            _kel_unbnd_error(world, kMsgRangeViolatedHex, value, count);
        put_constrained_huge(world, offset, offsetCount, width);
    }
    release(world, local, area);
}

int32_t _kel_pdec_limited_huge(KelGlobal *world, unsigned char **out, const unsigned char *lower,
                               uint32_t lowerCount, uint32_t constraint) {
    const bool isSigned = (constraint & KEL_PER_HUGE_SIGNED) != 0;
    bool semi = (constraint & KEL_PER_HUGE_SEMI) != 0;
    uint32_t width = KEL_PER_HUGE_WIDTH(constraint);
    if ((constraint & KEL_PER_HUGE_EXTENSIBLE) && get_bits(world, 1)) {
        width = 0;
        lower = nullptr;
        semi = false;
    }
    if (width == 0 && !lower)
        return static_cast<int32_t>(read_huge(world, out, kMsgIntLengthTooLong));
    if (width == 0 && !semi) {
        // A single permitted value: nothing is read.
        unsigned char *copy = nullptr;
        if (lowerCount) {
            copy = static_cast<unsigned char *>(_kel_dec_getmem_internal(world, lowerCount));
            std::memcpy(copy, lower, lowerCount);
        }
        *out = copy;
        return static_cast<int32_t>(lowerCount);
    }

    // The offset goes to the end of a scratch area with a zero octet in
    // front (it is unsigned), and the lower bound is added in place, with
    // room for a carry.
    uint32_t count;
    if (width == 0) {
        uint8_t last;
        count = _kel_pdec_length(world, 0, 0, &last);
        if (count == 0)
            fail(world, kMsgMisencoded);
        if (count > kHugeMax)
            fail(world, kMsgIntLengthTooLong, count);
    } else {
        count = constrained_room(width);
    }
    unsigned char local[kLocalRoom];
    const uint32_t size = std::max(count + 1, lowerCount) + 1;
    unsigned char *area = scratch(world, local, size);
    unsigned char *offset = area + size - count;
    if (width == 0)
        _kel_get_bits(world, offset, count * 8, 1);
    else if (const uint32_t got = get_constrained_huge(world, offset, width); got < count) {
        std::memmove(offset + (count - got), offset, got);
        std::memset(offset, 0, count - got);
    }
    offset[-1] = 0;

    uint32_t length = size;
    auto *sum = kelAddHugeInt(count + 1, offset - 1, lowerCount, lower, &length, area, isSigned ? 0 : 1);
    kelToCanonicalHugeInt(&length, &sum, !isSigned);
    auto *result = static_cast<unsigned char *>(_kel_dec_getmem_internal(world, length));
    std::memcpy(result, sum, length);
    release(world, local, area);
    *out = result;
    return static_cast<int32_t>(length);
}

} // extern "C"
