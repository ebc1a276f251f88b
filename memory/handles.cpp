// handles.cpp - memory handles: a sub-allocator with its own large blocks
// that an application puts under all of a world's allocation while the
// handle is active, and deletes at once with everything allocated in it.
//
// A block holds a row of fragments, each behind a header that tells its
// status ('a' allocated, 'f' free, 'l' the free rest of the block), its
// length and its neighbour before; the neighbour after is found by length.
// Freed neighbours merge, so a block never holds two free fragments in a row.
#include <algorithm>
#include <cinttypes>
#include <cstring>

#include "memory.h"

namespace {

struct HandleBlock;
struct Fragment;

struct KelMemHandle {
    uint32_t blockSize; // the smallest area a block gets
    uint32_t totalBytes;
    uint32_t blockCount;
    HandleBlock *blocks; // newest first
    Fragment *current; // the fragment tried first
};

struct HandleBlock {
    HandleBlock *next;
    uint32_t length; // octets of the fragment area
    uint32_t freeBytes;
    KelMemHandle *owner;
};

struct Fragment {
    uint32_t status;
    uint32_t length; // octets behind the header
    HandleBlock *block;
    Fragment *previous;
};

enum : uint32_t { kAllocated = 'a', kFree = 'f', kLast = 'l' };
constexpr uint32_t kFragHeader = sizeof(Fragment);
constexpr uint32_t kBlockHeader = sizeof(HandleBlock);

#if defined(__i386__)
static_assert(sizeof(KelMemHandle) == 20 && kFragHeader == 16 && kBlockHeader == 16);
#endif
static_assert(kFragHeader % 8 == 0 && kBlockHeader % 8 == 0);

inline unsigned char *data(Fragment *f) { return reinterpret_cast<unsigned char *>(f) + kFragHeader; }
inline Fragment *header(void *p) { return reinterpret_cast<Fragment *>(static_cast<unsigned char *>(p) - kFragHeader); }
inline Fragment *following(Fragment *f) { return reinterpret_cast<Fragment *>(data(f) + f->length); }
inline Fragment *first_fragment(HandleBlock *b) {
    return reinterpret_cast<Fragment *>(reinterpret_cast<unsigned char *>(b) + kBlockHeader);
}
inline unsigned char *area_end(HandleBlock *b) {
    return reinterpret_cast<unsigned char *>(first_fragment(b)) + b->length;
}

KelMemHandle *active(KelGlobal *world) {
    return world && world->ext ? static_cast<KelMemHandle *>(world->ext->activeHandle) : nullptr;
}

// Makes the whole area of `b` one free last fragment.
Fragment *reset_block(HandleBlock *b) {
    Fragment *f = first_fragment(b);
    f->status = kLast;
    f->length = b->length - kFragHeader;
    f->block = b;
    f->previous = nullptr;
    b->freeBytes = f->length;
    return f;
}

// A new block with room for a piece of `size` octets (rounded) at least.
bool add_block(KelGlobal *world, KelMemHandle *h, uint32_t size) {
    uint64_t areaSize = std::max<uint64_t>(size, kel::round8(h->blockSize)) + 2 * kFragHeader;
    uint64_t bytes = areaSize + kBlockHeader;
    if (bytes > UINT32_MAX)
        return false;
    auto *b = static_cast<HandleBlock *>(world->mallocp(bytes));
    if (!b)
        return false;
    b->next = h->blocks;
    b->length = static_cast<uint32_t>(areaSize);
    b->owner = h;
    h->blocks = b;
    h->totalBytes += static_cast<uint32_t>(bytes);
    h->blockCount += 1;
    Fragment *f = reset_block(b);
    if (!h->current || h->current->length < f->length)
        h->current = f;
    return true;
}

inline bool fits(const Fragment *f, uint32_t need) { return f->status != kAllocated && f->length >= need; }

Fragment *find_fit(KelMemHandle *h, uint32_t need) {
    for (HandleBlock *b = h->blocks; b; b = b->next) {
        if (b->freeBytes < need)
            continue;
        for (Fragment *f = first_fragment(b);; f = following(f)) {
            if (fits(f, need))
                return f;
            if (f->status == kLast)
                break;
        }
    }
    return nullptr;
}

// Takes `size` octets from the front of free fragment `f`; the rest becomes a
// fragment of its own and the one tried first next time.
void *split(KelMemHandle *h, Fragment *f, uint32_t size) {
    auto *rest = reinterpret_cast<Fragment *>(data(f) + size);
    rest->status = f->status;
    rest->length = f->length - size - kFragHeader;
    rest->block = f->block;
    rest->previous = f;
    if (rest->status != kLast)
        following(rest)->previous = rest;
    f->status = kAllocated;
    f->length = size;
    f->block->freeBytes -= size + kFragHeader;
    h->current = rest;
    return data(f);
}

void *handle_alloc(KelGlobal *world, size_t size) {
    KelMemHandle *h = active(world);
    if (!h || size > UINT32_MAX - 3 * kFragHeader)
        return nullptr;
    uint32_t rounded = kel::round8(static_cast<uint32_t>(size));
    uint32_t need = rounded + kFragHeader;
    if (!h->blocks && !add_block(world, h, rounded))
        return nullptr;
    Fragment *f = h->current && fits(h->current, need) ? h->current : find_fit(h, need);
    if (!f) {
        if (!add_block(world, h, rounded))
            return nullptr;
        f = find_fit(h, need);
    }
    return split(h, f, rounded);
}

void handle_free(KelGlobal *world, void *p) {
    if (!p || !world)
        return;
    Fragment *f = header(p);
    if (f->status != kAllocated)
        return;
    HandleBlock *b = f->block;
    f->status = kFree;
    b->freeBytes += f->length;
    if (Fragment *before = f->previous; before && before->status != kAllocated) {
        before->length += kFragHeader + f->length;
        b->freeBytes += kFragHeader;
        f = before;
    }
    // An allocated fragment is never the last one: a follower exists.
    if (Fragment *after = following(f); after->status != kAllocated) {
        f->length += kFragHeader + after->length;
        f->status = after->status;
        b->freeBytes += kFragHeader;
    }
    if (f->status == kFree)
        following(f)->previous = f;
    KelMemHandle *h = b->owner;
    if (!h->current || f->length > h->current->length)
        h->current = f;
}

void *handle_realloc(KelGlobal *world, void *p, size_t size) {
    if (!p)
        return handle_alloc(world, size);
    void *q = handle_alloc(world, size);
    if (q) {
        std::memcpy(q, p, std::min<size_t>(header(p)->length, kel::round8(static_cast<uint32_t>(size))));
        handle_free(world, p);
    }
    return q;
}

// Octets of one block or of the whole handle, by use.
struct Usage {
    uint32_t allocated = 0;
    uint32_t free = 0;
    uint32_t internal = 0;
};

#define KEL_ADDR "[0x%.8" PRIxPTR "]"

// Walks the fragments of `b`, printing them from level 4 on.  False for a
// damaged block.
bool walk_block(KelGlobal *world, HandleBlock *b, int level, bool addresses, Usage &usage) {
    usage.internal += kBlockHeader;
    int number = 1;
    for (Fragment *f = first_fragment(b);; f = following(f), ++number) {
        if (f->block != b || data(f) + f->length > area_end(b))
            return false;
        bool last = f->status == kLast;
        if (!last && f->status != kAllocated && f->status != kFree)
            return false;
        usage.internal += kFragHeader;
        (f->status == kAllocated ? usage.allocated : usage.free) += f->length;
        if (level >= 4) {
            const char *status = f->status == kAllocated ? "used" : "free";
            int length = static_cast<int>(f->length);
            if (last && addresses)
                kelPrint(world, "    Fragment #%d " KEL_ADDR ": status = 'last/free', length = %d\n", number,
                         reinterpret_cast<uintptr_t>(f), length);
            else if (last)
                kelPrint(world, "    Fragment #%d: status = 'last/free', length = %d\n", number, length);
            else if (addresses)
                kelPrint(world, "    Fragment #%d " KEL_ADDR ": status = '%s', length = %d\n", number,
                         reinterpret_cast<uintptr_t>(f), status, length);
            else
                kelPrint(world, "    Fragment #%d: status = '%s', length = %d\n", number, status, length);
        }
        if (last)
            return true;
    }
}

} // namespace

