// test_messages.cpp - the message table, the return code texts, the failure
// path (recording in the top world, jumps, the checker's shortcut) and the
// formatter (placeholders, trail, position, overflow into extErrMsg).
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "counting_alloc.h"
#include "harness.h"
#include "internal.h"

namespace {

using kel_test::BriefWorld;
using kel_test::CountingAllocator;
using kel_test::in_frame;

constexpr int kDecoder = kel::kPhaseDecoder;
constexpr int kEncoder = kel::kPhaseEncoder;
constexpr int kOtherPhase = 7; // neither encoder nor decoder: no letter

// The text that message `message` leaves in `phase`.
std::string fail_text(KelGlobal *world, int phase, int message) {
    in_frame(world, phase, [&] { _kel_enc_error(world, message, 0); });
    return world->errMsg;
}

TEST(MessagesTable, SpotRows) {
    const struct {
        int row;
        const char *text; // null: not checked
        int code;         // -1: not checked
        unsigned type;    // 0: not checked
    } rows[] = {
        {0, "0000I: No message", 0, 0x40}, {1, "0001S: Output buffer too small; total buffer size: ", 1, 0x23},
        {45, "0081S: End of input reached before message was fully decoded", 4, 0},
        {103, "0033E: Tag mismatch or tag not expected: ", -1, 0x2},
        {185, "E0178E: The number of bits is not multiple of eight in the bitstring's segment #", -1, 0},
        {291, nullptr, 133, 0}, {310, "0358S: Partial decoding stopped by user callback return code ", -1, 0},
        {317, nullptr, -1, 0x29}, {319, "X999I: Hindmost message", 0, 0x40},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.row);
        if (r.text) {
            EXPECT_STREQ(kelErrMsgs[r.row].text, r.text);
        }
        if (r.code >= 0) {
            EXPECT_EQ(kelErrMsgs[r.row].code, r.code);
        }
        if (r.type) {
            EXPECT_EQ(kelErrMsgs[r.row].type, r.type);
        }
    }
    for (int i = 0; i < KEL_MESSAGE_COUNT; ++i)
        ASSERT_NE(kelErrMsgs[i].text, nullptr) << i;
}

// Codes 9 and 10 read differently for an encoder and a decoder; without a
// world both readings are given, each with its phase named.
TEST(MessagesReturnCodes, TextsAndPhases) {
    const struct {
        int phase; // -1: no world
        int code;
        const char *text; // null: no text; a text ending in '*' is a prefix
    } rows[] = {
        {-1, 0, "Success"}, {-1, 8, "Out of memory"},
        {-1, 132, "ASN.1 compiling of the input ASN.1 syntax failed due to error reading or writing files"},
        {-1, 87, nullptr}, {-1, 133, nullptr}, {-1, -1, nullptr}, // gaps and ends of the numbering
        {-1, 9, "Encoder: Choice selector*"}, {-1, 10, "Decoder: Implementation limit*"},
        {kEncoder, 9, "Choice selector is out of range"}, {kEncoder, 10, "OBJECT IDENTIFIER value*"},
        {kDecoder, 9, "The PDU number that you specified does not match the tag found in the encoded data"},
        {kDecoder, 10, "Implementation limit exceeded.  For example, an integer value was too great"},
    };
    BriefWorld world;
    for (const auto &r : rows) {
        SCOPED_TRACE(r.code);
        world->phase = r.phase;
        const char *got = kelDescribeReturnCode(r.phase < 0 ? nullptr : world.get(), r.code);
        if (!r.text) {
            EXPECT_EQ(got, nullptr);
            continue;
        }
        ASSERT_NE(got, nullptr);
        const size_t n = std::strlen(r.text);
        if (r.text[n - 1] == '*') {
            EXPECT_EQ(std::string(got).substr(0, n - 1), std::string(r.text, n - 1));
        } else {
            EXPECT_STREQ(got, r.text);
        }
    }
    EXPECT_NE(std::strstr(kelDescribeReturnCode(nullptr, 7), "causes:\n1. In general"), nullptr);
}

