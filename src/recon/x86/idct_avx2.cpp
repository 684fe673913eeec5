// AVX2 inverse transform kernels: each pass runs eight lines at once on 256-bit
// registers, multiplying interleaved pairs of 16-bit inputs by pairs of factors
// (vpmaddwd) and summing in 32 bits. Why that is exact, and the bound that
// decides which blocks the 16-bit store between the passes can carry, are set
// out in idct_sse2.cpp; blocks outside the bound go to the plain kernels.
//
// The file follows idct_sse2.cpp step for step (constant table, passes, the
// bound, the paths, the entry points) with twice the lines per register. The
// two stay separate files of plain intrinsics, one per instruction set, rather
// than one template over a layer that hides which instruction each step uses.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "recon/idct_kernels.h"

namespace veltrane {
namespace {

constexpr int kPass1Rounding = 1024;
constexpr int kPass1Shift = 11;
constexpr int kPass2Rounding = 131072;
constexpr int kPass2Shift = 18;

struct alignas(32) Vector {
    int32_t lane[8];
};

// A pair of 16-bit values as one 32-bit lane, `low` in the low half.
constexpr int32_t PairOf(int low, int high) {
    return static_cast<int32_t>((static_cast<uint32_t>(high) << 16) |
                                (static_cast<uint32_t>(low) & 0xFFFFu));
}
constexpr Vector Splat32(int32_t v) { return {{v, v, v, v, v, v, v, v}}; }
constexpr Vector Splat16(int v) { return Splat32(PairOf(v, v)); }
// Factors for vpmaddwd: `first` multiplies the low 16 bits of each 32-bit lane,
// `second` the high 16 bits.
constexpr Vector Pairs(int first, int second) { return Splat32(PairOf(first, second)); }
// One pair for the low 128-bit lane, another for the high one.
constexpr Vector LanePairs(int lowFirst, int lowSecond, int highFirst, int highSecond) {
    const int32_t low = PairOf(lowFirst, lowSecond);
    const int32_t high = PairOf(highFirst, highSecond);
    return {{low, low, low, low, high, high, high, high}};
}

constexpr int16_t kOver = static_cast<int16_t>(0xC000);  // bits of totals above 16383

// Every vector constant of the kernels.
struct Table {
    Vector rounding1, rounding2;
    // The full passes: t0, t1 in (x0, x4) and t3, t2 in (x2, x6) make the even
    // halves; the odd half of output k is in (x1, x5) and (x3, x7).
    Vector t0, t1, t3, t2;
    Vector odd15[4], odd37[4];
    // The corner's column pass, outputs [0 | 2] and [1 | 3] in one register;
    // its row pass, output k.
    Vector cornerEven02, cornerEven13, cornerOdd02, cornerOdd13;
    Vector cornerRowEven[4], cornerRowOdd[4];
    Vector rowsToPairs;  // (c0, c2), (c1, c3) of two rows of four
    Vector keepCorner;   // the corner's (x0, x2) and (x1, x3) pairs
    // The bound: 2 |x0| + 13 min(max |x1..x7|, 1261) <= 16383.
    Vector acLimit, acWeight, totalsOver, cornerTotalsOver;
    Vector outsideCorner01, outsideCorner23;
    Vector pixelLimit;
};

constexpr auto& kW = kIdctOutputFactors;

constexpr Table kTable = {
    .rounding1 = Splat32(kPass1Rounding),
    .rounding2 = Splat32(kPass2Rounding),
    .t0 = Pairs(kW[0][0], kW[0][4]),
    .t1 = Pairs(kW[1][0], kW[1][4]),
    .t3 = Pairs(kW[0][2], kW[0][6]),
    .t2 = Pairs(kW[1][2], kW[1][6]),
    .odd15 = {Pairs(kW[0][1], kW[0][5]), Pairs(kW[1][1], kW[1][5]), Pairs(kW[2][1], kW[2][5]),
              Pairs(kW[3][1], kW[3][5])},
    .odd37 = {Pairs(kW[0][3], kW[0][7]), Pairs(kW[1][3], kW[1][7]), Pairs(kW[2][3], kW[2][7]),
              Pairs(kW[3][3], kW[3][7])},
    .cornerEven02 = LanePairs(kW[0][0], kW[0][2], kW[2][0], kW[2][2]),
    .cornerEven13 = LanePairs(kW[1][0], kW[1][2], kW[3][0], kW[3][2]),
    .cornerOdd02 = LanePairs(kW[0][1], kW[0][3], kW[2][1], kW[2][3]),
    .cornerOdd13 = LanePairs(kW[1][1], kW[1][3], kW[3][1], kW[3][3]),
    .cornerRowEven = {Pairs(kW[0][0], kW[0][2]), Pairs(kW[1][0], kW[1][2]),
                      Pairs(kW[2][0], kW[2][2]), Pairs(kW[3][0], kW[3][2])},
    .cornerRowOdd = {Pairs(kW[0][1], kW[0][3]), Pairs(kW[1][1], kW[1][3]),
                     Pairs(kW[2][1], kW[2][3]), Pairs(kW[3][1], kW[3][3])},
    .rowsToPairs = {{PairOf(0x0100, 0x0504), PairOf(0x0908, 0x0D0C), PairOf(0x0302, 0x0706),
                     PairOf(0x0B0A, 0x0F0E), PairOf(0x0100, 0x0504), PairOf(0x0908, 0x0D0C),
                     PairOf(0x0302, 0x0706), PairOf(0x0B0A, 0x0F0E)}},
    .keepCorner = {{-1, -1, PairOf(-1, 0), PairOf(-1, 0),  // (x0, x2) of columns 0-3
                    -1, -1, PairOf(-1, 0), 0}},            // (x1, x3)
    .acLimit = Splat16(1261),
    .acWeight = Splat16(13),
    // The totals sit where row 0 does in the loaded rows: the low 64 bits of
    // each lane.
    .totalsOver = {{PairOf(kOver, kOver), PairOf(kOver, kOver), 0, 0, PairOf(kOver, kOver),
                    PairOf(kOver, kOver), 0, 0}},
    .cornerTotalsOver = Splat32(PairOf(kOver, 0)),
    // Outside the corner: row 0 columns 4-7, row 1 columns 3-7, rows 2 and 3
    // columns 2-7 (rows 4-7 are tested whole).
    .outsideCorner01 = {{0, 0, 0, PairOf(0, -1), -1, -1, -1, -1}},
    .outsideCorner23 = {{0, -1, 0, -1, -1, -1, -1, -1}},
    .pixelLimit = Splat16(4095),
};

// The table, read from memory. Knowing the values, GCC would rebuild each
// uniform constant from an integer register at every use, two vector
// instructions each time, instead of using it as a memory operand.
inline const Table& Constants() {
    const Table* table = &kTable;
    __asm__("" : "+r"(table));  // hides the values, not the memory
    return *table;
}

inline __m256i Load(const Vector& v) {
    return _mm256_load_si256(reinterpret_cast<const __m256i*>(v.lane));
}
inline __m128i Load128(const Vector& v) {
    return _mm_load_si128(reinterpret_cast<const __m128i*>(v.lane));
}

inline __m256i Madd(__m256i pairs, __m256i factors) { return _mm256_madd_epi16(pairs, factors); }
inline __m256i Add(__m256i a, __m256i b) { return _mm256_add_epi32(a, b); }
inline __m256i Sub(__m256i a, __m256i b) { return _mm256_sub_epi32(a, b); }

// Eight lines of a pass, line i in 32-bit lane i, as interleaved pairs of their
// inputs: (x0, x4), (x1, x5), (x2, x6), (x3, x7).
struct LinePairs {
    __m256i e04, o15, e26, o37;
};

// Raw outputs (rounding added, not yet shifted) of a pass: y[k] is output k of
// every line.
struct PassOutputs {
    __m256i y[8];
};

// Outputs k and 7 - k: even[k] + odd[k] and even[k] - odd[k], the odd half
// being the terms in x1, x3, x5, x7.
template <int k>
inline void OutputsFromHalves(__m256i even, const LinePairs& in, PassOutputs& out) {
    const __m256i odd =
        Add(Madd(in.o15, Load(Constants().odd15[k])), Madd(in.o37, Load(Constants().odd37[k])));
    out.y[k] = Add(even, odd);
    out.y[7 - k] = Sub(even, odd);
}

// One pass over eight lines. The even halves of outputs 0-3 share their terms
// in pairs: t0 + t3, t1 + t2, t1 - t2, t0 - t3.
inline PassOutputs InversePass(const LinePairs& in, __m256i rounding) {
    const __m256i t0 = Add(Madd(in.e04, Load(Constants().t0)), rounding);
    const __m256i t1 = Add(Madd(in.e04, Load(Constants().t1)), rounding);
    const __m256i t3 = Madd(in.e26, Load(Constants().t3));
    const __m256i t2 = Madd(in.e26, Load(Constants().t2));
    PassOutputs out;
    OutputsFromHalves<0>(Add(t0, t3), in, out);
    OutputsFromHalves<1>(Add(t1, t2), in, out);
    OutputsFromHalves<2>(Sub(t1, t2), in, out);
    OutputsFromHalves<3>(Sub(t0, t3), in, out);
    return out;
}

// The block as pairs of rows with their 64-bit quarters reordered: rows 2i and
// 2i + 1, columns 0-3 of both in the low lane and 4-7 in the high one.
struct Rows {
    __m256i r01, r23, r45, r67;
};

inline Rows LoadRows(const int16_t* coefficients) {
    auto load = [coefficients](int row) {
        const __m256i pair =
            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(coefficients + 8 * row));
        return _mm256_permute4x64_epi64(pair, 0xD8);
    };
    return {load(0), load(2), load(4), load(6)};
}

// The column pass's inputs: column i in lane i.
inline LinePairs ColumnPairs(const Rows& rows) {
    return {_mm256_unpacklo_epi16(rows.r01, rows.r45), _mm256_unpackhi_epi16(rows.r01, rows.r45),
            _mm256_unpacklo_epi16(rows.r23, rows.r67), _mm256_unpackhi_epi16(rows.r23, rows.r67)};
}

// How a block is transformed: by the plain kernel (outside the bound), as a
// block whose rows 1-7 are zero, as a corner, or in full.
enum class Path { kPlain, kRowZero, kCorner, kFull };

// Plain unless every column satisfies 2 |x0| + 13 min(max |x1..x7|, 1261) <=
// 16383, which keeps its column pass outputs within 16 bits (idct_sse2.cpp).
// Absolute values are read unsigned, so -32768 counts as 32768.
inline Path ChoosePath(const Rows& rows) {
    const __m256i a01 = _mm256_abs_epi16(rows.r01);
    __m256i ac = _mm256_max_epu16(_mm256_abs_epi16(rows.r23), _mm256_abs_epi16(rows.r45));
    ac = _mm256_max_epu16(ac, _mm256_abs_epi16(rows.r67));
    // Row 1 only: row 0 fills the low 64 bits of each lane.
    ac = _mm256_max_epu16(ac, _mm256_blend_epi32(a01, _mm256_setzero_si256(), 0x33));
    ac = _mm256_max_epu16(ac, _mm256_shuffle_epi32(ac, 0x4E));
    const __m256i acTerm = _mm256_mullo_epi16(_mm256_min_epu16(ac, Load(Constants().acLimit)),
                                              Load(Constants().acWeight));
    const __m256i total = _mm256_adds_epu16(acTerm, _mm256_adds_epu16(a01, a01));
    if (!_mm256_testz_si256(total, Load(Constants().totalsOver))) {
        return Path::kPlain;
    }
    if (_mm256_testz_si256(ac, ac)) {
        return Path::kRowZero;
    }
    const __m256i outside = _mm256_or_si256(
        _mm256_or_si256(rows.r45, rows.r67),
        _mm256_or_si256(_mm256_and_si256(rows.r01, Load(Constants().outsideCorner01)),
                        _mm256_and_si256(rows.r23, Load(Constants().outsideCorner23))));
    return _mm256_testz_si256(outside, outside) ? Path::kCorner : Path::kFull;
}

// The column pass outputs (row k in y[k], column i in lane i) shifted, packed to
// 16 bits and regrouped as the row pass's inputs: row i in lane i.
inline LinePairs RowPairs(const PassOutputs& columns) {
    auto packed = [&columns](int a, int b) {
        return _mm256_packs_epi32(_mm256_srai_epi32(columns.y[a], kPass1Shift),
                                  _mm256_srai_epi32(columns.y[b], kPass1Shift));
    };
    // [row a columns 0-3, row b columns 0-3 | row a columns 4-7, row b columns 4-7]
    const __m256i p01 = packed(0, 1);
    const __m256i p23 = packed(2, 3);
    const __m256i p45 = packed(4, 5);
    const __m256i p67 = packed(6, 7);
    // Rows 0-3 to the low lane, 4-7 to the high one.
    const __m256i left01 = _mm256_permute2x128_si256(p01, p45, 0x20);
    const __m256i right01 = _mm256_permute2x128_si256(p01, p45, 0x31);
    const __m256i left23 = _mm256_permute2x128_si256(p23, p67, 0x20);
    const __m256i right23 = _mm256_permute2x128_si256(p23, p67, 0x31);
    // Each row as (c0, c4), (c1, c5), (c2, c6), (c3, c7).
    const __m256i row0 = _mm256_unpacklo_epi16(left01, right01);
    const __m256i row1 = _mm256_unpackhi_epi16(left01, right01);
    const __m256i row2 = _mm256_unpacklo_epi16(left23, right23);
    const __m256i row3 = _mm256_unpackhi_epi16(left23, right23);
    const __m256i low01 = _mm256_unpacklo_epi32(row0, row1);
    const __m256i high01 = _mm256_unpackhi_epi32(row0, row1);
    const __m256i low23 = _mm256_unpacklo_epi32(row2, row3);
    const __m256i high23 = _mm256_unpackhi_epi32(row2, row3);
    return {_mm256_unpacklo_epi64(low01, low23), _mm256_unpackhi_epi64(low01, low23),
            _mm256_unpacklo_epi64(high01, high23), _mm256_unpackhi_epi64(high01, high23)};
}

// Eight 16-bit rows: rows[j] holds block row Order::kRow[2j] in the low lane and
// Order::kRow[2j + 1] in the high one.
template <typename Order>
struct OutputBlock {
    __m256i rows[4];
};

// Two raw row pass outputs of each line as one 32-bit lane of 16-bit results:
// the high half of (high >> 2) is (high >> 18), which fits 16 bits.
inline __m256i OutputPair(__m256i low, __m256i high) {
    return _mm256_blend_epi16(_mm256_srai_epi32(low, kPass2Shift),
                              _mm256_srai_epi32(high, kPass2Shift - 16), 0xAA);
}

// The row pass outputs (column k in y[k], line i in lane i) as 16-bit rows:
// lines j and j + 4 in rows[j].
template <typename Order>
inline OutputBlock<Order> OutputRows(const PassOutputs& rows) {
    const __m256i c01 = OutputPair(rows.y[0], rows.y[1]);
    const __m256i c23 = OutputPair(rows.y[2], rows.y[3]);
    const __m256i c45 = OutputPair(rows.y[4], rows.y[5]);
    const __m256i c67 = OutputPair(rows.y[6], rows.y[7]);
    const __m256i left01 = _mm256_unpacklo_epi32(c01, c23);
    const __m256i right01 = _mm256_unpacklo_epi32(c45, c67);
    const __m256i left23 = _mm256_unpackhi_epi32(c01, c23);
    const __m256i right23 = _mm256_unpackhi_epi32(c45, c67);
    return {{_mm256_unpacklo_epi64(left01, right01), _mm256_unpackhi_epi64(left01, right01),
             _mm256_unpacklo_epi64(left23, right23), _mm256_unpackhi_epi64(left23, right23)}};
}

// The full transform of a block within the bound.
struct FullOrder {
    static constexpr int kRow[8] = {0, 4, 1, 5, 2, 6, 3, 7};
};

[[gnu::always_inline]] inline OutputBlock<FullOrder> Transform(const Rows& rows) {
    const PassOutputs columns = InversePass(ColumnPairs(rows), Load(Constants().rounding1));
    return OutputRows<FullOrder>(InversePass(RowPairs(columns), Load(Constants().rounding2)));
}

// The corner of a block: the positions the plain corner kernels read (column 0
// rows 0-3, column 1 rows 0-3, column 2 rows 0-1, column 3 row 0), as the column
// pass's pairs (x0, x2) and (x1, x3) of columns 0-3.
struct Corner {
    __m128i e02, o13;
};

inline Corner LoadCorner(const int16_t* coefficients) {
    auto row = [coefficients](int r) {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(coefficients + 8 * r));
    };
    const __m256i keep = Load(Constants().keepCorner);
    return {_mm_and_si128(_mm_unpacklo_epi16(row(0), row(2)), _mm256_castsi256_si128(keep)),
            _mm_and_si128(_mm_unpacklo_epi16(row(1), row(3)), _mm256_extracti128_si256(keep, 1))};
}

