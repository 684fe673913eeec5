#include "photo.h"

#include <png.h>

#include <cerrno>
#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>

#include "jpeg_error.h"

namespace veltrane::peer {

namespace {

// Photos larger than this are refused before anything is allocated for them.
constexpr int kMaxPhotoDimension = 16384;

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

bool LoadJpeg(std::FILE* file, const std::string& path, Photo* photo, std::string* error) {
    jpeg_decompress_struct cinfo;
    JpegError jerr;
    cinfo.err = jpeg_std_error(&jerr.manager);
    jerr.manager.error_exit = JpegErrorExit;
    jerr.message[0] = '\0';
    if (setjmp(jerr.jump)) {
        jpeg_destroy_decompress(&cinfo);
        *error = path + ": bad JPEG file: " + jerr.message;
        return false;
    }
    jpeg_create_decompress(&cinfo);
    jpeg_stdio_src(&cinfo, file);
    jpeg_read_header(&cinfo, TRUE);
    if (cinfo.image_width > kMaxPhotoDimension || cinfo.image_height > kMaxPhotoDimension) {
        jpeg_destroy_decompress(&cinfo);
        *error = path + ": picture larger than 16384 pixels on a side";
        return false;
    }
    cinfo.out_color_space = JCS_RGB;
    jpeg_start_decompress(&cinfo);
    photo->width = static_cast<int>(cinfo.output_width);
    photo->height = static_cast<int>(cinfo.output_height);
    photo->rgb.assign(static_cast<size_t>(photo->width) * photo->height * 3, 0);
    while (cinfo.output_scanline < cinfo.output_height) {
        JSAMPROW row =
            photo->rgb.data() + static_cast<size_t>(cinfo.output_scanline) * photo->width * 3;
        jpeg_read_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
    return true;
}

bool LoadPng(std::FILE* file, const std::string& path, Photo* photo, std::string* error) {
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_stdio(&image, file)) {
        *error = path + ": bad PNG file: " + image.message;
        return false;
    }
    if (image.width > kMaxPhotoDimension || image.height > kMaxPhotoDimension) {
        png_image_free(&image);
        *error = path + ": picture larger than 16384 pixels on a side";
        return false;
    }
    image.format = PNG_FORMAT_RGB;
    photo->width = static_cast<int>(image.width);
    photo->height = static_cast<int>(image.height);
    photo->rgb.assign(PNG_IMAGE_SIZE(image), 0);
    if (!png_image_finish_read(&image, nullptr, photo->rgb.data(), 0, nullptr)) {
        *error = path + ": bad PNG file: " + image.message;
        png_image_free(&image);
        return false;
    }
    return true;
}

}  // namespace

bool LoadPhoto(const std::string& path, Photo* photo, std::string* error) {
    FilePtr file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        *error = path + ": cannot open: " + std::strerror(errno);
        return false;
    }
    unsigned char signature[8] = {};
    const size_t got = std::fread(signature, 1, sizeof signature, file.get());
    std::rewind(file.get());
    const bool ok = got >= 3 && signature[0] == 0xFF && signature[1] == 0xD8 && signature[2] == 0xFF
                        ? LoadJpeg(file.get(), path, photo, error)
                    : got == 8 && png_sig_cmp(signature, 0, 8) == 0
                        ? LoadPng(file.get(), path, photo, error)
                        : (*error = path + ": neither a JPEG nor a PNG file", false);
    if (ok && (photo->width == 0 || photo->height == 0)) {
        *error = path + ": empty picture";
        return false;
    }
    return ok;
}

}  // namespace veltrane::peer
