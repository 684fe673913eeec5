// A host allocator over malloc for the benchmarks.
#ifndef VELTRANE_BENCH_MALLOC_ALLOCATOR_H
#define VELTRANE_BENCH_MALLOC_ALLOCATOR_H

#include <cstdlib>

#include "veltrane/allocator.h"

namespace veltrane::bench {

struct MallocAllocator : IAllocator {
    MallocAllocator() {
        static const IAllocatorFunctions table = {
            [](IAllocator*, size_t size) { return std::malloc(size); },
            [](IAllocator*, size_t size) { return std::malloc(size); },
            [](IAllocator*, void* block) { std::free(block); }};
        functions = &table;
    }
};

}  // namespace veltrane::bench

#endif
