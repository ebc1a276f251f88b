// runner.cpp - kelvarn-vectors: runs corpus files of test vectors (JSON Lines,
// one case a line) through the linked stand-in code files.
//
//   kelvarn-vectors [--rules ber,der,...] FILE.jsonl...
//
// For each case and each rule that both the case and the code file carry, one
// check: decode the given octets and compare with the value; encode the value
// and compare the octets (canonical rules) or decode the re-encoding and
// compare the value (BER); all of it once in library memory and once in a
// caller's buffer.  Prints one line per failed check, then the totals.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "codefiles.h"

namespace {

using Json = nlohmann::json;
using Bytes = std::vector<uint8_t>;

struct Rule {
    const char *name;
    int number;
    bool canonical; // one encoding per value: compare octets
};

// Rules the runner checks; the other rule names of the corpus are skipped.
constexpr Rule kRules[] = {
    {"ber", KEL_BER, false},
    {"der", KEL_DER, true},
    {"cer", KEL_CER, true},
};
const std::set<std::string> kCorpusRules = {"ber", "der", "cer", "per", "uper",
                                            "oer", "coer", "xer", "cxer", "jer"};

const Rule *find_rule(const std::string &name) {
    for (const Rule &rule : kRules)
        if (name == rule.name)
            return &rule;
    return nullptr;
}

// Whether the code file has the entries of the rule's family; all rules of
// the runner so far are of the BER family.
bool supports(const KelCodeFile *file, const Rule &) {
    return file->control.berEncode && file->control.berDecode;
}

Bytes from_hex(const std::string &hex) {
    Bytes out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        out.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return out;
}

std::string to_hex(const uint8_t *p, size_t n) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < n; i++) {
        out += digits[p[i] >> 4];
        out += digits[p[i] & 15];
    }
    return out;
}

// ---------------------------------------------------------------------------
// Values in their memory forms
// ---------------------------------------------------------------------------

// Octets of the value proper, for comparison.
size_t value_octets(const KelTypeDesc *type) {
    switch (type->kind) {
    case KEL_KIND_NULL: return 0;
    case KEL_KIND_BOOLEAN: return 1;
    default: return type->width;
    }
}

bool store_integer(const KelTypeDesc *type, uint8_t *field, const Json &json) {
    if (!json.is_number_integer())
        return false; // beyond 64 bits
    const bool isSigned = type->flags & KEL_DESC_SIGNED;
    const unsigned bits = type->width * 8u;
    const bool negative = !json.is_number_unsigned() && json.get<int64_t>() < 0;
    const uint64_t raw = negative ? static_cast<uint64_t>(json.get<int64_t>()) : json.get<uint64_t>();
    if (negative) {
        if (!isSigned || (bits < 64 && json.get<int64_t>() < -(int64_t(1) << (bits - 1))))
            return false;
    } else if (bits - isSigned < 64 && raw >> (bits - isSigned)) {
        return false;
    }
    // Host order: the low `width` octets of the 64-bit value.
    switch (type->width) {
    case 1: *field = static_cast<uint8_t>(raw); break;
    case 2: { uint16_t v = static_cast<uint16_t>(raw); std::memcpy(field, &v, 2); break; }
    case 4: { uint32_t v = static_cast<uint32_t>(raw); std::memcpy(field, &v, 4); break; }
    default: std::memcpy(field, &raw, 8); break;
    }
    return true;
}

// Builds the memory form of `json` into `record`; false if the value has no
// place in this form (the check is then skipped).
bool build_value(const KelTypeDesc *type, const Json &json, void *record) {
    uint8_t *field = static_cast<uint8_t *>(record) + type->offset;
    switch (type->kind) {
    case KEL_KIND_BOOLEAN:
        if (!json.is_boolean())
            return false;
        *field = json.get<bool>() ? 1 : 0;
        return true;
    case KEL_KIND_NULL:
        return json.is_null();
    case KEL_KIND_INTEGER:
    case KEL_KIND_ENUMERATED:
        if (json.is_string()) {
            for (uint32_t i = 0; i < type->nameCount; i++)
                if (json.get<std::string>() == type->names[i].name)
                    return store_integer(type, field, Json(type->names[i].value));
            return false; // a name not in the table
        }
        return store_integer(type, field, json);
    default:
        return false;
    }
}

