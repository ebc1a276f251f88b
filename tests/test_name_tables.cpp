// Tests of the name tables: the CRC-24 against a bit-serial computation in
// the unreflected direction, bisection by name, and lookup by hash with
// collisions, the row-0 rule included.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kelvarn_xer.h"

namespace {

uint32_t reflect(uint32_t value, int bits) {
    uint32_t out = 0;
    for (int i = 0; i < bits; ++i)
        out |= ((value >> i) & 1u) << (bits - 1 - i);
    return out;
}

// MSB-first CRC over bit-reversed input octets with the polynomial as
// written (0xBBA1B5); reversed back and complemented it must equal the
// library's table-driven reflected CRC.
uint32_t crc24_reference(const std::string &text) {
    uint32_t crc = 0xFFFFFF;
    for (unsigned char c : text) {
        crc ^= reflect(c, 8) << 16;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x800000) ? ((crc << 1) ^ 0xBBA1B5) & 0xFFFFFF : (crc << 1) & 0xFFFFFF;
    }
    return ~reflect(crc, 24) & 0xFFFFFF;
}

uint32_t crc24(const std::string &text) {
    return _kel_make_crc24(reinterpret_cast<const uint8_t *>(text.data()), static_cast<uint32_t>(text.size()));
}

int32_t find(const KelNameTable &table, const std::string &name) {
    return _kel_find_string(&table, reinterpret_cast<const uint8_t *>(name.data()),
                            static_cast<uint32_t>(name.size()));
}

KelNameRow row(const char *name, uint32_t value) {
    return KelNameRow{name, static_cast<uint32_t>(std::strlen(name)), 0, value};
}

TEST(NameTable, Crc24MatchesTheBitSerialForm) {
    for (const char *text : {"", "a", "name", "givenName", "dateOfHire", "\xff\x00\x80"})
        EXPECT_EQ(crc24(text), crc24_reference(text)) << text;
    EXPECT_EQ(crc24(""), 0u); // the initial value complemented
}

TEST(NameTable, BisectionOverSortedNames) {
    const KelNameRow rows[] = {row("child", 0), row("children", 1), row("date", 2), row("name", 3),
                               row("title", 4)};
    const KelNameTable table{5, 0, rows, nullptr};
    for (int32_t i = 0; i < 5; ++i)
        EXPECT_EQ(find(table, rows[i].name), i);
    for (const char *absent : {"", "chil", "childrens", "b", "zzz", "dat", "names"})
        EXPECT_EQ(find(table, absent), -1) << absent;
    // The span ends where the caller says: no terminator is looked for.
    const char input[] = "title>rest";
    EXPECT_EQ(_kel_find_string(&table, reinterpret_cast<const uint8_t *>(input), 5), 4);
    const KelNameTable empty{0, 0, rows, nullptr};
    EXPECT_EQ(find(empty, "child"), -1);
}

TEST(NameTable, HashedLookup) {
    const char *names[] = {"birthDate", "children", "dateOfHire", "givenName", "initial", "title"};
    std::vector<KelNameRow> rows;
    for (const char *name : names)
        rows.push_back(row(name, static_cast<uint32_t>(rows.size())));
    std::sort(rows.begin(), rows.end(), [](const KelNameRow &a, const KelNameRow &b) {
        return crc24(a.name) < crc24(b.name);
    });
    std::vector<uint32_t> hashes;
    for (const KelNameRow &r : rows)
        hashes.push_back(crc24(r.name));
    const KelNameTable table{static_cast<uint32_t>(rows.size()), 0, rows.data(), hashes.data()};
    for (size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(find(table, rows[i].name), static_cast<int32_t>(i));
    EXPECT_EQ(find(table, "surname"), -1);
    EXPECT_EQ(find(table, ""), -1);
}

TEST(NameTable, HashCollisionsWalkEveryRowButRowZero) {
    // Two names of one hash, found by a search over short names.
    const std::string first = "rytj", second = "iaaab";
    const uint32_t hash = crc24(first);
    ASSERT_EQ(hash, 0x3B02AAu);
    ASSERT_EQ(crc24(second), hash);

    // Three rows claiming one hash: bisection hits the middle one, the walk
    // finds the row above it.
    const KelNameRow three[] = {row("zero", 0), row(first.c_str(), 1), row(second.c_str(), 2)};
    const uint32_t same[] = {hash, hash, hash};
    const KelNameTable walked{3, 0, three, same};
    EXPECT_EQ(find(walked, first), 1);
    EXPECT_EQ(find(walked, second), 2);

    // Two rows of one hash: the hit is row 1, so a name in row 0 is not found.
    const KelNameRow two[] = {row(first.c_str(), 0), row(second.c_str(), 1)};
    const KelNameTable hidden{2, 0, two, same};
    EXPECT_EQ(find(hidden, second), 1);
    EXPECT_EQ(find(hidden, first), -1);
}

} // namespace
