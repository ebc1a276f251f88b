// utf8.cpp - the UTF-8 reader and writer that the string primitives of every
// rule family share: one character at a time, in the original six-octet form
// of UTF-8 (values up to 0x7FFFFFFF).  The reader refuses neither overlong
// forms nor surrogates; callers that must refuse them test the value.
#include <bit>

#include "internal.h"

namespace {

// Message numbers of the reader's failures.
constexpr int kMsgCharTooWide = 99;    // value doesn't fit the target width
constexpr int kMsgUnknownWidth = 101;  // a width other than 1, 2 or 4

// Stores `value` as a `Unit` unless it needs more bits than `Unit` has.
template <class Unit> void store_unit(KelGlobal *world, void *target, uint32_t value) {
    if constexpr (sizeof(Unit) < sizeof(uint32_t)) {
        if (value >> (8 * sizeof(Unit)))
            _kel_enc_error(world, kMsgCharTooWide, value);
    }
    *static_cast<Unit *>(target) = static_cast<Unit>(value);
}

} // namespace

extern "C" {

int32_t UTF8CharToInt(KelGlobal *world, void *target, const unsigned char *source,
                      int32_t available, int16_t width, uint16_t *consumed) {
    if (available < 1) {
        *consumed = 0;
        return 0;
    }
    const unsigned lead = source[0];
    const int octets = std::countl_one(static_cast<uint8_t>(lead));
    if (octets == 1 || octets >= 7) {
        *consumed = 0;
        return 0;
    }
    const int total = octets == 0 ? 1 : octets;
    *consumed = static_cast<uint16_t>(total);
    if (!target || total > available)
        return 0;

    // The lead octet keeps the bits below its marker: 7 for an ASCII octet,
    // else 6 - octets.
    uint32_t value = lead & (0x7Fu >> octets);
    for (int i = 1; i < total; ++i) {
        const unsigned next = source[i];
        if ((next & 0xC0u) != 0x80u)
            return 0;
        value = (value << 6) | (next & 0x3Fu);
    }

    switch (width) {
    case 4:
        store_unit<uint32_t>(world, target, value);
        break;
    case 2:
        store_unit<uint16_t>(world, target, value);
        break;
    case 1:
        store_unit<uint8_t>(world, target, value);
        break;
    default:
        _kel_enc_error(world, kMsgUnknownWidth, static_cast<uint32_t>(width));
    }
    return 1;
}

unsigned char *_kel_itoUTF8Char(unsigned char *end, uint32_t value) {
    if (value < 0x80u) {
        end[-1] = static_cast<unsigned char>(value);
        return end - 1;
    }
    if (value & 0x80000000u)
        return end;
    // Continuation octets go out while the rest exceeds what the lead octet
    // can hold; each one costs the lead octet a bit.
    unsigned char *p = end;
    uint32_t leadRoom = 0x3Fu;
    do {
        *--p = static_cast<unsigned char>(0x80u | (value & 0x3Fu));
        value >>= 6;
        leadRoom >>= 1;
    } while (value > leadRoom);
    const uint32_t marker = ~((leadRoom << 1) | 1u) & 0xFFu;
    *--p = static_cast<unsigned char>(marker | value);
    return p;
}

int32_t _kel_countUTF8Char(int32_t value) {
    if (value < 0 || (value >= 0xD800 && value <= 0xDFFF) || value == 0xFFFE || value == 0xFFFF)
        return 0;
    int32_t octets = 2;
    uint32_t rest = static_cast<uint32_t>(value) >> 6;
    for (uint32_t leadRoom = 0x1Fu; rest > leadRoom; leadRoom >>= 1) {
        rest >>= 6;
        ++octets;
    }
    return octets;
}

} // extern "C"
