// Opening and closing a decoder: the record, its memory services and code trees,
// the bit reader, two bordered frame stores and the per-macroblock side tables.
#include <cstdint>
#include <new>

#include "entropy/code_tables.h"
#include "veltrane/decoder.h"
#include "veltrane/entropy.h"
#include "veltrane/support.h"

namespace {

constexpr int32_t kBorder = 16;
constexpr int32_t kPlaneAlignment = 32;
constexpr uint32_t kCoefficientBytes = 384 * sizeof(int16_t);

const int16_t* const kCodeTables[veltrane::kCodeTableCount] = {
    veltrane::McbpcIntraCodes, veltrane::McbpcInterCodes, veltrane::CbpyCodes, veltrane::MvdCodes,
    veltrane::TcoefCodes};

// Offset of a plane's origin inside its allocation: 16 rows and 16 bytes in.
int32_t OriginOffset(int32_t visibleWidth) { return (visibleWidth + 2 * kBorder + 1) * kBorder; }

int BuildCodeTrees(DecodeInstance_t* decoder) {
    CVeltraneSupport* support = decoder->support;
    for (int i = 0; i < veltrane::kCodeTableCount; ++i) {
        if (BuildHuffDecodeTable(decoder, kCodeTables[i], &support->codeTables[i]) != 0) {
            for (int j = 0; j < i; ++j) {
                FreeHuffDecodeTable(decoder, support->codeTables[j]);
                support->codeTables[j] = nullptr;
            }
            return 1;
        }
    }
    return 0;
}

unsigned char* AllocatePlane(CVeltraneSupport* support, int32_t visibleWidth,
                             int32_t visibleHeight) {
    const uint32_t bytes = static_cast<uint32_t>(visibleWidth + 2 * kBorder) *
                           static_cast<uint32_t>(visibleHeight + 2 * kBorder);
    auto* block = static_cast<unsigned char*>(support->QXAllocPtrAligned(bytes, kPlaneAlignment));
    return block == nullptr ? nullptr : block + OriginOffset(visibleWidth);
}

void FreePlane(CVeltraneSupport* support, unsigned char* origin, int32_t visibleWidth) {
    if (origin != nullptr) {
        support->QXFreePtrAligned(origin - OriginOffset(visibleWidth));
    }
}

bool AllocateStores(DecodeInstance_t* d) {
    CVeltraneSupport* support = d->support;
    const int32_t chromaWidth = d->alignedWidth / 2;
    const int32_t chromaHeight = d->alignedHeight / 2;
    for (FrameStore_t& store : d->stores) {
        store[kPlaneY] = AllocatePlane(support, d->alignedWidth, d->alignedHeight);
        if (store[kPlaneY] == nullptr) return false;
        store[kPlaneU] = AllocatePlane(support, chromaWidth, chromaHeight);
        if (store[kPlaneU] == nullptr) return false;
        store[kPlaneV] = AllocatePlane(support, chromaWidth, chromaHeight);
        if (store[kPlaneV] == nullptr) return false;
    }
    return true;
}

}  // namespace

int32_t H263DecompressOpen(void** decoder, int32_t width, int32_t height, IAllocator* allocator) {
    // Bounding the size keeps every allocation size far inside 32 bits.
    if (width < 0 || height < 0 || width > VELTRANE_MAX_DIMENSION ||
        height > VELTRANE_MAX_DIMENSION) {
        return 1;
    }
    auto* d =
        static_cast<DecodeInstance_t*>(IAllocator_Malloc(allocator, sizeof(DecodeInstance_t)));
    if (d == nullptr) {
        return 1;
    }
    *d = DecodeInstance_t{};
    void* supportBlock = IAllocator_Malloc(allocator, sizeof(CVeltraneSupport));
    if (supportBlock == nullptr) {
        IAllocator_Free(d);
        return 1;
    }
    d->support = new (supportBlock) CVeltraneSupport(allocator);
    CVeltraneSupport* support = d->support;

    if (support->useCount == 0 && BuildCodeTrees(d) != 0) {
        H263DecompressClose(d);
        return 1;
    }
    ++support->useCount;

    OpenFifo(allocator, &d->fifo);
    if (d->fifo == nullptr) {
        H263DecompressClose(d);
        return 1;
    }
    d->width = width;
    d->height = height;
    d->alignedWidth = (width + 15) & ~15;
    d->alignedHeight = (height + 15) & ~15;
    d->mbCount = (d->alignedWidth / 16) * (d->alignedHeight / 16);
    d->frameCount = 0;
    d->current = 0;
    if (!AllocateStores(d)) {
        H263DecompressClose(d);
        return 1;
    }
    const auto mbCount = static_cast<uint32_t>(d->mbCount);
    d->mbTypes = static_cast<int16_t*>(support->QXAllocPtr(mbCount * sizeof(int16_t)));
    d->mbQuant = static_cast<int32_t*>(support->QXAllocPtrSet(mbCount * sizeof(int32_t), 0));
    d->mbVectors =
        static_cast<macroblockvec_t*>(support->QXAllocPtr(mbCount * sizeof(macroblockvec_t)));
    d->yStride = d->alignedWidth + 2 * kBorder;
    d->uvStride = d->alignedWidth / 2 + 2 * kBorder;
    d->coefficients = static_cast<int16_t*>(support->QXAllocPtr(kCoefficientBytes));
    if (d->mbTypes == nullptr || d->mbQuant == nullptr || d->mbVectors == nullptr ||
        d->coefficients == nullptr) {
        H263DecompressClose(d);
        return 1;
    }
    *decoder = d;
    return 0;
}

void H263DecompressClose(void* decoder) {
    auto* d = static_cast<DecodeInstance_t*>(decoder);
    if (d == nullptr) {
        return;
    }
    CVeltraneSupport* support = d->support;
    if (support != nullptr) {
        if (support->useCount > 0 && --support->useCount == 0) {
            for (void*& tree : support->codeTables) {
                if (tree != nullptr) {
                    FreeHuffDecodeTable(d, tree);
                    tree = nullptr;
                }
            }
        }
        CloseFifo(d->fifo);
        const int32_t chromaWidth = d->alignedWidth / 2;
        for (FrameStore_t& store : d->stores) {
            FreePlane(support, store[kPlaneY], d->alignedWidth);
            FreePlane(support, store[kPlaneU], chromaWidth);
            FreePlane(support, store[kPlaneV], chromaWidth);
        }
        support->QXFreePtr(d->mbTypes);
        support->QXFreePtr(d->mbQuant);
        support->QXFreePtr(d->mbVectors);
        support->QXFreePtr(d->coefficients);
        support->~CVeltraneSupport();
        IAllocator_Free(support);
    }
    IAllocator_Free(d);
}

int32_t SetDeblockingMethod(void* decoder, int32_t method) {
    static_cast<DecodeInstance_t*>(decoder)->deblockingMethod = method;
    return 0;
}

int32_t GetDeblockingMethod(void* decoder, int32_t* method) {
    *method = static_cast<DecodeInstance_t*>(decoder)->deblockingMethod;
    return 0;
}
