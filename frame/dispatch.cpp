// dispatch.cpp - the public doors of a call: kelEncode, kelDecode and
// kelPartialDecode select the family driver by the world's rule number, the
// legacy encode/decode forms wrap them, and the signal handler turns a trapped
// SIGSEGV or SIGBUS into a failure of the running call.
#include <csignal>
#include <cstring>

#include "internal.h"

namespace {

// Names of the rules as messages print them.
constexpr const char *kRuleNames[KEL_RULE_COUNT] = {"BER", "PER", "PER", "DER",  "ECN",  "XER",
                                                    "CXER", "CER", "EXER", "OER", "COER", "JSON"};

struct Family {
    KelEncodeDriver *encoder;
    KelDecodeDriver *decoder;
};

// Family of each rule; ECN has none.
const Family kFamilies[KEL_RULE_COUNT] = {
    {&kelBerEncodeFp, &kelBerDecodeFp},   {&kelPerEncodeFp, &kelPerDecodeFp},
    {&kelPerEncodeFp, &kelPerDecodeFp},   {&kelBerEncodeFp, &kelBerDecodeFp},
    {nullptr, nullptr},                   {&kelXerEncodeFp, &kelXerDecodeFp},
    {&kelXerEncodeFp, &kelXerDecodeFp},   {&kelBerEncodeFp, &kelBerDecodeFp},
    {&kelEXEREncodeFp, &kelEXERDecodeFp}, {&kelOerEncodeFp, &kelOerDecodeFp},
    {&kelOerEncodeFp, &kelOerDecodeFp},   {&kelJsonEncodeFp, &kelJsonDecodeFp},
};

int report(KelGlobal *world, int message, int kind, void *argument) {
    return static_cast<int>(kel_apiError(world, world->errMsg, message, kind, argument) & 0xFFFFFFFFu);
}

int report_string(KelGlobal *world, int message, int kind, const char *text) {
    return report(world, message, kind, const_cast<char *>(text));
}

// Checks of the rule shared by both directions.  Returns 0 and the family,
// or the reported code.
int select_family(KelGlobal *world, int kind, const Family **family) {
    const uint32_t rule = world->encRules;
    if (rule >= KEL_RULE_COUNT || rule == KEL_ECN)
        return report(world, kel::kMsgUnknownRules, kind, nullptr);
    if (rule == KEL_DER && !(world->modeBits & KEL_MODE_DER_SUPPORT))
        return report_string(world, kel::kMsgNoDerSupport, kind, "DER");
    *family = &kFamilies[rule];
    return 0;
}

int check_linked(KelGlobal *world, int kind, bool linked) {
    if (!linked)
        return report_string(world, kel::kMsgRulesNotLinked, kind, kRuleNames[world->encRules]);
    if (!world->ctlTbl)
        return report(world, kel::kMsgNullControlTable, kind, nullptr);
    return 0;
}

} // namespace

int kelEncode(KelGlobal *world, int pdu, void *value, KelBuf *output) {
    if (!world)
        return 6;
    if (!value || !output)
        return report(world, kel::kMsgNullArgument, 'E', nullptr);
    unsigned flags = world->encodingFlags;
    const Family *family = nullptr;
    if (int code = select_family(world, 'E', &family))
        return code;
    if (world->encRules == KEL_CXER && output->value)
        std::memset(output->value, ' ', output->length); // shorter CXER output is read as text
    KelEncodeDriver driver = *family->encoder;
    if (int code = check_linked(world, 'E', driver != nullptr))
        return code;
    world->errMsg[0] = 0;
    world->errMsgPtr = world->errMsg;
    int result = driver(world, pdu, value, output, flags);
    world->encodingFlags = flags;
    return result;
}

int kelDecode(KelGlobal *world, int *pdu, KelBuf *input, void **output) {
    if (!world)
        return 6;
    if (!input || !output || (!input->value && world->encRules != KEL_OER && world->encRules != KEL_COER))
        return report(world, kel::kMsgNullArgument, 'D', nullptr);
    if (*output) {
        // The caller's area always starts on a multiple of 8.
        const uint32_t skip = static_cast<uint32_t>(-reinterpret_cast<uintptr_t>(*output)) & 7u;
        if (world->decodingLength <= static_cast<int32_t>(skip)) {
            long size = world->decodingLength;
            return report(world, kel::kMsgBufferTooSmall, 'D', &size);
        }
        world->decodingLength -= static_cast<int32_t>(skip);
        *output = static_cast<unsigned char *>(*output) + skip;
    }
    const unsigned flags = world->decodingFlags;
    const Family *family = nullptr;
    if (int code = select_family(world, 'D', &family))
        return code;
    const unsigned passed = world->encRules == KEL_DER ? flags & ~KEL_RELAXED : flags; // DER is never relaxed
    KelDecodeDriver driver = *family->decoder;
    if (int code = check_linked(world, 'D', driver != nullptr))
        return code;
    world->errMsg[0] = 0;
    world->errMsgPtr = world->errMsg;
    int result = driver(world, pdu, input, output, passed);
    world->decodingFlags = flags;
    return result;
}

