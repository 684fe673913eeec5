// Flat lookup tables of the five codes, built at compile time from the same
// static code tables as the decode trees and mapping every bit pattern exactly
// as the trees do. The first kRootBits bits of the stream index the root; a code
// longer than that continues in a subtable indexed by the next kSubBits bits.
// Entries are four bytes: the TCOEF table takes 2 KB where its tree takes 18
// nodes of 256 entries.
#ifndef VELTRANE_ENTROPY_FLAT_CODE_TABLES_H
#define VELTRANE_ENTROPY_FLAT_CODE_TABLES_H

#include <cstdint>

namespace veltrane {

struct FlatCodeEntry {
    int16_t value;     // the code's value (TCOEF: a packed event, see kTcoef*)
    uint8_t length;    // total code length in bits; 0: no code begins with these bits
    uint8_t subtable;  // 1 + index of the subtable holding longer codes, or 0
};

template <int kRootBits_, int kSubBits_, int kSubtables>
struct FlatCodeTable {
    static constexpr int kRootBits = kRootBits_;
    static constexpr int kSubBits = kSubBits_;
    FlatCodeEntry root[1 << kRootBits];
    FlatCodeEntry sub[kSubtables > 0 ? kSubtables : 1][1 << kSubBits];
};

// TCOEF values packed into FlatCodeEntry::value: |LEVEL| in bits 0-7, RUN in
// bits 8-13, LAST in bit 14; ESCAPE is kTcoefEscapeEvent.
constexpr int kTcoefEventRunShift = 8;
constexpr int kTcoefEventLast = 1 << 14;
constexpr int16_t kTcoefEscapeEvent = -1;

using McbpcIntraFlatTable = FlatCodeTable<9, 1, 0>;
using McbpcInterFlatTable = FlatCodeTable<9, 1, 0>;
using CbpyFlatTable = FlatCodeTable<6, 1, 0>;
using MvdFlatTable = FlatCodeTable<8, 5, 6>;
using TcoefFlatTable = FlatCodeTable<8, 4, 17>;

extern const McbpcIntraFlatTable kMcbpcIntraFlat;
extern const McbpcInterFlatTable kMcbpcInterFlat;
extern const CbpyFlatTable kCbpyFlat;
extern const MvdFlatTable kMvdFlat;
extern const TcoefFlatTable kTcoefFlat;

// TCOEF events of codes up to 9 bits with their sign bit, for the coefficient
// loop: indexed by the next 10 bits. An entry is 0 where the loop must take the
// general way (longer codes, ESCAPE, bits that begin no code); else bits 0-3 hold
// the code's length plus the sign bit, bits 4-9 RUN, bit 10 LAST, bit 11 the sign
// and bits 16-31 |LEVEL|.
inline constexpr int kTcoefSignedBits = 10;
struct TcoefSignedEventTable {
    uint32_t events[1 << kTcoefSignedBits];
};
extern const TcoefSignedEventTable kTcoefSignedEvents;

// COD, MCBPC and CBPY of a P-picture macroblock in one lookup, for the picture
// loop: indexed by the next kInterHeaderBits bits. An entry is 0 where the loop
// must take the general way (stuffing, codes that do not fit, bits that begin no
// code); else bits 0-3 hold the total length (1: COD 1, a skipped macroblock),
// bits 4-8 MCBPC and bits 9-12 CBPY.
inline constexpr int kInterHeaderBits = 11;
struct InterHeaderTable {
    uint16_t headers[1 << kInterHeaderBits];
};
extern const InterHeaderTable kInterHeaders;

// The two MVD codes of a vector, horizontal then vertical, in one lookup: indexed
// by the next kMvdPairBits bits. An entry is 0 where the two do not fit; else
// bits 0-3 hold their total length, bits 4-9 the horizontal and bits 10-15 the
// vertical difference, each plus 32.
inline constexpr int kMvdPairBits = 10;
struct MvdPairTable {
    uint16_t pairs[1 << kMvdPairBits];
};
extern const MvdPairTable kMvdPairs;

// The entry for the 32 bits that begin at the reader's position.
template <typename Table>
constexpr FlatCodeEntry LookUpFlat(const Table& table, uint32_t bits) {
    FlatCodeEntry entry = table.root[bits >> (32 - Table::kRootBits)];
    if (entry.subtable != 0) {
        entry = table.sub[entry.subtable - 1][(bits << Table::kRootBits) >> (32 - Table::kSubBits)];
    }
    return entry;
}

}  // namespace veltrane

#endif
