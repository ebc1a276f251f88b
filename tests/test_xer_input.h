// test_xer_input.h - running XER readers on a lexeme record set up the way
// the decode driver sets it: input of exactly its size (so that the address
// sanitizer sees every overread), a recovery point, the canonical bit on or
// off, and library memory released after each test.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "harness.h"
#include "internal.h"
#include "kelvarn_xer.h"

namespace xer_test {

struct XerInput : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    std::vector<unsigned char> input;
    XerInputState ctx{};

    void TearDown() override {
        _kel_freetempMem(world);
        _kel_freeMem(world, world->freeMem);
    }

    // Runs `body` on the record over `text`; the failure's return code or 0.
    template <class Body> int run(const std::string &text, Body body, bool cxer = false) {
        input.assign(text.begin(), text.end());
        input.shrink_to_fit();
        world->inPos = input.data();
        world->inRemaining = static_cast<int32_t>(input.size());
        world->modeBits = static_cast<uint8_t>(cxer ? world->modeBits | KEL_MODE_CANONICAL
                                                    : world->modeBits & ~KEL_MODE_CANONICAL);
        ctx = XerInputState{world, input.data(), 0, 0, nullptr, 0};
        return kel_test::in_frame(world, kel::kPhaseDecoder, [&] { body(&ctx); });
    }

    std::string rest() const { return std::string(reinterpret_cast<const char *>(world->inPos), world->inRemaining); }
    std::string message() const { return kelGetErrMsg(const_cast<KelGlobal *>(world)); }
    std::string name() const { return std::string(reinterpret_cast<const char *>(ctx.text), ctx.textLength); }
    size_t consumed() const { return static_cast<size_t>(world->inPos - input.data()); }
};

} // namespace xer_test
