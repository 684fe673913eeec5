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

using veltrane::tools::IvfFileHeader;
using veltrane::tools::IvfFrame;
using veltrane::tools::IvfRead;
using veltrane::tools::IvfReader;
using veltrane::tools::IvfWriter;

namespace {

bool Load(const std::string& path, IvfFileHeader* header, std::vector<IvfFrame>* frames) {
    IvfReader reader;
    std::string error;
    if (!reader.Open(path, &error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return false;
    }
    *header = reader.header();
    IvfFrame frame;
    IvfRead read;
    while ((read = reader.ReadFrame(&frame, &error)) == IvfRead::kFrame) frames->push_back(frame);
    if (read == IvfRead::kError) std::fprintf(stderr, "%s\n", error.c_str());
    return read == IvfRead::kEnd;
}

bool Save(const std::string& path, const IvfFileHeader& header,
          const std::vector<IvfFrame>& frames) {
    IvfWriter writer;
    std::string error;
    bool ok = writer.Open(path, header, &error);
    for (size_t i = 0; ok && i < frames.size(); ++i) {
        ok = writer.WriteFrame(frames[i].data.data(), static_cast<uint32_t>(frames[i].data.size()),
                               i, &error);
    }
    ok = writer.Close(&error) && ok;
    if (!ok) std::fprintf(stderr, "%s\n", error.c_str());
    return ok;
}

int Damage(const std::string& in, const std::string& out, size_t index, bool cut) {
    IvfFileHeader header;
    std::vector<IvfFrame> frames;
    if (!Load(in, &header, &frames) || index >= frames.size()) return 1;
    std::vector<uint8_t>& data = frames[index].data;
    // Corrupt keeps the picture header, so the damage lies in the macroblock layer.
    for (size_t i = data.size() / 3; !cut && i < data.size(); ++i) data[i] = 0x00;
    if (cut) data.resize(std::min<size_t>(data.size(), 5));
    return Save(out, header, frames) ? 0 : 1;
}

int Concat(const std::string& first, const std::string& second, const std::string& out) {
    IvfFileHeader header, ignored;
    std::vector<IvfFrame> frames;
    if (!Load(first, &header, &frames) || !Load(second, &ignored, &frames)) return 1;
    return Save(out, header, frames) ? 0 : 1;
}

int Garbage(const std::string& out, const std::string& size, long count) {
    IvfFileHeader header;
    const size_t x = size.find('x');
    if (x == std::string::npos) return 2;
    header.width = static_cast<uint16_t>(std::strtoul(size.c_str(), nullptr, 10));
    header.height = static_cast<uint16_t>(std::strtoul(size.c_str() + x + 1, nullptr, 10));
    IvfFrame frame;
    frame.data.assign(1000, 0xFF);
    return Save(out, header, std::vector<IvfFrame>(static_cast<size_t>(count), frame)) ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: ivf_mangle corrupt|cut|concat|garbage ARGS...\n");
        return 2;
    }
    const std::string mode = argv[1];
    if (mode == "corrupt" || mode == "cut")
        return Damage(argv[2], argv[3], std::strtoul(argv[4], nullptr, 10), mode == "cut");
    if (mode == "concat") return Concat(argv[2], argv[3], argv[4]);
    if (mode == "garbage") return Garbage(argv[2], argv[3], std::strtol(argv[4], nullptr, 10));
    return 2;
}
