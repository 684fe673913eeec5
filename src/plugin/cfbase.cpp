// Class-level allocation of the component layer from the host allocator. Blocks
// carry their allocator in the pointer in front of them, like the blocks of
// IAllocator_Malloc, so either front end can free them.
#include <cstdint>
#include <cstring>

#include "veltrane/allocator.h"
#include "veltrane/host.h"

namespace {

constexpr size_t kHeaderSize = sizeof(IAllocator*);

void* AllocateObject(size_t size, IAllocator* allocator) {
    if (allocator == nullptr || size > SIZE_MAX - kHeaderSize) {
        return nullptr;
    }
    auto* block = static_cast<unsigned char*>(
        allocator->functions->AllocateObject(allocator, size + kHeaderSize));
    if (block == nullptr) {
        return nullptr;
    }
    std::memcpy(block, &allocator, kHeaderSize);
    return block + kHeaderSize;
}

}  // namespace

void* CFBase::operator new(size_t size, IAllocator* allocator) noexcept {
    return AllocateObject(size, allocator);
}

void* CFBase::operator new[](size_t size, IAllocator* allocator) noexcept {
    return AllocateObject(size, allocator);
}

void CFBase::operator delete(void* block) noexcept { IAllocator_Free(block); }

void CFBase::operator delete[](void* block) noexcept { IAllocator_Free(block); }

void CFBase::operator delete(void* /*block*/, IAllocator* /*allocator*/) noexcept {}

void CFBase::operator delete[](void* /*block*/, IAllocator* /*allocator*/) noexcept {}
