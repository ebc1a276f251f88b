// files.cpp - the file and socket surface: this runtime reads and writes
// memory buffers only, so the file and marked-object operations answer that
// the facility is absent.  Beside them stand the working helpers on messages
// in memory: skipping pad octets, the length of an encoding and the length
// of a BER message.
#include <climits>
#include <cstdint>

#include "internal.h"

namespace {

constexpr int kEndOfInput = 4;
constexpr int kBadArgument = 6;
constexpr int kNullInput = 11;
constexpr int kCloseInputFailed = 56;
constexpr int kOpenInputFailed = 57;
constexpr int kCloseOutputFailed = 59;
constexpr int kOpenOutputFailed = 60;
constexpr int kNoMarkedObjects = -1;
constexpr uint32_t kMaxLengthOctets = 4;

} // namespace

extern "C" {

int kelOpenDecoderInputFile(KelGlobal *, const char *) { return kOpenInputFailed; }
int kelCloseDecoderInputFile(KelGlobal *) { return kCloseInputFailed; }
int kelOpenEncoderOutputFile(KelGlobal *, const char *) { return kOpenOutputFailed; }
int kelCloseEncoderOutputFile(KelGlobal *) { return kCloseOutputFailed; }
int kelMarkObj(KelGlobal *, void *, int) { return kNoMarkedObjects; }
int kelGetObj(KelGlobal *, void *, void **) { return kNoMarkedObjects; }
int kelUnmarkObj(KelGlobal *, void *) { return kNoMarkedObjects; }
int kelTestObj(KelGlobal *, void *) { return 0; }

int kelSkipPadBytes(KelGlobal *world, KelBuf *buffer, int padByte) {
    if (!world)
        return kBadArgument;
    if (!buffer || !buffer->value)
        return kNullInput;
    const unsigned char pad = static_cast<unsigned char>(padByte);
    uint32_t skip = 0;
    while (skip < buffer->length && buffer->value[skip] == pad)
        ++skip;
    buffer->value += skip;
    buffer->length -= skip;
    return buffer->length ? 0 : kEndOfInput;
}

// Runs the encoder in counting mode: nothing is stored, every writer counts.
long kelDetermineEncodingLength(KelGlobal *world, int pdu, void *value) {
    if (!world)
        return 0;
    uint32_t saved = world->encodingFlags;
    world->encodingFlags = (saved | DETERMINE_ENC_LENGTH) & ~DEBUGPDU;
    KelBuf counted = {0, nullptr};
    int code = kelEncode(world, pdu, value, &counted);
    world->encodingFlags = saved;
    return code ? 0 : static_cast<long>(counted.length);
}

long kelDetermineMessageLength(KelGlobal *, const KelBuf *buffer) {
    if (!buffer || !buffer->value)
        return 0;
    const unsigned char *p = buffer->value;
    const uint32_t n = buffer->length;
    if (n == 0)
        return 0;
    uint32_t at = 1; // past the identifier
    if ((p[0] & 0x1F) == 0x1F) {
        while (at < n && (p[at] & 0x80))
            ++at;
        if (at++ >= n)
            return 0;
    }
    if (at >= n || p[at] == 0x80) // no length octet, or the indefinite form
        return 0;
    uint32_t first = p[at++];
    uint64_t length = first;
    if (first & 0x80) {
        uint32_t count = first & 0x7F;
        if (count > kMaxLengthOctets || n - at < count)
            return 0;
        length = 0;
        for (uint32_t i = 0; i < count; ++i)
            length = length << 8 | p[at++];
    }
    uint64_t total = at + length;
    return total <= LONG_MAX ? static_cast<long>(total) : 0;
}

} // extern "C"
