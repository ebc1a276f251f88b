// test_check_primitives.cpp - the checks that generated constraint checkers
// call: ENUMERATED membership, permitted alphabets by table and by tree, the
// tree written out, UTF-8 well-formedness, and OID-IRI values with the text
// that their messages show.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "harness.h"
#include "internal.h"
#include "kelvarn_services.h"

namespace {

using kel_test::BriefWorld;
using kel_test::in_frame;

// The message a check raises inside the checker, which jumps with its
// number; 0 when the check passes.  The message's value text goes back as a
// driver gives it back.
template <class Body> int raised(KelGlobal *world, Body body) {
    const int message = in_frame(world, kel::kPhaseChecker, body);
    _kel_freetempMem(world);
    return message;
}

// The text a check leaves when a decoder calls it.
template <class Body> std::string decoder_message(KelGlobal *world, Body body) {
    in_frame(world, kel::kPhaseDecoder, body);
    _kel_freetempMem(world);
    return world->errMsg;
}

TEST(CheckEnums, MembersSignedAndUnsigned) {
    BriefWorld w;
    const int32_t values[] = {100, -1, 3};
    const KelEnumList members{3, values}, none{0, values};
    const struct {
        int64_t value;
        bool isUnsigned;
        int message;
    } rows[] = {
        {3, false, 0}, {-1, false, 0}, {100, false, 0}, {4, false, 36}, {-2, false, 36},
        {100, true, 0}, {0xFFFFFFFF, true, 36}, // the bits of -1 are no member as an unsigned value
        {0x80000003, true, 36},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.value);
        EXPECT_EQ(raised(w.get(), [&] {
                      if (r.isUnsigned)
                          _kel_chk_uenum(w.get(), static_cast<uint32_t>(r.value), &members);
                      else
                          _kel_chk_enum(w.get(), static_cast<int32_t>(r.value), &members);
                  }),
                  r.message);
    }
    EXPECT_EQ(raised(w.get(), [&] { _kel_chk_enum(w.get(), 0, &none); }), 36);
    EXPECT_NE(decoder_message(w.get(), [&] { _kel_chk_enum(w.get(), 7, &members); })
                  .find("D0071S: Value not among the ENUMERATED: 7"),
              std::string::npos);
}

// 'a'..'c' and '0'; the table covers 256 characters and permits 0xE9 as
// well, which no string of one octet a character may hold all the same.
struct ByteTable {
    unsigned char indexes[256];
    ByteTable() {
        std::fill(std::begin(indexes), std::end(indexes), 255);
        indexes['0'] = 0, indexes['a'] = 1, indexes['b'] = 2, indexes['c'] = 3, indexes[0xE9] = 4;
    }
};

TEST(CheckAlphabets, OneOctetCharacters) {
    BriefWorld w;
    const ByteTable table;
    const KelByteAlphabet alphabet{5, reinterpret_cast<const unsigned char *>("0abc\xE9"), table.indexes};
    const struct {
        const char *text;
        int message;
    } rows[] = {{"", 0}, {"cab0", 0}, {"abd", 29}, {"a b", 29}, {"\xE9", 29}, {"a\x80", 29}, {"\xFF", 29}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.text);
        const auto *chars = reinterpret_cast<const unsigned char *>(r.text);
        EXPECT_EQ(raised(w.get(), [&] { _kel_chk_pac(w.get(), chars, static_cast<uint32_t>(strlen(r.text)), &alphabet); }),
                  r.message);
    }
    EXPECT_NE(decoder_message(w.get(), [&] {
                  _kel_chk_pac(w.get(), reinterpret_cast<const unsigned char *>("abd"), 3, &alphabet);
              }).find("0064S: Permitted alphabet constraint violated, bad character: 'd'"),
              std::string::npos);
}

// A range-list tree of "0".."9" | "A" | "x" "y" "z" | U+1F600, sorted
// indexes 0 to 14: root "A", left the range, right the list and right of
// it U+1F600.  Words: index, control, codes; the control word holds the
// kind (bits 31-30), a list's size (28-26), the left flag (25) and the
// distance to the right entry's control word.
constexpr uint32_t kSingle = 0u << 30, kRange = 1u << 30, kList = 2u << 30, kLeft = 1u << 25;
constexpr uint32_t kListOf3 = kList | 4u << 26;
const uint32_t kTree[] = {10, kSingle | kLeft | 7, 'A',              //
                          0,  kRange, '0', '9',                      // left of the root
                          11, kListOf3 | 5, 'x', 'y', 'z',           // right of the root
                          14, kSingle, 0x1F600};                     // right of the list
// The same without index words.
const uint32_t kTreeNoIndex[] = {0xFFFFFFFF, kSingle | kLeft | 5, 'A', kRange, '0', '9',
                                 kListOf3 | 4, 'x', 'y', 'z', kSingle, 0x1F600};

