/*
 * personnel_a3.c - code file of the module PersonnelA3: the personnel
 * record with extensible constraints and extension markers.  Extensible
 * sizes leave the strings unbounded; children are OPTIONAL, and a child
 * may carry the extension addition `sex`.
 */
#include "codefiles.h"

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
#define NUMBER_CONSTRAINT \
    .flags = KEL_DESC_SIGNED | KEL_DESC_LOWER | KEL_DESC_UPPER | KEL_DESC_EXTENSIBLE, .lower = 0, .upper = 9999
#include "per_alphabets.h"
#define EXTENSIBLE_SIZE KEL_PER_SIZE_EXTENSIBLE
static const KelPerString nameString = { &kel_alphabet_name, 1, 64, 0, KEL_ALPHABET_NAME_FLAGS | EXTENSIBLE_SIZE };
/* (SIZE(1)) after the extensible NameString constraint: not extensible */
static const KelPerString initialString = { &kel_alphabet_name, 1, 1, 0, KEL_ALPHABET_NAME_FLAGS };
static const KelPerString dateString = { &kel_alphabet_digits, 8, 8, 0, KEL_ALPHABET_DIGITS_FLAGS | EXTENSIBLE_SIZE };
static const KelPerString childrenSize = { NULL, 2, 2, 0, EXTENSIBLE_SIZE };
static const KelPerFacts namePer = { &nameString, NULL, NULL };
static const KelPerFacts initialPer = { &initialString, NULL, NULL };
static const KelPerFacts datePer = { &dateString, NULL, NULL };
static const KelPerFacts childrenPer = { &childrenSize, NULL, NULL };
#define NAME_PER &namePer
#define INITIAL_PER &initialPer
#define DATE_PER &datePer
#define CHILDREN_PER &childrenPer
#include "personnel_module.h"
