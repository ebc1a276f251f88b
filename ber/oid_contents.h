// oid_contents.h - the contents octets of an OBJECT IDENTIFIER as the BER
// and PER families both write them: the checks that X.660 puts on the first
// arcs, the subidentifier that carries the first two, and 32-bit arcs in
// base 128.  PER carries these same contents behind a length determinant.
#pragma once

#include <bit>
#include <cstdint>

#include "internal.h"

namespace kel::subids {

// "0010S: Bad OBJECT IDENTIFIER: ", with 0 for a first arc above 2, 1 for a
// second arc of 40 or more under a first arc below 2, 2 for a third arc
// under 0.0 outside 1 to 26, 3 for a first subidentifier beyond 32 bits.
constexpr int kMsgBadOid = 70;

inline void check_first_arc(KelGlobal *world, uint32_t first) {
    if (first > 2)
        _kel_enc_error(world, kMsgBadOid, 0);
}

// The subidentifier of the first two arcs; the first arc is checked.
inline uint32_t join_first_arcs(KelGlobal *world, uint32_t first, uint32_t second) {
    if (first < 2 && second >= 40)
        _kel_enc_error(world, kMsgBadOid, 1);
    if (second > UINT32_MAX - 40 * first)
        _kel_enc_error(world, kMsgBadOid, 3);
    return 40 * first + second;
}

// Under 0.0 (a joined subidentifier of 0) the third arc names a series
// letter of the recommendations, 1 to 26.
inline void check_third_arc(KelGlobal *world, uint32_t joined, uint32_t third) {
    if (joined == 0 && (third == 0 || third >= 27))
        _kel_enc_error(world, kMsgBadOid, 2);
}

// The first two arcs of the first subidentifier.
inline void split_first(uint32_t subid, uint32_t &first, uint32_t &second) {
    first = subid >= 80 ? 2 : subid / 40;
    second = subid - 40 * first;
}

// Octets of an arc in base 128: 1 to 5.
inline uint32_t subid_octets(uint32_t arc) { return (static_cast<uint32_t>(std::bit_width(arc | 1)) + 6) / 7; }

// Writes `arc` in base 128 at `out`, high bit on all octets but the last;
// returns the position behind it.
inline unsigned char *put_subid(unsigned char *out, uint32_t arc) {
    const uint32_t n = subid_octets(arc);
    for (uint32_t i = n - 1; i > 0; --i)
        *out++ = static_cast<unsigned char>(0x80 | (arc >> (7 * i) & 0x7F));
    *out++ = static_cast<unsigned char>(arc & 0x7F);
    return out;
}

} // namespace kel::subids
