// world.cpp - the world's life cycle: opening on a control table (kelinit,
// kelbriefinit, kelUinit), duplicating, closing, the link functions by which a
// code file selects its rule families, the registrations its init function
// makes, and the exported variables and constants.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "internal.h"
#include "memory.h"
#include "kelvarn_xer.h"

// Exported variables.
KelRawMalloc mallocp = nullptr;
KelRawFree freep = nullptr;
FILE *asn1out = nullptr;
KelPrintf asn1prnt = nullptr;
int32_t asn1chop = 35;
int _kelSetGlobalUserVar = 1;
KelGlobal *sigworld = nullptr;
KelGlobal *wydworld = nullptr;

KelEncodeDriver kelBerEncodeFp, kelPerEncodeFp, kelXerEncodeFp, kelEXEREncodeFp, kelOerEncodeFp,
    kelJsonEncodeFp;
KelDecodeDriver kelBerDecodeFp, kelPerDecodeFp, kelXerDecodeFp, kelEXERDecodeFp, kelOerDecodeFp,
    kelJsonDecodeFp;
void *kelEDPerDecodeFp, *kelConstrainFp, *kelCmpValueFp, *kelBerEncRealFp, *kelBerDecRealFp,
    *kelPerEncRealFp, *kelPerDecRealFp, *kelPrintBerValueFp, *kelPrintPerValueFp,
    *kelPrintEXERValueFp, *kelPrintOerValueFp, *kelPrintJsonValueFp, *kelPrintXerValueFp,
    *kelPrintRealFp, *kelBerDecodeOpenTypeFp, *kelPerDecodeOpenTypeFp;

// Exported constants.
const int _kel_version_number = 17;
const int _kel_per_version_number = 16;
const int _kel_xer_version_number = 2;
const int _kel_exer_version_number = 0;
const int _kel_json_version_number = 0;
const int kelDefaultEncodingRules = 0;
const int kelEncoderDecoderType = 1;
const char _kel_ident_api[] = "libkelvarn.so\t17.0\t" __DATE__ "\tkelvarn";

int KEL_PLATFORM_SYMBOL(int x) { return x; }

namespace {

constexpr int kRcNullArgument = 6;
constexpr int kRcIncompatible = 7;
constexpr int kRcOutOfMemory = 8;
constexpr int kRcNullTable = 20;
constexpr int kRcNullInit = 21;
constexpr int kRcLoadFailed = 97;
constexpr int kRcUnloadFailed = 98;

// An entry of the object set table: four words; the second heads a chain of
// nodes whose first word is the next node, the third is owned.
struct ObjectSetEntry {
    void *word0;
    void **chain;
    void *owned;
    void *word3;
};

KelWorldExt *allocate_ext(KelGlobal *world, KelRawMalloc allocate) {
    auto *ext = static_cast<KelWorldExt *>(allocate(sizeof(KelWorldExt)));
    if (!ext)
        return nullptr;
    std::memset(ext, 0, sizeof *ext);
    ext->extMalloc = world->mallocp;
    ext->extFree = world->freep;
    world->ext = ext;
    kel_open_piece_cache(world);
    return ext;
}

void release_ext(KelGlobal *world) {
    kel_close_piece_cache(world->ext);
    world->freep(world->ext);
    world->ext = nullptr;
    world->ctlTbl = nullptr;
}

bool table_versions_ok(const KelControlTable *ctl) {
    return ctl->version == kel::kVersion && (ctl->perVersion == 0 || ctl->perVersion == kel::kPerVersion);
}

void release_object_sets(KelWorldExt *ext) {
    KelObjectSetTable &table = ext->xobjSetTable;
    if (!table.entries)
        return;
    auto *entries = static_cast<ObjectSetEntry *>(table.entries);
    for (uint32_t i = 0; i < table.count; ++i) {
        ext->extFree(entries[i].owned);
        for (void **node = entries[i].chain; node;) {
            void **next = static_cast<void **>(*node);
            ext->extFree(node);
            node = next;
        }
    }
    ext->extFree(table.entries);
    table.entries = nullptr;
}

void clear_world(KelGlobal *world) { std::memset(static_cast<void *>(world), 0, kel::kWorldClearedSize); }

} // namespace

