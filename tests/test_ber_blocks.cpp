// Tests of SET OF ordering blocks (backward and forward writers, caller's
// buffer, count mode, failures inside nested blocks), of skipping and counting
// items, ANY, open types and deferred fields, and of the sequence helpers and
// debug hooks.
#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "counting_alloc.h"
#include "fail_each.h"
#include "harness.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

using kel_test::CountingAllocator;
using kel_test::in_frame;
using Octets = std::vector<uint8_t>;

struct BerBlocks : ::testing::Test {
    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
    unsigned char *pos = nullptr;
    int32_t rem = 0;
    long liveAtStart = 0;

    void SetUp() override {
        CountingAllocator::install(world);
        CountingAllocator::reset();
        liveAtStart = CountingAllocator::live;
        world->outQueueTail = &world->outQueue;
    }
    long live() const { return CountingAllocator::live - liveAtStart; }
    bool forward() const { return world->encRules == KEL_CXER || world->encRules == KEL_COER; }

    // One element, written the way each writer direction writes.
    void element(const Octets &e) {
        if (forward())
            _kel_append(world, e.data(), static_cast<uint32_t>(e.size() * 8), 0);
        else
            _kel_write_bytes_d(world, &pos, &rem, e.data(), static_cast<int32_t>(e.size()));
    }
    void set_of(const std::vector<Octets> &elements, uint8_t padding = 0) {
        unsigned char **p = forward() ? &world->outPos : &pos;
        int32_t *r = forward() ? &world->outRemaining : &rem;
        _kel_beginBlock(world, static_cast<uint32_t>(elements.size()), p, r);
        for (const Octets &e : elements) {
            _kel_nextItem(world, r);
            element(e);
        }
        _kel_endBlock(world, p, r, padding);
    }
    // Runs `body` in library memory under `rule` and returns the joined output.
    template <class Body> Octets encode(int rule, Body body) {
        world->encRules = rule;
        pos = world->outPos = nullptr;
        rem = world->outRemaining = 0;
        EXPECT_EQ(in_frame(world, kel::kPhaseEncoder, body), 0) << world->errMsg;
        uint32_t length = 0;
        unsigned char *value = nullptr;
        in_frame(world, kel::kPhaseEncoder, [&] {
            if (forward())
                _kel_set_outmem_p(world, &length, &value);
            else
                _kel_set_outmem_d(world, static_cast<uint32_t>(rem), &length, &value);
        });
        Octets out(value, value + length);
        kelFreeBuf(world, value);
        return out;
    }
};

Octets concat(std::vector<Octets> parts) {
    Octets all;
    for (const Octets &p : parts)
        all.insert(all.end(), p.begin(), p.end());
    return all;
}

TEST_F(BerBlocks, SetOfIsSortedUnderDerAndForwardWriters) {
    std::mt19937 random(7);
    std::vector<Octets> many(70);
    for (Octets &e : many)
        e = Octets(1 + random() % 5, static_cast<uint8_t>(random() % 3));
    many.push_back(Octets(1500, 0x01)); // an element over two blocks
    std::vector<Octets> manySorted = many;
    std::sort(manySorted.begin(), manySorted.end());

    struct Case { std::vector<Octets> elements; uint8_t padding; std::vector<Octets> sorted; } cases[] = {
        {{{0x04, 0x02, 0x02, 0x01}, {0x04, 0x01, 0x02}, {0x04, 0x01, 0x01}},
         0,
         {{0x04, 0x01, 0x01}, {0x04, 0x01, 0x02}, {0x04, 0x02, 0x02, 0x01}}},
        {{{0xAA, 0xBB, 0xCC}, {0xAA}, {0xAA, 0xBB}}, 0, {{0xAA}, {0xAA, 0xBB}, {0xAA, 0xBB, 0xCC}}},
        {{{0x01, 0x00}, {0x80, 0x01}}, 0x80, {{0x80, 0x01}, {0x01, 0x00}}}, {{}, 0, {}}, {many, 0, manySorted},
    };
    for (int rule : {KEL_DER, KEL_COER}) {
        for (const Case &c : cases) {
            Octets out = encode(rule, [&] { set_of(c.elements, c.padding); });
            EXPECT_EQ(out, concat(c.sorted)) << "rule " << rule << ", " << c.elements.size() << " elements";
            EXPECT_EQ(world->blockFrames, nullptr);
            EXPECT_EQ(live(), 0);
        }
    }
    // BER keeps the order it was given.
    EXPECT_EQ(encode(KEL_BER, [&] { set_of(cases[0].elements); }), concat({cases[0].elements[2], cases[0].elements[1], cases[0].elements[0]}));
}

