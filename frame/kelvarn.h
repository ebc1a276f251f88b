/*
 * kelvarn.h - public interface of libkelvarn, the ASN.1 run-time library.
 *
 * An application reserves a KelGlobal (the "world"), opens it on the control
 * table of a generated code file with kelinit(), and then encodes and decodes
 * values with kelEncode()/kelDecode().  Every operation takes the world first
 * and returns an int return code, 0 for success; kelDescribeReturnCode() and
 * kelGetErrMsg() explain a failure.
 *
 * The records below are shared with generated code, which is C.  Their field
 * order and widths are fixed: on the 32-bit target (i386) the sizes and
 * offsets are exact; on 64-bit targets pointers widen and the order stays.
 *
 * This header compiles as C99 and as C++.
 */
#ifndef KELVARN_H
#define KELVARN_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

#define KEL_API __attribute__((visibility("default")))

/* ------------------------------------------------------------------------ */
/* Encoding rules (the world's encRules)                                     */
/* ------------------------------------------------------------------------ */

enum {
    KEL_BER = 0,
    KEL_PER_ALIGNED = 1,
    KEL_PER_UNALIGNED = 2,
    KEL_DER = 3,
    KEL_ECN = 4, /* a name only: never selects a family */
    KEL_XER = 5,
    KEL_CXER = 6,
    KEL_CER = 7,
    KEL_EXER = 8,
    KEL_OER = 9,
    KEL_COER = 10,
    KEL_JSON = 11,
    KEL_RULE_COUNT = 12
};

/* ------------------------------------------------------------------------ */
/* Encoding and decoding flags (encodingFlags, decodingFlags)                */
/* ------------------------------------------------------------------------ */

#define IGNORE_PDU_TAG 0x1u
#define DEBUGPDU 0x2u
#define BUFFER_PROVIDED 0x4u
#define RESTRAIN 0x8u
#define DEFINITE 0x10u
#define INDEFINITE 0x20u
#define DETERMINE_ENC_LENGTH 0x40u
#define FRONT_ALIGN 0x80u
#define BACK_ALIGN 0x100u
#define TRAPPING 0x200u /* as stored: set means signals are NOT trapped */
#define KEL_RELAXED 0x400u
#define NOCONSTRAIN 0x800u
#define OBJECT_HANDLE 0x1000u
#define AUTOMATIC_ENCDEC 0x2000u
#define KEL_TRAP_SIGNALS 0x20000u /* the caller asks for SIGSEGV/SIGBUS trapping */
#define DONT_FREE_ENCODED 0x40000u
#define DONT_DO_ENCODED 0x80000u
#define DONT_DO_DECODED 0x100000u
#define SMART_POINTER 0x200000u
#define IGNORE_DEFER_DECODING 0x400000u
#define DEFER IGNORE_DEFER_DECODING
#define STRICT_CONSTRAINT_CHECKING 0x800000u
#define KEL_AUTO_ENCODE_WITHOUT_CHECKING_CONSTRAINT 0x1000000u
#define COMPACT_XER_ENCODING 0x2000000u
#define _XML_DECLARATION 0x4000000u
#define STRICT_PER_ENCODING_OF_DEFAULT_VALUES 0x8000000u
#define STRICT_ENCODING_DECODING_RULES 0x20000000u
#define COMPRESS 0x40000000u

/* modeBits */
#define KEL_MODE_RELAXED 0x1u
#define KEL_MODE_DER_SUPPORT 0x2u
#define KEL_MODE_XER_INPUT 0x4u

/* ------------------------------------------------------------------------ */
/* Records                                                                   */
/* ------------------------------------------------------------------------ */

typedef struct KelGlobal KelGlobal;
typedef struct KelWorldExt KelWorldExt;

/* An encoding at the public interface. */
typedef struct KelBuf {
    uint32_t length;
    unsigned char *value;
} KelBuf;

/* One block of the chain that records all memory of a running call. */
#define KEL_OUTBLOCK_ITEMS 60
typedef struct KelOutBlock {
    int16_t count;
    void *items[KEL_OUTBLOCK_ITEMS];
    struct KelOutBlock *next;
} KelOutBlock;

