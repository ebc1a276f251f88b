// test_per_messages.cpp - the straight-line PER code of the benchmark
// messages (PersonnelRecordA1, PersonnelRecordA2, ProtoMessage) against the
// aligned and unaligned encodings of the benchmark directory: the sample
// value encoded byte for byte and the files decoded back to it, in library
// and caller memory; truncation and allocation failure leaving nothing
// behind; value variants, range checks, long lists and alphabets.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench_files.h"
#include "counting_alloc.h"
#include "fail_each.h"
#include "internal.h"
#include "personnel.h"
#include "personnel_a2.h"
#include "proto_message.h"

namespace {

using kel_test::bench_file;
using kel_test::Bytes;
using kel_test::CountingAllocator;

struct PerMessage {
    const char *name;
    KelControlTable *control;
    int pdu;
    bool hasDer; // the value can be compared by its DER encoding
};

void PrintTo(const PerMessage &m, std::ostream *os) { *os << m.name; }

const PerMessage kMessages[] = {
    {"PersonnelRecordA1", &personnel_control, PersonnelRecord_PDU, true},
    {"PersonnelRecordA2", &personnel_a2_control, A2PersonnelRecord_PDU, false},
    {"ProtoMessage", &proto_message_control, Message_PDU, true},
};

const struct {
    int rule;
    const char *file;
} kRules[] = {{KEL_PER_ALIGNED, "per"}, {KEL_PER_UNALIGNED, "uper"}};

// The sample of PersonnelRecordA2, which has no BER to decode it from.
A2ChildInformation a2Children[] = {{{"Ralph", "T", "Smith"}, "19571111"}, {{"Susan", "B", "Jones"}, "19590717"}};
const A2PersonnelRecord a2Sample = {A2_children_present, {"John", "P", "Smith"}, const_cast<char *>("Director"), 51,
                                    "19710917", {"Mary", "T", "Smith"}, {2, a2Children}};

bool same_name(const A2Name &a, const A2Name &b) {
    return !std::strcmp(a.givenName, b.givenName) && !std::strcmp(a.initial, b.initial) &&
           !std::strcmp(a.familyName, b.familyName);
}

bool same_a2(const A2PersonnelRecord &a, const A2PersonnelRecord &b) {
    if (!same_name(a.name, b.name) || std::strcmp(a.title, b.title) || a.number != b.number ||
        std::strcmp(a.dateOfHire, b.dateOfHire) || !same_name(a.nameOfSpouse, b.nameOfSpouse) ||
        a.bit_mask != b.bit_mask || a.children.count != b.children.count)
        return false;
    for (uint32_t i = 0; i < a.children.count; ++i)
        if (!same_name(a.children.value[i].name, b.children.value[i].name) ||
            std::strcmp(a.children.value[i].dateOfBirth, b.children.value[i].dateOfBirth))
            return false;
    return true;
}

class PerMessages : public ::testing::TestWithParam<PerMessage> {
  protected:
    void SetUp() override {
        world_ = KelGlobal{};
        ASSERT_EQ(kelinit(&world_, GetParam().control), 0);
        if (!GetParam().hasDer) {
            sample_ = const_cast<A2PersonnelRecord *>(&a2Sample);
            return;
        }
        // The sample is the DER file decoded into an area of the test.
        der_ = file("der");
        derInput_ = der_;
        kelSetEncodingRules(&world_, KEL_DER);
        KelBuf buf{static_cast<uint32_t>(derInput_.size()), derInput_.data()};
        int pdu = GetParam().pdu;
        sample_ = sampleArea_;
        kelSetDecodingLength(&world_, sizeof sampleArea_);
        ASSERT_EQ(kelDecode(&world_, &pdu, &buf, &sample_), 0) << message();
    }
    void TearDown() override {
        release();
        CountingAllocator::reset(0);
        kelterm(&world_);
    }

    Bytes file(const char *rule) { return bench_file(std::string(GetParam().name) + "." + rule + ".hex"); }
    std::string message() { return kelGetErrMsg(&world_); }

    int encode(int rule, const void *value, Bytes &out, bool caller) {
        kelSetEncodingRules(&world_, rule);
        static unsigned char buffer[4096];
        KelBuf buf = caller ? KelBuf{sizeof buffer, buffer} : KelBuf{0, nullptr};
        const int code = kelEncode(&world_, GetParam().pdu, const_cast<void *>(value), &buf);
        if (code == 0) {
            out.assign(buf.value, buf.value + buf.length);
            if (!caller)
                kelFreeBuf(&world_, buf.value);
        }
        return code;
    }

