// test_compare_kinds.cpp - equality by memory form: the kind comparer over
// every group of kinds, the bit string, counted string, list and huge
// integer helpers.
#include <gtest/gtest.h>

#include <pthread.h>

#include <cstring>
#include <vector>

#include "harness.h"
#include "kelvarn_services.h"

namespace {

template <class L> struct Inline {
    L length;
    unsigned char content[8];
};
template <class L> struct Pointed {
    L length;
    const void *content;
};

const unsigned char kBytesA[8] = {1, 2, 3, 4, 5, 6, 7, 8}, kBytesA2[8] = {1, 2, 3, 4, 5, 6, 7, 8};
const unsigned char kBytesB[8] = {1, 2, 3, 4, 5, 6, 7, 9};
const unsigned char kBitsA[2] = {0xFF, 0xF0};
const unsigned char kBitsB[2] = {0xFF, 0xFF};
const unsigned char kBitsC[2] = {0xFF, 0x70};
const uint16_t kUnitsA[2] = {0x41, 0x42}, kUnitsA2[2] = {0x41, 0x42}, kUnitsB[2] = {0x41, 0x43};
const uint32_t kWideA[2] = {0x10000, 0x42}, kWideB[2] = {0x10000, 0x43};
const unsigned char kHugeA[2] = {0x00, 0xFF}, kHugeB[1] = {0xFF};

// Records of every counted shape.
const Inline<uint16_t> kInline2A{2, {0xFF, 0xF0}}, kInline2A2{2, {0xFF, 0xF0}}, kInline2B{2, {0xFF, 0xFF}};
const Inline<uint32_t> kInline4A{12, {0xFF, 0xF0}}, kInline4B{12, {0xFF, 0xFF}}, kInline4C{12, {0xFF, 0x70}};
const Inline<uint16_t> kInline2Bits{12, {0xFF, 0xF0}}, kInline2BitsOther{12, {0xFF, 0xE0}};
const Inline<uint32_t> kInlineUnitsA{2, {0x41, 0, 0x42, 0}}, kInlineUnitsB{2, {0x41, 0, 0x43, 0}};
const Inline<uint32_t> kInlineEmpty{0, {}}, kInlineEmpty2{0, {}};
const Inline<uint16_t> kInlineShort{1, {0xFF}};
const Pointed<uint32_t> kBits4A{12, kBitsA}, kBits4B{12, kBitsB}, kBits4C{12, kBitsC};
const Pointed<uint16_t> kBits2A{12, kBitsA}, kBits2C{12, kBitsC};
const Pointed<uint32_t> kBytes4A{8, kBytesA}, kBytes4B{8, kBytesB};
const Pointed<uint16_t> kBytes2A{8, kBytesA}, kBytes2B{8, kBytesB};
const Pointed<uint32_t> kUnits4A{2, kUnitsA}, kUnits4A2{2, kUnitsA2}, kUnits4B{2, kUnitsB}, kEmpty4{0, nullptr}, kEmpty4b{0, nullptr};
const Pointed<uint32_t> kWide4A{2, kWideA}, kWide4B{2, kWideB};
const Pointed<uint32_t> kHuge4A{2, kHugeA}, kHuge4B{1, kHugeB};
const Pointed<uint16_t> kHuge2A{2, kHugeA}, kHuge2B{1, kHugeB};
const uint8_t kPadded8A = 0xA0, kPadded8B = 0xBF, kPadded8C = 0xC0;
const uint16_t kPadded16A = 0xABC0, kPadded16B = 0xABCF, kPadded16C = 0xAB80;
const uint32_t kPadded32A = 0x12345000, kPadded32B = 0x12345FFF, kPadded32C = 0x12346000;
const unsigned char kTrue1 = 1, kTrue3 = 3, kFalse2 = 2;
const char kTextA[] = "abc", kTextA2[] = "abc", kTextB[] = "abd";

struct KindCase {
    const char *what;
    int kind;
    uint32_t size;
    intptr_t extra;
    const void *first;
    const void *second;
    int equal;
};

const KindCase kKindCases[] = {
    {"fixed bytes equal", 0, 8, 0, kBytesA, kBytesA2, 1},
    {"fixed bytes differ in the last", 5, 8, 0, kBytesA, kBytesB, 0},
    {"fixed, size short of the difference", 58, 7, 0, kBytesA, kBytesB, 1},
    {"memory kind 22", 22, 8, 0, kBytesA, kBytesB, 0},
    {"memory kind 50 over 7", 50, 7, 0, kBytesA, kBytesB, 1},
    {"padded u8, padding differs", 1, 1, 3, &kPadded8A, &kPadded8B, 1},
    {"padded u8, bits differ", 1, 1, 3, &kPadded8A, &kPadded8C, 0},
    {"padded u16, padding differs", 1, 2, 12, &kPadded16A, &kPadded16B, 1},
    {"padded u16, bits differ", 1, 2, 12, &kPadded16A, &kPadded16C, 0},
    {"padded u32, padding differs", 1, 4, 20, &kPadded32A, &kPadded32B, 1},
    {"padded u32, bits differ", 1, 4, 20, &kPadded32A, &kPadded32C, 0},
    {"bit array, 12 bits", 2, 0, 12, kBitsA, kBitsB, 1},
    {"bit array, 13 bits", 2, 0, 13, kBitsA, kBitsB, 0},
    {"unbounded bits, 4-octet length", 3, 4, 0, &kBits4A, &kBits4B, 1},
    {"unbounded bits differ", 3, 4, 0, &kBits4A, &kBits4C, 0},
    {"unbounded bits, 2-octet length", 3, 2, 0, &kBits2A, &kBits2C, 0},
    {"varying bits, 4-octet length", 4, 4, 0, &kInline4A, &kInline4B, 1},
    {"varying bits differ", 4, 4, 0, &kInline4A, &kInline4C, 0},
    {"varying bits, 2-octet length", 4, 2, 0, &kInline2Bits, &kInline2BitsOther, 0},
    {"varying octets equal", 9, 2, 0, &kInline2A, &kInline2A2, 1},
    {"varying octets differ", 21, 2, 0, &kInline2A, &kInline2B, 0},
    {"varying octets, lengths differ", 23, 2, 0, &kInline2A, &kInlineShort, 0},
    {"unbounded octets differ", 10, 4, 0, &kBytes4A, &kBytes4B, 0},
    {"unbounded octets, 2-octet length", 25, 2, 0, &kBytes2A, &kBytes2B, 0},
    {"two empty unbounded octets", 10, 4, 0, &kEmpty4, &kEmpty4b, 1},
    {"2-octet units", 53, 4, 0, &kUnits4A, &kUnits4B, 0},
    {"4-octet units", 54, 4, 0, &kWide4A, &kWide4B, 0},
    {"huge signed 00FF vs FF", 62, 4, 1, &kHuge4A, &kHuge4B, 0},
    {"huge unsigned 00FF vs FF", 62, 4, 0, &kHuge4A, &kHuge4B, 1},
    {"huge unsigned, 2-octet length", 62, 2, 0, &kHuge2A, &kHuge2B, 1},
    {"boolean, low bits equal", 8, 1, 0, &kTrue1, &kTrue3, 1},
    {"boolean, low bits differ", 8, 1, 0, &kTrue1, &kFalse2, 0},
    {"NUL-terminated equal", 24, 0, 0, kTextA, kTextA2, 1},
    {"NUL-terminated differ", 59, 0, 0, kTextA, kTextB, 0},
    {"inline 2-octet units differ", 26, 4, 0, &kInlineUnitsA, &kInlineUnitsB, 0},
    {"inline 2-octet units, empty pair", 26, 4, 0, &kInlineEmpty, &kInlineEmpty2, 0},
    {"pointed 2-octet units, empty pair", 28, 4, 0, &kEmpty4, &kEmpty4b, 0},
    {"pointed 2-octet units equal", 28, 4, 0, &kUnits4A, &kUnits4A2, 1},
    {"encoded OID behind a pointer", 63, 4, -1, &kBytes4A, &kBytes4B, 0},
    {"encoded OID inline, 2-octet length", 74, 2, 0, &kInline2A, &kInline2B, 0},
    {"encoded OID inline, size 3 is narrow", 74, 3, 0, &kInline2A, &kInline2A2, 1},
    {"encoded OID, empty pair", 63, 4, -1, &kEmpty4, &kEmpty4b, 0},
    {"unknown kind 11", 11, 8, 0, kBytesA, kBytesA2, 0},
    {"negative kind", -1, 8, 0, kBytesA, kBytesA2, 0},
};

TEST(CompareKinds, EveryGroupTellsEqualFromDifferent) {
    kel_test::BriefWorld world;
    for (const KindCase &c : kKindCases) {
        EXPECT_EQ(_kelCmpPrimitiveValue(world.get(), c.first, c.second, c.size,
                                        reinterpret_cast<const void *>(c.extra), c.kind),
                  c.equal)
            << c.what;
    }
}

TEST(CompareKinds, PointersAndRulesAroundTheKinds) {
    kel_test::BriefWorld world;
    world->encRules = KEL_JSON;
    EXPECT_EQ(_kelCmpPrimitiveValue(world.get(), nullptr, nullptr, 4, nullptr, 11), 1) << "two nulls are equal";
    EXPECT_EQ(_kelCmpPrimitiveValue(world.get(), kBytesA, kBytesA, 4, nullptr, 11), 1) << "one value is itself";
    EXPECT_EQ(_kelCmpPrimitiveValue(world.get(), kBytesA, nullptr, 4, nullptr, 0), 0);
    EXPECT_EQ(_kelCmpPrimitiveValue(world.get(), nullptr, kBytesA, 4, nullptr, 0), 0);
    EXPECT_EQ(_kelCmpPrimitiveValue(world.get(), kBytesA, kBytesB, 4, nullptr, KEL_CMPK_FIXED), 1);
    EXPECT_EQ(world->encRules, static_cast<uint32_t>(KEL_JSON)) << "the caller's rule comes back";
}

TEST(CompareKinds, BitStringsCompareOnlyTheirBits) {
    const unsigned char four[1] = {0xA0}, twelve[2] = {0xA0, 0x00}, twelveSet[2] = {0xA0, 0x10};
    const unsigned char nibble[1] = {0xAF};
    EXPECT_EQ(_kel_cmp_arrbits(four, twelve, 4, 12), 0) << "the excess of the longer is zero";
    EXPECT_EQ(_kel_cmp_arrbits(twelve, four, 12, 4), 0);
    EXPECT_EQ(_kel_cmp_arrbits(nibble, twelve, 4, 12), 0) << "padding of the shorter doesn't count";
    EXPECT_NE(_kel_cmp_arrbits(four, twelveSet, 4, 12), 0);
    EXPECT_NE(_kel_cmp_arrbits(twelveSet, four, 12, 4), 0);
    const unsigned char sixteen[2] = {0xA0, 0x01};
    EXPECT_NE(_kel_cmp_arrbits(four, sixteen, 4, 16), 0) << "the last bit of the excess";
    EXPECT_EQ(_kel_cmp_arrbits(four, sixteen, 4, 15), 0);

    EXPECT_EQ(_kel_cmp_membits(nullptr, nullptr, 0), 0);
    EXPECT_EQ(_kel_cmp_membits(four, nibble, 4), 0);
    EXPECT_NE(_kel_cmp_membits(four, nibble, 5), 0);
}

TEST(CompareKinds, CountedRecordsAtAGivenDisplacement) {
    const int displacement = static_cast<int>(offsetof(Pointed<uint16_t>, content));
    EXPECT_EQ(_kel_cmp_unbnd_octet_ia(&kUnits4A, &kUnits4A, 4, 2, displacement), 0);
    EXPECT_NE(_kel_cmp_unbnd_octet_ia(&kUnits4A, &kUnits4B, 4, 2, displacement), 0);
    EXPECT_EQ(_kel_cmp_unbnd_octet_ia(&kUnits4A, &kUnits4B, 4, 1, displacement), 0) << "2 units of one octet";
    EXPECT_EQ(_kel_cmp_unbnd_octet_ia(&kBits2A, &kBits2A, 2, -1, displacement), 0);
    const Pointed<uint16_t> padded{12, kBitsB};
    EXPECT_EQ(_kel_cmp_unbnd_octet_ia(&kBits2A, &padded, 2, -1, displacement), 0) << "bits past the length";
    const Pointed<uint16_t> elevenA{11, kBitsA}, elevenC{11, kBitsC};
    EXPECT_NE(_kel_cmp_unbnd_octet_ia(&elevenA, &elevenC, 2, -1, displacement), 0);
    const Pointed<uint16_t> oneA{1, kBitsA}, oneC{1, kBitsC};
    EXPECT_EQ(_kel_cmp_unbnd_octet_ia(&oneA, &oneC, 2, -1, displacement), 0) << "one bit, both set";
}

struct HugeCase {
    std::vector<unsigned char> first, second;
    int isSigned;
    int order;
};

TEST(CompareKinds, HugeIntegersWithoutRedundantSignOctets) {
    const std::vector<HugeCase> cases = {
        {{0x00, 0xFF}, {0x00, 0xFF}, 1, 0},
        {{0xFF, 0xFF}, {0xFF}, 1, 0},
        {{0x00, 0xFF}, {0xFF}, 1, 1},
        {{0x00, 0xFF}, {0xFF}, 0, 0},
        {{0xFF, 0xFF}, {0xFF}, 0, 1},
        {{0x00, 0x00, 0x7F}, {0x7F}, 1, 0},
        {{0x01, 0x00}, {0x7F}, 1, 1},
        {{0xFF, 0x00}, {0x80}, 1, -1},
        {{0x80}, {0xFF}, 1, -1},
        {{0xFF}, {0x00}, 1, -1},
        {{}, {0x00}, 1, -1},
        {{0x00}, {}, 1, 1},
        {{0x00, 0x00}, {}, 0, 0},
        {{0x12, 0x34}, {0x12, 0x35}, 0, -1},
    };
    const int displacement = static_cast<int>(offsetof(Pointed<uint32_t>, content));
    for (const HugeCase &c : cases) {
        const Pointed<uint32_t> a{static_cast<uint32_t>(c.first.size()), c.first.data()};
        const Pointed<uint32_t> b{static_cast<uint32_t>(c.second.size()), c.second.data()};
        const int order = _kel_cmp_huge_int_ia(&a, &b, 4, c.isSigned, displacement);
        EXPECT_EQ((order > 0) - (order < 0), c.order)
            << testing::PrintToString(c.first) << " vs " << testing::PrintToString(c.second) << " signed "
            << c.isSigned;
    }
}

struct IntNode {
    IntNode *next;
    int32_t value;
};

// Links `nodes` into one list and answers its first node.
IntNode *linked(std::vector<IntNode> &nodes) {
    for (size_t i = 0; i + 1 < nodes.size(); ++i)
        nodes[i].next = &nodes[i + 1];
    if (!nodes.empty())
        nodes.back().next = nullptr;
    return nodes.empty() ? nullptr : nodes.data();
}

TEST(CompareKinds, ListsEndTogether) {
    std::vector<IntNode> a = {{nullptr, 1}, {nullptr, 2}}, b = a, shorter = {{nullptr, 1}};
    IntNode *headA = linked(a), *headB = linked(b), *headShort = linked(shorter), *none = nullptr;
    EXPECT_EQ(_kel_cmp_link_obj(&headA, &headB, sizeof(int32_t)), 0);
    EXPECT_NE(_kel_cmp_link_obj(&headA, &headShort, sizeof(int32_t)), 0);
    EXPECT_NE(_kel_cmp_link_obj(&headShort, &headA, sizeof(int32_t)), 0);
    EXPECT_EQ(_kel_cmp_link_obj(&none, &none, sizeof(int32_t)), 0);
    EXPECT_NE(_kel_cmp_link_obj(&none, &headA, sizeof(int32_t)), 0);
    b[1].value = 3;
    EXPECT_NE(_kel_cmp_link_obj(&headA, &headB, sizeof(int32_t)), 0);
    EXPECT_EQ(_kel_cmp_link_objid(headA, headB, 0), 0) << "elements of no size";

    kel_test::BriefWorld world;
    EXPECT_EQ(_kelCmpPrimitiveValue(world.get(), &headA, &headShort, sizeof(int32_t), nullptr, 27), 0);
    b[1].value = 2;
    EXPECT_EQ(_kelCmpPrimitiveValue(world.get(), &headA, &headB, sizeof(int32_t), nullptr, 27), 1);

    // Object identifiers in the linked form: u32 or u16 arcs.
    struct ShortArc {
        ShortArc *next;
        uint16_t arc;
    } x2{nullptr, 5}, x1{&x2, 1}, y2{nullptr, 6}, y1{&y2, 1};
    EXPECT_NE(_kel_cmp_link_objid(&x1, &y1, sizeof(uint16_t)), 0);
    y2.arc = 5;
    EXPECT_EQ(_kel_cmp_link_objid(&x1, &y1, sizeof(uint16_t)), 0);
}

// A long list on a small stack: a comparer that recursed per element would
// overflow it.
struct LongLists {
    IntNode *first, *second;
    int result;
};

void *compare_long_lists(void *argument) {
    auto *lists = static_cast<LongLists *>(argument);
    lists->result = _kel_cmp_link_obj(&lists->first, &lists->second, sizeof(int32_t));
    return nullptr;
}

int compare_on_small_stack(LongLists &lists) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 256 * 1024);
    pthread_t thread;
    EXPECT_EQ(pthread_create(&thread, &attributes, compare_long_lists, &lists), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    return lists.result;
}

TEST(CompareKinds, HundredThousandElementsInOnePass) {
    std::vector<IntNode> a(100000), b(100000);
    for (size_t i = 0; i < a.size(); ++i)
        a[i].value = b[i].value = static_cast<int32_t>(i * 7);
    LongLists lists{linked(a), linked(b), -1};
    EXPECT_EQ(compare_on_small_stack(lists), 0);
    b.back().value = -1;
    lists.result = -1;
    EXPECT_EQ(compare_on_small_stack(lists), 1) << "the last element differs";
}

} // namespace
