// Most-significant-bit-first writer that appends to a byte vector.
#ifndef VELTRANE_ENCODER_BIT_WRITER_H
#define VELTRANE_ENCODER_BIT_WRITER_H

#include <cstdint>
#include <vector>

namespace veltrane::enc {

class BitWriter {
public:
    explicit BitWriter(std::vector<uint8_t>* out) : out_(out) {}

    // Appends the low `count` bits of `value` (count 0..32), first bit = bit count - 1.
    void Put(uint32_t value, int count) {
        if (count <= 0) return;
        const uint64_t mask = (uint64_t{1} << count) - 1;
        acc_ = (acc_ << count) | (value & mask);
        pending_ += count;
        while (pending_ >= 8) {
            pending_ -= 8;
            out_->push_back(static_cast<uint8_t>(acc_ >> pending_));
        }
        bits_ += static_cast<uint64_t>(count);
    }

    // Pads with zero bits to the next byte boundary.
    void Flush() {
        if (pending_ > 0) Put(0, 8 - pending_);
    }

    uint64_t BitCount() const { return bits_; }

private:
    std::vector<uint8_t>* out_;
    uint64_t acc_ = 0;  // only the low `pending_` bits are still to be written
    int pending_ = 0;
    uint64_t bits_ = 0;
};

}  // namespace veltrane::enc

#endif
