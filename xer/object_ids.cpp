// object_ids.cpp - OBJECT IDENTIFIER and RELATIVE-OID in XER: the arcs in
// decimal with dots between them, from arrays or linked lists of 32 or
// 16-bit arcs, or from the contents octets.  The first three arcs are held
// to the registration tree: at most 2 at the top, at most 39 below 0 and
// 1, and under 0.0 (itu-t recommendation) a letter from 1 to 26.
#include "kelvarn_convert.h"
#include "xer_out.h"

namespace {

using namespace kel::xer;

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

// Writes `count` arcs with `next()` giving each, gathered in a local buffer.
template <class Next> void put_arcs(KelGlobal *world, uint32_t count, uint32_t limit, Next next) {
    check_count(world, count, limit);
    XerOutputState *state = out_state(world);
    char text[128];
    uint32_t used = 0;
    uint32_t first = 0, second = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t arc = next();
        if (i == 0 && arc > 2)
            fail(world, kMsgBadOid, 0);
        if (i == 1 && first < 2 && arc > 39)
            fail(world, kMsgBadOid, 1);
        if (i == 2 && first == 0 && second == 0 && (arc < 1 || arc > 26))
            fail(world, kMsgBadOid, 2);
        (i == 0 ? first : second) = arc;
        if (used > sizeof text - 12) {
            put_text(world, state, text, used);
            used = 0;
        }
        if (i)
            text[used++] = '.';
        char digits[12];
        const char *start = digits_before(digits + sizeof digits, arc);
        const auto n = static_cast<uint32_t>(digits + sizeof digits - start);
        std::memcpy(text + used, start, n);
        used += n;
    }
    put_text(world, state, text, used);
}

template <class Arc> void put_array(KelGlobal *world, const Arc *arcs, uint32_t count, uint32_t limit) {
    put_arcs(world, count, limit, [&arcs] { return static_cast<uint32_t>(*arcs++); });
}

template <class Arc> void put_linked(KelGlobal *world, const void *first, uint32_t limit) {
    const auto *link = static_cast<const Link<Arc> *>(first);
    uint32_t count = 0;
    for (const Link<Arc> *p = link; p; p = p->next)
        ++count;
    put_arcs(world, count, limit, [&link] {
        const uint32_t arc = link->value;
        link = link->next;
        return arc;
    });
}

// Texts of up to this size are made on the stack.
constexpr uint32_t kLocalText = 64;

} // namespace

extern "C" {

void _kel_tex_aobjidi(KelGlobal *world, const uint32_t *arcs, uint32_t count, uint32_t limit) {
    put_array(world, arcs, count, limit);
}

void _kel_tex_aobjidl(KelGlobal *world, const uint32_t *arcs, uint32_t count, uint32_t limit) {
    put_array(world, arcs, count, limit);
}

void _kel_tex_aobjids(KelGlobal *world, const uint16_t *arcs, uint32_t count, uint32_t limit) {
    put_array(world, arcs, count, limit);
}

void _kel_tex_lobjidi(KelGlobal *world, const void *first, uint32_t limit) {
    put_linked<uint32_t>(world, first, limit);
}

void _kel_tex_lobjidl(KelGlobal *world, const void *first, uint32_t limit) {
    put_linked<uint32_t>(world, first, limit);
}

void _kel_tex_lobjids(KelGlobal *world, const void *first, uint32_t limit) {
    put_linked<uint16_t>(world, first, limit);
}

void _kel_tex_eobjid(KelGlobal *world, const unsigned char *bytes, uint32_t length, uint32_t limit, int relative) {
    // Every arc ends with an octet below 0x80; one more counts the two arcs
    // that the first one holds (and lets a single relative arc pass).
    uint32_t count = 1;
    for (uint32_t i = 0; i < length; ++i)
        count += bytes[i] < 0x80;
    check_count(world, count, limit);
    const uint32_t size = 4 * length + 2;
    unsigned char local[kLocalText];
    unsigned char *text = size <= kLocalText ? local : static_cast<unsigned char *>(_kel_dec_gettempmem(world, size));
    KelBuf in{length, const_cast<unsigned char *>(bytes)};
    KelBuf out{size, text};
    const int code = relative ? kelEncodedRelOidToDotVal(world, &in, &out) : kelEncodedOidToDotVal(world, &in, &out);
    if (code != 0)
        fail(world, kMsgBadOid, 0);
    put_text(world, out_state(world), text, out.length);
    if (text != local)
        _kel_dec_freetempmem(world, text);
}

} // extern "C"
