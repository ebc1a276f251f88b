// time_stamp.cpp - the 9-octet BCD time stamp (year, month, day, hour,
// minute, second, sign, hours and minutes of difference) to and from text.
//
// Three text forms are read: "YYYYMMDDhhmmss+hhmm" (or ending in 'Z'),
// "YYYY-MM-DD hh:mm:ss" and "YY/MM/DD hh:mm:ss".  The last two carry no
// difference: they are local time, and are written back as UTC.  The form of
// the last text read is kept in the world and is the form of the next text
// written.
#include "internal.h"
#include "octets.h"

using namespace kel::octets;

namespace {

enum Form : uint32_t { kCompact = 0, kDashed = 1, kSlashed = 2 };

constexpr long kStampOctets = 9;
constexpr long kMaxText = 63;
constexpr int kSignOctet = 6;
constexpr uint32_t kFormShift = 13; // bits 13 and 14 of the world's debug flags
constexpr uint32_t kFormMask = 3u << kFormShift;

// A text form as a pattern: 'D' a digit, 'S' a sign, anything else itself.
// The digits fill the fields in order, the year taking `yearDigits`, every
// other field two.
struct Pattern {
    const char *text;
    int yearDigits;
};
constexpr Pattern kCompactPatterns[] = {{"DDDDDDDDDDDDDDSDDDD", 4}, {"DDDDDDDDDDDDDDZ", 4}};
constexpr Pattern kDashedPattern = {"DDDD-DD-DD DD:DD:DD", 4};
constexpr Pattern kSlashedPattern = {"DD/DD/DD DD:DD:DD", 2};

struct Stamp {
    int year; // four digits
    int month, day, hour, minute, second;
    char sign;
    int diffHours, diffMinutes;
};

Form form_of(const char *text, long length) {
    if (length > 4 && text[4] == '-')
        return kDashed;
    if (length > 2 && text[2] == '/')
        return kSlashed;
    return kCompact;
}

bool match(const Pattern &pattern, const char *text, long length, Stamp *s) {
    int fields[8] = {}, field = 0, width = 0;
    char sign = '+';
    long i = 0;
    for (; pattern.text[i] && i < length; ++i) {
        char p = pattern.text[i], c = text[i];
        if (p == 'D') {
            if (c < '0' || c > '9')
                return false;
            fields[field] = fields[field] * 10 + (c - '0');
            if (++width == (field == 0 ? pattern.yearDigits : 2)) {
                ++field;
                width = 0;
            }
        } else if (p == 'S') {
            if (c != '+' && c != '-')
                return false;
            sign = c;
        } else if (p != c) {
            return false;
        }
    }
    if (pattern.text[i] || i != length)
        return false;
    *s = {fields[0], fields[1], fields[2], fields[3], fields[4], fields[5], sign, fields[6], fields[7]};
    return true;
}

int parse(KelGlobal *world, const char *text, long length, Stamp *s, Form *form) {
    if (length > kMaxText)
        return kBadTime;
    *form = form_of(text, length);
    bool ok = *form == kCompact  ? match(kCompactPatterns[0], text, length, s) ||
                                       match(kCompactPatterns[1], text, length, s)
              : *form == kDashed ? match(kDashedPattern, text, length, s)
                                 : match(kSlashedPattern, text, length, s);
    if (!ok)
        return kBadTime;
    if (*form == kSlashed)
        s->year += s->year > 39 ? 1900 : 2000;
    if (*form == kCompact)
        return kOk;
    // Local time, difference 0: the calendar conversion checks the date.
    KelTimeStruct local = {static_cast<int16_t>(s->year),   static_cast<int16_t>(s->month),
                           static_cast<int16_t>(s->day),    static_cast<int16_t>(s->hour),
                           static_cast<int16_t>(s->minute), static_cast<int16_t>(s->second),
                           0, 0, 0};
    int32_t seconds;
    return kelGenTimeStructToCalTime(world, &local, &seconds) ? kBadTime : kOk;
}

inline unsigned char bcd(int v) { return static_cast<unsigned char>((v / 10 % 10) << 4 | v % 10); }

inline int from_bcd(unsigned char b) { return (b >> 4) > 9 || (b & 0xF) > 9 ? -1 : (b >> 4) * 10 + (b & 0xF); }

char *put2(char *out, int v) {
    out[0] = static_cast<char>('0' + v / 10 % 10);
    out[1] = static_cast<char>('0' + v % 10);
    return out + 2;
}

// Reads and checks the nine octets.
int unpack(const unsigned char *in, Stamp *s) {
    int v[kStampOctets];
    for (int i = 0; i < kStampOctets; ++i)
        if (i != kSignOctet && (v[i] = from_bcd(in[i])) < 0)
            return kBadTime;
    if (in[kSignOctet] != '+' && in[kSignOctet] != '-')
        return kBadTime;
    *s = {v[0] + (v[0] > 39 ? 1900 : 2000), v[1], v[2], v[3], v[4], v[5], static_cast<char>(in[kSignOctet]), v[7],
          v[8]};
    if (s->month < 1 || s->month > 12 || s->day < 1 || s->day > 31 || s->hour > 23 || s->minute > 59 ||
        s->second > 59 || s->diffHours > 23 || s->diffMinutes > 59)
        return kBadTime;
    return kOk;
}

// The universal time of a stamp, through the calendar conversions.
int to_utc(KelGlobal *world, Stamp *s) {
    int difference = s->diffHours * 60 + s->diffMinutes;
    if (difference == 1) // the difference that stands for 'Z'
        difference = 0;
    KelTimeStruct value = {static_cast<int16_t>(s->year),   static_cast<int16_t>(s->month),
                           static_cast<int16_t>(s->day),    static_cast<int16_t>(s->hour),
                           static_cast<int16_t>(s->minute), static_cast<int16_t>(s->second),
                           0, static_cast<int16_t>(s->sign == '-' ? -difference : difference), 0};
    int32_t seconds;
    KelTimeStruct utc, *out = &utc;
    if (kelGenTimeStructToCalTime(world, &value, &seconds) || kelCalTimeToUTCTimeStruct(world, seconds, 0, &out))
        return kBadTime;
    *s = {utc.year + (utc.year >= 50 ? 1900 : 2000), utc.month, utc.day, utc.hour, utc.minute, utc.second, '+', 0, 0};
    return kOk;
}

void format(const Stamp &s, Form form, char *out) {
    static constexpr char kSeparators[3][6] = {{0, 0, 0, 0, 0, 0}, {'-', '-', ' ', ':', ':', 0},
                                               {'/', '/', ' ', ':', ':', 0}};
    const int fields[6] = {form == kSlashed ? s.year % 100 : s.year, s.month, s.day, s.hour, s.minute, s.second};
    for (int i = 0; i < 6; ++i) {
        out = i == 0 && form != kSlashed ? put2(put2(out, fields[0] / 100), fields[0] % 100) : put2(out, fields[i]);
        if (kSeparators[form][i])
            *out++ = kSeparators[form][i];
    }
    if (form == kCompact) {
        *out++ = s.sign;
        out = put2(put2(out, s.diffHours), s.diffMinutes);
    }
    *out = 0;
}

Form stored_form(KelGlobal *world) { return static_cast<Form>((world->ext->debugFlags & kFormMask) >> kFormShift); }

} // namespace

