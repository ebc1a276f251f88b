// test_bench_messages.cpp - the straight-line code files of ProtoMessage and
// CertTrim against the encodings of the benchmark directory: decode and
// encode again byte for byte under DER and BER, in library memory and in a
// caller's area; a CER round trip; extension additions stepped over; DER's
// SET OF order; and hostile input (truncation at every length, allocation
// failure at every call) leaving nothing allocated.
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

class BenchMessage : public ::testing::TestWithParam<MessageFile> {
  protected:
    void SetUp() override {
        world_ = KelGlobal{};
        ASSERT_EQ(kelinit(&world_, GetParam().control), 0);
    }
    void TearDown() override {
        CountingAllocator::reset(0);
        kelterm(&world_);
    }

    Bytes file(const char *rule) { return bench_file(std::string(GetParam().name) + "." + rule + ".hex"); }

    // Decodes `in` under `rule`; the value stays in value_ until release().
    int decode(int rule, const Bytes &in, bool caller) {
        kelSetEncodingRules(&world_, rule);
        input_ = in;
        KelBuf buf{static_cast<uint32_t>(input_.size()), input_.data()};
        pdu_ = GetParam().pdu;
        value_ = caller ? area_ : nullptr;
        inArea_ = caller;
        if (caller)
            kelSetDecodingLength(&world_, sizeof area_);
        return kelDecode(&world_, &pdu_, &buf, &value_);
    }

