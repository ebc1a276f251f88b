// test_json_messages.cpp - the straight-line JSON code of PersonnelRecordA1
// and ProtoMessage against the JER texts of the benchmark directory: the
// value of the DER file encoded to the same JSON value (and compact, to the
// same octets) in library memory, in a caller's buffer and in count mode;
// the text decoded to the value the DER file decodes to; every allocation
// failing and every truncation leaving nothing behind; members twice,
// unknown, missing, out of order; what follows the value; empty input; the
// wrapper, null for absent components, DEFAULT values written out; the
// nesting limit.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>

#include <nlohmann/json.hpp>

#include "bench_files.h"
#include "counting_alloc.h"
#include "fail_each.h"
#include "kelvarn_json.h"
#include "message_world.h"
#include "personnel_sample.h"
#include "proto_message.h"

namespace {

using kel_test::bench_file;
using kel_test::bench_text;
using kel_test::Bytes;
using kel_test::CountingAllocator;
using kel_test::MessageWorld;
using nlohmann::json;

// A ProtoMessage is one zeroed piece: two decodes of one value agree
// octet for octet.
bool same_message(const void *a, const void *b) { return std::memcmp(a, b, sizeof(Message)) == 0; }

struct JsonMessage {
    const char *name;
    KelControlTable *control;
    int pdu;
    bool (*same)(const void *, const void *);
    int depth; // levels of structure in the bench value
};

void PrintTo(const JsonMessage &m, std::ostream *os) { *os << m.name; }

const JsonMessage kMessages[] = {
    {"PersonnelRecordA1", &personnel_control, PersonnelRecord_PDU, kel_test::same<PersonnelRecord>, 4},
    {"ProtoMessage", &proto_message_control, Message_PDU, same_message, 4},
};

std::string as_text(const Bytes &b) { return std::string(b.begin(), b.end()); }
Bytes as_bytes(const std::string &s) { return Bytes(s.begin(), s.end()); }

class JsonMessages : public ::testing::TestWithParam<JsonMessage> {
  protected:
    JsonMessages() : der_(GetParam().control, GetParam().pdu), jer_(GetParam().control, GetParam().pdu) {}
    void SetUp() override {
        ASSERT_FALSE(text_.empty());
        ASSERT_EQ(der_.decode(KEL_DER, bench_file(std::string(GetParam().name) + ".der.hex")), 0)
            << der_.message();
    }
    void TearDown() override { CountingAllocator::reset(0); }

    // Decodes `in` as JSON: 0 and the DER file's value, or the failure.
    int decode_as_der(const Bytes &in, bool caller = false) {
        const int code = jer_.decode(KEL_JSON, in, caller);
        if (code == 0) {
            EXPECT_TRUE(GetParam().same(jer_.value, der_.value)) << as_text(in);
        }
        return code;
    }

