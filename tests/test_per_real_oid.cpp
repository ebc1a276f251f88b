// Tests of the PER REAL, object identifier and useful time primitives: exact
// encodings behind a lead bit in both variants, the text forms with and
// without normalisation, every memory form of the object identifier readers,
// the limits of the allocating readers, and hostile contents (lengths that
// lie, truncated subidentifiers, exponents that run over the contents).
#include <cfloat>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_per.h"

namespace {

using Octets = std::vector<uint8_t>;

// One 1 bit, padding in aligned PER, then `contents` as whole octets.
Octets behind_bit(const Octets &contents, bool aligned) {
    Octets out(contents.size() + 1, 0);
    out[0] = 0x80;
    if (aligned) {
        std::copy(contents.begin(), contents.end(), out.begin() + 1);
        return out;
    }
    for (size_t i = 0; i < contents.size(); ++i) {
        out[i] |= contents[i] >> 1;
        out[i + 1] = static_cast<uint8_t>(contents[i] << 7);
    }
    return out;
}

struct PerRealOid : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();

    void TearDown() override {
        _kel_freetempMem(world);
        _kel_freeMem(world, world->freeMem);
    }
    bool failed_with(int rc, const char *number) {
        return rc != 0 && std::strncmp(kelGetErrMsg(world) + 1, number, 5) == 0;
    }
    // What `body` writes behind one 1 bit.
    Octets encoded(bool aligned, const std::function<void()> &body, int *rc = nullptr) {
        _kel_freetempMem(world); // what decoders took would join the output
        _kel_freeMem(world, world->freeMem);
        world->aligned = aligned;
        world->userBuffer = 0, world->outPos = nullptr, world->outRemaining = 0, world->bitOffset = 0;
        world->outQueueTail = &world->outQueue;
        const int code = kel_test::in_frame(world, kel::kPhaseEncoder, [&] {
            _kel_append_1bit_unaligned(world, 0x80);
            body();
        });
        if (rc)
            *rc = code;
        else
            EXPECT_EQ(code, 0) << kelGetErrMsg(world);
        if (code)
            return {};
        uint32_t length = 0;
        unsigned char *value = nullptr;
        kel_test::in_frame(world, kel::kPhaseEncoder, [&] { _kel_set_outmem_p(world, &length, &value); });
        Octets out(value, value + length);
        kelFreeBuf(world, value);
        return out;
    }
    // Runs `body` on `contents` behind one 1 bit, from an exactly sized input.
    int decoded(const Octets &contents, bool aligned, const std::function<void()> &body) {
        const Octets input = behind_bit(contents, aligned);
        world->aligned = aligned;
        world->inPos = const_cast<uint8_t *>(input.data());
        world->inRemaining = static_cast<int32_t>(input.size());
        world->bitOffset = 0;
        return kel_test::in_frame(world, kel::kPhaseDecoder, [&] {
            _kel_get_1bit_unaligned(world);
            body();
        });
    }
};

// ---------------------------------------------------------------------------
// REAL

