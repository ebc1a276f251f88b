// object_ids.cpp - OBJECT IDENTIFIER in OER: the contents octets of BER
// (oid_contents.h checks the first arcs and writes base 128) behind a
// determinant.  The writers take arcs from an array or a linked list of
// 16 or 32-bit arcs; the readers fill a fixed array, a block with a count in
// front, an unbounded array, a linked list, or keep the contents octets.

#include "oer.h"
#include "oid_contents.h"

namespace {

using namespace kel::oer;
namespace subids = kel::subids;

// ---------------------------------------------------------------------------
// Writing
// ---------------------------------------------------------------------------

template <class Arc> struct ArrayArcs {
    const Arc *arcs;
    uint32_t count;
    bool more() const { return count != 0; }
    uint32_t next() { return --count, static_cast<uint32_t>(*arcs++); }
};

// Nodes whose first word is the next pointer, the arc `offset` octets in.
template <class Arc> struct LinkedArcs {
    const void *node;
    uint32_t offset;
    bool more() const { return node != nullptr; }
    uint32_t next() {
        Arc arc;
        std::memcpy(&arc, static_cast<const unsigned char *>(node) + offset, sizeof arc);
        std::memcpy(&node, node, sizeof node);
        return static_cast<uint32_t>(arc);
    }
};

// Two walks over the arcs: one checks them and sums the octets, the other
// writes them.
template <class Source> void put_oid(KelGlobal *world, Source arcs) {
    Source walk = arcs;
    uint32_t count = 0, first = 0, second = 0, third = 0, rest = 0;
    for (; walk.more(); ++count) {
        const uint32_t arc = walk.next();
        if (count == 0)
            first = arc;
        else if (count == 1)
            second = arc;
        else
            rest += subids::subid_octets(arc), third = count == 2 ? arc : third;
    }
    if (count < 2)
        fail(world, kMsgBadOid, count);
    subids::check_first_arc(world, first);
    const uint32_t joined = subids::join_first_arcs(world, first, second);
    if (count > 2)
        subids::check_third_arc(world, joined, third);
    put_length(world, subids::subid_octets(joined) + rest);

    unsigned char stage[64];
    unsigned char *end = subids::put_subid(stage, joined);
    arcs.next(), arcs.next();
    while (arcs.more()) {
        if (end > stage + sizeof stage - 5) {
            put(world, stage, static_cast<uint32_t>(end - stage));
            end = stage;
        }
        end = subids::put_subid(end, arcs.next());
    }
    put(world, stage, static_cast<uint32_t>(end - stage));
}

// ---------------------------------------------------------------------------
// Reading
// ---------------------------------------------------------------------------

// One subidentifier of an arc of `Bits` bits from the `*left` octets of
// contents; a value about to lose bits is 0025E, one that runs past the
// contents 0037E.
template <uint32_t Bits> uint32_t read_subid(KelGlobal *world, int32_t *left) {
    const unsigned char *p = world->inPos;
    int32_t n = *left;
    uint32_t value = 0;
    for (;;) {
        if (n <= 0)
            fail(world, kMsgMisencoded);
        const uint32_t octet = *p++;
        --n;
        if (value >> (Bits - 7))
            fail(world, kMsgSubidTooLong, value);
        value = value << 7 | (octet & 0x7F);
        if (!(octet & 0x80))
            break;
    }
    advance(world, static_cast<uint32_t>(*left - n));
    *left = n;
    return value;
}

template <class Arc> constexpr uint32_t kArcBits = sizeof(Arc) == 2 ? 16 : 32;

// The contents' size; empty contents only when relaxed.
uint32_t oid_length(KelGlobal *world) {
    const uint32_t n = content_length(world);
    if (n == 0 && !relaxed(world))
        fail(world, kMsgMisencoded);
    return n;
}

// Arcs of contents of `n` octets, after a limit test against `capacity`
// (0: none).
uint32_t count_arcs(KelGlobal *world, uint32_t n, uint32_t capacity) {
    const auto count = static_cast<uint32_t>(_kel_odec_count_subid(world, n));
    if (capacity && count > capacity)
        fail(world, kMsgSizeExceeded, count);
    return count;
}

// The first subidentifier split in two arcs, into `first` and `second`.
template <class Arc> void read_first(KelGlobal *world, int32_t *left, Arc *first, Arc *second) {
    uint32_t a, b;
    subids::split_first(read_subid<32>(world, left), a, b);
    if (b >> (kArcBits<Arc> - 1) >> 1)
        fail(world, kMsgSubidTooLong, b);
    *first = static_cast<Arc>(a);
    *second = static_cast<Arc>(b);
}

// `count` arcs of contents of `n` octets into `out`.
template <class Arc> void read_arcs(KelGlobal *world, Arc *out, uint32_t count, uint32_t n) {
    auto left = static_cast<int32_t>(n);
    read_first(world, &left, &out[0], &out[1]);
    for (uint32_t i = 2; i < count; ++i)
        out[i] = static_cast<Arc>(read_subid<kArcBits<Arc>>(world, &left));
}

template <class Arc> uint32_t get_array(KelGlobal *world, Arc *out, uint32_t capacity) {
    const uint32_t n = oid_length(world);
    const uint32_t count = n ? count_arcs(world, n, capacity) : 0;
    if (count)
        read_arcs(world, out, count, n);
    if (capacity > count)
        std::memset(out + count, 0, (capacity - count) * sizeof(Arc));
    return count;
}

template <class Arc> void *get_array_block(KelGlobal *world, uint32_t header) {
    const uint32_t n = oid_length(world);
    if (n == 0)
        return _kel_dec_getmem(world, static_cast<int32_t>(header + 4));
    const uint32_t count = count_arcs(world, n, 0);
    auto *block = static_cast<unsigned char *>(_kel_dec_getmem(world, static_cast<int32_t>(header + count * sizeof(Arc))));
    const auto stored = static_cast<uint16_t>(count);
    std::memcpy(block, &stored, sizeof stored);
    read_arcs(world, reinterpret_cast<Arc *>(block + header), count, n);
    return block;
}

template <class Arc> uint32_t get_unbounded(KelGlobal *world, Arc **field) {
    const uint32_t n = oid_length(world);
    const uint32_t count = n ? count_arcs(world, n, 0) : 0;
    Arc *arcs = reinterpret_cast<Arc *>(final_block(world, count * static_cast<uint32_t>(sizeof(Arc))));
    if (count)
        read_arcs(world, arcs, count, n);
    *field = arcs;
    return count;
}

template <class Arc> struct Node {
    Node *next;
    Arc value;
};

// A list of nodes in final memory, counted as it grows.
template <class Arc> void get_linked(KelGlobal *world, void **head, uint32_t maxArcs) {
    *head = nullptr;
    const uint32_t n = oid_length(world);
    if (n == 0)
        return;
    auto left = static_cast<int32_t>(n);
    Node<Arc> *tail = nullptr;
    uint32_t count = 0;
    const auto append = [&](Arc arc) {
        if (maxArcs && ++count > maxArcs)
            fail(world, kMsgSizeExceeded, count);
        auto *node = static_cast<Node<Arc> *>(_kel_dec_getfixmem(world, sizeof(Node<Arc>)));
        node->next = nullptr;
        node->value = arc;
        if (tail)
            tail->next = node;
        else
            *head = node;
        tail = node;
    };
    Arc first, second;
    read_first(world, &left, &first, &second);
    append(first);
    append(second);
    while (left > 0)
        append(static_cast<Arc>(read_subid<kArcBits<Arc>>(world, &left)));
}

} // namespace