    int encode(int rule, Bytes &out, bool caller) {
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

    // Decode under `rule`, encode under DER and release; 0 or the first failure.
    int decode_to_der(int rule, const Bytes &in, Bytes &der) {
        int code = decode(rule, in, false);
        if (code == 0)
            code = encode(KEL_DER, der, false);
        release();
        return code;
    }

    std::string message() { return kelGetErrMsg(&world_); }

    KelGlobal world_;
    Bytes input_;
    int pdu_ = 0;
    void *value_ = nullptr;
    bool inArea_ = false;
    alignas(8) unsigned char area_[8192];
};

TEST_P(BenchMessage, ReencodesTheFilesByteForByte) {
    const struct {
        int rule;
        const char *file;
    } rules[] = {{KEL_DER, "der"}, {KEL_BER, "ber"}};
    for (const auto &r : rules) {
        const Bytes expected = file(r.file);
        ASSERT_FALSE(expected.empty()) << r.file;
        for (bool decodeCaller : {false, true})
            for (bool encodeCaller : {false, true}) {
                Bytes out;
                ASSERT_EQ(decode(r.rule, expected, decodeCaller), 0) << r.file << ": " << message();
                ASSERT_EQ(encode(r.rule, out, encodeCaller), 0) << r.file << ": " << message();
                EXPECT_EQ(out, expected) << r.file << " decoded in " << (decodeCaller ? "caller" : "library")
                                         << " memory, encoded in " << (encodeCaller ? "caller" : "library");
                release();
            }
    }
}

TEST_P(BenchMessage, CerRoundTripUsesIndefiniteLengths) {
    const Bytes der = file("der");
    Bytes cer, back;
    ASSERT_EQ(decode(KEL_DER, der, false), 0) << message();
    ASSERT_EQ(encode(KEL_CER, cer, false), 0) << message();
    release();
    ASSERT_GE(cer.size(), der.size());
    EXPECT_EQ(Bytes(cer.begin(), cer.begin() + 2), (Bytes{0x30, 0x80}));
    EXPECT_EQ(Bytes(cer.end() - 2, cer.end()), (Bytes{0, 0}));
    ASSERT_EQ(decode_to_der(KEL_CER, cer, back), 0) << message();
    EXPECT_EQ(back, der);
    EXPECT_NE(decode_to_der(KEL_DER, cer, back), 0) << "DER refuses the indefinite length";
}

TEST_P(BenchMessage, TruncationAndAllocationFailureLeaveNothingBehind) {
    const Bytes der = file("der");
    CountingAllocator::install(&world_);
    Bytes out;
    for (size_t n = 0; n < der.size(); ++n) {
        CountingAllocator::reset(0);
        EXPECT_NE(decode_to_der(KEL_DER, Bytes(der.begin(), der.begin() + n), out), 0) << n;
        EXPECT_EQ(CountingAllocator::live, 0) << "prefix of " << n;
    }
    kel_test::fail_each_allocation(&world_, [&] { return decode_to_der(KEL_DER, der, out); });
    ASSERT_EQ(decode(KEL_DER, der, false), 0);
    for (int rule : {KEL_DER, KEL_CER})
        kel_test::fail_each_allocation(&world_, [&] { return encode(rule, out, false); });
    release();
    EXPECT_EQ(CountingAllocator::live, 0);
}

INSTANTIATE_TEST_SUITE_P(Files, BenchMessage, ::testing::ValuesIn(kMessages),
                         [](const auto &info) { return std::string(info.param.name); });

// Message edits on the DER file of ProtoMessage: octets inserted at an
// offset, with the enclosing lengths (at the given offsets) grown to match.
struct ProtoEdit {
    const char *what;
    size_t at;
    Bytes insert;
    size_t replaceAt;
    Bytes replace;
    int code;        // 0: decodes to the original value
    const char *text;
};

class ProtoMessageEdits : public BenchMessage {};

TEST_P(ProtoMessageEdits, UnknownExtensionsAreSkippedAndRangesChecked) {
    const Bytes der = file("der");
    // Header a0 4d ends at offset 6 + 0x4d; the message's long length is at 2..3.
    const auto grow = [](Bytes &b, size_t at, size_t n) { b[at] = static_cast<uint8_t>(b[at] + n); };
    const ProtoEdit edits[] = {
        {"unknown extension [9] of Header", 6 + 0x4d, {0x89, 0x01, 0x05}, 0, {}, 0, ""},
        {"unknown constructed extension [12] of Message", der.size(), {0xAC, 0x03, 0x80, 0x01, 0x00}, 0, {}, 0, ""},
        {"universal tag after Header's last component", 6 + 0x4d, {0x02, 0x01, 0x05}, 0, {}, 5, "0047E"},
        {"protocolVersion 0", 0, {}, 8, {0x00}, 17, "0062S"}, {"trigger eventA5 + 1", 0, {}, 93, {0x05}, 17, "0071S"},
    };
    for (const ProtoEdit &e : edits) {
        Bytes input = der, out;
        if (!e.insert.empty()) {
            input.insert(input.begin() + static_cast<long>(e.at), e.insert.begin(), e.insert.end());
            grow(input, 3, e.insert.size());
            if (e.at < der.size())
                grow(input, 5, e.insert.size());
        }
        std::copy(e.replace.begin(), e.replace.end(), input.begin() + static_cast<long>(e.replaceAt));
        EXPECT_EQ(decode_to_der(KEL_DER, input, out), e.code) << e.what << ": " << message();
        if (e.code == 0)
            EXPECT_EQ(out, der) << e.what;
        else
            EXPECT_NE(message().find(e.text), std::string::npos) << e.what << ": " << message();
    }
}

INSTANTIATE_TEST_SUITE_P(Proto, ProtoMessageEdits, ::testing::Values(kMessages[0]),
                         [](const auto &) { return std::string("ProtoMessage"); });

class CertTrimOrder : public BenchMessage {};

// DER sorts the attributes of a RelativeDistinguishedName by their
// encodings; BER keeps the order of the value.
TEST_P(CertTrimOrder, DerSortsTheSetOfAttributes) {
    ASSERT_EQ(decode(KEL_DER, file("der"), false), 0) << message();
    auto *cert = static_cast<Certificate *>(value_);
    RDNSequence &issuer = cert->tbsCertificate.issuer.u.rdnSequence;
    ASSERT_EQ(issuer.count, 4u);
    // One RDN of organization (longer encoding) then country (shorter).
    AttributeTypeAndValue pair[] = {issuer.value[1].value[0], issuer.value[0].value[0]};
    RelativeDistinguishedName *saved = issuer.value;
    RelativeDistinguishedName merged{2, pair};
    issuer.value = &merged;
    issuer.count = 1;
    const Bytes country = {0x30, 0x09, 0x06, 0x03, 0x55, 0x04, 0x06};
    const Bytes organization = {0x30, 0x13, 0x06, 0x03, 0x55, 0x04, 0x0A};
    for (int rule : {KEL_DER, KEL_BER}) {
        Bytes out;
        ASSERT_EQ(encode(rule, out, rule == KEL_BER), 0) << message();
        const auto c = std::search(out.begin(), out.end(), country.begin(), country.end());
        const auto o = std::search(out.begin(), out.end(), organization.begin(), organization.end());
        ASSERT_TRUE(c != out.end() && o != out.end());
        EXPECT_EQ(c < o, rule == KEL_DER) << "rule " << rule;
    }
    issuer.value = saved;
    issuer.count = 4;
    release();
}

INSTANTIATE_TEST_SUITE_P(Cert, CertTrimOrder, ::testing::Values(kMessages[1]),
                         [](const auto &) { return std::string("CertTrim"); });

} // namespace
