/*
 * personnel_check.c - the constraint checker of the PersonnelRecordA1 code
 * file, as a compiler emits it.  The module has no subtype constraints, so
 * what is left to test is that every string the record points to is there:
 * a null string pointer is "Unexpected NULL pointer in input".
 */
#include "kelvarn_ber.h"
#include "personnel.h"
#include "personnel_services.h"

enum { MSG_PDU_RANGE = 3 };

static void check_name(KelGlobal *w, Name *v)
{
    _kel_check_ptr(w, (void **)&v->givenName);
    _kel_check_ptr(w, (void **)&v->initial);
    _kel_check_ptr(w, (void **)&v->familyName);
}

int personnel_check(KelGlobal *w, int pdu, void *value)
{
    PersonnelRecord *v = value;
    uint32_t i;
    if (pdu != PersonnelRecord_PDU)
        _kel_enc_error(w, MSG_PDU_RANGE, (uint32_t)pdu);
    check_name(w, &v->name);
    _kel_check_ptr(w, (void **)&v->title);
    _kel_check_ptr(w, (void **)&v->dateOfHire);
    check_name(w, &v->nameOfSpouse);
    if (!(v->bit_mask & children_present))
        return 0;
    if (v->children.count)
        _kel_check_ptr(w, (void **)&v->children.value);
    for (i = 0; i < v->children.count; i++) {
        check_name(w, &v->children.value[i].name);
        _kel_check_ptr(w, (void **)&v->children.value[i].dateOfBirth);
    }
    return 0;
}
