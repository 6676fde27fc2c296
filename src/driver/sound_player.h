// Sound for the host: one stream to listen to a file, one for the project's track, and the peaks of a file to
// draw.
#pragma once

#include <string>
#include <vector>

#include "platform/sound/sound_library.h"
#include "platform/types.h"

namespace osm3d {

/// Got from Driver::GetSoundPlayer. Init comes before everything else, and nothing may be called after it
/// gave false. A failure is told to the person in one box and leaves the player as it was. The order of the
/// operations is part of the module's interface.
class SoundPlayerFMOD {
  public:
    explicit SoundPlayerFMOD(platform::SoundLibrary& library = platform::GetSoundLibrary())
        : fsound(library) {}
    SoundPlayerFMOD(const SoundPlayerFMOD&) = delete;
    SoundPlayerFMOD& operator=(const SoundPlayerFMOD&) = delete;
    /// Not virtual: the Driver holds the one object by value. Shuts down what is initialised.
    ~SoundPlayerFMOD();

    virtual bool Init();
    /// Closes the track stream and the library.
    virtual void Shutdown();

    /// Opens a sound file of any kind that the library decodes, in place of the one before.
    virtual void OpenPreview(const std::string& path);
    virtual void PlayPreview();
    virtual void StopPreview();

    /// Appends the peaks of a file, each -1 to 1: by turns the highest (never below 0) and the lowest (never
    /// above 0) sample of the next N, where N = 44100 / (resolution / 2), truncated; for a file of 44100 Hz,
    /// `resolution` values a second. There are (2 * samples / N) values, rounded up, and those of the second
    /// half, past the file's end, are 0. Nothing is appended when N is not positive.
    virtual void BuildEnvelope(std::vector<f32>* envelope, const std::string& path, f32 resolution);

    /// Seconds from the file's beginning of what is heard now. Without a track, 0.
    virtual f32 GetTrackTime();
    virtual void OpenTrack(const std::string& path);
    /// From the beginning, or from where SetTrackTime has put a track that does not play.
    virtual void PlayTrack();
    virtual void StopTrack();
    /// In seconds. A track that plays goes on from there.
    virtual void SetTrackTime(f32 seconds);
    /// The same as GetTrackTime.
    virtual f32 GetTrackPosition();

    virtual void ShowMessage(const char* text);

  private:
    bool initialized = false;
    platform::FSOUND_STREAM* previewStream = nullptr;
    platform::FSOUND_STREAM* trackStream = nullptr;
    i32 trackChannel = 0;
    platform::SoundLibrary& fsound;
};

}  // namespace osm3d
