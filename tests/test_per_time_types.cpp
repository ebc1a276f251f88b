// Tests of the PER TIME primitives: the fixed-settings forms composed from
// their fields as generated code composes them, durations, recurrences and
// the mixed form, against octets derived by hand field by field; round trips
// back to the text, skips that land where the decoders do, and the refusals.
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
using EncodeFn = const char *(*)(KelGlobal *, const char *);
using DecodeFn = char *(*)(KelGlobal *, char *);
using SkipFn = void (*)(KelGlobal *);

// One field as generated code handles it: its encoder, decoder and skip.
struct Step {
    EncodeFn encode;
    DecodeFn decode;
    SkipFn skip;
};

void skip_fraction(KelGlobal *w) {
    if (_kel_get_bit(w, 0))
        _kel_pskip_int(w);
    else
        _kel_skip_bits(w, w->aligned ? 16 : 10, 1);
}

const Step kCentury{_kel_pe_t_century, _kel_pd_t_century, _kel_skip_7bit_unaligned};
const Step kAnyCentury{_kel_pe_t_any_century, [](KelGlobal *w, char *o) { return _kel_pd_t_any_century(w, o, 20); }, _kel_pskip_int};
const Step kYear{_kel_pe_t_year, _kel_pd_t_year, _kel_ps_t_year};
const Step kAnyYear{_kel_pe_t_any_year, [](KelGlobal *w, char *o) { return _kel_pd_t_any_year(w, o, 20); }, _kel_pskip_int};
const Step kMonth{_kel_pe_t_month, _kel_pd_t_month, _kel_skip_4bit_unaligned};
const Step kDay{_kel_pe_t_day_of_month, _kel_pd_t_day_of_month, _kel_skip_5bit_unaligned};
const Step kDayOfYear{_kel_pe_t_day_of_year, _kel_pd_t_day_of_year, [](KelGlobal *w) { _kel_skip_bits(w, w->aligned ? 16 : 9, 1); }};
const Step kWeek{_kel_pe_t_week, _kel_pd_t_week, _kel_skip_6bit_unaligned};
const Step kDayOfWeek{_kel_pe_t_day_of_week, _kel_pd_t_day_of_week, _kel_skip_3bit_unaligned};
const Step kHours{_kel_pe_t_hours, _kel_pd_t_hours, _kel_skip_5bit_unaligned};
const Step kMinutes{[](KelGlobal *w, const char *t) { return _kel_pe_t_mins_or_secs(w, t, 59); }, _kel_pd_t_mins_or_secs, _kel_skip_6bit_unaligned};
const Step kSeconds{[](KelGlobal *w, const char *t) { return _kel_pe_t_mins_or_secs(w, t, 60); }, _kel_pd_t_mins_or_secs, _kel_skip_6bit_unaligned};
const Step kFraction1{[](KelGlobal *w, const char *t) { return _kel_pe_t_time_fraction(w, t, 1); }, [](KelGlobal *w, char *o) { return _kel_pd_t_time_fraction(w, o, 1); }, skip_fraction};
const Step kFraction6{[](KelGlobal *w, const char *t) { return _kel_pe_t_time_fraction(w, t, 6); }, [](KelGlobal *w, char *o) { return _kel_pd_t_time_fraction(w, o, 6); }, skip_fraction};
const Step kDiff{_kel_pe_t_time_diff, _kel_pd_t_time_diff, _kel_ps_t_time_diff};
const Step kRecurrence{_kel_pe_t_recurrence, [](KelGlobal *w, char *o) { return _kel_pd_t_recurrence(w, o, 20); }, [](KelGlobal *w) { if (_kel_get_bit(w, 0)) _kel_pskip_int(w); }};
const Step kDuration{_kel_pe_t_duration_interval, _kel_pd_t_duration_interval, _kel_ps_t_duration_interval};
const Step kMixed{_kel_pe_t_mixed, _kel_pd_t_mixed, _kel_ps_t_mixed};
// Text without bits that generated code steps over and writes itself.
const Step kT{[](KelGlobal *, const char *t) { return t + 1; }, [](KelGlobal *, char *o) { return *o = 'T', o + 1; }, [](KelGlobal *) {}};
const Step kZ{[](KelGlobal *, const char *t) { return t + 1; }, [](KelGlobal *, char *o) { return *o = 'Z', o + 1; }, [](KelGlobal *) {}};