/* A length reserved for a PER/OER open type or extension addition. */
typedef struct KelPushFrame {
    unsigned char *position;
    uint32_t room;
    KelOutBlock *block;
    uintptr_t blockIndex; /* encoder: item index; decoder: the owned content */
    uint32_t bitOffset;
    uint32_t spare;
} KelPushFrame;

/* Generated entries reached through the control table. */
typedef void (*KelInitFn)(KelGlobal *world);
typedef int (*KelEncodeFn)(KelGlobal *world, int pdu, void *value);
typedef int (*KelDecodeFn)(KelGlobal *world, int *pdu, void **value);
typedef int (*KelFreeFn)(KelGlobal *world, int pdu, void *value);
typedef int (*KelPrintFn)(KelGlobal *world, int pdu, void *value);
typedef int (*KelCopyFn)(KelGlobal *world, int pdu, void *source, void **destination);
typedef int (*KelCompareFn)(KelGlobal *world, int pdu, void *first, void *second);
typedef int (*KelCheckFn)(KelGlobal *world, int pdu, void *value);

/* Head of the table that a code file exports. */
typedef struct KelControlTable {
    KelInitFn init;          /*  0 */
    KelEncodeFn berEncode;   /*  4 */
    KelDecodeFn berDecode;   /*  8 */
    KelFreeFn freePdu;       /* 12 */
    uint16_t version;        /* 16: must be 17 */
    KelEncodeFn perEncode;   /* 20 */
    KelDecodeFn perDecode;   /* 24 */
    uint16_t perVersion;     /* 28: 0 or 16 */
    uint32_t unread;         /* 32: not read by the library */
    const void *charData;    /* 36: 12-byte alphabet entries */
    KelPrintFn printPdu;     /* 40 */
} KelControlTable;

/* Entries of the newer families and of the value services. */
typedef struct KelXApiTable {
    uint16_t compilerVersion;   /*  0 */
    KelCopyFn cpyValue;         /*  4 */
    KelCompareFn cmpValue;      /*  8 */
    KelEncodeFn xerEncode;      /* 12 */
    KelDecodeFn xerDecode;      /* 16 */
    uint16_t xerVersion;        /* 20: 0 or 2 */
    KelCheckFn checkConstraints;/* 24 */
    void *unused;               /* 28 */
    KelEncodeFn exerEncode;     /* 32 */
    KelDecodeFn exerDecode;     /* 36 */
    uint16_t exerVersion;       /* 40: 0 */
    uint16_t oerVersion;        /* 42 */
    KelEncodeFn oerEncode;      /* 44 */
    KelDecodeFn oerDecode;      /* 48 */
    uint16_t jsonVersion;       /* 52 */
    KelEncodeFn jsonEncode;     /* 56 */
    KelDecodeFn jsonDecode;     /* 60 */
} KelXApiTable;

/* Names of a PDU, the target of pduEntry. */
typedef struct KelPduNames {
    const char *name;
    const char *typeName;
} KelPduNames;

/* The trail of fields that a message names: world->trail points at a head
 * whose first word is the innermost node. */
typedef struct KelTrailInfo {
    const char *name;
    const char *typeName;
    int32_t kind; /* 8, 10, 21: list kinds, printed as "element #n" */
} KelTrailInfo;
typedef struct KelTrailNode {
    struct KelTrailNode *next;
    const KelTrailInfo *info;
    int32_t index;
} KelTrailNode;
typedef struct KelTrailHead {
    KelTrailNode *first;
} KelTrailHead;

typedef void *(*KelRawMalloc)(size_t size);
typedef void *(*KelRawRealloc)(void *p, size_t size);
typedef void (*KelRawFree)(void *p);
typedef int (*KelPrintf)(FILE *stream, const char *format, ...);
typedef void *(*KelGetMem)(KelGlobal *world, size_t size);
typedef void *(*KelReallocMem)(KelGlobal *world, void *p, size_t size);
typedef void (*KelFreeMem)(KelGlobal *world, void *p);

/* The world.  Fields marked public may be read and written by generated code
 * and applications; the others belong to the library. */
