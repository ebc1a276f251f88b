// real.cpp - REAL in BER: the backward writers of double, decimal text
// (KelCharReal) and KelMixedReal values, and the decoders into double, float,
// text and mixed forms.
//
// Doubles go out in the normalised base 2 form (odd mantissa, minimal
// exponent) that DER and CER demand; decoders take every base and scale.
// Decimal text goes out as ISO 6093 NR1, NR2 or NR3, canonical NR3 under DER.
// Special values: infinity is held as the largest finite value of the type.

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ber.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

using namespace kel::ber;

// Octets of the special values.
constexpr uint8_t kPlusInfinity = 0x40;
constexpr uint8_t kMinusInfinity = 0x41;
constexpr uint8_t kNotANumber = 0x42;
constexpr uint8_t kMinusZero = 0x43;

constexpr const char *kSpecialText[] = {"PLUS_INFINITY", "MINUS_INFINITY", "NOT_A_NUMBER", "-0"};

// Compatibility flag that keeps decimal text as it stands under DER.
constexpr uint32_t kCompatPlainDecimal = 0x400;

// ---------------------------------------------------------------------------
// Decimal text

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

DecimalScan scan_decimal(const unsigned char *s, uint32_t n) {
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

// Checks decimal contents (the text behind the form octet) against the form
// that the octet names; form 0 admits any of the three.
DecimalScan check_decimal(KelGlobal *world, const unsigned char *s, uint32_t n, uint8_t form) {
    const DecimalScan d = scan_decimal(s, n);
    if (d.mantissaDigits == 0)
        _kel_enc_error(world, kMsgMantissaDigits, 0);
    if (d.exponent && d.exponentDigits == 0)
        _kel_enc_error(world, kMsgMantissaDigits + 1, 0);
    const bool formHolds = form == 0 || d.form() == form;
    if (d.end != n || !formHolds)
        _kel_enc_error(world, kMsgMantissaDigits + 1 + (form ? form : 3), 0);
    return d;
}

// The value of checked decimal text, or message 128 beyond `max`.
double decimal_value(KelGlobal *world, const unsigned char *s, const DecimalScan &d, double max) {
    const uint32_t n = d.end - d.start;
    char local[64];
    char *text = n < sizeof local ? local : static_cast<char *>(_kel_dec_gettempmem(world, n + 1));
    for (uint32_t i = 0; i < n; ++i)
        text[i] = s[d.start + i] == ',' ? '.' : static_cast<char>(s[d.start + i]);
    text[n] = 0;
    const double value = std::strtod(text, nullptr);
    if (text != local)
        _kel_dec_freetempmem(world, text);
    if (!(std::fabs(value) <= max))
        _kel_enc_error(world, kMsgRealTooLarge, 0);
    return value;
}

// ---------------------------------------------------------------------------
// Decoding

// The binary form: first octet 1 S BB FF EE, exponent, mantissa.  Values
// whose magnitude passes `max` are message 128.
double binary_value(KelGlobal *world, const unsigned char *p, int32_t length, double max) {
    const uint8_t first = p[0];
    int32_t at = 1;
    int32_t count = (first & 3) + 1;
    if ((first & 3) == 3) {
        if (length < 2)
            _kel_enc_error(world, kMsgExponentTooLong, 0);
        count = p[1];
        at = 2;
    }
    if (count > length - at)
        _kel_enc_error(world, kMsgExponentTooLong, static_cast<uint32_t>(count));
    unsigned char *q = const_cast<unsigned char *>(p + at);
    int32_t left = count;
    int64_t exponent = _kel_dec_lint(world, &q, &left, count);
    constexpr int kBitsPerDigit[] = {1, 3, 4, 0};
    const int base = (first >> 4) & 3;
    if (base == 3)
        _kel_enc_error(world, kMsgReservedReal, 0);
    exponent *= kBitsPerDigit[base];
    if (exponent > INT32_MAX || exponent < INT32_MIN)
        _kel_enc_error(world, kMsgExponentTooLong, static_cast<uint32_t>(count));
    exponent += (first >> 2) & 3;
    if (exponent > 1024)
        _kel_enc_error(world, kMsgRealTooLarge, 0);

    double mantissa = 0;
    for (int32_t i = at + count; i < length; ++i)
        mantissa = mantissa * 256 + p[i];
    const double value = std::ldexp(mantissa, static_cast<int>(exponent));
    if (!(value <= max))
        _kel_enc_error(world, kMsgRealTooLarge, 0);
    return (first & 0x40) ? -value : value;
}

// A special value: one octet 0x40 to 0x43.  Its index in kSpecialText.
int special_index(KelGlobal *world, const unsigned char *p, int32_t length) {
    if (length != 1 || p[0] > kMinusZero)
        _kel_enc_error(world, kMsgReservedReal, 0);
    return p[0] - kPlusInfinity;
}

// The decoders into double and float: `max` is the largest finite value of
// the target, which also stands for infinity.
double decode_number(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                     double max) {
    const unsigned char *p = take_contents(world, pos, rem, length);
    if (length == 0)
        return 0;
    const uint8_t first = p[0];
    if (first & 0x80)
        return binary_value(world, p, length, max);
    if (first & 0x40) {
        constexpr double kSpecial[] = {1, -1, NAN, -0.0};
        const int index = special_index(world, p, length);
        return index < 2 ? kSpecial[index] * max : kSpecial[index];
    }
    if (first > 3)
        _kel_enc_error(world, kMsgReservedReal, 0);
    const auto n = static_cast<uint32_t>(length - 1);
    return decimal_value(world, p + 1, check_decimal(world, p + 1, n, first), max);
}

char *copy_text(KelGlobal *world, const void *text, uint32_t n) {
    auto *copy = static_cast<char *>(_kel_dec_getmem(world, static_cast<int32_t>(n + 1)));
    std::memcpy(copy, text, n);
    copy[n] = 0;
    return copy;
}

// ---------------------------------------------------------------------------
// Encoding

int write_special(KelGlobal *world, unsigned char **pos, int32_t *rem, uint8_t octet) {
    return _kel_write_byte_d(world, pos, rem, octet);
}

} // namespace