int kelMinit(KelGlobal *world) {
    if (!mallocp)
        mallocp = std::malloc;
    if (!freep)
        freep = std::free;
    if (!asn1prnt)
        asn1prnt = fprintf;
    world->mallocp = mallocp;
    world->freep = freep;
    world->asn1out = asn1out ? asn1out : stdout;
    world->asn1prnt = asn1prnt;
    world->getMem = kel_default_getmem;
    world->freeMem = kel_default_freemem;
    world->reallocMem = kel_default_reallocmem;
    world->asn1chop = asn1chop;
    return 0;
}

int kelinit(KelGlobal *world, void *ctlArg) {
    if (!world)
        return kRcNullArgument;
    const bool keepUserVar = _kelSetGlobalUserVar == 0;
    const uint32_t userVar = world->userVar;
    clear_world(world);
    if (keepUserVar)
        world->userVar = userVar;

    kelMinit(world);
    world->ctlTbl = ctlArg;
    world->encodingFlags = world->decodingFlags = TRAPPING;

    KelWorldExt *ext = allocate_ext(world, world->mallocp);
    if (!ext)
        return kRcOutOfMemory;
    ext->ruleMap = &ext->ruleMapByte;
    ext->ruleMapByte = 15;
    ext->ruleMapBits = 4;

    int result = 0;
    auto *ctl = static_cast<KelControlTable *>(ctlArg);
    if (!ctl) {
        result = kRcNullTable;
    } else {
        if (!ctl->init) {
            release_ext(world);
            return kRcNullInit;
        }
        if (!table_versions_ok(ctl)) {
            release_ext(world);
            return kRcIncompatible;
        }
        // The init function may hand a root context to kelInitRootContext,
        // which parks it in ctlTbl; a code file without one has decoders that
        // advance the caller's buffer.
        world->ctlTbl = nullptr;
        ctl->init(world);
        if (!world->ctlTbl)
            world->presetDecFlags |= 1;
        world->ctlTbl = ctl;
        if (ext->xapi && ext->xapi->xerVersion != 0 && ext->xapi->xerVersion != kel::kXerVersion) {
            release_ext(world);
            return kRcIncompatible;
        }
        world->savedPrnt = world->asn1prnt;
    }
    ext->constructedLimit = 10;
    ext->seqSetLimit = 64;
    if (result) {
        release_ext(world);
        return result;
    }
    if (kelDefaultEncodingRules)
        world->encRules = kelDefaultEncodingRules;
    return 0;
}

int kelbriefinit(KelGlobal *world) {
    if (!world)
        return kRcNullArgument;
    clear_world(world);
    kelMinit(world);
    world->encRules = kelDefaultEncodingRules;
    return allocate_ext(world, world->mallocp) ? 0 : kRcOutOfMemory;
}

// Releases what the extension owns; `full` adds the E-XER name map and the
// long message, which only an open world can hold.
static void term_world(KelGlobal *world, bool full) {
    if (KelWorldExt *ext = world->ext) {
        release_object_sets(ext);
        if (full) {
            ext->extFree(ext->nameMap);
            ext->extFree(ext->extErrMsg);
        }
        kel_close_piece_cache(ext);
        ext->extFree(ext);
        world->ext = nullptr; // a closed world must be opened again before use
    }
    if (world->savedOut) {
        fclose(world->asn1out);
        world->asn1out = world->savedOut;
        world->savedOut = nullptr;
    }
    if (world->savedPrnt != world->asn1prnt)
        world->asn1prnt = world->savedPrnt;
    world->ctlTbl = nullptr;
}

int kelterm(KelGlobal *world) {
    if (world && world->ctlTbl)
        term_world(world, true);
    return 0;
}

int kelbriefterm(KelGlobal *world) {
    if (world)
        term_world(world, false);
    return 0;
}

