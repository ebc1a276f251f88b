// runner.cpp - kelvarn-vectors: runs corpus files of test vectors (JSON Lines,
// one case a line) through the linked stand-in code files.
//
//   kelvarn-vectors [--strict] [--rules ber,der,...,copy,compare,print,selftest] FILE.jsonl...
//
// --strict decodes with STRICT_ENCODING_DECODING_RULES, which holds CER and
// DER encodings to every rule of X.690.
//
// For each case and each rule that both the case and the code file carry, one
// check: decode the given octets and compare with the value; encode the value
// and compare the octets (canonical rules) or decode the re-encoding and
// compare the value (BER) or compare the texts as JSON values (JSON); all of
// it once in library memory and once in a caller's buffer.  Then, once a
// case, the checks of the value services (copy, compare, print; see
// service_checks.h), counted apart from the rules.  Prints one line per
// failed check, then the totals.
#include <algorithm>
#include <cctype>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "codefiles.h"
#include "corpus_values.h"
#include "service_checks.h"
#include "kelvarn_json.h"
#include "kelvarn_prim.h"

namespace {

using namespace kel_vectors;

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
    {"per", KEL_PER_ALIGNED, true},
    {"uper", KEL_PER_UNALIGNED, true},
    {"oer", KEL_OER, true},
    {"coer", KEL_COER, true},
    {"jer", KEL_JSON, false},
};
const std::set<std::string> kCorpusRules = {"ber", "der", "cer", "per", "uper",
                                            "oer", "coer", "xer", "cxer", "jer"};

// Checks of the value services, run once a case and counted apart from the
// rules.
struct ServiceCheck {
    const char *name;
    std::string (*run)(const ServiceCase &c);
};
constexpr ServiceCheck kServiceChecks[] = {
    {"copy", check_copy},
    {"compare", check_compare},
    {"print", check_print},
    {"selftest", check_selftest},
};

bool is_service_check(const std::string &name) {
    for (const ServiceCheck &check : kServiceChecks)
        if (name == check.name)
            return true;
    return false;
}

const Rule *find_rule(const std::string &name) {
    for (const Rule &rule : kRules)
        if (name == rule.name)
            return &rule;
    return nullptr;
}

bool is_per(const Rule &rule) { return rule.number == KEL_PER_ALIGNED || rule.number == KEL_PER_UNALIGNED; }
bool is_oer(const Rule &rule) { return rule.number == KEL_OER || rule.number == KEL_COER; }
bool is_jer(const Rule &rule) { return rule.number == KEL_JSON; }

// Whether the code file has the entries of the rule's family, and the
// family's walker knows the type.
bool supports(const KelCodeFile *file, const Rule &rule, const KelTypeDesc *type) {
    if (is_per(rule))
        return file->control.perEncode && file->control.perDecode && kel_per_knows(type);
    if (is_oer(rule))
        return kel_oer_knows(type);
    if (is_jer(rule))
        return kel_json_knows(type);
    return file->control.berEncode && file->control.berDecode;
}

