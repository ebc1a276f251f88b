// bit_strings.cpp - BIT STRING in its memory forms: unbounded {bits,
// pointer}, varying (inline or behind a pointer), and padded fields of a
// fixed size, with the rules of named bit lists (trailing zero bits dropped
// when encoding, surplus zero bits tolerated when decoding) and the length
// check of named bit strings that the trimming rule families share.

#include <bit>
#include <cstring>

#include "ber.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

using kel::ber::StringContents;
using namespace kel::ber;

inline uint8_t high_bits(uint32_t n) { return static_cast<uint8_t>(0xFF00u >> n); }

// The count of bits `bits[0..count)` without their trailing zero bits.
uint32_t trimmed_count(const unsigned char *bits, uint32_t count) {
    for (uint32_t n = (count + 7) / 8; n; --n) {
        uint8_t octet = bits[n - 1];
        if (n * 8 > count)
            octet &= high_bits(8 - (n * 8 - count));
        if (octet)
            return n * 8 - static_cast<uint32_t>(std::countr_zero(octet));
    }
    return 0;
}

// The cheaper cut: a zero partial octet, then whole zero octets.
uint32_t trimmed_octetwise(const unsigned char *bits, uint32_t count) {
    if (const uint32_t partial = count & 7) {
        if (bits[count / 8] & high_bits(partial))
            return count;
        count -= partial;
    }
    while (count && bits[count / 8 - 1] == 0)
        count -= 8;
    return count;
}

enum class Cut { kTrailingBits, kOctetwise, kNone };

template <Cut cut> uint32_t cut_count(const unsigned char *bits, uint32_t count) {
    if constexpr (cut == Cut::kTrailingBits)
        return trimmed_count(bits, count);
    else if constexpr (cut == Cut::kOctetwise)
        return trimmed_octetwise(bits, count);
    else
        return count;
}

// Four octets in wire order of a field whose first bit is the high bit.
void big_endian(uint32_t value, unsigned char (&buffer)[4]) {
    for (int i = 0; i < 4; ++i)
        buffer[i] = static_cast<unsigned char>(value >> (24 - 8 * i));
}

// The bits of a field of `count` bits held as a u8, u16 or u32 (up to 32
// bits), moved to the high end of 32.
uint32_t field_value(uint32_t value, uint32_t count) {
    return count <= 8 ? value << 24 : count <= 16 ? value << 16 : value;
}

// The wire-order octets of a padded field: fields of up to 32 bits are a
// u8, u16 or u32 whose high bit is the first bit; wider ones are octets.
const unsigned char *field_octets(const void *field, uint32_t count, unsigned char (&buffer)[4]) {
    if (count > 32)
        return static_cast<const unsigned char *>(field);
    uint32_t value;
    if (count <= 8) {
        value = *static_cast<const uint8_t *>(field);
    } else if (count <= 16) {
        uint16_t unit;
        std::memcpy(&unit, field, sizeof unit);
        value = unit;
    } else {
        std::memcpy(&value, field, sizeof value);
    }
    big_endian(field_value(value, count), buffer);
    return buffer;
}

template <Cut cut>
int encode_padded(KelGlobal *world, unsigned char **pos, int32_t *rem, const void *field,
                  uint32_t count) {
    unsigned char buffer[4];
    const unsigned char *bits = field_octets(field, count, buffer);
    return _kel_write_bit_d(world, pos, rem, bits, static_cast<int32_t>(cut_count<cut>(bits, count)));
}

// The whole TLV of a field of up to 32 bits given as a number.
template <Cut cut>
int encode_padded_tlv(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t value,
                      uint32_t count, uint32_t tag) {
    if (count > 32)
        count = 32;
    unsigned char bits[4];
    big_endian(field_value(value, count), bits);
    count = cut_count<cut>(bits, count);
    const uint32_t octets = (count + 7) / 8;
    const uint32_t unused = -count & 7;
    kel::BackwardOctets<4 + 1 + 8> tlv;
    for (uint32_t i = octets; i-- > 0;)
        tlv.push(i + 1 == octets ? bits[i] & high_bits(8 - unused) : bits[i]);
    tlv.push(unused);
    kel::ber::push_header(tlv, octets + 1, tag);
    return kel::emit_below(world, pos, rem, tlv.data(), tlv.size());
}

