// tags.cpp - BER identifier and length octets: the backward writers of tags,
// lengths and whole headers, the readers of tags and lengths with the tag
// match of generated decoders, and the raw octet readers under them.

#include <cstring>

#include "ber.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

bool relaxed(const KelGlobal *world) { return (world->modeBits & KEL_MODE_RELAXED) != 0; }

[[noreturn]] void end_of_input(KelGlobal *world) {
    _kel_enc_error(world, kel::kMsgEndOfInput, 0);
}

inline uint8_t next_octet(KelGlobal *world, unsigned char **pos, int32_t *rem) {
    if (*rem <= 0)
        end_of_input(world);
    --*rem;
    return *(*pos)++;
}

// The class and number form of a tag given in match form: first identifier
// octet in the low byte, continuation octets in the bytes above it.
uint16_t match_to_class_number(uint32_t tag) {
    const uint32_t first = tag & 0xFF;
    uint32_t number = first & 0x1F;
    if (number == 0x1F) {
        number = 0;
        for (uint32_t shift = 8; shift < 32; shift += 8) {
            const uint32_t octet = (tag >> shift) & 0xFF;
            number = number << 7 | (octet & 0x7F);
            if (!(octet & 0x80))
                break;
        }
    }
    return static_cast<uint16_t>((first & 0xC0) << 8 | (number & 0x3FFF));
}

// The long form of a length whose first octet is `first` (above 0x80), as
// the tag match reads it: all length octets are taken at once, leading zero
// octets of an over-long form are passed, and the value must fit 31 bits.
[[gnu::noinline]] int32_t long_length(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                     uint8_t first) {
    uint32_t count = first & 0x7F;
    *rem -= static_cast<int32_t>(count) + 1;
    if (*rem < 0)
        end_of_input(world);
    const unsigned char *p = *pos + 1;
    *pos += count + 1;
    if (count > 4)
        for (; count && *p == 0; --count)
            ++p;
    if (count > 4 || (count == 4 && (p[0] & 0x80)))
        _kel_enc_error(world, kel::kMsgLengthTooLong, count);
    uint32_t length = 0;
    for (uint32_t i = 0; i < count; ++i)
        length = length << 8 | p[i];
    if (static_cast<uint32_t>(*rem) < length)
        end_of_input(world);
    return static_cast<int32_t>(length);
}

// "0055E: Tag encoding has too many leading nonsignificant octets: ", with
// their count.
constexpr int kMsgTagPadded = 123;

// The 0x80 octets that open the number of a high-tag-number identifier at
// `identifier`, which has been read whole.
uint32_t padding_octets(const unsigned char *identifier) {
    uint32_t count = 0;
    while (identifier[1 + count] == 0x80)
        ++count;
    return count;
}

// The tag at the input position against `tag` in match form, where the
// quick one-octet comparison of the caller didn't settle it: long tags octet
// by octet, and another encoding of the expected tag only where a needlessly
// long form is allowed.  The position moves behind the tag.
[[gnu::noinline]] void match_tag(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t tag) {
    uint8_t octet = next_octet(world, pos, rem);
    bool match = ((octet ^ tag) & 0xDF) == 0;
    if (match && (tag & 0x1F) == 0x1F) {
        for (uint32_t shift = 8; shift < 32; shift += 8) {
            octet = next_octet(world, pos, rem);
            if (octet != ((tag >> shift) & 0xFF)) {
                match = false;
                break;
            }
            if (!(octet & 0x80))
                break;
        }
    }
    if (match)
        return;
    const uint16_t expected = match_to_class_number(tag);
    *pos = world->inLimit;
    *rem = world->tagStartRemaining;
    const uint16_t found = _kel_dec_tag(world, pos, rem);
    if (found != expected)
        _kel_enc_error(world, kel::kMsgTagMismatch, static_cast<uint32_t>(expected) << 16 | found);
    // The expected tag with more identifier octets than it needs.
    if (!relaxed(world) || world->encRules == KEL_DER)
        _kel_enc_error(world, kMsgTagPadded, padding_octets(world->inLimit));
}

// _kel_dec_tag_length where the quick one-octet match didn't settle the tag.
[[gnu::noinline]] int32_t matched_tag_length(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                             uint32_t tag) {
    match_tag(world, pos, rem, tag);
    return _kel_dec_tag_length(world, pos, rem, 0);
}

