// int_helpers.cpp - integer helpers of all rule families: octet and bit
// counts of integers, host-order integers of a given width, big-endian two's
// complement, and fixed-width decimal digits.

#include <bit>
#include <cstring>

#include "internal.h"
#include "kelvarn_stream.h"

namespace {

// "0012S: Out-of-range value in time type": a number wider than its field.
constexpr int kMsgFieldTooWide = 72;

template <class T> T load(const void *p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

template <class T> void store(void *p, T v) { std::memcpy(p, &v, sizeof v); }

// Octets of the minimal form of a number whose significant bits lie in
// `magnitude`, with room for a sign bit above them.
constexpr int octets_with_sign(uint64_t magnitude) {
    return static_cast<int>(std::bit_width(magnitude) + 8) / 8;
}

static_assert(octets_with_sign(0) == 1 && octets_with_sign(0x7F) == 1 &&
              octets_with_sign(0x80) == 2 && octets_with_sign(~0ull) == 9);

constexpr uint32_t kPowersOfTen[] = {1, 10, 100, 1000, 10000};

} // namespace

extern "C" {

int _kel_intbytes(int64_t value) {
    return octets_with_sign(static_cast<uint64_t>(value < 0 ? ~value : value));
}

int _kel_uintbytes(uint64_t value) { return octets_with_sign(value); }

int _kel_numbytes(int32_t value) {
    const uint32_t magnitude =
        value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
    const int n = static_cast<int>(std::bit_width(magnitude) + 7) / 8;
    return n ? n : 1;
}

int _kel_numbits(uint32_t value) { return static_cast<int>(std::bit_width(value)); }

uint64_t _kel_get_uint(const void *p, uint32_t size) {
    if (size <= 1)
        return load<uint8_t>(p);
    if (size <= 2)
        return load<uint16_t>(p);
    if (size <= 4)
        return load<uint32_t>(p);
    return load<uint64_t>(p);
}

void _kel_set_uint(void *p, uint32_t size, uint64_t value) {
    if (size <= 1)
        store(p, static_cast<uint8_t>(value));
    else if (size <= 2)
        store(p, static_cast<uint16_t>(value));
    else if (size <= 4)
        store(p, static_cast<uint32_t>(value));
    else
        store(p, value);
}

void _kel_set_int(void *p, uint32_t size, int64_t value) {
    _kel_set_uint(p, size, static_cast<uint64_t>(value));
}

int64_t twos_comp_int(const unsigned char *p, int32_t n) {
    if (n < 1)
        return 0;
    uint64_t v = static_cast<uint64_t>(static_cast<int64_t>(static_cast<int8_t>(p[0])));
    for (int32_t i = 1; i < n; ++i)
        v = v << 8 | p[i];
    return static_cast<int64_t>(v);
}

int64_t twos_comp_int_l(const unsigned char *p, int32_t n) { return twos_comp_int(p, n); }

void _kel_shtos(KelGlobal *world, unsigned char *dest, uint16_t value, int16_t digits) {
    if (digits < 5 && value >= kPowersOfTen[digits < 0 ? 0 : digits])
        _kel_enc_error(world, kMsgFieldTooWide, value);
    for (int i = digits - 1; i >= 0; --i, value /= 10)
        dest[i] = static_cast<unsigned char>('0' + value % 10);
}

uint32_t _kel_strtos(KelGlobal *world, unsigned char **pos, int32_t *rem, uint8_t digits) {
    if (*rem < digits)
        _kel_enc_error(world, kel::kMsgEndOfInput, 0);
    const unsigned char *p = *pos;
    uint32_t value = 0;
    for (uint32_t i = 0; i < digits; ++i) {
        const uint32_t digit = p[i] - static_cast<uint32_t>('0');
        if (digit > 9)
            _kel_enc_error(world, kel::kMsgMisencoded, 0);
        value = value * 10 + digit;
    }
    *pos += digits;
    *rem -= digits;
    return value;
}

} // extern "C"
