// SSE2 inverse transform kernels, islow style: each pass multiplies interleaved
// pairs of 16-bit inputs by pairs of factors (pmaddwd) and sums in 32 bits, four
// lines to a register.
//
// Why the results equal the plain kernels'. The plain passes compute every sum
// in uint32, that is modulo 2^32, before the arithmetic shift; pmaddwd and
// paddd compute modulo 2^32 as well (pmaddwd wraps only for two products of
// -32768 * -32768, which is still the value modulo 2^32). Any regrouping of the
// same products, such as the multiplied-out factors of kIdctOutputFactors,
// therefore gives the same 32-bit value before the shift, provided each pass
// gets the same inputs. The row pass's outputs after the shift by 18 fit 16
// bits, so packing them is exact. The column pass's outputs are what needs care:
// the plain kernels keep them in 32 bits, these kernels in 16.
//
// The bound. Column output n is (8192 x0 + sum_k w[n][k] x_k + 1024) >> 11 over
// the column's inputs x0..x7, w being kIdctOutputFactors (|w| <= 11363). Over
// all n, sum_{k>=1} |w[n][k]| is at most 53022 (53019 to 53022 depending on n).
// With a0 = |x0| and a1 = max |x1..x7| the value before the shift lies within
// 1024 +- (8192 a0 + 53022 a1), and the output fits 16 bits when 8192 a0 +
// 53022 a1 <= 2^26 - 1025 = 67107839. The test below asks 2 a0 + 13 a1 <= 16383
// per column: then 8192 a0 + 53022 a1 <= 4096 (2 a0 + 13 a1) <= 67104768, 3071
// to spare. It costs nothing on real blocks: with the decoder's largest DC
// (2048) a column still passes with every AC term up to 945, and without DC up
// to 1260. A block that fails goes to the plain kernel.
//
// The shortcuts of the plain kernels need nothing extra. A column without AC
// terms gives 4 x0, exactly what the butterflies give for a 16-bit x0. A row
// without AC terms gives (x0 + 16) >> 5, which the butterflies give too for any
// 16-bit x0; its plain clamp to 0..255 equals pairwise saturation for the
// -1024..1024 it can then produce.
//
// idct_avx2.cpp is the 256-bit twin of this file, step for step.
#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

#include "recon/idct_kernels.h"

