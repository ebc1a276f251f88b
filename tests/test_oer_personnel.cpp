// test_oer_personnel.cpp - the straight-line OER code of PersonnelRecordA1
// and PersonnelRecordA2 against the OER and COER encodings of the benchmark
// directory: the sample encoded byte for byte and the files decoded back to
// it, in library and caller memory; truncation and allocation failure
// leaving nothing behind; long strings and lists, the forms only COER
// refuses, sizes held in both directions.
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

namespace {

using kel_test::bench_file;
using kel_test::Bytes;
using kel_test::CountingAllocator;

char *text(const char *s) { return const_cast<char *>(s); }

ChildInformation a1Children[] = {{{text("Ralph"), text("T"), text("Smith")}, text("19571111")},
                                 {{text("Susan"), text("B"), text("Jones")}, text("19590717")}};
const PersonnelRecord a1Sample = {children_present, {text("John"), text("P"), text("Smith")}, text("Director"), 51,
                                  text("19710917"), {text("Mary"), text("T"), text("Smith")}, {2, a1Children}};

A2ChildInformation a2Children[] = {{{"Ralph", "T", "Smith"}, "19571111"}, {{"Susan", "B", "Jones"}, "19590717"}};
const A2PersonnelRecord a2Sample = {A2_children_present, {"John", "P", "Smith"}, text("Director"), 51,
                                    "19710917", {"Mary", "T", "Smith"}, {2, a2Children}};

// Both memory forms compare the same way: their strings by strcmp.
template <class N> bool same_name(const N &a, const N &b) {
    return !std::strcmp(a.givenName, b.givenName) && !std::strcmp(a.initial, b.initial) &&
           !std::strcmp(a.familyName, b.familyName);
}

template <class R> bool same_record(const R &a, const R &b) {
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

struct Message {
    const char *name;
    KelControlTable *control;
    int pdu;
    const void *sample;
    bool (*same)(const void *, const void *);
};

void PrintTo(const Message &m, std::ostream *os) { *os << m.name; }

const Message kMessages[] = {
    {"PersonnelRecordA1", &personnel_control, PersonnelRecord_PDU, &a1Sample,
     [](const void *a, const void *b) {
         return same_record(*static_cast<const PersonnelRecord *>(a), *static_cast<const PersonnelRecord *>(b));
     }},
    {"PersonnelRecordA2", &personnel_a2_control, A2PersonnelRecord_PDU, &a2Sample,
     [](const void *a, const void *b) {
         return same_record(*static_cast<const A2PersonnelRecord *>(a), *static_cast<const A2PersonnelRecord *>(b));
     }},
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

    // Encodes `value` under both rules (the same octets), decodes that back
    // and encodes the result again; answers the encoding.
    Bytes round_trip(const void *value) {
        Bytes oer, coer, again;
        EXPECT_EQ(encode(KEL_OER, value, oer), 0) << message();
        EXPECT_EQ(encode(KEL_COER, value, coer), 0) << message();
        EXPECT_EQ(oer, coer);
        for (const auto &r : kRules) {
            EXPECT_EQ(decode(r.rule, oer), 0) << r.file << ": " << message();
            if (!value_)
                continue;
            EXPECT_EQ(encode(r.rule, value_, again), 0) << message();
            EXPECT_EQ(again, oer) << r.file;
        }
        return oer;
    }

    KelGlobal world_;
    Bytes input_;
    void *value_ = nullptr;
    bool inArea_ = false;
    alignas(8) unsigned char area_[4096];
};

TEST_P(OerPersonnel, EncodesTheSampleToTheFilesByteForByte) {
    for (const auto &r : kRules) {
        const Bytes expected = file(r.file);
        ASSERT_FALSE(expected.empty()) << r.file;
        for (bool caller : {false, true}) {
            Bytes out;
            ASSERT_EQ(encode(r.rule, GetParam().sample, out, caller), 0) << r.file << ": " << message();
            EXPECT_EQ(out, expected) << r.file << (caller ? " in a caller's buffer" : " in library memory");
        }
    }
}

TEST_P(OerPersonnel, DecodesTheFilesToTheSample) {
    for (const auto &r : kRules) {
        const Bytes expected = file(r.file);
        for (bool caller : {false, true}) {
            SCOPED_TRACE(std::string(r.file) + (caller ? " into a caller's area" : " into library memory"));
            ASSERT_EQ(decode(r.rule, expected, caller), 0) << message();
            EXPECT_EQ(world_.ext->bytesRead, expected.size());
            EXPECT_TRUE(GetParam().same(value_, GetParam().sample));
            release();
        }
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
            EXPECT_NE(decode(r.rule, Bytes(encoding.begin(), encoding.begin() + static_cast<long>(n))), 0)
                << "prefix of " << n;
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

// What only the record's own code refuses under COER: padding in the
// preamble, and the default empty list sent all the same.  OER takes both.
TEST_P(OerPersonnel, CoerRefusesPreamblePaddingAndAnEmptyListSent) {
    Bytes padded = file("oer");
    padded[0] |= 0x01;
    EXPECT_EQ(decode(KEL_OER, padded), 0) << message();
    EXPECT_NE(decode(KEL_COER, padded), 0);
    EXPECT_TRUE(says("0037E")) << message();

    // The sample with no children, then the list present with quantity 0.
    Bytes empty = file("oer");
    const Bytes children = {0x01, 0x02};
    const auto at = std::search(empty.begin(), empty.end(), children.begin(), children.end());
    ASSERT_NE(at, empty.end());
    empty.erase(at, empty.end());
    empty.insert(empty.end(), {0x01, 0x00});
    ASSERT_EQ(decode(KEL_OER, empty), 0) << message();
    EXPECT_EQ(*static_cast<const uint8_t *>(value_), 0x80) << "present, with no children";
    EXPECT_NE(decode(KEL_COER, empty), 0);
    EXPECT_TRUE(says("0037E")) << message();
}

// A quantity far beyond the input ends the decode before any room is taken
// for it; so does one that would need more memory than a piece can have.
TEST_P(OerPersonnel, QuantitiesTheInputCannotHoldAreTheEndOfInput) {
    for (const Bytes &quantity : {Bytes{0x01, 0x03}, Bytes{0x04, 0x7F, 0xFF, 0xFF, 0xFF}}) {
        Bytes input = file("oer");
        const Bytes children = {0x01, 0x02};
        const auto at = std::search(input.begin(), input.end(), children.begin(), children.end());
        ASSERT_NE(at, input.end());
        const auto where = at - input.begin();
        input.erase(at, at + 2);
        input.insert(input.begin() + where, quantity.begin(), quantity.end());
        for (const auto &r : kRules) {
            EXPECT_NE(decode(r.rule, input), 0);
            EXPECT_TRUE(says("0081S")) << message();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(OerPersonnel, OerPersonnel, ::testing::ValuesIn(kMessages),
                         [](const auto &info) { return std::string(info.param.name); });

// ---------------------------------------------------------------------------
// PersonnelRecordA1: long forms of lengths, quantities and integers
// ---------------------------------------------------------------------------

class OerPersonnelA1 : public OerPersonnel {};

TEST_P(OerPersonnelA1, LongLengthsQuantitiesAndNumbersRoundTrip) {
    const std::string longTitle(200, 't'), longer(300, 'x');
    for (uint32_t count : {0u, 1u, 127u, 128u, 300u}) {
        std::vector<ChildInformation> children(count, a1Children[0]);
        PersonnelRecord record = a1Sample;
        record.children = {count, children.data()};
        SCOPED_TRACE(std::to_string(count) + " children");
        const Bytes out = round_trip(&record);
        ASSERT_FALSE(out.empty());
        EXPECT_EQ(out[0], count ? 0x80 : 0x00) << "the preamble";
        ASSERT_NE(value_, nullptr);
        EXPECT_EQ(static_cast<const PersonnelRecord *>(value_)->children.count, count);
    }
    struct {
        int32_t number;
        Bytes form;
    } const numbers[] = {
        {0, {0x01, 0x00}},           {-1, {0x01, 0xFF}},
        {128, {0x02, 0x00, 0x80}},   {-129, {0x02, 0xFF, 0x7F}},
        {INT32_MAX, {0x04, 0x7F, 0xFF, 0xFF, 0xFF}}, {INT32_MIN, {0x04, 0x80, 0x00, 0x00, 0x00}},
    };
    for (const auto &n : numbers) {
        PersonnelRecord record = a1Sample;
        record.number = n.number;
        record.title = const_cast<char *>(longTitle.c_str());
        record.name.familyName = const_cast<char *>(longer.c_str());
        const Bytes out = round_trip(&record);
        // name: 04 John 01 P, then the familyName's long length.
        ASSERT_GT(out.size(), 12u + 300u + n.form.size());
        EXPECT_EQ(Bytes(out.begin() + 8, out.begin() + 11), (Bytes{0x82, 0x01, 0x2C}));
        EXPECT_EQ(Bytes(out.begin() + 311, out.begin() + 311 + static_cast<long>(n.form.size())), n.form);
        EXPECT_EQ(Bytes(out.begin() + 311 + static_cast<long>(n.form.size()),
                        out.begin() + 313 + static_cast<long>(n.form.size())),
                  (Bytes{0x81, 0xC8}))
            << "the title's length";
        ASSERT_EQ(decode(KEL_OER, out), 0) << message();
        EXPECT_TRUE(same_record(*static_cast<const PersonnelRecord *>(value_), record));
    }
}

// Needless or oversized integer and length forms: OER takes the needless
// ones, COER refuses them; nobody takes five octets into 32 bits.
TEST_P(OerPersonnelA1, IntegerAndLengthFormsUnderBothRules) {
    const Bytes sample = file("oer");
    const Bytes number = {0x01, 0x33};
    const auto at = std::search(sample.begin(), sample.end(), number.begin(), number.end()) - sample.begin();
    struct {
        Bytes form;
        const char *oer, *coer;
    } const cases[] = {
        {{0x02, 0x00, 0x33}, nullptr, "0022E"},
        {{0x05, 0x01, 0x00, 0x00, 0x00, 0x00}, "0144E", "0144E"},
        {{0x81, 0x01, 0x33}, "0037E", "0037E"}, // no long form for an integer's count
    };
    for (const auto &c : cases) {
        Bytes input = sample;
        input.erase(input.begin() + at, input.begin() + at + 2);
        input.insert(input.begin() + at, c.form.begin(), c.form.end());
        for (const auto &[rule, text] : {std::pair{KEL_OER, c.oer}, std::pair{KEL_COER, c.coer}}) {
            const int code = decode(rule, input);
            if (!text) {
                EXPECT_EQ(code, 0) << message();
                EXPECT_EQ(static_cast<const PersonnelRecord *>(value_)->number, 0x33);
            } else {
                EXPECT_NE(code, 0);
                EXPECT_TRUE(says(text)) << message();
            }
        }
    }
    // The title "Director" behind a long form of its length.
    Bytes input = sample;
    const auto title = input.begin() + at + 2;
    ASSERT_EQ(*title, 0x08);
    *title = 0x81;
    input.insert(title + 1, 0x08);
    EXPECT_EQ(decode(KEL_OER, input), 0) << message();
    EXPECT_NE(decode(KEL_COER, input), 0);
    EXPECT_TRUE(says("0022E")) << message();
}

INSTANTIATE_TEST_SUITE_P(OerPersonnel, OerPersonnelA1, ::testing::Values(kMessages[0]),
                         [](const auto &) { return std::string("PersonnelRecordA1"); });

// ---------------------------------------------------------------------------
// PersonnelRecordA2: sizes fixed and bounded
// ---------------------------------------------------------------------------

class OerPersonnelA2 : public OerPersonnel {};

TEST_P(OerPersonnelA2, SizesAreHeldOnEncode) {
    const std::pair<void (*)(A2PersonnelRecord &), uint32_t> bad[] = {
        {[](A2PersonnelRecord &r) { r.name.familyName[0] = 0; }, 0},
        {[](A2PersonnelRecord &r) { std::memset(r.name.givenName, 'a', sizeof r.name.givenName); }, 65},
        {[](A2PersonnelRecord &r) { r.name.initial[0] = 0; }, 0},
        {[](A2PersonnelRecord &r) { r.nameOfSpouse.initial[1] = 'x'; }, 2},
        {[](A2PersonnelRecord &r) { r.dateOfHire[7] = 0; }, 7},
        {[](A2PersonnelRecord &r) { r.dateOfHire[8] = '1'; }, 9},
    };
    for (const auto &[edit, length] : bad) {
        A2PersonnelRecord record = a2Sample;
        edit(record);
        for (const auto &r : kRules) {
            Bytes out;
            EXPECT_NE(encode(r.rule, &record, out), 0) << r.file;
            EXPECT_TRUE(says("0063S")) << message();
            EXPECT_NE(message().find("= " + std::to_string(length)), std::string::npos) << message();
        }
    }
    // The longest names, the alphabet's hyphen and dot, a long title.
    A2PersonnelRecord record = a2Sample;
    std::memset(record.name.givenName, 'z', 64);
    record.name.givenName[64] = 0;
    std::strcpy(record.name.familyName, "Smith-Jones.");
    const std::string title(130, 'D');
    record.title = const_cast<char *>(title.c_str());
    const Bytes out = round_trip(&record);
    ASSERT_FALSE(out.empty());
    EXPECT_EQ(out[1], 64);
    ASSERT_EQ(decode(KEL_COER, out, true), 0) << message();
    EXPECT_TRUE(same_record(*static_cast<const A2PersonnelRecord *>(value_), record));
}

// A NameString's length out of 1..64 on the wire: none breaks the lower
// bound, more can't be held.
TEST_P(OerPersonnelA2, NameLengthsOutOfBoundsAreRefused) {
    const Bytes sample = file("oer"); // 80 04 John 50 05 Smith ...
    ASSERT_EQ(sample[1], 0x04);
    Bytes none = sample;
    none.erase(none.begin() + 1, none.begin() + 6);
    none.insert(none.begin() + 1, 0x00);
    Bytes tooLong = sample;
    tooLong.erase(tooLong.begin() + 1, tooLong.begin() + 6);
    tooLong.insert(tooLong.begin() + 1, 65, 'a');
    tooLong.insert(tooLong.begin() + 1, 65);
    for (const auto &r : kRules) {
        EXPECT_NE(decode(r.rule, none), 0);
        EXPECT_TRUE(says("0063S")) << message();
        EXPECT_NE(decode(r.rule, tooLong), 0);
        EXPECT_TRUE(says("0016S")) << message();
    }
}

INSTANTIATE_TEST_SUITE_P(OerPersonnel, OerPersonnelA2, ::testing::Values(kMessages[1]),
                         [](const auto &) { return std::string("PersonnelRecordA2"); });

} // namespace