TEST(MessagesFormat, ArgumentKinds) {
    BriefWorld world;
    KelGlobal *w = world.get();
    enum Raise { Number, Long, Real, Text, Counted };
    const struct {
        int phase, message;
        Raise raise;
        uint64_t number; // or the count of a counted text
        const char *text;
        int code; // 0: not checked
        const char *expected;
    } rows[] = {
        {kDecoder, 103, Number, 0x00020004, nullptr, 5,
         "D0033E: Tag mismatch or tag not expected: [UNIVERSAL 4] (expected tag [UNIVERSAL 2]).\n"},
        {kDecoder, 115, Number, 0xC0058003, nullptr, 0, "D0047E: Tag not recognized: [3] (expected tag [PRIVATE 5]).\n"},
        {kDecoder, 115, Number, 0x7FFF, nullptr, 0, "D0047E: Tag not recognized: [APPLICATION 16383].\n"},
        {kEncoder, 7, Number, 0xFFFFFFFF, nullptr, 0, "E0009S: Out-of-range CHOICE selector: -1.\n"},
        {kEncoder, 7, Long, 1ull << 63, nullptr, 0, "E0009S: Out-of-range CHOICE selector: -9223372036854775808.\n"},
        {kEncoder, 11, Number, 0xFFFFFFFF, nullptr, 0, "E0023E: Integer or enumerated value too long: 4294967295.\n"},
        {kEncoder, 11, Long, ~0ull, nullptr, 0, "E0023E: Integer or enumerated value too long: 18446744073709551615.\n"},
        {kOtherPhase, 17, Real, 0, nullptr, 0, " 0061S: Single value constraint violated, value = 2.5.\n"},
        {kEncoder, 53, Text, 0, "PER", 23, "E0103S: The requested encoding rules were not linked: 'PER'.\n"},
        {kDecoder, 312, Text, 0, "'}'", 0, "D0361S: Unknown token found, expecting '}'.\n"},
        {kEncoder, 29, Number, 'A', nullptr, 0, "E0064S: Permitted alphabet constraint violated, bad character: 'A'.\n"},
        {kEncoder, 29, Number, 0x1F600, nullptr, 0,
         "E0064S: Permitted alphabet constraint violated, bad character: {0,1,246,0}.\n"},
        {kEncoder, 320, Number, 0, nullptr, 18, "E0056S: This error cannot happen; inform KEL, code = 320.\n"},
        {kEncoder, 19, Counted, 3, "abc", 0, "E0061S: Single value constraint violated, value = 'abc'.\n"},
        {kEncoder, 23, Counted, 2, "\x80\x01", 0, "E0062S: Value range constraint violated, value = '0x08001'.\n"},
        {kEncoder, 22, Counted, 2, "\xFF\x7A", 0, "E0062S: Value range constraint violated, value = '0xFF7A'.\n"},
        {kEncoder, 22, Counted, 0, "\xFF\x7A", 0, "E0062S: Value range constraint violated, value = ''.\n"},
        {kDecoder, 310, Number, 7, nullptr, 1024, "D0358S: Partial decoding stopped by user callback return code 7.\n"},
        {kDecoder, 310, Number, 2000, nullptr, 2000, nullptr},
    };
    for (const auto &r : rows) {
        const int code = in_frame(w, r.phase, [&] {
            switch (r.raise) {
            case Number: _kel_enc_error(w, r.message, static_cast<uint32_t>(r.number)); break;
            case Long: _kel_enc_llerror(w, r.message, r.number); break;
            case Real: _kel_varn_real_error(w, r.message, 2.5); break;
            case Text: _kel_varn_error(w, r.message, r.text); break;
            case Counted:
                _kel_unbnd_error(w, r.message, reinterpret_cast<const unsigned char *>(r.text), r.number);
                break;
            }
        });
        SCOPED_TRACE(r.message);
        if (r.code) {
            EXPECT_EQ(code, r.code) << w->errMsg;
            EXPECT_EQ(w->errorCode, r.code);
        }
        if (r.expected) {
            EXPECT_STREQ(w->errMsg, r.expected);
        }
    }
    _kel_freetempMem(w); // counted strings are copied to temporary memory
}

TEST(MessagesFailurePath, CheckerNoBufferAndPushedWorld) {
    BriefWorld world;
    KelGlobal *w = world.get();
    // The checker jumps with the message number and writes nothing.
    EXPECT_EQ(in_frame(w, kel::kPhaseChecker, [&] { _kel_enc_error(w, 45, 0); }), 45);
    EXPECT_EQ(in_frame(w, kDecoder, [&] { _kel_con_error(w, 36, 9); }), 36);
    EXPECT_STREQ(w->errMsg, "");
    EXPECT_EQ(in_frame(w, kDecoder, [&] { w->errMsgPtr = nullptr, _kel_enc_error(w, 45, 0); }), 4);
    EXPECT_EQ(w->errorCode, 4);
    EXPECT_STREQ(w->errMsg, "");

    // A pushed world (no recovery point, buffer or phase) reports in the top one.
    KelGlobal inner;
    std::memset(&inner, 0, sizeof inner);
    inner.parentWorld = w;
    w->errorCode = 0;
    EXPECT_EQ(in_frame(w, kDecoder, [&] { _kel_enc_error(&inner, 45, 0); }), 4);
    EXPECT_EQ(w->errorCode, 4);
    EXPECT_STREQ(w->errMsg, "D0081S: End of input reached before message was fully decoded.\n");
    EXPECT_STREQ(inner.errMsg, "");
}

