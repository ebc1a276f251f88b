// internal.h - what the library's own C++ sources share and applications never
// see: the world's private extension KelWorldExt, the layout pins of the
// records that generated code shares, message numbers used across folders and
// small inline helpers.
//
// Code that a failure can jump over (anything between a driver's recovery
// point and a primitive) keeps no objects with destructors: all memory is on
// the world's lists.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kelvarn.h"
#include "kelvarn_prim.h"

// One block of push frames: a link word, four frames, a count.  The first
// block is inline in the extension; its link is the current block.
struct KelPushBlock {
    KelPushBlock *link;
    KelPushFrame frames[4];
    uint32_t count;
};

// The information object set table that kelInitXObjectSetTable registers.
struct KelObjectSetTable {
    void *base;
    uint32_t size;
    uint32_t count;
    void *entries; // count x 16-byte entries, owned
    uint32_t flags;
};

// Gives a duplicated world its own copies of the run-time object lists and
// removal maps that its table, copied from the source, still shares; 8 when
// memory runs out, with the table then holding only what was copied.
int kel_copy_object_set_lists(KelWorldExt *ext);

typedef int (*KelPostHook)(KelGlobal *world, int message, void *a, void *b);

// The world's private extension, allocated by kelinit and freed by kelterm.
struct KelWorldExt {
    uint32_t bytesRead;
    KelUserVprint userVprint;
    KelRawMalloc extMalloc;
    KelRawFree extFree;
    uint32_t tempBufSize;
    unsigned char *tempBufAddr;
    KelOutBlock encStackFirst;
    KelOutBlock *encStack;
    uint8_t paddingBits;
    // PER TIME encoders: the time difference that the second half of an
    // interval inherits from the first (layout in per/time_fields.h).  It
    // fills the padding before xobjSetTable.
    uint16_t timeInterval;
    KelObjectSetTable xobjSetTable;
    void *dynlibHandle;
    KelXApiTable *xapi;
    uint32_t ruleMapBits;
    uint8_t ruleMapByte;
    unsigned char *ruleMap;
    uint32_t compatFlags;
    uint32_t constructedLimit;
    uint32_t constructedDepth;
    uint32_t seqSetLimit;
    uint32_t seqSetDepth;
    // pushInline.link is the current block of push frames (initially the
    // inline block itself), pushInline.count the inline frames in use.
    KelPushBlock pushInline;
    uint8_t pushFlag;
    KelUserFieldFn userFieldCpy;
    KelUserFieldFn userFieldCmp;
    uint32_t debugFlags;
    void *debugPrinters[4];
    void *activeHandle;
    KelGetMem savedGetMem;
    KelReallocMem savedReallocMem;
    KelFreeMem savedFreeMem;
    void *cppPointer;
    void *exerData[5];
    void *nameMap;
    char *extErrMsg;
    KelPostHook encPostHook;
    KelPostHook decPostHook;
    int32_t jsonIndent;
    uint32_t jsonFlags;
    // JSON encoders: spaces ahead of the next line.
    int32_t jsonCurrentIndent;
    // Small freed blocks kept for reuse by the default memory functions.
    struct KelPieceCache *pieceCache;
    // OER: the tag that an extension frame repeats ahead of its length; the
    // generated code sets it through _kel_oenc_repeat_tag.
    uint32_t oerRepeatTag;
    // Per-call state of the later rule families (text decoders' start
    // pointer, debug hook buffers and the like).
    uint32_t familyState[14];
};

