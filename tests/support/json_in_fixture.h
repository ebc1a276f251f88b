// json_in_fixture.h - running JSON decoder primitives on a cursor the way the
// JSON decode driver sets it up: input of exactly its size (so that the
// address sanitizer sees every overread), a 256-octet scratch, a recovery
// point, and library memory released after each test.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_json.h"

namespace kel_test {

struct JsonInFixture : ::testing::Test {
    BriefWorld brief;
    KelGlobal *world = brief.get();
    std::vector<unsigned char> input;
    unsigned char scratch[256];
    KelJsonCursor cursor{};

    void TearDown() override {
        _kel_freetempMem(world);
        _kel_freeMem(world, world->freeMem);
    }

    // Runs `body` on the cursor over `text`; the failure's return code or 0.
    template <class Body> int run(const std::string &text, Body body) {
        input.assign(text.begin(), text.end());
        world->inPos = input.data();
        world->inRemaining = static_cast<int32_t>(input.size());
        cursor = KelJsonCursor{world, input.data(), scratch, 0, 0};
        return in_frame(world, kel::kPhaseDecoder, [&] { body(&cursor); });
    }

    std::string rest() const { return std::string(reinterpret_cast<const char *>(world->inPos), world->inRemaining); }
    std::string message() const { return kelGetErrMsg(const_cast<KelGlobal *>(world)); }
    std::string scratch_text() const { return std::string(reinterpret_cast<const char *>(scratch), cursor.length); }
};

} // namespace kel_test
