/*
 * fuzz_ber.cpp - libFuzzer target of the BER family: BER, DER and CER
 * through the round trip of round_trip.h.
 */
#include "round_trip.h"

namespace {

constexpr int rules[] = { KEL_BER, KEL_DER, KEL_CER };
constexpr const char *ruleNames[] = { "BER", "DER", "CER" };
constexpr kel_fuzz::Family family = { "fuzz_ber", rules, ruleNames, 3 };

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    return kel_fuzz::run_input(family, data, size);
}
