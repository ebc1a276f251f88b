/*
 * registry.c - lookup of the linked stand-in code files by module name, and
 * of their PDUs by type name.
 */
#include <string.h>

#include "codefiles.h"

static const KelCodeFile *const codefiles[] = {
    &kel_typeszoo_codefile,
    &kel_tagged_codefile,
    &kel_tags_explicit_codefile,
    &kel_tags_implicit_codefile,
    &kel_personnel_a1_codefile,
    &kel_personnel_a2_codefile,
    &kel_personnel_a3_codefile,
    &kel_open_types_codefile,
    &kel_ext_groups_a4_codefile,
    &kel_x509_certificate_codefile,
};

const KelCodeFile *kel_codefile_find(const char *module)
{
    size_t i;
    for (i = 0; i < sizeof codefiles / sizeof codefiles[0]; i++)
        if (strcmp(codefiles[i]->module, module) == 0)
            return codefiles[i];
    return NULL;
}

int kel_codefile_pdu(const KelCodeFile *file, const char *typeName)
{
    int32_t i;
    for (i = 0; i < file->pduCount; i++)
        if (strcmp(file->pdus[i].names.typeName, typeName) == 0)
            return i + 1;
    return 0;
}
