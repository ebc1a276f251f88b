/*
 * proto_message_services.h - the value services of
 * proto_message_services.c that the init of proto_message.c registers:
 * printPdu, cmpValue, cpyValue.
 */
#ifndef PROTO_MESSAGE_SERVICES_H
#define PROTO_MESSAGE_SERVICES_H

#include "kelvarn.h"

#ifdef __cplusplus
extern "C" {
#endif

int proto_print(KelGlobal *w, int pdu, void *value);
int proto_compare(KelGlobal *w, int pdu, void *first, void *second);
int proto_copy(KelGlobal *w, int pdu, void *source, void **destination);
/* checkConstraints, in proto_message_check.c */
int proto_check(KelGlobal *w, int pdu, void *value);

#ifdef __cplusplus
}
#endif

#endif /* PROTO_MESSAGE_SERVICES_H */
