// enc_integers.cpp - INTEGER and ENUMERATED in JSON: 32 and 64-bit values
// as decimal numbers written two digits a step, huge integers by repeated
// division of their magnitude, and enumerators by their names.
#include "json_out.h"

namespace {

using namespace kel::json;

// Octets beyond which a huge integer is refused.
constexpr uint32_t kHugeLimit = 4096;

} // namespace

extern "C" {

uint32_t _kel_jenc_ltoa(uint32_t value, char **end, int isSigned) { return integer_text_before(value, end, isSigned); }

uint32_t _kel_jenc_lltoa(uint64_t value, char **end, int isSigned) { return integer_text_before(value, end, isSigned); }

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
    char *p = huge_digits_before(end, magnitude, n);
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
