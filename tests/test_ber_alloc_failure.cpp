// test_ber_alloc_failure.cpp - BER, CER and DER calls in library memory with
// each of their allocations failing in turn: every failure answers 8 with
// the out-of-memory message and leaves nothing allocated, and once no
// allocation fails the call succeeds.  Whole PDUs go through kelEncode and
// kelDecode; value kinds that the table-driven code file lacks go through
// their primitives, followed by the clean-up that a driver runs.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "codefiles.h"
#include "counting_alloc.h"
#include "fail_each.h"
#include "harness.h"
#include "internal.h"
#include "kelvarn_ber.h"
#include "personnel.h"

namespace {

using Bytes = std::vector<uint8_t>;
using kel_test::CountingAllocator;

// Every allocation of `call` failing in turn; the call allocates at all.
void fail_each_allocation(KelGlobal *world, const std::string &what, const std::function<int()> &call) {
    SCOPED_TRACE(what);
    EXPECT_GT(kel_test::fail_each_allocation(world, call), 1) << "the call allocates";
}

class AllocFailure : public ::testing::Test {
  protected:
    void open(const KelControlTable *control) {
        kelterm(&world_);
        world_ = KelGlobal{};
        ASSERT_EQ(kelinit(&world_, const_cast<KelControlTable *>(control)), 0);
        CountingAllocator::install(&world_);
    }
    void TearDown() override { kelterm(&world_); }

    int encode(int rule, int pdu, const void *value, Bytes *out = nullptr) {
        kelSetEncodingRules(&world_, rule);
        KelBuf buf{0, nullptr};
        const int code = kelEncode(&world_, pdu, const_cast<void *>(value), &buf);
        if (code == 0) {
            if (out)
                out->assign(buf.value, buf.value + buf.length);
            kelFreeBuf(&world_, buf.value);
        }
        return code;
    }
    int decode(int rule, int pdu, const Bytes &input) {
        kelSetEncodingRules(&world_, rule);
        Bytes copy(input);
        KelBuf buf{static_cast<uint32_t>(copy.size()), copy.data()};
        void *value = nullptr;
        const int code = kelDecode(&world_, &pdu, &buf, &value);
        if (code == 0)
            kelFreePDU(&world_, pdu, value);
        return code;
    }
    // Encodes under each rule, then decodes what came out.
    void round_trips(const std::string &what, int pdu, const void *value) {
        for (int rule : {KEL_BER, KEL_CER, KEL_DER}) {
            const std::string trace = what + " under rule " + std::to_string(rule);
            Bytes encoding;
            ASSERT_EQ(encode(rule, pdu, value, &encoding), 0) << world_.errMsg;
            fail_each_allocation(&world_, trace + ", encode", [&] { return encode(rule, pdu, value); });
            fail_each_allocation(&world_, trace + ", decode", [&] { return decode(rule, pdu, encoding); });
        }
    }