extern "C" {

void _kel_oenc_oid_array_i(KelGlobal *world, const uint32_t *arcs, uint32_t count) {
    put_oid(world, ArrayArcs<uint32_t>{arcs, count});
}
void _kel_oenc_oid_array_l(KelGlobal *world, const unsigned long *arcs, uint32_t count) {
    put_oid(world, ArrayArcs<unsigned long>{arcs, count});
}
void _kel_oenc_oid_array_s(KelGlobal *world, const uint16_t *arcs, uint32_t count) {
    put_oid(world, ArrayArcs<uint16_t>{arcs, count});
}
void _kel_oenc_oid_unbounded_i(KelGlobal *world, const uint32_t *arcs, uint32_t count) {
    put_oid(world, ArrayArcs<uint32_t>{arcs, count});
}
void _kel_oenc_oid_unbounded_l(KelGlobal *world, const unsigned long *arcs, uint32_t count) {
    put_oid(world, ArrayArcs<unsigned long>{arcs, count});
}
void _kel_oenc_oid_unbounded_s(KelGlobal *world, const uint16_t *arcs, uint32_t count) {
    put_oid(world, ArrayArcs<uint16_t>{arcs, count});
}
void _kel_oenc_oid_linked_i(KelGlobal *world, const void *first, uint32_t offset) {
    put_oid(world, LinkedArcs<uint32_t>{first, offset});
}
void _kel_oenc_oid_linked_l(KelGlobal *world, const void *first, uint32_t offset) {
    put_oid(world, LinkedArcs<unsigned long>{first, offset});
}
void _kel_oenc_oid_linked_s(KelGlobal *world, const void *first, uint32_t offset) {
    put_oid(world, LinkedArcs<uint16_t>{first, offset});
}

void _kel_oenc_write_subid(KelGlobal *world, uint32_t value) {
    unsigned char octets[5];
    put(world, octets, static_cast<uint32_t>(subids::put_subid(octets, value) - octets));
}

int32_t _kel_oenc_subid_size(int32_t position, uint32_t value, uint32_t *first) {
    if (position == 0) {
        *first = value;
        return 0;
    }
    return static_cast<int32_t>(subids::subid_octets(position == 1 ? 40 * *first + value : value));
}

uint32_t _kel_odec_oid_array_i(KelGlobal *world, uint32_t *out, uint32_t capacity) { return get_array(world, out, capacity); }
uint32_t _kel_odec_oid_array_l(KelGlobal *world, unsigned long *out, uint32_t capacity) {
    return get_array(world, out, capacity);
}
uint32_t _kel_odec_oid_array_s(KelGlobal *world, uint16_t *out, uint32_t capacity) { return get_array(world, out, capacity); }

void *_kel_odec_oid_array_i_ptr(KelGlobal *world, uint32_t headerBytes) { return get_array_block<uint32_t>(world, headerBytes); }
void *_kel_odec_oid_array_l_ptr(KelGlobal *world, uint32_t headerBytes) {
    return get_array_block<unsigned long>(world, headerBytes);
}
void *_kel_odec_oid_array_s_ptr(KelGlobal *world, uint32_t headerBytes) { return get_array_block<uint16_t>(world, headerBytes); }

uint32_t _kel_odec_oid_unbounded_i(KelGlobal *world, uint32_t **field) { return get_unbounded(world, field); }
uint32_t _kel_odec_oid_unbounded_l(KelGlobal *world, unsigned long **field) { return get_unbounded(world, field); }
uint32_t _kel_odec_oid_unbounded_s(KelGlobal *world, uint16_t **field) { return get_unbounded(world, field); }

void _kel_odec_oid_linked_i(KelGlobal *world, void **head, uint32_t maxArcs) { get_linked<uint32_t>(world, head, maxArcs); }
void _kel_odec_oid_linked_l(KelGlobal *world, void **head, uint32_t maxArcs) {
    get_linked<unsigned long>(world, head, maxArcs);
}
void _kel_odec_oid_linked_s(KelGlobal *world, void **head, uint32_t maxArcs) { get_linked<uint16_t>(world, head, maxArcs); }

uint32_t _kel_odec_oid_encoded(KelGlobal *world, void *out, uint32_t capacity) {
    const uint32_t n = oid_length(world);
    if (capacity && n > capacity)
        fail(world, kMsgSizeExceeded, n);
    const unsigned char *contents = advance(world, n);
    if (capacity) {
        std::memcpy(out, contents, n);
    } else {
        unsigned char *block = final_block(world, n);
        if (n)
            std::memcpy(block, contents, n);
        std::memcpy(out, &block, sizeof block);
    }
    return n;
}

int32_t _kel_odec_count_subid(KelGlobal *world, uint32_t length) {
    const unsigned char *p = world->inPos;
    if (length == 0 || (p[length - 1] & 0x80))
        fail(world, kMsgMisencoded);
    int32_t count = 2;
    for (uint32_t i = 0; i + 1 < length; ++i)
        count += !(p[i] & 0x80);
    return count;
}

uint32_t _kel_odec_isubid(KelGlobal *world, int32_t *left) { return read_subid<32>(world, left); }
uint32_t _kel_odec_lsubid(KelGlobal *world, int32_t *left) { return read_subid<32>(world, left); }
uint32_t _kel_odec_ssubid(KelGlobal *world, int32_t *left) { return read_subid<16>(world, left); }

} // extern "C"
