// real.cpp - REAL in OER.  A double or decimal text goes out as the
// contents octets of BER behind a determinant (real_contents.h builds them);
// the 4 and 8 octet forms are the IEEE 754 bits, big-endian.  Decoding is
// strict: the binary form only in base 2 with no scale factor (read by the
// PER reader of that form, which stands on octets here), decimal text only
// in its canonical NR3 shape, and under COER no decimal form at all.  The
// text forms name the special values "PLUS_INFINITY", "MINUS_INFINITY",
// "NOT_A_NUMBER" and "-0"; infinity is held as the largest finite value.

#include <cstdio>
#include <cstdlib>
#include <limits>

#include "kelvarn_per.h"
#include "oer.h"
#include "float_kinds.h"
#include "real_contents.h"

namespace {

using namespace kel::oer;
using kel::real::is_digit;

constexpr uint32_t kPrinted = 24; // "%lg" of any double fits

// ---------------------------------------------------------------------------
// Writing
// ---------------------------------------------------------------------------

void put_contents(KelGlobal *world, const unsigned char *contents, uint32_t n) {
    put_length(world, n);
    put(world, contents, n);
}

void put_special(KelGlobal *world, int octet) {
    const unsigned char contents = static_cast<unsigned char>(octet);
    put_contents(world, &contents, 1);
}

// Names of the special values start at or above 'M'; digits, signs and
// blanks below it.
bool names_special(const char *text) { return static_cast<unsigned char>(text[0]) >= 'M'; }

template <class Real> void put_ieee(KelGlobal *world, Real value) {
    using Bits = std::conditional_t<sizeof(Real) == 4, uint32_t, uint64_t>;
    Bits bits;
    std::memcpy(&bits, &value, sizeof bits);
    unsigned char octets[sizeof bits];
    store_be(octets, bits, sizeof bits);
    put(world, octets, sizeof bits);
}

// The value of decimal text of `n` octets, read from a terminated copy.
double decimal_number(KelGlobal *world, const unsigned char *s, uint32_t n) {
    char local[32];
    char *copy = n < sizeof local ? local : static_cast<char *>(_kel_dec_gettempmem(world, n + 1));
    for (uint32_t i = 0; i < n; ++i)
        copy[i] = s[i] == ',' ? '.' : static_cast<char>(s[i]); // the C library reads only '.'
    copy[n] = 0;
    const double value = std::atof(copy);
    if (copy != local)
        _kel_dec_freetempmem(world, copy);
    return value;
}

// Decimal text into the IEEE octets of `Real`: the shape is checked by
// hand, the value by the C library.
template <class Real> void put_decimal_ieee(KelGlobal *world, const char *text) {
    if (!text)
        fail(world, kMsgBadDecimalReal);
    if (names_special(text)) {
        const int octet = kel::real::special_octet(text);
        if (octet < 0)
            fail(world, kMsgBadDecimalReal);
        return put_ieee(world, kel::special_value<Real>(octet));
    }
    const auto n = static_cast<uint32_t>(std::strlen(text));
    const kel::real::DecimalScan d = kel::real::scan_decimal(reinterpret_cast<const unsigned char *>(text), n);
    if (d.mantissaDigits == 0)
        fail(world, kMsgMantissaDigits);
    if (d.exponent && d.exponentDigits == 0)
        fail(world, kMsgExponentDigits);
    if (d.end != n)
        fail(world, kMsgBadDecimalReal);
    put_ieee(world, static_cast<Real>(decimal_number(world, reinterpret_cast<const unsigned char *>(text), n)));
}

// ---------------------------------------------------------------------------
// Reading
// ---------------------------------------------------------------------------

// The canonical NR3 shape: an optional '-', digits with neither a leading
// nor a trailing zero when there are several, ".E", then "+0" or an
// optional '-' and digits with no leading zero.
bool canonical_nr3(const unsigned char *s, uint32_t n) {
    uint32_t i = s[0] == '-';
    const uint32_t first = i;
    while (i < n && is_digit(s[i]))
        ++i;
    const uint32_t digits = i - first;
    if (digits == 0 || (digits > 1 && (s[first] == '0' || s[i - 1] == '0')))
        return false;
    if (n - i < 3 || s[i] != '.' || s[i + 1] != 'E')
        return false;
    i += 2;
    if (s[i] == '+')
        return n - i == 2 && s[i + 1] == '0';
    i += s[i] == '-';
    if (i == n || s[i] == '0')
        return false;
    while (i < n && is_digit(s[i]))
        ++i;
    return i == n;
}

// Decimal contents behind the first octet, `n` octets at `s`: the form
// octet and the shape checked.
void check_decimal(KelGlobal *world, uint32_t first, const unsigned char *s, uint32_t n) {
    if (canonical(world))
        fail(world, kMsgMisencoded);
    if (first != 3)
        fail(world, kMsgReservedReal);
    if (n == 0 || !canonical_nr3(s, n))
        fail(world, kMsgMisencoded);
}


// The binary form behind its first octet with `left` octets after it: the
// exponent's count is checked here, the rest by the reader of the form.
double binary_number(KelGlobal *world, uint32_t first, uint32_t left) {
    if (first & 0x3C)
        fail(world, kMsgMisencoded);
    const unsigned char *p = world->inPos;
    uint32_t count = (first & 3) + 1, at = 0;
    if (count == 4) {
        if (left == 0)
            fail(world, kMsgExponentTooLong, 0);
        count = p[0];
        at = 1;
    }
    if (count == 0 || count + at >= left)
        fail(world, kMsgMisencoded);
    if (count > 4)
        fail(world, kMsgExponentTooLong, count);
    return _kel_pdec_binreal(world, static_cast<uint8_t>(first), left);
}

// A REAL with a determinant into `Real`.
template <class Real> Real get_number(KelGlobal *world) {
    const uint32_t length = content_length(world);
    if (length == 0)
        return 0;
    const uint32_t first = *advance(world, 1);
    const uint32_t left = length - 1;
    constexpr Real kMax = std::numeric_limits<Real>::max();
    if (first & 0x80) {
        const double value = binary_number(world, first, left);
        if (!(std::fabs(value) <= kMax))
            fail(world, kMsgRealTooLarge);
        return static_cast<Real>(value);
    }
    if (first & 0x40) {
        if (left || first > kel::real::kMinusZero)
            fail(world, kMsgReservedReal);
        return kel::special_value<Real>(static_cast<int>(first));
    }
    const unsigned char *s = advance(world, left);
    check_decimal(world, first, s, left);
    const double value = decimal_number(world, s, left);
    if (!(std::fabs(value) <= kMax))
        fail(world, kMsgRealTooLarge);
    return static_cast<Real>(value);
}

char *copy_text(KelGlobal *world, const char *text, uint32_t n) {
    auto *copy = static_cast<char *>(_kel_dec_getmem_internal(world, n + 1));
    std::memcpy(copy, text, n);
    copy[n] = 0;
    return copy;
}

char *copy_text(KelGlobal *world, const char *text) {
    return copy_text(world, text, static_cast<uint32_t>(std::strlen(text)));
}

char *printed(KelGlobal *world, double value) {
    auto *text = static_cast<char *>(_kel_dec_getfixmem(world, kPrinted));
    std::snprintf(text, kPrinted, "%lg", value);
    return text;
}

// A REAL with a determinant as text.
char *get_text(KelGlobal *world) {
    const uint32_t length = content_length(world);
    if (length == 0)
        return copy_text(world, "0");
    const uint32_t first = *advance(world, 1);
    const uint32_t left = length - 1;
    if (first & 0x80) {
        if (canonical(world))
            fail(world, kMsgMisencoded);
        return printed(world, binary_number(world, first, left));
    }
    if (first & 0x40) {
        if (left || first > kel::real::kMinusZero)
            fail(world, kMsgReservedReal);
        return copy_text(world, kel::real::kSpecialText[first - kel::real::kPlusInfinity]);
    }
    const unsigned char *s = advance(world, left);
    check_decimal(world, first, s, left);
    return copy_text(world, reinterpret_cast<const char *>(s), left);
}

// The IEEE octets of `Real` as text.
template <class Real> char *get_ieee_text(KelGlobal *world, Real value) {
    constexpr Real kMax = std::numeric_limits<Real>::max();
    if (std::isnan(value))
        return copy_text(world, "NOT_A_NUMBER");
    if (value == 0)
        return copy_text(world, std::signbit(value) ? "-0" : "0");
    if (value >= kMax)
        return copy_text(world, "PLUS_INFINITY");
    if (value <= -kMax)
        return copy_text(world, "MINUS_INFINITY");
    return printed(world, value);
}

template <class Real> Real get_ieee(KelGlobal *world) {
    using Bits = std::conditional_t<sizeof(Real) == 4, uint32_t, uint64_t>;
    const Bits bits = load_be<Bits>(take(world, sizeof(Bits)));
    Real value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

} // namespace

extern "C" {

void _kel_oenc_real(KelGlobal *world, double value) {
    unsigned char contents[kel::real::kMaxDoubleContents];
    put_contents(world, contents, kel::real::double_contents(world, value, contents));
}

void _kel_oenc_real_4byte(KelGlobal *world, float value) { put_ieee(world, value); }
void _kel_oenc_real_8byte(KelGlobal *world, double value) { put_ieee(world, value); }

void _kel_oenc_real_decimal(KelGlobal *world, const char *text) {
    if (!text)
        fail(world, kMsgBadDecimalReal);
    int octet = kel::real::special_octet(text);
    if (names_special(text) && octet < 0)
        fail(world, kMsgBadDecimalReal);
    if (octet >= 0)
        return put_special(world, octet);
    KelCreal record;
    const int parsed = _kel_ex_parse_creal_X693(text, &record);
    char *composed = kel::real::canonical_decimal(world, text, parsed, record);
    octet = kel::real::special_octet(composed);
    if (octet >= 0) {
        put_special(world, octet);
    } else if (std::strcmp(composed, "0") == 0) {
        put_contents(world, nullptr, 0);
    } else {
        const auto n = static_cast<uint32_t>(std::strlen(composed));
        put_length(world, n + 1);
        const unsigned char form = 3;
        put(world, &form, 1);
        put(world, reinterpret_cast<const unsigned char *>(composed), n);
    }
    _kel_dec_freetempmem(world, composed);
}

void _kel_oenc_real_4decimal(KelGlobal *world, const char *text) { put_decimal_ieee<float>(world, text); }
void _kel_oenc_real_8decimal(KelGlobal *world, const char *text) { put_decimal_ieee<double>(world, text); }

double _kel_odec_real_double(KelGlobal *world) { return get_number<double>(world); }
float _kel_odec_real_float(KelGlobal *world) { return get_number<float>(world); }
float _kel_odec_real_4byte(KelGlobal *world) { return get_ieee<float>(world); }
double _kel_odec_real_8byte(KelGlobal *world) { return get_ieee<double>(world); }

char *_kel_odec_real_decimal(KelGlobal *world) { return get_text(world); }
char *_kel_odec_real_4decimal(KelGlobal *world) { return get_ieee_text(world, get_ieee<float>(world)); }
char *_kel_odec_real_8decimal(KelGlobal *world) { return get_ieee_text(world, get_ieee<double>(world)); }

uint32_t _kel_odec_real_mixed(KelGlobal *world, void *value) {
    // A look at the first contents octet decides; the reader rewinds.
    unsigned char *const pos = world->inPos;
    const int32_t remaining = world->inRemaining;
    const uint32_t length = content_length(world);
    const bool text = length && !(world->inPos[0] & 0x80);
    world->inPos = pos;
    world->inRemaining = remaining;
    if (text) {
        char *decimal = get_text(world);
        std::memcpy(value, &decimal, sizeof decimal);
        return 1;
    }
    const double number = get_number<double>(world);
    std::memcpy(value, &number, sizeof number);
    return 0;
}

} // extern "C"
