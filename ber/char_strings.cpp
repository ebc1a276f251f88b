// char_strings.cpp - the character strings of more than one octet per
// character: BMPString and UniversalString (big-endian units on the wire,
// host-order u16 or u32 in memory) and UTF8String, held as its octets or
// converted to and from u16 or u32 characters.

#include <bit>
#include <cstring>

#include "ber.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

using kel::ber::StringContents;
using namespace kel::ber;

template <class Unit> inline Unit to_big_endian(Unit unit) {
    if constexpr (std::endian::native == std::endian::big)
        return unit;
    else if constexpr (sizeof(Unit) == 2)
        return __builtin_bswap16(unit);
    else
        return __builtin_bswap32(unit);
}

// `count` host-order units from `src` in wire order at `dest`; `dest` may be
// `src` itself (an in-place turn).
template <class Unit> void convert_units(unsigned char *dest, const void *src, uint32_t count) {
    const auto *in = static_cast<const unsigned char *>(src);
    for (uint32_t i = 0; i < count; ++i) {
        Unit unit;
        std::memcpy(&unit, in + i * sizeof(Unit), sizeof unit);
        unit = to_big_endian(unit);
        std::memcpy(dest + i * sizeof(Unit), &unit, sizeof unit);
    }
}

// Encodes `count` units, last first, straight into the encoder blocks: each
// block gets one conversion run; a unit that would straddle a block end goes
// out alone through the raw writer.
template <class Unit>
int encode_units(KelGlobal *world, unsigned char **pos, int32_t *rem, const Unit *value,
                 uint32_t count, int32_t limit) {
    if (limit > 0 && count > static_cast<uint32_t>(limit) && !kel::ber::encoder_unconstrained(world))
        _kel_enc_error(world, kMsgSizeExceeded, count);
    const uint32_t octets = count * sizeof(Unit);
    if (kel::counting(world)) {
        world->encLength += octets;
        return static_cast<int>(octets);
    }
    uint32_t left = count;
    while (left) {
        const uint32_t room = *rem > 0 ? static_cast<uint32_t>(*rem) / sizeof(Unit) : 0;
        if (room == 0) {
            const Unit unit = to_big_endian(value[--left]);
            _kel_write_bytes_d(world, pos, rem, &unit, sizeof unit);
            continue;
        }
        const uint32_t n = left < room ? left : room;
        left -= n;
        *pos -= n * sizeof(Unit);
        *rem -= static_cast<int32_t>(n * sizeof(Unit));
        convert_units<Unit>(*pos, value + left, n);
    }
    return static_cast<int>(octets);
}

// Encodes u16 or u32 characters as UTF-8, last first, through a stack
// buffer that is flushed with one block copy when it runs low.
template <class Unit>
int encode_utf8_units(KelGlobal *world, unsigned char **pos, int32_t *rem, const Unit *value,
                      uint32_t count, int32_t limit) {
    if (limit > 0 && count > static_cast<uint32_t>(limit) && !kel::ber::encoder_unconstrained(world))
        _kel_enc_error(world, kMsgSizeExceeded, count);
    constexpr uint32_t kLongestSequence = 6;
    unsigned char buffer[512];
    unsigned char *const end = buffer + sizeof buffer;
    unsigned char *p = end;
    int total = 0;
    for (uint32_t i = count; i-- > 0;) {
        const uint32_t unit = value[i];
        if (unit < 0x80) {
            *--p = static_cast<unsigned char>(unit);
        } else {
            if (_kel_countUTF8Char(static_cast<int32_t>(unit)) == 0)
                _kel_enc_error(world, kMsgBadUtf8Unit, i);
            p = _kel_itoUTF8Char(p, unit);
        }
        if (static_cast<uint32_t>(p - buffer) < kLongestSequence) {
            total += _kel_write_bytes_d(world, pos, rem, p, static_cast<int32_t>(end - p));
            p = end;
        }
    }
    return total + _kel_write_bytes_d(world, pos, rem, p, static_cast<int32_t>(end - p));
}

// Characters of UTF-8 octets: every octet that isn't a continuation octet.
uint32_t count_utf8(const unsigned char *text, uint32_t octets) {
    uint32_t characters = 0;
    for (uint32_t i = 0; i < octets; ++i)
        characters += (text[i] & 0xC0) != 0x80;
    return characters;
}

// The size checks of the character decoders: a positive limit raises
// `message` unless NOCONSTRAIN, a negative one is a hard bound.
void check_characters(KelGlobal *world, uint32_t characters, int32_t limit, int message) {
    if (limit > 0 && characters > static_cast<uint32_t>(limit) &&
        !kel::ber::decoder_unconstrained(world))
        _kel_enc_error(world, message, characters);
    if (limit < 0 && characters > static_cast<uint32_t>(-static_cast<int64_t>(limit)))
        _kel_enc_error(world, kel::kMsgLengthTooLong, characters);
}