    const Bytes text_ = bench_text(std::string(GetParam().name) + ".jer.json");
    MessageWorld der_, jer_;
};

TEST_P(JsonMessages, TheDerValueEncodesToTheBenchText) {
    for (bool caller : {false, true}) {
        SCOPED_TRACE(caller ? "caller's buffer" : "library memory");
        Bytes out;
        kelSetJsonFlags(&der_.world, 0);
        ASSERT_EQ(der_.encode(KEL_JSON, out, caller), 0) << der_.message();
        EXPECT_EQ(json::parse(out), json::parse(text_));
        // Count mode finds the length of the indented text exactly.
        EXPECT_EQ(der_.counted(KEL_JSON), out.size());

        kelSetJsonFlags(&der_.world, JSON_COMPACT_ENCODING);
        ASSERT_EQ(der_.encode(KEL_JSON, out, caller), 0) << der_.message();
        EXPECT_EQ(as_text(out), as_text(text_));
        // Compact or not, count mode counts the line breaks: an upper bound.
        EXPECT_GE(der_.counted(KEL_JSON), out.size());
    }
    // The indent step -1 is the compact form too.
    Bytes out;
    kelSetJsonFlags(&der_.world, 0);
    kelSetJsonIndentSize(&der_.world, -1);
    ASSERT_EQ(der_.encode(KEL_JSON, out), 0) << der_.message();
    EXPECT_EQ(as_text(out), as_text(text_));
}

TEST_P(JsonMessages, TheBenchTextDecodesToTheDerValue) {
    for (bool caller : {false, true}) {
        SCOPED_TRACE(caller ? "caller's area" : "library memory");
        ASSERT_EQ(decode_as_der(text_, caller), 0) << jer_.message();
        EXPECT_EQ(kelGetBytesReadByDecoder(&jer_.world), static_cast<long>(text_.size()));
    }
    // The indented form, and white space wherever JSON allows it.
    Bytes indented;
    ASSERT_EQ(der_.encode(KEL_JSON, indented), 0);
    EXPECT_EQ(decode_as_der(indented), 0) << jer_.message();
    std::string spaced;
    for (char c : as_text(text_))
        spaced += std::strchr("{}[],:", c) ? std::string(" \t") + c + "\r\n" : std::string(1, c);
    EXPECT_EQ(decode_as_der(as_bytes(spaced)), 0) << jer_.message();
}

TEST_P(JsonMessages, FailingAllocationsAndTruncationsLeaveNothingBehind) {
    CountingAllocator::install(&jer_.world);
    const long before = CountingAllocator::live;
    kel_test::fail_each_allocation(&jer_.world, [&] {
        const int code = jer_.decode(KEL_JSON, text_);
        jer_.release();
        return code;
    });
    Bytes out;
    kel_test::fail_each_allocation(&jer_.world, [&] { return jer_.encode(KEL_JSON, out, false, der_.value); });
    for (size_t n = 0; n < text_.size(); ++n) {
        CountingAllocator::reset(0);
        // A cut inside a number leaves a shorter number, which its range
        // may refuse before the end of input is reached.
        ASSERT_NE(jer_.decode(KEL_JSON, Bytes(text_.begin(), text_.begin() + static_cast<long>(n))), 0) << n;
        EXPECT_EQ(CountingAllocator::live, before) << "prefix of " << n;
    }
}

// What follows the value is not read: the bytes read end with the value.
TEST_P(JsonMessages, TheValueEndsAtItsClosingBrace) {
    Bytes in = text_;
    const std::string tail = " ]garbage{";
    in.insert(in.end(), tail.begin(), tail.end());
    ASSERT_EQ(decode_as_der(in), 0) << jer_.message();
    EXPECT_EQ(kelGetBytesReadByDecoder(&jer_.world), static_cast<long>(text_.size()));
}

// No value at all is the end of input, strict or not.
TEST_P(JsonMessages, EmptyInputIsTheEndOfInput) {
    for (unsigned long flags : {0ul, static_cast<unsigned long>(STRICT_ENCODING_DECODING_RULES)}) {
        kelSetDecodingFlags(&jer_.world, flags);
        kelSetEncodingRules(&jer_.world, KEL_JSON);
        unsigned char none[1] = {'{'};
        KelBuf empty{0, none};
        int pdu = GetParam().pdu;
        void *value = nullptr;
        EXPECT_EQ(kelDecode(&jer_.world, &pdu, &empty, &value), 4) << flags;
        EXPECT_TRUE(jer_.says("0081S")) << jer_.message();
        EXPECT_EQ(value, nullptr);
    }
}

// The layout flags round trip: the wrapper object, absent components as
// null, DEFAULT values written out.
TEST_P(JsonMessages, WrapperNullsAndDefaultsComeBackTheSame) {
    const unsigned long flags = JSON_WRAPPED_ENCODING | JSON_ENC_ABSENT_COMPONENTS | JSON_ENC_DEFAULT_VALUES;
    kelSetJsonFlags(&der_.world, flags | JSON_COMPACT_ENCODING);
    kelSetJsonFlags(&jer_.world, flags);
    Bytes out;
    ASSERT_EQ(der_.encode(KEL_JSON, out), 0) << der_.message();
    const json wrapped = json::parse(out);
    ASSERT_TRUE(wrapped.is_object() && wrapped.size() == 1) << as_text(out);
    const std::string pduName = wrapped.begin().key();
    EXPECT_TRUE(pduName == "PersonnelRecord" || pduName == "Message") << pduName;
    EXPECT_EQ(decode_as_der(out), 0) << jer_.message();
    // Without the flag the wrapper is an unknown member (of a type that
    // knows all of its members) or one stepped over (of an extensible one).
    kelSetJsonFlags(&jer_.world, 0);
    EXPECT_NE(jer_.decode(KEL_JSON, out), 0);
}

// Each structure entered counts against the world's nesting limit.
TEST_P(JsonMessages, NestingBeyondTheLimitIsRefused) {
    kelSetSeqSetNestingLimit(&jer_.world, GetParam().depth - 1);
    EXPECT_NE(jer_.decode(KEL_JSON, text_), 0);
    EXPECT_TRUE(jer_.says("0185E")) << jer_.message();
    kelSetSeqSetNestingLimit(&jer_.world, GetParam().depth);
    EXPECT_EQ(decode_as_der(text_), 0) << jer_.message();
}

INSTANTIATE_TEST_SUITE_P(Files, JsonMessages, ::testing::ValuesIn(kMessages),
                         [](const auto &info) { return std::string(info.param.name); });

// The default layout, indent 2, pinned once.
TEST(JsonPersonnel, DefaultLayoutIsIndentedByTwo) {
    MessageWorld m(&personnel_control, PersonnelRecord_PDU);
    Bytes out;
    ASSERT_EQ(m.encode(KEL_JSON, out, false, &kel_test::a1Sample), 0) << m.message();
    EXPECT_EQ(as_text(out), R"({
  "name":{
    "givenName":"John",
    "initial":"P",
    "familyName":"Smith"
  },
  "title":"Director",
  "number":51,
  "dateOfHire":"19710917",
  "nameOfSpouse":{
    "givenName":"Mary",
    "initial":"T",
    "familyName":"Smith"
  },
  "children":[
    {
      "name":{
        "givenName":"Ralph",
        "initial":"T",
        "familyName":"Smith"
      },
      "dateOfBirth":"19571111"
    },
    {
      "name":{
        "givenName":"Susan",
        "initial":"B",
        "familyName":"Jones"
      },
      "dateOfBirth":"19590717"
    }
  ]
})");
}

