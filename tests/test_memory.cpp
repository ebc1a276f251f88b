// test_memory.cpp - the block chain of a running call: encoder blocks joined
// into one buffer (backward and forward writers, on the heap and in the
// caller's temporary buffer), decoder items in library memory and in the
// caller's area, marks, the clean-up of failed calls, kelFreePDU, and memory
// handles.
#include <gtest/gtest.h>

#include <malloc.h>

#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include "counting_alloc.h"
#include "driver.h"
#include "harness.h"
#include "personnel.h"

using kel_test::CountingAllocator;
using kel_test::in_frame;

namespace {

unsigned char pattern(size_t i) { return static_cast<unsigned char>(i * 7 + 3); }

// A world in the state a driver leaves it in before the generated code runs,
// with every allocation counted.
struct MemoryTest : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    long liveAtStart = 0;
    void SetUp() override {
        CountingAllocator::install(world);
        CountingAllocator::reset();
        liveAtStart = CountingAllocator::live;
        kel::reset_call_state(world);
        world->ext->encStackFirst.count = 1;
        world->ext->encStack = &world->ext->encStackFirst;
    }
    long live() const { return CountingAllocator::live - liveAtStart; }
    template <class Body> int enc(Body body) { return in_frame(world, kel::kPhaseEncoder, body); }
    template <class Body> int dec(Body body) { return in_frame(world, kel::kPhaseDecoder, body); }

    // Writes `length` pattern octets backward, as BER does, block by block;
    // returns the octets left free in the last block.
    uint32_t write_backward(size_t length) {
        unsigned char *pos = nullptr;
        uint32_t rem = 0;
        for (size_t i = length; i-- > 0;) {
            if (rem == 0) {
                pos = _kel_enc_getmem(world) + KEL_ENC_BLOCK;
                rem = KEL_ENC_BLOCK;
            }
            *--pos = pattern(i);
            --rem;
        }
        return rem;
    }

    // Writes `length` pattern octets forward as PER does, the last one all
    // ones and in progress with `bits` bits used.
    void write_forward(size_t length, int bits) {
        for (size_t i = 0; i < length; ++i) {
            if (world->outRemaining == 0) {
                world->outPos = _kel_enc_getmem(world);
                world->outRemaining = KEL_ENC_BLOCK;
            }
            *world->outPos = i + 1 < length ? pattern(i) : 0xFF;
            if (i + 1 < length) {
                ++world->outPos;
                --world->outRemaining;
            }
        }
        world->bitOffset = bits;
    }
};

using MemoryJoin = MemoryTest;
using MemoryChain = MemoryTest;
using MemoryHandle = MemoryTest;

TEST_F(MemoryJoin, BackwardBlocksJoinAtBlockBoundaries) {
    for (size_t length : {size_t{1024}, size_t{1025}, size_t{3000}}) {
        uint32_t freeInLast = 0, joined = 0;
        unsigned char *value = nullptr;
        ASSERT_EQ(enc([&] { freeInLast = write_backward(length); }), 0);
        EXPECT_EQ(freeInLast, length == 1024 ? 0u : 1024 - length % 1024);
        EXPECT_EQ(world->outQueue.count, (length + 1023) / 1024);
        ASSERT_EQ(enc([&] { _kel_set_outmem_d(world, freeInLast, &joined, &value); }), 0);
        ASSERT_EQ(joined, length);
        for (size_t i = 0; i < length; ++i)
            ASSERT_EQ(value[i], pattern(i)) << "length " << length << " octet " << i;
        EXPECT_EQ(world->outQueue.count, 0);
        EXPECT_EQ(live(), 1) << "only the joined buffer stays";
        kelFreeBuf(world, value);
        EXPECT_EQ(live(), 0);
    }
}

