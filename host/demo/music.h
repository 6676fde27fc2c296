// The demo's music: fourteen bars of four beats in D, seventy-five beats a minute, so that a beat is 24
// frames of 30 a second and a bar is 3.2 seconds.
#pragma once

#include "synthesis.h"

namespace demo {

inline constexpr float kBeat = 0.8f;
inline constexpr int kBars = 14;
inline constexpr float kMusicSeconds = kBeat * 4 * F(kBars);

Track Music();

}  // namespace demo
