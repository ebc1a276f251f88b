/*
 * personnel_json.c - the JSON encoder and decoder of the PersonnelRecordA1
 * code file, in the shape a compiler emits them: per type a straight line of
 * JSON primitive calls.
 *
 * Every SET and SEQUENCE is an object whose members are named after the
 * components; the decoder takes them in any order through the type's table
 * of names (sorted by name), refuses one given twice and requires every
 * mandatory one.  No type of the module is extensible, so an unknown member
 * is refused too.  The strings are VisibleString, one octet a character,
 * decoded into NUL-terminated pieces as the code file's free function
 * expects; the children are an array, decoded with no count known ahead:
 * the first few into a local array, more into temporary memory that grows,
 * and the whole list then copied once into its piece.  children DEFAULT {}
 * is left out when empty unless the world asks for default values.
 */
#include <string.h>

#include "../json_members.h"
#include "personnel.h"
#include "personnel_json.h"
#include "personnel_per.h"

/* Positions of the components in their types. */
enum { NAME_GIVEN, NAME_INITIAL, NAME_FAMILY };
enum { CHILD_NAME, CHILD_BIRTH };
enum { RECORD_NAME, RECORD_TITLE, RECORD_NUMBER, RECORD_HIRE, RECORD_SPOUSE, RECORD_CHILDREN };

static const KelNameRow nameRows[] = {
    JSON_NAME("familyName", NAME_FAMILY), JSON_NAME("givenName", NAME_GIVEN), JSON_NAME("initial", NAME_INITIAL)};
static const uint8_t nameOrder[] = {1, 2, 0};
static const JsonMembers nameFields = {{3, 0, nameRows, NULL}, nameOrder};

static const KelNameRow childRows[] = {JSON_NAME("dateOfBirth", CHILD_BIRTH), JSON_NAME("name", CHILD_NAME)};
static const uint8_t childOrder[] = {1, 0};
static const JsonMembers childFields = {{2, 0, childRows, NULL}, childOrder};

static const KelNameRow recordRows[] = {
    JSON_NAME("children", RECORD_CHILDREN), JSON_NAME("dateOfHire", RECORD_HIRE),
    JSON_NAME("name", RECORD_NAME),         JSON_NAME("nameOfSpouse", RECORD_SPOUSE),
    JSON_NAME("number", RECORD_NUMBER),     JSON_NAME("title", RECORD_TITLE)};
static const uint8_t recordOrder[] = {2, 5, 4, 1, 3, 0};
static const JsonMembers recordFields = {{6, 0, recordRows, NULL}, recordOrder};

/* Children decoded before the list moves to temporary memory. */
#define CHILDREN_LOCAL 4u
/* The most children an array of decoder memory can hold. */
#define CHILDREN_MAX (0x7FFFFFF8u / (uint32_t)sizeof(ChildInformation))

/* ------------------------------------------------------------------------ */
/* Encoder                                                                   */
/* ------------------------------------------------------------------------ */

static void encode_visible(KelGlobal *w, const char *text)
{
    _kel_jenc_pad_char(w, (const unsigned char *)text, (uint32_t)strlen(text), 0);
}

static void encode_Name(KelGlobal *w, const Name *v)
{
    _kel_jenc_begin_object(w);
    _kel_jenc_element(w, "givenName", 0);
    encode_visible(w, v->givenName);
    _kel_jenc_element(w, "initial", 1);
    encode_visible(w, v->initial);
    _kel_jenc_element(w, "familyName", 1);
    encode_visible(w, v->familyName);
    _kel_jenc_end_object(w, 1);
}

static void encode_ChildInformation(KelGlobal *w, const ChildInformation *v)
{
    _kel_jenc_begin_object(w);
    _kel_jenc_element(w, "name", 0);
    encode_Name(w, &v->name);
    _kel_jenc_element(w, "dateOfBirth", 1);
    encode_visible(w, v->dateOfBirth);
    _kel_jenc_end_object(w, 1);
}

static void encode_children(KelGlobal *w, const PersonnelRecord *v)
{
    uint32_t i;
    _kel_jenc_begin_array(w);
    for (i = 0; i < v->children.count; i++) {
        if (i)
            _kel_jenc_append_char(w, ',');
        _kel_jenc_indent(w);
        encode_ChildInformation(w, &v->children.value[i]);
    }
    _kel_jenc_end_array(w, v->children.count > 0);
}

static void encode_PersonnelRecord(KelGlobal *w, const PersonnelRecord *v, uint32_t flags)
{
    const int children = (v->bit_mask & children_present) && v->children.count > 0;
    _kel_jenc_begin_object(w);
    _kel_jenc_element(w, "name", 0);
    encode_Name(w, &v->name);
    _kel_jenc_element(w, "title", 1);
    encode_visible(w, v->title);
    _kel_jenc_element(w, "number", 1);
    _kel_jenc_lint(w, v->number);
    _kel_jenc_element(w, "dateOfHire", 1);
    encode_visible(w, v->dateOfHire);
    _kel_jenc_element(w, "nameOfSpouse", 1);
    encode_Name(w, &v->nameOfSpouse);
    if (children || (flags & JSON_ENC_DEFAULT_VALUES)) {
        _kel_jenc_element(w, "children", 1);
        encode_children(w, v);
    }
    _kel_jenc_end_object(w, 1);
}

