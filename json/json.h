// json.h - what the JSON family's sources share: the message numbers by their
// own names, the strictness test, and the byte reader of the decoder cursor.
//
// The reader takes from the world's inPos with inRemaining octets left.  At
// the end of input it answers -1 instead of a byte and moves nothing, so a
// caller may always hand back what it read with unread(): a -1 is ignored.
// Readers that cannot go on turn the -1 into the end-of-input failure.
#pragma once

#include <cstdint>
#include <cstring>

#include "internal.h"
#include "kelvarn_json.h"

namespace kel::json {

// Message numbers (rows of kelErrMsgs) raised by the family.
enum : int {
    kMsgIntTooLong = 10,          // 0023E, 32-bit value
    kMsgLongIntTooLong = 11,      // 0023E, 64-bit value
    kMsgSizeViolated = 27,        // 0063S, length of the value
    kMsgNegativeUnsigned = 40,    // 0076S
    kMsgEndOfInput = 45,          // 0081S
    kMsgBadOidCount = 70,         // 0010S, arc count
    kMsgSubidTooLong = 97,        // 0025E, 64-bit arc
    kMsgLengthTooLong = 98,       // 0026S
    kMsgSizeTooLong = 99,         // 0027S
    kMsgEmbeddedNull = 114,       // 0046E
    kMsgRealTooLarge = 128,       // 0099E
    kMsgUtf8Sequence = 135,       // 0120S
    kMsgConstraint = 145,         // 0126S
    kMsgBadOid = 180,             // 0010S, value or position
    kMsgCharTooLong = 258,        // 0261E
    kMsgPaddingBits = 260,        // 0263E
    kMsgUnexpectedToken = 312,    // 0361S, text: the tokens expected
    kMsgUnknownMember = 313,      // 0362S, text: the name
    kMsgItemTooLong = 314,        // 0363S, text: what was read
    kMsgInvalidEncoding = 315,    // 0364S, text: what was read
    kMsgUnknownEnum = 316,        // 0365S, text: the name
    kMsgTokenError = 317,         // 0366S, text: the whole message
    kMsgBadUnicode = 318,         // 0367S
};

// Room of the cursor's scratch: 255 octets of text and a terminating NUL.
constexpr uint32_t kScratchSize = 256;
constexpr uint32_t kScratchText = 255;

inline bool strict(const KelGlobal *world) {
    return (world->decodingFlags & STRICT_ENCODING_DECODING_RULES) != 0;
}

[[noreturn]] inline void fail(KelJsonCursor *cursor, int message, uint32_t value = 0) {
    _kel_enc_error(cursor->world, message, value);
}
[[noreturn]] inline void fail_text(KelJsonCursor *cursor, int message, const char *text) {
    _kel_varn_error(cursor->world, message, text);
}
[[noreturn]] inline void end_of_input(KelJsonCursor *cursor) { fail(cursor, kMsgEndOfInput); }

// The next byte, or -1 at the end of input.
inline int next_byte(KelJsonCursor *cursor) {
    KelGlobal *world = cursor->world;
    if (world->inRemaining <= 0)
        return -1;
    --world->inRemaining;
    return *world->inPos++;
}

// The next byte; the end of input fails.
inline unsigned need_byte(KelJsonCursor *cursor) {
    int c = next_byte(cursor);
    if (c < 0)
        end_of_input(cursor);
    return static_cast<unsigned>(c);
}

// Hands back the byte `c` that next_byte gave; -1 took nothing.
inline void unread(KelJsonCursor *cursor, int c) {
    if (c >= 0) {
        --cursor->world->inPos;
        ++cursor->world->inRemaining;
    }
}

// Position and room of the input, saved and restored around a look-ahead.
struct InputMark {
    unsigned char *pos;
    int32_t remaining;
};
inline InputMark mark(const KelJsonCursor *cursor) {
    return {cursor->world->inPos, cursor->world->inRemaining};
}
inline void restore(KelJsonCursor *cursor, InputMark m) {
    cursor->world->inPos = m.pos;
    cursor->world->inRemaining = m.remaining;
}

} // namespace kel::json
