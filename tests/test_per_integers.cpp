// Tests of the PER integer, enumeration and huge integer primitives: exact
// encodings in both variants, the minimality and bound checks of the limited
// decoders, end of input, and a randomised round trip of every form through
// library blocks.
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_convert.h"
#include "kelvarn_per.h"

namespace {

using Octets = std::vector<uint8_t>;
using Body = std::function<void(KelGlobal *)>;

struct PerInteger : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    Octets buffer = Octets(8200);

    void TearDown() override {
        _kel_freetempMem(world);
        _kel_freeMem(world, world->freeMem);
    }
    // What `body` writes behind `lead` 1 bits, the partial octet included.
    Octets encoded(bool aligned, const Body &body, uint32_t lead = 0, int *rc = nullptr) {
        static const uint8_t ones[] = {0xFF};
        std::fill(buffer.begin(), buffer.end(), 0);
        world->aligned = aligned, world->bitOffset = 0;
        world->userBuffer = 1, world->outPos = buffer.data(), world->outRemaining = static_cast<int32_t>(buffer.size());
        const int code = kel_test::in_frame(world, kel::kPhaseEncoder, [&] { _kel_append(world, ones, lead, 0), body(world); });
        if (rc)
            *rc = code;
        else
            EXPECT_EQ(code, 0) << kelGetErrMsg(world);
        return Octets(buffer.data(), world->outPos + (world->bitOffset ? 1 : 0));
    }
    // Runs `body` on `input` (kept exactly sized) behind `lead` bits.
    int decoded(const Octets &input, bool aligned, const Body &body, uint32_t lead = 0) {
        world->aligned = aligned, world->bitOffset = 0, world->userBuffer = 0;
        world->inPos = const_cast<uint8_t *>(input.data()), world->inRemaining = static_cast<int32_t>(input.size());
        return kel_test::in_frame(world, kel::kPhaseDecoder, [&] { _kel_skip_bits(world, lead, 0), body(world); });
    }
    // The message, behind its phase letter, starts with `number`.
    bool failed_with(int rc, const char *number) { return rc != 0 && std::strncmp(kelGetErrMsg(world) + 1, number, 5) == 0; }
};

