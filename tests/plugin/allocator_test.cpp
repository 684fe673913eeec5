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

// Blocks and objects go back to the allocator that made them, whichever front
// end frees them; objects come from the object entry. A null or failing
// allocator, or a size that would wrap, gives null without constructing anything.
TEST(AllocatorFrontEnds, BlocksAndObjectsGoBackToTheAllocatorThatMadeThem) {
    TestAllocator a, b;
    void* fromB = IAllocator_Malloc(&b, 20);
    Widget* widget = new (&a) Widget(42);
    Widget* array = new (&a) Widget[3]{Widget(1), Widget(2), Widget(3)};
    ASSERT_TRUE(fromB != nullptr && widget != nullptr && array != nullptr);
    EXPECT_EQ(widget->value + array[2].value, 45);
    EXPECT_EQ(a.objectAllocations(), 2);
    IAllocator_Free(widget);
    delete[] array;
    CFBase::operator delete(fromB);
    IAllocator_Free(nullptr);
    EXPECT_EQ(IAllocator_Malloc(nullptr, 16), nullptr);
    EXPECT_EQ(IAllocator_Malloc(&b, SIZE_MAX), nullptr);
    EXPECT_EQ(CFBase::operator new(8, nullptr), nullptr);
    EXPECT_EQ(CFBase::operator new[](SIZE_MAX, &b), nullptr);
    a.FailAt(1);
    EXPECT_EQ(new (&a) Widget(1), nullptr);
    EXPECT_EQ(a.liveBlocks() + b.liveBlocks(), 0u);
    EXPECT_EQ(a.foreignFrees() + b.foreignFrees(), 0);
}

}  // namespace
}  // namespace veltrane::test