// The bound of ChoosePath for a corner (rows 4-7 are zero).
inline bool CornerWithinBound(const Corner& corner) {
    const __m128i e02 = _mm_abs_epi16(corner.e02);
    // Low 16 bits of each lane: max |x1|, |x2|, |x3|.
    __m128i ac = _mm_max_epu16(_mm_abs_epi16(corner.o13), _mm_srli_epi32(e02, 16));
    ac = _mm_max_epu16(ac, _mm_srli_epi32(ac, 16));
    const __m128i acTerm = _mm_mullo_epi16(_mm_min_epu16(ac, Load128(Constants().acLimit)),
                                           Load128(Constants().acWeight));
    const __m128i total = _mm_adds_epu16(acTerm, _mm_adds_epu16(e02, e02));
    return _mm_testz_si128(total, Load128(Constants().cornerTotalsOver)) != 0;
}

// Outputs k and 7 - k of lines with x4..x7 zero, from the pairs (x0, x2) and
// (x1, x3).
template <int k>
inline void CornerOutputs(__m256i e02, __m256i o13, __m256i rounding, PassOutputs& out) {
    const __m256i even = Add(Madd(e02, Load(Constants().cornerRowEven[k])), rounding);
    const __m256i odd = Madd(o13, Load(Constants().cornerRowOdd[k]));
    out.y[k] = Add(even, odd);
    out.y[7 - k] = Sub(even, odd);
}

