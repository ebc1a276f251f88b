// corpus_values.cpp - values of corpus cases in the stand-ins' memory forms:
// the builder from a case's JSON value and the runner's own comparison.
#include "corpus_values.h"

#include <algorithm>
#include <cctype>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "kelvarn_prim.h"

namespace kel_vectors {

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

namespace {


// ---------------------------------------------------------------------------
// Values in their memory forms
// ---------------------------------------------------------------------------


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

// ---- object identifiers --------------------------------------------------

// Decimal digits divided by `d`; the remainder goes to `rest`.
std::string divide(const std::string &digits, unsigned d, unsigned &rest) {
    std::string out;
    rest = 0;
    for (char c : digits) {
        rest = rest * 10 + unsigned(c - '0');
        if (!out.empty() || rest / d)
            out += char('0' + rest / d);
        rest %= d;
    }
    return out.empty() ? "0" : out;
}

std::string add_small(const std::string &digits, unsigned add) {
    std::string out = digits;
    for (size_t i = out.size(); add && i-- > 0;) {
        add += unsigned(out[i] - '0');
        out[i] = char('0' + add % 10);
        add /= 10;
    }
    return add ? std::to_string(add) + out : out;
}

// One arc in base 128, high bit on all octets but the last.
void put_arc(Bytes &out, std::string digits) {
    Bytes groups;
    do {
        unsigned rest;
        digits = divide(digits, 128, rest);
        groups.push_back(static_cast<uint8_t>(rest));
    } while (digits != "0");
    for (size_t i = groups.size(); i-- > 0;)
        out.push_back(static_cast<uint8_t>(groups[i] | (i ? 0x80 : 0)));
}

std::vector<std::string> split_arcs(const std::string &dotted) {
    std::vector<std::string> arcs;
    std::stringstream in(dotted);
    std::string arc;
    while (std::getline(in, arc, '.'))
        arcs.push_back(arc);
    return arcs;
}

// Contents octets of a dotted OID (relative: every arc on its own).
bool oid_contents(const std::string &dotted, bool relative, Bytes &out) {
    std::vector<std::string> arcs = split_arcs(dotted);
    if (arcs.empty() || (!relative && (arcs.size() < 2 || arcs[0].size() != 1 || arcs[0][0] > '2')))
        return false;
    size_t i = 0;
    if (!relative) {
        put_arc(out, add_small(arcs[1], 40u * unsigned(arcs[0][0] - '0')));
        i = 2;
    }
    for (; i < arcs.size(); i++)
        put_arc(out, arcs[i]);
    return true;
}

bool build_oid(const KelTypeDesc *type, const Json &json, uint8_t *field, Pieces &pieces) {
    if (!json.is_string())
        return false;
    const std::string dotted = json.get<std::string>();
    if (type->form == KEL_FORM_OID_ARCS) {
        std::vector<uint32_t> arcs;
        for (const std::string &arc : split_arcs(dotted)) {
            if (arc.size() > 10 || std::stoull(arc) > UINT32_MAX)
                return false;
            arcs.push_back(static_cast<uint32_t>(std::stoull(arc)));
        }
        KelOidUnbounded oid{static_cast<uint16_t>(arcs.size()), pieces.copy(arcs)};
        std::memcpy(field, &oid, sizeof oid);
        return true;
    }
    Bytes octets;
    if (!oid_contents(dotted, type->kind == KEL_KIND_RELATIVE_OID, octets))
        return false;
    KelOidEncoded oid{static_cast<uint32_t>(octets.size()), pieces.copy(octets)};
    std::memcpy(field, &oid, sizeof oid);
    return true;
}

// ---- huge integers -------------------------------------------------------

// JSON numbers beyond 64 bits lose digits in the parser, so the lines are
// read with such numbers turned into strings with this prefix.
const std::string kBigPrefix = "#big:";

bool beyond_64_bits(const std::string &digits, bool negative) {
    const std::string limit = negative ? "9223372036854775808" : "18446744073709551615";
    return digits.size() > limit.size() || (digits.size() == limit.size() && digits > limit);
}


// A decimal integer as minimal big-endian two's complement octets.
bool build_huge(const Json &json, uint8_t *field, Pieces &pieces) {
    std::string digits;
    if (json.is_number_integer())
        digits = json.is_number_unsigned() ? std::to_string(json.get<uint64_t>()) : std::to_string(json.get<int64_t>());
    else if (json.is_string() && json.get<std::string>().rfind(kBigPrefix, 0) == 0)
        digits = json.get<std::string>().substr(kBigPrefix.size());
    else
        return false;
    const bool negative = digits[0] == '-';
    if (negative)
        digits.erase(0, 1);
    Bytes octets; // little-endian magnitude
    do {
        unsigned rest;
        digits = divide(digits, 256, rest);
        octets.push_back(static_cast<uint8_t>(rest));
    } while (digits != "0");
    if (negative) { // two's complement: invert and add one
        unsigned carry = 1;
        for (uint8_t &o : octets) {
            carry += static_cast<uint8_t>(~o);
            o = static_cast<uint8_t>(carry);
            carry >>= 8;
        }
    }
    const uint8_t sign = negative ? 0xFF : 0x00;
    if ((octets.back() & 0x80) != (sign & 0x80))
        octets.push_back(sign);
    while (octets.size() > 1 && octets.back() == sign && (octets[octets.size() - 2] & 0x80) == (sign & 0x80))
        octets.pop_back();
    std::reverse(octets.begin(), octets.end());
    KelHugeInt huge{static_cast<uint32_t>(octets.size()), pieces.copy(octets)};
    std::memcpy(field, &huge, sizeof huge);
    return true;
}

// ---- REAL and times ------------------------------------------------------

bool build_real(const KelTypeDesc *type, const Json &json, uint8_t *field, Pieces &pieces) {
    KelMixedReal real{};
    if (json.is_number()) {
        real.u.value = json.get<double>();
    } else if (json.is_string()) {
        const std::string name = json.get<std::string>();
        // Infinity has no form in memory: the largest finite value stands for it.
        if (name == "INF" || name == "-INF")
            real.u.value = name[0] == '-' ? -DBL_MAX : DBL_MAX;
        else if (name == "-0")
            real.u.value = -0.0;
        else
            return false;
    } else if (json.is_object() && json.value("base", 0) == 10 && type->form == KEL_FORM_REAL_MIXED) {
        const std::string text = std::to_string(json["mantissa"].get<int64_t>()) + "E" +
                                 std::to_string(json["exponent"].get<int64_t>());
        real.kind = 1;
        real.u.text = reinterpret_cast<char *>(pieces.copy(std::vector<char>(text.c_str(), text.c_str() + text.size() + 1)));
    } else {
        return false;
    }
    if (type->form == KEL_FORM_REAL_MIXED)
        std::memcpy(field, &real, sizeof real);
    else
        std::memcpy(field, &real.u.value, sizeof(double));
    return true;
}

double real_value(const KelTypeDesc *type, const uint8_t *field) {
    KelMixedReal real{};
    if (type->form != KEL_FORM_REAL_MIXED) {
        std::memcpy(&real.u.value, field, sizeof(double));
        return real.u.value;
    }
    std::memcpy(&real, field, sizeof real);
    if (!real.kind)
        return real.u.value;
    // Text names the special values; infinity is held as the largest double.
    const std::string text = real.u.text;
    if (text == "PLUS_INFINITY" || text == "MINUS_INFINITY")
        return text[0] == 'M' ? -DBL_MAX : DBL_MAX;
    if (text == "NOT_A_NUMBER")
        return NAN;
    return std::strtod(real.u.text, nullptr);
}

// GeneralizedTime or UTCTime text into a KelTimeStruct; false where the
// record can't hold it (a fraction finer than milliseconds).
bool parse_time(const std::string &text, bool utc, KelTimeStruct &t) {
    size_t at = 0;
    auto digits = [&](size_t n, int16_t &out) {
        if (at + n > text.size())
            return false;
        int v = 0;
        for (size_t i = 0; i < n; i++) {
            if (!std::isdigit(static_cast<unsigned char>(text[at + i])))
                return false;
            v = v * 10 + (text[at + i] - '0');
        }
        out = static_cast<int16_t>(v);
        at += n;
        return true;
    };
    t = KelTimeStruct{};
    if (!digits(utc ? 2 : 4, t.year) || !digits(2, t.month) || !digits(2, t.day) || !digits(2, t.hour) ||
        !digits(2, t.minute))
        return false;
    if (at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])) && !digits(2, t.second))
        return false;
    if (at < text.size() && (text[at] == '.' || text[at] == ',')) {
        size_t end = ++at;
        while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end])))
            end++;
        std::string fraction = text.substr(at, end - at);
        if (fraction.find_first_not_of('0', 3) != std::string::npos && fraction.size() > 3)
            return false;
        fraction.resize(3, '0');
        t.millisec = static_cast<int16_t>(std::stoi(fraction));
        at = end;
    }
    if (at < text.size() && text[at] == 'Z') {
        t.utc = 1;
        at++;
    } else if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
        const int sign = text[at++] == '-' ? -1 : 1;
        int16_t hours, minutes;
        if (!digits(2, hours) || !digits(2, minutes))
            return false;
        t.mindiff = static_cast<int16_t>(sign * (hours * 60 + minutes));
    }
    return at == text.size();
}

