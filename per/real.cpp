// real.cpp - REAL in PER: the writers of double, decimal text (KelCharReal)
// and KelMixedReal values, the readers into double, float, text and mixed
// forms, and the inner steps that read the binary and the decimal form.
//
// The contents are those of BER (real_contents.h) behind an unconstrained
// length; in aligned PER they stand on octet boundaries.  Decimal text goes
// out normalised to NR3 unless the caller keeps it as written.  The binary
// form is read strictly (base 2, no scale factor; a minimal exponent and an
// odd mantissa unless relaxed); the decimal form liberally (blanks, either
// sign, '.' or ',', 'E' or 'e'), its value accumulated digit by digit.
// Infinity is held as the largest finite value of the type.

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "contents.h"
#include "float_kinds.h"
#include "real_contents.h"

namespace {

using namespace kel::per;
using namespace kel::per::contents;
using kel::real::DecimalScan;

// ---------------------------------------------------------------------------
// Writing

void put_special(KelGlobal *world, int octet) {
    const auto contents = static_cast<unsigned char>(octet);
    put_contents(world, &contents, 1);
}

// Decimal text behind its length and the octet of its ISO 6093 form.
void put_decimal(KelGlobal *world, const char *text) {
    const auto n = static_cast<uint32_t>(std::strlen(text));
    const DecimalScan d = kel::real::scan_decimal(reinterpret_cast<const unsigned char *>(text), n);
    if (d.end != n || d.mantissaDigits == 0 || (d.exponent && d.exponentDigits == 0) || n >= kFragmentUnit - 1)
        fail(world, kMsgBadDecimal);
    _kel_penc_lfrag(world, n + 1);
    put_bits(world, d.form(), 8);
    _kel_append(world, reinterpret_cast<const unsigned char *>(text), n * 8, 1);
}

// ---------------------------------------------------------------------------
// Reading

// The binary form behind its first octet, in `p[0..left)`.
double binary_value(KelGlobal *world, uint8_t first, const unsigned char *p, uint32_t left) {
    if (first & 0x3C) // a base other than 2, or a scale factor
        fail(world, kMsgMisencoded);
    uint32_t at = 0;
    uint32_t count = (first & 3) + 1u;
    if (count == 4) {
        if (left == 0)
            fail(world, kMsgExponentTooLong, 0);
        count = p[at++];
        if (count == 0)
            fail(world, kMsgMisencoded);
        if (count > 4)
            fail(world, kMsgExponentTooLong, count);
    }
    if (at + count >= left) // no octet left for the mantissa
        fail(world, kMsgExponentTooLong, count);
    const unsigned char *e = p + at;
    if (count > 1 && !relaxed(world) && ((e[0] == 0 && !(e[1] & 0x80)) || (e[0] == 0xFF && (e[1] & 0x80))))
        fail(world, kMsgExponentNotMinimal);
    int64_t exponent = static_cast<int8_t>(e[0]);
    for (uint32_t i = 1; i < count; ++i)
        exponent = exponent * 256 + e[i];
    if (exponent > 1024)
        fail(world, kMsgRealTooLarge);

    const unsigned char *m = e + count;
    const uint32_t digits = left - at - count;
    if (!relaxed(world) && (m[0] == 0 || !(m[digits - 1] & 1)))
        fail(world, kMsgMisencoded);
    double mantissa = 0;
    for (uint32_t i = 0; i < digits; ++i)
        mantissa = mantissa * 256 + m[i];
    const double value = std::ldexp(mantissa, static_cast<int>(exponent));
    if (value == 0)
        fail(world, kMsgRealZeroContents);
    if (!(value <= std::numeric_limits<double>::max()))
        fail(world, kMsgRealTooLarge);
    return (first & 0x40) ? -value : value;
}

// Checks decimal text against the form its first octet names and returns
// its value.  Each form admits what marks it: NR1 neither a decimal mark
// nor an exponent, NR2 a mark and no exponent, NR3 one of them at least.
template <class Real> Real decimal_value(KelGlobal *world, uint8_t form, const unsigned char *s, uint32_t n) {
    using kel::real::is_digit;
    const DecimalScan d = kel::real::scan_decimal(s, n);
    if (d.mantissaDigits == 0)
        fail(world, kMsgMantissaDigits);
    if (d.exponent && d.exponentDigits == 0)
        fail(world, kMsgExponentDigits);
    if (d.end != n)
        fail(world, kMsgMisencoded);
    const bool fits = form == 1 ? !d.point && !d.exponent : form == 2 ? d.point && !d.exponent : d.point || d.exponent;
    if (!fits)
        fail(world, kMsgBadNr1 + form - 1);

    uint32_t i = d.start;
    const bool negative = s[i] == '-';
    i += s[i] == '-' || s[i] == '+';
    Real value = 0;
    for (; i < n && is_digit(s[i]); ++i)
        value = value * 10 + static_cast<Real>(s[i] - '0');
    if (d.point) {
        Real factor = static_cast<Real>(0.1);
        for (++i; i < n && is_digit(s[i]); ++i, factor /= 10)
            value += static_cast<Real>(s[i] - '0') * factor;
    }
    int32_t exponent = 0;
    if (d.exponent) {
        const bool below = s[++i] == '-';
        i += s[i] == '-' || s[i] == '+';
        for (; i < n; ++i) // beyond a few hundred the result is 0 or too large anyway
            exponent = exponent < 100000 ? exponent * 10 + (s[i] - '0') : exponent;
        exponent = below ? -exponent : exponent;
    }
    constexpr Real kMax = std::numeric_limits<Real>::max();
    constexpr Real kStep = static_cast<Real>(1e10);
    if (value == 0)
        fail(world, kMsgRealZeroContents);
    if (exponent < 0) {
        for (exponent = -exponent; exponent >= 10 && value != 0; exponent -= 10)
            value /= kStep;
        for (; exponent > 0 && value != 0; --exponent)
            value /= 10;
    } else {
        for (; exponent >= 10 && value <= kMax / kStep; exponent -= 10)
            value *= kStep;
        for (; exponent > 0 && value <= kMax / 10; --exponent)
            value *= 10;
    }
    if (exponent > 0 || !(value <= kMax))
        fail(world, kMsgRealTooLarge);
    if (value == 0)
        fail(world, kMsgRealZeroContents);
    return negative ? -value : value;
}

// The `left` octets behind the first, where they can be read; frees what
// the read took when `body` returns.
template <class Body> auto with_octets(KelGlobal *world, uint32_t left, Body body) {
    unsigned char local[64];
    unsigned char *temp;
    const unsigned char *p = take_octets(world, left, local, sizeof local, &temp);
    const auto result = body(p);
    if (temp)
        _kel_dec_freetempmem(world, temp);
    return result;
}

template <class Real> Real read_decimal(KelGlobal *world, uint8_t first, uint32_t left, char *copy) {
    if (first < 1 || first > 3)
        fail(world, kMsgReservedReal);
    return with_octets(world, left, [&](const unsigned char *p) {
        const Real value = decimal_value<Real>(world, first, p, left);
        if (copy) {
            std::memcpy(copy, p, left);
            copy[left] = 0;
        }
        return value;
    });
}

// A REAL into a double or a float, `Real`.
template <class Real> Real decode_number(KelGlobal *world) {
    const uint32_t length = contents_length(world);
    if (length == 0)
        return 0;
    need_bits(world, uint64_t{length} * 8);
    const auto first = static_cast<uint8_t>(get_bits(world, 8));
    constexpr Real kMax = std::numeric_limits<Real>::max();
    if (first & 0x80) {
        const double value = _kel_pdec_binreal(world, first, length - 1);
        if (!(std::fabs(value) <= kMax))
            fail(world, kMsgRealTooLarge);
        return static_cast<Real>(value);
    }
    if (first & 0x40) {
        if (length > 1 || first > kel::real::kMinusZero)
            fail(world, kMsgReservedReal);
        return kel::special_value<Real>(first); // the octets 0x40 to 0x43 are the kinds
    }
    return read_decimal<Real>(world, first, length - 1, nullptr);
}

char *copy_text(KelGlobal *world, const char *text) {
    const size_t n = std::strlen(text) + 1;
    auto *copy = static_cast<char *>(_kel_dec_getmem(world, static_cast<int32_t>(n)));
    std::memcpy(copy, text, n);
    return copy;
}

// The forms that both the text and the mixed readers give as text: the
// special values, from contents of one octet, and decimal text as it
// stands.  Null for the binary form, which the caller reads.
char *text_form(KelGlobal *world, uint8_t first, uint32_t length) {
    if (length == 1) {
        if (first < kel::real::kPlusInfinity || first > kel::real::kMinusZero)
            fail(world, kMsgMisencoded);
        return copy_text(world, kel::real::kSpecialText[first - kel::real::kPlusInfinity]);
    }
    if (first & 0x80)
        return nullptr;
    if (first < 1 || first > 3)
        fail(world, first == kel::real::kPlusInfinity || first == kel::real::kMinusInfinity
                        ? int{kMsgMisencoded}
                        : int{kMsgReservedReal});
    auto *text = static_cast<char *>(_kel_dec_getmem(world, static_cast<int32_t>(length)));
    _kel_pdec_chrreal(world, first, length - 1, nullptr, text);
    return text;
}

} // namespace

