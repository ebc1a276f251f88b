// real_contents.h - the contents octets of a REAL as the BER and PER
// families both write and read them: the binary form of a double, the names
// and octets of the special values, the scan of ISO 6093 decimal text and
// the canonical decimal text.  PER carries these same contents behind a
// length determinant, so only the framing differs between the families.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "internal.h"
#include "kelvarn_ber.h"

namespace kel::real {

// Octets of the special values, in the order of kSpecialText.
constexpr uint8_t kPlusInfinity = 0x40;
constexpr uint8_t kMinusInfinity = 0x41;
constexpr uint8_t kNotANumber = 0x42;
constexpr uint8_t kMinusZero = 0x43;

constexpr const char *kSpecialText[] = {"PLUS_INFINITY", "MINUS_INFINITY", "NOT_A_NUMBER", "-0"};

// Compatibility flag that keeps decimal text as the caller wrote it.
constexpr uint32_t kCompatPlainDecimal = 0x400;

// Messages of the writers.
enum : int {
    kMsgBadDecimal = 83,     // 0091E
    kMsgExponentTooLong = 94, // 0021E
    kMsgMantissaDigits = 107, // 0038E
    kMsgExponentDigits = 108, // 0039E
};

// The octet of a special value's text, or -1 for any other text.
inline int special_octet(const char *text) {
    for (uint8_t i = 0; i < 4; ++i)
        if (std::strcmp(text, kSpecialText[i]) == 0)
            return kPlusInfinity + i;
    return -1;
}

// Room for the contents of any double: first octet, three exponent octets,
// eight mantissa octets.
constexpr uint32_t kMaxDoubleContents = 16;

// Writes the contents of `value` to `out`, returns their count: none for
// +0, one octet for the special values (minus zero, not a number, and the
// largest finite magnitude, which stands for infinity), else the normalised
// base 2 form with an odd mantissa and the shortest exponent.
inline uint32_t double_contents(KelGlobal *world, double value, unsigned char out[kMaxDoubleContents]) {
    if (std::isnan(value))
        return out[0] = kNotANumber, 1;
    if (value == 0) {
        if (!std::signbit(value))
            return 0;
        return out[0] = kMinusZero, 1;
    }
    if (value >= DBL_MAX)
        return out[0] = kPlusInfinity, 1;
    if (value <= -DBL_MAX)
        return out[0] = kMinusInfinity, 1;

    unsigned char mantissa[8];
    int32_t exponent = 0;
    const int n = _kel_get_mantissa(world, value, mantissa, &exponent);
    const uint32_t magnitude = static_cast<uint32_t>(exponent < 0 ? ~exponent : exponent);
    const int exponentOctets = _kel_numbits(magnitude) / 8 + 1;
    const uint32_t sign = value < 0 ? 0x40 : 0;
    uint32_t at = 0;
    if (exponentOctets > 3) {
        out[at++] = static_cast<unsigned char>(0x83 | sign);
        out[at++] = static_cast<unsigned char>(exponentOctets);
    } else {
        out[at++] = static_cast<unsigned char>(0x80 | sign | static_cast<uint32_t>(exponentOctets - 1));
    }
    for (int i = exponentOctets; i-- > 0;)
        out[at++] = static_cast<unsigned char>(static_cast<uint32_t>(exponent) >> (8 * i));
    std::memcpy(out + at, mantissa, static_cast<size_t>(n));
    return at + static_cast<uint32_t>(n);
}

constexpr bool is_digit(unsigned c) { return c - '0' < 10u; }

// What a scan of ISO 6093 text found: blanks, a sign, digits, a point ('.' or
// ','), digits, then 'E' or 'e', a sign and digits.  `end` is where the scan
// stopped; the text is valid in that syntax when it is the text's end.
struct DecimalScan {
    uint32_t start = 0; // behind the leading blanks
    uint32_t end = 0;
    uint32_t mantissaDigits = 0;
    uint32_t exponentDigits = 0;
    bool point = false;
    bool exponent = false;

    // The ISO 6093 form (1 NR1, 2 NR2, 3 NR3) of what was found.
    uint8_t form() const { return exponent ? 3 : point ? 2 : 1; }
};

inline DecimalScan scan_decimal(const unsigned char *s, uint32_t n) {
    DecimalScan d;
    uint32_t i = 0;
    auto digits = [&] {
        const uint32_t from = i;
        while (i < n && is_digit(s[i]))
            ++i;
        return i - from;
    };
    auto sign = [&] {
        if (i < n && (s[i] == '+' || s[i] == '-'))
            ++i;
    };
    while (i < n && s[i] == ' ')
        ++i;
    d.start = i;
    sign();
    d.mantissaDigits = digits();
    if (i < n && (s[i] == '.' || s[i] == ',')) {
        d.point = true;
        ++i;
        d.mantissaDigits += digits();
    }
    if (i < n && (s[i] == 'E' || s[i] == 'e')) {
        d.exponent = true;
        ++i;
        sign();
        d.exponentDigits = digits();
    }
    d.end = i;
    return d;
}

// The canonical text (digits first, then "E" and the exponent) of decimal
// text that `parsed`, the status of _kel_ex_parse_creal_X693, says was read
// into `record`; in temporary memory of the text's length + 5 octets, which
// the caller frees.  A text that didn't parse raises 0038E, 0039E, 0021E or
// 0091E.
inline char *canonical_decimal(KelGlobal *world, const char *text, int parsed, KelCreal &record) {
    if (parsed)
        _kel_enc_error(world, parsed == 2   ? kMsgMantissaDigits
                              : parsed == 3 ? kMsgExponentDigits
                              : parsed == 5 ? kMsgExponentTooLong
                                            : kMsgBadDecimal,
                       0);
    const auto size = static_cast<uint32_t>(std::strlen(text)) + 5;
    auto *composed = static_cast<char *>(_kel_dec_gettempmem(world, size));
    record.flags |= KEL_CREAL_DIGITS_FIRST;
    if (_kel_ex_compose_creal_X693(&record, composed, size) < 0)
        _kel_enc_error(world, kMsgBadDecimal, 0);
    return composed;
}

} // namespace kel::real
