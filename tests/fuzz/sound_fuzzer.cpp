// libFuzzer target: any bytes as a sound file.
#include "fuzz/play_sound.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::SoundPlayground playground;
    playground.Play(data, size);
    return 0;
}
