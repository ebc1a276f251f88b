// test_check_corpus.cpp - the stand-in code files' checker on the corpus:
// every value that decodes passes, and a valid value with one constraint
// broken gives the constraint's message and return code.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "bench_files.h"
#include "codefiles.h"
#include "harness.h"
#include "internal.h"
#include "walker_common.h"

namespace {

using Json = nlohmann::json;

constexpr const char *kModules[] = {"TypesZoo",     "PersonnelA1", "PersonnelA2", "PersonnelA3",    "ExtGroupsA4",
                                    "TagsExplicit", "TagsImplicit", "OpenTypes",  "X509Certificate"};

// The cases of a module, read once.
const std::vector<Json> &cases_of(const std::string &module) {
    static std::map<std::string, std::vector<Json>> read;
    std::vector<Json> &cases = read[module];
    if (cases.empty()) {
        std::ifstream in(std::string(KEL_VECTORS_DIR) + "/" + module + ".jsonl");
        for (std::string line; std::getline(in, line);)
            cases.push_back(Json::parse(line));
    }
    return cases;
}

// A world on a case's code file, and the case's value decoded from its BER
// encoding (DER where there is none), in library memory or the given area.
struct CaseValue {
    KelGlobal world{};
    const KelCodeFile *file;
    int pdu;
    void *value = nullptr;
    bool inArea;
    int decoded;

    CaseValue(const Json &c, std::vector<uint64_t> *area = nullptr)
        : file(kel_codefile_find(c["module"].get<std::string>().c_str())),
          pdu(kel_codefile_pdu(file, c["type"].get<std::string>().c_str())), inArea(area != nullptr) {
        EXPECT_EQ(kelinit(&world, const_cast<KelControlTable *>(&file->control)), 0);
        const bool ber = c["enc"].contains("ber");
        kelSetEncodingRules(&world, ber ? KEL_BER : KEL_DER);
        kel_test::Bytes octets = kel_test::from_hex(c["enc"][ber ? "ber" : "der"].get<std::string>());
        KelBuf input{static_cast<uint32_t>(octets.size()), octets.data()};
        if (area) {
            value = area->data();
            world.decodingLength = static_cast<int32_t>(area->size() * sizeof(uint64_t));
        }
        decoded = kelDecode(&world, &pdu, &input, &value);
    }
    ~CaseValue() {
        if (decoded == 0 && !inArea)
            kelFreePDU(&world, pdu, value);
        kelterm(&world);
    }
};

TEST(CheckCorpus, EveryDecodedValuePasses) {
    int checked = 0;
    for (const char *module : kModules) {
        for (const Json &c : cases_of(module)) {
            SCOPED_TRACE(c["id"].get<std::string>());
            CaseValue v(c);
            if (v.decoded != 0)
                continue; // a value its memory form can't hold
            EXPECT_EQ(kelCheckConstraints(&v.world, v.pdu, v.value), 0) << module;
            ++checked;
        }
    }
    EXPECT_GT(checked, 280);
}

// The field a path of component names (element numbers in lists) leads to.
struct Field {
    const KelTypeDesc *type;
    unsigned char *at;

    void number(int64_t v) const { kel_store(at, type->width, static_cast<uint64_t>(v)); }
    // The count of a string's units or of a list's elements.
    void count(uint32_t n) const {
        if (type->kind == KEL_KIND_SEQUENCE_OF) {
            reinterpret_cast<KelSequenceOf *>(at)->count = n;
            return;
        }
        switch (type->form) {
        case KEL_FORM_VARYING: *reinterpret_cast<uint32_t *>(at) = n; return;
        case KEL_FORM_VARYING_PTR: **reinterpret_cast<uint32_t **>(at) = n; return;
        case KEL_FORM_NULLTERM:
        case KEL_FORM_NULLTERM_PTR: unit(n, 0); return;
        default: reinterpret_cast<KelUnboundedString *>(at)->length = n; return;
        }
    }
    void unit(uint32_t i, unsigned char c) const {
        uint32_t count;
        const_cast<unsigned char *>(kel_string_units(type, at, 1, &count))[i] = c;
    }
};

Field follow(const KelTypeDesc *type, unsigned char *value, std::string_view path) {
    Field f{type, value};
    while (!path.empty()) {
        const std::string_view name = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(path.size(), name.size() + 1));
        if (f.type->kind == KEL_KIND_SEQUENCE_OF || f.type->kind == KEL_KIND_SET_OF) {
            const KelTypeDesc *element = f.type->components[0].type;
            f = {element, static_cast<unsigned char *>(reinterpret_cast<KelSequenceOf *>(f.at)->elements) +
                              std::stoul(std::string(name)) * element->size};
            continue;
        }
        const KelComponent *c = f.type->components;
        while (name != c->name)
            ++c;
        f = {c->type, f.type->kind == KEL_KIND_CHOICE ? f.at + c->offset : kel_value_of(c, f.at)};
    }
    return f;
}

struct Broken {
    const char *module, *type, *id, *path;
    std::function<void(const Field &)> breakIt;
    int message, code;
};

