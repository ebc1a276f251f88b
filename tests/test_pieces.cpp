// test_pieces.cpp - the pieces of a value decoded into library memory are
// blocks of their own: released one by one in any order, through the world
// that took them, through its copy, or with free() after the world closed;
// the blocks that the world's cache hands out again must serve the next
// decode as fresh ones did.  The sanitizer build turns a piece freed twice,
// overrun or leaked into a failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <vector>

#include "bench_files.h"
#include "cert_trim.h"

namespace {

using kel_test::Bytes;

// Records the blocks that a world's memory functions hand out and take
// back, around the functions the world had.
struct PieceLog {
    static inline std::vector<void *> live;
    static inline KelGetMem innerGet;
    static inline KelFreeMem innerFree;
    static void *get(KelGlobal *world, size_t size) {
        void *p = innerGet(world, size);
        if (p)
            live.push_back(p);
        return p;
    }
    static void release(KelGlobal *world, void *p) {
        live.erase(std::remove(live.begin(), live.end(), p), live.end());
        innerFree(world, p);
    }
};

const Bytes &certificate() {
    static const Bytes der = kel_test::bench_file("CertTrim.der.hex");
    return der;
}

// Decodes the certificate in library memory, checks that it encodes to the
// same octets, and returns the value.
void *decode_checked(KelGlobal *world) {
    const Bytes &der = certificate();
    KelBuf in{static_cast<uint32_t>(der.size()), const_cast<uint8_t *>(der.data())};
    int pdu = Certificate_PDU;
    void *value = nullptr;
    EXPECT_EQ(kelDecode(world, &pdu, &in, &value), 0) << kelGetErrMsg(world);
    KelBuf out{0, nullptr};
    EXPECT_EQ(kelEncode(world, pdu, value, &out), 0) << kelGetErrMsg(world);
    EXPECT_EQ(Bytes(out.value, out.value + out.length), der);
    kelFreeBuf(world, out.value);
    return value;
}

struct World {
    KelGlobal world{};
    World() {
        EXPECT_EQ(kelinit(&world, &cert_trim_control), 0);
        kelSetEncodingRules(&world, KEL_DER);
    }
    ~World() { kelterm(&world); }
};

enum class Release { ThroughTheWorld, ThroughItsCopy, WithFreeAfterTheWorldClosed };

class PieceRelease : public ::testing::TestWithParam<Release> {};

TEST_P(PieceRelease, PiecesOfOneValueGoBackOneByOneInRandomOrder) {
    World a;
    KelGlobal copy{};
    ASSERT_EQ(kelDupWorld(&a.world, &copy), 0);
    for (unsigned seed = 1; seed <= 4; ++seed) {
        // The pieces of one value, as the world's getMem handed them out.
        kelGetUserMallocFreeRealloc(&a.world, &PieceLog::innerGet, &PieceLog::innerFree, nullptr);
        kelSetUserMallocFreeRealloc(&a.world, PieceLog::get, PieceLog::release, nullptr);
        PieceLog::live.clear();
        void *value = decode_checked(&a.world);
        kelSetUserMallocFreeRealloc(&a.world, PieceLog::innerGet, PieceLog::innerFree, nullptr);
        std::vector<void *> pieces = PieceLog::live;
        ASSERT_GT(pieces.size(), 40u);
        ASSERT_NE(std::find(pieces.begin(), pieces.end(), value), pieces.end());

        std::shuffle(pieces.begin(), pieces.end(), std::mt19937(seed));
        if (GetParam() == Release::WithFreeAfterTheWorldClosed)
            kelterm(&a.world);
        for (void *p : pieces) {
            if (GetParam() == Release::ThroughTheWorld)
                kelFreeMemory(&a.world, p);
            else if (GetParam() == Release::ThroughItsCopy)
                kelFreeMemory(&copy, p);
            else
                std::free(p);
        }
        if (GetParam() == Release::WithFreeAfterTheWorldClosed) {
            ASSERT_EQ(kelinit(&a.world, &cert_trim_control), 0);
            kelSetEncodingRules(&a.world, KEL_DER);
        }
        // The next decodes take the given-back blocks in their new order.
        for (int i = 0; i < 2; ++i)
            ASSERT_EQ(kelFreePDU(&a.world, Certificate_PDU, decode_checked(&a.world)), 0);
    }
    kelterm(&copy);
}

INSTANTIATE_TEST_SUITE_P(Pieces, PieceRelease,
                         ::testing::Values(Release::ThroughTheWorld, Release::ThroughItsCopy,
                                           Release::WithFreeAfterTheWorldClosed));

// A value decoded by one world may be freed by the code file's free function
// through the world's copy (a second thread): the blocks then serve the
// copy's decodes, and values go back and forth.
TEST(Pieces, ValuesDecodedByOneWorldAreFreedThroughItsCopy) {
    World a;
    KelGlobal copy{};
    ASSERT_EQ(kelDupWorld(&a.world, &copy), 0);
    KelGlobal *worlds[2] = {&a.world, &copy};
    for (int round = 0; round < 6; ++round) {
        KelGlobal *decoder = worlds[round % 2], *releaser = worlds[(round + 1) % 2];
        void *first = decode_checked(decoder);
        void *second = decode_checked(decoder);
        ASSERT_EQ(kelFreePDU(releaser, Certificate_PDU, second), 0);
        ASSERT_EQ(kelFreePDU(round % 3 ? releaser : decoder, Certificate_PDU, first), 0);
    }
    kelterm(&copy);
}

} // namespace
