// Prints one line per decoded picture: a digest of its planes, of its BGRA
// image and of a row through every blit, for the fuzzing seeds (replayed as the
// fuzz harness reads them) and for streams the reference encoder makes from a
// synthetic sequence. Two builds whose outputs are identical decode every one of
// those pictures bit for bit alike: the test command compares a native run with
// one under emulation.
//
// Usage: veltrane_digest CORPUS_DIR
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "support/test_allocator.h"
#include "veltrane/color.h"
#include "veltrane/session.h"
#include "veltrane_encoder/encoder.h"

namespace {

// 64-bit FNV-1a.
class Digest {
public:
    void Add(const void* data, size_t size) {
        const auto* p = static_cast<const unsigned char*>(data);
        for (size_t i = 0; i < size; ++i) hash_ = (hash_ ^ p[i]) * 0x100000001B3ull;
    }
    void AddRows(const unsigned char* p, int width, int rows, ptrdiff_t stride) {
        for (int r = 0; r < rows; ++r) Add(p + r * stride, static_cast<size_t>(width));
    }
    unsigned long long value() const { return hash_; }

private:
    uint64_t hash_ = 0xCBF29CE484222325ull;
};

// A decoder session with its output image, as a host runs it.
class Session {
public:
    Session(int width, int height, bool image, bool bottomUp)
        : width_(width),
          height_(height),
          image_(image),
          bottomUp_(bottomUp),
          handle_(DecompressOpen(width, height, &allocator_)) {}
    ~Session() { DecompressClose(handle_); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    bool open() const { return handle_ != nullptr; }
    void* handle() const { return handle_; }
    int width() const { return width_; }
    int height() const { return height_; }

    int32_t Decode(const unsigned char* frame, uint32_t size) {
        pixels_.assign(static_cast<size_t>(width_) * static_cast<size_t>(height_), 0);
        QXImage_t image{
            kQXImageFormatBGRA32, width_,     height_,
            bottomUp_ ? 1u : 0u,  width_ * 4, reinterpret_cast<unsigned char*>(pixels_.data())};
        return DecompressFrame(handle_, frame, size, image_ ? &image : nullptr);
    }

    // Digests of the decoded planes (the macroblock-aligned area), the image,
    // and row `index` of the picture through the 32- and 16-bit blits.
    std::string Describe(int index) const {
        const auto* s = static_cast<const DecompressSession_t*>(handle_);
        const int w = (width_ + 15) & ~15;
        const int h = (height_ + 15) & ~15;
        Digest y, u, v, image, blits;
        y.AddRows(s->planes->y, w, h, s->yStride);
        u.AddRows(s->planes->u, w / 2, h / 2, s->uvStride);
        v.AddRows(s->planes->v, w / 2, h / 2, s->uvStride);
        image.Add(pixels_.data(), pixels_.size() * sizeof(uint32_t));
        if (width_ > 0 && height_ > 0) {
            const int row = index % height_;
            std::vector<uint32_t> run32(static_cast<size_t>(width_));
            std::vector<uint16_t> run16(static_cast<size_t>(width_));
            for (int first = 0; first < 2 && first < width_; ++first) {
                BlitYUVto32(handle_, first, row, width_ - first, run32.data());
                blits.Add(run32.data(), (width_ - first) * sizeof(uint32_t));
                for (int f = ePixelFormatRGB555; f <= ePixelFormatARGB4444; ++f) {
                    BlitYUVto16(handle_, first, row, width_ - first, run16.data(),
                                static_cast<EPixelFormat>(f));
                    blits.Add(run16.data(), (width_ - first) * sizeof(uint16_t));
                }
            }
        }
        char line[160];
        std::snprintf(line, sizeof line, "Y %016llx U %016llx V %016llx bgra %016llx blits %016llx",
                      y.value(), u.value(), v.value(), image.value(), blits.value());
        return line;
    }

private:
    int width_;
    int height_;
    bool image_;
    bool bottomUp_;
    veltrane::test::TestAllocator allocator_;
    void* handle_;
    std::vector<uint32_t> pixels_;
};

// The fuzz harness's input layout: a configuration byte (bits 0-1 session size,
// bit 2 an alpha session, bit 3 no image, bit 4 bottom-up), then frames of a
// 16-bit little-endian length and the bytes; the last frame takes what is left.
void ReplaySeed(const std::string& name, const std::vector<unsigned char>& data) {
    if (data.empty()) return;
    static const int kSizes[4][2] = {{16, 16}, {176, 144}, {33, 17}, {128, 96}};
    const unsigned config = data[0];
    const bool alpha = (config & 4) != 0;
    const bool image = (config & 8) == 0;
    const bool bottomUp = (config & 16) != 0;
    int width = kSizes[config & 3][0];
    int height = kSizes[config & 3][1];
    auto colour = std::make_unique<Session>(width, height, image, bottomUp);
    auto alphaSession = alpha ? std::make_unique<Session>(width, height, false, false) : nullptr;
    size_t pos = 1;
    for (int index = 0; index < 24 && pos < data.size(); ++index) {
        size_t length = data[pos];
        if (pos + 1 < data.size()) length |= static_cast<size_t>(data[pos + 1]) << 8;
        pos = std::min(pos + 2, data.size());
        length = std::min(length, data.size() - pos);
        const std::vector<unsigned char> frame(data.begin() + static_cast<ptrdiff_t>(pos),
                                               data.begin() + static_cast<ptrdiff_t>(pos + length));
        pos += length;
        if (!colour->open()) break;
        auto decode = [&] {
            if (alphaSession) {
                alphaSession->Decode(frame.data(), static_cast<uint32_t>(frame.size()));
                DecompressSetAlpha(colour->handle(), alphaSession->handle());
            }
            return colour->Decode(frame.data(), static_cast<uint32_t>(frame.size()));
        };
        uint32_t type = 0, frameWidth = 0, frameHeight = 0;
        const int32_t inquiry = DecompressGetFrameAttributes(colour->handle(), frame.data(),
                                                             static_cast<uint32_t>(frame.size()),
                                                             &type, &frameWidth, &frameHeight);
        int32_t status = decode();
        if (status == 30 && inquiry == 0 && frameWidth <= 1024 && frameHeight <= 1024 &&
            frameWidth * frameHeight <= 352 * 288) {
            width = static_cast<int>(frameWidth);
            height = static_cast<int>(frameHeight);
            colour = std::make_unique<Session>(width, height, image, bottomUp);
            if (alpha) alphaSession = std::make_unique<Session>(width, height, false, false);
            if (!colour->open()) break;
            status = decode();
        }
        std::printf("seed %s frame %d %dx%d status %d", name.c_str(), index, width, height, status);
        if (status == 0) std::printf(" %s", colour->Describe(index).c_str());
        std::printf("\n");
    }
}

void ReplayCorpus(const std::filesystem::path& directory) {
    std::vector<std::filesystem::path> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.is_regular_file()) seeds.push_back(entry.path());
    }
    std::sort(seeds.begin(), seeds.end());
    for (const auto& path : seeds) {
        std::ifstream file(path, std::ios::binary);
        const std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(file)),
                                               std::istreambuf_iterator<char>());
        ReplaySeed(path.filename().string(), bytes);
    }
}

