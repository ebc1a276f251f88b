// test_copy.cpp - the value copier: the _kel_cpy_ primitives inside a frame,
// kelCpyValue over the stand-in code file in both memory modes and under
// refused memory, and the kel__ family of basic values.
#include <gtest/gtest.h>

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

// Every live piece the world took, with its size, over the counting allocator.
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

constexpr size_t round8(size_t n) { return (n + 7) & ~size_t{7}; }

KelOpenType *userFieldTarget;
int userFieldAnswer;
int user_field_copy(KelGlobal *, void *, void *target) {
    userFieldTarget = static_cast<KelOpenType *>(target);
    return userFieldAnswer;
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
    // Runs primitives as a generated copy function runs them, in library
    // memory; then releases the chain, as a failure would.
    template <class Body> int in_copy(Body body) {
        const int code = kel_test::in_frame(&world, kel::kPhaseDecoder, body);
        _kel_freeMem(&world, world.freeMem);
        return code;
    }
    // Gives back what the kel__ family made.
    void release_all() {
        while (!taken.empty())
            kelFreeMemory(&world, taken.back().first);
    }
};

struct DNode {
    DNode *next;
    DNode *prev;
    int32_t number;
};

TEST_F(Copier, ListsAreCopiedNodeByNodeWithTheirLinksReplaced) {
    DNode nodes[3] = {{&nodes[1], nullptr, 10}, {&nodes[2], &nodes[0], 20}, {nullptr, &nodes[1], 30}};
    DNode *source = nodes, *none = nullptr, *single = nullptr, *doubly = nullptr, **emptyHead = nullptr;
    struct {
        DNode *first, *last;
        uint32_t count;
    } counted = {nodes, nodes, 7}, countedCopy{}, emptyCounted = {nullptr, nodes, 5}, *emptyCopy = nullptr;
    ASSERT_EQ(in_copy([&] {
                  _kel_cpy_link_obj(&world, &source, &single, sizeof(DNode));
                  _kel_cpy_dlink_obj(&world, &source, &doubly, sizeof(DNode));
                  _kel_cpy_dlink_plus(&world, &counted, &countedCopy, sizeof(DNode));
                  emptyHead = static_cast<DNode **>(_kel_cpy_link_obj(&world, &none, nullptr, sizeof(DNode)));
                  emptyCopy = static_cast<decltype(emptyCopy)>(
                      _kel_cpy_dlink_plus(&world, &emptyCounted, nullptr, sizeof(DNode)));
                  EXPECT_EQ(size_of_piece(emptyHead), 8u);
                  EXPECT_EQ(size_of_piece(emptyCopy), round8(sizeof counted));
                  EXPECT_EQ(*emptyHead, nullptr);
                  EXPECT_TRUE(!emptyCopy->first && !emptyCopy->last && !emptyCopy->count);
                  for (DNode *copy : {single, doubly, countedCopy.first}) {
                      for (int i = 0; i < 3; ++i, copy = copy->next) {
                          ASSERT_NE(copy, nullptr);
                          EXPECT_NE(copy, &nodes[i]);
                          EXPECT_EQ(copy->number, nodes[i].number);
                      }
                      EXPECT_EQ(copy, nullptr);
                  }
                  EXPECT_EQ(single->next->prev, &nodes[0]) << "a singly linked node keeps its other words";
                  EXPECT_EQ(doubly->prev, nullptr);
                  EXPECT_EQ(doubly->next->next->prev, doubly->next);
                  EXPECT_EQ(countedCopy.last, countedCopy.first->next->next);
                  EXPECT_EQ(countedCopy.count, 3u) << "the count is recounted";
              }),
              0);
}

