// contents.h - what the PER writers and readers of REAL, OBJECT IDENTIFIER
// and the useful times share: the messages they raise and the octets of a
// length-prefixed contents, which are read in place when the reader stands
// on an octet boundary and shifted into a buffer otherwise.
#pragma once

#include <cstdint>

#include "per.h"

namespace kel::per::contents {

enum : int {
    kMsgBadOid = 70,           // 0010S, which rule: 0 to 3 or the arc count
    kMsgNullInput = 71,        // 0011S
    kMsgTimeRange = 72,        // 0012S
    kMsgBadDecimal = 83,       // 0091E
    kMsgBadMixedReal = 84,     // 0092E, kind
    kMsgExponentNotMinimal = 93, // 0020E
    kMsgExponentTooLong = 94,  // 0021E, octets
    kMsgSubidTooLong = 97,     // 0025E, bits (or the arc of a 16-bit form)
    kMsgMantissaDigits = 107,  // 0038E
    kMsgExponentDigits = 108,  // 0039E
    kMsgBadNr1 = 109,          // 0040E, then 0041E NR2 and 0042E NR3
    kMsgRealZeroContents = 112, // 0043E
    kMsgReservedReal = 113,    // 0044E
    kMsgRealTooLarge = 128,    // 0099E
    kMsgOidTooLong = 129,      // 0015E, contents octets
};

// Contents octets above this are refused by the object identifier readers
// that allocate.
constexpr uint32_t kMaxOidOctets = 225;

// The unconstrained length of a value that never fragments: the count of
// the first determinant.
inline uint32_t contents_length(KelGlobal *world) {
    uint8_t last = 1;
    return _kel_pdec_length(world, 0, 0, &last);
}

// The next `n` octets of the input, where the caller can read them: in
// place on an octet boundary, else shifted into `local` (room for `room`
// octets) or into temporary memory, which *temp then holds for the caller to
// free.  Fails before anything is read when the input is shorter.
inline const unsigned char *take_octets(KelGlobal *world, uint32_t n, unsigned char *local, uint32_t room,
                                        unsigned char **temp) {
    need_bits(world, uint64_t{n} * 8);
    *temp = nullptr;
    if (world->bitOffset == 0) {
        const unsigned char *p = world->inPos;
        world->inPos += n;
        world->inRemaining -= static_cast<int32_t>(n);
        return p;
    }
    unsigned char *dest = local;
    if (n > room)
        dest = *temp = static_cast<unsigned char *>(_kel_dec_gettempmem(world, n));
    _kel_get_bits(world, dest, n * 8, 0);
    return dest;
}

// Writes `n` octets of contents behind their length determinant, which
// aligns them in aligned PER.  Contents of 16K octets and more, which no
// value of these types needs, go out in fragments.
inline void put_contents(KelGlobal *world, const unsigned char *octets, uint32_t n) {
    uint32_t done = 0, covered;
    do {
        covered = _kel_penc_lfrag(world, n - done);
        if (covered)
            _kel_append(world, octets + done, covered * 8, 1);
        done += covered;
    } while (done < n);
    if (n >= kFragmentUnit && (covered & (kFragmentUnit - 1)) == 0)
        _kel_append_8bit_aligned(world, 0);
}

} // namespace kel::per::contents
