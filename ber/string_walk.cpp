// string_walk.cpp - the walk over constructed strings: the tree of segments
// is traversed once, noting where each primitive segment lies, so that the
// decoders copy the value once, knowing its size.  Also the step that turns
// a primitive or constructed string into such a fragment list.

#include <cstring>

#include "ber.h"
#include "internal.h"
#include "kelvarn_ber.h"

namespace {

using namespace kel::ber;
using kel::ber::StringContents;

// The end of an indefinite-length level: no position reaches it.
unsigned char *const kNoEnd = reinterpret_cast<unsigned char *>(~uintptr_t{0});

[[noreturn]] void end_of_input(KelGlobal *world) {
    _kel_enc_error(world, kel::kMsgEndOfInput, 0);
}

inline uint8_t walk_octet(KelGlobal *world, unsigned char *&p) {
    if (p >= world->inLimit)
        end_of_input(world);
    return *p++;
}

// Whether the octets at `p` are an end-of-contents pair.  Reads as the
// walk reads a header: never past the input.
bool end_of_contents(KelGlobal *world, const unsigned char *p) {
    if (p >= world->inLimit || p[0] != 0)
        return false;
    if (p + 1 >= world->inLimit)
        end_of_input(world);
    return p[1] == 0;
}

void add_fragment(KelGlobal *world, KelFragmentList *list, unsigned char *value, uint32_t length) {
    if (list->count >= list->capacity)
        _kel_reallocate_fragment_array(world, list);
    list->fragments[list->count++] = KelFragment{length, value};
}

// The ends of the open levels of a walk, innermost last.  The first ones
// live on the stack; deeper nesting goes on in chunks of the second temporary
// list, each holding a link to the chunk below, so that any depth costs no
// machine stack and a failure leaves the chunks to the driver's release.
class Levels {
  public:
    explicit Levels(unsigned char *end) : ends_(inline_), used_(1), capacity_(kInline) { inline_[0] = end; }
    unsigned char *innermost() const { return ends_[used_ - 1]; }
    bool outermost() const { return ends_ == inline_ && used_ == 1; }

    void open(KelGlobal *world, unsigned char *end) {
        if (used_ == capacity_) {
            auto **chunk = reinterpret_cast<unsigned char **>(
                _kel_tstk_get_altdecmem(world, kChunk * sizeof(unsigned char *)));
            chunk[0] = reinterpret_cast<unsigned char *>(ends_);
            ends_ = chunk;
            used_ = 1;
            capacity_ = kChunk;
        }
        ends_[used_++] = end;
    }
    void close(KelGlobal *world) {
        if (--used_ == 1 && ends_ != inline_) {
            auto **below = reinterpret_cast<unsigned char **>(ends_[0]);
            _kel_tstk_free_altdecmem(world, reinterpret_cast<unsigned char *>(ends_));
            ends_ = below;
            used_ = capacity_ = below == inline_ ? kInline : kChunk;
        }
    }

