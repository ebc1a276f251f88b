// settings.cpp - the get and set operations by which an application steers a
// world: flags, rules, limits, print hooks, the code file's rule map, and the
// stubs that code written for other runtime forms links against.
//
// A setter answers 0, or 6 for a null world; a getter answers all ones for a
// null world, unless its comment says otherwise.  A world without extension
// (closed, or opened and failed) counts as null for the extension's fields.
#include <initializer_list>

#include "ber.h"
#include "internal.h"
#include "settings.h"

namespace {

constexpr int kBadArgument = 6;
constexpr int kIndefiniteUnsupported = 13;
constexpr int kUnknownRules = 22;
constexpr int kRulesNotLinked = 23;
constexpr int kUnsupported = 25;

template <class T> constexpr T all_ones() { return static_cast<T>(~0ull); }

// Fields are named by member pointers into KelGlobal or KelWorldExt; the
// owner of a field is found from the world.
template <class Member> struct MemberOf;
template <class Owner, class Field> struct MemberOf<Field Owner::*> {
    using owner = Owner;
};

template <class Owner> Owner *owner_of(KelGlobal *world);
template <> KelGlobal *owner_of<KelGlobal>(KelGlobal *world) { return world; }
template <> KelWorldExt *owner_of<KelWorldExt>(KelGlobal *world) {
    return world ? world->ext : nullptr;
}

template <auto Field, class Value> int store(KelGlobal *world, Value value) {
    auto *owner = owner_of<typename MemberOf<decltype(Field)>::owner>(world);
    if (!owner)
        return kBadArgument;
    owner->*Field = value;
    return 0;
}

template <auto Field, class Result> Result load(KelGlobal *world) {
    auto *owner = owner_of<typename MemberOf<decltype(Field)>::owner>(world);
    return owner ? static_cast<Result>(owner->*Field) : all_ones<Result>();
}

// Rule kinds of the code file's rule map (bit k: byte k / 8, bit k % 8).
enum RuleKind : unsigned {
    kKindBer = 0,
    kKindPerAligned = 1,
    kKindPerUnaligned = 2,
    kKindDer = 3,
    kKindXer = 4,
    kKindCxer = 5,
    kKindCer = 7,
    kKindExer = 8,
    kKindPerOther = 10,
    kKindOer = 12,
    kKindCoer = 13,
    kKindJson = 14,
};

constexpr uint16_t kinds(std::initializer_list<RuleKind> list) {
    uint16_t mask = 0;
    for (RuleKind kind : list)
        mask |= static_cast<uint16_t>(1u << kind);
    return mask;
}

// A family counts as linked when either of its driver pointers is set.
struct Family {
    KelEncodeDriver *encode;
    KelDecodeDriver *decode;
    bool linked() const { return *encode || *decode; }
};
constexpr Family kBerFamily{&kelBerEncodeFp, &kelBerDecodeFp};
constexpr Family kPerFamily{&kelPerEncodeFp, &kelPerDecodeFp};
constexpr Family kXerFamily{&kelXerEncodeFp, &kelXerDecodeFp};
constexpr Family kExerFamily{&kelEXEREncodeFp, &kelEXERDecodeFp};
constexpr Family kOerFamily{&kelOerEncodeFp, &kelOerDecodeFp};
constexpr Family kJsonFamily{&kelJsonEncodeFp, &kelJsonDecodeFp};

// For each rule: the kinds of which the map must hold one, and the family.
struct RuleEntry {
    uint16_t kinds;
    Family family;
};
constexpr RuleEntry kRules[KEL_RULE_COUNT] = {
    /* KEL_BER */ {kinds({kKindBer, kKindDer, kKindCer}), kBerFamily},
    /* KEL_PER_ALIGNED */ {kinds({kKindPerAligned, kKindPerUnaligned, kKindPerOther}), kPerFamily},
    /* KEL_PER_UNALIGNED */ {kinds({kKindPerAligned, kKindPerUnaligned, kKindPerOther}), kPerFamily},
    /* KEL_DER */ {kinds({kKindDer}), kBerFamily},
    /* KEL_ECN: refused before the table is read */ {0, kBerFamily},
    /* KEL_XER */ {kinds({kKindXer, kKindCxer}), kXerFamily},
    /* KEL_CXER */ {kinds({kKindCxer}), kXerFamily},
    /* KEL_CER */ {kinds({kKindCer}), kBerFamily},
    /* KEL_EXER */ {kinds({kKindExer}), kExerFamily},
    /* KEL_OER */ {kinds({kKindOer, kKindCoer}), kOerFamily},
    /* KEL_COER */ {kinds({kKindCoer}), kOerFamily},
    /* KEL_JSON */ {kinds({kKindJson}), kJsonFamily},
};

// A null map holds every kind; a kind past the map's bits holds none.
bool map_holds(const KelWorldExt *ext, unsigned kind) {
    if (!ext || !ext->ruleMap)
        return true;
    if (kind >= ext->ruleMapBits)
        return false;
    return (ext->ruleMap[kind / 8] >> (kind % 8)) & 1u;
}

bool map_holds_any(const KelWorldExt *ext, uint16_t mask) {
    for (unsigned kind = 0; mask >> kind; ++kind)
        if (((mask >> kind) & 1u) && map_holds(ext, kind))
            return true;
    return false;
}

// compatFlags for each runtime version, 0 to 5.
constexpr uint32_t kRuntimeVersionFlags[] = {0, 0x280FF, 0x280FE, 0x28080, 0x28000, 0x20000};
constexpr int kRuntimeVersionCount = sizeof kRuntimeVersionFlags / sizeof kRuntimeVersionFlags[0];

constexpr int32_t kJsonIndentMin = -1;
constexpr int32_t kJsonIndentMax = 256;
constexpr int kJsonIndentNullWorld = -6;

// What kelSetDebugFlags installs: debugPrinters holds kelPrintPDU,
// kelPrintHex, kelPrintXML and kelPrintJSON in this order, and the post hooks
// are _kel_db_e_post and _kel_db_d_post.
struct DebugHooks {
    void *printers[4];
    KelPostHook encPost;
    KelPostHook decPost;
};
const DebugHooks kDebugHooks = {{reinterpret_cast<void *>(kelPrintPDU), reinterpret_cast<void *>(kelPrintHex),
                                  reinterpret_cast<void *>(kelPrintXML), reinterpret_cast<void *>(kelPrintJSON)},
                                 kel::ber::encoder_post_hook,
                                 kel::ber::decoder_post_hook};

// An unknown-extension list: a count word, then that many pairs of length and
// value pointer (KelBuf), the first pair on the boundary of a pointer.
struct UnknownExtensionList {
    uint32_t count;
    KelBuf pairs[1];
};

// The compression stubs answer "not supported" to anything but a call made
// only of null arguments, which is a bad argument.
template <class... Arguments> int compression_stub(Arguments... arguments) {
    return (... || (arguments != nullptr)) ? kUnsupported : kBadArgument;
}

} // namespace

