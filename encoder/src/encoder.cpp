// The Encoder object: configuration check, picture type schedule, header,
// macroblock data, statistics and PSNR, and the two frame stores, which it
// swaps exactly as the decoder does.
#include "veltrane_encoder/encoder.h"

#include <vector>

#include "picture_coder.h"
#include "picture_header_writer.h"
#include "planes.h"
#include "rate_control.h"
#include "veltrane/decoder.h"
#include "veltrane_encoder/psnr.h"

namespace veltrane::enc {

namespace {

constexpr int kMinDimension = 16;
constexpr int kResidualEntries = 384;

int Align16(int n) { return (n + 15) & ~15; }

bool Valid(const EncoderConfig& c) {
    return c.width >= kMinDimension && c.width <= VELTRANE_MAX_DIMENSION &&
           c.height >= kMinDimension && c.height <= VELTRANE_MAX_DIMENSION &&
           (c.version == 0 || c.version == 1) && c.quantiser >= 1 && c.quantiser <= 31 &&
           c.gopLength >= 0 && c.targetBitrate >= 0 && (c.targetBitrate == 0 || c.frameRate > 0);
}

}  // namespace

struct Encoder::State {
    EncoderConfig config;
    bool valid = false;
    int alignedWidth = 0;
    int alignedHeight = 0;
    FrameStore stores[2];
    int current = 0;     // store the next picture is reconstructed into
    int lastOutput = 0;  // store holding the last picture
    PaddedSource source;
    std::vector<int16_t> mbTypes;
    std::vector<macroblockvec_t> mbVectors;
    alignas(16) int16_t residual[kResidualEntries] = {};
    RateControl rateControl;
    int64_t frameIndex = 0;
    EncoderStats totals;

    PictureType NextPictureType() const {
        const int64_t gop = config.gopLength;
        const int64_t position = gop > 0 ? frameIndex % gop : frameIndex;
        if (position == 0) return kIntraPicture;
        return config.disposable && position % 2 == 0 ? kDisposablePicture : kInterPicture;
    }
};

EncoderStats& EncoderStats::operator+=(const EncoderStats& o) {
    intra += o.intra;
    intraQ += o.intraQ;
    intraInP += o.intraInP;
    inter += o.inter;
    interQ += o.interQ;
    inter4v += o.inter4v;
    skipped += o.skipped;
    escapes8 += o.escapes8;
    escapes7 += o.escapes7;
    escapes11 += o.escapes11;
    clampedLevels += o.clampedLevels;
    return *this;
}

Encoder::Encoder(const EncoderConfig& config) : state_(std::make_unique<State>()) {
    State& s = *state_;
    s.config = config;
    s.valid = Valid(config);
    if (!s.valid) return;
    if (s.config.searchRange < 1) s.config.searchRange = 1;
    if (s.config.searchRange > 15) s.config.searchRange = 15;
    s.alignedWidth = Align16(config.width);
    s.alignedHeight = Align16(config.height);
    for (FrameStore& store : s.stores) store.Allocate(s.alignedWidth, s.alignedHeight);
    s.source.Allocate(s.alignedWidth, s.alignedHeight);
    const size_t mbCount =
        static_cast<size_t>(s.alignedWidth / 16) * static_cast<size_t>(s.alignedHeight / 16);
    s.mbTypes.assign(mbCount, 0);
    s.mbVectors.assign(mbCount, macroblockvec_t{});
    s.rateControl.Configure(config.targetBitrate, config.frameRate, static_cast<int>(mbCount),
                            config.width * config.height, config.quantiser);
}

Encoder::~Encoder() = default;

bool Encoder::ok() const { return state_->valid; }

bool Encoder::EncodeFrame(const PlaneView& picture, EncodedFrame* out) {
    State& s = *state_;
    const EncoderConfig& c = s.config;
    if (!s.valid || out == nullptr || picture.y == nullptr || picture.u == nullptr ||
        picture.v == nullptr || picture.yStride < c.width || picture.uvStride < (c.width + 1) / 2) {
        return false;
    }
    s.source.Load(picture, c.width, c.height);
    const PictureType type = s.NextPictureType();
    const bool intra = type == kIntraPicture;
    const int quant = s.rateControl.StartPicture(intra);

    out->data.clear();
    out->stats = EncoderStats{};
    BitWriter writer(&out->data);
    WritePictureHeader(writer, c.version, static_cast<int>(s.frameIndex & 0xFF), c.width, c.height,
                       type, quant);

    PictureCoder coder;
    coder.alignedWidth = s.alignedWidth;
    coder.alignedHeight = s.alignedHeight;
    coder.version = c.version;
    coder.fourVector = c.fourVector;
    coder.searchRange = c.searchRange;
    coder.source = &s.source;
    coder.current = &s.stores[s.current];
    coder.reference = &s.stores[1 - s.current];
    coder.rateControl = &s.rateControl;
    coder.mbTypes = &s.mbTypes;
    coder.mbVectors = &s.mbVectors;
    coder.residual = s.residual;
    coder.writer = &writer;
    coder.quant = quant;
    coder.dataStart = static_cast<int64_t>(writer.BitCount());
    coder.stats = &out->stats;
    if (intra) {
        EncodeIntraPicture(coder);
    } else {
        EncodePPicture(coder);
    }
    writer.Flush();

    const auto mbCount = static_cast<double>(s.mbTypes.size());
    s.rateControl.EndPicture(static_cast<int64_t>(out->data.size()) * 8,
                             static_cast<double>(coder.quantSum) / mbCount);
    const FrameStore& rec = s.stores[s.current];
    const int cw = (c.width + 1) / 2;
    const int ch = (c.height + 1) / 2;
    out->psnrY =
        PlanePsnr(picture.y, picture.yStride, rec.y.origin(), rec.y.stride(), c.width, c.height);
    out->psnrU = PlanePsnr(picture.u, picture.uvStride, rec.u.origin(), rec.u.stride(), cw, ch);
    out->psnrV = PlanePsnr(picture.v, picture.uvStride, rec.v.origin(), rec.v.stride(), cw, ch);
    out->pictureType = type;
    out->quantiser = quant;
    s.totals += out->stats;

    // A disposable picture never becomes the reference: the next one is
    // reconstructed into the same store, as in the decoder.
    s.lastOutput = s.current;
    if (type != kDisposablePicture) s.current = 1 - s.current;
    ++s.frameIndex;
    return true;
}

PlaneView Encoder::Reconstruction() const {
    const FrameStore& rec = state_->stores[state_->lastOutput];
    PlaneView view;
    if (!state_->valid) return view;
    view.y = rec.y.origin();
    view.u = rec.u.origin();
    view.v = rec.v.origin();
    view.yStride = rec.y.stride();
    view.uvStride = rec.u.stride();
    return view;
}

const EncoderStats& Encoder::Statistics() const { return state_->totals; }

}  // namespace veltrane::enc
