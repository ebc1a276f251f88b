// test_per_hostile.cpp - hostile PER input to whole PDUs of the stand-in
// code files: extension bitmaps of no bits and of a thousand, additions whose
// wrapping length lies, unknown additions with fragmented lengths, deep
// nesting with and without a limit, and every truncation of the Annex A
// records.  Each input sits in a heap block of exactly its size, so that a
// read past it shows under the sanitizer; every failed call leaves nothing
// allocated.
#include <gtest/gtest.h>

#include <pthread.h>

#include <cstdlib>
#include <vector>

#include "pdu_decoder.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Bits written high bit first into a growing octet string.
struct BitWriter {
    Bytes octets;
    size_t bits = 0;
    BitWriter &put(uint64_t value, unsigned n) {
        for (unsigned i = n; i-- > 0; ++bits) {
            if (bits % 8 == 0)
                octets.push_back(0);
            if (value >> i & 1)
                octets.back() |= static_cast<uint8_t>(0x80 >> (bits % 8));
        }
        return *this;
    }
    BitWriter &zeros(size_t n) {
        for (; n; --n)
            put(0, 1);
        return *this;
    }
};

// The value of SeqExt { a INTEGER (0..255), b BOOLEAN OPTIONAL, ..., c IA5String OPTIONAL }
// up to its extension additions, in unaligned PER: extension bit 1, b
// absent, a = 5.
BitWriter seq_ext_head() {
    BitWriter w;
    w.put(1, 1).put(0, 1).put(5, 8);
    return w;
}

// Decodes in unaligned PER.
struct Decoder : kel_test::PduDecoder {
    explicit Decoder(const KelCodeFile *codefile = &kel_typeszoo_codefile)
        : PduDecoder(KEL_PER_UNALIGNED, codefile) {}
};

TEST(PerHostile, ExtensionBitmapsOfNoBitsAndOfAThousand) {
    Decoder d;
    // A bitmap of length 0 takes the long form of the normally small length.
    const Bytes empty = seq_ext_head().put(1, 1).put(0, 8).octets;
    EXPECT_EQ(d.decode("SeqExt", empty), 0);
    kelSetDecodingFlags(&d.world, kelGetDecodingFlags(&d.world) | STRICT_ENCODING_DECODING_RULES);
    EXPECT_EQ(d.decode("SeqExt", empty, "0037E"), 5);

    // A thousand presence bits, none set: nothing to skip, but strict rules
    // want at least one.
    const Bytes thousand = seq_ext_head().put(1, 1).put(0x8000 | 1000, 16).zeros(1000).octets;
    EXPECT_EQ(d.decode("SeqExt", thousand, "0037E"), 5);
    kelSetDecodingFlags(&d.world, kelGetDecodingFlags(&d.world) & ~STRICT_ENCODING_DECODING_RULES);
    EXPECT_EQ(d.decode("SeqExt", thousand), 0);
    const Bytes cut(thousand.begin(), thousand.end() - 20);
    EXPECT_EQ(d.decode("SeqExt", cut, "0081S"), 4);
}

TEST(PerHostile, AdditionLengthsThatLie) {
    Decoder d;
    // One addition present, c = "ab": a length octet, then the string's own
    // length octet and two 7-bit characters in three octets.
    auto addition = [](unsigned wrapped) {
        return seq_ext_head().put(0, 1).put(0, 6).put(1, 1).put(wrapped, 8).put(2, 8).put('a', 7).put('b', 7).zeros(2).octets;
    };
    EXPECT_EQ(d.decode("SeqExt", addition(3)), 0);
    EXPECT_EQ(d.decode("SeqExt", addition(2), "0081S"), 4);           // shorter than its content
    Bytes longer = addition(5);
    longer.insert(longer.end(), {0, 0});
    EXPECT_EQ(d.decode("SeqExt", longer, "0037E"), 5);                // content left unread
    kelSetDecodingFlags(&d.world, kelGetDecodingFlags(&d.world) | KEL_RELAXED);
    EXPECT_EQ(d.decode("SeqExt", longer), 0);
    kelSetDecodingFlags(&d.world, kelGetDecodingFlags(&d.world) & ~KEL_RELAXED);
    Bytes beyond = addition(100);
    EXPECT_EQ(d.decode("SeqExt", beyond, "0081S"), 4);                // length beyond the input
}

