// Streams from the reference encoder for the tool's tests.
#ifndef VELTRANE_TESTS_TOOLS_ENCODED_STREAM_H
#define VELTRANE_TESTS_TOOLS_ENCODED_STREAM_H

#include <gtest/gtest.h>

#include <vector>

#include "test_pattern.h"
#include "veltrane_encoder/encoder.h"
#include "yuv_picture.h"

namespace veltrane::tools::test {

struct EncodedPicture {
    enc::EncodedFrame frame;
    YuvPicture reconstruction;  // what a decoder must produce
};

// Encodes `count` pictures of the test pattern (or the same picture again and
// again when `still` is set).
inline std::vector<EncodedPicture> EncodeTestPattern(const enc::EncoderConfig& config, int count,
                                                     bool still = false) {
    enc::Encoder encoder(config);
    EXPECT_TRUE(encoder.ok());
    std::vector<EncodedPicture> out;
    YuvPicture source;
    for (int i = 0; i < count; ++i) {
        DrawTestPattern(config.width, config.height, still ? 0 : static_cast<uint32_t>(i), &source);
        EncodedPicture picture;
        const enc::PlaneView view{source.y.data(), source.u.data(), source.v.data(), source.width,
                                  source.chromaWidth()};
        EXPECT_TRUE(encoder.EncodeFrame(view, &picture.frame));
        const enc::PlaneView r = encoder.Reconstruction();
        picture.reconstruction.CopyFrom(config.width, config.height, r.y, r.u, r.v, r.yStride,
                                        r.uvStride);
        out.push_back(std::move(picture));
    }
    return out;
}

inline enc::EncoderConfig Config(int width, int height) {
    enc::EncoderConfig config;
    config.width = width;
    config.height = height;
    return config;
}

}  // namespace veltrane::tools::test

#endif
