// test_messages.cpp - the message table, the return code texts, the failure
// path (recording in the top world, jumps, the checker's shortcut) and the
// formatter (placeholders, trail, position, overflow into extErrMsg).
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <functional>
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

// The text that a failing primitive leaves, with its return code.
struct Outcome {
    int code;
    std::string text;
};

template <class Body> Outcome fail_in(KelGlobal *world, int phase, Body body) {
    int code = in_frame(world, phase, body);
    return {code, world->errMsg};
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
        if (r.text) {
            EXPECT_STREQ(kelErrMsgs[r.row].text, r.text);
        }
        if (r.code >= 0) {
            EXPECT_EQ(kelErrMsgs[r.row].code, r.code) << r.row;
        }
        if (r.type) {
            EXPECT_EQ(kelErrMsgs[r.row].type, r.type) << r.row;
        }
    }
    for (int i = 0; i < KEL_MESSAGE_COUNT; ++i)
        ASSERT_NE(kelErrMsgs[i].text, nullptr) << i;
}

TEST(MessagesReturnCodes, TextsAndPhases) {
    EXPECT_STREQ(kelDescribeReturnCode(nullptr, 0), "Success");
    EXPECT_STREQ(kelDescribeReturnCode(nullptr, 8), "Out of memory");
    EXPECT_STREQ(kelDescribeReturnCode(nullptr, 132),
                 "ASN.1 compiling of the input ASN.1 syntax failed due to error reading or writing files");
    EXPECT_NE(std::strstr(kelDescribeReturnCode(nullptr, 7), "causes:\n1. In general"), nullptr);
    EXPECT_EQ(kelDescribeReturnCode(nullptr, 87), nullptr); // a gap in the numbering
    EXPECT_EQ(kelDescribeReturnCode(nullptr, 133), nullptr);
    EXPECT_EQ(kelDescribeReturnCode(nullptr, -1), nullptr);
    // 9 and 10 follow the phase.
    BriefWorld world;
    EXPECT_EQ(std::strncmp(kelDescribeReturnCode(nullptr, 9), "Encoder: Choice selector", 24), 0);
    EXPECT_EQ(std::strncmp(kelDescribeReturnCode(nullptr, 10), "Decoder: Implementation limit", 29), 0);
    world->phase = kEncoder;
    EXPECT_STREQ(kelDescribeReturnCode(world.get(), 9), "Choice selector is out of range");
    EXPECT_EQ(std::strncmp(kelDescribeReturnCode(world.get(), 10), "OBJECT IDENTIFIER value", 23), 0);
    world->phase = kDecoder;
    EXPECT_STREQ(kelDescribeReturnCode(world.get(), 9),
                 "The PDU number that you specified does not match the tag found in the encoded data");
    EXPECT_STREQ(kelDescribeReturnCode(world.get(), 10),
                 "Implementation limit exceeded.  For example, an integer value was too great");
}

