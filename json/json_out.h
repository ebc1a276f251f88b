// json_out.h - what the JSON encoders share: the forward text writer with
// its one room test, the layout state of the world, the digit writers and
// the message numbers by their own names.
//
// The writer appends at outPos with outRemaining octets of room in the
// current block (0 before the first block of library memory, or the rest of
// the caller's buffer); in count mode it only adds to encLength.
#pragma once

#include <cstdint>
#include <cstring>

#include "internal.h"
#include "decimal_text.h"
#include "octet_store.h"
#include "kelvarn_json.h"

namespace kel::json {

using kel::digits_before;
using kel::huge_digits_before;
using kel::integer_text_before;

// Message numbers (rows of kelErrMsgs) raised by the encoders.
enum : int {
    kMsgNotUtc = 8,              // 0013S
    kMsgNotEnumerated = 36,      // 0071S, value
    kMsgTimeRange = 72,          // 0012S
    kMsgMonth = 73,              // 0012S, month ... millisecond: 78
    kMsgSizeExceeded = 79,       // 0016S, arcs
    kMsgBadDecimalReal = 83,     // 0091E
    kMsgExponentTooLong = 94,    // 0021E
    kMsgLengthTooLong = 98,      // 0026S, octets
    kMsgMisencoded = 106,        // 0037E
    kMsgMantissaDigits = 107,    // 0038E
    kMsgExponentDigits = 108,    // 0039E
    kMsgUtf8Sequence = 135,      // 0120S
    kMsgConstraint = 145,        // 0126S
    kMsgBadOid = 180,            // 0010S, arc count or position
    kMsgBadUnicode = 318,        // 0367S, code point
};

[[noreturn]] inline void fail(KelGlobal *world, int message, uint32_t value = 0) {
    _kel_enc_error(world, message, value);
}

inline bool compact(const KelGlobal *world) { return (world->ext->jsonFlags & JSON_COMPACT_ENCODING) != 0; }
inline bool unicode_escapes(const KelGlobal *world) {
    return (world->ext->jsonFlags & JSON_USE_UNICODE_ESCAPE_SEQUENCE) != 0;
}

// ---------------------------------------------------------------------------
// Writing
// ---------------------------------------------------------------------------

// Appends `n` octets with one room test; short runs go octet by octet,
// longer ones by one copy.
inline void put(KelGlobal *world, const void *bytes, uint32_t n) {
    if (counting(world)) {
        world->encLength += n;
        return;
    }
    const auto *src = static_cast<const unsigned char *>(bytes);
    if (world->outRemaining >= static_cast<int32_t>(n)) [[likely]] {
        unsigned char *out = world->outPos;
        if (n < 11) {
            for (uint32_t i = 0; i < n; ++i)
                out[i] = src[i];
        } else {
            std::memcpy(out, src, n);
        }
        world->outPos = out + n;
        world->outRemaining -= static_cast<int32_t>(n);
        return;
    }
    kel::put_after_across(world, src, n);
}

inline void put_char(KelGlobal *world, unsigned char c) {
    if (counting(world)) {
        world->encLength += 1;
        return;
    }
    if (world->outRemaining <= 0) [[unlikely]] {
        world->outPos = _kel_enc_getmem(world);
        world->outRemaining = KEL_ENC_BLOCK;
    }
    *world->outPos++ = c;
    world->outRemaining -= 1;
}

// A text literal without its NUL.
template <uint32_t N> inline void put_text(KelGlobal *world, const char (&text)[N]) { put(world, text, N - 1); }

// A hexadecimal pair (upper case) for each of `n` octets.
void put_hex(KelGlobal *world, const unsigned char *bytes, uint32_t n);

// The quoted, escaped text of `n` octets.
void put_escaped(KelGlobal *world, const unsigned char *text, uint32_t n, bool utf8);

// ---------------------------------------------------------------------------
// Digits
// ---------------------------------------------------------------------------

// Appends a decimal number.
template <class U> inline void put_decimal(KelGlobal *world, U value, bool negative = false) {
    char text[24];
    char *start = digits_before(text + sizeof text, value);
    if (negative)
        *--start = '-';
    put(world, start, static_cast<uint32_t>(text + sizeof text - start));
}

} // namespace kel::json