struct KelGlobal {
    KelRawMalloc mallocp;          /* public */
    KelRawRealloc reallocp;        /* public */
    KelRawFree freep;              /* public */
    int32_t asn1chop;              /* public */
    uint32_t dupWords[2];          /* copied by kelDupWorld, not interpreted */
    FILE *asn1out;                 /* public */
    KelPrintf asn1prnt;            /* public */
    uint32_t userVar;
    void *ctlTbl;                  /* KelControlTable; null: world closed */
    uint32_t dupWord;              /* copied by kelDupWorld */
    uint32_t encRules;
    uint32_t encodingFlags;
    uint32_t decodingFlags;
    int32_t decodingLength;        /* public */
    char errMsg[512];
    uint32_t internalFlags;
    void *recoveryPoint;           /* jmp_buf of the running driver */
    void *oldSegvHandler;
    void *oldBusHandler;
    int32_t errorCode;
    char *errMsgPtr;
    uint8_t userBuffer;            /* public */
    uint8_t partialMode;
    uint32_t partialInputLength;
    KelTrailHead *trail;           /* public */
    int32_t pduNumber;             /* public */
    const KelPduNames *pduEntry;   /* public */
    int32_t phase;
    unsigned char *outPos;
    int32_t outRemaining;
    KelOutBlock outQueue;
    KelOutBlock *outQueueTail;
    unsigned char *tempList;
    unsigned char *tempCursor;
    unsigned char *tempLow;
    unsigned char *tempHigh;
    unsigned char *altList;
    uint32_t memTotal;
    uint8_t modeBits;
    uint32_t pushFlags;
    uint8_t aligned;
    int32_t bitOffset;
    KelGlobal *parentWorld;
    unsigned char *inPos;
    int32_t inRemaining;
    void *pendingBlock;
    uint32_t encLength;
    void *blockFrames;
    KelGlobal *childWorld;
    FILE *savedOut;
    KelPrintf savedPrnt;
    uint32_t userPrintArg;
    KelGetMem getMem;
    KelReallocMem reallocMem;
    KelFreeMem freeMem;
    int32_t printIndent;
    uint16_t presetDecFlags;
    KelWorldExt *ext;
    unsigned char *inLimit;
    int32_t tagStartRemaining;
    /* Per-call state that later rule families keep in the world; part of
     * the area kelinit clears. */
    uint32_t familyState[120];
    /* Room up to the size that applications reserve; never cleared. */
    uint32_t reserveTail[28];
};

/* ------------------------------------------------------------------------ */
/* Exported variables and constants                                          */
/* ------------------------------------------------------------------------ */

extern KEL_API KelRawMalloc mallocp;
extern KEL_API KelRawFree freep;
extern KEL_API FILE *asn1out;
extern KEL_API KelPrintf asn1prnt;
extern KEL_API int32_t asn1chop;
extern KEL_API int _kelSetGlobalUserVar;
extern KEL_API KelGlobal *sigworld;
extern KEL_API KelGlobal *wydworld;

typedef int (*KelEncodeDriver)(KelGlobal *world, int pdu, void *value, KelBuf *output, unsigned flags);
typedef int (*KelDecodeDriver)(KelGlobal *world, int *pdu, KelBuf *input, void **output, unsigned flags);

extern KEL_API KelEncodeDriver kelBerEncodeFp, kelPerEncodeFp, kelXerEncodeFp, kelEXEREncodeFp,
    kelOerEncodeFp, kelJsonEncodeFp;
extern KEL_API KelDecodeDriver kelBerDecodeFp, kelPerDecodeFp, kelXerDecodeFp, kelEXERDecodeFp,
    kelOerDecodeFp, kelJsonDecodeFp;
/* Declared for link compatibility only; the library never sets them. */
extern KEL_API void *kelEDPerDecodeFp, *kelConstrainFp, *kelCmpValueFp, *kelBerEncRealFp,
    *kelBerDecRealFp, *kelPerEncRealFp, *kelPerDecRealFp, *kelPrintBerValueFp, *kelPrintPerValueFp,
    *kelPrintEXERValueFp, *kelPrintOerValueFp, *kelPrintJsonValueFp, *kelPrintXerValueFp,
    *kelPrintRealFp, *kelBerDecodeOpenTypeFp, *kelPerDecodeOpenTypeFp;

