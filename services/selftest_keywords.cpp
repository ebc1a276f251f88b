// selftest_keywords.cpp - the self-test driver's settings and the keyword
// language that changes them: kelParseString, kelSetTestFlags and kin, the
// rule table, and the flag text of the protocol's banners.
//
// A keyword string is a list of items joined by ':'.  An item is a number
// (the chop limit after ASN1CHOP, the JSON indent after JSON_INDENT, else
// the one run to test), or a keyword, matched case-insensitively as a prefix
// of the first row it fits, with '+' in front to keep the default steps and
// NO in front to turn the keyword's sense round.

#include <cctype>
#include <cstdio>
#include <cstring>

#include "selftest.h"

namespace kel::selftest {

Settings &settings() {
    static Settings state;
    return state;
}

const RuleRow kRuleTable[kRuleRows] = {
    {"BER", KEL_BER, DEFINITE, 0},   {"IBER", KEL_BER, INDEFINITE, 0}, {"DER", KEL_DER, 0, 0},
    {"PER", KEL_PER_ALIGNED, 0, 0},          {"UPER", KEL_PER_UNALIGNED, 0, 0},         {"XER", KEL_XER, DEFINITE, 0},
    {"CXER", KEL_CXER, DEFINITE, 0}, {nullptr, -1, 0, 0},              {"EXER", KEL_EXER, DEFINITE, 0},
    {nullptr, -1, 0, 0},             {"OER", KEL_OER, 0, 0},           {"COER", KEL_COER, 0, 0},
    {"JSON", KEL_JSON, 0, 0},
};
const uint8_t kDefaultRules[] = {0, 2, 3, 4, 5, 6, 8, 10, 11, 12, kEndOfList};

namespace {

// Class bits of a keyword row.
enum Class : uint32_t {
    kRuleKeyword = 1,
    kEncoding = 2,
    kDecoding = 4,
    kPositive = 16, // the plain keyword sets its flag; without it, NO does
    kTestFlag = 32,
    kJsonFlag = 64,
};

struct Keyword {
    const char *name;
    uint32_t flag;
    uint32_t testFlag; // for a rule keyword: its row of the rule table
    uint32_t classes;
};

constexpr uint32_t kTrapping = 0x200;
constexpr uint32_t kTrapRequest = 0x20000;
constexpr uint32_t kRelaxed = 0x400;
constexpr uint32_t kStrictRules = 0x20000000;
constexpr uint32_t kStrictPerDefaults = 0x8000000;

// The rule keywords come first, so that a prefix such as "DE" finds DER.
constexpr Keyword kKeywords[] = {
    {"BER", 0, 0, 1},
    {"IBER", 0, 1, 1},
    {"DER", 0, 2, 1},
    {"PER", 0, 3, 1},
    {"UPER", 0, 4, 1},
    {"XER", 0, 5, 1},
    {"CXER", 0, 6, 1},
    {"EXER", 0, 8, 1},
    {"OER", 0, 10, 1},
    {"COER", 0, 11, 1},
    {"JSON", 0, 12, 1},
    {"ALT", 0, kAlt, 0x20},
    {"TRACE", 0x2, kTrace, 0x36},
    {"PPDU", 0, kPrintPdu, 0x20},
    {"COPY", 0, kCopy, 0x20},
    {"CC", 0x800, kCheck, 0x22},
    {"BUF", 0, kBuffer, 0x20},
    {"BUFFER_PROVIDED", 0x4, 0, 0x16},
    {"RESTRAIN", 0x8, 0, 0x16},
    {"STRICT_PER_ENCODING_OF_DEFAULT_VALUES", kStrictPerDefaults, 0, 0x12},
    {"COMPACT_XER_ENCODING", 0x2000000, 0, 0x12},
    {"_XML_DECLARATION", 0x4000000, 0, 0x2},
    {"KEL_RELAXED", kRelaxed, 0, 0x14},
    {"TRAPPING", kTrapping, 0, 0x6},
    {"STRICT_CONSTRAINT_CHECKING", 0x800000, 0, 0x16},
    {"DEFAULT_ALIGN", 0, kBuffer, 0x32},
    {"IGNORE_PDU_TAG", 0x1, 0, 0x14},
    {"DETERMINE_ENC_LENGTH", 0x40, 0, 0x12},
    {"KEL_AUTO_ENCODE_WITHOUT_CHECKING_CONSTRAINT", 0x1000000, 0, 0x12},
    {"OBJECT_HANDLE", 0x1000, 0, 0x14},
    {"DONT_FREE_ENCODED", 0x40000, 0, 0x14},
    {"DONT_DO_ENCODED", 0x80000, 0, 0x14},
    {"DONT_DO_DECODED", 0x100000, 0, 0x14},
    {"SMART_POINTER", 0x200000, 0, 0x14},
    {"DEFINITE", 0x10, 0, 0x12},
    {"INDEFINITE", 0x20, 0, 0x12},
    {"FRONT_ALIGN", 0x80, kBuffer, 0x32},
    {"BACK_ALIGN", 0x100, kBuffer, 0x32},
    {"DEFER", 0x400000, 0, 0x6},
    {"IGNORE_DEFER_DECODING", 0x400000, 0, 0x16},
    {"CONSTRAIN", 0x800, 0, 0x26},
    {"AUTOMATIC_ENCDEC", 0x2000, 0, 0x16},
    {"DEBUGPDU", 0x2, kTrace, 0x36},
    {"COMPRESS", 0x40000000, kCompress, 0x36},
    {"STRICT_ENCODING_DECODING_RULES", kStrictRules, 0, 0x16},
    {"JSON_WRAPPED_ENCODING", 0x10, 0, 0x70},
    {"JSON_COMPACT_ENCODING", 0x8, 0, 0x70},
    {"JSON_USE_UNICODE_ESCAPE_SEQUENCE", 0x4, 0, 0x70},
    {"JSON_ENC_DEFAULT_VALUES", 0x2, 0, 0x70},
    {"JSON_ENC_ABSENT_COMPONENTS", 0x1, 0, 0x70},
    {"JSON_INDENT", 0, kJsonIndent, 0x20},
    {"ASN1CHOP", 0, kChop, 0x20},
    {"#T", 0, kDefaultSteps, 0x20},
};
static_assert(sizeof kKeywords / sizeof kKeywords[0] == 53);
constexpr int kChopRow = 51;
constexpr int kJsonIndentRow = 50;
static_assert(kKeywords[kChopRow].testFlag == kChop && kKeywords[kJsonIndentRow].testFlag == kJsonIndent);

// The first row whose name begins with the `length` characters of `item`,
// compared without case; -1 for none.
int find_keyword(const char *item, size_t length) {
    if (length == 0)
        return -1;
    for (int row = 0; row < static_cast<int>(sizeof kKeywords / sizeof kKeywords[0]); ++row) {
        const char *name = kKeywords[row].name;
        size_t i = 0;
        while (i < length && name[i] && std::toupper(static_cast<unsigned char>(item[i])) == name[i])
            ++i;
        if (i == length)
            return row;
    }
    return -1;
}

void change(uint32_t &word, uint32_t bits, bool set) { word = set ? word | bits : word & ~bits; }

// A flags word takes a flag keyword: TRAPPING moves the trapping request
// the other way, and KEL_RELAXED set drops strict rules.
void apply_flag(uint32_t &word, uint32_t flag, bool set) {
    change(word, flag, set);
    if (flag == kTrapping)
        change(word, kTrapRequest, !set);
    if (flag == kRelaxed && set)
        word &= ~kStrictRules;
}

long parse_number(const char *item, size_t length) {
    long value = 0;
    for (size_t i = 0; i < length && std::isdigit(static_cast<unsigned char>(item[i])); ++i)
        value = value < 100000000 ? value * 10 + (item[i] - '0') : value;
    return value;
}

bool starts_with_no(const char *item, size_t length) {
    return length > 2 && std::toupper(static_cast<unsigned char>(item[0])) == 'N' &&
           std::toupper(static_cast<unsigned char>(item[1])) == 'O';
}

void append(char *out, unsigned size, unsigned &used, const char *separator, const char *prefix,
            const char *name) {
    const int n = std::snprintf(out + used, size - used, "%s%s%s", used ? separator : "", prefix, name);
    if (n > 0)
        used = used + static_cast<unsigned>(n) < size ? used + static_cast<unsigned>(n) : size - 1;
}

} // namespace

const char *rule_name(int rule) {
    switch (rule) {
    case KEL_BER: return "BER";
    case KEL_PER_ALIGNED: return "PER ALIGNED";
    case KEL_PER_UNALIGNED: return "PER UNALIGNED";
    case KEL_DER: return "DER";
    case KEL_XER: return "XER";
    case KEL_CXER: return "CXER";
    case KEL_EXER: return "EXER";
    case KEL_OER: return "OER";
    case KEL_COER: return "COER";
    case KEL_JSON: return "JSON";
    default: return "UNKNOWN RULE";
    }
}

void flags_text(uint32_t flags, FlagsWord word, int rule, char *out, unsigned size) {
    const uint32_t wordClass = word == FlagsWord::kEncoding ? kEncoding : kDecoding;
    unsigned used = 0;
    uint32_t shown = 0;
    out[0] = '\0';
    // Keywords that are only flags first, so that 0x800 reads NOCONSTRAIN
    // rather than NOCC; then the step keywords that carry a flag.
    for (int pass = 0; pass < 2; ++pass) {
        for (const Keyword &row : kKeywords) {
            if (!(row.classes & wordClass) || !row.flag || (row.flag & shown) || (flags & row.flag) != row.flag)
                continue;
            if (((row.classes & kTestFlag) != 0) != (pass == 1))
                continue;
            if (row.flag == kStrictPerDefaults && rule != KEL_PER_ALIGNED && rule != KEL_PER_UNALIGNED)
                continue;
            shown |= row.flag;
            append(out, size, used, "+", (row.classes & kPositive) ? "" : "NO", row.name);
        }
    }
    if (!used)
        std::snprintf(out, size, "NO FLAGS");
}

} // namespace kel::selftest

