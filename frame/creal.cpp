// creal.cpp - decimal REAL text taken apart and put together again: the
// parser splits a text into sign, significant digits and exponent (KelCreal),
// the composer writes the canonical forms that DER, CXER, E-XER, OER and JSON
// need from that record, and _kel_atol reads the exponent under both.
#include <climits>

#include "internal.h"

namespace {

constexpr bool is_blank(unsigned c) { return c == ' ' || c == '\t'; }
constexpr bool is_digit(unsigned c) { return c - '0' < 10u; }
constexpr bool is_point(unsigned c) { return c == '.' || c == ','; }

const char *skip_blanks(const char *p) {
    while (is_blank(static_cast<unsigned char>(*p)))
        ++p;
    return p;
}

// Decimal digits of `n`.
int decimal_width(uint64_t n) {
    int width = 1;
    while (n >= 10) {
        n /= 10;
        ++width;
    }
    return width;
}

char *put_decimal(char *p, uint64_t n) {
    char *end = p + decimal_width(n);
    char *q = end;
    do {
        *--q = static_cast<char>('0' + n % 10);
        n /= 10;
    } while (n);
    return end;
}

char *put_zeros(char *p, int64_t count) {
    for (; count > 0; --count)
        *p++ = '0';
    return p;
}

uint64_t magnitude(int64_t n) { return n < 0 ? 0u - static_cast<uint64_t>(n) : static_cast<uint64_t>(n); }

// The significant digits of a record: the text from firstDigit to lastDigit
// without the decimal point that may stand between them.
struct Digits {
    const char *first;
    const char *last;

    int64_t count() const {
        int64_t n = 0;
        for (const char *p = first; p <= last; ++p)
            n += is_digit(static_cast<unsigned char>(*p));
        return n;
    }
    // Copies the digits from the `from`-th (0-based) to before the `to`-th.
    char *put(char *out, int64_t from, int64_t to = INT64_MAX) const {
        int64_t index = 0;
        for (const char *p = first; p <= last && index < to; ++p) {
            if (!is_digit(static_cast<unsigned char>(*p)))
                continue;
            if (index++ >= from)
                *out++ = *p;
        }
        return out;
    }
};

// Octets of each composed form, without the NUL.
int64_t plain_size(int64_t digits, int64_t exponent) {
    if (exponent >= 0)
        return (digits > exponent + 1 ? digits + 1 : exponent + 1);
    return 2 + (-exponent - 1) + digits; // "0." zeros digits
}

char *put_plain(char *p, const Digits &digits, int64_t count, int64_t exponent) {
    if (exponent < 0) {
        *p++ = '0';
        *p++ = '.';
        p = put_zeros(p, -exponent - 1);
        return digits.put(p, 0);
    }
    if (count <= exponent + 1)
        return put_zeros(digits.put(p, 0), exponent + 1 - count);
    p = digits.put(p, 0, exponent + 1);
    *p++ = '.';
    return digits.put(p, exponent + 1);
}

} // namespace

