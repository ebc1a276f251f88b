// Tests of SET OF under DER and CER through the TypesZoo code file: random
// sets encoded in canonical order (library memory and a caller's buffer)
// against a plain sort of their element encodings, the decoder's order test
// under STRICT_ENCODING_DECODING_RULES and the order left alone without it,
// and lists refused at an early element without a read of the rest.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bench_files.h"
#include "codefiles.h"
#include "counting_alloc.h"
#include "pdu_decoder.h"

namespace {

using kel_test::Bytes;
using kel_test::from_hex;

// The DER encoding of an OCTET STRING of up to 255 octets.
Bytes octet_string(const Bytes &contents) {
    Bytes out = {0x04};
    if (contents.size() > 127)
        out.push_back(0x81);
    out.push_back(static_cast<uint8_t>(contents.size()));
    out.insert(out.end(), contents.begin(), contents.end());
    return out;
}

// The DER encoding of a SET OF around the given element encodings.
Bytes der_set_of(const std::vector<Bytes> &elements) {
    Bytes contents;
    for (const Bytes &e : elements)
        contents.insert(contents.end(), e.begin(), e.end());
    Bytes out = {0x31};
    const auto n = static_cast<uint32_t>(contents.size());
    if (n < 128) {
        out.push_back(static_cast<uint8_t>(n));
    } else {
        int octets = n > 0xFFFFFF ? 4 : n > 0xFFFF ? 3 : n > 0xFF ? 2 : 1;
        out.push_back(static_cast<uint8_t>(0x80 | octets));
        while (octets--)
            out.push_back(static_cast<uint8_t>(n >> (8 * octets)));
    }
    out.insert(out.end(), contents.begin(), contents.end());
    return out;
}

// Random contents biased towards collisions: short, from a small alphabet
// with zero octets, often a prefix of an earlier one, sometimes long enough
// for the two-octet length form.
std::vector<Bytes> random_contents(std::mt19937 &random, size_t n) {
    std::vector<Bytes> all;
    for (size_t i = 0; i < n; ++i) {
        Bytes c;
        const uint32_t shape = random() % 8;
        if (shape == 0 && !all.empty()) {
            c = all[random() % all.size()];
            c.resize(random() % (c.size() + 1));
        } else if (shape == 1 && !all.empty()) {
            c = all[random() % all.size()];
            c.push_back(static_cast<uint8_t>(random() % 2));
        } else {
            c.resize(shape == 2 ? 120 + random() % 20 : random() % 4);
            for (uint8_t &o : c)
                o = static_cast<uint8_t>(random() % 3 == 0 ? 0 : random() % 4 + 0x7E);
        }
        all.push_back(c);
    }
    return all;
}

struct SetOfFixture : ::testing::Test {
    kel_test::PduDecoder coder{KEL_DER};
    KelGlobal *world = &coder.world;
    const int setOfOctets = kel_codefile_pdu(&kel_typeszoo_codefile, "SetOfOctets");

    long live() const { return kel_test::CountingAllocator::live - coder.baseline; }

