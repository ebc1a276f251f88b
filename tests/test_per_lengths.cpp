// Tests of the PER length determinants (both variants, count mode, the
// fragment loop), the list helpers that grow arrays across fragments, and
// the narrowing of the input for open types (push, pop, skip).
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_per.h"

namespace {

using Octets = std::vector<uint8_t>;

struct PerLength : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    uint8_t buffer[32] = {};

    void SetUp() override { world->ext->pushInline.link = &world->ext->pushInline; } // as a decode starts
    void TearDown() override { _kel_freetempMem(world), _kel_freeMem(world, world->freeMem); }
    template <class Body> int encode(Body body) { return kel_test::in_frame(world, kel::kPhaseEncoder, body); }
    template <class Body> int decode(Body body) { return kel_test::in_frame(world, kel::kPhaseDecoder, body); }
    void write_to_buffer(bool aligned) {
        std::memset(buffer, 0, sizeof buffer);
        world->aligned = aligned, world->bitOffset = 0;
        world->userBuffer = 1, world->outPos = buffer, world->outRemaining = sizeof buffer;
    }
    uint32_t bits_written() { return static_cast<uint32_t>(world->outPos - buffer) * 8 + world->bitOffset; }
    void read_from(const Octets &input, bool aligned, int32_t offset = 0) {
        world->aligned = aligned, world->bitOffset = offset;
        world->inPos = const_cast<uint8_t *>(input.data());
        world->inRemaining = static_cast<int32_t>(input.size());
    }
    bool failed_with(int rc, const char *number) { return rc && std::strstr(kelGetErrMsg(world), number); }
    // `total` one-octet items (i & 0xFF) behind the determinants of the
    // fragment loop, closing determinant included.
    Octets fragmented(uint32_t total) {
        world->aligned = 1, world->bitOffset = 0, world->userBuffer = 0, world->outPos = nullptr;
        world->outRemaining = 0, world->outQueueTail = &world->outQueue;
        uint32_t length = 0;
        unsigned char *value = nullptr;
        EXPECT_EQ(encode([&] {
            uint32_t done = 0, covered;
            do {
                covered = _kel_penc_length_l(world, total - done, 0, 0, 0);
                for (uint32_t i = 0; i < covered; ++i, ++done)
                    _kel_append_8bit_aligned(world, static_cast<uint8_t>(done));
            } while (done < total || (total >= 16384 && covered && (covered & 0x3FFF) == 0));
            _kel_set_outmem_p(world, &length, &value);
        }), 0);
        Octets out(value, value + length);
        kelFreeBuf(world, value);
        return out;
    }
};

// Octets with `lead` 1 bits in front, the rest shifted behind them.
Octets shifted(uint32_t lead, const Octets &octets) {
    Octets out(octets.size() + 1, 0);
    out[0] = static_cast<uint8_t>(0xFF00 >> lead);
    for (size_t i = 0; i < octets.size(); ++i)
        out[i] |= octets[i] >> lead, out[i + 1] |= static_cast<uint8_t>(octets[i] << (8 - lead));
    return out;
}

