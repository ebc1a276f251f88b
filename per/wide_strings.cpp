// wide_strings.cpp - BMPString and UniversalString in PER, held as host-order
// u16 or u32 characters, and UTF8String held the same way and converted on
// the fly.  One template over the unit serves both widths.
//
// A wide character goes out in one of five ways: its own code in the full
// unit width (whole units, big-endian); its own code in fewer bits; its own
// code after a range-list membership test; its index in a 256-code alphabet
// table; its index in a range-list alphabet.

#include <cstring>

#include "char_string_forms.h"
#include "per.h"

namespace {

using namespace kel::per;
using namespace kel::per::strings;

template <class Unit> constexpr uint32_t kUnitBits = sizeof(Unit) * 8;

// How the characters of one descriptor go on the wire in this world.
struct WideForm {
    uint32_t bits;
    bool own;
    const KelPerWideAlphabet *alphabet; // null: no alphabet (or dropped with the extension)
    bool rangeList;
    const uint32_t *tree() const { return static_cast<const uint32_t *>(alphabet->chars); }
};

// The extension bit (read or written by the caller) with compatibility bit
// 0x1000 turns the alphabet off: full units, own code.
template <class Unit> WideForm wide_form(const KelGlobal *world, const KelPerString *desc, bool extended) {
    const CharForm f = char_form(world, desc->flags);
    WideForm form{f.bits, f.own, static_cast<const KelPerWideAlphabet *>(desc->alphabet),
                  (desc->flags & KEL_PER_RANGE_LIST) != 0};
    if (extended && compat(world, kCompatExtendedOwnCode)) {
        form.bits = kUnitBits<Unit>;
        form.own = true;
        form.alphabet = nullptr;
    }
    if (!form.alphabet)
        form.rangeList = false;
    return form;
}

// ---------------------------------------------------------------------------
// Writers
// ---------------------------------------------------------------------------

// Whole units, big-endian, staged in a small buffer and appended a block
// move at a time; the appender changes blocks at any octet.
template <class Unit> void write_units(KelGlobal *world, const Unit *chars, uint32_t count) {
    constexpr uint32_t kStage = 512 / sizeof(Unit);
    unsigned char stage[kStage * sizeof(Unit)];
    while (count) {
        const uint32_t n = count < kStage ? count : kStage;
        for (uint32_t i = 0; i < n; ++i) {
            uint32_t v = chars[i];
            for (uint32_t k = sizeof(Unit); k-- > 0; v >>= 8)
                stage[i * sizeof(Unit) + k] = static_cast<unsigned char>(v);
        }
        _kel_append(world, stage, n * kUnitBits<Unit>, 0);
        chars += n;
        count -= n;
    }
}

template <class Unit>
void write_wide(KelGlobal *world, const Unit *chars, uint32_t count, const WideForm &form) {
    if (count == 0)
        return;
    if (form.rangeList) {
        // The membership test happens here, also in length-only mode.
        const uint32_t *tree = form.tree();
        for (uint32_t i = 0; i < count; ++i) {
            uint32_t code = chars[i];
            if (form.own) {
                if (!kelCharIsPermitted(tree, code))
                    fail(world, kMsgBadCharacter, code);
            } else {
                const int32_t index = kelIndexByChar(tree, code);
                if (index < 0)
                    fail(world, kMsgBadCharacter, code);
                code = static_cast<uint32_t>(index);
            }
            put_bits(world, code, form.bits);
        }
        return;
    }
    if (form.bits == 0)
        return;
    if (form.own || !form.alphabet) {
        if (form.bits == kUnitBits<Unit> && !kel::counting(world))
            write_units(world, chars, count);
        else
            pack_codes(world, count, form.bits, [chars](uint32_t i) { return uint64_t{chars[i]}; });
        return;
    }
    const unsigned char *indexes = form.alphabet->indexes;
    const uint32_t base = form.alphabet->base;
    pack_codes(world, count, form.bits, [=](uint32_t i) { return uint64_t{indexes[chars[i] - base]}; });
}

template <class Unit>
void encode_wide(KelGlobal *world, const Unit *chars, uint32_t length, const KelPerString *desc,
                 uint8_t extension) {
    bool extended = false;
    if (desc->flags & KEL_PER_SIZE_EXTENSIBLE) {
        extended = (extension & kExtensionState) != 0;
        put_bits(world, extended, 1);
    } else if (size_bounded(desc) && (length < desc->lb || length > desc->ub)) {
        fail(world, kMsgSizeViolated, length);
    }
    const WideForm form = wide_form<Unit>(world, desc, extended);
    if (form.alphabet && !form.rangeList) {
        const KelPerWideAlphabet *a = form.alphabet;
        const bool partial = a->count < 256;
        for (uint32_t i = 0; i < length; ++i) {
            const uint32_t code = chars[i];
            if (code < a->base || code - a->base > 255 || (partial && a->indexes[code - a->base] >= 255))
                fail(world, kMsgBadCharacter, code);
        }
    }
    encode_sized(world, length, desc, extended, form.bits,
                 [&](uint32_t first, uint32_t count) { write_wide(world, chars + first, count, form); });
}

// ---------------------------------------------------------------------------
// Readers
// ---------------------------------------------------------------------------

template <class Unit>
void read_alphabet_table(KelGlobal *world, Unit *out, uint32_t count, uint32_t bits,
                         const KelPerWideAlphabet *alphabet) {
    const auto *chars = static_cast<const unsigned char *>(alphabet->chars);
    const uint32_t base = alphabet->base;
    if (bits == 0) {
        for (uint32_t i = 0; i < count; ++i)
            out[i] = static_cast<Unit>(chars[0] + base);
        return;
    }
    const uint32_t size = alphabet->count;
    unpack_codes(world, count, bits, [=](uint32_t i, uint32_t index) {
        if (index >= size)
            fail(world, kMsgBadCharacter, kQuestionMark);
        out[i] = static_cast<Unit>(chars[index] + base);
    });
}

template <class Unit> void read_wide(KelGlobal *world, Unit *out, uint32_t count, const WideForm &form) {
    if (count == 0)
        return;
    if (form.rangeList) {
        const uint32_t *tree = form.tree();
        if (form.own)
            unpack_codes(world, count, form.bits, [=](uint32_t i, uint32_t code) {
                if (!kelCharIsPermitted(tree, code))
                    fail(world, kMsgBadCharacter, code);
                out[i] = static_cast<Unit>(code);
            });
        else if (form.bits == 0)
            for (uint32_t i = 0; i < count; ++i)
                out[i] = static_cast<Unit>(kelCharByIndex(tree, 0));
        else
            unpack_codes(world, count, form.bits, [=](uint32_t i, uint32_t index) {
                const uint32_t code = kelCharByIndex(tree, index);
                if (code == kNoCharacter)
                    fail(world, kMsgBadCharacter, kQuestionMark);
                out[i] = static_cast<Unit>(code);
            });
        return;
    }
    if (form.alphabet && !form.own) {
        read_alphabet_table(world, out, count, form.bits, form.alphabet);
        return;
    }
    if (form.bits == 0) {
        std::memset(out, 0, count * sizeof(Unit));
        return;
    }
    if (form.bits == kUnitBits<Unit> && world->bitOffset == 0) {
        // Whole units on an octet boundary: one test, then big-endian loads.
        need_bits(world, uint64_t{count} * kUnitBits<Unit>);
        unsigned char *p = world->inPos;
        for (uint32_t i = 0; i < count; ++i, p += sizeof(Unit)) {
            uint32_t v = 0;
            for (uint32_t k = 0; k < sizeof(Unit); ++k)
                v = v << 8 | p[k];
            out[i] = static_cast<Unit>(v);
        }
        world->inPos = p;
        world->inRemaining -= static_cast<int32_t>(count * sizeof(Unit));
        return;
    }
    unpack_codes(world, count, form.bits, [out](uint32_t i, uint32_t code) { out[i] = static_cast<Unit>(code); });
}

template <class Unit> int32_t decode_wide(KelGlobal *world, Unit **field, const KelPerString *desc) {
    bool extended = false;
    if (desc->flags & KEL_PER_SIZE_EXTENSIBLE)
        extended = get_bits(world, 1) != 0;
    const WideForm form = wide_form<Unit>(world, desc, extended);
    if (fixed_size(desc, extended)) {
        if (uint64_t{form.bits} * desc->ub > 16)
            align_reader(world);
        need_bits(world, uint64_t{form.bits} * desc->ub);
        Unit *out = reinterpret_cast<Unit *>(final_block<Unit>(world, 0, desc->ub));
        read_wide(world, out, desc->ub, form);
        *field = out;
        return static_cast<int32_t>(desc->ub);
    }
    const bool align = align_after_length(desc, form.bits, extended);
    uint32_t count;
    unsigned char *block = collect_allocated<Unit>(world, loop_bounds(desc, extended), 0, 0, false, false, form.bits,
                                                   &count,
                                                   [&](Unit *dest, uint32_t n) {
                                                       if (n == 0)
                                                           return;
                                                       if (align)
                                                           align_reader(world);
                                                       read_wide(world, dest, n, form);
                                                   });
    *field = reinterpret_cast<Unit *>(block);
    return static_cast<int32_t>(count);
}

// ---------------------------------------------------------------------------
// UTF-8
// ---------------------------------------------------------------------------

constexpr uint32_t kLongestSequence = 6;
constexpr uint32_t kReplacement = 0xFFFD; // stands for a last character cut short

template <class Unit> void encode_utf8(KelGlobal *world, const Unit *chars, uint32_t length) {
    uint64_t total = 0;
    for (uint32_t i = 0; i < length; ++i) {
        const uint32_t c = chars[i];
        if (c < 0x80) {
            ++total;
            continue;
        }
        const int32_t octets = _kel_countUTF8Char(static_cast<int32_t>(c));
        if (octets == 0)
            fail(world, kMsgUtf8Convert, i);
        total += static_cast<uint32_t>(octets);
    }
    uint64_t left = total;
    uint32_t covered = 0;
    if (kel::counting(world)) {
        do {
            covered = _kel_penc_length(world, left, 0, 0, 1);
            world->encLength += covered; // whole octets leave the bit offset as it is
            left -= covered;
        } while (left);
    } else {
        // A determinant counts octets, so a character may straddle two
        // pieces: its tail waits in `carry` for the next piece.
        unsigned char stage[512];
        unsigned char carry[kLongestSequence];
        uint32_t carried = 0;
        uint32_t next = 0;
        do {
            covered = _kel_penc_length(world, left, 0, 0, 1);
            left -= covered;
            uint32_t need = covered;
            uint32_t fill = 0;
            const uint32_t fromCarry = carried < need ? carried : need;
            std::memcpy(stage, carry, fromCarry);
            std::memmove(carry, carry + fromCarry, carried - fromCarry);
            carried -= fromCarry;
            fill = fromCarry;
            need -= fromCarry;
            while (need) {
                if (fill + kLongestSequence > sizeof stage) {
                    _kel_append(world, stage, fill * 8, 0);
                    fill = 0;
                }
                const uint32_t c = chars[next++];
                if (c < 0x80) {
                    stage[fill++] = static_cast<unsigned char>(c);
                    --need;
                    continue;
                }
                unsigned char sequence[kLongestSequence];
                const unsigned char *begin = _kel_itoUTF8Char(sequence + kLongestSequence, c);
                const uint32_t octets = static_cast<uint32_t>(sequence + kLongestSequence - begin);
                const uint32_t now = octets < need ? octets : need;
                std::memcpy(stage + fill, begin, now);
                fill += now;
                need -= now;
                carried = octets - now;
                std::memcpy(carry, begin + now, carried);
            }
            _kel_append(world, stage, fill * 8, 0);
        } while (left);
    }
    if (covered >= kFragmentUnit)
        _kel_append_8bit_aligned(world, 0);
}

// Characters in `octets` octets of UTF-8; a sequence cut by the end counts.
uint32_t count_utf8(KelGlobal *world, const unsigned char *text, uint32_t octets, int16_t width) {
    uint32_t count = 0;
    uint32_t at = 0;
    while (at < octets) {
        ++count;
        if (text[at] < 0x80) {
            ++at;
            continue;
        }
        uint16_t consumed;
        UTF8CharToInt(world, nullptr, text + at, static_cast<int32_t>(octets - at), width, &consumed);
        if (consumed == 0)
            fail(world, kMsgUtf8Sequence);
        if (consumed > octets - at)
            break;
        at += consumed;
    }
    return count;
}

template <class Unit> void convert_utf8(KelGlobal *world, Unit *out, const unsigned char *text, uint32_t octets) {
    uint32_t at = 0;
    while (at < octets) {
        if (text[at] < 0x80) {
            *out++ = text[at++];
            continue;
        }
        uint16_t consumed;
        const uint32_t left = octets - at;
        if (UTF8CharToInt(world, out, text + at, static_cast<int32_t>(left), sizeof(Unit), &consumed)) {
            ++out;
            at += consumed;
        } else if (consumed > left) {
            *out = static_cast<Unit>(kReplacement);
            return;
        } else {
            fail(world, kMsgUtf8Sequence);
        }
    }
}

template <class Unit> int32_t decode_utf8(KelGlobal *world, Unit **field) {
    uint8_t last = 0;
    uint32_t n = _kel_pdec_length(world, 0, 0, &last);
    const unsigned char *text;
    uint32_t octets;
    void *scratch = nullptr; // bottom of what this call took from the temporary stack
    if (last && world->bitOffset == 0) {
        // One piece on an octet boundary: converted where it lies.
        skip_octets_in_place(world, n);
        text = world->inPos - n;
        octets = n;
    } else {
        FragmentNode *first = nullptr;
        FragmentNode *tail = nullptr;
        uint32_t total = 0;
        for (;;) {
            if (n) {
                if (n > 0xFFFFFFFFu - total)
                    fail(world, kMsgOutOfMemory, 0xFFFFFFFFu);
                auto *node = static_cast<FragmentNode *>(_kel_dec_gettempmem(world, sizeof(FragmentNode)));
                node->next = nullptr;
                node->previous = tail;
                node->size = n;
                node->data = static_cast<unsigned char *>(_kel_dec_gettempmem(world, n));
                (tail ? tail->next : first) = node;
                tail = node;
                _kel_get_bits(world, node->data, n * 8, 1);
                total += n;
            }
            if (last)
                break;
            const uint32_t previous = n;
            n = _kel_pdec_length(world, 0, 0, &last);
            check_grouping(world, previous, n, last);
        }
        scratch = first;
        octets = total;
        if (first == tail) {
            text = first ? first->data : nullptr;
        } else {
            auto *joined = static_cast<unsigned char *>(_kel_dec_gettempmem(world, total));
            unsigned char *at = joined;
            for (FragmentNode *node = first; node; node = node->next) {
                std::memcpy(at, node->data, node->size);
                at += node->size;
            }
            text = joined;
        }
    }
    const uint32_t count = count_utf8(world, text, octets, sizeof(Unit));
    Unit *out = nullptr;
    if (count) {
        out = reinterpret_cast<Unit *>(final_block<Unit>(world, 0, count));
        convert_utf8(world, out, text, octets);
    }
    if (scratch)
        _kel_dec_freetempmem(world, scratch);
    *field = out;
    return static_cast<int32_t>(count);
}

} // namespace

