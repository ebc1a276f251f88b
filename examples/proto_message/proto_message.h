/*
 * proto_message.h - C types of the module ProtoMessage (AUTOMATIC TAGS), a
 * protocol-like message of the benchmarks, as a compiler lays them out from
 * the constraints: constrained INTEGERs in the narrowest field that holds
 * their range, fixed-size OCTET STRINGs as arrays, bounded IA5Strings as
 * NUL-terminated arrays, BIT STRING (SIZE(32)) as a u32 whose high bit is
 * the first bit, the bounded SEQUENCE OF as a count and an array of its
 * upper bound, OPTIONAL components as bits of `bit_mask`, the CHOICE as a
 * selector and a union.  The whole value is one piece of memory.
 */
#ifndef PROTO_MESSAGE_H
#define PROTO_MESSAGE_H

#include "kelvarn.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum Priority { background = 0, low = 1, normal = 2, high = 3, emergency = 4 } Priority;

typedef struct NodeAddress {
    uint8_t bit_mask;
#define nodeName_present 0x80
    unsigned char plmnId[3];
    uint32_t nodeNumber;  /* 0..1048575 */
    char nodeName[33];    /* SIZE(1..32) */
} NodeAddress;

typedef struct Header {
    uint8_t bit_mask;
#define destination_present 0x80
#define correlationId_present 0x40
#define hopCount_present 0x20
    uint8_t protocolVersion; /* 1..15 */
    uint32_t messageId;
    uint32_t timestamp;
    Priority priority;
    uint32_t flags;          /* BIT STRING (SIZE(32)) */
    NodeAddress source;
    NodeAddress destination;
    uint16_t correlationId;
    uint8_t hopCount;        /* extension addition */
} Header;

typedef struct AttachRequest {
    unsigned char imsi[8];
    uint32_t capabilities;   /* BIT STRING (SIZE(32)) */
} AttachRequest;

typedef struct ReleaseIndication {
    uint8_t cause;
} ReleaseIndication;

typedef struct CellIdentity {
    uint16_t mcc;
    uint16_t mnc;
    uint32_t cellId;
} CellIdentity;

typedef enum MeasurementReport_trigger {
    periodic = 0, eventA1 = 1, eventA2 = 2, eventA3 = 3, eventA5 = 4
} MeasurementReport_trigger;

typedef struct MeasurementReport {
    uint8_t bit_mask;
#define validity_present 0x80
    uint16_t reportId;
    MeasurementReport_trigger trigger;
    CellIdentity servingCell;
    unsigned char sessionKey[16];
    char description[65];    /* SIZE(0..64) */
    struct MeasurementReport_validity {
        uint32_t startTime;
        uint32_t durationMs; /* 1..86400000 */
    } validity;
} MeasurementReport;

typedef struct Body {
    uint16_t choice;
#define attachRequest_chosen 1
#define measurementReport_chosen 2
#define releaseIndication_chosen 3
    union {
        AttachRequest attachRequest;
        MeasurementReport measurementReport;
        ReleaseIndication releaseIndication;
    } u;
} Body;

typedef struct CellReport {
    uint8_t bit_mask;
#define sinr_present 0x80
    uint16_t pci;  /* 0..1007 */
    int16_t rsrp;  /* -156..-44 */
    int8_t rsrq;   /* -43..20 */
    int8_t sinr;   /* -23..40 */
} CellReport;

typedef enum SecurityContext_algorithm { nea0 = 0, nea1 = 1, nea2 = 2, nea3 = 3 } SecurityContext_algorithm;

typedef struct SecurityContext {
    SecurityContext_algorithm algorithm;
    uint8_t keySetId; /* 0..7 */
    unsigned char mac[4];
} SecurityContext;

typedef struct Trailer {
    uint16_t sequenceNumber;
    uint32_t checksum;
} Trailer;

typedef struct Message {
    uint8_t bit_mask;
#define security_present 0x80
#define trailer_present 0x40
    Header header;
    Body body;
    struct Message_cellReports {
        uint32_t count;      /* SIZE(1..32) */
        CellReport value[32];
    } cellReports;
    SecurityContext security;
    Trailer trailer;
} Message;

#define Message_PDU 1

extern KelControlTable proto_message_control;

#ifdef __cplusplus
}
#endif

#endif /* PROTO_MESSAGE_H */
