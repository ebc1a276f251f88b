// lengths.cpp - OER length determinants and tags: the writer of the short
// and long forms, the long form built for a caller, the determinant reader
// (leading zero octets absorbed under OER, refused under COER) and the tag
// reader of one to three octets.

#include "oer.h"

extern "C" {

void _kel_oenc_octet_length(KelGlobal *world, uint32_t n) { kel::oer::put_length(world, n); }

uint32_t _kel_oenc_enc_length(uint32_t n, unsigned char *out) {
    const uint32_t k = n ? kel::oer::unsigned_octets(n) : 0;
    out[0] = static_cast<unsigned char>(0x80 | k);
    kel::oer::store_be(out + 1, n, k);
    return k + 1;
}

int32_t _kel_odec_length(KelGlobal *world) {
    using namespace kel::oer;
    const unsigned char *p = world->inPos;
    const int32_t remaining = world->inRemaining;
    if (remaining <= 0)
        end_of_input(world);
    const uint32_t first = *p++;
    if (first < 128) {
        if (static_cast<uint32_t>(remaining - 1) < first)
            end_of_input(world);
        advance(world, 1);
        return static_cast<int32_t>(first);
    }
    uint32_t k = first & 0x7F;
    if (k == 0)
        fail(world, kMsgMisencoded);
    if (k + 1 > static_cast<uint32_t>(remaining))
        end_of_input(world);
    const uint32_t consumed = k + 1;
    uint32_t v;
    if (k == 1) {
        v = *p++;
        if (v < 128 && canonical(world))
            fail(world, kMsgIntNeedlesslyLong);
        k = 0;
    } else {
        // v holds the first two octets of the k; while they say below 128
        // the first of them is a needless zero, dropped under OER.
        v = static_cast<uint32_t>(p[0]) << 8 | p[1];
        p += 2;
        if (v < 128 && canonical(world))
            fail(world, kMsgIntNeedlesslyLong);
        while (v < 128 && k > 2) {
            v = v << 8 | *p++;
            --k;
        }
        if (k > 4)
            fail(world, kMsgIntTooLong, k);
        for (k -= 2; k; --k)
            v = v << 8 | *p++;
    }
    advance(world, consumed);
    // Compared as signed numbers: a length with its top bit set passes and
    // is the caller's to refuse.
    if (static_cast<int32_t>(v) > world->inRemaining)
        end_of_input(world);
    return static_cast<int32_t>(v);
}

uint32_t _kel_odec_tag(KelGlobal *world) {
    using namespace kel::oer;
    need(world, 1);
    const uint32_t first = world->inPos[0];
    if ((first & 0x3F) != 0x3F) {
        advance(world, 1);
        return first;
    }
    need(world, 2);
    const uint32_t second = world->inPos[1];
    if (second < 63 || second == 128)
        fail(world, kMsgTagNeedlesslyLong);
    const uint32_t tag = first << 8 | second;
    if (second < 128) {
        advance(world, 2);
        return tag;
    }
    need(world, 3);
    const uint32_t third = world->inPos[2];
    if (third > 127)
        fail(world, kMsgTagTooLong, tag << 8 | third);
    advance(world, 3);
    return tag << 8 | third;
}

} // extern "C"
