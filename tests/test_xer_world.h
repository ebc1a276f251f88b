// test_xer_world.h - a world whose code file's XER entry runs the body a
// test hands it, so that the writers run inside kelXerEncode as generated
// code runs them.  text() encodes in library memory, counts, and encodes
// again into a caller's buffer of exactly the length found, and checks that
// the three agree.
#pragma once

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kelvarn_xer.h"

namespace xer_test {

using Body = std::function<void(KelGlobal *)>;

// The layouts: pretty XER, compact XER, and CXER with the canonical bit.
enum Mode { kPretty, kCompact, kCanonical };

inline const Body *g_body = nullptr;

inline int run_body(KelGlobal *world, int, void *) {
    (*g_body)(world);
    return 0;
}

inline KelXApiTable g_api;

inline void link_xer(KelGlobal *world) {
    kelLinkXer(world);
    kelInitXAPIentries(world, &g_api);
}

inline KelControlTable g_table = {link_xer, nullptr, nullptr, nullptr, 17, nullptr, nullptr, 0, 0, nullptr, nullptr};

struct XerWorld : ::testing::Test {
    KelGlobal world;

    void SetUp() override {
        g_api = KelXApiTable{};
        g_api.compilerVersion = 8;
        g_api.xerEncode = run_body;
        ASSERT_EQ(kelinit(&world, &g_table), 0);
        layout(kPretty);
    }
    void TearDown() override { kelterm(&world); }

    // Sets the rules, the canonical bit and the flags (no XML declaration
    // unless `flags` says otherwise).
    void layout(Mode mode, uint32_t flags = _XML_DECLARATION) {
        world.encRules = mode == kCanonical ? KEL_CXER : KEL_XER;
        world.encodingFlags = flags | TRAPPING | (mode == kCompact ? COMPACT_XER_ENCODING : 0);
        world.modeBits = static_cast<uint8_t>(mode == kCanonical ? world.modeBits | KEL_MODE_CANONICAL
                                                                 : world.modeBits & ~KEL_MODE_CANONICAL);
    }

    int encode(const Body &body, KelBuf *out) {
        g_body = &body;
        return kelEncode(&world, 1, &world, out);
    }

    // The text in library memory, checked against count mode and a
    // caller's buffer; a failure leaves its code in *rc (else it fails the
    // test).
    std::string text(const Body &body, int *rc = nullptr) {
        KelBuf out{0, nullptr};
        const int code = encode(body, &out);
        if (rc)
            *rc = code;
        else
            EXPECT_EQ(code, 0) << world.errMsg;
        if (code)
            return {};
        std::string result(reinterpret_cast<char *>(out.value), out.length);
        kelFreeBuf(&world, out.value);

        const uint32_t flags = world.encodingFlags;
        world.encodingFlags = flags | DETERMINE_ENC_LENGTH;
        KelBuf counted{0, nullptr};
        EXPECT_EQ(encode(body, &counted), 0) << world.errMsg;
        EXPECT_EQ(counted.length, result.size());
        world.encodingFlags = flags;

        std::vector<unsigned char> area(result.size() + 1, 'z');
        KelBuf exact{static_cast<uint32_t>(result.size()), area.data()};
        EXPECT_EQ(encode(body, &exact), 0) << world.errMsg;
        EXPECT_EQ(std::string(area.begin(), area.end() - 1), result);
        EXPECT_EQ(area.back(), 'z');
        return result;
    }

    // The printed number of the message that `body` fails with ("0175E").
    std::string failure(const Body &body) {
        int rc = 0;
        text(body, &rc);
        EXPECT_NE(rc, 0);
        const std::string message = world.errMsg;
        const size_t at = message.find_first_of("0123456789");
        return at == std::string::npos ? message : message.substr(at, 5);
    }
};

inline const unsigned char *bytes(const char *s) { return reinterpret_cast<const unsigned char *>(s); }

} // namespace xer_test
