// octet_strings.cpp - OCTET STRING in XER: two upper-case hexadecimal
// digits an octet, side by side in flat output; in pretty output a blank
// after every four octets, and a string that would cross the margin folded
// onto lines of its own.
#include "xer_out.h"

namespace {

using namespace kel::xer;

// Hexadecimal pairs of `n` octets, gathered in a local buffer.
void put_pairs(KelGlobal *world, const unsigned char *bytes, uint32_t n) {
    if (kel::counting(world)) {
        world->encLength += 2 * n;
        return;
    }
    if (world->outRemaining >= static_cast<int32_t>(2 * n)) [[likely]] {
        unsigned char *out = world->outPos;
        for (uint32_t i = 0; i < n; ++i, out += 2)
            std::memcpy(out, kText.hexPairs[bytes[i]], 2);
        world->outPos = out;
        world->outRemaining -= static_cast<int32_t>(2 * n);
        return;
    }
    char text[256];
    while (n) {
        const uint32_t now = n < sizeof text / 2 ? n : sizeof text / 2;
        for (uint32_t i = 0; i < now; ++i)
            std::memcpy(text + 2 * i, kText.hexPairs[bytes[i]], 2);
        put(world, text, 2 * now);
        bytes += now;
        n -= now;
    }
}

} // namespace

extern "C" {

void _kel_tex_format_octet(KelGlobal *world, const unsigned char *bytes, uint32_t length) {
    XerOutputState *state = out_state(world);
    if (flat(world)) {
        put_pairs(world, bytes, length);
        state->column += static_cast<int32_t>(2 * length);
        return;
    }
    const int32_t m = margin(world, state);
    const auto n = static_cast<int32_t>(length);
    const int32_t textLength = 2 * n + n / 4 - (n % 4 == 0 ? 1 : 0);
    const bool fold = state->column + textLength + state->lastTagLength + 3 > m;
    if (fold)
        break_with(world, state, 2);
    for (uint32_t i = 0; i < length; i += 4) {
        const uint32_t group = length - i < 4 ? length - i : 4;
        if (i) {
            if (fold && state->column + 2 * static_cast<int32_t>(group) + 1 >= m) {
                line_break(world, state);
            } else {
                put(world, " ", 1);
                ++state->column;
            }
        }
        put_pairs(world, bytes + i, group);
        state->column += static_cast<int32_t>(2 * group);
    }
    if (fold)
        break_with(world, state, -2);
}

} // extern "C"
