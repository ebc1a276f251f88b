// Tests of the PER extension additions preamble, the keeping and skipping of
// unknown additions, open types, and the skip primitives, which must leave
// the reader exactly where the matching decoder leaves it.
#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_ber.h"
#include "kelvarn_per.h"
#include "per.h"

namespace {

using Octets = std::vector<uint8_t>;
using Step = std::function<void(KelGlobal *)>;

constexpr uint8_t kVariants[] = {0, 1}; // unaligned, aligned

struct PerExtension : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    Octets buffer = Octets(90000);
    uint64_t endBit = 0;     // where the last encoding ended
    bool tempHeld = false;   // temporary memory still held after the last decode
    unsigned char scratch[90000];
    void *field = nullptr;

    // Runs `body` as an encoder after `lead` one bits; answers the encoding,
    // exactly sized, and sets endBit.  An empty result means a failure.
    Octets encode(uint32_t lead, const Step &body) {
        std::fill(buffer.begin(), buffer.end(), 0);
        world->userBuffer = 1;
        world->outPos = buffer.data();
        world->outRemaining = static_cast<int32_t>(buffer.size());
        world->memTotal = static_cast<uint32_t>(buffer.size());
        world->bitOffset = 0;
        const unsigned char ones = 0xFF;
        const int code = kel_test::in_frame(world, kel::kPhaseEncoder, [&] {
            _kel_append(world, &ones, lead, 0);
            body(world);
        });
        world->userBuffer = 0;
        if (code)
            return {};
        endBit = static_cast<uint64_t>(world->outPos - buffer.data()) * 8 + world->bitOffset;
        return Octets(buffer.begin(), buffer.begin() + static_cast<ptrdiff_t>((endBit + 7) / 8));
    }
    // Runs `body` as a decoder on `input` (kept alive by the caller) from bit
    // `offset`; answers the return code.  Decoder and temporary memory are
    // released afterwards.
    int decode(const Octets &input, uint32_t offset, const Step &body) {
        world->userBuffer = 0;
        world->inPos = const_cast<uint8_t *>(input.data());
        world->inRemaining = static_cast<int32_t>(input.size());
        world->bitOffset = static_cast<int32_t>(offset);
        const int code = kel_test::in_frame(world, kel::kPhaseDecoder, [&] { body(world); });
        tempHeld = world->tempList != nullptr;
        _kel_freetempMem(world);
        _kel_freeMem(world, world->freeMem);
        return code;
    }
    uint64_t position(const Octets &input) const {
        return static_cast<uint64_t>(world->inPos - input.data()) * 8 + static_cast<uint64_t>(world->bitOffset);
    }
    std::string message() const { return std::string(world->errMsg).substr(1, 5); }
};

// ---------------------------------------------------------------------------
// Preamble
// ---------------------------------------------------------------------------

TEST_F(PerExtension, PreambleStrictnessAndTruncation) {
    struct Row {
        const char *name;
        Octets input;
        bool strictRules;
        const char *failure; // null: passes
        uint32_t count;
        uint8_t firstOctet;
    };
    const Row rows[] = {
        {"length 0 (long form)", {0x80, 0x00}, false, nullptr, 0, 0},
        {"length 0, strict", {0x80, 0x00}, true, "0037E", 0, 0},
        {"three zero bits", {0x04, 0x00}, false, nullptr, 3, 0x00},
        {"three zero bits, strict", {0x04, 0x00}, true, "0037E", 0, 0},
        {"bits 101, strict", {0x05, 0x40}, true, nullptr, 3, 0xA0},
        {"bits cut off", {0x05}, false, "0081S", 0, 0},
    };
    for (const Row &row : rows)
        for (uint8_t aligned : kVariants) {
            SCOPED_TRACE(std::string(row.name) + (aligned ? ", aligned" : ", unaligned"));
            world->aligned = aligned;
            world->decodingFlags = row.strictRules ? STRICT_ENCODING_DECODING_RULES : 0;
            uint32_t count = 99;
            uint8_t first = 0xFF;
            const int code = decode(row.input, 0, [&](KelGlobal *w) {
                unsigned char *bits = nullptr;
                count = _kel_pdec_eap(w, &bits);
                first = count ? bits[0] : 0;
                _kel_pdec_eas(w, bits, count, count); // frees the block
                EXPECT_EQ(w->tempList, nullptr);
            });
            if (row.failure) {
                EXPECT_NE(code, 0);
                EXPECT_EQ(message(), row.failure);
                continue;
            }
            ASSERT_EQ(code, 0) << world->errMsg;
            EXPECT_EQ(count, row.count);
            EXPECT_EQ(first, row.firstOctet) << "bits behind the last one are clear";
        }
    world->decodingFlags = 0;
}

