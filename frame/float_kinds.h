// float_kinds.h - the special values of float and double as every rule
// family reads and writes them: kinds 64 to 67 (plus and minus infinity,
// not a number, minus zero), 0 for plus zero, -1 for an ordinary value.
// Infinity has no form of its own in memory: the largest finite value of
// the type stands for it, and anything at or beyond it counts as infinity.
#pragma once

#include <cmath>
#include <limits>

#include "kelvarn_prim.h"

namespace kel {

template <class Real> constexpr int special_kind(Real value) {
    constexpr Real kMax = std::numeric_limits<Real>::max();
    if (std::isnan(value))
        return KEL_FLOAT_NOT_A_NUMBER;
    if (value == 0)
        return std::signbit(value) ? KEL_FLOAT_MINUS_ZERO : KEL_FLOAT_ZERO;
    if (value >= kMax)
        return KEL_FLOAT_PLUS_INFINITY;
    if (value <= -kMax)
        return KEL_FLOAT_MINUS_INFINITY;
    return KEL_FLOAT_ORDINARY;
}

// The value of a special kind from 64 to 67.
template <class Real> constexpr Real special_value(int kind) {
    constexpr Real kMax = std::numeric_limits<Real>::max();
    constexpr Real kValues[] = {kMax, -kMax, std::numeric_limits<Real>::quiet_NaN(), static_cast<Real>(-0.0)};
    return kValues[kind - KEL_FLOAT_PLUS_INFINITY];
}

} // namespace kel