// The transform of a corner within the bound: with x4..x7 zero in both passes
// each output needs only the pairs (x0, x2) and (x1, x3).
struct CornerOrder {
    static constexpr int kRow[8] = {0, 2, 1, 3, 6, 4, 7, 5};
};

[[gnu::always_inline]] inline OutputBlock<CornerOrder> TransformCorner(const Corner& corner) {
    // Column pass over columns 0-3, two outputs per register.
    const __m256i e02 = _mm256_setr_m128i(corner.e02, corner.e02);
    const __m256i o13 = _mm256_setr_m128i(corner.o13, corner.o13);
    const __m256i rounding1 = Load(Constants().rounding1);
    const __m256i even02 = Add(Madd(e02, Load(Constants().cornerEven02)), rounding1);
    const __m256i even13 = Add(Madd(e02, Load(Constants().cornerEven13)), rounding1);
    const __m256i odd02 = Madd(o13, Load(Constants().cornerOdd02));
    const __m256i odd13 = Madd(o13, Load(Constants().cornerOdd13));
    const __m256i y02 = _mm256_srai_epi32(Add(even02, odd02), kPass1Shift);
    const __m256i y75 = _mm256_srai_epi32(Sub(even02, odd02), kPass1Shift);
    const __m256i y13 = _mm256_srai_epi32(Add(even13, odd13), kPass1Shift);
    const __m256i y64 = _mm256_srai_epi32(Sub(even13, odd13), kPass1Shift);
    // Rows [0, 1 | 2, 3] and [6, 7 | 4, 5] of the column outputs, each row
    // regrouped as (c0, c2), (c1, c3): the row pass's lines in the order 0, 1,
    // 6, 7 | 2, 3, 4, 5.
    const __m256i toPairs = Load(Constants().rowsToPairs);
    const __m256i rows0123 = _mm256_shuffle_epi8(_mm256_packs_epi32(y02, y13), toPairs);
    const __m256i rows6745 = _mm256_shuffle_epi8(_mm256_packs_epi32(y64, y75), toPairs);
    const __m256i e02Rows = _mm256_unpacklo_epi64(rows0123, rows6745);
    const __m256i o13Rows = _mm256_unpackhi_epi64(rows0123, rows6745);
    // Row pass.
    const __m256i rounding2 = Load(Constants().rounding2);
    PassOutputs rows;
    CornerOutputs<0>(e02Rows, o13Rows, rounding2, rows);
    CornerOutputs<1>(e02Rows, o13Rows, rounding2, rows);
    CornerOutputs<2>(e02Rows, o13Rows, rounding2, rows);
    CornerOutputs<3>(e02Rows, o13Rows, rounding2, rows);
    return OutputRows<CornerOrder>(rows);
}

