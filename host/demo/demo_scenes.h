// The scenes of the demo. Second 1 is key unit 100.
#pragma once

#include <string>

namespace demo {

// Of the island and the clockwork: when one shot follows another, in the seconds of these scenes. The project
// file shows the same seconds.
inline constexpr float kSecondShot = 6.4f;
inline constexpr float kClockworkIn = 9.6f;
inline constexpr float kClockworkSecond = 12.8f;
inline constexpr float kThirdShot = 16;
inline constexpr float kEnd = 22.4f;

// How long each of the others is shown, from its second 0.
inline constexpr float kHallShadows = 3.2f;
inline constexpr float kHallMirror = 3.8f;
inline constexpr float kFloatsShot = 4.6f;
inline constexpr float kWhaleShot = 6.2f;
inline constexpr float kMeadowShot = 4.4f;
inline constexpr float kJettyShot = 3.9f;

// An island with a lighthouse after sunset, and lanterns that rise. Cameras: coming in over the sea, up the
// tower, among the lanterns.
void MakeIsland(const std::string& path);

// The clockwork of a small sun and its planets. Cameras: out from the sun, past a planet with a ring.
void MakeClockwork(const std::string& path);

// A round hall with a lamp in it whose ring of pictures turns: with shadows, and with a floor that mirrors.
void MakeShadowHall(const std::string& path);
void MakeMirrorHall(const std::string& path);

// Lights in globes of glass on the water. The glass is drawn by `effect`, the path of glass.fx as the scene
// will name it; with an empty one a plain material stands in.
void MakeFloats(const std::string& path, const std::string& effect);

// A whale that swims over the clouds at night, moved by its bones.
void MakeWhale(const std::string& path);

// Fireflies over a meadow.
void MakeMeadow(const std::string& path);

// Lanterns along a jetty, the near ones in focus first, then the far ones.
void MakeJetty(const std::string& path, bool has_focus);

}  // namespace demo