extern "C" {

int _kel_get_mantissa(KelGlobal *world, double value, unsigned char mantissa[8], int32_t *exponent) {
    int e = 0;
    const double fraction = std::frexp(std::fabs(value), &e);
    if (!std::isfinite(value) || fraction == 0)
        _kel_enc_error(world, kMsgBadDecimalReal, 0);
    // fraction is in [0.5, 1): its 53 bits fill the top of 64.
    auto bits = static_cast<uint64_t>(std::ldexp(fraction, 64));
    const int zeros = std::countr_zero(bits);
    bits >>= zeros;
    *exponent = e - 64 + zeros;
    const int n = (std::bit_width(bits) + 7) / 8;
    for (int i = n; i-- > 0; bits >>= 8)
        mantissa[i] = static_cast<unsigned char>(bits);
    return n;
}

int _kel_encd_real(KelGlobal *world, unsigned char **pos, int32_t *rem, double value) {
    if (std::isnan(value))
        return write_special(world, pos, rem, kNotANumber);
    if (value == 0)
        return std::signbit(value) ? write_special(world, pos, rem, kMinusZero) : 0;
    if (value >= DBL_MAX)
        return write_special(world, pos, rem, kPlusInfinity);
    if (value <= -DBL_MAX)
        return write_special(world, pos, rem, kMinusInfinity);

    unsigned char mantissa[8];
    int32_t exponent = 0;
    const int n = _kel_get_mantissa(world, value, mantissa, &exponent);
    kel::BackwardOctets<16> out;
    for (int i = n; i-- > 0;)
        out.push(mantissa[i]);
    const uint32_t magnitude = static_cast<uint32_t>(exponent < 0 ? ~exponent : exponent);
    const int exponentOctets = _kel_numbits(magnitude) / 8 + 1;
    for (int i = 0; i < exponentOctets; ++i)
        out.push(static_cast<uint32_t>(exponent >> (8 * i)) & 0xFF);
    const uint32_t sign = value < 0 ? 0x40 : 0;
    if (exponentOctets > 3) {
        out.push(static_cast<uint32_t>(exponentOctets));
        out.push(0x83 | sign);
    } else {
        out.push(0x80 | sign | static_cast<uint32_t>(exponentOctets - 1));
    }
    return kel::emit_below(world, pos, rem, out.data(), out.size());
}

int _kel_encd_creal(KelGlobal *world, unsigned char **pos, int32_t *rem, char *text) {
    if (!text)
        _kel_enc_error(world, kMsgBadDecimalReal, 0);
    const bool canonical =
        world->encRules == KEL_DER && !(world->ext->compatFlags & kCompatPlainDecimal);
    auto special = [&](const char *t) -> int {
        for (uint8_t i = 0; i < 4; ++i)
            if (std::strcmp(t, kSpecialText[i]) == 0)
                return kPlusInfinity + i;
        return -1;
    };
    int octet = special(text);
    if (octet >= 0)
        return write_special(world, pos, rem, static_cast<uint8_t>(octet));

    KelCreal record;
    const int parsed = _kel_ex_parse_creal_X693(text, &record);
    char *body = text;
    char *composed = nullptr;
    if (canonical) {
        if (parsed)
            _kel_enc_error(world, parsed == 2   ? kMsgMantissaDigits
                                  : parsed == 3 ? kMsgMantissaDigits + 1
                                  : parsed == 5 ? kMsgExponentTooLong
                                                : kMsgBadDecimalReal,
                           0);
        const auto size = static_cast<uint32_t>(std::strlen(text)) + 5;
        composed = static_cast<char *>(_kel_dec_gettempmem(world, size));
        record.flags |= KEL_CREAL_DIGITS_FIRST;
        if (_kel_ex_compose_creal_X693(&record, composed, size) < 0)
            _kel_enc_error(world, kMsgBadDecimalReal, 0);
        body = composed;
        octet = special(body);
    }
    int written = 0;
    if (octet >= 0) {
        written = write_special(world, pos, rem, static_cast<uint8_t>(octet));
    } else if (canonical ? std::strcmp(body, "0") != 0 : parsed != 0 || record.firstDigit) {
        const auto n = static_cast<uint32_t>(std::strlen(body));
        const DecimalScan d = scan_decimal(reinterpret_cast<const unsigned char *>(body), n);
        if (d.end != n)
            _kel_enc_error(world, kMsgBadDecimalReal, 0);
        written = _kel_write_bytes_d(world, pos, rem, body, static_cast<int32_t>(n));
        written += _kel_write_byte_d(world, pos, rem, d.form());
    }
    if (composed)
        _kel_dec_freetempmem(world, composed);
    return written;
}

int _kel_encd_mreal_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t kind,
                       void *value) {
    if (kind == 0)
        return _kel_encd_real(world, pos, rem, *static_cast<const double *>(value));
    if (kind == 1)
        return _kel_encd_creal(world, pos, rem, *static_cast<char **>(value));
    _kel_enc_error(world, kMsgBadMixedReal, static_cast<uint32_t>(kind));
}

