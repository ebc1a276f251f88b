// test_oer_bench_messages.cpp - the straight-line OER code of ProtoMessage
// and CertTrim against the encodings of the benchmark directory, under OER
// and COER: decode and encode again byte for byte, in library memory, in a
// caller's area and in length-only mode, agreeing with the DER file's value;
// hostile input (every truncation, every allocation failing) leaving nothing
// allocated; extension additions, bitmaps and alternatives of later versions
// stepped over; the forms only OER accepts; constraints held.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "bench_files.h"
#include "cert_trim.h"
#include "counting_alloc.h"
#include "fail_each.h"
#include "proto_message.h"

namespace {

using kel_test::bench_file;
using kel_test::Bytes;
using kel_test::CountingAllocator;

struct MessageFile {
    const char *name;
    KelControlTable *control;
    int pdu;
};

void PrintTo(const MessageFile &m, std::ostream *os) { *os << m.name; }

const MessageFile kMessages[] = {
    {"ProtoMessage", &proto_message_control, Message_PDU}, {"CertTrim", &cert_trim_control, Certificate_PDU},
};

const struct {
    int rule;
    const char *file;
} kRules[] = {{KEL_OER, "oer"}, {KEL_COER, "coer"}};

class OerMessage : public ::testing::TestWithParam<MessageFile> {
  protected:
    void SetUp() override {
        world_ = KelGlobal{};
        ASSERT_EQ(kelinit(&world_, GetParam().control), 0);
    }
    void TearDown() override {
        release();
        CountingAllocator::reset(0);
        kelterm(&world_);
    }

    Bytes file(const char *rule) { return bench_file(std::string(GetParam().name) + "." + rule + ".hex"); }

    // Decodes `in` under `rule`; the value stays in value_ until release().
    int decode(int rule, const Bytes &in, bool caller = false) {
        release();
        kelSetEncodingRules(&world_, rule);
        input_ = in; // exactly sized: a read past the end is the sanitizer's
        KelBuf buf{static_cast<uint32_t>(input_.size()), input_.data()};
        pdu_ = GetParam().pdu;
        value_ = caller ? area_ : nullptr;
        inArea_ = caller;
        if (caller)
            kelSetDecodingLength(&world_, sizeof area_);
        const int code = kelDecode(&world_, &pdu_, &buf, &value_);
        if (code != 0)
            value_ = nullptr;
        return code;
    }

    int encode(int rule, Bytes &out, bool caller = false) {
        kelSetEncodingRules(&world_, rule);
        static unsigned char buffer[4096];
        KelBuf buf = caller ? KelBuf{sizeof buffer, buffer} : KelBuf{0, nullptr};
        const int code = kelEncode(&world_, pdu_, value_, &buf);
        if (code == 0) {
            out.assign(buf.value, buf.value + buf.length);
            if (!caller)
                kelFreeBuf(&world_, buf.value);
        }
        return code;
    }

    void release() {
        if (value_ && !inArea_)
            kelFreePDU(&world_, pdu_, value_);
        value_ = nullptr;
    }

    std::string message() { return kelGetErrMsg(&world_); }