namespace veltrane {
namespace {

constexpr int kPass1Rounding = 1024;
constexpr int kPass1Shift = 11;
constexpr int kPass2Rounding = 131072;
constexpr int kPass2Shift = 18;

struct alignas(16) Vector {
    int32_t lane[4];
};

// A pair of 16-bit values as one 32-bit lane, `low` in the low half.
constexpr int32_t PairOf(int low, int high) {
    return static_cast<int32_t>((static_cast<uint32_t>(high) << 16) |
                                (static_cast<uint32_t>(low) & 0xFFFFu));
}
constexpr Vector Splat32(int32_t v) { return {{v, v, v, v}}; }
constexpr Vector Splat16(int v) { return Splat32(PairOf(v, v)); }
// Factors for pmaddwd: `first` multiplies the low 16 bits of each 32-bit lane,
// `second` the high 16 bits.
constexpr Vector Pairs(int first, int second) { return Splat32(PairOf(first, second)); }

// Every vector constant of the kernels.
struct Table {
    Vector rounding1, rounding2;
    // The full passes: t0, t1 in (x0, x4) and t3, t2 in (x2, x6) make the even
    // halves; the odd half of output k is in (x1, x5) and (x3, x7).
    Vector t0, t1, t3, t2;
    Vector odd15[4], odd37[4];
    // Passes with x4..x7 zero: output k from (x0, x2) and (x1, x3).
    Vector cornerEven[4], cornerOdd[4];
    // The corner's (x0, x2) and (x1, x3) pairs of columns 0, 2, 1, 3.
    Vector keepCornerE02, keepCornerO13;
    // The bound: 2 |x0| + 13 min(max |x1..x7|, 1261) <= 16383.
    Vector acLimit, acWeight, totalLimit;
    // Outside the corner: row 0 columns 4-7, row 1 columns 3-7, rows 2 and 3
    // columns 2-7 (rows 4-7 are tested whole).
    Vector outsideCorner0, outsideCorner1, outsideCorner23;
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
    .cornerEven = {Pairs(kW[0][0], kW[0][2]), Pairs(kW[1][0], kW[1][2]), Pairs(kW[2][0], kW[2][2]),
                   Pairs(kW[3][0], kW[3][2])},
    .cornerOdd = {Pairs(kW[0][1], kW[0][3]), Pairs(kW[1][1], kW[1][3]), Pairs(kW[2][1], kW[2][3]),
                  Pairs(kW[3][1], kW[3][3])},
    .keepCornerE02 = {{-1, PairOf(-1, 0), -1, PairOf(-1, 0)}},
    .keepCornerO13 = {{-1, PairOf(-1, 0), -1, 0}},
    .acLimit = Splat16(1261),
    .acWeight = Splat16(13),
    .totalLimit = Splat16(16383),
    .outsideCorner0 = {{0, 0, -1, -1}},
    .outsideCorner1 = {{0, PairOf(0, -1), -1, -1}},
    .outsideCorner23 = {{0, -1, -1, -1}},
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

inline __m128i Load(const Vector& v) {
    return _mm_load_si128(reinterpret_cast<const __m128i*>(v.lane));
}

inline __m128i Madd(__m128i pairs, __m128i factors) { return _mm_madd_epi16(pairs, factors); }
inline __m128i Add(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }
inline __m128i Sub(__m128i a, __m128i b) { return _mm_sub_epi32(a, b); }

// Four lines of a pass, line i in 32-bit lane i, as interleaved pairs of their
// inputs: (x0, x4), (x1, x5), (x2, x6), (x3, x7).
struct LinePairs {
    __m128i e04, o15, e26, o37;
};

// Raw outputs (rounding added, not yet shifted) of a pass: y[k] is output k of
// every line.
struct PassOutputs {
    __m128i y[8];
};

// Outputs k and 7 - k: even[k] + odd[k] and even[k] - odd[k], the odd half
// being the terms in x1, x3, x5, x7.
template <int k>
inline void OutputsFromHalves(__m128i even, const LinePairs& in, PassOutputs& out) {
    const __m128i odd =
        Add(Madd(in.o15, Load(Constants().odd15[k])), Madd(in.o37, Load(Constants().odd37[k])));
    out.y[k] = Add(even, odd);
    out.y[7 - k] = Sub(even, odd);
}

// One pass over four lines. The even halves of outputs 0-3 share their terms
// in pairs: t0 + t3, t1 + t2, t1 - t2, t0 - t3.
inline PassOutputs InversePass(const LinePairs& in, __m128i rounding) {
    const __m128i t0 = Add(Madd(in.e04, Load(Constants().t0)), rounding);
    const __m128i t1 = Add(Madd(in.e04, Load(Constants().t1)), rounding);
    const __m128i t3 = Madd(in.e26, Load(Constants().t3));
    const __m128i t2 = Madd(in.e26, Load(Constants().t2));
    PassOutputs out;
    OutputsFromHalves<0>(Add(t0, t3), in, out);
    OutputsFromHalves<1>(Add(t1, t2), in, out);
    OutputsFromHalves<2>(Sub(t1, t2), in, out);
    OutputsFromHalves<3>(Sub(t0, t3), in, out);
    return out;
}

// Outputs k and 7 - k of lines with x4..x7 zero, from the pairs (x0, x2) and
// (x1, x3).
template <int k>
inline void CornerOutputs(__m128i e02, __m128i o13, __m128i rounding, PassOutputs& out) {
    const __m128i even = Add(Madd(e02, Load(Constants().cornerEven[k])), rounding);
    const __m128i odd = Madd(o13, Load(Constants().cornerOdd[k]));
    out.y[k] = Add(even, odd);
    out.y[7 - k] = Sub(even, odd);
}

inline PassOutputs InversePass4(__m128i e02, __m128i o13, __m128i rounding) {
    PassOutputs out;
    CornerOutputs<0>(e02, o13, rounding, out);
    CornerOutputs<1>(e02, o13, rounding, out);
    CornerOutputs<2>(e02, o13, rounding, out);
    CornerOutputs<3>(e02, o13, rounding, out);
    return out;
}

// Eight rows of eight 16-bit values.
struct Block {
    __m128i row[8];
};

inline Block LoadRows(const int16_t* coefficients) {
    auto row = [coefficients](int r) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(coefficients + 8 * r));
    };
    return {{row(0), row(1), row(2), row(3), row(4), row(5), row(6), row(7)}};
}

// How a block is transformed: by the plain kernel (outside the bound), as a
// block whose rows 1-7 are zero, as a corner, or in full.
enum class Path { kPlain, kRowZero, kCorner, kFull };

// Plain unless every column satisfies 2 |x0| + 13 min(max |x1..x7|, 1261) <=
// 16383 (the bound above). Saturating arithmetic only ever raises a total above
// the limit: -32768 counts as 32767.
inline Path ChoosePath(const Block& in) {
    const __m128i* r = in.row;
    const __m128i high =
        _mm_max_epi16(_mm_max_epi16(_mm_max_epi16(r[1], r[2]), _mm_max_epi16(r[3], r[4])),
                      _mm_max_epi16(_mm_max_epi16(r[5], r[6]), r[7]));
    const __m128i low =
        _mm_min_epi16(_mm_min_epi16(_mm_min_epi16(r[1], r[2]), _mm_min_epi16(r[3], r[4])),
                      _mm_min_epi16(_mm_min_epi16(r[5], r[6]), r[7]));
    const __m128i zero = _mm_setzero_si128();
    const __m128i ac = _mm_max_epi16(high, _mm_subs_epi16(zero, low));
    const __m128i dc = _mm_max_epi16(r[0], _mm_subs_epi16(zero, r[0]));
    const __m128i acTerm =
        _mm_mullo_epi16(_mm_min_epi16(ac, Load(Constants().acLimit)), Load(Constants().acWeight));
    const __m128i total = _mm_adds_epi16(acTerm, _mm_adds_epi16(dc, dc));
    if (_mm_movemask_epi8(_mm_cmpgt_epi16(total, Load(Constants().totalLimit))) != 0) {
        return Path::kPlain;
    }
    if (_mm_movemask_epi8(_mm_cmpeq_epi16(ac, zero)) == 0xFFFF) {
        return Path::kRowZero;
    }
    const __m128i outside = _mm_or_si128(
        _mm_or_si128(_mm_or_si128(r[4], r[5]), _mm_or_si128(r[6], r[7])),
        _mm_or_si128(_mm_or_si128(_mm_and_si128(r[0], Load(Constants().outsideCorner0)),
                                  _mm_and_si128(r[1], Load(Constants().outsideCorner1))),
                     _mm_and_si128(_mm_or_si128(r[2], r[3]), Load(Constants().outsideCorner23))));
    return _mm_movemask_epi8(_mm_cmpeq_epi16(outside, zero)) == 0xFFFF ? Path::kCorner
                                                                       : Path::kFull;
}

// The column pass outputs of rows a and b (columns 0-3 in `left`, 4-7 in
// `right`) shifted, packed to 16 bits, each row regrouped as (c0, c4), (c1, c5),
// (c2, c6), (c3, c7).
struct RowPair {
    __m128i a, b;
};

inline RowPair PairColumnOutputs(__m128i leftA, __m128i leftB, __m128i rightA, __m128i rightB) {
    const __m128i lefts =
        _mm_packs_epi32(_mm_srai_epi32(leftA, kPass1Shift), _mm_srai_epi32(leftB, kPass1Shift));
    const __m128i rights =
        _mm_packs_epi32(_mm_srai_epi32(rightA, kPass1Shift), _mm_srai_epi32(rightB, kPass1Shift));
    return {_mm_unpacklo_epi16(lefts, rights), _mm_unpackhi_epi16(lefts, rights)};
}

// Four rows as PairColumnOutputs gives them, as the row pass's inputs: row i in
// lane i.
inline LinePairs TransposePairs(const RowPair& rows01, const RowPair& rows23) {
    const __m128i low01 = _mm_unpacklo_epi32(rows01.a, rows01.b);
    const __m128i high01 = _mm_unpackhi_epi32(rows01.a, rows01.b);
    const __m128i low23 = _mm_unpacklo_epi32(rows23.a, rows23.b);
    const __m128i high23 = _mm_unpackhi_epi32(rows23.a, rows23.b);
    return {_mm_unpacklo_epi64(low01, low23), _mm_unpackhi_epi64(low01, low23),
            _mm_unpacklo_epi64(high01, high23), _mm_unpackhi_epi64(high01, high23)};
}

// The row pass outputs (column k of rows 0-3 in top.y[k], of rows 4-7 in
// bottom.y[k]) as eight 16-bit rows.
inline Block OutputRows(const PassOutputs& top, const PassOutputs& bottom) {
    auto column = [&top, &bottom](int k) {
        return _mm_packs_epi32(_mm_srai_epi32(top.y[k], kPass2Shift),
                               _mm_srai_epi32(bottom.y[k], kPass2Shift));
    };
    // Transposed in three rounds of interleaving.
    const __m128i a0 = _mm_unpacklo_epi16(column(0), column(1));
    const __m128i a1 = _mm_unpackhi_epi16(column(0), column(1));
    const __m128i a2 = _mm_unpacklo_epi16(column(2), column(3));
    const __m128i a3 = _mm_unpackhi_epi16(column(2), column(3));
    const __m128i a4 = _mm_unpacklo_epi16(column(4), column(5));
    const __m128i a5 = _mm_unpackhi_epi16(column(4), column(5));
    const __m128i a6 = _mm_unpacklo_epi16(column(6), column(7));
    const __m128i a7 = _mm_unpackhi_epi16(column(6), column(7));
    const __m128i b0 = _mm_unpacklo_epi32(a0, a2);
    const __m128i b1 = _mm_unpackhi_epi32(a0, a2);
    const __m128i b2 = _mm_unpacklo_epi32(a1, a3);
    const __m128i b3 = _mm_unpackhi_epi32(a1, a3);
    const __m128i b4 = _mm_unpacklo_epi32(a4, a6);
    const __m128i b5 = _mm_unpackhi_epi32(a4, a6);
    const __m128i b6 = _mm_unpacklo_epi32(a5, a7);
    const __m128i b7 = _mm_unpackhi_epi32(a5, a7);
    return {{_mm_unpacklo_epi64(b0, b4), _mm_unpackhi_epi64(b0, b4), _mm_unpacklo_epi64(b1, b5),
             _mm_unpackhi_epi64(b1, b5), _mm_unpacklo_epi64(b2, b6), _mm_unpackhi_epi64(b2, b6),
             _mm_unpacklo_epi64(b3, b7), _mm_unpackhi_epi64(b3, b7)}};
}

// The full transform of a block within the bound.
[[gnu::always_inline]] inline Block Transform(const Block& in) {
    const __m128i* r = in.row;
    const __m128i rounding1 = Load(Constants().rounding1);
    const PassOutputs left =  // columns 0-3
        InversePass({_mm_unpacklo_epi16(r[0], r[4]), _mm_unpacklo_epi16(r[1], r[5]),
                     _mm_unpacklo_epi16(r[2], r[6]), _mm_unpacklo_epi16(r[3], r[7])},
                    rounding1);
    const PassOutputs right =  // columns 4-7
        InversePass({_mm_unpackhi_epi16(r[0], r[4]), _mm_unpackhi_epi16(r[1], r[5]),
                     _mm_unpackhi_epi16(r[2], r[6]), _mm_unpackhi_epi16(r[3], r[7])},
                    rounding1);
    auto rows = [&left, &right](int a) {
        return PairColumnOutputs(left.y[a], left.y[a + 1], right.y[a], right.y[a + 1]);
    };
    const __m128i rounding2 = Load(Constants().rounding2);
    const PassOutputs top = InversePass(TransposePairs(rows(0), rows(2)), rounding2);
    const PassOutputs bottom = InversePass(TransposePairs(rows(4), rows(6)), rounding2);
    return OutputRows(top, bottom);
}

// The corner of a block: the positions the plain corner kernels read (column 0
// rows 0-3, column 1 rows 0-3, column 2 rows 0-1, column 3 row 0), as the column
// pass's pairs (x0, x2) and (x1, x3) of columns 0, 2, 1, 3 in that order, so that
// the packed outputs of each row come out as the row pass's pairs.
struct Corner {
    __m128i e02, o13;
};

inline Corner LoadCorner(const int16_t* coefficients) {
    auto row = [coefficients](int r) {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(coefficients + 8 * r));
    };
    const __m128i e02 = _mm_shuffle_epi32(_mm_unpacklo_epi16(row(0), row(2)), 0xD8);
    const __m128i o13 = _mm_shuffle_epi32(_mm_unpacklo_epi16(row(1), row(3)), 0xD8);
    return {_mm_and_si128(e02, Load(Constants().keepCornerE02)),
            _mm_and_si128(o13, Load(Constants().keepCornerO13))};
}

