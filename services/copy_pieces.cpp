// copy_pieces.cpp - the parts of a deep copy that generated copy functions
// leave to the library: linked lists, decimal REAL text, open types and
// {length, pointer} records.  All memory comes from the running call's
// decoder memory (the caller's area or items on the world's chain), so a
// failure anywhere releases everything through the frame.
#include <cstring>

#include "internal.h"
#include "kelvarn_services.h"

namespace {

// The first words of a list node; `prev` exists only in doubly linked lists.
struct Node {
    Node *next;
    Node *prev;
};

// The head of a singly or doubly linked list: the field that holds the first
// node.
struct ListHead {
    Node *first;
};

// The head record of a doubly linked list that keeps its end and size.
struct CountedHead {
    Node *first;
    Node *last;
    uint32_t count;
};

constexpr size_t round8(size_t n) { return (n + 7) & ~size_t{7}; }

constexpr int32_t kListHeadRoom = round8(sizeof(ListHead));
constexpr int32_t kCountedHeadRoom = round8(sizeof(CountedHead));

// Open type records: without the user field, or with it when decoders fill
// it (bit 2 of presetDecFlags).
constexpr uint16_t kPresetUserField = 4;
constexpr size_t kPlainOpenType = offsetof(KelOpenType, userField);
constexpr size_t kUserOpenType = offsetof(KelOpenType, userField) + sizeof(uint32_t);

// "0067S: Error in copying an open type": a decoded value and no copier.
constexpr int kMsgOpenTypeCopy = 32;
// "0079S: User-defined open type user-field-handling function returned ..."
constexpr int kMsgUserFieldFunction = 33;

#if defined(__i386__)
static_assert(kListHeadRoom == 8);
static_assert(kCountedHeadRoom == 16);
static_assert(kPlainOpenType == 16 && sizeof(KelOpenType) == 20 && round8(kUserOpenType) == 24);
#endif

// A copy of `length` octets in decoder memory; none for an empty source.
void *copy_bytes(KelGlobal *world, const void *bytes, uint64_t length) {
    if (!bytes || !length)
        return nullptr;
    if (length > UINT32_MAX)
        _kel_enc_error(world, kel::kMsgOutOfMemory, UINT32_MAX);
    void *copy = _kel_dec_getmem_internal(world, static_cast<uint32_t>(length));
    std::memcpy(copy, bytes, static_cast<size_t>(length));
    return copy;
}

// Copies the nodes from `first` on, each of `elementSize` octets, and links
// the copies forward, and backward as well when `doubly`.  Answers the first
// copy; `*last` and `*count` take the last copy and the number of nodes.
Node *copy_nodes(KelGlobal *world, const Node *first, uint32_t elementSize, bool doubly, Node **last, uint32_t *count) {
    // A node holds at least its links, whatever size the caller names.
    const uint32_t linkRoom = doubly ? sizeof(Node) : sizeof(Node *);
    const uint32_t room = elementSize > linkRoom ? elementSize : linkRoom;
    Node *head = nullptr;
    Node *tail = nullptr;
    uint32_t n = 0;
    for (const Node *node = first; node; node = node->next, ++n) {
        auto *copy = static_cast<Node *>(_kel_dec_getmem_internal(world, room));
        std::memcpy(copy, node, elementSize);
        copy->next = nullptr;
        if (doubly)
            copy->prev = tail;
        (tail ? tail->next : head) = copy;
        tail = copy;
    }
    *last = tail;
    *count = n;
    return head;
}

void *copy_list(KelGlobal *world, const void *sourceHead, void *destination, uint32_t elementSize, bool doubly) {
    auto *head = static_cast<ListHead *>(destination ? destination : _kel_dec_getfixmem(world, kListHeadRoom));
    Node *last;
    uint32_t count;
    head->first =
        copy_nodes(world, static_cast<const ListHead *>(sourceHead)->first, elementSize, doubly, &last, &count);
    return head;
}

template <class T> uint64_t load(const unsigned char *p) {
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

// The length field of a {length, pointer} record, 1, 2 or 4 octets wide.
uint64_t length_field(const unsigned char *record, int width) {
    switch (width) {
    case 1:
        return load<uint8_t>(record);
    case 2:
        return load<uint16_t>(record);
    default:
        return load<uint32_t>(record);
    }
}

} // namespace

extern "C" {

void *_kel_cpy_link_obj(KelGlobal *world, const void *sourceHead, void *destination, uint32_t elementSize) {
    return copy_list(world, sourceHead, destination, elementSize, false);
}

void *_kel_cpy_dlink_obj(KelGlobal *world, const void *sourceHead, void *destination, uint32_t elementSize) {
    return copy_list(world, sourceHead, destination, elementSize, true);
}

void *_kel_cpy_dlink_plus(KelGlobal *world, const void *sourceHead, void *destination, uint32_t elementSize) {
    auto *head = static_cast<CountedHead *>(destination ? destination : _kel_dec_getfixmem(world, kCountedHeadRoom));
    head->first = copy_nodes(world, static_cast<const CountedHead *>(sourceHead)->first, elementSize, true, &head->last,
                             &head->count);
    return head;
}

char *_kel_cpy_char_real(KelGlobal *world, const char *text) {
    return text ? static_cast<char *>(copy_bytes(world, text, std::strlen(text) + 1)) : nullptr;
}

KelOpenType *_kel_cpy_open_type(KelGlobal *world, const KelOpenType *source, KelOpenType *destination) {
    const size_t copied = (world->presetDecFlags & kPresetUserField) ? kUserOpenType : kPlainOpenType;
    if (!destination)
        destination = static_cast<KelOpenType *>(_kel_dec_getfixmem(world, static_cast<int32_t>(round8(copied))));
    if (destination != source)
        std::memcpy(static_cast<void *>(destination), source, copied);

    const uint32_t flags = world->decodingFlags;
    if (flags & DONT_DO_ENCODED) {
        destination->length = 0;
        destination->encoded = nullptr;
    } else {
        destination->encoded = copy_bytes(world, source->encoded, source->length);
    }

    destination->decoded = nullptr;
    if (flags & DONT_DO_DECODED) {
        destination->pduNum = 0;
    } else if (source->pduNum && source->decoded) {
        const KelXApiTable *xapi = world->ext->xapi;
        if (!xapi || !xapi->cpyValue)
            _kel_enc_error(world, kMsgOpenTypeCopy, 0);
        xapi->cpyValue(world, source->pduNum, source->decoded, &destination->decoded);
    }

    if (KelUserFieldFn copyUserField = world->ext->userFieldCpy)
        if (int result = copyUserField(world, const_cast<KelOpenType *>(source), destination))
            _kel_enc_error(world, kMsgUserFieldFunction, static_cast<uint32_t>(result));
    return destination;
}

void *_kel_cpy_unbnd_octet_ia(KelGlobal *world, const void *source, void *destination, int lengthWidth, int unit,
                              int displacement) {
    const size_t span = static_cast<size_t>(displacement) + sizeof(void *);
    if (!destination)
        destination = _kel_dec_getfixmem(world, static_cast<int32_t>(round8(span)));
    const auto *from = static_cast<const unsigned char *>(source);
    auto *to = static_cast<unsigned char *>(destination);
    if (to != from)
        std::memcpy(to, from, span);

    const uint64_t length = length_field(from, lengthWidth);
    const uint64_t bytes = unit < 0 ? (length + 7) >> 3 : length * static_cast<uint64_t>(unit);
    const void *units;
    std::memcpy(&units, from + displacement, sizeof units);
    void *copy = copy_bytes(world, units, bytes);
    std::memcpy(to + displacement, &copy, sizeof copy);
    return destination;
}

} // extern "C"
