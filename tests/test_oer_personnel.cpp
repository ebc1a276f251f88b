// test_oer_personnel.cpp - the straight-line OER code of PersonnelRecordA1
// and PersonnelRecordA2 against the OER and COER encodings of the benchmark
// directory: the sample encoded byte for byte and the files decoded back to
// it, in library and caller memory; truncation and allocation failure
// leaving nothing behind; empty and long values, the forms only COER
// refuses, lying quantities, sizes held in both directions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "bench_files.h"
#include "counting_alloc.h"
#include "fail_each.h"
#include "internal.h"
#include "personnel.h"
#include "personnel_a2.h"
#include "personnel_sample.h"

namespace {

using kel_test::bench_file;
using kel_test::Bytes;
using kel_test::CountingAllocator;
using kel_test::a1Children;
using kel_test::a1Sample;
using kel_test::same;
using kel_test::same_record;
using kel_test::text;

A2ChildInformation a2Children[] = {{{"Ralph", "T", "Smith"}, "19571111"}, {{"Susan", "B", "Jones"}, "19590717"}};
const A2PersonnelRecord a2Sample = {A2_children_present, {"John", "P", "Smith"}, text("Director"), 51,
                                    "19710917", {"Mary", "T", "Smith"}, {2, a2Children}};

struct Message {
    const char *name;
    KelControlTable *control;
    int pdu;
    const void *sample;
    bool (*same)(const void *, const void *);
};

void PrintTo(const Message &m, std::ostream *os) { *os << m.name; }

const Message kMessages[] = {
    {"PersonnelRecordA1", &personnel_control, PersonnelRecord_PDU, &a1Sample, same<PersonnelRecord>},
    {"PersonnelRecordA2", &personnel_a2_control, A2PersonnelRecord_PDU, &a2Sample, same<A2PersonnelRecord>},
};

const struct {
    int rule;
    const char *file;
} kRules[] = {{KEL_OER, "oer"}, {KEL_COER, "coer"}};

class OerPersonnel : public ::testing::TestWithParam<Message> {
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
    std::string message() { return kelGetErrMsg(&world_); }
    // The message's number follows the prefix E or D.
    bool says(const char *number) { return message().compare(1, 5, number) == 0; }

