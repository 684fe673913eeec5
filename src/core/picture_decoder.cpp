// The picture decoding loop: header, then every macroblock of the picture in
// raster order, then the reader's error collected once.
//
// Inter macroblocks are predicted into the current store first; each coded block
// is then decoded and its transform added onto the prediction in one pass.
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
    void Macroblock(int /*index*/, uint32_t /*firstBit*/, uint32_t /*endBit*/, bool /*skipped*/,
                    int /*type*/, int /*quant*/, unsigned /*codedBlocks*/,
                    const MotionVector_t* /*vectors*/) {}
};

struct RecordingObserver {
    MacroblockRecord* records;
    int32_t count = 0;
    void Macroblock(int index, uint32_t firstBit, uint32_t endBit, bool skipped, int type,
                    int quant, unsigned codedBlocks, const MotionVector_t* vectors) {
        MacroblockRecord& r = records[index];
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

// What the loop over one picture works with.
struct Picture {
    DecodeInstance_t* decoder;
    BitCursor& bits;
    const IdctKernels& idct;
    const McKernels& mc;
    int version;
    int quant;  // running quantiser
};

// Pointers to a macroblock's top-left sample in each plane of a store.
struct MacroblockPlanes {
    unsigned char* y;
    unsigned char* u;
    unsigned char* v;
};

MacroblockPlanes PlanesAt(const DecodeInstance_t& d, unsigned char* const* store, int x, int y) {
    return {store[kPlaneY] + static_cast<ptrdiff_t>(y) * d.yStride + x,
            store[kPlaneU] + static_cast<ptrdiff_t>(y / 2) * d.uvStride + x / 2,
            store[kPlaneV] + static_cast<ptrdiff_t>(y / 2) * d.uvStride + x / 2};
}

void ApplyDquant(Picture& p) {
    const int q = p.quant + kDquantChange[p.bits.Read(2)];
    p.quant = q < 1 ? 1 : (q > 31 ? 31 : q);
}

// The six intra blocks of a macroblock, coded bits from CBPY (bits 3..0 for the
// luma blocks) and CBPC (bit 1 Cb, bit 0 Cr).
void DecodeIntraMacroblock(Picture& p, int cbpy, int cbpc, const MacroblockPlanes& mb) {
    const ptrdiff_t ys = p.decoder->yStride;
    const ptrdiff_t uvs = p.decoder->uvStride;
    DecodeIntraBlock(p.bits, p.idct, cbpy & 8, p.version, p.quant, mb.y, ys);
    DecodeIntraBlock(p.bits, p.idct, cbpy & 4, p.version, p.quant, mb.y + 8, ys);
    DecodeIntraBlock(p.bits, p.idct, cbpy & 2, p.version, p.quant, mb.y + 8 * ys, ys);
    DecodeIntraBlock(p.bits, p.idct, cbpy & 1, p.version, p.quant, mb.y + 8 * ys + 8, ys);
    DecodeIntraBlock(p.bits, p.idct, cbpc & 2, p.version, p.quant, mb.u, uvs);
    DecodeIntraBlock(p.bits, p.idct, cbpc & 1, p.version, p.quant, mb.v, uvs);
}

// The residuals of the coded blocks of an inter macroblock (codedMask bits 3..0
// luma 0..3, bit 5 Cb, bit 4 Cr), added onto the prediction in the current store.
void DecodeInterResiduals(Picture& p, unsigned codedMask, const MacroblockPlanes& mb) {
    const ptrdiff_t ys = p.decoder->yStride;
    const ptrdiff_t uvs = p.decoder->uvStride;
    int16_t* residual = p.decoder->coefficients;
    for (int k = 0; k < 4; ++k) {
        if (codedMask & (8u >> k)) {
            const int dx = 8 * (k & 1);
            const int dy = 8 * (k >> 1);
            DecodeInterBlockOntoPrediction(p.bits, p.idct, p.mc, p.version, p.quant,
                                           mb.y + dy * ys + dx, ys, residual + 16 * dy + dx, 16);
        }
    }
    if (codedMask & 0x20u) {
        DecodeInterBlockOntoPrediction(p.bits, p.idct, p.mc, p.version, p.quant, mb.u, uvs,
                                       residual + 256, 8);
    }
    if (codedMask & 0x10u) {
        DecodeInterBlockOntoPrediction(p.bits, p.idct, p.mc, p.version, p.quant, mb.v, uvs,
                                       residual + 320, 8);
    }
}

template <typename Observer>
void DecodeIntraPicture(Picture& p, Observer& observer) {
    DecodeInstance_t* d = p.decoder;
    BitCursor& bits = p.bits;
    unsigned char* const* store = d->stores[d->current];
    // A failed lookup keeps the element's previous value; stuffing is never kept.
    int32_t mcbpc = 0;
    int32_t cbpy = 0;
    int mbIndex = 0;
    for (int y = 0; y < d->alignedHeight; y += 16) {
        for (int x = 0; x < d->alignedWidth; x += 16, ++mbIndex) {
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
            DecodeIntraMacroblock(p, cbpy, mcbpc & 3, PlanesAt(*d, store, x, y));
            d->mbQuant[mbIndex] = p.quant;
            observer.Macroblock(mbIndex, firstBit, bits.position(), false,
                                (mcbpc & 4) ? kMacroblockIntraQ : kMacroblockIntra, p.quant,
                                static_cast<unsigned>((cbpy & 15) | ((mcbpc & 3) << 4)), nullptr);
        }
    }
}

// Returns 0, or 44 for a macroblock type out of range.
template <typename Observer>
int32_t DecodePPicture(Picture& p, Observer& observer) {
    DecodeInstance_t* d = p.decoder;
    BitCursor& bits = p.bits;
    unsigned char* const* store = d->stores[d->current];
    unsigned char* const* reference = d->stores[1 - d->current];
    const int ys = d->yStride;
    const int uvs = d->uvStride;

    FillPlaneBoundaries(reference[kPlaneY], d->alignedWidth, d->alignedHeight, ys);
    FillPlaneBoundaries(reference[kPlaneU], d->alignedWidth / 2, d->alignedHeight / 2, uvs);
    FillPlaneBoundaries(reference[kPlaneV], d->alignedWidth / 2, d->alignedHeight / 2, uvs);
    std::memset(d->mbVectors, 0, sizeof(macroblockvec_t) * static_cast<size_t>(d->mbCount));

    int32_t mcbpc = 0;
    int32_t cbpy = 0;
    int mbIndex = 0;
    for (int y = 0; y < d->alignedHeight; y += 16) {
        const bool firstRow = y == 0;
        for (int x = 0; x < d->alignedWidth; x += 16, ++mbIndex) {
            const MacroblockPlanes mb = PlanesAt(*d, store, x, y);
            const uint32_t firstBit = bits.position();

            // COD and MCBPC; a stuffing MCBPC starts the macroblock again with its COD.
            bool skipped;
            for (;;) {
                if (bits.BitsLeft() == 0) {
                    bits.RecordError(kFifoErrorOutOfData);
                    skipped = false;
                } else {
                    skipped = bits.Read(1) != 0;
                }
                if (skipped) {
                    break;
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
            if (skipped) {
                const MacroblockPlanes ref = PlanesAt(*d, reference, x, y);
                p.mc.copy16(ref.y, mb.y, ys);
                p.mc.copy8(ref.u, mb.u, uvs);
                p.mc.copy8(ref.v, mb.v, uvs);
                d->mbTypes[mbIndex] = kMacroblockInter;
                observer.Macroblock(mbIndex, firstBit, bits.position(), true, kMacroblockInter,
                                    p.quant, 0, d->mbVectors[mbIndex].vectors);
                continue;
            }
            const auto type = static_cast<int16_t>(mcbpc / 4);
            d->mbTypes[mbIndex] = type;
            bits.Decode(kCbpyFlat, &cbpy);
            if (ChangesQuantiser(type)) {
                ApplyDquant(p);
            }
            const int cbpc = mcbpc & 3;
            unsigned codedBlocks;
            if (IsIntraMacroblock(type)) {
                DecodeIntraMacroblock(p, cbpy, cbpc, mb);
                codedBlocks = static_cast<unsigned>((cbpy & 15) | (cbpc << 4));
            } else if (type >= kMacroblockInter && type <= kMacroblockInter4V) {
                ReadMotionVectors(bits, mbIndex, d->mbTypes, d->mbVectors, d->alignedWidth,
                                  firstRow);
                PredictMacroblock(p.mc, reference, x, y, d->mbVectors[mbIndex].vectors,
                                  type == kMacroblockInter4V, mb.y, mb.u, mb.v, ys, uvs);
                codedBlocks = static_cast<unsigned>(((15 - cbpy) & 15) | (cbpc << 4));
                DecodeInterResiduals(p, codedBlocks, mb);
            } else {
                return kStatusBadMacroblockType;
            }
            d->mbQuant[mbIndex] = p.quant;
            observer.Macroblock(mbIndex, firstBit, bits.position(), false, type, p.quant,
                                codedBlocks, d->mbVectors[mbIndex].vectors);
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
        Picture p{d, bits, *ActiveIdctKernels(), *ActiveMcKernels(),
                  static_cast<int>(header.version), static_cast<int>(header.quantiser)};
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

int32_t DecompressFrameRecordingMacroblocks(void* decoder, const unsigned char* frame,
                                            int32_t size, unsigned char*** planes,
                                            int32_t* yStride, int32_t* uvStride,
                                            MacroblockRecord* records, int32_t* recordCount) {
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
