/*
 * fuzz_per.cpp - libFuzzer target of the PER family: aligned and unaligned
 * PER through the round trip of round_trip.h.
 */
#include "round_trip.h"

namespace {

constexpr int rules[] = { KEL_PER_ALIGNED, KEL_PER_UNALIGNED };
constexpr const char *ruleNames[] = { "PER", "UPER" };
constexpr kel_fuzz::Family family = { "fuzz_per", rules, ruleNames, 2 };

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    return kel_fuzz::run_input(family, data, size);
}
