// harness.h - running library primitives in unit tests the way a driver does:
// inside a recovery point, so that a failure comes back as a return code, on a
// world opened without a control table (primitives never look at it).
#pragma once

#include <csetjmp>
#include <cstring>

#include "kelvarn.h"
#include "kelvarn_prim.h"

namespace kel_test {

// Runs `body` with a recovery point set, as the generated function runs inside
// a driver.  Returns 0 when `body` returns, else the failure's return code.
// `body` must not own objects with destructors: a failure jumps over it.
template <class Body> int in_frame(KelGlobal *world, int phase, Body body) {
    jmp_buf recovery;
    world->recoveryPoint = &recovery;
    world->phase = phase;
    world->errMsgPtr = world->errMsg;
    world->errMsg[0] = 0;
    if (!world->outQueueTail)
        world->outQueueTail = &world->outQueue;
    int code = setjmp(recovery);
    if (code == 0) {
        body();
        return 0;
    }
    return code;
}

// A world opened with kelbriefinit, closed when the test ends.
struct BriefWorld {
    KelGlobal world;
    BriefWorld() {
        std::memset(&world, 0, sizeof world);
        kelbriefinit(&world);
    }
    ~BriefWorld() { kelbriefterm(&world); }
    KelGlobal *operator->() { return &world; }
    KelGlobal *get() { return &world; }
};

} // namespace kel_test
