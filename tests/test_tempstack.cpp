// test_tempstack.cpp - scratch memory of a call: the temporary stack on heap
// blocks and in the caller's temporary buffer, growing arrays made
// contiguous, the second list of chunks, and the encoder's item stack.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "counting_alloc.h"
#include "driver.h"
#include "harness.h"

using kel_test::CountingAllocator;
using kel_test::in_frame;

namespace {

unsigned char pattern(size_t i) { return static_cast<unsigned char>(i * 11 + 5); }

void fill(void *p, size_t length, size_t offset) {
    for (size_t i = 0; i < length; ++i)
        static_cast<unsigned char *>(p)[i] = pattern(offset + i);
}

::testing::AssertionResult holds_pattern(const unsigned char *p, size_t length) {
    for (size_t i = 0; i < length; ++i)
        if (p[i] != pattern(i))
            return ::testing::AssertionFailure() << "octet " << i << " of " << length;
    return ::testing::AssertionSuccess();
}

struct TempStackTest : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    long liveAtStart = 0;
    alignas(16) unsigned char buffer[4096];
    void SetUp() override {
        CountingAllocator::install(world);
        CountingAllocator::reset();
        liveAtStart = CountingAllocator::live;
        start_call();
    }
    void TearDown() override {
        _kel_freetempMem(world);
        EXPECT_EQ(live(), 0);
    }
    // What a driver does on entry.
    void start_call() {
        kel::reset_call_state(world);
        world->ext->encStackFirst.count = 1;
        world->ext->encStackFirst.next = nullptr;
        world->ext->encStack = &world->ext->encStackFirst;
    }
    void use_temporary_buffer(uint32_t size) {
        KelBuf b = {size, buffer};
        ASSERT_EQ(kelSetTemporaryBuffer(world, &b), 0);
        start_call();
    }
    long live() const { return CountingAllocator::live - liveAtStart; }
    template <class Body> int decode(Body body) { return in_frame(world, kel::kPhaseDecoder, body); }
};

using MemoryTempBuffer = TempStackTest;
using MemoryTempStack = TempStackTest;
using MemoryEncStack = TempStackTest;

TEST_F(MemoryTempBuffer, SizeIsAlignedAndRoundedDownTo16) {
    KelBuf b = {15, buffer};
    EXPECT_EQ(kelSetTemporaryBuffer(world, &b), 1);
    b.length = 16;
    EXPECT_EQ(kelSetTemporaryBuffer(world, &b), 0);
    EXPECT_EQ(world->ext->tempBufSize, 16u);
    EXPECT_EQ(world->ext->tempBufAddr, buffer);
    b = {40, buffer + 3}; // 5 octets skipped to reach a multiple of 8
    EXPECT_EQ(kelSetTemporaryBuffer(world, &b), 0);
    EXPECT_EQ(world->ext->tempBufAddr, buffer + 8);
    EXPECT_EQ(world->ext->tempBufSize, 32u);
    b = {5, buffer + 3};
    EXPECT_EQ(kelSetTemporaryBuffer(world, &b), 1);
    EXPECT_EQ(kelSetTemporaryBuffer(world, nullptr), 0);
    EXPECT_EQ(world->ext->tempBufSize, 0u);
}

TEST_F(MemoryTempBuffer, ExhaustionIsMessage146WithoutHeapUse) {
    use_temporary_buffer(64);
    void *first = nullptr;
    int code = decode([&] {
        first = _kel_dec_gettempmem(world, 33);
        _kel_dec_gettempmem(world, 25);
    });
    EXPECT_EQ(code, 8);
    EXPECT_EQ(first, buffer);
    EXPECT_EQ(world->tempLow, buffer + 40);
    EXPECT_NE(std::string(world->errMsg).find("0132S"), std::string::npos) << world->errMsg;
    EXPECT_EQ(CountingAllocator::calls, 0);
    // Growing the latest piece in place, and beyond the buffer.
    EXPECT_EQ(decode([&] { EXPECT_EQ(_kel_dec_realloctempmem(world, first, 33, 64), first); }), 0);
    EXPECT_EQ(world->tempLow, buffer + 64);
    EXPECT_EQ(decode([&] { _kel_dec_realloctempmem(world, first, 64, 65); }), 8);
    EXPECT_EQ(decode([&] { _kel_tstk_add_block(world, 8); }), 8);
    _kel_dec_freetempmem(world, first);
    EXPECT_EQ(world->tempLow, buffer);
}

