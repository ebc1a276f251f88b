// object_ids.cpp - OBJECT IDENTIFIER and RELATIVE-OID in PER: the writers of
// arc arrays (32 and 16 bits), linked arcs and encoded contents, the step
// that writes one arc, and the readers into fixed arrays, allocated counted
// arrays, unbounded arrays, linked nodes and encoded contents, with the step
// that reads one subidentifier.
//
// The contents are those of BER (oid_contents.h) behind an unconstrained
// length.  Writers assemble the subidentifiers in one buffer and append it
// in one block; readers take the contents in place when the input stands on
// an octet boundary (always so in aligned PER) and walk them in memory.  The
// readers that allocate refuse contents above 225 octets and test the input
// before they take memory.

#include <bit>
#include <cstring>

#include "contents.h"
#include "oid_contents.h"

namespace {

using namespace kel::per;
using namespace kel::per::contents;
using kel::subids::check_first_arc;
using kel::subids::check_third_arc;
using kel::subids::join_first_arcs;
using kel::subids::put_subid;
using kel::subids::split_first;

// ---------------------------------------------------------------------------
// Writing

// The arcs of an array, 32 or 16 bits wide.
template <class Arc> struct ArrayArcs {
    const Arc *arcs;
    uint32_t next() { return *arcs++; }
};

// The arcs of linked nodes; a 16-bit form keeps its arc in the low half of
// the value's place.
struct LinkedArcs {
    const KelOidLink *node;
    bool wide;
    uint32_t next() {
        uint32_t arc;
        if (wide) {
            arc = node->value;
        } else {
            uint16_t half;
            std::memcpy(&half, &node->value, sizeof half);
            arc = half;
        }
        node = node->next;
        return arc;
    }
};

uint32_t count_nodes(KelGlobal *world, const KelOidLink *first) {
    if (!first)
        fail(world, kMsgNullInput);
    uint32_t count = 0;
    for (; first; first = first->next)
        ++count;
    return count;
}

// Checks the arcs as it goes and writes the contents behind their length.
template <class Arcs> void encode_arcs(KelGlobal *world, Arcs arcs, uint32_t count) {
    if (count < 2)
        fail(world, kMsgBadOid, count);
    unsigned char local[256];
    unsigned char *buffer = local;
    const uint64_t room = uint64_t{count} * 5;
    if (room > UINT32_MAX / 2)
        fail(world, kMsgBadOid, count);
    if (room > sizeof local)
        buffer = static_cast<unsigned char *>(_kel_dec_gettempmem(world, static_cast<uint32_t>(room)));
    const uint32_t first = arcs.next();
    check_first_arc(world, first);
    const uint32_t joined = join_first_arcs(world, first, arcs.next());
    unsigned char *p = put_subid(buffer, joined);
    for (uint32_t i = 2; i < count; ++i) {
        const uint32_t arc = arcs.next();
        if (i == 2)
            check_third_arc(world, joined, arc);
        p = put_subid(p, arc);
    }
    put_contents(world, buffer, static_cast<uint32_t>(p - buffer));
    if (buffer != local)
        _kel_dec_freetempmem(world, buffer);
}

template <class Arc> void encode_array(KelGlobal *world, const Arc *arcs, uint32_t count) {
    if (!arcs)
        fail(world, kMsgNullInput);
    encode_arcs(world, ArrayArcs<Arc>{arcs}, count);
}

void encode_linked(KelGlobal *world, const void *first, bool wide) {
    const auto *node = static_cast<const KelOidLink *>(first);
    encode_arcs(world, LinkedArcs{node, wide}, count_nodes(world, node));
}

void encode_contents(KelGlobal *world, const unsigned char *contents, uint32_t length, uint32_t capacity) {
    if (capacity > 0 && length > capacity)
        fail(world, kMsgSizeExceeded, length);
    put_contents(world, contents, length);
}

// ---------------------------------------------------------------------------
// Reading

// One subidentifier of at most `left` octets, taken by `octet(i)`; returns
// its octets.  Beyond 32 bits (the bits of the first octet, then 7 a step)
// is 0025E; contents that end inside it are 0037E.
template <class Octet> uint32_t read_subid(KelGlobal *world, uint32_t left, Octet octet, uint32_t &value) {
    uint32_t v = 0, bits = 0;
    for (uint32_t i = 0; i < left; ++i) {
        const uint8_t o = octet(i);
        bits = i == 0 ? static_cast<uint32_t>(std::bit_width(o & 0x7Fu)) : bits + 7;
        if (bits > 32)
            fail(world, kMsgSubidTooLong, bits);
        v = v << 7 | (o & 0x7Fu);
        if (!(o & 0x80)) {
            value = v;
            return i + 1;
        }
    }
    fail(world, kMsgMisencoded);
}

// Hands the arcs of the contents p[0..n) to `sink(index, arc)`, the first
// subidentifier as two arcs; more than `capacity` arcs are 0016S with `n`.
template <class Sink>
uint32_t for_each_arc(KelGlobal *world, const unsigned char *p, uint32_t n, uint32_t capacity, Sink sink) {
    const auto octet = [&p](uint32_t i) { return p[i]; };
    uint32_t subid, first, second;
    uint32_t at = read_subid(world, n, octet, subid);
    split_first(subid, first, second);
    if (capacity < 2)
        fail(world, kMsgSizeExceeded, n);
    sink(0, first);
    sink(1, second);
    uint32_t count = 2;
    while (at < n) {
        if (count == capacity)
            fail(world, kMsgSizeExceeded, n);
        p += at;
        n -= at;
        at = read_subid(world, n, octet, subid);
        sink(count++, subid);
    }
    return count;
}

// Arcs of a 16-bit form above 65535 are 0025E.
inline uint16_t narrow(KelGlobal *world, uint32_t arc) {
    if (arc > 0xFFFF)
        fail(world, kMsgSubidTooLong, arc);
    return static_cast<uint16_t>(arc);
}

template <class Arc> void store_arc(KelGlobal *world, Arc *out, uint32_t arc) {
    *out = sizeof(Arc) == 2 ? narrow(world, arc) : static_cast<Arc>(arc);
}

// Runs `body` on the contents of `length` octets, where they can be read.
template <class Body> void with_contents(KelGlobal *world, uint32_t length, Body body) {
    unsigned char local[256];
    unsigned char *temp;
    body(take_octets(world, length, local, sizeof local, &temp));
    if (temp)
        _kel_dec_freetempmem(world, temp);
}

// The length of the forms that allocate: contents above 225 octets are
// refused, and none at all unless relaxed.  0 (relaxed) tells the caller to
// leave a null value.
uint32_t allocating_length(KelGlobal *world) {
    const uint32_t length = contents_length(world);
    if (length > kMaxOidOctets)
        fail(world, kMsgOidTooLong, length);
    if (length == 0 && !relaxed(world))
        fail(world, kMsgMisencoded);
    need_bits(world, uint64_t{length} * 8);
    return length;
}

template <class Arc> void decode_array(KelGlobal *world, Arc *arcs, uint16_t *countField, uint32_t capacity) {
    const uint32_t length = contents_length(world);
    if (length == 0)
        return;
    with_contents(world, length, [&](const unsigned char *p) {
        *countField = static_cast<uint16_t>(
            for_each_arc(world, p, length, capacity, [&](uint32_t i, uint32_t arc) { store_arc(world, arcs + i, arc); }));
    });
}

// A block of `header` octets, a 16-bit count and the arcs (32-bit ones on
// the next 4-octet boundary), of at most 50 arcs.
template <class Arc> void decode_array_ptr(KelGlobal *world, void **field, uint32_t header, bool limited) {
    constexpr uint32_t kMaxArcs = 50;
    constexpr uint32_t kArcsAt = sizeof(Arc) == 2 ? 2 : 4;
    const uint32_t length = limited ? allocating_length(world) : contents_length(world);
    if (length == 0 && limited) {
        *field = nullptr;
        return;
    }
    Arc arcs[kMaxArcs];
    uint32_t count = 0;
    if (length)
        with_contents(world, length, [&](const unsigned char *p) {
            count = for_each_arc(world, p, length, kMaxArcs, [&](uint32_t i, uint32_t arc) { store_arc(world, arcs + i, arc); });
        });
    auto *block = static_cast<unsigned char *>(
        _kel_dec_getmem(world, static_cast<int32_t>(header + kArcsAt + count * sizeof(Arc))));
    const auto count16 = static_cast<uint16_t>(count);
    std::memcpy(block + header, &count16, sizeof count16);
    std::memcpy(block + header + kArcsAt, arcs, count * sizeof(Arc));
    *field = block;
}

// Arcs in contents: one for each octet with a clear top bit, and one more
// for the first subidentifier.  Contents that end inside a subidentifier
// are 0037E.
uint32_t arcs_in(KelGlobal *world, const unsigned char *p, uint32_t n) {
    if (p[n - 1] & 0x80)
        fail(world, kMsgMisencoded);
    uint32_t ends = 0;
    for (uint32_t i = 0; i < n; ++i)
        ends += (p[i] & 0x80) == 0;
    return ends + 1;
}

template <class Arc> void decode_unbounded(KelGlobal *world, Arc **field, uint16_t *countField) {
    const uint32_t length = allocating_length(world);
    *field = nullptr;
    *countField = 0;
    if (length == 0)
        return;
    with_contents(world, length, [&](const unsigned char *p) {
        const uint32_t room = arcs_in(world, p, length);
        Arc *arcs = static_cast<Arc *>(_kel_dec_getmem(world, static_cast<int32_t>(room * sizeof(Arc))));
        *field = arcs;
        *countField = static_cast<uint16_t>(
            for_each_arc(world, p, length, room, [&](uint32_t i, uint32_t arc) { store_arc(world, arcs + i, arc); }));
    });
}

// Linked nodes, one piece of decoder memory each; a 16-bit form keeps its
// arc in the low half of the value's place.
void decode_linked(KelGlobal *world, void **head, bool wide) {
    const uint32_t length = allocating_length(world);
    *head = nullptr;
    if (length == 0)
        return;
    with_contents(world, length, [&](const unsigned char *p) {
        KelOidLink **link = reinterpret_cast<KelOidLink **>(head);
        for_each_arc(world, p, length, UINT32_MAX, [&](uint32_t, uint32_t arc) {
            auto *node = static_cast<KelOidLink *>(_kel_dec_getfixmem(world, sizeof(KelOidLink)));
            node->next = nullptr;
            node->value = 0;
            if (wide) {
                node->value = arc;
            } else {
                const uint16_t half = narrow(world, arc);
                std::memcpy(&node->value, &half, sizeof half);
            }
            *link = node;
            link = &node->next;
        });
    });
}

uint32_t decode_contents(KelGlobal *world, void *target, int32_t capacity) {
    const uint32_t length = contents_length(world);
    if (length > kMaxOidOctets)
        fail(world, kMsgOidTooLong, length);
    need_bits(world, uint64_t{length} * 8);
    void *dest = target;
    if (capacity >= 0) {
        if (length > static_cast<uint32_t>(capacity))
            fail(world, kMsgSizeExceeded, length);
    } else {
        dest = length ? _kel_dec_getmem_internal(world, length) : nullptr;
        *static_cast<void **>(target) = dest;
    }
    if (length)
        _kel_get_bits(world, dest, length * 8, 0);
    return length;
}

} // namespace

