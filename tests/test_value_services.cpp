// test_value_services.cpp - printing, comparing and copying whole values
// through the code files' generated entries: the straight-line personnel
// code file and the table-driven stand-ins.  The printed personnel record is
// pinned; the failures of the three frames; copies under refused memory and
// in a caller's area; a list of 100,000 elements.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bench_files.h"
#include "codefiles.h"
#include "counting_alloc.h"
#include "fail_each.h"
#include "kelvarn_ber.h"
#include "kelvarn_services.h"
#include "personnel.h"
#include "personnel_sample.h"

namespace {

using kel_test::Bytes;
using kel_test::CountingAllocator;

// The record of X.690 Annex A in value notation, a component to a line,
// two blanks a level.
const char kPrintedRecord[] = R"(value PersonnelRecord ::= {
  name {
    givenName "John",
    initial "P",
    familyName "Smith"
  },
  title "Director",
  number 51,
  dateOfHire "19710917",
  nameOfSpouse {
    givenName "Mary",
    initial "T",
    familyName "Smith"
  },
  children {
    {
      name {
        givenName "Ralph",
        initial "T",
        familyName "Smith"
      },
      dateOfBirth "19571111"
    },
    {
      name {
        givenName "Susan",
        initial "B",
        familyName "Jones"
      },
      dateOfBirth "19590717"
    }
  }
}
)";

// A world on a code file whose output is gathered in `printed`.
class ServicesWorld {
  public:
    explicit ServicesWorld(const KelControlTable *control) {
        EXPECT_EQ(kelinit(&world, const_cast<KelControlTable *>(control)), 0);
        kelSetUserVprint(&world, stdout, gather);
        current = this;
    }
    ~ServicesWorld() {
        release();
        kelterm(&world);
    }
    ServicesWorld(const ServicesWorld &) = delete;
    ServicesWorld &operator=(const ServicesWorld &) = delete;

    int decode(int rule, int pdu, const Bytes &input) {
        release();
        kelSetEncodingRules(&world, rule);
        Bytes copy(input);
        KelBuf buf{static_cast<uint32_t>(copy.size()), copy.data()};
        pdu_ = pdu;
        return kelDecode(&world, &pdu_, &buf, &value);
    }
    void release() {
        if (value)
            kelFreePDU(&world, pdu_, value);
        value = nullptr;
    }

    KelGlobal world{};
    void *value = nullptr;
    std::string printed;

  private:
    static int gather(FILE *, const char *format, va_list args) {
        char line[4096];
        const int n = std::vsnprintf(line, sizeof line, format, args);
        current->printed += line;
        return n;
    }
    static inline ServicesWorld *current = nullptr;
    int pdu_ = 0;
};

// The DER of the first certificate of the corpus.
Bytes corpus_certificate() {
    std::ifstream in(std::string(KEL_VECTORS_DIR) + "/X509Certificate.jsonl");
    const std::string line((std::istreambuf_iterator<char>(in)), {});
    const size_t at = line.find("\"der\":\"") + 7;
    return kel_test::from_hex(line.substr(at, line.find('"', at) - at));
}

TEST(ValueServices, PersonnelRecordPrintsAsPinnedByBothCodeFiles) {
    ServicesWorld straight(&personnel_control);
    EXPECT_EQ(kelPrintPDU(&straight.world, PersonnelRecord_PDU, const_cast<PersonnelRecord *>(&kel_test::a1Sample)), 0);
    EXPECT_EQ(straight.printed, kPrintedRecord);

    ServicesWorld table(&kel_personnel_a1_codefile.control);
    ASSERT_EQ(table.decode(KEL_DER, 1, kel_test::bench_file("PersonnelRecordA1.der.hex")), 0);
    EXPECT_EQ(kelPrintPDU(&table.world, 1, table.value), 0);
    EXPECT_EQ(table.printed, kPrintedRecord);
}