TEST(CheckAlphabets, WideCharactersByTableAndTree) {
    BriefWorld w;
    // Cyrillic capitals U+0410..U+042F from base U+0400.
    unsigned char indexes[256];
    std::fill(std::begin(indexes), std::end(indexes), 255);
    for (int i = 0; i < 32; ++i)
        indexes[0x10 + i] = static_cast<unsigned char>(i);
    const KelWideAlphabet cyrillic{32, nullptr, indexes, 0x400};
    const KelWideAlphabet wholeSpan{256, nullptr, indexes, 0x400}; // 256 members: every entry is an index
    const KelWideAlphabet tree{KEL_ALPHABET_TREE, kTree, nullptr, 0};
    const KelWideAlphabet treeNoIndex{KEL_ALPHABET_TREE, kTreeNoIndex, nullptr, 0};
    const struct {
        const KelWideAlphabet *alphabet;
        uint32_t character;
        int message;
    } rows[] = {
        {&cyrillic, 0x410, 0}, {&cyrillic, 0x42F, 0}, {&cyrillic, 0x430, 29}, {&cyrillic, 0x3FF, 29},
        {&cyrillic, 0x500, 29}, {&wholeSpan, 0x430, 0}, {&wholeSpan, 0x4FF, 0}, {&wholeSpan, 0x500, 29},
        {&tree, '5', 0}, {&tree, 'y', 0}, {&tree, 0x1F600, 0}, {&tree, 'B', 29}, {&tree, 0x1F601, 29},
        {&treeNoIndex, 'z', 0}, {&treeNoIndex, 0x1F600, 0}, {&treeNoIndex, '/', 29},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.character);
        EXPECT_EQ(raised(w.get(), [&] { _kel_chk_pac4(w.get(), &r.character, 1, r.alphabet); }), r.message);
        if (r.character <= 0xFFFF) {
            const auto two = static_cast<uint16_t>(r.character);
            EXPECT_EQ(raised(w.get(), [&] { _kel_chk_pac2(w.get(), &two, 1, r.alphabet); }), r.message);
        }
    }
    const uint16_t secondBad[] = {0x410, 0x430};
    EXPECT_EQ(raised(w.get(), [&] { _kel_chk_pac2(w.get(), secondBad, 2, &cyrillic); }), 29);
}

TEST(CheckAlphabets, TreeWrittenOutInOrder) {
    const std::vector<uint32_t> whole = {'0', '.', '.', '9', 'A', 'x', 'z', 0x1F600};
    const struct {
        const uint32_t *tree;
        uint32_t start;
        std::vector<uint32_t> codes;
        uint32_t end;
    } rows[] = {
        {kTree, 0, whole, 15},
        {kTree, 7, {'x', 'z', 0x1F600}, 15}, // the subtree of the list
        {kTree, 3, {'0', '.', '.', '9'}, 7},
        {kTreeNoIndex, 0, whole, 12},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.start);
        uint32_t index = r.start, length = 1; // the length is added to
        kelMultiPlaneAlphabetLength(r.tree, &index, &length);
        EXPECT_EQ(length, r.codes.size() + 1);
        EXPECT_EQ(index, r.end);
        std::vector<uint32_t> out(r.codes.size() + 1, 0xEEEE);
        uint32_t *at = out.data();
        index = r.start;
        kelMultiPlaneAlphabet(r.tree, &index, &at);
        EXPECT_EQ(at, out.data() + r.codes.size());
        EXPECT_EQ(index, r.end);
        out.pop_back();
        EXPECT_EQ(out, r.codes);
    }
}

TEST(CheckTexts, Utf8Sequences) {
    BriefWorld w;
    const struct {
        std::string bytes;
        bool valid;
    } rows[] = {
        {"", true},
        {"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80", true},
        {std::string("a\0b", 3), true},
        {"\xF8\x88\x80\x80\x80", true},     // five octets
        {"\xFC\x84\x80\x80\x80\x80", true}, // six
        {"\xC0\x80 \xED\xA0\x80", true},    // overlong and surrogate forms pass
        {"\x80", false},                    // a continuation without lead
        {"\xC3\x28", false},
        {"\xE2\x82", false}, // cut short
        {"\xFE\x80\x80\x80\x80\x80\x80", false},
        {"\xFF", false},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(testing::PrintToString(r.bytes));
        const auto *p = reinterpret_cast<const unsigned char *>(r.bytes.data());
        EXPECT_EQ(raised(w.get(), [&] { _kel_checkUtf8String(w.get(), p, static_cast<uint32_t>(r.bytes.size())); }),
                  r.valid ? 0 : 135);
        if (r.bytes.find('\0') == std::string::npos) {
            EXPECT_EQ(raised(w.get(), [&] { _kel_checkUtf8String_nlltrm(w.get(), r.bytes.c_str()); }),
                      r.valid ? 0 : 135);
        }
    }
    // The counted form tests that a sequence fits the length it is given.
    EXPECT_EQ(raised(w.get(), [&] { _kel_checkUtf8String(w.get(), reinterpret_cast<const unsigned char *>("\xC3\xA9"), 1); }),
              135);
}

