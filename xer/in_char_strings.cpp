// in_char_strings.cpp - character strings: the raw scan, which marks the
// text up to its close tag and counts characters and the octets their form
// needs (a plain run first, then character by character through control
// tags, entities, character references and UTF-8 sequences), and the copy
// routines into octets, 16-bit and 32-bit units, with the readers that
// allocate for them.
#include <limits>

#include "xer_in.h"

using namespace kel::xer;

namespace {

enum : uint32_t { kPointer = 8, kBlankPadded = 16, kUtf8Type = 32, kOneByte = 64, kCountOctets = 0x100 };
enum : int { kReadAscii = 3, kReadUtf8 = 4, kReadWide = 5 };
enum : int {
    kMsgBadCharacter = 29,    // 0064S, the code
    kMsgEmbeddedNul = 114,    // 0046E
    kMsgUtf8Sequence = 135,   // 0120S
    kMsgBadEscape = 171,      // 0171E
    kMsgIllegalCharacter = 174, // 0175E, the octet or code
    kDiagBadEscape = 3,
};

bool continuation(uint8_t byte) { return (byte & 0xC0) == 0x80; }

uint32_t utf8_size(uint32_t code) { return code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4; }

// The reference "&#...;" at offset i of the cursor: its code, and where it
// ends (behind the ';').
struct Reference {
    uint32_t code;
    uint32_t end;
};

Reference char_reference(XerInputState *ctx, uint32_t i, bool oneByte) {
    uint32_t j = i + 2;
    const bool hex = peek(ctx, j) == 'x';
    j += hex;
    const uint32_t most = oneByte ? 0xFF : 0x10FFFF;
    uint32_t code = 0, digits = 0;
    for (uint8_t c; (c = peek(ctx, j)) != ';'; ++j, ++digits) {
        if (hex ? _kelAllwHexB[c] != 1 : !is_digit(c))
            fail_at(ctx, i, kMsgBadEscape);
        code = code * (hex ? 16 : 10) + _kelHexL[c];
        if (code > most)
            fail_at(ctx, i, oneByte ? kMsgBadCharacter : kMsgIllegalCharacter, code);
    }
    if (!digits)
        fail_at(ctx, i, kMsgBadEscape);
    if ((code < 0x80 && _kelCharKind[code] == 'E') || (code >= 0xD800 && code <= 0xDFFF) || code == 0xFFFE ||
        code == 0xFFFF)
        fail_at(ctx, i, kMsgIllegalCharacter, code);
    return {code, j + 1};
}

// The end (behind '>') of the control tag "<xx/>" or "<xxx/>" at offset i.
uint32_t control_tag_end(XerInputState *ctx, uint32_t i) {
    const uint32_t slash = peek(ctx, i + 3) == '/' ? i + 3 : peek(ctx, i + 4) == '/' ? i + 4 : 0;
    if (!slash || peek(ctx, slash + 1) != '>')
        fail_at(ctx, i, kMsgBadEscape);
    return slash + 2;
}

// One character at offset i of the cursor in the form the units need.
struct Character {
    uint32_t code;
    uint32_t end;
};

Character decode_at(XerInputState *ctx, uint32_t i, bool oneByte, bool nulForbidden) {
    const unsigned char *p = ctx->world->inPos;
    const uint8_t c = p[i];
    if (c == '<') {
        const uint32_t end = control_tag_end(ctx, i);
        const int32_t row = _kel_find_string(&_essd, p + i + 1, end - i - 3);
        if (row < 0)
            fail_at(ctx, i, kMsgBadEscape);
        if (_essd.rows[row].value == 0 && nulForbidden)
            fail_at(ctx, i, kMsgEmbeddedNul);
        return {_essd.rows[row].value, end};
    }
    if (c == '&') {
        if (p[i + 1] == '#') {
            const Reference r = char_reference(ctx, i, oneByte);
            return {r.code, r.end};
        }
        if (std::memcmp(p + i + 1, "lt;", 3) == 0)
            return {'<', i + 4};
        if (std::memcmp(p + i + 1, "gt;", 3) == 0)
            return {'>', i + 4};
        if (std::memcmp(p + i + 1, "amp;", 4) == 0)
            return {'&', i + 5};
        fail_at(ctx, i, kMsgBadEscape);
    }
    if (c < 0x80)
        return {c, i + 1};
    const uint32_t length = _kelChrFlags[c] & 0x0F;
    uint32_t code = c & _kelUTF8Header[length];
    for (uint32_t k = 1; k < length; ++k) {
        if (!continuation(p[i + k]))
            fail_at(ctx, i, kMsgUtf8Sequence);
        code = code << 6 | (p[i + k] & 0x3F);
    }
    return {code, i + length};
}

// Whether the span from the cursor is free of what needs converting.
uint32_t plain_run(const unsigned char *p, uint32_t n) {
    uint32_t i = 0;
    while (i < n && _kelCharKind[p[i]] == 'A')
        ++i;
    return i;
}

} // namespace

