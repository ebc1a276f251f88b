// printing.h - what the printing sources share: the sink that every value
// text is written into (the output channel kelPrint, or a growing string in
// temporary memory for the constraint checker's messages), the formatters
// that write one value of one kind into a sink, and the long-hex dump of the
// test driver.
//
// A sink holds no memory of its own in channel mode, and in text mode only
// temporary memory of the world; it has a trivial destructor, so a failure
// may jump over it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kelvarn_services.h"

namespace kel::print {

enum class Target { kChannel, kText };

class Sink {
public:
    // kChannel: through kelPrint, chopped by the world's asn1chop.
    // kText: into temporary memory, never chopped.
    Sink(KelGlobal *world, Target target);

    void put(char c) {
        if (used_ == sizeof chunk_)
            drain();
        chunk_[used_++] = c;
    }
    void put(const char *text, size_t length);
    void put(const char *text);
    // Short formatted pieces (numbers and the like); a piece longer than
    // the sink's chunk is cut.
    void format(const char *format, ...) __attribute__((format(printf, 2, 3)));
    // Channel: hands what is pending to kelPrint.  Text: returns the
    // NUL-terminated string (null in channel mode).
    char *finish();

    KelGlobal *world() const { return world_; }
    // The limit of printed characters, bits or hex digits; 0 for none.
    uint32_t chop() const { return chop_; }

private:
    void drain();
    void append_text(const char *from, size_t length);

    KelGlobal *world_;
    Target target_;
    uint32_t chop_;
    char *text_ = nullptr;
    uint32_t textLength_ = 0;
    uint32_t textCapacity_ = 0;
    uint32_t used_ = 0;
    char chunk_[512];
};

// '0101...' digits of `bits` bits, a blank after every eight.
void bits(Sink &out, const char *prefix, const unsigned char *bytes, uint32_t bits, const char *suffix);
// Upper-case hexadecimal octets.
void hex(Sink &out, const char *prefix, const unsigned char *bytes, uint32_t length, const char *suffix);
// Character strings: quoted runs and {column, row} pairs, or for units of
// `width` octets (1: UTF-8) {group, plane, row, cell} quadruples.
void chars(Sink &out, const unsigned char *text, uint32_t length);
void mbchars(Sink &out, const void *text, uint32_t length, int width);
// REAL as base 2 value notation; `infinity` is the largest finite value of
// the memory form, which stands for infinity.
void real(Sink &out, double value, double infinity);
// Decimal text in NR3 (`mode` nonzero: *10^ for E), cut at 79 characters.
void nr3(Sink &out, const char *text, uint32_t length, int mode);
// A REAL held as decimal text: the special words, else NR3.
void creal(Sink &out, const char *text);
// The constraint checker's form of a decimal text (or of a { mantissa,
// base 10, exponent } value with comments): "%.0fE%.0f", or with `braced`
// "{mantissa %.0f, base 10, exponent %.0f}".
void creal_display(Sink &out, const char *text, bool braced);
void gentime(Sink &out, const KelTimeStruct *time);
void utctime(Sink &out, const KelTimeStruct *time);

// Prints the decoded value of an open type through kelPrintPDU, with the
// negated PDU number that only a nested print may pass; the return code.
int nested_pdu(KelGlobal *world, int pdu, void *value);

} // namespace kel::print

// The test driver's print of an encoding: kelPrintHex below 1024 octets,
// else 32 octets a line with runs of more than 12 equal octets shortened.
void kel_print_long_hex(KelGlobal *world, const unsigned char *bytes, uint32_t length);
