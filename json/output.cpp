// output.cpp - the JSON text writer: appending runs, single characters and
// hexadecimal pairs at the world's output across block ends, and the layout
// of objects and arrays (brackets, members, line breaks and indentation).
#include "json_out.h"

namespace kel::json {

namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";

// Upper-case hexadecimal pair of every octet, first digit in the low byte.
struct HexPairs {
    char text[512];
    constexpr HexPairs() : text() {
        for (int i = 0; i < 256; ++i) {
            text[2 * i] = kHexDigits[i >> 4];
            text[2 * i + 1] = kHexDigits[i & 15];
        }
    }
};
constexpr HexPairs kHexPairs;

constexpr char kSpaces[16] = {' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '};

void new_block(KelGlobal *world) {
    world->outPos = _kel_enc_getmem(world);
    world->outRemaining = KEL_ENC_BLOCK;
}

} // namespace

void put_hex(KelGlobal *world, const unsigned char *bytes, uint32_t n) {
    if (counting(world)) {
        world->encLength += 2 * n;
        return;
    }
    while (n) {
        if (world->outRemaining <= 0)
            new_block(world);
        const uint32_t room = static_cast<uint32_t>(world->outRemaining);
        const uint32_t whole = room / 2 < n ? room / 2 : n;
        unsigned char *out = world->outPos;
        for (uint32_t i = 0; i < whole; ++i, out += 2)
            std::memcpy(out, kHexPairs.text + 2 * bytes[i], 2);
        bytes += whole;
        n -= whole;
        world->outPos = out;
        world->outRemaining -= static_cast<int32_t>(2 * whole);
        if (n && world->outRemaining == 1) {
            // One nibble fits: the octet is split across the block end.
            *world->outPos = static_cast<unsigned char>(kHexDigits[*bytes >> 4]);
            new_block(world);
            *world->outPos++ = static_cast<unsigned char>(kHexDigits[*bytes & 15]);
            world->outRemaining -= 1;
            ++bytes;
            --n;
        }
    }
}

} // namespace kel::json

using namespace kel::json;

namespace {

void open_bracket(KelGlobal *world, unsigned char bracket) {
    put_char(world, bracket);
    world->ext->jsonCurrentIndent += world->ext->jsonIndent;
}

void close_bracket(KelGlobal *world, unsigned char bracket, int nonEmpty) {
    world->ext->jsonCurrentIndent -= world->ext->jsonIndent;
    if (nonEmpty)
        _kel_jenc_indent(world);
    put_char(world, bracket);
}

} // namespace

extern "C" {

void _kel_jenc_append(KelGlobal *world, const void *bytes, uint32_t count) { put(world, bytes, count); }

void _kel_jenc_append_char(KelGlobal *world, uint32_t character) {
    put_char(world, static_cast<unsigned char>(character));
}

void _kel_jenc_append_2chars(KelGlobal *world, uint32_t chars) {
    const unsigned char two[2] = {static_cast<unsigned char>(chars), static_cast<unsigned char>(chars >> 8)};
    put(world, two, 2);
}

void _kel_jenc_append_hexb(KelGlobal *world, uint32_t byte) {
    const unsigned char octet = static_cast<unsigned char>(byte);
    put_hex(world, &octet, 1);
}

void _kel_jenc_append_hexs(KelGlobal *world, const unsigned char *bytes, uint32_t count) {
    put_hex(world, bytes, count);
}

void _kel_jenc_indent(KelGlobal *world) {
    const int32_t indent = world->ext->jsonCurrentIndent > 0 ? world->ext->jsonCurrentIndent : 0;
    if (kel::counting(world)) {
        // Compact or not: the count is an upper bound.
        world->encLength += 1 + static_cast<uint32_t>(indent);
        return;
    }
    if (compact(world))
        return;
    if (world->outRemaining > indent) [[likely]] {
        unsigned char *out = world->outPos;
        *out = '\n';
        std::memset(out + 1, ' ', static_cast<size_t>(indent));
        world->outPos = out + 1 + indent;
        world->outRemaining -= 1 + indent;
        return;
    }
    put_char(world, '\n');
    for (uint32_t left = static_cast<uint32_t>(indent); left;) {
        const uint32_t now = left < sizeof kSpaces ? left : sizeof kSpaces;
        put(world, kSpaces, now);
        left -= now;
    }
}

void _kel_jenc_begin_object(KelGlobal *world) { open_bracket(world, '{'); }
void _kel_jenc_begin_array(KelGlobal *world) { open_bracket(world, '['); }
void _kel_jenc_end_object(KelGlobal *world, int nonEmpty) { close_bracket(world, '}', nonEmpty); }
void _kel_jenc_end_array(KelGlobal *world, int nonEmpty) { close_bracket(world, ']', nonEmpty); }

void _kel_jenc_element(KelGlobal *world, const char *name, int comma) {
    if (comma)
        put_char(world, ',');
    _kel_jenc_indent(world);
    put_char(world, '"');
    put(world, name, static_cast<uint32_t>(std::strlen(name)));
    put(world, "\":", 2);
}

} // extern "C"
