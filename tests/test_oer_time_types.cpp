// Tests of the OER TIME primitives and of GeneralizedTime and UTCTime in
// OER: octets derived by hand from the fixed forms, decoder round trips,
// skips, the out-of-range and misencoding failures, truncated input, and
// what COER refuses that OER takes.
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>

#include "oer_fixture.h"

namespace {

using kel_test::Octets;
using kel_test::OerBody;

// A length octet and the characters of `text`.
Octets counted_text(const char *text) {
    const size_t n = std::strlen(text);
    Octets out(n + 1, static_cast<uint8_t>(n));
    for (size_t i = 0; i < n; ++i)
        out[i + 1] = static_cast<uint8_t>(text[i]);
    return out;
}

KelTimeStruct time_of(int16_t year, int16_t month, int16_t day, int16_t hour, int16_t minute, int16_t second,
                      int16_t ms, int16_t mindiff, uint8_t utc) {
    return KelTimeStruct{year, month, day, hour, minute, second, ms, mindiff, utc};
}

bool same(const KelTimeStruct &a, const KelTimeStruct &b) {
    return a.year == b.year && a.month == b.month && a.day == b.day && a.hour == b.hour && a.minute == b.minute &&
           a.second == b.second && a.millisec == b.millisec && a.mindiff == b.mindiff && a.utc == b.utc;
}

std::string show(const KelTimeStruct &t) {
    char s[96];
    std::snprintf(s, sizeof s, "%d-%d-%d %d:%d:%d.%d diff %d utc %d", t.year, t.month, t.day, t.hour, t.minute,
                  t.second, t.millisec, t.mindiff, t.utc);
    return s;
}

struct OerTime : kel_test::OerFixture {
    // Encodes under `rules`; the octets, or empty with the code in *rc.
    Octets encode_under(uint32_t rules, const OerBody &body, int *rc = nullptr) {
        return encoded([&](KelGlobal *w) {
            w->encRules = rules;
            body(w);
        }, rc);
    }
    void expect_encode_failure(uint32_t rules, const OerBody &body, const char *number) {
        int rc = 0;
        encode_under(rules, body, &rc);
        EXPECT_TRUE(failed_with(rc, number)) << kelGetErrMsg(world);
    }
};

// ---------------------------------------------------------------------------
// GeneralizedTime and UTCTime
// ---------------------------------------------------------------------------

TEST_F(OerTime, GeneralizedTimeTextsUnderOerAndCoer) {
    struct Row {
        KelTimeStruct value;
        const char *oer;
        const char *coer; // null: COER refuses with 0013S
    };
    const Row rows[] = {
        // Whole minute: OER drops the seconds, COER keeps them.
        {time_of(2021, 3, 4, 5, 6, 0, 0, 0, 1), "202103040506Z", "20210304050600Z"},
        {time_of(2021, 3, 4, 5, 6, 7, 0, 0, 1), "20210304050607Z", "20210304050607Z"},
        {time_of(2021, 3, 4, 5, 6, 0, 500, 0, 1), "20210304050600.5Z", "20210304050600.5Z"},
        {time_of(2021, 3, 4, 5, 6, 7, 120, 0, 1), "20210304050607.12Z", "20210304050607.12Z"},
        // Local time, and a difference.
        {time_of(1999, 12, 31, 23, 59, 0, 0, 0, 0), "199912312359", nullptr},
        {time_of(1999, 12, 31, 23, 59, 30, 0, -330, 0), "19991231235930-0530", nullptr},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.oer);
        EXPECT_EQ(encode_under(KEL_OER, [&](KelGlobal *w) { _kel_oenc_gtime(w, &row.value); }),
                  counted_text(row.oer));
        if (row.coer)
            EXPECT_EQ(encode_under(KEL_COER, [&](KelGlobal *w) { _kel_oenc_gtime(w, &row.value); }),
                      counted_text(row.coer));
        else
            expect_encode_failure(KEL_COER, [&](KelGlobal *w) { _kel_oenc_gtime(w, &row.value); }, "0013S");
        // Each text reads back to the value.
        for (uint32_t rules : {KEL_OER, KEL_COER}) {
            const char *text = rules == KEL_OER ? row.oer : row.coer;
            if (!text)
                continue;
            KelTimeStruct back{};
            const Octets input = counted_text(text);
            EXPECT_EQ(decoded(input, rules, [&](KelGlobal *w) { _kel_odec_gtime(w, &back); }), 0)
                << kelGetErrMsg(world);
            EXPECT_TRUE(same(back, row.value)) << show(back);
            EXPECT_EQ(consumed(input), static_cast<int32_t>(input.size()));
        }
    }
}

