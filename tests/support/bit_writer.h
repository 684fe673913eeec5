// Builds test streams bit by bit, most significant bit first, with the codes of
// the library's own code tables.
#ifndef VELTRANE_TESTS_BIT_WRITER_H
#define VELTRANE_TESTS_BIT_WRITER_H

#include <cstdint>
#include <string>
#include <vector>

namespace veltrane::test {

class BitWriter {
public:
    // Appends the low `count` bits of `value`.
    BitWriter& Put(uint32_t value, int count) {
        for (int bit = count - 1; bit >= 0; --bit) {
            if ((bitCount_ & 7) == 0) bytes_.push_back(0);
            if ((value >> bit) & 1) bytes_.back() |= static_cast<uint8_t>(0x80 >> (bitCount_ & 7));
            ++bitCount_;
        }
        return *this;
    }
    // Appends a string of '0' and '1' characters; other characters are ignored.
    BitWriter& Bits(const std::string& bits) {
        for (char c : bits) {
            if (c == '0' || c == '1') Put(c == '1' ? 1 : 0, 1);
        }
        return *this;
    }
    // Appends the code of `value` from a static code table (N, V0, length/bits pairs).
    BitWriter& Code(const int16_t* table, int value) {
        const int i = value - table[1];
        return Put(static_cast<uint16_t>(table[3 + 2 * i]), table[2 + 2 * i]);
    }
    // Pads with zero bits up to the next byte boundary.
    BitWriter& AlignZero() {
        while (bitCount_ & 7) Put(0, 1);
        return *this;
    }
    size_t bitCount() const { return bitCount_; }
    const std::vector<uint8_t>& bytes() const { return bytes_; }

private:
    std::vector<uint8_t> bytes_;
    size_t bitCount_ = 0;
};

}  // namespace veltrane::test

#endif
