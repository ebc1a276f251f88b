// print_texts.cpp - value notation of the string-like kinds: bit strings in
// binary, octet strings in hexadecimal, character strings as quoted runs and
// CHARACTER STRING lists, and the two time kinds held as KelTimeStruct.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "printing.h"

namespace kel::print {

namespace {

void put_optional(Sink &out, const char *text) {
    if (text)
        out.put(text);
}

bool printable_octet(uint32_t octet) { return (_kelCharFlags[octet & 0xFF] & KEL_CHAR_PRINTABLE) != 0; }

// Characters of _kel_prt_char: one octet each, shown as {column, row}.
struct OctetReader {
    const unsigned char *at, *end;
    bool next(uint32_t &code) {
        if (at == end)
            return false;
        code = *at++;
        return true;
    }
    static bool printable(uint32_t code) { return printable_octet(code); }
    static int other(char *item, size_t size, uint32_t code) {
        return std::snprintf(item, size, "{%d, %d}", static_cast<int>(code >> 4), static_cast<int>(code & 15));
    }
};

// Characters of _kel_prt_mbchar: UTF-8, or 16- and 32-bit units, shown as
// {group, plane, row, cell}.
struct UnitReader {
    const unsigned char *at, *end;
    int width;
    bool next(uint32_t &code) {
        if (at == end)
            return false;
        if (width == 2) {
            uint16_t unit;
            std::memcpy(&unit, at, 2);
            code = unit;
            at += 2;
            return true;
        }
        if (width == 4) {
            std::memcpy(&code, at, 4);
            at += 4;
            return true;
        }
        code = *at++;
        if (code < 0xC0 || code >= 0xF8)
            return true; // ASCII, or an octet that starts no sequence: itself
        const int follow = code >= 0xF0 ? 3 : code >= 0xE0 ? 2 : 1;
        if (end - at < follow)
            return true;
        uint32_t value = code & (0x7Fu >> (follow + 1));
        for (int i = 0; i < follow; ++i) {
            if ((at[i] & 0xC0) != 0x80)
                return true;
            value = value << 6 | (at[i] & 0x3Fu);
        }
        at += follow;
        code = value;
        return true;
    }
    static bool printable(uint32_t code) { return code < 0x100 && printable_octet(code); }
    static int other(char *item, size_t size, uint32_t code) {
        return std::snprintf(item, size, "{%d, %d, %d, %d}", static_cast<int>(code >> 24),
                             static_cast<int>(code >> 16 & 0xFF), static_cast<int>(code >> 8 & 0xFF),
                             static_cast<int>(code & 0xFF));
    }
};

// A value of one kind of character: a quoted run alone, a single other
// character alone, or else the list form {"ab", {0, 7}, "cd"}.  The chop
// limit counts the characters of runs and the width of the other items.
template <class Reader> void character_string(Sink &out, Reader reader) {
    Reader scan = reader;
    uint32_t code;
    bool anyPrintable = false, list = false;
    unsigned others = 0;
    while (!list && scan.next(code)) {
        if (Reader::printable(code))
            anyPrintable = true;
        else
            ++others;
        list = (others && anyPrintable) || others > 1;
    }
    if (!anyPrintable && !others) {
        out.put("\"\"");
        return;
    }
    if (list)
        out.put('{');
    const uint32_t chop = out.chop();
    uint32_t columns = 0;
    bool inRun = false, first = true;
    while (reader.next(code)) {
        char item[48];
        const bool printable = Reader::printable(code);
        const uint32_t width = printable ? 1 : static_cast<uint32_t>(Reader::other(item, sizeof item, code));
        if (chop && columns + width > chop) {
            out.put(inRun ? "\"..." : "...");
            return;
        }
        columns += width;
        if (printable) {
            if (!inRun) {
                out.put(first ? "\"" : ", \"");
                inRun = true;
            }
            out.put(static_cast<char>(code));
            if (code == '"')
                out.put('"'); // a quote inside a run is doubled
        } else {
            if (inRun)
                out.put('"');
            inRun = false;
            if (!first)
                out.put(", ");
            out.put(item, width);
        }
        first = false;
    }
    if (inRun)
        out.put('"');
    if (list)
        out.put('}');
}

// The difference from UTC as +hhmm or -hhmm, or Z when there is none.
void put_difference(Sink &out, int minutes) {
    if (minutes == 0) {
        out.put('Z');
        return;
    }
    const int magnitude = std::abs(minutes);
    out.format("%c%02d%02d", minutes < 0 ? '-' : '+', magnitude / 60, magnitude % 60);
}

} // namespace

void bits(Sink &out, const char *prefix, const unsigned char *bytes, uint32_t count, const char *suffix) {
    put_optional(out, prefix);
    const uint32_t shown = out.chop() && count > out.chop() ? out.chop() : count;
    for (uint32_t i = 0; i < shown; ++i) {
        if (i && i % 8 == 0)
            out.put(' ');
        out.put((bytes[i / 8] >> (7 - i % 8) & 1) ? '1' : '0');
    }
    if (shown < count)
        out.put(" ...");
    put_optional(out, suffix);
}

void hex(Sink &out, const char *prefix, const unsigned char *bytes, uint32_t length, const char *suffix) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    put_optional(out, prefix);
    const uint32_t chop = out.chop();
    const uint32_t shown = chop && uint64_t{length} * 2 > chop ? chop / 2 : length;
    for (uint32_t i = 0; i < shown; ++i) {
        out.put(kDigits[bytes[i] >> 4]);
        out.put(kDigits[bytes[i] & 15]);
    }
    if (shown < length)
        out.put(" ...");
    put_optional(out, suffix);
}

void chars(Sink &out, const unsigned char *text, uint32_t length) {
    character_string(out, OctetReader{text, text + length});
}

void mbchars(Sink &out, const void *text, uint32_t length, int width) {
    const auto *start = static_cast<const unsigned char *>(text);
    const uint32_t octets = width == 2 || width == 4 ? length * static_cast<uint32_t>(width) : length;
    character_string(out, UnitReader{start, start + octets, width});
}

void gentime(Sink &out, const KelTimeStruct *time) {
    out.format("\"%04d%02d%02d%02d%02d%02d.%03d", time->year, time->month, time->day, time->hour, time->minute,
               time->second, time->millisec);
    put_difference(out, time->mindiff);
    out.put('"');
}

void utctime(Sink &out, const KelTimeStruct *time) {
    out.format("\"%02d%02d%02d%02d%02d%02d", time->year, time->month, time->day, time->hour, time->minute,
               time->second);
    put_difference(out, time->mindiff);
    out.put('"');
}

} // namespace kel::print