  private:
    static constexpr uint32_t kInline = 32, kChunk = 512;
    unsigned char *inline_[kInline];
    unsigned char **ends_;
    uint32_t used_, capacity_;
};

// The walk over a constructed string from its contents at `*pos` to `end`.
// `Bits` selects the BIT STRING walk: segments carry tag 3 and lead with an
// unused-bits octet.  Every level entered counts against the nesting limit.
template <bool Bits>
uint32_t walk(KelGlobal *world, KelFragmentList *list, unsigned char **pos, unsigned char *end) {
    constexpr uint32_t kSegmentTag = Bits ? 3 : 4;
    KelWorldExt *ext = world->ext;
    const uint32_t depthLimit = ext->constructedLimit;
    auto enter = [&] {
        if (depthLimit && ++ext->constructedDepth > depthLimit)
            _kel_enc_error(world, kMsgNestingTooDeep, 0);
    };
    enter();
    Levels levels(end);
    uint32_t total = 0;
    unsigned char *p = *pos;
    for (;;) {
        unsigned char *const levelEnd = levels.innermost();
        if (p < levelEnd && !end_of_contents(world, p)) {
            const uint8_t first = walk_octet(world, p);
            uint32_t number = first & 0x1F;
            if (number == 0x1F) {
                uint8_t octet;
                number = 0;
                do {
                    octet = walk_octet(world, p);
                    if (number > 127)
                        _kel_enc_error(world, kel::kMsgTagTooLong, number);
                    number = number << 7 | (octet & 0x7F);
                } while (octet & 0x80);
            }
            const uint8_t lengthOctet = walk_octet(world, p);
            if ((first & 0xC0) || number != kSegmentTag)
                _kel_enc_error(world, kel::kMsgTagMismatch,
                               kSegmentTag << 16 | (uint32_t(first & 0xC0) << 8 | (number & 0x3FFF)));
            const bool constructed = (first & 0x20) != 0;
            if (lengthOctet == 0x80) {
                if (!constructed)
                    _kel_enc_error(world, kMsgIndefinitePrimitive, 0);
                enter();
                levels.open(world, kNoEnd);
                continue;
            }
            uint32_t length = lengthOctet;
            if (lengthOctet > 0x80) {
                length = 0;
                for (uint32_t n = lengthOctet & 0x7F; n; --n) {
                    if (length > 0xFFFFFF)
                        _kel_enc_error(world, kel::kMsgLengthTooLong, length);
                    length = length << 8 | walk_octet(world, p);
                }
            }
            if (length > static_cast<uintptr_t>(world->inLimit - p))
                end_of_input(world);
            if (constructed) {
                enter();
                levels.open(world, p + length);
                continue;
            }
            if constexpr (Bits) {
                if (length) {
                    if (list->unusedBits)
                        _kel_enc_error(world, kMsgFirstOctetNotZero, 0);
                    list->unusedBits = p[0];
                    if (length > 1)
                        add_fragment(world, list, p + 1, length - 1);
                    total += length - 1;
                }
            } else if (length) {
                add_fragment(world, list, p, length);
                total += length;
            }
            p += length;
            continue;
        }
        // The innermost level ends: at its end, or at end-of-contents (which
        // closes a level of definite length too).
        if (p < levelEnd)
            p += 2;
        if (p > levelEnd)
            _kel_enc_error(world, kMsgInconsistentLengths, 0);
        if (depthLimit)
            --ext->constructedDepth;
        if (levels.outermost())
            break;
        levels.close(world);
    }
    *pos = p;
    return total;
}

// The header of a CER segment at `p` within a walked (so well-formed)
// string: a primitive segment of the string's own tag, in one identifier
// octet, with the fewest length octets.  Returns its contents length and
// moves `p` to the contents.
uint32_t cer_segment_header(KelGlobal *world, const unsigned char *&p, uint8_t segmentTag) {
    const uint8_t identifier = *p++;
    if (identifier != segmentTag)
        _kel_enc_error(world, identifier & 0x20 ? int{kMsgExpectedPrimitive} : int{kel::kMsgMisencoded}, 0);
    const uint8_t first = *p++;
    if (first < 0x80)
        return first;
    uint32_t count = first & 0x7F, length = 0;
    if (*p == 0 || (count == 1 && *p < 0x80))
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
    while (count--)
        length = length << 8 | *p++;
    return length;
}

// A constructed string under strict CER (X.690 9.2): only one that needs
// more than one segment, each segment primitive with 1000 contents octets
// (the unused-bits octet of a BIT STRING counting among them), the last
// with 1 to 1000.  The walk has read the same octets from `p` to `end`.
void check_cer_segments(KelGlobal *world, const unsigned char *p, const unsigned char *end,
                        uint8_t segmentTag) {
    uint32_t segments = 0, last = 0;
    while (p < end && !(p[0] == 0 && p[1] == 0)) {
        const uint32_t length = cer_segment_header(world, p, segmentTag);
        if (segments && last != kCerSegment)
            _kel_enc_error(world, kel::kMsgMisencoded, 0);
        ++segments;
        last = length;
        p += length;
    }
    if (segments < 2)
        _kel_enc_error(world, kMsgExpectedPrimitive, 0);
    if (last == 0 || last > kCerSegment)
        _kel_enc_error(world, kel::kMsgMisencoded, 0);
}

void start_list(StringContents *contents) {
    contents->list = KelFragmentList{contents->inlineFragments, 8, 0, 0, 0};
    contents->octets = 0;
}

// Walks a constructed string that starts at `*pos`; `length` from its
// header, negative for the indefinite form.
template <bool Bits>
void take_constructed(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                      StringContents *contents) {
    if (length > *rem)
        end_of_input(world);
    // DER strings are primitive (X.690 10.2).
    const bool checked = strict_canonical(world);
    if (checked && world->encRules == KEL_DER)
        _kel_enc_error(world, kMsgExpectedPrimitive, 0);
    world->inLimit = *pos + *rem;
    unsigned char *const start = *pos;
    unsigned char *end = length < 0 ? kNoEnd : *pos + length;
    contents->octets = walk<Bits>(world, &contents->list, pos, end);
    *rem = static_cast<int32_t>(world->inLimit - *pos);
    if (checked)
        check_cer_segments(world, start, *pos, Bits ? 3 : 4);
}

} // namespace

