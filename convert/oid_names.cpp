// oid_names.cpp - names of the standard first and second object identifier
// arcs, as name/value rows and as the text/length/value triples that the
// XML readers match against.
#include <cstddef>

#include "kelvarn.h"

namespace {

template <size_t N> constexpr KelOidNameEntry name(const char (&text)[N], uint32_t value) {
    return {text, N - 1, value};
}

} // namespace

extern "C" {

const KelOidArcName stdOid1Name[6] = {
    {"itu-t", 0}, {"iso", 1}, {"joint-iso-itu-t", 2}, {"ccitt", 0}, {"joint-iso-ccitt", 2}, {nullptr, 0},
};

const char *const stdOid2Name[2][10] = {
    {"recommendation", "question", "administration", "network-operator", "identified-organization", "", "",
     "", "", "data"},
    {"standard", "registration-authority", "member-body", "identified-organization", "", "", "", "", "", ""},
};

const KelOidNameEntry _stdoids0[6] = {
    name("itu-t", 0),           name("iso", 1),
    name("joint-iso-itu-t", 2), name("ccitt", 0),
    name("joint-iso-ccitt", 2), {nullptr, 0, 0},
};

const KelOidNameEntry _stdoids1[2][7] = {
    {name("recommendation", 0), name("question", 1), name("administration", 2),
     name("network-operator", 3), name("identified-organization", 4),
     name("data", 9), {nullptr, 0, 0}},
    {name("standard", 0), name("registration-authority", 1),
     name("member-body", 2), name("identified-organization", 3)},
};

} // extern "C"
