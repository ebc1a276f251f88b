// The straight-line constraint checkers of ProtoMessage and CertTrim: each
// constraint of the benchmark value broken once gives the return code of
// its kind (range 76 and 77, size 74, list size 73, enumeration 67, a bad
// time 17), and the value as decoded passes.

#include <cstring>
#include <functional>

#include <gtest/gtest.h>

#include "cert_trim.h"
#include "message_world.h"
#include "proto_message.h"

namespace {

using kel_test::bench_file;
using kel_test::MessageWorld;

constexpr int kRange = 76, kSignedRange = 77, kSize = 74, kCount = 73, kEnum = 67, kOther = 17;

struct ProtoBreak {
    const char *what;
    std::function<void(Message &)> apply;
    int code;
};

const ProtoBreak kProtoBreaks[] = {
    {"nothing", [](Message &) {}, 0},
    {"protocolVersion 0", [](Message &m) { m.header.protocolVersion = 0; }, kRange},
    {"protocolVersion 16", [](Message &m) { m.header.protocolVersion = 16; }, kRange},
    {"nodeNumber 2^20", [](Message &m) { m.header.source.nodeNumber = 1048576; }, kRange},
    {"empty nodeName", [](Message &m) { m.header.source.nodeName[0] = 0; }, kSize},
    {"destination's nodeNumber", [](Message &m) { m.header.destination.nodeNumber = 0xFFFFFFFF; }, kRange},
    {"absent destination isn't tested",
     [](Message &m) { m.header.destination.nodeNumber = 0xFFFFFFFF, m.header.bit_mask &= ~destination_present; }, 0},
    {"trigger 5", [](Message &m) { m.body.u.measurementReport.trigger = (MeasurementReport_trigger)5; }, kEnum},
    {"mcc 1000", [](Message &m) { m.body.u.measurementReport.servingCell.mcc = 1000; }, kRange},
    {"description of 65", [](Message &m) { std::memset(m.body.u.measurementReport.description, 'x', 65); }, kSize},
    {"durationMs 0", [](Message &m) { m.body.u.measurementReport.validity.durationMs = 0; }, kRange},
    {"no cell report", [](Message &m) { m.cellReports.count = 0; }, kCount},
    {"33 cell reports", [](Message &m) { m.cellReports.count = 33; }, kCount},
    {"rsrp -157", [](Message &m) { m.cellReports.value[19].rsrp = -157; }, kSignedRange},
    {"rsrq 21", [](Message &m) { m.cellReports.value[0].rsrq = 21; }, kSignedRange},
    {"sinr 41", [](Message &m) { m.cellReports.value[0].sinr = 41; }, kSignedRange},
    {"sinr 41 absent", [](Message &m) { m.cellReports.value[2].sinr = 41; }, 0},
    {"algorithm 4", [](Message &m) { m.security.algorithm = (SecurityContext_algorithm)4; }, kEnum},
    {"keySetId 8", [](Message &m) { m.security.keySetId = 8; }, kRange},
};

TEST(MessageChecks, EachBrokenConstraintOfProtoMessage) {
    MessageWorld w(&proto_message_control, Message_PDU);
    ASSERT_EQ(w.decode(KEL_DER, bench_file("ProtoMessage.der.hex")), 0) << w.message();
    for (const ProtoBreak &row : kProtoBreaks) {
        Message broken = *static_cast<const Message *>(w.value);
        row.apply(broken);
        EXPECT_EQ(kelCheckConstraints(&w.world, Message_PDU, &broken), row.code) << row.what;
    }
    EXPECT_NE(kelCheckConstraints(&w.world, 2, w.value), 0);
}

// CertTrim's value is many pieces: each row changes one field in place and
// the test puts it back.
struct CertBreak {
    const char *what;
    std::function<uint32_t *(Certificate &)> field;
    uint32_t value;
    int code;
};

const CertBreak kCertBreaks[] = {
    {"an empty issuer RDN", [](Certificate &c) { return &c.tbsCertificate.issuer.u.rdnSequence.value[0].count; }, 0,
     kCount},
    {"an empty subject RDN", [](Certificate &c) { return &c.tbsCertificate.subject.u.rdnSequence.value[1].count; }, 0,
     kCount},
    {"no extension", [](Certificate &c) { return &c.tbsCertificate.extensions.count; }, 0, kCount},
};

TEST(MessageChecks, EachBrokenConstraintOfCertTrim) {
    MessageWorld w(&cert_trim_control, Certificate_PDU);
    ASSERT_EQ(w.decode(KEL_DER, bench_file("CertTrim.der.hex")), 0) << w.message();
    Certificate &cert = *static_cast<Certificate *>(w.value);
    EXPECT_EQ(kelCheckConstraints(&w.world, Certificate_PDU, &cert), 0);
    for (const CertBreak &row : kCertBreaks) {
        uint32_t *field = row.field(cert);
        const uint32_t kept = *field;
        *field = row.value;
        EXPECT_EQ(kelCheckConstraints(&w.world, Certificate_PDU, &cert), row.code) << row.what;
        *field = kept;
    }
    // A thirteenth month in notAfter.
    char *month = cert.tbsCertificate.validity.notAfter.u.utcTime + 2;
    const char kept[2] = {month[0], month[1]};
    std::memcpy(month, "13", 2);
    EXPECT_EQ(kelCheckConstraints(&w.world, Certificate_PDU, &cert), kOther);
    std::memcpy(month, kept, 2);
}

} // namespace
