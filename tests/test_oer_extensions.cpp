// Tests of the OER extension frame and its kin: the length written ahead of
// a content once it is known (moving the content up across block ends and
// inside a caller's buffer, nested, with repeated tags), the relay of kept
// additions and of the presence bitmap, the bitmap checks and the skipping
// of unknown additions.
#include <cstring>

#include "oer_fixture.h"

namespace {

using kel_test::Octets;

// A content of n octets that shows where each one went.
Octets pattern(uint32_t n, uint32_t seed = 3) {
    Octets out(n);
    for (uint32_t i = 0; i < n; ++i)
        out[i] = static_cast<uint8_t>(i * 7 + seed);
    return out;
}

Octets length_octets(uint32_t n) {
    if (n < 128)
        return {static_cast<uint8_t>(n)};
    Octets out;
    for (uint32_t v = n; v; v >>= 8)
        out.insert(out.begin(), static_cast<uint8_t>(v));
    out.insert(out.begin(), static_cast<uint8_t>(0x80 | out.size()));
    return out;
}

Octets join(std::initializer_list<Octets> parts) {
    Octets out;
    for (const Octets &p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}

struct OerExtensions : kel_test::OerFixture {
    // `lead` octets, then a frame around `content`.
    static void framed(KelGlobal *w, const Octets &lead, const Octets &content, bool nonEmpty = false,
                       uint32_t copies = 0) {
        _kel_oenc_append_bytes(w, lead.data(), static_cast<uint32_t>(lead.size()));
        KelPushFrame frame;
        _kel_oenc_begin_ext(w, &frame);
        frame.bitOffset = nonEmpty;
        frame.spare = copies;
        _kel_oenc_append_bytes(w, content.data(), static_cast<uint32_t>(content.size()));
        // Measuring, an empty content counts 0 even where it will become one octet.
        const bool forced = content.empty() && nonEmpty && !kel::counting(w);
        EXPECT_EQ(_kel_oenc_end_ext(w, &frame), static_cast<int32_t>(forced ? 1 : content.size()));
    }
};

TEST_F(OerExtensions, LengthGoesAheadOfTheContentWhereverTheBlocksEnd) {
    // Leads put the reserved octet well inside a block, as the last octet of
    // one, and on the first octet of the next; contents need one to three
    // length octets and cross one or several block ends.
    for (uint32_t leadSize : {0u, 5u, 1020u, 1023u, 1024u}) {
        for (uint32_t n : {1u, 127u, 128u, 300u, 1500u, 5000u, 70000u}) {
            SCOPED_TRACE(testing::Message() << "lead " << leadSize << " content " << n);
            const Octets lead = pattern(leadSize, 11), content = pattern(n);
            EXPECT_EQ(encoded([&](KelGlobal *w) { framed(w, lead, content); }),
                      join({lead, length_octets(n), content}));
        }
    }
}

TEST_F(OerExtensions, EmptyContentAndTheNonEmptyWord) {
    EXPECT_EQ(encoded([&](KelGlobal *w) { framed(w, {}, {}); }), (Octets{0x00}));
    EXPECT_EQ(encoded([&](KelGlobal *w) { framed(w, {}, {}, true); }), (Octets{0x01, 0x00}));
    EXPECT_EQ(encoded([&](KelGlobal *w) {
                  _kel_oenc_repeat_tag(w, 0x80);
                  framed(w, {0xEE}, {}, true, 1);
              }),
              (Octets{0xEE, 0x80, 0x01, 0x00}))
        << "a repeated tag ahead of the forced octet";
}

TEST_F(OerExtensions, RepeatedTagsGoAheadOfTheLength) {
    struct Row {
        uint32_t tag, copies, n, lead;
        Octets prefix;
    } rows[] = {
        {0x1234, 2, 1, 0, {0x12, 0x34, 0x12, 0x34, 0x01}},
        {0x1234, 2, 200, 1022, {0x12, 0x34, 0x12, 0x34, 0x81, 0xC8}},
        {0x81, 1, 3, 0, {0x81, 0x03}},
        {0xBF8101, 1, 2, 0, {0xBF, 0x81, 0x01, 0x02}},
        // Seven three-octet tags make a prefix too long for the local area.
        {0xBF8101, 7, 2000, 1000, {0xBF, 0x81, 0x01, 0xBF, 0x81, 0x01, 0xBF, 0x81, 0x01, 0xBF, 0x81, 0x01,
                                    0xBF, 0x81, 0x01, 0xBF, 0x81, 0x01, 0xBF, 0x81, 0x01, 0x82, 0x07, 0xD0}},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.n);
        const Octets lead = pattern(r.lead, 1), content = pattern(r.n);
        EXPECT_EQ(encoded([&](KelGlobal *w) {
                      _kel_oenc_repeat_tag(w, r.tag);
                      framed(w, lead, content, false, r.copies);
                  }),
                  join({lead, r.prefix, content}));
    }
}

TEST_F(OerExtensions, NestedFramesEachGetTheirLength) {
    const Octets inner = pattern(300), tail = pattern(2, 9);
    const Octets got = encoded([&](KelGlobal *w) {
        _kel_oenc_append_bytes(w, pattern(1000).data(), 1000);
        KelPushFrame outer, nested;
        _kel_oenc_begin_ext(w, &outer);
        _kel_oenc_begin_ext(w, &nested);
        _kel_oenc_append_bytes(w, inner.data(), 300);
        EXPECT_EQ(_kel_oenc_end_ext(w, &nested), 300);
        _kel_oenc_append_bytes(w, tail.data(), 2);
        EXPECT_EQ(_kel_oenc_end_ext(w, &outer), 305);
    });
    EXPECT_EQ(got, join({pattern(1000), {0x82, 0x01, 0x31, 0x82, 0x01, 0x2C}, inner, tail}));
}

TEST_F(OerExtensions, CallersBufferMovesInPlaceAndReportsWhenFull) {
    const Octets content = pattern(200), head = {0x55};
    for (uint32_t size : {203u, 202u}) {
        Octets buffer(size);
        world->encRules = KEL_OER;
        world->encodingFlags = 0;
        world->userBuffer = 1, world->outPos = buffer.data(), world->outRemaining = static_cast<int32_t>(size);
        const int rc = kel_test::in_frame(world, kel::kPhaseEncoder, [&] { framed(world, head, content); });
        if (size == 203) {
            EXPECT_EQ(rc, 0) << kelGetErrMsg(world);
            EXPECT_EQ(buffer, join({{0x55, 0x81, 0xC8}, content}));
        } else {
            EXPECT_TRUE(failed_with(rc, "0001S") || rc == 1) << kelGetErrMsg(world);
        }
    }
    world->userBuffer = 0;
}

TEST_F(OerExtensions, KeptAdditionsAndBitmapsAreRelayed) {
    const Octets two = {0xAA, 0xBB};
    struct Row {
        std::function<void(KelGlobal *)> body;
        Octets octets;
    } rows[] = {
        {[&](KelGlobal *w) { _kel_oenc_rsf_ext(w, 0x82, 2, two.data()); }, {0x82, 0x02, 0xAA, 0xBB}},
        {[&](KelGlobal *w) { _kel_oenc_rsf_ext(w, 0xBF45, 2, two.data()); }, {0xBF, 0x45, 0x02, 0xAA, 0xBB}},
        {[&](KelGlobal *w) { _kel_oenc_rsf_ext(w, 0xBF8101, 2, two.data()); },
         {0xBF, 0x81, 0x01, 0x02, 0xAA, 0xBB}},
        // Nine known bits: two octets, seven unused.
        {[](KelGlobal *w) {
             const unsigned char bits[] = {0xFF, 0xFF};
             _kel_oenc_rsf_ext_bitmask(w, bits, 9, nullptr, 0);
         },
         {0x03, 0x07, 0xFF, 0x80}},
        // Three known (101) and two unknown (11): 10111 and three free bits.
        {[](KelGlobal *w) {
             const unsigned char known[] = {0xBF}, unknown[] = {0xFF};
             _kel_oenc_rsf_ext_bitmask(w, known, 3, unknown, 2);
         },
         {0x02, 0x03, 0xB8}},
        // Eight known bits, then eleven unknown ones on octets of their own.
        {[](KelGlobal *w) {
             const unsigned char known[] = {0x81}, unknown[] = {0xC3, 0xFF};
             _kel_oenc_rsf_ext_bitmask(w, known, 8, unknown, 11);
         },
         {0x04, 0x05, 0x81, 0xC3, 0xE0}},
        // Six known and twelve unknown bits spread over three octets.
        {[](KelGlobal *w) {
             const unsigned char known[] = {0xFC}, unknown[] = {0xAB, 0xCD};
             _kel_oenc_rsf_ext_bitmask(w, known, 6, unknown, 12);
         },
         {0x04, 0x06, 0xFE, 0xAF, 0x00}},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(testing::PrintToString(r.octets));
        EXPECT_EQ(encoded(r.body), r.octets);
    }
    // 1040 bits take a long determinant: 131 octets.
    const Octets bits(130, 0x5A);
    const Octets got = encoded([&](KelGlobal *w) { _kel_oenc_rsf_ext_bitmask(w, bits.data(), 1040, nullptr, 0); });
    EXPECT_EQ(got, join({{0x81, 0x83, 0x00}, bits}));
}

TEST_F(OerExtensions, BitmapChecks) {
    const struct {
        Octets bits;
        uint32_t count;
        const char *failure;
    } rows[] = {
        {{0x80}, 1, nullptr},         {{0x00, 0x01}, 16, nullptr}, {{0xC0}, 1, "0263E"},
        {{0x00}, 8, "0037E"},         {{0x00}, 0, "0037E"},        {{0x00, 0x80}, 9, nullptr},
        {{0x00, 0x00, 0x00}, 20, "0037E"},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(testing::PrintToString(r.bits));
        const int rc = decoded({}, KEL_OER, [&](KelGlobal *w) { _kel_odec_check_eapb(w, r.bits.data(), r.count); });
        if (r.failure)
            EXPECT_TRUE(failed_with(rc, r.failure)) << kelGetErrMsg(world);
        else
            EXPECT_EQ(rc, 0) << kelGetErrMsg(world);
    }
}

TEST_F(OerExtensions, UnknownAdditionsAreSteppedOverByTheirLength) {
    const unsigned char bits[] = {0x4A}; // 0100 1010: positions 1, 4 and 6
    const Octets input = join({{0x02, 0xAA, 0xBB}, {0x81, 0x80}, pattern(128), {0x00}, {0x77}});
    uint32_t skipped = 9;
    // From position 2 on, two additions stand in the input; the octet behind
    // them is the next field.
    EXPECT_EQ(decoded(input, KEL_OER, [&](KelGlobal *w) { skipped = _kel_odec_skip_unknown(w, bits, 2, 8); }), 0);
    EXPECT_EQ(skipped, 1u);
    EXPECT_EQ(consumed(input), 3 + 130);
    EXPECT_EQ(decoded(input, KEL_OER, [&](KelGlobal *w) { skipped = _kel_odec_skip_unknown(w, bits, 7, 8); }), 0);
    EXPECT_EQ(skipped, 0u);
    EXPECT_EQ(consumed(input), 0);
    // A length that promises more than the input holds.
    const Octets cut = {0x05, 0x01, 0x02};
    EXPECT_TRUE(failed_with(decoded(cut, KEL_OER, [&](KelGlobal *w) { _kel_odec_skip_unknown(w, bits, 0, 2); }),
                            "0081S"));
    // Ten thousand bits, every one set, and nothing behind them.
    const Octets many(1250, 0xFF);
    EXPECT_TRUE(failed_with(decoded({}, KEL_OER, [&](KelGlobal *w) { _kel_odec_skip_unknown(w, many.data(), 0, 10000); }),
                            "0081S"));
}

TEST_F(OerExtensions, TypesTheFamilyCantCodeAreNamed) {
    const int named = kel_test::in_frame(world, kel::kPhaseEncoder, [&] { _kel_oenc_not_supported(world, 0, "Rec"); });
    EXPECT_EQ(named, 25);
    EXPECT_NE(std::strstr(kelGetErrMsg(world), "0338S"), nullptr);
    EXPECT_NE(std::strstr(kelGetErrMsg(world), "'Rec'"), nullptr) << kelGetErrMsg(world);
    const int unnamed = kel_test::in_frame(world, kel::kPhaseDecoder, [&] { _kel_odec_not_supported(world, nullptr, ""); });
    EXPECT_EQ(unnamed, 25);
    EXPECT_NE(std::strstr(kelGetErrMsg(world), "0002S"), nullptr);
}

} // namespace
