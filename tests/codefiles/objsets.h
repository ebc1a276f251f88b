/*
 * objsets.h - a stand-in code file with information object sets: two
 * extensible sets (one generated with three objects, one empty) and one
 * fixed set, with a key function that compares the objects' ids.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KEL_OBJSETS_H
#define KEL_OBJSETS_H

#include "kelvarn.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KelTestObject {
    int id; /* the unique key */
    const char *name;
} KelTestObject;

enum {
    KEL_OBJSET_LETTERS = 1, /* extensible: objects 1, 2, 3 */
    KEL_OBJSET_EMPTY = 2,   /* extensible, no generated objects */
    KEL_OBJSET_FIXED = 3    /* not extensible: object 4 */
};

/* The generated objects, ids 1 to 4. */
extern KelTestObject kel_objsets_objects[4];
extern KelControlTable kel_objsets_table;

#ifdef __cplusplus
}
#endif

#endif /* KEL_OBJSETS_H */
