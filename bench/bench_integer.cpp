// bench_integer.cpp - INTEGER TLVs under BER: through kelEncode/kelDecode with
// the TypesZoo code file (64-bit INTEGER) in both memory modes, and on the
// raw primitives that generated code calls.
#include <benchmark/benchmark.h>

#include <csetjmp>
#include <cstdint>
#include <cstring>
#include <vector>

#include "codefiles.h"
#include "kelvarn_ber.h"

namespace {

// Values of every content length from 1 to 8 octets, both signs.
constexpr int64_t kValues[16] = {0,          -1,          127,          -129,
                                 32767,      -8388608,    2147483647,   -2147483648LL,
                                 1LL << 32,  -(1LL << 39), 1LL << 40,   -(1LL << 47),
                                 1LL << 48,  -(1LL << 55), INT64_MAX,   INT64_MIN};

struct Fixture {
    KelGlobal world{};
    int pdu = 0;
    std::vector<std::vector<unsigned char>> encodings;
    size_t octets = 0; // of all 16 encodings

    Fixture() {
        kelinit(&world, const_cast<KelControlTable *>(&kel_typeszoo_codefile.control));
        pdu = kel_codefile_pdu(&kel_typeszoo_codefile, "Int");
        for (int64_t value : kValues) {
            KelBuf out{0, nullptr};
            kelEncode(&world, pdu, &value, &out);
            encodings.emplace_back(out.value, out.value + out.length);
            octets += out.length;
            kelFreeBuf(&world, out.value);
        }
    }
    ~Fixture() { kelterm(&world); }
};

Fixture &fixture() {
    static Fixture f;
    return f;
}

// Sets bytes processed so that the report shows MB/s; `state` ran over the
// 16 values in turn.
void count_octets(benchmark::State &state) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * fixture().octets / 16));
}

void encode_caller(benchmark::State &state) {
    Fixture &f = fixture();
    unsigned char area[32];
    size_t i = 0;
    for (auto _ : state) {
        int64_t value = kValues[i++ & 15];
        KelBuf out{sizeof area, area};
        if (kelEncode(&f.world, f.pdu, &value, &out) != 0)
            state.SkipWithError(kelGetErrMsg(&f.world));
        benchmark::DoNotOptimize(out.value);
    }
    count_octets(state);
}

void encode_library(benchmark::State &state) {
    Fixture &f = fixture();
    size_t i = 0;
    for (auto _ : state) {
        int64_t value = kValues[i++ & 15];
        KelBuf out{0, nullptr};
        if (kelEncode(&f.world, f.pdu, &value, &out) != 0)
            state.SkipWithError(kelGetErrMsg(&f.world));
        kelFreeBuf(&f.world, out.value);
    }
    count_octets(state);
}

void decode_caller(benchmark::State &state) {
    Fixture &f = fixture();
    alignas(8) unsigned char area[64];
    size_t i = 0;
    for (auto _ : state) {
        std::vector<unsigned char> &encoding = f.encodings[i++ & 15];
        KelBuf in{static_cast<uint32_t>(encoding.size()), encoding.data()};
        int pdu = f.pdu;
        void *value = area;
        kelSetDecodingLength(&f.world, sizeof area);
        if (kelDecode(&f.world, &pdu, &in, &value) != 0)
            state.SkipWithError(kelGetErrMsg(&f.world));
        benchmark::DoNotOptimize(*static_cast<int64_t *>(value));
    }
    count_octets(state);
}

void decode_library(benchmark::State &state) {
    Fixture &f = fixture();
    size_t i = 0;
    for (auto _ : state) {
        std::vector<unsigned char> &encoding = f.encodings[i++ & 15];
        KelBuf in{static_cast<uint32_t>(encoding.size()), encoding.data()};
        int pdu = f.pdu;
        void *value = nullptr;
        if (kelDecode(&f.world, &pdu, &in, &value) != 0)
            state.SkipWithError(kelGetErrMsg(&f.world));
        kelFreePDU(&f.world, pdu, value);
    }
    count_octets(state);
}

// The raw primitives, as generated code calls them inside a driver: one
// recovery point for the whole run, which a correct run never reaches.
void encode_primitive(benchmark::State &state) {
    Fixture &f = fixture();
    unsigned char area[32];
    jmp_buf recovery;
    f.world.recoveryPoint = &recovery;
    if (setjmp(recovery) != 0) {
        state.SkipWithError("primitive failed");
        return;
    }
    size_t i = 0;
    for (auto _ : state) {
        unsigned char *pos = area + sizeof area;
        int32_t rem = sizeof area;
        benchmark::DoNotOptimize(_kel_encd_llint_tl(&f.world, &pos, &rem, kValues[i++ & 15], 0x02));
        benchmark::DoNotOptimize(pos);
    }
    count_octets(state);
}

void decode_primitive(benchmark::State &state) {
    Fixture &f = fixture();
    jmp_buf recovery;
    f.world.recoveryPoint = &recovery;
    f.world.phase = 5;
    if (setjmp(recovery) != 0) {
        state.SkipWithError("primitive failed");
        return;
    }
    size_t i = 0;
    for (auto _ : state) {
        std::vector<unsigned char> &encoding = f.encodings[i++ & 15];
        unsigned char *pos = encoding.data();
        int32_t rem = static_cast<int32_t>(encoding.size());
        int32_t length = _kel_dec_tag_length(&f.world, &pos, &rem, 0x02);
        benchmark::DoNotOptimize(_kel_dec_llint(&f.world, &pos, &rem, length));
    }
    count_octets(state);
}

BENCHMARK(encode_caller)->Name("Integer/ber/encode/caller");
BENCHMARK(encode_library)->Name("Integer/ber/encode/library");
BENCHMARK(encode_primitive)->Name("Integer/ber/encode/primitive");
BENCHMARK(decode_caller)->Name("Integer/ber/decode/caller");
BENCHMARK(decode_library)->Name("Integer/ber/decode/library");
BENCHMARK(decode_primitive)->Name("Integer/ber/decode/primitive");

} // namespace
