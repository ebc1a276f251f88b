/*
 * round_trip.h - the oracle every family's fuzz target runs: decode the
 * input through a stand-in code file, in library memory or in a caller's
 * buffer, and run what decoded through a round trip.
 *
 * When a decoded value encodes, its encoding must decode and that second
 * value must encode to the same octets.  (Decoders accept some values that
 * encoders refuse, so a first encode may fail.)  Encodings are compared,
 * never values in memory.  Along the way the frame's promises are checked:
 * a failed decode leaves no value in library memory and the caller's area
 * in place, and the decoder never claims to have read more than it was
 * given when it succeeds.  Every value goes back through kelFreePDU and
 * every encoding through kelFreeBuf, so that LeakSanitizer reports real
 * leaks.  Bit 6 of the mode octet asks for relaxed decoding.  A family may
 * ask for the canonical oracle instead (canonical_trip).
 */
#ifndef KEL_FUZZ_ROUND_TRIP_H
#define KEL_FUZZ_ROUND_TRIP_H

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz_schemas.h"

namespace kel_fuzz {

/* The rules of a target's family, by selector. */
/* What a target checks of a decoded value: that it survives a round trip,
 * or that its encoding is the input itself (canonical_trip). */
enum class Oracle { round_trip, canonical };

struct Family {
    const char *target;
    const int *rules;
    const char *const *ruleNames;
    unsigned ruleCount;
    /* The family's own settings from the mode octet's upper bits, or null. */
    void (*configure)(KelGlobal *world, unsigned familyBits) = nullptr;
    Oracle oracle = Oracle::round_trip;
};

constexpr unsigned familyRelaxed = 0x1;

/* Room for the value decoded from n octets: the largest record of the code
 * files is a few dozen octets for a two-octet encoding. */
inline std::size_t decode_room(std::size_t n) { return 16 * n + 256; }
/* Room for an encoding: fixed-size forms can outgrow a short input. */
inline std::size_t encode_room(std::size_t n) { return 8 * n + 4096; }

/* One decode-encode chain on an open world, under one selection. */
class RoundTrip {
public:
    RoundTrip(KelGlobal *world, const Selection &sel, const Family &family)
        : world_(world), sel_(sel), family_(family) {}

    [[noreturn]] void fail(const char *what, int code) const
    {
        std::fprintf(stderr, "%s: %s; %s, PDU %d of %s, %s memory, misalign %u, code %d: %s\n",
                     family_.target, what, family_.ruleNames[sel_.rule], sel_.pdu, sel_.schema->module,
                     sel_.callerBuffer ? "caller's" : "library", sel_.misalign, code,
                     kelGetErrMsg(world_));
        std::abort();
    }

    /* Decodes n octets; the value, or null when the decoder refused them.
     * `room` is the size of the caller's area when one is used. */
    void *decode(const uint8_t *octets, std::size_t n, std::size_t room)
    {
        KelBuf input{ uint32_t(n), const_cast<unsigned char *>(octets) };
        int pdu = sel_.pdu;
        void *value = nullptr;
        unsigned char *aligned = nullptr;

        if (sel_.callerBuffer) {
            area_.assign(room + sel_.misalign, 0);
            value = area_.data() + sel_.misalign;
            aligned = area_.data() + ((sel_.misalign + 7) & ~7u);
            world_->decodingLength = int32_t(room);
        } else {
            world_->decodingLength = 0;
        }
        int code = lastCode_ = kelDecode(world_, &pdu, &input, &value);
        if (code == 0) {
            /* A failure may leave the count past the end: the readers step
             * over a length before they find it too long. */
            /* PER counts the one octet of an empty encoding as read, also
             * when the input lacks it. */
            if (kelGetBytesReadByDecoder(world_) > long(n > 0 ? n : 1))
                fail("decoder read beyond its input", code);
            if (!value)
                fail("decode succeeded without a value", code);
            if (pdu != sel_.pdu)
                fail("decode changed the PDU number", code);
            return value;
        }
        if (value != aligned)
            fail(sel_.callerBuffer ? "failed decode moved the caller's area" : "failed decode left a value",
                 code);
        return nullptr;
    }

    int last_code() const { return lastCode_; }

    /* Octets the decode took from the caller's area. */
    std::size_t area_used() const { return std::size_t(world_->decodingLength); }

