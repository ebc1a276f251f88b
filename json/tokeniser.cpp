// tokeniser.cpp - the byte-level front of the JSON decoder: tokens read on
// demand against a mask of accepted kinds, strings into the cursor's scratch
// (escapes resolved, UTF-8 checked), skipping of whole values, and the nodes
// of object identifier strings.
//
// Runs of plain bytes are found with byte-class tables and copied or passed
// over in one step; nothing here allocates.  Skipping is a loop with a depth
// counter, so nesting costs no stack.
#include <array>
#include <bit>

#include "json.h"

using namespace kel::json;

namespace {

// Kind of token a byte starts; 0 for the white space that precedes tokens.
constexpr std::array<uint16_t, 256> kFirstByte = [] {
    std::array<uint16_t, 256> t{};
    for (auto &k : t)
        k = KEL_JTOK_UNKNOWN;
    t[' '] = t['\n'] = t['\r'] = t['\t'] = 0;
    t['{'] = KEL_JTOK_OPEN_OBJECT;
    t['}'] = KEL_JTOK_CLOSE_OBJECT;
    t['['] = KEL_JTOK_OPEN_ARRAY;
    t[']'] = KEL_JTOK_CLOSE_ARRAY;
    t[','] = KEL_JTOK_COMMA;
    t[':'] = KEL_JTOK_COLON;
    t['"'] = KEL_JTOK_STRING;
    t['-'] = KEL_JTOK_NUMBER;
    for (int c = '0'; c <= '9'; ++c)
        t[c] = KEL_JTOK_NUMBER;
    t['t'] = KEL_JTOK_TRUE;
    t['f'] = KEL_JTOK_FALSE;
    t['n'] = KEL_JTOK_NULL;
    return t;
}();

// Bytes a string holds as they are: not the quote, not the backslash, ASCII.
constexpr std::array<bool, 256> kPlainStringByte = [] {
    std::array<bool, 256> t{};
    for (int c = 0; c < 0x80; ++c)
        t[c] = c != '"' && c != '\\';
    return t;
}();

// Bytes that matter while skipping a bracketed value.
constexpr std::array<bool, 256> kSkipStop = [] {
    std::array<bool, 256> t{};
    t['{'] = t['}'] = t['['] = t[']'] = t['"'] = true;
    return t;
}();

constexpr std::array<bool, 256> kNumberByte = [] {
    std::array<bool, 256> t{};
    for (int c = '0'; c <= '9'; ++c)
        t[c] = true;
    t['.'] = t['e'] = t['E'] = t['+'] = t['-'] = true;
    return t;
}();

constexpr std::array<int8_t, 256> kHexValue = [] {
    std::array<int8_t, 256> t{};
    for (auto &v : t)
        v = -1;
    for (int c = 0; c < 10; ++c)
        t['0' + c] = static_cast<int8_t>(c);
    for (int c = 0; c < 6; ++c)
        t['A' + c] = t['a' + c] = static_cast<int8_t>(10 + c);
    return t;
}();

// The entries of the expectation list, in the order they are listed.
struct Expected {
    uint32_t mask;
    const char *text;
};
constexpr Expected kExpected[] = {
    {KEL_JTOK_OPEN_OBJECT, "'{'"}, {KEL_JTOK_CLOSE_OBJECT, "'}'"}, {KEL_JTOK_OPEN_ARRAY, "'['"},
    {KEL_JTOK_CLOSE_ARRAY, "']'"}, {KEL_JTOK_COMMA, "','"},        {KEL_JTOK_COLON, "':'"},
    {KEL_JTOK_STRING, "'\"'"},     {KEL_JTOK_NUMBER, "Number"},    {KEL_JTOK_TRUE | KEL_JTOK_FALSE, "true/false"},
    {KEL_JTOK_NULL, "null"},
};

[[noreturn]] void unexpected(KelJsonCursor *cursor, uint32_t mask) {
    if (mask == KEL_JTOK_ANY_VALUE)
        fail_text(cursor, kMsgTokenError, "Unknown token");
    char *out = reinterpret_cast<char *>(cursor->buffer);
    size_t used = 0;
    for (const Expected &e : kExpected) {
        if (!(mask & e.mask))
            continue;
        if (used) {
            std::memcpy(out + used, " or ", 4);
            used += 4;
        }
        size_t n = std::strlen(e.text);
        std::memcpy(out + used, e.text, n);
        used += n;
    }
    out[used] = 0;
    fail_text(cursor, kMsgUnexpectedToken, out);
}

uint32_t hex4(KelJsonCursor *cursor) {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) {
        int d = kHexValue[need_byte(cursor)];
        if (d < 0)
            fail_text(cursor, kMsgTokenError, "Illegal escape sequence");
        v = v << 4 | static_cast<uint32_t>(d);
    }
    return v;
}

