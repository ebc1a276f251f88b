// xer_in.h - what the XER readers share: the message numbers by their own
// names, the canonical test, the moves of the input cursor, and the failures
// that first move the cursor to the offending octet, so that the count of
// octets read tells where the fault lies.
#pragma once

#include <cstdint>
#include <cstring>

#include "internal.h"
#include "kelvarn_xer.h"

namespace kel::xer {

// Message numbers (rows of kelErrMsgs) raised by the readers.
enum : int {
    kMsgIntTooLong = 10,          // 0023E, the value
    kMsgSizeViolated = 27,        // 0063S, the value's length
    kMsgNegativeUnsigned = 40,    // 0076S
    kMsgEndOfInput = 45,          // 0081S
    kMsgLengthTooLong = 98,       // 0026S, the value's length
    kMsgMisencoded = 106,         // 0037E
    kMsgExpectStart = 154,        // 0149E
    kMsgExpectStartOrEmpty = 155, // 0150E
    kMsgExpectEnd = 159,          // 0154E
    kMsgExpectValue = 160,        // 0155E, the type's name
    kMsgExpectBoolean = 161,      // 0156E
    kMsgUnknownField = 162,       // 0157E, the name
    kMsgUnknownEnum = 163,        // 0158E, the name
    kMsgNameExpected = 166,       // 0166E
    kMsgTagSyntax = 167,          // 0167E
    kMsgWrongTagName = 168,       // 0168E, the name
    kMsgNotCanonical = 173,       // 0174E, a diagnostic text
    kMsgExpectEmpty = 176,        // 0177E
};

// Indices of _cxer_diag_msgs the library raises itself.
enum : int { kDiagWhiteSpace = 1, kDiagUpperCaseHex = 2, kDiagTrailingZeroBits = 13 };

// The text of message 173 for an empty value written with two tags.
inline constexpr char kEmptyNeedsEmptyTag[] = "empty-element XML tag should have been used to represent empty value";

// Flags of the string and size-testing readers.
enum : uint32_t {
    kBounded = 1,    // a size bound applies
    kLocalBound = 2, // the bound is the local representation's: 98, not 27
    kCut = 4,        // oversize values are cut, not refused
    kNamedBits = 8,  // bit strings: trailing zeros may be dropped
};

// Lexeme kinds.
enum : uint8_t { kChar = 0, kOpen = 1, kEmpty = 2, kClose = 4, kPushedBack = 0x80 };

inline bool canonical(const KelGlobal *world) { return (world->modeBits & KEL_MODE_CANONICAL) != 0; }

inline bool is_space(uint8_t byte) { return _kelChrFlags[byte] == 2; }
inline bool is_digit(uint8_t byte) { return static_cast<unsigned>(byte - '0') < 10; }

inline uint32_t remaining(const XerInputState *ctx) {
    return ctx->world->inRemaining > 0 ? static_cast<uint32_t>(ctx->world->inRemaining) : 0;
}

// Moves the cursor `bytes` octets on; the caller knows they are there.
inline void advance(XerInputState *ctx, uint32_t bytes) {
    ctx->world->inPos += bytes;
    ctx->world->inRemaining -= static_cast<int32_t>(bytes);
}

// Whether the current lexeme's name is `name`, in full.
inline bool name_is(const XerInputState *ctx, const char *name) {
    const size_t length = std::strlen(name);
    return length == ctx->textLength && std::memcmp(ctx->text, name, length) == 0;
}

// A value above its size bound.
[[noreturn]] inline void size_violated(XerInputState *ctx, uint32_t flags, uint32_t count) {
    _kel_enc_error(ctx->world, (flags & kLocalBound) ? kMsgLengthTooLong : kMsgSizeViolated, count);
}

// The count a value of `count` units keeps under `bound`: cut with kCut,
// refused without.
inline uint32_t within_bound(XerInputState *ctx, uint32_t count, uint32_t bound, uint32_t flags) {
    if (!(flags & kBounded) || count <= bound)
        return count;
    if (flags & kCut)
        return bound;
    size_violated(ctx, flags, count);
}

// Failures at `offset` octets from the cursor.
[[noreturn]] inline void fail_at(XerInputState *ctx, uint32_t offset, int message, uint32_t value = 0) {
    advance(ctx, offset);
    _kel_enc_error(ctx->world, message, value);
}
[[noreturn]] inline void fail_text_at(XerInputState *ctx, uint32_t offset, int message, const char *text) {
    advance(ctx, offset);
    _kel_varn_error(ctx->world, message, text);
}
[[noreturn]] inline void not_canonical_at(XerInputState *ctx, uint32_t offset, int diagnostic) {
    fail_text_at(ctx, offset, kMsgNotCanonical, _cxer_diag_msgs[diagnostic]);
}
// The end of input: the cursor moves to it.
[[noreturn]] inline void end_of_input(XerInputState *ctx) { fail_at(ctx, remaining(ctx), kMsgEndOfInput); }

// The octet `i` octets ahead of the cursor; past the end, message 45.
inline uint8_t peek(XerInputState *ctx, uint32_t i) {
    if (i >= remaining(ctx))
        end_of_input(ctx);
    return ctx->world->inPos[i];
}

// A message whose text is the current lexeme's name, copied with a NUL to
// temporary memory.
[[noreturn]] void fail_with_name(XerInputState *ctx, int message);

} // namespace kel::xer
