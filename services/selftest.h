// selftest.h - what the self-test driver's sources share: the process-wide
// settings that the keyword language changes, the rule table, and the flag
// text of the protocol's banners.
//
// The driver calls only public operations, each of which has its own
// recovery point, so no jump ever passes over a frame of these sources.
#pragma once

#include <cstdint>

#include "kelvarn_services.h"

namespace kel::selftest {

// Test flags: the steps and options that keywords of class 32 switch.
enum TestFlag : uint32_t {
    kAlt = 0x200,          // terse protocol, nothing chopped
    kTrace = 0x400,        // tracing banners
    kPrintPdu = 0x800,     // print the value before and after
    kCopy = 0x1000,        // copy the decoded value and compare
    kCheck = 0x2000,       // check the constraints
    kBuffer = 0x4000,      // a second run into buffers of the caller
    kJsonIndent = 0x20000, // a number after JSON_INDENT sets the indent
    kCompress = 0x2000000,
    kChop = 0x20000000,    // a number after ASN1CHOP sets the chop limit
    kDefaults = 0x40000000,
    kLocked = 0x80000000,
};
constexpr uint32_t kDefaultSteps = kTrace | kPrintPdu | kCopy | kCheck;
constexpr uint32_t kDefaultTestFlags = kDefaults | kDefaultSteps;
// OR-ed into the world's flags for every run: DEBUGPDU, the trapping
// request and AUTOMATIC_ENCDEC.
constexpr uint32_t kDefaultRunFlags = 0x22002;

constexpr unsigned kMaxRules = 26;
constexpr uint8_t kEndOfList = 255;

struct Settings {
    uint32_t testFlags = kDefaultTestFlags;
    uint32_t encodingFlags = kDefaultRunFlags;
    uint32_t decodingFlags = kDefaultRunFlags;
    uint32_t jsonFlags = 0;
    long runFilter = 0;      // nonzero: only this run is tested
    long runCounter = 0;     // runs started so far
    int ruleCount = 0;       // negative while kelSetTestFlags parses
    uint8_t rules[kMaxRules + 1] = {kEndOfList};
    long chop = 0;
    long jsonIndent = 0;
};
Settings &settings();

// A row of the rule table: the rule code and the flags it adds.
struct RuleRow {
    const char *keyword;
    int rule;             // -1 for the two empty rows
    uint32_t encodingFlags;
    uint32_t decodingFlags;
};
constexpr unsigned kRuleRows = 13;
extern const RuleRow kRuleTable[kRuleRows];
// Rows tested when the list is empty, ended by kEndOfList.
extern const uint8_t kDefaultRules[];

// The protocol's name of a rule: "PER ALIGNED", "COER", "UNKNOWN RULE"...
const char *rule_name(int rule);

// Which flags word a flag text describes.
enum class FlagsWord { kEncoding, kDecoding };
// The flags of `flags` named by keywords, joined by '+', NO in front of the
// flags whose plain keyword clears them, or "NO FLAGS".
// STRICT_PER_ENCODING_OF_DEFAULT_VALUES shows only under PER.
void flags_text(uint32_t flags, FlagsWord word, int rule, char *out, unsigned size);

// An encoding in the protocol: long hex, or the text of a JSON or XML rule
// (an XML document re-indented, or its text as it stands).
enum class XmlShown { kAsDocument, kAsText };
void print_encoding(KelGlobal *world, int rule, const KelBuf &encoding, XmlShown xml);

} // namespace kel::selftest
