// compare_reals.cpp - order of two decimal REAL texts.  kelFcmp reads plain
// decimal text with the infinities by name; compare_char_real takes any
// text that the canonical real parser accepts, and the three special values.
#include <cstring>

#include "internal.h"
#include "kelvarn_services.h"

namespace {

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr bool is_point(char c) { return c == '.' || c == ','; }
constexpr int sign_of(int64_t n) { return (n > 0) - (n < 0); }

bool same_text(const char *a, const char *b) { return std::strcmp(a, b) == 0; }

constexpr char kPlusInfinity[] = "PLUS_INFINITY";
constexpr char kMinusInfinity[] = "MINUS_INFINITY";
constexpr char kNotANumber[] = "NOT_A_NUMBER";

// An exponent far beyond any digit count: comparisons of magnitudes stay
// exact in 64 bits.
constexpr int64_t kExponentLimit = int64_t{1} << 40;

// ---------------------------------------------------------------------------
// kelFcmp
// ---------------------------------------------------------------------------

// A zero written with any number of zero digits, a point and an exponent:
// "0", "-0.00", "0.0E3".
bool is_textual_zero(const char *p) {
    if (*p == '+' || *p == '-')
        ++p;
    bool digit = false;
    for (bool point = false; *p == '0' || (is_point(*p) && !point); ++p) {
        digit |= *p == '0';
        point |= is_point(*p);
    }
    if (!digit)
        return false;
    if (*p == 'E' || *p == 'e') {
        ++p;
        if (*p == '+' || *p == '-')
            ++p;
        if (!is_digit(*p))
            return false;
        while (is_digit(*p))
            ++p;
    }
    return *p == 0;
}

bool is_negative(const char *text) { return text[0] == '-' || same_text(text, kMinusInfinity); }

// A decimal text as its significant digits (from the first non-zero one,
// point left out) and the power of ten just above the first of them.
struct Decimal {
    const char *first; // first significant digit; null for zero
    const char *end;   // behind the mantissa
    int64_t count;     // significant digits
    int64_t magnitude; // count plus the power of ten of the last digit
};

Decimal decimal_of(const char *p) {
    if (*p == '+' || *p == '-')
        ++p;
    Decimal d{nullptr, p, 0, 0};
    int64_t fractionDigits = 0;
    bool point = false;
    for (;; ++p) {
        if (is_digit(*p)) {
            if (!d.first && *p != '0')
                d.first = p;
            d.count += d.first != nullptr;
            fractionDigits += point;
        } else if (is_point(*p) && !point) {
            point = true;
        } else {
            break;
        }
    }
    d.end = p;
    int64_t exponent = 0;
    if (*p == 'E' || *p == 'e') {
        ++p;
        const bool negative = *p == '-';
        p += *p == '+' || *p == '-';
        for (; is_digit(*p); ++p)
            if (exponent < kExponentLimit)
                exponent = exponent * 10 + (*p - '0');
        exponent = negative ? -exponent : exponent;
    }
    d.magnitude = d.count + exponent - fractionDigits;
    return d;
}

// The significant digits one after the other, then zeros for ever: the
// zeros that align the shorter text with the longer.
struct DigitStream {
    const char *p;
    const char *end;
    char next() {
        while (p && p < end && !is_digit(*p))
            ++p;
        return p && p < end ? *p++ : '0';
    }
};

int compare_magnitudes(const Decimal &a, const Decimal &b) {
    if (!a.first || !b.first)
        return (a.first != nullptr) - (b.first != nullptr);
    if (a.magnitude != b.magnitude)
        return sign_of(a.magnitude - b.magnitude);
    DigitStream x{a.first, a.end}, y{b.first, b.end};
    for (int64_t i = a.count > b.count ? a.count : b.count; i > 0; --i) {
        const char cx = x.next(), cy = y.next();
        if (cx != cy)
            return cx < cy ? -1 : 1;
    }
    return 0;
}

// ---------------------------------------------------------------------------
// compare_char_real
// ---------------------------------------------------------------------------

// Ranks of the texts: the special values around all numbers.
enum class Rank { MinusInfinity, Number, PlusInfinity, NotANumber, Invalid };

Rank rank_of(const char *text, KelCreal &record) {
    const int status = _kel_ex_parse_creal_X693(text, &record);
    if (status == 0)
        return Rank::Number;
    if (status != 4)
        return Rank::Invalid;
    if (same_text(text, kMinusInfinity))
        return Rank::MinusInfinity;
    if (same_text(text, kPlusInfinity))
        return Rank::PlusInfinity;
    return same_text(text, kNotANumber) ? Rank::NotANumber : Rank::Invalid;
}

// Magnitudes of two parsed numbers of the same sign.
int compare_records(const KelCreal &a, const KelCreal &b) {
    if (!a.firstDigit || !b.firstDigit)
        return (a.firstDigit != nullptr) - (b.firstDigit != nullptr);
    if (a.exponent != b.exponent)
        return a.exponent < b.exponent ? -1 : 1;
    const char *x = a.firstDigit, *y = b.firstDigit;
    for (;;) {
        while (x <= a.lastDigit && is_point(*x))
            ++x;
        while (y <= b.lastDigit && is_point(*y))
            ++y;
        const bool moreX = x <= a.lastDigit, moreY = y <= b.lastDigit;
        if (!moreX || !moreY)
            return moreX - moreY; // more significant digits: the larger
        if (*x != *y)
            return *x < *y ? -1 : 1;
        ++x;
        ++y;
    }
}

int compare_numbers(const KelCreal &a, const KelCreal &b) {
    if (a.negative != b.negative)
        return a.negative ? -1 : 1;
    const int order = compare_records(a, b);
    return a.negative ? -order : order;
}

// compare_char_real's answers.
constexpr int kEqual = 0, kLess = 2, kGreater = 3, kFailure = 4;

} // namespace

extern "C" {

int kelFcmp(const char *first, const char *second) {
    if (same_text(second, "0") && !is_textual_zero(first))
        return is_negative(first) ? -1 : 1;
    if (same_text(first, "0") && !is_textual_zero(second))
        return is_negative(second) ? 1 : -1;
    if (first == second)
        return 0;
    const bool firstMinus = same_text(first, kMinusInfinity), firstPlus = same_text(first, kPlusInfinity);
    const bool secondMinus = same_text(second, kMinusInfinity), secondPlus = same_text(second, kPlusInfinity);
    if ((firstMinus && secondMinus) || (firstPlus && secondPlus))
        return 0;
    if (firstMinus)
        return -1;
    if (firstPlus || secondMinus)
        return 1;
    if (secondPlus)
        return -1;
    const bool negative = first[0] == '-';
    if (negative != (second[0] == '-'))
        return negative ? -1 : 1;
    const int order = compare_magnitudes(decimal_of(first), decimal_of(second));
    return negative ? -order : order;
}

int compare_char_real(KelGlobal *, const char *first, const char *second) {
    if (first == second)
        return kEqual;
    if (!first || !second)
        return kFailure;
    if (same_text(first, second))
        return kEqual;
    KelCreal a, b;
    const Rank x = rank_of(first, a), y = rank_of(second, b);
    if (x == Rank::Invalid || y == Rank::Invalid)
        return kFailure;
    const int order = x != y ? (x < y ? -1 : 1) : x == Rank::Number ? compare_numbers(a, b) : 0;
    return order < 0 ? kLess : order > 0 ? kGreater : kEqual;
}

} // extern "C"
