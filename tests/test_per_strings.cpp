// Tests of the PER character strings: size forms and alignment in both
// variants, fragmentation at 16K and 64K, extension bits and compatibility
// bits, alphabet failures, padding of the fixed forms, time strings that
// fragment, UTF-8 edge cases, round trips through every memory form with
// nothing left allocated, and the range-list alphabet walkers.
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "counting_alloc.h"
#include "harness.h"
#include "internal.h"
#include "kelvarn_per.h"
#include "kelvarn_services.h"

namespace {

using kel_test::CountingAllocator;
using Octets = std::vector<uint8_t>;

constexpr uint32_t kIa5 = KEL_PER_STRING_FLAGS(8, 1, 7, 1);
constexpr uint32_t kTwoBitTable = KEL_PER_STRING_FLAGS(2, 0, 2, 0);
constexpr uint32_t kFourBitTable = KEL_PER_STRING_FLAGS(4, 0, 4, 0);

// A byte alphabet from its characters, in ascending order.
struct ByteAlphabet {
    std::string chars;
    unsigned char indexes[128];
    KelPerAlphabet record;
    explicit ByteAlphabet(std::string text) : chars(std::move(text)) {
        std::memset(indexes, 255, sizeof indexes);
        for (size_t i = 0; i < chars.size(); ++i)
            indexes[static_cast<uint8_t>(chars[i])] = static_cast<unsigned char>(i);
        record = {static_cast<uint32_t>(chars.size()), reinterpret_cast<const unsigned char *>(chars.data()),
                  indexes};
    }
};

// 'A'; U+03B1..U+03C9; U+2603, U+2615, U+2764; U+1F600..U+1F64F: 109
// characters.  Root: the Greek range, its left branch 'A', its right branch
// the list, whose right branch is the emoji range.
constexpr uint32_t kTree[] = {
    1,  1u << 30 | 1u << 25 | 7, 0x3B1, 0x3C9,
    0,  0u << 30, 0x41,
    26, 2u << 30 | 4u << 26 | 5, 0x2603, 0x2615, 0x2764,
    29, 1u << 30, 0x1F600, 0x1F64F};
// The same alphabet without index words.
constexpr uint32_t kTreeNoIndex[] = {
    0xFFFFFFFFu, 1u << 30 | 1u << 25 | 5, 0x3B1, 0x3C9,
    0u << 30, 0x41,
    2u << 30 | 4u << 26 | 4, 0x2603, 0x2615, 0x2764,
    1u << 30, 0x1F600, 0x1F64F};

struct PerString : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    long liveAtStart = 0;