TEST_F(MemoryJoin, BlocksInTheTemporaryBufferComeFromItsTop) {
    alignas(16) static unsigned char buffer[4096];
    KelBuf temporary = {sizeof buffer, buffer};
    ASSERT_EQ(kelSetTemporaryBuffer(world, &temporary), 0);
    kel::reset_call_state(world);
    uint32_t freeInLast = 0, length = 0;
    unsigned char *value = nullptr;
    ASSERT_EQ(enc([&] { freeInLast = write_backward(1025); }), 0);
    EXPECT_GE(world->outQueue.items[1], static_cast<void *>(buffer));
    ASSERT_EQ(enc([&] { _kel_set_outmem_d(world, freeInLast, &length, &value); }), 0);
    ASSERT_EQ(length, 1025u);
    for (size_t i = 0; i < length; ++i)
        ASSERT_EQ(value[i], pattern(i)) << i;
    EXPECT_EQ(world->tempHigh, buffer + sizeof buffer) << "all disposable pieces are back";
    EXPECT_EQ(live(), 1) << "only the joined encoding is on the heap";
    kelFreeBuf(world, value);

    // Four blocks with their headers don't fit.
    EXPECT_EQ(enc([&] { write_backward(4 * 1024); }), 8);
    EXPECT_NE(std::string(world->errMsg).find("0132S"), std::string::npos) << world->errMsg;
    _kelFreeEncMemory(world);
    EXPECT_EQ(world->outQueue.count, 0);
    EXPECT_EQ(CountingAllocator::calls, 1);
    kelSetTemporaryBuffer(world, nullptr);
}

TEST_F(MemoryJoin, ForwardBlocksJoinWithTheLastOctetMasked) {
    for (int rule : {KEL_PER_ALIGNED, KEL_PER_UNALIGNED}) {
        world->encRules = static_cast<uint32_t>(rule);
        uint32_t length = 0;
        unsigned char *value = nullptr;
        world->outRemaining = 0;
        ASSERT_EQ(enc([&] {
                      write_forward(1031, 3);
                      _kel_set_outmem_p(world, &length, &value);
                  }),
                  0);
        ASSERT_EQ(length, 1031u);
        for (size_t i = 0; i < 1030; ++i)
            ASSERT_EQ(value[i], pattern(i)) << i;
        EXPECT_EQ(value[1030], 0xE0) << "unused bits of the last octet are cleared";
        EXPECT_EQ(world->bitOffset, rule == KEL_PER_ALIGNED ? 0 : 3);
        kelFreeBuf(world, value);
        EXPECT_EQ(live(), 0);
    }
}

TEST_F(MemoryJoin, EmptyForwardEncodingIsOneZeroOctetExceptUnderOer) {
    struct Case {
        int rule;
        bool nested;
        bool counting;
        uint32_t length;
        int32_t bitOffset;
    };
    const Case cases[] = {
        {KEL_PER_ALIGNED, false, false, 1, 8}, {KEL_PER_UNALIGNED, false, false, 1, 1},
        {KEL_OER, false, false, 0, 0},         {KEL_COER, false, false, 0, 0},
        {KEL_PER_UNALIGNED, true, false, 0, 0}, {KEL_PER_ALIGNED, false, true, 1, 8}, {KEL_OER, false, true, 0, 0},
    };
    for (const Case &c : cases) {
        world->encRules = static_cast<uint32_t>(c.rule);
        world->encodingFlags = c.counting ? DETERMINE_ENC_LENGTH : 0;
        world->pushFlags = c.nested ? 1u : 0u;
        world->bitOffset = 0;
        world->encLength = 0;
        world->outPos = nullptr;
        world->outRemaining = 0;
        uint32_t length = 99;
        unsigned char *value = nullptr;
        ASSERT_EQ(enc([&] { _kel_set_outmem_p(world, &length, &value); }), 0);
        SCOPED_TRACE(testing::Message() << "rule " << c.rule << " nested " << c.nested << " counting " << c.counting);
        EXPECT_EQ(length, c.length);
        EXPECT_EQ(world->bitOffset, c.bitOffset);
        EXPECT_EQ(world->pushFlags, 0u);
        if (!c.counting && c.length == 1) {
            ASSERT_NE(value, nullptr);
            EXPECT_EQ(value[0], 0);
        } else if (!c.counting) {
            EXPECT_EQ(value, nullptr);
        }
        kelFreeBuf(world, value);
    }
    EXPECT_EQ(live(), 0);

    // A caller's buffer gets the zero octet at its end with BACK_ALIGN.
    unsigned char area[6] = {9, 9, 9, 9, 9, 9};
    world->encRules = KEL_PER_UNALIGNED;
    world->encodingFlags = 0;
    world->bitOffset = 0;
    world->userBuffer = 1;
    world->outPos = area;
    world->outRemaining = sizeof area;
    uint32_t length = sizeof area;
    unsigned char *value = area;
    ASSERT_EQ(enc([&] { _kelSetOutMemQueue(world, &length, &value, BACK_ALIGN); }), 0);
    EXPECT_EQ(length, 1u);
    EXPECT_EQ(value, area + 5);
    EXPECT_EQ(area[5], 0);
    EXPECT_EQ(world->bitOffset, 1);
}

