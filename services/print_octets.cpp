// print_octets.cpp - octet strings given as '..'H text shown in the form that
// they stand for: ASCII, an IP address, BCD and TBCD digits, or the 9-octet
// BCD time stamp.
#include <cstring>

#include "printing.h"

using kel::print::Sink;
using kel::print::Target;

namespace {

constexpr unsigned kBadNibble = 16;
constexpr uint32_t kIpv6Digits = 32;
constexpr size_t kTimeStampText = 21; // '..'H around 18 digits
constexpr size_t kIpv6TextSize = 46;

// The digits of a '..'H text (or of a bare text without the quotes); a
// character that isn't a hexadecimal digit is the nibble kBadNibble.
struct HexDigits {
    const char *text;
    uint32_t count;

    explicit HexDigits(const char *hstring) : text(hstring), count(static_cast<uint32_t>(std::strlen(hstring))) {
        if (count >= 3 && text[0] == '\'' && text[count - 2] == '\'' && (text[count - 1] | 0x20) == 'h') {
            ++text;
            count -= 3;
        }
    }
    unsigned nibble(uint32_t i) const {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= '0' && c <= '9')
            return c - '0';
        if ((c | 0x20) >= 'a' && (c | 0x20) <= 'f')
            return (c | 0x20) - 'a' + 10;
        return kBadNibble;
    }
    // The octet of digits i and i + 1, or -1.
    int octet(uint32_t i) const {
        const unsigned high = nibble(i), low = nibble(i + 1);
        return high < 16 && low < 16 ? static_cast<int>(high << 4 | low) : -1;
    }
    bool valid() const {
        for (uint32_t i = 0; i < count; ++i)
            if (nibble(i) == kBadNibble)
                return false;
        return true;
    }
};

char decimal_digit(unsigned nibble) { return nibble < 10 ? static_cast<char>('0' + nibble) : '?'; }

// A TBCD digit: 0 to 9, then * # a b c; false for 15, which ends the value.
bool put_tbcd(Sink &out, unsigned nibble) {
    static constexpr char kTbcdDigits[] = "0123456789*#abc?";
    if (nibble == 15)
        return false;
    out.put(kTbcdDigits[nibble < 16 ? nibble : 15]);
    return true;
}

void print_ipv6(Sink &out, const HexDigits &digits) {
    unsigned char octets[16];
    for (uint32_t i = 0; i < 16; ++i)
        octets[i] = static_cast<unsigned char>(digits.octet(2 * i));
    char text[kIpv6TextSize];
    char *at = text;
    if (kelConvertOctetToIPAddress(out.world(), octets, 16, &at) == 0)
        out.put(text);
}

} // namespace

extern "C" {

void kelPrintOctetAsASCII(KelGlobal *world, const char *hstring) {
    const HexDigits digits(hstring);
    Sink out(world, Target::kChannel);
    out.put('"');
    for (uint32_t i = 0; i + 1 < digits.count; i += 2) {
        const int c = digits.octet(i);
        out.put(c >= 0 && (_kelCharFlags[c] & KEL_CHAR_PRINTABLE) ? static_cast<char>(c) : '?');
    }
    out.put('"');
    out.finish();
}

void kelPrintOctetAsIPAddress(KelGlobal *world, const char *hstring) {
    const HexDigits digits(hstring);
    Sink out(world, Target::kChannel);
    if (!digits.valid()) {
        out.put(hstring);
    } else if (digits.count == kIpv6Digits) {
        print_ipv6(out, digits);
    } else {
        for (uint32_t i = 0; i + 1 < digits.count; i += 2)
            out.format(i ? ".%d" : "%d", digits.octet(i));
    }
    out.finish();
}

void kelPrintOctetAsBCDString(KelGlobal *world, const char *hstring) {
    const HexDigits digits(hstring);
    Sink out(world, Target::kChannel);
    out.put('"');
    for (uint32_t i = 0; i < digits.count && digits.nibble(i) != 15; ++i)
        out.put(decimal_digit(digits.nibble(i)));
    out.put('"');
    out.finish();
}

void kelPrintOctetAsTBCDString(KelGlobal *world, const char *hstring) {
    const HexDigits digits(hstring);
    Sink out(world, Target::kChannel);
    out.put('"');
    for (uint32_t i = 0; i < digits.count; i += 2) // the low nibble of each octet first
        if ((i + 1 < digits.count && !put_tbcd(out, digits.nibble(i + 1))) || !put_tbcd(out, digits.nibble(i)))
            break;
    out.put('"');
    out.finish();
}

void kelPrintOctetAsTimeStamp(KelGlobal *world, const char *hstring) {
    Sink out(world, Target::kChannel);
    const HexDigits digits(hstring);
    if (std::strlen(hstring) != kTimeStampText || digits.count != 18) {
        out.put(hstring);
        out.finish();
        return;
    }
    const unsigned yearHigh = digits.nibble(0), yearLow = digits.nibble(1);
    out.put('"');
    if (yearHigh < 10 && yearLow < 10)
        out.put(yearHigh * 10 + yearLow < 40 ? "20" : "19");
    else
        out.put("??");
    for (uint32_t i = 0; i < 12; ++i)
        out.put(decimal_digit(digits.nibble(i)));
    const int sign = digits.octet(12);
    out.put(sign == '+' || sign == '-' ? static_cast<char>(sign) : '?');
    for (uint32_t i = 14; i < 18; ++i)
        out.put(decimal_digit(digits.nibble(i)));
    out.put('"');
    out.finish();
}

} // extern "C"