// A synthetic sequence in integer arithmetic only (so that every platform draws
// the same pictures): a textured background drifting by 1.5 samples a picture,
// a checkered box moving the other way, and noise.
class Sequence {
public:
    Sequence(int width, int height)
        : width_(width),
          height_(height),
          cw_((width + 1) / 2),
          ch_((height + 1) / 2),
          y_(static_cast<size_t>(width * height)),
          u_(static_cast<size_t>(cw_ * ch_)),
          v_(u_.size()) {}

    veltrane::enc::PlaneView Frame(int t) {
        for (int r = 0; r < height_; ++r) {
            for (int c = 0; c < width_; ++c) {
                int value = 40 + Triangle(2 * c + 3 * t, 94) + Triangle(2 * r + t, 70) / 2 +
                            Triangle(c + 2 * r, 26) / 3;
                const int bx = c - (width_ / 2 - 2 * t);
                const int by = r - (height_ / 4 + t);
                if (bx >= 0 && bx < width_ / 3 && by >= 0 && by < height_ / 3) {
                    value = ((bx / 3 + by / 5) & 1) ? 235 : 20;
                }
                noise_ = noise_ * 1664525u + 1013904223u;
                value += static_cast<int>(noise_ >> 29) - 4;
                y_[static_cast<size_t>(r * width_ + c)] = Clip(value);
            }
        }
        for (int r = 0; r < ch_; ++r) {
            for (int c = 0; c < cw_; ++c) {
                u_[static_cast<size_t>(r * cw_ + c)] = Clip(70 + Triangle(2 * c + t, 60) * 2);
                v_[static_cast<size_t>(r * cw_ + c)] = Clip(200 - Triangle(3 * r + t, 50) * 3);
            }
        }
        return {y_.data(), u_.data(), v_.data(), width_, cw_};
    }

private:
    // A triangle wave rising from 0 to period / 2 and back.
    static int Triangle(int x, int period) {
        const int m = ((x % period) + period) % period;
        return m < period / 2 ? m : period - m;
    }
    static uint8_t Clip(int v) { return static_cast<uint8_t>(std::clamp(v, 0, 255)); }

