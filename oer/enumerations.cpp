// enumerations.cpp - OER ENUMERATED and BOOLEAN.  An enumeration value of 0
// to 127 is one octet; any other is 0x80 | n and n octets of two's
// complement (the unsigned form keeps a zero octet before a set top bit).
// COER demands the short form wherever it fits and true as 0xFF.

#include "oer.h"

namespace {

using namespace kel::oer;

template <class T> void put_enumerated(KelGlobal *world, T value) {
    if (static_cast<std::make_unsigned_t<T>>(value) < 128) {
        const unsigned char octet = static_cast<unsigned char>(value);
        put(world, &octet, 1);
    } else {
        put_with_count(world, value, signed_octets(value), 0x80);
    }
}

// The long form's count n (1..127), the n octets present; the read pointer
// is left on the count octet.
uint32_t long_form_count(KelGlobal *world) {
    const uint32_t n = world->inPos[0] & 0x7Fu;
    if (n < 1)
        fail(world, kMsgMisencoded);
    need(world, n + 1);
    return n;
}

} // namespace

extern "C" {

void _kel_oenc_enum(KelGlobal *world, int32_t value) { put_enumerated(world, value); }
void _kel_oenc_uenum(KelGlobal *world, uint32_t value) { put_enumerated(world, value); }

int32_t _kel_odec_enum(KelGlobal *world) {
    need(world, 1);
    if (world->inPos[0] < 128)
        return *advance(world, 1);
    const uint32_t n = long_form_count(world);
    const int64_t value = read_signed(world, advance(world, n + 1) + 1, n, 4);
    if (value >= 0 && value < 128 && canonical(world))
        fail(world, kMsgIntNeedlesslyLong);
    return static_cast<int32_t>(value);
}

uint32_t _kel_odec_uenum(KelGlobal *world) {
    need(world, 1);
    if (world->inPos[0] < 128)
        return *advance(world, 1);
    const uint32_t n = long_form_count(world);
    const unsigned char *p = world->inPos + 1;
    uint32_t zeros = 0;
    while (zeros < n && p[zeros] == 0)
        ++zeros;
    if (zeros == n) {
        // All zero: OER takes it as 0, counting the octets off the input
        // while the read pointer stays where it was.
        if (canonical(world))
            fail(world, kMsgIntNeedlesslyLong);
        world->inRemaining -= static_cast<int32_t>(n + 1);
        return 0;
    }
    const uint32_t significant = n - zeros;
    if (significant > 4)
        fail(world, kMsgIntTooLong, significant);
    const unsigned char *q = p + zeros;
    const bool topBit = (q[0] & 0x80) != 0;
    if (topBit && zeros == 0 && !relaxed(world))
        fail(world, kMsgNegativeUnsigned);
    if (canonical(world) && ((zeros && !topBit) || zeros > 1))
        fail(world, kMsgIntNeedlesslyLong);
    uint32_t value = 0;
    for (uint32_t i = 0; i < significant; ++i)
        value = value << 8 | q[i];
    if (value < 128 && canonical(world))
        fail(world, kMsgIntNeedlesslyLong);
    advance(world, n + 1);
    return value;
}

uint32_t _kel_odec_bool(KelGlobal *world) {
    const uint32_t octet = *take(world, 1);
    if (octet != 0 && octet != 0xFF && canonical(world))
        fail(world, kMsgMisencoded);
    return octet != 0;
}

} // extern "C"