TEST(ValueServices, PersonnelRecordComparesAndCopies) {
    ServicesWorld w(&personnel_control);
    ASSERT_EQ(w.decode(KEL_DER, PersonnelRecord_PDU, kel_test::bench_file("PersonnelRecordA1.der.hex")), 0);
    void *copy = nullptr;
    ASSERT_EQ(kelCpyValue(&w.world, PersonnelRecord_PDU, w.value, &copy), 0);
    EXPECT_EQ(kelCmpValue(&w.world, PersonnelRecord_PDU, copy, const_cast<PersonnelRecord *>(&kel_test::a1Sample)), 0);
    w.release(); // the copy stands alone
    auto *record = static_cast<PersonnelRecord *>(copy);
    EXPECT_STREQ(record->children.value[1].name.givenName, "Susan");
    record->children.value[1].dateOfBirth[7] = '8';
    EXPECT_NE(kelCmpValue(&w.world, PersonnelRecord_PDU, copy, const_cast<PersonnelRecord *>(&kel_test::a1Sample)), 0);
    // children DEFAULT {}: absent equals present and empty
    PersonnelRecord none = kel_test::a1Sample, empty = kel_test::a1Sample;
    none.bit_mask = 0;
    empty.children.count = 0;
    EXPECT_EQ(kelCmpValue(&w.world, PersonnelRecord_PDU, &none, &empty), 0);
    EXPECT_EQ(kelFreePDU(&w.world, PersonnelRecord_PDU, copy), 0);
}

TEST(ValueServices, FramesRefuseBadCalls) {
    ServicesWorld w(&kel_typeszoo_codefile.control);
    int64_t value = 5;
    void *copy = nullptr;
    EXPECT_EQ(kelPrintPDU(nullptr, 1, &value), 6);
    EXPECT_EQ(kelCmpValue(nullptr, 1, &value, &value), 6);
    EXPECT_EQ(kelCpyValue(nullptr, 1, &value, &copy), 6);
    EXPECT_EQ(kelCmpValue(&w.world, 1, &value, nullptr), 6);
    EXPECT_EQ(kelCpyValue(&w.world, 1, &value, nullptr), 6);
    // A PDU number the code file doesn't have.
    EXPECT_EQ(kelPrintPDU(&w.world, 9999, &value), 3);
    EXPECT_EQ(kelCmpValue(&w.world, 9999, &value, &value), 3);
    EXPECT_EQ(kelCpyValue(&w.world, 9999, &value, &copy), 3);
    EXPECT_EQ(copy, nullptr);

    // A code file without the services: no KelXApiTable entries.
    KelControlTable bare = personnel_control;
    bare.init = [](KelGlobal *world) { kelLinkBer(world); };
    bare.printPdu = nullptr;
    ServicesWorld plain(&bare);
    EXPECT_EQ(kelCmpValue(&plain.world, 1, &value, &value), 25);
    EXPECT_EQ(kelCpyValue(&plain.world, 1, &value, &copy), 25);
    EXPECT_EQ(kelPrintPDU(&plain.world, 1, &value), 0);
    EXPECT_NE(plain.printed.find("in order\nto have kelPrintPDU() produce output"), std::string::npos);

    // A closed world has no code file.
    KelGlobal closed{};
    ASSERT_EQ(kelinit(&closed, &personnel_control), 0);
    kelterm(&closed);
    EXPECT_NE(kelCpyValue(&closed, 1, &value, &copy), 0);
    EXPECT_NE(kelCmpValue(&closed, 1, &value, &value), 0);
}

TEST(ValueServices, CopyIntoACallersArea) {
    ServicesWorld w(&personnel_control);
    ASSERT_EQ(w.decode(KEL_DER, PersonnelRecord_PDU, kel_test::bench_file("PersonnelRecordA1.der.hex")), 0);
    alignas(8) unsigned char area[1024];
    void *copy = area;
    kelSetDecodingLength(&w.world, sizeof area);
    ASSERT_EQ(kelCpyValue(&w.world, PersonnelRecord_PDU, w.value, &copy), 0);
    EXPECT_EQ(copy, area);
    EXPECT_EQ(kelCmpValue(&w.world, PersonnelRecord_PDU, copy, w.value), 0);

    // Too small an area: the memory error, and no copy.
    copy = area;
    kelSetDecodingLength(&w.world, 64);
    EXPECT_NE(kelCpyValue(&w.world, PersonnelRecord_PDU, w.value, &copy), 0);
    EXPECT_EQ(copy, nullptr);
}

