/*
 * proto_message_oer.h - the OER and COER entries of proto_message_oer.c,
 * which the init of proto_message.c registers in the world's table of the
 * newer families.
 */
#ifndef PROTO_MESSAGE_OER_H
#define PROTO_MESSAGE_OER_H

#include "kelvarn.h"

int proto_oer_encode(KelGlobal *w, int pdu, void *value);
/* Answers the decoded value. */
void *proto_oer_decode(KelGlobal *w, int pdu);

#endif /* PROTO_MESSAGE_OER_H */
