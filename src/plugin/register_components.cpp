// The library's entry point for the host framework.
#include "plugin/component.h"
#include "veltrane/host.h"

int32_t RegisterComponents(IComponentRegistrar* registrar) {
    if (registrar == nullptr || registrar->functions == nullptr ||
        registrar->functions->RegisterFactory == nullptr) {
        return kComponentFailed;
    }
    return registrar->functions->RegisterFactory(
        registrar, kVeltraneComponentId, 0, 0,
        &VideoDecompressorComponentVeltrane::CreateComponentInstance);
}