extern KEL_API const int _kel_version_number;      /* 17 */
extern KEL_API const int _kel_per_version_number;  /* 16 */
extern KEL_API const int _kel_xer_version_number;  /* 2 */
extern KEL_API const int _kel_exer_version_number; /* 0 */
extern KEL_API const int _kel_json_version_number; /* 0 */
extern KEL_API const int kelDefaultEncodingRules;  /* 0 */
extern KEL_API const int kelEncoderDecoderType;    /* 1 */
extern KEL_API const char _kel_ident_api[];

/* The platform symbol: a code file generated for this runtime form and
 * target refers to it, so that a code file for another target fails to link. */
#if defined(__x86_64__)
#define KEL_PLATFORM_SYMBOL _kel_run_VARN_on_X86_64_LINUX_20
#elif defined(__i386__)
#define KEL_PLATFORM_SYMBOL _kel_run_VARN_on_I386_LINUX_20
#elif defined(__aarch64__)
#define KEL_PLATFORM_SYMBOL _kel_run_VARN_on_AARCH64_LINUX_20
#else
#define KEL_PLATFORM_SYMBOL _kel_run_VARN_on_ARM_V7_LINUX_20
#endif
KEL_API int KEL_PLATFORM_SYMBOL(int x);

/* ------------------------------------------------------------------------ */
/* World life cycle                                                          */
/* ------------------------------------------------------------------------ */

KEL_API int kelinit(KelGlobal *world, void *ctl);
KEL_API int kelbriefinit(KelGlobal *world);
KEL_API int kelMinit(KelGlobal *world);
KEL_API int kelterm(KelGlobal *world);
KEL_API int kelbriefterm(KelGlobal *world);
KEL_API int kelDupWorld(KelGlobal *source, KelGlobal *copy);
KEL_API int kelUinit(KelGlobal *world, void *ctl, const char *dllName);
KEL_API int kelUterm(KelGlobal *world);
KEL_API void *kelUOpenDynlib(const char *name);
KEL_API int kelUCloseDynlib(void *handle);
KEL_API int kelInitRootContext(KelGlobal *world, void *context);
KEL_API int kelInitXAPIentries(KelGlobal *world, KelXApiTable *table);
KEL_API int kelInitXObjectSetTable(KelGlobal *world, int size, void *base, void *entries, int count,
                                   int flags);
KEL_API int kelInitSync(void);
KEL_API int kelTermSync(int x);
KEL_API int kelGetKelGlobalSize(void);

/* Link functions, called by a code file's init function. */
KEL_API KelGlobal *kelLinkBer(KelGlobal *world);
KEL_API KelGlobal *kelLinkPer(KelGlobal *world);
KEL_API KelGlobal *kelLinkXer(KelGlobal *world);
KEL_API KelGlobal *kelLink_Exer(KelGlobal *world, void *data);
KEL_API KelGlobal *kelLinkOerE(KelGlobal *world);
KEL_API KelGlobal *kelLinkOerD(KelGlobal *world);
KEL_API KelGlobal *kelLinkJsonE(KelGlobal *world);
KEL_API KelGlobal *kelLinkJsonD(KelGlobal *world);
KEL_API KelGlobal *kelLinkZlib(KelGlobal *world);

/* ------------------------------------------------------------------------ */
/* Encode and decode                                                         */
/* ------------------------------------------------------------------------ */

KEL_API int kelEncode(KelGlobal *world, int pdu, void *value, KelBuf *output);
KEL_API int kelDecode(KelGlobal *world, int *pdu, KelBuf *input, void **output);
KEL_API int kelPartialDecode(KelGlobal *world, int *pdu, KelBuf *input, void **output);
KEL_API int encode(KelGlobal *world, int pdu, void *value, unsigned char **encoded, long *length,
                   void *ctl, unsigned flags, char *errMsg);
KEL_API int decode(KelGlobal *world, int *pdu, unsigned char **encoded, long *length, void **value,
                   long *valueLength, void *ctl, unsigned flags, char *errMsg);

