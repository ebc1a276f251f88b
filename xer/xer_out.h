// xer_out.h - what the XER writers share: the layout state of a running
// encode and where it hangs, the document head settings, the message
// numbers by their own names, the mode tests, and the appending of octets
// with its one room test.
//
// The writer appends at outPos with outRemaining octets of room in the
// current chunk (0 before the first chunk of library memory, or the rest of
// the caller's buffer); in count mode it only adds to encLength.  In pretty
// output every chunk, and the caller's buffer, holds blanks before anything
// is written, so that a line break is one stored octet and a move of the
// cursor past the indent.
#pragma once

#include <cstdint>
#include <cstring>

#include "decimal_text.h"
#include "internal.h"
#include "kelvarn_xer.h"

namespace kel::xer {

using kel::digits_before;
using kel::huge_digits_before;
using kel::integer_text_before;

// Message numbers (rows of kelErrMsgs) raised by the writers.
enum : int {
    kMsgNotUtc = 8,            // 0013S
    kMsgNotEnumerated = 36,    // 0071S, value
    kMsgTimeRange = 72,        // 0012S
    kMsgMonth = 73,            // 0012S, month; day to millisecond follow: 78
    kMsgSizeExceeded = 79,     // 0016S, arcs
    kMsgEmptyOpenType = 82,    // 0090E
    kMsgBadDecimalReal = 83,   // 0091E
    kMsgExponentTooLong = 94,  // 0021E
    kMsgLengthTooLong = 98,    // 0026S, octets
    kMsgMisencoded = 106,      // 0037E
    kMsgMantissaDigits = 107,  // 0038E
    kMsgExponentDigits = 108,  // 0039E
    kMsgIllegalCharacter = 174, // 0175E, the octet or code
    kMsgBadOid = 180,          // 0010S, arc count or position
};

// Octets of an output chunk in library memory.
constexpr int32_t kChunk = KEL_ENC_BLOCK;

// Layout of one encode, on the driver's stack.
struct XerOutputState {
    uint32_t reserved;
    KelGlobal *world;
    int32_t indent;        // left margin in columns
    int32_t column;        // estimate of the current column
    int32_t lastTagLength; // name of the tag written last
    uint32_t chunkTotal;   // octets of the chunks taken so far
};

// The running encode's state hangs in the first words of the world's
// per-call family state.
inline XerOutputState *out_state(const KelGlobal *world) {
    XerOutputState *state;
    std::memcpy(&state, world->familyState, sizeof state);
    return state;
}

inline void hang_state(KelGlobal *world, XerOutputState *state) {
    std::memcpy(world->familyState, &state, sizeof state);
}

// Document head settings, kept between calls in the first words of the
// extension's family state (the debug hooks use its last four words).
struct XmlPrologSettings {
    const char *stylesheet;
    const char *dtdRoot;
    const char *dtdIdentifier;
    uint16_t dtdKind; // 0 none, 1 SYSTEM, other PUBLIC
};
static_assert(sizeof(XmlPrologSettings) <= sizeof(KelWorldExt::familyState) - 4 * sizeof(uint32_t));

inline XmlPrologSettings prolog_settings(const KelWorldExt *ext) {
    XmlPrologSettings settings;
    std::memcpy(&settings, ext->familyState, sizeof settings);
    return settings;
}

inline void store_prolog_settings(KelWorldExt *ext, const XmlPrologSettings &settings) {
    std::memcpy(ext->familyState, &settings, sizeof settings);
}

[[noreturn]] inline void fail(KelGlobal *world, int message, uint32_t value = 0) {
    _kel_enc_error(world, message, value);
}

// No layout: the compact flag or the canonical bit.
inline bool flat(const KelGlobal *world) {
    return (world->encodingFlags & COMPACT_XER_ENCODING) || (world->modeBits & KEL_MODE_CANONICAL);
}

inline bool cxer(const KelGlobal *world) { return world->encRules == KEL_CXER; }

// The right margin of every folding test.  An application widens it through
// the first of the two public words behind asn1chop, the line width.
inline int32_t margin(const KelGlobal *world, const XerOutputState *state) {
    int32_t m = state->indent + 40;
    const auto width = static_cast<int32_t>(world->dupWords[0]);
    if (width > m)
        m = width;
    return m > 80 ? m : 80;
}

// ---------------------------------------------------------------------------
// Appending
// ---------------------------------------------------------------------------

// Appends across chunk ends: the slow half of put().
void put_across(KelGlobal *world, const unsigned char *bytes, uint32_t n);

// Copies exactly `n` octets: runs of up to 16 as two overlapping words
// (the octets behind the run may be blanks that pretty output relies on),
// longer ones by one block copy.
inline void copy_out(unsigned char *out, const unsigned char *src, uint32_t n) {
    if (n >= 8 && n <= 16) {
        uint64_t head, tail;
        std::memcpy(&head, src, 8);
        std::memcpy(&tail, src + n - 8, 8);
        std::memcpy(out, &head, 8);
        std::memcpy(out + n - 8, &tail, 8);
    } else if (n >= 4 && n < 8) {
        uint32_t head, tail;
        std::memcpy(&head, src, 4);
        std::memcpy(&tail, src + n - 4, 4);
        std::memcpy(out, &head, 4);
        std::memcpy(out + n - 4, &tail, 4);
    } else if (n < 4) {
        for (uint32_t i = 0; i < n; ++i)
            out[i] = src[i];
    } else {
        std::memcpy(out, src, n);
    }
}

inline void put(KelGlobal *world, const void *bytes, uint32_t n) {
    if (counting(world)) {
        world->encLength += n;
        return;
    }
    const auto *src = static_cast<const unsigned char *>(bytes);
    if (world->outRemaining >= static_cast<int32_t>(n)) [[likely]] {
        copy_out(world->outPos, src, n);
        world->outPos += n;
        world->outRemaining -= static_cast<int32_t>(n);
        return;
    }
    put_across(world, src, n);
}

// Appends and moves the column.
inline void put_text(KelGlobal *world, XerOutputState *state, const void *bytes, uint32_t n) {
    put(world, bytes, n);
    state->column += static_cast<int32_t>(n);
}

template <uint32_t N> inline void put_literal(KelGlobal *world, XerOutputState *state, const char (&text)[N]) {
    put_text(world, state, text, N - 1);
}

// A line break and the indent's blanks (pretty output): column = indent.
void line_break(KelGlobal *world, XerOutputState *state);

// Moves the indent by `delta`, then a line break.
inline void break_with(KelGlobal *world, XerOutputState *state, int32_t delta) {
    state->indent += delta;
    line_break(world, state);
}

// The texts that values are made of: "0000" to "1111" and the upper-case
// hexadecimal pair of every octet.
struct TextTables {
    char bitGroups[16][4];
    char hexPairs[256][2];
    constexpr TextTables() : bitGroups(), hexPairs() {
        constexpr char hex[] = "0123456789ABCDEF";
        for (int i = 0; i < 16; ++i)
            for (int bit = 0; bit < 4; ++bit)
                bitGroups[i][bit] = (i >> (3 - bit)) & 1 ? '1' : '0';
        for (int i = 0; i < 256; ++i) {
            hexPairs[i][0] = hex[i >> 4];
            hexPairs[i][1] = hex[i & 15];
        }
    }
};
inline constexpr TextTables kText{};

// One character of a BMPString or UniversalString (or an octet above 127 of
// a one-octet string, width 1).
void encode_wide_char_str(KelGlobal *world, uint32_t code, int width);

} // namespace kel::xer
