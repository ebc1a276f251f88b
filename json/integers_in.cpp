// integers_in.cpp - the JSON integer decoders: numbers into 32- and 64-bit
// fields, signed and unsigned (one template), and huge integers into
// big-endian two's complement bytes.
//
// A number starts with an optional '-' and has no leading zeros; the first
// byte that is no digit ends it and stays unread, so "1.5" leaves ".5" for
// the next token to reject.
#include <limits>
#include <type_traits>

#include "json.h"

using namespace kel::json;

namespace {

[[noreturn]] void bad_number(KelJsonCursor *cursor) { fail_text(cursor, kMsgInvalidEncoding, "JSON number"); }

bool is_digit(int c) { return static_cast<unsigned>(c - '0') < 10; }

// The sign and the first digit of a number; the digit is returned, and a
// lone '0' is checked not to be followed by another digit.
int number_start(KelJsonCursor *cursor, bool allow_minus, bool *negative) {
    if (cursor->token != KEL_JTOK_NUMBER)
        fail_text(cursor, kMsgUnexpectedToken, "Number");
    int c = next_byte(cursor);
    *negative = c == '-';
    if (*negative) {
        if (!allow_minus)
            fail(cursor, kMsgNegativeUnsigned);
        c = next_byte(cursor);
    }
    if (!is_digit(c))
        bad_number(cursor);
    if (c == '0') {
        int after = next_byte(cursor);
        if (is_digit(after))
            bad_number(cursor);
        unread(cursor, after);
    }
    return c;
}

template <class T> T read_integer(KelJsonCursor *cursor) {
    using U = std::make_unsigned_t<T>;
    constexpr bool kSigned = std::is_signed_v<T>;
    constexpr U kMax = static_cast<U>(std::numeric_limits<T>::max());
    constexpr U kLimit = kMax / 10;
    constexpr unsigned kLastDigit = static_cast<unsigned>(kMax % 10);

    bool negative;
    int c = number_start(cursor, kSigned, &negative);
    const unsigned lastDigit = kLastDigit + (negative ? 1u : 0u);
    U acc = static_cast<U>(c - '0');
    if (acc) {
        // The digits are taken straight from the input; the first non-digit
        // stays where it is.
        KelGlobal *world = cursor->world;
        const unsigned char *p = world->inPos;
        const unsigned char *end = p + (world->inRemaining > 0 ? world->inRemaining : 0);
        for (; p < end && is_digit(*p); ++p) {
            unsigned d = static_cast<unsigned>(*p - '0');
            if (acc > kLimit || (acc == kLimit && d > lastDigit)) {
                if constexpr (sizeof(T) > 4)
                    _kel_enc_llerror(world, kMsgLongIntTooLong, acc);
                else
                    fail(cursor, kMsgIntTooLong, acc);
            }
            acc = static_cast<U>(acc * 10 + d);
        }
        world->inRemaining -= static_cast<int32_t>(p - world->inPos);
        world->inPos = const_cast<unsigned char *>(p);
    }
    if constexpr (kSigned)
        return negative ? static_cast<T>(U(0) - acc) : static_cast<T>(acc);
    else
        return acc;
}

constexpr uint32_t kHugeLimbs = 1024; // 4096 octets
constexpr uint32_t kPow10[10] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000};

} // namespace

extern "C" {

int32_t _kel_jdec_lint(KelJsonCursor *cursor, int32_t low, int32_t high) {
    int32_t v = read_integer<int32_t>(cursor);
    if (v < low || v > high)
        fail(cursor, kMsgIntTooLong, static_cast<uint32_t>(v));
    return v;
}

uint32_t _kel_jdec_ulint(KelJsonCursor *cursor, uint32_t high) {
    uint32_t v = read_integer<uint32_t>(cursor);
    if (v > high)
        fail(cursor, kMsgIntTooLong, v);
    return v;
}

int64_t _kel_jdec_llint(KelJsonCursor *cursor) { return read_integer<int64_t>(cursor); }

uint64_t _kel_jdec_ullint(KelJsonCursor *cursor) { return read_integer<uint64_t>(cursor); }

uint32_t _kel_jdec_hint(KelJsonCursor *cursor, unsigned char **bytes, uint32_t flags) {
    const bool isUnsigned = (flags & 1) != 0;
    bool negative;
    int c = number_start(cursor, !isUnsigned, &negative);
    unread(cursor, c);

    // The magnitude in 32-bit limbs, least significant first, taking up to
    // nine digits at a time.
    uint32_t limbs[kHugeLimbs];
    uint32_t used = 0;
    KelGlobal *world = cursor->world;
    for (;;) {
        uint32_t chunk = 0, digits = 0;
        while (digits < 9 && world->inRemaining > 0 && is_digit(*world->inPos)) {
            chunk = chunk * 10 + static_cast<uint32_t>(*world->inPos++ - '0');
            --world->inRemaining;
            ++digits;
        }
        if (digits == 0)
            break;
        uint64_t carry = chunk;
        for (uint32_t i = 0; i < used; ++i) {
            uint64_t t = static_cast<uint64_t>(limbs[i]) * kPow10[digits] + carry;
            limbs[i] = static_cast<uint32_t>(t);
            carry = t >> 32;
        }
        if (carry) {
            if (used == kHugeLimbs)
                fail(cursor, kMsgSizeTooLong, kHugeLimbs * 4);
            limbs[used++] = static_cast<uint32_t>(carry);
        }
        if (digits < 9)
            break;
    }

    // Octets of the magnitude without leading zeros (zero keeps one).
    uint32_t n = used * 4;
    auto octet = [&](uint32_t i) { // i-th octet from the most significant of n
        uint32_t fromEnd = n - 1 - i;
        return static_cast<unsigned char>(limbs[fromEnd / 4] >> (8 * (fromEnd % 4)));
    };
    uint32_t skip = 0;
    while (skip < n && octet(skip) == 0)
        ++skip;
    uint32_t length = n - skip;
    if (length == 0)
        negative = false; // "-0"
    // A sign octet in front when the top bit would read wrongly.
    bool lead = false;
    if (length == 0) {
        lead = true;
    } else if (!isUnsigned && (octet(skip) & 0x80)) {
        // A negative magnitude of exactly 0x80 00.. fits without one.
        bool powerOfTwo = octet(skip) == 0x80;
        for (uint32_t i = skip + 1; powerOfTwo && i < n; ++i)
            powerOfTwo = octet(i) == 0;
        lead = !(negative && powerOfTwo);
    }
    uint32_t total = length + (lead ? 1 : 0);
    unsigned char *out = static_cast<unsigned char *>(_kel_dec_getmem(world, static_cast<int32_t>(total)));
    unsigned char *p = out;
    if (lead)
        *p++ = 0;
    for (uint32_t i = skip; i < n; ++i)
        *p++ = octet(i);
    if (negative) {
        // Two's complement: invert all, then add one from the last octet.
        for (uint32_t i = 0; i < total; ++i)
            out[i] = static_cast<unsigned char>(~out[i]);
        for (uint32_t i = total; i-- > 0 && ++out[i] == 0;) {
        }
    }
    *bytes = out;
    return total;
}

} // extern "C"
