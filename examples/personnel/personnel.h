/*
 * personnel.h - C types of the module PersonnelRecordA1, the record of the
 * demo and the benchmarks, as a compiler lays them out:
 *
 *   PersonnelRecord ::= [APPLICATION 0] IMPLICIT SET {
 *       name Name, title [0] VisibleString, number EmployeeNumber,
 *       dateOfHire [1] Date, nameOfSpouse [2] Name,
 *       children [3] IMPLICIT SEQUENCE OF ChildInformation DEFAULT {} }
 *   ChildInformation ::= SET { name Name, dateOfBirth [0] Date }
 *   Name ::= [APPLICATION 1] IMPLICIT SEQUENCE {
 *       givenName VisibleString, initial VisibleString, familyName VisibleString }
 *   EmployeeNumber ::= [APPLICATION 2] IMPLICIT INTEGER
 *   Date ::= [APPLICATION 3] IMPLICIT VisibleString
 *
 * (module default EXPLICIT TAGS).  Strings are NUL-terminated; the SEQUENCE
 * OF is an array with its count.
 */
#ifndef PERSONNEL_H
#define PERSONNEL_H

#include "kelvarn.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct Name {
    char *givenName;
    char *initial;
    char *familyName;
} Name;

typedef char *Date;

typedef struct ChildInformation {
    Name name;
    Date dateOfBirth;
} ChildInformation;

typedef struct PersonnelRecord {
    uint8_t bit_mask;
#define children_present 0x80
    Name name;
    char *title;
    int32_t number;
    Date dateOfHire;
    Name nameOfSpouse;
    struct {
        uint32_t count;
        ChildInformation *value;
    } children;
} PersonnelRecord;

#define PersonnelRecord_PDU 1

extern KelControlTable personnel_control;

#ifdef __cplusplus
}
#endif

#endif /* PERSONNEL_H */
