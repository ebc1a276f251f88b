// strings_in.cpp - JSON string values into every memory form of a character
// string: a fixed array (exact or at most a capacity), null-terminated,
// unbounded, varying, BMP (u16) and universal (u32) characters.
//
// One walk serves all of them.  It takes runs of plain bytes (no quote, no
// backslash, nothing above 127) eight bytes at a time and hands each run to
// a sink whole; an escape goes through the tokeniser's escape reader and a
// raw UTF-8 sequence is validated here, both handed over as one character.
// The sinks count (the first pass of the allocating forms), store single
// bytes of Latin-1 (`string`), keep UTF-8 (`string8`) or widen to u16 and
// u32.  A string with nothing but plain bytes is copied by one memcpy.

#include <type_traits>

#include "values_in.h"

namespace {

using namespace kel::json;

// Memory forms of text: Latin-1 octets, UTF-8 octets, or characters.
enum class Text { Latin1, Utf8, Chars };

// A raw UTF-8 sequence at p (lead byte above 127), at most `left` bytes of
// input: its length, the code point in *code.
uint32_t raw_sequence(KelJsonCursor *cursor, const unsigned char *p, uint32_t left, uint32_t *code) {
    const uint32_t lead = p[0];
    const uint32_t n = static_cast<uint32_t>(std::countl_one(static_cast<uint8_t>(lead)));
    if (n < 2 || n > 6)
        fail(cursor, kMsgUtf8Sequence);
    if (n > left)
        end_of_input(cursor);
    uint32_t value = lead & (0x7Fu >> n);
    for (uint32_t i = 1; i < n; ++i) {
        if ((p[i] & 0xC0) != 0x80)
            fail(cursor, kMsgUtf8Sequence);
        value = (value << 6) | (p[i] & 0x3F);
    }
    *code = value;
    return n;
}

// Octets of a code point in UTF-8 (up to six, as the escape reader allows).
constexpr uint32_t utf8_size(uint32_t code) {
    return code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : code < 0x200000 ? 4 : code < 0x4000000 ? 5 : 6;
}

// Latin-1 holds code points up to 255 in one byte.
inline void latin1_fits(KelJsonCursor *cursor, uint32_t code) {
    if (code > 0xFF)
        fail(cursor, kMsgCharTooLong, code);
}

// Walks the string behind the opening quote.  `sink.room()` units may still
// be taken; the walk returns true behind the closing quote, false in front
// of the first byte that would exceed the room (the input stands there).
template <class Sink> bool walk(KelJsonCursor *cursor, Sink &sink) {
    KelGlobal *world = cursor->world;
    const unsigned char *p = world->inPos;
    const unsigned char *end = p + (world->inRemaining > 0 ? world->inRemaining : 0);
    bool closed = false;
    for (;;) {
        uint32_t n = plain_run(p, static_cast<uint32_t>(end - p));
        const uint32_t room = sink.room();
        if (n > room) {
            sink.run(p, room);
            p += room;
            break;
        }
        if (n) {
            sink.run(p, n);
            p += n;
        }
        if (p == end) {
            world->inPos = const_cast<unsigned char *>(p), world->inRemaining = 0;
            end_of_input(cursor);
        }
        if (*p == '"') {
            ++p, closed = true;
            break;
        }
        if (n == room)
            break;
        if (*p == '\\') {
            world->inPos = const_cast<unsigned char *>(p + 1);
            world->inRemaining = static_cast<int32_t>(end - p - 1);
            const uint32_t code = _kel_jhandle_escape(cursor);
            p = world->inPos;
            sink.character(code);
        } else {
            uint32_t code;
            p += raw_sequence(cursor, p, static_cast<uint32_t>(end - p), &code);
            sink.character(code);
        }
    }
    world->inPos = const_cast<unsigned char *>(p);
    world->inRemaining = static_cast<int32_t>(end - p);
    return closed;
}

// The first pass: units of the memory form, and whether the string is one
// plain run.
template <Text form> struct Counter {
    KelJsonCursor *cursor;
    uint32_t units = 0;
    bool plain = true;
    uint32_t room() const { return UINT32_MAX - units; }
    void run(const unsigned char *, uint32_t n) { units += n; }
    void character(uint32_t code) {
        plain = false;
        if constexpr (form == Text::Latin1)
            latin1_fits(cursor, code), ++units;
        else if constexpr (form == Text::Utf8)
            units += utf8_size(code);
        else
            ++units;
    }
};

// Stores octets: one per character (Latin-1) or UTF-8.
template <Text form> struct OctetWriter {
    KelJsonCursor *cursor;
    unsigned char *out;
    uint32_t length, capacity;
    uint32_t room() const { return capacity - length; }
    void run(const unsigned char *p, uint32_t n) {
        if (n)
            std::memcpy(out + length, p, n);
        length += n;
    }
    void character(uint32_t code) {
        if constexpr (form == Text::Latin1) {
            latin1_fits(cursor, code);
            out[length++] = static_cast<unsigned char>(code);
        } else {
            const uint32_t n = utf8_size(code);
            if (n > room()) // a character across the end of the room
                fail(cursor, kMsgSizeViolated, length + n);
            if (n == 1)
                out[length] = static_cast<unsigned char>(code);
            else
                _kel_itoUTF8Char(out + length + n, code);
            length += n;
        }
    }
};

// Stores characters of 2 or 4 bytes.
template <class Unit> struct WideWriter {
    KelJsonCursor *cursor;
    Unit *out;
    uint32_t length, capacity;
    uint32_t room() const { return capacity - length; }
    void run(const unsigned char *p, uint32_t n) {
        Unit *o = out + length;
        for (uint32_t i = 0; i < n; ++i)
            o[i] = p[i];
        length += n;
    }
    void character(uint32_t code) {
        if (sizeof(Unit) == 2 && code > 0xFFFF)
            fail(cursor, kMsgCharTooLong, code);
        out[length++] = static_cast<Unit>(code);
    }
};

// The closing quote must follow when the room is used up.
inline void closing_quote(KelJsonCursor *cursor, bool closed) {
    if (!closed)
        _kel_json_chk_eos(cursor);
}

// Counts the string without consuming it.
template <Text form> Counter<form> count(KelJsonCursor *cursor) {
    const InputMark m = mark(cursor);
    Counter<form> counter{cursor};
    walk(cursor, counter);
    restore(cursor, m);
    return counter;
}

// The string into `out`, whose size the first pass gave as `units`.
template <Text form> void fill(KelJsonCursor *cursor, unsigned char *out, const Counter<form> &counted) {
    KelGlobal *world = cursor->world;
    if (counted.plain) {
        if (counted.units)
            std::memcpy(out, world->inPos, counted.units);
        world->inPos += counted.units + 1;
        world->inRemaining -= static_cast<int32_t>(counted.units + 1);
        return;
    }
    OctetWriter<form> writer{cursor, out, 0, counted.units};
    closing_quote(cursor, walk(cursor, writer));
}

// Into an array: a positive capacity demands exactly so many units, a
// negative one is a maximum.
template <Text form> uint32_t decode_fixed(KelJsonCursor *cursor, unsigned char *out, int32_t capacity) {
    need_string(cursor);
    const uint32_t room = capacity < 0 ? 0u - static_cast<uint32_t>(capacity) : static_cast<uint32_t>(capacity);
    OctetWriter<form> writer{cursor, out, 0, room};
    closing_quote(cursor, walk(cursor, writer));
    if (capacity > 0 && writer.length != room)
        fail(cursor, kMsgSizeViolated, writer.length);
    return writer.length;
}

template <Text form> uint32_t decode_nullterm(KelJsonCursor *cursor, char **field) {
    need_string(cursor);
    const Counter<form> counted = count<form>(cursor);
    auto *out = static_cast<unsigned char *>(_kel_dec_getfixmem(cursor->world, static_cast<int32_t>(round8(counted.units + 1))));
    fill<form>(cursor, out, counted);
    out[counted.units] = 0;
    if (strict(cursor->world) && std::memchr(out, 0, counted.units))
        fail(cursor, kMsgEmbeddedNull);
    *field = reinterpret_cast<char *>(out);
    return counted.units;
}

template <Text form> uint32_t decode_unbounded(KelJsonCursor *cursor, unsigned char **field) {
    need_string(cursor);
    const Counter<form> counted = count<form>(cursor);
    unsigned char *out = nullptr;
    if (counted.units)
        out = static_cast<unsigned char *>(_kel_dec_getmem_internal(cursor->world, counted.units));
    fill<form>(cursor, out, counted);
    *field = out;
    return counted.units;
}

template <Text form>
uint32_t decode_varying(KelJsonCursor *cursor, void **field, uint32_t displacement, int32_t capacity) {
    need_string(cursor);
    const Counter<form> counted = count<form>(cursor);
    uint32_t room = capacity < 1 ? counted.units : static_cast<uint32_t>(capacity);
    if (counted.units > room)
        fail(cursor, kMsgSizeViolated, counted.units);
    auto *record = static_cast<unsigned char *>(_kel_dec_getfixmem(cursor->world, static_cast<int32_t>(round8(displacement + room))));
    fill<form>(cursor, record + displacement, counted);
    *field = record;
    return counted.units;
}

template <class Unit> uint32_t decode_wide(KelJsonCursor *cursor, Unit **field) {
    need_string(cursor);
    const Counter<Text::Chars> counted = count<Text::Chars>(cursor);
    Unit *out = nullptr;
    if (counted.units)
        out = static_cast<Unit *>(_kel_dec_getmem_internal(cursor->world, counted.units * sizeof(Unit)));
    WideWriter<Unit> writer{cursor, out, 0, counted.units};
    closing_quote(cursor, walk(cursor, writer));
    *field = out;
    return counted.units;
}

} // namespace

