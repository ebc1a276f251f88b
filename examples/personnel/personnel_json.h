/*
 * personnel_json.h - the JSON entries of personnel_json.c that the init of
 * personnel_codefile.c registers.
 */
#ifndef PERSONNEL_JSON_H
#define PERSONNEL_JSON_H

#include "kelvarn_json.h"

int personnel_json_encode(KelGlobal *w, int pdu, void *value);
/* The decoder entry of the JSON family: the decoded record is the result. */
void *personnel_json_decode(KelGlobal *w, KelJsonCursor *c, int pdu);

#endif /* PERSONNEL_JSON_H */