// Passes over a string behind its opening quote; a backslash hides the byte
// after it.
void skip_string(KelJsonCursor *cursor) {
    KelGlobal *world = cursor->world;
    const unsigned char *p = world->inPos;
    const unsigned char *end = p + (world->inRemaining > 0 ? world->inRemaining : 0);
    for (;;) {
        while (p < end && *p != '"' && *p != '\\')
            ++p;
        if (p >= end || (*p == '\\' && p + 1 >= end)) {
            world->inPos = const_cast<unsigned char *>(end);
            world->inRemaining = 0;
            end_of_input(cursor);
        }
        if (*p == '"')
            break;
        p += 2;
    }
    ++p;
    world->inRemaining -= static_cast<int32_t>(p - world->inPos);
    world->inPos = const_cast<unsigned char *>(p);
}

// Passes over a bracketed value behind its opening bracket; only brackets
// of the same kind count.
void skip_bracketed(KelJsonCursor *cursor, unsigned char open, unsigned char close) {
    KelGlobal *world = cursor->world;
    uint32_t depth = 1;
    for (;;) {
        const unsigned char *p = world->inPos;
        const unsigned char *end = p + (world->inRemaining > 0 ? world->inRemaining : 0);
        while (p < end && !kSkipStop[*p])
            ++p;
        if (p >= end) {
            world->inPos = const_cast<unsigned char *>(end);
            world->inRemaining = 0;
            end_of_input(cursor);
        }
        unsigned char c = *p++;
        world->inRemaining -= static_cast<int32_t>(p - world->inPos);
        world->inPos = const_cast<unsigned char *>(p);
        if (c == '"')
            skip_string(cursor);
        else if (c == open)
            ++depth;
        else if (c == close && --depth == 0)
            return;
    }
}

// Names of the arcs that may follow 0 and 1, by arc number.
constexpr const char *kUnderItu[] = {"recommendation", "question", "administration", "network-operator",
                                     "identified-organization", "", "", "", "", "data"};
constexpr const char *kUnderIso[] = {"standard", "registration-authority", "member-body",
                                     "identified-organization"};
struct RootName {
    const char *name;
    uint32_t value;
};
constexpr RootName kRoots[] = {
    {"itu-t", 0}, {"iso", 1}, {"joint-iso-itu-t", 2}, {"ccitt", 0}, {"joint-iso-ccitt", 2},
};

bool equal_name(const unsigned char *name, size_t length, const char *text) {
    return *text && std::strlen(text) == length && std::memcmp(name, text, length) == 0;
}

[[noreturn]] void bad_node(KelJsonCursor *cursor) {
    fail_text(cursor, kMsgInvalidEncoding, "OBJECT IDENTIFIER node");
}

bool is_lower(unsigned c) { return c - 'a' < 26; }
bool is_digit(unsigned c) { return c - '0' < 10; }

// The value of a bare name in the given arc state.
uint64_t named_arc(KelJsonCursor *cursor, const unsigned char *name, size_t length, int state) {
    switch (state) {
    case 0:
        for (const RootName &r : kRoots)
            if (equal_name(name, length, r.name))
                return r.value;
        fail(cursor, kMsgBadOid, 0);
    case 1:
        for (uint32_t i = 0; i < std::size(kUnderItu); ++i)
            if (equal_name(name, length, kUnderItu[i]))
                return i;
        break;
    case 2:
        for (uint32_t i = 0; i < std::size(kUnderIso); ++i)
            if (equal_name(name, length, kUnderIso[i]))
                return i;
        break;
    case 3:
        if (length == 1)
            return name[0] - 'a' + 1u;
        break;
    default:
        break;
    }
    bad_node(cursor);
}

} // namespace

