// test_ber_hostile.cpp - hostile BER input: lengths and tags past every
// limit, deep nesting, floods of empty elements, malformed bit strings,
// object identifiers, REALs and UTF-8.  Each input sits in a heap block of
// exactly its size, so that a read past it is an overread the sanitizer
// sees; each answer is the expected return code and message, and the clean-up
// of the call leaves nothing allocated.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench_files.h"
#include "codefiles.h"
#include "counting_alloc.h"
#include "harness.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

using Bytes = std::vector<uint8_t>;
using kel_test::CountingAllocator;

const auto hex = kel_test::from_hex;

// Concatenates `times` copies of `part` behind `out`.
Bytes &append(Bytes &out, const Bytes &part, size_t times = 1) {
    for (size_t i = 0; i < times; ++i)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

// A heap copy of exactly the input's size.
std::unique_ptr<unsigned char[]> exact_copy(const Bytes &input) {
    std::unique_ptr<unsigned char[]> copy(new unsigned char[input.size()]);
    std::memcpy(copy.get(), input.data(), input.size());
    return copy;
}

constexpr size_t kDeep = 100000;
constexpr size_t kFlood = 1000000;

// `depth` constructed headers of the indefinite form, each closed.
Bytes nested_indefinite(const char *header, size_t depth) {
    Bytes out;
    return append(append(out, hex(header), depth), hex("0000"), depth);
}

// ---------------------------------------------------------------------------
// Primitives called directly, as generated code calls them.

using Entry = int64_t (*)(KelGlobal *, unsigned char **, int32_t *);

int32_t header(KelGlobal *w, unsigned char **p, int32_t *r) {
    _kel_dec_tag(w, p, r);
    return _kel_dec_length(w, p, r);
}

const Entry kTag = [](KelGlobal *w, unsigned char **p, int32_t *r) -> int64_t { return _kel_dec_tag(w, p, r); };
const Entry kLength = [](KelGlobal *w, unsigned char **p, int32_t *r) -> int64_t {
    return _kel_dec_length(w, p, r);
};
// The header of an OCTET STRING as a generated decoder expects it.
const Entry kOctetsHeader = [](KelGlobal *w, unsigned char **p, int32_t *r) -> int64_t {
    return _kel_dec_tag_length(w, p, r, 0x04);
};
// Steps over the value; the result is the input left behind it.
const Entry kSkip = [](KelGlobal *w, unsigned char **p, int32_t *r) -> int64_t {
    _kel_skip_past_item(w, p, r, header(w, p, r));
    return *r;
};
const Entry kCount = [](KelGlobal *w, unsigned char **p, int32_t *r) -> int64_t {
    return _kel_count_setof_items(w, p, r, header(w, p, r));
};
const Entry kOidArray = [](KelGlobal *w, unsigned char **p, int32_t *r) -> int64_t {
    alignas(4) uint16_t array[2 + 2 * 16];
    return _kel_dec_aiobjid_ia(w, p, r, header(w, p, r), array, 16);
};
const Entry kOidLinked = [](KelGlobal *w, unsigned char **p, int32_t *r) -> int64_t {
    void *first = nullptr;
    return _kel_dec_liobjid(w, p, r, header(w, p, r), &first, 0);
};
const Entry kReal = [](KelGlobal *w, unsigned char **p, int32_t *r) -> int64_t {
    double value = 0;
    _kel_dec_real(w, p, r, header(w, p, r), &value);
    return static_cast<int64_t>(value);
};
const Entry kRealText = [](KelGlobal *w, unsigned char **p, int32_t *r) -> int64_t {
    char *text = nullptr;
    _kel_dec_creal(w, p, r, header(w, p, r), &text);
    return 0;
};
// UTF-8 into BMP and Universal memory; the result is the first character.
const Entry kUtf8Bmp = [](KelGlobal *w, unsigned char **p, int32_t *r) -> int64_t {
    void *value = nullptr;
    const int32_t n = _kel_dec_utf8bmpstr_ia(w, p, r, header(w, p, r), &value, 0);
    return n == 1 ? *static_cast<uint16_t *>(value) : -n;
};
const Entry kUtf8Universal = [](KelGlobal *w, unsigned char **p, int32_t *r) -> int64_t {
    void *value = nullptr;
    const int32_t n = _kel_dec_utf8unistr_ia(w, p, r, header(w, p, r), &value, 0);
    return n == 1 ? *static_cast<uint32_t *>(value) : -n;
};

struct PrimitiveCase {
    const char *what;
    Bytes input;
    int rule;
    Entry entry;
    int code;            // 0: success with `result`
    const char *message; // number of the message on failure
    int64_t result;
};

TEST(BerHostile, PrimitivesRefuseOrSurviveHostileInput) {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    CountingAllocator::install(world);
    const long baseline = CountingAllocator::live;

    Bytes flood = hex("3084001E8480"), floodIndefinite = hex("3080");
    append(flood, hex("0500"), kFlood);
    append(append(floodIndefinite, hex("0500"), kFlood), hex("0000"));
    Bytes nested = hex("3080");
    append(nested, nested_indefinite("3080", kDeep));
    append(nested, hex("0000"));

    const PrimitiveCase cases[] = {
        // Tags and lengths.
        {"tag number 2^32", hex("1F9080808000"), KEL_BER, kTag, 10, "0019E", 0},
        {"tag number 2^32 where a tag is expected", hex("1F908080800000"), KEL_BER, kOctetsHeader, 10, "0019E", 0},
        {"length octets past 32 bits", hex("850100000000"), KEL_BER, kLength, 10, "0026S", 0},
        {"length octets past 32 bits, tag match", hex("04850100000000"), KEL_BER, kOctetsHeader, 10, "0026S", 0},
        {"zero-padded length of 2^32 - 1", hex("048800000000FFFFFFFF"), KEL_BER, kOctetsHeader, 10, "0026S", 0},
        {"length one beyond the input", hex("8300000501020304"), KEL_BER, kLength, 4, "0081S", 0},
        {"length 2^31 beyond the input", hex("84800000024142"), KEL_BER, kLength, 4, "0081S", 0},
        {"length 2^31 beyond the input, tag match", hex("0484800000024142"), KEL_BER, kOctetsHeader, 10, "0026S", 0},
        // Skipping and counting.
        {"100000 nested indefinite values skipped", nested, KEL_BER, kSkip, 0, "", 0},
        {"100000 nested indefinite values are one element", nested, KEL_BER, kCount, 0, "", 1},
        {"nesting without its end-of-contents", hex("308030800500"), KEL_BER, kSkip, 4, "0081S", 0},
        {"end-of-contents with a length", hex("3080000100"), KEL_BER, kSkip, 5, "0028E", 0},
        {"a million empty elements", flood, KEL_BER, kCount, 0, "", kFlood},
        {"a million empty elements, indefinite", floodIndefinite, KEL_BER, kCount, 0, "", kFlood},
        {"elements overrunning their SEQUENCE OF", hex("300305000500"), KEL_BER, kCount, 5, "0031S", 0},
        // Object identifiers.
        {"arc past 64 bits", hex("060B2AFFFFFFFFFFFFFFFFFF7F"), KEL_BER, kOidArray, 10, "0025E", 0},
        {"arc past 64 bits, linked nodes", hex("060D2A0102FFFFFFFFFFFFFFFFFF7F"), KEL_BER, kOidLinked, 10, "0025E", 0},
        {"last octet with the continuation bit", hex("06032A0385"), KEL_BER, kOidArray, 5, "0037E", 0},
        {"last octet with the continuation bit, linked", hex("06032A0385"), KEL_BER, kOidLinked, 5, "0037E", 0},
        // REAL.
        {"reserved base", hex("0903B00101"), KEL_BER, kReal, 5, "0044E", 0},
        {"exponent length past the contents", hex("09038305 0101"), KEL_BER, kReal, 10, "0021E", 0},
        {"two exponent octets, none there", hex("090181"), KEL_BER, kReal, 5, "0037E", 0},
        {"NR3 without digits", hex("0903032E45"), KEL_BER, kReal, 5, "0038E", 0},
        {"NR3 without digits, as text", hex("0903032E45"), KEL_BER, kRealText, 5, "0038E", 0},
        {"NR3 without exponent digits", hex("090403312E45"), KEL_DER, kReal, 5, "0039E", 0},
        // UTF-8 into BMP and Universal forms: overlong forms and surrogates
        // pass, broken sequences don't.
        {"overlong NUL", hex("0C02C080"), KEL_BER, kUtf8Bmp, 0, "", 0},
        {"overlong three-octet NUL", hex("0C03E08080"), KEL_BER, kUtf8Universal, 0, "", 0},
        {"surrogate", hex("0C03EDA080"), KEL_BER, kUtf8Bmp, 0, "", 0xD800},
        {"surrogate, Universal", hex("0C03EDBFBF"), KEL_BER, kUtf8Universal, 0, "", 0xDFFF},
        {"truncated sequence", hex("0C02E282"), KEL_BER, kUtf8Bmp, 5, "0120S", 0},
        {"truncated sequence, Universal", hex("0C03F09F98"), KEL_BER, kUtf8Universal, 5, "0120S", 0},
        {"continuation octet missing", hex("0C02C341"), KEL_BER, kUtf8Universal, 5, "0120S", 0},
        {"lead octet FF", hex("0C01FF"), KEL_BER, kUtf8Bmp, 5, "0120S", 0},
        {"lone continuation octet", hex("0C024180"), KEL_BER, kUtf8Universal, 5, "0120S", 0},
        {"character beyond the BMP", hex("0C04F09F9880"), KEL_BER, kUtf8Bmp, 10, "0027S", 0},
        {"character beyond the BMP, Universal", hex("0C04F09F9880"), KEL_BER, kUtf8Universal, 0, "", 0x1F600},
    };
    for (const PrimitiveCase &c : cases) {
        SCOPED_TRACE(c.what);
        auto input = exact_copy(c.input);
        unsigned char *pos = input.get();
        int32_t rem = static_cast<int32_t>(c.input.size());
        int64_t result = -1;
        world->encRules = c.rule;
        world->outQueueTail = &world->outQueue;
        const int code = kel_test::in_frame(world, kel::kPhaseDecoder, [&] { result = c.entry(world, &pos, &rem); });
        EXPECT_EQ(code, c.code) << world->errMsg;
        if (c.code == 0)
            EXPECT_EQ(result, c.result);
        else
            EXPECT_NE(std::strstr(world->errMsg, c.message), nullptr) << world->errMsg;
        _kel_freeMem(world, world->freeMem);
        _kel_freetempMem(world);
        EXPECT_EQ(CountingAllocator::live, baseline);
    }
}

// ---------------------------------------------------------------------------
// Whole decodes through the table-driven code file, with the driver's clean-up.

struct CodefileCase {
    const char *what;
    const char *type;
    Bytes input;
    int rule;
    int nestingLimit; // -1 keeps the default
    int code;
    const char *message;
};

TEST(BerHostile, DecodersAnswerHostileInputWithoutLeaks) {
    KelGlobal world{};
    ASSERT_EQ(kelinit(&world, const_cast<KelControlTable *>(&kel_typeszoo_codefile.control)), 0);
    CountingAllocator::install(&world);
    const long baseline = CountingAllocator::live;
    const int defaultLimit = kelGetConstructedNestingLimit(&world);

    // Eleven constructed levels of definite length around one segment.
    Bytes eleven = hex("0401AA");
    for (int level = 0; level < 11; ++level)
        eleven.insert(eleven.begin(), {0x24, static_cast<uint8_t>(eleven.size())});

    const CodefileCase cases[] = {
        {"constructed string nested 11 deep", "Octets", eleven, KEL_BER, -1, 108, "0184E"},
        {"100000 nested segments, default limit", "Octets", nested_indefinite("2480", kDeep), KEL_BER, -1, 108, "0184E"},
        {"indefinite form under DER", "Octets", hex("2480040141 0000"), KEL_DER, -1, 5, "0117S"},
        {"segment overrunning its parent", "Octets", hex("240304024142"), KEL_BER, -1, 5, "0031S"},
        {"tag number 2^32", "Octets", hex("1F908080800000"), KEL_BER, -1, 10, "0019E"},
        {"length octets past 32 bits", "Octets", hex("04850100000000"), KEL_CER, -1, 10, "0026S"},
        {"length one beyond the input", "Octets", hex("04034142"), KEL_BER, -1, 4, "0081S"},
        {"length 2^31 beyond the input", "Octets", hex("048480000001 41"), KEL_DER, -1, 10, "0026S"},
        {"segment length one beyond the input", "Octets", hex("2480 0403 4142"), KEL_CER, -1, 4, "0081S"},
        {"unused-bits octet 8", "Bits", hex("030208FF"), KEL_BER, -1, 5, "0035E"},
        {"unused bits in an empty string", "Bits", hex("030105"), KEL_DER, -1, 5, "0036E"},
        {"unused bits in an empty segment", "Bits", hex("2380 030103 0000"), KEL_BER, -1, 5, "0036E"},
        {"unused bits in a segment not the last", "Bits", hex("2380 030203F8 030200FF 0000"), KEL_CER, -1, 5, "0036E"},
        {"unused-bits octet 8 in a segment", "Bits", hex("2380 030208FF 0000"), KEL_BER, -1, 5, "0035E"},
    };
    for (const CodefileCase &c : cases) {
        SCOPED_TRACE(c.what);
        kelSetEncodingRules(&world, c.rule);
        kelSetConstructedNestingLimit(&world, c.nestingLimit < 0 ? defaultLimit : c.nestingLimit);
        auto input = exact_copy(c.input);
        KelBuf buf{static_cast<uint32_t>(c.input.size()), input.get()};
        int pdu = kel_codefile_pdu(&kel_typeszoo_codefile, c.type);
        void *value = nullptr;
        const int code = kelDecode(&world, &pdu, &buf, &value);
        EXPECT_EQ(code, c.code) << kelGetErrMsg(&world);
        if (code == 0) {
            EXPECT_EQ(static_cast<KelUnboundedString *>(value)->length, 0u);
            kelFreePDU(&world, pdu, value);
        } else {
            EXPECT_NE(std::strstr(kelGetErrMsg(&world), c.message), nullptr) << kelGetErrMsg(&world);
            EXPECT_EQ(value, nullptr);
        }
        EXPECT_EQ(CountingAllocator::live, baseline);
    }
    kelterm(&world);
}

// Without a nesting limit, a constructed string nested 100000 deep is walked
// to its end, closed or not, with no exhaustion of the stack.  Answers the
// number of decodes that went wrong.
int decode_deep_strings_without_limit() {
    KelGlobal world{};
    kelinit(&world, const_cast<KelControlTable *>(&kel_typeszoo_codefile.control));
    kelSetConstructedNestingLimit(&world, 0);
    Bytes open;
    append(open, hex("2480"), kDeep);
    const struct {
        Bytes octets;
        int code;
    } cases[] = {{nested_indefinite("2480", kDeep), 0}, {open, 4}};
    int failures = 0;
    for (const auto &c : cases) {
        auto input = exact_copy(c.octets);
        KelBuf buf{static_cast<uint32_t>(c.octets.size()), input.get()};
        int pdu = kel_codefile_pdu(&kel_typeszoo_codefile, "Octets");
        void *value = nullptr;
        failures += kelDecode(&world, &pdu, &buf, &value) != c.code;
        if (value)
            kelFreePDU(&world, pdu, value);
    }
    kelterm(&world);
    return failures;
}

// In a child process, so that an overflow fails this test alone.
TEST(BerHostileDeathTest, DeepConstructedStringWithoutLimit) {
    EXPECT_EXIT(std::exit(decode_deep_strings_without_limit()), ::testing::ExitedWithCode(0), "");
}

} // namespace
