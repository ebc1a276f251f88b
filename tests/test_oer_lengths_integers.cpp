// Tests of the OER lengths, tags, integers, enumerations and booleans: exact
// octets and round trips, what OER absorbs and COER refuses, the failures
// with their message numbers, truncated input, writes across block ends,
// the measure of an item and the drivers' empty PDU.
#include <cstring>

#include "oer_fixture.h"

namespace {

using kel_test::Octets;
using kel_test::OerBody;
using kel_test::with_content;

using Decode = std::function<int64_t(KelGlobal *)>;
template <auto F> int64_t call(KelGlobal *w) { return static_cast<int64_t>(F(w)); }

// A decoder fed `input` under OER and COER: each rule either yields
// `expect` or fails with its message number.
struct DecodeRow {
    Octets input;
    Decode decode;
    const char *oer; // null: yields `expect`
    const char *coer;
    int64_t expect;
};

struct OerPrims : kel_test::OerFixture {
    void check_one(const DecodeRow &row) {
        for (uint32_t rules : {KEL_OER, KEL_COER}) {
            SCOPED_TRACE(rules);
            const char *failure = rules == KEL_OER ? row.oer : row.coer;
            int64_t got = -77;
            const int rc = decoded(row.input, rules, [&](KelGlobal *w) { got = row.decode(w); });
            if (failure) {
                EXPECT_TRUE(failed_with(rc, failure)) << kelGetErrMsg(world);
            } else {
                EXPECT_EQ(rc, 0) << kelGetErrMsg(world);
                if (rc == 0) {
                    EXPECT_EQ(got, row.expect);
                }
            }
        }
    }
    void check(std::initializer_list<DecodeRow> rows) {
        for (const DecodeRow &row : rows) {
            SCOPED_TRACE(testing::PrintToString(row.input));
            check_one(row);
        }
    }
};

// An encoder, the octets it must give, and the decoder that reads them back.
struct RoundTripRow {
    OerBody encode;
    Octets octets;
    Decode decode;
    int64_t value;
};

TEST_F(OerPrims, RoundTripsGiveExactOctetsAndFailWhenCut) {
    const RoundTripRow rows[] = {
        // Count form.
        {[](KelGlobal *w) { _kel_oenc_int(w, 0); }, {0x01, 0x00}, call<_kel_odec_int>, 0},
        {[](KelGlobal *w) { _kel_oenc_int(w, -128); }, {0x01, 0x80}, call<_kel_odec_int>, -128},
        {[](KelGlobal *w) { _kel_oenc_int(w, 128); }, {0x02, 0x00, 0x80}, call<_kel_odec_int>, 128},
        {[](KelGlobal *w) { _kel_oenc_int(w, -129); }, {0x02, 0xFF, 0x7F}, call<_kel_odec_int_s>, -129},
        {[](KelGlobal *w) { _kel_oenc_int(w, INT32_MIN); }, {0x04, 0x80, 0, 0, 0}, call<_kel_odec_int>, INT32_MIN},
        {[](KelGlobal *w) { _kel_oenc_int_ll(w, INT64_MIN); }, {0x08, 0x80, 0, 0, 0, 0, 0, 0, 0}, call<_kel_odec_int_ll>, INT64_MIN},
        {[](KelGlobal *w) { _kel_oenc_uint(w, 200); }, {0x01, 0xC8}, call<_kel_odec_uint_s>, 200},
        {[](KelGlobal *w) { _kel_oenc_uint(w, UINT32_MAX); }, {0x04, 0xFF, 0xFF, 0xFF, 0xFF}, call<_kel_odec_uint>, UINT32_MAX},
        {[](KelGlobal *w) { _kel_oenc_uint_ll(w, 1ull << 56); }, {0x08, 0x01, 0, 0, 0, 0, 0, 0, 0}, call<_kel_odec_uint_ll>, 1ll << 56},
        // Fixed fields.
        {[](KelGlobal *w) { _kel_oenc_int_1byte(w, -128); }, {0x80}, call<_kel_odec_int_1byte>, -128},
        {[](KelGlobal *w) { _kel_oenc_int_2byte(w, -2); }, {0xFF, 0xFE}, call<_kel_odec_int_2byte>, -2},
        {[](KelGlobal *w) { _kel_oenc_int_4byte(w, -70000); }, {0xFF, 0xFE, 0xEE, 0x90}, call<_kel_odec_int_4byte>, -70000},
        {[](KelGlobal *w) { _kel_oenc_int_8byte(w, -2); }, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}, call<_kel_odec_int_8byte>, -2},
        {[](KelGlobal *w) { _kel_oenc_uint_1byte(w, 255); }, {0xFF}, call<_kel_odec_uint_1byte>, 255},
        {[](KelGlobal *w) { _kel_oenc_uint_2byte(w, 65535); }, {0xFF, 0xFF}, call<_kel_odec_uint_2byte>, 65535},
        {[](KelGlobal *w) { _kel_oenc_uint_3byte(w, 0xABCDEF00); }, {0xAB, 0xCD, 0xEF}, call<_kel_odec_uint_3byte>, 0xABCDEF00},
        {[](KelGlobal *w) { _kel_oenc_uint_4byte(w, 0x80000001); }, {0x80, 0, 0, 0x01}, call<_kel_odec_uint_4byte>, 0x80000001},
        {[](KelGlobal *w) { _kel_oenc_uint_8byte(w, 0x0102030405060708); }, {1, 2, 3, 4, 5, 6, 7, 8}, call<_kel_odec_uint_8byte>, 0x0102030405060708},
        // Enumerations, short and long.
        {[](KelGlobal *w) { _kel_oenc_enum(w, 127); }, {0x7F}, call<_kel_odec_enum>, 127},
        {[](KelGlobal *w) { _kel_oenc_enum(w, 128); }, {0x82, 0x00, 0x80}, call<_kel_odec_enum>, 128},
        {[](KelGlobal *w) { _kel_oenc_enum(w, -1); }, {0x81, 0xFF}, call<_kel_odec_enum>, -1},
        {[](KelGlobal *w) { _kel_oenc_uenum(w, 128); }, {0x82, 0x00, 0x80}, call<_kel_odec_uenum>, 128},
        {[](KelGlobal *w) { _kel_oenc_uenum(w, UINT32_MAX); }, {0x85, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}, call<_kel_odec_uenum>, UINT32_MAX},
    };
    for (const RoundTripRow &row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.octets));
        EXPECT_EQ(encoded(row.encode), row.octets);
        check_one({row.octets, row.decode, nullptr, nullptr, row.value});
        EXPECT_EQ(consumed(row.octets), static_cast<int32_t>(row.octets.size()));
        const Octets cut(row.octets.begin(), row.octets.end() - 1);
        check_one({cut, row.decode, "0081S", "0081S", 0});
    }
}

