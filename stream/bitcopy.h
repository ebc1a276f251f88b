// bitcopy.h - bit-granular copies shared by the forward bit writer and reader.
//
// Bits run high bit first.  "Offset" is the number of bits already used in
// the first octet.  The copies work eight octets per round through one
// big-endian 64-bit load and store, and read their source only as far as the
// copied bits reach.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace kel::bits {

// The top `n` bits of an octet (n 0..8).
constexpr uint8_t top_mask(uint32_t n) { return static_cast<uint8_t>(0xFF00u >> n); }

inline uint64_t load_be64(const uint8_t *p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    if constexpr (std::endian::native == std::endian::little)
        v = __builtin_bswap64(v);
    return v;
}

inline void store_be64(uint8_t *p, uint64_t v) {
    if constexpr (std::endian::native == std::endian::little)
        v = __builtin_bswap64(v);
    std::memcpy(p, &v, 8);
}

// `count` bits from the octet boundary at `src` to the octet boundary at
// `dst`; the unused low bits of the last octet come out zero.
inline void copy_aligned(uint8_t *dst, const uint8_t *src, uint32_t count) {
    const uint32_t whole = count >> 3;
    std::memcpy(dst, src, whole);
    if (count & 7)
        dst[whole] = src[whole] & top_mask(count & 7);
}

// `count` bits that start `shift` (1..7) bits into `src`, to the octet
// boundary at `dst`: each octet is src[j] << shift | src[j + 1] >> (8 - shift).
// The unused low bits of the last octet come out zero.
inline void copy_shift_left(uint8_t *dst, const uint8_t *src, uint32_t shift, uint32_t count) {
    const uint32_t srcLen = (shift + count + 7) >> 3;
    const uint32_t dstLen = (count + 7) >> 3;
    const uint32_t back = 8 - shift;
    // A round of eight writes dst[j..j+7] and reads src[j..j+8].
    const uint32_t rounds = dstLen < srcLen ? dstLen : srcLen - 1;
    uint32_t j = 0;
    for (; j + 8 <= rounds; j += 8)
        store_be64(dst + j, load_be64(src + j) << shift | src[j + 8] >> back);
    for (; j + 1 < srcLen && j < dstLen; ++j)
        dst[j] = static_cast<uint8_t>(src[j] << shift | src[j + 1] >> back);
    if (j < dstLen)
        dst[j] = static_cast<uint8_t>(src[j] << shift);
    if (count & 7)
        dst[dstLen - 1] &= top_mask(count & 7);
}

// `count` bits from the octet boundary at `src` to `offset` (1..7) bits into
// `dst`.  The first octet keeps its `offset` high bits; the bits behind the
// new end in the last octet come out zero.
inline void copy_shift_right(uint8_t *dst, uint32_t offset, const uint8_t *src, uint32_t count) {
    const uint32_t srcLen = (count + 7) >> 3;
    const uint32_t dstLen = (offset + count + 7) >> 3;
    const uint32_t back = 8 - offset;
    dst[0] = static_cast<uint8_t>((dst[0] & top_mask(offset)) | src[0] >> offset);
    // A round of eight writes dst[j..j+7] and reads src[j-1..j+7].
    uint32_t j = 1;
    for (; j + 8 <= srcLen; j += 8)
        store_be64(dst + j, load_be64(src + j - 1) << back | src[j + 7] >> offset);
    for (; j < srcLen; ++j)
        dst[j] = static_cast<uint8_t>(src[j - 1] << back | src[j] >> offset);
    if (j < dstLen)
        dst[j] = static_cast<uint8_t>(src[j - 1] << back);
    const uint32_t endBits = (offset + count) & 7;
    if (endBits)
        dst[dstLen - 1] &= top_mask(endBits);
}

} // namespace kel::bits
