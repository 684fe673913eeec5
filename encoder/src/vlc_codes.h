// Encode-side view of the library's static code tables: value -> code, and the
// (LAST, RUN, |LEVEL|) -> TCOEF index map. Built from the decoder's own tables so
// that the two sides cannot disagree.
#ifndef VELTRANE_ENCODER_VLC_CODES_H
#define VELTRANE_ENCODER_VLC_CODES_H

#include <cstdint>

#include "bit_writer.h"

namespace veltrane::enc {

struct VlcCode {
    uint16_t bits = 0;   // right-aligned
    uint8_t length = 0;  // 0: the value has no code
};

// Code of `value` in a static code table (N, V0, length/bits pairs); length 0
// when the value lies outside the table.
VlcCode CodeOf(const int16_t* table, int value);

// TCOEF index (0..101) of the event, or -1 when it needs an ESCAPE.
int TcoefIndexOf(int last, int run, int absLevel);

inline void PutCode(BitWriter& writer, const int16_t* table, int value) {
    const VlcCode code = CodeOf(table, value);
    writer.Put(code.bits, code.length);
}

// Bits of the MVD code of one component difference, -32..31.
int MvdBits(int difference);

}  // namespace veltrane::enc

#endif
