/*
 * personnel_services.c - the printer, comparer and copier of the
 * PersonnelRecordA1 code file, in the shape a compiler emits them: per type
 * a straight line of service primitive calls.
 *
 * The printer writes value notation, a component to a line:
 *
 *   value PersonnelRecord ::= {
 *     name {
 *       givenName "John",
 *       ...
 *
 * The comparer answers 0 for equal values; children is DEFAULT {}, so an
 * absent list equals an empty one.  The copier takes every piece from the
 * decoder's memory getters, so that the copy is freed as a decoded value is
 * (personnel_free), and the frame releases it all on failure.
 */
#include <string.h>

#include "kelvarn_services.h"
#include "../value_notation.h"
#include "personnel.h"
#include "personnel_services.h"

/* Messages raised by the generated code. */
enum { MSG_PDU_RANGE = 3 };

static void check_pdu(KelGlobal *w, int pdu)
{
    if (pdu != PersonnelRecord_PDU)
        _kel_enc_error(w, MSG_PDU_RANGE, (uint32_t)pdu);
}

/* ------------------------------------------------------------------------ */
/* Printer                                                                   */
/* ------------------------------------------------------------------------ */

static void print_Name(KelGlobal *w, const Name *v)
{
    open_braces(w);
    kelPrint(w, "givenName ");
    _kel_prt_nchar(w, v->givenName);
    next_line(w);
    kelPrint(w, "initial ");
    _kel_prt_nchar(w, v->initial);
    next_line(w);
    kelPrint(w, "familyName ");
    _kel_prt_nchar(w, v->familyName);
    close_braces(w);
}

static void print_ChildInformation(KelGlobal *w, const ChildInformation *v)
{
    open_braces(w);
    kelPrint(w, "name ");
    print_Name(w, &v->name);
    next_line(w);
    kelPrint(w, "dateOfBirth ");
    _kel_prt_nchar(w, v->dateOfBirth);
    close_braces(w);
}

int personnel_print(KelGlobal *w, int pdu, void *value)
{
    const PersonnelRecord *v = (const PersonnelRecord *)value;
    uint32_t i;
    check_pdu(w, pdu);
    kelPrint(w, "value PersonnelRecord ::= ");
    open_braces(w);
    kelPrint(w, "name ");
    print_Name(w, &v->name);
    next_line(w);
    kelPrint(w, "title ");
    _kel_prt_nchar(w, v->title);
    next_line(w);
    kelPrint(w, "number %d", (int)v->number);
    next_line(w);
    kelPrint(w, "dateOfHire ");
    _kel_prt_nchar(w, v->dateOfHire);
    next_line(w);
    kelPrint(w, "nameOfSpouse ");
    print_Name(w, &v->nameOfSpouse);
    if (v->bit_mask & children_present) {
        next_line(w);
        kelPrint(w, "children {");
        for (i = 0; i < v->children.count; i++) {
            if (i)
                next_line(w);
            else
                first_line(w);
            print_ChildInformation(w, &v->children.value[i]);
        }
        if (v->children.count)
            _kel_indent(w, -1);
        kelPrint(w, "}");
    }
    close_braces(w);
    kelPrint(w, "\n");
    return 0;
}

/* ------------------------------------------------------------------------ */
/* Comparer                                                                  */
/* ------------------------------------------------------------------------ */

static int same_text(KelGlobal *w, const char *a, const char *b)
{
    return _kelCmpPrimitiveValue(w, a, b, 0, NULL, KEL_CMPK_NULLTERM);
}

static int same_Name(KelGlobal *w, const Name *a, const Name *b)
{
    return same_text(w, a->givenName, b->givenName) && same_text(w, a->initial, b->initial) &&
           same_text(w, a->familyName, b->familyName);
}

static uint32_t children_count(const PersonnelRecord *v)
{
    return v->bit_mask & children_present ? v->children.count : 0;
}

int personnel_compare(KelGlobal *w, int pdu, void *first, void *second)
{
    const PersonnelRecord *a = (const PersonnelRecord *)first, *b = (const PersonnelRecord *)second;
    uint32_t i;
    check_pdu(w, pdu);
    if (!same_Name(w, &a->name, &b->name) || !same_text(w, a->title, b->title) || a->number != b->number ||
        !same_text(w, a->dateOfHire, b->dateOfHire) || !same_Name(w, &a->nameOfSpouse, &b->nameOfSpouse) ||
        children_count(a) != children_count(b))
        return 1;
    for (i = 0; i < children_count(a); i++)
        if (!same_Name(w, &a->children.value[i].name, &b->children.value[i].name) ||
            !same_text(w, a->children.value[i].dateOfBirth, b->children.value[i].dateOfBirth))
            return 1;
    return 0;
}

/* ------------------------------------------------------------------------ */
/* Copier                                                                    */
/* ------------------------------------------------------------------------ */

static char *copy_text(KelGlobal *w, const char *text)
{
    return text ? _kel_cpy_char_real(w, text) : NULL;
}

static void copy_Name(KelGlobal *w, const Name *from, Name *to)
{
    to->givenName = copy_text(w, from->givenName);
    to->initial = copy_text(w, from->initial);
    to->familyName = copy_text(w, from->familyName);
}

int personnel_copy(KelGlobal *w, int pdu, void *source, void **destination)
{
    const PersonnelRecord *from = (const PersonnelRecord *)source;
    PersonnelRecord *to;
    uint32_t i;
    check_pdu(w, pdu);
    to = (PersonnelRecord *)_kel_dec_getmem(w, sizeof *to);
    *to = *from;
    copy_Name(w, &from->name, &to->name);
    to->title = copy_text(w, from->title);
    to->dateOfHire = copy_text(w, from->dateOfHire);
    copy_Name(w, &from->nameOfSpouse, &to->nameOfSpouse);
    to->children.value = NULL;
    if (from->children.count) {
        to->children.value = (ChildInformation *)_kel_dec_getmem(
            w, (int32_t)(from->children.count * sizeof(ChildInformation)));
        for (i = 0; i < from->children.count; i++) {
            copy_Name(w, &from->children.value[i].name, &to->children.value[i].name);
            to->children.value[i].dateOfBirth = copy_text(w, from->children.value[i].dateOfBirth);
        }
    }
    *destination = to;
    return 0;
}
