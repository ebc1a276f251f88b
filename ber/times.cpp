// times.cpp - UTCTime and GeneralizedTime in BER, from and to KelTimeStruct
// and as NUL-terminated text, with the DER and CER rules on fractions and
// zones; and the TIME family (TIME, DATE, TIME-OF-DAY, DATE-TIME, DURATION)
// held as text, whose wire form drops the punctuation.

#include <cstring>

#include "ber.h"
#include "internal.h"
#include "kelvarn_ber.h"
#include "time_contents.h"

namespace {

using namespace kel::ber;
using kel::ber::decoder_unconstrained;
using kel::ber::encoder_unconstrained;
using kel::useful_time::check_ranges;
using kel::useful_time::TimeText;

// Compatibility flags: relaxed time rules under DER; a final NUL accepted in
// a time held as text.
constexpr uint32_t kCompatLooseTime = 0x8000;
constexpr uint32_t kCompatTrailingNul = 0x80;

// Type numbers of the TIME family.
enum TimeKind : int32_t { kTime = 14, kDate = 31, kTimeOfDay = 32, kDateTime = 33, kDuration = 34 };

bool der_or_cer(const KelGlobal *world) {
    return world->encRules == KEL_DER || world->encRules == KEL_CER;
}

// The time rules of X.690 11.7 and 11.8: always under DER, under CER with
// strict decoding.
bool canonical_time(const KelGlobal *world) {
    return world->encRules == KEL_DER || (world->encRules == KEL_CER && strict(world));
}

bool strict_time(const KelGlobal *world) {
    return canonical_time(world) && !(world->ext->compatFlags & kCompatLooseTime);
}

// Strict CER and DER decoding also hold the day to its month: no 30
// February.  A two-digit UTCTime year stands for 1950 to 2049, where every
// fourth year is a leap year.
void check_day_of_month(KelGlobal *world, int year, int month, int day) {
    constexpr uint8_t kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12)
        return; // the range tests report it
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    if (day > kDays[month - 1] || (month == 2 && day == 29 && !leap))
        _kel_enc_error(world, kel::useful_time::kMsgMonthRange + 1, static_cast<uint32_t>(day));
}

// ---------------------------------------------------------------------------
// Decoding

// The contents of a time value, read with a local count.
struct TimeReader {
    KelGlobal *world;
    const unsigned char *p;
    int32_t left;

    bool digit_follows() const { return left > 0 && static_cast<unsigned>(*p - '0') < 10u; }
    int16_t digits(int count) {
        int16_t value = 0;
        for (int i = 0; i < count; ++i) {
            if (!digit_follows())
                _kel_enc_error(world, kel::kMsgMisencoded, 0);
            value = static_cast<int16_t>(value * 10 + (*p++ - '0'));
            --left;
        }
        return value;
    }
    bool take(char c) {
        if (left > 0 && *p == c) {
            ++p;
            --left;
            return true;
        }
        return false;
    }
};

// Milliseconds from a fraction of an hour (7 digits kept), of a minute (6)
// or of a second (4), `value` holding exactly that many digits.
struct FractionForm {
    int digits;
    uint32_t numerator, denominator, max; // ms = (value * numerator + d / 2) / d
};
constexpr FractionForm kHourFraction{7, 36, 100, 3599999};
constexpr FractionForm kMinuteFraction{6, 6, 100, 59999};
constexpr FractionForm kSecondFraction{4, 1, 10, 999};

// Reads the fraction behind the point: its significant digits, the rest read
// and dropped.  Under `strict` it needs a digit and must not end in 0.
uint32_t read_fraction(TimeReader &in, const FractionForm &form, bool strict) {
    uint32_t value = 0;
    int kept = 0;
    uint8_t last = 0;
    bool any = false;
    while (in.digit_follows()) {
        last = *in.p;
        any = true;
        if (kept < form.digits) {
            value = value * 10 + (last - '0');
            ++kept;
        }
        ++in.p;
        --in.left;
    }
    if (strict && (!any || last == '0'))
        _kel_enc_error(in.world, kMsgTimeNotUtc, 0);
    for (; kept < form.digits; ++kept)
        value *= 10;
    const uint32_t ms = (value * form.numerator + form.denominator / 2) / form.denominator;
    return ms < form.max ? ms : form.max;
}

