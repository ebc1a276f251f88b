// test_copy.cpp - the value copier: the _kel_cpy_ primitives inside a frame,
// kelCpyValue over the stand-in code file in both memory modes and under
// refused memory, and the kel__ family of basic values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "copy_probe.h"
#include "counting_alloc.h"
#include "fail_each.h"
#include "harness.h"
#include "internal.h"
#include "kelvarn_services.h"

using kel_test::CountingAllocator;

namespace {

// Every piece the world takes, with its size, over the counting allocator.
std::vector<std::pair<void *, size_t>> taken;

void *recording_get(KelGlobal *world, size_t size) {
    void *p = CountingAllocator::get_mem(world, size);
    if (p)
        taken.emplace_back(p, size);
    return p;
}

void recording_free(KelGlobal *world, void *p) {
    std::erase_if(taken, [p](const auto &piece) { return piece.first == p; });
    CountingAllocator::free_mem(world, p);
}

size_t size_of_piece(const void *p) {
    for (const auto &piece : taken)
        if (piece.first == p)
            return piece.second;
    return 0;
}

struct Copier : ::testing::Test {
    KelGlobal world{};
    void SetUp() override {
        taken.clear();
        ASSERT_EQ(kelinit(&world, &kel_copy_probe_table), 0);
        CountingAllocator::install(&world);
        world.getMem = recording_get;
        world.freeMem = recording_free;
        CountingAllocator::reset();
    }
    void TearDown() override {
        EXPECT_TRUE(taken.empty()) << taken.size() << " pieces left";
        kelterm(&world);
    }
    // Runs primitives as generated code runs them inside a copy, in library
    // memory; the chain is released afterwards, as a failure would.
    template <class Body> int in_copy(Body body) { return kel_test::in_frame(&world, kel::kPhaseDecoder, body); }
    void release_chain() { _kel_freeMem(&world, world.freeMem); }
};

struct DNode {
    DNode *next;
    DNode *prev;
    int32_t number;
};

struct CountedHead {
    DNode *first;
    DNode *last;
    uint32_t count;
};

TEST_F(Copier, ListsAreCopiedNodeByNodeWithTheirLinksReplaced) {
    DNode nodes[3] = {{&nodes[1], nullptr, 10}, {&nodes[2], &nodes[0], 20}, {nullptr, &nodes[1], 30}};
    DNode *source = nodes;
    DNode *none = nullptr;
    DNode *single = nullptr, *doubly = nullptr, *empty = &nodes[0];
    DNode **emptyHead = nullptr;
    CountedHead counted = {nodes, &nodes[2], 7}, countedCopy{}, emptyCounted = {nullptr, &nodes[0], 5};
    CountedHead *countedEmptyCopy = nullptr;
    ASSERT_EQ(in_copy([&] {
                  _kel_cpy_link_obj(&world, &source, &single, sizeof(DNode));
                  _kel_cpy_dlink_obj(&world, &source, &doubly, sizeof(DNode));
                  emptyHead = static_cast<DNode **>(_kel_cpy_link_obj(&world, &none, nullptr, sizeof(DNode)));
                  _kel_cpy_link_obj(&world, &none, &empty, sizeof(DNode));
                  _kel_cpy_dlink_plus(&world, &counted, &countedCopy, sizeof(DNode));
                  countedEmptyCopy =
                      static_cast<CountedHead *>(_kel_cpy_dlink_plus(&world, &emptyCounted, nullptr, sizeof(DNode)));
              }),
              0);
    for (DNode *copy : {single, doubly, countedCopy.first}) {
        int i = 0;
        for (DNode *n = copy; n; n = n->next, ++i) {
            ASSERT_LT(i, 3);
            EXPECT_NE(n, &nodes[i]);
            EXPECT_EQ(n->number, nodes[i].number);
        }
        EXPECT_EQ(i, 3);
    }
    EXPECT_EQ(single->next->prev, &nodes[0]) << "a singly linked node keeps its other words";
    EXPECT_EQ(doubly->prev, nullptr);
    EXPECT_EQ(doubly->next->prev, doubly);
    EXPECT_EQ(doubly->next->next->prev, doubly->next);
    EXPECT_EQ(countedCopy.last, countedCopy.first->next->next);
    EXPECT_EQ(countedCopy.count, 3u) << "the count is recounted";

    ASSERT_NE(emptyHead, nullptr);
    EXPECT_EQ(*emptyHead, nullptr);
    EXPECT_EQ(size_of_piece(emptyHead), 8u);
    EXPECT_EQ(empty, nullptr);
    ASSERT_NE(countedEmptyCopy, nullptr);
    EXPECT_EQ(countedEmptyCopy->first, nullptr);
    EXPECT_EQ(countedEmptyCopy->last, nullptr);
    EXPECT_EQ(countedEmptyCopy->count, 0u);
    EXPECT_EQ(size_of_piece(countedEmptyCopy), (sizeof(CountedHead) + 7) & ~size_t{7});
    release_chain();
}

// A {length, pointer} record with the length in its first octets.
struct UnboundedRecord {
    alignas(8) unsigned char bytes[2 * sizeof(void *)];
    void set(int width, uint32_t length, const void *units) {
        std::memset(bytes, 0, sizeof bytes);
        std::memcpy(bytes, &length, static_cast<size_t>(width)); // little-endian hosts
        std::memcpy(bytes + sizeof(void *), &units, sizeof units);
    }
    unsigned char *units() const {
        unsigned char *p;
        std::memcpy(&p, bytes + sizeof(void *), sizeof p);
        return p;
    }
};

TEST_F(Copier, UnboundedRecordsCopyLengthAndUnits) {
    struct Row {
        int width, unit;
        uint32_t length;
        size_t bytes;
    };
    const Row rows[] = {{4, 1, 5, 5},  {2, 2, 3, 6},  {4, 4, 2, 8}, {4, -1, 13, 2},
                        {1, -1, 16, 2}, {1, 1, 0, 0}, {4, -1, 0, 0}};
    std::vector<unsigned char> data;
    for (const Row &row : rows) {
        SCOPED_TRACE(row.length);
        data.assign(row.bytes, 0);
        for (size_t i = 0; i < data.size(); ++i)
            data[i] = static_cast<unsigned char>(i * 7 + 1);
        UnboundedRecord source, given;
        source.set(row.width, row.length, row.bytes ? data.data() : nullptr);
        UnboundedRecord *fresh = nullptr;
        ASSERT_EQ(in_copy([&] {
                      _kel_cpy_unbnd_octet_ia(&world, source.bytes, given.bytes, row.width, row.unit,
                                              sizeof(void *));
                      fresh = static_cast<UnboundedRecord *>(_kel_cpy_unbnd_octet_ia(
                          &world, source.bytes, nullptr, row.width, row.unit, sizeof(void *)));
                  }),
                  0);
        for (const UnboundedRecord *copy : {&given, fresh}) {
            EXPECT_EQ(std::memcmp(copy->bytes, source.bytes, sizeof(void *)), 0) << "length field";
            if (!row.bytes) {
                EXPECT_EQ(copy->units(), nullptr);
                continue;
            }
            ASSERT_NE(copy->units(), data.data());
            EXPECT_EQ(std::memcmp(copy->units(), data.data(), row.bytes), 0);
            EXPECT_EQ(size_of_piece(copy->units()), (row.bytes + 7) & ~size_t{7});
        }
        release_chain();
    }
}

TEST_F(Copier, DecimalRealTextIsCopied) {
    const char text[] = "-1.25E3";
    char *copy = nullptr;
    const char *none = text;
    ASSERT_EQ(in_copy([&] {
                  copy = _kel_cpy_char_real(&world, text);
                  none = _kel_cpy_char_real(&world, nullptr);
              }),
              0);
    ASSERT_NE(copy, text);
    EXPECT_STREQ(copy, text);
    EXPECT_EQ(none, nullptr);
    release_chain();
}

KelOpenType *userFieldSource, *userFieldTarget;
int userFieldAnswer;
int user_field_copy(KelGlobal *, void *source, void *target) {
    userFieldSource = static_cast<KelOpenType *>(source);
    userFieldTarget = static_cast<KelOpenType *>(target);
    return userFieldAnswer;
}

TEST_F(Copier, OpenTypesFollowTheFlagsAndTheUserFieldFunction) {
    unsigned char encoding[] = {0x0C, 0x02, 'h', 'i'};
    char hi[] = "hi";
    KelCopyProbeNote note = {2, reinterpret_cast<unsigned char *>(hi)};
    KelOpenType source = {KEL_COPY_PROBE_NOTE, sizeof encoding, encoding, &note, 0x5A5A};
    struct Row {
        uint32_t decodingFlags;
        uint16_t presetFlags;
        bool encoded, decoded, userField;
    };
    const Row rows[] = {{0, 0, true, true, false},
                        {0, 4, true, true, true},
                        {DONT_DO_ENCODED, 0, false, true, false},
                        {DONT_DO_DECODED, 0, true, false, false},
                        {DONT_DO_ENCODED | DONT_DO_DECODED, 4, false, false, true}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.decodingFlags | row.presetFlags);
        world.decodingFlags = row.decodingFlags;
        world.presetDecFlags = row.presetFlags;
        KelOpenType *copy = nullptr;
        ASSERT_EQ(in_copy([&] { copy = _kel_cpy_open_type(&world, &source, nullptr); }), 0) << world.errMsg;
        EXPECT_EQ(size_of_piece(copy), row.userField ? (sizeof(KelOpenType) + 7) & ~size_t{7}
                                                     : offsetof(KelOpenType, userField));
        if (row.userField) {
            EXPECT_EQ(copy->userField, source.userField);
        }
        if (row.encoded) {
            ASSERT_EQ(copy->length, sizeof encoding);
            ASSERT_NE(copy->encoded, source.encoded);
            EXPECT_EQ(std::memcmp(copy->encoded, encoding, sizeof encoding), 0);
        } else {
            EXPECT_EQ(copy->length, 0u);
            EXPECT_EQ(copy->encoded, nullptr);
        }
        if (row.decoded) {
            EXPECT_EQ(copy->pduNum, KEL_COPY_PROBE_NOTE);
            auto *value = static_cast<KelCopyProbeNote *>(copy->decoded);
            ASSERT_NE(value, nullptr);
            ASSERT_NE(value, &note);
            ASSERT_EQ(value->length, 2u);
            EXPECT_NE(value->value, note.value);
            EXPECT_EQ(std::memcmp(value->value, "hi", 2), 0);
        } else {
            EXPECT_EQ(copy->pduNum, 0);
            EXPECT_EQ(copy->decoded, nullptr);
        }
        release_chain();
    }

