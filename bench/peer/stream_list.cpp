#include "stream_list.h"

#include <cstdio>
#include <fstream>
#include <sstream>

#include "ivf.h"
#include "y4m.h"

namespace veltrane::peer {

namespace {

// An MPEG-2 stream larger than this is refused before it is read.
constexpr long kMaxStreamBytes = 1L << 30;

bool ReadWholeFile(const std::string& path, std::vector<uint8_t>* bytes, std::string* error) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) {
        *error = path + ": cannot open";
        return false;
    }
    bool ok = std::fseek(file, 0, SEEK_END) == 0;
    const long size = ok ? std::ftell(file) : -1;
    ok = ok && size >= 0 && size <= kMaxStreamBytes && std::fseek(file, 0, SEEK_SET) == 0;
    if (ok) {
        bytes->resize(static_cast<size_t>(size));
        ok = std::fread(bytes->data(), 1, bytes->size(), file) == bytes->size();
    }
    std::fclose(file);
    if (!ok) *error = path + ": cannot read (or larger than 1 GiB)";
    return ok;
}

}  // namespace

size_t StreamPair::ourBytes() const {
    size_t total = 0;
    for (const auto& frame : ourFrames) total += frame.size();
    return total;
}

double StreamPair::BitsPerPixel(size_t bytes) const {
    return 8.0 * static_cast<double>(bytes) / (static_cast<double>(width) * height * frames);
}

bool ParseStreamList(const std::string& path, std::vector<StreamPair>* pairs, std::string* error) {
    std::ifstream in(path);
    if (!in) {
        *error = path + ": cannot open";
        return false;
    }
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        StreamPair pair;
        std::string rest;
        if (!(fields >> pair.name >> pair.width >> pair.height >> pair.frames >> pair.targetBpp >>
              pair.oursPath >> pair.theirsPath >> pair.sourcePath) ||
            (fields >> rest) || pair.width < 16 || pair.height < 16 || pair.width > 4096 ||
            pair.height > 4096 || pair.frames < 1) {
            *error = path + ": line " + std::to_string(number) +
                     ": expected: name width height frames bpp ours.ivf theirs.m2v source.y4m";
            return false;
        }
        pairs->push_back(std::move(pair));
    }
    if (pairs->empty()) {
        *error = path + ": lists no streams";
        return false;
    }
    return true;
}

bool LoadStreams(std::vector<StreamPair>* pairs, std::string* error) {
    for (StreamPair& pair : *pairs) {
        tools::IvfReader reader;
        if (!reader.Open(pair.oursPath, error)) return false;
        tools::IvfFrame frame;
        for (;;) {
            const tools::IvfRead read = reader.ReadFrame(&frame, error);
            if (read == tools::IvfRead::kError) return false;
            if (read == tools::IvfRead::kEnd) break;
            pair.ourFrames.push_back(std::move(frame.data));
        }
        if (!ReadWholeFile(pair.theirsPath, &pair.theirStream, error)) return false;
    }
    return true;
}

bool LoadPictures(const std::string& path, int limit, std::vector<tools::YuvPicture>* pictures,
                  std::string* error) {
    tools::Y4mReader reader;
    if (!reader.Open(path, error)) return false;
    for (;;) {
        if (limit > 0 && static_cast<int>(pictures->size()) >= limit) return true;
        tools::YuvPicture picture;
        const tools::Y4mRead read = reader.ReadPicture(&picture, error);
        if (read == tools::Y4mRead::kError) return false;
        if (read == tools::Y4mRead::kEnd) return true;
        pictures->push_back(std::move(picture));
    }
}

}  // namespace veltrane::peer