void _kel_dec_real(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                   double *value) {
    *value = decode_number(world, pos, rem, length, DBL_MAX);
}

void _kel_dec_freal(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                    float *value) {
    *value = static_cast<float>(decode_number(world, pos, rem, length, FLT_MAX));
}

void _kel_dec_creal(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                    char **text) {
    const unsigned char *p = take_contents(world, pos, rem, length);
    if (length == 0) {
        *text = copy_text(world, "0", 1);
    } else if (p[0] & 0x80) {
        const double value = binary_value(world, p, length, DBL_MAX);
        if (value == 0)
            _kel_enc_error(world, kMsgRealZeroContents, 0);
        constexpr int kPrinted = 24;
        *text = static_cast<char *>(_kel_dec_getfixmem(world, kPrinted));
        std::snprintf(*text, kPrinted, "%lg", value);
    } else if (p[0] & 0x40) {
        const char *special = kSpecialText[special_index(world, p, length)];
        *text = copy_text(world, special, static_cast<uint32_t>(std::strlen(special)));
    } else {
        if (p[0] > 3)
            _kel_enc_error(world, kMsgReservedReal, 0);
        const auto n = static_cast<uint32_t>(length - 1);
        check_decimal(world, p + 1, n, p[0]);
        *text = copy_text(world, p + 1, n);
    }
}

void _kel_dec_mreal_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                       void *value) {
    auto *mixed = static_cast<KelMixedReal *>(value);
    const bool decimal = length > 0 && length <= *rem && ((*pos)[0] & 0xC0) == 0;
    mixed->kind = decimal ? 1 : 0;
    if (decimal)
        _kel_dec_creal(world, pos, rem, length, &mixed->u.text);
    else
        _kel_dec_real(world, pos, rem, length, &mixed->u.value);
}

} // extern "C"
