/*
 * personnel_oer.h - the OER entries of personnel_oer.c that the init of
 * personnel_codefile.c registers (one path for OER and COER).
 */
#ifndef PERSONNEL_OER_H
#define PERSONNEL_OER_H

#include "kelvarn.h"

int personnel_oer_encode(KelGlobal *w, int pdu, void *value);
/* The decoder entry of the OER family: the decoded record is the result. */
void *personnel_oer_decode(KelGlobal *w, int pdu);

#endif /* PERSONNEL_OER_H */