// Edits of a bench text: the first `from` replaced by `to`.  An accepted
// edit decodes to the bench value unless `differs` says how it differs.
struct Edit {
    const char *what;
    const char *from;
    const char *to;
    const char *message; // "" accepted, else the message's number
};

std::string edited(const std::string &text, const Edit &e) {
    std::string out = text;
    const size_t at = out.find(e.from);
    EXPECT_NE(at, std::string::npos) << e.what;
    if (at != std::string::npos)
        out.replace(at, std::strlen(e.from), e.to);
    return out;
}

void expect_edits(const JsonMessage &m, std::initializer_list<Edit> edits) {
    MessageWorld der(m.control, m.pdu), jer(m.control, m.pdu);
    ASSERT_EQ(der.decode(KEL_DER, bench_file(std::string(m.name) + ".der.hex")), 0);
    const std::string text = as_text(bench_text(std::string(m.name) + ".jer.json"));
    for (const Edit &e : edits) {
        const int code = jer.decode(KEL_JSON, as_bytes(edited(text, e)));
        if (*e.message == 0) {
            EXPECT_EQ(code, 0) << e.what << ": " << jer.message();
            if (code == 0) {
                EXPECT_TRUE(m.same(jer.value, der.value)) << e.what;
            }
        } else {
            EXPECT_NE(code, 0) << e.what;
            EXPECT_TRUE(jer.says(e.message)) << e.what << ": " << jer.message();
        }
    }
}

TEST(JsonPersonnel, HostileMembers) {
    expect_edits(kMessages[0],
                 {
                     {"title twice", R"("title":"Director",)", R"("title":"Director","title":"Director",)", "0364S"},
                     {"initial twice", R"("initial":"P",)", R"("initial":"P","initial":"P",)", "0364S"},
                     {"children twice", R"("children":[)", R"("children":[],"children":[)", "0364S"},
                     {"unknown member", R"("title":)", R"("rank":1,"title":)", "0362S"},
                     {"unknown member of a child", R"("dateOfBirth":"19571111")",
                      R"("dateOfBirth":"19571111","age":9)", "0362S"},
                     {"number missing", R"("number":51,)", "", "0049E"},
                     {"initial missing", R"("initial":"P",)", "", "0049E"},
                     {"dateOfBirth missing", R"(,"dateOfBirth":"19590717")", "", "0049E"},
                     {"members reordered",
                      R"("name":{"givenName":"John","initial":"P","familyName":"Smith"},"title":"Director",)",
                      R"("title":"Director","name":{"familyName":"Smith","initial":"P","givenName":"John"},)", ""},
                     {"a member name with an escape", R"("givenName":"John")", R"("giv\u0065nName":"John")", ""},
                     {"a name that starts like the expected one", R"("initial":"P")", R"("initialX":"P")", "0362S"},
                     {"number as a string", R"("number":51)", R"("number":"51")", "0361S"},
                     {"number with a fraction", R"("number":51)", R"("number":51.5)", "0361S"},
                     {"title as a number", R"("title":"Director")", R"("title":7)", "0361S"},
                     {"trailing comma", R"("familyName":"Jones"})", R"("familyName":"Jones",})", "0361S"},
                     {"children an object", R"("children":[)", R"("children":{"a":[)", "0361S"},
                     {"a record in an array", R"({"name":{"givenName":"John")", R"([{"name":{"givenName":"John")",
                      "0361S"},
                 });
}