bool times_equal(const KelTimeStruct &a, const KelTimeStruct &b) {
    return a.year == b.year && a.month == b.month && a.day == b.day && a.hour == b.hour &&
           a.minute == b.minute && a.second == b.second && a.millisec == b.millisec &&
           a.mindiff == b.mindiff && a.utc == b.utc;
}

// The text a KelTimeStruct stands for: all fields to the second, a fraction
// without trailing zeros, and the zone ('Z' for a UTCTime without offset).
std::string time_text(const KelTimeStruct &t, bool utc) {
    char text[48];
    int n = utc ? std::snprintf(text, sizeof text, "%02d", t.year % 100) : std::snprintf(text, sizeof text, "%04d", t.year);
    n += std::snprintf(text + n, sizeof text - n, "%02d%02d%02d%02d%02d", t.month, t.day, t.hour, t.minute, t.second);
    if (!utc && t.millisec) {
        n += std::snprintf(text + n, sizeof text - n, ".%03d", t.millisec);
        while (text[n - 1] == '0')
            text[--n] = 0;
    }
    if (t.utc || (utc && t.mindiff == 0))
        return std::string(text) + "Z";
    if (t.mindiff == 0)
        return text;
    const int minutes = t.mindiff < 0 ? -t.mindiff : t.mindiff;
    std::snprintf(text + n, sizeof text - n, "%c%02d%02d", t.mindiff < 0 ? '-' : '+', minutes / 60, minutes % 60);
    return text;
}