template <class Unit>
int32_t decode_units(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                     Unit **value, uint32_t limit) {
    StringContents contents;
    kel::ber::take_string(world, pos, rem, length, &contents);
    const uint32_t octets = contents.octets;
    const uint32_t count = octets / sizeof(Unit);
    check_characters(world, count, static_cast<int32_t>(limit), kMsgSizeViolated);
    if (octets % sizeof(Unit))
        _kel_enc_error(world, kMsgWidthMultiple, octets);
    if (count == 0) {
        *value = nullptr;
        return 0;
    }
    auto *piece = static_cast<unsigned char *>(_kel_dec_getmem_internal(world, octets));
    if (contents.list.count == 1) {
        convert_units<Unit>(piece, contents.list.fragments[0].value, count);
    } else {
        kel::ber::copy_string(&contents, piece, octets);
        convert_units<Unit>(piece, piece, count);
    }
    kel::ber::release_string(world, &contents);
    *value = reinterpret_cast<Unit *>(piece);
    return static_cast<int32_t>(count);
}

// Reads one UTF-8 character at `text` into `target`; returns its octets.
template <class Unit>
inline uint32_t read_utf8(KelGlobal *world, Unit *target, const unsigned char *text, uint32_t left) {
    if (text[0] < 0x80) {
        *target = text[0];
        return 1;
    }
    uint16_t consumed = 0;
    if (!UTF8CharToInt(world, target, text, static_cast<int32_t>(left), sizeof(Unit), &consumed))
        _kel_enc_error(world, kMsgBadUtf8Sequence, 0);
    return consumed;
}

// UTF-8 on the wire, u16 or u32 characters in memory: one pass counts and
// checks, a second converts into the piece.  A constructed string is first
// gathered into temporary memory.
template <class Unit>
int32_t decode_utf8_units(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                          void **value, int32_t limit) {
    StringContents contents;
    kel::ber::take_string(world, pos, rem, length, &contents);
    const uint32_t octets = contents.octets;
    if (octets == 0) {
        *value = nullptr;
        return 0;
    }
    unsigned char *gathered = nullptr;
    const unsigned char *text = contents.list.fragments[0].value;
    if (contents.list.count > 1) {
        gathered = static_cast<unsigned char *>(_kel_dec_gettempmem(world, octets));
        kel::ber::copy_string(&contents, gathered, octets);
        text = gathered;
    }

    uint32_t count = 0;
    Unit scratch;
    for (uint32_t i = 0; i < octets; ++count)
        i += read_utf8(world, &scratch, text + i, octets - i);
    check_characters(world, count, limit, kMsgSizeExceeded);

    auto *piece = static_cast<Unit *>(_kel_dec_getmem_internal(world, count * sizeof(Unit)));
    for (uint32_t i = 0, n = 0; i < octets; ++n)
        i += read_utf8(world, piece + n, text + i, octets - i);
    if (gathered)
        _kel_dec_freetempmem(world, gathered);
    kel::ber::release_string(world, &contents);
    *value = piece;
    return static_cast<int32_t>(count);
}

} // namespace

extern "C" {

int _kel_encd_bmpstr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, const uint16_t *value,
                        int32_t count, int32_t limit) {
    return encode_units(world, pos, rem, value, static_cast<uint32_t>(count), limit);
}

int _kel_encd_unistr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, const uint32_t *value,
                        uint32_t count, int32_t limit) {
    return encode_units(world, pos, rem, value, count, limit);
}

int _kel_encd_utf8unbound_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                             const unsigned char *value, uint32_t length, int32_t limit) {
    if (limit > 0 && length > static_cast<uint32_t>(limit) && !kel::ber::encoder_unconstrained(world)) {
        const uint32_t characters = count_utf8(value, length);
        if (characters > static_cast<uint32_t>(limit))
            _kel_enc_error(world, kMsgSizeExceeded, characters);
    }
    return _kel_write_bytes_d(world, pos, rem, value, static_cast<int32_t>(length));
}

int _kel_encd_utf8bmpstr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                            const uint16_t *value, uint32_t count, int32_t limit) {
    return encode_utf8_units(world, pos, rem, value, count, limit);
}

int _kel_encd_utf8unistr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                            const uint32_t *value, uint32_t count, int32_t limit) {
    return encode_utf8_units(world, pos, rem, value, count, limit);
}

int32_t _kel_dec_bmpstr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                           uint16_t **value, uint32_t limit) {
    return decode_units(world, pos, rem, length, value, limit);
}

int32_t _kel_dec_unistr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                           uint32_t **value, uint32_t limit) {
    return decode_units(world, pos, rem, length, value, limit);
}

int32_t _kel_dec_utf8unbound_ia(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                int32_t length, void **value, int32_t limit) {
    StringContents contents;
    kel::ber::take_string(world, pos, rem, length, &contents);
    if (limit != 0) {
        uint32_t characters = 0;
        for (int32_t i = 0; i < contents.list.count; ++i)
            characters += count_utf8(contents.list.fragments[i].value, contents.list.fragments[i].length);
        check_characters(world, characters, limit, kMsgSizeExceeded);
    }
    const uint32_t octets = contents.octets;
    unsigned char *piece = nullptr;
    if (octets) {
        piece = static_cast<unsigned char *>(_kel_dec_getmem_internal(world, octets));
        kel::ber::copy_string(&contents, piece, octets);
    }
    kel::ber::release_string(world, &contents);
    *value = piece;
    return static_cast<int32_t>(octets);
}

int32_t _kel_dec_utf8bmpstr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                               void **value, int32_t limit) {
    return decode_utf8_units<uint16_t>(world, pos, rem, length, value, limit);
}

int32_t _kel_dec_utf8unistr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                               void **value, int32_t limit) {
    return decode_utf8_units<uint32_t>(world, pos, rem, length, value, limit);
}

} // extern "C"