    /* Encodes a value; returns the code and leaves the octets in `out`. */
    int encode(void *value, std::vector<unsigned char> &out, std::size_t room)
    {
        std::vector<unsigned char> buffer;
        KelBuf output{ 0, nullptr };
        if (sel_.callerBuffer) {
            buffer.assign(room, 0);
            output = { uint32_t(room), buffer.data() };
        }
        int code = kelEncode(world_, sel_.pdu, value, &output);
        if (code == 0) {
            out.assign(output.value, output.value + output.length);
            if (!sel_.callerBuffer)
                kelFreeBuf(world_, output.value);
        } else if (output.value != (sel_.callerBuffer ? buffer.data() : nullptr)) {
            fail("failed encode changed the output record", code);
        }
        return code;
    }

    void release(void *value)
    {
        if (!sel_.callerBuffer)
            kelFreePDU(world_, sel_.pdu, value);
    }

private:
    KelGlobal *world_;
    Selection sel_;
    const Family &family_;
    std::vector<unsigned char> area_; /* the caller's area of the last decode */
    int lastCode_ = 0;
};

/* The one encoding the library writes and then refuses on purpose: under
 * COER an all-zero named-bit value goes out as no bits, which the decoder
 * does not take into a fixed-size memory form. */
inline bool refused_by_design(KelGlobal *world)
{
    return world->encRules == KEL_COER && std::strstr(kelGetErrMsg(world), "0063S") &&
           std::strstr(kelGetErrMsg(world), "length of value = 0;");
}

inline void round_trip(KelGlobal *world, const Selection &sel, const Family &family, const uint8_t *octets,
                std::size_t n)
{
    RoundTrip trip(world, sel, family);
    std::vector<unsigned char> first, second;

    void *value = trip.decode(octets, n, decode_room(n));
    if (!value)
        return;
    std::size_t used = trip.area_used();
    int code = trip.encode(value, first, encode_room(n));
    trip.release(value);
    // Decoders accept values that encoders refuse: an unknown alternative of
    // an extensible CHOICE (kept as selector 0 in the walkers' memory form),
    // an OBJECT IDENTIFIER that breaks the first-arc rules, a time beyond the
    // encoder's range.  Such a value ends here; what does encode must
    // decode and encode again to the same octets.
    if (code)
        return;

    value = trip.decode(first.data(), first.size(), 2 * used + 256);
    if (!value && !refused_by_design(world))
        trip.fail("the re-encoding does not decode", trip.last_code());
    if (!value)
        return;
    code = trip.encode(value, second, encode_room(first.size()));
    trip.release(value);
    if (code)
        trip.fail("the second value does not encode", code);
    if (first != second)
        trip.fail("the second encoding differs from the first", 0);
}

inline void print_hex(const char *label, const uint8_t *octets, std::size_t n)
{
    std::fprintf(stderr, "%s ", label);
    for (std::size_t i = 0; i < n; ++i)
        std::fprintf(stderr, "%02x", octets[i]);
    std::fprintf(stderr, "\n");
}

/* Differences between a strictly decoded input and its encoding that the
 * stand-ins' memory forms explain: the value they hold is not the value
 * that came, so its encoding can't be the input.  Each allowance is decided
 * on the two encodings of one value, TLV by TLV, and excuses only that
 * value; any other difference is a finding. */
namespace memory_forms {

struct Tlv {
    const uint8_t *identifier;
    std::size_t identifierLength;
    const uint8_t *contents;
    std::size_t length;

