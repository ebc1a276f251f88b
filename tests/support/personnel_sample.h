// personnel_sample.h - the sample record of X.690 Annex A in the memory form
// of the PersonnelRecordA1 code file, and the comparison of two records by
// their strings, for the tests of the code file's rules.
#pragma once

#include <cstring>

#include "personnel.h"

namespace kel_test {

inline char *text(const char *s) { return const_cast<char *>(s); }

inline ChildInformation a1Children[] = {{{text("Ralph"), text("T"), text("Smith")}, text("19571111")},
                                        {{text("Susan"), text("B"), text("Jones")}, text("19590717")}};
inline const PersonnelRecord a1Sample = {
    children_present, {text("John"), text("P"), text("Smith")}, text("Director"), 51, text("19710917"),
    {text("Mary"), text("T"), text("Smith")}, {2, a1Children}};

// The memory forms of A1 and A2 compare the same way: strings by strcmp.
template <class N> bool same_name(const N &a, const N &b) {
    return !std::strcmp(a.givenName, b.givenName) && !std::strcmp(a.initial, b.initial) &&
           !std::strcmp(a.familyName, b.familyName);
}

template <class R> bool same_record(const R &a, const R &b) {
    if (!same_name(a.name, b.name) || std::strcmp(a.title, b.title) || a.number != b.number ||
        std::strcmp(a.dateOfHire, b.dateOfHire) || !same_name(a.nameOfSpouse, b.nameOfSpouse) ||
        a.bit_mask != b.bit_mask || a.children.count != b.children.count)
        return false;
    for (uint32_t i = 0; i < a.children.count; ++i)
        if (!same_name(a.children.value[i].name, b.children.value[i].name) ||
            std::strcmp(a.children.value[i].dateOfBirth, b.children.value[i].dateOfBirth))
            return false;
    return true;
}

template <class R> bool same(const void *a, const void *b) {
    return same_record(*static_cast<const R *>(a), *static_cast<const R *>(b));
}

} // namespace kel_test