TEST_F(PerRealOid, DoublesEncodeAndComeBack) {
    const struct {
        double value;
        Octets contents;
    } rows[] = {{0.5, {3, 0x80, 0xFF, 0x01}},   {1.0, {3, 0x80, 0x00, 0x01}}, {-1.0, {3, 0xC0, 0x00, 0x01}},
                {0.0, {0}},                     {-0.0, {1, 0x43}},            {NAN, {1, 0x42}},
                {DBL_MAX, {1, 0x40}},           {-DBL_MAX, {1, 0x41}},
                {1e300, {0x0a, 0x81, 0x03, 0xb2, 0x05, 0xf9, 0x0f, 0x22, 0x00, 0x1d, 0x67}}};
    for (const auto &row : rows)
        for (bool aligned : {true, false}) {
            EXPECT_EQ(encoded(aligned, [&] { _kel_penc_real(world, row.value); }), behind_bit(row.contents, aligned))
                << row.value;
            double back = 7;
            ASSERT_EQ(decoded(row.contents, aligned, [&] { back = _kel_pdec_real(world); }), 0) << kelGetErrMsg(world);
            EXPECT_TRUE(back == row.value || (std::isnan(back) && std::isnan(row.value))) << row.value;
            EXPECT_EQ(std::signbit(back), std::signbit(row.value));
            float single = 7;
            if (std::fabs(row.value) <= FLT_MAX) {
                ASSERT_EQ(decoded(row.contents, aligned, [&] { single = _kel_pdec_freal(world); }), 0);
                EXPECT_EQ(single, static_cast<float>(row.value));
            }
        }
    float single = 0; // infinity in float is its largest value
    ASSERT_EQ(decoded({1, 0x40}, false, [&] { single = _kel_pdec_freal(world); }), 0);
    EXPECT_EQ(single, FLT_MAX);
    EXPECT_TRUE(failed_with(decoded({0x0a, 0x81, 0x03, 0xb2, 0x05, 0xf9, 0x0f, 0x22, 0x00, 0x1d, 0x67}, true,
                                    [&] { _kel_pdec_freal(world); }),
                            "0099E"));
}

TEST_F(PerRealOid, TextNormalisedOrAsWritten) {
    const struct {
        const char *text;
        bool plain; // bit 0x400 of compatFlags
        Octets contents;
    } rows[] = {
        {"1", true, {2, 1, '1'}},
        {"1.", true, {3, 2, '1', '.'}},
        {"-1,5e1", true, {7, 3, '-', '1', ',', '5', 'e', '1'}},
        {"1", false, {6, 3, '1', '.', 'E', '+', '0'}},
        {"-0.0", false, {1, 0x43}},
        {"15E-1", false, {7, 3, '1', '5', '.', 'E', '-', '1'}},
        {"0.00", false, {0}},
        {"0.00", true, {0}},
        {"-0", false, {1, 0x43}},
        {"PLUS_INFINITY", true, {1, 0x40}},
        {"NOT_A_NUMBER", false, {1, 0x42}},
    };
    for (const auto &row : rows)
        for (bool aligned : {true, false}) {
            world->ext->compatFlags = row.plain ? 0x400 : 0;
            EXPECT_EQ(encoded(aligned, [&] { _kel_penc_creal(world, row.text); }), behind_bit(row.contents, aligned))
                << row.text << " plain " << row.plain;
            char *text = nullptr;
            ASSERT_EQ(decoded(row.contents, aligned, [&] { text = _kel_pdec_creal(world); }), 0) << row.text;
            const size_t n = row.contents.size();
            const std::string wire = n > 2 ? std::string(row.contents.begin() + 2, row.contents.end()) : "";
            const char *names[] = {"PLUS_INFINITY", "MINUS_INFINITY", "NOT_A_NUMBER", "-0"};
            EXPECT_STREQ(text, n == 1 ? "0" : n == 2 ? names[row.contents[1] - 0x40] : wire.c_str());
        }
    world->ext->compatFlags = 0;
    const struct {
        const char *text;
        const char *number;
    } refused[] = {{nullptr, "0091E"}, {"1x", "0091E"}, {"E5", "0038E"}, {"1E", "0039E"}};
    for (const auto &r : refused) {
        int rc = 0;
        encoded(true, [&] { _kel_penc_creal(world, r.text); }, &rc);
        EXPECT_TRUE(failed_with(rc, r.number)) << (r.text ? r.text : "null") << ": " << kelGetErrMsg(world);
    }
    world->ext->compatFlags = 0x400;
    int rc = 0;
    encoded(true, [&] { _kel_penc_creal(world, "1x"); }, &rc);
    EXPECT_TRUE(failed_with(rc, "0091E"));
    world->ext->compatFlags = 0;
    encoded(true, [&] { _kel_penc_mreal_ia(world, 2, "x"); }, &rc);
    EXPECT_TRUE(failed_with(rc, "0092E"));
    char *text = nullptr;
    ASSERT_EQ(decoded({3, 0x80, 0xFF, 0x01}, false, [&] { text = _kel_pdec_creal(world); }), 0);
    EXPECT_STREQ(text, "0.5");
}

