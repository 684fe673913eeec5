// The host framework's view of the plug-in: the shared library is loaded with
// dlopen, registers its factory, and components and decompressor instances are
// created and driven only through the records and function tables they expose.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "support/host_frames.h"
#include "support/host_framework.h"
#include "support/host_request.h"
#include "support/test_allocator.h"

namespace veltrane::test {
namespace {

constexpr uint32_t kUntouched = 0x01020304u;  // HostRequest's fill

class PluginHost : public ::testing::Test {
protected:
    void SetUp() override {
        library = dlopen(VELTRANE_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        registerComponents = reinterpret_cast<int32_t (*)(IComponentRegistrar*)>(
            dlsym(library, "RegisterComponents"));
        ASSERT_NE(registerComponents, nullptr);
        registrar.result = 5;  // what the registrar answers is passed back
        ASSERT_EQ(registerComponents(&registrar), 5);
        ASSERT_EQ(registrar.calls, (std::vector<std::array<uint32_t, 3>>{{0x302u, 0u, 0u}}));
        IGenericComponent* generic = nullptr;
        ASSERT_EQ(registrar.factory(&framework, nullptr, &generic), kComponentOk);
        component = reinterpret_cast<IVideoDecompressorComponent*>(generic);
        ASSERT_EQ(component->functions->Retain(component), 1);
        instance = component->functions->CreateDecompressor(component, 0);
        ASSERT_NE(instance, nullptr);
        f = instance->functions;
    }
    // The last release tells the registry, once, with the component's identifier.
    void TearDown() override {
        if (component != nullptr) {
            component->functions->DestroyDecompressor(component, instance);
            EXPECT_EQ(component->functions->Release(component), 0);
            EXPECT_EQ(registry.calls,
                      (std::vector<RecordingRegistry::Call>{{&registry, 0x302u, 0u}}));
        }
        EXPECT_EQ(allocator.liveBlocks(), 0u) << "blocks not returned";
        EXPECT_EQ(allocator.foreignFrees(), 0);
        if (library != nullptr) dlclose(library);
    }
    int32_t Decode(HostRequest& request, IVideoDecompressorInstance* target = nullptr) {
        return f->DecompressFrame(target ? target : instance, &request.record);
    }
    uint32_t Pixel32(int column, int row, IVideoDecompressorInstance* target = nullptr) {
        uint32_t pixel = 0;
        IVideoBlitTo32SingleStruct blit = {column, row, &pixel};
        EXPECT_EQ(f->BlitTo32Single(target ? target : instance, &blit), 1);
        return pixel;
    }

    void* library = nullptr;
    int32_t (*registerComponents)(IComponentRegistrar*) = nullptr;
    TestAllocator allocator;
    RecordingRegistrar registrar;
    RecordingRegistry registry;
    CFFrameworkObject framework{&registry, &allocator};
    IVideoDecompressorComponent* component = nullptr;
    IVideoDecompressorInstance* instance = nullptr;
    const IVideoDecompressorInstanceFunctions* f = nullptr;
};

TEST_F(PluginHost, RegistrationAndComponentLifetime) {
    EXPECT_EQ(registerComponents(nullptr), kComponentFailed);
    // Refused: a table handed in, a failing or missing allocator, null arguments.
    auto* table = reinterpret_cast<IGenericComponentFunctions*>(&registrar);
    CFFrameworkObject noAllocator{&registry, nullptr};
    const struct {
        CFFrameworkObject* framework;
        IGenericComponentFunctions** table;
        int failAt;
    } refusals[] = {{&framework, &table, 0},
                    {&framework, nullptr, 1},
                    {&noAllocator, nullptr, 0},
                    {nullptr, nullptr, 0}};
    for (const auto& r : refusals) {
        allocator.FailAt(r.failAt);
        auto* generic = reinterpret_cast<IGenericComponent*>(&registrar);
        EXPECT_EQ(registrar.factory(r.framework, r.table, &generic), kComponentFailed);
        EXPECT_EQ(generic, nullptr);
    }
    allocator.FailAt(0);
    EXPECT_EQ(registrar.factory(&framework, nullptr, nullptr), kComponentFailed);
    EXPECT_EQ(component->functions->CreateDecompressor(nullptr, 0), nullptr);

    // A second component counts on its own and goes without telling a missing registry.
    CFFrameworkObject quiet{nullptr, &allocator};
    IGenericComponent* generic = nullptr;
    ASSERT_EQ(registrar.factory(&quiet, nullptr, &generic), kComponentOk);
    auto* second = reinterpret_cast<IVideoDecompressorComponent*>(generic);
    const auto* c = second->functions;
    EXPECT_EQ(c->Retain(nullptr) | c->Release(nullptr), 0);
    EXPECT_EQ(c->Release(second), -1);  // a count below zero does not destroy
    EXPECT_EQ(c->Retain(second), 0);
    EXPECT_EQ(c->Retain(second), 1);
    EXPECT_EQ(component->functions->Retain(component), 2);
    EXPECT_EQ(c->Release(second), 0);
    EXPECT_EQ(component->functions->Release(component), 1);
    EXPECT_TRUE(registry.calls.empty());
}

TEST_F(PluginHost, FrameTagsAndBrokenFrames) {
    EXPECT_EQ(f->CodecSubType(instance, 0), 2);
    EXPECT_EQ(f->CodecSubType(instance, 1), -1);
    EXPECT_EQ(f->FlushAfterSeek(instance), 0);
    HostRequest tagged(Tagged(IntraFrame(128, 96, kRed.dcs), 0x21), 128, 96);
    tagged.WithBuffer(2);
    EXPECT_EQ(Decode(tagged), 1);
    EXPECT_EQ(tagged.flag, 0);
    EXPECT_EQ(tagged.record.data, tagged.frameStart() + 1);  // the tag is stripped in the record
    EXPECT_EQ(tagged.record.dataSize, tagged.frameSize() - 1);
    EXPECT_EQ(tagged.Pixel(0, 0), kRed.argb);
    EXPECT_EQ(tagged.Pixel(127, 95), kRed.argb);
    EXPECT_EQ(tagged.Pixel(129, 95), kUntouched);

    // Tags whose upper four bits are 0 mark data that is not decoded, whatever the lower bits.
    for (uint8_t tag : {0x00, 0x01, 0x0F}) {
        HostRequest skipped(Tagged(IntraFrame(128, 96, kGrey.dcs), tag), 128, 96);
        skipped.WithBuffer();
        EXPECT_EQ(Decode(skipped), 0);
        EXPECT_EQ(skipped.flag, 0x5A);
        EXPECT_EQ(skipped.record.data, skipped.frameStart());
        EXPECT_EQ(skipped.Pixel(0, 0), kUntouched);
        EXPECT_EQ(f->GetFrameDimensions(instance, &skipped.record), 0);
    }
    EXPECT_EQ(Pixel32(10, 10), kRed.argb);
    HostRequest untagged(IntraFrame(128, 96, kGrey.dcs), 128, 96, false);
    EXPECT_EQ(Decode(untagged), 1);
    EXPECT_EQ(untagged.record.data, untagged.frameStart());

    // Skipped-macroblock pictures of every kind keep showing the reference.
    for (auto frame : {SkipFrame(128, 96, kInter), SkipFrame(128, 96, kDisposable),
                       SkipFrame(128, 96, kEmpty)}) {
        HostRequest skip(Tagged(frame, 0xF0), 128, 96);
        EXPECT_EQ(f->EmbeddedIsKeyFrame(instance, frame.data(), frame.size(), false), 0);
        EXPECT_EQ(Decode(skip), 1);
    }
    EXPECT_EQ(Pixel32(127, 95), kGrey.argb);
    // Broken frames fail with the size their header gives, and leave the last picture.
    HostRequest broken(std::vector<uint8_t>{0x30, 0x00, 0x01}, 128, 96);
    EXPECT_EQ(Decode(broken), 0);
    EXPECT_EQ(broken.width, 0u);
    auto cut = IntraFrame(128, 96, kRed.dcs);
    cut.resize(cut.size() / 2);
    HostRequest truncated(Tagged(cut), 0, 0);
    EXPECT_EQ(Decode(truncated), 0);
    EXPECT_EQ(truncated.width, 128u);
    EXPECT_EQ(truncated.height, 96u);
    EXPECT_EQ(Pixel32(0, 0), kGrey.argb);
}

// A frame of another size: its dimensions come before decoding; with a buffer
// of its size the session is reopened, with one the host sized for the old
// size it is refused and the host's values stay; without a buffer it is
// reopened and the frame's size reported (also from the 16-bit size fields).
TEST_F(PluginHost, FramesOfAnotherSize) {
    HostRequest withBuffer(Tagged(IntraFrame(176, 144, kRed.dcs)), 0, 0);
    EXPECT_EQ(f->GetFrameDimensions(instance, &withBuffer.record), 1);
    EXPECT_EQ(withBuffer.width, 176u);
    EXPECT_EQ(withBuffer.height, 144u);
    withBuffer.WithBuffer();
    EXPECT_EQ(Decode(withBuffer), 1);
    EXPECT_EQ(withBuffer.Pixel(175, 143), kRed.argb);

    IVideoDecompressorInstance* other = component->functions->CreateDecompressor(component, 0);
    HostRequest wrongBuffer(Tagged(IntraFrame(176, 144, kRed.dcs)), 128, 96);
    wrongBuffer.WithBuffer();
    EXPECT_EQ(Decode(wrongBuffer, other), 0);
    EXPECT_EQ(wrongBuffer.width, 128u);
    EXPECT_EQ(wrongBuffer.Pixel(0, 0), kUntouched);
    EXPECT_EQ(Pixel32(0, 0, other), 0xFF000000u);  // still no picture
    const struct {
        int width, height;
        Colour colour;
    } sizes[] = {{176, 144, kGrey}, {300, 20, kRed}};
    for (const auto& s : sizes) {
        HostRequest request(Tagged(IntraFrame(s.width, s.height, s.colour.dcs)), 128, 96);
        EXPECT_EQ(Decode(request, other), 1);
        EXPECT_EQ(request.width, uint32_t(s.width));
        EXPECT_EQ(request.height, uint32_t(s.height));
        EXPECT_EQ(Pixel32(s.width - 1, s.height - 1, other), s.colour.argb);
    }
    component->functions->DestroyDecompressor(component, other);
}

// Host codes 5 and 6 draw RGB565 and ARGB4444, every other code RGB555; runs
// write exactly `count` pixels.
TEST_F(PluginHost, BlitsInEveryHostPixelFormat) {
    uint16_t run[6] = {9, 9, 9};  // before the first picture: zero
    IVideoBlitTo16Struct blit = {1, 40, 5, run, 5};
    EXPECT_EQ(f->BlitTo16(instance, &blit), 1);
    EXPECT_EQ(run[0] | run[4], 0);
    HostRequest request(Tagged(IntraFrame(128, 96, kRed.dcs)), 128, 96);
    ASSERT_EQ(Decode(request), 1);
    for (uint32_t format : {0u, 4u, 5u, 6u, 9u}) {
        const uint16_t expected = format == 5   ? kRed.rgb565
                                  : format == 6 ? kRed.argb4444
                                                : kRed.rgb555;
        blit.pixelFormat = format;
        EXPECT_EQ(f->BlitTo16(instance, &blit), 1);
        EXPECT_EQ(run[0], expected) << "format " << format;
        EXPECT_EQ(run[4], expected) << "format " << format;
        EXPECT_EQ(run[5], 0);
        uint16_t single = 0;
        IVideoBlitTo16SingleStruct one = {127, 95, &single, format};
        EXPECT_EQ(f->BlitTo16Single(instance, &one), 1);
        EXPECT_EQ(single, expected) << "format " << format;
    }
    uint32_t words[129] = {};
    IVideoBlitTo32Struct row = {0, 95, 128, words};
    EXPECT_EQ(f->BlitTo32(instance, &row), 1);
    EXPECT_EQ(words[127], kRed.argb);
    EXPECT_EQ(words[128], 0u);
}

// Failing each allocation in turn: the instance, its decompressor, then the
// blocks of the first session. Without an instance or decompressor nothing is
// returned; without a session the instance exists and decodes nothing. The
// entries answer 0 for a null instance.
TEST_F(PluginHost, EveryAllocationFailureOfAnInstanceIsCleanedUp) {
    bool complete = false;
    for (int k = 1; !complete && k < 200; ++k) {
        allocator.FailAt(k);
        IVideoDecompressorInstance* another =
            component->functions->CreateDecompressor(component, 0);
        allocator.FailAt(0);
        EXPECT_EQ(another == nullptr, k <= 2) << "failing allocation " << k;
        if (another != nullptr) {
            HostRequest request(Tagged(IntraFrame(128, 96, kGrey.dcs)), 128, 96);
            complete = Decode(request, another) == 1;
            EXPECT_EQ(request.record.data, request.frameStart() + 1);
            component->functions->DestroyDecompressor(component, another);
        }
    }
    EXPECT_TRUE(complete);

    HostRequest request(Tagged(IntraFrame(128, 96, kGrey.dcs)), 128, 96);
    uint16_t half = 7;
    IVideoBlitTo16SingleStruct b16s = {0, 0, &half, 4};
    EXPECT_EQ(f->DecompressFrame(nullptr, &request.record) | f->BlitTo16Single(nullptr, &b16s), 0);
    EXPECT_EQ(request.flag, 0x5A);
    EXPECT_EQ(half, 7);
    component->functions->DestroyDecompressor(component, nullptr);
}

}  // namespace
}  // namespace veltrane::test
