/*
 * json_members.h - the steps over JSON objects that the JSON halves of the
 * code files share, as a compiler emits them once into each code file:
 * walking an object's members through its table of names, refusing a member
 * given twice or a mandatory one left out, stepping over members that a
 * later version of an extensible type added, and counting the levels of
 * structure against the world's nesting limit.
 *
 * Member tables answer the component's position in its type; an extensible
 * type's table answers JSON_UNKNOWN_MEMBER for a name it does not know.
 * Where the input holds exactly the character or the member name expected
 * next, with no white space before it, the step takes it straight from the
 * input; anything else goes through the tokeniser and the name tables,
 * which give the same result more slowly.
 */
#ifndef JSON_MEMBERS_H
#define JSON_MEMBERS_H

#include <string.h>

#include "kelvarn_json.h"

/* Messages raised by the generated JSON code. */
enum {
    JSON_MSG_OUT_OF_MEMORY = 6,
    JSON_MSG_FIELD_OMITTED = 117,
    JSON_MSG_NESTING = 182,
    JSON_MSG_UNEXPECTED_TOKEN = 312,
    JSON_MSG_INVALID_ENCODING = 315
};

/* What an extensible type's table answers for a name it does not know;
 * never the position of a component. */
#define JSON_UNKNOWN_MEMBER 31

/* A row of a member or enumerator table: the name and its length, and the
 * component's position or the enumerator's value. */
#define JSON_NAME(name, value) { name, sizeof(name) - 1, 0, value }

/* The levels of structure a decode may still enter: the world's limit, or
 * all of them when it has none. */
static inline uint32_t json_nesting_room(KelGlobal *w)
{
    const int limit = kelGetSeqSetNestingLimit(w);
    return limit > 0 ? (uint32_t)limit : 0xFFFFFFFFu;
}

/* Entering one more level of structure with `room` levels left. */
static inline void json_enter(KelJsonCursor *c, uint32_t room)
{
    if (room == 0)
        _kel_enc_error(c->world, JSON_MSG_NESTING, 0);
}

/* A type's members: the table of names, sorted by name, and for each
 * component in the type's order its row of the table. */
typedef struct JsonMembers {
    KelNameTable names;
    const uint8_t *rowOfPosition;
} JsonMembers;

/* The token of the one character `ch` (of kind `kind`) when it stands next
 * in the input, taken without the tokeniser; else the tokeniser reads the
 * next token against `mask`. */
static inline void json_token(KelJsonCursor *c, unsigned char ch, uint32_t kind, uint32_t mask)
{
    KelGlobal *w = c->world;
    if (w->inRemaining > 0 && *w->inPos == ch) {
        w->inPos++;
        w->inRemaining--;
        c->token = kind;
        return;
    }
    _kel_json_token(c, mask);
}

#define json_string(c) json_token(c, '"', KEL_JTOK_STRING, KEL_JTOK_STRING)
#define json_object(c) json_token(c, '{', KEL_JTOK_OPEN_OBJECT, KEL_JTOK_OPEN_OBJECT)
#define json_array(c) json_token(c, '[', KEL_JTOK_OPEN_ARRAY, KEL_JTOK_OPEN_ARRAY)

/* A number is read from its first character, which stays in the input. */
static inline void json_number(KelJsonCursor *c)
{
    KelGlobal *w = c->world;
    if (w->inRemaining > 0 && (*w->inPos == '-' || (unsigned)(*w->inPos - '0') < 10)) {
        c->token = KEL_JTOK_NUMBER;
        return;
    }
    _kel_json_token(c, KEL_JTOK_NUMBER);
}

/* Behind '[' (`first`) or behind an element: 1 with the next element's '{'
 * read, 0 when the array has closed. */
static inline int json_element(KelJsonCursor *c, int first)
{
    KelGlobal *w = c->world;
    if (first) {
        json_token(c, '{', KEL_JTOK_OPEN_OBJECT, KEL_JTOK_OPEN_OBJECT | KEL_JTOK_CLOSE_ARRAY);
    } else if (w->inRemaining > 1 && w->inPos[0] == ',' && w->inPos[1] == '{') {
        w->inPos += 2;
        w->inRemaining -= 2;
        c->token = KEL_JTOK_OPEN_OBJECT;
    } else {
        _kel_json_token(c, KEL_JTOK_COMMA | KEL_JTOK_CLOSE_ARRAY);
        if (c->token == KEL_JTOK_COMMA)
            _kel_json_token(c, KEL_JTOK_OPEN_OBJECT);
    }
    return c->token == KEL_JTOK_OPEN_OBJECT;
}

