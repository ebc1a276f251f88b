// counting_alloc.cpp - the counting allocator of the tests.
#include "counting_alloc.h"

#include <cstdlib>

namespace kel_test {

long CountingAllocator::live = 0;
long CountingAllocator::calls = 0;
long CountingAllocator::failAt = 0;

void CountingAllocator::reset(long failAtCall) {
    calls = 0;
    failAt = failAtCall;
}

void *CountingAllocator::raw_malloc(size_t size) {
    if (++calls == failAt)
        return nullptr;
    void *p = std::malloc(size ? size : 1);
    if (p)
        ++live;
    return p;
}

void *CountingAllocator::raw_realloc(void *p, size_t size) {
    if (!p)
        return raw_malloc(size);
    if (++calls == failAt)
        return nullptr;
    return std::realloc(p, size ? size : 1);
}

void CountingAllocator::raw_free(void *p) {
    if (p) {
        --live;
        std::free(p);
    }
}

void *CountingAllocator::get_mem(KelGlobal *, size_t size) { return raw_malloc(size); }
void *CountingAllocator::realloc_mem(KelGlobal *, void *p, size_t size) { return raw_realloc(p, size); }
void CountingAllocator::free_mem(KelGlobal *, void *p) { raw_free(p); }

void CountingAllocator::install(KelGlobal *world) {
    world->mallocp = raw_malloc;
    world->freep = raw_free;
    world->reallocp = raw_realloc;
    world->getMem = get_mem;
    world->freeMem = free_mem;
    world->reallocMem = realloc_mem;
}

} // namespace kel_test