// The bound of ChoosePath for a corner (rows 4-7 are zero).
inline bool CornerWithinBound(const Corner& corner) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i e02 = _mm_max_epi16(corner.e02, _mm_subs_epi16(zero, corner.e02));
    const __m128i o13 = _mm_max_epi16(corner.o13, _mm_subs_epi16(zero, corner.o13));
    // Low 16 bits of each lane: max |x1|, |x2|, |x3|.
    __m128i ac = _mm_max_epi16(o13, _mm_srli_epi32(e02, 16));
    ac = _mm_max_epi16(ac, _mm_srli_epi32(ac, 16));
    const __m128i acTerm =
        _mm_mullo_epi16(_mm_min_epi16(ac, Load(Constants().acLimit)), Load(Constants().acWeight));
    const __m128i total = _mm_adds_epi16(acTerm, _mm_adds_epi16(e02, e02));
    const int over = _mm_movemask_epi8(_mm_cmpgt_epi16(total, Load(Constants().totalLimit)));
    return (over & 0x3333) == 0;  // the low 16 bits of each lane
}

// The column outputs of rows a..a+3 of a corner (packed, each row as (c0, c2),
// (c1, c3)) as the row pass's pairs.
inline PassOutputs CornerRowPass(const PassOutputs& columns, int a, __m128i rounding) {
    auto packed = [&columns](int r) {
        return _mm_packs_epi32(_mm_srai_epi32(columns.y[r], kPass1Shift),
                               _mm_srai_epi32(columns.y[r + 1], kPass1Shift));
    };
    const __m128i rows01 = packed(a);
    const __m128i rows23 = packed(a + 2);
    const __m128i even = _mm_unpacklo_epi32(rows01, rows23);  // 0 e, 2 e, 0 o, 2 o
    const __m128i odd = _mm_unpackhi_epi32(rows01, rows23);   // 1 e, 3 e, 1 o, 3 o
    return InversePass4(_mm_unpacklo_epi32(even, odd), _mm_unpackhi_epi32(even, odd), rounding);
}

