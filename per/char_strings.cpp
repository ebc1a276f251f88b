// char_strings.cpp - known-multiplier character strings in PER (IA5String,
// PrintableString, VisibleString, NumericString and the time strings), one
// octet a character in memory: the encoder, the inner unpackers and the
// decoders of the six memory forms.
//
// A character goes out as its own code (its low bits), as its index in the
// permitted alphabet, or, with eight bits, as the octet itself, which moves
// in one block copy.  An alphabet of one character takes no bits at all.

#include <cstring>

#include "char_string_forms.h"
#include "per.h"

namespace {

using namespace kel::per;
using namespace kel::per::strings;

// How the characters of one descriptor go on the wire in this world.
struct KnownForm {
    uint32_t bits;
    bool own;
    const KelPerAlphabet *alphabet;
};

[[gnu::always_inline]] inline KnownForm known_form(const KelGlobal *world, const KelPerString *desc) {
    const CharForm f = char_form(world, desc->flags);
    return {f.bits, f.own, static_cast<const KelPerAlphabet *>(desc->alphabet)};
}

void write_chars(KelGlobal *world, const unsigned char *chars, uint32_t count, const KnownForm &form) {
    if (count == 0 || form.bits == 0)
        return;
    if (form.bits == 8) {
        _kel_append(world, chars, count * 8, 0);
    } else if (form.own || !form.alphabet) {
        pack_codes(world, count, form.bits, [chars](uint32_t i) { return uint64_t{chars[i]}; });
    } else {
        const unsigned char *indexes = form.alphabet->indexes;
        pack_codes(world, count, form.bits, [chars, indexes](uint32_t i) { return uint64_t{indexes[chars[i]]}; });
    }
}

// Reads `count` characters into `out`.  Octets move in one copy and 7-bit
// codes, the unaligned form of the usual strings, unpack in line, eight from
// one load.
[[gnu::always_inline]] inline void read_chars(KelGlobal *world, unsigned char *out, uint32_t count,
                                              const KnownForm &form) {
    if (form.bits == 8)
        read_bits(world, out, count * 8);
    else if (form.alphabet && !form.own)
        _kel_pdec_kmstr_pa(world, out, count, form.bits, form.alphabet);
    else if (form.bits == 7)
        unpack_run<7>(world, count, 7, [out](uint32_t i, uint32_t code) { out[i] = static_cast<unsigned char>(code); });
    else if (form.bits == 0)
        std::memset(out, 0, count);
    else
        _kel_pdec_kmstr(world, out, count, form.bits);
}

// The common start of the decoders: the extension bit and what it changes.
// Only the NUL-terminated forms look at the time flag.
struct KnownSetup {
    KnownForm form;
    bool extended;
    bool timeString;
};

[[gnu::always_inline]] inline KnownSetup known_setup(KelGlobal *world, const KelPerString *desc, bool honourTime) {
    KnownSetup s{known_form(world, desc), false, false};
    if (desc->flags & KEL_PER_SIZE_EXTENSIBLE) {
        s.extended = get_bits(world, 1) != 0;
        if (s.extended && compat(world, kCompatExtendedOwnCode))
            s.form.bits = 8;
    } else if (honourTime && (desc->flags & KEL_PER_TIME_STRING)) {
        s.timeString = true;
        if (compat(world, kCompatTimeOctets))
            s.form.bits = 8;
    }
    return s;
}

// The fixed size: ub characters with no length, aligned above 16 bits.
void read_fixed(KelGlobal *world, unsigned char *out, const KelPerString *desc, const KnownForm &form) {
    if (static_cast<uint64_t>(form.bits) * desc->ub > 16)
        align_reader(world);
    read_chars(world, out, desc->ub, form);
}

// Reads the string in place into `out`, at most `limit` characters.
[[gnu::always_inline]] inline uint32_t decode_in_place(KelGlobal *world, unsigned char *out, const KelPerString *desc,
                         const KnownSetup &s, uint32_t limit, int overMessage) {
    if (fixed_size(desc, s.extended)) {
        if (desc->ub > limit)
            fail(world, overMessage, desc->ub);
        read_fixed(world, out, desc, s.form);
        return desc->ub;
    }
    const bool align = align_after_length(desc, s.form.bits, s.extended);
    return collect_in_place(world, out, loop_bounds(desc, s.extended), limit, overMessage, s.timeString,
                            [&](unsigned char *dest, uint32_t n) __attribute__((always_inline)) {
                                if (align)
                                    align_reader(world);
                                read_chars(world, dest, n, s.form);
                            });
}

// Reads the string into a block of decoder memory (header, characters,
// `extra` octets of room); *count takes the length.
[[gnu::always_inline]] inline unsigned char *decode_allocated(KelGlobal *world, const KelPerString *desc, const KnownSetup &s,
                                uint32_t header, uint32_t extra, bool alwaysBlock, uint32_t *count) {
    if (fixed_size(desc, s.extended)) {
        need_bits(world, uint64_t{desc->ub} * s.form.bits);
        unsigned char *block = final_block<unsigned char>(world, header, uint64_t{desc->ub} + extra);
        read_fixed(world, block + header, desc, s.form);
        *count = desc->ub;
        return block;
    }
    const bool align = align_after_length(desc, s.form.bits, s.extended);
    return collect_allocated<unsigned char>(world, loop_bounds(desc, s.extended), header, extra, alwaysBlock,
                                            s.timeString, s.form.bits, count, [&](unsigned char *dest, uint32_t n) __attribute__((always_inline)) {
                                                if (n == 0)
                                                    return;
                                                if (align)
                                                    align_reader(world);
                                                read_chars(world, dest, n, s.form);
                                            });
}

} // namespace

