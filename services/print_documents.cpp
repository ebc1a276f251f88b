// print_documents.cpp - JSON and XML encodings shown as text: as they stand
// (carriage returns before line feeds dropped), re-indented ("pretty"), or,
// for the test driver, with control octets made visible and long XML text
// content cut.
#include <cstring>

#include "printing.h"

using kel::print::Sink;
using kel::print::Target;

namespace {

// XML text content that the test driver shows is cut after this many octets.
constexpr uint32_t kXmlTextShown = 1024;
constexpr int kXmlIndent = 2;

bool blank(unsigned char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

void new_line(Sink &out, int columns) {
    out.put('\n');
    for (int i = 0; i < columns; ++i)
        out.put(' ');
}

// The text as it stands, but for a CR before an LF, ending on a line break.
void plain(Sink &out, const unsigned char *text, uint32_t length) {
    const char *p = reinterpret_cast<const char *>(text);
    const char *end = p + length;
    const char *run = p;
    for (; p < end; ++p)
        if (p[0] == '\r' && p + 1 < end && p[1] == '\n') {
            out.put(run, static_cast<size_t>(p - run));
            run = p + 1;
        }
    out.put(run, static_cast<size_t>(end - run));
    if (length && end[-1] != '\n')
        out.put('\n');
}

// ------------------------------------------------------------------------
// JSON
// ------------------------------------------------------------------------

bool json_structural(unsigned char c) { return c == '{' || c == '}' || c == '[' || c == ']' || c == ',' || c == ':'; }

// One value or member to a line, `indent` blanks a level; empty objects and
// arrays stay {} and [].
void pretty_json(Sink &out, const unsigned char *p, const unsigned char *end, int indent) {
    int level = 0;
    bool lineBreak = false; // the next value starts a line
    unsigned char previous = 0;
    auto start_value = [&] {
        if (lineBreak)
            new_line(out, level * indent);
        lineBreak = false;
    };
    while (p < end) {
        const unsigned char c = *p;
        if (blank(c)) {
            ++p;
            continue;
        }
        if (c == '{' || c == '[') {
            start_value();
            out.put(static_cast<char>(c));
            ++level;
            lineBreak = true;
            ++p;
        } else if (c == '}' || c == ']') {
            level = level > 0 ? level - 1 : 0;
            if (previous != (c == '}' ? '{' : '['))
                new_line(out, level * indent);
            out.put(static_cast<char>(c));
            lineBreak = false;
            ++p;
        } else if (c == ',') {
            out.put(',');
            lineBreak = true;
            ++p;
        } else if (c == ':') {
            out.put(": ");
            ++p;
        } else {
            start_value();
            const unsigned char *from = p;
            if (c == '"') {
                for (++p; p < end && *p != '"'; ++p)
                    if (*p == '\\' && p + 1 < end)
                        ++p;
                p += p < end;
            } else {
                while (p < end && !blank(*p) && !json_structural(*p) && *p != '"')
                    ++p;
            }
            out.put(reinterpret_cast<const char *>(from), static_cast<size_t>(p - from));
        }
        previous = c;
    }
    out.put('\n');
}

// ------------------------------------------------------------------------
// XML
// ------------------------------------------------------------------------

enum class TagKind { kStart, kEmpty, kEnd, kProlog, kCdata };

struct Tag {
    TagKind kind;
    const unsigned char *end; // behind the tag
};

bool starts(const unsigned char *p, const unsigned char *end, const char *word) {
    for (; *word; ++word, ++p)
        if (p == end || *p != static_cast<unsigned char>(*word))
            return false;
    return true;
}

// Behind the first `close` from `p`, or the end.
const unsigned char *behind(const unsigned char *p, const unsigned char *end, const char *close) {
    for (; p < end; ++p)
        if (starts(p, end, close))
            return p + std::strlen(close);
    return end;
}

// The tag at `p`, which holds '<'.
Tag read_tag(const unsigned char *p, const unsigned char *end) {
    if (starts(p, end, "<!--"))
        return {TagKind::kProlog, behind(p + 4, end, "-->")};
    if (starts(p, end, "<![CDATA["))
        return {TagKind::kCdata, behind(p + 9, end, "]]>")};
    if (starts(p, end, "<?"))
        return {TagKind::kProlog, behind(p + 2, end, "?>")};
    if (starts(p, end, "<!"))
        return {TagKind::kProlog, behind(p + 2, end, ">")};
    unsigned char quote = 0;
    const unsigned char *q = p + 1;
    for (; q < end; ++q) {
        if (quote) {
            quote = *q == quote ? 0 : quote;
        } else if (*q == '"' || *q == '\'') {
            quote = *q;
        } else if (*q == '>') {
            ++q;
            break;
        }
    }
    if (p + 1 < end && p[1] == '/')
        return {TagKind::kEnd, q};
    return {q - p >= 3 && q[-1] == '>' && q[-2] == '/' ? TagKind::kEmpty : TagKind::kStart, q};
}

// A tag with its runs of white space shrunk to one blank.
void put_tag(Sink &out, const unsigned char *p, const unsigned char *end) {
    while (p < end) {
        if (blank(*p)) {
            out.put(' ');
            while (p < end && blank(*p))
                ++p;
        } else {
            out.put(static_cast<char>(*p++));
        }
    }
}

// Elements re-indented where the text put a line break before a tag;
// prolog and comments on lines of their own; text that isn't only white
// space as it stands.
void pretty_xml(Sink &out, const unsigned char *p, const unsigned char *end) {
    while (p < end && *p != '<')
        ++p;
    int depth = 0;
    bool lineBreak = false, printed = false;
    while (p < end) {
        if (*p != '<') {
            const unsigned char *from = p;
            bool onlyBlanks = true, breaks = false;
            for (; p < end && *p != '<'; ++p) {
                onlyBlanks = onlyBlanks && blank(*p);
                breaks = breaks || *p == '\n';
            }
            if (onlyBlanks) {
                lineBreak = lineBreak || breaks;
            } else {
                out.put(reinterpret_cast<const char *>(from), static_cast<size_t>(p - from));
                lineBreak = false;
            }
            continue;
        }
        const Tag tag = read_tag(p, end);
        if (tag.kind == TagKind::kEnd)
            depth = depth > 0 ? depth - 1 : 0;
        const bool ownLine = tag.kind == TagKind::kProlog ? printed : lineBreak;
        if (ownLine)
            new_line(out, kXmlIndent * depth);
        if (tag.kind == TagKind::kProlog || tag.kind == TagKind::kCdata)
            out.put(reinterpret_cast<const char *>(p), static_cast<size_t>(tag.end - p));
        else
            put_tag(out, p, tag.end);
        if (tag.kind == TagKind::kStart)
            ++depth;
        lineBreak = tag.kind == TagKind::kProlog;
        printed = true;
        p = tag.end;
    }
    out.put('\n');
}

// The test driver's print: control octets other than tab, LF and CR as
// \xNN; with `cutText`, XML text content longer than kXmlTextShown octets
// ends in "..." and the rest up to the next tag is skipped.
void encoded_message(Sink &out, const unsigned char *p, const unsigned char *end, bool cutText) {
    uint32_t textRun = 0;
    bool inTag = false;
    while (p < end) {
        const unsigned char c = *p++;
        if (c == '<')
            inTag = true;
        if (!inTag && cutText && ++textRun > kXmlTextShown) {
            out.put("...");
            while (p < end && *p != '<')
                ++p;
            textRun = 0;
            continue;
        }
        if (c == '>') {
            inTag = false;
            textRun = 0;
        }
        if (c < 0x20 && c != '\t' && c != '\n' && c != '\r')
            out.format("\\x%.2X", c);
        else
            out.put(static_cast<char>(c));
    }
    if (end[-1] != '\n')
        out.put('\n');
}

} // namespace

extern "C" {

void kelPrintJSON(KelGlobal *world, const unsigned char *text, uint32_t length, int pretty) {
    if (!text || !length)
        return;
    Sink out(world, Target::kChannel);
    if (pretty) {
        const int indent = kelGetJsonIndentSize(world);
        pretty_json(out, text, text + length, indent > 0 ? indent : 0);
    } else {
        plain(out, text, length);
    }
    out.finish();
}

void kelPrintXML(KelGlobal *world, const unsigned char *text, uint32_t length, int pretty) {
    if (!text || !length)
        return;
    Sink out(world, Target::kChannel);
    if (pretty)
        pretty_xml(out, text, text + length);
    else
        plain(out, text, length);
    out.finish();
}

void kelPrintXmlEncodedMessage(KelGlobal *world, const unsigned char *text, uint32_t length) {
    if (!text || !length)
        return;
    Sink out(world, Target::kChannel);
    encoded_message(out, text, text + length, true);
    out.finish();
}

void kelPrintJsonEncodedMessage(KelGlobal *world, const unsigned char *text, uint32_t length) {
    if (!text || !length)
        return;
    Sink out(world, Target::kChannel);
    encoded_message(out, text, text + length, false);
    out.finish();
}

} // extern "C"
