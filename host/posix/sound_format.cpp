#include "sound_format.h"

#include "platform/sound/sound_file.h"

namespace host {

std::optional<SoundFormat> ReadSoundFormat(const std::string& path) {
    const std::unique_ptr<platform::SoundFile> file = platform::SoundFile::Open(path);
    if (!file) return std::nullopt;
    return SoundFormat{static_cast<double>(file->rate()),
                       static_cast<double>(file->frames()) / static_cast<double>(file->rate())};
}

// The module carries it.
bool HasSoundLibrary() { return true; }

}  // namespace host
