// compression.cpp - the compression surface: compression isn't linked into
// this runtime, so kelCompress and kelUnCompress only check their arguments;
// kelSkipCompressionPrefix reads the two numbers that precede a compressed
// message.
#include <cstdint>

#include "kelvarn.h"

namespace {

constexpr int kBadInput = 5;
constexpr int kBadArgument = 6;
constexpr int kUnsupported = 25;
constexpr int kMaxGroups = 5;

// One number in base 128, most significant group first, the top bit set on
// every group but the last.  Returns the octets read, or 0.
uint32_t read_number(const unsigned char *p, uint32_t length, uint64_t *value) {
    uint64_t v = 0;
    for (uint32_t i = 0; i < length && i < kMaxGroups; ++i) {
        v = v << 7 | (p[i] & 0x7Fu);
        if (!(p[i] & 0x80)) {
            *value = v;
            return i + 1;
        }
    }
    return 0;
}

} // namespace

extern "C" {

int kelCompress(KelGlobal *world, KelBuf *input, KelBuf *output, int flag) {
    return !world || !input || !output || flag < 0 ? kBadArgument : kUnsupported;
}

int kelUnCompress(KelGlobal *world, KelBuf *input, KelBuf *output, int) {
    return !world || !input || !output ? kBadArgument : kUnsupported;
}

int kelSkipCompressionPrefix(KelGlobal *world, KelBuf *buffer, uint64_t *first, uint64_t *second) {
    if (!world || !buffer || !buffer->value || !buffer->length)
        return kBadArgument;
    uint64_t a = 0, b = 0;
    uint32_t used = read_number(buffer->value, buffer->length, &a);
    uint32_t more = used ? read_number(buffer->value + used, buffer->length - used, &b) : 0;
    if (!more)
        return kBadInput;
    if (first)
        *first = a;
    if (second)
        *second = b;
    buffer->value += used + more;
    buffer->length -= used + more;
    return 0;
}

} // extern "C"
