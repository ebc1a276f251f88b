/*
 * kelvarn_convert.h - conversions and service surfaces: object identifiers
 * between encoded, dotted and value-notation forms; huge integers; octet
 * forms (BCD, TBCD, IP addresses, time stamps, hexadecimal and Base64);
 * run-time information object sets; the compression surface; the file and
 * socket surface with its message-length helpers.
 *
 * Included by kelvarn.h.  This header compiles as C99 and as C++.
 */
#ifndef KELVARN_CONVERT_H
#define KELVARN_CONVERT_H

#include "kelvarn.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Object identifiers and huge integers ------------------------------ */

/* Object identifier conversions: (world, input record, output record).
 * The encoded record holds contents octets (no tag, no length); the text
 * record a text of `length` characters.  Output: with a non-null `value`
 * the output goes to that buffer of `length` octets; with a null `value`
 * memory comes from kelMalloc (text: the text and its NUL; encoded: the
 * octets and one terminating 0 octet), owned by the caller.
 * Text output is NUL-terminated; on success `length` is the text length
 * without the NUL; when the buffer is too small the result is 1, the
 * buffer holds as much text as fits (NUL-terminated) and `length` the size
 * needed, NUL included.  Encoded output: on success `length` is the count
 * of octets; when too small the result is 1 and `length` the count needed.
 * Arcs are up to 64 bits.  Text separators are blanks, '.', '{' and '}' in
 * any mix; every arc is a run of decimal digits.
 * Return codes: 0; 1 output too small; 5 malformed encoding; 6 null
 * argument; 8 no memory; 10 malformed text; 11 caller's buffer of length 0;
 * 33 arc limits (first arc above 2, second above 39 under 0 and 1, third
 * arc under 0.0 outside 1 to 26, arc above 64 bits).  Failures other
 * than 6 and 11 set `length` to 0; no failure leaves memory allocated. */
KEL_API int kelEncodedOidToAsnVal(KelGlobal *world, const KelBuf *encoded, KelBuf *text);
KEL_API int kelEncodedRelOidToAsnVal(KelGlobal *world, const KelBuf *encoded, KelBuf *text);
KEL_API int kelEncodedOidToDotVal(KelGlobal *world, const KelBuf *encoded, KelBuf *text);
KEL_API int kelEncodedRelOidToDotVal(KelGlobal *world, const KelBuf *encoded, KelBuf *text);
KEL_API int kelAsnValToEncodedOid(KelGlobal *world, const KelBuf *text, KelBuf *encoded);
KEL_API int kelAsnValToEncodedRelOid(KelGlobal *world, const KelBuf *text, KelBuf *encoded);
KEL_API int kelDotValToEncodedOid(KelGlobal *world, const KelBuf *text, KelBuf *encoded);
KEL_API int kelDotValToEncodedRelOid(KelGlobal *world, const KelBuf *text, KelBuf *encoded);

/* Sub-identifier helpers.  An arc is an 8-byte big-endian number; base-128
 * output has the top bit on every group but the last.  `*count` takes the
 * octets written or read (on result 3 of an encoder: the octets needed).
 * Results: 0; 1 arc limits (encodeSubIDs: first arc above 2, or second arc
 * above 39 under a first arc below 2); 2 no digits or a non-digit; 3
 * output too small (encoders), or no last group within 11 octets or a value
 * above 64 bits (decoders). */
KEL_API int encodeSubID(const unsigned char arc[8], unsigned char *out, uint32_t room, uint32_t *count);
KEL_API int decodeSubID(const unsigned char *in, uint32_t available, unsigned char arc[8],
                        uint32_t *count);
KEL_API int encodeSubIDs(uint32_t first, const unsigned char second[8], unsigned char *out,
                         uint32_t room, uint32_t *count);
KEL_API int decodeSubIDs(const unsigned char *in, uint32_t available, uint32_t *first,
                         unsigned char second[8], uint32_t *count);
/* Arcs of any size as decimal text.  encodeStrSubID: result 3 (count not
 * known) when the groups don't fit `room`.  decodeStrSubID: the last group
 * may lie anywhere within `available` (else 3); the digits and a NUL go to
 * `text` (result 1 when `room` can't hold them), `*textLength` takes the
 * digit count. */
