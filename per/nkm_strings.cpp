// nkm_strings.cpp - not-known-multiplier character strings in PER
// (UTF8String held as octets, GeneralString, GraphicString and the like):
// octets behind unconstrained length determinants, fragmented in 64K, 48K,
// 32K or 16K pieces, aligned in aligned PER.  The encoders and the decoders
// of the six memory forms.

#include <cstring>

#include "char_string_forms.h"
#include "per.h"

namespace {

using namespace kel::per;
using namespace kel::per::strings;

constexpr LengthBounds kUnbounded{0, 0};

// The octets of one piece, moved as one block.
void read_octets(KelGlobal *world, unsigned char *dest, uint32_t n) {
    if (n)
        _kel_get_bits(world, dest, n * 8, 1);
}

template <class Length> void encode_octets(KelGlobal *world, const unsigned char *chars, Length length) {
    Length done = 0;
    uint32_t covered;
    do {
        if constexpr (sizeof(Length) == 8)
            covered = _kel_penc_length(world, length - done, 0, 0, 1);
        else
            covered = _kel_penc_length_l(world, length - done, 0, 0, 1);
        _kel_append(world, chars + done, covered * 8, 1);
        done += covered;
    } while (done < length);
    if (covered >= kFragmentUnit) // the last piece was a fragment: an empty one closes
        _kel_append_8bit_aligned(world, 0);
}

uint32_t decode_in_place(KelGlobal *world, unsigned char *out, uint32_t capacity, int overMessage) {
    return collect_in_place(world, out, kUnbounded, capacity, overMessage, false,
                            [world](unsigned char *dest, uint32_t n) { read_octets(world, dest, n); });
}

unsigned char *decode_allocated(KelGlobal *world, uint32_t header, uint32_t extra, bool alwaysBlock,
                                uint32_t *count) {
    return collect_allocated<unsigned char>(world, kUnbounded, header, extra, alwaysBlock, false, 8, count,
                                            [world](unsigned char *dest, uint32_t n) { read_octets(world, dest, n); });
}

} // namespace

extern "C" {

void _kel_penc_nkmstr(KelGlobal *world, const unsigned char *chars, uint64_t length) {
    encode_octets(world, chars, length);
}

void _kel_penc_nkmstr_l(KelGlobal *world, const unsigned char *chars, uint32_t length) {
    encode_octets(world, chars, length);
}

// The padded form fills with spaces, where its known-multiplier twin fills
// with zeros.
void _kel_pdec_pad_nkmstr(KelGlobal *world, unsigned char *out, uint32_t capacity) {
    const uint32_t total = decode_in_place(world, out, capacity, kMsgSizeViolated);
    std::memset(out + total, ' ', capacity - total);
}

uint32_t _kel_pdec_va_nkmstr_ia(KelGlobal *world, unsigned char *out, uint32_t capacity) {
    return decode_in_place(world, out, capacity, kMsgSizeExceeded);
}

// `out` holds capacity + 1 octets: a string of exactly `capacity` passes.
void _kel_pdec_nt_nkmstr(KelGlobal *world, unsigned char *out, uint32_t capacity) {
    const uint32_t total = decode_in_place(world, out, capacity, kMsgSizeViolated);
    out[total] = 0;
}

int32_t _kel_pdec_vap_nkmstr_ia(KelGlobal *world, void **field, uint32_t headerBytes) {
    uint32_t count;
    *field = decode_allocated(world, headerBytes, 0, true, &count);
    return static_cast<int32_t>(count);
}

int32_t _kel_pdec_ub_nkmstr_ia(KelGlobal *world, unsigned char **field) {
    uint32_t count;
    *field = decode_allocated(world, 0, 0, false, &count);
    return static_cast<int32_t>(count);
}

void _kel_pdec_ntp_nkmstr(KelGlobal *world, unsigned char **field) {
    uint32_t count;
    unsigned char *block = decode_allocated(world, 0, 1, true, &count);
    block[count] = 0;
    *field = block;
}

} // extern "C"
