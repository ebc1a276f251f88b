// print_values.cpp - the primitives by which a generated printer shows one
// value of one kind through kelPrint (_kel_prt_*), and _kel_indent, which
// starts the lines of its layout.
#include <algorithm>
#include <cfloat>
#include <cstring>

#include "printing.h"

using kel::print::Sink;
using kel::print::Target;

namespace {

// An open type: its decoded value through a nested print, else its encoding
// in hexadecimal.
void open_type(KelGlobal *world, int pdu, const void *decoded, const unsigned char *encoded, uint32_t length) {
    if (decoded && pdu) {
        if (kel::print::nested_pdu(world, pdu, const_cast<void *>(decoded)))
            kelPrint(world, "<error>");
        return;
    }
    Sink out(world, Target::kChannel);
    if (encoded)
        kel::print::hex(out, "'", encoded, length, "'H");
    else
        out.put("<unknown>");
    out.finish();
}

} // namespace

extern "C" {

void _kel_indent(KelGlobal *world, int delta) {
    if (delta < 0)
        world->printIndent += delta;
    kelPrint(world, "\n%*s", 2 * std::max(world->printIndent, 0), "");
    if (delta > 0)
        world->printIndent += delta;
}

void _kel_prt_bin(KelGlobal *world, const char *prefix, const unsigned char *bytes, uint32_t bits,
                  const char *suffix) {
    Sink out(world, Target::kChannel);
    kel::print::bits(out, prefix, bytes, bits, suffix);
    out.finish();
}

void _kel_prt_bit(KelGlobal *world, const unsigned char *bytes, uint32_t bits) {
    _kel_prt_bin(world, "'", bytes, bits, "'B");
}

void _kel_prt_pbit(KelGlobal *world, const void *field, int size, uint32_t bits) {
    uint32_t value = 0;
    if (size == 1)
        value = *static_cast<const uint8_t *>(field);
    else if (size == 2)
        value = *static_cast<const uint16_t *>(field);
    else if (size == 4)
        value = *static_cast<const uint32_t *>(field);
    else
        size = 0;
    value = size ? value << (32 - 8 * size) : 0;
    const unsigned char bytes[4] = {static_cast<unsigned char>(value >> 24), static_cast<unsigned char>(value >> 16),
                                    static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
    _kel_prt_bin(world, "'", bytes, std::min(bits, 8u * static_cast<uint32_t>(size)), "'B");
}

void _kel_prt_hex(KelGlobal *world, const char *prefix, const unsigned char *bytes, uint32_t length,
                  const char *suffix) {
    Sink out(world, Target::kChannel);
    kel::print::hex(out, prefix, bytes, length, suffix);
    out.finish();
}

void _kel_prt_oct(KelGlobal *world, const unsigned char *bytes, uint32_t length) {
    _kel_prt_hex(world, "'", bytes, length, "'H");
}

void _kel_prt_char(KelGlobal *world, const char *text, uint32_t length) {
    Sink out(world, Target::kChannel);
    kel::print::chars(out, reinterpret_cast<const unsigned char *>(text), text ? length : 0);
    out.finish();
}

void _kel_prt_nchar(KelGlobal *world, const char *text) {
    _kel_prt_char(world, text, text ? static_cast<uint32_t>(std::strlen(text)) : 0);
}

void _kel_prt_mbchar(KelGlobal *world, const void *text, uint32_t length, int width) {
    Sink out(world, Target::kChannel);
    kel::print::mbchars(out, text, text ? length : 0, width);
    out.finish();
}

void _kel_prt_real(KelGlobal *world, double value) {
    Sink out(world, Target::kChannel);
    kel::print::real(out, value, FLT_MAX);
    out.finish();
}

void _kel_prt_dreal(KelGlobal *world, double value) {
    Sink out(world, Target::kChannel);
    kel::print::real(out, value, DBL_MAX);
    out.finish();
}

void _kel_prt_creal(KelGlobal *world, const char *text) {
    Sink out(world, Target::kChannel);
    kel::print::creal(out, text);
    out.finish();
}

void kel_print_NR3(KelGlobal *world, const char *text, uint32_t length, int mode) {
    Sink out(world, Target::kChannel);
    kel::print::nr3(out, text, length, mode);
    out.finish();
}

void _kel_prt_enum(KelGlobal *world, uint64_t value, const KelEnumName *names, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i)
        if (names[i].value == value) {
            kelPrint(world, "%s", names[i].name);
            return;
        }
    kelPrint(world, "%llu -- unknown enumerator --", static_cast<unsigned long long>(value));
}

void _kel_prt_gentime(KelGlobal *world, const KelTimeStruct *time) {
    Sink out(world, Target::kChannel);
    kel::print::gentime(out, time);
    out.finish();
}

void _kel_prt_utctime(KelGlobal *world, const KelTimeStruct *time) {
    Sink out(world, Target::kChannel);
    kel::print::utctime(out, time);
    out.finish();
}

void _kel_prt_opentype(KelGlobal *world, const KelOpenType *value) {
    if (!value) {
        kelPrint(world, "<unknown>");
        return;
    }
    open_type(world, value->pduNum, value->decoded, static_cast<const unsigned char *>(value->encoded),
              value->length);
}

void _kel_prt_new_opentype(KelGlobal *world, int pdu, const void *decoded, const KelBuf *encoded) {
    open_type(world, pdu, decoded, encoded ? encoded->value : nullptr, encoded ? encoded->length : 0);
}

} // extern "C"
