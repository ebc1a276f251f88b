// test_ber_strict.cpp - STRICT_ENCODING_DECODING_RULES under CER and DER:
// each encoding that X.690 forbids in the canonical rules, decoded whole
// through the table-driven code file with the flag (refused, with its
// message) and without it (what the decoders do by default, which stays),
// and every call leaving nothing allocated; DEFAULT strings compared by
// value; the constructed bit in the straight-line code files.  Also the
// messages that name the fault of a malformed header, bit string, REAL or
// time.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

#include "bench_files.h"
#include "codefiles.h"
#include "counting_alloc.h"
#include "harness.h"
#include "internal.h"
#include "kelvarn_ber.h"
#include "message_world.h"
#include "pdu_decoder.h"

// The control tables of the straight-line code files.
extern "C" KelControlTable personnel_control;
extern "C" KelControlTable cert_trim_control;

namespace {

using kel_test::Bytes;
using kel_test::PduDecoder;

const auto hex = kel_test::from_hex;

// A TLV of `n` octets 'A' under the one-octet `tag`, with the fewest length
// octets.
Bytes filled(uint8_t tag, size_t n) {
    Bytes out{tag};
    if (n < 128) {
        out.push_back(static_cast<uint8_t>(n));
    } else {
        out.insert(out.end(), {0x82, static_cast<uint8_t>(n >> 8), static_cast<uint8_t>(n)});
    }
    out.insert(out.end(), n, 'A');
    return out;
}

// The header octets `header` and the text behind them.
Bytes with_text(const char *header, const char *text) {
    Bytes out = hex(header);
    out.insert(out.end(), text, text + std::strlen(text));
    return out;
}

// A constructed OCTET STRING of indefinite length with segments of these
// sizes.
Bytes segmented(std::initializer_list<size_t> sizes) {
    Bytes out{0x24, 0x80};
    for (size_t n : sizes) {
        const Bytes segment = filled(0x04, n);
        out.insert(out.end(), segment.begin(), segment.end());
    }
    out.insert(out.end(), {0, 0});
    return out;
}

struct StrictCase {
    const char *what;
    const char *type; // a PDU of TypesZoo
    int rule;
    Bytes input;
    const char *strict;   // message under the flag; null: accepted
    const char *lenient;  // message without it; null: accepted
};

TEST(BerStrict, CanonicalRulesRefusedOnlyUnderTheFlag) {
    const StrictCase cases[] = {
        // Lengths: the fewest octets (0037E), the reserved first octet 0xFF.
        {"long form for a short length", "Int", KEL_DER, hex("02810105"), "0037E", nullptr},
        {"zero octet in a long length", "Int", KEL_DER, hex("0282000105"), "0037E", nullptr},
        {"four length octets for 3", "SeqOpt", KEL_DER, hex("308400000003800105"), "0037E", nullptr},
        {"long form for a short length, CER primitive", "Int", KEL_CER, hex("02810105"), "0037E", nullptr},
        {"length octet 0xFF", "Int", KEL_DER, hex("02FF05"), "0037E", "0081S"},
        {"length octet 0xFF under BER", "Int", KEL_BER, hex("02FF05"), "0037E", "0081S"},
        // CER: constructed values take the indefinite length.
        {"CER constructed with a definite length", "SeqOpt", KEL_CER, hex("3003800105"), "0037E", nullptr},
        {"CER constructed with the indefinite length", "SeqOpt", KEL_CER, hex("30808001050000"), nullptr, nullptr},
        // BOOLEAN TRUE is 0xFF.
        {"BOOLEAN 01", "Bool", KEL_DER, hex("010101"), "0037E", nullptr},
        {"BOOLEAN 01, CER", "Bool", KEL_CER, hex("010101"), "0037E", nullptr},
        {"BOOLEAN 01, BER", "Bool", KEL_BER, hex("010101"), nullptr, nullptr},
        // BIT STRING: clear padding, no trailing zero of named bits, primitive.
        {"padding bit set", "Bits", KEL_DER, hex("03020781"), "0263E", nullptr},
        {"padding bit set, BER", "Bits", KEL_BER, hex("03020781"), nullptr, nullptr},
        {"named bits ending in 0", "NamedBits", KEL_DER, hex("03020680"), "0037E", nullptr},
        {"named bits ending in 1", "NamedBits", KEL_DER, hex("03020640"), nullptr, nullptr},
        {"constructed BIT STRING", "Bits", KEL_DER, hex("2304030200 41"), "0053S", nullptr},
        // OCTET STRING: primitive under DER, 1000-octet segments under CER.
        {"constructed OCTET STRING", "Octets", KEL_DER, hex("240404024142"), "0053S", nullptr},
        {"constructed character string", "Ia5", KEL_DER, hex("360404024142"), "0053S", nullptr},
        {"CER primitive of 1001 octets", "Octets", KEL_CER, filled(0x04, 1001), "0052S", nullptr},
        {"CER primitive of 1000 octets", "Octets", KEL_CER, filled(0x04, 1000), nullptr, nullptr},
        {"CER segments for 2 octets", "Octets", KEL_CER, segmented({2}), "0053S", nullptr},
        {"CER segments 999 and 2", "Octets", KEL_CER, segmented({999, 2}), "0037E", nullptr},
        {"CER segments 1000 and 0", "Octets", KEL_CER, segmented({1000, 0}), "0037E", nullptr},
        {"CER segments 1000 and 1", "Octets", KEL_CER, segmented({1000, 1}), nullptr, nullptr},
        {"CER segment constructed", "Octets", KEL_CER,
         [] {
             Bytes out = hex("24802480");
             const Bytes inner = segmented({1000, 1});
             out.insert(out.end(), inner.begin() + 2, inner.end());
             out.insert(out.end(), {0, 0});
             return out;
         }(),
         "0053S", nullptr},
        // OBJECT IDENTIFIER: no subidentifier starts with 0x80.
        {"subidentifier 80 01", "Oid", KEL_DER, hex("06032A8001"), "0024E", nullptr},
        {"subidentifier 80 01, BER", "Oid", KEL_BER, hex("06032A8001"), "0024E", nullptr},
        // REAL: base 2, no scale, odd mantissa, short exponent form, NR3.
        {"REAL base 8", "Real", KEL_DER, hex("0903900001"), "0037E", nullptr},
        {"REAL base 16", "Real", KEL_DER, hex("0903A00001"), "0037E", nullptr},
        {"REAL scale factor 1", "Real", KEL_DER, hex("0903840001"), "0037E", nullptr},
        {"REAL even mantissa", "Real", KEL_DER, hex("0903800002"), "0037E", nullptr},
        {"REAL long exponent form", "Real", KEL_DER, hex("090483010001"), "0020E", nullptr},
        {"REAL 1.0", "Real", KEL_DER, hex("0903800001"), nullptr, nullptr},
        {"REAL NR2 1.5", "Real", KEL_DER, hex("090402312E35"), "0037E", nullptr},
        {"REAL NR3 1E0", "Real", KEL_DER, hex("090403314530"), "0037E", nullptr},
        {"REAL NR3 15.E+1", "Real", KEL_DER, hex("0907033135 2E452B31"), "0037E", nullptr},
        {"REAL NR3 10.E1", "Real", KEL_DER, hex("0906033130 2E4531"), "0037E", nullptr},
        {"REAL NR3 15.E-1", "Real", KEL_CER, hex("0907033135 2E452D31"), nullptr, nullptr},
        {"REAL NR3 1.E+0", "Real", KEL_DER, hex("090603312E452B30"), nullptr, nullptr},
        // Times: a day that its month has.
        {"GeneralizedTime 30 February", "Gen", KEL_DER, with_text("180F", "20230230120000Z"), "0012S", nullptr},
        {"GeneralizedTime 29 February 2023", "Gen", KEL_DER, with_text("180F", "20230229120000Z"), "0012S", nullptr},
        {"GeneralizedTime 29 February 2024", "Gen", KEL_DER, with_text("180F", "20240229120000Z"), nullptr, nullptr},
        {"GeneralizedTime 29 February 1900", "Gen", KEL_CER, with_text("180F", "19000229120000Z"), "0012S", nullptr},
        {"UTCTime 30 February", "Utc", KEL_DER, with_text("170D", "230230120000Z"), "0012S", nullptr},
        {"UTCTime 29 February 2000", "Utc", KEL_DER, with_text("170D", "000229120000Z"), nullptr, nullptr},
        {"UTCTime 31 April", "Utc", KEL_CER, with_text("170D", "230431120000Z"), "0012S", nullptr},
        // CER takes the time rules of DER.
        {"CER GeneralizedTime without seconds", "Gen", KEL_CER, with_text("180D", "202301011200Z"), "0013S", nullptr},
        {"CER GeneralizedTime local", "Gen", KEL_CER, with_text("180E", "20230101120000"), "0013S", nullptr},
        {"CER GeneralizedTime with a comma", "Gen", KEL_CER, with_text("1811", "20230101120000,5Z"), "0013S", nullptr},
        // SET components in tag order; no DEFAULT component with its default.
        {"SET in tag order", "SetOrder", KEL_DER, hex("3108 4501FF 8000 820101"), nullptr, nullptr},
        {"SET out of tag order", "SetOrder", KEL_DER, hex("3108 820101 4501FF 8000"), "0037E", nullptr},
        {"SET out of tag order, CER", "SetOrder", KEL_CER, hex("3180 8000 4501FF 820101 0000"), "0037E", nullptr},
        {"DEFAULT present with its value", "SeqOpt", KEL_DER, hex("3006 800105 830107"), "0037E", nullptr},
        {"DEFAULT present with another value", "SeqOpt", KEL_DER, hex("3006 800105 830108"), nullptr, nullptr},
        {"DEFAULT present with its value, CER", "SeqOpt", KEL_CER, hex("3080 800105 840101 0000"), "0037E", nullptr},
        // The constructed bit that the tag match ignores: simple types are
        // primitive, structures constructed (X.690 8.1.2.5); BER and CER
        // hold untagged simple types to it, DER every type.
        {"constructed INTEGER", "Int", KEL_DER, hex("22020100"), "0053S", nullptr},
        {"constructed INTEGER, BER", "Int", KEL_BER, hex("22020100"), "0053S", nullptr},
        {"constructed INTEGER, CER", "Int", KEL_CER, hex("22020100"), "0053S", nullptr},
        {"constructed BOOLEAN", "Bool", KEL_DER, hex("2101FF"), "0053S", nullptr},
        {"constructed NULL", "Null", KEL_DER, hex("2500"), "0053S", nullptr},
        {"constructed ENUMERATED", "Enum", KEL_DER, hex("2A0101"), "0053S", nullptr},
        {"constructed OBJECT IDENTIFIER", "Oid", KEL_DER, hex("26022C01"), "0053S", nullptr},
        {"constructed REAL", "Real", KEL_DER, hex("2900"), "0053S", nullptr},
        {"constructed GeneralizedTime", "Gen", KEL_DER, with_text("3811", "19851106210627.3Z"), "0053S", nullptr},
        {"constructed implicit tag on INTEGER", "SeqOpt", KEL_DER, hex("3003A001F1"), "0053S", nullptr},
        {"constructed implicit tag on NULL in a CHOICE", "Choice", KEL_DER, hex("A300"), "0053S", nullptr},
        {"constructed implicit tag on a string, BER", "SeqOpt", KEL_BER, hex("3009800105A2040402 4142"), nullptr, nullptr},
        {"primitive SEQUENCE", "SeqEmpty", KEL_DER, hex("1000"), "0052S", nullptr},
        {"primitive SEQUENCE, BER", "SeqEmpty", KEL_BER, hex("1000"), "0052S", nullptr},
        {"primitive SET OF", "SetOfInt", KEL_DER, hex("1100"), "0052S", nullptr},
        // REAL mantissa in the fewest octets; a value beyond a double is
        // canonical all the same (it comes back as -0).
        {"REAL mantissa with a leading zero octet", "Real", KEL_DER, hex("090780000000302E35"), "0037E", nullptr},
        {"REAL mantissa with two leading zero octets", "Real", KEL_DER, hex("0909800700006074683131"), "0037E", nullptr},
        {"REAL of four exponent octets", "Real", KEL_DER, hex("0907C304DF00000031"), nullptr, nullptr},
        // A fixed-size BIT STRING (SIZE(16)) without named bits.
        {"7 bits for SIZE(16)", "Bits16", KEL_DER, hex("03020100"), "0063S", nullptr},
        {"16 bits for SIZE(16)", "Bits16", KEL_DER, hex("0303000000"), nullptr, nullptr},
        // A padded field of 10 bits with named bits: a one bit past the 10th.
        {"named bit past the field", "NamedBits", KEL_DER, hex("0303000003"), "0080E", nullptr},
        {"named bits filling the field", "NamedBits", KEL_DER, hex("030306FFC0"), nullptr, nullptr},
        // Tag [UNIVERSAL 0] tags no value, also where extensions are skipped.
        {"end-of-contents as an extension", "SeqExt", KEL_DER, hex("3005800100 0000"), "0058E", nullptr},
        {"end-of-contents as an extension, BER", "SeqExt", KEL_BER, hex("3005800100 0000"), "0058E", nullptr},
        {"unknown extension", "SeqExt", KEL_DER, hex("3006800100 830100"), nullptr, nullptr},
        // Octets behind the value.
        {"trailing octet", "Int", KEL_DER, hex("02010500"), "0059E", nullptr},
        {"trailing octet, CER", "Int", KEL_CER, hex("02010500"), "0059E", nullptr},
        {"trailing octet, BER", "Int", KEL_BER, hex("02010500"), nullptr, nullptr},
    };
    for (const StrictCase &c : cases) {
        for (const bool strict : {false, true}) {
            SCOPED_TRACE(std::string(c.what) + (strict ? " (strict)" : " (default)"));
            PduDecoder d(c.rule);
            if (strict)
                kelSetDecodingFlags(&d.world, kelGetDecodingFlags(&d.world) | STRICT_ENCODING_DECODING_RULES);
            d.world.presetDecFlags &= static_cast<uint16_t>(~1u); // the input is one value
            const char *message = strict ? c.strict : c.lenient;
            const int code = d.decode(c.type, c.input, message);
            EXPECT_EQ(code != 0, message != nullptr) << kelGetErrMsg(&d.world);
        }
    }
}

// A DEFAULT held behind a pointer (text, a {length, pointer} string) is
// compared by value: strict DER refuses it present with its default, and
// the encoder leaves it out, whatever memory the value's pointer holds.
TEST(BerStrict, DefaultStringsAreComparedByValue) {
    struct Record {
        uint32_t present;
        char *text;
        KelUnboundedString octets;
    };
    static char abc[] = "abc";
    static unsigned char xy[] = {'x', 'y'};
    static char *const textDefault = abc;
    static const KelUnboundedString octetsDefault{2, xy};
    KelTypeDesc text{}, octets{}, sequence{};
    text.kind = KEL_KIND_CHAR_STRING;
    text.tagCount = 1;
    text.tags[0] = KEL_TAG_IA5_STRING;
    text.form = KEL_FORM_NULLTERM_PTR;
    text.size = sizeof(char *);
    octets = text;
    octets.kind = KEL_KIND_OCTET_STRING;
    octets.tags[0] = KEL_TAG_OCTET_STRING;
    octets.form = KEL_FORM_UNBOUNDED;
    octets.size = sizeof(KelUnboundedString);
    const KelComponent components[] = {
        {"text", &text, offsetof(Record, text), KEL_COMP_DEFAULT, 1, KEL_TAGGING_IMPLICIT,
         KEL_TAG(KEL_CLASS_CONTEXT, 0, 0), &textDefault, 0},
        {"octets", &octets, offsetof(Record, octets), KEL_COMP_DEFAULT, 2, KEL_TAGGING_IMPLICIT,
         KEL_TAG(KEL_CLASS_CONTEXT, 0, 1), &octetsDefault, 0},
    };
    sequence.name = "Defaults";
    sequence.kind = KEL_KIND_SEQUENCE;
    sequence.tagCount = 1;
    sequence.tags[0] = KEL_TAG(KEL_CLASS_UNIVERSAL, 1, 16);
    sequence.size = sizeof(Record);
    sequence.components = components;
    sequence.componentCount = 2;
    const KelPduDesc pdu{{"Defaults", "Defaults"}, &sequence};
    KelCodeFile file = kel_typeszoo_codefile;
    file.pduCount = 1;
    file.pdus = &pdu;

    struct Case {
        const char *what;
        const char *input;
        const char *strict; // null: accepted
    };
    const Case cases[] = {
        {"text with its default", "3005 8003616263", "0037E"},
        {"octets with their default", "3004 81027879", "0037E"},
        {"text with another value", "3005 8003616264", nullptr},
        {"octets with another value", "3005 8103787979", nullptr},
    };
    for (const Case &c : cases) {
        for (const bool strict : {false, true}) {
            SCOPED_TRACE(std::string(c.what) + (strict ? " (strict)" : " (default)"));
            PduDecoder d(KEL_DER, &file);
            if (strict)
                kelSetDecodingFlags(&d.world, kelGetDecodingFlags(&d.world) | STRICT_ENCODING_DECODING_RULES);
            const char *message = strict ? c.strict : nullptr;
            EXPECT_EQ(d.decode_pdu(1, hex(c.input), message) != 0, message != nullptr);
        }
    }

    char sameText[] = "abc";
    unsigned char sameOctets[] = {'x', 'y'};
    Record value{3, sameText, {2, sameOctets}};
    PduDecoder d(KEL_DER, &file);
    KelBuf out{0, nullptr};
    ASSERT_EQ(kelEncode(&d.world, 1, &value, &out), 0) << kelGetErrMsg(&d.world);
    EXPECT_EQ(Bytes(out.value, out.value + out.length), hex("3000"));
    kelFreeBuf(&d.world, out.value);
}

// The straight-line code files read SET components and CHOICE alternatives
// by class and number; strict decoding holds their constructed bit to the
// type there too.
TEST(BerStrict, StraightLineCodeFilesCheckTheConstructedBit) {
    struct Case {
        const char *what;
        KelControlTable *control;
        const char *file;
        const char *from, *to; // the first `from` in the encoding becomes `to`
        const char *message;
    };
    const Case cases[] = {
        {"constructed [APPLICATION 2] INTEGER", &personnel_control, "PersonnelRecordA1.der.hex", "420133",
         "620133", "0053S"},
        {"primitive explicit [0]", &personnel_control, "PersonnelRecordA1.der.hex", "A00A1A08", "800A1A08",
         "0052S"},
        {"constructed UTCTime", &cert_trim_control, "CertTrim.der.hex", "170D", "370D", "0053S"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        Bytes input = kel_test::bench_file(c.file);
        const Bytes from = hex(c.from), to = hex(c.to);
        const auto at = std::search(input.begin(), input.end(), from.begin(), from.end());
        ASSERT_NE(at, input.end());
        std::copy(to.begin(), to.end(), at);
        for (const bool strict : {false, true}) {
            kel_test::MessageWorld m(c.control, 1);
            if (strict)
                kelSetDecodingFlags(&m.world, kelGetDecodingFlags(&m.world) | STRICT_ENCODING_DECODING_RULES);
            const int code = m.decode(KEL_DER, input);
            EXPECT_EQ(code != 0, strict);
            if (strict) {
                EXPECT_NE(std::strstr(kelGetErrMsg(&m.world), c.message), nullptr) << kelGetErrMsg(&m.world);
            }
        }
    }
}

// A caller whose buffer advances past each value (bit 0 of presetDecFlags,
// the default of a code file without a root context) reads a stream of
// values: what follows the first one is the next, and strict decoding
// doesn't refuse it.
TEST(BerStrict, StreamOfValuesKeepsItsTrailingOctets) {
    PduDecoder d(KEL_DER);
    kelSetDecodingFlags(&d.world, kelGetDecodingFlags(&d.world) | STRICT_ENCODING_DECODING_RULES);
    d.world.presetDecFlags |= 1;
    EXPECT_EQ(d.decode("Int", hex("020105020106")), 0);
}

// Messages that name the fault, under every rule and with or without the
// flag.
TEST(BerStrict, MalformedValuesNameTheirFault) {
    struct Case {
        const char *what;
        const char *type;
        int rule;
        const char *input;
        const char *message;
    };
    const Case cases[] = {
        {"BIT STRING with no contents", "Bits", KEL_BER, "0300", "0037E"},
        {"REAL with no exponent octets", "Real", KEL_BER, "090180", "0037E"},
        {"REAL with two exponent octets of one", "Real", KEL_DER, "09028100", "0037E"},
        {"constructed indefinite GeneralizedTime", "Gen", KEL_BER, "3880180F32303233303130313132303030305A0000", "0053S"},
        {"primitive indefinite OCTET STRING", "Octets", KEL_BER, "0480410000", "0051S"},
    };
    for (const Case &c : cases) {
        for (const bool strict : {false, true}) {
            SCOPED_TRACE(c.what);
            PduDecoder d(c.rule);
            if (strict)
                kelSetDecodingFlags(&d.world, kelGetDecodingFlags(&d.world) | STRICT_ENCODING_DECODING_RULES);
            EXPECT_NE(d.decode(c.type, hex(c.input), c.message), 0);
        }
    }
}

// A long-form tag whose number opens with 0x80 octets: the found tag equals
// the expected one, so the message counts the padding instead of printing
// the same tag twice.  Relaxed BER lets it pass, as any needlessly long tag.
TEST(BerStrict, PaddedLongTagIsNamed) {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    struct Case {
        int rule;
        uint8_t modeBits;
        uint32_t flags;
        const char *message; // null: the header reads, length 0
    };
    const Case cases[] = {
        {KEL_BER, 0, 0, "0055E: Tag encoding has too many leading nonsignificant octets: 2"},
        {KEL_DER, 0, 0, "0055E: Tag encoding has too many leading nonsignificant octets: 2"},
        {KEL_BER, KEL_MODE_RELAXED, 0, nullptr},
        {KEL_BER, KEL_MODE_RELAXED, STRICT_ENCODING_DECODING_RULES,
         "0055E: Tag encoding has too many leading nonsignificant octets: 2"},
    };
    for (const Case &c : cases) {
        unsigned char input[] = {0xDF, 0x80, 0x80, 0x21, 0x00};
        unsigned char *pos = input;
        int32_t rem = sizeof input;
        int32_t length = -1;
        world->encRules = c.rule;
        world->modeBits = c.modeBits;
        world->decodingFlags = c.flags;
        const int code = kel_test::in_frame(world, kel::kPhaseDecoder,
                                            [&] { length = _kel_dec_tag_length(world, &pos, &rem, 0x21DF); });
        if (c.message) {
            EXPECT_EQ(code, 10);
            EXPECT_NE(std::strstr(world->errMsg, c.message), nullptr) << world->errMsg;
        } else {
            EXPECT_EQ(code, 0) << world->errMsg;
            EXPECT_EQ(length, 0);
        }
    }
}

} // namespace