// The transform of a corner within the bound: with x4..x7 zero in both passes
// the butterflies need only (x0, x2) and (x1, x3).
[[gnu::always_inline]] inline Block TransformCorner(const Corner& corner) {
    const PassOutputs columns = InversePass4(corner.e02, corner.o13, Load(Constants().rounding1));
    const __m128i rounding2 = Load(Constants().rounding2);
    return OutputRows(CornerRowPass(columns, 0, rounding2), CornerRowPass(columns, 4, rounding2));
}

// The row pass of a block whose rows 1-7 are zero, one row for all eight: the
// column pass gives 4 x0 in every row of a column, and the row pass of that row
// is eight dot products with the multiplied-out factors.
inline __m128i TransformRowZero(__m128i row0) {
    const __m128i x = _mm_slli_epi16(row0, 2);
    auto partial = [x](int k) {  // four partial sums of output k
        return Madd(x, _mm_loadu_si128(reinterpret_cast<const __m128i*>(kW[k])));
    };
    auto sums = [&partial](int k) {  // outputs k..k+3
        const __m128i p0 = partial(k);
        const __m128i p1 = partial(k + 1);
        const __m128i p2 = partial(k + 2);
        const __m128i p3 = partial(k + 3);
        const __m128i s01 = Add(_mm_unpacklo_epi32(p0, p1), _mm_unpackhi_epi32(p0, p1));
        const __m128i s23 = Add(_mm_unpacklo_epi32(p2, p3), _mm_unpackhi_epi32(p2, p3));
        const __m128i s = Add(_mm_unpacklo_epi64(s01, s23), _mm_unpackhi_epi64(s01, s23));
        return _mm_srai_epi32(Add(s, Load(Constants().rounding2)), kPass2Shift);
    };
    return _mm_packs_epi32(sums(0), sums(4));
}

