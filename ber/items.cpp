// items.cpp - stepping over BER items, counting the elements of a SET OF or
// SEQUENCE OF, and keeping items as raw encodings: ANY, open types, deferred
// fields and unknown extension additions.
//
// The walks over nested indefinite lengths keep a depth counter instead of
// recursing, so any depth of nesting costs no stack and linear time.
#include <cstring>

#include "internal.h"
#include "kelvarn_ber.h"

namespace {

constexpr int kMsgAnyEmpty = 81;
constexpr int kMsgOpenTypeEmpty = 82;
constexpr int kMsgBadEndOfContents = 100;
constexpr int kMsgInconsistentLengths = 102;

// An empty open type is refused under either of these decoding flags.
constexpr uint32_t kOpenTypeStrict = STRICT_ENCODING_DECODING_RULES | AUTOMATIC_ENCDEC;
// Code files of later compiler versions hand length 0 for an absent open type.
constexpr uint16_t kLastCompilerReadingAbsentTag = 25;
// presetDecFlags: open types carry the world's cppPointer in userField.
constexpr uint16_t kPresetUserField = 0x4;

inline void skip_octets(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length) {
    if (*rem < length)
        _kel_enc_error(world, kel::kMsgEndOfInput, static_cast<uint32_t>(length));
    *rem -= length;
    *pos += length;
}

// Reads the length octets of an end-of-contents whose 00 identifier was read.
inline void check_end_of_contents(KelGlobal *world, unsigned char **pos, int32_t *rem) {
    const int32_t length = _kel_dec_length(world, pos, rem);
    if (length != 0)
        _kel_enc_error(world, kMsgBadEndOfContents, static_cast<uint32_t>(length));
}

// Measures the item at the position without moving it: the size of its
// whole TLV, or -1 when end-of-contents octets stand there.
int32_t measure_item(KelGlobal *world, unsigned char **pos, int32_t *rem) {
    unsigned char *p = *pos;
    int32_t r = *rem;
    // The tag of end-of-contents begins no item, in an indefinite value or
    // in a definite one: taken as an item it would make the value's CER
    // encoding (indefinite throughout) unreadable.
    if (_kel_dec_tag(world, &p, &r) == 0) {
        check_end_of_contents(world, &p, &r);
        return -1;
    }
    _kel_skip_past_item(world, &p, &r, _kel_dec_length(world, &p, &r));
    return static_cast<int32_t>(p - *pos);
}

// Moves `size` octets of input into a new decoder item.
unsigned char *take_octets(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t size) {
    auto *copy = static_cast<unsigned char *>(_kel_dec_getmem_internal(world, static_cast<uint32_t>(size)));
    _kel_get_bytes(world, pos, rem, copy, size);
    return copy;
}

// Reads the next item whole, or nothing when `length` says the enclosing
// contents are over; an empty result is refused under `strictFlags`.
int32_t take_item(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                  unsigned char **value, uint32_t strictFlags, int emptyMessage) {
    *value = nullptr;
    const int32_t size = length == 0 ? -1 : measure_item(world, pos, rem);
    if (size < 0) {
        if (world->decodingFlags & strictFlags)
            _kel_enc_error(world, emptyMessage, 0);
        return 0;
    }
    *value = take_octets(world, pos, rem, size);
    return size;
}

uint32_t user_field(const KelGlobal *world) {
    if (!(world->presetDecFlags & kPresetUserField) || !world->ext)
        return 0;
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(world->ext->cppPointer));
}

void fill_open_type(const KelGlobal *world, KelOpenType *value, uint32_t length, unsigned char *encoded) {
    value->pduNum = 0;
    value->length = length;
    value->encoded = encoded;
    value->decoded = nullptr;
    value->userField = user_field(world);
}

bool absent_open_type_is_zero_length(const KelGlobal *world) {
    return world->ext && world->ext->xapi &&
           world->ext->xapi->compilerVersion > kLastCompilerReadingAbsentTag;
}

