// names_in.cpp - JSON decoders that work on names and on raw text:
// enumerators and member names looked up in name tables, the wrapper object
// {"Name": value} of a PDU, open types and unknown extension members kept as
// the JSON text they were written in.
#include "json.h"

using namespace kel::json;

namespace {

// A quoted name into the scratch; its length.
uint32_t read_name(KelJsonCursor *cursor, const char *what) {
    if (cursor->token != KEL_JTOK_STRING)
        fail_text(cursor, kMsgUnexpectedToken, "'\"'");
    if (_kel_jget_string(cursor))
        fail_text(cursor, kMsgItemTooLong, what);
    return cursor->length;
}

// Where the text of the current value starts: the token has been consumed,
// except a number, which is read from its first character.
const unsigned char *value_start(KelJsonCursor *cursor) {
    const unsigned char *pos = cursor->world->inPos;
    switch (cursor->token) {
    case KEL_JTOK_OPEN_OBJECT:
    case KEL_JTOK_OPEN_ARRAY:
    case KEL_JTOK_STRING:
        return pos - 1;
    case KEL_JTOK_NUMBER:
        return pos;
    case KEL_JTOK_TRUE:
    case KEL_JTOK_NULL:
        return pos - 4;
    case KEL_JTOK_FALSE:
        return pos - 5;
    default:
        fail_text(cursor, kMsgTokenError, "Unknown token");
    }
}

bool wrapper_name(const unsigned char *name) { return name[0] == '_' || (name[0] >= 'A' && name[0] <= 'Z'); }

// Reads the first member name of an object whose '{' is the current token.
// True with the name in the scratch when it names a wrapper; otherwise the
// input and the token are as they were.
bool read_wrapper(KelJsonCursor *cursor) {
    if (cursor->token != KEL_JTOK_OPEN_OBJECT)
        return false;
    const InputMark start = mark(cursor);
    _kel_json_token(cursor, KEL_JTOK_STRING | KEL_JTOK_CLOSE_OBJECT);
    if (cursor->token == KEL_JTOK_STRING && _kel_jget_string(cursor) == 0 && wrapper_name(cursor->buffer))
        return true;
    restore(cursor, start);
    cursor->token = KEL_JTOK_OPEN_OBJECT;
    return false;
}

void enter_wrapper(KelJsonCursor *cursor) {
    _kel_json_token(cursor, KEL_JTOK_COLON);
    _kel_json_token(cursor, KEL_JTOK_ANY_VALUE);
}

} // namespace

extern "C" {

int32_t _kel_jdec_enum(KelJsonCursor *cursor, const KelNameTable *table) {
    uint32_t length = read_name(cursor, "ENUMERATED name");
    int32_t i = _kel_find_string(table, cursor->buffer, length);
    if (i >= 0)
        return static_cast<int32_t>(table->rows[i].value);
    if (table->unknown)
        return static_cast<int32_t>(table->unknown);
    fail_text(cursor, kMsgUnknownEnum, reinterpret_cast<const char *>(cursor->buffer));
}

int32_t _kel_jdec_fidx(KelJsonCursor *cursor, const KelNameTable *table) {
    uint32_t length = read_name(cursor, "member name");
    int32_t i = _kel_find_string(table, cursor->buffer, length);
    if (i >= 0)
        return static_cast<int32_t>(table->rows[i].value & 0xFFFF);
    if (table->unknown) // an extensible type keeps or skips what it does not know
        return static_cast<int32_t>(table->unknown);
    fail_text(cursor, kMsgUnknownMember, reinterpret_cast<const char *>(cursor->buffer));
}

int _kel_jdec_wrapped(KelJsonCursor *cursor, const char *expected) {
    if (!read_wrapper(cursor))
        return 0;
    if (strict(cursor->world) && expected &&
        std::strcmp(reinterpret_cast<const char *>(cursor->buffer), expected) != 0)
        fail_text(cursor, kMsgUnknownMember, reinterpret_cast<const char *>(cursor->buffer));
    enter_wrapper(cursor);
    return 1;
}

int _kel_jdec_get_pdunum(KelJsonCursor *cursor, const char *const *names, uint32_t count) {
    if (!read_wrapper(cursor))
        return 0;
    const char *name = reinterpret_cast<const char *>(cursor->buffer);
    for (uint32_t i = 0; i < count; ++i) {
        if (names[i] && std::strcmp(names[i], name) == 0) {
            enter_wrapper(cursor);
            return static_cast<int>(i + 1);
        }
    }
    fail_text(cursor, kMsgUnknownMember, name);
}

uint32_t _kel_jdec_opentype(KelJsonCursor *cursor, unsigned char **bytes) {
    const unsigned char *start = value_start(cursor);
    _kel_jskip_encoding(cursor);
    uint32_t length = static_cast<uint32_t>(cursor->world->inPos - start);
    unsigned char *out = static_cast<unsigned char *>(_kel_dec_getmem_internal(cursor->world, length));
    std::memcpy(out, start, length);
    *bytes = out;
    return length;
}

void _kel_jdec_rsf_ext(KelJsonCursor *cursor, const unsigned char *start, KelJsonExtNode ***tail,
                       uint32_t *count) {
    if (!start)
        start = value_start(cursor);
    else if (cursor->token == KEL_JTOK_UNKNOWN)
        fail_text(cursor, kMsgTokenError, "Unknown token");
    _kel_jskip_encoding(cursor);
    uint32_t length = static_cast<uint32_t>(cursor->world->inPos - start);
    auto *node = static_cast<KelJsonExtNode *>(_kel_dec_gettempmem(cursor->world, sizeof(KelJsonExtNode) + length));
    node->length = length;
    node->bytes = reinterpret_cast<unsigned char *>(node + 1);
    std::memcpy(node->bytes, start, length);
    node->next = nullptr;
    **tail = node;
    *tail = &node->next;
    ++*count;
}

} // extern "C"
