// The five static code tables of the macroblock layer: N, the first value V0,
// then per code its length in bits and its bits right-aligned. Code i decodes to
// V0 + i.
#include "entropy/code_tables.h"

namespace veltrane {

// clang-format off

constexpr int16_t McbpcIntraCodes[2 + 2 * 9] = {
    9, 0,
    1, 0b1,
    3, 0b001,
    3, 0b010,
    3, 0b011,
    4, 0b0001,
    6, 0b000001,
    6, 0b000010,
    6, 0b000011,
    9, 0b000000001,
};

constexpr int16_t McbpcInterCodes[2 + 2 * 21] = {
    21, 0,
    1, 0b1,
    4, 0b0011,
    4, 0b0010,
    6, 0b000101,
    3, 0b011,
    7, 0b0000111,
    7, 0b0000110,
    9, 0b000000101,
    3, 0b010,
    7, 0b0000101,
    7, 0b0000100,
    8, 0b00000101,
    5, 0b00011,
    8, 0b00000100,
    8, 0b00000011,
    7, 0b0000011,
    6, 0b000100,
    9, 0b000000100,
    9, 0b000000011,
    9, 0b000000010,
    9, 0b000000001,
};

constexpr int16_t CbpyCodes[2 + 2 * 16] = {
    16, 0,
    4, 0b0011,
    5, 0b00101,
    5, 0b00100,
    4, 0b1001,
    5, 0b00011,
    4, 0b0111,
    6, 0b000010,
    4, 0b1011,
    5, 0b00010,
    6, 0b000011,
    4, 0b0101,
    4, 0b1010,
    4, 0b0100,
    4, 0b1000,
    4, 0b0110,
    2, 0b11,
};

constexpr int16_t MvdCodes[2 + 2 * 64] = {
    64, -32,
    13, 0b0000000000101,
    13, 0b0000000000111,
    12, 0b000000000101,
    12, 0b000000000111,
    12, 0b000000001001,
    12, 0b000000001011,
    12, 0b000000001101,
    12, 0b000000001111,
    11, 0b00000001001,
    11, 0b00000001011,
    11, 0b00000001101,
    11, 0b00000001111,
    11, 0b00000010001,
    11, 0b00000010011,
    11, 0b00000010101,
    11, 0b00000010111,
    11, 0b00000011001,
    11, 0b00000011011,
    11, 0b00000011101,
    11, 0b00000011111,
    11, 0b00000100001,
    11, 0b00000100011,
    10, 0b0000010011,
    10, 0b0000010101,
    10, 0b0000010111,
    8, 0b00000111,
    8, 0b00001001,
    8, 0b00001011,
    7, 0b0000111,
    5, 0b00011,
    4, 0b0011,
    3, 0b011,
    1, 0b1,
    3, 0b010,
    4, 0b0010,
    5, 0b00010,
    7, 0b0000110,
    8, 0b00001010,
    8, 0b00001000,
    8, 0b00000110,
    10, 0b0000010110,
    10, 0b0000010100,
    10, 0b0000010010,
    11, 0b00000100010,
    11, 0b00000100000,
    11, 0b00000011110,
    11, 0b00000011100,
    11, 0b00000011010,
    11, 0b00000011000,
    11, 0b00000010110,
    11, 0b00000010100,
    11, 0b00000010010,
    11, 0b00000010000,
    11, 0b00000001110,
    11, 0b00000001100,
    11, 0b00000001010,
    11, 0b00000001000,
    12, 0b000000001110,
    12, 0b000000001100,
    12, 0b000000001010,
    12, 0b000000001000,
    12, 0b000000000110,
    12, 0b000000000100,
    13, 0b0000000000110,
};

constexpr int16_t TcoefCodes[2 + 2 * 103] = {
    103, 0,
    2, 0b10,
    4, 0b1111,
    6, 0b010101,
    7, 0b0010111,
    8, 0b00011111,
    9, 0b000100101,
    9, 0b000100100,
    10, 0b0000100001,
    10, 0b0000100000,
    11, 0b00000000111,
    11, 0b00000000110,
    11, 0b00000100000,
    3, 0b110,
    6, 0b010100,
    8, 0b00011110,
    10, 0b0000001111,
    11, 0b00000100001,
    12, 0b000001010000,
    4, 0b1110,
    8, 0b00011101,
    10, 0b0000001110,
    12, 0b000001010001,
    5, 0b01101,
    9, 0b000100011,
    10, 0b0000001101,
    5, 0b01100,
    9, 0b000100010,
    12, 0b000001010010,
    5, 0b01011,
    10, 0b0000001100,
    12, 0b000001010011,
    6, 0b010011,
    10, 0b0000001011,
    12, 0b000001010100,
    6, 0b010010,
    10, 0b0000001010,
    6, 0b010001,
    10, 0b0000001001,
    6, 0b010000,
    10, 0b0000001000,
    7, 0b0010110,
    12, 0b000001010101,
    7, 0b0010101,
    7, 0b0010100,
    8, 0b00011100,
    8, 0b00011011,
    9, 0b000100001,
    9, 0b000100000,
    9, 0b000011111,
    9, 0b000011110,
    9, 0b000011101,
    9, 0b000011100,
    9, 0b000011011,
    9, 0b000011010,
    11, 0b00000100010,
    11, 0b00000100011,
    12, 0b000001010110,
    12, 0b000001010111,
    4, 0b0111,
    9, 0b000011001,
    11, 0b00000000101,
    6, 0b001111,
    11, 0b00000000100,
    6, 0b001110,
    6, 0b001101,
    6, 0b001100,
    7, 0b0010011,
    7, 0b0010010,
    7, 0b0010001,
    7, 0b0010000,
    8, 0b00011010,
    8, 0b00011001,
    8, 0b00011000,
    8, 0b00010111,
    8, 0b00010110,
    8, 0b00010101,
    8, 0b00010100,
    8, 0b00010011,
    9, 0b000011000,
    9, 0b000010111,
    9, 0b000010110,
    9, 0b000010101,
    9, 0b000010100,
    9, 0b000010011,
    9, 0b000010010,
    9, 0b000010001,
    10, 0b0000000111,
    10, 0b0000000110,
    10, 0b0000000101,
    10, 0b0000000100,
    11, 0b00000100100,
    11, 0b00000100101,
    11, 0b00000100110,
    11, 0b00000100111,
    12, 0b000001011000,
    12, 0b000001011001,
    12, 0b000001011010,
    12, 0b000001011011,
    12, 0b000001011100,
    12, 0b000001011101,
    12, 0b000001011110,
    12, 0b000001011111,
    7, 0b0000011,
};

// Run and level of each code above, in the same order.
constexpr uint8_t TcoefRunTable[103] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1,
    1, 1, 2, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5, 5, 5, 6,
    6, 6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 12, 13, 14, 15, 16,
    17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 0, 0, 0, 1, 1, 2,
    3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18,
    19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34,
    35, 36, 37, 38, 39, 40, 0,
};