TEST_F(BerBlocks, CountModeDoesNothing) {
    world->encodingFlags |= DETERMINE_ENC_LENGTH;
    world->encRules = KEL_DER;
    world->encLength = 0;
    ASSERT_EQ(in_frame(world, kel::kPhaseEncoder, [&] { set_of({{1, 2, 3}, {0}, {9, 9}}); }), 0);
    EXPECT_EQ(world->encLength, 6u);
    EXPECT_EQ(world->blockFrames, nullptr);
    EXPECT_EQ(CountingAllocator::calls, 0);
}

TEST_F(BerBlocks, CallersBufferTakesSortedItemsOrOverflowsAtTheEnd) {
    const std::vector<Octets> elements = {{0x04, 0x01, 0x02}, {0x04, 0x01, 0x01}};
    for (int32_t size : {6, 5}) {
        uint8_t area[16];
        std::memset(area, 0xEE, sizeof area);
        uint8_t *buffer = area + 8; // guard octets below it
        world->encRules = KEL_DER;
        world->userBuffer = 1;
        world->memTotal = static_cast<uint32_t>(size);
        pos = buffer + size;
        rem = size;
        int code = in_frame(world, kel::kPhaseEncoder, [&] { set_of(elements); });
        EXPECT_EQ(world->userBuffer, 1);
        if (size == 6) {
            EXPECT_EQ(code, 0);
            EXPECT_EQ(Octets(pos, buffer + 6), concat({elements[1], elements[0]}));
        } else {
            EXPECT_EQ(code, 1) << world->errMsg;
            EXPECT_NE(std::strstr(world->errMsg, "total buffer size: 5"), nullptr) << world->errMsg;
            _kelFreeEncMemory(world);
        }
        EXPECT_EQ(Octets(area, area + 8), Octets(8, 0xEE));
        EXPECT_EQ(world->blockFrames, nullptr);
        EXPECT_EQ(live(), 0);
    }
}

TEST_F(BerBlocks, FailureInsideNestedBlocksReleasesEverything) {
    // SET OF { SET OF {...}, SET OF {...}, SET OF {one} }, failing at every
    // allocation in turn; the block of one element is written in place.
    auto nested = [&] {
        _kel_beginBlock(world, 3, &pos, &rem);
        // Plain arrays: a failure jumps over this body.
        static const uint8_t three[] = {3, 1, 2}, one[] = {0};
        for (int outer = 0; outer < 3; ++outer) {
            const uint8_t *inners = outer < 2 ? three : one;
            const uint32_t count = outer < 2 ? 3 : 1;
            _kel_nextItem(world, &rem);
            _kel_beginBlock(world, count, &pos, &rem);
            for (uint32_t i = 0; i < count; ++i) {
                _kel_nextItem(world, &rem);
                uint8_t e[2] = {static_cast<uint8_t>(outer % 2), inners[i]};
                _kel_write_bytes_d(world, &pos, &rem, e, 2);
            }
            _kel_endBlock(world, &pos, &rem, 0);
        }
        _kel_endBlock(world, &pos, &rem, 0);
    };
    world->encRules = KEL_DER;
    Octets out;
    kel_test::fail_each_allocation(world, [&] {
        world->outQueueTail = &world->outQueue;
        pos = nullptr;
        rem = 0;
        uint32_t length = 0;
        unsigned char *value = nullptr;
        const int code = in_frame(world, kel::kPhaseEncoder, [&] {
            nested();
            _kel_set_outmem_d(world, static_cast<uint32_t>(rem), &length, &value);
        });
        if (code) {
            _kelFreeEncMemory(world);
        } else {
            out.assign(value, value + length);
            kelFreeBuf(world, value);
        }
        EXPECT_EQ(world->blockFrames, nullptr);
        return code;
    });
    EXPECT_EQ(out, Octets({0, 0, 0, 1, 0, 2, 0, 3, 1, 1, 1, 2, 1, 3}));
}