int kelPartialDecode(KelGlobal *world, int *pdu, KelBuf *input, void **output) {
    if (!world)
        return 6;
    switch (world->encRules) {
    case KEL_BER:
    case KEL_DER:
    case KEL_OER:
    case KEL_COER:
        break;
    case KEL_PER_ALIGNED:
    case KEL_PER_UNALIGNED:
        world->partialMode = 2;
        break;
    default:
        return report(world, kel::kMsgPartialUnsupported, 'D', nullptr);
    }
    world->partialMode |= 0xC0;
    world->encLength = 0;
    if (input)
        world->partialInputLength = input->length;
    void *discarded = nullptr;
    int result = kelDecode(world, pdu, input, output ? output : &discarded);
    world->partialMode = 0;
    return result;
}

namespace {

// The legacy forms open a world on the stack when the caller has none.
struct LegacyWorld {
    KelGlobal *world;
    bool opened;
};

int open_legacy(KelGlobal *given, KelGlobal *local, void *ctl, LegacyWorld *out) {
    out->world = given;
    out->opened = false;
    if (!given) {
        if (int code = kelinit(local, ctl))
            return code;
        out->world = local;
        out->opened = true;
    } else {
        given->ctlTbl = ctl;
    }
    kelLinkBer(out->world);
    out->world->errMsg[0] = 0;
    return 0;
}

int close_legacy(const LegacyWorld &legacy, int code, char *errMsg) {
    if (errMsg && errMsg != legacy.world->errMsg)
        std::strcpy(errMsg, legacy.world->errMsg);
    if (legacy.opened)
        kelterm(legacy.world);
    return code;
}

} // namespace

int encode(KelGlobal *world, int pdu, void *value, unsigned char **encoded, long *length, void *ctl,
           unsigned flags, char *errMsg) {
    KelGlobal local;
    LegacyWorld legacy;
    if (int code = open_legacy(world, &local, ctl, &legacy))
        return code;
    KelGlobal *w = legacy.world;
    int code;
    if (!encoded) {
        code = report(w, kel::kMsgNullArgument, 'E', nullptr);
    } else if (!length) {
        long zero = 0;
        code = report(w, kel::kMsgBufferTooSmall, 'E', &zero);
    } else {
        KelBuf buffer = {0, nullptr};
        if (flags & BUFFER_PROVIDED)
            buffer = {static_cast<uint32_t>(*length), *encoded};
        const uint32_t saved = w->encodingFlags;
        w->encodingFlags = flags;
        code = kelEncode(w, pdu, value, &buffer);
        w->encodingFlags = saved;
        *encoded = buffer.value;
        *length = static_cast<long>(buffer.length);
    }
    return close_legacy(legacy, code, errMsg);
}

int decode(KelGlobal *world, int *pdu, unsigned char **encoded, long *length, void **value,
           long *valueLength, void *ctl, unsigned flags, char *errMsg) {
    KelGlobal local;
    LegacyWorld legacy;
    if (int code = open_legacy(world, &local, ctl, &legacy))
        return code;
    KelGlobal *w = legacy.world;
    int code;
    if (!encoded || !value || !length) {
        code = report(w, kel::kMsgNullArgument, 'D', nullptr);
    } else {
        KelBuf input = {static_cast<uint32_t>(*length), *encoded};
        if (valueLength && (flags & BUFFER_PROVIDED)) {
            w->decodingLength = static_cast<int32_t>(*valueLength);
        } else {
            *value = nullptr;
            w->decodingLength = 0;
        }
        const uint32_t saved = w->decodingFlags;
        w->decodingFlags = flags;
        code = kelDecode(w, pdu, &input, value);
        w->decodingFlags = saved;
        if (valueLength)
            *valueLength = w->decodingLength;
        *encoded = input.value;
        *length = static_cast<long>(input.length);
    }
    return close_legacy(legacy, code, errMsg);
}

// Leaves by a jump, so the handler's return never resets the signal mask:
// unblock everything first.
void _kel_hdl_signal(int signal) {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_UNBLOCK, &all, nullptr);
    _kel_enc_error(sigworld, kel::kMsgSignal, static_cast<uint32_t>(signal));
}
