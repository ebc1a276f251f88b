/*
 * personnel_a2_oer.h - the OER entries of personnel_a2_oer.c that the init
 * of personnel_a2.c registers (one path for OER and COER).
 */
#ifndef PERSONNEL_A2_OER_H
#define PERSONNEL_A2_OER_H

#include "kelvarn.h"

int personnel_a2_oer_encode(KelGlobal *w, int pdu, void *value);
/* The decoder entry of the OER family: the decoded record is the result. */
void *personnel_a2_oer_decode(KelGlobal *w, int pdu);

#endif /* PERSONNEL_A2_OER_H */