extern "C" {

void _kel_json_token(KelJsonCursor *cursor, uint32_t mask) {
    KelGlobal *world = cursor->world;
    const unsigned char *p = world->inPos;
    const unsigned char *end = p + (world->inRemaining > 0 ? world->inRemaining : 0);
    uint32_t kind = 0;
    while (p < end && (kind = kFirstByte[*p]) == 0)
        ++p;
    if (p >= end) {
        world->inPos = const_cast<unsigned char *>(end);
        world->inRemaining = 0;
        end_of_input(cursor);
    }
    if (kind != KEL_JTOK_NUMBER)
        ++p; // a number is read from its first character
    world->inRemaining -= static_cast<int32_t>(p - world->inPos);
    world->inPos = const_cast<unsigned char *>(p);

    if (kind & (KEL_JTOK_TRUE | KEL_JTOK_FALSE | KEL_JTOK_NULL)) {
        const char *rest = kind == KEL_JTOK_TRUE ? "rue" : kind == KEL_JTOK_FALSE ? "alse" : "ull";
        for (; *rest; ++rest) {
            if (next_byte(cursor) != static_cast<unsigned char>(*rest)) {
                kind = KEL_JTOK_UNKNOWN; // the wrong letter stays consumed
                break;
            }
        }
    }
    cursor->token = kind;
    if (!(kind & mask))
        unexpected(cursor, mask);
}

void _kel_json_chk_eos(KelJsonCursor *cursor) {
    if (need_byte(cursor) != '"')
        fail_text(cursor, kMsgUnexpectedToken, "'\"'");
}

int _kel_jhex_digit(int c) { return kHexValue[static_cast<uint8_t>(c)]; }

uint32_t _kel_jhandle_escape(KelJsonCursor *cursor) {
    unsigned c = need_byte(cursor);
    switch (c) {
    case '"':
    case '\\':
    case '/':
        return c;
    case 'b':
        return 8;
    case 'f':
        return 12;
    case 'n':
        return 10;
    case 'r':
        return 13;
    case 't':
        return 9;
    case 'u':
        break;
    default:
        fail_text(cursor, kMsgTokenError, "Illegal escape sequence");
    }
    uint32_t high = hex4(cursor);
    if (high < 0xD800 || high > 0xDBFF)
        return high; // a lone low surrogate passes as it is
    if (need_byte(cursor) != '\\' || need_byte(cursor) != 'u')
        fail_text(cursor, kMsgTokenError, "Illegal surrogate pair");
    uint32_t low = hex4(cursor);
    if (low < 0xDC00 || low > 0xDFFF)
        fail_text(cursor, kMsgTokenError, "Illegal surrogate pair");
    return ((high & 0x3FF) << 10) + (low & 0x3FF) + 0x10000;
}

uint32_t _kel_jint2utf8(KelJsonCursor *cursor, uint32_t code) {
    uint32_t n = code <= 0x7F ? 1 : code <= 0x7FF ? 2 : code <= 0xFFFF ? 3 : code <= 0x1FFFFF ? 4
               : code <= 0x3FFFFFF ? 5 : 6;
    if (cursor->length + n > kScratchText)
        return cursor->length + n;
    unsigned char *out = cursor->buffer + cursor->length;
    if (n == 1) {
        out[0] = static_cast<unsigned char>(code);
    } else {
        for (uint32_t i = n; --i > 0; code >>= 6)
            out[i] = static_cast<unsigned char>(0x80 | (code & 0x3F));
        out[0] = static_cast<unsigned char>((0xFF00u >> n) | code); // n lead ones
    }
    cursor->length += n;
    return 0;
}

uint32_t _kel_jread_utf8(KelJsonCursor *cursor, int lead) {
    if (lead < 0)
        end_of_input(cursor);
    uint32_t n = static_cast<uint32_t>(std::countl_one(static_cast<uint8_t>(lead)));
    if (n < 2 || n > 6)
        fail(cursor, kMsgUtf8Sequence);
    if (cursor->length + n >= kScratchText)
        return cursor->length + n;
    // The sequence is checked and written over one position: the length
    // does not move, so the next character takes its place.
    unsigned char *out = cursor->buffer + cursor->length;
    *out = static_cast<unsigned char>(lead);
    for (uint32_t i = 1; i < n; ++i) {
        unsigned c = need_byte(cursor);
        if ((c & 0xC0) != 0x80)
            fail(cursor, kMsgUtf8Sequence);
        *out = static_cast<unsigned char>(c);
    }
    return 0;
}

uint32_t _kel_jget_string(KelJsonCursor *cursor) {
    KelGlobal *world = cursor->world;
    unsigned char *buf = cursor->buffer;
    cursor->length = 0;
    for (;;) {
        // The run of plain bytes, as far as the scratch has room.
        uint32_t room = kScratchText - cursor->length;
        uint32_t avail = world->inRemaining > 0 ? static_cast<uint32_t>(world->inRemaining) : 0;
        uint32_t limit = avail < room ? avail : room;
        const unsigned char *p = world->inPos;
        uint32_t n = 0;
        while (n < limit && kPlainStringByte[p[n]])
            ++n;
        std::memcpy(buf + cursor->length, p, n);
        cursor->length += n;
        world->inPos += n;
        world->inRemaining -= static_cast<int32_t>(n);

        unsigned c = need_byte(cursor);
        if (c == '"')
            break;
        if (cursor->length >= kScratchText) {
            buf[kScratchText] = 0;
            return kScratchSize;
        }
        if (c == '\\') {
            uint32_t code = _kel_jhandle_escape(cursor);
            if (code > 127) {
                if (uint32_t need = _kel_jint2utf8(cursor, code)) {
                    buf[cursor->length] = 0;
                    return need;
                }
            } else {
                buf[cursor->length++] = static_cast<unsigned char>(code);
            }
        } else if (c > 127) {
            if (uint32_t need = _kel_jread_utf8(cursor, static_cast<int>(c))) {
                buf[cursor->length] = 0;
                return need;
            }
        } else {
            buf[cursor->length++] = static_cast<unsigned char>(c); // a control character
        }
    }
    buf[cursor->length] = 0;
    return 0;
}

void _kel_jskip_encoding(KelJsonCursor *cursor) {
    switch (cursor->token) {
    case KEL_JTOK_UNKNOWN:
        fail_text(cursor, kMsgTokenError, "Unknown token");
    case KEL_JTOK_OPEN_OBJECT:
        skip_bracketed(cursor, '{', '}');
        return;
    case KEL_JTOK_OPEN_ARRAY:
        skip_bracketed(cursor, '[', ']');
        return;
    case KEL_JTOK_STRING:
        skip_string(cursor);
        return;
    case KEL_JTOK_NUMBER: {
        KelGlobal *world = cursor->world;
        const unsigned char *p = world->inPos;
        const unsigned char *end = p + (world->inRemaining > 0 ? world->inRemaining : 0);
        while (p < end && kNumberByte[*p])
            ++p;
        world->inRemaining -= static_cast<int32_t>(p - world->inPos);
        world->inPos = const_cast<unsigned char *>(p);
        return;
    }
    default:
        return; // words and punctuation are whole already
    }
}

uint32_t _kel_jdec_obj_length(KelJsonCursor *cursor) {
    const InputMark start = mark(cursor);
    uint32_t nodes = 0;
    uint32_t scanned = 0;
    for (;;) {
        unsigned c = need_byte(cursor);
        if (c == '"')
            break;
        ++scanned;
        if (c == '\\') {
            c = need_byte(cursor);
            ++scanned;
        }
        nodes += c == '.';
    }
    cursor->length = scanned;
    restore(cursor, start);
    return scanned ? nodes + 1 : 0;
}

uint64_t _kel_jget_subid(KelJsonCursor *cursor, int state) {
    unsigned char *buf = cursor->buffer;
    uint32_t len = 0;
    unsigned char term = 0;
    for (;;) {
        int c = next_byte(cursor);
        if (c < 0)
            end_of_input(cursor);
        if (c == '"') {
            unread(cursor, c); // the closing quote is the caller's
            break;
        }
        if (c == '\\') {
            uint32_t code = _kel_jhandle_escape(cursor);
            c = code > 0xFF ? 0xFF : static_cast<int>(code);
        }
        if (c == '.') {
            term = '.';
            break;
        }
        if (len >= kScratchText - 1)
            fail_text(cursor, kMsgItemTooLong, "OBJECT IDENTIFIER node");
        buf[len++] = static_cast<unsigned char>(c);
    }
    buf[len] = term;
    buf[len + 1] = 0;
    cursor->length = len;

    const unsigned char *p = buf;
    uint64_t value = 0;
    if (len && is_digit(*p)) {
        for (; is_digit(*p); ++p) {
            unsigned d = *p - '0';
            if (value > (UINT64_MAX - d) / 10)
                _kel_enc_llerror(cursor->world, kMsgLongIntTooLong, value);
            value = value * 10 + d;
        }
    } else if (len && is_lower(*p)) {
        const unsigned char *name = p;
        for (; is_lower(*p) || *p == '-' || (state == 4 && (is_digit(*p) || static_cast<unsigned>(*p - 'A') < 26u)); ++p) {
        }
        if (*p == '(') {
            ++p;
            if (!is_digit(*p))
                bad_node(cursor);
            for (; is_digit(*p); ++p) {
                unsigned d = *p - '0';
                if (value > (UINT64_MAX - d) / 10)
                    _kel_enc_llerror(cursor->world, kMsgLongIntTooLong, value);
                value = value * 10 + d;
            }
            if (*p++ != ')')
                bad_node(cursor);
        } else {
            value = named_arc(cursor, name, static_cast<size_t>(p - name), state);
        }
    } else {
        bad_node(cursor);
    }
    if (*p != 0 && *p != '.')
        fail(cursor, kMsgBadOid, static_cast<uint32_t>(value));
    buf[0] = *p;

    bool ok = state == 0 ? value <= 2 : state <= 2 ? value <= 39 : state == 3 ? value >= 1 && value <= 26 : true;
    if (!ok)
        fail(cursor, kMsgBadOid, static_cast<uint32_t>(value));
    return value;
}

} // extern "C"
