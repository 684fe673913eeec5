// The video decompressor component: factory, reference counting and the
// creation of decompressor instances.
#include "plugin/component.h"

#include "plugin/instance.h"

VideoDecompressorComponentBase::VideoDecompressorComponentBase()
    : IVideoDecompressorComponent{nullptr}, refCount(0), framework(nullptr), functionTable{} {}

VideoDecompressorComponentBase::~VideoDecompressorComponentBase() = default;

int32_t VideoDecompressorComponentBase::Retain(IVideoDecompressorComponent* component) {
    if (component == nullptr) return 0;
    return ++static_cast<VideoDecompressorComponentBase*>(component)->refCount;
}

int32_t VideoDecompressorComponentBase::Release(IVideoDecompressorComponent* component) {
    if (component == nullptr) return 0;
    auto* self = static_cast<VideoDecompressorComponentBase*>(component);
    const int32_t count = --self->refCount;
    if (count != 0) return count;
    IComponentRegistry* registry = self->framework != nullptr ? self->framework->registry : nullptr;
    if (registry != nullptr && registry->functions != nullptr &&
        registry->functions->ComponentReleased != nullptr) {
        registry->functions->ComponentReleased(registry, static_cast<uint32_t>(self->GetUID()), 0);
    }
    delete self;
    return 0;
}

int32_t VideoDecompressorComponentVeltrane::Initialize(CFFrameworkObject* framework) {
    this->framework = framework;
    functionTable.Retain = &Retain;
    functionTable.Release = &Release;
    functionTable.CreateDecompressor = &CreateDecompressor;
    functionTable.DestroyDecompressor = &DestroyDecompressor;
    functions = &functionTable;
    return kComponentOk;
}

int32_t VideoDecompressorComponentVeltrane::GetUID() const { return kVeltraneComponentId; }

int32_t VideoDecompressorComponentVeltrane::CreateComponentInstance(
    CFFrameworkObject* framework, IGenericComponentFunctions** functions,
    IGenericComponent** component) {
    if (component == nullptr) return kComponentFailed;
    *component = nullptr;
    // A function table handed in cannot be served: the component brings its own.
    if (functions != nullptr && *functions != nullptr) return kComponentFailed;
    if (framework == nullptr || framework->allocator == nullptr) return kComponentFailed;
    auto* object = new (framework->allocator) VideoDecompressorComponentVeltrane();
    if (object == nullptr) return kComponentFailed;
    if (object->Initialize(framework) < 0) {
        delete object;
        return kComponentFailed;
    }
    // The host reads the generic handle as the component record, by its identifier.
    IVideoDecompressorComponent* record = object;
    *component = reinterpret_cast<IGenericComponent*>(record);
    return kComponentOk;
}

IVideoDecompressorInstance* VideoDecompressorComponentVeltrane::CreateDecompressor(
    IVideoDecompressorComponent* component, uint32_t /*reserved*/) {
    if (component == nullptr) return nullptr;
    auto* self = static_cast<VideoDecompressorComponentBase*>(component);
    if (self->framework == nullptr) return nullptr;
    auto* instance = new (self->framework->allocator) VideoDecompressorInstanceVeltrane();
    if (instance == nullptr) return nullptr;
    if (instance->Initialize(self) < 0) {
        delete instance;
        return nullptr;
    }
    return instance;
}

void VideoDecompressorComponentVeltrane::DestroyDecompressor(
    IVideoDecompressorComponent* /*component*/, IVideoDecompressorInstance* instance) {
    if (instance == nullptr) return;
    delete static_cast<VideoDecompressorInstanceBase*>(instance);
}
