// Tests of the XER encode driver and the layout: the personnel record of
// the benchmark files in XER and CXER, the document head, line ends,
// caller's buffers, count mode, allocation failures, writes across chunk
// ends, and folding at the margin.
#include <fstream>
#include <sstream>

#include "counting_alloc.h"
#include "fail_each.h"
#include "test_xer_world.h"

namespace {

using namespace xer_test;
using kel_test::CountingAllocator;

// An element as a generated encoder writes it: a leaf's value between its
// tags, or the children each on a line of its own, two columns in.
struct Element {
    const char *name;
    Body value;
    std::vector<Element> children;
};

void put_element(KelGlobal *w, const Element &e) {
    _kel_tex_open_tag(w, e.name);
    if (e.children.empty()) {
        e.value(w);
    } else {
        int32_t delta = 2;
        for (const Element &child : e.children) {
            _kel_tex_indent_dlt(w, delta);
            delta = 0;
            put_element(w, child);
        }
        _kel_tex_indent_dlt(w, -2);
    }
    _kel_tex_close_tag(w, e.name);
}

Body chars(const char *text) {
    return [text](KelGlobal *w) { _kel_tex_format_char(w, bytes(text), 0); };
}

Element name_of(const char *given, const char *initial, const char *family) {
    return {"name", nullptr, {{"givenName", chars(given), {}}, {"initial", chars(initial), {}}, {"familyName", chars(family), {}}}};
}

Element child(const char *given, const char *initial, const char *family, const char *born) {
    Element name = name_of(given, initial, family);
    return {"ChildInformation", nullptr, {name, {"dateOfBirth", chars(born), {}}}};
}

const Element &personnel() {
    static const Element record{
        "PersonnelRecord",
        nullptr,
        {name_of("John", "P", "Smith"),
         {"number", [](KelGlobal *w) { _kel_tex_lint(w, 51); }, {}},
         {"title", chars("Director"), {}},
         {"dateOfHire", chars("19710917"), {}},
         {"nameOfSpouse", nullptr, name_of("Mary", "T", "Smith").children},
         {"children", nullptr, {child("Ralph", "T", "Smith", "19571111"), child("Susan", "B", "Jones", "19590717")}}}};
    return record;
}

const Body kPersonnel = [](KelGlobal *w) {
    _kel_tex_prolog(w);
    put_element(w, personnel());
};

std::string bench_file(const char *name) {
    std::ifstream in(std::string(KEL_BENCH_DIR) + "/" + name, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// The file's layout at two columns a level instead of four.
std::string halve_indentation(const std::string &text) {
    std::string out;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const size_t blanks = line.find_first_not_of(' ');
        out += line.substr(blanks / 2) + "\n";
    }
    return out;
}

TEST_F(XerWorld, PersonnelRecordAsTheBenchmarkFilesHaveIt) {
    layout(kCanonical);
    EXPECT_EQ(text(kPersonnel), bench_file("PersonnelRecordA1.cxer.xml"));
    layout(kCompact);
    EXPECT_EQ(text(kPersonnel), bench_file("PersonnelRecordA1.cxer.xml"));
    // A pretty document ends at its last '>' unless internal flag 0x200
    // asks for a line end.
    layout(kPretty);
    const std::string pretty = halve_indentation(bench_file("PersonnelRecordA1.xer.xml"));
    EXPECT_EQ(text(kPersonnel), pretty.substr(0, pretty.size() - 1));
    world.internalFlags = 0x200;
    EXPECT_EQ(text(kPersonnel), pretty);
    layout(kCanonical);
    EXPECT_EQ(text(kPersonnel), bench_file("PersonnelRecordA1.cxer.xml"));
}

TEST_F(XerWorld, DocumentHead) {
    const Body root = [](KelGlobal *w) {
        _kel_tex_prolog(w);
        _kel_tex_empty_or_id_tag(w, "R");
    };
    const char *kDecl = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
    EXPECT_EQ(kelSetXmlDTD(nullptr, "R", "r.dtd", 1), 6);
    EXPECT_EQ(kelSetXmlDTD(&world, nullptr, "r.dtd", 0x10002), 6);
    EXPECT_EQ(kelSetXmlDTD(&world, "R", nullptr, 2), 6);
    EXPECT_EQ(kelSetXmlStylesheet(nullptr, "s.xsl"), 6);
    const struct {
        const char *root, *identifier;
        int kind;
        const char *stylesheet;
        Mode mode;
        std::string expected;
    } rows[] = {
        {nullptr, nullptr, 0, nullptr, kPretty, std::string(kDecl) + "\n<R/>"},
        {nullptr, nullptr, 0, nullptr, kCanonical, std::string(kDecl) + "<R/>"},
        {"R", "r.dtd", 1, nullptr, kPretty, std::string(kDecl) + "\n<!DOCTYPE R SYSTEM \"r.dtd\">\n<R/>"},
        {"R", "-//K//R", 7, "s.xsl", kCompact,
         std::string(kDecl) + "<!DOCTYPE R PUBLIC \"-//K//R\"><?xml-stylesheet type=\"text/xsl\" href=\"s.xsl\"?><R/>"},
        // A kind of 0x10000 is no declaration: only its low 16 bits count.
        {nullptr, nullptr, 0x10000, "a&b", kPretty,
         std::string(kDecl) + "\n<?xml-stylesheet type=\"text/xsl\" href=\"a&b\"?>\n<R/>"},
    };
    for (const auto &row : rows) {
        ASSERT_EQ(kelSetXmlDTD(&world, row.root, row.identifier, row.kind), 0);
        ASSERT_EQ(kelSetXmlStylesheet(&world, row.stylesheet), 0);
        layout(row.mode, 0);
        EXPECT_EQ(text(root), row.expected) << row.kind;
    }
}

TEST_F(XerWorld, CallersBufferIsBlankBehindTheText) {
    for (const Mode mode : {kPretty, kCanonical}) {
        layout(mode);
        char area[40];
        std::memset(area, 'z', sizeof area);
        KelBuf out{sizeof area, reinterpret_cast<unsigned char *>(area)};
        // Through kelXerEncode directly: only kelEncode blanks for CXER.
        const Body root = [](KelGlobal *w) { _kel_tex_format_tag(w, "R"); };
        g_body = &root;
        ASSERT_EQ(kelXerEncode(&world, 1, &world, &out, world.encodingFlags), 0) << world.errMsg;
        EXPECT_EQ(out.length, 4u);
        EXPECT_EQ(std::string(area, 4), "<R/>");
        EXPECT_EQ(std::string(area + 4, sizeof area - 4), std::string(sizeof area - 4, mode == kPretty ? ' ' : 'z'));
    }
}

TEST_F(XerWorld, TooSmallBufferAndAllocationFailuresLeaveNothing) {
    CountingAllocator::install(&world);
    const long before = CountingAllocator::live;
    // Over three chunks of pretty output: deep lines and long strings.
    const std::string long_text(700, 'x');
    const Body big = [&long_text](KelGlobal *w) {
        for (int i = 0; i < 40; ++i) {
            _kel_tex_indent_dlt(w, 2);
            _kel_tex_open_tag(w, "element");
            _kel_tex_format_char(w, bytes(long_text.c_str()), 60);
        }
        for (int i = 0; i < 40; ++i) {
            _kel_tex_close_tag(w, "element");
            _kel_tex_indent_dlt(w, -2);
        }
    };
    for (const Mode mode : {kPretty, kCanonical}) {
        layout(mode);
        const std::string full = text(big);
        EXPECT_GT(full.size(), 3u * 1024);
        std::vector<unsigned char> area(full.size() - 1);
        KelBuf out{static_cast<uint32_t>(area.size()), area.data()};
        EXPECT_EQ(encode(big, &out), 1);
        EXPECT_NE(std::strstr(world.errMsg, "0001S"), nullptr) << world.errMsg;
        EXPECT_EQ(CountingAllocator::live, before);
        kel_test::fail_each_allocation(&world, [&] {
            KelBuf fresh{0, nullptr};
            const int code = encode(big, &fresh);
            if (code == 0) {
                EXPECT_EQ(std::string(reinterpret_cast<char *>(fresh.value), fresh.length), full);
                kelFreeBuf(&world, fresh.value);
            }
            return code;
        });
    }
}

TEST_F(XerWorld, DriverRefusesCodeFilesItCannotServe) {
    const Body root = [](KelGlobal *w) { _kel_tex_format_tag(w, "R"); };
    KelBuf out{0, nullptr};
    g_api.compilerVersion = 7;
    EXPECT_EQ(encode(root, &out), 25);
    EXPECT_STREQ(world.errMsg, "");
    g_api.compilerVersion = 8;
    g_api.xerEncode = nullptr;
    EXPECT_EQ(encode(root, &out), 25);
    EXPECT_NE(std::strstr(world.errMsg, "0074S"), nullptr) << world.errMsg;
    // Nor the decoder a code file without an XER decoder.
    int pdu = 1;
    void *value = nullptr;
    KelBuf in{4, out.value ? out.value : reinterpret_cast<unsigned char *>(world.errMsg)};
    EXPECT_EQ(kelDecode(&world, &pdu, &in, &value), 25);
    EXPECT_NE(std::strstr(world.errMsg, "0074S"), nullptr) << world.errMsg;
}

TEST_F(XerWorld, IndentationAcrossChunkEnds) {
    // Lines whose indent runs over a chunk end, in library memory and in a
    // caller's buffer, agree with the line width the indent asks for.
    const Body deep = [](KelGlobal *w) {
        for (int i = 0; i < 50; ++i) {
            _kel_tex_indent_dlt(w, 2 * i);
            _kel_tex_empty_or_id_tag(w, "e");
        }
    };
    const std::string out = text(deep);
    std::string expected;
    for (int i = 0, indent = 0; i < 50; ++i) {
        indent += 2 * i;
        expected += "\n" + std::string(static_cast<size_t>(indent), ' ') + "<e/>";
    }
    EXPECT_EQ(out, expected);
}

TEST_F(XerWorld, FoldingAtTheMargin) {
    // Column 63 after the tag: an integer of 8 digits still fits in 80
    // columns with its close tag, one of 9 goes onto a line of its own.
    const std::string pad(55, 'p');
    auto value_after_pad = [&pad](Body value) {
        return [&pad, value](KelGlobal *w) {
            _kel_tex_format_char(w, bytes(pad.c_str()), 0);
            _kel_tex_open_tag(w, "abcdef");
            value(w);
            _kel_tex_close_tag(w, "abcdef");
        };
    };
    const std::string head = pad + "<abcdef>";
    EXPECT_EQ(text(value_after_pad([](KelGlobal *w) { _kel_tex_ulint(w, 12345678); })),
              head + "12345678</abcdef>");
    EXPECT_EQ(text(value_after_pad([](KelGlobal *w) { _kel_tex_ulint(w, 123456789); })),
              head + "\n  123456789\n</abcdef>");
    // The world's line width widens the margin.
    world.dupWords[0] = 120;
    EXPECT_EQ(text(value_after_pad([](KelGlobal *w) { _kel_tex_ulint(w, 123456789); })),
              head + "123456789</abcdef>");
    world.dupWords[0] = 0;
    // An enumerator on its own line, or in line without indent; a format tag
    // that would cross the margin starts a new line.
    EXPECT_EQ(text(value_after_pad([](KelGlobal *w) { _kel_tex_format_enum(w, "abcdefghi", 0); })),
              head + "\n  <abcdefghi/>\n</abcdef>");
    EXPECT_EQ(text(value_after_pad([](KelGlobal *w) { _kel_tex_format_enum(w, "abcdefghi", 1); })),
              head + "<abcdefghi/></abcdef>");
    EXPECT_EQ(text(value_after_pad([](KelGlobal *w) { _kel_tex_format_enum(w, "abcdefghijklmnop", 1); })),
              head + "\n<abcdefghijklmnop/></abcdef>");
    EXPECT_EQ(text(value_after_pad([](KelGlobal *w) { _kel_tex_format_tag(w, "abcdefghijklmnop"); })),
              head + "\n<abcdefghijklmnop/></abcdef>");
    // Flat output never folds.
    layout(kCompact);
    EXPECT_EQ(text(value_after_pad([](KelGlobal *w) { _kel_tex_ulint(w, 123456789); })),
              head + "123456789</abcdef>");
}

TEST_F(XerWorld, PositionsMeasureWhatWasWritten) {
    for (const uint32_t counting : {0u, DETERMINE_ENC_LENGTH}) {
        layout(kPretty, _XML_DECLARATION | counting);
        uint32_t measured = 0;
        const Body body = [&measured](KelGlobal *w) {
            _kel_tex_append(w, "x", 1);
            const uint32_t start = _kel_tex_curr_enclen(w);
            for (int i = 0; i < 300; ++i)
                _kel_tex_open_tag(w, "abc");
            measured = _kel_tex_curr_enclen(w) - start;
        };
        KelBuf out{0, nullptr};
        ASSERT_EQ(encode(body, &out), 0);
        EXPECT_EQ(measured, 1500u);
        if (!counting)
            kelFreeBuf(&world, out.value);
    }
}

} // namespace
