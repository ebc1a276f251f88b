// oid_time_in.cpp - OBJECT IDENTIFIER and RELATIVE-OID values from their
// dotted JSON strings, into arrays, allocated arrays, linked nodes and
// contents octets; GeneralizedTime and UTCTime strings into a time record.
//
// The tokeniser counts the nodes first without consuming them and then
// reads one node at a time, numbers or names by the position of the arc;
// the position after each arc follows from the arc's value.  One template
// over the arc's width serves the `_i`, `_l` and `_s` forms.

#include "kelvarn_time.h"
#include "time_contents.h"
#include "values_in.h"

namespace {

using namespace kel::json;

// Arc positions of the node reader: the first arc, the second under 0 or
// under 1, the third under 0.0, any other.
enum : int { kFirstArc = 0, kSecondUnder0 = 1, kSecondUnder1 = 2, kThirdUnder00 = 3, kOtherArc = 4 };

constexpr int next_state(int state, uint64_t value) {
    if (state == kFirstArc)
        return value == 0 ? kSecondUnder0 : value == 1 ? kSecondUnder1 : kOtherArc;
    if (state == kSecondUnder0)
        return value == 0 ? kThirdUnder00 : kOtherArc;
    return kOtherArc;
}

// Reads the arcs of one string in order.
struct Arcs {
    KelJsonCursor *cursor;
    int state;
    uint64_t next() {
        const uint64_t v = _kel_jget_subid(cursor, state);
        state = next_state(state, v);
        return v;
    }
};

// The arc count of an absolute identifier, which has at least two.
uint32_t start(KelJsonCursor *cursor) {
    need_string(cursor);
    const uint32_t n = _kel_jdec_obj_length(cursor);
    if (n < 2)
        fail(cursor, kMsgBadOidCount, n);
    return n;
}

template <class Arc> Arc narrow(KelJsonCursor *cursor, uint64_t v) {
    if (v > static_cast<Arc>(~Arc{0}) || v > 0xFFFFFFFFu)
        _kel_enc_llerror(cursor->world, kMsgSubidTooLong, v);
    return static_cast<Arc>(v);
}

template <class Arc> void read_into(KelJsonCursor *cursor, Arc *out, uint32_t n) {
    Arcs arcs{cursor, kFirstArc};
    for (uint32_t i = 0; i < n; ++i)
        out[i] = narrow<Arc>(cursor, arcs.next());
    _kel_json_chk_eos(cursor);
}

template <class Arc> uint32_t array(KelJsonCursor *cursor, Arc *out, uint32_t capacity) {
    const uint32_t n = start(cursor);
    if (n > capacity)
        fail(cursor, kMsgSizeViolated, n);
    read_into(cursor, out, n);
    return n;
}

template <class Arc> void *array_ptr(KelJsonCursor *cursor, uint32_t headerBytes) {
    const uint32_t n = start(cursor);
    auto *block = static_cast<unsigned char *>(_kel_dec_getmem(cursor->world, static_cast<int32_t>(headerBytes + n * sizeof(Arc))));
    const uint16_t count = static_cast<uint16_t>(n);
    std::memcpy(block, &count, sizeof count);
    read_into(cursor, reinterpret_cast<Arc *>(block + headerBytes), n);
    return block;
}

template <class Arc> uint32_t unbounded(KelJsonCursor *cursor, Arc **field) {
    const uint32_t n = start(cursor);
    auto *out = static_cast<Arc *>(_kel_dec_getmem_internal(cursor->world, n * sizeof(Arc)));
    read_into(cursor, out, n);
    *field = out;
    return n;
}

template <class Arc> struct Node {
    Node *next;
    Arc value;
};

template <class Arc> void linked(KelJsonCursor *cursor, void **head, uint32_t maxArcs) {
    const uint32_t n = start(cursor);
    if (maxArcs && n > maxArcs)
        fail(cursor, kMsgSizeViolated, n);
    Arcs arcs{cursor, kFirstArc};
    Node<Arc> **link = reinterpret_cast<Node<Arc> **>(head);
    do {
        auto *node = static_cast<Node<Arc> *>(_kel_dec_getmem(cursor->world, sizeof(Node<Arc>)));
        node->value = narrow<Arc>(cursor, arcs.next());
        *link = node;
        link = &node->next;
    } while (cursor->buffer[0] == '.');
    _kel_json_chk_eos(cursor);
}

// Octets of an arc in base 128.
constexpr uint32_t groups(uint64_t v) {
    uint32_t n = 1;
    while (v >>= 7)
        ++n;
    return n;
}

unsigned char *put_arc(unsigned char *p, uint64_t v) {
    const uint32_t n = groups(v);
    for (uint32_t i = n; i-- > 0; v >>= 7)
        p[i] = static_cast<unsigned char>((v & 0x7F) | (i + 1 < n ? 0x80 : 0));
    return p + n;
}

constexpr uint32_t kArcsOnStack = 32;

} // namespace