TEST_F(Copier, UnboundedRecordsAndRealTextAreCopied) {
    struct Row {
        int width, unit;
        uint32_t length;
        size_t bytes;
    };
    const Row rows[] = {{4, 1, 5, 5}, {2, 2, 3, 6}, {4, 4, 2, 8}, {4, -1, 13, 2}, {1, -1, 16, 2}, {1, 1, 0, 0}};
    std::vector<unsigned char> data;
    for (const Row &row : rows) {
        SCOPED_TRACE(row.length);
        data.assign(row.bytes, 0x5A); // exactly the units' octets: a longer read shows under ASan
        // {length, pointer}, the pointer one word in; the length little-endian.
        alignas(8) unsigned char source[2 * sizeof(void *)] = {}, given[sizeof source] = {};
        const unsigned char *units = row.bytes ? data.data() : nullptr;
        std::memcpy(source, &row.length, static_cast<size_t>(row.width));
        std::memcpy(source + sizeof(void *), &units, sizeof units);
        ASSERT_EQ(in_copy([&] {
                      auto *fresh = static_cast<const unsigned char *>(
                          _kel_cpy_unbnd_octet_ia(&world, source, nullptr, row.width, row.unit, sizeof(void *)));
                      _kel_cpy_unbnd_octet_ia(&world, source, given, row.width, row.unit, sizeof(void *));
                      for (const unsigned char *copy : {fresh, static_cast<const unsigned char *>(given)}) {
                          const unsigned char *copied;
                          std::memcpy(&copied, copy + sizeof(void *), sizeof copied);
                          EXPECT_EQ(std::memcmp(copy, source, sizeof(void *)), 0) << "length field";
                          EXPECT_EQ(size_of_piece(copied), round8(row.bytes));
                          EXPECT_TRUE(row.bytes ? copied != units && !std::memcmp(copied, units, row.bytes)
                                                : copied == nullptr);
                      }
                  }),
                  0);
    }
    ASSERT_EQ(in_copy([&] {
                  EXPECT_STREQ(_kel_cpy_char_real(&world, "-1.25E3"), "-1.25E3");
                  EXPECT_EQ(_kel_cpy_char_real(&world, nullptr), nullptr);
              }),
              0);
}

TEST_F(Copier, OpenTypesFollowTheFlagsAndTheUserFieldFunction) {
    unsigned char encoding[] = {0x0C, 0x02, 'h', 'i'};
    KelCopyProbeNote note = {2, encoding + 2};
    const KelOpenType source = {KEL_COPY_PROBE_NOTE, sizeof encoding, encoding, &note, 0x5A5A};
    const struct Row {
        uint32_t flags;
        uint16_t preset;
    } rows[] = {{0, 0}, {0, 4}, {DONT_DO_ENCODED, 0}, {DONT_DO_DECODED, 4}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.flags | row.preset);
        world.decodingFlags = row.flags;
        world.presetDecFlags = row.preset;
        ASSERT_EQ(in_copy([&] {
                      KelOpenType *copy = _kel_cpy_open_type(&world, &source, nullptr);
                      EXPECT_EQ(size_of_piece(copy),
                                row.preset ? round8(sizeof(KelOpenType)) : offsetof(KelOpenType, userField));
                      EXPECT_TRUE(!row.preset || copy->userField == source.userField);
                      EXPECT_TRUE((row.flags & DONT_DO_ENCODED)
                                      ? copy->length == 0 && copy->encoded == nullptr
                                      : copy->encoded != encoding && !std::memcmp(copy->encoded, encoding, 4));
                      auto *value = static_cast<KelCopyProbeNote *>(copy->decoded);
                      if (row.flags & DONT_DO_DECODED) {
                          EXPECT_TRUE(copy->pduNum == 0 && value == nullptr);
                      } else {
                          EXPECT_EQ(copy->pduNum, KEL_COPY_PROBE_NOTE);
                          ASSERT_TRUE(value && value != &note && value->value != note.value);
                          EXPECT_EQ(std::memcmp(value->value, "hi", 2), 0);
                      }
                  }),
                  0)
            << world.errMsg;
    }

    world.decodingFlags = 0;
    kelSetUserFieldCpyCmp(&world, user_field_copy, nullptr);
    KelOpenType target{};
    userFieldAnswer = 0;
    EXPECT_EQ(in_copy([&] { _kel_cpy_open_type(&world, &source, &target); }), 0);
    EXPECT_EQ(userFieldTarget, &target);
    userFieldAnswer = 3;
    EXPECT_EQ(in_copy([&] { _kel_cpy_open_type(&world, &source, &target); }), 40);
    EXPECT_NE(std::strstr(world.errMsg, "0079S"), nullptr) << world.errMsg;

    kelSetUserFieldCpyCmp(&world, nullptr, nullptr);
    const KelCopyFn copyFunction = kel_copy_probe_api.cpyValue;
    kel_copy_probe_api.cpyValue = nullptr;
    EXPECT_EQ(in_copy([&] { _kel_cpy_open_type(&world, &source, &target); }), 44) << "no copier for the value";
    kel_copy_probe_api.cpyValue = copyFunction;
}

