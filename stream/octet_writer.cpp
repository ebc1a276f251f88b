// octet_writer.cpp - the backward octet writer of the BER family: raw octets,
// fixed-width integers, object identifier arcs and BIT STRING contents, each
// stored immediately below the caller's position; and the forward writers'
// path across block ends.

#include <cstring>

#include "internal.h"
#include "kelvarn_ber.h"
#include "kelvarn_stream.h"
#include "octet_store.h"

namespace kel {

void put_after_across(KelGlobal *world, const unsigned char *src, uint32_t n) {
    const uint32_t room = world->outRemaining > 0 ? static_cast<uint32_t>(world->outRemaining) : 0;
    if (room) {
        std::memcpy(world->outPos, src, room);
        src += room;
        n -= room;
    }
    for (;;) {
        unsigned char *block = _kel_enc_getmem(world);
        const uint32_t now = n < KEL_ENC_BLOCK ? n : KEL_ENC_BLOCK;
        std::memcpy(block, src, now);
        src += now;
        n -= now;
        world->outPos = block + now;
        world->outRemaining = static_cast<int32_t>(KEL_ENC_BLOCK - now);
        if (n == 0)
            return;
    }
}

void put_below_across(KelGlobal *world, unsigned char **pos, int32_t *rem,
                      const unsigned char *src, uint32_t n) {
    const uint32_t room = static_cast<uint32_t>(*rem);
    if (room) {
        std::memcpy(*pos - room, src + n - room, room);
        n -= room;
    }
    for (;;) {
        unsigned char *block = _kel_enc_getmem(world);
        if (n > KEL_ENC_BLOCK) {
            n -= KEL_ENC_BLOCK;
            std::memcpy(block, src + n, KEL_ENC_BLOCK);
            continue;
        }
        const uint32_t free = KEL_ENC_BLOCK - n;
        std::memcpy(block + free, src, n);
        *pos = block + free;
        *rem = static_cast<int32_t>(free);
        return;
    }
}

namespace {

// The low `n` octets of `value`, big-endian; octets beyond the eighth repeat
// `fill`, the sign (or zero) extension.
int write_fixed(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t n, uint64_t value,
                uint8_t fill) {
    if (counting(world)) {
        world->encLength += n;
        return static_cast<int>(n);
    }
    BackwardOctets<256> octets;
    for (uint32_t i = 0; i < n; ++i, value >>= 8)
        octets.push(i < 8 ? static_cast<uint8_t>(value) : fill);
    put_below(world, pos, rem, octets.data(), n);
    return static_cast<int>(n);
}

// BIT STRING segments carry at most this many data octets under CER, and so
// under BER, which shares the encoder.
constexpr int32_t kSegmentOctets = 999;

} // namespace
} // namespace kel

extern "C" {

int _kel_write_byte_d(KelGlobal *world, unsigned char **pos, int32_t *rem, uint8_t value) {
    if (kel::counting(world)) {
        world->encLength += 1;
        return 1;
    }
    if (*rem <= 0) {
        *pos = _kel_enc_getmem(world) + KEL_ENC_BLOCK;
        *rem = KEL_ENC_BLOCK;
    }
    --*rem;
    *--*pos = value;
    return 1;
}

int _kel_write_bytes_d(KelGlobal *world, unsigned char **pos, int32_t *rem, const void *src,
                       int32_t n) {
    if (n <= 0)
        return 0;
    return kel::emit_below(world, pos, rem, static_cast<const unsigned char *>(src),
                           static_cast<uint32_t>(n));
}

int _kel_write_int_d(KelGlobal *world, unsigned char **pos, int32_t *rem, uint8_t n,
                     int64_t value) {
    return kel::write_fixed(world, pos, rem, n, static_cast<uint64_t>(value),
                            value < 0 ? 0xFF : 0);
}

int _kel_write_uint_d(KelGlobal *world, unsigned char **pos, int32_t *rem, uint8_t n,
                      uint64_t value) {
    return kel::write_fixed(world, pos, rem, n, value, 0);
}

int _kel_write_subid_d(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t arc) {
    kel::BackwardOctets<5> octets;
    octets.push(arc & 0x7F);
    for (arc >>= 7; arc; arc >>= 7)
        octets.push(0x80 | (arc & 0x7F));
    return kel::emit_below(world, pos, rem, octets.data(), octets.size());
}

int _kel_write_bit_d(KelGlobal *world, unsigned char **pos, int32_t *rem,
                     const unsigned char *bits, int32_t count) {
    const int32_t n = count > 0 ? (count + 7) >> 3 : 0;
    const uint8_t unused = static_cast<uint8_t>(-count & 7);
    if (n == 0)
        return _kel_write_byte_d(world, pos, rem, 0);

    const uint8_t last = static_cast<uint8_t>(bits[n - 1] & (0xFF << unused));
    if (n <= kel::kSegmentOctets || world->encRules == KEL_DER) {
        _kel_write_byte_d(world, pos, rem, last);
        _kel_write_bytes_d(world, pos, rem, bits, n - 1);
        _kel_write_byte_d(world, pos, rem, unused);
        return n + 1;
    }

    // Segmented: primitive segments cut from the end, the first one holding
    // the remainder of a division by 999 plus the last octet, every other
    // one 999 octets.
    int total = _kel_write_byte_d(world, pos, rem, last);
    int32_t end = n - 1;
    int32_t piece = end % kel::kSegmentOctets;
    uint8_t unusedOctet = unused;
    uint32_t extra = 1;
    do {
        end -= piece;
        total += _kel_write_bytes_d(world, pos, rem, bits + end, piece);
        total += _kel_write_byte_d(world, pos, rem, unusedOctet);
        total += _kel_encd_length(world, pos, rem, static_cast<uint32_t>(piece) + 1 + extra);
        total += _kel_encd_tag(world, pos, rem, 3, 0);
        piece = kel::kSegmentOctets;
        unusedOctet = 0;
        extra = 0;
    } while (end > 0);
    return -total;
}

} // extern "C"
