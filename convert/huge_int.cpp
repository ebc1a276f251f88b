// huge_int.cpp - huge integers (big-endian two's complement octets of any
// length, or unsigned magnitudes): canonical form, addition, subtraction.
#include <algorithm>
#include <cstring>

#include "kelvarn.h"

namespace {

// Count of leading octets that the canonical form drops.
uint32_t redundant_octets(const uint8_t *value, uint32_t length, bool isUnsigned) {
    uint32_t i = 0;
    if (isUnsigned) {
        while (i + 1 < length && value[i] == 0)
            ++i;
    } else {
        while (i + 1 < length && ((value[i] == 0x00 && value[i + 1] < 0x80) ||
                                  (value[i] == 0xFF && value[i + 1] >= 0x80)))
            ++i;
    }
    return i;
}

// a + b, or a - b as a + ~b + 1, over the longer length with both operands
// extended (sign or zero), written backward from the end of the buffer.  The
// octet above the longer length is stored only when the value needs it.
template <bool Subtract>
unsigned char *combine(uint32_t lengthA, const uint8_t *a, uint32_t lengthB, const uint8_t *b,
                       uint32_t *resultLength, uint8_t *result, uint32_t flags) {
    if (!resultLength || !result || (lengthA && !a) || (lengthB && !b))
        return nullptr;
    const bool isUnsigned = (flags & 0xFF) != 0;
    const uint32_t length = std::max({lengthA, lengthB, 1u});
    const uint32_t size = *resultLength;
    if (size < length) {
        *resultLength = length + 1;
        return nullptr;
    }
    const uint8_t extendA = !isUnsigned && lengthA && (a[0] & 0x80) ? 0xFF : 0x00;
    const uint8_t extendB = !isUnsigned && lengthB && (b[0] & 0x80) ? 0xFF : 0x00;
    constexpr uint8_t flip = Subtract ? 0xFF : 0x00;
    uint8_t *const end = result + size;
    uint8_t *first = end;
    // Operands are read before the same position of the result is written,
    // so a result that ends where an operand ends is safe.
    unsigned carry = Subtract;
    for (uint32_t i = 0; i < length; ++i) {
        const unsigned x = i < lengthA ? a[lengthA - 1 - i] : extendA;
        const unsigned y = uint8_t((i < lengthB ? b[lengthB - 1 - i] : extendB) ^ flip);
        const unsigned sum = x + y + carry;
        *--first = uint8_t(sum);
        carry = sum >> 8;
    }
    bool extra;
    uint8_t top;
    if (isUnsigned) {
        // A carry out of an addition is one more octet; an unsigned
        // difference stays modulo the longer length.
        top = 1;
        extra = !Subtract && carry;
    } else {
        top = uint8_t(extendA + uint8_t(extendB ^ flip) + carry);
        extra = top != ((*first & 0x80) ? 0xFF : 0x00);
    }
    if (extra) {
        if (size == length) {
            *resultLength = length + 1;
            return nullptr;
        }
        *--first = top;
    }
    const uint32_t stored = uint32_t(end - first);
    const uint32_t drop = redundant_octets(first, stored, isUnsigned);
    *resultLength = stored - drop;
    return first + drop;
}

} // namespace

extern "C" {

uint32_t *kelToCanonicalHugeInt(uint32_t *length, unsigned char **value, int isUnsigned) {
    if (length && value && *value && *length) {
        const uint32_t drop = redundant_octets(*value, *length, isUnsigned != 0);
        *value += drop;
        *length -= drop;
    }
    return length;
}

uint32_t kelHugeIntToCanonical(unsigned char *value, uint32_t length, int isUnsigned) {
    if (!value || !length)
        return length;
    const uint32_t drop = redundant_octets(value, length, isUnsigned != 0);
    if (drop)
        std::memmove(value, value + drop, length - drop);
    return length - drop;
}

unsigned char *kelAddHugeInt(uint32_t lengthA, const unsigned char *a, uint32_t lengthB,
                             const unsigned char *b, uint32_t *resultLength, unsigned char *result,
                             uint32_t flags) {
    return combine<false>(lengthA, a, lengthB, b, resultLength, result, flags);
}

unsigned char *kelSubHugeInt(uint32_t lengthA, const unsigned char *a, uint32_t lengthB,
                             const unsigned char *b, uint32_t *resultLength, unsigned char *result,
                             uint32_t flags) {
    return combine<true>(lengthA, a, lengthB, b, resultLength, result, flags);
}

} // extern "C"
