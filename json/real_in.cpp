// real_in.cpp - REAL values from JSON: a plain number, an object with
// "value" and optionally "base", or an object with "specialValue" ("INF",
// "-INF", "NaN", "-0").  _kel_jget_real reads any of them into the cursor's
// scratch (the number or special text from offset 16, the base digits from
// offset 13) and tells which form it found; the others turn the text into a
// double, a float, decimal text or a mixed real.  Infinity is held as the
// largest finite value of the type, as everywhere in the library.

#include <cfloat>
#include <cmath>
#include <cstdlib>

#include "float_kinds.h"
#include "values_in.h"

namespace {

using namespace kel::json;

constexpr const char *kRealWhat = "REAL";

// Offsets in the scratch.
constexpr uint32_t kBaseAt = 13;
constexpr uint32_t kTextAt = 16;
constexpr uint32_t kTextRoom = kScratchText - kTextAt;

// Forms that _kel_jget_real finds.
enum Form : int { kWithBase = 0, kWithoutBase = 1, kPlain = 2, kSpecial = 3 };

char *text_of(KelJsonCursor *cursor) { return reinterpret_cast<char *>(cursor->buffer + kTextAt); }

[[noreturn]] void bad_real(KelJsonCursor *cursor) { fail_text(cursor, kMsgInvalidEncoding, kRealWhat); }

// Characters that may stand in a number's text.
constexpr bool in_number(int c) {
    return (c >= '0' && c <= '9') || c == '.' || c == 'e' || c == 'E' || c == '-' || c == '+';
}

constexpr bool digit(char c) { return c >= '0' && c <= '9'; }

// Whether `t` is a JSON number: sign, integer digits (a leading zero only
// alone), optional fraction, optional exponent.
bool well_formed(const char *t) {
    if (*t == '-')
        ++t;
    if (!digit(*t))
        return false;
    if (*t == '0' && digit(t[1]))
        return false;
    while (digit(*t))
        ++t;
    if (*t == '.') {
        if (!digit(*++t))
            return false;
        while (digit(*t))
            ++t;
    }
    if (*t == 'e' || *t == 'E') {
        ++t;
        if (*t == '+' || *t == '-')
            ++t;
        if (!digit(*t))
            return false;
        while (digit(*t))
            ++t;
    }
    return *t == 0;
}

// The number at the input into the scratch from kTextAt; its length.
uint32_t read_number(KelJsonCursor *cursor) {
    char *out = text_of(cursor);
    uint32_t n = 0;
    int c = next_byte(cursor);
    if (c == '-')
        out[n++] = '-', c = next_byte(cursor);
    if (c == '0') {
        out[n++] = '0', c = next_byte(cursor);
        if (c == '0')
            bad_real(cursor);
    }
    while (in_number(c)) {
        if (n == kTextRoom)
            fail_text(cursor, kMsgItemTooLong, "REAL value");
        out[n++] = static_cast<char>(c);
        c = next_byte(cursor);
    }
    unread(cursor, c);
    out[n] = 0;
    if (n == 2 && out[0] == '-' && out[1] == '0') {
        if (strict(cursor->world))
            fail(cursor, kMsgConstraint);
        out[0] = '0', out[1] = 0, n = 1;
    }
    if (!well_formed(out))
        bad_real(cursor);
    return n;
}

// The "base" member: 1 or 2, perhaps followed by 0, into the scratch.
void read_base(KelJsonCursor *cursor) {
    char *out = reinterpret_cast<char *>(cursor->buffer + kBaseAt);
    const int c = next_byte(cursor);
    if (c != '1' && c != '2')
        bad_real(cursor);
    out[0] = static_cast<char>(c);
    const int d = next_byte(cursor);
    if (d == '0') {
        out[1] = '0', out[2] = 0;
    } else {
        unread(cursor, d);
        out[1] = 0;
    }
}

// The "specialValue" string, moved to kTextAt; its length.
uint32_t read_special(KelJsonCursor *cursor) {
    if (_kel_jget_string(cursor) != 0)
        bad_real(cursor);
    const uint32_t n = static_cast<uint32_t>(std::strlen(reinterpret_cast<char *>(cursor->buffer)));
    if (n >= kTextRoom)
        bad_real(cursor);
    std::memmove(cursor->buffer + kTextAt, cursor->buffer, n + 1);
    return n;
}

int read_object(KelJsonCursor *cursor, uint32_t *length) {
    static constexpr const char *kNames[3] = {"value", "base", "specialValue"};
    _kel_json_token(cursor, KEL_JTOK_STRING | KEL_JTOK_CLOSE_OBJECT);
    if (cursor->token == KEL_JTOK_CLOSE_OBJECT)
        bad_real(cursor);
    uint32_t seen = 0, from = 0;
    for (;;) {
        read_member_name(cursor);
        const uint32_t i = find_member(cursor, kNames, 3, from);
        _kel_json_token(cursor, KEL_JTOK_COLON);
        if (seen & (1u << i))
            bad_real(cursor);
        seen |= 1u << i;
        from = i;
        if (i == 0) {
            _kel_json_token(cursor, KEL_JTOK_NUMBER);
            *length = read_number(cursor);
        } else if (i == 1) {
            _kel_json_token(cursor, KEL_JTOK_NUMBER);
            read_base(cursor);
        } else {
            _kel_json_token(cursor, KEL_JTOK_STRING);
            *length = read_special(cursor);
        }
        _kel_json_token(cursor, KEL_JTOK_COMMA | KEL_JTOK_CLOSE_OBJECT);
        if (cursor->token == KEL_JTOK_CLOSE_OBJECT)
            break;
        _kel_json_token(cursor, KEL_JTOK_STRING);
    }
    const bool value = seen & 1, base = seen & 2, special = seen & 4;
    if (special ? (value || base) : !value)
        bad_real(cursor);
    return special ? kSpecial : base ? kWithBase : kWithoutBase;
}

template <class Real> void store_real(void *dest, Real value) { std::memcpy(dest, &value, sizeof value); }

// Names of the special values in decimal text.
struct SpecialName {
    const char *json, *text;
};
constexpr SpecialName kSpecialNames[] = {
    {"-0", "-0"}, {"-INF", "MINUS_INFINITY"}, {"INF", "PLUS_INFINITY"}, {"NaN", "NOT_A_NUMBER"}};

// Index of the special value named in the scratch.
uint32_t special_index(KelJsonCursor *cursor) {
    for (uint32_t i = 0; i < 4; ++i)
        if (std::strcmp(text_of(cursor), kSpecialNames[i].json) == 0)
            return i;
    bad_real(cursor);
}

} // namespace

