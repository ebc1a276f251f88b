// oid_arcs.cpp - object identifier arcs one at a time: 8-byte big-endian
// arcs to base-128 sub-identifiers and back (also the first two arcs in one
// sub-identifier), decimal-text arcs of any size, decimal text to big-endian
// numbers of any size and back, and the encoded-size helpers.
#include <algorithm>
#include <cstring>

#include "convert.h"
#include "kelvarn.h"

namespace {

using kel::oid::SubId;

uint64_t load_arc(const unsigned char arc[8]) {
    uint64_t value = 0;
    for (int i = 0; i < 8; ++i)
        value = value << 8 | arc[i];
    return value;
}

void store_arc(uint64_t value, unsigned char arc[8]) {
    for (int i = 7; i >= 0; --i, value >>= 8)
        arc[i] = uint8_t(value);
}

int put_subid(SubId value, unsigned char *out, uint32_t room, uint32_t *count) {
    *count = kel::oid::subid_groups(value);
    if (*count > room)
        return 3;
    kel::oid::write_subid(value, out);
    return 0;
}

enum Convert { kDone, kNoRoom, kNotDigits };

// Decimal text to a number of base 2^bits (bits 7 or 8): little-endian
// digits in scratch[0..count), count 0 for zero.  Digits are checked first so
// that a bad text is told apart from a large one.
Convert decimal_to_base(const char *text, uint32_t length, unsigned bits, uint8_t *scratch,
                        uint32_t room, uint32_t &count) {
    if (!text || !length)
        return kNotDigits;
    for (uint32_t i = 0; i < length; ++i)
        if (uint8_t(text[i] - '0') > 9)
            return kNotDigits;
    const unsigned mask = (1u << bits) - 1;
    uint32_t n = 0;
    for (uint32_t i = 0; i < length; ++i) {
        unsigned carry = unsigned(text[i] - '0');
        for (uint32_t j = 0; j < n; ++j) {
            const unsigned t = scratch[j] * 10u + carry;
            scratch[j] = uint8_t(t & mask);
            carry = t >> bits;
        }
        if (carry) { // below 10, so one more digit holds it
            if (n == room)
                return kNoRoom;
            scratch[n++] = uint8_t(carry);
        }
    }
    count = n;
    return kDone;
}

// A big-endian number of base 2^bits (digits masked to `bits`) to decimal
// text in text[0..room), without NUL; false when it does not fit.
bool base_to_decimal(const uint8_t *in, uint32_t length, unsigned bits, char *text, uint32_t room,
                     uint32_t &digits) {
    const unsigned mask = (1u << bits) - 1;
    uint32_t n = 0; // little-endian decimal digit values
    for (uint32_t i = 0; i < length; ++i) {
        unsigned carry = in[i] & mask;
        for (uint32_t j = 0; j < n; ++j) {
            const unsigned t = (unsigned(uint8_t(text[j])) << bits) + carry;
            text[j] = char(t % 10);
            carry = t / 10;
        }
        for (; carry; carry /= 10) {
            if (n == room)
                return false;
            text[n++] = char(carry % 10);
        }
    }
    if (n == 0) {
        if (!room)
            return false;
        text[n++] = 0;
    }
    std::reverse(text, text + n);
    for (uint32_t j = 0; j < n; ++j)
        text[j] = char(text[j] + '0');
    digits = n;
    return true;
}

} // namespace

extern "C" {

int encodeSubID(const unsigned char arc[8], unsigned char *out, uint32_t room, uint32_t *count) {
    return put_subid({load_arc(arc), 0}, out, room, count);
}

int decodeSubID(const unsigned char *in, uint32_t available, unsigned char arc[8], uint32_t *count) {
    SubId value;
    if (!kel::oid::read_subid(in, available, value, *count) || value.high)
        return 3;
    store_arc(value.low, arc);
    return 0;
}

int encodeSubIDs(uint32_t first, const unsigned char second[8], unsigned char *out, uint32_t room,
                 uint32_t *count) {
    const uint64_t arc = load_arc(second);
    if (first > 2 || (first < 2 && arc >= 40))
        return 1;
    return put_subid(kel::oid::join_first(first, arc), out, room, count);
}

int decodeSubIDs(const unsigned char *in, uint32_t available, uint32_t *first, unsigned char second[8],
                 uint32_t *count) {
    SubId value;
    if (!kel::oid::read_subid(in, available, value, *count))
        return 3;
    const uint32_t arc = kel::oid::split_first(value);
    if (value.high)
        return 3;
    *first = arc;
    store_arc(value.low, second);
    return 0;
}

int encodeStrSubID(const char *digits, uint32_t length, unsigned char *out, uint32_t room,
                   uint32_t *count) {
    uint32_t n = 0;
    switch (decimal_to_base(digits, length, 7, out, room, n)) {
    case kNotDigits:
        return 2;
    case kNoRoom:
        return 3;
    case kDone:
        break;
    }
    if (n == 0) {
        if (!room)
            return 3;
        out[n++] = 0;
    }
    std::reverse(out, out + n);
    for (uint32_t i = 0; i + 1 < n; ++i)
        out[i] |= 0x80;
    *count = n;
    return 0;
}

int decodeStrSubID(const unsigned char *in, uint32_t available, char *text, uint32_t room,
                   uint32_t *count, uint32_t *textLength) {
    const unsigned char *last = in;
    const unsigned char *const end = in + available;
    while (last != end && (*last & 0x80))
        ++last;
    if (last == end)
        return 3;
    const uint32_t groups = uint32_t(last - in) + 1;
    uint32_t digits;
    if (!room || !base_to_decimal(in, groups, 7, text, room - 1, digits))
        return 1;
    text[digits] = 0;
    *count = groups;
    *textLength = digits;
    return 0;
}

int a2huge(const char *text, uint32_t length, unsigned char *value, uint32_t size) {
    uint32_t n = 0;
    switch (decimal_to_base(text, length, 8, value, size, n)) {
    case kNotDigits:
        return 2;
    case kNoRoom:
        return 1;
    case kDone:
        break;
    }
    // value[0..n) holds the number little-endian: turn it, move it to the end.
    std::reverse(value, value + n);
    std::memmove(value + (size - n), value, n);
    std::memset(value, 0, size - n);
    return 0;
}

int huge2a(const unsigned char *value, uint32_t size, char *text, uint32_t room, uint32_t *length) {
    uint32_t digits;
    if (!room || !base_to_decimal(value, size, 8, text, room - 1, digits))
        return 3;
    text[digits] = 0;
    *length = digits;
    return 0;
}

int _kel_objid_size(uint64_t value) { return int(kel::oid::subid_groups({value, 0})); }

int _kel_subid_size(int index, uint64_t value, uint64_t *first) {
    if (index == 0) {
        *first = value;
        return 0;
    }
    if (index == 1) {
        const uint64_t sum = value + 40 * *first;
        return int(kel::oid::subid_groups({sum, sum < value}));
    }
    return _kel_objid_size(value);
}

} // extern "C"
