// octets.h - what the octet conversions share: the frame of a conversion
// from text to octets and from octets to text (argument checks, the caller's
// buffer or memory from kelGetMemory, release on bad input) and small digit
// helpers.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kelvarn.h"

namespace kel::octets {

enum Code : int {
    kOk = 0,
    kBufferTooSmall = 1,
    kBadInput = 5,
    kNullArgument = 6,
    kNoMemory = 8,
    kBadTime = 12,
};

inline bool has(unsigned char c, uint16_t flag) { return (_kelCharFlags[c] & flag) != 0; }

// Value of a hexadecimal digit, or -1.
inline int hex_value(unsigned char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    c |= 0x20;
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// Text to octets.  `need(text, length)` returns the octet count, or a
// negative return code when the text is malformed at a glance;
// `convert(text, length, out)` writes that many octets and returns 0 or a
// code.  Memory taken here is released when `convert` fails.
template <class Need, class Convert>
int text_to_octets(KelGlobal *world, const char *text, long length, unsigned char **octets,
                   long *octetLength, int emptyCode, Need need, Convert convert) {
    if (!world || !octets || !octetLength || length < 0 || (!text && length))
        return kNullArgument;
    if (length == 0) {
        if (emptyCode == kOk)
            *octetLength = 0;
        return emptyCode;
    }
    long count = need(text, length);
    if (count < 0)
        return static_cast<int>(-count);
    unsigned char *out = *octets;
    if (out) {
        if (*octetLength < count)
            return kBufferTooSmall;
    } else if (!(out = static_cast<unsigned char *>(kelGetMemory(world, static_cast<size_t>(count))))) {
        return kNoMemory;
    }
    int code = convert(text, length, out);
    if (code != kOk) {
        if (out != *octets)
            kelFreeMemory(world, out);
        return code;
    }
    *octets = out;
    *octetLength = count;
    return kOk;
}

// Octets to text.  `size` is the text buffer that the conversion needs, NUL
// included; `convert(octets, length, out)` writes the text with its NUL and
// returns 0 or a code.  A caller's buffer holds an empty text after a
// failure.
template <class Convert>
int octets_to_text(KelGlobal *world, const unsigned char *octets, long length, char **text,
                   size_t size, Convert convert) {
    if (!world || !text || length < 0 || (!octets && length))
        return kNullArgument;
    if (length == 0) {
        if (*text)
            **text = 0;
        return kOk;
    }
    char *out = *text;
    if (!out && !(out = static_cast<char *>(kelGetMemory(world, size))))
        return kNoMemory;
    int code = convert(octets, length, out);
    if (code != kOk) {
        if (out != *text)
            kelFreeMemory(world, out);
        else
            *out = 0;
        return code;
    }
    *text = out;
    return kOk;
}

} // namespace kel::octets
