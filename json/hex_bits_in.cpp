// hex_bits_in.cpp - hexadecimal JSON strings into octet strings, and BIT
// STRING values in their two JSON forms: a bare hexadecimal string for a
// type of fixed size, else the object {"value": hex, "length": bits} with
// its members in either order.
//
// Pairs of plain digits are taken straight from the input through a table;
// a digit written as an escape goes through the tokeniser's escape reader.
// The bit string decoders fill every memory form: an integer field of up to
// 32 bits, an octet array, an unbounded pointer and count, a varying array
// inline or behind a header.  Named-bit forms accept trailing zero bits
// beyond the room of the type and cut them.

#include "values_in.h"

namespace {

using namespace kel::json;

constexpr const char *kHexWhat = "hexadecimal string";
constexpr const char *kBitsWhat = "BIT STRING";

constexpr uint32_t octets_of(uint32_t bits) { return (bits >> 3) + ((bits & 7) != 0); }

// One digit on the slow path; -1 for the closing quote, which is consumed.
int slow_digit(KelJsonCursor *cursor) {
    uint32_t b = need_byte(cursor);
    if (b == '"')
        return -1;
    if (b == '\\') {
        b = _kel_jhandle_escape(cursor);
        if (b > 0xFF)
            fail_text(cursor, kMsgInvalidEncoding, kHexWhat);
    }
    const uint8_t v = kHex.value[b];
    if (v == 0xFF)
        fail_text(cursor, kMsgInvalidEncoding, kHexWhat);
    return v;
}

// Reads pairs of digits until the closing quote or until `room` octets.
// Each octet goes to `sink(index, octet)`.  The result is the octets read;
// *closed tells whether the closing quote was reached.
template <class Sink> uint32_t read_pairs(KelJsonCursor *cursor, uint32_t room, bool *closed, Sink sink) {
    KelGlobal *world = cursor->world;
    uint32_t n = 0;
    *closed = false;
    while (n < room) {
        const unsigned char *p = world->inPos;
        if (world->inRemaining >= 2) {
            const uint8_t hi = kHex.value[p[0]], lo = kHex.value[p[1]];
            if ((hi | lo) < 16) {
                sink(n++, static_cast<uint8_t>(hi << 4 | lo));
                world->inPos += 2, world->inRemaining -= 2;
                continue;
            }
        }
        const int hi = slow_digit(cursor);
        if (hi < 0)
            return *closed = true, n;
        const int lo = slow_digit(cursor);
        if (lo < 0) // a lone digit
            fail_text(cursor, kMsgInvalidEncoding, kHexWhat);
        sink(n++, static_cast<uint8_t>(hi << 4 | lo));
    }
    // The room is used up: the string may end right here.
    if (world->inRemaining > 0 && *world->inPos == '"') {
        ++world->inPos, --world->inRemaining;
        *closed = true;
    }
    return n;
}

inline auto store_to(unsigned char *out) {
    return [out](uint32_t i, uint8_t v) { out[i] = v; };
}
inline auto discard() {
    return [](uint32_t, uint8_t) {};
}

// Octets of the rest of the hexadecimal string, consumed.
uint32_t count_rest(KelJsonCursor *cursor) {
    bool closed;
    return read_pairs(cursor, UINT32_MAX, &closed, discard());
}

// Octets of the hexadecimal string, the input left where it was.
uint32_t measure(KelJsonCursor *cursor) {
    const InputMark m = mark(cursor);
    const uint32_t n = count_rest(cursor);
    restore(cursor, m);
    return n;
}

// Up to `room` octets into `out`; every octet behind them must be zero.
// The result counts all octets of the string.
uint32_t read_named(KelJsonCursor *cursor, unsigned char *out, uint32_t room) {
    bool closed;
    const uint32_t kept = out ? read_pairs(cursor, room, &closed, store_to(out))
                              : read_pairs(cursor, room, &closed, discard());
    if (closed)
        return kept;
    uint32_t extra = 0;
    read_pairs(cursor, UINT32_MAX, &closed, [&](uint32_t i, uint8_t v) {
        if (v)
            fail(cursor, kMsgSizeViolated, (room + i + 1) * 8);
        extra = i + 1;
    });
    return kept + extra;
}

// An array with a capacity in octets: positive exact, negative at most.
// `unit` is 8 when a short value is reported in bits.
uint32_t read_array(KelJsonCursor *cursor, unsigned char *out, int32_t capacity, uint32_t unit) {
    need_string(cursor);
    const uint32_t room = capacity < 0 ? 0u - static_cast<uint32_t>(capacity) : static_cast<uint32_t>(capacity);
    bool closed;
    const uint32_t n = read_pairs(cursor, room, &closed, store_to(out));
    if (!closed)
        _kel_json_chk_eos(cursor);
    if (capacity > 0 && n != room)
        fail(cursor, kMsgSizeViolated, n * unit);
    return n;
}

// ---------------------------------------------------------------------------
// BIT STRING
// ---------------------------------------------------------------------------

// Where the octets of a bit string value go: a given array of `capacity`
// bits, or (out null) a block allocated once the value's size is known,
// `header` octets in front of the bits, stored through *field.
struct BitsPlace {
    unsigned char *out;
    void **field;
    uint32_t header;
    uint32_t capacity; // bits the memory form holds; 0 for no limit
    bool named;
};

// The octets of the "value" member, the cursor behind its opening quote;
// the result counts the octets of the string, *bytes points at them.
uint32_t read_value_octets(KelJsonCursor *cursor, const BitsPlace &place, unsigned char **bytes) {
    const uint32_t room = place.capacity ? octets_of(place.capacity) : UINT32_MAX;
    unsigned char *out = place.out;
    if (!out) {
        const uint32_t wire = place.named ? _kel_jdec_named_bits_length(cursor, room) : measure(cursor);
        if (!place.named && wire > room)
            fail(cursor, kMsgSizeViolated, wire * 8);
        const uint32_t kept = wire < room ? wire : room;
        auto *block = static_cast<unsigned char *>(
            place.header ? _kel_dec_getmem(cursor->world, static_cast<int32_t>(place.header + (place.capacity ? room : kept)))
                         : (kept ? _kel_dec_getmem_internal(cursor->world, kept) : nullptr));
        *place.field = block;
        out = block ? block + place.header : nullptr;
    }
    *bytes = out;
    if (place.named)
        return read_named(cursor, out, room);
    bool closed;
    const uint32_t n = read_pairs(cursor, room, &closed, store_to(out));
    if (closed)
        return n;
    fail(cursor, kMsgSizeViolated, (n + count_rest(cursor)) * 8);
}

// Checks the value's octets against its length in bits and the room of the
// memory form; the result is the bits the value keeps.
uint32_t settle(KelJsonCursor *cursor, const BitsPlace &place, const unsigned char *bytes, uint32_t wire,
                uint32_t length) {
    if (wire != octets_of(length))
        fail_text(cursor, kMsgInvalidEncoding, kBitsWhat);
    if (place.capacity && length > place.capacity) {
        if (!place.named)
            fail(cursor, kMsgSizeViolated, length);
        // The bits behind the room that stand in its last octet must be zero too.
        const uint32_t tail = place.capacity & 7;
        if (tail && (bytes[place.capacity >> 3] & (0xFFu >> tail)))
            fail(cursor, kMsgSizeViolated, length);
        return place.capacity;
    }
    if (strict(cursor->world) && (length & 7) && (bytes[length >> 3] & (0xFFu >> (length & 7))))
        fail(cursor, kMsgPaddingBits);
    return length;
}

// The object form; the current token is its '{'.
uint32_t read_object(KelJsonCursor *cursor, const BitsPlace &place) {
    if (cursor->token != KEL_JTOK_OPEN_OBJECT)
        fail_text(cursor, kMsgUnexpectedToken, "'{'");
    _kel_json_token(cursor, KEL_JTOK_STRING | KEL_JTOK_CLOSE_OBJECT);
    if (cursor->token == KEL_JTOK_CLOSE_OBJECT)
        fail_text(cursor, kMsgInvalidEncoding, kBitsWhat);
    unsigned char *bytes = nullptr;
    uint32_t wire = 0, length = 0;
    int member = 0, seen = 0;
    for (;;) {
        member = _kel_jdec_bits_member(cursor, member);
        if (seen & member)
            fail_text(cursor, kMsgInvalidEncoding, kBitsWhat);
        seen |= member;
        if (member == 1) {
            _kel_json_token(cursor, KEL_JTOK_STRING);
            wire = read_value_octets(cursor, place, &bytes);
        } else {
            _kel_json_token(cursor, KEL_JTOK_NUMBER);
            length = static_cast<uint32_t>(_kel_jdec_lint(cursor, 0, 0x7FFFFFFF));
        }
        _kel_json_token(cursor, KEL_JTOK_COMMA | KEL_JTOK_CLOSE_OBJECT);
        if (cursor->token == KEL_JTOK_CLOSE_OBJECT)
            break;
        _kel_json_token(cursor, KEL_JTOK_STRING);
    }
    if (seen != 3)
        fail_text(cursor, kMsgInvalidEncoding, kBitsWhat);
    return settle(cursor, place, bytes, wire, length);
}

// The bare hexadecimal string of a type of `size` bits into `out`.
uint32_t read_fixed_hex(KelJsonCursor *cursor, unsigned char *out, uint32_t size, bool named) {
    need_string(cursor);
    const uint32_t room = octets_of(size);
    uint32_t n;
    if (named) {
        n = read_named(cursor, out, room);
    } else {
        bool closed;
        n = read_pairs(cursor, room, &closed, store_to(out));
        if (!closed)
            _kel_json_chk_eos(cursor);
    }
    if (n < room)
        fail(cursor, kMsgSizeViolated, n * 8);
    if (strict(cursor->world) && (size & 7) && (out[size >> 3] & (0xFFu >> (size & 7))))
        fail(cursor, kMsgPaddingBits);
    return size;
}

// Either form into an octet array of |size| bits: positive for the bare
// string, negative for the object.
uint32_t read_sized(KelJsonCursor *cursor, unsigned char *out, int32_t size, bool named) {
    if (size > 0)
        return read_fixed_hex(cursor, out, static_cast<uint32_t>(size), named);
    const uint32_t bits = 0u - static_cast<uint32_t>(size);
    return read_object(cursor, {out, nullptr, 0, bits, named});
}

// An integer field: up to 8 bits in one octet, 16 in a u16, 32 in a u32,
// the string's first bit the field's top bit.
uint32_t padded(KelJsonCursor *cursor, int32_t size, bool named) {
    const uint32_t bits = size < 0 ? 0u - static_cast<uint32_t>(size) : static_cast<uint32_t>(size);
    unsigned char octets[4] = {0, 0, 0, 0};
    read_sized(cursor, octets, size, named);
    const uint32_t be = uint32_t{octets[0]} << 24 | uint32_t{octets[1]} << 16 | uint32_t{octets[2]} << 8 | octets[3];
    return bits <= 8 ? be >> 24 : bits <= 16 ? be >> 16 : be;
}

uint32_t big_padded(KelJsonCursor *cursor, unsigned char *out, int32_t size, bool named) {
    const uint32_t bits = size < 0 ? 0u - static_cast<uint32_t>(size) : static_cast<uint32_t>(size);
    std::memset(out, 0, octets_of(bits));
    return read_sized(cursor, out, size, named);
}

} // namespace

