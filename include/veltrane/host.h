// The host framework's plug-in interface: the decompressor interface and its
// request records, the component and instance records the host drives through
// function tables, the framework objects handed to the library, and CFBase.
//
// The host lays its records out for a 32-bit machine. Fields are declared in
// offset order, with the slots the library leaves alone kept as reserved fields,
// so a 32-bit build has the host's exact offsets and a 64-bit build the same
// fields in the same order.
#ifndef VELTRANE_HOST_H
#define VELTRANE_HOST_H

#include <stddef.h>
#include <stdint.h>

#include "veltrane/allocator.h"
#include "veltrane/export.h"

// ---------------------------------------------------------------------------
// Requests of IVideoDecompressor.

// One frame to decode, or to size up (GetFrameDimensions).
struct IVideoDecompressDataStruct {
    uint32_t reserved0;
    const unsigned char* data;  // compressed frame, behind a one-byte tag unless noFrameTag
    uint32_t reserved8;
    uint32_t dataSize;   // bytes at data
    uint8_t noFrameTag;  // 0: data begins with the frame tag
    uint8_t padding17[3];
    uint32_t postFilter;  // 0: keep the deblocking setting; else bits 1..3 choose it
    uint32_t reserved24;
    uint32_t reserved28;
    int32_t rowBytes;       // row distance of pixels
    uint32_t* heightPtr;    // in: height the host expects; out: the frame's height
    uint32_t* widthPtr;     // in: width the host expects; out: the frame's width
    uint8_t* flagPtr;       // cleared before each decode
    unsigned char* pixels;  // BGRA output buffer, or null to decode only
};

struct IVideoBlitTo32Struct {
    int32_t column;
    int32_t row;
    int32_t count;
    uint32_t* dest;
};

struct IVideoBlitTo32SingleStruct {
    int32_t column;
    int32_t row;
    uint32_t* dest;
};

struct IVideoBlitTo16Struct {
    int32_t column;
    int32_t row;
    int32_t count;
    uint16_t* dest;
    uint32_t pixelFormat;  // host code: 4 RGB555, 5 RGB565, 6 ARGB4444; others draw as 4
};

struct IVideoBlitTo16SingleStruct {
    int32_t column;
    int32_t row;
    uint16_t* dest;
    uint32_t pixelFormat;
};

// The host's decompressor interface. The slot order of the operations is part
// of the interface. Objects behind it live in IAllocator_Malloc memory, so the
// class-level operator delete returns them there.
class IVideoDecompressor {
public:
    virtual int32_t CodecSubType(uint32_t index) = 0;
    virtual int32_t EmbeddedIsKeyFrame(const unsigned char* data, uint32_t size, bool flag) = 0;
    virtual int32_t DecompressFrame(IVideoDecompressDataStruct* request) = 0;
    virtual int32_t BlitTo32(IVideoBlitTo32Struct* request) = 0;
    virtual int32_t BlitTo32Single(IVideoBlitTo32SingleStruct* request) = 0;
    virtual int32_t BlitTo16(IVideoBlitTo16Struct* request) = 0;
    virtual int32_t BlitTo16Single(IVideoBlitTo16SingleStruct* request) = 0;
    virtual int32_t FlushAfterSeek() = 0;
    virtual int32_t GetFrameDimensions(IVideoDecompressDataStruct* request) = 0;
    virtual ~IVideoDecompressor() {}

    static void operator delete(void* block) noexcept { IAllocator_Free(block); }
};

// ---------------------------------------------------------------------------
// Component and instance records. The host calls each table entry with the
// record's own address as first argument.

class VideoDecompressorComponentBase;
struct IVideoDecompressorComponent;
struct IVideoDecompressorInstance;

struct IVideoDecompressorComponentFunctions {
    int32_t (*Retain)(IVideoDecompressorComponent* component);
    int32_t (*Release)(IVideoDecompressorComponent* component);
    IVideoDecompressorInstance* (*CreateDecompressor)(IVideoDecompressorComponent* component,
                                                      uint32_t reserved);
    void (*DestroyDecompressor)(IVideoDecompressorComponent* component,
                                IVideoDecompressorInstance* instance);
};

struct IVideoDecompressorComponent {
    const IVideoDecompressorComponentFunctions* functions;
};

// The operations of IVideoDecompressor, each with the instance record first.
struct IVideoDecompressorInstanceFunctions {
    int32_t (*CodecSubType)(IVideoDecompressorInstance* instance, uint32_t index);
    int32_t (*EmbeddedIsKeyFrame)(IVideoDecompressorInstance* instance, const unsigned char* data,
                                  uint32_t size, bool flag);
    int32_t (*DecompressFrame)(IVideoDecompressorInstance* instance,
                               IVideoDecompressDataStruct* request);
    int32_t (*BlitTo32)(IVideoDecompressorInstance* instance, IVideoBlitTo32Struct* request);
    int32_t (*BlitTo32Single)(IVideoDecompressorInstance* instance,
                              IVideoBlitTo32SingleStruct* request);
    int32_t (*BlitTo16)(IVideoDecompressorInstance* instance, IVideoBlitTo16Struct* request);
    int32_t (*BlitTo16Single)(IVideoDecompressorInstance* instance,
                              IVideoBlitTo16SingleStruct* request);
    int32_t (*FlushAfterSeek)(IVideoDecompressorInstance* instance);
    int32_t (*GetFrameDimensions)(IVideoDecompressorInstance* instance,
                                  IVideoDecompressDataStruct* request);
};

