// Tests of the PER extension preamble, unknown additions, open types, and the
// skip primitives, which must leave the reader where the decoder leaves it.
#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "per.h"

namespace {

using Octets = std::vector<uint8_t>;
using Step = std::function<void(KelGlobal *)>;

struct PerExtension : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    Octets buffer = Octets(90000), scratch = Octets(70000), source = letters();
    uint64_t end = 0;      // bit where the last encoding ended
    bool tempHeld = false; // temporary memory held after the last decode

    // The encoding of `body` behind `lead` one bits, exactly sized; empty on failure.
    Octets encode(uint32_t lead, const Step &body) {
        std::fill(buffer.begin(), buffer.end(), 0);
        world->userBuffer = 1, world->outPos = buffer.data(), world->bitOffset = 0;
        world->outRemaining = static_cast<int32_t>(buffer.size());
        const unsigned char ones = 0xFF;
        const int code = kel_test::in_frame(world, kel::kPhaseEncoder, [&] { _kel_append(world, &ones, lead, 0), body(world); });
        world->userBuffer = 0;
        end = static_cast<uint64_t>(world->outPos - buffer.data()) * 8 + world->bitOffset;
        return code ? Octets{} : Octets(buffer.begin(), buffer.begin() + static_cast<ptrdiff_t>((end + 7) / 8));
    }
    // Decodes from bit `offset` of `input`, which the caller keeps alive; frees all memory after.
    int decode(const Octets &input, uint32_t offset, const Step &body) {
        world->inPos = const_cast<uint8_t *>(input.data()), world->bitOffset = static_cast<int32_t>(offset);
        world->inRemaining = static_cast<int32_t>(input.size());
        const int code = kel_test::in_frame(world, kel::kPhaseDecoder, [&] { body(world); });
        tempHeld = world->tempList != nullptr;
        _kel_freetempMem(world), _kel_freeMem(world, world->freeMem);
        return code;
    }
    uint64_t at(const Octets &input) const { return uint64_t(world->inPos - input.data()) * 8 + uint64_t(world->bitOffset); }
    std::string message() const { return std::string(world->errMsg).substr(1, 5); }
    static Octets letters() {
        Octets text(70000);
        for (size_t i = 0; i < text.size(); ++i)
            text[i] = static_cast<uint8_t>('a' + i % 7);
        return text;
    }
};

TEST_F(PerExtension, PreambleStrictnessAndTruncation) {
    struct Row { Octets input; uint32_t flags; const char *failure; uint32_t count; uint8_t bits; };
    const Row rows[] = {
        {{0x80, 0x00}, 0, nullptr, 0, 0},           // length 0 in the long form
        {{0x80, 0x00}, STRICT_ENCODING_DECODING_RULES, "0037E", 0, 0},
        {{0x04, 0x00}, 0, nullptr, 3, 0x00},        // three zero bits
        {{0x04, 0x00}, STRICT_ENCODING_DECODING_RULES, "0037E", 0, 0},
        {{0x05, 0x40}, STRICT_ENCODING_DECODING_RULES, nullptr, 3, 0xA0},
        {{0x05}, 0, "0081S", 0, 0},
    };
    for (const Row &row : rows)
        for (uint8_t aligned : {0, 1}) {
            world->aligned = aligned, world->decodingFlags = row.flags;
            uint32_t count = 99;
            uint8_t bits = 0xFF;
            const int code = decode(row.input, 0, [&](KelGlobal *w) {
                unsigned char *block = nullptr;
                count = _kel_pdec_eap(w, &block);
                bits = count ? block[0] : 0;
                _kel_pdec_eas(w, block, count, count);
            });
            EXPECT_EQ(code ? message() : "", row.failure ? row.failure : "") << world->errMsg;
            if (!row.failure) {
                EXPECT_FALSE(tempHeld);
                EXPECT_EQ(count, row.count);
                EXPECT_EQ(bits, row.bits) << "bits behind the last are clear";
            }
        }
}