    void SetUp() override {
        CountingAllocator::install(world);
        CountingAllocator::reset();
        liveAtStart = CountingAllocator::live;
    }
    void TearDown() override {
        _kel_freetempMem(world);
        _kel_freeMem(world, world->freeMem);
        EXPECT_EQ(CountingAllocator::live - liveAtStart, 0);
    }
    // The message's number, behind the decoder's or encoder's letter.
    bool failed_with(int rc, const char *number) {
        const char *text = kelGetErrMsg(world);
        if (*text == 'D' || *text == 'E')
            ++text;
        return rc != 0 && std::strncmp(text, number, 5) == 0;
    }
    // Runs `body` as an encoder into library memory, after one 1 bit when
    // `lead`; returns the octets.  The same body in length-only mode must
    // count exactly the bits it writes.
    template <class Body> Octets encode(bool aligned, bool lead, Body body, int *rc = nullptr) {
        _kel_freeMem(world, world->freeMem); // decoded values share the chain
        world->aligned = aligned;
        world->encodingFlags |= DETERMINE_ENC_LENGTH;
        world->encLength = 0, world->bitOffset = 0;
        const int counted = kel_test::in_frame(world, kel::kPhaseEncoder, [&] {
            if (lead)
                _kel_append_1bit_unaligned(world, 0x80);
            body();
        });
        const uint64_t countedBits = uint64_t{world->encLength} * 8 + static_cast<uint32_t>(world->bitOffset);
        world->encodingFlags &= ~DETERMINE_ENC_LENGTH;
        world->userBuffer = 0, world->outPos = nullptr, world->outRemaining = 0, world->bitOffset = 0;
        world->outQueueTail = &world->outQueue;
        const int code = kel_test::in_frame(world, kel::kPhaseEncoder, [&] {
            if (lead)
                _kel_append_1bit_unaligned(world, 0x80);
            body();
        });
        EXPECT_EQ(counted, code);
        if (rc)
            *rc = code;
        else
            EXPECT_EQ(code, 0) << kelGetErrMsg(world);
        if (code) {
            _kel_freeMem(world, world->freeMem);
            return {};
        }
        uint32_t length = 0;
        unsigned char *value = nullptr;
        EXPECT_EQ(kel_test::in_frame(world, kel::kPhaseEncoder, [&] { _kel_set_outmem_p(world, &length, &value); }), 0);
        EXPECT_EQ((countedBits + 7) / 8, length) << "length-only mode counted another size";
        Octets out(value, value + length);
        kelFreeBuf(world, value);
        return out;
    }
    // Decodes from `input` (kept alive and exactly sized by the caller) after
    // its lead bit; a successful decode must leave the temporary stack empty
    // and end inside the last octet.
    template <class Body> int decode(const Octets &input, bool aligned, bool lead, Body body) {
        world->aligned = aligned;
        world->inPos = const_cast<uint8_t *>(input.data());
        world->inRemaining = static_cast<int32_t>(input.size());
        world->bitOffset = 0;
        const int rc = kel_test::in_frame(world, kel::kPhaseDecoder, [&] {
            if (lead) {
                EXPECT_EQ(_kel_get_bit(world, 0), 0x80);
            }
            body();
        });
        if (rc == 0) {
            EXPECT_EQ(world->tempList, nullptr) << "temporary memory left";
            EXPECT_LE(world->inRemaining, 1);
        }
        return rc;
    }
};

// ---------------------------------------------------------------------------
// Known-multiplier size forms
// ---------------------------------------------------------------------------

struct KnownRow {
    const char *what;
    std::string value;
    uint32_t lb, ub, flags;
    bool alphabet; // the "ABCD" table
    uint8_t extension;
    uint32_t compat;
    Octets aligned, unaligned; // behind one 1 bit
};

TEST_F(PerString, KnownMultiplierSizeFormsAndAlignment) {
    ByteAlphabet abcd("ABCD");
    ByteAlphabet x("x");
    const KnownRow rows[] = {
        {"empty, 0..10", "", 0, 10, kIa5, false, 0, 0, {0x80}, {0x80}},
        {"fixed 2 x 8 bits: not aligned", "hi", 2, 2, kIa5, false, 0, 0, {0xB4, 0x34, 0x80}, {0xE8, 0xD2}},
        {"0..2 x 8 bits: aligned", "hi", 0, 2, kIa5, false, 0, 0, {0xC0, 0x68, 0x69}, {0xDA, 0x34, 0x80}},
        {"one-character alphabet, fixed 5", "xxxxx", 5, 5, KEL_PER_STRING_FLAGS(0, 0, 0, 0), true, 0, 0,
         {0x80}, {0x80}},
        {"extended, alphabet kept", "ABCDA", 1, 4, kTwoBitTable | KEL_PER_SIZE_EXTENSIBLE, true, 0x80, 0,
         {0xC0, 0x05, 0x1B, 0x00}, {0xC1, 0x46, 0xC0}},
        {"extended, compatibility: octets", "ABCDA", 1, 4, kTwoBitTable | KEL_PER_SIZE_EXTENSIBLE, true,
         0x80, 0x1000, {0xC0, 0x05, 'A', 'B', 'C', 'D', 'A'}, {0xC1, 0x50, 0x50, 0x90, 0xD1, 0x10, 0x40}},
        {"inside the root of an extensible size", "AB", 2, 2, kTwoBitTable | KEL_PER_SIZE_EXTENSIBLE, true,
         0, 0x1000, {0x84}, {0x84}},
    };
    for (const KnownRow &row : rows) {
        const ByteAlphabet &alphabet = row.value[0] == 'x' ? x : abcd;
        const KelPerString desc{row.alphabet ? &alphabet.record : nullptr, row.lb, row.ub, 16, row.flags};
        world->ext->compatFlags = row.compat;
        for (bool aligned : {true, false}) {
            SCOPED_TRACE(std::string(row.what) + (aligned ? ", aligned" : ", unaligned"));
            const auto *chars = reinterpret_cast<const unsigned char *>(row.value.data());
            const uint32_t length = static_cast<uint32_t>(row.value.size());
            const Octets out = encode(aligned, true, [&] { _kel_penc_kmstr(world, chars, length, &desc, row.extension); });
            EXPECT_EQ(out, aligned ? row.aligned : row.unaligned);
            unsigned char *back = nullptr;
            int32_t got = -1;
            EXPECT_EQ(decode(out, aligned, true, [&] { got = _kel_pdec_ub_kmstr(world, &back, &desc); }), 0);
            EXPECT_EQ(std::string(reinterpret_cast<char *>(back), static_cast<size_t>(got)), row.value);
        }
    }
}