TEST_F(PerLength, WrittenFormsRoundTripInBothVariants) {
    struct Row { uint32_t length, lb, ub; uint8_t extended; bool small; Octets aligned, unaligned; };
    const Row rows[] = { // each behind one leading 1 bit
        {5, 5, 5, 0, 0, {0x80}, {0x80}},                   {3, 0, 6, 0, 0, {0xB0}, {0xB0}},
        {1010, 1000, 1010, 0, 0, {0xD0}, {0xD0}},          {0xAB, 0, 255, 0, 0, {0x80, 0xAB}, {0xD5, 0x80}},
        {300, 0, 300, 0, 0, {0x80, 0x01, 0x2C}, {0xCB, 0x00}},
        {0x1234, 0, 65535, 0, 0, {0x80, 0x12, 0x34}, {0x89, 0x1A, 0x00}},
        {5, 0, 65536, 0, 0, {0x80, 0x05}, {0x82, 0x80}},   {3, 0, 10, 1, 0, {0x80, 0x03}, {0x81, 0x80}},
        {127, 0, 0, 0, 0, {0x80, 0x7F}, {0xBF, 0x80}},     {128, 0, 0, 0, 0, {0x80, 0x80, 0x80}, {0xC0, 0x40, 0x00}},
        {16383, 0, 0, 0, 0, {0x80, 0xBF, 0xFF}, {0xDF, 0xFF, 0x80}},
        {1, 0, 0, 0, 1, {0x80}, {0x80}},                   {64, 0, 0, 0, 1, {0xBF}, {0xBF}},
        {65, 0, 0, 0, 1, {0xC0, 0x41}, {0xD0, 0x40}},      {200, 0, 0, 0, 1, {0xC0, 0x80, 0xC8}, {0xE0, 0x32, 0x00}},
    };
    for (const Row &row : rows) {
        for (bool aligned : {true, false}) {
            SCOPED_TRACE(testing::Message() << row.length << " in " << row.lb << ".." << row.ub << " aligned " << aligned);
            auto write = [&](bool wide) {
                _kel_append_1bit_unaligned(world, 0x80);
                if (row.small)
                    wide ? (void)_kel_penc_small_len(world, row.length) : (void)_kel_penc_small_len_l(world, row.length);
                else
                    EXPECT_EQ(wide ? _kel_penc_length(world, row.length, row.lb, row.ub, row.extended)
                                   : _kel_penc_length_l(world, row.length, row.lb, row.ub, row.extended), row.length);
            };
            write_to_buffer(aligned);
            ASSERT_EQ(encode([&] { write(true); }), 0);
            const Octets wide(buffer, buffer + (bits_written() + 7) / 8);
            write_to_buffer(aligned);
            ASSERT_EQ(encode([&] { write(false); }), 0);
            const uint32_t bits = bits_written();
            const Octets written(buffer, buffer + (bits + 7) / 8);
            EXPECT_EQ(written, aligned ? row.aligned : row.unaligned);
            EXPECT_EQ(wide, written);
            world->encodingFlags = DETERMINE_ENC_LENGTH, world->encLength = 0, world->bitOffset = 0;
            ASSERT_EQ(encode([&] { write(false); }), 0);
            EXPECT_EQ(world->encLength * 8 + world->bitOffset, bits) << "count mode";
            world->encodingFlags = 0;

            uint8_t last = 9;
            uint32_t decoded = 0;
            read_from(written, aligned, 1);
            ASSERT_EQ(decode([&] {
                decoded = row.small ? _kel_pdec_small_len(world)
                                    : _kel_pdec_length(world, row.lb, row.extended ? 0 : row.ub, &last);
            }), 0);
            EXPECT_EQ(decoded, row.length);
            EXPECT_EQ(last, row.small ? 9 : 1);
            EXPECT_EQ(static_cast<uint32_t>(world->inPos - written.data()) * 8 + world->bitOffset, bits);
        }
    }
    // Lengths beyond 32 bits take 64K at a time.
    write_to_buffer(false);
    ASSERT_EQ(encode([&] {
        EXPECT_EQ(_kel_penc_length(world, 0x100000005ull, 0, 0, 0), 65536u);
        EXPECT_EQ(_kel_penc_lfrag_ll(world, 0x100000005ull), 65536u);
        EXPECT_EQ(_kel_penc_small_len(world, 0x100000001ull), 65536u);
    }), 0);
    EXPECT_EQ(Octets(buffer, buffer + 4), (Octets{0xC4, 0xC4, 0xE2, 0x00}));
}

