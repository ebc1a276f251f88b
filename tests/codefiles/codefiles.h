/*
 * codefiles.h - the stand-in code files linked into the tests, and the
 * generated entries that every table-driven code file shares.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KEL_CODEFILES_H
#define KEL_CODEFILES_H

#include "kel_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Entries of the BER family: the walker over a code file's descriptions. */
/* Init: links BER, declares the rules BER, DER and CER and DER support. */
void kel_ber_init(KelGlobal *world);
int kel_ber_encode(KelGlobal *world, int pdu, void *value);
int kel_ber_decode(KelGlobal *world, int *pdu, void **value);
int kel_codefile_free(KelGlobal *world, int pdu, void *value);

/* The code files. */
extern const KelCodeFile kel_typeszoo_codefile;
extern const KelCodeFile kel_tagged_codefile;
extern const KelCodeFile kel_tags_explicit_codefile;
extern const KelCodeFile kel_tags_implicit_codefile;
extern const KelCodeFile kel_personnel_a1_codefile;
extern const KelCodeFile kel_personnel_a2_codefile;
extern const KelCodeFile kel_personnel_a3_codefile;
extern const KelCodeFile kel_open_types_codefile;
extern const KelCodeFile kel_ext_groups_a4_codefile;
extern const KelCodeFile kel_x509_certificate_codefile;

/* The linked code file of an ASN.1 module, or null. */
const KelCodeFile *kel_codefile_find(const char *module);

/* PDU number of a type of the code file, or 0. */
int kel_codefile_pdu(const KelCodeFile *file, const char *typeName);

#ifdef __cplusplus
}
#endif

#endif /* KEL_CODEFILES_H */