struct PerTime : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    Octets buffer = Octets(256);

    void TearDown() override {
        _kel_freetempMem(world);
        _kel_freeMem(world, world->freeMem);
    }
    // Runs the encoders of `steps` over `text`; the octets written, or the
    // return code through `rc`.
    Octets encoded(bool aligned, const char *text, const std::vector<Step> &steps, int *rc = nullptr) {
        std::fill(buffer.begin(), buffer.end(), 0);
        world->aligned = aligned, world->bitOffset = 0;
        world->userBuffer = 1, world->outPos = buffer.data(), world->outRemaining = static_cast<int32_t>(buffer.size());
        world->ext->timeInterval = 0;
        const char *end = nullptr;
        const int code = kel_test::in_frame(world, kel::kPhaseEncoder, [&] {
            const char *p = text;
            for (const Step &s : steps)
                p = s.encode(world, p);
            end = p;
        });
        if (rc) {
            *rc = code;
        } else {
            EXPECT_EQ(code, 0) << kelGetErrMsg(world);
            if (code == 0) {
                EXPECT_EQ(*end, 0) << "text left: " << end;
            }
        }
        return Octets(buffer.data(), world->outPos + (world->bitOffset ? 1 : 0));
    }
    // Decodes `input` (kept exactly sized) into `text`; the return code.
    int decoded(const Octets &input, bool aligned, const std::vector<Step> &steps, std::string &text) {
        char out[128] = {};
        start_reading(input, aligned);
        const int code = kel_test::in_frame(world, kel::kPhaseDecoder, [&] {
            char *o = out;
            for (const Step &s : steps)
                o = s.decode(world, o);
        });
        text = out;
        return code;
    }
    int skipped(const Octets &input, bool aligned, const std::vector<Step> &steps) {
        start_reading(input, aligned);
        return kel_test::in_frame(world, kel::kPhaseDecoder, [&] {
            for (const Step &s : steps)
                s.skip(world);
        });
    }
    void start_reading(const Octets &input, bool aligned) {
        world->aligned = aligned, world->bitOffset = 0, world->userBuffer = 0;
        world->inPos = const_cast<uint8_t *>(input.data()), world->inRemaining = static_cast<int32_t>(input.size());
    }
    // Bits consumed so far.
    int64_t read_position(const Octets &input) const {
        return (world->inPos - input.data()) * 8 + world->bitOffset;
    }
    bool failed_with(int rc, const char *number) { return rc != 0 && std::strncmp(kelGetErrMsg(world) + 1, number, 5) == 0; }
};

struct Row {
    const char *text;
    std::vector<Step> steps;
    Octets aligned;
    Octets unaligned = {};      // empty: as aligned
    const char *back = nullptr; // decoded text when it differs from `text`
};

// Encodes each row in both variants, compares the octets, decodes back to
// the text, and skips to the bit where the decoders stopped.
void check_rows(PerTime &t, const std::vector<Row> &rows) {
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text);
        for (bool aligned : {true, false}) {
            SCOPED_TRACE(aligned ? "aligned" : "unaligned");
            const Octets out = t.encoded(aligned, row.text, row.steps);
            EXPECT_EQ(out, aligned || row.unaligned.empty() ? row.aligned : row.unaligned);
            std::string back;
            ASSERT_EQ(t.decoded(out, aligned, row.steps, back), 0) << kelGetErrMsg(t.world);
            EXPECT_EQ(back, row.back ? row.back : row.text);
            const int64_t decodedBits = t.read_position(out);
            ASSERT_EQ(t.skipped(out, aligned, row.steps), 0) << kelGetErrMsg(t.world);
            EXPECT_EQ(t.read_position(out), decodedBits);
            // The last octet cut off: the decoder runs out of input.
            const Octets cut(out.begin(), out.end() - 1);
            EXPECT_TRUE(t.failed_with(t.decoded(cut, aligned, row.steps, back), "0081S"));
        }
    }
}

