#include "support/test_allocator.h"

#include <cstdlib>

namespace veltrane::test {

TestAllocator::TestAllocator() {
    static const IAllocatorFunctions table = {&TestAllocator::Allocate,
                                              &TestAllocator::AllocateObject, &TestAllocator::Free};
    functions = &table;
}

TestAllocator::~TestAllocator() {
    for (const void* block : live_) std::free(const_cast<void*>(block));
}

void* TestAllocator::Take(size_t size) {
    ++allocations_;
    if (failAt_ != 0 && allocations_ == failAt_) return nullptr;
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block != nullptr) live_.insert(block);
    return block;
}

void* TestAllocator::Allocate(IAllocator* self, size_t size) {
    return static_cast<TestAllocator*>(self)->Take(size);
}

void* TestAllocator::AllocateObject(IAllocator* self, size_t size) {
    auto* allocator = static_cast<TestAllocator*>(self);
    ++allocator->objectAllocations_;
    return allocator->Take(size);
}

void TestAllocator::Free(IAllocator* self, void* block) {
    auto* allocator = static_cast<TestAllocator*>(self);
    if (allocator->live_.erase(block) == 0) {
        ++allocator->foreignFrees_;
        return;
    }
    std::free(block);
}

}  // namespace veltrane::test