struct BerItems : BerBlocks {
    uint8_t *in = nullptr;
    int32_t inRem = 0;
    void read_from(const Octets &input) {
        in = const_cast<uint8_t *>(input.data());
        inRem = static_cast<int32_t>(input.size());
    }
    template <class Body> int decode(Body body) { return in_frame(world, kel::kPhaseDecoder, body); }
};

TEST_F(BerItems, SkipAndCountStopWhereTheyShould) {
    struct Case {
        Octets input;
        int32_t length;
        int code;      // return code of the skip
        int32_t after; // octets left after the skip
        int32_t count; // elements, or -code
    } cases[] = {
        // contents of an indefinite value that holds another one
        {{0x30, 0x80, 0x04, 0x01, 0xAA, 0x00, 0x00, 0x00, 0x00, 0x05, 0x00}, -1, 0, 2, 1},
        {{0x04, 0x01, 0xAA, 0x04, 0x00, 0x30, 0x80, 0x00, 0x00}, 9, 0, 0, 3},
        {{0x04, 0x03, 0xAA, 0xBB, 0xCC}, 2, 0, 3, -5},  // element overruns the contents
        {{0x00, 0x01, 0x00}, -1, 5, 0, 0},              // end-of-contents with a length
        {{0x30, 0x80, 0x04, 0x05, 0xAA}, -1, 4, 0, -4}, // length past the input
        {{0x30, 0x80, 0x04, 0x01, 0xAA}, -1, 4, 0, -4}, // no end-of-contents
        {{0xAA, 0xBB}, 3, 4, 0, -4},
    };
    for (const Case &c : cases) {
        read_from(c.input);
        int32_t count = 0;
        int code = decode([&] { count = _kel_count_setof_items(world, &in, &inRem, c.length); });
        EXPECT_EQ(code ? -code : count, c.count) << world->errMsg;
        EXPECT_EQ(in, c.input.data()); // counting moves nothing
        code = decode([&] { _kel_skip_past_item(world, &in, &inRem, c.length); });
        EXPECT_EQ(code, c.code) << world->errMsg;
        if (code == 0) {
            EXPECT_EQ(inRem, c.after);
        }
    }
    // Deep nesting: iterative and linear.
    constexpr int kDepth = 100000;
    Octets deep;
    for (int i = 1; i < kDepth; ++i)
        deep.insert(deep.end(), {0x30, 0x80});
    deep.insert(deep.end(), 2 * kDepth, 0x00);
    read_from(deep);
    EXPECT_EQ(decode([&] { _kel_skip_past_item(world, &in, &inRem, -1); }), 0);
    EXPECT_EQ(inRem, 0);
}

TEST_F(BerItems, AnyAndOpenTypes) {
    const Octets endOfContents = {0x00, 0x00};
    const Octets item = {0x30, 0x03, 0x02, 0x01, 0x05, 0xFF};
    void *any = nullptr;
    KelOpenType open{};
    read_from(endOfContents);
    ASSERT_EQ(decode([&] { EXPECT_EQ(_kel_dec_uany(world, &in, &inRem, -1, &any), 0); }), 0);
    EXPECT_EQ(any, nullptr);
    EXPECT_EQ(inRem, 2); // the enclosing value reads its end-of-contents
    world->decodingFlags = STRICT_ENCODING_DECODING_RULES;
    EXPECT_EQ(decode([&] { _kel_dec_uany(world, &in, &inRem, -1, &any); }), 5);
    EXPECT_NE(std::strstr(world->errMsg, "0089E"), nullptr);
    world->decodingFlags = AUTOMATIC_ENCDEC;
    EXPECT_EQ(decode([&] { _kel_dec_opentype(world, &in, &inRem, 0, &open); }), 5);
    EXPECT_NE(std::strstr(world->errMsg, "0090E"), nullptr);
    world->decodingFlags = 0;

    // End-of-contents octets are never an item, whatever the enclosing
    // length: 00 80 ... inside a definite value would make its CER
    // re-encoding unreadable.
    const Octets badEnd = {0x00, 0x01, 0xAA};
    const Octets eocTagged = {0x00, 0x80, 0x00, 0x00};
    for (int32_t enclosing : {-1, 4}) {
        read_from(badEnd);
        EXPECT_EQ(decode([&] { _kel_dec_uany(world, &in, &inRem, enclosing, &any); }), 5);
        EXPECT_NE(std::strstr(world->errMsg, "0028E"), nullptr);
        read_from(eocTagged);
        EXPECT_EQ(decode([&] { _kel_dec_opentype(world, &in, &inRem, enclosing, &open); }), 5);
        EXPECT_NE(std::strstr(world->errMsg, "0028E"), nullptr);
    }

    read_from(item);
    ASSERT_EQ(decode([&] { EXPECT_EQ(_kel_dec_opentype(world, &in, &inRem, -1, &open), 5); }), 0);
    Octets taken(static_cast<uint8_t *>(open.encoded), static_cast<uint8_t *>(open.encoded) + open.length);
    EXPECT_EQ(taken, Octets(item.begin(), item.end() - 1));
    EXPECT_EQ(inRem, 1);
    _kel_freeMem(world, world->freeMem); // the decoded item
    open.encoded = taken.data();
    EXPECT_EQ(encode(KEL_DER, [&] { _kel_encd_opentype(world, &pos, &rem, &open); }), taken);
    EXPECT_EQ(in_frame(world, kel::kPhaseEncoder, [&] { _kel_encd_uany(world, &pos, &rem, item.data(), 0); }), 5);

    const Octets overrun = {0x30, 0x05, 0x02, 0x01};
    read_from(overrun);
    EXPECT_EQ(decode([&] { _kel_dec_uany(world, &in, &inRem, -1, &any); }), 4);
    EXPECT_EQ(live(), 0);
}