    // The user field function sees both records; a non-zero answer fails.
    world.decodingFlags = 0;
    kelSetUserFieldCpyCmp(&world, user_field_copy, nullptr);
    KelOpenType target{};
    userFieldAnswer = 0;
    ASSERT_EQ(in_copy([&] { _kel_cpy_open_type(&world, &source, &target); }), 0);
    EXPECT_EQ(userFieldSource, &source);
    EXPECT_EQ(userFieldTarget, &target);
    userFieldAnswer = 3;
    EXPECT_EQ(in_copy([&] { _kel_cpy_open_type(&world, &source, &target); }), 40);
    EXPECT_NE(std::strstr(world.errMsg, "0079S"), nullptr) << world.errMsg;
    release_chain();

    // A decoded value without a copy function can't be copied.
    kelSetUserFieldCpyCmp(&world, nullptr, nullptr);
    const KelCopyFn copyFunction = kel_copy_probe_api.cpyValue;
    kel_copy_probe_api.cpyValue = nullptr;
    EXPECT_EQ(in_copy([&] { _kel_cpy_open_type(&world, &source, &target); }), 44);
    kel_copy_probe_api.cpyValue = copyFunction;
    release_chain();
}

// The probe's record: a name, three items, a ratio and an open type that
// holds its encoding and a decoded note.
struct SampleRecord {
    KelCopyProbeItem items[3] = {{&items[1], 1}, {&items[2], -2}, {nullptr, 3}};
    char name[6] = "kelv\xC3";
    char ratio[8] = "314E-2";
    char noteText[5] = "note";
    unsigned char encoding[6] = {0x0C, 0x04, 'n', 'o', 't', 'e'};
    KelCopyProbeNote note = {4, reinterpret_cast<unsigned char *>(noteText)};
    KelOpenType extra = {KEL_COPY_PROBE_NOTE, sizeof encoding, encoding, &note, 0};
    KelCopyProbeRecord record = {
        42, {5, reinterpret_cast<unsigned char *>(name)}, items, ratio, &extra};

