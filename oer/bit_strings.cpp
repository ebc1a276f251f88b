// bit_strings.cpp - BIT STRING in OER.  A value of variable size is a
// determinant of the content octets + 1, the count of unused bits and the
// content; a fixed size is the content alone.  The decoders fill every
// memory form: an integer field of up to 32 bits, an octet array, an
// unbounded pointer and count, a varying array inline or behind a header.
// Named-bit forms drop trailing zero bits: the encoder down to the lower
// bound, the OER decoder when the value is longer than its room.

#include "bitcopy.h"
#include "kelvarn_per.h"
#include "oer.h"

namespace {

using namespace kel::oer;
using kel::bits::top_mask;

constexpr uint32_t octets_of(uint32_t bits) { return (bits >> 3) + ((bits & 7) != 0); }

// ---------------------------------------------------------------------------
// Encoders
// ---------------------------------------------------------------------------

// The content octets of `n` bits with the unused bits of the last cleared.
void put_content(KelGlobal *world, const unsigned char *bytes, uint32_t n) {
    const uint32_t whole = n >> 3;
    put(world, bytes, whole);
    if (n & 7) {
        const unsigned char last = bytes[whole] & top_mask(n & 7);
        put(world, &last, 1);
    }
}

// Determinant and unused count for a value of `wire` bits, then `n` bits of
// content (n <= wire) and zero octets up to the size of `wire`.
void put_variable(KelGlobal *world, const unsigned char *bytes, uint32_t n, uint32_t wire) {
    const uint32_t size = octets_of(wire);
    const uint32_t unused = -wire & 7;
    if (size + 1 >= 128) {
        put_length(world, size + 1);
        const unsigned char octet = static_cast<unsigned char>(unused);
        put(world, &octet, 1);
    } else {
        const unsigned char head[2] = {static_cast<unsigned char>(size + 1), static_cast<unsigned char>(unused)};
        put(world, head, 2);
    }
    put_content(world, bytes, n);
    put_zeros(world, size - octets_of(n));
}

// ---------------------------------------------------------------------------
// Decoders
// ---------------------------------------------------------------------------

// A value on the wire: its content octets and its size in bits.
struct Wire {
    const unsigned char *content;
    uint32_t bits;
};

// The first octet (unused bits) checked, the bits counted, the value taken
// off the input; `n` is the determinant, its octets present.
Wire take_value(KelGlobal *world, uint32_t n) {
    if (n == 0)
        fail(world, kMsgMisencoded);
    const unsigned char *p = advance(world, n);
    const uint32_t unused = p[0];
    if (unused > 7 || (n == 1 && unused))
        fail(world, kMsgFirstOctetRange);
    const uint32_t bits = (n - 1) * 8 - unused;
    if (strict(world) && unused && bits && (p[n - 1] & ((1u << unused) - 1)))
        fail(world, kMsgPaddingBits);
    return {p + 1, bits};
}

Wire read_value(KelGlobal *world) { return take_value(world, content_length(world)); }

// Whether any of the bits from `from` to the end of the value is set.
bool excess_set(const Wire &value, uint32_t from) {
    const uint32_t last = (value.bits - 1) >> 3;
    for (uint32_t i = from >> 3; i <= last; ++i) {
        uint8_t octet = value.content[i];
        if (i == from >> 3)
            octet &= static_cast<uint8_t>(0xFF >> (from & 7));
        if (i == last)
            octet &= top_mask(value.bits - 8 * last);
        if (octet)
            return true;
    }
    return false;
}

enum class Form { Plain, Named };

// A value longer than `capacity` bits: plain forms fail; named forms under
// OER lose an excess of zero bits, and fail with `excessMessage` on a 1.
void fit(KelGlobal *world, Wire &value, uint32_t capacity, Form form, int excessMessage) {
    if (value.bits <= capacity)
        return;
    if (form == Form::Plain || canonical(world))
        fail(world, kMsgSizeViolated, value.bits);
    if (excess_set(value, capacity))
        fail(world, excessMessage, value.bits);
    value.bits = capacity;
}

// `bits` bits of `value` to `out`, the unused bits of the last octet
// cleared; answers the octets written.
uint32_t copy_bits(unsigned char *out, const Wire &value) {
    kel::bits::copy_aligned(out, value.content, value.bits);
    return octets_of(value.bits);
}

// A named-bit value of no bits is a size failure under COER.
void refuse_empty_named(KelGlobal *world, const Wire &value, Form form) {
    if (form == Form::Named && value.bits == 0 && canonical(world))
        fail(world, kMsgSizeViolated, 0);
}

uint32_t get_padded(KelGlobal *world, uint32_t capacity, Form form) {
    Wire value = read_value(world);
    refuse_empty_named(world, value, form);
    fit(world, value, capacity < 32 ? capacity : 32, form, kMsgSizeViolated);
    unsigned char octets[4] = {};
    copy_bits(octets, value);
    const uint32_t word = static_cast<uint32_t>(octets[0]) << 24 | static_cast<uint32_t>(octets[1]) << 16 |
                          static_cast<uint32_t>(octets[2]) << 8 | octets[3];
    const uint32_t width = capacity <= 8 ? 8 : capacity <= 16 ? 16 : 32;
    return word >> (32 - width);
}

void get_big_padded(KelGlobal *world, unsigned char *out, uint32_t capacity, Form form) {
    Wire value = read_value(world);
    refuse_empty_named(world, value, form);
    fit(world, value, capacity, form, kMsgSizeViolated);
    const uint32_t written = copy_bits(out, value);
    std::memset(out + written, 0, octets_of(capacity) - written);
}

// Exactly the content's size in final memory behind `header` cleared
// octets; null for nothing at all.
unsigned char *new_block(KelGlobal *world, const Wire &value, uint32_t header) {
    unsigned char *block = final_block(world, header + octets_of(value.bits));
    if (block) {
        std::memset(block, 0, header);
        copy_bits(block + header, value);
    }
    return block;
}

uint32_t get_unbounded(KelGlobal *world, unsigned char **field, uint32_t capacity, Form form) {
    Wire value = read_value(world);
    if (capacity && !(world->decodingFlags & NOCONSTRAIN))
        fit(world, value, capacity, form, kMsgSizeViolated);
    *field = new_block(world, value, 0);
    return value.bits;
}

} // namespace

