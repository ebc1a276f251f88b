// enc_strings.cpp - character strings in JSON: the escapes of control
// characters, quotes and backslashes, UTF-8 checked on the way out, Latin-1
// octets and wide characters turned into UTF-8 or \u escapes.
//
// Runs of octets that need nothing are found eight at a time and appended
// with one copy; only the octets that need work are looked at one by one.
#include "json_out.h"

extern "C" {

const KelJsonEscape _jsonEscapeCodes[32] = {
    {"\\u0000", 6}, {"\\u0001", 6}, {"\\u0002", 6}, {"\\u0003", 6}, {"\\u0004", 6}, {"\\u0005", 6},
    {"\\u0006", 6}, {"\\u0007", 6}, {"\\b", 2},     {"\\t", 2},     {"\\n", 2},     {"\\u000B", 6},
    {"\\f", 2},     {"\\r", 2},     {"\\u000E", 6}, {"\\u000F", 6}, {"\\u0010", 6}, {"\\u0011", 6},
    {"\\u0012", 6}, {"\\u0013", 6}, {"\\u0014", 6}, {"\\u0015", 6}, {"\\u0016", 6}, {"\\u0017", 6},
    {"\\u0018", 6}, {"\\u0019", 6}, {"\\u001A", 6}, {"\\u001B", 6}, {"\\u001C", 6}, {"\\u001D", 6},
    {"\\u001E", 6}, {"\\u001F", 6},
};

unsigned char *_kel_itoUnicode(unsigned char *out, uint32_t value) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    out[0] = '\\';
    out[1] = 'u';
    out[2] = static_cast<unsigned char>(kHex[(value >> 12) & 15]);
    out[3] = static_cast<unsigned char>(kHex[(value >> 8) & 15]);
    out[4] = static_cast<unsigned char>(kHex[(value >> 4) & 15]);
    out[5] = static_cast<unsigned char>(kHex[value & 15]);
    return out + 6;
}

} // extern "C"

