// Lookup of one variable-length code through a decode tree.
#ifndef VELTRANE_ENTROPY_HUFFMAN_H
#define VELTRANE_ENTROPY_HUFFMAN_H

#include <cstdint>

#include "core/bit_reader.h"
#include "veltrane/entropy.h"

namespace veltrane {

// Looks up the code at the reader's position. On success consumes it, stores its
// value and returns true. Bits that begin no code record error 12, a code longer
// than the remaining bits records error 4; both consume nothing.
inline bool HuffDecodeSymbol(fifo_t* fifo, const HuffDecodeEntry_t* root, int32_t* value) {
    uint32_t bits = PeekWord(fifo);
    const HuffDecodeEntry_t* entry = &root[bits >> 24];
    while (entry->next != nullptr) {
        bits <<= 8;
        entry = &entry->next[bits >> 24];
    }
    const auto length = static_cast<uint32_t>(entry->length);
    if (length == 0) {
        fifo->error = kFifoErrorBadCode;
        return false;
    }
    if (length > BitsLeft(fifo)) {
        fifo->error = kFifoErrorOutOfData;
        return false;
    }
    fifo->bitPos += length;
    *value = entry->value;
    return true;
}

}  // namespace veltrane

#endif