    int width_, height_, cw_, ch_;
    std::vector<uint8_t> y_, u_, v_;
    uint32_t noise_ = 12345;
};

struct StreamCase {
    const char* name;
    int width;
    int height;
    int version;
    int quantiser;
    bool disposable;
    bool fourVector;
    int frames;
};

// Quantisers from 1 (large coefficients, blocks beyond the 16-bit transform's
// bound) to 31, both format versions, odd sizes, four-vector macroblocks.
constexpr StreamCase kStreams[] = {
    {"qcif_q1_v1", 176, 144, 1, 1, false, true, 4},
    {"qcif_q4", 176, 144, 0, 4, true, true, 8},
    {"qcif_q12_v1", 176, 144, 1, 12, false, true, 8},
    {"qcif_q31_1mv", 176, 144, 0, 31, false, false, 6},
    {"odd_33x17_q6", 33, 17, 1, 6, true, true, 6},
    {"odd_70x50_q3", 70, 50, 0, 3, false, true, 6},
    {"cif_q8", 352, 288, 0, 8, false, true, 4},
};

void EncodeAndDecode(const StreamCase& sc) {
    veltrane::enc::EncoderConfig config;
    config.width = sc.width;
    config.height = sc.height;
    config.version = sc.version;
    config.quantiser = sc.quantiser;
    config.disposable = sc.disposable;
    config.fourVector = sc.fourVector;
    config.gopLength = 5;
    config.searchRange = 4;
    veltrane::enc::Encoder encoder(config);
    if (!encoder.ok()) {
        std::printf("stream %s: the encoder refused the configuration\n", sc.name);
        return;
    }
    Sequence sequence(sc.width, sc.height);
    // The same stream decoded as colour, and once more as its own alpha plane.
    Session colour(sc.width, sc.height, true, false);
    Session alpha(sc.width, sc.height, false, false);
    Session colourWithAlpha(sc.width, sc.height, true, true);
    for (int t = 0; t < sc.frames; ++t) {
        veltrane::enc::EncodedFrame frame;
        encoder.EncodeFrame(sequence.Frame(t), &frame);
        Digest bytes;
        bytes.Add(frame.data.data(), frame.data.size());
        const auto size = static_cast<uint32_t>(frame.data.size());
        const int32_t status = colour.Decode(frame.data.data(), size);
        std::printf("stream %s frame %d bytes %zu %016llx status %d", sc.name, t, frame.data.size(),
                    bytes.value(), status);
        if (status == 0) std::printf(" %s", colour.Describe(t).c_str());
        std::printf("\n");
        alpha.Decode(frame.data.data(), size);
        DecompressSetAlpha(colourWithAlpha.handle(), alpha.handle());
        const int32_t alphaStatus = colourWithAlpha.Decode(frame.data.data(), size);
        std::printf("stream %s frame %d with alpha status %d", sc.name, t, alphaStatus);
        if (alphaStatus == 0) std::printf(" %s", colourWithAlpha.Describe(t + 1).c_str());
        std::printf("\n");
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS_DIR\n", argv[0]);
        return 2;
    }
    std::error_code error;
    if (!std::filesystem::is_directory(argv[1], error)) {
        std::fprintf(stderr, "veltrane_digest: %s: not a directory\n", argv[1]);
        return 1;
    }
    ReplayCorpus(argv[1]);
    for (const StreamCase& sc : kStreams) EncodeAndDecode(sc);
    return 0;
}