bool values_equal(const KelTypeDesc *type, const void *a, const void *b) {
    return std::memcmp(static_cast<const uint8_t *>(a) + type->offset,
                       static_cast<const uint8_t *>(b) + type->offset, value_octets(type)) == 0;
}

// ---------------------------------------------------------------------------
// One check
// ---------------------------------------------------------------------------

// A caller's area for decoded values, 8-aligned.
struct Area {
    std::vector<uint64_t> words;
    explicit Area(size_t octets) : words(octets / 8 + 1) {}
    void *data() { return words.data(); }
    size_t size() const { return words.size() * 8; }
};

class Check {
  public:
    Check(KelGlobal *world, int pdu, const KelTypeDesc *type, const void *expected)
        : world_(world), pdu_(pdu), type_(type), expected_(expected) {}

    // Empty when the check passed, else what failed.
    std::string run(const Rule &rule, const Bytes &encoding) {
        if (int code = kelSetEncodingRules(world_, rule.number))
            return "kelSetEncodingRules: code " + std::to_string(code);
        for (bool caller : {false, true}) {
            const char *memory = caller ? " (caller's buffer)" : " (library memory)";
            std::string failure = decode_and_compare(encoding, caller);
            if (!failure.empty())
                return "decode" + std::string(memory) + ": " + failure;
            failure = encode_and_compare(rule, encoding, caller);
            if (!failure.empty())
                return "encode" + std::string(memory) + ": " + failure;
        }
        return "";
    }

  private:
    std::string library_failure(int code) {
        std::string text = kelGetErrMsg(world_);
        while (!text.empty() && text.back() == '\n')
            text.pop_back();
        return "code " + std::to_string(code) + ": " + text;
    }

    std::string decode_and_compare(const Bytes &encoding, bool caller) {
        Bytes input(encoding);
        input.reserve(input.size() + 1); // a non-null pointer also for empty input
        KelBuf buf{static_cast<uint32_t>(input.size()), input.data()};
        int pdu = pdu_;
        Area area(64 * encoding.size() + 4096);
        void *value = nullptr;
        if (caller) {
            value = area.data();
            kelSetDecodingLength(world_, static_cast<long>(area.size()));
        }
        if (int code = kelDecode(world_, &pdu, &buf, &value))
            return library_failure(code);
        bool equal = values_equal(type_, value, expected_);
        if (!caller)
            kelFreePDU(world_, pdu, value);
        return equal ? "" : "value differs";
    }

    std::string encode_and_compare(const Rule &rule, const Bytes &expected, bool caller) {
        Bytes area(expected.size() + 1024);
        KelBuf out{0, nullptr};
        if (caller)
            out = KelBuf{static_cast<uint32_t>(area.size()), area.data()};
        if (int code = kelEncode(world_, pdu_, const_cast<void *>(expected_), &out))
            return library_failure(code);
        Bytes produced(out.value, out.value + out.length);
        if (!caller)
            kelFreeBuf(world_, out.value);
        if (rule.canonical)
            return produced == expected ? "" : "octets " + to_hex(produced.data(), produced.size());
        std::string failure = decode_and_compare(produced, caller);
        return failure.empty() ? "" : "re-encoding " + to_hex(produced.data(), produced.size()) +
                                          ": " + failure;
    }

    KelGlobal *world_;
    int pdu_;
    const KelTypeDesc *type_;
    const void *expected_;
};

// ---------------------------------------------------------------------------
// Corpus files
// ---------------------------------------------------------------------------

struct Totals {
    long passed = 0, failed = 0, skipped = 0;
};

class Runner {
  public:
    explicit Runner(std::set<std::string> rules) : rules_(std::move(rules)) {}
    ~Runner() {
        for (auto &[file, world] : worlds_) {
            kelterm(world);
            delete world;
        }
    }

    bool run_file(const char *path) {
        std::ifstream in(path);
        if (!in) {
            std::fprintf(stderr, "kelvarn-vectors: cannot open %s\n", path);
            return false;
        }
        std::string line;
        while (std::getline(in, line))
            if (!line.empty())
                run_case(Json::parse(line));
        return true;
    }

    const Totals &totals() const { return totals_; }

