// integers.cpp - BER BOOLEAN and INTEGER (ENUMERATED shares them): content
// writers, whole-TLV writers that assemble value, length and tag in one stack
// array, and the decoders of every integer width and signedness.

#include <type_traits>

#include "ber.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

bool relaxed(const KelGlobal *world) { return (world->modeBits & KEL_MODE_RELAXED) != 0; }

// Adds the minimal content octets of `value` in front of what `out` holds:
// two's complement for signed types, with a leading zero octet for unsigned
// values whose high bit is set.
template <class T, uint32_t Capacity>
inline void push_integer(kel::BackwardOctets<Capacity> &out, T value) {
    T rest = (std::is_signed_v<T> && value < 0 ? ~value : value) >> 7;
    for (; rest != 0; rest >>= 8, value >>= 8)
        out.push(static_cast<uint32_t>(value & 0xFF));
    out.push(static_cast<uint32_t>(value & 0xFF));
}

template <class T>
int encode_integer(KelGlobal *world, unsigned char **pos, int32_t *rem, T value) {
    kel::BackwardOctets<sizeof(T) + 1> octets;
    push_integer(octets, value);
    return kel::emit_below(world, pos, rem, octets.data(), octets.size());
}

// A whole INTEGER TLV; at most 9 content octets, 1 length octet and 3 tag
// octets.
template <class T>
int encode_integer_tlv(KelGlobal *world, unsigned char **pos, int32_t *rem, T value,
                       uint32_t tag) {
    kel::BackwardOctets<sizeof(T) + 5> octets;
    push_integer(octets, value);
    kel::ber::push_header(octets, octets.size(), tag);
    return kel::emit_below(world, pos, rem, octets.data(), octets.size());
}

// Takes the `length` content octets off the input: the position moves first,
// then the length and the input are checked.
const unsigned char *take_content(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                  int32_t length) {
    const unsigned char *content = *pos;
    *pos += length;
    if (length < 1)
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    *rem -= length;
    if (*rem < 0)
        _kel_enc_error(world, kel::kMsgEndOfInput, 0);
    return content;
}

// The INTEGER decoder of every memory form: T gives the width and the
// signedness.  Redundant leading octets are message 95 unless relaxed, which
// drops them; what remains must fit T (message 148).
template <class T> T decode_integer(KelGlobal *world, unsigned char **pos, int32_t *rem,
                                    int32_t length) {
    using U = std::conditional_t<(sizeof(T) > 4), uint64_t, uint32_t>;
    const unsigned char *p = take_content(world, pos, rem, length);
    const bool lenient = relaxed(world);
    uint32_t n = static_cast<uint32_t>(length);
    U value;
    if constexpr (std::is_signed_v<T>) {
        // A leading octet is redundant when it only repeats the sign of the
        // next one.
        for (; n > 1 && static_cast<int8_t>(p[0]) == static_cast<int8_t>(p[1]) >> 7; ++p, --n)
            if (!lenient)
                _kel_enc_error(world, kel::kMsgIntNeedlesslyLong, 0);
        if (n > sizeof(T))
            _kel_enc_error(world, kel::kMsgIntTooLong, n);
        value = static_cast<U>(static_cast<std::make_signed_t<U>>(static_cast<int8_t>(p[0])));
    } else {
        uint32_t zeros = 0;
        while (zeros < n && p[zeros] == 0)
            ++zeros;
        if (zeros == n) {
            if (n > 1 && !lenient)
                _kel_enc_error(world, kel::kMsgIntNeedlesslyLong, 0);
            return 0;
        }
        p += zeros;
        n -= zeros;
        if (n > sizeof(T))
            _kel_enc_error(world, kel::kMsgIntTooLong, n);
        if (!lenient) {
            if (p[0] < 0x80 ? zeros > 0 : zeros > 1)
                _kel_enc_error(world, kel::kMsgIntNeedlesslyLong, 0);
            if (p[0] >= 0x80 && zeros == 0)
                _kel_enc_error(world, kel::kMsgNegativeUnsigned, 0);
        }
        value = p[0];
    }
    for (uint32_t i = 1; i < n; ++i)
        value = static_cast<U>(value << 8 | p[i]);
    return static_cast<T>(value);
}

} // namespace

extern "C" {

int _kel_encd_bool(KelGlobal *world, unsigned char **pos, int32_t *rem, uint8_t value) {
    return _kel_write_byte_d(world, pos, rem, value ? 0xFF : 0);
}

int _kel_encd_bool_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t tag,
                      int8_t value) {
    kel::BackwardOctets<5> octets;
    octets.push(value ? 0xFF : 0);
    kel::ber::push_header(octets, 1, tag);
    return kel::emit_below(world, pos, rem, octets.data(), octets.size());
}

int _kel_encd_int(KelGlobal *world, unsigned char **pos, int32_t *rem, int64_t value) {
    return encode_integer(world, pos, rem, value);
}

int _kel_encd_uint(KelGlobal *world, unsigned char **pos, int32_t *rem, uint64_t value) {
    return encode_integer(world, pos, rem, value);
}

int _kel_encd_int_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t value,
                     uint32_t tag) {
    return encode_integer_tlv(world, pos, rem, value, tag);
}

int _kel_encd_uint_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, uint32_t value,
                      uint32_t tag) {
    return encode_integer_tlv(world, pos, rem, value, tag);
}

int _kel_encd_llint_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, int64_t value,
                       uint32_t tag) {
    return encode_integer_tlv(world, pos, rem, value, tag);
}

int _kel_encd_ullint_tl(KelGlobal *world, unsigned char **pos, int32_t *rem, uint64_t value,
                        uint32_t tag) {
    return encode_integer_tlv(world, pos, rem, value, tag);
}

int _kel_dec_bool(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length) {
    if (length != 1)
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    const uint8_t octet = _kel_get_byte(world, pos, rem);
    // CER and DER write TRUE as 0xFF (X.690 11.1); strict decoding holds
    // them to it.
    if (octet != 0 && octet != 0xFF && kel::ber::strict_canonical(world))
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    return octet != 0;
}

int16_t _kel_dec_sint(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length) {
    return decode_integer<int16_t>(world, pos, rem, length);
}

int32_t _kel_dec_iint(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length) {
    return decode_integer<int32_t>(world, pos, rem, length);
}

int32_t _kel_dec_lint(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length) {
    return decode_integer<int32_t>(world, pos, rem, length);
}

int64_t _kel_dec_llint(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length) {
    return decode_integer<int64_t>(world, pos, rem, length);
}

uint16_t _kel_dec_usint(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length) {
    return decode_integer<uint16_t>(world, pos, rem, length);
}

uint32_t _kel_dec_uiint(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length) {
    return decode_integer<uint32_t>(world, pos, rem, length);
}

uint32_t _kel_dec_ulint(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length) {
    return decode_integer<uint32_t>(world, pos, rem, length);
}

uint64_t _kel_dec_ullint(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length) {
    return decode_integer<uint64_t>(world, pos, rem, length);
}

} // extern "C"
