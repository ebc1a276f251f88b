// test_codefile_structs.cpp - bad and unusual structured input through the
// table-driven code files: SET components repeated or missing, unknown
// CHOICE tags, the nesting limit, unknown extensions, open types that
// overrun their container.  Each input sits in a heap block of its exact
// size, and the counting allocator shows that a failure leaves nothing.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "codefiles.h"
#include "counting_alloc.h"
#include "kelvarn_ber.h"

namespace {

using Bytes = std::vector<uint8_t>;
using kel_test::CountingAllocator;

Bytes hex(const std::string &text) {
    Bytes out;
    for (size_t i = 0; i + 1 < text.size(); i += 2)
        out.push_back(static_cast<uint8_t>(std::stoi(text.substr(i, 2), nullptr, 16)));
    return out;
}

// A TLV with a minimal definite length.
Bytes tlv(uint8_t tag, const Bytes &body) {
    const size_t n = body.size();
    Bytes out(n >= 256 ? 4 : n >= 128 ? 3 : 2);
    out[0] = tag;
    out[1] = n >= 256 ? 0x82 : n >= 128 ? 0x81 : static_cast<uint8_t>(n);
    if (n >= 128)
        out.back() = static_cast<uint8_t>(n);
    if (n >= 256)
        out[2] = static_cast<uint8_t>(n >> 8);
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

// A Nest value `depth` levels deep: the inner levels under [1].
Bytes nest(int depth) {
    Bytes body = hex("800100");
    for (int level = 1; level < depth; level++) {
        Bytes outer = hex("800100");
        const Bytes inner = tlv(0xA1, body);
        outer.insert(outer.end(), inner.begin(), inner.end());
        body = outer;
    }
    return tlv(0x30, body);
}

class CodefileStructs : public ::testing::Test {
  protected:
    void open(const KelCodeFile *file) {
        kelterm(&world_);
        ASSERT_EQ(kelinit(&world_, const_cast<KelControlTable *>(&file->control)), 0);
        CountingAllocator::install(&world_);
        file_ = file;
    }
    void TearDown() override {
        kelterm(&world_);
        CountingAllocator::reset();
    }

    // Decodes from a heap block of exactly the input's size into library
    // memory; the message text of a failure goes to `message`.
    int decode(const char *type, const Bytes &in, void **value) {
        unsigned char *input = static_cast<unsigned char *>(std::malloc(in.size()));
        std::memcpy(input, in.data(), in.size());
        KelBuf buf{static_cast<uint32_t>(in.size()), input};
        int number = kel_codefile_pdu(file_, type);
        *value = nullptr;
        int code = kelDecode(&world_, &number, &buf, value);
        message_ = code ? kelGetErrMsg(&world_) : "";
        std::free(input);
        return code;
    }

    Bytes encode(const char *type, void *value) {
        KelBuf out{0, nullptr};
        EXPECT_EQ(kelEncode(&world_, kel_codefile_pdu(file_, type), value, &out), 0) << kelGetErrMsg(&world_);
        Bytes bytes(out.value, out.value + out.length);
        kelFreeBuf(&world_, out.value);
        return bytes;
    }

    void release(const char *type, void *value) { kelFreePDU(&world_, kel_codefile_pdu(file_, type), value); }

    KelGlobal world_{};
    const KelCodeFile *file_ = nullptr;
    std::string message_;
};

TEST_F(CodefileStructs, BadStructuresFailWithTheirMessage) {
    struct Case {
        const KelCodeFile *file;
        const char *type, *input;
        int code;
        const char *message; // printed number of the message row
    } cases[] = {
        {&kel_typeszoo_codefile, "SetMany", "3109800101800102820161", 5, "0048E"},  // a twice
        {&kel_typeszoo_codefile, "SetMany", "31068001018101ff", 5, "0049E"},        // c missing
        {&kel_typeszoo_codefile, "SeqOpt", "3000", 5, "0049E"},                     // a missing
        {&kel_typeszoo_codefile, "Choice", "850100", 5, "0047E"},                   // no such alternative
        {&kel_typeszoo_codefile, "SeqOpt", "3005800101a500", 5, "0047E"},           // not extensible
        {&kel_open_types_codefile, "Envelope", "300c800101a10302052a2a2a2a2a", 5, "0031S"}, // body past [1]
        {&kel_open_types_codefile, "Envelope", "3008800101a10302092a", 4, ""},      // body past the input
        {&kel_typeszoo_codefile, "SetOfInt", "310302020101", 5, "0031S"},           // element past the SET OF
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.type) + " " + c.input);
        open(c.file);
        const long baseline = CountingAllocator::live;
        void *value;
        EXPECT_EQ(decode(c.type, hex(c.input), &value), c.code) << message_;
        EXPECT_NE(message_.find(c.message), std::string::npos) << message_;
        EXPECT_EQ(value, nullptr);
        EXPECT_EQ(CountingAllocator::live, baseline);
    }
}

