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
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "codefiles.h"
#include "kelvarn_prim.h"

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

// Memory that the pointers of a built value lead to; 8-aligned pieces that
// live as long as the case.
class Pieces {
  public:
    uint8_t *take(size_t octets) {
        pieces_.emplace_back(octets / 8 + 1);
        return reinterpret_cast<uint8_t *>(pieces_.back().data());
    }
    template <class T> T *copy(const std::vector<T> &units) {
        if (units.empty())
            return nullptr;
        T *piece = reinterpret_cast<T *>(take(units.size() * sizeof(T)));
        std::memcpy(piece, units.data(), units.size() * sizeof(T));
        return piece;
    }

  private:
    std::deque<std::vector<uint64_t>> pieces_;
};

// Characters of UTF-8 text; false for a malformed sequence.
bool code_points(const std::string &text, std::vector<uint32_t> &out) {
    for (size_t i = 0; i < text.size();) {
        const uint8_t lead = static_cast<uint8_t>(text[i]);
        const int extra = lead < 0x80 ? 0 : lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : -1;
        if (extra < 0 || i + extra >= text.size())
            return false;
        uint32_t value = extra ? lead & (0x3F >> extra) : lead;
        for (int k = 1; k <= extra; k++)
            value = value << 6 | (static_cast<uint8_t>(text[i + k]) & 0x3F);
        out.push_back(value);
        i += extra + 1;
    }
    return true;
}

// Octets of a padded bit field of `bits` bits: a u8, u16 or u32 up to 32.
size_t padded_bits_octets(uint32_t bits) {
    return bits <= 8 ? 1 : bits <= 16 ? 2 : bits <= 32 ? 4 : (bits + 7) / 8;
}

uint32_t room_of(const KelTypeDesc *type) {
    return static_cast<uint32_t>(type->kind == KEL_KIND_BIT_STRING ? (type->upper + 7) / 8 : type->upper);
}