TEST_F(MemoryTempStack, PiecesGoBackInStackOrder) {
    unsigned char *a = nullptr, *b = nullptr, *c = nullptr;
    ASSERT_EQ(decode([&] {
                  a = static_cast<unsigned char *>(_kel_dec_gettempmem(world, 10));
                  b = static_cast<unsigned char *>(_kel_dec_gettempmem(world, 20));
                  c = static_cast<unsigned char *>(_kel_dec_gettempmem(world, 30));
              }),
              0);
    EXPECT_EQ(live(), 3);
    _kel_dec_freetempmem(world, c);
    EXPECT_EQ(live(), 2);
    EXPECT_EQ(world->tempLow, b + 24);
    // Freeing an older piece frees everything taken after it.
    ASSERT_EQ(decode([&] { c = static_cast<unsigned char *>(_kel_dec_gettempmem(world, 30)); }), 0);
    _kel_dec_freetempmem(world, a);
    EXPECT_EQ(live(), 0);
    EXPECT_EQ(world->tempList, nullptr);
    EXPECT_EQ(world->tempLow, nullptr);

    // Growing moves the piece to a larger block and keeps its contents.
    ASSERT_EQ(decode([&] {
                  a = static_cast<unsigned char *>(_kel_dec_gettempmem(world, 16));
                  fill(a, 16, 0);
                  b = static_cast<unsigned char *>(_kel_dec_realloctempmem(world, a, 16, 100));
              }),
              0);
    EXPECT_TRUE(holds_pattern(b, 16));
    EXPECT_EQ(world->tempLow, b + 104);
    EXPECT_EQ(live(), 1);
}

TEST_F(MemoryTempStack, ConsolidationMakesTheArrayContiguous) {
    // Three pieces of 3000 octets lie in three blocks.
    unsigned char *start = nullptr;
    ASSERT_EQ(decode([&] {
                  for (size_t i = 0; i < 3; ++i) {
                      auto *piece = static_cast<unsigned char *>(_kel_tstk_alloc(world, 3000));
                      fill(piece, 3000, i * 3000);
                      if (i == 0)
                          world->tempCursor = piece;
                  }
                  start = static_cast<unsigned char *>(_kel_tstk_consolidate(world, 100));
              }),
              0);
    EXPECT_TRUE(holds_pattern(start, 9000));
    EXPECT_EQ(world->tempLow, start + 9104);
    EXPECT_EQ(live(), 2) << "the first block keeps the cursor; the array is in a new one";
    _kel_tstk_free(world, world->tempCursor);
    EXPECT_EQ(live(), 1);
    EXPECT_EQ(world->tempLow, world->tempCursor);

    // An array that crossed into a block with room moves to that block's start.
    unsigned char *second = nullptr;
    ASSERT_EQ(decode([&] {
                  _kel_freetempMem(world);
                  _kel_tstk_alloc(world, 4000);
                  world->tempCursor = static_cast<unsigned char *>(_kel_tstk_alloc(world, 80));
                  fill(world->tempCursor, 80, 0);
                  second = static_cast<unsigned char *>(_kel_tstk_alloc(world, 200));
                  fill(second, 200, 80);
                  start = static_cast<unsigned char *>(_kel_tstk_consolidate(world, 0));
              }),
              0);
    EXPECT_EQ(start, second);
    EXPECT_TRUE(holds_pattern(start, 280));
    EXPECT_EQ(world->tempLow, start + 280);
    EXPECT_EQ(live(), 2);
    _kel_tstk_free(world, world->tempCursor);
    EXPECT_EQ(live(), 1);

    _kel_freetempMem(world);
    use_temporary_buffer(64);
    EXPECT_EQ(decode([&] { _kel_tstk_consolidate(world, 8); }), 8);
}

