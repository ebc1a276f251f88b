/*
 * personnel_module.h - the table of the personnel record modules
 * (PersonnelA1, A2, A3), which share their structure and differ in memory
 * forms, extensibility and one component.  A code file defines these and
 * includes this file:
 *
 *   PERSONNEL_MODULE, PERSONNEL_CODEFILE   module name, code file symbol
 *   NAME_FIELD(f), INITIAL_FIELD(f), DATE_FIELD(f)   record fields
 *   NAME_FORM, INITIAL_FORM, DATE_FORM     description members of the forms
 *   NUMBER_WIDTH                           octets of EmployeeNumber
 *   EXTENSIBLE                             KEL_DESC_EXTENSIBLE or 0
 *   CHILDREN_FLAGS, CHILDREN_DEFAULT       children: DEFAULT {} or OPTIONAL
 *   WITH_SEX                               ChildInformation has `sex`
 *   NUMBER_CONSTRAINT                      bounds of EmployeeNumber
 *   NAME_PER, INITIAL_PER, DATE_PER, CHILDREN_PER   PER facts of the
 *                                          constrained types, or NULL
 *
 * The module has EXPLICIT tags; Name, EmployeeNumber and Date carry
 * implicit application tags.
 */
#include <stddef.h>

#include "codefiles.h"
#include "kelvarn_ber.h"
#include "per_alphabets.h"

enum {
    PersonnelRecord, ChildInformation, Name, EmployeeNumber, Date, NameString, Initial, Title, Children, Sex,
    TypeCount
};

typedef struct NameValue {
    NAME_FIELD(givenName);
    INITIAL_FIELD(initial);
    NAME_FIELD(familyName);
} NameValue;
typedef struct ChildValue {
    uint32_t present;
    NameValue name;
    DATE_FIELD(dateOfBirth);
    int32_t sex;
} ChildValue;
typedef struct RecordValue {
    uint32_t present;
    NameValue name;
    NAME_FIELD(title);
    int64_t number;
    DATE_FIELD(dateOfHire);
    NameValue nameOfSpouse;
    KelSequenceOf children;
} RecordValue;

static const KelTypeDesc types[TypeCount];