    KelGlobal world_;
    Bytes input_;
    int pdu_ = 0;
    void *value_ = nullptr;
    bool inArea_ = false;
    alignas(8) unsigned char area_[8192];
};

TEST_P(OerMessage, ReencodesTheFilesByteForByte) {
    const Bytes der = file("der");
    for (const auto &r : kRules) {
        const Bytes expected = file(r.file);
        ASSERT_FALSE(expected.empty()) << r.file;
        for (bool decodeCaller : {false, true})
            for (bool encodeCaller : {false, true}) {
                Bytes out;
                ASSERT_EQ(decode(r.rule, expected, decodeCaller), 0) << r.file << ": " << message();
                ASSERT_EQ(encode(r.rule, out, encodeCaller), 0) << r.file << ": " << message();
                EXPECT_EQ(out, expected) << r.file << " decoded in " << (decodeCaller ? "caller" : "library")
                                         << " memory, encoded in " << (encodeCaller ? "caller" : "library");
            }
        // The DER file holds the same value; length-only mode counts it.
        Bytes out, back;
        ASSERT_EQ(decode(KEL_DER, der), 0) << message();
        ASSERT_EQ(encode(r.rule, out), 0) << message();
        EXPECT_EQ(out, expected) << "from the DER file";
        ASSERT_EQ(encode(KEL_DER, back), 0) << message();
        EXPECT_EQ(back, der);
        kelSetEncodingFlags(&world_, DETERMINE_ENC_LENGTH);
        KelBuf counted{0, nullptr};
        kelSetEncodingRules(&world_, r.rule);
        EXPECT_EQ(kelEncode(&world_, pdu_, value_, &counted), 0) << message();
        EXPECT_EQ(counted.length, expected.size());
        kelSetEncodingFlags(&world_, 0);
    }
}

TEST_P(OerMessage, TruncationAndAllocationFailureLeaveNothingBehind) {
    CountingAllocator::install(&world_);
    for (const auto &r : kRules) {
        const Bytes in = file(r.file);
        for (size_t n = 0; n < in.size(); ++n) {
            CountingAllocator::reset(0);
            ASSERT_NE(decode(r.rule, Bytes(in.begin(), in.begin() + static_cast<long>(n))), 0) << n;
            EXPECT_NE(message().find("0081S"), std::string::npos) << "prefix of " << n << ": " << message();
            EXPECT_EQ(CountingAllocator::live, 0) << "prefix of " << n;
        }
        Bytes out;
        kel_test::fail_each_allocation(&world_, [&] {
            const int code = decode(r.rule, in);
            release();
            return code;
        });
        ASSERT_EQ(decode(r.rule, in), 0);
        kel_test::fail_each_allocation(&world_, [&] { return encode(r.rule, out); });
        release();
    }
    EXPECT_EQ(CountingAllocator::live, 0);
}

// A caller's buffer too small, and an addition crossing block ends: the
// extension value of the certificate made 2,500 octets long.
TEST_P(OerMessage, LongValuesCrossBlocksAndSmallBuffersFail) {
    const Bytes in = file("coer");
    ASSERT_EQ(decode(KEL_COER, in), 0) << message();
    unsigned char small[64];
    KelBuf buf{sizeof small, small};
    EXPECT_EQ(kelEncode(&world_, pdu_, value_, &buf), 1);
    EXPECT_NE(message().find("0001S"), std::string::npos) << message();
    if (GetParam().control != &cert_trim_control)
        return;
    auto *cert = static_cast<Certificate *>(value_);
    KelUnboundedString &ext = cert->tbsCertificate.extensions.value[2].extnValue;
    Bytes big(2500);
    for (size_t i = 0; i < big.size(); ++i)
        big[i] = static_cast<uint8_t>(i * 7);
    const KelUnboundedString saved = ext;
    ext = {static_cast<uint32_t>(big.size()), big.data()};
    Bytes out, again;
    ASSERT_EQ(encode(KEL_COER, out), 0) << message();
    ext = saved;
    ASSERT_EQ(out.size(), in.size() - saved.length + big.size() + 2);
    ASSERT_EQ(decode(KEL_COER, out), 0) << message();
    cert = static_cast<Certificate *>(value_);
    const KelUnboundedString &back = cert->tbsCertificate.extensions.value[2].extnValue;
    EXPECT_EQ(Bytes(back.value, back.value + back.length), big);
    ASSERT_EQ(encode(KEL_OER, again), 0) << message();
    EXPECT_EQ(again, out);
}

INSTANTIATE_TEST_SUITE_P(Files, OerMessage, ::testing::ValuesIn(kMessages),
                         [](const auto &info) { return std::string(info.param.name); });

// Edits of the OER file of ProtoMessage: `erase` octets at `at` replaced by
// `insert`.  An accepted edit decodes to the file's value.
struct Edit {
    const char *what;
    size_t at;
    size_t erase;
    Bytes insert;
    const char *oer;  // "" accepted, else the start of the message
    const char *coer;
};

// Offsets in the file: Header's priority at 11, source's name length at 24,
// Header's additions (02 07 80 01 02) at 55, Body at 60, the trigger at 64,
// the quantity of cellReports (01 14) at 128.
Bytes bitmap10000() {
    Bytes b = {0x82, 0x04, 0xE3, 0x00, 0x80};
    b.resize(3 + 1251);
    return b;
}

const Edit kEdits[] = {
    {"an unknown addition after hopCount", 55, 5, {0x02, 0x06, 0xC0, 0x01, 0x02, 0x02, 0xAB, 0xCD}, "", ""},
    {"a bitmap with trailing zero bits", 55, 3, {0x02, 0x00, 0x80}, "", ""},
    {"a bitmap of 10,000 bits", 55, 3, bitmap10000(), "", ""},
    {"a bitmap all zero", 55, 3, {0x02, 0x07, 0x00}, "0037E", "0037E"},
    {"an empty bitmap", 55, 3, {0x00}, "0037E", "0037E"},
    {"a bitmap with padding bits set", 55, 3, {0x02, 0x07, 0x81}, "0263E", "0263E"},
    {"hopCount's open type longer than its value", 58, 2, {0x02, 0x02, 0x00}, "", ""},
    {"hopCount's open type empty", 58, 2, {0x00}, "0081S", "0081S"},
    {"priority in the long form", 11, 1, {0x81, 0x03}, "", "0022E"},
    {"a name length in the long form", 24, 1, {0x81, 0x14}, "", "0022E"},
    {"the quantity with a leading zero", 128, 2, {0x02, 0x00, 0x14}, "", "0022E"},
    {"protocolVersion 0", 2, 1, {0x00}, "0062S", "0062S"},
    {"trigger eventA5 + 1", 64, 1, {0x05}, "0071S", "0071S"},
    {"no cell reports", 128, 2, {0x01, 0x00}, "0077S", "0077S"},
};

class OerProtoEdits : public OerMessage {};

TEST_P(OerProtoEdits, LaterVersionsAreSteppedOverAndForms) {
    const Bytes original = file("oer");
    for (const Edit &e : kEdits) {
        Bytes input = original;
        input.erase(input.begin() + static_cast<long>(e.at), input.begin() + static_cast<long>(e.at + e.erase));
        input.insert(input.begin() + static_cast<long>(e.at), e.insert.begin(), e.insert.end());
        for (const auto &r : kRules) {
            const std::string expected = r.rule == KEL_OER ? e.oer : e.coer;
            const int code = decode(r.rule, input);
            if (expected.empty()) {
                Bytes out;
                ASSERT_EQ(code, 0) << e.what << " (" << r.file << "): " << message();
                ASSERT_EQ(encode(r.rule, out), 0) << e.what;
                EXPECT_EQ(out, original) << e.what << " (" << r.file << ")";
            } else {
                EXPECT_NE(code, 0) << e.what << " (" << r.file << ")";
                EXPECT_NE(message().find(expected), std::string::npos) << e.what << " (" << r.file << "): " << message();
            }
        }
    }
    // Under the strict flag an open type with octets left over is refused.
    Bytes longer = original;
    longer.insert(longer.begin() + 60, 0x00);
    longer[58] = 0x02;
    kelSetDecodingFlags(&world_, STRICT_ENCODING_DECODING_RULES);
    EXPECT_NE(decode(KEL_OER, longer), 0);
    EXPECT_NE(message().find("0037E"), std::string::npos) << message();
}

// Alternatives of Body beyond the root, with a short and a long tag, are
// stepped over by their lengths; the selector stays 0 and the rest decodes.
TEST_P(OerProtoEdits, UnknownAlternativesAreSteppedOver) {
    const Bytes original = file("oer");
    const Bytes alternatives[] = {{0x83, 0x03, 0x01, 0x02, 0x03}, {0xBF, 0x45, 0x01, 0x00}, {0x44, 0x00}};
    for (const Bytes &alternative : alternatives) {
        Bytes input(original.begin(), original.begin() + 60);
        input.insert(input.end(), alternative.begin(), alternative.end());
        input.insert(input.end(), original.begin() + 128, original.end());
        for (const auto &r : kRules) {
            ASSERT_EQ(decode(r.rule, input), 0) << message();
            const auto *m = static_cast<const Message *>(value_);
            EXPECT_EQ(m->body.choice, 0);
            EXPECT_EQ(m->cellReports.count, 20u);
            EXPECT_EQ(m->trailer.checksum, 4023233417u);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Proto, OerProtoEdits, ::testing::Values(kMessages[0]),
                         [](const auto &) { return std::string("ProtoMessage"); });

class OerCertTrim : public OerMessage {};

// Name and Time are CHOICEs without an extension marker: a tag beyond their
// alternatives is an error, not something to step over.
TEST_P(OerCertTrim, UnknownTagOfAClosedChoiceFails) {
    const Bytes original = file("oer");
    const Bytes utcTime = {0x17, 0x0D, '1', '3'};
    const auto time = std::search(original.begin(), original.end(), utcTime.begin(), utcTime.end());
    ASSERT_NE(time, original.end());
    const Bytes name = {0x10, 0x01, 0x04};
    const auto issuer = std::search(original.begin(), original.end(), name.begin(), name.end());
    ASSERT_NE(issuer, original.end());
    for (size_t at : {static_cast<size_t>(time - original.begin()), static_cast<size_t>(issuer - original.begin())}) {
        Bytes input = original;
        input[at] = 0x19;
        EXPECT_NE(decode(KEL_OER, input), 0);
        EXPECT_NE(message().find("0047E"), std::string::npos) << message();
    }
}

INSTANTIATE_TEST_SUITE_P(Cert, OerCertTrim, ::testing::Values(kMessages[1]),
                         [](const auto &) { return std::string("CertTrim"); });

} // namespace