TEST_F(PerLength, ReaderRejectsAndTolerates) {
    struct Row { Octets input; uint32_t lb, ub; bool relaxed; const char *error; uint32_t value; uint8_t last; };
    const Row rows[] = {
        {{0x80, 0x7F}, 0, 0, false, "0037E", 0, 0}, {{0x80, 0x7F}, 0, 0, true, nullptr, 127, 1},
        {{0xC0}, 0, 0, false, "0037E", 0, 0},       {{0xC0}, 0, 0, true, nullptr, 0, 1},
        {{0xC5}, 0, 0, false, nullptr, 81920, 0},   {{0xF1}, 0, 0, false, nullptr, 16384, 0},
        {{}, 7, 7, false, nullptr, 7, 1},           {{}, 0, 0, false, "0081S", 0, 0},
        {{0x80}, 0, 0, false, "0081S", 0, 0},       {{0x12}, 0, 65535, false, "0081S", 0, 0},
        {{}, 0, 3, false, "0081S", 0, 0},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        world->modeBits = row.relaxed ? KEL_MODE_RELAXED : 0;
        uint8_t last = 9;
        uint32_t value = 0;
        read_from(row.input, true);
        const int rc = decode([&] { value = _kel_pdec_length(world, row.lb, row.ub, &last); });
        if (row.error) {
            EXPECT_TRUE(failed_with(rc, row.error)) << kelGetErrMsg(world);
        } else {
            EXPECT_EQ(rc, 0) << kelGetErrMsg(world);
            EXPECT_EQ(value, row.value);
            EXPECT_EQ(last, row.last);
        }
    }
}

TEST_F(PerLength, FragmentedListsGrowAndMoveToDecoderMemory) {
    struct Row { uint32_t total; Octets determinants; };
    const Row rows[] = {{0, {0x00}}, {16383, {0xBF}}, {16384, {0xC1, 0x00}}, {16385, {0xC1, 0x01}},
        {65536, {0xC4, 0x00}}, {65537, {0xC4, 0x01}}, {81920, {0xC4, 0xC1, 0x00}}, {100000, {0xC4, 0xC2, 0x86}}};
    for (const Row &row : rows) {
        const Octets input = fragmented(row.total);
        Octets determinants;
        for (size_t at = 0; at < input.size();) {
            const uint8_t d = input[at];
            determinants.push_back(d);
            at += !(d & 0x80) ? 1 + d : (d & 0x40) ? 1 + (d & 7) * 16384u : 2 + ((d & 0x3F) << 8 | input[at + 1]);
        }
        EXPECT_EQ(determinants, row.determinants) << row.total;
        for (bool aligned : {true, false}) {
            SCOPED_TRACE(testing::Message() << row.total << " aligned " << aligned);
            uint32_t count = 0, linked = 0;
            uint16_t *elements = nullptr;
            uint8_t last = 0;
            read_from(input, aligned);
            ASSERT_EQ(decode([&] {
                do {
                    const uint32_t before = count;
                    _kel_pdec_usof(world, &count, reinterpret_cast<void **>(&elements), 4, 2, 0, 0, 0, &last);
                    for (uint32_t i = before; i < count; ++i)
                        elements[i] = _kel_get_8bit_unaligned(world);
                } while (!last);
            }), 0);
            ASSERT_EQ(count, row.total);
            EXPECT_EQ(world->inRemaining, 0);
            EXPECT_EQ(world->tempList, nullptr) << "nothing left on the temporary stack";
            EXPECT_EQ(elements == nullptr, row.total == 0);
            for (uint32_t i = 0; i < row.total; ++i)
                if (elements[i] != (i & 0xFF))
                    FAIL() << "element " << i;
            read_from(input, aligned);
            ASSERT_EQ(decode([&] {
                do
                    _kel_skip_bits(world, _kel_pdec_lsof_l(world, &linked, 0, 0, 0, &last) * 8, 0);
                while (!last);
            }), 0);
            EXPECT_EQ(linked, row.total);
            _kel_freeMem(world, world->freeMem);
        }
    }
}

