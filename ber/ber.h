// ber.h - what the BER family's sources share: assembling identifier and
// length octets in front of content in one stack array, so that a whole
// header (or a whole TLV) goes below the writer's position in one store.
#pragma once

#include <cstdint>

#include "octet_store.h"

namespace kel::ber {

// Adds the length octets, then the identifier octets of `tag` (header form:
// last identifier octet in the low byte, up to three octets), in front of
// what `out` holds.  A length above 127 as a signed number takes the long
// form with as many octets as it has significant bytes; any other value is
// stored as one octet (so -128 gives the indefinite form 0x80).
template <uint32_t Capacity>
inline void push_header(BackwardOctets<Capacity> &out, uint32_t length, uint32_t tag) {
    if (static_cast<int32_t>(length) > 127) {
        uint32_t count = 0;
        for (; length; length >>= 8, ++count)
            out.push(length & 0xFF);
        out.push(0x80 | count);
    } else {
        out.push(length & 0xFF);
    }
    out.push(tag & 0xFF);
    if (tag >> 8) {
        out.push((tag >> 8) & 0xFF);
        if (tag >> 16)
            out.push((tag >> 16) & 0xFF);
    }
}

} // namespace kel::ber