TEST_F(PerExtension, SkippedAdditionsLeaveTheBitOffsetAndFreeTheBlock) {
    const Octets small(5, 0x11), large(16386, 0x22); // the second in fragments
    const unsigned char presence = 0xA0, marker = 0x5A;
    for (uint8_t aligned : {0, 1}) {
        world->aligned = aligned;
        const Octets input = encode(1, [&](KelGlobal *w) {
            _kel_penc_small_len_l(w, 3), _kel_append(w, &presence, 3, 0);
            _kel_penc_unconstr_oct_l(w, small.data(), 5), _kel_penc_unconstr_oct_l(w, large.data(), 16386);
            _kel_append(w, &marker, 8, 0);
        });
        uint64_t before = 0, after = 1;
        const auto skipFrom = [&](uint32_t first) {
            return [&, first](KelGlobal *w) {
                unsigned char *bits = nullptr;
                const uint32_t count = _kel_pdec_eap(w, &bits);
                before = at(input), _kel_pdec_eas(w, bits, count, first), after = at(input);
                EXPECT_EQ(w->tempList, nullptr) << "nothing left on the temporary stack";
            };
        };
        ASSERT_EQ(decode(input, 1, skipFrom(0)), 0) << world->errMsg;
        EXPECT_EQ(after + 8, end);
        ASSERT_EQ(decode(input, 1, skipFrom(7)), 0) << world->errMsg;
        EXPECT_EQ(before, after) << "a first bit beyond the count skips nothing";
        const Octets cut(input.begin(), input.end() - 100);
        EXPECT_NE(decode(cut, 1, skipFrom(0)), 0);
        EXPECT_EQ(message(), "0081S");
    }
}

TEST_F(PerExtension, EmptyOpenTypeDecodesByDefaultAndNeverEncodes) {
    int anchor = 0;
    kelSetCppPointer(world, &anchor);
    world->presetDecFlags = 0x4;
    KelOpenType value = {7, 99, &value, &value, 5};
    ASSERT_EQ(decode({0x00}, 0, [&](KelGlobal *w) { _kel_pdec_opentype(w, &value); }), 0) << world->errMsg;
    EXPECT_EQ(value.length + value.pduNum, 0u);
    EXPECT_EQ(value.encoded, value.decoded);
    EXPECT_EQ(value.encoded, nullptr);
    EXPECT_EQ(value.userField, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&anchor)));
    for (uint32_t flags : {STRICT_ENCODING_DECODING_RULES, AUTOMATIC_ENCDEC}) {
        world->decodingFlags = flags;
        EXPECT_NE(decode({0x00}, 0, [&](KelGlobal *w) { _kel_pdec_opentype(w, &value); }), 0);
        EXPECT_EQ(message(), "0090E");
    }
    EXPECT_TRUE(encode(0, [&](KelGlobal *w) { _kel_penc_opentype(w, &value); }).empty());
    EXPECT_EQ(message(), "0090E");
}

struct SkipCase { const char *name; Step encode, decode, skip; };
#define SKIP_ROW(name, enc, dec, skp) \
    SkipCase { name, [&](KelGlobal *w) { enc; }, [&](KelGlobal *w) { dec; }, [&](KelGlobal *w) { skp; } }

