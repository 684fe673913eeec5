#include "support/test_allocator.h"

#include <cstdlib>

namespace veltrane::test {

TestAllocator::TestAllocator() {
    static const IAllocatorFunctions table = {&TestAllocator::Allocate,
                                              &TestAllocator::AllocateObject, &TestAllocator::Free};
    functions = &table;
}

TestAllocator::~TestAllocator() {
    for (auto& [block, size] : live_) {
        std::free(const_cast<void*>(block));
    }
}

void* TestAllocator::Take(size_t size) {
    ++allocations_;
    if (failAt_ != 0 && allocations_ == failAt_) {
        return nullptr;
    }
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block != nullptr) {
        live_[block] = size;
        totalBytes_ += size;
        liveBytes_ += size;
        if (liveBytes_ > peakBytes_) peakBytes_ = liveBytes_;
    }
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
    auto it = allocator->live_.find(block);
    if (it == allocator->live_.end()) {
        ++allocator->foreignFrees_;
        return;
    }
    allocator->liveBytes_ -= it->second;
    allocator->live_.erase(it);
    std::free(block);
}

}  // namespace veltrane::test
