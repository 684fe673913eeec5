// Class-level allocation of the component layer through the host allocator.
#include <gtest/gtest.h>

#include "support/test_allocator.h"
#include "veltrane/host.h"

namespace {

using veltrane::test::TestAllocator;

struct Widget : CFBase {
    explicit Widget(int v) : value(v) {}
    int value;
};

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
    EXPECT_EQ(allocator.liveBytes(), sizeof(Widget) + sizeof(void*));
    EXPECT_TRUE(allocator.owns(reinterpret_cast<unsigned char*>(widget) - sizeof(void*)));
    IAllocator_Free(widget);
    CFBase::operator delete(IAllocator_Malloc(&allocator, 24));
    Widget* array = new (&allocator) Widget[3]{Widget(1), Widget(2), Widget(3)};
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array[2].value, 3);
    delete[] array;
    EXPECT_EQ(allocator.objectAllocations(), 2);
    EXPECT_EQ(allocator.liveBlocks(), 0u);

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

TEST(CFBase, FailedAllocationYieldsNullWithoutConstructing) {
    TestAllocator allocator;
    allocator.FailAt(1);
    EXPECT_EQ(new (&allocator) Widget(1), nullptr);
    EXPECT_EQ(CFBase::operator new(8, nullptr), nullptr);
    EXPECT_EQ(CFBase::operator new[](8, nullptr), nullptr);
    EXPECT_EQ(CFBase::operator new(SIZE_MAX, &allocator), nullptr);
    EXPECT_EQ(allocator.liveBlocks(), 0u);
    CFBase::operator delete(nullptr);
    CFBase::operator delete[](nullptr);
}

}  // namespace
