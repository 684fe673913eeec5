#include "fuzz/plugin_harness.h"

#include <algorithm>
#include <memory>

#include "support/host_framework.h"
#include "support/test_allocator.h"
#include "veltrane/host.h"

namespace veltrane::fuzz {

namespace {

// A host shows pictures up to this many pixels; larger frames are skipped, so
// that each run stays small.
constexpr uint32_t kMaxHostPixels = 720 * 576;
constexpr int kMaxOperations = 64;

// The input, read front to back; reads past the end give 0.
class Reader {
public:
    Reader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    bool done() const { return pos_ >= size_; }
    uint8_t Byte() { return pos_ < size_ ? data_[pos_++] : 0; }
    // `length` bytes, or what is left.
    std::unique_ptr<uint8_t[]> Bytes(size_t& length) {
        if (length > size_ - pos_) length = size_ - pos_;
        std::unique_ptr<uint8_t[]> bytes(new uint8_t[length == 0 ? 1 : length]);
        for (size_t i = 0; i < length; ++i) bytes[i] = data_[pos_ + i];
        pos_ += length;
        return bytes;
    }

private:
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
};

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
            if (instance_ != nullptr)
                component_->functions->DestroyDecompressor(component_, instance_);
            if (component_->functions->Release(component_) != 0) result_.badResult = true;
        }
        result_.liveBlocks = allocator_.liveBlocks();
        result_.foreignFrees = allocator_.foreignFrees();
    }

    void Run(Reader& in) {
        for (int op = 0; op < kMaxOperations && !in.done(); ++op) {
            const uint8_t code = in.Byte() % 11;
            if (code <= 3) {
                Decode(in, false);
            } else if (code <= 7) {
                Blit(in, code);
            } else if (code == 8) {
                Decode(in, true);
            } else if (code == 9) {
                if (component_ == nullptr) continue;
                if (instance_ != nullptr)
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
    void Expect(int32_t value, int32_t a, int32_t b) {
        if (value != a && value != b) result_.badResult = true;
    }

    void Decode(Reader& in, bool dimensionsOnly) {
        size_t length = in.Byte();
        length |= static_cast<size_t>(in.Byte()) << 8;
        const uint8_t tag = in.Byte();
        const uint8_t postFilter = in.Byte();
        const uint8_t host = in.Byte();
        const bool untagged = (host & 1) != 0;
        size_t frameLength = length;
        std::unique_ptr<uint8_t[]> frame = in.Bytes(frameLength);
        // The host's buffer holds the tag in front of the frame.
        std::unique_ptr<uint8_t[]> data(new uint8_t[frameLength + 1]);
        data[0] = tag;
        for (size_t i = 0; i < frameLength; ++i) data[i + 1] = frame[i];
        if (instance_ == nullptr) return;
        const auto* f = instance_->functions;

        IVideoDecompressDataStruct request{};
        request.data = untagged ? data.get() + 1 : data.get();
        request.dataSize = static_cast<uint32_t>(untagged ? frameLength : frameLength + 1);
        request.noFrameTag = untagged ? 1 : 0;
        request.postFilter = postFilter;
        uint32_t width = 0;
        uint32_t height = 0;
        uint8_t flag = 1;
        request.widthPtr = &width;
        request.heightPtr = &height;
        request.flagPtr = &flag;

        // The host asks for the frame's size first, as a player does.
        IVideoDecompressDataStruct inquiry = request;
        inquiry.noFrameTag = 0;
        inquiry.data = data.get();
        inquiry.dataSize = static_cast<uint32_t>(frameLength + 1);
        Expect(f->GetFrameDimensions(instance_, &inquiry), 0, 1);
        if (inquiry.data != data.get() || inquiry.dataSize != frameLength + 1) {
            result_.badResult = true;
        }
        if (dimensionsOnly || uint64_t{width} * height > kMaxHostPixels) return;

        std::unique_ptr<uint32_t[]> pixels;
        if (host & 2) {
            if (host & 4) ++width;
            pixels.reset(new uint32_t[uint64_t{width} * height + 1]);
            request.pixels = reinterpret_cast<unsigned char*>(pixels.get());
            request.rowBytes = static_cast<int32_t>(width * 4);
        }
        const int32_t done = f->DecompressFrame(instance_, &request);
        Expect(done, 0, 1);
        if (done == 1) {
            ++result_.decoded;
            shownWidth_ = width;
            shownHeight_ = height;
        }
    }

    // Positions come from the input but stay inside the picture last shown.
    void Blit(Reader& in, uint8_t code) {
        const uint32_t columnByte = in.Byte();
        const uint32_t rowByte = in.Byte();
        const uint32_t countByte = in.Byte();
        const uint32_t format = in.Byte();
        if (instance_ == nullptr || shownWidth_ == 0 || shownHeight_ == 0) return;
        const auto column = static_cast<int32_t>(columnByte * shownWidth_ / 256);
        const auto row = static_cast<int32_t>(rowByte * shownHeight_ / 256);
        const auto count = static_cast<int32_t>(1 + countByte * (shownWidth_ - column - 1) / 255);
        std::unique_ptr<uint32_t[]> run32(new uint32_t[count]);
        std::unique_ptr<uint16_t[]> run16(new uint16_t[count]);
        const auto* f = instance_->functions;
        ++result_.blits;
        switch (code) {
            case 4: {
                IVideoBlitTo32Struct blit{column, row, count, run32.get()};
                Expect(f->BlitTo32(instance_, &blit), 0, 1);
                break;
            }
            case 5: {
                IVideoBlitTo32SingleStruct blit{column, row, run32.get()};
                Expect(f->BlitTo32Single(instance_, &blit), 0, 1);
                break;
            }
            case 6: {
                IVideoBlitTo16Struct blit{column, row, count, run16.get(), format};
                Expect(f->BlitTo16(instance_, &blit), 0, 1);
                break;
            }
            default: {
                IVideoBlitTo16SingleStruct blit{column, row, run16.get(), format};
                Expect(f->BlitTo16Single(instance_, &blit), 0, 1);
                break;
            }
        }
    }

    PluginHarnessResult& result_;
    test::TestAllocator allocator_;
    test::RecordingRegistry registry_;
    CFFrameworkObject framework_{&registry_, &allocator_};
    IVideoDecompressorComponent* component_ = nullptr;
    IVideoDecompressorInstance* instance_ = nullptr;
    uint32_t shownWidth_ = 0;
    uint32_t shownHeight_ = 0;
};

}  // namespace

PluginHarnessResult RunPluginHarness(const uint8_t* data, size_t size) {
    PluginHarnessResult result;
    if (size == 0) return result;
    {
        Host host(data[0], result);
        Reader in(data + 1, size - 1);
        host.Run(in);
    }
    return result;
}

std::vector<uint8_t> PluginDecodeOperation(const std::vector<uint8_t>& frame, uint8_t tag,
                                           uint8_t postFilter, uint8_t host) {
    std::vector<uint8_t> op(6 + frame.size());
    op[1] = static_cast<uint8_t>(frame.size() & 0xFF);
    op[2] = static_cast<uint8_t>(frame.size() >> 8);
    op[3] = tag;
    op[4] = postFilter;
    op[5] = host;
    std::copy(frame.begin(), frame.end(), op.begin() + 6);
    return op;
}

}  // namespace veltrane::fuzz
