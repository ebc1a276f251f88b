// Tests of the PER bit string and octet string primitives: where fixed
// fields align, trimming of named bits, garbage behind the last bit, round
// trips through every memory form across the fragment sizes with nothing
// left allocated, the two-walk readers' single allocation, and failures.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_per.h"

namespace {

using Octets = std::vector<uint8_t>;

// The expected wire, built bit by bit.
struct Wire {
    Octets bytes;
    uint64_t bits = 0;
    Wire &bit(int b) {
        if (bits % 8 == 0)
            bytes.push_back(0);
        bytes.back() |= static_cast<uint8_t>(b ? 0x80 >> (bits % 8) : 0);
        return ++bits, *this;
    }
    Wire &put(uint64_t v, uint32_t n) { // n up to 64
        while (n)
            bit(v >> --n & 1);
        return *this;
    }
    Wire &align(bool on) { return on && bits % 8 ? bit(0).align(on) : *this; }
    Wire &from(const uint8_t *p, uint64_t n) {
        for (uint64_t i = 0; i < n; ++i)
            bit(p[i / 8] >> (7 - i % 8) & 1);
        return *this;
    }
};

// X.691 fragments of `n` units of `unit` bits behind three 1 bits.
Octets fragmented(const Octets &value, uint32_t n, uint32_t unit, bool aligned) {
    Wire w;
    w.put(7, 3);
    uint64_t done = 0, left = n, covered = 0;
    do {
        w.align(aligned);
        if (left < 128)
            w.put(covered = left, 8);
        else if (left < 16384)
            w.put(0x8000 | (covered = left), 16);
        else
            covered = std::min<uint64_t>(left >> 14, 4) << 14, w.put(0xC0 | covered >> 14, 8);
        w.from(value.data() + done * unit / 8, covered * unit);
        done += covered, left -= covered;
    } while (left || (n >= 16384 && covered % 16384 == 0 && covered));
    return w.bytes;
}

Octets pattern(size_t n) {
    Octets v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = static_cast<uint8_t>(i * 7 + 3 + (i >> 8));
    return v;
}

// Counts what the world allocates and records the sizes.
struct Spy {
    static inline long live = 0;
    static inline std::vector<size_t> sizes;
    static void *get(KelGlobal *, size_t size) { return ++live, sizes.push_back(size), std::malloc(size ? size : 1); }
    static void put(KelGlobal *, void *p) { p ? (--live, std::free(p)) : void(); }
};

struct PerBitsOctets : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    KelGetMem savedGet = world->getMem;
    KelFreeMem savedFree = world->freeMem;

    void SetUp() override { world->getMem = Spy::get, world->freeMem = Spy::put; }
    void TearDown() override {
        _kel_freetempMem(world);
        _kel_freeMem(world, world->freeMem);
        world->getMem = savedGet, world->freeMem = savedFree;
    }
    template <class Body> int encode(Body body) { return kel_test::in_frame(world, kel::kPhaseEncoder, body); }
    template <class Body> int decode(Body body) { return kel_test::in_frame(world, kel::kPhaseDecoder, body); }
    // The message starts with 'E' or 'D' for the side, then its number.
    bool failed_with(int rc, const char *number) {
        return rc != 0 && std::strncmp(kelGetErrMsg(world) + 1, number, 5) == 0;
    }

    // What `body` writes behind `lead` 1 bits, joined from library blocks;
    // count mode must count the same octets.
    Octets encoded(bool aligned, uint32_t lead, const std::function<void()> &body) {
        world->aligned = aligned;
        world->bitOffset = 0, world->encLength = 0;
        world->encodingFlags |= DETERMINE_ENC_LENGTH;
        auto run = [&] {
            for (uint32_t i = 0; i < lead; ++i)
                _kel_append_1bit_unaligned(world, 0x80);
            body();
        };
        EXPECT_EQ(encode(run), 0);
        const uint32_t counted = world->encLength + (world->bitOffset ? 1 : 0);
        world->encodingFlags &= ~DETERMINE_ENC_LENGTH;
        world->userBuffer = 0, world->outPos = nullptr, world->outRemaining = 0, world->bitOffset = 0;
        world->outQueueTail = &world->outQueue;
        EXPECT_EQ(encode(run), 0) << kelGetErrMsg(world);
        uint32_t length = 0;
        unsigned char *value = nullptr;
        EXPECT_EQ(encode([&] { _kel_set_outmem_p(world, &length, &value); }), 0);
        Octets out(value, value + length);
        kelFreeBuf(world, value);
        EXPECT_EQ(counted, out.size());
        return out;
    }
    // Runs `body` on `input` (exactly sized) behind `lead` bits; answers the
    // return code.  On success all input must be taken, no temporary memory
    // held, and nothing left allocated once decoder memory is released.
    int decoded(const Octets &input, bool aligned, uint32_t lead, const std::function<void()> &body) {
        world->aligned = aligned;
        world->inPos = const_cast<uint8_t *>(input.data());
        world->inRemaining = static_cast<int32_t>(input.size());
        world->bitOffset = 0;
        const long before = Spy::live;
        const int rc = decode([&] { _kel_skip_bits(world, lead, 0), body(); });
        if (rc == 0) {
            EXPECT_LT(world->inRemaining * 8 - world->bitOffset, 8) << "input left";
            EXPECT_EQ(world->tempList, nullptr) << "temporary memory held";
        }
        _kel_freetempMem(world);
        _kel_freeMem(world, world->freeMem);
        EXPECT_EQ(Spy::live, before) << "memory left";
        return rc;
    }
};

