// The plain allocation front ends over the host allocator.
#include "veltrane/allocator.h"

#include <gtest/gtest.h>

#include "support/test_allocator.h"

namespace {

using veltrane::test::TestAllocator;

// Records what the front ends ask of the host.
struct RecordingAllocator : IAllocator {
    RecordingAllocator() {
        static const IAllocatorFunctions table = {&Allocate, &AllocateObject, &Free};
        functions = &table;
    }
    static void* Allocate(IAllocator* self, size_t size) {
        auto* a = static_cast<RecordingAllocator*>(self);
        a->requested = size;
        return a->storage;
    }
    static void* AllocateObject(IAllocator*, size_t) { return nullptr; }
    static void Free(IAllocator* self, void* block) {
        static_cast<RecordingAllocator*>(self)->freed = block;
    }
    alignas(16) unsigned char storage[256];
    size_t requested = 0;
    void* freed = nullptr;
};

TEST(AllocatorFrontEnds, BlockCarriesItsAllocatorInFront) {
    RecordingAllocator host;
    void* block = IAllocator_Malloc(&host, 100);
    EXPECT_EQ(host.requested, 100 + sizeof(void*));
    EXPECT_EQ(block, host.storage + sizeof(void*));
    IAllocator_Free(block);
    EXPECT_EQ(host.freed, host.storage);
}

TEST(AllocatorFrontEnds, NullAllocatorAndNullBlock) {
    EXPECT_EQ(IAllocator_Malloc(nullptr, 16), nullptr);
    IAllocator_Free(nullptr);
    TestAllocator failing;
    failing.FailAt(1);
    EXPECT_EQ(IAllocator_Malloc(&failing, 16), nullptr);
}

TEST(AllocatorFrontEnds, BlocksGoBackToTheAllocatorThatMadeThem) {
    TestAllocator a;
    TestAllocator b;
    void* fromA = IAllocator_Malloc(&a, 10);
    void* fromB = IAllocator_Malloc(&b, 20);
    IAllocator_Free(fromB);
    IAllocator_Free(fromA);
    EXPECT_EQ(a.liveBlocks(), 0u);
    EXPECT_EQ(b.liveBlocks(), 0u);
    EXPECT_EQ(a.foreignFrees() + b.foreignFrees(), 0);
}

}  // namespace