TEST_F(OerTime, UtcTimeTextsUnderOerAndCoer) {
    const KelTimeStruct utc = time_of(21, 3, 4, 5, 6, 7, 0, 0, 1);
    const KelTimeStruct local = time_of(21, 3, 4, 5, 6, 7, 0, 0, 0);
    const KelTimeStruct west = time_of(21, 3, 4, 5, 6, 7, 0, -330, 0);
    EXPECT_EQ(encode_under(KEL_COER, [&](KelGlobal *w) { _kel_oenc_utime(w, &utc); }), counted_text("210304050607Z"));
    // No difference reads as UTC in both rules.
    EXPECT_EQ(encode_under(KEL_COER, [&](KelGlobal *w) { _kel_oenc_utime(w, &local); }), counted_text("210304050607Z"));
    EXPECT_EQ(encode_under(KEL_OER, [&](KelGlobal *w) { _kel_oenc_utime(w, &west); }),
              counted_text("210304050607-0530"));
    expect_encode_failure(KEL_COER, [&](KelGlobal *w) { _kel_oenc_utime(w, &west); }, "0013S");
    const KelTimeStruct fraction = time_of(21, 3, 4, 5, 6, 7, 1, 0, 1);
    expect_encode_failure(KEL_OER, [&](KelGlobal *w) { _kel_oenc_utime(w, &fraction); }, "0012S");
    EXPECT_NE(std::strstr(kelGetErrMsg(world), "Millisecond = 1"), nullptr) << kelGetErrMsg(world);
}

// A text on the input and what each rule makes of it: a record, or the
// number of the message it fails with.
struct TimeRow {
    const char *text;
    const char *oer; // null: decodes to `value`
    const char *coer;
    KelTimeStruct value;
};

template <size_t N> void read_all(OerTime &t, const TimeRow (&rows)[N], void (*read)(KelGlobal *, KelTimeStruct *)) {
    for (const TimeRow &row : rows) {
        for (uint32_t rules : {KEL_OER, KEL_COER}) {
            SCOPED_TRACE(std::string(row.text) + (rules == KEL_OER ? " OER" : " COER"));
            const char *failure = rules == KEL_OER ? row.oer : row.coer;
            KelTimeStruct back{};
            const int rc = t.decoded(counted_text(row.text), rules, [&](KelGlobal *w) { read(w, &back); });
            if (failure) {
                EXPECT_TRUE(t.failed_with(rc, failure)) << kelGetErrMsg(t.world);
            } else {
                EXPECT_EQ(rc, 0) << kelGetErrMsg(t.world);
                EXPECT_TRUE(same(back, row.value)) << show(back);
            }
        }
    }
}