// The row pass of a block whose rows 1-7 are zero, one row for all eight: the
// column pass gives 4 x0 in every row of a column, and the row pass of that row
// is eight dot products with the multiplied-out factors.
inline __m128i TransformRowZero(const int16_t* coefficients) {
    const __m128i row =
        _mm_slli_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(coefficients)), 2);
    const __m256i x = _mm256_setr_m128i(row, row);
    auto outputs = [x](int k) {  // [partial sums of output k | of output k + 1]
        return Madd(x, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(kW[k])));
    };
    // [0, 2, 4, 6 | 1, 3, 5, 7]
    const __m256i sums = _mm256_hadd_epi32(_mm256_hadd_epi32(outputs(0), outputs(2)),
                                           _mm256_hadd_epi32(outputs(4), outputs(6)));
    const __m256i shifted = _mm256_srai_epi32(Add(sums, Load(Constants().rounding2)), kPass2Shift);
    const __m256i packed = _mm256_packs_epi32(shifted, shifted);
    return _mm_unpacklo_epi16(_mm256_castsi256_si128(packed), _mm256_extracti128_si256(packed, 1));
}

inline void StoreResidualPair(__m256i rows, int16_t* low, int16_t* high) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(low), _mm256_castsi256_si128(rows));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(high), _mm256_extracti128_si256(rows, 1));
}