// The octets a case gives for a rule: hexadecimal, or the JSON text itself.
Bytes encoding_of(const Rule &rule, const Json &encoding) {
    const std::string text = encoding.get<std::string>();
    return is_jer(rule) ? Bytes(text.begin(), text.end()) : from_hex(text);
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
    std::string run(const Rule &rule, const Bytes &encoding, bool decodeOnly = false) {
        if (int code = kelSetEncodingRules(world_, rule.number))
            return "kelSetEncodingRules: code " + std::to_string(code);
        for (bool caller : {false, true}) {
            if (decodeOnly) {
                std::string failure = decode_and_compare(encoding, caller);
                if (!failure.empty())
                    return "decode: " + failure;
                continue;
            }
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
    static bool holds_set_of(const KelTypeDesc *type, int depth) {
        if (type->kind == KEL_KIND_SET_OF)
            return true;
        for (uint32_t i = 0; depth < 8 && i < type->componentCount; ++i)
            if (holds_set_of(type->components[i].type, depth + 1))
                return true;
        return false;
    }

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
        // Indented JSON takes room that the compact corpus text doesn't.
        Bytes area(is_jer(rule) ? expected.size() * 8 + 65536 : expected.size() + 1024);
        KelBuf out{0, nullptr};
        if (caller)
            out = KelBuf{static_cast<uint32_t>(area.size()), area.data()};
        if (int code = kelEncode(world_, pdu_, const_cast<void *>(expected_), &out))
            return library_failure(code);
        Bytes produced(out.value, out.value + out.length);
        if (!caller)
            kelFreeBuf(world_, out.value);
        if (is_jer(rule))
            return caller ? compare_json(produced, expected) : compare_json_texts(produced, expected);
        // Basic OER leaves the order of SET OF elements to the encoder.
        if (rule.canonical && !(rule.number == KEL_OER && holds_set_of(type_, 0)))
            return produced == expected ? "" : "octets " + to_hex(produced.data(), produced.size());
        std::string failure = decode_and_compare(produced, caller);
        return failure.empty() ? "" : "re-encoding " + to_hex(produced.data(), produced.size()) +
                                          ": " + failure;
    }

    static std::string text_of(const Bytes &octets) { return std::string(octets.begin(), octets.end()); }

    // JSON texts compare as JSON values, member for member: white space and
    // layout don't count (the encoder indents by default, the corpus texts
    // are compact), nor does the order of an object's members.  Numbers
    // beyond 64 bits compare as their digits.
    static std::string compare_json(const Bytes &produced, const Bytes &expected) {
        const Json ours = Json::parse(quote_big_integers(text_of(produced)), nullptr, false);
        const Json theirs = Json::parse(quote_big_integers(text_of(expected)), nullptr, false);
        return !ours.is_discarded() && ours == theirs ? "" : "text " + text_of(produced);
    }

    // Whether a JSON text has white space outside its strings.
    static bool has_layout(const std::string &text) {
        bool inString = false;
        for (size_t i = 0; i < text.size(); i++) {
            if (inString && text[i] == '\\')
                i++;
            else if (text[i] == '"')
                inString = !inString;
            else if (!inString && std::isspace(static_cast<unsigned char>(text[i])))
                return true;
        }
        return false;
    }

    // Our compact text in the spelling of the corpus texts where JSON itself
    // leaves the spelling free (X.697 clause 2 takes JSON text from
    // ECMA-404): the digits of a \u escape in lower case (ECMA-404 9 allows
    // either case), and a BIT STRING object with "length" before "value"
    // (ECMA-404 6 gives the order of an object's members no meaning).
    static std::string corpus_spelling(const std::string &text) {
        static const std::string value = "{\"value\":\"", length = "\",\"length\":";
        std::string out;
        for (size_t i = 0; i < text.size(); i++) {
            if (text[i] == '\\' && i + 1 < text.size()) {
                const bool escape = text[i + 1] == 'u';
                out += text.substr(i, escape ? 6 : 2);
                if (escape)
                    std::transform(out.end() - 4, out.end(), out.end() - 4, [](char c) { return std::tolower(c); });
                i += escape ? 5 : 1;
                continue;
            }
            if (text.compare(i, value.size(), value) == 0) {
                const size_t hexEnd = text.find('"', i + value.size());
                const size_t digits = hexEnd == std::string::npos ? hexEnd : hexEnd + length.size();
                const size_t close = digits == std::string::npos ? digits : text.find('}', digits);
                if (close != std::string::npos && text.compare(hexEnd, length.size(), length) == 0) {
                    out += "{\"length\":" + text.substr(digits, close - digits) + ",\"value\":\"" +
                           text.substr(i + value.size(), hexEnd - i - value.size()) + "\"}";
                    i = close;
                    continue;
                }
            }
            out += text[i];
        }
        return out;
    }

    // As JSON values; then, where the corpus text is compact, our compact
    // text octet for octet in the corpus's spelling.
    std::string compare_json_texts(const Bytes &produced, const Bytes &expected) {
        std::string failure = compare_json(produced, expected);
        if (!failure.empty() || has_layout(text_of(expected)))
            return failure;
        const unsigned long flags = kelGetJsonFlags(world_);
        kelSetJsonFlags(world_, flags | JSON_COMPACT_ENCODING);
        KelBuf out{0, nullptr};
        const int code = kelEncode(world_, pdu_, const_cast<void *>(expected_), &out);
        kelSetJsonFlags(world_, flags);
        if (code)
            return "compact: " + library_failure(code);
        const std::string compact(reinterpret_cast<const char *>(out.value), out.length);
        kelFreeBuf(world_, out.value);
        return corpus_spelling(compact) == corpus_spelling(text_of(expected)) ? "" : "compact text " + compact;
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
    Runner(std::set<std::string> rules, bool strict) : rules_(std::move(rules)), strict_(strict) {}
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
                run_case(Json::parse(quote_big_integers(line)));
        return true;
    }

    const Totals &totals() const { return totals_; }
    const std::map<std::string, Totals> &by_rule() const { return byRule_; }

  private:
    // Encodings of the corpus that break X.690 itself, or stand for another
    // value than the case's, or that the library refuses by design (and
    // values that a service check, named in the rule's place, shows
    // otherwise by design): reported and counted as skipped.  Where the
    // library reads them to the case's value (`decodes`), that decode is
    // still checked.
    struct Disagreement {
        const char *module, *id, *rule, *reason;
        bool decodes;
        bool byDesign; // the vector is right; the library answers otherwise on purpose
    };
    static constexpr const char *kCerSetOrder = "SET components not in canonical tag order (X.690 9.3)";
    static constexpr Disagreement kDisagreements[] = {
        {"TypesZoo", "int-m128", "cer", "INTEGER with a redundant leading FF octet (X.690 8.3.2)", false, false},
        {"TypesZoo", "int-m2147483648", "cer", "INTEGER with a redundant leading FF octet (X.690 8.3.2)", false, false},
        {"TypesZoo", "int-m9223372036854775808", "cer",
         "INTEGER with a redundant leading FF octet (X.690 8.3.2)", false, false},
        {"TypesZoo", "bits-16384", "cer",
         "BIT STRING segments of 1001 contents octets; at most 1000, unused-bits octet included (X.690 9.2)", false, false},
        {"TypesZoo", "bits-16392", "cer",
         "BIT STRING segments of 1001 contents octets; at most 1000, unused-bits octet included (X.690 9.2)", false, false},
        {"TypesZoo", "namedbits-trailing-zeros", "cer",
         "named-bit BIT STRING keeps trailing 0 bits, which CER drops (X.690 11.2.2)", false, false},
        {"TypesZoo", "real-minus-zero", "der", "REAL minus zero written as 0; it is the octet 43 (X.690 8.5.3)", true, false},
        {"TypesZoo", "real-minus-zero", "cer", "REAL minus zero written as 0; it is the octet 43 (X.690 8.5.3)", true, false},
        {"TypesZoo", "real-minus-zero", "uper",
         "REAL minus zero written as an empty contents; PER carries the X.690 contents, the octet 43 "
         "(X.691 15, X.690 8.5.3)", true, false},
        {"TypesZoo", "gen-local", "der",
         "a local GeneralizedTime given a Z: another value; DER can't carry a local time (X.690 11.7.1)", false, false},
        {"TypesZoo", "gen-offset", "der",
         "the DER octets are the time converted to UTC, another value of the type than the case's", false, false},
        {"OpenTypes", "envelope-seq", "cer",
         "a SEQUENCE inside the open type with a definite length; CER constructed encodings are indefinite "
         "(X.690 9.1)", true, false},
        {"TypesZoo", "namedbits-empty", "coer",
         "a named-bit BIT STRING of no bits, 01 00, which X.696 allows: the COER decoder refuses it in a "
         "fixed-size memory form (0063S)", false, true},
        {"TypesZoo", "namedbits-trailing-zeros", "jer",
         "named-bit BIT STRING keeps trailing 0 bits, which an encoder may drop (X.680 22.7); the JSON writer "
         "drops them as DER does", true, true},
        {"TypesZoo", "oid-arc-2p64", "jer",
         "an arc of 65 bits: the JSON reader holds an arc in 64 bits and refuses it (0023E)", false, true},
        {"TypesZoo", "gen-local", "print",
         "a local GeneralizedTime held as a time record prints with Z: the printer writes a zone difference "
         "of zero as Z, and the record tells a local time from UTC by a flag the printed form has no place for",
         false, true},
        {"PersonnelA1", "x691-sample", "cer", kCerSetOrder, true, false},
        {"PersonnelA2", "x691-sample", "cer", kCerSetOrder, true, false},
        {"PersonnelA3", "x691-sample", "cer", kCerSetOrder, true, false},
        {"PersonnelA3", "outside-roots", "cer", kCerSetOrder, true, false},
    };
    // Values that can't take every rule of the self-test's default list: the
    // self-test runs the rules named here, and the runner says which it
    // left out and why.
    struct SelftestRules {
        const char *module, *id, *rules, *leftOut, *reason;
    };
    static constexpr const char *kNoDerTime = "BER:PER:UPER:XER:CXER:EXER:OER:JSON";
    static constexpr SelftestRules kSelftestRules[] = {
        {"TypesZoo", "utc-no-seconds", "BER:PER:UPER:XER:CXER:EXER:OER:COER:JSON", "DER",
         "a UTCTime without seconds has no DER encoding (X.690 11.8.2)"},
        {"TypesZoo", "utc-offset", "BER:PER:UPER:XER:CXER:EXER:OER:COER:JSON", "DER",
         "a UTCTime with a time difference has no DER encoding (X.690 11.8.1)"},
        {"TypesZoo", "gen-local", kNoDerTime, "DER, COER",
         "a GeneralizedTime without Z has no DER encoding (X.690 11.7.1), nor a canonical OER one, which "
         "writes the time types as DER does"},
        {"TypesZoo", "gen-offset", kNoDerTime, "DER, COER",
         "a GeneralizedTime with a time difference has no DER encoding (X.690 11.7.1), nor a canonical OER one"},
        {"TypesZoo", "real-dec-1.5", "BER:DER:PER:UPER:XER:CXER:EXER:OER:JSON", "COER",
         "a REAL held as decimal text goes out in decimal form, and the canonical OER reader takes only the "
         "binary form"},
        {"TypesZoo", "namedbits-empty", "BER:DER:PER:UPER:XER:CXER:EXER:OER:JSON", "COER",
         "the COER decoder refuses a named-bit BIT STRING of no bits in a fixed-size memory form (0063S)"},
        {"TypesZoo", "oid-arc-2p64", "BER:DER:PER:UPER:XER:CXER:EXER:OER:COER", "JSON",
         "an arc of 65 bits: the JSON writer holds an arc in 64 bits"},
    };
    static const SelftestRules *selftest_rules(const Json &c) {
        for (const SelftestRules &r : kSelftestRules)
            if (c["module"] == r.module && c["id"] == r.id)
                return &r;
        return nullptr;
    }
    // Vectors that the lenient decoders read but strict decoding refuses
    // for a clause of X.690 that the vector breaks.
    static constexpr Disagreement kStrictDisagreements[] = {
        {"TypesZoo", "real-dec-1.5", "cer",
         "decimal REAL 15E-1 without the full stop before the exponent (X.690 11.3.2 e)", false, false},
    };
    template <size_t N>
    static const Disagreement *find_in(const Disagreement (&table)[N], const Json &c, const std::string &rule) {
        for (const Disagreement &d : table)
            if (c["module"] == d.module && c["id"] == d.id && rule == d.rule)
                return &d;
        return nullptr;
    }
    const Disagreement *disagreement(const Json &c, const std::string &rule) const {
        const Disagreement *wrong = find_in(kDisagreements, c, rule);
        return wrong || !strict_ ? wrong : find_in(kStrictDisagreements, c, rule);
    }

    void run_case(const Json &c) {
        const std::string label = c["module"].get<std::string>() + " " + c["type"].get<std::string>() +
                                  " " + c["id"].get<std::string>();
        const KelCodeFile *file = kel_codefile_find(c["module"].get<std::string>().c_str());
        int pdu = file ? kel_codefile_pdu(file, c["type"].get<std::string>().c_str()) : 0;
        const KelTypeDesc *type = pdu ? file->pdus[pdu - 1].type : nullptr;
        Area expected(type ? type->size : 0);
        Pieces pieces;
        const bool buildable = type && build_value(type, c["value"], expected.data(), pieces);
        KelGlobal *world = buildable ? world_of(file) : nullptr;
        if (!buildable)
            std::fprintf(stderr, "%s: skipped, %s\n", label.c_str(),
                         type ? "the value has no place in the memory form" : "no code file has the type");

        for (auto &[name, encoding] : c["enc"].items()) {
            if (!rules_.count(name))
                continue;
            const Rule *rule = find_rule(name);
            if (!rule || !world || !supports(file, *rule, type)) {
                if (rule && world)
                    std::fprintf(stderr, "%s %s: skipped, the stand-in can't code the type under this rule\n",
                                 label.c_str(), name.c_str());
                totals_.skipped++;
                byRule_[name].skipped++;
                continue;
            }
            const Disagreement *wrong = disagreement(c, name);
            // Under --strict a wrong vector's decoding isn't checked: strict
            // decoding refuses what X.690 forbids.
            const bool decodingChecked = wrong && wrong->decodes && !(strict_ && !wrong->byDesign);
            const bool rewritten = (is_per(*rule) || is_oer(*rule) || is_jer(*rule)) && pieces.timeRewritten;
            std::string failure = wrong && !decodingChecked
                                      ? ""
                                      : Check(world, pdu, type, expected.data())
                                            .run(*rule, encoding_of(*rule, encoding), wrong || rewritten);
            if (wrong && failure.empty()) {
                std::fprintf(stderr, "%s %s: skipped, %s: %s%s\n", label.c_str(), name.c_str(),
                             wrong->byDesign ? "the library differs by design" : "the vector is wrong", wrong->reason, decodingChecked ? " (its decoding checked)" : "");
                totals_.skipped++;
                byRule_[name].skipped++;
            } else if (rewritten && failure.empty()) {
                std::fprintf(stderr, "%s %s: skipped, the memory form writes the time otherwise than the case; "
                             "%s carries the text as it stands (its decoding checked)\n", label.c_str(), name.c_str(),
                             is_per(*rule) ? "PER" : is_oer(*rule) ? "OER" : "JSON");
                totals_.skipped++;
                byRule_[name].skipped++;
            } else if (failure.empty()) {
                totals_.passed++;
                byRule_[name].passed++;
            } else {
                totals_.failed++;
                byRule_[name].failed++;
                std::printf("%s %s: %s\n", label.c_str(), name.c_str(), failure.c_str());
            }
        }
        const SelftestRules *limited = rules_.count("selftest") ? selftest_rules(c) : nullptr;
        if (limited)
            std::fprintf(stderr, "%s selftest: leaves out %s, %s\n", label.c_str(), limited->leftOut, limited->reason);
        run_services(label, c, ServiceCase{world, pdu, type, expected.data(), limited ? limited->rules : nullptr});
    }

    void run_services(const std::string &label, const Json &json, const ServiceCase &c) {
        for (const ServiceCheck &check : kServiceChecks) {
            if (!rules_.count(check.name))
                continue;
            Totals &counts = byRule_[check.name];
            const Disagreement *wrong = disagreement(json, check.name);
            if (!c.world || wrong) {
                if (wrong)
                    std::fprintf(stderr, "%s %s: skipped, the library differs by design: %s\n", label.c_str(),
                                 check.name, wrong->reason);
                totals_.skipped++, counts.skipped++;
                continue;
            }
            const std::string failure = check.run(c);
            if (failure.empty()) {
                totals_.passed++, counts.passed++;
            } else {
                totals_.failed++, counts.failed++;
                std::printf("%s %s: %s\n", label.c_str(), check.name, failure.c_str());
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
        } else {
            kelSetSeqSetNestingLimit(world, 0); // the corpus nests values 70 levels and more
            // The corpus's JSON texts keep the DEFAULT members a value gives,
            // equal to the default or not.
            kelSetJsonFlags(world, JSON_ENC_DEFAULT_VALUES);
            if (strict_)
                kelSetDecodingFlags(world, kelGetDecodingFlags(world) | STRICT_ENCODING_DECODING_RULES);
        }
        worlds_[file] = world;
        return world;
    }

    std::set<std::string> rules_;
    bool strict_;
    std::map<const KelCodeFile *, KelGlobal *> worlds_;
    Totals totals_;
    std::map<std::string, Totals> byRule_;
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
    for (const ServiceCheck &check : kServiceChecks)
        rules.insert(check.name);
    int first = 1;
    const bool strict = argc > first && std::strcmp(argv[first], "--strict") == 0;
    first += strict;
    if (argc > first + 1 && std::strcmp(argv[first], "--rules") == 0) {
        rules = parse_rules(argv[first + 1]);
        first += 2;
    }
    for (const std::string &name : rules) {
        if (!kCorpusRules.count(name) && !is_service_check(name)) {
            std::fprintf(stderr, "kelvarn-vectors: unknown rule %s\n", name.c_str());
            return 2;
        }
    }
    if (first >= argc) {
        std::fprintf(stderr, "usage: kelvarn-vectors [--strict] [--rules ber,der,...,copy,compare,print,selftest] FILE.jsonl...\n");
        return 2;
    }
    Runner runner(rules, strict);
    for (int i = first; i < argc; i++)
        if (!runner.run_file(argv[i]))
            return 2;
    for (const auto &[rule, r] : runner.by_rule())
        std::printf("%s: %ld passed, %ld failed, %ld skipped\n", rule.c_str(), r.passed, r.failed, r.skipped);
    const Totals &t = runner.totals();
    std::printf("%ld passed, %ld failed, %ld skipped\n", t.passed, t.failed, t.skipped);
    return t.failed ? 1 : 0;
}