    // Decodes an exact copy of `in`; the value stays in value_ until release().
    int decode(int rule, const Bytes &in, bool caller) {
        release();
        kelSetEncodingRules(&world_, rule);
        input_ = in;
        KelBuf buf{static_cast<uint32_t>(input_.size()), input_.data()};
        int pdu = GetParam().pdu;
        value_ = caller ? area_ : nullptr;
        inArea_ = caller;
        if (caller)
            kelSetDecodingLength(&world_, sizeof area_);
        const int code = kelDecode(&world_, &pdu, &buf, &value_);
        if (code != 0)
            value_ = nullptr;
        return code;
    }

    void release() {
        if (value_ && !inArea_)
            kelFreePDU(&world_, GetParam().pdu, value_);
        value_ = nullptr;
    }

    // Both variants refuse to encode `value` with the message `text`.
    void expect_refused(const void *value, const char *text) {
        for (const auto &r : kRules) {
            Bytes out;
            EXPECT_NE(encode(r.rule, value, out, false), 0) << text << " " << r.file;
            EXPECT_NE(message().find(text), std::string::npos) << message();
        }
    }

    bool same_as_sample(const void *value) {
        if (!GetParam().hasDer)
            return same_a2(*static_cast<const A2PersonnelRecord *>(value), a2Sample);
        Bytes der;
        return encode(KEL_DER, value, der, false) == 0 && der == der_;
    }

