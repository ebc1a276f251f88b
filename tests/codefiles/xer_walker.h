/*
 * xer_walker.h - the generated XER entry of the table-driven code files
 * (xer_walker.c).
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KEL_XER_WALKER_H
#define KEL_XER_WALKER_H

#include "codefiles.h"

#ifdef __cplusplus
extern "C" {
#endif

int kel_xer_encode(KelGlobal *world, int pdu, void *value);
/* Whether the XER walker knows every type a type is built of. */
int kel_xer_knows(const KelTypeDesc *type);

#ifdef __cplusplus
}
#endif

#endif /* KEL_XER_WALKER_H */