extern "C" {

uint32_t _kel_get_raw_text_string(XerInputState *ctx, int readKind, uint32_t *flags, uint32_t *count,
                                  uint32_t *limit) {
    const unsigned char *p = ctx->world->inPos;
    const uint32_t n = remaining(ctx);
    const bool oneByte = *flags & kOneByte;
    const bool countOctets = (*flags & (kCountOctets | kUtf8Type)) == (kCountOctets | kUtf8Type);
    const uint32_t bound = limit ? *limit : 0;
    uint32_t i = plain_run(p, n), chars = i, octets = i;
    uint32_t boundAt = i < bound ? i : bound;
    bool plain = true;
    while (!(peek(ctx, i) == '<' && peek(ctx, i + 1) == '/')) {
        plain = false;
        const uint8_t c = p[i];
        uint32_t size = 1;
        switch (_kelCharKind[c]) {
        case 'A':
            ++i;
            break;
        case '<':
            i = control_tag_end(ctx, i);
            break;
        case '&':
            if (peek(ctx, i + 1) == '#') {
                if (canonical(ctx->world))
                    not_canonical_at(ctx, i, kDiagBadEscape);
                const Reference r = char_reference(ctx, i, oneByte);
                size = oneByte ? 1 : utf8_size(r.code);
                i = r.end;
            } else if (peek(ctx, i + 3) == ';') {
                i += 4;
            } else if (p[i + 1] == 'a' && peek(ctx, i + 4) == ';') {
                i += 5;
            } else {
                fail_at(ctx, i, kMsgBadEscape);
            }
            break;
        case 'U':
            if (readKind == kReadAscii || !(_kelChrFlags[c] & 0x80))
                fail_at(ctx, i, kMsgIllegalCharacter, c);
            if (oneByte) {
                if (c > 0xC3 || !continuation(peek(ctx, i + 1)))
                    fail_at(ctx, i, kMsgBadCharacter, c);
                i += 2;
            } else {
                size = _kelChrFlags[c] & 0x0F;
                if (i + size > n)
                    end_of_input(ctx);
                i += size;
            }
            break;
        default:
            fail_at(ctx, i, kMsgIllegalCharacter, c);
        }
        ++chars;
        octets += size;
        if ((countOctets ? octets : chars) <= bound)
            boundAt = i;
        if (i == n) // a sequence that ends the input ends the string
            break;
    }
    if (chars == 0 && canonical(ctx->world))
        fail_text_at(ctx, 0, kMsgNotCanonical, kEmptyNeedsEmptyTag);
    ctx->text = p;
    ctx->textLength = i;
    *flags = plain ? 0 : 1;
    *count = chars;
    if (limit)
        *limit = (countOctets ? octets : chars) <= bound ? i : boundAt;
    return readKind == kReadWide ? chars : octets;
}

uint32_t _kel_copy_string1(XerInputState *ctx, unsigned char *out, const unsigned char *span, uint32_t length,
                           int nulForbidden, int oneByte) {
    const uint32_t offset = static_cast<uint32_t>(span - ctx->world->inPos);
    uint32_t written = 0;
    for (uint32_t i = offset, end = offset + length; i < end;) {
        const uint32_t run = plain_run(ctx->world->inPos + i, end - i);
        std::memcpy(out + written, ctx->world->inPos + i, run);
        written += run;
        i += run;
        if (i == end)
            break;
        const uint8_t c = ctx->world->inPos[i];
        if (c >= 0x80 && !oneByte) {
            const uint32_t size = _kelChrFlags[c] & 0x0F;
            std::memcpy(out + written, ctx->world->inPos + i, size);
            written += size;
            i += size;
            continue;
        }
        const Character ch = decode_at(ctx, i, oneByte, nulForbidden);
        if (oneByte || ch.code < 0x80) {
            out[written++] = static_cast<unsigned char>(ch.code);
        } else {
            const uint32_t size = utf8_size(ch.code);
            static constexpr uint8_t kLead[] = {0, 0, 0xC0, 0xE0, 0xF0};
            for (uint32_t k = size; k-- > 1;)
                out[written + k] = static_cast<unsigned char>(0x80 | ((ch.code >> (6 * (size - 1 - k))) & 0x3F));
            out[written] = static_cast<unsigned char>(kLead[size] | (ch.code >> (6 * (size - 1))));
            written += size;
        }
        i = ch.end;
    }
    return written;
}

} // extern "C"

