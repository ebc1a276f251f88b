/*
 * fuzz_oer.cpp - libFuzzer target of the OER family: OER and COER through
 * the round trip of round_trip.h.
 */
#include "round_trip.h"

namespace {

constexpr int rules[] = { KEL_OER, KEL_COER };
constexpr const char *ruleNames[] = { "OER", "COER" };
constexpr kel_fuzz::Family family = { "fuzz_oer", rules, ruleNames, 2 };

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    return kel_fuzz::run_input(family, data, size);
}
