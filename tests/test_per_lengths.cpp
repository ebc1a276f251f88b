// Tests of the PER length determinants (both variants, both widths, count
// mode), the list helpers that grow arrays across fragments, and the
// narrowing of the input for open types (push, pop, skip).
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_per.h"

namespace {

using Octets = std::vector<uint8_t>;

// Determinants, each followed by its count of filler octets.
Octets item(std::vector<std::pair<uint8_t, uint32_t>> parts) {
    Octets out;
    for (auto [determinant, size] : parts)
        out.push_back(determinant), out.resize(out.size() + size, 0x5A);
    return out;
}

// Octets behind `lead` 1 bits.
Octets shifted(uint32_t lead, const Octets &octets) {
    Octets out(octets.size() + 1, 0);
    out[0] = static_cast<uint8_t>(0xFF00 >> lead);
    for (size_t i = 0; i < octets.size(); ++i)
        out[i] |= octets[i] >> lead, out[i + 1] |= static_cast<uint8_t>(octets[i] << (8 - lead));
    return out;
}

struct PerLength : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    uint8_t buffer[32] = {};

    void SetUp() override { world->ext->pushInline.link = &world->ext->pushInline, world->ext->pushInline.count = 0; }
    void TearDown() override { _kel_freetempMem(world), _kel_freeMem(world, world->freeMem); }
    template <class Body> int run(int phase, Body body) { return kel_test::in_frame(world, phase, body); }
    // Writes behind one 1 bit into `buffer`; the bits written.
    template <class Body> uint32_t write(bool aligned, Body body) {
        std::memset(buffer, 0, sizeof buffer);
        world->aligned = aligned, world->bitOffset = 0, world->encLength = 0;
        world->userBuffer = 1, world->outPos = buffer, world->outRemaining = sizeof buffer;
        EXPECT_EQ(run(kel::kPhaseEncoder, [&] { _kel_append_1bit_unaligned(world, 0x80), body(); }), 0);
        return (kel::counting(world) ? world->encLength : world->outPos - buffer) * 8 + world->bitOffset;
    }
    void read_from(const Octets &input, bool aligned, int32_t offset = 0) {
        world->aligned = aligned, world->bitOffset = offset;
        world->inPos = const_cast<uint8_t *>(input.data());
        world->inRemaining = static_cast<int32_t>(input.size());
    }
    bool failed_with(int rc, const char *number) { return rc && std::strstr(kelGetErrMsg(world), number); }
};

TEST_F(PerLength, WrittenFormsRoundTripInBothVariants) {
    struct Row { uint32_t length, lb, ub; uint8_t extended; bool small; Octets aligned, unaligned; };
    const Row rows[] = { // behind one 1 bit
        {5, 5, 5, 0, 0, {0x80}, {0x80}},                   {1010, 1000, 1010, 0, 0, {0xD0}, {0xD0}},
        {0xAB, 0, 255, 0, 0, {0x80, 0xAB}, {0xD5, 0x80}},
        {300, 0, 300, 0, 0, {0x80, 0x01, 0x2C}, {0xCB, 0x00}},
        {0x1234, 0, 65535, 0, 0, {0x80, 0x12, 0x34}, {0x89, 0x1A, 0x00}},
        {5, 0, 65536, 0, 0, {0x80, 0x05}, {0x82, 0x80}},   {3, 0, 10, 1, 0, {0x80, 0x03}, {0x81, 0x80}},
        {127, 0, 0, 0, 0, {0x80, 0x7F}, {0xBF, 0x80}},     {128, 0, 0, 0, 0, {0x80, 0x80, 0x80}, {0xC0, 0x40, 0x00}},
        {16383, 0, 0, 0, 0, {0x80, 0xBF, 0xFF}, {0xDF, 0xFF, 0x80}},
        {64, 0, 0, 0, 1, {0xBF}, {0xBF}},                  {65, 0, 0, 0, 1, {0xC0, 0x41}, {0xD0, 0x40}},
    };
    for (const Row &r : rows) {
        for (bool aligned : {true, false}) {
            SCOPED_TRACE(testing::Message() << r.length << " in " << r.lb << ".." << r.ub << " aligned " << aligned);
            const uint32_t bits = write(aligned, [&] {
                if (r.small)
                    _kel_penc_small_len_l(world, r.length);
                else
                    EXPECT_EQ(_kel_penc_length_l(world, r.length, r.lb, r.ub, r.extended), r.length);
            });
            const Octets written(buffer, buffer + (bits + 7) / 8);
            EXPECT_EQ(written, aligned ? r.aligned : r.unaligned);

            uint8_t last = 9;
            uint32_t decoded = 0;
            read_from(written, aligned, 1);
            ASSERT_EQ(run(kel::kPhaseDecoder, [&] {
                decoded = r.small ? _kel_pdec_small_len(world) : _kel_pdec_length(world, r.lb, r.extended ? 0 : r.ub, &last);
            }), 0);
            EXPECT_EQ(decoded, r.length);
            EXPECT_EQ(last, r.small ? 9 : 1);
            EXPECT_EQ(static_cast<uint32_t>(world->inPos - written.data()) * 8 + world->bitOffset, bits);
        }
    }
    // Lengths beyond 32 bits take 64K at a time.
    write(false, [&] {
        EXPECT_EQ(_kel_penc_length(world, 0x100000005ull, 0, 0, 0), 65536u);
        EXPECT_EQ(_kel_penc_small_len(world, 0x100000001ull), 65536u);
    });
    EXPECT_EQ(Octets(buffer, buffer + 3), (Octets{0xE2, 0x71, 0x00}));
}

