// print_sink.cpp - the sink of the value printer: pieces of text gather in a
// small chunk that goes out through kelPrint when it is full and at the end,
// or is appended to a string in temporary memory that doubles as it grows.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "internal.h"
#include "printing.h"

namespace kel::print {

namespace {

constexpr uint32_t kFirstTextCapacity = 64;

// Octets at the end of `text` that start a UTF-8 sequence which isn't
// complete yet, so that a flush never splits a character.
size_t incomplete_tail(const char *text, size_t length) {
    for (size_t back = 1; back <= 3 && back <= length; ++back) {
        const auto octet = static_cast<unsigned char>(text[length - back]);
        if ((octet & 0xC0) == 0x80)
            continue; // a continuation: look further back for the lead
        const size_t needed = octet >= 0xF0 ? 4 : octet >= 0xE0 ? 3 : octet >= 0xC0 ? 2 : 1;
        return needed > back ? back : 0;
    }
    return 0;
}

} // namespace

Sink::Sink(KelGlobal *world, Target target)
    : world_(world), target_(target),
      chop_(target == Target::kChannel && world && world->asn1chop > 0 ? static_cast<uint32_t>(world->asn1chop)
                                                                        : 0) {}

void Sink::append_text(const char *from, size_t length) {
    const uint64_t need = uint64_t{textLength_} + length + 1;
    if (need > textCapacity_) {
        uint64_t capacity = textCapacity_ ? textCapacity_ : kFirstTextCapacity;
        while (capacity < need)
            capacity *= 2;
        if (capacity > UINT32_MAX)
            _kel_enc_error(world_, kMsgOutOfMemory, UINT32_MAX);
        text_ = static_cast<char *>(_kel_dec_realloctempmem(world_, text_, textLength_, static_cast<uint32_t>(capacity)));
        textCapacity_ = static_cast<uint32_t>(capacity);
    }
    std::memcpy(text_ + textLength_, from, length);
    textLength_ += static_cast<uint32_t>(length);
}

// Hands the chunk on; in channel mode an unfinished UTF-8 character stays
// behind for the next piece.
void Sink::drain() {
    if (target_ == Target::kText) {
        append_text(chunk_, used_);
        used_ = 0;
        return;
    }
    const size_t keep = used_ == sizeof chunk_ ? incomplete_tail(chunk_, used_) : 0;
    const size_t out = used_ - keep;
    if (out)
        kelPrint(world_, "%.*s", static_cast<int>(out), chunk_);
    std::memmove(chunk_, chunk_ + out, keep);
    used_ = static_cast<uint32_t>(keep);
}

void Sink::put(const char *text, size_t length) {
    while (length) {
        if (used_ == sizeof chunk_)
            drain();
        const size_t n = length < sizeof chunk_ - used_ ? length : sizeof chunk_ - used_;
        std::memcpy(chunk_ + used_, text, n);
        used_ += static_cast<uint32_t>(n);
        text += n;
        length -= n;
    }
}

void Sink::put(const char *text) { put(text, std::strlen(text)); }

void Sink::format(const char *format, ...) {
    va_list args;
    for (int attempt = 0; attempt < 2; ++attempt) {
        va_start(args, format);
        const size_t room = sizeof chunk_ - used_;
        const int n = std::vsnprintf(chunk_ + used_, room, format, args);
        va_end(args);
        if (n < 0)
            return;
        if (static_cast<size_t>(n) < room || attempt == 1) {
            used_ += static_cast<uint32_t>(static_cast<size_t>(n) < room ? n : room - 1);
            return;
        }
        drain();
    }
}

char *Sink::finish() {
    if (target_ == Target::kChannel) {
        if (used_)
            kelPrint(world_, "%.*s", static_cast<int>(used_), chunk_);
        used_ = 0;
        return nullptr;
    }
    drain();
    append_text("", 0);
    text_[textLength_] = 0;
    return text_;
}

} // namespace kel::print