TEST_F(OerPrims, LengthDeterminants) {
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_octet_length(w, 127); }), (Octets{0x7F}));
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_octet_length(w, 128); }), (Octets{0x81, 0x80}));
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_octet_length(w, 256); }), (Octets{0x82, 0x01, 0x00}));
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_octet_length(w, UINT32_MAX); }), (Octets{0x84, 0xFF, 0xFF, 0xFF, 0xFF}));
    unsigned char form[5];
    EXPECT_EQ(_kel_oenc_enc_length(0, form), 1u);
    EXPECT_EQ(form[0], 0x80);
    EXPECT_EQ(_kel_oenc_enc_length(300, form), 3u);
    EXPECT_EQ(Octets(form, form + 3), (Octets{0x82, 0x01, 0x2C}));

    const Decode length = call<_kel_odec_length>;
    check({
        {with_content({0x7F}, 127), length, nullptr, nullptr, 127},
        {with_content({0x81, 0x80}, 128), length, nullptr, nullptr, 128},
        {with_content({0x82, 0x01, 0x00}, 256), length, nullptr, nullptr, 256},
        // Leading zeros: absorbed by OER, refused by COER unless the first
        // two octets already say 128 or more.
        {with_content({0x81, 0x05}, 5), length, nullptr, "0022E", 5},
        {with_content({0x84, 0x00, 0x00, 0x00, 0x05}, 5), length, nullptr, "0022E", 5},
        {with_content({0x85, 0x00, 0x00, 0x00, 0x00, 0x80}, 128), length, nullptr, "0022E", 128},
        {with_content({0x82, 0x00, 0x80}, 128), length, nullptr, nullptr, 128},
        {{0x85, 0x01, 0x00, 0x00, 0x00, 0x00}, length, "0144E", "0144E", 0},
        {{0x80}, length, "0037E", "0037E", 0},
        // The content must be present, and so must the determinant.
        {with_content({0x81, 0x80}, 127), length, "0081S", "0081S", 0},
        {with_content({0x05}, 4), length, "0081S", "0081S", 0},
        {{0x83, 0x01, 0x00}, length, "0081S", "0081S", 0},
        {{}, length, "0081S", "0081S", 0},
        // A four-octet length with the top bit set is returned as it is.
        {{0x84, 0x80, 0x00, 0x00, 0x00}, length, nullptr, nullptr, INT32_MIN},
    });
    // Only the determinant is consumed.
    const Octets input = with_content({0x82, 0x01, 0x00}, 256);
    EXPECT_EQ(decoded(input, KEL_OER, [](KelGlobal *w) { _kel_odec_length(w); }), 0);
    EXPECT_EQ(consumed(input), 3);
}