// Whether any of the bits [from, to) of the contents is one.
bool any_one_bit(const StringContents *contents, uint32_t from, uint32_t to) {
    uint32_t base = 0; // bit number of the fragment's first bit
    for (int32_t f = 0; f < contents->list.count && base < to; ++f) {
        const KelFragment &fragment = contents->list.fragments[f];
        const uint32_t end = base + fragment.length * 8;
        for (uint32_t bit = from > base ? from : base; bit < end && bit < to;) {
            const uint32_t octetStart = bit & ~7u;
            const uint32_t stop = (to < end ? to : end) - octetStart;
            const uint8_t mask = static_cast<uint8_t>((0xFFu >> (bit - octetStart)) &
                                                      (stop < 8 ? high_bits(stop) : 0xFFu));
            if (fragment.value[(octetStart - base) / 8] & mask)
                return true;
            bit = octetStart + 8;
        }
        base = end;
    }
    return false;
}

// The contents of a bit string and its count of bits.  A value with named
// bits ends in a one bit under DER (X.690 11.2.2), which the encoders see to
// and strict decoding demands.
uint32_t take_bits(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                   StringContents *contents, bool named) {
    kel::ber::take_bit_string(world, pos, rem, length, contents);
    const uint32_t bits = contents->octets * 8 - contents->list.unusedBits;
    if (named && bits && world->encRules == KEL_DER && kel::ber::strict(world) &&
        !any_one_bit(contents, bits - 1, bits))
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    return bits;
}

// A value of `bits` bits where `room` fit: a bit string with named bits may
// drop surplus zero bits; anything else is `message`.
uint32_t fit_bits(KelGlobal *world, const StringContents *contents, uint32_t bits, uint32_t room,
                  bool named, int message) {
    if (bits <= room)
        return bits;
    if (!named || any_one_bit(contents, room, bits))
        _kel_enc_error(world, message, bits);
    return room;
}

// Copies the first `bits` bits to `dest`, the unused bits of the last octet
// cleared.
void copy_bits(const StringContents *contents, unsigned char *dest, uint32_t bits) {
    const uint32_t octets = (bits + 7) / 8;
    kel::ber::copy_string(contents, dest, octets);
    if (bits & 7)
        dest[octets - 1] &= high_bits(bits & 7);
}

// What a negative limit of a varying bit string means.
enum class Negative { kIgnored, kCut, kRefused };

// The varying forms: inline into `array`, or, with a null `array`, into a
// piece with `header` octets before the bits.  `limit` counts octets.
int32_t decode_varying_bits(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                            unsigned char *array, unsigned char **value, uint32_t header,
                            int32_t limit, Negative negative, bool named, int message) {
    StringContents contents;
    uint32_t bits = take_bits(world, pos, rem, length, &contents, named);
    if (limit > 0) {
        bits = fit_bits(world, &contents, bits, static_cast<uint32_t>(limit) * 8, named, message);
    } else if (limit < 0 && negative != Negative::kIgnored) {
        const uint32_t room = static_cast<uint32_t>(-static_cast<int64_t>(limit)) * 8;
        if (bits > room) {
            if (negative == Negative::kRefused)
                _kel_enc_error(world, kel::kMsgLengthTooLong, bits);
            bits = room;
        }
    }
    if (!array) {
        const uint32_t octets = limit > 0 ? static_cast<uint32_t>(limit) : (bits + 7) / 8;
        array = static_cast<unsigned char *>(_kel_dec_getmem(world, static_cast<int32_t>(header + octets)));
        *value = array;
        array += header;
    }
    copy_bits(&contents, array, bits);
    kel::ber::release_string(world, &contents);
    return static_cast<int32_t>(bits);
}

} // namespace

extern "C" {

int _kel_encd_ubit_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                      const unsigned char *bits, int32_t count, int32_t limit) {
    if (limit > 0 && count > limit && !kel::ber::encoder_unconstrained(world))
        _kel_enc_error(world, kMsgSizeExceeded, static_cast<uint32_t>(count));
    return _kel_write_bit_d(world, pos, rem, bits, count);
}

