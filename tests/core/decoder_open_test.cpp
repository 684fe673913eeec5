// Opening and closing decoders: the geometry of the frame stores, refused
// sizes, every allocation failure, the memory services and the plane borders.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "support/test_allocator.h"
#include "veltrane/decoder.h"
#include "veltrane/support.h"

namespace veltrane::test {
namespace {

DecodeInstance_t* Open(TestAllocator& allocator, int32_t width, int32_t height) {
    void* decoder = nullptr;
    return H263DecompressOpen(&decoder, width, height, &allocator) == 0
               ? static_cast<DecodeInstance_t*>(decoder)
               : nullptr;
}

// Sizes round up to the macroblock grid; each plane has a 16-sample border all
// round, every byte of which may be written (ASan checks the bounds).
TEST(DecoderOpen, FrameStoresCoverTheMacroblockGridAndItsBorders) {
    const int32_t cases[][5] = {
        {176, 144, 99, 208, 120}, {100, 60, 28, 144, 88},
        {160, 120, 80, 192, 112}, {0, 0, 0, 32, 32},
        {1, 1, 1, 48, 40},        {VELTRANE_MAX_DIMENSION, 16, 256, 4128, 2080}};
    TestAllocator allocator;
    for (const auto& c : cases) {
        DecodeInstance_t* d = Open(allocator, c[0], c[1]);
        ASSERT_NE(d, nullptr) << c[0] << "x" << c[1];
        EXPECT_EQ(d->alignedWidth, (c[0] + 15) & ~15);
        EXPECT_EQ(d->alignedHeight, (c[1] + 15) & ~15);
        EXPECT_EQ(d->mbCount, c[2]);
        EXPECT_EQ(d->yStride, c[3]);
        EXPECT_EQ(d->uvStride, c[4]);
        for (auto& store : d->stores) {
            EXPECT_EQ(reinterpret_cast<uintptr_t>(store[kPlaneY]) % 16, 0u);
            for (int k = kPlaneY; k <= kPlaneV; ++k) {
                const int stride = k == kPlaneY ? d->yStride : d->uvStride;
                const int rows = (k == kPlaneY ? d->alignedHeight : d->alignedHeight / 2) + 32;
                std::memset(store[k] - 16 * stride - 16, k + 1, size_t(rows) * stride);
            }
        }
        H263DecompressClose(d);
    }
    H263DecompressClose(nullptr);
    EXPECT_EQ(allocator.liveBlocks(), 0u);
}

// Sizes a 32-bit size computation could not express are refused before any
// allocation, and the caller's pointer stays untouched. (The plug-in host test fails
// every allocation of an open in turn.)
TEST(DecoderOpen, RefusedSizes) {
    TestAllocator counter;
    const int sizes[][2] = {
        {65535, 65535}, {65535, 16}, {16, 65535}, {-1, 16}, {VELTRANE_MAX_DIMENSION + 1, 16}};
    for (const auto& s : sizes) {
        void* decoder = &counter;
        EXPECT_EQ(H263DecompressOpen(&decoder, s[0], s[1], &counter), 1);
        EXPECT_EQ(decoder, &counter);
    }
    EXPECT_EQ(counter.allocations(), 0);
    void* none = nullptr;
    EXPECT_EQ(H263DecompressOpen(&none, 16, 16, nullptr), 1);
}

// Aligned blocks of any power of two, filled blocks 32-aligned; refused
// alignments and sizes that would wrap take nothing from the host.
TEST(MemoryServices, AlignedAndFilledBlocks) {
    TestAllocator allocator;
    CVeltraneSupport support(&allocator);
    for (int32_t alignment : {6, 0, -4})
        EXPECT_EQ(support.QXAllocPtrAligned(100, alignment), nullptr);
    EXPECT_EQ(support.QXAllocPtr(UINT32_MAX - 8), nullptr);
    EXPECT_EQ(allocator.allocations(), 0);
    for (const auto& [size, alignment] : {std::pair{0u, 4}, {1u, 8}, {31u, 64}, {1000u, 128}}) {
        void* aligned = support.QXAllocPtrAligned(40, alignment);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(aligned) % static_cast<uintptr_t>(alignment), 0u);
        support.QXFreePtrAligned(aligned);
        auto* block = static_cast<unsigned char*>(support.QXAllocPtrSet(size, 0x5A));
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 32, 0u);
        for (uint32_t i = 0; i < size; ++i) ASSERT_EQ(block[i], 0x5A);
        support.QXFreePtr(block);
    }
    EXPECT_EQ(allocator.liveBlocks(), 0u);
}

TEST(PlaneBoundaries, ReplicateEdgesIntoTheBorder) {
    const int32_t stride = 48;
    std::vector<unsigned char> plane(static_cast<size_t>(stride) * 48);
    unsigned char* origin = plane.data() + 16 * stride + 16;
    for (int i = 0; i < 256; ++i) origin[i / 16 * stride + i % 16] = static_cast<unsigned char>(i);
    FillPlaneBoundaries(origin, 16, 16, stride);
    for (int r = -16; r < 32; ++r) {
        for (int c = -16; c < 32; ++c) {
            ASSERT_EQ(origin[r * stride + c], std::clamp(r, 0, 15) * 16 + std::clamp(c, 0, 15))
                << r << "," << c;
        }
    }
}

}  // namespace
}  // namespace veltrane::test
