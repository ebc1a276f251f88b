// in_named.cpp - values written as an empty-element tag of their own:
// BOOLEAN (<true/>, <false/>) and ENUMERATED, whose names the generated
// name table turns into values.
#include "xer_in.h"

using namespace kel::xer;

namespace {

void empty_tag(XerInputState *ctx) {
    _kel_get_lex(ctx);
    if (ctx->kind != kEmpty)
        _kel_enc_error(ctx->world, kMsgExpectEmpty, 0);
}

} // namespace

extern "C" {

int _kel_tdx_bool(XerInputState *ctx) {
    empty_tag(ctx);
    if (name_is(ctx, "true"))
        return 1;
    if (!name_is(ctx, "false"))
        _kel_enc_error(ctx->world, kMsgExpectBoolean, 0);
    return 0;
}

int32_t _kel_tdx_enum(XerInputState *ctx, const KelNameTable *table) {
    empty_tag(ctx);
    const int32_t row = _kel_find_string(table, ctx->text, ctx->textLength);
    if (row < 0) {
        if (!table->unknown)
            fail_with_name(ctx, kMsgUnknownEnum);
        return static_cast<int32_t>(table->unknown);
    }
    // A row that doesn't allow the empty kind answers its index.
    if (!(table->rows[row].kinds & kEmpty))
        return row;
    return static_cast<int32_t>(table->rows[row].value);
}

} // extern "C"
