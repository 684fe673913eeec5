// The macroblock types of the inter picture syntax (the MCBPC value divided by
// 4), as the decoder keeps them per macroblock and the encoder writes them.
#ifndef VELTRANE_CORE_MACROBLOCK_TYPE_H
#define VELTRANE_CORE_MACROBLOCK_TYPE_H

#include <cstdint>

namespace veltrane {

enum MacroblockType : int16_t {
    kMacroblockInter = 0,    // one vector, residual
    kMacroblockInterQ = 1,   // one vector, residual, quantiser change
    kMacroblockInter4V = 2,  // four vectors, residual
    kMacroblockIntra = 3,    // intra blocks
    kMacroblockIntraQ = 4,   // intra blocks, quantiser change
};

inline bool IsIntraMacroblock(int type) {
    return type == kMacroblockIntra || type == kMacroblockIntraQ;
}

inline bool ChangesQuantiser(int type) {
    return type == kMacroblockInterQ || type == kMacroblockIntraQ;
}

}  // namespace veltrane

#endif
