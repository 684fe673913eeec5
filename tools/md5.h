// MD5 message digests (RFC 1321), for checksums of decoded pictures that other
// tools can reproduce with md5sum.
#ifndef VELTRANE_TOOLS_MD5_H
#define VELTRANE_TOOLS_MD5_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace veltrane::tools {

class Md5 {
public:
    Md5();
    void Update(const uint8_t* data, size_t size);
    // The digest of everything added so far, as 32 lowercase hex digits. Ends
    // the message: add nothing after it.
    std::string HexDigest();

private:
    void Transform(const uint8_t block[64]);

    uint32_t state_[4];
    uint64_t length_ = 0;  // bytes added
    uint8_t buffer_[64];
};

}  // namespace veltrane::tools

#endif
