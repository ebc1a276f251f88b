// in_integers.cpp - INTEGER behind its open tag, into 32-bit and 64-bit
// forms, signed and unsigned: decimal digits with an overflow test before
// each step, ended by '<' or white space, then the bounds.
#include <limits>
#include <type_traits>

#include "xer_in.h"

using namespace kel::xer;

namespace {

template <class U> struct Decimal {
    U magnitude;
    bool negative;
};

template <class U> [[noreturn]] void too_long(XerInputState *ctx, uint32_t offset, U value) {
    advance(ctx, offset);
    if constexpr (sizeof(U) > 4)
        _kel_enc_llerror(ctx->world, kMsgIntTooLong, static_cast<uint64_t>(value));
    else
        _kel_enc_error(ctx->world, kMsgIntTooLong, static_cast<uint32_t>(value));
}

// The digits at the cursor, which moves to the octet that ends them.  Past
// `cap`, only `cap` followed by a last digit up to `last` (one more for a
// negative number) still fits.
template <class U, bool Signed> Decimal<U> read_decimal(XerInputState *ctx) {
    using Limit = std::conditional_t<Signed, std::make_signed_t<U>, U>;
    constexpr U max = static_cast<U>(std::numeric_limits<Limit>::max());
    constexpr U cap = max / 10;
    constexpr unsigned last = static_cast<unsigned>(max % 10);

    const unsigned char *p = ctx->world->inPos;
    const uint32_t n = remaining(ctx);
    uint32_t i = 0;
    if (!canonical(ctx->world))
        while (i < n && is_space(p[i]))
            ++i;
    bool negative = false;
    if (i < n && p[i] == '-') {
        if (!Signed)
            fail_at(ctx, i, kMsgNegativeUnsigned);
        negative = true;
        ++i;
    }
    if (i >= n)
        end_of_input(ctx);
    if (!is_digit(p[i])) {
        if (is_space(p[i]))
            not_canonical_at(ctx, i, kDiagWhiteSpace);
        if (p[i] == '-')
            fail_at(ctx, i, kMsgNegativeUnsigned);
        fail_text_at(ctx, i, kMsgExpectValue, "INTEGER");
    }
    U value = 0;
    for (; i < n && is_digit(p[i]); ++i) {
        const unsigned digit = p[i] - '0';
        if (value >= cap && (value != cap || digit > last + negative))
            too_long(ctx, i, value);
        value = static_cast<U>(value * 10 + digit);
    }
    if (i >= n)
        end_of_input(ctx);
    if (p[i] != '<' && !is_space(p[i]))
        fail_text_at(ctx, i, kMsgExpectValue, "INTEGER");
    advance(ctx, i);
    return {value, negative};
}

template <class S> S read_signed(XerInputState *ctx, S lower, S upper) {
    using U = std::make_unsigned_t<S>;
    const Decimal<U> d = read_decimal<U, true>(ctx);
    const S value = static_cast<S>(d.negative ? static_cast<U>(0 - d.magnitude) : d.magnitude);
    if (value < lower || value > upper)
        too_long(ctx, 0, static_cast<U>(value));
    return value;
}

template <class U> U read_unsigned(XerInputState *ctx, U upper) {
    const U value = read_decimal<U, false>(ctx).magnitude;
    if (value > upper)
        too_long(ctx, 0, value);
    return value;
}

} // namespace

extern "C" {

int32_t _kel_tdx_lint(XerInputState *ctx, int32_t lower, int32_t upper) { return read_signed(ctx, lower, upper); }

int64_t _kel_tdx_llint(XerInputState *ctx, int64_t lower, int64_t upper) { return read_signed(ctx, lower, upper); }

uint32_t _kel_tdx_ulint(XerInputState *ctx, uint32_t upper) { return read_unsigned(ctx, upper); }

uint64_t _kel_tdx_ullint(XerInputState *ctx, uint64_t upper) { return read_unsigned(ctx, upper); }

} // extern "C"
