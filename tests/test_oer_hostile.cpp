// test_oer_hostile.cpp - hostile OER and COER input to whole PDUs of the
// stand-in code files: lengths of lengths and lengths beyond the input,
// integers of a thousand octets, a SEQUENCE OF that claims a billion
// elements, the forms only COER refuses, unknown CHOICE tags, and every
// truncation of the corpus encodings.
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

// A GeneralizedTime held as a time record has no OER walker yet: refused,
// never read into the record as if it were text (a fuzz finding).
TEST(OerHostile, TimeRecordsAreRefusedNotMisread) {
    const Bytes text = {0x0F, '2', '0', '2', '4', '0', '2', '2', '9', '2', '3', '5', '9', '5', '9', 'Z'};
    EXPECT_NE(PduDecoder(KEL_OER).decode("Gen", text, "0002S"), 0);
    EXPECT_EQ(PduDecoder(KEL_OER).decode("Utc", {0x0D, '2', '4', '0', '2', '2', '9', '2', '3', '5', '9', '5', '9', 'Z'}), 0);
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
                                       {"TagsExplicit", &kel_tags_explicit_codefile}})
        kel_test::expect_truncations_fail(module, file, kel_oer_knows, {{"oer", KEL_OER}, {"coer", KEL_COER}});
}
#endif

} // namespace