TEST_F(PerExtension, CopyPreambleKeepsTheUnknownAdditions) {
    const Octets wide = {0x12, 0x34, 0x56, 0x78, 0x9A};
    struct Row {
        Octets bits;
        uint32_t count, known, width;
    };
    const Row rows[] = {
        {{0xA0}, 3, 1, 1},     // 1 0 1: keeps 0 1
        {{0xFF, 0xF7}, 12, 8, 2}, // from an octet boundary
        {wide, 37, 3, 8},       // shifted across five octets
        {{0xE0}, 3, 3, 4},      // nothing unknown
        {{0xE0}, 3, 5, 4},      // fewer bits than known additions
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.known);
        // The reference: bit by bit.
        const uint32_t unknown = row.count > row.known ? row.count - row.known : 0;
        Octets expected((unknown + 7) / 8, 0);
        uint32_t ones = 0;
        for (uint32_t i = 0; i < unknown; ++i) {
            const uint32_t from = row.known + i;
            if ((row.bits[from / 8] >> (7 - from % 8)) & 1) {
                expected[i / 8] |= static_cast<uint8_t>(0x80 >> (i % 8));
                ++ones;
            }
        }
        uint64_t countField = ~uint64_t{0};
        Octets kept;
        bool null = false;
        uint32_t present = 99;
        ASSERT_EQ(decode({0}, 0, [&](KelGlobal *w) {
            unsigned char *out = reinterpret_cast<unsigned char *>(&countField); // anything non-null
            present = _kel_copy_preamble(w, row.bits.data(), row.count, row.known, &countField, &out, row.width);
            null = out == nullptr;
            if (out)
                kept.assign(out, out + expected.size());
        }), 0) << world->errMsg;
        EXPECT_EQ(present, ones);
        EXPECT_EQ(null, unknown == 0);
        EXPECT_EQ(kept, expected);
        EXPECT_EQ(_kel_get_uint(&countField, row.width), unknown);
        if (row.width < 8) {
            EXPECT_EQ(countField >> (8 * row.width), ~uint64_t{0} >> (8 * row.width)) << "only the field's width";
        }
    }
}

// Additions 0 and 2 of three are present; addition 2 is in fragments.  The
// preamble's block is freed whether or not anything is skipped.
TEST_F(PerExtension, SkippingAdditionsKeepsTheStreamAndFreesTheBlock) {
    const Octets small(5, 0x11), large(16386, 0x22);
    for (uint8_t aligned : kVariants) {
        SCOPED_TRACE(aligned ? "aligned" : "unaligned");
        world->aligned = aligned;
        const Octets input = encode(1, [&](KelGlobal *w) {
            _kel_penc_small_len_l(w, 3);
            const unsigned char presence = 0xA0;
            _kel_append(w, &presence, 3, 0);
            _kel_penc_unconstr_oct_l(w, small.data(), 5);
            _kel_penc_unconstr_oct_l(w, large.data(), 16386);
            const unsigned char marker = 0x5A;
            _kel_append(w, &marker, 8, 0);
        });
        ASSERT_FALSE(input.empty()) << world->errMsg;

        uint32_t marker = 0;
        ASSERT_EQ(decode(input, 1, [&](KelGlobal *w) {
            unsigned char *bits = nullptr;
            ASSERT_EQ(_kel_pdec_eap(w, &bits), 3u);
            _kel_pdec_eas(w, bits, 3, 0);
            EXPECT_EQ(w->tempList, nullptr) << "nothing left on the temporary stack";
            marker = _kel_get_octet(w, 0);
        }), 0) << world->errMsg;
        EXPECT_EQ(marker, 0x5Au);
        EXPECT_EQ(position(input), endBit);

        // A first bit beyond the count skips nothing and still frees.
        uint64_t before = 0, after = 1;
        ASSERT_EQ(decode(input, 1, [&](KelGlobal *w) {
            unsigned char *bits = nullptr;
            _kel_pdec_eap(w, &bits);
            before = position(input);
            _kel_pdec_eas(w, bits, 3, 7);
            after = position(input);
        }), 0) << world->errMsg;
        EXPECT_EQ(before, after);
        EXPECT_FALSE(tempHeld);

        // The fragment cut short.
        const Octets cut(input.begin(), input.end() - 100);
        EXPECT_NE(decode(cut, 1, [&](KelGlobal *w) {
            unsigned char *bits = nullptr;
            _kel_pdec_eas(w, bits, _kel_pdec_eap(w, &bits), 0);
        }), 0);
        EXPECT_EQ(message(), "0081S");
    }
}

