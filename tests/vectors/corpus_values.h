// corpus_values.h - the values of a corpus case in the stand-ins' memory
// forms: built from the case's JSON value, and compared by the runner's own
// reading (not the library's), so that the library's answers can be held
// against them.
#ifndef KEL_CORPUS_VALUES_H
#define KEL_CORPUS_VALUES_H

#include <cstdint>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "kel_types.h"

namespace kel_vectors {

using Json = nlohmann::json;
using Bytes = std::vector<uint8_t>;

Bytes from_hex(const std::string &hex);
std::string to_hex(const uint8_t *p, size_t n);

// Memory that the pointers of a built value lead to; 8-aligned pieces that
// live as long as the case.
class Pieces {
  public:
    uint8_t *take(size_t octets) {
        pieces_.emplace_back(octets / 8 + 1);
        return reinterpret_cast<uint8_t *>(pieces_.back().data());
    }
    template <class T> T *copy(const std::vector<T> &units) {
        if (units.empty())
            return nullptr;
        T *piece = reinterpret_cast<T *>(take(units.size() * sizeof(T)));
        std::memcpy(piece, units.data(), units.size() * sizeof(T));
        return piece;
    }

    // A time whose memory form writes its text otherwise than the case
    // does (a KelTimeStruct keeps no trailing zeros, no missing seconds):
    // rules that carry the text as it stands can only check the decoding.
    bool timeRewritten = false;

  private:
    std::deque<std::vector<uint64_t>> pieces_;
};

// A corpus line with its integers beyond 64 bits turned into strings that
// the value builder reads as huge integers.
std::string quote_big_integers(const std::string &line);

// Builds the memory form of `json` into `record`; false if the value has no
// place in this form.
bool build_value(const KelTypeDesc *type, const Json &json, void *record, Pieces &pieces);

// Whether two values of `type` are the same value (a SET OF in any order).
bool values_equal(const KelTypeDesc *type, const void *a, const void *b);

} // namespace kel_vectors

#endif // KEL_CORPUS_VALUES_H