// A tag of the high-tag-number form at the input position, whose first
// octet _kel_dec_tag has looked at.
[[gnu::noinline]] uint16_t long_tag(KelGlobal *world, unsigned char **pos, int32_t *rem) {
    const uint32_t cls = static_cast<uint32_t>(next_octet(world, pos, rem) & 0xC0) << 8;
    uint32_t number = 0;
    uint8_t octet;
    do {
        octet = next_octet(world, pos, rem);
        if (number > 127)
            _kel_enc_error(world, kel::kMsgTagTooLong, number);
        number = number << 7 | (octet & 0x7F);
    } while (octet & 0x80);
    if (number <= 30 && (!relaxed(world) || world->encRules == KEL_DER))
        _kel_enc_error(world, kel::kMsgTagNeedlesslyLong, number);
    // X.690 8.1.2.4.2 c: the number starts with a significant octet.
    if (world->inLimit[1] == 0x80 && kel::ber::strict(world))
        _kel_enc_error(world, kMsgTagPadded, padding_octets(world->inLimit));
    return static_cast<uint16_t>(cls | number);
}

// Length octets other than a short definite length within the input: the
// indefinite form (-1), the long form, and a length the input can't hold.
[[gnu::noinline]] int32_t other_length(KelGlobal *world, unsigned char **pos, int32_t *rem) {
    const uint8_t first = next_octet(world, pos, rem);
    if (first == 0x80)
        return -1;
    uint32_t length = first;
    if (first > 0x80) {
        length = 0;
        for (uint32_t count = first & 0x7F; count; --count) {
            if (length & 0xFF000000u)
                _kel_enc_error(world, kel::kMsgLengthTooLong, length);
            length = length << 8 | next_octet(world, pos, rem);
        }
    }
    // An encoder re-reads lengths of finished values in buffers it knows no
    // size of, so only decoders hold the length against the input.
    if (world->phase > kel::kPhaseEncoder && length > static_cast<uint32_t>(*rem))
        end_of_input(world);
    return static_cast<int32_t>(length);
}

// _kel_dec_tag_length without the strict tests.
[[gnu::always_inline]] inline int32_t tag_length(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                                 uint32_t tag) {
    unsigned char *p = *pos;
    int32_t r = *rem;
    if (tag != 0) {
        world->inLimit = p;
        world->tagStartRemaining = r;
        if (r <= 0)
            end_of_input(world);
        const uint8_t first = *p;
        world->bitOffset = first & 0x20;
        // A one-octet tag that matches, the common case, is checked here;
        // anything else goes through the full reader.
        if (((first ^ tag) & 0xDF) != 0 || (tag & 0x1F) == 0x1F)
            return matched_tag_length(world, pos, rem, tag);
        ++p;
        --r;
    }
    if (r <= 0)
        end_of_input(world);
    const uint8_t first = *p;
    if (first > 0x80) {
        *pos = p;
        *rem = r;
        return long_length(world, pos, rem, first);
    }
    *pos = p + 1;
    *rem = r - 1;
    return static_cast<int8_t>(first);
}

// "0117S: Expected definite length, found indefinite length DER encoding".
constexpr int kMsgIndefiniteDer = 134;

// The length octets at `p` (with `r` octets of input) under
// STRICT_ENCODING_DECODING_RULES, before they are read: the first octet
// 0xFF is reserved (X.690 8.1.3.5 c) under every rule.  CER and DER take a
// long form only with the fewest octets (X.690 9.1, 10.1); DER has no
// indefinite length, and CER gives it to every constructed value and only
// to them.  The constructed bit is that of the tag just read.  Encoders
// re-read finished values and are not checked.
[[gnu::noinline]] void check_length_octets(KelGlobal *world, const unsigned char *p, int32_t r) {
    if (r <= 0 || world->phase <= kel::kPhaseEncoder)
        return;
    const uint8_t first = p[0];
    if (first == 0xFF)
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    if (!kel::ber::strict_canonical(world))
        return;
    if (first == 0x80) {
        if (world->encRules == KEL_DER)
            _kel_enc_error(world, kMsgIndefiniteDer, 0);
        return;
    }
    if (world->encRules == KEL_CER && world->bitOffset)
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    if (first > 0x80 && r > 1 && (p[1] == 0 || (first == 0x81 && p[1] < 0x80)))
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
}

// "0052S: Expected constructed type but found primitive", "0053S: Expected
// primitive type but found constructed".
constexpr int kMsgExpectedConstructed = 120;
constexpr int kMsgExpectedPrimitive = 121;

// Universal types whose encoding is primitive under every rule (X.690 8.2,
// 8.3, 8.4, 8.8, 8.5, 8.19, 8.20 and the TIME types), by tag number.
constexpr uint32_t kAlwaysPrimitive = 1u << 1 | 1u << 2 | 1u << 5 | 1u << 6 | 1u << 9 | 1u << 10 |
                                      1u << 13 | 1u << 14;

