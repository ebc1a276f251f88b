// test_message_services.cpp - the straight-line printers, comparers and
// copiers of ProtoMessage and CertTrim on the values of the benchmark DER
// files: the printed texts pinned, copies equal to their originals and
// standing alone, one changed field of each kind telling values apart, the
// DEFAULT values and SET OF order that don't, copies in a caller's area,
// every allocation of a copy refused in turn.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <span>
#include <string>

#include "cert_trim.h"
#include "cert_trim_services.h"
#include "counting_alloc.h"
#include "fail_each.h"
#include "internal.h"
#include "message_world.h"
#include "proto_message.h"
#include "proto_message_services.h"

namespace {

using kel_test::bench_file;
using kel_test::CountingAllocator;
using kel_test::MessageWorld;

// A code file's control table with the three services as its init will
// register them: the printer in the control table, the comparer and copier
// in a copy of the table of newer families that the init registered.
template <KelControlTable *Original, KelPrintFn Print, KelCompareFn Compare, KelCopyFn Copy>
struct WithServices {
    static inline KelXApiTable xapi{};
    static void init(KelGlobal *w) {
        Original->init(w);
        xapi = *w->ext->xapi;
        xapi.cmpValue = Compare;
        xapi.cpyValue = Copy;
        kelInitXAPIentries(w, &xapi);
    }
    static KelControlTable control() {
        KelControlTable c = *Original;
        c.init = init;
        c.printPdu = Print;
        return c;
    }
};

KelControlTable protoControl =
    WithServices<&proto_message_control, proto_print, proto_compare, proto_copy>::control();
KelControlTable certControl = WithServices<&cert_trim_control, cert_print, cert_compare, cert_copy>::control();

// Printed text is gathered here.
std::string printed;

int gather(FILE *, const char *format, va_list args) {
    char line[4096];
    const int n = std::vsnprintf(line, sizeof line, format, args);
    printed += line;
    return n;
}

// The sampleValue of the schema, a component to a line, two blanks a level.
const char kProtoPrinted[] = R"(value Message ::= {
  header {
    protocolVersion 3,
    messageId 305419896,
    timestamp 1700000000,
    priority high,
    flags '10100101 11110000 00001111 01011010'B,
    source {
      plmnId '00F110'H,
      nodeNumber 74565,
      nodeName "gnb-0042.example.net"
    },
    destination {
      plmnId '00F110'H,
      nodeNumber 4660
    },
    correlationId 4242,
    hopCount 2
  },
  body measurementReport : {
    reportId 771,
    trigger eventA3,
    servingCell {
      mcc 1,
      mnc 1,
      cellId 123456789
    },
    sessionKey '00112233445566778899AABBCCDDEEFF'H,
    description "periodic neighbour cell report",
    validity {
      startTime 1700000000,
      durationMs 3600000
    }
  },
  cellReports {
    {
      pci 1,
      rsrp -80,
      rsrq -10,
      sinr 20
    },
    {
      pci 17,
      rsrp -85,
      rsrq -11,
      sinr 15
    },
    {
      pci 33,
      rsrp -90,
      rsrq -12
    },
    {
      pci 49,
      rsrp -95,
      rsrq -13,
      sinr 9
    },
    {
      pci 65,
      rsrp -100,
      rsrq -14,
      sinr 7
    },
    {
      pci 81,
      rsrp -105,
      rsrq -15
    },
    {
      pci 97,
      rsrp -110,
      rsrq -16,
      sinr 3
    },
    {
      pci 113,
      rsrp -115,
      rsrq -17,
      sinr 1
    },
    {
      pci 129,
      rsrp -120,
      rsrq -18,
      sinr 0
    },
    {
      pci 145,
      rsrp -125,
      rsrq -19
    },
    {
      pci 300,
      rsrp -130,
      rsrq -20,
      sinr -3
    },
    {
      pci 400,
      rsrp -135,
      rsrq -21,
      sinr -5
    },
    {
      pci 500,
      rsrp -140,
      rsrq -22,
      sinr -7
    },
    {
      pci 600,
      rsrp -145,
      rsrq -23
    },
    {
      pci 700,
      rsrp -150,
      rsrq -24,
      sinr -11
    },
    {
      pci 800,
      rsrp -156,
      rsrq -43,
      sinr -23
    },
    {
      pci 900,
      rsrp -44,
      rsrq 20,
      sinr 40
    },
    {
      pci 1000,
      rsrp -60,
      rsrq 0
    },
    {
      pci 1007,
      rsrp -70,
      rsrq -5,
      sinr 25
    },
    {
      pci 0,
      rsrp -75,
      rsrq -8,
      sinr 30
    }
  },
  security {
    algorithm nea2,
    keySetId 5,
    mac 'DEADBEEF'H
  },
  trailer {
    sequenceNumber 65535,
    checksum 4023233417
  }
}
)";