template <typename Order>
inline void StoreResidual(const OutputBlock<Order>& out, int16_t* dst, ptrdiff_t stride) {
    constexpr const int* row = Order::kRow;
    StoreResidualPair(out.rows[0], dst + row[0] * stride, dst + row[1] * stride);
    StoreResidualPair(out.rows[1], dst + row[2] * stride, dst + row[3] * stride);
    StoreResidualPair(out.rows[2], dst + row[4] * stride, dst + row[5] * stride);
    StoreResidualPair(out.rows[3], dst + row[6] * stride, dst + row[7] * stride);
}

inline void StoreResidualRow(__m128i row, int16_t* dst, ptrdiff_t stride) {
    for (int r = 0; r < 8; ++r) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + r * stride), row);
    }
}

// 16-bit sums as pixels, as pairwise saturation gives them: a clamp to 0..255,
// except that 4096..32767 become 0.
inline __m128i SaturateSums(__m128i sums) {
    return _mm_andnot_si128(_mm_cmpgt_epi16(sums, Load128(Constants().pixelLimit)), sums);
}
inline __m256i SaturateSums(__m256i sums) {
    return _mm256_andnot_si256(_mm256_cmpgt_epi16(sums, Load(Constants().pixelLimit)), sums);
}

inline void StoreLow64(unsigned char* dst, __m128i v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), v);
}
// movhps: GCC's _mm_storeh_pd is a plain double store, which requires alignment.
inline void StoreHigh64(unsigned char* dst, __m128i v) {
    _mm_storeh_pi(reinterpret_cast<__m64*>(dst), _mm_castsi128_ps(v));
}