extern "C" {

void _kel_penc_bmpstr(KelGlobal *world, const uint16_t *chars, uint32_t length, const KelPerString *desc,
                      uint8_t extension) {
    encode_wide(world, chars, length, desc, extension);
}

void _kel_penc_unistr(KelGlobal *world, const uint32_t *chars, uint32_t length, const KelPerString *desc,
                      uint8_t extension) {
    encode_wide(world, chars, length, desc, extension);
}

int32_t _kel_pdec_bmpstr(KelGlobal *world, uint16_t **field, const KelPerString *desc) {
    return decode_wide(world, field, desc);
}

int32_t _kel_pdec_unistr(KelGlobal *world, uint32_t **field, const KelPerString *desc) {
    return decode_wide(world, field, desc);
}

void kel_pdec_bmpstr_pa(KelGlobal *world, uint16_t *out, uint32_t count, uint32_t bits,
                        const KelPerWideAlphabet *alphabet) {
    read_alphabet_table(world, out, count, bits, alphabet);
}

void kel_pdec_unistr_pa(KelGlobal *world, uint32_t *out, uint32_t count, uint32_t bits,
                        const KelPerWideAlphabet *alphabet) {
    read_alphabet_table(world, out, count, bits, alphabet);
}

void _kel_penc_utf8bmpstr_l(KelGlobal *world, const uint16_t *chars, uint32_t length) {
    encode_utf8(world, chars, length);
}

void _kel_penc_utf8unistr_l(KelGlobal *world, const uint32_t *chars, uint32_t length) {
    encode_utf8(world, chars, length);
}

int32_t _kel_pdec_utf8bmpstr_ia(KelGlobal *world, uint16_t **field) { return decode_utf8(world, field); }

int32_t _kel_pdec_utf8unistr_ia(KelGlobal *world, uint32_t **field) { return decode_utf8(world, field); }

} // extern "C"
