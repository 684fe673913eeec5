// The decompressor object where the host cannot look: the deblocking setting
// its post-filter flags choose, and its state after failed session opens. The
// host-visible behaviour is exercised end to end by the plug-in host test.
#include "plugin/video_decompressor.h"

#include <gtest/gtest.h>

#include "support/host_frames.h"
#include "support/host_request.h"
#include "support/test_allocator.h"
#include "veltrane/session.h"

namespace {

using namespace veltrane::test;

TEST(Decompressor, FixedAnswersAndKeyFrames) {
    TestAllocator allocator;
    VeltraneVideoDecompressor decompressor(&allocator);
    EXPECT_EQ(decompressor.CodecSubType(0), 2);
    EXPECT_EQ(decompressor.CodecSubType(1), -1);
    EXPECT_EQ(decompressor.FlushAfterSeek(), 1);
    EXPECT_EQ(decompressor.DecompressFrame(nullptr), 0);
    EXPECT_EQ(decompressor.GetFrameDimensions(nullptr), 0);

    const auto intra = IntraFrame(128, 96, kGrey.dcs);
    const auto inter = SkipFrame(128, 96, kInter);
    const uint8_t garbage[] = {0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(decompressor.EmbeddedIsKeyFrame(intra.data(), intra.size(), false), 1);
    EXPECT_EQ(decompressor.EmbeddedIsKeyFrame(inter.data(), inter.size(), true), 0);
    // Unreadable data leaves the type at 0; a tag in front is not skipped.
    EXPECT_EQ(decompressor.EmbeddedIsKeyFrame(garbage, sizeof garbage, false), 1);
    EXPECT_EQ(decompressor.EmbeddedIsKeyFrame(nullptr, 100, false), 1);
    const auto taggedInter = Tagged(inter);
    EXPECT_EQ(decompressor.EmbeddedIsKeyFrame(taggedInter.data(), taggedInter.size(), false), 1);
}

TEST(Decompressor, PostFilterFlagsChooseTheDeblockingMethod) {
    TestAllocator allocator;
    VeltraneVideoDecompressor decompressor(&allocator);
    auto method = [&] {
        DecompressSettings_t settings = {8, -1};
        EXPECT_EQ(DecompressGetSettings(decompressor.session, &settings), 0);
        return settings.deblockingMethod;
    };
    const struct {
        uint32_t postFilter;
        int32_t method;
    } cases[] = {{0, 7}, {1, 0}, {2, 1}, {3, 1}, {4, 2}, {6, 2}, {8, 2}, {14, 2}, {0x10, 0}};
    for (const auto& c : cases) {
        const DecompressSettings_t preset = {8, 7};
        DecompressSetSettings(decompressor.session, &preset);
        HostRequest request(Tagged(IntraFrame(128, 96, kGrey.dcs)), 128, 96);
        request.record.postFilter = c.postFilter;
        EXPECT_EQ(decompressor.DecompressFrame(&request.record), 1);
        EXPECT_EQ(method(), c.method) << "postFilter " << c.postFilter;
    }
    // A session reopened for a new size starts from the default.
    HostRequest resized(Tagged(IntraFrame(176, 144, kGrey.dcs)), 176, 144);
    resized.record.postFilter = 4;
    EXPECT_EQ(decompressor.DecompressFrame(&resized.record), 1);
    EXPECT_EQ(static_cast<DecompressSession_t*>(decompressor.session)->width, 176);
    EXPECT_EQ(method(), 0);
}

TEST(Decompressor, WithoutASessionOnlyTheTagIsStripped) {
    TestAllocator allocator;
    allocator.FailAt(1);
    {
        VeltraneVideoDecompressor decompressor(&allocator);
        EXPECT_EQ(decompressor.session, nullptr);
        EXPECT_EQ(decompressor.CodecSubType(0), 2);
        const auto frame = IntraFrame(128, 96, kGrey.dcs);
        EXPECT_EQ(decompressor.EmbeddedIsKeyFrame(frame.data(), frame.size(), false), 0);
        HostRequest request(Tagged(frame), 128, 96);
        EXPECT_EQ(decompressor.DecompressFrame(&request.record), 0);
        EXPECT_EQ(request.record.data, request.frameStart() + 1);
        EXPECT_EQ(request.flag, 0);
        uint16_t half = 5;
        IVideoBlitTo16Struct blit = {0, 0, 1, &half, 4};
        EXPECT_EQ(decompressor.BlitTo16(&blit), 0);
        EXPECT_EQ(half, 5);
    }
    EXPECT_EQ(allocator.liveBlocks(), 0u);
}

TEST(Decompressor, EveryFailurePointOfAReopenLeavesNoSessionAndNoLeak) {
    const auto frame = Tagged(IntraFrame(176, 144, kGrey.dcs));
    bool succeeded = false;
    for (int k = 1; !succeeded && k < 200; ++k) {
        TestAllocator allocator;
        {
            VeltraneVideoDecompressor decompressor(&allocator);
            ASSERT_NE(decompressor.session, nullptr);
            allocator.FailAt(k);
            HostRequest request(frame, 176, 144);
            request.WithBuffer();
            succeeded = decompressor.DecompressFrame(&request.record) == 1;
            if (!succeeded) {
                EXPECT_EQ(decompressor.session, nullptr) << "failing allocation " << k;
                EXPECT_EQ(allocator.liveBlocks(), 0u);
                // Nothing opens a session again.
                allocator.FailAt(0);
                HostRequest again(frame, 176, 144);
                EXPECT_EQ(decompressor.DecompressFrame(&again.record), 0);
                EXPECT_EQ(allocator.liveBlocks(), 0u);
            } else {
                EXPECT_EQ(request.Pixel(175, 143), kGrey.argb);
            }
        }
        EXPECT_EQ(allocator.liveBlocks(), 0u);
        EXPECT_EQ(allocator.foreignFrees(), 0);
    }
    EXPECT_TRUE(succeeded);
}

}  // namespace
