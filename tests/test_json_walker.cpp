// test_json_walker.cpp - whole PDUs of the stand-in code files under the JSON
// rules where the corpus has no case: members given twice, unknown or
// missing, members in another order, open types whose key comes after
// them or is in no row, the writer's DEFAULT, absent-member and wrapper
// settings, REAL, nesting far beyond the limit, and a JSON text written
// after an empty bit-stream encoding on the same world.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "kelvarn_json.h"
#include "pdu_decoder.h"

namespace {

using kel_test::Bytes;
using kel_test::PduDecoder;

Bytes text(const std::string &s) { return Bytes(s.begin(), s.end()); }

// A world under the JSON rules, compact output.
struct JsonWorld : PduDecoder {
    explicit JsonWorld(const KelCodeFile *codefile = &kel_typeszoo_codefile) : PduDecoder(KEL_JSON, codefile) {
        kelSetJsonFlags(&world, JSON_COMPACT_ENCODING);
    }

    // The text decoded from an input of exactly its size and encoded again,
    // or "code N: message" on failure.
    std::string again(const char *type, const std::string &input) {
        int pdu = kel_codefile_pdu(file, type);
        std::unique_ptr<unsigned char[]> copy(new unsigned char[input.size()]);
        std::memcpy(copy.get(), input.data(), input.size());
        KelBuf in{static_cast<uint32_t>(input.size()), copy.get()};
        void *value = nullptr;
        if (const int code = kelDecode(&world, &pdu, &in, &value))
            return "code " + std::to_string(code) + ": " + kelGetErrMsg(&world);
        KelBuf out{0, nullptr};
        const int code = kelEncode(&world, pdu, value, &out);
        std::string result = code ? "code " + std::to_string(code) + ": " + kelGetErrMsg(&world)
                                  : std::string(reinterpret_cast<char *>(out.value), out.length);
        kelFreeBuf(&world, out.value);
        kelFreePDU(&world, pdu, value);
        EXPECT_EQ(kel_test::CountingAllocator::live, baseline);
        return result;
    }
};

TEST(JsonWalker, MembersGivenTwiceUnknownOrMissing) {
    struct Row {
        const char *type, *input, *message;
    };
    const Row rows[] = {
        {"SeqOpt", R"({"a":1,"b":true,"a":2})", "0364S: Invalid encoding of a;"},
        {"SetMany", R"({"c":"x","a":1,"b":true,"c":"y"})", "0364S: Invalid encoding of c;"},
        {"SeqOpt", R"({"a":1,"zz":2})", "0362S: Unknown member name: 'zz'"},
        {"Choice", R"({"zz":1})", "0362S: Unknown member name: 'zz'"},
        {"SeqOpt", R"({"b":true})", "0049E"},
        {"SetMany", R"({"a":1,"b":true})", "0049E"},
        {"SeqOpt", R"({})", "0049E"},
        // d of the version bracket [[ c, d ]] given without c
        {"SeqExtGroup", R"({"a":1,"d":3})", "0095E"},
        {"Choice", R"({"i":1,"s":"x"})", "0361S: Unknown token found, expecting '}'"},
        {"SeqOpt", R"([1])", "0361S: Unknown token found, expecting '{'"},
        {"Bool", R"(1)", "0361S: Unknown token found, expecting true/false"},
        {"SeqOfInt", R"([1,2)", "0081S"},
    };
    JsonWorld json;
    for (const Row &row : rows) {
        SCOPED_TRACE(row.input);
        EXPECT_NE(json.decode(row.type, text(row.input), row.message), 0);
    }
}

TEST(JsonWalker, ExtensibleTypesStepOverWhatTheyDoNotKnow) {
    JsonWorld json;
    EXPECT_EQ(json.again("SeqExt", R"({"zz":{"x":[1,{"y":"}"}]},"a":5,"later":[],"b":true})"), R"({"a":5,"b":true})");
    // An alternative the table doesn't know leaves no alternative chosen.
    EXPECT_EQ(json.decode("ChoiceExt", text(R"({"zz":[1,2,3]})")), 0);
    EXPECT_EQ(json.again("ChoiceExt", R"({"zz":[1,2,3]})").rfind("code 9: E0009S", 0), 0u);
}

TEST(JsonWalker, MembersInAnyOrderAndLayout) {
    JsonWorld json;
    EXPECT_EQ(json.again("SeqOpt", R"({"e":"blue","c":"x","d":8,"b":true,"a":-1})"),
              R"({"a":-1,"b":true,"c":"x","d":8,"e":"blue"})");
    EXPECT_EQ(json.again("SetOrder", " { \"v\" : \"00\",\n\t\"w\":null, \"x\":\"ab\",\"y\":false,\"z\":2 } "),
              R"({"z":2,"y":false,"x":"ab","w":null,"v":"00"})");
    EXPECT_EQ(json.again("SeqExtGroup", R"({"e":"0102","d":3,"c":"g","b":true,"a":-3})"),
              R"({"a":-3,"b":true,"c":"g","d":3,"e":"0102"})");
}