using namespace kel::selftest;

int kelParseString(const char *text) {
    if (!text)
        return 0;
    Settings &s = settings();
    int lastFlagKeyword = 0;
    int previous = -1; // the keyword row before this item
    for (const char *item = text; *item;) {
        size_t length = std::strcspn(item, ":");
        const char *next = item[length] ? item + length + 1 : item + length;
        if (length == 0) {
            item = next;
            continue;
        }
        if (std::isdigit(static_cast<unsigned char>(item[0]))) {
            const long number = parse_number(item, length);
            if (previous == kChopRow)
                s.chop = number;
            else if (previous == kJsonIndentRow)
                s.jsonIndent = number;
            else
                s.runFilter = number;
            previous = -1;
            item = next;
            continue;
        }
        const bool keepDefaults = item[0] == '+';
        if (keepDefaults)
            ++item, --length;
        const bool negated = starts_with_no(item, length);
        if (negated)
            item += 2, length -= 2;
        const int row = find_keyword(item, length);
        previous = row;
        item = next;
        if (row < 0)
            continue;
        const Keyword &keyword = kKeywords[row];
        if (keyword.classes & kRuleKeyword) {
            if (s.ruleCount < 0)
                s.ruleCount = 0;
            if (s.ruleCount < static_cast<int>(kMaxRules)) {
                s.rules[s.ruleCount++] = static_cast<uint8_t>(keyword.testFlag);
                s.rules[s.ruleCount] = kEndOfList;
            }
            continue;
        }
        lastFlagKeyword = row;
        if (s.testFlags & kDefaults) {
            s.testFlags &= ~kDefaults;
            if (!keepDefaults)
                s.testFlags &= ~kDefaultSteps;
        }
        if (keyword.classes & kTestFlag)
            change(s.testFlags, keyword.testFlag, !negated);
        const bool set = (keyword.classes & kPositive) ? !negated : negated;
        if (keyword.classes & kEncoding)
            apply_flag(s.encodingFlags, keyword.flag, set);
        if (keyword.classes & kDecoding)
            apply_flag(s.decodingFlags, keyword.flag, set);
        if (keyword.classes & kJsonFlag)
            change(s.jsonFlags, keyword.flag, set);
    }
    return lastFlagKeyword;
}

