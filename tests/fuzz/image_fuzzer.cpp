// libFuzzer target: any bytes as an image file. The first byte chooses what kind it claims to be.
#include <array>

#include "fuzz/play_bytes.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::Playground playground;
    static constexpr std::array<const char*, 6> kKinds = {".bmp", ".dds", ".dib", ".jpg", ".png", ".tga"};
    if (size > 0) playground.Image(data + 1, size - 1, kKinds[data[0] % kKinds.size()]);
    return 0;
}
