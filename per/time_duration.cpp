// time_duration.cpp - DURATION in PER: a mask of 8 bits saying which
// components follow (years, months, weeks, days, hours, minutes, seconds,
// fraction), then each present component as a 0 bit and a short field or a
// 1 bit and an unconstrained integer, then the fraction as its digit count
// and its value.  The decoder rebuilds the text with its designators.

#include <iterator>

#include "time_fields.h"
#include "time_text.h"

namespace {

using namespace kel::per;
using namespace kel::per::time;

using kel::time_text::DurationText;
using kel::time_text::kDurationComponents;

// The short field of each component, in the order of kDurationComponents.
constexpr uint32_t kShortWidths[std::size(kDurationComponents)] = {5, 4, 6, 5, 5, 6, 6};

// The digit count of a fraction: 1 to 3 as a 0 bit and 2 bits of count - 1.
constexpr uint32_t kShortDigitsMax = 3;
constexpr uint32_t kDigitsMax = kel::time_text::kDurationFractionDigits;

inline uint32_t fraction_offset(const KelGlobal *world) {
    return world->ext->compatFlags & kCompatDurationFractionFrom1 ? 1 : 0;
}

// A 0 bit and the value in `width` bits, or a 1 bit and the value
// unconstrained when it does not fit.
inline void put_short_or_long(KelGlobal *world, uint32_t value, uint32_t width) {
    if (value >> width == 0)
        put_bits(world, value, width + 1);
    else {
        put_bits(world, 1, 1);
        _kel_penc_unconstr_int(world, value);
    }
}

inline uint64_t get_short_or_long(KelGlobal *world, uint32_t width) {
    if (get_bits(world, 1) == 0)
        return get_bits(world, width);
    const int64_t value = _kel_pdec_unconstr_int(world);
    if (value < 0) [[unlikely]]
        fail(world, kMsgDurationMisencoded);
    return static_cast<uint64_t>(value);
}

inline void skip_short_or_long(KelGlobal *world, uint32_t width) {
    if (get_bits(world, 1) == 0)
        get_bits(world, width);
    else
        _kel_pskip_int(world);
}

} // namespace

extern "C" {

const char *_kel_pe_t_duration_interval(KelGlobal *world, const char *text) {
    if (*text != 'P') [[unlikely]]
        out_of_range(world);
    KelDurationPart duration;
    const char *end = _kelDTDurationParse(world, text, &duration);
    const uint32_t mask = duration.flags;
    put_bits(world, mask, 8);
    for (size_t i = 0; i < std::size(kDurationComponents); ++i)
        if (mask & kDurationComponents[i].bit)
            put_short_or_long(world, duration.*kDurationComponents[i].field, kShortWidths[i]);
    if (mask & KEL_DUR_FRACTION) {
        const uint32_t digits = duration.fractionDigits;
        if (digits <= kShortDigitsMax)
            put_bits(world, digits - 1, 3);
        else {
            put_bits(world, 1, 1);
            _kel_penc_unconstr_int(world, digits);
        }
        put_fraction_value(world, duration.fraction, fraction_offset(world));
    }
    return end;
}

// Only the last component may be zero; the designator of the last one goes
// behind the fraction when there is one.
char *_kel_pd_t_duration_interval(KelGlobal *world, char *out) {
    const uint32_t mask = static_cast<uint32_t>(get_bits(world, 8));
    const uint32_t components = mask & ~KEL_DUR_FRACTION;
    if (components == 0 || ((mask & KEL_DUR_WEEKS) && components != KEL_DUR_WEEKS)) [[unlikely]]
        fail(world, kMsgDurationMisencoded);
    DurationText text(out, mask);
    bool zeroInside = false;
    for (size_t i = 0; i < std::size(kDurationComponents); ++i) {
        const auto &c = kDurationComponents[i];
        if (!(mask & c.bit))
            continue;
        const uint64_t value = get_short_or_long(world, kShortWidths[i]);
        zeroInside |= value == 0 && c.bit != text.last;
        text.component(c, value);
    }
    if (zeroInside) [[unlikely]]
        fail(world, kMsgDurationMisencoded);
    if (text.hasFraction) {
        uint64_t digits = get_bits(world, 1) ? static_cast<uint64_t>(_kel_pdec_unconstr_int(world))
                                             : get_bits(world, 2) + 1;
        if (digits == 0 || digits > kDigitsMax) [[unlikely]]
            out_of_range(world);
        text.fraction(world, static_cast<uint32_t>(digits), get_fraction_value(world, fraction_offset(world)));
    }
    return text.out;
}

void _kel_ps_t_duration_interval(KelGlobal *world) {
    const uint32_t mask = static_cast<uint32_t>(get_bits(world, 8));
    for (size_t i = 0; i < std::size(kDurationComponents); ++i)
        if (mask & kDurationComponents[i].bit)
            skip_short_or_long(world, kShortWidths[i]);
    if (mask & KEL_DUR_FRACTION) {
        skip_short_or_long(world, 2);
        skip_fraction_value(world);
    }
}

} // extern "C"
