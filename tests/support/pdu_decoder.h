// pdu_decoder.h - whole-PDU decodes of hostile input through the stand-in
// code files: each input sits in a heap block of exactly its size, so that a
// read past it shows under the sanitizer, and every call, failed or not,
// must leave nothing allocated.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "bench_files.h"
#include "codefiles.h"
#include "counting_alloc.h"

namespace kel_test {

// One world on a code file (TypesZoo unless told) under one rule, with the
// counting allocator.
struct PduDecoder {
    const KelCodeFile *file;
    KelGlobal world{};
    long baseline = 0;
    explicit PduDecoder(int rules, const KelCodeFile *codefile = &kel_typeszoo_codefile) : file(codefile) {
        EXPECT_EQ(kelinit(&world, const_cast<KelControlTable *>(&file->control)), 0);
        CountingAllocator::install(&world);
        baseline = CountingAllocator::live;
        kelSetEncodingRules(&world, rules);
    }
    ~PduDecoder() { kelterm(&world); }

    // The return code; the message must start with `message` on failure.
    int decode(const char *type, const Bytes &input, const char *message = nullptr) {
        return decode_pdu(kel_codefile_pdu(file, type), input, message);
    }

    int decode_pdu(int pdu, const Bytes &input, const char *message = nullptr) {
        std::unique_ptr<unsigned char[]> copy(new unsigned char[input.size() + !input.size()]);
        if (!input.empty())
            std::memcpy(copy.get(), input.data(), input.size());
        KelBuf buf{static_cast<uint32_t>(input.size()), copy.get()};
        void *value = nullptr;
        const int code = kelDecode(&world, &pdu, &buf, &value);
        if (code == 0) {
            kelFreePDU(&world, pdu, value);
        } else {
            EXPECT_EQ(value, nullptr);
            if (message) {
                EXPECT_NE(std::strstr(kelGetErrMsg(&world), message), nullptr) << kelGetErrMsg(&world);
            }
        }
        EXPECT_EQ(CountingAllocator::live, baseline);
        return code;
    }
};

#ifdef KEL_VECTORS_DIR
// Every proper prefix of every encoding a module's vectors give under the
// named rules (of a long one, those near its ends and a sample) fails to
// decode, leaving nothing allocated; cases of types
// that the family's walker doesn't know are passed over.
inline void expect_truncations_fail(const char *module, const KelCodeFile *file,
                                    int (*walkerKnows)(const KelTypeDesc *),
                                    std::initializer_list<std::pair<const char *, int>> rules) {
    std::ifstream in(std::string(KEL_VECTORS_DIR) + "/" + module + ".jsonl");
    ASSERT_TRUE(in) << module;
    for (std::string line; std::getline(in, line);) {
        const auto c = nlohmann::json::parse(line);
        const int pdu = kel_codefile_pdu(file, c["type"].get<std::string>().c_str());
        if (pdu == 0 || !walkerKnows(file->pdus[pdu - 1].type))
            continue;
        for (const auto &[rule, number] : rules) {
            if (!c["enc"].contains(rule))
                continue;
            PduDecoder d(number, file);
            const Bytes full = from_hex(c["enc"][rule].get<std::string>());
            for (size_t n = 0; n < full.size(); ++n) {
                // Long encodings: the cuts near either end, and a sample between.
                if (n > 64 && n + 64 < full.size() && n % 127)
                    continue;
                SCOPED_TRACE(std::string(module) + " " + rule + " cut to " + std::to_string(n));
                EXPECT_NE(d.decode_pdu(pdu, Bytes(full.begin(), full.begin() + static_cast<long>(n))), 0);
            }
        }
    }
}
#endif

} // namespace kel_test
