// useful_times.cpp - GeneralizedTime and UTCTime in OER from and to a
// KelTimeStruct: the text behind a length determinant.
//
// The writers compose the text as BER and PER do (time_contents.h), with
// the cuts of this family: under OER a GeneralizedTime at a whole minute
// loses its seconds, and COER takes only UTC times.  The readers parse the
// text themselves rather than through the time library, because COER
// refuses much that is well-formed: it wants every field, 'Z' as the zone,
// and a fraction only behind '.', neither empty nor ending in 0.  A
// fraction beyond milliseconds is rounded on one further digit.

#include <algorithm>

#include "oer.h"
#include "time_contents.h"

namespace {

using namespace kel::oer;
using kel::useful_time::check_ranges;
using kel::useful_time::TimeText;

constexpr int kMsgNotUtc = 8;               // 0013S
constexpr int kMsgInconsistentLength = 102; // 0031S

// Shortest texts: a GeneralizedTime has its year, a UTCTime its year too.
constexpr uint32_t kMinGeneralized = 4;
constexpr uint32_t kMinUtc = 2;

// The text behind its determinant, in one write; a time text is always
// shorter than 128 octets, so the determinant is a single octet.
void put_text(KelGlobal *world, const TimeText &t) {
    unsigned char octets[1 + sizeof t.text];
    octets[0] = static_cast<unsigned char>(t.n);
    std::memcpy(octets + 1, t.text, t.n);
    put(world, octets, t.n + 1);
}

bool unconstrained(uint32_t flags) { return (flags & NOCONSTRAIN) != 0; }

// The conversion of a fraction of the last field present to milliseconds.
// `kept` digits are converted by `exact`; a longer fraction is converted on
// kept + 1 digits by `rounded`, which rounds to the nearest millisecond and
// stays below the next unit of the field.
struct FractionScale {
    uint32_t kept;
    uint32_t (*exact)(uint32_t);
    uint32_t (*rounded)(uint32_t);
};

constexpr uint32_t kMsPerDay = 86400000, kMsPerHour = 3600000, kMsPerMinute = 60000, kMsPerSecond = 1000;

// By the fields read after the year: 2 up to the day, 3 the hour, 4 the
// minute, 5 the second.  The day's conversions multiply by 8.64 and 0.864
// in steps that stay within 32 bits.
constexpr FractionScale kFractionScales[4] = {
    {7, [](uint32_t v) { return (18 * ((12 * v + 2) / 5) + 2) / 5; },
     [](uint32_t v) {
         const uint32_t a = 6 * v;
         return ((a / 5 * 6 + a % 5 + 2) / 5 * 3 + 2) / 5;
     }},
    {6, [](uint32_t v) { return (18 * v + 2) / 5; },
     [](uint32_t v) { return std::min<uint32_t>((9 * v + 12) / 25, kMsPerHour - 1); }},
    {4, [](uint32_t v) { return v * 6; }, [](uint32_t v) { return (3 * v + 2) / 5; }},
    {3, [](uint32_t v) { return v; }, [](uint32_t v) { return std::min<uint32_t>((v + 5) / 10, kMsPerSecond - 1); }},
};

// The milliseconds below each field from the hour on.
constexpr uint32_t kUnitBelow[5] = {0, kMsPerDay, kMsPerHour, kMsPerMinute, kMsPerSecond};

inline bool is_digit(unsigned char c) { return static_cast<unsigned>(c - '0') < 10; }

// The text of a time on the input, read front to back.  A malformed text is
// 0037E; what only COER refuses is 0013S.
struct TimeReader {
    KelGlobal *world;
    const unsigned char *p;
    const unsigned char *end;
    bool coer;

    TimeReader(KelGlobal *w, uint32_t minimum) : world(w), coer(canonical(w)) {
        const uint32_t length = content_length(w);
        if (length < minimum)
            fail(w, kMsgInconsistentLength, length);
        p = advance(w, length);
        end = p + length;
    }

    [[noreturn]] void bad() const { fail(world, kMsgMisencoded); }
    [[noreturn]] void not_utc() const { fail(world, kMsgNotUtc); }
    uint32_t left() const { return static_cast<uint32_t>(end - p); }
    bool at(char c) const { return p < end && *p == static_cast<unsigned char>(c); }

    // `n` digits that must be there.
    uint32_t digits(uint32_t n) {
        if (left() < n)
            bad();
        uint32_t v = 0;
        for (uint32_t i = 0; i < n; ++i) {
            if (!is_digit(p[i]))
                bad();
            v = v * 10 + (p[i] - '0');
        }
        p += n;
        return v;
    }

    // Month, day, hour, minute, second for as long as pairs of digits
    // follow; answers how many.  A pair cut after its first digit is 0037E.
    uint32_t fields(int16_t *out[5]) {
        uint32_t count = 0;
        while (count < 5 && p < end && is_digit(*p))
            *out[count++] = static_cast<int16_t>(digits(2));
        return count;
    }

