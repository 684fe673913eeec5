// libFuzzer entry: arbitrary bytes as a sequence of frames for decoder sessions.
// A leak or a free of a foreign block stops the run like a crash does.
#include "fuzz/harnesses.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const veltrane::fuzz::HarnessResult result = veltrane::fuzz::RunDecodeHarness(data, size);
    if (result.liveBlocks != 0 || result.foreignFrees != 0 || result.unexpectedStatus)
        __builtin_trap();
    return 0;
}
