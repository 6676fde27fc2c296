// Sounds worked out from sines, saws and noise. Stereo at 44.1 kHz; everything is the same on every run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "picture.h"

namespace demo {

inline constexpr float kRate = 44100;

// One voice's samples, about -1 to 1.
using Samples = std::vector<float>;

struct Track {
    Samples left, right;
};

// Hertz of a key of the piano; 69 is 440 Hz.
float Pitch(float key);

// A sine that dies away.
struct Partial {
    float ratio;  // of the tone's pitch
    float level;
    float seconds;  // until 1/e of it is left
};

// A struck or plucked body: all partials at once, until nothing is heard of them. Those above what the rate
// can carry are left out.
Samples Struck(float hertz, const std::vector<Partial>& partials, float attack);

// A sustained section of slightly apart saws behind a low-pass that opens and closes with the sound.
struct Bow {
    float seconds, attack, release;
    float dark, bright;  // the low-pass in hertz: at rest, at the middle
    float spread;        // how far the voices stand apart, in cents
    float vibrato;       // cents
};
Track Bowed(float hertz, const Bow& bow, std::uint32_t seed);

// A sine that glides through `keys`, evenly spread over `seconds`, as if sung.
Samples Sung(const std::vector<float>& keys, float seconds);

// A low thud: a sine that falls to `hertz`.
Samples Thud(float hertz, float seconds);

// Noise around a pitch that goes from one to the other: `swell` 0 is even, 1 rises from nothing to the end.
Track Wind(float from_hertz, float to_hertz, float width, float seconds, float swell, std::uint32_t seed);

// Puts voices together and gives the whole a room.
class Mixer {
  public:
    explicit Mixer(float seconds);

    struct Place {
        float gain = 1;
        float pan = 0;   // -1 left, 1 right
        float room = 0;  // share that goes into the reverberation
        float echo = 0;  // share that goes into the echoes
    };
    // What lies past the end is cut off.
    void Add(const Samples& voice, float at_seconds, const Place& place);
    void Add(const Track& voice, float at_seconds, const Place& place);

    // The mix with its room, at an even loudness: `level` is the root mean square of all but its quiet parts.
    // Never beyond -1 to 1; the last `fade` seconds die away.
    Track Finished(float echo_seconds, float level, float fade);

  private:
    Track dry_, room_, echo_;
};

// A WAV file of 16 bits. Throws cli::Error when it cannot be written.
void SaveWav(const std::string& path, const Track& track);

}  // namespace demo
