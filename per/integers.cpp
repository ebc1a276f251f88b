// integers.cpp - PER INTEGER fields of every kind: constrained bit fields
// (any width, the eight fixed widths, the aligned 16-bit field),
// semi-constrained and unconstrained values behind a count octet, the
// indefinite-length form of ranges above 64K, and normally small numbers.
// Each writer and reader is one template over the value's width; the limited
// decoders are the same readers with the minimality and bound checks on.

#include <bit>
#include <type_traits>

#include "int_fields.h"
#include "per.h"

namespace {

using namespace kel::per;

template <class T> using Unsigned = std::make_unsigned_t<T>;

// The low `bits` (0..63) bits set.
constexpr uint64_t low_mask(uint32_t bits) { return (uint64_t{1} << bits) - 1; }

// 0023E with the value at the width of the form.
template <class T> [[noreturn]] void too_long(KelGlobal *world, T value) {
    if constexpr (sizeof(T) > 4)
        _kel_enc_llerror(world, kMsgIntTooLongLl, static_cast<uint64_t>(value));
    else
        fail(world, kMsgIntTooLong, static_cast<uint32_t>(value));
}

// lb + offset lies in [low, high], all signed, with no overflow on the way.
template <class T> bool sum_in_range(T lb, Unsigned<T> offset, T low, T high) {
    using U = Unsigned<T>;
    if (lb > high || offset > static_cast<U>(static_cast<U>(high) - static_cast<U>(lb)))
        return false;
    return static_cast<T>(static_cast<U>(lb) + offset) >= low;
}

// A limited decoder's bound check: low 0 compares unsigned with high alone.
template <class T> void check_bounds(KelGlobal *world, T value, T low, T high) {
    using U = Unsigned<T>;
    if (low != 0 ? (value < low || value > high) : static_cast<U>(value) > static_cast<U>(high))
        too_long(world, value);
}

// ---------------------------------------------------------------------------
// Count octet and value octets
// ---------------------------------------------------------------------------

// The count octet `n` and the low n octets of `octets`, aligned in aligned
// PER.  Up to seven octets this is one store with the count.
inline void put_counted(KelGlobal *world, uint64_t octets, uint32_t n) {
    align_writer(world);
    const uint32_t bits = n * 8;
    if (static_cast<uint32_t>(world->bitOffset) + bits + 8 <= 64) {
        put_bits(world, uint64_t{n} << bits | (octets & low_mask(bits)), bits + 8);
    } else {
        put_bits(world, n, 8);
        put_bits(world, octets, bits);
    }
}

// Reads a count octet and that many octets as a big-endian number; a count
// beyond the width of U is 0144E.
template <class U> inline U get_counted(KelGlobal *world, uint32_t &n) {
    align_reader(world);
    n = static_cast<uint32_t>(get_bits(world, 8));
    if (n > sizeof(U))
        fail(world, kMsgIntLengthTooLong, n);
    return static_cast<U>(get_bits(world, n * 8));
}

template <class T> void encode_semicon(KelGlobal *world, T value, T lb) {
    using U = Unsigned<T>;
    const U offset = static_cast<U>(static_cast<U>(value) - static_cast<U>(lb));
    put_counted(world, offset, unsigned_octets(offset));
}

// Minimal two's complement: 127 takes one octet, 128 two, -128 one.
template <class T> void encode_unconstr(KelGlobal *world, T value) {
    using U = Unsigned<T>;
    const U magnitude = static_cast<U>(value < 0 ? ~value : value);
    put_counted(world, static_cast<U>(value), static_cast<uint32_t>(std::bit_width(magnitude)) / 8 + 1);
}

template <class T, bool Limited> T decode_semicon(KelGlobal *world, T lb, T low = 0, T high = 0) {
    using U = Unsigned<T>;
    uint32_t n;
    const U offset = get_counted<U>(world, n);
    if constexpr (Limited) {
        if (!relaxed(world) && n >= 2 && (offset >> (n * 8 - 8)) == 0)
            fail(world, kMsgMisencoded);
        const T value = static_cast<T>(static_cast<U>(lb) + offset);
        if (low != 0 ? !sum_in_range(lb, offset, low, high) : static_cast<U>(value) > static_cast<U>(high))
            too_long(world, value);
        return value;
    }
    return static_cast<T>(static_cast<U>(lb) + offset);
}

template <class T, bool Limited> T decode_unconstr(KelGlobal *world, T low = 0, T high = 0) {
    using U = Unsigned<T>;
    uint32_t n;
    const U octets = get_counted<U>(world, n);
    if (n == 0)
        return 0;
    // A leading 00 before an octet below 0x80 is needless; leading FF
    // octets are let through.
    if (Limited && !relaxed(world) && n > 1 && (octets >> (n * 8 - 9)) == 0)
        fail(world, kMsgMisencoded);
    const uint32_t shift = sizeof(U) * 8 - n * 8;
    const T value = static_cast<T>(static_cast<T>(octets << shift) >> shift);
    if constexpr (Limited)
        check_bounds(world, value, low, high);
    return value;
}

// ---------------------------------------------------------------------------
// Indefinite-length form: a 2- or 3-bit count, then the octets aligned
// ---------------------------------------------------------------------------

template <class U> void encode_indeflen(KelGlobal *world, U offset, U maxOctets) {
    const uint32_t n = unsigned_octets(offset);
    const uint32_t countBits = maxOctets > 4 ? 3 : 2;
    const uint32_t bits = n * 8;
    if (!world->aligned && static_cast<uint32_t>(world->bitOffset) + countBits + bits <= 64) {
        put_bits(world, uint64_t{n - 1} << bits | offset, countBits + bits);
        return;
    }
    put_bits(world, n - 1, countBits);
    align_writer(world);
    put_bits(world, offset, bits);
}

template <class U> U read_indeflen(KelGlobal *world, U maxOctets, uint32_t &n) {
    n = static_cast<uint32_t>(get_bits(world, maxOctets > 4 ? 3 : 2)) + 1;
    if (n > sizeof(U))
        fail(world, kMsgIntLengthTooLong, n);
    align_reader(world);
    return static_cast<U>(get_bits(world, n * 8));
}

template <class T>
T decode_indeflen_limited(KelGlobal *world, Unsigned<T> maxOctets, T lb, T low, T high) {
    using U = Unsigned<T>;
    uint32_t n;
    const U offset = read_indeflen(world, maxOctets, n);
    // A first octet 0 is needless for every value, zero included.
    if (!relaxed(world) && n > 1 && (offset >> (n * 8 - 8)) == 0)
        fail(world, kMsgMisencoded);
    const U sum = static_cast<U>(offset + static_cast<U>(lb));
    const bool fits = low != 0 ? sum_in_range(lb, offset, low, high)
                               : sum >= offset && sum <= static_cast<U>(high);
    if (!fits)
        too_long(world, offset);
    return static_cast<T>(sum);
}

// ---------------------------------------------------------------------------
// Normally small numbers: 0 and six bits up to 63, else 1 and semi-constrained
// ---------------------------------------------------------------------------

template <class U> void encode_small(KelGlobal *world, U value) {
    if (value <= 63) {
        put_bits(world, value, 7);
        return;
    }
    put_bits(world, 1, 1);
    encode_semicon<U>(world, value, 0);
}

template <class T> T decode_small(KelGlobal *world) {
    if (get_bits(world, 1))
        return decode_semicon<T, true>(world, 0, 0, static_cast<T>(-1));
    return static_cast<T>(get_bits(world, 6));
}

// ---------------------------------------------------------------------------
// Constrained bit fields
// ---------------------------------------------------------------------------

template <uint32_t N> inline void put_fixed(KelGlobal *world, uint32_t value) {
    put_bits(world, N == 1 ? value != 0 : value, N);
}

template <uint32_t N> inline uint32_t get_fixed(KelGlobal *world) {
    return static_cast<uint32_t>(get_bits(world, N));
}

template <class U> U decode_nonneg_limited(KelGlobal *world, uint32_t width, U low, U high) {
    const U value = static_cast<U>(get_bits(world, width));
    if (value > static_cast<U>(high - low))
        too_long(world, value);
    return value;
}

} // namespace