// Bytes of `value` as the decoder must give them: `bits` bits, rest zero.
Octets masked(const Octets &value, uint64_t bits) {
    Octets out(value.begin(), value.begin() + static_cast<long>((bits + 7) / 8));
    if (bits % 8)
        out.back() &= static_cast<uint8_t>(0xFF00 >> bits % 8);
    return out;
}

TEST_F(PerBitsOctets, FixedSizesAlignAbove16BitsAndDropGarbage) {
    struct Row {
        uint32_t bits;
        bool octets;
    } rows[] = {{12, false}, {16, false}, {17, false}, {100, false}, {9000, false}, {16, true}, {24, true}};
    for (const Row &row : rows)
        for (bool aligned : {true, false}) {
            const Octets value(pattern((row.bits + 7) / 8 + 1));
            Octets garbage = value; // the caller's last byte has its free bits set
            garbage[(row.bits - 1) / 8] |= static_cast<uint8_t>(0xFF >> (row.bits % 8 ? row.bits % 8 : 8));
            const Octets want = Wire().put(1, 1).align(aligned && row.bits > 16).from(value.data(), row.bits).bytes;
            const Octets got = encoded(aligned, 1, [&] {
                row.octets ? _kel_penc_constr_oct_l(world, garbage.data(), row.bits / 8, row.bits / 8, row.bits / 8)
                           : _kel_penc_fix_bit(world, garbage.data(), row.bits);
            });
            EXPECT_EQ(got, want) << row.bits << (row.octets ? " octets" : " bits") << " aligned " << aligned;
            Octets out(value.size(), 0xEE);
            EXPECT_EQ(decoded(got, aligned, 1, [&] {
                row.octets ? _kel_pdec_fixed_oct(world, out.data(), row.bits / 8)
                           : (void)_kel_pdec_constr_vbit_ia(world, out.data(), row.bits, row.bits);
            }), 0);
            EXPECT_EQ(Octets(out.begin(), out.begin() + (row.bits + 7) / 8), masked(value, row.bits)) << row.bits;
        }
}

