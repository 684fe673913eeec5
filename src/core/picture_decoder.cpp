// The picture decoding loop: header, then every macroblock of the picture in
// raster order, then the reader's error collected once.
//
// An inter macroblock's coded blocks are read first, then the macroblock is
// predicted into the current store, and each block's transform is added onto the
// prediction in one pass.
#include "core/picture_decoder.h"

#include <cstddef>
#include <cstring>

#include "core/bit_cursor.h"
#include "core/macroblock_type.h"
#include "core/picture_header.h"
#include "entropy/block_decoding.h"
#include "entropy/code_tables.h"
#include "entropy/flat_code_tables.h"
#include "entropy/motion_vectors.h"
#include "recon/idct_kernels.h"
#include "recon/macroblock_prediction.h"
#include "recon/mc_kernels.h"
#include "veltrane/bitreader.h"

namespace veltrane {

namespace {

enum PictureType : uint32_t { kIntraPicture = 0, kInterPicture = 1, kDisposablePicture = 2 };

constexpr int kDquantChange[4] = {-1, -2, 1, 2};

// The observer of the library's own path: records nothing.
struct NoObserver {
    void Macroblock(int /*index*/, uint32_t /*firstBit*/, uint32_t /*endBit*/, bool /*damaged*/,
                    bool /*skipped*/, int /*type*/, int /*quant*/, unsigned /*codedBlocks*/,
                    const MotionVector_t* /*vectors*/) {}
};

struct RecordingObserver {
    MacroblockRecord* records;
    int32_t count = 0;
    void Macroblock(int index, uint32_t firstBit, uint32_t endBit, bool damaged, bool skipped,
                    int type, int quant, unsigned codedBlocks, const MotionVector_t* vectors) {
        MacroblockRecord& r = records[index];
        r.damaged = damaged;
        r.skipped = skipped;
        r.type = static_cast<int16_t>(type);
        r.quantiser = static_cast<uint8_t>(quant);
        r.codedBlocks = static_cast<uint8_t>(codedBlocks);
        for (int k = 0; k < 4; ++k) {
            r.vectors[k] = vectors != nullptr ? vectors[type == kMacroblockInter4V ? k : 0]
                                              : MotionVector_t{0, 0};
        }
        r.firstBit = firstBit;
        r.bitCount = endBit - firstBit;
        count = index + 1;
    }
};

// The coefficients of a macroblock's six blocks. All six are read before the
// first is transformed: a transform that loads a block right after the scalar
// stores that filled it waits for those stores to drain. Zero between uses.
// Aligned to 16 bytes only: a 32-byte alignment would cost the loop a frame
// pointer, one register fewer; the transforms load their blocks unaligned.
struct MacroblockCoefficients {
    alignas(16) int16_t block[6][64];
};

// What the loop over one picture works with.
struct Picture {
    DecodeInstance_t* decoder;
    BitCursor& bits;
    const IdctKernels& idct;
    const McKernels& mc;
    int version;
    int quant;  // running quantiser
    MacroblockCoefficients& coefficients;
};

// Where block k (luma 0 to 3, Cb, Cr) of a macroblock lies, and its coded bit in
// a mask with bits 3..0 for the luma blocks, bit 5 for Cb and bit 4 for Cr.
struct BlockPlace {
    unsigned char* dst;
    ptrdiff_t stride;
    int16_t* samples;  // in the residual buffer
    ptrdiff_t samplesStride;
};

constexpr unsigned kCodedBit[6] = {8, 4, 2, 1, 0x20, 0x10};

// Zeroes one block with eight 16-byte stores, written out: a memset of 128 bytes,
// or a loop the compiler turns back into one, becomes a string instruction whose
// start-up costs more than the stores.
VELTRANE_HOT_INLINE void ClearBlock(int16_t* block) {
    typedef int16_t Lanes __attribute__((vector_size(16), may_alias, aligned(16)));
    Lanes* lanes = reinterpret_cast<Lanes*>(block);
    lanes[0] = Lanes{};
    lanes[1] = Lanes{};
    lanes[2] = Lanes{};
    lanes[3] = Lanes{};
    lanes[4] = Lanes{};
    lanes[5] = Lanes{};
    lanes[6] = Lanes{};
    lanes[7] = Lanes{};
}

// The first macroblock of the row at luma line y in each plane of a store.
MacroblockPlanes PlanesAt(const DecodeInstance_t& d, unsigned char* const* store, int y) {
    return {store[kPlaneY] + static_cast<ptrdiff_t>(y) * d.yStride,
            store[kPlaneU] + static_cast<ptrdiff_t>(y / 2) * d.uvStride,
            store[kPlaneV] + static_cast<ptrdiff_t>(y / 2) * d.uvStride};
}

VELTRANE_HOT_INLINE void ApplyDquant(Picture& p) {
    const int q = p.quant + kDquantChange[p.bits.Read(2)];
    p.quant = q < 1 ? 1 : (q > 31 ? 31 : q);
}

VELTRANE_HOT_INLINE BlockPlace PlaceOfBlock(const Picture& p, const MacroblockPlanes& mb, int k) {
    const ptrdiff_t ys = p.decoder->yStride;
    const ptrdiff_t uvs = p.decoder->uvStride;
    int16_t* residual = p.decoder->coefficients;
    if (k < 4) {
        const int dx = 8 * (k & 1);
        const int dy = 8 * (k >> 1);
        return {mb.y + dy * ys + dx, ys, residual + 16 * dy + dx, 16};
    }
    return k == 4 ? BlockPlace{mb.u, uvs, residual + 256, 8}
                  : BlockPlace{mb.v, uvs, residual + 320, 8};
}

// The six intra blocks of a macroblock, codedMask as in kCodedBit (CBPY bits
// 3..0 for the luma blocks, CBPC bit 1 for Cb and bit 0 for Cr). An uncoded block
// is filled with its DC; a block whose runs overflow the scan is abandoned and
// the picture keeps what it held.
VELTRANE_HOT_INLINE void DecodeIntraMacroblock(Picture& p, unsigned codedMask,
                                               const MacroblockPlanes& mb) {
    int dc[6];
    int end[6];
    for (int k = 0; k < 6; ++k) {
        dc[k] = ReadIntraDc(p.bits);
        if (codedMask & kCodedBit[k]) {
            p.coefficients.block[k][0] = static_cast<int16_t>(8 * dc[k]);
            end[k] = ReadBlockCoefficients(p.bits, p.version, p.quant, 1, p.coefficients.block[k]);
        }
    }
    for (int k = 0; k < 6; ++k) {
        const BlockPlace place = PlaceOfBlock(p, mb, k);
        if (!(codedMask & kCodedBit[k])) {
            FillBlock(place.dst, place.stride, dc[k]);
            continue;
        }
        if (end[k] != 0) {
            p.idct.toPixels(p.coefficients.block[k], place.dst, place.stride);
        }
        ClearBlock(p.coefficients.block[k]);
    }
}

// Bit k set for each coded block k (luma 0 to 3, Cb, Cr) of a coded mask as in
// kCodedBit, so that the loops below visit coded blocks only.
constexpr auto kBlocksOfMask = [] {
    struct Table {
        uint8_t blocks[64];
    } table{};
    for (unsigned mask = 0; mask < 64; ++mask) {
        for (int k = 0; k < 6; ++k) {
            if (mask & kCodedBit[k]) table.blocks[mask] |= static_cast<uint8_t>(1u << k);
        }
    }
    return table;
}();

// The coded blocks of an inter macroblock (codedMask as in kCodedBit), and
// where the coefficients of each end.
struct InterResiduals {
    unsigned blocks;  // bit k for block k (luma 0 to 3, Cb, Cr)
    int end[6];
};

// Reads the coefficients of an inter macroblock's coded blocks. The caller
// predicts the macroblock before it transforms them, which gives the scalar
// stores that filled the blocks time to drain before the transform loads them.
VELTRANE_HOT_INLINE InterResiduals ReadInterResiduals(Picture& p, unsigned codedMask) {
    InterResiduals r;
    r.blocks = kBlocksOfMask.blocks[codedMask & 63];
    for (unsigned left = r.blocks; left != 0; left &= left - 1) {
        const int k = __builtin_ctz(left);
        r.end[k] = ReadBlockCoefficients(p.bits, p.version, p.quant, 0, p.coefficients.block[k]);
    }
    return r;
}

// Adds the residuals onto the prediction in the current store; the samples also
// go to the macroblock's residual buffer, as motion compensation leaves them
// there. An abandoned block adds what the buffer still holds.
VELTRANE_HOT_INLINE void AddInterResiduals(Picture& p, const InterResiduals& r,
                                           const MacroblockPlanes& mb) {
    for (unsigned left = r.blocks; left != 0; left &= left - 1) {
        const int k = __builtin_ctz(left);
        const BlockPlace b = PlaceOfBlock(p, mb, k);
        const int16_t* block = p.coefficients.block[k];
        if (r.end[k] == 0) {
            p.mc.addResidual8(b.samples, b.samplesStride, b.dst, b.stride);
        } else if (r.end[k] == kDcOnlyEnd) {
            p.idct.dcAdd(block, b.dst, b.stride, b.samples, b.samplesStride);
        } else if (r.end[k] <= kCornerEnd) {
            p.idct.cornerAdd(block, b.dst, b.stride, b.samples, b.samplesStride);
        } else {
            p.idct.add(block, b.dst, b.stride, b.samples, b.samplesStride);
        }
        ClearBlock(p.coefficients.block[k]);
    }
}

// COD, then MCBPC and CBPY of a coded macroblock, one code at a time; a stuffing
// MCBPC starts the macroblock again with its COD, and a failed lookup keeps the
// element's previous value. Returns whether the macroblock is skipped.
[[gnu::noinline]] bool ReadInterMacroblockHeaderByCodes(BitCursor& bits, int32_t& mcbpc,
                                                        int32_t& cbpy) {
    for (;;) {
        if (bits.BitsLeft() == 0) {
            bits.RecordError(kFifoErrorOutOfData);
            break;
        }
        if (bits.Read(1) != 0) {
            return true;
        }
        int32_t value;
        if (!bits.Decode(kMcbpcInterFlat, &value)) {
            break;
        }
        if (value != kMcbpcInterStuffing) {
            mcbpc = value;
            break;
        }
    }
    bits.Decode(kCbpyFlat, &cbpy);
    return false;
}

// The same, in one lookup where the three codes fit the table of whole headers.
VELTRANE_HOT_INLINE bool ReadInterMacroblockHeader(BitCursor& bits, int32_t& mcbpc, int32_t& cbpy) {
    const uint32_t header = kInterHeaders.headers[bits.Peek() >> (32 - kInterHeaderBits)];
    const uint32_t length = header & 15;
    if (length - 1 < bits.BitsLeft()) {
        bits.Skip(length);
        if (length == 1) {
            return true;
        }
        mcbpc = static_cast<int32_t>((header >> 4) & 31);
        cbpy = static_cast<int32_t>(header >> 9);
        return false;
    }
    BitCursor codes = bits;  // keeps the loop's cursor in registers
    const bool skipped = ReadInterMacroblockHeaderByCodes(codes, mcbpc, cbpy);
    bits = codes;
    return skipped;
}

template <typename Observer>
VELTRANE_HOT_INLINE void DecodeIntraPicture(Picture& p, Observer& observer) {
    DecodeInstance_t* d = p.decoder;
    BitCursor& bits = p.bits;
    unsigned char* const* store = d->stores[d->current];
    // A failed lookup keeps the element's previous value; stuffing is never kept.
    int32_t mcbpc = 0;
    int32_t cbpy = 0;
    int mbIndex = 0;
    for (int y = 0; y < d->alignedHeight; y += 16) {
        MacroblockPlanes mb = PlanesAt(*d, store, y);
        for (int x = 0; x < d->alignedWidth; x += 16, ++mbIndex, mb.Advance()) {
            const uint32_t firstBit = bits.position();
            int32_t value;
            while (bits.Decode(kMcbpcIntraFlat, &value)) {
                if (value != kMcbpcIntraStuffing) {
                    mcbpc = value;
                    break;
                }
            }
            bits.Decode(kCbpyFlat, &cbpy);
            if (mcbpc & 4) {
                ApplyDquant(p);
            }
            const auto codedBlocks = static_cast<unsigned>((cbpy & 15) | ((mcbpc & 3) << 4));
            DecodeIntraMacroblock(p, codedBlocks, mb);
            d->mbQuant[mbIndex] = p.quant;
            observer.Macroblock(mbIndex, firstBit, bits.position(), bits.error() != 0, false,
                                (mcbpc & 4) ? kMacroblockIntraQ : kMacroblockIntra, p.quant,
                                codedBlocks, nullptr);
        }
    }
}

// Returns 0, or 44 for a macroblock type out of range.
template <typename Observer>
VELTRANE_HOT_INLINE int32_t DecodePPicture(Picture& p, Observer& observer) {
    DecodeInstance_t* d = p.decoder;
    BitCursor& bits = p.bits;
    unsigned char* const* store = d->stores[d->current];
    unsigned char* const* reference = d->stores[1 - d->current];
    const int ys = d->yStride;
    const int uvs = d->uvStride;

    FillPlaneBoundaries(reference[kPlaneY], d->alignedWidth, d->alignedHeight, ys);
    FillPlaneBoundaries(reference[kPlaneU], d->alignedWidth / 2, d->alignedHeight / 2, uvs);
    FillPlaneBoundaries(reference[kPlaneV], d->alignedWidth / 2, d->alignedHeight / 2, uvs);
    // The vectors of skipped and intra macroblocks, and the unused three of
    // one-vector ones, count as zero.
    std::memset(d->mbVectors, 0, sizeof(macroblockvec_t) * static_cast<size_t>(d->mbCount));
    const int perRow = d->alignedWidth / 16;

    VectorCandidates candidates(perRow);

    int32_t mcbpc = 0;
    int32_t cbpy = 0;
    int mbIndex = 0;
    for (int y = 0; y < d->alignedHeight; y += 16) {
        const bool firstRow = y == 0;
        candidates.StartRow();
        // The macroblock in the current store and the co-located one in the reference.
        MacroblockPlanes mb = PlanesAt(*d, store, y);
        MacroblockPlanes ref = PlanesAt(*d, reference, y);
        for (int column = 0; column < perRow; ++column, ++mbIndex, mb.Advance(), ref.Advance()) {
            const uint32_t firstBit = bits.position();
            const bool skipped = ReadInterMacroblockHeader(bits, mcbpc, cbpy);
            if (skipped) {
                p.mc.predict16[kPhaseCopy](ref.y, mb.y, ys);
                p.mc.predictChroma[kPhaseCopy](ref.u, ref.v, mb.u, mb.v, uvs);
                d->mbTypes[mbIndex] = kMacroblockInter;
                candidates.OfferZero(column);
                observer.Macroblock(mbIndex, firstBit, bits.position(), bits.error() != 0, true,
                                    kMacroblockInter, p.quant, 0, d->mbVectors[mbIndex].vectors);
                continue;
            }
            const auto type = static_cast<int16_t>(static_cast<uint32_t>(mcbpc) / 4);
            d->mbTypes[mbIndex] = type;
            if (ChangesQuantiser(type)) {
                ApplyDquant(p);
            }
            const int cbpc = mcbpc & 3;
            unsigned codedBlocks;
            if (IsIntraMacroblock(type)) {
                codedBlocks = static_cast<unsigned>((cbpy & 15) | (cbpc << 4));
                DecodeIntraMacroblock(p, codedBlocks, mb);
                candidates.OfferZero(column);
            } else if (type >= kMacroblockInter && type <= kMacroblockInter4V) {
                MotionVector_t* vectors = d->mbVectors[mbIndex].vectors;
                if (type == kMacroblockInter4V) {
                    BitCursor four = bits;  // keeps the loop's cursor in registers
                    ReadFourMotionVectors(four, mbIndex, column, perRow, d->mbTypes, d->mbVectors,
                                          firstRow);
                    bits = four;
                } else {
                    ReadVectorDifferences(bits, vectors[0]);
                    AddPredictionInRange(vectors[0], candidates.Predict(column, firstRow));
                }
                candidates.Offer(column, vectors, type == kMacroblockInter4V);
                codedBlocks = static_cast<unsigned>(((15 - cbpy) & 15) | (cbpc << 4));
                const InterResiduals residuals = ReadInterResiduals(p, codedBlocks);
                PredictMacroblock(p.mc, ref, vectors, type == kMacroblockInter4V, mb, ys, uvs);
                AddInterResiduals(p, residuals, mb);
            } else {
                return kStatusBadMacroblockType;
            }
            d->mbQuant[mbIndex] = p.quant;
            observer.Macroblock(mbIndex, firstBit, bits.position(), bits.error() != 0, false, type,
                                p.quant, codedBlocks, d->mbVectors[mbIndex].vectors);
        }
    }
    return kStatusOk;
}

template <typename Observer>
int32_t DecodeFrame(void* decoder, const unsigned char* frame, int32_t size,
                    unsigned char*** planes, int32_t* yStride, int32_t* uvStride,
                    Observer& observer) {
    auto* d = static_cast<DecodeInstance_t*>(decoder);
    PictureHeader_t header;
    int32_t status = CheckFrameStart(d->fifo, frame, size, &header);
    if (status != kStatusOk) {
        return status;
    }
    if (header.width != static_cast<uint32_t>(d->width) ||
        header.height != static_cast<uint32_t>(d->height)) {
        return kStatusSizeChanged;
    }
    if (header.pictureType <= kDisposablePicture) {
        BitCursor bits(*d->fifo);
        MacroblockCoefficients coefficients = {};
        Picture p{d,
                  bits,
                  *ActiveIdctKernels(),
                  *ActiveMcKernels(),
                  static_cast<int>(header.version),
                  static_cast<int>(header.quantiser),
                  coefficients};
        if (header.pictureType == kIntraPicture) {
            DecodeIntraPicture(p, observer);
        } else {
            status = DecodePPicture(p, observer);
        }
        bits.StoreTo(*d->fifo);
        if (status != kStatusOk) {
            return status;  // the reader's error stays for the next picture
        }
    }
    const auto error = static_cast<int32_t>(GetLastFifoError(d->fifo));
    if (error != 0) {
        return error;
    }
    ++d->frameCount;
    *planes = d->stores[d->current];
    *yStride = d->yStride;
    *uvStride = d->uvStride;
    if (header.pictureType != kDisposablePicture) {
        d->current = 1 - d->current;
    }
    return kStatusOk;
}

}  // namespace

int32_t DecompressFrameRecordingMacroblocks(void* decoder, const unsigned char* frame, int32_t size,
                                            unsigned char*** planes, int32_t* yStride,
                                            int32_t* uvStride, MacroblockRecord* records,
                                            int32_t* recordCount) {
    RecordingObserver observer{records};
    const int32_t status = DecodeFrame(decoder, frame, size, planes, yStride, uvStride, observer);
    *recordCount = observer.count;
    return status;
}

}  // namespace veltrane

int32_t H263DecompressFrame(void* decoder, const unsigned char* frame, int32_t size,
                            unsigned char*** planes, int32_t* yStride, int32_t* uvStride) {
    veltrane::NoObserver observer;
    return veltrane::DecodeFrame(decoder, frame, size, planes, yStride, uvStride, observer);
}
