// selftest_run.cpp - kelTest and kelTestPD: one value through every rule of
// the driver's list, each run printing, checking, encoding, decoding,
// copying and comparing as the test flags ask, with a protocol through
// kelPrint.  A rule that isn't linked is passed over without a word; a step
// that fails is reported and the driver goes on with the next rule.

#include <cstdlib>

#include "printing.h"
#include "selftest.h"

namespace kel::selftest {
namespace {

constexpr int kBadArgument = 6;
constexpr long kPartialDecodeArea = 2048;

enum Step { kEncoderStep, kDecoderStep, kTracingStep };

bool is_xml_rule(int rule) { return rule == KEL_XER || rule == KEL_CXER || rule == KEL_EXER; }

// One rule's pass over the value, with what the buffered second run needs
// from the first.
struct Pass {
    KelGlobal *world;
    int pdu;
    void *value;
    int rule;
    uint32_t testFlags;
    long run;
    bool partial;        // kelTestPD: the decoder only parses
    uint32_t encodedLength; // of the first run: the size of the second's buffer
    long decodedLength;  // of the first run's value in library memory
};

void print_header(const Pass &pass, Step step) {
    KelGlobal *world = pass.world;
    if (pass.rule == KEL_BER) {
        const bool definite = kelGetEncodingFlags(world) & DEFINITE;
        const char *in = definite ? "" : "IN";
        switch (step) {
        case kEncoderStep:
            kelPrint(world, "%s---------- Run %ld of the BER %sDEFINITE-Length Encoder ----------\n",
                     pass.run == 1 && definite ? "" : "\n", pass.run, in);
            break;
        case kDecoderStep:
            kelPrint(world, "\n========== Run %ld of the BER Decoder for %sDEFINITE PDU ==========\n", pass.run, in);
            break;
        case kTracingStep:
            kelPrint(world, "\n\tTracing Information from the BER %sDEFINITE-Length Encoder...\n\n", in);
            break;
        }
        return;
    }
    const char *name = rule_name(pass.rule);
    switch (step) {
    case kEncoderStep:
        kelPrint(world, "\n---------- Run %ld of the %s Encoder ----------\n", pass.run, name);
        break;
    case kDecoderStep:
        kelPrint(world, "\n========== Run %ld of the %s Decoder ==========\n", pass.run, name);
        break;
    case kTracingStep:
        kelPrint(world, "\n\tTracing Information from the %s Encoder...\n\n", name);
        break;
    }
}

// Copies the decoded value, compares the original with the copy and frees
// the copy: the last failing code, or 0.
int copy_and_compare(const Pass &pass, int pdu, void *decoded) {
    KelGlobal *world = pass.world;
    kelPrint(world, "\nCopying the Decoded PDU...\n");
    void *copy = nullptr;
    int code = kelCpyValue(world, pdu, decoded, &copy);
    if (code) {
        kelPrint(world, "KelCpyValue failed with return code = %d\n", code);
        return code;
    }
    kelPrint(world, "Comparing the Original and Copied PDUs...\n");
    const int compared = kelCmpValue(world, pdu, pass.value, copy);
    if (compared) {
        // E-XER may hold a value in another form than it was given in.
        const bool excused = pass.rule == KEL_EXER;
        kelPrint(world, "KelCmpValue failed with return code = %d%s\n", compared, excused ? ", skipped for E-XER" : "");
        if (!excused)
            code = compared;
    } else {
        kelPrint(world, "Value comparison succeeded\n");
    }
    const int freed = kelFreePDU(world, pdu, copy);
    if (freed) {
        kelPrint(world, "KelFreePDU failed with return code = %d\n", freed);
        code = freed;
    }
    return code;
}

// Prints the value (before encoding) and checks its constraints.
int print_and_check(const Pass &pass) {
    KelGlobal *world = pass.world;
    int result = 0;
    if (pass.testFlags & kPrintPdu) {
        kelPrint(world, "\n\tUnencoded PDU...\n\n");
        const int code = kelPrintPDU(world, pass.pdu, pass.value);
        if (code) {
            kelPrint(world, "KelPrintPDU failed with return code = %d\n", code);
            result = code;
        }
    }
    if (pass.testFlags & kCheck) {
        kelPrint(world, "\n\t%s...\n\n", "Checking constraints");
        const int code = kelCheckConstraints(world, pass.pdu, pass.value);
        if (code) {
            kelPrint(world, "%s with return code = %d\n", "KelCheckConstraints failed", code);
            result = code;
        } else {
            kelPrint(world, "%s\n", "Constraints checking succeeded");
        }
    }
    return result;
}

// Decodes `encoding` (into the caller's area of `areaSize` octets at `area`
// when it isn't null) and runs the steps on the decoded value: the last
// failing code, or 0.
int decode_and_test(Pass &pass, KelBuf encoding, void *area, long areaSize) {
    KelGlobal *world = pass.world;
    const bool alt = pass.testFlags & kAlt;
    if (alt)
        kelPrint(world, "===== Run %d decoder\n", static_cast<int>(pass.run));
    else
        print_header(pass, kDecoderStep);
    if (pass.testFlags & kTrace)
        kelPrint(world, "\n\tTracing Information from Decoder...\n\n");
    int pdu = pass.pdu;
    void *decoded = area;
    if (area)
        kelSetDecodingLength(world, areaSize);
    const int code = pass.partial ? kelPartialDecode(world, &pdu, &encoding, &decoded)
                                  : kelDecode(world, &pdu, &encoding, &decoded);
    if (code) {
        kelPrint(world, pass.partial ? "Decoding failed with return code = %d.\n%s" : "Decoding failed with return code = %d\n%s",
                 code, kelGetErrMsg(world));
        return code;
    }
    if (pass.partial) {
        kelPrint(world, "%ld bytes read by Decoder: ", kelGetBytesReadByDecoder(world));
        kelPrint(world, "PDU successfully parsed...\n");
        return 0;
    }
    if (!area)
        pass.decodedLength = kelGetDecodingLength(world);
    kelPrint(world, "\nPDU successfully decoded, in %ld bytes\n", kelGetBytesReadByDecoder(world));
    int result = 0;
    if (pass.testFlags & kPrintPdu) {
        kelPrint(world, "\n\tDecoded PDU...\n\n");
        const int printed = kelPrintPDU(world, pdu, decoded);
        if (printed) {
            kelPrint(world, "KelPrintPDU failed with return code = %d\n", printed);
            result = printed;
        }
    }
    if (pass.testFlags & kCopy) {
        const int copied = copy_and_compare(pass, pdu, decoded);
        if (copied)
            result = copied;
    }
    if (!area)
        kelFreePDU(world, pdu, decoded);
    return result;
}

// One run: the second run of a BUF test (`provided`) encodes into a buffer
// of the first run's encoded length and decodes into an area of its value's
// size, both taken with the world's allocator.
int run_once(Pass &pass, bool provided) {
    KelGlobal *world = pass.world;
    const bool alt = pass.testFlags & kAlt;
    if (alt) {
        kelPrint(world, "----- Run %d encoder\n", static_cast<int>(pass.run));
    } else {
        char flags[256];
        print_header(pass, kEncoderStep);
        flags_text(static_cast<uint32_t>(kelGetEncodingFlags(world)), FlagsWord::kEncoding, pass.rule, flags,
                   sizeof flags);
        kelPrint(world, "Flags passed: %s,%s BUFFER PROVIDED.\n", flags, provided ? "" : " NO");
    }
    int result = print_and_check(pass);
    if (pass.testFlags & kTrace)
        print_header(pass, kTracingStep);

    auto *buffer = static_cast<unsigned char *>(provided ? kelGetMemory(world, pass.encodedLength) : nullptr);
    KelBuf encoding = {buffer ? pass.encodedLength : 0, buffer};
    const int encoded = kelEncode(world, pass.pdu, pass.value, &encoding);
    if (encoded) {
        kelPrint(world, pass.partial ? "Encoding failed with return code = %d.\n%s" : "Encoding failed with return code = %d\n%s",
                 encoded, kelGetErrMsg(world));
        if (buffer)
            kelFreeMemory(world, buffer);
        return encoded;
    }
    if (!provided)
        pass.encodedLength = encoding.length;
    if (!alt) {
        kelPrint(world, "\nPDU successfully encoded, in %ld bytes:\n", static_cast<long>(encoding.length));
        print_encoding(world, pass.rule, encoding, XmlShown::kAsDocument);
    }

    const long areaSize = pass.partial ? kPartialDecodeArea : pass.decodedLength;
    void *area = provided && areaSize > 0 ? kelGetMemory(world, static_cast<size_t>(areaSize)) : nullptr;
    const int decoded = decode_and_test(pass, encoding, area, areaSize);
    if (decoded)
        result = decoded;
    if (area)
        kelFreeMemory(world, area);
    if (buffer)
        kelFreeMemory(world, buffer);
    else
        kelFreeBuf(world, encoding.value);
    return result;
}

// The driver's state and the world's settings that a test changes.
struct Saved {
    int rule;
    unsigned long encodingFlags, decodingFlags, jsonFlags;
    int32_t chop;
    int jsonIndent;
};

Saved save(KelGlobal *world) {
    return {kelGetEncodingRules(world), kelGetEncodingFlags(world), kelGetDecodingFlags(world),
            kelGetJsonFlags(world),     world->asn1chop,            kelGetJsonIndentSize(world)};
}

void restore(KelGlobal *world, const Saved &saved) {
    kelSetEncodingRules(world, saved.rule);
    kelSetEncodingFlags(world, saved.encodingFlags);
    kelSetDecodingFlags(world, saved.decodingFlags);
    kelSetJsonFlags(world, saved.jsonFlags);
    world->asn1chop = saved.chop;
    kelSetJsonIndentSize(world, saved.jsonIndent);
}

int test_value(KelGlobal *world, int pdu, void *value, bool partial) {
    if (!world)
        return kBadArgument;
    Settings &s = settings();
    const long run = ++s.runCounter;
    if (s.runFilter && s.runFilter != run)
        return 0;
    const Saved saved = save(world);
    // No compression functions are linked in this library: COMPRESS has
    // nothing to run.
    const uint32_t testFlags = s.testFlags & ~kCompress;
    const uint32_t encodingFlags = s.encodingFlags & ~COMPRESS;
    const uint32_t decodingFlags = s.decodingFlags & ~COMPRESS;
    if (testFlags & kChop)
        world->asn1chop = static_cast<int32_t>(s.chop);
    if (testFlags & kAlt)
        world->asn1chop = 0;
    if (testFlags & kJsonIndent)
        kelSetJsonIndentSize(world, static_cast<int>(s.jsonIndent));

    const uint8_t *rows = s.ruleCount > 0 ? s.rules : kDefaultRules;
    bool anyRule = false;
    int result = 0;
    for (; *rows != kEndOfList; ++rows) {
        const RuleRow &row = kRuleTable[*rows];
        if (row.rule < 0 || (partial && is_xml_rule(row.rule)))
            continue;
        if (pdu < 0 && row.rule != saved.rule)
            continue;
        anyRule = true;
        if (kelSetEncodingRules(world, row.rule) != 0)
            continue;
        kelSetEncodingFlags(world, row.encodingFlags | encodingFlags);
        kelSetDecodingFlags(world, row.decodingFlags | decodingFlags);
        kelSetJsonFlags(world, s.jsonFlags);
        Pass pass = {world, std::abs(pdu), value, row.rule, testFlags, run, partial, 0, 0};
        int code = run_once(pass, false);
        // The buffered run needs the sizes of an encoding that worked.
        if ((testFlags & kBuffer) && pass.encodedLength > 0) {
            const int buffered = run_once(pass, true);
            code = buffered ? buffered : code;
        }
        if (code)
            result = code;
    }
    if (partial && !anyRule)
        kelPrint(world, "No encoding rules supported by partial decoding are available.\n");
    restore(world, saved);
    return result;
}

} // namespace

void print_encoding(KelGlobal *world, int rule, const KelBuf &encoding, XmlShown xml) {
    const auto *bytes = static_cast<const unsigned char *>(encoding.value);
    const auto length = static_cast<uint32_t>(encoding.length);
    if (is_xml_rule(rule) && xml == XmlShown::kAsText)
        kelPrint(world, "%.*s\n", static_cast<int>(length), reinterpret_cast<const char *>(bytes));
    else if (is_xml_rule(rule))
        kelPrintXmlEncodedMessage(world, bytes, length);
    else if (rule == KEL_JSON)
        kelPrintJsonEncodedMessage(world, bytes, length);
    else
        kel_print_long_hex(world, bytes, length);
}

} // namespace kel::selftest

int kelTest(KelGlobal *world, int pdu, void *value) { return kel::selftest::test_value(world, pdu, value, false); }

int kelTestPD(KelGlobal *world, int pdu, void *value) { return kel::selftest::test_value(world, pdu, value, true); }
