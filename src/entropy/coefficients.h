// Transform coefficient events (LAST, RUN, LEVEL), their dequantisation, and the
// reading of one block's coefficients at a bit cursor.
#ifndef VELTRANE_ENTROPY_COEFFICIENTS_H
#define VELTRANE_ENTROPY_COEFFICIENTS_H

#include <cstdint>

#include "core/bit_cursor.h"
#include "entropy/flat_code_tables.h"
#include "veltrane/bitreader.h"
#include "veltrane/support.h"

namespace veltrane {

// The zigzag order: entry i is the position (8 x row + column) of the i-th
// coefficient in scan order.
extern const uint8_t ZigzagScan[64];

// Reads one TCOEF event through the decoder's tree. The escape layout depends on
// the format version: 0 has an 8-bit level, 1 a format bit choosing a 7-bit or
// an 11-bit level. A failed code lookup gives LAST 1, RUN 0, LEVEL 0, so a block
// always ends.
void DecodeBlockCoefficients(CVeltraneSupport* support, fifo_t* fifo, int version, int* last,
                             int* run, int* level);

// Dequantises one level with quantiser `quant`, limited to -2048..2047.
inline int32_t DequantiseLevel(int level, int quant) {
    if (level == 0) {
        return 0;
    }
    const int32_t offset = (quant & 1) ? quant : quant - 1;
    if (level > 0) {
        const int32_t value = 2 * quant * level + offset;
        return value > 2047 ? 2047 : value;
    }
    const int32_t value = 2 * quant * level - offset;
    return value < -2048 ? -2048 : value;
}

struct TcoefEvent {
    int last;
    int run;
    int level;
};

// The fields behind an ESCAPE (already consumed). A frame that ends inside them
// records error 4 and yields LAST 0, RUN 0, LEVEL 0.
TcoefEvent ReadEscapedEvent(BitCursor& bits, int version);

// Reads one TCOEF event at the cursor; the same rules as DecodeBlockCoefficients.
VELTRANE_HOT_INLINE TcoefEvent ReadTcoefEvent(BitCursor& bits, int version) {
    const uint32_t word = bits.Peek();
    const FlatCodeEntry entry = LookUpFlat(kTcoefFlat, word);
    if (entry.length == 0) {
        bits.RecordError(kFifoErrorBadCode);
        return {1, 0, 0};
    }
    if (entry.length > bits.BitsLeft()) {
        bits.RecordError(kFifoErrorOutOfData);
        return {1, 0, 0};
    }
    bits.Skip(entry.length);
    if (entry.value == kTcoefEscapeEvent) {
        BitCursor escape = bits;  // keeps the caller's cursor in registers
        const TcoefEvent event = ReadEscapedEvent(escape, version);
        bits = escape;
        return event;
    }
    TcoefEvent event{(entry.value & kTcoefEventLast) ? 1 : 0,
                     (entry.value >> kTcoefEventRunShift) & 63, entry.value & 0xFF};
    if (bits.BitsLeft() == 0) {
        bits.RecordError(kFifoErrorOutOfData);  // the sign is missing: keep the level positive
        return event;
    }
    // The sign is the bit right behind the code, already in the peeked word.
    if ((word >> (31 - entry.length)) & 1) {
        event.level = -event.level;
    }
    bits.Skip(1);
    return event;
}

// Reads the events of one block into `block` (zeroed by the caller) from scan
// index `scan` on. Returns one past the scan index of the last coefficient, or
// 0 when a run carried the index past 63 and the block is abandoned.
//
// An event from the table with its sign bit inside the frame takes the fast way:
// its level (at most 12) cannot reach the dequantisation limits. Escapes, failed
// lookups and a frame ending at the sign go through ReadTcoefEvent.
VELTRANE_HOT_INLINE int ReadBlockCoefficients(BitCursor& bits, int version, int quant, int scan,
                                              int16_t* block) {
    const int twiceQuant = 2 * quant;
    const int rounding = (quant & 1) ? quant : quant - 1;
    for (;;) {
        const uint32_t event = kTcoefSignedEvents.events[bits.Peek() >> (32 - kTcoefSignedBits)];
        const uint32_t length = event & 15;  // code and sign; 0: the general way
        int last;
        if (length - 1 < bits.BitsLeft()) {
            bits.Skip(length);
            scan += (event >> 4) & 63;
            if (scan > 63) {
                return 0;
            }
            const int magnitude = twiceQuant * static_cast<int>(event >> 16) + rounding;
            const int negative = -static_cast<int>((event >> 11) & 1);
            block[ZigzagScan[scan]] = static_cast<int16_t>((magnitude ^ negative) - negative);
            last = event & (1u << 10);
        } else {
            const TcoefEvent event = ReadTcoefEvent(bits, version);
            scan += event.run;
            if (scan > 63) {
                return 0;
            }
            block[ZigzagScan[scan]] = static_cast<int16_t>(DequantiseLevel(event.level, quant));
            last = event.last;
        }
        ++scan;
        if (last) {
            return scan;
        }
    }
}

// INTRADC: 8 bits, 255 standing for 128. Out of data: 0 and error 4.
VELTRANE_HOT_INLINE int ReadIntraDc(BitCursor& bits) {
    if (bits.BitsLeft() < 8) {
        bits.RecordError(kFifoErrorOutOfData);
        return 0;
    }
    const uint32_t dc = bits.Read(8);
    return dc == 255 ? 128 : static_cast<int>(dc);
}

}  // namespace veltrane

#endif
