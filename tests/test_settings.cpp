// Tests of the settings surface: flag normalisation, the rule setter's map and
// link tests, the runtime version table, clamping, null worlds, the unknown
// extension list and the stubs.
#include <gtest/gtest.h>

#include <iterator>

#include "harness.h"
#include "internal.h"
#include "settings.h"

namespace {

using kel_test::BriefWorld;

int dummy_encode(KelGlobal *, int, void *, KelBuf *, unsigned) { return 0; }
int dummy_decode(KelGlobal *, int *, KelBuf *, void **, unsigned) { return 0; }

KelEncodeDriver *const kEncoders[] = {&kelBerEncodeFp, &kelPerEncodeFp, &kelXerEncodeFp,
                                      &kelEXEREncodeFp, &kelOerEncodeFp, &kelJsonEncodeFp};
KelDecodeDriver *const kDecoders[] = {&kelBerDecodeFp, &kelPerDecodeFp, &kelXerDecodeFp,
                                      &kelEXERDecodeFp, &kelOerDecodeFp, &kelJsonDecodeFp};

// Sets the process-wide family pointers for one test and puts them back.
struct FamilyPointers {
    KelEncodeDriver encoders[6];
    KelDecodeDriver decoders[6];
    FamilyPointers() {
        for (int i = 0; i < 6; ++i)
            encoders[i] = *kEncoders[i], decoders[i] = *kDecoders[i];
    }
    ~FamilyPointers() { set_all(encoders, decoders); }
    // Every family linked through its encoder, or (with null) none linked.
    void link_all(KelEncodeDriver encoder) {
        for (int i = 0; i < 6; ++i)
            *kEncoders[i] = encoder, *kDecoders[i] = nullptr;
    }
    void set_all(const KelEncodeDriver *e, const KelDecodeDriver *d) {
        for (int i = 0; i < 6; ++i)
            *kEncoders[i] = e[i], *kDecoders[i] = d[i];
    }
};

// The map that kelinit gives a world whose code file keeps the default.
void use_default_rule_map(KelGlobal *world) {
    KelWorldExt *ext = kel::ext(world);
    ext->ruleMapByte = 15;
    ext->ruleMapBits = 4;
    ext->ruleMap = &ext->ruleMapByte;
}

TEST(Settings, FlagsAreNormalised) {
    BriefWorld world;
    KelGlobal *w = world.get();
    EXPECT_EQ(kelSetEncodingFlags(w, INDEFINITE), 13);
    EXPECT_EQ(kelGetEncodingFlags(w), TRAPPING);
    EXPECT_EQ(kelSetFlags(w, INDEFINITE), 13);
    EXPECT_EQ(w->encodingFlags, TRAPPING);
    EXPECT_EQ(kelGetFlags(w), TRAPPING | INDEFINITE);
    EXPECT_EQ(kelSetDecodingFlags(w, INDEFINITE | DEFINITE), 0);
    EXPECT_EQ(kelGetDecodingFlags(w), TRAPPING | INDEFINITE | DEFINITE);

    ASSERT_EQ(kelSetFlags(w, COMPRESS | KEL_RELAXED | TRAPPING | KEL_TRAP_SIGNALS), 0);
    const unsigned long expected = COMPRESS | IGNORE_DEFER_DECODING | KEL_RELAXED | KEL_TRAP_SIGNALS;
    EXPECT_EQ(kelGetEncodingFlags(w), expected);
    EXPECT_EQ(kelGetDecodingFlags(w), expected);
    ASSERT_EQ(kelSetEncodingFlags(w, STRICT_ENCODING_DECODING_RULES | KEL_RELAXED), 0);
    EXPECT_EQ(kelGetEncodingFlags(w), STRICT_ENCODING_DECODING_RULES | TRAPPING);
    static_assert(kel::normalise_flags(NOCONSTRAIN) == (NOCONSTRAIN | TRAPPING));
}

// Out-of-range rules are refused (22) and keep the old ones; the default map
// admits BER, DER and PER; an unlinked rule is stored and reported (23);
// either driver links a family.
TEST(Settings, RuleMapAndLinkTests) {
    BriefWorld world;
    FamilyPointers families;
    families.link_all(dummy_encode);
    ASSERT_EQ(kelSetEncodingRules(world.get(), KEL_DER), 0);
    for (int rule : {12, 13, -1})
        EXPECT_EQ(kelSetEncodingRules(world.get(), rule), 22) << rule;
    EXPECT_EQ(kelGetEncodingRules(world.get()), KEL_DER);

    use_default_rule_map(world.get());
    const int expected[KEL_RULE_COUNT] = {0, 0, 0, 0, 22, 23, 23, 23, 23, 23, 23, 23};
    for (int rule = 0; rule < KEL_RULE_COUNT; ++rule) {
        EXPECT_EQ(kelSetEncodingRules(world.get(), rule), expected[rule]) << rule;
        if (rule != KEL_ECN) {
            EXPECT_EQ(kelGetEncodingRules(world.get()), rule);
        }
    }
    kel::ext(world.get())->ruleMap = nullptr; // without a map every rule passes the map test
    for (int rule = 0; rule < KEL_RULE_COUNT; ++rule)
        EXPECT_EQ(kelSetEncodingRules(world.get(), rule), rule == KEL_ECN ? 22 : 0) << rule;

    families.link_all(nullptr);
    EXPECT_EQ(kelSetEncodingRules(world.get(), KEL_XER), 23);
    EXPECT_EQ(kelGetEncodingRules(world.get()), KEL_XER);
    kelBerDecodeFp = dummy_decode;
    EXPECT_EQ(kelSetEncodingRules(world.get(), KEL_CER), 0);
}

TEST(Settings, CodeFileRuleMapIsTakenOnce) {
    BriefWorld world;
    FamilyPointers families;
    families.link_all(dummy_encode);
    use_default_rule_map(world.get());
    // Kinds 10 (another PER), 13 (COER) and 14 (JSON): bits 2, 5, 6 of byte 1.
    unsigned char map[2] = {0x00, 0x64}, other[2] = {0xFF, 0xFF};
    ASSERT_EQ(kelPrivateSetMoreFlags(world.get(), 15, map), 0);
    ASSERT_EQ(kelPrivateSetMoreFlags(world.get(), 16, other), 0); // ignored
    uint32_t bits = 0;
    unsigned char *got = nullptr;
    ASSERT_EQ(kelPrivateGetMoreFlags(world.get(), &bits, &got), 0);
    EXPECT_EQ(bits, 15u);
    EXPECT_EQ(got, map);
    for (int rule : {KEL_PER_UNALIGNED, KEL_OER, KEL_COER, KEL_JSON})
        EXPECT_EQ(kelSetEncodingRules(world.get(), rule), 0) << rule;
    EXPECT_EQ(kelSetEncodingRules(world.get(), KEL_BER), 23);

    // Kinds past the map's bits are absent.
    BriefWorld short_;
    use_default_rule_map(short_.get());
    ASSERT_EQ(kelPrivateSetMoreFlags(short_.get(), 14, map), 0);
    EXPECT_EQ(kelSetEncodingRules(short_.get(), KEL_JSON), 23);
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
    const int setters[] = {
        kelSetEncodingRules(none, 0), kelSetEncodingFlags(none, 0), kelSetDecodingFlags(none, 0),
        kelSetFlags(none, INDEFINITE), kelSetDecodingLength(none, 1), kelSetDebugFlags(none, 1),
        kelSetCompatibilityFlags(none, 1), kelSetRuntimeVersion(none, 1), kelSetConstructedNestingLimit(none, 1),
        kelSetSeqSetNestingLimit(none, 1), kelSetJsonIndentSize(none, 1), kelSetUserPrint(none, stdout, 1),
        kelSetUserFieldCpyCmp(none, nullptr, nullptr), kelPrivateSetMoreFlags(none, 1, nullptr)};
    for (size_t i = 0; i < std::size(setters); ++i)
        EXPECT_EQ(setters[i], 6) << "setter " << i;
    const unsigned long flagGetters[] = {kelGetEncodingFlags(none), kelGetDecodingFlags(none), kelGetFlags(none),
                                         kelGetDebugFlags(none), kelGetCompatibilityFlags(none),
                                         kelGetInternalFlags(none)};
    for (size_t i = 0; i < std::size(flagGetters); ++i)
        EXPECT_EQ(flagGetters[i], ~0ul) << "flag getter " << i;
    const long getters[] = {kelGetEncodingRules(none), kelGetDecodingLength(none), kelGetBytesReadByDecoder(none),
                            kelGetRuntimeVersion(none), kelGetConstructedNestingLimit(none),
                            kelDetermineNumberOfPadBits(none), kelGetCompilerVersion(none)};
    for (size_t i = 0; i < std::size(getters); ++i)
        EXPECT_EQ(getters[i], -1) << "getter " << i;
    EXPECT_EQ(kelSetPrintIndent(none, 3), nullptr);
}

TEST(Settings, UserPrintKeepsTheStreamUnlessGiven) {
    BriefWorld world;
    FILE *const before = world->asn1out, *stream = nullptr;
    long argument = 0;
    ASSERT_EQ(kelSetUserPrint(world.get(), nullptr, -7), 0);
    ASSERT_EQ(kelGetUserPrint(world.get(), &stream, &argument), 0);
    EXPECT_EQ(stream, before);
    EXPECT_EQ(argument, -7);
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
    EXPECT_EQ(kelGetCompilerVersion(world.get()), 0);
    KelXApiTable table{};
    table.compilerVersion = 1105;
    kel::ext(world.get())->xapi = &table;
    EXPECT_EQ(kelGetCompilerVersion(world.get()), 1105);
    kel::ext(world.get())->xapi = nullptr;
}

} // namespace
