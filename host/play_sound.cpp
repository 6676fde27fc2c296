#include "play_sound.h"

#include <fmt/format.h>

#include "driver/sound_player.h"
#include "sound_format.h"

namespace host {
namespace {

// Peaks a second, for files of 44100 Hz: a pixel each when the strip shows a few seconds.
constexpr float kResolution = 200;

}  // namespace

std::unique_ptr<PlaySound> PlaySound::Start(Module& module) {
    if (!HasSoundLibrary()) return nullptr;
    osm3d::SoundPlayerFMOD* player = module.Driver().GetSoundPlayer();
    if (!player || !player->Init()) return nullptr;
    return std::unique_ptr<PlaySound>(new PlaySound(*player));
}

PlaySound::~PlaySound() { player_.Shutdown(); }

bool PlaySound::Open(const std::string& path, std::string& why) {
    length_ = 0;
    envelope_ = {};
    // Looked at first: the module's player tells of a failure in a box of its own.
    const std::optional<SoundFormat> format = ReadSoundFormat(path);
    if (!format) {
        why = fmt::format("{}: cannot be read as a sound file", path);
        return false;
    }
    player_.OpenTrack(path);
    length_ = format->length;
    player_.BuildEnvelope(&envelope_.peaks, path, kResolution);
    // The second half lies past the file's end.
    envelope_.peaks.resize((envelope_.peaks.size() + 1) / 2);
    envelope_.per_second =
        format->rate / static_cast<double>(static_cast<int>(44100.0f / (kResolution * 0.5f)));
    return true;
}

void PlaySound::Play(double time) {
    player_.StopTrack();
    player_.SetTrackTime(static_cast<float>(time));
    player_.PlayTrack();
}

void PlaySound::Stop() { player_.StopTrack(); }

double PlaySound::Time() { return static_cast<double>(player_.GetTrackTime()); }

}  // namespace host
