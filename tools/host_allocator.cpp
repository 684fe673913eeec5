#include "host_allocator.h"

#include <cstdlib>
#include <type_traits>

namespace veltrane::tools {

// Allocate and AllocateObject behave alike for a malloc-backed host.
const IAllocatorFunctions HostAllocator::kFunctions = {
    &HostAllocator::Allocate, &HostAllocator::Allocate, &HostAllocator::Free};

HostAllocator::HostAllocator() : base_{&kFunctions} {}

HostAllocator* HostAllocator::From(IAllocator* allocator) {
    static_assert(std::is_standard_layout_v<HostAllocator>);
    // base_ is the first member of a standard-layout class, so the addresses coincide.
    return reinterpret_cast<HostAllocator*>(allocator);
}

void* HostAllocator::Allocate(IAllocator* allocator, size_t size) {
    HostAllocator* self = From(allocator);
    if (self->failAfter_ == 0) {
        return nullptr;
    }
    if (self->failAfter_ > 0) {
        --self->failAfter_;
    }
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block != nullptr) {
        ++self->liveBlocks_;
    }
    return block;
}

void HostAllocator::Free(IAllocator* allocator, void* block) {
    if (block == nullptr) {
        return;
    }
    --From(allocator)->liveBlocks_;
    std::free(block);
}

}  // namespace veltrane::tools
