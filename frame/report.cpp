// report.cpp - the failure path and the message formatter.
//
// A primitive that finds a failure names a row of kelErrMsgs and hands over
// one argument.  The failure path records the row's return code in the top
// world, formats the message into the world's message buffer (with the
// argument, the trail of fields, the PDU and, for text input, the line and
// position) and leaves through the running driver's recovery point.  The
// formatter never fails: the first 512 bytes are always there, and a text
// that doesn't fit is cut with "..." there and kept whole in extErrMsg.
#include <csetjmp>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "internal.h"

namespace {

constexpr uint32_t kErrMsgSize = sizeof(KelGlobal::errMsg);
static_assert(kErrMsgSize == 512);
constexpr uint32_t kOverflowStep = 512; // extErrMsg grows by this much
constexpr uint32_t kTailRoom = 4;       // "..." and the NUL of a cut text

constexpr uint32_t kTypeKindMask = 0xF;
constexpr uint32_t kTypeNoTrail = 0x40;
constexpr uint32_t kPrintMessages = 0x40; // debugFlags: echo every message

enum PlaceholderKind : uint32_t {
    kTag = 2,
    kSigned = 3,
    kUnsigned = 4,
    kReal = 5,
    kQuoted = 6,
    kCharacter = 7,
    kQuotedToo = 8,
    kBare = 9,
};

// Rows whose huge-integer argument prints as hexadecimal.
constexpr int kMsgRangeSigned = 22;
constexpr int kMsgRangeUnsigned = 23;
// Row for a message number outside the table.
constexpr int kMsgCannotHappen = 124;

// Trail node kinds printed as "element #n": SET OF, SEQUENCE OF and like.
constexpr bool is_list_kind(int32_t kind) { return kind == 8 || kind == 10 || kind == 21; }

// The one argument of a message, as the entry points received it.
struct MessageArg {
    enum Kind : uint8_t { Pointer, Number32, Number64, Real, String } kind;
    union {
        const void *pointer;
        uint32_t number32;
        uint64_t number64;
        double real;
        const char *string;
    };
};

MessageArg pointer_arg(const void *p) {
    MessageArg arg{MessageArg::Pointer, {}};
    arg.pointer = p;
    return arg;
}
MessageArg number32_arg(uint32_t v) {
    MessageArg arg{MessageArg::Number32, {}};
    arg.number32 = v;
    return arg;
}
MessageArg number64_arg(uint64_t v) {
    MessageArg arg{MessageArg::Number64, {}};
    arg.number64 = v;
    return arg;
}
MessageArg real_arg(double v) {
    MessageArg arg{MessageArg::Real, {}};
    arg.real = v;
    return arg;
}
MessageArg string_arg(const char *s) {
    MessageArg arg{MessageArg::String, {}};
    arg.string = s;
    return arg;
}

// Writes into a fixed buffer and cuts with "..." where the text stops
// fitting, while still counting the length the whole text needs.
class TextWriter {
public:
    TextWriter(char *buffer, uint32_t size) : buffer_(buffer), limit_(size - kTailRoom) {}

    void put(const char *text, size_t n) {
        needed_ += n;
        if (cut_)
            return;
        if (n <= limit_ - length_) {
            std::memcpy(buffer_ + length_, text, n);
            length_ += n;
            return;
        }
        std::memcpy(buffer_ + length_, text, limit_ - length_);
        std::memcpy(buffer_ + limit_, "...", 3);
        length_ = limit_ + 3;
        cut_ = true;
    }
    void put(const char *text) { put(text, std::strlen(text)); }
    void put(char c) { put(&c, 1); }

    __attribute__((format(printf, 2, 3))) void putf(const char *format, ...) {
        char piece[128];
        va_list args;
        va_start(args, format);
        int n = std::vsnprintf(piece, sizeof piece, format, args);
        va_end(args);
        if (n > 0)
            put(piece, n < static_cast<int>(sizeof piece) ? static_cast<size_t>(n) : sizeof piece - 1);
    }