// Saturates two registers of rows, [a | b] and [c | d], and stores them.
inline void StorePixelRows(__m256i ab, __m256i cd, unsigned char* a, unsigned char* b,
                           unsigned char* c, unsigned char* d) {
    const __m256i bytes = _mm256_packus_epi16(SaturateSums(ab), SaturateSums(cd));  // [a, c | b, d]
    const __m128i low = _mm256_castsi256_si128(bytes);
    const __m128i high = _mm256_extracti128_si256(bytes, 1);
    StoreLow64(a, low);
    StoreHigh64(c, low);
    StoreLow64(b, high);
    StoreHigh64(d, high);
}

template <typename Order>
inline void StorePixels(const OutputBlock<Order>& out, unsigned char* dst, ptrdiff_t stride) {
    constexpr const int* row = Order::kRow;
    StorePixelRows(out.rows[0], out.rows[1], dst + row[0] * stride, dst + row[1] * stride,
                   dst + row[2] * stride, dst + row[3] * stride);
    StorePixelRows(out.rows[2], out.rows[3], dst + row[4] * stride, dst + row[5] * stride,
                   dst + row[6] * stride, dst + row[7] * stride);
}

inline void StorePixelRow(__m128i row, unsigned char* dst, ptrdiff_t stride) {
    const __m128i saturated = SaturateSums(row);
    const __m128i bytes = _mm_packus_epi16(saturated, saturated);
    for (int r = 0; r < 8; ++r) {
        StoreLow64(dst + r * stride, bytes);
    }
}