bool build_time(const KelTypeDesc *type, const Json &json, uint8_t *field, Pieces &pieces) {
    if (!json.is_string())
        return false;
    const std::string text = json.get<std::string>();
    if (type->form == KEL_FORM_TIME_TEXT) {
        store_ptr(field, pieces.copy(std::vector<char>(text.c_str(), text.c_str() + text.size() + 1)));
        return true;
    }
    KelTimeStruct t;
    const bool utc = type->kind == KEL_KIND_UTC_TIME;
    if (!parse_time(text, utc, t))
        return false;
    pieces.timeRewritten |= time_text(t, utc) != text;
    std::memcpy(field, &t, sizeof t);
    return true;
}

// ---- structures ------------------------------------------------------------

// The record a value lies in, for the open types that a sibling selects.
struct Enclosing {
    const KelTypeDesc *type = nullptr;
    const uint8_t *record = nullptr;
};

bool build_field(const KelTypeDesc *type, const Json &json, uint8_t *field, Pieces &pieces,
                 const Enclosing &enclosing);

uint32_t load_presence(const uint8_t *record) { return load_u32(record); }

bool component_present(const KelComponent &c, const uint8_t *record) {
    if (c.flags & KEL_COMP_POINTER)
        return load_ptr(record + c.offset) != nullptr;
    return !c.presenceBit || (load_presence(record) >> (c.presenceBit - 1) & 1);
}

const uint8_t *component_value(const KelComponent &c, const uint8_t *record) {
    return c.flags & KEL_COMP_POINTER ? load_ptr(record + c.offset) : record + c.offset;
}

bool build_component(const KelComponent &c, const Json &json, uint8_t *record, Pieces &pieces,
                     const Enclosing &enclosing) {
    uint8_t *field = record + c.offset;
    if (c.flags & KEL_COMP_POINTER) {
        uint8_t *value = pieces.take(c.type->size);
        std::memset(value, 0, c.type->size);
        store_ptr(field, value);
        field = value;
    }
    if (c.presenceBit)
        store_u32(record, load_presence(record) | 1u << (c.presenceBit - 1));
    return build_field(c.type, json, field, pieces, enclosing);
}

bool build_members(const KelTypeDesc *type, const Json &json, uint8_t *record, Pieces &pieces) {
    if (!json.is_object())
        return false;
    size_t used = 0;
    for (uint32_t i = 0; i < type->componentCount; i++) {
        const KelComponent &c = type->components[i];
        if (json.contains(c.name)) {
            used++;
            if (!build_component(c, json[c.name], record, pieces, Enclosing{type, record}))
                return false;
        } else if (c.flags & KEL_COMP_DEFAULT) {
            std::memcpy(record + c.offset, c.defaultValue, c.type->size);
        } else if (!(c.flags & (KEL_COMP_OPTIONAL | KEL_COMP_EXTENSION | KEL_COMP_POINTER))) {
            return false;
        }
    }
    return used == json.size();
}

