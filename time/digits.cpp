// digits.cpp - decimal digit readers and writers that the time primitives of
// the compact rule families share, in 32- and 64-bit widths.
#include <limits>

#include "time_internal.h"

using namespace kel::time;

namespace {

// Reads all digits at `text`; false on overflow of T.
template <class T> bool read_digits(const char *&text, T &value) {
    T v = 0;
    for (; is_digit(*text); ++text) {
        T digit = static_cast<T>(*text - '0');
        if (v > (std::numeric_limits<T>::max() - digit) / 10)
            return false;
        v = static_cast<T>(v * 10 + digit);
    }
    value = v;
    return true;
}

template <class T> const char *read_safe(KelGlobal *world, const char *text, int minDigits, T *value) {
    const char *start = text;
    if (!read_digits(text, *value))
        raise(world, kMsgDigitsOverflow, static_cast<uint32_t>(digit_run(start)));
    if (text - start < minDigits)
        raise(world, kMsgTimeRange);
    return text;
}

template <class T> const char *read_limited(const char *text, int digits, T *value) {
    T v = 0;
    for (int i = 0; i < digits; ++i) {
        if (!is_digit(text[i]))
            return nullptr;
        v = static_cast<T>(v * 10 + static_cast<T>(text[i] - '0'));
    }
    *value = v;
    return text + digits;
}

template <class T> const char *read_unlimited(const char *text, T *value) {
    return read_digits(text, *value) ? text : nullptr;
}

// Writes exactly `digits` digits of `value`, zero-padded; higher digits are
// dropped.
template <class T> char *write_fixed(char *out, int digits, T value) {
    for (int i = digits - 1; i >= 0; --i) {
        out[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
    return out + digits;
}

template <class T> int digit_count(T value) {
    int n = 1;
    while (value >= 10) {
        value /= 10;
        ++n;
    }
    return n;
}

template <class T> char *write_min(char *out, int minDigits, T value) {
    int n = digit_count(value);
    return write_fixed(out, n > minDigits ? n : minDigits, value);
}

template <class T> char *write_exact(char *out, int digits, T value) {
    return digit_count(value) > digits ? nullptr : write_fixed(out, digits, value);
}

} // namespace

extern "C" {

const char *_kelStrToUintSafe(KelGlobal *world, const char *text, int minDigits, uint32_t *value) {
    return read_safe(world, text, minDigits, value);
}
const char *_kelStrToUint64Safe(KelGlobal *world, const char *text, int minDigits, uint64_t *value) {
    return read_safe(world, text, minDigits, value);
}
const char *_kelStrToUintLimited(const char *text, int digits, uint32_t *value) {
    return read_limited(text, digits, value);
}
const char *_kelStrToUint64Limited(const char *text, int digits, uint64_t *value) {
    return read_limited(text, digits, value);
}
const char *_kelStrToUintUnlimited(const char *text, uint32_t *value) { return read_unlimited(text, value); }
const char *_kelStrToUint64Unlimited(const char *text, uint64_t *value) { return read_unlimited(text, value); }
char *_kelUintToStrLimited(char *out, int digits, uint32_t value) { return write_fixed(out, digits, value); }
char *_kelUint64ToStrLimited(char *out, int digits, uint64_t value) { return write_fixed(out, digits, value); }
char *_kelUintToStrUnlimited(char *out, int minDigits, uint32_t value) { return write_min(out, minDigits, value); }
char *_kelUint64ToStrUnlimited(char *out, int minDigits, uint64_t value) { return write_min(out, minDigits, value); }
char *_kelUintToStr(char *out, int digits, uint32_t value) { return write_exact(out, digits, value); }
char *_kelUint64ToStr(char *out, int digits, uint64_t value) { return write_exact(out, digits, value); }
char *_kelRangeUintToStr(char *out, int minDigits, int maxDigits, uint32_t value) {
    return digit_count(value) > maxDigits ? nullptr : write_min(out, minDigits, value);
}

} // extern "C"
