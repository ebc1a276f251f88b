// in_tables.cpp - the fixed tables of the XER readers: byte classes of tag
// names, strings, hexadecimal and object identifier text, the payload masks
// of UTF-8 lead bytes, the control characters by name, and the texts of the
// canonical diagnostics.  Each byte table is a constexpr function of the
// byte, laid out over all 256 bytes at compile time.
#include <iterator>

#include "kelvarn_xer.h"

namespace {

constexpr bool between(unsigned b, unsigned low, unsigned high) { return b >= low && b <= high; }
constexpr bool space(unsigned b) { return b == 9 || b == 10 || b == 13 || b == 32; }

constexpr uint8_t chr_flags(unsigned b) {
    if (space(b))
        return 0x02;
    if (b < 0x20)
        return 0x01;
    if (b == '-' || b == '_')
        return 0x10;
    if (between(b, '0', '9'))
        return static_cast<uint8_t>(0xD0 + (b - '0'));
    if (between(b, 'A', 'F') || between(b, 'a', 'f'))
        return static_cast<uint8_t>(0x7A + ((b | 0x20) - 'a'));
    if (between(b, 'G', 'Z') || between(b, 'g', 'z'))
        return 0x30;
    if (between(b, 0x80, 0xBF))
        return 0x40;
    if (between(b, 0xC0, 0xDF))
        return 0x82;
    if (between(b, 0xE0, 0xEF))
        return 0x83;
    if (between(b, 0xF0, 0xF7))
        return 0x84;
    if (between(b, 0xF8, 0xFB))
        return 0x85;
    if (between(b, 0xFC, 0xFD))
        return 0x86;
    return 0;
}

constexpr char char_kind(unsigned b) {
    if (b >= 0x80)
        return 'U';
    if (b == '&' || b == '<')
        return static_cast<char>(b);
    if (b == '>' || (b < 0x20 && !space(b)))
        return 'E';
    return 'A';
}

constexpr int hex_value(unsigned b) {
    if (between(b, '0', '9'))
        return static_cast<int>(b - '0');
    if (between(b | 0x20, 'a', 'f'))
        return static_cast<int>((b | 0x20) - 'a' + 10);
    return -1;
}

constexpr uint8_t allw_hex_b(unsigned b) { return hex_value(b) >= 0 ? 1 : space(b) ? 255 : 0; }
constexpr uint8_t allw_hex_c(unsigned b) { return between(b, '0', '9') || between(b, 'A', 'F'); }
constexpr uint8_t hex_l(unsigned b) { return static_cast<uint8_t>(hex_value(b) >= 0 ? hex_value(b) : 0); }
constexpr uint8_t hex_u(unsigned b) { return static_cast<uint8_t>(hex_l(b) << 4); }

constexpr uint8_t allw_oid_b(unsigned b) {
    if (between(b, '0', '9'))
        return 241;
    if (between(b, 'A', 'Z') || between(b, 'a', 'z') || b == '@' || b == '`')
        return 242;
    if (b == '-')
        return 243;
    return b == '.' || b == '(' || b == ')' ? static_cast<uint8_t>(b) : 0;
}
constexpr uint8_t allw_oid_c(unsigned b) { return between(b, '0', '9') || b == '.'; }

static_assert(chr_flags('7') == 0xD7 && chr_flags('a') == 0x7A && chr_flags('F') == 0x7F);
static_assert(chr_flags(0xF8) == 0x85 && chr_flags(0xFE) == 0 && chr_flags(0x0B) == 1);

#define KEL_ROW(name, code) {name, sizeof name - 1, 2, code}
constexpr KelNameRow kControlRows[] = {
    KEL_ROW("ack", 6),  KEL_ROW("bel", 7),  KEL_ROW("bs", 8),   KEL_ROW("can", 24), KEL_ROW("dc1", 17),
    KEL_ROW("dc2", 18), KEL_ROW("dc3", 19), KEL_ROW("dc4", 20), KEL_ROW("dle", 16), KEL_ROW("em", 25),
    KEL_ROW("enq", 5),  KEL_ROW("eot", 4),  KEL_ROW("esc", 27), KEL_ROW("etb", 23), KEL_ROW("etx", 3),
    KEL_ROW("ff", 12),  KEL_ROW("is1", 31), KEL_ROW("is2", 30), KEL_ROW("is3", 29), KEL_ROW("is4", 28),
    KEL_ROW("nak", 21), KEL_ROW("nul", 0),  KEL_ROW("si", 15),  KEL_ROW("so", 14),  KEL_ROW("soh", 1),
    KEL_ROW("stx", 2),  KEL_ROW("sub", 26), KEL_ROW("syn", 22), KEL_ROW("vt", 11),
};
#undef KEL_ROW
static_assert(std::size(kControlRows) == 29);

} // namespace

// All 256 bytes through `f`.
#define KEL_B4(f, n) f(n), f(n + 1), f(n + 2), f(n + 3)
#define KEL_B16(f, n) KEL_B4(f, n), KEL_B4(f, n + 4), KEL_B4(f, n + 8), KEL_B4(f, n + 12)
#define KEL_B64(f, n) KEL_B16(f, n), KEL_B16(f, n + 16), KEL_B16(f, n + 32), KEL_B16(f, n + 48)
#define KEL_B256(f) KEL_B64(f, 0u), KEL_B64(f, 64u), KEL_B64(f, 128u), KEL_B64(f, 192u)

extern "C" {

const uint8_t _kelChrFlags[256] = {KEL_B256(chr_flags)};
const char _kelCharKind[256] = {KEL_B256(char_kind)};
const uint8_t _kelAllwHexB[256] = {KEL_B256(allw_hex_b)};
const uint8_t _kelAllwHexC[256] = {KEL_B256(allw_hex_c)};
const uint8_t _kelHexL[256] = {KEL_B256(hex_l)};
const uint8_t _kelHexU[256] = {KEL_B256(hex_u)};
const uint8_t _kelAllwOidB[256] = {KEL_B256(allw_oid_b)};
const uint8_t _kelAllwOidC[256] = {KEL_B256(allw_oid_c)};
const uint8_t _kelUTF8Header[7] = {255, 255, 31, 15, 7, 3, 1};

const KelNameTable _essd = {std::size(kControlRows), 0, kControlRows, nullptr};

const char *const _cxer_diag_msgs[25] = {
    "XML prolog not allowed",
    "whitespace not allowed",
    "uppercase hexadecimal digits should have been used",
    "invalid escape sequence",
    "empty-element tag expected",
    "REAL zero must consist of the single digit 0",
    "integer part of REAL must consist of a single non-zero digit",
    "REAL value must contain decimal point",
    "REAL value must contain fractional part",
    "REAL value may not contain trailing zeroes in fractional part",
    "REAL value must contain uppercase E followed by exponent",
    "REAL value may not contain plus sign(s)",
    "typed value should have been used",
    "no trailing zeroes allowed for this BIT STRING type",
    "default value encoding should have been present",
    "number form of OBJECT IDENTIFIER should have been used",
    "time type value must end with Z",
    "seconds should have been present",
    "invalid representation for midnight",
    "decimal point should have been used to separate fractional portions of seconds",
    "seconds fraction should not contain trailing zeroes",
    "XML encoding for contained type should have been used",
    "illegal character in XML value",
    "seconds fraction should be of definite length",
    "OpenTypes in HEX are not allowed",
};

} // extern "C"
