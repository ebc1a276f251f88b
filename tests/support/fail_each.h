// fail_each.h - the loop that fails each allocation of a call in turn, for
// tests proving that every failure gives back all that the call took.
#pragma once

#include <cstring>

#include <gtest/gtest.h>

#include "counting_alloc.h"

namespace kel_test {

// Runs `call` with its k-th allocation failing, for k = 1, 2, ... until a run
// makes fewer than k allocations.  That run must answer 0, every earlier one
// 8 with the out-of-memory message, and no run may leave an allocation
// behind.  `call` gives back whatever a success produced.  Answers the number
// of runs.
template <class Call> long fail_each_allocation(KelGlobal *world, Call call) {
    const long baseline = CountingAllocator::live;
    long k = 1;
    for (;; ++k) {
        CountingAllocator::reset(k);
        const int code = call();
        EXPECT_EQ(CountingAllocator::live, baseline) << "allocation " << k << " failed";
        if (CountingAllocator::calls < k) {
            EXPECT_EQ(code, 0) << world->errMsg;
            break;
        }
        if (code != 8) {
            ADD_FAILURE() << "allocation " << k << " failed, answer " << code << ": " << world->errMsg;
            break;
        }
        EXPECT_NE(std::strstr(world->errMsg, "0008S"), nullptr) << world->errMsg;
    }
    CountingAllocator::reset();
    return k;
}

} // namespace kel_test
