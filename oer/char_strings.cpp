// char_strings.cpp - character strings in OER.  Known-multiplier strings are
// their octets behind a determinant: the padded and unbounded decoders here,
// the encoders are the octet moves.  BMPString and UniversalString are 2 and
// 4 octets a character, big-endian, behind a determinant or in a fixed
// count; UTF8String held as u16 or u32 characters is converted on the way.

#include <bit>

#include "oer.h"

namespace {

using namespace kel::oer;

// Characters staged per store.
constexpr uint32_t kStage = 256;

template <class Unit> void put_wide(KelGlobal *world, const Unit *chars, uint32_t count) {
    if (kel::counting(world)) {
        world->encLength += count * static_cast<uint32_t>(sizeof(Unit));
        return;
    }
    unsigned char stage[kStage * sizeof(Unit)];
    while (count) {
        const uint32_t now = count < kStage ? count : kStage;
        for (uint32_t i = 0; i < now; ++i)
            store_be(stage + i * sizeof(Unit), chars[i], sizeof(Unit));
        put(world, stage, now * static_cast<uint32_t>(sizeof(Unit)));
        chars += now;
        count -= now;
    }
}

template <class Unit> void get_wide(Unit *out, const unsigned char *p, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i, p += sizeof(Unit))
        out[i] = load_be<Unit>(p);
}

template <class Unit> uint32_t get_wide_string(KelGlobal *world, Unit **field) {
    const uint32_t n = content_length(world);
    if (n % sizeof(Unit))
        fail(world, kMsgCharWidth, n);
    const uint32_t count = n / static_cast<uint32_t>(sizeof(Unit));
    Unit *out = reinterpret_cast<Unit *>(final_block(world, n));
    get_wide(out, advance(world, n), count);
    *field = out;
    return count;
}

// The fixed forms rely on the caller's test of the whole size.
template <class Unit> void get_fixed_wide(KelGlobal *world, Unit *out, uint32_t count) {
    get_wide(out, advance(world, count * static_cast<uint32_t>(sizeof(Unit))), count);
}

// ---------------------------------------------------------------------------
// UTF-8
// ---------------------------------------------------------------------------

constexpr uint32_t kLongestSequence = 6;

template <class Unit> void put_utf8(KelGlobal *world, const Unit *chars, uint32_t count) {
    uint32_t total = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t c = chars[i];
        if (c < 0x80) {
            ++total;
            continue;
        }
        const int32_t size = _kel_countUTF8Char(static_cast<int32_t>(c));
        if (size == 0)
            fail(world, kMsgUtf8Convert, i);
        total += static_cast<uint32_t>(size);
    }
    put_length(world, total);
    if (kel::counting(world)) {
        world->encLength += total;
        return;
    }
    unsigned char stage[kStage + kLongestSequence];
    uint32_t fill = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t c = chars[i];
        if (c < 0x80) {
            stage[fill++] = static_cast<unsigned char>(c);
        } else {
            unsigned char sequence[kLongestSequence];
            const unsigned char *begin = _kel_itoUTF8Char(sequence + kLongestSequence, c);
            const uint32_t size = static_cast<uint32_t>(sequence + kLongestSequence - begin);
            std::memcpy(stage + fill, begin, size);
            fill += size;
        }
        if (fill >= kStage) {
            put(world, stage, fill);
            fill = 0;
        }
    }
    put(world, stage, fill);
}

// Characters in `n` octets of UTF-8: a lead octet of 2 to 6 one bits, the
// whole sequence inside the string, every continuation octet 10xxxxxx.
uint32_t count_utf8(KelGlobal *world, const unsigned char *p, uint32_t n) {
    uint32_t count = 0;
    for (uint32_t i = 0; i < n; ++count) {
        if (p[i] < 0x80) {
            ++i;
            continue;
        }
        const uint32_t size = static_cast<uint32_t>(std::countl_one(p[i]));
        if (size < 2 || size > kLongestSequence || size > n - i)
            fail(world, kMsgUtf8Sequence);
        for (uint32_t j = 1; j < size; ++j)
            if ((p[i + j] & 0xC0) != 0x80)
                fail(world, kMsgUtf8Sequence);
        i += size;
    }
    return count;
}

template <class Unit> int32_t get_utf8(KelGlobal *world, Unit **field) {
    const uint32_t n = content_length(world);
    const unsigned char *p = advance(world, n);
    const uint32_t count = count_utf8(world, p, n);
    Unit *out = reinterpret_cast<Unit *>(final_block(world, count * static_cast<uint32_t>(sizeof(Unit))));
    *field = out;
    for (uint32_t i = 0; i < n; ++out) {
        if (p[i] < 0x80) {
            *out = p[i++];
            continue;
        }
        uint16_t consumed = 0;
        UTF8CharToInt(world, out, p + i, static_cast<int32_t>(n - i), sizeof(Unit), &consumed);
        if (consumed == 0)
            fail(world, kMsgUtf8Sequence);
        i += consumed;
    }
    return static_cast<int32_t>(count);
}

} // namespace

extern "C" {

void _kel_oenc_bmpstr(KelGlobal *world, const uint16_t *chars, uint32_t count) { put_wide(world, chars, count); }
void _kel_oenc_unistr(KelGlobal *world, const uint32_t *chars, uint32_t count) { put_wide(world, chars, count); }

void _kel_oenc_utf8_string_bmp(KelGlobal *world, const uint16_t *chars, uint32_t count) {
    put_utf8(world, chars, count);
}

void _kel_oenc_utf8_string_universal(KelGlobal *world, const uint32_t *chars, uint32_t count) {
    put_utf8(world, chars, count);
}

void _kel_odec_string_padded(KelGlobal *world, unsigned char *out, uint32_t capacity) {
    const uint32_t length = content_length(world);
    const unsigned char *p = advance(world, length);
    uint32_t n = length;
    while (n > capacity && p[n - 1] == ' ')
        --n;
    if (n > capacity)
        fail(world, kMsgSizeExceeded, length);
    std::memcpy(out, p, n);
    std::memset(out + n, ' ', capacity - n);
}

uint32_t _kel_odec_string_unbounded(KelGlobal *world, unsigned char **field) {
    const uint32_t n = content_length(world);
    unsigned char *block = final_block(world, n);
    if (n)
        std::memcpy(block, advance(world, n), n);
    *field = block;
    return n;
}

uint32_t _kel_odec_bmp_string(KelGlobal *world, uint16_t **field) { return get_wide_string(world, field); }
uint32_t _kel_odec_universal_string(KelGlobal *world, uint32_t **field) { return get_wide_string(world, field); }

void _kel_odec_fixed_bmp_string(KelGlobal *world, uint16_t *out, uint32_t count) { get_fixed_wide(world, out, count); }

void _kel_odec_fixed_universal_string(KelGlobal *world, uint32_t *out, uint32_t count) {
    get_fixed_wide(world, out, count);
}

int32_t _kel_odec_utf8_string_bmp(KelGlobal *world, uint16_t **field) { return get_utf8(world, field); }
int32_t _kel_odec_utf8_string_universal(KelGlobal *world, uint32_t **field) { return get_utf8(world, field); }

} // extern "C"