extern "C" {

void _kel_penc_objidi(KelGlobal *world, const uint32_t *arcs, uint32_t count) { encode_array(world, arcs, count); }

void _kel_penc_objidl(KelGlobal *world, const uint32_t *arcs, uint32_t count) { encode_array(world, arcs, count); }

void _kel_penc_objids(KelGlobal *world, const uint16_t *arcs, uint32_t count) { encode_array(world, arcs, count); }

void _kel_penc_link_objidi(KelGlobal *world, const void *first) { encode_linked(world, first, true); }

void _kel_penc_link_objidl_ia(KelGlobal *world, const void *first) { encode_linked(world, first, true); }

void _kel_penc_link_objids(KelGlobal *world, const void *first) { encode_linked(world, first, false); }

void _kel_penc_subid(KelGlobal *world, uint32_t position, uint32_t value, uint32_t *firstArcs) {
    if (position == 0) {
        check_first_arc(world, value);
        *firstArcs = value;
        return;
    }
    if (position == 1)
        value = *firstArcs = join_first_arcs(world, *firstArcs, value);
    else if (position == 2)
        check_third_arc(world, *firstArcs, value);
    unsigned char octets[5];
    const unsigned char *end = put_subid(octets, value);
    _kel_append(world, octets, static_cast<uint32_t>(end - octets) * 8, 1);
}

void _kel_penc_eobjid_ia(KelGlobal *world, const unsigned char *contents, uint32_t length, uint32_t capacity) {
    encode_contents(world, contents, length, capacity);
}

void _kel_penc_ereloid_ia(KelGlobal *world, const unsigned char *contents, uint32_t length, uint32_t capacity) {
    encode_contents(world, contents, length, capacity);
}

void _kel_pdec_aobjidi(KelGlobal *world, uint32_t *arcs, uint16_t *count, uint32_t capacity) {
    decode_array(world, arcs, count, capacity);
}

void _kel_pdec_aobjidl(KelGlobal *world, uint32_t *arcs, uint16_t *count, uint32_t capacity) {
    decode_array(world, arcs, count, capacity);
}

void _kel_pdec_aobjids(KelGlobal *world, uint16_t *arcs, uint16_t *count, uint32_t capacity) {
    decode_array(world, arcs, count, capacity & 0xFFFF);
}

void _kel_pdec_aobjidi_ptr_ia(KelGlobal *world, void **field, uint32_t headerBytes) {
    decode_array_ptr<uint32_t>(world, field, headerBytes, false);
}

void _kel_pdec_aobjidl_ptr_ia(KelGlobal *world, void **field, uint32_t headerBytes) {
    decode_array_ptr<uint32_t>(world, field, headerBytes, false);
}

void _kel_pdec_aobjids_ptr_ia(KelGlobal *world, void **field, uint32_t headerBytes) {
    decode_array_ptr<uint16_t>(world, field, headerBytes, true);
}

void _kel_pdec_uobjidi(KelGlobal *world, uint32_t **field, uint16_t *count) { decode_unbounded(world, field, count); }

void _kel_pdec_uobjidl(KelGlobal *world, uint32_t **field, uint16_t *count) { decode_unbounded(world, field, count); }

void _kel_pdec_uobjids(KelGlobal *world, uint16_t **field, uint16_t *count) { decode_unbounded(world, field, count); }

void _kel_pdec_link_objidi(KelGlobal *world, void **head) { decode_linked(world, head, true); }

void _kel_pdec_link_objidl_ia(KelGlobal *world, void **head) { decode_linked(world, head, true); }

void _kel_pdec_link_objids(KelGlobal *world, void **head) { decode_linked(world, head, false); }

uint32_t _kel_pdec_eobjid_ia(KelGlobal *world, void *target, int32_t capacity) {
    return decode_contents(world, target, capacity);
}

uint32_t _kel_pdec_ereloid_ia(KelGlobal *world, void *target, int32_t capacity) {
    return decode_contents(world, target, capacity);
}

int32_t _kel_pdec_subid(KelGlobal *world, uint32_t position, uint32_t left, uint32_t *value, uint32_t *second) {
    if (position == 1) {
        *value = *second;
        return 0;
    }
    uint32_t subid;
    const uint32_t used =
        read_subid(world, left, [world](uint32_t) { return static_cast<uint8_t>(get_bits(world, 8)); }, subid);
    if (position == 0)
        split_first(subid, *value, *second);
    else
        *value = subid;
    return static_cast<int32_t>(used);
}

} // extern "C"
