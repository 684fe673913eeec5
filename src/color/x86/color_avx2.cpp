// Avx2 colour row kernels (placeholder: the plain kernels until the twins land).
#include "color/color_kernels.h"

namespace veltrane {

const ColorRowKernels kColorRowKernelsAvx2 = {
    BgraRowPairC, BgraAlphaRowPairC, BgraRowC, BgraAlphaRowC, {Rgb555RowC, Rgb565RowC, Argb4444RowC},
};

}  // namespace veltrane