TEST(MessagesFormat, ArgumentKinds) {
    BriefWorld world;
    KelGlobal *w = world.get();
    static const unsigned char abc[] = {'a', 'b', 'c'}, positive[] = {0x80, 0x01}, negative[] = {0xFF, 0x7A};
    struct Row {
        int phase;
        std::function<void()> fail;
        int code; // 0: not checked
        const char *text;
    } rows[] = {
        {kDecoder, [&] { _kel_enc_error(w, 103, 0x00020004); }, 5,
         "D0033E: Tag mismatch or tag not expected: [UNIVERSAL 4] (expected tag [UNIVERSAL 2]).\n"},
        {kDecoder, [&] { _kel_enc_error(w, 115, 0xC0058003); }, 0, "D0047E: Tag not recognized: [3] (expected tag [PRIVATE 5]).\n"},
        {kDecoder, [&] { _kel_enc_error(w, 115, 0x7FFF); }, 0, "D0047E: Tag not recognized: [APPLICATION 16383].\n"},
        {kEncoder, [&] { _kel_enc_error(w, 7, 0xFFFFFFFF); }, 0, "E0009S: Out-of-range CHOICE selector: -1.\n"},
        {kEncoder, [&] { _kel_enc_llerror(w, 7, 0x8000000000000000ull); }, 0,
         "E0009S: Out-of-range CHOICE selector: -9223372036854775808.\n"},
        {kEncoder, [&] { _kel_enc_error(w, 11, 0xFFFFFFFF); }, 0, "E0023E: Integer or enumerated value too long: 4294967295.\n"},
        {kEncoder, [&] { _kel_enc_llerror(w, 11, ~0ull); }, 0,
         "E0023E: Integer or enumerated value too long: 18446744073709551615.\n"},
        {kOtherPhase, [&] { _kel_varn_real_error(w, 17, 2.5); }, 0, " 0061S: Single value constraint violated, value = 2.5.\n"},
        {kEncoder, [&] { _kel_varn_error(w, 53, "PER"); }, 23, "E0103S: The requested encoding rules were not linked: 'PER'.\n"},
        {kDecoder, [&] { _kel_varn_error(w, 312, "'}'"); }, 0, "D0361S: Unknown token found, expecting '}'.\n"},
        {kEncoder, [&] { _kel_enc_error(w, 29, 'A'); }, 0, "E0064S: Permitted alphabet constraint violated, bad character: 'A'.\n"},
        {kEncoder, [&] { _kel_enc_error(w, 29, 0x1F600); }, 0,
         "E0064S: Permitted alphabet constraint violated, bad character: {0,1,246,0}.\n"},
        {kEncoder, [&] { _kel_enc_error(w, 320, 0); }, 18, "E0056S: This error cannot happen; inform KEL, code = 320.\n"},
        {kEncoder, [&] { _kel_unbnd_error(w, 19, abc, 3); }, 0, "E0061S: Single value constraint violated, value = 'abc'.\n"},
        {kEncoder, [&] { _kel_unbnd_error(w, 23, positive, 2); }, 0, "E0062S: Value range constraint violated, value = '0x08001'.\n"},
        {kEncoder, [&] { _kel_unbnd_error(w, 22, negative, 2); }, 0, "E0062S: Value range constraint violated, value = '0xFF7A'.\n"},
        {kEncoder, [&] { _kel_unbnd_error(w, 22, negative, 0); }, 0, "E0062S: Value range constraint violated, value = ''.\n"},
        {kDecoder, [&] { _kel_enc_error(w, 310, 7); }, 1024, "D0358S: Partial decoding stopped by user callback return code 7.\n"},
        {kDecoder, [&] { _kel_enc_error(w, 310, 2000); }, 2000, nullptr},
    };
    for (const Row &row : rows) {
        Outcome out = fail_in(w, row.phase, row.fail);
        if (row.code) {
            EXPECT_EQ(out.code, row.code) << out.text;
            EXPECT_EQ(w->errorCode, row.code);
        }
        if (row.text) {
            EXPECT_EQ(out.text, row.text);
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
    EXPECT_EQ(in_frame(w, kDecoder, [&] {
                  w->errMsgPtr = nullptr;
                  _kel_enc_error(w, 45, 0);
              }),
              4);
    EXPECT_EQ(w->errorCode, 4);
    EXPECT_STREQ(w->errMsg, "");

    // A pushed world (no recovery point, buffer or phase) reports in the top one.
    KelGlobal inner;
    std::memset(&inner, 0, sizeof inner);
    inner.parentWorld = w;
    w->errorCode = 0;
    Outcome out = fail_in(w, kDecoder, [&] { _kel_enc_error(&inner, 45, 0); });
    EXPECT_EQ(out.code, 4);
    EXPECT_EQ(w->errorCode, 4);
    EXPECT_EQ(out.text, "D0081S: End of input reached before message was fully decoded.\n");
    EXPECT_STREQ(inner.errMsg, "");
}

int g_hookMessage;
int record_hook(KelGlobal *, int message, void *, void *) {
    g_hookMessage = message;
    return 0;
}
int other_hook(KelGlobal *, int, void *, void *) {
    g_hookMessage = -1;
    return 0;
}

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

TEST(MessagesFormat, TrailAndPduLine) {
    BriefWorld world;
    KelGlobal *w = world.get();
    const KelTrailInfo field{"number", "INTEGER", 2};
    const KelTrailInfo element{"", "Item", 10};
    const KelTrailInfo inner{"Inner", "InnerType", 3};
    KelTrailNode n3{nullptr, &inner, 0};
    KelTrailNode n2{&n3, &element, 3};
    KelTrailNode n1{&n2, &field, 0};
    KelTrailHead head{&n1};
    const KelPduNames names{"Outer", "OuterType"};
    w->trail = &head;
    w->pduNumber = 2;
    w->pduEntry = &names;
    EXPECT_EQ(fail_in(w, kDecoder, [&] { _kel_enc_error(w, 95, 0); }).text,
              "D0022E: Integer or enumerated value needlessly long; check field 'number' (type: "
              "INTEGER) of element #3 (type: Item) of PDU 'Inner' (type: InnerType) of PDU #2 "
              "'Outer'.\n");
    // a generated reference name gives way to the type name
    const KelPduNames generated{"Mod1#Outer", "OuterType"};
    w->pduEntry = &generated;
    w->trail = nullptr;
    EXPECT_EQ(fail_in(w, kDecoder, [&] { _kel_enc_error(w, 95, 0); }).text,
              "D0022E: Integer or enumerated value needlessly long; check PDU #2 'OuterType'.\n");
    w->pduEntry = nullptr;
    EXPECT_EQ(fail_in(w, kDecoder, [&] { _kel_enc_error(w, 95, 0); }).text,
              "D0022E: Integer or enumerated value needlessly long; check PDU #2.\n");
    // rows with 0x40 have no trail
    EXPECT_EQ(fail_in(w, kDecoder, [&] { _kel_enc_error(w, 3, 9); }).text,
              "D0003S: PDU number not in range: 9.\n");
}

TEST(MessagesFormat, PositionInTextInput) {
    BriefWorld world;
    KelGlobal *w = world.get();
    static const unsigned char xml[] = "<a>\n  <b>x";
    w->encRules = KEL_EXER;
    w->inPos = const_cast<unsigned char *>(xml);
    w->inRemaining = 9; // up to the 'x'
    EXPECT_EQ(fail_in(w, kDecoder, [&] { _kel_enc_error(w, 211, 0); }).text,
              "D0214S: XML tag expected; check PDU at line 2 position 6.\n");
    w->pduNumber = 1;
    w->inRemaining = 2;
    EXPECT_EQ(fail_in(w, kDecoder, [&] { _kel_enc_error(w, 211, 0); }).text,
              "D0214S: XML tag expected; check PDU #1 at line 1 position 2.\n");
    // encoders and binary rules print no position
    EXPECT_EQ(fail_in(w, kEncoder, [&] { _kel_enc_error(w, 211, 0); }).text,
              "E0214S: XML tag expected; check PDU #1.\n");
    w->encRules = KEL_BER;
    EXPECT_EQ(fail_in(w, kDecoder, [&] { _kel_enc_error(w, 211, 0); }).text,
              "D0214S: XML tag expected; check PDU #1.\n");
}

// A world whose every allocation is counted, closed with kelterm.
struct CountedWorld {
    KelGlobal world;
    KelControlTable table{};
    long baseline;
    CountedWorld() {
        CountingAllocator::reset();
        baseline = CountingAllocator::live;
        KelRawMalloc savedMalloc = mallocp;
        KelRawFree savedFree = freep;
        mallocp = CountingAllocator::raw_malloc;
        freep = CountingAllocator::raw_free;
        std::memset(&world, 0, sizeof world);
        kelbriefinit(&world);
        mallocp = savedMalloc;
        freep = savedFree;
        world.ctlTbl = &table; // so that kelterm closes it like an opened world
    }
    long extra() const { return CountingAllocator::live - baseline; }
};

// A trail of 40 fields with long names: far more than 512 characters.
struct LongTrail {
    KelTrailInfo info{"a_rather_long_field_name_for_the_trail", "SomeLongTypeName", 1};
    KelTrailNode nodes[40];
    KelTrailHead head{nodes};
    LongTrail() {
        for (int i = 0; i < 40; ++i)
            nodes[i] = {i + 1 < 40 ? &nodes[i + 1] : nullptr, &info, 0};
    }
};

TEST(MessagesOverflow, LongTextKeptWholeAndReleased) {
    CountedWorld counted;
    KelGlobal *w = &counted.world;
    LongTrail trail;
    KelPduNames names{"Top", "TopType"};
    w->trail = &trail.head;
    w->pduNumber = 1;
    w->pduEntry = &names;
    Outcome out = fail_in(w, kDecoder, [&] { _kel_enc_error(w, 45, 0); });
    EXPECT_EQ(out.code, 4);
    ASSERT_EQ(out.text.size(), 511u);
    EXPECT_EQ(out.text.substr(508), "...");
    const char *whole = kelGetErrMsg(w);
    ASSERT_NE(whole, w->errMsg);
    std::string full = whole;
    EXPECT_GT(full.size(), 1500u);
    EXPECT_EQ(full.compare(0, 508, out.text, 0, 508), 0);
    EXPECT_EQ(full.substr(full.size() - 17), "of PDU #1 'Top'.\n");
    EXPECT_EQ(counted.extra(), 2); // the extension and the long text

    // the next failure releases it
    w->trail = nullptr;
    out = fail_in(w, kDecoder, [&] { _kel_enc_error(w, 45, 0); });
    EXPECT_EQ(kelGetErrMsg(w), w->errMsg);
    EXPECT_EQ(counted.extra(), 1);

    // A failed allocation keeps the cut text.
    w->trail = &trail.head;
    CountingAllocator::reset(1);
    out = fail_in(w, kDecoder, [&] { _kel_enc_error(w, 45, 0); });
    CountingAllocator::reset();
    EXPECT_EQ(out.text.size(), 511u);
    EXPECT_EQ(kelGetErrMsg(w), w->errMsg);

    // kelterm releases a long text too.
    fail_in(w, kDecoder, [&] { _kel_enc_error(w, 45, 0); });
    EXPECT_EQ(counted.extra(), 2);
    kelterm(w);
    EXPECT_EQ(counted.extra(), 0);
}

std::string g_printed;
int capture_vprint(FILE *, const char *format, va_list args) {
    char line[2048];
    int n = std::vsnprintf(line, sizeof line, format, args);
    g_printed += line;
    return n;
}
int capture_print(FILE *, const char *format, ...) {
    va_list args;
    va_start(args, format);
    int n = capture_vprint(nullptr, format, args);
    va_end(args);
    return n;
}

TEST(MessagesApiError, FormatsAndEchoes) {
    BriefWorld world;
    KelGlobal *w = world.get();
    long size = 5;
    EXPECT_EQ(kel_apiError(w, w->errMsg, 1, 'D', &size), 1u);
    EXPECT_STREQ(w->errMsg, "D0001S: Output buffer too small; total buffer size: 5.\n");
    EXPECT_EQ(kel_apiError(w, w->errMsg, 53, 'E', const_cast<char *>("PER")), 23u);
    EXPECT_STREQ(w->errMsg, "E0103S: The requested encoding rules were not linked: 'PER'.\n");

    // echoed through kelPrint when the rule's debug bit is on
    w->ext->userVprint = capture_vprint;
    g_printed.clear();
    kel_apiError(w, w->errMsg, 4, 'D', nullptr);
    EXPECT_EQ(g_printed, "");
    w->decodingFlags = DEBUGPDU;
    kel_apiError(w, w->errMsg, 4, 'D', nullptr);
    EXPECT_EQ(g_printed, "D0006S: Unexpected NULL pointer as argument to encoder/decoder.\n");
}

TEST(MessagesPrint, ChannelsOfKelPrint) {
    BriefWorld world;
    KelGlobal *w = world.get();
    // an application's print function gets the whole text, however long
    w->asn1prnt = capture_print;
    g_printed.clear();
    std::string longLine(1500, 'x');
    EXPECT_EQ(kelPrint(w, "%s|%d", longLine.c_str(), 42), 1503);
    EXPECT_EQ(g_printed, longLine + "|42");
    // a user vprint function takes precedence
    w->ext->userVprint = capture_vprint;
    w->asn1prnt = nullptr;
    g_printed.clear();
    kelPrint(w, "%s=%u", "n", 7u);
    EXPECT_EQ(g_printed, "n=7");
}

} // namespace
