// char_strings.cpp - character strings in XER: runs of ordinary characters
// copied in one piece, & < > as entities, control characters by name as
// empty tags (TAB, LF and CR stay literal), UTF-8 sequences passed on
// whole; wide characters above 126 as character references in pretty
// output and as UTF-8 in flat output.  Strings are never folded.
#include "xer_out.h"

namespace {

using namespace kel::xer;

// What an octet is in a string.
enum Kind : uint8_t {
    kPlain,
    kControl,
    kAmpersand, // the markup escapes, in their table's order
    kLess,
    kGreater,
    kContinuation, // 0x80-0xBF, no character starts with it
    kLead,         // 0xC0-0xFF
};

struct Escape {
    const char *text;
    uint32_t length;
};
constexpr Escape kEscapes[3] = {{"&amp;", 5}, {"&lt;", 4}, {"&gt;", 4}};

struct OctetTables {
    Kind kind[256];
    uint8_t sequenceLength[256];
    constexpr OctetTables() : kind(), sequenceLength() {
        for (int c = 0; c < 256; ++c) {
            const bool named = c < 0x20 && c != 9 && c != 10 && c != 13;
            kind[c] = named ? kControl : c < 0x80 ? kPlain : c < 0xC0 ? kContinuation : kLead;
            sequenceLength[c] = c < 0xC0 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : c < 0xF8 ? 4 : c < 0xFC ? 5 : c < 0xFE ? 6 : 1;
        }
        kind[static_cast<unsigned char>('&')] = kAmpersand;
        kind[static_cast<unsigned char>('<')] = kLess;
        kind[static_cast<unsigned char>('>')] = kGreater;
    }
};
constexpr OctetTables kOctets;

void put_special(KelGlobal *world, XerOutputState *state, Kind kind, unsigned char c) {
    if (kind == kControl) {
        const KelXmlCtrlName &control = _kel_xmlcstr_ctrl[c];
        _kel_tex_empty_or_id_tagN(world, control.name, control.length);
    } else {
        const Escape &escape = kEscapes[kind - kAmpersand];
        put_text(world, state, escape.text, escape.length);
    }
}

// Utf8: octets from 0x80 are UTF-8 sequences; else each is a character.
template <bool Utf8> void put_string(KelGlobal *world, const unsigned char *text, uint32_t length) {
    if (length == 0)
        length = static_cast<uint32_t>(std::strlen(reinterpret_cast<const char *>(text)));
    XerOutputState *state = out_state(world);
    uint32_t start = 0, i = 0;
    for (;;) {
        while (i < length && kOctets.kind[text[i]] == kPlain)
            ++i;
        if (i == length)
            break;
        const unsigned char c = text[i];
        const Kind kind = kOctets.kind[c];
        if (Utf8 && kind == kLead) {
            i += kOctets.sequenceLength[c];
            if (i > length)
                fail(world, kMsgIllegalCharacter, text[length - 1]);
            continue;
        }
        if (Utf8 && kind == kContinuation)
            fail(world, kMsgIllegalCharacter, c);
        put_text(world, state, text + start, i - start);
        if (kind >= kContinuation)
            encode_wide_char_str(world, c, 1);
        else
            put_special(world, state, kind, c);
        start = ++i;
    }
    put_text(world, state, text + start, length - start);
}

// Characters that stand for themselves in every mode.
inline bool literal(uint32_t code) { return code < 0x7F && kOctets.kind[code] == kPlain; }

// Wide characters: runs of literal ones gathered in a local buffer.
template <class Unit> void put_wide(KelGlobal *world, const Unit *chars, uint32_t count) {
    XerOutputState *state = out_state(world);
    char run[64];
    uint32_t used = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t code = chars[i];
        if (literal(code)) {
            run[used++] = static_cast<char>(code);
            if (used < sizeof run)
                continue;
        }
        put_text(world, state, run, used);
        used = 0;
        if (!literal(code))
            encode_wide_char_str(world, code, sizeof(Unit));
    }
    put_text(world, state, run, used);
}

} // namespace

namespace kel::xer {

void encode_wide_char_str(KelGlobal *world, uint32_t code, int width) {
    if ((code >= 0xD800 && code <= 0xDFFF) || code == 0xFFFE || code == 0xFFFF || code >= 0x110000)
        fail(world, kMsgIllegalCharacter, code);
    int significant = width;
    while (significant > 0 && !((code >> (8 * (significant - 1))) & 0xFF))
        --significant;
    if (significant <= 1 && code < 127) {
        const auto octet = static_cast<unsigned char>(code);
        return put_string<false>(world, &octet, 1);
    }
    XerOutputState *state = out_state(world);
    unsigned char text[16];
    if (flat(world)) {
        unsigned char *end = text + sizeof text;
        const unsigned char *first = _kel_itoUTF8Char(end, code);
        return put_text(world, state, first, static_cast<uint32_t>(end - first));
    }
    std::memcpy(text, "&#x", 3);
    uint32_t used = 3;
    for (int i = significant; i-- > 0; used += 2)
        std::memcpy(text + used, kText.hexPairs[(code >> (8 * i)) & 0xFF], 2);
    text[used++] = ';';
    put_text(world, state, text, used);
}

} // namespace kel::xer

extern "C" {

const KelXmlCtrlName _kel_xmlcstr_ctrl[32] = {
    {"nul", 3}, {"soh", 3}, {"stx", 3}, {"etx", 3}, {"eot", 3}, {"enq", 3}, {"ack", 3}, {"bel", 3},
    {"bs", 2},  {"", 0},    {"", 0},    {"vt", 2},  {"ff", 2},  {"", 0},    {"so", 2},  {"si", 2},
    {"dle", 3}, {"dc1", 3}, {"dc2", 3}, {"dc3", 3}, {"dc4", 3}, {"nak", 3}, {"syn", 3}, {"etb", 3},
    {"can", 3}, {"em", 2},  {"sub", 3}, {"esc", 3}, {"is4", 3}, {"is3", 3}, {"is2", 3}, {"is1", 3},
};
const KelXmlCtrlName *const kel_xml_cstr_ctrl = _kel_xmlcstr_ctrl;

void _kel_tex_format_char(KelGlobal *world, const unsigned char *text, uint32_t length) {
    put_string<true>(world, text, length);
}

void _kel_tex_format_char_t(KelGlobal *world, const unsigned char *text, uint32_t length) {
    put_string<false>(world, text, length);
}

void _kel_tex_2byte_char(KelGlobal *world, const uint16_t *chars, uint32_t count) { put_wide(world, chars, count); }

void _kel_tex_4byte_char(KelGlobal *world, const uint32_t *chars, uint32_t count) { put_wide(world, chars, count); }

uint32_t _kel_tex_count_chars(const unsigned char *bytes, uint32_t length) {
    while (length && (bytes[length - 1] == 0 || bytes[length - 1] == ' '))
        --length;
    return length;
}

} // extern "C"
