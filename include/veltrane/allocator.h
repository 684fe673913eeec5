/* The host allocator and the library's two plain allocation front ends.
 *
 * Every block handed out by IAllocator_Malloc is preceded by one pointer: the
 * allocator that made it. Freeing reads that pointer, so it needs no allocator
 * argument and always returns the block to the allocator that made it. */
#ifndef VELTRANE_ALLOCATOR_H
#define VELTRANE_ALLOCATOR_H

#include <stddef.h>

#include "veltrane/export.h"

VELTRANE_EXTERN_C_BEGIN

typedef struct IAllocator IAllocator;

/* The host's allocator function table; the library calls these three entries. */
typedef struct IAllocatorFunctions {
    void* (*Allocate)(IAllocator* allocator, size_t size);
    void* (*AllocateObject)(IAllocator* allocator, size_t size);
    void (*Free)(IAllocator* allocator, void* block);
} IAllocatorFunctions;

struct IAllocator {
    const IAllocatorFunctions* functions;
};

/* Returns a block of `size` bytes from `allocator`, or null (also for a null allocator). */
VELTRANE_API void* IAllocator_Malloc(IAllocator* allocator, size_t size);

/* Returns a block from IAllocator_Malloc or CFBase's operator new to its allocator; null is
 * ignored. */
VELTRANE_API void IAllocator_Free(void* block);

VELTRANE_EXTERN_C_END

#endif
