// check_enums.cpp - the membership test of ENUMERATED values, in the signed
// and the unsigned memory forms, against the members a code file lists.
#include <algorithm>

#include "internal.h"
#include "kelvarn_services.h"

#if defined(__i386__)
static_assert(sizeof(KelEnumList) == 8);
#endif

namespace {

constexpr int kMsgNotEnumerated = 36;

bool is_member(int64_t value, const KelEnumList *members) {
    const int32_t *first = members->values, *last = first + members->count;
    return std::find(first, last, value) != last;
}

} // namespace

extern "C" {

void _kel_chk_enum(KelGlobal *world, int32_t value, const KelEnumList *members) {
    if (!is_member(value, members))
        _kel_enc_error(world, kMsgNotEnumerated, static_cast<uint32_t>(value));
}

// Compared as 64-bit numbers, a value from 2^31 on never meets a negative
// member of the same bits.
void _kel_chk_uenum(KelGlobal *world, uint32_t value, const KelEnumList *members) {
    if (!is_member(value, members))
        _kel_enc_error(world, kMsgNotEnumerated, value);
}

} // extern "C"