TEST_F(PerString, FragmentsAt16KAnd64K) {
    struct Row {
        uint32_t length, lb, ub;
        Octets head;   // determinant in front of the characters
        size_t extra;  // octets besides the characters and the head
        Octets tail;   // the last octets
    };
    const Row rows[] = {
        {16383, 1, 0, {0xBF, 0xFF}, 0, {'q'}},
        {16384, 1, 0, {0xC1}, 1, {'q', 0x00}},         // closing empty determinant
        {65535, 65535, 65535, {}, 0, {'q'}},           // fixed: no length at all
        {65536, 65536, 65536, {0xC4}, 1, {'q', 0x00}}, // the length loop
        {65537, 1, 0, {0xC4}, 1, {'q', 0x01, 'q'}},
    };
    std::vector<unsigned char> text(65537, 'q');
    for (const Row &row : rows) {
        SCOPED_TRACE(row.length);
        const KelPerString desc{nullptr, row.lb, row.ub, 0, kIa5};
        const Octets out = encode(true, false, [&] { _kel_penc_kmstr(world, text.data(), row.length, &desc, 0); });
        ASSERT_EQ(out.size(), row.head.size() + row.length + row.extra);
        EXPECT_TRUE(std::equal(row.head.begin(), row.head.end(), out.begin()));
        EXPECT_TRUE(std::equal(row.tail.rbegin(), row.tail.rend(), out.rbegin()));
    }
}

// ---------------------------------------------------------------------------
// Failures and the behaviour of single forms
// ---------------------------------------------------------------------------

TEST_F(PerString, EncoderRejectsSizeAndAlphabetViolations) {
    ByteAlphabet abcd("ABCD");
    const KelPerString sized{nullptr, 2, 3, 0, kIa5};
    const KelPerString table{&abcd.record, 0, 8, 0, kTwoBitTable};
    const KelPerWideAlphabet cyrillic{4, "\x00\x01\x02\x03", (const unsigned char *)"\x00\x01\x02\x03", 0x410};
    const KelPerString wide{&cyrillic, 0, 8, 0, kTwoBitTable};
    const uint16_t outside[] = {0x411, 0x40F};
    int rc;
    encode(true, false, [&] { _kel_penc_kmstr(world, (const unsigned char *)"abcd", 4, &sized, 0); }, &rc);
    EXPECT_TRUE(failed_with(rc, "0063S")) << kelGetErrMsg(world);
    encode(true, false, [&] { _kel_penc_kmstr(world, (const unsigned char *)"ABE", 3, &table, 0); }, &rc);
    EXPECT_TRUE(failed_with(rc, "0064S")) << kelGetErrMsg(world);
    encode(true, false, [&] { _kel_penc_kmstr(world, (const unsigned char *)"A\xC1", 2, &table, 0); }, &rc);
    EXPECT_TRUE(failed_with(rc, "0064S")) << "a character from 0x80 is never in a byte alphabet";
    encode(false, false, [&] { _kel_penc_bmpstr(world, outside, 2, &wide, 0); }, &rc);
    EXPECT_TRUE(failed_with(rc, "0064S")) << "below the table's base";
    const uint16_t surrogate[] = {'a', 0xD800};
    encode(true, false, [&] { _kel_penc_utf8bmpstr_l(world, surrogate, 2); }, &rc);
    EXPECT_TRUE(failed_with(rc, "0119S")) << kelGetErrMsg(world);
}

