// Memory services of a decoder. Blocks are 32-byte aligned (or aligned as asked)
// and remember, in the word below them, how to find the host block again.
#include "veltrane/support.h"

#include <cstdint>
#include <cstring>

namespace {
constexpr uintptr_t kBlockAlignment = 32;
constexpr size_t kPointerSize = sizeof(void*);
}  // namespace

CVeltraneSupport::CVeltraneSupport(IAllocator* allocator)
    : useCount(0), codeTables{}, allocator(allocator) {}

void* CVeltraneSupport::QXAllocPtr(uint32_t size) {
    // Room for the block, the slack up to the next 32-byte boundary and the
    // pointer below it, rounded down to whole 32-bit words.
    const uint64_t request = (uint64_t{size} + kBlockAlignment + kPointerSize + 3) & ~uint64_t{3};
    if (request > UINT32_MAX) {
        return nullptr;
    }
    void* raw = IAllocator_Malloc(allocator, static_cast<size_t>(request));
    if (raw == nullptr) {
        return nullptr;
    }
    const uintptr_t block =
        (reinterpret_cast<uintptr_t>(raw) + kPointerSize + kBlockAlignment - 1) &
        ~(kBlockAlignment - 1);
    auto* result = reinterpret_cast<unsigned char*>(block);
    std::memcpy(result - kPointerSize, &raw, kPointerSize);
    return result;
}

void* CVeltraneSupport::QXAllocPtrSet(uint32_t size, unsigned char value) {
    void* block = QXAllocPtr(size);
    if (block != nullptr) {
        std::memset(block, value, size);
    }
    return block;
}

void CVeltraneSupport::QXFreePtr(void* block) {
    if (block == nullptr) {
        return;
    }
    void* raw;
    std::memcpy(&raw, static_cast<unsigned char*>(block) - kPointerSize, kPointerSize);
    IAllocator_Free(raw);
}

namespace {

// Places an aligned block R inside the 32-byte aligned block B and records R - 4 - B below R.
void* AlignInside(void* base, int32_t alignment) {
    if (base == nullptr) {
        return nullptr;
    }
    const auto b = reinterpret_cast<uintptr_t>(base);
    const auto a = static_cast<uintptr_t>(alignment);
    const uintptr_t r = b + a - (b % a);
    const auto offset = static_cast<uint32_t>(r - 4 - b);
    auto* result = reinterpret_cast<unsigned char*>(r);
    std::memcpy(result - 4, &offset, 4);
    return result;
}

bool ValidAlignment(uint32_t size, int32_t alignment) {
    return alignment > 0 && alignment % 4 == 0 &&
           uint64_t{size} + static_cast<uint64_t>(alignment) <= UINT32_MAX;
}

}  // namespace

void* CVeltraneSupport::QXAllocPtrAligned(uint32_t size, int32_t alignment) {
    if (!ValidAlignment(size, alignment)) {
        return nullptr;
    }
    return AlignInside(QXAllocPtr(size + static_cast<uint32_t>(alignment)), alignment);
}

void* CVeltraneSupport::QXAllocPtrSetAligned(uint32_t size, unsigned char value,
                                             int32_t alignment) {
    if (!ValidAlignment(size, alignment)) {
        return nullptr;
    }
    return AlignInside(QXAllocPtrSet(size + static_cast<uint32_t>(alignment), value), alignment);
}

void CVeltraneSupport::QXFreePtrAligned(void* block) {
    if (block == nullptr) {
        return;
    }
    auto* r = static_cast<unsigned char*>(block);
    uint32_t offset;
    std::memcpy(&offset, r - 4, 4);
    QXFreePtr(r - 4 - offset);
}