TEST_F(OerPrims, TagsOfOneToThreeOctets) {
    const Decode tag = call<_kel_odec_tag>;
    check({
        {{0x85}, tag, nullptr, nullptr, 0x85},
        {{0x3F, 0x3F}, tag, nullptr, nullptr, 0x3F3F},
        {{0xBF, 0x81, 0x05}, tag, nullptr, nullptr, 0xBF8105},
        {{0x3F, 0x3E}, tag, "0018E", "0018E", 0},
        {{0x3F, 0x80}, tag, "0018E", "0018E", 0},
        {{0x3F, 0xFF, 0x80}, tag, "0019E", "0019E", 0},
        {{0x3F}, tag, "0081S", "0081S", 0},
        {{0x7F, 0x81}, tag, "0081S", "0081S", 0},
    });
}

TEST_F(OerPrims, RedundantIntegerOctetsAbsorbedByOerRefusedByCoer) {
    check({
        {{0x03, 0xFF, 0xFF, 0x80}, call<_kel_odec_int>, nullptr, "0022E", -128},
        {{0x02, 0x00, 0x05}, call<_kel_odec_int>, nullptr, "0022E", 5},
        {{0x05, 0x00, 0x00, 0x00, 0x00, 0x01}, call<_kel_odec_int>, nullptr, "0022E", 1},
        {{0x09, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0}, call<_kel_odec_int_ll>, nullptr, "0022E", INT64_MIN},
        {{0x02, 0x00, 0xFF}, call<_kel_odec_uint>, nullptr, "0022E", 255},
        {{0x09, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, call<_kel_odec_uint_ll>, nullptr, "0022E", -1},
        // Too many significant octets for the width.
        {{0x05, 0x01, 0x00, 0x00, 0x00, 0x00}, call<_kel_odec_int>, "0144E", "0144E", 0},
        {{0x03, 0x00, 0x80, 0x00}, call<_kel_odec_int_s>, "0144E", "0144E", 0},
        {{0x09, 0x00, 0x80, 0, 0, 0, 0, 0, 0, 0}, call<_kel_odec_int_ll>, "0144E", "0144E", 0},
        {{0x03, 0x01, 0x00, 0x00}, call<_kel_odec_uint_s>, "0144E", "0144E", 0},
        // The count is 1 to 127: no long determinant form here.
        {{0x00, 0x00}, call<_kel_odec_int>, "0037E", "0037E", 0},
        {{0x81, 0x01, 0x05}, call<_kel_odec_uint>, "0037E", "0037E", 0},
        {{0x01}, call<_kel_odec_int>, "0081S", "0081S", 0},
        // Huge values: the redundant octets are stripped from the copy.
        {{0x02, 0x00, 0x05}, [](KelGlobal *w) { unsigned char *p; return _kel_odec_int_h(w, &p, 0) * 1000 + p[0]; }, nullptr, "0022E", 1005},
        {{0x03, 0xFF, 0xFF, 0x80}, [](KelGlobal *w) { unsigned char *p; return _kel_odec_int_h(w, &p, 0) * 1000 + p[0]; }, nullptr, "0022E", 1128},
        {{0x00, 0x00, 0x05}, [](KelGlobal *w) { unsigned char *p; return _kel_odec_uint_h(w, &p, 3) * 1000 + p[0]; }, nullptr, nullptr, 1005},
        {{0x00}, [](KelGlobal *w) { unsigned char *p; return int64_t{_kel_odec_uint_h(w, &p, 0)}; }, "0037E", "0037E", 0},
        {{0x00, 0x05}, [](KelGlobal *w) { unsigned char *p; return int64_t{_kel_odec_int_h(w, &p, 3)}; }, "0081S", "0081S", 0},
    });
}

TEST_F(OerPrims, FixedAndHugeEncodersRefuseWhatTheyCannotHold) {
    struct Row {
        OerBody encode;
        const char *failure;
        const char *value; // printed in the message
    };
    const Row rows[] = {
        {[](KelGlobal *w) { _kel_oenc_int_1byte(w, 128); }, "0062S", "128"},
        {[](KelGlobal *w) { _kel_oenc_int_1byte(w, -129); }, "0062S", "-129"},
        {[](KelGlobal *w) { _kel_oenc_int_2byte(w, 32768); }, "0062S", "32768"},
        {[](KelGlobal *w) { _kel_oenc_uint_1byte(w, 256); }, "0062S", "256"},
        {[](KelGlobal *w) { _kel_oenc_uint_2byte(w, 65536); }, "0062S", "65536"},
        {[](KelGlobal *w) { _kel_oenc_int_h(w, nullptr, 0); }, "0037E", ""},
        {[](KelGlobal *w) { static const unsigned char big[4097] = {}; _kel_oenc_uint_h(w, big, sizeof big); }, "0037E", ""},
    };
    for (const Row &row : rows) {
        int rc = 0;
        encoded(row.encode, &rc);
        EXPECT_TRUE(failed_with(rc, row.failure)) << kelGetErrMsg(world);
        EXPECT_NE(std::strstr(kelGetErrMsg(world), row.value), nullptr) << kelGetErrMsg(world);
    }
    static const unsigned char sign[] = {0xFF, 0xFF, 0x80}, zeros[] = {0x00, 0x00, 0x80};
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_int_h(w, sign, 3); }), (Octets{0x01, 0x80}));
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_int_h(w, zeros, 3); }), (Octets{0x02, 0x00, 0x80}));
    EXPECT_EQ(encoded([](KelGlobal *w) { _kel_oenc_uint_h(w, zeros, 3); }), (Octets{0x01, 0x80}));
}