/* Family drivers, selected by encRules. */
KEL_API int kelBerEncode(KelGlobal *world, int pdu, void *value, KelBuf *output, unsigned flags);
KEL_API int kelBerDecode(KelGlobal *world, int *pdu, KelBuf *input, void **output, unsigned flags);

/* ------------------------------------------------------------------------ */
/* XML rules (XER, CXER)                                                     */
/* ------------------------------------------------------------------------ */

/* modeBits: generated code sets this bit while encRules is CXER; with it the
 * XER writers lay nothing out (no line breaks, no indentation). */
#define KEL_MODE_CANONICAL KEL_MODE_XER_INPUT

KEL_API int kelXerEncode(KelGlobal *world, int pdu, void *value, KelBuf *output, unsigned flags);
/* The document head's stylesheet reference; the text is not copied, null
 * removes it.  6 for a null world, else 0. */
KEL_API int kelSetXmlStylesheet(KelGlobal *world, const char *href);
/* The document type declaration: kind 0 none, 1 SYSTEM, any other PUBLIC.
 * The texts are not copied.  6 for a null world, or for a kind whose low 16
 * bits aren't 0 without root name or identifier; else 0. */
KEL_API int kelSetXmlDTD(KelGlobal *world, const char *rootName, const char *identifier, int kind);

/* ------------------------------------------------------------------------ */
/* Return codes and messages                                                 */
/* ------------------------------------------------------------------------ */

typedef struct KelErrMsg {
    const char *text;
    int32_t code;
    uint32_t type; /* low 4 bits placeholder kind; 0x40 no trail; 0x20 'S' */
} KelErrMsg;

#define KEL_MESSAGE_COUNT 320
extern KEL_API const KelErrMsg kelErrMsgs[KEL_MESSAGE_COUNT];

KEL_API const char *kelDescribeReturnCode(KelGlobal *world, int code);
KEL_API char *kelGetErrMsg(KelGlobal *world);
KEL_API uint64_t kel_apiError(KelGlobal *world, char *buffer, int message, int kind, void *argument);

/* The library's one output channel. */
KEL_API int kelPrint(KelGlobal *world, const char *format, ...);

/* ------------------------------------------------------------------------ */
/* Value services: printing, comparing, copying                              */
/* ------------------------------------------------------------------------ */

/* A value in ASN.1 value notation through the code file's printer. */
KEL_API int kelPrintPDU(KelGlobal *world, int pdu, void *value);
KEL_API int printPDU(KelGlobal *world, int pdu, void *value, void *unused);
/* Into `buffer`: a caller's area when its length and pointer are set, else
 * memory from kelGetMemory; a length of 1 asks only for the size. */
KEL_API int kelPrintPDUToBuffer(KelGlobal *world, int pdu, void *value, KelBuf *buffer);
KEL_API long kelDeterminePDUBufferLength(KelGlobal *world, int pdu, void *value);
KEL_API void kelPrintHex(KelGlobal *world, const unsigned char *bytes, uint32_t length);
KEL_API void kelPrintBitsHex(KelGlobal *world, const unsigned char *bytes, uint32_t firstBit, uint32_t bitCount,
                             const char *prefix);
KEL_API void kelPrintJSON(KelGlobal *world, const unsigned char *text, uint32_t length, int pretty);
KEL_API void kelPrintXML(KelGlobal *world, const unsigned char *text, uint32_t length, int pretty);
KEL_API void kelPrintJsonEncodedMessage(KelGlobal *world, const unsigned char *text, uint32_t length);
KEL_API void kelPrintXmlEncodedMessage(KelGlobal *world, const unsigned char *text, uint32_t length);
/* Octets given as '..'H text, shown as ASCII, an IP address, BCD and TBCD
 * digits, or a BCD time stamp. */