TEST_F(PerRealOid, MixedRealsKeepSpecialsAndDecimalsAsText) {
    const struct {
        Octets contents;
        uint32_t kind;
        double value;
        const char *text;
    } rows[] = {{{0}, 0, 0, nullptr},
                {{3, 0xC0, 0xFE, 0x09}, 0, -2.25, nullptr},
                {{1, 0x41}, 1, 0, "MINUS_INFINITY"},
                {{4, 2, ' ', '.', '5'}, 1, 0, " .5"}};
    for (const auto &row : rows) {
        KelMixedReal mixed{};
        uint32_t kind = 9;
        world->ext->compatFlags = 0x400; // decimal text goes back as it came
        ASSERT_EQ(decoded(row.contents, false, [&] { kind = _kel_pdec_mreal_ia(world, &mixed.u); }), 0);
        EXPECT_EQ(kind, row.kind);
        if (row.text)
            EXPECT_STREQ(mixed.u.text, row.text);
        else
            EXPECT_EQ(mixed.u.value, row.value);
        mixed.kind = static_cast<int32_t>(kind);
        std::string text = kind ? mixed.u.text : ""; // decoder memory goes before the encode
        if (kind)
            mixed.u.text = text.data();
        EXPECT_EQ(encoded(false, [&] { _kel_penc_mreal_ia(world, mixed.kind, &mixed.u); }),
                  behind_bit(row.contents, false));
    }
}

TEST_F(PerRealOid, HostileRealContents) {
    const struct {
        Octets contents;
        const char *number;
        double relaxedValue; // 0: refused when relaxed too
    } rows[] = {
        {{3, 0x90, 0x00, 0x01}, "0037E", 0},              // base 8
        {{3, 0x84, 0x00, 0x01}, "0037E", 0},              // scale factor
        {{4, 0x81, 0x00, 0x01, 0x01}, "0020E", 2},        // exponent needlessly long
        {{4, 0x81, 0xFF, 0xFF, 0x01}, "0020E", 0.5},
        {{3, 0x80, 0x00, 0x02}, "0037E", 2},              // even mantissa
        {{4, 0x80, 0x00, 0x00, 0x01}, "0037E", 1},        // leading zero octet
        {{2, 0x80, 0x01}, "0021E", 0},                    // the exponent uses up the contents
        {{2, 0x83, 0x01}, "0021E", 0},
        {{8, 0x83, 0x05, 1, 0, 0, 0, 0, 1}, "0021E", 0},  // five exponent octets
        {{4, 0x81, 0x04, 0x01, 0x01}, "0099E", 0},        // exponent 1025
        {{5, 0x82, 0x80, 0x00, 0x00, 0x01}, "0043E", 0},  // underflows to 0
        {{2, 0x43, 0x00}, "0044E", 0},                    // special of two octets
        {{1, 0x44}, "0044E", 0},
        {{2, 0x04, '1'}, "0044E", 0},
        {{2, 0x01, 'A'}, "0038E", 0},
        {{3, 0x03, '1', 'E'}, "0039E", 0},
        {{3, 0x01, '1', '.'}, "0040E", 0},
        {{2, 0x02, '1'}, "0041E", 0},
        {{2, 0x03, '1'}, "0042E", 0},
        {{3, 0x01, '1', ' '}, "0037E", 0},
        {{2, 0x01, '0'}, "0043E", 0},
        {{6, 0x03, '1', 'E', '4', '0', '0'}, "0099E", 0},
        {{3, 0x80, 0xFF}, "0081S", 0},                    // the length lies
    };
    for (const auto &row : rows)
        for (bool relaxedMode : {false, true}) {
            world->modeBits = relaxedMode ? KEL_MODE_RELAXED : 0;
            double value = 0;
            const int rc = decoded(row.contents, true, [&] { value = _kel_pdec_real(world); });
            if (relaxedMode && row.relaxedValue) {
                EXPECT_EQ(rc, 0) << kelGetErrMsg(world);
                EXPECT_EQ(value, row.relaxedValue);
            } else {
                EXPECT_TRUE(failed_with(rc, row.number))
                    << "octet " << int(row.contents[1 % row.contents.size()]) << ": " << kelGetErrMsg(world);
            }
        }
    world->modeBits = 0;
    double value = 0; // the liberal reader
    ASSERT_EQ(decoded({8, 3, ' ', '-', '1', ',', '5', 'e', '1'}, false, [&] { value = _kel_pdec_real(world); }), 0);
    EXPECT_EQ(value, -15);
    const struct {
        Octets contents;
        const char *number;
    } texts[] = {{{1, 0x01}, "0037E"}, {{2, 0x40, 0x00}, "0037E"}, {{2, 0x42, 0x00}, "0044E"}};
    for (const auto &t : texts)
        EXPECT_TRUE(failed_with(decoded(t.contents, true, [&] { _kel_pdec_creal(world); }), t.number));
}