TEST(PerHostile, UnknownAdditionWithFragmentedLength) {
    Decoder d;
    // Two presence bits: c absent, an addition this table doesn't know with
    // 16384 + 3 octets in a fragment and a final part.
    BitWriter w = seq_ext_head().put(0, 1).put(1, 6).put(0, 1).put(1, 1).put(0xC1, 8);
    w.zeros(16384 * 8).put(3, 8).zeros(24);
    EXPECT_EQ(d.decode("SeqExt", w.octets), 0);
    for (size_t cut : {1u, 2u, 4u, 16390u}) {
        SCOPED_TRACE(cut);
        const Bytes shorter(w.octets.begin(), w.octets.end() - static_cast<long>(cut));
        EXPECT_EQ(d.decode("SeqExt", shorter, "0081S"), 4);
    }
}

TEST(PerHostile, ChoiceIndexBeyondTheAlternatives) {
    // TaggedChoice has three alternatives in two bits: 3 names none of them.
    Decoder d(&kel_tags_explicit_codefile);
    EXPECT_EQ(d.decode("TaggedChoice", {0x80}), 0);
    EXPECT_EQ(d.decode("TaggedChoice", {0xC0}, "0023E"), 10);
    // An extension alternative that the table doesn't know is skipped.
    Decoder zoo;
    const Bytes unknown = BitWriter().put(1, 1).put(0, 1).put(5, 6).put(2, 8).put(0xABCD, 16).octets;
    EXPECT_EQ(zoo.decode("ChoiceExt", unknown), 0);
    EXPECT_EQ(zoo.decode("ChoiceExt", Bytes(unknown.begin(), unknown.end() - 1), "0081S"), 4);
}

// Nest ::= SEQUENCE { depth INTEGER, inner Nest OPTIONAL } nested `levels`
// deep, in unaligned PER.
Bytes deep_nest(size_t levels) {
    BitWriter w;
    for (size_t i = 0; i < levels; ++i)
        w.put(i + 1 < levels, 1).put(1, 8).put(i & 0x7F, 8);
    return w.octets;
}

TEST(PerHostile, NestingLimit) {
    Decoder d;
    EXPECT_EQ(d.decode("Nest", deep_nest(64)), 0);
    EXPECT_EQ(d.decode("Nest", deep_nest(10000), "0185E"), 109);
    EXPECT_EQ(d.decode("Nest", deep_nest(65), "0185E"), 109);
}

// Without a limit 10000 levels decode, given the stack that a decoder of a
// recursive type needs for that depth (a thread of its own with 256 MB); in
// a child process, so that an overflow fails this test alone.
void *decode_deep_without_limit(void *code) {
    Decoder d;
    kelSetSeqSetNestingLimit(&d.world, 0);
    *static_cast<int *>(code) = d.decode("Nest", deep_nest(10000));
    return nullptr;
}

int decode_deep_on_a_large_stack() {
    pthread_attr_t attr;
    pthread_t thread;
    int code = -1;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, size_t(256) << 20);
    if (pthread_create(&thread, &attr, decode_deep_without_limit, &code) == 0)
        pthread_join(thread, nullptr);
    pthread_attr_destroy(&attr);
    return code;
}

TEST(PerHostileDeathTest, DeepNestingWithoutLimit) {
    EXPECT_EXIT(std::exit(decode_deep_on_a_large_stack()), ::testing::ExitedWithCode(0), "");
}

#ifdef KEL_VECTORS_DIR
// Every truncation of the Annex A records fails cleanly, in both variants.
TEST(PerHostile, EveryTruncationOfTheAnnexRecords) {
    const std::pair<const char *, int> rules[] = {{"per", KEL_PER_ALIGNED}, {"uper", KEL_PER_UNALIGNED}};
    kel_test::expect_truncations_fail("PersonnelA1", &kel_personnel_a1_codefile, kel_per_knows, {rules[0], rules[1]});
    kel_test::expect_truncations_fail("PersonnelA2", &kel_personnel_a2_codefile, kel_per_knows, {rules[0], rules[1]});
    kel_test::expect_truncations_fail("PersonnelA3", &kel_personnel_a3_codefile, kel_per_knows, {rules[0], rules[1]});
}
#endif

} // namespace
