// Memory services of a decoder: 32-byte aligned blocks and blocks of any
// alignment, all from the host allocator, plus the decoder's five code trees.
#ifndef VELTRANE_SUPPORT_H
#define VELTRANE_SUPPORT_H

#include <cstdint>

#include "veltrane/allocator.h"

class VELTRANE_API CVeltraneSupport {
public:
    explicit CVeltraneSupport(IAllocator* allocator);

    // 32-byte aligned block; the pointer-sized word below it holds the address
    // IAllocator_Malloc returned.
    void* QXAllocPtr(uint32_t size);
    void* QXAllocPtrSet(uint32_t size, unsigned char value);
    void QXFreePtr(void* block);

    // Block aligned to `alignment` (a positive multiple of 4); the 32-bit word
    // below it holds its distance from the underlying QXAllocPtr block, minus 4.
    void* QXAllocPtrAligned(uint32_t size, int32_t alignment);
    void* QXAllocPtrSetAligned(uint32_t size, unsigned char value, int32_t alignment);
    void QXFreePtrAligned(void* block);

    int32_t useCount;     // decoders using codeTables
    void* codeTables[5];  // MCBPC intra, MCBPC inter, CBPY, MVD, TCOEF decode trees
    IAllocator* allocator;
};

#endif