TEST_F(PerTime, DatesOfFixedSettings) {
    check_rows(*this, {
        // Century 20: 7 bits 0010100.
        {"20C", {kCentury}, {0x28}},
        // Selector 00 and 4 bits of year - 2005: 2005 -> 000000, 2020 -> 001111.
        {"2005", {kYear}, {0x00}},
        {"2020", {kYear}, {0x3C}},
        // 2100: selector 01, 79 = 01001111; aligned PER pads to the octet.
        // Unaligned: 01 01001111 -> 01010011 11.
        {"2100", {kYear}, {0x40, 0x4F}, {0x53, 0xC0}},
        // 2004: selector 10, 255.  Unaligned: 10 11111111 -> 10111111 11.
        {"2004", {kYear}, {0x80, 0xFF}, {0xBF, 0xC0}},
        // 1748: selector 11, then count 02 and 06 D4, the octets aligned in
        // aligned PER only.  Unaligned: 11 00000010 00000110 11010100.
        {"1748", {kYear}, {0xC0, 0x02, 0x06, 0xD4}, {0xC0, 0x81, 0xB5, 0x00}},
        // 2020-05: 001111, month 5 - 1 = 0100 -> 00111101 00.
        {"2020-05", {kYear, kMonth}, {0x3D, 0x00}},
        // 2021-12-31: 01 (aligned: pad, octet 00), 1011, 11110.
        // Unaligned: 01 00000000 1011 11110 -> 01000000 00101111 110.
        {"2021-12-31", {kYear, kMonth, kDay}, {0x40, 0x00, 0xBF, 0x00}, {0x40, 0x2F, 0xC0}},
        // 2020-366: 001111, day 365 as two aligned octets 01 6D, or 9 bits
        // 101101101 -> 00111110 1101101.
        {"2020-366", {kYear, kDayOfYear}, {0x3C, 0x01, 0x6D}, {0x3E, 0xDA}},
        // 2020-W53: 001111, week 52 = 110100.
        {"2020-W53", {kYear, kWeek}, {0x3F, 0x40}},
        // 2020-W01-7: 001111 000000 110.
        {"2020-W01-7", {kYear, kWeek, kDayOfWeek}, {0x3C, 0x0C}},
        // Signed forms: unconstrained integers, -44 = D4, 12345 = 30 39, -5 = FB.
        {"-0044", {kAnyYear}, {0x01, 0xD4}},
        {"12345-01", {kAnyYear, kMonth}, {0x02, 0x30, 0x39, 0x00}, {}, "+12345-01"},
        {"-05C", {kAnyCentury}, {0x01, 0xFB}},
    });
}

TEST_F(PerTime, TimesOfFixedSettings) {
    check_rows(*this, {
        // Hours 23 = 10111, minutes 59 = 111011, seconds 60 = 111100.
        {"23:59:60", {kHours, kMinutes, kSeconds}, {0xBF, 0x7E, 0x00}},
        // Hours 24 = 11000; the 'Z' has no bits.
        {"24Z", {kHours, kZ}, {0xC0}},
        // 01010 011110, then the difference: no minutes 0, plus 0, 0101.
        {"10:30+05", {kHours, kMinutes, kDiff}, {0x53, 0xC2, 0x80}},
        // Minutes 1, minus 1, 0101, 30 - 1 = 011101 -> 11010101 1101.
        {"-05:30", {kDiff}, {0xD5, 0xD0}},
        // Hours 01010, fraction 0 bit and 5: two aligned octets 00 05, or
        // 10 bits: 01010 0 0000000101 -> 01010000 00000101.
        {"10.5", {kHours, kFraction1}, {0x50, 0x00, 0x05}, {0x50, 0x05}},
        // 123456 (6 digits) is above 999: 1 bit and count 03, 01 E2 40.
        // 17 bits of time, the 1: 01010000 00000000 01; unaligned the
        // integer follows at once.
        {"10:00:00,123456", {kHours, kMinutes, kSeconds, kFraction6}, {0x50, 0x00, 0x40, 0x03, 0x01, 0xE2, 0x40},
         {0x50, 0x00, 0x40, 0xC0, 0x78, 0x90, 0x00}, "10:00:00.123456"},
        // 2020-05-17T10:30Z: 001111 0100 10000 01010 011110.
        {"2020-05-17T10:30Z", {kYear, kMonth, kDay, kT, kHours, kMinutes, kZ}, {0x3D, 0x20, 0xA7, 0x80}},
    });
}

TEST_F(PerTime, DurationsAndRecurrences) {
    check_rows(*this, {
        // Mask 0x10, then 0 and 00000.
        {"P0D", {kDuration}, {0x10, 0x00}},
        // Mask 0xDC; 0 00001, 0 0010, 0 01010, 0 00010, 0 011110.
        {"P1Y2M10DT2H30M", {kDuration}, {0xDC, 0x04, 0x45, 0x04, 0x78}},
        // 100 years: 1 and an unconstrained 01 64.  Unaligned:
        // 1 00000001 01100100 -> 10000000 10110010 0.
        {"P100Y", {kDuration}, {0x80, 0x80, 0x01, 0x64}, {0x80, 0x80, 0xB2, 0x00}},
        // Mask 0x21, weeks 0 000010, digits 0 00, value 0 and 5 (aligned
        // octets 00 05, or 10 bits).
        {"P2.5W", {kDuration}, {0x21, 0x04, 0x00, 0x00, 0x05}, {0x21, 0x04, 0x00, 0x28}},
        // Mask 0x03, seconds 0 000000, digits 0 00, value 5; the comma
        // becomes a point.
        {"PT0,5S", {kDuration}, {0x03, 0x00, 0x00, 0x00, 0x05}, {0x03, 0x00, 0x00, 0x28}, "PT0.5S"},
        // No count: one 0 bit.  Count 12: 1, then 01 0C.
        {"R/", {kRecurrence}, {0x00}},
        {"R12/", {kRecurrence}, {0x80, 0x01, 0x0C}, {0x80, 0x86, 0x00}},
    });
}