extern "C" {

void _kel_penc_kmstr(KelGlobal *world, const unsigned char *chars, uint32_t length, const KelPerString *desc,
                     uint8_t extension) {
    KnownForm form = known_form(world, desc);
    bool extended = false;
    if (desc->flags & KEL_PER_SIZE_EXTENSIBLE) {
        extended = (extension & kExtensionState) != 0;
        put_bits(world, extended, 1);
        if (extended && compat(world, kCompatExtendedOwnCode))
            form.bits = 8;
    } else if (desc->flags & KEL_PER_TIME_STRING) {
        if (compat(world, kCompatTimeOctets))
            form.bits = 8;
    } else if (size_bounded(desc) && (length < desc->lb || length > desc->ub)) {
        fail(world, kMsgSizeViolated, length);
    }
    // The whole value is tested before a character is written.
    if (form.alphabet) {
        const unsigned char *indexes = form.alphabet->indexes;
        for (uint32_t i = 0; i < length; ++i)
            if ((chars[i] & 0x80) || indexes[chars[i]] == 255)
                fail(world, kMsgBadCharacter, chars[i]);
    }
    encode_sized(world, length, desc, extended, form.bits,
                 [&](uint32_t first, uint32_t count) { write_chars(world, chars + first, count, form); });
}

void _kel_pdec_kmstr(KelGlobal *world, unsigned char *out, uint32_t count, uint32_t bits) {
    unpack_codes(world, count, bits, [out](uint32_t i, uint32_t code) { out[i] = static_cast<unsigned char>(code); });
}

void _kel_pdec_kmstr_pa(KelGlobal *world, unsigned char *out, uint32_t count, uint32_t bits,
                        const KelPerAlphabet *alphabet) {
    if (bits == 0) {
        std::memset(out, alphabet->chars[0], count);
        return;
    }
    const unsigned char *chars = alphabet->chars;
    const uint32_t size = alphabet->count;
    unpack_codes(world, count, bits, [=](uint32_t i, uint32_t index) {
        if (index >= size)
            fail(world, kMsgBadCharacter, kQuestionMark);
        out[i] = chars[index];
    });
}

void _kel_pdec_pad_kmstr(KelGlobal *world, unsigned char *out, const KelPerString *desc) {
    const KnownSetup s = known_setup(world, desc, false);
    const uint32_t total = decode_in_place(world, out, desc, s, desc->ub, kMsgSizeExceeded);
    std::memset(out + total, 0, desc->ub - total);
}

uint32_t _kel_pdec_va_kmstr(KelGlobal *world, unsigned char *out, const KelPerString *desc) {
    const KnownSetup s = known_setup(world, desc, false);
    return decode_in_place(world, out, desc, s, desc->ub, kMsgSizeExceeded);
}

void _kel_pdec_nt_kmstr(KelGlobal *world, unsigned char *out, const KelPerString *desc) {
    const KnownSetup s = known_setup(world, desc, true);
    const uint32_t total = decode_in_place(world, out, desc, s, desc->capacity, kMsgSizeViolated);
    out[total] = 0;
}

int32_t _kel_pdec_vap_kmstr(KelGlobal *world, void **field, uint32_t headerBytes, const KelPerString *desc) {
    const KnownSetup s = known_setup(world, desc, false);
    uint32_t count;
    *field = decode_allocated(world, desc, s, headerBytes, 0, true, &count);
    return static_cast<int32_t>(count);
}

int32_t _kel_pdec_ub_kmstr(KelGlobal *world, unsigned char **field, const KelPerString *desc) {
    const KnownSetup s = known_setup(world, desc, false);
    uint32_t count;
    *field = decode_allocated(world, desc, s, 0, 0, false, &count);
    return static_cast<int32_t>(count);
}

void _kel_pdec_ntp_kmstr(KelGlobal *world, unsigned char **field, const KelPerString *desc) {
    const KnownSetup s = known_setup(world, desc, true);
    uint32_t count;
    unsigned char *block = decode_allocated(world, desc, s, 0, 1, true, &count);
    block[count] = 0;
    *field = block;
}

} // extern "C"
