// counting_alloc.h - an allocator for tests that counts what is live and can
// be told to fail its k-th call, so a test proves that a failed call gives
// back everything it took.
#pragma once

#include <cstddef>

#include "kelvarn.h"

namespace kel_test {

struct CountingAllocator {
    static long live;        // allocations not yet freed
    static long calls;       // allocations made since reset()
    static long failAt;      // 1-based call number that returns null; 0 never
    static void reset(long failAtCall = 0);
    static void *raw_malloc(size_t size);
    static void *raw_realloc(void *p, size_t size);
    static void raw_free(void *p);
    static void *get_mem(KelGlobal *world, size_t size);
    static void *realloc_mem(KelGlobal *world, void *p, size_t size);
    static void free_mem(KelGlobal *world, void *p);
    // Puts the counting functions into the world's memory slots and the raw
    // slots, so that the extension and all call memory are counted.
    static void install(KelGlobal *world);
};

} // namespace kel_test
