#include "jpeg_islow.h"

#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "jpeg_error.h"
// The decompressor's module records, for cinfo.idct.
#include <jpegint.h>

// libjpeg-turbo's C islow routine: exported, though no installed header
// declares it.
extern "C" void jpeg_idct_islow(j_decompress_ptr cinfo, jpeg_component_info* compptr,
                                JCOEFPTR coef_block, JSAMPARRAY output_buf, JDIMENSION output_col);

namespace veltrane::peer {

struct JpegIslow::State {
    jpeg_decompress_struct decompress;
    JpegError error;
    bool created = false;
    unsigned char* jpeg = nullptr;  // the tiny JPEG, kept while the decompressor reads it
    unsigned long jpegSize = 0;
    inverse_DCT_method_ptr selected = nullptr;

    void Run(inverse_DCT_method_ptr method, const int16_t* coefficients, uint8_t* out, int stride) {
        JSAMPROW rows[8];
        for (int r = 0; r < 8; ++r) rows[r] = out + r * stride;
        // The routines only read the block; their interface is not const.
        method(&decompress, &decompress.comp_info[0], const_cast<JCOEFPTR>(coefficients), rows, 0);
    }
};

JpegIslow::JpegIslow() : state_(new State) {}

JpegIslow::~JpegIslow() {
    if (state_->created) jpeg_destroy_decompress(&state_->decompress);
    std::free(state_->jpeg);
    delete state_;
}

bool JpegIslow::Open(std::string* error) {
    State& s = *state_;
    jpeg_compress_struct compress;
    s.error.message[0] = '\0';
    compress.err = jpeg_std_error(&s.error.manager);
    s.error.manager.error_exit = JpegErrorExit;
    if (setjmp(s.error.jump)) {
        jpeg_destroy_compress(&compress);
        *error = std::string("libjpeg-turbo: ") + s.error.message;
        return false;
    }
    // An 8x8 grey picture at quality 100, whose tables are all 1s.
    jpeg_create_compress(&compress);
    jpeg_mem_dest(&compress, &s.jpeg, &s.jpegSize);
    compress.image_width = 8;
    compress.image_height = 8;
    compress.input_components = 1;
    compress.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&compress);
    jpeg_set_quality(&compress, 100, TRUE);
    jpeg_start_compress(&compress, TRUE);
    JSAMPLE grey[8] = {128, 128, 128, 128, 128, 128, 128, 128};
    for (int r = 0; r < 8; ++r) {
        JSAMPROW row = grey;
        jpeg_write_scanlines(&compress, &row, 1);
    }
    jpeg_finish_compress(&compress);
    jpeg_destroy_compress(&compress);

    s.decompress.err = jpeg_std_error(&s.error.manager);
    s.error.manager.error_exit = JpegErrorExit;
    if (setjmp(s.error.jump)) {
        *error = std::string("libjpeg-turbo: ") + s.error.message;
        return false;
    }
    jpeg_create_decompress(&s.decompress);
    s.created = true;
    jpeg_mem_src(&s.decompress, s.jpeg, s.jpegSize);
    jpeg_read_header(&s.decompress, TRUE);
    s.decompress.dct_method = JDCT_ISLOW;
    jpeg_start_decompress(&s.decompress);
    s.selected = s.decompress.idct->inverse_DCT[0];
    // The multipliers the routines scale by must all be 1. They are 16-bit in
    // 8-bit builds (ISLOW_MULT_TYPE, from a header that is not installed).
    const auto* multipliers = static_cast<const int16_t*>(s.decompress.comp_info[0].dct_table);
    for (int i = 0; i < 64; ++i) {
        if (multipliers[i] != 1) {
            *error = "libjpeg-turbo: the quantisation table is not all 1s";
            return false;
        }
    }
    return s.selected != nullptr;
}

std::string JpegIslow::SelectedInstructionSet() const {
    if (state_->selected == &jpeg_idct_islow) return "C";
        // Any other routine is libjpeg-turbo's SIMD entry, which dispatches to the
        // widest set the CPU has unless JSIMD_FORCESSE2 says otherwise.
#if defined(__x86_64__) || defined(__i386__)
    if (__builtin_cpu_supports("avx2") && !std::getenv("JSIMD_FORCESSE2")) return "AVX2";
#endif
    return "SSE2";
}

void JpegIslow::Selected(const int16_t* coefficients, uint8_t* out, int stride) const {
    state_->Run(state_->selected, coefficients, out, stride);
}

void JpegIslow::PlainC(const int16_t* coefficients, uint8_t* out, int stride) const {
    state_->Run(&jpeg_idct_islow, coefficients, out, stride);
}

}  // namespace veltrane::peer
