// compare_kinds.cpp - equality of values by memory form.  The kind comparer
// _kelCmpPrimitiveValue serves generated code for DEFAULT values and
// single-value constraints; the form helpers (bit strings, counted strings,
// linked lists, huge integers) serve generated comparers field by field.
//
// Nothing here raises: a comparison answers, whatever the bytes hold.
#include <array>
#include <cstddef>
#include <cstring>

#include "internal.h"
#include "kelvarn_services.h"

namespace {

// A counted form with its content behind a pointer: the length field is 2
// or 4 octets wide, and the pointer sits on the next pointer boundary.
template <class Length> struct LengthPointer {
    Length length;
    const unsigned char *content;
};
constexpr int kPointerOffset = offsetof(LengthPointer<uint32_t>, content);
static_assert(offsetof(LengthPointer<uint16_t>, content) == kPointerOffset);

template <class Length> uint32_t read_length(const void *record) {
    Length length;
    std::memcpy(&length, record, sizeof length);
    return length;
}

uint32_t length_at(const void *record, int width) {
    return width == 2 ? read_length<uint16_t>(record) : read_length<uint32_t>(record);
}

const unsigned char *pointer_at(const void *record, int displacement) {
    const unsigned char *p;
    std::memcpy(&p, static_cast<const unsigned char *>(record) + displacement, sizeof p);
    return p;
}

// Length and content of one counted value.  `unit` is the octets of one
// counted unit, negative when the length counts bits.
struct Counted {
    uint32_t length;
    const unsigned char *content;
};

bool same_content(const Counted &a, const Counted &b, int unit) {
    if (a.length != b.length)
        return false;
    if (a.length == 0 || a.content == b.content)
        return true;
    if (!a.content || !b.content)
        return false;
    if (unit < 0)
        return _kel_cmp_membits(a.content, b.content, a.length) == 0;
    return std::memcmp(a.content, b.content, static_cast<size_t>(a.length) * static_cast<unsigned>(unit)) == 0;
}

// The bits [from, to) of a bit string are all zero.
bool bits_clear(const unsigned char *bytes, uint32_t from, uint32_t to) {
    if (from >= to)
        return true;
    const uint32_t first = from >> 3;
    const uint32_t last = (to - 1) >> 3;
    for (uint32_t i = first; i <= last; ++i) {
        unsigned mask = 0xFF;
        if (i == first)
            mask &= 0xFFu >> (from & 7);
        if (i == last)
            mask &= 0xFF00u >> (((to - 1) & 7) + 1);
        if (bytes[i] & mask)
            return false;
    }
    return true;
}

// Nodes of a linked list start with the link to the next node; the element
// follows it.
struct Node {
    const Node *next;
};

int compare_chains(const Node *a, const Node *b, uint32_t elementSize) {
    for (; a && b; a = a->next, b = b->next) {
        if (a == b)
            return 0; // the rest of the list is shared
        if (std::memcmp(a + 1, b + 1, elementSize) != 0)
            return 1;
    }
    return a || b ? 1 : 0;
}

// A huge integer without its redundant sign octets.
struct HugeDigits {
    const unsigned char *bytes;
    uint32_t length;
    bool negative;
};

HugeDigits trimmed(const unsigned char *bytes, uint32_t length, bool isSigned) {
    if (!isSigned) {
        while (length && bytes[0] == 0) {
            ++bytes;
            --length;
        }
        return {bytes, length, false};
    }
    while (length > 1 && ((bytes[0] == 0x00 && bytes[1] < 0x80) || (bytes[0] == 0xFF && bytes[1] >= 0x80))) {
        ++bytes;
        --length;
    }
    return {bytes, length, length && bytes[0] >= 0x80};
}

int compare_huge(const HugeDigits &a, const HugeDigits &b) {
    if (!a.length || !b.length)
        return (a.length != 0) - (b.length != 0);
    if (a.negative != b.negative)
        return a.negative ? -1 : 1;
    if (a.length != b.length) // more octets: further from zero
        return (a.length > b.length) != a.negative ? 1 : -1;
    const int order = std::memcmp(a.bytes, b.bytes, a.length);
    return (order > 0) - (order < 0);
}

// ---------------------------------------------------------------------------
// The kinds
// ---------------------------------------------------------------------------

enum class Shape : uint8_t { Unknown, Memory, PaddedBits, BitArray, Counted, Huge, Boolean, Text, Linked };
// Where the content of a counted kind lies: behind the length, behind a
// pointer, or as the extra argument says (-1: a pointer).
enum class Place : uint8_t { Inline, Pointer, ByExtra };

struct KindForm {
    Shape shape = Shape::Unknown;
    Place place = Place::Inline;
    int8_t unit = 1;           // octets per counted unit, -1 bits
    bool emptyDiffers = false; // two empty values are not equal
    bool narrowBelowFour = false; // 2-octet length for any size under 4, not just 2
};

constexpr int kKindCount = 75;

constexpr std::array<KindForm, kKindCount> kKinds = [] {
    std::array<KindForm, kKindCount> t{};
    for (int k : {0, 5, 6, 7, 29, 30, 55, 58})
        t[k] = {Shape::Memory};
    t[KEL_CMPK_PADDED_BITS] = {Shape::PaddedBits};
    t[KEL_CMPK_BIT_ARRAY] = {Shape::BitArray};
    t[KEL_CMPK_UNBOUNDED_BITS] = {Shape::Counted, Place::Pointer, -1};
    t[KEL_CMPK_VARYING_BITS] = {Shape::Counted, Place::Inline, -1};
    for (int k : {9, 21, 23})
        t[k] = {Shape::Counted, Place::Inline, 1};
    for (int k : {10, 20, 25})
        t[k] = {Shape::Counted, Place::Pointer, 1};
    t[KEL_CMPK_UNITS2] = {Shape::Counted, Place::Pointer, 2};
    t[KEL_CMPK_UNITS4] = {Shape::Counted, Place::Pointer, 4};
    t[KEL_CMPK_VARYING_UNITS2] = {Shape::Counted, Place::Inline, 2, true};
    t[KEL_CMPK_UNBOUNDED_UNITS2] = {Shape::Counted, Place::Pointer, 2, true};
    for (int k : {63, 74})
        t[k] = {Shape::Counted, Place::ByExtra, 1, true, true};
    t[KEL_CMPK_HUGE] = {Shape::Huge};
    t[KEL_CMPK_BOOLEAN] = {Shape::Boolean};
    for (int k : {24, 59})
        t[k] = {Shape::Text};
    t[KEL_CMPK_LINKED] = {Shape::Linked};
    return t;
}();

// The extra argument of a kind carries a number in a pointer.
intptr_t number_in(const void *extra) { return reinterpret_cast<intptr_t>(extra); }

// Bit 0 of a padded bit string is the most significant bit of its field.
template <class Field> void to_big_endian(const void *field, unsigned char *out) {
    Field value;
    std::memcpy(&value, field, sizeof value);
    for (size_t i = 0; i < sizeof value; ++i)
        out[i] = static_cast<unsigned char>(value >> (8 * (sizeof value - 1 - i)));
}

bool padded_bits_equal(const void *a, const void *b, uint32_t size, uint32_t bits) {
    const uint32_t width = size <= 1 ? 1 : size == 2 ? 2 : 4;
    auto convert = width == 1 ? to_big_endian<uint8_t> : width == 2 ? to_big_endian<uint16_t> : to_big_endian<uint32_t>;
    unsigned char x[4], y[4];
    convert(a, x);
    convert(b, y);
    return _kel_cmp_membits(x, y, bits < width * 8 ? bits : width * 8) == 0;
}

bool counted_equal(const KindForm &form, const void *a, const void *b, uint32_t size, const void *extra) {
    const int width = (form.narrowBelowFour ? size < 4 : size == 2) ? 2 : 4;
    const bool behindPointer = form.place == Place::Pointer || (form.place == Place::ByExtra && number_in(extra) == -1);
    auto read = [&](const void *record) {
        const unsigned char *content = behindPointer ? pointer_at(record, kPointerOffset)
                                                     : static_cast<const unsigned char *>(record) + width;
        return Counted{length_at(record, width), content};
    };
    const Counted x = read(a), y = read(b);
    if (form.emptyDiffers && x.length == 0)
        return false;
    return same_content(x, y, form.unit);
}

bool equal_by_kind(const void *a, const void *b, uint32_t size, const void *extra, int kind) {
    const KindForm form = kind >= 0 && kind < kKindCount ? kKinds[static_cast<size_t>(kind)] : KindForm{};
    const auto *x = static_cast<const unsigned char *>(a);
    const auto *y = static_cast<const unsigned char *>(b);
    switch (form.shape) {
    case Shape::Memory: return std::memcmp(a, b, size) == 0;
    case Shape::PaddedBits: return padded_bits_equal(a, b, size, static_cast<uint32_t>(number_in(extra)));
    case Shape::BitArray: return _kel_cmp_membits(x, y, static_cast<uint32_t>(number_in(extra))) == 0;
    case Shape::Counted: return counted_equal(form, a, b, size, extra);
    case Shape::Huge: return _kel_cmp_huge_int_ia(a, b, size == 2 ? 2 : 4, extra != nullptr, kPointerOffset) == 0;
    case Shape::Boolean: return ((x[0] ^ y[0]) & 1) == 0;
    case Shape::Text: return std::strcmp(static_cast<const char *>(a), static_cast<const char *>(b)) == 0;
    case Shape::Linked: return _kel_cmp_link_obj(a, b, size) == 0;
    case Shape::Unknown: break;
    }
    return false;
}

} // namespace