// ---------------------------------------------------------------------------
// Object identifiers

const uint32_t kRsa[] = {1, 2, 840, 113549, 1, 1, 11};
const Octets kRsaContents = {9, 0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x01, 0x0b};

TEST_F(PerRealOid, EveryWriterGivesTheSameContents) {
    const uint16_t shorts[] = {2, 5, 4, 3};
    KelOidLink nodes[7];
    for (int i = 0; i < 7; ++i)
        nodes[i] = {i < 6 ? &nodes[i + 1] : nullptr, kRsa[i]};
    for (bool aligned : {true, false}) {
        const Octets want = behind_bit(kRsaContents, aligned);
        EXPECT_EQ(encoded(aligned, [&] { _kel_penc_objidi(world, kRsa, 7); }), want);
        EXPECT_EQ(encoded(aligned, [&] { _kel_penc_link_objidl_ia(world, nodes); }), want);
        EXPECT_EQ(encoded(aligned, [&] { _kel_penc_eobjid_ia(world, kRsaContents.data() + 1, 9, 9); }), want);
        EXPECT_EQ(encoded(aligned, [&] {
                      _kel_penc_lfrag(world, 9);
                      uint32_t word = 0;
                      for (uint32_t i = 0; i < 7; ++i)
                          _kel_penc_subid(world, i, kRsa[i], &word);
                  }),
                  want);
        EXPECT_EQ(encoded(aligned, [&] { _kel_penc_objids(world, shorts, 4); }),
                  behind_bit({3, 0x55, 0x04, 0x03}, aligned));
    }
    const struct {
        std::vector<uint32_t> arcs;
        const char *number;
    } refused[] = {{{3, 1}, "0010S"}, {{1, 40}, "0010S"}, {{0, 0, 0}, "0010S"}, {{0, 0, 27}, "0010S"},
                   {{2, 0xFFFFFFFF}, "0010S"}, {{1}, "0010S"}};
    for (const auto &r : refused) {
        int rc = 0;
        encoded(true, [&] { _kel_penc_objidi(world, r.arcs.data(), static_cast<uint32_t>(r.arcs.size())); }, &rc);
        EXPECT_TRUE(failed_with(rc, r.number)) << r.arcs.size() << " arcs: " << kelGetErrMsg(world);
    }
    int rc = 0;
    encoded(true, [&] { _kel_penc_objidi(world, nullptr, 2); }, &rc);
    EXPECT_TRUE(failed_with(rc, "0011S"));
    encoded(true, [&] { _kel_penc_ereloid_ia(world, kRsaContents.data(), 9, 8); }, &rc);
    EXPECT_TRUE(failed_with(rc, "0016S"));
}

