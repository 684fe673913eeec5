// Stand-ins for the host framework's registrar and registry that record how the
// library calls them.
#ifndef VELTRANE_TESTS_HOST_FRAMEWORK_H
#define VELTRANE_TESTS_HOST_FRAMEWORK_H

#include <array>
#include <cstdint>
#include <vector>

#include "veltrane/host.h"

namespace veltrane::test {

struct RecordingRegistrar : IComponentRegistrar {
    RecordingRegistrar() {
        static const IComponentRegistrarFunctions table = {nullptr, nullptr, &Register};
        functions = &table;
    }
    static int32_t Register(IComponentRegistrar* self, uint32_t id, uint32_t a, uint32_t b,
                            ComponentFactory factory) {
        auto* r = static_cast<RecordingRegistrar*>(self);
        r->calls.push_back({id, a, b});
        r->factory = factory;
        return r->result;
    }
    std::vector<std::array<uint32_t, 3>> calls;  // id and the two further arguments
    ComponentFactory factory = nullptr;
    int32_t result = 0;
};

struct RecordingRegistry : IComponentRegistry {
    struct Call {
        IComponentRegistry* registry;
        uint32_t id, reserved;
        bool operator==(const Call&) const = default;
    };
    RecordingRegistry() {
        static const IComponentRegistryFunctions table = {nullptr, nullptr, nullptr, &Released};
        functions = &table;
    }
    static void Released(IComponentRegistry* self, uint32_t id, uint32_t reserved) {
        static_cast<RecordingRegistry*>(self)->calls.push_back({self, id, reserved});
    }
    std::vector<Call> calls;
};

}  // namespace veltrane::test

#endif