    bool constructed() const { return (identifier[0] & 0x20) != 0; }
    bool same_identifier(const Tlv &other) const
    {
        return identifierLength == other.identifierLength &&
               std::memcmp(identifier, other.identifier, identifierLength) == 0;
    }
};

/* The TLVs of definite-length contents, or false when they are not that. */
inline bool split(const uint8_t *p, std::size_t n, std::vector<Tlv> &out)
{
    std::size_t i = 0;
    while (i < n) {
        Tlv tlv{};
        tlv.identifier = p + i;
        if ((p[i++] & 0x1F) == 0x1F)
            while (i < n && (p[i++] & 0x80)) {
            }
        tlv.identifierLength = std::size_t(p + i - tlv.identifier);
        if (i >= n || p[i] == 0x80)
            return false;
        std::size_t length = p[i++];
        if (length > 0x80) {
            const std::size_t count = length & 0x7F;
            if (count > sizeof(uint32_t) || n - i < count)
                return false;
            length = 0;
            for (std::size_t k = 0; k < count; ++k)
                length = length << 8 | p[i++];
        }
        if (n - i < length)
            return false;
        tlv.contents = p + i;
        tlv.length = length;
        i += length;
        out.push_back(tlv);
    }
    return true;
}

/* A NUL-terminated string stops at its first NUL octet. */
inline bool cut_at_nul(const Tlv &in, const Tlv &out)
{
    const void *nul = std::memchr(in.contents, 0, in.length);
    return nul && out.length == std::size_t(static_cast<const uint8_t *>(nul) - in.contents) &&
           std::memcmp(in.contents, out.contents, out.length) == 0;
}

/* A blank-padded string loses its trailing blanks and NULs. */
inline bool cut_padding(const Tlv &in, const Tlv &out)
{
    std::size_t n = in.length;
    while (n && (in.contents[n - 1] == ' ' || in.contents[n - 1] == 0))
        --n;
    return n < in.length && out.length == n && std::memcmp(in.contents, out.contents, n) == 0;
}

/* A GeneralizedTime in a KelTimeStruct keeps milliseconds: a fraction of
 * more digits comes back rounded, the time before it the same. */
inline bool rounded_to_milliseconds(const Tlv &in, const Tlv &out)
{
    if (in.identifierLength != 1 || in.identifier[0] != 0x18)
        return false;
    const auto *point = static_cast<const uint8_t *>(std::memchr(in.contents, '.', in.length));
    if (!point)
        return false;
    const std::size_t before = std::size_t(point - in.contents);
    std::size_t digits = 0;
    while (before + 1 + digits < in.length && point[1 + digits] >= '0' && point[1 + digits] <= '9')
        ++digits;
    return digits > 3 && out.length >= before && std::memcmp(in.contents, out.contents, before) == 0;
}

/* A REAL held as a double: a binary value with more than 53 bits of
 * mantissa, below the least subnormal double, or at or beyond the largest
 * finite double (which stands for infinity) comes back as another value. */
inline bool beyond_double(const Tlv &in)
{
    if (in.identifierLength != 1 || in.identifier[0] != 0x09 || in.length == 0 || !(in.contents[0] & 0x80))
        return false;
    const uint8_t *p = in.contents;
    std::size_t at = 1, count = (p[0] & 3u) + 1;
    if ((p[0] & 3u) == 3) {
        count = in.length > 1 ? p[1] : 0;
        at = 2;
    }
    if (count == 0 || count > 4 || at + count >= in.length || p[at + count] == 0)
        return false;
    int64_t exponent = int8_t(p[at]);
    for (std::size_t k = 1; k < count; ++k)
        exponent = exponent * 256 + p[at + k];
    const uint8_t *mantissa = p + at + count;
    const std::size_t octets = in.length - at - count;
    const int64_t bits = int64_t(8 * (octets - 1)) + std::bit_width(unsigned(mantissa[0]));
    if (bits > DBL_MANT_DIG || exponent < DBL_MIN_EXP - DBL_MANT_DIG || exponent + bits > DBL_MAX_EXP)
        return true;
    double value = 0;
    for (std::size_t k = 0; k < octets; ++k)
        value = value * 256 + mantissa[k];
    return std::ldexp(value, int(exponent)) >= DBL_MAX;
}

inline bool leaf_explained(const Tlv &in, const Tlv &out)
{
    return cut_at_nul(in, out) || cut_padding(in, out) || rounded_to_milliseconds(in, out) || beyond_double(in);
}

/* Whether the encoding `out` of a value decoded from `in` differs from it
 * only where a memory form explains it.  With `extensible` an item of the
 * input may be missing from the encoding: an unknown extension, which the
 * walkers step over. */
inline bool explained(const uint8_t *in, std::size_t n, const uint8_t *out, std::size_t m, bool extensible)
{
    std::vector<Tlv> ins, outs;
    if (!split(in, n, ins) || !split(out, m, outs))
        return false;
    std::size_t k = 0;
    for (const Tlv &item : ins) {
        if (k == outs.size() || !item.same_identifier(outs[k])) {
            if (!extensible)
                return false;
            continue;
        }
        const Tlv &encoded = outs[k++];
        if (item.length == encoded.length && std::memcmp(item.contents, encoded.contents, item.length) == 0)
            continue;
        if (!(item.constructed() ? explained(item.contents, item.length, encoded.contents, encoded.length, extensible)
                                 : leaf_explained(item, encoded)))
            return false;
    }
    return k == outs.size();
}

/* Whether `type` has an extensible SEQUENCE or SET anywhere in it. */
inline bool has_extensible_structure(const KelTypeDesc *type, std::vector<const KelTypeDesc *> &seen)
{
    if (std::find(seen.begin(), seen.end(), type) != seen.end())
        return false;
    seen.push_back(type);
    if ((type->kind == KEL_KIND_SEQUENCE || type->kind == KEL_KIND_SET) && (type->flags & KEL_DESC_EXTENSIBLE))
        return true;
    for (uint32_t i = 0; i < type->componentCount; ++i)
        if (has_extensible_structure(type->components[i].type, seen))
            return true;
    return false;
}

/* Whether the selected PDU is a table-driven type with an extensible
 * SEQUENCE or SET, whose unknown extensions the walker drops. */
inline bool drops_unknown_extensions(const Selection &sel)
{
    const KelCodeFile *file = kel_codefile_find(sel.schema->module);
    if (!file || &file->control != sel.schema->control)
        return false;
    std::vector<const KelTypeDesc *> seen;
    return has_extensible_structure(file->pdus[sel.pdu - 1].type, seen);
}

} // namespace memory_forms

/* The canonical oracle.  Under DER with STRICT_ENCODING_DECODING_RULES the
 * decoder takes only the one encoding of each value, so a value it took must
 * encode to exactly the octets it consumed; any other encoding means that
 * the decoder let a non-canonical form through or that the encoder is not
 * canonical, unless the stand-in's memory form could not hold the value
 * that came (memory_forms).  A value the encoder refuses ends here, as in
 * round_trip. */
inline void canonical_trip(KelGlobal *world, const Selection &sel, const Family &family, const uint8_t *octets,
                           std::size_t n)
{
    RoundTrip trip(world, sel, family);
    std::vector<unsigned char> encoding;

    void *value = trip.decode(octets, n, decode_room(n));
    if (!value)
        return;
    const std::size_t consumed = std::size_t(kelGetBytesReadByDecoder(world));
    const int code = trip.encode(value, encoding, encode_room(n));
    trip.release(value);
    if (code != 0 || (encoding.size() == consumed && std::equal(encoding.begin(), encoding.end(), octets)))
        return;
    if (memory_forms::explained(octets, consumed, encoding.data(), encoding.size(),
                                memory_forms::drops_unknown_extensions(sel)))
        return;
    print_hex("input     ", octets, consumed);
    print_hex("encoded as", encoding.data(), encoding.size());
    trip.fail("the encoding of a strictly decoded value differs from its input", 0);
}

/* One fuzz input: the selector octets choose schema, PDU, rule and memory;
 * a schema whose code file doesn't serve the chosen rule has nothing to do. */
inline int run_input(const Family &family, const uint8_t *data, std::size_t size)
{
    if (size < kel_fuzz::selectorSize)
        return 0;
    const Selection sel = kel_fuzz::select(data, family.ruleCount);
    KelGlobal world;
    if (kelinit(&world, const_cast<KelControlTable *>(sel.schema->control)) != 0)
        std::abort();
    if (kelSetEncodingRules(&world, family.rules[sel.rule]) == 0) {
        if (sel.familyBits & familyRelaxed)
            kelSetDecodingFlags(&world, kelGetDecodingFlags(&world) | KEL_RELAXED);
        if (family.configure)
            family.configure(&world, sel.familyBits);
        if (family.oracle == Oracle::canonical)
            canonical_trip(&world, sel, family, data + kel_fuzz::selectorSize, size - kel_fuzz::selectorSize);
        else
            round_trip(&world, sel, family, data + kel_fuzz::selectorSize, size - kel_fuzz::selectorSize);
    }
    kelterm(&world);
    return 0;
}

} // namespace kel_fuzz

#endif /* KEL_FUZZ_ROUND_TRIP_H */
