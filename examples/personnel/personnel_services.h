/*
 * personnel_services.h - the value services of personnel_services.c that
 * the init of personnel_codefile.c registers: printPdu, cmpValue, cpyValue.
 */
#ifndef PERSONNEL_SERVICES_H
#define PERSONNEL_SERVICES_H

#include "kelvarn.h"

int personnel_print(KelGlobal *w, int pdu, void *value);
int personnel_compare(KelGlobal *w, int pdu, void *first, void *second);
int personnel_copy(KelGlobal *w, int pdu, void *source, void **destination);
/* checkConstraints, in personnel_check.c */
int personnel_check(KelGlobal *w, int pdu, void *value);

#endif /* PERSONNEL_SERVICES_H */
