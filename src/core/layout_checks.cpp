// On the 32-bit target the records keep the exact layouts hosts and tools rely on.
#include <cstddef>

#include "veltrane/entropy.h"
#include "veltrane/session.h"
#include "veltrane/support.h"

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(fifo_t) == 24);
static_assert(offsetof(fifo_t, buffer) == 8 && offsetof(fifo_t, error) == 20);
static_assert(sizeof(PictureHeader_t) == 36);
static_assert(sizeof(macroblockvec_t) == 32);
static_assert(sizeof(HuffDecodeEntry_t) == 12);
static_assert(offsetof(DecodeInstance_t, fifo) == 16);
static_assert(offsetof(DecodeInstance_t, mbTypes) == 28);
static_assert(offsetof(DecodeInstance_t, current) == 40);
static_assert(offsetof(DecodeInstance_t, stores) == 44);
static_assert(offsetof(DecodeInstance_t, yStride) == 68);
static_assert(offsetof(DecodeInstance_t, support) == 80);
static_assert(offsetof(DecodeInstance_t, coefficients) == 84);
static_assert(sizeof(DecodeInstance_t) == 88);
static_assert(offsetof(CVeltraneSupport, codeTables) == 4);
static_assert(offsetof(CVeltraneSupport, allocator) == 24);
static_assert(sizeof(CVeltraneSupport) == 28);
static_assert(offsetof(DecompressSession_t, planes) == 16);
static_assert(offsetof(DecompressSession_t, eightBitPlanes) == 32);
static_assert(sizeof(DecompressSession_t) == 36);
static_assert(sizeof(DecompressSettings_t) == 8);
static_assert(offsetof(QXImage_t, pixels) == 20);
static_assert(sizeof(QXImage_t) == 24);
#endif

// The same fields in the same order on every platform.
static_assert(sizeof(macroblockvec_t) == 32);
static_assert(offsetof(DecodeInstance_t, alignedWidth) == 0);
static_assert(offsetof(DecompressSession_t, decoder) == 0);
