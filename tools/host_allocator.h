// The tool's host allocator: the IAllocator the library draws all its memory
// from, backed by malloc. It counts live blocks so that leaks show up.
#ifndef VELTRANE_TOOLS_HOST_ALLOCATOR_H
#define VELTRANE_TOOLS_HOST_ALLOCATOR_H

#include <cstdint>

#include "veltrane/allocator.h"

namespace veltrane::tools {

class HostAllocator {
public:
    HostAllocator();
    HostAllocator(const HostAllocator&) = delete;
    HostAllocator& operator=(const HostAllocator&) = delete;

    IAllocator* get() { return &base_; }
    // Blocks handed out and not yet freed.
    int64_t liveBlocks() const { return liveBlocks_; }
    // When set, every allocation after this many more succeeds fails (for tests).
    void FailAfter(int64_t allocations) { failAfter_ = allocations; }

private:
    static void* Allocate(IAllocator* allocator, size_t size);
    static void Free(IAllocator* allocator, void* block);
    static HostAllocator* From(IAllocator* allocator);
    static const IAllocatorFunctions kFunctions;

    IAllocator base_;  // must stay the first member: the library hands it back to us
    int64_t liveBlocks_ = 0;
    int64_t failAfter_ = -1;
};

}  // namespace veltrane::tools

#endif
