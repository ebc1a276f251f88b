// print_trace.cpp - the trace file: kelOpenTraceFile points the world's
// output stream at a new file, kelCloseTraceFile closes it and puts the
// stream back (kelterm does the same for a file left open).
#include <cstdio>

#include "kelvarn.h"

namespace {

constexpr int kBadArgument = 6;
constexpr int kOpenFailed = 27;
constexpr int kAlreadyOpen = 28;
constexpr int kCloseFailed = 46;

} // namespace

extern "C" {

int kelOpenTraceFile(KelGlobal *world, const char *path) {
    if (!world || !path)
        return kBadArgument;
    if (world->savedOut)
        return kAlreadyOpen;
    FILE *file = std::fopen(path, "wt");
    if (!file)
        return kOpenFailed;
    world->savedOut = world->asn1out ? world->asn1out : stdout;
    world->asn1out = file;
    return 0;
}

int kelCloseTraceFile(KelGlobal *world) {
    if (!world)
        return kBadArgument;
    if (!world->savedOut)
        return 0;
    const int closed = std::fclose(world->asn1out);
    world->asn1out = world->savedOut;
    world->savedOut = nullptr;
    return closed ? kCloseFailed : 0;
}

} // extern "C"
