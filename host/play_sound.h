// A project's sound track, through the module's sound player.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "module.h"
#include "play_clock.h"

namespace host {

// The peaks of a sound file, to draw: by turns the highest and the lowest sample of a stretch.
struct Envelope {
    std::vector<float> peaks;  // -1 to 1
    double per_second = 0;     // peaks a second of the file
};

// One track at a time, with the peaks of its file.
class PlaySound final : public Track {
  public:
    // Makes the module's sound player ready. Null when it has none, or cannot be made ready.
    static std::unique_ptr<PlaySound> Start(Module& module);
    ~PlaySound() override;

    // Opens `path` in place of the file before it. False, and why, when it is no sound file that can be
    // decoded.
    bool Open(const std::string& path, std::string& why);
    const Envelope& Peaks() const { return envelope_; }

    void Play(double time) override;
    void Stop() override;
    double Time() override;
    double Length() const override { return length_; }

  private:
    explicit PlaySound(osm3d::SoundPlayerFMOD& player) : player_(player) {}
    osm3d::SoundPlayerFMOD& player_;
    Envelope envelope_;
    double length_ = 0;
};

}  // namespace host
