// lexer.cpp - the scanner of XER input: lexemes (a tag, or one character of
// text) with one of pushback, the look at what comes next, the passing over
// of a whole element and of the document head, and the demands for a given
// tag.  Nothing is read past the input: every look is bounded by the octets
// remaining, and a lexeme cut by the end is message 45.
#include "xer_in.h"

using namespace kel::xer;

namespace kel::xer {

void fail_with_name(XerInputState *ctx, int message) {
    auto *copy = static_cast<char *>(_kel_dec_gettempmem(ctx->world, ctx->textLength + 1));
    std::memcpy(copy, ctx->text, ctx->textLength);
    copy[ctx->textLength] = 0;
    _kel_varn_error(ctx->world, message, copy);
}

} // namespace kel::xer

namespace {

constexpr uint8_t kNameStart = 0x20;
constexpr uint8_t kNameChar = 0x10;

// Passes white space from offset `i` on and answers the offset of the next
// octet; in CXER white space here is refused.
uint32_t pass_space(XerInputState *ctx, uint32_t i) {
    while (is_space(peek(ctx, i))) {
        if (canonical(ctx->world))
            not_canonical_at(ctx, i, kDiagWhiteSpace);
        ++i;
    }
    return i;
}

// The next lexeme must be of kind `kinds` (a mask) and bear `name`.
void demand_tag(XerInputState *ctx, const char *name, uint8_t kinds, int wrongKind) {
    _kel_get_lex(ctx);
    if (!(ctx->kind & kinds))
        _kel_enc_error(ctx->world, wrongKind, 0);
    if (!name_is(ctx, name))
        fail_with_name(ctx, kMsgWrongTagName);
}

} // namespace

extern "C" {

void _kel_get_lex(XerInputState *ctx) {
    if (ctx->kind & kPushedBack) {
        ctx->kind &= static_cast<uint8_t>(~kPushedBack);
        return;
    }
    uint32_t i = pass_space(ctx, 0);
    const uint8_t first = ctx->world->inPos[i];
    if (first != '<') {
        ctx->kind = kChar;
        ctx->character = first;
        advance(ctx, i + 1);
        return;
    }
    uint8_t kind = kOpen;
    if (peek(ctx, ++i) == '/') {
        kind = kClose;
        ++i;
    }
    if (!(_kelChrFlags[peek(ctx, i)] & kNameStart))
        fail_at(ctx, i, kMsgNameExpected);
    const uint32_t start = i;
    while (i < remaining(ctx) && (_kelChrFlags[ctx->world->inPos[i]] & kNameChar))
        ++i;
    ctx->text = ctx->world->inPos + start;
    ctx->textLength = i - start;
    i = pass_space(ctx, i);
    if (ctx->world->inPos[i] == '/') {
        if (kind == kClose)
            fail_at(ctx, i, kMsgTagSyntax);
        kind = kEmpty;
        ++i;
    }
    if (peek(ctx, i) != '>')
        fail_at(ctx, i, kMsgTagSyntax);
    ctx->kind = kind;
    advance(ctx, i + 1);
}

int _kel_tdx_lexem_lookahead(XerInputState *ctx) {
    KelGlobal *world = ctx->world;
    while (remaining(ctx) && is_space(*world->inPos)) {
        if (canonical(world))
            not_canonical_at(ctx, 0, kDiagWhiteSpace);
        advance(ctx, 1);
    }
    if (!remaining(ctx))
        return 0;
    const uint8_t first = *world->inPos;
    if (first == '<') {
        if (remaining(ctx) < 2)
            return 0;
        const uint8_t next = world->inPos[1];
        if (next == '/')
            return 4;
        return is_space(next) && !canonical(world) ? 0 : 1;
    }
    return first < 0x80 && (_kelChrFlags[first] & 0x40) ? 16 : 0;
}

void _kel_tdx_skip_block(XerInputState *ctx) {
    if (ctx->kind != kOpen)
        return;
    for (uint32_t depth = 1; depth;) {
        _kel_get_lex(ctx);
        if (ctx->kind == kOpen)
            ++depth;
        else if (ctx->kind == kClose)
            --depth;
    }
}

void _kel_tdx_open_tag(XerInputState *ctx, const char *name) { demand_tag(ctx, name, kOpen, kMsgExpectStart); }

void _kel_tdx_empty_tag(XerInputState *ctx, const char *name) { demand_tag(ctx, name, kEmpty, kMsgExpectEmpty); }

void _kel_tdx_close_tag(XerInputState *ctx, const char *name) { demand_tag(ctx, name, kClose, kMsgExpectEnd); }

int _kel_tdx_open_or_empty_tag(XerInputState *ctx, const char *name) {
    demand_tag(ctx, name, kOpen | kEmpty, kMsgExpectStartOrEmpty);
    return ctx->kind == kOpen;
}

int _kel_tdx_open_field(XerInputState *ctx, const KelNameTable *table, uint16_t *index) {
    _kel_get_lex(ctx);
    switch (ctx->kind) {
    case kClose:
        ctx->kind |= kPushedBack;
        *index = 0xFFFF;
        return 0;
    case kChar:
        _kel_enc_error(ctx->world, kMsgExpectStartOrEmpty, 0);
    default:
        break;
    }
    const int32_t row = _kel_find_string(table, ctx->text, ctx->textLength);
    if (row < 0) {
        if (!table->unknown)
            fail_with_name(ctx, kMsgUnknownField);
        *index = static_cast<uint16_t>(table->unknown);
        return ctx->kind == kOpen;
    }
    const KelNameRow &found = table->rows[row];
    if (!(found.kinds & ctx->kind))
        _kel_enc_error(ctx->world, found.kinds == kOpen    ? kMsgExpectStart
                                   : found.kinds == kEmpty ? kMsgExpectEmpty
                                                           : kMsgExpectStartOrEmpty,
                       0);
    *index = static_cast<uint16_t>(found.value);
    return ctx->kind == kOpen;
}

void _kel_tdx_prolog(XerInputState *ctx) {
    const unsigned char *p = ctx->world->inPos;
    const uint32_t n = remaining(ctx);
    uint32_t done = 0;
    for (uint32_t i = 0; i < n;) {
        if (is_space(p[i])) {
            ++i;
            continue;
        }
        if (p[i] != '<' || i + 1 >= n || (p[i + 1] != '?' && p[i + 1] != '!'))
            break;
        // Markup runs to the '>' that closes its first '<'; quotes are not
        // regarded.
        uint32_t depth = 0, j = i;
        for (; j < n; ++j) {
            if (p[j] == '<')
                ++depth;
            else if (p[j] == '>' && --depth == 0)
                break;
        }
        if (j >= n)
            break;
        i = done = j + 1;
    }
    advance(ctx, done);
}

void _kel_advance_input_buffer(XerInputState *ctx, uint32_t bytes) {
    advance(ctx, bytes < remaining(ctx) ? bytes : remaining(ctx));
}

} // extern "C"
