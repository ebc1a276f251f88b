// message_world.h - a world on the code file of one benchmark message, driven
// through the public operations as the tests of the straight-line code files
// do: encodings in library memory or in a caller's buffer, decodes in
// library memory or in a caller's area, each input copied to a block of
// exactly its size (a read past it is the sanitizer's), the decoded value
// kept until released.
#pragma once

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "bench_files.h"
#include "kelvarn.h"

namespace kel_test {

struct MessageWorld {
    KelGlobal world{};
    int pdu;
    Bytes input;
    void *value = nullptr;
    bool inArea = false;
    alignas(8) unsigned char area[8192];
    unsigned char buffer[4096];

    MessageWorld(KelControlTable *control, int pduNumber) : pdu(pduNumber) {
        EXPECT_EQ(kelinit(&world, control), 0);
    }
    ~MessageWorld() {
        release();
        kelterm(&world);
    }
    MessageWorld(const MessageWorld &) = delete;
    MessageWorld &operator=(const MessageWorld &) = delete;

    // Decodes a copy of `in` under `rule`; the value stays until release().
    int decode(int rule, const Bytes &in, bool caller = false) {
        release();
        kelSetEncodingRules(&world, rule);
        input = in;
        KelBuf buf{static_cast<uint32_t>(input.size()), input.data()};
        int number = pdu;
        value = caller ? area : nullptr;
        inArea = caller;
        if (caller)
            kelSetDecodingLength(&world, sizeof area);
        const int code = kelDecode(&world, &number, &buf, &value);
        if (code != 0)
            value = nullptr;
        return code;
    }

    // Encodes `v` (the decoded value when null) under `rule`.
    int encode(int rule, Bytes &out, bool caller = false, const void *v = nullptr) {
        kelSetEncodingRules(&world, rule);
        KelBuf buf = caller ? KelBuf{sizeof buffer, buffer} : KelBuf{0, nullptr};
        const int code = kelEncode(&world, pdu, const_cast<void *>(v ? v : value), &buf);
        if (code == 0) {
            out.assign(buf.value, buf.value + buf.length);
            if (!caller)
                kelFreeBuf(&world, buf.value);
        }
        return code;
    }

    // The length that count mode finds for `v` (the decoded value when null).
    uint32_t counted(int rule, const void *v = nullptr) {
        kelSetEncodingRules(&world, rule);
        kelSetEncodingFlags(&world, DETERMINE_ENC_LENGTH);
        KelBuf buf{0, nullptr};
        EXPECT_EQ(kelEncode(&world, pdu, const_cast<void *>(v ? v : value), &buf), 0) << message();
        kelSetEncodingFlags(&world, 0);
        return buf.length;
    }

    void release() {
        if (value && !inArea)
            kelFreePDU(&world, pdu, value);
        value = nullptr;
    }

    std::string message() { return kelGetErrMsg(&world); }
    // The message's number follows the prefix E or D.
    bool says(const char *number) { return message().compare(1, 5, number) == 0; }
};

} // namespace kel_test