// Two rows of the prediction in dst, widened to 16 bits: [row a | row b].
inline __m256i LoadPrediction(const unsigned char* a, const unsigned char* b) {
    const __m128i low = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(a));
    const __m128i both =
        _mm_castpd_si128(_mm_loadh_pd(_mm_castsi128_pd(low), reinterpret_cast<const double*>(b)));
    return _mm256_cvtepu8_epi16(both);
}

// Adds residual rows [a | b] and [c | d] to the prediction in dst, saturates,
// and stores the pixels to dst and as 16-bit samples.
inline void AddRowPairs(__m256i ab, __m256i cd, int a, int b, int c, int d, unsigned char* dst,
                        ptrdiff_t stride, int16_t* samples, ptrdiff_t samplesStride) {
    const __m256i sumAB = _mm256_add_epi16(ab, LoadPrediction(dst + a * stride, dst + b * stride));
    const __m256i sumCD = _mm256_add_epi16(cd, LoadPrediction(dst + c * stride, dst + d * stride));
    const __m256i bytes = _mm256_packus_epi16(SaturateSums(sumAB), SaturateSums(sumCD));
    const __m128i ac = _mm256_castsi256_si128(bytes);
    const __m128i bd = _mm256_extracti128_si256(bytes, 1);
    StoreLow64(dst + a * stride, ac);
    StoreHigh64(dst + c * stride, ac);
    StoreLow64(dst + b * stride, bd);
    StoreHigh64(dst + d * stride, bd);
    const __m256i zero = _mm256_setzero_si256();
    StoreResidualPair(_mm256_unpacklo_epi8(bytes, zero), samples + a * samplesStride,
                      samples + b * samplesStride);
    StoreResidualPair(_mm256_unpackhi_epi8(bytes, zero), samples + c * samplesStride,
                      samples + d * samplesStride);
}

template <typename Order>
inline void AddRows(const OutputBlock<Order>& out, unsigned char* dst, ptrdiff_t stride,
                    int16_t* samples, ptrdiff_t samplesStride) {
    constexpr const int* row = Order::kRow;
    AddRowPairs(out.rows[0], out.rows[1], row[0], row[1], row[2], row[3], dst, stride, samples,
                samplesStride);
    AddRowPairs(out.rows[2], out.rows[3], row[4], row[5], row[6], row[7], dst, stride, samples,
                samplesStride);
}

