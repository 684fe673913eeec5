#include "vlc_codes.h"

#include <array>

#include "entropy/code_tables.h"

namespace veltrane::enc {

namespace {

constexpr int kMaxRun = 64;
constexpr int kMaxTableLevel = 16;  // above the largest |LEVEL| of any TCOEF code

struct TcoefMap {
    // index[last][run][level], -1 where no code exists.
    std::array<std::array<std::array<int8_t, kMaxTableLevel>, kMaxRun>, 2> index;

    TcoefMap() {
        for (auto& runs : index) {
            for (auto& levels : runs) levels.fill(-1);
        }
        for (int i = 0; i < kTcoefEscape; ++i) {
            const int last = i >= kTcoefFirstLast ? 1 : 0;
            const int run = TcoefRunTable[i];
            const int level = TcoefLevelTable[i];
            if (run < kMaxRun && level > 0 && level < kMaxTableLevel) {
                index[last][run][level] = static_cast<int8_t>(i);
            }
        }
    }
};

const TcoefMap& Map() {
    static const TcoefMap map;
    return map;
}

}  // namespace

VlcCode CodeOf(const int16_t* table, int value) {
    const int i = value - table[1];
    if (i < 0 || i >= table[0]) return {};
    VlcCode code;
    code.length = static_cast<uint8_t>(table[2 + 2 * i]);
    code.bits = static_cast<uint16_t>(table[3 + 2 * i]);
    return code;
}

int TcoefIndexOf(int last, int run, int absLevel) {
    if (run < 0 || run >= kMaxRun || absLevel <= 0 || absLevel >= kMaxTableLevel) return -1;
    return Map().index[last != 0 ? 1 : 0][run][absLevel];
}

int MvdBits(int difference) {
    static const std::array<uint8_t, 64> lengths = [] {
        std::array<uint8_t, 64> l{};
        for (int d = -32; d < 32; ++d) l[d + 32] = CodeOf(MvdCodes, d).length;
        return l;
    }();
    return difference < -32 || difference > 31 ? 16 : lengths[difference + 32];
}

}  // namespace veltrane::enc