// The default limit of 64 stops a 70-level Nest in both directions; with no
// limit it decodes and encodes back to the same octets.
TEST_F(CodefileStructs, NestingLimit) {
    open(&kel_typeszoo_codefile);
    const long baseline = CountingAllocator::live;
    const Bytes deep = nest(70);
    void *value;
    EXPECT_EQ(decode("Nest", nest(64), &value), 0) << message_;
    release("Nest", value);
    EXPECT_EQ(decode("Nest", deep, &value), 109);
    EXPECT_NE(message_.find("0185E"), std::string::npos) << message_;
    EXPECT_EQ(CountingAllocator::live, baseline);

    ASSERT_EQ(kelSetSeqSetNestingLimit(&world_, 0), 0);
    ASSERT_EQ(decode("Nest", deep, &value), 0) << message_;
    EXPECT_EQ(encode("Nest", value), deep);
    ASSERT_EQ(kelSetSeqSetNestingLimit(&world_, 64), 0);
    KelBuf out{0, nullptr};
    EXPECT_EQ(kelEncode(&world_, kel_codefile_pdu(file_, "Nest"), value, &out), 109);
    release("Nest", value);
    EXPECT_EQ(CountingAllocator::live, baseline);
}

// Unknown additions of an extensible type are stepped over, nested and
// indefinite ones included; an open type with a key outside its table is
// kept as its encoding and goes out unchanged.
TEST_F(CodefileStructs, UnknownExtensionsAndOpenTypes) {
    struct SeqExtValue {
        uint32_t present;
        uint8_t a, b;
        KelUnboundedString c;
    };
    open(&kel_typeszoo_codefile);
    const long baseline = CountingAllocator::live;
    void *value;
    ASSERT_EQ(decode("SeqExt", hex("3080800105" "8101ff" "a580308004010000000000" "9f2001aa" "0000"), &value), 0)
        << message_;
    const SeqExtValue *seq = static_cast<const SeqExtValue *>(value);
    EXPECT_EQ(seq->a, 5);
    EXPECT_EQ(seq->b, 1);
    EXPECT_EQ(seq->present, 1u) << "b alone is present";
    EXPECT_EQ(encode("SeqExt", value), hex("30068001058101ff"));
    release("SeqExt", value);

    open(&kel_open_types_codefile);
    const Bytes unknown = hex("3009800109a104030201ff");
    ASSERT_EQ(decode("Envelope", unknown, &value), 0) << message_;
    struct EnvelopeValue {
        uint32_t present;
        int64_t id;
        KelOpenType body;
    } *envelope = static_cast<EnvelopeValue *>(value);
    EXPECT_EQ(envelope->body.decoded, nullptr);
    EXPECT_EQ(Bytes(static_cast<uint8_t *>(envelope->body.encoded),
                    static_cast<uint8_t *>(envelope->body.encoded) + envelope->body.length),
              hex("030201ff"));
    EXPECT_EQ(encode("Envelope", value), unknown);
    release("Envelope", value);
    EXPECT_EQ(CountingAllocator::live, baseline);
}

} // namespace