TEST_F(PerTime, MixedAlternatives) {
    check_rows(*this, {
        // Index 0 (000000), century 0010100.
        {"20C", {kMixed}, {0x00, 0xA0}},
        // Index 2, 001111; a plus sign decides nothing and is not written back.
        {"+2020", {kMixed}, {0x08, 0xF0}, {}, "2020"},
        // Index 3 and -44: aligned 00001100, 01 D4; unaligned 000011 00000001 11010100.
        {"-0044", {kMixed}, {0x0C, 0x01, 0xD4}, {0x0C, 0x07, 0x50}},
        // Index 6: 000110 001111 0100 10000.
        {"2020-05-17", {kMixed}, {0x18, 0xF4, 0x80}},
        // Index 19 (minutes, difference): 010011 01010 011110 000101.
        {"10:30+05", {kMixed}, {0x4D, 0x4F, 0x0A}},
        // Index 24 (hours, 'Z', fraction): 011000, digit count 1 as 01 00,
        // hours 01010, fraction 0 and 5.  Unaligned: 011000 00000001
        // 00000000 01010 0 0000000101.
        {"10.5Z", {kMixed}, {0x60, 0x01, 0x00, 0x50, 0x00, 0x05}, {0x60, 0x04, 0x01, 0x40, 0x14}},
        // Index 32: 100000, date form 0110, 001111 0100 10000, time form
        // 0 00100, 01010 011110.
        {"2020-05-17T10:30Z", {kMixed}, {0x81, 0x8F, 0x48, 0x08, 0xA7, 0x80}},
        // Index 34: 100010, time form 0 00101; 01010 000000 000101; the
        // second half inherits the difference: 01011 000000 000101.
        {"10:00+05/11:00", {kMixed}, {0x88, 0x55, 0x00, 0x2A, 0xC0, 0x14}, {}, "10:00+05/11:00+05"},
        // Index 46, recurrence 0, mask 10000000, years 0 00001.
        {"R/P1Y", {kMixed}, {0xB9, 0x00, 0x08}},
        // Index 47: 101111, recurrence 1 and 01 03; date form 0110, 001111
        // 0000 00000; mask 00010000, days 0 00001.
        {"R3/2020-01-01/P1D", {kMixed}, {0xBE, 0x01, 0x03, 0x63, 0xC0, 0x02, 0x00, 0x80},
         {0xBE, 0x02, 0x06, 0xC7, 0x80, 0x04, 0x01}},
        // Index 42: 101010, mask 00010000, 0 00001; the date-time states its
        // forms: 0110 001111 0000 00000, 0 00011 00000 000000.
        {"P1D/2020-01-01T00:00", {kMixed}, {0xA8, 0x40, 0x16, 0x3C, 0x00, 0x18, 0x00}},
    });
    // Round trips of the other shapes: date-times with an inherited
    // difference (35), a recurring interval of week dates (45), signed
    // year-days (33), a time with a fraction and a duration (48), a duration
    // and a time (41).
    const std::pair<const char *, const char *> trips[] = {
        {"2020-01-01T10:00-05:30/2020-01-02T10:00", "2020-01-01T10:00-05:30/2020-01-02T10:00-05:30"},
        {"R/2020-W01-1T10Z/2020-W02-1T10Z", nullptr},
        {"-0100-001/+10000-002", nullptr},
        {"R7/10:00:00.25/PT1H", nullptr},
        {"PT1M/23:59:60", nullptr},
    };
    for (const auto &[text, expect] : trips) {
        SCOPED_TRACE(text);
        for (bool aligned : {true, false}) {
            const Octets out = encoded(aligned, text, {kMixed});
            std::string back;
            ASSERT_EQ(decoded(out, aligned, {kMixed}, back), 0) << kelGetErrMsg(world);
            EXPECT_EQ(back, expect ? expect : text);
            const int64_t decodedBits = read_position(out);
            ASSERT_EQ(skipped(out, aligned, {kMixed}), 0);
            EXPECT_EQ(read_position(out), decodedBits);
        }
    }
    // The interval state is idle again behind the value.
    encoded(true, "10:00+05/11:00", {kMixed});
    EXPECT_EQ(world->ext->timeInterval, 0);
}