namespace {

template <class Unit> uint32_t copy_units(XerInputState *ctx, Unit *out, const unsigned char *span, uint32_t length) {
    const uint32_t offset = static_cast<uint32_t>(span - ctx->world->inPos);
    uint32_t units = 0;
    for (uint32_t i = offset; i < offset + length; ++units) {
        const Character ch = decode_at(ctx, i, false, false);
        if (ch.code > std::numeric_limits<Unit>::max())
            fail_at(ctx, i, kMsgIllegalCharacter, ch.code);
        out[units] = static_cast<Unit>(ch.code);
        i = ch.end;
    }
    return units;
}

} // namespace

extern "C" {

uint32_t _kel_copy_string2(XerInputState *ctx, uint16_t *out, const unsigned char *span, uint32_t length) {
    return copy_units(ctx, out, span, length);
}

uint32_t _kel_copy_string4(XerInputState *ctx, uint32_t *out, const unsigned char *span, uint32_t length) {
    return copy_units(ctx, out, span, length);
}

} // extern "C"

namespace {

// A scanned value: room its form needs, whether it must go through a copy
// routine, the octets of the span to copy (less than the whole when cut at
// the bound) and of the whole span.
struct Text {
    uint32_t size;
    bool convert;
    uint32_t copied;
    uint32_t whole;
};

Text scan(XerInputState *ctx, int readKind, uint32_t bound, uint32_t flags) {
    if (ctx->kind == kEmpty) {
        ctx->text = ctx->world->inPos;
        return {0, false, 0, 0};
    }
    if (readKind != kReadWide && !(flags & kUtf8Type))
        readKind = kReadAscii;
    uint32_t state = flags, chars = 0, boundAt = bound;
    const uint32_t size = _kel_get_raw_text_string(ctx, readKind, &state, &chars, &boundAt);
    const bool countOctets =
        readKind != kReadWide && (flags & (kCountOctets | kUtf8Type)) == (kCountOctets | kUtf8Type);
    const uint32_t units = countOctets ? size : chars;
    if ((flags & kBounded) && units > bound) {
        if (!(flags & kCut))
            size_violated(ctx, flags, units);
        return {size, true, boundAt, ctx->textLength};
    }
    return {size, state != 0, ctx->textLength, ctx->textLength};
}

uint32_t copy8(XerInputState *ctx, unsigned char *out, const Text &t, uint32_t flags, bool nulForbidden) {
    if (!t.convert) {
        std::memcpy(out, ctx->text, t.copied);
        return t.copied;
    }
    return _kel_copy_string1(ctx, out, ctx->text, t.copied, nulForbidden, (flags & kOneByte) != 0);
}

template <class Unit> uint32_t read_wide(XerInputState *ctx, Unit **out, uint32_t bound, uint32_t flags) {
    if (ctx->world->decodingFlags & NOCONSTRAIN)
        flags &= ~kBounded;
    const Text t = scan(ctx, kReadWide, bound, flags);
    uint32_t units = 0;
    *out = nullptr;
    if (t.size) {
        *out = static_cast<Unit *>(_kel_dec_getmem(ctx->world, static_cast<int32_t>(t.size * sizeof(Unit))));
        if (t.convert) {
            units = copy_units(ctx, *out, ctx->text, t.copied);
        } else {
            for (; units < t.copied; ++units)
                (*out)[units] = ctx->text[units];
        }
    }
    advance(ctx, t.whole);
    return units;
}

} // namespace