// The arcs that every reader gives for `contents`, as text "a.b.c".
std::vector<std::string> read_all_forms(PerRealOid &t, const Octets &contents, bool aligned) {
    KelGlobal *world = t.world;
    std::vector<std::string> out;
    auto dotted = [](auto arcs, uint32_t n) {
        std::string s;
        for (uint32_t i = 0; i < n; ++i)
            s += (i ? "." : "") + std::to_string(arcs[i]);
        return s;
    };
    uint32_t arcs[64];
    uint16_t shorts[64], count = 0;
    void *block = nullptr;
    uint32_t *unbounded = nullptr;
    void *head = nullptr;
    const std::function<void()> readers[] = {
        [&] { _kel_pdec_aobjidi(world, arcs, &count, 64), out.push_back(dotted(arcs, count)); },
        [&] { _kel_pdec_aobjids(world, shorts, &count, 0x10040), out.push_back(dotted(shorts, count)); },
        [&] {
            _kel_pdec_aobjidi_ptr_ia(world, &block, 8);
            uint16_t n;
            std::memcpy(&n, static_cast<uint8_t *>(block) + 8, 2);
            out.push_back(dotted(reinterpret_cast<uint32_t *>(static_cast<uint8_t *>(block) + 12), n));
        },
        [&] { _kel_pdec_uobjidl(world, &unbounded, &count), out.push_back(dotted(unbounded, count)); },
        [&] {
            _kel_pdec_link_objids(world, &head);
            std::string s;
            for (auto *node = static_cast<KelOidLink *>(head); node; node = node->next)
                s += (s.empty() ? "" : ".") + std::to_string(node->value & 0xFFFF);
            out.push_back(s);
        },
        [&] {
            uint8_t last;
            uint32_t left = _kel_pdec_length(world, 0, 0, &last), second = 0, i = 0;
            while (left || i == 1)
                left -= static_cast<uint32_t>(_kel_pdec_subid(world, i, left, &arcs[i], &second)), ++i;
            out.push_back(dotted(arcs, i));
        },
    };
    for (const auto &read : readers)
        EXPECT_EQ(t.decoded(contents, aligned, read), 0) << kelGetErrMsg(world);
    return out;
}

TEST_F(PerRealOid, EveryReaderGivesTheSameArcs) {
    const struct {
        Octets contents;
        const char *dotted;
    } rows[] = {{{1, 0x55}, "2.5"}, {{2, 0x00, 0x00}, "0.0.0"}, {{3, 0x55, 0x04, 0x03}, "2.5.4.3"},
                {{5, 0x2a, 0x86, 0x48, 0x84, 0x00}, "1.2.840.512"}};
    for (const auto &row : rows)
        for (bool aligned : {true, false})
            for (const std::string &got : read_all_forms(*this, row.contents, aligned))
                EXPECT_EQ(got, row.dotted) << "aligned " << aligned;
    uint32_t arcs[8];
    uint16_t count = 77;
    ASSERT_EQ(decoded({0}, true, [&] { _kel_pdec_aobjidi(world, arcs, &count, 8); }), 0);
    EXPECT_EQ(count, 77); // empty contents leave the count field alone
    uint8_t caller[9];
    uint32_t n = 0;
    ASSERT_EQ(decoded(kRsaContents, false, [&] { n = _kel_pdec_eobjid_ia(world, caller, 9); }), 0);
    EXPECT_EQ(Octets(caller, caller + n), Octets(kRsaContents.begin() + 1, kRsaContents.end()));
    EXPECT_TRUE(failed_with(decoded(kRsaContents, false, [&] { _kel_pdec_eobjid_ia(world, caller, 8); }), "0016S"));
}