TEST_F(PerString, DecoderFailuresAndFixedFormPadding) {
    ByteAlphabet abc("ABC");
    const KelPerString table{&abc.record, 0, 7, 0, kTwoBitTable};
    unsigned char out[9];
    // Length 2 in three bits, then indexes 1 and 3: the second is beyond the
    // alphabet.  2 x 7 bits stay unaligned in both variants.
    const Octets badIndex = {0x4E};
    for (bool aligned : {true, false}) {
        const int rc = decode(badIndex, aligned, false, [&] { _kel_pdec_va_kmstr(world, out, &table); });
        EXPECT_TRUE(failed_with(rc, "0064S")) << kelGetErrMsg(world);
        EXPECT_NE(std::string(kelGetErrMsg(world)).find('?'), std::string::npos) << kelGetErrMsg(world);
    }

    // Four octets "abcd" against room for three.
    const Octets four = {0x04, 'a', 'b', 'c', 'd'};
    EXPECT_TRUE(failed_with(decode(four, true, false, [&] { _kel_pdec_va_nkmstr_ia(world, out, 3); }), "0016S"));
    EXPECT_TRUE(failed_with(decode(four, true, false, [&] { _kel_pdec_pad_nkmstr(world, out, 3); }), "0063S"));
    const KelPerString capacity3{nullptr, 1, 0, 3, kIa5};
    EXPECT_TRUE(failed_with(decode(four, true, false, [&] { _kel_pdec_nt_kmstr(world, out, &capacity3); }), "0063S"));
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(decode(four, true, false, [&] { _kel_pdec_nt_nkmstr(world, out, 4); }), 0);
    EXPECT_STREQ(reinterpret_cast<char *>(out), "abcd") << "a total equal to the capacity passes";

    // The padded forms: spaces for octet strings, zeros for known-multiplier.
    const Octets two = {0x02, 'a', 'b'};
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(decode(two, true, false, [&] { _kel_pdec_pad_nkmstr(world, out, 5); }), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(out), 6), std::string("ab   \xEE"));
    const KelPerString upTo5{nullptr, 0, 5, 0, kIa5};
    const Octets twoKnown = {0x40, 'a', 'b'}; // 3-bit length, aligned characters
    std::memset(out, 0xEE, sizeof out);
    EXPECT_EQ(decode(twoKnown, true, false, [&] { _kel_pdec_pad_kmstr(world, out, &upTo5); }), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(out), 6), std::string("ab\0\0\0\xEE", 6));
}

TEST_F(PerString, TimeStringInTwoFragments) {
    const KelPerString time{nullptr, 1, 0, 16385, kIa5 | KEL_PER_TIME_STRING};
    std::vector<unsigned char> text(16385, '1');
    std::vector<unsigned char> out(16386);
    for (bool aligned : {true, false}) {
        SCOPED_TRACE(aligned);
        const Octets in = encode(aligned, false, [&] { _kel_penc_kmstr(world, text.data(), 16385, &time, 0); });
        unsigned char *p = nullptr;
        EXPECT_TRUE(failed_with(decode(in, aligned, false, [&] { _kel_pdec_nt_kmstr(world, out.data(), &time); }), "0262S"));
        EXPECT_TRUE(failed_with(decode(in, aligned, false, [&] { _kel_pdec_ntp_kmstr(world, &p, &time); }), "0262S"));
        _kel_freetempMem(world);
        int32_t n = 0;
        EXPECT_EQ(decode(in, aligned, false, [&] { n = _kel_pdec_ub_kmstr(world, &p, &time); }), 0);
        EXPECT_EQ(n, 16385);
    }
}