TEST_F(PerLength, CountedBlocksAndFixedArrays) {
    Octets input(1, 0xC1); // 4-octet count, then 1-octet elements, over 16K + 3
    input.resize(1 + 16384, 0xAA);
    input.insert(input.end(), {0x03, 1, 2, 3});
    void *block = nullptr;
    uint8_t last = 0;
    read_from(input, true);
    ASSERT_EQ(decode([&] {
        for (uint32_t old = 0, n; !last; old += n)
            n = _kel_pdec_asof_ptr_ia(world, &block, 4, 1, 4, &last),
            _kel_get_bits(world, static_cast<uint8_t *>(block) + 4 + old, n * 8, 0);
    }), 0);
    const auto *bytes = static_cast<uint8_t *>(block);
    EXPECT_EQ(_kel_get_uint(block, 4), 16387u);
    EXPECT_EQ(bytes[4] + bytes[4 + 16386], 0xAA + 3);
    EXPECT_EQ(world->tempList, nullptr);

    uint16_t count = 1; // capacity 3, extended: the bound still holds
    const Octets two = {0x02}, three = {0x03};
    read_from(two, true);
    EXPECT_EQ(decode([&] { _kel_pdec_asof(world, &count, 2, 8, 0, 3, 1, &last); }), 0);
    EXPECT_EQ(count, 3);
    read_from(three, true);
    EXPECT_TRUE(failed_with(decode([&] { _kel_pdec_asof(world, &count, 2, 8, 0, 3, 1, &last); }), "0016S"));
}

TEST_F(PerLength, PopChecksWhatTheInnerValueUsed) {
    // Unaligned at offset 3: two content octets touch three.
    struct Row { uint32_t innerBits; bool relaxed; const char *error; };
    const Row rows[] = {{16, false, nullptr}, {9, false, nullptr}, {17, false, "0081S"}, {0, false, "0037E"},
                        {0, true, nullptr}, {17, true, nullptr}};
    const Octets input = shifted(3, {0x02, 0x5A, 0xA5});
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::Message() << row.innerBits << " bits");
        world->modeBits = row.relaxed ? KEL_MODE_RELAXED : 0;
        read_from(input, false, 3);
        uint64_t inner = 0;
        const int rc = decode([&] {
            _kel_pdec_push(world);
            EXPECT_EQ(world->inRemaining * 8 + world->bitOffset, 27);
            for (uint32_t i = 0; i < row.innerBits; ++i)
                inner = inner << 1 | _kel_get_1bit_unaligned(world) >> 7;
            _kel_pdec_pop(world);
        });
        if (row.error) {
            EXPECT_TRUE(failed_with(rc, row.error)) << kelGetErrMsg(world);
            continue;
        }
        ASSERT_EQ(rc, 0) << kelGetErrMsg(world);
        if (row.innerBits >= 9) {
            EXPECT_EQ(inner >> (row.innerBits - 9), 0x5AA5u >> 7);
        }
        EXPECT_EQ(world->inPos, input.data() + 3);
        EXPECT_EQ(world->inRemaining * 8 + world->bitOffset, 11);
    }
    world->modeBits = 0; // aligned: one octet may hold an empty value, two may not
    const Octets one = {0x01, 0x00}, two = {0x02, 0x00, 0x00};
    read_from(one, true);
    EXPECT_EQ(decode([&] { _kel_pdec_push(world), _kel_pdec_pop(world); }), 0);
    read_from(two, true);
    EXPECT_TRUE(failed_with(decode([&] { _kel_pdec_push(world), _kel_skip_bits(world, 3, 0), _kel_pdec_pop(world); }), "0037E"));
}

