// test_personnel.cpp - the straight-line code file of the personnel record
// (the demo's and the benchmarks' sample): its BER and DER octets against
// those printed for the X.690 Annex A record, CER's canonical order and
// indefinite lengths, both memory modes, and hostile input (truncation at
// every length, malformed SETs).
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "bench_files.h"
#include "counting_alloc.h"
#include "personnel.h"

namespace {

using kel_test::bench_file;
using kel_test::Bytes;
using kel_test::CountingAllocator;

ChildInformation sampleChildren[] = {
    {{const_cast<char *>("Ralph"), const_cast<char *>("T"), const_cast<char *>("Smith")},
     const_cast<char *>("19571111")},
    {{const_cast<char *>("Susan"), const_cast<char *>("B"), const_cast<char *>("Jones")},
     const_cast<char *>("19590717")},
};

PersonnelRecord sample() {
    PersonnelRecord r{};
    r.bit_mask = children_present;
    r.name = {const_cast<char *>("John"), const_cast<char *>("P"), const_cast<char *>("Smith")};
    r.title = const_cast<char *>("Director");
    r.number = 51;
    r.dateOfHire = const_cast<char *>("19710917");
    r.nameOfSpouse = {const_cast<char *>("Mary"), const_cast<char *>("T"), const_cast<char *>("Smith")};
    r.children.count = 2;
    r.children.value = sampleChildren;
    return r;
}

class Personnel : public ::testing::Test {
  protected:
    void SetUp() override {
        std::memset(&world_, 0, sizeof world_);
        ASSERT_EQ(kelinit(&world_, &personnel_control), 0);
    }
    void TearDown() override { kelterm(&world_); }

    int encode(int rule, const PersonnelRecord &value, Bytes &out, bool caller) {
        kelSetEncodingRules(&world_, rule);
        unsigned char area[512];
        KelBuf buf = caller ? KelBuf{sizeof area, area} : KelBuf{0, nullptr};
        int code = kelEncode(&world_, PersonnelRecord_PDU, const_cast<PersonnelRecord *>(&value), &buf);
        if (code == 0) {
            out.assign(buf.value, buf.value + buf.length);
            if (!caller)
                kelFreeBuf(&world_, buf.value);
        }
        return code;
    }

    // Decodes and encodes the result again under DER; the value is released.
    int decode_to_der(int rule, const Bytes &in, Bytes &der, bool caller) {
        kelSetEncodingRules(&world_, rule);
        Bytes input(in);
        KelBuf buf{static_cast<uint32_t>(input.size()), input.data()};
        int pdu = PersonnelRecord_PDU;
        void *value = caller ? area_ : nullptr;
        if (caller)
            kelSetDecodingLength(&world_, sizeof area_);
        int code = kelDecode(&world_, &pdu, &buf, &value);
        if (code != 0)
            return code;
        code = encode(KEL_DER, *static_cast<PersonnelRecord *>(value), der, false);
        if (!caller)
            kelFreePDU(&world_, pdu, value);
        return code;
    }

    std::string message() { return kelGetErrMsg(&world_); }

