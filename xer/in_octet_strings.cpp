// in_octet_strings.cpp - OCTET STRING as hexadecimal digits: the raw scan,
// which counts the digits (white space between them allowed in XER; upper
// case only and nothing between them in CXER), and the readers into a fixed
// array, an inline array with a count, a block behind a header, and a
// pointer to the octets alone.
#include "xer_in.h"

using namespace kel::xer;

namespace {

// Packs the first `count` octets of the span, passing over white space.
void pack(const XerInputState *ctx, unsigned char *out, uint32_t count) {
    const unsigned char *p = ctx->text;
    for (uint32_t i = 0; count; --count, ++out) {
        while (_kelAllwHexB[p[i]] != 1)
            ++i;
        const uint8_t high = _kelHexU[p[i++]];
        while (_kelAllwHexB[p[i]] != 1)
            ++i;
        *out = static_cast<unsigned char>(high | _kelHexL[p[i++]]);
    }
}

// The value's octets, 0 after an empty-element tag; the span stays marked.
uint32_t scan(XerInputState *ctx) {
    if (ctx->kind == kEmpty) {
        ctx->textLength = 0;
        return 0;
    }
    return _kel_get_raw_octet_string(ctx) / 2;
}

void finish(XerInputState *ctx) { advance(ctx, ctx->textLength); }

} // namespace

extern "C" {

uint32_t _kel_get_raw_octet_string(XerInputState *ctx) {
    const unsigned char *p = ctx->world->inPos;
    const uint32_t n = remaining(ctx);
    uint32_t i = 0, digits = 0;
    if (canonical(ctx->world)) {
        while (i < n && _kelAllwHexC[p[i]])
            ++i;
        if (i >= n)
            end_of_input(ctx);
        if (p[i] != '<') {
            if (_kelAllwHexB[p[i]] == 1)
                not_canonical_at(ctx, i, kDiagUpperCaseHex);
            if (is_space(p[i]))
                not_canonical_at(ctx, i, kDiagWhiteSpace);
            fail_text_at(ctx, i, kMsgExpectValue, "OCTET STRING");
        }
        if (i == 0)
            fail_text_at(ctx, 0, kMsgNotCanonical, kEmptyNeedsEmptyTag);
        digits = i;
    } else {
        for (uint8_t allowed; i < n && (allowed = _kelAllwHexB[p[i]]); ++i)
            digits += allowed == 1;
        if (i >= n)
            end_of_input(ctx);
        if (p[i] != '<')
            fail_text_at(ctx, i, kMsgExpectValue, "OCTET STRING");
    }
    if (digits & 1)
        fail_at(ctx, i, kMsgMisencoded);
    ctx->text = p;
    ctx->textLength = i;
    return digits;
}

void _kel_tdx_octets_fixed(XerInputState *ctx, unsigned char *out, uint32_t size) {
    const uint32_t count = scan(ctx);
    if (count != size)
        _kel_enc_error(ctx->world, kMsgSizeViolated, count);
    pack(ctx, out, count);
    finish(ctx);
}

uint32_t _kel_tdx_octets_varying(XerInputState *ctx, unsigned char *out, uint32_t bound, uint32_t flags) {
    const uint32_t count = within_bound(ctx, scan(ctx), bound, flags);
    pack(ctx, out, count);
    finish(ctx);
    return count;
}

uint32_t _kel_tdx_octets_pvarying(XerInputState *ctx, void **out, uint32_t header, uint32_t bound, uint32_t flags) {
    uint32_t count = within_bound(ctx, scan(ctx), bound, flags);
    if ((flags & kCut) && count > 0xFFFF)
        count = 0xFFFF;
    const bool boundSized = (flags & (kBounded | kLocalBound | kCut)) == kBounded;
    const uint32_t room = header + (boundSized ? bound : count);
    auto *block =
        room ? static_cast<unsigned char *>(_kel_dec_getmem(ctx->world, static_cast<int32_t>(room))) : nullptr;
    if (block)
        pack(ctx, block + header, count);
    *out = block;
    finish(ctx);
    return count;
}

uint32_t _kel_tdx_octets_unbounded(XerInputState *ctx, unsigned char **out, uint32_t bound, uint32_t flags) {
    if (ctx->world->decodingFlags & NOCONSTRAIN)
        flags &= ~kBounded;
    const uint32_t count = within_bound(ctx, scan(ctx), bound, flags);
    *out = count ? static_cast<unsigned char *>(_kel_dec_getmem(ctx->world, static_cast<int32_t>(count))) : nullptr;
    pack(ctx, *out, count);
    finish(ctx);
    return count;
}

} // extern "C"
