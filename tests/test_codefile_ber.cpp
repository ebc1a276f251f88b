// test_codefile_ber.cpp - BER, DER and CER through kelEncode/kelDecode with
// table-driven code files, as an application sees them: both memory modes,
// failures as return codes, allocation failures and truncated input.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench_files.h"
#include "codefiles.h"
#include "counting_alloc.h"
#include "fail_each.h"
#include "kelvarn_ber.h"

namespace {

using Bytes = std::vector<uint8_t>;
using kel_test::CountingAllocator;

class CodefileBer : public ::testing::Test {
  protected:
    void open(const KelCodeFile *file) {
        kelterm(&world_);
        ASSERT_EQ(kelinit(&world_, const_cast<KelControlTable *>(&file->control)), 0);
        file_ = file;
    }
    void SetUp() override { open(&kel_typeszoo_codefile); }
    void TearDown() override { kelterm(&world_); }

    int pdu(const char *type) { return kel_codefile_pdu(file_, type); }

    // Encodes into library memory, or into a caller's buffer of `room` octets.
    int encode(const char *type, const void *value, Bytes &out, bool caller, size_t room = 64) {
        Bytes area(room);
        KelBuf buf{0, nullptr};
        if (caller)
            buf = KelBuf{static_cast<uint32_t>(room), area.data()};
        int code = kelEncode(&world_, pdu(type), const_cast<void *>(value), &buf);
        if (code == 0) {
            if (caller) {
                EXPECT_EQ(buf.value + buf.length, area.data() + room) << "backward writer ends at the top";
            }
            out.assign(buf.value, buf.value + buf.length);
            if (!caller)
                kelFreeBuf(&world_, buf.value);
        }
        return code;
    }

    // Decodes into library memory, or into the caller's area `words_`; the
    // value's first octets land in `value`.
    int decode(const char *type, const Bytes &in, void *value, size_t size, bool caller) {
        Bytes input(in);
        input.reserve(input.size() + 1);
        KelBuf buf{static_cast<uint32_t>(input.size()), input.data()};
        int number = pdu(type);
        void *out = caller ? words_ : nullptr;
        if (caller)
            kelSetDecodingLength(&world_, sizeof words_);
        int code = kelDecode(&world_, &number, &buf, &out);
        if (code == 0) {
            std::memcpy(value, out, size);
            if (caller) {
                EXPECT_EQ(out, static_cast<void *>(words_));
            } else {
                EXPECT_EQ(kelFreePDU(&world_, number, out), 0);
            }
        } else if (!caller) {
            EXPECT_EQ(out, nullptr) << "a failed decode in library memory hands back no value";
        }
        return code;
    }