TEST_F(OerPrims, EnumerationsAndBooleans) {
    check({
        {{0x81, 0x05}, call<_kel_odec_enum>, nullptr, "0022E", 5},
        {{0x82, 0xFF, 0x80}, call<_kel_odec_enum>, nullptr, "0022E", -128},
        {{0x80}, call<_kel_odec_enum>, "0037E", "0037E", 0},
        {{0x85, 0x01, 0x02, 0x03, 0x04, 0x05}, call<_kel_odec_enum>, "0144E", "0144E", 0},
        {{0x82, 0x00}, call<_kel_odec_enum>, "0081S", "0081S", 0},
        {{0x82, 0x00, 0x05}, call<_kel_odec_uenum>, nullptr, "0022E", 5},
        {{0x83, 0x00, 0x00, 0x80}, call<_kel_odec_uenum>, nullptr, "0022E", 128},
        {{0x81, 0x80}, call<_kel_odec_uenum>, "0076S", "0076S", 0},
        {{0x85, 0x01, 0x02, 0x03, 0x04, 0x05}, call<_kel_odec_uenum>, "0144E", "0144E", 0},
        {{0x80}, call<_kel_odec_uenum>, "0037E", "0037E", 0},
        {{0x00}, call<_kel_odec_bool>, nullptr, nullptr, 0},
        {{0xFF}, call<_kel_odec_bool>, nullptr, nullptr, 1},
        {{0x01}, call<_kel_odec_bool>, nullptr, "0037E", 1},
        {{}, call<_kel_odec_bool>, "0081S", "0081S", 0},
    });
    // Relaxed, an unsigned value with its top bit set passes.
    const Octets top{0x81, 0x80};
    uint32_t value = 0;
    EXPECT_EQ(decoded(top, KEL_OER, [&](KelGlobal *w) { value = _kel_odec_uenum(w); }, KEL_RELAXED), 0);
    EXPECT_EQ(value, 128u);
    // All zeros: OER counts the octets off the input but leaves the read
    // pointer where it was.
    const Octets zeros{0x82, 0x00, 0x00};
    value = 7;
    EXPECT_EQ(decoded(zeros, KEL_OER, [&](KelGlobal *w) { value = _kel_odec_uenum(w); }), 0);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(world->inRemaining, 0);
    EXPECT_EQ(world->inPos, zeros.data());
    EXPECT_TRUE(failed_with(decoded(zeros, KEL_COER, [](KelGlobal *w) { _kel_odec_uenum(w); }), "0022E"));
}

