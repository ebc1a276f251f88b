// print_dumps.cpp - encodings shown as octets: kelPrintHex (plain lines, or
// an offset dump with a character column when debugFlags has 0x80),
// kelPrintBitsHex for a run of bits that needn't start or end on an octet,
// and the test driver's long-hex print, which shortens runs of one octet.
#include <cstdio>

#include "internal.h"
#include "printing.h"

using kel::print::Sink;
using kel::print::Target;

namespace {

constexpr uint32_t kOffsetColumns = 0x80; // debugFlags
constexpr uint32_t kDumpLine = 16;
constexpr uint32_t kPlainLine = 32;
constexpr uint32_t kPlainGroup = 4;
// The long-hex print: from this length on, runs longer than kLongRun are
// shortened.
constexpr uint32_t kLongHexFrom = 1024;
constexpr uint32_t kLongRun = 12;
// A group of four octets and its blank take this many columns.
constexpr uint32_t kGroupColumns = 9;
constexpr uint32_t kLineColumns = kGroupColumns * kPlainLine / kPlainGroup;

constexpr char kDigits[] = "0123456789ABCDEF";

void put_octet(Sink &out, unsigned char octet) {
    out.put(kDigits[octet >> 4]);
    out.put(kDigits[octet & 15]);
}

// #   000010:   0102 0304 ...    ..chars..
void offset_dump(Sink &out, const unsigned char *bytes, uint32_t length) {
    for (uint32_t start = 0; start < length; start += kDumpLine) {
        out.format(start ? "\n#   %06x:   " : "#   %06x:   ", start);
        const uint32_t count = length - start < kDumpLine ? length - start : kDumpLine;
        for (uint32_t i = 0; i < kDumpLine; ++i) {
            if (i < count)
                put_octet(out, bytes[start + i]);
            else
                out.put("  ");
            if (i % 2 == 1 && i + 1 < kDumpLine)
                out.put(' ');
        }
        out.put("    ");
        for (uint32_t i = 0; i < count; ++i) {
            const unsigned char c = bytes[start + i];
            out.put(c >= 32 && c <= 126 ? static_cast<char>(c) : '.');
        }
    }
    out.put('\n');
}

// 32 octets a line, a blank between groups of four.
void plain_dump(Sink &out, const unsigned char *bytes, uint32_t length) {
    for (uint32_t i = 0; i < length; ++i) {
        if (i && i % kPlainLine == 0)
            out.put('\n');
        else if (i && i % kPlainGroup == 0)
            out.put(' ');
        put_octet(out, bytes[i]);
    }
    out.put('\n');
}

// An octet holding only some bits of the run: <xx0101xx>, the bits before
// `from` and from `to` on shown as x.
void partial_octet(Sink &out, unsigned char octet, uint32_t from, uint32_t to) {
    out.put('<');
    for (uint32_t bit = 0; bit < 8; ++bit)
        out.put(bit < from || bit >= to ? 'x' : ((octet >> (7 - bit)) & 1) ? '1' : '0');
    out.put('>');
}

} // namespace

extern "C" {

void kelPrintHex(KelGlobal *world, const unsigned char *bytes, uint32_t length) {
    if (!length)
        return;
    Sink out(world, Target::kChannel);
    if (world && world->ext && (world->ext->debugFlags & kOffsetColumns))
        offset_dump(out, bytes, length);
    else
        plain_dump(out, bytes, length);
    out.finish();
}

void kelPrintBitsHex(KelGlobal *world, const unsigned char *bytes, uint32_t firstBit, uint32_t bitCount,
                     const char *prefix) {
    Sink out(world, Target::kChannel);
    if (prefix)
        out.put(prefix);
    const unsigned char *at = bytes + firstBit / 8;
    const uint32_t offset = firstBit % 8;
    uint64_t left = bitCount;
    if (offset && left) {
        const uint64_t to = offset + left < 8 ? offset + left : 8;
        partial_octet(out, *at++, offset, static_cast<uint32_t>(to));
        left -= to - offset;
    }
    const auto whole = static_cast<uint32_t>(left / 8);
    if (whole) {
        if (offset)
            out.put(' ');
        out.finish();
        kelPrintHex(world, at, whole);
        at += whole;
    }
    if (left % 8)
        partial_octet(out, *at, 0, static_cast<uint32_t>(left % 8));
    if (!whole || left % 8)
        out.put('\n');
    out.finish();
}

} // extern "C"

void kel_print_long_hex(KelGlobal *world, const unsigned char *bytes, uint32_t length) {
    if (length < kLongHexFrom) {
        kelPrintHex(world, bytes, length);
        return;
    }
    Sink out(world, Target::kChannel);
    uint32_t column = 0;
    for (uint32_t i = 0; i < length;) {
        uint32_t run = 1;
        while (i + run < length && bytes[i + run] == bytes[i])
            ++run;
        if (run > kLongRun) {
            char marker[40];
            const int n = std::snprintf(marker, sizeof marker, "...(length=%lld) ", static_cast<long long>(run));
            out.put(marker, static_cast<size_t>(n));
            column += static_cast<uint32_t>(n);
            for (; column % kGroupColumns; ++column) // the next group starts in its column
                out.put(' ');
            i += run;
        } else {
            if (column % kGroupColumns == kGroupColumns - 1) {
                out.put(' ');
                ++column;
            }
            put_octet(out, bytes[i++]);
            column += 2;
        }
        if (column >= kLineColumns - 1 && i < length) {
            out.put('\n');
            column = 0;
        }
    }
    out.put('\n');
    out.finish();
}