TEST_F(PerExtension, SkipsEndWhereTheDecodersEndAndFailOnlyAtTheEndOfInput) {
    int32_t values[300] = {1, 2, 3, 10, 20};
    const KelPerEnumTable root = {3, values}, ext = {2, values + 3}, root300 = {300, values};
    const uint32_t own = KEL_PER_STRING_FLAGS(8, 1, 7, 1), ownExt = own | KEL_PER_SIZE_EXTENSIBLE;
    const KelPerString fixed2 = {nullptr, 2, 2, 0, own}, fixed3 = {nullptr, 3, 3, 0, own}, upTo10 = {nullptr, 0, 10, 20, own},
                       extensible = {nullptr, 0, 3, 20, ownExt}, timeText = {nullptr, 1, 0, 20, own | KEL_PER_TIME_STRING},
                       bmp = {nullptr, 0, 4, 0, KEL_PER_STRING_FLAGS(16, 1, 16, 1)};
    const uint16_t wide[] = {0x68, 0xE9, 0x263A};
    const unsigned char *data = source.data(), *low = data, lower5[] = {5}, *null = nullptr;
    unsigned char *out = scratch.data(), *piece = nullptr;
    uint16_t *widePiece = nullptr;
    const uint32_t outside = 8 | KEL_PER_HUGE_EXTENSIBLE, own8 = kel::per::kCompatExtendedOwnCode;
    const SkipCase cases[] = {
        SKIP_ROW("integer", _kel_penc_semicon_int(w, 1000000000000, 0), _kel_pdec_semicon_int(w, 0), _kel_pskip_int(w)),
        SKIP_ROW("enum root", _kel_penc_enum(w, 2, &root, &ext), _kel_pdec_enum(w, &root, &ext), _kel_pskip_enum(w, &root, &ext)),
        SKIP_ROW("enum addition", _kel_penc_enum(w, 20, &root, &ext), _kel_pdec_enum(w, &root, &ext), _kel_pskip_enum(w, &root, &ext)),
        SKIP_ROW("enum of 300", _kel_penc_enum(w, 3, &root300, nullptr), _kel_pdec_enum(w, &root300, nullptr), _kel_pskip_enum(w, &root300, nullptr)),
        SKIP_ROW("huge 24 bits", _kel_penc_limited_huge(w, data, 3, low, 1, 24 | KEL_PER_HUGE_IN_ROOT),
                 _kel_pdec_limited_huge(w, &piece, low, 1, 24), _kel_pskip_limited_huge(w, low, 24)),
        SKIP_ROW("huge range 256", _kel_penc_limited_huge(w, data, 1, low, 1, 256 | KEL_PER_HUGE_IN_ROOT),
                 _kel_pdec_limited_huge(w, &piece, low, 1, 256), _kel_pskip_limited_huge(w, low, 256)),
        SKIP_ROW("huge outside the root", _kel_penc_limited_huge(w, data, 5, low, 1, outside),
                 _kel_pdec_limited_huge(w, &piece, low, 1, outside), _kel_pskip_limited_huge(w, low, outside)),
        SKIP_ROW("huge single value", _kel_penc_limited_huge(w, lower5, 1, lower5, 1, KEL_PER_HUGE_IN_ROOT),
                 _kel_pdec_limited_huge(w, &piece, lower5, 1, 0), _kel_pskip_limited_huge(w, lower5, 0)),
        SKIP_ROW("huge unconstrained", _kel_penc_limited_huge(w, data, 9, null, 0, KEL_PER_HUGE_IN_ROOT),
                 _kel_pdec_limited_huge(w, &piece, null, 0, 0), _kel_pskip_limited_huge(w, null, 0)),
        SKIP_ROW("2 characters", _kel_penc_kmstr(w, data, 2, &fixed2, 0), _kel_pdec_va_kmstr(w, out, &fixed2), _kel_pskip_ckmstr(w, &fixed2)),
        SKIP_ROW("3 characters", _kel_penc_kmstr(w, data, 3, &fixed3, 0), _kel_pdec_va_kmstr(w, out, &fixed3), _kel_pskip_ckmstr(w, &fixed3)),
        SKIP_ROW("5 of 10 characters", _kel_penc_kmstr(w, data, 5, &upTo10, 0), _kel_pdec_nt_kmstr(w, out, &upTo10), _kel_pskip_ckmstr(w, &upTo10)),
        SKIP_ROW("extended, own code", (w->ext->compatFlags = own8, _kel_penc_kmstr(w, data, 6, &extensible, 0x80)),
                 _kel_pdec_nt_kmstr(w, out, &extensible), _kel_pskip_ckmstr(w, &extensible)),
        SKIP_ROW("time in octets", (w->ext->compatFlags = kel::per::kCompatTimeOctets, _kel_penc_kmstr(w, data, 15, &timeText, 0)),
                 _kel_pdec_nt_kmstr(w, out, &timeText), _kel_pskip_ckmstr(w, &timeText)),
        SKIP_ROW("BMP", _kel_penc_bmpstr(w, wide, 3, &bmp, 0), _kel_pdec_bmpstr(w, &widePiece, &bmp), _kel_pskip_unistr(w, &bmp)),
        SKIP_ROW("2 octets", _kel_penc_constr_oct(w, data, 2, 2, 2), _kel_pdec_fixed_oct(w, out, 2), _kel_pskip_fixed_oct(w, 2)),
        SKIP_ROW("3 octets", _kel_penc_constr_oct(w, data, 3, 3, 3), _kel_pdec_fixed_oct(w, out, 3), _kel_pskip_fixed_oct(w, 3)),
        SKIP_ROW("70000 octets", _kel_penc_constr_oct(w, data, 70000, 70000, 70000), _kel_pdec_fixed_oct(w, out, 70000),
                 _kel_pskip_fixed_oct(w, 70000)),
        SKIP_ROW("5 of 10 octets", _kel_penc_constr_oct(w, data, 5, 0, 10), _kel_pdec_constr_voct_ia(w, out, 0, 10), _kel_pskip_constr_oct(w, 0, 10)),
        SKIP_ROW("0 of 10 octets", _kel_penc_constr_oct(w, data, 0, 0, 10), _kel_pdec_constr_voct_ia(w, out, 0, 10), _kel_pskip_constr_oct(w, 0, 10)),
        SKIP_ROW("16 bits", _kel_penc_constr_bit_l(w, data, 16, 16, 16, 0, 0), _kel_pdec_constr_vbit_ia(w, out, 16, 16), _kel_pskip_constr_bit(w, 16, 16)),
        SKIP_ROW("17 bits", _kel_penc_constr_bit_l(w, data, 17, 17, 17, 0, 0), _kel_pdec_constr_vbit_ia(w, out, 17, 17), _kel_pskip_constr_bit(w, 17, 17)),
        SKIP_ROW("20000 of 70000 bits", _kel_penc_constr_bit_l(w, data, 20000, 0, 70000, 0, 0), _kel_pdec_constr_vbit_ia(w, out, 0, 70000),
                 _kel_pskip_constr_bit(w, 0, 70000)),
    };
    for (const SkipCase &c : cases)
        for (uint8_t aligned : {0, 1}) {
            SCOPED_TRACE(std::string(c.name) + (aligned ? ", aligned" : ", unaligned"));
            world->aligned = aligned, world->ext->compatFlags = 0;
            const Octets input = encode(3, c.encode);
            ASSERT_FALSE(input.empty()) << world->errMsg;
            ASSERT_EQ(decode(input, 3, c.decode), 0) << world->errMsg;
            EXPECT_EQ(at(input), end) << "the decoder reads what the encoder wrote";
            ASSERT_EQ(decode(input, 3, c.skip), 0) << world->errMsg;
            EXPECT_EQ(at(input), end);
            EXPECT_FALSE(tempHeld);
            for (size_t cut = input.size() - 1; cut > 0; cut = cut > 64 ? cut / 3 : cut - 1) {
                const Octets shorter(input.begin(), input.begin() + static_cast<ptrdiff_t>(cut));
                EXPECT_NE(decode(shorter, 3, c.skip), 0);
                EXPECT_EQ(message(), "0081S") << "cut at " << cut;
            }
        }
}

} // namespace