KEL_API int encodeStrSubID(const char *digits, uint32_t length, unsigned char *out, uint32_t room,
                           uint32_t *count);
KEL_API int decodeStrSubID(const unsigned char *in, uint32_t available, char *text, uint32_t room,
                           uint32_t *count, uint32_t *textLength);
/* Decimal text to a big-endian number of `size` octets (8 for an arc) and
 * back.  a2huge: 1 when the number needs more than `size` octets, 2 for no
 * digits or a non-digit (on failure the octets of `value` are undefined).
 * huge2a: digits and a NUL; 3 when `room` can't hold them; `*length`
 * takes the digit count. */
KEL_API int a2huge(const char *text, uint32_t length, unsigned char *value, uint32_t size);
KEL_API int huge2a(const unsigned char *value, uint32_t size, char *text, uint32_t room,
                   uint32_t *length);
/* Encoded sizes.  _kel_objid_size: base-128 groups of an arc value.
 * _kel_subid_size: the size that arc `index` adds to an encoding; arc 0
 * stores its value in *first and adds 0, arc 1 is encoded with 40 times
 * the first arc added. */
KEL_API int _kel_objid_size(uint64_t value);
KEL_API int _kel_subid_size(int index, uint64_t value, uint64_t *first);

/* Names of the standard arcs. */
typedef struct KelOidArcName {
    const char *name;
    uint32_t value;
} KelOidArcName;
typedef struct KelOidNameEntry {
    const char *text;
    uint32_t length;
    uint32_t value;
} KelOidNameEntry;
/* First-arc names with their values, ended by a null name. */
extern KEL_API const KelOidArcName stdOid1Name[6];
/* Second-arc names indexed [first arc][second arc]; "" where none. */
extern KEL_API const char *const stdOid2Name[2][10];
/* The same as triples: first arcs, ended by an empty row; second arcs for
 * first arc 0 and 1, each row ended by empty entries. */
extern KEL_API const KelOidNameEntry _stdoids0[6];
extern KEL_API const KelOidNameEntry _stdoids1[2][7];

/* Huge integers: big-endian two's complement octets (unsigned: no sign).
 * Canonical: signed drops a leading 0x00 before a byte below 0x80 and a
 * leading 0xFF before a byte from 0x80; unsigned drops every leading 0x00;
 * one octet always stays.  kelToCanonicalHugeInt moves *value and *length
 * only, and returns `length`; kelHugeIntToCanonical moves the octets down
 * and returns the new length. */
KEL_API uint32_t *kelToCanonicalHugeInt(uint32_t *length, unsigned char **value, int isUnsigned);
KEL_API uint32_t kelHugeIntToCanonical(unsigned char *value, uint32_t length, int isUnsigned);
/* a + b and a - b.  `result` is a buffer of *resultLength octets: the
 * longer operand's length plus one always suffices, the longer length
 * alone when the result fits it.  The result is written at the buffer's
 * end, in canonical form; the return is its first octet and *resultLength
 * its length.  The buffer may end where an operand ends (in place).  The
 * low byte of `flags` nonzero: unsigned operands (an unsigned difference
 * below zero comes back modulo 256 to the power of the longer length).  An
 * empty operand counts as 0.  Null on a null argument or a buffer too
 * small (*resultLength then is the size needed). */
KEL_API unsigned char *kelAddHugeInt(uint32_t lengthA, const unsigned char *a, uint32_t lengthB,
                                     const unsigned char *b, uint32_t *resultLength,
                                     unsigned char *result, uint32_t flags);
KEL_API unsigned char *kelSubHugeInt(uint32_t lengthA, const unsigned char *a, uint32_t lengthB,
                                     const unsigned char *b, uint32_t *resultLength,
                                     unsigned char *result, uint32_t flags);

/* ---- Octet forms: BCD, TBCD, IP addresses, time stamps, kelConvertData -- */

