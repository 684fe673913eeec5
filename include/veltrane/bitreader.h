/* The bit reader over one compressed frame, most significant bit first. */
#ifndef VELTRANE_BITREADER_H
#define VELTRANE_BITREADER_H

#include <stdint.h>

#include "veltrane/allocator.h"

VELTRANE_EXTERN_C_BEGIN

/* Error codes recorded in fifo_t.error. */
enum {
    kFifoErrorNoRoom = 2,    /* PutFifo: not enough room for the bits */
    kFifoErrorOutOfData = 4, /* a read needs more bits than remain */
    kFifoErrorBadCode = 12   /* the bits at the position begin no code */
};

typedef struct fifo_t {
    uint32_t bitCount;     /* valid bits from the first bit of buffer; PutFifo appends here */
    uint32_t bitPos;       /* read position in bits */
    unsigned char* buffer; /* the frame data, not owned */
    int32_t bufferSize;    /* size of buffer in bytes */
    int32_t freeBits;      /* room left for PutFifo, in bits */
    uint32_t error;        /* last error recorded, 0 when none */
} fifo_t;

VELTRANE_API void OpenFifo(IAllocator* allocator, fifo_t** fifo);
VELTRANE_API void CloseFifo(fifo_t* fifo);
/* Points the reader at `buffer`. The reader itself never writes through the
 * pointer; only PutFifo does, so a read-only frame may be given for reading. */
VELTRANE_API void SetFifoBuffer(fifo_t* fifo, const unsigned char* buffer, int32_t bufferSize,
                                uint32_t bitCount, uint32_t startBit);
VELTRANE_API uint32_t PeekFifo(fifo_t* fifo, uint32_t count);
VELTRANE_API void PutFifo(fifo_t* fifo, uint32_t value, uint32_t count);
VELTRANE_API uint32_t PutFifoToNextByteZero(fifo_t* fifo);
VELTRANE_API uint32_t GetLastFifoError(fifo_t* fifo);

VELTRANE_EXTERN_C_END

#endif
