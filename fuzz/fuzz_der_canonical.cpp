/*
 * fuzz_der_canonical.cpp - libFuzzer target of the canonical oracle: under
 * DER with STRICT_ENCODING_DECODING_RULES an input that decodes is the one
 * encoding of its value, so the value must encode to exactly the octets the
 * decoder consumed (canonical_trip in round_trip.h).  The selector octets
 * are those of fuzz_ber; the rule bits are ignored.
 */
#include "round_trip.h"

namespace {

constexpr int rules[] = { KEL_DER };
constexpr const char *ruleNames[] = { "strict DER" };

/* Strict whatever the mode octet says: relaxed decoding has no canonical form. */
void strict(KelGlobal *world, unsigned)
{
    kelSetDecodingFlags(world, (kelGetDecodingFlags(world) & ~KEL_RELAXED) | STRICT_ENCODING_DECODING_RULES);
}

constexpr kel_fuzz::Family family = { "fuzz_der_canonical", rules, ruleNames, 1, strict,
                                      kel_fuzz::Oracle::canonical };

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    return kel_fuzz::run_input(family, data, size);
}