TEST_F(BerItems, DeferredFieldKeepsItsHeader) {
    struct Case {
        Octets input; // after the header that generated code read
        int32_t length;
        uint16_t tag;
        Octets record;
        int32_t left;     // input octets not taken
        Octets reencoded; // what the encoder writes from the record
    } cases[] = {
        {{0x04, 0x01, 0xAA, 0x04, 0x01, 0xBB, 0x00, 0x00}, -1, KEL_CLASS_CONTEXT | 0,
         {0xA0, 0x80, 0x04, 0x01, 0xAA, 0x04, 0x01, 0xBB, 0x00, 0x00}, 2,
         {0xA0, 0x80, 0x04, 0x01, 0xAA, 0x04, 0x01, 0xBB}},
        {{0x04, 0x01, 0xAA, 0x05}, 3, KEL_CLASS_CONTEXT | 40,
         {0xBF, 0x28, 0x03, 0x04, 0x01, 0xAA}, 1, {0xBF, 0x28, 0x03, 0x04, 0x01, 0xAA}},
        {{0x30, 0x80, 0x05, 0x00, 0x00, 0x00, 0x01}, 9, 0, {0x30, 0x80, 0x05, 0x00, 0x00, 0x00}, 1,
         {0x30, 0x80, 0x05, 0x00}},
    };
    for (const Case &c : cases) {
        read_from(c.input);
        KelDeferred deferred{};
        ASSERT_EQ(decode([&] { _kel_dec_defer(world, &in, &inRem, c.length, &deferred, c.tag, 1); }), 0)
            << world->errMsg;
        auto *bytes = static_cast<uint8_t *>(deferred.encoded);
        Octets record(bytes, bytes + deferred.length);
        EXPECT_EQ(record, c.record);
        EXPECT_EQ(inRem, c.left);
        _kel_freeMem(world, world->freeMem);
        deferred.encoded = record.data();
        EXPECT_EQ(encode(KEL_DER, [&] { _kel_encd_defer(world, &pos, &rem, &deferred); }), c.reencoded);
    }
}