TEST_F(PerLength, PushOfEmptyTruncatedNestedAndFragmentedContent) {
    const Octets empty = {0x00}, cut = {0x05, 1, 2, 3}, atEnd = {0xE0, 0x40, 0x22};
    world->pushFlags = 1;
    read_from(empty, true);
    EXPECT_TRUE(failed_with(decode([&] { _kel_pdec_push(world); }), "0090E"));
    EXPECT_EQ(world->pushFlags, 0u);
    read_from(empty, true);
    EXPECT_EQ(decode([&] { _kel_pdec_push(world), _kel_pdec_pop(world); }), 0);
    world->decodingFlags = STRICT_ENCODING_DECODING_RULES;
    read_from(empty, true);
    EXPECT_TRUE(failed_with(decode([&] { _kel_pdec_push(world); }), "0037E"));
    world->decodingFlags = 0;
    read_from(cut, true);
    EXPECT_TRUE(failed_with(decode([&] { _kel_pdec_push(world); }), "0081S"));
    read_from(atEnd, false, 3); // two content octets at offset 3 need a third
    EXPECT_TRUE(failed_with(decode([&] { _kel_pdec_push(world); }), "0081S"));

    const Octets nested = {0x06, 0x05, 0x04, 0x03, 0x02, 0x01, 0x7E}; // beyond the inline frames
    read_from(nested, true);
    ASSERT_EQ(decode([&] {
        for (int i = 0; i < 6; ++i)
            _kel_pdec_push(world);
        EXPECT_EQ(_kel_get_8bit_unaligned(world), 0x7E);
        for (int i = 0; i < 6; ++i)
            _kel_pdec_pop(world);
    }), 0);
    EXPECT_EQ(world->inRemaining, 0);
    EXPECT_EQ(world->ext->pushInline.link, &world->ext->pushInline);

    // 16K + 16K + 2 content octets, then one outer octet: joined on an octet
    // boundary, released at pop.
    Octets content(1, 0xC1);
    content.resize(1 + 16384, 0x11);
    content.push_back(0xC1);
    content.resize(content.size() + 16384, 0x22);
    content.insert(content.end(), {0x02, 0x33, 0x44, 0x99});
    for (bool aligned : {true, false}) {
        SCOPED_TRACE(aligned ? "aligned" : "unaligned");
        const Octets input = aligned ? content : shifted(3, content);
        read_from(input, aligned, aligned ? 0 : 3);
        ASSERT_EQ(decode([&] {
            _kel_pdec_push(world);
            EXPECT_EQ(world->inRemaining + world->bitOffset, 32770);
            EXPECT_EQ(world->inPos[0] + world->inPos[16384] + world->inPos[32769], 0x11 + 0x22 + 0x44);
            _kel_skip_bits(world, 32770 * 8, 0);
            _kel_pdec_pop(world);
            EXPECT_EQ(_kel_get_8bit_unaligned(world), 0x99);
        }), 0);
        EXPECT_EQ(world->tempList, nullptr);
        for (size_t size : {1u, 16384u, 16385u, 16386u, 32770u, 32771u, 32772u}) { // cut at every border
            const Octets truncated(input.begin(), input.begin() + size);
            read_from(truncated, aligned, aligned ? 0 : 3);
            EXPECT_TRUE(failed_with(decode([&] { _kel_pdec_push(world); }), "0081S")) << size;
        }
    }
    world->decodingFlags = STRICT_ENCODING_DECODING_RULES; // the first fragment is no previous one
    read_from(content, true);
    EXPECT_EQ(decode([&] { _kel_pdec_push(world); }), 0);
}

TEST_F(PerLength, SkippingWholeItems) {
    auto item = [](std::vector<std::pair<uint8_t, uint32_t>> parts) {
        Octets out;
        for (auto [determinant, size] : parts)
            out.push_back(determinant), out.resize(out.size() + size, 0x5A);
        return out;
    };
    struct Row { Octets input; bool strict; const char *error; };
    const Row rows[] = {
        {item({{0x03, 3}}), false, nullptr},  {item({{0x00, 0}}), false, nullptr},
        {item({{0x00, 0}}), true, "0037E"},   {item({{0x03, 2}}), false, "0081S"},
        {item({{0xC1, 16384}, {0xC1, 16384}, {0x05, 5}}), false, nullptr},
        {item({{0xC1, 16384}, {0xC1, 16384}, {0x05, 5}}), true, "0258E"},
        {item({{0xC4, 65536}, {0xC1, 16384}, {0x05, 5}}), true, nullptr},
        {item({{0xC4, 65536}, {0xC1, 16384}}), false, "0081S"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows);
        world->decodingFlags = row.strict ? STRICT_ENCODING_DECODING_RULES : 0;
        read_from(row.input, false);
        const int rc = decode([&] { _kel_pdec_sot(world); });
        EXPECT_TRUE(row.error ? failed_with(rc, row.error) : rc == 0) << kelGetErrMsg(world);
        EXPECT_TRUE(row.error || world->inRemaining == 0);
    }
}

} // namespace