TEST_F(PerRealOid, LimitsAndHostileIdentifiers) {
    // 1.2 and then arcs of one octet: `octets` contents octets.
    auto long_oid = [](uint32_t octets) {
        Octets c = {static_cast<uint8_t>(0x80 | octets >> 8), static_cast<uint8_t>(octets), 0x2a};
        if (octets < 128)
            c.erase(c.begin());
        c.resize(c.size() + octets - 1, 0x05);
        return c;
    };
    static uint32_t arcs[400];
    uint32_t *pointer = nullptr;
    uint16_t count = 0;
    void *field = nullptr;
    auto unbounded = [&] { _kel_pdec_uobjidi(world, &pointer, &count); };
    auto listed = [&] { _kel_pdec_link_objidi(world, &field); };
    auto shortBlock = [&] { _kel_pdec_aobjids_ptr_ia(world, &field, 0); };
    auto encodedForm = [&] { _kel_pdec_eobjid_ia(world, &field, -1); };
    for (bool aligned : {true, false}) {
        for (const std::function<void()> &read : {std::function<void()>(unbounded), std::function<void()>(listed),
                                                  std::function<void()>(encodedForm)}) {
            EXPECT_EQ(decoded(long_oid(225), aligned, read), 0);
            EXPECT_TRUE(failed_with(decoded(long_oid(226), aligned, read), "0015E"));
        }
        EXPECT_EQ(decoded(long_oid(226), aligned, [&] { _kel_pdec_aobjidi(world, arcs, &count, 400); }), 0);
        EXPECT_EQ(count, 227);
        EXPECT_TRUE(failed_with(decoded(long_oid(226), aligned, [&] { _kel_pdec_aobjidi(world, arcs, &count, 226); }),
                                "0016S"));
        EXPECT_EQ(decoded(long_oid(49), aligned, shortBlock), 0); // 50 arcs
        EXPECT_TRUE(failed_with(decoded(long_oid(50), aligned, shortBlock), "0016S"));
        EXPECT_TRUE(failed_with(decoded(long_oid(50), aligned, [&] { _kel_pdec_aobjidi_ptr_ia(world, &field, 4); }),
                                "0016S"));
    }
    const struct {
        Octets contents;
        const char *number;
    } hostile[] = {
        {{6, 0x2a, 0x90, 0x80, 0x80, 0x80, 0x00}, "0025E"}, // 33 bits
        {{7, 0x2a, 0x80, 0x80, 0x80, 0x80, 0x80, 0x01}, "0025E"},
        {{3, 0x2a, 0x81, 0x81}, "0037E"},                   // ends inside a subidentifier
        {{5, 0x2a, 0x01}, "0081S"},                         // the length lies
        {{0}, "0037E"},                                     // empty, unless relaxed
        {{4, 0x2a, 0x84, 0xA2, 0x70}, "0025E"},             // 70000 in 16 bits
    };
    for (const auto &h : hostile)
        for (bool aligned : {true, false}) {
            uint16_t shorts[8], *shortArcs = nullptr;
            EXPECT_TRUE(failed_with(decoded(h.contents, aligned, [&] { _kel_pdec_uobjids(world, &shortArcs, &count); }),
                                    h.number))
                << int(h.contents[0]) << ": " << kelGetErrMsg(world);
            if (h.contents[0] != 0) {
                EXPECT_TRUE(failed_with(
                    decoded(h.contents, aligned, [&] { _kel_pdec_aobjids(world, shorts, &count, 8); }), h.number));
            }
        }
    const uint32_t widest[] = {2, 0xFFFFFFFF - 80, 0xFFFFFFFF};
    ASSERT_EQ(decoded(Octets{10, 0x8F, 0xFF, 0xFF, 0xFF, 0x7F, 0x8F, 0xFF, 0xFF, 0xFF, 0x7F}, true,
                      [&] { _kel_pdec_aobjidi(world, arcs, &count, 8); }),
              0);
    EXPECT_EQ(std::vector<uint32_t>(arcs, arcs + count), std::vector<uint32_t>(widest, widest + 3));
    world->modeBits = KEL_MODE_RELAXED;
    pointer = arcs;
    EXPECT_EQ(decoded({0}, true, unbounded), 0);
    EXPECT_EQ(pointer, nullptr);
    world->modeBits = 0;
}

// ---------------------------------------------------------------------------
// GeneralizedTime and UTCTime