bool key_equals(const KelTypeDesc *keyType, const uint8_t *key, const void *rowKey) {
    if (keyType->kind == KEL_KIND_OID || keyType->kind == KEL_KIND_RELATIVE_OID) {
        KelOidEncoded a, b;
        std::memcpy(&a, key, sizeof a);
        std::memcpy(&b, rowKey, sizeof b);
        return a.length == b.length && std::memcmp(a.value, b.value, a.length) == 0;
    }
    return std::memcmp(key, rowKey, keyType->size) == 0;
}

bool build_open(const KelTypeDesc *type, const Json &json, uint8_t *field, Pieces &pieces,
                const Enclosing &enclosing) {
    if (!enclosing.type)
        return false;
    const KelComponent &key = enclosing.type->components[type->lower];
    for (uint32_t i = 0; i < type->componentCount; i++) {
        const KelComponent &row = type->components[i];
        if (!key_equals(key.type, enclosing.record + key.offset, row.defaultValue))
            continue;
        KelOpenType open{};
        uint8_t *value = pieces.take(row.type->size);
        std::memset(value, 0, row.type->size);
        open.pduNum = static_cast<int32_t>(i) + 1;
        open.decoded = value;
        std::memcpy(field, &open, sizeof open);
        return build_field(row.type, json, value, pieces, Enclosing{});
    }
    return false; // a key outside the table: the value is only known as JSON
}

bool build_field(const KelTypeDesc *type, const Json &json, uint8_t *field, Pieces &pieces,
                 const Enclosing &enclosing) {
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
        if (type->form == KEL_FORM_HUGE)
            return build_huge(json, field, pieces);
        if (json.is_string()) {
            for (uint32_t i = 0; i < type->nameCount; i++)
                if (json.get<std::string>() == type->names[i].name)
                    return store_integer(type, field, Json(type->names[i].value));
            return false; // a name not in the table
        }
        return store_integer(type, field, json);
    case KEL_KIND_OID:
    case KEL_KIND_RELATIVE_OID:
        return build_oid(type, json, field, pieces);
    case KEL_KIND_REAL:
        return build_real(type, json, field, pieces);
    case KEL_KIND_UTC_TIME:
    case KEL_KIND_GENERALIZED_TIME:
        return build_time(type, json, field, pieces);
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET:
        return build_members(type, json, field, pieces);
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF: {
        if (!json.is_array())
            return false;
        const KelComponent &element = type->components[0];
        const size_t size = element.type->size;
        uint8_t *elements = json.empty() ? nullptr : pieces.take(json.size() * size);
        if (elements)
            std::memset(elements, 0, json.size() * size);
        KelSequenceOf list{static_cast<uint32_t>(json.size()), elements};
        std::memcpy(field, &list, sizeof list);
        for (size_t i = 0; i < json.size(); i++)
            if (!build_component(element, json[i], elements + i * size, pieces, Enclosing{}))
                return false;
        return true;
    }
    case KEL_KIND_CHOICE:
        if (!json.is_object() || json.size() != 1)
            return false;
        for (uint32_t i = 0; i < type->componentCount; i++) {
            if (json.begin().key() != type->components[i].name)
                continue;
            store_u32(field, i + 1);
            return build_component(type->components[i], json.begin().value(), field, pieces, Enclosing{});
        }
        return false;
    case KEL_KIND_OPEN_TYPE:
        return build_open(type, json, field, pieces, enclosing);
    default:
        return false;
    }
}