// The probe's record: a name, three items, a ratio, and an open type with
// its encoding and a decoded note.
struct SampleRecord {
    KelCopyProbeItem items[3] = {{&items[1], 1}, {&items[2], -2}, {nullptr, 3}};
    char text[12] = "kelv\xC3note";
    char ratio[8] = "314E-2";
    unsigned char encoding[6] = {0x0C, 0x04, 'n', 'o', 't', 'e'};
    KelCopyProbeNote note = {4, encoding + 2};
    KelOpenType extra = {KEL_COPY_PROBE_NOTE, sizeof encoding, encoding, &note, 0};
    KelCopyProbeRecord record = {42, {5, reinterpret_cast<unsigned char *>(text)}, items, ratio, &extra};

    // Equal content, no pointer shared with the source.
    void expect_copy_of(const KelCopyProbeRecord *copy) const {
        ASSERT_TRUE(copy && copy->id == 42 && copy->name.length == 5 && copy->extra && copy->extra != &extra);
        EXPECT_TRUE(copy->name.value != record.name.value && !std::memcmp(copy->name.value, text, 5));
        const KelCopyProbeItem *item = copy->items;
        for (int i = 0; i < 3; ++i, item = item->next) {
            ASSERT_TRUE(item && item != &items[i]);
            EXPECT_EQ(item->number, items[i].number);
        }
        EXPECT_EQ(item, nullptr);
        EXPECT_TRUE(copy->ratio != ratio && !std::strcmp(copy->ratio, ratio));
        EXPECT_TRUE(copy->extra->encoded != encoding && !std::memcmp(copy->extra->encoded, encoding, 6));
        const auto *copiedNote = static_cast<const KelCopyProbeNote *>(copy->extra->decoded);
        ASSERT_TRUE(copiedNote && copiedNote != &note && copiedNote->length == 4);
        EXPECT_EQ(std::memcmp(copiedNote->value, "note", 4), 0);
    }
};

TEST_F(Copier, CpyValueRefusesMissingArgumentsAndEntries) {
    SampleRecord sample;
    alignas(8) unsigned char area[64];
    void *copy = area;
    EXPECT_EQ(kelCpyValue(nullptr, 1, &sample.record, &copy), 6);
    EXPECT_EQ(kelCpyValue(&world, 1, nullptr, &copy), 6);
    EXPECT_EQ(kelCpyValue(&world, 1, &sample.record, nullptr), 6);
    world.decodingLength = 0;
    EXPECT_EQ(kelCpyValue(&world, 1, &sample.record, &copy), 6) << "a caller's area needs its size";
    KelXApiTable withoutCopier{};
    world.ext->xapi = &withoutCopier;
    EXPECT_EQ(kelCpyValue(&world, 1, &sample.record, &copy), 25);
    world.ext->xapi = nullptr;
    EXPECT_EQ(kelCpyValue(&world, 1, &sample.record, &copy), 25);
    EXPECT_EQ(CountingAllocator::calls, 0);
}

TEST_F(Copier, CpyValueCopiesIntoLibraryMemoryOrTheCallersArea) {
    SampleRecord sample;
    void *copy = nullptr;
    ASSERT_EQ(kelCpyValue(&world, KEL_COPY_PROBE_RECORD, &sample.record, &copy), 0) << world.errMsg;
    sample.expect_copy_of(static_cast<KelCopyProbeRecord *>(copy));
    EXPECT_EQ(world.outQueue.count, 0) << "the chain is let go, the items stay";
    EXPECT_EQ(kelFreePDU(&world, KEL_COPY_PROBE_RECORD, copy), 0);

    alignas(8) unsigned char area[512];
    copy = area + 3;
    world.decodingLength = sizeof area - 3;
    CountingAllocator::reset();
    ASSERT_EQ(kelCpyValue(&world, KEL_COPY_PROBE_RECORD, &sample.record, &copy), 0) << world.errMsg;
    EXPECT_EQ(copy, area + 8) << "pieces start on the first multiple of 8";
    sample.expect_copy_of(static_cast<KelCopyProbeRecord *>(copy));
    const auto *note = static_cast<const unsigned char *>(static_cast<KelCopyProbeRecord *>(copy)->extra->decoded);
    EXPECT_TRUE(note > area && note < area + sizeof area);
    EXPECT_EQ(CountingAllocator::calls, 0) << "nothing is allocated";

    world.decodingLength = 60;
    copy = area;
    EXPECT_EQ(kelCpyValue(&world, KEL_COPY_PROBE_RECORD, &sample.record, &copy), 1);
    EXPECT_EQ(copy, nullptr);
    EXPECT_NE(std::strstr(world.errMsg, "0001S: Output buffer too small; total buffer size: 60"), nullptr)
        << world.errMsg;
}

