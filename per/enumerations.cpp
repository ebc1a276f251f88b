// enumerations.cpp - PER ENUMERATED, signed and unsigned values.  A root
// value goes as its index in the root, with the extension bit riding in the
// top of the same field when the root is small; an addition goes as a 1 bit
// and its index as a normally small number.  The tables hold values in
// declared order and are searched linearly.

#include <bit>

#include "int_fields.h"
#include "per.h"

namespace {

using namespace kel::per;

// Position of `value` in `table`, or -1.
template <class T> int64_t find(const KelPerEnumTable *table, T value) {
    const int32_t *values = table->values;
    for (uint32_t i = 0, count = table->count; i < count; ++i)
        if (static_cast<T>(values[i]) == value)
            return i;
    return -1;
}

// The last entry of the additions: the base from which values this table
// doesn't know are counted down.
inline uint32_t base_of(const KelPerEnumTable *extension) {
    return extension->count ? static_cast<uint32_t>(extension->values[extension->count - 1]) : 0;
}

template <class T>
void encode_enum(KelGlobal *world, T value, const KelPerEnumTable *root, const KelPerEnumTable *extension) {
    const int64_t found = find(root, value);
    if (found < 0) {
        if (!extension)
            fail(world, kMsgNotEnumerated, static_cast<uint32_t>(value));
        const int64_t j = find(extension, value);
        put_bits(world, 1, 1);
        _kel_penc_small_int_l(world, j >= 0 ? static_cast<uint32_t>(j)
                                            : base_of(extension) - static_cast<uint32_t>(value));
        return;
    }
    const uint32_t index = static_cast<uint32_t>(found);
    const uint32_t count = root->count;
    const uint32_t extBit = extension ? 1 : 0;
    const uint32_t width = static_cast<uint32_t>(std::bit_width(count - 1));
    // Up to 255 values the extension bit 0 and the index are one field.
    if (count <= 255) {
        put_bits(world, index, width + extBit);
        return;
    }
    put_bits(world, 0, extBit);
    if (count == 256) {
        align_writer(world);
        put_bits(world, index, 8);
    } else if (count <= 65536) {
        if (world->aligned)
            align_writer(world);
        put_bits(world, index, world->aligned ? 16 : width);
    }
    // Above 65536 values nothing is written: the end of the table's range.
}

template <class T>
T decode_enum(KelGlobal *world, const KelPerEnumTable *root, const KelPerEnumTable *extension) {
    if (extension && get_bits(world, 1)) {
        const uint32_t k = get_bits(world, 1)
                               ? static_cast<uint32_t>(_kel_pdec_semicon_limited_int_l(world, 0, 0, -1))
                               : static_cast<uint32_t>(get_bits(world, 6));
        // The last entry is not decoded as itself: from there on, indexes
        // count down from it, which the encoder inverts.
        if (extension->count && k < extension->count - 1)
            return static_cast<T>(extension->values[k]);
        return static_cast<T>(base_of(extension) - k);
    }
    const uint32_t count = root->count;
    const uint32_t index = get_constrained(world, count ? count - 1 : 0);
    if (index >= count)
        fail(world, kMsgNotEnumerated, index);
    return static_cast<T>(root->values[index]);
}

} // namespace

extern "C" {

void _kel_penc_enum(KelGlobal *world, int32_t value, const KelPerEnumTable *root,
                    const KelPerEnumTable *extension) {
    encode_enum(world, value, root, extension);
}

void _kel_penc_uenum(KelGlobal *world, uint32_t value, const KelPerEnumTable *root,
                     const KelPerEnumTable *extension) {
    encode_enum(world, value, root, extension);
}

int32_t _kel_pdec_enum(KelGlobal *world, const KelPerEnumTable *root, const KelPerEnumTable *extension) {
    return decode_enum<int32_t>(world, root, extension);
}

uint32_t _kel_pdec_uenum(KelGlobal *world, const KelPerEnumTable *root, const KelPerEnumTable *extension) {
    return decode_enum<uint32_t>(world, root, extension);
}

} // extern "C"
