// settings.h - the normalisation that every store of encoding or decoding
// flags goes through: the setters and the drivers, which take flags of their
// own from encode() and decode(), apply the same rules.
#pragma once

#include <cstdint>

#include "kelvarn.h"

namespace kel {

// COMPRESS implies IGNORE_DEFER_DECODING; STRICT_ENCODING_DECODING_RULES
// overrides KEL_RELAXED; TRAPPING, as stored, is the inverse of the caller's
// KEL_TRAP_SIGNALS.  INDEFINITE is the encoder's own business.
constexpr uint32_t normalise_flags(uint32_t flags) {
    if (flags & COMPRESS)
        flags |= IGNORE_DEFER_DECODING;
    if (flags & STRICT_ENCODING_DECODING_RULES)
        flags &= ~KEL_RELAXED;
    if (flags & KEL_TRAP_SIGNALS)
        flags &= ~TRAPPING;
    else
        flags |= TRAPPING;
    return flags;
}

static_assert(normalise_flags(0) == TRAPPING);
static_assert(normalise_flags(KEL_TRAP_SIGNALS | TRAPPING) == KEL_TRAP_SIGNALS);

} // namespace kel
