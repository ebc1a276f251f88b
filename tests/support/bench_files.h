// bench_files.h - the encodings of the benchmark messages, read from their
// hexadecimal or text files in KEL_BENCH_DIR, for the tests of the code files.
#pragma once

#include <cctype>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace kel_test {

using Bytes = std::vector<uint8_t>;

// The octets of hexadecimal text; everything but hex digits is ignored.
inline Bytes from_hex(const std::string &text) {
    Bytes out;
    int high = -1;
    for (char c : text) {
        if (!std::isxdigit(static_cast<unsigned char>(c)))
            continue;
        const int digit = std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : (std::tolower(c) - 'a' + 10);
        if (high < 0) {
            high = digit;
        } else {
            out.push_back(static_cast<uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
    return out;
}

#ifdef KEL_BENCH_DIR
// `name` is a file of the benchmark directory, e.g. "ProtoMessage.der.hex".
inline Bytes bench_file(const std::string &name) {
    std::ifstream in(std::string(KEL_BENCH_DIR) + "/" + name);
    return from_hex(std::string(std::istreambuf_iterator<char>(in), {}));
}

// The octets of a text file of the benchmark directory, e.g.
// "ProtoMessage.jer.json", as they stand.
inline Bytes bench_text(const std::string &name) {
    std::ifstream in(std::string(KEL_BENCH_DIR) + "/" + name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}
#endif

} // namespace kel_test
