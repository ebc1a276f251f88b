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
#include "real_contents.h"

namespace {

using namespace kel::ber;
using kel::real::DecimalScan;
using kel::real::kMaxDoubleContents;
using kel::real::kMinusZero;
using kel::real::kPlusInfinity;
using kel::real::kSpecialText;
using kel::real::scan_decimal;

// ---------------------------------------------------------------------------
// Canonical forms (X.690 11.3), which strict CER and DER decoding demand

// Decimal text "[-]M.E[-]X": a mantissa M with no leading or trailing zero
// digit, and an exponent X with no leading zero, or "+0".
bool canonical_decimal_text(const unsigned char *s, uint32_t n) {
    if (n == 0)
        return false;
    uint32_t i = s[0] == '-' ? 1 : 0;
    const uint32_t from = i;
    while (i < n && kel::real::is_digit(s[i]))
        ++i;
    if (i == from || s[from] == '0' || s[i - 1] == '0' || n - i < 3 || s[i] != '.' || s[i + 1] != 'E')
        return false;
    i += 2;
    if (s[i] == '+')
        return n - i == 2 && s[i + 1] == '0';
    if (s[i] == '-')
        ++i;
    if (i == n || s[i] == '0')
        return false;
    while (i < n && kel::real::is_digit(s[i]))
        ++i;
    return i == n;
}

// The binary form with base 2, no scale factor, an odd mantissa in the
// fewest octets (no leading zero octet), and the short exponent form
// wherever it serves; the exponent's own octets are held to the fewest by
// the integer reader.
void check_canonical_binary(KelGlobal *world, const unsigned char *p, int32_t length, int32_t at,
                            int32_t count) {
    constexpr uint8_t kBaseAndScale = 0x3C;
    if ((p[0] & kBaseAndScale) || at + count == length || p[at + count] == 0 || !(p[length - 1] & 1))
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    if (at == 2 && count <= 3)
        _kel_enc_error(world, kMsgExponentNeedlesslyLong, 0);
}

// ---------------------------------------------------------------------------
// Decimal text

// Checks decimal contents (the text behind the form octet) against the form
// that the octet names; form 0 admits any of the three.
DecimalScan check_decimal(KelGlobal *world, const unsigned char *s, uint32_t n, uint8_t form) {
    const DecimalScan d = scan_decimal(s, n);
    if (strict_canonical(world) && (form != 3 || !canonical_decimal_text(s, n)))
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
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
            _kel_enc_error(world, kel::kMsgMisencoded, 0);
        count = p[1];
        at = 2;
    }
    // Exponent octets that the contents don't hold: too many for any
    // exponent, or a length that is wrong for the value.
    if (count > length - at)
        _kel_enc_error(world, count > 4 ? int{kMsgExponentTooLong} : int{kel::kMsgMisencoded},
                       static_cast<uint32_t>(count));
    if (strict_canonical(world))
        check_canonical_binary(world, p, length, at, count);
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
    unsigned char contents[kMaxDoubleContents];
    const uint32_t n = kel::real::double_contents(world, value, contents);
    return n ? kel::emit_below(world, pos, rem, contents, n) : 0;
}

int _kel_encd_creal(KelGlobal *world, unsigned char **pos, int32_t *rem, char *text) {
    if (!text)
        _kel_enc_error(world, kMsgBadDecimalReal, 0);
    const bool canonical =
        world->encRules == KEL_DER && !(world->ext->compatFlags & kel::real::kCompatPlainDecimal);
    int octet = kel::real::special_octet(text);
    if (octet >= 0)
        return write_special(world, pos, rem, static_cast<uint8_t>(octet));

    KelCreal record;
    const int parsed = _kel_ex_parse_creal_X693(text, &record);
    char *body = text;
    char *composed = nullptr;
    if (canonical) {
        body = composed = kel::real::canonical_decimal(world, text, parsed, record);
        octet = kel::real::special_octet(body);
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
