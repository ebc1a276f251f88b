// oer.h - what the OER family's sources share: the octet writer with its
// one room test, the input test and cursor of the readers, big-endian loads
// and stores of fixed fields, the decoding modes and the message numbers by
// their own names.
//
// OER is octet-aligned throughout: bitOffset stays 0.  The writer appends at
// outPos with outRemaining octets of room in the current block (0 before the
// first block of library memory); the reader takes from inPos with
// inRemaining octets left.  Encoders always write the canonical form; the
// decoders ask canonical() where COER rejects what OER accepts.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "internal.h"
#include "octet_store.h"
#include "kelvarn_oer.h"

namespace kel::oer {

// Message numbers (rows of kelErrMsgs) raised by the family.
enum : int {
    kMsgRangeSigned = 22,         // 0062S, signed value
    kMsgRangeUnsigned = 23,       // 0062S, unsigned value
    kMsgSizeViolated = 27,        // 0063S, bits
    kMsgNegativeUnsigned = 40,    // 0076S
    kMsgBitsTooLong = 42,         // 0080E
    kMsgEndOfInput = 45,          // 0081S
    kMsgBadOid = 70,              // 0010S, arc count or position
    kMsgSizeExceeded = 79,        // 0016S, length
    kMsgBadDecimalReal = 83,      // 0091E
    kMsgUtf8Convert = 87,         // 0119S, position
    kMsgTagNeedlesslyLong = 91,   // 0018E
    kMsgTagTooLong = 92,          // 0019E, tag so far
    kMsgExponentNeedless = 93,    // 0020E
    kMsgExponentTooLong = 94,     // 0021E
    kMsgIntNeedlesslyLong = 95,   // 0022E
    kMsgSubidTooLong = 97,        // 0025E
    kMsgFirstOctetRange = 105,    // 0035E
    kMsgMisencoded = 106,         // 0037E
    kMsgMantissaDigits = 107,     // 0038E
    kMsgExponentDigits = 108,     // 0039E
    kMsgRealZeroContents = 112,   // 0043E
    kMsgReservedReal = 113,       // 0044E
    kMsgRealTooLarge = 128,       // 0099E
    kMsgUtf8Sequence = 135,       // 0120S
    kMsgCharWidth = 140,          // 0136E, length
    kMsgIntTooLong = 148,         // 0144E, length
    kMsgPaddingBits = 260,        // 0263E
};

inline bool canonical(const KelGlobal *world) { return world->encRules == KEL_COER; }
inline bool relaxed(const KelGlobal *world) { return (world->modeBits & KEL_MODE_RELAXED) != 0; }
inline bool strict(const KelGlobal *world) {
    return (world->decodingFlags & STRICT_ENCODING_DECODING_RULES) != 0;
}

[[noreturn]] inline void fail(KelGlobal *world, int message, uint32_t value = 0) {
    _kel_enc_error(world, message, value);
}
[[noreturn]] inline void end_of_input(KelGlobal *world) { fail(world, kMsgEndOfInput); }

// ---------------------------------------------------------------------------
// Big-endian fields
// ---------------------------------------------------------------------------

// The low `n` octets of `value`, most significant first.
template <class T> inline void store_be(unsigned char *p, T value, uint32_t n) {
    using U = std::make_unsigned_t<T>;
    U v = static_cast<U>(value);
    for (uint32_t i = n; i-- > 0; v = static_cast<U>(v >> 8))
        p[i] = static_cast<unsigned char>(v);
}

// A whole field of sizeof(T) octets: one load and one byte swap.
template <class T> inline T load_be(const unsigned char *p) {
    using U = std::make_unsigned_t<T>;
    U v;
    std::memcpy(&v, p, sizeof v);
    if constexpr (std::endian::native == std::endian::little) {
        if constexpr (sizeof(U) == 2)
            v = __builtin_bswap16(v);
        else if constexpr (sizeof(U) == 4)
            v = __builtin_bswap32(v);
        else if constexpr (sizeof(U) == 8)
            v = __builtin_bswap64(v);
    }
    return static_cast<T>(v);
}

// Octets of the minimal two's complement form of `value` (for an unsigned
// type the same count, so that a set top bit gets a zero octet in front).
template <class T> inline uint32_t signed_octets(T value) {
    using U = std::make_unsigned_t<T>;
    U rest = static_cast<U>(std::is_signed_v<T> && value < 0 ? ~value : value) >> 7;
    uint32_t n = 1;
    for (; rest; rest >>= 8)
        ++n;
    return n;
}

// Octets of the minimal unsigned form, at least one.
template <class U> inline uint32_t unsigned_octets(U value) {
    uint32_t n = 1;
    for (value >>= 8; value; value >>= 8)
        ++n;
    return n;
}

// ---------------------------------------------------------------------------
// Writing
// ---------------------------------------------------------------------------

// Appends `n` octets; in count mode only counts them.  One room test.
inline void put(KelGlobal *world, const unsigned char *src, uint32_t n) {
    if (counting(world)) {
        world->encLength += n;
        return;
    }
    if (world->outRemaining >= static_cast<int32_t>(n) && n) [[likely]] {
        std::memcpy(world->outPos, src, n);
        world->outPos += n;
        world->outRemaining -= static_cast<int32_t>(n);
        return;
    }
    if (n)
        kel::put_after_across(world, src, n);
}

// A count octet, `mark` | n, and the n low octets of `value`: one store.
template <class T> inline void put_with_count(KelGlobal *world, T value, uint32_t n, uint32_t mark = 0) {
    unsigned char octets[sizeof(T) + 2];
    octets[0] = static_cast<unsigned char>(mark | n);
    store_be(octets + 1, value, n);
    put(world, octets, n + 1);
}

// Appends `n` zero octets.
void put_zeros(KelGlobal *world, uint32_t n);

// A length determinant into `out` (room for 5); returns its size.
inline uint32_t length_form(uint32_t n, unsigned char *out) {
    if (n < 128) {
        out[0] = static_cast<unsigned char>(n);
        return 1;
    }
    const uint32_t k = unsigned_octets(n);
    out[0] = static_cast<unsigned char>(0x80 | k);
    store_be(out + 1, n, k);
    return k + 1;
}

inline void put_length(KelGlobal *world, uint32_t n) {
    unsigned char form[5];
    put(world, form, length_form(n, form));
}

// ---------------------------------------------------------------------------
// Reading
// ---------------------------------------------------------------------------

// Fails unless `n` more octets are in the input.
inline void need(const KelGlobal *world, uint64_t n) {
    if (world->inRemaining < 0 || static_cast<uint64_t>(world->inRemaining) < n)
        end_of_input(const_cast<KelGlobal *>(world));
}

// Steps over `n` octets that the caller has made sure of.
inline const unsigned char *advance(KelGlobal *world, uint32_t n) {
    const unsigned char *p = world->inPos;
    world->inPos += n;
    world->inRemaining -= static_cast<int32_t>(n);
    return p;
}

// Tests for and takes `n` octets.
inline const unsigned char *take(KelGlobal *world, uint32_t n) {
    need(world, n);
    return advance(world, n);
}

// A determinant whose content is present: the content's size, the read
// pointer on the content.  A four-octet length with its top bit set reads as
// negative and can't be present.
inline uint32_t content_length(KelGlobal *world) {
    const int32_t n = _kel_odec_length(world);
    if (n < 0)
        end_of_input(world);
    return static_cast<uint32_t>(n);
}

// Whether the first of two octets of a two's complement number only repeats
// the sign of the second.
inline bool sign_repeated(const unsigned char *p) {
    return (p[0] == 0 && p[1] < 0x80) || (p[0] == 0xFF && p[1] >= 0x80);
}

// A signed number of `count` (1..127) octets at `p`, all present: a
// redundant first octet is 0022E under COER and dropped under OER, and what
// is left may have at most `limit` octets (0144E).
int64_t read_signed(KelGlobal *world, const unsigned char *p, uint32_t count, uint32_t limit);

// A block of final decoder memory for `size` octets; null for none.
inline unsigned char *final_block(KelGlobal *world, uint32_t size) {
    if (size == 0)
        return nullptr;
    return static_cast<unsigned char *>(_kel_dec_getmem_internal(world, size));
}

} // namespace kel::oer
