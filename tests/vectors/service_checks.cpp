// service_checks.cpp - the copy, compare, print and self-test checks of the
// runner.
//
// The value under test is the case's value encoded under BER and decoded
// again into library memory, so that its pieces are the library's and
// kelFreePDU may release them.  What the services answer is held against
// the runner's own reading: values_equal for values, and for printed text
// a small reader of value notation that turns a simple type's text back
// into the corpus's JSON form.
#include "service_checks.h"

#include <cmath>
#include <cstddef>
#include <set>
#include <sstream>

#include "print_capture.h"

#include "kelvarn_prim.h"

namespace kel_vectors {
namespace {

// ---- values decoded into library memory ------------------------------------

class LibraryValue {
  public:
    explicit LibraryValue(const ServiceCase &c) : world_(c.world), pdu_(c.pdu) {
        KelBuf encoding{0, nullptr};
        kelSetEncodingRules(world_, KEL_BER);
        code_ = kelEncode(world_, pdu_, const_cast<void *>(c.expected), &encoding);
        if (code_)
            return;
        KelBuf input = encoding;
        int pdu = pdu_;
        code_ = kelDecode(world_, &pdu, &input, &value_);
        kelFreeBuf(world_, encoding.value);
    }
    ~LibraryValue() { release(); }
    LibraryValue(const LibraryValue &) = delete;
    LibraryValue &operator=(const LibraryValue &) = delete;

    void *get() const { return value_; }
    int code() const { return code_; }
    void release() {
        if (value_)
            kelFreePDU(world_, pdu_, value_);
        value_ = nullptr;
    }

