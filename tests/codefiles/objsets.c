/*
 * objsets.c - the stand-in code file of the information object set tests:
 * generated lists, the entries of the extensible sets and the key function,
 * registered by the init function as generated code does.
 */
#include "objsets.h"

KelTestObject kel_objsets_objects[4] = {{1, "one"}, {2, "two"}, {3, "three"}, {4, "four"}};

static KelInfoObjectNode letters[3] = {
    {&letters[1], &kel_objsets_objects[0]},
    {&letters[2], &kel_objsets_objects[1]},
    {NULL, &kel_objsets_objects[2]},
};
static KelInfoObjectNode fixed[1] = {{NULL, &kel_objsets_objects[3]}};
static KelInfoObjectNode *fixedSets[1] = {fixed};

/* Mode 1: two objects; mode 2: a pointer to an id and an object. */
static int compare_keys(KelGlobal *world, int setNumber, void *first, void *second, int mode) {
    int key = mode == 2 ? *(const int *)first : ((const KelTestObject *)first)->id;
    (void)world;
    (void)setNumber;
    return key != ((const KelTestObject *)second)->id;
}

static const KelInfoObjectSets sets = {3, fixedSets, compare_keys};

static void objsets_init(KelGlobal *world) {
    KelInfoObjectSetEntry entries[2] = {{letters, NULL, NULL, 3}, {NULL, NULL, NULL, 0}};
    kelLinkBer(world);
    kelInitXObjectSetTable(world, (int)sizeof sets, (void *)&sets, entries, 2, 0);
}

KelControlTable kel_objsets_table = {objsets_init, NULL, NULL, NULL, 17, NULL, NULL, 16, 0, NULL, NULL};