TEST_F(OerPrims, WritesStraddleBlockEnds) {
    Octets run(1021);
    for (size_t i = 0; i < run.size(); ++i)
        run[i] = static_cast<uint8_t>(i * 7);
    const Octets out = encoded([&](KelGlobal *w) {
        _kel_oenc_append_bytes(w, run.data(), static_cast<uint32_t>(run.size()));
        _kel_oenc_int_8byte(w, 0x0102030405060708); // 3 octets in the first block, 5 in the next
        _kel_oenc_append_bytes(w, run.data(), 1019);   // fills the second block exactly
        _kel_oenc_octet_length(w, 0x01020304);         // in a fresh block
        _kel_oenc_append_bytes(w, run.data(), static_cast<uint32_t>(run.size()));
        _kel_oenc_append_3bytes(w, 0xA, 0xB, 0xC);
    });
    Octets expect = run;
    for (uint8_t b : {1, 2, 3, 4, 5, 6, 7, 8})
        expect.push_back(b);
    expect.insert(expect.end(), run.begin(), run.begin() + 1019);
    for (uint8_t b : {0x84, 1, 2, 3, 4})
        expect.push_back(b);
    expect.insert(expect.end(), run.begin(), run.end());
    for (uint8_t b : {0xA, 0xB, 0xC})
        expect.push_back(b);
    EXPECT_EQ(out, expect);

    Octets back(expect.size());
    EXPECT_EQ(decoded(expect, KEL_OER, [&](KelGlobal *w) { _kel_odec_read_octets(w, back.data(), static_cast<uint32_t>(back.size())); }), 0);
    EXPECT_EQ(back, expect);
    EXPECT_TRUE(failed_with(decoded(run, KEL_OER, [&](KelGlobal *w) { _kel_odec_read_octets(w, back.data(), 1022); }), "0081S"));
}

TEST_F(OerPrims, MeasuredItemsAndTheEmptyOne) {
    // Library memory across blocks, the caller's buffer and count mode all
    // measure the same.
    uint32_t measured[3] = {};
    const Octets run(2500, 0x11);
    const auto measure = [&](KelGlobal *w, uint32_t *into) {
        KelPushFrame frame{};
        _kel_oenc_append_bytes(w, run.data(), 1000);
        _kel_oenc_store_encpos(w, &frame);
        _kel_oenc_append_bytes(w, run.data(), 2500);
        *into = _kel_oenc_calc_enclen(w, &frame);
    };
    encoded([&](KelGlobal *w) { measure(w, &measured[0]); });
    Octets area(4000);
    world->encodingFlags = 0, world->userBuffer = 1, world->outPos = area.data(), world->outRemaining = 4000;
    EXPECT_EQ(kel_test::in_frame(world, kel::kPhaseEncoder, [&] { measure(world, &measured[1]); }), 0);
    world->encodingFlags = DETERMINE_ENC_LENGTH, world->encLength = 0;
    EXPECT_EQ(kel_test::in_frame(world, kel::kPhaseEncoder, [&] { measure(world, &measured[2]); }), 0);
    world->userBuffer = 0;
    EXPECT_EQ(measured[0], 2500u);
    EXPECT_EQ(measured[1], 2500u);
    EXPECT_EQ(measured[2], 2500u);

    // An item that must not be empty becomes one octet.
    uint32_t n = 9;
    const Octets out = encoded([&](KelGlobal *w) {
        KelPushFrame frame{};
        _kel_oenc_store_encpos(w, &frame);
        frame.bitOffset = 1;
        n = _kel_oenc_calc_enclen(w, &frame);
    });
    EXPECT_EQ(n, 1u);
    EXPECT_EQ(out.size(), 1u);
}

