// bench_messages.cpp - ProtoMessage, CertTrim and PersonnelRecordA2 through
// their straight-line code files, as an application runs them: decode and
// encode under each rule a message has files of (DER, BER, aligned and
// unaligned PER, OER, COER and JSON), in library memory and in a caller's
// buffer.
// The encodings are the files of the benchmark directory (../shared/bench
// beside the source tree); the value to encode is their decoding.  Decoding in library memory
// includes kelFreePDU.  Names follow <message>/<rule>/<direction>/<memory>.
#include <benchmark/benchmark.h>

#include <fstream>
#include <iterator>
#include <string>

#include "../tests/support/bench_files.h"
#include "cert_trim.h"
#include "personnel_a2.h"
#include "proto_message.h"

namespace {

using kel_test::Bytes;

// The benchmark directory, found from this file's place in the tree.
std::string bench_dir() {
    std::string here = __FILE__;
    return here.substr(0, here.rfind("/bench/")) + "/../shared/bench/";
}

struct MessageFile {
    const char *name;
    KelControlTable *control;
    int pdu;
};

// A world on the message's code file with the file's encoding under `rule`
// and its decoding, which the encoder benchmarks encode.
struct World {
    KelGlobal world{};
    Bytes encoding;
    void *value = nullptr;
    int pdu;
    World(const MessageFile &m, int rule, const char *ruleName) : pdu(m.pdu) {
        // The JSON file is the compact text itself, which the encoder writes too.
        const bool text = rule == KEL_JSON;
        std::ifstream in(bench_dir() + m.name + "." + ruleName + (text ? ".json" : ".hex"));
        const std::string content(std::istreambuf_iterator<char>(in), {});
        encoding = text ? Bytes(content.begin(), content.end()) : kel_test::from_hex(content);
        kelinit(&world, m.control);
        kelSetEncodingRules(&world, rule);
        kelSetJsonIndentSize(&world, -1);
        KelBuf buf{static_cast<uint32_t>(encoding.size()), encoding.data()};
        if (kelDecode(&world, &pdu, &buf, &value) != 0)
            value = nullptr;
    }
    ~World() {
        if (value)
            kelFreePDU(&world, pdu, value);
        kelterm(&world);
    }
};

void encode(benchmark::State &state, const World &w, bool caller) {
    KelGlobal *world = const_cast<KelGlobal *>(&w.world);
    static unsigned char area[4096];
    for (auto _ : state) {
        KelBuf out = caller ? KelBuf{sizeof area, area} : KelBuf{0, nullptr};
        if (kelEncode(world, w.pdu, w.value, &out) != 0)
            state.SkipWithError(kelGetErrMsg(world));
        benchmark::DoNotOptimize(out.value);
        if (!caller)
            kelFreeBuf(world, out.value);
    }
}

void decode(benchmark::State &state, const World &w, bool caller) {
    KelGlobal *world = const_cast<KelGlobal *>(&w.world);
    alignas(8) static unsigned char area[8192];
    for (auto _ : state) {
        KelBuf in{static_cast<uint32_t>(w.encoding.size()), const_cast<unsigned char *>(w.encoding.data())};
        int pdu = w.pdu;
        void *value = caller ? area : nullptr;
        if (caller)
            kelSetDecodingLength(world, sizeof area);
        if (kelDecode(world, &pdu, &in, &value) != 0)
            state.SkipWithError(kelGetErrMsg(world));
        benchmark::DoNotOptimize(value);
        if (!caller)
            kelFreePDU(world, pdu, value);
    }
}

void run(benchmark::State &state, const MessageFile &m, int rule, const char *ruleName, bool encoder,
         bool caller) {
    World w(m, rule, ruleName);
    if (!w.value) {
        state.SkipWithError("the benchmark file doesn't decode");
        return;
    }
    if (encoder)
        encode(state, w, caller);
    else
        decode(state, w, caller);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * w.encoding.size()));
}

// Registered by name, so that the report reads <message>/<rule>/<direction>/<memory>.
const bool registered = [] {
    static const MessageFile proto{"ProtoMessage", &proto_message_control, Message_PDU};
    static const MessageFile cert{"CertTrim", &cert_trim_control, Certificate_PDU};
    static const MessageFile a2{"PersonnelRecordA2", &personnel_a2_control, A2PersonnelRecord_PDU};
    static const struct {
        const MessageFile *message;
        int rule;
        const char *name;
    } runs[] = {
        {&proto, KEL_DER, "der"}, {&proto, KEL_BER, "ber"}, {&proto, KEL_PER_ALIGNED, "per"},
        {&proto, KEL_PER_UNALIGNED, "uper"}, {&proto, KEL_OER, "oer"}, {&proto, KEL_COER, "coer"},
        {&proto, KEL_JSON, "jer"},
        {&cert, KEL_DER, "der"}, {&cert, KEL_BER, "ber"}, {&cert, KEL_OER, "oer"}, {&cert, KEL_COER, "coer"},
        {&a2, KEL_PER_ALIGNED, "per"}, {&a2, KEL_PER_UNALIGNED, "uper"}, {&a2, KEL_OER, "oer"},
        {&a2, KEL_COER, "coer"},
    };
    for (const auto &r : runs)
        for (bool encoder : {false, true})
            for (bool caller : {false, true}) {
                const std::string name = std::string(r.message->name) + "/" + r.name +
                                         (encoder ? "/encode/" : "/decode/") + (caller ? "caller" : "library");
                const MessageFile *message = r.message;
                const int rule = r.rule;
                const char *ruleName = r.name;
                benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &s) {
                    run(s, *message, rule, ruleName, encoder, caller);
                });
            }
    return true;
}();

} // namespace
