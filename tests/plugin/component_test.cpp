// The component and instance classes where the host cannot look: refusals of
// the factory, counts that do not reach zero the usual way, null records, and
// cleanup after every allocation failure. The plug-in host test drives the same
// objects end to end through the loaded library.
#include "plugin/component.h"

#include <gtest/gtest.h>

#include "plugin/instance.h"
#include "support/host_frames.h"
#include "support/host_framework.h"
#include "support/host_request.h"
#include "support/test_allocator.h"

namespace {

using namespace veltrane::test;

class ComponentTest : public ::testing::Test {
protected:
    static int32_t Factory(CFFrameworkObject* framework, IGenericComponent** component,
                           IGenericComponentFunctions** functions = nullptr) {
        return VideoDecompressorComponentVeltrane::CreateComponentInstance(framework, functions,
                                                                           component);
    }
    IVideoDecompressorComponent* Create() {
        IGenericComponent* generic = nullptr;
        EXPECT_EQ(Factory(&framework, &generic), 0);
        return reinterpret_cast<IVideoDecompressorComponent*>(generic);
    }
    void TearDown() override {
        EXPECT_EQ(allocator.liveBlocks(), 0u);
        EXPECT_EQ(allocator.foreignFrees(), 0);
    }

    TestAllocator allocator;
    RecordingRegistry registry;
    CFFrameworkObject framework{&registry, &allocator};
};

TEST_F(ComponentTest, RegistrationAndFactoryRefusals) {
    RecordingRegistrar registrar;
    EXPECT_EQ(RegisterComponents(&registrar), 0);
    EXPECT_EQ(registrar.factory, &VideoDecompressorComponentVeltrane::CreateComponentInstance);
    EXPECT_EQ(RegisterComponents(nullptr), -2);

    auto* stale = reinterpret_cast<IGenericComponent*>(&registrar);
    IGenericComponent* generic = stale;
    auto* table = reinterpret_cast<IGenericComponentFunctions*>(&registrar);
    EXPECT_EQ(Factory(&framework, &generic, &table), -2);
    EXPECT_EQ(generic, nullptr);
    CFFrameworkObject noAllocator{&registry, nullptr};
    generic = stale;
    EXPECT_EQ(Factory(&noAllocator, &generic), -2);
    EXPECT_EQ(generic, nullptr);
    EXPECT_EQ(Factory(nullptr, &generic), -2);
    EXPECT_EQ(Factory(&framework, nullptr), -2);
}

TEST_F(ComponentTest, ReleaseWithoutRetainAndWithoutRegistry) {
    framework.registry = nullptr;
    IVideoDecompressorComponent* component = Create();
    ASSERT_NE(component, nullptr);
    EXPECT_EQ(allocator.objectAllocations(), 1);
    const IVideoDecompressorComponentFunctions* f = component->functions;
    EXPECT_EQ(f->Release(component), -1);
    EXPECT_EQ(allocator.liveBlocks(), 1u);
    EXPECT_EQ(f->Retain(nullptr), 0);
    EXPECT_EQ(f->Release(nullptr), 0);
    EXPECT_EQ(f->Retain(component), 0);
    EXPECT_EQ(f->Retain(component), 1);
    // The table lives in the component: the last Release is the last use of it.
    EXPECT_EQ(f->Release(component), 0);
    EXPECT_EQ(allocator.liveBlocks(), 0u);
    EXPECT_TRUE(registry.calls.empty());
}

TEST_F(ComponentTest, InstanceEntriesWithANullRecordReturnZero) {
    IVideoDecompressorComponent* component = Create();
    ASSERT_NE(component, nullptr);
    IVideoDecompressorInstance* instance = component->functions->CreateDecompressor(component, 0);
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(instance->component, static_cast<VideoDecompressorComponentBase*>(component));
    const IVideoDecompressorInstanceFunctions* f = instance->functions;
    HostRequest request(Tagged(IntraFrame(128, 96, kGrey.dcs)), 128, 96);
    uint32_t word = 0;
    uint16_t half = 0;
    IVideoBlitTo32Struct b32 = {0, 0, 1, &word};
    IVideoBlitTo32SingleStruct b32s = {0, 0, &word};
    IVideoBlitTo16Struct b16 = {0, 0, 1, &half, 4};
    IVideoBlitTo16SingleStruct b16s = {0, 0, &half, 4};
    EXPECT_EQ(f->CodecSubType(nullptr, 0), 0);
    EXPECT_EQ(f->EmbeddedIsKeyFrame(nullptr, request.frameStart() + 1, 10, false), 0);
    EXPECT_EQ(f->DecompressFrame(nullptr, &request.record), 0);
    EXPECT_EQ(f->BlitTo32(nullptr, &b32), 0);
    EXPECT_EQ(f->BlitTo32Single(nullptr, &b32s), 0);
    EXPECT_EQ(f->BlitTo16(nullptr, &b16), 0);
    EXPECT_EQ(f->BlitTo16Single(nullptr, &b16s), 0);
    EXPECT_EQ(f->FlushAfterSeek(nullptr), 0);
    EXPECT_EQ(f->GetFrameDimensions(nullptr, &request.record), 0);
    EXPECT_EQ(request.record.data, request.frameStart());
    EXPECT_EQ(request.flag, 0x5A);
    EXPECT_EQ(component->functions->CreateDecompressor(nullptr, 0), nullptr);
    component->functions->DestroyDecompressor(component, nullptr);
    component->functions->DestroyDecompressor(component, instance);
    EXPECT_EQ(component->functions->Retain(component), 1);
    EXPECT_EQ(component->functions->Release(component), 0);
    EXPECT_EQ(registry.calls.size(), 1u);
}

// Failing each allocation in turn: the instance, its decompressor, then the
// blocks of the first session. Without an instance or decompressor nothing is
// returned; without a session the instance exists and decodes nothing.
TEST_F(ComponentTest, EveryAllocationFailureOfAnInstanceIsCleanedUp) {
    IVideoDecompressorComponent* component = Create();
    ASSERT_NE(component, nullptr);
    bool complete = false;
    for (int k = 1; !complete && k < 200; ++k) {
        allocator.FailAt(k);
        IVideoDecompressorInstance* instance =
            component->functions->CreateDecompressor(component, 0);
        allocator.FailAt(0);
        if (k <= 2) {
            EXPECT_EQ(instance, nullptr) << "failing allocation " << k;
        } else {
            ASSERT_NE(instance, nullptr) << "failing allocation " << k;
            auto* object = static_cast<VideoDecompressorInstanceVeltrane*>(instance);
            ASSERT_NE(object->decompressor, nullptr);
            complete = object->decompressor->session != nullptr;
            HostRequest request(Tagged(IntraFrame(128, 96, kGrey.dcs)), 128, 96);
            EXPECT_EQ(instance->functions->DecompressFrame(instance, &request.record),
                      complete ? 1 : 0);
            EXPECT_EQ(instance->functions->CodecSubType(instance, 0), 2);
            component->functions->DestroyDecompressor(component, instance);
        }
        EXPECT_EQ(allocator.liveBlocks(), 1u);  // the component alone
    }
    EXPECT_TRUE(complete);
    component->functions->Retain(component);
    component->functions->Release(component);
}

}  // namespace
