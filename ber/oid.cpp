// oid.cpp - OBJECT IDENTIFIER and RELATIVE-OID in BER: the backward writers
// of every memory form (arc arrays of 16 and 32 bits, counted pointer arrays,
// linked nodes, encoded contents) and their decoders, with the arc readers
// under them.
//
// Writers assemble the subidentifiers in a stack array, last arc first, and
// store it in a few block copies.  Decoders check the whole contents once
// (count of arcs, a last octet that ends a subidentifier), after which the
// arcs are read straight from the input without further end tests.

#include <cstring>

#include "ber.h"
#include "internal.h"
#include "kelvarn_ber.h"
#include "oid_contents.h"

namespace {

using namespace kel::ber;
using kel::ber::relaxed;

// Contents above this many octets are refused by the decoders.
constexpr int32_t kMaxOidOctets = 225;

// Collects subidentifiers below the writer's position: arcs are added last
// first and the array is stored whenever it could not take another arc.
struct SubidWriter {
    KelGlobal *world;
    unsigned char **pos;
    int32_t *rem;
    int total = 0;
    unsigned char buf[256];
    unsigned char *head = buf + sizeof buf;

    SubidWriter(KelGlobal *w, unsigned char **p, int32_t *r) : world(w), pos(p), rem(r) {}
    void put(uint32_t arc) {
        if (head - buf < 5) [[unlikely]]
            flush();
        *--head = static_cast<unsigned char>(arc & 0x7F);
        for (arc >>= 7; arc; arc >>= 7)
            *--head = static_cast<unsigned char>(0x80 | (arc & 0x7F));
    }
    int flush() {
        const auto n = static_cast<uint32_t>(buf + sizeof buf - head);
        if (n)
            total += kel::emit_below(world, pos, rem, head, n);
        head = buf + sizeof buf;
        return total;
    }
};

// The subidentifier that carries the first two arcs, after the checks that
// X.660 puts on them; `third` is consulted only when `hasThird`.
uint32_t first_subid(KelGlobal *world, uint32_t first, uint32_t second, bool hasThird,
                     uint32_t third) {
    kel::subids::check_first_arc(world, first);
    const uint32_t joined = kel::subids::join_first_arcs(world, first, second);
    if (hasThird)
        kel::subids::check_third_arc(world, joined, third);
    return joined;
}

template <class Arc>
int encode_arcs(KelGlobal *world, unsigned char **pos, int32_t *rem, const Arc *arcs,
                uint32_t count, int32_t limit) {
    if (limit >= 1 && count > static_cast<uint32_t>(limit))
        _kel_enc_error(world, kMsgSizeExceeded, count);
    if (count < 2)
        _kel_enc_error(world, kMsgBadOid, count);
    SubidWriter out(world, pos, rem);
    for (uint32_t i = count; i-- > 2;)
        out.put(arcs[i]);
    out.put(first_subid(world, arcs[0], arcs[1], count > 2, count > 2 ? arcs[2] : 0));
    return out.flush();
}

// A node of a linked form: the link in front, the arc `offset` octets in.
struct LinkForm {
    uint32_t offset;
    bool wide; // a u32 arc, else a u16 arc