/* The name of the next member and its colon: the member's position in its
 * type, or -1 when the object has closed.  `previous` is the position of
 * the member read last, -1 behind '{'.  Members mostly come in the type's
 * order, so the name of the component after `previous` is tried on the
 * input first; any other name (or one written with escapes) goes through
 * the table. */
static inline int32_t json_member(KelJsonCursor *c, const JsonMembers *m, int32_t previous)
{
    KelGlobal *w = c->world;
    const uint32_t next = (uint32_t)(previous + 1);
    int32_t field;
    if (previous < 0) {
        json_token(c, '"', KEL_JTOK_STRING, KEL_JTOK_STRING | KEL_JTOK_CLOSE_OBJECT);
    } else if (w->inRemaining > 1 && w->inPos[0] == ',' && w->inPos[1] == '"') {
        w->inPos += 2;
        w->inRemaining -= 2;
        c->token = KEL_JTOK_STRING;
    } else {
        _kel_json_token(c, KEL_JTOK_COMMA | KEL_JTOK_CLOSE_OBJECT);
        if (c->token == KEL_JTOK_COMMA)
            _kel_json_token(c, KEL_JTOK_STRING);
    }
    if (c->token == KEL_JTOK_CLOSE_OBJECT)
        return -1;
    if (next < m->names.count) {
        const KelNameRow *row = &m->names.rows[m->rowOfPosition[next]];
        if (w->inRemaining > (int32_t)row->length && w->inPos[row->length] == '"' &&
            memcmp(w->inPos, row->name, row->length) == 0) {
            w->inPos += row->length + 1;
            w->inRemaining -= (int32_t)row->length + 1;
            json_token(c, ':', KEL_JTOK_COLON, KEL_JTOK_COLON);
            return (int32_t)next;
        }
    }
    field = _kel_jdec_fidx(c, &m->names);
    json_token(c, ':', KEL_JTOK_COLON, KEL_JTOK_COLON);
    return field;
}

/* Records member `field` of the type named `type` as read; a second time is
 * refused.  Unknown members may come any number of times. */
static inline uint32_t json_once(KelJsonCursor *c, uint32_t seen, int32_t field, const char *type)
{
    const uint32_t bit = 1u << field;
    if (field == JSON_UNKNOWN_MEMBER)
        return seen;
    if (seen & bit)
        _kel_varn_error(c->world, JSON_MSG_INVALID_ENCODING, type);
    return seen | bit;
}

/* Every member of `required` must have been read. */
static inline void json_require(KelJsonCursor *c, uint32_t seen, uint32_t required)
{
    if ((seen & required) != required)
        _kel_enc_error(c->world, JSON_MSG_FIELD_OMITTED, 0);
}

/* Steps over the value of a member that a later version added. */
static inline void json_skip_value(KelJsonCursor *c)
{
    _kel_json_token(c, KEL_JTOK_ANY_VALUE);
    _kel_jskip_encoding(c);
}

/* The value's first token, one of `mask`, or null for an OPTIONAL
 * component written out as absent: 0 then. */
static inline int json_present(KelJsonCursor *c, uint32_t mask)
{
    _kel_json_token(c, mask | KEL_JTOK_NULL);
    return c->token != KEL_JTOK_NULL;
}

/* A PDU in the wrapper object {"Name": value} when the world asks for that
 * form: 1 when it was read and its closing brace is still to come. */
static inline int json_unwrap(KelJsonCursor *c, const char *name)
{
    if (!(kelGetJsonFlags(c->world) & JSON_WRAPPED_ENCODING) || !_kel_jdec_wrapped(c, name))
        return 0;
    return 1;
}

/* The token that the driver read must open the PDU's object. */
static inline void json_need_object(KelJsonCursor *c)
{
    if (c->token != KEL_JTOK_OPEN_OBJECT)
        _kel_varn_error(c->world, JSON_MSG_UNEXPECTED_TOKEN, "'{'");
}

static inline void json_close_wrapper(KelJsonCursor *c, int wrapped)
{
    if (wrapped)
        _kel_json_token(c, KEL_JTOK_CLOSE_OBJECT);
}

/* Encoder side of the wrapper: its opening and its closing. */
static inline int json_wrap(KelGlobal *w, uint32_t flags, const char *name)
{
    if (!(flags & JSON_WRAPPED_ENCODING))
        return 0;
    _kel_jenc_begin_object(w);
    _kel_jenc_element(w, name, 0);
    return 1;
}

static inline void json_end_wrap(KelGlobal *w, int wrapped)
{
    if (wrapped)
        _kel_jenc_end_object(w, 1);
}

#endif /* JSON_MEMBERS_H */