extern "C" {

int32_t _kel_atol(const unsigned char *text, uint32_t *value) {
    const unsigned char *p = text;
    while (is_blank(*p))
        ++p;
    bool negative = false;
    if (*p == '+' || *p == '-') {
        negative = *p == '-';
        ++p;
        while (is_blank(*p))
            ++p;
    }
    if (!is_digit(*p))
        return *p == 0 ? -3 : -4;
    uint32_t n = 0;
    do {
        const uint32_t digit = *p - '0';
        if (n > (UINT32_MAX - digit) / 10)
            return -5;
        n = n * 10 + digit;
        ++p;
    } while (is_digit(*p));
    *value = negative ? 0u - n : n;
    return static_cast<int32_t>(p - text);
}

int _kel_ex_parse_creal_X693(const char *text, KelCreal *record) {
    *record = KelCreal{};
    if (!text)
        return 1;
    const char *p = skip_blanks(text);
    if (*p == 0)
        return 1;
    if (*p == '+' || *p == '-')
        record->negative = *p++ == '-';

    // Walk the mantissa.  The power of ten of the first significant digit is
    // the number of integer digits from it on, less one; or, in the fraction,
    // minus its place behind the point.
    const char *first = nullptr;
    const char *last = nullptr;
    bool anyDigit = false;
    bool pointSeen = false;
    int64_t integerDigits = 0; // integer digits from the first significant one
    int64_t place = 0;         // place of the current fraction digit
    int64_t power = 0;
    for (;; ++p) {
        const unsigned c = static_cast<unsigned char>(*p);
        if (is_digit(c)) {
            anyDigit = true;
            if (pointSeen)
                ++place;
            if (c != '0') {
                if (!first) {
                    first = p;
                    power = pointSeen ? -place : 0;
                }
                last = p;
            }
            if (first && !pointSeen)
                ++integerDigits;
        } else if (is_point(c) && !pointSeen) {
            pointSeen = true;
        } else {
            break;
        }
    }
    if (!anyDigit)
        return (*p == 'E' || *p == 'e') ? 2 : 4;
    if (integerDigits)
        power = integerDigits - 1;

    if (*p == 'E' || *p == 'e') {
        uint32_t word = 0;
        const int32_t used = _kel_atol(reinterpret_cast<const unsigned char *>(p + 1), &word);
        if (used < 0)
            return -used;
        // _kel_atol hands back the negated word; the sign tells its magnitude.
        const bool negative = *skip_blanks(p + 1) == '-';
        const int64_t stated = negative ? -static_cast<int64_t>(0u - word) : word;
        power += stated;
        p += 1 + used;
    }
    if (*skip_blanks(p) != 0)
        return 4;

    if (!first) {
        record->flags = record->negative ? KEL_CREAL_ZERO_NEGATIVE : KEL_CREAL_ZERO;
        return 0;
    }
    if (power < INT32_MIN || power > INT32_MAX)
        return 5;
    record->firstDigit = first;
    record->lastDigit = last;
    record->exponent = static_cast<int32_t>(power);
    return 0;
}

int _kel_ex_compose_creal_X693(const KelCreal *record, char *out, uint32_t size) {
    const bool negative = record->negative != 0;
    const Digits digits{record->firstDigit, record->lastDigit};
    const int64_t count = record->firstDigit ? digits.count() : 0;
    const int64_t exponent = record->exponent;
    // In the digits-first form the exponent belongs to the whole digit string.
    const int64_t integerExponent = exponent - (count - 1);

    int64_t needed;
    if (!record->firstDigit)
        needed = (record->flags & KEL_CREAL_ZERO_NEGATIVE) ? 2 : 1;
    else if (record->flags & KEL_CREAL_PLAIN)
        needed = negative + plain_size(count, exponent);
    else if (record->flags & KEL_CREAL_DIGITS_FIRST)
        needed = negative + count + 2 +
                 (integerExponent == 0 ? 2
                                       : (integerExponent < 0) +
                                             decimal_width(magnitude(integerExponent)));
    else
        needed = negative + 2 + (count > 1 ? count - 1 : 1) + 1 + (exponent < 0) +
                 decimal_width(magnitude(exponent));
    if (needed >= static_cast<int64_t>(size)) {
        if (size)
            out[0] = 0;
        return -1;
    }

    char *p = out;
    if (!record->firstDigit) {
        if (record->flags & KEL_CREAL_ZERO_NEGATIVE)
            *p++ = '-';
        *p++ = '0';
    } else {
        if (negative)
            *p++ = '-';
        if (record->flags & KEL_CREAL_PLAIN) {
            p = put_plain(p, digits, count, exponent);
        } else if (record->flags & KEL_CREAL_DIGITS_FIRST) {
            p = digits.put(p, 0);
            *p++ = '.';
            *p++ = 'E';
            if (integerExponent == 0)
                *p++ = '+';
            else if (integerExponent < 0)
                *p++ = '-';
            p = put_decimal(p, magnitude(integerExponent));
        } else {
            *p++ = *record->firstDigit;
            *p++ = '.';
            p = count > 1 ? digits.put(p, 1) : put_zeros(p, 1);
            *p++ = 'E';
            if (exponent < 0)
                *p++ = '-';
            p = put_decimal(p, magnitude(exponent));
        }
    }
    *p = 0;
    return static_cast<int>(p - out);
}

} // extern "C"
