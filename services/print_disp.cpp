// print_disp.cpp - the texts of values as strings, for the messages of the
// constraint checker (_kel_getdisp_*): the printer's texts without chopping,
// in temporary memory; and the disposable blocks of worlds that lack a
// temporary buffer of their own.
#include <cfloat>
#include <cstring>

#include "internal.h"
#include "memory.h"
#include "printing.h"

using kel::print::Sink;
using kel::print::Target;

namespace {

// The text that `write` puts into a fresh sink, NUL-terminated.
template <class Write> char *display(KelGlobal *world, Write write) {
    Sink out(world, Target::kText);
    write(out);
    return out.finish();
}

// compatFlags: decimal texts show as {mantissa, base 10, exponent}.
constexpr uint32_t kBracedReal = 0x100;

} // namespace

extern "C" {

char *_kel_getdisp_int(KelGlobal *world, int64_t value) {
    return display(world, [&](Sink &out) { out.format("%lld", static_cast<long long>(value)); });
}

char *_kel_getdisp_uint(KelGlobal *world, uint64_t value) {
    return display(world, [&](Sink &out) { out.format("%llu", static_cast<unsigned long long>(value)); });
}

char *_kel_getdisp_real(KelGlobal *world, double value) {
    return display(world, [&](Sink &out) { kel::print::real(out, value, FLT_MAX); });
}

char *_kel_getdisp_dreal(KelGlobal *world, double value) {
    return display(world, [&](Sink &out) { kel::print::real(out, value, DBL_MAX); });
}

char *_kel_getdisp_creal(KelGlobal *world, const char *text) {
    const bool braced = world->ext && (world->ext->compatFlags & kBracedReal);
    return display(world, [&](Sink &out) { kel::print::creal_display(out, text, braced); });
}

char *_kel_getdisp_char(KelGlobal *world, const char *text, uint32_t length) {
    return display(world, [&](Sink &out) {
        kel::print::chars(out, reinterpret_cast<const unsigned char *>(text), text ? length : 0);
    });
}

char *_kel_getdisp_nchar(KelGlobal *world, const char *text) {
    return _kel_getdisp_char(world, text, text ? static_cast<uint32_t>(std::strlen(text)) : 0);
}

char *_kel_getdisp_mbchar(KelGlobal *world, const void *text, uint32_t length, int width) {
    return display(world, [&](Sink &out) { kel::print::mbchars(out, text, text ? length : 0, width); });
}

char *_kel_getdisp_bit(KelGlobal *world, const unsigned char *bytes, uint32_t bits) {
    return display(world, [&](Sink &out) { kel::print::bits(out, "'", bytes, bits, "'B"); });
}

char *_kel_getdisp_oct(KelGlobal *world, const unsigned char *bytes, uint32_t length) {
    return display(world, [&](Sink &out) { kel::print::hex(out, "'", bytes, length, "'H"); });
}

char *_kel_getdisp_gentime(KelGlobal *world, const KelTimeStruct *time) {
    return display(world, [&](Sink &out) { kel::print::gentime(out, time); });
}

char *_kel_getdisp_utctime(KelGlobal *world, const KelTimeStruct *time) {
    return display(world, [&](Sink &out) { kel::print::utctime(out, time); });
}

void _kel_free_disp(KelGlobal *world, char *text) {
    if (text)
        _kel_dec_freetempmem(world, text);
}

void *_kel_getdispmem(KelGlobal *world, uint32_t size) {
    if (kel_in_temp_buffer(world))
        return kel_disposable_alloc(world, size);
    void *p = world->getMem(world, size);
    if (!p)
        _kel_enc_error(world, kel::kMsgOutOfMemory, size);
    return p;
}

void _kel_freedispmem(KelGlobal *world, void *p) {
    if (kel_in_temp_buffer(world))
        kel_disposable_free(world, p);
    else if (p)
        world->freeMem(world, p);
}

} // extern "C"