    KelGlobal world_{};
};

char *text(const char *s) { return const_cast<char *>(s); }

TEST_F(AllocFailure, PersonnelRecord) {
    open(&personnel_control);
    ChildInformation children[] = {{{text("Ralph"), text("T"), text("Smith")}, text("19571111")},
                                   {{text("Susan"), text("B"), text("Jones")}, text("19590717")}};
    PersonnelRecord record{};
    record.bit_mask = children_present;
    record.name = {text("John"), text("P"), text("Smith")};
    record.title = text("Director");
    record.number = 51;
    record.dateOfHire = text("19710917");
    record.nameOfSpouse = {text("Mary"), text("T"), text("Smith")};
    record.children = {2, children};
    round_trips("PersonnelRecord", PersonnelRecord_PDU, &record);
}

TEST_F(AllocFailure, StringPdusOfTheTypesZoo) {
    open(&kel_typeszoo_codefile.control);
    auto pdu = [](const char *type) { return kel_codefile_pdu(&kel_typeszoo_codefile, type); };
    // Long enough for CER segments and for several encoder blocks.
    std::vector<unsigned char> octets(2500, 'x');
    std::vector<uint16_t> bmp(1200, 0x263A);
    std::vector<uint32_t> universal(700, 0x1F600);
    std::string visible(1500, 'v');
    const KelUnboundedString octetString{2500, octets.data()};
    const KelUnboundedBits bitString{8 * 1500 - 3, octets.data()};
    const KelBmpString bmpString{1200, bmp.data()};
    const KelUniversalString universalString{700, universal.data()};
    const KelUnboundedString utf8String{9, reinterpret_cast<unsigned char *>(text("\xE2\x98\xBA" "abc" "\xC3\xA9!"))};
    struct {
        uint32_t length;
        unsigned char value[8];
    } ia5Size{5, {'h', 'e', 'l', 'l', 'o'}};
    const void *ia5SizeRecord = &ia5Size;
    const char *visibleText = visible.c_str();

    round_trips("Octets", pdu("Octets"), &octetString);
    round_trips("Bits", pdu("Bits"), &bitString);
    round_trips("Bmp", pdu("Bmp"), &bmpString);
    round_trips("Universal", pdu("Universal"), &universalString);
    round_trips("Utf8", pdu("Utf8"), &utf8String);
    round_trips("Ia5Size", pdu("Ia5Size"), &ia5SizeRecord);
    round_trips("Visible", pdu("Visible"), &visibleText);

    // Constructed strings of more segments than the fragment array holds
    // before it moves to temporary memory.
    Bytes manyOctets{0x24, 0x80}, manyBits{0x23, 0x80}, manyBmp{0x3E, 0x80};
    for (int i = 0; i < 20; ++i) {
        manyOctets.insert(manyOctets.end(), {0x04, 0x01, static_cast<uint8_t>(i)});
        manyBits.insert(manyBits.end(), {0x03, 0x02, 0x00, static_cast<uint8_t>(i)});
        manyBmp.insert(manyBmp.end(), {0x04, 0x02, 0x00, static_cast<uint8_t>('A' + i)});
    }
    for (Bytes *input : {&manyOctets, &manyBits, &manyBmp})
        input->insert(input->end(), {0, 0});
    fail_each_allocation(&world_, "20 segments of OCTET STRING", [&] { return decode(KEL_BER, pdu("Octets"), manyOctets); });
    fail_each_allocation(&world_, "20 segments of BIT STRING", [&] { return decode(KEL_CER, pdu("Bits"), manyBits); });
    fail_each_allocation(&world_, "20 segments of BMPString", [&] { return decode(KEL_BER, pdu("Bmp"), manyBmp); });
}

// ---------------------------------------------------------------------------
// Primitives, with the driver's clean-up after them.

class PrimitiveAllocFailure : public ::testing::Test {
  protected:
    void SetUp() override { CountingAllocator::install(world); }

    // Writers into library memory; a success is joined and released.
    int encode(int rule, const std::function<void(unsigned char **, int32_t *)> &writers) {
        world->encRules = rule;
        world->outQueueTail = &world->outQueue;
        world->ext->encStackFirst = {};
        world->ext->encStackFirst.count = 1;
        world->ext->encStack = &world->ext->encStackFirst;
        unsigned char *pos = nullptr;
        int32_t rem = 0;
        int code = kel_test::in_frame(world, kel::kPhaseEncoder, [&] { writers(&pos, &rem); });
        if (code != 0) {
            _kelFreeEncMemory(world);
            return code;
        }
        uint32_t length = 0;
        unsigned char *joined = nullptr;
        code = kel_test::in_frame(world, kel::kPhaseEncoder,
                                  [&] { _kel_set_outmem_d(world, static_cast<uint32_t>(rem), &length, &joined); });
        if (code != 0)
            _kelFreeEncMemory(world);
        kelFreeBuf(world, joined);
        return code;
    }
    // A reader on an input that starts with its header; the items it took
    // are released whether it succeeds or not.
    int decode(const Bytes &input, const std::function<void(unsigned char **, int32_t *, int32_t)> &reader) {
        world->outQueueTail = &world->outQueue;
        Bytes copy(input);
        unsigned char *pos = copy.data();
        int32_t rem = static_cast<int32_t>(copy.size());
        const int code = kel_test::in_frame(world, kel::kPhaseDecoder, [&] {
            _kel_dec_tag(world, &pos, &rem);
            reader(&pos, &rem, _kel_dec_length(world, &pos, &rem));
        });
        _kel_freetempMem(world);
        _kel_freeMem(world, world->freeMem);
        return code;
    }

