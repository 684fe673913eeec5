// The reference-counted video decompressor component the host creates through
// the registered factory, and through which it creates decompressor instances.
#ifndef VELTRANE_PLUGIN_COMPONENT_H
#define VELTRANE_PLUGIN_COMPONENT_H

#include <cstdint>

#include "veltrane/host.h"

// The record the host holds (first base) plus the reference count and the
// framework the component was created for. Virtual slot order: destructor,
// Initialize, GetUID.
class VideoDecompressorComponentBase : public IVideoDecompressorComponent, public CFBase {
public:
    VideoDecompressorComponentBase();
    virtual ~VideoDecompressorComponentBase();
    VideoDecompressorComponentBase(const VideoDecompressorComponentBase&) = delete;
    VideoDecompressorComponentBase& operator=(const VideoDecompressorComponentBase&) = delete;

    virtual int32_t Initialize(CFFrameworkObject* framework) = 0;
    virtual int32_t GetUID() const = 0;

    // Component table entries 1 and 2; both return the new count.
    static int32_t Retain(IVideoDecompressorComponent* component);
    static int32_t Release(IVideoDecompressorComponent* component);

    int32_t refCount;
    CFFrameworkObject* framework;
    IVideoDecompressorComponentFunctions functionTable;  // the record points here
};

class VideoDecompressorComponentVeltrane : public VideoDecompressorComponentBase {
public:
    int32_t Initialize(CFFrameworkObject* framework) override;
    int32_t GetUID() const override;

    // The factory registered under kVeltraneComponentId: 0, or -2 on failure.
    static int32_t CreateComponentInstance(CFFrameworkObject* framework,
                                           IGenericComponentFunctions** functions,
                                           IGenericComponent** component);
    // Component table entries 3 and 4.
    static IVideoDecompressorInstance* CreateDecompressor(IVideoDecompressorComponent* component,
                                                          uint32_t reserved);
    static void DestroyDecompressor(IVideoDecompressorComponent* component,
                                    IVideoDecompressorInstance* instance);
};

#endif
