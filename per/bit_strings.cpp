// bit_strings.cpp - BIT STRING in PER: fixed values without length, the
// constrained and unconstrained encoders of the byte-array and integer
// forms, the trimming of named-bit values (trailing zero bits dropped down
// to the lower bound), and the decoders of every memory form: varying
// (inline or behind a pointer), unbounded, byte array and integer fields.

#include <bit>
#include <cstring>

#include "fragments.h"

namespace {

using namespace kel::per;
using kel::bits::top_mask;

constexpr uint32_t kBit = 1; // a unit of a bit string is one bit

// ---------------------------------------------------------------------------
// Named bits
// ---------------------------------------------------------------------------

// The count of bits up to and including the last 1 bit of the first `n`,
// never below `floor`.  Zero octets are stepped over first (eight at a time
// while they lie wholly above the octet of `floor`), then the bits of the
// last nonzero octet.  Bits of the last octet behind bit n - 1 are ignored.
template <class N> N chop_zero_bits(const unsigned char *bytes, N n, N floor) {
    if (n == 0)
        return floor;
    N index = (n - 1) >> 3;
    uint8_t octet = bytes[index] & top_mask(static_cast<uint32_t>(n - (index << 3)));
    const N stop = floor >> 3;
    while (octet == 0 && index > stop) {
        while (index >= stop + 8 && kel::bits::load_be64(bytes + index - 8) == 0)
            index -= 8;
        octet = bytes[--index];
    }
    if (octet == 0)
        return floor;
    const N end = (index << 3) + 8 - static_cast<N>(std::countr_zero(octet));
    return end > floor ? end : floor;
}

// Whether a named-bit value of *n bits fits lb..ub once trimmed; stores the
// trimmed count when it does.
template <class N> uint8_t named_bits_fit(const unsigned char *bytes, N *n, N lb, N ub) {
    N count = *n;
    if (count < lb) {
        *n = lb;
        return 1;
    }
    if (count > lb)
        count = chop_zero_bits(bytes, count, lb);
    if (count > ub)
        return 0;
    *n = count;
    return 1;
}

// ---------------------------------------------------------------------------
// Encoders
// ---------------------------------------------------------------------------

// A value of `n` bits under SIZE(lb..ub) below 64K: the constrained length,
// then the bits, aligned in aligned PER unless there are none.
inline void put_ranged(KelGlobal *world, const unsigned char *bytes, uint32_t n, uint32_t lb, uint32_t ub) {
    _kel_penc_lrang(world, n, lb, ub);
    _kel_append(world, bytes, n, 1);
}

// The byte-array form: storage of ub bits, the value trimmed of trailing
// zero bits when `chop` is set and the size may vary.
template <class N>
void put_bpbit(KelGlobal *world, const unsigned char *bytes, N lb, N ub, uint8_t chop, uint8_t extensionBit) {
    const N n = chop && ub > lb ? chop_zero_bits(bytes, ub, lb) : ub;
    if (extensionBit)
        put_bits(world, 0, 1);
    if (ub == 0)
        return;
    if (ub >= kFragmentMax)
        put_fragments<kBit>(world, bytes, n);
    else if (ub != lb)
        put_ranged(world, bytes, static_cast<uint32_t>(n), static_cast<uint32_t>(lb), static_cast<uint32_t>(ub));
    else
        put_field(world, bytes, static_cast<uint32_t>(ub));
}

template <class N> void put_unconstrained(KelGlobal *world, const unsigned char *bytes, N n, uint8_t chop) {
    if (chop)
        n = chop_zero_bits<N>(bytes, n, 0);
    put_fragments<kBit>(world, bytes, n);
}

// The octets of an integer field in wire order: a field of one or two
// octets is a u8 or u16, anything wider a u32; its high bit is bit 0.
inline void unpack(uint32_t value, uint32_t byteCount, unsigned char (&out)[4]) {
    const uint32_t width = byteCount <= 1 ? 8 : byteCount <= 2 ? 16 : 32;
    const uint32_t top = value << (32 - width);
    out[0] = static_cast<unsigned char>(top >> 24);
    out[1] = static_cast<unsigned char>(top >> 16);
    out[2] = static_cast<unsigned char>(top >> 8);
    out[3] = static_cast<unsigned char>(top);
}

// ---------------------------------------------------------------------------
// Decoders
// ---------------------------------------------------------------------------

// Stores the bits read into `local` as an integer field of `fieldBytes`
// octets; a count above the field's bits is refused.
void store_field(KelGlobal *world, void *field, uint32_t fieldBytes, const unsigned char (&local)[4], uint32_t n) {
    if (n > 8 * fieldBytes)
        fail(world, kMsgSizeExceeded, n);
    const uint32_t width = fieldBytes <= 1 ? 1 : fieldBytes <= 2 ? 2 : 4;
    const uint32_t word = static_cast<uint32_t>(local[0]) << 24 | static_cast<uint32_t>(local[1]) << 16 |
                          static_cast<uint32_t>(local[2]) << 8 | local[3];
    _kel_set_uint(field, width, word >> (32 - 8 * width));
}

// The byte-array form read under bounds: storage cleared first, and never
// written past its end.
template <class N> N get_bpbit(KelGlobal *world, unsigned char *out, uint32_t storageBytes, N lb, N ub) {
    std::memset(out, 0, storageBytes);
    const uint64_t storage = static_cast<uint64_t>(storageBytes) * 8;
    const uint64_t capacity = ub < storage ? ub : storage;
    const uint32_t lb32 = lb > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(lb);
    const uint32_t ub32 = ub > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(ub);
    return get_bounded<kBit>(world, out, lb32, ub32, capacity, kMsgSizeExceeded);
}

bool take_temporary(KelGlobal *world) { return world->ext->pushFlag != 0; }

// An unconstrained bit string behind a pointer with a header: non-final
// fragments go to nodes in temporary memory, the final one straight into
// the block, which is taken once the total is known.
uint32_t collect(KelGlobal *world, void **field, uint32_t header) {
    uint8_t last = 0;
    uint32_t length = _kel_pdec_length(world, 0, 0, &last);
    FragmentNode *first = nullptr, *tail = nullptr;
    uint64_t total = 0;
    uint32_t previous = 0;
    while (!last) {
        const uint32_t size = static_cast<uint32_t>(unit_octets<kBit>(length));
        auto *node = static_cast<FragmentNode *>(_kel_dec_gettempmem(world, sizeof(FragmentNode) + size));
        node->next = nullptr;
        node->previous = tail;
        node->size = size;
        node->data = reinterpret_cast<unsigned char *>(node + 1);
        (tail ? tail->next : first) = node;
        tail = node;
        _kel_get_bits(world, node->data, length, 1);
        total += length;
        previous = length;
        length = _kel_pdec_length(world, 0, 0, &last);
        check_grouping(world, previous, length, last);
    }
    const uint64_t whole = total + length;
    if (whole > UINT32_MAX)
        fail(world, kMsgSizeExceeded, UINT32_MAX);
    unsigned char *block = take_block(world, header + unit_octets<kBit>(whole), false);
    if (header)
        std::memset(block, 0, header);
    unsigned char *content = block + header;
    _kel_get_bits(world, content + unit_index<kBit>(total), length, 1);
    for (const FragmentNode *node = first; node; node = node->next) {
        std::memcpy(content, node->data, node->size);
        content += node->size;
    }
    if (first)
        _kel_dec_freetempmem(world, first);
    *field = block;
    return static_cast<uint32_t>(whole);
}

} // namespace