namespace kel::ber {

void check_long_primitive(KelGlobal *world, int32_t) {
    if (strict_canonical(world) && world->encRules == KEL_CER)
        _kel_enc_error(world, kMsgExpectedConstructed, 0);
}

void take_constructed_string(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                             StringContents *contents) {
    take_constructed<false>(world, pos, rem, length, contents);
}

void take_bit_string(KelGlobal *world, unsigned char **pos, int32_t *rem, int32_t length,
                     StringContents *contents) {
    start_list(contents);
    if (world->bitOffset) {
        take_constructed<true>(world, pos, rem, length, contents);
    } else {
        unsigned char *start = take_contents(world, pos, rem, length);
        if (length == 0)
            _kel_enc_error(world, kel::kMsgMisencoded, 0);
        if (length > kCerSegment)
            check_long_primitive(world, length);
        contents->list.unusedBits = start[0];
        if (length > 1) {
            contents->inlineFragments[0] = KelFragment{static_cast<uint32_t>(length - 1), start + 1};
            contents->list.count = 1;
            contents->octets = static_cast<uint32_t>(length - 1);
        }
    }
    const uint8_t unused = contents->list.unusedBits;
    if (contents->octets && unused > 7)
        _kel_enc_error(world, kMsgUnusedBitsRange, unused);
    if (!contents->octets && unused)
        _kel_enc_error(world, kMsgFirstOctetNotZero, 0);
    // CER and DER clear the unused bits (X.690 11.2.1).
    if (unused && strict_canonical(world)) {
        const KelFragment &last = contents->list.fragments[contents->list.count - 1];
        if (last.value[last.length - 1] & ((1u << unused) - 1))
            _kel_enc_error(world, kMsgPaddingNotZero, 0);
    }
}

} // namespace kel::ber

extern "C" {

uint32_t _kel_get_strlen(KelGlobal *world, KelFragmentList *list, unsigned char **pos,
                         unsigned char *end) {
    return walk<false>(world, list, pos, end);
}

uint32_t _kel_get_bitlen(KelGlobal *world, KelFragmentList *list, unsigned char **pos,
                         unsigned char *end) {
    return walk<true>(world, list, pos, end);
}

void _kel_reallocate_fragment_array(KelGlobal *world, KelFragmentList *list) {
    const uint32_t oldSize = static_cast<uint32_t>(list->capacity) * sizeof(KelFragment);
    const uint32_t newSize = oldSize + 8 * sizeof(KelFragment);
    if (list->flags & 1u) {
        list->fragments = static_cast<KelFragment *>(
            _kel_dec_realloctempmem(world, list->fragments, oldSize, newSize));
    } else {
        auto *moved = static_cast<KelFragment *>(_kel_dec_gettempmem(world, newSize));
        std::memcpy(moved, list->fragments, oldSize);
        list->fragments = moved;
        list->flags |= 1u;
    }
    list->capacity += 8;
}

} // extern "C"