// ---------------------------------------------------------------------------
// Open types
// ---------------------------------------------------------------------------

TEST_F(PerExtension, EmptyOpenTypeDecodesByDefaultAndNeverEncodes) {
    const Octets empty = {0x00};
    const uint32_t refusing[] = {STRICT_ENCODING_DECODING_RULES, AUTOMATIC_ENCDEC};
    for (uint8_t aligned : kVariants) {
        world->aligned = aligned;
        KelOpenType value = {7, 99, &value, &value, 5};
        ASSERT_EQ(decode(empty, 0, [&](KelGlobal *w) { _kel_pdec_opentype(w, &value); }), 0) << world->errMsg;
        EXPECT_EQ(value.length, 0u);
        EXPECT_EQ(value.encoded, nullptr);
        EXPECT_EQ(value.decoded, nullptr);
        EXPECT_EQ(value.pduNum, 0);
        EXPECT_EQ(value.userField, 5u) << "untouched without the preset flag";

        for (uint32_t flags : refusing) {
            world->decodingFlags = flags;
            EXPECT_NE(decode(empty, 0, [&](KelGlobal *w) { _kel_pdec_opentype(w, &value); }), 0);
            EXPECT_EQ(message(), "0090E");
        }
        world->decodingFlags = 0;
        EXPECT_TRUE(encode(0, [&](KelGlobal *w) { _kel_penc_opentype(w, &value); }).empty());
        EXPECT_EQ(message(), "0090E");
    }
}

TEST_F(PerExtension, OpenTypeRoundTripOffTheOctetGrid) {
    char text[] = "xyz";
    int anchor = 0;
    kelSetCppPointer(world, &anchor);
    world->presetDecFlags = 0x4;
    for (uint8_t aligned : kVariants) {
        SCOPED_TRACE(aligned ? "aligned" : "unaligned");
        world->aligned = aligned;
        const KelOpenType out = {0, 3, text, nullptr, 0};
        const Octets input = encode(3, [&](KelGlobal *w) { _kel_penc_opentype(w, &out); });
        const Octets expected = aligned ? Octets{0xE0, 0x03, 'x', 'y', 'z'}
                                        : Octets{0xE0, 0x6F, 0x0F, 0x2F, 0x40};
        EXPECT_EQ(input, expected);
        KelOpenType in = {};
        std::string content;
        ASSERT_EQ(decode(input, 3, [&](KelGlobal *w) {
            _kel_pdec_opentype(w, &in);
            content.assign(static_cast<const char *>(in.encoded), in.length);
        }), 0) << world->errMsg;
        EXPECT_EQ(content, "xyz");
        EXPECT_EQ(in.userField, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&anchor)));
        EXPECT_EQ(position(input), endBit);
    }
    world->presetDecFlags = 0;
}

// ---------------------------------------------------------------------------
// Skip primitives against their decoders
// ---------------------------------------------------------------------------