extern "C" {

// ---------------------------------------------------------------------------
// Encoders
// ---------------------------------------------------------------------------

void _kel_penc_fix_bit(KelGlobal *world, const unsigned char *bytes, uint32_t n) { put_field(world, bytes, n); }

void _kel_penc_constr_bit_l(KelGlobal *world, const unsigned char *bytes, uint32_t n, uint32_t lb, uint32_t ub,
                            uint8_t fit, uint32_t target) {
    // A value shorter than the target is copied, cleaned and zero-filled:
    // on the stack when small, else into a temporary block freed below.
    unsigned char local[64];
    unsigned char *temporary = nullptr;
    if (fit && n != target) {
        if (n < target) {
            const uint32_t size = static_cast<uint32_t>(unit_octets<kBit>(target));
            unsigned char *copy = local;
            if (size > sizeof local)
                copy = temporary = static_cast<unsigned char *>(_kel_dec_gettempmem(world, size));
            const uint32_t have = static_cast<uint32_t>(unit_octets<kBit>(n));
            std::memcpy(copy, bytes, have);
            if (n & 7)
                copy[have - 1] &= top_mask(n & 7);
            std::memset(copy + have, 0, size - have);
            bytes = copy;
        }
        n = target;
    }
    if (ub >= kFragmentMax)
        put_fragments<kBit>(world, bytes, n);
    else if (ub != lb && ub != 0)
        put_ranged(world, bytes, n, lb, ub);
    else
        put_field(world, bytes, ub); // SIZE(0) writes nothing
    if (temporary)
        _kel_dec_freetempmem(world, temporary);
}

void _kel_penc_constr_bpbit(KelGlobal *world, const unsigned char *bytes, uint64_t lb, uint64_t ub, uint8_t chop,
                            uint8_t extensionBit) {
    put_bpbit(world, bytes, lb, ub, chop, extensionBit);
}

void _kel_penc_constr_bpbit_l(KelGlobal *world, const unsigned char *bytes, uint32_t lb, uint32_t ub,
                              uint8_t chop, uint8_t extensionBit) {
    put_bpbit(world, bytes, lb, ub, chop, extensionBit);
}

void _kel_penc_constr_pbit(KelGlobal *world, uint32_t value, uint32_t byteCount, uint64_t lb, uint64_t ub,
                           uint8_t chop, uint8_t extensionBit) {
    unsigned char octets[4];
    unpack(value, byteCount, octets);
    put_bpbit(world, octets, lb, ub, chop, extensionBit);
}

void _kel_penc_constr_pbit_l(KelGlobal *world, uint32_t value, uint32_t byteCount, uint32_t lb, uint32_t ub,
                             uint8_t chop, uint8_t extensionBit) {
    unsigned char octets[4];
    unpack(value, byteCount, octets);
    put_bpbit(world, octets, lb, ub, chop, extensionBit);
}

void _kel_penc_unconstr_bit(KelGlobal *world, const unsigned char *bytes, uint64_t n, uint8_t chop) {
    put_unconstrained(world, bytes, n, chop);
}

void _kel_penc_unconstr_bit_l(KelGlobal *world, const unsigned char *bytes, uint32_t n, uint8_t chop) {
    put_unconstrained(world, bytes, n, chop);
}

void _kel_penc_uncon_bit_ll(KelGlobal *world, const unsigned char *bytes, uint64_t n) {
    put_fragments<kBit>(world, bytes, n);
}

void _kel_penc_uncon_bit(KelGlobal *world, const unsigned char *bytes, uint32_t n) {
    put_fragments<kBit>(world, bytes, n);
}

void _kel_penc_unconstr_pbit_l(KelGlobal *world, uint32_t value, uint32_t byteCount, uint32_t n, uint8_t chop) {
    unsigned char octets[4];
    unpack(value, byteCount, octets);
    put_unconstrained(world, octets, n, chop);
}

uint32_t _kel_chop_zero_bits(const unsigned char *bytes, uint32_t n, uint32_t floor) {
    return chop_zero_bits(bytes, n, floor);
}

uint64_t _kel_chop_zero_bits_ll(const unsigned char *bytes, uint64_t n, uint64_t floor) {
    return chop_zero_bits(bytes, n, floor);
}

uint8_t _kel_nmbit_lfit(const unsigned char *bytes, uint32_t *n, uint32_t lb, uint32_t ub) {
    return named_bits_fit(bytes, n, lb, ub);
}

uint8_t _kel_nmbit_lfit_ll(const unsigned char *bytes, uint64_t *n, uint64_t lb, uint64_t ub) {
    return named_bits_fit(bytes, n, lb, ub);
}

// ---------------------------------------------------------------------------
// Decoders
// ---------------------------------------------------------------------------

uint32_t _kel_pdec_constr_vbit_ia(KelGlobal *world, unsigned char *out, uint32_t lb, uint32_t ub) {
    return get_bounded<kBit>(world, out, lb, ub, ub, kMsgSizeExceeded);
}

uint32_t _kel_pdec_unconstr_vbit_ia(KelGlobal *world, unsigned char *out, uint32_t capacityBytes) {
    return get_into<kBit>(world, out, 0, 0, static_cast<uint64_t>(capacityBytes) * 8, kMsgSizeExceeded);
}

// lb 0xFFFFFFFF asks for the value cut to ub bits: lengths are then read
// unconstrained and the bits beyond ub stepped over.
uint32_t _kel_pdec_constr_vbit_ptr_ia(KelGlobal *world, void **field, uint32_t headerBytes, uint32_t lb,
                                      uint32_t ub) {
    if (ub == 0) {
        *field = header_only(world, headerBytes);
        return 0;
    }
    const bool cut = lb == UINT32_MAX;
    const FetchPlan plan{cut ? 1u : lb, cut ? 0u : ub, headerBytes, ub, kMsgSizeViolated, cut, true, false};
    const Fetched got = fetch<kBit>(world, plan);
    *field = got.block;
    return got.units;
}

uint32_t _kel_pdec_constr_ubit_ia(KelGlobal *world, unsigned char **field, uint32_t lb, uint32_t ub) {
    if (ub == 0) {
        *field = nullptr;
        return 0;
    }
    const FetchPlan plan{lb, ub, 0, ub, kMsgSizeViolated, false, false, take_temporary(world)};
    const Fetched got = fetch<kBit>(world, plan);
    *field = got.block;
    return got.units;
}

uint32_t _kel_pdec_unconstr_ubit_ia(KelGlobal *world, unsigned char **field) {
    const FetchPlan plan{0, 0, 0, UINT32_MAX, kMsgSizeExceeded, false, false, take_temporary(world)};
    const Fetched got = fetch<kBit>(world, plan);
    *field = got.block;
    return got.units;
}

uint32_t _kel_pdec_unconstr_vbit_ptr_ia(KelGlobal *world, void **field, uint32_t headerBytes) {
    return collect(world, field, headerBytes);
}

uint64_t _kel_pdec_constr_bpbit(KelGlobal *world, unsigned char *out, uint32_t storageBytes, uint64_t lb,
                                uint64_t ub) {
    return get_bpbit(world, out, storageBytes, lb, ub);
}

uint32_t _kel_pdec_constr_bpbit_l(KelGlobal *world, unsigned char *out, uint32_t storageBytes, uint32_t lb,
                                  uint32_t ub) {
    return get_bpbit(world, out, storageBytes, lb, ub);
}

uint32_t _kel_pdec_unconstr_bpbit(KelGlobal *world, unsigned char *out, uint32_t storageBytes) {
    std::memset(out, 0, storageBytes);
    return get_into<kBit>(world, out, 0, 0, static_cast<uint64_t>(storageBytes) * 8, kMsgSizeExceeded);
}

uint32_t _kel_pdec_constr_pbit_l(KelGlobal *world, void *field, uint32_t fieldBytes, uint32_t lb, uint32_t ub) {
    unsigned char local[4] = {};
    const uint32_t n = get_bounded<kBit>(world, local, lb, ub, ub < 32 ? ub : 32, kMsgSizeExceeded);
    store_field(world, field, fieldBytes, local, n);
    return n;
}

uint32_t _kel_pdec_unconstr_pbit(KelGlobal *world, void *field, uint32_t fieldBytes) {
    unsigned char local[4] = {};
    const uint32_t n = get_into<kBit>(world, local, 0, 0, 32, kMsgSizeExceeded);
    store_field(world, field, fieldBytes, local, n);
    return n;
}

} // extern "C"
