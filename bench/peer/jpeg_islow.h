// libjpeg-turbo's accurate integer inverse DCT ("islow"), the peer for our
// transforms: the same 13-bit fixed-point arithmetic. Its SIMD routine is not
// exported by name, so it is taken from a decompressor set up for a tiny JPEG
// made in memory with quantisation tables of all 1s: the routine libjpeg-turbo
// selected for this CPU for component 0.
#ifndef VELTRANE_BENCH_PEER_JPEG_ISLOW_H
#define VELTRANE_BENCH_PEER_JPEG_ISLOW_H

#include <cstdint>
#include <string>
#include <vector>

namespace veltrane::peer {

class JpegIslow {
public:
    JpegIslow();
    ~JpegIslow();
    JpegIslow(const JpegIslow&) = delete;
    JpegIslow& operator=(const JpegIslow&) = delete;

    // False, with a message in `error`, when libjpeg-turbo could not be set up.
    bool Open(std::string* error);
    // The instruction set of the routine libjpeg-turbo selected: "AVX2", "SSE2"
    // or "C" (its plain jpeg_idct_islow).
    std::string SelectedInstructionSet() const;

    // Transforms 64 row-major coefficients (already multiplied out: the tables
    // are all 1s) into 8 rows of 8 samples, each row `stride` bytes after the
    // one before. Samples are clamped to 0..255 and carry a +128 offset, as JPEG
    // samples do. `Selected` runs the routine chosen for this CPU, `PlainC`
    // libjpeg-turbo's C version.
    void Selected(const int16_t* coefficients, uint8_t* out, int stride) const;
    void PlainC(const int16_t* coefficients, uint8_t* out, int stride) const;

private:
    struct State;
    State* state_;
};

}  // namespace veltrane::peer

#endif