    uint32_t arc(const void *node) const {
        const auto *p = static_cast<const unsigned char *>(node) + offset;
        if (wide) {
            uint32_t v;
            std::memcpy(&v, p, sizeof v);
            return v;
        }
        uint16_t v;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
};

void *next_node(const void *node) { return *static_cast<void *const *>(node); }

// The list is walked once, its nodes going on the encoder's item stack; they
// come off last first, which is the order of the backward writer.
int encode_linked(KelGlobal *world, unsigned char **pos, int32_t *rem, void *first, int32_t limit,
                  LinkForm form) {
    if (!first)
        _kel_enc_error(world, kMsgNullInput, 0);
    uint32_t count = 0;
    for (void *node = first; node; node = next_node(node), ++count)
        _kel_enc_push(world, node);
    if (limit >= 1 && count > static_cast<uint32_t>(limit))
        _kel_enc_error(world, kMsgSizeExceeded, count);
    if (count < 2)
        _kel_enc_error(world, kMsgBadOid, count);
    SubidWriter out(world, pos, rem);
    uint32_t third = 0;
    for (uint32_t i = count; i > 2; --i) {
        third = form.arc(_kel_enc_pop(world));
        out.put(third);
    }
    const uint32_t second = form.arc(_kel_enc_pop(world));
    const uint32_t arc0 = form.arc(_kel_enc_pop(world));
    out.put(first_subid(world, arc0, second, count > 2, third));
    return out.flush();
}

constexpr LinkForm kLinkU32{offsetof(KelOidLink, value), true};
constexpr LinkForm kLinkU16{offsetof(KelOidLink, value), false};

// ---------------------------------------------------------------------------
// Decoding

// Fails unless `length` octets of input are there; a negative length is the
// indefinite form, which a primitive value can't have.
void need_contents(KelGlobal *world, int32_t length, int32_t rem) {
    if (length < 0)
        _kel_enc_error(world, kMsgIndefinitePrimitive, 0);
    if (length > rem)
        _kel_enc_error(world, kel::kMsgEndOfInput, 0);
}

// The length checks every object identifier decoder starts with.
void check_oid_length(KelGlobal *world, int32_t length, int32_t rem) {
    if (length == 0 && !relaxed(world))
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    if (length > kMaxOidOctets)
        _kel_enc_error(world, kMsgOidTooLong, static_cast<uint32_t>(length));
    need_contents(world, length, rem);
}

// Under STRICT_ENCODING_DECODING_RULES no subidentifier of the `length`
// contents octets at `p` starts with 0x80 (X.690 8.19.2).
void check_subid_starts(KelGlobal *world, const unsigned char *p, int32_t length) {
    bool start = true;
    for (int32_t i = 0; i < length; ++i) {
        if (start && p[i] == 0x80)
            _kel_enc_error(world, kMsgSubidNeedlesslyLong, 0);
        start = (p[i] & 0x80) == 0;
    }
}

// Arcs in the whole contents, after the length checks and against `limit`.
uint32_t arcs_in(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                 int32_t limit) {
    check_oid_length(world, length, *rem);
    const auto count = static_cast<uint32_t>(_kel_count_subid(world, pos, rem, length));
    if (strict(world))
        check_subid_starts(world, *pos, length);
    if (limit > 0 && count > static_cast<uint32_t>(limit))
        _kel_enc_error(world, kMsgSizeExceeded, count);
    return count;
}

// One subidentifier from `p`, which the caller has checked to end within the
// input.  Arc is the width of the memory form: a value that would lose bits
// in the next shift is message 97.
template <class Arc> Arc read_subid(KelGlobal *world, const unsigned char *&p) {
    constexpr uint32_t kFull = sizeof(Arc) == 2 ? 0xFE00u : 0xFE000000u;
    uint32_t value = 0;
    uint8_t octet;
    do {
        if (value & kFull)
            _kel_enc_error(world, kMsgSubidTooLong, value);
        octet = *p++;
        value = value << 7 | (octet & 0x7F);
    } while (octet & 0x80);
    return static_cast<Arc>(value);
}

// The standalone arc reader, which tests the end of the input itself.
template <class Arc> Arc get_subid(KelGlobal *world, unsigned char **pos, int32_t *rem) {
    const unsigned char *p = *pos;
    int32_t n = 0;
    while (n < *rem && (p[n] & 0x80))
        ++n;
    if (n >= *rem)
        _kel_enc_error(world, kel::kMsgEndOfInput, 0);
    const Arc arc = read_subid<Arc>(world, p);
    *rem -= static_cast<int32_t>(p - *pos);
    *pos = const_cast<unsigned char *>(p);
    return arc;
}

// Fills `arcs` with the `count` arcs of the contents at `*pos` and moves
// past them.  The first subidentifier gives two arcs.
template <class Arc>
void read_arcs(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length, Arc *arcs,
               uint32_t count) {
    const unsigned char *p = *pos;
    const Arc v = read_subid<Arc>(world, p);
    arcs[0] = static_cast<Arc>(v >= 80 ? 2 : v / 40);
    arcs[1] = static_cast<Arc>(v - 40 * arcs[0]);
    for (uint32_t i = 2; i < count; ++i)
        arcs[i] = read_subid<Arc>(world, p);
    *pos += length;
    *rem -= length;
}

template <class Arc>
int32_t decode_array(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                     void *array, int32_t limit) {
    const uint32_t count = arcs_in(world, pos, rem, length, limit);
    read_arcs(world, pos, rem, length, static_cast<Arc *>(array), count);
    return static_cast<int32_t>(count);
}

// The array record in allocated memory behind `header` octets: a u16 count,
// then the arcs (32-bit ones on the next 4-octet boundary).
template <class Arc>
void *decode_array_ptr(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                       int32_t limit, uint32_t header) {
    constexpr uint32_t kArcsAt = sizeof(Arc) == 2 ? 2 : 4;
    const uint32_t count = arcs_in(world, pos, rem, length, limit);
    auto *record = static_cast<unsigned char *>(
        _kel_dec_getmem(world, static_cast<int32_t>(header + kArcsAt + count * sizeof(Arc))));
    const auto count16 = static_cast<uint16_t>(count);
    std::memcpy(record + header, &count16, sizeof count16);
    read_arcs(world, pos, rem, length, reinterpret_cast<Arc *>(record + header + kArcsAt), count);
    return record;
}

template <class Arc>
int32_t decode_unbounded(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                         void **arcs, int32_t limit) {
    const uint32_t count = arcs_in(world, pos, rem, length, limit);
    auto *array = static_cast<Arc *>(_kel_dec_getmem(world, static_cast<int32_t>(count * sizeof(Arc))));
    *arcs = array;
    read_arcs(world, pos, rem, length, array, count);
    return static_cast<int32_t>(count);
}

// Linked nodes of `nodeSize` octets, each allocated as its arc is read; the
// arc lies `offset` octets into the node.
template <class Arc>
void *decode_linked(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                    int32_t limit, uint32_t nodeSize, uint32_t offset, uint32_t *countOut) {
    const uint32_t count = arcs_in(world, pos, rem, length, limit);
    const unsigned char *p = *pos;
    void *first = nullptr;
    void **link = &first;
    auto append = [&](Arc arc) {
        auto *node = static_cast<unsigned char *>(_kel_dec_getmem(world, static_cast<int32_t>(nodeSize)));
        std::memcpy(node + offset, &arc, sizeof arc);
        *link = node;
        link = reinterpret_cast<void **>(node);
    };
    const Arc v = read_subid<Arc>(world, p);
    const Arc arc0 = static_cast<Arc>(v >= 80 ? 2 : v / 40);
    append(arc0);
    append(static_cast<Arc>(v - 40 * arc0));
    for (uint32_t i = 2; i < count; ++i)
        append(read_subid<Arc>(world, p));
    *pos += length;
    *rem -= length;
    *countOut = count;
    return first;
}

int32_t decode_encoded(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                       void *destination, int32_t limit) {
    check_oid_length(world, length, *rem);
    if (strict(world))
        check_subid_starts(world, *pos, length);
    if (limit >= 0) {
        if (length > limit)
            _kel_enc_error(world, kMsgSizeExceeded, static_cast<uint32_t>(length));
        std::memcpy(destination, *pos, static_cast<size_t>(length));
    } else {
        void *copy = nullptr;
        if (length) {
            copy = _kel_dec_getmem_internal(world, static_cast<uint32_t>(length));
            std::memcpy(copy, *pos, static_cast<size_t>(length));
        }
        *static_cast<void **>(destination) = copy;
    }
    *pos += length;
    *rem -= length;
    return length;
}

} // namespace

extern "C" {

int _kel_encd_aiobjid(KelGlobal *world, unsigned char **pos, int32_t *rem, const uint16_t *value,
                      int16_t limit) {
    return encode_arcs(world, pos, rem, reinterpret_cast<const uint32_t *>(value + 2), value[0], limit);
}

int _kel_encd_alobjid(KelGlobal *world, unsigned char **pos, int32_t *rem, const uint16_t *value,
                      int16_t limit) {
    return _kel_encd_aiobjid(world, pos, rem, value, limit);
}

int _kel_encd_asobjid(KelGlobal *world, unsigned char **pos, int32_t *rem, const int16_t *value,
                      int16_t limit) {
    return encode_arcs(world, pos, rem, reinterpret_cast<const uint16_t *>(value + 1),
                       static_cast<uint16_t>(value[0]), limit);
}

int _kel_encd_uiobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, const uint32_t *arcs,
                         uint32_t count, int32_t limit) {
    return encode_arcs(world, pos, rem, arcs, count, limit);
}

int _kel_encd_ulobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, const uint32_t *arcs,
                         uint32_t count, int32_t limit) {
    return encode_arcs(world, pos, rem, arcs, count, limit);
}

