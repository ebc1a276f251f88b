// object_sets.cpp - run-time changes of information object sets: objects are
// added to and removed from the extensible sets that a code file registered
// with kelInitXObjectSetTable, and looked up by key.
//
// An extensible set starts as the code file's generated list, which may be
// shared between worlds and is never changed.  The first change replaces it
// by a run-time list of the world's own nodes; a removal from the generated
// list is also marked in a bit map of its nodes.
#include <cstring>

#include "internal.h"

namespace {

enum Code : int {
    kOk = 0,
    kBadArgument = 6,
    kNoMemory = 8,
    kAlreadyExists = 50,
    kNotFound = 52,
    kNotExtensible = 53,
};

constexpr int kCompareObjects = 1;
constexpr int kCompareKey = 2;

// A node of a run-time list; it starts as a generated node does.
struct RuntimeNode {
    RuntimeNode *next;
    void *object;
    RuntimeNode *previous;
};
static_assert(offsetof(RuntimeNode, next) == offsetof(KelInfoObjectNode, next));
static_assert(offsetof(RuntimeNode, object) == offsetof(KelInfoObjectNode, object));
static_assert(sizeof(KelInfoObjectSetEntry) == 4 * sizeof(void *), "the entries that the world copies");

// The registered table seen through its parts.
struct Sets {
    KelWorldExt *ext;
    const KelInfoObjectSets *base;
    KelInfoObjectSetEntry *entries;
    int extensible;

    bool valid(int set) const { return set >= 1 && set <= base->setCount; }
    bool extensible_set(int set) const { return set <= extensible; }
    KelInfoObjectSetEntry &entry(int set) const { return entries[set - 1]; }
};

bool open_sets(KelGlobal *world, Sets *sets) {
    if (!world || !world->ext || !world->ext->xobjSetTable.base)
        return false;
    KelObjectSetTable &table = world->ext->xobjSetTable;
    *sets = {world->ext, static_cast<const KelInfoObjectSets *>(table.base),
             static_cast<KelInfoObjectSetEntry *>(table.entries), static_cast<int>(table.count)};
    return true;
}

bool removed(const KelInfoObjectSetEntry &e, size_t index) {
    return e.removed && (e.removed[index / 8] >> (index % 8) & 1);
}

RuntimeNode *runtime_head(const KelInfoObjectSetEntry &e) { return reinterpret_cast<RuntimeNode *>(e.runtime); }

// Calls `visit(object)` for each object of a set until it returns true;
// answers the object it stopped at, or null.
template <class Visit> void *find(const Sets &sets, int set, Visit visit) {
    if (!sets.extensible_set(set)) {
        for (KelInfoObjectNode *node = sets.base->fixedSets[set - sets.extensible - 1]; node; node = node->next)
            if (visit(node->object))
                return node->object;
        return nullptr;
    }
    const KelInfoObjectSetEntry &e = sets.entry(set);
    size_t index = 0;
    for (KelInfoObjectNode *node = e.generated; node; node = node->next, ++index)
        if (!removed(e, index) && visit(node->object))
            return node->object;
    for (RuntimeNode *node = runtime_head(e); node; node = node->next)
        if (visit(node->object))
            return node->object;
    return nullptr;
}

// Appends a node for `object` behind `tail` (or as the head) of a set's
// run-time list; null when memory runs out.
RuntimeNode *append_node(KelWorldExt *ext, KelInfoObjectSetEntry &e, RuntimeNode *tail, void *object) {
    auto *node = static_cast<RuntimeNode *>(ext->extMalloc(sizeof(RuntimeNode)));
    if (!node)
        return nullptr;
    *node = {nullptr, object, tail};
    if (tail)
        tail->next = node;
    else
        e.runtime = reinterpret_cast<KelInfoObjectNode *>(node);
    return node;
}

// Makes the run-time list of a set that has none from the generated nodes
// that aren't marked removed, keeping their order, then empties the
// generated head.  Nodes copied before a failing allocation stay on the
// run-time list.
int copy_generated(KelWorldExt *ext, KelInfoObjectSetEntry &e) {
    RuntimeNode *tail = nullptr;
    size_t index = 0;
    for (KelInfoObjectNode *node = e.generated; node; node = node->next, ++index)
        if (!removed(e, index) && !(tail = append_node(ext, e, tail, node->object)))
            return kNoMemory;
    e.generated = nullptr;
    return kOk;
}

// Checks shared by adding and removing: the world, the table, the set
// number, the object; fixed sets can't change.
int check(KelGlobal *world, int set, void *object, Sets *sets) {
    if (!object || !open_sets(world, sets) || !sets->valid(set))
        return kBadArgument;
    return sets->extensible_set(set) ? kOk : kNotExtensible;
}

int mark_removed(KelWorldExt *ext, KelInfoObjectSetEntry &e, size_t index) {
    if (!e.removed) {
        if (!e.generatedCount)
            for (KelInfoObjectNode *node = e.generated; node; node = node->next)
                ++e.generatedCount;
        size_t bytes = (e.generatedCount + 7) / 8;
        if (!(e.removed = static_cast<unsigned char *>(ext->extMalloc(bytes))))
            return kNoMemory;
        std::memset(e.removed, 0, bytes);
    }
    e.removed[index / 8] |= static_cast<unsigned char>(1u << (index % 8));
    return kOk;
}

// A copy of `source`'s run-time list, in order, from the world's memory;
// nodes copied before a failing allocation stay linked.
int copy_runtime_list(KelWorldExt *ext, KelInfoObjectSetEntry &e, const RuntimeNode *source) {
    RuntimeNode *tail = nullptr;
    for (; source; source = source->next)
        if (!(tail = append_node(ext, e, tail, source->object)))
            return kNoMemory;
    return kOk;
}

} // namespace