// GeneralizedTime (4-digit year, a fraction allowed) or UTCTime (2-digit
// year, a zone required).
void decode_time(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                 KelTimeStruct *value, bool utcTime) {
    if (length < 0)
        _kel_enc_error(world, world->bitOffset ? kMsgExpectedPrimitive : kMsgIndefinitePrimitive, 0);
    if (length > *rem)
        _kel_enc_error(world, kel::kMsgEndOfInput, 0);
    const bool strict = strict_time(world);
    value->hour = value->minute = value->second = value->millisec = value->mindiff = 0;
    value->utc = 0;
    TimeReader in{world, *pos, length};

    value->year = in.digits(utcTime ? 2 : 4);
    int16_t *const fields[] = {&value->month, &value->day, &value->hour, &value->minute,
                               &value->second};
    int count = 0;
    while (count < 5 && in.digit_follows())
        *fields[count++] = in.digits(2);
    if (count < 2)
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    if (strict && count < 5)
        _kel_enc_error(world, kMsgTimeNotUtc, 0);

    if (!utcTime && (in.take('.') || in.take(','))) {
        if (strict && in.p[-1] == ',')
            _kel_enc_error(world, kMsgTimeNotUtc, 0);
        if (count < 3)
            _kel_enc_error(world, kel::kMsgMisencoded, 0);
        const FractionForm &form = count == 3 ? kHourFraction : count == 4 ? kMinuteFraction : kSecondFraction;
        uint32_t ms = read_fraction(in, form, strict);
        if (count < 5) {
            if (count == 3) {
                value->minute = static_cast<int16_t>(ms / 60000);
                ms %= 60000;
            }
            value->second = static_cast<int16_t>(ms / 1000);
            ms %= 1000;
        }
        value->millisec = static_cast<int16_t>(ms);
    }

    if (strict && !(in.left > 0 && *in.p == 'Z'))
        _kel_enc_error(world, kMsgTimeNotUtc, 0);
    if (in.take('Z')) {
        value->utc = 1;
    } else if (in.left > 0 && (*in.p == '+' || *in.p == '-')) {
        const bool negative = *in.p == '-';
        in.take(*in.p);
        int minutes = in.digits(2) * 60;
        if (utcTime || in.left > 0)
            minutes += in.digits(2);
        value->mindiff = static_cast<int16_t>(negative ? -minutes : minutes);
    } else if (in.left > 0 || utcTime) {
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    }
    if (in.left > 0)
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    if (canonical_time(world) && !value->utc)
        _kel_enc_error(world, kMsgTimeNotUtc, 0);
    if (!decoder_unconstrained(world)) {
        check_ranges(world, value, 999);
        if (strict_canonical(world))
            check_day_of_month(world, utcTime ? 2000 + value->year : value->year, value->month,
                               value->day);
    }
    *pos += length;
    *rem -= length;
}

// Wire form of the DATE, TIME-OF-DAY and DATE-TIME kinds: the text without
// its punctuation, which comes back at these places.
struct Punctuated {
    int32_t kind;
    int32_t wireLength;
    const char *layout; // '#' a digit of the wire form
};
constexpr Punctuated kPunctuated[] = {
    {kDate, 8, "####-##-##"},
    {kTimeOfDay, 6, "##:##:##"},
    {kDateTime, 14, "####-##-##T##:##:##"},
};

const Punctuated *punctuated(int32_t kind) {
    for (const Punctuated &p : kPunctuated)
        if (p.kind == kind)
            return &p;
    return nullptr;
}

} // namespace