inline void StoreResidual(const Block& out, int16_t* dst, ptrdiff_t stride) {
    auto store = [dst, stride](int r, __m128i row) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + r * stride), row);
    };
    store(0, out.row[0]);
    store(1, out.row[1]);
    store(2, out.row[2]);
    store(3, out.row[3]);
    store(4, out.row[4]);
    store(5, out.row[5]);
    store(6, out.row[6]);
    store(7, out.row[7]);
}

inline void StoreResidualRow(__m128i row, int16_t* dst, ptrdiff_t stride) {
    for (int r = 0; r < 8; ++r) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + r * stride), row);
    }
}

// 16-bit sums as pixels, as pairwise saturation gives them: a clamp to 0..255,
// except that 4096..32767 become 0.
inline __m128i SaturateSums(__m128i sums) {
    return _mm_andnot_si128(_mm_cmpgt_epi16(sums, Load(Constants().pixelLimit)), sums);
}

inline void StoreLow64(unsigned char* dst, __m128i v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), v);
}
// movhps: GCC's _mm_storeh_pd is a plain double store, which requires alignment.
inline void StoreHigh64(unsigned char* dst, __m128i v) {
    _mm_storeh_pi(reinterpret_cast<__m64*>(dst), _mm_castsi128_ps(v));
}

