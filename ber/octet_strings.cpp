// octet_strings.cpp - OCTET STRING and the character strings of one octet
// per character, in their memory forms: unbounded {length, pointer}, varying
// (inline or behind a pointer with a header), fixed, blank-padded and
// NUL-terminated.  Encoders copy the value below the position in one block
// copy per encoder block; decoders copy the contents once, from the input or
// from the segments of a constructed string.

#include <cstring>

#include "ber.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

using kel::ber::StringContents;
using namespace kel::ber;

// The unbounded form: a positive limit is a bound unless NOCONSTRAIN, a
// negative one a hard bound.
int encode_unbounded(KelGlobal *world, unsigned char **pos, int32_t *rem, const void *value,
                     int32_t length, int32_t limit) {
    if (limit > 0 && length > limit && !kel::ber::encoder_unconstrained(world))
        _kel_enc_error(world, kMsgSizeExceeded, static_cast<uint32_t>(length));
    return _kel_write_bytes_d(world, pos, rem, value, length);
}

// Forms with room for `limit` octets: the bound holds whatever the flags say.
int encode_bounded(KelGlobal *world, unsigned char **pos, int32_t *rem, const void *value,
                   int32_t length, int32_t limit) {
    if (limit > 0 && length > limit)
        _kel_enc_error(world, kMsgSizeExceeded, static_cast<uint32_t>(length));
    return _kel_write_bytes_d(world, pos, rem, value, length);
}

// Checks `octets` against a positive limit, which raises `message`, and a
// negative (hard) one.
void check_limit(KelGlobal *world, uint32_t octets, int32_t limit, int message) {
    if (limit > 0 && octets > static_cast<uint32_t>(limit))
        _kel_enc_error(world, message, octets);
    if (limit < 0 && octets > static_cast<uint32_t>(-static_cast<int64_t>(limit)))
        _kel_enc_error(world, kel::kMsgLengthTooLong, octets);
}

// Contents of the string at the input position, checked against a negative
// (hard) limit and a positive limit that raises `message`.
uint32_t take_bounded(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                      StringContents *contents, int32_t limit, int message) {
    kel::ber::take_string(world, pos, rem, length, contents);
    check_limit(world, contents->octets, limit, message);
    return contents->octets;
}

// Copies the contents into a new piece of `size` octets, `offset` octets in.
unsigned char *copy_to_piece(KelGlobal *world, StringContents *contents, uint32_t size,
                             uint32_t offset) {
    auto *piece = static_cast<unsigned char *>(_kel_dec_getmem_internal(world, size));
    kel::ber::copy_string(contents, piece + offset, contents->octets);
    kel::ber::release_string(world, contents);
    return piece;
}

// _kel_dec_nstr_ptr of a constructed string, apart so that the primitive
// case needs no room for the segment list.
[[gnu::noinline]] int32_t nstr_ptr_from_segments(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                                 int32_t length, unsigned char **value, int32_t limit) {
    StringContents contents;
    const uint32_t octets = take_bounded(world, pos, rem, length, &contents, limit, kMsgSizeViolated);
    unsigned char *piece = copy_to_piece(world, &contents, octets + 1, 0);
    piece[octets] = 0;
    *value = piece;
    return static_cast<int32_t>(octets);
}

int32_t decode_unbounded(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                         unsigned char **value, int32_t limit) {
    StringContents contents;
    const int32_t bound = limit > 0 && kel::ber::decoder_unconstrained(world) ? 0 : limit;
    const uint32_t octets = take_bounded(world, pos, rem, length, &contents, bound, kMsgSizeExceeded);
    *value = octets ? copy_to_piece(world, &contents, octets, 0) : nullptr;
    return static_cast<int32_t>(octets);
}

// Varying inline: a negative limit cuts the value to -limit octets.
int32_t decode_varying(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                       unsigned char *array, int32_t limit) {
    StringContents contents;
    kel::ber::take_string(world, pos, rem, length, &contents);
    uint32_t octets = contents.octets;
    if (limit > 0 && octets > static_cast<uint32_t>(limit))
        _kel_enc_error(world, kMsgSizeViolated, octets);
    if (limit < 0 && octets > static_cast<uint32_t>(-static_cast<int64_t>(limit)))
        octets = static_cast<uint32_t>(-static_cast<int64_t>(limit));
    kel::ber::copy_string(&contents, array, octets);
    kel::ber::release_string(world, &contents);
    return static_cast<int32_t>(octets);
}