  private:
    // Encodings of the corpus that break X.690 itself: the library refuses
    // them as it must, so they are reported and counted as skipped.
    struct Disagreement {
        const char *module, *id, *rule, *reason;
    };
    static constexpr Disagreement kDisagreements[] = {
        {"TypesZoo", "int-m128", "cer", "INTEGER with a redundant leading FF octet (X.690 8.3.2)"},
        {"TypesZoo", "int-m2147483648", "cer", "INTEGER with a redundant leading FF octet (X.690 8.3.2)"},
        {"TypesZoo", "int-m9223372036854775808", "cer",
         "INTEGER with a redundant leading FF octet (X.690 8.3.2)"},
    };
    static const char *disagreement(const Json &c, const std::string &rule) {
        for (const Disagreement &d : kDisagreements)
            if (c["module"] == d.module && c["id"] == d.id && rule == d.rule)
                return d.reason;
        return nullptr;
    }

    void run_case(const Json &c) {
        const std::string label = c["module"].get<std::string>() + " " + c["type"].get<std::string>() +
                                  " " + c["id"].get<std::string>();
        const KelCodeFile *file = kel_codefile_find(c["module"].get<std::string>().c_str());
        int pdu = file ? kel_codefile_pdu(file, c["type"].get<std::string>().c_str()) : 0;
        const KelTypeDesc *type = pdu ? file->pdus[pdu - 1].type : nullptr;
        Area expected(type ? type->size : 0);
        const bool buildable = type && build_value(type, c["value"], expected.data());
        KelGlobal *world = buildable ? world_of(file) : nullptr;

        for (auto &[name, encoding] : c["enc"].items()) {
            if (!rules_.count(name))
                continue;
            const Rule *rule = find_rule(name);
            if (!rule || !world || !supports(file, *rule)) {
                totals_.skipped++;
                continue;
            }
            if (const char *reason = disagreement(c, name)) {
                std::fprintf(stderr, "%s %s: skipped, the vector is wrong: %s\n", label.c_str(), name.c_str(),
                             reason);
                totals_.skipped++;
                continue;
            }
            std::string failure = Check(world, pdu, type, expected.data())
                                      .run(*rule, from_hex(encoding.get<std::string>()));
            if (failure.empty()) {
                totals_.passed++;
            } else {
                totals_.failed++;
                std::printf("%s %s: %s\n", label.c_str(), name.c_str(), failure.c_str());
            }
        }
    }

    KelGlobal *world_of(const KelCodeFile *file) {
        auto found = worlds_.find(file);
        if (found != worlds_.end())
            return found->second;
        KelGlobal *world = new KelGlobal();
        if (int code = kelinit(world, const_cast<KelControlTable *>(&file->control))) {
            std::fprintf(stderr, "kelvarn-vectors: kelinit for %s: code %d\n", file->module, code);
            delete world;
            world = nullptr;
        }
        worlds_[file] = world;
        return world;
    }

    std::set<std::string> rules_;
    std::map<const KelCodeFile *, KelGlobal *> worlds_;
    Totals totals_;
};

std::set<std::string> parse_rules(const std::string &list) {
    std::set<std::string> rules;
    std::stringstream in(list);
    std::string name;
    while (std::getline(in, name, ','))
        rules.insert(name);
    return rules;
}

} // namespace

int main(int argc, char **argv) {
    std::set<std::string> rules = kCorpusRules;
    int first = 1;
    if (argc > 2 && std::strcmp(argv[1], "--rules") == 0) {
        rules = parse_rules(argv[2]);
        first = 3;
    }
    for (const std::string &name : rules) {
        if (!kCorpusRules.count(name)) {
            std::fprintf(stderr, "kelvarn-vectors: unknown rule %s\n", name.c_str());
            return 2;
        }
    }
    if (first >= argc) {
        std::fprintf(stderr, "usage: kelvarn-vectors [--rules ber,der,...] FILE.jsonl...\n");
        return 2;
    }
    Runner runner(rules);
    for (int i = first; i < argc; i++)
        if (!runner.run_file(argv[i]))
            return 2;
    const Totals &t = runner.totals();
    std::printf("%ld passed, %ld failed, %ld skipped\n", t.passed, t.failed, t.skipped);
    return t.failed ? 1 : 0;
}
