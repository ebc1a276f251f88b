/*
 * proto_message_per.h - what the two halves of the ProtoMessage code file
 * share: the PDU check of proto_message.c, and the PER entries of
 * proto_message_per.c that the control table names.
 */
#ifndef PROTO_MESSAGE_PER_H
#define PROTO_MESSAGE_PER_H

#include "kelvarn.h"

/* Fails unless `pdu` is Message; records it in the world. */
void proto_enter_pdu(KelGlobal *w, int pdu);

int proto_per_encode(KelGlobal *w, int pdu, void *value);
int proto_per_decode(KelGlobal *w, int *pdu, void **value);

#endif /* PROTO_MESSAGE_PER_H */