    kel_test::BriefWorld brief;
    KelGlobal *world = brief.get();
};

TEST_F(PrimitiveAllocFailure, ObjectIdentifiersRealsTimesAndConvertedUtf8) {
    // 300 linked arcs: the encoder's item stack grows past its first block,
    // and the 1500 octets take two encoder blocks.
    std::vector<KelOidLink> nodes(300);
    for (size_t i = 0; i < nodes.size(); ++i) {
        nodes[i].next = i + 1 < nodes.size() ? &nodes[i + 1] : nullptr;
        nodes[i].value = i < 2 ? 1 : 0x10000000u + static_cast<uint32_t>(i);
    }
    std::string digits = "-" + std::string(1500, '7') + "E-20";
    std::vector<uint32_t> characters(600, 0x10348);
    fail_each_allocation(world, "linked OID, encode", [&] {
        return encode(KEL_BER, [&](unsigned char **p, int32_t *r) { _kel_encd_liobjid(world, p, r, nodes.data(), 0); });
    });
    fail_each_allocation(world, "decimal REAL, canonical encode", [&] {
        return encode(KEL_DER, [&](unsigned char **p, int32_t *r) { _kel_encd_creal(world, p, r, digits.data()); });
    });
    fail_each_allocation(world, "UTF-8 from Universal, encode", [&] {
        return encode(KEL_CER, [&](unsigned char **p, int32_t *r) {
            _kel_encd_utf8unistr_ia(world, p, r, characters.data(), static_cast<uint32_t>(characters.size()), 0);
        });
    });

    // 100 arcs: the linked decoder's nodes need a second block of the chain.
    Bytes oid{0x06, 100, 0x2A};
    for (uint8_t i = 1; i < 100; ++i)
        oid.push_back(i);
    // A UTF8String in 12 segments: the fragment array moves, and the
    // contents are gathered in temporary memory before they convert.
    Bytes utf8{0x2C, 0x80};
    for (int i = 0; i < 12; ++i)
        utf8.insert(utf8.end(), {0x04, 0x03, 0xE2, 0x98, 0xBA});
    utf8.insert(utf8.end(), {0, 0});
    const Bytes real = {0x09, 0x03, 0x80, 0xFB, 0x05}, utc = {0x17, 0x0D, '1', '7', '0', '7', '1', '1', '1', '2', '3', '0', '0', '0', 'Z'};
    const Bytes dateTime = {0x1F, 0x21, 14, '2', '0', '1', '7', '0', '7', '1', '1', '1', '2', '3', '0', '0', '0'};
    struct {
        const char *what;
        const Bytes &input;
        std::function<void(unsigned char **, int32_t *, int32_t)> reader;
    } decoders[] = {
        {"linked OID", oid, [&](unsigned char **p, int32_t *r, int32_t n) { void *first; _kel_dec_liobjid(world, p, r, n, &first, 0); }},
        {"OID arcs", oid, [&](unsigned char **p, int32_t *r, int32_t n) { void *arcs; _kel_dec_uiobjid_ia(world, p, r, n, &arcs, 0); }},
        {"REAL as text", real, [&](unsigned char **p, int32_t *r, int32_t n) { char *t; _kel_dec_creal(world, p, r, n, &t); }},
        {"UTCTime as text", utc, [&](unsigned char **p, int32_t *r, int32_t n) { unsigned char *t; _kel_dec_untime(world, p, r, n, &t, 0, 1); }},
        {"DATE-TIME", dateTime, [&](unsigned char **p, int32_t *r, int32_t n) { char *t; _kel_dec_date_time(world, p, r, n, &t, 33); }},
        {"UTF-8 to BMP", utf8, [&](unsigned char **p, int32_t *r, int32_t n) { void *v; _kel_dec_utf8bmpstr_ia(world, p, r, n, &v, 0); }},
        {"UTF-8 to Universal", utf8, [&](unsigned char **p, int32_t *r, int32_t n) { void *v; _kel_dec_utf8unistr_ia(world, p, r, n, &v, 0); }},
    };
    for (const auto &d : decoders)
        fail_each_allocation(world, std::string(d.what) + ", decode", [&] { return decode(d.input, d.reader); });
}

} // namespace
