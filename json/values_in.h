// values_in.h - what the JSON value readers share beyond json.h: the scan
// for a run of plain string bytes, the table of hexadecimal digits, the
// reading of a member name and the rounding of decoder sizes.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "json.h"

namespace kel::json {

constexpr uint32_t round8(uint32_t n) { return (n + 7) & ~7u; }

// Bytes that end a plain run inside a string: the quote, the backslash and
// every byte of a multi-byte UTF-8 sequence.
constexpr bool ends_run(unsigned b) { return b == '"' || b == '\\' || b >= 0x80; }

struct RunTable {
    bool stop[256];
};
constexpr RunTable make_run_table() {
    RunTable t{};
    for (unsigned b = 0; b < 256; ++b)
        t.stop[b] = ends_run(b);
    return t;
}
inline constexpr RunTable kRunStop = make_run_table();

// The count of leading bytes of p[0..n) that need nothing done to them.
// Eight bytes at a time: a byte is a stop when it equals '"' or '\\' or has
// its top bit set; the lowest flagged byte of a word is exact.
inline uint32_t plain_run(const unsigned char *p, uint32_t n) {
    uint32_t i = 0;
    if constexpr (std::endian::native == std::endian::little) {
        constexpr uint64_t ones = 0x0101010101010101ull, highs = 0x8080808080808080ull;
        for (; i + 8 <= n; i += 8) {
            uint64_t w;
            std::memcpy(&w, p + i, 8);
            const uint64_t q = w ^ (ones * '"'), b = w ^ (ones * '\\');
            const uint64_t hit = (((q - ones) & ~q) | ((b - ones) & ~b) | w) & highs;
            if (hit)
                return i + (static_cast<uint32_t>(std::countr_zero(hit)) >> 3);
        }
    }
    while (i < n && !kRunStop.stop[p[i]])
        ++i;
    return i;
}

// Values of hexadecimal digits; 0xFF for any other byte.
struct HexTable {
    uint8_t value[256];
};
constexpr HexTable make_hex_table() {
    HexTable t{};
    for (unsigned b = 0; b < 256; ++b)
        t.value[b] = b >= '0' && b <= '9'   ? static_cast<uint8_t>(b - '0')
                     : b >= 'A' && b <= 'F' ? static_cast<uint8_t>(b - 'A' + 10)
                     : b >= 'a' && b <= 'f' ? static_cast<uint8_t>(b - 'a' + 10)
                                            : 0xFF;
    return t;
}
inline constexpr HexTable kHex = make_hex_table();

// The current token must be the opening quote of a string.
inline void need_string(KelJsonCursor *cursor) {
    if (cursor->token != KEL_JTOK_STRING)
        fail_text(cursor, kMsgUnexpectedToken, "'\"'");
}

// Reads a member name (the cursor behind its opening quote) into the
// scratch and the colon behind it; an over-long name is an unknown one.
inline void read_member_name(KelJsonCursor *cursor) {
    if (_kel_jget_string(cursor) != 0)
        fail_text(cursor, kMsgUnknownMember, reinterpret_cast<const char *>(cursor->buffer));
}

// Index of the scratch's name among `names[0..count)`, searching from
// `from` on and wrapping round; the name is unknown otherwise.
inline uint32_t find_member(KelJsonCursor *cursor, const char *const *names, uint32_t count, uint32_t from) {
    const char *name = reinterpret_cast<const char *>(cursor->buffer);
    for (uint32_t k = 0; k < count; ++k) {
        const uint32_t i = (from + k) % count;
        if (std::strcmp(name, names[i]) == 0)
            return i;
    }
    fail_text(cursor, kMsgUnknownMember, name);
}

} // namespace kel::json
