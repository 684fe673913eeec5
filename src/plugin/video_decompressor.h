// The host's IVideoDecompressor over one decoding session: strips frame tags,
// passes post-filter flags on as the deblocking setting, checks the frame size
// against the host's buffer and reopens the session when the stream's size
// changes.
#ifndef VELTRANE_PLUGIN_VIDEO_DECOMPRESSOR_H
#define VELTRANE_PLUGIN_VIDEO_DECOMPRESSOR_H

#include <cstdint>

#include "veltrane/allocator.h"
#include "veltrane/host.h"

class VeltraneVideoDecompressor : public IVideoDecompressor {
public:
    // Opens a first session for 128 x 96; if that fails the object has no session.
    explicit VeltraneVideoDecompressor(IAllocator* allocator);
    ~VeltraneVideoDecompressor() override;
    VeltraneVideoDecompressor(const VeltraneVideoDecompressor&) = delete;
    VeltraneVideoDecompressor& operator=(const VeltraneVideoDecompressor&) = delete;

    int32_t CodecSubType(uint32_t index) override;
    int32_t EmbeddedIsKeyFrame(const unsigned char* data, uint32_t size, bool flag) override;
    int32_t DecompressFrame(IVideoDecompressDataStruct* request) override;
    int32_t BlitTo32(IVideoBlitTo32Struct* request) override;
    int32_t BlitTo32Single(IVideoBlitTo32SingleStruct* request) override;
    int32_t BlitTo16(IVideoBlitTo16Struct* request) override;
    int32_t BlitTo16Single(IVideoBlitTo16SingleStruct* request) override;
    int32_t FlushAfterSeek() override;
    int32_t GetFrameDimensions(IVideoDecompressDataStruct* request) override;

    // Opens a session of the given size with the object's allocator (null on failure).
    void* Create(int width, int height);
    // Closes the session, if any.
    void Destroy();
    // Decodes the untagged frame of a request.
    int32_t DecompressVideo(IVideoDecompressDataStruct* request);

    void* session;
    IAllocator* allocator;
};

#endif