TEST(CheckCorpus, EveryConstraintBrokenOnce) {
    const auto number = [](int64_t v) { return [v](const Field &f) { f.number(v); }; };
    const auto count = [](uint32_t n) { return [n](const Field &f) { f.count(n); }; };
    const auto unit = [](uint32_t i, unsigned char c) { return [i, c](const Field &f) { f.unit(i, c); }; };
    const auto null = [](const Field &f) { *reinterpret_cast<void **>(f.at) = nullptr; };
    const auto keyByte = [](const Field &f) { reinterpret_cast<KelOidEncoded *>(f.at)->value[2] = 0x07; };
    const Broken rows[] = {
        // value ranges and single values: signed, unsigned, 64-bit as text
        {"TypesZoo", "IntSmall", "intsmall-5", "", number(6), 22, 77},
        {"TypesZoo", "IntRange", "intrange-1000", "", number(999), 23, 76},
        {"TypesZoo", "IntSemi", "intsemi-m1", "", number(-2), 25, 17},
        {"TypesZoo", "IntConst", "intconst-42", "", number(43), 16, 81},
        {"TypesZoo", "SeqOfFixed", "seqoffixed-3", "1", number(16), 23, 76},
        {"ExtGroupsA4", "Ax", "root-only", "a", number(254), 23, 76},
        // enumerations
        {"TypesZoo", "Enum", "enum-red", "", number(3), 36, 67},
        {"TypesZoo", "EnumNum", "enumnum-low", "", number(4), 36, 67},
        {"PersonnelA3", "PersonnelRecord", "x691-sample", "children/1/sex", number(4), 36, 67},
        // sizes of strings in each memory form, and of lists
        {"TypesZoo", "Bits0to20", "bits0to20-20", "", count(21), 27, 74},
        {"TypesZoo", "Octets0to10", "octets0to10-10", "", count(11), 27, 74},
        {"TypesZoo", "Ia5Size", "ia5size-8", "", count(9), 27, 74},
        {"TypesZoo", "Ia5Both", "ia5both-1", "", count(0), 27, 74},
        {"TypesZoo", "VisibleBoth", "visibleboth-3", "", count(2), 27, 74},
        {"TypesZoo", "NumericBoth", "numericboth-9", "", count(17), 27, 74},
        {"TypesZoo", "PrintableSize", "printablesize-1", "", count(0), 27, 74},
        {"TypesZoo", "PrintableBoth", "printableboth-2", "", count(1), 27, 74},
        {"PersonnelA2", "PersonnelRecord", "x691-sample", "nameOfSpouse/initial", count(0), 27, 74},
        {"PersonnelA3", "PersonnelRecord", "x691-sample", "name/initial", count(0), 27, 74},
        {"TypesZoo", "SeqOfSize", "seqofsize-2", "", count(1), 28, 73},
        {"TypesZoo", "SeqOfFixed", "seqoffixed-3", "", count(2), 28, 73},
        // permitted alphabets
        {"TypesZoo", "Ia5Alpha", "ia5alpha-hello", "", unit(0, 'H'), 29, 72},
        {"TypesZoo", "Ia5Both", "ia5both-12", "", unit(11, 'a'), 29, 72},
        {"TypesZoo", "VisibleAlpha", "visiblealpha-hello", "", unit(0, 'h'), 29, 72},
        {"TypesZoo", "VisibleBoth", "visibleboth-6", "", unit(5, '-'), 29, 72},
        {"TypesZoo", "NumericAlpha", "numericalpha-octal", "", unit(7, '8'), 29, 72},
        {"TypesZoo", "NumericBoth", "numericboth-9", "", unit(4, '4'), 29, 72},
        {"TypesZoo", "PrintableAlpha", "printablealpha-hex", "", unit(0, 'a'), 29, 72},
        {"TypesZoo", "PrintableBoth", "printableboth-8", "", unit(1, 'A'), 29, 72},
        {"PersonnelA2", "PersonnelRecord", "x691-sample", "dateOfHire", unit(3, 'X'), 29, 72},
        {"PersonnelA2", "PersonnelRecord", "x691-sample", "children/0/name/familyName", unit(0, 0xE9), 29, 72},
        {"PersonnelA3", "PersonnelRecord", "x691-sample", "name/givenName", unit(0, '!'), 29, 72},
        {"ExtGroupsA4", "Ax", "x691-sample", "g", unit(2, 'A'), 29, 72},
        // a key outside its table, a pointer form without its value, UTF-8
        {"OpenTypes", "Attribute", "attribute-cn", "type", keyByte, 34, 69},
        {"OpenTypes", "AttributeList", "attributelist-3", "1/type", keyByte, 34, 69},
        {"TypesZoo", "Ia5SizeExt", "ia5sizeext-1", "", null, 71, 11},
        {"TypesZoo", "Utf8", "utf8-latin", "", unit(1, 0xFF), 135, 17},
    };
    std::vector<uint64_t> area(1 << 14);
    for (const Broken &r : rows) {
        SCOPED_TRACE(std::string(r.type) + " " + r.id + " " + r.path);
        const auto &cases = cases_of(r.module);
        const auto c = std::find_if(cases.begin(), cases.end(), [&](const Json &j) { return j["id"] == r.id; });
        ASSERT_NE(c, cases.end());
        CaseValue v(*c, &area);
        ASSERT_EQ(v.decoded, 0);
        ASSERT_EQ(kelCheckConstraints(&v.world, v.pdu, v.value), 0);
        r.breakIt(follow(v.file->pdus[v.pdu - 1].type, static_cast<unsigned char *>(v.value), r.path));
        EXPECT_EQ(kelCheckConstraints(&v.world, v.pdu, v.value), r.code);
        // the checker's own jump value names the message
        EXPECT_EQ(kel_test::in_frame(&v.world, kel::kPhaseChecker,
                                     [&] { kel_check_constraints(&v.world, v.pdu, v.value); }),
                  r.message);
        _kel_freetempMem(&v.world); // the value texts of that check
    }
}

} // namespace
