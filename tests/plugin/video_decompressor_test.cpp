// The decompressor object where the host cannot look: key-frame answers for
// unreadable data and the deblocking setting its post-filter flags choose. The
// plug-in host test covers the rest, failed session opens among it.
#include "plugin/video_decompressor.h"

#include <gtest/gtest.h>

#include "support/host_frames.h"
#include "support/host_request.h"
#include "support/test_allocator.h"
#include "veltrane/session.h"

namespace {

using namespace veltrane::test;

TEST(Decompressor, KeyFramesAndPostFilterFlags) {
    TestAllocator allocator;
    VeltraneVideoDecompressor decompressor(&allocator);
    const auto inter = SkipFrame(128, 96, kInter);
    const auto taggedInter = Tagged(inter);
    const uint8_t garbage[] = {0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(decompressor.EmbeddedIsKeyFrame(inter.data(), inter.size(), true), 0);
    // Unreadable data leaves the type at 0; a tag in front is not skipped.
    EXPECT_EQ(decompressor.EmbeddedIsKeyFrame(garbage, sizeof garbage, false), 1);
    EXPECT_EQ(decompressor.EmbeddedIsKeyFrame(nullptr, 100, false), 1);
    EXPECT_EQ(decompressor.EmbeddedIsKeyFrame(taggedInter.data(), taggedInter.size(), false), 1);

    auto decodeAndMethod = [&](int width, int height, uint32_t postFilter) {
        const DecompressSettings_t preset = {8, 7};
        DecompressSetSettings(decompressor.session, &preset);
        HostRequest request(Tagged(IntraFrame(width, height, kGrey.dcs)), width, height);
        request.record.postFilter = postFilter;
        EXPECT_EQ(decompressor.DecompressFrame(&request.record), 1);
        DecompressSettings_t settings = {8, -1};
        EXPECT_EQ(DecompressGetSettings(decompressor.session, &settings), 0);
        return settings.deblockingMethod;
    };
    const struct {
        uint32_t postFilter;
        int32_t method;
    } cases[] = {{0, 7}, {1, 0}, {2, 1}, {3, 1}, {4, 2}, {6, 2}, {8, 2}, {14, 2}, {0x10, 0}};
    for (const auto& c : cases) {
        EXPECT_EQ(decodeAndMethod(128, 96, c.postFilter), c.method)
            << "postFilter " << c.postFilter;
    }
    // A session reopened for a new size starts from the default, whatever the flags.
    EXPECT_EQ(decodeAndMethod(176, 144, 4), 0);
    EXPECT_EQ(static_cast<DecompressSession_t*>(decompressor.session)->width, 176);
}

}  // namespace