    void finish() { buffer_[length_] = 0; }
    bool cut() const { return cut_; }
    size_t needed() const { return needed_; }

private:
    char *buffer_;
    size_t limit_;
    size_t length_ = 0;
    size_t needed_ = 0;
    bool cut_ = false;
};

const KelErrMsg &row_of(int message) {
    bool known = message >= 0 && message < KEL_MESSAGE_COUNT;
    return kelErrMsgs[known ? message : kMsgCannotHappen];
}

char phase_letter(int32_t phase) {
    if (phase >= 0 && phase <= 2)
        return 'E';
    if (phase >= 3 && phase <= 5)
        return 'D';
    return ' ';
}

uint64_t as_unsigned(const MessageArg &arg) {
    switch (arg.kind) {
    case MessageArg::Number32: return arg.number32;
    case MessageArg::Number64: return arg.number64;
    case MessageArg::Real: return static_cast<uint64_t>(static_cast<int64_t>(arg.real));
    default: return reinterpret_cast<uintptr_t>(arg.pointer);
    }
}

int64_t as_signed(const MessageArg &arg) {
    if (arg.kind == MessageArg::Number32)
        return static_cast<int32_t>(arg.number32);
    if (arg.kind == MessageArg::Real)
        return static_cast<int64_t>(arg.real);
    return static_cast<int64_t>(as_unsigned(arg));
}

// "[UNIVERSAL 4]" and kin: bits 0x8000 and 0x4000 are the class, the low
// 14 bits the number.
void put_tag(TextWriter &out, uint32_t tag, const char *close) {
    unsigned long number = tag & 0x3FFF;
    switch (tag & 0xC000) {
    case 0xC000: out.putf("[PRIVATE %lu]%s", number, close); break;
    case 0x8000: out.putf("[%lu]%s", number, close); break;
    case 0x4000: out.putf("[APPLICATION %lu]%s", number, close); break;
    default: out.putf("[UNIVERSAL %lu]%s", number, close); break;
    }
}

void put_character(TextWriter &out, uint32_t c) {
    if (c >= 0x20 && c < 0x7F)
        out.putf("'%c'", static_cast<char>(c));
    else
        out.putf("{%u,%u,%u,%u}", c >> 24, (c >> 16) & 0xFF, (c >> 8) & 0xFF, c & 0xFF);
}

void put_string(TextWriter &out, const char *text, bool quoted) {
    if (!text)
        return;
    if (quoted)
        out.put('\'');
    out.put(text);
    if (quoted)
        out.put('\'');
}

void put_argument(TextWriter &out, uint32_t kind, const MessageArg &arg) {
    if (arg.kind == MessageArg::String) {
        put_string(out, arg.string, kind != kBare);
        return;
    }
    bool wide = arg.kind == MessageArg::Number64;
    bool numeric = arg.kind != MessageArg::Pointer;
    switch (kind) {
    case kTag: {
        if (!numeric)
            return;
        uint32_t tags = static_cast<uint32_t>(as_unsigned(arg));
        put_tag(out, tags & 0xFFFF, "");
        if (tags >> 16) {
            out.put(" (expected tag ");
            put_tag(out, tags >> 16, ")");
        }
        return;
    }
    case kSigned:
        if (!numeric)
            return;
        if (wide)
            out.putf("%lld", static_cast<long long>(as_signed(arg)));
        else
            out.putf("%ld", static_cast<long>(as_signed(arg)));
        return;
    case kUnsigned:
        if (!numeric)
            return;
        if (wide)
            out.putf("%llu", static_cast<unsigned long long>(as_unsigned(arg)));
        else
            out.putf("%lu", static_cast<unsigned long>(as_unsigned(arg)));
        return;
    case kReal:
        if (arg.kind == MessageArg::Real)
            out.putf("%lg", arg.real);
        else if (numeric)
            out.putf("%lg", static_cast<double>(as_signed(arg)));
        return;
    case kQuoted:
    case kQuotedToo:
    case kBare:
        if (!numeric)
            put_string(out, static_cast<const char *>(arg.pointer), kind != kBare);
        return;
    case kCharacter:
        if (numeric)
            put_character(out, static_cast<uint32_t>(as_unsigned(arg)));
        return;
    default: return; // kinds 0 and 1 take no argument
    }
}

// The PDU's name is the entry's first word, unless that is a generated
// reference ("Xxxx#...") and the type name says more.
const char *pdu_name(const KelPduNames *entry) {
    const char *name = entry->name ? entry->name : "";
    if (std::strlen(name) >= 5 && name[4] == '#')
        return entry->typeName ? entry->typeName : "";
    return name;
}

void put_pdu_line(TextWriter &out, const KelGlobal *world) {
    constexpr size_t kNameRoom = 512; // a longer name is cut...
    constexpr size_t kNameKept = 498; // ...to this much and "..."
    out.putf(" PDU #%d", world->pduNumber);
    if (!world->pduEntry)
        return;
    const char *name = pdu_name(world->pduEntry);
    out.put(" '");
    if (strnlen(name, kNameRoom) < kNameRoom) {
        out.put(name);
    } else {
        out.put(name, kNameKept);
        out.put("...");
    }
    out.put('\'');
}

// From the innermost field out: " field 'a' (type: T) of element #2 ...".
void put_trail(TextWriter &out, const KelGlobal *world) {
    const KelTrailNode *node = world->trail ? world->trail->first : nullptr;
    for (; node; node = node->next) {
        const KelTrailInfo *info = node->info;
        if (!info)
            continue;
        if (is_list_kind(info->kind)) {
            out.putf(" element #%ld", static_cast<long>(node->index));
        } else {
            const char *name = info->name ? info->name : "";
            out.put(name[0] >= 'A' && name[0] <= 'Z' ? " PDU '" : " field '");
            out.put(name);
            out.put('\'');
        }
        out.put(" (type: ");
        out.put(info->typeName ? info->typeName : "");
        out.put(") of");
    }
}

// The octets from the start of a text input to where the reader stands.
// E-XER keeps that span in the reader fields themselves.  The XER and JSON
// decoders keep their start pointer in the extension; until they publish it
// here they get no position.
bool text_decoder_input_span(const KelGlobal *world, const unsigned char **start, size_t *length) {
    if (world->encRules != KEL_EXER || !world->inPos || world->inRemaining < 0)
        return false;
    *start = world->inPos;
    *length = static_cast<size_t>(world->inRemaining);
    return true;
}

bool has_text_position(const KelGlobal *world) {
    uint32_t rules = world->encRules;
    return rules == KEL_XER || rules == KEL_CXER || rules == KEL_EXER || rules == KEL_JSON;
}

// " at line L position P": lines count from 1; a line feed sets the column
// to 1, every other octet adds one.
void put_position(TextWriter &out, const KelGlobal *world) {
    const unsigned char *start;
    size_t length;
    if (!has_text_position(world) || !text_decoder_input_span(world, &start, &length))
        return;
    long line = 1;
    size_t lineStart = 0; // index just past the last line feed
    const unsigned char *end = start + length;
    for (const unsigned char *p = start;
         (p = static_cast<const unsigned char *>(std::memchr(p, '\n', static_cast<size_t>(end - p))));) {
        ++line;
        ++p;
        lineStart = static_cast<size_t>(p - start);
    }
    long column = static_cast<long>(length - lineStart) + (line > 1 ? 1 : 0);
    if (world->pduNumber == 0)
        out.put("; check PDU");
    out.putf(" at line %ld position %ld", line, column);
}

void compose(const KelGlobal *world, const KelErrMsg &row, const MessageArg &arg, TextWriter &out) {
    char letter = phase_letter(world->phase);
    out.put(letter);
    out.put(row.text);
    put_argument(out, row.type & kTypeKindMask, arg);
    if (!(row.type & kTypeNoTrail) && world->pduNumber >= 1) {
        out.put("; check");
        put_trail(out, world);
        put_pdu_line(out, world);
    }
    if (letter == 'D')
        put_position(out, world);
    out.put(".\n");
}

void release_overflow(KelWorldExt *ext) {
    if (ext->extErrMsg && ext->extFree)
        ext->extFree(ext->extErrMsg);
    ext->extErrMsg = nullptr;
}

// Formats into errMsgPtr; a text that doesn't fit is formatted once more into
// a buffer of the next multiple of 512 that holds it, left in extErrMsg.
void format_message(KelGlobal *world, const KelErrMsg &row, const MessageArg &arg) {
    KelWorldExt *ext = world->ext;
    if (ext)
        release_overflow(ext);
    TextWriter first(world->errMsgPtr, kErrMsgSize);
    compose(world, row, arg, first);
    first.finish();
    if (!first.cut() || !ext || !ext->extMalloc)
        return;
    size_t size = (first.needed() + kTailRoom + kOverflowStep - 1) / kOverflowStep * kOverflowStep;
    if (size <= kErrMsgSize)
        size = kErrMsgSize + kOverflowStep;
    char *whole = static_cast<char *>(ext->extMalloc(size));
    if (!whole)
        return; // errMsg keeps the cut text
    TextWriter again(whole, static_cast<uint32_t>(size));
    compose(world, row, arg, again);
    again.finish();
    ext->extErrMsg = whole;
}

void run_post_hook(KelGlobal *world, int message) {
    KelWorldExt *ext = world->ext;
    if (!ext || !(ext->debugFlags & kPrintMessages))
        return;
    KelPostHook hook = world->errMsgPtr[0] == 'E' ? ext->encPostHook : ext->decPostHook;
    if (hook)
        hook(world, message, nullptr, nullptr);
}

// Records a failure in the top world: its return code, and its text when
// the world has a message buffer.  Returns the code.
int record(KelGlobal *top, int message, const MessageArg &arg) {
    if (message < 0 || message >= KEL_MESSAGE_COUNT)
        return record(top, kMsgCannotHappen, number32_arg(static_cast<uint32_t>(message)));
    const KelErrMsg &row = kelErrMsgs[message];
    int code = row.code;
    if (message == kel::kMsgUserStop) {
        // callback codes start at 1024 so that they never read as ours
        int32_t stop = static_cast<int32_t>(as_signed(arg));
        code = stop < 1024 ? 1024 : stop;
    }
    if (!top)
        return code;
    top->errorCode = code;
    if (top->errMsgPtr) {
        format_message(top, row, arg);
        run_post_hook(top, message);
    }
    return code;
}

// Leaves through the recovery point of the running driver.  A pushed world
// carries its parent's recovery point, so the nearest one up the chain is
// the driver's.  Without any recovery point no driver is running and there
// is nowhere to go back to: that is a misuse of a primitive, and the
// process stops with abort().
[[noreturn]] void leave(KelGlobal *world, int value) {
    for (; world; world = world->parentWorld) {
        if (world->recoveryPoint)
            std::longjmp(*static_cast<jmp_buf *>(world->recoveryPoint), value);
    }
    std::abort();
}

[[noreturn]] void fail(KelGlobal *world, int message, const MessageArg &arg) {
    KelGlobal *top = world ? kel::top_world(world) : nullptr;
    if (top && top->phase == kel::kPhaseChecker)
        leave(world, message); // the checker turns the number into a code itself
    int code = record(top, message, arg);
    leave(world, code);
}

constexpr char kHexDigits[] = "0123456789ABCDEF";

// "0x" and the octets of a huge integer in hexadecimal; an unsigned value
// whose first octet has the high bit set gets a leading "0".
char *huge_integer_text(KelGlobal *world, int message, const unsigned char *bytes, uint32_t length) {
    bool lead = message == kMsgRangeUnsigned && (bytes[0] & 0x80);
    char *text = static_cast<char *>(_kel_dec_gettempmem(world, 2 + lead + 2 * length + 1));
    char *p = text;
    *p++ = '0';
    *p++ = 'x';
    if (lead)
        *p++ = '0';
    for (uint32_t i = 0; i < length; ++i) {
        *p++ = kHexDigits[bytes[i] >> 4];
        *p++ = kHexDigits[bytes[i] & 0xF];
    }
    *p = 0;
    return text;
}

} // namespace

