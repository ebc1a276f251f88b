// check_alphabets.cpp - permitted alphabet constraints: the tests of a
// string's characters against a code file's alphabet record (tables by
// character, or a range-list tree), and the range-list tree written out in
// the order of its codes.  The tree's layout is in kelvarn_services.h.
#include <cstddef>

#include "internal.h"
#include "kelvarn_services.h"

// The records as code files emit them on the 32-bit target.
#if defined(__i386__)
static_assert(sizeof(KelByteAlphabet) == 12 && offsetof(KelByteAlphabet, indexes) == 8);
static_assert(sizeof(KelWideAlphabet) == 16 && offsetof(KelWideAlphabet, base) == 12);
#endif

namespace {

constexpr int kMsgBadCharacter = 29;
constexpr unsigned char kForbidden = 255;
constexpr uint32_t kTableSpan = 256;
constexpr uint32_t kNoIndexWords = 0xFFFFFFFFu;

bool wide_permitted(const KelWideAlphabet *alphabet, uint32_t character) {
    if (alphabet->count == KEL_ALPHABET_TREE)
        return kelCharIsPermitted(static_cast<const uint32_t *>(alphabet->members), character) != 0;
    const uint32_t offset = character - alphabet->base;
    if (offset >= kTableSpan)
        return false;
    // With 256 members every entry, 255 too, is an index.
    return alphabet->indexes[offset] != kForbidden || alphabet->count >= kTableSpan;
}

template <class Unit> void check_wide(KelGlobal *world, const Unit *chars, uint32_t count, const KelWideAlphabet *alphabet) {
    for (uint32_t i = 0; i < count; ++i)
        if (!wide_permitted(alphabet, chars[i]))
            _kel_enc_error(world, kMsgBadCharacter, chars[i]);
}

// One entry of a range-list tree, read from its control word.
struct Node {
    const uint32_t *control;
    uint32_t kind() const { return control[0] >> 30; }
    bool has_left() const { return (control[0] >> 25) & 1u; }
    uint32_t right_distance() const { return control[0] & 0xFFFFu; }
    uint32_t code_words() const {
        switch (kind()) {
        case 0: return 1;
        case 1: return 2;
        default: {
            const uint32_t size = (control[0] >> 26) & 7u;
            return size > 1 ? size - 1 : 1;
        }
        }
    }
};

// The codes a node shows: a single code; a range as first..last; a list
// as its first and last code.
template <class Visit> void show_node(Node n, Visit &&put) {
    const uint32_t first = n.control[1], last = n.control[n.code_words()];
    switch (n.kind()) {
    case 0: put(first); return;
    case 1: put(first), put('.'), put('.'), put(last); return;
    default: put(first), put(last); return;
    }
}

// In-order walk of the subtree whose node control word is at `at`; `step`
// is 1 where every node has an index word in front of its control word.
// Returns the word past the subtree.
template <class Visit> uint32_t walk(const uint32_t *tree, uint32_t at, uint32_t step, Visit &&visit) {
    const Node n{tree + at};
    uint32_t end = at + 1 + n.code_words();
    if (n.has_left())
        end = walk(tree, end + step, step, visit);
    visit(n);
    if (n.right_distance())
        end = walk(tree, at + n.right_distance(), step, visit);
    return end;
}

// `*index`: 0 for the root, else the first word of a node (its index word
// where nodes have one); left past the walked subtree.
template <class Visit> void walk_from(const uint32_t *tree, uint32_t *index, Visit &&visit) {
    const uint32_t step = tree[0] == kNoIndexWords ? 0 : 1;
    const uint32_t control = *index == 0 ? 1 : *index + step;
    *index = walk(tree, control, step, visit);
}

} // namespace

extern "C" {

// Characters from 0x80 on belong to no alphabet of a one-octet string and
// lie beyond a table of 128 entries.
void _kel_chk_pac(KelGlobal *world, const unsigned char *chars, uint32_t count, const KelByteAlphabet *alphabet) {
    for (uint32_t i = 0; i < count; ++i)
        if (chars[i] >= 0x80 || alphabet->indexes[chars[i]] == kForbidden)
            _kel_enc_error(world, kMsgBadCharacter, chars[i]);
}

void _kel_chk_pac2(KelGlobal *world, const uint16_t *chars, uint32_t count, const KelWideAlphabet *alphabet) {
    check_wide(world, chars, count, alphabet);
}

void _kel_chk_pac4(KelGlobal *world, const uint32_t *chars, uint32_t count, const KelWideAlphabet *alphabet) {
    check_wide(world, chars, count, alphabet);
}

void kelMultiPlaneAlphabetLength(const uint32_t *tree, uint32_t *index, uint32_t *length) {
    walk_from(tree, index, [&](Node n) { show_node(n, [&](uint32_t) { ++*length; }); });
}

void kelMultiPlaneAlphabet(const uint32_t *tree, uint32_t *index, uint32_t **output) {
    walk_from(tree, index, [&](Node n) { show_node(n, [&](uint32_t code) { *(*output)++ = code; }); });
}

} // extern "C"
