// ip_address.cpp - IP addresses between text and octets: dotted decimal (one
// octet a field, any count) and IPv6 (16 octets, eight groups, '::' for a run
// of zero groups).
#include <cstring>

#include "octets.h"

using namespace kel::octets;

namespace {

constexpr long kIpv6Octets = 16;
constexpr int kIpv6Groups = 8;

bool is_ipv6(const char *text, long length) {
    return std::memchr(text, ':', static_cast<size_t>(length)) != nullptr;
}

long dotted_fields(const char *text, long length) {
    long dots = 0;
    for (long i = 0; i < length; ++i)
        dots += text[i] == '.';
    return dots + 1;
}

int parse_dotted(const char *text, long length, unsigned char *out) {
    const char *end = text + length;
    for (const char *p = text;; ++p) {
        unsigned value = 0;
        const char *start = p;
        for (; p < end && *p >= '0' && *p <= '9'; ++p)
            if ((value = value * 10 + static_cast<unsigned>(*p - '0')) > 255)
                return kBadInput;
        if (p == start || (p < end && *p != '.'))
            return kBadInput;
        *out++ = static_cast<unsigned char>(value);
        if (p == end)
            return kOk;
    }
}

// Hexadecimal groups separated by single colons, from `p` to `end`, into
// `groups`; an empty span holds no group.  `maxDigits` bounds a group's
// digits; the value of every group is bounded by 0xFFFF.
int parse_groups(const char *p, const char *end, int maxDigits, uint16_t *groups, int *count) {
    *count = 0;
    if (p == end)
        return kOk;
    for (;; ++p) {
        unsigned value = 0;
        const char *start = p;
        for (int digit; p < end && (digit = hex_value(static_cast<unsigned char>(*p))) >= 0; ++p)
            if ((value = value << 4 | static_cast<unsigned>(digit)) > 0xFFFF || p - start >= maxDigits)
                return kBadInput;
        if (p == start || (p < end && *p != ':') || *count == kIpv6Groups)
            return kBadInput;
        groups[(*count)++] = static_cast<uint16_t>(value);
        if (p == end)
            return kOk;
    }
}

// Groups before a '::' fill the address from the front, those behind it from
// the back; without '::' the groups fill it from the front.
int parse_ipv6(const char *text, long length, unsigned char *out) {
    const char *end = text + length;
    const char *gap = nullptr;
    for (const char *p = text; p + 1 < end; ++p)
        if (p[0] == ':' && p[1] == ':') {
            if (gap)
                return kBadInput;
            gap = p++;
        }
    uint16_t front[kIpv6Groups], back[kIpv6Groups];
    int frontCount = 0, backCount = 0;
    int code = parse_groups(text, gap ? gap : end, 0xFFFF, front, &frontCount);
    if (code == kOk && gap)
        code = parse_groups(gap + 2, end, 4, back, &backCount);
    if (code != kOk || frontCount + backCount > kIpv6Groups)
        return kBadInput;
    std::memset(out, 0, kIpv6Octets);
    for (int i = 0; i < frontCount; ++i) {
        out[2 * i] = static_cast<unsigned char>(front[i] >> 8);
        out[2 * i + 1] = static_cast<unsigned char>(front[i]);
    }
    for (int i = 0, at = kIpv6Groups - backCount; i < backCount; ++i, ++at) {
        out[2 * at] = static_cast<unsigned char>(back[i] >> 8);
        out[2 * at + 1] = static_cast<unsigned char>(back[i]);
    }
    return kOk;
}

char *write_hex_group(char *out, unsigned group) {
    static constexpr char kDigits[] = "0123456789abcdef";
    int shift = 12;
    while (shift > 0 && !(group >> shift))
        shift -= 4;
    for (; shift >= 0; shift -= 4)
        *out++ = kDigits[group >> shift & 0xF];
    return out;
}

// The longest run of two or more zero groups, the earliest on a tie, is
// written as '::'.
void format_ipv6(const unsigned char *in, char *out) {
    unsigned groups[kIpv6Groups];
    for (int i = 0; i < kIpv6Groups; ++i)
        groups[i] = static_cast<unsigned>(in[2 * i]) << 8 | in[2 * i + 1];
    int runStart = -1, runLength = 1;
    for (int i = 0; i < kIpv6Groups;) {
        int j = i;
        while (j < kIpv6Groups && groups[j] == 0)
            ++j;
        if (j - i > runLength) {
            runStart = i;
            runLength = j - i;
        }
        i = j > i ? j : i + 1;
    }
    for (int i = 0; i < kIpv6Groups;) {
        if (i == runStart) {
            *out++ = ':';
            *out++ = ':';
            i += runLength;
            continue;
        }
        if (i > 0 && i != runStart + runLength)
            *out++ = ':';
        out = write_hex_group(out, groups[i++]);
    }
    *out = 0;
}

void format_dotted(const unsigned char *in, long length, char *out) {
    for (long i = 0; i < length; ++i) {
        unsigned v = in[i];
        if (i)
            *out++ = '.';
        if (v >= 100)
            *out++ = static_cast<char>('0' + v / 100);
        if (v >= 10)
            *out++ = static_cast<char>('0' + v / 10 % 10);
        *out++ = static_cast<char>('0' + v % 10);
    }
    *out = 0;
}

size_t text_size(long length) {
    if (length == kIpv6Octets)
        return 46;
    return length <= 3 ? 16 : 4 * static_cast<size_t>(length);
}

} // namespace

extern "C" {

int kelConvertIPAddressToOctet(KelGlobal *world, const char *text, long length, unsigned char **octets,
                               long *octetLength) {
    return text_to_octets(
        world, text, length, octets, octetLength, kBadInput,
        [](const char *t, long n) { return is_ipv6(t, n) ? kIpv6Octets : dotted_fields(t, n); },
        [](const char *t, long n, unsigned char *out) {
            return is_ipv6(t, n) ? parse_ipv6(t, n, out) : parse_dotted(t, n, out);
        });
}

int kelConvertOctetToIPAddress(KelGlobal *world, const unsigned char *octets, long length, char **text) {
    return octets_to_text(world, octets, length, text, text_size(length),
                          [](const unsigned char *in, long n, char *out) {
                              if (n == kIpv6Octets)
                                  format_ipv6(in, out);
                              else
                                  format_dotted(in, n, out);
                              return int{kOk};
                          });
}

} // extern "C"
