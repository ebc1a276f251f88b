// name_tables.cpp - lookup of a name in a generated name table: bisection
// over rows sorted by name, or bisection over their CRC-24 hashes.
#include <array>
#include <cstring>

#include "kelvarn_xer.h"

namespace {

// CRC-24 in reflected form: polynomial 0xBBA1B5, bit-reversed 0xAD85DD.
constexpr uint32_t kReflectedPoly = 0xAD85DD;

constexpr std::array<uint32_t, 256> make_crc_table() {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t crc = i;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1) ? kReflectedPoly : 0);
        table[i] = crc;
    }
    return table;
}

constexpr std::array<uint32_t, 256> kCrcTable = make_crc_table();

bool row_is(const KelNameRow &row, const uint8_t *name, uint32_t length) {
    return row.length == length && std::memcmp(row.name, name, length) == 0;
}

// Row names compared with the span: strncmp over the span's length, then a
// longer row name sorts after it.
int compare_row(const KelNameRow &row, const uint8_t *name, uint32_t length) {
    int order = std::strncmp(row.name, reinterpret_cast<const char *>(name), length);
    if (order == 0 && row.length > length)
        return 1;
    return order;
}

int32_t find_by_name(const KelNameTable *table, const uint8_t *name, uint32_t length) {
    uint32_t low = 0, high = table->count;
    while (low < high) {
        uint32_t middle = low + (high - low) / 2;
        int order = compare_row(table->rows[middle], name, length);
        if (order == 0)
            return static_cast<int32_t>(middle);
        if (order < 0)
            low = middle + 1;
        else
            high = middle;
    }
    return -1;
}

int32_t find_by_hash(const KelNameTable *table, const uint8_t *name, uint32_t length) {
    const uint32_t hash = _kel_make_crc24(name, length);
    uint32_t low = 0, high = table->count;
    int32_t hit = -1;
    while (low < high) {
        uint32_t middle = low + (high - low) / 2;
        if (table->hashes[middle] == hash) {
            hit = static_cast<int32_t>(middle);
            break;
        }
        if (table->hashes[middle] < hash)
            low = middle + 1;
        else
            high = middle;
    }
    if (hit < 0)
        return -1;
    if (row_is(table->rows[hit], name, length))
        return hit;
    // A collision: every other row but row 0 is tried, below the hit first.
    for (int32_t i = hit - 1; i >= 1; --i)
        if (row_is(table->rows[i], name, length))
            return i;
    for (uint32_t i = static_cast<uint32_t>(hit) + 1; i < table->count; ++i)
        if (row_is(table->rows[i], name, length))
            return static_cast<int32_t>(i);
    return -1;
}

} // namespace

extern "C" {

uint32_t _kel_make_crc24(const uint8_t *bytes, uint32_t length) {
    uint32_t crc = 0xFFFFFF;
    for (uint32_t i = 0; i < length; ++i)
        crc = kCrcTable[(crc ^ bytes[i]) & 0xFF] ^ (crc >> 8);
    return ~crc & 0xFFFFFF;
}

int32_t _kel_find_string(const KelNameTable *table, const uint8_t *name, uint32_t length) {
    if (table->count == 0)
        return -1;
    return table->hashes ? find_by_hash(table, name, length) : find_by_name(table, name, length);
}

} // extern "C"