struct SkipCase {
    std::string name;
    Step encode, decode, skip;
    uint32_t compat = 0;
};

TEST_F(PerExtension, SkipsEndWhereTheDecodersEnd) {
    static const int32_t rootValues[] = {1, 2, 3}, extValues[] = {10, 20};
    static int32_t wideRoot[300];
    for (int32_t i = 0; i < 300; ++i)
        wideRoot[i] = i * 3;
    static const KelPerEnumTable root = {3, rootValues}, ext = {2, extValues}, root256 = {256, wideRoot},
                                 root300 = {300, wideRoot};
    static unsigned char indexes[128];
    std::memset(indexes, 255, sizeof indexes);
    for (int i = 0; i < 4; ++i)
        indexes['a' + i] = static_cast<unsigned char>(i);
    static const KelPerAlphabet abcd = {4, reinterpret_cast<const unsigned char *>("abcd"), indexes};

    const uint32_t own = KEL_PER_STRING_FLAGS(8, 1, 7, 1), wide = KEL_PER_STRING_FLAGS(16, 1, 16, 1),
                   wider = KEL_PER_STRING_FLAGS(32, 1, 32, 1);
    static const KelPerString fixed2 = {nullptr, 2, 2, 0, own}, fixed3 = {nullptr, 3, 3, 0, own},
                              upTo10 = {nullptr, 0, 10, 0, own}, upTo1 = {nullptr, 0, 1, 0, own},
                              unbounded = {nullptr, 1, 0, 0, own},
                              extensible = {nullptr, 0, 3, 0, own | KEL_PER_SIZE_EXTENSIBLE},
                              indexed = {&abcd, 0, 8, 0, KEL_PER_STRING_FLAGS(2, 0, 2, 0)},
                              timeDesc = {nullptr, 1, 0, 20, own | KEL_PER_TIME_STRING},
                              bmp = {nullptr, 0, 4, 0, wide},
                              bmpExt = {nullptr, 0, 2, 0, wide | KEL_PER_SIZE_EXTENSIBLE},
                              uni = {nullptr, 2, 2, 0, wider};
    static const uint16_t bmpChars[] = {0x68, 0xE9, 0x263A};
    static const uint32_t uniChars[] = {0x1F600, 0x41};
    static Octets data(70000);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<uint8_t>(i * 7);
    const auto *bytes = data.data();
    static const unsigned char lowerZero[] = {0x00}, lowerTen[] = {0x10}, lowerFive[] = {0x05};
    static const unsigned char hugeSmall[] = {0x15}, huge12[] = {0x0A, 0xBC}, huge24[] = {0x12, 0x34, 0x56},
                               huge256[] = {0x90}, hugeBig[] = {0x7F, 0xFF, 0xFF, 0xFF, 0xFF};
    auto *out = scratch;
    void **ptr = &field;

    auto hugeCase = [&](std::string name, const unsigned char *value, uint32_t count, const unsigned char *lower,
                        uint32_t constraint, bool inRoot) {
        return SkipCase{name,
                        [=](KelGlobal *w) {
                            _kel_penc_limited_huge(w, value, count, lower, lower ? 1 : 0,
                                                   constraint | (inRoot ? KEL_PER_HUGE_IN_ROOT : 0));
                        },
                        [=](KelGlobal *w) {
                            _kel_pdec_limited_huge(w, reinterpret_cast<unsigned char **>(ptr), lower,
                                                   lower ? 1 : 0, constraint);
                        },
                        [=](KelGlobal *w) { _kel_pskip_limited_huge(w, lower, constraint); }};
    };
    auto kmCase = [&](std::string name, const KelPerString *desc, const char *chars, uint8_t extension,
                      uint32_t compat = 0) {
        const auto *c = reinterpret_cast<const unsigned char *>(chars);
        const uint32_t n = static_cast<uint32_t>(std::strlen(chars));
        return SkipCase{name, [=](KelGlobal *w) { _kel_penc_kmstr(w, c, n, desc, extension); },
                        [=](KelGlobal *w) {
                            if (desc->flags & KEL_PER_TIME_STRING)
                                _kel_pdec_nt_kmstr(w, out, desc);
                            else
                                _kel_pdec_va_kmstr(w, out, desc);
                        },
                        [=](KelGlobal *w) { _kel_pskip_ckmstr(w, desc); }, compat};
    };
    auto octCase = [&](std::string name, uint32_t n, uint32_t lb, uint32_t ub) {
        return SkipCase{name, [=](KelGlobal *w) { _kel_penc_constr_oct(w, bytes, n, lb, ub); },
                        [=](KelGlobal *w) { _kel_pdec_constr_voct_ia(w, out, lb, ub); },
                        [=](KelGlobal *w) { _kel_pskip_constr_oct(w, lb, ub); }};
    };
    auto fixedOctCase = [&](std::string name, uint32_t n) {
        return SkipCase{name, [=](KelGlobal *w) { _kel_penc_constr_oct(w, bytes, n, n, n); },
                        [=](KelGlobal *w) { _kel_pdec_fixed_oct(w, out, n); },
                        [=](KelGlobal *w) { _kel_pskip_fixed_oct(w, n); }};
    };
    auto bitCase = [&](std::string name, uint32_t n, uint32_t lb, uint32_t ub) {
        return SkipCase{name, [=](KelGlobal *w) { _kel_penc_constr_bit_l(w, bytes, n, lb, ub, 0, 0); },
                        [=](KelGlobal *w) { _kel_pdec_constr_vbit_ia(w, out, lb, ub); },
                        [=](KelGlobal *w) { _kel_pskip_constr_bit(w, lb, ub); }};
    };
    auto enumCase = [&](std::string name, int32_t value, const KelPerEnumTable *r, const KelPerEnumTable *e) {
        return SkipCase{name, [=](KelGlobal *w) { _kel_penc_enum(w, value, r, e); },
                        [=](KelGlobal *w) { _kel_pdec_enum(w, r, e); },
                        [=](KelGlobal *w) { _kel_pskip_enum(w, r, e); }};
    };
    auto intCase = [&](std::string name, int64_t value, bool semi) {
        return SkipCase{name,
                        [=](KelGlobal *w) {
                            semi ? _kel_penc_semicon_int(w, value, 0) : _kel_penc_unconstr_int(w, value);
                        },
                        [=](KelGlobal *w) { semi ? _kel_pdec_semicon_int(w, 0) : _kel_pdec_unconstr_int(w); },
                        [=](KelGlobal *w) { _kel_pskip_int(w); }};
    };

    const SkipCase cases[] = {
        intCase("semi-constrained 5", 5, true),
        intCase("semi-constrained 10^12", 1000000000000, true),
        intCase("unconstrained -1000", -1000, false),
        enumCase("enum in the root", 2, &root, &ext),
        enumCase("enum among the additions", 20, &root, &ext),
        enumCase("enum of 2 without extension", 3, &root, nullptr),
        enumCase("enum of 256", 600, &root256, nullptr),
        enumCase("enum of 300", 870, &root300, &ext),
        hugeCase("huge width 5", hugeSmall, 1, lowerTen, 5, true),
        hugeCase("huge width 12", huge12, 2, lowerZero, 12, true),
        hugeCase("huge width 24", huge24, 3, lowerZero, 24, true),
        hugeCase("huge range 256", huge256, 1, lowerTen, 256, true),
        hugeCase("huge outside the root", hugeBig, 5, lowerZero, 8 | KEL_PER_HUGE_EXTENSIBLE, false),
        hugeCase("huge in an extensible root", hugeSmall, 1, lowerTen, 5 | KEL_PER_HUGE_EXTENSIBLE, true),
        hugeCase("huge single value", lowerFive, 1, lowerFive, 0, true),
        hugeCase("huge semi-constrained", hugeBig, 5, lowerZero, KEL_PER_HUGE_SEMI, true),
        hugeCase("huge unconstrained", hugeBig, 5, nullptr, KEL_PER_HUGE_SIGNED, true),
        kmCase("fixed 2 characters", &fixed2, "ab", 0),
        kmCase("fixed 3 characters", &fixed3, "abc", 0),
        kmCase("up to 10 characters", &upTo10, "hello", 0),
        kmCase("up to 1 character", &upTo1, "h", 0),
        kmCase("no size constraint", &unbounded, "unbounded", 0),
        kmCase("in the extensible root", &extensible, "abc", 0),
        kmCase("extended", &extensible, "abcdef", 0x80),
        kmCase("extended, own code", &extensible, "abcdef", 0x80, kel::per::kCompatExtendedOwnCode),
        kmCase("alphabet indexes", &indexed, "dcba", 0),
        kmCase("time string", &timeDesc, "20240101120000Z", 0),
        kmCase("time string in octets", &timeDesc, "20240101120000Z", 0, kel::per::kCompatTimeOctets),
        {"BMP string", [](KelGlobal *w) { _kel_penc_bmpstr(w, bmpChars, 3, &bmp, 0); },
         [=](KelGlobal *w) { _kel_pdec_bmpstr(w, reinterpret_cast<uint16_t **>(ptr), &bmp); },
         [](KelGlobal *w) { _kel_pskip_unistr(w, &bmp); }},
        {"BMP string extended, own code", [](KelGlobal *w) { _kel_penc_bmpstr(w, bmpChars, 3, &bmpExt, 0x80); },
         [=](KelGlobal *w) { _kel_pdec_bmpstr(w, reinterpret_cast<uint16_t **>(ptr), &bmpExt); },
         [](KelGlobal *w) { _kel_pskip_unistr(w, &bmpExt); }, kel::per::kCompatExtendedOwnCode},
        {"universal string fixed", [](KelGlobal *w) { _kel_penc_unistr(w, uniChars, 2, &uni, 0); },
         [=](KelGlobal *w) { _kel_pdec_unistr(w, reinterpret_cast<uint32_t **>(ptr), &uni); },
         [](KelGlobal *w) { _kel_pskip_unistr(w, &uni); }},
        fixedOctCase("2 octets", 2),
        fixedOctCase("3 octets", 3),
        fixedOctCase("70000 octets", 70000),
        octCase("5 of up to 10 octets", 5, 0, 10),
        octCase("0 of up to 10 octets", 0, 0, 10),
        octCase("SIZE(0)", 0, 0, 0),
        octCase("20000 of up to 70000 octets", 20000, 0, 70000),
        bitCase("12 bits", 12, 12, 12),
        bitCase("17 bits", 17, 17, 17),
        bitCase("9 of up to 20 bits", 9, 0, 20),
        bitCase("20000 of up to 70000 bits", 20000, 0, 70000),
    };

    for (const SkipCase &c : cases)
        for (uint8_t aligned : kVariants) {
            SCOPED_TRACE(c.name + (aligned ? ", aligned" : ", unaligned"));
            world->aligned = aligned;
            world->ext->compatFlags = c.compat;
            const Octets input = encode(3, c.encode);
            ASSERT_FALSE(input.empty()) << world->errMsg;
            ASSERT_EQ(decode(input, 3, c.decode), 0) << world->errMsg;
            EXPECT_EQ(position(input), endBit) << "the decoder reads what the encoder wrote";
            ASSERT_EQ(decode(input, 3, c.skip), 0) << world->errMsg;
            EXPECT_EQ(position(input), endBit);
            EXPECT_FALSE(tempHeld) << "the skip holds no memory";

            // Any shorter input: the end of input, and nothing else.
            std::vector<size_t> cuts;
            for (size_t cut = 1; cut < input.size(); cut = input.size() <= 64 ? cut + 1 : cut * 3)
                cuts.push_back(cut);
            if (input.size() > 1)
                cuts.push_back(input.size() - 1);
            for (size_t cut : cuts) {
                const Octets shorter(input.begin(), input.begin() + static_cast<ptrdiff_t>(cut));
                EXPECT_NE(decode(shorter, 3, c.skip), 0) << "cut at " << cut;
                EXPECT_EQ(message(), "0081S") << "cut at " << cut;
            }
        }
    world->ext->compatFlags = 0;
}

} // namespace
