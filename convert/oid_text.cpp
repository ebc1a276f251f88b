// oid_text.cpp - object identifiers between the encoded form (contents
// octets) and text: the value notation "{ 1 2 3 }" and the dotted form
// "1.2.3", absolute and relative.  Each direction runs a counting writer,
// so that a caller's buffer that is too small learns the size it needs and
// allocated output gets exactly that size.
#include <algorithm>
#include <cstring>

#include "convert.h"
#include "kelvarn.h"

namespace {

using kel::oid::SubId;

enum Code : int {
    kOk = 0,
    kTooSmall = 1,
    kBadEncoding = 5,
    kNullArgument = 6,
    kNoMemory = 8,
    kBadText = 10,
    kBadOutput = 11,
    kArcLimits = 33,
};

struct Form {
    bool relative;
    bool braces; // "{ 1 2 }" rather than "1.2"
};

// Text into a buffer of `room` characters; counts what does not fit.
struct TextOut {
    char *out;
    uint32_t room;
    uint32_t used;
    void put(const char *text, uint32_t length) {
        if (used < room)
            std::memcpy(out + used, text, std::min(length, room - used));
        used += length;
    }
};

// The text of an encoding whose last octet ends a sub-identifier.
int write_text(const uint8_t *in, uint32_t length, Form form, TextOut &text) {
    const char separator = form.braces ? ' ' : '.';
    char digits[kel::oid::kArcDigits + 3];
    char *const end = digits + sizeof digits;
    if (form.braces)
        text.put("{ ", 2);
    for (uint32_t pos = 0; pos < length;) {
        SubId value;
        uint32_t used;
        if (!kel::oid::read_subid(in + pos, length - pos, value, used))
            return kArcLimits;
        const bool firstOfAbsolute = pos == 0 && !form.relative;
        const uint32_t firstArc = firstOfAbsolute ? kel::oid::split_first(value) : 0;
        if (value.high)
            return kArcLimits;
        char *p = kel::oid::format_arc(value.low, end);
        if (firstOfAbsolute) {
            *--p = separator;
            *--p = char('0' + firstArc);
        }
        if (pos)
            *--p = separator;
        text.put(p, uint32_t(end - p));
        pos += used;
    }
    if (form.braces)
        text.put(" }", 2);
    return kOk;
}

int encoded_to_text(KelGlobal *world, const KelBuf *encoded, KelBuf *text, Form form) {
    if (!world || !encoded || !text)
        return kNullArgument;
    if (text->value && text->length < 1)
        return kBadOutput;
    const uint8_t *in = encoded->value;
    const uint32_t length = encoded->length;
    int code = kBadEncoding;
    if (in && length && !(in[length - 1] & 0x80)) {
        if (text->value) {
            char *out = reinterpret_cast<char *>(text->value);
            TextOut sink{out, text->length - 1, 0};
            code = write_text(in, length, form, sink);
            if (code == kOk) {
                out[std::min(sink.used, sink.room)] = 0;
                if (sink.used > sink.room) {
                    text->length = sink.used + 1;
                    return kTooSmall;
                }
                text->length = sink.used;
                return kOk;
            }
        } else {
            TextOut count{nullptr, 0, 0};
            code = write_text(in, length, form, count);
            if (code == kOk) {
                char *out = static_cast<char *>(kelMalloc(world, count.used + 1));
                if (!out) {
                    code = kNoMemory;
                } else {
                    TextOut sink{out, count.used, 0};
                    write_text(in, length, form, sink);
                    out[count.used] = 0;
                    text->value = reinterpret_cast<unsigned char *>(out);
                    text->length = count.used;
                    return kOk;
                }
            }
        }
    }
    text->length = 0;
    return code;
}

// Octets into a buffer of `room`; a sub-identifier that does not fit whole
// is only counted.
struct OctetOut {
    uint8_t *out;
    uint32_t room;
    uint32_t used;
    void put(SubId value) {
        const uint32_t size = kel::oid::subid_groups(value);
        if (size <= room - std::min(used, room))
            kel::oid::write_subid(value, out + used);
        used += size;
    }
};

constexpr bool is_separator(char c) {
    return c == ' ' || c == '.' || c == '{' || c == '}' || c == '\t' || c == '\n' || c == '\r';
}

// The encoding of a text.  Arcs are counted from 0; a relative identifier
// has no first or second arc and so none of their limits.
int write_encoding(const char *text, uint32_t length, bool relative, OctetOut &out) {
    uint32_t index = relative ? 3 : 0;
    uint32_t firstArc = 0;
    uint64_t secondArc = 0;
    for (uint32_t i = 0;;) {
        while (i < length && is_separator(text[i]))
            ++i;
        if (i == length)
            break;
        const uint32_t start = i;
        while (i < length && !is_separator(text[i]))
            ++i;
        uint64_t arc;
        const int read = kel::oid::parse_arc(text + start, i - start, arc);
        if (read == 2)
            return kBadText;
        if (index == 0) {
            // One digit after leading zeros.
            uint32_t digit = start;
            while (digit + 1 < i && text[digit] == '0')
                ++digit;
            if (read || digit + 1 < i || arc > 2)
                return kArcLimits;
            firstArc = uint32_t(arc);
        } else if (read) {
            return kArcLimits;
        } else if (index == 1) {
            if (firstArc < 2 && arc >= 40)
                return kArcLimits;
            secondArc = arc;
            out.put(kel::oid::join_first(firstArc, arc));
        } else {
            if (index == 2 && firstArc == 0 && secondArc == 0 && (arc < 1 || arc > 26))
                return kArcLimits;
            out.put({arc, 0});
        }
        ++index;
    }
    return index < (relative ? 4u : 2u) ? kBadText : kOk;
}

int text_to_encoded(KelGlobal *world, const KelBuf *text, KelBuf *encoded, bool relative) {
    if (!world || !text || !encoded)
        return kNullArgument;
    if (encoded->value && !encoded->length)
        return kBadOutput;
    if (text->length && !text->value)
        return kNullArgument;
    int code = kBadText;
    if (text->length) {
        const char *in = reinterpret_cast<const char *>(text->value);
        if (encoded->value) {
            OctetOut sink{encoded->value, encoded->length, 0};
            code = write_encoding(in, text->length, relative, sink);
            if (code == kOk) {
                encoded->length = sink.used;
                return sink.used > sink.room ? kTooSmall : kOk;
            }
        } else {
            OctetOut count{nullptr, 0, 0};
            code = write_encoding(in, text->length, relative, count);
            if (code == kOk) {
                auto *out = static_cast<uint8_t *>(kelMalloc(world, count.used + 1));
                if (!out) {
                    code = kNoMemory;
                } else {
                    OctetOut sink{out, count.used, 0};
                    write_encoding(in, text->length, relative, sink);
                    out[count.used] = 0;
                    encoded->value = out;
                    encoded->length = count.used;
                    return kOk;
                }
            }
        }
    }
    encoded->length = 0;
    return code;
}

} // namespace

