// service_checks.h - the runner's checks of the value services on a case's
// value: copy (kelCpyValue), compare (kelCmpValue), print (kelPrintPDU) and
// the self-test driver (kelTest).
// Each takes a value decoded into library memory and answers an empty
// string when the check passed, else what failed.
#ifndef KEL_SERVICE_CHECKS_H
#define KEL_SERVICE_CHECKS_H

#include <string>

#include "corpus_values.h"

namespace kel_vectors {

struct ServiceCase {
    KelGlobal *world;
    int pdu;
    const KelTypeDesc *type;
    const void *expected; // the case's value, built by the runner
    // The self-test's rule keywords where the value can't take every rule
    // of the default list; null for the default list.
    const char *selftestRules = nullptr;
};

// A deep copy, in library memory and in a caller's area, equals the value,
// shares no piece with it and outlives its kelFreePDU.
std::string check_copy(const ServiceCase &c);
// The value equals an independent decoding of itself and differs from a
// copy with one field changed, where the type has a field to change.
std::string check_compare(const ServiceCase &c);
// The printed value names every component present, and a value of a
// simple type reads back to the case's value.
std::string check_print(const ServiceCase &c);
// kelTest under its default steps and rules passes the value through every
// rule the code file links, reporting no failure.
std::string check_selftest(const ServiceCase &c);

} // namespace kel_vectors

#endif // KEL_SERVICE_CHECKS_H
