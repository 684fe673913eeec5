// Opening and closing decoders: geometry, memory services, every failure path.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "support/test_allocator.h"
#include "veltrane/decoder.h"
#include "veltrane/entropy.h"
#include "veltrane/support.h"

namespace {

using veltrane::test::TestAllocator;

struct OpenResult {
    int32_t status;
    DecodeInstance_t* decoder;
};

OpenResult Open(TestAllocator& allocator, int32_t width, int32_t height) {
    void* decoder = nullptr;
    const int32_t status = H263DecompressOpen(&decoder, width, height, &allocator);
    return {status, static_cast<DecodeInstance_t*>(decoder)};
}

TEST(DecoderOpen, GeometryOf176x144) {
    TestAllocator allocator;
    OpenResult r = Open(allocator, 176, 144);
    ASSERT_EQ(r.status, 0);
    DecodeInstance_t* d = r.decoder;
    EXPECT_EQ(d->alignedWidth, 176);
    EXPECT_EQ(d->alignedHeight, 144);
    EXPECT_EQ(d->mbCount, 99);
    EXPECT_EQ(d->yStride, 208);
    EXPECT_EQ(d->uvStride, 120);
    EXPECT_EQ(d->current, 0);
    EXPECT_EQ(d->frameCount, 0);
    EXPECT_EQ(d->support->useCount, 1);
    for (auto& store : d->stores) {
        // Origins lie 16 bytes past a 32-byte boundary, so every macroblock row
        // starts on a 16-byte boundary; the block below starts the allocation.
        EXPECT_EQ(reinterpret_cast<uintptr_t>(store[kPlaneY]) % 32, 16u);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(store[kPlaneY] - 3344) % 32, 0u);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(store[kPlaneU] - 1936) % 32, 0u);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(store[kPlaneV] - 1936) % 32, 0u);
        // The whole bordered plane is writable (ASan checks the bounds).
        std::memset(store[kPlaneY] - 3344, 1, 208 * 176);
        std::memset(store[kPlaneU] - 1936, 2, 120 * 104);
        std::memset(store[kPlaneV] - 1936, 3, 120 * 104);
    }
    for (int i = 0; i < d->mbCount; ++i) EXPECT_EQ(d->mbQuant[i], 0);
    H263DecompressClose(d);
    EXPECT_EQ(allocator.liveBlocks(), 0u);
    EXPECT_EQ(allocator.foreignFrees(), 0);
}

TEST(DecoderOpen, RoundsToTheMacroblockGrid) {
    TestAllocator allocator;
    const int32_t cases[][6] = {{100, 60, 112, 64, 28, 144},
                                {160, 120, 160, 128, 80, 192},
                                {0, 0, 0, 0, 0, 32},
                                {1, 1, 16, 16, 1, 48}};
    for (const auto& c : cases) {
        OpenResult r = Open(allocator, c[0], c[1]);
        ASSERT_EQ(r.status, 0);
        EXPECT_EQ(r.decoder->alignedWidth, c[2]);
        EXPECT_EQ(r.decoder->alignedHeight, c[3]);
        EXPECT_EQ(r.decoder->mbCount, c[4]);
        EXPECT_EQ(r.decoder->yStride, c[5]);
        EXPECT_EQ(r.decoder->width, c[0]);
        H263DecompressClose(r.decoder);
    }
    EXPECT_EQ(allocator.liveBlocks(), 0u);
}

TEST(DecoderOpen, EveryAllocationFailureReleasesEverything) {
    TestAllocator counter;
    OpenResult ok = Open(counter, 176, 144);
    ASSERT_EQ(ok.status, 0);
    const int needed = counter.allocations();
    H263DecompressClose(ok.decoder);
    ASSERT_GT(needed, 30);  // record, support, 32 tree nodes, reader, planes, tables

    for (int k = 1; k <= needed; ++k) {
        TestAllocator allocator;
        allocator.FailAt(k);
        void* decoder = reinterpret_cast<void*>(&allocator);  // must stay untouched
        EXPECT_EQ(H263DecompressOpen(&decoder, 176, 144, &allocator), 1) << k;
        EXPECT_EQ(decoder, reinterpret_cast<void*>(&allocator));
        EXPECT_EQ(allocator.liveBlocks(), 0u) << "allocation " << k;
        EXPECT_EQ(allocator.foreignFrees(), 0);
    }
}

TEST(DecoderOpen, RefusesSizesItCannotAllocateSafely) {
    TestAllocator allocator;
    const int32_t sizes[][2] = {
        {65535, 65535}, {65535, 16}, {16, 65535}, {-1, 16}, {VELTRANE_MAX_DIMENSION + 1, 16}};
    for (const auto& s : sizes) {
        void* decoder = nullptr;
        EXPECT_EQ(H263DecompressOpen(&decoder, s[0], s[1], &allocator), 1);
        EXPECT_EQ(decoder, nullptr);
    }
    EXPECT_EQ(allocator.allocations(), 0);
    OpenResult largest = Open(allocator, VELTRANE_MAX_DIMENSION, 16);
    EXPECT_EQ(largest.status, 0);
    H263DecompressClose(largest.decoder);
    EXPECT_EQ(allocator.liveBlocks(), 0u);
}

TEST(DecoderOpen, NullAllocatorFails) {
    void* decoder = nullptr;
    EXPECT_EQ(H263DecompressOpen(&decoder, 16, 16, nullptr), 1);
    H263DecompressClose(nullptr);
}

