#include "mpeg2_decoding.h"

#include <cstdint>
// mpeg2.h has no C++ guard and needs the <stdint.h> types declared first.
extern "C" {
#include <mpeg2.h>
}

namespace veltrane::peer {

Mpeg2DecodeResult DecodeTheirStream(const std::vector<uint8_t>& stream,
                                    const PictureVisitor* visit) {
    Mpeg2DecodeResult result;
    mpeg2dec_t* decoder = mpeg2_init();
    if (!decoder) return result;
    result.opened = true;
    const mpeg2_info_t* info = mpeg2_info(decoder);
    // libmpeg2 reads but never writes the buffer; its interface is not const.
    auto* begin = const_cast<uint8_t*>(stream.data());
    mpeg2_buffer(decoder, begin, begin + stream.size());
    for (bool more = true; more;) {
        switch (mpeg2_parse(decoder)) {
            case STATE_BUFFER:  // every byte consumed
                more = false;
                break;
            case STATE_SEQUENCE:
                result.width = static_cast<int>(info->sequence->picture_width);
                result.height = static_cast<int>(info->sequence->picture_height);
                break;
            case STATE_SLICE:
            case STATE_END:
            case STATE_INVALID_END:
                if (info->display_fbuf) {
                    ++result.pictures;
                    if (visit) {
                        const mpeg2_sequence_t& sequence = *info->sequence;
                        (*visit)({info->display_fbuf->buf[0], info->display_fbuf->buf[1],
                                  info->display_fbuf->buf[2], static_cast<int>(sequence.width),
                                  static_cast<int>(sequence.chroma_width),
                                  static_cast<int>(sequence.picture_width),
                                  static_cast<int>(sequence.picture_height)});
                    }
                }
                break;
            case STATE_INVALID:
                ++result.invalid;
                break;
            default:
                break;
        }
    }
    mpeg2_close(decoder);
    return result;
}

std::string Mpeg2Acceleration() {
    const uint32_t accel = mpeg2_accel(MPEG2_ACCEL_DETECT);
    std::string names;
#if defined(__x86_64__) || defined(__i386__)
    const struct {
        uint32_t flag;
        const char* name;
    } kFlags[] = {{MPEG2_ACCEL_X86_MMX, "MMX"},
                  {MPEG2_ACCEL_X86_3DNOW, "3DNow"},
                  {MPEG2_ACCEL_X86_MMXEXT, "MMXEXT"},
                  {MPEG2_ACCEL_X86_SSE2, "SSE2"},
                  {MPEG2_ACCEL_X86_SSE3, "SSE3"}};
    for (const auto& flag : kFlags) {
        if (accel & flag.flag) names += names.empty() ? flag.name : std::string(" ") + flag.name;
    }
#endif
    return names.empty() ? "none (plain C)" : names;
}

}  // namespace veltrane::peer