namespace {

using namespace kel::json;

// Octets that go out as they are: printable ASCII and DEL, but not '"' or '\'.
struct PlainTable {
    bool plain[256];
    constexpr PlainTable() : plain() {
        for (int c = 0x20; c < 0x80; ++c)
            plain[c] = c != '"' && c != '\\';
    }
};
constexpr PlainTable kPlain;

constexpr uint64_t kOnes = 0x0101010101010101ull;
constexpr uint64_t kHigh = 0x8080808080808080ull;

constexpr uint64_t zero_octets(uint64_t x) { return (x - kOnes) & ~x & kHigh; }

// Whether none of eight octets needs work: none from 0x80, none below 0x20,
// no quote and no backslash.
constexpr bool all_plain(uint64_t x) {
    return ((x & kHigh) | ((x - kOnes * 0x20) & ~x & kHigh) | zero_octets(x ^ (kOnes * '"')) |
            zero_octets(x ^ (kOnes * '\\'))) == 0;
}

inline const unsigned char *skip_plain(const unsigned char *p, const unsigned char *end) {
    while (end - p >= 8) {
        uint64_t word;
        std::memcpy(&word, p, 8);
        if (!all_plain(word))
            break;
        p += 8;
    }
    while (p < end && kPlain.plain[*p])
        ++p;
    return p;
}

inline bool bad_code_point(uint32_t c) {
    return (c >= 0xD800 && c <= 0xDFFF) || c == 0xFFFE || c == 0xFFFF || c >= 0x110000;
}

// \uXXXX, or a surrogate pair above the basic plane; returns the octets.
inline uint32_t unicode_escape(unsigned char *out, uint32_t c) {
    if (c <= 0xFFFF)
        return static_cast<uint32_t>(_kel_itoUnicode(out, c) - out);
    c -= 0x10000;
    _kel_itoUnicode(out, 0xD800 | (c >> 10));
    _kel_itoUnicode(out + 6, 0xDC00 | (c & 0x3FF));
    return 12;
}

// The code point of the UTF-8 sequence at `p`; its length in *length.
uint32_t read_sequence(KelGlobal *world, const unsigned char *p, const unsigned char *end, uint32_t *length) {
    const uint32_t lead = *p;
    uint32_t n;
    if (lead < 0xC0)
        fail(world, kMsgUtf8Sequence);
    else if (lead < 0xE0)
        n = 2;
    else if (lead < 0xF0)
        n = 3;
    else if (lead < 0xF8)
        n = 4;
    else if (lead < 0xFC)
        n = 5;
    else if (lead < 0xFE)
        n = 6;
    else
        fail(world, kMsgUtf8Sequence);
    if (static_cast<uint32_t>(end - p) < n)
        fail(world, kMsgUtf8Sequence);
    uint32_t c = lead & (0x7Fu >> n);
    for (uint32_t i = 1; i < n; ++i) {
        if ((p[i] & 0xC0) != 0x80)
            fail(world, kMsgUtf8Sequence);
        c = (c << 6) | (p[i] & 0x3F);
    }
    if (bad_code_point(c))
        fail(world, kMsgBadUnicode, c);
    *length = n;
    return c;
}

// The escape of an ASCII octet that needs one.
inline void put_ascii_escape(KelGlobal *world, unsigned char c) {
    if (c < 0x20) {
        put(world, _jsonEscapeCodes[c].text, _jsonEscapeCodes[c].length);
    } else {
        const unsigned char pair[2] = {'\\', c};
        put(world, pair, 2);
    }
}

// Escaped text without quotes.  UTF-8 that may stay as it is extends the
// current run; everything else ends it.
void format(KelGlobal *world, const unsigned char *p, uint32_t n, bool utf8) {
    const unsigned char *end = p + n;
    const unsigned char *run = p;
    const bool escapes = unicode_escapes(world);
    while (p < end) {
        p = skip_plain(p, end);
        if (p == end)
            break;
        const unsigned char c = *p;
        if (c >= 0x80 && utf8) {
            uint32_t length;
            const uint32_t code = read_sequence(world, p, end, &length);
            if (!escapes) {
                p += length;
                continue;
            }
            put(world, run, static_cast<uint32_t>(p - run));
            unsigned char out[12];
            put(world, out, unicode_escape(out, code));
            p += length;
        } else {
            put(world, run, static_cast<uint32_t>(p - run));
            if (c < 0x80) {
                put_ascii_escape(world, c);
            } else if (escapes) {
                unsigned char out[6];
                put(world, out, unicode_escape(out, c));
            } else {
                const unsigned char two[2] = {static_cast<unsigned char>(0xC0 | (c >> 6)),
                                              static_cast<unsigned char>(0x80 | (c & 0x3F))};
                put(world, two, 2);
            }
            ++p;
        }
        run = p;
    }
    put(world, run, static_cast<uint32_t>(p - run));
}

// Wide characters, gathered in a local buffer that is flushed when full.
template <class Char> void format_wide(KelGlobal *world, const Char *chars, uint32_t count) {
    constexpr uint32_t kRoom = 256;
    unsigned char buffer[kRoom];
    uint32_t used = 0;
    const bool escapes = unicode_escapes(world);
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t c = chars[i];
        if (used > kRoom - 12) {
            put(world, buffer, used);
            used = 0;
        }
        if (c < 127) {
            if (kPlain.plain[c]) {
                buffer[used++] = static_cast<unsigned char>(c);
            } else if (c < 0x20) {
                std::memcpy(buffer + used, _jsonEscapeCodes[c].text, _jsonEscapeCodes[c].length);
                used += _jsonEscapeCodes[c].length;
            } else {
                buffer[used++] = '\\';
                buffer[used++] = static_cast<unsigned char>(c);
            }
            continue;
        }
        if (bad_code_point(c))
            fail(world, kMsgBadUnicode, c);
        if (escapes) {
            used += unicode_escape(buffer + used, c);
        } else {
            unsigned char octets[8];
            const unsigned char *start = _kel_itoUTF8Char(octets + 8, c);
            const auto n = static_cast<uint32_t>(octets + 8 - start);
            std::memcpy(buffer + used, start, n);
            used += n;
        }
    }
    put(world, buffer, used);
}

} // namespace

namespace kel::json {

void put_escaped(KelGlobal *world, const unsigned char *text, uint32_t n, bool utf8) {
    put_char(world, '"');
    format(world, text, n, utf8);
    put_char(world, '"');
}

} // namespace kel::json

extern "C" {

void _kel_jenc_format_char(KelGlobal *world, const unsigned char *text, uint32_t length, int utf8) {
    format(world, text, length, utf8 != 0);
}

void _kel_jenc_pad_char(KelGlobal *world, const unsigned char *text, uint32_t length, int utf8) {
    put_escaped(world, text, length, utf8 != 0);
}

void _kel_jenc_wide_char_str(KelGlobal *world, const void *chars, uint32_t count, int width) {
    if (width == 2)
        format_wide(world, static_cast<const uint16_t *>(chars), count);
    else
        format_wide(world, static_cast<const uint32_t *>(chars), count);
}

void _kel_jenc_2byte_char(KelGlobal *world, const uint16_t *chars, uint32_t count) {
    put_char(world, '"');
    format_wide(world, chars, count);
    put_char(world, '"');
}

void _kel_jenc_4byte_char(KelGlobal *world, const uint32_t *chars, uint32_t count) {
    put_char(world, '"');
    format_wide(world, chars, count);
    put_char(world, '"');
}

} // extern "C"
