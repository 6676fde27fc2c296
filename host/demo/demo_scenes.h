// The scenes of the demo. Their times are the demo's own: second 1 is key unit 100.
#pragma once

#include <string>

namespace demo {

// When the picture changes from shot to shot, seconds. The project file has the same times.
inline constexpr float kSecondShot = 6.0f;
inline constexpr float kClockworkIn = 9.5f;
inline constexpr float kClockworkSecond = 13;
inline constexpr float kThirdShot = 16;
inline constexpr float kEnd = 22;

// An island with a lighthouse after sunset, and lanterns that rise. Cameras: coming in over the sea, up the
// tower, among the lanterns.
void MakeIsland(const std::string& path);

// The clockwork of a small sun and its planets. Cameras: out from the sun, past a planet with a ring.
void MakeClockwork(const std::string& path);

}  // namespace demo