TEST_F(PerBitsOctets, NamedBitsTrimAndFitPads) {
    Octets far(100, 0);
    far[1] = 0x04; // bit 13, then 98 zero octets
    const struct {
        Octets bytes;
        uint32_t n, floor, want;
    } chops[] = {{{0, 0}, 16, 0, 0}, {{0x40}, 8, 4, 4}, {{0x1F}, 3, 0, 0}, {{0x1F}, 4, 0, 4},
                 {far, 800, 0, 14},  {far, 800, 100, 100}, {{0x80}, 3, 9, 9}};
    for (const auto &c : chops) {
        EXPECT_EQ(_kel_chop_zero_bits(c.bytes.data(), c.n, c.floor), c.want) << c.n << "/" << c.floor;
        EXPECT_EQ(_kel_chop_zero_bits_ll(c.bytes.data(), c.n, c.floor), c.want);
    }
    const uint8_t bit1[] = {0x40, 0x00}, bit10[] = {0x00, 0x20};
    uint32_t n = 2, m = 16;
    uint64_t n64 = 16;
    EXPECT_TRUE(_kel_nmbit_lfit(bit1, &n, 4, 8) && n == 4); // below lb: raised to lb
    EXPECT_TRUE(_kel_nmbit_lfit(bit1, &m, 0, 8) && m == 2);
    EXPECT_TRUE(!_kel_nmbit_lfit_ll(bit10, &n64, 0, 8) && n64 == 16); // last 1 above ub: an extension

    for (bool aligned : {true, false}) {
        // All zero with lb 0: length 0 and no bits, constrained or not.
        EXPECT_EQ(encoded(aligned, 0, [&] { _kel_penc_constr_bpbit_l(world, far.data() + 2, 0, 20, 1, 0); }),
                  Octets{0x00});
        EXPECT_EQ(encoded(aligned, 1, [&] { _kel_penc_unconstr_bit_l(world, far.data() + 2, 20, 1); }),
                  Wire().put(1, 1).align(aligned).put(0, 8).bytes);
        // lb 4 and only bit 1: extension bit, a 4-bit length 0, four bits.
        const Octets want = Wire().put(0, 5).align(aligned).put(0x4, 4).bytes;
        EXPECT_EQ(encoded(aligned, 0, [&] { _kel_penc_constr_bpbit_l(world, bit1, 4, 16, 1, 1); }), want);
        EXPECT_EQ(encoded(aligned, 0, [&] { _kel_penc_constr_pbit_l(world, 0x4000, 2, 4, 16, 1, 1); }), want);
        uint16_t field = 0xFFFF;
        EXPECT_EQ(decoded(want, aligned, 1, [&] { EXPECT_EQ(_kel_pdec_constr_pbit_l(world, &field, 2, 4, 16), 4u); }), 0);
        EXPECT_EQ(field, 0x4000);
        // Fitting five bits (garbage behind them) to 12 and to 600 zero-fills.
        const uint8_t five[] = {0xFF};
        EXPECT_EQ(encoded(aligned, 0, [&] { _kel_penc_constr_bit_l(world, five, 5, 12, 12, 1, 12); }),
                  (Octets{0xF8, 0x00}));
        EXPECT_EQ(encoded(aligned, 0, [&] { _kel_penc_constr_bit_l(world, five, 5, 0, 1000, 1, 600); }),
                  (aligned ? Wire().put(600, 16) : Wire().put(600, 10)).align(aligned).put(0x1F, 5).from(far.data() + 2, 595).bytes);
    }
}

// Every memory form, octets (unit 8) and bits (unit 1), at sizes around the
// fragment boundaries: the encoders give the X.691 wire, each decoder gives
// the value back and nothing else allocated, and fails on a short input.
TEST_F(PerBitsOctets, RoundTripsThroughEveryFormAndTruncations) {
    for (uint32_t unit : {8u, 1u})
        for (uint32_t n : {0u, 1u, 16383u, 16384u, 16385u, 65536u, 65537u, 100000u})
            for (bool aligned : {true, false}) {
                const uint32_t octets = static_cast<uint32_t>((uint64_t{n} * unit + 7) / 8);
                const Octets value = pattern(octets + 1), want = fragmented(value, n, unit, aligned);
                const uint8_t *b = value.data();
                const std::function<void()> encoders[2][3] = {
                    {[&] { _kel_penc_uncon_bit(world, b, n); }, [&] { _kel_penc_unconstr_bit(world, b, n, 0); },
                     [&] { _kel_penc_constr_bit_l(world, b, n, 0, 200000, 0, 0); }},
                    {[&] { _kel_penc_unconstr_oct_l(world, b, n); }, [&] { _kel_penc_uncon_oct_ll(world, b, n); },
                     [&] { _kel_penc_constr_oct(world, b, n, 0, 200000); }}};
                for (const auto &encoder : encoders[unit / 8])
                    ASSERT_EQ(encoded(aligned, 3, encoder), want) << n << " units of " << unit;
                Octets buf(octets + 1);
                unsigned char *p = nullptr;
                void *v = nullptr;
                auto behind = [&](uint32_t k) { return p = static_cast<uint8_t *>(v) + 4, k; };
                // Each answers the count; the content is at p.
                const std::function<uint32_t()> forms[2][8] = {
                    {[&] { return p = buf.data(), _kel_pdec_unconstr_vbit_ia(world, p, octets); },
                     [&] { return p = buf.data(), _kel_pdec_constr_vbit_ia(world, p, 0, 200000); },
                     [&] { return p = buf.data(), _kel_pdec_unconstr_bpbit(world, p, octets); },
                     [&] { return p = buf.data(), uint32_t(_kel_pdec_constr_bpbit(world, p, octets, 0, 1u << 20)); },
                     [&] { return _kel_pdec_unconstr_ubit_ia(world, &p); },
                     [&] { return _kel_pdec_constr_ubit_ia(world, &p, 0, 200000); },
                     [&] { return behind(_kel_pdec_unconstr_vbit_ptr_ia(world, &v, 4)); },
                     [&] { return behind(_kel_pdec_constr_vbit_ptr_ia(world, &v, 4, 0, 200000)); }},
                    {[&] { return p = buf.data(), _kel_pdec_unconstr_voct_ia(world, p, n); },
                     [&] { return p = buf.data(), _kel_pdec_constr_voct_ia(world, p, 0, 200000); },
                     [&] { return _kel_pdec_unconstr_uoct_ia(world, &p); },
                     [&] { return _kel_pdec_constr_uoct_ia(world, &p, 0, 200000); },
                     [&] { return behind(_kel_pdec_unconstr_voct_ptr_ia(world, &v, 4)); },
                     [&] { return behind(_kel_pdec_constr_voct_ptr_ia(world, &v, 4, 0, 200000)); }}};
                const Octets cut(want.begin(), want.end() - 1);
                for (const auto &form : forms[unit / 8]) {
                    if (!form)
                        continue;
                    Octets got;
                    ASSERT_EQ(decoded(want, aligned, 3, [&] {
                        EXPECT_EQ(form(), n);
                        got = masked(Octets(p, p + octets), uint64_t{n} * unit);
                    }), 0) << kelGetErrMsg(world);
                    EXPECT_TRUE(got == masked(value, uint64_t{n} * unit)) << n << " units of " << unit;
                    EXPECT_TRUE(failed_with(decoded(cut, aligned, 3, [&] { form(); }), "0081S"))
                        << n << " units of " << unit << ": " << kelGetErrMsg(world);
                }
            }
}

