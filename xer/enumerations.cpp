// enumerations.cpp - ENUMERATED and named values in XER: the name found by
// bisection over rows sorted by value, written as an empty tag that pretty
// output may fold onto a line of its own.
#include "xer_out.h"

using namespace kel::xer;

extern "C" {

void _kel_tex_enum(KelGlobal *world, const KelXerEnumRow *table, int32_t value, int inLine) {
    const auto count = static_cast<uint32_t>(table[0].value);
    if (count == 0 || value > table[count].value)
        fail(world, kMsgNotEnumerated, static_cast<uint32_t>(value));
    uint32_t low = 1, high = count + 1;
    while (low < high) {
        const uint32_t middle = low + (high - low) / 2;
        if (table[middle].value == value)
            return _kel_tex_format_enum(world, table[middle].name, inLine);
        if (table[middle].value < value)
            low = middle + 1;
        else
            high = middle;
    }
    // An extensible type's value unknown to this code file.
    if (!table[0].name)
        fail(world, kMsgNotEnumerated, static_cast<uint32_t>(value));
    _kel_tex_format_enum(world, table[0].name, inLine);
}

void _kel_tex_format_enum(KelGlobal *world, const char *name, int inLine) {
    const auto length = static_cast<uint32_t>(std::strlen(name));
    if (flat(world))
        return _kel_tex_empty_or_id_tagN(world, name, length);
    XerOutputState *state = out_state(world);
    int32_t needed = state->column + static_cast<int32_t>(length) + 3;
    if (!inLine)
        needed += state->lastTagLength + 3;
    const bool fold = needed > margin(world, state);
    if (fold)
        break_with(world, state, inLine ? 0 : 2);
    _kel_tex_empty_or_id_tagN(world, name, length);
    if (fold && !inLine)
        break_with(world, state, -2);
}

} // extern "C"