extern "C" {

uint32_t _kel_jdec_octets(KelJsonCursor *cursor, unsigned char *out, int32_t capacity) {
    return read_array(cursor, out, capacity, 1);
}

uint32_t _kel_jdec_bits(KelJsonCursor *cursor, unsigned char *out, int32_t capacity) {
    return read_array(cursor, out, capacity, 8);
}

uint32_t _kel_jdec_hstring_length(KelJsonCursor *cursor) { return measure(cursor); }

uint32_t _kel_jdec_hstring_unbounded(KelJsonCursor *cursor, unsigned char **field) {
    need_string(cursor);
    const uint32_t n = measure(cursor);
    unsigned char *out = n ? static_cast<unsigned char *>(_kel_dec_getfixmem(cursor->world, static_cast<int32_t>(round8(n)))) : nullptr;
    bool closed;
    read_pairs(cursor, n, &closed, store_to(out));
    if (!closed)
        _kel_json_chk_eos(cursor);
    *field = out;
    return n;
}

uint32_t _kel_jdec_hstring_varying(KelJsonCursor *cursor, void **field, uint32_t displacement, int32_t capacity) {
    need_string(cursor);
    const uint32_t n = measure(cursor);
    const uint32_t room = capacity < 1 ? n : static_cast<uint32_t>(capacity);
    if (n > room)
        fail(cursor, kMsgSizeViolated, n);
    auto *record = static_cast<unsigned char *>(_kel_dec_getfixmem(cursor->world, static_cast<int32_t>(round8(displacement + room))));
    bool closed;
    read_pairs(cursor, n, &closed, store_to(record + displacement));
    if (!closed)
        _kel_json_chk_eos(cursor);
    *field = record;
    return n;
}

int _kel_jdec_bits_member(KelJsonCursor *cursor, int previous) {
    static constexpr const char *kNames[2] = {"value", "length"};
    read_member_name(cursor);
    const uint32_t i = find_member(cursor, kNames, 2, static_cast<uint32_t>(previous) % 2);
    _kel_json_token(cursor, KEL_JTOK_COLON);
    return static_cast<int>(i + 1);
}

uint32_t _kel_jdec_named_bits_length(KelJsonCursor *cursor, uint32_t capacity) {
    const InputMark m = mark(cursor);
    const uint32_t n = read_named(cursor, nullptr, capacity);
    restore(cursor, m);
    return n;
}

uint32_t _kel_jdec_named_bits(KelJsonCursor *cursor, unsigned char *out, uint32_t capacity) {
    return read_named(cursor, out, capacity);
}

uint32_t _kel_jdec_bit_padded(KelJsonCursor *cursor, int32_t size) { return padded(cursor, size, false); }

uint32_t _kel_jdec_named_bit_padded(KelJsonCursor *cursor, int32_t size) { return padded(cursor, size, true); }

uint32_t _kel_jdec_bit_big_padded(KelJsonCursor *cursor, unsigned char *out, int32_t size) {
    return big_padded(cursor, out, size, false);
}

uint32_t _kel_jdec_named_bit_big_padded(KelJsonCursor *cursor, unsigned char *out, int32_t size) {
    return big_padded(cursor, out, size, true);
}

uint32_t _kel_jdec_bit_unbounded(KelJsonCursor *cursor, unsigned char **field) {
    return read_object(cursor, {nullptr, reinterpret_cast<void **>(field), 0, 0, false});
}

uint32_t _kel_jdec_named_bit_unbounded(KelJsonCursor *cursor, unsigned char **field, uint32_t capacity) {
    return read_object(cursor, {nullptr, reinterpret_cast<void **>(field), 0, capacity, true});
}

uint32_t _kel_jdec_bit_varying(KelJsonCursor *cursor, unsigned char *out, uint32_t capacity) {
    return read_object(cursor, {out, nullptr, 0, capacity, false});
}

uint32_t _kel_jdec_named_bit_varying(KelJsonCursor *cursor, unsigned char *out, uint32_t capacity) {
    return read_object(cursor, {out, nullptr, 0, capacity, true});
}

uint32_t _kel_jdec_bit_varying_ptr(KelJsonCursor *cursor, void **field, uint32_t headerBytes, uint32_t capacity) {
    return read_object(cursor, {nullptr, field, headerBytes, capacity, false});
}

uint32_t _kel_jdec_named_bit_varying_ptr(KelJsonCursor *cursor, void **field, uint32_t headerBytes,
                                         uint32_t capacity) {
    return read_object(cursor, {nullptr, field, headerBytes, capacity, true});
}

} // extern "C"
