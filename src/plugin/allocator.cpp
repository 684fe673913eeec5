// Plain allocation front ends over the host allocator. Each block is preceded by
// one pointer, the allocator that made it, so a block can be freed without
// naming its allocator.
#include "veltrane/allocator.h"

#include <cstdint>
#include <cstring>

namespace {
constexpr size_t kHeaderSize = sizeof(IAllocator*);
}  // namespace

void* IAllocator_Malloc(IAllocator* allocator, size_t size) {
    if (allocator == nullptr || size > SIZE_MAX - kHeaderSize) {
        return nullptr;
    }
    auto* block =
        static_cast<unsigned char*>(allocator->functions->Allocate(allocator, size + kHeaderSize));
    if (block == nullptr) {
        return nullptr;
    }
    std::memcpy(block, &allocator, kHeaderSize);
    return block + kHeaderSize;
}

void IAllocator_Free(void* block) {
    if (block == nullptr) {
        return;
    }
    unsigned char* start = static_cast<unsigned char*>(block) - kHeaderSize;
    IAllocator* allocator;
    std::memcpy(&allocator, start, kHeaderSize);
    allocator->functions->Free(allocator, start);
}
