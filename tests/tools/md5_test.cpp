#include "md5.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace veltrane::tools {
namespace {

std::string Digest(const std::string& text, size_t step) {
    Md5 md5;
    for (size_t i = 0; i < text.size(); i += step) {
        md5.Update(reinterpret_cast<const uint8_t*>(text.data() + i),
                   std::min(step, text.size() - i));
    }
    return md5.HexDigest();
}

// RFC 1321's test suite, fed whole and in pieces that straddle the 64-byte
// blocks and the 56-byte padding boundary.
TEST(Md5Test, ReferenceDigestsInAnyPieces) {
    const std::string digits =
        "12345678901234567890123456789012345678901234567890123456789012345678901234567890";
    const struct {
        std::string text;
        const char* digest;
    } cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {digits, "57edf4a22be3c955ac49da2e2107b67a"},
        {std::string(56, 'a'), "3b0c8ac703f828b04c6c197006d17218"},
        {std::string(64, 'a'), "014842d480b571495a4a0363793f7367"},
    };
    for (const auto& c : cases) {
        for (const size_t step : {size_t{1000}, size_t{1}, size_t{7}, size_t{63}}) {
            EXPECT_EQ(Digest(c.text, step), c.digest) << c.text.size() << " bytes, step " << step;
        }
    }
}

}  // namespace
}  // namespace veltrane::tools
