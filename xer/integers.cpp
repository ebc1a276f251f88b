// integers.cpp - INTEGER in XER: 32 and 64-bit values as decimal digits,
// folded onto a line of their own when they would cross the margin, and
// huge integers by repeated division of their magnitude, never folded.
#include "xer_out.h"

namespace {

using namespace kel::xer;

template <class U> void put_integer(KelGlobal *world, U value, int isSigned) {
    char text[24];
    char *start = text + sizeof text;
    const uint32_t length = integer_text_before(value, &start, isSigned);
    _kel_print_intstr(world, start, length);
}

// Octets beyond which a huge integer is refused.
constexpr uint32_t kHugeLimit = 4096;
// Working areas up to this size stay on the stack.
constexpr uint32_t kLocalArea = 63;

} // namespace

extern "C" {

uint32_t _kel_ltoa(uint32_t value, char **end, int isSigned) { return integer_text_before(value, end, isSigned); }

uint32_t _kel_lltoa(uint64_t value, char **end, int isSigned) { return integer_text_before(value, end, isSigned); }

void _kel_print_intstr(KelGlobal *world, const char *text, uint32_t length) {
    XerOutputState *state = out_state(world);
    if (!flat(world) &&
        state->column + static_cast<int32_t>(length) + state->lastTagLength + 3 > margin(world, state)) {
        break_with(world, state, 2);
        put_text(world, state, text, length);
        break_with(world, state, -2);
        return;
    }
    put_text(world, state, text, length);
}

void _kel_tex_lint(KelGlobal *world, int32_t value) { put_integer(world, static_cast<uint32_t>(value), 1); }

void _kel_tex_ulint(KelGlobal *world, uint32_t value) { put_integer(world, value, 0); }

void _kel_tex_llint(KelGlobal *world, int64_t value) { put_integer(world, static_cast<uint64_t>(value), 1); }

void _kel_tex_ullint(KelGlobal *world, uint64_t value) { put_integer(world, value, 0); }

void _kel_tex_hint(KelGlobal *world, const unsigned char *bytes, int32_t length) {
    if (!bytes || length == 0)
        fail(world, kMsgMisencoded);
    const bool isUnsigned = length < 0;
    uint32_t n = isUnsigned ? 0u - static_cast<uint32_t>(length) : static_cast<uint32_t>(length);
    const bool negative = !isUnsigned && (bytes[0] & 0x80);
    // Redundant sign octets carry nothing.
    const unsigned char fill = negative ? 0xFF : 0x00;
    while (n > 1 && bytes[0] == fill && ((bytes[1] & 0x80) == (fill & 0x80) || isUnsigned)) {
        ++bytes;
        --n;
    }
    if (n > kHugeLimit)
        fail(world, kMsgLengthTooLong, n);

    // A copy of the magnitude and room for its digits (an octet is at most
    // 2.41 of them) and the sign.
    const uint32_t digitRoom = 5 * n / 2 + 2;
    const uint32_t size = n + digitRoom;
    unsigned char local[kLocalArea];
    unsigned char *work = size <= kLocalArea ? local : static_cast<unsigned char *>(_kel_dec_gettempmem(world, size));
    unsigned char *magnitude = work;
    std::memcpy(magnitude, bytes, n);
    if (negative) {
        // Two's complement: invert, then add one from the last octet.
        for (uint32_t i = 0; i < n; ++i)
            magnitude[i] = static_cast<unsigned char>(~magnitude[i]);
        for (uint32_t i = n; i-- > 0;)
            if (++magnitude[i] != 0)
                break;
    }

    char *end = reinterpret_cast<char *>(work + size);
    char *p = huge_digits_before(end, magnitude, n);
    if (negative)
        *--p = '-';
    XerOutputState *state = out_state(world);
    put_text(world, state, p, static_cast<uint32_t>(end - p));
    if (work != local)
        _kel_dec_freetempmem(world, work);
}

} // extern "C"