    KelGlobal world_;
    alignas(8) unsigned char area_[2048];
};

TEST_F(Personnel, EncodesTheAnnexOctetsAndDecodesThemBack) {
    const Bytes ber = bench_file("PersonnelRecordA1.ber.hex"), der = bench_file("PersonnelRecordA1.der.hex");
    ASSERT_EQ(der.size(), 136u);
    for (bool caller : {false, true}) {
        Bytes out, back;
        ASSERT_EQ(encode(KEL_BER, sample(), out, caller), 0) << message();
        EXPECT_EQ(out, ber) << "BER keeps the textual order of the SET";
        ASSERT_EQ(encode(KEL_DER, sample(), out, caller), 0) << message();
        EXPECT_EQ(out, der) << "DER orders the SET by tag";
        ASSERT_EQ(decode_to_der(KEL_BER, ber, back, caller), 0) << message();
        EXPECT_EQ(back, der);
        ASSERT_EQ(decode_to_der(KEL_DER, der, back, caller), 0) << message();
        EXPECT_EQ(back, der);
    }
}

TEST_F(Personnel, CerUsesIndefiniteLengthsInCanonicalOrder) {
    Bytes cer, der;
    ASSERT_EQ(encode(KEL_CER, sample(), cer, false), 0) << message();
    // Each constructed value opens with 0x80 and closes with 00 00; the SET
    // starts with name [APPLICATION 1] and number [APPLICATION 2].
    ASSERT_GE(cer.size(), 10u);
    EXPECT_EQ(Bytes(cer.begin(), cer.begin() + 4), (Bytes{0x60, 0x80, 0x61, 0x80}));
    EXPECT_EQ(Bytes(cer.end() - 2, cer.end()), (Bytes{0, 0}));
    ASSERT_EQ(decode_to_der(KEL_CER, cer, der, false), 0) << message();
    EXPECT_EQ(der, bench_file("PersonnelRecordA1.der.hex"));

    // A string longer than 1000 octets goes out in segments of 1000.
    std::string longTitle(2500, 'x');
    PersonnelRecord record = sample();
    record.title = longTitle.data();
    ASSERT_EQ(encode(KEL_CER, record, cer, false), 0) << message();
    const uint8_t segment[] = {0x04, 0x82, 0x03, 0xE8};
    size_t segments = 0;
    for (size_t i = 0; i + 4 <= cer.size(); ++i)
        segments += std::memcmp(&cer[i], segment, 4) == 0;
    EXPECT_EQ(segments, 2u) << "two full segments and a last one of 500";
    ASSERT_EQ(decode_to_der(KEL_CER, cer, der, false), 0) << message();
}

TEST_F(Personnel, EmptyChildrenAreTheDefaultAndLeftOut) {
    PersonnelRecord record = sample();
    record.children.count = 0;
    Bytes der, back;
    ASSERT_EQ(encode(KEL_DER, record, der, false), 0);
    EXPECT_EQ(der[1], 0x85 - 0x44) << "the [3] component and its 68 octets are gone";
    ASSERT_EQ(decode_to_der(KEL_DER, der, back, false), 0);
    EXPECT_EQ(back, der);
}

TEST_F(Personnel, MalformedSetsGiveTheirMessages) {
    const Bytes der = bench_file("PersonnelRecordA1.der.hex");
    ASSERT_EQ(der.size(), 136u);
    struct Case {
        const char *what;
        int rule;
        Bytes input;
        const char *message;
    };
    Bytes repeated = der, unknown = der, indefinite = der;
    repeated[24] = 0x42; // the title's [0] retagged as a second number
    unknown[24] = 0xA7;  // [7] is no component
    indefinite.erase(indefinite.begin() + 2);
    indefinite[1] = 0x80; // 60 81 85 becomes 60 80
    const Bytes omitted = {0x60, 0x03, 0x42, 0x01, 0x33};
    const Case cases[] = {
        {"repeated", KEL_DER, repeated, "0048E"}, {"unknown", KEL_DER, unknown, "0047E"},
        {"indefinite under DER", KEL_DER, indefinite, "0117S"}, {"omitted", KEL_BER, omitted, "0049E"},
    };
    for (const Case &c : cases) {
        Bytes out;
        EXPECT_EQ(decode_to_der(c.rule, c.input, out, false), 5) << c.what;
        EXPECT_NE(message().find(c.message), std::string::npos) << c.what << ": " << message();
    }
}

TEST_F(Personnel, TruncationLeavesNothingBehind) {
    const Bytes der = bench_file("PersonnelRecordA1.der.hex");
    CountingAllocator::install(&world_);
    Bytes out;
    for (size_t n = 0; n < der.size(); ++n) {
        CountingAllocator::reset(0);
        EXPECT_NE(decode_to_der(KEL_DER, Bytes(der.begin(), der.begin() + n), out, false), 0) << n;
        EXPECT_EQ(CountingAllocator::live, 0) << "prefix of " << n;
    }
    CountingAllocator::reset(0);
    // Allocation failures of this record: test_ber_alloc_failure.cpp.
}

} // namespace