int _kel_encd_vbit_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                      const unsigned char *bits, uint32_t count, uint32_t limit) {
    if (limit && uint64_t{limit} * 8 < count)
        _kel_enc_error(world, kMsgSizeExceeded, count);
    return _kel_write_bit_d(world, pos, rem, bits, static_cast<int32_t>(count));
}

int _kel_encd_dubit_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                       const unsigned char *bits, int32_t count, int32_t limit, uint8_t named) {
    if (named && world->encRules == KEL_DER && count > 0)
        count = static_cast<int32_t>(trimmed_count(bits, static_cast<uint32_t>(count)));
    return _kel_encd_ubit_ia(world, pos, rem, bits, count, limit);
}

int _kel_encd_dvbit_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                       const unsigned char *bits, uint32_t count, uint32_t limit, uint8_t named) {
    if (named && world->encRules == KEL_DER)
        count = trimmed_count(bits, count);
    return _kel_encd_vbit_ia(world, pos, rem, bits, count, limit);
}

int _kel_encd_pbit(KelGlobal *world, unsigned char **pos, int32_t *rem, const void *bits,
                   uint32_t count) {
    return encode_padded<Cut::kTrailingBits>(world, pos, rem, bits, count);
}

int _kel_encd9_pbit(KelGlobal *world, unsigned char **pos, int32_t *rem, const void *bits,
                    int32_t count) {
    return encode_padded<Cut::kOctetwise>(world, pos, rem, bits, static_cast<uint32_t>(count));
}

int _kel_encb_pbit(KelGlobal *world, unsigned char **pos, int32_t *rem, const uint16_t *bits,
                   uint32_t count) {
    return encode_padded<Cut::kNone>(world, pos, rem, bits, count);
}

int _kel_encd_pbit_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t bits,
                      uint32_t count, uint32_t tag) {
    return encode_padded_tlv<Cut::kTrailingBits>(world, pos, rem, bits, count, tag);
}

int _kel_encd9_pbit_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t bits,
                       uint32_t count, uint32_t tag) {
    return encode_padded_tlv<Cut::kOctetwise>(world, pos, rem, bits, count, tag);
}

int _kel_encb_pbit_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t bits,
                      uint32_t count, uint32_t tag) {
    return encode_padded_tlv<Cut::kNone>(world, pos, rem, bits, count, tag);
}

int32_t _kel_dec_ubit_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                         unsigned char **value, int32_t limit, int32_t flags) {
    StringContents contents;
    uint32_t bits = take_bits(world, pos, rem, length, &contents, (flags & KEL_BITS_NAMED) != 0);
    if (limit < 0 && bits > static_cast<uint32_t>(-static_cast<int64_t>(limit)))
        _kel_enc_error(world, kel::kMsgLengthTooLong, bits);
    if (limit > 0 && !kel::ber::decoder_unconstrained(world))
        bits = fit_bits(world, &contents, bits, static_cast<uint32_t>(limit),
                        (flags & KEL_BITS_NAMED) != 0, kMsgSizeViolated);
    const uint32_t octets = (bits + 7) / 8;
    unsigned char *piece = nullptr;
    if (octets)
        piece = static_cast<unsigned char *>(world->ext->pushFlag
                                                 ? _kel_dec_gettempmem(world, octets)
                                                 : _kel_dec_getmem_internal(world, octets));
    if (piece)
        copy_bits(&contents, piece, bits);
    kel::ber::release_string(world, &contents);
    *value = piece;
    return static_cast<int32_t>(bits);
}

int32_t _kel_dec_vbit_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                         void *array, int32_t limit) {
    return decode_varying_bits(world, pos, rem, length, static_cast<unsigned char *>(array), nullptr,
                               0, limit, Negative::kIgnored, false, kMsgSizeExceeded);
}

int32_t _kel_dec_vbit_nz(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                         void *array, int32_t limit, uint32_t flags) {
    return decode_varying_bits(world, pos, rem, length, static_cast<unsigned char *>(array), nullptr,
                               0, limit, Negative::kCut, (flags & KEL_BITS_NAMED) != 0,
                               kMsgSizeExceeded);
}