// The certificate of the DER file under ASN1CHOP 64, which cuts the public
// key and the signature after 64 bits; the other values are shorter.
const char kCertPrinted[] = R"(value Certificate ::= {
  tbsCertificate {
    version 2,
    serialNumber 4293743540046975378534879503202253541,
    signature {
      algorithm { 1 2 840 113549 1 1 11 },
      parameters '0500'H
    },
    issuer rdnSequence : {
      {
        {
          type { 2 5 4 6 },
          value '13025553'H
        }
      },
      {
        {
          type { 2 5 4 10 },
          value '130C446967694365727420496E63'H
        }
      },
      {
        {
          type { 2 5 4 11 },
          value '13107777772E64696769636572742E636F6D'H
        }
      },
      {
        {
          type { 2 5 4 3 },
          value '1317446967694365727420476C6F62616C20526F6F74204732'H
        }
      }
    },
    validity {
      notBefore utcTime : "130801120000Z",
      notAfter utcTime : "380115120000Z"
    },
    subject rdnSequence : {
      {
        {
          type { 2 5 4 6 },
          value '13025553'H
        }
      },
      {
        {
          type { 2 5 4 10 },
          value '130C446967694365727420496E63'H
        }
      },
      {
        {
          type { 2 5 4 11 },
          value '13107777772E64696769636572742E636F6D'H
        }
      },
      {
        {
          type { 2 5 4 3 },
          value '1317446967694365727420476C6F62616C20526F6F74204732'H
        }
      }
    },
    subjectPublicKeyInfo {
      algorithm {
        algorithm { 1 2 840 113549 1 1 1 },
        parameters '0500'H
      },
      subjectPublicKey '00110000 10000010 00000001 00001010 00000010 10000010 00000001 00000001 ...'B
    },
    extensions {
      {
        extnID { 2 5 29 19 },
        critical TRUE,
        extnValue '30030101FF'H
      },
      {
        extnID { 2 5 29 15 },
        critical TRUE,
        extnValue '03020186'H
      },
      {
        extnID { 2 5 29 14 },
        extnValue '04144E2254201895E6E36EE60FFAFAB912ED06178F39'H
      }
    }
  },
  signatureAlgorithm {
    algorithm { 1 2 840 113549 1 1 11 },
    parameters '0500'H
  },
  signature '01100000 01100111 00101000 10010100 01101111 00001110 01001000 01100011 ...'B
}
)";

// A change of one field that the comparer must see (or, where `equal`, must
// not); applied twice it leaves the value as it was.
struct Toggle {
    const char *what;
    void (*apply)(void *value);
    bool equal;
};

Message &proto(void *v) { return *static_cast<Message *>(v); }
Certificate &cert(void *v) { return *static_cast<Certificate *>(v); }

const Toggle kProtoToggles[] = {
    {"INTEGER", [](void *v) { proto(v).trailer.checksum ^= 0x80000000u; }, false},
    {"IA5String", [](void *v) { proto(v).header.source.nodeName[0] ^= 1; }, false},
    {"BIT STRING", [](void *v) { proto(v).header.flags ^= 1; }, false},
    {"ENUMERATED", [](void *v) { proto(v).header.priority = Priority(proto(v).header.priority ^ 1); }, false},
    {"OPTIONAL absent", [](void *v) { proto(v).header.bit_mask ^= hopCount_present; }, false},
    {"OCTET STRING", [](void *v) { proto(v).body.u.measurementReport.sessionKey[15] ^= 0x80; }, false},
    {"CHOICE", [](void *v) { proto(v).body.choice ^= 1; }, false},
    {"list length", [](void *v) { proto(v).cellReports.count ^= 1; }, false},
    {"list element", [](void *v) { proto(v).cellReports.value[19].sinr ^= 1; }, false},
    {"stale value of an absent sinr", [](void *v) { proto(v).cellReports.value[2].sinr ^= 1; }, true},
};

