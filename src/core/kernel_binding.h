// Binding of a kernel family to the table that suits the processor. Every
// family has one selection function, `Select<Family>(cpuFeatures)`, which names
// the getter of the best table for those features; the active table is bound
// once, when the library is loaded, by the dynamic loader's indirect-function
// relocation where the toolchain has it. Otherwise the choice is made when the
// library is built. Either way nothing is written at run time.
#ifndef VELTRANE_CORE_KERNEL_BINDING_H
#define VELTRANE_CORE_KERNEL_BINDING_H

#include "core/cpu_features.h"

namespace veltrane {

template <typename Kernels>
using KernelTableGetter = const Kernels* (*)();

// The getter of one table.
template <const auto* kTable>
auto ReturnKernelTable() {
    return kTable;
}

}  // namespace veltrane

#if VELTRANE_HAVE_IFUNC
// Defines `const Kernels* Active()`, resolved at load time from
// Select(DetectCpuFeatures()).
#define VELTRANE_BIND_KERNELS(Kernels, Active, Select)                                        \
    extern "C" VELTRANE_LOAD_TIME ::veltrane::KernelTableGetter<Kernels> Active##Resolver() { \
        return Select(::veltrane::DetectCpuFeatures());                                       \
    }                                                                                         \
    const Kernels* Active() __attribute__((ifunc(#Active "Resolver")))
#else
#define VELTRANE_BIND_KERNELS(Kernels, Active, Select) \
    const Kernels* Active() { return Select(::veltrane::BuildCpuFeatures())(); }
#endif

#endif
