#include <memory>
#include <vector>

#include "fuzz/harnesses.h"
#include "support/host_framework.h"
#include "support/host_request.h"
#include "support/test_allocator.h"
#include "veltrane/host.h"

namespace veltrane::fuzz {

namespace {

// A host shows pictures up to this many pixels; larger frames are skipped, so
// that each run stays small.
constexpr uint32_t kMaxHostPixels = 720 * 576;
constexpr int kMaxOperations = 64;

class Host {
public:
    Host(uint8_t config, PluginHarnessResult& result) : result_(result) {
        allocator_.FailAt(config & 63);
        test::RecordingRegistrar registrar;
        if (RegisterComponents(&registrar) != kComponentOk || registrar.factory == nullptr) {
            result_.badResult = true;
            return;
        }
        IGenericComponent* generic = nullptr;
        const int32_t status = registrar.factory(&framework_, nullptr, &generic);
        if (status != kComponentOk) {
            if (status != kComponentFailed || generic != nullptr) result_.badResult = true;
            return;
        }
        component_ = reinterpret_cast<IVideoDecompressorComponent*>(generic);
        component_->functions->Retain(component_);
        instance_ = component_->functions->CreateDecompressor(component_, 0);
    }

    ~Host() {
        if (component_ != nullptr) {
            component_->functions->DestroyDecompressor(component_, instance_);
            if (component_->functions->Release(component_) != 0) result_.badResult = true;
        }
        result_.liveBlocks = allocator_.liveBlocks();
        result_.foreignFrees = allocator_.foreignFrees();
    }

    void Run(Reader& in) {
        for (int op = 0; op < kMaxOperations && !in.done(); ++op) {
            const uint8_t code = in.Byte() % 11;
            if (code <= 3 || code == 8) {
                Decode(in, code == 8);
            } else if (code <= 7) {
                Blit(in, code);
            } else if (code == 9) {
                if (component_ == nullptr) continue;
                component_->functions->DestroyDecompressor(component_, instance_);
                instance_ = component_->functions->CreateDecompressor(component_, 0);
                shownWidth_ = shownHeight_ = 0;
            } else if (instance_ != nullptr) {
                const auto* f = instance_->functions;
                Expect(f->CodecSubType(instance_, in.Byte()), -1, 2);
                const uint8_t key[4] = {0x00, 0x00, 0x80, in.Byte()};
                Expect(f->EmbeddedIsKeyFrame(instance_, key, sizeof(key), true), 0, 1);
                Expect(f->FlushAfterSeek(instance_), 0, 1);
            }
        }
    }

private:
    int32_t Expect(int32_t value, int32_t a, int32_t b) {
        if (value != a && value != b) result_.badResult = true;
        return value;
    }

    void Decode(Reader& in, bool dimensionsOnly) {
        size_t length = in.Byte();
        length |= static_cast<size_t>(in.Byte()) << 8;
        const uint8_t tag = in.Byte(), postFilter = in.Byte(), host = in.Byte();
        const uint8_t* frame = in.Take(length);
        if (instance_ == nullptr) return;
        const auto* f = instance_->functions;
        const std::vector<uint8_t> untagged(frame, frame + length);
        std::vector<uint8_t> tagged = untagged;
        tagged.insert(tagged.begin(), tag);

        // The host asks for the frame's size first, as a player does.
        test::HostRequest inquiry(tagged, 0, 0);
        Expect(f->GetFrameDimensions(instance_, &inquiry.record), 0, 1);
        if (inquiry.record.data != inquiry.frameStart() || inquiry.record.dataSize != length + 1)
            result_.badResult = true;
        const uint32_t width = inquiry.width, height = inquiry.height;
        if (dimensionsOnly || uint64_t{width} * height > kMaxHostPixels) return;

        test::HostRequest request(host & 1 ? untagged : tagged, width + ((host & 6) == 6), height,
                                  (host & 1) == 0);
        request.record.postFilter = postFilter;
        if (host & 2) request.WithBuffer();
        if (Expect(f->DecompressFrame(instance_, &request.record), 0, 1) == 1) {
            ++result_.decoded;
            shownWidth_ = request.width;
            shownHeight_ = request.height;
        }
    }

    // Positions come from the input but stay inside the picture last shown.
    void Blit(Reader& in, uint8_t code) {
        const uint32_t columnByte = in.Byte(), rowByte = in.Byte(), countByte = in.Byte();
        const uint32_t format = in.Byte();
        if (instance_ == nullptr || shownWidth_ == 0 || shownHeight_ == 0) return;
        const auto column = static_cast<int32_t>(columnByte * shownWidth_ / 256);
        const auto row = static_cast<int32_t>(rowByte * shownHeight_ / 256);
        const auto count = static_cast<int32_t>(1 + countByte * (shownWidth_ - column - 1) / 255);
        std::unique_ptr<uint32_t[]> to32(new uint32_t[count]);
        std::unique_ptr<uint16_t[]> to16(new uint16_t[count]);
        IVideoBlitTo32Struct run32{column, row, count, to32.get()};
        IVideoBlitTo32SingleStruct one32{column, row, to32.get()};
        IVideoBlitTo16Struct run16{column, row, count, to16.get(), format};
        IVideoBlitTo16SingleStruct one16{column, row, to16.get(), format};
        const auto* f = instance_->functions;
        ++result_.blits;
        Expect(code == 4   ? f->BlitTo32(instance_, &run32)
               : code == 5 ? f->BlitTo32Single(instance_, &one32)
               : code == 6 ? f->BlitTo16(instance_, &run16)
                           : f->BlitTo16Single(instance_, &one16),
               0, 1);
    }

    PluginHarnessResult& result_;
    test::TestAllocator allocator_;
    test::RecordingRegistry registry_;
    CFFrameworkObject framework_{&registry_, &allocator_};
    IVideoDecompressorComponent* component_ = nullptr;
    IVideoDecompressorInstance* instance_ = nullptr;
    uint32_t shownWidth_ = 0, shownHeight_ = 0;
};

}  // namespace

PluginHarnessResult RunPluginHarness(const uint8_t* data, size_t size) {
    PluginHarnessResult result;
    if (size == 0) return result;
    {
        Host host(data[0], result);
        Reader in{data + 1, size - 1};
        host.Run(in);
    }
    return result;
}

}  // namespace veltrane::fuzz