// The constructed bit that the tag just read left in bitOffset against the
// one of `tag` in match form, where the match itself ignores it (X.690
// 8.1.2.5).  A type that generated code reads as constructed is never
// primitive.  Under DER nothing that it reads as primitive is constructed,
// since DER writes strings whole; BER and CER may segment strings under
// any tag, so only universal types that are never segmented are held to it
// there.  Encoders re-read finished values and are not checked.
void check_constructed_bit(KelGlobal *world, uint32_t tag) {
    if (world->phase <= kel::kPhaseEncoder)
        return;
    const bool constructed = world->bitOffset != 0;
    if ((tag & 0x20) != 0) {
        if (!constructed)
            _kel_enc_error(world, kMsgExpectedConstructed, 0);
        return;
    }
    if (constructed && (world->encRules == KEL_DER ||
                        ((tag & 0xC0) == 0 && (kAlwaysPrimitive >> (tag & 0x1F) & 1))))
        _kel_enc_error(world, kMsgExpectedPrimitive, 0);
}

// _kel_dec_tag_length under STRICT_ENCODING_DECODING_RULES: the same reading
// with the constructed bit and the length octets checked first.
[[gnu::noinline]] int32_t strict_tag_length(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                            uint32_t tag) {
    if (tag != 0) {
        world->inLimit = *pos;
        world->tagStartRemaining = *rem;
        if (*rem <= 0)
            end_of_input(world);
        world->bitOffset = **pos & 0x20;
        match_tag(world, pos, rem, tag);
        check_constructed_bit(world, tag);
    }
    check_length_octets(world, *pos, *rem);
    return tag_length(world, pos, rem, 0);
}

} // namespace

extern "C" {

int _kel_encd_tag(KelGlobal *world, unsigned char **pos, int32_t *rem, uint16_t tag,
                  uint8_t constructed) {
    kel::BackwardOctets<3> octets;
    uint32_t first = ((tag >> 8) & 0xC0) | (constructed ? 0x20 : 0);
    const uint32_t number = tag % 16384;
    if (number <= 30) {
        octets.push(first | number);
    } else {
        octets.push(number & 0x7F);
        if (number >= 128)
            octets.push(0x80 | (number >> 7));
        octets.push(first | 0x1F);
    }
    return kel::emit_below(world, pos, rem, octets.data(), octets.size());
}

int _kel_encd_length(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t length) {
    kel::BackwardOctets<5> octets;
    if (length > 127) {
        uint32_t count = 0;
        for (; length; length >>= 8, ++count)
            octets.push(length & 0xFF);
        octets.push(0x80 | count);
    } else {
        octets.push(length);
    }
    return kel::emit_below(world, pos, rem, octets.data(), octets.size());
}

int _kel_encd_tag_length(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t length,
                         uint32_t tag) {
    kel::BackwardOctets<8> octets;
    kel::ber::push_header(octets, length, tag);
    return kel::emit_below(world, pos, rem, octets.data(), octets.size());
}

int _kel_encd_tag_length2(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t length,
                          uint32_t innerTag, uint32_t outerTag) {
    kel::BackwardOctets<16> octets;
    kel::ber::push_header(octets, length, innerTag);
    kel::ber::push_header(octets, length + octets.size(), outerTag);
    return kel::emit_below(world, pos, rem, octets.data(), octets.size());
}

uint8_t _kel_get_byte(KelGlobal *world, unsigned char **pos, int32_t *rem) {
    return next_octet(world, pos, rem);
}

void _kel_get_bytes(KelGlobal *world, unsigned char **pos, int32_t *rem, void *dest, int32_t n) {
    if (n <= 0)
        return;
    if (*rem < n)
        end_of_input(world);
    std::memcpy(dest, *pos, static_cast<size_t>(n));
    *pos += n;
    *rem -= n;
}

uint8_t _kel_preview_byte(KelGlobal *world, unsigned char **pos, int32_t *rem) {
    if (*rem <= 0)
        end_of_input(world);
    return **pos;
}

uint16_t _kel_dec_tag(KelGlobal *world, unsigned char **pos, int32_t *rem) {
    world->inLimit = *pos;
    world->tagStartRemaining = *rem;
    if (*rem <= 0)
        end_of_input(world);
    const uint8_t first = **pos;
    world->bitOffset = first & 0x20;
    if ((first & 0x1F) != 0x1F) {
        ++*pos;
        --*rem;
        return static_cast<uint16_t>((first & 0xC0) << 8 | (first & 0x1F));
    }
    return long_tag(world, pos, rem);
}

int32_t _kel_dec_length(KelGlobal *world, unsigned char **pos, int32_t *rem) {
    if (kel::ber::strict(world)) [[unlikely]]
        check_length_octets(world, *pos, *rem);
    const int32_t r = *rem;
    if (r <= 0)
        end_of_input(world);
    const uint8_t first = **pos;
    if (first < 0x80 && first < r) {
        ++*pos;
        *rem = r - 1;
        return first;
    }
    return other_length(world, pos, rem);
}

int32_t _kel_dec_tag_length(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t tag) {
    if (kel::ber::strict(world)) [[unlikely]]
        return strict_tag_length(world, pos, rem, tag);
    return tag_length(world, pos, rem, tag);
}

} // extern "C"