// The extent of a deferred field's contents (`tag` given) or of the next
// whole TLV (`tag` 0), found by walking tags and lengths on a copy of the
// position.  An indefinite field's end-of-contents is not part of it.
int32_t deferred_extent(KelGlobal *world, unsigned char **pos, int32_t *rem, uint16_t tag) {
    unsigned char *p = *pos;
    int32_t r = *rem;
    if (_kel_dec_tag(world, &p, &r) == 0) {
        check_end_of_contents(world, &p, &r);
        return 0;
    }
    for (;;) {
        _kel_skip_past_item(world, &p, &r, _kel_dec_length(world, &p, &r));
        if (tag == 0 || _kel_preview_byte(world, &p, &r) == 0)
            break;
        _kel_dec_tag(world, &p, &r);
    }
    return static_cast<int32_t>(p - *pos);
}

// Re-creates a header that was read before, backward at the end of `area`;
// returns its size.  The writers store into the area as into a caller's
// buffer, which never takes a block; 16 octets hold any header.
uint32_t rebuild_header(KelGlobal *world, unsigned char (&area)[16], uint16_t tag, uint8_t constructed,
                        int32_t length) {
    unsigned char *p = area + sizeof area;
    int32_t r = sizeof area;
    const uint8_t userBuffer = world->userBuffer;
    const uint32_t flags = world->encodingFlags;
    world->userBuffer = 1;
    world->encodingFlags &= ~DETERMINE_ENC_LENGTH;
    if (length < 0)
        _kel_write_byte_d(world, &p, &r, 0x80);
    else
        _kel_encd_length(world, &p, &r, static_cast<uint32_t>(length));
    _kel_encd_tag(world, &p, &r, tag, constructed);
    world->userBuffer = userBuffer;
    world->encodingFlags = flags;
    return static_cast<uint32_t>(sizeof area - r);
}

// True when the TLV in `p[0..n)` has the indefinite length form.
bool indefinite_tlv(const unsigned char *p, uint32_t n) {
    uint32_t i = 1;
    if ((p[0] & 0x1F) == 0x1F) {
        while (i < n && (p[i] & 0x80))
            ++i;
        ++i; // the last identifier octet
    }
    return n >= i + 3 && p[i] == 0x80;
}

} // namespace

