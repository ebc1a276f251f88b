// print_numbers.cpp - value notation of REAL: binary floating values as
// {mantissa, base 2, exponent}, decimal texts in NR3 with their cuts, and the
// constraint checker's display of a decimal text as mantissa and exponent.
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "printing.h"

namespace kel::print {

namespace {

// NR3 output is cut to this many characters.
constexpr uint32_t kNr3Width = 79;
// An exponent of more digits shows only its first few.
constexpr uint32_t kLongExponent = 7;
constexpr uint32_t kExponentShown = 4;
constexpr uint32_t kMaxDisplayDigits = 79;

// The words of the special values as they are held, and as they print.
struct SpecialWord {
    const char *held;
    const char *shown;
};
constexpr SpecialWord kSpecialWords[] = {
    {"PLUS_INFINITY", "PLUS-INFINITY"}, {"MINUS_INFINITY", "MINUS-INFINITY"}, {"NOT_A_NUMBER", "NOT-A-NUMBER"},
    {"0", "0"},                         {"-0", "-0"},
};

const char *special_word(const char *text) {
    for (const SpecialWord &word : kSpecialWords)
        if (std::strcmp(text, word.held) == 0)
            return word.shown;
    return nullptr;
}

bool digit(char c) { return c >= '0' && c <= '9'; }

// A decimal text taken apart: the significant digits are the integer digits
// followed by the kept fraction digits, from `skip` on (leading zeros); the
// exponent digits are without leading zeros.
struct Decimal {
    bool negative = false;
    const char *integer = nullptr;
    uint32_t integerLength = 0;
    const char *fraction = nullptr;
    uint32_t fractionKept = 0; // trailing zeros dropped
    uint32_t skip = 0;         // leading zeros of the digits
    bool exponentNegative = false;
    const char *exponent = nullptr;
    uint32_t exponentLength = 0;