int _kel_encd_usobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, const uint16_t *arcs,
                         uint32_t count, int32_t limit) {
    return encode_arcs(world, pos, rem, arcs, count, limit);
}

int _kel_encd_liobjid(KelGlobal *world, unsigned char **pos, int32_t *rem, void *first,
                      int32_t limit) {
    return encode_linked(world, pos, rem, first, limit, kLinkU32);
}

int _kel_encd_lsobjid(KelGlobal *world, unsigned char **pos, int32_t *rem, void *first,
                      int32_t limit) {
    return encode_linked(world, pos, rem, first, limit, kLinkU16);
}

int _kel_encd_llobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, void *first,
                         int32_t limit, int32_t valueOffset) {
    return encode_linked(world, pos, rem, first, limit, {static_cast<uint32_t>(valueOffset), true});
}

int _kel_encd_eobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, const void *value,
                        uint32_t length, int32_t limit) {
    if (limit >= 0 && length > static_cast<uint32_t>(limit))
        _kel_enc_error(world, kMsgSizeExceeded, length);
    return _kel_write_bytes_d(world, pos, rem, value, static_cast<int32_t>(length));
}

int _kel_encd_ereloid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, const void *value,
                         uint32_t length, int32_t limit) {
    return _kel_encd_eobjid_ia(world, pos, rem, value, length, limit);
}