TEST_F(OerTime, GeneralizedTimeReader) {
    const TimeRow rows[] = {
        {"20210304050607Z", nullptr, nullptr, time_of(2021, 3, 4, 5, 6, 7, 0, 0, 1)},
        // Fewer fields, zones that only OER takes.
        {"2021030405Z", nullptr, "0013S", time_of(2021, 3, 4, 5, 0, 0, 0, 0, 1)},
        {"20210304", nullptr, "0013S", time_of(2021, 3, 4, 0, 0, 0, 0, 0, 0)},
        {"20210304050607", nullptr, "0013S", time_of(2021, 3, 4, 5, 6, 7, 0, 0, 0)},
        {"20210304050607+0130", nullptr, "0013S", time_of(2021, 3, 4, 5, 6, 7, 0, 90, 0)},
        {"20210304050607-05", nullptr, "0013S", time_of(2021, 3, 4, 5, 6, 7, 0, -300, 0)},
        // Fractions of each field: .5 minute is 30 s; .25 hour 15 min; .5 day 12 h.
        {"202103040506.5Z", nullptr, "0013S", time_of(2021, 3, 4, 5, 6, 30, 0, 0, 1)},
        {"2021030405.25Z", nullptr, "0013S", time_of(2021, 3, 4, 5, 15, 0, 0, 0, 1)},
        {"20210304.5", nullptr, "0013S", time_of(2021, 3, 4, 12, 0, 0, 0, 0, 0)},
        // One digit beyond the precision rounds, the rest is dropped; the
        // rounding stays below the next unit.
        {"20210304050607.1235Z", nullptr, nullptr, time_of(2021, 3, 4, 5, 6, 7, 124, 0, 1)},
        {"20210304050607.12349999Z", nullptr, nullptr, time_of(2021, 3, 4, 5, 6, 7, 123, 0, 1)},
        {"20210304050607.9996Z", nullptr, nullptr, time_of(2021, 3, 4, 5, 6, 7, 999, 0, 1)},
        {"2021030405.9999999Z", nullptr, "0013S", time_of(2021, 3, 4, 5, 59, 59, 999, 0, 1)},
        {"202103040506.00001Z", nullptr, "0013S", time_of(2021, 3, 4, 5, 6, 0, 1, 0, 1)},
        {"20210304.00000001Z", nullptr, "0013S", time_of(2021, 3, 4, 0, 0, 0, 1, 0, 1)},
        {"20210304.00000006Z", nullptr, "0013S", time_of(2021, 3, 4, 0, 0, 0, 5, 0, 1)},
        // What COER refuses in a fraction.
        {"20210304050607,5Z", nullptr, "0013S", time_of(2021, 3, 4, 5, 6, 7, 500, 0, 1)},
        {"20210304050607.50Z", nullptr, "0013S", time_of(2021, 3, 4, 5, 6, 7, 500, 0, 1)},
        {"20210304050607.Z", nullptr, "0013S", time_of(2021, 3, 4, 5, 6, 7, 0, 0, 1)},
        // Malformed texts.
        {"202", "0031S", "0031S", {}},
        {"2O21030405Z", "0037E", "0037E", {}},
        {"202103", "0037E", "0037E", {}},
        {"2021030Z", "0037E", "0037E", {}},
        {"20210304050607+2400", "0037E", "0013S", {}},
        {"20210304050607+1", "0037E", "0013S", {}},
        {"20210304050607ZZ", "0037E", "0037E", {}},
        {"20210304050607z", "0037E", "0013S", {}},
        // Range tests of the record.
        {"20211304050607Z", "0012S", "0012S", {}},
        {"20210304250607Z", "0012S", "0012S", {}},
    };
    read_all(*this, rows, _kel_odec_gtime);
}

TEST_F(OerTime, UtcTimeReader) {
    const TimeRow rows[] = {
        {"210304050607Z", nullptr, nullptr, time_of(21, 3, 4, 5, 6, 7, 0, 0, 1)},
        // Missing pairs read as 0 (the range test then wants month and day).
        {"2103040506Z", nullptr, "0013S", time_of(21, 3, 4, 5, 6, 0, 0, 0, 1)},
        {"210304050607-0530", nullptr, "0013S", time_of(21, 3, 4, 5, 6, 7, 0, -330, 0)},
        {"21Z", "0012S", "0013S", {}},
        {"2", "0031S", "0031S", {}},
        {"210304050607", "0037E", "0037E", {}},
        {"210304050607+053", "0037E", "0013S", {}},
        {"210304050607+", "0037E", "0013S", {}},
        {"210304050607+2500", "0037E", "0013S", {}},
        {"210304050607.5Z", "0037E", "0013S", {}},
        {"210304050607Z0", "0037E", "0037E", {}},
    };
    read_all(*this, rows, _kel_odec_utime);
    // NOCONSTRAIN lifts the range tests in OER only.
    KelTimeStruct back{};
    EXPECT_EQ(decoded(counted_text("21Z"), KEL_OER, [&](KelGlobal *w) { _kel_odec_utime(w, &back); }, NOCONSTRAIN), 0);
    EXPECT_TRUE(same(back, time_of(21, 0, 0, 0, 0, 0, 0, 0, 1))) << show(back);
    const int rc = decoded(counted_text("210004050607Z"), KEL_COER, [&](KelGlobal *w) { _kel_odec_utime(w, &back); },
                           NOCONSTRAIN);
    EXPECT_TRUE(failed_with(rc, "0012S")) << kelGetErrMsg(world);
}

