// useful_times.cpp - GeneralizedTime and UTCTime in PER from and to a
// KelTimeStruct.
//
// On the wire a time is its text as a VisibleString without a size
// constraint: an unconstrained length, then the characters as aligned
// octets in aligned PER and as 7-bit codes in unaligned PER.  The text is
// composed and the record's fields are tested as in BER (time_contents.h);
// decoded text goes through the time library's parser.

#include <cstring>

#include "contents.h"
#include "kelvarn_time.h"
#include "time_contents.h"

namespace {

using namespace kel::per;
using namespace kel::per::contents;
using kel::useful_time::check_ranges;
using kel::useful_time::TimeText;

// Longest text a decoder takes.
constexpr uint32_t kMaxTimeText = 31;

bool unconstrained(uint32_t flags) { return (flags & NOCONSTRAIN) != 0; }

void put_text(KelGlobal *world, const TimeText &t) {
    _kel_penc_lfrag(world, t.n);
    if (world->aligned) {
        _kel_append(world, t.text, t.n * 8, 1);
        return;
    }
    // Seven bits a character, nine characters a store.
    for (uint32_t i = 0; i < t.n;) {
        const uint32_t group = t.n - i < 9 ? t.n - i : 9;
        uint64_t codes = 0;
        for (uint32_t k = 0; k < group; ++k)
            codes = codes << 7 | (t.text[i + k] & 0x7Fu);
        put_bits(world, codes, group * 7);
        i += group;
    }
}

void decode_time(KelGlobal *world, KelTimeStruct *value, int isUtc) {
    const uint32_t length = contents_length(world);
    if (length > kMaxTimeText)
        fail(world, kMsgMisencoded);
    char text[kMaxTimeText + 1];
    if (world->aligned) {
        need_bits(world, uint64_t{length} * 8);
        _kel_get_bits(world, text, length * 8, 1);
    } else {
        need_bits(world, uint64_t{length} * 7);
        _kel_pdec_kmstr(world, reinterpret_cast<unsigned char *>(text), length, 7);
    }
    text[length] = 0;
    if (_kel_translate_time(text, value, isUtc) != 0)
        fail(world, kMsgMisencoded);
    if (!unconstrained(world->decodingFlags))
        check_ranges(world, value, 999);
}

} // namespace

extern "C" {

void _kel_penc_gtime(KelGlobal *world, const KelTimeStruct *value) {
    if (!unconstrained(world->encodingFlags))
        check_ranges(world, value, 999);
    TimeText t;
    t.generalized(world, value);
    if (value->utc)
        t.put('Z');
    else if (value->mindiff)
        t.offset(world, value);
    put_text(world, t);
}

void _kel_penc_utime(KelGlobal *world, const KelTimeStruct *value) {
    if (!unconstrained(world->encodingFlags))
        check_ranges(world, value, 0);
    TimeText t;
    t.utc(world, value);
    t.zone(world, value);
    put_text(world, t);
}

void _kel_pdec_gtime(KelGlobal *world, KelTimeStruct *value) { decode_time(world, value, 0); }

void _kel_pdec_utime(KelGlobal *world, KelTimeStruct *value) { decode_time(world, value, 1); }

} // extern "C"
