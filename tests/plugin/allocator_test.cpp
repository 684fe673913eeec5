// The allocation front ends over the host allocator, and the component layer's
// class allocation through them.
#include <gtest/gtest.h>

#include "support/test_allocator.h"
#include "veltrane/host.h"

namespace veltrane::test {
namespace {

struct Widget : CFBase {
    explicit Widget(int v) : value(v) {}
    int value;
};

// Blocks go back to the allocator that made them, whichever front end frees
// them; a null or failing allocator gives null without constructing anything.
TEST(AllocatorFrontEnds, BlocksGoBackToTheAllocatorThatMadeThem) {
    TestAllocator a, b;
    void* fromA = IAllocator_Malloc(&a, 10);
    void* fromB = IAllocator_Malloc(&b, 20);
    IAllocator_Free(fromB);
    IAllocator_Free(fromA);
    IAllocator_Free(nullptr);
    EXPECT_EQ(IAllocator_Malloc(nullptr, 16), nullptr);
    a.FailAt(1);
    EXPECT_EQ(IAllocator_Malloc(&a, 16), nullptr);
    a.FailAt(1);
    EXPECT_EQ(new (&a) Widget(1), nullptr);
    EXPECT_EQ(CFBase::operator new(8, nullptr), nullptr);
    EXPECT_EQ(CFBase::operator new[](8, nullptr), nullptr);
    EXPECT_EQ(CFBase::operator new(SIZE_MAX, &b), nullptr);
    CFBase::operator delete(nullptr);
    CFBase::operator delete[](nullptr);
    EXPECT_EQ(a.liveBlocks() + b.liveBlocks(), 0u);
    EXPECT_EQ(a.foreignFrees() + b.foreignFrees(), 0);
}

// The compiler takes every operator delete for a deallocation; the placement
// forms are not one.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wuse-after-free"
#endif
TEST(CFBase, ObjectsComeFromTheObjectEntryAndGoBackThroughEitherFrontEnd) {
    TestAllocator allocator;
    Widget* widget = new (&allocator) Widget(42);
    ASSERT_NE(widget, nullptr);
    EXPECT_EQ(widget->value, 42);
    IAllocator_Free(widget);
    CFBase::operator delete(IAllocator_Malloc(&allocator, 24));
    Widget* array = new (&allocator) Widget[3]{Widget(1), Widget(2), Widget(3)};
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array[2].value, 3);
    delete[] array;
    EXPECT_EQ(allocator.objectAllocations(), 2);
    // Placement delete leaves the block allocated.
    void* block = CFBase::operator new(16, &allocator);
    void* blocks = CFBase::operator new[](16, &allocator);
    CFBase::operator delete(block, &allocator);
    CFBase::operator delete[](blocks, &allocator);
    EXPECT_EQ(allocator.liveBlocks(), 2u);
    IAllocator_Free(block);
    IAllocator_Free(blocks);
    EXPECT_EQ(allocator.liveBlocks(), 0u);
    EXPECT_EQ(allocator.foreignFrees(), 0);
}

}  // namespace
}  // namespace veltrane::test
