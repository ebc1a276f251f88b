/*
 * cert_trim_oer.h - what the two halves of the CertTrim code file share:
 * the PDU check of cert_trim.c, and the OER and COER entries of
 * cert_trim_oer.c that its init registers.
 */
#ifndef CERT_TRIM_OER_H
#define CERT_TRIM_OER_H

#include "kelvarn.h"

/* Fails unless `pdu` is Certificate; records it in the world. */
void cert_enter_pdu(KelGlobal *w, int pdu);

int cert_oer_encode(KelGlobal *w, int pdu, void *value);
/* Answers the decoded value. */
void *cert_oer_decode(KelGlobal *w, int pdu);

#endif /* CERT_TRIM_OER_H */
