// print.cpp - kelPrint, the one output channel of the library.  Messages,
// value printing and traces all leave through here, so that an application
// can redirect every line with one setting.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "internal.h"

namespace {

// Most lines are short; a longer one is formatted once more into memory
// sized for it.
constexpr int kLineBufferSize = 1024;

// Formats the text and hands it to a print function of the shape of fprintf
// that isn't fprintf itself (an application's own), as one "%s" argument.
int print_through(KelGlobal *world, KelPrintf print, FILE *stream, const char *format, va_list args) {
    char line[kLineBufferSize];
    va_list again;
    va_copy(again, args);
    int length = std::vsnprintf(line, sizeof line, format, args);
    int result = length; // negative: a format the C library refuses
    if (length >= 0 && length < kLineBufferSize) {
        result = print(stream, "%s", line);
    } else if (length >= kLineBufferSize) {
        KelRawMalloc allocate = world->mallocp ? world->mallocp : std::malloc;
        KelRawFree release = world->freep ? world->freep : std::free;
        char *text = static_cast<char *>(allocate(static_cast<size_t>(length) + 1));
        if (text) {
            std::vsnprintf(text, static_cast<size_t>(length) + 1, format, again);
            result = print(stream, "%s", text);
            release(text);
        } else {
            result = print(stream, "%s", line); // out of memory: the cut line
        }
    }
    va_end(again);
    return result;
}

} // namespace

extern "C" int kelPrint(KelGlobal *world, const char *format, ...) {
    va_list args;
    va_start(args, format);
    int result;
    if (!world) {
        result = std::vfprintf(stdout, format, args);
    } else if (world->ext && world->ext->userVprint) {
        result = world->ext->userVprint(world->asn1out, format, args);
    } else if (world->asn1prnt && world->asn1prnt != &std::fprintf && world->asn1out) {
        result = print_through(world, world->asn1prnt, world->asn1out, format, args);
    } else {
        FILE *stream = world->asn1out ? world->asn1out : stdout;
        result = std::vfprintf(stream, format, args);
        std::fflush(stream);
    }
    va_end(args);
    return result;
}