int kelSetTestFlags(const char *text) {
    Settings &s = settings();
    if (s.testFlags & kLocked)
        return 0;
    // A rule keyword starts the list anew; without one the list stays.
    s.ruleCount = -s.ruleCount;
    const int applied = kelParseString(text);
    if (s.ruleCount < 0)
        s.ruleCount = -s.ruleCount;
    if (applied)
        return 1;
    s.testFlags = kDefaultTestFlags;
    return 0;
}

int kelSetTestFlagsEx(const char *, const char *) {
    Settings &s = settings();
    s.testFlags = kDefaultTestFlags;
    s.ruleCount = 0;
    s.rules[0] = kEndOfList;
    return 0;
}

int kelParseEnvironment(void) { return 0; }

const char *kelGetTestFlags(void) {
    static char text[64];
    const Settings &s = settings();
    unsigned used = 0;
    text[0] = '\0';
    for (int i = 0; i < s.ruleCount; ++i)
        append(text, sizeof text, used, ":", "", kRuleTable[s.rules[i]].keyword);
    uint32_t shown = 0;
    for (const Keyword &row : kKeywords) {
        const uint32_t bit = row.testFlag;
        if (!(row.classes & kTestFlag) || !bit || (s.testFlags & bit) != bit || !(bit & ~shown))
            continue;
        shown |= bit;
        append(text, sizeof text, used, ":", "", row.name);
    }
    return text;
}

unsigned long kelGetTestEnv(long *runFilter, int *ruleCount, const unsigned char **ruleList) {
    const Settings &s = settings();
    if (runFilter)
        *runFilter = s.runFilter;
    if (ruleCount)
        *ruleCount = s.ruleCount;
    if (ruleList)
        *ruleList = s.rules;
    return s.testFlags;
}