extern "C" {

void _kel_oenc_bit_padded(KelGlobal *world, const unsigned char *bytes, uint32_t n) {
    put_variable(world, bytes, n, n);
}

void _kel_oenc_bit_unbounded(KelGlobal *world, const unsigned char *bytes, uint32_t n) {
    put_variable(world, bytes, n, n);
}

void _kel_oenc_bit_unbounded_fixed(KelGlobal *world, const unsigned char *bytes, uint32_t n, uint32_t fixed) {
    if (n > fixed)
        n = fixed;
    put_content(world, bytes, n);
    put_zeros(world, octets_of(fixed) - octets_of(n));
}

void _kel_oenc_nbit_constr(KelGlobal *world, const unsigned char *bytes, uint32_t n, uint32_t lb) {
    if (n > lb)
        n = _kel_chop_zero_bits(bytes, n, lb);
    put_variable(world, bytes, n, n > lb ? n : lb);
}

uint32_t _kel_odec_bits_by_len(KelGlobal *world, unsigned char *out, uint32_t length) {
    need(world, length);
    const Wire value = take_value(world, length);
    copy_bits(out, value);
    return value.bits;
}

uint32_t _kel_odec_bit_padded(KelGlobal *world, uint32_t capacity) { return get_padded(world, capacity, Form::Plain); }

uint32_t _kel_odec_named_bit_padded(KelGlobal *world, uint32_t capacity) {
    return get_padded(world, capacity, Form::Named);
}

void _kel_odec_bit_big_padded(KelGlobal *world, unsigned char *out, uint32_t capacity) {
    get_big_padded(world, out, capacity, Form::Plain);
}

void _kel_odec_named_bit_big_padded(KelGlobal *world, unsigned char *out, uint32_t capacity) {
    get_big_padded(world, out, capacity, Form::Named);
}

uint32_t _kel_odec_bit_unbounded(KelGlobal *world, unsigned char **field) {
    return get_unbounded(world, field, 0, Form::Plain);
}

uint32_t _kel_odec_named_bit_unbounded(KelGlobal *world, unsigned char **field, uint32_t capacity) {
    return get_unbounded(world, field, capacity, Form::Named);
}

uint32_t _kel_odec_named_bit_varying(KelGlobal *world, unsigned char *out, uint32_t capacity) {
    Wire value = read_value(world);
    fit(world, value, capacity, Form::Named, kMsgBitsTooLong);
    copy_bits(out, value);
    return value.bits;
}

uint32_t _kel_odec_named_bit_varying_ptr(KelGlobal *world, void **field, uint32_t headerBytes, uint32_t capacity) {
    Wire value = read_value(world);
    fit(world, value, capacity, Form::Named, kMsgBitsTooLong);
    *field = new_block(world, value, headerBytes);
    return value.bits;
}

} // extern "C"
