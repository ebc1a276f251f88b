// selftest_encodings.cpp - the self-test driver from the other end: given
// encodings, decode each under the selected rule, show it, and run kelTest
// on the decoded value.

#include <cstdlib>

#include "selftest.h"

namespace {

constexpr int kBadArgument = 6;
constexpr unsigned long kTrapRequest = 0x20000;

} // namespace

using namespace kel::selftest;

int kelTestEncoding(KelGlobal *world, int pdu, KelBuf *encoding) {
    if (!world || !encoding)
        return kBadArgument;
    Settings &s = settings();
    kelSetEncodingFlags(world, kelGetEncodingFlags(world) | kTrapRequest);
    kelSetDecodingFlags(world, kelGetDecodingFlags(world) | kTrapRequest);
    const int savedRule = kelGetEncodingRules(world);
    int rule = savedRule;
    if (rule_name(rule)[0] == 'U') { // an unknown rule decodes as BER
        rule = KEL_BER;
        kelSetEncodingRules(world, rule);
    }
    char flags[256];
    flags_text(static_cast<uint32_t>(kelGetDecodingFlags(world)), FlagsWord::kDecoding, rule, flags, sizeof flags);
    kelPrint(world, "\n########## Run %2ld of the %s Decoder ##########\n", s.runCounter + 1, rule_name(rule));
    kelPrint(world, "Flags passed: %s.\n\n", flags);
    kelPrint(world, "Encoding:\n");
    print_encoding(world, rule, *encoding, XmlShown::kAsText);

    int decodedPdu = std::abs(pdu);
    void *decoded = nullptr;
    KelBuf input = *encoding;
    int code = kelDecode(world, &decodedPdu, &input, &decoded);
    if (code) {
        kelPrint(world, "\nDecoder error code: %d\n", code);
        ++s.runCounter;
        kelSetEncodingRules(world, savedRule);
        return code;
    }
    const long consumed = kelGetBytesReadByDecoder(world);
    encoding->value += consumed;
    encoding->length -= static_cast<uint32_t>(consumed);
    kelPrint(world, "\n\tCall kelTest() to check a decoded PDU... \n");
    code = kelTest(world, pdu < 0 ? -decodedPdu : decodedPdu, decoded);
    if (code)
        kelPrint(world, "Testing failed with return code = %d\n", code);
    kelSetEncodingRules(world, savedRule);
    kelFreePDU(world, decodedPdu, decoded);
    return code;
}

int kelTestMultipleEncodings(KelGlobal *world, int pdu, KelBuf *encodings, int count) {
    if (!world || !encodings)
        return kBadArgument;
    int failures = 0;
    for (int i = 0; i < count; ++i) {
        if (!kelTestEncoding(world, pdu, &encodings[i]))
            continue;
        ++failures;
        const char *message = kelGetErrMsg(world);
        if (message && *message)
            kelPrint(world, "%s\n", message);
    }
    return failures;
}

int kelTestConcatenatedEncodings(KelGlobal *world, int pdu, KelBuf *encoding) {
    if (!world || !encoding)
        return kBadArgument;
    int first = 0;
    while (encoding->length >= 1) {
        const uint32_t before = encoding->length;
        const int code = kelTestEncoding(world, pdu, encoding);
        if (code && !first)
            first = code;
        if (encoding->length == before) // nothing could be decoded: the rest is not a message
            break;
    }
    return first;
}
