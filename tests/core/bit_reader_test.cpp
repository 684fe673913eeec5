// The bit reader and writer: reads and peeks near the end of a buffer against a
// bit-by-bit reference, the error register, and the writer's room.
#include "core/bit_reader.h"

#include <gtest/gtest.h>

#include "support/stream_builder.h"

namespace veltrane::test {
namespace {

fifo_t ReaderOver(const ExactFrame& frame, uint32_t startBit = 0) {
    fifo_t fifo{};
    SetFifoBuffer(&fifo, frame.data(), static_cast<int32_t>(frame.size()),
                  8u * static_cast<uint32_t>(frame.size()), startBit);
    return fifo;
}

// Every read and peek of 1 to 25 bits at every position of short buffers: the
// value matches a bit-by-bit reference, a read past the end gives 0, error 4 and
// no movement, and no byte past the buffer is loaded (ASan).
TEST(BitReader, ReadsAndPeeksMatchABitByBitReference) {
    for (int size = 1; size <= 6; ++size) {
        std::vector<uint8_t> bytes;
        for (int i = 0; i < size; ++i) bytes.push_back(static_cast<uint8_t>(0x5B * (i + 3)));
        const ExactFrame frame(bytes);
        const uint32_t bits = 8u * static_cast<uint32_t>(size);
        for (uint32_t pos = 0; pos <= bits; ++pos) {
            for (uint32_t n = 1; n <= 25; ++n) {
                uint32_t expected = 0;
                const bool fits = pos + n <= bits;
                for (uint32_t k = pos; fits && k < pos + n; ++k)
                    expected = (expected << 1) | ((bytes[k / 8] >> (7 - k % 8)) & 1);
                fifo_t fifo = ReaderOver(frame, pos);
                ASSERT_EQ(PeekFifo(&fifo, n), expected) << size << " " << pos << " " << n;
                ASSERT_EQ(fifo.bitPos, pos);
                ASSERT_EQ(fifo.error, fits ? 0u : uint32_t{kFifoErrorOutOfData});
                fifo = ReaderOver(frame, pos);
                ASSERT_EQ(ReadBits(&fifo, n), expected);
                ASSERT_EQ(fifo.bitPos, fits ? pos + n : pos);
                ASSERT_EQ(fifo.error, fits ? 0u : uint32_t{kFifoErrorOutOfData});
            }
        }
    }
}

// An error stays until collected, through later successful reads and a new buffer.
TEST(BitReader, ErrorIsCollectedOnceAndSurvivesANewBuffer) {
    const ExactFrame first({0x12}), next({0x34, 0x56});
    fifo_t fifo = ReaderOver(first);
    ReadBits(&fifo, 9);
    SetFifoBuffer(&fifo, next.data(), 2, 16, 0);
    EXPECT_EQ(ReadBits(&fifo, 8), 0x34u);
    EXPECT_EQ(GetLastFifoError(&fifo), uint32_t{kFifoErrorOutOfData});
    EXPECT_EQ(GetLastFifoError(&fifo), 0u);
}

// The writer sets and clears the bits it writes, pads to a byte with zeros and
// keeps the last three bytes of the buffer out of reach.
TEST(BitWriter, AppendsPadsAndKeepsTheLastThreeBytesFree) {
    unsigned char bytes[5] = {0x00, 0xFF, 0xFF, 0xFF, 0xFF};
    fifo_t fifo{};
    SetFifoBuffer(&fifo, bytes, 5, 6, 0);
    EXPECT_EQ(fifo.freeBits, 10);
    PutFifo(&fifo, 0b101, 3);
    EXPECT_EQ(bytes[0], 0x02);
    EXPECT_EQ(bytes[1], 0xFF);
    EXPECT_EQ(PutFifoToNextByteZero(&fifo), 7u);
    EXPECT_EQ(bytes[1], 0x80);
    EXPECT_EQ(fifo.bitCount, 16u);
    EXPECT_EQ(fifo.error, 0u);
    PutFifo(&fifo, 1, 1);
    EXPECT_EQ(fifo.error, uint32_t{kFifoErrorNoRoom});
    EXPECT_EQ(fifo.bitCount, 16u);
    EXPECT_EQ(bytes[2], 0xFF);
}

}  // namespace
}  // namespace veltrane::test