int g_hookMessage;
int record_hook(KelGlobal *, int message, void *, void *) { return g_hookMessage = message, 0; }
int other_hook(KelGlobal *, int, void *, void *) { return g_hookMessage = -1, 0; }

TEST(MessagesFailurePath, ApiErrorReturnsAndRunsPostHook) {
    BriefWorld world;
    KelGlobal *w = world.get();
    w->errMsgPtr = w->errMsg;
    w->phase = kEncoder;
    w->ext->encPostHook = record_hook;
    w->ext->decPostHook = other_hook;
    g_hookMessage = 0;
    EXPECT_EQ(_kel_varn_api_error(w, 38, 0), 21);
    EXPECT_EQ(g_hookMessage, 0); // hooks only with debug flag 0x40
    EXPECT_STREQ(w->errMsg, "E0074S: NULL function pointer in the control table.\n");
    w->ext->debugFlags = 0x40;
    EXPECT_EQ(_kel_varn_api_error(w, 5, 17), 7);
    EXPECT_EQ(g_hookMessage, 5);
    w->phase = kDecoder;
    _kel_varn_api_error(w, 45, 0);
    EXPECT_EQ(g_hookMessage, -1);
}

// The trail, the PDU line and, for text input being decoded, the position.
TEST(MessagesFormat, TrailPduLineAndPosition) {
    BriefWorld world;
    KelGlobal *w = world.get();
    const KelTrailInfo field{"number", "INTEGER", 2}, element{"", "Item", 10}, inner{"Inner", "InnerType", 3};
    KelTrailNode n3{nullptr, &inner, 0}, n2{&n3, &element, 3}, n1{&n2, &field, 0};
    KelTrailHead head{&n1};
    const KelPduNames names{"Outer", "OuterType"}, generated{"Mod1#Outer", "OuterType"};
    static const unsigned char xml[] = "<a>\n  <b>x";
    w->inPos = const_cast<unsigned char *>(xml);
    const struct {
        KelTrailHead *trail;
        const KelPduNames *pdu;
        int pduNumber, message, phase;
        uint32_t rules;
        int remaining;
        const char *text;
    } rows[] = {
        {&head, &names, 2, 95, kDecoder, KEL_BER, 0,
         "D0022E: Integer or enumerated value needlessly long; check field 'number' (type: INTEGER) of element #3 "
         "(type: Item) of PDU 'Inner' (type: InnerType) of PDU #2 'Outer'.\n"},
        // a generated reference name gives way to the type name
        {nullptr, &generated, 2, 95, kDecoder, KEL_BER, 0,
         "D0022E: Integer or enumerated value needlessly long; check PDU #2 'OuterType'.\n"},
        {nullptr, nullptr, 2, 95, kDecoder, KEL_BER, 0, "D0022E: Integer or enumerated value needlessly long; check PDU #2.\n"},
        {&head, &names, 2, 3, kDecoder, KEL_BER, 0, "D0003S: PDU number not in range: 9.\n"}, // 0x40: no trail
        {nullptr, nullptr, 0, 211, kDecoder, KEL_EXER, 9, "D0214S: XML tag expected; check PDU at line 2 position 6.\n"},
        {nullptr, nullptr, 1, 211, kDecoder, KEL_EXER, 2, "D0214S: XML tag expected; check PDU #1 at line 1 position 2.\n"},
        // encoders and binary rules print no position
        {nullptr, nullptr, 1, 211, kEncoder, KEL_EXER, 2, "E0214S: XML tag expected; check PDU #1.\n"},
        {nullptr, nullptr, 1, 211, kDecoder, KEL_BER, 2, "D0214S: XML tag expected; check PDU #1.\n"},
    };
    for (const auto &r : rows) {
        w->trail = r.trail;
        w->pduEntry = r.pdu;
        w->pduNumber = r.pduNumber;
        w->encRules = r.rules;
        w->inRemaining = r.remaining;
        in_frame(w, r.phase, [&] { _kel_enc_error(w, r.message, 9); });
        EXPECT_STREQ(w->errMsg, r.text);
    }
}

