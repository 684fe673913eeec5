// The 8x8 inverse transform on coefficient blocks as the decoder meets them.
// Our transforms use their input as workspace, so every call on both sides
// starts by copying its block in.
#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "jpeg_islow.h"
#include "peer_sections.h"
#include "real_blocks.h"
#include "veltrane/recon.h"

namespace veltrane::peer {

namespace {

constexpr int kIntraPeriod = 15;  // as in the streams
const std::vector<int> kQuantisers = {4, 8, 12,
                                      20};  // the range our streams use, in turn by picture
constexpr size_t kBlockLimit = 20000;
constexpr int kPictures = 100;

using JpegBlock = std::array<int16_t, 64>;

// JPEG samples carry a +128 offset; taking 8 x 128 from the DC coefficient
// makes libjpeg-turbo's pixels equal ours. Inter residuals are compared with
// the offset left in.
JpegBlock ToJpeg(const CoefficientBlock& block, bool intra) {
    JpegBlock out;
    for (int i = 0; i < 64; ++i) out[i] = static_cast<int16_t>(block[i]);
    if (intra) out[0] = static_cast<int16_t>(out[0] - 8 * 128);
    return out;
}

void OurIntra(const CoefficientBlock& block, uint8_t* out) {
    CoefficientBlock work = block;
    InvDctFixedPointIntra(work.data(), out, 8);
}

void OurInter(const CoefficientBlock& block, int16_t* out) {
    CoefficientBlock work = block;
    InvDctFixedPoint(work.data(), out, 8);
}

// What the decoder runs: the cheapest form the block's last coefficient allows.
void OurInterChoice(const InterBlock& block, int16_t* out) {
    CoefficientBlock work = block.coefficients;
    switch (block.transform) {
        case InterTransform::kDcOnly:
            InvDct1FixedPoint(work.data(), out, 8);
            break;
        case InterTransform::kCorner:
            InvDct10FixedPoint(work.data(), out, 8);
            break;
        case InterTransform::kFull:
            InvDctFixedPoint(work.data(), out, 8);
            break;
    }
}

template <typename Run>
void TheirBlocks(const std::vector<JpegBlock>& blocks, uint8_t* out, Run run) {
    for (const JpegBlock& block : blocks) {
        JpegBlock work = block;
        run(work.data(), out);
    }
}

// Blocks on which the two sides' pixels differ (intra), or on which
// libjpeg-turbo's clamped sample is not our residual + 128 clamped (inter).
int IntraMismatches(const std::vector<CoefficientBlock>& ours, const std::vector<JpegBlock>& theirs,
                    const JpegIslow& jpeg) {
    int mismatches = 0;
    for (size_t i = 0; i < ours.size(); ++i) {
        uint8_t a[64], b[64];
        OurIntra(ours[i], a);
        jpeg.Selected(theirs[i].data(), b, 8);
        mismatches += std::memcmp(a, b, 64) != 0;
    }
    return mismatches;
}

int InterMismatches(const std::vector<InterBlock>& ours, const std::vector<JpegBlock>& theirs,
                    const JpegIslow& jpeg) {
    int mismatches = 0;
    for (size_t i = 0; i < ours.size(); ++i) {
        int16_t residual[64];
        uint8_t samples[64];
        OurInterChoice(ours[i], residual);
        jpeg.Selected(theirs[i].data(), samples, 8);
        bool same = true;
        for (int k = 0; k < 64; ++k) same &= samples[k] == std::clamp(residual[k] + 128, 0, 255);
        mismatches += !same;
    }
    return mismatches;
}

std::string BlockCount(size_t count, const char* what) {
    return std::to_string(count) + " " + what + ", Q 4-20";
}

}  // namespace

void CompareInverseDct(const BenchContext& context) {
    Report& report = *context.report;
    JpegIslow jpeg;
    std::string error;
    if (!jpeg.Open(&error)) {
        report.Check(false, error);
        return;
    }
    const auto& pairs = *context.pairs;
    const auto cif = std::find_if(pairs.begin(), pairs.end(),
                                  [](const StreamPair& p) { return p.width == 352; });
    const StreamPair& pair = cif != pairs.end() ? *cif : pairs.front();
    std::vector<tools::YuvPicture> pictures;
    if (!LoadPictures(pair.sourcePath, kPictures, &pictures, &error)) {
        report.Check(false, error);
        return;
    }
    const RealBlocks blocks = MakeRealBlocks(pictures, kIntraPeriod, kQuantisers, kBlockLimit);

    std::vector<JpegBlock> intraJpeg, interJpeg, fullJpeg;
    std::vector<InterBlock> full;
    for (const auto& block : blocks.intra) intraJpeg.push_back(ToJpeg(block, true));
    for (const auto& block : blocks.inter) {
        interJpeg.push_back(ToJpeg(block.coefficients, false));
        if (block.transform == InterTransform::kFull) {
            full.push_back(block);
            fullJpeg.push_back(interJpeg.back());
        }
    }
    const std::string source = pair.name + " source pictures";
    report.Check(!blocks.intra.empty() && !full.empty(),
                 source + ": " + std::to_string(blocks.intra.size()) + " coded intra blocks, " +
                     std::to_string(blocks.inter.size()) + " coded inter blocks, " +
                     std::to_string(full.size()) + " of them for the full transform");
    if (blocks.intra.empty() || full.empty()) return;
    report.Check(IntraMismatches(blocks.intra, intraJpeg, jpeg) == 0,
                 "intra blocks: our pixels equal libjpeg-turbo's on every block");
    report.Check(InterMismatches(blocks.inter, interJpeg, jpeg) == 0,
                 "inter blocks: our residuals + 128 equal libjpeg-turbo's samples on every block");

    uint8_t ourPixels[64], theirPixels[64];
    int16_t ourResidual[64];
    const std::string simd = "libjpeg-turbo islow " + jpeg.SelectedInstructionSet();
    auto selected = [&](const int16_t* in, uint8_t* out) { jpeg.Selected(in, out, 8); };
    auto plainC = [&](const int16_t* in, uint8_t* out) { jpeg.PlainC(in, out, 8); };
    auto ourIntra = [&] {
        for (const auto& block : blocks.intra) OurIntra(block, ourPixels);
    };
    auto ourFull = [&] {
        for (const auto& block : full) OurInter(block.coefficients, ourResidual);
    };
    const std::string intraSize = BlockCount(blocks.intra.size(), "coded intra blocks");
    const std::string fullSize = BlockCount(full.size(), "inter blocks for the full form");
    report.AddRow({"8x8 IDCT, intra (InvDctFixedPointIntra)", intraSize, simd,
                   CompareInterleaved(context.plan, ourIntra,
                                      [&] { TheirBlocks(intraJpeg, theirPixels, selected); })});
    report.AddRow({"8x8 IDCT, inter (InvDctFixedPoint)", fullSize, simd,
                   CompareInterleaved(context.plan, ourFull,
                                      [&] { TheirBlocks(fullJpeg, theirPixels, selected); })});
    report.AddRow({"8x8 IDCT, inter, the decoder's choice of form",
                   BlockCount(blocks.inter.size(), "coded inter blocks"), simd,
                   CompareInterleaved(
                       context.plan,
                       [&] {
                           for (const auto& block : blocks.inter)
                               OurInterChoice(block, ourResidual);
                       },
                       [&] { TheirBlocks(interJpeg, theirPixels, selected); })});
    if (jpeg.SelectedInstructionSet() != "C") {
        report.AddRow({"8x8 IDCT, intra (InvDctFixedPointIntra)", intraSize,
                       "libjpeg-turbo islow plain C",
                       CompareInterleaved(context.plan, ourIntra,
                                          [&] { TheirBlocks(intraJpeg, theirPixels, plainC); })});
        report.AddRow({"8x8 IDCT, inter (InvDctFixedPoint)", fullSize,
                       "libjpeg-turbo islow plain C",
                       CompareInterleaved(context.plan, ourFull,
                                          [&] { TheirBlocks(fullJpeg, theirPixels, plainC); })});
    }
}

}  // namespace veltrane::peer