int kelDupWorld(KelGlobal *source, KelGlobal *copy) {
    if (!source || !copy)
        return kRcNullArgument;
    clear_world(copy);
    copy->userVar = source->userVar;
    kelMinit(copy);
    copy->asn1chop = source->asn1chop;

    KelWorldExt *sourceExt = source->ext;
    auto *ext = static_cast<KelWorldExt *>(sourceExt->extMalloc(sizeof(KelWorldExt)));
    if (!ext)
        return kRcOutOfMemory;
    std::memcpy(ext, sourceExt, sizeof *ext);
    ext->extErrMsg = nullptr;
    ext->nameMap = nullptr;
    ext->xobjSetTable.entries = nullptr;
    ext->pieceCache = nullptr;
    if (sourceExt->ruleMap == &sourceExt->ruleMapByte)
        ext->ruleMap = &ext->ruleMapByte;
    ext->pushInline.link = &ext->pushInline;
    ext->encStack = &ext->encStackFirst;
    copy->ext = ext;
    kel_open_piece_cache(copy);

    int result = 0;
    const KelObjectSetTable &sets = sourceExt->xobjSetTable;
    if (sets.entries && sets.count) {
        size_t bytes = sets.count * sizeof(ObjectSetEntry);
        ext->xobjSetTable.entries = ext->extMalloc(bytes);
        if (!ext->xobjSetTable.entries)
            result = kRcOutOfMemory;
        else {
            std::memcpy(ext->xobjSetTable.entries, sets.entries, bytes);
            result = kel_copy_object_set_lists(ext);
        }
    }
    auto *ctl = static_cast<KelControlTable *>(source->ctlTbl);
    if (!result) {
        copy->ctlTbl = ctl;
        if (sourceExt->nameMap) {
            size_t bytes = 12u * reinterpret_cast<uintptr_t>(sourceExt->exerData[1]);
            ext->nameMap = ext->extMalloc(bytes ? bytes : 1);
            if (!ext->nameMap)
                result = kRcOutOfMemory;
            else
                std::memcpy(ext->nameMap, sourceExt->nameMap, bytes);
        }
    }
    if (!result) {
        copy->encRules = kelDefaultEncodingRules;
        const KelXApiTable *xapi = sourceExt->xapi;
        if (!ctl)
            result = kRcNullTable;
        else if (!ctl->init)
            result = kRcNullInit;
        else if (!table_versions_ok(ctl) ||
                 (xapi && ((xapi->xerVersion != 0 && xapi->xerVersion != kel::kXerVersion) ||
                           xapi->exerVersion != 0)))
            result = kRcIncompatible;
    }
    if (result) {
        release_object_sets(ext);
        ext->extFree(ext->nameMap);
        kel_close_piece_cache(ext);
        ext->extFree(ext);
        copy->ext = nullptr;
        copy->ctlTbl = nullptr;
        return result;
    }
    copy->modeBits = (copy->modeBits & ~KEL_MODE_DER_SUPPORT) | (source->modeBits & KEL_MODE_DER_SUPPORT);
    copy->encRules = source->encRules;
    copy->dupWord = source->dupWord;
    kelSetEncodingFlags(copy, source->encodingFlags);
    kelSetDecodingFlags(copy, source->decodingFlags);
    copy->internalFlags = source->internalFlags;
    ext->compatFlags = sourceExt->compatFlags;
    copy->presetDecFlags = source->presetDecFlags;
    copy->asn1prnt = source->asn1prnt;
    copy->savedPrnt = source->savedPrnt;
    copy->asn1out = source->asn1out;
    copy->dupWords[0] = source->dupWords[0];
    copy->dupWords[1] = source->dupWords[1];
    copy->userPrintArg = source->userPrintArg;
    copy->getMem = source->getMem;
    copy->freeMem = source->freeMem;
    copy->reallocMem = source->reallocMem;
    if (sourceExt->activeHandle) {
        // A memory handle stays with its world: the copy gets the functions
        // that the handle replaced.
        kelSetUserMallocFreeRealloc(copy, sourceExt->savedGetMem, sourceExt->savedFreeMem,
                                    sourceExt->savedReallocMem);
        ext->activeHandle = nullptr;
    }
    return 0;
}