TEST_F(OerPrims, CheckBytesJumpsOverTheRestOfAnInnerValue) {
    const Octets input{1, 2, 3, 4, 5, 6};
    const auto skip_inner = [&](KelGlobal *w) {
        w->inPos += 2, w->inRemaining -= 2; // the inner value read two of its four octets
        _kel_odec_check_bytes(w, input.data(), 4);
    };
    EXPECT_EQ(decoded(input, KEL_COER, skip_inner), 0);
    EXPECT_EQ(consumed(input), 4);
    EXPECT_TRUE(failed_with(decoded(input, KEL_OER, skip_inner, STRICT_ENCODING_DECODING_RULES), "0037E"));
    EXPECT_TRUE(failed_with(decoded(input, KEL_OER, [&](KelGlobal *w) {
                                w->inPos += 5, w->inRemaining -= 5;
                                _kel_odec_check_bytes(w, input.data(), 4);
                            }),
                            "0081S"));
}

// ---------------------------------------------------------------------------
// Drivers
// ---------------------------------------------------------------------------

struct DriverScript {
    int writes; // counts written by the encoder
    int reads;  // counts read by the decoder
    uint32_t values[4];
};
DriverScript script;

int script_encode(KelGlobal *world, int, void *) {
    for (int i = 0; i < script.writes; ++i)
        _kel_oenc_uint(world, script.values[i]);
    return 0;
}

void *script_decode(KelGlobal *world, int) {
    if (script.reads == 0)
        return nullptr;
    auto *values = static_cast<uint32_t *>(_kel_dec_getmem(world, 16));
    for (int i = 0; i < script.reads; ++i)
        values[i] = _kel_odec_uint(world);
    return values;
}

KelXApiTable script_api;

void script_init(KelGlobal *world) {
    kelLinkOerE(world);
    kelLinkOerD(world);
    script_api.oerEncode = script_encode;
    script_api.oerDecode = reinterpret_cast<KelDecodeFn>(reinterpret_cast<void (*)()>(script_decode));
    kelInitXAPIentries(world, &script_api);
}

KelControlTable script_table = {script_init, nullptr, nullptr, nullptr, 17, nullptr, nullptr, 0, 0, nullptr, nullptr};

struct OerDriver : ::testing::Test {
    KelGlobal world;
    void SetUp() override {
        script = DriverScript{};
        script_api = KelXApiTable{};
        ASSERT_EQ(kelinit(&world, &script_table), 0);
    }
    void TearDown() override { kelterm(&world); }
};

TEST_F(OerDriver, EncodesAndDecodesUnderBothRules) {
    script = {2, 2, {300, 5}};
    for (uint32_t rules : {KEL_OER, KEL_COER}) {
        world.encRules = rules;
        KelBuf out = {0, nullptr};
        ASSERT_EQ(kelEncode(&world, 1, &world, &out), 0) << world.errMsg;
        EXPECT_EQ(Octets(out.value, out.value + out.length), (Octets{0x02, 0x01, 0x2C, 0x01, 0x05}));

        alignas(8) unsigned char area[64];
        void *value = area;
        world.decodingLength = sizeof area;
        int pdu = 1;
        KelBuf input = out; // the decoder may advance it
        ASSERT_EQ(kelDecode(&world, &pdu, &input, &value), 0) << world.errMsg;
        EXPECT_EQ(static_cast<uint32_t *>(value)[0], 300u);
        EXPECT_EQ(static_cast<uint32_t *>(value)[1], 5u);
        EXPECT_EQ(kelGetBytesReadByDecoder(&world), 5);

        // The second count cut short: the octets read are those of the first.
        KelBuf cut = {4, out.value};
        value = area;
        world.decodingLength = sizeof area;
        EXPECT_EQ(kelDecode(&world, &pdu, &cut, &value), 4) << world.errMsg;
        EXPECT_EQ(kelGetBytesReadByDecoder(&world), 3);
        kelFreeBuf(&world, out.value);
    }
}

TEST_F(OerDriver, EmptyPduAndVersionCheck) {
    world.encRules = KEL_COER;
    KelBuf out = {0, nullptr};
    ASSERT_EQ(kelEncode(&world, 1, &world, &out), 0) << world.errMsg;
    EXPECT_EQ(out.length, 0u);
    EXPECT_EQ(out.value, nullptr);
    KelBuf empty = {0, nullptr};
    void *value = nullptr;
    int pdu = 1;
    ASSERT_EQ(kelDecode(&world, &pdu, &empty, &value), 0) << world.errMsg;
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(kelGetBytesReadByDecoder(&world), 0);

    script_api.oerVersion = 1;
    EXPECT_EQ(kelEncode(&world, 1, &world, &out), 7);
    EXPECT_EQ(kelDecode(&world, &pdu, &empty, &value), 7);
}

} // namespace