extern "C" {

void *kelCreateMemoryHandle(KelGlobal *world, uint32_t blockSize) {
    if (!world)
        return nullptr;
    auto *h = static_cast<KelMemHandle *>(world->mallocp(sizeof(KelMemHandle)));
    if (!h)
        return nullptr;
    std::memset(h, 0, sizeof *h);
    h->blockSize = blockSize;
    h->totalBytes = sizeof(KelMemHandle);
    kelSetActiveMemoryHandle(world, h);
    return h;
}

int kelCleanMemoryHandle(KelGlobal *world, void *handle) {
    if (!world || !handle)
        return 6;
    auto *h = static_cast<KelMemHandle *>(handle);
    h->current = nullptr;
    for (HandleBlock *b = h->blocks; b; b = b->next) {
        Fragment *f = reset_block(b);
        if (!h->current)
            h->current = f;
    }
    return 0;
}

int kelDeleteMemoryHandle(KelGlobal *world, void *handle) {
    if (!world || !handle)
        return 6;
    if (active(world) == handle)
        kelSetActiveMemoryHandle(world, nullptr);
    auto *h = static_cast<KelMemHandle *>(handle);
    for (HandleBlock *b = h->blocks; b;) {
        HandleBlock *next = b->next;
        world->freep(b);
        b = next;
    }
    world->freep(h);
    return 0;
}

int kelSetActiveMemoryHandle(KelGlobal *world, void *handle) {
    if (!world || !world->ext)
        return 6;
    KelWorldExt *ext = world->ext;
    if (handle && !ext->activeHandle) {
        ext->savedGetMem = world->getMem;
        ext->savedReallocMem = world->reallocMem;
        ext->savedFreeMem = world->freeMem;
        world->getMem = handle_alloc;
        world->reallocMem = handle_realloc;
        world->freeMem = handle_free;
    } else if (!handle && ext->activeHandle) {
        world->getMem = ext->savedGetMem;
        world->reallocMem = ext->savedReallocMem;
        world->freeMem = ext->savedFreeMem;
    }
    ext->activeHandle = handle;
    return 0;
}

void *kelGetActiveMemoryHandle(KelGlobal *world) { return active(world); }

int kelGetMemoryHandleStat(KelGlobal *world, void *handle, uint32_t stat[5], uint32_t flags) {
    if (!world || !handle || !stat)
        return 6;
    auto *h = static_cast<KelMemHandle *>(handle);
    stat[0] = h->blockCount;
    stat[1] = h->totalBytes;
    stat[2] = stat[3] = stat[4] = 0;
    int level = static_cast<int>(flags & 15u);
    if (level == 0)
        return 0;
    bool addresses = (flags & 0x20u) == 0;
    if (level >= 2) {
        if (addresses)
            kelPrint(world, "Handle: " KEL_ADDR "\n", reinterpret_cast<uintptr_t>(h));
        else
            kelPrint(world, "Handle:\n");
    }
    Usage total;
    total.internal = sizeof(KelMemHandle);
    int number = 1;
    for (HandleBlock *b = h->blocks; b; b = b->next, ++number) {
        if (level >= 3) {
            if (addresses)
                kelPrint(world, "  Block #%d " KEL_ADDR ": length = %d bytes\n", number,
                         reinterpret_cast<uintptr_t>(b), static_cast<int>(b->length));
            else
                kelPrint(world, "  Block #%d: length = %d bytes\n", number, static_cast<int>(b->length));
        }
        Usage usage;
        if (!walk_block(world, b, level, addresses, usage))
            return 18;
        if (level >= 3)
            kelPrint(world, "  Block summary (bytes): %d allocated, %d free, %d used internally\n",
                     static_cast<int>(usage.allocated), static_cast<int>(usage.free),
                     static_cast<int>(usage.internal));
        total.allocated += usage.allocated;
        total.free += usage.free;
        total.internal += usage.internal;
    }
    stat[2] = total.internal;
    stat[3] = total.allocated;
    stat[4] = total.free;
    if (level >= 2)
        kelPrint(world, "Handle summary (bytes): %d allocated, %d free, %d used internally\n",
                 static_cast<int>(total.allocated), static_cast<int>(total.free),
                 static_cast<int>(total.internal));
    return 0;
}

} // extern "C"
