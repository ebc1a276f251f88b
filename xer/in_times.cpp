// in_times.cpp - the canonical form of GeneralizedTime and UTCTime text:
// all digits up to the seconds, hours up to 23, a fraction only after a
// full stop, without trailing zeros, and a closing Z.  The answer is the
// index of the diagnostic that the text earns, or 0.
#include "xer_in.h"

using namespace kel::xer;

namespace {

enum : int {
    kDiagNoZ = 16,
    kDiagNoSeconds = 17,
    kDiagMidnight = 18,
    kDiagComma = 19,
    kDiagFractionZeros = 20,
    kDiagIllegal = 22,
    kDiagFractionEmpty = 23,
};

// The first `digits` octets: all digits, hours at `hour` up to 23.
int check_digits(const char *text, uint32_t digits, uint32_t hour) {
    for (uint32_t i = 0; i < digits; ++i)
        if (!is_digit(static_cast<uint8_t>(text[i])))
            return text[i] == ',' || text[i] == '.' ? kDiagNoSeconds : kDiagIllegal;
    return (text[hour] - '0') * 10 + (text[hour + 1] - '0') > 23 ? kDiagMidnight : 0;
}

} // namespace

extern "C" {

int _kel_cxerCheckGtime(const char *text, uint32_t length) {
    if (length < 14)
        return kDiagNoSeconds;
    if (int diagnostic = check_digits(text, 14, 8))
        return diagnostic;
    uint32_t i = 14;
    if (i < length && text[i] == ',')
        return kDiagComma;
    if (i < length && text[i] == '.') {
        bool nonZero = false;
        for (++i; i < length && is_digit(static_cast<uint8_t>(text[i])); ++i)
            nonZero |= text[i] != '0';
        if (text[i - 1] == '0')
            return kDiagFractionZeros;
        if (!nonZero)
            return kDiagFractionEmpty;
    }
    if (i == length)
        return kDiagNoZ;
    if (length - i > 1)
        return kDiagIllegal;
    return text[i] == 'Z' ? 0 : kDiagNoZ;
}

int _kel_cxerCheckUtime(const char *text, uint32_t length) {
    if (length < 12)
        return kDiagNoSeconds;
    if (int diagnostic = check_digits(text, 12, 6))
        return diagnostic;
    if (length == 12 || text[12] != 'Z')
        return kDiagNoZ;
    return length > 13 ? kDiagIllegal : 0;
}

} // extern "C"
