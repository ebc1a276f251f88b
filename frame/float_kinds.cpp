// float_kinds.cpp - the exported forms of the special-value helpers, for
// generated code and for families written in C.
#include <cstring>

#include "float_kinds.h"

extern "C" {

int kel_get_float_special_value_kind(const void *value, int size) {
    if (size == 4) {
        float f;
        std::memcpy(&f, value, sizeof f);
        return kel::special_kind(f);
    }
    double d;
    std::memcpy(&d, value, sizeof d);
    return kel::special_kind(d);
}

int kel_set_float_special_value(void *dest, int size, int kind) {
    if ((size != 4 && size != 8) || (kind != KEL_FLOAT_ZERO && (kind < KEL_FLOAT_PLUS_INFINITY || kind > KEL_FLOAT_MINUS_ZERO)))
        return 0;
    if (size == 4) {
        const float f = kind == KEL_FLOAT_ZERO ? 0.0f : kel::special_value<float>(kind);
        std::memcpy(dest, &f, sizeof f);
    } else {
        const double d = kind == KEL_FLOAT_ZERO ? 0.0 : kel::special_value<double>(kind);
        std::memcpy(dest, &d, sizeof d);
    }
    return 1;
}

} // extern "C"
