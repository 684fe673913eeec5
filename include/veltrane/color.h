/* YUV 4:2:0 to RGB: the colour converter, BGRA images and display-surface blits. */
#ifndef VELTRANE_COLOR_H
#define VELTRANE_COLOR_H

#include <stdint.h>

#include "veltrane/allocator.h"
#include "veltrane/session.h"

VELTRANE_EXTERN_C_BEGIN

/* Three packed tables of 256 entries, back to back in one block. */
struct ColorConverter_t {
    uint32_t yImpact[256];
    uint32_t vImpact[256];
    uint32_t uImpact[256];
};

/* 16-bit surface layouts. */
typedef enum EPixelFormat {
    ePixelFormatRGB555 = 4,
    ePixelFormatRGB565 = 5,
    ePixelFormatARGB4444 = 6
} EPixelFormat;

VELTRANE_API ColorConverter_t* OpenColorConverter(IAllocator* allocator);
VELTRANE_API void CloseColorConverter(ColorConverter_t* converter);
VELTRANE_API void SetYImpact(uint32_t* table);
VELTRANE_API void SetUVImpact(uint32_t* uTable, uint32_t* vTable);

VELTRANE_API int32_t CreateBGRAFromYUV(void* session, QXImage_t* image);
VELTRANE_API void ConvertCharYUV12ToBGRA(const ColorConverter_t* converter, int width, int height,
                                         int yStride, int uvStride, const unsigned char* y,
                                         const unsigned char* u, const unsigned char* v,
                                         QXImage_t* image, int32_t reserved);
VELTRANE_API void ConvertCharYUV12AToBGRA(const ColorConverter_t* converter, int width, int height,
                                          int yStride, int uvStride, int alphaStride,
                                          const unsigned char* y, const unsigned char* u,
                                          const unsigned char* v, const unsigned char* alpha,
                                          QXImage_t* image, int32_t reserved);

/* Positions are 32-bit signed; 32-bit destinations are arrays of 32-bit words. */
VELTRANE_API int32_t BlitYUVto32(void* session, int32_t column, int32_t row, int count,
                                 uint32_t* dest);
VELTRANE_API int32_t BlitYUVto32Single(void* session, int32_t column, int32_t row, uint32_t* dest);
VELTRANE_API int32_t BlitYUVto16(void* session, int32_t column, int32_t row, int count,
                                 uint16_t* dest, EPixelFormat format);
VELTRANE_API int32_t BlitYUVto16Single(void* session, int32_t column, int32_t row, uint16_t* dest,
                                       EPixelFormat format);
VELTRANE_API void ConvertCharYUV12ToRGBASpan(const ColorConverter_t* converter, int width,
                                             int height, int yStride, int uvStride,
                                             const unsigned char* yPlane,
                                             const unsigned char* uPlane,
                                             const unsigned char* vPlane, uint32_t* dest, int count,
                                             int32_t column, int32_t row);
VELTRANE_API void ConvertCharYUV12ToRGB16Single(const ColorConverter_t* converter, int width,
                                                int height, int yStride, int uvStride,
                                                const unsigned char* yPlane,
                                                const unsigned char* uPlane,
                                                const unsigned char* vPlane, uint16_t* dest,
                                                int32_t column, int32_t row, EPixelFormat format);

VELTRANE_EXTERN_C_END

#endif
