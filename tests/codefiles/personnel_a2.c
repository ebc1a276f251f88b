/*
 * personnel_a2.c - code file of the module PersonnelA2: the personnel
 * record with size constraints, which put the strings in fixed arrays
 * (NUL-terminated up to their bound; the date exactly 8 characters).
 */
#define PERSONNEL_MODULE "PersonnelA2"
#define PERSONNEL_CODEFILE kel_personnel_a2_codefile
#define NAME_FIELD(f) char f[65]
#define INITIAL_FIELD(f) char f[2]
#define DATE_FIELD(f) char f[8]
#define NAME_FORM .form = KEL_FORM_NULLTERM, .flags = KEL_DESC_UPPER, .upper = 64, .size = 65
#define INITIAL_FORM .form = KEL_FORM_NULLTERM, .flags = KEL_DESC_UPPER, .upper = 1, .size = 2
#define DATE_FORM .form = KEL_FORM_FIXED, .flags = KEL_DESC_UPPER, .upper = 8, .size = 8
#define EXTENSIBLE 0
#define CHILDREN_FLAGS KEL_COMP_DEFAULT
#define CHILDREN_DEFAULT &noChildren
#define WITH_SEX 0
#include "personnel_module.h"
