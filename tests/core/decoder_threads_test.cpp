// Sessions share nothing: decoding on several threads at once gives the
// pictures that decoding one stream after the other gives.
#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <vector>

#include "support/stream_builder.h"
#include "support/test_allocator.h"
#include "veltrane/color.h"
#include "veltrane/session.h"

namespace veltrane::test {
namespace {

// The BGRA pixels of every picture of a random stream: an intra picture, P
// pictures of every kind, another intra picture and more. Runs on any thread:
// everything it touches is its own.
std::vector<uint32_t> DecodeStream(uint32_t seed, int width, int height, uint32_t version) {
    RandomStream random(seed);
    TestAllocator allocator;
    void* session = DecompressOpen(width, height, &allocator);
    std::vector<uint32_t> out;
    for (uint32_t type : {0, 1, 1, 2, 1, 3, 1, 0, 2, 1, 1, 1}) {
        const std::vector<uint8_t> frame =
            random.Picture(FieldsForSize(width, height, type, 6, version),
                           ((width + 15) / 16) * ((height + 15) / 16));
        std::vector<uint32_t> pixels(static_cast<size_t>(width) * height);
        auto* bytes = reinterpret_cast<unsigned char*>(pixels.data());
        QXImage_t image{kQXImageFormatBGRA32, width, height, 0, width * 4, bytes};
        EXPECT_EQ(
            DecompressFrame(session, frame.data(), static_cast<uint32_t>(frame.size()), &image), 0);
        out.insert(out.end(), pixels.begin(), pixels.end());
    }
    DecompressClose(session);
    return out;
}

TEST(DecoderThreads, SessionsAtOnceMatchOneAfterTheOther) {
    const auto expectedA = DecodeStream(101, 176, 144, 0), expectedB = DecodeStream(202, 33, 17, 1);
    for (int round = 0; round < 3; ++round) {
        std::vector<uint32_t> a, b, a2;
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