inline void StorePixels(const Block& out, unsigned char* dst, ptrdiff_t stride) {
    auto store = [dst, stride](int r, __m128i rowA, __m128i rowB) {
        const __m128i bytes = _mm_packus_epi16(SaturateSums(rowA), SaturateSums(rowB));
        StoreLow64(dst + r * stride, bytes);
        StoreHigh64(dst + (r + 1) * stride, bytes);
    };
    store(0, out.row[0], out.row[1]);
    store(2, out.row[2], out.row[3]);
    store(4, out.row[4], out.row[5]);
    store(6, out.row[6], out.row[7]);
}

inline void StorePixelRow(__m128i row, unsigned char* dst, ptrdiff_t stride) {
    const __m128i saturated = SaturateSums(row);
    const __m128i bytes = _mm_packus_epi16(saturated, saturated);
    for (int r = 0; r < 8; ++r) {
        StoreLow64(dst + r * stride, bytes);
    }
}

// Adds residual rows r and r + 1 to the prediction in dst, saturates, and
// stores the pixels to dst and as 16-bit samples.
inline void AddRowPair(__m128i residualA, __m128i residualB, int r, unsigned char* dst,
                       ptrdiff_t stride, int16_t* samples, ptrdiff_t samplesStride) {
    const __m128i zero = _mm_setzero_si128();
    unsigned char* a = dst + r * stride;
    unsigned char* b = a + stride;
    const __m128i predA = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(a));
    const __m128i predB = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(b));
    const __m128i sumA = _mm_add_epi16(residualA, _mm_unpacklo_epi8(predA, zero));
    const __m128i sumB = _mm_add_epi16(residualB, _mm_unpacklo_epi8(predB, zero));
    const __m128i bytes = _mm_packus_epi16(SaturateSums(sumA), SaturateSums(sumB));
    StoreLow64(a, bytes);
    StoreHigh64(b, bytes);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(samples + r * samplesStride),
                     _mm_unpacklo_epi8(bytes, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(samples + (r + 1) * samplesStride),
                     _mm_unpackhi_epi8(bytes, zero));
}