struct IVideoDecompressorInstance {
    const IVideoDecompressorInstanceFunctions* functions;
    VideoDecompressorComponentBase* component;  // the component that created the instance
};

// ---------------------------------------------------------------------------
// Framework objects.

// The handle a component factory hands out; its first field points to the
// component's function table, whose kind the component identifier tells.
struct IGenericComponentFunctions;
struct IGenericComponent {
    const IGenericComponentFunctions* functions;
};

struct CFFrameworkObject;

typedef int32_t (*ComponentFactory)(CFFrameworkObject* framework,
                                    IGenericComponentFunctions** functions,
                                    IGenericComponent** component);

// The object given to RegisterComponents; its third entry registers a factory.
struct IComponentRegistrar;
struct IComponentRegistrarFunctions {
    void (*reserved0)();
    void (*reserved1)();
    int32_t (*RegisterFactory)(IComponentRegistrar* registrar, uint32_t componentId,
                               uint32_t reserved0, uint32_t reserved1, ComponentFactory factory);
};
struct IComponentRegistrar {
    const IComponentRegistrarFunctions* functions;
};

// The framework's registry; its fourth entry learns that a component went away.
struct IComponentRegistry;
struct IComponentRegistryFunctions {
    void (*reserved0)();
    void (*reserved1)();
    void (*reserved2)();
    void (*ComponentReleased)(IComponentRegistry* registry, uint32_t componentId,
                              uint32_t reserved);
};
struct IComponentRegistry {
    const IComponentRegistryFunctions* functions;
};

// The framework object given to a factory; the library reads these two fields.
struct CFFrameworkObject {
    IComponentRegistry* registry;  // may be null
    IAllocator* allocator;
};

// ---------------------------------------------------------------------------
// Class-level allocation from the host allocator for the component layer. Each
// block carries its allocator in the pointer in front of it, as IAllocator_Malloc
// blocks do; the two kinds can be freed by either front end. The operators are
// non-throwing: a failed allocation makes the new-expression yield null.
class VELTRANE_API CFBase {
public:
    static void* operator new(size_t size, IAllocator* allocator) noexcept;
    static void* operator new[](size_t size, IAllocator* allocator) noexcept;
    static void operator delete(void* block) noexcept;
    static void operator delete[](void* block) noexcept;
    // Placement forms matching operator new; they leave the block alone.
    static void operator delete(void* block, IAllocator* allocator) noexcept;
    static void operator delete[](void* block, IAllocator* allocator) noexcept;
};

// Component identifier of the video decompressor.
enum { kVeltraneComponentId = 0x302 };

// Results of the component and instance entries and of RegisterComponents.
enum { kComponentOk = 0, kComponentFailed = -2 };

// Registers the video decompressor's factory with the host; returns the registrar's result.
extern "C" VELTRANE_API int32_t RegisterComponents(IComponentRegistrar* registrar);

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(offsetof(IVideoDecompressDataStruct, data) == 4);
static_assert(offsetof(IVideoDecompressDataStruct, dataSize) == 12);
static_assert(offsetof(IVideoDecompressDataStruct, noFrameTag) == 16);
static_assert(offsetof(IVideoDecompressDataStruct, postFilter) == 20);
static_assert(offsetof(IVideoDecompressDataStruct, rowBytes) == 32);
static_assert(offsetof(IVideoDecompressDataStruct, heightPtr) == 36);
static_assert(offsetof(IVideoDecompressDataStruct, widthPtr) == 40);
static_assert(offsetof(IVideoDecompressDataStruct, flagPtr) == 44);
static_assert(offsetof(IVideoDecompressDataStruct, pixels) == 48);
static_assert(sizeof(IVideoDecompressDataStruct) == 52);
static_assert(offsetof(IVideoBlitTo32Struct, dest) == 12 && sizeof(IVideoBlitTo32Struct) == 16);
static_assert(offsetof(IVideoBlitTo32SingleStruct, dest) == 8);
static_assert(sizeof(IVideoBlitTo32SingleStruct) == 12);
static_assert(offsetof(IVideoBlitTo16Struct, dest) == 12);
static_assert(offsetof(IVideoBlitTo16Struct, pixelFormat) == 16);
static_assert(sizeof(IVideoBlitTo16Struct) == 20);
static_assert(offsetof(IVideoBlitTo16SingleStruct, dest) == 8);
static_assert(offsetof(IVideoBlitTo16SingleStruct, pixelFormat) == 12);
static_assert(sizeof(IVideoBlitTo16SingleStruct) == 16);
static_assert(sizeof(IVideoDecompressorComponentFunctions) == 16);
static_assert(sizeof(IVideoDecompressorInstanceFunctions) == 36);
static_assert(offsetof(IVideoDecompressorInstance, component) == 4);
static_assert(offsetof(IComponentRegistrarFunctions, RegisterFactory) == 8);
static_assert(offsetof(IComponentRegistryFunctions, ComponentReleased) == 12);
static_assert(offsetof(CFFrameworkObject, allocator) == 4);
#endif

#endif