TEST_F(PerInteger, CountedFormsExactOctetsAndRoundTrip) {
    struct Row {
        Body encode;
        std::function<int64_t(KelGlobal *)> decode;
        int64_t value;
        Octets octets; // at offset 0, the same in both variants
    };
    const Row rows[] = {
        {[](KelGlobal *w) { _kel_penc_semicon_int(w, 5, 5); }, [](KelGlobal *w) { return _kel_pdec_semicon_int(w, 5); }, 5, {0x01, 0x00}},
        {[](KelGlobal *w) { _kel_penc_semicon_uint(w, ~0ull, 0); }, [](KelGlobal *w) { return int64_t(_kel_pdec_semicon_uint(w, 0)); }, -1, {0x08, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
        {[](KelGlobal *w) { _kel_penc_unconstr_int(w, 0); }, [](KelGlobal *w) { return _kel_pdec_unconstr_int(w); }, 0, {0x01, 0x00}},
        {[](KelGlobal *w) { _kel_penc_unconstr_int(w, -1); }, [](KelGlobal *w) { return _kel_pdec_unconstr_int(w); }, -1, {0x01, 0xFF}},
        {[](KelGlobal *w) { _kel_penc_unconstr_int(w, 128); }, [](KelGlobal *w) { return _kel_pdec_unconstr_int(w); }, 128, {0x02, 0x00, 0x80}},
        {[](KelGlobal *w) { _kel_penc_unconstr_int_l(w, -129); }, [](KelGlobal *w) { return int64_t{_kel_pdec_unconstr_int_l(w)}; }, -129, {0x02, 0xFF, 0x7F}},
        {[](KelGlobal *w) { _kel_penc_unconstr_int(w, INT64_MIN); }, [](KelGlobal *w) { return _kel_pdec_unconstr_int(w); }, INT64_MIN, {0x08, 0x80, 0, 0, 0, 0, 0, 0, 0}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.value);
        for (bool aligned : {true, false}) {
            const Octets out = encoded(aligned, row.encode);
            EXPECT_EQ(out, row.octets);
            int64_t back = 0;
            EXPECT_EQ(decoded(out, aligned, [&](KelGlobal *w) { back = row.decode(w); }), 0);
            EXPECT_EQ(back, row.value);
            const Octets cut(out.begin(), out.end() - 1);
            EXPECT_TRUE(failed_with(decoded(cut, aligned, [&](KelGlobal *w) { row.decode(w); }), "0081S"));
        }
    }
    // Behind one bit the count octet is aligned in aligned PER only.
    EXPECT_EQ(encoded(true, [](KelGlobal *w) { _kel_penc_semicon_int(w, 7, 7); }, 1), (Octets{0x80, 0x01, 0x00}));
    EXPECT_EQ(encoded(false, [](KelGlobal *w) { _kel_penc_semicon_int(w, 7, 7); }, 1), (Octets{0x80, 0x80, 0x00}));
}

TEST_F(PerInteger, DecodersCheckCountMinimalityAndBounds) {
    struct Row {
        Octets input;
        std::function<int64_t(KelGlobal *)> decode;
        const char *failure; // null: passes with `expect`
        int64_t expect;
    };
    const Row rows[] = {
        {{0x00}, [](KelGlobal *w) { return _kel_pdec_unconstr_limited_int(w, -5, 5); }, nullptr, 0},
        {{0x09, 1, 2, 3, 4, 5, 6, 7, 8, 9}, [](KelGlobal *w) { return _kel_pdec_unconstr_int(w); }, "0144E", 0},
        {{0x05, 1, 2, 3, 4, 5}, [](KelGlobal *w) { return int64_t{_kel_pdec_semicon_int_l(w, 0)}; }, "0144E", 0},
        {{0x03, 0x00, 0x00, 0x01}, [](KelGlobal *w) { return _kel_pdec_unconstr_int(w); }, nullptr, 1},
        {{0x03, 0x00, 0x00, 0x01}, [](KelGlobal *w) { return _kel_pdec_unconstr_limited_int(w, INT64_MIN, INT64_MAX); }, "0037E", 0},
        {{0x03, 0xFF, 0xFF, 0x00}, [](KelGlobal *w) { return _kel_pdec_unconstr_limited_int(w, INT64_MIN, INT64_MAX); }, nullptr, -256},
        {{0x02, 0x00, 0x05}, [](KelGlobal *w) { return _kel_pdec_semicon_limited_int(w, 0, 0, 100); }, "0037E", 0},
        // A 0..4000000000 field given 2^32, and its upper bound.
        {{0x05, 0x01, 0, 0, 0, 0}, [](KelGlobal *w) { return _kel_pdec_unconstr_limited_int(w, 0, 4000000000); }, "0023E", 0},
        {{0x05, 0x01, 0, 0, 0, 0}, [](KelGlobal *w) { return _kel_pdec_semicon_limited_int(w, 0, 0, 4000000000); }, "0023E", 0},
        {{0x04, 0xEE, 0x6B, 0x28, 0x00}, [](KelGlobal *w) { return _kel_pdec_semicon_limited_int(w, 0, 0, 4000000000); }, nullptr, 4000000000},
        // Signed bounds: an offset that wraps round into the range is still too long.
        {{0x08, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}, [](KelGlobal *w) { return _kel_pdec_semicon_limited_int(w, -5, -128, 127); }, "0023E", 0},
        {{0x01, 0x85}, [](KelGlobal *w) { return int64_t{_kel_pdec_semicon_limited_int_l(w, -5, -128, 127)}; }, "0023E", 0},
        {{0x80}, [](KelGlobal *w) { return int64_t{_kel_pdec_int16_aligned(w)}; }, "0081S", 0},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(&row - rows);
        // Behind one bit: aligned PER pads, unaligned PER shifts the input.
        Octets padded{0x80}, shifted(row.input.size() + 1);
        padded.insert(padded.end(), row.input.begin(), row.input.end());
        for (size_t j = 0; j < row.input.size(); ++j)
            shifted[j] |= row.input[j] >> 1, shifted[j + 1] = uint8_t(row.input[j] << 7);
        shifted[0] |= 0x80;
        for (bool aligned : {true, false}) {
            int64_t v = -77;
            const int rc = decoded(aligned ? padded : shifted, aligned, [&](KelGlobal *w) { v = row.decode(w); }, 1);
            EXPECT_TRUE(row.failure ? failed_with(rc, row.failure) : rc == 0 && v == row.expect) << kelGetErrMsg(world);
        }
    }
    // Relaxed lets non-minimal forms through.
    int64_t v = 0;
    world->modeBits |= KEL_MODE_RELAXED;
    const Octets lax{0x03, 0x00, 0x00, 0x01};
    EXPECT_EQ(decoded(lax, true, [&](KelGlobal *w) { v = _kel_pdec_semicon_limited_int(w, 0, 0, 9); }), 0);
    EXPECT_EQ(v, 1);
    world->modeBits &= ~KEL_MODE_RELAXED;
    // A bit field above high - low; normally small numbers above 63 are checked for minimality.
    const Octets ten{0xA0}, nine{0x90}, small{0x80, 0x02, 0x00, 0x20};
    EXPECT_TRUE(failed_with(decoded(ten, false, [&](KelGlobal *w) { _kel_pdec_nonneg_limited_int_l(w, 4, 3, 12); }), "0023E"));
    EXPECT_EQ(decoded(nine, false, [&](KelGlobal *w) { v = static_cast<int64_t>(_kel_pdec_nonneg_limited_int(w, 4, 3, 12)); }), 0);
    EXPECT_EQ(v, 9);
    EXPECT_TRUE(failed_with(decoded(small, true, [&](KelGlobal *w) { _kel_pdec_small_int_l(w); }), "0037E"));
}

TEST_F(PerInteger, FieldsSmallNumbersAndIndefiniteLength) {
    // Two-bit count up to four octets, three bits above; octets aligned.
    EXPECT_EQ(encoded(true, [](KelGlobal *w) { _kel_penc_indeflen_int_l(w, 0x1234, 4); }), (Octets{0x40, 0x12, 0x34}));
    EXPECT_EQ(encoded(false, [](KelGlobal *w) { _kel_penc_indeflen_int_l(w, 0x1234, 4); }), (Octets{0x44, 0x8D, 0x00}));
    EXPECT_EQ(encoded(true, [](KelGlobal *w) { _kel_penc_indeflen_int(w, 0x1234, 5); }), (Octets{0x20, 0x12, 0x34}));
    EXPECT_EQ(encoded(false, [](KelGlobal *w) { _kel_penc_indeflen_int(w, 0x1234, 5); }), (Octets{0x22, 0x46, 0x80}));
    int64_t v = 0;
    const Octets zeroInTwo{0x40, 0x00, 0x00}, fiveInTwo{0x40, 0x00, 0x05}, big{0xC0, 0xEE, 0x6B, 0x28, 0x01}, wrap{0x00, 0x20};
    EXPECT_TRUE(failed_with(decoded(zeroInTwo, true, [&](KelGlobal *w) { _kel_pdec_indeflen_limited_int_l(w, 4, 0, 0, 100); }), "0037E"));
    EXPECT_TRUE(failed_with(decoded(fiveInTwo, true, [&](KelGlobal *w) { _kel_pdec_indeflen_limited_int(w, 4, 0, 0, 100); }), "0037E"));
    EXPECT_TRUE(failed_with(decoded(big, true, [&](KelGlobal *w) { _kel_pdec_indeflen_limited_int(w, 4, 0, 0, 4000000000); }), "0023E"));
    // lb + offset wrapping round in the unsigned comparison.
    EXPECT_TRUE(failed_with(decoded(wrap, true, [&](KelGlobal *w) { _kel_pdec_indeflen_limited_int(w, 4, -16, 0, -1); }), "0023E"));
    EXPECT_EQ(decoded(wrap, true, [&](KelGlobal *w) { v = _kel_pdec_indeflen_limited_int_l(w, 4, -100, -100, 100); }), 0);
    EXPECT_EQ(v, -68);

    // Normally small: 0 and six bits, or 1 and a semi-constrained number.
    EXPECT_EQ(encoded(false, [](KelGlobal *w) { _kel_penc_small_int(w, 63); }), (Octets{0x7E}));
    EXPECT_EQ(encoded(true, [](KelGlobal *w) { _kel_penc_small_int_l(w, 64); }), (Octets{0x80, 0x01, 0x40}));
    EXPECT_EQ(encoded(false, [](KelGlobal *w) { _kel_penc_small_int_l(w, 64); }), (Octets{0x80, 0xA0, 0x00}));
    // The aligned 16-bit field, and the one-bit writer taking any nonzero value as 1.
    EXPECT_EQ(encoded(true, [](KelGlobal *w) { _kel_penc_int16_aligned(w, 0x51234); }, 1), (Octets{0x80, 0x12, 0x34}));
    EXPECT_EQ(encoded(false, [](KelGlobal *w) { _kel_penc_int16_aligned(w, 0x1234); }, 1), (Octets{0x89, 0x1A, 0x00}));
    EXPECT_EQ(encoded(false, [](KelGlobal *w) { _kel_penc_nonneg_1int(w, 6), _kel_penc_nonneg_1int(w, 0); }), (Octets{0x80}));
}

TEST_F(PerInteger, EnumerationIndexesAndExtensions) {
    std::vector<int32_t> values(300);
    for (int32_t i = 0; i < 300; ++i)
        values[i] = i * 3 - 100;
    const int32_t additions[] = {10, 20, 30};
    const KelPerEnumTable ext{3, additions}, r5{5, values.data()}, r128{128, values.data()}, r129{129, values.data()},
        r256{256, values.data()}, r300{300, values.data()};
    struct Row {
        const KelPerEnumTable *root, *ext;
        int32_t value;
        Octets aligned, unaligned; // behind one leading 1 bit
    };
    const Row rows[] = {
        {&r128, &ext, values[127], {0xBF, 0x80}, {0xBF, 0x80}},  // 8 bits in one field, first 0
        {&r129, &ext, values[128], {0xA0, 0x00}, {0xA0, 0x00}},  // 0, then 8 bits
        {&r256, &ext, values[255], {0x80, 0xFF}, {0xBF, 0xC0}},  // 0, then an aligned octet
        {&r300, nullptr, values[299], {0x80, 0x01, 0x2B}, {0xCA, 0xC0}},
        {&r128, &ext, 10, {0xC0, 0x00}, {0xC0, 0x00}},           // addition 0: 1, 0, six zeros
        {&r128, &ext, 25, {0xC2, 0x80}, {0xC2, 0x80}},           // unknown: 30 - 25 = 5
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.value);
        for (bool aligned : {true, false}) {
            const Octets out = encoded(aligned, [&](KelGlobal *w) { _kel_penc_enum(w, row.value, row.root, row.ext); }, 1);
            EXPECT_EQ(out, aligned ? row.aligned : row.unaligned);
            int32_t back = 0;
            EXPECT_EQ(decoded(out, aligned, [&](KelGlobal *w) { back = _kel_pdec_enum(w, row.root, row.ext); }, 1), 0);
            EXPECT_EQ(back, row.value);
        }
    }
    // Additions decode by index up to the last entry, which is the base of
    // the rest: 0 -> 10, 1 -> 20, 2 -> 28, 3 -> 27.
    const uint32_t byIndex[] = {10, 20, 28, 27};
    for (uint32_t k = 0; k < 4; ++k) {
        const Octets in{static_cast<uint8_t>(0x80 | k)};
        uint32_t back = 0;
        EXPECT_EQ(decoded(in, false, [&](KelGlobal *w) { back = _kel_pdec_uenum(w, &r128, &ext); }), 0);
        EXPECT_EQ(back, byIndex[k]);
    }
    int rc;
    encoded(true, [&](KelGlobal *w) { _kel_penc_uenum(w, 7, &r128, nullptr); }, 0, &rc);
    EXPECT_TRUE(failed_with(rc, "0071S"));
    const Octets index7{0xE0};
    EXPECT_TRUE(failed_with(decoded(index7, true, [&](KelGlobal *w) { _kel_pdec_enum(w, &r5, nullptr); }), "0071S"));
}

TEST_F(PerInteger, HugeValuesLengthsAndLimits) {
    const Octets twoNeg{0xFF, 0xFF, 0x80}, posPad{0x00, 0x80}, zeros{0x00, 0x00, 0x01};
    EXPECT_EQ(encoded(true, [&](KelGlobal *w) { _kel_penc_unconstr_huge_ia(w, twoNeg.data(), 3); }), (Octets{0x01, 0x80}));
    EXPECT_EQ(encoded(true, [&](KelGlobal *w) { _kel_penc_semicon_huge_ia(w, twoNeg.data(), 3); }), (Octets{0x03, 0xFF, 0xFF, 0x80}));
    EXPECT_EQ(encoded(true, [&](KelGlobal *w) { _kel_penc_semicon_huge_ia(w, posPad.data(), 2); }), (Octets{0x02, 0x00, 0x80}));
    EXPECT_EQ(encoded(false, [&](KelGlobal *w) { _kel_penc_semicon_huge_ia(w, zeros.data(), 3); }, 1), (Octets{0x80, 0x80, 0x80}));
    // The semi-constrained reader compacts a leading zero; the unconstrained one rejects it unless relaxed.
    unsigned char *out = nullptr;
    uint32_t n = 0;
    const Octets padded{0x02, 0x00, 0x80}, redundant{0x02, 0x00, 0x7F};
    EXPECT_EQ(decoded(padded, true, [&](KelGlobal *w) { n = _kel_pdec_semicon_huge_ia(w, &out); }), 0);
    EXPECT_EQ(Octets(out, out + n), (Octets{0x80}));
    EXPECT_TRUE(failed_with(decoded(redundant, true, [&](KelGlobal *w) { _kel_pdec_unconstr_huge_ia(w, &out); }), "0022E"));
    world->modeBits |= KEL_MODE_RELAXED;
    EXPECT_EQ(decoded(redundant, true, [&](KelGlobal *w) { n = _kel_pdec_unconstr_huge_ia(w, &out); }), 0);
    EXPECT_EQ(Octets(out, out + n), (Octets{0x7F}));
    world->modeBits &= ~KEL_MODE_RELAXED;

    // 4096 octets pass both ways, 4097 fail both ways.
    const Octets big(4099, 0x5A);
    int rc;
    for (uint32_t size : {4096u, 4097u}) {
        encoded(true, [&](KelGlobal *w) { _kel_penc_unconstr_huge_ia(w, big.data(), size); }, 0, &rc);
        EXPECT_TRUE(size == 4096 ? rc == 0 : failed_with(rc, "0037E"));
        encoded(true, [&](KelGlobal *w) { _kel_penc_limited_huge(w, big.data(), size, nullptr, 0, KEL_PER_HUGE_SIGNED | KEL_PER_HUGE_IN_ROOT); }, 0, &rc);
        EXPECT_TRUE(size == 4096 ? rc == 0 : failed_with(rc, "0144E"));
        Octets in(big.begin(), big.begin() + size + 2);
        in[0] = static_cast<uint8_t>(0x80 | size >> 8), in[1] = static_cast<uint8_t>(size);
        rc = decoded(in, true, [&](KelGlobal *w) { n = _kel_pdec_unconstr_huge_ia(w, &out); });
        EXPECT_TRUE(size == 4096 ? rc == 0 && n == 4096 : failed_with(rc, "0037E"));
        rc = decoded(in, false, [&](KelGlobal *w) { n = _kel_pdec_limited_huge(w, &out, nullptr, 0, KEL_PER_HUGE_SIGNED); });
        EXPECT_TRUE(size == 4096 ? rc == 0 && n == 4096 : failed_with(rc, "0144E"));
    }

    // Constrained: 1000..4095 (12 bits) holding 1005; a single value; outside a fixed root.
    const Octets lower{0x03, 0xE8}, value{0x03, 0xED}, none, cut{0x80, 0x00};
    const uint32_t w12 = 12 | KEL_PER_HUGE_IN_ROOT;
    EXPECT_EQ(encoded(true, [&](KelGlobal *w) { _kel_penc_limited_huge(w, value.data(), 2, lower.data(), 2, w12); }, 1), (Octets{0x80, 0x00, 0x05}));
    EXPECT_EQ(encoded(false, [&](KelGlobal *w) { _kel_penc_limited_huge(w, value.data(), 2, lower.data(), 2, w12); }, 1), (Octets{0x80, 0x28}));
    EXPECT_EQ(encoded(true, [&](KelGlobal *w) { _kel_penc_limited_huge(w, value.data(), 2, value.data(), 2, KEL_PER_HUGE_IN_ROOT); }), Octets{});
    encoded(true, [&](KelGlobal *w) { _kel_penc_limited_huge(w, value.data(), 2, lower.data(), 2, 12); }, 0, &rc);
    EXPECT_TRUE(failed_with(rc, "0062S"));
    EXPECT_EQ(decoded(none, true, [&](KelGlobal *w) { n = _kel_pdec_limited_huge(w, &out, value.data(), 2, 0); }), 0);
    EXPECT_EQ(Octets(out, out + n), value);
    EXPECT_TRUE(failed_with(decoded(cut, true, [&](KelGlobal *w) { _kel_pdec_limited_huge(w, &out, lower.data(), 2, 12); }, 1), "0081S"));
}

// Random values through every form (the fixed widths at every bit offset
// among them), counted, then written into library blocks and read back, in
// both variants; the limited readers take every other value.
TEST_F(PerInteger, RandomRoundTripsThroughEveryForm) {
    std::mt19937_64 rng(20240611);
    auto any = [&] { return rng() >> (rng() % 64); };
    const int32_t rootValues[] = {-7, 3, 9, 12, 40, 41, 1000}, addValues[] = {100, 200, 300};
    const KelPerEnumTable root{7, rootValues}, adds{3, addValues};
    const uint32_t widths[] = {0, 7, 8, 256, 12, 16, 40, 100};
    using Check = std::function<bool(KelGlobal *, bool limited)>;
    void (*const put[])(KelGlobal *, uint32_t) = {_kel_penc_nonneg_1int, _kel_penc_nonneg_2int, _kel_penc_nonneg_3int,
        _kel_penc_nonneg_4int, _kel_penc_nonneg_5int, _kel_penc_nonneg_6int, _kel_penc_nonneg_7int, _kel_penc_nonneg_8int};
    uint32_t (*const get[])(KelGlobal *) = {_kel_pdec_nonneg_1int, _kel_pdec_nonneg_2int, _kel_pdec_nonneg_3int,
        _kel_pdec_nonneg_4int, _kel_pdec_nonneg_5int, _kel_pdec_nonneg_6int, _kel_pdec_nonneg_7int, _kel_pdec_nonneg_8int};
    for (bool aligned : {true, false}) {
        SCOPED_TRACE(aligned ? "aligned" : "unaligned");
        std::vector<std::pair<Body, Check>> items;
        for (int i = 0; i < 3000; ++i) {
            const int64_t a = rng() & 1 ? static_cast<int64_t>(any()) : ~static_cast<int64_t>(any());
            const int64_t lb = static_cast<int32_t>(rng()) >> 4, v = a < lb ? lb : a;
            const uint64_t u = any(), max = 1 + rng() % 8, fit = max == 8 ? u : u & ((1ull << (8 * max)) - 1);
            const uint32_t width = 1 + rng() % 64;
            const uint64_t field = width == 64 ? u : u & ((1ull << width) - 1);
            switch (rng() % 7) {
            case 0:
                items.emplace_back([=](KelGlobal *w) { _kel_penc_semicon_int(w, v, lb), _kel_penc_unconstr_int_l(w, static_cast<int32_t>(a)); },
                    [=](KelGlobal *w, bool l) {
                        return (l ? _kel_pdec_semicon_limited_int(w, lb, INT64_MIN, INT64_MAX) : _kel_pdec_semicon_int(w, lb)) == v &&
                               (l ? _kel_pdec_unconstr_limited_int_l(w, 0, -1) : _kel_pdec_unconstr_int_l(w)) == static_cast<int32_t>(a);
                    });
                break;
            case 1:
                items.emplace_back([=](KelGlobal *w) { _kel_penc_unconstr_int(w, a), _kel_penc_indeflen_int(w, fit, max); },
                    [=](KelGlobal *w, bool l) {
                        return (l ? _kel_pdec_unconstr_limited_int(w, INT64_MIN, INT64_MAX) : _kel_pdec_unconstr_int(w)) == a &&
                               (l ? static_cast<uint64_t>(_kel_pdec_indeflen_limited_int(w, max, 0, 0, -1)) : _kel_pdec_indeflen_int(w, max)) == fit;
                    });
                break;
            case 2: {
                const uint32_t n = static_cast<uint32_t>(rng() % 8), small = static_cast<uint32_t>(field) & (0xFFu >> (7 - n));
                items.emplace_back([=](KelGlobal *w) { _kel_penc_nonneg_int(w, field, static_cast<int>(width)), put[n](w, small), _kel_penc_small_int(w, field); },
                    [=](KelGlobal *w, bool) {
                        return _kel_pdec_nonneg_int(w, width) == field && get[n](w) == small && static_cast<uint64_t>(_kel_pdec_small_int(w)) == field;
                    });
                break;
            }
            case 3: {
                const bool ext = rng() & 1, inRoot = !ext || rng() % 4;
                const int32_t e = inRoot ? rootValues[rng() % 7] : rng() & 1 ? addValues[rng() % 2] : 250 - static_cast<int32_t>(rng() % 200);
                const KelPerEnumTable *t = ext ? &adds : nullptr;
                items.emplace_back([=](KelGlobal *w) { _kel_penc_enum(w, e, &root, t); }, [=](KelGlobal *w, bool) { return _kel_pdec_enum(w, &root, t) == e; });
                break;
            }
            case 4: {
                Octets bytes(1 + rng() % 20);
                for (auto &b : bytes)
                    b = static_cast<uint8_t>(rng() % 3 ? rng() : 0);
                Octets canon = bytes;
                canon.resize(kelHugeIntToCanonical(canon.data(), static_cast<uint32_t>(canon.size()), 0));
                items.emplace_back([=](KelGlobal *w) { _kel_penc_unconstr_huge_ia(w, bytes.data(), static_cast<uint32_t>(bytes.size())); },
                    [=](KelGlobal *w, bool) { unsigned char *p; uint32_t n = _kel_pdec_unconstr_huge_ia(w, &p); return Octets(p, p + n) == canon; });
                break;
            }
            default: {
                // lower + offset, the offset inside the width of the range.
                const uint32_t hw = widths[rng() % 8], bits = hw == 256 ? 8 : hw ? hw : 72;
                Octets offset((bits + 7) / 8 + 1), lower{static_cast<uint8_t>(rng()), static_cast<uint8_t>(rng())}, sum(offset.size() + 2);
                for (auto &b : offset)
                    b = static_cast<uint8_t>(rng());
                offset[0] = 0, offset[1] &= static_cast<uint8_t>(0xFF >> ((8 - bits % 8) % 8));
                uint32_t n = static_cast<uint32_t>(sum.size());
                unsigned char *s = kelAddHugeInt(static_cast<uint32_t>(offset.size()), offset.data(), 2, lower.data(), &n, sum.data(), 0);
                const Octets value(s, s + n);
                const bool ext = rng() & 1;
                const uint32_t word = hw | KEL_PER_HUGE_SIGNED | (hw ? 0 : KEL_PER_HUGE_SEMI) | (ext ? KEL_PER_HUGE_EXTENSIBLE : 0);
                const uint32_t inRoot = ext && rng() % 3 == 0 ? 0 : KEL_PER_HUGE_IN_ROOT;
                items.emplace_back([=](KelGlobal *w) { _kel_penc_limited_huge(w, value.data(), n, lower.data(), 2, word | inRoot); },
                    [=](KelGlobal *w, bool) { unsigned char *p; int32_t m = _kel_pdec_limited_huge(w, &p, lower.data(), 2, word); return Octets(p, p + m) == value; });
            }
            }
        }
        // The blocks share the chain with the last round's decoded values.
        _kel_freeMem(world, world->freeMem);
        world->aligned = aligned, world->bitOffset = 0, world->encodingFlags = DETERMINE_ENC_LENGTH, world->encLength = 0;
        ASSERT_EQ(kel_test::in_frame(world, kel::kPhaseEncoder, [&] { for (auto &item : items) item.first(world); }), 0) << kelGetErrMsg(world);
        const uint64_t counted = world->encLength * 8ull + world->bitOffset;
        world->encodingFlags = 0, world->bitOffset = 0;
        world->userBuffer = 0, world->outPos = nullptr, world->outRemaining = 0, world->outQueueTail = &world->outQueue;
        ASSERT_EQ(kel_test::in_frame(world, kel::kPhaseEncoder, [&] { for (auto &item : items) item.first(world); }), 0) << kelGetErrMsg(world);
        const uint32_t tailBits = static_cast<uint32_t>(world->bitOffset);
        uint32_t length = 0;
        unsigned char *joined = nullptr;
        ASSERT_EQ(kel_test::in_frame(world, kel::kPhaseEncoder, [&] { _kel_set_outmem_p(world, &length, &joined); }), 0);
        const Octets stream(joined, joined + length);
        kelFreeBuf(world, joined);
        EXPECT_EQ(counted, (length - (tailBits ? 1 : 0)) * 8ull + tailBits);
        size_t bad = items.size();
        EXPECT_EQ(decoded(stream, aligned, [&](KelGlobal *w) {
            for (size_t i = 0; i < items.size() && bad == items.size(); ++i)
                if (!items[i].second(w, i & 1))
                    bad = i;
        }), 0) << kelGetErrMsg(world);
        EXPECT_EQ(bad, items.size());
        EXPECT_EQ(world->inRemaining, tailBits ? 1 : 0);
    }
}

} // namespace