inline void AddRow(__m128i row, unsigned char* dst, ptrdiff_t stride, int16_t* samples,
                   ptrdiff_t samplesStride) {
    const __m256i rows = _mm256_setr_m128i(row, row);
    AddRowPairs(rows, rows, 0, 1, 2, 3, dst, stride, samples, samplesStride);
    AddRowPairs(rows, rows, 4, 5, 6, 7, dst, stride, samples, samplesStride);
}

// The full kernels: the plain twin outside the bound, else the cheapest
// transform that gives the same result for the block.
void IdctToPixelsAvx2(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride) {
    const Rows rows = LoadRows(coefficients);
    switch (ChoosePath(rows)) {
        case Path::kPlain:
            return IdctToPixelsC(coefficients, dst, stride);
        case Path::kRowZero:
            return StorePixelRow(TransformRowZero(coefficients), dst, stride);
        case Path::kCorner:
            return StorePixels(TransformCorner(LoadCorner(coefficients)), dst, stride);
        case Path::kFull:
            return StorePixels(Transform(rows), dst, stride);
    }
}

void IdctToResidualAvx2(const int16_t* coefficients, int16_t* dst, ptrdiff_t stride) {
    const Rows rows = LoadRows(coefficients);
    switch (ChoosePath(rows)) {
        case Path::kPlain:
            return IdctToResidualC(coefficients, dst, stride);
        case Path::kRowZero:
            return StoreResidualRow(TransformRowZero(coefficients), dst, stride);
        case Path::kCorner:
            return StoreResidual(TransformCorner(LoadCorner(coefficients)), dst, stride);
        case Path::kFull:
            return StoreResidual(Transform(rows), dst, stride);
    }
}

void IdctAddAvx2(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride,
                 int16_t* samples, ptrdiff_t samplesStride) {
    const Rows rows = LoadRows(coefficients);
    switch (ChoosePath(rows)) {
        case Path::kPlain:
            return IdctAddC(coefficients, dst, stride, samples, samplesStride);
        case Path::kRowZero:
            return AddRow(TransformRowZero(coefficients), dst, stride, samples, samplesStride);
        case Path::kCorner:
            return AddRows(TransformCorner(LoadCorner(coefficients)), dst, stride, samples,
                           samplesStride);
        case Path::kFull:
            return AddRows(Transform(rows), dst, stride, samples, samplesStride);
    }
}

void IdctCornerToResidualAvx2(const int16_t* coefficients, int16_t* dst, ptrdiff_t stride) {
    const Corner corner = LoadCorner(coefficients);
    if (!CornerWithinBound(corner)) {
        return IdctCornerToResidualC(coefficients, dst, stride);
    }
    StoreResidual(TransformCorner(corner), dst, stride);
}

void IdctCornerAddAvx2(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride,
                       int16_t* samples, ptrdiff_t samplesStride) {
    const Corner corner = LoadCorner(coefficients);
    if (!CornerWithinBound(corner)) {
        return IdctCornerAddC(coefficients, dst, stride, samples, samplesStride);
    }
    AddRows(TransformCorner(corner), dst, stride, samples, samplesStride);
}

void IdctDcAddAvx2(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride,
                   int16_t* samples, ptrdiff_t samplesStride) {
    // Both passes' shortcuts: 4 times the DC, then rounded and shifted by 5.
    const int value = (4 * coefficients[0] + 16) >> 5;
    AddRow(_mm_set1_epi16(static_cast<int16_t>(value)), dst, stride, samples, samplesStride);
}

}  // namespace

const IdctKernels kIdctKernelsAvx2 = {IdctToPixelsAvx2,         IdctToResidualAvx2,
                                      IdctCornerToResidualAvx2, IdctAddAvx2,
                                      IdctCornerAddAvx2,        IdctDcAddAvx2};

}  // namespace veltrane
