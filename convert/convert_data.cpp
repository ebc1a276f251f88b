// convert_data.cpp - kelConvertData: data between binary, hexadecimal text
// and Base64 text, with its own error texts in the world's errMsg.
#include <array>
#include <cstdio>
#include <cstring>

#include "octets.h"

using namespace kel::octets;

namespace {

// Errors of kelConvertData; each has a text and a return code.
enum DataError : int {
    kDataOk = 0,
    kDataNoMemory = 1,
    kDataBufferTooSmall = 2,
    kDataBadBase64 = 3,
    kDataAfterEnd = 4,
    kDataBadHex = 5,
    kDataUnknownFormat = 7,
};

constexpr int key(int in, int out) { return in << 8 | out; }

bool known_key(int k) {
    switch (k) {
    case key(KEL_DATA_BINARY, KEL_DATA_BINARY):
    case key(KEL_DATA_BINARY, KEL_DATA_HEX):
    case key(KEL_DATA_BINARY, KEL_DATA_BASE64):
    case key(KEL_DATA_HEX, KEL_DATA_BINARY):
    case key(KEL_DATA_HEX, KEL_DATA_HEX):
    case key(KEL_DATA_HEX, KEL_DATA_BASE64):
    case key(KEL_DATA_BASE64, KEL_DATA_BINARY):
    case key(KEL_DATA_BASE64, KEL_DATA_HEX):
    case key(KEL_DATA_BASE64, KEL_DATA_BASE64):
        return true;
    default:
        return false;
    }
}

// Writes the error's text into the world and returns its code.
int report(KelGlobal *world, DataError error, size_t position) {
    const char *text = "Invalid sequence of octets in the input buffer";
    int code = kBadInput;
    if (error == kDataNoMemory) {
        text = "Out of memory";
        code = kNoMemory;
    } else if (error == kDataBufferTooSmall) {
        text = "Output buffer too small";
        code = kBufferTooSmall;
    } else if (error == kDataUnknownFormat) {
        std::snprintf(world->errMsg, sizeof world->errMsg, "%s.\n", "Unknown data format was requested");
        return 25;
    }
    std::snprintf(world->errMsg, sizeof world->errMsg, "%s.  Input position %ld.\n", text,
                  static_cast<long>(position));
    return code;
}

// ---- Hexadecimal --------------------------------------------------------

constexpr char kHexDigits[] = "0123456789ABCDEF";

// Counts the digits of a hexadecimal text; white space is skipped.
DataError count_hex(const unsigned char *in, size_t n, size_t *digits, size_t *position) {
    size_t count = 0;
    for (size_t i = 0; i < n; ++i) {
        if (has(in[i], KEL_CHAR_HEXDIGIT))
            ++count;
        else if (!has(in[i], KEL_CHAR_SPACE)) {
            *position = i;
            return kDataBadHex;
        }
    }
    *digits = count;
    return kDataOk;
}

// Decodes a checked hexadecimal text; an odd last digit fills a high nibble.
void decode_hex(const unsigned char *in, size_t n, unsigned char *out) {
    int high = -1;
    for (size_t i = 0; i < n; ++i) {
        int v = hex_value(in[i]);
        if (v < 0)
            continue;
        if (high < 0)
            high = v;
        else {
            *out++ = static_cast<unsigned char>(high << 4 | v);
            high = -1;
        }
    }
    if (high >= 0)
        *out = static_cast<unsigned char>(high << 4);
}

void encode_hex(const unsigned char *in, size_t n, unsigned char *out) {
    for (size_t i = 0; i < n; ++i) {
        out[2 * i] = static_cast<unsigned char>(kHexDigits[in[i] >> 4]);
        out[2 * i + 1] = static_cast<unsigned char>(kHexDigits[in[i] & 0xF]);
    }
}

// ---- Base64 -------------------------------------------------------------

constexpr char kBase64Digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned char kFirst = '+', kLast = 'z';
constexpr unsigned char kPad = 0x40, kIllegal = 0xFF;

// Values of the bytes from '+' to 'z': 0 to 63, kPad for '=', kIllegal.
constexpr std::array<unsigned char, kLast - kFirst + 1> make_base64_values() {
    std::array<unsigned char, kLast - kFirst + 1> values{};
    for (auto &v : values)
        v = kIllegal;
    for (int i = 0; i < 64; ++i)
        values[static_cast<unsigned char>(kBase64Digits[i]) - kFirst] = static_cast<unsigned char>(i);
    values['=' - kFirst] = kPad;
    return values;
}
constexpr auto kBase64Values = make_base64_values();

// Decodes Base64, or with a null `out` only checks and counts.  Bytes
// outside '+' to 'z' are skipped; '=' ends the data and may only close a
// group of two or three digits; a last group without '=' is taken as it is.
DataError decode_base64(const unsigned char *in, size_t n, unsigned char *out, size_t *produced,
                        size_t *position) {
    uint32_t bits = 0;
    int digits = 0;     // digits and pads in the current group
    bool ended = false; // a '=' was seen
    size_t count = 0;
    auto flush = [&](int have) {
        int octets = have - 1;
        if (out) {
            uint32_t v = bits << (6 * (4 - have));
            for (int k = 0; k < octets; ++k)
                out[count + k] = static_cast<unsigned char>(v >> (16 - 8 * k));
        }
        count += static_cast<size_t>(octets);
    };
    for (size_t i = 0; i < n; ++i) {
        unsigned char c = in[i];
        if (c < kFirst || c > kLast)
            continue;
        unsigned char v = kBase64Values[c - kFirst];
        *position = i;
        if (v == kIllegal)
            return kDataBadBase64;
        if (v == kPad) {
            if (ended ? digits == 0 : digits < 2)
                return ended ? kDataAfterEnd : kDataBadBase64;
            if (!ended)
                flush(digits);
            ended = true;
            digits = (digits + 1) & 3;
            continue;
        }
        if (ended)
            return kDataAfterEnd;
        bits = bits << 6 | v;
        if (++digits == 4) {
            flush(4);
            bits = 0;
            digits = 0;
        }
    }
    if (!ended && digits == 1) {
        *position = n;
        return kDataBadBase64;
    }
    if (!ended && digits > 1)
        flush(digits);
    *produced = count;
    return kDataOk;
}

void encode_base64(const unsigned char *in, size_t n, unsigned char *out) {
    size_t i = 0;
    for (; i + 3 <= n; i += 3, out += 4) {
        uint32_t v = static_cast<uint32_t>(in[i]) << 16 | static_cast<uint32_t>(in[i + 1]) << 8 | in[i + 2];
        out[0] = static_cast<unsigned char>(kBase64Digits[v >> 18]);
        out[1] = static_cast<unsigned char>(kBase64Digits[v >> 12 & 63]);
        out[2] = static_cast<unsigned char>(kBase64Digits[v >> 6 & 63]);
        out[3] = static_cast<unsigned char>(kBase64Digits[v & 63]);
    }
    if (i < n) {
        uint32_t v = static_cast<uint32_t>(in[i]) << 16 | (i + 1 < n ? static_cast<uint32_t>(in[i + 1]) << 8 : 0);
        out[0] = static_cast<unsigned char>(kBase64Digits[v >> 18]);
        out[1] = static_cast<unsigned char>(kBase64Digits[v >> 12 & 63]);
        out[2] = static_cast<unsigned char>(i + 1 < n ? kBase64Digits[v >> 6 & 63] : '=');
        out[3] = '=';
    }
}

size_t encoded_length(int format, size_t binary) {
    return format == KEL_DATA_HEX ? 2 * binary : format == KEL_DATA_BASE64 ? (binary + 2) / 3 * 4 : binary;
}

void encode(int format, const unsigned char *in, size_t n, unsigned char *out) {
    if (format == KEL_DATA_HEX)
        encode_hex(in, n, out);
    else if (format == KEL_DATA_BASE64)
        encode_base64(in, n, out);
    else
        std::memcpy(out, in, n);
}

// Checks a text input and gives the length of its binary content.
DataError measure(int format, const unsigned char *in, size_t n, size_t *binary, size_t *position) {
    if (format == KEL_DATA_BASE64)
        return decode_base64(in, n, nullptr, binary, position);
    size_t digits = 0;
    DataError error = count_hex(in, n, &digits, position);
    *binary = (digits + 1) / 2;
    return error;
}

void decode(int format, const unsigned char *in, size_t n, unsigned char *out) {
    size_t produced, position;
    if (format == KEL_DATA_BASE64)
        decode_base64(in, n, out, &produced, &position);
    else
        decode_hex(in, n, out);
}

} // namespace