bool fields_equal(const KelTypeDesc *type, const uint8_t *a, const uint8_t *b) {
    if (type->form == KEL_FORM_HUGE) {
        KelHugeInt x, y;
        std::memcpy(&x, a, sizeof x);
        std::memcpy(&y, b, sizeof y);
        return x.length == y.length && std::memcmp(x.value, y.value, x.length) == 0;
    }
    switch (type->kind) {
    case KEL_KIND_BIT_STRING:
    case KEL_KIND_OCTET_STRING:
    case KEL_KIND_CHAR_STRING:
        return strings_equal(type, a, b);
    case KEL_KIND_OID:
    case KEL_KIND_RELATIVE_OID: {
        if (type->form == KEL_FORM_OID_ARCS) {
            KelOidUnbounded x, y;
            std::memcpy(&x, a, sizeof x);
            std::memcpy(&y, b, sizeof y);
            return x.count == y.count && (!x.count || std::memcmp(x.value, y.value, x.count * 4u) == 0);
        }
        return key_equals(type, a, b);
    }
    case KEL_KIND_REAL: {
        const double x = real_value(type, a), y = real_value(type, b);
        return x == y || (std::isnan(x) && std::isnan(y));
    }
    case KEL_KIND_UTC_TIME:
    case KEL_KIND_GENERALIZED_TIME: {
        if (type->form == KEL_FORM_TIME_TEXT)
            return std::strcmp(reinterpret_cast<const char *>(load_ptr(a)),
                               reinterpret_cast<const char *>(load_ptr(b))) == 0;
        KelTimeStruct x, y;
        std::memcpy(&x, a, sizeof x);
        std::memcpy(&y, b, sizeof y);
        return times_equal(x, y);
    }
    case KEL_KIND_SEQUENCE:
    case KEL_KIND_SET:
        for (uint32_t i = 0; i < type->componentCount; i++) {
            const KelComponent &c = type->components[i];
            // An absent DEFAULT component holds its default: compare values.
            if (!(c.flags & KEL_COMP_DEFAULT) && component_present(c, a) != component_present(c, b))
                return false;
            if (component_present(c, a) || (c.flags & KEL_COMP_DEFAULT))
                if (!fields_equal(c.type, component_value(c, a), component_value(c, b)))
                    return false;
        }
        return true;
    case KEL_KIND_SEQUENCE_OF:
    case KEL_KIND_SET_OF: {
        KelSequenceOf x, y;
        std::memcpy(&x, a, sizeof x);
        std::memcpy(&y, b, sizeof y);
        const KelTypeDesc *element = type->components[0].type;
        const auto at = [element](const KelSequenceOf &list, uint32_t i) {
            return static_cast<const uint8_t *>(list.elements) + i * element->size;
        };
        if (x.count != y.count)
            return false;
        // A SET OF has no order: each element matches one not matched yet.
        std::vector<bool> matched(y.count);
        for (uint32_t i = 0; i < x.count; i++) {
            uint32_t j = type->kind == KEL_KIND_SET_OF ? 0 : i;
            while (j < y.count && (matched[j] || !fields_equal(element, at(x, i), at(y, j))))
                j = type->kind == KEL_KIND_SET_OF ? j + 1 : y.count;
            if (j >= y.count)
                return false;
            matched[j] = true;
        }
        return true;
    }
    case KEL_KIND_CHOICE: {
        const uint32_t selector = load_u32(a);
        if (selector != load_u32(b) || selector < 1 || selector > type->componentCount)
            return false;
        const KelComponent &c = type->components[selector - 1];
        return fields_equal(c.type, a + c.offset, b + c.offset);
    }
    case KEL_KIND_OPEN_TYPE: {
        KelOpenType x, y;
        std::memcpy(&x, a, sizeof x);
        std::memcpy(&y, b, sizeof y);
        if (x.pduNum != y.pduNum || !x.decoded != !y.decoded)
            return false;
        if (x.decoded)
            return fields_equal(type->components[x.pduNum - 1].type, static_cast<const uint8_t *>(x.decoded),
                                static_cast<const uint8_t *>(y.decoded));
        return x.length == y.length && std::memcmp(x.encoded, y.encoded, x.length) == 0;
    }
    default:
        return std::memcmp(a, b, value_octets(type)) == 0;
    }
}


} // namespace

std::string quote_big_integers(const std::string &line) {
    std::string out;
    bool inString = false;
    for (size_t i = 0; i < line.size(); i++) {
        const char c = line[i];
        if (inString) {
            out += c;
            if (c == '\\' && i + 1 < line.size())
                out += line[++i];
            else if (c == '"')
                inString = false;
            continue;
        }
        size_t end = i + (c == '-');
        while (end < line.size() && std::isdigit(static_cast<unsigned char>(line[end])))
            end++;
        const bool integral = end == line.size() || (line[end] != '.' && line[end] != 'e' && line[end] != 'E');
        if (integral && beyond_64_bits(line.substr(i + (c == '-'), end - i - (c == '-')), c == '-')) {
            out += '"' + kBigPrefix + line.substr(i, end - i) + '"';
            i = end - 1;
            continue;
        }
        inString = c == '"';
        out += c;
    }
    return out;
}

bool build_value(const KelTypeDesc *type, const Json &json, void *record, Pieces &pieces) {
    return build_field(type, json, static_cast<uint8_t *>(record) + type->offset, pieces, Enclosing{});
}

bool values_equal(const KelTypeDesc *type, const void *a, const void *b) {
    return fields_equal(type, static_cast<const uint8_t *>(a) + type->offset,
                        static_cast<const uint8_t *>(b) + type->offset);
}

} // namespace kel_vectors