KEL_API void kelPrintOctetAsASCII(KelGlobal *world, const char *hstring);
KEL_API void kelPrintOctetAsIPAddress(KelGlobal *world, const char *hstring);
KEL_API void kelPrintOctetAsBCDString(KelGlobal *world, const char *hstring);
KEL_API void kelPrintOctetAsTBCDString(KelGlobal *world, const char *hstring);
KEL_API void kelPrintOctetAsTimeStamp(KelGlobal *world, const char *hstring);
/* Printing goes to a new file until it is closed: 0; 6 null argument, 27
 * the file can't be opened, 28 one is open already.  Closing answers 0 (also
 * when none is open) or 46 when fclose fails; the stream is put back. */
KEL_API int kelOpenTraceFile(KelGlobal *world, const char *path);
KEL_API int kelCloseTraceFile(KelGlobal *world);
/* 0 when the two values of `pdu` are equal. */
KEL_API int kelCmpValue(KelGlobal *world, int pdu, void *first, void *second);
/* A deep copy of `source`: into the caller's area at *destination (of the
 * world's buffer length) when it isn't null, else in library memory. */
KEL_API int kelCpyValue(KelGlobal *world, int pdu, void *source, void **destination);
/* Tests `value` against the subtype constraints of its type through the code
 * file's checker: 0 when it holds them (or the code file has no checker),
 * else a return code that names the kind of constraint broken. */
KEL_API int kelCheckConstraints(KelGlobal *world, int pdu, void *value);

/* ------------------------------------------------------------------------ */
/* Self-test driver                                                          */
/* ------------------------------------------------------------------------ */

/* The driver's settings are the process's, not a world's: keywords joined by
 * ':' choose the rules (BER, IBER, DER, PER, UPER, XER, CXER, EXER, OER,
 * COER, JSON), the steps (TRACE, PPDU, COPY, CC, BUF, ALT; "#T" the four
 * default steps), flags for every run (NO in front clears them), ASN1CHOP
 * and JSON_INDENT with a number, and a bare number that restricts testing
 * to that run.  A leading '+' keeps the default steps. */

/* Runs `value` through checking, encoding, decoding, printing, copying and
 * comparing under each rule of the list, writing a protocol through
 * kelPrint: 0, or the last failing return code.  A negative `pdu` tests only
 * the rule now selected. */
KEL_API int kelTest(KelGlobal *world, int pdu, void *value);
/* As kelTest, decoding with kelPartialDecode; XML rules are left out. */
KEL_API int kelTestPD(KelGlobal *world, int pdu, void *value);
/* Decodes one message of `encoding` under the selected rule, tests the value
 * and moves `encoding` past the message. */
KEL_API int kelTestEncoding(KelGlobal *world, int pdu, KelBuf *encoding);
/* kelTestEncoding over `count` buffers: the number that failed. */
KEL_API int kelTestMultipleEncodings(KelGlobal *world, int pdu, KelBuf *encodings, int count);
/* kelTestEncoding over messages that follow each other in one buffer, until
 * it is used up: the first failure's code, or 0. */
KEL_API int kelTestConcatenatedEncodings(KelGlobal *world, int pdu, KelBuf *encoding);
/* Applies the keywords of `text` to the driver's settings: the index of the
 * last keyword that is not a rule, 0 for none. */
KEL_API int kelParseString(const char *text);
/* 0 at once when the flags are locked; 1 when a keyword other than a rule
 * was applied; else 0 with the test flags back at their defaults. */
KEL_API int kelSetTestFlags(const char *text);
/* Test flags back to their defaults and the rule list emptied: 0. */
KEL_API int kelSetTestFlagsEx(const char *unused1, const char *unused2);
/* No environment variable is consulted: 0. */
KEL_API int kelParseEnvironment(void);
/* The rule keywords, then the flags, joined by ':' (a static buffer). */
KEL_API const char *kelGetTestFlags(void);
/* The test flags; the run filter, the rule count and the rule list (rows of
 * the rule table, ended by 255) through the pointers that are not null. */
KEL_API unsigned long kelGetTestEnv(long *runFilter, int *ruleCount, const unsigned char **ruleList);

/* ------------------------------------------------------------------------ */
/* Settings                                                                  */
/* ------------------------------------------------------------------------ */

