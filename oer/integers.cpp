// integers.cpp - OER INTEGER in its three wire forms: a count octet and the
// minimal octets (32, 64 and, when decoding, 16-bit values), fixed fields
// of 1 to 8 octets with no count, and huge values behind a determinant or
// in a fixed number of octets.

#include "oer.h"

namespace kel::oer {

int64_t read_signed(KelGlobal *world, const unsigned char *p, uint32_t count, uint32_t limit) {
    if (count == 1)
        return static_cast<int8_t>(p[0]);
    if (sign_repeated(p)) {
        if (canonical(world))
            fail(world, kMsgIntNeedlesslyLong);
        while (count > 2 && sign_repeated(p))
            ++p, --count;
    }
    if (count > limit)
        fail(world, kMsgIntTooLong, count);
    uint64_t v = static_cast<uint64_t>(static_cast<int64_t>(static_cast<int8_t>(p[0])));
    for (uint32_t i = 1; i < count; ++i)
        v = v << 8 | p[i];
    return static_cast<int64_t>(v);
}

} // namespace kel::oer

namespace {

using namespace kel::oer;

// ---------------------------------------------------------------------------
// Count form
// ---------------------------------------------------------------------------

template <class T> void put_counted(KelGlobal *world, T value) {
    put_with_count(world, value, std::is_signed_v<T> ? signed_octets(value) : unsigned_octets(value));
}

uint64_t read_unsigned(KelGlobal *world, const unsigned char *p, uint32_t count, uint32_t limit) {
    if (count > 1 && p[0] == 0) {
        if (canonical(world))
            fail(world, kMsgIntNeedlesslyLong);
        while (count > 2 && p[0] == 0)
            ++p, --count;
    }
    if (count > limit)
        fail(world, kMsgIntTooLong, count);
    uint64_t v = 0;
    for (uint32_t i = 0; i < count; ++i)
        v = v << 8 | p[i];
    return v;
}

// The count octet (1..127; the long determinant form isn't accepted here)
// and a value of at most `Limit` significant octets.
template <class T, uint32_t Limit> T get_counted(KelGlobal *world) {
    need(world, 2);
    const uint32_t count = world->inPos[0];
    if (count < 1 || count > 127)
        fail(world, kMsgMisencoded);
    need(world, count + 1);
    const unsigned char *p = advance(world, count + 1) + 1;
    if constexpr (std::is_signed_v<T>)
        return static_cast<T>(read_signed(world, p, count, Limit));
    else
        return static_cast<T>(read_unsigned(world, p, count, Limit));
}

// ---------------------------------------------------------------------------
// Fixed fields
// ---------------------------------------------------------------------------

template <uint32_t N, class T> void put_fixed(KelGlobal *world, T value) {
    unsigned char octets[N];
    store_be(octets, value, N);
    put(world, octets, N);
}

// The one and two octet fields hold only what fits them.
template <uint32_t N, class T> void put_ranged(KelGlobal *world, T value) {
    constexpr bool kSigned = std::is_signed_v<T>;
    constexpr int64_t kLow = kSigned ? -(int64_t{1} << (8 * N - 1)) : 0;
    constexpr int64_t kHigh = kSigned ? (int64_t{1} << (8 * N - 1)) - 1 : (int64_t{1} << (8 * N)) - 1;
    if (static_cast<int64_t>(value) < kLow || static_cast<int64_t>(value) > kHigh)
        fail(world, kSigned ? kMsgRangeSigned : kMsgRangeUnsigned, static_cast<uint32_t>(value));
    put_fixed<N>(world, value);
}

// A field of sizeof(Wire) octets, sign-extended by Wire's type into Result.
template <class Wire, class Result> Result get_fixed(KelGlobal *world) {
    return static_cast<Result>(load_be<Wire>(take(world, sizeof(Wire))));
}

// ---------------------------------------------------------------------------
// Huge values
// ---------------------------------------------------------------------------

constexpr uint32_t kHugeMax = 4096;

template <bool Signed> bool redundant(const unsigned char *p) {
    return Signed ? sign_repeated(p) : p[0] == 0;
}

template <bool Signed> void put_huge(KelGlobal *world, const unsigned char *bytes, uint32_t n) {
    if (n < 1 || n > kHugeMax)
        fail(world, kMsgMisencoded);
    while (n > 1 && redundant<Signed>(bytes))
        ++bytes, --n;
    put_length(world, n);
    put(world, bytes, n);
}

template <bool Signed> int32_t get_huge(KelGlobal *world, unsigned char **out, uint32_t fixed) {
    uint32_t n = fixed;
    if (fixed) {
        need(world, fixed);
    } else {
        n = content_length(world);
        if (n == 0)
            fail(world, kMsgMisencoded);
        if (n > 1 && canonical(world) && redundant<Signed>(world->inPos))
            fail(world, kMsgIntNeedlesslyLong);
    }
    const unsigned char *p = advance(world, n);
    while (n > 1 && redundant<Signed>(p))
        ++p, --n;
    unsigned char *block = final_block(world, n);
    std::memcpy(block, p, n);
    *out = block;
    return static_cast<int32_t>(n);
}

} // namespace

