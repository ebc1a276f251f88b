/*
 * personnel_a2.h - C types of the module PersonnelRecordA2, the personnel
 * record with PER-visible constraints, as a compiler lays them out from
 * them:
 *
 *   PersonnelRecord ::= [APPLICATION 0] IMPLICIT SET {
 *       name Name, title [0] VisibleString, number EmployeeNumber,
 *       dateOfHire [1] Date, nameOfSpouse [2] Name,
 *       children [3] IMPLICIT SEQUENCE OF ChildInformation DEFAULT {} }
 *   ChildInformation ::= SET { name Name, dateOfBirth [0] Date }
 *   Name ::= [APPLICATION 1] IMPLICIT SEQUENCE {
 *       givenName NameString, initial NameString (SIZE(1)),
 *       familyName NameString }
 *   EmployeeNumber ::= [APPLICATION 2] IMPLICIT INTEGER
 *   Date ::= [APPLICATION 3] IMPLICIT VisibleString
 *       (FROM ("0".."9") ^ SIZE(8))
 *   NameString ::= VisibleString
 *       (FROM ("a".."z" | "A".."Z" | "-.") ^ SIZE(1..64))
 *
 * Bounded strings are NUL-terminated arrays one longer than their bound;
 * the unconstrained title is a NUL-terminated string of its own; the
 * SEQUENCE OF is an array with its count.  The names carry the module's
 * prefix, so that this header goes with the one of PersonnelRecordA1.
 */
#ifndef PERSONNEL_A2_H
#define PERSONNEL_A2_H

#include "kelvarn.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct A2Name {
    char givenName[65];
    char initial[2];
    char familyName[65];
} A2Name;

typedef struct A2ChildInformation {
    A2Name name;
    char dateOfBirth[9];
} A2ChildInformation;

typedef struct A2PersonnelRecord {
    uint8_t bit_mask;
#define A2_children_present 0x80
    A2Name name;
    char *title;
    int32_t number;
    char dateOfHire[9];
    A2Name nameOfSpouse;
    struct {
        uint32_t count;
        A2ChildInformation *value;
    } children;
} A2PersonnelRecord;

#define A2PersonnelRecord_PDU 1

extern KelControlTable personnel_a2_control;

#ifdef __cplusplus
}
#endif

#endif /* PERSONNEL_A2_H */