extern "C" {

int _kel_encd_gtime(KelGlobal *world, unsigned char **pos, int32_t *rem, const KelTimeStruct *value) {
    if (!encoder_unconstrained(world))
        check_ranges(world, value, 999);
    TimeText t;
    t.generalized(world, value);
    if (world->encRules == KEL_BER && t.ends_in_00())
        t.n -= 2;
    if (value->utc)
        t.put('Z');
    else if (der_or_cer(world))
        _kel_enc_error(world, kMsgTimeNotUtc, 0);
    else if (value->mindiff)
        t.offset(world, value);
    return _kel_write_bytes_d(world, pos, rem, t.text, static_cast<int32_t>(t.n));
}

int _kel_encd_utime(KelGlobal *world, unsigned char **pos, int32_t *rem, const KelTimeStruct *value) {
    if (!encoder_unconstrained(world))
        check_ranges(world, value, 0);
    if (der_or_cer(world) && !value->utc && value->mindiff)
        _kel_enc_error(world, kMsgTimeNotUtc, 0);
    TimeText t;
    t.utc(world, value);
    if (world->encRules == KEL_BER && t.ends_in_00())
        t.n -= 2;
    t.zone(world, value);
    return _kel_write_bytes_d(world, pos, rem, t.text, static_cast<int32_t>(t.n));
}

void _kel_dec_gtime(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                    KelTimeStruct *value) {
    decode_time(world, pos, rem, length, value, false);
}

void _kel_dec_utime(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                    KelTimeStruct *value) {
    decode_time(world, pos, rem, length, value, true);
}

int _kel_encd_untime(KelGlobal *world, unsigned char **pos, int32_t *rem, const char *text,
                     int32_t limit, int16_t kind) {
    if (!text)
        _kel_enc_error(world, kMsgNullInput, 0);
    const auto n = static_cast<uint32_t>(std::strlen(text));
    if (limit > 0 && n > static_cast<uint32_t>(limit))
        _kel_enc_error(world, kMsgSizeExceeded, n);
    if (!encoder_unconstrained(world))
        _kel_check_nullterm_time(world, text, kind != 0);
    return _kel_write_bytes_d(world, pos, rem, text, static_cast<int32_t>(n));
}

int32_t _kel_dec_untime(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                        unsigned char **value, int32_t limit, int16_t kind) {
    if (length < 0)
        _kel_enc_error(world, world->bitOffset ? kMsgExpectedPrimitive : kMsgIndefinitePrimitive, 0);
    if (limit > 0 && length > limit)
        _kel_enc_error(world, kMsgSizeExceeded, static_cast<uint32_t>(length));
    const unsigned char *p = take_contents(world, pos, rem, length);
    auto *text = static_cast<unsigned char *>(_kel_dec_getmem(world, length + 1));
    std::memcpy(text, p, static_cast<size_t>(length));
    if (length > 0 && text[length - 1] == 0 && !(world->ext->compatFlags & kCompatTrailingNul))
        _kel_enc_error(world, kMsgEmbeddedNul, 0);
    text[length] = 0;
    *value = text;
    if (decoder_unconstrained(world))
        return length;
    _kel_check_nullterm_time(world, reinterpret_cast<char *>(text), kind != 0);
    if (strict_canonical(world) && length >= (kind ? 6 : 8)) {
        // The date leads the text: YYMMDD or YYYYMMDD.
        TimeReader in{world, text, length};
        const int year = kind ? 2000 + in.digits(2) : in.digits(4);
        const int month = in.digits(2);
        check_day_of_month(world, year, month, in.digits(2));
    }
    return length;
}

int _kel_encd_date_time(KelGlobal *world, unsigned char **pos, int32_t *rem, const char *text,
                        int32_t kind) {
    if (!text)
        _kel_enc_error(world, kMsgNullInput, 0);
    const auto n = static_cast<uint32_t>(std::strlen(text));
    constexpr uint32_t kLocal = 128;
    char local[kLocal];
    if (kind == kTime || kind == kDuration) {
        const char *wire = text;
        char *canonical = nullptr;
        if (world->encRules == KEL_DER) {
            canonical = n < kLocal ? local : static_cast<char *>(_kel_dec_gettempmem(world, n + 1));
            if (_kel_format_new_time(world, text, canonical) != 0)
                _kel_enc_error(world, kMsgTimeRange, 0);
            wire = canonical;
        }
        if (kind == kDuration && *wire == 'P')
            ++wire;
        const int written = _kel_write_bytes_d(world, pos, rem, wire, static_cast<int32_t>(std::strlen(wire)));
        if (canonical && canonical != local)
            _kel_dec_freetempmem(world, canonical);
        return written;
    }
    if (!punctuated(kind) || n > kLocal)
        _kel_enc_error(world, kMsgTimeRange, static_cast<uint32_t>(kind));
    const char *drop = kind == kDate ? "-" : kind == kTimeOfDay ? ":" : "-:T";
    uint32_t m = 0;
    for (uint32_t i = 0; i < n; ++i)
        if (!std::strchr(drop, text[i]))
            local[m++] = text[i];
    return _kel_write_bytes_d(world, pos, rem, local, static_cast<int32_t>(m));
}

int32_t _kel_dec_date_time(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                           char **text, int32_t kind) {
    const Punctuated *form = punctuated(kind);
    if (!form && kind != kTime && kind != kDuration)
        _kel_enc_error(world, kMsgTimeRange, static_cast<uint32_t>(kind));
    const unsigned char *p = take_contents(world, pos, rem, length);
    if (!form) {
        const int32_t prefix = kind == kDuration;
        char *out = static_cast<char *>(_kel_dec_getmem(world, length + prefix + 1));
        if (prefix)
            out[0] = 'P';
        std::memcpy(out + prefix, p, static_cast<size_t>(length));
        out[length + prefix] = 0;
        *text = out;
        return length + prefix;
    }
    if (length != form->wireLength)
        _kel_enc_error(world, kMsgTimeRange, static_cast<uint32_t>(length));
    const auto n = static_cast<int32_t>(std::strlen(form->layout));
    char *out = static_cast<char *>(_kel_dec_getmem(world, n + 1));
    for (int32_t i = 0; i < n; ++i)
        out[i] = form->layout[i] == '#' ? static_cast<char>(*p++) : form->layout[i];
    out[n] = 0;
    *text = out;
    return n;
}

} // extern "C"
