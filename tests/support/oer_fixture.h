// oer_fixture.h - driving OER primitives the way the OER driver does: a
// world under rule 9 or 10, encoders writing into library blocks (joined
// afterwards) and run a second time in count mode, decoders fed input of
// exactly its size so that the address sanitizer sees every overread.
#pragma once

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_oer.h"

namespace kel_test {

using Octets = std::vector<uint8_t>;
using OerBody = std::function<void(KelGlobal *)>;

struct OerFixture : ::testing::Test {
    BriefWorld brief;
    KelGlobal *world = brief.get();

    void TearDown() override {
        _kel_freetempMem(world);
        _kel_freeMem(world, world->freeMem);
    }

    // What `body` writes in library memory; the count mode must agree on
    // the size.  A failure leaves its code in *rc, or fails the test.  The
    // values of earlier decodes are released first: their items would count
    // as blocks of the encoding.
    Octets encoded(const OerBody &body, int *rc = nullptr) {
        _kel_freeMem(world, world->freeMem);
        world->encRules = KEL_OER;
        world->encodingFlags = DETERMINE_ENC_LENGTH;
        world->encLength = 0;
        const int counted = in_frame(world, kel::kPhaseEncoder, [&] { body(world); });
        const uint32_t count = world->encLength;
        world->encodingFlags = 0;
        world->userBuffer = 0, world->outPos = nullptr, world->outRemaining = 0, world->bitOffset = 0;
        world->outQueueTail = &world->outQueue;
        const int code = in_frame(world, kel::kPhaseEncoder, [&] { body(world); });
        EXPECT_EQ(counted, code);
        if (rc)
            *rc = code;
        else
            EXPECT_EQ(code, 0) << kelGetErrMsg(world);
        if (code) {
            _kel_freeMem(world, world->freeMem);
            return {};
        }
        uint32_t length = 0;
        unsigned char *value = nullptr;
        _kel_set_outmem_p(world, &length, &value);
        Octets out(value, value + length);
        world->freeMem(world, value);
        EXPECT_EQ(count, length);
        return out;
    }

    // Runs `body` on `input` under `rules` with the decoding flags given.
    int decoded(const Octets &input, uint32_t rules, const OerBody &body, uint32_t flags = 0) {
        world->encRules = rules;
        world->decodingFlags = flags;
        world->modeBits = static_cast<uint8_t>((world->modeBits & ~KEL_MODE_RELAXED) |
                                               ((flags & KEL_RELAXED) ? KEL_MODE_RELAXED : 0));
        world->userBuffer = 0, world->bitOffset = 0;
        world->inPos = const_cast<uint8_t *>(input.data());
        world->inRemaining = static_cast<int32_t>(input.size());
        return in_frame(world, kel::kPhaseDecoder, [&] { body(world); });
    }

    // Decodes under `rules`: the message number when it fails, "" when not.
    std::string outcome(const Octets &input, uint32_t rules, const OerBody &body, uint32_t flags = 0) {
        const int rc = decoded(input, rules, body, flags);
        return rc ? std::string(kelGetErrMsg(world) + 1, 5) : std::string();
    }

    // The message, behind its phase letter, starts with `number`.
    bool failed_with(int rc, const char *number) {
        return rc != 0 && std::strncmp(kelGetErrMsg(world) + 1, number, 5) == 0;
    }
    int32_t consumed(const Octets &input) const {
        return static_cast<int32_t>(input.size()) - world->inRemaining;
    }
};

// `octets` followed by `n` filler octets.
inline Octets with_content(Octets octets, uint32_t n) {
    octets.resize(octets.size() + n, 0x5A);
    return octets;
}

} // namespace kel_test
