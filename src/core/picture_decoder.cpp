// The picture decoding loop: header, then every macroblock of the picture in
// raster order, then the reader's error collected once.
#include <cstring>

#include "core/bit_reader.h"
#include "core/picture_header.h"
#include "entropy/code_tables.h"
#include "entropy/huffman.h"
#include "veltrane/decoder.h"
#include "veltrane/entropy.h"
#include "veltrane/recon.h"
#include "veltrane/support.h"

namespace veltrane {

namespace {

enum PictureType : uint32_t { kIntraPicture = 0, kInterPicture = 1, kDisposablePicture = 2 };
enum MacroblockType : int16_t { kInter = 0, kInterQ = 1, kInter4V = 2, kIntra = 3, kIntraQ = 4 };

constexpr int kDquantChange[4] = {-1, -2, 1, 2};

struct PictureContext {
    DecodeInstance_t* decoder;
    fifo_t* fifo;
    int version;
    int quant;  // running quantiser
    const HuffDecodeEntry_t* cbpyTree;
    // Pointers to the macroblock's top-left sample in each plane of the current store.
    unsigned char* y;
    unsigned char* u;
    unsigned char* v;
};

const HuffDecodeEntry_t* Tree(const DecodeInstance_t* d, int table) {
    return static_cast<const HuffDecodeEntry_t*>(d->support->codeTables[table]);
}

void ApplyDquant(PictureContext& pc) {
    const int q = pc.quant + kDquantChange[ReadBits(pc.fifo, 2)];
    pc.quant = q < 1 ? 1 : (q > 31 ? 31 : q);
}

// The six intra blocks of a macroblock, coded bits from CBPY (bits 3..0 for the
// luma blocks) and CBPC (bit 1 Cb, bit 0 Cr).
void DecodeIntraMacroblock(PictureContext& pc, int cbpy, int cbpc) {
    DecodeInstance_t* d = pc.decoder;
    const int ys = d->yStride;
    const int uvs = d->uvStride;
    DecompressIntraBlock(d, cbpy & 8, pc.fifo, pc.version, pc.quant, pc.y, ys);
    DecompressIntraBlock(d, cbpy & 4, pc.fifo, pc.version, pc.quant, pc.y + 8, ys);
    DecompressIntraBlock(d, cbpy & 2, pc.fifo, pc.version, pc.quant, pc.y + 8 * ys, ys);
    DecompressIntraBlock(d, cbpy & 1, pc.fifo, pc.version, pc.quant, pc.y + 8 * ys + 8, ys);
    DecompressIntraBlock(d, cbpc & 2, pc.fifo, pc.version, pc.quant, pc.u, uvs);
    DecompressIntraBlock(d, cbpc & 1, pc.fifo, pc.version, pc.quant, pc.v, uvs);
}

void DecodeIntraPicture(PictureContext& pc) {
    DecodeInstance_t* d = pc.decoder;
    fifo_t* fifo = pc.fifo;
    const HuffDecodeEntry_t* mcbpcTree = Tree(d, kMcbpcIntraTable);
    unsigned char** store = d->stores[d->current];
    // A failed lookup keeps the element's previous value; stuffing is never kept.
    int32_t mcbpc = 0;
    int32_t cbpy = 0;
    int mbIndex = 0;
    for (int y = 0; y < d->alignedHeight; y += 16) {
        for (int x = 0; x < d->alignedWidth; x += 16, ++mbIndex) {
            int32_t value;
            while (HuffDecodeSymbol(fifo, mcbpcTree, &value)) {
                if (value != kMcbpcIntraStuffing) {
                    mcbpc = value;
                    break;
                }
            }
            HuffDecodeSymbol(fifo, pc.cbpyTree, &cbpy);
            if (mcbpc & 4) {
                ApplyDquant(pc);
            }
            pc.y = store[kPlaneY] + y * d->yStride + x;
            pc.u = store[kPlaneU] + (y / 2) * d->uvStride + x / 2;
            pc.v = store[kPlaneV] + (y / 2) * d->uvStride + x / 2;
            DecodeIntraMacroblock(pc, cbpy, mcbpc & 3);
            d->mbQuant[mbIndex] = pc.quant;
        }
    }
}

// Returns 0, or 44 for a macroblock type out of range.
int32_t DecodePPicture(PictureContext& pc) {
    DecodeInstance_t* d = pc.decoder;
    fifo_t* fifo = pc.fifo;
    const HuffDecodeEntry_t* mcbpcTree = Tree(d, kMcbpcInterTable);
    unsigned char** store = d->stores[d->current];
    unsigned char** reference = d->stores[1 - d->current];
    const int ys = d->yStride;
    const int uvs = d->uvStride;

    FillPlaneBoundaries(reference[kPlaneY], d->alignedWidth, d->alignedHeight, ys);
    FillPlaneBoundaries(reference[kPlaneU], d->alignedWidth / 2, d->alignedHeight / 2, uvs);
    FillPlaneBoundaries(reference[kPlaneV], d->alignedWidth / 2, d->alignedHeight / 2, uvs);
    std::memset(d->mbVectors, 0, sizeof(macroblockvec_t) * static_cast<size_t>(d->mbCount));

    int16_t* residual = d->coefficients;
    int32_t mcbpc = 0;
    int32_t cbpy = 0;
    int mbIndex = 0;
    for (int y = 0; y < d->alignedHeight; y += 16) {
        const int32_t firstRow = y == 0 ? 1 : 0;
        for (int x = 0; x < d->alignedWidth; x += 16, ++mbIndex) {
            pc.y = store[kPlaneY] + y * ys + x;
            pc.u = store[kPlaneU] + (y / 2) * uvs + x / 2;
            pc.v = store[kPlaneV] + (y / 2) * uvs + x / 2;

            // COD and MCBPC; a stuffing MCBPC starts the macroblock again with its COD.
            bool skipped;
            for (;;) {
                if (BitsLeft(fifo) == 0) {
                    fifo->error = kFifoErrorOutOfData;
                    skipped = false;
                } else {
                    skipped = ReadBit(fifo) != 0;
                }
                if (skipped) {
                    break;
                }
                int32_t value;
                if (!HuffDecodeSymbol(fifo, mcbpcTree, &value)) {
                    break;
                }
                if (value != kMcbpcInterStuffing) {
                    mcbpc = value;
                    break;
                }
            }
            if (skipped) {
                CopyRefMacroBlock(reference, x, y, pc.y, pc.u, pc.v, ys, uvs);
                d->mbTypes[mbIndex] = kInter;
                continue;
            }
            const auto type = static_cast<int16_t>(mcbpc / 4);
            d->mbTypes[mbIndex] = type;
            HuffDecodeSymbol(fifo, pc.cbpyTree, &cbpy);
            if (type == kInterQ || type == kIntraQ) {
                ApplyDquant(pc);
            }
            const int cbpc = mcbpc & 3;
            if (type == kIntra || type == kIntraQ) {
                DecodeIntraMacroblock(pc, cbpy, cbpc);
            } else if (type == kInter || type == kInterQ || type == kInter4V) {
                GetMotionVectors(d, mbIndex, d->mbTypes, d->mbVectors, fifo, d->alignedWidth,
                                 firstRow);
                const int luma = 15 - cbpy;
                DecompressInterBlock(d, luma & 8, fifo, pc.version, pc.quant, residual, 16);
                DecompressInterBlock(d, luma & 4, fifo, pc.version, pc.quant, residual + 8, 16);
                DecompressInterBlock(d, luma & 2, fifo, pc.version, pc.quant, residual + 128, 16);
                DecompressInterBlock(d, luma & 1, fifo, pc.version, pc.quant, residual + 136, 16);
                DecompressInterBlock(d, cbpc & 2, fifo, pc.version, pc.quant, residual + 256, 8);
                DecompressInterBlock(d, cbpc & 1, fifo, pc.version, pc.quant, residual + 320, 8);
                const unsigned codedMask = static_cast<unsigned>((luma & 15) | (cbpc << 4));
                const int status =
                    MotionCompensation(mbIndex, x, y, d->mbTypes, d->mbVectors, reference, pc.y,
                                       pc.u, pc.v, residual, ys, uvs, codedMask);
                if (status != kStatusOk) {
                    return status;
                }
            } else {
                return kStatusBadMacroblockType;
            }
            d->mbQuant[mbIndex] = pc.quant;
        }
    }
    return kStatusOk;
}

}  // namespace

}  // namespace veltrane

int32_t H263DecompressFrame(void* decoder, const unsigned char* frame, int32_t size,
                            unsigned char*** planes, int32_t* yStride, int32_t* uvStride) {
    using namespace veltrane;
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
    PictureContext pc{};
    pc.decoder = d;
    pc.fifo = d->fifo;
    pc.version = static_cast<int>(header.version);
    pc.quant = static_cast<int>(header.quantiser);
    pc.cbpyTree = Tree(d, kCbpyTable);
    if (header.pictureType == kIntraPicture) {
        DecodeIntraPicture(pc);
    } else if (header.pictureType == kInterPicture || header.pictureType == kDisposablePicture) {
        status = DecodePPicture(pc);
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
