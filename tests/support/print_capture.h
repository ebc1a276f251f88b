// print_capture.h - everything kelPrint sends, gathered through the user
// vprint hook: kelSetUserVprint(world, nullptr, kel_test::capture_print)
// appends to kel_test::printed.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

namespace kel_test {

inline std::string printed;

inline int capture_print(FILE *, const char *format, va_list args) {
    va_list again;
    va_copy(again, args);
    const int n = std::vsnprintf(nullptr, 0, format, args);
    const size_t at = printed.size();
    printed.resize(at + static_cast<size_t>(n) + 1);
    std::vsnprintf(&printed[at], static_cast<size_t>(n) + 1, format, again);
    printed.resize(at + static_cast<size_t>(n));
    va_end(again);
    return n;
}

} // namespace kel_test