KEL_API int kelSetEncodingRules(KelGlobal *world, int rule);
KEL_API int kelGetEncodingRules(KelGlobal *world);
KEL_API int kelSetEncodingFlags(KelGlobal *world, unsigned long flags);
KEL_API unsigned long kelGetEncodingFlags(KelGlobal *world);
KEL_API int kelSetDecodingFlags(KelGlobal *world, unsigned long flags);
KEL_API unsigned long kelGetDecodingFlags(KelGlobal *world);
KEL_API int kelSetFlags(KelGlobal *world, unsigned long flags);
KEL_API unsigned long kelGetFlags(KelGlobal *world);
KEL_API int kelSetDecodingLength(KelGlobal *world, long length);
KEL_API long kelGetDecodingLength(KelGlobal *world);
KEL_API long kelGetBytesReadByDecoder(KelGlobal *world);
KEL_API int kelSetDebugFlags(KelGlobal *world, unsigned long flags);
KEL_API unsigned long kelGetDebugFlags(KelGlobal *world);
KEL_API int kelSetCompatibilityFlags(KelGlobal *world, unsigned long flags);
KEL_API unsigned long kelGetCompatibilityFlags(KelGlobal *world);
KEL_API int kelSetRuntimeVersion(KelGlobal *world, int version);
KEL_API int kelGetRuntimeVersion(KelGlobal *world);
KEL_API int kelSetConstructedNestingLimit(KelGlobal *world, int limit);
KEL_API int kelGetConstructedNestingLimit(KelGlobal *world);
KEL_API int kelSetSeqSetNestingLimit(KelGlobal *world, int limit);
KEL_API int kelGetSeqSetNestingLimit(KelGlobal *world);
KEL_API int kelSetInternalFlags(KelGlobal *world, unsigned long flags);
KEL_API unsigned long kelGetInternalFlags(KelGlobal *world);
KEL_API int kelSetPresetDecFlags(KelGlobal *world, unsigned flags);
KEL_API unsigned kelGetPresetDecFlags(KelGlobal *world);
KEL_API int kelSetPaddingBits(KelGlobal *world, unsigned bits);
KEL_API int kelDetermineNumberOfPadBits(KelGlobal *world);
KEL_API int kelSetCppPointer(KelGlobal *world, void *pointer);
KEL_API void *kelGetCppPointer(KelGlobal *world);
KEL_API int kelSetJsonIndentSize(KelGlobal *world, int size);
KEL_API int kelGetJsonIndentSize(KelGlobal *world);
KEL_API int kelSetJsonFlags(KelGlobal *world, unsigned long flags);
KEL_API unsigned long kelGetJsonFlags(KelGlobal *world);
typedef int (*KelUserVprint)(FILE *stream, const char *format, va_list args);
KEL_API int kelSetUserPrint(KelGlobal *world, FILE *stream, long argument);
KEL_API int kelGetUserPrint(KelGlobal *world, FILE **stream, long *argument);
KEL_API int kelSetUserVprint(KelGlobal *world, FILE *stream, KelUserVprint function);
KEL_API int kelGetUserVprint(KelGlobal *world, FILE **stream, KelUserVprint *function);
typedef int (*KelUserFieldFn)(KelGlobal *world, void *source, void *target);
KEL_API int kelSetUserFieldCpyCmp(KelGlobal *world, KelUserFieldFn copy, KelUserFieldFn compare);
KEL_API int kelGetUserFieldCpyCmp(KelGlobal *world, KelUserFieldFn *copy, KelUserFieldFn *compare);
KEL_API int kelGetCompilerVersion(KelGlobal *world);
KEL_API int kelPrivateSetMoreFlags(KelGlobal *world, uint32_t bits, unsigned char *map);
KEL_API int kelPrivateGetMoreFlags(KelGlobal *world, uint32_t *bits, unsigned char **map);
KEL_API int kelGetExtensionAddition(KelGlobal *world, void *list, int index, KelBuf *out);