int32_t _kel_dec_vbit_ptr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                             unsigned char **value, uint32_t header, uint32_t limit) {
    return decode_varying_bits(world, pos, rem, length, nullptr, value, header,
                               static_cast<int32_t>(limit), Negative::kRefused, false,
                               kMsgSizeViolated);
}

int32_t _kel_dec_vbit_ptr_nz(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                             unsigned char **value, uint32_t header, uint32_t limit,
                             uint32_t flags) {
    return decode_varying_bits(world, pos, rem, length, nullptr, value, header,
                               static_cast<int32_t>(limit), Negative::kCut,
                               (flags & KEL_BITS_NAMED) != 0, kMsgSizeViolated);
}

void _kel_dec_pbit(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                   void *array, int32_t bits, int8_t named) {
    StringContents contents;
    const uint32_t fieldBits = static_cast<uint32_t>(bits);
    const uint32_t fieldOctets = (fieldBits + 7) / 8;
    uint32_t valueBits = take_bits(world, pos, rem, length, &contents, named != 0);
    // Without named bits the field is the type's one size: a shorter value
    // would come back padded with zero bits, as another value, so strict
    // CER and DER refuse it (its own encoding is that of another size).
    if (!named && valueBits < fieldBits && kel::ber::strict_canonical(world))
        _kel_enc_error(world, kMsgSizeViolated, valueBits);
    if (valueBits > fieldBits) {
        if (!named)
            _kel_enc_error(world, kMsgSizeExceeded, valueBits);
        // Bits past the field's octets must be zero; strict CER and DER
        // also refuse a one bit past the field's size in its last octet,
        // which the encoder doesn't write.
        const uint32_t kept = kel::ber::strict_canonical(world) ? fieldBits : fieldOctets * 8;
        if (any_one_bit(&contents, kept, valueBits))
            _kel_enc_error(world, kMsgBitsTooLong, 0);
        if (valueBits > fieldOctets * 8)
            valueBits = fieldOctets * 8;
    }
    if (fieldBits > 32) {
        auto *out = static_cast<unsigned char *>(array);
        copy_bits(&contents, out, valueBits);
        const uint32_t used = (valueBits + 7) / 8;
        std::memset(out + used, 0, fieldOctets - used);
    } else {
        unsigned char octets[4] = {0, 0, 0, 0};
        copy_bits(&contents, octets, valueBits);
        const uint32_t value = uint32_t{octets[0]} << 24 | uint32_t{octets[1]} << 16 |
                               uint32_t{octets[2]} << 8 | octets[3];
        if (fieldBits <= 8) {
            *static_cast<uint8_t *>(array) = static_cast<uint8_t>(value >> 24);
        } else if (fieldBits <= 16) {
            const uint16_t unit = static_cast<uint16_t>(value >> 16);
            std::memcpy(array, &unit, sizeof unit);
        } else {
            std::memcpy(array, &value, sizeof value);
        }
    }
    kel::ber::release_string(world, &contents);
}

int _kel_lnchk(const unsigned char *bits, uint64_t *length, uint32_t flags, uint64_t low,
               uint64_t high) {
    constexpr uint32_t kUpperBound = 1, kLowPlusOne = 2, kHighMinusOne = 4, kNoLowerStep = 8,
                       kNoTrim = 16;
    if (!(flags & kNoLowerStep)) {
        if (!(flags & kUpperBound))
            high = low;
        else if (flags & kLowPlusOne)
            ++low;
        if (*length < low) {
            *length = low;
            return 1;
        }
    }
    if ((flags & kUpperBound) && (flags & kHighMinusOne) && !(flags & kNoTrim))
        --high;
    if (flags & kNoTrim)
        return 1;
    uint64_t trimmed = *length;
    while (trimmed > low && !(bits[(trimmed - 1) / 8] & (0x80u >> ((trimmed - 1) & 7))))
        --trimmed;
    if (trimmed > high)
        return 0;
    *length = trimmed;
    return 1;
}

} // extern "C"