extern "C" {

int _kelCmpPrimitiveValue(KelGlobal *world, const void *first, const void *second, uint32_t size,
                          const void *extra, int kind) {
    if (first == second)
        return 1;
    if (!first || !second)
        return 0;
    if (kind == KEL_CMPK_MEMORY || kind == 50)
        return std::memcmp(first, second, size) == 0;
    // Code compiled for DEFAULT values reads the rules as PER while it
    // compares; the caller's rule comes back afterwards.
    const uint32_t rules = world->encRules;
    world->encRules = KEL_PER_ALIGNED;
    const bool equal = equal_by_kind(first, second, size, extra, kind);
    world->encRules = rules;
    return equal;
}

int _kel_cmp_membits(const unsigned char *first, const unsigned char *second, uint32_t bits) {
    const uint32_t whole = bits >> 3;
    if (whole && std::memcmp(first, second, whole) != 0)
        return 1;
    const unsigned rest = bits & 7;
    return rest && ((first[whole] ^ second[whole]) & (0xFF00u >> rest) & 0xFF) ? 1 : 0;
}

int _kel_cmp_arrbits(const unsigned char *first, const unsigned char *second, uint32_t firstBits,
                     uint32_t secondBits) {
    const bool firstLonger = firstBits >= secondBits;
    const uint32_t common = firstLonger ? secondBits : firstBits;
    if (_kel_cmp_membits(first, second, common))
        return 1;
    return bits_clear(firstLonger ? first : second, common, firstLonger ? firstBits : secondBits) ? 0 : 1;
}

int _kel_cmp_link_obj(const void *firstHead, const void *secondHead, uint32_t elementSize) {
    auto head = [](const void *at) { return at ? *static_cast<const Node *const *>(at) : nullptr; };
    return compare_chains(head(firstHead), head(secondHead), elementSize);
}

int _kel_cmp_link_objid(const void *firstHead, const void *secondHead, uint32_t elementSize) {
    return compare_chains(static_cast<const Node *>(firstHead), static_cast<const Node *>(secondHead), elementSize);
}

int _kel_cmp_unbnd_octet_ia(const void *first, const void *second, int lengthWidth, int unit, int displacement) {
    const Counted a{length_at(first, lengthWidth), pointer_at(first, displacement)};
    const Counted b{length_at(second, lengthWidth), pointer_at(second, displacement)};
    return same_content(a, b, unit) ? 0 : 1;
}

int _kel_cmp_huge_int_ia(const void *first, const void *second, int lengthWidth, int isSigned, int displacement) {
    return compare_huge(trimmed(pointer_at(first, displacement), length_at(first, lengthWidth), isSigned != 0),
                        trimmed(pointer_at(second, displacement), length_at(second, lengthWidth), isSigned != 0));
}

} // extern "C"
