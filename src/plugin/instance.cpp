// Decompressor instances: creation of the decompressor from the framework's
// allocator, and the host's table entries forwarded to it.
#include "plugin/instance.h"

#include <new>

#include "veltrane/allocator.h"

namespace {

// The decompressor behind a host record, or null.
IVideoDecompressor* DecompressorOf(IVideoDecompressorInstance* instance) {
    if (instance == nullptr) return nullptr;
    return static_cast<VideoDecompressorInstanceVeltrane*>(instance)->decompressor;
}

}  // namespace

VideoDecompressorInstanceBase::VideoDecompressorInstanceBase()
    : IVideoDecompressorInstance{nullptr, nullptr}, functionTable{} {}

VideoDecompressorInstanceBase::~VideoDecompressorInstanceBase() = default;

VideoDecompressorInstanceVeltrane::VideoDecompressorInstanceVeltrane() : decompressor(nullptr) {}

int32_t VideoDecompressorInstanceVeltrane::Initialize(VideoDecompressorComponentBase* component) {
    functions = &functionTable;
    this->component = component;
    functionTable.CodecSubType = &CodecSubType;
    functionTable.EmbeddedIsKeyFrame = &EmbeddedIsKeyFrame;
    functionTable.DecompressFrame = &DecompressFrame;
    functionTable.BlitTo32 = &BlitTo32;
    functionTable.BlitTo32Single = &BlitTo32Single;
    functionTable.BlitTo16 = &BlitTo16;
    functionTable.BlitTo16Single = &BlitTo16Single;
    functionTable.FlushAfterSeek = &FlushAfterSeek;
    functionTable.GetFrameDimensions = &GetFrameDimensions;

    IAllocator* allocator = nullptr;
    if (component != nullptr && component->framework != nullptr) {
        allocator = component->framework->allocator;
    }
    void* room = IAllocator_Malloc(allocator, sizeof(VeltraneVideoDecompressor));
    if (room == nullptr) {
        decompressor = nullptr;
        return kComponentFailed;
    }
    decompressor = ::new (room) VeltraneVideoDecompressor(allocator);
    return kComponentOk;
}

VideoDecompressorInstanceVeltrane::~VideoDecompressorInstanceVeltrane() {
    if (decompressor != nullptr) {
        decompressor->~VeltraneVideoDecompressor();
        IAllocator_Free(decompressor);
        decompressor = nullptr;
    }
}

// The entries of the host's function table, one per call of the interface:
// each forwards to the instance's decompressor, and an instance without one
// (its open failed) answers 0.
int32_t VideoDecompressorInstanceVeltrane::CodecSubType(IVideoDecompressorInstance* instance,
                                                        uint32_t index) {
    IVideoDecompressor* d = DecompressorOf(instance);
    return d != nullptr ? d->CodecSubType(index) : 0;
}

int32_t VideoDecompressorInstanceVeltrane::EmbeddedIsKeyFrame(IVideoDecompressorInstance* instance,
                                                              const unsigned char* data,
                                                              uint32_t size, bool flag) {
    IVideoDecompressor* d = DecompressorOf(instance);
    return d != nullptr ? d->EmbeddedIsKeyFrame(data, size, flag) : 0;
}

int32_t VideoDecompressorInstanceVeltrane::DecompressFrame(IVideoDecompressorInstance* instance,
                                                           IVideoDecompressDataStruct* request) {
    IVideoDecompressor* d = DecompressorOf(instance);
    return d != nullptr ? d->DecompressFrame(request) : 0;
}

int32_t VideoDecompressorInstanceVeltrane::BlitTo32(IVideoDecompressorInstance* instance,
                                                    IVideoBlitTo32Struct* request) {
    IVideoDecompressor* d = DecompressorOf(instance);
    return d != nullptr ? d->BlitTo32(request) : 0;
}

int32_t VideoDecompressorInstanceVeltrane::BlitTo32Single(IVideoDecompressorInstance* instance,
                                                          IVideoBlitTo32SingleStruct* request) {
    IVideoDecompressor* d = DecompressorOf(instance);
    return d != nullptr ? d->BlitTo32Single(request) : 0;
}

int32_t VideoDecompressorInstanceVeltrane::BlitTo16(IVideoDecompressorInstance* instance,
                                                    IVideoBlitTo16Struct* request) {
    IVideoDecompressor* d = DecompressorOf(instance);
    return d != nullptr ? d->BlitTo16(request) : 0;
}

int32_t VideoDecompressorInstanceVeltrane::BlitTo16Single(IVideoDecompressorInstance* instance,
                                                          IVideoBlitTo16SingleStruct* request) {
    IVideoDecompressor* d = DecompressorOf(instance);
    return d != nullptr ? d->BlitTo16Single(request) : 0;
}

// The host's seek notification is acknowledged with 0 and not passed on: the
// decoder keeps its reference picture across a seek.
int32_t VideoDecompressorInstanceVeltrane::FlushAfterSeek(
    IVideoDecompressorInstance* /*instance*/) {
    return 0;
}

int32_t VideoDecompressorInstanceVeltrane::GetFrameDimensions(IVideoDecompressorInstance* instance,
                                                              IVideoDecompressDataStruct* request) {
    IVideoDecompressor* d = DecompressorOf(instance);
    return d != nullptr ? d->GetFrameDimensions(request) : 0;
}