extern "C" {

// ---------------------------------------------------------------------------
// Rules and flags
// ---------------------------------------------------------------------------

int kelSetEncodingRules(KelGlobal *world, int rule) {
    if (!world)
        return kBadArgument;
    const unsigned index = static_cast<unsigned>(rule);
    if (index >= KEL_RULE_COUNT || index == KEL_ECN)
        return kUnknownRules;
    world->encRules = index;
    const RuleEntry &entry = kRules[index];
    if (!map_holds_any(world->ext, entry.kinds) || !entry.family.linked())
        return kRulesNotLinked;
    return 0;
}

int kelGetEncodingRules(KelGlobal *world) { return load<&KelGlobal::encRules, int>(world); }

int kelSetEncodingFlags(KelGlobal *world, unsigned long flags) {
    if (!world)
        return kBadArgument;
    uint32_t word = static_cast<uint32_t>(flags);
    int answer = 0;
    // Only definite lengths are written: INDEFINITE is dropped and reported.
    if (word & INDEFINITE) {
        word &= ~INDEFINITE;
        answer = kIndefiniteUnsupported;
    }
    world->encodingFlags = kel::normalise_flags(word);
    return answer;
}

unsigned long kelGetEncodingFlags(KelGlobal *world) {
    return load<&KelGlobal::encodingFlags, unsigned long>(world);
}

int kelSetDecodingFlags(KelGlobal *world, unsigned long flags) {
    return store<&KelGlobal::decodingFlags>(world, kel::normalise_flags(static_cast<uint32_t>(flags)));
}

unsigned long kelGetDecodingFlags(KelGlobal *world) {
    return load<&KelGlobal::decodingFlags, unsigned long>(world);
}

// Both words; the answer is the encoding setter's.
int kelSetFlags(KelGlobal *world, unsigned long flags) {
    if (!world)
        return kBadArgument;
    kelSetDecodingFlags(world, flags);
    return kelSetEncodingFlags(world, flags);
}

unsigned long kelGetFlags(KelGlobal *world) {
    if (!world)
        return all_ones<unsigned long>();
    return world->encodingFlags | world->decodingFlags;
}

int kelSetDecodingLength(KelGlobal *world, long length) {
    return store<&KelGlobal::decodingLength>(world, static_cast<int32_t>(length));
}

long kelGetDecodingLength(KelGlobal *world) { return load<&KelGlobal::decodingLength, long>(world); }

long kelGetBytesReadByDecoder(KelGlobal *world) { return load<&KelWorldExt::bytesRead, long>(world); }

int kelSetInternalFlags(KelGlobal *world, unsigned long flags) {
    return store<&KelGlobal::internalFlags>(world, static_cast<uint32_t>(flags));
}

unsigned long kelGetInternalFlags(KelGlobal *world) {
    return load<&KelGlobal::internalFlags, unsigned long>(world);
}

int kelSetPresetDecFlags(KelGlobal *world, unsigned flags) {
    return store<&KelGlobal::presetDecFlags>(world, static_cast<uint16_t>(flags));
}

unsigned kelGetPresetDecFlags(KelGlobal *world) {
    return load<&KelGlobal::presetDecFlags, unsigned>(world);
}

// ---------------------------------------------------------------------------
// Debugging and compatibility
// ---------------------------------------------------------------------------

int kelSetDebugFlags(KelGlobal *world, unsigned long flags) {
    KelWorldExt *ext = owner_of<KelWorldExt>(world);
    if (!ext)
        return kBadArgument;
    ext->debugFlags = static_cast<uint32_t>(flags);
    for (int i = 0; i < 4; ++i)
        ext->debugPrinters[i] = kDebugHooks.printers[i];
    ext->encPostHook = kDebugHooks.encPost;
    ext->decPostHook = kDebugHooks.decPost;
    return 0;
}

unsigned long kelGetDebugFlags(KelGlobal *world) {
    return load<&KelWorldExt::debugFlags, unsigned long>(world);
}

int kelSetCompatibilityFlags(KelGlobal *world, unsigned long flags) {
    return store<&KelWorldExt::compatFlags>(world, static_cast<uint32_t>(flags));
}

unsigned long kelGetCompatibilityFlags(KelGlobal *world) {
    return load<&KelWorldExt::compatFlags, unsigned long>(world);
}

int kelSetRuntimeVersion(KelGlobal *world, int version) {
    if (static_cast<unsigned>(version) >= kRuntimeVersionCount)
        return kBadArgument;
    return store<&KelWorldExt::compatFlags>(world, kRuntimeVersionFlags[version]);
}

// -1 for a null world, -2 for compatibility flags that no version sets.
int kelGetRuntimeVersion(KelGlobal *world) {
    KelWorldExt *ext = owner_of<KelWorldExt>(world);
    if (!ext)
        return -1;
    for (int version = kRuntimeVersionCount - 1; version >= 0; --version)
        if (ext->compatFlags == kRuntimeVersionFlags[version])
            return version;
    return -2;
}

// ---------------------------------------------------------------------------
// Limits and per-call settings
// ---------------------------------------------------------------------------

int kelSetConstructedNestingLimit(KelGlobal *world, int limit) {
    return store<&KelWorldExt::constructedLimit>(world, static_cast<uint32_t>(limit));
}

int kelGetConstructedNestingLimit(KelGlobal *world) {
    return load<&KelWorldExt::constructedLimit, int>(world);
}

int kelSetSeqSetNestingLimit(KelGlobal *world, int limit) {
    return store<&KelWorldExt::seqSetLimit>(world, static_cast<uint32_t>(limit));
}

int kelGetSeqSetNestingLimit(KelGlobal *world) { return load<&KelWorldExt::seqSetLimit, int>(world); }

// The drivers clear the byte at entry, so it speaks only of the last call.
int kelSetPaddingBits(KelGlobal *world, unsigned bits) {
    return store<&KelWorldExt::paddingBits>(world, static_cast<uint8_t>(bits));
}

int kelDetermineNumberOfPadBits(KelGlobal *world) { return load<&KelWorldExt::paddingBits, int>(world); }

int kelSetCppPointer(KelGlobal *world, void *pointer) {
    return store<&KelWorldExt::cppPointer>(world, pointer);
}

// Null for a null world.
void *kelGetCppPointer(KelGlobal *world) {
    KelWorldExt *ext = owner_of<KelWorldExt>(world);
    return ext ? ext->cppPointer : nullptr;
}

int kelSetJsonIndentSize(KelGlobal *world, int size) {
    const int32_t clamped = size < kJsonIndentMin ? kJsonIndentMin
                            : size > kJsonIndentMax ? kJsonIndentMax
                                                    : size;
    return store<&KelWorldExt::jsonIndent>(world, clamped);
}

// -6 for a null world.
int kelGetJsonIndentSize(KelGlobal *world) {
    KelWorldExt *ext = owner_of<KelWorldExt>(world);
    return ext ? ext->jsonIndent : kJsonIndentNullWorld;
}

int kelSetJsonFlags(KelGlobal *world, unsigned long flags) {
    return store<&KelWorldExt::jsonFlags>(world, static_cast<uint32_t>(flags));
}

unsigned long kelGetJsonFlags(KelGlobal *world) {
    return load<&KelWorldExt::jsonFlags, unsigned long>(world);
}

// ---------------------------------------------------------------------------
// Print hooks and user functions
// ---------------------------------------------------------------------------

// A null stream keeps the current output stream.
int kelSetUserPrint(KelGlobal *world, FILE *stream, long argument) {
    if (!world)
        return kBadArgument;
    world->userPrintArg = static_cast<uint32_t>(argument);
    if (stream)
        world->asn1out = stream;
    return 0;
}

int kelGetUserPrint(KelGlobal *world, FILE **stream, long *argument) {
    if (!world || !stream || !argument)
        return kBadArgument;
    *stream = world->asn1out;
    *argument = static_cast<int32_t>(world->userPrintArg);
    return 0;
}

int kelSetUserVprint(KelGlobal *world, FILE *stream, KelUserVprint function) {
    KelWorldExt *ext = owner_of<KelWorldExt>(world);
    if (!ext)
        return kBadArgument;
    ext->userVprint = function;
    if (stream)
        world->asn1out = stream;
    return 0;
}

int kelGetUserVprint(KelGlobal *world, FILE **stream, KelUserVprint *function) {
    KelWorldExt *ext = owner_of<KelWorldExt>(world);
    if (!ext || !stream || !function)
        return kBadArgument;
    *stream = world->asn1out;
    *function = ext->userVprint;
    return 0;
}

int kelSetUserFieldCpyCmp(KelGlobal *world, KelUserFieldFn copy, KelUserFieldFn compare) {
    KelWorldExt *ext = owner_of<KelWorldExt>(world);
    if (!ext)
        return kBadArgument;
    ext->userFieldCpy = copy;
    ext->userFieldCmp = compare;
    return 0;
}

int kelGetUserFieldCpyCmp(KelGlobal *world, KelUserFieldFn *copy, KelUserFieldFn *compare) {
    KelWorldExt *ext = owner_of<KelWorldExt>(world);
    if (!ext || !copy || !compare)
        return kBadArgument;
    *copy = ext->userFieldCpy;
    *compare = ext->userFieldCmp;
    return 0;
}

// ---------------------------------------------------------------------------
// What the code file registered
// ---------------------------------------------------------------------------

// 0 when the code file registered no KelXApiTable.
int kelGetCompilerVersion(KelGlobal *world) {
    KelWorldExt *ext = owner_of<KelWorldExt>(world);
    if (!ext)
        return -1;
    return ext->xapi ? ext->xapi->compilerVersion : 0;
}

// Takes effect once, from the code file's init function: later calls find
// the map moved off the extension's own byte and are ignored.
int kelPrivateSetMoreFlags(KelGlobal *world, uint32_t bits, unsigned char *map) {
    KelWorldExt *ext = owner_of<KelWorldExt>(world);
    if (!ext)
        return kBadArgument;
    if (ext->ruleMap == &ext->ruleMapByte) {
        ext->ruleMapBits = bits;
        ext->ruleMap = map;
    }
    return 0;
}

int kelPrivateGetMoreFlags(KelGlobal *world, uint32_t *bits, unsigned char **map) {
    KelWorldExt *ext = owner_of<KelWorldExt>(world);
    if (!ext || !bits || !map)
        return kBadArgument;
    *bits = ext->ruleMapBits;
    *map = ext->ruleMap;
    return 0;
}

// `index` counts from 0.
int kelGetExtensionAddition(KelGlobal *world, void *list, int index, KelBuf *out) {
    if (!world || !list || !out)
        return kBadArgument;
    const auto *head = static_cast<const UnknownExtensionList *>(list);
    if (index < 0 || static_cast<uint32_t>(index) >= head->count) {
        *out = KelBuf{};
        return kBadArgument;
    }
    const KelBuf *pairs = &head->pairs[0];
    *out = pairs[index];
    return 0;
}

// ---------------------------------------------------------------------------
// Stubs for code written for other runtime forms
// ---------------------------------------------------------------------------

int kelGetCompressDecompressFunctions(KelGlobal *world, void *compress, void *decompress) {
    return compression_stub(world, compress, decompress);
}

int kelSetCompressDecompressFunctions(KelGlobal *world, void *compress, void *decompress) {
    return compression_stub(world, compress, decompress);
}

int kelGetCompressDecompressInfo(KelGlobal *world, void *info) {
    return compression_stub(world, info);
}

int kelSetCompressDecompressInfo(KelGlobal *world, void *info) {
    return compression_stub(world, info);
}

int kelGetCompSizeEstimator(KelGlobal *world, void *estimator) {
    return compression_stub(world, estimator);
}

int kelSetCompSizeEstimator(KelGlobal *world, void *estimator) {
    return compression_stub(world, estimator);
}

int kelSetFormatterBufferSize(KelGlobal *, long) { return kUnsupported; }
long kelGetFormatterBufferSize(KelGlobal *) { return 0; }
long kelGetMinFileSize(KelGlobal *) { return 0; }
int kelSetMinFileSize(KelGlobal *, long) { return 0; }
void *kelGetModuleName(KelGlobal *) { return nullptr; }
void *kelGetPDUName(KelGlobal *, int) { return nullptr; }
int kelGetPrintIndent(KelGlobal *) { return 0; }
void *kelGetDefaultValue(KelGlobal *, int) { return nullptr; }
KelGlobal *kelSetPrintIndent(KelGlobal *world, int) { return world; }
KelGlobal *kelSetTimeout(KelGlobal *world, long) { return world; }
int kelGetEtypeFromAbstractType(KelGlobal *, void *) { return 65535; }
int kelCallerIsDecoder(KelGlobal *) { return -1; }

} // extern "C"
