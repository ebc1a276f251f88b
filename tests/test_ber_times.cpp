// Tests of BER UTCTime, GeneralizedTime and the TIME family as text: the
// texts written under BER, CER and DER, the fields read back with their
// fractions and zones, and the strict rules that the compatibility flag
// relaxes.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

using kel_test::in_frame;

struct BerTimes : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    unsigned char *pos = nullptr;
    int32_t rem = 0;
    unsigned char *in = nullptr;
    int32_t inRem = 0;

    void TearDown() override { _kel_freeMem(world, world->freeMem); }
    // The text that `body` writes, or the return code as "#code".
    template <class Body> std::string written(Body body) {
        _kel_freeMem(world, world->freeMem); // decoded items of earlier steps
        pos = nullptr;
        rem = 0;
        if (int rc = in_frame(world, kel::kPhaseEncoder, body))
            return "#" + std::to_string(rc);
        uint32_t length = 0;
        unsigned char *value = nullptr;
        in_frame(world, kel::kPhaseEncoder, [&] { _kel_set_outmem_d(world, static_cast<uint32_t>(rem), &length, &value); });
        std::string out(reinterpret_cast<char *>(value), length);
        kelFreeBuf(world, value);
        return out;
    }
    template <class Body> int decode(const std::string &text, Body body) {
        world->outQueueTail = &world->outQueue;
        std::vector<unsigned char> input(text.begin(), text.end()); // exactly sized
        in = input.data();
        inRem = static_cast<int32_t>(input.size());
        return in_frame(world, kel::kPhaseDecoder, [&] { body(static_cast<int32_t>(input.size())); });
    }
    bool message_is(const char *number) const { return std::strncmp(world->errMsg + 1, number, 5) == 0; }
};

TEST_F(BerTimes, Writers) {
    struct Case { uint32_t rules; bool utcTime; KelTimeStruct value; const char *text; }; // text "#code": refused
    const Case kCases[] = {
        {KEL_BER, false, {2017, 7, 11, 12, 30, 5, 120, 0, 1}, "20170711123005.12Z"},
        {KEL_BER, false, {2017, 7, 11, 12, 30, 5, 0, 0, 1}, "20170711123005Z"},
        {KEL_BER, false, {2017, 7, 11, 12, 30, 0, 0, 0, 1}, "201707111230Z"},
        {KEL_DER, false, {2017, 7, 11, 12, 30, 0, 0, 0, 1}, "20170711123000Z"},
        {KEL_BER, false, {2017, 7, 11, 12, 30, 5, 0, -90, 0}, "20170711123005-0130"},
        {KEL_CER, false, {2017, 7, 11, 12, 30, 5, 0, 0, 0}, "#12"}, {KEL_BER, false, {12017, 1, 1, 0, 0, 0, 0, 0, 1}, "#12"},
        {KEL_BER, true, {2017, 7, 11, 12, 30, 0, 0, 60, 0}, "1707111230+0100"},
        {KEL_DER, true, {2017, 7, 11, 12, 30, 0, 0, 0, 0}, "170711123000Z"},
        {KEL_DER, true, {2017, 7, 11, 12, 30, 0, 0, 60, 0}, "#12"}, {KEL_BER, true, {2017, 7, 11, 12, 30, 0, 5, 0, 1}, "#12"},
    };
    for (const Case &c : kCases) {
        world->encRules = c.rules;
        EXPECT_EQ(written([&] {
                      c.utcTime ? _kel_encd_utime(world, &pos, &rem, &c.value) : _kel_encd_gtime(world, &pos, &rem, &c.value);
                  }),
                  c.text);
    }
    world->encRules = KEL_BER;
    const KelTimeStruct month13 = {2017, 13, 11, 12, 30, 5, 0, 0, 1};
    written([&] { _kel_encd_gtime(world, &pos, &rem, &month13); });
    EXPECT_NE(std::strstr(world->errMsg, "Month = 13"), nullptr) << world->errMsg;
    world->encodingFlags = NOCONSTRAIN;
    EXPECT_EQ(written([&] { _kel_encd_gtime(world, &pos, &rem, &month13); }), "20171311123005Z");
}

