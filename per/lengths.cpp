// lengths.cpp - PER length determinants: the constrained form (a bit-field,
// one aligned octet or two aligned octets, after the range), the
// unconstrained form with its fragment octets 0xC1..0xC4, and the normally
// small length; writers and readers, 32- and 64-bit twins from one template.
//
// A writer returns how many items its determinant covers; the caller writes
// that many and comes back for the rest.  A reader returns the count and
// sets *last to 0 when a further determinant follows the items.

#include <algorithm>
#include <bit>
#include <type_traits>

#include "int_fields.h"
#include "per.h"

#define KEL_LOG2_2(v) v, v
#define KEL_LOG2_4(v) KEL_LOG2_2(v), KEL_LOG2_2(v)
#define KEL_LOG2_8(v) KEL_LOG2_4(v), KEL_LOG2_4(v)
#define KEL_LOG2_16(v) KEL_LOG2_8(v), KEL_LOG2_8(v)
#define KEL_LOG2_32(v) KEL_LOG2_16(v), KEL_LOG2_16(v)
#define KEL_LOG2_64(v) KEL_LOG2_32(v), KEL_LOG2_32(v)
#define KEL_LOG2_128(v) KEL_LOG2_64(v), KEL_LOG2_64(v)

// Entry r: the bits of a field that holds 0..r-1.
constexpr uint8_t _kel_log2table[257] = {0, 0, 1, KEL_LOG2_2(2), KEL_LOG2_4(3), KEL_LOG2_8(4),
    KEL_LOG2_16(5), KEL_LOG2_32(6), KEL_LOG2_64(7), KEL_LOG2_128(8)};

#undef KEL_LOG2_2
#undef KEL_LOG2_4
#undef KEL_LOG2_8
#undef KEL_LOG2_16
#undef KEL_LOG2_32
#undef KEL_LOG2_64
#undef KEL_LOG2_128

namespace {

using namespace kel::per;

constexpr bool log2table_is_right() {
    for (uint32_t r = 2; r <= 256; ++r)
        if (_kel_log2table[r] != std::bit_width(r - 1))
            return false;
    return _kel_log2table[0] == 0 && _kel_log2table[1] == 0;
}
static_assert(log2table_is_right());

// The unconstrained form: one octet up to 127, two octets (10 and fourteen
// bits) up to 16383, else a fragment octet 11000mmm for m (at most 4) units
// of 16K.  Aligned in aligned PER.
template <class U> inline uint32_t write_unconstrained(KelGlobal *world, U length) {
    align_writer(world);
    if (length < 128) {
        put_bits(world, length, 8);
        return static_cast<uint32_t>(length);
    }
    if (length < kFragmentUnit) {
        put_bits(world, length | 0x8000u, 16);
        return static_cast<uint32_t>(length);
    }
    const uint32_t m = length >= kFragmentMax ? 4u : static_cast<uint32_t>(length >> 14);
    put_bits(world, 0xC0u | m, 8);
    return m << 14;
}

template <class U>
inline uint32_t write_length(KelGlobal *world, U length, U lb, U ub, uint8_t extended) {
    if (ub == 0 || ub > 65535 || extended)
        return write_unconstrained(world, length);
    put_constrained<U>(world, length - lb, ub - lb);
    return static_cast<uint32_t>(length);
}

// Normally small: 0 and n - 1 in six bits up to 64 (n = 0 is not guarded
// and comes out as seven 1 bits); above, 1 and the unconstrained form.
template <class U> inline U write_small_length(KelGlobal *world, U n) {
    if (n <= 64) {
        put_bits(world, static_cast<uint8_t>(n - 1), 7);
        return n;
    }
    put_bits(world, 1, 1);
    return write_unconstrained(world, n);
}

// The unconstrained form; the aligned variant steps over the padding unseen.
inline uint32_t read_unconstrained(KelGlobal *world, uint8_t *last) {
    return read_length(world, 0, 0, last);
}

} // namespace

namespace kel::per {

uint32_t read_long_length(KelGlobal *world, uint32_t b, uint8_t *last) {
    if (b & 0x40) {
        // Only the low three bits count: 0xC5..0xC7 pass as 5..7 units.
        const uint32_t m = b & 7;
        if (m == 0) {
            if (!relaxed(world))
                fail(world, kMsgMisencoded);
            *last = 1;
            return 0;
        }
        *last = 0;
        return m << 14;
    }
    const uint32_t value = (b & 0x3F) << 8 | static_cast<uint32_t>(get_bits(world, 8));
    if (value < 128 && !relaxed(world))
        fail(world, kMsgMisencoded);
    *last = 1;
    return value;
}

} // namespace kel::per

extern "C" {

uint32_t _kel_penc_length(KelGlobal *world, uint64_t length, uint64_t lb, uint64_t ub,
                          uint8_t extended) {
    return write_length<uint64_t>(world, length, lb, ub, extended);
}

uint32_t _kel_penc_length_l(KelGlobal *world, uint32_t length, uint32_t lb, uint32_t ub,
                            uint8_t extended) {
    return write_length<uint32_t>(world, length, lb, ub, extended);
}

uint32_t _kel_penc_lfrag(KelGlobal *world, uint32_t length) {
    return write_unconstrained(world, length);
}

uint64_t _kel_penc_lfrag_ll(KelGlobal *world, uint64_t length) {
    return write_unconstrained(world, length);
}

void _kel_penc_lrang(KelGlobal *world, uint32_t length, uint32_t lb, uint32_t ub) {
    // A range that wrapped to 0 writes nothing either.
    if (ub - lb + 1 < 2)
        return;
    put_constrained<uint32_t>(world, length - lb, ub - lb);
}

uint64_t _kel_penc_small_len(KelGlobal *world, uint64_t n) { return write_small_length(world, n); }

uint32_t _kel_penc_small_len_l(KelGlobal *world, uint32_t n) { return write_small_length(world, n); }

uint32_t _kel_pdec_length(KelGlobal *world, uint32_t lb, uint32_t ub, uint8_t *last) {
    return read_length(world, lb, ub, last);
}

uint32_t _kel_pdec_small_len(KelGlobal *world) {
    if (get_bits(world, 1) == 0)
        return static_cast<uint32_t>(get_bits(world, 6)) + 1;
    // Only the first fragment's count: no caller continues a fragmented one.
    uint8_t last;
    return read_unconstrained(world, &last);
}

} // extern "C"
