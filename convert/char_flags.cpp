// char_flags.cpp - the character class table _kelCharFlags: printable ASCII,
// white space and hexadecimal digits, one word per octet value, computed at
// compile time.
#include "kelvarn.h"

namespace {

constexpr uint16_t flags_of(unsigned c) {
    uint16_t f = 0;
    if (c >= 0x20 && c < 0x7F)
        f |= KEL_CHAR_PRINTABLE;
    if (c == ' ' || (c >= '\t' && c <= '\r'))
        f |= KEL_CHAR_SPACE;
    if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'))
        f |= KEL_CHAR_HEXDIGIT;
    return f;
}

} // namespace

#define KEL_FLAGS4(b) flags_of(b), flags_of(b + 1), flags_of(b + 2), flags_of(b + 3)
#define KEL_FLAGS16(b) KEL_FLAGS4(b), KEL_FLAGS4(b + 4), KEL_FLAGS4(b + 8), KEL_FLAGS4(b + 12)
#define KEL_FLAGS64(b) KEL_FLAGS16(b), KEL_FLAGS16(b + 16), KEL_FLAGS16(b + 32), KEL_FLAGS16(b + 48)

extern "C" const uint16_t _kelCharFlags[256] = {KEL_FLAGS64(0u), KEL_FLAGS64(64u), KEL_FLAGS64(128u),
                                                KEL_FLAGS64(192u)};