uint32_t load_u32(const uint8_t *p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}
uint8_t *load_ptr(const uint8_t *p) {
    uint8_t *v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
void store_u32(uint8_t *p, uint32_t v) { std::memcpy(p, &v, 4); }
void store_ptr(uint8_t *p, const void *v) { std::memcpy(p, &v, sizeof v); }

// A string value as it lies in its memory form: `length` in the form's
// unit (bits for bit strings), `data` the octets that hold it.
struct StringValue {
    uint64_t length;
    const uint8_t *data;
    size_t octets;
};

StringValue string_value(const KelTypeDesc *type, const uint8_t *field) {
    const bool bits = type->kind == KEL_KIND_BIT_STRING;
    const uint8_t *record;
    uint32_t n;
    switch (type->form) {
    case KEL_FORM_UNBOUNDED:
    case KEL_FORM_UTF8:
    case KEL_FORM_BMP:
    case KEL_FORM_UNIVERSAL: {
        n = load_u32(field);
        const size_t unit = type->form == KEL_FORM_BMP ? 2 : type->form == KEL_FORM_UNIVERSAL ? 4 : 1;
        return {n, load_ptr(field + offsetof(KelUnboundedString, value)), bits ? (n + 7) / 8 : n * unit};
    }
    case KEL_FORM_VARYING:
        n = load_u32(field);
        return {n, field + 4, bits ? (n + 7) / 8 : n};
    case KEL_FORM_VARYING_PTR:
        record = load_ptr(field);
        n = load_u32(record);
        return {n, record + 4, bits ? (n + 7) / 8 : n};
    case KEL_FORM_NULLTERM:
        return {std::strlen(reinterpret_cast<const char *>(field)), field,
                std::strlen(reinterpret_cast<const char *>(field))};
    case KEL_FORM_NULLTERM_PTR:
        record = load_ptr(field);
        return {std::strlen(reinterpret_cast<const char *>(record)), record,
                std::strlen(reinterpret_cast<const char *>(record))};
    case KEL_FORM_PADDED:
        if (bits)
            return {0, field, padded_bits_octets(static_cast<uint32_t>(type->upper))};
        return {0, field, static_cast<size_t>(type->upper)};
    default: // KEL_FORM_FIXED
        return {0, field, static_cast<size_t>(type->upper)};
    }
}

bool strings_equal(const KelTypeDesc *type, const uint8_t *a, const uint8_t *b) {
    const StringValue x = string_value(type, a), y = string_value(type, b);
    return x.length == y.length && x.octets == y.octets &&
           (x.octets == 0 || std::memcmp(x.data, y.data, x.octets) == 0);
}

// A bit string in the corpus: {"value": hex, "length": bits}, or hex alone
// for a fixed size.
bool json_bits(const Json &json, Bytes &octets, uint32_t &count) {
    if (json.is_string()) {
        octets = from_hex(json.get<std::string>());
        count = static_cast<uint32_t>(octets.size() * 8);
        return true;
    }
    if (!json.is_object() || !json.contains("value") || !json.contains("length"))
        return false;
    octets = from_hex(json["value"].get<std::string>());
    count = json["length"].get<uint32_t>();
    return octets.size() == (count + 7) / 8;
}


// The first `n` octets of `octets` to `dest`.
void put(uint8_t *dest, const Bytes &octets, size_t n) {
    if (n)
        std::memcpy(dest, octets.data(), n);
}

// Builds the memory form of a string; false where the value has no place in
// it (a NUL in a NUL-terminated form, a size the form can't hold).
bool build_string(const KelTypeDesc *type, const Json &json, uint8_t *field, Pieces &pieces) {
    const uint32_t upper = static_cast<uint32_t>(type->upper);
    if (type->kind == KEL_KIND_BIT_STRING) {
        Bytes octets;
        uint32_t count = 0;
        if (!json_bits(json, octets, count))
            return false;
        switch (type->form) {
        case KEL_FORM_UNBOUNDED:
            store_u32(field, count);
            store_ptr(field + offsetof(KelUnboundedBits, value), pieces.copy(octets));
            return true;
        case KEL_FORM_VARYING:
            if (octets.size() > room_of(type))
                return false;
            store_u32(field, count);
            put(field + 4, octets, octets.size());
            return true;
        case KEL_FORM_VARYING_PTR: {
            uint8_t *record = pieces.take(4 + std::max<size_t>(octets.size(), room_of(type)));
            store_u32(record, count);
            put(record + 4, octets, octets.size());
            store_ptr(field, record);
            return true;
        }
        default: { // KEL_FORM_PADDED
            if (count > upper)
                return false;
            octets.resize(std::max<size_t>({octets.size(), 4, (upper + 7) / 8}));
            const uint32_t value = uint32_t(octets[0]) << 24 | uint32_t(octets[1]) << 16 |
                                   uint32_t(octets[2]) << 8 | octets[3];
            if (upper <= 8) {
                *field = static_cast<uint8_t>(value >> 24);
            } else if (upper <= 16) {
                const uint16_t unit = static_cast<uint16_t>(value >> 16);
                std::memcpy(field, &unit, 2);
            } else if (upper <= 32) {
                std::memcpy(field, &value, 4);
            } else {
                put(field, octets, (upper + 7) / 8);
            }
            return true;
        }
        }
    }
    if (!json.is_string())
        return false;
    const std::string text = json.get<std::string>();
    if (type->form == KEL_FORM_BMP || type->form == KEL_FORM_UNIVERSAL) {
        std::vector<uint32_t> characters;
        if (!code_points(text, characters))
            return false;
        store_u32(field, static_cast<uint32_t>(characters.size()));
        if (type->form == KEL_FORM_UNIVERSAL) {
            store_ptr(field + offsetof(KelUniversalString, value), pieces.copy(characters));
            return true;
        }
        std::vector<uint16_t> units;
        for (uint32_t c : characters) {
            if (c > 0xFFFF)
                return false;
            units.push_back(static_cast<uint16_t>(c));
        }
        store_ptr(field + offsetof(KelBmpString, value), pieces.copy(units));
        return true;
    }
    const Bytes octets = type->kind == KEL_KIND_OCTET_STRING ? from_hex(text) : Bytes(text.begin(), text.end());
    const uint32_t length = static_cast<uint32_t>(octets.size());
    const bool hasNul = std::find(octets.begin(), octets.end(), 0) != octets.end();
    switch (type->form) {
    case KEL_FORM_UNBOUNDED:
    case KEL_FORM_UTF8:
        store_u32(field, length);
        store_ptr(field + offsetof(KelUnboundedString, value), pieces.copy(octets));
        return true;
    case KEL_FORM_VARYING:
        if (length > upper)
            return false;
        store_u32(field, length);
        put(field + 4, octets, length);
        return true;
    case KEL_FORM_VARYING_PTR: {
        uint8_t *record = pieces.take(4 + std::max(length, upper));
        store_u32(record, length);
        put(record + 4, octets, length);
        store_ptr(field, record);
        return true;
    }
    case KEL_FORM_FIXED:
        if (length != upper)
            return false;
        put(field, octets, length);
        return true;
    case KEL_FORM_PADDED:
        if (length > upper)
            return false;
        put(field, octets, length);
        std::memset(field + length, ' ', upper - length);
        return true;
    case KEL_FORM_NULLTERM:
        if (length > upper || hasNul)
            return false;
        put(field, octets, length);
        field[length] = 0;
        return true;
    default: { // KEL_FORM_NULLTERM_PTR
        if (hasNul)
            return false;
        uint8_t *text0 = pieces.take(length + 1);
        put(text0, octets, length);
        text0[length] = 0;
        store_ptr(field, text0);
        return true;
    }
    }
}

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
bool build_value(const KelTypeDesc *type, const Json &json, void *record, Pieces &pieces) {
    uint8_t *field = static_cast<uint8_t *>(record) + type->offset;
    switch (type->kind) {
    case KEL_KIND_BIT_STRING:
    case KEL_KIND_OCTET_STRING:
    case KEL_KIND_CHAR_STRING:
        return build_string(type, json, field, pieces);
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
    if (type->kind >= KEL_KIND_BIT_STRING)
        return strings_equal(type, static_cast<const uint8_t *>(a) + type->offset,
                             static_cast<const uint8_t *>(b) + type->offset);
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
        {"TypesZoo", "bits-16384", "cer",
         "BIT STRING segments of 1001 contents octets; at most 1000, unused-bits octet included (X.690 9.2)"},
        {"TypesZoo", "bits-16392", "cer",
         "BIT STRING segments of 1001 contents octets; at most 1000, unused-bits octet included (X.690 9.2)"},
        {"TypesZoo", "namedbits-trailing-zeros", "cer",
         "named-bit BIT STRING keeps trailing 0 bits, which CER drops (X.690 11.2.2)"},
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
        Pieces pieces;
        const bool buildable = type && build_value(type, c["value"], expected.data(), pieces);
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