constexpr uint8_t TcoefLevelTable[103] = {
    1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 1, 2, 3, 4,
    5, 6, 1, 2, 3, 4, 1, 2, 3, 1, 2, 3, 1, 2, 3, 1,
    2, 3, 1, 2, 1, 2, 1, 2, 1, 2, 1, 1, 1, 1, 1, 1,
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 3, 1, 2, 1,
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
    1, 1, 1, 1, 1, 1, 0,
};
// clang-format on

}  // namespace veltrane

// The flat lookup tables, built here at compile time from the tables above.
#include <iterator>

#include "entropy/flat_code_tables.h"

namespace veltrane {
namespace {

// Fills `table` from a static code table; a later code overwrites the entries
// an earlier one filled, as the tree builder does. `valueOf(i)` is the value
// stored for code i. Returns false if a code does not fit the table's shape.
template <typename Table, typename ValueOf>
constexpr bool FillFlat(Table& table, const int16_t* codes, ValueOf valueOf) {
    constexpr int kRoot = Table::kRootBits;
    constexpr int kSub = Table::kSubBits;
    int subtables = 0;
    for (int i = 0; i < codes[0]; ++i) {
        const int length = codes[2 + 2 * i];
        const auto bits = static_cast<uint32_t>(static_cast<uint16_t>(codes[3 + 2 * i]));
        const FlatCodeEntry entry{valueOf(i), static_cast<uint8_t>(length), 0};
        if (length <= kRoot) {
            const uint32_t first = bits << (kRoot - length);
            for (uint32_t k = first; k < first + (1u << (kRoot - length)); ++k) {
                table.root[k].value = entry.value;
                table.root[k].length = entry.length;
            }
            continue;
        }
        if (length - kRoot > kSub) {
            return false;
        }
        FlatCodeEntry& link = table.root[bits >> (length - kRoot)];
        if (link.subtable == 0) {
            if (subtables == static_cast<int>(std::size(table.sub))) {
                return false;
            }
            link.subtable = static_cast<uint8_t>(++subtables);
        }
        const uint32_t rest = bits & ((1u << (length - kRoot)) - 1);
        const uint32_t first = rest << (kSub - (length - kRoot));
        for (uint32_t k = first; k < first + (1u << (kSub - (length - kRoot))); ++k) {
            table.sub[link.subtable - 1][k] = entry;
        }
    }
    return true;
}

template <typename Table>
struct BuiltFlat {
    Table table{};
    bool fits = false;
};

template <typename Table>
constexpr BuiltFlat<Table> BuildFlat(const int16_t* codes) {
    BuiltFlat<Table> built;
    const int16_t first = codes[1];
    built.fits =
        FillFlat(built.table, codes, [first](int i) { return static_cast<int16_t>(first + i); });
    return built;
}

constexpr BuiltFlat<TcoefFlatTable> BuildTcoefFlat() {
    BuiltFlat<TcoefFlatTable> built;
    auto event = [](int i) -> int16_t {
        if (i == kTcoefEscape) {
            return kTcoefEscapeEvent;
        }
        return static_cast<int16_t>(TcoefLevelTable[i] | (TcoefRunTable[i] << kTcoefEventRunShift) |
                                    (i >= kTcoefFirstLast ? kTcoefEventLast : 0));
    };
    built.fits = FillFlat(built.table, TcoefCodes, event);
    return built;
}

constexpr auto kBuiltMcbpcIntra = BuildFlat<McbpcIntraFlatTable>(McbpcIntraCodes);
constexpr auto kBuiltMcbpcInter = BuildFlat<McbpcInterFlatTable>(McbpcInterCodes);
constexpr auto kBuiltCbpy = BuildFlat<CbpyFlatTable>(CbpyCodes);
constexpr auto kBuiltMvd = BuildFlat<MvdFlatTable>(MvdCodes);
constexpr auto kBuiltTcoef = BuildTcoefFlat();
static_assert(kBuiltMcbpcIntra.fits && kBuiltMcbpcInter.fits && kBuiltCbpy.fits && kBuiltMvd.fits &&
                  kBuiltTcoef.fits,
              "a code table does not fit the shape of its flat table");

}  // namespace

constexpr McbpcIntraFlatTable kMcbpcIntraFlat = kBuiltMcbpcIntra.table;
constexpr McbpcInterFlatTable kMcbpcInterFlat = kBuiltMcbpcInter.table;
constexpr CbpyFlatTable kCbpyFlat = kBuiltCbpy.table;
constexpr MvdFlatTable kMvdFlat = kBuiltMvd.table;
constexpr TcoefFlatTable kTcoefFlat = kBuiltTcoef.table;

constexpr TcoefSignedEventTable kTcoefSignedEvents = [] {
    TcoefSignedEventTable table{};
    for (uint32_t i = 0; i < (1u << kTcoefSignedBits); ++i) {
        const uint32_t bits = i << (32 - kTcoefSignedBits);
        const FlatCodeEntry entry = LookUpFlat(kTcoefFlat, bits);
        if (entry.length == 0 || entry.value < 0 || entry.length + 1 > kTcoefSignedBits) {
            continue;
        }
        const uint32_t sign = (bits >> (31 - entry.length)) & 1;
        const uint32_t run = (static_cast<uint32_t>(entry.value) >> kTcoefEventRunShift) & 63;
        const uint32_t last = (entry.value & kTcoefEventLast) ? 1 : 0;
        table.events[i] = (entry.length + 1u) | (run << 4) | (last << 10) | (sign << 11) |
                          (static_cast<uint32_t>(entry.value & 0xFF) << 16);
    }
    return table;
}();

constexpr InterHeaderTable kInterHeaders = [] {
    InterHeaderTable table{};
    for (uint32_t i = 0; i < (1u << kInterHeaderBits); ++i) {
        const uint32_t bits = i << (32 - kInterHeaderBits);
        if (bits >> 31) {
            table.headers[i] = 1;  // COD 1
            continue;
        }
        const FlatCodeEntry mcbpc = LookUpFlat(kMcbpcInterFlat, bits << 1);
        if (mcbpc.length == 0 || mcbpc.value == kMcbpcInterStuffing) {
            continue;
        }
        const FlatCodeEntry cbpy = LookUpFlat(kCbpyFlat, bits << (1 + mcbpc.length));
        const uint32_t length = 1u + mcbpc.length + cbpy.length;
        if (cbpy.length == 0 || length > kInterHeaderBits) {
            continue;
        }
        table.headers[i] =
            static_cast<uint16_t>(length | (static_cast<uint32_t>(mcbpc.value) << 4) |
                                  (static_cast<uint32_t>(cbpy.value) << 9));
    }
    return table;
}();

constexpr MvdPairTable kMvdPairs = [] {
    MvdPairTable table{};
    for (uint32_t i = 0; i < (1u << kMvdPairBits); ++i) {
        const uint32_t bits = i << (32 - kMvdPairBits);
        const FlatCodeEntry x = LookUpFlat(kMvdFlat, bits);
        if (x.length == 0) {
            continue;
        }
        const FlatCodeEntry y = LookUpFlat(kMvdFlat, bits << x.length);
        const uint32_t length = static_cast<uint32_t>(x.length) + y.length;
        if (y.length == 0 || length > kMvdPairBits) {
            continue;
        }
        table.pairs[i] = static_cast<uint16_t>(length | static_cast<uint32_t>(x.value + 32) << 4 |
                                               static_cast<uint32_t>(y.value + 32) << 10);
    }
    return table;
}();

}  // namespace veltrane
