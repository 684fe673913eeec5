// Avx2 inverse transform kernels (placeholder: the plain kernels until the twins land).
#include "recon/idct_kernels.h"

namespace veltrane {

const IdctKernels kIdctKernelsAvx2 = {IdctToPixelsC, IdctToResidualC, IdctCornerToResidualC,
                                      IdctAddC,      IdctCornerAddC,  IdctDcAddC};

}  // namespace veltrane
