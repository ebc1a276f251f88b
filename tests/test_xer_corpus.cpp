// test_xer_corpus.cpp - the corpus values under CXER: each case's DER is
// decoded by the stand-in code file and encoded again through the XER
// walker, and the text must be the case's cxer text, byte for byte; the
// same value under XER must encode too, its count agreeing with its length.
// Where the corpus text is not canonical for the value, a correction below
// says why and what the library writes instead.
#include <cstring>
#include <fstream>
#include <map>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "bench_files.h"
#include "counting_alloc.h"
#include "internal.h"
#include "xer_walker.h"

namespace {

using kel_test::CountingAllocator;

// Cases whose corpus text is not the canonical text of the value the DER
// holds: the part of the corpus text to replace, and what the library
// writes there.
struct Correction {
    const char *from, *to;
};
const std::map<std::string, Correction> kCorrections = {
    // the DER of a local time and of a time with an offset is in UTC
    {"gen-local", {"27.3<", "27.3Z<"}},
    {"gen-offset", {"19851106210627.3-0500", "19851107020627.3Z"}},
    // no trailing zeros in a fraction
    {"gen-trailing-zero", {".50Z", ".5Z"}},
    // the time record holds milliseconds
    {"gen-micro", {".123456Z", ".123Z"}},
    // the root components after the second ellipsis belong in the text
    {"all", {"<g>999</g></Ax>", "<g>999</g><i>bmp</i><j>print</j></Ax>"}},
    // INTEGER is decimal, not octets in hexadecimal
    {"cert-Certum_Trusted_Network_CA_2",
     {"21:D6:D0:4A:4F:25:0F:C9:32:37:FC:AA:5E:12:8D:E9", "44979900017204383099463764357512596969"}},
};

// The case's cxer text, corrected where it needs it.
std::string canonical_text(const std::string &id, std::string text) {
    const auto correction = kCorrections.find(id);
    if (correction != kCorrections.end()) {
        const size_t at = text.find(correction->second.from);
        EXPECT_NE(at, std::string::npos) << id;
        if (at != std::string::npos)
            text.replace(at, std::strlen(correction->second.from), correction->second.to);
    }
    return text;
}

struct CorpusWorld {
    KelGlobal world{};
    KelXApiTable api{};
    explicit CorpusWorld(const KelCodeFile *file) {
        EXPECT_EQ(kelinit(&world, const_cast<KelControlTable *>(&file->control)), 0);
        // The code file's table with the XER entry beside its others.
        kelLinkXer(&world);
        api = *world.ext->xapi;
        api.compilerVersion = 8;
        api.xerEncode = kel_xer_encode;
        world.ext->xapi = &api;
        CountingAllocator::install(&world);
    }
    ~CorpusWorld() { kelterm(&world); }

    // The text under `rules`, or "!" and the message's number.
    std::string encode(int rules, int pdu, void *value) {
        world.encRules = static_cast<uint32_t>(rules);
        world.encodingFlags = _XML_DECLARATION | TRAPPING;
        KelBuf out{0, nullptr};
        if (kelEncode(&world, pdu, value, &out) != 0)
            return "!" + std::string(world.errMsg).substr(1, 5);
        std::string text(reinterpret_cast<char *>(out.value), out.length);
        kelFreeBuf(&world, out.value);
        world.encodingFlags |= DETERMINE_ENC_LENGTH;
        KelBuf counted{0, nullptr};
        EXPECT_EQ(kelEncode(&world, pdu, value, &counted), 0) << world.errMsg;
        EXPECT_EQ(counted.length, text.size());
        return text;
    }
};

TEST(XerCorpus, CanonicalTextsOfTheCorpusValues) {
    const char *modules[] = {"TypesZoo", "PersonnelA1", "PersonnelA2", "PersonnelA3", "ExtGroupsA4",
                             "TagsExplicit", "TagsImplicit", "OpenTypes", "X509Certificate"};
    int compared = 0;
    for (const char *module : modules) {
        const KelCodeFile *file = kel_codefile_find(module);
        ASSERT_NE(file, nullptr) << module;
        CorpusWorld w(file);
        const long baseline = CountingAllocator::live;
        std::ifstream in(std::string(KEL_VECTORS_DIR) + "/" + module + ".jsonl");
        ASSERT_TRUE(in) << module;
        for (std::string line; std::getline(in, line);) {
            const auto c = nlohmann::json::parse(line);
            const std::string id = c["id"];
            const int pdu = kel_codefile_pdu(file, c["type"].get<std::string>().c_str());
            if (!pdu || !kel_xer_knows(file->pdus[pdu - 1].type) || !c["enc"].contains("der"))
                continue;
            kel_test::Bytes der = kel_test::from_hex(c["enc"]["der"]);
            KelBuf input{static_cast<uint32_t>(der.size()), der.data()};
            void *value = nullptr;
            int number = pdu;
            w.world.encRules = KEL_DER;
            if (kelDecode(&w.world, &number, &input, &value) != 0)
                continue; // a value the memory form can't hold
            if (c["enc"].contains("cxer")) {
                EXPECT_EQ(w.encode(KEL_CXER, pdu, value), canonical_text(id, c["enc"]["cxer"]))
                    << module << " " << id;
                ++compared;
            }
            if (c["enc"].contains("xer")) {
                const std::string pretty = w.encode(KEL_XER, pdu, value);
                EXPECT_NE(pretty[0], '!') << module << " " << id << ": " << pretty;
            }
            kelFreePDU(&w.world, pdu, value);
            EXPECT_EQ(CountingAllocator::live, baseline) << id;
        }
    }
    EXPECT_GT(compared, 200);
}

} // namespace