int32_t _kel_dec_aiobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                            void *array, int16_t limit) {
    return decode_array<uint32_t>(world, pos, rem, length, array, limit);
}

int32_t _kel_dec_alobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                            void *array, int16_t limit) {
    return decode_array<uint32_t>(world, pos, rem, length, array, limit);
}

int32_t _kel_dec_asobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                            void *array, int16_t limit) {
    return decode_array<uint16_t>(world, pos, rem, length, array, limit);
}

void *_kel_dec_aiobjid_ptr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                              int16_t limit, uint32_t header) {
    return decode_array_ptr<uint32_t>(world, pos, rem, length, limit, header);
}

void *_kel_dec_alobjid_ptr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                              int16_t limit, uint32_t header) {
    return decode_array_ptr<uint32_t>(world, pos, rem, length, limit, header);
}

void *_kel_dec_asobjid_ptr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                              int16_t limit, uint32_t header) {
    return decode_array_ptr<uint16_t>(world, pos, rem, length, limit, header);
}

int32_t _kel_dec_uiobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                            void **arcs, int16_t limit) {
    return decode_unbounded<uint32_t>(world, pos, rem, length, arcs, limit);
}

int32_t _kel_dec_ulobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                            void **arcs, int16_t limit) {
    return decode_unbounded<uint32_t>(world, pos, rem, length, arcs, limit);
}

int32_t _kel_dec_usobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                            void **arcs, int16_t limit) {
    return decode_unbounded<uint16_t>(world, pos, rem, length, arcs, limit);
}

int32_t _kel_dec_liobjid(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                         void **first, int32_t limit) {
    uint32_t count = 0;
    *first = decode_linked<uint32_t>(world, pos, rem, length, limit, sizeof(KelOidLink),
                                     offsetof(KelOidLink, value), &count);
    return static_cast<int32_t>(count);
}

int32_t _kel_dec_lsobjid(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                         void **first, int32_t limit) {
    uint32_t count = 0;
    *first = decode_linked<uint16_t>(world, pos, rem, length, limit, sizeof(KelOidLink),
                                     offsetof(KelOidLink, value), &count);
    return static_cast<int32_t>(count);
}

void *_kel_dec_llobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                          int32_t nodeSize, uint32_t valueOffset) {
    uint32_t count = 0;
    return decode_linked<uint32_t>(world, pos, rem, length, 0, static_cast<uint32_t>(nodeSize),
                                   valueOffset, &count);
}

int32_t _kel_dec_eobjid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                           void *destination, int32_t limit) {
    return decode_encoded(world, pos, rem, length, destination, limit);
}

int32_t _kel_dec_ereloid_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                            void *destination, int32_t limit) {
    return decode_encoded(world, pos, rem, length, destination, limit);
}

int32_t _kel_count_subid(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length) {
    if (length == 0)
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    need_contents(world, length, *rem);
    const unsigned char *p = *pos;
    if (p[length - 1] & 0x80)
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    int32_t ends = 0;
    for (int32_t i = 0; i < length; ++i)
        ends += (p[i] & 0x80) == 0;
    return ends + 1;
}

uint32_t _kel_get_isubid(KelGlobal *world, unsigned char **pos, int32_t *rem) {
    return get_subid<uint32_t>(world, pos, rem);
}

uint32_t _kel_get_lsubid(KelGlobal *world, unsigned char **pos, int32_t *rem) {
    return get_subid<uint32_t>(world, pos, rem);
}

uint16_t _kel_get_ssubid(KelGlobal *world, unsigned char **pos, int32_t *rem) {
    return get_subid<uint16_t>(world, pos, rem);
}

} // extern "C"
