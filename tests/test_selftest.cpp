// The self-test driver: the keyword language that sets its process-wide
// state, and kelTest and its kin run over the personnel record's code file
// and a table-driven code file, their protocol read back from kelPrint.

#include <string>

#include <gtest/gtest.h>

#include "codefiles.h"
#include "message_world.h"
#include "personnel_sample.h"
#include "print_capture.h"
#include "selftest.h"

namespace {

using kel::selftest::settings;
using kel::selftest::Settings;
using kel_test::printed;

constexpr uint32_t kDefaultTestFlags = 0x40003C00;

// Every test starts from the driver's defaults.
class SelfTestState : public ::testing::Test {
  protected:
    void SetUp() override { settings() = Settings{}; }
    void TearDown() override { settings() = Settings{}; }

    static std::string rules() {
        const Settings &s = settings();
        std::string list;
        for (int i = 0; i < s.ruleCount; ++i)
            list += std::to_string(s.rules[i]) + " ";
        return list;
    }
};

struct KeywordRow {
    const char *text;
    int setAnswer;         // kelSetTestFlags
    uint32_t testFlags;
    uint32_t encodingFlags;
    uint32_t decodingFlags;
    uint32_t jsonFlags;
    const char *rules;     // rows of the rule table
};

// Driver defaults: encoding and decoding flags 0x22002.
const KeywordRow kKeywordRows[] = {
    // Rules alone keep the default steps; the list follows the keywords.
    {"PER:UPER", 0, kDefaultTestFlags, 0x22002, 0x22002, 0, "3 4 "},
    {"der:cOeR:JSON", 0, kDefaultTestFlags, 0x22002, 0x22002, 0, "2 11 12 "},
    // A step alone replaces the default steps; '+' adds to them.
    {"PPDU", 1, 0x800, 0x22002, 0x22002, 0, ""},
    {"+PPDU:+NOCOPY", 1, 0x2C00, 0x22002, 0x22002, 0, ""},
    {"#T:ALT", 1, 0x3E00, 0x22002, 0x22002, 0, ""},
    // Prefixes match the first row they fit: DE is DER, PP is PPDU.
    {"DE:PP", 1, 0x800, 0x22002, 0x22002, 0, "2 "},
    // Flags: a positive keyword sets, NO clears; CONSTRAIN the other way.
    {"NOCONSTRAIN", 1, 0, 0x22802, 0x22802, 0, ""},
    {"CC", 1, 0x2000, 0x22002, 0x22002, 0, ""},
    {"NOCC", 1, 0, 0x22802, 0x22002, 0, ""},
    {"DEFINITE:IGNORE_PDU_TAG:NOTRACE", 1, 0, 0x22010, 0x22001, 0, ""},
    // TRAPPING moves the trapping request the other way.
    {"NOTRAPPING", 1, 0, 0x2202, 0x2202, 0, ""},
    {"STRICT_ENCODING_DECODING_RULES:KEL_RELAXED", 1, 0, 0x20022002, 0x22402, 0, ""},
    // Alignment implies the buffered run.
    {"FRONT_ALIGN", 1, 0x4000, 0x22082, 0x22002, 0, ""},
    {"JSON_COMPACT_ENCODING:JSON_WRAPPED_ENCODING:NOJSON_WRAPPED_ENCODING", 1, 0, 0x22002, 0x22002, 0x8, ""},
    // Unknown words, empty items and an empty string change nothing.
    {"NOSUCHWORD::", 0, kDefaultTestFlags, 0x22002, 0x22002, 0, ""},
    {"", 0, kDefaultTestFlags, 0x22002, 0x22002, 0, ""},
};

TEST_F(SelfTestState, KeywordsSetTheDriversState) {
    for (const KeywordRow &row : kKeywordRows) {
        settings() = Settings{};
        EXPECT_EQ(kelSetTestFlags(row.text), row.setAnswer) << row.text;
        const Settings &s = settings();
        EXPECT_EQ(s.testFlags, row.testFlags) << row.text;
        EXPECT_EQ(s.encodingFlags, row.encodingFlags) << row.text;
        EXPECT_EQ(s.decodingFlags, row.decodingFlags) << row.text;
        EXPECT_EQ(s.jsonFlags, row.jsonFlags) << row.text;
        EXPECT_EQ(rules(), row.rules) << row.text;
    }
}

TEST_F(SelfTestState, NumbersFollowTheirKeywordOrPickARun) {
    EXPECT_EQ(kelSetTestFlags("ASN1CHOP:10:JSON_INDENT:3:5"), 1);
    long run = 0;
    EXPECT_EQ(kelGetTestEnv(&run, nullptr, nullptr), 0x20020000u);
    EXPECT_EQ(settings().chop, 10);
    EXPECT_EQ(settings().jsonIndent, 3);
    EXPECT_EQ(run, 5);
    // kelParseString answers the last keyword that is not a rule.
    EXPECT_EQ(kelParseString("PER"), 0);
    EXPECT_GT(kelParseString("PER:COPY:UPER"), 0);
    EXPECT_EQ(kelParseString(nullptr), 0);
}

TEST_F(SelfTestState, RuleListsStartAnewOrAccumulate) {
    kelSetTestFlags("BER:DER");
    kelSetTestFlags("PPDU"); // no rule: the list stays
    EXPECT_EQ(rules(), "0 2 ");
    kelSetTestFlags("OER");  // a rule starts the list anew
    EXPECT_EQ(rules(), "10 ");
    kelParseString("COER"); // kelParseString adds to it
    EXPECT_EQ(rules(), "10 11 ");
    // kelSetTestFlags("OER") applied no other keyword: the steps are the defaults.
    EXPECT_STREQ(kelGetTestFlags(), "OER:COER:TRACE:PPDU:COPY:CC");
    const unsigned char *list = nullptr;
    int count = 0;
    kelGetTestEnv(nullptr, &count, &list);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(list[2], 255);
    EXPECT_EQ(kelSetTestFlagsEx(nullptr, nullptr), 0);
    EXPECT_EQ(rules(), "");
    EXPECT_STREQ(kelGetTestFlags(), "TRACE:PPDU:COPY:CC");
    EXPECT_EQ(kelParseEnvironment(), 0);
}

TEST_F(SelfTestState, LongStringsStayInBounds) {
    std::string many;
    for (int i = 0; i < 2500; ++i)
        many += "PER:";
    EXPECT_EQ(kelSetTestFlags(many.c_str()), 0);
    EXPECT_EQ(settings().ruleCount, 26);
    EXPECT_EQ(settings().rules[26], 255);
    EXPECT_LT(std::string(kelGetTestFlags()).size(), 64u);
    EXPECT_EQ(kelSetTestFlags(std::string(10000, 'X').c_str()), 0);
    EXPECT_EQ(settings().testFlags, kDefaultTestFlags);
}

// ---- runs over a code file -------------------------------------------------

class SelfTestRun : public SelfTestState {
  protected:
    void SetUp() override {
        SelfTestState::SetUp();
        kelSetUserVprint(&w.world, stdout, kel_test::capture_print);
        printed.clear();
    }
    int test(const char *keywords, int pdu = PersonnelRecord_PDU) {
        kelSetTestFlags(keywords);
        return kelTest(&w.world, pdu, const_cast<PersonnelRecord *>(&kel_test::a1Sample));
    }
    static size_t count(const std::string &what) {
        size_t n = 0;
        for (size_t at = printed.find(what); at != std::string::npos; at = printed.find(what, at + 1))
            ++n;
        return n;
    }

