// What can be known of sounds without the module.
#pragma once

#include <optional>
#include <string>

namespace host {

// What a file says of itself, to lay its peaks and its end out in time.
struct SoundFormat {
    double rate = 44100;  // frames a second
    double length = 0;    // seconds; 0 where it is not known
};

// Nothing for what is no sound file that can be decoded. On Windows, where the sound library decides that
// itself, for what is no file; and there only WAV files tell, of others the defaults are given.
std::optional<SoundFormat> ReadSoundFormat(const std::string& path);

// Whether this machine has what the module's sound is made with. Where it has not, the module's start of it
// would put up a box.
bool HasSoundLibrary();

}  // namespace host