    // A deep copy: equal content, no pointer shared with the source.
    void expect_copy_of(const KelCopyProbeRecord *copy) const {
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(copy->id, 42);
        ASSERT_EQ(copy->name.length, 5u);
        EXPECT_NE(copy->name.value, record.name.value);
        EXPECT_EQ(std::memcmp(copy->name.value, name, 5), 0);
        int i = 0;
        for (const KelCopyProbeItem *item = copy->items; item; item = item->next, ++i) {
            ASSERT_LT(i, 3);
            EXPECT_NE(item, &items[i]);
            EXPECT_EQ(item->number, items[i].number);
        }
        EXPECT_EQ(i, 3);
        EXPECT_NE(copy->ratio, ratio);
        EXPECT_STREQ(copy->ratio, ratio);
        ASSERT_NE(copy->extra, nullptr);
        ASSERT_NE(copy->extra, &extra);
        ASSERT_EQ(copy->extra->length, sizeof encoding);
        EXPECT_NE(copy->extra->encoded, encoding);
        EXPECT_EQ(std::memcmp(copy->extra->encoded, encoding, sizeof encoding), 0);
        EXPECT_EQ(copy->extra->pduNum, KEL_COPY_PROBE_NOTE);
        const auto *copiedNote = static_cast<const KelCopyProbeNote *>(copy->extra->decoded);
        ASSERT_NE(copiedNote, nullptr);
        ASSERT_NE(copiedNote, &note);
        ASSERT_EQ(copiedNote->length, 4u);
        EXPECT_EQ(std::memcmp(copiedNote->value, "note", 4), 0);
    }
};