TEST(JsonPersonnel, EmptyAndLongChildLists) {
    MessageWorld m(&personnel_control, PersonnelRecord_PDU);
    // An empty list is kept as present with no children.
    const std::string text = as_text(bench_text("PersonnelRecordA1.jer.json"));
    const std::string none = text.substr(0, text.find(R"(,"children")")) + R"(,"children":[]})";
    ASSERT_EQ(m.decode(KEL_JSON, as_bytes(none)), 0) << m.message();
    auto *record = static_cast<PersonnelRecord *>(m.value);
    EXPECT_EQ(record->bit_mask, children_present);
    EXPECT_EQ(record->children.count, 0u);
    // Many children: the list grows past the first ones, in both memories.
    json j = json::parse(text);
    for (int i = 0; i < 100; ++i)
        j["children"].push_back({{"dateOfBirth", std::to_string(20000000 + i)},
                                 {"name", {{"givenName", "C"}, {"initial", "X"}, {"familyName", std::to_string(i)}}}});
    for (bool caller : {false, true}) {
        ASSERT_EQ(m.decode(KEL_JSON, as_bytes(j.dump()), caller), 0) << m.message();
        record = static_cast<PersonnelRecord *>(m.value);
        ASSERT_EQ(record->children.count, 102u);
        EXPECT_STREQ(record->children.value[1].name.givenName, "Susan");
        EXPECT_STREQ(record->children.value[101].name.familyName, "99");
        EXPECT_STREQ(record->children.value[101].dateOfBirth, "20000099");
    }
    CountingAllocator::install(&m.world);
    kel_test::fail_each_allocation(&m.world, [&] {
        const int code = m.decode(KEL_JSON, as_bytes(j.dump()));
        m.release();
        return code;
    });
}

TEST(JsonProtoMessage, HostileMembers) {
    expect_edits(kMessages[1],
                 {
                     {"pci twice", R"("pci":17,)", R"("pci":17,"pci":17,)", "0364S"},
                     {"header twice", R"("body":)", R"("header":{},"body":)", "0364S"},
                     {"sinr twice", R"("sinr":20)", R"("sinr":20,"sinr":null)", "0364S"},
                     {"unknown member of NodeAddress", R"("nodeNumber":4660)", R"("nodeNumber":4660,"x":1)",
                      "0362S"},
                     {"unknown member of CellReport", R"("pci":1,)", R"("pci":1,"rssi":3,)", "0362S"},
                     {"Header's later member stepped over", R"("hopCount":2)",
                      R"("hopCount":2,"later":{"a":[1,{"b":"}]"}],"c":null})", ""},
                     {"Message's later member stepped over", R"("trailer":)", R"("later":[[],{}],"trailer":)", ""},
                     {"MeasurementReport's later member stepped over", R"("reportId":771,)",
                      R"("reportId":771,"later":"x",)", ""},
                     {"rsrp missing", R"("rsrp":-80,)", "", "0049E"},
                     {"header missing", R"("header":{"protocolVersion":3)", R"("later":{"protocolVersion":3)",
                      "0049E"},
                     {"cellId missing", R"(,"cellId":123456789)", "", "0049E"},
                     {"pci out of range", R"("pci":1,)", R"("pci":1008,)", "0023E"},
                     {"rsrq below its range", R"("rsrq":-10)", R"("rsrq":-44)", "0023E"},
                     {"unknown priority", R"("high")", R"("urgent")", "0365S"},
                     {"a body of no alternative", R"({"measurementReport":{"reportId":771,)",
                      R"({},"x":{"reportId":771,)", "0364S"},
                     {"a body of two alternatives", R"("validity":{"startTime":1700000000,"durationMs":3600000}})",
                      R"("validity":{"startTime":1700000000,"durationMs":3600000}},"releaseIndication":{})",
                      "0361S"},
                     {"a short plmnId", R"("plmnId":"00F110","nodeNumber":74565)",
                      R"("plmnId":"00F1","nodeNumber":74565)", "0063S"},
                     {"flags not hexadecimal", R"("A5F00F5A")", R"("A5F00F5G")", "0364S"},
                     {"nodeName empty", R"("gnb-0042.example.net")", R"("")", "0063S"},
                     {"nodeName beyond ASCII", R"("gnb-0042.example.net")", R"("gnb\u00e9")", "0064S"},
                     {"nodeName with a NUL", R"("gnb-0042.example.net")", R"("gnb\u0000")", "0046E"},
                     {"no cell reports", R"("cellReports":[{"pci":1,"rsrp":-80,"rsrq":-10,"sinr":20},)",
                      R"("cellReports":[],"x":[)", "0077S"},
                 });
}

