// time_fields.h - what the PER TIME primitives share: their message numbers,
// the interval state kept in KelWorldExt, the fraction value that times and
// durations write alike, and the pieces (one field of text, one field on the
// wire) from which the mixed form builds its alternatives.
#pragma once

#include <cstdint>

#include "kelvarn_time.h"
#include "per.h"

namespace kel::per::time {

enum : int {
    kMsgTimeRange = 72,          // 0012S
    kMsgDurationMisencoded = 308, // 0356S
};

// compatFlags: the short fraction of a duration counts from 1, not from 0.
constexpr uint32_t kCompatDurationFractionFrom1 = 0x800000;

// The largest fraction value of the short form, which is a constrained
// number of 1000 values: 10 bits, or two aligned octets in aligned PER.
constexpr uint32_t kShortFractionSpan = 999;

[[noreturn]] inline void out_of_range(KelGlobal *world) { fail(world, kMsgTimeRange); }

// Interval state, KelWorldExt::timeInterval: bits 0-1 the state, bit 2 the
// sign, bits 3-6 the hours and bits 7-12 the minutes (0: none) of the time
// difference that the first half of an interval stated.
enum IntervalState : uint16_t { kIdle = 0, kRemember = 1, kRemembered = 2 };
constexpr uint16_t kStateMask = 3;

inline uint16_t &interval_state(KelGlobal *world) { return world->ext->timeInterval; }

// The fraction value: a 0 bit and value - offset as a short field for values
// from `offset` to 999, else a 1 bit and the value as an unconstrained
// integer.  The reader returns the value; values above the 63-bit range are
// refused on both sides.
void put_fraction_value(KelGlobal *world, uint64_t value, uint32_t offset);
uint64_t get_fraction_value(KelGlobal *world, uint32_t offset);
void skip_fraction_value(KelGlobal *world);

// One piece of a mixed value.  Zulu is the 'Z' of a UTC time, which has no
// bits; Fraction takes the digit count of its value.
enum class Piece : uint8_t {
    Century,
    AnyCentury,
    Year,
    AnyYear,
    Month,
    DayOfMonth,
    DayOfYear,
    Week,
    DayOfWeek,
    Hours,
    Minutes,
    Seconds,
    Fraction,
    Zulu,
    Difference,
};

// The digit limit of the signed years and centuries, and of the recurrence,
// that the mixed form passes to the decoders.
constexpr uint32_t kMixedDigitLimit = 20;

const char *encode_piece(KelGlobal *world, const char *text, Piece piece, uint32_t digits);
char *decode_piece(KelGlobal *world, char *out, Piece piece, uint32_t digits);
void skip_piece(KelGlobal *world, Piece piece);

// Skip of a recurrence: the count's presence bit and the count.
void skip_recurrence(KelGlobal *world);

} // namespace kel::per::time