    // '.' or ',' and the digits of a fraction of the field `count` (2 day
    // to 5 second) as milliseconds.
    uint32_t fraction(uint32_t count) {
        if (coer && *p == ',')
            not_utc();
        ++p;
        const FractionScale &scale = kFractionScales[count - 2];
        const unsigned char *first = p;
        uint32_t v = 0;
        while (p < end && is_digit(*p)) {
            if (static_cast<uint32_t>(p - first) <= scale.kept)
                v = v * 10 + (*p - '0');
            ++p;
        }
        const uint32_t n = static_cast<uint32_t>(p - first);
        if (coer && (n == 0 || p[-1] == '0'))
            not_utc();
        if (n > scale.kept)
            return scale.rounded(v);
        for (uint32_t i = n; i < scale.kept; ++i)
            v *= 10;
        return scale.exact(v);
    }

    // A sign, two digits of hours 00 to 23 and two digits of minutes,
    // required or optional, into a signed difference in minutes.
    int16_t difference(bool minutesRequired) {
        const int sign = *p++ == '-' ? -1 : 1;
        const uint32_t hours = digits(2);
        if (hours > 23)
            bad();
        uint32_t minutes = 0;
        if (minutesRequired || (left() >= 2 && is_digit(p[0]) && is_digit(p[1])))
            minutes = digits(2);
        return static_cast<int16_t>(sign * static_cast<int>(hours * 60 + minutes));
    }

    // The zone of a GeneralizedTime: none, 'Z' or a difference.
    void zone(KelTimeStruct *value) {
        if (p == end)
            return;
        if (*p == 'Z') {
            ++p;
            value->utc = 1;
        } else if (*p == '+' || *p == '-') {
            value->mindiff = difference(false);
        } else {
            bad();
        }
    }

    void finish(KelTimeStruct *value, int16_t maxMillisec) {
        if (p != end)
            bad();
        if (coer || !unconstrained(world->decodingFlags))
            check_ranges(world, value, maxMillisec);
    }
};

void clear_after_year(KelTimeStruct *value) {
    value->month = value->day = value->hour = value->minute = value->second = 0;
    value->millisec = value->mindiff = 0;
    value->utc = 0;
}

} // namespace

extern "C" {

void _kel_oenc_gtime(KelGlobal *world, const KelTimeStruct *value) {
    if (!unconstrained(world->encodingFlags))
        check_ranges(world, value, 999);
    TimeText t;
    t.generalized(world, value);
    if (canonical(world)) {
        if (!value->utc)
            fail(world, kMsgNotUtc);
    } else if (t.ends_in_00()) {
        t.n -= 2; // whole minute: no seconds
    }
    if (value->utc)
        t.put('Z');
    else if (value->mindiff)
        t.offset(world, value);
    put_text(world, t);
}

void _kel_oenc_utime(KelGlobal *world, const KelTimeStruct *value) {
    if (!unconstrained(world->encodingFlags))
        check_ranges(world, value, 0);
    if (canonical(world) && !value->utc && value->mindiff)
        fail(world, kMsgNotUtc);
    TimeText t;
    t.utc(world, value);
    t.zone(world, value);
    put_text(world, t);
}

void _kel_odec_gtime(KelGlobal *world, KelTimeStruct *value) {
    TimeReader r(world, kMinGeneralized);
    clear_after_year(value);
    value->year = static_cast<int16_t>(r.digits(4));
    int16_t *fields[5] = {&value->month, &value->day, &value->hour, &value->minute, &value->second};
    const uint32_t count = r.fields(fields);
    if (count < 2)
        r.bad();
    if (r.coer && count < 5)
        r.not_utc();
    if (r.at('.') || r.at(',')) {
        uint32_t ms = r.fraction(count);
        for (uint32_t k = count; k < 5; ++k) {
            *fields[k] = static_cast<int16_t>(ms / kUnitBelow[k]);
            ms %= kUnitBelow[k];
        }
        value->millisec = static_cast<int16_t>(ms);
    }
    // COER takes 'Z' and nothing else, so its times are always UTC.
    if (r.coer && !r.at('Z'))
        r.not_utc();
    r.zone(value);
    r.finish(value, 999);
}

void _kel_odec_utime(KelGlobal *world, KelTimeStruct *value) {
    TimeReader r(world, kMinUtc);
    clear_after_year(value);
    value->year = static_cast<int16_t>(r.digits(2));
    int16_t *fields[5] = {&value->month, &value->day, &value->hour, &value->minute, &value->second};
    if (r.fields(fields) < 5 && r.coer)
        r.not_utc();
    // The zone is required.  A difference is four digits or nothing, and
    // its sign then stays behind as input left over.
    if (r.p == r.end)
        r.bad();
    if (r.coer && *r.p != 'Z')
        r.not_utc();
    if (*r.p == 'Z') {
        ++r.p;
        value->utc = 1;
    } else if ((*r.p == '+' || *r.p == '-') && r.left() >= 5) {
        value->mindiff = r.difference(true);
    } else {
        r.bad();
    }
    r.finish(value, 999);
}

} // extern "C"
