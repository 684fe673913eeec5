// The reading position of the macroblock decoder: a bit reader's state held in
// registers, with the next bytes of the frame cached in a 64-bit word, so that a
// field or code costs a shift and a mask instead of four byte loads. A cursor is
// taken from a fifo_t and stored back into it; in between it behaves exactly as
// the reader's inline reads do: a read past the end yields 0 (or no value),
// records error 4 and does not move, bits that begin no code record error 12,
// and no byte at or past the end of the frame is ever loaded (such bytes read as
// zero).
#ifndef VELTRANE_CORE_BIT_CURSOR_H
#define VELTRANE_CORE_BIT_CURSOR_H

#include <cstdint>
#include <cstring>

#include "entropy/flat_code_tables.h"
#include "veltrane/bitreader.h"

namespace veltrane {

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

    uint32_t position() const { return pos_; }
    uint32_t BitsLeft() const { return bitCount_ - pos_; }
    uint32_t error() const { return error_; }
    void RecordError(uint32_t error) { error_ = error; }

    // The 32 bits from the current position on, first bit topmost.
    uint32_t Peek() {
        uint32_t offset = pos_ - cacheBit_;
        if (offset > 32) {
            Refill();
            offset = pos_ - cacheBit_;
        }
        return static_cast<uint32_t>((cache_ << offset) >> 32);
    }

    // Moves over `count` bits that are known to remain.
    void Skip(uint32_t count) { pos_ += count; }

    // A fixed-width field of 1 to 25 bits.
    uint32_t Read(unsigned count) {
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
    bool Decode(const Table& table, int32_t* value) {
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
    void Refill() {
        const uint32_t byte = pos_ >> 3;
        cacheBit_ = byte * 8;
        if (byte < bufferSize_ && bufferSize_ - byte >= 8) {
            uint64_t word;
            std::memcpy(&word, buffer_ + byte, 8);
            cache_ = FromBigEndian(word);
            return;
        }
        cache_ = 0;
        for (uint32_t i = 0; i < 8 && byte + i < bufferSize_; ++i) {
            cache_ |= uint64_t{buffer_[byte + i]} << (56 - 8 * i);
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