TEST_F(PerRealOid, UsefulTimesAsVisibleText) {
    const struct {
        KelTimeStruct time;
        bool utcTime;
        const char *text;
    } rows[] = {
        {{1985, 11, 6, 21, 6, 27, 500, 0, 1}, false, "19851106210627.5Z"},
        {{1985, 11, 6, 21, 6, 27, 0, 0, 1}, false, "19851106210627Z"},
        {{1985, 11, 6, 21, 6, 27, 120, -300, 0}, false, "19851106210627.12-0500"},
        {{1985, 11, 6, 21, 6, 27, 0, 0, 0}, false, "19851106210627"},
        {{91, 5, 6, 23, 45, 40, 0, 0, 0}, true, "910506234540Z"},
        {{91, 5, 6, 16, 45, 40, 0, 330, 0}, true, "910506164540+0530"},
    };
    for (const auto &row : rows)
        for (bool aligned : {true, false}) {
            const std::string text = row.text;
            Octets want;
            if (aligned) {
                want = {static_cast<uint8_t>(text.size())};
                want.insert(want.end(), text.begin(), text.end());
                want = behind_bit(want, true);
            } else { // 1, the length octet, 7 bits a character
                std::vector<bool> bits = {true};
                for (int b = 7; b >= 0; --b)
                    bits.push_back(text.size() >> b & 1);
                for (char c : text)
                    for (int b = 6; b >= 0; --b)
                        bits.push_back(c >> b & 1);
                want.assign((bits.size() + 7) / 8, 0);
                for (size_t i = 0; i < bits.size(); ++i)
                    want[i / 8] |= static_cast<uint8_t>(bits[i] << (7 - i % 8));
            }
            const Octets got = encoded(aligned, [&] {
                row.utcTime ? _kel_penc_utime(world, &row.time) : _kel_penc_gtime(world, &row.time);
            });
            EXPECT_EQ(got, want) << row.text << " aligned " << aligned;
            KelTimeStruct back{};
            world->aligned = aligned;
            world->inPos = const_cast<uint8_t *>(got.data()), world->inRemaining = static_cast<int32_t>(got.size());
            world->bitOffset = 0;
            ASSERT_EQ(kel_test::in_frame(world, kel::kPhaseDecoder, [&] {
                          _kel_get_1bit_unaligned(world);
                          row.utcTime ? _kel_pdec_utime(world, &back) : _kel_pdec_gtime(world, &back);
                      }),
                      0)
                << row.text << ": " << kelGetErrMsg(world);
            EXPECT_EQ(std::memcmp(&back, &row.time, offsetof(KelTimeStruct, mindiff)), 0) << row.text;
            EXPECT_EQ(back.mindiff, row.time.mindiff);
        }
    KelTimeStruct bad = {2024, 13, 1, 0, 0, 0, 0, 0, 1};
    int rc = 0;
    encoded(true, [&] { _kel_penc_gtime(world, &bad); }, &rc);
    EXPECT_TRUE(failed_with(rc, "0012S") && std::strstr(kelGetErrMsg(world), "Month = 13")) << kelGetErrMsg(world);
    bad = {2024, 1, 1, 0, 0, 0, 5, 0, 1};
    encoded(true, [&] { _kel_penc_utime(world, &bad); }, &rc);
    EXPECT_TRUE(failed_with(rc, "0012S") && std::strstr(kelGetErrMsg(world), "Millisecond"));
    world->encodingFlags |= NOCONSTRAIN;
    encoded(true, [&] { _kel_penc_utime(world, &bad); }, &rc);
    EXPECT_EQ(rc, 0);
    world->encodingFlags &= ~NOCONSTRAIN;

    Octets tooLong = {32};
    tooLong.resize(33, '1');
    KelTimeStruct back;
    EXPECT_TRUE(failed_with(decoded(tooLong, true, [&] { _kel_pdec_gtime(world, &back); }), "0037E"));
    EXPECT_TRUE(failed_with(decoded({4, '1', '9', '8', '5'}, true, [&] { _kel_pdec_gtime(world, &back); }), "0037E"));
    EXPECT_TRUE(failed_with(decoded({13, '9', '1'}, true, [&] { _kel_pdec_utime(world, &back); }), "0081S"));
}

} // namespace
