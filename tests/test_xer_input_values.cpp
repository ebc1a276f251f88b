// Tests of the XER value readers: integers at their limits in all four
// forms with the position each failure leaves, huge integers, BOOLEAN and
// ENUMERATED as empty-element tags, bit and octet strings in their
// destination forms with bounds, cuts and the canonical refusals, and the
// canonical form of time text.
#include "test_xer_input.h"

namespace {

using xer_test::XerInput;
using XerValues = XerInput;

constexpr bool kCxer = true;

std::string hex(const unsigned char *bytes, uint32_t length) {
    std::string out;
    for (uint32_t i = 0; i < length; ++i)
        out += "0123456789ABCDEF"[bytes[i] >> 4], out += "0123456789ABCDEF"[bytes[i] & 15];
    return out;
}

TEST_F(XerValues, Integers) {
    enum Form { kLint, kLintSmall, kUlint, kLlint, kUllint };
    struct Row {
        Form form;
        const char *text;
        bool cxer;
        int64_t value;       // as read; for kUllint the bits of the value
        const char *message; // null: accepted, the cursor at the end of the digits
        size_t at;
    } rows[] = {
        {kLint, " \n-2147483648<", false, INT32_MIN, nullptr, 13},
        {kLint, "2147483647 ", false, INT32_MAX, nullptr, 10},
        {kLintSmall, "-100<", false, -100, nullptr, 4},
        {kLint, "007<", kCxer, 7, nullptr, 3},
        {kLint, "-0<", kCxer, 0, nullptr, 2},
        {kLint, "2147483648<", false, 0, "0023E", 9},
        {kLint, "-2147483649<", false, 0, "0023E", 10},
        {kLint, "21474836470<", false, 0, "0023E", 10},
        {kLintSmall, "101<", false, 0, "0023E: Integer or enumerated value too long: 101", 3},
        {kLint, " 5<", kCxer, 0, "whitespace not allowed", 0},
        {kLint, "- 5<", false, 0, "whitespace not allowed", 1},
        {kLint, "--5<", false, 0, "0076S", 1},
        {kLint, "+5<", false, 0, "0155E: Expecting XML value of type 'INTEGER'", 0},
        {kLint, "5x<", false, 0, "INTEGER", 1},
        {kLint, "<", false, 0, "INTEGER", 0},
        {kLint, "55", false, 0, "0081S", 2},
        {kUlint, "4294967295<", false, 4294967295, nullptr, 10},
        {kUlint, "4294967296<", false, 0, "0023E", 9},
        {kUlint, "-1<", false, 0, "0076S", 0},
        {kLlint, "-9223372036854775808<", false, INT64_MIN, nullptr, 20},
        {kLlint, "9223372036854775808<", false, 0, "0023E", 18},
        {kUllint, "18446744073709551615<", false, -1, nullptr, 20},
        {kUllint, "18446744073709551616<", false, 0, "0023E", 19},
    };
    for (const Row &r : rows) {
        int64_t value = 0;
        const int code = run(
            r.text,
            [&](XerInputState *c) {
                switch (r.form) {
                case kLint: value = _kel_tdx_lint(c, INT32_MIN, INT32_MAX); break;
                case kLintSmall: value = _kel_tdx_lint(c, -100, 100); break;
                case kUlint: value = _kel_tdx_ulint(c, UINT32_MAX); break;
                case kLlint: value = _kel_tdx_llint(c, INT64_MIN, INT64_MAX); break;
                case kUllint: value = static_cast<int64_t>(_kel_tdx_ullint(c, UINT64_MAX)); break;
                }
            },
            r.cxer);
        if (!r.message) {
            EXPECT_EQ(code, 0) << r.text << message();
            EXPECT_EQ(value, r.value) << r.text;
        } else {
            EXPECT_NE(message().find(r.message), std::string::npos) << r.text << ": " << message();
        }
        EXPECT_EQ(consumed(), r.at) << r.text;
    }
}

TEST_F(XerValues, HugeIntegers) {
    struct Row {
        std::string text;
        uint32_t flags;
        std::string octets; // hexadecimal
        const char *message;
    } rows[] = {
        {"0<", 0, "00", nullptr},
        {" 255 ", 0, "00FF", nullptr},
        {"255<", 1, "FF", nullptr},
        {"-1<", 0, "FF", nullptr},
        {"-128<", 0, "FF80", nullptr},
        {"-129<", 0, "FF7F", nullptr},
        {"18446744073709551616<", 1, "010000000000000000", nullptr},
        {"-5<", 1, "", "0076S"},
        {"-<", 0, "", "0155E: Expecting XML value of type 'INTEGER'"},
        {"<", 0, "", "INTEGER"},
        {"12a<", 0, "", "INTEGER"},
        {"12", 0, "", "0081S"},
        {std::string(9864, '9') + "<", 1, "", nullptr},
        {std::string(9865, '9') + "<", 1, "", "0027S: Size too long: 4097"},
    };
    for (const Row &r : rows) {
        unsigned char *value = nullptr;
        uint32_t length = 0;
        const int code = run(r.text, [&](XerInputState *c) { length = _kel_tdx_hint(c, &value, r.flags); });
        if (r.message) {
            EXPECT_NE(message().find(r.message), std::string::npos) << r.text << ": " << message();
            continue;
        }
        ASSERT_EQ(code, 0) << r.text << message();
        EXPECT_EQ(rest().substr(0, 1), r.text.substr(r.text.size() - 1)) << r.text;
        if (r.octets.empty()) {
            EXPECT_EQ(length, 4096u);
            continue;
        }
        EXPECT_EQ(hex(value, length), r.octets) << r.text;
    }
}

constexpr KelNameRow kColourRows[] = {{"blue", 4, 2, 7}, {"green", 5, 2, 9}, {"red", 3, 1, 4}};
constexpr KelNameTable kColours = {3, 0, kColourRows, nullptr};
constexpr KelNameTable kColoursOpenEnded = {3, 99, kColourRows, nullptr};

TEST_F(XerValues, BooleanAndEnumerated) {
    struct Row {
        const KelNameTable *table; // null: BOOLEAN
        const char *text;
        int32_t value;
        const char *message;
    } rows[] = {
        {nullptr, " <true/>", 1, nullptr},
        {nullptr, "<false />", 0, nullptr},
        {nullptr, "<true></true>", 0, "0177E"},
        {nullptr, "true", 0, "0177E"},
        {nullptr, "<yes/>", 0, "0156E"},
        {nullptr, "<truex/>", 0, "0156E"},
        {&kColours, "<green/>", 9, nullptr},
        {&kColours, "<red/>", 2, nullptr}, // a row without the empty kind: its index
        {&kColours, "<blue>", 0, "0177E"},
        {&kColours, "<mauve/>", 0, "does not match any named value: 'mauve'"},
        {&kColoursOpenEnded, "<mauve/>", 99, nullptr},
    };
    for (const Row &r : rows) {
        int32_t value = -1;
        const int code = run(r.text, [&](XerInputState *c) {
            value = r.table ? _kel_tdx_enum(c, r.table) : _kel_tdx_bool(c);
        });
        if (!r.message) {
            EXPECT_EQ(code, 0) << r.text << message();
            EXPECT_EQ(value, r.value) << r.text;
        } else {
            EXPECT_NE(message().find(r.message), std::string::npos) << r.text << ": " << message();
        }
    }
}

// The destination forms, each answering (count, octets) of what it stored.
enum StringForm { kFixed, kVarying, kPvarying, kUnbounded, kPadded };

struct StringRow {
    StringForm form;
    const char *text; // "/" alone: after an empty-element tag
    bool cxer;
    uint32_t bound;   // fixed and padded: the size in octets
    uint32_t flags;
    uint32_t count;
    const char *octets; // hexadecimal; or the message
};

template <class Readers> void check_strings(XerInput &t, const StringRow *rows, size_t n, Readers readers) {
    for (const StringRow *r = rows; r != rows + n; ++r) {
        const bool empty = std::string(r->text) == "/";
        uint32_t count = 0;
        std::string octets;
        const int code = t.run(
            empty ? "" : r->text,
            [&](XerInputState *c) {
                if (empty)
                    c->kind = 2;
                readers(c, *r, count, octets);
            },
            r->cxer);
        const bool accepted = std::string(r->octets).find_first_not_of("0123456789ABCDEF") == std::string::npos;
        if (accepted) {
            EXPECT_EQ(code, 0) << r->text << t.message();
            EXPECT_EQ(count, r->count) << r->text;
            EXPECT_EQ(octets, r->octets) << r->text;
            EXPECT_EQ(t.rest(), empty ? "" : "<") << r->text;
        } else {
            EXPECT_NE(t.message().find(r->octets), std::string::npos) << r->text << ": " << t.message();
        }
    }
}

TEST_F(XerValues, OctetStrings) {
    const StringRow rows[] = {
        {kVarying, "aB 01\n<", false, 10, 0, 2, "AB01"},
        {kVarying, "aB01<", kCxer, 10, 0, 0, "uppercase hexadecimal digits should have been used"},
        {kVarying, "AB 01<", kCxer, 10, 0, 0, "whitespace not allowed"},
        {kVarying, "AB0<", false, 10, 0, 0, "0037E: Value misencoded"},
        {kVarying, "ABx<", false, 10, 0, 0, "0155E: Expecting XML value of type 'OCTET STRING'"},
        {kVarying, "<", kCxer, 10, 0, 0, "empty-element XML tag should have been used to represent empty value"},
        {kVarying, "AB01", false, 10, 0, 0, "0081S"},
        {kVarying, "010203<", false, 2, 1, 0, "0063S: Size constraint violated, length of value = 3"},
        {kVarying, "010203<", false, 2, 3, 0, "0026S"},
        {kVarying, "010203<", false, 2, 5, 2, "0102"},
        {kFixed, "0102<", false, 2, 0, 2, "0102"},
        {kFixed, "01<", false, 2, 0, 0, "0063S"},
        {kFixed, "/", false, 0, 0, 0, ""},
        {kPvarying, "0A0B<", false, 8, 1, 2, "0A0B"},
        {kPvarying, "/", false, 8, 0, 0, ""},
        {kUnbounded, "FF<", false, 0, 0, 1, "FF"},
        {kUnbounded, "/", false, 0, 0, 0, ""},
    };
    check_strings(*this, rows, std::size(rows),
                  [](XerInputState *c, const StringRow &r, uint32_t &count, std::string &octets) {
        unsigned char area[16];
        void *block = nullptr;
        unsigned char *bytes = nullptr;
        switch (r.form) {
        case kFixed: _kel_tdx_octets_fixed(c, area, r.bound); count = r.bound; octets = hex(area, count); break;
        case kVarying: count = _kel_tdx_octets_varying(c, area, r.bound, r.flags); octets = hex(area, count); break;
        case kPvarying:
            count = _kel_tdx_octets_pvarying(c, &block, 4, r.bound, r.flags);
            octets = hex(static_cast<unsigned char *>(block) + 4, count);
            break;
        case kUnbounded:
            count = _kel_tdx_octets_unbounded(c, &bytes, r.bound, r.flags);
            EXPECT_EQ(bytes == nullptr, count == 0);
            octets = hex(bytes, count);
            break;
        case kPadded: break;
        }
    });
}

TEST_F(XerValues, BitStrings) {
    const StringRow rows[] = {
        {kVarying, "0 1 1\t<", false, 16, 0, 3, "60"},
        {kVarying, "0 1 1<", kCxer, 16, 0, 0, "whitespace not allowed"},
        {kVarying, "110<", kCxer, 16, 8, 0, "no trailing zeroes allowed for this BIT STRING type"},
        {kVarying, "110<", kCxer, 16, 0, 3, "C0"},
        {kVarying, "<", kCxer, 16, 0, 0, "empty-element XML tag should have been used"},
        {kVarying, "012<", false, 16, 0, 0, "0155E: Expecting XML value of type 'BIT STRING'"},
        {kVarying, "1100 0<", false, 3, 9, 3, "C0"},
        {kVarying, "1101<", false, 3, 9, 0, "0063S: Size constraint violated, length of value = 4"},
        {kVarying, "1101<", false, 3, 11, 0, "0026S"},
        {kVarying, "111111<", false, 4, 5, 4, "F0"},
        {kVarying, "1", false, 4, 0, 0, "0081S"},
        {kPadded, "101<", false, 1, 0, 3, "A0"},
        {kPadded, "1<", false, 2, 0, 1, "8000"},
        {kPadded, "111111111<", false, 1, 0, 0, "0063S"},
        {kPvarying, "1111111110<", false, 16, 1, 10, "FF80"},
        {kUnbounded, "1111111110<", false, 0, 0, 10, "FF80"},
        {kUnbounded, "/", false, 0, 0, 0, ""},
    };
    check_strings(*this, rows, std::size(rows),
                  [](XerInputState *c, const StringRow &r, uint32_t &count, std::string &octets) {
        unsigned char area[16];
        void *block = nullptr;
        unsigned char *bytes = nullptr;
        switch (r.form) {
        case kPadded: {
            const uint32_t value = _kel_tdx_bits_padded(c, r.bound, r.flags);
            const unsigned char big[] = {static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
            count = r.count; // the integer holds no count
            octets = hex(big + 2 - r.bound, r.bound);
            break;
        }
        case kVarying:
            count = _kel_tdx_bits_varying(c, area, r.bound, r.flags);
            octets = hex(area, (count + 7) / 8);
            break;
        case kPvarying:
            count = _kel_tdx_bits_pvarying(c, &block, 4, r.bound, r.flags);
            octets = hex(static_cast<unsigned char *>(block) + 4, (count + 7) / 8);
            break;
        case kUnbounded:
            count = _kel_tdx_bits_unbounded(c, &bytes, r.bound, r.flags);
            EXPECT_EQ(bytes == nullptr, count == 0);
            octets = hex(bytes, (count + 7) / 8);
            break;
        case kFixed: break;
        }
    });
}

TEST(XerCanonicalTimes, DiagnosticIndices) {
    struct Row {
        bool utc;
        const char *text;
        int diagnostic;
    } rows[] = {
        {false, "19991231235959Z", 0},   {false, "19991231235959.5Z", 0},  {false, "1999123123Z", 17},
        {false, "199912312359.5Z", 17},  {false, "1999123123595xZ", 22},   {false, "19991231240000Z", 18},
        {false, "19991231235959,5Z", 19}, {false, "19991231235959.50Z", 20}, {false, "19991231235959.0Z", 20},
        {false, "19991231235959.Z", 23}, {false, "19991231235959", 16},    {false, "19991231235959+0100", 22},
        {false, "19991231235959z", 16},  {true, "991231235959Z", 0},       {true, "9912312359Z", 17},
        {true, "991231245959Z", 18},     {true, "991231235959", 16},       {true, "991231235959+0100", 16},
        {true, "991231235959ZZ", 22},
    };
    for (const Row &r : rows) {
        const uint32_t n = static_cast<uint32_t>(std::strlen(r.text));
        EXPECT_EQ(r.utc ? _kel_cxerCheckUtime(r.text, n) : _kel_cxerCheckGtime(r.text, n), r.diagnostic) << r.text;
    }
}

} // namespace