TEST(DecoderOpen, DeblockingMethodIsStoredAndReported) {
    TestAllocator allocator;
    OpenResult r = Open(allocator, 16, 16);
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(SetDeblockingMethod(r.decoder, 2), 0);
    int32_t method = -1;
    EXPECT_EQ(GetDeblockingMethod(r.decoder, &method), 0);
    EXPECT_EQ(method, 2);
    H263DecompressClose(r.decoder);
}

TEST(MemoryServices, AlignedBlocksRecordTheirOffset) {
    TestAllocator allocator;
    CVeltraneSupport support(&allocator);
    EXPECT_EQ(support.QXAllocPtrAligned(100, 6), nullptr);
    EXPECT_EQ(support.QXAllocPtrAligned(100, 0), nullptr);
    EXPECT_EQ(support.QXAllocPtrAligned(100, -4), nullptr);
    EXPECT_EQ(allocator.allocations(), 0);

    auto* block = static_cast<unsigned char*>(support.QXAllocPtrAligned(100, 32));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 32, 0u);
    uint32_t offset;
    std::memcpy(&offset, block - 4, 4);
    EXPECT_EQ(offset, 28u);
    support.QXFreePtrAligned(block);

    for (int32_t alignment : {4, 8, 64, 128}) {
        auto* b = static_cast<unsigned char*>(support.QXAllocPtrSetAligned(40, 0xAB, alignment));
        ASSERT_NE(b, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(b) % static_cast<uintptr_t>(alignment), 0u);
        for (int i = 0; i < 40; ++i) ASSERT_EQ(b[i], 0xAB);
        support.QXFreePtrAligned(b);
    }
    EXPECT_EQ(allocator.liveBlocks(), 0u);
}

TEST(MemoryServices, PlainBlocksAre32ByteAlignedAndFreeTheHostBlock) {
    TestAllocator allocator;
    CVeltraneSupport support(&allocator);
    EXPECT_EQ(support.useCount, 0);
    EXPECT_EQ(support.allocator, &allocator);
    for (uint32_t size : {0u, 1u, 31u, 32u, 1000u}) {
        auto* block = static_cast<unsigned char*>(support.QXAllocPtrSet(size, 0x5A));
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 32, 0u);
        for (uint32_t i = 0; i < size; ++i) ASSERT_EQ(block[i], 0x5A);
        EXPECT_EQ(allocator.liveBlocks(), 1u);
        support.QXFreePtr(block);
        EXPECT_EQ(allocator.liveBlocks(), 0u);
    }
    support.QXFreePtr(nullptr);
    EXPECT_EQ(support.QXAllocPtr(UINT32_MAX - 8), nullptr);  // the request would wrap
    allocator.FailAt(1);
    EXPECT_EQ(support.QXAllocPtr(16), nullptr);
}

TEST(PlaneBoundaries, ReplicateEdgesIntoTheBorder) {
    const int32_t stride = 48;
    std::vector<unsigned char> plane(static_cast<size_t>(stride) * 48);
    unsigned char* origin = plane.data() + 16 * stride + 16;
    for (int r = 0; r < 16; ++r)
        for (int c = 0; c < 16; ++c)
            origin[r * stride + c] = static_cast<unsigned char>(r * 16 + c);
    FillPlaneBoundaries(origin, 16, 16, stride);
    EXPECT_EQ(origin[-16 * stride - 16], 0);
    EXPECT_EQ(origin[-1 * stride + 20], 15);
    EXPECT_EQ(origin[16 * stride - 1], 240);
    EXPECT_EQ(origin[20 * stride + 31], 255);
    for (int r = -16; r < 32; ++r) {
        const int rr = r < 0 ? 0 : (r > 15 ? 15 : r);
        for (int c = -16; c < 32; ++c) {
            const int cc = c < 0 ? 0 : (c > 15 ? 15 : c);
            ASSERT_EQ(origin[r * stride + c], rr * 16 + cc) << r << "," << c;
        }
    }
}

// A decoder takes its planes, 32 tree nodes and small side tables from the host,
// with no more than a little alignment slack per block.
TEST(DecoderOpen, MemoryTakenIsPlanesTreesAndTables) {
    for (const auto& size : {std::pair{176, 144}, std::pair{352, 288}}) {
        TestAllocator allocator;
        OpenResult r = Open(allocator, size.first, size.second);
        ASSERT_EQ(r.status, 0);
        const size_t w = static_cast<size_t>(size.first);
        const size_t h = static_cast<size_t>(size.second);
        const size_t mbs = (w / 16) * (h / 16);
        const size_t planes = 2 * ((w + 32) * (h + 32) + 2 * (w / 2 + 32) * (h / 2 + 32));
        const size_t trees = 32 * 256 * sizeof(HuffDecodeEntry_t);
        const size_t tables = mbs * (2 + 4 + 32) + 768;
        const size_t payload = planes + trees + tables;
        EXPECT_GE(allocator.liveBytes(), payload);
        EXPECT_LE(allocator.liveBytes(), payload + allocator.liveBlocks() * 112 + 512);
        std::printf("decoder %zux%zu: %zu bytes in %zu blocks\n", w, h, allocator.liveBytes(),
                    allocator.liveBlocks());
        H263DecompressClose(r.decoder);
    }
}

}  // namespace