extern "C" {

void _kel_oenc_int(KelGlobal *world, int32_t value) { put_counted(world, value); }
void _kel_oenc_int_ll(KelGlobal *world, int64_t value) { put_counted(world, value); }
void _kel_oenc_uint(KelGlobal *world, uint32_t value) { put_counted(world, value); }
void _kel_oenc_uint_ll(KelGlobal *world, uint64_t value) { put_counted(world, value); }

int32_t _kel_odec_int(KelGlobal *world) { return get_counted<int32_t, 4>(world); }
int32_t _kel_odec_int_s(KelGlobal *world) { return get_counted<int32_t, 2>(world); }
int64_t _kel_odec_int_ll(KelGlobal *world) { return get_counted<int64_t, 8>(world); }
uint32_t _kel_odec_uint(KelGlobal *world) { return get_counted<uint32_t, 4>(world); }
uint32_t _kel_odec_uint_s(KelGlobal *world) { return get_counted<uint32_t, 2>(world); }
uint64_t _kel_odec_uint_ll(KelGlobal *world) { return get_counted<uint64_t, 8>(world); }

void _kel_oenc_int_1byte(KelGlobal *world, int32_t value) { put_ranged<1>(world, value); }
void _kel_oenc_int_2byte(KelGlobal *world, int32_t value) { put_ranged<2>(world, value); }
void _kel_oenc_int_4byte(KelGlobal *world, int32_t value) { put_fixed<4>(world, value); }
void _kel_oenc_int_8byte(KelGlobal *world, int64_t value) { put_fixed<8>(world, value); }
void _kel_oenc_uint_1byte(KelGlobal *world, uint32_t value) { put_ranged<1>(world, value); }
void _kel_oenc_uint_2byte(KelGlobal *world, uint32_t value) { put_ranged<2>(world, value); }
void _kel_oenc_uint_3byte(KelGlobal *world, uint32_t value) { put_fixed<3>(world, value >> 8); }
void _kel_oenc_uint_4byte(KelGlobal *world, uint32_t value) { put_fixed<4>(world, value); }
void _kel_oenc_uint_8byte(KelGlobal *world, uint64_t value) { put_fixed<8>(world, value); }

int32_t _kel_odec_int_1byte(KelGlobal *world) { return get_fixed<int8_t, int32_t>(world); }
int32_t _kel_odec_int_2byte(KelGlobal *world) { return get_fixed<int16_t, int32_t>(world); }
int32_t _kel_odec_int_4byte(KelGlobal *world) { return get_fixed<int32_t, int32_t>(world); }
int64_t _kel_odec_int_8byte(KelGlobal *world) { return get_fixed<int64_t, int64_t>(world); }
uint32_t _kel_odec_uint_1byte(KelGlobal *world) { return get_fixed<uint8_t, uint32_t>(world); }
uint32_t _kel_odec_uint_2byte(KelGlobal *world) { return get_fixed<uint16_t, uint32_t>(world); }
uint32_t _kel_odec_uint_4byte(KelGlobal *world) { return get_fixed<uint32_t, uint32_t>(world); }
uint64_t _kel_odec_uint_8byte(KelGlobal *world) { return get_fixed<uint64_t, uint64_t>(world); }

uint32_t _kel_odec_uint_3byte(KelGlobal *world) {
    const unsigned char *p = take(world, 3);
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 | static_cast<uint32_t>(p[2]) << 8;
}

void _kel_oenc_int_h(KelGlobal *world, const unsigned char *bytes, uint32_t n) { put_huge<true>(world, bytes, n); }
void _kel_oenc_uint_h(KelGlobal *world, const unsigned char *bytes, uint32_t n) { put_huge<false>(world, bytes, n); }

int32_t _kel_odec_int_h(KelGlobal *world, unsigned char **out, uint32_t fixed) {
    return get_huge<true>(world, out, fixed);
}

int32_t _kel_odec_uint_h(KelGlobal *world, unsigned char **out, uint32_t fixed) {
    return get_huge<false>(world, out, fixed);
}

} // extern "C"