TEST_F(BerTimes, Readers) {
    struct Case { uint32_t rules, compat; bool utcTime; const char *text; int code; KelTimeStruct value; };
    const Case kCases[] = {
        {KEL_BER, 0, false, "2017071112.5Z", 0, {2017, 7, 11, 12, 30, 0, 0, 0, 1}},
        {KEL_BER, 0, false, "2017071112.9999999999Z", 0, {2017, 7, 11, 12, 59, 59, 999, 0, 1}},
        {KEL_BER, 0, false, "201707111230,25Z", 0, {2017, 7, 11, 12, 30, 15, 0, 0, 1}},
        {KEL_BER, 0, false, "2017071112-0130", 0, {2017, 7, 11, 12, 0, 0, 0, -90, 0}},
        {KEL_BER, 0, false, "20170711123000", 0, {2017, 7, 11, 12, 30, 0, 0, 0, 0}},
        {KEL_DER, 0, false, "20170711123000.0Z", 12, {}},
        {KEL_DER, 0x8000, false, "20170711123000.0Z", 0, {2017, 7, 11, 12, 30, 0, 0, 0, 1}},
        {KEL_DER, 0, false, "20170711123000,5Z", 12, {}}, {KEL_DER, 0, false, "201707111230Z", 12, {}},
        {KEL_DER, 0, false, "20170711123000", 12, {}}, {KEL_DER, 0x8000, false, "20170711123000", 12, {}},
        {KEL_BER, 0, false, "20171311123000Z", 12, {}}, {KEL_BER, 0, false, "2017071112Zx", 5, {}},
        {KEL_BER, 0, false, "2017071112+1", 5, {}}, {KEL_BER, 0, true, "1707111230+01", 5, {}},
        {KEL_BER, 0, true, "1707111230+0100", 0, {17, 7, 11, 12, 30, 0, 0, 60, 0}},
        {KEL_BER, 0, true, "1707111230", 5, {}}, {KEL_BER, 0, true, "170711123045.5Z", 5, {}},
        {KEL_DER, 0, true, "1707111230Z", 12, {}},
    };
    for (const Case &c : kCases) {
        world->encRules = c.rules;
        world->ext->compatFlags = c.compat;
        KelTimeStruct t;
        std::memset(&t, 0x55, sizeof t);
        EXPECT_EQ(decode(c.text, [&](int32_t n) {
                      c.utcTime ? _kel_dec_utime(world, &in, &inRem, n, &t) : _kel_dec_gtime(world, &in, &inRem, n, &t);
                  }),
                  c.code)
            << c.text << ": " << world->errMsg;
        if (c.code == 0) {
            EXPECT_EQ(std::memcmp(&t, &c.value, offsetof(KelTimeStruct, utc) + 1), 0) << c.text;
            EXPECT_EQ(inRem, 0);
        }
    }
    EXPECT_EQ(decode("2017", [&](int32_t) { KelTimeStruct t; _kel_dec_gtime(world, &in, &inRem, 5, &t); }), 4);
}

TEST_F(BerTimes, TextForms) {
    struct Case { int32_t kind; const char *text, *wire; };
    const Case kCases[] = {
        {31, "2017-07-11", "20170711"}, {32, "12:30:05", "123005"}, {33, "2017-07-11T12:30:05", "20170711123005"},
        {34, "P1Y2M", "1Y2M"}, {14, "2017-07-11T12:30", "2017-07-11T12:30"},
    };
    for (const Case &c : kCases) {
        EXPECT_EQ(written([&] { _kel_encd_date_time(world, &pos, &rem, c.text, c.kind); }), c.wire);
        char *back = nullptr;
        EXPECT_EQ(decode(c.wire, [&](int32_t n) { _kel_dec_date_time(world, &in, &inRem, n, &back, c.kind); }), 0);
        EXPECT_STREQ(back, c.text);
    }
    EXPECT_EQ(written([&] { _kel_encd_date_time(world, &pos, &rem, "2017", 15); }), "#12");
    world->encRules = KEL_DER; // canonical TIME text
    EXPECT_EQ(written([&] { _kel_encd_date_time(world, &pos, &rem, "2017-07-11T12:30,5", 14); }), "2017-07-11T12:30.5");
    world->encRules = KEL_BER;
    char *back = nullptr;
    EXPECT_EQ(decode("2017071", [&](int32_t n) { _kel_dec_date_time(world, &in, &inRem, n, &back, 31); }), 12);

    // Times held as text: the limit, the examination, a final NUL.
    EXPECT_EQ(written([&] { _kel_encd_untime(world, &pos, &rem, "20170711123005Z", 0, 0); }), "20170711123005Z");
    EXPECT_EQ(written([&] { _kel_encd_untime(world, &pos, &rem, "20170711123005Z", 10, 0); }), "#16");
    EXPECT_EQ(written([&] { _kel_encd_untime(world, &pos, &rem, "20171311123005Z", 0, 0); }), "#12");
    unsigned char *text = nullptr;
    EXPECT_EQ(decode("1707111230Z", [&](int32_t n) { EXPECT_EQ(_kel_dec_untime(world, &in, &inRem, n, &text, 0, 1), 11); }), 0);
    EXPECT_STREQ(reinterpret_cast<char *>(text), "1707111230Z");
    const std::string withNul("1707111230Z\0", 12);
    EXPECT_EQ(decode(withNul, [&](int32_t n) { _kel_dec_untime(world, &in, &inRem, n, &text, 0, 1); }), 5);
    EXPECT_TRUE(message_is("0046E")) << world->errMsg;
    world->ext->compatFlags = 0x80;
    world->decodingFlags = NOCONSTRAIN;
    EXPECT_EQ(decode(withNul, [&](int32_t n) { _kel_dec_untime(world, &in, &inRem, n, &text, 0, 1); }), 0);
}

} // namespace
