// Decoders share nothing: decoding on several threads at once gives the
// pictures that decoding one stream after the other gives.
#include <gtest/gtest.h>

#include <thread>

#include "support/test_decoder.h"

namespace veltrane::test {
namespace {

// The samples of every picture of a random stream: an intra picture, P pictures
// of every kind, another intra picture and more. Runs on any thread: everything
// it touches is its own.
std::vector<uint8_t> DecodeStream(uint32_t seed, int width, int height, uint32_t version) {
    RandomStream random(seed);
    TestDecoder dec(width, height);
    std::vector<uint8_t> out;
    for (uint32_t type : {0, 1, 1, 2, 1, 3, 1, 0, 2, 1, 1, 1}) {
        EXPECT_EQ(dec.Decode(
                      random.Picture(FieldsForSize(width, height, type, 6, version), dec->mbCount)),
                  0);
        const std::vector<uint8_t> picture = dec.Decoded();
        out.insert(out.end(), picture.begin(), picture.end());
    }
    return out;
}

TEST(DecoderThreads, DecodersAtOnceMatchOneAfterTheOther) {
    const auto expectedA = DecodeStream(101, 176, 144, 0), expectedB = DecodeStream(202, 33, 17, 1);
    for (int round = 0; round < 3; ++round) {
        std::vector<uint8_t> a, b, a2;
        std::thread first([&] { a = DecodeStream(101, 176, 144, 0); });
        std::thread second([&] { b = DecodeStream(202, 33, 17, 1); });
        std::thread third([&] { a2 = DecodeStream(101, 176, 144, 0); });
        first.join();
        second.join();
        third.join();
        EXPECT_TRUE(a == expectedA && a2 == expectedA && b == expectedB) << "round " << round;
    }
}

}  // namespace
}  // namespace veltrane::test