// Records the order of allocations and releases around the counting ones.
std::vector<void *> allocated, released;
void *recording_get(KelGlobal *world, size_t size) {
    void *p = CountingAllocator::get_mem(world, size);
    allocated.push_back(p);
    return p;
}
void recording_free(KelGlobal *world, void *p) {
    released.push_back(p);
    CountingAllocator::free_mem(world, p);
}

TEST_F(MemoryChain, DecoderFailingAfterThe61stItemFreesEverythingLastFirst) {
    allocated.clear();
    released.clear();
    world->getMem = recording_get;
    world->freeMem = recording_free;
    // Calls 1-60 fill the inline block, 61 is the second block, 62 the 61st
    // item; the 62nd item fails.
    CountingAllocator::reset(63);
    int code = dec([&] {
        for (int i = 0; i < 70; ++i)
            _kel_dec_getmem(world, 12 + i);
    });
    EXPECT_EQ(code, 8);
    EXPECT_NE(std::string(world->errMsg).find("0008S"), std::string::npos) << world->errMsg;
    EXPECT_EQ(world->outQueueTail->count, 2) << "the null item is counted too";

    _kel_freeMem(world, world->freeMem); // what the decoder's recovery does
    EXPECT_EQ(live(), 0);
    std::vector<void *> expected;
    for (auto it = allocated.rbegin(); it != allocated.rend(); ++it)
        if (*it)
            expected.push_back(*it);
    EXPECT_EQ(released, expected);
    EXPECT_EQ(world->outQueue.count, 0);
    EXPECT_EQ(world->outQueue.next, nullptr);
    EXPECT_EQ(world->outQueueTail, &world->outQueue);
    EXPECT_EQ(world->memTotal, 0u);
}

