// alphabet_tree.cpp - the walkers of range-list alphabets: membership of a
// character, the index of a character, the character at an index.  The
// layout of the tree is in kelvarn_services.h.
//
// All three walk from the root's control word: an entry that does not hold
// the key sends the walk right when the key lies above the entry's first
// code, left when below, and the walk ends where that branch is missing.

#include "kelvarn_services.h"

namespace {

constexpr uint32_t kNoIndexWords = 0xFFFFFFFFu;
constexpr uint32_t kNoCharacter = 0x10FFFDu;

enum Kind : uint32_t { kSingle = 0, kRange = 1, kList = 2 };

struct Entry {
    const uint32_t *control; // the entry's control word; its codes follow
    uint32_t kind() const { return control[0] >> 30; }
    bool has_left() const { return (control[0] >> 25) & 1u; }
    uint32_t right_distance() const { return control[0] & 0xFFFFu; }
    uint32_t first() const { return control[1]; }
    // Codes of the entry: 1, 2 (first and last) or S - 1.
    uint32_t code_words() const {
        switch (kind()) {
        case kSingle:
            return 1;
        case kRange:
            return 2;
        default: {
            const uint32_t size = (control[0] >> 26) & 7u;
            return size > 1 ? size - 1 : 1;
        }
        }
    }
    // The last code the entry holds.
    uint32_t last() const { return kind() == kSingle ? control[1] : control[code_words()]; }
    // Characters the entry holds, for index arithmetic.
    uint32_t span() const { return kind() == kRange ? control[2] - control[1] + 1 : code_words(); }
    // The left branch starts right behind the entry; `step` is 1 when every
    // entry carries an index word in front of its control word.
    Entry left(uint32_t step) const { return {control + 1 + code_words() + step}; }
    Entry right() const { return {control + right_distance()}; }
};

// Position of `character` in the entry (0 = first code), or -1.
int32_t position_in(const Entry &e, uint32_t character) {
    switch (e.kind()) {
    case kSingle:
        return character == e.first() ? 0 : -1;
    case kRange:
        return character <= e.last() ? static_cast<int32_t>(character - e.first()) : -1;
    default:
        for (uint32_t i = 0, n = e.code_words(); i < n; ++i)
            if (e.control[1 + i] == character)
                return static_cast<int32_t>(i);
        return -1;
    }
}

// Walks by code; returns the entry holding `character` and its position in
// it, or a null entry.
Entry find_char(const uint32_t *tree, uint32_t character, uint32_t step, int32_t *position) {
    Entry e{tree + 1};
    for (;;) {
        if (character >= e.first()) {
            const int32_t at = position_in(e, character);
            if (at >= 0) {
                *position = at;
                return e;
            }
            if (e.right_distance() == 0)
                return {nullptr};
            e = e.right();
        } else {
            if (!e.has_left())
                return {nullptr};
            e = e.left(step);
        }
    }
}

} // namespace

extern "C" {

int kelCharIsPermitted(const uint32_t *tree, uint32_t character) {
    if (!tree)
        return 0;
    const uint32_t step = tree[0] == kNoIndexWords ? 0 : 1;
    int32_t position;
    return find_char(tree, character, step, &position).control != nullptr;
}

int32_t kelIndexByChar(const uint32_t *tree, uint32_t character) {
    if (!tree || tree[0] == kNoIndexWords)
        return -1;
    int32_t position;
    const Entry e = find_char(tree, character, 1, &position);
    return e.control ? static_cast<int32_t>(e.control[-1] + static_cast<uint32_t>(position)) : -1;
}

uint32_t kelCharByIndex(const uint32_t *tree, uint32_t index) {
    if (!tree || tree[0] == kNoIndexWords)
        return kNoCharacter;
    Entry e{tree + 1};
    for (;;) {
        const uint32_t firstIndex = e.control[-1];
        if (index >= firstIndex) {
            const uint32_t offset = index - firstIndex;
            if (offset < e.span())
                return e.kind() == kRange ? e.first() + offset : e.control[1 + offset];
            if (e.right_distance() == 0)
                return kNoCharacter;
            e = e.right();
        } else {
            if (!e.has_left())
                return kNoCharacter;
            e = e.left(1);
        }
    }
}

} // extern "C"
