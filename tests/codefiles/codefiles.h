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

/* The generated entries of a table-driven code file: one walker per rule
 * family over the code file's descriptions. */
/* Init: links BER, PER, OER and JSON, declares the rules BER, DER, CER, PER,
 * UPER, OER, COER and JSON and DER support. */
void kel_codefile_init(KelGlobal *world);
int kel_ber_encode(KelGlobal *world, int pdu, void *value);
int kel_ber_decode(KelGlobal *world, int *pdu, void **value);
int kel_per_encode(KelGlobal *world, int pdu, void *value);
int kel_per_decode(KelGlobal *world, int *pdu, void **value);
int kel_oer_encode(KelGlobal *world, int pdu, void *value);
void *kel_oer_decode(KelGlobal *world, int pdu);
int kel_json_encode(KelGlobal *world, int pdu, void *value);
/* The JSON decoder entry; its second argument is the driver's cursor. */
struct KelJsonCursor;
void *kel_json_decode(KelGlobal *world, struct KelJsonCursor *cursor, int pdu);
int kel_codefile_free(KelGlobal *world, int pdu, void *value);
/* The value services: printPdu, cmpValue, cpyValue, checkConstraints. */
int kel_print_pdu(KelGlobal *world, int pdu, void *value);
int kel_cmp_value(KelGlobal *world, int pdu, void *first, void *second);
int kel_cpy_value(KelGlobal *world, int pdu, void *source, void **destination);
int kel_check_constraints(KelGlobal *world, int pdu, void *value);

/* Whether the PER (OER, JSON) walker knows every type a type is built of. */
int kel_per_knows(const KelTypeDesc *type);
int kel_oer_knows(const KelTypeDesc *type);
int kel_json_knows(const KelTypeDesc *type);

/* The control table of a table-driven code file. */
#define KEL_CODEFILE_CONTROL                                                                    \
    {                                                                                           \
        .init = kel_codefile_init, .berEncode = kel_ber_encode, .berDecode = kel_ber_decode,    \
        .freePdu = kel_codefile_free, .version = 17, .perEncode = kel_per_encode,               \
        .perDecode = kel_per_decode, .perVersion = 16, .printPdu = kel_print_pdu                \
    }

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