TEST_F(BerItems, SequenceHelpers) {
    const uint8_t bits[] = {0xA5, 0xF0};
    unsigned char *extra = nullptr;
    uint16_t count = 7;
    ASSERT_EQ(decode([&] { EXPECT_EQ(_kel_copy_preamble(world, bits, 12, 3, &count, &extra, 2), 6u); }), 0);
    EXPECT_EQ(count, 9);
    EXPECT_EQ(Octets(extra, extra + 2), Octets({0x2F, 0x80}));
    ASSERT_EQ(decode([&] { EXPECT_EQ(_kel_copy_preamble(world, bits, 3, 3, &count, &extra, 2), 0u); }), 0);
    EXPECT_EQ(extra, nullptr);
    EXPECT_EQ(count, 0);
    _kel_freeMem(world, world->freeMem);

    const int16_t minusOne16 = -1;
    const int32_t minusOne32 = -1;
    uint8_t s1[] = {1, 2, 3}, s2[] = {1, 2, 4}, b1[] = {0xF0}, b2[] = {0xF7};
    const KelUnboundedString u1{3, s1}, u2{3, s2};
    const KelUnboundedBits bits1{4, b1}, bits2{4, b2};
    const char *text = nullptr, *empty = "";
    struct Case { int rule; const void *value, *dflt; uint32_t size; int32_t extra; int32_t kind; int32_t differs; } cases[] = {
        {KEL_BER, &minusOne32, &minusOne32, 4, 0, KEL_DFLT_OCTETS, 1}, // BER encodes defaults
        {KEL_DER, &minusOne32, &minusOne32, 4, 0, 55, 0},
        {KEL_DER, &minusOne16, &minusOne32, 2, 4, KEL_DFLT_SIGNED, 0},
        {KEL_DER, &minusOne16, &minusOne32, 2, 4, KEL_DFLT_UNSIGNED, 1},
        {KEL_DER, &u1, &u2, 0, 0, KEL_DFLT_UNBOUNDED, 1}, {KEL_PER_ALIGNED, &u1, &u1, 0, 0, KEL_DFLT_UNBOUNDED, 0},
        {KEL_DER, &bits1, &bits2, 0, 0, KEL_DFLT_BITS, 0}, // bits behind the length don't count
        {KEL_DER, &text, &empty, 0, 0, KEL_DFLT_TEXT, 0},
    };
    for (const Case &c : cases) {
        world->encRules = c.rule;
        EXPECT_EQ(_kel_not_dflt_ia(world, c.value, c.dflt, c.size, c.extra, 0, c.kind), c.differs)
            << "kind " << c.kind << " rule " << c.rule;
    }

    void *null = nullptr;
    EXPECT_EQ(decode([&] { _kel_check_ptr(world, &null); }), 11);
    EXPECT_NE(std::strstr(world->errMsg, "0011S"), nullptr);
}

std::string g_printed;
Octets g_hexPrinted;
int capture(FILE *, const char *format, va_list args) {
    char line[512];
    int n = std::vsnprintf(line, sizeof line, format, args);
    g_printed += line;
    return n;
}
void hex_printer(KelGlobal *, const unsigned char *bytes, uint32_t length) {
    g_hexPrinted.assign(bytes, bytes + length);
}

TEST_F(BerItems, DebugHooksPrintThroughTheirPrinters) {
    kelSetUserVprint(world, nullptr, capture);
    ASSERT_EQ(kelSetDebugFlags(world, 0x10 | 0x80 | 0x40 | 0x4), 0);
    ASSERT_NE(world->ext->encPostHook, nullptr);
    uint8_t encoding[] = {0x02, 0x01, 0x05};
    world->encRules = KEL_DER;
    g_printed.clear();
    world->ext->debugPrinters[1] = nullptr;
    _kel_db_e_post(world, 0, encoding, 3); // no hex printer: nothing at all
    EXPECT_EQ(g_printed, "");
    world->ext->debugPrinters[1] = reinterpret_cast<void *>(hex_printer);
    _kel_db_e_post(world, 0, encoding, 3);
    EXPECT_EQ(g_hexPrinted, Octets(encoding, encoding + 3));
    EXPECT_EQ(g_printed.rfind("The encoder output:\n\n#   Offset    Stream of Octets", 0), 0u) << g_printed;
    EXPECT_NE(g_printed.find("Format\n===="), std::string::npos);

    g_printed.clear();
    std::strcpy(world->errMsg, "E0081S: End of input.\n");
    world->errMsgPtr = world->errMsg;
    world->ext->encPostHook(world, 45, nullptr, nullptr);
    EXPECT_EQ(g_printed, "The encoder error message:\n\nE0081S: End of input.\n");

    g_printed.clear();
    world->partialMode = 1;
    _kel_db_d_post(world, 0, 1, nullptr);
    world->partialMode = 0;
    EXPECT_EQ(g_printed, "No decoder output (partial decoder)\n\n");
}

} // namespace
