// test_print_pdu.cpp - the frames around a code file's printer (kelPrintPDU's
// return codes and failures, kelPrintPDUToBuffer in its three modes, the
// debug hooks printing inside a running encoder), the dumps of encodings,
// JSON and XML re-indented, the octet-as-X prints and the trace file.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "internal.h"
#include "kelvarn_services.h"
#include "print_capture.h"
#include "print_probe.h"
#include "printing.h"

namespace {

using kel_test::capture_print;
std::string &g_printed = kel_test::printed;

struct PrintPdu : ::testing::Test {
    KelGlobal world{};
    int32_t number = 42;
    unsigned char name[3] = {'a', 'b', 'c'};
    unsigned char flags[1] = {0xA0};
    KelPrintProbeRecord record{5, {3, name}, {3, flags}, {KEL_PRINT_PROBE_NUMBER, 0, nullptr, &number, 0}};
    void SetUp() override {
        ASSERT_EQ(kelinit(&world, &kel_print_probe_table), 0);
        kelSetUserVprint(&world, nullptr, capture_print);
        g_printed.clear();
    }
    void TearDown() override { kelterm(&world); }
};

constexpr char kRecordText[] = "value Record ::= \n{\n  number 5,\n  name \"abc\",\n  flags '101'B,\n  inner 42\n}\n";

TEST_F(PrintPdu, ReturnCodesOfTheFrame) {
    EXPECT_EQ(kelPrintPDU(nullptr, 1, &number), 6);
    EXPECT_EQ(kelPrintPDU(&world, 1, nullptr), 6);
    EXPECT_EQ(kelPrintPDU(&world, 0, &number), 3);
    EXPECT_EQ(kelPrintPDU(&world, -1, &number), 3);
    EXPECT_EQ(g_printed, "");

    KelControlTable table = kel_print_probe_table;
    world.ctlTbl = &table;
    table.version = 16;
    EXPECT_EQ(kelPrintPDU(&world, 1, &number), 7);
    table.version = 17;
    table.printPdu = nullptr;
    EXPECT_EQ(kelPrintPDU(&world, 1, &number), 0);
    EXPECT_EQ(g_printed, "\n\n\nRemove -nodebug ASN.1 compiler option and/or\nspecify -DKELPRINT when compiling "
                         "the generated code file in order\nto have kelPrintPDU() produce output, and/or\nspecify "
                         "-DKELDEBUG=2 to have kelPrintPDU() return an error message.\n\n\n");
    g_printed.clear();
    world.dupWord = 1;
    EXPECT_EQ(printPDU(&world, 1, &number, nullptr), 0);
    EXPECT_NE(g_printed.find("to have ASN1Handle::print() produce"), std::string::npos);
    world.dupWord = 0;
    world.ctlTbl = nullptr;
    EXPECT_EQ(kelPrintPDU(&world, 1, &number), 20);
    EXPECT_EQ(world.errorCode, 20);
    world.ctlTbl = &kel_print_probe_table;

    g_printed.clear();
    EXPECT_EQ(kelPrintPDU(&world, KEL_PRINT_PROBE_RECORD, &record), 0);
    EXPECT_EQ(g_printed, kRecordText);
}

TEST_F(PrintPdu, FailureComesBackThroughTheFrameAndGivesTheWorldBack) {
    int32_t dummy = 0;
    void *const recovery = world.recoveryPoint;
    world.printIndent = 7;
    kelSetEncodingFlags(&world, KEL_TRAP_SIGNALS);
    struct sigaction before {};
    sigaction(SIGSEGV, nullptr, &before);
    EXPECT_EQ(kelPrintPDU(&world, KEL_PRINT_PROBE_FAILING, &dummy), kelErrMsgs[kel_print_probe_message].code);
    EXPECT_EQ(g_printed, "value Failing ::= { ");
    EXPECT_NE(std::string(kelGetErrMsg(&world)), "");
    EXPECT_EQ(world.recoveryPoint, recovery);
    EXPECT_EQ(world.printIndent, 7);
    struct sigaction after {};
    sigaction(SIGSEGV, nullptr, &after);
    EXPECT_EQ(after.sa_handler, before.sa_handler) << "the trap is removed";

    g_printed.clear();
    EXPECT_EQ(kelPrintPDU(&world, KEL_PRINT_PROBE_NUMBER, &number), 0);
    EXPECT_EQ(g_printed, "value Number ::= 42\n");
}

TEST_F(PrintPdu, ToBufferInItsThreeModes) {
    const KelUserVprint hook = world.ext->userVprint;
    FILE *const stream = world.asn1out;
    const uint32_t size = sizeof kRecordText; // the text and its NUL

    KelBuf ask{1, nullptr};
    EXPECT_EQ(kelPrintPDUToBuffer(&world, KEL_PRINT_PROBE_RECORD, &record, &ask), 0);
    EXPECT_EQ(ask.length, size);
    EXPECT_EQ(ask.value, nullptr);
    EXPECT_EQ(kelDeterminePDUBufferLength(&world, KEL_PRINT_PROBE_RECORD, &record), static_cast<long>(size));

    KelBuf library{0, nullptr};
    EXPECT_EQ(kelPrintPDUToBuffer(&world, KEL_PRINT_PROBE_RECORD, &record, &library), 0);
    ASSERT_NE(library.value, nullptr);
    EXPECT_EQ(library.length, size);
    EXPECT_STREQ(reinterpret_cast<char *>(library.value), kRecordText);
    kelFreeMemory(&world, library.value);

    std::vector<unsigned char> area(200, 0xEE);
    KelBuf caller{200, area.data()};
    EXPECT_EQ(kelPrintPDUToBuffer(&world, KEL_PRINT_PROBE_RECORD, &record, &caller), 0);
    EXPECT_STREQ(reinterpret_cast<char *>(area.data()), kRecordText);

    std::fill(area.begin(), area.end(), 0xEE);
    KelBuf small{10, area.data()};
    EXPECT_EQ(kelPrintPDUToBuffer(&world, KEL_PRINT_PROBE_RECORD, &record, &small), 1);
    EXPECT_EQ(world.errorCode, 1);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(area.data())), "value Rec");
    EXPECT_EQ(area[9], 0);
    EXPECT_EQ(area[10], 0xEE) << "nothing behind the buffer";

    int32_t dummy = 0;
    KelBuf failing{0, nullptr};
    EXPECT_EQ(kelPrintPDUToBuffer(&world, KEL_PRINT_PROBE_FAILING, &dummy, &failing),
              kelErrMsgs[kel_print_probe_message].code);
    EXPECT_EQ(failing.value, nullptr);
    EXPECT_EQ(kelPrintPDUToBuffer(&world, 0, &record, &ask), 6);
    EXPECT_EQ(kelPrintPDUToBuffer(&world, 1, &record, nullptr), 6);
    EXPECT_EQ(kelDeterminePDUBufferLength(&world, KEL_PRINT_PROBE_FAILING, &dummy), 0);

    EXPECT_EQ(g_printed, "") << "nothing reached the channel";
    EXPECT_EQ(world.ext->userVprint, hook);
    EXPECT_EQ(world.asn1out, stream);
}

