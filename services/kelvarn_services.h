/*
 * kelvarn_services.h - primitives of the value services (printing,
 * comparing, copying, constraint checking) that generated code and the rule
 * families call.  For now: the walkers of range-list alphabets.
 *
 * A range-list alphabet is a binary search tree by character code laid out
 * in one array of 32-bit words.  An entry is an index word (the index of its
 * first character in the sorted alphabet), a control word and its codes:
 *
 *   control bits 31-30  kind: 0 one character, 1 a range, 2 a short list
 *   control bits 28-26  list entries: S, the entry holds S - 1 codes
 *   control bit  25     the left branch (smaller codes) follows the entry
 *   control bits 15-0   words from this entry to its right branch, 0: none
 *
 * Kind 0 has one code, kind 1 the first and last code of the range, kind 2
 * its codes in ascending order.  A first word of all ones marks a list
 * without index words: the root's control word still stands at word 1, and
 * every entry is one word shorter.  Only kelCharIsPermitted serves such a
 * list; the index walkers report it as holding nothing.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KELVARN_SERVICES_H
#define KELVARN_SERVICES_H

#include "kelvarn.h"

#ifdef __cplusplus
extern "C" {
#endif

/* 1 when `character` belongs to the alphabet, else 0. */
KEL_API int kelCharIsPermitted(const uint32_t *tree, uint32_t character);
/* The index of `character` in the sorted alphabet, -1 when it is absent. */
KEL_API int32_t kelIndexByChar(const uint32_t *tree, uint32_t character);
/* The character at `index`; 0x10FFFD (a noncharacter) when none is there. */
KEL_API uint32_t kelCharByIndex(const uint32_t *tree, uint32_t index);

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_SERVICES_H */
