// enc_object_ids.cpp - OBJECT IDENTIFIER in JSON: the dotted decimal text
// in quotes, from the encoded octets or from arcs held in an array or a
// linked list of 32 or 16-bit units.  The first three arcs are checked
// against the limits of the registration tree.
#include "json_out.h"
#include "kelvarn_convert.h"

namespace {

using namespace kel::json;

template <class Arc> struct Link {
    const Link *next;
    Arc value;
};

void check_count(KelGlobal *world, uint32_t count, uint32_t limit) {
    if (count < 2)
        fail(world, kMsgBadOid, count);
    if (limit && count > limit)
        fail(world, kMsgSizeExceeded, count);
}

// Arc `index` of value `arc` after the arcs `first` and `second`.
inline void check_arc(KelGlobal *world, uint32_t index, uint32_t arc, uint32_t first, uint32_t second) {
    if (index == 0 && arc > 2)
        fail(world, kMsgBadOid, 0);
    if (index == 1 && first < 2 && arc > 39)
        fail(world, kMsgBadOid, 1);
    if (index == 2 && first == 0 && second == 0 && (arc < 1 || arc > 26))
        fail(world, kMsgBadOid, 2);
}

// Walks `count` arcs with `next(i)` giving each, writes the dotted text
// gathered in a local buffer.
template <class Next> void put_arcs(KelGlobal *world, uint32_t count, uint32_t limit, Next next) {
    check_count(world, count, limit);
    constexpr uint32_t kRoom = 128;
    char buffer[kRoom];
    uint32_t used = 0;
    uint32_t first = 0, second = 0;
    buffer[used++] = '"';
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t arc = next(i);
        if (i < 3)
            check_arc(world, i, arc, first, second);
        if (i == 0)
            first = arc;
        else if (i == 1)
            second = arc;
        if (used > kRoom - 12) {
            put(world, buffer, used);
            used = 0;
        }
        if (i)
            buffer[used++] = '.';
        char digits[12];
        char *start = digits_before(digits + sizeof digits, arc);
        const auto n = static_cast<uint32_t>(digits + sizeof digits - start);
        std::memcpy(buffer + used, start, n);
        used += n;
    }
    buffer[used++] = '"';
    put(world, buffer, used);
}

template <class Arc> void put_linked(KelGlobal *world, const void *head, uint32_t count, uint32_t limit) {
    const auto *link = static_cast<const Link<Arc> *>(head);
    if (count == 0)
        for (const Link<Arc> *p = link; p; p = p->next)
            ++count;
    put_arcs(world, count, limit, [&link](uint32_t) {
        const uint32_t arc = link->value;
        link = link->next;
        return arc;
    });
}

template <class Arc> void put_unbounded(KelGlobal *world, const Arc *arcs, uint32_t count, uint32_t limit) {
    put_arcs(world, count, limit, [arcs](uint32_t i) { return static_cast<uint32_t>(arcs[i]); });
}

} // namespace

extern "C" {

void _kel_jenc_oid_encoded(KelGlobal *world, const unsigned char *bytes, uint32_t length, uint32_t limit,
                           int relative) {
    // Each arc ends with an octet below 0x80; the first octet holds two.
    uint32_t count = 0;
    for (uint32_t i = 0; i < length; ++i)
        count += bytes[i] < 0x80;
    if (!relative && count)
        ++count;
    if (!relative)
        check_count(world, count, limit);
    else if (limit && count > limit)
        fail(world, kMsgSizeExceeded, count);

    const uint32_t size = 4 * length + 2;
    unsigned char local[128];
    unsigned char *text = size <= sizeof local ? local : static_cast<unsigned char *>(_kel_dec_gettempmem(world, size));
    KelBuf in{length, const_cast<unsigned char *>(bytes)};
    KelBuf out{size, text};
    const int code = relative ? kelEncodedRelOidToDotVal(world, &in, &out) : kelEncodedOidToDotVal(world, &in, &out);
    if (code != 0)
        fail(world, kMsgBadOid, 0);
    put_char(world, '"');
    put(world, text, out.length);
    put_char(world, '"');
    if (text != local)
        _kel_dec_freetempmem(world, text);
}

void _kel_jenc_oid_linked_i(KelGlobal *world, const void *head, uint32_t count, uint32_t limit) {
    put_linked<uint32_t>(world, head, count, limit);
}

void _kel_jenc_oid_linked_l(KelGlobal *world, const void *head, uint32_t count, uint32_t limit) {
    put_linked<uint32_t>(world, head, count, limit);
}

void _kel_jenc_oid_linked_s(KelGlobal *world, const void *head, uint32_t count, uint32_t limit) {
    put_linked<uint16_t>(world, head, count, limit);
}

void _kel_jenc_oid_unbounded_i(KelGlobal *world, const uint32_t *arcs, uint32_t count, uint32_t limit) {
    put_unbounded(world, arcs, count, limit);
}

void _kel_jenc_oid_unbounded_l(KelGlobal *world, const uint32_t *arcs, uint32_t count, uint32_t limit) {
    put_unbounded(world, arcs, count, limit);
}

void _kel_jenc_oid_unbounded_s(KelGlobal *world, const uint16_t *arcs, uint32_t count, uint32_t limit) {
    put_unbounded(world, arcs, count, limit);
}

} // extern "C"
