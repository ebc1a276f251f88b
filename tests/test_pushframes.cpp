// test_pushframes.cpp - push frames: a length reserved ahead of an open type
// or extension addition and inserted once the content is written, in the
// fragmented form for long contents, at every bit offset, in the caller's
// buffer and across the block chain; and pushed worlds.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "harness.h"
#include "internal.h"
#include "kelvarn_stream.h"

namespace {

// Reference bit string: what the output must hold.
struct Bits {
    std::vector<uint8_t> bytes;
    size_t count = 0;
    void bit(bool b) {
        if (count % 8 == 0)
            bytes.push_back(0);
        if (b)
            bytes.back() |= static_cast<uint8_t>(0x80 >> (count % 8));
        ++count;
    }
    void octet(uint8_t v) {
        for (int i = 7; i >= 0; --i)
            bit((v >> i) & 1);
    }
    void octets(const std::vector<uint8_t> &v) {
        for (uint8_t o : v)
            octet(o);
    }
};

// The content with its length in front, in the fragmented form.
std::vector<uint8_t> with_length(const std::vector<uint8_t> &content) {
    std::vector<uint8_t> out;
    size_t at = 0, rest = content.size();
    if (rest == 0)
        return {0x01, 0x00}; // an empty open type is one zero octet
    while (rest >= 16384) {
        size_t parts = std::min<size_t>(rest >> 14, 4);
        out.push_back(static_cast<uint8_t>(0xC0 | parts));
        out.insert(out.end(), content.begin() + at, content.begin() + at + (parts << 14));
        at += parts << 14;
        rest -= parts << 14;
    }
    if (rest >= 128)
        out.push_back(static_cast<uint8_t>(0x80 | rest >> 8));
    out.push_back(static_cast<uint8_t>(rest));
    out.insert(out.end(), content.begin() + at, content.end());
    return out;
}

std::vector<uint8_t> pattern(size_t n) {
    std::vector<uint8_t> v(n);
    for (size_t i = 0; i < n; ++i)
        v[i] = static_cast<uint8_t>(i * 7 + (i >> 8) + 1);
    return v;
}

struct Output {
    std::vector<uint8_t> bytes;
    size_t bits = 0;
};

// Writes `prefixBits` one-bits, then one framed content, then finishes the
// encoding in library memory or in a caller's buffer.
int encode_framed(KelGlobal *world, bool library, unsigned prefixBits, const std::vector<uint8_t> &content,
                  Output *out) {
    static unsigned char area[80000];
    const unsigned char ones[1] = {0xFF};
    world->encRules = KEL_PER_UNALIGNED;
    world->aligned = 0;
    world->bitOffset = 0;
    world->userBuffer = library ? 0 : 1;
    world->outPos = library ? nullptr : area;
    world->outRemaining = library ? 0 : static_cast<int32_t>(sizeof area);
    world->memTotal = library ? 0 : sizeof area;
    world->outQueueTail = &world->outQueue;
    world->ext->pushInline.link = &world->ext->pushInline;
    world->ext->pushInline.count = 0;
    uint32_t length = sizeof area;
    unsigned char *value = area;
    int code = kel_test::in_frame(world, kel::kPhaseEncoder, [&] {
        _kel_append(world, ones, prefixBits, 0);
        _kel_fast_push_global(world);
        _kel_append(world, content.data(), static_cast<uint32_t>(content.size() * 8), 0);
        _kel_fast_pop_global(world);
        if (kel::counting(world))
            return;
        if (library)
            _kel_set_outmem_p(world, &length, &value);
        else
            _kel_set_outmem_pb(world, &length, &value, 0);
    });
    if (code || kel::counting(world))
        return code;
    out->bytes.assign(value, value + length);
    out->bits = length * 8 - ((8 - world->bitOffset) & 7);
    if (library)
        kelFreeBuf(world, value);
    return 0;
}

class FramedLength : public ::testing::TestWithParam<std::tuple<bool, unsigned, size_t>> {};

TEST_P(FramedLength, InsertsLengthAtAnyOffset) {
    auto [library, offset, n] = GetParam();
    kel_test::BriefWorld world;
    std::vector<uint8_t> content = pattern(n);
    Bits expected;
    for (unsigned i = 0; i < offset; ++i)
        expected.bit(true);
    expected.octets(with_length(content));

    Output out;
    ASSERT_EQ(encode_framed(world.get(), library, offset, content, &out), 0) << world->errMsg;
    ASSERT_EQ(out.bits, expected.count);
    ASSERT_EQ(out.bytes.size(), expected.bytes.size());
    if (expected.count % 8)
        out.bytes.back() &= static_cast<uint8_t>(0xFF00 >> (expected.count % 8));
    EXPECT_TRUE(out.bytes == expected.bytes);

    // Counting gives the same length without writing.
    world->encodingFlags = DETERMINE_ENC_LENGTH;
    world->encLength = 0;
    Output none;
    ASSERT_EQ(encode_framed(world.get(), library, offset, content, &none), 0);
    EXPECT_EQ(world->encLength + (world->bitOffset ? 1u : 0u), expected.bytes.size());
}

INSTANTIATE_TEST_SUITE_P(Frames, FramedLength,
                         ::testing::Combine(::testing::Bool(), ::testing::Values(0u, 3u, 7u),
                                            ::testing::Values(0u, 5u, 127u, 128u, 1023u, 16384u,
                                                              70000u)));

// Points the writer at a caller's buffer of `size` octets.
void write_to(KelGlobal *world, unsigned char *area, int32_t size) {
    world->userBuffer = 1;
    world->outPos = area;
    world->outRemaining = size;
    world->memTotal = static_cast<uint32_t>(size);
    world->ext->pushInline.link = &world->ext->pushInline;
}

TEST(PushFrames, NestedBeyondTheInlineFrames) {
    kel_test::BriefWorld world;
    static unsigned char area[256];
    write_to(world.get(), area, sizeof area);
    constexpr int kDepth = 7; // the inline block holds four
    int code = kel_test::in_frame(world.get(), kel::kPhaseEncoder, [&] {
        for (int i = 0; i < kDepth; ++i) {
            _kel_fast_push_global(world.get());
            _kel_append_8bit_unaligned(world.get(), static_cast<uint8_t>(0xA0 + i));
        }
        for (int i = 0; i < kDepth; ++i)
            _kel_fast_pop_global(world.get());
    });
    ASSERT_EQ(code, 0) << world->errMsg;
    std::vector<uint8_t> expected;
    for (int i = kDepth - 1; i >= 0; --i) {
        std::vector<uint8_t> content = {static_cast<uint8_t>(0xA0 + i)};
        content.insert(content.end(), expected.begin(), expected.end());
        expected = with_length(content);
    }
    ASSERT_EQ(world->outPos - area, static_cast<long>(expected.size()));
    EXPECT_EQ(std::memcmp(area, expected.data(), expected.size()), 0);
    EXPECT_EQ(world->ext->pushInline.link, &world->ext->pushInline) << "extra frame blocks are given back";
    EXPECT_EQ(world->ext->pushInline.count, 0u);
}

TEST(PushFrames, CallersBufferTooSmallForTheLength) {
    kel_test::BriefWorld world;
    unsigned char area[140];
    const std::vector<uint8_t> content = pattern(139);
    for (uint32_t n : {138u, 139u}) { // 138 plus a two-octet length fits exactly
        write_to(world.get(), area, sizeof area);
        EXPECT_EQ(kel_test::in_frame(world.get(), kel::kPhaseEncoder, [&] {
                      _kel_fast_push_global(world.get());
                      _kel_append(world.get(), content.data(), n * 8, 0);
                      _kel_fast_pop_global(world.get());
                  }),
                  n == 138 ? 0 : 1)
            << world->errMsg;
    }
    _kel_freetempMem(world.get()); // what a driver's recovery does
}

TEST(PushedWorld, FailureIsRecordedAtTheTopAndPopGivesMemoryBack) {
    kel_test::BriefWorld world;
    world->errMsg[0] = 0;
    KelGlobal *inner = nullptr;
    int code = kel_test::in_frame(world.get(), kel::kPhaseDecoder, [&] {
        KelGlobal *pushed = _kel_push_global(world.get());
        EXPECT_EQ(pushed->parentWorld, world.get());
        EXPECT_EQ(world->childWorld, pushed);
        inner = _kel_push_global(pushed);
        _kel_enc_error(inner, kel::kMsgEndOfInput, 0);
    });
    EXPECT_EQ(code, 4);
    EXPECT_EQ(std::string(world->errMsg).rfind("D0081S", 0), 0u) << world->errMsg;
    EXPECT_EQ(inner->errMsg[0], 0);
    _kel_freeGlobals(world.get(), 1);
    EXPECT_EQ(world->childWorld, nullptr);
    _kel_freetempMem(world.get());

    code = kel_test::in_frame(world.get(), kel::kPhaseEncoder, [&] {
        KelGlobal *pushed = _kel_push_global(world.get());
        EXPECT_EQ(pushed->recoveryPoint, world->recoveryPoint);
        EXPECT_EQ(pushed->outQueueTail, &pushed->outQueue);
        EXPECT_EQ(_kel_epop_global(pushed), world.get());
    });
    EXPECT_EQ(code, 0);
    EXPECT_EQ(world->childWorld, nullptr);
    EXPECT_EQ(world->tempList, nullptr) << "both pieces went back";
}

} // namespace