TEST(JsonWalker, OpenTypes) {
    JsonWorld json(&kel_open_types_codefile);
    const struct {
        const char *type, *input, *output;
    } rows[] = {
        {"Envelope", R"({"id":3,"body":{"flag":true,"data":"A1"}})", nullptr},
        // the body read before the key that selects its type
        {"Envelope", R"({"body":{"data":"A1","flag":true},"id":3})", R"({"id":3,"body":{"flag":true,"data":"A1"}})"},
        {"Envelope", R"({"body":{"value":"B0","length":4},"id":4})", R"({"id":4,"body":{"value":"B0","length":4}})"},
        // a key in no row: the text kept as it stands
        {"Envelope", R"({"id":9,"body":{ "any" : [1, "two"] }})", R"({"id":9,"body":{ "any" : [1, "two"] }})"},
        {"AttributeList", R"([{"value":-7,"type":"1.2.840.113549.1.9.99"},{"type":"2.5.4.6","value":"FI"}])",
         R"([{"type":"1.2.840.113549.1.9.99","value":-7},{"type":"2.5.4.6","value":"FI"}])"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(json.again(row.type, row.input), row.output ? row.output : row.input);
    // The body's type is that of the row: an INTEGER where a SEQUENCE is due.
    EXPECT_NE(json.decode("Envelope", text(R"({"body":42,"id":3})"), "0361S"), 0);
}

TEST(JsonWalker, WriterSettings) {
    JsonWorld json;
    const std::string defaults = R"({"a":0,"d":7,"e":"green"})";
    EXPECT_EQ(json.again("SeqOpt", defaults), R"({"a":0})");
    kelSetJsonFlags(&json.world, JSON_COMPACT_ENCODING | JSON_ENC_DEFAULT_VALUES);
    EXPECT_EQ(json.again("SeqOpt", defaults), defaults);
    kelSetJsonFlags(&json.world, JSON_COMPACT_ENCODING | JSON_ENC_ABSENT_COMPONENTS);
    const std::string absent = R"({"a":1,"b":null,"c":null,"d":null,"e":null})";
    EXPECT_EQ(json.again("SeqOpt", R"({"a":1})"), absent);
    EXPECT_EQ(json.again("SeqOpt", absent), absent);
    EXPECT_EQ(json.again("SetMany", R"({"a":1,"b":true,"c":"x","e":null})"), R"({"a":1,"b":true,"c":"x","d":null,"e":null})");
    kelSetJsonFlags(&json.world, JSON_COMPACT_ENCODING | JSON_WRAPPED_ENCODING);
    EXPECT_EQ(json.again("Choice", R"({"Choice":{"b":true}})"), R"({"Choice":{"b":true}})");
    EXPECT_EQ(json.again("Choice", R"({"b":true})"), R"({"Choice":{"b":true}})");
    // Indented: two spaces a level, no blank behind a colon.
    kelSetJsonFlags(&json.world, 0);
    EXPECT_EQ(json.again("SeqOfSeq", R"([{"a":1},{"a":2,"b":false}])"),
              "[\n  {\n    \"a\":1\n  },\n  {\n    \"a\":2,\n    \"b\":false\n  }\n]");
}

TEST(JsonWalker, RealRoundTrips) {
    // No corpus case has JSON for REAL: numbers come back in the canonical
    // text, the special values as objects.
    JsonWorld json;
    const struct {
        const char *input, *output;
    } rows[] = {
        {"1.5", "1.5E0"},
        {"-2.5e-3", "-2.5E-3"},
        {"0", "0"},
        {R"({"specialValue":"INF"})", nullptr},
        {R"({"specialValue":"-INF"})", nullptr},
        {R"({"specialValue":"-0"})", nullptr},
        {R"({"specialValue":"NaN"})", nullptr},
    };
    for (const auto &row : rows)
        EXPECT_EQ(json.again("Real", row.input), row.output ? row.output : row.input);
}

// Text of `depth` nested values: head repeated, the innermost, tail repeated.
std::string nested(size_t depth, const std::string &head, const std::string &innermost, const std::string &tail) {
    std::string s;
    s.reserve(depth * (head.size() + tail.size()) + innermost.size());
    for (size_t i = 0; i < depth; ++i)
        s += head;
    s += innermost;
    for (size_t i = 0; i < depth; ++i)
        s += tail;
    return s;
}

TEST(JsonWalker, NestingFarBeyondTheLimit) {
    constexpr size_t kDeep = 100000;
    JsonWorld json;
    const std::string deepObject = nested(kDeep, R"({"depth":1,"inner":)", R"({"depth":0})", "}");
    EXPECT_EQ(json.decode("Nest", text(deepObject), "0185E"), 109);
    kelSetSeqSetNestingLimit(&json.world, 70);
    EXPECT_EQ(json.decode("Nest", text(nested(69, R"({"depth":1,"inner":)", R"({"depth":0})", "}"))), 0);
    EXPECT_EQ(json.decode("Nest", text(nested(70, R"({"depth":1,"inner":)", R"({"depth":0})", "}")), "0185E"), 109);
    // Arrays: the inner one is no INTEGER, whatever follows it.
    EXPECT_NE(json.decode("SeqOfInt", text(nested(kDeep, "[", "", "]")), "0361S"), 0);
    EXPECT_NE(json.decode("SeqOfSeq", text(nested(kDeep, "[", "", "]")), "0361S"), 0);
}

TEST(JsonWalker, TextAfterAnEmptyBitStreamEncoding) {
    // Unaligned PER writes one zero octet for the empty SEQUENCE and leaves
    // its bit offset behind; the JSON text that follows must not grow by it.
    JsonWorld json;
    uint32_t empty[2] = {0, 0};
    const int pdu = kel_codefile_pdu(json.file, "SeqEmpty");
    for (int rules : {KEL_PER_UNALIGNED, KEL_JSON}) {
        kelSetEncodingRules(&json.world, rules);
        KelBuf out{0, nullptr};
        ASSERT_EQ(kelEncode(&json.world, pdu, empty, &out), 0);
        EXPECT_EQ(std::string(reinterpret_cast<char *>(out.value), out.length),
                  rules == KEL_JSON ? "{}" : std::string(1, '\0'));
        kelFreeBuf(&json.world, out.value);
    }
}

} // namespace
