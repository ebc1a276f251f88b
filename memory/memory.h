// memory.h - what the working-memory sources share with the rest of the
// library and never show to applications: the default memory functions that
// kelMinit installs, the disposable allocator of the caller's temporary
// buffer, and the release helpers that the drivers' clean-up paths call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "internal.h"

// Default getMem, freeMem and reallocMem of a world: they call the world's
// raw slots mallocp, freep and reallocp.  Over the C library's malloc and
// free, small freed blocks wait in the world's piece cache for reuse.
void *kel_default_getmem(KelGlobal *world, size_t size);
void kel_default_freemem(KelGlobal *world, void *p);
void *kel_default_reallocmem(KelGlobal *world, void *p, size_t size);

// Gives a world whose raw slots are the C library's its piece cache (none
// when that memory is lacking); closing gives back the cache and its blocks.
void kel_open_piece_cache(KelGlobal *world);
void kel_close_piece_cache(KelWorldExt *ext);

// Allocator over the top of the caller's temporary buffer: pieces are taken
// downward from tempHigh, each behind an 8-octet size header, and must be
// given back in reverse order.  kel_disposable_free ignores its argument and
// gives back the piece at tempHigh.
void *kel_disposable_alloc(KelGlobal *world, size_t size);
void kel_disposable_free(KelGlobal *world, void *p);

// True while the caller's temporary buffer replaces heap memory.
inline bool kel_in_temp_buffer(const KelGlobal *world) {
    return world->ext && world->ext->tempBufSize != 0;
}

// The release function for encoder output blocks: the disposable release in
// the caller's temporary buffer, else the world's freeMem.
inline KelFreeMem kel_output_release(const KelGlobal *world) {
    return kel_in_temp_buffer(world) ? kel_disposable_free : world->freeMem;
}

// Gives back the blocks of the encoder's item stack above the inline one.
void kel_release_enc_stack(KelGlobal *world);

// Forgets the block chain without releasing anything: for output blocks that
// lie in the caller's temporary buffer, which the next driver reclaims whole.
void kel_forget_chain(KelGlobal *world);

// Undoes the BER block frames that a failed encode left open.
void kel_undo_block_frames(KelGlobal *world);
