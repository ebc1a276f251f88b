// compare_open_type.cpp - equality of two open type records: by their
// decoded values through the code file's comparer, else by their encodings,
// and last by the application's own function for the user field.
#include <cstring>

#include "internal.h"
#include "kelvarn_services.h"

namespace {

// "0079S: User-defined open type user-field-handling function returned a
// non-zero error code"
constexpr int kMsgUserFieldFunction = 33;

bool decoded_equal(KelGlobal *world, const KelOpenType *a, const KelOpenType *b) {
    if (!a->decoded || !b->decoded || a->pduNum != b->pduNum || a->pduNum == 0)
        return false;
    const KelXApiTable *table = world->ext ? world->ext->xapi : nullptr;
    return table && table->cmpValue && table->cmpValue(world, a->pduNum, a->decoded, b->decoded) == 0;
}

bool encoded_equal(const KelOpenType *a, const KelOpenType *b) {
    if (a->length != b->length)
        return false;
    if (a->length == 0 || a->encoded == b->encoded)
        return true;
    return a->encoded && b->encoded && std::memcmp(a->encoded, b->encoded, a->length) == 0;
}

} // namespace

extern "C" int _kel_cmp_open_type(KelGlobal *world, const KelOpenType *first, const KelOpenType *second) {
    const uint32_t flags = world->encodingFlags | world->decodingFlags;
    if (!(flags & DONT_DO_DECODED) && (first->decoded || second->decoded)) {
        if (!decoded_equal(world, first, second))
            return 1;
    } else if (!(flags & DONT_DO_ENCODED) && (first->encoded || second->encoded)) {
        if (!encoded_equal(first, second))
            return 1;
    }
    KelUserFieldFn compare = world->ext ? world->ext->userFieldCmp : nullptr;
    if (compare && compare(world, const_cast<KelOpenType *>(first), const_cast<KelOpenType *>(second)) != 0)
        _kel_enc_error(world, kMsgUserFieldFunction, 0);
    return 0;
}