extern "C" {

int _kel_jget_real(KelJsonCursor *cursor, uint32_t *length, uint32_t flags) {
    int form;
    if (cursor->token == KEL_JTOK_NUMBER) {
        form = kPlain;
        *length = read_number(cursor);
    } else if (cursor->token == KEL_JTOK_OPEN_OBJECT) {
        cursor->buffer[kBaseAt] = 0;
        form = read_object(cursor, length);
    } else {
        bad_real(cursor);
    }
    if (strict(cursor->world)) {
        const uint32_t kind = flags & 3;
        const bool allowed = kind == 0 ? (form == kWithBase || form == kSpecial) : kind == 1 ? form == kWithoutBase : form == kPlain;
        if (!allowed)
            fail(cursor, kMsgConstraint);
    }
    return form;
}

void _kel_jdec_set_infinity_value(void *dest, uint32_t size, int negative) {
    if (size == 4)
        store_real(dest, negative ? -FLT_MAX : FLT_MAX);
    else
        store_real(dest, negative ? -DBL_MAX : DBL_MAX);
}

void _kel_jdec_binary(KelJsonCursor *cursor, void *dest, uint32_t size, uint32_t length, int form) {
    (void)length;
    if (form != kSpecial) {
        const double v = std::strtod(text_of(cursor), nullptr);
        const double largest = size == 4 ? 3.4028234663852886e38 : 1.7976931348623157e308;
        if (std::fabs(v) > largest)
            fail(cursor, kMsgRealTooLarge);
        if (size == 4)
            store_real(dest, static_cast<float>(v));
        else
            store_real(dest, v);
        return;
    }
    switch (special_index(cursor)) {
    case 1:
        return _kel_jdec_set_infinity_value(dest, size, 1);
    case 2:
        return _kel_jdec_set_infinity_value(dest, size, 0);
    default: // "-0" and "NaN"
        if (!kel_set_float_special_value(dest, static_cast<int>(size),
                                         special_index(cursor) == 0 ? KEL_FLOAT_MINUS_ZERO : KEL_FLOAT_NOT_A_NUMBER))
            fail(cursor, kMsgRealTooLarge);
    }
}

char *_kel_jdec_decimal(KelJsonCursor *cursor, uint32_t length, int form) {
    const char *text = form == kSpecial ? kSpecialNames[special_index(cursor)].text : text_of(cursor);
    const uint32_t n = form == kSpecial ? static_cast<uint32_t>(std::strlen(text)) : length;
    auto *out = static_cast<char *>(_kel_dec_getfixmem(cursor->world, static_cast<int32_t>(round8(n + 1))));
    std::memcpy(out, text, n);
    out[n] = 0;
    return out;
}

double _kel_jdec_real_double(KelJsonCursor *cursor, uint32_t flags) {
    uint32_t length = 0;
    const int form = _kel_jget_real(cursor, &length, flags);
    double v;
    _kel_jdec_binary(cursor, &v, 8, length, form);
    return v;
}

float _kel_jdec_real_float(KelJsonCursor *cursor, uint32_t flags) {
    uint32_t length = 0;
    const int form = _kel_jget_real(cursor, &length, flags);
    float v;
    _kel_jdec_binary(cursor, &v, 4, length, form);
    return v;
}

char *_kel_jdec_real_decimal(KelJsonCursor *cursor, uint32_t flags) {
    uint32_t length = 0;
    const int form = _kel_jget_real(cursor, &length, flags);
    return _kel_jdec_decimal(cursor, length, form);
}

uint32_t _kel_jdec_real_mixed(KelJsonCursor *cursor, void *value, uint32_t flags) {
    uint32_t length = 0;
    const int form = _kel_jget_real(cursor, &length, flags);
    const bool binary = form == kWithBase ? cursor->buffer[kBaseAt] == '2' && cursor->buffer[kBaseAt + 1] == 0 : !(flags & 4);
    if (binary) {
        _kel_jdec_binary(cursor, value, 8, length, form);
        return 0;
    }
    char *text = _kel_jdec_decimal(cursor, length, form);
    std::memcpy(value, &text, sizeof text);
    return 1;
}

} // extern "C"
