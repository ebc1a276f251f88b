/*
 * personnel_per.h - what the two halves of the PersonnelRecordA1 code file
 * share: the PDU check of personnel_codefile.c, and the PER entries of
 * personnel_per.c that the control table names.
 */
#ifndef PERSONNEL_PER_H
#define PERSONNEL_PER_H

#include "kelvarn.h"

/* Fails unless `pdu` is PersonnelRecord; records it in the world. */
void personnel_enter_pdu(KelGlobal *w, int pdu);

int personnel_per_encode(KelGlobal *w, int pdu, void *value);
int personnel_per_decode(KelGlobal *w, int *pdu, void **value);

#endif /* PERSONNEL_PER_H */