extern "C" {

void _kel_penc_real(KelGlobal *world, double value) {
    unsigned char contents[kel::real::kMaxDoubleContents];
    put_contents(world, contents, kel::real::double_contents(world, value, contents));
}

void _kel_penc_creal(KelGlobal *world, const char *text) {
    if (!text)
        fail(world, kMsgBadDecimal);
    int octet = kel::real::special_octet(text);
    if (octet >= 0)
        return put_special(world, octet);
    KelCreal record;
    const int parsed = _kel_ex_parse_creal_X693(text, &record);
    const char *body = text;
    char *composed = nullptr;
    bool zero;
    if (world->ext->compatFlags & kel::real::kCompatPlainDecimal) {
        zero = parsed == 0 && !record.firstDigit;
    } else {
        body = composed = kel::real::canonical_decimal(world, text, parsed, record);
        zero = std::strcmp(body, "0") == 0;
        octet = kel::real::special_octet(body);
    }
    if (octet >= 0)
        put_special(world, octet);
    else if (zero)
        put_contents(world, nullptr, 0);
    else
        put_decimal(world, body);
    if (composed)
        _kel_dec_freetempmem(world, composed);
}

void _kel_penc_mreal_ia(KelGlobal *world, int32_t kind, const void *value) {
    if (kind == 0) {
        double number;
        std::memcpy(&number, value, sizeof number);
        return _kel_penc_real(world, number);
    }
    if (kind == 1) {
        const char *text;
        std::memcpy(&text, value, sizeof text);
        return _kel_penc_creal(world, text);
    }
    fail(world, kMsgBadMixedReal, static_cast<uint32_t>(kind));
}

double _kel_pdec_real(KelGlobal *world) { return decode_number<double>(world); }

float _kel_pdec_freal(KelGlobal *world) { return decode_number<float>(world); }

double _kel_pdec_binreal(KelGlobal *world, uint8_t first, uint32_t left) {
    return with_octets(world, left, [&](const unsigned char *p) { return binary_value(world, first, p, left); });
}

void _kel_pdec_chrreal(KelGlobal *world, uint8_t first, uint32_t left, double *result, char *copy) {
    const double value = read_decimal<double>(world, first, left, copy);
    if (result)
        *result = value;
}

char *_kel_pdec_creal(KelGlobal *world) {
    const uint32_t length = contents_length(world);
    if (length == 0)
        return copy_text(world, "0");
    need_bits(world, uint64_t{length} * 8);
    const auto first = static_cast<uint8_t>(get_bits(world, 8));
    if (char *text = text_form(world, first, length))
        return text;
    const double value = _kel_pdec_binreal(world, first, length - 1);
    constexpr int kPrinted = 24;
    auto *text = static_cast<char *>(_kel_dec_getfixmem(world, kPrinted));
    std::snprintf(text, kPrinted, "%lg", value);
    return text;
}

uint32_t _kel_pdec_mreal_ia(KelGlobal *world, void *value) {
    const uint32_t length = contents_length(world);
    double number = 0;
    if (length) {
        need_bits(world, uint64_t{length} * 8);
        const auto first = static_cast<uint8_t>(get_bits(world, 8));
        if (char *text = text_form(world, first, length)) {
            std::memcpy(value, &text, sizeof text);
            return 1;
        }
        number = _kel_pdec_binreal(world, first, length - 1);
    }
    std::memcpy(value, &number, sizeof number);
    return 0;
}

} // extern "C"