TEST_F(Copier, CpyValueRefusesMissingArgumentsAndEntries) {
    SampleRecord sample;
    void *copy = nullptr;
    EXPECT_EQ(kelCpyValue(nullptr, 1, &sample.record, &copy), 6);
    EXPECT_EQ(kelCpyValue(&world, 1, nullptr, &copy), 6);
    EXPECT_EQ(kelCpyValue(&world, 1, &sample.record, nullptr), 6);

    alignas(8) unsigned char area[64];
    copy = area;
    world.decodingLength = 0;
    EXPECT_EQ(kelCpyValue(&world, 1, &sample.record, &copy), 6) << "a caller's area needs its size";

    KelXApiTable withoutCopier{};
    world.ext->xapi = &withoutCopier;
    EXPECT_EQ(kelCpyValue(&world, 1, &sample.record, &copy), 25);
    world.ext->xapi = nullptr;
    EXPECT_EQ(kelCpyValue(&world, 1, &sample.record, &copy), 25);
    EXPECT_EQ(CountingAllocator::calls, 0);
}

TEST_F(Copier, CpyValueCopiesIntoLibraryMemoryThatFreePduReleases) {
    SampleRecord sample;
    void *copy = nullptr;
    ASSERT_EQ(kelCpyValue(&world, KEL_COPY_PROBE_RECORD, &sample.record, &copy), 0) << world.errMsg;
    sample.expect_copy_of(static_cast<KelCopyProbeRecord *>(copy));
    EXPECT_EQ(world.outQueue.count, 0) << "the chain is let go, the items stay";
    EXPECT_EQ(static_cast<size_t>(CountingAllocator::live), taken.size());
    EXPECT_EQ(kelFreePDU(&world, KEL_COPY_PROBE_RECORD, copy), 0);
    EXPECT_EQ(CountingAllocator::live, 0);
}

TEST_F(Copier, CpyValueCopiesIntoTheCallersArea) {
    SampleRecord sample;
    alignas(8) unsigned char area[512];
    void *copy = area + 3;
    world.decodingLength = sizeof area - 3;
    ASSERT_EQ(kelCpyValue(&world, KEL_COPY_PROBE_RECORD, &sample.record, &copy), 0) << world.errMsg;
    EXPECT_EQ(copy, area + 8) << "pieces start on the first multiple of 8";
    sample.expect_copy_of(static_cast<KelCopyProbeRecord *>(copy));
    const auto *record = static_cast<KelCopyProbeRecord *>(copy);
    for (const void *piece : {static_cast<const void *>(record->name.value), static_cast<const void *>(record->items),
                              static_cast<const void *>(record->extra->decoded)})
        EXPECT_TRUE(piece >= area && piece < area + sizeof area);
    EXPECT_EQ(CountingAllocator::calls, 0) << "nothing is allocated";

    // Too small an area fails with the buffer's size; nothing comes back.
    world.decodingLength = 60;
    copy = area;
    EXPECT_EQ(kelCpyValue(&world, KEL_COPY_PROBE_RECORD, &sample.record, &copy), 1);
    EXPECT_EQ(copy, nullptr);
    EXPECT_NE(std::strstr(world.errMsg, "0001S"), nullptr) << world.errMsg;
    EXPECT_NE(std::strstr(world.errMsg, "60"), nullptr) << world.errMsg;
}

TEST_F(Copier, CpyValueGivesBackEverythingOnFailure) {
    SampleRecord sample;
    void *copy = nullptr;
    const long runs = kel_test::fail_each_allocation(&world, [&] {
        copy = nullptr;
        const int code = kelCpyValue(&world, KEL_COPY_PROBE_RECORD, &sample.record, &copy);
        if (code == 0)
            kelFreePDU(&world, KEL_COPY_PROBE_RECORD, copy);
        else
            EXPECT_EQ(copy, nullptr);
        return code;
    });
    EXPECT_GT(runs, 8);

    kelSetUserFieldCpyCmp(&world, user_field_copy, nullptr);
    userFieldAnswer = -1;
    copy = nullptr;
    EXPECT_EQ(kelCpyValue(&world, KEL_COPY_PROBE_RECORD, &sample.record, &copy), 40);
    EXPECT_EQ(copy, nullptr);
    EXPECT_EQ(CountingAllocator::live, 0);
}

} // namespace
