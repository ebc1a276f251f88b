// bench_strings.cpp - strings under BER through kelEncode/kelDecode with the
// TypesZoo code file: OCTET STRING of 16 octets, 1 KiB and 64 KiB, a
// 40-character IA5String, and BMP and UTF-8 text.  Encoders write into a
// caller's buffer; decoders take library memory and free the value.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "codefiles.h"
#include "kelvarn_prim.h"

namespace {

struct Sample {
    const char *type;
    KelUnboundedString value; // also the layout of KelBmpString
    std::vector<unsigned char> encoding;
};

struct Fixture {
    KelGlobal world{};
    std::vector<unsigned char> octets = std::vector<unsigned char>(65536);
    std::string ia5 = "The quick brown fox jumps over the lazy.";
    std::string utf8 = "Grüße aus Köln, ¿qué tal? Καλημέρα κόσμε, 日本語のテキスト";
    std::vector<uint16_t> bmp;
    std::vector<Sample> samples;

    Fixture() {
        kelinit(&world, const_cast<KelControlTable *>(&kel_typeszoo_codefile.control));
        for (size_t i = 0; i < octets.size(); ++i)
            octets[i] = static_cast<unsigned char>(i * 131 + 7);
        for (uint16_t c = 0x391; c < 0x391 + 40; ++c)
            bmp.push_back(c);
        add("Octets", octets.data(), 16);
        add("Octets", octets.data(), 1024);
        add("Octets", octets.data(), 65536);
        add("Ia5", ia5.data(), static_cast<uint32_t>(ia5.size()));
        add("Bmp", bmp.data(), static_cast<uint32_t>(bmp.size()));
        add("Utf8", utf8.data(), static_cast<uint32_t>(utf8.size()));
    }
    ~Fixture() { kelterm(&world); }

    void add(const char *type, void *data, uint32_t length) {
        Sample sample{type, {length, static_cast<unsigned char *>(data)}, {}};
        KelBuf out{0, nullptr};
        kelEncode(&world, pdu(type), &sample.value, &out);
        sample.encoding.assign(out.value, out.value + out.length);
        kelFreeBuf(&world, out.value);
        samples.push_back(sample);
    }
    static int pdu(const char *type) { return kel_codefile_pdu(&kel_typeszoo_codefile, type); }
};

Fixture &fixture() {
    static Fixture f;
    return f;
}

void encode(benchmark::State &state) {
    Fixture &f = fixture();
    Sample &sample = f.samples[static_cast<size_t>(state.range(0))];
    const int pdu = Fixture::pdu(sample.type);
    std::vector<unsigned char> area(sample.encoding.size() + 64);
    for (auto _ : state) {
        KelBuf out{static_cast<uint32_t>(area.size()), area.data()};
        if (kelEncode(&f.world, pdu, &sample.value, &out) != 0)
            state.SkipWithError(kelGetErrMsg(&f.world));
        benchmark::DoNotOptimize(out.value);
    }
    state.SetLabel(std::string(sample.type) + " " + std::to_string(sample.encoding.size()) + " octets");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sample.encoding.size()));
}

void decode(benchmark::State &state) {
    Fixture &f = fixture();
    Sample &sample = f.samples[static_cast<size_t>(state.range(0))];
    for (auto _ : state) {
        KelBuf in{static_cast<uint32_t>(sample.encoding.size()), sample.encoding.data()};
        int pdu = Fixture::pdu(sample.type);
        void *value = nullptr;
        if (kelDecode(&f.world, &pdu, &in, &value) != 0)
            state.SkipWithError(kelGetErrMsg(&f.world));
        kelFreePDU(&f.world, pdu, value);
    }
    state.SetLabel(std::string(sample.type) + " " + std::to_string(sample.encoding.size()) + " octets");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sample.encoding.size()));
}

BENCHMARK(encode)->Name("strings/encode")->DenseRange(0, 5);
BENCHMARK(decode)->Name("strings/decode")->DenseRange(0, 5);

} // namespace
