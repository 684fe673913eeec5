// The tool's host allocator: the IAllocator the library draws all its memory
// from, over malloc.
#ifndef VELTRANE_TOOLS_HOST_ALLOCATOR_H
#define VELTRANE_TOOLS_HOST_ALLOCATOR_H

#include "veltrane/allocator.h"

namespace veltrane::tools {

struct HostAllocator : IAllocator {
    HostAllocator();
};

}  // namespace veltrane::tools

#endif
