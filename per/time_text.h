// time_text.h - the text side of TIME values that the PER and OER
// primitives share: signed years and centuries read and written, and the
// components of a duration with their designators, in text and wire order,
// with the writer that rebuilds a duration's text as its numbers are read.
#pragma once

#include <cstdint>

#include "internal.h"
#include "kelvarn_time.h"

namespace kel::time_text {

constexpr int kMsgTimeRange = 72; // 0012S

[[noreturn]] inline void out_of_range(KelGlobal *world) { _kel_enc_error(world, kMsgTimeRange, 0); }

inline uint32_t magnitude_of(int32_t value) {
    return value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
}

// An optional sign and at least `minDigits` digits, as a 32-bit number.
inline const char *read_signed(KelGlobal *world, const char *text, int minDigits, int32_t &value) {
    const bool negative = *text == '-';
    if (negative || *text == '+')
        ++text;
    uint32_t magnitude;
    text = _kelStrToUintSafe(world, text, minDigits, &magnitude);
    if (magnitude > (negative ? 0x80000000u : 0x7FFFFFFFu)) [[unlikely]]
        out_of_range(world);
    value = negative ? static_cast<int32_t>(0u - magnitude) : static_cast<int32_t>(magnitude);
    return text;
}

// '-' or '+' and between minDigits and limit digits.
inline char *write_signed(KelGlobal *world, char *out, int minDigits, uint32_t limit, int32_t value) {
    *out++ = value < 0 ? '-' : '+';
    out = _kelRangeUintToStr(out, minDigits, static_cast<int>(limit), magnitude_of(value));
    if (!out) [[unlikely]]
        out_of_range(world);
    return out;
}

// A duration's components, in text and wire order.  Weeks stand alone,
// with the fraction at most.
struct DurationComponent {
    uint8_t bit;
    char designator;
    bool inTime; // behind the 'T'
    uint32_t KelDurationPart::*field;
};

inline constexpr DurationComponent kDurationComponents[] = {
    {KEL_DUR_YEARS, 'Y', false, &KelDurationPart::years},
    {KEL_DUR_MONTHS, 'M', false, &KelDurationPart::months},
    {KEL_DUR_WEEKS, 'W', false, &KelDurationPart::weeks},
    {KEL_DUR_DAYS, 'D', false, &KelDurationPart::days},
    {KEL_DUR_HOURS, 'H', true, &KelDurationPart::hours},
    {KEL_DUR_MINUTES, 'M', true, &KelDurationPart::minutes},
    {KEL_DUR_SECONDS, 'S', true, &KelDurationPart::seconds},
};

// The most digits a duration's fraction may have.
constexpr uint32_t kDurationFractionDigits = 20;

// The text of a duration, written as its components are read: 'P', each
// component's digits and designator, with 'T' before the first component
// of the time.  With a fraction the last component's designator goes behind
// the fraction instead.
struct DurationText {
    char *out;
    bool hasFraction;
    uint32_t last; // bit of the last component
    bool inTime = false;
    char lastDesignator = 0;

    DurationText(char *o, uint32_t mask) : out(o), hasFraction((mask & KEL_DUR_FRACTION) != 0) {
        const uint32_t components = mask & ~KEL_DUR_FRACTION;
        last = components & (0u - components);
        *out++ = 'P';
    }
    void component(const DurationComponent &c, uint64_t value) {
        if (c.inTime && !inTime) {
            *out++ = 'T';
            inTime = true;
        }
        out = _kelUint64ToStrUnlimited(out, 1, value);
        if (c.bit != last || !hasFraction)
            *out++ = c.designator;
        lastDesignator = c.designator;
    }
    // '.', exactly `digits` digits and the last designator.
    void fraction(KelGlobal *world, uint32_t digits, uint64_t value) {
        *out++ = '.';
        out = _kelUint64ToStr(out, static_cast<int>(digits), value);
        if (!out) [[unlikely]]
            out_of_range(world);
        *out++ = lastDesignator;
    }
};

} // namespace kel::time_text
