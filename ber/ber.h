// ber.h - what the BER family's sources share: assembling identifier and
// length octets in front of content in one stack array, so that a whole
// header (or a whole TLV) goes below the writer's position in one store; and
// the contents of strings as the decoders collect them from the input.
#pragma once

#include <cstdint>
#include <cstring>

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

// Message numbers raised by the string, object identifier, REAL and time
// primitives, by their own names.
enum : int {
    kMsgTimeNotUtc = 8,
    kMsgFirstOctetNotZero = 12,
    kMsgSizeViolated = 27,
    kMsgBitsTooLong = 42,
    kMsgBadOid = 70,
    kMsgNullInput = 71,
    kMsgTimeRange = 72,
    kMsgMonthRange = 73, // 74 day, 75 hour, 76 minute, 77 second, 78 millisecond
    kMsgSizeExceeded = 79,
    kMsgBadDecimalReal = 83,
    kMsgBadMixedReal = 84,
    kMsgBadUtf8Unit = 87,
    kMsgExponentTooLong = 94,
    kMsgSubidTooLong = 97,
    kMsgInconsistentLengths = 102,
    kMsgUnusedBitsRange = 105,
    kMsgMantissaDigits = 107, // 108 exponent digits, 109 to 111 NR1 to NR3
    kMsgRealZeroContents = 112,
    kMsgReservedReal = 113,
    kMsgEmbeddedNul = 114,
    kMsgIndefinitePrimitive = 119,
    kMsgExpectedConstructed = 120,
    kMsgExpectedPrimitive = 121,
    kMsgRealTooLarge = 128,
    kMsgExponentNeedlesslyLong = 93,
    kMsgSubidNeedlesslyLong = 96,
    kMsgPaddingNotZero = 260,
    kMsgOidTooLong = 129,
    kMsgBadUtf8Sequence = 135,
    kMsgWidthMultiple = 140,
    kMsgNestingTooDeep = 181,
};

inline bool relaxed(const KelGlobal *world) { return (world->modeBits & KEL_MODE_RELAXED) != 0; }

// STRICT_ENCODING_DECODING_RULES turns on the tests that the decoders leave
// off by default.  Primitives test this flag word once, and only then look
// at the rule.
inline bool strict(const KelGlobal *world) {
    return (world->decodingFlags & STRICT_ENCODING_DECODING_RULES) != 0;
}

// Strict decoding under CER or DER: what X.690 forbids in the canonical
// encodings is refused too.
inline bool strict_canonical(const KelGlobal *world) {
    return strict(world) && (world->encRules == KEL_DER || world->encRules == KEL_CER);
}

// The most contents octets a CER string segment holds; a string with no
// more is primitive.
constexpr int32_t kCerSegment = 1000;

// A primitive string of `length` contents octets beyond a CER segment, out
// of line: refused by strict CER, which wants it in segments.
void check_long_primitive(KelGlobal *world, int32_t length);

} // namespace kel::ber

// ---------------------------------------------------------------------------
// String contents on the decoding side
// ---------------------------------------------------------------------------

namespace kel::ber {


// The contents of one string as they lie in the input: a primitive string is
// one fragment, a constructed one the primitive segments that the walk found.
// Nothing is copied until the caller knows where the value goes.  The list
// points into the record itself, so a record is filled in place and never
// copied.
struct StringContents {
    KelFragmentList list;
    KelFragment inlineFragments[8];
    uint32_t octets; // total over the fragments
};

// The contents of a primitive value of `length` octets, all present; the
// input position moves behind them.  A negative length is the indefinite
// form, which a primitive value can't have: the tag (its constructed bit in
// bitOffset) says which of the two is wrong.
inline unsigned char *take_contents(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                    int32_t length) {
    if (length < 0)
        _kel_enc_error(world, world->bitOffset ? kMsgExpectedPrimitive : kMsgIndefinitePrimitive, 0);
    if (length > *rem)
        _kel_enc_error(world, kel::kMsgEndOfInput, 0);
    unsigned char *start = *pos;
    *pos += length;
    *rem -= length;
    return start;
}

// The walk of a constructed OCTET STRING or character string, out of line.
void take_constructed_string(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                             StringContents *contents);

// Takes the contents of an OCTET STRING or character string whose header
// gave `length` (negative: indefinite) and whose tag left its constructed
// bit in bitOffset; the input position moves behind them.  A primitive
// string, the common case, costs a few instructions here.
inline void take_string(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                        StringContents *contents) {
    contents->list = KelFragmentList{contents->inlineFragments, 8, 0, 0, 0};
    contents->octets = 0;
    if (world->bitOffset) {
        take_constructed_string(world, pos, rem, length, contents);
        return;
    }
    unsigned char *start = take_contents(world, pos, rem, length);
    if (length > kCerSegment)
        check_long_primitive(world, length);
    if (length) {
        contents->inlineFragments[0] = KelFragment{static_cast<uint32_t>(length), start};
        contents->list.count = 1;
        contents->octets = static_cast<uint32_t>(length);
    }
}
// The same for a BIT STRING: the fragments hold the bits without the
// unused-bits octets, whose count is in list.unusedBits.
void take_bit_string(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                     StringContents *contents);
// Copies the first `n` octets of the contents to `dest`.
inline void copy_string(const StringContents *contents, void *dest, uint32_t n) {
    auto *out = static_cast<unsigned char *>(dest);
    for (const KelFragment *fragment = contents->list.fragments; n; ++fragment) {
        const uint32_t part = fragment->length < n ? fragment->length : n;
        std::memcpy(out, fragment->value, part);
        out += part;
        n -= part;
    }
}

// Gives back a fragment array that grew into temporary memory.
inline void release_string(KelGlobal *world, StringContents *contents) {
    if (contents->list.flags & 1u) {
        _kel_dec_freetempmem(world, contents->list.fragments);
        contents->list.flags &= static_cast<uint16_t>(~1u);
    }
}

inline bool encoder_unconstrained(const KelGlobal *world) {
    return (world->encodingFlags & NOCONSTRAIN) != 0;
}
inline bool decoder_unconstrained(const KelGlobal *world) {
    return (world->decodingFlags & NOCONSTRAIN) != 0;
}

} // namespace kel::ber

// ---------------------------------------------------------------------------
// Debug hooks in the form of the world's post hooks
// ---------------------------------------------------------------------------

namespace kel::ber {

// _kel_db_e_post and _kel_db_d_post as KelPostHook, which the settings
// install and the failure path calls with a message number and two nulls.
int encoder_post_hook(KelGlobal *world, int message, void *position, void *length);
int decoder_post_hook(KelGlobal *world, int message, void *pdu, void *value);

} // namespace kel::ber
