// bcd.cpp - octet conversions of plain text: ASCII, BCD (two decimal digits
// an octet, high nibble first) and telephony BCD (digits and * # a b c, low
// nibble first), each way.  An odd digit count is closed by the nibble 0xF.
#include <array>
#include <cstring>

#include "octets.h"

using namespace kel::octets;

namespace {

constexpr unsigned char kFiller = 0xF;
constexpr char kTbcdDigits[] = "0123456789*#abc";

// Nibble of a TBCD character, or -1.
constexpr std::array<int8_t, 256> make_tbcd_values() {
    std::array<int8_t, 256> values{};
    for (auto &v : values)
        v = -1;
    for (int i = 0; i < 15; ++i)
        values[static_cast<unsigned char>(kTbcdDigits[i])] = static_cast<int8_t>(i);
    return values;
}
constexpr auto kTbcdValues = make_tbcd_values();

inline int decimal_value(char c) { return c >= '0' && c <= '9' ? c - '0' : -1; }
inline int tbcd_value(char c) { return kTbcdValues[static_cast<unsigned char>(c)]; }

long half_up(const char *, long length) { return (length + 1) / 2; }

// Packs digit pairs; `Value` maps a character to its nibble or -1, and
// `HighFirst` says whether the first digit of a pair takes the high nibble.
template <int (*Value)(char), bool HighFirst>
int pack_digits(const char *text, long length, unsigned char *out) {
    for (long i = 0; i < length; i += 2) {
        int first = Value(text[i]);
        int second = i + 1 < length ? Value(text[i + 1]) : kFiller;
        if (first < 0 || second < 0)
            return kBadInput;
        *out++ = static_cast<unsigned char>(HighFirst ? first << 4 | second : second << 4 | first);
    }
    return kOk;
}

// Writes the two nibbles of each octet, `HighFirst` deciding their order.
// The second nibble of the last octet may be the filler, which ends the
// text; any other nibble must be below `limit`.
template <bool HighFirst>
int unpack_digits(const unsigned char *octets, long length, char *out, const char *digits, int limit) {
    for (long i = 0; i < length; ++i) {
        int first = HighFirst ? octets[i] >> 4 : octets[i] & 0xF;
        int second = HighFirst ? octets[i] & 0xF : octets[i] >> 4;
        if (first >= limit)
            return kBadInput;
        *out++ = digits[first];
        if (second == kFiller && i == length - 1)
            break;
        if (second >= limit)
            return kBadInput;
        *out++ = digits[second];
    }
    *out = 0;
    return kOk;
}

} // namespace

extern "C" {

int kelConvertASCIIToOctet(KelGlobal *world, const char *text, long length, unsigned char **octets,
                           long *octetLength) {
    return text_to_octets(
        world, text, length, octets, octetLength, kOk, [](const char *, long n) { return n; },
        [](const char *t, long n, unsigned char *out) {
            std::memcpy(out, t, static_cast<size_t>(n));
            return int{kOk};
        });
}

int kelConvertOctetToASCII(KelGlobal *world, const unsigned char *octets, long length, char **text) {
    return octets_to_text(world, octets, length, text, static_cast<size_t>(length) + 1,
                          [](const unsigned char *in, long n, char *out) {
                              for (long i = 0; i < n; ++i)
                                  out[i] = has(in[i], KEL_CHAR_PRINTABLE) ? static_cast<char>(in[i]) : '?';
                              out[n] = 0;
                              return int{kOk};
                          });
}

int kelConvertBCDStringToOctet(KelGlobal *world, const char *text, long length, unsigned char **octets,
                               long *octetLength) {
    return text_to_octets(world, text, length, octets, octetLength, kOk, half_up,
                          pack_digits<decimal_value, true>);
}

int kelConvertOctetToBCDString(KelGlobal *world, const unsigned char *octets, long length, char **text) {
    return octets_to_text(world, octets, length, text, 2 * static_cast<size_t>(length) + 1,
                          [](const unsigned char *in, long n, char *out) {
                              return unpack_digits<true>(in, n, out, "0123456789", 10);
                          });
}

int kelConvertTBCDStringToOctet(KelGlobal *world, const char *text, long length, unsigned char **octets,
                                long *octetLength) {
    return text_to_octets(world, text, length, octets, octetLength, kOk, half_up,
                          pack_digits<tbcd_value, false>);
}

int kelConvertOctetToTBCDString(KelGlobal *world, const unsigned char *octets, long length, char **text) {
    return octets_to_text(world, octets, length, text, 2 * static_cast<size_t>(length) + 1,
                          [](const unsigned char *in, long n, char *out) {
                              return unpack_digits<false>(in, n, out, kTbcdDigits, 15);
                          });
}

} // extern "C"