extern "C" {

int kelEncodedOidToAsnVal(KelGlobal *world, const KelBuf *encoded, KelBuf *text) {
    return encoded_to_text(world, encoded, text, {false, true});
}

int kelEncodedRelOidToAsnVal(KelGlobal *world, const KelBuf *encoded, KelBuf *text) {
    return encoded_to_text(world, encoded, text, {true, true});
}

int kelEncodedOidToDotVal(KelGlobal *world, const KelBuf *encoded, KelBuf *text) {
    return encoded_to_text(world, encoded, text, {false, false});
}

int kelEncodedRelOidToDotVal(KelGlobal *world, const KelBuf *encoded, KelBuf *text) {
    return encoded_to_text(world, encoded, text, {true, false});
}

// The text forms share one reader: separators are not told apart.
int kelAsnValToEncodedOid(KelGlobal *world, const KelBuf *text, KelBuf *encoded) {
    return text_to_encoded(world, text, encoded, false);
}

int kelAsnValToEncodedRelOid(KelGlobal *world, const KelBuf *text, KelBuf *encoded) {
    return text_to_encoded(world, text, encoded, true);
}

int kelDotValToEncodedOid(KelGlobal *world, const KelBuf *text, KelBuf *encoded) {
    return text_to_encoded(world, text, encoded, false);
}

int kelDotValToEncodedRelOid(KelGlobal *world, const KelBuf *text, KelBuf *encoded) {
    return text_to_encoded(world, text, encoded, true);
}

} // extern "C"
