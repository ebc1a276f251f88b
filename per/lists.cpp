// lists.cpp - PER SEQUENCE OF and SET OF decoding support: one call per
// length determinant counts the items (linked lists), checks them against a
// fixed array's capacity, or grows an element array across fragments.
//
// While more fragments follow, a growing array lives on the temporary stack
// (it is the newest piece there, so it grows in place or by one move); the
// call that reads the last determinant moves it to decoder memory.  A value
// of one determinant goes straight to decoder memory.

#include <cstring>

#include "per.h"

namespace {

using namespace kel::per;

// Bounds of the 64-bit callers as the reader takes them: an upper bound
// beyond 32 bits is no bound for a determinant (anything of 64K and more
// reads the unconstrained form).
template <class U>
inline uint32_t read_count(KelGlobal *world, U lb, U ub, uint8_t extended, uint8_t *last) {
    uint32_t upper = static_cast<uint32_t>(ub);
    if (extended || ub > UINT32_MAX)
        upper = 0;
    return read_length(world, static_cast<uint32_t>(lb), upper, last);
}

// Octets of `items` elements plus a header, failing on what no allocator
// could give.
inline uint32_t array_bytes(KelGlobal *world, uint64_t items, uint32_t elementSize,
                            uint32_t header) {
    uint64_t bytes;
    if (__builtin_mul_overflow(items, elementSize, &bytes) || (bytes += header) > INT32_MAX)
        fail(world, kMsgOutOfMemory, static_cast<uint32_t>(bytes > UINT32_MAX ? UINT32_MAX : bytes));
    return static_cast<uint32_t>(bytes);
}

// Fails when `count` does not fit a count field of `width` octets.
inline void check_count_width(KelGlobal *world, uint64_t count, uint32_t width) {
    if (width < 8 && count >> (8 * width))
        fail(world, kMsgSizeExceeded, static_cast<uint32_t>(count));
}

// The block behind *elements after a determinant: grown on the temporary
// stack while fragments follow (`occupied` false: nothing there yet), moved
// to decoder memory by the last one.  Sizes in octets, headers included.
inline void place(KelGlobal *world, void **elements, uint32_t newBytes, uint32_t oldBytes,
                  bool occupied, uint8_t last) {
    if (!last) {
        *elements = occupied ? _kel_dec_realloctempmem(world, *elements, oldBytes, newBytes)
                             : _kel_dec_gettempmem(world, newBytes);
        return;
    }
    if (newBytes == 0)
        return;
    void *final = _kel_dec_getmem_internal(world, newBytes);
    if (occupied) {
        std::memcpy(final, *elements, oldBytes);
        _kel_dec_freetempmem(world, *elements);
    }
    *elements = final;
}

template <class U>
inline uint32_t count_linked(KelGlobal *world, uint32_t *counter, U lb, U ub, uint8_t extended,
                             uint8_t *last) {
    const uint32_t n = read_count(world, lb, ub, extended, last);
    *counter += n;
    return n;
}

} // namespace

extern "C" {

uint32_t _kel_pdec_lsof(KelGlobal *world, uint32_t *counter, uint64_t lb, uint64_t ub,
                        uint8_t extended, uint8_t *last) {
    return count_linked(world, counter, lb, ub, extended, last);
}

uint32_t _kel_pdec_lsof_l(KelGlobal *world, uint32_t *counter, uint32_t lb, uint32_t ub,
                          uint8_t extended, uint8_t *last) {
    return count_linked(world, counter, lb, ub, extended, last);
}

void _kel_pdec_asof(KelGlobal *world, void *countField, uint32_t countWidth, uint32_t,
                    uint64_t lb, uint64_t ub, uint8_t extended, uint8_t *last) {
    const uint32_t n = read_count(world, lb, ub, extended, last);
    const uint64_t total = _kel_get_uint(countField, countWidth) + n;
    // The upper bound is the array's capacity, extended or not.
    if (ub != 0 && ub <= UINT32_MAX && total > ub)
        fail(world, kMsgSizeExceeded, static_cast<uint32_t>(total));
    check_count_width(world, total, countWidth);
    _kel_set_uint(countField, countWidth, total);
}

uint32_t _kel_pdec_asof_ptr_ia(KelGlobal *world, void **block, uint32_t countWidth,
                               uint32_t elementSize, uint32_t headerBytes, uint8_t *last) {
    const uint32_t n = read_length(world, 0, 0, last);
    const uint64_t old = *block ? _kel_get_uint(*block, countWidth) : 0;
    const uint64_t total = old + n;
    check_count_width(world, total, countWidth);
    if (n || *last) {
        const uint32_t newBytes = array_bytes(world, total, elementSize, headerBytes);
        place(world, block, newBytes, array_bytes(world, old, elementSize, headerBytes),
              *block != nullptr, *last);
    }
    if (*block)
        _kel_set_uint(*block, countWidth, total);
    return n;
}

void _kel_pdec_usof(KelGlobal *world, void *countField, void **elements, uint32_t countWidth,
                    uint32_t elementSize, uint64_t lb, uint64_t ub, uint8_t extended,
                    uint8_t *last) {
    const uint32_t n = read_count(world, lb, ub, extended, last);
    const uint64_t old = _kel_get_uint(countField, countWidth);
    const uint64_t total = old + n;
    check_count_width(world, total, countWidth);
    if (n || *last)
        place(world, elements, array_bytes(world, total, elementSize, 0),
              static_cast<uint32_t>(old * elementSize), old != 0, *last);
    _kel_set_uint(countField, countWidth, total);
}

void _kel_pdec_array_frg(KelGlobal *world, void **elements, uint32_t newSize, uint32_t oldSize,
                         uint32_t headerBytes, uint8_t last) {
    if (!last && newSize == 0 && headerBytes == 0)
        return;
    const uint32_t newBytes = array_bytes(world, newSize, 1, headerBytes);
    place(world, elements, newBytes, oldSize + headerBytes, oldSize != 0, last);
}

void _kel_pdec_unbnd_frg(KelGlobal *world, void **elements, uint32_t newSize, uint32_t oldSize,
                         uint8_t last) {
    if (!last && newSize <= oldSize)
        return;
    place(world, elements, newSize, oldSize, oldSize != 0, last);
}

} // extern "C"
