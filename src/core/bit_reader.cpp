// The bit reader's set-up, peek, error register and the bit writer that appends
// to the same buffer.
#include "core/bit_reader.h"

#include "veltrane/bitreader.h"

namespace {
const unsigned char kSetMask[8] = {0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01};
const unsigned char kClearMask[8] = {0x7F, 0xBF, 0xDF, 0xEF, 0xF7, 0xFB, 0xFD, 0xFE};
}  // namespace

void OpenFifo(IAllocator* allocator, fifo_t** fifo) {
    auto* reader = static_cast<fifo_t*>(IAllocator_Malloc(allocator, sizeof(fifo_t)));
    if (reader != nullptr) {
        *reader = fifo_t{};
    }
    *fifo = reader;
}

void CloseFifo(fifo_t* fifo) { IAllocator_Free(fifo); }

void SetFifoBuffer(fifo_t* fifo, const unsigned char* buffer, int32_t bufferSize, uint32_t bitCount,
                   uint32_t startBit) {
    // Only PutFifo writes through the pointer, and only into a buffer its caller made writable.
    fifo->buffer = const_cast<unsigned char*>(buffer);
    fifo->bufferSize = bufferSize;
    fifo->bitCount = bitCount;
    fifo->bitPos = startBit;
    // The last three bytes stay out of the writer's reach so that a buffer filled
    // through PutFifo always has readable bytes behind its data.
    fifo->freeBits = static_cast<int32_t>((static_cast<int64_t>(bufferSize) - 3) * 8 - bitCount);
}

uint32_t PeekFifo(fifo_t* fifo, uint32_t count) {
    if (count == 0 || count > 25) {
        return 0;  // outside the peekable range
    }
    if (veltrane::BitsLeft(fifo) < count) {
        fifo->error = kFifoErrorOutOfData;
        return 0;
    }
    return veltrane::PeekWord(fifo) >> (32 - count);
}

void PutFifo(fifo_t* fifo, uint32_t value, uint32_t count) {
    if (fifo->freeBits < 0 || static_cast<uint32_t>(fifo->freeBits) < count) {
        fifo->error = kFifoErrorNoRoom;
        return;
    }
    uint32_t position = fifo->bitCount;
    for (uint32_t bit = count; bit-- > 0;) {
        unsigned char& byte = fifo->buffer[position >> 3];
        const uint32_t p = position & 7;
        if ((value >> bit) & 1) {
            byte |= kSetMask[p];
        } else {
            byte &= kClearMask[p];
        }
        ++position;
    }
    fifo->bitCount = position;
    fifo->freeBits -= static_cast<int32_t>(count);
}

uint32_t PutFifoToNextByteZero(fifo_t* fifo) {
    const uint32_t zeros = (8 - (fifo->bitCount & 7)) & 7;
    PutFifo(fifo, 0, zeros);
    return zeros;
}

uint32_t GetLastFifoError(fifo_t* fifo) {
    const uint32_t error = fifo->error;
    fifo->error = 0;
    return error;
}