TEST_F(PrintPdu, LongListsPrintInOnePass) {
    std::vector<int32_t> values(100000);
    for (size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<int32_t>(i % 10);
    KelPrintProbeList list{static_cast<uint32_t>(values.size()), values.data()};
    const long size = kelDeterminePDUBufferLength(&world, KEL_PRINT_PROBE_LIST, &list);
    // "value List ::= \n{", then per element "\n  d" and a comma between, then "\n}\n"
    EXPECT_EQ(size, 17 + 100000 * 4 + 99999 + 3 + 1);
}

TEST_F(PrintPdu, DebugHooksPrintTheValueInsideARunningEncoder) {
    ASSERT_EQ(kelSetDebugFlags(&world, 0x20 | 0x10 | 0x40), 0);
    EXPECT_EQ(world.ext->debugPrinters[0], reinterpret_cast<void *>(kelPrintPDU));
    EXPECT_EQ(world.ext->debugPrinters[1], reinterpret_cast<void *>(kelPrintHex));
    EXPECT_EQ(world.ext->debugPrinters[2], reinterpret_cast<void *>(kelPrintXML));
    EXPECT_EQ(world.ext->debugPrinters[3], reinterpret_cast<void *>(kelPrintJSON));
    KelBuf out{0, nullptr};
    number = 5;
    ASSERT_EQ(kelEncode(&world, KEL_PRINT_PROBE_NUMBER, &number, &out), 0);
    EXPECT_EQ(g_printed, "The input to the encoder:\n\nvalue Number ::= 5\n\nThe encoder output:\n\n020105\n");
    kelFreeBuf(&world, out.value);

    // After the print the encoder's own recovery point is in force again.
    g_printed.clear();
    number = -1;
    EXPECT_EQ(kelEncode(&world, KEL_PRINT_PROBE_NUMBER, &number, &out), kelErrMsgs[kel_print_probe_message].code);
    EXPECT_EQ(g_printed.rfind("The input to the encoder:\n\nvalue Number ::= -1\n\nThe encoder error message:", 0),
              0u)
        << g_printed;
}

// ---------------------------------------------------------------------------
// Dumps of encodings
// ---------------------------------------------------------------------------

struct Dumps : PrintPdu {
    std::vector<unsigned char> octets;
};

TEST_F(Dumps, HexInPlainLinesAndAsAnOffsetDump) {
    for (int i = 0; i < 40; ++i)
        octets.push_back(static_cast<unsigned char>(i));
    kelPrintHex(&world, octets.data(), 40);
    EXPECT_EQ(g_printed, "00010203 04050607 08090A0B 0C0D0E0F 10111213 14151617 18191A1B 1C1D1E1F\n"
                         "20212223 24252627\n");
    g_printed.clear();
    kelPrintHex(&world, octets.data(), 0);
    EXPECT_EQ(g_printed, "");

    kelSetDebugFlags(&world, 0x80);
    const unsigned char text[] = {'A', 'B', 'C', 0, '0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'x', 'y', 0x7F};
    kelPrintHex(&world, text, sizeof text);
    EXPECT_EQ(g_printed, "#   000000:   4142 4300 3031 3233 3435 3637 3839 7879    ABC.0123456789xy\n"
                         "#   000010:   7F" + std::string(41, ' ') + ".\n");
}

TEST_F(Dumps, BitsThatNeedNotStartOrEndOnAnOctet) {
    const unsigned char bits[] = {0xAB, 0xCD, 0xEF};
    kelPrintBitsHex(&world, bits, 4, 16, "bits: ");
    EXPECT_EQ(g_printed, "bits: <xxxx1011> CD\n<1110xxxx>\n");
    g_printed.clear();
    kelPrintBitsHex(&world, bits, 9, 3, nullptr);
    EXPECT_EQ(g_printed, "<x100xxxx>\n");
    g_printed.clear();
    kelPrintBitsHex(&world, bits, 8, 16, "");
    EXPECT_EQ(g_printed, "CDEF\n");
    g_printed.clear();
    kelPrintBitsHex(&world, bits, 3, 0, "none: ");
    EXPECT_EQ(g_printed, "none: \n");
}

TEST_F(Dumps, LongHexShortensRunsAndKeepsTheGroupsAligned) {
    octets.assign(2000, 0);
    for (int i = 0; i < 5; ++i)
        octets[i] = static_cast<unsigned char>(i + 1);
    kel_print_long_hex(&world, octets.data(), 2000);
    EXPECT_EQ(g_printed, "01020304 05...(length=1995) " + std::string(8, ' ') + "\n");

    g_printed.clear();
    for (size_t i = 0; i < octets.size(); ++i)
        octets[i] = static_cast<unsigned char>(i * 7 + i / 5);
    kel_print_long_hex(&world, octets.data(), 1024);
    EXPECT_EQ(g_printed.size(), 32u * (8 * 9)) << "32 lines of eight groups";
    EXPECT_EQ(g_printed.substr(0, 17), "00070E15 1C242B32");

    g_printed.clear();
    kel_print_long_hex(&world, octets.data(), 3);
    EXPECT_EQ(g_printed, "00070E\n") << "short encodings go to kelPrintHex";
}

// ---------------------------------------------------------------------------
// JSON and XML
// ---------------------------------------------------------------------------

const unsigned char *text_of(const char *text) { return reinterpret_cast<const unsigned char *>(text); }

TEST_F(Dumps, JsonPlainAndReindented) {
    kelSetJsonIndentSize(&world, 2);
    const char *json = "{\"a\":1, \"b\" : [1,2],\"c\":{},\"d\":\"x,\\\"y\",\"e\":[]}";
    kelPrintJSON(&world, text_of(json), static_cast<uint32_t>(std::strlen(json)), 1);
    EXPECT_EQ(g_printed, "{\n  \"a\": 1,\n  \"b\": [\n    1,\n    2\n  ],\n  \"c\": {},\n  \"d\": \"x,\\\"y\",\n"
                         "  \"e\": []\n}\n");
    g_printed.clear();
    kelSetJsonIndentSize(&world, 0);
    kelPrintJSON(&world, text_of("[true,{\"k\":null}]"), 17, 1);
    EXPECT_EQ(g_printed, "[\ntrue,\n{\n\"k\": null\n}\n]\n");
    g_printed.clear();
    kelPrintJSON(&world, text_of("{\r\n\"a\":\r1}"), 10, 0);
    EXPECT_EQ(g_printed, "{\n\"a\":\r1}\n");
}

TEST_F(Dumps, XmlPlainAndReindented) {
    const char *xml = "  <?xml version=\"1.0\"?>\n<a>\n<b   x='1'\n  y=\"2\">text</b>\n<!-- note --><c/>\n</a>";
    kelPrintXML(&world, text_of(xml), static_cast<uint32_t>(std::strlen(xml)), 1);
    EXPECT_EQ(g_printed, "<?xml version=\"1.0\"?>\n<a>\n  <b x='1' y=\"2\">text</b>\n  <!-- note -->\n  <c/>\n</a>\n");
    g_printed.clear();
    kelPrintXML(&world, text_of("<a> <b/> </a>"), 13, 1);
    EXPECT_EQ(g_printed, "<a><b/></a>\n") << "white space without a line break goes";
    g_printed.clear();
    kelPrintXML(&world, text_of("<a>\r\n</a>\n"), 10, 0);
    EXPECT_EQ(g_printed, "<a>\n</a>\n");
}

TEST_F(Dumps, EncodedMessagesShowControlOctetsAndCutLongXmlText) {
    const std::string xml = "<a>" + std::string(1030, 'x') + "</a>\x01";
    kelPrintXmlEncodedMessage(&world, text_of(xml.c_str()), static_cast<uint32_t>(xml.size()));
    EXPECT_EQ(g_printed, "<a>" + std::string(1024, 'x') + "...</a>\\x01\n");
    g_printed.clear();
    const std::string json = "{\"t\":\"" + std::string(1030, 'x') + "\x1F\"}\n";
    kelPrintJsonEncodedMessage(&world, text_of(json.c_str()), static_cast<uint32_t>(json.size()));
    EXPECT_EQ(g_printed, "{\"t\":\"" + std::string(1030, 'x') + "\\x1F\"}\n");
}

// ---------------------------------------------------------------------------
// Octet strings shown as what they stand for
// ---------------------------------------------------------------------------

TEST_F(Dumps, OctetsAsAsciiAddressesDigitsAndTimeStamps) {
    struct Row {
        void (*print)(KelGlobal *, const char *);
        const char *hstring;
        const char *expected;
    } rows[] = {
        {kelPrintOctetAsASCII, "'41422200'H", "\"AB\"?\""},
        {kelPrintOctetAsASCII, "''H", "\"\""},
        {kelPrintOctetAsIPAddress, "'C0A80001'H", "192.168.0.1"},
        {kelPrintOctetAsIPAddress, "'20010DB8000000000000000000000001'H", "2001:db8::1"},
        {kelPrintOctetAsIPAddress, "'00000000000100000000000000000000'H", "0:0:1::"},
        {kelPrintOctetAsIPAddress, "'C0A8zz01'H", "'C0A8zz01'H"},
        {kelPrintOctetAsBCDString, "'12a4f5'H", "\"12?4\""},
        {kelPrintOctetAsTBCDString, "'21F3'H", "\"123\""},
        {kelPrintOctetAsTBCDString, "'A1B2C3DE'H", "\"1*2#3acb\""},
        {kelPrintOctetAsTimeStamp, "'2403011230452B0130'H", "\"20240301123045+0130\""},
        {kelPrintOctetAsTimeStamp, "'9912312359592D0000'H", "\"19991231235959-0000\""},
        {kelPrintOctetAsTimeStamp, "'24A30112304520013F'H", "\"2024?301123045?013?\""},
        {kelPrintOctetAsTimeStamp, "'2403'H", "'2403'H"},
    };
    for (const Row &row : rows) {
        g_printed.clear();
        row.print(&world, row.hstring);
        EXPECT_EQ(g_printed, row.expected) << row.hstring;
    }
}

// A print function of the world's own gets each text formatted, as "%s".
std::string g_through;
int print_function(FILE *, const char *format, ...) {
    va_list args;
    va_start(args, format);
    g_through += format;
    g_through += '|';
    g_through += va_arg(args, const char *);
    va_end(args);
    return 0;
}

TEST_F(PrintPdu, WorldPrintFunctionGetsTheFormattedText) {
    kelSetUserVprint(&world, nullptr, nullptr);
    world.asn1prnt = print_function;
    const std::string longName(3000, 'n');
    kelPrint(&world, "%d and %s", 7, "more");
    kelPrint(&world, "%s", longName.c_str());
    EXPECT_EQ(g_through, "%s|7 and more%s|" + longName);
    world.asn1prnt = std::fprintf;
}

TEST_F(PrintPdu, TraceFileTakesThePrintsUntilClosed) {
    kelSetUserVprint(&world, nullptr, nullptr);
    const std::string path = ::testing::TempDir() + "kelvarn_trace.txt";
    FILE *const stream = world.asn1out;
    EXPECT_EQ(kelCloseTraceFile(&world), 0) << "none open";
    ASSERT_EQ(kelOpenTraceFile(&world, path.c_str()), 0);
    EXPECT_EQ(kelOpenTraceFile(&world, path.c_str()), 28);
    EXPECT_EQ(kelPrintPDU(&world, KEL_PRINT_PROBE_NUMBER, &number), 0);
    EXPECT_EQ(kelCloseTraceFile(&world), 0);
    EXPECT_EQ(world.asn1out, stream);
    std::ifstream file(path);
    std::stringstream content;
    content << file.rdbuf();
    EXPECT_EQ(content.str(), "value Number ::= 42\n");
    std::remove(path.c_str());

    EXPECT_EQ(kelOpenTraceFile(&world, "/nonexistent-dir/trace.txt"), 27);
    EXPECT_EQ(kelOpenTraceFile(nullptr, path.c_str()), 6);
    EXPECT_EQ(kelCloseTraceFile(nullptr), 6);
}

} // namespace