extern "C" {

void _kel_skip_past_item(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length) {
    if (length >= 0) {
        skip_octets(world, pos, rem, length);
        return;
    }
    uint32_t depth = 1;
    do {
        const uint16_t tag = _kel_dec_tag(world, pos, rem);
        const int32_t itemLength = _kel_dec_length(world, pos, rem);
        if (tag == 0) {
            if (itemLength != 0)
                _kel_enc_error(world, kMsgBadEndOfContents, static_cast<uint32_t>(itemLength));
            --depth;
        } else if (itemLength < 0) {
            ++depth;
        } else {
            skip_octets(world, pos, rem, itemLength);
        }
    } while (depth);
}

int32_t _kel_count_setof_items(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length) {
    unsigned char *p = *pos;
    int32_t r = *rem;
    int32_t count = 0;
    if (length >= 0) {
        while (p - *pos < length) {
            _kel_dec_tag(world, &p, &r);
            _kel_skip_past_item(world, &p, &r, _kel_dec_length(world, &p, &r));
            ++count;
            if (p - *pos > length)
                _kel_enc_error(world, kMsgInconsistentLengths, static_cast<uint32_t>(length));
        }
    } else {
        while (_kel_dec_tag(world, &p, &r) != 0) {
            _kel_skip_past_item(world, &p, &r, _kel_dec_length(world, &p, &r));
            ++count;
        }
    }
    return count;
}

int32_t _kel_dec_uany(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length, void **value) {
    unsigned char *encoded;
    const int32_t size = take_item(world, pos, rem, length, &encoded, STRICT_ENCODING_DECODING_RULES, kMsgAnyEmpty);
    *value = encoded;
    return size;
}

int32_t _kel_dec_opentype(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                          KelOpenType *value) {
    unsigned char *encoded;
    const int32_t size = take_item(world, pos, rem, length, &encoded, kOpenTypeStrict, kMsgOpenTypeEmpty);
    fill_open_type(world, value, static_cast<uint32_t>(size), encoded);
    return size;
}

int32_t _kel_dec_new_opentype(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                              KelBuf *value) {
    // Older code files hand 0 for a present item too: it is read whole.
    const int32_t readAs = length == 0 && !absent_open_type_is_zero_length(world) ? -1 : length;
    const int32_t size = take_item(world, pos, rem, readAs, &value->value, kOpenTypeStrict, kMsgOpenTypeEmpty);
    value->length = static_cast<uint32_t>(size);
    return size;
}

int _kel_encd_uany(KelGlobal *world, unsigned char **pos, int32_t *rem, const void *value, int32_t length) {
    if (length == 0)
        _kel_enc_error(world, kMsgAnyEmpty, 0);
    return _kel_write_bytes_d(world, pos, rem, value, length);
}

int _kel_encd_opentype(KelGlobal *world, unsigned char **pos, int32_t *rem, const KelOpenType *value) {
    if (value->length == 0)
        _kel_enc_error(world, kMsgOpenTypeEmpty, 0);
    return _kel_write_bytes_d(world, pos, rem, value->encoded, static_cast<int32_t>(value->length));
}

int32_t _kel_dec_defer(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                       KelDeferred *value, uint16_t tag, uint8_t constructed) {
    const int32_t extent = (length < 0 || tag == 0) ? deferred_extent(world, pos, rem, tag) : length;
    unsigned char header[16];
    const uint32_t headerSize = tag ? rebuild_header(world, header, tag, constructed, length < 0 ? -1 : extent) : 0;
    // The end-of-contents stays in the input; the record gets its own.
    const uint32_t trailer = (tag && length < 0) ? 2 : 0;
    const uint32_t total = static_cast<uint32_t>(extent) + headerSize + trailer;
    unsigned char *encoded = nullptr;
    if (total) {
        encoded = static_cast<unsigned char *>(_kel_dec_getmem_internal(world, total));
        _kel_get_bytes(world, pos, rem, encoded + headerSize, extent);
        std::memcpy(encoded, header + sizeof header - headerSize, headerSize);
        if (trailer)
            encoded[total - 2] = encoded[total - 1] = 0;
    }
    fill_open_type(world, value, total, encoded);
    return static_cast<int32_t>(total);
}

int _kel_encd_defer(KelGlobal *world, unsigned char **pos, int32_t *rem, const KelDeferred *value) {
    const auto *encoded = static_cast<const unsigned char *>(value->encoded);
    uint32_t size = value->length;
    if (size == 0)
        return 0;
    if (indefinite_tlv(encoded, size))
        size -= 2;
    return _kel_write_bytes_d(world, pos, rem, encoded, static_cast<int32_t>(size));
}

void _kel_dec_rsf_ext(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length, void **cursor,
                      unsigned char **savedPos, int32_t *savedRem, uint32_t *count) {
    unsigned char *p = *savedPos;
    int32_t r = *savedRem;
    auto *record = static_cast<KelRsfRecord *>(*cursor);
    void *encoded;
    record->length = static_cast<uint32_t>(_kel_dec_uany(world, &p, &r, length, &encoded));
    record->value = static_cast<unsigned char *>(encoded);
    auto *next = static_cast<KelRsfRecord *>(_kel_dec_gettempmem(world, sizeof(KelRsfRecord)));
    std::memset(next, 0, sizeof *next);
    next->previous = record;
    record->next = next;
    *cursor = next;
    ++*count;
    *pos = *savedPos = p;
    *rem = *savedRem = r;
}

void _kel_free_rsf_ext(KelGlobal *world, void *first) {
    auto *head = static_cast<KelRsfRecord *>(first);
    if (!head)
        return;
    KelRsfRecord *record = head;
    while (record->next)
        record = record->next;
    // Temporary memory goes back newest first.
    while (record != head) {
        KelRsfRecord *previous = record->previous;
        _kel_dec_freetempmem(world, record);
        record = previous;
    }
    head->next = nullptr;
}

} // extern "C"