TEST_F(PerLength, DecodersRejectAndTolerate) {
    enum Op { kLength, kSkip, kPushPop, kOpenType };
    enum Mode : uint8_t { kRelaxed = 1, kStrict = 2 };
    struct Row { Op op; Octets input; uint32_t lb, ub; uint8_t mode; const char *error; uint32_t value, last; };
    const Row rows[] = {
        {kLength, {0x80, 0x7F}, 0, 0, 0, "0037E", 0, 0}, {kLength, {0x80, 0x7F}, 0, 0, kRelaxed, nullptr, 127, 1},
        {kLength, {0xC0}, 0, 0, 0, "0037E", 0, 0},       {kLength, {0xC0}, 0, 0, kRelaxed, nullptr, 0, 1},
        {kLength, {0xC5}, 0, 0, 0, nullptr, 81920, 0},   {kLength, {0xF1}, 0, 0, 0, nullptr, 16384, 0},
        {kLength, {}, 7, 7, 0, nullptr, 7, 1},           {kLength, {}, 0, 0, 0, "0081S", 0, 0},
        {kLength, {0x80}, 0, 0, 0, "0081S", 0, 0},       {kLength, {0x12}, 0, 65535, 0, "0081S", 0, 0},
        {kLength, {}, 0, 3, 0, "0081S", 0, 0},
        {kSkip, item({{0x03, 3}}), 0, 0, 0, nullptr, 0, 0}, {kSkip, item({{0x00, 0}}), 0, 0, 0, nullptr, 0, 0},
        {kSkip, item({{0x00, 0}}), 0, 0, kStrict, "0037E", 0, 0}, {kSkip, item({{0x03, 2}}), 0, 0, 0, "0081S", 0, 0},
        {kSkip, item({{0xC1, 16384}, {0xC1, 16384}, {0x05, 5}}), 0, 0, 0, nullptr, 0, 0},
        {kSkip, item({{0xC1, 16384}, {0xC1, 16384}, {0x05, 5}}), 0, 0, kStrict, "0258E", 0, 0},
        {kSkip, item({{0xC4, 65536}, {0xC1, 16384}, {0x05, 5}}), 0, 0, kStrict, nullptr, 0, 0},
        {kSkip, item({{0xC4, 65536}, {0xC1, 16384}}), 0, 0, 0, "0081S", 0, 0},
        {kOpenType, {0x00}, 0, 0, 0, "0090E", 0, 0},     {kPushPop, {0x00}, 0, 0, 0, nullptr, 0, 0},
        {kPushPop, {0x00}, 0, 0, kStrict, "0037E", 0, 0}, {kPushPop, {0x05, 1, 2, 3}, 0, 0, 0, "0081S", 0, 0},
        {kPushPop, {0x01, 0x00}, 0, 0, 0, nullptr, 0, 0}, // one octet may hold an empty value
        {kPushPop, {0x02, 0x00, 0x00}, 0, 0, 0, "0037E", 0, 0}, {kPushPop, {0x02, 0x00, 0x00}, 0, 0, kRelaxed, nullptr, 0, 0},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &r - rows);
        world->modeBits = r.mode & kRelaxed ? KEL_MODE_RELAXED : 0;
        world->decodingFlags = r.mode & kStrict ? STRICT_ENCODING_DECODING_RULES : 0;
        world->pushFlags = r.op == kOpenType;
        uint8_t last = 9;
        uint32_t value = 0;
        read_from(r.input, true);
        const int rc = run(kel::kPhaseDecoder, [&] {
            if (r.op == kLength)
                value = _kel_pdec_length(world, r.lb, r.ub, &last);
            else if (r.op == kSkip)
                _kel_pdec_sot(world);
            else
                _kel_pdec_push(world), _kel_pdec_pop(world);
        });
        EXPECT_TRUE(r.error ? failed_with(rc, r.error) : rc == 0) << kelGetErrMsg(world);
        EXPECT_EQ(world->pushFlags, 0u);
        if (!r.error && r.op == kLength) {
            EXPECT_TRUE(value == r.value && last == r.last) << value << " " << int(last);
        } else if (!r.error) {
            EXPECT_EQ(world->inRemaining, 0);
        }
    }
}

