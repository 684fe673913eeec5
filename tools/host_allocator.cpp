#include "host_allocator.h"

#include <cstdlib>

namespace veltrane::tools {

namespace {
void* Allocate(IAllocator*, size_t size) { return std::malloc(size == 0 ? 1 : size); }
void Free(IAllocator*, void* block) { std::free(block); }
// Allocate and AllocateObject behave alike for a malloc-backed host.
const IAllocatorFunctions kFunctions = {&Allocate, &Allocate, &Free};
}  // namespace

HostAllocator::HostAllocator() : IAllocator{&kFunctions} {}

}  // namespace veltrane::tools