  private:
    KelGlobal *world_;
    int pdu_;
    int code_;
    void *value_ = nullptr;
};

std::string failure(const char *what, int code) { return std::string(what) + ": code " + std::to_string(code); }

template <class T> T load(const uint8_t *p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <class T> void store(uint8_t *p, T v) { std::memcpy(p, &v, sizeof v); }
const uint8_t *pointer_at(const uint8_t *p) { return load<const uint8_t *>(p); }

bool present(const KelComponent &c, const uint8_t *record) {
    if (c.flags & KEL_COMP_POINTER)
        return pointer_at(record + c.offset) != nullptr;
    return !c.presenceBit || (load<uint32_t>(record) >> (c.presenceBit - 1) & 1u);
}
uint8_t *value_of(const KelComponent &c, const uint8_t *record) {
    const uint8_t *field = record + c.offset;
    return const_cast<uint8_t *>(c.flags & KEL_COMP_POINTER ? pointer_at(field) : field);
}
const KelTypeDesc *row_type(const KelTypeDesc *type, const KelOpenType &open) {
    return open.decoded && open.pduNum >= 1 && uint32_t(open.pduNum) <= type->componentCount
               ? type->components[open.pduNum - 1].type
               : nullptr;
}

// ---- the pieces a value points to -------------------------------------------

// Every piece of memory the value holds apart from its own record.
void collect_pieces(const KelTypeDesc *type, const uint8_t *field, std::vector<const void *> &out) {
    auto add = [&out](const void *p) {
        if (p)
            out.push_back(p);
    };
    switch (type->kind) {
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET:
        for (uint32_t i = 0; i < type->componentCount; i++) {
            const KelComponent &c = type->components[i];
            if (!present(c, field))
                continue;
            if (c.flags & KEL_COMP_POINTER)
                add(value_of(c, field));
            collect_pieces(c.type, value_of(c, field), out);
        }
        return;
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF: {
        const auto list = load<KelSequenceOf>(field);
        const KelTypeDesc *element = type->components[0].type;
        add(list.elements);
        for (uint32_t i = 0; i < list.count; i++)
            collect_pieces(element, static_cast<const uint8_t *>(list.elements) + size_t(i) * element->size, out);
        return;
    }
    case KEL_KIND_CHOICE: {
        const uint32_t selector = load<uint32_t>(field);
        if (selector >= 1 && selector <= type->componentCount)
            collect_pieces(type->components[selector - 1].type, field + type->components[selector - 1].offset, out);
        return;
    }
    case KEL_KIND_OPEN_TYPE: {
        const auto open = load<KelOpenType>(field);
        add(open.encoded);
        add(open.decoded);
        if (const KelTypeDesc *row = row_type(type, open))
            collect_pieces(row, static_cast<const uint8_t *>(open.decoded), out);
        return;
    }
    default:
        break;
    }
    switch (type->form) {
    case KEL_FORM_UNBOUNDED:
    case KEL_FORM_UTF8:
    case KEL_FORM_BMP:
    case KEL_FORM_UNIVERSAL:
    case KEL_FORM_HUGE:
    case KEL_FORM_OID_ENCODED: add(pointer_at(field + offsetof(KelUnboundedString, value))); return;
    case KEL_FORM_OID_ARCS: add(pointer_at(field + offsetof(KelOidUnbounded, value))); return;
    case KEL_FORM_VARYING_PTR:
    case KEL_FORM_NULLTERM_PTR:
    case KEL_FORM_TIME_TEXT: add(pointer_at(field)); return;
    case KEL_FORM_REAL_MIXED:
        if (load<int32_t>(field))
            add(pointer_at(field + offsetof(KelMixedReal, u)));
        return;
    default: return;
    }
}

std::string shared_piece(const KelTypeDesc *type, const void *a, const void *b) {
    std::vector<const void *> first{a}, second{b};
    collect_pieces(type, static_cast<const uint8_t *>(a) + type->offset, first);
    collect_pieces(type, static_cast<const uint8_t *>(b) + type->offset, second);
    const std::set<const void *> mine(first.begin(), first.end());
    for (const void *p : second)
        if (mine.count(p))
            return "the copy shares a piece with the original";
    return "";
}

// ---- one field changed -------------------------------------------------------

// Changes the first simple value of the value that has something to
// change; false when there is none (NULL, empty strings and lists).
bool change_one(const KelTypeDesc *type, uint8_t *field) {
    switch (type->kind) {
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET:
        for (uint32_t i = 0; i < type->componentCount; i++)
            if (present(type->components[i], field) &&
                change_one(type->components[i].type, value_of(type->components[i], field)))
                return true;
        return false;
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF: {
        const auto list = load<KelSequenceOf>(field);
        return list.count && change_one(type->components[0].type, static_cast<uint8_t *>(list.elements));
    }
    case KEL_KIND_CHOICE: {
        const uint32_t selector = load<uint32_t>(field);
        return selector >= 1 && selector <= type->componentCount &&
               change_one(type->components[selector - 1].type, field + type->components[selector - 1].offset);
    }
    case KEL_KIND_OPEN_TYPE: {
        const auto open = load<KelOpenType>(field);
        if (const KelTypeDesc *row = row_type(type, open))
            return change_one(row, static_cast<uint8_t *>(open.decoded));
        if (!open.length)
            return false;
        static_cast<uint8_t *>(open.encoded)[0] ^= 1;
        return true;
    }
    case KEL_KIND_NULL: return false;
    case KEL_KIND_BOOLEAN: *field = !*field; return true;
    case KEL_KIND_INTEGER:
    case KEL_KIND_ENUMERATED:
        if (type->form == KEL_FORM_HUGE) {
            const auto huge = load<KelHugeInt>(field);
            if (!huge.length)
                return false;
            huge.value[huge.length - 1] ^= 1;
        } else {
            *field ^= 1; // the low octet: the memory forms are little-endian
        }
        return true;
    case KEL_KIND_REAL: {
        const size_t at = type->form == KEL_FORM_REAL_MIXED ? offsetof(KelMixedReal, u) : 0;
        if (type->form == KEL_FORM_REAL_MIXED && load<int32_t>(field))
            return false;
        const double value = load<double>(field + at);
        store(field + at, std::isfinite(value) && value != 0 ? value / 2 : 1.0);
        return true;
    }
    case KEL_KIND_UTC_TIME:
    case KEL_KIND_GENERALIZED_TIME:
        if (type->form == KEL_FORM_TIME_TEXT) {
            char *text = reinterpret_cast<char *>(const_cast<uint8_t *>(pointer_at(field)));
            text[0] = text[0] == '1' ? '2' : '1';
        } else {
            auto time = load<KelTimeStruct>(field);
            time.second = int16_t((time.second + 1) % 60);
            store(field, time);
        }
        return true;
    case KEL_KIND_OID:
    case KEL_KIND_RELATIVE_OID:
        if (type->form == KEL_FORM_OID_ARCS) {
            const auto oid = load<KelOidUnbounded>(field);
            if (!oid.count)
                return false;
            oid.value[oid.count - 1] ^= 1;
        } else {
            const auto oid = load<KelOidEncoded>(field);
            if (!oid.length)
                return false;
            oid.value[oid.length - 1] ^= 1;
        }
        return true;
    default:
        break;
    }
    // strings: the first octet of the value, or the first bit
    if (type->form == KEL_FORM_PADDED && type->kind == KEL_KIND_BIT_STRING) {
        field[type->size - 1] ^= 0x80; // the high bit of the field is the first bit
        return true;
    }
    uint32_t count = 0;
    uint8_t *units = nullptr;
    switch (type->form) {
    case KEL_FORM_VARYING: count = load<uint32_t>(field), units = field + 4; break;
    case KEL_FORM_VARYING_PTR:
        units = const_cast<uint8_t *>(pointer_at(field));
        count = load<uint32_t>(units), units += 4;
        break;
    case KEL_FORM_FIXED:
    case KEL_FORM_PADDED: count = uint32_t(type->upper), units = field; break;
    case KEL_FORM_NULLTERM: units = field, count = uint32_t(std::strlen(reinterpret_cast<char *>(units))); break;
    case KEL_FORM_NULLTERM_PTR:
        units = const_cast<uint8_t *>(pointer_at(field));
        count = uint32_t(std::strlen(reinterpret_cast<char *>(units)));
        break;
    default:
        count = load<uint32_t>(field);
        units = const_cast<uint8_t *>(pointer_at(field + offsetof(KelUnboundedString, value)));
        break;
    }
    if (!count)
        return false;
    units[0] ^= type->kind == KEL_KIND_BIT_STRING ? 0x80 : 1;
    return true;
}

// ---- reading printed value notation back -------------------------------------

class NotationReader {
  public:
    explicit NotationReader(const std::string &text) : text_(text) {}

    // The text of a simple type's value in the corpus's JSON form; false
    // where it can't be read.
    bool read(const KelTypeDesc *type, Json &out) {
        switch (type->kind) {
        case KEL_KIND_BOOLEAN: return word("TRUE") ? (out = true, true) : word("FALSE") ? (out = false, true) : false;
        case KEL_KIND_NULL: return word("NULL") ? (out = nullptr, true) : false;
        case KEL_KIND_INTEGER: return number(out);
        case KEL_KIND_ENUMERATED: return name(out);
        case KEL_KIND_REAL: return real(out);
        case KEL_KIND_OID:
        case KEL_KIND_RELATIVE_OID: return oid(out);
        case KEL_KIND_BIT_STRING: return bits(out);
        case KEL_KIND_OCTET_STRING: return octets(out);
        default: return characters(out); // character strings and times
        }
    }
    bool at_end() {
        blanks();
        return at_ == text_.size();
    }

  private:
    void blanks() {
        while (at_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[at_])))
            at_++;
    }
    bool word(const char *w) {
        blanks();
        const size_t n = std::strlen(w);
        if (text_.compare(at_, n, w) != 0)
            return false;
        at_ += n;
        return true;
    }
    std::string run(bool (*accept)(char)) {
        blanks();
        const size_t start = at_;
        while (at_ < text_.size() && accept(text_[at_]))
            at_++;
        return text_.substr(start, at_ - start);
    }
    static bool digit(char c) { return std::isdigit(static_cast<unsigned char>(c)); }
    static bool signed_digit(char c) { return digit(c) || c == '-'; }
    bool number(Json &out) {
        const std::string digits = run(signed_digit);
        if (digits.empty())
            return false;
        out = Json::parse(quote_big_integers(digits), nullptr, false);
        return !out.is_discarded();
    }
    bool name(Json &out) {
        const std::string identifier = run([](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '-'; });
        out = identifier;
        return !identifier.empty();
    }
    // The special values, { mantissa M, base 2, exponent E } and decimal
    // text ME-E as the printer writes them.
    bool real(Json &out) {
        if (word("PLUS-INFINITY"))
            return out = "INF", true;
        if (word("MINUS-INFINITY"))
            return out = "-INF", true;
        const size_t start = at_;
        if (word("-0") && at_end())
            return out = "-0", true;
        at_ = start;
        if (word("{")) {
            Json mantissa, exponent;
            if (!word("mantissa") || !number(mantissa) || !word(",") || !word("base") || !word("2") || !word(",") ||
                !word("exponent") || !number(exponent) || !word("}"))
                return false;
            out = std::ldexp(mantissa.get<double>(), exponent.get<int>());
            return true;
        }
        Json mantissa, exponent;
        if (!number(mantissa))
            return false;
        if (!word("E"))
            return out = mantissa, true;
        if (!number(exponent))
            return false;
        out = Json{{"mantissa", mantissa}, {"base", 10}, {"exponent", exponent}};
        return true;
    }
    bool oid(Json &out) {
        if (!word("{"))
            return false;
        std::string dotted;
        for (std::string arc; !(arc = run(digit)).empty();)
            dotted += (dotted.empty() ? "" : ".") + arc;
        out = dotted;
        return word("}");
    }
    // 'hex'H or 'binary'B, with blanks between groups.
    bool quoted_digits(char kind, std::string &digits) {
        if (!word("'"))
            return false;
        for (; at_ < text_.size() && text_[at_] != '\''; at_++) {
            if (std::isxdigit(static_cast<unsigned char>(text_[at_])))
                digits += text_[at_];
            else if (text_[at_] != ' ')
                return false;
        }
        return word("'") && at_ < text_.size() && text_[at_++] == kind;
    }
    bool octets(Json &out) {
        std::string hex;
        if (!quoted_digits('H', hex))
            return false;
        out = hex;
        return true;
    }
    bool bits(Json &out) {
        std::string binary;
        if (!quoted_digits('B', binary))
            return false;
        static const char digits[] = "0123456789ABCDEF";
        std::string hex;
        for (size_t i = 0; i < binary.size(); i += 4) {
            unsigned nibble = 0;
            for (size_t j = 0; j < 4; j++)
                nibble = nibble << 1 | (i + j < binary.size() && binary[i + j] == '1');
            hex += digits[nibble];
        }
        if (hex.size() % 2)
            hex += '0';
        out = Json{{"length", binary.size()}, {"value", hex}};
        return true;
    }
    static void put_utf8(std::string &out, uint32_t c) {
        if (c < 0x80) {
            out += char(c);
        } else if (c < 0x800) {
            out += char(0xC0 | c >> 6), out += char(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += char(0xE0 | c >> 12), out += char(0x80 | (c >> 6 & 0x3F)), out += char(0x80 | (c & 0x3F));
        } else {
            out += char(0xF0 | c >> 18), out += char(0x80 | (c >> 12 & 0x3F)), out += char(0x80 | (c >> 6 & 0x3F));
            out += char(0x80 | (c & 0x3F));
        }
    }
    // "text" with "" for a quote inside.
    bool quoted(std::string &out) {
        if (!word("\""))
            return false;
        for (; at_ < text_.size(); at_++) {
            if (text_[at_] != '"') {
                out += text_[at_];
            } else if (at_ + 1 < text_.size() && text_[at_ + 1] == '"') {
                out += '"';
                at_++;
            } else {
                at_++;
                return true;
            }
        }
        return false;
    }
    // A quoted text, or the list form { "run", {column, row}, {g, p, r, c}, ... }.
    bool characters(Json &out) {
        std::string utf8;
        if (!word("{")) {
            if (!quoted(utf8))
                return false;
            out = utf8;
            return true;
        }
        do {
            if (word("{")) {
                uint32_t c = 0;
                int parts = 0;
                do {
                    const std::string n = run(digit);
                    if (n.empty())
                        return false;
                    c = c << (parts ? 8 : 0) | uint32_t(std::stoul(n));
                    parts++;
                } while (word(","));
                if (!word("}") || (parts != 2 && parts != 4))
                    return false;
                put_utf8(utf8, parts == 2 ? (c >> 8) * 16 + (c & 0xFF) : c);
            } else if (!quoted(utf8)) {
                return false;
            }
        } while (word(","));
        out = utf8;
        return word("}");
    }

    const std::string &text_;
    size_t at_ = 0;
};

// Every component and alternative present in the value is named in the text.
std::string unnamed_component(const KelTypeDesc *type, const uint8_t *field, const std::string &text) {
    auto named = [&text](const char *name) { return text.find(name) != std::string::npos; };
    switch (type->kind) {
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET:
        for (uint32_t i = 0; i < type->componentCount; i++) {
            const KelComponent &c = type->components[i];
            if (!present(c, field))
                continue;
            if (!named(c.name))
                return c.name;
            std::string inner = unnamed_component(c.type, value_of(c, field), text);
            if (!inner.empty())
                return inner;
        }
        return "";
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF: {
        const auto list = load<KelSequenceOf>(field);
        const KelTypeDesc *element = type->components[0].type;
        for (uint32_t i = 0; i < list.count; i++) {
            std::string inner = unnamed_component(element, static_cast<const uint8_t *>(list.elements) + size_t(i) * element->size, text);
            if (!inner.empty())
                return inner;
        }
        return "";
    }
    case KEL_KIND_CHOICE: {
        const uint32_t selector = load<uint32_t>(field);
        if (selector < 1 || selector > type->componentCount)
            return "";
        const KelComponent &c = type->components[selector - 1];
        return named(c.name) ? unnamed_component(c.type, field + c.offset, text) : c.name;
    }
    case KEL_KIND_OPEN_TYPE: {
        const auto open = load<KelOpenType>(field);
        const KelTypeDesc *row = row_type(type, open);
        return row ? unnamed_component(row, static_cast<const uint8_t *>(open.decoded), text) : "";
    }
    default: return "";
    }
}

bool is_simple(const KelTypeDesc *type) { return type->kind < KEL_KIND_SEQUENCE; }

} // namespace

std::string check_copy(const ServiceCase &c) {
    LibraryValue original(c);
    if (original.code())
        return failure("BER round trip of the value", original.code());
    void *copy = nullptr;
    if (int code = kelCpyValue(c.world, c.pdu, original.get(), &copy))
        return failure("kelCpyValue", code);
    std::string problem = !values_equal(c.type, copy, c.expected) ? "the copy differs from the value"
                          : kelCmpValue(c.world, c.pdu, original.get(), copy) ? "kelCmpValue: the copy differs"
                                                                               : shared_piece(c.type, original.get(), copy);
    original.release();
    if (problem.empty() && !values_equal(c.type, copy, c.expected))
        problem = "the copy changed when the original was freed";
    kelFreePDU(c.world, c.pdu, copy);
    if (!problem.empty())
        return problem;

    // Into a caller's area: the world's decoding length is its size.
    LibraryValue again(c);
    std::vector<uint64_t> area(c.type->size * 64 + 65536);
    void *inArea = area.data();
    kelSetDecodingLength(c.world, long(area.size() * 8));
    if (int code = kelCpyValue(c.world, c.pdu, again.get(), &inArea))
        return failure("kelCpyValue into a caller's area", code);
    return values_equal(c.type, inArea, c.expected) ? "" : "the copy in a caller's area differs from the value";
}

std::string check_compare(const ServiceCase &c) {
    LibraryValue value(c), twin(c);
    if (value.code() || twin.code())
        return failure("BER round trip of the value", value.code() ? value.code() : twin.code());
    if (int code = kelCmpValue(c.world, c.pdu, value.get(), twin.get()))
        return failure("kelCmpValue of two decodings of the value", code);
    void *changed = nullptr;
    if (int code = kelCpyValue(c.world, c.pdu, value.get(), &changed))
        return failure("kelCpyValue", code);
    const bool changeable = change_one(c.type, static_cast<uint8_t *>(changed) + c.type->offset);
    const int code = kelCmpValue(c.world, c.pdu, value.get(), changed);
    kelFreePDU(c.world, c.pdu, changed);
    return !changeable || code ? "" : "kelCmpValue: a value with one field changed compares equal";
}

std::string check_print(const ServiceCase &c) {
    LibraryValue value(c);
    if (value.code())
        return failure("BER round trip of the value", value.code());
    // The whole value: no limit on the printed length.
    const int32_t chop = c.world->asn1chop;
    c.world->asn1chop = 0;
    KelBuf printed{0, nullptr};
    const int code = kelPrintPDUToBuffer(c.world, c.pdu, value.get(), &printed);
    c.world->asn1chop = chop;
    if (code)
        return failure("kelPrintPDUToBuffer", code);
    const std::string text(reinterpret_cast<const char *>(printed.value));
    kelFreeMemory(c.world, printed.value);

    const std::string missing = unnamed_component(c.type, static_cast<const uint8_t *>(value.get()) + c.type->offset, text);
    if (!missing.empty())
        return "the component " + missing + " isn't named in: " + text;
    const size_t assignment = text.find("::=");
    if (!is_simple(c.type) || assignment == std::string::npos)
        return assignment == std::string::npos ? "no value assignment in: " + text : "";

    const std::string notation = text.substr(assignment + 3);
    NotationReader reader(notation);
    Json read;
    Pieces pieces;
    std::vector<uint64_t> record(c.type->size / 8 + 1);
    if (!reader.read(c.type, read) || !reader.at_end())
        return "unreadable value notation:" + notation;
    if (!build_value(c.type, read, record.data(), pieces) || !values_equal(c.type, record.data(), value.get()))
        return "the printed value reads back as " + read.dump() + ":" + notation;
    return "";
}

// ---- the self-test driver ----------------------------------------------------

std::string check_selftest(const ServiceCase &c) {
    FILE *stream = nullptr;
    KelUserVprint vprint = nullptr;
    kelGetUserVprint(c.world, &stream, &vprint);
    kelSetUserVprint(c.world, stream, kel_test::capture_print);
    kel_test::printed.clear();
    kelSetTestFlagsEx(nullptr, nullptr); // the default steps under the default rules
    if (c.selftestRules)
        kelSetTestFlags(c.selftestRules);
    const int code = kelTest(c.world, c.pdu, const_cast<void *>(c.expected));
    kelSetUserVprint(c.world, stream, vprint);
    std::string protocol;
    protocol.swap(kel_test::printed);

    // Every line that reports a failure, with the banner of its run.
    std::string failures, banner;
    std::istringstream lines(protocol);
    for (std::string line; std::getline(lines, line);) {
        if (line.find("---------- Run") != std::string::npos || line.find("========== Run") != std::string::npos)
            banner = line;
        else if (line.find("failed") != std::string::npos)
            failures += " [" + banner + "] " + line;
    }
    if (code || !failures.empty())
        return "kelTest: code " + std::to_string(code) + failures;
    return "";
}

} // namespace kel_vectors
