/*
 * personnel_a1.c - code file of the module PersonnelA1: the personnel
 * record without constraints; its strings are NUL-terminated text behind
 * pointers.
 */
#include "codefiles.h"

#define PERSONNEL_MODULE "PersonnelA1"
#define PERSONNEL_CODEFILE kel_personnel_a1_codefile
#define NAME_FIELD(f) char *f
#define INITIAL_FIELD(f) char *f
#define DATE_FIELD(f) char *f
#define TEXT_FORM .form = KEL_FORM_NULLTERM_PTR, .size = sizeof(char *)
#define NAME_FORM TEXT_FORM
#define INITIAL_FORM TEXT_FORM
#define DATE_FORM TEXT_FORM
#define EXTENSIBLE 0
#define CHILDREN_FLAGS KEL_COMP_DEFAULT
#define CHILDREN_DEFAULT &noChildren
#define WITH_SEX 0
#define NUMBER_CONSTRAINT .flags = KEL_DESC_SIGNED
/* Date has an implicit tag: PER needs to be told it is a VisibleString. */
static const KelPerString visibleDate = { NULL, 1, 0, 0, KEL_PER_STRING_FLAGS(8, 1, 7, 1) };
static const KelPerFacts datePer = { &visibleDate, NULL, NULL };
#define NAME_PER NULL
#define INITIAL_PER NULL
#define DATE_PER &datePer
#define CHILDREN_PER NULL
#include "personnel_module.h"