    KelGlobal world_;
    Bytes der_, derInput_, input_;
    void *sample_ = nullptr;
    void *value_ = nullptr;
    bool inArea_ = false;
    alignas(8) unsigned char sampleArea_[4096];
    alignas(8) unsigned char area_[4096];
};

TEST_P(PerMessages, EncodesTheSampleToTheFilesByteForByte) {
    for (const auto &r : kRules) {
        const Bytes expected = file(r.file);
        ASSERT_FALSE(expected.empty()) << r.file;
        for (bool caller : {false, true}) {
            Bytes out;
            ASSERT_EQ(encode(r.rule, sample_, out, caller), 0) << r.file << ": " << message();
            EXPECT_EQ(out, expected) << r.file << (caller ? " in a caller's buffer" : " in library memory");
        }
    }
}

TEST_P(PerMessages, DecodesTheFilesToTheSample) {
    for (const auto &r : kRules) {
        const Bytes expected = file(r.file);
        for (bool caller : {false, true}) {
            SCOPED_TRACE(std::string(r.file) + (caller ? " into a caller's area" : " into library memory"));
            ASSERT_EQ(decode(r.rule, expected, caller), 0) << message();
            EXPECT_EQ(world_.ext->bytesRead, expected.size());
            Bytes again;
            ASSERT_EQ(encode(r.rule, value_, again, false), 0) << message();
            EXPECT_EQ(again, expected);
            EXPECT_TRUE(same_as_sample(value_));
            release();
        }
    }
}

TEST_P(PerMessages, TruncationAndAllocationFailureLeaveNothingBehind) {
    CountingAllocator::install(&world_);
    const long before = CountingAllocator::live;
    for (const auto &r : kRules) {
        SCOPED_TRACE(r.file);
        const Bytes encoding = file(r.file);
        for (size_t n = 0; n < encoding.size(); ++n) {
            CountingAllocator::reset(0);
            EXPECT_NE(decode(r.rule, Bytes(encoding.begin(), encoding.begin() + static_cast<long>(n)), false), 0)
                << "prefix of " << n;
            if (n > 0) {
                EXPECT_NE(message().find("0081S"), std::string::npos) << n << ": " << message();
            }
            EXPECT_EQ(CountingAllocator::live, before) << "prefix of " << n;
        }
        kel_test::fail_each_allocation(&world_, [&] {
            const int code = decode(r.rule, encoding, false);
            release();
            return code;
        });
        Bytes out;
        kel_test::fail_each_allocation(&world_, [&] { return encode(r.rule, sample_, out, false); });
    }
    EXPECT_EQ(CountingAllocator::live, before);
}

INSTANTIATE_TEST_SUITE_P(PerMessages, PerMessages, ::testing::ValuesIn(kMessages),
                         [](const auto &info) { return std::string(info.param.name); });

// ---------------------------------------------------------------------------
// ProtoMessage: variants of the value, ranges held in both directions
// ---------------------------------------------------------------------------

class PerMessagesProto : public PerMessages {
  protected:
    Message sample() const { return *static_cast<const Message *>(sample_); }
};

TEST_P(PerMessagesProto, VariantsRoundTripInBothVariants) {
    const std::pair<const char *, std::function<void(Message &)>> variants[] = {
        {"nothing optional", [](Message &m) {
             m.bit_mask = 0;
             m.header.bit_mask = 0;
             m.header.source.bit_mask = 0;
             m.body.u.measurementReport.bit_mask = 0;
             m.body.u.measurementReport.description[0] = 0;
             for (uint32_t i = 0; i < m.cellReports.count; ++i)
                 m.cellReports.value[i].bit_mask = 0;
         }},
        {"attachRequest", [](Message &m) {
             m.body.choice = attachRequest_chosen;
             std::memcpy(m.body.u.attachRequest.imsi, "\x01\x23\x45\x67\x89\xAB\xCD\xEF", 8);
             m.body.u.attachRequest.capabilities = 0x80000001u;
         }},
        {"releaseIndication", [](Message &m) {
             m.body.choice = releaseIndication_chosen;
             m.body.u.releaseIndication.cause = 255;
         }},
        {"upper bounds", [](Message &m) {
             m.header.protocolVersion = 15;
             m.header.messageId = 0xFFFFFFFFu;
             m.header.source.nodeNumber = 1048575;
             m.header.hopCount = 255;
             MeasurementReport &r = m.body.u.measurementReport;
             r.servingCell = {999, 999, 268435455};
             r.validity.durationMs = 86400000;
             std::memset(r.description, 'x', 64);
             r.description[64] = 0;
             m.cellReports.count = 32;
             for (uint32_t i = 0; i < 32; ++i)
                 m.cellReports.value[i] = {sinr_present, 1007, -44, 20, 40};
         }},
        {"lower bounds", [](Message &m) {
             m.header.protocolVersion = 1;
             m.header.messageId = 0;
             m.header.source.nodeNumber = 0;
             m.body.u.measurementReport.servingCell = {0, 0, 0};
             m.body.u.measurementReport.validity.durationMs = 1;
             m.cellReports.count = 1;
             m.cellReports.value[0] = {sinr_present, 0, -156, -43, -23};
         }},
    };
    for (const auto &[what, edit] : variants) {
        Message m = sample();
        edit(m);
        Bytes der;
        ASSERT_EQ(encode(KEL_DER, &m, der, false), 0) << what << ": " << message();
        for (const auto &r : kRules) {
            Bytes per, back;
            ASSERT_EQ(encode(r.rule, &m, per, false), 0) << what << ": " << message();
            ASSERT_EQ(decode(r.rule, per, false), 0) << what << " " << r.file << ": " << message();
            EXPECT_EQ(encode(KEL_DER, value_, back, false), 0);
            EXPECT_EQ(back, der) << what << " " << r.file;
        }
    }
}

TEST_P(PerMessagesProto, RangesAreHeldOnEncodeAndDecode) {
    const std::pair<std::function<void(Message &)>, const char *> bad[] = {
        {[](Message &m) { m.header.protocolVersion = 0; }, "0062S"},
        {[](Message &m) { m.header.source.nodeNumber = 1048576; }, "0062S"},
        {[](Message &m) { m.cellReports.value[3].pci = 1008; }, "0062S"},
        {[](Message &m) { m.cellReports.value[3].rsrp = -43; }, "0062S"},
        {[](Message &m) { m.cellReports.value[0].sinr = -24; }, "0062S"},
        {[](Message &m) { m.body.u.measurementReport.validity.durationMs = 0; }, "0062S"},
        {[](Message &m) { m.cellReports.count = 0; }, "0077S"},
        {[](Message &m) { m.body.choice = 4; }, "0009S"},
        {[](Message &m) { m.body.u.measurementReport.trigger = static_cast<MeasurementReport_trigger>(5); }, "0071S"},
    };
    for (const auto &[edit, text] : bad) {
        Message m = sample();
        edit(m);
        expect_refused(&m, text);
    }
    // The first cell report's pci (two aligned octets after 0x9c) set to 1008.
    Bytes input = file("per");
    const Bytes mark = {0x9c, 0x00, 0x01, 0x99};
    const auto at = std::search(input.begin(), input.end(), mark.begin(), mark.end());
    ASSERT_NE(at, input.end());
    at[1] = 0x03;
    at[2] = 0xF0;
    EXPECT_NE(decode(KEL_PER_ALIGNED, input, false), 0);
    EXPECT_NE(message().find("0023E"), std::string::npos) << message();
}

INSTANTIATE_TEST_SUITE_P(PerMessages, PerMessagesProto, ::testing::Values(kMessages[2]),
                         [](const auto &) { return std::string("ProtoMessage"); });

// ---------------------------------------------------------------------------
// The personnel records: the children list, alphabets and sizes
// ---------------------------------------------------------------------------

class PerMessagesA1 : public PerMessages {};

// An empty list is the default and left out; 16K children end with an empty
// fragment, 16K + 1 with a fragment and a short length.
TEST_P(PerMessagesA1, ChildrenListsOfEverySize) {
    PersonnelRecord record = *static_cast<const PersonnelRecord *>(sample_);
    const ChildInformation child = record.children.value[0];
    for (uint32_t count : {0u, 16384u, 16385u}) {
        std::vector<ChildInformation> children(count, child);
        record.children = {count, children.data()};
        for (const auto &r : kRules) {
            SCOPED_TRACE(std::to_string(count) + " children, " + r.file);
            Bytes out, again;
            ASSERT_EQ(encode(r.rule, &record, out, false), 0) << message();
            EXPECT_EQ(out[0] >> 7, count ? 1 : 0) << "the preamble bit";
            if (r.rule == KEL_PER_ALIGNED && count == 16384) {
                EXPECT_EQ(out.back(), 0) << "the closing empty fragment";
            }
            ASSERT_EQ(decode(r.rule, out, false), 0) << message();
            const auto *back = static_cast<const PersonnelRecord *>(value_);
            EXPECT_EQ(back->children.count, count);
            EXPECT_EQ(back->bit_mask & children_present, count ? children_present : 0);
            ASSERT_EQ(encode(r.rule, value_, again, false), 0) << message();
            EXPECT_EQ(again, out);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(PerMessages, PerMessagesA1, ::testing::Values(kMessages[0]),
                         [](const auto &) { return std::string("PersonnelRecordA1"); });

class PerMessagesA2 : public PerMessages {};

TEST_P(PerMessagesA2, AlphabetsAndSizesAreHeld) {
    const std::pair<std::function<void(A2PersonnelRecord &)>, const char *> bad[] = {
        {[](A2PersonnelRecord &r) { std::strcpy(r.name.givenName, "J0hn"); }, "0064S"},
        {[](A2PersonnelRecord &r) { r.dateOfHire[3] = 'x'; }, "0064S"},
        {[](A2PersonnelRecord &r) { r.name.familyName[0] = 0; }, "0063S"},
        {[](A2PersonnelRecord &r) { std::memset(r.name.givenName, 'a', sizeof r.name.givenName); }, "0063S"},
        {[](A2PersonnelRecord &r) { r.dateOfHire[7] = 0; }, "0063S"},
    };
    for (const auto &[edit, text] : bad) {
        A2PersonnelRecord record = a2Sample;
        edit(record);
        expect_refused(&record, text);
    }
    // The longest name and the hyphen and dot of the alphabet go through.
    A2PersonnelRecord record = a2Sample;
    std::memset(record.name.givenName, 'z', 64);
    record.name.givenName[64] = 0;
    std::strcpy(record.name.familyName, "Smith-Jones.");
    for (const auto &r : kRules) {
        Bytes out;
        ASSERT_EQ(encode(r.rule, &record, out, false), 0) << message();
        ASSERT_EQ(decode(r.rule, out, false), 0) << message();
        EXPECT_TRUE(same_a2(*static_cast<const A2PersonnelRecord *>(value_), record)) << r.file;
    }
}

INSTANTIATE_TEST_SUITE_P(PerMessages, PerMessagesA2, ::testing::Values(kMessages[1]),
                         [](const auto &) { return std::string("PersonnelRecordA2"); });

} // namespace
