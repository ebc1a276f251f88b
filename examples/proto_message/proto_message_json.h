/*
 * proto_message_json.h - the JSON entries of proto_message_json.c, which the
 * init of proto_message.c registers in the world's table of the newer
 * families.
 */
#ifndef PROTO_MESSAGE_JSON_H
#define PROTO_MESSAGE_JSON_H

#include "kelvarn_json.h"

int proto_json_encode(KelGlobal *w, int pdu, void *value);
/* Answers the decoded value. */
void *proto_json_decode(KelGlobal *w, KelJsonCursor *c, int pdu);

#endif /* PROTO_MESSAGE_JSON_H */
