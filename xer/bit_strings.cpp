// bit_strings.cpp - BIT STRING in XER: ones and zeros, side by side in flat
// output; in pretty output a blank between groups of eight bits, and a
// string that would cross the margin folded into lines of whole groups.
// Short strings held in an integer are taken apart into octets first.
#include "xer_out.h"

namespace {

using namespace kel::xer;

// The eight digits of an octet.
inline void octet_digits(char *out, unsigned char octet) {
    std::memcpy(out, kText.bitGroups[octet >> 4], 4);
    std::memcpy(out + 4, kText.bitGroups[octet & 15], 4);
}

void put_flat(KelGlobal *world, XerOutputState *state, const unsigned char *bytes, uint32_t bits) {
    char text[256];
    uint32_t used = 0;
    for (uint32_t i = 0; i < bits / 8; ++i) {
        if (used == sizeof text) {
            put(world, text, used);
            used = 0;
        }
        octet_digits(text + used, bytes[i]);
        used += 8;
    }
    put(world, text, used);
    if (const uint32_t rest = bits % 8) {
        octet_digits(text, bytes[bits / 8]);
        put(world, text, rest);
    }
    state->column += static_cast<int32_t>(bits);
}

} // namespace

extern "C" {

uint32_t _kel_tex_count_bits(const unsigned char *bytes, uint32_t bits) {
    while (bits && !(bytes[(bits - 1) / 8] & (0x80u >> ((bits - 1) % 8))))
        --bits;
    return bits;
}

void _kel_tex_format_bit(KelGlobal *world, const unsigned char *bytes, uint32_t bits) {
    XerOutputState *state = out_state(world);
    if (flat(world))
        return put_flat(world, state, bytes, bits);
    const uint32_t whole = bits / 8;
    const uint32_t rest = bits % 8;
    const int32_t m = margin(world, state);
    const auto n = static_cast<int32_t>(bits);
    const int32_t textLength = n + static_cast<int32_t>(whole) - (rest == 0 ? 1 : 0);
    const bool fold = n > m || state->column + textLength + state->lastTagLength + 3 > m;
    int32_t capacity = 0;
    if (fold) {
        break_with(world, state, 2);
        capacity = ((m - state->indent + 1) / 9) * 9 - 1;
    }
    // Position on the line; each group goes to a new line when the line is
    // full, else behind a blank.
    int32_t position = 0;
    auto start_group = [&] {
        if (fold && position >= capacity) {
            line_break(world, state);
            position = 0;
        } else if (position) {
            put(world, " ", 1);
            ++position;
        }
    };
    char digits[8];
    for (uint32_t i = 0; i < whole; ++i) {
        start_group();
        octet_digits(digits, bytes[i]);
        put(world, digits, 8);
        position += 8;
    }
    if (rest) {
        start_group();
        octet_digits(digits, bytes[whole]);
        put(world, digits, rest);
        position += static_cast<int32_t>(rest);
    }
    if (fold)
        break_with(world, state, -2);
    else
        state->column += position;
}

void _kel_tex_format_pbit(KelGlobal *world, uint32_t word, uint32_t flags) {
    uint32_t bits = flags & 0x7F;
    if (bits > 32)
        bits = 32;
    // Up to 16 bits from the low end of the word, 17 to 24 from its top
    // three octets, as the three sizes of integer that hold them.
    unsigned char octets[4];
    if (bits <= 8) {
        octets[0] = static_cast<unsigned char>(word);
    } else if (bits <= 16) {
        octets[0] = static_cast<unsigned char>(word >> 8);
        octets[1] = static_cast<unsigned char>(word);
    } else {
        octets[0] = static_cast<unsigned char>(word >> 24);
        octets[1] = static_cast<unsigned char>(word >> 16);
        octets[2] = static_cast<unsigned char>(word >> 8);
        octets[3] = static_cast<unsigned char>(word);
    }
    if (flags & 0x80)
        bits = _kel_tex_count_bits(octets, bits);
    _kel_tex_format_bit(world, octets, bits);
}

} // extern "C"
