// convert.h - internals shared by the conversion sources.
//
// Object identifier arcs: one base-128 sub-identifier read or written as a
// 64-bit low part and the bits above it (the first sub-identifier of an
// absolute identifier, 40 x first arc + second arc, can pass 64 bits), and
// the decimal reader and writer of 64-bit arcs.
#pragma once

#include <bit>
#include <cstdint>

namespace kel::oid {

// A sub-identifier of up to 11 groups (77 bits).
struct SubId {
    uint64_t low;
    uint32_t high; // bits 64 and up
};

// Groups one sub-identifier may have: 64 bits and a leading zero group.
constexpr uint32_t kMaxGroups = 11;

// Reads one sub-identifier; `used` takes its octets.  False when no last
// group (top bit clear) comes within kMaxGroups octets of `available`.
inline bool read_subid(const uint8_t *in, uint32_t available, SubId &value, uint32_t &used) {
    uint64_t low = 0;
    uint32_t high = 0;
    const uint32_t limit = available < kMaxGroups ? available : kMaxGroups;
    for (uint32_t i = 0; i < limit; ++i) {
        high = (high << 7) | uint32_t(low >> 57);
        low = (low << 7) | (in[i] & 0x7Fu);
        if (!(in[i] & 0x80)) {
            value = {low, high};
            used = i + 1;
            return true;
        }
    }
    return false;
}

// Base-128 groups of a value; zero has one.
inline uint32_t subid_groups(SubId value) {
    const uint32_t bits = value.high ? 64 + uint32_t(std::bit_width(value.high))
                                     : uint32_t(std::bit_width(value.low));
    return bits ? (bits + 6) / 7 : 1;
}

// Writes the subid_groups(value) octets of `value` to `out`.
inline void write_subid(SubId value, uint8_t *out) {
    uint8_t *p = out + subid_groups(value);
    uint8_t last = 0; // top bit of the group being written
    for (uint32_t shift = 0; p != out; shift += 7, last = 0x80) {
        const uint64_t bits = shift < 64 ? (value.low >> shift) | (shift > 57 ? uint64_t(value.high) << (64 - shift) : 0)
                                         : uint64_t(value.high) >> (shift - 64);
        *--p = uint8_t((bits & 0x7F) | last);
    }
}

// The first sub-identifier of an absolute identifier from its two arcs.
inline SubId join_first(uint32_t first, uint64_t second) {
    const uint64_t low = second + 40u * first;
    return {low, low < second};
}

// Splits the first sub-identifier into the first arc (the result) and the
// second, left in `value`; a second arc above 64 bits keeps `high` set.
inline uint32_t split_first(SubId &value) {
    if (!value.high && value.low < 80) {
        const uint32_t first = value.low < 40 ? 0 : 1;
        value.low -= 40u * first;
        return first;
    }
    value.high -= value.low < 80;
    value.low -= 80;
    return 2;
}

// Reads decimal digits as a 64-bit number: 0; 1 above 64 bits; 2 empty or a
// non-digit (which takes precedence).
inline int parse_arc(const char *text, uint32_t length, uint64_t &value) {
    if (!length)
        return 2;
    uint64_t v = 0;
    bool over = false;
    for (uint32_t i = 0; i < length; ++i) {
        const unsigned digit = unsigned(uint8_t(text[i])) - '0';
        if (digit > 9)
            return 2;
        over = over || __builtin_mul_overflow(v, 10u, &v) || __builtin_add_overflow(v, digit, &v);
    }
    value = v;
    return over ? 1 : 0;
}

// Writes `value` in decimal in front of `end`; returns the first character.
// 32-bit division once the value fits, which matters on 32-bit targets.
inline char *format_arc(uint64_t value, char *end) {
    while (value > UINT32_MAX) {
        *--end = char('0' + value % 10);
        value /= 10;
    }
    uint32_t small = uint32_t(value);
    do {
        *--end = char('0' + small % 10);
        small /= 10;
    } while (small);
    return end;
}

// Longest decimal text of a 64-bit arc.
constexpr uint32_t kArcDigits = 20;

} // namespace kel::oid
