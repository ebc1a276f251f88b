/*
 * fuzz_json.cpp - libFuzzer target of the JSON rules through the round trip
 * of round_trip.h.  Bit 7 of the mode octet asks for compact output, so
 * that both layouts of the writer are re-read.
 */
#include "round_trip.h"
#include "kelvarn_json.h"

namespace {

constexpr int rules[] = { KEL_JSON };
constexpr const char *ruleNames[] = { "JSON" };
constexpr unsigned compactBit = 0x2; /* of the family's two mode bits */

void configure(KelGlobal *world, unsigned familyBits)
{
    if (familyBits & compactBit)
        kelSetJsonFlags(world, JSON_COMPACT_ENCODING);
}

constexpr kel_fuzz::Family family = { "fuzz_json", rules, ruleNames, 1, configure };

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    return kel_fuzz::run_input(family, data, size);
}