TEST_F(OerTime, UsefulTimesCutShort) {
    KelTimeStruct back{};
    Octets input = counted_text("20210304050607Z");
    input.pop_back();
    EXPECT_TRUE(failed_with(decoded(input, KEL_OER, [&](KelGlobal *w) { _kel_odec_gtime(w, &back); }), "0081S"));
    EXPECT_TRUE(failed_with(decoded({}, KEL_OER, [&](KelGlobal *w) { _kel_odec_utime(w, &back); }), "0081S"));
}

// ---------------------------------------------------------------------------
// TIME forms fixed by the schema
// ---------------------------------------------------------------------------

using Encoder = std::function<const char *(KelGlobal *, const char *)>;
using Decoder = std::function<char *(KelGlobal *, char *)>;
using Skipper = void (*)(KelGlobal *);

template <auto F> const char *enc(KelGlobal *w, const char *text) { return F(w, text); }
template <auto F> char *dec(KelGlobal *w, char *out) { return F(w, out); }
template <auto F, uint32_t Arg> const char *enc_n(KelGlobal *w, const char *text) { return F(w, text, Arg); }
template <auto F, uint32_t Arg> char *dec_n(KelGlobal *w, char *out) { return F(w, out, Arg); }

struct OerTimeForms : OerTime {
    // The octets of `text`; the whole text must be consumed.
    Octets encode_text(const Encoder &encode, const char *text) {
        const char *end = nullptr;
        Octets out = encoded([&](KelGlobal *w) { end = encode(w, text); });
        EXPECT_EQ(end, text + std::strlen(text));
        return out;
    }
    // The text that `decode` writes from `input` (which it must consume),
    // or the number of the message it fails with.
    std::string decode_text(const Octets &input, const Decoder &decode, uint32_t rules = KEL_OER) {
        char text[128];
        char *end = text;
        const int rc = decoded(input, rules, [&](KelGlobal *w) { end = decode(w, text); });
        if (rc)
            return std::string("fail ") + std::string(kelGetErrMsg(world) + 1, 5);
        EXPECT_EQ(consumed(input), static_cast<int32_t>(input.size()));
        return std::string(text, end);
    }
    std::string encode_failure(const Encoder &encode, const char *text) {
        int rc = 0;
        encoded([&](KelGlobal *w) { encode(w, text); }, &rc);
        return rc ? std::string(kelGetErrMsg(world) + 1, 5) : std::string("passed");
    }
};

// One form: its text, the octets derived by hand, the decoder that reads
// them back and the skip that steps over them.
struct FormRow {
    const char *text;
    Encoder encode;
    Octets octets;
    Decoder decode;
    Skipper skip;      // null: the form has no skip of its own
    const char *back;  // null: the decoded text is `text`
};

