// Inline reading over a fifo_t. Every field and code of a frame is read in place
// through these helpers: at most four byte loads per read, no cache word, and
// no byte at or past bufferSize is ever loaded (such bytes read as zero).
#ifndef VELTRANE_CORE_BIT_READER_H
#define VELTRANE_CORE_BIT_READER_H

#include <cstdint>
#include <cstring>

#include "veltrane/bitreader.h"

namespace veltrane {

inline uint32_t BitsLeft(const fifo_t* fifo) { return fifo->bitCount - fifo->bitPos; }

// The 32 bits starting at the byte that holds the current bit, shifted left by
// the bit offset within that byte: the next 25 or more bits, first bit topmost.
inline uint32_t PeekWord(const fifo_t* fifo) {
    const uint32_t byteIndex = fifo->bitPos >> 3;
    const unsigned char* p = fifo->buffer + byteIndex;
    uint32_t word;
    if (static_cast<int64_t>(byteIndex) + 4 <= fifo->bufferSize) {
        unsigned char bytes[4];
        std::memcpy(bytes, p, 4);
        word = (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) |
               uint32_t{bytes[3]};
    } else {
        word = 0;
        const int64_t available = static_cast<int64_t>(fifo->bufferSize) - byteIndex;
        for (int64_t i = 0; i < available && i < 4; ++i) {
            word |= uint32_t{p[i]} << (24 - 8 * i);
        }
    }
    return word << (fifo->bitPos & 7);
}

// A fixed-width field of 1 to 25 bits. Out of data: 0, error 4, no movement.
inline uint32_t ReadBits(fifo_t* fifo, unsigned count) {
    if (BitsLeft(fifo) < count) {
        fifo->error = kFifoErrorOutOfData;
        return 0;
    }
    const uint32_t value = PeekWord(fifo) >> (32 - count);
    fifo->bitPos += count;
    return value;
}

inline uint32_t ReadBit(fifo_t* fifo) { return ReadBits(fifo, 1); }

// Skips `count` bits that are known to remain.
inline void SkipBits(fifo_t* fifo, unsigned count) { fifo->bitPos += count; }

}  // namespace veltrane

#endif
