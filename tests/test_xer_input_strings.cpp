// Tests of the XER character string readers: entities, control tags,
// character references and UTF-8 into octets and wide units, the
// characters refused, the canonical refusals, bounds with cuts, and the
// NUL-terminated and blank-padded forms.
#include "test_xer_input.h"

namespace {

using xer_test::XerInput;
using XerStrings = XerInput;

constexpr bool kCxer = true;

enum Form { kVarying, kUnbounded, kPvarying, kNullterm, kChar2, kChar4 };

TEST_F(XerStrings, Readers) {
    struct Row {
        Form form;
        std::string text;
        bool cxer;
        uint32_t bound;
        uint32_t flags;
        std::u32string value; // octets or units as read
        const char *message;  // null: accepted, the cursor at the close tag
    } rows[] = {
        {kUnbounded, "a&lt;b&gt;&amp;c</x>", false, 0, 32, U"a<b>&c", nullptr},
        {kUnbounded, "x<soh/>y<vt/></x>", false, 0, 0, U"x\x01y\x0B", nullptr},
        {kUnbounded, "&#x10FFFF;&#233;</x>", false, 0, 32, U"\xF4\x8F\xBF\xBF\xC3\xA9", nullptr},
        {kUnbounded, "\xC3\xA9</x>", false, 0, 32, U"\xC3\xA9", nullptr},
        {kUnbounded, "\xC3\xA9&#233;</x>", false, 0, 32 | 64, U"\xE9\xE9", nullptr},
        {kUnbounded, "</x>", false, 0, 0, U"", nullptr},
        {kUnbounded, "<zzz/></x>", false, 0, 0, U"", "0171E"},
        {kUnbounded, "<soh></x>", false, 0, 0, U"", "0171E"},
        {kUnbounded, "&quot;</x>", false, 0, 0, U"", "0171E"},
        {kUnbounded, "&#;</x>", false, 0, 0, U"", "0171E"},
        {kUnbounded, "a>b</x>", false, 0, 0, U"", "0175E"},
        {kUnbounded, "&#62;</x>", false, 0, 0, U"", "0175E"},
        {kUnbounded, "&#xD800;</x>", false, 0, 32, U"", "0175E"},
        {kUnbounded, "&#xFFFE;</x>", false, 0, 32, U"", "0175E"},
        {kUnbounded, "&#x110000;</x>", false, 0, 32, U"", "0175E"},
        {kUnbounded, "&#256;</x>", false, 0, 32 | 64, U"", "0064S"},
        {kUnbounded, "\xC3\xA9</x>", false, 0, 0, U"", "0175E"},
        {kUnbounded, "\x01</x>", false, 0, 0, U"", "0175E"},
        {kUnbounded, "&#65;</x>", kCxer, 0, 0, U"", "invalid escape sequence"},
        {kUnbounded, "</x>", kCxer, 0, 0, U"", "empty-element XML tag should have been used"},
        {kUnbounded, "ab", false, 0, 0, U"", "0081S"},
        {kUnbounded, "a\xC3", false, 0, 32, U"", "0081S"},
        {kVarying, "abcd</x>", false, 3, 1, U"", "0063S: Size constraint violated, length of value = 4"},
        {kVarying, "abcd</x>", false, 3, 5, U"abc", nullptr},
        {kVarying, "&lt;&lt;&lt;</x>", false, 2, 5, U"<<", nullptr},
        {kVarying, "\xC3\xA9\xC3\xA9</x>", false, 1, 32 | 5, U"\xC3\xA9", nullptr},
        {kVarying, "\xC3\xA9\xC3\xA9</x>", false, 3, 32 | 0x100 | 1, U"", "0063S"},
        {kPvarying, "abc</x>", false, 8, 1, U"abc", nullptr},
        {kNullterm, "ab</x>", false, 4, 0, U"ab", nullptr},
        {kNullterm, "abcd</x>", false, 4, 0, U"", "0063S: Size constraint violated, length of value = 4"},
        {kNullterm, "abcd</x>", false, 4, 4, U"abc", nullptr},
        {kNullterm, "ab<nul/></x>", false, 8, 0, U"", "0046E"},
        {kNullterm, "ab<nul/></x>", false, 4, 16, std::u32string(U"ab\0 ", 4), nullptr},
        {kNullterm, "ab</x>", false, 4, 16, U"ab  ", nullptr},
        {kNullterm, "\xC3\xA9\xC3\xA9</x>", false, 6, 16 | 32 | 4, U"\xC3\xA9    ", nullptr},
        {kNullterm, "\xC3\xA9\xC3\xA9</x>", false, 4, 32 | 4, U"\xC3\xA9", nullptr},
        {kNullterm, "</x>", false, 3, 16, U"   ", nullptr},
        {kChar2, "a\xC3\xA9&#x263A;</x>", false, 0, 0, U"a\u00E9\u263A", nullptr},
        {kChar2, "&#x10FFFF;</x>", false, 0, 0, U"", "0175E"},
        {kChar2, "abc</x>", false, 2, 1, U"", "0063S"},
        {kChar2, "</x>", false, 0, 0, U"", nullptr},
        {kChar4, "\xF0\x9F\x98\x80&#x1F600;z</x>", false, 0, 0, U"\U0001F600\U0001F600z", nullptr},
        {kChar4, "\xC3(</x>", false, 0, 0, U"", "0120S"},
    };
    for (const Row &r : rows) {
        std::u32string value;
        uint32_t length = 0;
        const int code = run(
            r.text,
            [&](XerInputState *c) {
                unsigned char area[16];
                unsigned char *bytes = area;
                uint16_t *units2 = nullptr;
                uint32_t *units4 = nullptr;
                switch (r.form) {
                case kVarying: length = _kel_tdx_char1_varying(c, area, r.bound, r.flags); break;
                case kUnbounded: length = _kel_tdx_char1_unbounded(c, &bytes, r.bound, r.flags); break;
                case kPvarying: {
                    void *block = nullptr;
                    length = _kel_tdx_char1_pvarying(c, &block, 2, r.bound, r.flags);
                    bytes = static_cast<unsigned char *>(block) + 2;
                    break;
                }
                case kNullterm:
                    std::memset(area, 'z', sizeof area);
                    _kel_tdx_char1_nullterm(c, area, r.bound, r.flags);
                    length = (r.flags & 16) ? r.bound
                                            : static_cast<uint32_t>(std::strlen(reinterpret_cast<char *>(area)));
                    break;
                case kChar2: length = _kel_tdx_char2(c, &units2, r.bound, r.flags); break;
                case kChar4: length = _kel_tdx_char4(c, &units4, r.bound, r.flags); break;
                }
                for (uint32_t i = 0; i < length; ++i)
                    value += r.form == kChar2 ? units2[i] : r.form == kChar4 ? units4[i] : bytes[i];
            },
            r.cxer);
        if (r.message) {
            EXPECT_NE(message().find(r.message), std::string::npos) << r.text << ": " << message();
            continue;
        }
        EXPECT_EQ(code, 0) << r.text << message();
        EXPECT_TRUE(value == r.value) << r.text;
        EXPECT_EQ(rest(), "</x>") << r.text;
    }
}

} // namespace