extern "C" {

void _kel_penc_nonneg_int(KelGlobal *world, uint64_t value, int width) {
    put_bits(world, value, static_cast<uint32_t>(width));
}

void _kel_penc_nonneg_int_l(KelGlobal *world, uint32_t value, uint32_t width) {
    put_bits(world, value, width);
}

void _kel_penc_nonneg_1int(KelGlobal *world, uint32_t value) { put_fixed<1>(world, value); }
void _kel_penc_nonneg_2int(KelGlobal *world, uint32_t value) { put_fixed<2>(world, value); }
void _kel_penc_nonneg_3int(KelGlobal *world, uint32_t value) { put_fixed<3>(world, value); }
void _kel_penc_nonneg_4int(KelGlobal *world, uint32_t value) { put_fixed<4>(world, value); }
void _kel_penc_nonneg_5int(KelGlobal *world, uint32_t value) { put_fixed<5>(world, value); }
void _kel_penc_nonneg_6int(KelGlobal *world, uint32_t value) { put_fixed<6>(world, value); }
void _kel_penc_nonneg_7int(KelGlobal *world, uint32_t value) { put_fixed<7>(world, value); }
void _kel_penc_nonneg_8int(KelGlobal *world, uint32_t value) { put_fixed<8>(world, value); }

void _kel_penc_int16_aligned(KelGlobal *world, uint32_t value) {
    align_writer(world);
    put_bits(world, value, 16);
}

void _kel_penc_semicon_int(KelGlobal *world, int64_t value, int64_t lb) { encode_semicon(world, value, lb); }
void _kel_penc_semicon_int_l(KelGlobal *world, int32_t value, int32_t lb) { encode_semicon(world, value, lb); }
void _kel_penc_semicon_uint(KelGlobal *world, uint64_t value, uint64_t lb) { encode_semicon(world, value, lb); }
void _kel_penc_semicon_uint_l(KelGlobal *world, uint32_t value, uint32_t lb) { encode_semicon(world, value, lb); }

void _kel_penc_unconstr_int(KelGlobal *world, int64_t value) { encode_unconstr(world, value); }
void _kel_penc_unconstr_int_l(KelGlobal *world, int32_t value) { encode_unconstr(world, value); }

void _kel_penc_indeflen_int(KelGlobal *world, uint64_t offset, uint64_t maxOctets) {
    encode_indeflen(world, offset, maxOctets);
}

void _kel_penc_indeflen_int_l(KelGlobal *world, uint32_t offset, uint32_t maxOctets) {
    encode_indeflen(world, offset, maxOctets);
}

void _kel_penc_small_int(KelGlobal *world, uint64_t value) { encode_small(world, value); }
void _kel_penc_small_int_l(KelGlobal *world, uint32_t value) { encode_small(world, value); }

uint64_t _kel_pdec_nonneg_int(KelGlobal *world, uint64_t width) {
    if (width > 64) {
        // Only the low 64 bits of a wider field can be returned.
        need_bits(world, width);
        _kel_skip_bits(world, static_cast<uint32_t>(width - 64), 0);
        width = 64;
    }
    return get_bits(world, static_cast<uint32_t>(width));
}

uint32_t _kel_pdec_nonneg_int_l(KelGlobal *world, uint32_t width) {
    return static_cast<uint32_t>(get_bits(world, width));
}

uint64_t _kel_pdec_nonneg_limited_int(KelGlobal *world, uint64_t width, uint64_t low, uint64_t high) {
    return decode_nonneg_limited(world, static_cast<uint32_t>(width), low, high);
}

uint32_t _kel_pdec_nonneg_limited_int_l(KelGlobal *world, uint32_t width, uint32_t low, uint32_t high) {
    return decode_nonneg_limited(world, width, low, high);
}

uint32_t _kel_pdec_nonneg_1int(KelGlobal *world) { return get_fixed<1>(world); }
uint32_t _kel_pdec_nonneg_2int(KelGlobal *world) { return get_fixed<2>(world); }
uint32_t _kel_pdec_nonneg_3int(KelGlobal *world) { return get_fixed<3>(world); }
uint32_t _kel_pdec_nonneg_4int(KelGlobal *world) { return get_fixed<4>(world); }
uint32_t _kel_pdec_nonneg_5int(KelGlobal *world) { return get_fixed<5>(world); }
uint32_t _kel_pdec_nonneg_6int(KelGlobal *world) { return get_fixed<6>(world); }
uint32_t _kel_pdec_nonneg_7int(KelGlobal *world) { return get_fixed<7>(world); }
uint32_t _kel_pdec_nonneg_8int(KelGlobal *world) { return get_fixed<8>(world); }

uint32_t _kel_pdec_int16_aligned(KelGlobal *world) {
    align_reader(world);
    return static_cast<uint32_t>(get_bits(world, 16));
}

int64_t _kel_pdec_semicon_int(KelGlobal *world, int64_t lb) { return decode_semicon<int64_t, false>(world, lb); }
int32_t _kel_pdec_semicon_int_l(KelGlobal *world, int32_t lb) { return decode_semicon<int32_t, false>(world, lb); }
uint64_t _kel_pdec_semicon_uint(KelGlobal *world, uint64_t lb) { return decode_semicon<uint64_t, false>(world, lb); }
uint32_t _kel_pdec_semicon_uint_l(KelGlobal *world, uint32_t lb) { return decode_semicon<uint32_t, false>(world, lb); }

int64_t _kel_pdec_semicon_limited_int(KelGlobal *world, int64_t lb, int64_t low, int64_t high) {
    return decode_semicon<int64_t, true>(world, lb, low, high);
}

int32_t _kel_pdec_semicon_limited_int_l(KelGlobal *world, int32_t lb, int32_t low, int32_t high) {
    return decode_semicon<int32_t, true>(world, lb, low, high);
}

int64_t _kel_pdec_unconstr_int(KelGlobal *world) { return decode_unconstr<int64_t, false>(world); }
int32_t _kel_pdec_unconstr_int_l(KelGlobal *world) { return decode_unconstr<int32_t, false>(world); }

int64_t _kel_pdec_unconstr_limited_int(KelGlobal *world, int64_t low, int64_t high) {
    return decode_unconstr<int64_t, true>(world, low, high);
}

int32_t _kel_pdec_unconstr_limited_int_l(KelGlobal *world, int32_t low, int32_t high) {
    return decode_unconstr<int32_t, true>(world, low, high);
}

uint64_t _kel_pdec_indeflen_int(KelGlobal *world, uint64_t maxOctets) {
    uint32_t n;
    return read_indeflen(world, maxOctets, n);
}

uint32_t _kel_pdec_indeflen_int_l(KelGlobal *world, uint32_t maxOctets) {
    uint32_t n;
    return read_indeflen(world, maxOctets, n);
}

int64_t _kel_pdec_indeflen_limited_int(KelGlobal *world, uint64_t maxOctets, int64_t lb, int64_t low,
                                       int64_t high) {
    return decode_indeflen_limited(world, maxOctets, lb, low, high);
}

int32_t _kel_pdec_indeflen_limited_int_l(KelGlobal *world, uint32_t maxOctets, int32_t lb, int32_t low,
                                         int32_t high) {
    return decode_indeflen_limited(world, maxOctets, lb, low, high);
}

int64_t _kel_pdec_small_int(KelGlobal *world) { return decode_small<int64_t>(world); }
uint32_t _kel_pdec_small_int_l(KelGlobal *world) { return static_cast<uint32_t>(decode_small<int32_t>(world)); }

} // extern "C"
