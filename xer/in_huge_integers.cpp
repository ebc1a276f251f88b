// in_huge_integers.cpp - INTEGER of any size: the decimal digits multiplied
// into a big-endian work area of temporary memory, then negated in two's
// complement when signed and negative, and copied to decoder memory.
#include "xer_in.h"

using namespace kel::xer;

namespace {

constexpr uint32_t kWorkArea = 4096;
constexpr int kMsgSizeTooLong = 99; // 0027S, octets

} // namespace

extern "C" {

uint32_t _kel_tdx_hint(XerInputState *ctx, unsigned char **value, uint32_t flags) {
    const bool isUnsigned = flags & 1;
    const uint32_t length = _kel_get_raw_trimmed_string(ctx);
    const unsigned char *text = ctx->text;
    uint32_t i = 0;
    const bool negative = length && text[0] == '-';
    if (negative) {
        if (isUnsigned)
            fail_at(ctx, 0, kMsgNegativeUnsigned);
        ++i;
    }
    if (i == length)
        fail_text_at(ctx, i, kMsgExpectValue, "INTEGER");

    // The number fills the area's last `size` octets.
    constexpr uint32_t kRoom = kWorkArea + 1; // and a leading 0 octet
    auto *area = static_cast<unsigned char *>(_kel_dec_gettempmem(ctx->world, kRoom));
    uint32_t size = 1;
    area[kRoom - 1] = 0;
    for (; i < length; ++i) {
        if (!is_digit(text[i]))
            fail_text_at(ctx, i, kMsgExpectValue, "INTEGER");
        uint32_t carry = text[i] - '0';
        for (uint32_t j = kRoom; j-- > kRoom - size;) {
            carry += area[j] * 10u;
            area[j] = static_cast<unsigned char>(carry);
            carry >>= 8;
        }
        if (carry) {
            if (size == kWorkArea)
                fail_at(ctx, i, kMsgSizeTooLong, size + 1);
            area[kRoom - ++size] = static_cast<unsigned char>(carry);
        }
    }
    if (!isUnsigned && (area[kRoom - size] & 0x80))
        area[kRoom - ++size] = 0;
    if (negative) {
        uint32_t carry = 1;
        for (uint32_t j = kRoom; j-- > kRoom - size;) {
            carry += static_cast<unsigned char>(~area[j]);
            area[j] = static_cast<unsigned char>(carry);
            carry >>= 8;
        }
    }
    *value = static_cast<unsigned char *>(_kel_dec_getmem(ctx->world, static_cast<int32_t>(size)));
    std::memcpy(*value, area + kRoom - size, size);
    _kel_dec_freetempmem(ctx->world, area);
    advance(ctx, length);
    return size;
}

} // extern "C"