TEST_F(MemoryChain, DecoderPiecesAreRoundedAndZeroed) {
    void *p = nullptr, *none = &p;
    ASSERT_EQ(dec([&] {
                  p = _kel_dec_getmem(world, 13);
                  none = _kel_dec_getmem_internal(world, 0);
              }),
              0);
    EXPECT_EQ(none, nullptr) << "size 0 takes no item";
    EXPECT_EQ(world->outQueue.count, 1);
    EXPECT_EQ(world->memTotal, 16u);
    EXPECT_EQ(std::memcmp(p, "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 16), 0);
    _kel_releaseMem(world); // a successful decode leaves the items to the caller
    EXPECT_EQ(live(), 1);
    _kel_dec_free(world, p);

    // In the caller's area pieces are cut off the front until it runs out.
    alignas(8) unsigned char area[24];
    std::memset(area, 0xEE, sizeof area);
    world->userBuffer = 1;
    world->outPos = area;
    world->outRemaining = world->memTotal = sizeof area;
    void *first = nullptr, *second = nullptr;
    int code = dec([&] {
        first = _kel_dec_getmem(world, 5);
        second = _kel_dec_getfixmem(world, 12);
        _kel_dec_getmem_internal(world, 5);
    });
    EXPECT_EQ(code, 1);
    EXPECT_EQ(first, area);
    EXPECT_EQ(second, area + 8);
    EXPECT_EQ(area[7], 0);
    EXPECT_EQ(area[8], 0xEE) << "getfixmem doesn't clear";
    EXPECT_EQ(world->outRemaining, 4);
    EXPECT_NE(std::string(world->errMsg).find("0001S"), std::string::npos) << world->errMsg;
    EXPECT_NE(std::string(world->errMsg).find("24"), std::string::npos) << world->errMsg;
    EXPECT_EQ(enc([&] { _kel_enc_getmem(world); }), 1);
    EXPECT_EQ(CountingAllocator::calls, 1);
}

TEST_F(MemoryChain, MarksGiveBackWhatWasTakenAfterThem) {
    uint32_t mark = 0;
    void *block = nullptr;
    uintptr_t outMark[3];
    ASSERT_EQ(dec([&] {
                  for (int i = 0; i < 58; ++i)
                      _kel_dec_getmem(world, 8);
                  block = _kel_get_memory_status(world, &mark);
                  for (int i = 0; i < 5; ++i)
                      _kel_dec_getmem(world, 8);
              }),
              0);
    EXPECT_EQ(live(), 64);
    _kel_restore_memory(world, block, mark);
    EXPECT_EQ(live(), 58);
    EXPECT_EQ(world->outQueue.count, 58);
    EXPECT_EQ(world->outQueueTail, &world->outQueue);

    // A mark at a full block: the later block keeps nothing and goes; the
    // temporary stack goes back as well.
    ASSERT_EQ(dec([&] {
                  _kel_dec_getmem(world, 8);
                  _kel_dec_getmem(world, 8);
                  _kel_tell_dec_outmem(world, outMark);
                  for (int i = 0; i < 3; ++i)
                      _kel_dec_getmem(world, 8);
                  _kel_dec_gettempmem(world, 100);
              }),
              0);
    _kel_free_dec_outmem(world, outMark);
    EXPECT_EQ(live(), 60);
    EXPECT_EQ(world->outQueue.count, 60);
    EXPECT_EQ(world->outQueue.next, nullptr);
    EXPECT_EQ(world->tempList, nullptr);
    EXPECT_EQ(world->memTotal, outMark[2]);
    _kel_freeMem(world, world->freeMem);
    EXPECT_EQ(live(), 0);
}

TEST_F(MemoryChain, FailedEncodeFreesBlocksTemporaryMemoryAndItemStack) {
    int code = enc([&] {
        write_backward(5000);
        _kel_dec_gettempmem(world, 40);
        _kel_tstk_alloc(world, 5000);
        for (int i = 0; i < 130; ++i)
            _kel_enc_push(world, world);
        world->pendingBlock = kelMalloc(world, 64);
        _kel_enc_error(world, kel::kMsgOutOfMemory, 1);
    });
    EXPECT_EQ(code, 8);
    _kelFreeEncMemory(world);
    EXPECT_EQ(live(), 0);
    EXPECT_EQ(world->ext->encStack, &world->ext->encStackFirst);
}

// Generated free functions for kelFreePDU.
int free_value(KelGlobal *world, int pdu, void *value) {
    _kel_dec_free(world, value);
    return pdu;
}
int crash_while_freeing(KelGlobal *, int, void *) {
    std::raise(SIGSEGV);
    return 0;
}

TEST_F(MemoryChain, FreePduRunsTheGeneratedFunctionInARecoveryPoint) {
    EXPECT_EQ(kelFreePDU(nullptr, 1, nullptr), 6);
    EXPECT_EQ(kelFreePDU(world, 1, nullptr), 20) << "a world without control table";
    KelControlTable table{};
    table.version = 17;
    world->ctlTbl = &table;
    EXPECT_EQ(kelFreePDU(world, 1, nullptr), 21);

    table.freePdu = free_value;
    world->encodingFlags = world->decodingFlags = TRAPPING;
    EXPECT_EQ(freePDU(world, 3, kelMalloc(world, 10), nullptr), 3);
    EXPECT_EQ(live(), 0);

    // With trapping on, a crash in the generated function becomes code 14.
    world->encodingFlags = world->decodingFlags = 0;
    world->errMsgPtr = world->errMsg;
    table.freePdu = crash_while_freeing;
    EXPECT_EQ(kelFreePDU(world, 1, nullptr), 14);
    struct sigaction now {};
    sigaction(SIGSEGV, nullptr, &now);
    EXPECT_NE(now.sa_handler, _kel_hdl_signal) << "the old handler is back";
    world->ctlTbl = nullptr;
}

// Output of kelPrint, captured through the user vprint hook.
std::string printed;
int capture(FILE *, const char *format, va_list args) {
    char line[256];
    int n = std::vsnprintf(line, sizeof line, format, args);
    printed += line;
    return n;
}

TEST_F(MemoryHandle, DecodedValueGoesWithTheHandle) {
    void *handle = kelCreateMemoryHandle(world, 512);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(kelGetActiveMemoryHandle(world), handle);
    EXPECT_NE(world->getMem, CountingAllocator::get_mem);
    ASSERT_EQ(dec([&] {
                  for (int i = 0; i < 150; ++i)
                      std::memset(_kel_dec_getmem(world, 1 + i * 13 % 700), 0x5A, 1);
              }),
              0);
    _kel_releaseMem(world); // the items are the caller's now
    uint32_t stat[5];
    ASSERT_EQ(kelGetMemoryHandleStat(world, handle, stat, 1), 0);
    EXPECT_GT(stat[0], 1u);
    EXPECT_EQ(stat[2] + stat[3] + stat[4], stat[1]);
    EXPECT_EQ(kelDeleteMemoryHandle(world, handle), 0);
    EXPECT_EQ(live(), 0) << "no kelFreePDU needed";
    EXPECT_EQ(kelGetActiveMemoryHandle(world), nullptr);
    EXPECT_EQ(world->freeMem, CountingAllocator::free_mem) << "the replaced functions are back";
}

TEST_F(MemoryHandle, FreedNeighboursMergeAndUnknownPointersAreIgnored) {
    void *handle = kelCreateMemoryHandle(world, 1024);
    void *a = kelMalloc(world, 24), *b = kelMalloc(world, 40), *c = kelMalloc(world, 16);
    uint32_t stat[5];
    kelGetMemoryHandleStat(world, handle, stat, 1);
    const uint32_t fourHeaders = stat[2];
    EXPECT_EQ(stat[3], 80u);

    kelFree(world, a);
    kelGetMemoryHandleStat(world, handle, stat, 1);
    EXPECT_EQ(stat[2], fourHeaders) << "a has no free neighbour";
    kelFree(world, b);
    kelGetMemoryHandleStat(world, handle, stat, 1);
    const uint32_t header = fourHeaders - stat[2];
    EXPECT_GT(header, 0u) << "a and b merged";
    EXPECT_EQ(stat[3], 16u);

    alignas(8) unsigned char fake[64] = {};
    kelFree(world, fake + 32);
    kelFree(world, b); // already free
    uint32_t again[5];
    kelGetMemoryHandleStat(world, handle, again, 1);
    EXPECT_EQ(std::memcmp(stat, again, sizeof stat), 0);

    kelFree(world, c);
    kelGetMemoryHandleStat(world, handle, stat, 1);
    EXPECT_EQ(stat[2], fourHeaders - 3 * header) << "one fragment is left";
    EXPECT_EQ(stat[3], 0u);
    // The whole block is free again: one piece of all of it fits.
    void *whole = kelMalloc(world, stat[4] - header);
    kelGetMemoryHandleStat(world, handle, stat, 1);
    EXPECT_EQ(stat[0], 1u);
    kelFree(world, whole);
    kelDeleteMemoryHandle(world, handle);
    EXPECT_EQ(live(), 0);
}

TEST_F(MemoryHandle, CleanKeepsBlocksAndStatPrintsByLevel) {
    void *handle = kelCreateMemoryHandle(world, 256);
    void *small = kelMalloc(world, 24);
    kelMalloc(world, 1000); // a block of its own
    uint32_t stat[5];
    kelGetMemoryHandleStat(world, handle, stat, 1);
    ASSERT_EQ(stat[0], 2u);

    world->ext->userVprint = capture;
    printed.clear();
    EXPECT_EQ(kelGetMemoryHandleStat(world, handle, stat, 1), 0);
    EXPECT_EQ(printed, "");
    EXPECT_EQ(kelGetMemoryHandleStat(world, handle, stat, 4 | 0x20), 0);
    EXPECT_EQ(printed.rfind("Handle:\n  Block #1: length = ", 0), 0u) << printed;
    EXPECT_NE(printed.find("    Fragment #1: status = 'used', length = 1000\n"), std::string::npos) << printed;
    EXPECT_NE(printed.find("    Fragment #2: status = 'last/free', length = "), std::string::npos);
    EXPECT_NE(printed.find("  Block summary (bytes): 1000 allocated, "), std::string::npos);
    EXPECT_NE(printed.find("Handle summary (bytes): 1024 allocated, "), std::string::npos) << printed;
    printed.clear();
    kelGetMemoryHandleStat(world, handle, stat, 2);
    EXPECT_EQ(printed.rfind("Handle: [0x", 0), 0u) << printed;
    EXPECT_EQ(printed.find("Block"), std::string::npos);

    // Writing past a piece damages the header behind it.
    std::memset(small, 0x55, 28);
    EXPECT_EQ(kelGetMemoryHandleStat(world, handle, stat, 1), 18);

    EXPECT_EQ(kelCleanMemoryHandle(world, handle), 0);
    EXPECT_EQ(kelGetMemoryHandleStat(world, handle, stat, 1), 0);
    EXPECT_EQ(stat[0], 2u);
    EXPECT_EQ(stat[3], 0u);
    EXPECT_NE(kelMalloc(world, 24), nullptr);

    world->ext->userVprint = nullptr;
    kelDeleteMemoryHandle(world, handle);
    EXPECT_EQ(live(), 0);
}

} // namespace

// Over the C library's allocator, freed small blocks wait in the world for
// reuse.  They must still be ordinary malloc blocks with room for what was
// asked, go back when the world closes, and never be shared by two worlds.
TEST(PieceCache, ReusedBlocksHoldTheRequestAndStayMallocBlocks) {
    kel_test::BriefWorld a, b;
    std::vector<void *> blocks;
    for (size_t n = 1; n <= 2100; n += n < 300 ? 1 : 37) {
        void *p = kelGetMemory(a.get(), n);
        std::memset(p, 0x5A, n);
        blocks.push_back(p);
    }
    for (void *p : blocks)
        kelFreeMemory(a.get(), p);
    blocks.clear();
    // Every size again, largest first, so that small requests meet blocks
    // of the classes above them: each must still hold the full request.
    for (size_t n = 2100; n >= 1; n -= n <= 300 ? 1 : 37) {
        auto *p = static_cast<unsigned char *>(kelGetMemory(a.get(), n));
        ASSERT_GE(malloc_usable_size(p), n);
        std::memset(p, 0xA5, n);
        blocks.push_back(p);
    }
    // A block from one world may be given back through another world or
    // straight to the C library.
    for (size_t i = 0; i < blocks.size(); ++i) {
        if (i % 3 == 0)
            kelFreeMemory(b.get(), blocks[i]);
        else if (i % 3 == 1)
            std::free(blocks[i]);
        else
            kelFreeMemory(a.get(), blocks[i]);
    }
    // The duplicate of a world has a cache of its own: closing both releases
    // each cached block once (the sanitizer build sees a double free or a
    // leak otherwise).
    KelGlobal open{}, copy{};
    ASSERT_EQ(kelinit(&open, &personnel_control), 0);
    kelFreeMemory(&open, kelGetMemory(&open, 24));
    ASSERT_EQ(kelDupWorld(&open, &copy), 0);
    kelFreeMemory(&copy, kelGetMemory(&open, 24));
    kelterm(&copy);
    kelterm(&open);
}

TEST(PieceCache, WorldsOverOtherAllocatorsCallThemForEveryBlock) {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    world->mallocp = CountingAllocator::raw_malloc;
    world->freep = CountingAllocator::raw_free;
    CountingAllocator::reset();
    for (int i = 0; i < 3; ++i)
        kelFreeMemory(world, kelGetMemory(world, 16));
    EXPECT_EQ(CountingAllocator::calls, 3);
    EXPECT_EQ(CountingAllocator::live, 0);
    world->mallocp = std::malloc;
    world->freep = std::free;
}

// Blocks given back beyond the lists' budget go to the C library: a world
// given back a megabyte keeps at most the budget of it.
TEST(PieceCache, ListsKeepNoMoreThanTheirBudget) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's allocator keeps no statistics in mallinfo2";
#endif
    constexpr size_t kBlock = 1000, kBlocks = 1024, kBudget = 256 * 1024;
    kel_test::BriefWorld brief;
    std::vector<void *> blocks;
    for (size_t i = 0; i < kBlocks; ++i)
        blocks.push_back(kelGetMemory(brief.get(), kBlock));
    const size_t inUse = mallinfo2().uordblks;
    for (void *p : blocks)
        kelFreeMemory(brief.get(), p);
    EXPECT_GE(inUse - mallinfo2().uordblks, kBlock * kBlocks - kBudget);
    // The lists still serve: the next blocks come from them or fresh.
    for (void *&p : blocks)
        p = kelGetMemory(brief.get(), kBlock);
    for (void *p : blocks)
        kelFreeMemory(brief.get(), p);
}
