/*
 * personnel_a2.c - code file of the module PersonnelA2: the personnel
 * record with size constraints, which put the strings in fixed arrays
 * (NUL-terminated up to their bound; the date exactly 8 characters).
 */
#include "codefiles.h"

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
#define NUMBER_CONSTRAINT .flags = KEL_DESC_SIGNED
#include "per_alphabets.h"
static const KelPerString nameString = { &kel_alphabet_name, 1, 64, 64, KEL_ALPHABET_NAME_FLAGS };
static const KelPerString initialString = { &kel_alphabet_name, 1, 1, 1, KEL_ALPHABET_NAME_FLAGS };
static const KelPerString dateString = { &kel_alphabet_digits, 8, 8, 0, KEL_ALPHABET_DIGITS_FLAGS };
static const KelPerFacts namePer = { &nameString, NULL, NULL };
static const KelPerFacts initialPer = { &initialString, NULL, NULL };
static const KelPerFacts datePer = { &dateString, NULL, NULL };
#define NAME_PER &namePer
#define INITIAL_PER &initialPer
#define DATE_PER &datePer
#define CHILDREN_PER NULL
#include "personnel_module.h"
