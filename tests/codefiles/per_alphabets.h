/*
 * per_alphabets.h - permitted alphabets shared by the stand-in code files,
 * and the bits a character that PER gives each (aligned, unaligned).
 */
#ifndef KEL_PER_ALPHABETS_H
#define KEL_PER_ALPHABETS_H

#include "kelvarn_per.h"

/* NumericString: aligned 4 bits, unaligned 4 bits */
extern const KelPerAlphabet kel_alphabet_numeric;
#define KEL_ALPHABET_NUMERIC_FLAGS KEL_PER_STRING_FLAGS(4, 0, 4, 0)
/* FROM ("0".."9"): aligned 4 bits, unaligned 4 bits */
extern const KelPerAlphabet kel_alphabet_digits;
#define KEL_ALPHABET_DIGITS_FLAGS KEL_PER_STRING_FLAGS(4, 0, 4, 0)
/* FROM ("a".."z"): aligned 8 bits own code, unaligned 5 bits */
extern const KelPerAlphabet kel_alphabet_lower;
#define KEL_ALPHABET_LOWER_FLAGS KEL_PER_STRING_FLAGS(8, 1, 5, 0)
/* FROM ("A".."Z"): aligned 8 bits own code, unaligned 5 bits */
extern const KelPerAlphabet kel_alphabet_upper;
#define KEL_ALPHABET_UPPER_FLAGS KEL_PER_STRING_FLAGS(8, 1, 5, 0)
/* FROM ("A".."Z" | " "): aligned 8 bits own code, unaligned 5 bits */
extern const KelPerAlphabet kel_alphabet_upper_space;
#define KEL_ALPHABET_UPPER_SPACE_FLAGS KEL_PER_STRING_FLAGS(8, 1, 5, 0)
/* FROM ("0".."9" | "#*"): aligned 4 bits, unaligned 4 bits */
extern const KelPerAlphabet kel_alphabet_digits_hash_star;
#define KEL_ALPHABET_DIGITS_HASH_STAR_FLAGS KEL_PER_STRING_FLAGS(4, 0, 4, 0)
/* FROM ("0".."7"): aligned 4 bits, unaligned 3 bits */
extern const KelPerAlphabet kel_alphabet_octal;
#define KEL_ALPHABET_OCTAL_FLAGS KEL_PER_STRING_FLAGS(4, 0, 3, 0)
/* FROM ("0".."3" | " "): aligned 4 bits, unaligned 3 bits */
extern const KelPerAlphabet kel_alphabet_quaternary_space;
#define KEL_ALPHABET_QUATERNARY_SPACE_FLAGS KEL_PER_STRING_FLAGS(4, 0, 3, 0)
/* FROM ("0".."9" | "A".."F"): aligned 4 bits, unaligned 4 bits */
extern const KelPerAlphabet kel_alphabet_hex_upper;
#define KEL_ALPHABET_HEX_UPPER_FLAGS KEL_PER_STRING_FLAGS(4, 0, 4, 0)
/* FROM ("a".."z" | "'()+,-./:=?"): aligned 8 bits own code, unaligned 6 bits */
extern const KelPerAlphabet kel_alphabet_lower_punct;
#define KEL_ALPHABET_LOWER_PUNCT_FLAGS KEL_PER_STRING_FLAGS(8, 1, 6, 0)
/* FROM ("a".."z" | "A".."Z" | "-."): aligned 8 bits own code, unaligned 6 bits */
extern const KelPerAlphabet kel_alphabet_name;
#define KEL_ALPHABET_NAME_FLAGS KEL_PER_STRING_FLAGS(8, 1, 6, 0)

#endif /* KEL_PER_ALPHABETS_H */
