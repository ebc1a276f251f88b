// enc_bit_strings.cpp - BIT STRING in JSON: a hexadecimal string when the
// type fixes the size, else the object {"value":"..","length":n}.  Whole
// octets go out as upper-case pairs; bits behind the length in the last
// octet print as zero.
#include "json_out.h"
#include "kelvarn_per.h"

namespace {

using namespace kel::json;

// 32 zero digits: sixteen "00" pairs at a time.
constexpr char kZeroPairs[] = "00000000000000000000000000000000";

// Hexadecimal digits of `bits` bits, without quotes.
void put_bits(KelGlobal *world, const unsigned char *bytes, uint32_t bits) {
    put_hex(world, bytes, bits >> 3);
    if (const uint32_t tail = bits & 7)
        _kel_jenc_append_hexb(world, bytes[bits >> 3] & (0xFF00u >> tail));
}

// `octets` zero octets as "00" pairs.
void put_zero_octets(KelGlobal *world, uint32_t octets) {
    for (; octets > 16; octets -= 16)
        put(world, kZeroPairs, 32);
    put(world, kZeroPairs, 2 * octets);
}

void put_quoted(KelGlobal *world, const unsigned char *bytes, uint32_t bits, uint32_t zeroOctets) {
    put_char(world, '"');
    put_bits(world, bytes, bits);
    put_zero_octets(world, zeroOctets);
    put_char(world, '"');
}

// {"value":"..","length":n}; `length` may exceed the bits present, whose
// missing octets are zeros.
void put_object(KelGlobal *world, const unsigned char *bytes, uint32_t bits, uint32_t length) {
    _kel_jenc_begin_object(world);
    _kel_jenc_element(world, "value", 0);
    put_quoted(world, bytes, bits, ((length + 7) >> 3) - ((bits + 7) >> 3));
    _kel_jenc_element(world, "length", 1);
    put_decimal(world, length);
    _kel_jenc_end_object(world, 1);
}

void put_either(KelGlobal *world, const unsigned char *bytes, uint32_t bits, uint32_t flags) {
    if (flags & 1)
        put_quoted(world, bytes, bits, 0);
    else
        put_object(world, bytes, bits, bits);
}

} // namespace

extern "C" {

void _kel_jenc_bit_padded(KelGlobal *world, const unsigned char *bytes, uint32_t bits, uint32_t flags) {
    put_either(world, bytes, bits, flags);
}

void _kel_jenc_pad_bit(KelGlobal *world, uint32_t value, uint32_t bits, uint32_t flags) {
    // The value is left-justified in 8, 16 or 32 bits.
    const uint32_t width = bits <= 8 ? 8 : bits <= 16 ? 16 : 32;
    const uint32_t justified = width == 32 ? value : value << (32 - width);
    const unsigned char bytes[4] = {static_cast<unsigned char>(justified >> 24),
                                    static_cast<unsigned char>(justified >> 16),
                                    static_cast<unsigned char>(justified >> 8), static_cast<unsigned char>(justified)};
    put_either(world, bytes, bits > 32 ? 32 : bits, flags);
}

void _kel_jenc_bit_unbounded(KelGlobal *world, const unsigned char *bytes, uint32_t bits) {
    put_object(world, bytes, bits, bits);
}

void _kel_jenc_bit_unbounded_fixed(KelGlobal *world, const unsigned char *bytes, uint32_t bits, uint32_t size) {
    if (bits > size)
        bits = size;
    put_quoted(world, bytes, bits, ((size + 7) >> 3) - ((bits + 7) >> 3));
}

void _kel_jenc_nbit_constr(KelGlobal *world, const unsigned char *bytes, uint32_t bits, uint32_t size) {
    if (bits > size)
        bits = _kel_chop_zero_bits(bytes, bits, size);
    put_object(world, bytes, bits, bits > size ? bits : size);
}

} // extern "C"
