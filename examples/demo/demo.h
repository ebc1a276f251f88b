/*
 * demo.h - the record type of the demo's code file and its PDU number.
 *
 *   Demo DEFINITIONS ::= BEGIN
 *     DemoRecord ::= SEQUENCE {
 *       id     INTEGER,
 *       urgent BOOLEAN,
 *       count  INTEGER (0..65535),
 *       delta  INTEGER
 *     }
 *   END
 */
#ifndef DEMO_H
#define DEMO_H

#include "kelvarn.h"

typedef struct DemoRecord {
    int32_t id;
    uint8_t urgent;
    uint16_t count;
    int64_t delta;
} DemoRecord;

#define DemoRecord_PDU 1

extern KelControlTable demo_control;

#endif /* DEMO_H */
