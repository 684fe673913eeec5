// Sessions share nothing: decoding on two threads at once gives the pictures
// that decoding one stream after the other gives.
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

using Bytes = std::vector<uint8_t>;

struct Stream {
    int width;
    int height;
    std::vector<Bytes> frames;
};

// An intra picture, then P pictures of every kind, another intra picture and more.
Stream MakeStream(uint32_t seed, int width, int height, uint32_t version) {
    const int mbs = ((width + 15) / 16) * ((height + 15) / 16);
    const uint32_t types[] = {0, 1, 1, 2, 1, 3, 1, 0, 2, 1, 1, 1};
    RandomStream random(seed);
    Stream s{width, height, {}};
    for (uint32_t type : types) {
        s.frames.push_back(random.Picture(FieldsForSize(width, height, type, 6, version), mbs));
    }
    return s;
}

struct Decoded {
    std::vector<int32_t> statuses;
    std::vector<std::vector<uint32_t>> images;  // BGRA of every picture
    std::vector<uint32_t> lastRow;              // a blit of the last picture
    size_t liveBlocks = 0;
    bool operator==(const Decoded&) const = default;
};

// Runs on any thread: everything it touches is its own.
Decoded DecodeStream(const Stream& stream) {
    Decoded out;
    TestAllocator allocator;
    void* session = DecompressOpen(stream.width, stream.height, &allocator);
    if (session == nullptr) return out;
    for (const Bytes& bytes : stream.frames) {
        ExactFrame frame(bytes);
        std::vector<uint32_t> pixels(static_cast<size_t>(stream.width) * stream.height);
        QXImage_t image{kQXImageFormatBGRA32, stream.width,
                        stream.height,        0,
                        stream.width * 4,     reinterpret_cast<unsigned char*>(pixels.data())};
        out.statuses.push_back(
            DecompressFrame(session, frame.data(), static_cast<uint32_t>(frame.size()), &image));
        out.images.push_back(std::move(pixels));
    }
    out.lastRow.resize(stream.width);
    BlitYUVto32(session, 0, stream.height - 1, stream.width, out.lastRow.data());
    DecompressClose(session);
    out.liveBlocks = allocator.liveBlocks();
    return out;
}

TEST(DecoderThreads, TwoSessionsAtOnceMatchOneAfterTheOther) {
    const Stream a = MakeStream(101, 176, 144, 0);
    const Stream b = MakeStream(202, 33, 17, 1);
    const Decoded expectedA = DecodeStream(a);
    const Decoded expectedB = DecodeStream(b);
    for (int32_t status : expectedA.statuses) ASSERT_EQ(status, 0);
    for (int32_t status : expectedB.statuses) ASSERT_EQ(status, 0);

    for (int round = 0; round < 3; ++round) {
        Decoded gotA;
        Decoded gotB;
        Decoded gotA2;
        std::thread first([&] { gotA = DecodeStream(a); });
        std::thread second([&] { gotB = DecodeStream(b); });
        std::thread third([&] { gotA2 = DecodeStream(a); });  // the same input, read at once
        first.join();
        second.join();
        third.join();
        EXPECT_TRUE(gotA == expectedA) << "round " << round;
        EXPECT_TRUE(gotB == expectedB) << "round " << round;
        EXPECT_TRUE(gotA2 == expectedA) << "round " << round;
        EXPECT_EQ(gotA.liveBlocks, 0u);
    }
}

}  // namespace
}  // namespace veltrane::test