int kel_copy_object_set_lists(KelWorldExt *ext) {
    KelObjectSetTable &table = ext->xobjSetTable;
    auto *entries = static_cast<KelInfoObjectSetEntry *>(table.entries);
    // Each entry lets go of the shared list before copying it; a failure
    // also lets go of the entries not yet reached, so that the table holds
    // only what this world owns.
    for (uint32_t i = 0; i < table.count; ++i) {
        KelInfoObjectSetEntry &e = entries[i];
        const auto *shared = reinterpret_cast<const RuntimeNode *>(e.runtime);
        const unsigned char *sharedRemoved = e.removed;
        e.runtime = nullptr;
        e.removed = nullptr;
        int code = copy_runtime_list(ext, e, shared);
        if (code == kOk && sharedRemoved) {
            const size_t bytes = e.generatedCount ? (e.generatedCount + 7) / 8 : 1;
            if ((e.removed = static_cast<unsigned char *>(ext->extMalloc(bytes))))
                std::memcpy(e.removed, sharedRemoved, bytes);
            else
                code = kNoMemory;
        }
        if (code != kOk) {
            for (uint32_t j = i + 1; j < table.count; ++j)
                entries[j].runtime = nullptr, entries[j].removed = nullptr;
            return code;
        }
    }
    return kOk;
}

extern "C" {

KelInfoObjectNode *kelGetInfoObjectSet(KelGlobal *world, int setNumber) {
    Sets sets;
    if (!open_sets(world, &sets) || !sets.valid(setNumber))
        return nullptr;
    if (!sets.extensible_set(setNumber))
        return sets.base->fixedSets[setNumber - sets.extensible - 1];
    const KelInfoObjectSetEntry &e = sets.entry(setNumber);
    return e.runtime ? e.runtime : e.generated;
}

void *kelGetInfoObject(KelGlobal *world, int setNumber, void *key) {
    Sets sets;
    if (!open_sets(world, &sets) || !sets.valid(setNumber) || !sets.base->key)
        return nullptr;
    return find(sets, setNumber, [&](void *object) {
        return sets.base->key(world, setNumber, key, object, kCompareKey) == 0;
    });
}

int kelAddInfoObject(KelGlobal *world, int setNumber, void *object) {
    Sets sets;
    if (int code = check(world, setNumber, object, &sets))
        return code;
    if (KelInfoObjectKeyFn key = sets.base->key;
        key && find(sets, setNumber, [&](void *other) {
            return key(world, setNumber, other, object, kCompareObjects) == 0;
        }))
        return kAlreadyExists;
    KelInfoObjectSetEntry &e = sets.entry(setNumber);
    if (!e.runtime)
        if (int code = copy_generated(sets.ext, e))
            return code;
    auto *node = static_cast<RuntimeNode *>(sets.ext->extMalloc(sizeof(RuntimeNode)));
    if (!node)
        return kNoMemory;
    RuntimeNode *head = runtime_head(e);
    *node = {head, object, nullptr};
    if (head)
        head->previous = node;
    e.runtime = reinterpret_cast<KelInfoObjectNode *>(node);
    return kOk;
}

int kelRemoveInfoObject(KelGlobal *world, int setNumber, void *object) {
    Sets sets;
    if (int code = check(world, setNumber, object, &sets))
        return code;
    KelInfoObjectSetEntry &e = sets.entry(setNumber);
    if (!e.runtime) {
        size_t index = 0;
        KelInfoObjectNode *node = e.generated;
        for (; node && (removed(e, index) || node->object != object); node = node->next)
            ++index;
        if (!node)
            return kNotFound;
        if (int code = mark_removed(sets.ext, e, index))
            return code;
        return copy_generated(sets.ext, e);
    }
    RuntimeNode *node = runtime_head(e);
    while (node && node->object != object)
        node = node->next;
    if (!node)
        return kNotFound;
    if (node->previous)
        node->previous->next = node->next;
    else
        e.runtime = reinterpret_cast<KelInfoObjectNode *>(node->next);
    if (node->next)
        node->next->previous = node->previous;
    sets.ext->extFree(node);
    return kOk;
}

} // extern "C"