TEST_F(PerBitsOctets, FragmentedValueTakesOneBlockAfterTwoWalks) {
    const Octets value = pattern(65536);
    Octets wire{0xC4};
    wire.insert(wire.end(), value.begin(), value.end());
    wire.push_back(0x00);
    unsigned char *p = nullptr;
    Spy::sizes.clear();
    ASSERT_EQ(decoded(wire, true, 0, [&] {
        EXPECT_EQ(_kel_pdec_unconstr_uoct_ia(world, &p), 65536u);
        EXPECT_EQ(std::memcmp(p, value.data(), 65536), 0);
    }), 0);
    EXPECT_EQ(std::count_if(Spy::sizes.begin(), Spy::sizes.end(), [](size_t s) { return s >= 4096; }), 1);
    EXPECT_EQ(std::count(Spy::sizes.begin(), Spy::sizes.end(), 65536u), 1);
}

TEST_F(PerBitsOctets, SizeAndInputFailures) {
    // A fixed size of 70000 whose fragments end at 65536.
    const Octets short_ = fragmented(pattern(65536), 65536, 8, true);
    Octets out(70000);
    EXPECT_TRUE(failed_with(decoded(short_, true, 3, [&] { _kel_pdec_fixed_oct(world, out.data(), 70000); }), "0063S"));
    EXPECT_EQ(decoded(short_, true, 3, [&] { _kel_pdec_fixed_oct(world, out.data(), 65536); }), 0);

    // Ranged lengths above ub (0..5 takes 3 bits: 7 fits the field).
    const Octets seven = {0xE0, 1, 2, 3, 4, 5, 6, 7};
    void *v = nullptr;
    EXPECT_TRUE(failed_with(decoded(seven, true, 0, [&] { _kel_pdec_constr_voct_ia(world, out.data(), 0, 5); }), "0063S"));
    EXPECT_TRUE(failed_with(decoded(seven, true, 0, [&] { _kel_pdec_constr_voct_ptr_ia(world, &v, 2, 0, 5); }), "0063S"));
    EXPECT_TRUE(failed_with(decoded(seven, true, 0, [&] { _kel_pdec_constr_vbit_ia(world, out.data(), 0, 5); }), "0016S"));
    uint8_t small = 0;
    const Octets nine = {0x09, 0xFF, 0x80};
    EXPECT_TRUE(failed_with(decoded(nine, true, 0, [&] { _kel_pdec_unconstr_pbit(world, &small, 1); }), "0016S"));

    // Cut to ub: 20 bits read, 12 kept.
    const Octets twenty = {0x14, 0xAB, 0xCD, 0xE0};
    EXPECT_EQ(decoded(twenty, true, 0, [&] {
        EXPECT_EQ(_kel_pdec_constr_vbit_ptr_ia(world, &v, 0, 0xFFFFFFFF, 12), 12u);
        EXPECT_EQ(Octets(static_cast<uint8_t *>(v), static_cast<uint8_t *>(v) + 2), (Octets{0xAB, 0xC0}));
        EXPECT_EQ(world->bitOffset, 4); // the surplus stepped over where it stands
    }), 0);

}

} // namespace
