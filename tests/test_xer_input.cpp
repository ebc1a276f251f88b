// Tests of the XER scanner and tag demands: lexemes in XER and CXER, the
// tag syntax failures with the position they leave, a document cut at every
// octet, lookahead, component tags through a name table, the document head,
// and the decode driver's entry checks.
#include "test_xer_input.h"

namespace {

using xer_test::XerInput;
using XerScanner = XerInput;

constexpr bool kCxer = true;

TEST_F(XerScanner, Lexemes) {
    struct Row {
        const char *text;
        bool cxer;
        uint8_t kind;
        const char *nameOrChar;
        const char *rest;
    } rows[] = {
        {"<a>x", false, 1, "a", "x"},
        {" \t\r\n<a-1_b9/><", false, 2, "a-1_b9", "<"},
        {"</a >", false, 4, "a", ""},
        {"<a />", false, 2, "a", ""},
        {"</Zz>", kCxer, 4, "Zz", ""},
        {"  y<", false, 0, "y", "<"},
        {">", kCxer, 0, ">", ""},
    };
    for (const Row &r : rows) {
        ASSERT_EQ(run(r.text, _kel_get_lex, r.cxer), 0) << r.text << message();
        EXPECT_EQ(ctx.kind, r.kind) << r.text;
        EXPECT_EQ(ctx.kind ? name() : std::string(1, char(ctx.character)), r.nameOrChar) << r.text;
        EXPECT_EQ(rest(), r.rest) << r.text;
    }
}

TEST_F(XerScanner, TagFailuresStopAtTheOffendingOctet) {
    struct Row {
        const char *text;
        bool cxer;
        const char *message;
        size_t at;
    } rows[] = {
        {"<a b=\"1\">", false, "0167E", 3},
        {"<a:b>", false, "0167E", 2},
        {"</a/>", false, "0167E", 3},
        {"<1a>", false, "0166E", 1},
        {"<>", false, "0166E", 1},
        {"</ a>", false, "0166E", 2},
        {"<a ></a >", kCxer, "0174E: Canonical XER restrictions violated: 'whitespace not allowed'", 2},
        {" <a>", kCxer, "whitespace not allowed", 0},
        {"<a", false, "0081S", 2},
        {"", false, "0081S", 0},
        {"   ", false, "0081S", 3},
    };
    for (const Row &r : rows) {
        EXPECT_NE(run(r.text, _kel_get_lex, r.cxer), 0) << r.text;
        EXPECT_NE(message().find(r.message), std::string::npos) << r.text << ": " << message();
        EXPECT_EQ(consumed(), r.at) << r.text;
    }
}

// Every proper prefix of a document ends in message 45 with all of it read,
// and never a read past it (the sanitizer watches the exact-size input).
TEST_F(XerScanner, DocumentCutAtEveryOctet) {
    const std::string doc = "<r>\n <a>1 2</a><b/>\n</r >";
    auto to_end = [](XerInputState *c) {
        do
            _kel_get_lex(c);
        while (!(c->kind == 4 && c->text[0] == 'r'));
    };
    for (size_t cut = 0; cut < doc.size(); ++cut) {
        EXPECT_EQ(run(doc.substr(0, cut), to_end), 4) << cut;
        EXPECT_NE(message().find("0081S"), std::string::npos) << cut;
        EXPECT_EQ(consumed(), cut);
    }
    EXPECT_EQ(run(doc, to_end), 0);
    EXPECT_EQ(rest(), "");
}

TEST_F(XerScanner, PushedBackLexemeComesAgain) {
    ASSERT_EQ(run("<a>b", [](XerInputState *c) {
                  _kel_get_lex(c);
                  c->kind |= 0x80;
                  _kel_get_lex(c);
              }),
              0);
    EXPECT_EQ(ctx.kind, 1);
    EXPECT_EQ(rest(), "b");
}

TEST_F(XerScanner, Lookahead) {
    struct Row {
        const char *text;
        bool cxer;
        int answer;
        const char *rest;
    } rows[] = {
        {" \n<a>", false, 1, "<a>"}, {"</a>", false, 4, "</a>"}, {"<", false, 0, "<"},
        {"< a", false, 0, "< a"},    {"< a", kCxer, 1, "< a"},    {"7f", false, 16, "7f"},
        {"g", false, 0, "g"},        {"\x80", false, 0, "\x80"},  {"  ", false, 0, ""},
    };
    int answer = -1;
    for (const Row &r : rows) {
        ASSERT_EQ(run(r.text, [&](XerInputState *c) { answer = _kel_tdx_lexem_lookahead(c); }, r.cxer), 0);
        EXPECT_EQ(answer, r.answer) << r.text;
        EXPECT_EQ(rest(), r.rest) << r.text;
    }
    EXPECT_NE(run(" <a>", [&](XerInputState *c) { _kel_tdx_lexem_lookahead(c); }, kCxer), 0);
    EXPECT_NE(message().find("whitespace not allowed"), std::string::npos);
}

TEST_F(XerScanner, DemandedTags) {
    enum Which { kOpen, kEmpty, kClose, kOpenOrEmpty };
    struct Row {
        Which which;
        const char *text;
        int result;
        const char *message; // null: accepted
    } rows[] = {
        {kOpen, "<ab>", 0, nullptr},
        {kOpen, "<abc>", 0, "0168E: Invalid XML tag name 'abc'"},
        {kOpen, "<a>", 0, "0168E: Invalid XML tag name 'a'"},
        {kOpen, "<ab/>", 0, "0149E"},
        {kOpen, "x", 0, "0149E"},
        {kEmpty, "<ab/>", 0, nullptr},
        {kEmpty, "<ab>", 0, "0177E"},
        {kClose, "</ab>", 0, nullptr},
        {kClose, "<ab>", 0, "0154E"},
        {kOpenOrEmpty, "<ab>", 1, nullptr},
        {kOpenOrEmpty, "<ab/>", 0, nullptr},
        {kOpenOrEmpty, "</ab>", 0, "0150E"},
    };
    for (const Row &r : rows) {
        int result = -1;
        const int code = run(r.text, [&](XerInputState *c) {
            switch (r.which) {
            case kOpen: _kel_tdx_open_tag(c, "ab"); result = 0; break;
            case kEmpty: _kel_tdx_empty_tag(c, "ab"); result = 0; break;
            case kClose: _kel_tdx_close_tag(c, "ab"); result = 0; break;
            case kOpenOrEmpty: result = _kel_tdx_open_or_empty_tag(c, "ab"); break;
            }
        });
        if (!r.message) {
            EXPECT_EQ(code, 0) << r.text << message();
            EXPECT_EQ(result, r.result) << r.text;
        } else {
            EXPECT_NE(code, 0) << r.text;
            EXPECT_NE(message().find(r.message), std::string::npos) << r.text << ": " << message();
        }
    }
}

constexpr KelNameRow kFieldRows[] = {
    {"alpha", 5, 1, 0}, {"beta", 4, 2, 1}, {"gamma", 5, 3, 2}};
constexpr KelNameTable kFields = {3, 0, kFieldRows, nullptr};
constexpr KelNameTable kFieldsOpenEnded = {3, 0x10007, kFieldRows, nullptr};

TEST_F(XerScanner, OpenField) {
    struct Row {
        const KelNameTable *table;
        const char *text;
        int result;
        uint16_t index;
        const char *message;
    } rows[] = {
        {&kFields, "<alpha>", 1, 0, nullptr},
        {&kFields, "<beta/>", 0, 1, nullptr},
        {&kFields, "<gamma/>", 0, 2, nullptr},
        {&kFields, "<gamma>", 1, 2, nullptr},
        {&kFields, "</p>", 0, 0xFFFF, nullptr},
        {&kFieldsOpenEnded, "<zeta>", 1, 7, nullptr},
        {&kFields, "<alpha/>", 0, 0, "0149E"},
        {&kFields, "<beta>", 0, 0, "0177E"},
        {&kFields, "<zeta>", 0, 0, "does not match any component identifier: 'zeta'"},
        {&kFields, "x", 0, 0, "0150E"},
    };
    for (const Row &r : rows) {
        int result = -1;
        uint16_t index = 0;
        const int code = run(r.text, [&](XerInputState *c) { result = _kel_tdx_open_field(c, r.table, &index); });
        if (!r.message) {
            EXPECT_EQ(code, 0) << r.text << message();
            EXPECT_EQ(result, r.result) << r.text;
            EXPECT_EQ(index, r.index) << r.text;
        } else {
            EXPECT_NE(message().find(r.message), std::string::npos) << r.text << ": " << message();
        }
    }
    // The parent's close tag stays for the parent's own demand.
    EXPECT_EQ(run("</p>", [](XerInputState *c) {
                  uint16_t index;
                  _kel_tdx_open_field(c, &kFields, &index);
                  _kel_tdx_close_tag(c, "p");
              }),
              0);
}

TEST_F(XerScanner, SkipBlockAndDocumentHead) {
    ASSERT_EQ(run("<a><b>t &lt;</b><c/><a></a></a>rest", [](XerInputState *c) {
                  _kel_get_lex(c);
                  _kel_tdx_skip_block(c);
              }),
              0);
    EXPECT_EQ(rest(), "rest");

    struct Row {
        const char *text;
        const char *rest;
    } rows[] = {
        {"<?xml version=\"1.0\"?>\n<!DOCTYPE r [<!ELEMENT r ANY>]>\n<r/>", "\n<r/>"},
        {" <?xml?><?xml", "<?xml"},
        {"<r/>", "<r/>"},
        {"<!", "<!"},
        {"x<?a?>", "x<?a?>"},
    };
    for (const Row &r : rows) {
        ASSERT_EQ(run(r.text, _kel_tdx_prolog), 0);
        EXPECT_EQ(rest(), r.rest) << r.text;
    }
}

// The driver, entered through kelDecode, with a generated decoder that
// reads <n>number</n> from the record it finds on the world.
KelXApiTable g_api;

int read_number(KelGlobal *world, int *, void **value) {
    XerInputState *ctx;
    std::memcpy(&ctx, world->familyState, sizeof ctx);
    auto *out = static_cast<int32_t *>(_kel_dec_getmem(world, sizeof(int32_t)));
    _kel_tdx_open_tag(ctx, "n");
    *out = _kel_tdx_lint(ctx, -100, 100);
    _kel_tdx_close_tag(ctx, "n");
    *value = out;
    return 0;
}

void link_xer(KelGlobal *world) {
    kelLinkXer(world);
    kelInitXAPIentries(world, &g_api);
}

KelControlTable g_table = {link_xer, nullptr, nullptr, nullptr, 17, nullptr, nullptr, 0, 0, nullptr, nullptr};

TEST(XerDecodeDriver, DecodesAndReportsPositions) {
    g_api = KelXApiTable{};
    g_api.compilerVersion = 8;
    g_api.xerDecode = read_number;
    g_api.xerVersion = 2;
    KelGlobal world;
    ASSERT_EQ(kelinit(&world, &g_table), 0);
    kelSetEncodingRules(&world, KEL_XER);

    struct Row {
        const char *text;
        int code;
        int32_t value;
        long consumed;
    } rows[] = {
        {"<n> -42 </n>", 0, -42, 12},
        {"<n>101</n>", 10, 0, 6},
        {"<n>4x</n>", 5, 0, 4},
        {"<n>4</m>", 5, 0, 8},
    };
    for (const Row &r : rows) {
        std::vector<unsigned char> in(r.text, r.text + std::strlen(r.text));
        KelBuf buf{static_cast<uint32_t>(in.size()), in.data()};
        int pdu = 1;
        alignas(8) unsigned char area[64];
        void *value = area;
        kelSetDecodingLength(&world, sizeof area);
        EXPECT_EQ(kelDecode(&world, &pdu, &buf, &value), r.code) << r.text << world.errMsg;
        EXPECT_EQ(kelGetBytesReadByDecoder(&world), r.consumed) << r.text;
        if (r.code == 0) {
            ASSERT_EQ(value, area);
            EXPECT_EQ(*static_cast<int32_t *>(value), r.value);
        }
    }

    g_api.xerVersion = 0;
    KelBuf buf{4, reinterpret_cast<unsigned char *>(const_cast<char *>("<n/>"))};
    int pdu = 1;
    void *value = nullptr;
    EXPECT_EQ(kelDecode(&world, &pdu, &buf, &value), 7);
    g_api.xerVersion = 2;
    g_api.xerDecode = nullptr;
    EXPECT_EQ(kelDecode(&world, &pdu, &buf, &value), 25);
    kelterm(&world);
}

} // namespace