TEST(CheckTexts, OidIri) {
    BriefWorld w;
    constexpr int kAbsolute = KEL_OID_IRI_ABSOLUTE, kRelative = 2;
    const struct {
        const char *text;
        int flags;
        int message;
    } rows[] = {
        {"/ITU-T/Recommendation/A/1", kAbsolute, 0},
        {"/ITU-T/Recommendation/27", kAbsolute, 288},
        {"//x", kAbsolute, 287},
        {"/", kAbsolute, 287},
        {"x/y", kAbsolute, 287},
        {"/2/", kAbsolute, 287},
        {"/2//3", kAbsolute, 287},
        {"/ITU-T/", kAbsolute, 287},
        {"/0/0/26", kAbsolute, 0},
        {"/0/0/0", kAbsolute, 288},
        {"/0/0/07", kAbsolute, 288},
        {"/ITU-T/Administration/Z/0", kAbsolute, 0},
        {"/ITU-T/Administration/ZZ", kAbsolute, 288}, // the series rule reaches administrations too
        {"/ITU-T/Network-Operator/ZZ", kAbsolute, 0},
        {"/0/9/x", kAbsolute, 0},
        {"/ISO/Member-Body/840", kAbsolute, 0},
        {"/ISO/Recommendation", kAbsolute, 288}, // a name of ITU-T's row
        {"/1/39", kAbsolute, 0},
        {"/1/40", kAbsolute, 288},
        {"/1/05", kAbsolute, 288},
        {"/Joint-ISO-ITU-T/x~y_z.w-1/0", kAbsolute, 0},
        {"/2/007", kAbsolute, 288},
        {"/2/a b", kAbsolute, 288},
        {"/Example/Root", kAbsolute, 0}, // no well-known root: arcs only
        {"/2/caf\xC3\xA9", kAbsolute, 0},
        {"/2/\xC2\xA0\xED\x9F\xBF\xEF\xA4\x80\xEF\xBF\xAF", kAbsolute, 0}, // U+00A0 U+D7FF U+F900 U+FFEF
        {"/2/\xF0\x9F\x98\x80\xF3\xAF\xBF\xBD", kAbsolute, 0},             // U+1F600 U+EFFFD
        {"/2/\xC2\x9F", kAbsolute, 288},                                   // U+009F
        {"/2/\xEE\x80\x80", kAbsolute, 288},                               // U+E000
        {"/2/\xEF\xB7\x90", kAbsolute, 288},                               // U+FDD0
        {"/2/\xEF\xBF\xB0", kAbsolute, 288},                               // U+FFF0
        {"/2/\xF0\x9F\xBF\xBE", kAbsolute, 288},                           // U+1FFFE
        {"/2/\xF3\xB0\x80\x80", kAbsolute, 288},                           // U+F0000
        {"/2/\xC3", kAbsolute, 288},
        {"a/0/b", kRelative, 0},
        {"", kRelative, 287},
        {"/a", kRelative, 287},
        {"a/01", kRelative, 288},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.text);
        EXPECT_EQ(raised(w.get(), [&] {
                      EXPECT_EQ(_kel_check_oid_iri(w.get(), r.text, static_cast<uint32_t>(strlen(r.text)), r.flags), 0);
                  }),
                  r.message);
    }
}

TEST(CheckTexts, OidIriMessageShowsTheTextAroundTheFault) {
    BriefWorld w;
    const std::string as(200, 'a'), bs(100, 'b'), es = [] {
        std::string s;
        for (int i = 0; i < 100; ++i)
            s += "\xC3\xA9";
        return s;
    }();
    const std::string iri = "/ITU-T/Recommendation/27";
    const std::string tail = "/2/" + as + "/b!", head = "/2/0x!/" + as, middle = "/2/" + as.substr(0, 100) + "!" + bs;
    const std::string wide = "/2/" + es + "!", form = "//" + as;
    const struct {
        std::string text;
        std::string shown;
    } rows[] = {
        {iri, "0335E: Invalid arc in the OID internationalized resource identifier value: '" + iri + "'"},
        {tail, "'..." + tail.substr(tail.size() - 128) + "'"},
        {head, "'/2/0x!...'"}, // the arc ends at the next "/"
        {middle, "'..." + middle.substr(39, 128) + "...'"},
        {wide, "'..." + wide.substr(77) + "'"}, // cut on a character boundary
        {form, "0334E: Invalid OID internationalized resource identifier value: '" + form.substr(0, 128) + "...'"},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(r.text);
        const std::string text = decoder_message(w.get(), [&] {
            _kel_check_oid_iri(w.get(), r.text.data(), static_cast<uint32_t>(r.text.size()), KEL_OID_IRI_ABSOLUTE);
        });
        EXPECT_NE(text.find(r.shown), std::string::npos) << text;
    }
}

} // namespace
