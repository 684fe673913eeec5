// A host allocator for tests: counts blocks, can fail the k-th allocation, and
// checks that every block goes back to the allocator that made it.
#ifndef VELTRANE_TESTS_TEST_ALLOCATOR_H
#define VELTRANE_TESTS_TEST_ALLOCATOR_H

#include <cstddef>
#include <set>

#include "veltrane/allocator.h"

namespace veltrane::test {

class TestAllocator : public IAllocator {
public:
    TestAllocator();
    ~TestAllocator();
    TestAllocator(const TestAllocator&) = delete;
    TestAllocator& operator=(const TestAllocator&) = delete;

    // Makes allocation number `k` (1-based, counted from now) fail; 0 disables.
    void FailAt(int k) {
        failAt_ = k;
        allocations_ = 0;
    }

    int allocations() const { return allocations_; }  // attempts since FailAt / construction
    int objectAllocations() const { return objectAllocations_; }
    size_t liveBlocks() const { return live_.size(); }
    // Frees of blocks this allocator did not make.
    int foreignFrees() const { return foreignFrees_; }

private:
    static void* Allocate(IAllocator* self, size_t size);
    static void* AllocateObject(IAllocator* self, size_t size);
    static void Free(IAllocator* self, void* block);
    void* Take(size_t size);

    std::set<const void*> live_;
    int failAt_ = 0;
    int allocations_ = 0;
    int objectAllocations_ = 0;
    int foreignFrees_ = 0;
};

}  // namespace veltrane::test

#endif