// Varying behind a pointer: the piece has `header` octets before the
// contents; a positive limit sizes the piece.
int32_t decode_varying_ptr(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                           unsigned char **value, uint32_t header, int32_t limit) {
    StringContents contents;
    const uint32_t octets = take_bounded(world, pos, rem, length, &contents, limit, kMsgSizeViolated);
    const uint32_t room = limit > 0 ? static_cast<uint32_t>(limit) : octets;
    unsigned char *piece = copy_to_piece(world, &contents, header + room, header);
    if (header)
        std::memset(piece, 0, header);
    *value = piece;
    return static_cast<int32_t>(octets);
}

} // namespace

extern "C" {

int _kel_encd_uoct_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, void *value,
                      int32_t length, int32_t limit) {
    return encode_unbounded(world, pos, rem, value, length, limit);
}

int _kel_encd_ustr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, void *value,
                      int32_t length, int32_t limit) {
    return encode_unbounded(world, pos, rem, value, length, limit);
}

int _kel_encd_voct_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, void *value,
                      int32_t length, int32_t limit) {
    return encode_bounded(world, pos, rem, value, length, limit);
}

int _kel_encd_vstr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, void *value,
                      int32_t length, int32_t limit) {
    return encode_bounded(world, pos, rem, value, length, limit);
}

int _kel_encd_nstr(KelGlobal *world, unsigned char **pos, int32_t *rem, const char *value,
                   int32_t limit) {
    return encode_bounded(world, pos, rem, value, static_cast<int32_t>(std::strlen(value)), limit);
}

int _kel_encd_pstr(KelGlobal *world, unsigned char **pos, int32_t *rem, const unsigned char *value,
                   int32_t size) {
    while (size > 0 && (value[size - 1] == ' ' || value[size - 1] == 0))
        --size;
    return _kel_write_bytes_d(world, pos, rem, value, size);
}

int32_t _kel_dec_uoct_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                         unsigned char **value, int32_t limit) {
    return decode_unbounded(world, pos, rem, length, value, limit);
}

int32_t _kel_dec_ustr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                         unsigned char **value, int32_t limit) {
    return decode_unbounded(world, pos, rem, length, value, limit);
}

int32_t _kel_dec_voct_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                         unsigned char *array, int32_t limit) {
    return decode_varying(world, pos, rem, length, array, limit);
}

int32_t _kel_dec_vstr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                         unsigned char *array, int32_t limit) {
    return decode_varying(world, pos, rem, length, array, limit);
}

int32_t _kel_dec_voct_ptr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                             unsigned char **value, uint32_t header, int32_t limit) {
    return decode_varying_ptr(world, pos, rem, length, value, header, limit);
}

int32_t _kel_dec_vstr_ptr_ia(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                             unsigned char **value, uint32_t header, int32_t limit) {
    return decode_varying_ptr(world, pos, rem, length, value, header, limit);
}

int32_t _kel_dec_fixed_oct(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                           unsigned char *array, uint32_t size) {
    StringContents contents;
    kel::ber::take_string(world, pos, rem, length, &contents);
    if (contents.octets != size)
        _kel_enc_error(world, kMsgSizeViolated, contents.octets);
    kel::ber::copy_string(&contents, array, size);
    kel::ber::release_string(world, &contents);
    return static_cast<int32_t>(size);
}

int32_t _kel_dec_nstr(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                      unsigned char *array, int32_t limit) {
    StringContents contents;
    const uint32_t octets =
        take_bounded(world, pos, rem, length, &contents, limit > 0 ? limit : 0, kMsgSizeViolated);
    kel::ber::copy_string(&contents, array, octets);
    kel::ber::release_string(world, &contents);
    array[octets] = 0;
    return static_cast<int32_t>(octets);
}

int32_t _kel_dec_nstr_ptr(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                          unsigned char **value, int32_t limit) {
    if (world->bitOffset)
        return nstr_ptr_from_segments(world, pos, rem, length, value, limit);
    // A primitive string, the common case: one copy straight from the input.
    const unsigned char *start = take_contents(world, pos, rem, length);
    const auto octets = static_cast<uint32_t>(length);
    if (limit != 0)
        check_limit(world, octets, limit, kMsgSizeViolated);
    auto *piece = static_cast<unsigned char *>(_kel_dec_getmem_internal(world, octets + 1));
    std::memcpy(piece, start, octets);
    piece[octets] = 0;
    *value = piece;
    return length;
}

int32_t _kel_dec_pstr(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                      unsigned char *array, int32_t size) {
    StringContents contents;
    const uint32_t octets =
        take_bounded(world, pos, rem, length, &contents, size > 0 ? size : 0, kMsgSizeExceeded);
    kel::ber::copy_string(&contents, array, octets);
    kel::ber::release_string(world, &contents);
    if (size > 0)
        std::memset(array + octets, ' ', static_cast<uint32_t>(size) - octets);
    return static_cast<int32_t>(octets);
}

} // extern "C"