    KelGlobal world_{};
    const KelCodeFile *file_ = nullptr;
    alignas(8) uint64_t words_[8] = {};
};

const auto hex = kel_test::from_hex;

// Each memory form of INTEGER and ENUMERATED, at the edges of its width.
TEST_F(CodefileBer, MemoryFormsRoundTripInBothModes) {
    const int8_t small = -5;
    const uint8_t u8 = 200, truth = 1;
    const int16_t ext = 1000;
    const uint16_t constant = 42;
    const int32_t enumerated = 100;
    const uint32_t u32 = 0xFFFFFFFFu;
    const int64_t i64 = INT64_MIN;
    struct Case { const char *type; const void *value; size_t size; const char *encoding; } cases[] = {
        {"IntSmall", &small, 1, "0201fb"},     {"IntU8", &u8, 1, "020200c8"},
        {"IntExt", &ext, 2, "020203e8"},       {"IntConst", &constant, 2, "02012a"},
        {"IntU32", &u32, 4, "020500ffffffff"}, {"Int", &i64, 8, "02088000000000000000"},
        {"EnumNum", &enumerated, 4, "0a0164"}, {"Bool", &truth, 1, "0101ff"},
    };
    for (const Case &c : cases) {
        for (bool caller : {false, true}) {
            SCOPED_TRACE(std::string(c.type) + (caller ? " caller's buffer" : " library memory"));
            Bytes out;
            ASSERT_EQ(encode(c.type, c.value, out, caller), 0) << kelGetErrMsg(&world_);
            EXPECT_EQ(out, hex(c.encoding));
            uint64_t back = 0;
            ASSERT_EQ(decode(c.type, out, &back, c.size, caller), 0) << kelGetErrMsg(&world_);
            EXPECT_EQ(std::memcmp(&back, c.value, c.size), 0);
        }
    }
}

// The caller's area is taken in rounded items; the caller's buffer needs no
// allocation.
TEST_F(CodefileBer, CallersMemoryIsUsedAsPromised) {
    uint8_t truth = 0;
    ASSERT_EQ(decode("Bool", hex("010101"), &truth, 1, true), 0);
    EXPECT_EQ(truth, 1);
    EXPECT_EQ(kelGetDecodingLength(&world_), 8) << "one item of 1 octet rounds up to 8";
    CountingAllocator::install(&world_);
    CountingAllocator::reset();
    const int64_t value = 1234567;
    Bytes out;
    ASSERT_EQ(encode("Int", &value, out, true), 0);
    EXPECT_EQ(CountingAllocator::calls, 0);
}

TEST_F(CodefileBer, FailuresComeBackAsReturnCodes) {
    uint64_t value = 0;
    EXPECT_EQ(decode("Bool", hex("020100"), &value, 1, false), 5) << "tag mismatch";
    EXPECT_EQ(decode("Null", hex("050100"), &value, 1, true), 5) << "NULL with contents";
    EXPECT_EQ(decode("Bool", hex("0180"), &value, 1, false), 5) << "primitive with indefinite length";
    EXPECT_EQ(decode("Enum", hex("0a0107"), &value, 4, false), 17) << "not among the enumeration";
    EXPECT_EQ(decode("EnumExt", hex("0a0107"), &value, 4, false), 0) << "extensible takes any number";
    EXPECT_EQ(decode("IntU8", hex("02020100"), &value, 1, true), 10) << "256 in one octet";
    EXPECT_EQ(decode("IntSmall", hex("020180"), &value, 1, false), 0);
    EXPECT_EQ(static_cast<int8_t>(value), -128);

    const int32_t notEnumerated = 7;
    Bytes out;
    EXPECT_EQ(encode("Enum", &notEnumerated, out, false), 17);
    const int64_t wide = 1 << 20;
    EXPECT_EQ(encode("Int", &wide, out, true, 4), 1) << "caller's buffer too small";
    KelBuf buf{0, nullptr};
    EXPECT_EQ(kelEncode(&world_, 99, &value, &buf), 3) << "PDU number out of range";

    // Found by fuzzing: an open type holding end-of-contents octets decoded
    // from a definite [1], whose CER re-encoding then couldn't be read.
    open(&kel_open_types_codefile);
    const Bytes eocAsOpenType = hex("3080308080035500" "10a1040080000000" "0000000000");
    EXPECT_EQ(decode("AttributeList", eocAsOpenType, &value, 1, false), 5);
    EXPECT_NE(std::strstr(world_.errMsg, "0028E"), nullptr) << world_.errMsg;
}

TEST_F(CodefileBer, ExplicitAndLongTags) {
    open(&kel_tagged_codefile);
    const uint8_t truth = 1;
    const int32_t number = -1;
    Bytes out;
    uint64_t back = 0;
    for (int rules : {KEL_BER, KEL_DER}) {
        ASSERT_EQ(kelSetEncodingRules(&world_, rules), 0);
        ASSERT_EQ(encode("TaggedBool", &truth, out, false), 0);
        EXPECT_EQ(out, hex("a1030101ff"));
        ASSERT_EQ(encode("LongTagInt", &number, out, true), 0);
        EXPECT_EQ(out, hex("5f814801ff"));
        ASSERT_EQ(decode("LongTagInt", out, &back, 4, false), 0);
        EXPECT_EQ(static_cast<int32_t>(back), -1);
    }
    ASSERT_EQ(kelSetEncodingRules(&world_, KEL_CER), 0);
    for (bool caller : {false, true}) {
        ASSERT_EQ(encode("TaggedBool", &truth, out, caller), 0);
        EXPECT_EQ(out, hex("a1800101ff0000")) << "CER writes explicit tags with indefinite length";
        back = 0;
        ASSERT_EQ(decode("TaggedBool", out, &back, 1, caller), 0) << kelGetErrMsg(&world_);
        EXPECT_EQ(back, 1u);
    }
    EXPECT_EQ(decode("TaggedBool", hex("a1800101ff0001"), &back, 1, false), 5) << "bad end-of-contents";
    EXPECT_EQ(decode("TaggedBool", hex("a1040101ff00"), &back, 1, false), 5) << "explicit length too long";
    ASSERT_EQ(kelSetEncodingRules(&world_, KEL_DER), 0);
    EXPECT_EQ(decode("TaggedBool", hex("a1800101ff0000"), &back, 1, false), 5) << "DER: indefinite";
}

// Whatever allocation fails, a library-memory call answers 8 and gives back
// everything it took; once none fails the value is right.
TEST_F(CodefileBer, EveryAllocationFailureIsCleanedUp) {
    CountingAllocator::install(&world_);
    const int64_t value = -1234567890123LL;
    const Bytes encoding = hex("0206fee08e04fb35");
    Bytes out;
    int64_t back = 0;
    EXPECT_GT(kel_test::fail_each_allocation(&world_, [&] { return encode("Int", &value, out, false); }), 1);
    EXPECT_EQ(out, encoding);
    EXPECT_GT(kel_test::fail_each_allocation(&world_, [&] { return decode("Int", encoding, &back, 8, false); }), 1);
    EXPECT_EQ(back, value);
}

// Every prefix of an encoding ends the input early; the input sits at the end
// of its own heap block, so a read past it is an overread the sanitizer sees.
TEST_F(CodefileBer, TruncatedInputAnswersEndOfInput) {
    struct Case { const KelCodeFile *file; const char *type; const char *encoding; } cases[] = {
        {&kel_typeszoo_codefile, "Int", "02088000000000000000"}, {&kel_typeszoo_codefile, "Bool", "0101ff"},
        {&kel_tagged_codefile, "TaggedBool", "a1800101ff0000"}, {&kel_tagged_codefile, "LongTagInt", "5f814801ff"},
    };
    for (const Case &c : cases) {
        open(c.file);
        const Bytes full = hex(c.encoding);
        for (size_t length = 0; length < full.size(); length++) {
            SCOPED_TRACE(std::string(c.type) + " cut at " + std::to_string(length));
            unsigned char *block = static_cast<unsigned char *>(std::malloc(length + 1));
            unsigned char *input = block + 1;
            std::memcpy(input, full.data(), length);
            KelBuf buf{static_cast<uint32_t>(length), input};
            int number = pdu(c.type);
            void *out = nullptr;
            EXPECT_EQ(kelDecode(&world_, &number, &buf, &out), 4) << kelGetErrMsg(&world_);
            EXPECT_EQ(out, nullptr);
            std::free(block);
        }
    }
}

} // namespace
