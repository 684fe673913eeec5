// A decompressor instance: the record the host drives through nine table
// entries, each forwarded to the instance's VeltraneVideoDecompressor.
#ifndef VELTRANE_PLUGIN_INSTANCE_H
#define VELTRANE_PLUGIN_INSTANCE_H

#include <cstdint>

#include "plugin/component.h"
#include "plugin/video_decompressor.h"
#include "veltrane/host.h"

// Virtual slot order: Initialize, destructor.
class VideoDecompressorInstanceBase : public IVideoDecompressorInstance, public CFBase {
public:
    VideoDecompressorInstanceBase();
    VideoDecompressorInstanceBase(const VideoDecompressorInstanceBase&) = delete;
    VideoDecompressorInstanceBase& operator=(const VideoDecompressorInstanceBase&) = delete;

    virtual int32_t Initialize(VideoDecompressorComponentBase* component) = 0;
    virtual ~VideoDecompressorInstanceBase();

    IVideoDecompressorInstanceFunctions functionTable;  // the record points here
};

class VideoDecompressorInstanceVeltrane : public VideoDecompressorInstanceBase {
public:
    VideoDecompressorInstanceVeltrane();
    // Fills the record and creates the decompressor: 0, or -2 without one.
    int32_t Initialize(VideoDecompressorComponentBase* component) override;
    // Destroys the decompressor, which closes its session.
    ~VideoDecompressorInstanceVeltrane() override;

    // The nine table entries: 0 for a null record or an instance without a decompressor.
    static int32_t CodecSubType(IVideoDecompressorInstance* instance, uint32_t index);
    static int32_t EmbeddedIsKeyFrame(IVideoDecompressorInstance* instance,
                                      const unsigned char* data, uint32_t size, bool flag);
    static int32_t DecompressFrame(IVideoDecompressorInstance* instance,
                                   IVideoDecompressDataStruct* request);
    static int32_t BlitTo32(IVideoDecompressorInstance* instance, IVideoBlitTo32Struct* request);
    static int32_t BlitTo32Single(IVideoDecompressorInstance* instance,
                                  IVideoBlitTo32SingleStruct* request);
    static int32_t BlitTo16(IVideoDecompressorInstance* instance, IVideoBlitTo16Struct* request);
    static int32_t BlitTo16Single(IVideoDecompressorInstance* instance,
                                  IVideoBlitTo16SingleStruct* request);
    static int32_t FlushAfterSeek(IVideoDecompressorInstance* instance);
    static int32_t GetFrameDimensions(IVideoDecompressorInstance* instance,
                                      IVideoDecompressDataStruct* request);

    VeltraneVideoDecompressor* decompressor;
};

#endif
