// copy_basic_values.cpp - the kel__ family: values of basic types that an
// application builds for a value it hands to an encoder, each piece taken
// with kelGetMemory so that kelFreePDU can release the whole value later.
// Nothing here raises: refused memory answers null, and whatever part of the
// value was taken by then is given back.
#include <cstring>
#include <type_traits>
#include <utility>

#include "internal.h"
#include "kelvarn_services.h"
#include "kelvarn_time.h"

namespace {

constexpr uint32_t kDiffZ = 1; // the time readers' difference of a text ending in Z

#if defined(__i386__)
static_assert(sizeof(KelContained) == 12);
static_assert(sizeof(KelTimeStruct) == 18);
static_assert(sizeof(KelUnbSeqOf) == 8);
#endif

// kelGetMemory for a size computed in 64 bits: one that size_t can't hold is
// refused like any other.
void *take(KelGlobal *world, uint64_t size, bool zeroed = false) {
    if (size > SIZE_MAX)
        return nullptr;
    return zeroed ? kelGetInitializedMemory(world, static_cast<size_t>(size))
                  : kelGetMemory(world, static_cast<size_t>(size));
}

template <class T> T *copy_scalar(KelGlobal *world, T value) {
    auto *copy = static_cast<T *>(take(world, sizeof(T)));
    if (copy)
        *copy = value;
    return copy;
}

// `bytes` octets of `data` and `terminators` zero octets behind them; none at
// all for an empty source.  `*failed` tells a refusal from an empty source.
void *copy_units(KelGlobal *world, const void *data, uint64_t bytes, uint32_t terminators, bool *failed) {
    *failed = false;
    if (!bytes)
        return nullptr;
    auto *copy = static_cast<unsigned char *>(data ? take(world, bytes + terminators) : nullptr);
    if (!copy) {
        *failed = true;
        return nullptr;
    }
    std::memcpy(copy, data, static_cast<size_t>(bytes));
    std::memset(copy + bytes, 0, terminators);
    return copy;
}

template <class Record, class Field> Record record_of(Field Record::*);

// A zeroed record whose `Count` field takes `count` and whose `Units` field
// points at a copy of `bytes` octets of `data` (and `terminators` zero
// octets).
template <auto Count, auto Units>
auto *counted_copy(KelGlobal *world, const void *data, uint32_t count, uint64_t bytes, uint32_t terminators = 0) {
    using Record = decltype(record_of(Units));
    using Pointer = std::remove_reference_t<decltype(std::declval<Record &>().*Units)>;
    auto *record = static_cast<Record *>(take(world, sizeof(Record), true));
    if (!record)
        return record;
    bool failed;
    void *units = copy_units(world, data, bytes, terminators, &failed);
    if (failed) {
        kelFreeMemory(world, record);
        return static_cast<Record *>(nullptr);
    }
    record->*Count = count;
    record->*Units = static_cast<Pointer>(units);
    return record;
}

// Octets of a bit string of `bits` bits as this family has always copied
// them: one more than needed when `bits` is a multiple of eight.
constexpr uint64_t bit_string_octets(uint32_t bits) { return bits ? (bits >> 3) + 1 : 0; }

// Milliseconds from a fraction of `digits` decimal digits.
int16_t milliseconds(uint32_t fraction, uint32_t digits) {
    for (; digits > 3; --digits)
        fraction /= 10;
    for (; digits < 3; ++digits)
        fraction *= 10;
    return static_cast<int16_t>(fraction);
}

// Fills `time` from the fields of a GeneralizedTime or UTCTime text; a
// difference of 1 stands for Z only when the text ends in Z.
KelTimeStruct *set_time(KelTimeStruct *time, const char *text, const uint16_t (&fields)[6], int16_t millisec,
                        int32_t difference) {
    const size_t n = std::strlen(text);
    const bool zulu = difference == kDiffZ && n && (text[n - 1] == 'Z' || text[n - 1] == 'z');
    time->year = static_cast<int16_t>(fields[0]);
    time->month = static_cast<int16_t>(fields[1]);
    time->day = static_cast<int16_t>(fields[2]);
    time->hour = static_cast<int16_t>(fields[3]);
    time->minute = static_cast<int16_t>(fields[4]);
    time->second = static_cast<int16_t>(fields[5]);
    time->millisec = millisec;
    time->mindiff = static_cast<int16_t>(zulu ? 0 : difference);
    time->utc = zulu;
    return time;
}

using TimeSetter = KelTimeStruct *(*)(KelGlobal *, KelTimeStruct *, const char *);

KelTimeStruct *new_time(KelGlobal *world, const char *text, TimeSetter set) {
    auto *time = static_cast<KelTimeStruct *>(take(world, sizeof(KelTimeStruct)));
    if (time && !set(world, time, text)) {
        kelFreeMemory(world, time);
        return nullptr;
    }
    return time;
}

template <class T> void store(void *field, T value) { std::memcpy(field, &value, sizeof value); }

// A zeroed record of `recordSize` octets with room for a field of `fieldSize`
// octets at `displacement`.
void *new_record(KelGlobal *world, uint32_t recordSize, uint64_t displacement, size_t fieldSize) {
    return displacement + fieldSize <= recordSize ? take(world, recordSize, true) : nullptr;
}

// An open type record with the encoded length at `lengthAt` and the pointer
// to a copy of the encoding at `pointerAt`, behind the length.
void *encoded_record(KelGlobal *world, const void *bytes, uint32_t length, uint32_t recordSize, uint64_t lengthAt,
                     uint64_t pointerAt) {
    auto *record = static_cast<unsigned char *>(new_record(world, recordSize, pointerAt, sizeof(void *)));
    if (!record)
        return nullptr;
    bool failed;
    void *encoded = copy_units(world, bytes, length, 0, &failed);
    if (failed) {
        kelFreeMemory(world, record);
        return nullptr;
    }
    store(record + lengthAt, length);
    store(record + pointerAt, encoded);
    return record;
}

// A record with a copy of the decoded `value` of `pdu` in the pointer at
// `displacement`, made by the code file's copy function.
void *decoded_record(KelGlobal *world, void *value, int pdu, uint32_t recordSize, uint64_t displacement) {
    auto *record = static_cast<unsigned char *>(new_record(world, recordSize, displacement, sizeof(void *)));
    if (!record)
        return nullptr;
    void *copy = nullptr;
    if (kelCpyValue(world, pdu, value, &copy) != 0) {
        kelFreeMemory(world, record);
        return nullptr;
    }
    store(record + displacement, copy);
    return record;
}

} // namespace

