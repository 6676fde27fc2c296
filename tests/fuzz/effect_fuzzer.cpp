// libFuzzer target: any bytes as an effect text, through the machine's own shader compiler.
#include "fuzz/play_effect.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::EffectPlayground playground(true);
    playground.Play(data, size);
    return 0;
}