    // Encodes a SetOfOctets value; `room` 0 asks for library memory.
    int encode(std::vector<Bytes> &contents, size_t room, Bytes &out) {
        std::vector<KelUnboundedString> strings;
        for (Bytes &c : contents)
            strings.push_back({static_cast<uint32_t>(c.size()), c.data()});
        KelSequenceOf list{static_cast<uint32_t>(strings.size()), strings.data()};
        Bytes area(room);
        KelBuf buf{static_cast<uint32_t>(room), room ? area.data() : nullptr};
        const int code = kelEncode(world, setOfOctets, &list, &buf);
        if (code == 0)
            out.assign(buf.value, buf.value + buf.length);
        if (code == 0 && !room)
            kelFreeBuf(world, buf.value);
        return code;
    }
};

TEST_F(SetOfFixture, RandomSetsGoOutInTheOrderOfAPlainSort) {
    std::mt19937 random(20261125);
    for (int rule : {KEL_DER, KEL_CER}) {
        kelSetEncodingRules(world, rule);
        for (size_t n : {2u, 3u, 17u, 200u, 3000u}) {
            std::vector<Bytes> contents = random_contents(random, n);
            // Sorted, reversed and shuffled inputs take different paths.
            for (int order = 0; order < 3; ++order) {
                if (order == 0)
                    std::sort(contents.begin(), contents.end(),
                              [](const Bytes &a, const Bytes &b) { return octet_string(a) < octet_string(b); });
                else if (order == 1)
                    std::reverse(contents.begin(), contents.end());
                else
                    std::shuffle(contents.begin(), contents.end(), random);
                std::vector<Bytes> expected;
                for (const Bytes &c : contents)
                    expected.push_back(octet_string(c));
                // std::vector's operator< compares as X.690 wants: octet by
                // octet, a proper prefix first.
                std::stable_sort(expected.begin(), expected.end());
                for (size_t room : {size_t{0}, size_t{1} << 20}) {
                    SCOPED_TRACE("rule " + std::to_string(rule) + ", " + std::to_string(n) + " elements, order " +
                                 std::to_string(order) + (room ? ", caller's buffer" : ", library memory"));
                    Bytes out;
                    ASSERT_EQ(encode(contents, room, out), 0) << kelGetErrMsg(world);
                    if (rule == KEL_DER) {
                        EXPECT_EQ(out, der_set_of(expected));
                    } else {
                        Bytes cer = {0x31, 0x80};
                        for (const Bytes &e : expected)
                            cer.insert(cer.end(), e.begin(), e.end());
                        cer.insert(cer.end(), {0x00, 0x00});
                        EXPECT_EQ(out, cer);
                    }
                    EXPECT_EQ(live(), 0);
                }
            }
        }
    }
}

TEST_F(SetOfFixture, StrictRulesRefuseElementsOutOfOrder) {
    const Bytes a = from_hex("0401aa"), ab = from_hex("0402aabb"), b = from_hex("0401bb"),
                zero = from_hex("040100"), empty = from_hex("0400");
    struct Row {
        const char *what;
        std::vector<Bytes> elements;
        bool inOrder;
    } rows[] = {
        {"ascending", {empty, zero, a, b}, true},
        {"equal neighbours", {a, a, b, b}, true},
        {"one element", {b}, true},
        {"a longer encoding after a shorter", {a, ab}, true}, // 04 01 < 04 02
        {"descending at the end", {a, b, zero}, false},
        {"a zero octet after a larger one", {a, zero}, false},
        {"longer before shorter", {ab, a}, false},
        {"empty last", {a, empty}, false},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        const Bytes input = der_set_of(row.elements);
        kelSetEncodingRules(world, KEL_DER);
        kelSetDecodingFlags(world, kelGetDecodingFlags(world) | STRICT_ENCODING_DECODING_RULES);
        EXPECT_EQ(coder.decode("SetOfOctets", input, "0037E") == 0, row.inOrder) << kelGetErrMsg(world);
        // CER: the same elements in an indefinite-length set.
        Bytes cer = {0x31, 0x80};
        for (const Bytes &e : row.elements)
            cer.insert(cer.end(), e.begin(), e.end());
        cer.insert(cer.end(), {0x00, 0x00});
        kelSetEncodingRules(world, KEL_CER);
        EXPECT_EQ(coder.decode("SetOfOctets", cer, "0037E") == 0, row.inOrder) << kelGetErrMsg(world);
        // Without the flag, and under BER with it, any order decodes.
        kelSetEncodingRules(world, KEL_BER);
        EXPECT_EQ(coder.decode("SetOfOctets", input), 0) << kelGetErrMsg(world);
        kelSetDecodingFlags(world, kelGetDecodingFlags(world) & ~STRICT_ENCODING_DECODING_RULES);
        kelSetEncodingRules(world, KEL_DER);
        EXPECT_EQ(coder.decode("SetOfOctets", input), 0) << kelGetErrMsg(world);
    }
    // A SEQUENCE OF keeps its order under strict rules.
    kelSetDecodingFlags(world, kelGetDecodingFlags(world) | STRICT_ENCODING_DECODING_RULES);
    EXPECT_EQ(coder.decode("SeqOfInt", from_hex("3006020105020101")), 0) << kelGetErrMsg(world);
}

// The input is laid out so that its first element ends the last readable
// page and the rest of the claimed contents is PROT_NONE: a decoder that
// walks ahead of the element it refuses (a count of all elements first)
// faults instead of failing.
TEST_F(SetOfFixture, ListRefusedAtItsFirstElementReadsNoFurther) {
    const long page = sysconf(_SC_PAGESIZE);
    auto *map = static_cast<unsigned char *>(
        mmap(nullptr, static_cast<size_t>(2 * page), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(map, MAP_FAILED);
    ASSERT_EQ(mprotect(map + page, static_cast<size_t>(page), PROT_NONE), 0);
    struct Row {
        int rule;
        bool strict;
        const char *type;
        const char *head; // up to the end of the refused element
        const char *message;
    } rows[] = {
        // 1,000,000 empty SEQUENCEs; SeqOpt needs its first component.
        {KEL_DER, false, "SeqOfSeq", "30831e84803000", "0049E"},
        {KEL_CER, false, "SeqOfSeq", "308030800000", "0049E"},
        // The second element of a strict SET OF sorts before the first.
        {KEL_DER, true, "SetOfOctets", "31831e8480040101040100", "0037E"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.head);
        kelSetEncodingRules(world, row.rule);
        const uint32_t flags = kelGetDecodingFlags(world) & ~STRICT_ENCODING_DECODING_RULES;
        kelSetDecodingFlags(world, flags | (row.strict ? STRICT_ENCODING_DECODING_RULES : 0));
        const Bytes head = from_hex(row.head);
        unsigned char *start = map + page - head.size();
        std::memcpy(start, head.data(), head.size());
        KelBuf in{static_cast<uint32_t>(head.size() + 2000000), start};
        int pdu = kel_codefile_pdu(&kel_typeszoo_codefile, row.type);
        void *value = nullptr;
        EXPECT_NE(kelDecode(world, &pdu, &in, &value), 0);
        EXPECT_NE(std::strstr(kelGetErrMsg(world), row.message), nullptr) << kelGetErrMsg(world);
        EXPECT_EQ(live(), 0);
    }
    munmap(map, static_cast<size_t>(2 * page));
}

TEST_F(SetOfFixture, LongListsDecodeAlikeInBothMemoryForms) {
    std::mt19937 random(5);
    std::vector<Bytes> contents = random_contents(random, 5000);
    Bytes encoding;
    ASSERT_EQ(encode(contents, 0, encoding), 0);
    // Decoded and encoded again, in library memory and in a caller's area,
    // the list is the same; a refusal at element 4000 leaves nothing behind.
    for (bool caller : {false, true}) {
        Bytes area(caller ? 1 << 20 : 0);
        KelBuf in{static_cast<uint32_t>(encoding.size()), encoding.data()};
        int pdu = setOfOctets;
        void *value = caller ? area.data() : nullptr;
        world->decodingLength = caller ? static_cast<int32_t>(area.size()) : 0;
        ASSERT_EQ(kelDecode(world, &pdu, &in, &value), 0) << kelGetErrMsg(world);
        EXPECT_EQ(static_cast<KelSequenceOf *>(value)->count, contents.size());
        KelBuf out{0, nullptr};
        ASSERT_EQ(kelEncode(world, pdu, value, &out), 0);
        EXPECT_EQ(Bytes(out.value, out.value + out.length), encoding);
        kelFreeBuf(world, out.value);
        if (!caller)
            kelFreePDU(world, pdu, value);
        EXPECT_EQ(live(), 0);
    }
    world->decodingLength = 0;
    Bytes broken = encoding;
    size_t at = 6;
    for (int i = 0; i < 4000; ++i)
        at += broken[at + 1] == 0x81 ? 3u + broken[at + 2] : 2u + broken[at + 1];
    broken[at] = 0x05; // a NULL where an OCTET STRING goes
    EXPECT_NE(coder.decode("SetOfOctets", broken), 0);
}

} // namespace
