#include "png_writer.h"

#include <png.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <vector>

namespace veltrane::tools {

namespace {

// libpng reports errors through a callback that must not return; it keeps the
// message and jumps back to the setjmp in WritePng.
struct PngErrorState {
    std::jmp_buf jump;
    char message[256];
};

[[noreturn]] void OnPngError(png_structp png, png_const_charp message) {
    auto* state = static_cast<PngErrorState*>(png_get_error_ptr(png));
    std::snprintf(state->message, sizeof state->message, "%s", message);
    std::longjmp(state->jump, 1);
}

void OnPngWarning(png_structp, png_const_charp) {}

// Unpacks native 0xAARRGGBB words into R, G, B (and A) bytes.
void PackRow(const uint32_t* words, int width, bool withAlpha, uint8_t* out) {
    for (int x = 0; x < width; ++x) {
        const uint32_t w = words[x];
        *out++ = static_cast<uint8_t>(w >> 16);
        *out++ = static_cast<uint8_t>(w >> 8);
        *out++ = static_cast<uint8_t>(w);
        if (withAlpha) *out++ = static_cast<uint8_t>(w >> 24);
    }
}

// Everything that may be left behind when libpng jumps out lives here, outside
// the setjmp frame, so no C++ object is skipped by the jump.
struct PngWriteJob {
    std::FILE* file = nullptr;
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::vector<uint8_t> row;
    ~PngWriteJob() {
        if (png != nullptr) png_destroy_write_struct(&png, info != nullptr ? &info : nullptr);
        if (file != nullptr) std::fclose(file);
    }
};

}  // namespace

bool WritePng(const std::string& path, const BgraPicture& picture, bool withAlpha,
              std::string* error) {
    if (picture.width <= 0 || picture.height <= 0) {
        *error = path + ": cannot write an empty picture";
        return false;
    }
    PngWriteJob job;
    job.file = std::fopen(path.c_str(), "wb");
    if (job.file == nullptr) {
        *error = path + ": cannot create: " + std::strerror(errno);
        return false;
    }
    PngErrorState state{};
    job.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &state, OnPngError, OnPngWarning);
    job.info = job.png != nullptr ? png_create_info_struct(job.png) : nullptr;
    if (job.info == nullptr) {
        *error = path + ": out of memory in libpng";
        return false;
    }
    const int channels = withAlpha ? 4 : 3;
    job.row.resize(static_cast<size_t>(picture.width) * channels);
    if (setjmp(state.jump) != 0) {
        *error = path + ": PNG error: " + state.message;
        return false;
    }
    png_init_io(job.png, job.file);
    // Decoded video is smooth; fast compression keeps PNG output from dominating a run.
    png_set_compression_level(job.png, 3);
    png_set_IHDR(job.png, job.info, static_cast<png_uint_32>(picture.width),
                 static_cast<png_uint_32>(picture.height), 8,
                 withAlpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(job.png, job.info);
    for (int y = 0; y < picture.height; ++y) {
        PackRow(picture.pixels.data() + static_cast<size_t>(y) * picture.width, picture.width,
                withAlpha, job.row.data());
        png_write_row(job.png, job.row.data());
    }
    png_write_end(job.png, job.info);
    std::FILE* file = job.file;
    job.file = nullptr;
    if (std::fclose(file) != 0) {
        *error = path + ": write error";
        return false;
    }
    return true;
}

}  // namespace veltrane::tools