const Toggle kCertToggles[] = {
    {"huge INTEGER", [](void *v) { cert(v).tbsCertificate.serialNumber.value[15] ^= 1; }, false},
    {"OBJECT IDENTIFIER", [](void *v) { cert(v).tbsCertificate.signature.algorithm.value[8] ^= 1; }, false},
    {"ANY in a name",
     [](void *v) { cert(v).tbsCertificate.issuer.u.rdnSequence.value[3].value[0].value.value[5] ^= 0x20; }, false},
    {"UTCTime", [](void *v) { cert(v).tbsCertificate.validity.notAfter.u.utcTime[1] ^= 1; }, false},
    {"Time alternative", [](void *v) { cert(v).tbsCertificate.validity.notAfter.choice ^= 3; }, false},
    {"BIT STRING", [](void *v) { cert(v).signature.value[255] ^= 1; }, false},
    {"BIT STRING length", [](void *v) { cert(v).tbsCertificate.subjectPublicKeyInfo.subjectPublicKey.length ^= 16; },
     false},
    {"OPTIONAL absent", [](void *v) { cert(v).signatureAlgorithm.bit_mask ^= parameters_present; }, false},
    {"version v3 against absent v1", [](void *v) { cert(v).tbsCertificate.bit_mask ^= version_present; }, false},
    {"critical TRUE against FALSE", [](void *v) { cert(v).tbsCertificate.extensions.value[0].critical ^= 1; }, false},
    {"critical FALSE present", [](void *v) { cert(v).tbsCertificate.extensions.value[2].bit_mask ^= critical_present; },
     true},
};

struct Message {
    const char *name;
    KelControlTable *control;
    int pdu;
    const char *der;
    const char *text;
    int32_t chop; // ASN1CHOP for the pinned text
    std::span<const Toggle> toggles;
};

void PrintTo(const Message &m, std::ostream *os) { *os << m.name; }

const Message kMessages[] = {
    {"ProtoMessage", &protoControl, Message_PDU, "ProtoMessage.der.hex", kProtoPrinted, 0, kProtoToggles},
    {"CertTrim", &certControl, Certificate_PDU, "CertTrim.der.hex", kCertPrinted, 64, kCertToggles},
};

class MessageServices : public ::testing::TestWithParam<Message> {
  protected:
    void SetUp() override {
        ASSERT_EQ(w.decode(KEL_DER, bench_file(GetParam().der)), 0) << w.message();
        kelSetUserVprint(&w.world, stdout, gather);
    }
    // The printed text of `value`.
    std::string print(void *value) {
        printed.clear();
        w.world.asn1chop = GetParam().chop;
        EXPECT_EQ(kelPrintPDU(&w.world, GetParam().pdu, value), 0) << w.message();
        return printed;
    }
    int compare(void *a, void *b) { return kelCmpValue(&w.world, GetParam().pdu, a, b); }

    MessageWorld w{GetParam().control, GetParam().pdu};
};

TEST_P(MessageServices, PrintsThePinnedText) {
    EXPECT_EQ(print(w.value), GetParam().text);
}

TEST_P(MessageServices, CopyComparesEqualAndOutlivesTheOriginal) {
    void *copy = nullptr;
    ASSERT_EQ(kelCpyValue(&w.world, GetParam().pdu, w.value, &copy), 0) << w.message();
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, w.value);
    EXPECT_EQ(compare(copy, w.value), 0);
    EXPECT_EQ(compare(w.value, copy), 0);
    w.release();
    EXPECT_EQ(print(copy), GetParam().text);
    EXPECT_EQ(kelFreePDU(&w.world, GetParam().pdu, copy), 0);
}

TEST_P(MessageServices, OneChangedFieldComparesAsItShould) {
    void *copy = nullptr;
    ASSERT_EQ(kelCpyValue(&w.world, GetParam().pdu, w.value, &copy), 0) << w.message();
    for (const Toggle &t : GetParam().toggles) {
        t.apply(copy);
        EXPECT_EQ(compare(copy, w.value), t.equal ? 0 : 1) << t.what;
        EXPECT_EQ(compare(w.value, copy), t.equal ? 0 : 1) << t.what;
        t.apply(copy);
        EXPECT_EQ(compare(copy, w.value), 0) << t.what;
    }
    EXPECT_EQ(kelFreePDU(&w.world, GetParam().pdu, copy), 0);
}

