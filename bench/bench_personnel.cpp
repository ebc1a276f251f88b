// bench_personnel.cpp - the X.690 Annex A personnel record through its
// straight-line code file, as an application runs it: encode and decode
// under BER, DER, aligned and unaligned PER, OER, COER and JSON (compact,
// as the benchmark directory's text), in library memory and in a caller's
// buffer.  Decoding in library memory includes
// kelFreePDU.  Names follow
// <message>/<rule>/<direction>/<memory>.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "personnel.h"

namespace {

ChildInformation children[] = {
    {{const_cast<char *>("Ralph"), const_cast<char *>("T"), const_cast<char *>("Smith")},
     const_cast<char *>("19571111")},
    {{const_cast<char *>("Susan"), const_cast<char *>("B"), const_cast<char *>("Jones")},
     const_cast<char *>("19590717")},
};

PersonnelRecord sample = {
    children_present,
    {const_cast<char *>("John"), const_cast<char *>("P"), const_cast<char *>("Smith")},
    const_cast<char *>("Director"),
    51,
    const_cast<char *>("19710917"),
    {const_cast<char *>("Mary"), const_cast<char *>("T"), const_cast<char *>("Smith")},
    {2, children},
};

struct World {
    KelGlobal world{};
    std::vector<unsigned char> encoding;
    explicit World(int rule) {
        kelinit(&world, &personnel_control);
        kelSetEncodingRules(&world, rule);
        kelSetJsonIndentSize(&world, -1);
        KelBuf out{0, nullptr};
        if (kelEncode(&world, PersonnelRecord_PDU, &sample, &out) == 0) {
            encoding.assign(out.value, out.value + out.length);
            kelFreeBuf(&world, out.value);
        }
    }
    ~World() { kelterm(&world); }
};

void finish(benchmark::State &state, const World &w) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * w.encoding.size()));
}

void encode(benchmark::State &state, int rule, bool caller) {
    World w(rule);
    unsigned char area[512];
    for (auto _ : state) {
        KelBuf out = caller ? KelBuf{sizeof area, area} : KelBuf{0, nullptr};
        if (kelEncode(&w.world, PersonnelRecord_PDU, &sample, &out) != 0)
            state.SkipWithError(kelGetErrMsg(&w.world));
        benchmark::DoNotOptimize(out.value);
        if (!caller)
            kelFreeBuf(&w.world, out.value);
    }
    finish(state, w);
}

void decode(benchmark::State &state, int rule, bool caller) {
    World w(rule);
    alignas(8) static unsigned char area[2048];
    for (auto _ : state) {
        KelBuf in{static_cast<uint32_t>(w.encoding.size()), w.encoding.data()};
        int pdu = PersonnelRecord_PDU;
        void *value = caller ? area : nullptr;
        if (caller)
            kelSetDecodingLength(&w.world, sizeof area);
        if (kelDecode(&w.world, &pdu, &in, &value) != 0)
            state.SkipWithError(kelGetErrMsg(&w.world));
        benchmark::DoNotOptimize(value);
        if (!caller)
            kelFreePDU(&w.world, pdu, value);
    }
    finish(state, w);
}

// Registered by name, so that the report reads <message>/<rule>/<direction>/<memory>.
const bool registered = [] {
    static const struct { int rule; const char *name; } rules[] = {
        {KEL_DER, "der"},         {KEL_BER, "ber"}, {KEL_PER_ALIGNED, "per"},
        {KEL_PER_UNALIGNED, "uper"}, {KEL_OER, "oer"}, {KEL_COER, "coer"},
        {KEL_JSON, "jer"}};
    for (const auto &r : rules)
        for (bool caller : {false, true}) {
            const std::string memory = caller ? "caller" : "library";
            const std::string prefix = std::string("PersonnelRecordA1/") + r.name;
            const int rule = r.rule;
            benchmark::RegisterBenchmark((prefix + "/decode/" + memory).c_str(),
                                         [=](benchmark::State &s) { decode(s, rule, caller); });
            benchmark::RegisterBenchmark((prefix + "/encode/" + memory).c_str(),
                                         [=](benchmark::State &s) { encode(s, rule, caller); });
        }
    return true;
}();

} // namespace