    kel_test::MessageWorld w{&personnel_control, PersonnelRecord_PDU};
};

TEST_F(SelfTestRun, EveryLinkedRuleRunsTheDefaultSteps) {
    EXPECT_EQ(test(""), 0) << printed;
    // BER, DER, PER, UPER, OER, COER and JSON are linked; the XML rules are not.
    EXPECT_EQ(count("Encoder ----------"), 7u);
    EXPECT_EQ(count("Value comparison succeeded"), 7u);
    EXPECT_EQ(count("Constraints checking succeeded"), 7u);
    EXPECT_EQ(count("\tUnencoded PDU...\n\nvalue PersonnelRecord ::= "), 7u);
    EXPECT_EQ(count("failed"), 0u);
    EXPECT_NE(printed.find("---------- Run 1 of the BER DEFINITE-Length Encoder ----------\n"
                           "Flags passed: DEFINITE+AUTOMATIC_ENCDEC+TRACE, NO BUFFER PROVIDED.\n"),
              std::string::npos)
        << printed;
    EXPECT_NE(printed.find("\n========== Run 1 of the PER UNALIGNED Decoder ==========\n"), std::string::npos);
    EXPECT_NE(printed.find("\nPDU successfully encoded, in 136 bytes:\n"), std::string::npos);
    // The world's rule and flags are as they were.
    EXPECT_EQ(kelGetEncodingRules(&w.world), KEL_BER);
    EXPECT_EQ(kelGetEncodingFlags(&w.world) & (DEBUGPDU | DEFINITE), 0u);
}

TEST_F(SelfTestRun, BufferedRunsUseTheFirstRunsSizes) {
    EXPECT_EQ(test("DER:PER:OER:JSON:+BUF"), 0) << printed;
    EXPECT_EQ(count(", NO BUFFER PROVIDED."), 4u);
    EXPECT_EQ(count(", BUFFER PROVIDED."), 4u);
    EXPECT_EQ(count("Value comparison succeeded"), 8u);
}

TEST_F(SelfTestRun, AltIsTerseAndNegativePduTestsTheSelectedRule) {
    kelSetEncodingRules(&w.world, KEL_PER_UNALIGNED);
    EXPECT_EQ(test("ALT", -PersonnelRecord_PDU), 0) << printed;
    EXPECT_EQ(printed, "----- Run 1 encoder\n===== Run 1 decoder\n\nPDU successfully decoded, in 84 bytes\n");
}

TEST_F(SelfTestRun, TheRunFilterSkipsOtherRuns) {
    EXPECT_EQ(test("2:ALT"), 0);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(kelTest(&w.world, PersonnelRecord_PDU, const_cast<PersonnelRecord *>(&kel_test::a1Sample)), 0);
    EXPECT_EQ(count("----- Run 2 encoder"), 7u);
    EXPECT_EQ(kelTest(nullptr, 1, nullptr), 6);
}

TEST_F(SelfTestRun, UnlinkedRulesArePassedOverSilently) {
    EXPECT_EQ(test("EXER:CXER"), 0);
    EXPECT_EQ(printed, "");
}

TEST_F(SelfTestRun, EncodedMessagesAreDecodedAndTested) {
    kel_test::Bytes one;
    kelSetEncodingRules(&w.world, KEL_DER);
    ASSERT_EQ(w.encode(KEL_DER, one, false, &kel_test::a1Sample), 0);
    kel_test::Bytes two = one;
    two.insert(two.end(), one.begin(), one.end());
    kelSetTestFlags("DER:ALT");
    KelBuf both{static_cast<uint32_t>(two.size()), two.data()};
    EXPECT_EQ(kelTestConcatenatedEncodings(&w.world, PersonnelRecord_PDU, &both), 0) << printed;
    EXPECT_EQ(both.length, 0u);
    EXPECT_EQ(count("########## Run "), 2u);
    EXPECT_EQ(count("Call kelTest() to check a decoded PDU"), 2u);

    // A message that doesn't decode stops the walk through the buffer.
    kel_test::Bytes bad = one;
    bad[0] = 0x05;
    KelBuf buffers[2] = {{static_cast<uint32_t>(one.size()), one.data()},
                         {static_cast<uint32_t>(bad.size()), bad.data()}};
    printed.clear();
    EXPECT_EQ(kelTestMultipleEncodings(&w.world, PersonnelRecord_PDU, buffers, 2), 1);
    EXPECT_NE(printed.find("\nDecoder error code: "), std::string::npos);
    KelBuf rest{static_cast<uint32_t>(bad.size()), bad.data()};
    EXPECT_NE(kelTestConcatenatedEncodings(&w.world, PersonnelRecord_PDU, &rest), 0);
    EXPECT_EQ(rest.length, bad.size());
}

TEST_F(SelfTestRun, PartialDecodingParsesTheBinaryRules) {
    EXPECT_EQ(kelSetTestFlags("BER:DER:PER:OER:COER"), 0);
    EXPECT_EQ(kelTestPD(&w.world, PersonnelRecord_PDU, const_cast<PersonnelRecord *>(&kel_test::a1Sample)), 0)
        << printed;
    EXPECT_EQ(count("PDU successfully parsed...\n"), 5u);
    printed.clear();
    kelSetTestFlags("XER:CXER");
    EXPECT_EQ(kelTestPD(&w.world, PersonnelRecord_PDU, const_cast<PersonnelRecord *>(&kel_test::a1Sample)), 0);
    EXPECT_EQ(printed, "No encoding rules supported by partial decoding are available.\n");
}

// The personnel record's checker: the module has no subtype constraints,
// so only a missing string is refused, "Unexpected NULL pointer in input".
TEST_F(SelfTestRun, ThePersonnelCheckerRefusesMissingStrings) {
    PersonnelRecord record = kel_test::a1Sample;
    EXPECT_EQ(kelCheckConstraints(&w.world, PersonnelRecord_PDU, &record), 0);
    record.nameOfSpouse.initial = nullptr;
    EXPECT_EQ(kelCheckConstraints(&w.world, PersonnelRecord_PDU, &record), 11);
    record = kel_test::a1Sample;
    record.children.value = nullptr;
    EXPECT_EQ(kelCheckConstraints(&w.world, PersonnelRecord_PDU, &record), 11);
}

// A value one rule can't take: DER refuses a UTCTime without seconds; the
// driver reports it under DER's banner and goes on with the next rule.
TEST(SelfTestFailures, AFailingRuleIsReportedAndTheRunGoesOn) {
    settings() = Settings{};
    const KelCodeFile *zoo = kel_codefile_find("TypesZoo");
    ASSERT_NE(zoo, nullptr);
    KelGlobal world{};
    ASSERT_EQ(kelinit(&world, const_cast<KelControlTable *>(&zoo->control)), 0);
    kelSetUserVprint(&world, stdout, kel_test::capture_print);
    printed.clear();
    char *noSeconds = const_cast<char *>("9901011200Z");
    kelSetTestFlags("BER:DER:PER:#T");
    EXPECT_EQ(kelTest(&world, kel_codefile_pdu(zoo, "Utc"), &noSeconds), 12);
    const size_t der = printed.find("Run 1 of the DER Encoder");
    const size_t failed = printed.find("Encoding failed with return code = 12\n");
    const size_t per = printed.find("Run 1 of the PER ALIGNED Encoder");
    EXPECT_TRUE(der < failed && failed < per) << printed;
    EXPECT_EQ(printed.find("DER Decoder"), std::string::npos);
    EXPECT_NE(printed.find("PER ALIGNED Decoder"), std::string::npos);
    kelterm(&world);
    settings() = Settings{};
}

} // namespace