namespace kel {

// Bytes that kelinit clears; applications reserve kelGetKelGlobalSize().
constexpr size_t kWorldClearedSize = offsetof(KelGlobal, reserveTail);
constexpr uint32_t kVersion = 17;
constexpr uint32_t kPerVersion = 16;
constexpr uint32_t kXerVersion = 2;

// Phases of a running call, as the messages print them.
enum Phase : int32_t { kPhaseEncoder = 2, kPhaseDecoder = 5, kPhaseChecker = 6 };

// Message numbers (rows of kelErrMsgs) that several folders raise.
enum Message : int {
    kMsgBufferTooSmall = 1,
    kMsgNullArgument = 4,
    kMsgIncompatible = 5,
    kMsgOutOfMemory = 6,
    kMsgSignal = 9,
    kMsgNullControlTable = 37,
    kMsgNullEntry = 38,
    kMsgNegativeUnsigned = 40,
    kMsgEndOfInput = 45,
    kMsgUnknownRules = 51,
    kMsgRulesNotLinked = 53,
    kMsgNoDerSupport = 65,
    kMsgTagNeedlesslyLong = 91,
    kMsgTagTooLong = 92,
    kMsgIntNeedlesslyLong = 95,
    kMsgLengthTooLong = 98,
    kMsgTagMismatch = 103,
    kMsgMisencoded = 106,
    kMsgTempBufferTooSmall = 146,
    kMsgIntTooLong = 148,
    kMsgPartialUnsupported = 309,
    kMsgUserStop = 310,
};

inline KelWorldExt *ext(KelGlobal *world) { return world->ext; }

// Top of a chain of pushed worlds: failures are recorded there.
inline KelGlobal *top_world(KelGlobal *world) {
    while (world->parentWorld)
        world = world->parentWorld;
    return world;
}

inline bool counting(const KelGlobal *world) {
    return (world->encodingFlags & DETERMINE_ENC_LENGTH) != 0;
}

inline uint32_t round8(uint32_t n) { return (n + 7u) & ~7u; }

} // namespace kel

// Layout pins: on the 32-bit target the records shared with generated code
// have exactly these sizes and offsets.
#if defined(__i386__)
static_assert(sizeof(KelBuf) == 8);
static_assert(sizeof(KelOutBlock) == 248);
static_assert(sizeof(KelPushFrame) == 24);
static_assert(sizeof(KelPushBlock) == 104);
static_assert(offsetof(KelControlTable, berEncode) == 4);
static_assert(offsetof(KelControlTable, berDecode) == 8);
static_assert(offsetof(KelControlTable, freePdu) == 12);
static_assert(offsetof(KelControlTable, version) == 16);
static_assert(offsetof(KelControlTable, perEncode) == 20);
static_assert(offsetof(KelControlTable, perDecode) == 24);
static_assert(offsetof(KelControlTable, perVersion) == 28);
static_assert(offsetof(KelControlTable, charData) == 36);
static_assert(offsetof(KelControlTable, printPdu) == 40);
static_assert(offsetof(KelXApiTable, cpyValue) == 4);
static_assert(offsetof(KelXApiTable, cmpValue) == 8);
static_assert(offsetof(KelXApiTable, xerEncode) == 12);
static_assert(offsetof(KelXApiTable, xerDecode) == 16);
static_assert(offsetof(KelXApiTable, xerVersion) == 20);
static_assert(offsetof(KelXApiTable, checkConstraints) == 24);
static_assert(offsetof(KelXApiTable, exerEncode) == 32);
static_assert(offsetof(KelXApiTable, exerDecode) == 36);
static_assert(offsetof(KelXApiTable, exerVersion) == 40);
static_assert(offsetof(KelXApiTable, oerVersion) == 42);
static_assert(offsetof(KelXApiTable, oerEncode) == 44);
static_assert(offsetof(KelXApiTable, oerDecode) == 48);
static_assert(offsetof(KelXApiTable, jsonVersion) == 52);
static_assert(offsetof(KelXApiTable, jsonEncode) == 56);
static_assert(offsetof(KelXApiTable, jsonDecode) == 60);
static_assert(offsetof(KelGlobal, errMsg) == 60);
static_assert(offsetof(KelGlobal, internalFlags) == 572);
static_assert(offsetof(KelGlobal, outQueue) == 628);
static_assert(offsetof(KelGlobal, tempList) == 880);
static_assert(offsetof(KelGlobal, inPos) == 924);
static_assert(offsetof(KelGlobal, ext) == 980);
static_assert(offsetof(KelGlobal, tagStartRemaining) == 988);
static_assert(offsetof(KelGlobal, reserveTail) == 1472);
static_assert(sizeof(KelGlobal) == 1584);
static_assert(offsetof(KelWorldExt, encStackFirst) == 24);
static_assert(offsetof(KelWorldExt, timeInterval) == 278);
static_assert(offsetof(KelWorldExt, xobjSetTable) == 280);
static_assert(offsetof(KelWorldExt, pushInline) == 340);
static_assert(offsetof(KelWorldExt, extErrMsg) == 520);
static_assert(sizeof(KelWorldExt) == 608);
static_assert(sizeof(KelTimeStruct) == 18);
static_assert(sizeof(KelMixedReal) == 16);
#endif
