/* The session interface: one decoder plus one colour converter, and the planes
 * of the last decoded picture. */
#ifndef VELTRANE_SESSION_H
#define VELTRANE_SESSION_H

#include <stdint.h>

#include "veltrane/allocator.h"
#include "veltrane/decoder.h"

VELTRANE_EXTERN_C_BEGIN

typedef struct ColorConverter_t ColorConverter_t;

/* The planes of the last decoded picture; alpha is set by DecompressSetAlpha. */
typedef struct DecompressPlanes_t {
    unsigned char* y;
    unsigned char* u;
    unsigned char* v;
    unsigned char* alpha;
} DecompressPlanes_t;

typedef struct DecompressSession_t {
    DecodeInstance_t* decoder;
    ColorConverter_t* colorConverter;
    int32_t width;
    int32_t height;
    DecompressPlanes_t* planes;
    int32_t yStride;
    int32_t uvStride;
    int32_t alphaStride;
    int32_t eightBitPlanes; /* always 1: the planes hold 8-bit samples */
} DecompressSession_t;

typedef struct DecompressSettings_t {
    uint32_t size; /* must be 8 */
    int32_t deblockingMethod;
} DecompressSettings_t;

/* The caller's output image; format 3 (32-bit BGRA) is the only one accepted. */
typedef struct QXImage_t {
    uint32_t format;
    int32_t width;
    int32_t height;
    uint32_t bottomUp;
    int32_t rowBytes;
    unsigned char* pixels;
} QXImage_t;

enum { kQXImageFormatBGRA32 = 3 };

VELTRANE_API void* DecompressOpen(int32_t width, int32_t height, IAllocator* allocator);
VELTRANE_API int32_t DecompressClose(void* session);
VELTRANE_API int32_t DecompressFrame(void* session, const unsigned char* data, uint32_t size,
                                     QXImage_t* image);
VELTRANE_API int32_t DecompressGetFrameAttributes(void* session, const unsigned char* data,
                                                  uint32_t size, uint32_t* pictureType,
                                                  uint32_t* width, uint32_t* height);
VELTRANE_API int32_t DecompressSetSettings(void* session, const DecompressSettings_t* settings);
VELTRANE_API int32_t DecompressGetSettings(void* session, DecompressSettings_t* settings);
VELTRANE_API int32_t DecompressSetAlpha(void* session, void* alphaSession);

VELTRANE_EXTERN_C_END

#endif
