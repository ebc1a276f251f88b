// real.cpp - REAL in XER: a plain decimal text as it stands (outside
// CXER), every other text in the canonical form (one digit, '.', the other
// digits, 'E', the exponent), binary values printed and then made
// canonical, and the special values as empty tags.  Infinity is held as the
// largest finite value of the type, so that value and beyond write as
// <PLUS-INFINITY/>.
#include <cstdio>

#include "float_kinds.h"
#include "xer_out.h"

namespace {

using namespace kel::xer;

struct SpecialName {
    const char *text; // the memory form's text
    const char *tag;
    uint32_t tagLength;
};
constexpr SpecialName kSpecials[] = {
    {"PLUS_INFINITY", "PLUS-INFINITY", 13},
    {"MINUS_INFINITY", "MINUS-INFINITY", 14},
    {"NOT_A_NUMBER", "NOT-A-NUMBER", 12},
};

void put_special(KelGlobal *world, const SpecialName &special) {
    _kel_tex_empty_or_id_tagN(world, special.tag, special.tagLength);
}

// Optional '-', digits, optionally '.' and at least one digit: the length
// of such a text, or 0.  *allZero tells whether every digit is 0.
uint32_t plain_decimal(const char *text, bool *allZero) {
    const char *p = text + (*text == '-');
    const char *digits = p;
    *allZero = true;
    while (*p >= '0' && *p <= '9')
        *allZero &= *p++ == '0';
    if (p == digits)
        return 0;
    if (*p == '.') {
        const char *fraction = ++p;
        while (*p >= '0' && *p <= '9')
            *allZero &= *p++ == '0';
        if (p == fraction)
            return 0;
    }
    return *p ? 0 : static_cast<uint32_t>(p - text);
}

template <class Real> void put_binary(KelGlobal *world, Real value) {
    XerOutputState *state = out_state(world);
    switch (kel::special_kind(value)) {
    case KEL_FLOAT_NOT_A_NUMBER:
        return put_special(world, kSpecials[2]);
    case KEL_FLOAT_MINUS_ZERO:
        return put_literal(world, state, "-0");
    case KEL_FLOAT_PLUS_INFINITY:
        return put_special(world, kSpecials[0]);
    case KEL_FLOAT_MINUS_INFINITY:
        return put_special(world, kSpecials[1]);
    case KEL_FLOAT_ZERO:
        return put_literal(world, state, "0");
    default:
        break;
    }
    char printed[40];
    std::snprintf(printed, sizeof printed, sizeof(Real) == 4 ? "%.7E" : "%.15E", static_cast<double>(value));
    _kel_tex_format_creal(world, printed);
}

// Texts up to this length are made canonical on the stack.
constexpr uint32_t kLocalText = 64;
// The canonical form may be longer than its source: ".0", 'E', a sign and
// an exponent of up to ten digits.
constexpr uint32_t kGrowth = 24;

} // namespace

extern "C" {

void _kel_tex_creal(KelGlobal *world, const char *text) {
    if (!cxer(world)) {
        bool allZero = false;
        if (const uint32_t length = plain_decimal(text, &allZero)) {
            XerOutputState *state = out_state(world);
            if (!allZero)
                return put_text(world, state, text, length);
            return *text == '-' ? put_literal(world, state, "-0") : put_literal(world, state, "0");
        }
    }
    for (const SpecialName &special : kSpecials)
        if (std::strcmp(text, special.text) == 0)
            return put_special(world, special);
    _kel_tex_format_creal(world, text);
}

void _kel_tex_format_creal(KelGlobal *world, const char *text) {
    KelCreal record;
    if (const int parsed = _kel_ex_parse_creal_X693(text, &record)) {
        fail(world, parsed == 3   ? kMsgExponentDigits
                    : parsed == 5 ? kMsgExponentTooLong
                    : parsed == 2 ? kMsgMantissaDigits
                                  : kMsgBadDecimalReal);
    }
    const auto textLength = static_cast<uint32_t>(std::strlen(text));
    const uint32_t size = textLength + kGrowth;
    char local[kLocalText + kGrowth];
    char *out = textLength < kLocalText ? local : static_cast<char *>(_kel_dec_gettempmem(world, size));
    const int length = _kel_ex_compose_creal_X693(&record, out, size);
    if (length < 0)
        fail(world, kMsgBadDecimalReal);
    put_text(world, out_state(world), out, static_cast<uint32_t>(length));
    if (out != local)
        _kel_dec_freetempmem(world, out);
}

void _kel_tex_dreal(KelGlobal *world, double value) { put_binary(world, value); }

void _kel_tex_freal(KelGlobal *world, float value) { put_binary(world, value); }

} // extern "C"