#define CTX(n) KEL_TAG(KEL_CLASS_CONTEXT, 1, n)
#define COMP(rec, field, t, tagging, tag, fl, bit) \
    { #field, &types[t], offsetof(rec, field), fl, bit, tagging, tag, NULL }
#define NO_TAG { 0, 0, 0, 0 }
enum { E = KEL_TAGGING_EXPLICIT, I = KEL_TAGGING_IMPLICIT, N = KEL_TAGGING_NONE };

static const KelSequenceOf noChildren = { 0, NULL };

static const KelComponent name[] = {
    COMP(NameValue, givenName, NameString, N, NO_TAG, 0, 0),
    COMP(NameValue, initial, Initial, N, NO_TAG, 0, 0),
    COMP(NameValue, familyName, NameString, N, NO_TAG, 0, 0),
};
static const KelComponent child[] = {
    COMP(ChildValue, name, Name, N, NO_TAG, 0, 0),
    COMP(ChildValue, dateOfBirth, Date, E, CTX(0), 0, 0),
#if WITH_SEX
    COMP(ChildValue, sex, Sex, I, KEL_TAG(KEL_CLASS_CONTEXT, 0, 1), KEL_COMP_OPTIONAL | KEL_COMP_EXTENSION, 1),
#endif
};
static const KelComponent record[] = {
    COMP(RecordValue, name, Name, N, NO_TAG, 0, 0),
    COMP(RecordValue, title, Title, E, CTX(0), 0, 0),
    COMP(RecordValue, number, EmployeeNumber, N, NO_TAG, 0, 0),
    COMP(RecordValue, dateOfHire, Date, E, CTX(1), 0, 0),
    COMP(RecordValue, nameOfSpouse, Name, E, CTX(2), 0, 0),
    { "children", &types[Children], offsetof(RecordValue, children), CHILDREN_FLAGS, 1, I, CTX(3),
      CHILDREN_DEFAULT },
};
static const KelComponent childElement[] = { { "element", &types[ChildInformation], 0, 0, 0, N, NO_TAG, NULL } };
static const KelNamedNumber sexNames[] = { { "male", 1 }, { "female", 2 }, { "unknown", 3 } };
static const int32_t sexValues[] = { 1, 2, 3 };
static const KelPerEnumTable sexRoot = { 3, sexValues };
static const KelPerFacts sexPer = { NULL, &sexRoot, NULL };

#define LIST(list) .components = list, .componentCount = sizeof list / sizeof list[0]
#define VISIBLE KEL_TAG_VISIBLE_STRING

static const KelTypeDesc types[TypeCount] = {
    [PersonnelRecord] = { .name = "PersonnelRecord", .kind = KEL_KIND_SET, .tagCount = 1,
                          .tags = { KEL_TAG(KEL_CLASS_APPLICATION, 1, 0) }, .flags = EXTENSIBLE,
                          .size = sizeof(RecordValue), LIST(record) },
    [ChildInformation] = { .name = "ChildInformation", .kind = KEL_KIND_SET, .tagCount = 1,
                           .tags = { KEL_TAG(0, 1, 17) }, .flags = EXTENSIBLE, .size = sizeof(ChildValue),
                           LIST(child) },
    [Name] = { .name = "Name", .kind = KEL_KIND_SEQUENCE, .tagCount = 1,
               .tags = { KEL_TAG(KEL_CLASS_APPLICATION, 1, 1) }, .flags = EXTENSIBLE,
               .size = sizeof(NameValue), LIST(name) },
    [EmployeeNumber] = { .name = "EmployeeNumber", .kind = KEL_KIND_INTEGER, .tagCount = 1,
                         .tags = { KEL_TAG(KEL_CLASS_APPLICATION, 0, 2) }, .width = 8, .size = 8,
                         NUMBER_CONSTRAINT },
    [Date] = { .name = "Date", .kind = KEL_KIND_CHAR_STRING, .tagCount = 1,
               .tags = { KEL_TAG(KEL_CLASS_APPLICATION, 0, 3) }, DATE_FORM, .per = DATE_PER },
    [NameString] = { .name = "NameString", .kind = KEL_KIND_CHAR_STRING, .tagCount = 1, .tags = { VISIBLE },
                     NAME_FORM, .per = NAME_PER },
    [Initial] = { .name = "Initial", .kind = KEL_KIND_CHAR_STRING, .tagCount = 1, .tags = { VISIBLE },
                  INITIAL_FORM, .per = INITIAL_PER },
    /* title [0] VisibleString: unconstrained, in the form of NameString */
    [Title] = { .name = "Title", .kind = KEL_KIND_CHAR_STRING, .tagCount = 1, .tags = { VISIBLE }, NAME_FORM },
    [Children] = { .name = "Children", .kind = KEL_KIND_SEQUENCE_OF, .tagCount = 1,
                   .tags = { KEL_TAG(0, 1, 16) }, .size = sizeof(KelSequenceOf), LIST(childElement),
                   .per = CHILDREN_PER },
    [Sex] = { .name = "Sex", .kind = KEL_KIND_ENUMERATED, .tagCount = 1, .tags = { KEL_TAG_ENUMERATED },
              .width = 4, .flags = KEL_DESC_SIGNED, .size = 4, .names = sexNames, .nameCount = 3,
              .per = &sexPer },
};

static const KelPduDesc pdus[] = {
    { { "PersonnelRecord", "PersonnelRecord" }, &types[PersonnelRecord] },
};

const KelCodeFile PERSONNEL_CODEFILE = {
    .control = KEL_CODEFILE_CONTROL,
    .module = PERSONNEL_MODULE,
    .pduCount = sizeof pdus / sizeof pdus[0],
    .pdus = pdus,
};
