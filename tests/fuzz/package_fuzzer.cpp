// libFuzzer target: any bytes as a loadable animation.
#include "fuzz/play_bytes.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::Playground playground;
    playground.Package(data, size);
    return 0;
}
