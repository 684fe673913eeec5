// libFuzzer entry: arbitrary bytes as a host's calls into the plug-in. A leak, a
// free of a foreign block or an entry answering outside its results stops the
// run like a crash does.
#include "fuzz/harnesses.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const veltrane::fuzz::PluginHarnessResult result = veltrane::fuzz::RunPluginHarness(data, size);
    if (result.liveBlocks != 0 || result.foreignFrees != 0 || result.badResult) __builtin_trap();
    return 0;
}
