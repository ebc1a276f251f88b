/*
 * make_seeds.cpp - writes the seed corpus of one fuzz target.
 *
 *   kelvarn-fuzz-seeds FAMILY OUTDIR VECTORSDIR BENCHDIR
 *
 * Every encoding of the vector corpus whose module and type have a PDU in
 * one of the fuzzed schemas becomes a seed, and every bench encoding of a
 * schema a seed for each of its PDUs, once in library memory and once in a
 * caller's buffer.  Each schema, PDU and rule also gets an empty encoding,
 * so that no PDU starts without a seed.  Seeds carry the selector octets of
 * fuzz_schemas.h in front; a rule's selector is its place in the family's
 * list below, which must follow the target's own order.
 */
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "fuzz_schemas.h"

namespace {

namespace fs = std::filesystem;
using Octets = std::vector<uint8_t>;

struct Rule {
    const char *vectorKey;   /* key in a case's "enc" */
    const char *benchSuffix; /* suffix of its bench files, or null */
    bool text = false;       /* encodings are texts, not hexadecimal */
};

struct Family {
    const char *name;
    std::vector<Rule> rules;
};

const Family families[] = {
    { "ber", { { "ber", ".ber.hex" }, { "der", ".der.hex" }, { "cer", nullptr } } },
    { "der_canonical", { { "der", ".der.hex" } } },
    { "per", { { "per", ".per.hex" }, { "uper", ".uper.hex" } } },
    { "oer", { { "oer", ".oer.hex" }, { "coer", ".coer.hex" } } },
    { "json", { { "jer", ".jer.json", true } } },
};

bool from_hex(const std::string &text, Octets &out)
{
    out.clear();
    std::string digits;
    for (char c : text)
        if (!std::isspace(static_cast<unsigned char>(c)))
            digits += c;
    if (digits.size() % 2)
        return false;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        char *end;
        std::string pair = digits.substr(i, 2);
        out.push_back(uint8_t(std::strtoul(pair.c_str(), &end, 16)));
        if (*end)
            return false;
    }
    return true;
}

/* The octets of an encoding as a case or a bench file holds it. */
bool encoding_octets(const Rule &rule, const std::string &held, Octets &out)
{
    if (!rule.text)
        return from_hex(held, out);
    out.assign(held.begin(), held.end());
    return true;
}

class SeedWriter {
public:
    explicit SeedWriter(fs::path dir) : dir_(std::move(dir)) { fs::create_directories(dir_); }

    /* One seed per memory mode. */
    void write(const std::string &name, std::size_t schema, int pdu, std::size_t rule, const Octets &encoding)
    {
        for (uint8_t memory : { uint8_t(0), kel_fuzz::modeCallerBuffer }) {
            std::ofstream file(dir_ / (name + (memory ? "-buf" : "-lib")), std::ios::binary);
            const uint8_t selector[] = { uint8_t(schema), uint8_t(pdu - 1), uint8_t(rule | memory) };
            file.write(reinterpret_cast<const char *>(selector), sizeof selector);
            file.write(reinterpret_cast<const char *>(encoding.data()), std::streamsize(encoding.size()));
            ++count_;
        }
    }

    int count() const { return count_; }

private:
    fs::path dir_;
    int count_ = 0;
};

void vector_seeds(SeedWriter &out, const Family &family, const fs::path &vectors)
{
    for (const auto &entry : fs::directory_iterator(vectors)) {
        if (entry.path().extension() != ".jsonl")
            continue;
        std::ifstream in(entry.path());
        for (std::string line; std::getline(in, line);) {
            const auto c = nlohmann::json::parse(line);
            const std::string module = c["module"], type = c["type"], id = c["id"];
            for (std::size_t s = 0; s < kel_fuzz::schemaCount; ++s) {
                const kel_fuzz::Schema &schema = kel_fuzz::schemas[s];
                const int pdu = module == schema.module ? schema.pduOf(type.c_str()) : 0;
                if (!pdu)
                    continue;
                for (std::size_t r = 0; r < family.rules.size(); ++r) {
                    Octets octets;
                    const auto enc = c["enc"].find(family.rules[r].vectorKey);
                    if (enc != c["enc"].end() && encoding_octets(family.rules[r], enc->get<std::string>(), octets))
                        out.write(std::to_string(s) + "-" + module + "-" + id + "-" +
                                      family.rules[r].vectorKey, s, pdu, r, octets);
                }
            }
        }
    }
}

void bench_and_empty_seeds(SeedWriter &out, const Family &family, const fs::path &bench)
{
    for (std::size_t s = 0; s < kel_fuzz::schemaCount; ++s) {
        const kel_fuzz::Schema &schema = kel_fuzz::schemas[s];
        for (std::size_t r = 0; r < family.rules.size(); ++r) {
            const Rule &rule = family.rules[r];
            Octets octets;
            for (int pdu = 1; pdu <= schema.pduCount; ++pdu)
                out.write(std::to_string(s) + "-" + schema.module + "-" + std::to_string(pdu) + "-empty-" + rule.vectorKey,
                          s, pdu, r, {});
            if (!schema.bench || !rule.benchSuffix)
                continue;
            std::ifstream in(bench / (std::string(schema.bench) + rule.benchSuffix));
            if (!in)
                continue;
            std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            if (!encoding_octets(rule, text, octets))
                continue;
            for (int pdu = 1; pdu <= schema.pduCount; ++pdu)
                out.write(std::string(schema.bench) + "-" + std::to_string(pdu) + rule.benchSuffix, s, pdu, r,
                          octets);
        }
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 5) {
        std::cerr << "usage: kelvarn-fuzz-seeds FAMILY OUTDIR VECTORSDIR BENCHDIR\n";
        return 2;
    }
    for (const Family &family : families) {
        if (family.name != std::string(argv[1]))
            continue;
        SeedWriter out(argv[2]);
        if (fs::is_directory(argv[3]))
            vector_seeds(out, family, argv[3]);
        bench_and_empty_seeds(out, family, argv[4]);
        std::cout << "kelvarn-fuzz-seeds: " << out.count() << " seeds for " << family.name << "\n";
        return 0;
    }
    std::cerr << "kelvarn-fuzz-seeds: no family " << argv[1] << "\n";
    return 2;
}
