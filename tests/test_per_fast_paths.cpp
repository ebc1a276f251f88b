// Tests of the PER reader's word-at-a-time paths where they meet the end of
// the input: every value stands last in an input of exactly its size, at
// each of the eight bit offsets, so that the loads of eight octets give way
// to the tail copies.  The same input one octet short must end in 0081.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_per.h"

namespace {

using Octets = std::vector<uint8_t>;

// High bit first, as PER puts them.
struct Bits {
    Octets octets;
    uint32_t used = 0;
    void put(uint64_t value, uint32_t n) {
        while (n--) {
            if (used % 8 == 0)
                octets.push_back(0);
            if ((value >> n) & 1)
                octets.back() |= static_cast<uint8_t>(0x80 >> (used % 8));
            ++used;
        }
    }
};

struct PerFastPaths : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();

    void TearDown() override {
        _kel_freetempMem(world);
        _kel_freeMem(world, world->freeMem);
    }
    // Steps over `lead` bits of `input` and runs `body` on the rest; with
    // `shorten` the input loses its last octet.
    template <class Body> int decode(const Octets &input, bool aligned, uint32_t lead, bool shorten, Body body) {
        world->aligned = aligned;
        world->inPos = const_cast<uint8_t *>(input.data());
        world->inRemaining = static_cast<int32_t>(input.size() - (shorten ? 1 : 0));
        world->bitOffset = 0;
        return kel_test::in_frame(world, kel::kPhaseDecoder, [&] {
            _kel_skip_bits(world, lead, 0);
            body();
        });
    }
    bool end_of_input(int rc) { return rc != 0 && std::strstr(kelGetErrMsg(world), "0081") != nullptr; }
};

const KelPerString kVisible = {nullptr, 0, 0, 0, KEL_PER_STRING_FLAGS(8, 1, 7, 1)};

// Lengths around the eight characters of one load.
constexpr uint32_t kCounts[] = {0, 1, 7, 8, 9, 15, 16, 17, 40};

TEST_F(PerFastPaths, KnownMultiplierStringsEndingTheInput) {
    for (bool aligned : {false, true}) {
        for (uint32_t count : kCounts) {
            for (uint32_t lead = 0; lead < 8; ++lead) {
                std::string text;
                for (uint32_t i = 0; i < count; ++i)
                    text += static_cast<char>(0x7F - (i * 13) % 0x60); // high and low codes alike
                Bits in;
                in.put(0, lead);
                if (aligned && lead)
                    in.put(0, 8 - lead);
                in.put(count, 8);
                for (char c : text)
                    in.put(static_cast<uint8_t>(c), aligned ? 8 : 7);
                SCOPED_TRACE(testing::Message() << "aligned " << aligned << " count " << count << " lead " << lead);

                unsigned char *got = nullptr;
                ASSERT_EQ(decode(in.octets, aligned, lead, false, [&] { _kel_pdec_ntp_kmstr(world, &got, &kVisible); }), 0)
                    << kelGetErrMsg(world);
                EXPECT_EQ(std::string(reinterpret_cast<char *>(got)), text);
                EXPECT_EQ(world->inRemaining, (aligned || (lead + 8 + count * 7) % 8 == 0) ? 0 : 1);

                char inPlace[64];
                std::memset(inPlace, 0x55, sizeof inPlace);
                const KelPerString capped = {nullptr, 0, 0, 63, kVisible.flags}; // no bound, 63 characters of room
                ASSERT_EQ(decode(in.octets, aligned, lead, false,
                                 [&] { _kel_pdec_nt_kmstr(world, reinterpret_cast<unsigned char *>(inPlace), &capped); }),
                          0);
                EXPECT_EQ(std::string(inPlace), text);

                EXPECT_TRUE(end_of_input(decode(in.octets, aligned, lead, true,
                                                [&] { _kel_pdec_ntp_kmstr(world, &got, &kVisible); })));
            }
        }
    }
}

// Fixed octet fields (seven octets a load off the octet boundary) and bit
// fields (one load, or the slow reader within eight octets of the end).
TEST_F(PerFastPaths, FixedFieldsEndingTheInput) {
    for (uint32_t octets : {1u, 3u, 7u, 8u, 14u, 16u, 33u}) {
        for (uint32_t lead = 0; lead < 8; ++lead) {
            Octets value(octets);
            for (uint32_t i = 0; i < octets; ++i)
                value[i] = static_cast<uint8_t>(0xA5 ^ (i * 37));
            Bits in;
            in.put(0x7F, lead);
            for (uint8_t v : value)
                in.put(v, 8);
            SCOPED_TRACE(testing::Message() << "octets " << octets << " lead " << lead);
            Octets got(octets + 1, 0xEE);
            ASSERT_EQ(decode(in.octets, false, lead, false, [&] { _kel_pdec_fixed_oct(world, got.data(), octets); }), 0);
            EXPECT_TRUE(std::equal(value.begin(), value.end(), got.begin()));
            EXPECT_EQ(got[octets], 0xEE) << "written past the field";
            EXPECT_TRUE(end_of_input(decode(in.octets, false, lead, true, [&] { _kel_pdec_fixed_oct(world, got.data(), octets); })));
        }
    }
    for (uint32_t width : {1u, 9u, 31u, 32u, 57u, 58u, 64u}) {
        for (uint32_t lead = 0; lead < 8; ++lead) {
            const uint64_t value = 0x8123456789ABCDEFull >> (64 - width);
            Bits in;
            in.put(0x55, lead);
            in.put(value, width);
            SCOPED_TRACE(testing::Message() << "width " << width << " lead " << lead);
            uint64_t got = 0;
            ASSERT_EQ(decode(in.octets, false, lead, false, [&] { got = _kel_pdec_nonneg_int(world, width); }), 0);
            EXPECT_EQ(got, value);
            EXPECT_TRUE(end_of_input(decode(in.octets, false, lead, true, [&] { got = _kel_pdec_nonneg_int(world, width); })));
        }
    }
}

} // namespace