TEST_P(MessageServices, CopiesIntoACallersArea) {
    alignas(8) unsigned char area[8192];
    // An area too small for the pieces: no copy.
    void *copy = area;
    kelSetDecodingLength(&w.world, 64);
    EXPECT_NE(kelCpyValue(&w.world, GetParam().pdu, w.value, &copy), 0);
    EXPECT_EQ(copy, nullptr);

    copy = area;
    kelSetDecodingLength(&w.world, sizeof area);
    ASSERT_EQ(kelCpyValue(&w.world, GetParam().pdu, w.value, &copy), 0) << w.message();
    EXPECT_EQ(copy, area);
    EXPECT_EQ(compare(copy, w.value), 0);
    w.release();
    EXPECT_EQ(print(copy), GetParam().text);
}

TEST_P(MessageServices, EveryRefusedAllocationOfACopyLeavesNothing) {
    // Decoded with the counting allocator too, so that the release balances;
    // the value of SetUp goes back to the allocator it came from.
    w.release();
    CountingAllocator::install(&w.world);
    ASSERT_EQ(w.decode(KEL_DER, bench_file(GetParam().der)), 0);
    const int pdu = GetParam().pdu;
    KelGlobal *world = &w.world;
    void *original = w.value;
    const long runs = kel_test::fail_each_allocation(world, [world, pdu, original] {
        void *copy = nullptr;
        const int code = kelCpyValue(world, pdu, original, &copy);
        if (code == 0) {
            EXPECT_EQ(kelCmpValue(world, pdu, copy, original), 0);
            kelFreePDU(world, pdu, copy);
        } else {
            EXPECT_EQ(copy, nullptr);
        }
        return code;
    });
    EXPECT_GE(runs, 2);
    w.release();
}

TEST_P(MessageServices, RefuseAnotherPdu) {
    void *copy = nullptr;
    const int other = GetParam().pdu + 1;
    EXPECT_EQ(kelPrintPDU(&w.world, other, w.value), 3);
    EXPECT_EQ(kelCmpValue(&w.world, other, w.value, w.value), 3);
    EXPECT_EQ(kelCpyValue(&w.world, other, w.value, &copy), 3);
    EXPECT_EQ(copy, nullptr);
}

INSTANTIATE_TEST_SUITE_P(Bench, MessageServices, ::testing::ValuesIn(kMessages),
                         [](const auto &info) { return std::string(info.param.name); });

// Shallow variants of the decoded certificate: a version written out as v1
// equals an absent one, and a RelativeDistinguishedName (SET OF) is the same
// in any order but not with an attribute repeated in place of another.
TEST(CertTrimServices, DefaultValuesAndSetOrderDontCount) {
    MessageWorld w(&certControl, Certificate_PDU);
    ASSERT_EQ(w.decode(KEL_DER, bench_file("CertTrim.der.hex")), 0) << w.message();
    Certificate a = cert(w.value), b = a;
    a.tbsCertificate.bit_mask &= ~version_present;
    b.tbsCertificate.version = v1;
    EXPECT_EQ(kelCmpValue(&w.world, Certificate_PDU, &a, &b), 0);

    const RDNSequence &rdns = a.tbsCertificate.issuer.u.rdnSequence;
    AttributeTypeAndValue xy[2] = {rdns.value[0].value[0], rdns.value[1].value[0]};
    AttributeTypeAndValue yx[2] = {xy[1], xy[0]}, xx[2] = {xy[0], xy[0]};
    RelativeDistinguishedName first{2, xy}, second{2, yx};
    a.tbsCertificate.issuer.u.rdnSequence = {1, &first};
    b.tbsCertificate.issuer.u.rdnSequence = {1, &second};
    EXPECT_EQ(kelCmpValue(&w.world, Certificate_PDU, &a, &b), 0);
    second.value = xx;
    EXPECT_EQ(kelCmpValue(&w.world, Certificate_PDU, &a, &b), 1);
    EXPECT_EQ(kelCmpValue(&w.world, Certificate_PDU, &b, &a), 1);
}

} // namespace
