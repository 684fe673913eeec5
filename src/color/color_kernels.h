// The colour conversion kernel family: row functions under the planar drivers
// of the BGRA image, the alpha image and the 32- and 16-bit blits. One table per
// instruction set; the plain C table, which reads the converter's packed
// tables, is the reference twin of the others.
//
// A row function converts `width` pixels (any count from 0) of a row that
// begins at an even column, so that pixels 2k and 2k + 1 share chroma sample k;
// an odd last pixel uses the chroma sample after the last pair. 32-bit pixels are
// native words 0xAARRGGBB stored at any byte alignment.
//
// The SIMD twins compute the channel arithmetic that the converter's tables
// hold (every converter is built by OpenColorConverter, and its tables are never
// changed afterwards), so they do not read the tables.
#ifndef VELTRANE_COLOR_COLOR_KERNELS_H
#define VELTRANE_COLOR_COLOR_KERNELS_H

#include <cstdint>

#include "core/kernel_binding.h"
#include "veltrane/color.h"

namespace veltrane {

// Two picture rows that share one chroma row.
using BgraRowPairKernel = void (*)(const ColorConverter_t* converter, const unsigned char* y0,
                                   const unsigned char* y1, const unsigned char* u,
                                   const unsigned char* v, unsigned char* out0, unsigned char* out1,
                                   int width);
// The same with alpha rows: colours capped at alpha, alpha 0 giving the word 0.
using BgraAlphaRowPairKernel = void (*)(const ColorConverter_t* converter, const unsigned char* y0,
                                        const unsigned char* y1, const unsigned char* a0,
                                        const unsigned char* a1, const unsigned char* u,
                                        const unsigned char* v, unsigned char* out0,
                                        unsigned char* out1, int width);
using BgraRowKernel = void (*)(const ColorConverter_t* converter, const unsigned char* y,
                               const unsigned char* u, const unsigned char* v, unsigned char* out,
                               int width);
using BgraAlphaRowKernel = void (*)(const ColorConverter_t* converter, const unsigned char* y,
                                    const unsigned char* a, const unsigned char* u,
                                    const unsigned char* v, unsigned char* out, int width);
using Rgb16RowKernel = void (*)(const ColorConverter_t* converter, const unsigned char* y,
                                const unsigned char* u, const unsigned char* v, uint16_t* out,
                                int width);

// Index of a 16-bit layout in ColorRowKernels::rgb16Row.
enum Rgb16Layout : int { kRgb555 = 0, kRgb565 = 1, kArgb4444 = 2 };

struct ColorRowKernels {
    BgraRowPairKernel bgraRowPair;
    BgraAlphaRowPairKernel bgraAlphaRowPair;
    BgraRowKernel bgraRow;
    BgraAlphaRowKernel bgraAlphaRow;
    Rgb16RowKernel rgb16Row[3];  // by Rgb16Layout
};

// The plain row functions.
void BgraRowPairC(const ColorConverter_t* converter, const unsigned char* y0,
                  const unsigned char* y1, const unsigned char* u, const unsigned char* v,
                  unsigned char* out0, unsigned char* out1, int width);
void BgraAlphaRowPairC(const ColorConverter_t* converter, const unsigned char* y0,
                       const unsigned char* y1, const unsigned char* a0, const unsigned char* a1,
                       const unsigned char* u, const unsigned char* v, unsigned char* out0,
                       unsigned char* out1, int width);
void BgraRowC(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
              const unsigned char* v, unsigned char* out, int width);
void BgraAlphaRowC(const ColorConverter_t* converter, const unsigned char* y,
                   const unsigned char* a, const unsigned char* u, const unsigned char* v,
                   unsigned char* out, int width);
void Rgb555RowC(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
                const unsigned char* v, uint16_t* out, int width);
void Rgb565RowC(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
                const unsigned char* v, uint16_t* out, int width);
void Argb4444RowC(const ColorConverter_t* converter, const unsigned char* y, const unsigned char* u,
                  const unsigned char* v, uint16_t* out, int width);

// The tables, declared alike in every kernel family: the plain twins, then
// the SIMD tables this build has.
extern const ColorRowKernels kColorRowKernelsC;
#if VELTRANE_X86_KERNELS
extern const ColorRowKernels kColorRowKernelsSse2;
extern const ColorRowKernels kColorRowKernelsAvx2;
#endif
#if VELTRANE_NEON_KERNELS
extern const ColorRowKernels kColorRowKernelsNeon;
#endif

// The best table for the given instruction sets.
VELTRANE_LOAD_TIME KernelTableGetter<ColorRowKernels> SelectColorRowKernels(unsigned cpuFeatures);
// The table bound for this processor.
const ColorRowKernels* ActiveColorRowKernels();

}  // namespace veltrane

#endif
