// output.cpp - the XER text writer: appending across chunk ends, line
// breaks with indentation, and the three tags.
#include "xer_out.h"

namespace kel::xer {

namespace {

constexpr char kBlanks[16] = {' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '};

void new_chunk(KelGlobal *world) {
    XerOutputState *state = out_state(world);
    state->chunkTotal += kChunk;
    unsigned char *chunk = _kel_enc_getmem(world);
    if (!flat(world))
        std::memset(chunk, ' ', kChunk);
    world->outPos = chunk;
    world->outRemaining = kChunk;
}

// The three tags: '<' or "</", the name, '>' or "/>".
struct StartTag {
    static constexpr char open[] = "<";
    static constexpr char close[] = ">";
};
struct EndTag {
    static constexpr char open[] = "</";
    static constexpr char close[] = ">";
};
struct EmptyTag {
    static constexpr char open[] = "<";
    static constexpr char close[] = "/>";
};

// With room for the whole tag it goes out in one piece; in count mode the
// column then stays (counting only sizes the output).  Without room it goes
// piece by piece across the chunk end.
template <class Shape> inline void put_tag(KelGlobal *world, const char *name, uint32_t length) {
    constexpr uint32_t openLength = sizeof Shape::open - 1;
    constexpr uint32_t closeLength = sizeof Shape::close - 1;
    XerOutputState *state = out_state(world);
    state->lastTagLength = static_cast<int32_t>(length);
    const uint32_t size = openLength + length + closeLength;
    if (world->outRemaining >= static_cast<int32_t>(size)) [[likely]] {
        if (counting(world)) {
            world->encLength += size;
            return;
        }
        unsigned char *out = world->outPos;
        std::memcpy(out, Shape::open, openLength);
        copy_out(out + openLength, reinterpret_cast<const unsigned char *>(name), length);
        std::memcpy(out + openLength + length, Shape::close, closeLength);
        world->outPos = out + size;
        world->outRemaining -= static_cast<int32_t>(size);
        state->column += static_cast<int32_t>(size);
        return;
    }
    put_text(world, state, Shape::open, openLength);
    put_text(world, state, name, length);
    put_text(world, state, Shape::close, closeLength);
}

} // namespace

void put_across(KelGlobal *world, const unsigned char *bytes, uint32_t n) {
    while (n) {
        if (world->outRemaining <= 0)
            new_chunk(world);
        const uint32_t room = static_cast<uint32_t>(world->outRemaining);
        const uint32_t now = room < n ? room : n;
        copy_out(world->outPos, bytes, now);
        world->outPos += now;
        world->outRemaining -= static_cast<int32_t>(now);
        bytes += now;
        n -= now;
    }
}

void line_break(KelGlobal *world, XerOutputState *state) {
    const int32_t indent = state->indent > 0 ? state->indent : 0;
    state->column = state->indent;
    if (indent >= world->outRemaining) {
        put(world, "\n", 1);
        for (int32_t left = indent; left > 0; left -= 16)
            put(world, kBlanks, left < 16 ? static_cast<uint32_t>(left) : 16);
    } else if (counting(world)) {
        world->encLength += static_cast<uint32_t>(indent) + 1;
    } else {
        // The blanks are there already.
        *world->outPos = '\n';
        world->outPos += indent + 1;
        world->outRemaining -= indent + 1;
    }
}

} // namespace kel::xer

using namespace kel::xer;

extern "C" {

uint32_t _kel_tex_append(KelGlobal *world, const void *bytes, uint32_t length) {
    put(world, bytes, length);
    return length;
}

uint32_t _kel_tex_curr_enclen(KelGlobal *world) {
    if (kel::counting(world))
        return world->encLength;
    return out_state(world)->chunkTotal + kChunk - static_cast<uint32_t>(world->outRemaining);
}

void _kel_tex_indent(KelGlobal *world) { _kel_tex_indent_dlt(world, 0); }

void _kel_tex_indent_dlt(KelGlobal *world, int32_t delta) {
    if (!flat(world))
        break_with(world, out_state(world), delta);
}

void _kel_tex_open_tagN(KelGlobal *world, const char *name, uint32_t length) {
    put_tag<StartTag>(world, name, length);
}

void _kel_tex_close_tagN(KelGlobal *world, const char *name, uint32_t length) {
    put_tag<EndTag>(world, name, length);
}

void _kel_tex_empty_or_id_tagN(KelGlobal *world, const char *name, uint32_t length) {
    put_tag<EmptyTag>(world, name, length);
}

void _kel_tex_format_tagN(KelGlobal *world, const char *name, uint32_t length) {
    if (!flat(world)) {
        XerOutputState *state = out_state(world);
        if (state->column + static_cast<int32_t>(length) + 3 > margin(world, state))
            line_break(world, state);
    }
    put_tag<EmptyTag>(world, name, length);
}

void _kel_tex_open_tag(KelGlobal *world, const char *name) {
    put_tag<StartTag>(world, name, static_cast<uint32_t>(std::strlen(name)));
}

void _kel_tex_close_tag(KelGlobal *world, const char *name) {
    put_tag<EndTag>(world, name, static_cast<uint32_t>(std::strlen(name)));
}

void _kel_tex_empty_or_id_tag(KelGlobal *world, const char *name) {
    put_tag<EmptyTag>(world, name, static_cast<uint32_t>(std::strlen(name)));
}

void _kel_tex_format_tag(KelGlobal *world, const char *name) {
    _kel_tex_format_tagN(world, name, static_cast<uint32_t>(std::strlen(name)));
}

} // extern "C"