TEST_F(PerLength, FragmentedListsGrowAndMoveToDecoderMemory) {
    struct Row { uint32_t total; Octets determinants; };
    const Row rows[] = {{0, {0x00}}, {16383, {0xBF}}, {16384, {0xC1, 0x00}}, {16385, {0xC1, 0x01}},
        {65536, {0xC4, 0x00}}, {65537, {0xC4, 0x01}}, {81920, {0xC4, 0xC1, 0x00}}, {100000, {0xC4, 0xC2, 0x86}}};
    for (const Row &r : rows) {
        SCOPED_TRACE(r.total);
        // The fragment loop: items i & 0xFF, a closing 0 after a multiple of 16K.
        Octets out(r.total + 8), determinants;
        world->aligned = 1, world->bitOffset = 0, world->userBuffer = 1;
        world->outPos = out.data(), world->outRemaining = static_cast<int32_t>(out.size());
        uint32_t done = 0, covered;
        ASSERT_EQ(run(kel::kPhaseEncoder, [&] {
            do {
                covered = _kel_penc_length_l(world, r.total - done, 0, 0, 0);
                determinants.push_back(world->outPos[-1 - (covered < 16384 && covered > 127)]);
                for (uint32_t i = 0; i < covered; ++i, ++done)
                    _kel_append_8bit_aligned(world, static_cast<uint8_t>(done));
            } while (done < r.total || (r.total >= 16384 && covered && (covered & 0x3FFF) == 0));
        }), 0);
        const Octets input(out.data(), world->outPos);
        world->userBuffer = 0; // decoded items from the library
        EXPECT_EQ(determinants, r.determinants);

        for (bool aligned : {true, false}) {
            uint32_t count = 0;
            uint16_t *elements = nullptr;
            uint8_t last = 0;
            read_from(input, aligned);
            ASSERT_EQ(run(kel::kPhaseDecoder, [&] {
                for (uint32_t before = 0; !last; before = count) {
                    _kel_pdec_usof(world, &count, reinterpret_cast<void **>(&elements), 4, 2, 0, 0, 0, &last);
                    for (uint32_t i = before; i < count; ++i)
                        elements[i] = _kel_get_8bit_unaligned(world);
                }
            }), 0);
            ASSERT_EQ(count, r.total);
            EXPECT_EQ(world->tempList, nullptr) << "nothing left on the temporary stack";
            EXPECT_EQ(elements == nullptr, r.total == 0);
            for (uint32_t i = 0; i < r.total; ++i)
                ASSERT_EQ(elements[i], i & 0xFF) << i;
            _kel_freeMem(world, world->freeMem);
        }
    }
    // A fixed array's capacity holds when extended too.
    uint8_t last = 0;
    uint16_t count = 1;
    const Octets two = {0x02};
    read_from(two, true);
    EXPECT_EQ(run(kel::kPhaseDecoder, [&] { _kel_pdec_asof(world, &count, 2, 8, 0, 3, 1, &last); }), 0);
    read_from(two, true);
    EXPECT_TRUE(failed_with(run(kel::kPhaseDecoder, [&] { _kel_pdec_asof(world, &count, 2, 8, 0, 3, 1, &last); }), "0016S"));
}

