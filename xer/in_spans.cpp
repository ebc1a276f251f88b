// in_spans.cpp - the span of a value written as one word (huge integers,
// REAL, times): white space before it passed over, the span marked up to
// '<' or white space, the cursor left at its start.
#include "xer_in.h"

using namespace kel::xer;

extern "C" {

uint32_t _kel_get_raw_trimmed_string(XerInputState *ctx) {
    const unsigned char *p = ctx->world->inPos;
    const uint32_t n = remaining(ctx);
    uint32_t start = 0;
    while (start < n && is_space(p[start])) {
        if (canonical(ctx->world))
            not_canonical_at(ctx, start, kDiagWhiteSpace);
        ++start;
    }
    uint32_t end = start;
    while (end < n && p[end] != '<' && !is_space(p[end]))
        ++end;
    if (end >= n)
        end_of_input(ctx);
    advance(ctx, start);
    ctx->text = p + start;
    ctx->textLength = end - start;
    return ctx->textLength;
}

} // extern "C"