TEST_F(OerTimeForms, EachFormEncodesDecodesAndSkips) {
    const FormRow rows[] = {
        // 2021 = 0x07E5: count 02, then 07 E5.
        {"2021", enc<_kel_oenc_t_year>, {0x02, 0x07, 0xE5}, dec<_kel_odec_t_year>, _kel_oskip_t_year, nullptr},
        // 0 fits one octet: count 01, then 00.
        {"0000", enc<_kel_oenc_t_year>, {0x01, 0x00}, dec<_kel_odec_t_year>, _kel_oskip_t_year, nullptr},
        // -44 = 0xD4 in one octet of two's complement.
        {"-0044", enc<_kel_oenc_t_year>, {0x01, 0xD4}, dec<_kel_odec_t_year>, _kel_oskip_t_year, nullptr},
        // 12345 = 0x3039; the any form always prints a sign.
        {"+12345", enc<_kel_oenc_t_any_year>, {0x02, 0x30, 0x39}, dec_n<_kel_odec_t_any_year, 6>, _kel_oskip_t_year, nullptr},
        // -2021 = 0xF81B.
        {"-2021", enc<_kel_oenc_t_any_year>, {0x02, 0xF8, 0x1B}, dec_n<_kel_odec_t_any_year, 6>, _kel_oskip_t_year, nullptr},
        {"2021", enc<_kel_oenc_t_any_year>, {0x02, 0x07, 0xE5}, dec_n<_kel_odec_t_any_year, 6>, _kel_oskip_t_year, "+2021"},
        // Year as above, then month 07 in one octet.
        {"2021-07", enc<_kel_oenc_t_year_month>, {0x02, 0x07, 0xE5, 0x07}, dec<_kel_odec_t_year_month>, nullptr, nullptr},
        // -100 = 0x9C in one octet; month 03.
        {"-0100-03", enc<_kel_oenc_t_any_year_month>, {0x01, 0x9C, 0x03}, dec_n<_kel_odec_t_any_year_month, 4>, nullptr, nullptr},
        // Month 07, day 15 = 0x0F.
        {"2021-07-15", enc<_kel_oenc_t_date>, {0x02, 0x07, 0xE5, 0x07, 0x0F}, dec<_kel_odec_t_date>, _kel_oskip_t_date, nullptr},
        // 10000 = 0x2710; month 12 = 0x0C, day 31 = 0x1F.
        {"+10000-12-31", enc<_kel_oenc_t_any_date>, {0x02, 0x27, 0x10, 0x0C, 0x1F}, dec_n<_kel_odec_t_any_date, 5>, _kel_oskip_t_any_date, nullptr},
        // Hours 24 = 0x18 is a valid end of day.
        {"24", enc<_kel_oenc_t_hours>, {0x18}, dec<_kel_odec_t_hours>, _kel_oskip_t_hours, nullptr},
        // 12 = 0x0C, 30 = 0x1E.
        {"12:30", enc<_kel_oenc_t_minutes>, {0x0C, 0x1E}, dec<_kel_odec_t_minutes>, _kel_oskip_t_minutes, nullptr},
        // 23 = 0x17, 59 = 0x3B, a leap second 60 = 0x3C.
        {"23:59:60", enc<_kel_oenc_t_daytime>, {0x17, 0x3B, 0x3C}, dec<_kel_odec_t_daytime>, _kel_oskip_t_daytime, nullptr},
        // Three octets, then the fraction 250 = 0xFA as an unsigned number: count 01, FA.
        {"12:30:15.250", enc_n<_kel_oenc_t_daytime_fraction, 3>, {0x0C, 0x1E, 0x0F, 0x01, 0xFA}, dec_n<_kel_odec_t_daytime_fraction, 3>, _kel_oskip_t_daytime_fraction, nullptr},
        {"12:30:15,007", enc_n<_kel_oenc_t_daytime_fraction, 3>, {0x0C, 0x1E, 0x0F, 0x01, 0x07}, dec_n<_kel_odec_t_daytime_fraction, 3>, _kel_oskip_t_daytime_fraction, "12:30:15.007"},
        // 20 digits: 12345678901234567890 = 0xAB54A98CEB1F0AD2, count 08.
        {"00:00:00.12345678901234567890", enc_n<_kel_oenc_t_daytime_fraction, 20>, {0x00, 0x00, 0x00, 0x08, 0xAB, 0x54, 0xA9, 0x8C, 0xEB, 0x1F, 0x0A, 0xD2}, dec_n<_kel_odec_t_daytime_fraction, 20>, _kel_oskip_t_daytime_fraction, nullptr},
        // 12 = 0x0C; +05:30 is 330 minutes = 0x014A in two octets.
        {"12+05:30", enc<_kel_oenc_t_hours_diff>, {0x0C, 0x01, 0x4A}, dec<_kel_odec_t_hours_diff>, nullptr, nullptr},
        // -00:30 is -30 minutes = 0xFFE2.
        {"12-00:30", enc<_kel_oenc_t_hours_diff>, {0x0C, 0xFF, 0xE2}, dec<_kel_odec_t_hours_diff>, nullptr, nullptr},
        // +01:00 is 60 = 0x003C, printed without its zero minutes.
        {"12+01:00", enc<_kel_oenc_t_hours_diff>, {0x0C, 0x00, 0x3C}, dec<_kel_odec_t_hours_diff>, nullptr, "12+01"},
        // -05 is -300 minutes = 0xFED4.
        {"12:30-05", enc<_kel_oenc_t_minutes_diff>, {0x0C, 0x1E, 0xFE, 0xD4}, dec<_kel_odec_t_minutes_diff>, _kel_oskip_t_minutes_diff, nullptr},
        // +15:59 is 959 = 0x03BF.
        {"23:59:59+15:59", enc<_kel_oenc_t_daytime_diff>, {0x17, 0x3B, 0x3B, 0x03, 0xBF}, dec<_kel_odec_t_daytime_diff>, _kel_oskip_t_daytime_diff, nullptr},
        // 12:30:15, the fraction 5 (count 01, 05), then +01 = 60 = 0x003C.
        {"12:30:15.5+01", enc_n<_kel_oenc_t_daytime_diff_fraction, 1>, {0x0C, 0x1E, 0x0F, 0x01, 0x05, 0x00, 0x3C}, dec_n<_kel_odec_t_daytime_diff_fraction, 1>, _kel_oskip_t_daytime_diff_fraction, nullptr},
        // Mask Y M D H M S = 0x80|0x40|0x10|0x08|0x04|0x02 = 0xDE, then 1 to 6 each behind count 01.
        {"P1Y2M3DT4H5M6S", enc<_kel_oenc_t_duration_interval>, {0xDE, 0x01, 0x01, 0x01, 0x02, 0x01, 0x03, 0x01, 0x04, 0x01, 0x05, 0x01, 0x06}, dec<_kel_odec_t_duration_interval>, _kel_oskip_t_duration_interval, nullptr},
        // Weeks alone: mask 0x20, then 3.
        {"P3W", enc<_kel_oenc_t_duration_interval>, {0x20, 0x01, 0x03}, dec<_kel_odec_t_duration_interval>, _kel_oskip_t_duration_interval, nullptr},
        // Weeks with a fraction: mask 0x21, weeks 2, digit count 2, fraction 25 = 0x19.
        {"P2.25W", enc<_kel_oenc_t_duration_interval>, {0x21, 0x01, 0x02, 0x01, 0x02, 0x01, 0x19}, dec<_kel_odec_t_duration_interval>, _kel_oskip_t_duration_interval, nullptr},
        // Seconds and fraction: mask 0x03, seconds 1, digit count 1, fraction 5.
        {"PT1.5S", enc<_kel_oenc_t_duration_interval>, {0x03, 0x01, 0x01, 0x01, 0x01, 0x01, 0x05}, dec<_kel_odec_t_duration_interval>, _kel_oskip_t_duration_interval, nullptr},
        // Days 300 = 0x012C, minutes 0 as the last component.
        {"P300DT0M", enc<_kel_oenc_t_duration_interval>, {0x14, 0x02, 0x01, 0x2C, 0x01, 0x00}, dec<_kel_odec_t_duration_interval>, _kel_oskip_t_duration_interval, nullptr},
    };
    for (const FormRow &row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(encode_text(row.encode, row.text), row.octets);
        EXPECT_EQ(decode_text(row.octets, row.decode), row.back ? row.back : row.text);
        if (row.skip) {
            EXPECT_EQ(decoded(row.octets, KEL_OER, [&](KelGlobal *w) { row.skip(w); }), 0) << kelGetErrMsg(world);
            EXPECT_EQ(consumed(row.octets), static_cast<int32_t>(row.octets.size()));
        }
        // Cut short by one octet, decoders and skips run out of input.
        const Octets cut(row.octets.begin(), row.octets.end() - 1);
        EXPECT_EQ(decode_text(cut, row.decode), "fail 0081S");
        if (row.skip) {
            EXPECT_TRUE(failed_with(decoded(cut, KEL_OER, [&](KelGlobal *w) { row.skip(w); }), "0081S"));
        }
    }
}

