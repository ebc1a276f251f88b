// bench_set_of.cpp - large lists under DER with the TypesZoo code file: a
// SET OF 1,000,000 empty OCTET STRINGs decoded and encoded again (the encode
// sorts the million elements), a SET OF 100,000 distinct OCTET STRINGs
// encoded from shuffled order, and a SEQUENCE OF 1,000,000 empty SEQUENCEs
// refused at its first element, whose cost must not grow with the rest of
// the input.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "codefiles.h"
#include "kelvarn_prim.h"

namespace {

constexpr uint32_t kMillion = 1000000;

// A constructed header with a four-octet length and `n` copies of `element`.
std::vector<unsigned char> list_encoding(unsigned char tag, const std::vector<unsigned char> &element, uint32_t n) {
    const uint32_t length = n * static_cast<uint32_t>(element.size());
    std::vector<unsigned char> out = {tag,
                                      0x84,
                                      static_cast<unsigned char>(length >> 24),
                                      static_cast<unsigned char>(length >> 16),
                                      static_cast<unsigned char>(length >> 8),
                                      static_cast<unsigned char>(length)};
    out.reserve(out.size() + length);
    for (uint32_t i = 0; i < n; ++i)
        out.insert(out.end(), element.begin(), element.end());
    return out;
}

struct Fixture {
    KelGlobal world{};
    std::vector<unsigned char> emptyOctets = list_encoding(0x31, {0x04, 0x00}, kMillion);
    // SeqOfSeq's elements need their first component: an empty one is refused.
    std::vector<unsigned char> emptySequences = list_encoding(0x30, {0x30, 0x00}, kMillion);
    std::vector<KelUnboundedString> distinct;
    std::vector<uint32_t> distinctKeys;

    Fixture() {
        kelinit(&world, const_cast<KelControlTable *>(&kel_typeszoo_codefile.control));
        kelSetEncodingRules(&world, KEL_DER);
        // Keys of one to four octets in a scrambled order, many sharing a prefix.
        for (uint32_t i = 0; i < 100000; ++i)
            distinctKeys.push_back(i * 2654435761u);
        for (uint32_t &key : distinctKeys)
            distinct.push_back({1 + key % 4, reinterpret_cast<unsigned char *>(&key)});
    }
    ~Fixture() { kelterm(&world); }
};

Fixture &fixture() {
    static Fixture f;
    return f;
}

int pdu(const char *type) { return kel_codefile_pdu(&kel_typeszoo_codefile, type); }

void *decode(benchmark::State &state, Fixture &f, const char *type, std::vector<unsigned char> &input) {
    KelBuf in{static_cast<uint32_t>(input.size()), input.data()};
    int number = pdu(type);
    void *value = nullptr;
    if (kelDecode(&f.world, &number, &in, &value) != 0)
        state.SkipWithError(kelGetErrMsg(&f.world));
    return value;
}

void encode_list(benchmark::State &state, Fixture &f, const char *type, KelSequenceOf *list) {
    for (auto _ : state) {
        KelBuf out{0, nullptr};
        if (kelEncode(&f.world, pdu(type), list, &out) != 0)
            state.SkipWithError(kelGetErrMsg(&f.world));
        kelFreeBuf(&f.world, out.value);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * list->count));
}

void empty_octets_decode(benchmark::State &state) {
    Fixture &f = fixture();
    for (auto _ : state)
        kelFreePDU(&f.world, pdu("SetOfOctets"), decode(state, f, "SetOfOctets", f.emptyOctets));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kMillion));
}

void empty_octets_encode(benchmark::State &state) {
    Fixture &f = fixture();
    void *value = decode(state, f, "SetOfOctets", f.emptyOctets);
    if (value)
        encode_list(state, f, "SetOfOctets", static_cast<KelSequenceOf *>(value));
    kelFreePDU(&f.world, pdu("SetOfOctets"), value);
}

void distinct_octets_encode(benchmark::State &state) {
    Fixture &f = fixture();
    KelSequenceOf list{static_cast<uint32_t>(f.distinct.size()), f.distinct.data()};
    encode_list(state, f, "SetOfOctets", &list);
}

void empty_sequences_refused(benchmark::State &state) {
    Fixture &f = fixture();
    for (auto _ : state) {
        KelBuf in{static_cast<uint32_t>(f.emptySequences.size()), f.emptySequences.data()};
        int number = pdu("SeqOfSeq");
        void *value = nullptr;
        if (kelDecode(&f.world, &number, &in, &value) == 0)
            state.SkipWithError("the empty SEQUENCE decoded");
    }
}

BENCHMARK(empty_octets_decode)->Name("setof-1M-empty-octets/der/decode/library")->Unit(benchmark::kMillisecond);
BENCHMARK(empty_octets_encode)->Name("setof-1M-empty-octets/der/encode/library")->Unit(benchmark::kMillisecond);
BENCHMARK(distinct_octets_encode)->Name("setof-100k-octets/der/encode/library")->Unit(benchmark::kMillisecond);
BENCHMARK(empty_sequences_refused)->Name("seqof-1M-empty-sequences/der/refused-at-first/library");

} // namespace