TEST(ValueServices, EveryRefusedAllocationOfACopyLeavesNothing) {
    struct Message {
        const KelControlTable *control;
        int pdu;
        Bytes der;
    };
    const Message messages[] = {
        {&personnel_control, PersonnelRecord_PDU, kel_test::bench_file("PersonnelRecordA1.der.hex")},
        {&kel_personnel_a1_codefile.control, 1, kel_test::bench_file("PersonnelRecordA1.der.hex")},
        {&kel_x509_certificate_codefile.control, 1, corpus_certificate()},
    };
    for (const Message &m : messages) {
        ServicesWorld w(m.control);
        ASSERT_EQ(w.decode(KEL_DER, m.pdu, m.der), 0);
        // Only the copies go through the counting allocator: the decoded
        // value and the world go back to the allocator they came from.
        const KelGlobal plain = w.world;
        CountingAllocator::install(&w.world);
        const long runs = kel_test::fail_each_allocation(&w.world, [&] {
            void *copy = nullptr;
            const int code = kelCpyValue(&w.world, m.pdu, w.value, &copy);
            if (code == 0) {
                EXPECT_EQ(kelCmpValue(&w.world, m.pdu, copy, w.value), 0);
                kelFreePDU(&w.world, m.pdu, copy);
            } else {
                EXPECT_EQ(copy, nullptr);
            }
            return code;
        });
        EXPECT_GT(runs, 10);
        w.world.mallocp = plain.mallocp, w.world.freep = plain.freep, w.world.reallocp = plain.reallocp;
        w.world.getMem = plain.getMem, w.world.freeMem = plain.freeMem, w.world.reallocMem = plain.reallocMem;
        w.release();
        kelterm(&w.world);
        w.world = KelGlobal{};
    }
}

TEST(ValueServices, PrintStopsAtTheChopLimit) {
    ServicesWorld w(&personnel_control);
    PersonnelRecord record = kel_test::a1Sample;
    char longTitle[200];
    std::memset(longTitle, 'x', sizeof longTitle - 1);
    longTitle[sizeof longTitle - 1] = 0;
    record.title = longTitle;
    w.world.asn1chop = 10;
    EXPECT_EQ(kelPrintPDU(&w.world, PersonnelRecord_PDU, &record), 0);
    EXPECT_NE(w.printed.find("title \"xxxxxxxxxx\"..."), std::string::npos) << w.printed;
}

// A list of 100,000 elements prints and compares in a loop, not a descent.
TEST(ValueServices, LongListPrintsAndCompares) {
    ServicesWorld w(&kel_typeszoo_codefile.control);
    const int pdu = kel_codefile_pdu(&kel_typeszoo_codefile, "SeqOfInt");
    std::vector<int64_t> numbers(100000), others(100000);
    for (size_t i = 0; i < numbers.size(); i++)
        numbers[i] = others[i] = int64_t(i) * 7;
    KelSequenceOf a{uint32_t(numbers.size()), numbers.data()}, b{uint32_t(others.size()), others.data()};
    EXPECT_EQ(kelCmpValue(&w.world, pdu, &a, &b), 0);
    others.back() += 1;
    EXPECT_NE(kelCmpValue(&w.world, pdu, &a, &b), 0);
    EXPECT_EQ(kelPrintPDU(&w.world, pdu, &a), 0);
    EXPECT_NE(w.printed.find("699993\n}"), std::string::npos);
    void *copy = nullptr;
    ASSERT_EQ(kelCpyValue(&w.world, pdu, &a, &copy), 0);
    EXPECT_EQ(kelCmpValue(&w.world, pdu, &a, copy), 0);
    kelFreePDU(&w.world, pdu, copy);
}

} // namespace