TEST_F(OerTimeForms, EncodersRefuseTextsOutOfRange) {
    struct Row {
        Encoder encode;
        const char *text;
    };
    const Row rows[] = {
        {enc<_kel_oenc_t_year>, "202"},
        {enc<_kel_oenc_t_year>, "+3000000000"},
        {enc<_kel_oenc_t_year_month>, "2021-13"},
        {enc<_kel_oenc_t_year_month>, "2021/07"},
        {enc<_kel_oenc_t_date>, "2021-07-00"},
        {enc<_kel_oenc_t_date>, "2021-07-32"},
        {enc<_kel_oenc_t_hours>, "25"},
        {enc<_kel_oenc_t_hours>, "2"},
        {enc<_kel_oenc_t_minutes>, "12:60"},
        {enc<_kel_oenc_t_minutes>, "12.30"},
        {enc<_kel_oenc_t_daytime>, "12:30:61"},
        {enc_n<_kel_oenc_t_daytime_fraction, 3>, "12:30:15.25"},
        {enc_n<_kel_oenc_t_daytime_fraction, 3>, "12:30:15-250"},
        {enc<_kel_oenc_t_hours_diff>, "12+16"},
        {enc<_kel_oenc_t_hours_diff>, "12+05:60"},
        {enc<_kel_oenc_t_hours_diff>, "12Z"},
        {enc<_kel_oenc_t_duration_interval>, "1Y"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(encode_failure(row.encode, row.text), "0012S") << row.text;
}

TEST_F(OerTimeForms, DecodersPrintWithoutRangeTests) {
    // Hours 99 print; 100 has three digits.
    EXPECT_EQ(decode_text({0x63}, dec<_kel_odec_t_hours>), "99");
    EXPECT_EQ(decode_text({0x64}, dec<_kel_odec_t_hours>), "fail 0012S");
    // Month 13 prints too.
    EXPECT_EQ(decode_text({0x02, 0x07, 0xE5, 0x0D}, dec<_kel_odec_t_year_month>), "2021-13");
    // Differences of 60 and 90 minutes.
    EXPECT_EQ(decode_text({0x0C, 0x00, 0x3C}, dec<_kel_odec_t_hours_diff>), "12+01");
    EXPECT_EQ(decode_text({0x0C, 0x00, 0x5A}, dec<_kel_odec_t_hours_diff>), "12+01:30");
    // 100 hours of difference: 6000 = 0x1770 needs three digits.
    EXPECT_EQ(decode_text({0x0C, 0x17, 0x70}, dec<_kel_odec_t_hours_diff>), "fail 0012S");
    // 123456 has more digits than the limit of 5.
    EXPECT_EQ(decode_text({0x03, 0x01, 0xE2, 0x40}, dec_n<_kel_odec_t_any_year, 5>), "fail 0012S");
    // A fraction wider than its digit count.
    EXPECT_EQ(decode_text({0x0C, 0x1E, 0x0F, 0x02, 0x03, 0xE8}, dec_n<_kel_odec_t_daytime_fraction, 3>), "fail 0012S");
    // The time with a difference reads its fraction in 32 bits only: the
    // 20-digit fraction that the writer takes can't come back.
    const Octets wide{0x00, 0x00, 0x00, 0x08, 0xAB, 0x54, 0xA9, 0x8C, 0xEB, 0x1F, 0x0A, 0xD2, 0x00, 0x00};
    EXPECT_EQ(encode_text(enc_n<_kel_oenc_t_daytime_diff_fraction, 20>, "00:00:00.12345678901234567890+00"), wide);
    EXPECT_EQ(decode_text(wide, dec_n<_kel_odec_t_daytime_diff_fraction, 20>), "fail 0144E");
    // COER refuses a year with a needless octet, OER takes it.
    EXPECT_EQ(decode_text({0x02, 0x00, 0x05}, dec<_kel_odec_t_year>), "0005");
    EXPECT_EQ(decode_text({0x02, 0x00, 0x05}, dec<_kel_odec_t_year>, KEL_COER), "fail 0022E");
}

TEST_F(OerTimeForms, DurationsMisencoded) {
    const Decoder duration = dec<_kel_odec_t_duration_interval>;
    const struct {
        Octets input;
        const char *outcome;
    } rows[] = {
        {{0x00}, "fail 0356S"},
        {{0x01, 0x01, 0x01, 0x01, 0x05}, "fail 0356S"},
        // Weeks with days.
        {{0x30, 0x01, 0x01, 0x01, 0x01}, "fail 0356S"},
        // Zero years before months: refused before the months are read.
        {{0xC0, 0x01, 0x00}, "fail 0356S"},
        // A zero last component is fine.
        {{0x10, 0x01, 0x00}, "P0D"},
        // Fraction digit counts of 0 and 21.
        {{0x03, 0x01, 0x01, 0x01, 0x00, 0x01, 0x05}, "fail 0012S"},
        {{0x03, 0x01, 0x01, 0x01, 0x15, 0x01, 0x05}, "fail 0012S"},
        // A number that is not a count form.
        {{0x10, 0x00, 0x00}, "fail 0037E"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(decode_text(row.input, duration), row.outcome) << testing::PrintToString(row.input);
}

TEST_F(OerTimeForms, SkipsRefuseBadCountsAndShortInput) {
    const struct {
        Octets input;
        Skipper skip;
        const char *failure;
    } rows[] = {
        {{0x00, 0x01}, _kel_oskip_t_year, "0037E"},
        {{0x80, 0x01}, _kel_oskip_t_year, "0037E"},
        {{}, _kel_oskip_t_year, "0081S"},
        // The count promises two octets, and a date two more.
        {{0x02, 0x07, 0xE5, 0x07}, _kel_oskip_t_date, "0081S"},
        {{0x0C, 0x1E, 0x0F, 0x00}, _kel_oskip_t_daytime_fraction, "0037E"},
        {{0x10, 0x05, 0x01}, _kel_oskip_t_duration_interval, "0081S"},
    };
    for (const auto &row : rows)
        EXPECT_TRUE(failed_with(decoded(row.input, KEL_OER, [&](KelGlobal *w) { row.skip(w); }), row.failure))
            << testing::PrintToString(row.input) << " " << kelGetErrMsg(world);
}

TEST_F(OerTimeForms, AnyTimeTextGoesCanonicalBehindALength) {
    // The zero minutes of the difference are dropped: 26 characters.
    const char *text = "2020-01-01T10:00:00.500+01:00";
    Octets expect = counted_text("2020-01-01T10:00:00.500+01");
    EXPECT_EQ(encoded([&](KelGlobal *w) { _kel_oenc_nlltrm_date_time(w, text); }), expect);
    // Zero components of a duration are dropped in the canonical rule only.
    const OerBody duration = [](KelGlobal *w) { _kel_oenc_nlltrm_date_time(w, "P1Y0M2DT0H"); };
    EXPECT_EQ(encode_under(KEL_OER, duration), counted_text("P1Y0M2DT0H"));
    EXPECT_EQ(encode_under(KEL_COER, duration), counted_text("P1Y2D"));
    EXPECT_EQ(encode_failure([](KelGlobal *w, const char *t) { _kel_oenc_nlltrm_date_time(w, t); return t; },
                             "2020-01-01/2020-01-02T00:00"),
              "0012S");
    // A text too long for the local buffer goes through temporary memory
    // (here a fraction too wide for the time library).
    const std::string long_text = "2020-01-01T10:00:00." + std::string(150, '1') + "Z";
    EXPECT_EQ(encode_failure([](KelGlobal *w, const char *t) { _kel_oenc_nlltrm_date_time(w, t); return t; },
                             long_text.c_str()),
              "0012S");
}

} // namespace