extern "C" int kelConvertData(KelGlobal *world, const KelBuf *input, int inputFormat, KelBuf *output,
                              int outputFormat) {
    if (!world || !input || !output || (!input->value && input->length))
        return kNullArgument;
    if (!known_key(key(inputFormat, outputFormat)))
        return report(world, kDataUnknownFormat, 0);
    const unsigned char *in = input->value;
    size_t n = input->length;
    if (n == 0) {
        output->length = 0;
        return kOk;
    }
    // Text inputs are checked and measured first, so that nothing is
    // allocated or written for a bad one.
    bool copy = inputFormat == outputFormat;
    size_t binary = n, position = 0;
    if (!copy && inputFormat != KEL_DATA_BINARY) {
        DataError error = measure(inputFormat, in, n, &binary, &position);
        if (error != kDataOk)
            return report(world, error, position);
    }
    size_t length = copy ? n : encoded_length(outputFormat, binary);
    unsigned char *out = output->value;
    if (out && output->length < length)
        return report(world, kDataBufferTooSmall, 0);
    // A text converted to the other text passes through binary.
    unsigned char *scratch = nullptr;
    if (!copy && inputFormat != KEL_DATA_BINARY && outputFormat != KEL_DATA_BINARY &&
        !(scratch = static_cast<unsigned char *>(world->mallocp(binary))))
        return report(world, kDataNoMemory, 0);
    if (!out && !(out = static_cast<unsigned char *>(world->mallocp(length)))) {
        if (scratch)
            world->freep(scratch);
        return report(world, kDataNoMemory, 0);
    }
    if (copy || inputFormat == KEL_DATA_BINARY) {
        encode(copy ? KEL_DATA_BINARY : outputFormat, in, n, out);
    } else if (scratch) {
        decode(inputFormat, in, n, scratch);
        encode(outputFormat, scratch, binary, out);
        world->freep(scratch);
    } else {
        decode(inputFormat, in, n, out);
    }
    output->value = out;
    output->length = static_cast<uint32_t>(length);
    return kOk;
}
