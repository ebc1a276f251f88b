// sequence_support.cpp - what generated SEQUENCE and SET code asks of the
// library: the surplus bits of an extension preamble, whether a component
// differs from its DEFAULT (rules that omit defaults), the test of a
// pointer that must not be null, and the two tests of strict CER and DER
// decoding that only generated code can place: SET components in the order
// of their tags, and no component present with its DEFAULT value.
#include <bit>
#include <cstring>

#include "ber.h"
#include "bitcopy.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

constexpr int kMsgNullPointer = 71;

// Integer widths that the value forms use.
uint32_t integer_width(uint32_t size) { return size <= 1 ? 1 : size <= 2 ? 2 : size <= 4 ? 4 : 8; }

int64_t load_signed(const void *p, uint32_t size) {
    const uint32_t width = integer_width(size);
    const uint64_t raw = _kel_get_uint(p, width);
    const uint32_t shift = 64 - 8 * width;
    return static_cast<int64_t>(raw << shift) >> shift;
}

template <class Record> Record load_record(const void *p) {
    Record record;
    std::memcpy(&record, p, sizeof record);
    return record;
}

bool same_octets(const void *a, const void *b, size_t n) { return n == 0 || std::memcmp(a, b, n) == 0; }

// {count, pointer} records: `unit` octets per counted element.
template <class Record> bool same_counted(const void *value, const void *defaultValue, uint32_t unit) {
    const auto a = load_record<Record>(value);
    const auto b = load_record<Record>(defaultValue);
    return a.length == b.length && same_octets(a.value, b.value, size_t{a.length} * unit);
}

bool same_bits(const void *value, const void *defaultValue) {
    const auto a = load_record<KelUnboundedBits>(value);
    const auto b = load_record<KelUnboundedBits>(defaultValue);
    if (a.length != b.length)
        return false;
    const uint32_t whole = a.length / 8, rest = a.length % 8;
    if (!same_octets(a.value, b.value, whole))
        return false;
    return rest == 0 || ((a.value[whole] ^ b.value[whole]) & kel::bits::top_mask(rest)) == 0;
}

bool same_text(const void *value, const void *defaultValue) {
    const char *a = load_record<const char *>(value);
    const char *b = load_record<const char *>(defaultValue);
    return std::strcmp(a ? a : "", b ? b : "") == 0;
}

bool same_varying(const void *value, const void *defaultValue, uint32_t lengthSize, int32_t offset) {
    const uint64_t length = _kel_get_uint(value, lengthSize);
    return length == _kel_get_uint(defaultValue, lengthSize) &&
           same_octets(static_cast<const unsigned char *>(value) + offset,
                       static_cast<const unsigned char *>(defaultValue) + offset, length);
}

// KelOidUnbounded with its count under the name the template reads.
struct OidRecord {
    uint16_t length;
    uint32_t *value;
};

bool rule_omits_defaults(uint32_t rule) {
    return rule == KEL_PER_ALIGNED || rule == KEL_PER_UNALIGNED || rule == KEL_DER || rule == KEL_COER;
}

} // namespace

extern "C" {

uint32_t _kel_copy_preamble(KelGlobal *world, const unsigned char *bits, uint32_t total, uint32_t known,
                            void *countField, unsigned char **extra, uint32_t fieldSize) {
    if (total <= known) {
        *extra = nullptr;
        _kel_set_uint(countField, fieldSize, 0);
        return 0;
    }
    const uint32_t count = total - known;
    const uint32_t octets = (count + 7) / 8;
    auto *surplus = static_cast<unsigned char *>(_kel_dec_getmem(world, static_cast<int32_t>(octets)));
    const unsigned char *from = bits + known / 8;
    if (known % 8)
        kel::bits::copy_shift_left(surplus, from, known % 8, count);
    else
        kel::bits::copy_aligned(surplus, from, count);
    uint32_t set = 0;
    for (uint32_t i = 0; i < octets; ++i)
        set += static_cast<uint32_t>(std::popcount(surplus[i]));
    _kel_set_uint(countField, fieldSize, count);
    *extra = surplus;
    return set;
}

int32_t _kel_not_dflt_ia(KelGlobal *world, const void *value, const void *defaultValue, uint32_t size,
                         int32_t extra, int32_t extra2, int32_t kind) {
    if (!rule_omits_defaults(world->encRules))
        return 1;
    const uint32_t unit = extra > 0 ? static_cast<uint32_t>(extra) : 1;
    bool same;
    switch (kind) {
    case KEL_DFLT_OCTETS:
    case 5:
    case 6:
    case 7:
    case 29:
    case 30:
    case 55:
    case 58: same = same_octets(value, defaultValue, size); break;
    case KEL_DFLT_SIGNED: same = load_signed(value, size) == load_signed(defaultValue, extra > 0 ? unit : size); break;
    case KEL_DFLT_UNSIGNED:
        same = _kel_get_uint(value, integer_width(size)) ==
               _kel_get_uint(defaultValue, integer_width(extra > 0 ? unit : size));
        break;
    case KEL_DFLT_UNBOUNDED: same = same_counted<KelUnboundedString>(value, defaultValue, unit); break;
    case KEL_DFLT_BITS: same = same_bits(value, defaultValue); break;
    case KEL_DFLT_TEXT: same = same_text(value, defaultValue); break;
    case KEL_DFLT_VARYING: same = same_varying(value, defaultValue, size, extra2); break;
    case KEL_DFLT_OID_UNBOUNDED: same = same_counted<OidRecord>(value, defaultValue, extra > 0 ? unit : 4); break;
    default: same = false; break; // unknown forms are always encoded
    }
    return same ? 0 : 1;
}

void *_kel_check_ptr(KelGlobal *world, void **p) {
    if (!p || !*p)
        _kel_enc_error(world, kMsgNullPointer, 0);
    return *p;
}

void _kel_dec_set_order(KelGlobal *world, uint32_t *next, uint16_t tag) {
    if (!kel::ber::strict_canonical(world))
        return;
    if (tag < *next)
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    *next = uint32_t{tag} + 1;
}

void _kel_dec_dflt_present(KelGlobal *world, const void *value, uint32_t size,
                           const void *defaultValue, uint32_t defaultSize) {
    if (size == defaultSize && kel::ber::strict_canonical(world) &&
        std::memcmp(value, defaultValue, size) == 0)
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
}

} // extern "C"
