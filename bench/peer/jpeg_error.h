// libjpeg reports fatal errors through error_exit, which must not return: this
// one keeps the message and jumps back to the setjmp of the caller.
#ifndef VELTRANE_BENCH_PEER_JPEG_ERROR_H
#define VELTRANE_BENCH_PEER_JPEG_ERROR_H

#include <csetjmp>
#include <cstddef>
#include <cstdio>

// jpeglib.h needs FILE and size_t declared before it.
#include <jpeglib.h>

namespace veltrane::peer {

struct JpegError {
    jpeg_error_mgr manager;
    std::jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
};

inline void JpegErrorExit(j_common_ptr cinfo) {
    auto* error = reinterpret_cast<JpegError*>(cinfo->err);
    cinfo->err->format_message(cinfo, error->message);
    std::longjmp(error->jump, 1);
}

}  // namespace veltrane::peer

#endif
