// bench_json_strings.cpp - a JSON string value of 1 MiB (plain characters, no
// escapes) decoded by the primitive that generated code calls for an
// unbounded UTF8String, inside a decode frame as a driver sets it up: one
// recovery point for the whole run, which a correct run never reaches.  The
// value's memory goes back to the world after each iteration.
#include <benchmark/benchmark.h>

#include <csetjmp>
#include <string>

#include "kelvarn_json.h"

namespace {

constexpr size_t kValueOctets = 1u << 20;

void decode_utf8_1mib(benchmark::State &state) {
    KelGlobal world{};
    kelbriefinit(&world);
    std::string text = "\"";
    for (size_t i = 0; i < kValueOctets; ++i)
        text += static_cast<char>('a' + i % 26);
    text += "\"";
    unsigned char scratch[256];
    KelJsonCursor cursor{&world, nullptr, scratch, 0, 0};
    jmp_buf recovery;
    world.recoveryPoint = &recovery;
    world.phase = 5;
    world.errMsgPtr = world.errMsg;
    if (!world.outQueueTail)
        world.outQueueTail = &world.outQueue;
    if (setjmp(recovery) != 0) {
        state.SkipWithError(world.errMsg);
        kelbriefterm(&world);
        return;
    }
    for (auto _ : state) {
        unsigned char *value = nullptr;
        world.inPos = reinterpret_cast<unsigned char *>(text.data());
        world.inRemaining = static_cast<int32_t>(text.size());
        cursor.start = world.inPos;
        _kel_json_token(&cursor, KEL_JTOK_STRING);
        benchmark::DoNotOptimize(_kel_jdec_string8_unbounded(&cursor, &value));
        benchmark::DoNotOptimize(value);
        _kel_freeMem(&world, world.freeMem);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kValueOctets));
    kelbriefterm(&world);
}

BENCHMARK(decode_utf8_1mib)->Name("JsonString/utf8/decode/1MiB");

} // namespace
