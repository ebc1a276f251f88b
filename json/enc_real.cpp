// enc_real.cpp - REAL in JSON: the canonical decimal text (one digit, '.',
// the other digits without trailing zeros, 'E', the exponent), as a plain
// number or inside an object with or without "base", and the special
// values as {"specialValue":..}.  Infinity is held as the largest finite
// value of the type, so that value and beyond write as INF.
#include <cstdio>
#include <cstring>

#include "float_kinds.h"
#include "json_out.h"

namespace {

using namespace kel::json;

// A value's text as the mode wants it: object with base, object without,
// or the bare number.
void put_value(KelGlobal *world, int mode, const char *text, uint32_t length, int base) {
    if (mode == 0)
        _kel_jenc_object_real(world, text, length, base);
    else if (mode == 1 || mode == 5)
        _kel_jenc_object_real(world, text, length, 0);
    else
        put(world, text, length);
}

void put_special(KelGlobal *world, int mode, int kind) {
    if (mode == 2)
        fail(world, kMsgConstraint);
    _kel_jenc_spec_real(world, kind);
}

template <class Real> void put_binary(KelGlobal *world, int mode, Real value) {
    const int kind = kel::special_kind(value);
    if (kind > 0)
        return put_special(world, mode, kind);
    if (kind == KEL_FLOAT_ZERO)
        return put_value(world, mode, "0", 1, 2);
    char printed[40];
    std::snprintf(printed, sizeof printed, sizeof(Real) == 4 ? "%.7E" : "%.15E", static_cast<double>(value));
    char canonical[40];
    const int32_t length = _kel_jenc_format_creal(world, printed, canonical, sizeof canonical);
    put_value(world, mode, canonical, static_cast<uint32_t>(length), 2);
}

constexpr struct {
    const char *name;
    int kind;
} kSpecialNames[] = {{"PLUS_INFINITY", KEL_FLOAT_PLUS_INFINITY}, {"MINUS_INFINITY", KEL_FLOAT_MINUS_INFINITY}, {"NOT_A_NUMBER", KEL_FLOAT_NOT_A_NUMBER}};

} // namespace

extern "C" {

int32_t _kel_jenc_format_creal(KelGlobal *world, const char *text, char *out, uint32_t size) {
    KelCreal record;
    if (const int parsed = _kel_ex_parse_creal_X693(text, &record)) {
        fail(world, parsed == 3   ? kMsgExponentDigits
                    : parsed == 5 ? kMsgExponentTooLong
                    : parsed == 2 ? kMsgMantissaDigits
                                  : kMsgBadDecimalReal);
    }
    if (record.flags & KEL_CREAL_ZERO_NEGATIVE)
        return -1;
    const int length = _kel_ex_compose_creal_X693(&record, out, size);
    if (length < 0)
        fail(world, kMsgBadDecimalReal);
    return length;
}

void _kel_jenc_object_real(KelGlobal *world, const char *text, uint32_t length, int base) {
    _kel_jenc_begin_object(world);
    int comma = 0;
    if (base == 2 || base == 10) {
        _kel_jenc_element(world, "base", 0);
        if (base == 2)
            put_char(world, '2');
        else
            put(world, "10", 2);
        comma = 1;
    }
    _kel_jenc_element(world, "value", comma);
    put(world, text, length);
    _kel_jenc_end_object(world, 1);
}

void _kel_jenc_spec_real(KelGlobal *world, int kind) {
    _kel_jenc_begin_object(world);
    _kel_jenc_element(world, "specialValue", 0);
    switch (kind) {
    case KEL_FLOAT_PLUS_INFINITY:
        put_text(world, "\"INF\"");
        break;
    case KEL_FLOAT_MINUS_INFINITY:
        put_text(world, "\"-INF\"");
        break;
    case KEL_FLOAT_NOT_A_NUMBER:
        put_text(world, "\"NaN\"");
        break;
    default:
        put_text(world, "\"-0\"");
        break;
    }
    _kel_jenc_end_object(world, 1);
}

void _kel_jenc_real_double(KelGlobal *world, int mode, double value) { put_binary(world, mode, value); }

void _kel_jenc_real_float(KelGlobal *world, int mode, float value) { put_binary(world, mode, value); }

void _kel_jenc_real_decimal(KelGlobal *world, const char *text, int mode) {
    const char first = text[0];
    if (first == 'P' || first == 'M' || first == 'N') {
        for (const auto &special : kSpecialNames)
            if (std::strcmp(text, special.name) == 0)
                return put_special(world, mode, special.kind);
        fail(world, kMsgBadDecimalReal);
    }
    const auto size = static_cast<uint32_t>(std::strlen(text)) + 24;
    char local[64];
    char *out = size <= sizeof local ? local : static_cast<char *>(_kel_dec_gettempmem(world, size));
    const int32_t length = _kel_jenc_format_creal(world, text, out, size);
    if (length < 0) {
        if (out != local)
            _kel_dec_freetempmem(world, out);
        return put_special(world, mode, KEL_FLOAT_MINUS_ZERO);
    }
    put_value(world, mode, out, static_cast<uint32_t>(length), 10);
    if (out != local)
        _kel_dec_freetempmem(world, out);
}

} // extern "C"
