// check_frame.cpp - kelCheckConstraints, the frame around the code file's
// generated constraint checker.  A broken constraint leaves the checker
// through the recovery point set here with the number of its message (no
// text is made while the checker runs); the frame turns that number into a
// return code that names the kind of constraint, and gives back the
// temporary memory that the messages' value texts took.
#include <array>
#include <csetjmp>
#include <csignal>

#include "driver.h"

namespace {

// Return codes by message number; every other message is code 17.
struct CodeOf {
    int message;
    uint8_t code;
};
constexpr CodeOf kCodes[] = {
    {9, 14},   {13, 19},  {14, 83},  {15, 82},  {16, 81},  {17, 80},  {19, 79},  {20, 123},
    {21, 78},  {22, 77},  {23, 76},  {24, 75},  {27, 74},  {28, 73},  {29, 72},  {30, 71},
    {285, 71}, {31, 70},  {286, 70}, {34, 69},  {35, 68},  {284, 68}, {36, 67},  {41, 66},
    {71, 11},  {151, 100}, {152, 101}, {287, 122}, {288, 122},
};
constexpr uint8_t kOtherCode = 17;

constexpr std::array<uint8_t, KEL_MESSAGE_COUNT> code_table() {
    std::array<uint8_t, KEL_MESSAGE_COUNT> table{};
    table.fill(kOtherCode);
    for (const CodeOf &c : kCodes)
        table[static_cast<size_t>(c.message)] = c.code;
    return table;
}
constexpr auto kCodeByMessage = code_table();
static_assert(kCodeByMessage[36] == 67 && kCodeByMessage[288] == 122 && kCodeByMessage[18] == kOtherCode);

int code_of(int message) {
    return message >= 0 && message < KEL_MESSAGE_COUNT ? kCodeByMessage[static_cast<size_t>(message)] : kOtherCode;
}

// SIGSEGV and SIGBUS inside the checker: the handler leaves by a jump, so
// it first takes every signal out of the blocked mask, which no return from
// the handler will restore.
void on_signal(int signal) {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_UNBLOCK, &all, nullptr);
    _kel_con_error(wydworld, kel::kMsgSignal, static_cast<uint32_t>(signal));
}

void install_trap(KelGlobal *world) {
    wydworld = world;
    world->oldSegvHandler = reinterpret_cast<void *>(std::signal(SIGSEGV, on_signal));
    world->oldBusHandler = reinterpret_cast<void *>(std::signal(SIGBUS, on_signal));
}

void release_call_memory(KelGlobal *world) {
    if (world->childWorld)
        _kel_freeGlobals(world, 1);
    if (!world->ext->tempBufSize)
        _kel_freetempMem(world);
}

} // namespace

extern "C" int kelCheckConstraints(KelGlobal *world, int pdu, void *value) {
    if (!world || !value)
        return 6;
    world->phase = kel::kPhaseChecker;
    const KelXApiTable *table = world->ext ? world->ext->xapi : nullptr;
    if (!table || !table->checkConstraints)
        return 0;
    const KelCheckFn check = table->checkConstraints;
    const bool trap = ((world->encodingFlags | world->decodingFlags) & TRAPPING) == 0;

    jmp_buf recovery;
    world->recoveryPoint = &recovery;
    kel::reset_call_state(world);

    volatile int guard = 0;
    if (int message = setjmp(recovery)) {
        int code = 18; // the clean-up itself failed
        if (guard == 0) {
            guard = message;
            release_call_memory(world);
            code = code_of(message);
        }
        if (trap)
            kel::remove_trap(world);
        return code;
    }
    if (trap)
        install_trap(world);
    check(world, pdu, value);
    if (trap)
        kel::remove_trap(world);
    return 0;
}