extern "C" {

char *kel__Char_copy(KelGlobal *world, char value) { return copy_scalar(world, value); }
unsigned char *kel__UChar_copy(KelGlobal *world, unsigned char value) { return copy_scalar(world, value); }
unsigned char *kel__Bool_copy(KelGlobal *world, unsigned char value) { return copy_scalar(world, value); }
int16_t *kel__Short_copy(KelGlobal *world, int16_t value) { return copy_scalar(world, value); }
uint16_t *kel__UShort_copy(KelGlobal *world, uint16_t value) { return copy_scalar(world, value); }
int32_t *kel__Int_copy(KelGlobal *world, int32_t value) { return copy_scalar(world, value); }
uint32_t *kel__UInt_copy(KelGlobal *world, uint32_t value) { return copy_scalar(world, value); }
int32_t *kel__Long_copy(KelGlobal *world, int32_t value) { return copy_scalar(world, value); }
uint32_t *kel__ULong_copy(KelGlobal *world, uint32_t value) { return copy_scalar(world, value); }
uint32_t *kel__Ptr_copy(KelGlobal *world, uint32_t value) { return copy_scalar(world, value); }
int64_t *kel__LongLong_copy(KelGlobal *world, int64_t value) { return copy_scalar(world, value); }
uint64_t *kel__ULongLong_copy(KelGlobal *world, uint64_t value) { return copy_scalar(world, value); }
float *kel__Float_copy(KelGlobal *world, float value) { return copy_scalar(world, value); }
double *kel__Double_copy(KelGlobal *world, double value) { return copy_scalar(world, value); }

char *kel__CharStr_new(KelGlobal *world, uint32_t length) {
    auto *text = static_cast<char *>(take(world, uint64_t{length} + 1));
    if (text)
        text[0] = 0;
    return text;
}

char *kel__CharStr_copy(KelGlobal *world, const char *text) {
    if (!text)
        return nullptr;
    const size_t n = std::strlen(text) + 1;
    auto *copy = static_cast<char *>(take(world, n));
    return copy ? static_cast<char *>(std::memcpy(copy, text, n)) : nullptr;
}

KelUnboundedString *kel__UnbCharString_copy(KelGlobal *world, const char *text, uint32_t length) {
    return counted_copy<&KelUnboundedString::length, &KelUnboundedString::value>(world, text, length, length, 1);
}

KelUnboundedString *kel__UnbCharString_copy_nullterm(KelGlobal *world, const char *text) {
    return kel__UnbCharString_copy(world, text, text ? static_cast<uint32_t>(std::strlen(text)) : 0);
}

KelBmpString *kel__BmpString_copy(KelGlobal *world, const uint16_t *characters, uint32_t count) {
    return counted_copy<&KelBmpString::length, &KelBmpString::value>(world, characters, count,
                                                                     uint64_t{count} * sizeof *characters);
}

KelUniversalString *kel__UnivString_copy(KelGlobal *world, const uint32_t *characters, uint32_t count) {
    return counted_copy<&KelUniversalString::length, &KelUniversalString::value>(world, characters, count,
                                                                                 uint64_t{count} * sizeof *characters);
}

KelUnboundedBits *kel__UnbBitStr_copy(KelGlobal *world, const unsigned char *bytes, uint32_t bits) {
    return counted_copy<&KelUnboundedBits::length, &KelUnboundedBits::value>(world, bytes, bits,
                                                                             bit_string_octets(bits));
}

KelTimeStruct *kel__GeneralizedTime_setv_nullterm(KelGlobal *world, KelTimeStruct *time, const char *text) {
    uint16_t fields[6];
    uint32_t fraction, digits;
    int32_t difference;
    if (!time || !text ||
        kelGeneralizedTimeToShorts(world, text, &fields[0], &fields[1], &fields[2], &fields[3], &fields[4], &fields[5],
                                   &fraction, &digits, &difference) != 0)
        return nullptr;
    return set_time(time, text, fields, milliseconds(fraction, digits), difference);
}

KelTimeStruct *kel__UTCTime_setv_nullterm(KelGlobal *world, KelTimeStruct *time, const char *text) {
    uint16_t fields[6];
    int32_t difference;
    if (!time || !text ||
        kelUTCTimeToShorts(world, text, &fields[0], &fields[1], &fields[2], &fields[3], &fields[4], &fields[5],
                           &difference) != 0)
        return nullptr;
    return set_time(time, text, fields, 0, difference);
}

KelTimeStruct *kel__GeneralizedTime_copy_nullterm(KelGlobal *world, const char *text) {
    return new_time(world, text, kel__GeneralizedTime_setv_nullterm);
}

KelTimeStruct *kel__UTCTime_copy_nullterm(KelGlobal *world, const char *text) {
    return new_time(world, text, kel__UTCTime_setv_nullterm);
}

KelUnbSeqOf *kel__UnbSeqOf_new(KelGlobal *world, uint32_t count, uint32_t elementSize, int zero) {
    auto *list = static_cast<KelUnbSeqOf *>(take(world, sizeof(KelUnbSeqOf)));
    if (!list)
        return nullptr;
    const uint64_t bytes = uint64_t{count} * elementSize;
    void *elements = bytes ? take(world, bytes, zero != 0) : nullptr;
    if (bytes && !elements) {
        kelFreeMemory(world, list);
        return nullptr;
    }
    list->count = count;
    list->value = elements;
    return list;
}

KelUnbSeqOf *kel__UnbSeqOf_copy(KelGlobal *world, const void *source, uint32_t count, uint32_t elementSize) {
    return counted_copy<&KelUnbSeqOf::count, &KelUnbSeqOf::value>(world, source, count, uint64_t{count} * elementSize);
}

void *kel__OpenType_copy_encoded(KelGlobal *world, const void *bytes, uint32_t length, uint32_t recordSize) {
    return encoded_record(world, bytes, length, recordSize, offsetof(KelOpenType, length),
                          offsetof(KelOpenType, encoded));
}

KelContained *kel__BitStrCC_copy_encoded(KelGlobal *world, const unsigned char *bytes, uint32_t bits) {
    return counted_copy<&KelContained::length, &KelContained::encoded>(world, bytes, bits, bit_string_octets(bits));
}

KelContained *kel__OctStrCC_copy_encoded(KelGlobal *world, const unsigned char *bytes, uint32_t length) {
    return counted_copy<&KelContained::length, &KelContained::encoded>(world, bytes, length, length);
}

void *kel__OpenType_copy_decoded(KelGlobal *world, void *value, int pdu, uint32_t recordSize) {
    void *record = decoded_record(world, value, pdu, recordSize, offsetof(KelOpenType, decoded));
    if (record)
        store<int32_t>(record, pdu);
    return record;
}

KelContained *kel__CC_copy_decoded(KelGlobal *world, void *value, int pdu) {
    return static_cast<KelContained *>(
        decoded_record(world, value, pdu, sizeof(KelContained), offsetof(KelContained, decoded)));
}

void *kel__NewOpenType_copy_encoded(KelGlobal *world, const void *bytes, uint32_t length, uint32_t recordSize,
                                    uint32_t displacement) {
    return encoded_record(world, bytes, length, recordSize, uint64_t{displacement} + offsetof(KelBuf, length),
                          uint64_t{displacement} + offsetof(KelBuf, value));
}

void *kel__NewOpenType_copy_decoded(KelGlobal *world, void *value, int pdu, uint32_t recordSize, int pduWidth,
                                    uint32_t displacement) {
    if (pduWidth != 1 && pduWidth != 2 && pduWidth != 4)
        return nullptr;
    void *record = decoded_record(world, value, pdu, recordSize, displacement);
    if (!record)
        return nullptr;
    switch (pduWidth) {
    case 1:
        store<uint8_t>(record, static_cast<uint8_t>(pdu));
        break;
    case 2:
        store<uint16_t>(record, static_cast<uint16_t>(pdu));
        break;
    default:
        store<int32_t>(record, pdu);
    }
    return record;
}

} // extern "C"
