/*
 * cert_trim_services.h - the value services of cert_trim_services.c that
 * the init of cert_trim.c registers: printPdu, cmpValue, cpyValue.
 */
#ifndef CERT_TRIM_SERVICES_H
#define CERT_TRIM_SERVICES_H

#include "kelvarn.h"

#ifdef __cplusplus
extern "C" {
#endif

int cert_print(KelGlobal *w, int pdu, void *value);
int cert_compare(KelGlobal *w, int pdu, void *first, void *second);
int cert_copy(KelGlobal *w, int pdu, void *source, void **destination);
/* checkConstraints, in cert_trim_check.c */
int cert_check(KelGlobal *w, int pdu, void *value);

#ifdef __cplusplus
}
#endif

#endif /* CERT_TRIM_SERVICES_H */
