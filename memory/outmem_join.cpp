// outmem_join.cpp - handing an encoding over to the caller: joining the
// 1024-octet blocks of a backward (BER) or forward (PER, OER, XER, JSON)
// writer into one buffer, finishing a forward writer in the caller's buffer,
// and the clean-up of a failed encode.
#include <cstring>

#include "memory.h"

namespace {

constexpr uint32_t kBlock = KEL_ENC_BLOCK;

// Octets in all blocks of the chain.
uint64_t chain_octets(const KelGlobal *world) {
    uint64_t items = 0;
    for (const KelOutBlock *b = &world->outQueue; b; b = b->next)
        items += static_cast<uint32_t>(b->count);
    return items * kBlock;
}

unsigned char *allocate_output(KelGlobal *world, uint32_t length) {
    auto *p = static_cast<unsigned char *>(kel_get_mem(world, length));
    if (!p)
        _kel_enc_error(world, kel::kMsgOutOfMemory, length);
    return p;
}

// Takes and clears bit 0 of pushFlags: set, it says that an empty encoding
// is fine here because the item is nested.
bool take_nested_bit(KelGlobal *world) {
    bool nested = (world->pushFlags & 1u) != 0;
    world->pushFlags &= ~1u;
    return nested;
}

bool is_oer(const KelGlobal *world) { return world->encRules == KEL_OER || world->encRules == KEL_COER; }

// A complete encoding has at least one octet (X.691), except for a nested
// item and under OER.
bool needs_one_octet(const KelGlobal *world, bool nested) { return !nested && !is_oer(world); }

// bitOffset after an empty encoding became one zero octet.
int32_t empty_bit_offset(const KelGlobal *world) { return world->encRules == KEL_PER_ALIGNED ? 8 : 1; }

// Closes the octet in progress: its unused low bits are cleared and it is
// counted as written.  Aligned PER then reports whole octets.
void close_last_octet(KelGlobal *world) {
    if (world->bitOffset != 0) {
        *world->outPos &= static_cast<unsigned char>(0xFFu << (8 - world->bitOffset));
        world->outRemaining -= 1;
    }
    if (world->encRules == KEL_PER_ALIGNED)
        world->bitOffset = 0;
}

} // namespace

extern "C" {

void _kel_set_outmem_d(KelGlobal *world, uint32_t freeInLast, uint32_t *length, unsigned char **value) {
    uint64_t octets = chain_octets(world);
    uint32_t total = octets > freeInLast ? static_cast<uint32_t>(octets - freeInLast) : 0;
    *length = total;
    *value = nullptr;
    if (total != 0) {
        unsigned char *out = allocate_output(world, total);
        // The first block holds the end of the encoding; every block is full
        // except the very last, which is filled from freeInLast to its end.
        unsigned char *p = out + total;
        for (KelOutBlock *b = &world->outQueue; b; b = b->next) {
            bool lastBlock = b->next == nullptr;
            for (int i = 0; i < b->count; ++i) {
                auto *item = static_cast<unsigned char *>(b->items[i]);
                if (lastBlock && i == b->count - 1) {
                    p -= kBlock - freeInLast;
                    std::memcpy(p, item + freeInLast, kBlock - freeInLast);
                } else {
                    p -= kBlock;
                    std::memcpy(p, item, kBlock);
                }
            }
        }
        *value = out;
    }
    _kel_freeMem(world, kel_output_release(world));
}

void _kel_set_outmem_p(KelGlobal *world, uint32_t *length, unsigned char **value) {
    bool nested = take_nested_bit(world);
    if (kel::counting(world)) {
        if (world->bitOffset != 0)
            world->encLength += 1;
        if (world->encRules == KEL_PER_ALIGNED)
            world->bitOffset = 0;
        if (world->encLength == 0 && needs_one_octet(world, nested)) {
            world->encLength = 1;
            world->bitOffset = empty_bit_offset(world);
        }
        *length = world->encLength;
    } else {
        close_last_octet(world);
        int64_t total = static_cast<int64_t>(chain_octets(world)) - world->outRemaining;
        if (total < 0)
            _kel_enc_error(world, kel::kMsgOutOfMemory, static_cast<uint32_t>(total));
        *length = static_cast<uint32_t>(total);
        if (total != 0) {
            unsigned char *out = allocate_output(world, *length);
            unsigned char *p = out;
            for (KelOutBlock *b = &world->outQueue; b; b = b->next) {
                bool lastBlock = b->next == nullptr;
                for (int i = 0; i < b->count; ++i) {
                    uint32_t used = lastBlock && i == b->count - 1 ? kBlock - world->outRemaining : kBlock;
                    std::memcpy(p, b->items[i], used);
                    p += used;
                }
            }
            *value = out;
        } else if (needs_one_octet(world, nested)) {
            *length = 1;
            world->bitOffset = empty_bit_offset(world);
            unsigned char *out = allocate_output(world, 1);
            *out = 0;
            *value = out;
        } else {
            *value = nullptr;
        }
    }
    _kel_freeMem(world, kel_output_release(world));
}

void _kel_set_outmem_pb(KelGlobal *world, uint32_t *length, unsigned char **value, uint32_t flags) {
    bool nested = take_nested_bit(world);
    close_last_octet(world);
    uint32_t size = *length;
    uint32_t n = size - static_cast<uint32_t>(world->outRemaining);
    if (n == 0 && needs_one_octet(world, nested)) {
        if (world->outRemaining < 1)
            _kel_enc_error(world, kel::kMsgBufferTooSmall, world->memTotal);
        *world->outPos = 0;
        n = 1;
        world->bitOffset = empty_bit_offset(world);
    }
    if (n != size && (flags & BACK_ALIGN)) {
        std::memmove(*value + (size - n), *value, n);
        *value += size - n;
    }
    *length = n;
}

void _kelSetOutMemQueue(KelGlobal *world, uint32_t *length, unsigned char **value, uint32_t flags) {
    // In count mode nothing was written: the count is finished as for
    // library memory whatever the output is.
    if (world->userBuffer && !kel::counting(world))
        _kel_set_outmem_pb(world, length, value, flags);
    else
        _kel_set_outmem_p(world, length, value);
}

void _kelFreeEncMemory(KelGlobal *world) {
    if (world->childWorld)
        _kel_freeGlobals(world, 0);
    if (world->pendingBlock) {
        kelFree(world, world->pendingBlock);
        world->pendingBlock = nullptr;
    }
    if (world->blockFrames)
        kel_undo_block_frames(world);
    bool tempBuffer = kel_in_temp_buffer(world);
    if (!tempBuffer)
        _kel_freetempMem(world);
    kel_release_enc_stack(world);
    if (world->userBuffer)
        _kel_releaseMem(world);
    else if (!tempBuffer)
        _kel_freeMem(world, world->freeMem);
    else
        kel_forget_chain(world);
}

} // extern "C"