TEST_F(Copier, CpyValueGivesBackEverythingOnFailure) {
    SampleRecord sample;
    void *copy = nullptr;
    EXPECT_GT(kel_test::fail_each_allocation(&world,
                                             [&] {
                                                 copy = nullptr;
                                                 const int code =
                                                     kelCpyValue(&world, KEL_COPY_PROBE_RECORD, &sample.record, &copy);
                                                 EXPECT_EQ(code == 0, copy != nullptr);
                                                 if (code == 0)
                                                     kelFreePDU(&world, KEL_COPY_PROBE_RECORD, copy);
                                                 return code;
                                             }),
              8);
    kelSetUserFieldCpyCmp(&world, user_field_copy, nullptr);
    userFieldAnswer = -1;
    copy = nullptr;
    EXPECT_EQ(kelCpyValue(&world, KEL_COPY_PROBE_RECORD, &sample.record, &copy), 40);
    EXPECT_EQ(copy, nullptr);
}

TEST_F(Copier, BasicValuesAreBuiltFromGetMemory) {
    EXPECT_EQ(*kel__Double_copy(&world, 2.5), 2.5);
    EXPECT_EQ(*kel__LongLong_copy(&world, -(int64_t{1} << 40)), -(int64_t{1} << 40));
    EXPECT_EQ(size_of_piece(kel__Short_copy(&world, -3)), 2u);
    EXPECT_EQ(kel__CharStr_new(&world, 5)[0], 0);
    EXPECT_STREQ(kel__CharStr_copy(&world, "abc"), "abc");

    const KelUnboundedString *text = kel__UnbCharString_copy(&world, "abcd", 3);
    EXPECT_TRUE(text->length == 3 && !std::strcmp(reinterpret_cast<char *>(text->value), "abc"));
    EXPECT_EQ(kel__UnbCharString_copy(&world, "abcd", 0)->value, nullptr);
    EXPECT_EQ(kel__UnbCharString_copy_nullterm(&world, "xy")->length, 2u);
    const uint16_t bmp[] = {0x41, 0x3B1};
    const KelBmpString *wide = kel__BmpString_copy(&world, bmp, 2);
    EXPECT_TRUE(wide->length == 2 && wide->value[1] == 0x3B1 && size_of_piece(wide->value) == 4);
    const uint32_t universal[] = {0x1F600};
    EXPECT_EQ(kel__UnivString_copy(&world, universal, 1)->value[0], 0x1F600u);
    const unsigned char bits[3] = {0xA5, 0xF0, 0x00};
    EXPECT_EQ(size_of_piece(kel__UnbBitStr_copy(&world, bits, 12)->value), 2u);
    EXPECT_EQ(size_of_piece(kel__UnbBitStr_copy(&world, bits, 16)->value), 3u) << "(bits >> 3) + 1";
    EXPECT_EQ(size_of_piece(kel__BitStrCC_copy_encoded(&world, bits, 8)->encoded), 2u);
    const size_t before = taken.size();
    EXPECT_EQ(kel__UnbCharString_copy(&world, nullptr, 2), nullptr);
    EXPECT_EQ(taken.size(), before) << "a null text with a length takes nothing";

    const KelUnbSeqOf *zeroed = kel__UnbSeqOf_new(&world, 3, 4, 1);
    EXPECT_TRUE(zeroed->count == 3 && !static_cast<const uint32_t *>(zeroed->value)[2]);
    EXPECT_EQ(static_cast<const uint32_t *>(kel__UnbSeqOf_copy(&world, universal, 1, 4)->value)[0], 0x1F600u);
    const auto *contained = kel__OctStrCC_copy_encoded(&world, bits, 3);
    EXPECT_TRUE(contained->length == 3 && contained->decoded == nullptr && contained->encoded[0] == 0xA5);
    const auto *encoded = static_cast<const KelOpenType *>(kel__OpenType_copy_encoded(&world, bits, 3, sizeof(KelOpenType)));
    EXPECT_TRUE(encoded->pduNum == 0 && encoded->length == 3 && encoded->encoded != bits && !encoded->decoded);
    const auto *newEncoded = static_cast<const unsigned char *>(kel__NewOpenType_copy_encoded(&world, bits, 2, 32, 8));
    EXPECT_EQ(reinterpret_cast<const KelBuf *>(newEncoded + 8)->length, 2u);
    EXPECT_EQ(kel__NewOpenType_copy_encoded(&world, bits, 2, 8, 4), nullptr) << "the field doesn't fit";

    KelCopyProbeNote note = {2, const_cast<unsigned char *>(bits)};
    const auto *decoded = static_cast<const KelOpenType *>(kel__OpenType_copy_decoded(&world, &note, 2, sizeof(KelOpenType)));
    ASSERT_TRUE(decoded && decoded->pduNum == 2 && decoded->decoded != &note && !decoded->encoded);
    EXPECT_EQ(static_cast<const KelCopyProbeNote *>(decoded->decoded)->value[1], 0xF0);
    const KelContained *inner = kel__CC_copy_decoded(&world, &note, 2);
    EXPECT_TRUE(inner->length == 0 && !inner->encoded && inner->decoded);
    const auto *newDecoded =
        static_cast<const unsigned char *>(kel__NewOpenType_copy_decoded(&world, &note, 2, 24, 2, 8));
    uint16_t pdu;
    std::memcpy(&pdu, newDecoded, 2);
    EXPECT_TRUE(pdu == 2 && *reinterpret_cast<void *const *>(newDecoded + 8));
    release_all();
}