void *kelUOpenDynlib(const char *name) { return dlopen(name, RTLD_LAZY | RTLD_GLOBAL); }

int kelUCloseDynlib(void *handle) {
    if (!handle)
        return 0;
    return dlclose(handle) == 0 ? 0 : kRcUnloadFailed;
}

int kelUinit(KelGlobal *world, void *ctl, const char *dllName) {
    if (!world || (!ctl && !dllName))
        return kRcNullArgument;
    void *handle = nullptr;
    if (!ctl) {
        handle = kelUOpenDynlib(dllName);
        if (!handle)
            return kRcLoadFailed;
        using GetHeader = void *(*)();
        if (auto getHeader = reinterpret_cast<GetHeader>(dlsym(handle, "kelGetHeader")))
            ctl = getHeader();
    }
    int result = kelinit(world, ctl);
    if (result == 0) {
        world->ext->dynlibHandle = handle;
        return 0;
    }
    // A library that was opened stays loaded after a failed kelinit.
    if (!handle)
        kelUCloseDynlib(handle);
    return result;
}

int kelUterm(KelGlobal *world) {
    if (!world)
        return 0;
    void *handle = world->ext ? world->ext->dynlibHandle : nullptr;
    kelterm(world);
    return kelUCloseDynlib(handle);
}

int kelInitRootContext(KelGlobal *world, void *context) {
    if (world)
        world->ctlTbl = context;
    return 0;
}

int kelInitXAPIentries(KelGlobal *world, KelXApiTable *table) {
    if (world && world->ext)
        world->ext->xapi = table;
    return 0;
}

int kelInitXObjectSetTable(KelGlobal *world, int size, void *base, void *entries, int count, int flags) {
    if (!world || !world->ext)
        return kRcNullArgument;
    KelWorldExt *ext = world->ext;
    KelObjectSetTable &table = ext->xobjSetTable;
    table.base = base;
    table.size = static_cast<uint32_t>(size);
    table.flags = static_cast<uint32_t>(flags);
    if (entries && count) {
        size_t bytes = static_cast<size_t>(count) * sizeof(ObjectSetEntry);
        table.entries = ext->extMalloc(bytes);
        if (!table.entries)
            return kRcOutOfMemory;
        std::memcpy(table.entries, entries, bytes);
        table.count = static_cast<uint32_t>(count);
    }
    return 0;
}

int kelInitSync(void) { return 0; }
int kelTermSync(int x) { return x; }

// Applications reserve this size.  On the 32-bit target it is the fixed 1584
// that code files were built against; wider targets need the record's size.
int kelGetKelGlobalSize(void) { return sizeof(void *) == 4 ? 1584 : static_cast<int>(sizeof(KelGlobal)); }

const void *_kel_get_char_data(KelGlobal *world, int index) {
    auto *ctl = static_cast<const KelControlTable *>(world->ctlTbl);
    return static_cast<const unsigned char *>(ctl->charData) + 12 * index;
}

// Link functions: the family pointers are process-wide.
KelGlobal *kelLinkBer(KelGlobal *world) {
    if (world) {
        kelBerEncodeFp = kelBerEncode;
        kelBerDecodeFp = kelBerDecode;
    }
    return world;
}

KelGlobal *kelLinkXer(KelGlobal *world) {
    if (world) {
        kelXerEncodeFp = kelXerEncode;
        kelXerDecodeFp = kelXerDecode;
    }
    return world;
}

// The families below arrive with their own drivers; until a family's driver
// is in the library its link function leaves the pointers null, so that the
// rule answers "not linked".
KelGlobal *kelLinkZlib(KelGlobal *world) { return world; }

KelGlobal *kelLink_Exer(KelGlobal *world, void *data) {
    if (world && world->ext)
        world->ext->exerData[0] = data;
    return world;
}