TEST_F(PerTime, EncodersRefuseBadText) {
    struct Case {
        const char *text;
        std::vector<Step> steps;
        const char *failure;
    };
    const Case cases[] = {
        {"25", {kHours}, "0012S"},
        {":60", {kMinutes}, "0012S"},
        {"-13", {kMonth}, "0012S"},
        {"-00", {kMonth}, "0012S"},
        {"-32", {kDay}, "0012S"},
        {"-367", {kDayOfYear}, "0012S"},
        {"-W54", {kWeek}, "0012S"},
        {"-8", {kDayOfWeek}, "0012S"},
        {"20", {kCentury}, "0012S"},
        {"999", {kYear}, "0012S"},
        {"99999999999", {kYear}, "0144E"},
        {"+16", {kDiff}, "0012S"},
        {"+05:60", {kDiff}, "0012S"},
        {"Z", {kDiff}, "0012S"}, // no sign and nothing remembered
        {".55", {kFraction1}, "0012S"},
        {"R0/", {kRecurrence}, "0012S"},
        {"R5", {kRecurrence}, "0012S"},
        {"1Y", {kDuration}, "0012S"},
        {"R5/2020", {kMixed}, "0012S"},            // a point does not recur
        {"P1D/P2D", {kMixed}, "0012S"},
        {"2020-01-01/2020-02", {kMixed}, "0012S"}, // the second half takes the form of the first
        {"10:00Z/11:00", {kMixed}, "0012S"},
        {"10:00:00:00", {kMixed}, "0012S"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        int rc = 0;
        encoded(true, c.text, c.steps, &rc);
        EXPECT_TRUE(failed_with(rc, c.failure)) << kelGetErrMsg(world);
    }
    int rc = 0;
    encoded(true, "60", {kSeconds}, &rc);
    EXPECT_TRUE(failed_with(rc, "0012S"));
    encoded(true, ":60", {kSeconds}, &rc);
    EXPECT_EQ(rc, 0);
}

TEST_F(PerTime, DecodersRefuseBadInput) {
    struct Case {
        Octets input;
        std::vector<Step> steps;
        const char *failure;
    };
    const Case cases[] = {
        {{0xC8}, {kHours}, "0012S"},        // 11001: 25
        {{0xC0}, {kMonth}, "0012S"},        // 1100: 13
        {{0xFC}, {kMinutes}, "0012S"},      // 111111: 63
        {{0xBF, 0xC0}, {kDiff}, "0012S"},   // 1 0 1111, minutes 111100 + 1 = 61
        {{0x00, 0x00}, {kDuration}, "0356S"},
        {{0x01, 0x00}, {kDuration}, "0356S"},
        {{0x30, 0x00, 0x00}, {kDuration}, "0356S"},       // weeks with days
        {{0xC0, 0x00, 0x20}, {kDuration}, "0356S"},       // zero years, then one month
        {{0x03, 0x01, 0x01, 0x15}, {kDuration}, "0012S"}, // 21 fraction digits
        {{0x80, 0x80, 0xFF, 0x80}, {kDuration}, "0356S"}, // years -1
        {{0xD4}, {kMixed}, "0012S"},                      // index 53
        {{0x83, 0x80}, {kMixed}, "0012S"},                // date form 14
        {{0x81, 0x8F, 0x48, 0x24}, {kMixed}, "0012S"},    // time form 0 10010: 18 without the fraction bit
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(&c - cases);
        std::string text;
        EXPECT_TRUE(failed_with(decoded(c.input, false, c.steps, text), c.failure)) << kelGetErrMsg(world);
    }
}

TEST_F(PerTime, DurationFractionOffsetOfCompatibility) {
    // With the offset the short field holds value - 1 (5 -> 4), and 0 goes
    // long: 1, count 01, 00.
    world->ext->compatFlags |= 0x800000;
    check_rows(*this, {
        {"PT0.5S", {kDuration}, {0x03, 0x00, 0x00, 0x00, 0x04}, {0x03, 0x00, 0x00, 0x20}},
        {"PT1.0S", {kDuration}, {0x03, 0x02, 0x20, 0x01, 0x00}, {0x03, 0x02, 0x20, 0x20, 0x00}},
    });
    world->ext->compatFlags &= ~0x800000u;
}

} // namespace