// An overflowing text is cut in errMsg and kept whole in memory of its own,
// which the next failure, a failed allocation and kelterm give back.
TEST(MessagesOverflow, LongTextKeptWholeAndReleased) {
    // A world whose every allocation is counted, closed with kelterm.
    CountingAllocator::reset();
    const long baseline = CountingAllocator::live;
    const KelRawMalloc savedMalloc = mallocp;
    const KelRawFree savedFree = freep;
    mallocp = CountingAllocator::raw_malloc;
    freep = CountingAllocator::raw_free;
    KelGlobal world;
    std::memset(&world, 0, sizeof world);
    kelbriefinit(&world);
    mallocp = savedMalloc;
    freep = savedFree;
    KelControlTable table{};
    world.ctlTbl = &table; // so that kelterm closes it like an opened world
    KelGlobal *w = &world;
    auto extra = [&] { return CountingAllocator::live - baseline; };

    // A trail of 40 fields with long names: far more than 512 characters.
    const KelTrailInfo info{"a_rather_long_field_name_for_the_trail", "SomeLongTypeName", 1};
    KelTrailNode nodes[40];
    for (int i = 0; i < 40; ++i)
        nodes[i] = {i + 1 < 40 ? &nodes[i + 1] : nullptr, &info, 0};
    KelTrailHead trail{nodes};
    const KelPduNames names{"Top", "TopType"};
    w->trail = &trail;
    w->pduNumber = 1;
    w->pduEntry = &names;
    EXPECT_EQ(in_frame(w, kDecoder, [&] { _kel_enc_error(w, 45, 0); }), 4);
    const std::string cut = w->errMsg;
    ASSERT_EQ(cut.size(), 511u);
    EXPECT_EQ(cut.substr(508), "...");
    const std::string full = kelGetErrMsg(w);
    EXPECT_GT(full.size(), 1500u);
    EXPECT_EQ(full.compare(0, 508, cut, 0, 508), 0);
    EXPECT_EQ(full.substr(full.size() - 17), "of PDU #1 'Top'.\n");
    EXPECT_EQ(extra(), 2); // the extension and the long text

    w->trail = nullptr;
    fail_text(w, kDecoder, 45);
    EXPECT_EQ(kelGetErrMsg(w), w->errMsg);
    EXPECT_EQ(extra(), 1);

    w->trail = &trail;
    CountingAllocator::reset(1);
    EXPECT_EQ(fail_text(w, kDecoder, 45).size(), 511u);
    CountingAllocator::reset();
    EXPECT_EQ(kelGetErrMsg(w), w->errMsg);

    fail_text(w, kDecoder, 45);
    EXPECT_EQ(extra(), 2);
    kelterm(w);
    EXPECT_EQ(extra(), 0);
}

std::string g_printed;
int capture_vprint(FILE *, const char *format, va_list args) {
    char line[2048];
    const int n = std::vsnprintf(line, sizeof line, format, args);
    g_printed += line;
    return n;
}
int capture_print(FILE *, const char *format, ...) {
    va_list args;
    va_start(args, format);
    const int n = capture_vprint(nullptr, format, args);
    va_end(args);
    return n;
}

// kel_apiError formats and, with the rule's debug bit, echoes through
// kelPrint; kelPrint hands whole texts to an application's print function
// unless a user vprint function is set.
TEST(MessagesPrint, ApiErrorEchoAndChannels) {
    BriefWorld world;
    KelGlobal *w = world.get();
    long size = 5;
    EXPECT_EQ(kel_apiError(w, w->errMsg, 1, 'D', &size), 1u);
    EXPECT_STREQ(w->errMsg, "D0001S: Output buffer too small; total buffer size: 5.\n");
    EXPECT_EQ(kel_apiError(w, w->errMsg, 53, 'E', const_cast<char *>("PER")), 23u);
    EXPECT_STREQ(w->errMsg, "E0103S: The requested encoding rules were not linked: 'PER'.\n");

    w->asn1prnt = capture_print;
    g_printed.clear();
    kel_apiError(w, w->errMsg, 4, 'D', nullptr);
    EXPECT_EQ(g_printed, "");
    w->decodingFlags = DEBUGPDU;
    kel_apiError(w, w->errMsg, 4, 'D', nullptr);
    EXPECT_EQ(g_printed, "D0006S: Unexpected NULL pointer as argument to encoder/decoder.\n");

    g_printed.clear();
    const std::string longLine(1500, 'x');
    EXPECT_EQ(kelPrint(w, "%s|%d", longLine.c_str(), 42), 1503);
    EXPECT_EQ(g_printed, longLine + "|42");
    w->ext->userVprint = capture_vprint;
    w->asn1prnt = nullptr;
    g_printed.clear();
    kelPrint(w, "%s=%u", "n", 7u);
    EXPECT_EQ(g_printed, "n=7");
}

} // namespace
