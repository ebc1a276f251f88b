/*
 * personnel_a3.c - code file of the module PersonnelA3: the personnel
 * record with extensible constraints and extension markers.  Extensible
 * sizes leave the strings unbounded; children are OPTIONAL, and a child
 * may carry the extension addition `sex`.
 */
#define PERSONNEL_MODULE "PersonnelA3"
#define PERSONNEL_CODEFILE kel_personnel_a3_codefile
#define NAME_FIELD(f) KelUnboundedString f
#define INITIAL_FIELD(f) KelUnboundedString f
#define DATE_FIELD(f) char *f
#define NAME_FORM .form = KEL_FORM_UNBOUNDED, .size = sizeof(KelUnboundedString)
#define INITIAL_FORM NAME_FORM
#define DATE_FORM .form = KEL_FORM_NULLTERM_PTR, .size = sizeof(char *)
#define EXTENSIBLE KEL_DESC_EXTENSIBLE
#define CHILDREN_FLAGS KEL_COMP_OPTIONAL
#define CHILDREN_DEFAULT NULL
#define WITH_SEX 1
#include "personnel_module.h"
