// decimal_text.h - decimal digits of integers for the text rules' writers:
// 32 and 64-bit values two digits a step, written backwards from the end of
// a buffer, and the magnitude of a huge integer four digits a division.
#pragma once

#include <cstdint>
#include <type_traits>

namespace kel {

// "00" to "99".
struct DigitPairs {
    char pair[100][2];
    constexpr DigitPairs() : pair() {
        for (int i = 0; i < 100; ++i) {
            pair[i][0] = static_cast<char>('0' + i / 10);
            pair[i][1] = static_cast<char>('0' + i % 10);
        }
    }
};
inline constexpr DigitPairs kDigitPairs{};

// Decimal digits of `value` ending before `end`; returns their start.
template <class U> inline char *digits_before(char *end, U value) {
    char *p = end;
    while (value >= 100) {
        const auto pair = static_cast<unsigned>(value % 100);
        value /= 100;
        p -= 2;
        p[0] = kDigitPairs.pair[pair][0];
        p[1] = kDigitPairs.pair[pair][1];
    }
    if (value >= 10) {
        p -= 2;
        p[0] = kDigitPairs.pair[value][0];
        p[1] = kDigitPairs.pair[value][1];
    } else {
        *--p = static_cast<char>('0' + value);
    }
    return p;
}

// The text of `value` before *end, read as signed when `isSigned` is set:
// *end moves to its start, and its length is returned.
template <class U> inline uint32_t integer_text_before(U value, char **end, int isSigned) {
    using S = std::make_signed_t<U>;
    const bool negative = isSigned && static_cast<S>(value) < 0;
    char *start = digits_before(*end, negative ? static_cast<U>(U(0) - value) : value);
    if (negative)
        *--start = '-';
    const auto length = static_cast<uint32_t>(*end - start);
    *end = start;
    return length;
}

// Decimal digits of the big-endian `magnitude` of `n` octets ending before
// `end` (room for 5n/2 + 1 of them); the magnitude is divided down to 0 on
// the way.  Returns their start; 0 is "0".
inline char *huge_digits_before(char *end, unsigned char *magnitude, uint32_t n) {
    char *p = end;
    uint32_t first = 0; // octets at the front that have become 0
    while (first < n && magnitude[first] == 0)
        ++first;
    while (first < n) {
        uint32_t rest = 0;
        for (uint32_t i = first; i < n; ++i) {
            const uint32_t part = (rest << 8) | magnitude[i];
            magnitude[i] = static_cast<unsigned char>(part / 10000);
            rest = part % 10000;
        }
        while (first < n && magnitude[first] == 0)
            ++first;
        // Four digits a division, but no zeros in front of the last ones.
        for (int i = 0; i < 4 && (first < n || rest); ++i, rest /= 10)
            *--p = static_cast<char>('0' + rest % 10);
    }
    if (p == end)
        *--p = '0';
    return p;
}

} // namespace kel