TEST_F(Copier, TimesAreParsedIntoTheTimeRecord) {
    const struct Row {
        const char *text;
        bool generalized;
        int16_t year, hour, millisec, mindiff;
        uint8_t utc;
    } rows[] = {{"20240229123456.7891Z", true, 2024, 12, 789, 0, 1},
                {"20240229123456.5+0130", true, 2024, 12, 500, 90, 0},
                {"2024022912+0001", true, 2024, 12, 0, 1, 0},
                {"240229235959Z", false, 24, 23, 0, 0, 1},
                {"2402292359-0500", false, 24, 23, 0, -300, 0}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text);
        KelTimeStruct *time = row.generalized ? kel__GeneralizedTime_copy_nullterm(&world, row.text)
                                              : kel__UTCTime_copy_nullterm(&world, row.text);
        ASSERT_NE(time, nullptr);
        EXPECT_EQ(size_of_piece(time), 18u);
        EXPECT_TRUE(time->year == row.year && time->month == 2 && time->day == 29 && time->hour == row.hour);
        EXPECT_TRUE(time->millisec == row.millisec && time->mindiff == row.mindiff && time->utc == row.utc);
        release_all();
    }
    EXPECT_EQ(kel__GeneralizedTime_copy_nullterm(&world, "2024-02-29"), nullptr);
    EXPECT_EQ(kel__UTCTime_copy_nullterm(&world, "20240229123456Z"), nullptr);
    EXPECT_TRUE(taken.empty());
}

using Maker = void *(*)(KelGlobal *);
void *bits_maker(KelGlobal *w) { return kel__UnbBitStr_copy(w, reinterpret_cast<const unsigned char *>("ab"), 9); }
void *text_maker(KelGlobal *w) { return kel__UnbCharString_copy_nullterm(w, "text"); }
void *list_maker(KelGlobal *w) { return kel__UnbSeqOf_new(w, 4, 8, 1); }
void *time_maker(KelGlobal *w) { return kel__UTCTime_copy_nullterm(w, "240229235959Z"); }
void *open_type_maker(KelGlobal *w) { return kel__NewOpenType_copy_encoded(w, "ab", 2, 16, 0); }
void *decoded_maker(KelGlobal *w) {
    static KelCopyProbeNote note = {3, const_cast<unsigned char *>(reinterpret_cast<const unsigned char *>("abc"))};
    return kel__CC_copy_decoded(w, &note, KEL_COPY_PROBE_NOTE);
}

TEST_F(Copier, BasicValuesGiveBackWhatTheyTookWhenMemoryIsRefused) {
    for (Maker make : {bits_maker, text_maker, list_maker, time_maker, open_type_maker, decoded_maker}) {
        for (long k = 1;; ++k) {
            CountingAllocator::reset(k);
            void *value = make(&world);
            if (CountingAllocator::calls < k) {
                EXPECT_NE(value, nullptr);
                release_all();
                break;
            }
            EXPECT_EQ(value, nullptr) << "allocation " << k << " refused";
            EXPECT_TRUE(taken.empty());
        }
    }
    CountingAllocator::reset();
}

} // namespace