// null stands for an absent OPTIONAL component; a later alternative of Body
// leaves the selector 0; more than 32 cell reports are refused.
TEST(JsonProtoMessage, NullsLaterAlternativesAndTheSizeBound) {
    MessageWorld m(&proto_message_control, Message_PDU);
    const json bench = json::parse(as_text(bench_text("ProtoMessage.jer.json")));
    json j = bench;
    j["trailer"] = nullptr;
    j["header"]["destination"] = nullptr;
    j["cellReports"][0]["sinr"] = nullptr;
    ASSERT_EQ(m.decode(KEL_JSON, as_bytes(j.dump())), 0) << m.message();
    const auto *message = static_cast<const Message *>(m.value);
    EXPECT_EQ(message->bit_mask, security_present);
    EXPECT_EQ(message->header.bit_mask, correlationId_present | hopCount_present);
    EXPECT_EQ(message->cellReports.value[0].bit_mask, 0);
    EXPECT_EQ(message->cellReports.value[1].bit_mask, sinr_present);

    j = bench;
    j["body"] = {{"handoverCommand", {{"target", {1, 2, 3}}}}};
    ASSERT_EQ(m.decode(KEL_JSON, as_bytes(j.dump())), 0) << m.message();
    EXPECT_EQ(static_cast<const Message *>(m.value)->body.choice, 0);
    Bytes out;
    EXPECT_EQ(m.encode(KEL_JSON, out), 9) << "no alternative to encode: " << m.message();

    j = bench;
    while (j["cellReports"].size() < 32)
        j["cellReports"].push_back(j["cellReports"][0]);
    ASSERT_EQ(m.decode(KEL_JSON, as_bytes(j.dump())), 0) << m.message();
    EXPECT_EQ(static_cast<const Message *>(m.value)->cellReports.count, 32u);
    j["cellReports"].push_back(j["cellReports"][0]);
    EXPECT_NE(m.decode(KEL_JSON, as_bytes(j.dump())), 0);
    EXPECT_TRUE(m.says("0077S")) << m.message();
}

// The encoder holds the value to its constraints.
TEST(JsonProtoMessage, EncoderHoldsConstraints) {
    MessageWorld m(&proto_message_control, Message_PDU);
    ASSERT_EQ(m.decode(KEL_DER, bench_file("ProtoMessage.der.hex")), 0);
    auto *message = static_cast<Message *>(m.value);
    const Message saved = *message;
    const struct {
        const char *what;
        std::function<void(Message &)> change;
        const char *number;
    } rows[] = {
        {"pci above 1007", [](Message &v) { v.cellReports.value[3].pci = 1008; }, "0062S"},
        {"sinr below -23", [](Message &v) { v.cellReports.value[0].sinr = -24; }, "0062S"},
        {"no cell reports", [](Message &v) { v.cellReports.count = 0; }, "0077S"},
        {"a priority of no name", [](Message &v) { v.header.priority = static_cast<Priority>(9); }, "0071S"},
        {"an empty nodeName", [](Message &v) { v.header.source.nodeName[0] = 0; }, "0063S"},
        {"no alternative", [](Message &v) { v.body.choice = 0; }, ""},
    };
    for (const auto &row : rows) {
        *message = saved;
        row.change(*message);
        Bytes out;
        EXPECT_NE(m.encode(KEL_JSON, out), 0) << row.what;
        if (*row.number) {
            EXPECT_TRUE(m.says(row.number)) << row.what << ": " << m.message();
        }
    }
    *message = saved;
}

} // namespace
