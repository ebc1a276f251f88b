// octets.cpp - octet moves of the OER family: zero runs, appending single
// octets and runs, reading runs, the overrun test behind an inner value, and the measure of an item that generated
// code takes with store_encpos and calc_enclen.

#include "oer.h"

namespace kel::oer {

void put_zeros(KelGlobal *world, uint32_t n) {
    static constexpr unsigned char kZeros[32] = {};
    for (; n > sizeof kZeros; n -= sizeof kZeros)
        put(world, kZeros, sizeof kZeros);
    put(world, kZeros, n);
}

} // namespace kel::oer

namespace {

using namespace kel::oer;

// Octets written since the frame's position: within the caller's buffer a
// difference of rooms, in library memory whole blocks passed (60 items to a
// block of the chain) plus the difference of rooms.
uint32_t written_since(const KelGlobal *world, const KelPushFrame *frame) {
    const uint32_t rooms = frame->room - static_cast<uint32_t>(world->outRemaining);
    if (world->userBuffer)
        return rooms;
    uint32_t items = 0;
    for (const KelOutBlock *block = frame->block; block != world->outQueueTail; block = block->next)
        items += KEL_OUTBLOCK_ITEMS;
    items += static_cast<uint32_t>(world->outQueueTail->count) - static_cast<uint32_t>(frame->blockIndex);
    return (items << 10) + rooms;
}

} // namespace

extern "C" {

void _kel_oenc_append_byte(KelGlobal *world, uint32_t value) {
    const unsigned char octet = static_cast<unsigned char>(value);
    put(world, &octet, 1);
}

void _kel_oenc_append_2bytes(KelGlobal *world, uint32_t first, uint32_t second) {
    const unsigned char octets[2] = {static_cast<unsigned char>(first), static_cast<unsigned char>(second)};
    put(world, octets, 2);
}

void _kel_oenc_append_3bytes(KelGlobal *world, uint32_t first, uint32_t second, uint32_t third) {
    const unsigned char octets[3] = {static_cast<unsigned char>(first), static_cast<unsigned char>(second),
                                     static_cast<unsigned char>(third)};
    put(world, octets, 3);
}

void _kel_oenc_append_bytes(KelGlobal *world, const unsigned char *bytes, uint32_t n) { put(world, bytes, n); }

void _kel_odec_read_octets(KelGlobal *world, unsigned char *out, uint32_t n) {
    const unsigned char *p = take(world, n);
    if (n <= 10) {
        for (uint32_t i = 0; i < n; ++i)
            out[i] = p[i];
    } else {
        std::memcpy(out, p, n);
    }
}

void _kel_odec_check_bytes(KelGlobal *world, const unsigned char *start, uint32_t length) {
    const unsigned char *end = start + length;
    if (world->inPos > end)
        end_of_input(world);
    if (strict(world))
        fail(world, kMsgMisencoded);
    world->inRemaining -= static_cast<int32_t>(end - world->inPos);
    world->inPos = const_cast<unsigned char *>(end);
}

void _kel_oenc_store_encpos(KelGlobal *world, KelPushFrame *frame) {
    frame->bitOffset = 0;
    if (kel::counting(world)) {
        frame->room = world->encLength;
        return;
    }
    if (world->outRemaining <= 0) {
        world->outPos = _kel_enc_getmem(world);
        world->outRemaining = KEL_ENC_BLOCK;
    }
    frame->position = world->outPos;
    frame->room = static_cast<uint32_t>(world->outRemaining);
    frame->block = world->outQueueTail;
    frame->blockIndex = static_cast<uint32_t>(world->outQueueTail->count);
}

uint32_t _kel_oenc_calc_enclen(KelGlobal *world, KelPushFrame *frame) {
    const uint32_t n = kel::counting(world) ? world->encLength - frame->room : written_since(world, frame);
    if (n != 0 || frame->bitOffset == 0)
        return n;
    // The item must not be empty: it becomes one zero octet.
    if (!kel::counting(world))
        *frame->position = 1;
    _kel_oenc_append_byte(world, 0);
    return 1;
}

} // extern "C"
