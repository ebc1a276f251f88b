// enc_integers.cpp - INTEGER and ENUMERATED in JSON: 32 and 64-bit values
// as decimal numbers written two digits a step, huge integers by repeated
// division of their magnitude, and enumerators by their names.
#include <type_traits>

#include "json_out.h"

namespace {

using namespace kel::json;

// The text of `value` before *end; a signed value is read as such.
template <class U> uint32_t to_text(U value, char **end, int isSigned) {
    using S = std::make_signed_t<U>;
    const bool negative = isSigned && static_cast<S>(value) < 0;
    char *start = digits_before(*end, negative ? static_cast<U>(U(0) - value) : value);
    if (negative)
        *--start = '-';
    const auto length = static_cast<uint32_t>(*end - start);
    *end = start;
    return length;
}

// Octets beyond which a huge integer is refused.
constexpr uint32_t kHugeLimit = 4096;

// Divides the big-endian magnitude in place by 10000; returns the rest.
uint32_t divide_10000(unsigned char *bytes, uint32_t n) {
    uint32_t rest = 0;
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t part = (rest << 8) | bytes[i];
        bytes[i] = static_cast<unsigned char>(part / 10000);
        rest = part % 10000;
    }
    return rest;
}

} // namespace

extern "C" {

uint32_t _kel_jenc_ltoa(uint32_t value, char **end, int isSigned) { return to_text(value, end, isSigned); }

uint32_t _kel_jenc_lltoa(uint64_t value, char **end, int isSigned) { return to_text(value, end, isSigned); }

void _kel_jenc_lint(KelGlobal *world, int32_t value) {
    put_decimal(world, value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value), value < 0);
}

void _kel_jenc_ulint(KelGlobal *world, uint32_t value) { put_decimal(world, value); }

void _kel_jenc_llint(KelGlobal *world, int64_t value) {
    put_decimal(world, value < 0 ? 0u - static_cast<uint64_t>(value) : static_cast<uint64_t>(value), value < 0);
}

void _kel_jenc_ullint(KelGlobal *world, uint64_t value) { put_decimal(world, value); }

void _kel_jenc_hint(KelGlobal *world, const unsigned char *bytes, int32_t length) {
    if (!bytes || length == 0)
        fail(world, kMsgMisencoded);
    const bool isUnsigned = length < 0;
    uint32_t n = isUnsigned ? 0u - static_cast<uint32_t>(length) : static_cast<uint32_t>(length);
    const bool negative = !isUnsigned && (bytes[0] & 0x80);
    // Redundant sign octets carry nothing.
    const unsigned char fill = negative ? 0xFF : 0x00;
    while (n > 1 && bytes[0] == fill && ((bytes[1] & 0x80) == (fill & 0x80) || isUnsigned)) {
        ++bytes;
        --n;
    }
    if (n > kHugeLimit)
        fail(world, kMsgLengthTooLong, n);

    // A copy of the magnitude, then the digits filled from the end: each
    // octet is at most 2.41 digits, four digits come from each division.
    const uint32_t digitRoom = n * 5 / 2 + 8;
    const uint32_t size = n + digitRoom;
    unsigned char local[64];
    unsigned char *work = size <= sizeof local ? local : static_cast<unsigned char *>(_kel_dec_gettempmem(world, size));
    unsigned char *magnitude = work;
    std::memcpy(magnitude, bytes, n);
    if (negative) {
        // Two's complement negation, carrying from the last octet.
        uint32_t carry = 1;
        for (uint32_t i = n; i-- > 0;) {
            const uint32_t v = static_cast<unsigned char>(~magnitude[i]) + carry;
            magnitude[i] = static_cast<unsigned char>(v);
            carry = v >> 8;
        }
    }
    char *end = reinterpret_cast<char *>(work + size);
    char *p = end;
    uint32_t first = 0; // leading zero octets of the magnitude
    for (;;) {
        while (first < n && magnitude[first] == 0)
            ++first;
        if (first == n)
            break;
        uint32_t rest = divide_10000(magnitude + first, n - first);
        for (int i = 0; i < 4; ++i, rest /= 10)
            *--p = static_cast<char>('0' + rest % 10);
    }
    while (p < end - 1 && *p == '0')
        ++p;
    if (p == end)
        *--p = '0';
    if (negative)
        *--p = '-';
    put(world, p, static_cast<uint32_t>(end - p));
    if (work != local)
        _kel_dec_freetempmem(world, work);
}

void _kel_jenc_enum(KelGlobal *world, const KelJsonEnumTable *table, int32_t value) {
    const char *name = table->defaultName;
    uint32_t low = 0, high = table->count;
    while (low < high) {
        const uint32_t middle = low + (high - low) / 2;
        const int32_t at = table->rows[middle].value;
        if (at == value) {
            name = table->rows[middle].name;
            break;
        }
        if (at < value)
            low = middle + 1;
        else
            high = middle;
    }
    if (!name)
        fail(world, kMsgNotEnumerated, static_cast<uint32_t>(value));
    put_char(world, '"');
    put(world, name, static_cast<uint32_t>(std::strlen(name)));
    put_char(world, '"');
}

} // extern "C"
