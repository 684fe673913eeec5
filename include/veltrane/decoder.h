/* Decoder state, frame stores and the picture decoder. */
#ifndef VELTRANE_DECODER_H
#define VELTRANE_DECODER_H

#include <stdint.h>

#include "veltrane/allocator.h"
#include "veltrane/bitreader.h"

VELTRANE_EXTERN_C_BEGIN

/* Status codes of the session and decoder functions. */
enum {
    kStatusOk = 0,
    kStatusOutOfData = 4,          /* the frame ended inside a field or code */
    kStatusBadData = 12,           /* bad start code, version, source format or code */
    kStatusBadSettings = 16,       /* settings record of the wrong size */
    kStatusSizeChanged = 30,       /* the frame's picture size differs from the session's */
    kStatusBadMacroblockType = 44, /* a macroblock type out of range */
    kStatusBadImageFormat = 50     /* output image format is not 3 */
};

/* Largest width or height (in pixels) a decoder opens for; see H263DecompressOpen. */
#define VELTRANE_MAX_DIMENSION 4096

typedef struct PictureHeader_t {
    uint32_t temporalReference;
    uint32_t width;
    uint32_t height;
    uint32_t alignedWidth;
    uint32_t alignedHeight;
    uint32_t pictureType; /* 0 intra, 1 inter, 2 disposable inter, 3 no macroblock data */
    uint32_t deblocking;
    uint32_t quantiser;
    uint32_t version;
} PictureHeader_t;

/* One motion vector in half-sample units, each component within -32..31. */
typedef struct MotionVector_t {
    int32_t x;
    int32_t y;
} MotionVector_t;

/* The four luma-block vectors of one macroblock: upper-left, upper-right,
 * lower-left, lower-right. One-vector macroblocks use only the first. */
typedef struct macroblockvec_t {
    MotionVector_t vectors[4];
} macroblockvec_t;

/* The three plane origins of one frame store, in the order y, u, v. */
typedef unsigned char* FrameStore_t[3];
enum { kPlaneY = 0, kPlaneU = 1, kPlaneV = 2 };

#ifdef __cplusplus
class CVeltraneSupport;
#else
typedef struct CVeltraneSupport CVeltraneSupport;
#endif

typedef struct DecodeInstance_t {
    int32_t alignedWidth;
    int32_t alignedHeight;
    int32_t mbCount;
    int32_t frameCount; /* pictures decoded successfully since open */
    fifo_t* fifo;
    int32_t width;
    int32_t height;
    int16_t* mbTypes; /* macroblock type per macroblock of the current P picture */
    int32_t* mbQuant; /* quantiser in force at the end of each macroblock */
    macroblockvec_t* mbVectors;
    int32_t current; /* store the next picture is decoded into */
    FrameStore_t stores[2];
    int32_t yStride;          /* alignedWidth + 32 */
    int32_t uvStride;         /* alignedWidth / 2 + 32 */
    int32_t deblockingMethod; /* stored and reported only */
    CVeltraneSupport* support;
    int16_t* coefficients; /* residual buffer of one macroblock, 384 entries */
} DecodeInstance_t;

/* Opens a decoder for width x height; 0 on success, 1 on any failure (nothing
 * stays allocated). Sizes above VELTRANE_MAX_DIMENSION or below 0 fail. */
VELTRANE_API int32_t H263DecompressOpen(void** decoder, int32_t width, int32_t height,
                                        IAllocator* allocator);
VELTRANE_API void H263DecompressClose(void* decoder);
/* Decodes one frame; on status 0 returns the planes of the decoded store and
 * the strides. */
VELTRANE_API int32_t H263DecompressFrame(void* decoder, const unsigned char* frame, int32_t size,
                                         unsigned char*** planes, int32_t* yStride,
                                         int32_t* uvStride);
/* Reports the picture type and size of a frame without decoding it; 0 or 12. */
VELTRANE_API int32_t GetFrameAttributes(void* decoder, const unsigned char* frame, uint32_t size,
                                        uint32_t* pictureType, uint32_t* width, uint32_t* height);
VELTRANE_API void FillPlaneBoundaries(unsigned char* plane, int32_t width, int32_t height,
                                      int32_t stride);
VELTRANE_API int32_t SetDeblockingMethod(void* decoder, int32_t method);
VELTRANE_API int32_t GetDeblockingMethod(void* decoder, int32_t* method);

VELTRANE_EXTERN_C_END

#endif
