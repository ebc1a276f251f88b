// check_texts.cpp - the checks of text values: well-formed UTF-8, and the
// OID internationalized resource identifiers (the OID-IRI and RELATIVE-OID-IRI
// types), whose messages show the text around the fault.
#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>
#include <string_view>

#include "internal.h"
#include "kelvarn_services.h"

namespace {

constexpr int kMsgBadUtf8 = 135;
constexpr int kMsgBadIri = 287;
constexpr int kMsgBadIriArc = 288;

// Octets of the UTF-8 sequence that `lead` opens, 0 when it opens none: the
// leading ones of a byte from 0x80 count them, 2 to 6.
uint32_t sequence_length(unsigned char lead) {
    if (lead < 0x80)
        return 1;
    const auto ones = static_cast<uint32_t>(std::countl_one(lead));
    return ones >= 2 && ones <= 6 ? ones : 0;
}

bool continues(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// The length of the well-formed sequence at `p` within `available` octets,
// or 0.  A NUL is no continuation octet, so NUL-terminated text can pass any
// `available`.
uint32_t well_formed(const unsigned char *p, size_t available) {
    const uint32_t n = sequence_length(p[0]);
    if (n == 0 || n > available)
        return 0;
    for (uint32_t k = 1; k < n; ++k)
        if (!continues(p[k]))
            return 0;
    return n;
}

uint32_t code_point(const unsigned char *p, uint32_t n) {
    uint32_t value = n == 1 ? p[0] : p[0] & (0x7Fu >> n);
    for (uint32_t k = 1; k < n; ++k)
        value = value << 6 | (p[k] & 0x3Fu);
    return value;
}

// ---------------------------------------------------------------------------
// OID-IRI

constexpr uint32_t kShown = 128; // characters of the value a message shows
constexpr std::string_view kCut = "...";

// The arc names under the roots ITU-T (0) and ISO (1).
constexpr std::string_view kItuArcs[] = {"Recommendation", "Administration", "Network-Operator",
                                         "Identified-Organization", "R-Recommendation"};
constexpr std::string_view kIsoArcs[] = {"Standard", "Registration-Authority", "Member-Body",
                                         "Identified-Organization"};

struct Root {
    std::string_view number, name;
};
constexpr Root kRoots[] = {{"0", "ITU-T"}, {"1", "ISO"}, {"2", "Joint-ISO-ITU-T"}};

// Letters, digits and "-._~" of ASCII; from U+00A0 on, the code points of
// the long-arc rule, none of them the last two of a plane.
bool arc_character(uint32_t c) {
    if (c < 0x80)
        return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') || c == '-' || c == '.' ||
               c == '_' || c == '~';
    if (c < 0x10000)
        return (c >= 0xA0 && c <= 0xD7FF) || (c >= 0xF900 && c <= 0xFDCF) || (c >= 0xFDF0 && c <= 0xFFEF);
    return c <= 0xEFFFD && (c & 0xFFFF) < 0xFFFE;
}

bool all_digits(std::string_view arc) {
    return std::all_of(arc.begin(), arc.end(), [](char c) { return c >= '0' && c <= '9'; });
}

template <size_t N> bool is_one_of(std::string_view arc, const std::string_view (&names)[N]) {
    return std::find(names, names + N, arc) != names + N;
}

class IriCheck {
  public:
    IriCheck(KelGlobal *world, const char *text, uint32_t length) : world_(world), text_(text, length) {}

    // End of the arc starting at `start`; an empty arc is a malformed value.
    uint32_t arc_end(uint32_t start) const {
        const size_t slash = text_.find('/', start);
        const auto end = static_cast<uint32_t>(slash == std::string_view::npos ? text_.size() : slash);
        if (end == start)
            fail(kMsgBadIri, start, static_cast<uint32_t>(text_.size()));
        return end;
    }

    std::string_view text() const { return text_; }
    std::string_view arc(uint32_t start, uint32_t end) const { return text_.substr(start, end - start); }

    // Every arc from `start` to the end of the value.
    void arcs(uint32_t start) const {
        for (;;) {
            const uint32_t end = arc_end(start);
            general_arc(start, end);
            if (end == text_.size())
                return;
            start = end + 1;
        }
    }

    [[noreturn]] void bad_arc(uint32_t at, uint32_t end) const { fail(kMsgBadIriArc, at, end); }

    // The value from "..." to "...": at most kShown characters about `at`,
    // none past `end`, cut on character boundaries.
    [[noreturn]] void fail(int message, uint32_t at, uint32_t end) const {
        uint32_t from = 0, to = end;
        if (end > kShown) {
            from = std::min(at > kShown / 2 ? at - kShown / 2 : 0, end - kShown);
            to = from + kShown;
        }
        while (from > 0 && from < to && continues(static_cast<unsigned char>(text_[from])))
            ++from;
        while (to < end && to > from && continues(static_cast<unsigned char>(text_[to])))
            --to;
        char shown[kCut.size() + kShown + kCut.size()];
        size_t n = 0;
        const auto put = [&](std::string_view piece) {
            std::memcpy(shown + n, piece.data(), piece.size());
            n += piece.size();
        };
        if (from > 0)
            put(kCut);
        put(text_.substr(from, to - from));
        if (to < text_.size())
            put(kCut);
        _kel_unbnd_error(world_, message, reinterpret_cast<const unsigned char *>(shown), static_cast<uint32_t>(n));
    }

  private:
    // Digits without a leading zero, or else the characters of an arc.
    void general_arc(uint32_t start, uint32_t end) const {
        const std::string_view a = arc(start, end);
        if (all_digits(a)) {
            if (a.size() > 1 && a[0] == '0')
                bad_arc(start, end);
            return;
        }
        const auto *p = reinterpret_cast<const unsigned char *>(text_.data());
        for (uint32_t i = start; i < end;) {
            const uint32_t n = well_formed(p + i, end - i);
            if (n == 0 || !arc_character(code_point(p + i, n)))
                bad_arc(i, end);
            i += n;
        }
    }

    KelGlobal *world_;
    std::string_view text_;
};

// The second arc under ITU-T or ISO: a number below 40 with no leading
// zero but a single one, or a name of the root's row.
bool second_arc(std::string_view a, bool itu) {
    if (all_digits(a))
        return a.size() == 1 || (a.size() == 2 && a[0] >= '1' && a[0] <= '3');
    return itu ? is_one_of(a, kItuArcs) : is_one_of(a, kIsoArcs);
}

// The third arc under a recommendation or administration of ITU-T: 1 to
// 26 or one of the letters A to Z.
bool series_arc(std::string_view a) {
    if (a.size() == 1)
        return (a[0] >= 'A' && a[0] <= 'Z') || (a[0] >= '1' && a[0] <= '9');
    return a.size() == 2 && all_digits(a) && (a[0] == '1' || (a[0] == '2' && a[1] <= '6'));
}

// The arc from `start`, which must meet `rule`; returns the arc's end.
template <class Rule> uint32_t ruled_arc(const IriCheck &iri, uint32_t start, Rule rule) {
    const uint32_t end = iri.arc_end(start);
    if (!rule(iri.arc(start, end)))
        iri.bad_arc(start, end);
    return end;
}

void check_absolute(const IriCheck &iri) {
    const std::string_view text = iri.text();
    const auto length = static_cast<uint32_t>(text.size());
    if (text[0] != '/' || text[1] == '/')
        iri.fail(kMsgBadIri, text[0] != '/' ? 0 : 1, length);
    uint32_t end = iri.arc_end(1);
    const std::string_view first = iri.arc(1, end);
    const auto root = std::find_if(std::begin(kRoots), std::end(kRoots),
                                   [&](const Root &r) { return first == r.number || first == r.name; });
    if (root == std::end(kRoots))
        return iri.arcs(1);
    const bool itu = root == &kRoots[0], iso = root == &kRoots[1];
    if ((itu || iso) && end < length) {
        std::string_view second;
        end = ruled_arc(iri, end + 1, [&](std::string_view a) {
            second = a;
            return second_arc(a, itu);
        });
        if (itu && (second == "0" || second == kItuArcs[0] || second == kItuArcs[1]) && end < length)
            end = ruled_arc(iri, end + 1, series_arc);
    }
    if (end < length)
        iri.arcs(end + 1);
}

} // namespace

extern "C" {

void _kel_checkUtf8String(KelGlobal *world, const unsigned char *text, uint32_t length) {
    for (uint32_t i = 0, n; i < length; i += n)
        if ((n = well_formed(text + i, length - i)) == 0)
            _kel_enc_error(world, kMsgBadUtf8, 0);
}

void _kel_checkUtf8String_nlltrm(KelGlobal *world, const char *text) {
    const auto *p = reinterpret_cast<const unsigned char *>(text);
    for (uint32_t n; *p; p += n)
        if ((n = well_formed(p, SIZE_MAX)) == 0)
            _kel_enc_error(world, kMsgBadUtf8, 0);
}

int _kel_check_oid_iri(KelGlobal *world, const char *text, uint32_t length, int flags) {
    const bool absolute = (flags & KEL_OID_IRI_ABSOLUTE) != 0;
    const IriCheck iri(world, text, length);
    if (length < (absolute ? 2u : 1u))
        iri.fail(kMsgBadIri, 0, length);
    if (absolute)
        check_absolute(iri);
    else
        iri.arcs(0);
    return 0;
}

} // extern "C"
