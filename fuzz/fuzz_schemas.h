/*
 * fuzz_schemas.h - the schemas the fuzz targets drive, and the selector
 * octets at the front of every fuzz input that choose among them.
 *
 * An input is  schema, PDU, mode, encoding...  where
 *   schema  index into `schemas` (modulo their count)
 *   PDU     PDU number minus 1 (modulo the schema's PDU count)
 *   mode    bits 0-1 the rule of the target's family (modulo its rule
 *           count), bit 2 decode and encode in a caller's buffer instead
 *           of library memory, bits 3-5 misalignment of that buffer, the
 *           upper bits for the target's own options.
 * Seeds written with small indices keep their meaning when schemas or
 * PDUs are appended, so new schemas go at the end of the table.
 */
#ifndef KEL_FUZZ_SCHEMAS_H
#define KEL_FUZZ_SCHEMAS_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "codefiles.h"
#include "personnel.h"

/* The other straight-line code files: their headers declare types of the
 * same names, so only the control tables are brought in here. */
extern "C" KelControlTable proto_message_control;
extern "C" KelControlTable cert_trim_control;
extern "C" KelControlTable personnel_a2_control;

namespace kel_fuzz {

struct Schema {
    const char *module;             /* module name of its cases in the vector corpus */
    const char *bench;              /* name of its bench encodings, or null */
    const KelControlTable *control; /* what kelinit opens the world on */
    int pduCount;
    int (*pduOf)(const char *typeName); /* PDU number of a type, 0 if none */
};

/* A schema whose code file is a table for the walkers. */
template <const KelCodeFile &file>
Schema table_schema(const char *bench = nullptr)
{
    return { file.module, bench, &file.control, file.pduCount,
             [](const char *typeName) { return kel_codefile_pdu(&file, typeName); } };
}

inline const Schema schemas[] = {
    table_schema<kel_typeszoo_codefile>(),
    table_schema<kel_tagged_codefile>(),
    { "PersonnelA1", "PersonnelRecordA1", &personnel_control, 1,
      [](const char *typeName) {
          return std::strcmp(typeName, "PersonnelRecord") == 0 ? PersonnelRecord_PDU : 0;
      } },
    table_schema<kel_tags_explicit_codefile>(),
    table_schema<kel_tags_implicit_codefile>(),
    table_schema<kel_personnel_a1_codefile>(),
    table_schema<kel_personnel_a2_codefile>("PersonnelRecordA2"),
    table_schema<kel_personnel_a3_codefile>(),
    table_schema<kel_open_types_codefile>(),
    table_schema<kel_ext_groups_a4_codefile>(),
    table_schema<kel_x509_certificate_codefile>(),
    { "ProtoMessage", "ProtoMessage", &proto_message_control, 1,
      [](const char *typeName) { return std::strcmp(typeName, "Message") == 0 ? 1 : 0; } },
    { "CertTrim", "CertTrim", &cert_trim_control, 1,
      [](const char *typeName) { return std::strcmp(typeName, "Certificate") == 0 ? 1 : 0; } },
    { "PersonnelA2", "PersonnelRecordA2", &personnel_a2_control, 1,
      [](const char *typeName) { return std::strcmp(typeName, "PersonnelRecord") == 0 ? 1 : 0; } },
};
inline constexpr std::size_t schemaCount = sizeof schemas / sizeof schemas[0];

inline constexpr std::size_t selectorSize = 3;
inline constexpr uint8_t modeRuleMask = 0x03;
inline constexpr uint8_t modeCallerBuffer = 0x04;
inline constexpr unsigned modeMisalignShift = 3;
inline constexpr uint8_t modeMisalignMask = 0x38;
inline constexpr uint8_t modeFamilyShift = 6; /* the two bits left for a family */

struct Selection {
    const Schema *schema;
    int pdu;
    unsigned rule;         /* index into the family's rules */
    bool callerBuffer;
    unsigned misalign;     /* octets, 0-7 */
    unsigned familyBits;   /* bits 6-7 of the mode octet */
};

inline Selection select(const uint8_t *data, unsigned ruleCount)
{
    const Schema *schema = &schemas[data[0] % schemaCount];
    const unsigned mode = data[2];
    return { schema, data[1] % schema->pduCount + 1, (mode & modeRuleMask) % ruleCount,
             (mode & modeCallerBuffer) != 0, (mode & modeMisalignMask) >> modeMisalignShift,
             mode >> modeFamilyShift };
}

} // namespace kel_fuzz

#endif /* KEL_FUZZ_SCHEMAS_H */
