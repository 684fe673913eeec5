/* Code tables and their decode trees, coefficient and motion vector decoding. */
#ifndef VELTRANE_ENTROPY_H
#define VELTRANE_ENTROPY_H

#include <stdint.h>

#include "veltrane/bitreader.h"
#include "veltrane/decoder.h"

VELTRANE_EXTERN_C_BEGIN

/* One entry of a decode-tree node; a node is 256 entries indexed by 8 bits. */
typedef struct HuffDecodeEntry_t {
    int32_t value;                  /* decoded value of the code owning the entry */
    int32_t length;                 /* total code length in bits; 0: no code ends here */
    struct HuffDecodeEntry_t* next; /* child node for the following 8 bits, or null */
} HuffDecodeEntry_t;

/* Builds the decode tree of a static code table; 0 on success, 1 when memory ran out. */
VELTRANE_API int BuildHuffDecodeTable(DecodeInstance_t* decoder, const int16_t* codeTable,
                                      void** root);
VELTRANE_API void FreeHuffDecodeTable(DecodeInstance_t* decoder, void* node);

VELTRANE_API void DecompressIntraBlock(DecodeInstance_t* decoder, int32_t coded, fifo_t* fifo,
                                       int version, int quant, unsigned char* dst, int stride);
VELTRANE_API void DecompressInterBlock(DecodeInstance_t* decoder, int32_t coded, fifo_t* fifo,
                                       int version, int quant, int16_t* dst, int stride);
VELTRANE_API void SetCurrfrmMean(unsigned char* dst, int stride, int value);
VELTRANE_API void SetBlockMean(int16_t* dst, int stride, int value);
VELTRANE_API void SetBlockZero(int16_t* dst, int stride);

VELTRANE_API void GetMotionVectors(DecodeInstance_t* decoder, int mbIndex, int16_t* mbTypes,
                                   macroblockvec_t* mbVectors, fifo_t* fifo, int width,
                                   int32_t firstRow);

VELTRANE_EXTERN_C_END

#endif