TEST_F(MemoryTempStack, ArrayAcrossBlocksIsCopiedOutAndReleased) {
    unsigned char *base = nullptr;
    ASSERT_EQ(decode([&] {
                  _kel_tstk_alloc(world, 3000);
                  for (size_t i = 0; i < 4; ++i) {
                      auto *piece = static_cast<unsigned char *>(_kel_tstk_alloc(world, 1504));
                      fill(piece, 1504, i * 1504);
                      if (i == 0)
                          base = piece;
                  }
              }),
              0);
    ASSERT_EQ(live(), 3);
    unsigned char out[5800];
    _kel_tstk_consolidate_outmem(world, out, base, sizeof out);
    EXPECT_TRUE(holds_pattern(out, sizeof out));
    EXPECT_EQ(live(), 2) << "the blocks above the array's first one are gone";
    EXPECT_EQ(world->tempLow, base);
}

TEST_F(MemoryTempStack, ChunksOfTheSecondListJoinInOrder) {
    const char *text = "0123456789abcdefghijKLMNO";
    unsigned char out[25];
    for (uint32_t size : {0u, 256u}) {
        if (size) {
            use_temporary_buffer(size);
        }
        ASSERT_EQ(decode([&] {
                      for (int i = 0; i < 3; ++i)
                          std::memcpy(_kel_tstk_get_altdecmem(world, 10), text + 10 * i, i < 2 ? 10 : 5);
                  }),
                  0);
        EXPECT_EQ(live(), size ? 0 : 3);
        std::memset(out, 0, sizeof out);
        _kel_tstk_consolidate_altdecmem(world, out, 25, 10);
        EXPECT_EQ(std::string(reinterpret_cast<char *>(out), 25), text);
        EXPECT_EQ(live(), 0);
        EXPECT_EQ(world->altList, nullptr);
        if (size) {
            EXPECT_EQ(world->tempHigh, buffer + size);
        }
    }
    // Dropping chunks back to one of them; the buffer's top is a hard limit.
    unsigned char *first = nullptr;
    ASSERT_EQ(decode([&] {
                  first = _kel_tstk_get_altdecmem(world, 100);
                  _kel_tstk_get_altdecmem(world, 100);
              }),
              0);
    _kel_tstk_free_altdecmem(world, first);
    EXPECT_EQ(world->tempHigh, buffer + 256);
    EXPECT_EQ(decode([&] { _kel_tstk_get_altdecmem(world, 250); }), 8);
}

TEST_F(MemoryEncStack, ItemsComeBackInReverseAcrossBlocks) {
    static int items[200];
    ASSERT_EQ(in_frame(world, kel::kPhaseEncoder, [&] {
                  for (int &item : items)
                      _kel_enc_push(world, &item);
              }),
              0);
    EXPECT_EQ(live(), 3);
    for (int i = 199; i >= 0; --i)
        ASSERT_EQ(_kel_enc_pop(world), &items[i]);
    EXPECT_EQ(world->ext->encStack, &world->ext->encStackFirst);
    EXPECT_EQ(live(), 0);

    // Generated code may also fill a block's entries directly.
    uint32_t count = 0;
    void **entries = nullptr;
    ASSERT_EQ(in_frame(world, kel::kPhaseEncoder, [&] { entries = _kel_increment_enc_stack(world); }), 0);
    entries[0] = &items[7];
    _kel_save_enc_stack(world, 1);
    EXPECT_EQ(_kel_load_enc_stack(world, &count), entries);
    EXPECT_EQ(_kel_enc_pop(world), &items[7]);
    EXPECT_EQ(world->ext->encStack, &world->ext->encStackFirst);
}

} // namespace