TEST_F(PerString, Utf8EdgeCases) {
    uint16_t *bmp = nullptr;
    uint32_t *uni = nullptr;
    int32_t n = -1;
    // 'a' then the first two of the three octets of U+20AC.
    const Octets cut = {0x03, 'a', 0xE2, 0x82};
    EXPECT_EQ(decode(cut, true, false, [&] { n = _kel_pdec_utf8unistr_ia(world, &uni); }), 0);
    ASSERT_EQ(n, 2);
    EXPECT_EQ(uni[0], 'a');
    const Octets badLead = {0x02, 'a', 0x80};
    EXPECT_TRUE(failed_with(decode(badLead, true, false, [&] { _kel_pdec_utf8bmpstr_ia(world, &bmp); }), "0120S"));
    _kel_freetempMem(world);
    const Octets empty = {0x00};
    EXPECT_EQ(decode(empty, false, false, [&] { n = _kel_pdec_utf8bmpstr_ia(world, &bmp); }), 0);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(bmp, nullptr);
    // A 4-octet character straddles the 16K fragment boundary.
    std::vector<uint32_t> text(16383, 'z');
    text.push_back(0x1F600);
    const Octets out = encode(true, false, [&] { _kel_penc_utf8unistr_l(world, text.data(), 16384); });
    ASSERT_EQ(out.size(), 1 + 16384 + 1 + 3);
    EXPECT_EQ(out[0], 0xC1);
    EXPECT_EQ(out[16385], 0x03);
    EXPECT_EQ(decode(out, true, false, [&] { n = _kel_pdec_utf8unistr_ia(world, &uni); }), 0);
    ASSERT_EQ(n, 16384);
    EXPECT_EQ(uni[16383], 0x1F600u);
}

TEST_F(PerString, StrictModeRejectsIllGroupedFragments) {
    Octets in;
    for (uint8_t determinant : {0xC1, 0xC1, 0x05}) {
        in.push_back(determinant);
        in.insert(in.end(), determinant == 0x05 ? 5 : 16384, 'k');
    }
    unsigned char *p = nullptr;
    EXPECT_EQ(decode(in, true, false, [&] { _kel_pdec_ub_nkmstr_ia(world, &p); }), 0);
    world->decodingFlags |= STRICT_ENCODING_DECODING_RULES;
    EXPECT_TRUE(failed_with(decode(in, true, false, [&] { _kel_pdec_ub_nkmstr_ia(world, &p); }), "0258E"));
}

// ---------------------------------------------------------------------------
// Round trips through every memory form
// ---------------------------------------------------------------------------

constexpr uint32_t kLengths[] = {0, 1, 16383, 16384, 16385, 65536, 65537, 100000};
constexpr uint32_t kRoom = 100000;

template <class Unit> std::vector<Unit> random_text(uint32_t n, const std::vector<uint32_t> &pool, uint32_t seed) {
    std::mt19937 random(seed);
    std::vector<Unit> text(n);
    for (Unit &c : text)
        c = static_cast<Unit>(pool[random() % pool.size()]);
    return text;
}

