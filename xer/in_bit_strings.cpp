// in_bit_strings.cpp - BIT STRING as ones and zeros: the raw scan, which
// counts the bits (white space anywhere in XER, none in CXER, and no
// trailing zero there for a type with named bits), and the readers into an
// integer, an inline array, a block behind a header, and a pointer to the
// bits alone.  Bits are packed from the top of each octet.
#include "xer_in.h"

using namespace kel::xer;

namespace {

// Calls f(index, bit) for each digit of the marked span.
template <class F> void each_bit(const XerInputState *ctx, F f) {
    uint32_t index = 0;
    for (uint32_t i = 0; i < ctx->textLength; ++i)
        if (!is_space(ctx->text[i]))
            f(index++, ctx->text[i] == '1');
}

// The value's bits, 0 after an empty-element tag; the span stays marked.
uint32_t scan(XerInputState *ctx, uint32_t flags) {
    if (ctx->kind == kEmpty) {
        ctx->textLength = 0;
        return 0;
    }
    return _kel_get_raw_bit_string(ctx, flags);
}

// The bits kept under `bound`.  With named bits a longer value passes when
// all its surplus bits are 0.
uint32_t fit(XerInputState *ctx, uint32_t count, uint32_t bound, uint32_t flags) {
    if (!(flags & kBounded) || count <= bound)
        return count;
    if (flags & kCut)
        return bound;
    if (flags & kNamedBits) {
        bool surplusOne = false;
        each_bit(ctx, [&](uint32_t index, bool bit) { surplusOne |= index >= bound && bit; });
        if (!surplusOne)
            return bound;
    }
    size_violated(ctx, flags, count);
}

void pack(const XerInputState *ctx, unsigned char *out, uint32_t count) {
    std::memset(out, 0, (count + 7) / 8);
    each_bit(ctx, [&](uint32_t index, bool bit) {
        if (bit && index < count)
            out[index / 8] |= static_cast<unsigned char>(0x80 >> (index % 8));
    });
}

void finish(XerInputState *ctx) { advance(ctx, ctx->textLength); }

} // namespace

extern "C" {

uint32_t _kel_get_raw_bit_string(XerInputState *ctx, uint32_t flags) {
    const unsigned char *p = ctx->world->inPos;
    const uint32_t n = remaining(ctx);
    const bool strict = canonical(ctx->world);
    uint32_t i = 0, bits = 0;
    for (; i < n && p[i] != '<'; ++i) {
        if (p[i] == '0' || p[i] == '1')
            ++bits;
        else if (!is_space(p[i]))
            fail_text_at(ctx, i, kMsgExpectValue, "BIT STRING");
        else if (strict)
            not_canonical_at(ctx, i, kDiagWhiteSpace);
    }
    if (i >= n)
        end_of_input(ctx);
    if (strict && i == 0)
        fail_text_at(ctx, 0, kMsgNotCanonical, kEmptyNeedsEmptyTag);
    if (strict && (flags & kNamedBits) && p[i - 1] == '0')
        not_canonical_at(ctx, i - 1, kDiagTrailingZeroBits);
    ctx->text = p;
    ctx->textLength = i;
    return bits;
}

uint32_t _kel_tdx_bits_padded(XerInputState *ctx, uint32_t size, uint32_t flags) {
    const uint32_t count = fit(ctx, scan(ctx, flags), size * 8, flags | kBounded);
    uint32_t value = 0;
    each_bit(ctx, [&](uint32_t index, bool bit) {
        if (bit && index < count)
            value |= 1u << (size * 8 - 1 - index);
    });
    finish(ctx);
    return value;
}

uint32_t _kel_tdx_bits_varying(XerInputState *ctx, unsigned char *out, uint32_t bound, uint32_t flags) {
    const uint32_t count = fit(ctx, scan(ctx, flags), bound, flags);
    if (flags & 16)
        std::memset(out, 0, (bound + 7) / 8);
    pack(ctx, out, count);
    finish(ctx);
    return count;
}

uint32_t _kel_tdx_bits_pvarying(XerInputState *ctx, void **out, uint32_t header, uint32_t bound, uint32_t flags) {
    uint32_t count = fit(ctx, scan(ctx, flags), bound, flags);
    if ((flags & kCut) && count > 0xFFFF)
        count = 0xFFFF;
    const bool boundSized = (flags & (kBounded | kLocalBound | kCut)) == kBounded;
    const uint32_t room = header + ((boundSized ? bound : count) + 7) / 8;
    auto *block =
        room ? static_cast<unsigned char *>(_kel_dec_getmem(ctx->world, static_cast<int32_t>(room))) : nullptr;
    if (block)
        pack(ctx, block + header, count);
    *out = block;
    finish(ctx);
    return count;
}

uint32_t _kel_tdx_bits_unbounded(XerInputState *ctx, unsigned char **out, uint32_t bound, uint32_t flags) {
    if (ctx->world->decodingFlags & NOCONSTRAIN)
        flags &= ~kBounded;
    const uint32_t count = fit(ctx, scan(ctx, flags), bound, flags);
    *out = count ? static_cast<unsigned char *>(_kel_dec_getmem(ctx->world, static_cast<int32_t>((count + 7) / 8)))
                 : nullptr;
    if (count)
        pack(ctx, *out, count);
    finish(ctx);
    return count;
}

} // extern "C"