    uint32_t digits() const { return integerLength + fractionKept - skip; }
    // Puts `count` significant digits.
    void put_digits(Sink &out, uint32_t count) const {
        uint32_t from = skip;
        if (from < integerLength) {
            const uint32_t n = count < integerLength - from ? count : integerLength - from;
            out.put(integer + from, n);
            count -= n;
            from = integerLength;
        }
        out.put(fraction + (from - integerLength), count);
    }
    // The exponent of the last significant digit; only for short exponents.
    long scale() const {
        long value = 0;
        for (uint32_t i = 0; i < exponentLength; ++i)
            value = value * 10 + (exponent[i] - '0');
        return (exponentNegative ? -value : value) - static_cast<long>(fractionKept);
    }
};

// Reads [sign] digits [. digits] [E|e [sign] digits]; false for anything
// else, or without any digit before the exponent.
bool parse_decimal(const char *text, uint32_t length, Decimal &d) {
    const char *p = text, *end = text + length;
    if (p < end && (*p == '-' || *p == '+'))
        d.negative = *p++ == '-';
    d.integer = p;
    while (p < end && digit(*p))
        ++p;
    d.integerLength = static_cast<uint32_t>(p - d.integer);
    d.fraction = p;
    if (p < end && *p == '.') {
        d.fraction = ++p;
        while (p < end && digit(*p))
            ++p;
    }
    uint32_t fractionLength = static_cast<uint32_t>(p - d.fraction);
    if (d.integerLength + fractionLength == 0)
        return false;
    while (fractionLength && d.fraction[fractionLength - 1] == '0')
        --fractionLength;
    d.fractionKept = fractionLength;
    while (d.skip < d.integerLength + d.fractionKept &&
           (d.skip < d.integerLength ? d.integer[d.skip] : d.fraction[d.skip - d.integerLength]) == '0')
        ++d.skip;
    if (p < end && (*p == 'E' || *p == 'e')) {
        ++p;
        if (p < end && (*p == '-' || *p == '+'))
            d.exponentNegative = *p++ == '-';
        const char *start = p;
        while (p < end && digit(*p))
            ++p;
        if (p == start)
            return false;
        while (start < p - 1 && *start == '0')
            ++start;
        d.exponent = start;
        d.exponentLength = static_cast<uint32_t>(p - start);
    }
    return p == end;
}

// Skips blanks and -- comments (to the next -- or the end of the line).
const char *skip_blanks(const char *p) {
    for (;;) {
        while (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\r' || *p == ',')
            ++p;
        if (p[0] != '-' || p[1] != '-')
            return p;
        p += 2;
        while (*p && *p != '\n' && !(p[0] == '-' && p[1] == '-'))
            ++p;
        if (*p == '-')
            p += 2;
    }
}

// { mantissa m, base 10, exponent e } with comments; commas count as blanks.
bool parse_braced(const char *p, double &mantissa, double &exponent) {
    static constexpr const char *kWords[] = {"mantissa", "base", "exponent"};
    double values[3];
    p = skip_blanks(p);
    if (*p++ != '{')
        return false;
    for (int i = 0; i < 3; ++i) {
        p = skip_blanks(p);
        const size_t n = std::strlen(kWords[i]);
        if (std::strncmp(p, kWords[i], n) != 0)
            return false;
        p = skip_blanks(p + n);
        char *end;
        values[i] = std::strtod(p, &end);
        if (end == p)
            return false;
        p = end;
    }
    p = skip_blanks(p);
    if (values[1] != 10 || *p++ != '}' || *skip_blanks(p))
        return false;
    mantissa = values[0];
    exponent = values[2];
    return true;
}

} // namespace

void real(Sink &out, double value, double infinity) {
    if (std::isnan(value)) {
        out.put("NOT-A-NUMBER");
    } else if (value == 0) {
        out.put(std::signbit(value) ? "-0" : "0");
    } else if (value >= infinity) {
        out.put("PLUS-INFINITY");
    } else if (value <= -infinity) {
        out.put("MINUS-INFINITY");
    } else {
        int exponent;
        const double fraction = std::frexp(std::fabs(value), &exponent);
        auto mantissa = static_cast<uint64_t>(std::ldexp(fraction, 63)); // 2^62 <= mantissa < 2^63
        const int zeros = std::countr_zero(mantissa);
        mantissa >>= zeros;
        exponent += zeros - 63;
        const auto signedMantissa = static_cast<long long>(mantissa);
        out.format("{ mantissa %lld, base 2, exponent %d }", value < 0 ? -signedMantissa : signedMantissa,
                   exponent);
    }
}

void nr3(Sink &out, const char *text, uint32_t length, int mode) {
    Decimal d;
    if (!parse_decimal(text, length, d)) {
        out.put(text, length); // not a decimal number: as it stands
        return;
    }
    char exponentText[24];
    uint32_t exponentWidth;
    if (d.exponentLength > kLongExponent) {
        exponentWidth = static_cast<uint32_t>(std::snprintf(exponentText, sizeof exponentText, "%s%.*s...",
                                                            d.exponentNegative ? "-" : "",
                                                            static_cast<int>(kExponentShown), d.exponent));
    } else {
        exponentWidth = static_cast<uint32_t>(std::snprintf(exponentText, sizeof exponentText, "%ld",
                                                            d.digits() ? d.scale() : 0L));
    }
    const char *e = mode ? "*10^" : "E";
    const uint32_t tail = static_cast<uint32_t>(std::strlen(e)) + exponentWidth;
    const uint32_t sign = d.negative ? 1 : 0;
    if (d.negative)
        out.put('-');
    if (d.digits() == 0) {
        out.put('0');
    } else if (sign + d.digits() + tail <= kNr3Width) {
        d.put_digits(out, d.digits());
    } else {
        d.put_digits(out, kNr3Width - sign - tail - 3);
        out.put("...");
    }
    out.put(e);
    out.put(exponentText, exponentWidth);
}

void creal(Sink &out, const char *text) {
    if (!text) {
        out.put("NULL");
    } else if (const char *word = special_word(text)) {
        out.put(word);
    } else {
        nr3(out, text, static_cast<uint32_t>(std::strlen(text)), 0);
    }
}

void creal_display(Sink &out, const char *text, bool braced) {
    if (!text || special_word(text)) {
        creal(out, text);
        return;
    }
    double mantissa, exponent;
    Decimal d;
    if (parse_decimal(text, static_cast<uint32_t>(std::strlen(text)), d)) {
        if (d.digits() > kMaxDisplayDigits) {
            out.put("<IMPLEMENTATION LIMIT EXCEEDED>");
            return;
        }
        char digits[kMaxDisplayDigits + 1] = "0";
        uint32_t n = d.digits();
        uint32_t at = 0;
        for (uint32_t i = d.skip; i < d.skip + n; ++i)
            digits[at++] = i < d.integerLength ? d.integer[i] : d.fraction[i - d.integerLength];
        digits[n ? n : 1] = 0;
        mantissa = std::strtod(digits, nullptr);
        if (d.negative)
            mantissa = -mantissa;
        if (d.exponentLength > kLongExponent) {
            exponent = std::strtod(d.exponent, nullptr); // far beyond any double: only its size matters
            exponent = d.exponentNegative ? -exponent : exponent;
        } else {
            exponent = n ? static_cast<double>(d.scale()) : 0;
        }
    } else if (!parse_braced(text, mantissa, exponent)) {
        out.put(text); // neither form: as it stands
        return;
    }
    if (braced)
        out.format("{mantissa %.0f, base 10, exponent %.0f}", mantissa, exponent);
    else
        out.format("%.0fE%.0f", mantissa, exponent);
}

} // namespace kel::print