extern "C" {

uint32_t _kel_jdec_str_length(KelJsonCursor *cursor, uint32_t *plain) {
    const Counter<Text::Latin1> counted = count<Text::Latin1>(cursor);
    *plain = counted.plain;
    return counted.units;
}

uint32_t _kel_jdec_str8_length(KelJsonCursor *cursor, uint32_t *plain) {
    const Counter<Text::Utf8> counted = count<Text::Utf8>(cursor);
    *plain = counted.plain;
    return counted.units;
}

uint32_t _kel_jdec_string(KelJsonCursor *cursor, unsigned char *out, int32_t capacity) {
    return decode_fixed<Text::Latin1>(cursor, out, capacity);
}

uint32_t _kel_jdec_string8(KelJsonCursor *cursor, unsigned char *out, int32_t capacity) {
    return decode_fixed<Text::Utf8>(cursor, out, capacity);
}

uint32_t _kel_jdec_string_nullterm(KelJsonCursor *cursor, char **field) {
    return decode_nullterm<Text::Latin1>(cursor, field);
}

uint32_t _kel_jdec_string8_nullterm(KelJsonCursor *cursor, char **field) {
    return decode_nullterm<Text::Utf8>(cursor, field);
}

uint32_t _kel_jdec_string_unbounded(KelJsonCursor *cursor, unsigned char **field) {
    return decode_unbounded<Text::Latin1>(cursor, field);
}

uint32_t _kel_jdec_string8_unbounded(KelJsonCursor *cursor, unsigned char **field) {
    return decode_unbounded<Text::Utf8>(cursor, field);
}

uint32_t _kel_jdec_string_varying(KelJsonCursor *cursor, void **field, uint32_t displacement, int32_t capacity) {
    return decode_varying<Text::Latin1>(cursor, field, displacement, capacity);
}

uint32_t _kel_jdec_string8_varying(KelJsonCursor *cursor, void **field, uint32_t displacement, int32_t capacity) {
    return decode_varying<Text::Utf8>(cursor, field, displacement, capacity);
}

uint32_t _kel_jdec_bmp_string(KelJsonCursor *cursor, uint16_t **field) { return decode_wide(cursor, field); }

uint32_t _kel_jdec_universal_string(KelJsonCursor *cursor, uint32_t **field) { return decode_wide(cursor, field); }

} // extern "C"