/* Character classes of the octet conversions and the value printer: bit
 * 0x20 printable ASCII, 0x80 white space, 0x200 hexadecimal digit. */
#define KEL_CHAR_PRINTABLE 0x20u
#define KEL_CHAR_SPACE 0x80u
#define KEL_CHAR_HEXDIGIT 0x200u
extern KEL_API const uint16_t _kelCharFlags[256];

/* Text to octets: (world, text, length, octets, octet count).  A null
 * *octets gets memory from kelGetMemory (release it with kelFreeMemory);
 * a caller's buffer is passed with its size in *octetLength, and a text
 * whose octets don't fit returns 1 with nothing written.  *octetLength comes
 * back as the count of octets written.
 * Octets to text: (world, octets, length, text).  A null *text gets memory
 * from kelGetMemory; a caller's buffer must hold the size that each
 * operation names below (the NUL included).
 * Return codes: 0; 1 buffer too small; 5 bad input (memory taken for the
 * call is released); 6 null argument; 8 no memory; 12 bad time stamp.
 * A zero length gives 0 octets or an empty text (nothing is allocated) and
 * code 0, save kelConvertIPAddressToOctet, which returns 5. */
KEL_API int kelConvertASCIIToOctet(KelGlobal *world, const char *text, long length,
                                   unsigned char **octets, long *octetLength);
/* Text of length + 1 bytes; unprintable octets become '?'. */
KEL_API int kelConvertOctetToASCII(KelGlobal *world, const unsigned char *octets, long length,
                                   char **text);
/* Two digits an octet, the first in the high nibble; an odd count ends in
 * the nibble 0xF.  Text of 2 * length + 1 bytes. */
KEL_API int kelConvertBCDStringToOctet(KelGlobal *world, const char *text, long length,
                                       unsigned char **octets, long *octetLength);
KEL_API int kelConvertOctetToBCDString(KelGlobal *world, const unsigned char *octets, long length,
                                       char **text);
/* Telephony BCD: digits, '*', '#', 'a', 'b', 'c'; the first in the low
 * nibble; an odd count ends in the high nibble 0xF.  Text of 2 * length + 1
 * bytes. */
KEL_API int kelConvertTBCDStringToOctet(KelGlobal *world, const char *text, long length,
                                        unsigned char **octets, long *octetLength);
KEL_API int kelConvertOctetToTBCDString(KelGlobal *world, const unsigned char *octets, long length,
                                        char **text);
/* Dotted decimal (one octet a field) or, when the text holds a ':', IPv6
 * (16 octets).  Text of 46 bytes for 16 octets, 16 for up to 3 octets,
 * 4 * length otherwise. */
KEL_API int kelConvertIPAddressToOctet(KelGlobal *world, const char *text, long length,
                                       unsigned char **octets, long *octetLength);
KEL_API int kelConvertOctetToIPAddress(KelGlobal *world, const unsigned char *octets, long length,
                                       char **text);
/* The 9-octet BCD time stamp: year, month, day, hour, minute, second, sign
 * 0x2B or 0x2D, hours and minutes of difference.  The text form of the last
 * input ("YYYYMMDDhhmmss+hhmm", "YYYY-MM-DD hh:mm:ss" or "YY/MM/DD hh:mm:ss")
 * is the form of the next output.  Text of 20 bytes (18 for the third form). */
KEL_API int kelConvertTimeStampToOctet(KelGlobal *world, const char *text, long length,
                                       unsigned char **octets, long *octetLength);
KEL_API int kelConvertOctetToTimeStamp(KelGlobal *world, const unsigned char *octets, long length,
                                       char **text);

/* kelConvertData formats. */
#define KEL_DATA_BINARY 1
#define KEL_DATA_HEX 2
#define KEL_DATA_BASE64 4

/* Converts input between binary, hexadecimal text and Base64 text.  A null
 * output->value gets memory through the world's mallocp (release it with
 * the world's freep); otherwise output->length is the caller's buffer size.
 * output->length comes back as the length written.  Failures leave a text
 * in the world's errMsg: return 1 buffer too small, 5 bad input, 8 no
 * memory, 25 unknown format, 6 null argument. */