    int encode(int rule, const void *value, Bytes &out, bool caller = false) {
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
    int decode(int rule, const Bytes &in, bool caller = false) {
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

    // The encoding of `value`: the same octets under both rules.
    Bytes encoded(const void *value) {
        Bytes oer, coer;
        EXPECT_EQ(encode(KEL_OER, value, oer), 0) << message();
        EXPECT_EQ(encode(KEL_COER, value, coer), 0) << message();
        EXPECT_EQ(oer, coer);
        return oer;
    }

    KelGlobal world_;
    Bytes input_;
    void *value_ = nullptr;
    bool inArea_ = false;
    alignas(8) unsigned char area_[4096];
};

TEST_P(OerPersonnel, TheSampleAndTheFilesBothWays) {
    for (const auto &r : kRules) {
        const Bytes expected = file(r.file);
        ASSERT_FALSE(expected.empty()) << r.file;
        for (bool caller : {false, true}) {
            SCOPED_TRACE(std::string(r.file) + (caller ? " in caller's memory" : " in library memory"));
            Bytes out;
            ASSERT_EQ(encode(r.rule, GetParam().sample, out, caller), 0) << message();
            EXPECT_EQ(out, expected);
            ASSERT_EQ(decode(r.rule, expected, caller), 0) << message();
            EXPECT_EQ(world_.ext->bytesRead, expected.size());
            EXPECT_TRUE(GetParam().same(value_, GetParam().sample));
        }
        // Count mode writes nothing, not even where there is room.
        std::vector<unsigned char> room(512, 0xEE);
        KelBuf counted{static_cast<uint32_t>(room.size()), room.data()};
        kelSetEncodingFlags(&world_, DETERMINE_ENC_LENGTH);
        EXPECT_EQ(kelEncode(&world_, GetParam().pdu, const_cast<void *>(GetParam().sample), &counted), 0);
        kelSetEncodingFlags(&world_, 0);
        EXPECT_EQ(counted.length, expected.size());
        EXPECT_EQ(std::count(room.begin(), room.end(), 0xEE), 512);
    }
}

TEST_P(OerPersonnel, TruncationAndAllocationFailureLeaveNothingBehind) {
    CountingAllocator::install(&world_);
    const long before = CountingAllocator::live;
    for (const auto &r : kRules) {
        SCOPED_TRACE(r.file);
        const Bytes encoding = file(r.file);
        for (size_t n = 0; n < encoding.size(); ++n) {
            CountingAllocator::reset(0);
            EXPECT_NE(decode(r.rule, Bytes(encoding.begin(), encoding.begin() + static_cast<long>(n))), 0);
            EXPECT_TRUE(says("0081S")) << n << ": " << message();
            EXPECT_EQ(CountingAllocator::live, before) << "prefix of " << n;
        }
        kel_test::fail_each_allocation(&world_, [&] {
            const int code = decode(r.rule, encoding);
            release();
            return code;
        });
        Bytes out;
        kel_test::fail_each_allocation(&world_, [&] { return encode(r.rule, GetParam().sample, out); });
    }
    EXPECT_EQ(CountingAllocator::live, before);
}

// The file with the children's quantity (01 02) replaced by `quantity`, and
// the children left out with `drop`.
Bytes with_quantity(Bytes input, const Bytes &quantity, bool drop = false) {
    const Bytes two = {0x01, 0x02};
    const auto at = std::search(input.begin(), input.end(), two.begin(), two.end()) - input.begin();
    input.erase(input.begin() + at, drop ? input.end() : input.begin() + at + 2);
    input.insert(input.begin() + at, quantity.begin(), quantity.end());
    return input;
}

// What the record's own code refuses: under COER padding in the preamble
// and the default empty list sent all the same, under both a quantity the
// input can't hold (before any room is taken for it).
TEST_P(OerPersonnel, CoerFormsAndQuantitiesOfTheRecord) {
    Bytes padded = file("oer");
    padded[0] |= 0x01;
    const struct {
        const char *what;
        Bytes input;
        const char *oer, *coer;
    } cases[] = {
        {"preamble padding", padded, nullptr, "0037E"},
        {"empty list", with_quantity(file("oer"), {0x01, 0x00}, true), nullptr, "0037E"},
        {"three children", with_quantity(file("oer"), {0x01, 0x03}), "0081S", "0081S"},
        {"2^31 - 1 children", with_quantity(file("oer"), {0x04, 0x7F, 0xFF, 0xFF, 0xFF}), "0081S", "0081S"},
    };
    for (const auto &c : cases)
        for (const auto &[rule, text] : {std::pair{KEL_OER, c.oer}, std::pair{KEL_COER, c.coer}}) {
            const int code = decode(rule, c.input);
            EXPECT_EQ(code == 0, text == nullptr) << c.what << ": " << message();
            if (text) {
                EXPECT_TRUE(says(text)) << c.what << ": " << message();
            } else if (value_) {
                EXPECT_EQ(*static_cast<const uint8_t *>(value_), 0x80) << c.what << ": the children's bit";
            }
        }
}

INSTANTIATE_TEST_SUITE_P(OerPersonnel, OerPersonnel, ::testing::ValuesIn(kMessages),
                         [](const auto &info) { return std::string(info.param.name); });

class OerPersonnelA1 : public OerPersonnel {};

// No children, lists and strings whose lengths take the long form.
TEST_P(OerPersonnelA1, EmptyAndLongValuesRoundTrip) {
    const std::string longTitle(200, 't'), longName(300, 'x');
    for (uint32_t count : {0u, 300u}) {
        std::vector<ChildInformation> children(count, a1Children[0]);
        PersonnelRecord record = a1Sample;
        record.children = {count, children.data()};
        record.title = const_cast<char *>(longTitle.c_str());
        record.name.familyName = const_cast<char *>(longName.c_str());
        const Bytes out = encoded(&record);
        ASSERT_FALSE(out.empty());
        EXPECT_EQ(out[0], count ? 0x80 : 0x00) << "the preamble";
        for (const Bytes &form : {Bytes{0x82, 0x01, 0x2C, 'x'}, Bytes{0x81, 0xC8, 't'}, Bytes{0x02, 0x01, 0x2C, 0x05}})
            EXPECT_EQ(std::search(out.begin(), out.end(), form.begin(), form.end()) != out.end(),
                      count || form[0] != 0x02)
                << count << " children, form " << int(form[0]);
        ASSERT_EQ(decode(KEL_COER, out, false), 0) << message();
        record.bit_mask = count ? children_present : 0;
        EXPECT_TRUE(same_record(*static_cast<const PersonnelRecord *>(value_), record));
    }
}

INSTANTIATE_TEST_SUITE_P(OerPersonnel, OerPersonnelA1, ::testing::Values(kMessages[0]),
                         [](const auto &) { return std::string("PersonnelRecordA1"); });

class OerPersonnelA2 : public OerPersonnel {};

// Sizes on encode (the length in the message), and a NameString's length
// out of 1..64 on decode: none breaks the lower bound, more can't be held.
TEST_P(OerPersonnelA2, SizesAreHeldBothWays) {
    const std::pair<void (*)(A2PersonnelRecord &), uint32_t> bad[] = {
        {[](A2PersonnelRecord &r) { r.name.familyName[0] = 0; }, 0},
        {[](A2PersonnelRecord &r) { std::memset(r.name.givenName, 'a', sizeof r.name.givenName); }, 65},
        {[](A2PersonnelRecord &r) { r.nameOfSpouse.initial[1] = 'x'; }, 2},
        {[](A2PersonnelRecord &r) { r.dateOfHire[7] = 0; }, 7},
    };
    for (const auto &[edit, length] : bad) {
        A2PersonnelRecord record = a2Sample;
        edit(record);
        Bytes out;
        EXPECT_NE(encode(KEL_COER, &record, out), 0);
        EXPECT_TRUE(says("0063S") && message().find("= " + std::to_string(length)) != std::string::npos)
            << message();
    }
    const Bytes sample = file("oer"); // 80 04 John 50 05 Smith ...
    for (const auto &[size, text] : {std::pair{0, "0063S"}, std::pair{65, "0016S"}}) {
        Bytes input = sample;
        input.erase(input.begin() + 2, input.begin() + 6);
        input[1] = static_cast<uint8_t>(size);
        input.insert(input.begin() + 2, static_cast<size_t>(size), 'a');
        EXPECT_NE(decode(KEL_OER, input), 0);
        EXPECT_TRUE(says(text)) << message();
    }
    // The longest names, the alphabet's hyphen and dot.
    A2PersonnelRecord record = a2Sample;
    std::memset(record.name.givenName, 'z', 64);
    record.name.givenName[64] = 0;
    std::strcpy(record.name.familyName, "Smith-Jones.");
    ASSERT_EQ(decode(KEL_COER, encoded(&record), true), 0) << message();
    EXPECT_TRUE(same_record(*static_cast<const A2PersonnelRecord *>(value_), record));
}

INSTANTIATE_TEST_SUITE_P(OerPersonnel, OerPersonnelA2, ::testing::Values(kMessages[1]),
                         [](const auto &) { return std::string("PersonnelRecordA2"); });

} // namespace