TEST_F(PerString, KnownAndOctetFormsRoundTrip) {
    ByteAlphabet digits(" 0123456789");
    const KelPerString ia5{nullptr, 0, kRoom, kRoom, kIa5};
    const KelPerString numeric{&digits.record, 0, kRoom, kRoom, kFourBitTable};
    std::vector<uint32_t> ia5Pool, digitPool;
    for (uint32_t c = 0; c < 128; ++c)
        ia5Pool.push_back(c);
    for (char c : digits.chars)
        digitPool.push_back(static_cast<uint8_t>(c));
    std::vector<unsigned char> out(kRoom + 1);
    for (const KelPerString *desc : {&ia5, &numeric}) {
        for (uint32_t length : kLengths) {
            const auto text = random_text<unsigned char>(length, desc == &ia5 ? ia5Pool : digitPool, length);
            for (bool aligned : {true, false}) {
                SCOPED_TRACE(testing::Message() << length << (aligned ? " aligned" : " unaligned")
                                                << (desc == &ia5 ? " IA5" : " numeric"));
                const Octets km = encode(aligned, true, [&] { _kel_penc_kmstr(world, text.data(), length, desc, 0); });
                const Octets nkm = encode(aligned, true, [&] { _kel_penc_nkmstr_l(world, text.data(), length); });
                const Octets nkm64 = encode(aligned, true, [&] { _kel_penc_nkmstr(world, text.data(), length); });
                EXPECT_EQ(nkm, nkm64);
                auto same = [&](const unsigned char *p, uint32_t n) {
                    return n == length && (n == 0 || std::memcmp(p, text.data(), n) == 0);
                };
                uint32_t n = 0;
                unsigned char *p = nullptr;
                void *block = nullptr;
                EXPECT_EQ(decode(km, aligned, true, [&] { _kel_pdec_pad_kmstr(world, out.data(), desc); }), 0);
                EXPECT_TRUE(same(out.data(), length) && (length == kRoom || out[length] == 0)) << "pad";
                EXPECT_EQ(decode(km, aligned, true, [&] { n = _kel_pdec_va_kmstr(world, out.data(), desc); }), 0);
                EXPECT_TRUE(same(out.data(), n)) << "va";
                EXPECT_EQ(decode(km, aligned, true, [&] { n = _kel_pdec_vap_kmstr(world, &block, 4, desc); }), 0);
                EXPECT_TRUE(same(static_cast<unsigned char *>(block) + 4, n)) << "vap";
                EXPECT_EQ(decode(km, aligned, true, [&] { n = _kel_pdec_ub_kmstr(world, &p, desc); }), 0);
                EXPECT_TRUE(same(p, n) && (length || !p)) << "ub";
                EXPECT_EQ(decode(km, aligned, true, [&] { _kel_pdec_nt_kmstr(world, out.data(), desc); }), 0);
                EXPECT_TRUE(same(out.data(), length) && out[length] == 0) << "nt";
                EXPECT_EQ(decode(km, aligned, true, [&] { _kel_pdec_ntp_kmstr(world, &p, desc); }), 0);
                EXPECT_TRUE(same(p, length) && p[length] == 0) << "ntp";

                EXPECT_EQ(decode(nkm, aligned, true, [&] { _kel_pdec_pad_nkmstr(world, out.data(), kRoom); }), 0);
                EXPECT_TRUE(same(out.data(), length)) << "pad nkm";
                EXPECT_EQ(decode(nkm, aligned, true, [&] { n = _kel_pdec_va_nkmstr_ia(world, out.data(), kRoom); }), 0);
                EXPECT_TRUE(same(out.data(), n)) << "va nkm";
                EXPECT_EQ(decode(nkm, aligned, true, [&] { n = _kel_pdec_vap_nkmstr_ia(world, &block, 2); }), 0);
                EXPECT_TRUE(same(static_cast<unsigned char *>(block) + 2, n)) << "vap nkm";
                EXPECT_EQ(decode(nkm, aligned, true, [&] { n = _kel_pdec_ub_nkmstr_ia(world, &p); }), 0);
                EXPECT_TRUE(same(p, n) && (length || !p)) << "ub nkm";
                EXPECT_EQ(decode(nkm, aligned, true, [&] { _kel_pdec_nt_nkmstr(world, out.data(), kRoom); }), 0);
                EXPECT_TRUE(same(out.data(), length) && out[length] == 0) << "nt nkm";
                EXPECT_EQ(decode(nkm, aligned, true, [&] { _kel_pdec_ntp_nkmstr(world, &p); }), 0);
                EXPECT_TRUE(same(p, length) && p[length] == 0) << "ntp nkm";
                _kel_freeMem(world, world->freeMem);
            }
        }
    }
}

