// test_world.cpp - opening, duplicating and closing worlds, control tables in
// shared libraries, and what a code file's init function registers.
#include <gtest/gtest.h>

#include <cstring>
#include <dlfcn.h>

#include "counting_alloc.h"
#include "frame_probe.h"
#include "internal.h"

using kel_test::CountingAllocator;

namespace {

// Counts every allocation of the worlds a test opens, the extension included.
struct CountedWorlds : ::testing::Test {
    KelRawMalloc savedMalloc = mallocp;
    KelRawFree savedFree = freep;
    long liveAtStart = 0;
    void SetUp() override {
        mallocp = CountingAllocator::raw_malloc;
        freep = CountingAllocator::raw_free;
        CountingAllocator::reset();
        liveAtStart = CountingAllocator::live;
        kel_probe = KelProbeScript{};
    }
    void TearDown() override {
        mallocp = savedMalloc;
        freep = savedFree;
        EXPECT_EQ(CountingAllocator::live, liveAtStart) << "a world leaked memory";
    }
};

using World = CountedWorlds;

TEST_F(World, OpenRefusesBadArgumentsAndTables) {
    KelGlobal world;
    EXPECT_EQ(kelinit(nullptr, &kel_probe_table), 6);

    EXPECT_EQ(kelinit(&world, nullptr), 20);
    EXPECT_EQ(world.ctlTbl, nullptr);
    EXPECT_EQ(world.ext, nullptr);

    KelControlTable table = kel_probe_table;
    table.version = 16;
    EXPECT_EQ(kelinit(&world, &table), 7);
    table.version = 17;
    table.perVersion = 15;
    EXPECT_EQ(kelinit(&world, &table), 7);
    table.perVersion = 0; // accepted: only the PER drivers demand 16
    EXPECT_EQ(kelinit(&world, &table), 0);
    kelterm(&world);
    table.init = nullptr;
    EXPECT_EQ(kelinit(&world, &table), 21);
    EXPECT_EQ(world.ext, nullptr);
    EXPECT_EQ(world.errMsg[0], 0) << "kelinit stores no message";
}

TEST_F(World, OpenSetsDefaultsAndRunsInit) {
    KelGlobal world;
    std::memset(&world, 0xAB, sizeof world);
    ASSERT_EQ(kelinit(&world, &kel_probe_table), 0);
    EXPECT_EQ(kel_probe.initCalls, 1);
    EXPECT_EQ(world.ctlTbl, &kel_probe_table);
    EXPECT_EQ(world.encodingFlags, TRAPPING);
    EXPECT_EQ(world.decodingFlags, TRAPPING);
    EXPECT_EQ(world.presetDecFlags & 1, 1) << "no root context: decoders advance the caller's buffer";
    EXPECT_EQ(world.ext->constructedLimit, 10u);
    EXPECT_EQ(world.ext->seqSetLimit, 64u);
    EXPECT_EQ(*world.ext->ruleMap, 15);
    EXPECT_EQ(world.asn1chop, 35);
    EXPECT_NE(world.userVar, 0xABABABABu) << "userVar survives only when asked";
    EXPECT_EQ(world.reserveTail[0], 0xABABABABu) << "only the cleared part is cleared";
    EXPECT_EQ(kelbriefterm(&world), 0);

    kel_probe.withRootContext = 1;
    _kelSetGlobalUserVar = 0;
    world.userVar = 77;
    ASSERT_EQ(kelinit(&world, &kel_probe_table), 0);
    _kelSetGlobalUserVar = 1;
    EXPECT_EQ(world.userVar, 77u);
    EXPECT_EQ(world.presetDecFlags & 1, 0);
    EXPECT_EQ(world.ctlTbl, &kel_probe_table) << "the table is put back after init";
    kelterm(&world);
    EXPECT_EQ(world.ctlTbl, nullptr);
    EXPECT_EQ(kelterm(&world), 0) << "closing twice does nothing";
}

TEST_F(World, SizesAndConstants) {
    EXPECT_EQ(kel::kWorldClearedSize, offsetof(KelGlobal, reserveTail));
    if (sizeof(void *) == 4) {
        EXPECT_EQ(kelGetKelGlobalSize(), 1584);
        EXPECT_EQ(kel::kWorldClearedSize, 1472u);
    } else {
        EXPECT_GE(static_cast<size_t>(kelGetKelGlobalSize()), sizeof(KelGlobal));
    }
    EXPECT_EQ(_kel_version_number, 17);
    EXPECT_EQ(_kel_per_version_number, 16);
    EXPECT_EQ(KEL_PLATFORM_SYMBOL(5), 5);
    EXPECT_EQ(kelInitSync(), 0);
    EXPECT_EQ(kelTermSync(9), 9);
    EXPECT_NE(std::strchr(_kel_ident_api, '\t'), nullptr);
    EXPECT_EQ(kelLinkBer(nullptr), nullptr);
}

TEST_F(World, BriefWorldHasNoTable) {
    KelGlobal world;
    EXPECT_EQ(kelbriefinit(nullptr), 6);
    ASSERT_EQ(kelbriefinit(&world), 0);
    EXPECT_EQ(world.ctlTbl, nullptr);
    EXPECT_NE(world.ext, nullptr);
    EXPECT_EQ(world.encodingFlags, 0u);
    EXPECT_EQ(world.ext->constructedLimit, 0u);
    int pdu = 1;
    unsigned char octet = 0;
    KelBuf input = {1, &octet};
    void *value = nullptr;
    kelLinkBer(&world); // the rule is linked, so the missing table is what answers
    EXPECT_EQ(kelDecode(&world, &pdu, &input, &value), 20) << "no table: message 37";
    kelbriefterm(&world);
}

TEST_F(World, DuplicateKeepsSettingsWithoutInit) {
    KelGlobal source, copy;
    ASSERT_EQ(kelinit(&source, &kel_probe_table), 0);
    kelSetEncodingRules(&source, KEL_DER);
    kelSetEncodingFlags(&source, DEFINITE | KEL_TRAP_SIGNALS);
    kelSetConstructedNestingLimit(&source, 3);
    EXPECT_EQ(kelDupWorld(nullptr, &copy), 6);
    ASSERT_EQ(kelDupWorld(&source, &copy), 0);
    EXPECT_EQ(kel_probe.initCalls, 1) << "init runs once";
    EXPECT_EQ(copy.encRules, static_cast<uint32_t>(KEL_DER));
    EXPECT_EQ(copy.encodingFlags, source.encodingFlags);
    EXPECT_EQ(copy.modeBits & KEL_MODE_DER_SUPPORT, KEL_MODE_DER_SUPPORT);
    EXPECT_EQ(copy.ext->constructedLimit, 3u);
    EXPECT_NE(copy.ext, source.ext);

    // Each world encodes on its own.
    static const unsigned char octets[] = {0x05, 0x00};
    kel_probe.bytes = octets;
    kel_probe.length = 2;
    KelBuf out = {0, nullptr};
    ASSERT_EQ(kelEncode(&copy, 1, &copy, &out), 0);
    EXPECT_EQ(out.length, 2u);
    kelFreeBuf(&copy, out.value);
    kelterm(&copy);
    kelterm(&source);
}

TEST_F(World, ObjectSetTableIsCopiedAndReleased) {
    KelGlobal world, copy;
    ASSERT_EQ(kelinit(&world, &kel_probe_table), 0);
    // Entries of four words: the second heads a chain of run-time nodes
    // {next, object, previous}, the third is an owned map of as many bits
    // as the fourth says.
    void *entries[2][4] = {};
    void **node2 = static_cast<void **>(mallocp(3 * sizeof(void *)));
    void **node1 = static_cast<void **>(mallocp(3 * sizeof(void *)));
    node1[0] = node2, node1[1] = &world, node1[2] = nullptr;
    node2[0] = nullptr, node2[1] = &copy, node2[2] = node1;
    entries[0][1] = node1;
    for (auto &entry : entries) {
        entry[2] = std::memset(mallocp(16), 0, 16);
        entry[3] = reinterpret_cast<void *>(uintptr_t{128});
    }
    ASSERT_EQ(kelInitXObjectSetTable(&world, 8, entries, entries, 2, 1), 0);
    EXPECT_EQ(world.ext->xobjSetTable.count, 2u);
    EXPECT_NE(world.ext->xobjSetTable.entries, static_cast<void *>(entries)) << "a private copy";

    ASSERT_EQ(kelDupWorld(&world, &copy), 0);
    EXPECT_NE(copy.ext->xobjSetTable.entries, world.ext->xobjSetTable.entries);
    kelterm(&copy); // its own copies of the chain and the owned words
    kelterm(&world); // releases the chain, the owned words and the table
}

TEST_F(World, FailedAllocationLeavesWorldClosed) {
    KelGlobal world;
    CountingAllocator::reset(1);
    EXPECT_EQ(kelinit(&world, &kel_probe_table), 8);
    CountingAllocator::reset(1);
    EXPECT_EQ(kelbriefinit(&world), 8);
    CountingAllocator::reset();
}

TEST(SharedLibrary, ControlTableFromLibrary) {
    KelGlobal world;
    EXPECT_EQ(kelUinit(nullptr, nullptr, "x"), 6);
    EXPECT_EQ(kelUinit(&world, nullptr, nullptr), 6);
    EXPECT_EQ(kelUinit(&world, nullptr, "/nonexistent/libnothing.so"), 97);

    ASSERT_EQ(kelUinit(&world, nullptr, KEL_DYNLIB_PATH), 0);
    EXPECT_NE(world.ext->dynlibHandle, nullptr);
    EXPECT_NE(world.ctlTbl, nullptr);
    EXPECT_EQ(kelUterm(&world), 0);

    // With a table the library name is not looked at.
    ASSERT_EQ(kelUinit(&world, &kel_probe_table, "/nonexistent/libnothing.so"), 0);
    EXPECT_EQ(world.ext->dynlibHandle, nullptr);
    EXPECT_EQ(kelUterm(&world), 0);
    EXPECT_EQ(kelUterm(nullptr), 0);
    EXPECT_EQ(kelUCloseDynlib(nullptr), 0);
}

} // namespace
