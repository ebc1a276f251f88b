// test_convert_services.cpp - information object sets through a stand-in
// code file, the compression prefix reader and surface, and the file and
// message helpers.
#include <gtest/gtest.h>

#include <vector>

#include "codefiles.h"
#include "counting_alloc.h"
#include "harness.h"
#include "objsets.h"

namespace {

using kel_test::CountingAllocator;
using Bytes = std::vector<unsigned char>;

// A world on the object set code file; all its memory, the extension's
// included, is counted.
struct ObjectSets : ::testing::Test {
    KelRawMalloc savedMalloc = mallocp;
    KelRawFree savedFree = freep;
    long liveAtStart = 0;
    KelGlobal world{};
    KelTestObject fresh[2] = {{5, "five"}, {2, "another two"}};
    KelTestObject *objects = kel_objsets_objects;

    void SetUp() override {
        mallocp = CountingAllocator::raw_malloc;
        freep = CountingAllocator::raw_free;
        CountingAllocator::reset();
        liveAtStart = CountingAllocator::live;
        ASSERT_EQ(kelinit(&world, &kel_objsets_table), 0);
    }
    void TearDown() override {
        kelterm(&world);
        mallocp = savedMalloc;
        freep = savedFree;
        EXPECT_EQ(CountingAllocator::live, liveAtStart) << "object set nodes leaked";
    }
    // Ids of a set's current list, in order.
    std::vector<int> ids(int set) {
        std::vector<int> out;
        for (KelInfoObjectNode *node = kelGetInfoObjectSet(&world, set); node; node = node->next)
            out.push_back(static_cast<KelTestObject *>(node->object)->id);
        return out;
    }
};

TEST_F(ObjectSets, LookUpSetsAndObjects) {
    EXPECT_EQ(ids(KEL_OBJSET_LETTERS), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(ids(KEL_OBJSET_EMPTY), std::vector<int>{});
    EXPECT_EQ(ids(KEL_OBJSET_FIXED), std::vector<int>{4});
    EXPECT_EQ(kelGetInfoObjectSet(&world, 0), nullptr);
    EXPECT_EQ(kelGetInfoObjectSet(&world, 4), nullptr);

    int two = 2, four = 4, nine = 9;
    EXPECT_EQ(kelGetInfoObject(&world, KEL_OBJSET_LETTERS, &two), &objects[1]);
    EXPECT_EQ(kelGetInfoObject(&world, KEL_OBJSET_FIXED, &four), &objects[3]);
    EXPECT_EQ(kelGetInfoObject(&world, KEL_OBJSET_LETTERS, &nine), nullptr);
    EXPECT_EQ(kelGetInfoObject(&world, 0, &two), nullptr);
}

TEST_F(ObjectSets, AddAndRemove) {
    struct Step { bool add; int set; void *object; int code; std::vector<int> after; } steps[] = {
        {true, KEL_OBJSET_LETTERS, &fresh[1], 50, {1, 2, 3}}, // key 2 is taken
        {true, KEL_OBJSET_FIXED, &fresh[0], 53, {4}}, {true, 0, &fresh[0], 6, {}},
        {true, KEL_OBJSET_LETTERS, nullptr, 6, {1, 2, 3}}, {false, KEL_OBJSET_FIXED, &objects[3], 53, {4}},
        {false, KEL_OBJSET_LETTERS, &fresh[0], 52, {1, 2, 3}}, {true, KEL_OBJSET_LETTERS, &fresh[0], 0, {5, 1, 2, 3}},
        {true, KEL_OBJSET_LETTERS, &fresh[0], 50, {5, 1, 2, 3}},
        {false, KEL_OBJSET_LETTERS, &objects[1], 0, {5, 1, 3}},
        {false, KEL_OBJSET_LETTERS, &objects[1], 52, {5, 1, 3}}, {false, KEL_OBJSET_LETTERS, &fresh[0], 0, {1, 3}},
        {false, KEL_OBJSET_LETTERS, &objects[2], 0, {1}},
        {true, KEL_OBJSET_LETTERS, &fresh[1], 0, {2, 1}}, // key 2 is free again
        {true, KEL_OBJSET_EMPTY, &fresh[0], 0, {5}}, {false, KEL_OBJSET_EMPTY, &fresh[0], 0, {}},
    };
    for (const Step &s : steps) {
        SCOPED_TRACE(testing::Message() << (s.add ? "add " : "remove ") << s.set);
        int code = s.add ? kelAddInfoObject(&world, s.set, s.object) : kelRemoveInfoObject(&world, s.set, s.object);
        EXPECT_EQ(code, s.code);
        EXPECT_EQ(ids(s.set), s.after);
    }
    EXPECT_EQ(kelAddInfoObject(nullptr, 1, &fresh[0]), 6);
}

// Removing from the generated list marks it in the map and copies the rest;
// the map and the copies belong to the world, and kelterm releases them.
TEST_F(ObjectSets, RemoveFromGeneratedList) {
    EXPECT_EQ(kelRemoveInfoObject(&world, KEL_OBJSET_LETTERS, &objects[1]), 0);
    EXPECT_EQ(ids(KEL_OBJSET_LETTERS), (std::vector<int>{1, 3}));
    EXPECT_EQ(kelRemoveInfoObject(&world, KEL_OBJSET_LETTERS, &objects[0]), 0);
    EXPECT_EQ(kelRemoveInfoObject(&world, KEL_OBJSET_LETTERS, &objects[2]), 0);
    EXPECT_EQ(kelGetInfoObjectSet(&world, KEL_OBJSET_LETTERS), nullptr);
    EXPECT_EQ(kelRemoveInfoObject(&world, KEL_OBJSET_LETTERS, &objects[0]), 52);
    int one = 1;
    EXPECT_EQ(kelGetInfoObject(&world, KEL_OBJSET_LETTERS, &one), nullptr);
}

// A failing allocation while the generated list is copied answers 8; the
// nodes copied so far stay with the world.
TEST_F(ObjectSets, AllocationFailures) {
    CountingAllocator::reset(2);
    EXPECT_EQ(kelAddInfoObject(&world, KEL_OBJSET_LETTERS, &fresh[0]), 8);
    EXPECT_EQ(ids(KEL_OBJSET_LETTERS), std::vector<int>{1});
    CountingAllocator::reset(1);
    EXPECT_EQ(kelRemoveInfoObject(&world, KEL_OBJSET_EMPTY, &fresh[0]), 52);
    EXPECT_EQ(kelAddInfoObject(&world, KEL_OBJSET_EMPTY, &fresh[0]), 8);
    EXPECT_EQ(ids(KEL_OBJSET_EMPTY), std::vector<int>{});
}

// A duplicated world owns copies of the source's run-time lists and removal
// maps: either world changes and closes on its own, and a duplicate that
// runs out of memory part way leaves nothing behind.
TEST_F(ObjectSets, DuplicateOwnsItsLists) {
    ASSERT_EQ(kelRemoveInfoObject(&world, KEL_OBJSET_LETTERS, &objects[1]), 0);
    ASSERT_EQ(kelAddInfoObject(&world, KEL_OBJSET_EMPTY, &fresh[0]), 0);
    for (long k = 1;; ++k) {
        KelGlobal copy{};
        CountingAllocator::reset(k);
        const long live = CountingAllocator::live;
        const int code = kelDupWorld(&world, &copy);
        CountingAllocator::reset();
        if (code == 8) {
            EXPECT_EQ(CountingAllocator::live, live) << "allocation " << k;
            continue;
        }
        ASSERT_EQ(code, 0);
        std::swap(copy, world);
        EXPECT_EQ(ids(KEL_OBJSET_LETTERS), (std::vector<int>{1, 3}));
        EXPECT_EQ(ids(KEL_OBJSET_EMPTY), std::vector<int>{5});
        EXPECT_EQ(kelAddInfoObject(&world, KEL_OBJSET_EMPTY, &fresh[1]), 0);
        EXPECT_EQ(kelRemoveInfoObject(&world, KEL_OBJSET_LETTERS, &objects[0]), 0);
        std::swap(copy, world);
        kelterm(&copy);
        EXPECT_EQ(ids(KEL_OBJSET_LETTERS), (std::vector<int>{1, 3}));
        EXPECT_EQ(ids(KEL_OBJSET_EMPTY), std::vector<int>{5});
        break;
    }
}

TEST(CompressionPrefix, ReadsTwoNumbers) {
    struct Case { Bytes input; int code; uint64_t first, second; uint32_t consumed; } cases[] = {
        {{0x81, 0x00, 0x05, 0xAA}, 0, 128, 5, 3}, {{0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}, 0, 127, 0x7FFFFFFFFull, 6},
        {{0x81, 0x81, 0x81, 0x81, 0x81, 0x01, 0x00}, 5, 0, 0, 0}, // six groups
        {{0x05}, 5, 0, 0, 0},                                     // no second number
        {{0x05, 0x80}, 5, 0, 0, 0},                               // second not closed
    };
    kel_test::BriefWorld world;
    for (const Case &c : cases) {
        KelBuf buf = {static_cast<uint32_t>(c.input.size()), const_cast<unsigned char *>(c.input.data())};
        uint64_t first = 0, second = 0;
        EXPECT_EQ(kelSkipCompressionPrefix(world.get(), &buf, &first, &second), c.code);
        EXPECT_EQ(buf.value, c.input.data() + c.consumed);
        EXPECT_EQ(buf.length, c.input.size() - c.consumed);
        EXPECT_EQ(first, c.first);
        EXPECT_EQ(second, c.second);
    }
    Bytes prefix = {0x01, 0x02};
    KelBuf buf = {2, prefix.data()};
    EXPECT_EQ(kelSkipCompressionPrefix(world.get(), &buf, nullptr, nullptr), 0);
    EXPECT_EQ(buf.length, 0u);
    EXPECT_EQ(kelSkipCompressionPrefix(world.get(), &buf, nullptr, nullptr), 6) << "empty record";
    EXPECT_EQ(kelSkipCompressionPrefix(nullptr, &buf, nullptr, nullptr), 6);

    KelBuf in = {0, nullptr}, out = {0, nullptr};
    EXPECT_EQ(kelCompress(world.get(), &in, &out, 0), 25);
    EXPECT_EQ(kelCompress(world.get(), &in, &out, -1), 6);
    EXPECT_EQ(kelCompress(world.get(), nullptr, &out, 0), 6);
    EXPECT_EQ(kelUnCompress(world.get(), &in, &out, -1), 25);
    EXPECT_EQ(kelUnCompress(world.get(), &in, nullptr, 1), 6);
}

TEST(FileSurface, AbsentFacilitiesAnswerTheirCodes) {
    kel_test::BriefWorld world;
    KelGlobal *w = world.get();
    void *object = nullptr;
    EXPECT_EQ(kelOpenDecoderInputFile(w, "in.ber"), 57);
    EXPECT_EQ(kelCloseDecoderInputFile(w), 56);
    EXPECT_EQ(kelOpenEncoderOutputFile(w, "out.ber"), 60);
    EXPECT_EQ(kelCloseEncoderOutputFile(w), 59);
    EXPECT_EQ(kelMarkObj(w, &object, 0), -1);
    EXPECT_EQ(kelGetObj(w, &object, &object), -1);
    EXPECT_EQ(kelUnmarkObj(w, &object), -1);
    EXPECT_EQ(kelTestObj(w, &object), 0);
    EXPECT_EQ(kelDetermineNumberOfPadBits(nullptr), -1);
}

TEST(FileSurface, SkipPadBytes) {
    kel_test::BriefWorld world;
    struct Case { Bytes input; int code; uint32_t left; } cases[] = {
        {{0x00, 0x00, 0x30, 0x00}, 0, 2}, {{0x00, 0x00}, 4, 0}, {{}, 4, 0},
    };
    for (const Case &c : cases) {
        Bytes input = c.input;
        input.reserve(1);
        KelBuf buf = {static_cast<uint32_t>(input.size()), input.data()};
        EXPECT_EQ(kelSkipPadBytes(world.get(), &buf, 0), c.code);
        EXPECT_EQ(buf.length, c.left);
        EXPECT_EQ(buf.value, input.data() + input.size() - c.left);
    }
    KelBuf none = {1, nullptr};
    EXPECT_EQ(kelSkipPadBytes(world.get(), &none, 0), 11);
    EXPECT_EQ(kelSkipPadBytes(world.get(), nullptr, 0), 11);
    EXPECT_EQ(kelSkipPadBytes(nullptr, &none, 0), 6);
}

TEST(FileSurface, DetermineMessageLength) {
    struct Case { Bytes input; long length; } cases[] = {
        {{0x30}, 0}, {{0x30, 0x7F}, 129}, {{0x30, 0x82, 0x01, 0x00}, 260}, {{0x30, 0x82, 0x01}, 0},
        {{0x30, 0x80, 0x00, 0x00}, 0}, {{0x30, 0x85, 0, 0, 0, 0, 1}, 0}, {{0x3F, 0x81, 0x01, 0x02, 0, 0}, 6},
        {{0x1F, 0x81, 0x01}, 0}, {{0x04, 0x84, 0x01, 0x00, 0x00, 0x00}, 16777222},
    };
    kel_test::BriefWorld world;
    for (const Case &c : cases) {
        KelBuf buf = {static_cast<uint32_t>(c.input.size()), const_cast<unsigned char *>(c.input.data())};
        EXPECT_EQ(kelDetermineMessageLength(world.get(), &buf), c.length) << testing::PrintToString(c.input);
    }
    EXPECT_EQ(kelDetermineMessageLength(world.get(), nullptr), 0);
}

TEST(FileSurface, DetermineEncodingLength) {
    KelGlobal world{};
    ASSERT_EQ(kelinit(&world, const_cast<KelControlTable *>(&kel_typeszoo_codefile.control)), 0);
    int pdu = kel_codefile_pdu(&kel_typeszoo_codefile, "Int");
    int64_t value = 300;
    const uint32_t flags = world.encodingFlags | DEBUGPDU;
    world.encodingFlags = flags;
    EXPECT_EQ(kelDetermineEncodingLength(&world, pdu, &value), 4); // 02 02 01 2C
    EXPECT_EQ(world.encodingFlags, flags) << "flags restored";
    world.encodingFlags &= ~DEBUGPDU;
    EXPECT_EQ(kelDetermineEncodingLength(&world, 999, &value), 0);
    EXPECT_EQ(kelDetermineEncodingLength(nullptr, pdu, &value), 0);
    kelterm(&world);
}

} // namespace