/* ------------------------------------------------------------------------ */
/* Decoder                                                                   */
/* ------------------------------------------------------------------------ */

/* Each decoder finds its value's first token read; `room` is the levels of
 * structure it may still enter. */

static void decode_visible(KelJsonCursor *c, char **field)
{
    json_string(c);
    _kel_jdec_string_nullterm(c, field);
}

static void decode_Name(KelJsonCursor *c, Name *v, uint32_t room)
{
    uint32_t seen = 0;
    int32_t field;
    json_enter(c, room);
    for (field = json_member(c, &nameFields, -1); field >= 0; field = json_member(c, &nameFields, field)) {
        seen = json_once(c, seen, field, "Name");
        switch (field) {
        case NAME_GIVEN:
            decode_visible(c, &v->givenName);
            break;
        case NAME_INITIAL:
            decode_visible(c, &v->initial);
            break;
        default:
            decode_visible(c, &v->familyName);
            break;
        }
    }
    json_require(c, seen, 7);
}

static void decode_ChildInformation(KelJsonCursor *c, ChildInformation *v, uint32_t room)
{
    uint32_t seen = 0;
    int32_t field;
    json_enter(c, room);
    for (field = json_member(c, &childFields, -1); field >= 0; field = json_member(c, &childFields, field)) {
        seen = json_once(c, seen, field, "ChildInformation");
        if (field == CHILD_NAME) {
            json_object(c);
            decode_Name(c, &v->name, room - 1);
        } else {
            decode_visible(c, &v->dateOfBirth);
        }
    }
    json_require(c, seen, 3);
}

/* The elements go to `local` until it is full, then to a temporary list
 * that doubles as it fills; the list ends in one piece of decoder memory. */
static void decode_children(KelJsonCursor *c, PersonnelRecord *v, uint32_t room)
{
    KelGlobal *w = c->world;
    ChildInformation local[CHILDREN_LOCAL];
    ChildInformation *list = local;
    uint32_t count = 0, capacity = CHILDREN_LOCAL;
    int first;
    json_enter(c, room);
    v->bit_mask |= children_present;
    for (first = 1; json_element(c, first); first = 0) {
        if (count == capacity) {
            if (capacity > CHILDREN_MAX / 2)
                _kel_enc_error(w, JSON_MSG_OUT_OF_MEMORY, capacity);
            if (list == local) {
                list = _kel_dec_gettempmem(w, 2 * capacity * (uint32_t)sizeof *list);
                memcpy(list, local, sizeof local);
            } else {
                list = _kel_dec_realloctempmem(w, list, capacity * (uint32_t)sizeof *list,
                                               2 * capacity * (uint32_t)sizeof *list);
            }
            capacity *= 2;
        }
        memset(&list[count], 0, sizeof *list);
        decode_ChildInformation(c, &list[count++], room - 1);
    }
    v->children.count = count;
    if (count) {
        v->children.value = _kel_dec_getmem_internal(w, count * (uint32_t)sizeof *list);
        memcpy(v->children.value, list, count * sizeof *list);
    }
    if (list != local)
        _kel_dec_freetempmem(w, list);
}

/* `v` comes cleared: no children until the member says so. */
static void decode_PersonnelRecord(KelJsonCursor *c, PersonnelRecord *v, uint32_t room)
{
    uint32_t seen = 0;
    int32_t field;
    json_enter(c, room);
    for (field = json_member(c, &recordFields, -1); field >= 0; field = json_member(c, &recordFields, field)) {
        seen = json_once(c, seen, field, "PersonnelRecord");
        switch (field) {
        case RECORD_NAME:
            json_object(c);
            decode_Name(c, &v->name, room - 1);
            break;
        case RECORD_TITLE:
            decode_visible(c, &v->title);
            break;
        case RECORD_NUMBER:
            json_number(c);
            v->number = _kel_jdec_lint(c, INT32_MIN, INT32_MAX);
            break;
        case RECORD_HIRE:
            decode_visible(c, &v->dateOfHire);
            break;
        case RECORD_SPOUSE:
            json_object(c);
            decode_Name(c, &v->nameOfSpouse, room - 1);
            break;
        default:
            json_array(c);
            decode_children(c, v, room - 1);
            break;
        }
    }
    json_require(c, seen, 0x1F);
}

/* ------------------------------------------------------------------------ */
/* Entries                                                                   */
/* ------------------------------------------------------------------------ */

int personnel_json_encode(KelGlobal *w, int pdu, void *value)
{
    const uint32_t flags = (uint32_t)kelGetJsonFlags(w);
    const int wrapped = json_wrap(w, flags, "PersonnelRecord");
    personnel_enter_pdu(w, pdu);
    encode_PersonnelRecord(w, value, flags);
    json_end_wrap(w, wrapped);
    return 0;
}

void *personnel_json_decode(KelGlobal *w, KelJsonCursor *c, int pdu)
{
    PersonnelRecord *record;
    int wrapped;
    personnel_enter_pdu(w, pdu);
    wrapped = json_unwrap(c, "PersonnelRecord");
    json_need_object(c);
    record = _kel_dec_getmem(w, sizeof *record);
    decode_PersonnelRecord(c, record, json_nesting_room(w));
    json_close_wrapper(c, wrapped);
    return record;
}