inline void AddRows(const Block& out, unsigned char* dst, ptrdiff_t stride, int16_t* samples,
                    ptrdiff_t samplesStride) {
    AddRowPair(out.row[0], out.row[1], 0, dst, stride, samples, samplesStride);
    AddRowPair(out.row[2], out.row[3], 2, dst, stride, samples, samplesStride);
    AddRowPair(out.row[4], out.row[5], 4, dst, stride, samples, samplesStride);
    AddRowPair(out.row[6], out.row[7], 6, dst, stride, samples, samplesStride);
}

inline void AddRow(__m128i row, unsigned char* dst, ptrdiff_t stride, int16_t* samples,
                   ptrdiff_t samplesStride) {
    for (int r = 0; r < 8; r += 2) {
        AddRowPair(row, row, r, dst, stride, samples, samplesStride);
    }
}

// The full kernels: the plain twin outside the bound, else the cheapest
// transform that gives the same result for the block.
void IdctToPixelsSse2(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride) {
    const Block in = LoadRows(coefficients);
    switch (ChoosePath(in)) {
        case Path::kPlain:
            return IdctToPixelsC(coefficients, dst, stride);
        case Path::kRowZero:
            return StorePixelRow(TransformRowZero(in.row[0]), dst, stride);
        case Path::kCorner:
            return StorePixels(TransformCorner(LoadCorner(coefficients)), dst, stride);
        case Path::kFull:
            return StorePixels(Transform(in), dst, stride);
    }
}

void IdctToResidualSse2(const int16_t* coefficients, int16_t* dst, ptrdiff_t stride) {
    const Block in = LoadRows(coefficients);
    switch (ChoosePath(in)) {
        case Path::kPlain:
            return IdctToResidualC(coefficients, dst, stride);
        case Path::kRowZero:
            return StoreResidualRow(TransformRowZero(in.row[0]), dst, stride);
        case Path::kCorner:
            return StoreResidual(TransformCorner(LoadCorner(coefficients)), dst, stride);
        case Path::kFull:
            return StoreResidual(Transform(in), dst, stride);
    }
}

void IdctAddSse2(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride,
                 int16_t* samples, ptrdiff_t samplesStride) {
    const Block in = LoadRows(coefficients);
    switch (ChoosePath(in)) {
        case Path::kPlain:
            return IdctAddC(coefficients, dst, stride, samples, samplesStride);
        case Path::kRowZero:
            return AddRow(TransformRowZero(in.row[0]), dst, stride, samples, samplesStride);
        case Path::kCorner:
            return AddRows(TransformCorner(LoadCorner(coefficients)), dst, stride, samples,
                           samplesStride);
        case Path::kFull:
            return AddRows(Transform(in), dst, stride, samples, samplesStride);
    }
}

void IdctCornerToResidualSse2(const int16_t* coefficients, int16_t* dst, ptrdiff_t stride) {
    const Corner corner = LoadCorner(coefficients);
    if (!CornerWithinBound(corner)) {
        return IdctCornerToResidualC(coefficients, dst, stride);
    }
    StoreResidual(TransformCorner(corner), dst, stride);
}

void IdctCornerAddSse2(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride,
                       int16_t* samples, ptrdiff_t samplesStride) {
    const Corner corner = LoadCorner(coefficients);
    if (!CornerWithinBound(corner)) {
        return IdctCornerAddC(coefficients, dst, stride, samples, samplesStride);
    }
    AddRows(TransformCorner(corner), dst, stride, samples, samplesStride);
}

void IdctDcAddSse2(const int16_t* coefficients, unsigned char* dst, ptrdiff_t stride,
                   int16_t* samples, ptrdiff_t samplesStride) {
    // Both passes' shortcuts: 4 times the DC, then rounded and shifted by 5.
    const int value = (4 * coefficients[0] + 16) >> 5;
    AddRow(_mm_set1_epi16(static_cast<int16_t>(value)), dst, stride, samples, samplesStride);
}

}  // namespace

const IdctKernels kIdctKernelsSse2 = {IdctToPixelsSse2,         IdctToResidualSse2,
                                      IdctCornerToResidualSse2, IdctAddSse2,
                                      IdctCornerAddSse2,        IdctDcAddSse2};

}  // namespace veltrane
