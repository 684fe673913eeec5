// The bit reader: inline reads, peeks, the error register and the bit writer.
#include "core/bit_reader.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "support/test_allocator.h"
#include "veltrane/bitreader.h"

namespace {

using veltrane::ReadBits;

// A buffer allocated to exactly its size, so ASan reports any load past its end.
struct ExactBuffer {
    explicit ExactBuffer(std::vector<unsigned char> bytes)
        : size(static_cast<int32_t>(bytes.size())), data(new unsigned char[bytes.size()]) {
        std::copy(bytes.begin(), bytes.end(), data.get());
    }
    int32_t size;
    std::unique_ptr<unsigned char[]> data;
};

fifo_t ReaderOver(const ExactBuffer& buffer, uint32_t startBit = 0) {
    fifo_t fifo{};
    SetFifoBuffer(&fifo, buffer.data.get(), buffer.size, 8u * static_cast<uint32_t>(buffer.size),
                  startBit);
    return fifo;
}

TEST(BitReader, ReadsFieldsMostSignificantBitFirst) {
    ExactBuffer buffer({0x00, 0x00, 0x84});
    fifo_t fifo = ReaderOver(buffer);
    EXPECT_EQ(ReadBits(&fifo, 17), 1u);
    EXPECT_EQ(ReadBits(&fifo, 5), 1u);
    EXPECT_EQ(fifo.bitPos, 22u);
    EXPECT_EQ(fifo.error, 0u);
}

TEST(BitReader, ReadPastTheEndYieldsZeroAndStays) {
    ExactBuffer buffer({0xFF, 0xFF});
    fifo_t fifo = ReaderOver(buffer, 9);
    EXPECT_EQ(ReadBits(&fifo, 8), 0u);
    EXPECT_EQ(fifo.bitPos, 9u);
    EXPECT_EQ(fifo.error, uint32_t{kFifoErrorOutOfData});
    EXPECT_EQ(ReadBits(&fifo, 7), 0x7Fu);
    EXPECT_EQ(fifo.bitPos, 16u);
}

TEST(BitReader, ErrorIsCollectedOnceAndSurvivesANewBuffer) {
    ExactBuffer buffer({0x12});
    fifo_t fifo = ReaderOver(buffer);
    ReadBits(&fifo, 9);
    ExactBuffer next({0x34, 0x56});
    SetFifoBuffer(&fifo, next.data.get(), next.size, 16, 0);
    EXPECT_EQ(ReadBits(&fifo, 8), 0x34u);  // a later success does not clear it
    EXPECT_EQ(GetLastFifoError(&fifo), uint32_t{kFifoErrorOutOfData});
    EXPECT_EQ(GetLastFifoError(&fifo), 0u);
}

TEST(BitReader, PeekDoesNotMove) {
    ExactBuffer buffer({0xA0});
    fifo_t fifo = ReaderOver(buffer);
    EXPECT_EQ(PeekFifo(&fifo, 3), 5u);
    EXPECT_EQ(fifo.bitPos, 0u);
    EXPECT_EQ(PeekFifo(&fifo, 9), 0u);
    EXPECT_EQ(GetLastFifoError(&fifo), uint32_t{kFifoErrorOutOfData});
}

// Every read and peek at every bit position of short buffers: the value matches a
// bit-by-bit reference and no byte past the buffer is loaded (ASan).
TEST(BitReader, ReadsNearTheEndMatchABitByBitReference) {
    for (int size = 1; size <= 6; ++size) {
        std::vector<unsigned char> bytes;
        for (int i = 0; i < size; ++i) bytes.push_back(static_cast<unsigned char>(0x5B * (i + 3)));
        ExactBuffer buffer(bytes);
        const uint32_t bits = 8u * static_cast<uint32_t>(size);
        for (uint32_t pos = 0; pos <= bits; ++pos) {
            for (uint32_t n = 1; n <= 25; ++n) {
                uint32_t expected = 0;
                const bool fits = pos + n <= bits;
                for (uint32_t b = 0; fits && b < n; ++b) {
                    const uint32_t k = pos + b;
                    expected = (expected << 1) | ((bytes[k / 8] >> (7 - k % 8)) & 1);
                }
                fifo_t fifo = ReaderOver(buffer, pos);
                EXPECT_EQ(PeekFifo(&fifo, n), expected) << size << " " << pos << " " << n;
                EXPECT_EQ(fifo.error != 0, !fits);
                fifo = ReaderOver(buffer, pos);
                EXPECT_EQ(ReadBits(&fifo, n), expected);
                EXPECT_EQ(fifo.bitPos, fits ? pos + n : pos);
            }
        }
    }
}

TEST(BitWriter, AppendsBitsAndPadsToAByte) {
    unsigned char bytes[5] = {};
    fifo_t fifo{};
    SetFifoBuffer(&fifo, bytes, 5, 6, 0);
    EXPECT_EQ(fifo.freeBits, 10);
    PutFifo(&fifo, 5, 3);
    EXPECT_EQ(bytes[0], 0x02);
    EXPECT_EQ(bytes[1], 0x80);
    EXPECT_EQ(fifo.bitCount, 9u);
    EXPECT_EQ(fifo.freeBits, 7);
    EXPECT_EQ(PutFifoToNextByteZero(&fifo), 7u);
    EXPECT_EQ(fifo.bitCount, 16u);
    EXPECT_EQ(fifo.freeBits, 0);
    EXPECT_EQ(fifo.error, 0u);
}

TEST(BitWriter, ClearsBitsItWritesAsZero) {
    unsigned char bytes[8];
    std::fill(bytes, bytes + 8, 0xFF);
    fifo_t fifo{};
    SetFifoBuffer(&fifo, bytes, 8, 4, 0);
    PutFifo(&fifo, 0b0110, 4);
    EXPECT_EQ(bytes[0], 0xF6);
    EXPECT_EQ(bytes[1], 0xFF);
}

TEST(BitWriter, KeepsTheLastThreeBytesFree) {
    unsigned char bytes[4] = {};
    fifo_t fifo{};
    SetFifoBuffer(&fifo, bytes, 4, 0, 0);
    PutFifo(&fifo, 0xAB, 8);
    EXPECT_EQ(fifo.error, 0u);
    PutFifo(&fifo, 1, 1);
    EXPECT_EQ(fifo.error, uint32_t{kFifoErrorNoRoom});
    EXPECT_EQ(fifo.bitCount, 8u);

    // A reader set up for decoding has no room at all.
    SetFifoBuffer(&fifo, bytes, 4, 32, 0);
    EXPECT_EQ(fifo.freeBits, -24);
    GetLastFifoError(&fifo);
    PutFifo(&fifo, 0, 1);
    EXPECT_EQ(GetLastFifoError(&fifo), uint32_t{kFifoErrorNoRoom});
}

TEST(BitReader, OpenAndCloseThroughTheHostAllocator) {
    veltrane::test::TestAllocator allocator;
    fifo_t* fifo = nullptr;
    OpenFifo(&allocator, &fifo);
    ASSERT_NE(fifo, nullptr);
    EXPECT_EQ(fifo->bitCount, 0u);
    EXPECT_EQ(fifo->error, 0u);
    CloseFifo(fifo);
    CloseFifo(nullptr);
    EXPECT_EQ(allocator.liveBlocks(), 0u);

    allocator.FailAt(1);
    fifo = reinterpret_cast<fifo_t*>(&allocator);
    OpenFifo(&allocator, &fifo);
    EXPECT_EQ(fifo, nullptr);
}

}  // namespace