TEST_F(PerLength, UnalignedContentOffTheOctetGrid) {
    // At offset 3 two content octets touch three; the pop sees how far the
    // inner value went.
    struct Row { uint32_t innerBits; bool relaxed; const char *error; };
    const Row rows[] = {{16, false, nullptr}, {9, false, nullptr}, {17, false, "0081S"}, {0, false, "0037E"},
                        {0, true, nullptr}, {17, true, nullptr}};
    const Octets input = shifted(3, {0x02, 0x5A, 0xA5});
    for (const Row &r : rows) {
        SCOPED_TRACE(r.innerBits);
        world->modeBits = r.relaxed ? KEL_MODE_RELAXED : 0;
        read_from(input, false, 3);
        const int rc = run(kel::kPhaseDecoder, [&] {
            _kel_pdec_push(world);
            EXPECT_EQ(world->inRemaining * 8 + world->bitOffset, 27);
            if (r.innerBits >= 9) {
                EXPECT_EQ(_kel_get_8bit_unaligned(world), 0x5A);
            }
            _kel_skip_bits(world, r.innerBits - (r.innerBits >= 9 ? 8 : 0), 0);
            _kel_pdec_pop(world);
        });
        EXPECT_TRUE(r.error ? failed_with(rc, r.error) : rc == 0) << kelGetErrMsg(world);
        if (!r.error) {
            EXPECT_TRUE(world->inPos == input.data() + 3 && world->bitOffset == 3);
        }
    }
    const Octets atEnd(input.begin(), input.end() - 1);
    read_from(atEnd, false, 3);
    EXPECT_TRUE(failed_with(run(kel::kPhaseDecoder, [&] { _kel_pdec_push(world); }), "0081S"));
}

TEST_F(PerLength, FragmentedAndNestedContent) {
    // 16K + 16K + 2 content octets, then one outer octet: joined on an octet
    // boundary, released at pop.
    Octets content = item({{0xC1, 16384}, {0xC1, 16384}, {0x02, 2}});
    content[1] = 0x11, content[16386] = 0x22, content.back() = 0x44, content.push_back(0x99);
    for (bool aligned : {true, false}) {
        SCOPED_TRACE(aligned);
        const Octets input = aligned ? content : shifted(3, content);
        read_from(input, aligned, aligned ? 0 : 3);
        ASSERT_EQ(run(kel::kPhaseDecoder, [&] {
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
            EXPECT_TRUE(failed_with(run(kel::kPhaseDecoder, [&] { _kel_pdec_push(world); }), "0081S")) << size;
        }
    }
    world->decodingFlags = STRICT_ENCODING_DECODING_RULES; // the first fragment is no previous one
    read_from(content, true);
    EXPECT_EQ(run(kel::kPhaseDecoder, [&] { _kel_pdec_push(world); }), 0);

    const Octets nested = {0x06, 0x05, 0x04, 0x03, 0x02, 0x01, 0x7E}; // beyond the inline frames
    _kel_freetempMem(world), SetUp();
    read_from(nested, true);
    ASSERT_EQ(run(kel::kPhaseDecoder, [&] {
        for (int i = 0; i < 6; ++i)
            _kel_pdec_push(world);
        EXPECT_EQ(_kel_get_8bit_unaligned(world), 0x7E);
        for (int i = 0; i < 6; ++i)
            _kel_pdec_pop(world);
    }), 0);
    EXPECT_EQ(world->inRemaining, 0);
    EXPECT_EQ(world->ext->pushInline.link, &world->ext->pushInline);
    EXPECT_EQ(world->tempList, nullptr);
}

} // namespace
