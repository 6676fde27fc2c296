// libFuzzer target: any text as a project, and as the project of a package with its sound.
#include <string>

#include "effect_library.h"
#include "project.h"
#include "sound_text.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static const host::EffectLibrary library(OSM_SOURCE_DIR "/data/libfx.xml");
    std::string text(reinterpret_cast<const char*>(data), size);
    const auto sound = host::TakeSound(text);
    host::Mistakes mistakes;
    host::ParseProject("fuzz.xml", text, library, mistakes);
    return 0;
}
