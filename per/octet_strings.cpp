// octet_strings.cpp - OCTET STRING in PER: the constrained encoders (fixed
// size, ranged length, fragments from 64K on) and the unconstrained ones,
// and the decoders of the fixed array, the varying forms (inline or behind
// a pointer with a header) and the unbounded form.  Allocating decoders
// size a fragmented value first and take one block for it.

#include <cstring>

#include "fragments.h"

namespace {

using namespace kel::per;

constexpr uint32_t kOctet = 8; // a unit of an octet string is eight bits

template <class N> void put_constrained(KelGlobal *world, const unsigned char *bytes, N n, N lb, N ub) {
    if (ub == 0)
        return;
    if (ub >= kFragmentMax) {
        put_fragments<kOctet>(world, bytes, n);
    } else if (lb == ub) {
        put_field(world, bytes, static_cast<uint32_t>(ub) * kOctet);
    } else {
        _kel_penc_lrang(world, static_cast<uint32_t>(n), static_cast<uint32_t>(lb), static_cast<uint32_t>(ub));
        _kel_append(world, bytes, static_cast<uint32_t>(n) * kOctet, 1);
    }
}

Fetched fetch_octets(KelGlobal *world, uint32_t lb, uint32_t ub, uint32_t header, bool roomForLimit,
                     bool temporary) {
    const uint32_t limit = ub ? ub : UINT32_MAX;
    const int message = ub ? kMsgSizeViolated : kMsgSizeExceeded;
    const FetchPlan plan{lb, ub, header, limit, message, false, roomForLimit, temporary};
    return fetch<kOctet>(world, plan);
}

} // namespace

extern "C" {

// ---------------------------------------------------------------------------
// Encoders
// ---------------------------------------------------------------------------

void _kel_penc_constr_oct(KelGlobal *world, const unsigned char *bytes, uint64_t n, uint64_t lb, uint64_t ub) {
    put_constrained(world, bytes, n, lb, ub);
}

void _kel_penc_constr_oct_l(KelGlobal *world, const unsigned char *bytes, uint32_t n, uint32_t lb, uint32_t ub) {
    put_constrained(world, bytes, n, lb, ub);
}

void _kel_penc_unconstr_oct(KelGlobal *world, const unsigned char *bytes, uint64_t n) {
    put_fragments<kOctet>(world, bytes, n);
}

void _kel_penc_uncon_oct_ll(KelGlobal *world, const unsigned char *bytes, uint64_t n) {
    put_fragments<kOctet>(world, bytes, n);
}

void _kel_penc_unconstr_oct_l(KelGlobal *world, const unsigned char *bytes, uint32_t n) {
    put_fragments<kOctet>(world, bytes, n);
}

void _kel_penc_uncon_oct(KelGlobal *world, const unsigned char *bytes, uint32_t n) {
    put_fragments<kOctet>(world, bytes, n);
}

// ---------------------------------------------------------------------------
// Decoders
// ---------------------------------------------------------------------------

// A fixed size of 64K or more comes in fragments, which must add up to n.
void _kel_pdec_fixed_oct(KelGlobal *world, unsigned char *out, uint32_t n) {
    if (n < kFragmentMax) {
        get_field(world, out, n * kOctet);
        return;
    }
    const uint32_t total = get_into<kOctet>(world, out, n, n, n, kMsgSizeViolated);
    if (total != n)
        fail(world, kMsgSizeViolated, total);
}

uint32_t _kel_pdec_constr_voct_ia(KelGlobal *world, unsigned char *out, uint32_t lb, uint32_t ub) {
    return get_bounded<kOctet>(world, out, lb, ub, ub, kMsgSizeViolated);
}

uint32_t _kel_pdec_unconstr_voct_ia(KelGlobal *world, unsigned char *out, uint32_t capacity) {
    return get_into<kOctet, Grouping::kFirst>(world, out, 0, 0, capacity, kMsgSizeExceeded);
}

// One determinant takes room for ub octets whatever its length; a
// fragmented value takes its exact size.
uint32_t _kel_pdec_constr_voct_ptr_ia(KelGlobal *world, void **field, uint32_t headerBytes, uint32_t lb,
                                      uint32_t ub) {
    if (ub == 0) {
        *field = header_only(world, headerBytes);
        return 0;
    }
    const Fetched got = fetch_octets(world, lb, ub, headerBytes, true, false);
    *field = got.block;
    return got.units;
}

uint32_t _kel_pdec_unconstr_voct_ptr_ia(KelGlobal *world, void **field, uint32_t headerBytes) {
    const Fetched got = fetch_octets(world, 0, 0, headerBytes, false, false);
    *field = got.block;
    return got.units;
}

uint32_t _kel_pdec_constr_uoct_ia(KelGlobal *world, unsigned char **field, uint32_t lb, uint32_t ub) {
    if (ub == 0) {
        *field = nullptr;
        return 0;
    }
    const Fetched got = fetch_octets(world, lb, ub, 0, false, world->ext->pushFlag != 0);
    *field = got.block;
    return got.units;
}

uint32_t _kel_pdec_unconstr_uoct_ia(KelGlobal *world, unsigned char **field) {
    const Fetched got = fetch_octets(world, 0, 0, 0, false, world->ext->pushFlag != 0);
    *field = got.block;
    return got.units;
}

} // extern "C"
