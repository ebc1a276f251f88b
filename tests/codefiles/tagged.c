/*
 * tagged.c - code file of a small module with the tags that TypesZoo lacks:
 *
 *   Tagged DEFINITIONS ::= BEGIN
 *     TaggedBool ::= [1] EXPLICIT BOOLEAN
 *     LongTagInt ::= [APPLICATION 200] IMPLICIT INTEGER
 *   END
 *
 * The second tag's number takes two octets.
 */
#include "codefiles.h"
#include "kelvarn_ber.h"

static const KelTypeDesc taggedBool = {
    .name = "TaggedBool", .kind = KEL_KIND_BOOLEAN, .tagCount = 2,
    .tags = { KEL_TAG(KEL_CLASS_CONTEXT, 1, 1), KEL_TAG_BOOLEAN }, .size = 1
};
static const KelTypeDesc longTagInt = {
    .name = "LongTagInt", .kind = KEL_KIND_INTEGER, .tagCount = 1,
    .tags = { KEL_TAG(KEL_CLASS_APPLICATION, 0, 200) }, .width = 4, .flags = KEL_DESC_SIGNED,
    .size = 4
};

static const KelPduDesc pdus[] = {
    { { "TaggedBool", "TaggedBool" }, &taggedBool },
    { { "LongTagInt", "LongTagInt" }, &longTagInt },
};

const KelCodeFile kel_tagged_codefile = {
    .control = KEL_CODEFILE_CONTROL,
    .module = "Tagged",
    .pduCount = sizeof pdus / sizeof pdus[0],
    .pdus = pdus,
};
