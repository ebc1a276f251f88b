// Tests of the settings surface: flag normalisation, the rule setter's map and
// link tests, the runtime version table, clamping, null worlds, the unknown
// extension list and the stubs.
#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "settings.h"

namespace {

using kel_test::BriefWorld;

int dummy_encode(KelGlobal *, int, void *, KelBuf *, unsigned) { return 0; }
int dummy_decode(KelGlobal *, int *, KelBuf *, void **, unsigned) { return 0; }

// Sets the process-wide family pointers for one test and puts them back.
class FamilyPointers {
  public:
    FamilyPointers() : saved_{} {
        for (int i = 0; i < kFamilies; ++i)
            saved_[i] = {*kEncode[i], *kDecode[i]};
    }
    ~FamilyPointers() {
        for (int i = 0; i < kFamilies; ++i) {
            *kEncode[i] = saved_[i].encode;
            *kDecode[i] = saved_[i].decode;
        }
    }
    void unlink_all() {
        for (int i = 0; i < kFamilies; ++i) {
            *kEncode[i] = nullptr;
            *kDecode[i] = nullptr;
        }
    }
    void link_all() {
        for (int i = 0; i < kFamilies; ++i)
            *kEncode[i] = dummy_encode;
    }

  private:
    static constexpr int kFamilies = 6;
    static constexpr KelEncodeDriver *kEncode[kFamilies] = {&kelBerEncodeFp, &kelPerEncodeFp,
                                                            &kelXerEncodeFp, &kelEXEREncodeFp,
                                                            &kelOerEncodeFp, &kelJsonEncodeFp};
    static constexpr KelDecodeDriver *kDecode[kFamilies] = {&kelBerDecodeFp, &kelPerDecodeFp,
                                                            &kelXerDecodeFp, &kelEXERDecodeFp,
                                                            &kelOerDecodeFp, &kelJsonDecodeFp};
    struct Pair {
        KelEncodeDriver encode;
        KelDecodeDriver decode;
    } saved_[kFamilies];
};

// The map that kelinit gives a world whose code file keeps the default.
void use_default_rule_map(KelGlobal *world) {
    KelWorldExt *ext = kel::ext(world);
    ext->ruleMapByte = 15;
    ext->ruleMapBits = 4;
    ext->ruleMap = &ext->ruleMapByte;
}

TEST(Settings, EncodingFlagsDropIndefinite) {
    BriefWorld world;
    EXPECT_EQ(kelSetEncodingFlags(world.get(), INDEFINITE), 13);
    EXPECT_EQ(kelGetEncodingFlags(world.get()), TRAPPING);

    EXPECT_EQ(kelSetFlags(world.get(), INDEFINITE), 13);
    EXPECT_EQ(world->encodingFlags, TRAPPING);
    EXPECT_EQ(world->decodingFlags, TRAPPING | INDEFINITE);
    EXPECT_EQ(kelGetFlags(world.get()), TRAPPING | INDEFINITE);

    EXPECT_EQ(kelSetDecodingFlags(world.get(), INDEFINITE | DEFINITE), 0);
    EXPECT_EQ(kelGetDecodingFlags(world.get()), TRAPPING | INDEFINITE | DEFINITE);
}

TEST(Settings, FlagsAreNormalised) {
    BriefWorld world;
    ASSERT_EQ(kelSetFlags(world.get(), COMPRESS | KEL_RELAXED | TRAPPING | KEL_TRAP_SIGNALS), 0);
    const unsigned long expected = COMPRESS | IGNORE_DEFER_DECODING | KEL_RELAXED | KEL_TRAP_SIGNALS;
    EXPECT_EQ(kelGetEncodingFlags(world.get()), expected);
    EXPECT_EQ(kelGetDecodingFlags(world.get()), expected);

    ASSERT_EQ(kelSetEncodingFlags(world.get(), STRICT_ENCODING_DECODING_RULES | KEL_RELAXED), 0);
    EXPECT_EQ(kelGetEncodingFlags(world.get()), STRICT_ENCODING_DECODING_RULES | TRAPPING);
    static_assert(kel::normalise_flags(NOCONSTRAIN) == (NOCONSTRAIN | TRAPPING));
}

TEST(Settings, UnknownRulesLeaveTheWorldAlone) {
    BriefWorld world;
    FamilyPointers families;
    families.link_all();
    ASSERT_EQ(kelSetEncodingRules(world.get(), KEL_DER), 0);
    for (int rule : {4, 12, 13, -1})
        EXPECT_EQ(kelSetEncodingRules(world.get(), rule), 22) << rule;
    EXPECT_EQ(kelGetEncodingRules(world.get()), KEL_DER);
}

TEST(Settings, UnlinkedRulesAreStoredAndReported) {
    BriefWorld world;
    FamilyPointers families;
    families.unlink_all();
    EXPECT_EQ(kelSetEncodingRules(world.get(), KEL_XER), 23);
    EXPECT_EQ(kelGetEncodingRules(world.get()), KEL_XER);
    // Either driver of a family links it.
    kelBerDecodeFp = dummy_decode;
    EXPECT_EQ(kelSetEncodingRules(world.get(), KEL_CER), 0);
}

TEST(Settings, DefaultRuleMapAdmitsBerDerAndPer) {
    BriefWorld world;
    FamilyPointers families;
    families.link_all();
    use_default_rule_map(world.get());
    const int expected[KEL_RULE_COUNT] = {0, 0, 0, 0, 22, 23, 23, 23, 23, 23, 23, 23};
    for (int rule = 0; rule < KEL_RULE_COUNT; ++rule) {
        EXPECT_EQ(kelSetEncodingRules(world.get(), rule), expected[rule]) << rule;
        if (rule != KEL_ECN) {
            EXPECT_EQ(kelGetEncodingRules(world.get()), rule);
        }
    }
    // Without a map every rule passes the map test.
    kel::ext(world.get())->ruleMap = nullptr;
    for (int rule = 0; rule < KEL_RULE_COUNT; ++rule)
        EXPECT_EQ(kelSetEncodingRules(world.get(), rule), rule == KEL_ECN ? 22 : 0) << rule;
}

TEST(Settings, CodeFileRuleMapIsTakenOnce) {
    BriefWorld world;
    FamilyPointers families;
    families.link_all();
    use_default_rule_map(world.get());
    // Kinds 10 (another PER), 13 (COER) and 14 (JSON): bits 2, 5, 6 of byte 1.
    unsigned char map[2] = {0x00, 0x64};
    unsigned char other[2] = {0xFF, 0xFF};
    ASSERT_EQ(kelPrivateSetMoreFlags(world.get(), 15, map), 0);
    ASSERT_EQ(kelPrivateSetMoreFlags(world.get(), 16, other), 0); // ignored
    uint32_t bits = 0;
    unsigned char *got = nullptr;
    ASSERT_EQ(kelPrivateGetMoreFlags(world.get(), &bits, &got), 0);
    EXPECT_EQ(bits, 15u);
    EXPECT_EQ(got, map);

    EXPECT_EQ(kelSetEncodingRules(world.get(), KEL_PER_UNALIGNED), 0);
    EXPECT_EQ(kelSetEncodingRules(world.get(), KEL_OER), 0);
    EXPECT_EQ(kelSetEncodingRules(world.get(), KEL_COER), 0);
    EXPECT_EQ(kelSetEncodingRules(world.get(), KEL_JSON), 0);
    EXPECT_EQ(kelSetEncodingRules(world.get(), KEL_BER), 23);
}

TEST(Settings, RuleMapKindsPastItsBitsAreAbsent) {
    BriefWorld world;
    FamilyPointers families;
    families.link_all();
    use_default_rule_map(world.get());
    unsigned char map[2] = {0x00, 0x40}; // kind 14
    ASSERT_EQ(kelPrivateSetMoreFlags(world.get(), 14, map), 0);
    EXPECT_EQ(kelSetEncodingRules(world.get(), KEL_JSON), 23);
}

TEST(Settings, RuntimeVersionTable) {
    BriefWorld world;
    const uint32_t words[] = {0, 0x280FF, 0x280FE, 0x28080, 0x28000, 0x20000};
    for (int version = 0; version <= 5; ++version) {
        ASSERT_EQ(kelSetRuntimeVersion(world.get(), version), 0);
        EXPECT_EQ(kelGetCompatibilityFlags(world.get()), words[version]);
        EXPECT_EQ(kelGetRuntimeVersion(world.get()), version);
    }
    EXPECT_EQ(kelSetRuntimeVersion(world.get(), 6), 6);
    EXPECT_EQ(kelSetRuntimeVersion(world.get(), -1), 6);
    EXPECT_EQ(kelGetCompatibilityFlags(world.get()), 0x20000u);
    for (uint32_t word : {0x20001u, 0x280C0u, 0x8000u}) {
        kelSetCompatibilityFlags(world.get(), word);
        EXPECT_EQ(kelGetRuntimeVersion(world.get()), -2) << word;
    }
}

TEST(Settings, JsonIndentIsClamped) {
    BriefWorld world;
    const struct {
        int in, stored;
    } cases[] = {{300, 256}, {256, 256}, {7, 7}, {-1, -1}, {-5, -1}, {INT32_MIN, -1}};
    for (const auto &c : cases) {
        ASSERT_EQ(kelSetJsonIndentSize(world.get(), c.in), 0);
        EXPECT_EQ(kelGetJsonIndentSize(world.get()), c.stored) << c.in;
    }
    EXPECT_EQ(kelGetJsonIndentSize(nullptr), -6);
}

TEST(Settings, NullWorldAnswers) {
    KelGlobal *none = nullptr;
    EXPECT_EQ(kelSetEncodingRules(none, 0), 6);
    EXPECT_EQ(kelSetEncodingFlags(none, 0), 6);
    EXPECT_EQ(kelSetDecodingFlags(none, 0), 6);
    EXPECT_EQ(kelSetFlags(none, INDEFINITE), 6);
    EXPECT_EQ(kelSetDecodingLength(none, 1), 6);
    EXPECT_EQ(kelSetDebugFlags(none, 1), 6);
    EXPECT_EQ(kelSetCompatibilityFlags(none, 1), 6);
    EXPECT_EQ(kelSetRuntimeVersion(none, 1), 6);
    EXPECT_EQ(kelSetConstructedNestingLimit(none, 1), 6);
    EXPECT_EQ(kelSetSeqSetNestingLimit(none, 1), 6);
    EXPECT_EQ(kelSetJsonIndentSize(none, 1), 6);
    EXPECT_EQ(kelSetUserPrint(none, stdout, 1), 6);
    EXPECT_EQ(kelSetUserFieldCpyCmp(none, nullptr, nullptr), 6);
    EXPECT_EQ(kelPrivateSetMoreFlags(none, 1, nullptr), 6);

    EXPECT_EQ(kelGetEncodingRules(none), -1);
    EXPECT_EQ(kelGetEncodingFlags(none), ~0ul);
    EXPECT_EQ(kelGetDecodingFlags(none), ~0ul);
    EXPECT_EQ(kelGetFlags(none), ~0ul);
    EXPECT_EQ(kelGetDecodingLength(none), -1);
    EXPECT_EQ(kelGetBytesReadByDecoder(none), -1);
    EXPECT_EQ(kelGetDebugFlags(none), ~0ul);
    EXPECT_EQ(kelGetCompatibilityFlags(none), ~0ul);
    EXPECT_EQ(kelGetRuntimeVersion(none), -1);
    EXPECT_EQ(kelGetConstructedNestingLimit(none), -1);
    EXPECT_EQ(kelGetInternalFlags(none), ~0ul);
    EXPECT_EQ(kelDetermineNumberOfPadBits(none), -1);
    EXPECT_EQ(kelGetCompilerVersion(none), -1);
    EXPECT_EQ(kelSetPrintIndent(none, 3), nullptr);
}

TEST(Settings, PrintHooksKeepTheStreamUnlessGiven) {
    BriefWorld world;
    FILE *before = world->asn1out;
    ASSERT_EQ(kelSetUserPrint(world.get(), nullptr, -7), 0);
    FILE *stream = nullptr;
    long argument = 0;
    ASSERT_EQ(kelGetUserPrint(world.get(), &stream, &argument), 0);
    EXPECT_EQ(stream, before);
    EXPECT_EQ(argument, -7);

    ASSERT_EQ(kelSetUserVprint(world.get(), stderr, vfprintf), 0);
    KelUserVprint function = nullptr;
    ASSERT_EQ(kelGetUserVprint(world.get(), &stream, &function), 0);
    EXPECT_EQ(stream, stderr);
    EXPECT_EQ(function, vfprintf);
}

TEST(Settings, CompilerVersionComesFromTheXApiTable) {
    BriefWorld world;
    EXPECT_EQ(kelGetCompilerVersion(world.get()), 0);
    KelXApiTable table{};
    table.compilerVersion = 1105;
    kel::ext(world.get())->xapi = &table;
    EXPECT_EQ(kelGetCompilerVersion(world.get()), 1105);
    kel::ext(world.get())->xapi = nullptr;
}

TEST(Settings, ExtensionAdditionsByIndex) {
    BriefWorld world;
    unsigned char first[] = {1, 2, 3};
    unsigned char second[] = {9};
    struct {
        uint32_t count;
        KelBuf pairs[2];
    } list = {2, {{3, first}, {1, second}}};
    KelBuf out{};
    ASSERT_EQ(kelGetExtensionAddition(world.get(), &list, 1, &out), 0);
    EXPECT_EQ(out.length, 1u);
    EXPECT_EQ(out.value, second);
    ASSERT_EQ(kelGetExtensionAddition(world.get(), &list, 0, &out), 0);
    EXPECT_EQ(out.value, first);
    EXPECT_EQ(kelGetExtensionAddition(world.get(), &list, 2, &out), 6);
    EXPECT_EQ(out.length, 0u);
    EXPECT_EQ(out.value, nullptr);
    EXPECT_EQ(kelGetExtensionAddition(world.get(), nullptr, 0, &out), 6);
    EXPECT_EQ(kelGetExtensionAddition(world.get(), &list, 0, nullptr), 6);
}

TEST(Settings, CompressionStubsRefuseOrReportUnsupported) {
    BriefWorld world;
    int dummy = 0;
    EXPECT_EQ(kelGetCompressDecompressFunctions(nullptr, nullptr, nullptr), 6);
    EXPECT_EQ(kelSetCompressDecompressFunctions(nullptr, &dummy, nullptr), 25);
    EXPECT_EQ(kelGetCompressDecompressInfo(world.get(), nullptr), 25);
    EXPECT_EQ(kelSetCompSizeEstimator(nullptr, nullptr), 6);
    EXPECT_EQ(kelSetFormatterBufferSize(world.get(), 10), 25);
    EXPECT_EQ(kelGetEtypeFromAbstractType(world.get(), nullptr), 65535);
    EXPECT_EQ(kelCallerIsDecoder(world.get()), -1);
    EXPECT_EQ(kelSetTimeout(world.get(), 5), world.get());
}

} // namespace
