// extensions.cpp - the extension additions of SEQUENCE, SET and CHOICE and
// the open type of PER.  The generated code reads the extension bit and then
// asks here for the preamble of presence bits; it decodes the additions it
// knows and hands the rest to _kel_pdec_eas, which steps over them, or to
// _kel_copy_preamble (with the BER family's SEQUENCE support), which keeps
// their presence bits for a relay.  An open type is an unconstrained octet
// string around a complete encoding.
#include "per.h"

namespace {

using namespace kel::per;

// An empty open type is refused under either of these decoding flags.
constexpr uint32_t kOpenTypeStrict = STRICT_ENCODING_DECODING_RULES | AUTOMATIC_ENCDEC;
// presetDecFlags: open types carry the world's cppPointer in userField.
constexpr uint16_t kPresetUserField = 0x4;

inline bool bit_at(const unsigned char *bits, uint32_t position) {
    return (bits[position >> 3] >> (7 - (position & 7))) & 1;
}

bool any_bit_set(const unsigned char *bits, uint32_t octets) {
    unsigned char any = 0;
    for (uint32_t i = 0; i < octets; ++i)
        any |= bits[i];
    return any != 0;
}

} // namespace

extern "C" {

uint32_t _kel_pdec_eap(KelGlobal *world, unsigned char **bits) {
    const uint32_t count = _kel_pdec_small_len(world);
    if (count == 0 && strict(world))
        fail(world, kMsgMisencoded);
    const uint32_t octets = (count >> 3) + ((count & 7) != 0);
    auto *block = static_cast<unsigned char *>(_kel_dec_gettempmem(world, octets));
    if (!block)
        fail(world, kMsgOutOfMemory, octets);
    // The reader clears the bits behind the last one, so that the test below
    // sees presence bits only.
    _kel_get_bits(world, block, count, 0);
    if (strict(world) && !any_bit_set(block, octets))
        fail(world, kMsgMisencoded);
    *bits = block;
    return count;
}

void _kel_pdec_eas(KelGlobal *world, unsigned char *bits, uint32_t count, uint32_t first) {
    // Each present addition is one length-prefixed item; the skip steps over
    // its octets with the read pointer alone, keeping the bit offset.
    for (uint32_t i = first; i < count; ++i)
        if (bit_at(bits, i))
            _kel_pdec_sot(world);
    _kel_dec_freetempmem(world, bits);
}

void _kel_pdec_opentype(KelGlobal *world, KelOpenType *value) {
    unsigned char *encoded = nullptr;
    const uint32_t length = _kel_pdec_unconstr_uoct_ia(world, &encoded);
    if (length == 0) {
        if (world->decodingFlags & kOpenTypeStrict)
            fail(world, kMsgOpenTypeEmpty);
        encoded = nullptr;
    }
    value->length = length;
    value->encoded = encoded;
    value->decoded = nullptr;
    value->pduNum = 0;
    if ((world->presetDecFlags & kPresetUserField) && world->ext)
        value->userField = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(world->ext->cppPointer));
}

void _kel_penc_opentype(KelGlobal *world, const KelOpenType *value) {
    // An automatically encoded value has its encoding in place by now; an
    // empty one can never stand, whatever the flags.
    if (value->length == 0)
        fail(world, kMsgOpenTypeEmpty);
    _kel_penc_unconstr_oct_l(world, static_cast<const unsigned char *>(value->encoded), value->length);
}

} // extern "C"
