// test_oer_hostile.cpp - hostile OER and COER input to whole PDUs of the
// stand-in code files: lengths of lengths and lengths beyond the input,
// integers of a thousand octets, a SEQUENCE OF that claims a billion
// elements, the forms only COER refuses, unknown CHOICE tags, extension
// bitmaps and wrapped additions that lie, and every truncation of the corpus
// encodings.
#include <gtest/gtest.h>

#include "pdu_decoder.h"

namespace {

using Bytes = std::vector<uint8_t>;
using kel_test::CountingAllocator;
using kel_test::PduDecoder;

Bytes with_content(Bytes head, size_t n, uint8_t fill) {
    head.insert(head.end(), n, fill);
    return head;
}

TEST(OerHostile, LengthsOfLengthsAndLengthsBeyondTheInput) {
    for (int rules : {KEL_OER, KEL_COER}) {
        PduDecoder d(rules);
        // Five length octets whose leading one is significant.
        EXPECT_NE(d.decode("Octets", with_content({0x85, 0x01, 0, 0, 0, 0}, 8, 0x5A), "0144E"), 0);
        EXPECT_EQ(d.decode("Octets", {0x80}, "0037E"), 5);
        EXPECT_EQ(d.decode("Octets", with_content({0x82, 0x10, 0x00}, 3, 0x5A), "0081S"), 4);
        EXPECT_EQ(d.decode("Octets", {0x84, 0xFF, 0xFF, 0xFF, 0xFF, 1}, "0081S"), 4);
        EXPECT_EQ(d.decode("Ia5", {0x05, 'a', 'b'}, "0081S"), 4);
        // Four length octets with the top bit set: a negative length (a fuzz finding).
        for (const char *type : {"Octets", "Ia5", "Printable", "Utf8", "Bits"})
            EXPECT_EQ(d.decode(type, {0x84, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}, "0081S"), 4) << type;
        PduDecoder record(rules, &kel_personnel_a1_codefile);
        Bytes children = {0x80, 0x04, 'J', 'o', 'h', 'n', 0x01, 'P', 0x05, 'S', 'm', 'i', 't', 'h', 0x01, 0x33};
        children.insert(children.end(), {0x08, 'D', 'i', 'r', 'e', 'c', 't', 'o', 'r'});
        children.insert(children.end(), {0x08, '1', '9', '7', '1', '0', '9', '1', '7'});
        children.insert(children.end(), {0x04, 'M', 'a', 'r', 'y', 0x01, 'T', 0x05, 'S', 'm', 'i', 't', 'h'});
        children.insert(children.end(), {0x01, 0x01, 0x84, 0xFF, 0xFF, 0xFF, 0xFF, 'R', 'a', 'l', 'p', 'h'});
        EXPECT_EQ(record.decode("PersonnelRecord", children, "0081S"), 4);
    }
    // Leading zero length octets: OER reads through them, COER refuses.
    const Bytes padded = with_content({0x84, 0, 0, 0, 3}, 3, 0x5A);
    EXPECT_EQ(PduDecoder(KEL_OER).decode("Octets", padded), 0);
    EXPECT_NE(PduDecoder(KEL_COER).decode("Octets", padded, "0022E"), 0);
}

TEST(OerHostile, IntegersOfAThousandOctets) {
    for (int rules : {KEL_OER, KEL_COER}) {
        PduDecoder d(rules);
        // A count octet only takes the short form: 1000 octets can't be said.
        EXPECT_EQ(d.decode("Int", with_content({0x82, 0x03, 0xE8}, 1000, 0x01), "0037E"), 5);
        EXPECT_NE(d.decode("Int", with_content({0x7F}, 127, 0x01), "0144E"), 0);
        EXPECT_NE(d.decode("Int", with_content({0x09}, 9, 0x01), "0144E"), 0);
        EXPECT_EQ(d.decode("Int", {0x08, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), 0);
    }
    // Sign octets in front: OER absorbs them, COER refuses them.
    const Bytes padded = {0x0A, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x05};
    EXPECT_EQ(PduDecoder(KEL_OER).decode("Int", padded), 0);
    EXPECT_NE(PduDecoder(KEL_COER).decode("Int", padded, "0022E"), 0);
}

TEST(OerHostile, ABillionElementsInTenOctets) {
    for (int rules : {KEL_OER, KEL_COER}) {
        PduDecoder d(rules);
        CountingAllocator::reset();
        // Quantity 1,000,000,000 in four octets, then three one-octet integers.
        EXPECT_EQ(d.decode("SeqOfInt", {0x04, 0x3B, 0x9A, 0xCA, 0x00, 0x01, 0x05, 0x01, 0x06, 0x01}, "0081S"), 4);
        EXPECT_LT(CountingAllocator::calls, 8) << "nothing is taken for the elements announced";
        // Three announced, two present.
        EXPECT_EQ(d.decode("SeqOfInt", {0x01, 0x03, 0x01, 0x05, 0x01, 0x06}, "0081S"), 4);
    }
}

TEST(OerHostile, FormsOnlyCoerRefuses) {
    struct Case {
        const char *type;
        Bytes input;
        const char *coerMessage;
    };
    const Case cases[] = {
        {"Bool", {0x01}, "0037E"},                     // true other than FF
        {"Octets", {0x81, 0x03, 1, 2, 3}, "0022E"},    // a short length in the long form
        {"Int", {0x02, 0x00, 0x05}, "0022E"},          // a redundant sign octet
        {"Enum", {0x81, 0x01}, "0022E"},               // a small value in the long form
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.type);
        EXPECT_EQ(PduDecoder(KEL_OER).decode(c.type, c.input), 0);
        PduDecoder coer(KEL_COER);
        EXPECT_NE(coer.decode(c.type, c.input, c.coerMessage), 0);
    }
}

TEST(OerHostile, UnknownChoiceTags) {
    for (int rules : {KEL_OER, KEL_COER}) {
        PduDecoder d(rules);
        EXPECT_EQ(d.decode("Choice", {0x80, 0x01, 0x05}), 0);      // [0] INTEGER 5
        EXPECT_NE(d.decode("Choice", {0x9E, 0x01, 0x05}), 0);      // [30]: no such alternative
        EXPECT_NE(d.decode("Choice", {0xBF, 0x3E}, "0018E"), 0);   // a long tag that fits the short form
        EXPECT_NE(d.decode("Choice", {0xBF, 0xFF, 0x80}, "0019E"), 0);
    }
}

// A GeneralizedTime held as a time record: a field out of its range is
// refused by the range tests, not stored.
TEST(OerHostile, TimeRecordsAreRangeTested) {
    const Bytes leap = {0x0F, '2', '0', '2', '4', '0', '2', '2', '9', '2', '3', '5', '9', '5', '9', 'Z'};
    Bytes day32 = leap;
    day32[7] = '3', day32[8] = '2';
    EXPECT_EQ(PduDecoder(KEL_OER).decode("Gen", leap), 0);
    EXPECT_NE(PduDecoder(KEL_OER).decode("Gen", day32, "0012S"), 0);
    EXPECT_EQ(PduDecoder(KEL_OER).decode("Utc", {0x0D, '2', '4', '0', '2', '2', '9', '2', '3', '5', '9', '5', '9', 'Z'}), 0);
}

// SeqExt: a preamble of the extension bit and b's bit, a (one octet), b,
// then the bitmap and the addition c wrapped in a length.
TEST(OerHostile, ExtensionBitmapsAndWrappedAdditions) {
    const Bytes head = {0xC0, 0xFF, 0xFF};
    const Bytes c = {0x04, 0x03, 'e', 'x', 't'};
    auto with = [&](Bytes bitmap, Bytes tail) {
        Bytes out = head;
        out.insert(out.end(), bitmap.begin(), bitmap.end());
        out.insert(out.end(), tail.begin(), tail.end());
        return out;
    };
    Bytes wide = {0x82, 0x04, 0xE3, 0x00, 0x80}; // 10,000 bits, the first one set
    wide.resize(3 + 1251, 0x00);
    Bytes allSet = {0x82, 0x04, 0xE3, 0x00};
    allSet.resize(3 + 1251, 0xFF);
    for (int rules : {KEL_OER, KEL_COER}) {
        PduDecoder d(rules);
        EXPECT_EQ(d.decode("SeqExt", with({0x02, 0x07, 0x80}, c)), 0);
        // Trailing zero bits of additions this table doesn't know.
        EXPECT_EQ(d.decode("SeqExt", with({0x03, 0x00, 0x80, 0x00}, c)), 0);
        EXPECT_EQ(d.decode("SeqExt", with(wide, c)), 0);
        // Unknown additions are stepped over by their lengths.
        EXPECT_EQ(d.decode("SeqExt", with({0x02, 0x06, 0xC0}, {0x04, 0x03, 'e', 'x', 't', 0x01, 0x00})), 0);
        EXPECT_EQ(d.decode("SeqExt", with(allSet, c), "0081S"), 4);
        // An extension bit with no addition present, or no bitmap at all.
        EXPECT_EQ(d.decode("SeqExt", with({0x02, 0x07, 0x00}, {}), "0037E"), 5);
        EXPECT_EQ(d.decode("SeqExt", with({0x01, 0x00}, {}), "0037E"), 5);
        EXPECT_NE(d.decode("SeqExt", with({0x02, 0x09, 0x80}, c), "0035E"), 0);
        // The addition's length disagrees with its content: too short...
        EXPECT_EQ(d.decode("SeqExt", with({0x02, 0x07, 0x80}, {0x02, 0x03, 'e', 'x', 't'}), "0081S"), 4);
        // Four length octets with the top bit set (a fuzz finding).
        EXPECT_EQ(d.decode("SeqExt", with({0x02, 0x07, 0x80}, {0x84, 0xFF, 0xFF, 0xFF, 0xFF, 0x03}), "0081S"), 4);
        // ...or longer than the value, which strict decoding refuses.
        const Bytes loose = with({0x02, 0x07, 0x80}, {0x06, 0x03, 'e', 'x', 't', 0x00, 0x00});
        EXPECT_EQ(d.decode("SeqExt", loose), 0);
        kelSetDecodingFlags(&d.world, STRICT_ENCODING_DECODING_RULES);
        EXPECT_EQ(d.decode("SeqExt", loose, "0037E"), 5);
    }
}

TEST(OerHostile, AlternativesBeyondTheRoot) {
    for (int rules : {KEL_OER, KEL_COER}) {
        PduDecoder d(rules);
        EXPECT_EQ(d.decode("ChoiceExt", {0x82, 0x02, 0x01, 0xAA}), 0);            // o: '' wrapped
        EXPECT_EQ(d.decode("ChoiceExt", {0x8A, 0x03, 0x01, 0x02, 0x03}), 0);      // [10]: stepped over
        EXPECT_EQ(d.decode("ChoiceExt", {0x8A, 0x05, 0x01}, "0081S"), 4);
        EXPECT_EQ(d.decode("ChoiceExt", {0x82, 0x01, 0x05, 0xAA, 0xBB}, "0081S"), 4);
        // A root alternative is not wrapped.
        EXPECT_EQ(d.decode("ChoiceExt", {0x80, 0x01, 0x05}), 0);
    }
}

// Named bits that are all zero: COER takes them with their zero bits, but
// not as no bits at all, which is how they go out again (a fuzz finding that
// the oracle now allows).
TEST(OerHostile, ZeroNamedBitsUnderCoer) {
    PduDecoder coer(KEL_COER);
    EXPECT_EQ(coer.decode("NamedBits", {0x03, 0x06, 0x00, 0x00}), 0);
    EXPECT_NE(coer.decode("NamedBits", {0x01, 0x00}, "0063S"), 0);
    EXPECT_EQ(PduDecoder(KEL_OER).decode("NamedBits", {0x01, 0x00}), 0);
}

#ifdef KEL_VECTORS_DIR
TEST(OerHostile, EveryTruncationOfTheCorpusEncodings) {
    for (const auto &[module, file] : {std::pair{"TypesZoo", &kel_typeszoo_codefile},
                                       {"PersonnelA1", &kel_personnel_a1_codefile},
                                       {"PersonnelA2", &kel_personnel_a2_codefile},
                                       {"TagsExplicit", &kel_tags_explicit_codefile},
                                       {"ExtGroupsA4", &kel_ext_groups_a4_codefile},
                                       {"PersonnelA3", &kel_personnel_a3_codefile},
                                       {"X509Certificate", &kel_x509_certificate_codefile}})
        kel_test::expect_truncations_fail(module, file, kel_oer_knows, {{"oer", KEL_OER}, {"coer", KEL_COER}});
}
#endif

} // namespace
