// The reading position of the macroblock decoder: a bit reader's state held in
// registers, with the next bytes of the frame cached in a 64-bit word, so that a
// field or code costs a shift and a mask instead of four byte loads. A cursor is
// taken from a fifo_t and stored back into it; in between it behaves exactly as
// the reader's inline reads do: a read past the end yields 0 (or no value),
// records error 4 and does not move, bits that begin no code record error 12,
// and no byte at or past the end of the frame is ever loaded (such bytes read as
// zero).
//
// The picture loop keeps its cursor in registers: every function on its hot
// path is inlined (VELTRANE_HOT_INLINE), and the rare paths work on a copy, so
// that the cursor's address never escapes.
#ifndef VELTRANE_CORE_BIT_CURSOR_H
#define VELTRANE_CORE_BIT_CURSOR_H

#include <cstdint>
#include <cstring>

#include "entropy/flat_code_tables.h"
#include "veltrane/bitreader.h"

#define VELTRANE_HOT_INLINE inline __attribute__((always_inline))

namespace veltrane {

// The 64 bits from byte `byte` on, the first byte topmost, where some of them lie
// at or past the end of the frame (those read as zero).
uint64_t LoadFrameTail(const unsigned char* buffer, uint32_t bufferSize, uint32_t byte);

class BitCursor {
public:
    explicit BitCursor(const fifo_t& fifo)
        : buffer_(fifo.buffer),
          bufferSize_(fifo.bufferSize > 0 ? static_cast<uint32_t>(fifo.bufferSize) : 0),
          bitCount_(fifo.bitCount),
          pos_(fifo.bitPos),
          error_(fifo.error) {
        Refill();
    }

    void StoreTo(fifo_t& fifo) const {
        fifo.bitPos = pos_;
        fifo.error = error_;
    }

    VELTRANE_HOT_INLINE uint32_t position() const { return pos_; }
    VELTRANE_HOT_INLINE uint32_t BitsLeft() const { return bitCount_ - pos_; }
    VELTRANE_HOT_INLINE uint32_t error() const { return error_; }
    VELTRANE_HOT_INLINE void RecordError(uint32_t error) { error_ = error; }

    // The 32 bits from the current position on, first bit topmost.
    VELTRANE_HOT_INLINE uint32_t Peek() {
        uint32_t offset = pos_ - cacheBit_;
        if (offset > 32) {
            Refill();
            offset = pos_ - cacheBit_;
        }
        return static_cast<uint32_t>((cache_ << offset) >> 32);
    }

    // Moves over `count` bits that are known to remain.
    VELTRANE_HOT_INLINE void Skip(uint32_t count) { pos_ += count; }

    // A fixed-width field of 1 to 25 bits.
    VELTRANE_HOT_INLINE uint32_t Read(unsigned count) {
        if (BitsLeft() < count) {
            error_ = kFifoErrorOutOfData;
            return 0;
        }
        const uint32_t value = Peek() >> (32 - count);
        pos_ += count;
        return value;
    }

    // One code of a flat table; on failure records the error and delivers nothing.
    template <typename Table>
    VELTRANE_HOT_INLINE bool Decode(const Table& table, int32_t* value) {
        const FlatCodeEntry entry = LookUpFlat(table, Peek());
        if (entry.length == 0) {
            error_ = kFifoErrorBadCode;
            return false;
        }
        if (entry.length > BitsLeft()) {
            error_ = kFifoErrorOutOfData;
            return false;
        }
        pos_ += entry.length;
        *value = entry.value;
        return true;
    }

private:
    // Caches the eight bytes from the one that holds the current bit.
    VELTRANE_HOT_INLINE void Refill() {
        const uint32_t byte = pos_ >> 3;
        cacheBit_ = byte * 8;
        if (byte < bufferSize_ && bufferSize_ - byte >= 8) {
            uint64_t word;
            std::memcpy(&word, buffer_ + byte, 8);
            cache_ = FromBigEndian(word);
        } else {
            cache_ = LoadFrameTail(buffer_, bufferSize_, byte);
        }
    }

    static uint64_t FromBigEndian(uint64_t word) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
        return word;
#else
        return __builtin_bswap64(word);
#endif
    }

    const unsigned char* buffer_;
    uint32_t bufferSize_;
    uint32_t bitCount_;
    uint32_t pos_;
    uint32_t error_;
    uint32_t cacheBit_ = 0;  // stream position of the cache's top bit, a multiple of 8
    uint64_t cache_ = 0;
};

}  // namespace veltrane

#endif