extern "C" {

uint32_t _kel_tdx_char1_varying(XerInputState *ctx, unsigned char *out, uint32_t bound, uint32_t flags) {
    const Text t = scan(ctx, kReadUtf8, bound, flags);
    const uint32_t length = copy8(ctx, out, t, flags, false);
    advance(ctx, t.whole);
    return length;
}

void _kel_tdx_char1_nullterm(XerInputState *ctx, void *out, uint32_t size, uint32_t flags) {
    const bool blankPadded = flags & kBlankPadded;
    const bool utf8Chars = (flags & (kUtf8Type | kCountOctets | kOneByte)) == kUtf8Type;
    unsigned char *text = nullptr;
    uint32_t length = 0;
    if (ctx->kind != kEmpty) {
        const Text t = scan(ctx, kReadUtf8, 0, flags & ~kBounded);
        text = static_cast<unsigned char *>(_kel_dec_gettempmem(ctx->world, t.size + 1));
        length = copy8(ctx, text, t, flags, !blankPadded);
        advance(ctx, t.whole);
        // The bound: characters in a blank-padded UTF-8 type, else octets
        // (one kept for the NUL).
        const bool byChars = blankPadded && utf8Chars;
        const uint32_t bound = byChars ? size / 6 : blankPadded ? size : size ? size - 1 : 0;
        uint32_t units = length;
        if (byChars)
            for (uint32_t i = units = 0; i < length; ++i)
                units += !continuation(text[i]);
        if (units > bound) {
            if (!(flags & kCut))
                size_violated(ctx, flags, units);
            uint32_t cut = bound;
            if (byChars)
                for (uint32_t seen = cut = 0; cut < length && (seen += !continuation(text[cut])) <= bound;)
                    ++cut;
            else if (flags & kUtf8Type)
                while (cut && continuation(text[cut]))
                    --cut;
            length = cut;
        }
    }
    unsigned char *dest = static_cast<unsigned char *>(out);
    if (flags & kPointer) {
        const uint32_t room = blankPadded ? size + 1 : length + 1;
        dest = static_cast<unsigned char *>(_kel_dec_getmem(ctx->world, static_cast<int32_t>(room < 8 ? 8 : room)));
        *static_cast<unsigned char **>(out) = dest;
    }
    if (length)
        std::memcpy(dest, text, length);
    if (blankPadded && size)
        std::memset(dest + length, ' ', size - length);
    else
        dest[length] = 0;
    if (text)
        _kel_dec_freetempmem(ctx->world, text);
}

uint32_t _kel_tdx_char1_pvarying(XerInputState *ctx, void **out, uint32_t header, uint32_t bound, uint32_t flags) {
    const Text t = scan(ctx, kReadUtf8, bound, flags);
    const bool boundSized = (flags & (kBounded | kLocalBound | kCut)) == kBounded;
    const bool utf8Chars = (flags & (kUtf8Type | kCountOctets | kOneByte)) == kUtf8Type;
    const uint32_t room = header + (boundSized ? (utf8Chars ? 6 * bound : bound) : t.size);
    auto *block =
        room ? static_cast<unsigned char *>(_kel_dec_getmem(ctx->world, static_cast<int32_t>(room))) : nullptr;
    uint32_t length = block ? copy8(ctx, block + header, t, flags, false) : 0;
    if ((flags & kCut) && length > 0xFFFF)
        length = 0xFFFF;
    *out = block;
    advance(ctx, t.whole);
    return length;
}

uint32_t _kel_tdx_char1_unbounded(XerInputState *ctx, unsigned char **out, uint32_t bound, uint32_t flags) {
    if (ctx->world->decodingFlags & NOCONSTRAIN)
        flags &= ~kBounded;
    const Text t = scan(ctx, kReadUtf8, bound, flags);
    uint32_t length = 0;
    *out = nullptr;
    if (t.size) {
        *out = static_cast<unsigned char *>(_kel_dec_getmem(ctx->world, static_cast<int32_t>(t.size)));
        length = copy8(ctx, *out, t, flags, false);
    }
    advance(ctx, t.whole);
    return length;
}

uint32_t _kel_tdx_char2(XerInputState *ctx, uint16_t **out, uint32_t bound, uint32_t flags) {
    return read_wide(ctx, out, bound, flags);
}

uint32_t _kel_tdx_char4(XerInputState *ctx, uint32_t **out, uint32_t bound, uint32_t flags) {
    return read_wide(ctx, out, bound, flags);
}

} // extern "C"
