// test_print_values.cpp - the texts of the _kel_prt_* primitives and of the
// _kel_getdisp_* strings: chop limits, the CHARACTER STRING list form,
// multi-octet characters, REAL in base 2 and in NR3, enumerators, times,
// open types and the layout of _kel_indent.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <string>

#include "harness.h"
#include "internal.h"
#include "kelvarn_services.h"
#include "print_capture.h"
#include "print_probe.h"

namespace {

using kel_test::capture_print;
std::string &g_printed = kel_test::printed;

struct PrintValues : ::testing::Test {
    KelGlobal world{};
    void SetUp() override {
        ASSERT_EQ(kelinit(&world, &kel_print_probe_table), 0);
        kelSetUserVprint(&world, nullptr, capture_print);
        g_printed.clear();
    }
    void TearDown() override { kelterm(&world); }
    // What `print` sends with the chop limit `chop`.
    template <class Print> std::string printed(int32_t chop, Print print) {
        world.asn1chop = chop;
        g_printed.clear();
        print();
        return g_printed;
    }
};

const unsigned char kOctets[] = {0x5C, 0xA0, 0x0A, 0xFF, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06,
                                 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F, 0x10};

TEST_F(PrintValues, BitsAndOctetsAreChoppedByTheirOwnUnits) {
    const uint16_t padded16 = 0xA000;
    const uint8_t padded8 = 0x80;
    const uint32_t padded32 = 0xF0000001;
    struct Row {
        int32_t chop;
        std::string (*print)(PrintValues &, int32_t);
        const char *expected;
    } rows[] = {
        {0, [](PrintValues &t, int32_t c) { return t.printed(c, [&] { _kel_prt_bit(&t.world, kOctets, 8); }); },
         "'01011100'B"},
        {0, [](PrintValues &t, int32_t c) { return t.printed(c, [&] { _kel_prt_bit(&t.world, kOctets, 12); }); },
         "'01011100 1010'B"},
        {8, [](PrintValues &t, int32_t c) { return t.printed(c, [&] { _kel_prt_bit(&t.world, kOctets, 12); }); },
         "'01011100 ...'B"},
        {10, [](PrintValues &t, int32_t c) { return t.printed(c, [&] { _kel_prt_bit(&t.world, kOctets, 12); }); },
         "'01011100 10 ...'B"},
        {12, [](PrintValues &t, int32_t c) { return t.printed(c, [&] { _kel_prt_bit(&t.world, kOctets, 12); }); },
         "'01011100 1010'B"},
        {0, [](PrintValues &t, int32_t c) { return t.printed(c, [&] { _kel_prt_bit(&t.world, kOctets, 0); }); },
         "''B"},
        {0,
         [](PrintValues &t, int32_t c) {
             return t.printed(c, [&] { _kel_prt_bin(&t.world, nullptr, kOctets + 1, 3, nullptr); });
         },
         "101"},
        {0, [](PrintValues &t, int32_t c) { return t.printed(c, [&] { _kel_prt_oct(&t.world, kOctets + 2, 2); }); },
         "'0AFF'H"},
        {4, [](PrintValues &t, int32_t c) { return t.printed(c, [&] { _kel_prt_oct(&t.world, kOctets + 2, 2); }); },
         "'0AFF'H"},
        {10, [](PrintValues &t, int32_t c) { return t.printed(c, [&] { _kel_prt_oct(&t.world, kOctets, 20); }); },
         "'5CA00AFF01 ...'H"},
        {3, [](PrintValues &t, int32_t c) { return t.printed(c, [&] { _kel_prt_oct(&t.world, kOctets, 2); }); },
         "'5C ...'H"},
        {0,
         [](PrintValues &t, int32_t c) {
             return t.printed(c, [&] { _kel_prt_hex(&t.world, "0x", kOctets, 3, ""); });
         },
         "0x5CA00A"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(row.print(*this, row.chop), row.expected) << "chop " << row.chop;

    EXPECT_EQ(printed(0, [&] { _kel_prt_pbit(&world, &padded16, 2, 3); }), "'101'B");
    EXPECT_EQ(printed(0, [&] { _kel_prt_pbit(&world, &padded8, 1, 1); }), "'1'B");
    EXPECT_EQ(printed(0, [&] { _kel_prt_pbit(&world, &padded32, 4, 32); }),
              "'11110000 00000000 00000000 00000001'B");
    EXPECT_EQ(printed(0, [&] { _kel_prt_pbit(&world, &padded8, 1, 20); }), "'10000000'B")
        << "no more bits than the field holds";
}

TEST_F(PrintValues, CharacterStringsQuoteRunsAndListTheRest) {
    struct Row {
        int32_t chop;
        std::string text;
        const char *expected;
    } rows[] = {
        {0, "", "\"\""},
        {0, "abc", "\"abc\""},
        {0, "\a", "{0, 7}"},
        {0, "ab\acd", "{\"ab\", {0, 7}, \"cd\"}"},
        {0, "\x01\x1F", "{{0, 1}, {1, 15}}"},
        {0, "\xFF" "a", "{{15, 15}, \"a\"}"},
        {0, "say \"hi\"", "\"say \"\"hi\"\"\""},
        {5, "abcdefgh", "\"abcde\"..."},
        {8, "abcdefgh", "\"abcdefgh\""},
        {8, "ab\axyz", "{\"ab\", {0, 7}..."},
        {3, "ab\a", "{\"ab\"..."},
        {6, "\a\a", "{{0, 7}..."},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(printed(row.chop, [&] { _kel_prt_char(&world, row.text.data(), static_cast<uint32_t>(row.text.size())); }),
                  row.expected)
            << "chop " << row.chop;
    }
    EXPECT_EQ(printed(0, [&] { _kel_prt_nchar(&world, "a\tb"); }), "{\"a\", {0, 9}, \"b\"}");
    EXPECT_EQ(printed(0, [&] { _kel_prt_nchar(&world, nullptr); }), "\"\"");
}

TEST_F(PrintValues, MultiOctetCharactersInEachWidth) {
    const unsigned char utf8[] = {'a', 0xC3, 0xA9, 0xE3, 0x80, 0x85, 0xF0, 0x9F, 0x98, 0x80, 0xC3};
    const uint16_t bmp[] = {'A', 0x3005, 'B'};
    const uint32_t universal[] = {0x1F600};
    const uint32_t latin[] = {'h', 'i'};
    EXPECT_EQ(printed(0, [&] { _kel_prt_mbchar(&world, utf8, sizeof utf8, 1); }),
              "{\"a\", {0, 0, 0, 233}, {0, 0, 48, 5}, {0, 1, 246, 0}, {0, 0, 0, 195}}")
        << "a cut-off sequence shows its octet";
    EXPECT_EQ(printed(0, [&] { _kel_prt_mbchar(&world, bmp, 3, 2); }), "{\"A\", {0, 0, 48, 5}, \"B\"}");
    EXPECT_EQ(printed(0, [&] { _kel_prt_mbchar(&world, universal, 1, 4); }), "{0, 1, 246, 0}");
    EXPECT_EQ(printed(0, [&] { _kel_prt_mbchar(&world, latin, 2, 4); }), "\"hi\"");
    EXPECT_EQ(printed(0, [&] { _kel_prt_mbchar(&world, bmp, 0, 2); }), "\"\"");
    EXPECT_EQ(printed(14, [&] { _kel_prt_mbchar(&world, bmp, 3, 2); }), "{\"A\", {0, 0, 48, 5}...");
}

TEST_F(PrintValues, RealsInBaseTwoAndTheirSpecialValues) {
    struct Row {
        void (*print)(KelGlobal *, double);
        double value;
        const char *expected;
    } rows[] = {
        {_kel_prt_real, NAN, "NOT-A-NUMBER"},
        {_kel_prt_real, -0.0, "-0"},
        {_kel_prt_real, 0.0, "0"},
        {_kel_prt_real, 3.4028234663852886e38, "PLUS-INFINITY"},
        {_kel_prt_real, -3.4028234663852886e38, "MINUS-INFINITY"},
        {_kel_prt_real, 1.0, "{ mantissa 1, base 2, exponent 0 }"},
        {_kel_prt_real, -0.75, "{ mantissa -3, base 2, exponent -2 }"},
        {_kel_prt_real, 6.0, "{ mantissa 3, base 2, exponent 1 }"},
        {_kel_prt_dreal, 3.4028234663852886e38, "{ mantissa 16777215, base 2, exponent 104 }"},
        {_kel_prt_dreal, DBL_MAX, "PLUS-INFINITY"},
        {_kel_prt_dreal, -DBL_MAX, "MINUS-INFINITY"},
        {_kel_prt_dreal, 4.9406564584124654e-324, "{ mantissa 1, base 2, exponent -1074 }"},
        {_kel_prt_dreal, 0.1, "{ mantissa 3602879701896397, base 2, exponent -55 }"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(printed(0, [&] { row.print(&world, row.value); }), row.expected) << row.value;
}

TEST_F(PrintValues, DecimalRealsInNr3) {
    struct Row {
        const char *text;
        const char *expected;
    } rows[] = {
        {nullptr, "NULL"},
        {"PLUS_INFINITY", "PLUS-INFINITY"},
        {"MINUS_INFINITY", "MINUS-INFINITY"},
        {"NOT_A_NUMBER", "NOT-A-NUMBER"},
        {"0", "0"},
        {"-0", "-0"},
        {"3.14", "314E-2"},
        {"-0012.500", "-125E-1"},
        {"0.001", "1E-3"},
        {"1200", "1200E0"},
        {"+1.5E10", "15E9"},
        {"2e-0003", "2E-3"},
        {"0.000", "0E0"},
        {"1.5E123456789", "15E1234..."},
        {"7E-0098765432", "7E-9876..."},
        {"12abc", "12abc"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(printed(0, [&] { _kel_prt_creal(&world, row.text); }), row.expected) << row.expected;

    const std::string hundred(100, '7');
    const std::string cut = printed(0, [&] { _kel_prt_creal(&world, hundred.c_str()); });
    EXPECT_EQ(cut, std::string(74, '7') + "...E0");
    EXPECT_EQ(cut.size(), 79u);
    const std::string negative = "-" + hundred + "E-1234567";
    EXPECT_EQ(printed(0, [&] { _kel_prt_creal(&world, negative.c_str()); }),
              "-" + std::string(66, '7') + "...E-1234567");
    EXPECT_EQ(printed(0, [&] { kel_print_NR3(&world, "3.14", 4, 1); }), "314*10^-2");
    EXPECT_EQ(printed(0, [&] { kel_print_NR3(&world, "3.14E2xyz", 6, 0); }), "314E0") << "only `length` is read";
}

TEST_F(PrintValues, EnumeratorsAndTimes) {
    const KelEnumName colours[] = {{0, "red"}, {5, "blue"}};
    EXPECT_EQ(printed(0, [&] { _kel_prt_enum(&world, 5, colours, 2); }), "blue");
    EXPECT_EQ(printed(0, [&] { _kel_prt_enum(&world, 7, colours, 2); }), "7 -- unknown enumerator --");
    EXPECT_EQ(printed(0, [&] { _kel_prt_enum(&world, UINT64_MAX, colours, 0); }),
              "18446744073709551615 -- unknown enumerator --");

    struct Row {
        KelTimeStruct time;
        const char *general;
        const char *utc;
    } rows[] = {
        {{2024, 3, 1, 12, 30, 45, 7, 0, 1}, "\"20240301123045.007Z\"", "\"20240301123045Z\""},
        {{24, 12, 31, 23, 59, 59, 0, -90, 0}, "\"00241231235959.000-0130\"", "\"241231235959-0130\""},
        {{1999, 1, 2, 3, 4, 5, 999, 330, 0}, "\"19990102030405.999+0530\"", "\"19990102030405+0530\""},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(printed(0, [&] { _kel_prt_gentime(&world, &row.time); }), row.general);
        EXPECT_EQ(printed(0, [&] { _kel_prt_utctime(&world, &row.time); }), row.utc);
    }
}

TEST_F(PrintValues, OpenTypesPrintDecodedEncodedOrUnknown) {
    int32_t number = 42;
    int32_t failing = 0;
    unsigned char encoded[] = {0x02, 0x01, 0x2A};
    const KelOpenType decodedType{KEL_PRINT_PROBE_NUMBER, 0, nullptr, &number, 0};
    const KelOpenType failingType{KEL_PRINT_PROBE_FAILING, 0, nullptr, &failing, 0};
    const KelOpenType encodedType{0, 3, encoded, nullptr, 0};
    const KelOpenType emptyType{0, 0, nullptr, nullptr, 0};
    world.printIndent = 3;
    EXPECT_EQ(printed(0, [&] { _kel_prt_opentype(&world, &decodedType); }), "42");
    EXPECT_EQ(printed(0, [&] { _kel_prt_opentype(&world, &failingType); }), "{ <error>");
    EXPECT_EQ(printed(0, [&] { _kel_prt_opentype(&world, &encodedType); }), "'02012A'H");
    EXPECT_EQ(printed(4, [&] { _kel_prt_opentype(&world, &encodedType); }), "'0201 ...'H");
    EXPECT_EQ(printed(0, [&] { _kel_prt_opentype(&world, &emptyType); }), "<unknown>");
    EXPECT_EQ(printed(0, [&] { _kel_prt_opentype(&world, nullptr); }), "<unknown>");
    const KelBuf buffer{3, encoded};
    EXPECT_EQ(printed(0, [&] { _kel_prt_new_opentype(&world, KEL_PRINT_PROBE_NUMBER, &number, &buffer); }), "42");
    EXPECT_EQ(printed(0, [&] { _kel_prt_new_opentype(&world, 0, nullptr, &buffer); }), "'02012A'H");
    EXPECT_EQ(printed(0, [&] { _kel_prt_new_opentype(&world, 0, nullptr, nullptr); }), "<unknown>");
    EXPECT_EQ(world.printIndent, 3) << "a nested print keeps the level";
    EXPECT_EQ(world.pushFlags, 0u) << "and clears its mark";
    EXPECT_EQ(kelPrintPDU(&world, -KEL_PRINT_PROBE_NUMBER, &number), 3) << "negative numbers only when nested";
}

TEST_F(PrintValues, IndentAddsNegativeDeltasFirstAndPositiveAfter) {
    world.printIndent = 0;
    EXPECT_EQ(printed(0, [&] {
                  _kel_indent(&world, 1);
                  _kel_indent(&world, 0);
                  _kel_indent(&world, 2);
                  _kel_indent(&world, -2);
                  _kel_indent(&world, -1);
              }),
              "\n\n  \n  \n  \n");
    EXPECT_EQ(world.printIndent, 0);
}

// The display strings come from temporary memory, never chopped.
struct DisplayTexts : PrintValues {
    std::string text;
    template <class Make> std::string shown(Make make) {
        text.clear();
        EXPECT_EQ(kel_test::in_frame(&world, 6, [&] {
                      char *p = make();
                      text = p;
                      _kel_free_disp(&world, p);
                  }),
                  0);
        EXPECT_EQ(world.tempList, nullptr) << "given back";
        return text;
    }
};

TEST_F(DisplayTexts, SameTextsAsThePrinterWithoutChopping) {
    world.asn1chop = 4;
    const KelTimeStruct time{2024, 3, 1, 12, 30, 45, 7, 0, 1};
    const std::string longText(3000, 'q');
    EXPECT_EQ(shown([&] { return _kel_getdisp_int(&world, INT64_MIN); }), "-9223372036854775808");
    EXPECT_EQ(shown([&] { return _kel_getdisp_uint(&world, UINT64_MAX); }), "18446744073709551615");
    EXPECT_EQ(shown([&] { return _kel_getdisp_real(&world, 3.4028234663852886e38); }), "PLUS-INFINITY");
    EXPECT_EQ(shown([&] { return _kel_getdisp_dreal(&world, 0.5); }), "{ mantissa 1, base 2, exponent -1 }");
    EXPECT_EQ(shown([&] { return _kel_getdisp_char(&world, "ab\acd", 5); }), "{\"ab\", {0, 7}, \"cd\"}");
    EXPECT_EQ(shown([&] { return _kel_getdisp_nchar(&world, longText.c_str()); }), "\"" + longText + "\"");
    EXPECT_EQ(shown([&] { return _kel_getdisp_mbchar(&world, u"A\u3005", 2, 2); }), "{\"A\", {0, 0, 48, 5}}");
    EXPECT_EQ(shown([&] { return _kel_getdisp_bit(&world, kOctets, 12); }), "'01011100 1010'B");
    EXPECT_EQ(shown([&] { return _kel_getdisp_oct(&world, kOctets, 20); }),
              "'5CA00AFF0102030405060708090A0B0C0D0E0F10'H");
    EXPECT_EQ(shown([&] { return _kel_getdisp_gentime(&world, &time); }), "\"20240301123045.007Z\"");
    EXPECT_EQ(shown([&] { return _kel_getdisp_utctime(&world, &time); }), "\"20240301123045Z\"");
}

TEST_F(DisplayTexts, DecimalRealsAsMantissaAndExponent) {
    const std::string eighty(80, '9');
    struct Row {
        uint32_t compat;
        const char *text;
        const char *expected;
    } rows[] = {
        {0, "3.14", "314E-2"},
        {0x100, "3.14", "{mantissa 314, base 10, exponent -2}"},
        {0, "-0.0500E3", "-5E1"},
        {0, "{ mantissa 5, -- five -- base 10, exponent -3 }", "5E-3"},
        {0, "{mantissa 25,base 10,exponent 2 -- to the end of the line\n}", "25E2"},
        {0, "{ mantissa 5, base 2, exponent 3 }", "{ mantissa 5, base 2, exponent 3 }"},
        {0, "PLUS_INFINITY", "PLUS-INFINITY"},
        {0, eighty.c_str(), "<IMPLEMENTATION LIMIT EXCEEDED>"},
    };
    for (const Row &row : rows) {
        kelSetCompatibilityFlags(&world, row.compat);
        EXPECT_EQ(shown([&] { return _kel_getdisp_creal(&world, row.text); }), row.expected) << row.text;
    }
}

TEST_F(DisplayTexts, DisposableMemoryComesFromTheTemporaryBufferWhenThereIsOne) {
    EXPECT_EQ(kel_test::in_frame(&world, 6, [&] {
                  void *p = _kel_getdispmem(&world, 100);
                  std::memset(p, 1, 100);
                  _kel_freedispmem(&world, p);
              }),
              0);
    alignas(16) static unsigned char area[4096];
    KelBuf buffer{sizeof area, area};
    ASSERT_EQ(kelSetTemporaryBuffer(&world, &buffer), 0);
    world.tempLow = world.ext->tempBufAddr;
    world.tempHigh = world.tempLow + world.ext->tempBufSize;
    unsigned char *const high = world.tempHigh;
    EXPECT_EQ(kel_test::in_frame(&world, 6, [&] {
                  auto *p = static_cast<unsigned char *>(_kel_getdispmem(&world, 100));
                  EXPECT_TRUE(p > area && p < area + sizeof area);
                  EXPECT_LT(world.tempHigh, high);
                  _kel_freedispmem(&world, p);
              }),
              0);
    EXPECT_EQ(world.tempHigh, high);
    kelSetTemporaryBuffer(&world, nullptr);
}

} // namespace
