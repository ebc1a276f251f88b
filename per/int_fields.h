// int_fields.h - small pieces that the integer, enumeration and huge
// integer primitives and the length determinants share: octet counts of
// values and the constrained whole-number field that lengths and indexes use (a bit field up to 255,
// one aligned octet for 256 values, two aligned octets above in aligned PER).
#pragma once

#include <bit>
#include <cstdint>

#include "per.h"

namespace kel::per {

// Octets of `value` as an unsigned number, at least one.
template <class U> constexpr uint32_t unsigned_octets(U value) {
    return value ? (static_cast<uint32_t>(std::bit_width(value)) + 7) / 8 : 1;
}

// Writes `value` (0..span) as a constrained whole number with span + 1
// possible values; the span of a length is below 65536.
template <class U> inline void put_constrained(KelGlobal *world, U value, U span) {
    if (span == 0)
        return;
    if (span < 255) {
        put_bits(world, value, static_cast<uint32_t>(std::bit_width(span)));
    } else if (span == 255) {
        align_writer(world);
        put_bits(world, value, 8);
    } else if (world->aligned) {
        align_writer(world);
        put_bits(world, value, 16);
    } else {
        put_bits(world, value, static_cast<uint32_t>(std::bit_width(span)));
    }
}

// Reads what put_constrained writes.  The field is not compared with span.
inline uint32_t get_constrained(KelGlobal *world, uint32_t span) {
    if (span == 0)
        return 0;
    if (span < 255)
        return static_cast<uint32_t>(get_bits(world, static_cast<uint32_t>(std::bit_width(span))));
    if (span == 255) {
        align_reader(world);
        return static_cast<uint32_t>(get_bits(world, 8));
    }
    if (world->aligned) {
        align_reader(world);
        return static_cast<uint32_t>(get_bits(world, 16));
    }
    return static_cast<uint32_t>(get_bits(world, static_cast<uint32_t>(std::bit_width(span))));
}

} // namespace kel::per