/* Stubs kept so that code written for other runtime forms links. */
KEL_API int kelGetCompressDecompressFunctions(KelGlobal *world, void *compress, void *decompress);
KEL_API int kelSetCompressDecompressFunctions(KelGlobal *world, void *compress, void *decompress);
KEL_API int kelGetCompressDecompressInfo(KelGlobal *world, void *info);
KEL_API int kelSetCompressDecompressInfo(KelGlobal *world, void *info);
KEL_API int kelGetCompSizeEstimator(KelGlobal *world, void *estimator);
KEL_API int kelSetCompSizeEstimator(KelGlobal *world, void *estimator);
KEL_API int kelSetFormatterBufferSize(KelGlobal *world, long size);
KEL_API long kelGetFormatterBufferSize(KelGlobal *world);
KEL_API long kelGetMinFileSize(KelGlobal *world);
KEL_API int kelSetMinFileSize(KelGlobal *world, long size);
KEL_API void *kelGetModuleName(KelGlobal *world);
KEL_API void *kelGetPDUName(KelGlobal *world, int pdu);
KEL_API int kelGetPrintIndent(KelGlobal *world);
KEL_API void *kelGetDefaultValue(KelGlobal *world, int pdu);
KEL_API KelGlobal *kelSetPrintIndent(KelGlobal *world, int indent);
KEL_API KelGlobal *kelSetTimeout(KelGlobal *world, long timeout);
KEL_API int kelGetEtypeFromAbstractType(KelGlobal *world, void *type);
KEL_API int kelCallerIsDecoder(KelGlobal *world);

/* ------------------------------------------------------------------------ */
/* Memory                                                                    */
/* ------------------------------------------------------------------------ */

KEL_API void *kelGetMemory(KelGlobal *world, size_t size);
KEL_API void *kelGetInitializedMemory(KelGlobal *world, size_t size);
KEL_API void kelFreeMemory(KelGlobal *world, void *p);
KEL_API void *kelMalloc(KelGlobal *world, size_t size);
KEL_API void kelFree(KelGlobal *world, void *p);
KEL_API void *kelRealloc(KelGlobal *world, void *p, size_t size);
KEL_API void kelFreeBuf(KelGlobal *world, void *p);
KEL_API void freeBUF(KelGlobal *world, void *p);
KEL_API int kelFreePDU(KelGlobal *world, int pdu, void *value);
KEL_API int freePDU(KelGlobal *world, int pdu, void *value, void *ctl);
KEL_API void kelSetUserMallocFreeRealloc(KelGlobal *world, KelGetMem getMem, KelFreeMem freeMem,
                                         KelReallocMem reallocMem);
KEL_API void kelGetUserMallocFreeRealloc(KelGlobal *world, KelGetMem *getMem, KelFreeMem *freeMem,
                                         KelReallocMem *reallocMem);
KEL_API void _kelSetUserMallocFreeRealloc(KelGlobal *world, KelGetMem getMem, KelFreeMem freeMem,
                                          KelReallocMem reallocMem);
KEL_API void _kelGetUserMallocFreeRealloc(KelGlobal *world, KelGetMem *getMem, KelFreeMem *freeMem,
                                          KelReallocMem *reallocMem);
KEL_API long kelFreeObjectStack(long x);
KEL_API int kelGetBuffer(KelGlobal *world, KelBuf *buffer);
KEL_API int kelSetBuffer(KelGlobal *world, KelBuf *buffer);

/* Temporary buffer and memory handles. */
KEL_API int kelSetTemporaryBuffer(KelGlobal *world, KelBuf *buffer);
KEL_API int kelSetUserStack(KelGlobal *world, KelBuf *stack);
KEL_API void *kelCreateMemoryHandle(KelGlobal *world, uint32_t blockSize);
KEL_API int kelCleanMemoryHandle(KelGlobal *world, void *handle);
KEL_API int kelDeleteMemoryHandle(KelGlobal *world, void *handle);
KEL_API int kelSetActiveMemoryHandle(KelGlobal *world, void *handle);
KEL_API void *kelGetActiveMemoryHandle(KelGlobal *world);
KEL_API int kelGetMemoryHandleStat(KelGlobal *world, void *handle, uint32_t stat[5], uint32_t flags);

#ifdef __cplusplus
}
#endif

/* Time values and conversions: declared in their own headers, part of this
 * interface. */
#include "kelvarn_time.h"
#include "kelvarn_convert.h"

#endif /* KELVARN_H */