extern "C" {

void _kel_enc_error(KelGlobal *world, int message, uint32_t value) {
    fail(world, message, number32_arg(value));
}

void _kel_enc_llerror(KelGlobal *world, int message, uint64_t value) {
    fail(world, message, number64_arg(value));
}

void _kel_varn_error(KelGlobal *world, int message, const void *value) {
    fail(world, message, pointer_arg(value));
}

void _kel_varn_real_error(KelGlobal *world, int message, double value) {
    fail(world, message, real_arg(value));
}

// A counted string or a huge integer: the text goes to temporary memory,
// which the driver's clean-up releases with the rest of the call.
void _kel_unbnd_error(KelGlobal *world, int message, const unsigned char *bytes, uint32_t length) {
    const char *text = "";
    if (world && bytes && length) {
        if (message == kMsgRangeSigned || message == kMsgRangeUnsigned) {
            text = huge_integer_text(world, message, bytes, length);
        } else {
            char *copy = static_cast<char *>(_kel_dec_gettempmem(world, length + 1));
            std::memcpy(copy, bytes, length);
            copy[length] = 0;
            text = copy;
        }
    }
    fail(world, message, string_arg(text));
}

// The constraint checker's way out, and that of the services that turn
// message numbers into codes themselves: the message number is the jump
// value, and no text is made, so `value` (a number, or on the 32-bit target
// a _kel_getdisp_* text) is never read.
void _kel_con_error(KelGlobal *world, int message, uint32_t) { leave(world, message); }

int _kel_varn_api_error(KelGlobal *world, int message, uint32_t value) {
    return record(world ? kel::top_world(world) : nullptr, message, number32_arg(value));
}

void free_ext_errMsg(KelGlobal *world, uint32_t) {
    if (world && world->ext)
        release_overflow(world->ext);
}

char *kelGetErrMsg(KelGlobal *world) {
    if (!world)
        return nullptr;
    if (world->ext && world->ext->extErrMsg && world->errMsg[0])
        return world->ext->extErrMsg;
    return world->errMsg;
}

// The reporter of the public operations, for failures found before or
// outside a driver: `kind` is 'E' or 'D'; `argument` points to a long
// (kind 3) or a double (kind 5), or is the text itself (kinds 6 and 9).
uint64_t kel_apiError(KelGlobal *world, char *buffer, int message, int kind, void *argument) {
    free_ext_errMsg(world, 0);
    const KelErrMsg &row = row_of(message);
    uint64_t result = static_cast<uint32_t>(row.code);
    if (!buffer)
        return result;
    TextWriter out(buffer, kErrMsgSize);
    out.put(static_cast<char>(kind));
    out.put(row.text);
    if (argument) {
        switch (row.type & kTypeKindMask) {
        case kSigned: out.putf("%ld", *static_cast<const long *>(argument)); break;
        case kReal: out.putf("%f", *static_cast<const double *>(argument)); break;
        case kQuoted: put_string(out, static_cast<const char *>(argument), true); break;
        case kBare: put_string(out, static_cast<const char *>(argument), false); break;
        default: break;
        }
    }
    out.put(".\n");
    out.finish();
    if (!world)
        return result;
    bool echo = (kind == 'E' && (world->encodingFlags & DEBUGPDU)) ||
                (kind == 'D' && (world->decodingFlags & DEBUGPDU)) ||
                (world->ext && (world->ext->debugFlags & kPrintMessages));
    if (echo)
        kelPrint(world, "%s", buffer);
    return result;
}

} // extern "C"