extern "C" {

uint32_t _kel_jdec_oid_array_i(KelJsonCursor *cursor, uint32_t *out, uint32_t capacity) {
    return array(cursor, out, capacity);
}
uint32_t _kel_jdec_oid_array_l(KelJsonCursor *cursor, unsigned long *out, uint32_t capacity) {
    return array(cursor, out, capacity);
}
uint32_t _kel_jdec_oid_array_s(KelJsonCursor *cursor, uint16_t *out, uint32_t capacity) {
    return array(cursor, out, capacity);
}

void *_kel_jdec_oid_array_i_ptr(KelJsonCursor *cursor, uint32_t headerBytes) {
    return array_ptr<uint32_t>(cursor, headerBytes);
}
void *_kel_jdec_oid_array_l_ptr(KelJsonCursor *cursor, uint32_t headerBytes) {
    return array_ptr<unsigned long>(cursor, headerBytes);
}
void *_kel_jdec_oid_array_s_ptr(KelJsonCursor *cursor, uint32_t headerBytes) {
    return array_ptr<uint16_t>(cursor, headerBytes);
}

uint32_t _kel_jdec_oid_unbounded_i(KelJsonCursor *cursor, uint32_t **field) { return unbounded(cursor, field); }
uint32_t _kel_jdec_oid_unbounded_l(KelJsonCursor *cursor, unsigned long **field) { return unbounded(cursor, field); }
uint32_t _kel_jdec_oid_unbounded_s(KelJsonCursor *cursor, uint16_t **field) { return unbounded(cursor, field); }

void _kel_jdec_oid_linked_i(KelJsonCursor *cursor, void **head, uint32_t maxArcs) {
    linked<uint32_t>(cursor, head, maxArcs);
}
void _kel_jdec_oid_linked_l(KelJsonCursor *cursor, void **head, uint32_t maxArcs) {
    linked<unsigned long>(cursor, head, maxArcs);
}
void _kel_jdec_oid_linked_s(KelJsonCursor *cursor, void **head, uint32_t maxArcs) {
    linked<uint16_t>(cursor, head, maxArcs);
}

uint32_t _kel_jdec_oid_encoded(KelJsonCursor *cursor, void *out, uint32_t capacity) {
    need_string(cursor);
    const bool relative = (capacity & 0x80000000u) != 0;
    if (relative)
        capacity = ~capacity;
    const uint32_t n = _kel_jdec_obj_length(cursor);
    if (!relative && n < 2)
        fail(cursor, kMsgBadOidCount, n);

    uint64_t onStack[kArcsOnStack];
    uint64_t *arcs = n <= kArcsOnStack ? onStack : static_cast<uint64_t *>(_kel_dec_gettempmem(cursor->world, n * 8));
    Arcs reader{cursor, relative ? kOtherArc : kFirstArc};
    for (uint32_t i = 0; i < n; ++i)
        arcs[i] = reader.next();
    _kel_json_chk_eos(cursor);

    // The first two arcs of an absolute identifier make one subidentifier.
    uint32_t first = 0;
    if (!relative) {
        if (arcs[1] > UINT64_MAX - 80)
            _kel_enc_llerror(cursor->world, kMsgSubidTooLong, arcs[1]);
        arcs[1] += arcs[0] * 40;
        first = 1;
    }
    uint32_t length = 0;
    for (uint32_t i = first; i < n; ++i)
        length += groups(arcs[i]);
    unsigned char *p;
    if (capacity) {
        if (length > capacity)
            fail(cursor, kMsgSizeViolated, length);
        p = static_cast<unsigned char *>(out);
    } else {
        p = length ? static_cast<unsigned char *>(_kel_dec_getmem_internal(cursor->world, length)) : nullptr;
        *static_cast<unsigned char **>(out) = p;
    }
    for (uint32_t i = first; i < n; ++i)
        p = put_arc(p, arcs[i]);
    if (arcs != onStack)
        _kel_dec_freetempmem(cursor->world, arcs);
    return length;
}

} // extern "C"

namespace {

void decode_time(KelJsonCursor *cursor, KelTimeStruct *value, int isUtc) {
    const char *what = isUtc ? "UTCTime" : "GeneralizedTime";
    need_string(cursor);
    if (_kel_jget_string(cursor) != 0)
        fail_text(cursor, kMsgItemTooLong, what);
    if (_kel_translate_time(reinterpret_cast<const char *>(cursor->buffer), value, isUtc) != 0)
        fail_text(cursor, kMsgInvalidEncoding, what);
    if (!(cursor->world->decodingFlags & NOCONSTRAIN))
        kel::useful_time::check_ranges(cursor->world, value, 999);
}

} // namespace

extern "C" {

void _kel_jdec_gtime(KelJsonCursor *cursor, KelTimeStruct *value) { decode_time(cursor, value, 0); }
void _kel_jdec_utime(KelJsonCursor *cursor, KelTimeStruct *value) { decode_time(cursor, value, 1); }

} // extern "C"