KEL_API int kelConvertData(KelGlobal *world, const KelBuf *input, int inputFormat, KelBuf *output,
                           int outputFormat);

/* ---- Information object sets, compression, files and sockets ----------- */

/* A node of an information object set list.  The lists that a code file
 * generates and the run-time lists start alike, so callers walk both. */
typedef struct KelInfoObjectNode {
    struct KelInfoObjectNode *next;
    void *object;
} KelInfoObjectNode;

/* One extensible set: the generated list, the run-time list that replaces
 * it on the first change, the map of removed generated nodes and the count
 * of generated nodes (0: counted when the map is made). */
typedef struct KelInfoObjectSetEntry {
    KelInfoObjectNode *generated;
    KelInfoObjectNode *runtime;
    unsigned char *removed;
    uintptr_t generatedCount;
} KelInfoObjectSetEntry;

/* The code file's key function.  Mode 1 compares the keys of two objects,
 * mode 2 a key (first) with an object (second); 0 means equal. */
typedef int (*KelInfoObjectKeyFn)(KelGlobal *world, int setNumber, void *first, void *second,
                                  int mode);

/* What a code file registers as the base of kelInitXObjectSetTable; the
 * table's entries are its extensible sets, numbered from 1, and the sets
 * above them are fixed, listed in fixedSets. */
typedef struct KelInfoObjectSets {
    int setCount;
    KelInfoObjectNode **fixedSets;
    KelInfoObjectKeyFn key;
} KelInfoObjectSets;

KEL_API KelInfoObjectNode *kelGetInfoObjectSet(KelGlobal *world, int setNumber);
KEL_API void *kelGetInfoObject(KelGlobal *world, int setNumber, void *key);
/* 0; 6 bad argument; 8 no memory; 50 already there; 52 not found; 53 the
 * set is fixed. */
KEL_API int kelAddInfoObject(KelGlobal *world, int setNumber, void *object);
KEL_API int kelRemoveInfoObject(KelGlobal *world, int setNumber, void *object);

/* Compression is not linked into this runtime: these answer 25 (6 for bad
 * arguments).  kelSkipCompressionPrefix reads the two base-128 numbers that
 * stand before a compressed message and advances the buffer past them. */
KEL_API int kelCompress(KelGlobal *world, KelBuf *input, KelBuf *output, int flag);
KEL_API int kelUnCompress(KelGlobal *world, KelBuf *input, KelBuf *output, int flag);
KEL_API int kelSkipCompressionPrefix(KelGlobal *world, KelBuf *buffer, uint64_t *first,
                                     uint64_t *second);

/* Files and sockets are absent from this runtime: the operations answer
 * their failure codes. */
KEL_API int kelOpenDecoderInputFile(KelGlobal *world, const char *name);
KEL_API int kelCloseDecoderInputFile(KelGlobal *world);
KEL_API int kelOpenEncoderOutputFile(KelGlobal *world, const char *name);
KEL_API int kelCloseEncoderOutputFile(KelGlobal *world);
KEL_API int kelMarkObj(KelGlobal *world, void *object, int kind);
KEL_API int kelGetObj(KelGlobal *world, void *object, void **value);
KEL_API int kelUnmarkObj(KelGlobal *world, void *object);
KEL_API int kelTestObj(KelGlobal *world, void *object);

/* Skips padByte octets at the front of buffer: 0, or 4 when nothing is left
 * (or nothing was there), 6 null world, 11 null buffer. */
KEL_API int kelSkipPadBytes(KelGlobal *world, KelBuf *buffer, int padByte);
/* Length of the encoding of a value under the world's rules, 0 on failure. */
KEL_API long kelDetermineEncodingLength(KelGlobal *world, int pdu, void *value);
/* Length of the BER message at the front of buffer, 0 when the buffer
 * doesn't tell (too short, indefinite length, more than 4 length octets). */
KEL_API long kelDetermineMessageLength(KelGlobal *world, const KelBuf *buffer);

#ifdef __cplusplus
}
#endif

#endif /* KELVARN_CONVERT_H */
