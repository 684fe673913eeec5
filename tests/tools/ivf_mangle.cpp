// Makes damaged and spliced IVF files for the command-level tests:
//   ivf_mangle corrupt IN OUT FRAME     zero one frame from a third of its bytes on
//   ivf_mangle cut IN OUT FRAME         keep the first 5 bytes of one frame (inside its header)
//   ivf_mangle concat IN1 IN2 OUT       the frames of IN1, then those of IN2
//   ivf_mangle garbage OUT WxH FRAMES   a header claiming WxH, then FRAMES frames of
//                                       1000 bytes that are no picture
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ivf.h"

using namespace veltrane::tools;

namespace {

// Appends the frames of `path` to `frames`.
bool Load(const char* path, IvfFileHeader* header, std::vector<IvfFrame>* frames) {
    IvfReader reader;
    std::string error;
    IvfFrame frame;
    IvfRead read = reader.Open(path, &error) ? IvfRead::kFrame : IvfRead::kError;
    while (read == IvfRead::kFrame && (read = reader.ReadFrame(&frame, &error)) == IvfRead::kFrame)
        frames->push_back(frame);
    if (read == IvfRead::kError) std::fprintf(stderr, "%s\n", error.c_str());
    *header = reader.header();
    return read == IvfRead::kEnd;
}

// Exit status 0 when the file is written, else 1.
int Save(const char* path, const IvfFileHeader& header, const std::vector<IvfFrame>& frames) {
    IvfWriter writer;
    std::string error;
    bool ok = writer.Open(path, header, &error);
    for (size_t i = 0; ok && i < frames.size(); ++i) {
        ok = writer.WriteFrame(frames[i].data.data(), static_cast<uint32_t>(frames[i].data.size()),
                               i, &error);
    }
    ok = writer.Close(&error) && ok;
    if (!ok) std::fprintf(stderr, "%s\n", error.c_str());
    return ok ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc == 5 ? argv[1] : "";
    IvfFileHeader header, ignored;
    std::vector<IvfFrame> frames;
    if (mode == "corrupt" || mode == "cut") {
        const size_t index = std::strtoul(argv[4], nullptr, 10);
        if (!Load(argv[2], &header, &frames) || index >= frames.size()) return 1;
        std::vector<uint8_t>& data = frames[index].data;
        if (mode == "cut") {
            data.resize(std::min<size_t>(data.size(), 5));
        } else {  // keeps the picture header, so the damage lies in the macroblock layer
            std::fill(data.begin() + static_cast<long>(data.size() / 3), data.end(), 0);
        }
        return Save(argv[3], header, frames);
    }
    if (mode == "concat") {
        if (!Load(argv[2], &header, &frames) || !Load(argv[3], &ignored, &frames)) return 1;
        return Save(argv[4], header, frames);
    }
    if (mode == "garbage" && std::sscanf(argv[3], "%hux%hu", &header.width, &header.height) == 2) {
        IvfFrame frame;
        frame.data.assign(1000, 0xFF);
        return Save(argv[2], header,
                    std::vector<IvfFrame>(std::strtoul(argv[4], nullptr, 10), frame));
    }
    std::fprintf(stderr, "usage: ivf_mangle corrupt|cut|concat|garbage ARGS...\n");
    return 2;
}