extern "C" {

int kelConvertTimeStampToOctet(KelGlobal *world, const char *text, long length, unsigned char **octets,
                               long *octetLength) {
    if (world && !world->ext)
        return kNullArgument;
    Stamp s;
    Form form = kCompact;
    int code = text_to_octets(
        world, text, length, octets, octetLength, kOk,
        [&](const char *t, long n) {
            int bad = parse(world, t, n, &s, &form);
            return bad ? -long{bad} : kStampOctets;
        },
        [&](const char *, long, unsigned char *out) {
            const int values[] = {s.year % 100, s.month, s.day, s.hour, s.minute, s.second};
            for (int v : values)
                *out++ = bcd(v);
            *out++ = static_cast<unsigned char>(s.sign);
            *out++ = bcd(s.diffHours);
            *out = bcd(s.diffMinutes);
            return int{kOk};
        });
    if (code == kOk && length)
        world->ext->debugFlags = (world->ext->debugFlags & ~kFormMask) | form << kFormShift;
    return code;
}

int kelConvertOctetToTimeStamp(KelGlobal *world, const unsigned char *octets, long length, char **text) {
    if (world && !world->ext)
        return kNullArgument;
    const Form form = world ? stored_form(world) : kCompact;
    return octets_to_text(world, octets, length, text, form == kSlashed ? 18 : 20,
                          [&](const unsigned char *in, long n, char *out) {
                              Stamp s;
                              if (n != kStampOctets)
                                  return int{kBadTime};
                              if (int code = unpack(in, &s))
                                  return code;
                              if (form != kCompact)
                                  if (int code = to_utc(world, &s))
                                      return code;
                              format(s, form, out);
                              return int{kOk};
                          });
}

} // extern "C"