TEST_F(PerString, WideAndUtf8FormsRoundTrip) {
    // BMP: 64 Cyrillic letters through a table (6 bits unaligned, 8
    // aligned); universal: the range-list alphabet by index, and own codes.
    unsigned char cyrillicChars[64], cyrillicIndexes[256];
    std::memset(cyrillicIndexes, 255, sizeof cyrillicIndexes);
    std::vector<uint32_t> cyrillicPool, treePool, anyPool;
    for (uint32_t i = 0; i < 64; ++i) {
        cyrillicChars[i] = static_cast<unsigned char>(0x10 + i);
        cyrillicIndexes[0x10 + i] = static_cast<unsigned char>(i);
        cyrillicPool.push_back(0x400 + 0x10 + i);
    }
    for (uint32_t i = 0; i < 109; ++i)
        treePool.push_back(kelCharByIndex(kTree, i));
    for (uint32_t c : {0x41u, 0x7Fu, 0x80u, 0x7FFu, 0x800u, 0xFFFDu, 0x10000u, 0x1F600u, 0x10FFFFu})
        anyPool.push_back(c);
    const KelPerWideAlphabet cyrillic{64, cyrillicChars, cyrillicIndexes, 0x400};
    const KelPerWideAlphabet tree{109, kTree, nullptr, 0};
    const KelPerString bmpTable{&cyrillic, 0, kRoom, 0, KEL_PER_STRING_FLAGS(8, 0, 6, 0)};
    const KelPerString uniTree{&tree, 0, kRoom, 0, KEL_PER_STRING_FLAGS(8, 0, 7, 0) | KEL_PER_RANGE_LIST};
    const KelPerString uniOwn{nullptr, 1, 0, 0, KEL_PER_STRING_FLAGS(32, 1, 21, 1)};
    for (uint32_t length : kLengths) {
        const auto bmp = random_text<uint16_t>(length, cyrillicPool, length);
        const auto uni = random_text<uint32_t>(length, treePool, length + 1);
        const auto any = random_text<uint32_t>(length, anyPool, length + 2);
        std::vector<uint16_t> anyBmp;
        for (uint32_t c : any)
            anyBmp.push_back(static_cast<uint16_t>(c < 0x10000 ? c : 0x263A));
        for (bool aligned : {true, false}) {
            SCOPED_TRACE(testing::Message() << length << (aligned ? " aligned" : " unaligned"));
            uint16_t *p16 = nullptr;
            uint32_t *p32 = nullptr;
            int32_t n = -1;
            auto same = [length](const auto *p, int32_t got, const auto &want) {
                return got == static_cast<int32_t>(length) &&
                       (length == 0 ? p == nullptr : std::equal(want.begin(), want.end(), p));
            };
            Octets in = encode(aligned, true, [&] { _kel_penc_bmpstr(world, bmp.data(), length, &bmpTable, 0); });
            EXPECT_EQ(decode(in, aligned, true, [&] { n = _kel_pdec_bmpstr(world, &p16, &bmpTable); }), 0);
            EXPECT_TRUE(same(p16, n, bmp)) << "BMP table";
            in = encode(aligned, true, [&] { _kel_penc_unistr(world, uni.data(), length, &uniTree, 0); });
            EXPECT_EQ(decode(in, aligned, true, [&] { n = _kel_pdec_unistr(world, &p32, &uniTree); }), 0);
            EXPECT_TRUE(same(p32, n, uni)) << "range list";
            in = encode(aligned, true, [&] { _kel_penc_unistr(world, any.data(), length, &uniOwn, 0); });
            EXPECT_EQ(decode(in, aligned, true, [&] { n = _kel_pdec_unistr(world, &p32, &uniOwn); }), 0);
            EXPECT_TRUE(same(p32, n, any)) << "own code";
            in = encode(aligned, true, [&] { _kel_penc_utf8unistr_l(world, any.data(), length); });
            EXPECT_EQ(decode(in, aligned, true, [&] { n = _kel_pdec_utf8unistr_ia(world, &p32); }), 0);
            EXPECT_TRUE(same(p32, n, any)) << "UTF-8 universal";
            in = encode(aligned, true, [&] { _kel_penc_utf8bmpstr_l(world, anyBmp.data(), length); });
            EXPECT_EQ(decode(in, aligned, true, [&] { n = _kel_pdec_utf8bmpstr_ia(world, &p16); }), 0);
            EXPECT_TRUE(same(p16, n, anyBmp)) << "UTF-8 BMP";
            _kel_freeMem(world, world->freeMem);
        }
    }
}

// ---------------------------------------------------------------------------
// Range-list walkers
// ---------------------------------------------------------------------------

TEST_F(PerString, RangeListWalkers) {
    const struct {
        uint32_t character;
        int32_t index;
    } rows[] = {{0x41, 0}, {0x3B1, 1}, {0x3C9, 25}, {0x2603, 26}, {0x2764, 28}, {0x1F600, 29}, {0x1F64F, 108},
                {0x40, -1}, {0x42, -1}, {0x3CA, -1}, {0x2604, -1}, {0x1F650, -1}, {0x10FFFF, -1}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.character);
        EXPECT_EQ(kelIndexByChar(kTree, row.character), row.index);
        EXPECT_EQ(kelCharIsPermitted(kTree, row.character), row.index >= 0);
        EXPECT_EQ(kelCharIsPermitted(kTreeNoIndex, row.character), row.index >= 0);
        if (row.index >= 0) {
            EXPECT_EQ(kelCharByIndex(kTree, static_cast<uint32_t>(row.index)), row.character);
        }
    }
    EXPECT_EQ(kelCharByIndex(kTree, 109), 0x10FFFDu);
    EXPECT_EQ(kelIndexByChar(kTreeNoIndex, 0x41), -1);
}

} // namespace
